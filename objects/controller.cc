#include "objects/controller.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "diag/debug_log.h"
#include "objects/drive.h"
#include "objects/drive_rules.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/pool.h"
#include "objects/port.h"
#include "objects/refresh_hold.h"
#include "objects/subsystem.h"
#include "platform/osversion.h"
#include "platform/strings.h"
#include "provider/provider.h"
#include "proxy/tidegate.h"

namespace {

// Set once Initialize has started: a Dispose before it has nothing to free.
constexpr uint32_t kInitializedMark = 0x132B41A;

std::string Field(const char* field, size_t size) {
  return std::string(field, strnlen(field, size));
}

}  // namespace

const char* ControllerIdText(uint8_t controllerId) {
  switch (controllerId) {
    case kControllerIdA:
      return "A";
    case kControllerIdB:
      return "B";
    case kControllerIdBoth:
      return "BOTH";
    default:
      return "UNKNOWN";
  }
}

CController::CController() : CVdsBase(VDS_OT_CONTROLLER, GetUnknown()) {
  DebugPrintf("CController::CController()\n");
}

CController::~CController() {
  DebugPrintf("CController::~CController()\n");
  MutexGuard guard(hNotificationMutex, "CController::~CController");
  Dispose();
  DebugPrintf("CController::~CController() out\n");
}

HRESULT CController::Initialize(const VDS_OBJECT_ID* pControllerId, CProvider* pProvider,
                                CSubSystem* pSubSystem, DWORD handle,
                                const controllerData* pControllerData) {
  DebugPrintf("CController::Initialize()\n");
  InitializeCounter counter(pProvider);
  if (pControllerId == nullptr || pProvider == nullptr || pSubSystem == nullptr ||
      pControllerData == nullptr) {
    DebugPrintf(
        "OOP!!! CController::Initialize pControllerId/pProvider/pSubSystem == NULL return "
        "E_POINTER, line %d\n",
        __LINE__);
    return E_POINTER;
  }
  Dispose();
  initialized = kInitializedMark;
  m_pProvider.Attach(pProvider);
  pSubSystem->AddRef();
  m_pSubSystem = pSubSystem;
  m_prop.id = *pControllerId;
  pProvider->AddObject(*pControllerId, VDS_OBJECT{VDS_OT_CONTROLLER, this});

  const controllerData& data = *pControllerData;
  auto unified = std::make_unique<unifiedControllerData>();
  if (Tidegate::get_unified_controller_data(handle, unified.get()) != 0) {
    DebugPrintf(
        "OOP!!! CController::Initialize get_unified_controller_data return VDS_E_INTERNAL_ERROR, "
        "line %d\n",
        __LINE__);
    return VDS_E_INTERNAL_ERROR;
  }
  const uint8_t* ip = data.advNetInterface.ipAddress;
  DebugPrintf("CController::Initialize() Controller %s\n",
              data.controller.controllerId == kControllerIdA ? "A" : "B");
  DebugPrintf("CController::Initialize() IP address: %d.%d.%d.%d\n", ip[0], ip[1], ip[2], ip[3]);
  m_handle = handle;
  m_controllerId = data.controller.controllerId;

  char friendly[128];
  std::snprintf(friendly, sizeof(friendly), "Controller %s;IP=%d.%d.%d.%d",
                ControllerIdText(m_controllerId), ip[0], ip[1], ip[2], ip[3]);
  const std::u16string serial =
      WidenField(data.controller.serialNumber, sizeof(data.controller.serialNumber));
  m_prop.pwszFriendlyName = AllocPropString(Utf8ToUtf16(friendly));
  m_prop.pwszIdentification = AllocPropString(serial);
  m_prop.status = VDS_CS_ONLINE;
  m_prop.health = VDS_H_HEALTHY;
  const uint16_t enclosureDrives = data.enclosures[0].enclosureDrives;
  DebugPrintf("Controller::Initialize enclosureCount=%d (currently %d), enclosure drives=%d\n",
              data.enclosureCount, pSubSystem->EnclosureCount(), enclosureDrives);
  m_prop.sNumberOfPorts = static_cast<SHORT>(data.controller.numPorts);
  pSubSystem->NoteEnclosures(data.enclosureCount, enclosureDrives);
  m_driveOverheadPercent = data.controller.controllerParamsActive.driveOverheadPercent;
  m_numPorts = data.controller.numPorts;
  pSubSystem->SetSysName(WidenField(unified->systemName, sizeof(unified->systemName)));

  const std::string vendor = unified->vendorNameOverride[0] != 0
                                 ? Field(unified->vendorNameOverride, 20)
                                 : Field(unified->vendorNameAlt, 20);
  char ident[256];
  std::snprintf(ident, sizeof(ident), "%s %s %s", vendor.c_str(),
                Field(unified->productId, sizeof(unified->productId)).c_str(),
                Field(data.controller.hardwareRevision, 80).c_str());
  std::memcpy(m_macAddress, data.advNetInterface.macAddress, sizeof(m_macAddress));
  std::memcpy(m_ipAddress, ip, sizeof(m_ipAddress));
  std::memcpy(m_vendorName, unified->vendorName, sizeof(m_vendorName));
  std::memcpy(m_productId, unified->productId, sizeof(m_productId));
  std::memcpy(m_firmwareRevision, data.controller.firmwareRevision, sizeof(m_firmwareRevision));
  std::memcpy(m_UniqueSn, data.UniqueSn, sizeof(m_UniqueSn));
  pSubSystem->SetSysIdentIfEmpty(Utf8ToUtf16(ident));
  DebugPrintf("m_vendorName = %s, m_productId = %s, m_firmwareRevision = %s\n",
              Field(m_vendorName, sizeof(m_vendorName)).c_str(),
              Field(m_productId, sizeof(m_productId)).c_str(),
              Field(m_firmwareRevision, sizeof(m_firmwareRevision)).c_str());

  if (data.controllerState != kControllerStateHealthy) {
    m_prop.status = VDS_CS_OFFLINE;
    m_prop.health = VDS_H_FAILED;
    if (data.controllerState != kControllerStateOfflineWithInventory) {
      pProvider->AddName(*pControllerId, serial, this);
      DebugPrintf("CController::Initialize() out\n");
      return S_OK;
    }
  }
  // An offline controller with inventory still shows its pools and ports, but no drive and no
  // volume: those loops stop at once on a non-zero state.
  AddDrives(data);
  AddLuns(data);
  AddPorts(data);
  pProvider->AddName(*pControllerId, serial, this);
  DumpMySelf();
  DebugPrintf("CController::Initialize() out\n");
  return S_OK;
}

