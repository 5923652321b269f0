// The LUN's host paths and load balance policy (IVdsLunMpio) and path status by HBA port
// (IVdsHwProviderPrivateMpio). LUNs are named as the lists number them, within a subsystem.
#ifndef VELA_TOOLS_VDSCTL_MULTIPATH_COMMANDS_H_
#define VELA_TOOLS_VDSCTL_MULTIPATH_COMMANDS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/vds.h"
#include "tools/vdsctl/call_error.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/output.h"

namespace vdsctl {

// "failover", "roundrobin", "roundrobinsubset", "leastqueue", "weighted", "leastblocks",
// "vendor", "unknown".
std::string PolicyName(VDS_LOADBALANCE_POLICY_ENUM policy);
// A name above or a number; nothing for anything else.
std::optional<VDS_LOADBALANCE_POLICY_ENUM> ParsePolicy(const std::string& word);
// "online", "failed", "standby", "unknown" or a number.
std::optional<VDS_PATH_STATUS> ParsePathStatus(const std::string& word);
// 16 hex digits, with or without colons.
bool ParseWwn(const std::string& text, VDS_WWN* wwn);

// What `lbpolicy ... set` asks for beyond the policy: primary=ID,... and weight=ID:W,...
struct PolicyRequest {
  VDS_LOADBALANCE_POLICY_ENUM policy = VDS_LBP_UNKNOWN;
  std::vector<uint64_t> primary;
  std::vector<std::pair<uint64_t, ULONG>> weights;
};
// Parses "primary=..." and "weight=..." words; false with *problem set on anything else.
bool ParsePolicyWords(const std::vector<std::string>& words, PolicyRequest* request,
                      std::string* problem);

class MultipathCommands {
 public:
  // `provider` must stay loaded while the commands are used.
  MultipathCommands(IVdsProvider* provider, Model* model, Output* output);
  MultipathCommands(const MultipathCommands&) = delete;
  MultipathCommands& operator=(const MultipathCommands&) = delete;

  ExitCode ListPaths(int subsystem, int lun);
  ExitCode ShowPolicy(int subsystem, int lun);
  ExitCode SetPolicy(int subsystem, int lun, const PolicyRequest& request);
  ExitCode ShowSupportedPolicies(int subsystem, int lun);
  ExitCode SetPathStatus(const VDS_WWN& hbaPort, VDS_PATH_STATUS status);

 private:
  // The LUN's IVdsLunMpio; kExitSyntax (reported) when there is no such LUN.
  ExitCode FindLun(int subsystem, int lun, ComPtr<IVdsLunMpio>* mpio);
  ExitCode WritePolicy(IVdsLunMpio* mpio, int lun);

  IVdsProvider* provider_;
  Model* model_;
  Output* output_;
};

// Runs one of "paths" (the words after "list paths"), "lbpolicy", "lbpolicies",
// "setpathstatus" on its words:
//   paths         lun N
//   lbpolicy      lun N [set POLICY [primary=PATHID,...] [weight=PATHID:W,...]]
//   lbpolicies    lun N
//   setpathstatus hbaport WWN online|failed|standby|unknown|NUMBER
// Words that don't fit are reported with the form and give kExitBadArguments.
ExitCode RunMultipathCommand(const std::string& command, const std::vector<std::string>& words,
                             int subsystem, MultipathCommands* commands, Output* output);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_MULTIPATH_COMMANDS_H_
