#include "proxy/iasocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "diag/debug_log.h"
#include "platform/clock.h"
#include "platform/handle.h"
#include "platform/mutex.h"
#include "proxy/frame.h"

std::atomic<int> g_proxySocket{-1};
std::atomic<uint32_t> g_frameCounter{0};
std::atomic<uint32_t> g_sessionKey{0};
std::atomic<int> g_proxyErrorCell{0};
std::atomic<int> g_isTerminating{0};
std::unique_ptr<uint8_t[]> g_requestBuffer;
HANDLE tidegate_lock_vds = nullptr;

namespace {

// How long exec_cmnd waits for the first reply bytes, in virtual milliseconds.
constexpr uint64_t kReplyWaitMs = 600 * 1000;

// Like the per-thread error of the socket layer, it keeps its value across successful calls.
thread_local int t_socketError = 0;

void NoteSocketError() { t_socketError = errno; }

// Waits for the reply's first bytes. A signal that interrupts the wait is not the time-out: the
// wait goes on for the time that is left, so that the reply is read and the stream stays in
// step.
void WaitForReply(pollfd* readable) {
  using std::chrono::steady_clock;
  int waitMs = ScaledReplyWaitMs(kReplyWaitMs);
  const auto deadline = steady_clock::now() + std::chrono::milliseconds(waitMs);
  for (;;) {
    readable->revents = 0;
    if (poll(readable, 1, waitMs) >= 0) return;
    if (errno != EINTR) {
      NoteSocketError();
      return;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
    waitMs = static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
  }
}

}  // namespace

int SocketLastError() { return t_socketError; }

void AllocateRequestBuffer() {
  if (!g_requestBuffer) g_requestBuffer = std::make_unique<uint8_t[]>(kRequestBufferSize);
}

void FreeRequestBuffer() { g_requestBuffer.reset(); }

void InitLock() {
  const std::u16string name = u"tidegate_lock_vds";
  tidegate_lock_vds = CreateMutexW(nullptr, FALSE, name.c_str());
  if (tidegate_lock_vds == nullptr) {
    tidegate_lock_vds = OpenMutexW(SYNCHRONIZE, FALSE, name.c_str());
  }
  if (tidegate_lock_vds == nullptr) DebugPrintf("InitLock error\n");
}

void FreeLock() {
  if (tidegate_lock_vds != nullptr) CloseHandle(tidegate_lock_vds);
  tidegate_lock_vds = nullptr;
}

ProxyCommandLock::ProxyCommandLock() : m_mutex(tidegate_lock_vds) {
  if (m_mutex != nullptr) WaitForSingleObject(m_mutex, INFINITE);
}

ProxyCommandLock::~ProxyCommandLock() {
  if (m_mutex != nullptr) ReleaseMutex(m_mutex);
}

int build_header(uint8_t* buffer, uint32_t dataType, uint32_t opCode) {
  const uint32_t counter = g_frameCounter.fetch_add(1, std::memory_order_relaxed);
  EncodePacketHeader(MakePacketHeader(dataType, opCode, counter, g_sessionKey.load()), buffer);
  return static_cast<int>(kPacketHeaderSize);
}

int exec_cmnd(const uint8_t* request, int requestLen, uint8_t* reply, int replyMax) {
  const int sock = g_proxySocket.load();
  // MSG_NOSIGNAL: a peer that has gone must give an error here, not end the process.
  ssize_t sent = send(sock, request, static_cast<size_t>(requestLen), MSG_NOSIGNAL);
  if (sent <= 0) {
    if (sent < 0) NoteSocketError();
    sent = send(sock, request, static_cast<size_t>(requestLen), MSG_NOSIGNAL);
    if (sent <= 0) {
      if (sent < 0) NoteSocketError();
      const int error = SocketLastError();
      if (error != 0) {
        g_proxyErrorCell = error;
        DebugPrintf("OOP!! exec_cmnd send error errorcode 0x%x\n", error);
      }
      return -1;
    }
  }

  pollfd readable{sock, POLLIN, 0};
  WaitForReply(&readable);
  if (const int error = SocketLastError(); error != 0) {
    g_proxyErrorCell = error;
    DebugPrintf("OOP!! exec_cmnd send error errorcode 0x%x\n", error);
  }
  if ((readable.revents & (POLLIN | POLLHUP | POLLERR)) == 0) {
    g_proxyErrorCell = -2;
    DebugPrintf("OOP!! exec_cmnd FD_ISSET error\n");
    return -1;
  }

  const ssize_t received = recv(sock, reply, static_cast<size_t>(replyMax), 0);
  if (received <= 0) {
    if (received < 0) NoteSocketError();
    const int error = SocketLastError();
    g_proxyErrorCell = error != 0 ? error : -1;
    DebugPrintf("OOP!! exec_cmnd recv error 0x%x\n", error);
    return -1;
  }
  g_proxyErrorCell = 0;
  return static_cast<int>(received);
}

int recvdata(uint8_t* buffer, int len) {
  if (len <= 0) return 0;
  const int sock = g_proxySocket.load();
  int total = 0;
  while (total < len) {
    const ssize_t got = recv(sock, buffer + total, static_cast<size_t>(len - total), 0);
    if (got < 0 && errno == EINTR) continue;  // a signal, not the end of the reply
    if (got <= 0) {
      if (got < 0) NoteSocketError();
      DebugPrintf("recvdata len = %d\n", static_cast<int>(got));
      return -1;
    }
    total += static_cast<int>(got);
  }
  return total;
}

int ReadReplyPayload(uint8_t* frame, size_t capacity, int headerBytes, uint32_t* dataLen) {
  *dataLen = GetFrameDataLen(frame);
  if (headerBytes != static_cast<int>(kPacketHeaderSize) || *dataLen == 0) return 0;
  if (capacity < kPacketHeaderSize || *dataLen > capacity - kPacketHeaderSize) return -1;
  return recvdata(frame + kPacketHeaderSize, static_cast<int>(*dataLen));
}

int socket_connect(const char* address, uint16_t port) {
  const int sock = socket(AF_INET, SOCK_STREAM, 0);
  if (sock < 0) {
    NoteSocketError();
    DebugPrintf("socket connect to port %d failed, error %d\n", port, SocketLastError());
    return -1;
  }
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_addr.s_addr = inet_addr(address);
  peer.sin_port = htons(port);
  if (connect(sock, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) < 0) {
    NoteSocketError();
    DebugPrintf("socket connect to port %d failed, error %d\n", port, SocketLastError());
    close(sock);
    return -1;
  }
  g_proxySocket = sock;
  return 0;
}

void InterruptProxyExchange() {
  const int sock = g_proxySocket.load();
  if (sock >= 0) shutdown(sock, SHUT_RDWR);
}

void CloseProxySocket() {
  const int sock = g_proxySocket.exchange(-1);
  if (sock >= 0) close(sock);
}
