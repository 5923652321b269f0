#include "proxy/pipe_server.h"

#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "diag/debug_log.h"
#include "diag/event_log.h"
#include "platform/clock.h"
#include "platform/com.h"
#include "platform/pipe_endpoint.h"
#include "platform/system.h"
#include "platform/winerror.h"
#include "proxy/frame.h"
#include "proxy/iasocket.h"

std::atomic<int> g_recvEventsRunning{0};

namespace {

constexpr int kMaxInstances = 2;
constexpr DWORD kRetryPauseMs = 5000;

// True from create_listen until the thread has closed the endpoint on its way out.
std::atomic<bool> g_listening{false};
// The endpoint, from create_listen until its thread is reaped; delete_listener wakes it from any
// thread, and the wake-up ends every later wait of the thread too.
std::mutex g_endpointMutex;
std::shared_ptr<PipeEndpoint> g_endpoint;  // guarded by g_endpointMutex
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
  {
    std::lock_guard<std::mutex> lock(g_endpointMutex);
    g_endpoint.reset();
  }
  ModuleUnlock();
}

void PauseUnlessTerminating() {
  if (g_isTerminating == 0) Sleep(kRetryPauseMs);
}

// Reads exactly `len` bytes; 0 on success, else the error to report (ERROR_BROKEN_PIPE when the
// client went away). Ends early on the shutdown wake-up with ERROR_OPERATION_ABORTED.
DWORD ReadExactly(PipeEndpoint* pipe, uint8_t* buffer, size_t len) {
  size_t total = 0;
  while (total < len) {
    uint32_t got = 0;
    const uint32_t error = pipe->Read(buffer + total, static_cast<uint32_t>(len - total), &got);
    if (error != 0) return error;
    if (got == 0) return ERROR_BROKEN_PIPE;
    total += got;
  }
  return 0;
}

void Disconnect(PipeEndpoint* pipe, bool* connected) {
  if (const uint32_t error = pipe->Disconnect(); error != 0) {
    LogErrorEvent("DisconnectNamedPipe failed with error 0x%x", error);
  } else {
    DebugPrintf("pipe disconnected\n");
  }
  *connected = false;
}

void AnswerHeartbeat(PipeEndpoint* pipe, uint8_t* buffer) {
  build_header(buffer, RSHEARTBEAT, 0);
  uint32_t written = 0;
  if (const uint32_t error = pipe->Write(buffer, kPacketHeaderSize, &written); error != 0) {
    LogErrorEvent("WriteFile failed to write heartbeat response with error 0x%x", error);
  }
  DebugPrintf("WriteFile(pipe) wrote %d bytes\n", static_cast<int>(written));
}

void recv_events(std::shared_ptr<PipeEndpoint> pipe) {
  auto buffer = std::make_unique<uint8_t[]>(kRequestBufferSize);
  // The connected proxy, kept across passes after a failed or short read as the pipe stays
  // connected there.
  bool connected = false;
  while (g_isTerminating == 0) {
    g_recvEventsRunning = 1;
    DebugPrintf("pipe connect...\n");
    if (!connected) {
      const uint32_t error = pipe->Connect();
      if (error == kPipeAborted) break;
      if (error != 0) {
        LogErrorEvent("ConnectNamedPipe failed with error 0x%x", error);
        break;
      }
      connected = true;
    }
    if (g_isTerminating != 0) break;

    DebugPrintf("pipe read...\n");
    uint32_t got = 0;
    const uint32_t readError = pipe->Read(buffer.get(), kRequestBufferSize, &got);
    if (readError == kPipeAborted) break;
    if (readError != 0) {
      LogErrorEvent("ReadFile failed to read packet header error 0x%x", readError);
      PauseUnlessTerminating();
      continue;
    }
    const uint32_t dataLen = GetFrameDataLen(buffer.get());
    DebugPrintf("pipe read %d bytes, DataLen=%d\n", static_cast<int>(got),
                static_cast<int>(dataLen));
    size_t total = got;
    if (got == kPacketHeaderSize && dataLen != 0) {
      // A DataLen beyond the receive buffer cannot be read; the stream is then out of step.
      const DWORD error = dataLen > kRequestBufferSize - kPacketHeaderSize
                              ? static_cast<DWORD>(ERROR_MORE_DATA)
                              : ReadExactly(pipe.get(), buffer.get() + kPacketHeaderSize, dataLen);
      if (error == ERROR_OPERATION_ABORTED) break;
      if (error != 0) {
        LogErrorEvent("ReadFile failed to read additional data with error 0x%x", error);
        if (error == static_cast<DWORD>(ERROR_BROKEN_PIPE) ||
            error == static_cast<DWORD>(ERROR_MORE_DATA)) {
          Disconnect(pipe.get(), &connected);
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
      Disconnect(pipe.get(), &connected);
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
      AnswerHeartbeat(pipe.get(), buffer.get());
    }
    Disconnect(pipe.get(), &connected);
  }

  g_listening = false;
  DebugPrintf("closing pipe handle...\n");
  if (const uint32_t error = pipe->Close(); error == 0) {
    DebugPrintf("closed pipe handle\n");
  } else {
    DebugPrintf("CloseHandle(pipe) failed: error 0x%x\n", error);
  }
  buffer.reset();
  DebugPrintf("recv_events thread exit.\n");
  g_recvEventsRunning = 0;
}

}  // namespace

uint16_t PipeNumber() { return static_cast<uint16_t>(GetCurrentProcessId() & 0xffff); }

std::string PipeName() {
  std::string name = "VELA_Proxy_";
  name += std::to_string(PipeNumber());
  return name;
}

std::string PipeSocketPath() { return PipeEndpointPath(PipeName()); }

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

  uint32_t error = 0;
  std::shared_ptr<PipeEndpoint> endpoint = PipeEndpoint::Create(PipeName(), kMaxInstances, &error);
  if (!endpoint) {
    LogErrorEvent("CreateNamedPipe failed with error 0x%x", error);
    return 1;
  }
  {
    std::lock_guard<std::mutex> endpointLock(g_endpointMutex);
    g_endpoint = endpoint;
  }
  g_listening = true;
  g_listenerWoken = false;
  DebugPrintf("starting recv_events thread\n");
  g_recvEventsRunning = 1;
  ModuleLock();
  g_pipeThread.thread = std::thread(recv_events, std::move(endpoint));
  return 0;
}

void delete_listener() {
  const std::string path = PipeSocketPath();
  const std::u16string widePath(path.begin(), path.end());
  DebugPrintf("delete_listener: deleting named pipe %S\n", widePath.c_str());
  g_listenerWoken = true;
  std::shared_ptr<PipeEndpoint> endpoint;
  {
    std::lock_guard<std::mutex> lock(g_endpointMutex);
    endpoint = g_endpoint;
  }
  const uint32_t error = endpoint ? endpoint->Wake() : static_cast<uint32_t>(ERROR_INVALID_HANDLE);
  if (error != 0) {
    DebugPrintf("delete_listener: DeleteFile(%S) failed: error 0x%x (0x57 is expected)\n",
                widePath.c_str(), error);
  }
}

bool PipeListenerActive() { return g_listening.load(); }

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
