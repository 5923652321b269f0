// Serving the large inventory: one full GET_CONTROLLER record built from the model. The target
// is under 5 ms, so that a provider's full enumeration is bounded by the provider.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "proxy/records_format.h"
#include "sim/inventory.h"
#include "sim/records_builder.h"

namespace {

// The shipped inventory, found from this file's place in the source tree.
std::string LargeInventoryPath() {
  const std::string here = __FILE__;
  return here.substr(0, here.rfind("bench/")) + "sim/inventories/large.json";
}

void BM_SimControllerRecordLarge(benchmark::State& state) {
  sim::Model model;
  std::string error;
  if (!sim::LoadInventoryFile(LargeInventoryPath(), &model, &error)) {
    state.SkipWithError(error.c_str());
    return;
  }
  std::vector<uint8_t> record(kControllerDataSize);
  for (auto _ : state) {
    sim::BuildControllerData(model.subsystems[0], 0, record.data());
    benchmark::DoNotOptimize(record.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(kControllerDataSize));
}
BENCHMARK(BM_SimControllerRecordLarge)->Unit(benchmark::kMillisecond);

}  // namespace
