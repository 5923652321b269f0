// The subsystem's interface methods: properties, lists, drive lookup and naming.
#include <cstring>
#include <memory>

#include "diag/debug_log.h"
#include "objects/drive.h"
#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "platform/strings.h"
#include "provider/provider.h"
#include "provisioning/hints.h"
#include "proxy/tidegate.h"

namespace {

// The longest subsystem name the controllers keep.
constexpr size_t kMaxSystemNameChars = 80;

}  // namespace

HRESULT CSubSystem::GetProperties(VDS_SUB_SYSTEM_PROP* pSubSystemProp) {
  MutexGuard guard(hNotificationMutex, "CSubSystem::GetProperties");
  if (pSubSystemProp == nullptr) return E_POINTER;
  *pSubSystemProp = m_prop;
  pSubSystemProp->pwszFriendlyName = nullptr;
  pSubSystemProp->pwszIdentification = nullptr;
  if (m_prop.pwszFriendlyName != nullptr) {
    pSubSystemProp->pwszFriendlyName = CopyPropString(m_prop.pwszFriendlyName, 512, 254);
    if (pSubSystemProp->pwszFriendlyName == nullptr) return E_OUTOFMEMORY;
  }
  if (m_prop.pwszIdentification != nullptr) {
    pSubSystemProp->pwszIdentification = CopyPropString(m_prop.pwszIdentification, 512, 254);
    if (pSubSystemProp->pwszIdentification == nullptr) {
      FreePropString(&pSubSystemProp->pwszFriendlyName);
      return E_OUTOFMEMORY;
    }
  }
  return S_OK;
}

HRESULT CSubSystem::GetProperties2(VDS_SUB_SYSTEM_PROP2* pSubSystemProp2) {
  MutexGuard guard(hNotificationMutex, "CSubSystem::GetProperties2");
  if (pSubSystemProp2 == nullptr) return E_POINTER;
  VDS_SUB_SYSTEM_PROP prop{};
  const HRESULT hr = GetProperties(&prop);
  if (FAILED(hr)) return hr;
  *pSubSystemProp2 = VDS_SUB_SYSTEM_PROP2{};
  pSubSystemProp2->id = prop.id;
  pSubSystemProp2->pwszFriendlyName = prop.pwszFriendlyName;
  pSubSystemProp2->pwszIdentification = prop.pwszIdentification;
  pSubSystemProp2->ulFlags = prop.ulFlags;
  pSubSystemProp2->ulStripeSizeFlags = prop.ulStripeSizeFlags;
  pSubSystemProp2->ulSupportedRaidTypeFlags = 0x91A;
  pSubSystemProp2->status = prop.status;
  pSubSystemProp2->health = prop.health;
  pSubSystemProp2->sNumberOfInternalBuses = prop.sNumberOfInternalBuses;
  pSubSystemProp2->sMaxNumberOfSlotsEachBus = prop.sMaxNumberOfSlotsEachBus;
  pSubSystemProp2->sMaxNumberOfControllers = prop.sMaxNumberOfControllers;
  pSubSystemProp2->sRebuildPriority = prop.sRebuildPriority;
  pSubSystemProp2->ulNumberOfEnclosures = static_cast<ULONG>(prop.sNumberOfInternalBuses);
  return S_OK;
}

HRESULT CSubSystem::GetProvider(IVdsProvider** ppProvider) {
  if (ppProvider == nullptr) {
    DebugPrintf("OOP!!! CSubSystem::GetProvider ppProvider == NULL return E_POINTER, line %d\n",
                __LINE__);
    return E_POINTER;
  }
  if (!m_pProvider) return E_UNEXPECTED;
  *ppProvider = m_pProvider.Get();
  (*ppProvider)->AddRef();
  return S_OK;
}

HRESULT CSubSystem::QueryControllers(IEnumVdsObject** ppEnum) {
  MutexGuard guard(hNotificationMutex, "CSubSystem::QueryControllers");
  if (g_allowControllerRefresh) {
    Refreshable refresh(m_pProvider.Get());
  }
  if (ppEnum == nullptr) {
    DebugPrintf("OOP!!! CSubSystem::QueryControllers ppEnum == NULL return E_POINTER, line %d\n",
                __LINE__);
    return E_POINTER;
  }
  if (!m_pProvider) return E_UNEXPECTED;
  return m_pProvider->QueryObjects(m_mapControllers, ppEnum);
}

HRESULT CSubSystem::QueryLuns(IEnumVdsObject** ppEnum) {
  MutexGuard guard(hNotificationMutex, "CSubSystem::QueryLuns");
  { Refreshable refresh(m_pProvider.Get()); }
  if (ppEnum == nullptr) {
    DebugPrintf("OOP!!! CSubSystem::QueryLuns ppEnum == NULL return E_POINTER, line %d\n",
                __LINE__);
    return E_POINTER;
  }
  if (!m_pProvider) return E_UNEXPECTED;
  return m_pProvider->QueryObjects(m_mapLuns, ppEnum);
}

