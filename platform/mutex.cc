#include "platform/mutex.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "platform/clock.h"
#include "platform/winerror.h"

namespace {

class RecursiveMutex : public KernelObject {
 public:
  DWORD Wait(DWORD ms) override {
    std::thread::id self = std::this_thread::get_id();
    std::unique_lock<std::mutex> lock(m_lock);
    if (m_count > 0 && m_owner == self) {
      ++m_count;
      return WAIT_OBJECT_0;
    }
    auto free = [this] { return m_count == 0; };
    if (ms == INFINITE) {
      m_freed.wait(lock, free);
    } else if (!m_freed.wait_for(lock, ScaledDuration(ms), free)) {
      return WAIT_TIMEOUT;
    }
    m_owner = self;
    m_count = 1;
    return WAIT_OBJECT_0;
  }

  bool Release() {
    std::lock_guard<std::mutex> guard(m_lock);
    if (m_count == 0 || m_owner != std::this_thread::get_id()) return false;
    if (--m_count == 0) m_freed.notify_one();
    return true;
  }

 private:
  std::mutex m_lock;
  std::condition_variable m_freed;  // signalled when m_count falls to 0
  std::thread::id m_owner;          // guarded by m_lock; meaningful while m_count > 0
  unsigned m_count = 0;             // guarded by m_lock: recursion depth of the owner
};

struct NameTable {
  std::mutex lock;
  std::map<std::u16string, std::weak_ptr<RecursiveMutex>> byName;  // guarded by `lock`
};

NameTable& Names() {
  // Destroyed with the module's statics, after its detach has closed the named mutexes.
  static NameTable names;
  return names;
}

}  // namespace

HANDLE CreateMutexW(void* attributes, BOOL initialOwner, LPCWSTR name) {
  if (attributes != nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  std::shared_ptr<RecursiveMutex> mutex;
  DWORD status = ERROR_SUCCESS;
  if (name == nullptr) {
    mutex = std::make_shared<RecursiveMutex>();
  } else {
    NameTable& names = Names();
    std::lock_guard<std::mutex> guard(names.lock);
    std::weak_ptr<RecursiveMutex>& slot = names.byName[std::u16string(name)];
    mutex = slot.lock();
    if (mutex) {
      status = ERROR_ALREADY_EXISTS;
    } else {
      mutex = std::make_shared<RecursiveMutex>();
      slot = mutex;
    }
  }
  if (initialOwner) mutex->Wait(INFINITE);
  HANDLE handle = MakeHandle(mutex);
  SetLastError(status);
  return handle;
}

HANDLE OpenMutexW(DWORD, BOOL, LPCWSTR name) {
  if (name == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  std::shared_ptr<RecursiveMutex> mutex;
  {
    NameTable& names = Names();
    std::lock_guard<std::mutex> guard(names.lock);
    auto it = names.byName.find(std::u16string(name));
    if (it != names.byName.end()) mutex = it->second.lock();
  }
  if (!mutex) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return nullptr;
  }
  SetLastError(ERROR_SUCCESS);
  return MakeHandle(mutex);
}

BOOL ReleaseMutex(HANDLE handle) {
  std::shared_ptr<KernelObject> object = LookupHandle(handle);
  auto* mutex = dynamic_cast<RecursiveMutex*>(object.get());
  if (mutex == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  if (!mutex->Release()) {
    SetLastError(ERROR_NOT_OWNER);
    return FALSE;
  }
  return TRUE;
}
