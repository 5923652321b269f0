#include "tools/vdsctl/watchdog.h"

namespace vdsctl {

Watchdog::Watchdog(std::chrono::milliseconds limit, std::function<void()> expire) {
  thread_ = std::thread([this, limit, expire = std::move(expire)] {
    std::unique_lock<std::mutex> lock(mutex_);
    if (done_.wait_for(lock, limit, [this] { return disarmed_; })) return;
    lock.unlock();
    expire();
  });
}

Watchdog::~Watchdog() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    disarmed_ = true;
  }
  done_.notify_all();
  thread_.join();
}

}  // namespace vdsctl
