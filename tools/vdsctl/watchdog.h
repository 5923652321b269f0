// The bound of `--timeout`: a thread that waits for the command to end and, when the time runs
// out first, calls its expiry routine, which ends the process. A silent proxy holds a provider
// call for the whole reply wait, and there is no way to take a call back from the module, so
// the expiry cannot wait for it.
#ifndef VELA_TOOLS_VDSCTL_WATCHDOG_H_
#define VELA_TOOLS_VDSCTL_WATCHDOG_H_

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace vdsctl {

class Watchdog {
 public:
  // Calls `expire` on the watchdog's thread when `limit` (real time) passes before the
  // destructor runs. `expire` must not return (it ends the process).
  Watchdog(std::chrono::milliseconds limit, std::function<void()> expire);
  // Disarms and joins.
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  std::mutex mutex_;
  std::condition_variable done_;
  bool disarmed_ = false;  // guarded by mutex_
  std::thread thread_;
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_WATCHDOG_H_
