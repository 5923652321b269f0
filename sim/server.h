// The proxy port: serves each provider connection on its own thread, frame by frame, and drops
// only the offending connection (logging why) when a peer sends what can't be a frame.
#ifndef VELA_SIM_SERVER_H_
#define VELA_SIM_SERVER_H_

#include <atomic>
#include <string>

#include "sim/faults.h"
#include "sim/journal.h"
#include "sim/session.h"
#include "sim/state.h"

namespace sim {

// What every connection shares; owned by the simulator, outlives the listener.
struct ServerContext {
  State* state = nullptr;
  FaultInjector* faults = nullptr;
  RequestJournal* journal = nullptr;
  Credentials credentials;
  std::string pipeDir;
  double heartbeatSeconds = 5;
  int frameTimeoutMs = 30000;
  std::atomic<bool> heartbeatsEnabled{true};
};

// Serves one accepted connection until the peer closes, misbehaves or the simulator stops.
void ServeConnection(ServerContext& context, int fd, int stopFd);

}  // namespace sim

#endif  // VELA_SIM_SERVER_H_
