// lbpolicy, lbpolicies and setpathstatus on the command line; "list paths lun N" joins the list
// command (one_shot_commands.cc).
#include <memory>

#include "tools/vdsctl/multipath_commands.h"
#include "tools/vdsctl/one_shot.h"

namespace vdsctl {

ExitCode RunMultipathWords(CommandContext& context, const std::string& command,
                           const std::vector<std::string>& words,
                           const std::string& subsystemText) {
  std::optional<int> subsystem;
  if (ExitCode code = context.Subsystem(subsystemText, &subsystem)) return code;
  MultipathCommands multipath(context.model->ProviderObject(), context.model, context.output);
  return RunMultipathCommand(command, words, subsystem.value_or(0), &multipath, context.output);
}

void AddMultipathCommands(CLI::App* app, CommandTable* table) {
  struct Form {
    const char* name;
    const char* help;
    const char* words;
    bool perLun;
  };
  static const Form kForms[] = {
      {"lbpolicy", "Show or set a LUN's load balance policy",
       "lun N [set POLICY [primary=PATHID,...] [weight=PATHID:WEIGHT,...]]", true},
      {"lbpolicies", "Show the load balance policies a LUN supports", "lun N", true},
      {"setpathstatus", "Set the status of every path of an HBA port",
       "hbaport WWN online|failed|standby|unknown", false},
  };
  for (const Form& form : kForms) {
    struct Arguments {
      std::vector<std::string> words;
      std::string subsystem;
    };
    auto args = std::make_shared<Arguments>();
    CLI::App* command = app->add_subcommand(form.name, form.help);
    command->add_option("words", args->words, form.words)->required();
    if (form.perLun)
      AddSubsystemOption(command, &args->subsystem, "Subsystem of the LUN (default 0)");
    const std::string name = form.name;
    table->Add(command, [args, name](CommandContext& context) {
      return RunMultipathWords(context, name, args->words, args->subsystem);
    });
  }
}

}  // namespace vdsctl
