// provider, list, detail, health and shell on the command line.
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

#include "tools/vdsctl/connection_watch.h"
#include "tools/vdsctl/health.h"
#include "tools/vdsctl/notices.h"
#include "tools/vdsctl/one_shot.h"
#include "tools/vdsctl/script_text.h"
#include "tools/vdsctl/shell.h"

namespace vdsctl {

void AddProviderCommand(CLI::App* app, CommandTable* table) {
  CLI::App* command = app->add_subcommand("provider", "Show the provider's properties");
  table->Add(
      command, [](CommandContext& context) { return context.commands->ShowProvider(); }, false);
}

namespace {

bool IsPathsWord(const std::string& word) {
  const std::string lower = CLI::detail::to_lower(word);
  return lower == "paths" || lower == "path";
}

bool IsDisksWord(const std::string& word) {
  const std::string lower = CLI::detail::to_lower(word);
  return lower == "disks" || lower == "disk";
}

}  // namespace

void AddListCommand(CLI::App* app, CommandTable* table) {
  struct Arguments {
    std::string kind;
    std::vector<std::string> words;  // for paths: lun N
    std::string subsystem;
  };
  auto args = std::make_shared<Arguments>();
  CLI::App* command = app->add_subcommand("list", "List objects of one kind");
  const CLI::Validator kinds = KindValidator();
  command
      ->add_option("kind", args->kind,
                   "subsystems|controllers|ports|drives|luns|plexes|pools, disks, or paths lun N")
      ->required()
      ->check(CLI::Validator(
          [kinds](std::string& word) {
            return IsPathsWord(word) || IsDisksWord(word) ? std::string() : kinds(word);
          },
          "KIND"));
  command->add_option("object", args->words, "For paths: lun N");
  AddSubsystemOption(command, &args->subsystem,
                     "Only the objects of this subsystem: its number, name=TEXT, serial=TEXT, or "
                     "its identification or name");
  table->Add(command, [args](CommandContext& context) {
    if (IsPathsWord(args->kind))
      return RunMultipathWords(context, "paths", args->words, args->subsystem);
    if (IsDisksWord(args->kind)) {
      if (args->words.empty() && args->subsystem.empty()) return RunListDisks(context);
      context.output->Problem("Usage: vdsctl list disks");
      return kExitBadArguments;
    }
    if (!args->words.empty()) {
      context.output->Problem("Usage: vdsctl list " + args->kind + " [--subsystem N]");
      return kExitBadArguments;
    }
    std::optional<int> subsystem;
    if (ExitCode code = context.Subsystem(args->subsystem, &subsystem)) return code;
    return context.commands->List(*ParseKind(args->kind), subsystem);
  });
}

void AddDetailCommand(CLI::App* app, CommandTable* table) {
  struct Arguments {
    std::string kind;
    std::string object;
    std::string subsystem;
  };
  auto args = std::make_shared<Arguments>();
  CLI::App* command = app->add_subcommand("detail", "Show one object in full");
  command->add_option("kind", args->kind, "subsystem|controller|port|drive|lun|plex|pool")
      ->required()
      ->check(KindValidator());
  command
      ->add_option("object", args->object,
                   "The object: its number as the lists show it, name=TEXT or serial=TEXT")
      ->required();
  AddSubsystemOption(command, &args->subsystem,
                     "Subsystem of a controller, port, drive, LUN or plex (default 0)");
  table->Add(command, [args](CommandContext& context) {
    std::optional<int> subsystem;
    if (ExitCode code = context.Subsystem(args->subsystem, &subsystem)) return code;
    return context.commands->Detail(*ParseKind(args->kind), subsystem.value_or(0),
                                    ParseObjectRef(args->object));
  });
}

void AddHealthCommand(CLI::App* app, CommandTable* table) {
  CLI::App* command = app->add_subcommand(
      "health",
      "Every subsystem, controller, port, drive, LUN and pool that is not online and healthy; "
      "exit 0 when there is none, 1 otherwise");
  table->Add(command,
             [](CommandContext& context) { return ShowHealth(context.model, context.output); });
}

void AddShellCommand(CLI::App* app, CommandTable* table) {
  auto script = std::make_shared<std::string>();
  CLI::App* command = app->add_subcommand(
      "shell", "Interactive session with DiskRAID's select/list/detail, or a script");
  command->add_option("--script", *script, "Read the commands from FILE, not standard input")
      ->type_name("FILE");
  table->Add(command, [script](CommandContext& context) {
    Output* output = context.output;
    NoticeBoard notices(context.model, output);
    context.sink->SetHandler([&notices](const VDS_NOTIFICATION& n) { notices.Post(n); });
    Shell shell(context.model, context.commands, output);
    ProvisionCommands provision(context.model, output, context.hints2);
    shell.SetProvisioning(&provision);
    MaintenanceCommands maintenance(context.model, context.commands, output, context.colour);
    shell.SetMaintenance(&maintenance);
    SizeCommands sizes(context.model, output, ProgressStyleFor(*output), std::cerr);
    shell.SetSizing(&sizes);
    shell.SetProviderLog(context.providerLog);
    const std::string proxy = ProxyAddressText(ReadSessionReport(context.providerLog->ReadRun()));
    ConnectionWatch watch(
        context.providerLog->Path(), context.providerLog->Start(), std::chrono::milliseconds(100),
        [output, proxy](ConnectionTracker::Change change) {
          output->ConnectionChanged(change == ConnectionTracker::Change::kLost, proxy);
        });
    ExitCode code;
    if (!script->empty()) {
      std::ifstream in(*script, std::ios::binary);
      std::ostringstream bytes;
      bytes << in.rdbuf();
      std::string text;
      if (!in) {
        output->Problem("Cannot open the script " + *script + ".");
        code = kExitFileError;
      } else if (!DecodeScriptText(bytes.str(), &text)) {
        output->Problem("The script " + *script + " is not UTF-8 or UTF-16 text.");
        code = kExitFileError;
      } else {
        std::istringstream lines(text);
        code = shell.Run(lines, false);
      }
#if !defined(_WIN32)
    } else if (context.terminal >= 0) {
      TerminalLines lines(context.terminal, output, TerminalLines::DefaultHistoryFile());
      code = shell.Run(lines, true);
#endif
    } else {
      code = shell.Run(std::cin, context.interactive);
    }
    context.sink->SetHandler(nullptr);
    return code;
  });
}

}  // namespace vdsctl
