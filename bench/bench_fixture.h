// What the provider benchmarks share: a private scratch folder and registry, the clock at scale
// 0, a tidegate-sim on loopback with a provider loaded against it, and the request traffic the
// simulator's journal saw.
#ifndef VELA_BENCH_BENCH_FIXTURE_H_
#define VELA_BENCH_BENCH_FIXTURE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "provider/provider.h"
#include "sim/simulator.h"

class ProviderBench {
 public:
  ProviderBench();
  ~ProviderBench();
  ProviderBench(const ProviderBench&) = delete;
  ProviderBench& operator=(const ProviderBench&) = delete;

  // A fresh array from the shipped `inventory` (by default the array with nothing made on it)
  // and a provider loaded on it; its first subsystem is SubSystem().
  bool Start(const std::string& inventory = "blank.json");

  IVdsSubSystem* SubSystem() const { return m_subSystem; }
  sim::Simulator* Simulator() const { return m_simulator.get(); }
  const std::string& error() const { return m_error; }

  // The ids of the subsystem's drives in list order.
  std::vector<VDS_OBJECT_ID> Drives();

  // Controller record fetches and request bytes since the last call (`requestBytes` may be null).
  void Traffic(uint64_t* fetches, uint64_t* requestBytes = nullptr);

 private:
  void Stop();

  std::string m_dir;
  std::string m_error;
  std::unique_ptr<sim::Simulator> m_simulator;
  CProvider* m_provider = nullptr;
  IVdsSubSystem* m_subSystem = nullptr;
};

#endif  // VELA_BENCH_BENCH_FIXTURE_H_
