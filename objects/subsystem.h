// CSubSystem: one dual-controller RAID unit as a VDS subsystem. It ties the two controllers of a
// `subsystem` record together, holds the maps of their controllers, drives and LUNs, and keeps
// the last event seen on each controller for the event monitor.
//
// Lifetime: made by CProvider::OnLoad (or found again by name at a refresh), initialized there,
// held in the provider's m_mapSubSystems. Every method that reads or changes the tree runs under
// hNotificationMutex; the accessors below expect the caller to hold it.
#ifndef VELA_OBJECTS_SUBSYSTEM_H_
#define VELA_OBJECTS_SUBSYSTEM_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/com.h"
#include "platform/vds.h"
#include "provider/vds_base.h"
#include "provisioning/delete.h"
#include "provisioning/drive_select.h"
#include "proxy/records.h"

class CProvider;
class CController;
class CDrive;
class CLun;
class ControllerDataCache;

class CSubSystem : public ComObject<IVdsSubSystem, IVdsSubSystem2, IVdsSubSystemNaming>,
                   public CVdsBase {
 public:
  CSubSystem();

  // Builds the subsystem and its whole tree from the record (copied). E_POINTER for a null id or
  // provider; otherwise the result of FillCtrlDriveLunList, though the pools, names and last
  // events are made in any case. Takes hNotificationMutex itself.
  HRESULT Initialize(const VDS_OBJECT_ID* id, CProvider* pProvider, const subsystem& record);
  // Reads both controllers and builds controllers, drives, LUNs, vdisk pools and ports.
  // VDS_E_INTERNAL_ERROR when a controller can't be read (what was built for A stays).
  virtual HRESULT FillCtrlDriveLunList(const subsystem& record);
  void Dispose() override;

  // IVdsSubSystem
  HRESULT GetProperties(VDS_SUB_SYSTEM_PROP* pSubSystemProp) override;
  HRESULT GetProvider(IVdsProvider** ppProvider) override;
  HRESULT QueryControllers(IEnumVdsObject** ppEnum) override;
  HRESULT QueryLuns(IEnumVdsObject** ppEnum) override;
  HRESULT QueryDrives(IEnumVdsObject** ppEnum) override;
  HRESULT GetDrive(SHORT sBusNumber, SHORT sSlotNumber, IVdsDrive** ppDrive) override;
  HRESULT Reenumerate() override;
  HRESULT SetControllerStatus(VDS_OBJECT_ID* pOnlineControllerIdArray,
                              LONG lNumberOfOnlineControllers,
                              VDS_OBJECT_ID* pOfflineControllerIdArray,
                              LONG lNumberOfOfflineControllers) override;
  HRESULT CreateLun(VDS_LUN_TYPE type, ULONGLONG ullSizeInBytes, VDS_OBJECT_ID* pDriveIdArray,
                    LONG lNumberOfDrives, LPWSTR pwszUnmaskingList, VDS_HINTS* pHints,
                    IVdsAsync** ppAsync) override;
  HRESULT ReplaceDrive(VDS_OBJECT_ID DriveToBeReplaced, VDS_OBJECT_ID ReplacementDrive) override;
  HRESULT SetStatus(VDS_SUB_SYSTEM_STATUS status) override;
  HRESULT QueryMaxLunCreateSize(VDS_LUN_TYPE type, VDS_OBJECT_ID* pDriveIdArray,
                                LONG lNumberOfDrives, VDS_HINTS* pHints,
                                ULONGLONG* pullMaxLunSize) override;

  // IVdsSubSystem2
  HRESULT GetProperties2(VDS_SUB_SYSTEM_PROP2* pSubSystemProp2) override;
  HRESULT GetDrive2(SHORT sBusNumber, SHORT sSlotNumber, ULONG ulEnclosureNumber,
                    IVdsDrive** ppDrive) override;
  HRESULT CreateLun2(VDS_LUN_TYPE type, ULONGLONG ullSizeInBytes, VDS_OBJECT_ID* pDriveIdArray,
                     LONG lNumberOfDrives, LPWSTR pwszUnmaskingList, VDS_HINTS2* pHints2,
                     IVdsAsync** ppAsync) override;
  HRESULT QueryMaxLunCreateSize2(VDS_LUN_TYPE type, VDS_OBJECT_ID* pDriveIdArray,
                                 LONG lNumberOfDrives, VDS_HINTS2* pHints2,
                                 ULONGLONG* pullMaxLunSize) override;

  // IVdsSubSystemNaming
  HRESULT SetFriendlyName(LPWSTR pwszFriendlyName) override;

  // Takes a LUN out of m_mapLuns without releasing it (the caller settles the reference).
  // Called with hNotificationMutex held.
  HRESULT DeleteLun(const VDS_OBJECT_ID& id);

  // The rest is for the objects of the tree and the provider, all under hNotificationMutex.
  const subsystem& Record() const { return m_record; }
  DWORD ControllerHandleA() const { return m_hCtrlA; }
  DWORD ControllerHandleB() const { return m_hCtrlB; }
  // The last event seen on each controller; the event monitor reads and replaces them.
  event& LastEventA() { return m_lastEventA; }
  event& LastEventB() { return m_lastEventB; }

  VdsObjectMap& Controllers() { return m_mapControllers; }
  VdsObjectMap& Drives() { return m_mapDrives; }
  VdsObjectMap& Luns() { return m_mapLuns; }
  // Drives already taken in this enumeration, as (channel, scsiId).
  std::vector<std::pair<uint16_t, uint16_t>>& SeenDrives() { return m_seenDrives; }
  // A drive of m_mapDrives by enclosure and slot, without a reference; null when none.
  CDrive* FindDrive(SHORT sBusNumber, SHORT sSlotNumber) const;

  // Partitions of offline vdisks whose deletion was asked for (CLun::Delete).
  DeleteMarks& Marks() { return m_deleteMarks; }

  bool SupportRaid6() const { return m_SupportRaid6; }
  bool SupportULP() const { return b_SupportULP; }
  uint8_t HostPortType() const { return m_hostPortType; }
  uint8_t AllowedDriveType() const { return m_allowedDriveType; }
  uint32_t CtrlTag() const { return m_ctrlTag; }
  const std::u16string& SysName() const { return m_SysName; }
  const VDS_SUB_SYSTEM_PROP& Prop() const { return m_prop; }

  // The hints of the last CreateLun call, refused ones included.
  const VDS_HINTS& Hints() const { return m_hints; }
  // The drives as drive selection reads them, in list order.
  std::vector<DriveCandidate> DriveCandidates() const;
  // The controllers in list order (A first), without references.
  std::vector<CController*> ControllersInOrder() const;

  // Written by CController::Initialize for its record.
  void NoteEnclosures(uint32_t enclosureCount, uint16_t enclosureDrives);
  // The largest enclosure count a controller of this subsystem has reported so far.
  uint32_t EnclosureCount() const { return m_enclosureCount; }
  void SetSysName(const std::u16string& name) { m_SysName = name; }
  void SetSysIdentIfEmpty(const std::u16string& ident);

 protected:
  ~CSubSystem() override;

 private:
  // The checks and the LUN limit of CreateLun, under the lock and the operation counter that
  // CreateLun holds; the LUN object and the async object on success.
  HRESULT CreateLunLocked(VDS_LUN_TYPE type, ULONGLONG ullSizeInBytes, VDS_OBJECT_ID* pDriveIdArray,
                          LONG lNumberOfDrives, LPWSTR pwszUnmaskingList, VDS_HINTS* pHints,
                          IVdsAsync** ppAsync);
  // The largest room for a new LUN of `type` in a vdisk that holds a LUN of that type (with drives
  // named: the vdisk of the first of them), to 1 MiB; 0 when none has room.
  ULONGLONG QueryMaxLunInExistingVdisks(VDS_LUN_TYPE type, const VDS_OBJECT_ID* pDriveIdArray,
                                        LONG lNumberOfDrives,
                                        const std::vector<DriveCandidate>& drives,
                                        ControllerDataCache* cache);
  void AddDriveTypePool(uint8_t driveClass);
  void MakeDriveTypePools();
  void ReadAllowedDriveType();
  void ReadLastEvents();
  void ReleaseMap(VdsObjectMap* map);
  void DumpMySelf() const;

  // All members are guarded by hNotificationMutex.
  ProviderRef m_pProvider;
  VdsObjectMap m_mapControllers;  // one reference per entry
  VdsObjectMap m_mapDrives;       // one reference per entry
  VdsObjectMap m_mapLuns;         // one reference per entry
  VDS_SUB_SYSTEM_PROP m_prop{};
  std::u16string m_SysName;
  std::u16string m_SysIdent;
  std::vector<std::pair<uint16_t, uint16_t>> m_seenDrives;
  subsystem m_record{};
  bool m_lastEventsValid = false;
  event m_lastEventA{};
  event m_lastEventB{};
  uint8_t m_allowedDriveType = 0;
  bool m_SupportRaid6 = false;
  bool b_SupportULP = false;
  DWORD m_hCtrlA = 0;
  DWORD m_hCtrlB = 0;
  uint32_t m_ctrlTag = 0;
  uint8_t m_hostPortType = 0;
  VDS_HINTS m_hints{};
  uint32_t m_enclosureCount = 0;
  uint16_t m_enclosureDrives = 0;
  DeleteMarks m_deleteMarks;  // survives a refresh, like the last events
};

// "Sub <UniqueSN> <UniqueSN>": the name that finds a subsystem again at a refresh.
std::u16string MakeSubsystemName(const subsystem& record);

#endif  // VELA_OBJECTS_SUBSYSTEM_H_
