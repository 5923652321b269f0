// `vdsctl shell`: DiskRAID's focus model over the one-shot commands. A selection is kept by the
// object's id, which the provider keeps stable across refreshes, so the focus survives them.
// Objects of a subsystem are selected within the selected subsystem (or the only one there is).
#ifndef VELA_TOOLS_VDSCTL_SHELL_H_
#define VELA_TOOLS_VDSCTL_SHELL_H_

#include <array>
#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "platform/guid.h"
#include "tools/vdsctl/commands.h"
#include "tools/vdsctl/line_source.h"
#include "tools/vdsctl/maintenance_commands.h"
#include "tools/vdsctl/provider_log.h"
#include "tools/vdsctl/provision_commands.h"
#include "tools/vdsctl/shell_syntax.h"
#include "tools/vdsctl/size_commands.h"

namespace vdsctl {

class Shell {
 public:
  Shell(Model* model, Commands* commands, Output* output);
  Shell(const Shell&) = delete;
  Shell& operator=(const Shell&) = delete;

  // Reads commands up to "exit" or the end of `in`. Interactive: a prompt before each line, and
  // a failed command does not end the session. A script stops at its first failure and gives
  // that command's exit code.
  ExitCode Run(std::istream& in, bool interactive);
  ExitCode Run(LineSource& lines, bool interactive);

  // The provider's log, so that a refresh that empties the tree can say why. Optional.
  void SetProviderLog(const ProviderLog* log) { log_ = log; }

  // One line; sets *exit on "exit". A line ending in the word "noerr" reports its failure but
  // gives kExitOk, so that a script goes on.
  ExitCode Execute(const std::string& line, bool* exit);

  // Enables "create lun ..." and "unmask [lun N] all|none|LIST" (on the selected LUN).
  void SetProvisioning(ProvisionCommands* provision) { provision_ = provision; }
  // Enables delete, name, hints, applyhints, associate, setflag, maintenance, flushcache,
  // invalidatecache and reenumerate (provider, subsystem N); without a number they work on the
  // selected object.
  void SetMaintenance(MaintenanceCommands* maintenance) { maintenance_ = maintenance; }
  // Enables "maxsize ...", "extend lun N ..." and "shrink lun N ...".
  void SetSizing(SizeCommands* sizes) { sizes_ = sizes; }

 private:
  static constexpr size_t kKinds = 7;

  ExitCode ExecuteOne(const std::string& line, bool* exit);
  // The changing commands; nothing when the line is none of them.
  std::optional<ExitCode> Provision(const std::vector<std::string>& words);
  ExitCode Select(const ShellCommand& command);
  ExitCode ShowSelection(Kind kind);
  ExitCode List(Kind kind);
  ExitCode Detail(std::optional<Kind> kind);
  ExitCode Done(const std::string& what);
  ExitCode Refresh();
  // The subsystem that scopes the per-subsystem kinds: the selected one, else the only one.
  // Nothing (and kExitOk) when there is no selection and more than one subsystem.
  ExitCode ScopeSubsystem(std::optional<int>* subsystem);
  std::optional<GUID>& Focus(Kind kind) { return focus_[static_cast<size_t>(kind)]; }

  Model* model_;
  Commands* commands_;
  Output* output_;
  const ProviderLog* log_ = nullptr;
  ProvisionCommands* provision_ = nullptr;
  MaintenanceCommands* maintenance_ = nullptr;
  SizeCommands* sizes_ = nullptr;
  std::array<std::optional<GUID>, kKinds> focus_;  // selected object of each kind
  std::optional<Kind> last_;                       // kind of the latest selection
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_SHELL_H_
