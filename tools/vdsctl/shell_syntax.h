// The line syntax of `vdsctl shell`, in DiskRAID's manner: a verb, an object kind and perhaps a
// number, case-insensitive, verbs and kinds shortened to three letters or more. "#" and "rem"
// start comment lines.
#ifndef VELA_TOOLS_VDSCTL_SHELL_SYNTAX_H_
#define VELA_TOOLS_VDSCTL_SHELL_SYNTAX_H_

#include <optional>
#include <string>
#include <string_view>

#include "tools/vdsctl/kinds.h"
#include "tools/vdsctl/object_ref.h"

namespace vdsctl {

enum class Verb { kNone, kList, kSelect, kDetail, kRefresh, kReenumerate, kHealth, kHelp, kExit };

struct ShellCommand {
  Verb verb = Verb::kNone;  // kNone: an empty or comment line
  std::optional<Kind> kind;
  std::optional<ObjectRef> object;  // select: the number, name=TEXT or serial=TEXT
};

// Fills *command, or returns false and a one-line reason in *error. Forms:
//   list KINDS | select KIND [N|name=TEXT|serial=TEXT] | detail [KIND] | refresh provider
//   reenumerate subsystems|drives | health | help | exit | quit
bool ParseShellLine(std::string_view line, ShellCommand* command, std::string* error);

// The text that `help` prints.
std::string ShellHelpText();

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_SHELL_SYNTAX_H_
