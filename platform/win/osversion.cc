// The system's version on Windows, as GetVersionExW tells it to this program.
#include "platform/osversion.h"

#include "platform/win/sdk.h"

void SystemOsVersion(DWORD* major, DWORD* minor) {
  *major = 6;
  *minor = 2;
  winsdk::GetVersion(major, minor);
}
