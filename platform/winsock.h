// Winsock 2, as much of it as the proxy client's one TCP connection needs, with Winsock's
// behaviour on every host: a SOCKET handle, closesocket, the error of the calling thread's last
// failed call in WSAGetLastError, no signal from a send to a peer that has gone, and no call
// that gives up because a signal arrived (the POSIX build resumes such calls itself). The calls
// live in namespace winsock so that the BSD declarations of the same names can stand beside
// them. The Windows build starts Winsock (WSAStartup) at the first socket made.
#ifndef VELA_PLATFORM_WINSOCK_H_
#define VELA_PLATFORM_WINSOCK_H_

#include <cstdint>
#include <string>

namespace winsock {

#ifdef _WIN32
using SOCKET = uintptr_t;
inline constexpr SOCKET INVALID_SOCKET = ~SOCKET{0};
#else
using SOCKET = int;  // the descriptor
inline constexpr SOCKET INVALID_SOCKET = -1;
#endif
inline constexpr int SOCKET_ERROR = -1;

// A TCP socket over IPv4 (socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)); INVALID_SOCKET on failure.
SOCKET TcpSocket();
// connect() to an IPv4 address (network order, as inet_addr gives it) and port (host order).
// 0 or SOCKET_ERROR.
int ConnectIPv4(SOCKET s, uint32_t address, uint16_t port);
// The bytes sent or received (0: the peer closed), or SOCKET_ERROR.
int send(SOCKET s, const void* buffer, int len);
int recv(SOCKET s, void* buffer, int len);
// shutdown(s, SD_BOTH).
int ShutdownBoth(SOCKET s);
int closesocket(SOCKET s);
int WSAGetLastError();
// WSAPoll of one socket for reading: 1 when it is readable, closed or failed, 0 when `timeoutMs`
// (real milliseconds) passed, SOCKET_ERROR on failure.
int PollReadable(SOCKET s, int timeoutMs);

// The dotted IPv4 text and back, as inet_addr and inet_ntoa have them (INADDR_NONE, all ones,
// for text that is not an address).
uint32_t inet_addr(const char* text);
std::string inet_ntoa(uint32_t address);

}  // namespace winsock

#endif  // VELA_PLATFORM_WINSOCK_H_
