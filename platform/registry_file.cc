#include "platform/registry_file.h"

#include <cctype>
#include <cstdio>
#include <sstream>

#include "platform/strings.h"

namespace {

constexpr char kHeader[] = "Windows Registry Editor Version 5.00";

const char* const kRoots[] = {"HKEY_LOCAL_MACHINE", "HKEY_CLASSES_ROOT"};

std::string Trim(const std::string& text) {
  size_t begin = 0, end = text.size();
  while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
  while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
  return text.substr(begin, end - begin);
}

bool KnownRoot(const std::string& path) {
  std::string root = RegistryLower(path.substr(0, path.find('\\')));
  for (const char* known : kRoots) {
    if (root == RegistryLower(known)) return true;
  }
  return false;
}

// Reads a quoted string starting at text[pos] == '"'; pos ends after the closing quote.
bool ReadQuoted(const std::string& text, size_t& pos, std::string* out) {
  if (pos >= text.size() || text[pos] != '"') return false;
  ++pos;
  out->clear();
  while (pos < text.size()) {
    char c = text[pos++];
    if (c == '"') return true;
    if (c == '\\') {
      if (pos >= text.size()) return false;
      char escaped = text[pos++];
      if (escaped != '\\' && escaped != '"') return false;
      c = escaped;
    }
    *out += c;
  }
  return false;
}

bool ReadHexBytes(const std::string& text, std::vector<uint8_t>* out) {
  out->clear();
  std::string item;
  std::istringstream in(text);
  while (std::getline(in, item, ',')) {
    item = Trim(item);
    if (item.empty() && in.eof()) break;  // a trailing comma
    if (item.size() != 2 || !std::isxdigit(static_cast<unsigned char>(item[0])) ||
        !std::isxdigit(static_cast<unsigned char>(item[1]))) {
      return false;
    }
    out->push_back(static_cast<uint8_t>(std::stoul(item, nullptr, 16)));
  }
  return true;
}

// Parses the part after '=' of a value line. `erase` is set for "-".
bool ReadData(const std::string& spec, RegistryValue* value, bool* erase, std::string* why) {
  *erase = false;
  if (spec == "-") {
    *erase = true;
    return true;
  }
  if (!spec.empty() && spec[0] == '"') {
    size_t pos = 0;
    std::string text;
    if (!ReadQuoted(spec, pos, &text) || !Trim(spec.substr(pos)).empty()) {
      *why = "bad string value";
      return false;
    }
    value->type = REG_SZ;
    value->data = RegistryStringData(text);
    return true;
  }
  if (spec.rfind("dword:", 0) == 0) {
    std::string digits = spec.substr(6);
    if (digits.empty() || digits.size() > 8) {
      *why = "bad dword value";
      return false;
    }
    for (char c : digits) {
      if (!std::isxdigit(static_cast<unsigned char>(c))) {
        *why = "bad dword value";
        return false;
      }
    }
    auto number = static_cast<uint32_t>(std::stoul(digits, nullptr, 16));
    value->type = REG_DWORD;
    value->data = {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8),
                   static_cast<uint8_t>(number >> 16), static_cast<uint8_t>(number >> 24)};
    return true;
  }
  if (spec.rfind("hex", 0) == 0) {
    size_t colon = spec.find(':');
    std::string kind = spec.substr(3, colon == std::string::npos ? 0 : colon - 3);
    DWORD type = REG_BINARY;
    if (colon == std::string::npos) {
      *why = "bad hex value";
      return false;
    }
    if (!kind.empty()) {
      if (kind.size() < 3 || kind.front() != '(' || kind.back() != ')' || kind.size() > 10) {
        *why = "bad hex type";
        return false;
      }
      std::string number = kind.substr(1, kind.size() - 2);
      for (char c : number) {
        if (!std::isxdigit(static_cast<unsigned char>(c))) {
          *why = "bad hex type";
          return false;
        }
      }
      type = static_cast<DWORD>(std::stoul(number, nullptr, 16));
    }
    if (!ReadHexBytes(spec.substr(colon + 1), &value->data)) {
      *why = "bad hex bytes";
      return false;
    }
    value->type = type;
    return true;
  }
  *why = "unknown value type";
  return false;
}

std::string Escape(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '\\' || c == '"') out += '\\';
    out += c;
  }
  return out;
}

// The UTF-8 text of a string value's data, up to its terminator.
std::string StringOfData(const std::vector<uint8_t>& data) {
  std::u16string wide;
  for (size_t i = 0; i + 1 < data.size(); i += 2) {
    char16_t c = static_cast<char16_t>(data[i] | (data[i + 1] << 8));
    if (c == 0) break;
    wide += c;
  }
  return Utf16ToUtf8(wide);
}

}  // namespace