void CController::AddDrives(const controllerData& data) {
  DebugPrintf("CController::Initialize() num dirves = %d\n", data.numDrives);
  const size_t numDrives = ValidCount(data.numDrives, kMaxDrives);
  for (size_t n = 0; n < numDrives && data.controllerState == kControllerStateHealthy; ++n) {
    const drive& record = data.drives[n];
    DebugPrintf(
        "CController::Initialize() : pDriveData[%d] info : howUsed = %d, channel = %d, blinking "
        "= %d, lun = %d, scsiId = %d, slotNumber = %d, enclosureNumber = %d, type = %d\n",
        static_cast<int>(n), record.howUsed, record.channel, record.blinking, record.lun,
        record.scsiId, record.slotNumber, record.enclosureNumber, record.type);
    auto& seen = m_pSubSystem->SeenDrives();
    const std::pair<uint16_t, uint16_t> key{record.channel, record.scsiId};
    if (std::find(seen.begin(), seen.end(), key) == seen.end()) {
      seen.push_back(key);
      GUID guid{};
      CoCreateGuid(&guid);
      CDrive* drive = nullptr;
      if (!g_isRefreshing) {
        drive = new (std::nothrow) CDrive();
      } else {
        FindObjAndGuid(m_pProvider.Get(), &drive, &guid, MakeDriveName(record));
      }
      if (drive == nullptr) continue;
      drive->AddRef();
      drive->Initialize(&guid, m_pProvider.Get(), m_pSubSystem, this, &record);
      auto [it, inserted] = m_pSubSystem->Drives().emplace(guid, VDS_OBJECT{VDS_OT_DRIVE, drive});
      if (!inserted) drive->Release();
      DebugPrintf("  Drive %-20.32s encl %d bus %d slot %2d guid %s\n", drive->DriveSn(),
                  drive->Enclosure(), drive->Prop().sInternalBusNumber, drive->Slot(),
                  GuidLogText(guid).c_str());
      continue;
    }
    DebugPrintf("Already found a drive at chan %d id %d\n", record.channel, record.scsiId);
    ComPtr<IVdsDrive> found;
    if (m_pSubSystem->GetDrive(static_cast<SHORT>(record.enclosureNumber),
                               static_cast<SHORT>(record.slotNumber),
                               found.ReleaseAndGetAddressOf()) == VDS_E_OBJECT_NOT_FOUND ||
        !found) {
      DebugPrintf("GetDrive returned OBJECT_NOT_FOUND, skipping (nDrive=%d)\n",
                  static_cast<int>(n));
      continue;
    }
    auto* existing = static_cast<CDrive*>(found.Get());
    DebugPrintf("GetDrive(encl=%d, slot=%-2d) returned sn %.32s guid %s\n", record.enclosureNumber,
                record.slotNumber, existing->DriveSn(), GuidLogText(existing->Prop().id).c_str());
    if (record.driveIndex == kNoIndex && record.containerIndex == kNoIndex) {
      DebugPrintf("skipping nDrive=%d because pDriveData->driveIndex == containerIndex == 0xff\n",
                  static_cast<int>(n));
    } else if (existing->DriveIndex() != kNoIndex) {
      DebugPrintf("skipping nDrive=%d because pTempDrive->DriveIndex() != 0xff (%d)\n",
                  static_cast<int>(n), existing->DriveIndex());
    } else if (existing->ContainerIndex() != kNoIndex) {
      DebugPrintf(
          "skipping nDrive=%d because pTempDrive->DriveIndex() or ContainerIndex() != 0xff "
          "(%d)\n",
          static_cast<int>(n), existing->ContainerIndex());
    } else {
      existing->TakeMembership(record);
    }
  }
}

