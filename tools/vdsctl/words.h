// The values that the changing commands take in their KEY=VALUE words.
#ifndef VELA_TOOLS_VDSCTL_WORDS_H_
#define VELA_TOOLS_VDSCTL_WORDS_H_

#include <string>
#include <vector>

#include "platform/wintypes.h"

namespace vdsctl {

std::string Lower(std::string text);
// An unsigned number, decimal or 0x-hex, up to `limit`.
bool ParseNumber(const std::string& text, ULONGLONG limit, ULONGLONG* value);
// true/yes/1 or false/no/0, in any case.
bool ParseBool(const std::string& text, bool* value);
// The drive numbers of drives=, each at most once.
bool ParseDrives(const std::string& text, std::vector<int>* drives, std::string* error);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_WORDS_H_