std::string RegistryLower(const std::string& text) {
  std::string out = text;
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

RegistryKey& RegistryAddKey(RegistryTree& tree, const std::string& path) {
  size_t pos = 0;
  RegistryKey* key = nullptr;
  for (;;) {
    size_t slash = path.find('\\', pos);
    std::string prefix = path.substr(0, slash);
    RegistryKey& entry = tree[RegistryLower(prefix)];
    if (entry.path.empty()) entry.path = prefix;
    key = &entry;
    if (slash == std::string::npos) break;
    pos = slash + 1;
  }
  return *key;
}

void RegistryRemoveTree(RegistryTree& tree, const std::string& path) {
  std::string lower = RegistryLower(path);
  auto it = tree.lower_bound(lower);
  while (it != tree.end() && it->first.compare(0, lower.size(), lower) == 0) {
    if (it->first.size() == lower.size() || it->first[lower.size()] == '\\') {
      it = tree.erase(it);
    } else {
      ++it;
    }
  }
}

std::vector<uint8_t> RegistryStringData(const std::string& utf8) {
  std::vector<uint8_t> data;
  for (char16_t c : Utf8ToUtf16(utf8)) {
    data.push_back(static_cast<uint8_t>(c));
    data.push_back(static_cast<uint8_t>(c >> 8));
  }
  data.push_back(0);
  data.push_back(0);
  return data;
}

bool ParseRegistryText(const std::string& input, RegistryTree* tree,
                       std::vector<std::string>* errors) {
  tree->clear();
  std::string text = input;
  if (text.size() >= 2 && static_cast<uint8_t>(text[0]) == 0xFF &&
      static_cast<uint8_t>(text[1]) == 0xFE) {
    std::u16string wide;  // regedit writes UTF-16LE with a byte order mark
    for (size_t i = 2; i + 1 < text.size(); i += 2) {
      wide += static_cast<char16_t>(static_cast<uint8_t>(text[i]) |
                                    (static_cast<uint8_t>(text[i + 1]) << 8));
    }
    text = Utf16ToUtf8(wide);
  } else if (text.rfind("\xEF\xBB\xBF", 0) == 0) {
    text.erase(0, 3);
  }

  auto complain = [errors](int line, const std::string& why) {
    if (errors != nullptr) errors->push_back("line " + std::to_string(line) + ": " + why);
  };

  std::istringstream in(text);
  std::string raw;
  int lineNumber = 0;
  bool sawHeader = false;
  RegistryKey* current = nullptr;
  bool inBadSection = false;
  while (std::getline(in, raw)) {
    ++lineNumber;
    int firstLine = lineNumber;
    std::string line = Trim(raw);
    while (!line.empty() && line.back() == '\\' && line.find("=hex") != std::string::npos &&
           std::getline(in, raw)) {
      ++lineNumber;
      line.pop_back();
      line += Trim(raw);
    }
    if (line.empty() || line[0] == ';') continue;
    if (!sawHeader) {
      if (line != kHeader) {
        complain(firstLine, "not a registry file (missing \"" + std::string(kHeader) + "\")");
        tree->clear();
        return false;
      }
      sawHeader = true;
      continue;
    }
    if (line[0] == '[') {
      current = nullptr;
      inBadSection = true;
      if (line.back() != ']') {
        complain(firstLine, "unterminated key name");
        continue;
      }
      std::string path = line.substr(1, line.size() - 2);
      bool remove = !path.empty() && path[0] == '-';
      if (remove) path.erase(0, 1);
      while (!path.empty() && path.back() == '\\') path.pop_back();
      if (path.empty() || !KnownRoot(path) || path.find("\\\\") != std::string::npos) {
        complain(firstLine, "unknown or empty key \"" + path + "\"");
        continue;
      }
      inBadSection = false;
      if (remove) {
        RegistryRemoveTree(*tree, path);
      } else {
        current = &RegistryAddKey(*tree, path);
      }
      continue;
    }
    if (current == nullptr) {
      if (!inBadSection) complain(firstLine, "value outside a key");
      continue;
    }
    RegistryValue value;
    size_t pos = 0;
    if (line[0] == '@') {
      pos = 1;
    } else if (!ReadQuoted(line, pos, &value.name)) {
      complain(firstLine, "bad value name");
      continue;
    }
    while (pos < line.size() && line[pos] == ' ') ++pos;
    if (pos >= line.size() || line[pos] != '=') {
      complain(firstLine, "missing '='");
      continue;
    }
    bool erase = false;
    std::string why;
    if (!ReadData(Trim(line.substr(pos + 1)), &value, &erase, &why)) {
      complain(firstLine, why);
      continue;
    }
    std::string key = RegistryLower(value.name);
    if (erase) {
      current->values.erase(key);
    } else {
      current->values[key] = std::move(value);
    }
  }
  return true;
}

std::string FormatRegistryText(const RegistryTree& tree) {
  std::string out = std::string(kHeader) + "\n";
  for (const auto& [lower, key] : tree) {
    (void)lower;
    out += "\n[" + key.path + "]\n";
    for (const auto& [lowerName, value] : key.values) {
      (void)lowerName;
      out += value.name.empty() ? "@=" : "\"" + Escape(value.name) + "\"=";
      if (value.type == REG_SZ) {
        out += "\"" + Escape(StringOfData(value.data)) + "\"\n";
      } else if (value.type == REG_DWORD && value.data.size() == 4) {
        char number[16];
        std::snprintf(number, sizeof(number), "dword:%08x",
                      value.data[0] | (value.data[1] << 8) | (value.data[2] << 16) |
                          (static_cast<uint32_t>(value.data[3]) << 24));
        out += std::string(number) + "\n";
      } else {
        char prefix[24] = "hex:";
        if (value.type != REG_BINARY) std::snprintf(prefix, sizeof(prefix), "hex(%x):", value.type);
        out += prefix;
        for (size_t i = 0; i < value.data.size(); ++i) {
          char byte[4];
          std::snprintf(byte, sizeof(byte), i == 0 ? "%02x" : ",%02x", value.data[i]);
          out += byte;
        }
        out += "\n";
      }
    }
  }
  return out;
}
