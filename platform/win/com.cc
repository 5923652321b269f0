// COM on Windows: the task allocator, GUIDs and class activation of the system.
#include "platform/com.h"

#include "platform/guid.h"
#include "platform/vds_loader.h"
#include "platform/wbem.h"
#include "platform/win/sdk.h"

void* CoTaskMemAlloc(SIZE_T size) { return winsdk::CoTaskMemAlloc(size); }

void CoTaskMemFree(void* block) { winsdk::CoTaskMemFree(block); }

HRESULT CoCreateGuid(GUID* guid) {
  if (guid == nullptr) return E_POINTER;
  return winsdk::CoCreateGuid(guid);
}

HRESULT CoCreateInstance(REFCLSID rclsid, IUnknown* pUnkOuter, DWORD dwClsContext, REFIID riid,
                         void** ppv) {
  return winsdk::CoCreateInstance(&rclsid, pUnkOuter, dwClsContext, &riid, ppv);
}

HRESULT CoSetProxyBlanket(IUnknown* pProxy, DWORD dwAuthnSvc, DWORD dwAuthzSvc,
                          WCHAR* pServerPrincName, DWORD dwAuthnLevel, DWORD dwImpLevel,
                          void* pAuthInfo, DWORD dwCapabilities) {
  return winsdk::CoSetProxyBlanket(pProxy, dwAuthnSvc, dwAuthzSvc, pServerPrincName, dwAuthnLevel,
                                   dwImpLevel, pAuthInfo, dwCapabilities);
}
