// vdsctl: loads the hardware provider the way the disk service does and shows what it sees, as
// DiskRAID-style tables or as JSON.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "tools/vdsctl/commands.h"
#include "tools/vdsctl/enclosure_map.h"
#include "tools/vdsctl/environment.h"
#include "tools/vdsctl/loader.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/one_shot.h"
#include "tools/vdsctl/output.h"
#include "tools/vdsctl/provider_log.h"
#include "tools/vdsctl/registration.h"
#include "tools/vdsctl/result_stream.h"
#include "tools/vdsctl/watchdog.h"

namespace vdsctl {
namespace {

constexpr char kUsage[] =
    "Usage: vdsctl [--registry FILE] [--conf FILE] [--simulate[=INVENTORY]] [--json] "
    "[--timeout SECONDS] COMMAND ...\nRun 'vdsctl help' for the commands.\n";

struct Arguments {
  EnvironmentOptions environment;
  bool json = false;
  std::string timeout;  // --timeout SECONDS as given; empty: none
  std::string helpTopic;
  std::string module;          // --module
  std::string provider;        // --provider
  std::string registerModule;  // register|unregister MODULE
  bool hints2 = false;
};

// The proxy's "ADDR:PORT", or null when the provider did not get as far as naming it.
Json ProxyJson(const SessionReport& report) {
  return report.address.empty() ? Json(nullptr) : Json(ProxyAddressText(report));
}

// A provider without its proxy session is loaded, offline and empty; that is a failure of the
// service, not an empty result. A provider whose proxy lists only subsystems it skips says so.
ExitCode CheckSession(const SessionReport& report, Model* model, Output* output) {
  const std::string failure = SessionFailureText(report);
  if (!failure.empty()) {
    output->Problem(failure,
                    Json{{"proxy", ProxyJson(report)}, {"cause", SessionCauseWords(report)}});
    return kExitServiceFailure;
  }
  if (report.state != SessionState::kUp || report.listed == 0 || output->Json()) return kExitOk;
  std::vector<SubsystemRow> managed;
  if (model->Subsystems(&managed) || !managed.empty()) return kExitOk;
  std::string text = "the proxy lists " + std::to_string(report.listed) + " subsystem" +
                     (report.listed == 1 ? "" : "s") + "; none is managed by this provider";
  if (report.skipped > 0) text += ": iSCSI-only subsystems are skipped";
  output->Warning(text);
  return kExitOk;
}

// The command word of a command line CLI11 could not parse: the first word that is neither an
// option nor the value of a global option.
std::string CommandWord(const CLI::App& app, int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word.empty() || word[0] != '-') return word;
    if (word.find('=') != std::string::npos) continue;
    const CLI::Option* option = app.get_option_no_throw(word);
    if (option != nullptr && option->get_expected_min() > 0) ++i;
  }
  return "";
}

int UsageError(const CLI::App& app, const CLI::ParseError& error, int argc, char** argv) {
  const std::string word = CommandWord(app, argc, argv);
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
  bool known = word.empty();
  for (const std::string& name : names) known = known || CLI::detail::to_lower(word) == name;
  std::string message;
  if (!known) {
    const std::vector<std::string_view> candidates(names.begin(), names.end());
    message = "Unknown command '" + word + "'." + DidYouMean(word, candidates);
  } else {
    message = error.what();
  }
  // With --json a script reads the error where it reads results; the usage line stays on
  // standard error.
  bool json = false;
  for (int i = 1; i < argc; ++i) json = json || std::string_view(argv[i]) == "--json";
  if (json) std::cout << Json{{"error", {{"message", message}}}}.dump() << "\n" << std::flush;
  std::cerr << "vdsctl: " << message << "\n" << kUsage;
  return kExitBadArguments;
}

