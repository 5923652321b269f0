// The commands that the one-shot form and the shell share: show the provider, list the objects
// of a kind, detail one object. Each asks the provider afresh and writes through Output.
#ifndef VELA_TOOLS_VDSCTL_COMMANDS_H_
#define VELA_TOOLS_VDSCTL_COMMANDS_H_

#include <optional>
#include <string>

#include "platform/guid.h"
#include "tools/vdsctl/call_error.h"
#include "tools/vdsctl/kinds.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/output.h"

namespace vdsctl {

// "There is no LUN 9 in subsystem 0.", "There is no pool 3."
std::string NoSuchObjectText(Kind kind, int subsystem, int index);

// "LUN", or the kind in lower case: the word inside sentences.
std::string KindWord(Kind kind);

class Commands {
 public:
  Commands(Model* model, Output* output);
  Commands(const Commands&) = delete;
  Commands& operator=(const Commands&) = delete;

  ExitCode ShowProvider();

  // `subsystem` limits the list to one subsystem (for subsystems: that one; pools have no
  // subsystem and ignore it). The row whose id is `selected` carries the "*" mark.
  ExitCode List(Kind kind, std::optional<int> subsystem, const GUID& selected = GUID_NULL);

  // Object `index` of the kind, counted within `subsystem` where the kind has one. No such
  // object gives kExitSyntax.
  ExitCode Detail(Kind kind, int subsystem, int index);

  // The id of object `index`, or nothing when there is none. Failed calls are reported.
  ExitCode FindId(Kind kind, int subsystem, int index, std::optional<GUID>* id);

  // The index of the object with this id (within its subsystem where that applies), or nothing.
  ExitCode FindIndex(Kind kind, const GUID& id, std::optional<int>* index,
                     std::optional<int>* subsystem);

 private:
  Model* model_;
  Output* output_;
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_COMMANDS_H_
