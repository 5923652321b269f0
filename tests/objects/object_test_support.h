// Walking the provider's object tree through the VDS interfaces, for the object tests.
#ifndef VELA_TESTS_OBJECTS_OBJECT_TEST_SUPPORT_H_
#define VELA_TESTS_OBJECTS_OBJECT_TEST_SUPPORT_H_

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/provider/sim_fixture.h"

// A subsystem entry for an inventory: two controllers (A 2001, B 2002) with two FC ports each.
nlohmann::json SubsystemJson(const std::string& uniqueSn);
// `count` drives from `slot` on in enclosure 0 (channel 0, scsi id = slot).
nlohmann::json DrivesJson(int count, int slot, int type, const std::string& serialPattern);
nlohmann::json InventoryJson(const std::vector<nlohmann::json>& subsystems);

class ObjectTest : public SimProviderTest {
 protected:
  // Starts the simulator on the inventory and loads the provider; fails the test when not S_OK.
  void LoadInventory(const nlohmann::json& inventory);
  ComPtr<IVdsSubSystem> SubSystem(size_t index = 0);
  // The LUN with this friendly name; fails the test when there is none.
  ComPtr<IVdsLun> LunNamed(IVdsSubSystem* subSystem, const std::string& name);
};

#endif  // VELA_TESTS_OBJECTS_OBJECT_TEST_SUPPORT_H_
