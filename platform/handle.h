// Kernel object handles. A HANDLE names an entry of a process-wide table rather than being
// dereferenced directly, so that a stale or foreign handle fails with ERROR_INVALID_HANDLE instead
// of touching freed memory, and a wait in progress keeps its object alive across CloseHandle.
#ifndef VELA_PLATFORM_HANDLE_H_
#define VELA_PLATFORM_HANDLE_H_

#include <memory>

#include "platform/wintypes.h"

constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_ABANDONED = 0x80;
constexpr DWORD WAIT_TIMEOUT = 0x102;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFFu;

inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~uintptr_t{0});

// Base of every object a HANDLE can name (mutexes here, pipes in the proxy layer).
class KernelObject {
 public:
  KernelObject() = default;
  KernelObject(const KernelObject&) = delete;
  KernelObject& operator=(const KernelObject&) = delete;
  virtual ~KernelObject() = default;

  // Waits up to `ms` (unscaled; INFINITE waits for ever) for the object to be signalled.
  // Objects that cannot be waited on keep this default.
  virtual DWORD Wait(DWORD ms);
};

// Enters `object` in the handle table and gives the handle that names it.
HANDLE MakeHandle(std::shared_ptr<KernelObject> object);

// The object a handle names, or null (last error ERROR_INVALID_HANDLE) for an unknown handle.
std::shared_ptr<KernelObject> LookupHandle(HANDLE handle);

// Removes the handle; the object lives on while another holder keeps it.
BOOL CloseHandle(HANDLE handle);

DWORD WaitForSingleObject(HANDLE handle, DWORD ms);

#endif  // VELA_PLATFORM_HANDLE_H_
