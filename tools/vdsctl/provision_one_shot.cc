// create lun and unmask lun on the command line. Their words are checked while the command line
// is parsed, so that a usage error exits 2 before anything is loaded or sent.
#include <memory>

#include "tools/vdsctl/one_shot.h"
#include "tools/vdsctl/provision_commands.h"

namespace vdsctl {

void AddProvisionCommands(CLI::App* app, CommandTable* table) {
  struct CreateArguments {
    std::vector<std::string> words;  // "lun" TYPE key=value ...
    std::string subsystem;
    CreateLunArgs create;
  };
  auto create = std::make_shared<CreateArguments>();
  CLI::App* createCommand = app->add_subcommand(
      "create",
      "create lun TYPE [size=N] [drives=i,j,...] [stripesize=N] [unmask=LIST] [hints=0xMASK] "
      "[mostlyreads=true|false] [maxdrives=N] [hotspare=true]");
  createCommand->add_option("words", create->words, "lun TYPE key=value ...")->required();
  AddSubsystemOption(createCommand, &create->subsystem, "Subsystem to create in (default 0)");
  createCommand->callback([create] {
    std::string error;
    if (create->words.empty() || CLI::detail::to_lower(create->words[0]) != "lun") {
      throw CLI::ValidationError(
          "create", "create wants \"lun\": create lun TYPE [size=N] [drives=i,j,...] ...");
    }
    if (!ParseCreateLunWords(
            std::vector<std::string>(create->words.begin() + 1, create->words.end()),
            &create->create, &error)) {
      throw CLI::ValidationError("create", error);
    }
  });
  table->Add(createCommand, [create](CommandContext& context) {
    std::optional<int> subsystem;
    if (ExitCode code = context.Subsystem(create->subsystem, &subsystem)) return code;
    ProvisionCommands provision(context.model, context.output, context.hints2);
    std::optional<GUID> created;
    return provision.CreateLun(subsystem.value_or(0), create->create, &created);
  });

  struct UnmaskArguments {
    std::vector<std::string> words;  // "lun" N all|none|LIST
    std::string subsystem;
    int index = 0;
    std::string list;
  };
  auto unmask = std::make_shared<UnmaskArguments>();
  CLI::App* unmaskCommand = app->add_subcommand(
      "unmask", "unmask lun N all|none|LIST: set which hosts see LUN N (LIST: wwn;wwn;...)");
  unmaskCommand->add_option("words", unmask->words, "lun N all|none|LIST")->required();
  AddSubsystemOption(unmaskCommand, &unmask->subsystem, "Subsystem of the LUN (default 0)");
  unmaskCommand->callback([unmask] {
    const std::vector<std::string>& words = unmask->words;
    if (words.size() != 3 || CLI::detail::to_lower(words[0]) != "lun" || words[1].empty() ||
        words[1].find_first_not_of("0123456789") != std::string::npos || words[1].size() > 9) {
      throw CLI::ValidationError("unmask", "unmask wants: unmask lun N all|none|wwn;wwn;...");
    }
    unmask->index = std::stoi(words[1]);
    unmask->list = UnmaskingListWord(words[2]);
  });
  table->Add(unmaskCommand, [unmask](CommandContext& context) {
    std::optional<int> subsystem;
    if (ExitCode code = context.Subsystem(unmask->subsystem, &subsystem)) return code;
    ProvisionCommands provision(context.model, context.output, context.hints2);
    return provision.Unmask(subsystem.value_or(0), unmask->index, unmask->list);
  });
}

}  // namespace vdsctl
