// Module attach and detach of the shared library: the loader runs these when the module is
// loaded into and unloaded from the process, as the service's loader runs DllMain.
#include "provider/module.h"

namespace {

// Runs the detach as the first of the module's static destructors. A fini function would run
// too late at process exit, where the loader destroys static objects before it runs the fini
// functions, and the detach still needs the platform tables. Being made after everything the
// attach made, this object is destroyed before all of it, on dlclose and at exit alike.
struct DetachAtUnload {
  ~DetachAtUnload() { ModuleDetach(); }
};

__attribute__((constructor)) void OnModuleLoad() {
  ModuleAttach();
  static DetachAtUnload detach;
}

}  // namespace
