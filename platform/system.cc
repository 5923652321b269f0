#include "platform/system.h"

#include <dlfcn.h>
#include <limits.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/strings.h"
#include "platform/winerror.h"

namespace {

std::string EnvOr(const char* name, const char* fallback) {
  const char* value = std::getenv(name);
  return (value != nullptr && *value != '\0') ? value : fallback;
}

UINT CopyOut(const std::string& text, LPSTR buffer, UINT size) {
  if (text.size() + 1 > size || buffer == nullptr) return static_cast<UINT>(text.size() + 1);
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  return static_cast<UINT>(text.size());
}

}  // namespace

DWORD GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }

DWORD GetCurrentThreadId() { return static_cast<DWORD>(syscall(SYS_gettid)); }

UINT GetSystemDirectoryA(LPSTR buffer, UINT size) {
  return CopyOut(EnvOr("VELA_SYSTEM_DIR", "/etc/velavds"), buffer, size);
}

UINT GetWindowsDirectoryA(LPSTR buffer, UINT size) { return CopyOut("c:\\windows", buffer, size); }

std::string HostPath(const char* windowsPath) {
  if (windowsPath == nullptr) return std::string();
  std::string rest = windowsPath;
  std::string out;
  if (rest.size() >= 2 && std::isalpha(static_cast<unsigned char>(rest[0])) && rest[1] == ':') {
    out = EnvOr("VELA_ROOT", "/var/lib/velavds");
    rest.erase(0, 2);
    if (rest.empty() || (rest[0] != '\\' && rest[0] != '/')) out += '/';
  }
  for (char c : rest) out += (c == '\\') ? '/' : c;
  return out;
}

void OutputDebugStringA(LPCSTR text) {
  if (text != nullptr) std::fputs(text, stderr);
}

BOOL GetModuleHandleExW(DWORD flags, LPCWSTR moduleName, HMODULE* module) {
  if (module != nullptr) *module = nullptr;
  constexpr DWORD kServed =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  if (module == nullptr || flags != kServed) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  Dl_info info;
  if (dladdr(reinterpret_cast<const void*>(moduleName), &info) == 0 || info.dli_fbase == nullptr) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return FALSE;
  }
  *module = static_cast<HMODULE>(info.dli_fbase);
  return TRUE;
}

DWORD GetModuleFileNameW(HMODULE module, LPWSTR filename, DWORD size) {
  std::string path;
  if (module == nullptr) {
    char buffer[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", buffer, sizeof(buffer) - 1);
    if (n <= 0) return 0;
    path.assign(buffer, static_cast<size_t>(n));
  } else {
    Dl_info info;
    if (dladdr(module, &info) == 0 || info.dli_fname == nullptr) {
      SetLastError(ERROR_MOD_NOT_FOUND);
      return 0;
    }
    // A module opened by a relative name is named by its full path, as on Windows.
    char resolved[PATH_MAX];
    path = realpath(info.dli_fname, resolved) != nullptr ? resolved : info.dli_fname;
  }
  std::u16string wide = Utf8ToUtf16(path);
  if (filename == nullptr || size == 0) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  if (wide.size() >= size) {
    wide.copy(filename, size - 1);
    filename[size - 1] = 0;
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
  }
  wide.copy(filename, wide.size());
  filename[wide.size()] = 0;
  return static_cast<DWORD>(wide.size());
}
