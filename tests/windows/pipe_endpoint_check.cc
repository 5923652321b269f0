// The named pipe endpoint of the Windows build, run under Wine by scripts/windows-test: a client
// served in turn, a client that goes, and a wake-up that ends the wait in progress and every
// later one. Prints what failed and exits 1, or exits 0.
#include <windows.h>

#include <cstdio>
#include <string>
#include <thread>

#include "platform/pipe_endpoint.h"

namespace {

int g_failures = 0;

void Check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "pipe_endpoint_check: %s\n", what);
    ++g_failures;
  }
}

// One client: sends `message`, reads the answer into *answer, closes.
void Client(const std::string& path, const std::string& message, std::string* answer) {
  HANDLE pipe = INVALID_HANDLE_VALUE;
  for (int attempt = 0; attempt < 100 && pipe == INVALID_HANDLE_VALUE; ++attempt) {
    pipe = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0,
                       nullptr);
    if (pipe == INVALID_HANDLE_VALUE) Sleep(20);
  }
  if (pipe == INVALID_HANDLE_VALUE) return;
  DWORD count = 0;
  WriteFile(pipe, message.data(), static_cast<DWORD>(message.size()), &count, nullptr);
  char buffer[16] = {};
  if (ReadFile(pipe, buffer, sizeof buffer, &count, nullptr)) answer->assign(buffer, count);
  CloseHandle(pipe);
}

}  // namespace

int main() {
  const std::string name = "VELA_Check_" + std::to_string(GetCurrentProcessId());
  uint32_t error = 0;
  std::unique_ptr<PipeEndpoint> pipe = PipeEndpoint::Create(name, 2, &error);
  if (!pipe) {
    std::fprintf(stderr, "pipe_endpoint_check: CreateNamedPipe failed with error %u\n", error);
    return 1;
  }
  Check(PipeEndpointPath(name) == "\\\\.\\pipe\\" + name, "the pipe's path");

  for (int round = 0; round < 2; ++round) {
    std::string answer;
    std::thread client(Client, PipeEndpointPath(name), "ping", &answer);
    Check(pipe->Connect() == 0, "a client is not connected");
    char buffer[16] = {};
    uint32_t got = 0;
    Check(pipe->Read(buffer, sizeof buffer, &got) == 0 && std::string(buffer, got) == "ping",
          "the client's message is not read");
    uint32_t written = 0;
    Check(pipe->Write("pong", 4, &written) == 0 && written == 4, "the answer is not written");
    // The client reads and goes: a read of nothing, not an error.
    got = 1;
    Check(pipe->Read(buffer, sizeof buffer, &got) == 0 && got == 0,
          "a client that has gone does not read as 0 bytes");
    client.join();
    Check(answer == "pong", "the client did not get the answer");
    Check(pipe->Disconnect() == 0, "the client is not disconnected");
  }

  uint32_t waited = 0;
  std::thread server([&] { waited = pipe->Connect(); });
  Sleep(50);
  Check(pipe->Wake() == 0, "the wake-up is not set");
  server.join();
  Check(waited == kPipeAborted, "the wake-up does not end the wait for a client");
  char buffer[4];
  uint32_t got = 0;
  Check(pipe->Read(buffer, sizeof buffer, &got) == kPipeAborted, "a later wait is not ended");
  Check(pipe->Close() == 0, "the pipe is not closed");
  if (g_failures == 0) std::printf("pipe endpoint: all checks passed\n");
  return g_failures == 0 ? 0 : 1;
}
