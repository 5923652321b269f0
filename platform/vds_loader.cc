#include "platform/vds_loader.h"

#include <new>
#include <string>

#include "platform/registry.h"
#include "platform/strings.h"
#include "platform/vds_interfaces.h"
#include "platform/winerror.h"

namespace {

constexpr DWORD kServiceDisabled = 4;  // the service control manager's SERVICE_DISABLED

std::u16string Wide(const std::string& text) { return Utf8ToUtf16(text); }

LONG SetString(HKEY key, const char16_t* name, const std::u16string& text) {
  return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                        static_cast<DWORD>((text.size() + 1) * sizeof(char16_t)));
}

std::u16string ProviderKeyPath(const GUID& providerId) {
  return Wide(std::string(kVdsHardwareProvidersKey) + "\\" + GuidToString(providerId));
}

bool ServiceDisabled() {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kVdsServiceKey, 0, KEY_READ, &key) != ERROR_SUCCESS) {
    return false;
  }
  DWORD start = 0;
  DWORD type = 0;
  DWORD size = sizeof(start);
  LONG status =
      RegQueryValueExA(key, "Start", nullptr, &type, reinterpret_cast<BYTE*>(&start), &size);
  RegCloseKey(key);
  return status == ERROR_SUCCESS && type == REG_DWORD && start == kServiceDisabled;
}

// The disk service's administration object, as a provider reaches it through the loader.
class CVdsAdmin final : public ComObject<IVdsAdmin> {
 public:
  CVdsAdmin() = default;

  HRESULT RegisterProvider(VDS_OBJECT_ID providerId, CLSID providerClsid, LPWSTR pwszName,
                           VDS_PROVIDER_TYPE type, LPWSTR /*pwszMachineName*/, LPWSTR pwszVersion,
                           GUID guidVersionId) override {
    if (pwszName == nullptr || pwszVersion == nullptr || type != VDS_PT_HARDWARE) {
      return E_INVALIDARG;
    }
    std::u16string path = ProviderKeyPath(providerId);
    HKEY key = nullptr;
    DWORD disposition = 0;
    LONG status =
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_ALL_ACCESS, nullptr, &key, &disposition);
    if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(status);
    if (disposition == REG_OPENED_EXISTING_KEY) {
      RegCloseKey(key);
      return VDS_E_ALREADY_REGISTERED;
    }
    DWORD typeValue = static_cast<DWORD>(type);
    status = SetString(key, u"", pwszName);
    if (status == ERROR_SUCCESS)
      status = SetString(key, u"CLSID", Wide(GuidToString(providerClsid)));
    if (status == ERROR_SUCCESS) {
      status = RegSetValueExW(key, u"Type", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&typeValue),
                              sizeof(typeValue));
    }
    if (status == ERROR_SUCCESS) status = SetString(key, u"Version", pwszVersion);
    if (status == ERROR_SUCCESS) {
      status = SetString(key, u"VersionId", Wide(GuidToString(guidVersionId)));
    }
    RegCloseKey(key);
    if (status != ERROR_SUCCESS) {
      // A half-written entry would list a provider that cannot be loaded.
      RegDeleteTreeW(HKEY_LOCAL_MACHINE, path.c_str());
      return HRESULT_FROM_WIN32(status);
    }
    return S_OK;
  }

  HRESULT UnregisterProvider(VDS_OBJECT_ID providerId) override {
    std::u16string path = ProviderKeyPath(providerId);
    LONG status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, path.c_str());
    if (status == ERROR_FILE_NOT_FOUND) return VDS_E_OBJECT_NOT_FOUND;
    return HRESULT_FROM_WIN32(status);
  }

 private:
  ~CVdsAdmin() override = default;
};

}  // namespace

HRESULT CreateVdsAdmin(REFIID riid, void** ppv) {
  if (ServiceDisabled()) return HRESULT_FROM_WIN32(ERROR_SERVICE_DISABLED);
  // The service keeps its list under this key; it cannot run without being able to write it.
  HKEY key = nullptr;
  LONG status =
      RegCreateKeyExW(HKEY_LOCAL_MACHINE, Wide(kVdsHardwareProvidersKey).c_str(), 0, nullptr,
                      REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr);
  if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(status);
  RegCloseKey(key);
  CVdsAdmin* admin = new (std::nothrow) CVdsAdmin();
  if (admin == nullptr) return E_OUTOFMEMORY;
  admin->AddRef();
  HRESULT hr = admin->QueryInterface(riid, ppv);
  admin->Release();
  return hr;
}