int Main(int argc, char** argv) {
  CLI::App app{
      "Loads the Vela VDS hardware provider as the disk service does and shows the subsystems, "
      "controllers, ports, drives, LUNs, plexes and storage pools it reports."};
  app.name("vdsctl");
  // Commands as the shell takes them: "LIST DRIVES" is "list drives".
  app.ignore_case();
  app.set_version_flag("--version", std::string("vdsctl ") + VDSCTL_VERSION);
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
  app.add_flag("--hints2", args.hints2,
               "create lun goes through IVdsSubSystem2::CreateLun2 with VDS_HINTS2");
  app.add_option("--module", args.module,
                 "Provider module to load, instead of the one the registry names")
      ->type_name("PATH");
  app.add_option("--provider", args.provider,
                 "The registered hardware provider to load, by name or id, when several are")
      ->type_name("NAME|ID");
  app.add_option("--timeout", args.timeout,
                 "Bound a one-shot command (loading the provider included) to SECONDS; past it, "
                 "exit 4")
      ->type_name("SECONDS")
      ->check(CLI::PositiveNumber);
  app.require_subcommand(1, 1);
  // Global options may also follow the command: "vdsctl list drives --json".
  app.fallthrough();

  CommandTable commands;
  AddProviderCommand(&app, &commands);
  AddListCommand(&app, &commands);
  AddDetailCommand(&app, &commands);
  AddHealthCommand(&app, &commands);
  AddShellCommand(&app, &commands);
  AddMultipathCommands(&app, &commands);
  AddProvisionCommands(&app, &commands);
  AddMaintenanceCommands(&app, &commands);
  AddSizeCommands(&app, &commands);
  AddIdentifyCommands(&app, &commands);
  // Registration needs no provider loaded: these run before anything else is set up.
  CLI::App* registerCommand =
      app.add_subcommand("register", "Call the module's DllRegisterServer, as regsvr32 does");
  registerCommand->add_option("module", args.registerModule, "The provider module")->required();
  CLI::App* unregisterCommand = app.add_subcommand(
      "unregister", "Call the module's DllUnregisterServer, as regsvr32 /u does");
  unregisterCommand->add_option("module", args.registerModule, "The provider module")->required();
  CLI::App* providersCommand = app.add_subcommand(
      "providers", "List the hardware providers registered with the disk service");
  CLI::App* help = app.add_subcommand("help", "Show the commands, or one command's options");
  help->add_option("command", args.helpTopic, "The command to describe");

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    return UsageError(app, e, argc, argv);
  }
  if (help->parsed()) {
    // App::help() would describe the command given, which is "help" itself.
    if (args.helpTopic.empty()) {
      std::cout << app.get_formatter()->make_help(&app, "vdsctl", CLI::AppFormatMode::Normal);
      return kExitOk;
    }
    for (const CLI::App* command : app.get_subcommands({})) {
      if (CLI::detail::to_lower(args.helpTopic) == command->get_name()) {
        std::cout << command->help("vdsctl");
        return kExitOk;
      }
    }
    std::cerr << "vdsctl: There is no command '" << args.helpTopic << "'.\n" << kUsage;
    return kExitBadArguments;
  }
  // The registry that lists the providers is the user's, not a run's merged copy.
  if (std::string problem; !args.environment.registryPath.empty() &&
                           !UseRegistryFile(args.environment.registryPath, &problem)) {
    Output output(args.json, true, std::cout, std::cerr);
    output.Problem(problem);
    return kExitBadArguments;
  }
  if (registerCommand->parsed() || unregisterCommand->parsed() || providersCommand->parsed()) {
    ResultStream results;
    Output output(args.json, true, results.Out(), std::cerr);
    if (providersCommand->parsed()) return ShowProviders(&output);
    return RunRegistration(args.registerModule, unregisterCommand->parsed(), &output);
  }
  ProviderChoice choice;
  std::string choiceProblem;
  if (!ChooseProvider(args.module, args.provider, ProviderLibraryPath(), &choice, &choiceProblem)) {
    Output output(args.json, true, std::cout, std::cerr);
    output.Problem(choiceProblem);
    return kExitBadArguments;
  }
  const CommandTable::Entry* command = commands.Given();
  args.environment.simulate = simulate->count() > 0;
  const bool shell = command->subcommand->get_name() == "shell";
  if (!args.timeout.empty() && shell) {
    std::cerr << "vdsctl: --timeout bounds one-shot commands, not the shell\n" << kUsage;
    return kExitBadArguments;
  }

  ResultStream results;
  Output output(args.json, !shell, results.Out(), std::cerr);
  EnvironmentError envError;
  std::unique_ptr<RunEnvironment> environment =
      RunEnvironment::Prepare(args.environment, &envError);
  if (!environment) {
    output.Problem(envError.message);
    return envError.code;
  }
  for (const std::string& warning : environment->Warnings()) output.Warning(warning);
  const ProviderLog providerLog(environment->ProviderLogPath());

  // A silent proxy holds a provider call for the whole reply wait; --timeout ends the run then,
  // naming the proxy the provider was talking to.
  std::optional<Watchdog> watchdog;
  if (!args.timeout.empty()) {
    const auto limit =
        std::chrono::milliseconds(static_cast<long long>(std::stod(args.timeout) * 1000.0 + 0.5));
    watchdog.emplace(limit, [&] {
      const SessionReport report = ReadSessionReport(providerLog.ReadRun());
      output.Problem("the proxy at " + ProxyAddressText(report) + " did not answer within " +
                         args.timeout + " s",
                     Json{{"proxy", ProxyJson(report)}, {"cause", "no answer"}});
      environment->RemoveFiles();
      _exit(kExitServiceFailure);
    });
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
  Commands shared(&model, &output);
  ExitCode code = command->needsProxy
                      ? CheckSession(ReadSessionReport(providerLog.ReadRun()), &model, &output)
                      : kExitOk;
  if (code == kExitOk) {
    const bool interactive = isatty(STDIN_FILENO) != 0;
    CommandContext context{&model,
                           &shared,
                           &output,
                           sink.Get(),
                           &providerLog,
                           interactive,
                           interactive && isatty(results.Fd()) ? results.Fd() : -1,
                           args.hints2};
    context.colour = ColourWanted(results.Fd());
    code = command->run(context);
  }
  host.reset();
  watchdog.reset();
  return code;
}

}  // namespace
}  // namespace vdsctl

#if defined(__SANITIZE_ADDRESS__)
// The leak check of a sanitized build: the dynamic thread-local blocks of the provider module are
// misread by this toolchain's LeakSanitizer, which then crashes at exit. Thread-local data holds
// no heap pointers here, so the check leaves it out.
extern "C" const char* __lsan_default_options() { return "use_tls=0:print_suppressions=0"; }
// Without that walk, the list of dependencies the dynamic loader keeps for a module it opened
// (held in loader-private memory) reads as leaked.
extern "C" const char* __lsan_default_suppressions() { return "leak:_dl_map_object_deps\n"; }
#endif

int main(int argc, char** argv) { return vdsctl::Main(argc, argv); }
