#include <utility>

#include "platform/registry_file.h"
#include "tools/vdsctl/environment.h"

namespace vdsctl {
namespace {

// A string value's text: the low byte of each UTF-16 unit up to the terminator, as the
// provider narrows its log's file name.
std::string NarrowStringData(const std::vector<uint8_t>& data) {
  std::string text;
  for (size_t i = 0; i + 1 < data.size(); i += 2) {
    if (data[i] == 0 && data[i + 1] == 0) break;
    text.push_back(static_cast<char>(data[i]));
  }
  return text;
}

}  // namespace

std::string RunRegistry(const std::string& base, const std::string& confPath,
                        const std::string& logPath, std::string* logFile,
                        std::vector<std::string>* problems) {
  RegistryTree tree;
  if (!base.empty() && !ParseRegistryText(base, &tree, problems)) return "";
  if (!confPath.empty()) {
    RegistryKey& key = RegistryAddKey(tree, kProxyParametersKey);
    RegistryValue value;
    value.name = "ConfigurationFile";
    value.type = REG_SZ;
    value.data = RegistryStringData(confPath);
    key.values[RegistryLower(value.name)] = std::move(value);
  }
  RegistryKey& debug = RegistryAddKey(tree, kProviderDebugKey);
  auto named = debug.values.find("filename");
  if (named != debug.values.end() && named->second.type == REG_SZ &&
      !NarrowStringData(named->second.data).empty()) {
    *logFile = NarrowStringData(named->second.data);
  } else {
    RegistryValue value;
    value.name = "FileName";
    value.type = REG_SZ;
    value.data = RegistryStringData(logPath);
    debug.values["filename"] = std::move(value);
    *logFile = logPath;
  }
  return FormatRegistryText(tree);
}

}  // namespace vdsctl
