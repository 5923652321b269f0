// Winsock 2 of Windows. This file sees the SDK's socket header (it declares no scalar type of
// the platform's own), after the platform's declarations so that its macros leave them alone.
#include "platform/winsock.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <mutex>

namespace winsock {
namespace {

static_assert(sizeof(SOCKET) == sizeof(::SOCKET));

// Winsock is started once, at the first socket, and stays for the life of the process.
int Started() {
  static std::once_flag once;
  static int result = 0;
  std::call_once(once, [] {
    WSADATA data;
    result = ::WSAStartup(MAKEWORD(2, 2), &data);
  });
  return result;
}

}  // namespace

SOCKET TcpSocket() {
  if (const int error = Started(); error != 0) {
    ::WSASetLastError(error);
    return ~SOCKET{0};
  }
  return ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
}

int ConnectIPv4(SOCKET s, uint32_t address, uint16_t port) {
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_addr.s_addr = address;
  peer.sin_port = ::htons(port);
  return ::connect(s, reinterpret_cast<const sockaddr*>(&peer), sizeof peer);
}

int send(SOCKET s, const void* buffer, int len) {
  return ::send(s, static_cast<const char*>(buffer), len, 0);
}

int recv(SOCKET s, void* buffer, int len) { return ::recv(s, static_cast<char*>(buffer), len, 0); }

int ShutdownBoth(SOCKET s) { return ::shutdown(s, SD_BOTH); }

int closesocket(SOCKET s) { return ::closesocket(s); }

int WSAGetLastError() { return ::WSAGetLastError(); }

int PollReadable(SOCKET s, int timeoutMs) {
  WSAPOLLFD readable{};
  readable.fd = s;
  readable.events = POLLRDNORM;
  const int ready = ::WSAPoll(&readable, 1, timeoutMs);
  if (ready < 0) return -1;
  return ready > 0 && (readable.revents & (POLLRDNORM | POLLHUP | POLLERR)) != 0 ? 1 : 0;
}

uint32_t inet_addr(const char* text) { return ::inet_addr(text); }

std::string inet_ntoa(uint32_t address) {
  in_addr value{};
  value.s_addr = address;
  char text[INET_ADDRSTRLEN] = {};
  return ::inet_ntop(AF_INET, &value, text, sizeof text) != nullptr ? text : "";
}

}  // namespace winsock
