// A provider loaded against an in-process tidegate-sim, as the storage service would load it.
#ifndef VELA_TESTS_PROVIDER_SIM_FIXTURE_H_
#define VELA_TESTS_PROVIDER_SIM_FIXTURE_H_

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "provider/provider.h"
#include "sim/simulator.h"
#include "tests/provider/provider_test_support.h"

class SimProviderTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Starts the simulator on `inventory` (a file of sim/inventories, or JSON text when it begins
  // with '{'), at `listen` ("" for a free port), and writes the tidegate.conf that points at it
  // with `password`.
  void StartSimulator(const std::string& inventory, const std::string& listen = "",
                      const std::string& password = "password");
  // Creates the provider and runs OnLoad with the recording sink (or none).
  HRESULT Load(bool withSink = true);
  void Unload();

  // Ids of an enumerator's objects, in list order; the enumerator is released.
  static std::vector<GUID> Ids(IEnumVdsObject* list);
  std::vector<GUID> SubSystemIds();
  std::vector<GUID> ControllerIds();
  // The provider's first subsystem, with a reference for the caller; null (and a failure noted)
  // when there is none.
  IVdsSubSystem* FirstSubSystem();
  // Waits (through the platform clock, bounded in real time) until `done` holds.
  static bool WaitFor(const std::function<bool()>& done);

  std::unique_ptr<sim::Simulator> simulator_;
  CProvider* provider_ = nullptr;
  RecordingSink* sink_ = nullptr;
  std::string inventoryPath_;
  // When set before StartSimulator, the simulator writes its host view there.
  std::string hostViewPath_;
};

#endif  // VELA_TESTS_PROVIDER_SIM_FIXTURE_H_
