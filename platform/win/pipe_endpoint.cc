// The pipe endpoint as a Windows named pipe. Every operation is overlapped and waits for its
// completion or the wake-up event, whichever comes first; the event is manual-reset, so that a
// wake-up stays seen. This file sees the SDK's headers (the endpoint's declarations use no
// scalar type of the platform's own).
#include "platform/pipe_endpoint.h"

#include <windows.h>

namespace {

constexpr DWORD kBufferSize = 4096;

class NamedPipe : public PipeEndpoint {
 public:
  NamedPipe(HANDLE pipe, HANDLE wake, HANDLE io) : m_pipe(pipe), m_wake(wake), m_io(io) {}
  ~NamedPipe() override {
    Close();
    CloseHandle(m_io);
    CloseHandle(m_wake);
  }

  uint32_t Connect() override {
    if (Woken()) return kPipeAborted;
    DWORD ignored = 0;
    const uint32_t error = Complete(ConnectNamedPipe(m_pipe, Begin()), &ignored);
    // A client that came between the pipe's creation and this call is already connected.
    return error == ERROR_PIPE_CONNECTED ? 0 : error;
  }

  uint32_t Read(void* buffer, uint32_t size, uint32_t* got) override {
    *got = 0;
    if (Woken()) return kPipeAborted;
    DWORD count = 0;
    uint32_t error = Complete(ReadFile(m_pipe, buffer, size, nullptr, Begin()), &count);
    // The client has gone: the end of its stream, as a read of 0 bytes.
    if (error == ERROR_BROKEN_PIPE) error = 0;
    *got = error == 0 ? count : 0;
    return error;
  }

  uint32_t Write(const void* buffer, uint32_t size, uint32_t* written) override {
    *written = 0;
    if (Woken()) return kPipeAborted;
    DWORD count = 0;
    const uint32_t error = Complete(WriteFile(m_pipe, buffer, size, nullptr, Begin()), &count);
    *written = error == 0 ? count : 0;
    return error;
  }

  uint32_t Disconnect() override { return DisconnectNamedPipe(m_pipe) ? 0 : GetLastError(); }

  uint32_t Close() override {
    if (m_pipe == INVALID_HANDLE_VALUE) return 0;
    const uint32_t result = CloseHandle(m_pipe) ? 0 : GetLastError();
    m_pipe = INVALID_HANDLE_VALUE;
    return result;
  }

  uint32_t Wake() override { return SetEvent(m_wake) ? 0 : GetLastError(); }

 private:
  bool Woken() const { return WaitForSingleObject(m_wake, 0) == WAIT_OBJECT_0; }

  OVERLAPPED* Begin() {
    m_overlapped = OVERLAPPED{};
    m_overlapped.hEvent = m_io;
    return &m_overlapped;
  }

  // The outcome of the operation just started, which returned `started`.
  uint32_t Complete(BOOL started, DWORD* transferred) {
    if (!started) {
      const DWORD error = GetLastError();
      if (error != ERROR_IO_PENDING) return error;
      const HANDLE events[2] = {m_io, m_wake};
      if (WaitForMultipleObjects(2, events, FALSE, INFINITE) != WAIT_OBJECT_0) {
        CancelIoEx(m_pipe, &m_overlapped);
        GetOverlappedResult(m_pipe, &m_overlapped, transferred, TRUE);
        return kPipeAborted;
      }
    }
    if (!GetOverlappedResult(m_pipe, &m_overlapped, transferred, FALSE)) return GetLastError();
    return Woken() ? kPipeAborted : 0;
  }

  HANDLE m_pipe;        // the serving thread's
  const HANDLE m_wake;  // set by any thread
  const HANDLE m_io;    // the serving thread's
  OVERLAPPED m_overlapped{};
};

}  // namespace

std::string PipeEndpointPath(const std::string& name) { return "\\\\.\\pipe\\" + name; }

std::unique_ptr<PipeEndpoint> PipeEndpoint::Create(const std::string& name, int maxInstances,
                                                   uint32_t* error) {
  const std::string path = PipeEndpointPath(name);
  const HANDLE pipe =
      CreateNamedPipeA(path.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                       PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT,
                       static_cast<DWORD>(maxInstances), kBufferSize, kBufferSize, 0, nullptr);
  if (pipe == INVALID_HANDLE_VALUE) {
    *error = GetLastError();
    return nullptr;
  }
  const HANDLE wake = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  const HANDLE io = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (wake == nullptr || io == nullptr) {
    *error = GetLastError();
    if (wake != nullptr) CloseHandle(wake);
    if (io != nullptr) CloseHandle(io);
    CloseHandle(pipe);
    return nullptr;
  }
  return std::make_unique<NamedPipe>(pipe, wake, io);
}
