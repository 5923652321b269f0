// The size queries and a whole extension against tidegate-sim at time scale 0 (sleeps cost
// nothing, and the monitor threads poll without pause beside the calls):
//  - QueryMaxLunCreateSize for every LUN type the query takes, no drives named, on the large
//    inventory (32 RAID-5 vdisks with a LUN each, so the parity types ask every LUN about its
//    vdisk). Aim: under 20 ms per call.
//  - Extend of a RAID-5 LUN by one free drive, then Wait, with a fast job rate: expand_array,
//    the settling fetches, the poll and expand_part.
// Counters: controller record fetches per call, from the simulator's request journal.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/registry.h"
#include "provider/module.h"
#include "provider/provider.h"
#include "provisioning/utility.h"
#include "proxy/wire_format.h"
#include "sim/simulator.h"

namespace {

constexpr ULONGLONG kGiB = 1ULL << 30;

class SizesBench {
 public:
  SizesBench() {
    char pattern[] = "/tmp/vela_sizes_bench.XXXXXX";
    m_dir = mkdtemp(pattern);
    setenv("VELA_SYSTEM_DIR", m_dir.c_str(), 1);
    setenv("VELA_PIPE_DIR", m_dir.c_str(), 1);
    std::ofstream(m_dir + "/registry.reg") << "Windows Registry Editor Version 5.00\n\n";
    SetRegistryFile(m_dir + "/registry.reg");
    SetTimeScaleForTesting(0);
    ModuleAttach();
  }
  ~SizesBench() {
    Stop();
    ModuleDetach();
  }
  SizesBench(const SizesBench&) = delete;
  SizesBench& operator=(const SizesBench&) = delete;

