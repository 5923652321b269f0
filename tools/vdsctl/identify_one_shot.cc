// identify device PATH on the command line; "list disks" joins the list command
// (one_shot_commands.cc).
#include <memory>

#include "tools/vdsctl/identify_commands.h"
#include "tools/vdsctl/one_shot.h"

namespace vdsctl {

ExitCode RunListDisks(CommandContext& context) {
  IdentifyCommands identify(context.model->ProviderObject(), context.model, context.output);
  return identify.ListDisks();
}

void AddIdentifyCommands(CLI::App* app, CommandTable* table) {
  struct Arguments {
    std::string what;
    std::string path;
  };
  auto args = std::make_shared<Arguments>();
  CLI::App* command =
      app->add_subcommand("identify", "Tell whether a host disk is one of the provider's LUNs");
  command->add_option("what", args->what, "device")->required()->check(CLI::IsMember({"device"}));
  command->add_option("path", args->path, "The disk's device path, as `list disks` shows it")
      ->required();
  table->Add(command, [args](CommandContext& context) {
    IdentifyCommands identify(context.model->ProviderObject(), context.model, context.output);
    return identify.IdentifyDevice(args->path);
  });
}

}  // namespace vdsctl
