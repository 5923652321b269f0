// The module's exported entry points, as the disk service finds them by name.
#ifndef VELA_PROVIDER_MODULE_H_
#define VELA_PROVIDER_MODULE_H_

#include "platform/com.h"
#include "platform/guid.h"
#include "provider/export.h"

extern "C" {
// The class factory of CLSID_VelaHwProvider. E_POINTER for a null out pointer,
// CLASS_E_CLASSNOTAVAILABLE for another class.
VELA_EXPORT HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv);
// S_OK when no object of the module is alive and no LockServer holds it, else S_FALSE.
VELA_EXPORT HRESULT DllCanUnloadNow();
}

// Module attach and detach, run when the module is loaded and unloaded: the command mutex and
// the two provider locks.
void ModuleAttach();
void ModuleDetach();

#endif  // VELA_PROVIDER_MODULE_H_
