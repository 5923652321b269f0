// Winsock over BSD sockets.
#include "platform/winsock.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

namespace winsock {
namespace {

// As the socket layer keeps it: a success does not clear it.
thread_local int t_lastError = 0;

int Fail() {
  t_lastError = errno;
  return SOCKET_ERROR;
}

}  // namespace

SOCKET TcpSocket() {
  const int s = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
  if (s < 0) t_lastError = errno;
  return s < 0 ? INVALID_SOCKET : s;
}

int ConnectIPv4(SOCKET s, uint32_t address, uint16_t port) {
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_addr.s_addr = address;
  peer.sin_port = htons(port);
  while (::connect(s, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0) {
    // A connect interrupted by a signal goes on in the background; wait for its outcome.
    if (errno != EINTR) return Fail();
    pollfd writable{s, POLLOUT, 0};
    while (::poll(&writable, 1, -1) < 0) {
      if (errno != EINTR) return Fail();
    }
    int error = 0;
    socklen_t size = sizeof error;
    if (::getsockopt(s, SOL_SOCKET, SO_ERROR, &error, &size) != 0) return Fail();
    if (error == 0) return 0;
    errno = error;
    return Fail();
  }
  return 0;
}

int send(SOCKET s, const void* buffer, int len) {
  for (;;) {
    // MSG_NOSIGNAL: a peer that has gone gives an error, as on Windows, not SIGPIPE.
    const ssize_t sent = ::send(s, buffer, static_cast<size_t>(len), MSG_NOSIGNAL);
    if (sent >= 0) return static_cast<int>(sent);
    if (errno != EINTR) return Fail();
  }
}

int recv(SOCKET s, void* buffer, int len) {
  for (;;) {
    const ssize_t got = ::recv(s, buffer, static_cast<size_t>(len), 0);
    if (got >= 0) return static_cast<int>(got);
    if (errno != EINTR) return Fail();
  }
}

int ShutdownBoth(SOCKET s) { return ::shutdown(s, SHUT_RDWR) == 0 ? 0 : Fail(); }

int closesocket(SOCKET s) { return ::close(s) == 0 ? 0 : Fail(); }

int WSAGetLastError() { return t_lastError; }

int PollReadable(SOCKET s, int timeoutMs) {
  using std::chrono::steady_clock;
  const auto deadline = steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  int waitMs = timeoutMs;
  for (;;) {
    pollfd readable{s, POLLIN, 0};
    const int ready = ::poll(&readable, 1, waitMs);
    if (ready >= 0) {
      return ready > 0 && (readable.revents & (POLLIN | POLLHUP | POLLERR)) != 0 ? 1 : 0;
    }
    if (errno != EINTR) return Fail();
    // A signal is not the end of the wait: go on for the time that is left.
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
    waitMs = left.count() > 0 ? static_cast<int>(left.count()) : 0;
  }
}

uint32_t inet_addr(const char* text) { return ::inet_addr(text); }

std::string inet_ntoa(uint32_t address) {
  in_addr value{};
  value.s_addr = address;
  char text[INET_ADDRSTRLEN] = {};
  return ::inet_ntop(AF_INET, &value, text, sizeof text) != nullptr ? text : "";
}

}  // namespace winsock
