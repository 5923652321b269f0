#include "platform/handle.h"

#include <map>
#include <mutex>

#include "platform/winerror.h"

namespace {

struct HandleTable {
  std::mutex lock;
  // Guarded by `lock`. Handles are small counters, never addresses, so they are never reused
  // within a process run.
  std::map<uintptr_t, std::shared_ptr<KernelObject>> objects;
  uintptr_t next = 4;  // guarded by `lock`
};

HandleTable& Table() {
  // Destroyed with the module's statics, after its detach has closed its handles; the detach
  // runs ahead of these destructors (see provider/module_entry.cc).
  static HandleTable table;
  return table;
}

}  // namespace

DWORD KernelObject::Wait(DWORD) {
  SetLastError(ERROR_INVALID_HANDLE);
  return WAIT_FAILED;
}

HANDLE MakeHandle(std::shared_ptr<KernelObject> object) {
  HandleTable& table = Table();
  std::lock_guard<std::mutex> guard(table.lock);
  uintptr_t value = table.next;
  table.next += 4;
  table.objects.emplace(value, std::move(object));
  return reinterpret_cast<HANDLE>(value);
}

std::shared_ptr<KernelObject> LookupHandle(HANDLE handle) {
  HandleTable& table = Table();
  std::lock_guard<std::mutex> guard(table.lock);
  auto it = table.objects.find(reinterpret_cast<uintptr_t>(handle));
  if (it == table.objects.end()) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  return it->second;
}

BOOL CloseHandle(HANDLE handle) {
  std::shared_ptr<KernelObject> doomed;  // released outside the table lock
  HandleTable& table = Table();
  std::lock_guard<std::mutex> guard(table.lock);
  auto it = table.objects.find(reinterpret_cast<uintptr_t>(handle));
  if (it == table.objects.end()) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  doomed = std::move(it->second);
  table.objects.erase(it);
  return TRUE;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD ms) {
  std::shared_ptr<KernelObject> object = LookupHandle(handle);
  if (!object) return WAIT_FAILED;
  return object->Wait(ms);
}
