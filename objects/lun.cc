#include "objects/lun.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "diag/debug_log.h"
#include "objects/controller.h"
#include "objects/object_util.h"
#include "objects/plex.h"
#include "objects/refresh_hold.h"
#include "objects/subsystem.h"
#include "platform/osversion.h"
#include "provider/provider.h"
#include "provisioning/utility.h"
#include "proxy/tidegate.h"

CLun::CLun() : CVdsBase(VDS_OT_LUN, GetUnknown()) {}

CLun::~CLun() {
  MutexGuard guard(hNotificationMutex, "CLun::~CLun");
  Dispose();
}

void CLun::Initialize(const VDS_OBJECT_ID* id, CProvider* pProvider, CSubSystem* pSubSystem,
                      CController* pController, const array* pArray, const partition* pPartition) {
  DebugPrintf("CLun::Initialize()\n");
  InitializeCounter counter(pProvider);
  if (id == nullptr || pProvider == nullptr || pSubSystem == nullptr || pController == nullptr ||
      pArray == nullptr) {
    return;
  }
  Dispose();
  m_pProvider.Attach(pProvider);
  pSubSystem->AddRef();
  m_pSubSystem = pSubSystem;
  pController->AddRef();
  m_pController = pController;
  m_prop.id = *id;
  pProvider->AddObject(*id, VDS_OBJECT{VDS_OT_LUN, this});

  const array& vdisk = *pArray;
  std::u16string identification;
  if (pPartition != nullptr) {
    m_prop.pwszFriendlyName =
        AllocPropString(WidenField(pPartition->name, sizeof(pPartition->name)), 512);
    identification = HexName(pPartition->serialNumber, 13);
    m_isDummyVolume = false;
  } else {
    m_prop.pwszFriendlyName =
        AllocPropString(WidenField(vdisk.name, sizeof(vdisk.name)) + u"(DummyVolume)", 512);
    identification = HexName(vdisk.serialNumber, 16);
    m_isDummyVolume = true;
  }
  m_prop.pwszIdentification = AllocPropString(identification, 512);
  m_prop.pwszUnmaskingList = AllocPropString(u"", 512);
  if (pPartition != nullptr) ReadUnmaskingList(*pPartition);

  m_prop.ullSize = pPartition != nullptr ? pPartition->blockCount << 9 : 0;
  m_prop.ulFlags = 0;
  m_prop.type = VelaLevel2VdsType(vdisk);
  m_RaidLevel = vdisk.raidLevel;
  m_prop.status = VDS_LS_ONLINE;
  m_prop.health = VDS_H_HEALTHY;
  m_prop.TransitionState = VDS_TS_STABLE;
  m_partType = pPartition != nullptr ? pPartition->type : 0;
  m_partitionOrder = pPartition != nullptr ? pPartition->partitionOrder : 0;
  // Not a priority here: it tells the nested and double-parity levels apart.
  switch (vdisk.raidLevel) {
    case VELA_RAID6:
      m_prop.sRebuildPriority = 16;
      break;
    case VELA_RAID50:
      m_prop.sRebuildPriority = 15;
      break;
    case VELA_RAID3:
      m_prop.sRebuildPriority = 14;
      break;
    default:
      m_prop.sRebuildPriority = 0;
      break;
  }
  SetHealth(vdisk);
  m_utility = vdisk.utilityRunning;
  m_Owner = vdisk.owner;
  std::memset(m_PartitionSn, 0, sizeof(m_PartitionSn));
  if (pPartition != nullptr) {
    std::memcpy(m_PartitionSn, pPartition->serialNumber, sizeof(m_PartitionSn));
  }
  std::memcpy(m_ArraySn, vdisk.serialNumber, sizeof(m_ArraySn));
  if (pPartition != nullptr) {
    m_cacheLunWord = pPartition->lun;
    m_cacheParams = pPartition->cacheParams;
  } else {
    m_cacheLunWord = 0xFFFFFFFF;
    m_cacheParams = vdisk.cacheParams;
  }
  if (m_cacheParams.writePolicy == 0) m_prop.ulFlags |= VDS_LF_WRITE_THROUGH_CACHING_ENABLED;
  if (OsVersionGates().win7 && m_partType == 3) m_prop.ulFlags |= VDS_LF_SNAPSHOT;
  m_numDrives = static_cast<int32_t>(vdisk.numDrives);
  const size_t members = ValidCount(vdisk.numDrives, VELA_MAX_DRIVES_PER_ARRAY);
  for (size_t i = 0; i < members; ++i) {
    const driveLocation& where = vdisk.memberDrive[i].driveLocation;
    DebugPrintf(
        "CLun::Initialize() memberDrive[%d]: driveLocation.channelIndex = %d, "
        "driveLocation.driveIndex=%d\n",
        static_cast<int>(i), where.channelIndex, where.driveIndex);
  }
  DebugPrintf("CLun::Initialize() LUN is compose of %d drives.\n", m_numDrives);
  m_numDrivesPerLowLevelArray = vdisk.numDrivesPerLowLevelArray;
  m_stripeSize = vdisk.stripeSizeKB << 10;
  DebugPrintf("CLun::Initialize: m_stripeSize = %d\n", m_stripeSize);
  m_driveType = vdisk.driveType;
  m_minDriveSize = static_cast<ULONGLONG>(vdisk.chunkBlocks) << 9;

  MakePlex(false);
  // A mirror whose one half is whole has lost its redundancy rather than being about to.
  if (m_prop.type == VDS_LT_MIRROR) MakePlex(true);
  if (m_prop.type == VDS_LT_MIRROR && m_prop.health == VDS_H_FAILING_REDUNDANCY) {
    for (const auto& [plexId, entry] : m_mapPlexes) {
      if (static_cast<CLunPlex*>(entry.pObject)->Prop().status == VDS_LPS_ONLINE) {
        m_prop.health = VDS_H_FAILED_REDUNDANCY;
        break;
      }
    }
  }
  pProvider->AddName(*id, identification, this);
  DumpMySelf();
  DebugPrintf("CLun::Initialize() out\n");
}

