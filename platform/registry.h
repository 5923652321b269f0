// The registry, over one file in the Windows registry export format (see registry_file.h).
//
// The file is SetRegistryFile's path (the tools' --registry FILE), else $VELA_REGISTRY, else
// /etc/velavds/registry.reg. It is read again at each RegOpenKeyEx when it has changed, so a
// configuration can be edited while the provider runs. A missing file is an empty registry; a
// file that is not a registry file is an empty registry with one message on standard error;
// lines that cannot be read are skipped with a message each.
//
// Each change is one transaction on the file: under an advisory lock on FILE.lock the file is
// read afresh, changed, written beside and renamed over the old one, so that processes changing
// it at once lose nothing and a crash leaves the old or the new file. A file that is read-only
// (ERROR_ACCESS_DENIED) or holds lines that cannot be read (ERROR_BADDB) is not changed.
//
// As on Windows, RegQueryValueEx gives the data of any type and leaves the type check to the
// caller; RegGetValueW checks the type and fails with ERROR_UNSUPPORTED_TYPE.
#ifndef VELA_PLATFORM_REGISTRY_H_
#define VELA_PLATFORM_REGISTRY_H_

#include <string>

#include "platform/registry_file.h"
#include "platform/wintypes.h"

struct HKEY__;
using HKEY = HKEY__*;
using PHKEY = HKEY*;
using REGSAM = DWORD;
using LPDWORD = DWORD*;
using LPBYTE = BYTE*;

inline const HKEY HKEY_CLASSES_ROOT = reinterpret_cast<HKEY>(uintptr_t{0x80000000});
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(uintptr_t{0x80000002});

constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
constexpr REGSAM KEY_SET_VALUE = 0x0002;
constexpr REGSAM KEY_READ = 0x20019;
constexpr REGSAM KEY_WRITE = 0x20006;
constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;

constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
constexpr DWORD REG_CREATED_NEW_KEY = 1;
constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

// RegGetValueW type filters.
constexpr DWORD RRF_RT_REG_SZ = 0x00000002;
constexpr DWORD RRF_RT_REG_DWORD = 0x00000010;

void SetRegistryFile(const std::string& path);
std::string RegistryFilePath();

// Sets one value for the rest of the run, over whatever the file says, without writing the file.
// `keyPath` is a full path ("HKEY_LOCAL_MACHINE\SYSTEM\..."); `text` is "dword:<hex>" for a
// DWORD, else a string (surrounding double quotes are dropped). False for a bad key path.
bool RegistryOverride(const std::string& keyPath, const std::string& valueName,
                      const std::string& text);

// Drops the overrides and the SetRegistryFile path, for tests that share a process.
void RegistryResetForTesting();

LONG RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD options, REGSAM access, PHKEY result);
LONG RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, PHKEY result);
LONG RegCloseKey(HKEY key);

// `data` null with `dataSize` set gives the size. A short buffer gives ERROR_MORE_DATA and the
// size needed. The A form gives strings as UTF-8.
LONG RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                      LPDWORD dataSize);
LONG RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                      LPDWORD dataSize);
LONG RegGetValueW(HKEY key, LPCWSTR subKey, LPCWSTR name, DWORD flags, LPDWORD type, void* data,
                  LPDWORD dataSize);

LONG RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR className, DWORD options,
                     REGSAM access, void* security, PHKEY result, LPDWORD disposition);
LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                    DWORD dataSize);
LONG RegDeleteValueW(HKEY key, LPCWSTR name);
// The name of the `index`th subkey (in the order of their names, without case), as on Windows:
// ERROR_NO_MORE_ITEMS past the last, ERROR_MORE_DATA when `nameSize` (in characters, with the
// terminator) is too small. The class name and time are not kept and come back empty.
LONG RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameSize, LPDWORD reserved,
                   LPWSTR className, LPDWORD classSize, void* lastWriteTime);
// Deletes the subkey and everything below it.
LONG RegDeleteTreeW(HKEY key, LPCWSTR subKey);

#endif  // VELA_PLATFORM_REGISTRY_H_
