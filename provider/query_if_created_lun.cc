// CProvider::QueryIfCreatedLun: VDS asks whether a disk it found is one of this provider's LUNs,
// and which. The disk's NAA identifier is matched with the LUNs' partition serials.
#include "diag/debug_log.h"
#include "identify/lun_information.h"
#include "objects/lun.h"
#include "objects/subsystem.h"
#include "provider/provider.h"

namespace {

constexpr DWORD kDumpLevel = 4;  // the whole record only at the highest levels

const char* Shown(const char* text) { return text == nullptr ? "(null)" : text; }

}  // namespace

HRESULT CProvider::QueryIfCreatedLun(LPWSTR pwszDevicePath, VDS_LUN_INFORMATION* pVdsLunInformation,
                                     VDS_OBJECT_ID* pLunId) {
  if (pwszDevicePath == nullptr || pVdsLunInformation == nullptr || pLunId == nullptr) {
    DebugPrintf("OOP!! CProvider::QueryIfCreatedLun() NULL argument, return E_POINTER\n");
    return E_POINTER;
  }
  // The graph lock first: the walk below reads the object tree.
  MutexGuard graph(hNotificationMutex, "CProvider::QueryIfCreatedLun");
  MutexGuard refresh(hRefreshMutex, "CProvider::QueryIfCreatedLun");
  DebugPrintf("CProvider::QueryIfCreatedLun() pwszDevicePath=%ls\n", pwszDevicePath);
  const VDS_LUN_INFORMATION& info = *pVdsLunInformation;
  if (GetDebugLevel() > kDumpLevel) {
    DebugPrintf("=============== print VDS_LUN_INFORMATION begin ===============\n");
    DumpLunInformation(info);
    DebugPrintf("=============== print VDS_LUN_INFORMATION end ===============\n");
  }
  DebugPrintf("m_szVendorId %s, m_szProductId %s, m_szProductRevision %s, m_szSerialNumber %s\n",
              Shown(info.m_szVendorId), Shown(info.m_szProductId), Shown(info.m_szProductRevision),
              Shown(info.m_szSerialNumber));
  const BYTE* naa = nullptr;
  if (FindCreatedLunKey(pwszDevicePath, info, &naa) != S_OK) return S_FALSE;
  for (const auto& [subsystemId, subsystemEntry] : m_mapSubSystems) {
    auto* subSystem = static_cast<CSubSystem*>(subsystemEntry.pObject);
    if (subSystem == nullptr) continue;
    for (const auto& [lunId, lunEntry] : subSystem->Luns()) {
      auto* lun = static_cast<CLun*>(lunEntry.pObject);
      if (lun == nullptr || !NaaMatchesPartitionSn(naa, lun->PartitionSn())) continue;
      *pLunId = lun->Prop().id;
      DebugPrintf("QueryIfCreatedLun return ok\n");
      return S_OK;
    }
  }
  DebugPrintf("QueryIfCreatedLun return false\n");
  return S_FALSE;
}
