// The kernel calls of the platform on Windows: last error, mutexes and handles, process facts,
// modules and the debugger stream, each the system's own.
#include <string>

#include "platform/handle.h"
#include "platform/mutex.h"
#include "platform/system.h"
#include "platform/win/sdk.h"
#include "platform/winerror.h"

DWORD GetLastError() { return winsdk::GetLastError(); }

void SetLastError(DWORD error) { winsdk::SetLastError(error); }

HANDLE CreateMutexW(void* attributes, BOOL initialOwner, LPCWSTR name) {
  return winsdk::CreateMutexW(attributes, initialOwner, name);
}

HANDLE OpenMutexW(DWORD desiredAccess, BOOL inheritHandle, LPCWSTR name) {
  return winsdk::OpenMutexW(desiredAccess, inheritHandle, name);
}

BOOL ReleaseMutex(HANDLE mutex) { return winsdk::ReleaseMutex(mutex); }

DWORD WaitForSingleObject(HANDLE handle, DWORD ms) {
  return winsdk::WaitForSingleObject(handle, ms);
}

BOOL CloseHandle(HANDLE handle) { return winsdk::CloseHandle(handle); }

DWORD GetCurrentProcessId() { return winsdk::GetCurrentProcessId(); }

DWORD GetCurrentThreadId() { return winsdk::GetCurrentThreadId(); }

UINT GetSystemDirectoryA(LPSTR buffer, UINT size) {
  return winsdk::GetSystemDirectoryA(buffer, size);
}

UINT GetWindowsDirectoryA(LPSTR buffer, UINT size) {
  return winsdk::GetWindowsDirectoryA(buffer, size);
}

// Paths are the host's own here.
std::string HostPath(const char* windowsPath) {
  return windowsPath != nullptr ? std::string(windowsPath) : std::string();
}

BOOL GetModuleHandleExW(DWORD flags, LPCWSTR moduleName, HMODULE* module) {
  return winsdk::GetModuleHandleExW(flags, moduleName, reinterpret_cast<void**>(module));
}

DWORD GetModuleFileNameW(HMODULE module, LPWSTR filename, DWORD size) {
  return winsdk::GetModuleFileNameW(module, filename, size);
}

void OutputDebugStringA(LPCSTR text) { winsdk::OutputDebugStringA(text); }
