#include "proxy/iasocket.h"

#include <cstring>

#include "diag/debug_log.h"
#include "platform/clock.h"
#include "platform/handle.h"
#include "platform/mutex.h"
#include "proxy/frame.h"

std::atomic<winsock::SOCKET> g_proxySocket{winsock::INVALID_SOCKET};
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

void NoteSocketError() { t_socketError = winsock::WSAGetLastError(); }

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
  const winsock::SOCKET sock = g_proxySocket.load();
  int sent = winsock::send(sock, request, requestLen);
  if (sent <= 0) {
    if (sent < 0) NoteSocketError();
    sent = winsock::send(sock, request, requestLen);
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

  // A signal during the wait is not the time-out (the socket layer waits on for the time that is
  // left), so that the reply is read and the stream stays in step.
  const int ready = winsock::PollReadable(sock, ScaledReplyWaitMs(kReplyWaitMs));
  if (ready < 0) NoteSocketError();
  if (const int error = SocketLastError(); error != 0) {
    g_proxyErrorCell = error;
    DebugPrintf("OOP!! exec_cmnd send error errorcode 0x%x\n", error);
  }
  if (ready <= 0) {
    g_proxyErrorCell = -2;
    DebugPrintf("OOP!! exec_cmnd FD_ISSET error\n");
    return -1;
  }

  const int received = winsock::recv(sock, reply, replyMax);
  if (received <= 0) {
    if (received < 0) NoteSocketError();
    const int error = SocketLastError();
    g_proxyErrorCell = error != 0 ? error : -1;
    DebugPrintf("OOP!! exec_cmnd recv error 0x%x\n", error);
    return -1;
  }
  g_proxyErrorCell = 0;
  return received;
}

int recvdata(uint8_t* buffer, int len) {
  if (len <= 0) return 0;
  const winsock::SOCKET sock = g_proxySocket.load();
  int total = 0;
  while (total < len) {
    const int got = winsock::recv(sock, buffer + total, len - total);
    if (got <= 0) {
      if (got < 0) NoteSocketError();
      DebugPrintf("recvdata len = %d\n", static_cast<int>(got));
      return -1;
    }
    total += got;
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
  const winsock::SOCKET sock = winsock::TcpSocket();
  if (sock == winsock::INVALID_SOCKET) {
    NoteSocketError();
    DebugPrintf("socket connect to port %d failed, error %d\n", port, SocketLastError());
    return -1;
  }
  if (winsock::ConnectIPv4(sock, winsock::inet_addr(address), port) != 0) {
    NoteSocketError();
    DebugPrintf("socket connect to port %d failed, error %d\n", port, SocketLastError());
    winsock::closesocket(sock);
    return -1;
  }
  g_proxySocket = sock;
  return 0;
}

void InterruptProxyExchange() {
  const winsock::SOCKET sock = g_proxySocket.load();
  if (sock != winsock::INVALID_SOCKET) winsock::ShutdownBoth(sock);
}

void CloseProxySocket() {
  const winsock::SOCKET sock = g_proxySocket.exchange(winsock::INVALID_SOCKET);
  if (sock != winsock::INVALID_SOCKET) winsock::closesocket(sock);
}
