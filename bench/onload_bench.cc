// A full OnLoad of the large inventory (one subsystem at the record limits: 250 drives, 32
// vdisks of 128 partitions, both controllers) against tidegate-sim over loopback, next to a raw
// loopback exchange of the same bytes in the same number of round trips. Targets: under one
// second, and within twice the raw exchange.
//
// A first load runs through a counting relay to learn the traffic (bytes each way, request
// frames); the timed loads then go straight to the simulator.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/registry.h"
#include "provider/module.h"
#include "provider/provider.h"
#include "proxy/frame.h"
#include "proxy/wire_format.h"
#include "sim/conf.h"
#include "sim/simulator.h"

namespace {

std::string LargeInventoryPath() {
  const std::string here = __FILE__;
  return here.substr(0, here.rfind("bench/")) + "sim/inventories/large.json";
}

int Listener(uint16_t* port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  listen(fd, 4);
  socklen_t len = sizeof address;
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &len);
  *port = ntohs(address.sin_port);
  return fd;
}

int ConnectTo(uint16_t port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

bool SendAll(int fd, const uint8_t* from, size_t len) {
  for (size_t done = 0; done < len;) {
    const ssize_t sent = send(fd, from + done, len - done, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    done += static_cast<size_t>(sent);
  }
  return true;
}

bool ReadAll(int fd, uint8_t* to, size_t len) {
  for (size_t done = 0; done < len;) {
    const ssize_t got = recv(fd, to + done, len - done, 0);
    if (got <= 0) return false;
    done += static_cast<size_t>(got);
  }
  return true;
}

// Forwards one client connection to the simulator and counts what passes: bytes each way and
// the frames the client sends (each one an exchange).
class CountingRelay {
 public:
  explicit CountingRelay(uint16_t target) : m_target(target) {
    m_listen = Listener(&m_port);
    m_thread = std::thread([this] { Serve(); });
  }
  ~CountingRelay() {
    shutdown(m_listen, SHUT_RDWR);
    m_thread.join();
    close(m_listen);
  }
  CountingRelay(const CountingRelay&) = delete;
  CountingRelay& operator=(const CountingRelay&) = delete;

  uint16_t port() const { return m_port; }
  uint64_t requestBytes() const { return m_up; }
  uint64_t replyBytes() const { return m_down; }
  uint64_t frames() const { return m_frames; }

 private:
  void Serve() {
    const int client = accept(m_listen, nullptr, nullptr);
    if (client < 0) return;
    const int server = ConnectTo(m_target);
    std::vector<uint8_t> buffer(1 << 20);
    std::vector<uint8_t> pending;  // client bytes not yet split into frames
    pollfd fds[2] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
    for (bool open = server >= 0; open;) {
      if (poll(fds, 2, -1) < 0) break;
      for (int side = 0; side < 2 && open; ++side) {
        if ((fds[side].revents & (POLLIN | POLLHUP | POLLERR)) == 0) continue;
        const ssize_t got = recv(fds[side].fd, buffer.data(), buffer.size(), 0);
        if (got <= 0 || !SendAll(fds[1 - side].fd, buffer.data(), static_cast<size_t>(got))) {
          open = false;
          break;
        }
        if (side == 1) {
          m_down += static_cast<uint64_t>(got);
          continue;
        }
        m_up += static_cast<uint64_t>(got);
        pending.insert(pending.end(), buffer.begin(), buffer.begin() + got);
        while (pending.size() >= kPacketHeaderSize) {
          const size_t frame = kPacketHeaderSize + GetFrameDataLen(pending.data());
          if (pending.size() < frame) break;
          ++m_frames;
          pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(frame));
        }
      }
    }
    close(client);
    if (server >= 0) close(server);
  }

  uint16_t m_target;
  int m_listen = -1;
  uint16_t m_port = 0;
  std::thread m_thread;
  std::atomic<uint64_t> m_up{0};
  std::atomic<uint64_t> m_down{0};
  std::atomic<uint64_t> m_frames{0};
};

// One simulator on the large inventory and a provider environment pointing at it.
class LoadBench {
 public:
  LoadBench() {
    char pattern[] = "/tmp/vela_onload_bench.XXXXXX";
    m_dir = mkdtemp(pattern);
    setenv("VELA_SYSTEM_DIR", m_dir.c_str(), 1);
    setenv("VELA_PIPE_DIR", m_dir.c_str(), 1);
    std::ofstream(m_dir + "/registry.reg") << "Windows Registry Editor Version 5.00\n\n";
    SetRegistryFile(m_dir + "/registry.reg");
    // Protocol waits stay short; no wait of the load path sleeps for real.
    SetTimeScaleForTesting(0.001);
    ModuleAttach();
    sim::SimOptions options;
    options.inventory_path = LargeInventoryPath();
    options.listen = "127.0.0.1:0";
    options.pipe_dir = m_dir;
    // The simulator's heartbeats run on the platform clock too; keep them out of the figures.
    options.heartbeat_seconds = 1e6;
    m_simulator = sim::Simulator::Start(options, &m_error);
  }
  ~LoadBench() {
    if (m_simulator) m_simulator->Stop();
    ModuleDetach();
  }
  LoadBench(const LoadBench&) = delete;
  LoadBench& operator=(const LoadBench&) = delete;

  const std::string& error() const { return m_error; }
  bool ok() const { return m_simulator != nullptr; }
  uint16_t simulatorPort() const { return m_simulator->Port(); }

  // Points the provider at `port` of the loopback address.
  void PointAt(uint16_t port) {
    sim::ProxyConf conf = sim::ParseProxyConf(m_simulator->ConfigurationText());
    conf.port = port;
    std::ofstream(m_dir + "/tidegate.conf") << sim::FormatProxyConf(conf);
  }

  // One load and unload; the time of OnLoad alone, or a negative value when it failed.
  double LoadOnce() {
    CProvider* provider = CProvider::Create();
    const auto start = std::chrono::steady_clock::now();
    const HRESULT hr = provider->OnLoad(nullptr, nullptr);
    const auto end = std::chrono::steady_clock::now();
    IEnumVdsObject* list = nullptr;
    const bool loaded = hr == S_OK && provider->QuerySubSystems(&list) == S_OK;
    ULONG fetched = 0;
    IUnknown* sub = nullptr;
    const bool found = loaded && list->Next(1, &sub, &fetched) == S_OK;
    if (sub != nullptr) sub->Release();
    if (list != nullptr) list->Release();
    provider->OnUnload(FALSE);
    static_cast<IVdsProvider*>(provider)->Release();
    return found ? std::chrono::duration<double>(end - start).count() : -1;
  }

 private:
  std::string m_dir;
  std::string m_error;
  std::unique_ptr<sim::Simulator> m_simulator;
};

struct Traffic {
  uint64_t frames = 0;
  uint64_t requestBytes = 0;
  uint64_t replyBytes = 0;
};

Traffic g_traffic;

void BM_OnLoadLargeInventory(benchmark::State& state) {
  LoadBench bench;
  if (!bench.ok()) {
    state.SkipWithError(bench.error().c_str());
    return;
  }
  {
    CountingRelay relay(bench.simulatorPort());
    bench.PointAt(relay.port());
    if (bench.LoadOnce() < 0) {
      state.SkipWithError("OnLoad through the relay failed");
      return;
    }
    g_traffic = {relay.frames(), relay.requestBytes(), relay.replyBytes()};
  }
  bench.PointAt(bench.simulatorPort());
  for (auto _ : state) {
    const double seconds = bench.LoadOnce();
    if (seconds < 0) {
      state.SkipWithError("OnLoad failed");
      break;
    }
    state.SetIterationTime(seconds);
  }
  state.counters["commands"] = static_cast<double>(g_traffic.frames);
  state.counters["bytes_to_proxy"] = static_cast<double>(g_traffic.requestBytes);
  state.counters["bytes_from_proxy"] = static_cast<double>(g_traffic.replyBytes);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(g_traffic.requestBytes + g_traffic.replyBytes));
}
BENCHMARK(BM_OnLoadLargeInventory)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

