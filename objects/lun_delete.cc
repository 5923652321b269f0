// CLun::Delete: the partition, the vdisk that goes with its last partition, the dummy volume that
// is a whole vdisk, and the partitions of an offline vdisk that go together once all are asked
// for. What to send is decided in provisioning/delete; this file fetches, sends and waits for the
// departure to reach the tree.
#include <cstring>
#include <memory>

#include "diag/debug_log.h"
#include "objects/controller.h"
#include "objects/drive.h"
#include "objects/lun.h"
#include "objects/subsystem.h"
#include "platform/clock.h"
#include "platform/strings.h"
#include "provider/provider.h"
#include "provisioning/delete.h"
#include "provisioning/drive_select.h"
#include "provisioning/utility.h"
#include "proxy/tidegate.h"

namespace {

// How long Delete waits for a refresh or the event monitor to take the LUN away, and how often
// it looks.
constexpr DWORD kDepartureWaitMs = 90000;
constexpr DWORD kDepartureLookMs = 1000;

}  // namespace

HRESULT CLun::DeleteVdisk(DWORD handle) {
  Tidegate::abort_utility(handle, m_ArraySn);  // nothing may be running: the answer doesn't matter
  if (Tidegate::delete_array(handle, m_ArraySn) != 0) {
    DebugPrintf("OOP!!! CLun::Delete() delete_array return VDS_E_INTERNAL_ERROR, line %d\n",
                __LINE__);
    return VDS_E_INTERNAL_ERROR;
  }
  // The members read free at once; the rest waits for the refresh.
  for (const auto& [id, entry] : m_pSubSystem->Drives()) {
    auto* drive = static_cast<CDrive*>(entry.pObject);
    if (DriveInVdisk(drive->VdiskSn(), m_ArraySn)) drive->InitializeAfterDelete();
  }
  return S_OK;
}

HRESULT CLun::Delete() {
  DebugPrintf("CLun::Delete()\n");
  ProviderRef provider;
  GUID id{};
  {
    MutexGuard guard(hNotificationMutex, "CLun::Delete");
    if (!m_pProvider || m_pSubSystem == nullptr || m_pController == nullptr) {
      DebugPrintf("OOP!!! CLun::Delete() the LUN is no longer in the tree, line %d\n", __LINE__);
      return VDS_E_OBJECT_DELETED;
    }
    provider.Attach(m_pProvider.Get());
    id = m_prop.id;
  }
  InitializeCounter counter(provider.Get());
  auto data = std::make_unique<controllerData>();
  {
    MutexGuard guard(hNotificationMutex, "CLun::Delete");
    // A refresh may have taken the LUN out of the tree between the two locks.
    if (m_pSubSystem == nullptr || m_pController == nullptr) return VDS_E_OBJECT_DELETED;
    const DWORD handle = m_pController->Handle();
    if (Tidegate::get_controller_data(handle, data.get()) != 0) {
      DebugPrintf(
          "OOP!!! CLun::Delete() get_controller_data return VDS_E_INTERNAL_ERROR, line %d\n",
          __LINE__);
      return VDS_E_INTERNAL_ERROR;
    }
    DeleteTarget target;
    target.isDummyVolume = m_isDummyVolume;
    target.size = m_prop.ullSize;
    target.partitionSerial = m_PartitionSn;
    target.arraySerial = m_ArraySn;
    target.lunId = id;
    const DeletePlan plan = PlanDelete(target, *data, &m_pSubSystem->Marks());
    if (plan.hr == VDS_E_OPERATION_PENDING) {
      DebugPrintf(
          "OOP!!! CLun::Delete() bAllMarkDeleted == false return VDS_E_OPERATION_PENDING, line "
          "%d\n",
          __LINE__);
      return plan.hr;
    }
    if (FAILED(plan.hr)) {
      DebugPrintf("OOP!!! CLun::Delete() the vdisk or partition is gone, return 0x%x, line %d\n",
                  plan.hr, __LINE__);
      return plan.hr;
    }
    if (plan.deletePartition) {
      // A failed answer may still have been a done deed: the tree is read again in any case.
      const int rc = Tidegate::delete_part(handle, m_PartitionSn);
      provider->SetNeedRefresh(true);
      if (rc != 0) {
        DebugPrintf("OOP!!! CLun::Delete() delete_part return VDS_E_INTERNAL_ERROR, line %d\n",
                    __LINE__);
        return VDS_E_INTERNAL_ERROR;
      }
      // The automatic name's number may be used again.
      const std::string name = Utf16ToUtf8(m_prop.pwszFriendlyName);
      NewName(m_pSubSystem->Record(), false, kNameKindLun, name.c_str());
    }
    if (plan.deleteVdisk) {
      const HRESULT hr = DeleteVdisk(handle);
      provider->SetNeedRefresh(true);
      if (FAILED(hr)) return hr;
    }
    if (plan.wholeVdisk) {
      // A dummy volume leaves the tree at once; the map's reference goes with the provider's
      // held references, as the caller may still be using the object.
      if (m_pSubSystem->Luns().count(id) != 0) {
        m_pSubSystem->DeleteLun(id);
        provider->HoldSurplus(Unknown());
      }
      provider->RemoveObject(id);
      return S_OK;
    }
  }
  // No departure notification goes out from here: the event monitor or the next refresh brings
  // it, and takes the LUN out of the maps, which is what this waits for.
  const DWORD start = GetTickCount();
  while (GetTickCount() - start < kDepartureWaitMs) {
    Sleep(kDepartureLookMs);
    bool found = false;
    {
      MutexGuard guard(hNotificationMutex, "CLun::Delete");
      const VdsObjectMap objects = provider->Objects();
      found = objects.count(id) != 0;
    }
    DebugPrintf("CLun::Delete() foundGuid = %d\n", found ? 1 : 0);
    if (!found) return S_OK;
  }
  DebugPrintf("CLun::Delete() out\n");
  return S_OK;
}
