// CDrive: one physical disk of a subsystem. The controller object builds it from a drive record;
// a drive both controllers report is one object. Pools, plexes and drive selection read its
// decision fields rather than the wire record.
#ifndef VELA_OBJECTS_DRIVE_H_
#define VELA_OBJECTS_DRIVE_H_

#include <cstdint>

#include "platform/com.h"
#include "platform/vds.h"
#include "provider/vds_base.h"
#include "proxy/records.h"

class CProvider;
class CSubSystem;
class CController;

class CDrive : public ComObject<IVdsDrive, IVdsDrive2, IVdsMaintenance>, public CVdsBase {
 public:
  CDrive();

  // Builds the drive from its record. The caller holds hNotificationMutex.
  HRESULT Initialize(const VDS_OBJECT_ID* id, CProvider* pProvider, CSubSystem* pSubSystem,
                     CController* pController, const drive* pDriveData);
  void Dispose() override;

  // IVdsDrive
  HRESULT GetProperties(VDS_DRIVE_PROP* pDriveProp) override;
  HRESULT GetSubSystem(IVdsSubSystem** ppSubSystem) override;
  HRESULT QueryExtents(VDS_DRIVE_EXTENT** ppExtentArray, LONG* plNumberOfExtents) override;
  HRESULT SetFlags(ULONG ulFlags) override;
  HRESULT ClearFlags(ULONG ulFlags) override;
  HRESULT SetStatus(VDS_DRIVE_STATUS status) override;
  // IVdsDrive2
  HRESULT GetProperties2(VDS_DRIVE_PROP2* pDriveProp2) override;
  // IVdsMaintenance
  HRESULT StartMaintenance(VDS_MAINTENANCE_OPERATION operation) override;
  HRESULT StopMaintenance(VDS_MAINTENANCE_OPERATION operation) override;
  HRESULT PulseMaintenance(VDS_MAINTENANCE_OPERATION operation, ULONG ulCount) override;

  // Right after a vdisk was created on the drive, before the refresh that follows.
  void InitializeAfterCreate(const uint8_t* vdiskSerial, CController* pController);
  void SetMemberOrder(uint8_t order) { m_memberOrder = order; }
  // Right after the drive's vdisk was deleted.
  void InitializeAfterDelete();
  // The second controller knows the membership the first did not report: location, member
  // info, online and healthy.
  void TakeMembership(const drive& record);

  // Decision fields, under hNotificationMutex.
  const VDS_DRIVE_PROP& Prop() const { return m_prop; }
  ULONG Flags2() const { return m_flags2; }
  uint8_t HowUsed() const { return m_howUsed; }
  bool IsFreeDrive() const { return m_isFreeDrive; }
  const char* DriveSn() const { return m_driveSn; }
  const uint8_t* VdiskSn() const { return m_vdiskSn; }
  uint8_t MemberOrder() const { return m_memberOrder; }
  uint8_t ContainerIndex() const { return m_containerIndex; }
  uint8_t DriveIndex() const { return m_driveIndex; }
  uint8_t DriveType() const { return m_driveType; }
  uint8_t ScsiId() const { return m_scsiId; }
  uint8_t Channel() const { return m_channel; }
  // Enclosure and slot: the list order and GetDrive's key.
  uint8_t Enclosure() const { return m_enclosure; }
  SHORT Slot() const { return m_prop.sSlotNumber; }
  CController* Controller() const { return m_pController; }
  // Free, not a hot spare and healthy: may go into a new vdisk.
  bool IsEligible() const;

 protected:
  ~CDrive() override;

 private:
  void DumpMySelf() const;
  HRESULT Blink(const char* method, VDS_MAINTENANCE_OPERATION operation, uint8_t on);

  // All guarded by hNotificationMutex.
  ProviderRef m_pProvider;
  CSubSystem* m_pSubSystem = nullptr;    // one reference
  CController* m_pController = nullptr;  // one reference
  VDS_DRIVE_PROP m_prop{};
  ULONG m_flags2 = 0;
  ULONG m_enclosureNumber = 0;
  VDS_STORAGE_BUS_TYPE m_busType = VDSBusTypeUnknown;
  ULONG m_spindleSpeed = 0;
  uint8_t m_howUsed = 0;
  bool m_isFreeDrive = false;
  char m_driveSn[32] = {};
  uint8_t m_vdiskSn[12] = {};
  uint8_t m_memberOrder = 0;
  uint8_t m_containerIndex = 0;
  uint8_t m_driveIndex = 0;
  uint8_t m_driveType = 0;
  uint8_t m_scsiId = 0;
  uint8_t m_channel = 0;
  uint8_t m_enclosure = 0;
};

#endif  // VELA_OBJECTS_DRIVE_H_
