// The run environment of the Windows build. The provider reads the system's registry and finds
// the proxy's configuration the way it does under the disk service; what a run sets (the proxy's
// ConfigurationFile for --conf, a debug log file when none is named) is written there, into the
// keys the provider reads. There is no simulator in this build: it reaches a proxy service (or a
// tidegate-sim on another host) through its tidegate.conf.
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "platform/registry_file.h"
#include "platform/strings.h"
#include "platform/system.h"
#include "platform/winerror.h"
#include "tools/vdsctl/environment.h"

namespace vdsctl {

namespace fs = std::filesystem;

namespace {

struct RootKey {
  const char* name;
  HKEY key;
};

// Puts back one value as it was before the run: its old data, or no value.
std::function<void()> RestoreValue(HKEY root, const std::u16string& subKey,
                                   const std::u16string& name) {
  HKEY key = nullptr;
  DWORD type = REG_NONE;
  DWORD size = 0;
  std::vector<BYTE> old;
  bool existed = false;
  if (RegOpenKeyExW(root, subKey.c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS) {
    if (RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size) == ERROR_SUCCESS) {
      old.resize(size);
      existed =
          RegQueryValueExW(key, name.c_str(), nullptr, &type, old.data(), &size) == ERROR_SUCCESS;
    }
    RegCloseKey(key);
  }
  return [=] {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(root, subKey.c_str(), 0, KEY_WRITE, &opened) != ERROR_SUCCESS) return;
    if (existed) {
      RegSetValueExW(opened, name.c_str(), 0, type, old.data(), static_cast<DWORD>(old.size()));
    } else {
      RegDeleteValueW(opened, name.c_str());
    }
    RegCloseKey(opened);
  };
}

// Writes every value of `tree` into the system's registry, adding to *restore how to put each
// back. False with the reason on a failure.
bool ApplyToRegistry(const RegistryTree& tree, std::vector<std::function<void()>>* restore,
                     std::string* problem) {
  const RootKey roots[] = {{"HKEY_LOCAL_MACHINE\\", HKEY_LOCAL_MACHINE},
                           {"HKEY_CLASSES_ROOT\\", HKEY_CLASSES_ROOT}};
  for (const auto& [lowerPath, key] : tree) {
    if (key.values.empty()) continue;
    const RootKey* root = nullptr;
    for (const RootKey& candidate : roots) {
      if (RegistryLower(key.path).rfind(RegistryLower(candidate.name), 0) == 0) root = &candidate;
    }
    if (root == nullptr) continue;
    const std::u16string subKey = Utf8ToUtf16(key.path.substr(std::string(root->name).size()));
    HKEY opened = nullptr;
    LONG status = RegCreateKeyExW(root->key, subKey.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                  KEY_WRITE, nullptr, &opened, nullptr);
    for (auto value = key.values.begin(); status == ERROR_SUCCESS && value != key.values.end();
         ++value) {
      const std::u16string name = Utf8ToUtf16(value->second.name);
      restore->push_back(RestoreValue(root->key, subKey, name));
      status =
          RegSetValueExW(opened, name.c_str(), 0, value->second.type, value->second.data.data(),
                         static_cast<DWORD>(value->second.data.size()));
    }
    if (opened != nullptr) RegCloseKey(opened);
    if (status != ERROR_SUCCESS) {
      *problem =
          "Cannot write the registry key " + key.path + " (error " + std::to_string(status) + ").";
      return false;
    }
  }
  return true;
}

// The debug log file the system's registry names for the provider, or "".
std::string RegisteredLogFile() {
  const std::string path = std::string(kProviderDebugKey).substr(sizeof("HKEY_LOCAL_MACHINE"));
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
    return "";
  }
  char value[1024] = {};
  DWORD size = sizeof value - 1;
  DWORD type = REG_NONE;
  const LONG status =
      RegQueryValueExA(key, "FileName", nullptr, &type, reinterpret_cast<BYTE*>(value), &size);
  RegCloseKey(key);
  return status == ERROR_SUCCESS && type == REG_SZ ? std::string(value) : "";
}

}  // namespace

bool UseRegistryFile(const std::string& /*path*/, std::string* problem) {
  *problem =
      "--registry names a registry file, which only the Linux build reads; on Windows the "
      "provider reads the system's registry (import a file with: reg import FILE).";
  return false;
}

std::unique_ptr<RunEnvironment> RunEnvironment::Prepare(const EnvironmentOptions& options,
                                                        EnvironmentError* error) {
  std::unique_ptr<RunEnvironment> env(new RunEnvironment());
  auto fail = [&](ExitCode code, std::string message) {
    *error = EnvironmentError{code, std::move(message)};
    return nullptr;
  };
  if (options.simulate) {
    return fail(kExitBadArguments,
                "--simulate runs the simulator in this process, which only the Linux build "
                "has; start tidegate-sim and give its configuration with --conf.");
  }
  if (!options.hostViewPath.empty()) {
    return fail(kExitBadArguments,
                "--host-view stands for a host's WMI namespace and HBA adapters, which Windows "
                "has itself.");
  }
  std::error_code ec;
  if (!options.confPath.empty() && !fs::is_regular_file(options.confPath, ec)) {
    return fail(kExitFileError, "Cannot open the configuration file " + options.confPath + ".");
  }
  const fs::path temp =
      fs::temp_directory_path(ec) / ("vdsctl." + std::to_string(GetCurrentProcessId()));
  if (ec || !fs::create_directories(temp, ec)) {
    return fail(kExitFileError, "Cannot make a temporary folder.");
  }
  env->tempDir_ = temp.string();

  const std::string registered = RegisteredLogFile();
  const std::string confPath =
      options.confPath.empty() ? "" : fs::absolute(options.confPath, ec).string();
  std::vector<std::string> problems;
  std::string logFile;
  const std::string text =
      RunRegistry("", confPath, (temp / "provider.log").string(), &logFile, &problems);
  RegistryTree tree;
  ParseRegistryText(text, &tree, &problems);
  if (!registered.empty()) {
    // The system names its own log file: leave it.
    tree.erase(RegistryLower(kProviderDebugKey));
    logFile = registered;
  }
  if (std::string problem; !ApplyToRegistry(tree, &env->restore_, &problem)) {
    return fail(kExitFileError, problem);
  }
  env->providerLog_ = HostPath(logFile.c_str());
  return env;
}

RunEnvironment::~RunEnvironment() {
  for (auto step = restore_.rbegin(); step != restore_.rend(); ++step) (*step)();
  std::error_code ec;
  fs::remove_all(tempDir_, ec);
}

void RunEnvironment::RemoveFiles() {
  for (auto step = restore_.rbegin(); step != restore_.rend(); ++step) (*step)();
  restore_.clear();
  std::error_code ec;
  fs::remove_all(tempDir_, ec);
}

}  // namespace vdsctl
