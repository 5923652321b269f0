// vdsctl: loads the hardware provider the way the disk service does and shows what it sees, as
// DiskRAID-style tables or as JSON.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "tools/vdsctl/commands.h"
#include "tools/vdsctl/environment.h"
#include "tools/vdsctl/loader.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/multipath_commands.h"
#include "tools/vdsctl/output.h"
#include "tools/vdsctl/registration.h"
#include "tools/vdsctl/shell.h"

namespace vdsctl {
namespace {

constexpr char kUsage[] =
    "Usage: vdsctl [--registry FILE] [--conf FILE] [--simulate[=INVENTORY]] [--json] COMMAND "
    "...\nRun 'vdsctl --help' for the commands.\n";

const std::vector<std::string> kListWords = {"subsystems", "controllers", "ports", "drives",
                                             "luns",       "plexes",      "pools", "paths"};
const std::vector<std::string> kDetailWords = {"subsystem", "controller", "port",
                                               "drive",     "lun",        "pool"};

struct Arguments {
  EnvironmentOptions environment;
  bool json = false;
  std::string listKind;
  std::string detailKind;
  int detailIndex = 0;
  std::optional<int> subsystem;
  std::string script;
  std::string module;    // --module
  std::string provider;  // --provider
  std::string registerModule;
  // "list paths lun N" and the multipath commands: the words after the command.
  std::vector<std::string> words;
};

// The command once the provider is loaded.
ExitCode RunCommand(CLI::App& app, const Arguments& args, Model* model, Output* output,
                    AdviseSink* sink) {
  Commands commands(model, output);
  if (app.got_subcommand("provider")) return commands.ShowProvider();
  MultipathCommands multipath(model->ProviderObject(), model, output);
  for (const char* name : {"lbpolicy", "lbpolicies", "setpathstatus"}) {
    if (app.got_subcommand(name)) {
      return RunMultipathCommand(name, args.words, args.subsystem.value_or(0), &multipath, output);
    }
  }
  if (app.got_subcommand("list") && args.listKind == "paths") {
    return RunMultipathCommand("paths", args.words, args.subsystem.value_or(0), &multipath, output);
  }
  if (app.got_subcommand("list")) {
    if (!args.words.empty()) {
      output->Problem("Usage: vdsctl list " + args.listKind + " [--subsystem N]");
      return kExitBadArguments;
    }
    return commands.List(*ParseKind(args.listKind), args.subsystem);
  }
  if (app.got_subcommand("detail")) {
    return commands.Detail(*ParseKind(args.detailKind), args.subsystem.value_or(0),
                           args.detailIndex);
  }
  sink->SetHandler([output](const VDS_NOTIFICATION& n) { output->Notification(n); });
  Shell shell(model, &commands, output);
  ExitCode code;
  if (!args.script.empty()) {
    std::ifstream script(args.script);
    if (!script) {
      output->Problem("Cannot open the script " + args.script + ".");
      code = kExitFileError;
    } else {
      code = shell.Run(script, false);
    }
  } else {
    code = shell.Run(std::cin, isatty(STDIN_FILENO) != 0);
  }
  sink->SetHandler(nullptr);
  return code;
}

int Main(int argc, char** argv) {
  CLI::App app{
      "Loads the Vela VDS hardware provider as the disk service does and shows the subsystems, "
      "controllers, ports, drives, LUNs, plexes and storage pools it reports."};
  app.name("vdsctl");
  Arguments args;
  app.add_option("--registry", args.environment.registryPath,
                 "Registry file (Windows registry export format) the provider reads")
      ->type_name("FILE");
  app.add_option("--conf", args.environment.confPath,
                 "tidegate.conf to use: the ConfigurationFile value of the proxy's Parameters key")
      ->type_name("FILE");
  CLI::Option* simulate =
      app.add_option("--simulate", args.environment.inventory,
                     "Start a simulated proxy service in this process and use it; INVENTORY is "
                     "an inventory file or the name of a shipped one (default: the built-in)")
          ->expected(0, 1)
          ->type_name("[=INVENTORY]");
  simulate->excludes(app.get_option("--conf"));
  app.add_option("--host-view", args.environment.hostViewPath,
                 "Host view (JSON) standing for this host's WMI namespace and HBA adapters; with "
                 "--simulate the simulator writes it")
      ->type_name("FILE");
  app.add_flag("--json", args.json, "Write one JSON document instead of tables");
  app.add_option("--module", args.module,
                 "Provider module to load, instead of the one the registry names")
      ->type_name("PATH");
  app.add_option("--provider", args.provider,
                 "The registered hardware provider to load, by name or id, when several are")
      ->type_name("NAME|ID");
  app.require_subcommand(1, 1);
  // Global options may also follow the command: "vdsctl list drives --json".
  app.fallthrough();

  app.add_subcommand("provider", "Show the provider's properties");

  CLI::App* list = app.add_subcommand("list", "List objects of one kind");
  list->add_option("kind", args.listKind,
                   "subsystems|controllers|ports|drives|luns|plexes|pools|paths")
      ->required()
      ->check(CLI::IsMember(kListWords));
  list->add_option("object", args.words, "For paths: lun N");
  list->add_option("--subsystem", args.subsystem, "Only the objects of subsystem N")
      ->check(CLI::NonNegativeNumber);

  CLI::App* detail = app.add_subcommand("detail", "Show one object in full");
  detail->add_option("kind", args.detailKind, "subsystem|controller|port|drive|lun|pool")
      ->required()
      ->check(CLI::IsMember(kDetailWords));
  detail->add_option("index", args.detailIndex, "Number of the object, as the lists show it")
      ->required()
      ->check(CLI::NonNegativeNumber);
  detail
      ->add_option("--subsystem", args.subsystem,
                   "Subsystem of a controller, port, drive or LUN (default 0)")
      ->check(CLI::NonNegativeNumber);

  CLI::App* registerCommand =
      app.add_subcommand("register", "Call the module's DllRegisterServer, as regsvr32 does");
  registerCommand->add_option("module", args.registerModule, "The provider module")->required();
  CLI::App* unregisterCommand = app.add_subcommand(
      "unregister", "Call the module's DllUnregisterServer, as regsvr32 /u does");
  unregisterCommand->add_option("module", args.registerModule, "The provider module")->required();
  app.add_subcommand("providers", "List the hardware providers registered with the disk service");
  app.add_subcommand("lbpolicy", "Show or set a LUN's load balance policy")
      ->add_option("words", args.words,
                   "lun N [set POLICY [primary=PATHID,...] [weight=PATHID:WEIGHT,...]]")
      ->required();
  app.add_subcommand("lbpolicies", "Show the load balance policies a LUN supports")
      ->add_option("words", args.words, "lun N")
      ->required();
  app.add_subcommand("setpathstatus", "Set the status of every path of an HBA port")
      ->add_option("words", args.words, "hbaport WWN online|failed|standby|unknown")
      ->required();
  for (const char* name : {"lbpolicy", "lbpolicies"}) {
    app.get_subcommand(name)
        ->add_option("--subsystem", args.subsystem, "Subsystem of the LUN (default 0)")
        ->check(CLI::NonNegativeNumber);
  }

  CLI::App* shell = app.add_subcommand(
      "shell", "Interactive session with DiskRAID's select/list/detail, or a script");
  shell->add_option("--script", args.script, "Read the commands from FILE, not standard input")
      ->type_name("FILE");

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::cerr << "vdsctl: " << e.what() << "\n" << kUsage;
    return kExitBadArguments;
  }
  args.environment.simulate = simulate->count() > 0;

