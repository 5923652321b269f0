// CLun: one volume of a controller (a partition), or a vdisk without partitions shown as a dummy
// volume with no size. It copies what it needs of its array and partition records so that
// property reads need no proxy; changes fetch the controller data afresh.
#ifndef VELA_OBJECTS_LUN_H_
#define VELA_OBJECTS_LUN_H_

#include <cstdint>
#include <string>
#include <vector>

#include "platform/com.h"
#include "platform/vds.h"
#include "provider/vds_base.h"
#include "provisioning/drive_select.h"
#include "provisioning/sizes.h"
#include "proxy/records.h"

class CProvider;
class CSubSystem;
class CController;
class ControllerDataCache;
struct LunPathRecord;
struct LunHintFacts;

class CLun
    : public ComObject<IVdsLun, IVdsLun2, IVdsLunNaming, IVdsLunMpio, IVdsLunControllerPorts>,
      public CVdsBase {
 public:
  CLun();

  // Builds the LUN from its vdisk and partition records; a null partition makes the dummy
  // volume of a vdisk without partitions. The caller holds hNotificationMutex.
  void Initialize(const VDS_OBJECT_ID* id, CProvider* pProvider, CSubSystem* pSubSystem,
                  CController* pController, const array* pArray, const partition* pPartition);
  void Dispose() override;

  // Makes the LUN real on the controllers: a partition of an existing vdisk when one fits, else
  // a new vdisk (and its first partition unless the hints ask for a dummy LUN); then builds the
  // object from the records the controller returned and marks the member drives of a new vdisk.
  // The caller holds hNotificationMutex and has set the level (SetSpecialRaidType).
  HRESULT CreateAndInitialize(const VDS_OBJECT_ID* pLunId, CProvider* pProvider,
                              CSubSystem* pSubSystem, VDS_LUN_TYPE type, ULONGLONG ullSize,
                              const VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                              ULONG ulStripeSize, const VDS_HINTS* pHints);
  void SetSpecialRaidType(uint8_t level) { m_SpecialRaidType = level; }
  // The size after an extension finished.
  void SetSize(ULONGLONG size) { m_prop.ullSize = size; }

  // IVdsLun
  HRESULT GetProperties(VDS_LUN_PROP* pLunProp) override;
  HRESULT GetSubSystem(IVdsSubSystem** ppSubSystem) override;
  HRESULT GetIdentificationData(VDS_LUN_INFORMATION* pLunInfo) override;
  HRESULT QueryActiveControllers(IEnumVdsObject** ppEnum) override;
  HRESULT Extend(ULONGLONG ullNumberOfBytesToAdd, VDS_OBJECT_ID* pDriveIdArray,
                 LONG lNumberOfDrives, IVdsAsync** ppAsync) override;
  HRESULT Shrink(ULONGLONG ullNumberOfBytesToRemove, IVdsAsync** ppAsync) override;
  HRESULT QueryPlexes(IEnumVdsObject** ppEnum) override;
  HRESULT AddPlex(VDS_OBJECT_ID lunId, IVdsAsync** ppAsync) override;
  HRESULT RemovePlex(VDS_OBJECT_ID plexId, IVdsAsync** ppAsync) override;
  HRESULT Recover(IVdsAsync** ppAsync) override;
  HRESULT SetMask(LPWSTR pwszUnmaskingList) override;
  HRESULT Delete() override;
  HRESULT AssociateControllers(VDS_OBJECT_ID* pActiveControllerIdArray,
                               LONG lNumberOfActiveControllers,
                               VDS_OBJECT_ID* pInactiveControllerIdArray,
                               LONG lNumberOfInactiveControllers) override;
  HRESULT QueryHints(VDS_HINTS* pHints) override;
  HRESULT ApplyHints(VDS_HINTS* pHints) override;
  HRESULT SetStatus(VDS_LUN_STATUS status) override;
  HRESULT QueryMaxLunExtendSize(VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                                ULONGLONG* pullMaxBytesToBeAdded) override;
  // IVdsLun2
  HRESULT QueryHints2(VDS_HINTS2* pHints2) override;
  HRESULT ApplyHints2(VDS_HINTS2* pHints2) override;
  // IVdsLunNaming
  HRESULT SetFriendlyName(LPWSTR pwszFriendlyName) override;
  // IVdsLunMpio
  HRESULT GetPathInfo(VDS_PATH_INFO** ppPaths, LONG* plNumberOfPaths) override;
  HRESULT GetLoadBalancePolicy(VDS_LOADBALANCE_POLICY_ENUM* pPolicy, VDS_PATH_POLICY** ppPaths,
                               LONG* plNumberOfPaths) override;
  HRESULT SetLoadBalancePolicy(VDS_LOADBALANCE_POLICY_ENUM policy, VDS_PATH_POLICY* pPaths,
                               LONG lNumberOfPaths) override;
  HRESULT GetSupportedLbPolicies(ULONG* pulLbFlags) override;
  // IVdsLunControllerPorts
  HRESULT AssociateControllerPorts(VDS_OBJECT_ID* pActiveControllerPortIdArray,
                                   LONG lNumberOfActiveControllerPorts,
                                   VDS_OBJECT_ID* pInactiveControllerPortIdArray,
                                   LONG lNumberOfInactiveControllerPorts) override;
  HRESULT QueryActiveControllerPorts(IEnumVdsObject** ppEnum) override;

  // The room for another LUN in this LUN's vdisk (the named drives must be exactly its members),
  // reading the controller through `cache`. The caller holds hNotificationMutex.
  HRESULT QueryMaxLunSizeCanBeCreate(const VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                                     ULONGLONG* pullMaxBytes,
                                     const std::vector<DriveCandidate>& drives,
                                     ControllerDataCache* cache);
  // What the size and extension decisions read of this LUN.
  LunFacts Facts() const;
  // After an expansion added drives to the vdisk.
  void SetNumDrives(int32_t numDrives) { m_numDrives = numDrives; }

  // True when status and health allow a change (callers answer VDS_E_OBJECT_STATUS_FAILED).
  bool CanOperate() const;
  // The share of the LUN on one member drive; 0 for a snapshot.
  ULONGLONG DriveUsedSize() const;
  // Whether the snap pool (part type 1) or master volume (2) still has dependants.
  bool HasMasterVolume() const;

  // For the tree, under hNotificationMutex.
  const VDS_LUN_PROP& Prop() const { return m_prop; }
  // Owning controller: 1 A, 0 B (list order puts A first), then PartitionOrder, then the name.
  uint8_t Owner() const { return m_Owner; }
  uint8_t PartitionOrder() const { return m_partitionOrder; }
  const uint8_t* PartitionSn() const { return m_PartitionSn; }
  const uint8_t* ArraySn() const { return m_ArraySn; }
  int32_t NumDrives() const { return m_numDrives; }
  uint8_t RaidLevel() const { return m_RaidLevel; }
  uint8_t PartType() const { return m_partType; }
  uint32_t StripeSize() const { return m_stripeSize; }
  uint8_t DriveType() const { return m_driveType; }
  uint8_t NumDrivesPerLowLevelArray() const { return m_numDrivesPerLowLevelArray; }
  uint8_t Utility() const { return m_utility; }
  const cacheParams& CacheParams() const { return m_cacheParams; }
  bool IsDummyVolume() const { return m_isDummyVolume; }
  CController* Controller() const { return m_pController; }
  CSubSystem* SubSystem() const { return m_pSubSystem; }
  const VdsObjectMap& Plexes() const { return m_mapPlexes; }

  // The per-LUN mark for a later inventory read: a new mapping brings paths that the host shows
  // only later, so the read waits for the first path question. Caller holds hRefreshMutex.
  void RequestWmiUpdate();
  void CheckWmiUpdate();

 protected:
  ~CLun() override;

 private:
  void ReadUnmaskingList(const partition& part);
  HRESULT CreateLunByAddPartition(VDS_LUN_TYPE type, ULONGLONG ullSize,
                                  const VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                                  ULONG ulStripeSize, DriveLists* lists, const VDS_HINTS* pHints,
                                  array* newArray, partition* newPart);
  HRESULT CreateLunByCreateArray(VDS_LUN_TYPE type, ULONGLONG ullSize,
                                 const VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                                 ULONG ulStripeSize, DriveLists* lists, const VDS_HINTS* pHints,
                                 array* newArray, partition* newPart);
  void DeleteDummyLun(const array& vdisk);
  // abort_utility and delete_array for this LUN's vdisk; its members read free at once.
  HRESULT DeleteVdisk(DWORD handle);
  // What the hints report; asks the controller for dependants of a snap pool or master volume.
  LunHintFacts HintFacts() const;
  // The two directions of ApplyHints' conversion, after the checks that need nothing fetched.
  HRESULT ConvertToStandard(DWORD handle);
  HRESULT ConvertToMaster(DWORD handle);
  void MarkMemberDrives(const controllerData& data);
  HRESULT SetMaskLocked(const std::string& wanted);
  // Unit numbers in use on a controller (all hosts, or the ones one host sees); false when the
  // controller can't be read.
  bool GetExistLunList(DWORD handle, std::vector<uint32_t>* used);
  bool GetExistLunList4WWN(DWORD handle, std::vector<uint32_t>* used, const uint8_t* wwn);
  int NextUnitNum(const uint8_t* wwn);
  void SetHealth(const array& vdisk);
  void MakePlex(bool second);
  void DumpMySelf() const;
  // Path lookups of GetPathInfo; the caller holds both locks.
  HRESULT CollectPaths(std::vector<LunPathRecord>* out);
  HRESULT CollectDevPerfPaths(std::vector<LunPathRecord>* out);
  GUID GetCtrlPortIdByPortWWN(const uint8_t portWWN[8]);
  GUID GetCtrlPortIdByTargetPortIdentifier(uint32_t identifier, bool isULP);
  GUID GetCtrlPortIdByTargetWWN(const uint8_t targetWWN[8]);
  GUID GetCtrlPortIdByTargetMapping(uint32_t portNumber, uint32_t targetId);

  // All guarded by hNotificationMutex.
  ProviderRef m_pProvider;
  CSubSystem* m_pSubSystem = nullptr;    // one reference
  CController* m_pController = nullptr;  // one reference
  VdsObjectMap m_mapPlexes;              // one reference per entry
  VDS_LUN_PROP m_prop{};
  uint32_t m_stripeSize = 0;
  uint8_t m_Owner = 3;
  uint8_t m_partitionOrder = 0;
  uint8_t m_PartitionSn[32] = {};
  uint8_t m_ArraySn[32] = {};
  uint32_t m_cacheLunWord = 0;  // the partition's LUN word, 0xFFFFFFFF for a dummy volume
  cacheParams m_cacheParams{};
  int32_t m_numDrives = 0;
  uint8_t m_driveType = 0;
  uint8_t m_RaidLevel = 0;
  uint8_t m_numDrivesPerLowLevelArray = 0;
  uint8_t m_utility = 0;
  uint8_t m_partType = 0;
  bool m_isDummyVolume = false;
  uint64_t m_wmiUpdate = 0;       // guarded by hRefreshMutex
  uint8_t m_SpecialRaidType = 0;  // the level CreateLun decided
  ULONGLONG m_minDriveSize = 0;   // bytes of the vdisk's smallest member
};

#endif  // VELA_OBJECTS_LUN_H_
