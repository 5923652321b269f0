// This file sees the SDK's headers; its declarations use no scalar type of the platform's own.
#include <objbase.h>
#include <windows.h>

#include <mutex>

#include "tools/vdsctl/module_file.h"

namespace vdsctl {

void* OpenModuleFile(const std::string& path, std::string* why) {
  const HMODULE module = LoadLibraryA(path.c_str());
  if (module == nullptr) *why = "LoadLibrary failed with error " + std::to_string(GetLastError());
  return module;
}

void* ModuleFileEntry(void* module, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

void CloseModuleFile(void* module) { FreeLibrary(static_cast<HMODULE>(module)); }

bool ComClassFactory(const void* classId, void** factory, int32_t* hr) {
  // The tool's threads live in the multithreaded apartment, as the disk service's do; COM stays
  // initialised for the life of the process.
  static std::once_flag once;
  static HRESULT initialised = S_OK;
  std::call_once(once, [] { initialised = CoInitializeEx(nullptr, COINIT_MULTITHREADED); });
  if (FAILED(initialised)) {
    *hr = initialised;
    return true;
  }
  *factory = nullptr;
  const HRESULT result = CoGetClassObject(*static_cast<const CLSID*>(classId), CLSCTX_INPROC_SERVER,
                                          nullptr, IID_IClassFactory, factory);
  if (result == REGDB_E_CLASSNOTREG) return false;
  *hr = result;
  return true;
}

}  // namespace vdsctl
