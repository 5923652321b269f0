#include "objects/pool.h"

#include <cstdio>
#include <cstring>
#include <utility>

#include "diag/debug_log.h"
#include "objects/drive.h"
#include "objects/drive_rules.h"
#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "platform/strings.h"
#include "provider/provider.h"
#include "provisioning/utility.h"

namespace {

std::u16string Serial(const subsystem& record) {
  return WidenField(record.UniqueSN, sizeof(record.UniqueSN));
}

std::u16string VdiskName(const array& vdisk) { return WidenField(vdisk.name, sizeof(vdisk.name)); }

VDS_RAID_TYPE RaidTypeOf(uint8_t raidLevel) {
  switch (raidLevel) {
    case VELA_RAID0:
    case VELA_NRAID:
      return VDS_RT_RAID0;
    case VELA_RAID1:
      return VDS_RT_RAID1;
    case 2:
      return VDS_RT_RAID2;
    case VELA_RAID3:
      return VDS_RT_RAID3;
    case 4:
      return VDS_RT_RAID4;
    case VELA_RAID5:
      return VDS_RT_RAID5;
    case VELA_RAID30:
      return VDS_RT_RAID30;
    case VELA_RAID50:
      return VDS_RT_RAID50;
    case 9:
      return VDS_RT_RAID51;
    case VELA_RAID10:
      return VDS_RT_RAID10;
    case VELA_RAID6:
      return VDS_RT_RAID6;
    default:
      return VDS_RT_UNKNOWN;
  }
}

// A degraded vdisk that is rebuilding or growing reads as rebuilding.
VDS_HEALTH DegradedHealth(const array& vdisk) {
  const uint8_t utility = vdisk.utilityRunning;
  return utility >= 3 && utility <= 5 ? VDS_H_REBUILDING : VDS_H_DEGRADED;
}

}  // namespace

std::u16string PrimordialPoolName(uint8_t driveClass, const subsystem& record) {
  return std::u16string(DriveClassName(driveClass)) + u" Drives (" + Serial(record) + u")";
}

std::u16string VdiskPoolName(const array& vdisk, const subsystem& record) {
  return u"Vdisk Pool " + VdiskName(vdisk) + u" (" + Serial(record) + u")";
}

CPool::CPool() : CVdsBase(VDS_OT_STORAGE_POOL, GetUnknown()) {}

CPool::~CPool() {
  MutexGuard guard(hNotificationMutex, "CPool::~CPool");
  Dispose();
}

HRESULT CPool::Initialize(const VDS_OBJECT_ID* id, CProvider* pProvider, CSubSystem* pSubSystem,
                          const array* vdiskRecord, uint8_t driveClass) {
  InitializeCounter counter(pProvider);
  if (id == nullptr || pProvider == nullptr || pSubSystem == nullptr) return E_POINTER;
  Dispose();
  m_pProv.Attach(pProvider);
  pSubSystem->AddRef();
  m_pSub = pSubSystem;
  m_prop.id = *id;
  pProvider->AddObject(*id, VDS_OBJECT{VDS_OT_STORAGE_POOL, this});
  m_driveClass = driveClass;
  if (vdiskRecord == nullptr) {
    InitPrimordialPool(driveClass);
  } else {
    InitVdiskPool(*vdiskRecord);
  }
  pProvider->AddName(*id, PropText(m_prop.pwszDescription), this);
  DumpPool();
  return S_OK;
}

void CPool::InitPrimordialPool(uint8_t driveClass) {
  m_vdisk = array{};
  const std::u16string word = DriveClassName(driveClass);
  m_prop.status = VDS_SPS_ONLINE;
  m_prop.health = VDS_H_HEALTHY;
  m_prop.type = VDS_SPT_PRIMORDIAL;
  m_prop.pwszName = AllocPropString(word + u" Primordial Pool", 512);
  m_prop.pwszDescription = AllocPropString(PrimordialPoolName(driveClass, m_pSub->Record()), 512);
  ULONGLONG total = 0;
  ULONGLONG available = 0;
  ULONGLONG smallest = 0;
  int count = 0;
  for (const auto& [id, entry] : m_pSub->Drives()) {
    const auto* drive = static_cast<CDrive*>(entry.pObject);
    if (DriveClass(drive->DriveType()) != driveClass) continue;
    const ULONGLONG size = drive->Prop().ullSize;
    ++count;
    total += size;
    if (size != 0 && (smallest == 0 || size < smallest)) smallest = size;
    if (drive->IsEligible()) available += size;
  }
  // A primordial pool reports all of its space as consumed.
  m_prop.ullTotalConsumedSpace = total;
  m_prop.ullTotalManagedSpace = total;
  m_prop.ullRemainingFreeSpace = available;
  constexpr double kGb = 1024.0 * 1024.0 * 1024.0;
  DebugPrintf("%d drives, min=%.1fgb total=%.1fgb avail=%.1fgb\n", count, smallest / kGb,
              total / kGb, available / kGb);
  m_attr.ullAttributeMask = 0x1a;
  m_attr.busType = DriveClassBusType(driveClass);
  m_attr.pwszIntendedUsage = AllocPropString(word + u" storage", 512);
}

