// CreateLun against tidegate-sim on the blank inventory at time scale 0 (sleeps cost nothing,
// and the monitor threads poll without pause beside the calls): a new RAID-5 vdisk from drives
// the provider chooses, and a partition added to an existing RAID-5 vdisk. Aim: under 20 ms per
// call, dominated by the controller record fetches the creation makes. Counters: record fetches
// and request bytes per call (from the simulator's request journal) and the record bytes those
// fetches bring back.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>

#include "bench/bench_fixture.h"
#include "proxy/records_format.h"
namespace {

constexpr ULONGLONG kGiB = 1ULL << 30;

// One CreateLun and Wait on the bench's subsystem; the seconds it took, or a negative value when
// it failed.
double Create(ProviderBench& bench, VDS_LUN_TYPE type, ULONGLONG size) {
  VDS_HINTS hints{};
  WCHAR none[1] = {};
  IVdsAsync* async = nullptr;
  const auto start = std::chrono::steady_clock::now();
  HRESULT hr = bench.SubSystem()->CreateLun(type, size, nullptr, 0, none, &hints, &async);
  HRESULT result = S_OK;
  VDS_ASYNC_OUTPUT out{};
  if (hr == S_OK) hr = async->Wait(&result, &out);
  const auto end = std::chrono::steady_clock::now();
  if (async != nullptr) async->Release();
  if (out.cl.pLunUnk != nullptr) out.cl.pLunUnk->Release();
  return hr == S_OK ? std::chrono::duration<double>(end - start).count() : -1;
}

void Report(benchmark::State& state, uint64_t calls, uint64_t fetches, uint64_t requestBytes) {
  if (calls == 0) return;
  state.counters["fetches_per_call"] = static_cast<double>(fetches) / static_cast<double>(calls);
  state.counters["request_bytes_per_call"] =
      static_cast<double>(requestBytes) / static_cast<double>(calls);
  state.counters["record_bytes_per_call"] =
      static_cast<double>(fetches * kControllerDataSize) / static_cast<double>(calls);
}

// The blank inventory holds six three-drive RAID-5 sets; the array starts afresh after them.
void BM_CreateLunNewRaid5Vdisk(benchmark::State& state) {
  ProviderBench bench;
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
    const double seconds = Create(bench, VDS_LT_RAID5, 0);
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
  ProviderBench bench;
  if (!bench.Start() || Create(bench, VDS_LT_RAID5, 10 * kGiB) < 0) {
    state.SkipWithError("set-up failed");
    return;
  }
  uint64_t unused = 0;
  bench.Traffic(&unused, &unused);
  uint64_t calls = 0, fetches = 0, bytes = 0;
  for (auto _ : state) {
    const double seconds = Create(bench, VDS_LT_RAID5, kGiB);
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
