// Module attach and detach of the shared library: the loader runs these when the module is
// loaded into and unloaded from the process, as the service's loader runs DllMain.
#include "provider/module.h"

namespace {

__attribute__((constructor)) void OnModuleLoad() { ModuleAttach(); }

__attribute__((destructor)) void OnModuleUnload() { ModuleDetach(); }

}  // namespace
