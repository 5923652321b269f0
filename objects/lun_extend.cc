// CLun::Extend and CLun::Shrink. Extend grows the partition at once when its vdisk has the room;
// otherwise it adds free drives with expand_array and leaves the growth of the partition to the
// async object's Wait, which runs once the controller's expansion job has ended. The decisions
// are provisioning/extend's; this file takes the lock, fetches, sends and updates the tree.
#include <libintl.h>

#include <memory>
#include <new>

#include "diag/debug_log.h"
#include "diag/event_log.h"
#include "objects/async.h"
#include "objects/controller.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "platform/clock.h"
#include "provider/provider.h"
#include "provisioning/extend.h"
#include "provisioning/sizes.h"
#include "provisioning/utility.h"
#include "proxy/tidegate.h"

namespace {

// The controller needs a moment after expand_array before its records show the new members.
constexpr DWORD kExpandSettleMs = 10000;

}  // namespace

HRESULT CLun::Extend(ULONGLONG ullNumberOfBytesToAdd, VDS_OBJECT_ID* pDriveIdArray,
                     LONG lNumberOfDrives, IVdsAsync** ppAsync) {
  DebugPrintf(
      "CLun::Extend() input parameter: lNumberOfDrives=%d,  ullNumberOfBytesToAdd=0x%I64x\n",
      lNumberOfDrives, ullNumberOfBytesToAdd);
  MutexGuard guard(hNotificationMutex, "CLun::Extend");
  HRESULT hr = CheckExtendable(Facts());
  if (FAILED(hr)) return hr;
  ULONGLONG bytes = ullNumberOfBytesToAdd;
  if (bytes != 0) {
    bytes = ExtendBytesRounded(bytes);
    DebugPrintf(
        "CLun::Extend() after ROUND_UP_TO_MB_BOUNDARY lNumberOfDrives=%d, "
        "ullNumberOfBytesToAdd=0x%I64x\n",
        lNumberOfDrives, bytes);
  }
  for (LONG i = 0; pDriveIdArray != nullptr && i < lNumberOfDrives && i < 256; ++i) {
    DebugPrintf("CLun::Extend pDriveIdArray[%d] %s\n", i, GuidLogText(pDriveIdArray[i]).c_str());
  }
  InitializeCounter counter(m_pProvider.Get());
  if (!CanOperate()) {
    DumpMySelf();
    DebugPrintf(
        "OOP!!! CLun::Extend() CanOperate return false  return VDS_E_OBJECT_STATUS_FAILED, line "
        "%d\n",
        __LINE__);
    return VDS_E_OBJECT_STATUS_FAILED;
  }
  if (ppAsync == nullptr) return E_POINTER;
  *ppAsync = nullptr;
  if (lNumberOfDrives > 0 && pDriveIdArray == nullptr) {
    DebugPrintf(
        "OOP!!! CLun::Extend() lNumberOfDrives>0 && pDriveIdArray == NULL return E_POINTER, line "
        "%d\n",
        __LINE__);
    return E_POINTER;
  }
  if (m_pController == nullptr || m_pSubSystem == nullptr) return VDS_E_OBJECT_DELETED;
  const DWORD handle = m_pController->Handle();

  auto data = std::make_unique<controllerData>();
  if (Tidegate::get_controller_data(handle, data.get()) != 0) {
    DebugPrintf("OOP!!! CLun::Extend() get_controller_data return VDS_E_INTERNAL_ERROR, line %d\n",
                __LINE__);
    return VDS_E_INTERNAL_ERROR;
  }
  const array* vdisk = FindVdiskBySerial(*data, m_ArraySn);
  const bool anyExpanding = AnyVdiskExpanding(*data);
  if (vdisk == nullptr) {
    DebugPrintf("OOP!!! CLun::Extend() pArrayData == NULL return VDS_E_OBJECT_DELETED, line %d\n",
                __LINE__);
    return VDS_E_OBJECT_DELETED;
  }
  const LunFacts facts = Facts();
  const ExtendVdiskCheck check = CheckExtendVdisk(facts, bytes, lNumberOfDrives, *vdisk);
  if (FAILED(check.hr)) return check.hr;

  ULONG driveCount2Add = 0;
  if (!check.freeRoomSuffices) {
    if (check.abortUtility) {
      m_pProvider->SetNeedRefresh(true);
      Tidegate::abort_utility(handle, m_ArraySn);
    }
    // One expansion per controller at a time.
    if (anyExpanding) {
      DebugPrintf("OOP!!! CLun::Extend() return VDS_E_ANOTHER_CALL_IN_PROGRESS, line %d\n",
                  __LINE__);
      return VDS_E_ANOTHER_CALL_IN_PROGRESS;
    }
    const ExtendDrivePlan plan =
        PlanExtendDrives(facts, bytes, pDriveIdArray, lNumberOfDrives, vdisk->expandableBlocks << 9,
                         vdisk->numDrives, m_pSubSystem->DriveCandidates());
    if (FAILED(plan.hr)) return plan.hr;
    bytes = plan.bytes;
    driveCount2Add = plan.driveCount2Add;
    m_pProvider->SetNeedRefresh(true);
    if (Tidegate::expand_array(handle, m_ArraySn, plan.lists.vLoca) != 0) {
      DebugPrintf("OOP!! CLun::Extend() expand_array return error!\n");
      return VDS_E_INTERNAL_ERROR;
    }
    Sleep(kExpandSettleMs);
    if (Tidegate::get_controller_data(handle, data.get()) != 0) {
      DebugPrintf(
          "OOP!!! CLun::Extend() get_controller_data return VDS_E_INTERNAL_ERROR, line %d\n",
          __LINE__);
      return VDS_E_INTERNAL_ERROR;
    }
    MarkMemberDrives(*data);
    if (Tidegate::get_controller_data(handle, data.get()) != 0) {
      DebugPrintf(
          "OOP!!! CLun::Extend() get_controller_data return VDS_E_INTERNAL_ERROR, line %d\n",
          __LINE__);
      return VDS_E_INTERNAL_ERROR;
    }
    // Every LUN of the vdisk has its new member count.
    for (const auto& [id, entry] : m_pSubSystem->Luns()) {
      auto* lun = static_cast<CLun*>(entry.pObject);
      if (const array* itsVdisk = FindVdiskBySerial(*data, lun->ArraySn())) {
        lun->SetNumDrives(static_cast<int32_t>(itsVdisk->numDrives));
      }
    }
    vdisk = FindVdiskBySerial(*data, m_ArraySn);
    if (vdisk == nullptr) {
      DebugPrintf("OOP!!! CLun::Extend() pArrayData == NULL return VDS_E_OBJECT_DELETED, line %d\n",
                  __LINE__);
      return VDS_E_OBJECT_DELETED;
    }
  }

  const bool needExpandSizeAfterAddDisk = lNumberOfDrives > 0 || driveCount2Add > 0;
  if (!needExpandSizeAfterAddDisk && vdisk->numFreeArrayPartitionSegments == 0) {
    DebugPrintf(
        "OOP!!! CLun::Extend() needExpandSizeAfterAddDisk == false && "
        "pArrayData->numFreeArrayPartitionSegments == 0 return VDS_E_NOT_SUPPORTED, line %d\n",
        __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  ComPtr<CVdsAsyncObject> async(new (std::nothrow) CVdsAsyncObject());
  if (!async) return E_OUTOFMEMORY;
  CAsync::Initialize(async.Get(), m_pSubSystem, m_pController, VDS_ASYNCOUT_EXTENDLUN);
  async->SetResult(GetUnknown());
  if (lNumberOfDrives != 0 && bytes == 0) {
    bytes = ROUND_DOWN_TO_MB_BOUNDARY(vdisk->expandableBlocks << 9);
  }
  expandPart request = MakeExpandRequest(bytes, m_prop.ullSize, m_PartitionSn);
  DebugPrintf("CLun::Extend(), before we expande size requestToAddSize = 0x%I64x\n",
              request.blockCount << 9);
  if (needExpandSizeAfterAddDisk) {
    async->SetExpansion(this, request);
  } else {
    m_pProvider->SetNeedRefresh(true);
    if (!ExpandPartRounds("CLun::Extend() ", handle, m_ArraySn, &request)) {
      return VDS_E_INTERNAL_ERROR;
    }
    async->SetWaitForUtility(false);
    m_prop.ullSize = request.blockCount << 9;
  }
  LogInfoEvent(gettext(kTextExpansionStarted));
  DebugPrintf("CLun::Extend() out\n");
  *ppAsync = async.Detach();
  return S_OK;
}

HRESULT CLun::Shrink(ULONGLONG ullNumberOfBytesToRemove, IVdsAsync** ppAsync) {
  if (ppAsync == nullptr) return E_POINTER;
  ULONGLONG size = 0;
  {
    MutexGuard guard(hNotificationMutex, "CLun::Shrink");
    size = m_prop.ullSize;
  }
  if (ullNumberOfBytesToRemove == 0 || ullNumberOfBytesToRemove >= size) {
    DebugPrintf(
        "OOP!!! CLun::Shrink() uNumberOfBytesToRemove == 0 || uNumberOfBytesToRemove >= "
        "m_prop.ullSize return E_INVALIDARG, line %d\n",
        __LINE__);
    return E_INVALIDARG;
  }
  // A LUN never shrinks.
  return VDS_E_NOT_SUPPORTED;
}
