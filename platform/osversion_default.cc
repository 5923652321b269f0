// The version a POSIX host stands for: Windows Server 2012.
#include "platform/osversion.h"

void SystemOsVersion(DWORD* major, DWORD* minor) {
  *major = 6;
  *minor = 2;
}
