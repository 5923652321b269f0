// The provider's two named locks, the scope guard that takes them, and the two scope helpers
// on which the rule rests that no refresh starts while something is being built.
#include <cstring>

#include "diag/debug_log.h"
#include "platform/handle.h"
#include "platform/mutex.h"
#include "provider/provider.h"

HANDLE hNotificationMutex = nullptr;
HANDLE hRefreshMutex = nullptr;
std::atomic<ULONG> NumOperation{0};
std::atomic<bool> g_allowControllerRefresh{true};

namespace {

HANDLE CreateOrOpen(const char16_t* name) {
  HANDLE handle = CreateMutexW(nullptr, FALSE, name);
  if (handle == nullptr) handle = OpenMutexW(SYNCHRONIZE, FALSE, name);
  return handle;
}

}  // namespace

void InitRefreshLock() {
  DebugPrintf("InitRefreshLock enter\n");
  hRefreshMutex = CreateOrOpen(u"tidegate_lock_refresh");
  if (hRefreshMutex == nullptr) {
    DebugPrintf("InitRefreshLock hRefreshMutex error\n");
    return;
  }
  hNotificationMutex = CreateOrOpen(u"tidegate_lock_notification");
  if (hNotificationMutex == nullptr) {
    DebugPrintf("InitRefreshLock hNotificationMutex error\n");
    return;
  }
  DebugPrintf("InitRefreshLock exit\n");
}

void FreeRefreshLock() {
  DebugPrintf("FreeRefreshLock enter\n");
  if (hRefreshMutex != nullptr) CloseHandle(hRefreshMutex);
  hRefreshMutex = nullptr;
  if (hNotificationMutex != nullptr) CloseHandle(hNotificationMutex);
  hNotificationMutex = nullptr;
  DebugPrintf("FreeRefreshLock exit\n");
}

MutexGuard::MutexGuard(HANDLE mutex, const char* functionName)
    : m_mutex(mutex), m_functionName(functionName) {
  if (m_mutex != nullptr && m_mutex == hRefreshMutex) {
    m_label = "RefreshMutex";
  } else if (m_mutex != nullptr && m_mutex == hNotificationMutex) {
    m_label = "NotificationMutex";
  } else {
    m_label = "Unknown";
  }
  const bool trace = DebugLogging.load() > 1;
  if (m_mutex == nullptr) {
    if (trace) DebugPrintf("%s trying to acquire lock with null mutex pointer\n", m_functionName);
    return;
  }
  if (trace) DebugPrintf("%s waiting on mutex %p (%s)\n", m_functionName, m_mutex, m_label);
  DWORD result = WaitForSingleObject(m_mutex, INFINITE);
  if (!trace) return;
  if (result == WAIT_OBJECT_0) {
    DebugPrintf("%s acquired mutex %p (%s) (n=%d) \n", m_functionName, m_mutex, m_label, 0);
  } else {
    DebugPrintf("%s acquired mutex %p (%s) (n=%d)\n", m_functionName, m_mutex, m_label,
                result == WAIT_TIMEOUT ? 1 : 2);
  }
}

MutexGuard::~MutexGuard() {
  if (m_mutex == nullptr) return;
  if (DebugLogging.load() > 1) {
    DebugPrintf("%s releasing mutex %p (%s)\n", m_functionName, m_mutex, m_label);
  }
  ReleaseMutex(m_mutex);
}

InitializeCounter::InitializeCounter(CProvider* /*provider*/) {
  DebugPrintf("InitializeCounter() : enter !\n");
  ULONG count = NumOperation.fetch_add(1) + 1;
  DebugPrintf("Add InitializeCounter     : m_pProvider->NumOperation = %d\n", count);
}

InitializeCounter::~InitializeCounter() {
  ULONG count = NumOperation.load();
  // A release at 0 stays at 0.
  while (count != 0 && !NumOperation.compare_exchange_weak(count, count - 1)) {
  }
  DebugPrintf("Release InitializeCounter : m_pProvider->NumOperation = %d\n", NumOperation.load());
  DebugPrintf("InitializeCounter() : OUT!\n");
}

Refreshable::Refreshable(CProvider* provider) {
  DebugPrintf("Refreshable() : enter !\n");
  if (provider != nullptr && provider->IsNeedRefresh() && NumOperation.load() == 0) {
    DebugPrintf("Refreshable() : Need a refresh\n");
    static_cast<IVdsHwProvider*>(provider)->Refresh();
  }
}

Refreshable::~Refreshable() { DebugPrintf("Refreshable() : OUT!\n"); }