void CController::AddLuns(const controllerData& data) {
  DebugPrintf("CController::Initialize() numArrays %d\n", data.numArrays);
  const size_t numArrays = ValidCount(data.numArrays, kMaxArrays);
  for (size_t i = 0; i < numArrays; ++i) {
    const array& vdisk = data.arrays[i];
    DebugPrintf("CController::Initialize() numArrayPartitions %d\n", vdisk.numArrayPartitions);
    const size_t numParts = ValidCount(vdisk.numArrayPartitions, kMaxArrayPartitions);
    const bool healthy = data.controllerState == kControllerStateHealthy;
    for (size_t j = 0; j < numParts && healthy; ++j) {
      const partition& part = data.partitions[i][j];
      if (part.name[0] == 0) {
        DebugPrintf(
            "CController::Initialize() skipping volume with empty name (array %d (%s) partition "
            "%d)\n",
            static_cast<int>(i), Field(vdisk.name, sizeof(vdisk.name)).c_str(),
            static_cast<int>(j));
        continue;
      }
      const std::string name = Field(part.name, sizeof(part.name));
      if (part.type != 0 && part.type != 2 && part.type != 3) {
        DebugPrintf("CController::Initialize() ignoring partition type %d name \"%s\"\n", part.type,
                    name.c_str());
        continue;
      }
      DebugPrintf("CController::Initialize() adding partition type %d name \"%s\"\n", part.type,
                  name.c_str());
      AddLun(vdisk, &part);
    }
    if (numParts == 0 && healthy) {
      DebugPrintf("CController::Initialize() adding partition-less container \"%s\"\n",
                  Field(vdisk.name, sizeof(vdisk.name)).c_str());
      AddLun(vdisk, nullptr);
    }
    if (OsVersionGates().win7 && (Options.load() & kOptionNoStoragePools) == 0) {
      AddVdiskPool(vdisk);
    }
  }
}

