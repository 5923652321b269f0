#include "platform/osversion.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <mutex>

namespace {

constexpr DWORD kPlatformNt = 2;  // VER_PLATFORM_WIN32_NT

struct Version {
  DWORD major = 6;
  DWORD minor = 2;
  OsGates gates = GatesFromVersion(6, 2);
};

std::mutex g_lock;
// Guarded by g_lock. Every version ever set stays in the list (references to its gates may
// still be held); the last one is current. Static storage, so that unloading the module that
// holds this copy of the platform layer frees it.
std::list<Version> g_versions;

Version FromEnvironment() {
  Version version;
  SystemOsVersion(&version.major, &version.minor);
  const char* text = std::getenv("VELA_OS_VERSION");
  unsigned major = 0, minor = 0;
  char extra = 0;
  if (text != nullptr && std::sscanf(text, "%u.%u%c", &major, &minor, &extra) == 2) {
    version.major = major;
    version.minor = minor;
  }
  version.gates = GatesFromVersion(version.major, version.minor);
  return version;
}

const Version& Current() {
  std::lock_guard<std::mutex> guard(g_lock);
  if (g_versions.empty()) g_versions.push_back(FromEnvironment());
  return g_versions.back();
}

}  // namespace

OsGates GatesFromVersion(DWORD major, DWORD minor) {
  return {major > 5, major == 6 && minor != 0, major == 6 && minor > 1};
}

BOOL GetVersionExW(OSVERSIONINFOW* info) {
  if (info == nullptr || info->dwOSVersionInfoSize != sizeof(OSVERSIONINFOW)) return FALSE;
  const Version& version = Current();
  info->dwMajorVersion = version.major;
  info->dwMinorVersion = version.minor;
  info->dwBuildNumber = 9200;
  info->dwPlatformId = kPlatformNt;
  std::memset(info->szCSDVersion, 0, sizeof(info->szCSDVersion));
  return TRUE;
}

const OsGates& OsVersionGates() { return Current().gates; }

void SetOsVersionForTesting(DWORD major, DWORD minor) {
  Current();
  std::lock_guard<std::mutex> guard(g_lock);
  Version next;
  next.major = major;
  next.minor = minor;
  next.gates = GatesFromVersion(major, minor);
  g_versions.push_back(next);
}
