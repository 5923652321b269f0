// tidegate-sim: the proxy service simulator as a program. Runs until SIGTERM or SIGINT.
#include <signal.h>

#include <CLI/CLI.hpp>
#include <cstdio>

#include "sim/simulator.h"

int main(int argc, char** argv) {
  CLI::App app{"tidegate-sim: a simulated proxy service with dual-controller RAID subsystems"};
  sim::SimOptions options;
  app.add_option("--conf", options.conf_path, "tidegate.conf with user, password, address, port")
      ->required();
  app.add_option("--state", options.state_path, "SQLite file that keeps the array state");
  app.add_option("--inventory", options.inventory_path, "JSON inventory (default: built-in)");
  app.add_option("--listen", options.listen, "ADDR:PORT to listen on; port 0 picks one");
  app.add_option("--heartbeat-seconds", options.heartbeat_seconds, "heartbeat interval")
      ->check(CLI::NonNegativeNumber);
  app.add_option("--admin", options.admin, "ADDR:PORT of the line-based admin socket");
  app.add_option("--host-view", options.host_view_path,
                 "host view file to write for one host, rewritten after every change");
  app.add_option("--host-wwn", options.host_wwns,
                 "that host's HBA port WWNs (default: the inventory's HBA ports)")
      ->delimiter(',');
  CLI11_PARSE(app, argc, argv);

  // The serving threads inherit this mask, so the two signals reach only sigwait below.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  std::string error;
  std::unique_ptr<sim::Simulator> simulator = sim::Simulator::Start(options, &error);
  if (!simulator) {
    std::fprintf(stderr, "tidegate-sim: %s\n", error.c_str());
    return 1;
  }
  std::printf("listening on %s:%u\n", simulator->Address().c_str(), simulator->Port());
  if (simulator->AdminPort() != 0) std::printf("admin on port %u\n", simulator->AdminPort());
  std::fflush(stdout);

  int received = 0;
  sigwait(&signals, &received);
  std::fprintf(stderr, "tidegate-sim: signal %d, stopping\n", received);
  simulator->Stop();
  return 0;
}
