// Fetching one controller record over loopback from a peer that answers at once, next to the
// raw transfer of the same 2.5 MB frame over the same kind of connection. The fetch adds the
// request buffer's two-step read, the checks and the record conversion; the target is within
// twice the raw transfer.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "proxy/byte_order.h"
#include "proxy/frame.h"
#include "proxy/iasocket.h"
#include "proxy/tidegate.h"

namespace {

bool ReadAll(int fd, uint8_t* to, size_t len) {
  size_t total = 0;
  while (total < len) {
    const ssize_t got = recv(fd, to + total, len - total, 0);
    if (got <= 0) return false;
    total += static_cast<size_t>(got);
  }
  return true;
}

bool SendAll(int fd, const uint8_t* from, size_t len) {
  size_t total = 0;
  while (total < len) {
    const ssize_t sent = send(fd, from + total, len - total, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    total += static_cast<size_t>(sent);
  }
  return true;
}

// Answers every request frame of its one client with the same GET_CONTROLLER reply.
class ReplyServer {
 public:
  ReplyServer() : m_reply(kPacketHeaderSize + kControllerDataSize, 0) {
    PacketHeader header = MakePacketHeader(RSREPLY, GET_CONTROLLER, 0, 0);
    header.DataLen = static_cast<uint32_t>(kControllerDataSize);
    EncodePacketHeader(header, m_reply.data());
    for (size_t i = kPacketHeaderSize + 8; i < m_reply.size(); ++i) {
      m_reply[i] = static_cast<uint8_t>(i * 131);
    }
    m_listen = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(m_listen, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    listen(m_listen, 1);
    socklen_t len = sizeof address;
    getsockname(m_listen, reinterpret_cast<sockaddr*>(&address), &len);
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { Serve(); });
  }
  ~ReplyServer() {
    shutdown(m_listen, SHUT_RDWR);
    m_thread.join();
    close(m_listen);
  }
  ReplyServer(const ReplyServer&) = delete;
  ReplyServer& operator=(const ReplyServer&) = delete;

  uint16_t port() const { return m_port; }

 private:
  void Serve() {
    const int client = accept(m_listen, nullptr, nullptr);
    if (client < 0) return;
    std::vector<uint8_t> request(kPacketHeaderSize + 64);
    while (ReadAll(client, request.data(), kPacketHeaderSize)) {
      const uint32_t dataLen = GetFrameDataLen(request.data());
      if (dataLen > 64 || !ReadAll(client, request.data() + kPacketHeaderSize, dataLen)) break;
      if (!SendAll(client, m_reply.data(), m_reply.size())) break;
    }
    close(client);
  }

  std::vector<uint8_t> m_reply;
  int m_listen = -1;
  uint16_t m_port = 0;
  std::thread m_thread;
};

int ConnectTo(uint16_t port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  return fd;
}

void BM_RawLoopbackTransfer(benchmark::State& state) {
  ReplyServer server;
  const int fd = ConnectTo(server.port());
  uint8_t request[kPacketHeaderSize + 4] = {};
  SetFrameDataLen(request, 4);
  auto buffer = std::make_unique<uint8_t[]>(kPacketHeaderSize + kControllerDataSize);
  for (auto _ : state) {
    SendAll(fd, request, sizeof request);
    if (!ReadAll(fd, buffer.get(), kPacketHeaderSize + kControllerDataSize)) {
      state.SkipWithError("transfer failed");
      break;
    }
    benchmark::DoNotOptimize(buffer[kPacketHeaderSize]);
  }
  close(fd);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(kControllerDataSize));
}
BENCHMARK(BM_RawLoopbackTransfer)->Unit(benchmark::kMillisecond);

void BM_FetchControllerData(benchmark::State& state) {
  ReplyServer server;
  AllocateRequestBuffer();
  if (socket_connect("127.0.0.1", server.port()) != 0) {
    state.SkipWithError("connect failed");
    return;
  }
  auto data = std::make_unique<controllerData>();
  for (auto _ : state) {
    if (Tidegate::get_controller_data(1, data.get()) != 0) {
      state.SkipWithError("fetch failed");
      break;
    }
    benchmark::DoNotOptimize(data->numDrives);
  }
  CloseProxySocket();
  FreeRequestBuffer();
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(kControllerDataSize));
}
BENCHMARK(BM_FetchControllerData)->Unit(benchmark::kMillisecond);

}  // namespace
