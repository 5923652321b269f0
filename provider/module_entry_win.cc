// Module attach and detach of the Windows module: the loader calls DllMain when the module is
// loaded into and unloaded from the process. This file sees the SDK's headers, so it names the
// two module steps itself rather than through provider/module.h (whose platform types would
// meet the SDK's).
#include <windows.h>

void ModuleAttach();
void ModuleDetach();

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) {
    DisableThreadLibraryCalls(instance);
    ModuleAttach();
  } else if (reason == DLL_PROCESS_DETACH) {
    ModuleDetach();
  }
  return TRUE;
}
