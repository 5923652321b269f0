// The shared module as the storage service loads it: by name, through its class factory.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/com.h"
#include "platform/vds.h"
#include "provider/provider.h"
#include "tests/provider/sim_fixture.h"

namespace {

using GetClassObjectFn = HRESULT (*)(REFCLSID, REFIID, void**);
using CanUnloadNowFn = HRESULT (*)();

// The module has its own platform layer, which learns the registry file and the time scale only
// from the environment when the module is attached. Each test loads a fresh copy (the last dlclose
// really unmaps it, and the leak check of the sanitizer builds sees anything it left behind), so
// each sets the environment before its dlopen and puts the old one back when it ends, however
// it ends.
class ModuleEnvironment {
 public:
  explicit ModuleEnvironment(const char* timeScale) {
    Set("VELA_REGISTRY", (TestDir() + "/registry.reg").c_str());
    Set("VELA_TIME_SCALE", timeScale);
  }
  ~ModuleEnvironment() {
    for (const auto& [name, value] : saved_) {
      if (value.has_value()) {
        setenv(name.c_str(), value->c_str(), 1);
      } else {
        unsetenv(name.c_str());
      }
    }
  }
  ModuleEnvironment(const ModuleEnvironment&) = delete;
  ModuleEnvironment& operator=(const ModuleEnvironment&) = delete;

 private:
  void Set(const char* name, const char* value) {
    const char* old = getenv(name);
    saved_.emplace_back(name, old != nullptr ? std::optional<std::string>(old) : std::nullopt);
    setenv(name, value, 1);
  }

  std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

// The module opened by name, with the two exports the service calls.
struct LoadedModule {
  void* handle = nullptr;
  GetClassObjectFn get = nullptr;
  CanUnloadNowFn canUnload = nullptr;

