// Follows the provider's debug log while the shell runs and tells when the provider loses its
// proxy session and when it gets it back. The provider's monitor thread finds a broken session,
// logs "Reconnecting..." and tries again at each pass; a reconnect that gets through reports the
// "restored" information event, which the log echoes.
#ifndef VELA_TOOLS_VDSCTL_CONNECTION_WATCH_H_
#define VELA_TOOLS_VDSCTL_CONNECTION_WATCH_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace vdsctl {

// The session's state as the log lines of one stretch tell it; lines that say nothing about it
// leave it.
class ConnectionTracker {
 public:
  enum class Change { kNone, kLost, kRestored };

  // Feeds one log line; gives the change it makes.
  Change Line(std::string_view line);
  bool Lost() const { return lost_; }

 private:
  bool lost_ = false;
};

class ConnectionWatch {
 public:
  using Handler = std::function<void(ConnectionTracker::Change)>;

  // Reads `logPath` from `offset` every `period` and calls `handler` (on the watch's thread) at
  // each change. No file: nothing to follow, no thread.
  ConnectionWatch(std::string logPath, uint64_t offset, std::chrono::milliseconds period,
                  Handler handler);
  ~ConnectionWatch();  // stops and joins
  ConnectionWatch(const ConnectionWatch&) = delete;
  ConnectionWatch& operator=(const ConnectionWatch&) = delete;

 private:
  void Poll();

  const std::string path_;
  uint64_t offset_;      // of the first byte not yet read; the watch's thread only
  std::string partial_;  // a line not yet ended; the watch's thread only
  ConnectionTracker tracker_;
  const Handler handler_;
  std::mutex mutex_;
  std::condition_variable stop_;
  bool stopping_ = false;  // guarded by mutex_
  std::thread thread_;
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_CONNECTION_WATCH_H_