void CLun::ReadUnmaskingList(const partition& part) {
  // Left uninitialised: a successful fetch decodes every byte of the record over it, and clearing
  // 37 KB for each LUN of a load is not free.
  std::unique_ptr<partitionView> view(new partitionView);
  if (Tidegate::get_part_view(m_pController->Handle(), part.serialNumber, view.get()) != 0) return;
  std::u16string list;
  const size_t hosts = ValidCount(view->numElements, kMaxViewHosts);
  for (size_t i = 0; i < hosts; ++i) {
    if (i > 0) list += u";";
    list += HexName(view->hostWwpn[i], 8);
  }
  if (hosts == 0 && view->lun == part.lun) list = u"*";
  if (list.empty()) return;
  FreePropString(&m_prop.pwszUnmaskingList);
  m_prop.pwszUnmaskingList = AllocPropString(list, (list.size() + 1) * sizeof(WCHAR), list.size());
}

void CLun::SetHealth(const array& vdisk) {
  bool memberMissing = false;
  const size_t members = ValidCount(vdisk.numDrives, VELA_MAX_DRIVES_PER_ARRAY);
  for (size_t i = 0; i < members; ++i) {
    const driveLocation& where = vdisk.memberDrive[i].driveLocation;
    if (where.channelIndex == kNoLocation && where.driveIndex == kNoLocation) memberMissing = true;
  }
  const bool redundant =
      m_prop.type == VDS_LT_MIRROR || m_prop.type == VDS_LT_RAID10 || IsParityFamily(m_prop.type);
  switch (vdisk.health) {
    case 1:
    case 4:
      m_prop.status = VDS_LS_ONLINE;
      m_prop.health = VDS_H_FAILING_REDUNDANCY;
      break;
    case 2:
      m_prop.status = VDS_LS_ONLINE;
      m_prop.health = redundant && (vdisk.utilityRunning != 2 || memberMissing)
                          ? VDS_H_FAILING_REDUNDANCY
                          : VDS_H_HEALTHY;
      break;
    case 3:
      m_prop.status = VDS_LS_OFFLINE;
      m_prop.health = VDS_H_FAILED;
      break;
    case 5:
      m_prop.status = VDS_LS_FAILED;
      m_prop.health = VDS_H_FAILED;
      break;
    default:
      m_prop.status = VDS_LS_ONLINE;
      m_prop.health = VDS_H_HEALTHY;
      break;
  }
  // A rebuild shows over a degraded health; an expansion only in the transition state.
  if (vdisk.utilityRunning == 3) m_prop.health = VDS_H_REBUILDING;
  if (vdisk.utilityRunning == kUtilityExpansion) m_prop.TransitionState = VDS_TS_EXTENDING;
}

void CLun::MakePlex(bool second) {
  GUID guid{};
  CoCreateGuid(&guid);
  CLunPlex* plex = nullptr;
  if (!g_isRefreshing) {
    plex = new (std::nothrow) CLunPlex();
  } else {
    FindObjAndGuid(m_pProvider.Get(), &plex, &guid,
                   PropText(m_prop.pwszIdentification) + (second ? u" Plex2" : u" Plex"));
  }
  if (plex == nullptr) return;
  const bool split = m_prop.type == VDS_LT_MIRROR;
  plex->SetSplit(split, split && !second);
  plex->AddRef();
  plex->Initialize(&guid, m_pProvider.Get(), m_pSubSystem, this, second);
  auto [it, inserted] = m_mapPlexes.emplace(guid, VDS_OBJECT{VDS_OT_LUN_PLEX, plex});
  if (!inserted) plex->Release();
}

