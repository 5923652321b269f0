#include "multipath/wmi_values.h"

#include "diag/debug_log.h"
#include "platform/host_view.h"
#include "platform/strings.h"

bool GetWmiU32(IWbemClassObject* object, const char16_t* name, uint32_t* value) {
  ScopedVariant v;
  if (object == nullptr || object->Get(name, 0, &v, nullptr, nullptr) != S_OK) return false;
  switch (v->vt) {
    case VT_I4:
      *value = static_cast<uint32_t>(v->lVal);
      return true;
    case VT_UI4:
      *value = v->ulVal;
      return true;
    case VT_UI1:
      *value = v->bVal;
      return true;
    case VT_I2:
      *value = static_cast<uint16_t>(v->iVal);
      return true;
    case VT_UI2:
      *value = v->uiVal;
      return true;
    case VT_BOOL:
      *value = v->boolVal != VARIANT_FALSE ? 1 : 0;
      return true;
    default:
      return false;
  }
}

bool GetWmiU64(IWbemClassObject* object, const char16_t* name, uint64_t* value) {
  ScopedVariant v;
  if (object == nullptr || object->Get(name, 0, &v, nullptr, nullptr) != S_OK || v->vt != VT_BSTR) {
    return false;
  }
  return ParseDecimalU64(Utf16ToUtf8(v->bstrVal), value);
}

bool GetWmiString(IWbemClassObject* object, const char16_t* name, std::u16string* value) {
  ScopedVariant v;
  if (object == nullptr || object->Get(name, 0, &v, nullptr, nullptr) != S_OK || v->vt != VT_BSTR ||
      v->bstrVal == nullptr) {
    return false;
  }
  value->assign(v->bstrVal, SysStringLen(v->bstrVal));
  return true;
}

ComPtr<IWbemClassObject> GetWmiObject(IWbemClassObject* object, const char16_t* name) {
  ScopedVariant v;
  ComPtr<IWbemClassObject> result;
  if (object == nullptr || object->Get(name, 0, &v, nullptr, nullptr) != S_OK ||
      v->vt != VT_UNKNOWN || v->punkVal == nullptr) {
    return result;
  }
  v->punkVal->QueryInterface(IID_IWbemClassObject,
                             reinterpret_cast<void**>(result.ReleaseAndGetAddressOf()));
  return result;
}

WmiObjectArray::~WmiObjectArray() { SafeArrayDestroy(m_array); }

HRESULT WmiObjectArray::Read(IWbemClassObject* object, const char16_t* name) {
  SafeArrayDestroy(m_array);
  m_array = nullptr;
  m_count = 0;
  ScopedVariant v;
  HRESULT hr = object->Get(name, 0, &v, nullptr, nullptr);
  if (hr != S_OK) return hr;
  if (v->vt != (VT_ARRAY | VT_UNKNOWN) || v->parray == nullptr) return WBEM_E_TYPE_MISMATCH;
  LONG upper = -1;
  SafeArrayGetLBound(v->parray, 1, &m_lower);
  SafeArrayGetUBound(v->parray, 1, &upper);
  m_count = upper - m_lower + 1;
  m_array = v->parray;
  v->vt = VT_EMPTY;  // the array is ours now
  return S_OK;
}

ComPtr<IWbemClassObject> WmiObjectArray::At(LONG index) const {
  ComPtr<IWbemClassObject> result;
  IUnknown* element = nullptr;
  LONG position = m_lower + index;
  if (m_array == nullptr || SafeArrayGetElement(m_array, &position, &element) != S_OK ||
      element == nullptr) {
    return result;
  }
  element->QueryInterface(IID_IWbemClassObject,
                          reinterpret_cast<void**>(result.ReleaseAndGetAddressOf()));
  element->Release();
  return result;
}

bool NumberFromName(const std::string& name, uint32_t* value) {
  size_t start = name.find_first_of("0123456789");
  if (start == std::string::npos) return false;
  uint64_t number = 0;
  for (size_t i = start; i < name.size() && name[i] >= '0' && name[i] <= '9'; ++i) {
    number = number * 10 + static_cast<uint64_t>(name[i] - '0');
    if (number > UINT32_MAX) return false;
  }
  *value = static_cast<uint32_t>(number);
  return true;
}

std::string NarrowWmi(const std::u16string& text) { return NarrowLowByte(text.c_str()); }

