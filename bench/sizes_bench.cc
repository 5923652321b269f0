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
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

#include "bench/bench_fixture.h"

namespace {

constexpr ULONGLONG kGiB = 1ULL << 30;

// Controller record fetches since the last call.
uint64_t Fetches(ProviderBench& bench) {
  uint64_t fetches = 0;
  bench.Traffic(&fetches);
  return fetches;
}

double Seconds(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void BM_QueryMaxLunCreateSizeEveryType(benchmark::State& state) {
  ProviderBench bench;
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
    fetches += Fetches(bench);
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
  ProviderBench bench;
  constexpr int kGrowthsPerArray = 9;  // the default inventory has twelve SAS drives
  int grown = kGrowthsPerArray;
  IVdsLun* lun = nullptr;
  std::vector<VDS_OBJECT_ID> ids;
  uint64_t calls = 0, fetches = 0;
  for (auto _ : state) {
    if (grown == kGrowthsPerArray) {
      state.PauseTiming();
      if (lun != nullptr) std::exchange(lun, nullptr)->Release();
      bool ready = bench.Start();
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
      Fetches(bench);
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
    fetches += Fetches(bench);
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