void CLun::Dispose() {
  DebugPrintf("CLun::Dispose()\n");
  for (auto& [id, entry] : m_mapPlexes) {
    if (g_isRefreshing) {
      HoldForRefresh(entry.pObject->Unknown());
    } else {
      entry.pObject->Unknown()->Release();
    }
  }
  m_mapPlexes.clear();
  FreePropString(&m_prop.pwszFriendlyName);
  FreePropString(&m_prop.pwszIdentification);
  FreePropString(&m_prop.pwszUnmaskingList);
  if (m_pProvider) m_pProvider->RemoveObject(m_prop.id);
  m_prop = VDS_LUN_PROP{};
  m_pProvider.Reset();
  if (m_pController != nullptr) std::exchange(m_pController, nullptr)->Release();
  if (m_pSubSystem != nullptr) std::exchange(m_pSubSystem, nullptr)->Release();
  DebugPrintf("CLun::Dispose() out\n");
}

bool CLun::CanOperate() const {
  if (m_prop.status == VDS_LS_ONLINE && m_prop.health == VDS_H_HEALTHY) return true;
  switch (m_prop.health) {
    case VDS_H_REBUILDING:
    case VDS_H_FAILING_REDUNDANCY:
    case VDS_H_FAILED_REDUNDANCY:
    case VDS_H_FAILED_REDUNDANCY_FAILING:
      return true;
    default:
      return false;
  }
}

ULONGLONG CLun::DriveUsedSize() const {
  if (m_partType == 3 || m_numDrives <= 0) return 0;
  // What one member gives to the LUN: the LUN's share of the vdisk's usable bytes, spread over
  // the members by the level's ratio of usable to raw bytes.
  constexpr ULONGLONG kUnit = 1ULL << 30;
  const auto n = static_cast<ULONG>(m_numDrives);
  const ULONGLONG usable =
      GetRaidSizeUsedDrivesUseLunType(m_RaidLevel, m_prop.type, n, kUnit * n, false);
  if (usable == 0) return 0;
  return static_cast<ULONGLONG>(static_cast<unsigned __int128>(m_prop.ullSize) * kUnit / usable);
}

bool CLun::HasMasterVolume() const {
  if (m_pController == nullptr) return false;
  size_t dependants = 0;
  int rc = -1;
  if (m_partType == 1) {
    std::vector<masterVolumeEntry> entries;
    rc = Tidegate::get_master_volume_list(m_pController->Handle(), 4, 0, m_PartitionSn, &entries);
    dependants = entries.size();
  } else if (m_partType == 2) {
    std::vector<snapshotEntry> entries;
    rc = Tidegate::get_snapshot_list(m_pController->Handle(), 5, 0, m_PartitionSn, &entries);
    dependants = entries.size();
  } else {
    return false;
  }
  if (rc != 0) {
    DebugPrintf("OOP!! CLun::HasMasterVolume() get_backing_store_list return false!\n");
    return false;
  }
  return dependants > 0;
}

void CLun::DumpMySelf() const {
  DebugPrintf("CLun::DumpMySelf() CLun info : \n");
  DebugPrintf(
      "m_Owner = %d, m_stripeSize = %d, LunSn = %ls, MemberAmount() = %d, m_RaidLevel = %d, "
      "m_numDrivesPerLowLevelArray=%d\n",
      m_Owner, m_stripeSize, m_prop.pwszIdentification, m_numDrives, m_RaidLevel,
      m_numDrivesPerLowLevelArray);
  const std::u16string unmask = PropText(m_prop.pwszUnmaskingList);
  const bool longList = unmask.size() > 256;
  DebugPrintf(
      "ullSize = 0x%I64x, pwszFriendlyName = %ls, pwszIdentification = %ls, pwszUnmaskingList = "
      "%ls, \n",
      m_prop.ullSize, m_prop.pwszFriendlyName, m_prop.pwszIdentification,
      longList ? u"(below)" : unmask.c_str());
  if (longList) {
    size_t start = 0;
    while (start <= unmask.size()) {
      const size_t end = unmask.find(u';', start);
      const std::u16string entry = unmask.substr(start, end - start);
      DebugPrintf("  unmask %ls%s\n", entry.c_str(), end == std::u16string::npos ? "" : ";");
      if (end == std::u16string::npos) break;
      start = end + 1;
    }
  }
  DebugPrintf(
      "ulFlags = %d, type = %d, status = %d, health = %d, TransitionState = %d, "
      "sRebuildPriority = %d\n",
      m_prop.ulFlags, m_prop.type, m_prop.status, m_prop.health, m_prop.TransitionState,
      m_prop.sRebuildPriority);
}
