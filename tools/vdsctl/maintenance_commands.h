// The administrator's changing commands beyond creation and masking: delete lun, name lun and
// subsystem, hints and applyhints, associate, setflag, maintenance (blink, beep), flushcache,
// invalidatecache, refresh and reenumerate, and the enclosure map. The one-shot form and the shell
// share the words (parsed here, so that a usage error names the word at fault) and the calls, which
// go through the provider's VDS interfaces.
#ifndef VELA_TOOLS_VDSCTL_MAINTENANCE_COMMANDS_H_
#define VELA_TOOLS_VDSCTL_MAINTENANCE_COMMANDS_H_

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/guid.h"
#include "platform/vds_types.h"
#include "tools/vdsctl/call_error.h"
#include "tools/vdsctl/commands.h"
#include "tools/vdsctl/kinds.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/object_ref.h"
#include "tools/vdsctl/output.h"

namespace vdsctl {

enum class MaintenanceVerb {
  kDelete,
  kName,
  kHints,
  kApplyHints,
  kAssociate,
  kSetFlag,
  kBlink,
  kUnblink,
  kBeep,
  kFlushCache,
  kInvalidateCache,
  kRefresh,
  kReenumerate,
  kShowEnclosures,
};

// One command as its words give it.
struct MaintenanceRequest {
  MaintenanceVerb verb = MaintenanceVerb::kDelete;
  std::optional<Kind> kind;         // none: the provider (refresh, reenumerate provider)
  std::optional<ObjectRef> object;  // none: the shell's selected object of `kind`
  std::string name;                 // name
  VDS_HINTS hints{};                // applyhints
  std::vector<int> ports;           // associate: port numbers as `list ports` prints them
  bool hotspare = false;            // setflag
  std::optional<ULONG> count;       // blink count=N: pulses
};

enum class ParseOutcome { kNotMine, kParsed, kBad };

// Parses a command line's words (the verb first). `selection`: the object may be left out, as in
// the shell, where the selected one is meant. kNotMine for a verb of another command ("refresh"
// and "reenumerate subsystems" as the shell has always taken them are not mine there); kBad with
// a one-line reason.
ParseOutcome ParseMaintenanceWords(const std::vector<std::string>& words, bool selection,
                                   MaintenanceRequest* request, std::string* error);

// The usage line of a verb word ("delete lun N").
std::string MaintenanceUsage(const std::string& verb);

class MaintenanceCommands {
 public:
  // `colour`: the enclosure map may use colours.
  MaintenanceCommands(Model* model, Commands* commands, Output* output, bool colour);
  MaintenanceCommands(const MaintenanceCommands&) = delete;
  MaintenanceCommands& operator=(const MaintenanceCommands&) = delete;

  // Runs `request` on the object it names within `subsystem` (per-subsystem kinds; the first
  // when none), or on `selected` when it names none.
  ExitCode Run(const MaintenanceRequest& request, std::optional<int> subsystem,
               std::optional<GUID> selected);

 private:
  ExitCode Failed(HRESULT hr, const char* call);
  ExitCode Done(const std::string& text);
  // The object's interface `iid` through the provider's private GetObject.
  ExitCode Object(const GUID& id, Kind kind, const IID& iid, void** out);
  ExitCode RunOn(const MaintenanceRequest& request, const GUID& id, int index, int subsystem);
  ExitCode Hints(const GUID& id, int index);
  ExitCode ApplyHints(const GUID& id, int index, const VDS_HINTS& hints);
  ExitCode Associate(const GUID& id, int index, int subsystem, const std::vector<int>& ports);

  Model* model_;
  Commands* commands_;
  Output* output_;
  const bool colour_;
  // The drives this session lit: the provider reports no light state, so the enclosure map
  // marks these.
  std::set<GUID> blinking_;
};

// The hints as JSON, member by member.
Json HintsJson(const VDS_HINTS& hints);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_MAINTENANCE_COMMANDS_H_
