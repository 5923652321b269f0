// printf with the conversions of the Windows C runtime, for format strings written for it:
//   %I64d %I64u %I64x %I64X %I64o  64-bit integers (also %I32 and %I = pointer-sized)
//   %ls %ws %S                      WCHAR* strings, printed as UTF-8; null prints "(null)"
//   %lc %wc %C                      one WCHAR
//   %hs %hc                         narrow, whatever the default
//   %ld %lu %lx                     32-bit, as long is on Windows
// Everything else (flags, width, precision, '*', the C99 length modifiers) is passed to the C
// library one conversion at a time. %n is not supported: its argument is consumed and nothing is
// written. A format with positional arguments ("%1$s") goes to vsnprintf as it is, so it may use
// only the C conversions.
#ifndef VELA_PLATFORM_WINFORMAT_H_
#define VELA_PLATFORM_WINFORMAT_H_

#include <cstdarg>
#include <cstddef>
#include <string>

// Formats into buffer[size], always terminated when size > 0, cutting what does not fit.
// Gives the number of characters stored, without the terminator.
size_t WinVsnprintf(char* buffer, size_t size, const char* format, va_list args);
size_t WinSnprintf(char* buffer, size_t size, const char* format, ...);

// The whole formatted text, uncut.
std::string WinVFormat(const char* format, va_list args);

#endif  // VELA_PLATFORM_WINFORMAT_H_
