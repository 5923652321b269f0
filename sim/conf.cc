#include "sim/conf.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace sim {

namespace {

std::string Trim(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// Decimal prefix, 0 for text that doesn't start with a digit.
uint32_t Number(const std::string& text) {
  uint64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') break;
    value = value * 10 + static_cast<uint64_t>(c - '0');
    if (value > UINT32_MAX) value = UINT32_MAX;
  }
  return static_cast<uint32_t>(value);
}

}  // namespace

ProxyConf ParseProxyConf(const std::string& text) {
  ProxyConf conf;
  size_t start = 0;
  for (size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
    std::string line = text.substr(start, end - start);
    while (!line.empty() && static_cast<unsigned char>(line.back()) <= 0x1F) line.pop_back();
    line = Trim(line);
    if (line.empty() || line[0] == '#') continue;
    const size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    const std::string label = line.substr(0, colon);
    std::string rest = line.substr(line.find_first_not_of(':', colon) == std::string::npos
                                       ? line.size()
                                       : line.find_first_not_of(':', colon));
    const std::string value = Trim(rest.substr(0, rest.find(':')));
    if (value.empty()) continue;
    if (label == "version  ") {
      conf.version = Number(value);
    } else if (label == "ipaddress") {
      conf.address = value;
    } else if (label == "username ") {
      conf.user = value.substr(0, 32);
    } else if (label == "password ") {
      conf.password = value.substr(0, 48);
    } else if (label == "port     ") {
      conf.port = static_cast<uint16_t>(Number(value));
    }
  }
  return conf;
}

bool LoadProxyConf(const std::string& path, ProxyConf* conf, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    *error = "cannot open " + path;
    return false;
  }
  std::stringstream text;
  text << in.rdbuf();
  *conf = ParseProxyConf(text.str());
  if (conf->user.empty() || conf->password.empty()) {
    *error = path + " names no user name or no password";
    return false;
  }
  return true;
}

std::string FormatProxyConf(const ProxyConf& conf) {
  return "version  : " + std::to_string(conf.version) + "\nipaddress: " + conf.address +
         "\nport     : " + std::to_string(conf.port) + "\nusername : " + conf.user +
         "\npassword : " + conf.password + "\n";
}

}  // namespace sim
