// CPool: the subsystem's capacity as storage pools. A primordial pool per drive class (SATA,
// SAS, SSD) stands for all drives of that class; a concrete pool per vdisk for that vdisk and its
// members. Pools live in the provider's m_mapPools.
#ifndef VELA_OBJECTS_POOL_H_
#define VELA_OBJECTS_POOL_H_

#include <cstdint>
#include <string>
#include <vector>

#include "platform/com.h"
#include "platform/vds.h"
#include "provider/vds_base.h"
#include "proxy/records.h"

class CProvider;
class CSubSystem;

class CPool : public ComObject<IVdsStoragePool>, public CVdsBase {
 public:
  CPool();

  // A vdisk pool when `vdiskRecord` is given, else the primordial pool of `driveClass`. The
  // caller holds hNotificationMutex.
  HRESULT Initialize(const VDS_OBJECT_ID* id, CProvider* pProvider, CSubSystem* pSubSystem,
                     const array* vdiskRecord, uint8_t driveClass);
  void Dispose() override;

  // IVdsStoragePool
  HRESULT GetProvider(IVdsProvider** ppProvider) override;
  HRESULT GetProperties(VDS_STORAGE_POOL_PROP* pStoragePoolProp) override;
  HRESULT GetAttributes(VDS_POOL_ATTRIBUTES* pStoragePoolAttributes) override;
  HRESULT QueryDriveExtents(VDS_STORAGE_POOL_DRIVE_EXTENT** ppExtentArray,
                            LONG* plNumberOfExtents) override;
  HRESULT QueryAllocatedLuns(IEnumVdsObject** ppEnum) override;
  HRESULT QueryAllocatedStoragePools(IEnumVdsObject** ppEnum) override;

  // The ids of this pool's drives in list order; spares and (primordial pools only) drives that
  // are not eligible are skipped on request.
  void DriveIds(std::vector<GUID>* ids, bool skipSpares, bool onlyAvailable);
  // The LUN type a concrete pool's RAID level means.
  VDS_LUN_TYPE vdsLunType() const;

  const VDS_STORAGE_POOL_PROP& Prop() const { return m_prop; }
  CSubSystem* SubSystem() const { return m_pSub; }
  // The list order of pools: primordial pools first, by class, then vdisk pools by name.
  std::u16string SortKey() const;

 protected:
  ~CPool() override;

 private:
  void InitPrimordialPool(uint8_t driveClass);
  void InitVdiskPool(const array& vdisk);
  void DumpPool() const;

  // All guarded by hNotificationMutex.
  ProviderRef m_pProv;
  CSubSystem* m_pSub = nullptr;  // one reference
  VDS_POOL_ATTRIBUTES m_attr{};
  VDS_STORAGE_POOL_PROP m_prop{};
  uint8_t m_driveClass = 0;
  array m_vdisk{};
};

// "%s Drives (%S)" and "Vdisk Pool %.32S (%S)": the registry names of the two kinds.
std::u16string PrimordialPoolName(uint8_t driveClass, const subsystem& record);
std::u16string VdiskPoolName(const array& vdisk, const subsystem& record);

#endif  // VELA_OBJECTS_POOL_H_
