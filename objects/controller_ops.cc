// The controller's interface methods: properties, cache commands, lists and the alarm.
#include <memory>

#include "diag/debug_log.h"
#include "objects/controller.h"
#include "objects/enumerator.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/port.h"
#include "objects/subsystem.h"
#include "provider/provider.h"
#include "proxy/tidegate.h"

HRESULT CController::GetProperties(VDS_CONTROLLER_PROP* pControllerProp) {
  MutexGuard guard(hNotificationMutex, "CController::GetProperties");
  if (pControllerProp == nullptr) return E_POINTER;
  *pControllerProp = m_prop;
  pControllerProp->pwszFriendlyName = nullptr;
  pControllerProp->pwszIdentification = nullptr;
  if (m_prop.pwszFriendlyName != nullptr) {
    pControllerProp->pwszFriendlyName = CopyPropString(m_prop.pwszFriendlyName, 512, 254);
    if (pControllerProp->pwszFriendlyName == nullptr) return E_OUTOFMEMORY;
  }
  if (m_prop.pwszIdentification != nullptr) {
    pControllerProp->pwszIdentification = CopyPropString(m_prop.pwszIdentification, 512, 254);
    if (pControllerProp->pwszIdentification == nullptr) {
      FreePropString(&pControllerProp->pwszFriendlyName);
      return E_OUTOFMEMORY;
    }
  }
  DebugPrintf("CController::GetProperties() print VDS_CONTROLLER_PROP\n");
  DumpMySelf();
  return S_OK;
}

HRESULT CController::GetSubSystem(IVdsSubSystem** ppSubSystem) {
  if (ppSubSystem == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CController::GetSubSystem");
  if (m_pSubSystem == nullptr) return E_UNEXPECTED;
  m_pSubSystem->AddRef();
  *ppSubSystem = m_pSubSystem;
  return S_OK;
}

HRESULT CController::GetPortProperties(SHORT sPortNumber, VDS_PORT_PROP* pPortProp) {
  if (pPortProp == nullptr) return E_POINTER;
  if (sPortNumber < 0 || sPortNumber > m_prop.sNumberOfPorts) return E_INVALIDARG;
  MutexGuard guard(hNotificationMutex, "CController::GetPortProperties");
  // The position counts in id order, so it is not the physical port number; one past the last
  // port fills nothing and still succeeds.
  SHORT position = 0;
  for (const auto& [id, entry] : m_mapPorts) {
    if (position++ != sPortNumber) continue;
    const HRESULT hr = static_cast<CControllerPort*>(entry.pObject)->GetProperties(pPortProp);
    if (FAILED(hr)) return hr;
    DebugPrintf("CController::GetPortProperties() print VDS_PORT_PROP\n");
    DebugPrintf("id %s, pwszFriendlyName = %ls, pwszIdentification = %ls, status = %d\n",
                GuidLogText(pPortProp->id).c_str(), pPortProp->pwszFriendlyName,
                pPortProp->pwszIdentification, pPortProp->status);
    break;
  }
  return S_OK;
}

HRESULT CController::ForEachArray(const char* method, int (*command)(uint32_t, const void*)) {
  MutexGuard guard(hNotificationMutex, method);
  auto data = std::make_unique<controllerData>();
  if (Tidegate::get_controller_data(m_handle, data.get()) != 0) {
    DebugPrintf("OOP!!! %s get_controller_data return VDS_E_INTERNAL_ERROR, line %d\n", method,
                __LINE__);
    return VDS_E_INTERNAL_ERROR;
  }
  const size_t numArrays = ValidCount(data->numArrays, kMaxArrays);
  for (size_t i = 0; i < numArrays; ++i) command(m_handle, data->arrays[i].serialNumber);
  return S_OK;
}

HRESULT CController::FlushCache() {
  return ForEachArray("CController::FlushCache", &Tidegate::flush_cache);
}

HRESULT CController::InvalidateCache() {
  return ForEachArray("CController::InvalidateCache", &Tidegate::free_cache);
}

HRESULT CController::Reset() {
  DebugPrintf("CController::Reset() returning VDS_E_NOT_SUPPORTED\n");
  return VDS_E_NOT_SUPPORTED;
}

HRESULT CController::SetStatus(VDS_CONTROLLER_STATUS) { return VDS_E_NOT_SUPPORTED; }

HRESULT CController::QueryAssociatedLuns(IEnumVdsObject** ppEnum) {
  if (ppEnum == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CController::QueryAssociatedLuns");
  *ppEnum = nullptr;
  if (m_pSubSystem == nullptr) return E_UNEXPECTED;
  ComPtr<CEnumerator> result(new (std::nothrow) CEnumerator());
  if (!result) return E_OUTOFMEMORY;
  ComPtr<IEnumVdsObject> luns;
  HRESULT hr = m_pSubSystem->QueryLuns(luns.ReleaseAndGetAddressOf());
  if (FAILED(hr)) return hr;
  IUnknown* unknown = nullptr;
  ULONG fetched = 0;
  while (luns->Next(1, &unknown, &fetched) == S_OK && fetched == 1) {
    IVdsLun* vdsLun = nullptr;
    if (SUCCEEDED(unknown->QueryInterface(IID_IVdsLun, reinterpret_cast<void**>(&vdsLun)))) {
      if (static_cast<CLun*>(vdsLun)->Owner() == m_controllerId) hr = result->Append(unknown);
      vdsLun->Release();
    }
    unknown->Release();
  }
  result->Reset();
  *ppEnum = result.Detach();
  return hr;
}

HRESULT CController::QueryControllerPorts(IEnumVdsObject** ppEnum) {
  if (ppEnum == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CController::QueryControllerPorts");
  *ppEnum = nullptr;
  ComPtr<CEnumerator> result(new (std::nothrow) CEnumerator());
  if (!result) return E_OUTOFMEMORY;
  HRESULT hr = S_OK;
  for (const auto& [id, entry] : m_mapPorts) {
    hr = result->Append(entry.pObject->Unknown());
    if (FAILED(hr)) break;
  }
  result->Reset();
  *ppEnum = result.Detach();
  return hr;
}

// The one maintenance command a controller has silences its alarm, whichever start or pulse
// asks for it; the proxy's result is passed on as it stands.
HRESULT CController::StartMaintenance(VDS_MAINTENANCE_OPERATION operation) {
  if (operation != VDS_MTO_BEEP_ALARM) return VDS_E_NOT_SUPPORTED;
  return Tidegate::silence_alarm(m_handle);
}

HRESULT CController::StopMaintenance(VDS_MAINTENANCE_OPERATION) { return S_OK; }

HRESULT CController::PulseMaintenance(VDS_MAINTENANCE_OPERATION operation, ULONG) {
  if (operation != VDS_MTO_BEEP_ALARM) return VDS_E_NOT_SUPPORTED;
  return Tidegate::silence_alarm(m_handle);
}
