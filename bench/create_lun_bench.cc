// CreateLun against tidegate-sim on the default inventory at time scale 0 (sleeps cost nothing,
// and the monitor threads poll without pause beside the calls): a new RAID-5 vdisk from drives
// the provider chooses, and a partition added to an existing RAID-5 vdisk. Aim: under 20 ms per
// call, dominated by the controller record fetches the creation makes. Counters: record fetches
// and request bytes per call (from the simulator's request journal) and the record bytes those
// fetches bring back.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <utility>

#include "platform/clock.h"
#include "platform/registry.h"
#include "provider/module.h"
#include "provider/provider.h"
#include "provisioning/utility.h"
#include "proxy/records_format.h"
#include "proxy/wire_format.h"
#include "sim/simulator.h"

namespace {

constexpr ULONGLONG kGiB = 1ULL << 30;

class CreateBench {
 public:
  CreateBench() {
    char pattern[] = "/tmp/vela_create_bench.XXXXXX";
    m_dir = mkdtemp(pattern);
    setenv("VELA_SYSTEM_DIR", m_dir.c_str(), 1);
    setenv("VELA_PIPE_DIR", m_dir.c_str(), 1);
    std::ofstream(m_dir + "/registry.reg") << "Windows Registry Editor Version 5.00\n\n";
    SetRegistryFile(m_dir + "/registry.reg");
    SetTimeScaleForTesting(0);
    ModuleAttach();
  }
  ~CreateBench() {
    Stop();
    ModuleDetach();
  }
  CreateBench(const CreateBench&) = delete;
  CreateBench& operator=(const CreateBench&) = delete;

  // A fresh array and a provider loaded against it.
  bool Start() {
    Stop();
    sim::SimOptions options;
    options.listen = "127.0.0.1:0";
    options.pipe_dir = m_dir;
    options.heartbeat_seconds = 1e6;
    m_simulator = sim::Simulator::Start(options, &m_error);
    if (!m_simulator) return false;
    std::ofstream(m_dir + "/tidegate.conf") << m_simulator->ConfigurationText();
    ResetNewNamesForTesting();
    m_provider = CProvider::Create();
    if (m_provider->OnLoad(nullptr, nullptr) != S_OK) return false;
    IEnumVdsObject* list = nullptr;
    if (m_provider->QuerySubSystems(&list) != S_OK) return false;
    IUnknown* unknown = nullptr;
    ULONG fetched = 0;
    const bool found = list->Next(1, &unknown, &fetched) == S_OK;
    list->Release();
    if (!found) return false;
    const HRESULT hr =
        unknown->QueryInterface(IID_IVdsSubSystem, reinterpret_cast<void**>(&m_subSystem));
    unknown->Release();
    m_simulator->Admin("journal clear");
    return hr == S_OK;
  }

  // One CreateLun and Wait; the seconds it took, or a negative value when it failed.
  double Create(VDS_LUN_TYPE type, ULONGLONG size) {
    VDS_HINTS hints{};
    WCHAR none[1] = {};
    IVdsAsync* async = nullptr;
    const auto start = std::chrono::steady_clock::now();
    HRESULT hr = m_subSystem->CreateLun(type, size, nullptr, 0, none, &hints, &async);
    HRESULT result = S_OK;
    VDS_ASYNC_OUTPUT out{};
    if (hr == S_OK) hr = async->Wait(&result, &out);
    const auto end = std::chrono::steady_clock::now();
    if (async != nullptr) async->Release();
    if (out.cl.pLunUnk != nullptr) out.cl.pLunUnk->Release();
    return hr == S_OK ? std::chrono::duration<double>(end - start).count() : -1;
  }

  // Record fetches and request bytes since the last call.
  void Traffic(uint64_t* fetches, uint64_t* requestBytes) {
    const std::string journal = m_simulator->Admin("journal");
    m_simulator->Admin("journal clear");
    *fetches = 0;
    *requestBytes = 0;
    const std::string fetch = "{\"opcode\":" + std::to_string(GET_CONTROLLER) + ",";
    for (size_t at = journal.find(fetch); at != std::string::npos;
         at = journal.find(fetch, at + 1)) {
      ++*fetches;
    }
    for (size_t at = journal.find("\"length\":"); at != std::string::npos;
         at = journal.find("\"length\":", at + 1)) {
      *requestBytes += std::strtoull(journal.c_str() + at + 9, nullptr, 10);
    }
  }

  const std::string& error() const { return m_error; }

 private:
  void Stop() {
    if (m_subSystem != nullptr) std::exchange(m_subSystem, nullptr)->Release();
    if (m_provider != nullptr) {
      m_provider->OnUnload(FALSE);
      static_cast<IVdsProvider*>(std::exchange(m_provider, nullptr))->Release();
    }
    if (m_simulator) m_simulator->Stop();
    m_simulator.reset();
  }

  std::string m_dir;
  std::string m_error;
  std::unique_ptr<sim::Simulator> m_simulator;
  CProvider* m_provider = nullptr;
  IVdsSubSystem* m_subSystem = nullptr;
};

void Report(benchmark::State& state, uint64_t calls, uint64_t fetches, uint64_t requestBytes) {
  if (calls == 0) return;
  state.counters["fetches_per_call"] = static_cast<double>(fetches) / static_cast<double>(calls);
  state.counters["request_bytes_per_call"] =
      static_cast<double>(requestBytes) / static_cast<double>(calls);
  state.counters["record_bytes_per_call"] =
      static_cast<double>(fetches * kControllerDataSize) / static_cast<double>(calls);
}

// The default inventory holds six three-drive RAID-5 sets; the array starts afresh after them.
void BM_CreateLunNewRaid5Vdisk(benchmark::State& state) {
  CreateBench bench;
  constexpr int kSetsPerArray = 6;
  int made = kSetsPerArray;
  uint64_t calls = 0, fetches = 0, bytes = 0;
  for (auto _ : state) {
    if (made == kSetsPerArray) {
      if (!bench.Start()) {
        state.SkipWithError(bench.error().empty() ? "load failed" : bench.error().c_str());
        break;
      }
      made = 0;
    }
    // The largest size: each partition fills its vdisk, so every call makes a new one.
    const double seconds = bench.Create(VDS_LT_RAID5, 0);
    if (seconds < 0) {
      state.SkipWithError("CreateLun failed");
      break;
    }
    ++made;
    uint64_t f = 0, b = 0;
    bench.Traffic(&f, &b);
    ++calls;
    fetches += f;
    bytes += b;
    state.SetIterationTime(seconds);
  }
  Report(state, calls, fetches, bytes);
}
BENCHMARK(BM_CreateLunNewRaid5Vdisk)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(24);

void BM_CreateLunAddedPartition(benchmark::State& state) {
  CreateBench bench;
  if (!bench.Start() || bench.Create(VDS_LT_RAID5, 10 * kGiB) < 0) {
    state.SkipWithError("set-up failed");
    return;
  }
  uint64_t unused = 0;
  bench.Traffic(&unused, &unused);
  uint64_t calls = 0, fetches = 0, bytes = 0;
  for (auto _ : state) {
    const double seconds = bench.Create(VDS_LT_RAID5, kGiB);
    if (seconds < 0) {
      state.SkipWithError("CreateLun failed");
      break;
    }
    uint64_t f = 0, b = 0;
    bench.Traffic(&f, &b);
    ++calls;
    fetches += f;
    bytes += b;
    state.SetIterationTime(seconds);
  }
  Report(state, calls, fetches, bytes);
}
BENCHMARK(BM_CreateLunAddedPartition)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(100);

}  // namespace
