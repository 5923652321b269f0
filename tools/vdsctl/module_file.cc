#include "tools/vdsctl/module_file.h"

#include <dlfcn.h>

namespace vdsctl {

void* OpenModuleFile(const std::string& path, std::string* why) {
  void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) {
    const char* text = dlerror();
    *why = text != nullptr ? text : "unknown loader error";
  }
  return module;
}

void* ModuleFileEntry(void* module, const char* name) { return dlsym(module, name); }

void CloseModuleFile(void* module) { dlclose(module); }

bool ComClassFactory(const void* /*classId*/, void** /*factory*/, int32_t* /*hr*/) { return false; }

}  // namespace vdsctl
