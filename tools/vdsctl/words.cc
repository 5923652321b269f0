#include "tools/vdsctl/words.h"

#include <algorithm>
#include <cctype>
#include <limits>

namespace vdsctl {

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

bool ParseNumber(const std::string& text, ULONGLONG limit, ULONGLONG* value) {
  if (text.empty()) return false;
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const size_t start = hex ? 2 : 0;
  ULONGLONG result = 0;
  const ULONGLONG base = hex ? 16 : 10;
  for (size_t i = start; i < text.size(); ++i) {
    const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
    ULONGLONG digit = 0;
    if (c >= '0' && c <= '9') {
      digit = static_cast<ULONGLONG>(c - '0');
    } else if (hex && c >= 'a' && c <= 'f') {
      digit = static_cast<ULONGLONG>(c - 'a' + 10);
    } else {
      return false;
    }
    if (digit > limit || result > (limit - digit) / base) return false;
    result = result * base + digit;
  }
  if (start == text.size()) return false;
  *value = result;
  return true;
}

bool ParseBool(const std::string& text, bool* value) {
  const std::string word = Lower(text);
  if (word == "true" || word == "yes" || word == "1") {
    *value = true;
  } else if (word == "false" || word == "no" || word == "0") {
    *value = false;
  } else {
    return false;
  }
  return true;
}

bool ParseDrives(const std::string& text, std::vector<int>* drives, std::string* error) {
  size_t start = 0;
  while (start <= text.size()) {
    const size_t end = std::min(text.find(',', start), text.size());
    ULONGLONG index = 0;
    if (!ParseNumber(text.substr(start, end - start), std::numeric_limits<int>::max(), &index)) {
      *error = "drives= wants drive numbers separated by commas, not \"" + text + "\".";
      return false;
    }
    if (std::find(drives->begin(), drives->end(), static_cast<int>(index)) != drives->end()) {
      *error = "Drive " + std::to_string(index) + " is named twice in drives=.";
      return false;
    }
    drives->push_back(static_cast<int>(index));
    start = end + 1;
  }
  return true;
}

}  // namespace vdsctl
