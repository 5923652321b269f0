#include "proxy/pipe_server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

#include "diag/debug_log.h"
#include "diag/event_log.h"
#include "platform/clock.h"
#include "platform/com.h"
#include "platform/system.h"
#include "platform/winerror.h"
#include "proxy/frame.h"
#include "proxy/iasocket.h"

std::atomic<int> g_recvEventsRunning{0};

namespace {

constexpr int kMaxInstances = 2;
constexpr DWORD kRetryPauseMs = 5000;

// The endpoint, -1 when there is none; the thread takes it and marks it invalid on its way out.
std::atomic<int> g_listenSocket{-1};
// Written once by delete_listener; stays readable so that every later wait of the thread ends.
std::atomic<int> g_wakeEvent{-1};
// Set by delete_listener: the thread is on its way out even while its endpoint still stands.
std::atomic<bool> g_listenerWoken{false};
// The host may ask whether the module can go (which reaps an ended thread) while another thread
// loads the provider.
std::mutex g_pipeThreadMutex;
// The thread holds a module lock from its start until it has been joined, so that the module is
// never unmapped under it. A program that links the client without the module's detach (the
// tests) may end while the thread still winds down: then it ends with the process.
struct PipeThread {
  std::thread thread;
  ~PipeThread() {
    if (thread.joinable()) thread.detach();
  }
};
// Guarded by g_pipeThreadMutex.
PipeThread g_pipeThread;

// Joins the thread, if any, and gives back its module lock. Caller holds g_pipeThreadMutex.
void ReapLocked() {
  if (!g_pipeThread.thread.joinable()) return;
  g_pipeThread.thread.join();
  close(g_wakeEvent.exchange(-1));
  ModuleUnlock();
}

enum class WaitResult { kReady, kWoken, kError };

// Blocks until `fd` is readable or the shutdown wake-up arrives.
WaitResult WaitReadable(int fd) {
  pollfd fds[2] = {{fd, POLLIN, 0}, {g_wakeEvent.load(), POLLIN, 0}};
  for (;;) {
    const int ready = poll(fds, 2, -1);
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0) return WaitResult::kError;
    if (fds[1].revents != 0) return WaitResult::kWoken;
    return WaitResult::kReady;
  }
}

void PauseUnlessTerminating() {
  if (g_isTerminating == 0) Sleep(kRetryPauseMs);
}

// Reads exactly `len` bytes; 0 on success, else the error to report (ERROR_BROKEN_PIPE when the
// client went away). Ends early on the shutdown wake-up with ERROR_OPERATION_ABORTED.
DWORD ReadExactly(int fd, uint8_t* buffer, size_t len) {
  size_t total = 0;
  while (total < len) {
    const WaitResult wait = WaitReadable(fd);
    if (wait == WaitResult::kWoken) return ERROR_OPERATION_ABORTED;
    if (wait == WaitResult::kError) return static_cast<DWORD>(errno);
    const ssize_t got = read(fd, buffer + total, len - total);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return static_cast<DWORD>(errno);
    if (got == 0) return ERROR_BROKEN_PIPE;
    total += static_cast<size_t>(got);
  }
  return 0;
}

void Disconnect(int* client) {
  if (close(*client) != 0) {
    LogErrorEvent("DisconnectNamedPipe failed with error 0x%x", errno);
  } else {
    DebugPrintf("pipe disconnected\n");
  }
  *client = -1;
}

void AnswerHeartbeat(int client, uint8_t* buffer) {
  build_header(buffer, RSHEARTBEAT, 0);
  const ssize_t written = send(client, buffer, kPacketHeaderSize, MSG_NOSIGNAL);
  if (written < 0) {
    LogErrorEvent("WriteFile failed to write heartbeat response with error 0x%x", errno);
  }
  DebugPrintf("WriteFile(pipe) wrote %d bytes\n", written < 0 ? 0 : static_cast<int>(written));
}

