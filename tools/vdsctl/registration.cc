#include "tools/vdsctl/registration.h"

#include <cstdlib>

#include "platform/com.h"
#include "platform/hresult.h"
#include "platform/registry.h"
#include "platform/strings.h"
#include "platform/vds_loader.h"
#include "platform/winerror.h"
#include "provider/provider.h"
#include "tools/vdsctl/json.h"
#include "tools/vdsctl/module_file.h"
#include "tools/vdsctl/names.h"

namespace vdsctl {
namespace {

using DllGetClassObjectFn = HRESULT (*)(REFCLSID, REFIID, LPVOID*);
using DllEntryFn = HRESULT (*)();

std::string Narrow(const std::u16string& text) { return Utf16ToUtf8(text); }

// A string value of an open key; empty when it is missing or not a string.
std::string StringValue(HKEY key, const char16_t* name) {
  DWORD type = 0;
  DWORD size = 0;
  if (RegQueryValueExW(key, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
      (type != REG_SZ && type != REG_EXPAND_SZ) || size < 2) {
    return std::string();
  }
  std::u16string text(size / 2, u'\0');
  if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &size) !=
      ERROR_SUCCESS) {
    return std::string();
  }
  text.resize(std::min<size_t>(text.find(u'\0'), size / 2));
  return Narrow(text);
}

std::string InprocServer(const std::string& classId) {
  HKEY key = nullptr;
  std::string path = "CLSID\\" + classId + "\\InprocServer32";
  if (RegOpenKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
    return std::string();
  }
  std::string module = StringValue(key, u"");
  RegCloseKey(key);
  return module;
}

// Leaves the module mapped when it says something of it still lives.
void Unmap(void* module) {
  auto canUnloadNow = reinterpret_cast<DllEntryFn>(ModuleFileEntry(module, "DllCanUnloadNow"));
  if (canUnloadNow == nullptr || canUnloadNow() == S_OK) CloseModuleFile(module);
}

bool Matches(const RegisteredProvider& entry, const std::string& wanted) {
  GUID a;
  GUID b;
  if (GuidFromString(wanted.c_str(), &a) && GuidFromString(entry.id.c_str(), &b)) {
    return IsEqualGUID(a, b);
  }
  return RegistryLower(entry.name) == RegistryLower(wanted);
}

}  // namespace

std::vector<RegisteredProvider> RegisteredProviders() {
  std::vector<RegisteredProvider> providers;
  HKEY list = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kVdsHardwareProvidersKey, 0, KEY_READ, &list) !=
      ERROR_SUCCESS) {
    return providers;
  }
  for (DWORD index = 0;; ++index) {
    WCHAR name[256];
    DWORD size = sizeof(name) / sizeof(name[0]);
    LONG status = RegEnumKeyExW(list, index, name, &size, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_MORE_DATA) continue;  // not a provider id
    if (status != ERROR_SUCCESS) break;
    RegisteredProvider entry;
    entry.id = Narrow(std::u16string(name, size));
    HKEY key = nullptr;
    if (RegOpenKeyExW(list, name, 0, KEY_READ, &key) != ERROR_SUCCESS) continue;
    entry.name = StringValue(key, u"");
    entry.version = StringValue(key, u"Version");
    entry.versionId = StringValue(key, u"VersionId");
    entry.classId = StringValue(key, u"CLSID");
    RegCloseKey(key);
    if (!entry.classId.empty()) entry.modulePath = InprocServer(entry.classId);
    providers.push_back(std::move(entry));
  }
  RegCloseKey(list);
  return providers;
}

bool ModuleLoads(const std::string& modulePath, const GUID& classId, std::string* why) {
  void* module = OpenModuleFile(modulePath, why);
  if (module == nullptr) return false;
  auto getClassObject =
      reinterpret_cast<DllGetClassObjectFn>(ModuleFileEntry(module, "DllGetClassObject"));
  bool loads = false;
  if (getClassObject == nullptr) {
    *why = "the module has no DllGetClassObject";
  } else {
    void* factory = nullptr;
    HRESULT hr = getClassObject(classId, IID_IClassFactory, &factory);
    loads = SUCCEEDED(hr) && factory != nullptr;
    if (loads) {
      static_cast<IClassFactory*>(factory)->Release();
    } else {
      *why = "DllGetClassObject failed: " + HResultText(hr);
    }
  }
  Unmap(module);
  return loads;
}

