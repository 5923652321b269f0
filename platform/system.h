// Process facts and host paths.
//
// Windows-style paths in the system's defaults ("c:\vds.debug") map to the host by HostPath: a
// drive letter becomes the folder $VELA_ROOT (default /var/lib/velavds), whatever the letter,
// and back-slashes become slashes. GetSystemDirectoryA is $VELA_SYSTEM_DIR (default
// /etc/velavds); GetWindowsDirectoryA answers "c:\windows", so the drive letter the provider
// takes from it is 'c'.
#ifndef VELA_PLATFORM_SYSTEM_H_
#define VELA_PLATFORM_SYSTEM_H_

#include <string>

#include "platform/wintypes.h"

DWORD GetCurrentProcessId();
DWORD GetCurrentThreadId();

// Both give the length copied without the terminator, or the size needed (with the terminator)
// when `size` is too small, as on Windows; 0 on failure.
UINT GetSystemDirectoryA(LPSTR buffer, UINT size);
UINT GetWindowsDirectoryA(LPSTR buffer, UINT size);

// The host path of a Windows-style path; a path without a drive letter only has its
// back-slashes turned. Null gives "".
std::string HostPath(const char* windowsPath);

// Modules. An HMODULE is the base address the module is mapped at.
struct HINSTANCE__;
using HMODULE = HINSTANCE__*;
constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT = 0x2;
constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS = 0x4;

// Only the form that finds the module holding an address (FROM_ADDRESS, `moduleName` read as an
// address) is served, and it never takes a reference (UNCHANGED_REFCOUNT must be set). FALSE
// with ERROR_INVALID_PARAMETER for anything else, ERROR_MOD_NOT_FOUND for an unmapped address.
BOOL GetModuleHandleExW(DWORD flags, LPCWSTR moduleName, HMODULE* module);

// The full path of the module's file (a null module: the program's). As on Windows: the length
// copied without the terminator; a short buffer gets a cut, terminated copy, `size` is returned
// and the last error is ERROR_INSUFFICIENT_BUFFER; 0 on failure.
DWORD GetModuleFileNameW(HMODULE module, LPWSTR filename, DWORD size);

// The debugger stream: standard error, one line as given.
void OutputDebugStringA(LPCSTR text);

#endif  // VELA_PLATFORM_SYSTEM_H_
