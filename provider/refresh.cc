// The lazy refresh: a flag set by the event monitor and by changes, and a rebuild in place run
// by the next query that finds the flag.
#include "diag/debug_log.h"
#include "objects/refresh_hold.h"
#include "provider/provider.h"

bool CProvider::IsNeedRefresh() {
  MutexGuard guard(hRefreshMutex, "CProvider::IsNeedRefresh");
  DebugPrintf("CProvider::IsNeedRefresh() returns %s\n", m_bNeedRefresh ? "TRUE" : "FALSE");
  return m_bNeedRefresh;
}

void CProvider::SetNeedRefresh(bool needRefresh) {
  MutexGuard guard(hRefreshMutex, "CProvider::SetNeedRefresh");
  DebugPrintf("CProvider::SetNeedRefresh IN  IsNeedRefresh = %d\n", m_bNeedRefresh ? 1 : 0);
  m_bNeedRefresh = needRefresh;
  DebugPrintf("CProvider::SetNeedRefresh OUT m_bNeedRefresh = %d\n", m_bNeedRefresh ? 1 : 0);
}

HRESULT CProvider::Refresh() {
  if (g_isRefreshing.load()) {
    DebugPrintf("CProvider::Refresh() : The provider is in refresh, return ok.\n");
    return S_OK;
  }
  MutexGuard guard(hNotificationMutex, "CProvider::Refresh");
  SetNeedRefresh(false);
  // The maps are rebuilt around the same objects, found again by name. Their references are
  // held for the length of the refresh, so that an object nobody else holds is still there to
  // be found; what the controllers no longer report goes afterwards unless a client holds it.
  for (VdsObjectMap* map : {&m_mapSubSystems, &m_mapPools}) {
    for (const auto& [id, entry] : *map) {
      if (entry.pObject != nullptr) HoldForRefresh(entry.pObject->Unknown());
    }
    map->clear();
  }
  m_mapObjects.clear();
  g_isRefreshing = true;
  WCHAR machineName[1] = {0};
  static_cast<IVdsProviderPrivate*>(this)->OnLoad(machineName, nullptr);
  g_isRefreshing = false;
  ReleaseRefreshHolds();
  return S_OK;
}

HRESULT CProvider::Reenumerate() {
  DebugPrintf("CProvider::Reenumerate()\n");
  MutexGuard guard(hNotificationMutex, "CProvider::Reenumerate");
  return static_cast<IVdsHwProvider*>(this)->Refresh();
}
