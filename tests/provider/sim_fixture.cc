#include "tests/provider/sim_fixture.h"

#include <chrono>
#include <fstream>

#include "platform/clock.h"
#include "platform/registry.h"

void SimProviderTest::SetUp() {
  EnsureModuleAttached();
  // Ten milliseconds between monitor passes; every other wait as short.
  SetTimeScaleForTesting(0.001);
  std::ofstream(TestDir() + "/registry.reg") << "Windows Registry Editor Version 5.00\n\n";
  SetRegistryFile(TestDir() + "/registry.reg");
  sink_ = new RecordingSink();
  sink_->AddRef();
}

void SimProviderTest::TearDown() {
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

std::vector<GUID> SimProviderTest::Ids(IEnumVdsObject* list) {
  std::vector<GUID> ids;
  if (list == nullptr) return ids;
  IUnknown* unknown = nullptr;
  ULONG fetched = 0;
  while (list->Next(1, &unknown, &fetched) == S_OK && fetched == 1) {
    GUID id{};
    IVdsSubSystem* subSystem = nullptr;
    IVdsController* controller = nullptr;
    if (SUCCEEDED(
            unknown->QueryInterface(IID_IVdsSubSystem, reinterpret_cast<void**>(&subSystem)))) {
      VDS_SUB_SYSTEM_PROP prop{};
      if (SUCCEEDED(subSystem->GetProperties(&prop))) {
        id = prop.id;
        CoTaskMemFree(prop.pwszFriendlyName);
        CoTaskMemFree(prop.pwszIdentification);
      }
      subSystem->Release();
    } else if (SUCCEEDED(unknown->QueryInterface(IID_IVdsController,
                                                 reinterpret_cast<void**>(&controller)))) {
      VDS_CONTROLLER_PROP prop{};
      if (SUCCEEDED(controller->GetProperties(&prop))) {
        id = prop.id;
        CoTaskMemFree(prop.pwszFriendlyName);
        CoTaskMemFree(prop.pwszIdentification);
      }
      controller->Release();
    }
    ids.push_back(id);
    unknown->Release();
  }
  list->Release();
  return ids;
}

std::vector<GUID> SimProviderTest::SubSystemIds() {
  IEnumVdsObject* list = nullptr;
  EXPECT_EQ(provider_->QuerySubSystems(&list), S_OK);
  return Ids(list);
}

std::vector<GUID> SimProviderTest::ControllerIds() {
  std::vector<GUID> ids;
  IEnumVdsObject* list = nullptr;
  if (provider_->QuerySubSystems(&list) != S_OK) return ids;
  IUnknown* unknown = nullptr;
  ULONG fetched = 0;
  while (list->Next(1, &unknown, &fetched) == S_OK && fetched == 1) {
    IVdsSubSystem* subSystem = nullptr;
    if (SUCCEEDED(
            unknown->QueryInterface(IID_IVdsSubSystem, reinterpret_cast<void**>(&subSystem)))) {
      IEnumVdsObject* controllers = nullptr;
      if (subSystem->QueryControllers(&controllers) == S_OK) {
        for (const GUID& id : Ids(controllers)) ids.push_back(id);
      }
      subSystem->Release();
    }
    unknown->Release();
  }
  list->Release();
  return ids;
}

IVdsSubSystem* SimProviderTest::FirstSubSystem() {
  IEnumVdsObject* list = nullptr;
  EXPECT_EQ(provider_->QuerySubSystems(&list), S_OK);
  if (list == nullptr) return nullptr;
  IUnknown* unknown = nullptr;
  ULONG fetched = 0;
  EXPECT_EQ(list->Next(1, &unknown, &fetched), S_OK);
  list->Release();
  if (unknown == nullptr) return nullptr;
  IVdsSubSystem* subSystem = nullptr;
  EXPECT_EQ(unknown->QueryInterface(IID_IVdsSubSystem, reinterpret_cast<void**>(&subSystem)), S_OK);
  unknown->Release();
  return subSystem;
}

bool SimProviderTest::WaitFor(const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    Sleep(5);
  }
  return true;
}
