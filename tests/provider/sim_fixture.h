// A provider loaded against an in-process tidegate-sim, as the storage service would load it.
#ifndef VELA_TESTS_PROVIDER_SIM_FIXTURE_H_
#define VELA_TESTS_PROVIDER_SIM_FIXTURE_H_

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/com.h"
#include "platform/strings.h"
#include "platform/vds.h"
#include "provider/provider.h"
#include "sim/simulator.h"
#include "tests/provider/provider_test_support.h"

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

// An object's properties with their strings taken.
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

  // Starts the simulator on `inventory`, loads the provider, holds its first subsystem in
  // subSystem_ and empties the request journal; fails the test when any step does.
  void StartOn(const std::string& inventory);
  // A file of sim/inventories, parsed (for tests that edit it before StartSimulator).
  static nlohmann::json ReadInventory(const std::string& file);

  // Ids in list order: the subsystems, and the controllers of all subsystems.
  std::vector<GUID> SubSystemIds();
  std::vector<GUID> ControllerIds();
  std::vector<ComPtr<IVdsDrive>> Drives(IVdsSubSystem* subSystem);
  std::vector<ComPtr<IVdsLun>> Luns(IVdsSubSystem* subSystem);
  std::vector<ComPtr<IVdsController>> Controllers(IVdsSubSystem* subSystem);
  std::vector<ComPtr<IVdsStoragePool>> Pools();
  // Waits for an async operation that should succeed and releases it; its LUN, or null (with a
  // failure noted).
  static ComPtr<IVdsLun> WaitLun(IVdsAsync* async, VDS_ASYNC_OUTPUT_TYPE type);
  // CreateLun on subSystem_, then Wait, checking the async object on the way; the LUN in *lun.
  HRESULT CreateLunAndWait(VDS_LUN_TYPE type, ULONGLONG size, std::vector<VDS_OBJECT_ID> drives,
                           VDS_HINTS hints, const std::u16string& unmask,
                           ComPtr<IVdsLun>* lun = nullptr);
  // Waits (through the platform clock, bounded in real time) until `done` holds.
  static bool WaitFor(const std::function<bool()>& done);

  std::unique_ptr<sim::Simulator> simulator_;
  ComPtr<IVdsSubSystem> subSystem_;
  CProvider* provider_ = nullptr;
  RecordingSink* sink_ = nullptr;
  std::string inventoryPath_;
  // When set before StartSimulator, the simulator writes its host view there.
  std::string hostViewPath_;
};

class CLun;

// The provider against the simulator and the host view it writes: the host's disks, multipath
// and HBA classes, read through the provider's WMI and HBA shims.
class HostViewTest : public SimProviderTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  nlohmann::json View();
  void WriteView(const nlohmann::json& view);
  // The LUN of that friendly name; the fixture holds a reference until TearDown.
  CLun* Lun(const std::u16string& name);
  // Reads the host's inventory again, as a refresh does.
  void ReadHostInventory();

  std::vector<ComPtr<IVdsLun>> held_;
};

#endif  // VELA_TESTS_PROVIDER_SIM_FIXTURE_H_
