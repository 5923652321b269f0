#include "objects/subsystem.h"

#include <cstring>
#include <memory>

#include "diag/debug_log.h"
#include "objects/controller.h"
#include "objects/drive.h"
#include "objects/drive_rules.h"
#include "objects/object_util.h"
#include "objects/pool.h"
#include "objects/refresh_hold.h"
#include "platform/clock.h"
#include "platform/osversion.h"
#include "platform/strings.h"
#include "provider/provider.h"
#include "proxy/tidegate.h"

namespace {

std::string SerialText(const char (&serial)[32]) {
  return std::string(serial, strnlen(serial, 32));
}

}  // namespace

std::u16string MakeSubsystemName(const subsystem& record) {
  const std::u16string sn = WidenField(record.UniqueSN, sizeof(record.UniqueSN));
  return u"Sub " + sn + u" " + sn;
}

CSubSystem::CSubSystem() : CVdsBase(VDS_OT_SUB_SYSTEM, GetUnknown()) {
  DebugPrintf("CSubSystem::CSubSystem()\n");
}

CSubSystem::~CSubSystem() {
  DebugPrintf("CSubSystem::~CSubSystem()\n");
  MutexGuard guard(hNotificationMutex, "CSubSystem::~CSubSystem");
  Dispose();
  DebugPrintf("CSubSystem::~CSubSystem() out\n");
}

HRESULT CSubSystem::Initialize(const VDS_OBJECT_ID* id, CProvider* pProvider,
                               const subsystem& record) {
  DebugPrintf("CSubSystem::Initialize()\n");
  DebugPrintf("CProvider::Initialize() UniqueSN = %s, controllerA = %d, controllerB = %d\n",
              SerialText(record.UniqueSN).c_str(), record.controllerA, record.controllerB);
  MutexGuard guard(hNotificationMutex, "CSubSystem::Initialize");
  InitializeCounter counter(pProvider);
  if (id == nullptr || pProvider == nullptr) {
    DebugPrintf("OOP!!! CSubSystem::Initialize id or provider == NULL return E_POINTER, line %d\n",
                __LINE__);
    return E_POINTER;
  }
  Dispose();
  m_pProvider.Attach(pProvider);
  m_prop.id = *id;
  pProvider->AddObject(*id, VDS_OBJECT{VDS_OT_SUB_SYSTEM, this});
  m_prop.pwszFriendlyName = AllocPropString(u"");
  m_prop.pwszIdentification = AllocPropString(u"");
  DebugPrintf("CSubsystem::Initialize: m_prop alloc'd ptrs %p and %p\n", m_prop.pwszFriendlyName,
              m_prop.pwszIdentification);
  m_prop.status = VDS_SSS_ONLINE;
  m_prop.health = VDS_H_HEALTHY;
  m_prop.sMaxNumberOfControllers = 2;
  m_prop.sRebuildPriority = 0;
  m_prop.ulStripeSizeFlags = 0x1C000;
  m_prop.ulFlags = 0xE68D;
  m_record = record;

  const HRESULT hr = FillCtrlDriveLunList(record);

  if (OsVersionGates().win7 && (Options.load() & kOptionNoStoragePools) == 0) {
    MakeDriveTypePools();
  }
  FreePropString(&m_prop.pwszFriendlyName);
  FreePropString(&m_prop.pwszIdentification);
  m_prop.pwszFriendlyName = AllocPropString(m_SysName);
  m_prop.pwszIdentification = AllocPropString(m_SysIdent);
  m_prop.sNumberOfInternalBuses = static_cast<SHORT>(m_enclosureCount);
  m_prop.sMaxNumberOfSlotsEachBus = static_cast<SHORT>(m_enclosureDrives);
  ReadAllowedDriveType();
  pProvider->AddName(*id, MakeSubsystemName(record), this);
  ReadLastEvents();
  DumpMySelf();
  DebugPrintf("CSubSystem::Initialize() out\n");
  return hr;
}

void CSubSystem::MakeDriveTypePools() {
  bool seen[8] = {};
  for (const auto& [id, entry] : m_mapDrives) {
    seen[DriveClass(static_cast<CDrive*>(entry.pObject)->DriveType())] = true;
  }
  for (uint8_t driveClass : {kDriveClassSata, kDriveClassSas, kDriveClassSsd}) {
    if (seen[driveClass]) AddDriveTypePool(driveClass);
  }
}

void CSubSystem::AddDriveTypePool(uint8_t driveClass) {
  GUID guid{};
  CoCreateGuid(&guid);
  CPool* pool = nullptr;
  if (!g_isRefreshing) {
    pool = new (std::nothrow) CPool();
  } else {
    FindObjAndGuid(m_pProvider.Get(), &pool, &guid, PrimordialPoolName(driveClass, m_record));
  }
  if (pool == nullptr) return;
  pool->AddRef();
  pool->Initialize(&guid, m_pProvider.Get(), this, nullptr, driveClass);
  auto [it, inserted] =
      m_pProvider->Pools().emplace(pool->Prop().id, VDS_OBJECT{VDS_OT_STORAGE_POOL, pool});
  if (!inserted) pool->Release();
}