void DumpWmiObject(IWbemClassObject* object) {
  if (object == nullptr) return;
  object->BeginEnumeration(0);
  BSTR name = nullptr;
  ScopedVariant value;
  while (object->Next(0, &name, &value, nullptr, nullptr) == S_OK) {
    if (name != nullptr && name[0] != u'_') {
      switch (value->vt) {
        case VT_NULL:
        case VT_EMPTY:
          DebugPrintf("  %S = NULL\n", name);
          break;
        case VT_BSTR:
          DebugPrintf("  %S = %S (VT_BSTR)\n", name, value->bstrVal);
          break;
        case VT_I4:
          DebugPrintf("  %S = %d (VT_I4)\n", name, value->lVal);
          break;
        case VT_UI1:
          DebugPrintf("  %S = %d (VT_UI1)\n", name, value->bVal);
          break;
        case VT_BOOL:
          DebugPrintf("  %S = %d (VT_BOOL)\n", name, value->boolVal != VARIANT_FALSE ? 1 : 0);
          break;
        case VT_UNKNOWN:
          DebugPrintf("  %S = (VT_UNKNOWN)\n", name);
          break;
        case VT_ARRAY | VT_UNKNOWN:
          DebugPrintf("  %S = (VT_ARRAY | VT_UNKNOWN)\n", name);
          break;
        default:
          DebugPrintf("  %S = UNHANDLED VARIANT TYPE (%i)\n", name, value->vt);
          break;
      }
    }
    SysFreeString(name);
    name = nullptr;
    VariantClear(&value);
  }
  object->EndEnumeration();
}

namespace {

void LogStep(int step, HRESULT hr) {
  if (hr != S_OK) DebugPrintf("run to %d hRes=0x%x\n", step, hr);
}

}  // namespace

ComPtr<IWbemClassObject> WmiBuilder::Spawn(const char16_t* className, int step) {
  ComPtr<IWbemClassObject> cls;
  ComPtr<IWbemClassObject> instance;
  BSTR name = SysAllocString(className);
  HRESULT hr = m_services == nullptr
                   ? E_POINTER
                   : m_services->GetObject(name, 0, nullptr, cls.ReleaseAndGetAddressOf(), nullptr);
  SysFreeString(name);
  LogStep(step, hr);
  if (cls) {
    hr = cls->SpawnInstance(0, instance.ReleaseAndGetAddressOf());
    LogStep(step, hr);
  }
  return instance;
}

ComPtr<IWbemClassObject> WmiBuilder::MethodInput(const char16_t* className, const char16_t* method,
                                                 int step) {
  ComPtr<IWbemClassObject> cls;
  ComPtr<IWbemClassObject> signature;
  ComPtr<IWbemClassObject> instance;
  BSTR name = SysAllocString(className);
  HRESULT hr = m_services == nullptr
                   ? E_POINTER
                   : m_services->GetObject(name, 0, nullptr, cls.ReleaseAndGetAddressOf(), nullptr);
  SysFreeString(name);
  LogStep(step, hr);
  if (cls) {
    hr = cls->GetMethod(method, 0, signature.ReleaseAndGetAddressOf(), nullptr);
    LogStep(step, hr);
  }
  if (signature) {
    hr = signature->SpawnInstance(0, instance.ReleaseAndGetAddressOf());
    LogStep(step, hr);
  }
  return instance;
}

void WmiBuilder::PutU32(IWbemClassObject* object, const char16_t* name, uint32_t value, int step) {
  if (object == nullptr) return;
  VARIANT v;
  VariantInit(&v);
  v.vt = VT_I4;
  v.lVal = static_cast<LONG>(value);
  LogStep(step, object->Put(name, 0, &v, CIM_UINT32));
}

void WmiBuilder::PutU64(IWbemClassObject* object, const char16_t* name, uint64_t value, int step) {
  if (object == nullptr) return;
  ScopedVariant v;
  v->vt = VT_BSTR;
  v->bstrVal = SysAllocString(Utf8ToUtf16(std::to_string(value)).c_str());
  LogStep(step, object->Put(name, 0, &v, CIM_UINT64));
}

void WmiBuilder::PutObject(IWbemClassObject* object, const char16_t* name, IWbemClassObject* value,
                           int step) {
  if (object == nullptr || value == nullptr) return;
  VARIANT v;
  VariantInit(&v);
  v.vt = VT_UNKNOWN;
  v.punkVal = value;
  LogStep(step, object->Put(name, 0, &v, CIM_OBJECT));
}

void WmiBuilder::PutArray(IWbemClassObject* object, const char16_t* name, SAFEARRAY* array,
                          int step) {
  ScopedVariant v;
  v->vt = VT_ARRAY | VT_UNKNOWN;
  v->parray = array;
  if (object != nullptr && array != nullptr) {
    LogStep(step, object->Put(name, 0, &v, CIM_OBJECT | CIM_FLAG_ARRAY));
  }
}
