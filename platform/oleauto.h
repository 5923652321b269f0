// The automation types that WMI values travel in: BSTR, VARIANT and one-dimensional SAFEARRAY,
// with the functions of their namesakes. Element types kept: VT_UNKNOWN, VT_BSTR, VT_I4, VT_UI1,
// VT_BOOL. A SAFEARRAY here is opaque; only the functions below touch it.
#ifndef VELA_PLATFORM_OLEAUTO_H_
#define VELA_PLATFORM_OLEAUTO_H_

#include "platform/com.h"
#include "platform/wintypes.h"

using BSTR = WCHAR*;
using VARTYPE = uint16_t;
using VARIANT_BOOL = int16_t;
constexpr VARIANT_BOOL VARIANT_TRUE = -1;
constexpr VARIANT_BOOL VARIANT_FALSE = 0;

enum VARENUM : VARTYPE {
  VT_EMPTY = 0,
  VT_NULL = 1,
  VT_I2 = 2,
  VT_I4 = 3,
  VT_BSTR = 8,
  VT_BOOL = 11,
  VT_VARIANT = 12,
  VT_UNKNOWN = 13,
  VT_UI1 = 17,
  VT_UI2 = 18,
  VT_UI4 = 19,
  VT_I8 = 20,
  VT_UI8 = 21,
  VT_ARRAY = 0x2000,
};

struct SAFEARRAY;

struct VARIANT {
  VARTYPE vt;
  WORD wReserved1;
  WORD wReserved2;
  WORD wReserved3;
  union {
    LONG lVal;
    BYTE bVal;
    SHORT iVal;
    USHORT uiVal;
    ULONG ulVal;
    LONGLONG llVal;
    ULONGLONG ullVal;
    VARIANT_BOOL boolVal;
    BSTR bstrVal;
    IUnknown* punkVal;
    SAFEARRAY* parray;
    // Not kept here; it gives the union the system's size, so that a VARIANT filled by the
    // system's WMI fits.
    struct {
      void* pvRecord;
      void* pRecInfo;
    } brecVal;
  };
};
static_assert(sizeof(VARIANT) == 8 + 2 * sizeof(void*), "VARIANT must keep the system's size");

// A string of `text`'s length (0 for null) with a length prefix; null when out of memory.
BSTR SysAllocString(const WCHAR* text);
BSTR SysAllocStringLen(const WCHAR* text, UINT length);
void SysFreeString(BSTR text);
UINT SysStringLen(BSTR text);

void VariantInit(VARIANT* value);
// Frees what the value owns (string, reference, array) and leaves VT_EMPTY.
HRESULT VariantClear(VARIANT* value);
// Deep copy: strings and arrays are duplicated, references added.
HRESULT VariantCopy(VARIANT* dest, const VARIANT* src);

// A vector of `count` zeroed elements of type `vt`; null for an element type not kept.
SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lowerBound, ULONG count);
HRESULT SafeArrayDestroy(SAFEARRAY* array);
HRESULT SafeArrayGetLBound(SAFEARRAY* array, UINT dimension, LONG* bound);
HRESULT SafeArrayGetUBound(SAFEARRAY* array, UINT dimension, LONG* bound);
HRESULT SafeArrayGetVartype(SAFEARRAY* array, VARTYPE* vt);
// Copies one element out: a BSTR is duplicated and an IUnknown gets a reference, both the
// caller's. DISP_E_BADINDEX outside the bounds.
HRESULT SafeArrayGetElement(SAFEARRAY* array, const LONG* index, void* element);
// Copies one element in (a BSTR duplicated, an IUnknown referenced); the old one is freed.
HRESULT SafeArrayPutElement(SAFEARRAY* array, const LONG* index, const void* element);
// A deep copy into *copy.
HRESULT SafeArrayCopy(SAFEARRAY* array, SAFEARRAY** copy);

constexpr HRESULT DISP_E_BADINDEX = MakeHResult(0x8002000Bu);
constexpr HRESULT DISP_E_TYPEMISMATCH = MakeHResult(0x80020005u);

#endif  // VELA_PLATFORM_OLEAUTO_H_
