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
// Puts the provider in the disk service's list of hardware providers (a failure there is logged
// and does not stop the rest) and writes the class registration under HKEY_CLASSES_ROOT. The
// result is that of the class registration.
VELA_EXPORT HRESULT DllRegisterServer();
// Takes the provider out of the service's list and then removes the class registration. When
// the service cannot be reached or refuses, nothing is removed and its result is returned.
VELA_EXPORT HRESULT DllUnregisterServer();
}

// Module attach and detach, run when the module is loaded and unloaded: the command mutex and
// the two provider locks.
void ModuleAttach();
void ModuleDetach();

#endif  // VELA_PROVIDER_MODULE_H_
