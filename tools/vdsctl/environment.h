// Everything a provider run needs around it before the module is loaded: the registry file, the
// proxy's configuration file, and for --simulate an in-process simulator. Settings reach the
// module through the environment (VELA_REGISTRY, VELA_SYSTEM_DIR, VELA_PIPE_DIR), because the
// module has its own copy of the platform layer. Temporary files live in one private folder
// that goes when the environment does.
#ifndef VELA_TOOLS_VDSCTL_ENVIRONMENT_H_
#define VELA_TOOLS_VDSCTL_ENVIRONMENT_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/vdsctl/call_error.h"

namespace sim {
class Simulator;
}  // namespace sim

namespace vdsctl {

struct EnvironmentOptions {
  std::string registryPath;  // --registry; empty: $VELA_REGISTRY or the default file
  std::string confPath;      // --conf: ConfigurationFile of the proxy's Parameters key
  bool simulate = false;
  std::string inventory;  // --simulate=INVENTORY: a file, or a name of the shipped inventories
  // --host-view: the host view the provider reads (VELA_HOST_VIEW); with --simulate the
  // simulator writes it (a private file when not given).
  std::string hostViewPath;
};

struct EnvironmentError {
  ExitCode code;
  std::string message;
};

class RunEnvironment {
 public:
  // Null with *error set when a named file is missing or unreadable (kExitFileError) or the
  // simulator does not start (kExitServiceFailure).
  static std::unique_ptr<RunEnvironment> Prepare(const EnvironmentOptions& options,
                                                 EnvironmentError* error);
  // Stops the simulator and removes the temporary folder. The provider must be unloaded first.
  ~RunEnvironment();
  RunEnvironment(const RunEnvironment&) = delete;
  RunEnvironment& operator=(const RunEnvironment&) = delete;

  // The provider's debug log on the host: the file the registry names, else one in the
  // private folder.
  const std::string& ProviderLogPath() const { return providerLog_; }

  // Problems of the registry file, "registry file F: line 7: ...", for standard error.
  const std::vector<std::string>& Warnings() const { return warnings_; }

  // Removes the temporary folder and the provider's heartbeat pipe at once: for an exit that
  // cannot wait for the provider's unload.
  void RemoveFiles();

 private:
  RunEnvironment() = default;

  std::string tempDir_;  // the temporary files
  std::string providerLog_;
  std::vector<std::string> warnings_;
  // Shared only for its deleter, bound where the simulator is made: builds without the
  // simulator (Windows) never need its type.
  std::shared_ptr<sim::Simulator> simulator_;
  // Run when the environment goes (Windows: the registry values the run set are put back).
  std::vector<std::function<void()>> restore_;
};

// --registry FILE, for the whole run: the registry the provider (and the registration commands)
// read. False with the reason where the system's own registry is used (Windows).
bool UseRegistryFile(const std::string& path, std::string* problem);

// The provider's debug key, whose FileName value names its log.
inline constexpr char kProviderDebugKey[] =
    "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Debug";

// The registry key under which the proxy service keeps its ConfigurationFile value.
inline constexpr char kProxyParametersKey[] =
    "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\tidegate\\Parameters";

// What vdsctl hands the provider as its registry: `base` (registry file text, or empty for an
// empty registry) with ConfigurationFile set to `confPath` when that is not empty, and a debug
// log file `logPath` when `base` names none. *logFile gets the log file the provider will use
// (a Windows path when `base` names it). Empty result when `base` is not a registry file;
// `problems` gets the lines that cannot be read.
std::string RunRegistry(const std::string& base, const std::string& confPath,
                        const std::string& logPath, std::string* logFile,
                        std::vector<std::string>* problems);

// The inventory file that `--simulate=NAME` means: NAME itself when it is a file, else
// NAME.json (or NAME) among the shipped inventories. Empty when neither exists.
std::string ResolveInventory(const std::string& name);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_ENVIRONMENT_H_
