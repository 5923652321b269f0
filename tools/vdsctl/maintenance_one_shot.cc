// delete, name, hints, applyhints, associate, setflag, maintenance, flushcache,
// invalidatecache, refresh, reenumerate and show enclosures on the command line. Their words are
// checked while the command line is parsed, so that a usage error exits 2 before anything is loaded
// or sent.
#include <memory>

#include "tools/vdsctl/maintenance_commands.h"
#include "tools/vdsctl/one_shot.h"

namespace vdsctl {

void AddMaintenanceCommands(CLI::App* app, CommandTable* table) {
  struct Form {
    const char* verb;
    const char* help;
  };
  static const Form kForms[] = {
      {"delete", "Delete a LUN (IVdsLun::Delete)"},
      {"name", "Set the friendly name of a LUN or a subsystem"},
      {"hints", "Show a LUN's hints (IVdsLun::QueryHints)"},
      {"applyhints", "Apply hints to a LUN: its cache settings, or a master volume conversion"},
      {"associate", "Name the controller ports that serve a LUN (the owning controller)"},
      {"setflag", "Make a drive a hot spare, or no longer one"},
      {"maintenance", "Blink a drive's light, or sound a controller's alarm"},
      {"flushcache", "Flush a controller's cache for every vdisk it owns"},
      {"invalidatecache", "Invalidate a controller's cache for every vdisk it owns"},
      {"refresh", "Refresh the provider's objects (IVdsHwProvider::Refresh)"},
      {"reenumerate", "Enumerate the provider's subsystems, or one subsystem, again"},
      {"show", "Show each enclosure as a grid of slots: what every drive is, at a glance"},
  };
  for (const Form& form : kForms) {
    struct Arguments {
      std::vector<std::string> words;
      std::string subsystem;
      MaintenanceRequest request;
    };
    auto args = std::make_shared<Arguments>();
    const std::string verb = form.verb;
    CLI::App* command =
        app->add_subcommand(verb, std::string(form.help) + ": " + MaintenanceUsage(verb));
    command->add_option("words", args->words, MaintenanceUsage(verb))->required();
    AddSubsystemOption(command, &args->subsystem, "Subsystem of the object (default 0)");
    command->callback([args, verb] {
      std::vector<std::string> words{verb};
      words.insert(words.end(), args->words.begin(), args->words.end());
      std::string error;
      if (ParseMaintenanceWords(words, false, &args->request, &error) != ParseOutcome::kParsed) {
        throw CLI::ValidationError(verb, error);
      }
    });
    table->Add(command, [args](CommandContext& context) {
      std::optional<int> subsystem;
      if (ExitCode code = context.Subsystem(args->subsystem, &subsystem)) return code;
      MaintenanceCommands maintenance(context.model, context.commands, context.output,
                                      context.colour);
      return maintenance.Run(args->request, subsystem, std::nullopt);
    });
  }
}

}  // namespace vdsctl