void recv_events() {
  const int listenSocket = g_listenSocket.load();
  auto buffer = std::make_unique<uint8_t[]>(kRequestBufferSize);
  // The connected proxy, kept across passes after a failed or short read as the pipe stays
  // connected there.
  int client = -1;
  while (g_isTerminating == 0) {
    g_recvEventsRunning = 1;
    DebugPrintf("pipe connect...\n");
    if (client < 0) {
      const WaitResult wait = WaitReadable(listenSocket);
      if (wait == WaitResult::kWoken) break;
      if (wait == WaitResult::kReady) client = accept(listenSocket, nullptr, nullptr);
      if (client < 0) {
        if (errno == EINTR) continue;
        LogErrorEvent("ConnectNamedPipe failed with error 0x%x", errno);
        break;
      }
    }
    if (g_isTerminating != 0) break;

    DebugPrintf("pipe read...\n");
    const WaitResult wait = WaitReadable(client);
    if (wait == WaitResult::kWoken) break;
    const ssize_t got =
        wait == WaitResult::kReady ? read(client, buffer.get(), kRequestBufferSize) : -1;
    if (got < 0) {
      LogErrorEvent("ReadFile failed to read packet header error 0x%x", errno);
      PauseUnlessTerminating();
      continue;
    }
    const uint32_t dataLen = GetFrameDataLen(buffer.get());
    DebugPrintf("pipe read %d bytes, DataLen=%d\n", static_cast<int>(got),
                static_cast<int>(dataLen));
    size_t total = static_cast<size_t>(got);
    if (got == static_cast<ssize_t>(kPacketHeaderSize) && dataLen != 0) {
      // A DataLen beyond the receive buffer cannot be read; the stream is then out of step.
      const DWORD error = dataLen > kRequestBufferSize - kPacketHeaderSize
                              ? static_cast<DWORD>(ERROR_MORE_DATA)
                              : ReadExactly(client, buffer.get() + kPacketHeaderSize, dataLen);
      if (error == ERROR_OPERATION_ABORTED) break;
      if (error != 0) {
        LogErrorEvent("ReadFile failed to read additional data with error 0x%x", error);
        if (error == static_cast<DWORD>(ERROR_BROKEN_PIPE) ||
            error == static_cast<DWORD>(ERROR_MORE_DATA)) {
          Disconnect(&client);
        }
        PauseUnlessTerminating();
        continue;
      }
      total += dataLen;
      DebugPrintf("pipe read %d ADDITIONAL bytes, DataLen=%d read=%d\n", static_cast<int>(dataLen),
                  static_cast<int>(dataLen), static_cast<int>(total));
    }
    if (total == 0) {
      // End of stream: the proxy closed without a message, so the connection is gone.
      DebugPrintf("error: size=%d at %s %d \n", 0, "iasocket", __LINE__);
      Disconnect(&client);
      PauseUnlessTerminating();
      continue;
    }
    if (total < kPacketHeaderSize) {
      DebugPrintf("error: message too short, size=%d at %s %d \n", static_cast<int>(total),
                  "iasocket", __LINE__);
      PauseUnlessTerminating();
      continue;
    }
    PacketHeader header{};
    DecodePacketHeader(buffer.get(), &header);
    if (header.DataType != RSHEARTBEAT) {
      DebugPrintf("Received non-HB packet, ignoring (DataType=%d==0x%lx...\n",
                  static_cast<int>(header.DataType), static_cast<unsigned long>(header.DataType));
    } else {
      AnswerHeartbeat(client, buffer.get());
    }
    Disconnect(&client);
  }

  const int endpoint = g_listenSocket.exchange(-1);
  DebugPrintf("closing pipe handle...\n");
  if (close(endpoint) == 0) {
    DebugPrintf("closed pipe handle\n");
  } else {
    DebugPrintf("CloseHandle(pipe) failed: error 0x%x\n", errno);
  }
  unlink(PipeSocketPath().c_str());
  if (client >= 0) close(client);
  buffer.reset();
  DebugPrintf("recv_events thread exit.\n");
  g_recvEventsRunning = 0;
}

}  // namespace

uint16_t PipeNumber() { return static_cast<uint16_t>(GetCurrentProcessId() & 0xffff); }

std::string PipeSocketPath() {
  const char* directory = std::getenv("VELA_PIPE_DIR");
  std::string path = directory != nullptr && *directory != '\0' ? directory : "/tmp";
  return path + "/VELA_Proxy_" + std::to_string(PipeNumber());
}

int create_listen() {
  DebugPrintf("create_listen\n");
  const std::string path = PipeSocketPath();
  const std::u16string widePath(path.begin(), path.end());
  if (PipeListenerActive() && !g_listenerWoken) {
    // An earlier session start failed after this step: its endpoint and thread still serve.
    DebugPrintf("create_listen: named pipe %S is already served\n", widePath.c_str());
    return 0;
  }
  std::lock_guard<std::mutex> lock(g_pipeThreadMutex);
  // The thread of an earlier endpoint is on its way out (woken, or ended on its own).
  ReapLocked();
  DebugPrintf("create_listen: creating named pipe %S\n", widePath.c_str());

  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    LogErrorEvent("CreateNamedPipe failed with error 0x%x", ENAMETOOLONG);
    return 1;
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  const int endpoint = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int wake = eventfd(0, EFD_CLOEXEC);
  unlink(path.c_str());
  if (endpoint < 0 || wake < 0 ||
      bind(endpoint, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(endpoint, kMaxInstances) != 0) {
    const int error = errno;
    if (endpoint >= 0) close(endpoint);
    if (wake >= 0) close(wake);
    LogErrorEvent("CreateNamedPipe failed with error 0x%x", error);
    return 1;
  }
  g_listenSocket = endpoint;
  g_wakeEvent = wake;
  g_listenerWoken = false;
  DebugPrintf("starting recv_events thread\n");
  g_recvEventsRunning = 1;
  ModuleLock();
  g_pipeThread.thread = std::thread(recv_events);
  return 0;
}

void delete_listener() {
  const std::string path = PipeSocketPath();
  const std::u16string widePath(path.begin(), path.end());
  DebugPrintf("delete_listener: deleting named pipe %S\n", widePath.c_str());
  const uint64_t one = 1;
  g_listenerWoken = true;
  if (write(g_wakeEvent.load(), &one, sizeof one) != static_cast<ssize_t>(sizeof one)) {
    DebugPrintf("delete_listener: DeleteFile(%S) failed: error 0x%x (0x57 is expected)\n",
                widePath.c_str(), errno);
  }
}

bool PipeListenerActive() { return g_listenSocket.load() >= 0; }

void ReleasePipeThread() {
  // A thread still running stays joinable, and keeps its module lock, until a later call, the
  // next create_listen or the module detach reaps it.
  std::lock_guard<std::mutex> lock(g_pipeThreadMutex);
  if (g_recvEventsRunning == 0) ReapLocked();
}

void StopPipeThread() {
  std::lock_guard<std::mutex> lock(g_pipeThreadMutex);
  if (!g_pipeThread.thread.joinable()) return;
  g_isTerminating = 1;
  if (!g_listenerWoken) delete_listener();
  ReapLocked();
}