void CSubSystem::ReadAllowedDriveType() {
  m_allowedDriveType = 0;
  for (DWORD handle : {m_record.controllerA, m_record.controllerB}) {
    DebugPrintf("CtrlHandle %x\n", handle);
    if (handle == 0) continue;
    auto data = std::make_unique<controllerData>();
    if (Tidegate::get_controller_data(handle, data.get()) != 0) {
      DebugPrintf(
          "OOP!!! Provider::isFC get_controller_data return VDS_E_INTERNAL_ERROR, line %d\n",
          __LINE__);
    } else {
      m_allowedDriveType = data->controller.allowedDriveType;
    }
    break;
  }
  DebugPrintf("Allowed Drive Type : %d\n", m_allowedDriveType);
}

void CSubSystem::ReadLastEvents() {
  if (!m_lastEventsValid) {
    m_lastEventA = event{};
    m_lastEventB = event{};
    m_lastEventsValid = true;
  }
  struct Side {
    const char* name;
    DWORD handle;
    event* last;
  };
  for (const Side& side : {Side{"A", m_record.controllerA, &m_lastEventA},
                           Side{"B", m_record.controllerB, &m_lastEventB}}) {
    if (side.last->sequenceNumber != 0) {
      DebugPrintf("CSubSystem::Initialize() Controller %s Last Event %d\n", side.name,
                  side.last->sequenceNumber);
      continue;
    }
    event latest{};
    if (side.handle != 0 && Tidegate::get_event(side.handle, 0, 1, 0, &latest) == 0) {
      *side.last = latest;
      DebugPrintf(
          "CSubSystem::Initialize() Controller %s Last Event, description = %.256s, "
          "sequenceNumber = %d\n",
          side.name, latest.description, latest.sequenceNumber);
    } else {
      DebugPrintf("OOP!!! CSubSystem::Initialize() Controller %s Last Event failed! \n", side.name);
    }
  }
}

HRESULT CSubSystem::FillCtrlDriveLunList(const subsystem& record) {
  DebugPrintf("CSubSystem::FillCtrlDriveLunList\n");
  m_seenDrives.clear();
  for (int side = 0; side < 2; ++side) {
    const DWORD handle = side == 0 ? record.controllerA : record.controllerB;
    DebugPrintf("CtrlHandle %x\n", handle);
    (side == 0 ? m_hCtrlA : m_hCtrlB) = handle;
    if (handle == 0) continue;
    auto data = std::make_unique<controllerData>();
    if (Tidegate::get_controller_data(handle, data.get()) != 0) {
      DebugPrintf(
          "OOP!!! CSubSystem::FillCtrlDriveLunList get_controller_data return "
          "VDS_E_INTERNAL_ERROR, line %d\n",
          __LINE__);
      return VDS_E_INTERNAL_ERROR;
    }
    GUID guid{};
    CoCreateGuid(&guid);
    m_ctrlTag = data->controller.maxLuns;
    if ((data->controller.capabilities & VELA_CAPABILITY_RAID6) != 0) m_SupportRaid6 = true;
    DebugPrintf(
        "FillCtrlDriveLunList , pCtrlData->controller.capabilities & VELA_CAPABILITY_RAID6 = "
        "0x%x, m_SupportRaid6 = %d\n",
        data->controller.capabilities & VELA_CAPABILITY_RAID6, m_SupportRaid6);
    const uint8_t mode = data->controller.controllerParams.controllerMode;
    if ((mode & VELA_CONTROLLER_MODE_AA_DUAL_PORT_ULP) != 0) b_SupportULP = true;
    DebugPrintf(
        "FillCtrlDriveLunList , pCtrlData->controller.controllerParams.controllerMode & "
        "VELA_CONTROLLER_MODE_AA_DUAL_PORT_ULP = 0x%x, b_SupportULP = %d\n",
        mode & VELA_CONTROLLER_MODE_AA_DUAL_PORT_ULP, b_SupportULP);
    m_hostPortType = data->controller.ports[0].hostPortType;

    CController* controller = nullptr;
    if (!g_isRefreshing) {
      controller = new (std::nothrow) CController();
    } else {
      FindObjAndGuid(
          m_pProvider.Get(), &controller, &guid,
          WidenField(data->controller.serialNumber, sizeof(data->controller.serialNumber)));
    }
    if (controller == nullptr) return E_OUTOFMEMORY;
    controller->AddRef();
    DebugPrintf("CSubSystem::FillCtrlDriveLunList controller %d GUID :%s\n", side,
                GuidLogText(guid).c_str());
    controller->Initialize(&guid, m_pProvider.Get(), this, handle, data.get());
    auto [it, inserted] = m_mapControllers.emplace(guid, VDS_OBJECT{VDS_OT_CONTROLLER, controller});
    if (!inserted) controller->Release();
  }
  DebugPrintf("number of Controllers: %d\n", static_cast<int>(m_mapControllers.size()));
  DebugPrintf("number of Luns: %d\n", static_cast<int>(m_mapLuns.size()));
  DebugPrintf("number of Drives: %d\n", static_cast<int>(m_mapDrives.size()));
  DebugPrintf("CSubSystem::FillCtrlDriveLunList out\n");
  return S_OK;
}

