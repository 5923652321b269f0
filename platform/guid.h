// GUID with the Windows field layout. Objects are kept in maps ordered by operator<, which
// compares the 16 bytes as they lie in memory (Data1..Data3 in host order), as the provider's
// id maps have always done; the order is therefore not the order of the text form.
#ifndef VELA_PLATFORM_GUID_H_
#define VELA_PLATFORM_GUID_H_

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>

#include "platform/hresult.h"
#include "platform/wintypes.h"

struct GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16, "GUID must keep its 16-byte Windows layout");
static_assert(offsetof(GUID, Data4) == 8, "GUID must keep its 16-byte Windows layout");

using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline constexpr GUID GUID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};

inline bool IsEqualGUID(REFGUID a, REFGUID b) { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }
inline bool operator==(const GUID& a, const GUID& b) { return IsEqualGUID(a, b); }

namespace guid_order {
// The 8 bytes at `bytes` as a big-endian number, so that comparing two of them orders like
// memcmp does; the maps compare GUIDs on every step, and a libc call per step shows up.
inline uint64_t LeadingBytes(const void* bytes) {
  uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  if constexpr (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
  return word;
}
}  // namespace guid_order

// The module exports the order (its clients keep GUID maps too), so a copy of it must exist out
// of line; calls inside still inline it.
[[gnu::used, gnu::visibility("default")]] inline bool operator<(const GUID& a, const GUID& b) {
  const uint64_t aHigh = guid_order::LeadingBytes(&a);
  const uint64_t bHigh = guid_order::LeadingBytes(&b);
  if (aHigh != bHigh) return aHigh < bHigh;
  return guid_order::LeadingBytes(a.Data4) < guid_order::LeadingBytes(b.Data4);
}

// "{6D3E9A41-0C7B-4E52-A1F6-2B9C7E5D4A10}": braces, upper-case hex.
std::string GuidToString(const GUID& guid);

// Reads the form above, with or without braces, in either case. False (and *guid untouched) for
// anything else.
bool GuidFromString(const char* text, GUID* guid);

// A random (version 4, RFC 4122 variant) GUID. E_POINTER for a null out pointer.
HRESULT CoCreateGuid(GUID* guid);

#endif  // VELA_PLATFORM_GUID_H_