HRESULT CSubSystem::QueryDrives(IEnumVdsObject** ppEnum) {
  MutexGuard guard(hNotificationMutex, "CSubSystem::QueryDrives");
  { Refreshable refresh(m_pProvider.Get()); }
  if (ppEnum == nullptr) {
    DebugPrintf("OOP!!! CSubSystem::QueryDrives ppEnum == NULL return E_POINTER, line %d\n",
                __LINE__);
    return E_POINTER;
  }
  if (!m_pProvider) return E_UNEXPECTED;
  const HRESULT hr = m_pProvider->QueryObjects(m_mapDrives, ppEnum);
  if (FAILED(hr)) return hr;
  IUnknown* unknown = nullptr;
  ULONG fetched = 0;
  while ((*ppEnum)->Next(1, &unknown, &fetched) == S_OK && fetched == 1) {
    IVdsDrive* vdsDrive = nullptr;
    if (SUCCEEDED(unknown->QueryInterface(IID_IVdsDrive, reinterpret_cast<void**>(&vdsDrive)))) {
      const auto* drive = static_cast<CDrive*>(vdsDrive);
      DebugPrintf("  Drive %-20.32s encl %d bus %d slot %2d guid %s\n", drive->DriveSn(),
                  drive->Enclosure(), drive->Prop().sInternalBusNumber, drive->Slot(),
                  GuidLogText(drive->Prop().id).c_str());
      vdsDrive->Release();
    }
    unknown->Release();
  }
  (*ppEnum)->Reset();
  return hr;
}

HRESULT CSubSystem::GetDrive(SHORT sBusNumber, SHORT sSlotNumber, IVdsDrive** ppDrive) {
  if (ppDrive == nullptr) {
    DebugPrintf("OOP!!! CSubSystem::QueryDrives ppDrive == NULL return E_POINTER, line %d\n",
                __LINE__);
    return E_POINTER;
  }
  MutexGuard guard(hNotificationMutex, "CSubSystem::GetDrive");
  *ppDrive = nullptr;
  CDrive* drive = FindDrive(sBusNumber, sSlotNumber);
  if (drive == nullptr) {
    DebugPrintf("BUGBUGBUG!!! CSubSystem::GetDrive() return VDS_E_OBJECT_NOT_FOUND %d.%d\n",
                sBusNumber, sSlotNumber);
    return VDS_E_OBJECT_NOT_FOUND;
  }
  drive->AddRef();
  *ppDrive = drive;
  DebugPrintf("CSubSystem::GetDrive() out\n");
  return S_OK;
}

HRESULT CSubSystem::GetDrive2(SHORT sBusNumber, SHORT sSlotNumber, ULONG /*ulEnclosureNumber*/,
                              IVdsDrive** ppDrive) {
  MutexGuard guard(hNotificationMutex, "CSubSystem::GetDrive2");
  const HRESULT hr = GetDrive(sBusNumber, sSlotNumber, ppDrive);
  if (FAILED(hr)) DebugPrintf("GetDrive failed with status 0x%x\n", hr);
  return hr;
}

HRESULT CSubSystem::SetFriendlyName(LPWSTR pwszFriendlyName) {
  if (pwszFriendlyName == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CSubSystem::SetFriendlyName");
  std::u16string name = PropText(pwszFriendlyName);
  if (m_prop.pwszFriendlyName != nullptr && name == PropText(m_prop.pwszFriendlyName)) {
    return S_OK;
  }
  const bool truncated = name.size() > kMaxSystemNameChars;
  if (truncated) name.resize(kMaxSystemNameChars);
  if (m_pProvider) {
    for (const auto& [id, entry] : m_pProvider->SubSystems()) {
      const auto* other = static_cast<CSubSystem*>(entry.pObject);
      if (PropText(other->Prop().pwszFriendlyName) == name) return VDS_E_NAME_NOT_UNIQUE;
    }
  }
  // Whole characters only: a cut inside one would leave the controller an invalid name.
  const std::string narrow = NarrowName(name, sizeof(advNetInterface{}.systemName));
  bool sent = false;
  for (DWORD handle : {m_record.controllerA, m_record.controllerB}) {
    if (handle == 0) continue;
    auto unified = std::make_unique<unifiedControllerData>();
    if (Tidegate::get_unified_controller_data(handle, unified.get()) != 0) continue;
    auto net = std::make_unique<advNetInterface>();
    std::memcpy(net->systemName, narrow.data(), std::min(narrow.size(), sizeof(net->systemName)));
    if (Tidegate::set_adv_net(handle, *net) == 0) {
      sent = true;
      break;
    }
  }
  if (!sent) return VDS_E_INTERNAL_ERROR;
  // A cut name shows only after the next refresh reads it back from the controllers.
  if (truncated) return VDS_S_NAME_TRUNCATED;
  FreePropString(&m_prop.pwszFriendlyName);
  m_prop.pwszFriendlyName = AllocPropString(name);
  m_SysName = name;
  DebugPrintf("CSubSystem::SetFriendlyName out\n");
  return S_OK;
}

HRESULT CSubSystem::SetControllerStatus(VDS_OBJECT_ID*, LONG, VDS_OBJECT_ID*, LONG) {
  return VDS_E_NOT_SUPPORTED;
}

HRESULT CSubSystem::ReplaceDrive(VDS_OBJECT_ID, VDS_OBJECT_ID) { return VDS_E_NOT_SUPPORTED; }

HRESULT CSubSystem::SetStatus(VDS_SUB_SYSTEM_STATUS status) {
  DebugPrintf("SetStatus %d\n", status);
  return VDS_E_NOT_SUPPORTED;
}
