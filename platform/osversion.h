// The OS version the logic sees: the system's (on POSIX, Windows Server 2012, 6.2) unless
// VELA_OS_VERSION=major.minor says otherwise, read once. The gates are derived from it:
//   win2008  major above 5
//   win7     major exactly 6 and minor not 0
//   win8     major exactly 6 and minor above 1
#ifndef VELA_PLATFORM_OSVERSION_H_
#define VELA_PLATFORM_OSVERSION_H_

#include "platform/wintypes.h"

struct OSVERSIONINFOW {
  DWORD dwOSVersionInfoSize;
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformId;
  WCHAR szCSDVersion[128];
};

// FALSE when `info` is null or its dwOSVersionInfoSize is not sizeof(OSVERSIONINFOW).
BOOL GetVersionExW(OSVERSIONINFOW* info);

// The system's version, as its GetVersionExW reports it to this program; 6.2 on POSIX.
void SystemOsVersion(DWORD* major, DWORD* minor);

struct OsGates {
  bool win2008;
  bool win7;
  bool win8;
};

OsGates GatesFromVersion(DWORD major, DWORD minor);

// The gates of the version above, computed on the first call.
const OsGates& OsVersionGates();

// Replaces the version (and recomputes the gates) for the rest of the run.
void SetOsVersionForTesting(DWORD major, DWORD minor);

#endif  // VELA_PLATFORM_OSVERSION_H_