void CController::AddLun(const array& vdisk, const partition* part) {
  GUID guid{};
  CoCreateGuid(&guid);
  CLun* lun = nullptr;
  if (!g_isRefreshing) {
    lun = new (std::nothrow) CLun();
  } else {
    const std::u16string name =
        part != nullptr ? HexName(part->serialNumber, 13) : HexName(vdisk.serialNumber, 16);
    FindObjAndGuid(m_pProvider.Get(), &lun, &guid, name);
  }
  if (lun == nullptr) return;
  lun->AddRef();
  lun->Initialize(&guid, m_pProvider.Get(), m_pSubSystem, this, &vdisk, part);
  auto [it, inserted] = m_pSubSystem->Luns().emplace(guid, VDS_OBJECT{VDS_OT_LUN, lun});
  if (!inserted) lun->Release();
}

void CController::AddVdiskPool(const array& vdisk) {
  GUID guid{};
  CoCreateGuid(&guid);
  CPool* pool = nullptr;
  if (!g_isRefreshing) {
    pool = new (std::nothrow) CPool();
  } else {
    FindObjAndGuid(m_pProvider.Get(), &pool, &guid, VdiskPoolName(vdisk, m_pSubSystem->Record()));
  }
  if (pool == nullptr) return;
  pool->AddRef();
  pool->Initialize(&guid, m_pProvider.Get(), m_pSubSystem, &vdisk, DriveClass(vdisk.driveType));
  auto [it, inserted] = m_pProvider->Pools().emplace(guid, VDS_OBJECT{VDS_OT_STORAGE_POOL, pool});
  if (!inserted) pool->Release();
}

void CController::AddPorts(const controllerData& data) {
  DebugPrintf("CController::Initialize() nPort %d\n", data.controller.numPorts);
  const size_t numPorts = ValidCount(data.controller.numPorts, kMaxHostPorts);
  for (size_t i = 0; i < numPorts; ++i) {
    GUID guid{};
    CoCreateGuid(&guid);
    CControllerPort* port = nullptr;
    if (!g_isRefreshing) {
      port = new (std::nothrow) CControllerPort();
    } else {
      FindObjAndGuid(m_pProvider.Get(), &port, &guid,
                     MakePortName(m_pSubSystem->HostPortType(), data.controller.ports[i]));
    }
    if (port == nullptr) continue;
    DebugPrintf("CControllerPort::Initialize(): pPort = %p\n", static_cast<void*>(port));
    port->AddRef();
    port->Initialize(&guid, m_pProvider.Get(), m_pSubSystem, this, &data, static_cast<uint32_t>(i));
    auto [it, inserted] = m_mapPorts.emplace(guid, VDS_OBJECT{VDS_OT_PORT, port});
    if (!inserted) port->Release();
  }
}

void CController::Dispose() {
  DebugPrintf("CController::Dispose(%p, initialized=%d)\n", static_cast<void*>(this), initialized);
  if (initialized != kInitializedMark) {
    DebugPrintf("CController::Dispose() called on uninitialized object\n");
    return;
  }
  FreePropString(&m_prop.pwszFriendlyName);
  FreePropString(&m_prop.pwszIdentification);
  for (auto& [id, entry] : m_mapPorts) {
    if (g_isRefreshing) {
      HoldForRefresh(entry.pObject->Unknown());
    } else {
      entry.pObject->Unknown()->Release();
    }
  }
  m_mapPorts.clear();
  if (m_pProvider) m_pProvider->RemoveObject(m_prop.id);
  m_prop = VDS_CONTROLLER_PROP{};
  m_pProvider.Reset();
  if (m_pSubSystem != nullptr) std::exchange(m_pSubSystem, nullptr)->Release();
}

void CController::DumpMySelf() const {
  DebugPrintf("CController::DumpMySelf() Controller info begin : \n");
  DebugPrintf(
      "id %s, pwszFriendlyName = %ls, pwszIdentification = %ls, status = %d, health = %d, "
      "sNumberOfPorts = %d, m_controllerId = %d, m_handle = %d\n",
      GuidLogText(m_prop.id).c_str(), m_prop.pwszFriendlyName, m_prop.pwszIdentification,
      m_prop.status, m_prop.health, m_prop.sNumberOfPorts, m_controllerId, m_handle);
  DebugPrintf("CController::DumpMySelf() Controller info end. \n");
}