ExitCode RunRegistration(const std::string& modulePath, bool unregister, Output* output) {
  const char* entryName = unregister ? "DllUnregisterServer" : "DllRegisterServer";
  std::string why;
  void* module = OpenModuleFile(modulePath, &why);
  if (module == nullptr) {
    output->Problem("Cannot load the module " + modulePath + ": " + why + ".");
    return kExitServiceFailure;
  }
  auto entry = reinterpret_cast<DllEntryFn>(ModuleFileEntry(module, entryName));
  if (entry == nullptr) {
    CloseModuleFile(module);
    output->Problem(modulePath + " is not a provider module: it has no " + entryName + ".");
    return kExitServiceFailure;
  }
  HRESULT hr = entry();
  Unmap(module);
  if (output->Json()) {
    output->Document(Json{{unregister ? "unregister" : "register",
                           {{"module", modulePath},
                            {"hr", HResultHex(hr)},
                            {"name", HResultText(hr)},
                            {"call", entryName}}}});
  } else {
    output->Text(std::string(entryName) + " in " + modulePath + ": " + HResultText(hr) + " (" +
                 HResultHex(hr) + ").\n");
  }
  return hr == S_OK ? kExitOk : kExitFatal;
}

ExitCode ShowProviders(Output* output) {
  std::vector<RegisteredProvider> providers = RegisteredProviders();
  Json list = Json::array();
  std::string text;
  for (const RegisteredProvider& entry : providers) {
    GUID classId = GUID_NULL;
    std::string why;
    bool loads = !entry.modulePath.empty() && GuidFromString(entry.classId.c_str(), &classId) &&
                 ModuleLoads(entry.modulePath, classId, &why);
    if (entry.modulePath.empty()) why = "the class is not registered";
    list.push_back(Json{{"id", entry.id},
                        {"name", entry.name},
                        {"version", entry.version},
                        {"versionId", entry.versionId},
                        {"classId", entry.classId},
                        {"module", entry.modulePath.empty() ? Json() : Json(entry.modulePath)},
                        {"loads", loads}});
    text += "Provider " + entry.id + "\n";
    text += "  Name       : " + entry.name + "\n";
    text += "  Version    : " + entry.version + " " + entry.versionId + "\n";
    text += "  Class      : " + entry.classId + "\n";
    text += "  Module     : " + (entry.modulePath.empty() ? "(none)" : entry.modulePath) + "\n";
    text += "  Loads      : " + (loads ? std::string("yes") : "no (" + why + ")") + "\n\n";
  }
  if (output->Json()) {
    output->Document(Json{{"providers", list}});
  } else if (providers.empty()) {
    output->Text("No hardware provider is registered.\n");
  } else {
    output->Text(text);
  }
  return kExitOk;
}

bool ChooseProvider(const std::string& module, const std::string& provider,
                    const std::string& builtIn, ProviderChoice* choice, std::string* message) {
  const char* fromEnvironment = std::getenv("VELA_PROVIDER_LIBRARY");
  if (!module.empty() || (provider.empty() && fromEnvironment != nullptr && *fromEnvironment)) {
    choice->modulePath = !module.empty() ? module : fromEnvironment;
    choice->classId = CLSID_VelaHwProvider;
    return true;
  }
  std::vector<RegisteredProvider> usable;
  for (RegisteredProvider& entry : RegisteredProviders()) {
    GUID classId;
    if (!entry.modulePath.empty() && GuidFromString(entry.classId.c_str(), &classId)) {
      usable.push_back(std::move(entry));
    }
  }
  if (!provider.empty()) {
    for (const RegisteredProvider& entry : usable) {
      if (!Matches(entry, provider)) continue;
      choice->modulePath = entry.modulePath;
      GuidFromString(entry.classId.c_str(), &choice->classId);
      return true;
    }
    *message = "No registered hardware provider is called " + provider + ".";
    return false;
  }
  if (usable.size() > 1) {
    std::string names;
    for (const RegisteredProvider& entry : usable) {
      names += (names.empty() ? "" : ", ") + entry.name + " " + entry.id;
    }
    *message = "Several hardware providers are registered (" + names +
               "); name one with --provider NAME|ID.";
    return false;
  }
  if (usable.size() == 1) {
    choice->modulePath = usable[0].modulePath;
    GuidFromString(usable[0].classId.c_str(), &choice->classId);
    return true;
  }
  choice->modulePath = builtIn;
  choice->classId = CLSID_VelaHwProvider;
  return true;
}

}  // namespace vdsctl
