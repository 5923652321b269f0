#include "platform/winformat.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/strings.h"
#include "platform/wintypes.h"

namespace {

// kLong is Windows' 32-bit long: %ld takes a LONG, read as int like the default.
enum class Size {
  kDefault,
  kChar,
  kShort,
  kLong,
  kLongLong,
  kSizeT,
  kIntMax,
  kPtrDiff,
  kLongDouble
};

// Formats one conversion whose C form is `spec` (e.g. "%-8.3lld"), giving its text.
template <class T>
void AppendOne(std::string& out, const std::string& spec, bool hasWidthArg, int width,
               bool hasPrecArg, int precision, T value) {
  char small[128];
  int n;
  if (hasWidthArg && hasPrecArg) {
    n = std::snprintf(small, sizeof(small), spec.c_str(), width, precision, value);
  } else if (hasWidthArg) {
    n = std::snprintf(small, sizeof(small), spec.c_str(), width, value);
  } else if (hasPrecArg) {
    n = std::snprintf(small, sizeof(small), spec.c_str(), precision, value);
  } else {
    n = std::snprintf(small, sizeof(small), spec.c_str(), value);
  }
  if (n < 0) return;
  if (static_cast<size_t>(n) < sizeof(small)) {
    out.append(small, static_cast<size_t>(n));
    return;
  }
  std::string big(static_cast<size_t>(n) + 1, '\0');
  if (hasWidthArg && hasPrecArg) {
    std::snprintf(big.data(), big.size(), spec.c_str(), width, precision, value);
  } else if (hasWidthArg) {
    std::snprintf(big.data(), big.size(), spec.c_str(), width, value);
  } else if (hasPrecArg) {
    std::snprintf(big.data(), big.size(), spec.c_str(), precision, value);
  } else {
    std::snprintf(big.data(), big.size(), spec.c_str(), value);
  }
  out.append(big.data(), static_cast<size_t>(n));
}

bool HasPositionalArguments(const char* format) {
  for (const char* p = format; *p != '\0'; ++p) {
    if (*p != '%') continue;
    ++p;
    if (*p == '%') continue;
    while (*p >= '0' && *p <= '9') ++p;
    if (*p == '$') return true;
    if (*p == '\0') break;
  }
  return false;
}

std::string CFormat(const char* format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  int n = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (n <= 0) return std::string();
  std::string out(static_cast<size_t>(n) + 1, '\0');
  std::vsnprintf(out.data(), out.size(), format, args);
  out.resize(static_cast<size_t>(n));
  return out;
}

}  // namespace

