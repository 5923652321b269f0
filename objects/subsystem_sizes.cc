// CSubSystem::QueryMaxLunCreateSize and its VDS_HINTS2 form: the larger of a new vdisk and a
// partition in an existing one. The arithmetic is provisioning/sizes'; this file takes the lock,
// chooses the drives and asks the LUNs about their vdisks.
#include <algorithm>

#include "diag/debug_log.h"
#include "objects/data_cache.h"
#include "objects/drive.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "provider/provider.h"
#include "provisioning/create.h"
#include "provisioning/drive_select.h"
#include "provisioning/sizes.h"
#include "provisioning/utility.h"

ULONGLONG CSubSystem::QueryMaxLunInExistingVdisks(VDS_LUN_TYPE type,
                                                  const VDS_OBJECT_ID* pDriveIdArray,
                                                  LONG lNumberOfDrives,
                                                  const std::vector<DriveCandidate>& drives,
                                                  ControllerDataCache* cache) {
  const uint8_t* vdiskOfFirst = nullptr;
  if (lNumberOfDrives > 0) {
    const auto found = m_mapDrives.find(pDriveIdArray[0]);
    if (found == m_mapDrives.end()) return 0;
    vdiskOfFirst = static_cast<const CDrive*>(found->second.pObject)->VdiskSn();
  }
  ULONGLONG best = 0;
  for (const auto& [id, entry] : m_mapLuns) {
    auto* lun = static_cast<CLun*>(entry.pObject);
    if (lun->Prop().type != type) continue;
    if (vdiskOfFirst != nullptr && !DriveInVdisk(vdiskOfFirst, lun->ArraySn())) continue;
    ULONGLONG size = 0;
    if (lun->QueryMaxLunSizeCanBeCreate(pDriveIdArray, lNumberOfDrives, &size, drives, cache) ==
        S_OK) {
      best = std::max(best, size);
    }
  }
  return ROUND_DOWN_TO_MB_BOUNDARY(best);
}

