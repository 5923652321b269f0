#include "objects/port.h"

#include <cstring>

#include "diag/debug_log.h"
#include "objects/controller.h"
#include "objects/enumerator.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "provider/provider.h"

namespace {

constexpr uint32_t kInitializedMark = 0x132B41A;

bool IsFcPort(uint8_t hostPortType) {
  return hostPortType >= kHostPortFcFirst && hostPortType <= kHostPortFcLast;
}

// The 8 bytes that name a port of this subsystem's kind, or null when its kind has none.
const uint8_t* PortIdBytes(uint8_t subsystemHostPortType, const port& record) {
  if (subsystemHostPortType == kHostPortSas) return record.sasPortId;
  if (IsFcPort(subsystemHostPortType)) return record.wwpn;
  return nullptr;
}

VDS_PORT_STATUS PortStatus(const port& record) {
  if (IsFcPort(record.hostPortType)) return record.linkUp != 0 ? VDS_PRS_ONLINE : VDS_PRS_OFFLINE;
  if (record.hostPortType == kHostPortSas) {
    return record.linkUp != 0 && record.sasLinkUp != 0 ? VDS_PRS_ONLINE : VDS_PRS_OFFLINE;
  }
  if (record.hostPortType == kHostPortIscsi) {
    return record.iscsiLinkUp != 0 ? VDS_PRS_ONLINE : VDS_PRS_OFFLINE;
  }
  return VDS_PRS_UNKNOWN;
}

}  // namespace

std::u16string MakePortName(uint8_t subsystemHostPortType, const port& record) {
  std::u16string name;
  if (const uint8_t* id = PortIdBytes(subsystemHostPortType, record)) name = HexName(id, 8);
  // An iSCSI port has no WWPN; when the name came out as sixteen zeros its MAC names it.
  if (record.hostPortType == kHostPortIscsi && name == u"0000000000000000") {
    name = HexName(record.macAddress, sizeof(record.macAddress));
  }
  return name;
}

CControllerPort::CControllerPort() : CVdsBase(VDS_OT_PORT, GetUnknown()) {}

CControllerPort::~CControllerPort() {
  MutexGuard guard(hNotificationMutex, "CControllerPort::~CControllerPort");
  Dispose();
}

HRESULT CControllerPort::Initialize(const VDS_OBJECT_ID* id, CProvider* pProvider,
                                    CSubSystem* pSubSystem, CController* pController,
                                    const controllerData* pControllerData, uint32_t channel) {
  DebugPrintf("CControllerPort::Initialize()\n");
  InitializeCounter counter(pProvider);
  if (id == nullptr || pProvider == nullptr || pSubSystem == nullptr || pController == nullptr ||
      pControllerData == nullptr || channel >= kMaxHostPorts) {
    return E_POINTER;
  }
  MutexGuard guard(hNotificationMutex, "CControllerPort::Initialize");
  Dispose();
  initialized = kInitializedMark;
  m_pProvider.Attach(pProvider);
  pSubSystem->AddRef();
  m_pSubSystem = pSubSystem;
  pController->AddRef();
  m_pController = pController;
  m_prop.id = *id;
  pProvider->AddObject(*id, VDS_OBJECT{VDS_OT_PORT, this});
  DebugPrintf("CControllerPort::Initialize() channel=%d\n", channel);

  const port& record = pControllerData->controller.ports[channel];
  const std::u16string name = MakePortName(pSubSystem->HostPortType(), record);
  if (const uint8_t* idBytes = PortIdBytes(pSubSystem->HostPortType(), record)) {
    std::memcpy(m_portWWN, idBytes, sizeof(m_portWWN));
  }
  m_prop.pwszFriendlyName = AllocPropString(name);
  m_prop.pwszIdentification = AllocPropString(name);
  m_prop.status = PortStatus(record);
  m_portNumber = record.portNumber;
  m_controllerId = pControllerData->controller.controllerId;
  pProvider->AddName(*id, name, this);
  DebugPrintf("CControllerPort::Initialize() print VDS_PORT_PROP:\n");
  DebugPrintf("id %s, pwszFriendlyName = %ls, pwszIdentification = %ls, status = %d\n",
              GuidLogText(m_prop.id).c_str(), m_prop.pwszFriendlyName, m_prop.pwszIdentification,
              m_prop.status);
  DebugPrintf("CControllerPort::Initialize() out\n");
  return S_OK;
}

