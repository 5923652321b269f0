// CoCreateInstance over the classes the platform serves.
#include "platform/com.h"
#include "platform/vds_interfaces.h"
#include "platform/vds_loader.h"
#include "platform/wbem.h"

HRESULT CoCreateInstance(REFCLSID rclsid, IUnknown* pUnkOuter, DWORD dwClsContext, REFIID riid,
                         void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (IsEqualGUID(rclsid, CLSID_WbemLocator) && (dwClsContext & CLSCTX_INPROC_SERVER) != 0) {
    if (pUnkOuter != nullptr) return CLASS_E_NOAGGREGATION;
    return CreateWbemLocator(riid, ppv);
  }
  if (IsEqualGUID(rclsid, CLSID_VdsLoader) && (dwClsContext & CLSCTX_LOCAL_SERVER) != 0) {
    if (pUnkOuter != nullptr) return CLASS_E_NOAGGREGATION;
    return CreateVdsAdmin(riid, ppv);
  }
  return REGDB_E_CLASSNOTREG;
}
