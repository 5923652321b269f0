#include "sim/heartbeat.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>

#include "platform/clock.h"
#include "proxy/frame.h"
#include "sim/log.h"

namespace sim {

namespace {

// How long an answer may take, in real time: a guard against a provider that accepted the
// connection and hangs, not a protocol wait.
constexpr int kAnswerTimeoutMs = 2000;

// Closes a descriptor on every path.
class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) close(fd_);
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace

std::string HeartbeatPipePath(const std::string& directory, uint16_t n) {
  std::string base = directory;
  if (base.empty()) {
    const char* env = std::getenv("VELA_PIPE_DIR");
    base = env && *env ? env : "/tmp";
  }
  return base + "/VELA_Proxy_" + std::to_string(n);
}

HeartbeatClient::HeartbeatClient(std::string path, double intervalSeconds, uint32_t sessionKey,
                                 const std::atomic<bool>& enabled)
    : path_(std::move(path)),
      intervalSeconds_(intervalSeconds),
      sessionKey_(sessionKey),
      enabled_(enabled),
      thread_([this] { Run(); }) {}

HeartbeatClient::~HeartbeatClient() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

void HeartbeatClient::Run() {
  const auto intervalMs = static_cast<uint64_t>(std::max(intervalSeconds_, 0.0) * 1000);
  // At least a millisecond of real time between beats, so that a time scale of 0 does not
  // turn the loop into a busy one.
  const auto interval =
      std::max<std::chrono::nanoseconds>(ScaledDuration(intervalMs), std::chrono::milliseconds(1));
  bool failing = false;
  for (;;) {
    {
      std::unique_lock<std::mutex> lock(mutex_);
      if (wake_.wait_for(lock, interval, [this] { return stop_; })) return;
    }
    if (!enabled_.load()) continue;
    const bool ok = Beat();
    if (ok) answered_.fetch_add(1);
    if (ok == failing) {
      SimLog(ok ? "heartbeats to %s answered again" : "heartbeat to %s not answered",
             path_.c_str());
      failing = !ok;
    }
  }
}

bool HeartbeatClient::Beat() {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path_.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);
  Fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (fd.get() < 0 ||
      connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return false;
  }
  uint8_t frame[kPacketHeaderSize];
  EncodePacketHeader(MakePacketHeader(RSHEARTBEAT, 0, counter_++, sessionKey_), frame);
  if (send(fd.get(), frame, sizeof frame, MSG_NOSIGNAL) != static_cast<ssize_t>(sizeof frame)) {
    return false;
  }
  uint8_t answer[kPacketHeaderSize];
  size_t have = 0;
  pollfd wait{fd.get(), POLLIN, 0};
  while (have < sizeof answer) {
    if (poll(&wait, 1, kAnswerTimeoutMs) <= 0) return false;
    const ssize_t got = recv(fd.get(), answer + have, sizeof answer - have, 0);
    if (got <= 0) return false;
    have += static_cast<size_t>(got);
  }
  PacketHeader header;
  DecodePacketHeader(answer, &header);
  return header.DataType == RSHEARTBEAT;
}

}  // namespace sim
