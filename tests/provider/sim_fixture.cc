#include "tests/provider/sim_fixture.h"

#include <chrono>
#include <cstdlib>
#include <fstream>

#include "objects/lun.h"
#include "platform/clock.h"
#include "platform/registry.h"
#include "provisioning/utility.h"
#include "tests/provider/sim_journal.h"

void SimProviderTest::SetUp() {
  EnsureModuleAttached();
  // Ten milliseconds between monitor passes; every other wait as short.
  SetTimeScaleForTesting(0.001);
  std::ofstream(TestDir() + "/registry.reg") << "Windows Registry Editor Version 5.00\n\n";
  SetRegistryFile(TestDir() + "/registry.reg");
  // Names handed out by an earlier test of the process are not this array's.
  ResetNewNamesForTesting();
  sink_ = new RecordingSink();
  sink_->AddRef();
}

void SimProviderTest::TearDown() {
  subSystem_.Reset();
  Unload();
  if (simulator_) simulator_->Stop();
  simulator_.reset();
  sink_->Release();
  std::remove((TestDir() + "/tidegate.conf").c_str());
  SetTimeScaleForTesting(0);
  EXPECT_FALSE(isProviderOnline.load());
}

void SimProviderTest::StartSimulator(const std::string& inventory, const std::string& listen,
                                     const std::string& password) {
  sim::SimOptions options;
  if (!inventory.empty() && inventory[0] == '{') {
    inventoryPath_ = TestDir() + "/inventory.json";
    std::ofstream(inventoryPath_) << inventory;
  } else if (!inventory.empty()) {
    inventoryPath_ = std::string(VELA_SIM_INVENTORIES) + "/" + inventory;
  }
  options.inventory_path = inventoryPath_;
  options.listen = listen.empty() ? "127.0.0.1:0" : listen;
  options.pipe_dir = TestDir();
  options.host_view_path = hostViewPath_;
  std::string error;
  simulator_ = sim::Simulator::Start(options, &error);
  ASSERT_TRUE(simulator_) << error;
  std::string conf = simulator_->ConfigurationText();
  if (password != options.password) {
    // The value of the "password " line (the label itself is spelt the same as the default).
    const size_t line = conf.find("password :");
    ASSERT_NE(line, std::string::npos);
    const size_t value = conf.find(options.password, line + 10);
    ASSERT_NE(value, std::string::npos);
    conf.replace(value, options.password.size(), password);
  }
  std::ofstream(TestDir() + "/tidegate.conf") << conf;
}

HRESULT SimProviderTest::Load(bool withSink) {
  provider_ = CProvider::Create();
  if (provider_ == nullptr) return E_OUTOFMEMORY;
  return provider_->OnLoad(nullptr, withSink ? sink_->GetUnknown() : nullptr);
}

void SimProviderTest::Unload() {
  if (provider_ == nullptr) return;
  provider_->OnUnload(FALSE);
  EXPECT_EQ(provider_->MonitorThreadCount(), 0u);
  static_cast<IVdsProvider*>(provider_)->Release();
  provider_ = nullptr;
}

std::vector<GUID> SimProviderTest::SubSystemIds() {
  IEnumVdsObject* list = nullptr;
  EXPECT_EQ(provider_->QuerySubSystems(&list), S_OK);
  std::vector<GUID> ids;
  for (const auto& subSystem : ListOf<IVdsSubSystem>(list)) {
    VDS_SUB_SYSTEM_PROP prop{};
    EXPECT_EQ(subSystem->GetProperties(&prop), S_OK);
    Take(prop.pwszFriendlyName);
    Take(prop.pwszIdentification);
    ids.push_back(prop.id);
  }
  return ids;
}

std::vector<GUID> SimProviderTest::ControllerIds() {
  std::vector<GUID> ids;
  IEnumVdsObject* list = nullptr;
  if (provider_->QuerySubSystems(&list) != S_OK) return ids;
  for (const auto& subSystem : ListOf<IVdsSubSystem>(list)) {
    IEnumVdsObject* controllers = nullptr;
    if (subSystem->QueryControllers(&controllers) != S_OK) continue;
    for (const auto& controller : ListOf<IVdsController>(controllers)) {
      VDS_CONTROLLER_PROP prop{};
      if (SUCCEEDED(controller->GetProperties(&prop))) {
        Take(prop.pwszFriendlyName);
        Take(prop.pwszIdentification);
      }
      ids.push_back(prop.id);
    }
  }
  return ids;
}

std::vector<ComPtr<IVdsDrive>> SimProviderTest::Drives(IVdsSubSystem* subSystem) {
  IEnumVdsObject* list = nullptr;
  EXPECT_EQ(subSystem->QueryDrives(&list), S_OK);
  return ListOf<IVdsDrive>(list);
}

std::vector<ComPtr<IVdsLun>> SimProviderTest::Luns(IVdsSubSystem* subSystem) {
  IEnumVdsObject* list = nullptr;
  EXPECT_EQ(subSystem->QueryLuns(&list), S_OK);
  return ListOf<IVdsLun>(list);
}

std::vector<ComPtr<IVdsController>> SimProviderTest::Controllers(IVdsSubSystem* subSystem) {
  IEnumVdsObject* list = nullptr;
  EXPECT_EQ(subSystem->QueryControllers(&list), S_OK);
  return ListOf<IVdsController>(list);
}

std::vector<ComPtr<IVdsStoragePool>> SimProviderTest::Pools() {
  IEnumVdsObject* list = nullptr;
  EXPECT_EQ(provider_->QueryStoragePools(0, 0, nullptr, &list), S_OK);
  return ListOf<IVdsStoragePool>(list);
}

