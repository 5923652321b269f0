#include "objects/object_util.h"

#include <cstdio>
#include <cstring>

#include "diag/debug_log.h"
#include "platform/com.h"
#include "platform/strings.h"
#include "provider/provider.h"

LPWSTR AllocPropString(std::u16string_view text, size_t bufferBytes, size_t maxChars) {
  auto* buffer = static_cast<LPWSTR>(CoTaskMemAlloc(bufferBytes));
  if (buffer == nullptr) return nullptr;
  const size_t capacity = bufferBytes / sizeof(WCHAR);
  size_t n = text.size();
  if (n > maxChars) n = maxChars;
  if (n + 1 > capacity) n = capacity - 1;
  std::memcpy(buffer, text.data(), n * sizeof(WCHAR));
  buffer[n] = 0;
  return buffer;
}

LPWSTR CopyPropString(LPCWSTR text, size_t bufferBytes, size_t maxChars) {
  if (text == nullptr) return nullptr;
  return AllocPropString(std::u16string_view(text, WcsLen(text)), bufferBytes, maxChars);
}

void FreePropString(LPWSTR* text) {
  if (*text == nullptr) {
    if (DebugLogging.load() > 1) DebugPrintf("calling CoTaskMemFree() with null pointer\n");
    return;
  }
  CoTaskMemFree(*text);
  *text = nullptr;
}

std::u16string PropText(LPCWSTR text) {
  return text == nullptr ? std::u16string() : std::u16string(text, WcsLen(text));
}

std::u16string HexName(const uint8_t* bytes, size_t count) {
  static const char16_t kDigits[] = u"0123456789ABCDEF";
  std::u16string name;
  name.reserve(count * 2);
  for (size_t i = 0; i < count; ++i) {
    name.push_back(kDigits[bytes[i] >> 4]);
    name.push_back(kDigits[bytes[i] & 0xF]);
  }
  return name;
}

std::u16string WidenField(const char* field, size_t size) {
  return Utf8ToUtf16(std::string_view(field, strnlen(field, size)));
}

std::string GuidLogText(const GUID& id) {
  char text[40];
  std::snprintf(text, sizeof(text), "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", id.Data1,
                id.Data2, id.Data3, id.Data4[0], id.Data4[1], id.Data4[2], id.Data4[3], id.Data4[4],
                id.Data4[5], id.Data4[6], id.Data4[7]);
  return text;
}
