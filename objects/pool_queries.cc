// The pool's interface methods, its drive list, and the provider's lookup of a pool by id.
#include <cstring>
#include <utility>
#include <vector>

#include "diag/debug_log.h"
#include "objects/drive.h"
#include "objects/drive_rules.h"
#include "objects/enumerator.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/pool.h"
#include "objects/subsystem.h"
#include "provider/list_order.h"
#include "provider/provider.h"
#include "provisioning/utility.h"

namespace {

std::vector<std::pair<GUID, VDS_OBJECT>> InListOrder(const VdsObjectMap& map) {
  std::vector<std::pair<GUID, VDS_OBJECT>> entries(map.begin(), map.end());
  SortByListOrder(&entries);
  return entries;
}

}  // namespace

CPool* CProvider::GetPoolObject(const GUID& poolId) {
  IUnknown* unknown = nullptr;
  HRESULT hr = GetObject(poolId, VDS_OT_STORAGE_POOL, &unknown);
  if (FAILED(hr)) {
    DebugPrintf("GetObject() failed with error 0x%x %s\n", hr, GuidLogText(poolId).c_str());
    return nullptr;
  }
  IVdsStoragePool* pool = nullptr;
  hr = unknown->QueryInterface(IID_IVdsStoragePool, reinterpret_cast<void**>(&pool));
  unknown->Release();
  if (FAILED(hr)) {
    DebugPrintf("QueryInterface() failed with error 0x%x %s\n", hr, GuidLogText(poolId).c_str());
    return nullptr;
  }
  return static_cast<CPool*>(pool);
}

HRESULT CPool::GetProvider(IVdsProvider** ppProvider) {
  if (ppProvider == nullptr) {
    DebugPrintf("CSubSystem::GetProvider ppProvider == NULL, returning E_POINTER, line %d\n",
                __LINE__);
    return E_POINTER;
  }
  if (!m_pProv) return E_UNEXPECTED;
  *ppProvider = m_pProv.Get();
  (*ppProvider)->AddRef();
  return S_OK;
}