void CSubSystem::ReleaseMap(VdsObjectMap* map) {
  for (auto& [id, entry] : *map) {
    if (g_isRefreshing) {
      HoldForRefresh(entry.pObject->Unknown());
    } else {
      entry.pObject->Unknown()->Release();
    }
  }
  map->clear();
}

void CSubSystem::Dispose() {
  DebugPrintf("CSubSystem::Dispose()\n");
  ReleaseMap(&m_mapControllers);
  ReleaseMap(&m_mapDrives);
  ReleaseMap(&m_mapLuns);
  DebugPrintf("freeing FName %p\n", m_prop.pwszFriendlyName);
  FreePropString(&m_prop.pwszFriendlyName);
  DebugPrintf("freeing Ident %p\n", m_prop.pwszIdentification);
  FreePropString(&m_prop.pwszIdentification);
  if (m_pProvider) m_pProvider->RemoveObject(m_prop.id);
  m_pProvider.Reset();
  m_prop = VDS_SUB_SYSTEM_PROP{};
  DebugPrintf("CSubSystem::Dispose() out\n");
}

HRESULT CSubSystem::Reenumerate() {
  DebugPrintf("CSubSystem::Reenumerate()\n");
  if (g_isRefreshing) return S_OK;
  MutexGuard guard(hNotificationMutex, "CSubSystem::Reenumerate");
  g_isRefreshing = true;
  if ((Options.load() & kOptionRescanOnReenumerate) != 0) {
    for (DWORD handle : {m_record.controllerA, m_record.controllerB}) {
      if (handle == 0) continue;
      Tidegate::rescan_bus(handle);
      Sleep(3000);
    }
  }
  // The children stay held until the tree is rebuilt, so that each is found again by its name
  // and keeps its id.
  ReleaseMap(&m_mapControllers);
  ReleaseMap(&m_mapDrives);
  ReleaseMap(&m_mapLuns);
  const HRESULT hr = FillCtrlDriveLunList(m_record);
  g_isRefreshing = false;
  ReleaseRefreshHolds();
  if (hr != S_OK) return VDS_E_INTERNAL_ERROR;
  DebugPrintf("CSubSystem::Reenumerate() out\n");
  return S_OK;
}

void CSubSystem::NoteEnclosures(uint32_t enclosureCount, uint16_t enclosureDrives) {
  if (enclosureCount > m_enclosureCount) m_enclosureCount = enclosureCount;
  m_enclosureDrives = enclosureDrives;
}

void CSubSystem::SetSysIdentIfEmpty(const std::u16string& ident) {
  if (m_SysIdent.empty()) m_SysIdent = ident;
}

CDrive* CSubSystem::FindDrive(SHORT sBusNumber, SHORT sSlotNumber) const {
  for (const auto& [id, entry] : m_mapDrives) {
    auto* drive = static_cast<CDrive*>(entry.pObject);
    if (drive->Enclosure() == sBusNumber && drive->Slot() == sSlotNumber) return drive;
  }
  return nullptr;
}

HRESULT CSubSystem::DeleteLun(const VDS_OBJECT_ID& id) {
  DebugPrintf("CSubSystem::DeleteLun()\n");
  m_mapLuns.erase(id);
  return S_OK;
}

void CSubSystem::DumpMySelf() const {
  DebugPrintf("CSubSystem::DumpMySelf() SubSystem info begin : \n");
  DebugPrintf("m_SysName = %ls, \n", m_SysName.c_str());
  DebugPrintf("m_SupportRaid6=%d, b_SupportULP=%d \n", m_SupportRaid6, b_SupportULP);
  DebugPrintf(
      "id %s, pwszFriendlyName = %ls, pwszIdentification = %ls, ulFlags = 0x%x, "
      "ulStripeSizeFlags = 0x%x, status = %d, health = %d, sNumberOfInternalBuses = %d, "
      "sMaxNumberOfSlotsEachBus = %d, sMaxNumberOfControllers = %d, sRebuildPriority = %d\n",
      GuidLogText(m_prop.id).c_str(), m_prop.pwszFriendlyName, m_prop.pwszIdentification,
      m_prop.ulFlags, m_prop.ulStripeSizeFlags, m_prop.status, m_prop.health,
      m_prop.sNumberOfInternalBuses, m_prop.sMaxNumberOfSlotsEachBus,
      m_prop.sMaxNumberOfControllers, m_prop.sRebuildPriority);
  DebugPrintf("CSubSystem::DumpMySelf() SubSystem info end. \n");
}
