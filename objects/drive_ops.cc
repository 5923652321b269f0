// The drive's interface methods: properties, extents, hot spares and the locate light.
#include <utility>
#include <vector>

#include "diag/debug_log.h"
#include "objects/controller.h"
#include "objects/drive.h"
#include "objects/drive_rules.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "platform/clock.h"
#include "provider/list_order.h"
#include "provider/provider.h"
#include "proxy/tidegate.h"

namespace {

// Copies both strings of a drive's properties for a caller; false (nothing left allocated) when
// memory runs out.
template <class Prop>
bool CopyDriveStrings(const VDS_DRIVE_PROP& from, Prop* to) {
  to->pwszFriendlyName = nullptr;
  to->pwszIdentification = nullptr;
  if (from.pwszFriendlyName != nullptr) {
    to->pwszFriendlyName = CopyPropString(from.pwszFriendlyName, 512, 254);
    if (to->pwszFriendlyName == nullptr) return false;
  }
  if (from.pwszIdentification != nullptr) {
    to->pwszIdentification = CopyPropString(from.pwszIdentification, 512, 254);
    if (to->pwszIdentification == nullptr) {
      FreePropString(&to->pwszFriendlyName);
      return false;
    }
  }
  return true;
}

}  // namespace

HRESULT CDrive::GetProperties(VDS_DRIVE_PROP* pDriveProp) {
  if (pDriveProp == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CDrive::GetProperties");
  *pDriveProp = m_prop;
  if (!CopyDriveStrings(m_prop, pDriveProp)) {
    DebugPrintf("OOP!! CDrive::GetProperties() out of memory, line = %d\n", __LINE__);
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT CDrive::GetProperties2(VDS_DRIVE_PROP2* pDriveProp2) {
  if (pDriveProp2 == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CDrive::GetProperties2");
  *pDriveProp2 = VDS_DRIVE_PROP2{};
  pDriveProp2->id = m_prop.id;
  pDriveProp2->ullSize = m_prop.ullSize;
  pDriveProp2->ulFlags = m_flags2;
  pDriveProp2->status = m_prop.status;
  pDriveProp2->health = m_prop.health;
  pDriveProp2->sInternalBusNumber = m_prop.sInternalBusNumber;
  pDriveProp2->sSlotNumber = m_prop.sSlotNumber;
  pDriveProp2->ulEnclosureNumber = m_enclosureNumber;
  pDriveProp2->busType = m_busType;
  pDriveProp2->ulSpindleSpeed = m_spindleSpeed;
  if (!CopyDriveStrings(m_prop, pDriveProp2)) {
    DebugPrintf("OOP!! CDrive::GetProperties() out of memory, line = %d\n", __LINE__);
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT CDrive::GetSubSystem(IVdsSubSystem** ppSubSystem) {
  if (ppSubSystem == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CDrive::GetSubSystem");
  if (m_pSubSystem == nullptr) return E_UNEXPECTED;
  m_pSubSystem->AddRef();
  *ppSubSystem = m_pSubSystem;
  return S_OK;
}

HRESULT CDrive::QueryExtents(VDS_DRIVE_EXTENT** ppExtentArray, LONG* plNumberOfExtents) {
  if (ppExtentArray == nullptr || plNumberOfExtents == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CDrive::QueryExtents");
  *ppExtentArray = nullptr;
  struct Used {
    GUID lunId;
    ULONGLONG size;
  };
  std::vector<Used> used;
  if (!m_isFreeDrive && m_pSubSystem != nullptr) {
    std::vector<std::pair<GUID, VDS_OBJECT>> luns(m_pSubSystem->Luns().begin(),
                                                  m_pSubSystem->Luns().end());
    SortByListOrder(&luns);
    for (const auto& [id, entry] : luns) {
      const auto* lun = static_cast<CLun*>(entry.pObject);
      if (DriveInVdisk(m_vdiskSn, lun->ArraySn())) used.push_back({id, lun->DriveUsedSize()});
    }
  }
  const size_t count = used.size() + 1;
  *plNumberOfExtents = static_cast<LONG>(count);
  auto* extents = static_cast<VDS_DRIVE_EXTENT*>(CoTaskMemAlloc(count * sizeof(VDS_DRIVE_EXTENT)));
  if (extents == nullptr) return E_OUTOFMEMORY;
  ULONGLONG total = 0;
  for (size_t i = 0; i < used.size(); ++i) {
    extents[i] =
        VDS_DRIVE_EXTENT{m_prop.id, used[i].lunId, std::min(m_prop.ullSize, used[i].size), TRUE};
    total += used[i].size;
  }
  // The last extent is what is left free, 0 when the LUNs claim more than the drive holds.
  extents[count - 1] = VDS_DRIVE_EXTENT{m_prop.id, GUID_NULL,
                                        total > m_prop.ullSize ? 0 : m_prop.ullSize - total, FALSE};
  *ppExtentArray = extents;
  if (m_isFreeDrive) DebugPrintf("CDrive::QueryExtents() out (drive is free)\n");
  return S_OK;
}

HRESULT CDrive::SetFlags(ULONG ulFlags) {
  MutexGuard guard(hNotificationMutex, "CDrive::SetFlags");
  { Refreshable refresh(m_pProvider.Get()); }
  if (!m_pProvider || m_pSubSystem == nullptr || m_pController == nullptr) return E_UNEXPECTED;
  if (m_howUsed == kDrivePoolSpare) {
    DebugPrintf(
        "OOP!!! CDrive::SetFlags Input drive is spare drive, return VDS_E_NOT_SUPPORTED, line "
        "%d\n",
        __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  if ((ulFlags & ~ULONG{VDS_DF_HOTSPARE}) != 0) {
    DebugPrintf("OOP!!! CDrive::SetFlags return E_INVALIDARG, line %d\n", __LINE__);
    return E_INVALIDARG;
  }
  if (!m_isFreeDrive) {
    DebugPrintf(
        "OOP!!! CDrive::SetFlags m_isFreeDrive = false return VDS_E_NOT_SUPPORTED, line %d\n",
        __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  if (m_prop.status != VDS_DRS_ONLINE || m_prop.health != VDS_H_HEALTHY) {
    // The text names one code and the caller gets another; both stay as they have always been.
    DebugPrintf(
        "OOP!!! CDrive::SetFlags drive status is wrong, return VDS_E_OBJECT_STATUS_FAILED, line "
        "%d\n",
        __LINE__);
    return E_FAIL;
  }
  int spares = 0;
  for (const auto& [id, entry] : m_pSubSystem->Drives()) {
    if (static_cast<CDrive*>(entry.pObject)->HowUsed() == kDrivePoolSpare) ++spares;
  }
  if (spares >= 8) {
    DebugPrintf("OOP!!! CDrive::SetFlags spare num > 8, return VDS_E_NOT_SUPPORTED, line %d\n",
                __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  if (Tidegate::assign_spare(m_pController->Handle(), m_driveSn, true) != 0) return E_FAIL;
  m_pProvider->SetNeedRefresh(true);
  return S_OK;
}

HRESULT CDrive::ClearFlags(ULONG ulFlags) {
  MutexGuard guard(hNotificationMutex, "CDrive::ClearFlags");
  { Refreshable refresh(m_pProvider.Get()); }
  if (!m_pProvider || m_pSubSystem == nullptr || m_pController == nullptr) return E_UNEXPECTED;
  if ((m_prop.ulFlags & VDS_DF_HOTSPARE) == 0) return VDS_E_NOT_SUPPORTED;
  if ((ulFlags & ~ULONG{VDS_DF_HOTSPARE}) != 0) return E_INVALIDARG;
  if (Tidegate::assign_spare(m_pController->Handle(), m_driveSn, false) != 0) {
    return VDS_E_INTERNAL_ERROR;
  }
  m_pProvider->SetNeedRefresh(true);
  return S_OK;
}

HRESULT CDrive::SetStatus(VDS_DRIVE_STATUS) {
  DebugPrintf("CDrive::SetStatus\n");
  return VDS_E_NOT_SUPPORTED;
}

HRESULT CDrive::Blink(const char* method, VDS_MAINTENANCE_OPERATION operation, uint8_t on) {
  // The status is read before the lock is taken.
  if (m_prop.status != VDS_DRS_ONLINE) {
    DebugPrintf("OOP!!! %s status is wrong, return VDS_E_NOT_SUPPORTED, line %d\n", method,
                __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  if (operation != VDS_MTO_BLINK_LIGHT) return VDS_E_NOT_SUPPORTED;
  MutexGuard guard(hNotificationMutex, method);
  if (m_pController == nullptr) return E_UNEXPECTED;
  // The proxy's answer doesn't change the result.
  Tidegate::blink_drive(m_pController->Handle(), m_driveSn, on);
  return S_OK;
}

HRESULT CDrive::StartMaintenance(VDS_MAINTENANCE_OPERATION operation) {
  return Blink("CDrive::StartMaintenance", operation, 1);
}

HRESULT CDrive::StopMaintenance(VDS_MAINTENANCE_OPERATION operation) {
  return Blink("CDrive::StopMaintenance", operation, 0);
}

HRESULT CDrive::PulseMaintenance(VDS_MAINTENANCE_OPERATION operation, ULONG ulCount) {
  if (m_prop.status != VDS_DRS_ONLINE) {
    DebugPrintf(
        "OOP!!! CDrive::PulseMaintenance status is wrong, return VDS_E_NOT_SUPPORTED, line %d\n",
        __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  if (operation < VDS_MTO_BLINK_LIGHT || operation > VDS_MTO_PING) return E_INVALIDARG;
  for (ULONG i = 0; i < ulCount; ++i) {
    Sleep(1000);
    HRESULT hr = StartMaintenance(operation);
    if (FAILED(hr)) return hr;
    Sleep(1000);
    hr = StopMaintenance(operation);
    if (FAILED(hr)) return hr;
  }
  return S_OK;
}
