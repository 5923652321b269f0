// The wire layer of the proxy client: the one TCP connection, the shared request buffer, the
// frame builder, the single request/response primitive and the command mutex.
//
// One command is in flight at a time: every Tidegate:: method holds tidegate_lock_vds from the
// moment it touches the request buffer until it has copied its result out. The session steps
// (handshake, login, negotiate, close) use the same socket and buffer without the mutex; they
// run when no command can (ProxyInit) or under the provider's own lock (reconnect).
#ifndef VELA_PROXY_IASOCKET_H_
#define VELA_PROXY_IASOCKET_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/winsock.h"
#include "platform/wintypes.h"
#include "proxy/wire_format.h"

// The proxy socket, INVALID_SOCKET when there is none. Written by socket_connect, shut and
// reconnect.
extern std::atomic<winsock::SOCKET> g_proxySocket;
// Counts every frame built on any channel; never reset. Shared with the pipe thread, hence
// atomic: the increments of the two threads must not be lost.
extern std::atomic<uint32_t> g_frameCounter;
// 0 until the first login, then the key the last successful login returned.
extern std::atomic<uint32_t> g_sessionKey;
// Result of the last exec_cmnd: 0 a reply came, -1 the peer closed or recv failed without a
// socket error, -2 nothing came within the wait, else the socket error code.
extern std::atomic<int> g_proxyErrorCell;
// Set by sig_action; every loop of the proxy client stops when it sees it.
extern std::atomic<int> g_isTerminating;
// The request buffer (kRequestBufferSize bytes), from AllocateRequestBuffer until
// FreeRequestBuffer. A reply is received into the bytes of its request.
extern std::unique_ptr<uint8_t[]> g_requestBuffer;
// The command mutex, made by InitLock at module attach; null means commands run unlocked.
extern HANDLE tidegate_lock_vds;

void AllocateRequestBuffer();
void FreeRequestBuffer();

// Creates (or opens) the named command mutex; logs "InitLock error" when neither works.
void InitLock();
void FreeLock();

// Holds tidegate_lock_vds for one command; does nothing when the mutex could not be made.
class ProxyCommandLock {
 public:
  ProxyCommandLock();
  ~ProxyCommandLock();
  ProxyCommandLock(const ProxyCommandLock&) = delete;
  ProxyCommandLock& operator=(const ProxyCommandLock&) = delete;

 private:
  HANDLE m_mutex;
};

// Fills the 36 header bytes at `buffer` from the frame counter and the session key, advances
// the counter and returns 36. DataLen is left 0 for the caller to store.
int build_header(uint8_t* buffer, uint32_t dataType, uint32_t opCode);

// Sends `requestLen` bytes, waits up to 600 s (scaled) for the reply and receives it once, at
// most `replyMax` bytes. Returns the byte count (>= 1) or -1; sets the error cell.
int exec_cmnd(const uint8_t* request, int requestLen, uint8_t* reply, int replyMax);

// Reads exactly `len` bytes; returns the count, 0 for len <= 0, or -1 when the peer closes or
// recv fails. No time-out.
int recvdata(uint8_t* buffer, int len);

// Second step of every reply read: after exec_cmnd returned `headerBytes` into `frame` (which
// has room for `capacity` bytes), reads the announced payload when the header came whole.
// Returns the payload bytes read (0 when none was announced or the header came short), or -1
// when recvdata failed or the announced DataLen does not fit behind the header in `capacity`.
// `*dataLen` receives the announced length.
int ReadReplyPayload(uint8_t* frame, size_t capacity, int headerBytes, uint32_t* dataLen);

// Connects g_proxySocket to `address`:`port` over IPv4. Returns 0 or -1.
int socket_connect(const char* address, uint16_t port);

// Closes g_proxySocket, if any, and marks it invalid.
void CloseProxySocket();
// Ends an exchange in flight on another thread: shuts the connection down both ways, so that its
// wait for the reply and its reads return at once. The socket stays open (and every later
// exchange on it fails) until shut or reconnect closes it.
void InterruptProxyExchange();

// The socket error of the calling thread's last failed socket call, as the socket layer keeps
// it: a success does not clear it.
int SocketLastError();

#endif  // VELA_PROXY_IASOCKET_H_
