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

// The debugger stream: standard error, one line as given.
void OutputDebugStringA(LPCSTR text);

#endif  // VELA_PLATFORM_SYSTEM_H_
