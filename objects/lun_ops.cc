// The LUN's interface methods that read the object, and those that refuse.
#include "diag/debug_log.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "platform/strings.h"
#include "provider/provider.h"

HRESULT CLun::GetProperties(VDS_LUN_PROP* pLunProp) {
  if (pLunProp == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CLun::GetProperties");
  *pLunProp = m_prop;
  pLunProp->pwszFriendlyName = CopyPropString(m_prop.pwszFriendlyName, 512, 254);
  pLunProp->pwszIdentification = CopyPropString(m_prop.pwszIdentification, 512, 254);
  const size_t listChars = WcsLen(m_prop.pwszUnmaskingList);
  pLunProp->pwszUnmaskingList =
      CopyPropString(m_prop.pwszUnmaskingList, (listChars + 1) * sizeof(WCHAR), listChars);
  if ((m_prop.pwszFriendlyName != nullptr && pLunProp->pwszFriendlyName == nullptr) ||
      (m_prop.pwszIdentification != nullptr && pLunProp->pwszIdentification == nullptr) ||
      (m_prop.pwszUnmaskingList != nullptr && pLunProp->pwszUnmaskingList == nullptr)) {
    DebugPrintf("OOP!! CLun::GetProperties() out of memory, line = %d\n", __LINE__);
    if (pLunProp->pwszFriendlyName != nullptr) FreePropString(&pLunProp->pwszFriendlyName);
    if (pLunProp->pwszIdentification != nullptr) FreePropString(&pLunProp->pwszIdentification);
    if (pLunProp->pwszUnmaskingList != nullptr) FreePropString(&pLunProp->pwszUnmaskingList);
    return E_OUTOFMEMORY;
  }
  DebugPrintf("CLun::GetProperties() print VDS_LUN_PROP:\n");
  DumpMySelf();
  DebugPrintf("CLun::GetProperties() out\n");
  return S_OK;
}

HRESULT CLun::GetSubSystem(IVdsSubSystem** ppSubSystem) {
  if (ppSubSystem == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CLun::GetSubSystem");
  if (m_pSubSystem == nullptr) return E_UNEXPECTED;
  m_pSubSystem->AddRef();
  *ppSubSystem = m_pSubSystem;
  return S_OK;
}

HRESULT CLun::QueryPlexes(IEnumVdsObject** ppEnum) {
  if (ppEnum == nullptr) return E_POINTER;
  DebugPrintf("m_mapPlexes.size() %d\n", static_cast<int>(m_mapPlexes.size()));
  MutexGuard guard(hNotificationMutex, "CLun::QueryPlexes");
  if (!m_pProvider) return E_UNEXPECTED;
  return m_pProvider->QueryObjects(m_mapPlexes, ppEnum);
}

HRESULT CLun::AddPlex(VDS_OBJECT_ID, IVdsAsync**) {
  DebugPrintf("CLun::AddPlex\n");
  return VDS_E_NOT_SUPPORTED;
}

HRESULT CLun::RemovePlex(VDS_OBJECT_ID, IVdsAsync**) {
  DebugPrintf("CLun::RemovePlex\n");
  return VDS_E_NOT_SUPPORTED;
}

HRESULT CLun::Recover(IVdsAsync**) {
  DebugPrintf("CLun::Recover\n");
  return VDS_E_NOT_SUPPORTED;
}

HRESULT CLun::AssociateControllers(VDS_OBJECT_ID*, LONG, VDS_OBJECT_ID*, LONG) {
  DebugPrintf("CLun::AssociateControllers\n");
  return VDS_E_NOT_SUPPORTED;
}

HRESULT CLun::SetStatus(VDS_LUN_STATUS) {
  DebugPrintf("CLun::SetStatus\n");
  return VDS_E_NOT_SUPPORTED;
}

// The changing methods, the hints and the identification data come with the provisioning and
// identification work; until then they refuse.
HRESULT CLun::QueryActiveControllers(IEnumVdsObject**) { return E_NOTIMPL; }
HRESULT CLun::QueryActiveControllerPorts(IEnumVdsObject**) { return E_NOTIMPL; }
