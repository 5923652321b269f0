// The heartbeat client of one negotiated session: every interval it connects to the provider's
// pipe endpoint $VELA_PIPE_DIR/VELA_Proxy_<n>, sends one RSHEARTBEAT frame, reads the answer
// and disconnects, as the proxy service does.
#ifndef VELA_SIM_HEARTBEAT_H_
#define VELA_SIM_HEARTBEAT_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace sim {

// Endpoint path of pipe number `n` under `directory` (empty: $VELA_PIPE_DIR, else /tmp).
std::string HeartbeatPipePath(const std::string& directory, uint16_t n);

class HeartbeatClient {
 public:
  // Starts the thread. `enabled` is the operator's switch (admin "heartbeat stop|start"); it
  // must outlive the client.
  HeartbeatClient(std::string path, double intervalSeconds, uint32_t sessionKey,
                  const std::atomic<bool>& enabled);
  // Stops and joins the thread.
  ~HeartbeatClient();
  HeartbeatClient(const HeartbeatClient&) = delete;
  HeartbeatClient& operator=(const HeartbeatClient&) = delete;

  // Heartbeats that got their 36-byte answer.
  uint64_t answered() const { return answered_.load(); }

 private:
  void Run();
  // One exchange; true when the answer came.
  bool Beat();

  const std::string path_;
  const double intervalSeconds_;
  const uint32_t sessionKey_;
  const std::atomic<bool>& enabled_;
  uint32_t counter_ = 0;  // touched by the thread only
  std::atomic<uint64_t> answered_{0};
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stop_ = false;  // guarded by mutex_
  std::thread thread_;
};

}  // namespace sim

#endif  // VELA_SIM_HEARTBEAT_H_
