// Creation and sizing in a storage pool: the pool becomes a drive list, and the subsystem's
// CreateLun and QueryMaxLunCreateSize do the rest. A primordial pool hands over its free drives
// (a new vdisk), a vdisk pool its members (a partition added to that vdisk).
#include <vector>

#include "diag/debug_log.h"
#include "objects/pool.h"
#include "objects/subsystem.h"
#include "provider/provider.h"
#include "provisioning/create.h"

namespace {

constexpr char kNotConcreteOrPrimordial[] =
    "CreateLunInStoragePool(): pool type is not concrete or primordial; type=%d\n";

// Releases the pool reference GetPoolObject gave.
struct PoolRef {
  CPool* pool;
  ~PoolRef() {
    if (pool != nullptr) pool->Release();
  }
};

}  // namespace

HRESULT CProvider::CreateLunInStoragePool(VDS_LUN_TYPE type, ULONGLONG ullSizeInBytes,
                                          VDS_OBJECT_ID StoragePoolId, LPWSTR pwszUnmaskingList,
                                          VDS_HINTS2* pHints2, IVdsAsync** ppAsync) {
  DebugPrintf("%s()\n", "CProvider::CreateLunInStoragePool");
  if ((Options.load() & kOptionNoStoragePools) != 0) return VDS_E_NOT_SUPPORTED;
  MutexGuard guard(hNotificationMutex, "CProvider::CreateLunInStoragePool");
  PoolRef ref{GetPoolObject(StoragePoolId)};
  if (ref.pool == nullptr) return VDS_E_OBJECT_NOT_FOUND;
  VDS_HINTS hints{};
  if (pHints2 != nullptr) hints = HintsFromHints2(*pHints2);
  std::vector<GUID> drives;
  ref.pool->DriveIds(&drives, true, true);
  HRESULT hr = S_OK;
  CSubSystem* subSystem = ref.pool->SubSystem();
  const VDS_STORAGE_POOL_TYPE poolType = ref.pool->Prop().type;
  if (drives.empty()) {
    hr = VDS_E_NOT_ENOUGH_DRIVE;
  } else if (subSystem == nullptr) {
    hr = VDS_E_OBJECT_NOT_FOUND;
  } else if (poolType == VDS_SPT_PRIMORDIAL || poolType == VDS_SPT_CONCRETE) {
    if (poolType == VDS_SPT_CONCRETE && type == VDS_LT_DEFAULT) type = ref.pool->vdsLunType();
    hr = subSystem->CreateLun(type, ullSizeInBytes, drives.data(), static_cast<LONG>(drives.size()),
                              pwszUnmaskingList, pHints2 != nullptr ? &hints : nullptr, ppAsync);
  } else {
    DebugPrintf(kNotConcreteOrPrimordial, poolType);
    hr = VDS_E_INTERNAL_ERROR;
  }
  DebugPrintf("CProvider::CreateLunInStoragePool(): hResult = 0x%x\n", hr);
  DebugPrintf("%s() out\n", "CProvider::CreateLunInStoragePool");
  return hr;
}

HRESULT CProvider::QueryMaxLunCreateSizeInStoragePool(VDS_LUN_TYPE type,
                                                      VDS_OBJECT_ID StoragePoolId,
                                                      VDS_HINTS2* pHints2,
                                                      ULONGLONG* pullMaxLunSize) {
  DebugPrintf("%s()\n", "CProvider::QueryMaxLunCreateSizeInStoragePool");
  if ((Options.load() & kOptionNoStoragePools) != 0) return VDS_E_NOT_SUPPORTED;
  MutexGuard guard(hNotificationMutex, "CProvider::QueryMaxLunCreateSizeInStoragePool");
  PoolRef ref{GetPoolObject(StoragePoolId)};
  if (ref.pool == nullptr) return VDS_E_OBJECT_NOT_FOUND;
  if (pullMaxLunSize == nullptr) return E_POINTER;
  HRESULT hr = S_OK;
  const VDS_STORAGE_POOL_TYPE poolType = ref.pool->Prop().type;
  if (poolType == VDS_SPT_PRIMORDIAL) {
    std::vector<GUID> drives;
    ref.pool->DriveIds(&drives, true, true);
    CSubSystem* subSystem = ref.pool->SubSystem();
    if (drives.empty()) {
      hr = VDS_E_NOT_ENOUGH_DRIVE;
    } else if (subSystem == nullptr) {
      hr = VDS_E_OBJECT_NOT_FOUND;
    } else {
      VDS_HINTS hints{};
      if (pHints2 != nullptr) hints = HintsFromHints2(*pHints2);
      hr = subSystem->QueryMaxLunCreateSize(type, drives.data(), static_cast<LONG>(drives.size()),
                                            pHints2 != nullptr ? &hints : nullptr, pullMaxLunSize);
    }
  } else if (poolType == VDS_SPT_CONCRETE) {
    // A vdisk pool answers with its free room, whatever the type and hints ask.
    *pullMaxLunSize = ref.pool->Prop().ullRemainingFreeSpace;
  } else {
    DebugPrintf(kNotConcreteOrPrimordial, poolType);
    hr = VDS_E_INTERNAL_ERROR;
  }
  DebugPrintf("%s() out\n", "CProvider::QueryMaxLunCreateSizeInStoragePool");
  return hr;
}