void SimProviderTest::StartOn(const std::string& inventory) {
  StartSimulator(inventory);
  ASSERT_EQ(Load(), S_OK);
  IEnumVdsObject* list = nullptr;
  ASSERT_EQ(provider_->QuerySubSystems(&list), S_OK);
  const auto subSystems = ListOf<IVdsSubSystem>(list);
  ASSERT_FALSE(subSystems.empty());
  subSystem_ = subSystems[0];
  ReadJournal(simulator_.get());  // what the load sent is not the test's
}

nlohmann::json SimProviderTest::ReadInventory(const std::string& file) {
  std::ifstream in(std::string(VELA_SIM_INVENTORIES) + "/" + file);
  return nlohmann::json::parse(in);
}

ComPtr<IVdsLun> SimProviderTest::WaitLun(IVdsAsync* async, VDS_ASYNC_OUTPUT_TYPE type) {
  ComPtr<IVdsLun> lun;
  HRESULT result = E_FAIL;
  VDS_ASYNC_OUTPUT out{};
  EXPECT_EQ(async->Wait(&result, &out), S_OK);
  EXPECT_EQ(result, S_OK);
  EXPECT_EQ(out.type, type);
  ULONG percent = 0;
  EXPECT_EQ(async->QueryStatus(&result, &percent), S_OK);
  EXPECT_EQ(async->Cancel(), E_NOTIMPL);
  async->Release();
  EXPECT_NE(out.cl.pLunUnk, nullptr);
  if (out.cl.pLunUnk == nullptr) return lun;
  EXPECT_EQ(out.cl.pLunUnk->QueryInterface(IID_IVdsLun,
                                           reinterpret_cast<void**>(lun.ReleaseAndGetAddressOf())),
            S_OK);
  out.cl.pLunUnk->Release();
  return lun;
}

HRESULT SimProviderTest::CreateLunAndWait(VDS_LUN_TYPE type, ULONGLONG size,
                                          std::vector<VDS_OBJECT_ID> drives, VDS_HINTS hints,
                                          const std::u16string& unmask, ComPtr<IVdsLun>* lun) {
  std::u16string list = unmask;
  IVdsAsync* async = nullptr;
  const HRESULT hr =
      subSystem_->CreateLun(type, size, drives.empty() ? nullptr : drives.data(),
                            static_cast<LONG>(drives.size()), list.data(), &hints, &async);
  if (hr != S_OK) {
    EXPECT_EQ(async, nullptr);
    return hr;
  }
  ComPtr<IVdsLun> made = WaitLun(async, VDS_ASYNCOUT_CREATELUN);
  if (!made) return E_FAIL;
  if (lun != nullptr) *lun = made;
  return S_OK;
}

DriveView ViewOf(IVdsDrive* drive) {
  DriveView view{};
  EXPECT_EQ(drive->GetProperties(&view.prop), S_OK);
  view.name = Take(view.prop.pwszFriendlyName);
  view.ident = Take(view.prop.pwszIdentification);
  ComPtr<IVdsDrive2> drive2;
  EXPECT_EQ(drive->QueryInterface(IID_IVdsDrive2,
                                  reinterpret_cast<void**>(drive2.ReleaseAndGetAddressOf())),
            S_OK);
  EXPECT_EQ(drive2->GetProperties2(&view.prop2), S_OK);
  CoTaskMemFree(view.prop2.pwszFriendlyName);
  CoTaskMemFree(view.prop2.pwszIdentification);
  return view;
}

LunView ViewOf(IVdsLun* lun) {
  LunView view{};
  EXPECT_EQ(lun->GetProperties(&view.prop), S_OK);
  view.name = Take(view.prop.pwszFriendlyName);
  view.ident = Take(view.prop.pwszIdentification);
  view.unmask = Take(view.prop.pwszUnmaskingList);
  return view;
}

PoolView ViewOf(IVdsStoragePool* pool) {
  PoolView view{};
  EXPECT_EQ(pool->GetProperties(&view.prop), S_OK);
  view.name = Take(view.prop.pwszName);
  view.description = Take(view.prop.pwszDescription);
  EXPECT_EQ(pool->GetAttributes(&view.attr), S_OK);
  view.usage = Take(view.attr.pwszIntendedUsage);
  return view;
}

bool SimProviderTest::WaitFor(const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    Sleep(5);
  }
  return true;
}

void HostViewTest::SetUp() {
  SimProviderTest::SetUp();
  hostViewPath_ = TestDir() + "/host-view.json";
  std::remove((hostViewPath_ + ".calls").c_str());
  setenv("VELA_HOST_VIEW", hostViewPath_.c_str(), 1);
}

void HostViewTest::TearDown() {
  held_.clear();
  SimProviderTest::TearDown();
  unsetenv("VELA_HOST_VIEW");
  std::remove(hostViewPath_.c_str());
  std::remove((hostViewPath_ + ".calls").c_str());
}

nlohmann::json HostViewTest::View() {
  std::ifstream in(hostViewPath_);
  return nlohmann::json::parse(in, nullptr, false);
}

void HostViewTest::WriteView(const nlohmann::json& view) {
  std::ofstream(hostViewPath_) << view.dump();
}

CLun* HostViewTest::Lun(const std::u16string& name) {
  MutexGuard guard(hNotificationMutex, "HostViewTest::Lun");
  for (const auto& [id, entry] : provider_->Objects()) {
    if (entry.type != VDS_OT_LUN) continue;
    auto* lun = static_cast<CLun*>(entry.pObject);
    if (name != lun->Prop().pwszFriendlyName) continue;
    held_.emplace_back(static_cast<IVdsLun*>(lun));
    return lun;
  }
  return nullptr;
}

void HostViewTest::ReadHostInventory() {
  MutexGuard refresh(hRefreshMutex, "HostViewTest");
  provider_->initWmi();
}
