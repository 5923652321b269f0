// The one-shot commands of the command line. Each command adds its subcommand (with its own
// options and arguments) to the CLI11 application and registers what it runs once the provider is
// loaded; main() parses, loads the provider and runs the one that was given. A new command needs
// only its own Add... function, called from main().
#ifndef VELA_TOOLS_VDSCTL_ONE_SHOT_H_
#define VELA_TOOLS_VDSCTL_ONE_SHOT_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/vdsctl/call_error.h"
#include "tools/vdsctl/commands.h"
#include "tools/vdsctl/kinds.h"
#include "tools/vdsctl/loader.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/output.h"
#include "tools/vdsctl/provider_log.h"
#include "tools/vdsctl/size_commands.h"

namespace vdsctl {

// What a command works with once the provider is loaded.
struct CommandContext {
  Model* model;
  Commands* commands;
  Output* output;
  AdviseSink* sink;
  const ProviderLog* providerLog;
  bool interactive;     // standard input is a terminal
  int terminal;         // where results go, when it and standard input are terminals; else -1
  bool hints2;          // --hints2: create lun goes through IVdsSubSystem2::CreateLun2
  bool colour = false;  // results go to a terminal and NO_COLOR is not set

  // The subsystem a `--subsystem TEXT` option names (number, name=, serial=, identification or
  // name); nothing when `text` is empty. A name that fits none is reported: kExitSyntax.
  ExitCode Subsystem(const std::string& text, std::optional<int>* index) const;
};

using CommandRun = std::function<ExitCode(CommandContext&)>;

class CommandTable {
 public:
  // `needsProxy`: refused with exit 4 when the provider has no session with its proxy.
  void Add(CLI::App* subcommand, CommandRun run, bool needsProxy = true);

  struct Entry {
    CLI::App* subcommand;
    CommandRun run;
    bool needsProxy;
  };
  // The command given on the parsed command line, or null.
  const Entry* Given() const;

 private:
  std::vector<Entry> entries_;
};

// The kind word of a one-shot command, as the shell takes it: any case, singular or plural, or a
// prefix of three letters or more. Unknown: a CLI11 validation error naming the closest kind.
CLI::Validator KindValidator();

// Adds `--subsystem TEXT` to `subcommand`.
CLI::Option* AddSubsystemOption(CLI::App* subcommand, std::string* text, const std::string& help);

// The commands that show what the provider sees (one_shot_commands.cc).
void AddProviderCommand(CLI::App* app, CommandTable* table);
void AddListCommand(CLI::App* app, CommandTable* table);
void AddDetailCommand(CLI::App* app, CommandTable* table);
void AddShellCommand(CLI::App* app, CommandTable* table);
void AddHealthCommand(CLI::App* app, CommandTable* table);

// create lun and unmask lun (provision_one_shot.cc).
void AddProvisionCommands(CLI::App* app, CommandTable* table);

// delete, name, hints, applyhints, associate, setflag, maintenance, flushcache,
// invalidatecache, refresh, reenumerate, show enclosures (maintenance_one_shot.cc).
void AddMaintenanceCommands(CLI::App* app, CommandTable* table);

// maxsize, extend and shrink (size_one_shot.cc); the progress display that fits `output`.
void AddSizeCommands(CLI::App* app, CommandTable* table);
ProgressStyle ProgressStyleFor(const Output& output);

// The host-side commands (multipath_one_shot.cc): lbpolicy, lbpolicies, setpathstatus; and
// RunMultipathWords, which runs one of them, or "paths" for "list paths lun N".
void AddMultipathCommands(CLI::App* app, CommandTable* table);
ExitCode RunMultipathWords(CommandContext& context, const std::string& command,
                           const std::vector<std::string>& words, const std::string& subsystemText);

// identify device PATH (identify_one_shot.cc); RunListDisks runs "list disks".
void AddIdentifyCommands(CLI::App* app, CommandTable* table);
ExitCode RunListDisks(CommandContext& context);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_ONE_SHOT_H_
