#include "tools/vdsctl/script_text.h"

#include "platform/strings.h"

namespace vdsctl {

bool DecodeScriptText(const std::string& bytes, std::string* text) {
  auto startsWith = [&](const char* mark, size_t size) {
    return bytes.size() >= size && bytes.compare(0, size, mark, size) == 0;
  };
  if (startsWith("\xEF\xBB\xBF", 3)) {
    *text = bytes.substr(3);
    return true;
  }
  const bool little = startsWith("\xFF\xFE", 2);
  if (!little && !startsWith("\xFE\xFF", 2)) {
    *text = bytes;
    return true;
  }
  if (bytes.size() % 2 != 0) return false;
  std::u16string wide;
  wide.reserve(bytes.size() / 2);
  for (size_t i = 2; i + 1 < bytes.size(); i += 2) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    wide.push_back(static_cast<char16_t>(little ? first | (second << 8) : (first << 8) | second));
  }
  *text = Utf16ToUtf8(std::u16string_view(wide));
  return true;
}

}  // namespace vdsctl
