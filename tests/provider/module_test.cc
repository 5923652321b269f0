// The shared module as the storage service loads it: by name, through its class factory.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include "platform/com.h"
#include "platform/vds.h"
#include "provider/provider.h"
#include "tests/provider/sim_fixture.h"

namespace {

using GetClassObjectFn = HRESULT (*)(REFCLSID, REFIID, void**);
using CanUnloadNowFn = HRESULT (*)();

// The module's debug log state is still allocated once and never freed, which the leak check of
// the sanitizer builds would report once the module is really unmapped; until it is freed on
// unload, the module stays mapped after dlclose.
constexpr int kKeepMapped = RTLD_NODELETE;

TEST(Module, LoadsCreatesTheProviderAndUnloadsWhenNothingIsAlive) {
  void* module = dlopen(VELA_PROVIDER_MODULE, RTLD_NOW | RTLD_LOCAL | kKeepMapped);
  ASSERT_NE(module, nullptr) << dlerror();
  auto getClassObject = reinterpret_cast<GetClassObjectFn>(dlsym(module, "DllGetClassObject"));
  auto canUnloadNow = reinterpret_cast<CanUnloadNowFn>(dlsym(module, "DllCanUnloadNow"));
  ASSERT_NE(getClassObject, nullptr);
  ASSERT_NE(canUnloadNow, nullptr);
  // Everything else stays inside.
  EXPECT_EQ(dlsym(module, "InitRefreshLock"), nullptr);
  EXPECT_EQ(dlsym(module, "_ZN9CProvider6OnLoadEPDsP8IUnknown"), nullptr);

  EXPECT_EQ(getClassObject(CLSID_VelaHwProvider, IID_IClassFactory, nullptr), E_POINTER);
  void* out = nullptr;
  EXPECT_EQ(getClassObject(IID_IUnknown, IID_IClassFactory, &out), CLASS_E_CLASSNOTAVAILABLE);

  IClassFactory* factory = nullptr;
  ASSERT_EQ(
      getClassObject(CLSID_VelaHwProvider, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
      S_OK);
  EXPECT_EQ(canUnloadNow(), S_OK);  // the factory alone doesn't hold the module

  IVdsProvider* provider = nullptr;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IVdsProvider, reinterpret_cast<void**>(&provider)),
            S_OK);
  EXPECT_EQ(canUnloadNow(), S_FALSE);
  VDS_PROVIDER_PROP prop{};
  ASSERT_EQ(provider->GetProperties(&prop), S_OK);
  EXPECT_EQ(prop.id, VELA_PROVIDER_ID);
  CoTaskMemFree(prop.pwszName);
  CoTaskMemFree(prop.pwszVersion);
  IVdsHwProviderType* type = nullptr;
  ASSERT_EQ(provider->QueryInterface(IID_IVdsHwProviderType, reinterpret_cast<void**>(&type)),
            S_OK);
  type->Release();
  provider->Release();
  factory->Release();
  EXPECT_EQ(canUnloadNow(), S_OK);
  EXPECT_EQ(dlclose(module), 0);
}

// The whole life the disk service gives the module, against the simulator.
class ModuleLifeTest : public SimProviderTest {};

TEST_F(ModuleLifeTest, LoadsAgainstTheSimulatorAndUnmapsWhenNothingIsAlive) {
  StartSimulator("default.json");
  // The module has its own platform layer: it learns the registry file and the time scale only
  // from the environment.
  setenv("VELA_REGISTRY", (TestDir() + "/registry.reg").c_str(), 1);
  setenv("VELA_TIME_SCALE", "0.001", 1);
  void* module = dlopen(VELA_PROVIDER_MODULE, RTLD_NOW | RTLD_LOCAL | kKeepMapped);
  ASSERT_NE(module, nullptr) << dlerror();
  auto getClassObject = reinterpret_cast<GetClassObjectFn>(dlsym(module, "DllGetClassObject"));
  auto canUnloadNow = reinterpret_cast<CanUnloadNowFn>(dlsym(module, "DllCanUnloadNow"));
  ASSERT_NE(getClassObject, nullptr);
  ASSERT_NE(canUnloadNow, nullptr);

  IClassFactory* factory = nullptr;
  ASSERT_EQ(
      getClassObject(CLSID_VelaHwProvider, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
      S_OK);
  IVdsProviderPrivate* provider = nullptr;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IVdsProviderPrivate,
                                    reinterpret_cast<void**>(&provider)),
            S_OK);
  factory->Release();
  ASSERT_EQ(provider->OnLoad(nullptr, sink_->GetUnknown()), S_OK);
  IVdsHwProvider* hw = nullptr;
  ASSERT_EQ(provider->QueryInterface(IID_IVdsHwProvider, reinterpret_cast<void**>(&hw)), S_OK);
  IEnumVdsObject* subSystems = nullptr;
  ASSERT_EQ(hw->QuerySubSystems(&subSystems), S_OK);
  EXPECT_EQ(Ids(subSystems).size(), 1u);
  hw->Release();
  EXPECT_EQ(canUnloadNow(), S_FALSE);

  ASSERT_EQ(provider->OnUnload(TRUE), S_OK);
  provider->Release();
  EXPECT_EQ(canUnloadNow(), S_OK);
  EXPECT_EQ(dlclose(module), 0);
  unsetenv("VELA_REGISTRY");
  unsetenv("VELA_TIME_SCALE");
}

}  // namespace
