// Named recursive mutexes. A name is process-wide: every CreateMutexW/OpenMutexW with the same
// name gives a handle on the same mutex, which lives while any handle or waiter holds it. An
// unnamed mutex is private to its handle. Ownership is per thread and counted, as on Windows:
// the owner may wait again without blocking and must release as often as it waited.
#ifndef VELA_PLATFORM_MUTEX_H_
#define VELA_PLATFORM_MUTEX_H_

#include "platform/handle.h"
#include "platform/wintypes.h"

constexpr DWORD SYNCHRONIZE = 0x00100000u;
constexpr DWORD MUTEX_MODIFY_STATE = 0x0001u;
constexpr DWORD MUTEX_ALL_ACCESS = 0x001F0001u;

// `attributes` must be null (no security descriptors here). Sets last error ERROR_ALREADY_EXISTS
// when the name existed, ERROR_SUCCESS otherwise. Close the handle with CloseHandle.
HANDLE CreateMutexW(void* attributes, BOOL initialOwner, LPCWSTR name);

// Null with last error ERROR_FILE_NOT_FOUND when no mutex of that name exists.
HANDLE OpenMutexW(DWORD desiredAccess, BOOL inheritHandle, LPCWSTR name);

// FALSE with last error ERROR_NOT_OWNER when the calling thread does not own the mutex.
BOOL ReleaseMutex(HANDLE mutex);

#endif  // VELA_PLATFORM_MUTEX_H_