HRESULT CSubSystem::QueryMaxLunCreateSize(VDS_LUN_TYPE type, VDS_OBJECT_ID* pDriveIdArray,
                                          LONG lNumberOfDrives, VDS_HINTS* pHints,
                                          ULONGLONG* pullMaxLunSize) {
  // The spare count comes from the mask before any test; a missing hints record reads as none.
  const ULONGLONG mask = pHints != nullptr ? pHints->ullHintMask : 0;
  const ULONG numSpares = (mask & kHintMaskHotSpare) != 0 ? 1 : 0;
  DebugPrintf("CSubSystem::QueryMaxLunCreateSize(type=%d, numberofdrives=%d, hints=%llx) ENTER\n",
              type, lNumberOfDrives, mask);
  MutexGuard guard(hNotificationMutex, "CSubSystem::QueryMaxLunCreateSize");
  for (LONG i = 0; pDriveIdArray != nullptr && i < lNumberOfDrives && i < 256; ++i) {
    DebugPrintf("CSubSystem::QueryMaxLunCreateSize pDriveIdArray[%d] %s\n", i,
                GuidLogText(pDriveIdArray[i]).c_str());
  }
  Refreshable refresh(m_pProvider.Get());
  if (!MaxCreateTypeKnown(type)) {
    DebugPrintf(
        "OOP!!! CSubSystem::QueryMaxLunCreateSize type(%u) is wrong, return E_INVALIDARG, line "
        "%d\n",
        type, __LINE__);
    return E_INVALIDARG;
  }
  if (pullMaxLunSize == nullptr || pHints == nullptr) {
    DebugPrintf(
        "OOP!!! CSubSystem::QueryMaxLunCreateSize pullMaxLunSize/pHints == 0, return "
        "E_INVALIDARG, line %d\n",
        __LINE__);
    return E_INVALIDARG;
  }
  if (lNumberOfDrives != 0 && pDriveIdArray == nullptr) {
    DebugPrintf(
        "OOP!!! CSubSystem::QueryMaxLunCreateSize lNumberOfDrives != 0 && NULL == pDriveIdArray, "
        "return E_INVALIDARG, line %d\n",
        __LINE__);
    return E_INVALIDARG;
  }
  LogHints(*pHints);
  *pullMaxLunSize = 0;
  if (type == VDS_LT_SPAN) {
    DebugPrintf(
        "OOP!!! CSubSystem::QueryMaxLunCreateSize type is wrong, we don't support VDS_LT_SPAN, "
        "return E_INVALIDARG, line %d\n",
        __LINE__);
    return E_INVALIDARG;
  }
  const UCHAR level = SelectRaidLevel(*pHints, type);
  const std::vector<DriveCandidate> drives = DriveCandidates();
  ControllerDataCache cache;
  DriveLists lists;
  ULONGLONG total = 0;
  ULONG count = 0;
  if (lNumberOfDrives != 0) {
    const HRESULT hr = CheckMaxCreateDrives(level, lNumberOfDrives, drives, pDriveIdArray);
    if (FAILED(hr)) return hr;
    count = static_cast<ULONG>(lNumberOfDrives);
    if (!DriveGuids2VelaSn(drives, pDriveIdArray, count, 0, &lists, &total)) {
      // Drives in use may be the members of a vdisk that takes another LUN.
      *pullMaxLunSize =
          QueryMaxLunInExistingVdisks(type, pDriveIdArray, lNumberOfDrives, drives, &cache);
      if (*pullMaxLunSize != 0) return S_OK;
      DebugPrintf("OOP!!! CSubSystem::QueryMaxLunCreateSize  return VDS_E_DEVICE_IN_USE, line %d\n",
                  __LINE__);
      return VDS_E_DEVICE_IN_USE;
    }
  } else {
    count =
        SeekNewDrivesForCreate(drives, m_allowedDriveType, level, type, numSpares, &lists, &total);
  }
  if (count == 0) {
    *pullMaxLunSize = QueryMaxLunInExistingVdisks(type, nullptr, 0, drives, &cache);
    DebugPrintf("CSubSystem::QueryMaxLunCreateSize() lNumberOfDrives == 0, reutrn OK, out\n");
    return S_OK;
  }
  ULONGLONG allSizeDrives = 0;
  if (!MaxNewVdiskSize(type, level, count, total, m_SupportRaid6, &allSizeDrives)) return S_OK;
  const ULONGLONG inExisting = QueryMaxLunInExistingVdisks(type, nullptr, 0, drives, &cache);
  *pullMaxLunSize = std::max(allSizeDrives, inExisting);
  DebugPrintf(
      "CVdsSubSystem::QueryMaxLunCreateSize() Lun type = %d,  pullMaxLunSize=0x%I64x[B] "
      "maxLunSizeExitArray=0x%I64x[B] ullAllSizeDrives=0x%I64x[B] 0x%I64x[MB]\n",
      type, *pullMaxLunSize, inExisting, allSizeDrives, allSizeDrives >> 20);
  DebugPrintf("CVdsSubSystem::QueryMaxLunCreateSize() out\n");
  return S_OK;
}

HRESULT CSubSystem::QueryMaxLunCreateSize2(VDS_LUN_TYPE type, VDS_OBJECT_ID* pDriveIdArray,
                                           LONG lNumberOfDrives, VDS_HINTS2* pHints2,
                                           ULONGLONG* pullMaxLunSize) {
  DebugPrintf("%s()\n", "CSubSystem::QueryMaxLunCreateSize2");
  MutexGuard guard(hNotificationMutex, "CSubSystem::QueryMaxLunCreateSize2");
  VDS_HINTS hints{};
  if (pHints2 != nullptr) hints = HintsFromHints2(*pHints2);
  const HRESULT hr = QueryMaxLunCreateSize(type, pDriveIdArray, lNumberOfDrives,
                                           pHints2 != nullptr ? &hints : nullptr, pullMaxLunSize);
  if (hr != S_OK) DebugPrintf("QueryMaxLunCreateSize failed with status 0x%x\n", hr);
  DebugPrintf("%s() out\n", "CSubSystem::QueryMaxLunCreateSize2");
  return hr;
}
