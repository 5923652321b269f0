// CLun::QueryMaxLunExtendSize and the room for another LUN in a LUN's vdisk. The arithmetic is
// provisioning/sizes'; this file takes the lock, chooses the drives and reads the controller.
#include <string>

#include "diag/debug_log.h"
#include "objects/controller.h"
#include "objects/data_cache.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "provider/provider.h"
#include "provisioning/drive_select.h"
#include "provisioning/sizes.h"
#include "provisioning/utility.h"

namespace {

void LogDriveIds(const char* method, const VDS_OBJECT_ID* ids, LONG count) {
  for (LONG i = 0; ids != nullptr && i < count; ++i) {
    DebugPrintf("%s pDriveIdArray[%d] %s\n", method, i, GuidLogText(ids[i]).c_str());
  }
}

void LogLists(const char* method, const DriveLists& lists) {
  for (size_t i = 0; i < lists.size(); ++i) {
    DebugPrintf("%s vSn[%d] = %.32s, channelIndex = %d, driveIndex = %d\n", method,
                static_cast<int>(i), reinterpret_cast<const char*>(lists.vSn[i].data()),
                lists.vLoca[i].channelIndex, lists.vLoca[i].driveIndex);
  }
}

}  // namespace

LunFacts CLun::Facts() const {
  LunFacts facts;
  facts.type = m_prop.type;
  facts.raidLevel = m_RaidLevel;
  facts.numDrives = m_numDrives > 0 ? static_cast<ULONG>(m_numDrives) : 0;
  facts.perGroup = m_numDrivesPerLowLevelArray;
  facts.minDriveSize = m_minDriveSize;
  facts.driveType = m_driveType;
  facts.size = m_prop.ullSize;
  facts.isDummy = m_isDummyVolume;
  facts.partType = m_partType;
  return facts;
}

HRESULT CLun::QueryMaxLunSizeCanBeCreate(const VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                                         ULONGLONG* pullMaxBytes,
                                         const std::vector<DriveCandidate>& drives,
                                         ControllerDataCache* cache) {
  DebugPrintf("CLun::QueryMaxLunSizeCanBeCreate() %d\n", lNumberOfDrives);
  LogDriveIds("CLun::QueryMaxLunSizeCanBeCreate", pDriveIdArray, lNumberOfDrives);
  if (pullMaxBytes == nullptr || (lNumberOfDrives != 0 && pDriveIdArray == nullptr) ||
      lNumberOfDrives < 0 || m_pController == nullptr) {
    return E_INVALIDARG;
  }
  *pullMaxBytes = 0;
  const DWORD handle = m_pController->Handle();
  if (lNumberOfDrives != 0) {
    const auto count = static_cast<ULONG>(lNumberOfDrives);
    if (!HasSameDriveType(drives, m_driveType, pDriveIdArray, count)) {
      DebugPrintf(
          "OOP!! CLun::QueryMaxLunSizeCanBeCreate line %d : the input drives has not same "
          "type(Mixed drives). return VDS_E_NOT_SUPPORTED\n",
          __LINE__);
      return VDS_E_NOT_SUPPORTED;
    }
    DriveLists lists;
    ULONGLONG all = 0;
    DriveGuids2VelaSn(drives, pDriveIdArray, count, m_minDriveSize, &lists, &all);
    LogLists("CLun::QueryMaxLunSizeCanBeCreate", lists);
    const controllerData* data = cache->Fetch(handle);
    if (data == nullptr || !HasSameMemberDrives(*data, m_ArraySn, lists.vSn)) {
      return VDS_E_NOT_SUPPORTED;
    }
  }
  const controllerData* data = cache->Fetch(handle);
  if (data == nullptr) {
    DebugPrintf(
        "OOP!!! CLun::QueryMaxLunSizeCanBeCreate() get_controller_data return "
        "VDS_E_INTERNAL_ERROR, line %d\n",
        __LINE__);
    return VDS_E_INTERNAL_ERROR;
  }
  const array* vdisk = FindVdiskBySerial(*data, m_ArraySn);
  DebugPrintf(
      "CLun::QueryMaxLunSizeCanBeCreate() : before ROUND_DOWN_TO_MB_BOUNDARY, need %d drives, "
      "Max bytes to be added = 0x%I64x\n",
      lNumberOfDrives, vdisk != nullptr ? vdisk->expandableBlocks << 9 : 0);
  *pullMaxBytes = MaxPartitionInVdisk(*data, m_ArraySn);
  DebugPrintf(
      "CLun::QueryMaxLunSizeCanBeCreate() : after ROUND_DOWN_TO_MB_BOUNDARY, need %d drives, Max "
      "bytes to be added = 0x%I64x\n",
      lNumberOfDrives, *pullMaxBytes);
  DebugPrintf("CLun::QueryMaxLunSizeCanBeCreate() out\n");
  return S_OK;
}

