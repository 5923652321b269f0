#include "platform/strings.h"

namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

void AppendUtf16(std::u16string& out, char32_t c) {
  if (c < 0x10000) {
    out += static_cast<char16_t>(c);
  } else {
    c -= 0x10000;
    out += static_cast<char16_t>(0xD800 | (c >> 10));
    out += static_cast<char16_t>(0xDC00 | (c & 0x3FF));
  }
}

}  // namespace

size_t WcsLen(LPCWSTR text) {
  if (text == nullptr) return 0;
  size_t n = 0;
  while (text[n] != 0) ++n;
  return n;
}

size_t WcsCopyBounded(WCHAR* dest, size_t count, LPCWSTR src) {
  if (dest == nullptr || count == 0) return 0;
  size_t n = 0;
  if (src != nullptr) {
    while (n + 1 < count && src[n] != 0) {
      dest[n] = src[n];
      ++n;
    }
  }
  dest[n] = 0;
  return n;
}

std::string Utf16ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = kReplacement;
    }
    AppendUtf8(out, c);
  }
  return out;
}

std::string Utf16ToUtf8(LPCWSTR text) {
  return text == nullptr ? std::string() : Utf16ToUtf8(std::u16string_view(text, WcsLen(text)));
}

std::u16string Utf8ToUtf16(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  size_t i = 0;
  while (i < text.size()) {
    auto lead = static_cast<unsigned char>(text[i]);
    size_t extra;
    char32_t c;
    if (lead < 0x80) {
      extra = 0;
      c = lead;
    } else if ((lead & 0xE0) == 0xC0) {
      extra = 1;
      c = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
      extra = 2;
      c = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
      extra = 3;
      c = lead & 0x07;
    } else {
      AppendUtf16(out, kReplacement);
      ++i;
      continue;
    }
    size_t used = 1;
    bool ok = true;
    for (; used <= extra; ++used) {
      if (i + used >= text.size() || (static_cast<unsigned char>(text[i + used]) & 0xC0) != 0x80) {
        ok = false;
        break;
      }
      c = (c << 6) | (static_cast<unsigned char>(text[i + used]) & 0x3F);
    }
    static constexpr char32_t kMinimum[] = {0, 0x80, 0x800, 0x10000};
    if (!ok || c < kMinimum[extra] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
      AppendUtf16(out, kReplacement);
      i += used;  // the lead and the continuation bytes seen so far
      continue;
    }
    AppendUtf16(out, c);
    i += used;
  }
  return out;
}

std::string NarrowLowByte(LPCWSTR text) {
  std::string out;
  if (text == nullptr) return out;
  for (; *text != 0; ++text) out += static_cast<char>(*text & 0xFF);
  return out;
}
