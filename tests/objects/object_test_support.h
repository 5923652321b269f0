// Walking the provider's object tree through the VDS interfaces, for the object tests.
#ifndef VELA_TESTS_OBJECTS_OBJECT_TEST_SUPPORT_H_
#define VELA_TESTS_OBJECTS_OBJECT_TEST_SUPPORT_H_

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/com.h"
#include "platform/strings.h"
#include "platform/vds.h"
#include "tests/provider/sim_fixture.h"

// The objects of a list with the interface I, in list order; the list is released.
template <class I>
std::vector<ComPtr<I>> ListOf(IEnumVdsObject* list) {
  std::vector<ComPtr<I>> out;
  if (list == nullptr) return out;
  IUnknown* unknown = nullptr;
  ULONG fetched = 0;
  while (list->Next(1, &unknown, &fetched) == S_OK && fetched == 1) {
    I* object = nullptr;
    if (SUCCEEDED(
            unknown->QueryInterface(InterfaceId<I>::value, reinterpret_cast<void**>(&object)))) {
      ComPtr<I> held;
      held.Attach(object);
      out.push_back(held);
    }
    unknown->Release();
  }
  list->Release();
  return out;
}

// Takes a task-allocated string: its text, and frees it.
inline std::string Take(LPWSTR text) {
  std::string out = Utf16ToUtf8(text);
  CoTaskMemFree(text);
  return out;
}

struct DriveView {
  VDS_DRIVE_PROP prop;
  VDS_DRIVE_PROP2 prop2;
  std::string name;
  std::string ident;
};
DriveView ViewOf(IVdsDrive* drive);

struct LunView {
  VDS_LUN_PROP prop;
  std::string name;
  std::string ident;
  std::string unmask;
};
LunView ViewOf(IVdsLun* lun);

struct PoolView {
  VDS_STORAGE_POOL_PROP prop;
  VDS_POOL_ATTRIBUTES attr;
  std::string name;
  std::string description;
  std::string usage;
};
PoolView ViewOf(IVdsStoragePool* pool);

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
  std::vector<ComPtr<IVdsDrive>> Drives(IVdsSubSystem* subSystem);
  std::vector<ComPtr<IVdsLun>> Luns(IVdsSubSystem* subSystem);
  std::vector<ComPtr<IVdsController>> Controllers(IVdsSubSystem* subSystem);
  std::vector<ComPtr<IVdsStoragePool>> Pools();
  // The LUN with this friendly name; fails the test when there is none.
  ComPtr<IVdsLun> LunNamed(IVdsSubSystem* subSystem, const std::string& name);
};

#endif  // VELA_TESTS_OBJECTS_OBJECT_TEST_SUPPORT_H_
