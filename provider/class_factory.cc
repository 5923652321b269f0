// The class factory and the exported entry points of the module.
#include <mutex>
#include <new>

#include "diag/debug_log.h"
#include "platform/clock.h"
#include "platform/registry.h"
#include "provider/module.h"
#include "provider/provider.h"
#include "proxy/iasocket.h"
#include "proxy/pipe_server.h"

namespace {

class CProviderFactory final : public ComObject<IClassFactory> {
 public:
  CProviderFactory() = default;

  HRESULT CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppvObject) override {
    if (ppvObject == nullptr) return E_POINTER;
    *ppvObject = nullptr;
    if (pUnkOuter != nullptr) return CLASS_E_NOAGGREGATION;
    CProvider* provider = CProvider::Create();
    if (provider == nullptr) return E_OUTOFMEMORY;
    HRESULT hr = static_cast<IVdsProvider*>(provider)->QueryInterface(riid, ppvObject);
    static_cast<IVdsProvider*>(provider)->Release();
    return hr;
  }

  HRESULT LockServer(BOOL fLock) override {
    if (fLock) {
      ModuleLock();
    } else {
      ModuleUnlock();
    }
    return S_OK;
  }

 private:
  ~CProviderFactory() override = default;
};

std::mutex g_factoryMutex;
// Made on first use; holds one reference for the module's life. Guarded by g_factoryMutex.
CProviderFactory* g_factory = nullptr;

}  // namespace

void ModuleAttach() {
  DebugPrintf("DllMain() Enter\n");
  InitLock();
  InitRefreshLock();
  // The detach logs, and the log re-reads its settings from the registry now and then: the
  // registry and the clock must be made before the detach is registered so that they outlive it.
  RegistryFilePath();
  GetTickCount();
  DebugPrintf("DllMain() Exit\n");
}

void ModuleDetach() {
  // A pipe thread that unload did not see end is ended here, before the module goes.
  StopPipeThread();
  FreeLock();
  FreeRefreshLock();
  std::lock_guard<std::mutex> lock(g_factoryMutex);
  if (g_factory != nullptr) {
    // Give back the lock the factory's creation took away again, so that its destruction
    // balances the count.
    ModuleLock();
    g_factory->Release();
    g_factory = nullptr;
  }
}

extern "C" HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) {
  DebugPrintf("DllGetClassObject()\n");
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (!IsEqualGUID(rclsid, CLSID_VelaHwProvider)) return CLASS_E_CLASSNOTAVAILABLE;
  CProviderFactory* factory = nullptr;
  {
    std::lock_guard<std::mutex> lock(g_factoryMutex);
    if (g_factory == nullptr) {
      g_factory = new (std::nothrow) CProviderFactory();
      if (g_factory == nullptr) return E_OUTOFMEMORY;
      g_factory->AddRef();
      // The factory's own reference doesn't keep the module from unloading.
      ModuleUnlock();
    }
    factory = g_factory;
    factory->AddRef();
  }
  HRESULT hr = factory->QueryInterface(riid, ppv);
  factory->Release();
  return hr;
}

extern "C" HRESULT DllCanUnloadNow() {
  // A pipe thread that has left its loop since the unload is joined now, giving its lock back.
  ReleasePipeThread();
  LONG count = ModuleLockCount();
  DebugPrintf("DllCanUnloadNow() count= %d\n", count);
  return count == 0 ? S_OK : S_FALSE;
}
