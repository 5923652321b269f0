// The bus type filter of the enumeration, and a helper for the 32-byte serials in log lines.
#ifndef VELA_PROVIDER_LOAD_FILTER_H_
#define VELA_PROVIDER_LOAD_FILTER_H_

#include <cstring>
#include <string>

#include "proxy/records.h"

namespace Provider {

// True when the subsystem is of the iSCSI class: the first controller (A, then B) whose host
// ports have a type decides, Fibre Channel before SAS before iSCSI. A controller that can't be
// read takes the subsystem on.
bool isFC(const subsystem& record);

}  // namespace Provider

// A serial of up to N characters, not necessarily terminated, as text.
template <size_t N>
std::string SerialText(const char (&serial)[N]) {
  return std::string(serial, strnlen(serial, N));
}

#endif  // VELA_PROVIDER_LOAD_FILTER_H_
