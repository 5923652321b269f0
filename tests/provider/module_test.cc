// The shared module as the storage service loads it: by name, through its class factory.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "platform/com.h"
#include "platform/vds.h"
#include "provider/provider.h"

namespace {

using GetClassObjectFn = HRESULT (*)(REFCLSID, REFIID, void**);
using CanUnloadNowFn = HRESULT (*)();

TEST(Module, LoadsCreatesTheProviderAndUnloadsWhenNothingIsAlive) {
  void* module = dlopen(VELA_PROVIDER_MODULE, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
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
  dlclose(module);
}

}  // namespace
