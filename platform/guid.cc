#include "platform/guid.h"

#include <cstdio>

namespace {

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads `digits` hex digits from *p, advancing it.
bool ReadHex(const char*& p, int digits, uint64_t* value) {
  uint64_t result = 0;
  for (int i = 0; i < digits; ++i) {
    int v = HexValue(p[i]);
    if (v < 0) return false;
    result = (result << 4) | static_cast<uint64_t>(v);
  }
  p += digits;
  *value = result;
  return true;
}

bool Expect(const char*& p, char c) {
  if (*p != c) return false;
  ++p;
  return true;
}

}  // namespace

std::string GuidToString(const GUID& g) {
  char text[39];
  std::snprintf(text, sizeof(text), "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", g.Data1,
                g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4],
                g.Data4[5], g.Data4[6], g.Data4[7]);
  return text;
}

bool GuidFromString(const char* text, GUID* guid) {
  if (text == nullptr || guid == nullptr) return false;
  const char* p = text;
  bool braced = (*p == '{');
  if (braced) ++p;
  uint64_t d1, d2, d3, v;
  GUID result;
  if (!ReadHex(p, 8, &d1) || !Expect(p, '-') || !ReadHex(p, 4, &d2) || !Expect(p, '-') ||
      !ReadHex(p, 4, &d3) || !Expect(p, '-')) {
    return false;
  }
  for (int i = 0; i < 8; ++i) {
    if (i == 2 && !Expect(p, '-')) return false;
    if (!ReadHex(p, 2, &v)) return false;
    result.Data4[i] = static_cast<uint8_t>(v);
  }
  if (braced && !Expect(p, '}')) return false;
  if (*p != '\0') return false;
  result.Data1 = static_cast<uint32_t>(d1);
  result.Data2 = static_cast<uint16_t>(d2);
  result.Data3 = static_cast<uint16_t>(d3);
  *guid = result;
  return true;
}
