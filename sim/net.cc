#include "sim/net.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "sim/log.h"

namespace sim {

bool ParseHostPort(const std::string& text, std::string* host, uint16_t* port) {
  const size_t colon = text.rfind(':');
  if (colon == std::string::npos) return false;
  const std::string address = text.substr(0, colon);
  const std::string number = text.substr(colon + 1);
  in_addr parsed{};
  if (inet_pton(AF_INET, address.c_str(), &parsed) != 1 || number.empty() || number.size() > 5 ||
      number.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  const unsigned long value = std::stoul(number);
  if (value > 65535) return false;
  *host = address;
  *port = static_cast<uint16_t>(value);
  return true;
}

long ReadSome(int fd, int stopFd, uint8_t* buffer, size_t size, int timeoutMs) {
  pollfd fds[2] = {{fd, POLLIN, 0}, {stopFd, POLLIN, 0}};
  for (;;) {
    const int ready = poll(fds, 2, timeoutMs);
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0) return kReadError;
    if (ready == 0) return kReadTimeout;
    if (fds[1].revents) return kReadStopped;
    const ssize_t got = recv(fd, buffer, size, 0);
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    return got < 0 ? kReadError : static_cast<long>(got);
  }
}

bool SendAll(int fd, int stopFd, const uint8_t* data, size_t size) {
  pollfd fds[2] = {{fd, POLLOUT, 0}, {stopFd, POLLIN, 0}};
  while (size > 0) {
    const ssize_t sent = send(fd, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent > 0) {
      data += sent;
      size -= static_cast<size_t>(sent);
      continue;
    }
    if (sent < 0 && errno != EAGAIN && errno != EINTR) return false;
    if (poll(fds, 2, -1) < 0 && errno != EINTR) return false;
    if (fds[1].revents) return false;
    if (fds[0].revents & (POLLERR | POLLHUP)) return false;
  }
  return true;
}

std::unique_ptr<Listener> Listener::Start(const std::string& host, uint16_t port,
                                          size_t maxConnections, const char* what, Handler handler,
                                          std::string* error) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  if (inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1) {
    *error = "bad listen address " + host;
    return nullptr;
  }
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int stopFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  const int yes = 1;
  if (fd < 0 || stopFd < 0 || setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0 ||
      bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(fd, 64) != 0) {
    *error = std::string("cannot listen on ") + host + ":" + std::to_string(port) + ": " +
             std::strerror(errno);
    if (fd >= 0) close(fd);
    if (stopFd >= 0) close(stopFd);
    return nullptr;
  }
  socklen_t length = sizeof address;
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  std::unique_ptr<Listener> listener(new Listener(fd, stopFd, host, ntohs(address.sin_port),
                                                  maxConnections, what, std::move(handler)));
  listener->acceptThread_ = std::thread([raw = listener.get()] { raw->AcceptLoop(); });
  return listener;
}

Listener::Listener(int listenFd, int stopFd, std::string host, uint16_t port, size_t maxConnections,
                   const char* what, Handler handler)
    : listenFd_(listenFd),
      stopFd_(stopFd),
      host_(std::move(host)),
      port_(port),
      maxConnections_(maxConnections),
      what_(what),
      handler_(std::move(handler)) {}

Listener::~Listener() {
  Stop();
  close(listenFd_);
  close(stopFd_);
}

void Listener::Stop() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopped_) return;
    stopped_ = true;
  }
  const uint64_t one = 1;
  if (write(stopFd_, &one, sizeof one) != sizeof one) SimLog("cannot wake the %s threads", what_);
  acceptThread_.join();
  // No new connection can appear now; join the ones that remain without holding the lock,
  // which their threads take when they finish.
  std::list<Connection> remaining;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    remaining.swap(connections_);
  }
  for (Connection& connection : remaining) connection.thread.join();
}

void Listener::ReapLocked() {
  for (auto it = connections_.begin(); it != connections_.end();) {
    if (!it->done) {
      ++it;
      continue;
    }
    it->thread.join();
    it = connections_.erase(it);
  }
}

void Listener::AcceptLoop() {
  pollfd fds[2] = {{listenFd_, POLLIN, 0}, {stopFd_, POLLIN, 0}};
  for (;;) {
    if (poll(fds, 2, -1) < 0 && errno != EINTR) {
      SimLog("%s: poll failed: %s", what_, std::strerror(errno));
      return;
    }
    if (fds[1].revents) return;
    if (!(fds[0].revents & POLLIN)) continue;
    const int fd = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) {
      if (errno != EINTR && errno != EAGAIN && errno != ECONNABORTED) {
        SimLog("%s: accept failed: %s", what_, std::strerror(errno));
      }
      continue;
    }
    const int yes = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    std::lock_guard<std::mutex> lock(mutex_);
    ReapLocked();
    if (connections_.size() >= maxConnections_) {
      SimLog("%s: connection dropped, %zu connections are open already", what_,
             connections_.size());
      close(fd);
      continue;
    }
    connections_.emplace_back();
    Connection* connection = &connections_.back();
    connection->thread = std::thread([this, connection, fd] {
      handler_(fd, stopFd_);
      // Closed here, at once, so that the peer sees the end of the connection.
      close(fd);
      std::lock_guard<std::mutex> done(mutex_);
      connection->done = true;
    });
  }
}

}  // namespace sim