  Output output(args.json, !app.got_subcommand("shell"), std::cout, std::cerr);

  // The registry that lists the providers is the user's, not a run's merged copy.
  if (!args.environment.registryPath.empty()) {
    std::error_code ec;
    std::string absolute = std::filesystem::absolute(args.environment.registryPath, ec).string();
    SetRegistryFile(absolute);
    // A module registering itself writes through its own registry, which reads this.
    setenv("VELA_REGISTRY", absolute.c_str(), 1);
  }
  if (app.got_subcommand("register") || app.got_subcommand("unregister")) {
    return RunRegistration(args.registerModule, app.got_subcommand("unregister"), &output);
  }
  if (app.got_subcommand("providers")) return ShowProviders(&output);
  ProviderChoice choice;
  std::string choiceProblem;
  if (!ChooseProvider(args.module, args.provider, ProviderLibraryPath(), &choice, &choiceProblem)) {
    output.Problem(choiceProblem);
    return kExitBadArguments;
  }
  EnvironmentError envError;
  std::unique_ptr<RunEnvironment> environment =
      RunEnvironment::Prepare(args.environment, &envError);
  if (!environment) {
    output.Problem(envError.message);
    return envError.code;
  }

  ComPtr<AdviseSink> sink(new AdviseSink());
  CallError loadError;
  std::unique_ptr<ProviderHost> host =
      ProviderHost::Load(choice.modulePath, choice.classId, sink.Get(), &loadError);
  if (!host) {
    output.CallFailed(loadError);
    return kExitServiceFailure;
  }
  Model model(host->Provider());
  const ExitCode code = RunCommand(app, args, &model, &output, sink.Get());
  host.reset();
  return code;
}

}  // namespace
}  // namespace vdsctl

int main(int argc, char** argv) { return vdsctl::Main(argc, argv); }
