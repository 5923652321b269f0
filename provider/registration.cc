// Self-registration of the module: the provider's entry in the disk service's list of hardware
// providers, and the class registration that lets the service create CProvider from this file.
#include <string>
#include <vector>

#include "diag/debug_log.h"
#include "platform/guid.h"
#include "platform/registry.h"
#include "platform/strings.h"
#include "platform/system.h"
#include "platform/vds_interfaces.h"
#include "platform/vds_loader.h"
#include "platform/winerror.h"
#include "provider/module.h"
#include "provider/provider.h"

namespace {

// One value of the class registration, under HKEY_CLASSES_ROOT; an empty name is the key's
// default value.
struct ScriptValue {
  std::u16string key;
  std::u16string name;
  std::u16string data;
};

std::u16string ClassIdText() { return Utf8ToUtf16(GuidToString(CLSID_VelaHwProvider)); }

// The keys that unregistering removes, with everything below them.
std::vector<std::u16string> RemovedKeys() {
  return {u"CLSID\\" + ClassIdText(), u"AppID\\" + ClassIdText()};
}

std::vector<ScriptValue> RegistrationScript(const std::u16string& modulePath) {
  const std::u16string clsid = ClassIdText();
  const std::u16string classKey = u"CLSID\\" + clsid;
  return {
      {u"VelaHwPrv.VelaHwProvider.1", u"", u"VelaHwProvider Class"},
      {u"VelaHwPrv.VelaHwProvider.1\\CLSID", u"", clsid},
      {u"VelaHwPrv.VelaHwProvider", u"", u"VelaHwProvider Class"},
      {u"VelaHwPrv.VelaHwProvider\\CLSID", u"", clsid},
      {u"VelaHwPrv.VelaHwProvider\\CurVer", u"", u"VelaHwPrv.VelaHwProvider.1"},
      {classKey, u"", u"VelaHwPovider Class"},
      {classKey, u"AppID", clsid},
      {classKey + u"\\ProgID", u"", u"VelaHwPrv.VelaHwProvider.1"},
      {classKey + u"\\VersionIndependentProgID", u"", u"VelaHwPovider"},
      {classKey + u"\\InprocServer32", u"", modulePath},
      {classKey + u"\\InprocServer32", u"ThreadingModel", u"Free"},
      {u"AppID\\" + clsid, u"", u"VelaHwPovider Class"},
      {u"AppID\\" + clsid, u"DllSurrogate", u""},
  };
}

// The full path of the file this code was loaded from.
std::u16string ModulePath() {
  HMODULE module = nullptr;
  if (!GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          reinterpret_cast<LPCWSTR>(&DllRegisterServer), &module)) {
    return std::u16string();
  }
  WCHAR path[4096];
  DWORD length = GetModuleFileNameW(module, path, sizeof(path) / sizeof(path[0]));
  if (length == 0 || length >= sizeof(path) / sizeof(path[0])) return std::u16string();
  return std::u16string(path, length);
}

HRESULT ApplyRegistrationScript() {
  std::u16string modulePath = ModulePath();
  if (modulePath.empty()) return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
  for (const ScriptValue& value : RegistrationScript(modulePath)) {
    HKEY key = nullptr;
    LONG status = RegCreateKeyExW(HKEY_CLASSES_ROOT, value.key.c_str(), 0, nullptr,
                                  REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, &key, nullptr);
    if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(status);
    status = RegSetValueExW(key, value.name.c_str(), 0, REG_SZ,
                            reinterpret_cast<const BYTE*>(value.data.c_str()),
                            static_cast<DWORD>((value.data.size() + 1) * sizeof(char16_t)));
    RegCloseKey(key);
    if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(status);
  }
  return S_OK;
}

HRESULT RemoveRegistrationScript() {
  for (const std::u16string& path : RemovedKeys()) {
    LONG status = RegDeleteTreeW(HKEY_CLASSES_ROOT, path.c_str());
    // What is already gone needs no removing.
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) {
      return HRESULT_FROM_WIN32(status);
    }
  }
  return S_OK;
}

HRESULT CreateVdsAdmin(IVdsAdmin** admin) {
  return CoCreateInstance(CLSID_VdsLoader, nullptr, CLSCTX_LOCAL_SERVER, IID_IVdsAdmin,
                          reinterpret_cast<void**>(admin));
}

// Registration runs without a provider (from the registration tool), so it keeps the debug log
// open for its own length; the open is counted, so a provider's log in the same process stays.
class DebugLogScope {
 public:
  DebugLogScope() { Debug(); }
  ~DebugLogScope() { DebugClose(); }
  DebugLogScope(const DebugLogScope&) = delete;
  DebugLogScope& operator=(const DebugLogScope&) = delete;
};

}  // namespace

extern "C" HRESULT DllRegisterServer() {
  DebugLogScope log;
  DebugPrintf("DllRegisterServer()\n");
  IVdsAdmin* pVdsAdmin = nullptr;
  HRESULT hr = CreateVdsAdmin(&pVdsAdmin);
  if (!CProvider::GetProviderNameAndVersion()) {
    DebugPrintf("velahwprv::DllRegisterServer GetProviderNameAndVersion failed.\n");
  }
  if (FAILED(hr)) {
    DebugPrintf("OOP!! DllRegisterServer(): CoCreateInstance () is failed!\n");
  } else {
    std::u16string name = ProviderName();
    std::u16string version = ProviderVersion();
    hr = pVdsAdmin->RegisterProvider(VELA_PROVIDER_ID, CLSID_VelaHwProvider, name.data(),
                                     VDS_PT_HARDWARE, nullptr, version.data(),
                                     VELA_PROVIDER_VERSION_ID);
    if (FAILED(hr))
      DebugPrintf("OOP!! DllRegisterServer(): pVdsAdmin->RegisterProvider is failed!\n");
    pVdsAdmin->Release();
  }
  // The class is registered whatever the service said, so that it can be created once the
  // provider is in the service's list.
  hr = ApplyRegistrationScript();
  DebugPrintf("DllRegisterServer() out\n");
  if (FAILED(hr)) DebugPrintf("OOP!! DllRegisterServer(): _Module.RegisterServer is failed!\n");
  return hr;
}

extern "C" HRESULT DllUnregisterServer() {
  DebugLogScope log;
  DebugPrintf("DllUnregisterServer()\n");
  IVdsAdmin* pVdsAdmin = nullptr;
  HRESULT hr = CreateVdsAdmin(&pVdsAdmin);
  if (FAILED(hr)) {
    DebugPrintf("OOP!! DllUnregisterServer(): CoCreateInstance is failed!\n");
    return hr;
  }
  hr = pVdsAdmin->UnregisterProvider(VELA_PROVIDER_ID);
  pVdsAdmin->Release();
  if (FAILED(hr)) {
    DebugPrintf("OOP!! DllUnregisterServer(): pVdsAdmin->UnregisterProvider is failed!\n");
    return hr;
  }
  return RemoveRegistrationScript();
}
