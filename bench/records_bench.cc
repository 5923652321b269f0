// Conversion of one received controllerData from wire order, next to a plain copy of the same
// bytes as the reference line.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "proxy/records.h"

namespace {

std::vector<uint8_t> RandomRecord() {
  std::vector<uint8_t> wire(kControllerDataSize);
  std::mt19937 rng(1);
  for (auto& b : wire) b = static_cast<uint8_t>(rng());
  return wire;
}

void BM_MemcpyControllerDataBytes(benchmark::State& state) {
  const auto wire = RandomRecord();
  std::vector<uint8_t> copy(kControllerDataSize);
  for (auto _ : state) {
    std::memcpy(copy.data(), wire.data(), wire.size());
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kControllerDataSize));
}
BENCHMARK(BM_MemcpyControllerDataBytes)->Unit(benchmark::kMicrosecond);

void BM_DecodeControllerData(benchmark::State& state) {
  const auto wire = RandomRecord();
  // Default-initialized: the record is written whole by every decode.
  std::unique_ptr<controllerData> cd(new controllerData);
  for (auto _ : state) {
    DecodeControllerData(wire.data(), wire.size(), cd.get());
    benchmark::DoNotOptimize(cd.get());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kControllerDataSize));
}
BENCHMARK(BM_DecodeControllerData)->Unit(benchmark::kMicrosecond);

void BM_EncodeControllerData(benchmark::State& state) {
  const auto wire = RandomRecord();
  std::unique_ptr<controllerData> cd(new controllerData);
  DecodeControllerData(wire.data(), wire.size(), cd.get());
  std::vector<uint8_t> out(kControllerDataSize);
  for (auto _ : state) {
    EncodeControllerData(*cd, out.data());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kControllerDataSize));
}
BENCHMARK(BM_EncodeControllerData)->Unit(benchmark::kMicrosecond);

}  // namespace
