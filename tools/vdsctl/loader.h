// Loads the provider the way the disk service does: dlopen the module, take the class factory
// from DllGetClassObject, CreateInstance, OnLoad with our advise sink; and at the end OnUnload
// and release; then, when DllCanUnloadNow allows it, dlclose.
//
// The module carries its own copy of the platform layer, so it is configured only through the
// environment, which must be complete before Load (see environment.h).
#ifndef VELA_TOOLS_VDSCTL_LOADER_H_
#define VELA_TOOLS_VDSCTL_LOADER_H_

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "platform/com.h"
#include "platform/vds.h"
#include "tools/vdsctl/call_error.h"

namespace vdsctl {

// The callback object handed to OnLoad. Notifications arrive on the provider's threads and go to
// the handler one at a time.
class AdviseSink : public ComObject<IVdsAdviseSink> {
 public:
  using Handler = std::function<void(const VDS_NOTIFICATION&)>;

  AdviseSink() = default;

  // A null handler drops notifications.
  void SetHandler(Handler handler);

  HRESULT OnNotify(LONG lNumberOfNotifications, VDS_NOTIFICATION* pNotificationArray) override;

 private:
  ~AdviseSink() override = default;

  std::mutex mutex_;
  Handler handler_;  // guarded by mutex_
};

// The module path: $VELA_PROVIDER_LIBRARY, else the one built with this vdsctl.
std::string ProviderLibraryPath();

class ProviderHost {
 public:
  // Null on failure, with *error set: a dlopen/dlsym failure has hr E_FAIL and the loader's
  // message as `call`. `classId` is the class asked of DllGetClassObject.
  static std::unique_ptr<ProviderHost> Load(const std::string& libraryPath, REFCLSID classId,
                                            IVdsAdviseSink* sink, CallError* error);
  ~ProviderHost();
  ProviderHost(const ProviderHost&) = delete;
  ProviderHost& operator=(const ProviderHost&) = delete;

  IVdsProvider* Provider() const { return provider_.Get(); }

 private:
  ProviderHost() = default;

  void* module_ = nullptr;
  HRESULT (*canUnloadNow_)() = nullptr;  // the module's DllCanUnloadNow, when it has one
  ComPtr<IVdsProvider> provider_;
  ComPtr<IVdsProviderPrivate> private_;  // set once OnLoad has been called
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_LOADER_H_
