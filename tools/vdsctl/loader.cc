#include "tools/vdsctl/loader.h"

#include <cstdlib>

#include "provider/provider.h"
#include "tools/vdsctl/module_file.h"

namespace vdsctl {

void AdviseSink::SetHandler(Handler handler) {
  std::lock_guard<std::mutex> lock(mutex_);
  handler_ = std::move(handler);
}

HRESULT AdviseSink::OnNotify(LONG lNumberOfNotifications, VDS_NOTIFICATION* pNotificationArray) {
  if (pNotificationArray == nullptr && lNumberOfNotifications > 0) return E_POINTER;
  std::lock_guard<std::mutex> lock(mutex_);
  if (!handler_) return S_OK;
  for (LONG i = 0; i < lNumberOfNotifications; ++i) handler_(pNotificationArray[i]);
  return S_OK;
}

std::string ProviderLibraryPath() {
  const char* path = std::getenv("VELA_PROVIDER_LIBRARY");
  return path != nullptr && *path != '\0' ? path : VDSCTL_PROVIDER_LIBRARY;
}

namespace {

using DllGetClassObjectFn = HRESULT (*)(REFCLSID, REFIID, LPVOID*);
using DllCanUnloadNowFn = HRESULT (*)();

}  // namespace

std::unique_ptr<ProviderHost> ProviderHost::Load(const std::string& libraryPath, REFCLSID classId,
                                                 IVdsAdviseSink* sink, CallError* error) {
  std::unique_ptr<ProviderHost> host(new ProviderHost());
  void* object = nullptr;
  HRESULT hr = S_OK;
  // Where the system activates classes itself, a registered class is created as the service
  // creates it; otherwise the module file is loaded and asked for its factory.
  if (!ComClassFactory(&classId, &object, &hr)) {
    std::string why;
    host->module_ = OpenModuleFile(libraryPath, &why);
    if (host->module_ == nullptr) {
      *error = CallError{E_FAIL, why};
      return nullptr;
    }
    auto getClassObject =
        reinterpret_cast<DllGetClassObjectFn>(ModuleFileEntry(host->module_, "DllGetClassObject"));
    if (getClassObject == nullptr) {
      *error = CallError{E_FAIL, libraryPath + " has no DllGetClassObject"};
      return nullptr;
    }
    host->canUnloadNow_ =
        reinterpret_cast<DllCanUnloadNowFn>(ModuleFileEntry(host->module_, "DllCanUnloadNow"));
    hr = getClassObject(classId, IID_IClassFactory, &object);
  }
  if (FAILED(hr) || object == nullptr) {
    *error = CallError{FAILED(hr) ? hr : E_POINTER, "DllGetClassObject"};
    return nullptr;
  }
  ComPtr<IClassFactory> factory;
  factory.Attach(static_cast<IClassFactory*>(object));

  object = nullptr;
  hr = factory->CreateInstance(nullptr, IID_IVdsProvider, &object);
  if (FAILED(hr) || object == nullptr) {
    *error = CallError{FAILED(hr) ? hr : E_POINTER, "IClassFactory::CreateInstance"};
    return nullptr;
  }
  host->provider_.Attach(static_cast<IVdsProvider*>(object));

  object = nullptr;
  hr = host->provider_->QueryInterface(IID_IVdsProviderPrivate, &object);
  if (FAILED(hr)) {
    *error = CallError{hr, "IUnknown::QueryInterface"};
    return nullptr;
  }
  ComPtr<IVdsProviderPrivate> providerPrivate;
  providerPrivate.Attach(static_cast<IVdsProviderPrivate*>(object));
  hr = providerPrivate->OnLoad(nullptr, sink);
  // OnLoad has run: from here on the destructor owes the provider its OnUnload.
  host->private_ = providerPrivate;
  if (FAILED(hr)) {
    *error = CallError{hr, "IVdsProviderPrivate::OnLoad"};
    return nullptr;
  }
  return host;
}

ProviderHost::~ProviderHost() {
  if (private_) private_->OnUnload(TRUE);
  private_.Reset();
  provider_.Reset();
  // As the service does: the module goes only when it says that nothing of it is alive any more.
  // Otherwise it stays mapped for the rest of the process.
  if (module_ != nullptr && canUnloadNow_ != nullptr && canUnloadNow_() == S_OK) {
    CloseModuleFile(module_);
  }
}

}  // namespace vdsctl