  // False (with a failure noted) when the module or an export is missing.
  bool Open() {
    handle = dlopen(VELA_PROVIDER_MODULE, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(handle, nullptr) << dlerror();
    if (handle == nullptr) return false;
    get = reinterpret_cast<GetClassObjectFn>(dlsym(handle, "DllGetClassObject"));
    canUnload = reinterpret_cast<CanUnloadNowFn>(dlsym(handle, "DllCanUnloadNow"));
    EXPECT_NE(get, nullptr);
    EXPECT_NE(canUnload, nullptr);
    return get != nullptr && canUnload != nullptr;
  }
  // A provider from the class factory, which is released again; null (failure noted) if none.
  IVdsProviderPrivate* Create() const {
    IClassFactory* factory = nullptr;
    EXPECT_EQ(get(CLSID_VelaHwProvider, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
              S_OK);
    if (factory == nullptr) return nullptr;
    IVdsProviderPrivate* provider = nullptr;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IVdsProviderPrivate,
                                      reinterpret_cast<void**>(&provider)),
              S_OK);
    factory->Release();
    return provider;
  }
};

// The whole life the disk service gives the module, against the simulator.
class ModuleLifeTest : public SimProviderTest {};

TEST_F(ModuleLifeTest, LoadsCreatesRunsAndUnmapsWhenNothingIsAlive) {
  StartSimulator("default.json");
  ModuleEnvironment environment("0.001");
  LoadedModule module;
  ASSERT_TRUE(module.Open());
  // The GUID order its clients share with it.
  using GuidLessFn = bool (*)(const GUID&, const GUID&);
  auto guidLess = reinterpret_cast<GuidLessFn>(dlsym(module.handle, "_ZltRK4GUIDS1_"));
  ASSERT_NE(guidLess, nullptr) << "operator<(GUID const&, GUID const&) is not exported";
  const GUID low = {0x01000000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
  const GUID high = {0x00000002, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};  // memory order: 02 00 00 00
  EXPECT_TRUE(guidLess(low, high));
  EXPECT_FALSE(guidLess(high, low));
  EXPECT_FALSE(guidLess(low, low));
  // Everything else stays inside.
  EXPECT_EQ(dlsym(module.handle, "InitRefreshLock"), nullptr);
  EXPECT_EQ(dlsym(module.handle, "_ZN9CProvider6OnLoadEPDsP8IUnknown"), nullptr);

  EXPECT_EQ(module.get(CLSID_VelaHwProvider, IID_IClassFactory, nullptr), E_POINTER);
  void* out = nullptr;
  EXPECT_EQ(module.get(IID_IUnknown, IID_IClassFactory, &out), CLASS_E_CLASSNOTAVAILABLE);
  IClassFactory* factory = nullptr;
  ASSERT_EQ(module.get(CLSID_VelaHwProvider, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
            S_OK);
  EXPECT_EQ(module.canUnload(), S_OK);  // the factory alone doesn't hold the module
  factory->Release();

  IVdsProviderPrivate* provider = module.Create();
  ASSERT_NE(provider, nullptr);
  EXPECT_EQ(module.canUnload(), S_FALSE);
  ComPtr<IVdsProvider> vds;
  ASSERT_EQ(provider->QueryInterface(IID_IVdsProvider,
                                     reinterpret_cast<void**>(vds.ReleaseAndGetAddressOf())),
            S_OK);
  VDS_PROVIDER_PROP prop{};
  ASSERT_EQ(vds->GetProperties(&prop), S_OK);
  EXPECT_EQ(prop.id, VELA_PROVIDER_ID);
  CoTaskMemFree(prop.pwszName);
  CoTaskMemFree(prop.pwszVersion);
  ComPtr<IVdsHwProviderType> type;
  EXPECT_EQ(vds->QueryInterface(IID_IVdsHwProviderType,
                                reinterpret_cast<void**>(type.ReleaseAndGetAddressOf())),
            S_OK);
  type.Reset();
  vds.Reset();

  ASSERT_EQ(provider->OnLoad(nullptr, sink_->GetUnknown()), S_OK);
  IVdsHwProvider* hw = nullptr;
  ASSERT_EQ(provider->QueryInterface(IID_IVdsHwProvider, reinterpret_cast<void**>(&hw)), S_OK);
  IEnumVdsObject* subSystems = nullptr;
  ASSERT_EQ(hw->QuerySubSystems(&subSystems), S_OK);
  EXPECT_EQ(ListOf<IVdsSubSystem>(subSystems).size(), 1u);
  hw->Release();
  ASSERT_EQ(provider->OnUnload(TRUE), S_OK);
  provider->Release();
  EXPECT_EQ(module.canUnload(), S_OK);
  EXPECT_EQ(dlclose(module.handle), 0);
  EXPECT_EQ(dlopen(VELA_PROVIDER_MODULE, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

// The module's threads outlive an unload that a refused logon cut short (the pipe thread is left
// to end by itself): while any of them runs, the module says it cannot go, and a host that takes
// it at its word never unmaps code a thread still runs. Many rounds, with the processor busy.
TEST_F(ModuleLifeTest, RepeatedLoadsWithARefusedLogonNeverUnmapARunningThread) {
  StartSimulator("default.json", "", "wrongpass");
  // The module logs to a file, as where the fault was seen: each thread's last steps take longer.
  std::ofstream(TestDir() + "/registry.reg")
      << "Windows Registry Editor Version 5.00\n\n"
         "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Debug]\n"
         "\"FileName\"=\""
      << TestDir() << "/module.debug\"\n\"MaxFileLength\"=dword:00100000\n";
  ModuleEnvironment environment("0");
  std::atomic<bool> stop{false};
  std::vector<std::thread> load;
  for (int i = 0; i < 4; ++i) {
    load.emplace_back([&stop] {
      volatile uint64_t spin = 0;
      while (!stop) spin = spin + 1;
    });
  }
  constexpr int kRounds = 200;
  int keptMapped = 0;
  for (int round = 0; round < kRounds; ++round) {
    LoadedModule module;
    ASSERT_TRUE(module.Open());
    IVdsProviderPrivate* provider = module.Create();
    ASSERT_NE(provider, nullptr);
    EXPECT_EQ(provider->OnLoad(nullptr, sink_->GetUnknown()), S_OK);  // offline, empty
    EXPECT_EQ(provider->OnUnload(TRUE), S_OK);
    provider->Release();
    // As the service and vdsctl do: the module goes only when it says so.
    if (module.canUnload() == S_OK) {
      EXPECT_EQ(dlclose(module.handle), 0);
    } else {
      ++keptMapped;
    }
  }
  stop = true;
  for (std::thread& thread : load) thread.join();

  // The threads left behind end by themselves; then the module can go.
  if (keptMapped > 0) {
    void* module = dlopen(VELA_PROVIDER_MODULE, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(module, nullptr);
    auto canUnloadNow = reinterpret_cast<CanUnloadNowFn>(dlsym(module, "DllCanUnloadNow"));
    ASSERT_TRUE(WaitFor([&] { return canUnloadNow() == S_OK; }));
    for (int i = 0; i <= keptMapped; ++i) EXPECT_EQ(dlclose(module), 0);
  }
  EXPECT_EQ(dlopen(VELA_PROVIDER_MODULE, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

}  // namespace