// The reference: the same number of exchanges moving the same bytes, with a peer that answers at
// once and no work on either side.
void BM_RawLoopbackSameTraffic(benchmark::State& state) {
  const Traffic traffic = g_traffic;
  if (traffic.frames == 0) {
    state.SkipWithError("run BM_OnLoadLargeInventory first");
    return;
  }
  const size_t request = traffic.requestBytes / traffic.frames;
  const size_t reply = traffic.replyBytes / traffic.frames;
  uint16_t port = 0;
  const int listenFd = Listener(&port);
  std::thread peer([&] {
    const int fd = accept(listenFd, nullptr, nullptr);
    std::vector<uint8_t> in(request);
    std::vector<uint8_t> out(reply, 0x5a);
    while (fd >= 0 && ReadAll(fd, in.data(), in.size()) && SendAll(fd, out.data(), out.size())) {
    }
    if (fd >= 0) close(fd);
  });
  const int fd = ConnectTo(port);
  std::vector<uint8_t> out(request, 0xa5);
  std::vector<uint8_t> in(reply);
  for (auto _ : state) {
    for (uint64_t i = 0; i < traffic.frames; ++i) {
      if (!SendAll(fd, out.data(), out.size()) || !ReadAll(fd, in.data(), in.size())) {
        state.SkipWithError("raw exchange failed");
        break;
      }
    }
  }
  close(fd);
  peer.join();
  close(listenFd);
  state.counters["commands"] = static_cast<double>(traffic.frames);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(traffic.requestBytes + traffic.replyBytes));
}
BENCHMARK(BM_RawLoopbackSameTraffic)->Unit(benchmark::kMillisecond);

}  // namespace