  // A fresh array from `inventory` (empty: the built-in default) and a provider loaded on it.
  bool Start(const std::string& inventory) {
    Stop();
    sim::SimOptions options;
    options.listen = "127.0.0.1:0";
    options.pipe_dir = m_dir;
    options.heartbeat_seconds = 1e6;
    if (!inventory.empty()) {
      options.inventory_path = std::string(VELA_BENCH_INVENTORIES) + "/" + inventory;
    }
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

  IVdsSubSystem* SubSystem() const { return m_subSystem; }
  sim::Simulator* Simulator() const { return m_simulator.get(); }

  // The ids of the subsystem's drives in list order.
  std::vector<VDS_OBJECT_ID> Drives() {
    std::vector<VDS_OBJECT_ID> ids;
    IEnumVdsObject* list = nullptr;
    if (m_subSystem->QueryDrives(&list) != S_OK) return ids;
    IUnknown* unknown = nullptr;
    ULONG fetched = 0;
    while (list->Next(1, &unknown, &fetched) == S_OK && fetched == 1) {
      IVdsDrive* drive = nullptr;
      unknown->QueryInterface(IID_IVdsDrive, reinterpret_cast<void**>(&drive));
      VDS_DRIVE_PROP prop{};
      drive->GetProperties(&prop);
      ids.push_back(prop.id);
      CoTaskMemFree(prop.pwszFriendlyName);
      CoTaskMemFree(prop.pwszIdentification);
      drive->Release();
      unknown->Release();
    }
    list->Release();
    return ids;
  }

  // Record fetches since the last call.
  uint64_t Fetches() {
    const std::string journal = m_simulator->Admin("journal");
    m_simulator->Admin("journal clear");
    uint64_t fetches = 0;
    const std::string fetch = "{\"opcode\":" + std::to_string(GET_CONTROLLER) + ",";
    for (size_t at = journal.find(fetch); at != std::string::npos;
         at = journal.find(fetch, at + 1)) {
      ++fetches;
    }
    return fetches;
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

double Seconds(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void BM_QueryMaxLunCreateSizeEveryType(benchmark::State& state) {
  SizesBench bench;
  if (!bench.Start("large.json")) {
    state.SkipWithError(bench.error().empty() ? "load failed" : bench.error().c_str());
    return;
  }
  const VDS_LUN_TYPE types[] = {VDS_LT_DEFAULT, VDS_LT_FAULT_TOLERANT, VDS_LT_NON_FAULT_TOLERANT,
                                VDS_LT_SIMPLE,  VDS_LT_STRIPE,         VDS_LT_MIRROR,
                                VDS_LT_PARITY,  VDS_LT_RAID3,          VDS_LT_RAID5,
                                VDS_LT_RAID6,   VDS_LT_RAID10,         VDS_LT_RAID30,
                                VDS_LT_RAID50,  VDS_LT_RAID60};
  uint64_t calls = 0, fetches = 0;
  size_t next = 0;
  for (auto _ : state) {
    VDS_HINTS hints{};
    ULONGLONG size = 0;
    const auto start = std::chrono::steady_clock::now();
    const HRESULT hr =
        bench.SubSystem()->QueryMaxLunCreateSize(types[next], nullptr, 0, &hints, &size);
    const double seconds = Seconds(start);
    if (hr != S_OK) {
      state.SkipWithError("QueryMaxLunCreateSize failed");
      break;
    }
    next = (next + 1) % std::size(types);
    ++calls;
    fetches += bench.Fetches();
    state.SetIterationTime(seconds);
  }
  if (calls != 0) {
    state.counters["fetches_per_call"] = static_cast<double>(fetches) / static_cast<double>(calls);
  }
}
BENCHMARK(BM_QueryMaxLunCreateSizeEveryType)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(140);

// A RAID-5 vdisk of three SAS drives grows one named drive at a time through the other nine;
// then the array starts afresh.
void BM_ExtendByOneDriveAndWait(benchmark::State& state) {
  SizesBench bench;
  constexpr int kGrowthsPerArray = 9;  // the default inventory has twelve SAS drives
  int grown = kGrowthsPerArray;
  IVdsLun* lun = nullptr;
  std::vector<VDS_OBJECT_ID> ids;
  uint64_t calls = 0, fetches = 0;
  for (auto _ : state) {
    if (grown == kGrowthsPerArray) {
      state.PauseTiming();
      if (lun != nullptr) std::exchange(lun, nullptr)->Release();
      bool ready = bench.Start("");
      ids = bench.Drives();
      VDS_HINTS hints{};
      WCHAR none[1] = {};
      IVdsAsync* async = nullptr;
      ready = ready && ids.size() >= 3 &&
              bench.SubSystem()->CreateLun(VDS_LT_RAID5, 10 * kGiB, ids.data(), 3, none, &hints,
                                           &async) == S_OK;
      HRESULT result = S_OK;
      VDS_ASYNC_OUTPUT out{};
      ready = ready && async->Wait(&result, &out) == S_OK && out.cl.pLunUnk != nullptr &&
              out.cl.pLunUnk->QueryInterface(IID_IVdsLun, reinterpret_cast<void**>(&lun)) == S_OK;
      if (async != nullptr) async->Release();
      if (out.cl.pLunUnk != nullptr) out.cl.pLunUnk->Release();
      if (!ready) {
        state.SkipWithError(bench.error().empty() ? "set-up failed" : bench.error().c_str());
        break;
      }
      bench.Simulator()->Admin("job rate 1000");
      bench.Fetches();
      grown = 0;
      state.ResumeTiming();
    }
    // The next free SAS drive and all the room it and the vdisk give.
    const auto start = std::chrono::steady_clock::now();
    IVdsAsync* async = nullptr;
    HRESULT hr = lun->Extend(0, &ids[static_cast<size_t>(3 + grown)], 1, &async);
    HRESULT result = S_OK;
    VDS_ASYNC_OUTPUT out{};
    if (hr == S_OK) hr = async->Wait(&result, &out);
    const double seconds = Seconds(start);
    if (async != nullptr) async->Release();
    if (out.cl.pLunUnk != nullptr) out.cl.pLunUnk->Release();
    if (hr != S_OK || result != S_OK) {
      state.SkipWithError("Extend failed");
      break;
    }
    ++grown;
    ++calls;
    fetches += bench.Fetches();
    state.SetIterationTime(seconds);
  }
  if (lun != nullptr) lun->Release();
  if (calls != 0) {
    state.counters["fetches_per_call"] = static_cast<double>(fetches) / static_cast<double>(calls);
  }
}
BENCHMARK(BM_ExtendByOneDriveAndWait)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(18);

}  // namespace
