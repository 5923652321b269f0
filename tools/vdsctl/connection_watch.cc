#include "tools/vdsctl/connection_watch.h"

#include <fstream>

namespace vdsctl {

ConnectionTracker::Change ConnectionTracker::Line(std::string_view line) {
  if (line.find("Reconnecting... (handshake returned err") != std::string_view::npos) {
    if (lost_) return Change::kNone;
    lost_ = true;
    return Change::kLost;
  }
  // The event text is translated; the log's own words around it are not. A reconnect that gets
  // through reports its one information event.
  if (lost_ && line.find("Logging Info Event") != std::string_view::npos) {
    lost_ = false;
    return Change::kRestored;
  }
  return Change::kNone;
}

ConnectionWatch::ConnectionWatch(std::string logPath, uint64_t offset,
                                 std::chrono::milliseconds period, Handler handler)
    : path_(std::move(logPath)), offset_(offset), handler_(std::move(handler)) {
  if (path_.empty()) return;
  thread_ = std::thread([this, period] {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stop_.wait_for(lock, period, [this] { return stopping_; })) {
      lock.unlock();
      Poll();
      lock.lock();
    }
  });
}

ConnectionWatch::~ConnectionWatch() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  stop_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void ConnectionWatch::Poll() {
  std::ifstream in(path_, std::ios::binary);
  if (!in) return;
  in.seekg(static_cast<std::streamoff>(offset_));
  char buffer[4096];
  while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
    const auto got = static_cast<size_t>(in.gcount());
    offset_ += got;
    partial_.append(buffer, got);
  }
  size_t start = 0;
  for (size_t end; (end = partial_.find('\n', start)) != std::string::npos; start = end + 1) {
    const ConnectionTracker::Change change =
        tracker_.Line(std::string_view(partial_).substr(start, end - start));
    if (change != ConnectionTracker::Change::kNone) handler_(change);
  }
  partial_.erase(0, start);
}

}  // namespace vdsctl
