// The registry of Windows. The system keeps it; there is no file behind it here.
#include "platform/registry.h"

#include "platform/win/sdk.h"

std::string RegistryFilePath() { return std::string(); }

LONG RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD options, REGSAM access, PHKEY result) {
  return winsdk::RegOpenKeyExA(key, subKey, options, access, reinterpret_cast<void**>(result));
}

LONG RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, PHKEY result) {
  return winsdk::RegOpenKeyExW(key, subKey, options, access, reinterpret_cast<void**>(result));
}

LONG RegCloseKey(HKEY key) { return winsdk::RegCloseKey(key); }

LONG RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD /*reserved*/, LPDWORD type, LPBYTE data,
                      LPDWORD dataSize) {
  return winsdk::RegQueryValueExA(key, name, type, data, dataSize);
}

LONG RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD /*reserved*/, LPDWORD type, LPBYTE data,
                      LPDWORD dataSize) {
  return winsdk::RegQueryValueExW(key, name, type, data, dataSize);
}

LONG RegGetValueW(HKEY key, LPCWSTR subKey, LPCWSTR name, DWORD flags, LPDWORD type, void* data,
                  LPDWORD dataSize) {
  return winsdk::RegGetValueW(key, subKey, name, flags, type, data, dataSize);
}

LONG RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD /*reserved*/, LPWSTR /*className*/,
                     DWORD options, REGSAM access, void* /*security*/, PHKEY result,
                     LPDWORD disposition) {
  return winsdk::RegCreateKeyExW(key, subKey, options, access, reinterpret_cast<void**>(result),
                                 disposition);
}

LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD /*reserved*/, DWORD type, const BYTE* data,
                    DWORD dataSize) {
  return winsdk::RegSetValueExW(key, name, type, data, dataSize);
}

LONG RegDeleteValueW(HKEY key, LPCWSTR name) { return winsdk::RegDeleteValueW(key, name); }

LONG RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameSize, LPDWORD /*reserved*/,
                   LPWSTR className, LPDWORD classSize, void* /*lastWriteTime*/) {
  // The class name is not kept, as the platform's declaration says.
  if (className != nullptr && classSize != nullptr && *classSize > 0) className[0] = 0;
  if (classSize != nullptr) *classSize = 0;
  return winsdk::RegEnumKeyExW(key, index, name, nameSize);
}

LONG RegDeleteTreeW(HKEY key, LPCWSTR subKey) { return winsdk::RegDeleteTreeW(key, subKey); }