HRESULT CPool::GetProperties(VDS_STORAGE_POOL_PROP* pStoragePoolProp) {
  DebugPrintf("CPool::GetProperties()\n");
  if (pStoragePoolProp == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CPool::GetProperties");
  *pStoragePoolProp = m_prop;
  pStoragePoolProp->pwszName = CopyPropString(m_prop.pwszName, 512, 255);
  pStoragePoolProp->pwszDescription = CopyPropString(m_prop.pwszDescription, 512, 255);
  if ((m_prop.pwszName != nullptr && pStoragePoolProp->pwszName == nullptr) ||
      (m_prop.pwszDescription != nullptr && pStoragePoolProp->pwszDescription == nullptr)) {
    DebugPrintf("ERROR: CoTaskMemAlloc(%d) failed\n", 512);
    if (pStoragePoolProp->pwszName != nullptr) FreePropString(&pStoragePoolProp->pwszName);
    if (pStoragePoolProp->pwszDescription != nullptr) {
      FreePropString(&pStoragePoolProp->pwszDescription);
    }
    return E_OUTOFMEMORY;
  }
  DebugPrintf("CPool::GetProperties() out\n");
  return S_OK;
}

HRESULT CPool::GetAttributes(VDS_POOL_ATTRIBUTES* pStoragePoolAttributes) {
  DebugPrintf("CPool::GetAttributes()\n");
  if (pStoragePoolAttributes == nullptr) return E_POINTER;
  *pStoragePoolAttributes = m_attr;
  pStoragePoolAttributes->pwszIntendedUsage = CopyPropString(m_attr.pwszIntendedUsage, 512, 255);
  if (m_attr.pwszIntendedUsage != nullptr && pStoragePoolAttributes->pwszIntendedUsage == nullptr) {
    return E_OUTOFMEMORY;
  }
  DebugPrintf("CPool::GetAttributes() out\n");
  return S_OK;
}

HRESULT CPool::QueryDriveExtents(VDS_STORAGE_POOL_DRIVE_EXTENT** ppExtentArray,
                                 LONG* plNumberOfExtents) {
  DebugPrintf("CPool::QueryDriveExtents()\n");
  if (ppExtentArray == nullptr || plNumberOfExtents == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CPool::QueryDriveExtents");
  *ppExtentArray = nullptr;
  *plNumberOfExtents = 0;
  if (m_pSub == nullptr) return S_OK;
  std::vector<VDS_STORAGE_POOL_DRIVE_EXTENT> extents;
  for (const auto& [id, entry] : InListOrder(m_pSub->Drives())) {
    const auto* drive = static_cast<CDrive*>(entry.pObject);
    const bool member = m_prop.type == VDS_SPT_PRIMORDIAL
                            ? DriveClass(drive->DriveType()) == m_driveClass
                            : DriveInVdisk(drive->VdiskSn(), m_vdisk.serialNumber);
    if (!member) continue;
    const bool unused = drive->IsFreeDrive() && (drive->Prop().ulFlags & VDS_DF_HOTSPARE) == 0;
    extents.push_back({id, drive->Prop().ullSize, unused ? FALSE : TRUE});
  }
  if (extents.empty()) return S_OK;
  auto* result = static_cast<VDS_STORAGE_POOL_DRIVE_EXTENT*>(
      CoTaskMemAlloc(extents.size() * sizeof(VDS_STORAGE_POOL_DRIVE_EXTENT)));
  if (result == nullptr) return E_OUTOFMEMORY;
  std::memcpy(result, extents.data(), extents.size() * sizeof(VDS_STORAGE_POOL_DRIVE_EXTENT));
  *ppExtentArray = result;
  *plNumberOfExtents = static_cast<LONG>(extents.size());
  DebugPrintf("CPool::QueryDriveExtents() out\n");
  return S_OK;
}

HRESULT CPool::QueryAllocatedLuns(IEnumVdsObject** ppEnum) {
  DebugPrintf("CPool::QueryAllocatedLuns()\n");
  if (ppEnum == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CPool::QueryAllocatedLuns");
  *ppEnum = nullptr;
  ComPtr<CEnumerator> result(new (std::nothrow) CEnumerator());
  if (!result) return E_OUTOFMEMORY;
  if (m_pSub != nullptr) {
    for (const auto& [id, entry] : InListOrder(m_pSub->Luns())) {
      auto* lun = static_cast<CLun*>(entry.pObject);
      DebugPrintf("Checking SN for LUN %ls\n", lun->Prop().pwszFriendlyName);
      // A primordial pool's record is all zero and so matches no LUN.
      if (std::memcmp(lun->ArraySn(), m_vdisk.serialNumber, sizeof(m_vdisk.serialNumber)) != 0) {
        continue;
      }
      DebugPrintf("LUN %ls matches\n", lun->Prop().pwszFriendlyName);
      result->Append(lun->Unknown());
    }
  }
  result->Reset();
  *ppEnum = result.Detach();
  DebugPrintf("CPool::QueryAllocatedLuns() out\n");
  return S_OK;
}

HRESULT CPool::QueryAllocatedStoragePools(IEnumVdsObject** ppEnum) {
  DebugPrintf("CPool::QueryAllocatedStoragePools()\n");
  if (ppEnum == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CPool::QueryAllocatedStoragePools");
  *ppEnum = nullptr;
  ComPtr<CEnumerator> result(new (std::nothrow) CEnumerator());
  if (!result) return E_OUTOFMEMORY;
  if (m_pProv) {
    for (const auto& [id, entry] : m_pProv->Pools()) {
      auto* pool = static_cast<CPool*>(entry.pObject);
      DebugPrintf("  Returning pool \"%ls\"\n", pool->Prop().pwszName);
      result->Append(pool->Unknown());
    }
  }
  result->Reset();
  *ppEnum = result.Detach();
  DebugPrintf("CPool::QueryAllocatedStoragePools() out\n");
  return S_OK;
}

void CPool::DriveIds(std::vector<GUID>* ids, bool skipSpares, bool onlyAvailable) {
  ids->clear();
  if (m_pSub == nullptr) return;
  int spares = 0;
  int unusable = 0;
  for (const auto& [id, entry] : InListOrder(m_pSub->Drives())) {
    const auto* drive = static_cast<CDrive*>(entry.pObject);
    if (m_prop.type == VDS_SPT_PRIMORDIAL) {
      if (DriveClass(drive->DriveType()) != m_driveClass) continue;
    } else if (!DriveInVdisk(drive->VdiskSn(), m_vdisk.serialNumber)) {
      continue;
    }
    if (skipSpares && drive->HowUsed() == kDrivePoolSpare) {
      ++spares;
      continue;
    }
    if (onlyAvailable && m_prop.type == VDS_SPT_PRIMORDIAL && !drive->IsEligible()) {
      ++unusable;
      continue;
    }
    ids->push_back(id);
  }
  if (skipSpares || onlyAvailable) {
    DebugPrintf(
        "CPool::DriveIds returning %d drives (skipped %d spares, %d assigned or unhealthy "
        "drives)\n",
        static_cast<int>(ids->size()), spares, unusable);
  } else {
    DebugPrintf("CPool::DriveIds returning %d drives\n", static_cast<int>(ids->size()));
  }
}

VDS_LUN_TYPE CPool::vdsLunType() const {
  if (m_prop.type != VDS_SPT_CONCRETE) {
    DebugPrintf("CPool::vdsLunType(): ERROR: called on non-concrete pool\n");
    return VDS_LT_DEFAULT;
  }
  const VDS_LUN_TYPE type = VelaLevel2VdsType(m_vdisk);
  DebugPrintf("CPool::vdsLunType(): vdisk.raidLevel=%d => VDS_LUN_TYPE=%d\n", m_vdisk.raidLevel,
              type);
  return type;
}
