// CSubSystem::CreateLun and CreateLun2: the door of all provisioning. The checks and the choice
// of type and level are provisioning/create's; this file takes the locks, fetches the
// controllers for the LUN limit, makes the CLun and hands it the rest.
#include <algorithm>
#include <cstring>
#include <memory>

#include "diag/debug_log.h"
#include "objects/async.h"
#include "objects/controller.h"
#include "objects/drive.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "provider/list_order.h"
#include "provider/provider.h"
#include "provisioning/create.h"
#include "provisioning/utility.h"
#include "proxy/tidegate.h"

namespace {

std::vector<std::pair<GUID, VDS_OBJECT>> InListOrder(const VdsObjectMap& map) {
  std::vector<std::pair<GUID, VDS_OBJECT>> entries(map.begin(), map.end());
  SortByListOrder(&entries);
  return entries;
}

}  // namespace

std::vector<DriveCandidate> CSubSystem::DriveCandidates() const {
  std::vector<DriveCandidate> drives;
  for (const auto& [id, entry] : InListOrder(m_mapDrives)) {
    const auto* drive = static_cast<const CDrive*>(entry.pObject);
    DriveCandidate candidate;
    candidate.id = drive->Prop().id;
    candidate.size = drive->Prop().ullSize;
    candidate.flags = drive->Prop().ulFlags;
    candidate.health = drive->Prop().health;
    candidate.isFree = drive->IsFreeDrive();
    candidate.howUsed = drive->HowUsed();
    candidate.driveType = drive->DriveType();
    std::memcpy(candidate.serial.data(), drive->DriveSn(), candidate.serial.size());
    candidate.channel = drive->Channel();
    candidate.scsiId = drive->ScsiId();
    drives.push_back(candidate);
  }
  return drives;
}

std::vector<CController*> CSubSystem::ControllersInOrder() const {
  std::vector<CController*> controllers;
  for (const auto& [id, entry] : InListOrder(m_mapControllers)) {
    controllers.push_back(static_cast<CController*>(entry.pObject));
  }
  return controllers;
}

HRESULT CSubSystem::CreateLun(VDS_LUN_TYPE type, ULONGLONG ullSizeInBytes,
                              VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                              LPWSTR pwszUnmaskingList, VDS_HINTS* pHints, IVdsAsync** ppAsync) {
  DebugPrintf("CSubSystem::CreateLun()\n");
  MutexGuard guard(hNotificationMutex, "CSubSystem::CreateLun");
  InitializeCounter counter(m_pProvider.Get());
  return CreateLunLocked(type, ullSizeInBytes, pDriveIdArray, lNumberOfDrives, pwszUnmaskingList,
                         pHints, ppAsync);
}

