#include "platform/system.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

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
