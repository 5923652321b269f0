#include "platform/oleauto.h"

#include <cstring>
#include <new>
#include <vector>

#include "platform/hresult.h"

// The length prefix sits before the text, as on Windows (a byte count).
BSTR SysAllocStringLen(const WCHAR* text, UINT length) {
  auto* block = static_cast<uint32_t*>(
      ::operator new(sizeof(uint32_t) + (size_t{length} + 1) * sizeof(WCHAR), std::nothrow));
  if (block == nullptr) return nullptr;
  block[0] = length * sizeof(WCHAR);
  auto* chars = reinterpret_cast<WCHAR*>(block + 1);
  if (text != nullptr && length != 0) std::memcpy(chars, text, length * sizeof(WCHAR));
  chars[length] = 0;
  return chars;
}

BSTR SysAllocString(const WCHAR* text) {
  UINT length = 0;
  if (text != nullptr) {
    while (text[length] != 0) ++length;
  }
  return SysAllocStringLen(text, length);
}

void SysFreeString(BSTR text) {
  if (text != nullptr) ::operator delete(reinterpret_cast<uint32_t*>(text) - 1);
}

UINT SysStringLen(BSTR text) {
  if (text == nullptr) return 0;
  return (reinterpret_cast<uint32_t*>(text) - 1)[0] / sizeof(WCHAR);
}

struct SAFEARRAY {
  VARTYPE vt;
  LONG lowerBound;
  std::vector<VARIANT> elements;  // each of type vt
};

void VariantInit(VARIANT* value) {
  std::memset(value, 0, sizeof(*value));
  value->vt = VT_EMPTY;
}

HRESULT VariantClear(VARIANT* value) {
  if (value == nullptr) return E_INVALIDARG;
  if ((value->vt & VT_ARRAY) != 0) {
    SafeArrayDestroy(value->parray);
  } else if (value->vt == VT_BSTR) {
    SysFreeString(value->bstrVal);
  } else if (value->vt == VT_UNKNOWN) {
    if (value->punkVal != nullptr) value->punkVal->Release();
  }
  VariantInit(value);
  return S_OK;
}

HRESULT VariantCopy(VARIANT* dest, const VARIANT* src) {
  if (dest == nullptr || src == nullptr) return E_INVALIDARG;
  if (dest == src) return S_OK;
  VARIANT copy = *src;
  if ((src->vt & VT_ARRAY) != 0) {
    if (src->parray != nullptr && SafeArrayCopy(src->parray, &copy.parray) != S_OK) {
      return E_OUTOFMEMORY;
    }
  } else if (src->vt == VT_BSTR) {
    if (src->bstrVal != nullptr) {
      copy.bstrVal = SysAllocStringLen(src->bstrVal, SysStringLen(src->bstrVal));
      if (copy.bstrVal == nullptr) return E_OUTOFMEMORY;
    }
  } else if (src->vt == VT_UNKNOWN) {
    if (src->punkVal != nullptr) src->punkVal->AddRef();
  }
  VariantClear(dest);
  *dest = copy;
  return S_OK;
}

SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lowerBound, ULONG count) {
  if (vt != VT_UNKNOWN && vt != VT_BSTR && vt != VT_I4 && vt != VT_UI1 && vt != VT_BOOL) {
    return nullptr;
  }
  auto* array = new (std::nothrow) SAFEARRAY{vt, lowerBound, {}};
  if (array == nullptr) return nullptr;
  VARIANT blank;
  VariantInit(&blank);
  blank.vt = vt;
  array->elements.assign(count, blank);
  return array;
}

HRESULT SafeArrayDestroy(SAFEARRAY* array) {
  if (array == nullptr) return S_OK;
  for (VARIANT& element : array->elements) VariantClear(&element);
  delete array;
  return S_OK;
}

HRESULT SafeArrayGetLBound(SAFEARRAY* array, UINT dimension, LONG* bound) {
  if (array == nullptr || bound == nullptr || dimension != 1) return E_INVALIDARG;
  *bound = array->lowerBound;
  return S_OK;
}

