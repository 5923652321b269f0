// maxsize, extend and shrink on the command line. Their words are checked while the command line
// is parsed, so that a usage error exits 2 before anything is loaded or sent.
#include <unistd.h>

#include <iostream>
#include <memory>

#include "tools/vdsctl/one_shot.h"
#include "tools/vdsctl/size_commands.h"

namespace vdsctl {

ProgressStyle ProgressStyleFor(const Output& output) {
  if (output.Json()) return ProgressStyle::kNone;
  return isatty(STDERR_FILENO) != 0 ? ProgressStyle::kBar : ProgressStyle::kLines;
}

void AddSizeCommands(CLI::App* app, CommandTable* table) {
  struct Verb {
    const char* name;
    const char* help;
  };
  const Verb verbs[] = {
      {"maxsize",
       "maxsize create TYPE [drives=i,j,...] [hints=0xMASK] [stripesize=N] [maxdrives=N] | "
       "maxsize pool N TYPE | maxsize extend lun N [drives=i,j,...]: the largest LUN, or growth"},
      {"extend", "extend lun N [size=N] [drives=i,j,...]: grow LUN N, and wait for it"},
      {"shrink", "shrink lun N size=N"},
  };
  for (const Verb& verb : verbs) {
    struct Arguments {
      std::vector<std::string> words;
      std::string subsystem;
      SizeArgs size;
    };
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app->add_subcommand(verb.name, verb.help);
    command->add_option("words", arguments->words, "the command's words")->required();
    AddSubsystemOption(command, &arguments->subsystem,
                       "Subsystem of the LUN or drives (default 0)");
    const std::string name = verb.name;
    command->callback([arguments, name] {
      std::vector<std::string> line = {name};
      line.insert(line.end(), arguments->words.begin(), arguments->words.end());
      std::string error;
      if (!*ParseSizeWords(line, &arguments->size, &error)) {
        throw CLI::ValidationError(name, error);
      }
    });
    table->Add(command, [arguments](CommandContext& context) {
      std::optional<int> subsystem;
      if (ExitCode code = context.Subsystem(arguments->subsystem, &subsystem)) return code;
      SizeCommands sizes(context.model, context.output, ProgressStyleFor(*context.output),
                         std::cerr);
      return sizes.Run(subsystem.value_or(0), arguments->size);
    });
  }
}

}  // namespace vdsctl
