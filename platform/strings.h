// Helpers for WCHAR (UTF-16) text, which the logic keeps in Windows-sized buffers.
#ifndef VELA_PLATFORM_STRINGS_H_
#define VELA_PLATFORM_STRINGS_H_

#include <string>
#include <string_view>

#include "platform/wintypes.h"

// Length in WCHARs up to the terminator; 0 for null.
size_t WcsLen(LPCWSTR text);

// Copies at most count-1 WCHARs and always terminates (when count > 0). Gives the WCHARs copied.
size_t WcsCopyBounded(WCHAR* dest, size_t count, LPCWSTR src);

// UTF-16 to UTF-8; an unpaired surrogate becomes U+FFFD. Null gives "".
std::string Utf16ToUtf8(std::u16string_view text);
std::string Utf16ToUtf8(LPCWSTR text);

// UTF-8 to UTF-16; a malformed sequence becomes U+FFFD.
std::u16string Utf8ToUtf16(std::string_view text);

// The low byte of each character, as the registry readers narrow their wide values.
std::string NarrowLowByte(LPCWSTR text);

#endif  // VELA_PLATFORM_STRINGS_H_
