// The in-process face of tidegate-sim: start a simulated proxy service on a TCP port, talk to it
// like the provider does, stop it. The tidegate-sim executable and vdsctl --simulate both use it.
//
//   sim::SimOptions options;                 // built-in inventory, memory-only state, port 0
//   std::string error;
//   auto simulator = sim::Simulator::Start(options, &error);
//   if (!simulator) ...;                     // error says why
//   WriteFile(conf, simulator->ConfigurationText());   // a tidegate.conf that points at it
//   ... provider runs against simulator->Address():simulator->Port() ...
//   simulator->Stop();                       // also done by the destructor
#ifndef VELA_SIM_SIMULATOR_H_
#define VELA_SIM_SIMULATOR_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sim {

struct SimOptions {
  // A tidegate.conf (fixed-column labels) giving user name, password, address and port. Empty:
  // the user, password and listen fields below are used as they stand.
  std::string conf_path;
  std::string user = "admin";
  std::string password = "password";

  // JSON inventory (docs/simulator.md). Empty: the built-in default inventory.
  std::string inventory_path;

  // SQLite file that holds the array state. Created from the inventory when absent; when it
  // exists the inventory is not read. Empty: the state lives in memory only.
  std::string state_path;

  // "ADDR:PORT" to listen on; overrides the conf file. Empty: the conf file's address and port,
  // or 127.0.0.1 and a free port when there is no conf file. Port 0 picks a free port.
  std::string listen;

  // Interval of the heartbeat client of each negotiated session, in seconds of the platform
  // clock (scaled by VELA_TIME_SCALE).
  double heartbeat_seconds = 5;

  // "ADDR:PORT" of the line-based admin socket. Empty: no admin socket (Admin() still works).
  std::string admin;

  // Directory of the provider's heartbeat pipes (VELA_Proxy_<n>). Empty: $VELA_PIPE_DIR, else
  // /tmp.
  std::string pipe_dir;

  // The host view to write, and rewrite after every change, for one host (sim/host_view.h).
  // Empty: none.
  std::string host_view_path;
  // That host's HBA port WWNs ("21:00:..." or 16 hex digits). Empty: the inventory's HBA ports.
  std::vector<std::string> host_wwns;

  // Connections served at once; further ones are accepted, logged and closed at once.
  size_t max_sessions = 64;

  // A frame that has begun must be complete within this many milliseconds of real time, or the
  // connection is dropped. Not scaled: it guards against stalled peers, it is no protocol wait.
  int frame_timeout_ms = 30000;
};

class Simulator {
 public:
  // Loads or creates the state, binds the listener (and the admin socket), starts serving.
  // Returns null and fills *error when any of it fails.
  static std::unique_ptr<Simulator> Start(const SimOptions& options, std::string* error);

  // Stops serving: closes the listener, ends every session and heartbeat client, finishes the
  // transaction in progress. Idempotent.
  void Stop();

  // Where the provider connects: dotted-quad address and the bound TCP port.
  std::string Address() const;
  uint16_t Port() const;
  // Bound admin port, 0 without an admin socket.
  uint16_t AdminPort() const;

  // The text of a tidegate.conf that points at this simulator with its user and password.
  std::string ConfigurationText() const;

  // Runs one admin command (the same language as the admin socket) and returns its answer:
  // "ok", "error: <why>", or for "dump" the state as JSON.
  std::string Admin(const std::string& line);

  ~Simulator();
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;

 private:
  struct Impl;
  explicit Simulator(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace sim

#endif  // VELA_SIM_SIMULATOR_H_
