// tidegate.conf, read the way the proxy client reads it: fixed-column labels nine characters
// wide ("version  ", "ipaddress", "username ", "password ", "port     "), a colon, a value.
#ifndef VELA_SIM_CONF_H_
#define VELA_SIM_CONF_H_

#include <cstdint>
#include <string>

namespace sim {

struct ProxyConf {
  uint32_t version = 0;
  std::string address;
  std::string user;
  std::string password;
  uint16_t port = 0;
};

// Parses the text of a conf file. A last line without a line end is ignored, as the client
// ignores it.
ProxyConf ParseProxyConf(const std::string& text);
// Reads and parses a file; false with *error when it can't be read or lacks user or password.
bool LoadProxyConf(const std::string& path, ProxyConf* conf, std::string* error);
// The text of a conf file with these values.
std::string FormatProxyConf(const ProxyConf& conf);

}  // namespace sim

#endif  // VELA_SIM_CONF_H_
