// vdsctl: loads the hardware provider the way the disk service does and shows what it sees, as
// DiskRAID-style tables or as JSON.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
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
#include "tools/vdsctl/provider_log.h"
#include "tools/vdsctl/result_stream.h"
#include "tools/vdsctl/shell.h"
#include "tools/vdsctl/watchdog.h"

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
  std::string timeout;  // --timeout SECONDS as given; empty: none
  std::string listKind;
  std::string detailKind;
  int detailIndex = 0;
  std::optional<int> subsystem;
  std::string script;
};

// The command once the provider is loaded.
ExitCode RunCommand(CLI::App& app, const Arguments& args, Model* model, Output* output,
                    AdviseSink* sink) {
  Commands commands(model, output);
  if (app.got_subcommand("provider")) return commands.ShowProvider();
  if (app.got_subcommand("list")) {
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

// A provider without its proxy session is loaded, offline and empty; that is a failure of the
// service, not an empty result. A provider whose proxy lists only subsystems it skips says so.
ExitCode CheckSession(const SessionReport& report, Model* model, Output* output) {
  const std::string failure = SessionFailureText(report);
  if (!failure.empty()) {
    output->Problem(
        failure, Json{{"proxy", ProxyAddressText(report)}, {"cause", SessionCauseWords(report)}});
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
  app.add_option("--timeout", args.timeout,
                 "Bound a one-shot command (loading the provider included) to SECONDS; past it, "
                 "exit 4")
      ->type_name("SECONDS")
      ->check(CLI::PositiveNumber);
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
  if (!args.timeout.empty() && app.got_subcommand("shell")) {
    std::cerr << "vdsctl: --timeout bounds one-shot commands, not the shell\n" << kUsage;
    return kExitBadArguments;
  }

  ResultStream results;
  Output output(args.json, !app.got_subcommand("shell"), results.Out(), std::cerr);
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
                     Json{{"proxy", ProxyAddressText(report)}, {"cause", "no answer"}});
      environment->RemoveFiles();
      _exit(kExitServiceFailure);
    });
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
  // The provider's own properties need no proxy.
  ExitCode code = app.got_subcommand("provider")
                      ? kExitOk
                      : CheckSession(ReadSessionReport(providerLog.ReadRun()), &model, &output);
  if (code == kExitOk) code = RunCommand(app, args, &model, &output, sink.Get());
  host.reset();
  watchdog.reset();
  return code;
}

}  // namespace
}  // namespace vdsctl

int main(int argc, char** argv) { return vdsctl::Main(argc, argv); }