HRESULT CLun::QueryMaxLunExtendSize(VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                                    ULONGLONG* pullMaxBytesToBeAdded) {
  DebugPrintf("CLun::QueryMaxLunExtendSize() %d\n", lNumberOfDrives);
  MutexGuard guard(hNotificationMutex, "CLun::QueryMaxLunExtendSize");
  LogDriveIds("CLun::QueryMaxLunExtendSize", pDriveIdArray, lNumberOfDrives);
  Refreshable refresh(m_pProvider.Get());
  // A negative count would have the drive walk read past the caller's array.
  if (pullMaxBytesToBeAdded == nullptr || (lNumberOfDrives != 0 && pDriveIdArray == nullptr) ||
      lNumberOfDrives < 0) {
    return E_INVALIDARG;
  }
  *pullMaxBytesToBeAdded = 0;
  if (m_pSubSystem == nullptr || m_pController == nullptr) return VDS_E_OBJECT_DELETED;
  const LunFacts facts = Facts();
  const std::vector<DriveCandidate> drives = m_pSubSystem->DriveCandidates();
  ControllerDataCache cache;
  const DWORD handle = m_pController->Handle();
  DriveLists lists;
  ULONGLONG all = 0;
  ULONG n = 0;
  if (lNumberOfDrives != 0) {
    const auto count = static_cast<ULONG>(lNumberOfDrives);
    if (!HasSameDriveType(drives, m_driveType, pDriveIdArray, count)) {
      DebugPrintf(
          "OOP!! CLun::QueryMaxLunExtendSize line %d : the input drives has not same type(Mixed "
          "drives). return VDS_E_NOT_SUPPORTED\n",
          __LINE__);
      return VDS_E_NOT_SUPPORTED;
    }
    DriveGuids2VelaSn(drives, pDriveIdArray, count, m_minDriveSize, &lists, &all);
    DebugPrintf(
        "CLun::QueryMaxLunExtendSize() find %d is free, m_minDriveSize=0x%I64x, "
        "ullSizeAllDrives=0x%I64x\n",
        static_cast<int>(lists.size()), m_minDriveSize, all);
    n = count;
    const controllerData* data = cache.Fetch(handle);
    if (data != nullptr && HasSameMemberDrives(*data, m_ArraySn, lists.vSn)) {
      DebugPrintf(
          "CLun::QueryMaxLunExtendSize() HasSameMemberDrives=true, so set the "
          "ullSizeAllDrives=0\n");
      all = 0;
    }
  } else if (ExtendSizeSeeksDrives(m_prop.type)) {
    const ULONG found = SeekNewDrives(drives, m_prop.type, m_driveType, m_minDriveSize, m_RaidLevel,
                                      0, &lists, &all);
    const ULONGLONG single = found != 0 ? all / found : 0;
    DebugPrintf("CLun::QueryMaxLunExtendSize() SingleDriveSize=0x%I64x\n", single);
    n = DrivesForOneExtension(facts, found);
    all = n * single;
    if (!(found < 5 && n == found)) lists.Truncate(n);
    DebugPrintf("CLun::QueryMaxLunExtendSize() After recalc: \n");
    LogLists("CLun::QueryMaxLunExtendSize", lists);
  }
  const controllerData* data = cache.Fetch(handle);
  if (data == nullptr) {
    DebugPrintf(
        "OOP!!! CLun::SetStatus() get_controller_data return VDS_E_INTERNAL_ERROR, line %d\n",
        __LINE__);
    return VDS_E_INTERNAL_ERROR;
  }
  const bool contains = n < facts.numDrives && IsVdiskContainDrives(*data, m_ArraySn, lists.vSn);
  *pullMaxBytesToBeAdded =
      MaxExtendBytes(facts, n, all, FindVdiskBySerial(*data, m_ArraySn), contains);
  return S_OK;
}