HRESULT SafeArrayGetUBound(SAFEARRAY* array, UINT dimension, LONG* bound) {
  if (array == nullptr || bound == nullptr || dimension != 1) return E_INVALIDARG;
  *bound = array->lowerBound + static_cast<LONG>(array->elements.size()) - 1;
  return S_OK;
}

HRESULT SafeArrayGetVartype(SAFEARRAY* array, VARTYPE* vt) {
  if (array == nullptr || vt == nullptr) return E_INVALIDARG;
  *vt = array->vt;
  return S_OK;
}

namespace {

VARIANT* ElementAt(SAFEARRAY* array, const LONG* index) {
  if (array == nullptr || index == nullptr) return nullptr;
  int64_t offset = int64_t{*index} - array->lowerBound;
  if (offset < 0 || offset >= static_cast<int64_t>(array->elements.size())) return nullptr;
  return &array->elements[static_cast<size_t>(offset)];
}

}  // namespace

HRESULT SafeArrayGetElement(SAFEARRAY* array, const LONG* index, void* element) {
  if (element == nullptr) return E_INVALIDARG;
  VARIANT* slot = ElementAt(array, index);
  if (slot == nullptr) return DISP_E_BADINDEX;
  switch (array->vt) {
    case VT_UNKNOWN:
      if (slot->punkVal != nullptr) slot->punkVal->AddRef();
      *static_cast<IUnknown**>(element) = slot->punkVal;
      return S_OK;
    case VT_BSTR: {
      BSTR copy = nullptr;
      if (slot->bstrVal != nullptr) {
        copy = SysAllocStringLen(slot->bstrVal, SysStringLen(slot->bstrVal));
        if (copy == nullptr) return E_OUTOFMEMORY;
      }
      *static_cast<BSTR*>(element) = copy;
      return S_OK;
    }
    case VT_I4:
      *static_cast<LONG*>(element) = slot->lVal;
      return S_OK;
    case VT_UI1:
      *static_cast<BYTE*>(element) = slot->bVal;
      return S_OK;
    case VT_BOOL:
      *static_cast<VARIANT_BOOL*>(element) = slot->boolVal;
      return S_OK;
    default:
      return DISP_E_TYPEMISMATCH;
  }
}

HRESULT SafeArrayPutElement(SAFEARRAY* array, const LONG* index, const void* element) {
  VARIANT* slot = ElementAt(array, index);
  if (slot == nullptr) return DISP_E_BADINDEX;
  VARIANT value;
  VariantInit(&value);
  value.vt = array->vt;
  switch (array->vt) {
    case VT_UNKNOWN:
      value.punkVal = const_cast<IUnknown*>(static_cast<const IUnknown*>(element));
      break;
    case VT_BSTR:
      value.bstrVal = const_cast<WCHAR*>(static_cast<const WCHAR*>(element));
      break;
    case VT_I4:
      value.lVal = *static_cast<const LONG*>(element);
      break;
    case VT_UI1:
      value.bVal = *static_cast<const BYTE*>(element);
      break;
    case VT_BOOL:
      value.boolVal = *static_cast<const VARIANT_BOOL*>(element);
      break;
    default:
      return DISP_E_TYPEMISMATCH;
  }
  return VariantCopy(slot, &value);
}

HRESULT SafeArrayCopy(SAFEARRAY* array, SAFEARRAY** copy) {
  if (array == nullptr || copy == nullptr) return E_INVALIDARG;
  SAFEARRAY* out = SafeArrayCreateVector(array->vt, array->lowerBound, 0);
  if (out == nullptr) return E_OUTOFMEMORY;
  out->elements.reserve(array->elements.size());
  for (const VARIANT& element : array->elements) {
    VARIANT blank;
    VariantInit(&blank);
    out->elements.push_back(blank);
    if (VariantCopy(&out->elements.back(), &element) != S_OK) {
      SafeArrayDestroy(out);
      return E_OUTOFMEMORY;
    }
  }
  *copy = out;
  return S_OK;
}
