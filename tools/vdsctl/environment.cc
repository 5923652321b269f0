#include "tools/vdsctl/environment.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <vector>

#include "platform/registry.h"
#include "platform/registry_file.h"
#include "platform/system.h"
#include "sim/log.h"
#include "sim/simulator.h"

namespace vdsctl {

namespace fs = std::filesystem;

namespace {

constexpr char kDefaultRegistryFile[] = "/etc/velavds/registry.reg";

bool ReadFile(const std::string& path, std::string* text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  *text = buffer.str();
  return !in.bad();
}

bool WriteFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  return static_cast<bool>(out);
}

std::string MakeTempDir() {
  const char* base = std::getenv("TMPDIR");
  std::string pattern =
      std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/vdsctl.XXXXXX";
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  if (mkdtemp(buffer.data()) == nullptr) return "";
  return buffer.data();
}

}  // namespace

std::string ResolveInventory(const std::string& name) {
  std::error_code ec;
  if (fs::is_regular_file(name, ec)) return name;
  if (name.find('/') != std::string::npos) return "";
  for (const std::string& candidate : {std::string(VDSCTL_INVENTORY_DIR "/") + name + ".json",
                                       std::string(VDSCTL_INVENTORY_DIR "/") + name}) {
    if (fs::is_regular_file(candidate, ec)) return candidate;
  }
  return "";
}

std::unique_ptr<RunEnvironment> RunEnvironment::Prepare(const EnvironmentOptions& options,
                                                        EnvironmentError* error) {
  std::unique_ptr<RunEnvironment> env(new RunEnvironment());
  auto fail = [&](ExitCode code, std::string message) {
    *error = EnvironmentError{code, std::move(message)};
    return nullptr;
  };

  // The registry file the provider would read without us.
  std::string registryPath = options.registryPath;
  const bool registryNamed = !registryPath.empty();
  if (!registryNamed) {
    const char* env_path = std::getenv("VELA_REGISTRY");
    registryPath = env_path != nullptr && *env_path != '\0' ? env_path : kDefaultRegistryFile;
  }
  std::error_code ec;
  if (registryNamed && !fs::is_regular_file(registryPath, ec)) {
    return fail(kExitFileError, "Cannot open the registry file " + registryPath + ".");
  }
  if (!options.confPath.empty() && !fs::is_regular_file(options.confPath, ec)) {
    return fail(kExitFileError, "Cannot open the configuration file " + options.confPath + ".");
  }
  std::string inventory;
  if (options.simulate && !options.inventory.empty()) {
    inventory = ResolveInventory(options.inventory);
    if (inventory.empty()) {
      return fail(kExitFileError, "Cannot find the inventory " + options.inventory + ".");
    }
  }

  if (!options.simulate && !options.hostViewPath.empty()) {
    if (!fs::is_regular_file(options.hostViewPath, ec)) {
      return fail(kExitFileError, "Cannot open the host view " + options.hostViewPath + ".");
    }
    setenv("VELA_HOST_VIEW", fs::absolute(options.hostViewPath, ec).c_str(), 1);
  }

  env->tempDir_ = MakeTempDir();
  if (env->tempDir_.empty()) {
    return fail(kExitFileError, "Cannot make a temporary folder.");
  }
  std::string confPath =
      options.confPath.empty() ? "" : fs::absolute(options.confPath, ec).string();
  if (options.simulate) {
    sim::SimOptions simOptions;
    simOptions.inventory_path = inventory;
    simOptions.listen = "127.0.0.1:0";
    simOptions.pipe_dir = env->tempDir_;
    simOptions.host_view_path = options.hostViewPath.empty()
                                    ? env->tempDir_ + "/host-view.json"
                                    : fs::absolute(options.hostViewPath, ec).string();
    setenv("VELA_HOST_VIEW", simOptions.host_view_path.c_str(), 1);
    // The built-in array stands in for a proxy on another host: its operator lines (a heartbeat
    // that races the provider's unload, a closed session) are not the tool's output.
    sim::SetSimLogSink([](const std::string&) {});
    std::string why;
    env->simulator_ = sim::Simulator::Start(simOptions, &why);
    if (!env->simulator_) {
      return fail(kExitServiceFailure, "The simulator did not start: " + why);
    }
    confPath = env->tempDir_ + "/tidegate.conf";
    if (!WriteFile(confPath, env->simulator_->ConfigurationText())) {
      return fail(kExitFileError, "Cannot write " + confPath + ".");
    }
  }

  std::string base;
  if (fs::is_regular_file(registryPath, ec) && !ReadFile(registryPath, &base)) {
    return fail(kExitFileError, "Cannot read the registry file " + registryPath + ".");
  }
  std::vector<std::string> problems;
  std::string logFile;
  const std::string registry =
      RunRegistry(base, confPath, env->tempDir_ + "/provider.log", &logFile, &problems);
  if (registry.empty()) {
    return fail(kExitFileError, registryPath + " is not a registry file.");
  }
  // The provider reads the merged copy, so the problems of the file are ours to tell.
  for (const std::string& problem : problems) {
    env->warnings_.push_back("registry file " + registryPath + ": " + problem);
  }
  env->providerLog_ = HostPath(logFile.c_str());
  const std::string tempRegistry = env->tempDir_ + "/registry.reg";
  if (!WriteFile(tempRegistry, registry)) {
    return fail(kExitFileError, "Cannot write " + tempRegistry + ".");
  }
  setenv("VELA_REGISTRY", tempRegistry.c_str(), 1);
  // The provider looks in the system folder before the registry; ours holds at most the
  // simulator's tidegate.conf, so that --conf is what counts when it is given.
  if (!confPath.empty()) setenv("VELA_SYSTEM_DIR", env->tempDir_.c_str(), 1);
  // A real proxy looks for the heartbeat pipe where it always does; only our simulator is told
  // about the private folder.
  if (options.simulate) setenv("VELA_PIPE_DIR", env->tempDir_.c_str(), 1);
  return env;
}

bool UseRegistryFile(const std::string& path, std::string* /*problem*/) {
  std::error_code ec;
  const std::string absolute = fs::absolute(path, ec).string();
  SetRegistryFile(absolute);
  // A module registering itself writes through its own registry, which reads this.
  setenv("VELA_REGISTRY", absolute.c_str(), 1);
  return true;
}

RunEnvironment::~RunEnvironment() {
  if (simulator_) simulator_->Stop();
  simulator_.reset();
  std::error_code ec;
  fs::remove_all(tempDir_, ec);
}

void RunEnvironment::RemoveFiles() {
  std::error_code ec;
  fs::remove_all(tempDir_, ec);
  // The named pipe the provider listens on for this process: VELA_Proxy_<n> in $VELA_PIPE_DIR,
  // <n> the low 16 bits of the process id. Its unload would remove it.
  const char* pipeDir = std::getenv("VELA_PIPE_DIR");
  const std::string dir = pipeDir != nullptr && *pipeDir != '\0' ? pipeDir : "/tmp";
  fs::remove(dir + "/VELA_Proxy_" + std::to_string(getpid() & 0xFFFF), ec);
}

}  // namespace vdsctl
