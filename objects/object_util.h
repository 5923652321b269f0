// Small pieces every object class uses: the property strings handed out through the task
// allocator, hexadecimal names, and the GUID text of the log lines.
#ifndef VELA_OBJECTS_OBJECT_UTIL_H_
#define VELA_OBJECTS_OBJECT_UTIL_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/guid.h"
#include "platform/wintypes.h"

// The name buffers of m_prop: 514 bytes, 256 characters and the terminator.
inline constexpr size_t kNameBufferBytes = 514;
inline constexpr size_t kNameMaxChars = 256;

// A task-allocated copy of `text` in a buffer of `bufferBytes`, at most `maxChars` characters
// and always terminated. Null when out of memory.
LPWSTR AllocPropString(std::u16string_view text, size_t bufferBytes = kNameBufferBytes,
                       size_t maxChars = kNameMaxChars);
// The same for a string of the properties; a null source gives null.
LPWSTR CopyPropString(LPCWSTR text, size_t bufferBytes, size_t maxChars);
// Frees a property string and clears the pointer; a null one only logs at higher levels.
void FreePropString(LPWSTR* text);

// The text of a property string, empty for null.
std::u16string PropText(LPCWSTR text);

// `count` bytes as upper-case hexadecimal digits ("%02X" each).
std::u16string HexName(const uint8_t* bytes, size_t count);

// A fixed 8-bit text field as wide text: up to the first NUL, at most `size` bytes.
std::u16string WidenField(const char* field, size_t size);

// "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", as the log lines print ids.
std::string GuidLogText(const GUID& id);

#endif  // VELA_OBJECTS_OBJECT_UTIL_H_
