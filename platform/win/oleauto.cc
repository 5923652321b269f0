// The automation types of Windows (oleaut32): strings, VARIANTs and SAFEARRAYs that the
// system's WMI hands out are made and freed by the same allocator.
#include "platform/oleauto.h"

#include "platform/win/sdk.h"

BSTR SysAllocString(const WCHAR* text) { return winsdk::SysAllocString(text); }

BSTR SysAllocStringLen(const WCHAR* text, UINT length) {
  return winsdk::SysAllocStringLen(text, length);
}

void SysFreeString(BSTR text) { winsdk::SysFreeString(text); }

UINT SysStringLen(BSTR text) { return winsdk::SysStringLen(text); }

void VariantInit(VARIANT* value) { winsdk::VariantInit(value); }

HRESULT VariantClear(VARIANT* value) { return winsdk::VariantClear(value); }

HRESULT VariantCopy(VARIANT* dest, const VARIANT* src) { return winsdk::VariantCopy(dest, src); }

SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lowerBound, ULONG count) {
  return static_cast<SAFEARRAY*>(winsdk::SafeArrayCreateVector(vt, lowerBound, count));
}

HRESULT SafeArrayDestroy(SAFEARRAY* array) { return winsdk::SafeArrayDestroy(array); }

HRESULT SafeArrayGetLBound(SAFEARRAY* array, UINT dimension, LONG* bound) {
  return winsdk::SafeArrayGetLBound(array, dimension, bound);
}

HRESULT SafeArrayGetUBound(SAFEARRAY* array, UINT dimension, LONG* bound) {
  return winsdk::SafeArrayGetUBound(array, dimension, bound);
}

HRESULT SafeArrayGetVartype(SAFEARRAY* array, VARTYPE* vt) {
  return winsdk::SafeArrayGetVartype(array, vt);
}

HRESULT SafeArrayGetElement(SAFEARRAY* array, const LONG* index, void* element) {
  return winsdk::SafeArrayGetElement(array, index, element);
}

HRESULT SafeArrayPutElement(SAFEARRAY* array, const LONG* index, const void* element) {
  return winsdk::SafeArrayPutElement(array, index, element);
}

HRESULT SafeArrayCopy(SAFEARRAY* array, SAFEARRAY** copy) {
  return winsdk::SafeArrayCopy(array, reinterpret_cast<void**>(copy));
}