void CControllerPort::Dispose() {
  DebugPrintf("CControllerPort::Dispose(this %p ptrs %p and %p initialized=%u)\n",
              static_cast<void*>(this), m_prop.pwszFriendlyName, m_prop.pwszIdentification,
              initialized);
  if (initialized != kInitializedMark) return;
  FreePropString(&m_prop.pwszFriendlyName);
  FreePropString(&m_prop.pwszIdentification);
  if (m_pProvider) m_pProvider->RemoveObject(m_prop.id);
  m_prop = VDS_PORT_PROP{};
  m_pProvider.Reset();
  if (m_pController != nullptr) std::exchange(m_pController, nullptr)->Release();
  if (m_pSubSystem != nullptr) std::exchange(m_pSubSystem, nullptr)->Release();
  DebugPrintf("CControllerPort::Dispose() out\n");
}

HRESULT CControllerPort::GetProperties(VDS_PORT_PROP* pPortProp) {
  if (pPortProp == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CControllerPort::GetProperties");
  *pPortProp = m_prop;
  pPortProp->pwszFriendlyName = CopyPropString(m_prop.pwszFriendlyName, 514, 256);
  pPortProp->pwszIdentification = CopyPropString(m_prop.pwszIdentification, 514, 256);
  if ((m_prop.pwszFriendlyName != nullptr && pPortProp->pwszFriendlyName == nullptr) ||
      (m_prop.pwszIdentification != nullptr && pPortProp->pwszIdentification == nullptr)) {
    if (pPortProp->pwszFriendlyName != nullptr) FreePropString(&pPortProp->pwszFriendlyName);
    if (pPortProp->pwszIdentification != nullptr) FreePropString(&pPortProp->pwszIdentification);
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT CControllerPort::GetController(IVdsController** ppController) {
  if (ppController == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CControllerPort::GetController");
  if (m_pController == nullptr) return E_UNEXPECTED;
  m_pController->AddRef();
  *ppController = m_pController;
  return S_OK;
}

HRESULT CControllerPort::QueryAssociatedLuns(IEnumVdsObject** ppEnum) {
  if (ppEnum == nullptr) return E_POINTER;
  *ppEnum = nullptr;
  DebugPrintf("CControllerPort::QueryAssociatedLuns()\n");
  MutexGuard guard(hNotificationMutex, "CControllerPort::QueryAssociatedLuns");
  if (m_pSubSystem == nullptr) return E_UNEXPECTED;
  ComPtr<CEnumerator> result(new (std::nothrow) CEnumerator());
  if (!result) return E_OUTOFMEMORY;
  ComPtr<IEnumVdsObject> luns;
  const HRESULT hr = m_pSubSystem->QueryLuns(luns.ReleaseAndGetAddressOf());
  if (FAILED(hr)) return hr;
  IUnknown* unknown = nullptr;
  ULONG fetched = 0;
  while (luns->Next(1, &unknown, &fetched) == S_OK && fetched == 1) {
    IVdsLun* vdsLun = nullptr;
    if (SUCCEEDED(unknown->QueryInterface(IID_IVdsLun, reinterpret_cast<void**>(&vdsLun)))) {
      // In ULP mode every port reaches every LUN.
      if (m_pSubSystem->SupportULP() || static_cast<CLun*>(vdsLun)->Owner() == m_controllerId) {
        result->Append(unknown);
      }
      vdsLun->Release();
    }
    unknown->Release();
  }
  result->Reset();
  *ppEnum = result.Detach();
  DebugPrintf("CControllerPort::QueryAssociatedLuns() out\n");
  return S_OK;
}

HRESULT CControllerPort::Reset() { return VDS_E_NOT_SUPPORTED; }

HRESULT CControllerPort::SetStatus(VDS_PORT_STATUS) { return VDS_E_NOT_SUPPORTED; }