std::string WinVFormat(const char* format, va_list args) {
  if (format == nullptr) return std::string();
  if (HasPositionalArguments(format)) return CFormat(format, args);

  std::string out;
  const char* p = format;
  while (*p != '\0') {
    if (*p != '%') {
      const char* next = std::strchr(p, '%');
      size_t len = next ? static_cast<size_t>(next - p) : std::strlen(p);
      out.append(p, len);
      p += len;
      continue;
    }
    const char* start = p++;
    if (*p == '%') {
      out += '%';
      ++p;
      continue;
    }
    std::string spec = "%";
    while (*p != '\0' && std::strchr("-+ #0'", *p) != nullptr) spec += *p++;
    bool hasWidthArg = false, hasPrecArg = false;
    int width = 0, precision = 0;
    if (*p == '*') {
      hasWidthArg = true;
      width = va_arg(args, int);
      spec += *p++;
    } else {
      while (*p >= '0' && *p <= '9') spec += *p++;
    }
    if (*p == '.') {
      spec += *p++;
      if (*p == '*') {
        hasPrecArg = true;
        precision = va_arg(args, int);
        spec += *p++;
      } else {
        while (*p >= '0' && *p <= '9') spec += *p++;
      }
    }
    Size size = Size::kDefault;
    bool wide = false, narrow = false;
    if (std::strncmp(p, "I64", 3) == 0) {
      size = Size::kLongLong;
      p += 3;
    } else if (std::strncmp(p, "I32", 3) == 0) {
      p += 3;
    } else if (*p == 'I') {
      size = Size::kSizeT;
      ++p;
    } else if (p[0] == 'h' && p[1] == 'h') {
      size = Size::kChar;
      p += 2;
    } else if (p[0] == 'l' && p[1] == 'l') {
      size = Size::kLongLong;
      p += 2;
    } else if (*p == 'h') {
      size = Size::kShort;
      narrow = true;
      ++p;
    } else if (*p == 'l') {
      size = Size::kLong;
      wide = true;
      ++p;
    } else if (*p == 'w') {
      wide = true;
      ++p;
    } else if (*p == 'q') {
      size = Size::kLongLong;
      ++p;
    } else if (*p == 'z') {
      size = Size::kSizeT;
      ++p;
    } else if (*p == 'j') {
      size = Size::kIntMax;
      ++p;
    } else if (*p == 't') {
      size = Size::kPtrDiff;
      ++p;
    } else if (*p == 'L') {
      size = Size::kLongDouble;
      ++p;
    }
    char conv = *p;
    if (conv == '\0') {
      out.append(start);  // a dangling '%...' is printed as it stands
      break;
    }
    ++p;
    switch (conv) {
      case 'd':
      case 'i':
        spec += "lld";
        switch (size) {
          case Size::kLongLong:
            AppendOne(out, spec, hasWidthArg, width, hasPrecArg, precision,
                      static_cast<long long>(va_arg(args, long long)));
            break;
          case Size::kSizeT:
          case Size::kPtrDiff:
            AppendOne(out, spec, hasWidthArg, width, hasPrecArg, precision,
                      static_cast<long long>(va_arg(args, ptrdiff_t)));
            break;
          case Size::kIntMax:
            AppendOne(out, spec, hasWidthArg, width, hasPrecArg, precision,
                      static_cast<long long>(va_arg(args, intmax_t)));
            break;
          case Size::kChar:
            AppendOne(out, spec, hasWidthArg, width, hasPrecArg, precision,
                      static_cast<long long>(static_cast<signed char>(va_arg(args, int))));
            break;
          case Size::kShort:
            AppendOne(out, spec, hasWidthArg, width, hasPrecArg, precision,
                      static_cast<long long>(static_cast<short>(va_arg(args, int))));
            break;
          default:
            AppendOne(out, spec, hasWidthArg, width, hasPrecArg, precision,
                      static_cast<long long>(va_arg(args, int)));
            break;
        }
        break;
      case 'u':
      case 'o':
      case 'x':
      case 'X': {
        spec += "ll";
        spec += conv;
        unsigned long long value;
        switch (size) {
          case Size::kLongLong:
            value = va_arg(args, unsigned long long);
            break;
          case Size::kSizeT:
          case Size::kPtrDiff:
            value = va_arg(args, size_t);
            break;
          case Size::kIntMax:
            value = va_arg(args, uintmax_t);
            break;
          case Size::kChar:
            value = static_cast<unsigned char>(va_arg(args, unsigned int));
            break;
          case Size::kShort:
            value = static_cast<unsigned short>(va_arg(args, unsigned int));
            break;
          default:
            value = va_arg(args, unsigned int);
            break;
        }
        AppendOne(out, spec, hasWidthArg, width, hasPrecArg, precision, value);
        break;
      }
      case 'c':
      case 'C': {
        int value = va_arg(args, int);
        if ((conv == 'C' && !narrow) || wide) {
          char16_t unit[2] = {static_cast<char16_t>(value), 0};
          spec += 's';
          AppendOne(out, spec, hasWidthArg, width, false, 0, Utf16ToUtf8(unit).c_str());
        } else {
          spec += 'c';
          AppendOne(out, spec, hasWidthArg, width, hasPrecArg, precision, value);
        }
        break;
      }
      case 's':
      case 'S': {
        spec += 's';
        if ((conv == 'S' && !narrow) || wide) {
          auto text = va_arg(args, const WCHAR*);
          std::string utf8 = text ? Utf16ToUtf8(text) : std::string("(null)");
          AppendOne(out, spec, hasWidthArg, width, hasPrecArg, precision, utf8.c_str());
        } else {
          auto text = va_arg(args, const char*);
          AppendOne(out, spec, hasWidthArg, width, hasPrecArg, precision, text ? text : "(null)");
        }
        break;
      }
      case 'p':
        spec += 'p';
        AppendOne(out, spec, hasWidthArg, width, hasPrecArg, precision, va_arg(args, void*));
        break;
      case 'f':
      case 'F':
      case 'e':
      case 'E':
      case 'g':
      case 'G':
      case 'a':
      case 'A':
        if (size == Size::kLongDouble) {
          spec += 'L';
          spec += conv;
          AppendOne(out, spec, hasWidthArg, width, hasPrecArg, precision,
                    va_arg(args, long double));
        } else {
          spec += conv;
          AppendOne(out, spec, hasWidthArg, width, hasPrecArg, precision, va_arg(args, double));
        }
        break;
      case 'n':
        (void)va_arg(args, void*);
        break;
      default:
        out.append(start, static_cast<size_t>(p - start));  // unknown: shown, no argument taken
        break;
    }
  }
  return out;
}

size_t WinVsnprintf(char* buffer, size_t size, const char* format, va_list args) {
  if (buffer == nullptr || size == 0) return 0;
  std::string text = WinVFormat(format, args);
  size_t n = text.size() < size ? text.size() : size - 1;
  std::memcpy(buffer, text.data(), n);
  buffer[n] = '\0';
  return n;
}

size_t WinSnprintf(char* buffer, size_t size, const char* format, ...) {
  va_list args;
  va_start(args, format);
  size_t n = WinVsnprintf(buffer, size, format, args);
  va_end(args);
  return n;
}