void CPool::InitVdiskPool(const array& vdisk) {
  m_vdisk = vdisk;
  const std::u16string name = VdiskName(vdisk);
  m_prop.type = VDS_SPT_CONCRETE;
  m_prop.pwszName = AllocPropString(u"Vdisk " + name, 512);
  m_prop.pwszDescription = AllocPropString(VdiskPoolName(vdisk, m_pSub->Record()), 512);
  DebugPrintf("vdisk->health = %d (offset %u)\n", vdisk.health, 0x619u);
  switch (vdisk.health) {
    case 0:
      m_prop.status = VDS_SPS_ONLINE;
      m_prop.health = VDS_H_HEALTHY;
      break;
    case 1:
      m_prop.status = VDS_SPS_ONLINE;
      m_prop.health = DegradedHealth(vdisk);
      break;
    case 2:
      m_prop.status = VDS_SPS_ONLINE;
      m_prop.health = vdisk.raidLevel == VELA_NRAID ? VDS_H_HEALTHY : DegradedHealth(vdisk);
      break;
    case 3:
    case 4:
    case 5:
    case 6:
      m_prop.status = VDS_SPS_OFFLINE;
      m_prop.health = VDS_H_FAILED;
      break;
    case 7:
      m_prop.status = VDS_SPS_OFFLINE;
      m_prop.health = VDS_H_UNKNOWN;
      break;
    default:
      m_prop.status = VDS_SPS_UNKNOWN;
      m_prop.health = VDS_H_UNKNOWN;
      break;
  }
  m_prop.ullTotalConsumedSpace = 0;
  m_prop.ullTotalManagedSpace = vdisk.blockCount * 512;
  m_prop.ullRemainingFreeSpace = vdisk.expandableBlocks * 512;
  DebugPrintf("blockCapacity(blocks) %I64u remaining=%I64u\n", vdisk.blockCount,
              vdisk.expandableBlocks);
  m_attr.ullAttributeMask = 0x781f;
  m_attr.raidType = RaidTypeOf(vdisk.raidLevel);
  m_attr.busType = DriveBusType(vdisk.driveType);
  m_attr.pwszIntendedUsage = AllocPropString(name, 512);
  m_attr.bSpinDown = vdisk.spinDown != 0 ? TRUE : FALSE;
  m_attr.bNoSinglePointOfFailure =
      m_attr.raidType == VDS_RT_UNKNOWN || m_attr.raidType == VDS_RT_RAID0 ? FALSE : TRUE;
  // The stripe size stays in the record's unit while the limits read as bytes.
  m_attr.ulStripeSize = vdisk.stripeSizeKB;
  m_attr.ulStripeSizeMax = 0x100000;
  m_attr.ulStripeSizeMin = 0x4000;
  m_attr.ulDefaultStripeSize = 0x10000;
}

void CPool::Dispose() {
  DebugPrintf("CPool::Dispose() this=%p m_pSub=%p m_pProv=%p\n", static_cast<void*>(this),
              static_cast<void*>(m_pSub), static_cast<void*>(m_pProv.Get()));
  if (m_prop.pwszName != nullptr) FreePropString(&m_prop.pwszName);
  if (m_prop.pwszDescription != nullptr) FreePropString(&m_prop.pwszDescription);
  if (m_attr.pwszIntendedUsage != nullptr) FreePropString(&m_attr.pwszIntendedUsage);
  if (m_pProv) m_pProv->RemoveObject(m_prop.id);
  m_prop = VDS_STORAGE_POOL_PROP{};
  m_attr = VDS_POOL_ATTRIBUTES{};
  m_pProv.Reset();
  if (m_pSub != nullptr) std::exchange(m_pSub, nullptr)->Release();
}

std::u16string CPool::SortKey() const {
  const char16_t kind = m_prop.type == VDS_SPT_PRIMORDIAL ? u'0' : u'1';
  return std::u16string(1, kind) + static_cast<char16_t>(u'0' + m_driveClass) +
         PropText(m_prop.pwszName);
}

void CPool::DumpPool() const {
  DebugPrintf("Name=%ls Desc=%ls id: %s\n", m_prop.pwszName, m_prop.pwszDescription,
              GuidLogText(m_prop.id).c_str());
  DebugPrintf("status=%d health=%d type=%d consumed=%I64u managed=%I64u free=%I64u\n",
              m_prop.status, m_prop.health, m_prop.type, m_prop.ullTotalConsumedSpace,
              m_prop.ullTotalManagedSpace, m_prop.ullRemainingFreeSpace);
  DebugPrintf(
      "mask=0x%I64x raidType=%d busType=%d usage=%ls spinDown=%d noSPOF=%d stripe=%d "
      "(max %d min %d default %d)\n",
      m_attr.ullAttributeMask, m_attr.raidType, m_attr.busType, m_attr.pwszIntendedUsage,
      m_attr.bSpinDown, m_attr.bNoSinglePointOfFailure, m_attr.ulStripeSize, m_attr.ulStripeSizeMax,
      m_attr.ulStripeSizeMin, m_attr.ulDefaultStripeSize);
}
