#include "objects/drive.h"

#include <cstring>
#include <utility>

#include "diag/debug_log.h"
#include "objects/controller.h"
#include "objects/drive_rules.h"
#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "platform/osversion.h"
#include "provider/provider.h"

CDrive::CDrive() : CVdsBase(VDS_OT_DRIVE, GetUnknown()) {}

CDrive::~CDrive() {
  MutexGuard guard(hNotificationMutex, "CDrive::~CDrive");
  Dispose();
}

HRESULT CDrive::Initialize(const VDS_OBJECT_ID* id, CProvider* pProvider, CSubSystem* pSubSystem,
                           CController* pController, const drive* pDriveData) {
  InitializeCounter counter(pProvider);
  if (id == nullptr || pProvider == nullptr || pSubSystem == nullptr || pController == nullptr ||
      pDriveData == nullptr) {
    return E_POINTER;
  }
  Dispose();
  m_pProvider.Attach(pProvider);
  pSubSystem->AddRef();
  m_pSubSystem = pSubSystem;
  pController->AddRef();
  m_pController = pController;
  m_prop.id = *id;
  pProvider->AddObject(*id, VDS_OBJECT{VDS_OT_DRIVE, this});

  const drive& record = *pDriveData;
  const std::u16string name = MakeDriveName(record);
  m_prop.pwszFriendlyName = AllocPropString(name);
  m_prop.pwszIdentification =
      AllocPropString(WidenField(record.serialNumber, sizeof(record.serialNumber)));
  m_prop.ullSize = DriveUsableSize(record, pController->DriveOverheadPercent());
  const DriveState state = ComputeDriveState(record);
  m_prop.status = state.status;
  m_prop.health = state.health;
  m_prop.ulFlags = state.ulFlags;
  m_flags2 = state.flags2;
  m_isFreeDrive = state.isFree;
  m_prop.sInternalBusNumber = record.enclosureNumber;
  m_prop.sSlotNumber = record.slotNumber;
  m_enclosureNumber = record.enclosureNumber;
  m_busType = DriveBusType(record.type);
  m_spindleSpeed = DriveSpindleSpeed(record);
  m_howUsed = record.howUsed;
  std::memcpy(m_driveSn, record.serialNumber, sizeof(m_driveSn));
  std::memset(m_vdiskSn, 0, sizeof(m_vdiskSn));
  std::memcpy(m_vdiskSn, record.vdiskSerial, sizeof(record.vdiskSerial));
  m_memberOrder = record.memberOrder;
  m_containerIndex = record.containerIndex;
  m_driveIndex = record.driveIndex;
  m_driveType = record.type;
  m_scsiId = record.scsiId;
  m_channel = record.channel;
  m_enclosure = record.enclosureNumber;
  pProvider->AddName(*id, name, this);
  DebugPrintf(
      "CDrive::Initialize() pDriveData info :\n howUsed = %d (%s), channel = %d, blinking = %d, "
      "lun = %d, scsiId = %d, slotNumber = %d, enclosureNumber = %d, realBlockCount "
      "%u<<32+%u=%I64u, usableBytes=%I64u, downReason=%d, status=%s\n",
      record.howUsed, m_isFreeDrive ? "FREE" : "not free", record.channel, record.blinking,
      record.lun, record.scsiId, record.slotNumber, record.enclosureNumber, record.realBlockCountHi,
      record.realBlockCountLo, DriveBlockCount(record), m_prop.ullSize, record.downReason,
      state.howUsedWord);
  DumpMySelf();
  return S_OK;
}

void CDrive::Dispose() {
  FreePropString(&m_prop.pwszFriendlyName);
  FreePropString(&m_prop.pwszIdentification);
  if (m_pProvider) m_pProvider->RemoveObject(m_prop.id);
  m_prop = VDS_DRIVE_PROP{};
  m_flags2 = 0;
  m_enclosureNumber = 0;
  m_pProvider.Reset();
  if (m_pController != nullptr) std::exchange(m_pController, nullptr)->Release();
  if (m_pSubSystem != nullptr) std::exchange(m_pSubSystem, nullptr)->Release();
}

void CDrive::TakeMembership(const drive& record) {
  m_containerIndex = record.containerIndex;
  m_driveIndex = record.driveIndex;
  m_prop.status = VDS_DRS_ONLINE;
  m_prop.health = VDS_H_HEALTHY;
  std::memcpy(m_vdiskSn, record.vdiskSerial, sizeof(record.vdiskSerial));
  m_enclosure = record.enclosureNumber;
  m_prop.sInternalBusNumber = record.enclosureNumber;
  m_prop.sSlotNumber = record.slotNumber;
}

bool CDrive::IsEligible() const {
  return m_isFreeDrive && (m_prop.ulFlags & VDS_DF_HOTSPARE) == 0 && m_prop.health == VDS_H_HEALTHY;
}

void CDrive::InitializeAfterCreate(const uint8_t* vdiskSerial, CController* pController) {
  DebugPrintf("CDrive::InitializeAfterCreate %d.%d, scsiID=%d\n", m_enclosure, m_prop.sSlotNumber,
              m_scsiId);
  VdiskShortSerial(vdiskSerial, m_vdiskSn);
  pController->AddRef();
  if (m_pController != nullptr) m_pController->Release();
  m_pController = pController;
  m_isFreeDrive = false;
}

void CDrive::InitializeAfterDelete() {
  DebugPrintf("CDrive::InitializeAfterDelete %d.%d, scsiID=%d\n", m_enclosure, m_prop.sSlotNumber,
              m_scsiId);
  m_prop.ulFlags = OsVersionGates().win7 ? ULONG{VDS_DF_UNASSIGNED} : 0;
  m_flags2 = VDS_DF_UNASSIGNED;
  m_isFreeDrive = true;
  std::memset(m_vdiskSn, 0, sizeof(m_vdiskSn));
  m_memberOrder = 0;
}

void CDrive::DumpMySelf() const {
  DebugPrintf("Drive SN : %.32s, m_isFreeDrive = %d, m_driveType = %d, m_driveIndex = %d\n",
              m_driveSn, m_isFreeDrive, m_driveType, m_driveIndex);
  DebugPrintf(
      "id %s, ullSize = %I64u, pwszFriendlyName = %ls, pwszIdentification = %ls, ulFlags = 0x%x, "
      "status = %d, health = %d, sInternalBusNumber = %d, sSlotNumber = %d\n",
      GuidLogText(m_prop.id).c_str(), m_prop.ullSize, m_prop.pwszFriendlyName,
      m_prop.pwszIdentification, m_prop.ulFlags, m_prop.status, m_prop.health,
      m_prop.sInternalBusNumber, m_prop.sSlotNumber);
}
