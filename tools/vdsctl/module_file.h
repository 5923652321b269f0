// A provider module mapped into the process (dlopen on POSIX, LoadLibrary on Windows), and COM's
// own activation of a registered in-process class where the system has COM.
#ifndef VELA_TOOLS_VDSCTL_MODULE_FILE_H_
#define VELA_TOOLS_VDSCTL_MODULE_FILE_H_

#include <cstdint>
#include <string>

namespace vdsctl {

// The mapped module, or null with the loader's reason in *why.
void* OpenModuleFile(const std::string& path, std::string* why);
// An export by name, or null.
void* ModuleFileEntry(void* module, const char* name);
void CloseModuleFile(void* module);

// Windows: the class factory COM hands out for `classId` (16 bytes, a GUID) registered as an
// in-process server (CoGetClassObject after CoInitializeEx in the multithreaded apartment):
// true with *factory, or with the failure in *hr, when the class is registered; false when it is
// not, and then the caller loads a module file itself. POSIX has no COM runtime: always false.
bool ComClassFactory(const void* classId, void** factory, int32_t* hr);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_MODULE_FILE_H_