HRESULT CSubSystem::CreateLunLocked(VDS_LUN_TYPE type, ULONGLONG ullSizeInBytes,
                                    VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                                    LPWSTR pwszUnmaskingList, VDS_HINTS* pHints,
                                    IVdsAsync** ppAsync) {
  if (pwszUnmaskingList == nullptr || pHints == nullptr || ppAsync == nullptr) {
    DebugPrintf(
        "OOP!!! CSubSystem::CreateLun pwszUnmaskingList/pHints/ppAsync == NULL return E_POINTER, "
        "line %d\n",
        __LINE__);
    return E_POINTER;
  }
  if (!m_pProvider) return E_UNEXPECTED;
  DebugPrintf("CSubSystem::CreateLun print input parameter:\n");
  DebugPrintf(
      "CSubSystem::CreateLun type=%d, ullSize=0x%I64x, lNumberOfDrives=%d, pwszUnmaskingList=%ls\n",
      type, ullSizeInBytes, lNumberOfDrives, pwszUnmaskingList);
  for (LONG i = 0; pDriveIdArray != nullptr && i < lNumberOfDrives && i < 256; ++i) {
    DebugPrintf("CSubSystem::CreateLun pDriveIdArray[%d] %s\n", i,
                GuidLogText(pDriveIdArray[i]).c_str());
  }
  LogHints(*pHints);
  m_hints = *pHints;

  CreateRequest request;
  request.type = type;
  request.size = ullSizeInBytes;
  request.drives = pDriveIdArray;
  request.numDrives = lNumberOfDrives;
  request.hints = *pHints;
  HRESULT hr = CheckSpecialSize(request);
  if (FAILED(hr)) return hr;
  DebugPrintf("CSubSystem::CreateLun pHints->bMostlyReads = %d , pHints->ullHintMask = 0x%I64x \n",
              pHints->bMostlyReads, pHints->ullHintMask);

  ULONG lunLimit = kDefaultLunLimit;
  auto data = std::make_unique<controllerData>();
  for (DWORD handle : {m_hCtrlA, m_hCtrlB}) {
    if (handle == 0) continue;
    if (Tidegate::get_controller_data(handle, data.get()) != 0) {
      DebugPrintf("OOP!! CSubSystem::CreateLun(Line %d), VDS_E_INTERNAL_ERROR\n", __LINE__);
      return VDS_E_INTERNAL_ERROR;
    }
    if (LunLimitFrom(*data, &lunLimit)) break;
  }
  data.reset();
  DebugPrintf("CSubSystem::CreateLun maxLuns = %d!\n", lunLimit);

  const std::vector<DriveCandidate> drives = DriveCandidates();
  const CreateDecision decision = CheckCreateRequest(request, m_mapLuns.size(), lunLimit, drives);
  if (FAILED(decision.hr)) return decision.hr;

  GUID lunId{};
  CoCreateGuid(&lunId);
  ComPtr<CLun> lun(new (std::nothrow) CLun());
  if (!lun) {
    DebugPrintf("OOP!!! CSubSystem::CreateLun pLun==NULL return E_OUTOFMEMORY, line %d\n",
                __LINE__);
    return E_OUTOFMEMORY;
  }
  hr = CheckNamedDrives(drives, pDriveIdArray, lNumberOfDrives);
  if (FAILED(hr)) return hr;
  lun->SetSpecialRaidType(decision.level);
  // From here on commands may change the array: the tree is stale whatever the outcome.
  m_pProvider->SetNeedRefresh(true);
  hr = lun->CreateAndInitialize(&lunId, m_pProvider.Get(), this, decision.type, ullSizeInBytes,
                                pDriveIdArray, lNumberOfDrives, pHints->ulStripeSize, pHints);
  DebugPrintf("create lun hResult = %X\n", hr);
  if (FAILED(hr)) {
    DebugPrintf("OOP!!! CSubSystem::CreateLun CreateAndInitialize's hResult == %08x, line %d\n", hr,
                __LINE__);
    return hr;
  }
  lun->AddRef();
  m_mapLuns.emplace(lunId, VDS_OBJECT{VDS_OT_LUN, lun.Get()});
  if (pwszUnmaskingList[0] != 0) {
    hr = lun->SetMask(pwszUnmaskingList);
    if (FAILED(hr)) {
      DebugPrintf("OOP!!! CSubSystem::CreateLun hResult == %08x, line %d\n", hr, __LINE__);
      return hr;
    }
  }
  ComPtr<CVdsAsyncObject> async(new (std::nothrow) CVdsAsyncObject());
  if (!async) {
    DebugPrintf("OOP!!! CSubSystem::pAsync == NULL return E_OUTOFMEMORY, line %d\n", __LINE__);
    return E_OUTOFMEMORY;
  }
  CAsync::Initialize(async.Get(), this, lun->Controller(), VDS_ASYNCOUT_CREATELUN);
  async->SetResult(lun->GetUnknown());
  *ppAsync = async.Detach();
  DebugPrintf("CSubSystem::CreateLun() return 0x%X\n", S_OK);
  return S_OK;
}

HRESULT CSubSystem::CreateLun2(VDS_LUN_TYPE type, ULONGLONG ullSizeInBytes,
                               VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                               LPWSTR pwszUnmaskingList, VDS_HINTS2* pHints2, IVdsAsync** ppAsync) {
  DebugPrintf("%s()\n", "CSubSystem::CreateLun2");
  MutexGuard guard(hNotificationMutex, "CSubSystem::CreateLun2");
  VDS_HINTS hints{};
  if (pHints2 != nullptr) hints = HintsFromHints2(*pHints2);
  const HRESULT hr = CreateLun(type, ullSizeInBytes, pDriveIdArray, lNumberOfDrives,
                               pwszUnmaskingList, pHints2 != nullptr ? &hints : nullptr, ppAsync);
  if (hr != S_OK) DebugPrintf("CreateLun failed with status 0x%x\n", hr);
  DebugPrintf("%s() out\n", "CSubSystem::CreateLun2");
  return hr;
}
