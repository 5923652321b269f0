// The commands that the one-shot form and the shell share: show the provider, list the objects
// of a kind, detail one object, and find objects by what the user calls them. Each asks the
// provider afresh and writes through Output.
#ifndef VELA_TOOLS_VDSCTL_COMMANDS_H_
#define VELA_TOOLS_VDSCTL_COMMANDS_H_

#include <optional>
#include <string>

#include "platform/guid.h"
#include "tools/vdsctl/call_error.h"
#include "tools/vdsctl/kinds.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/object_ref.h"
#include "tools/vdsctl/output.h"

namespace vdsctl {

// "LUN", or the kind in lower case: the word inside sentences.
std::string KindWord(Kind kind);

class Commands {
 public:
  Commands(Model* model, Output* output);
  Commands(const Commands&) = delete;
  Commands& operator=(const Commands&) = delete;

  ExitCode ShowProvider();

  // `subsystem` limits the list to one subsystem (for subsystems: that one; for pools: the pools
  // on its drives). The row whose id is `selected` carries the "*" mark.
  ExitCode List(Kind kind, std::optional<int> subsystem, const GUID& selected = GUID_NULL);

  // The object `ref` names, within `subsystem` where the kind has one. A reference that names
  // no object or several is reported and gives kExitSyntax.
  ExitCode Detail(Kind kind, int subsystem, const ObjectRef& ref);

  // The same lookup without output: the object's id and number.
  ExitCode Find(Kind kind, int subsystem, const ObjectRef& ref, GUID* id, int* index);

  // The index of the object with this id (within its subsystem where that applies), or nothing.
  ExitCode FindIndex(Kind kind, const GUID& id, std::optional<int>* index,
                     std::optional<int>* subsystem);

  // The subsystem that `--subsystem TEXT` names: a number, name=, serial=, or its
  // identification or name as it stands. Not found or ambiguous: reported, kExitSyntax.
  ExitCode ResolveSubsystem(const std::string& text, int* index);

 private:
  Model* model_;
  Output* output_;
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_COMMANDS_H_
