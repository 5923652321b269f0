// vdsctl: loads the hardware provider the way the disk service does and shows what it sees, as
// DiskRAID-style tables or as JSON.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/vdsctl/commands.h"
#include "tools/vdsctl/environment.h"
#include "tools/vdsctl/loader.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/output.h"
#include "tools/vdsctl/provision_commands.h"
#include "tools/vdsctl/shell.h"

namespace vdsctl {
namespace {

constexpr char kUsage[] =
    "Usage: vdsctl [--registry FILE] [--conf FILE] [--simulate[=INVENTORY]] [--json] COMMAND "
    "...\nRun 'vdsctl --help' for the commands.\n";

const std::vector<std::string> kListWords = {"subsystems", "controllers", "ports", "drives",
                                             "luns",       "plexes",      "pools"};
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
  bool hints2 = false;
  std::vector<std::string> createWords;  // "lun" TYPE key=value ...
  std::vector<std::string> unmaskWords;  // "lun" N all|none|LIST
  CreateLunArgs create;
  int unmaskIndex = 0;
  std::string unmaskList;
};

// Checks the words of the changing commands before anything is loaded: a usage error changes
// nothing.
bool ParseChangeWords(CLI::App& app, Arguments* args, std::string* error) {
  if (app.got_subcommand("create")) {
    if (args->createWords.empty() || args->createWords[0] != "lun") {
      *error = "create wants \"lun\": create lun TYPE [size=N] [drives=i,j,...] ...";
      return false;
    }
    return ParseCreateLunWords(
        std::vector<std::string>(args->createWords.begin() + 1, args->createWords.end()),
        &args->create, error);
  }
  if (app.got_subcommand("unmask")) {
    const std::vector<std::string>& words = args->unmaskWords;
    if (words.size() != 3 || words[0] != "lun" ||
        words[1].find_first_not_of("0123456789") != std::string::npos || words[1].size() > 9) {
      *error = "unmask wants: unmask lun N all|none|wwn;wwn;...";
      return false;
    }
    args->unmaskIndex = std::stoi(words[1]);
    args->unmaskList = UnmaskingListWord(words[2]);
  }
  return true;
}

// The command once the provider is loaded.
ExitCode RunCommand(CLI::App& app, const Arguments& args, Model* model, Output* output,
                    AdviseSink* sink) {
  Commands commands(model, output);
  ProvisionCommands provision(model, output, args.hints2);
  if (app.got_subcommand("provider")) return commands.ShowProvider();
  if (app.got_subcommand("create")) {
    std::optional<GUID> created;
    return provision.CreateLun(args.subsystem.value_or(0), args.create, &created);
  }
  if (app.got_subcommand("unmask")) {
    return provision.Unmask(args.subsystem.value_or(0), args.unmaskIndex, args.unmaskList);
  }
  if (app.got_subcommand("list")) {
    return commands.List(*ParseKind(args.listKind), args.subsystem);
  }
  if (app.got_subcommand("detail")) {
    return commands.Detail(*ParseKind(args.detailKind), args.subsystem.value_or(0),
                           args.detailIndex);
  }
  sink->SetHandler([output](const VDS_NOTIFICATION& n) { output->Notification(n); });
  Shell shell(model, &commands, output);
  shell.SetProvisioning(&provision);
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
  app.add_flag("--json", args.json, "Write one JSON document instead of tables");
  app.add_flag("--hints2", args.hints2,
               "create lun goes through IVdsSubSystem2::CreateLun2 with VDS_HINTS2");
  app.require_subcommand(1, 1);
  // Global options may also follow the command: "vdsctl list drives --json".
  app.fallthrough();

  app.add_subcommand("provider", "Show the provider's properties");

  CLI::App* list = app.add_subcommand("list", "List objects of one kind");
  list->add_option("kind", args.listKind, "subsystems|controllers|ports|drives|luns|plexes|pools")
      ->required()
      ->check(CLI::IsMember(kListWords));
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

  CLI::App* create = app.add_subcommand(
      "create",
      "create lun TYPE [size=N] [drives=i,j,...] [stripesize=N] [unmask=LIST] [hints=0xMASK] "
      "[mostlyreads=true|false] [maxdrives=N] [hotspare=true]: make a LUN and wait for it");
  create->add_option("words", args.createWords, "lun TYPE key=value ...")->required();
  create->add_option("--subsystem", args.subsystem, "Subsystem to create in (default 0)")
      ->check(CLI::NonNegativeNumber);

  CLI::App* unmask = app.add_subcommand(
      "unmask", "unmask lun N all|none|LIST: set which hosts see LUN N (LIST: wwn;wwn;...)");
  unmask->add_option("words", args.unmaskWords, "lun N all|none|LIST")->required();
  unmask->add_option("--subsystem", args.subsystem, "Subsystem of the LUN (default 0)")
      ->check(CLI::NonNegativeNumber);

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
  std::string usage;
  if (!ParseChangeWords(app, &args, &usage)) {
    Output early(args.json, true, std::cout, std::cerr);
    early.Problem(usage);
    return kExitBadArguments;
  }

  Output output(args.json, !app.got_subcommand("shell"), std::cout, std::cerr);
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
      ProviderHost::Load(ProviderLibraryPath(), sink.Get(), &loadError);
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
