// The WMI shim over the host view: class objects and instances built from its JSON, and the
// DSM methods applied to it.
#include "platform/wbem.h"

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "platform/host_view.h"
#include "platform/strings.h"

namespace {

using nlohmann::json;

constexpr char kNamespace[] = "ROOT\\WMI";
// Deeper nesting than any class of the namespace has is taken as a wrong type.
constexpr int kMaxDepth = 8;

// The classes a multipath host has besides those with instances: method parameters and the
// embedded objects that callers spawn.
constexpr const char* kParameterClasses[] = {
    "DSM_LB_Operations",          "MORDSM_WMI_METHODS", "DSM_Load_Balance_Policy",
    "DSM_Load_Balance_Policy_V2", "MPIO_DSM_PATH",      "MPIO_DSM_Path_V2",
    "DSM_Set_Path_Status",        "MPIO_DSM_PathStatus"};

struct MethodName {
  const char* className;
  const char* method;
};
constexpr MethodName kMethods[] = {{"DSM_LB_Operations", "DsmSetLoadBalancePolicyALUA"},
                                   {"DSM_LB_Operations", "DsmSetLoadBalancePolicy"},
                                   {"MORDSM_WMI_METHODS", "MorDsmSetPathStatus"}};

bool SameName(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char x = a[i] >= 'a' && a[i] <= 'z' ? static_cast<char>(a[i] - 32) : a[i];
    char y = b[i] >= 'a' && b[i] <= 'z' ? static_cast<char>(b[i] - 32) : b[i];
    if (x != y) return false;
  }
  return true;
}

std::string Narrow(LPCWSTR text) { return Utf16ToUtf8(text); }

BSTR MakeBstr(const std::string& text) { return SysAllocString(Utf8ToUtf16(text).c_str()); }

class WbemObject final : public ComObject<IWbemClassObject> {
 public:
  WbemObject(std::string className, bool isClass)
      : m_className(std::move(className)), m_isClass(isClass) {}

  const std::string& ClassName() const { return m_className; }

  HRESULT Get(LPCWSTR wszName, LONG, VARIANT* pVal, CIMTYPE* pType, LONG* plFlavor) override {
    if (wszName == nullptr) return WBEM_E_INVALID_PARAMETER;
    std::string name = Narrow(wszName);
    if (plFlavor != nullptr) *plFlavor = 0;
    if (SameName(name, "__CLASS")) {
      if (pType != nullptr) *pType = CIM_STRING;
      if (pVal == nullptr) return S_OK;
      VariantInit(pVal);
      pVal->vt = VT_BSTR;
      pVal->bstrVal = MakeBstr(m_className);
      return pVal->bstrVal == nullptr ? E_OUTOFMEMORY : S_OK;
    }
    const VARIANT* value = Find(name);
    if (value == nullptr) return WBEM_E_NOT_FOUND;
    if (pType != nullptr) *pType = CimTypeOf(*value);
    if (pVal == nullptr) return S_OK;
    VariantInit(pVal);
    return VariantCopy(pVal, value);
  }

  HRESULT Put(LPCWSTR wszName, LONG, VARIANT* pVal, CIMTYPE) override {
    if (wszName == nullptr) return WBEM_E_INVALID_PARAMETER;
    std::string name = Narrow(wszName);
    VARIANT copy;
    VariantInit(&copy);
    if (pVal != nullptr && VariantCopy(&copy, pVal) != S_OK) return E_OUTOFMEMORY;
    for (auto& [key, value] : m_props) {
      if (SameName(key, name)) {
        VariantClear(&value);
        value = copy;
        return S_OK;
      }
    }
    m_props.emplace_back(name, copy);
    return S_OK;
  }

  HRESULT BeginEnumeration(LONG) override {
    m_next = 0;
    return S_OK;
  }

  HRESULT Next(LONG, BSTR* strName, VARIANT* pVal, CIMTYPE* pType, LONG* plFlavor) override {
    if (m_next >= m_props.size()) return WBEM_S_NO_MORE_DATA;
    const auto& [name, value] = m_props[m_next++];
    if (strName != nullptr) *strName = MakeBstr(name);
    if (pType != nullptr) *pType = CimTypeOf(value);
    if (plFlavor != nullptr) *plFlavor = 0;
    if (pVal != nullptr) {
      VariantInit(pVal);
      VariantCopy(pVal, &value);
    }
    return S_OK;
  }

  HRESULT EndEnumeration() override {
    m_next = m_props.size();
    return S_OK;
  }

  HRESULT SpawnInstance(LONG, IWbemClassObject** ppNewInstance) override {
    if (ppNewInstance == nullptr) return WBEM_E_INVALID_PARAMETER;
    *ppNewInstance = nullptr;
    if (!m_isClass) return WBEM_E_INVALID_OPERATION;
    auto* instance = new (std::nothrow) WbemObject(m_className, false);
    if (instance == nullptr) return E_OUTOFMEMORY;
    instance->AddRef();
    *ppNewInstance = instance;
    return S_OK;
  }

  HRESULT GetMethod(LPCWSTR wszName, LONG, IWbemClassObject** ppInSignature,
                    IWbemClassObject** ppOutSignature) override {
    if (ppInSignature != nullptr) *ppInSignature = nullptr;
    if (ppOutSignature != nullptr) *ppOutSignature = nullptr;
    if (wszName == nullptr || !m_isClass) return WBEM_E_INVALID_PARAMETER;
    std::string name = Narrow(wszName);
    bool known = false;
    for (const MethodName& method : kMethods) {
      known = known || (m_className == method.className && name == method.method);
    }
    if (!known) return WBEM_E_NOT_FOUND;
    for (IWbemClassObject** signature : {ppInSignature, ppOutSignature}) {
      if (signature == nullptr) continue;
      auto* parameters = new (std::nothrow) WbemObject("__PARAMETERS", true);
      if (parameters == nullptr) return E_OUTOFMEMORY;
      parameters->AddRef();
      *signature = parameters;
    }
    return S_OK;
  }

 private:
  ~WbemObject() override {
    for (auto& entry : m_props) VariantClear(&entry.second);
  }

  static CIMTYPE CimTypeOf(const VARIANT& value) {
    CIMTYPE array = (value.vt & VT_ARRAY) != 0 ? CIM_FLAG_ARRAY : 0;
    switch (value.vt & ~VT_ARRAY) {
      case VT_BSTR:
        return array | CIM_STRING;
      case VT_BOOL:
        return array | CIM_BOOLEAN;
      case VT_UNKNOWN:
        return array | CIM_OBJECT;
      case VT_UI1:
        return array | CIM_UINT8;
      default:
        return array | CIM_UINT32;
    }
  }

  const VARIANT* Find(const std::string& name) const {
    for (const auto& [key, value] : m_props) {
      if (SameName(key, name)) return &value;
    }
    return nullptr;
  }

  std::string m_className;
  bool m_isClass;
  std::vector<std::pair<std::string, VARIANT>> m_props;
  size_t m_next = 0;
};

// JSON to a value: see wbem.h. A value that no WMI type fits (a fraction, a nested array, an
// array of mixed types, deeper nesting) reads as VT_NULL.
bool ToVariant(const json& value, int depth, VARIANT* out);

WbemObject* ToObject(const json& object, const std::string& className, int depth) {
  std::string name = className;
  auto cls = object.find("__CLASS");
  if (cls != object.end() && cls->is_string()) name = cls->get<std::string>();
  auto* result = new (std::nothrow) WbemObject(name, false);
  if (result == nullptr) return nullptr;
  result->AddRef();
  for (auto it = object.begin(); it != object.end(); ++it) {
    if (it.key() == "__CLASS") continue;
    VARIANT value;
    VariantInit(&value);
    ToVariant(it.value(), depth + 1, &value);
    result->Put(Utf8ToUtf16(it.key()).c_str(), 0, &value, 0);
    VariantClear(&value);
  }
  return result;
}

bool ScalarVariant(const json& value, int depth, VARIANT* out) {
  VariantInit(out);
  if (value.is_string()) {
    out->vt = VT_BSTR;
    out->bstrVal = MakeBstr(value.get<std::string>());
  } else if (value.is_boolean()) {
    out->vt = VT_BOOL;
    out->boolVal = value.get<bool>() ? VARIANT_TRUE : VARIANT_FALSE;
  } else if (value.is_number_unsigned()) {
    uint64_t number = value.get<uint64_t>();
    if (number <= UINT32_MAX) {
      out->vt = VT_I4;
      out->lVal = static_cast<LONG>(static_cast<uint32_t>(number));
    } else {
      out->vt = VT_BSTR;
      out->bstrVal = MakeBstr(std::to_string(number));
    }
  } else if (value.is_number_integer()) {
    int64_t number = value.get<int64_t>();
    if (number >= INT32_MIN) {
      out->vt = VT_I4;
      out->lVal = static_cast<LONG>(number);
    } else {
      out->vt = VT_BSTR;
      out->bstrVal = MakeBstr(std::to_string(number));
    }
  } else if (value.is_object() && depth < kMaxDepth) {
    WbemObject* object = ToObject(value, "", depth);
    if (object == nullptr) return false;
    out->vt = VT_UNKNOWN;
    out->punkVal = object->GetUnknown();
  } else {
    out->vt = VT_NULL;
    return false;
  }
  return true;
}

VARTYPE ElementType(const json& value) {
  if (value.is_string()) return VT_BSTR;
  if (value.is_boolean()) return VT_BOOL;
  if (value.is_number_integer()) return VT_I4;
  if (value.is_object()) return VT_UNKNOWN;
  return VT_NULL;
}

bool ToVariant(const json& value, int depth, VARIANT* out) {
  VariantInit(out);
  if (!value.is_array()) return ScalarVariant(value, depth, out);
  VARTYPE vt = value.empty() ? VARTYPE{VT_I4} : ElementType(value.front());
  SAFEARRAY* array = vt == VT_NULL || depth >= kMaxDepth
                         ? nullptr
                         : SafeArrayCreateVector(vt, 0, static_cast<ULONG>(value.size()));
  if (array == nullptr) {
    out->vt = VT_NULL;
    return false;
  }
  LONG index = 0;
  for (const json& element : value) {
    VARIANT item;
    VariantInit(&item);
    if (ElementType(element) != vt || !ScalarVariant(element, depth + 1, &item) ||
        (vt == VT_I4 && item.vt != VT_I4)) {
      VariantClear(&item);
      SafeArrayDestroy(array);
      out->vt = VT_NULL;
      return false;
    }
    const void* data = vt == VT_BSTR      ? static_cast<const void*>(item.bstrVal)
                       : vt == VT_UNKNOWN ? static_cast<const void*>(item.punkVal)
                       : vt == VT_BOOL    ? static_cast<const void*>(&item.boolVal)
                                          : static_cast<const void*>(&item.lVal);
    SafeArrayPutElement(array, &index, data);
    VariantClear(&item);
    ++index;
  }
  out->vt = VT_ARRAY | vt;
  out->parray = array;
  return true;
}

// A value back to JSON, for the journal and the method effects.
json FromVariant(const VARIANT& value, int depth);

json FromObject(IWbemClassObject* object, int depth) {
  json result = json::object();
  if (object == nullptr || depth >= kMaxDepth) return result;
  VARIANT cls;
  if (object->Get(u"__CLASS", 0, &cls, nullptr, nullptr) == S_OK && cls.vt == VT_BSTR &&
      SysStringLen(cls.bstrVal) != 0) {
    result["__CLASS"] = Narrow(cls.bstrVal);
  }
  VariantClear(&cls);
  object->BeginEnumeration(0);
  BSTR name = nullptr;
  VARIANT value;
  while (object->Next(0, &name, &value, nullptr, nullptr) == S_OK) {
    result[Narrow(name)] = FromVariant(value, depth + 1);
    SysFreeString(name);
    VariantClear(&value);
  }
  object->EndEnumeration();
  return result;
}

json FromVariant(const VARIANT& value, int depth) {
  if ((value.vt & VT_ARRAY) != 0) {
    json result = json::array();
    LONG lower = 0;
    LONG upper = -1;
    SafeArrayGetLBound(value.parray, 1, &lower);
    SafeArrayGetUBound(value.parray, 1, &upper);
    for (LONG i = lower; i <= upper; ++i) {
      VARIANT element;
      VariantInit(&element);
      element.vt = value.vt & ~VT_ARRAY;
      void* slot = element.vt == VT_BSTR      ? static_cast<void*>(&element.bstrVal)
                   : element.vt == VT_UNKNOWN ? static_cast<void*>(&element.punkVal)
                   : element.vt == VT_BOOL    ? static_cast<void*>(&element.boolVal)
                   : element.vt == VT_UI1     ? static_cast<void*>(&element.bVal)
                                              : static_cast<void*>(&element.lVal);
      if (SafeArrayGetElement(value.parray, &i, slot) == S_OK) {
        result.push_back(FromVariant(element, depth + 1));
      }
      VariantClear(&element);
    }
    return result;
  }
  switch (value.vt) {
    case VT_BSTR:
      return Narrow(value.bstrVal);
    case VT_BOOL:
      return value.boolVal != VARIANT_FALSE;
    case VT_I4:
      return value.lVal;
    case VT_UI1:
      return value.bVal;
    case VT_I2:
      return value.iVal;
    case VT_UI2:
      return value.uiVal;
    case VT_UI4:
      return value.ulVal;
    case VT_UNKNOWN: {
      IWbemClassObject* object = nullptr;
      if (value.punkVal == nullptr ||
          value.punkVal->QueryInterface(IID_IWbemClassObject, reinterpret_cast<void**>(&object)) !=
              S_OK) {
        return nullptr;
      }
      json result = FromObject(object, depth);
      object->Release();
      return result;
    }
    default:
      return nullptr;
  }
}

class WbemEnum final : public ComObject<IEnumWbemClassObject> {
 public:
  explicit WbemEnum(std::vector<IWbemClassObject*> objects) : m_objects(std::move(objects)) {}

  HRESULT Next(LONG, ULONG uCount, IWbemClassObject** apObjects, ULONG* puReturned) override {
    if (apObjects == nullptr || puReturned == nullptr) return WBEM_E_INVALID_PARAMETER;
    ULONG returned = 0;
    while (returned < uCount && m_next < m_objects.size()) {
      apObjects[returned] = m_objects[m_next++];
      apObjects[returned]->AddRef();
      ++returned;
    }
    *puReturned = returned;
    return returned == uCount ? WBEM_S_NO_ERROR : WBEM_S_FALSE;
  }

 private:
  ~WbemEnum() override {
    for (IWbemClassObject* object : m_objects) object->Release();
  }

  std::vector<IWbemClassObject*> m_objects;  // one reference each
  size_t m_next = 0;
};

// Splits "Class.InstanceName=\"text\"", undoing the doubled backslashes of the quoted text.
bool ParseObjectPath(const std::string& path, std::string* className, std::string* instance) {
  size_t dot = path.find('.');
  static const std::string kKey = "InstanceName=\"";
  if (dot == std::string::npos || path.compare(dot + 1, kKey.size(), kKey) != 0 ||
      path.size() < dot + 1 + kKey.size() + 1 || path.back() != '"') {
    return false;
  }
  *className = path.substr(0, dot);
  std::string quoted = path.substr(dot + 1 + kKey.size());
  quoted.pop_back();
  instance->clear();
  for (size_t i = 0; i < quoted.size(); ++i) {
    if (quoted[i] == '\\' && i + 1 < quoted.size() && quoted[i + 1] == '\\') ++i;
    instance->push_back(quoted[i]);
  }
  return true;
}

class WbemServices final : public ComObject<IWbemServices> {
 public:
  WbemServices(json classes, std::string viewPath)
      : m_classes(std::move(classes)), m_viewPath(std::move(viewPath)) {}

  HRESULT GetObject(BSTR strObjectPath, LONG, IWbemContext*, IWbemClassObject** ppObject,
                    IWbemCallResult**) override {
    if (ppObject == nullptr || strObjectPath == nullptr) return WBEM_E_INVALID_PARAMETER;
    *ppObject = nullptr;
    std::string name = Narrow(strObjectPath);
    const json* cls = FindClass(name);
    bool known = cls != nullptr;
    for (const char* parameterClass : kParameterClasses) {
      known = known || (!m_classes.empty() && SameName(name, parameterClass));
    }
    if (!known) return WBEM_E_NOT_FOUND;
    auto* object = new (std::nothrow) WbemObject(name, true);
    if (object == nullptr) return E_OUTOFMEMORY;
    object->AddRef();
    *ppObject = object;
    return S_OK;
  }

  HRESULT CreateInstanceEnum(BSTR strFilter, LONG, IWbemContext*,
                             IEnumWbemClassObject** ppEnum) override {
    if (ppEnum == nullptr || strFilter == nullptr) return WBEM_E_INVALID_PARAMETER;
    *ppEnum = nullptr;
    std::string name = Narrow(strFilter);
    const json* cls = FindClass(name);
    if (cls == nullptr) return WBEM_E_INVALID_CLASS;
    if (!cls->is_array()) {
      SetHostViewProblem("host view class " + name + " is not an array of instances");
      return WBEM_E_FAILED;
    }
    std::vector<IWbemClassObject*> objects;
    for (const json& instance : *cls) {
      WbemObject* object = instance.is_object() ? ToObject(instance, name, 0) : nullptr;
      if (object == nullptr) {
        for (IWbemClassObject* made : objects) made->Release();
        SetHostViewProblem("host view class " + name + " has an instance that is not an object");
        return WBEM_E_FAILED;
      }
      objects.push_back(object);
    }
    auto* list = new (std::nothrow) WbemEnum(std::move(objects));
    if (list == nullptr) return E_OUTOFMEMORY;
    list->AddRef();
    *ppEnum = list;
    return S_OK;
  }

  HRESULT ExecMethod(BSTR strObjectPath, BSTR strMethodName, LONG, IWbemContext*,
                     IWbemClassObject* pInParams, IWbemClassObject** ppOutParams,
                     IWbemCallResult**) override {
    if (ppOutParams != nullptr) *ppOutParams = nullptr;
    if (strObjectPath == nullptr || strMethodName == nullptr) return WBEM_E_INVALID_PARAMETER;
    std::string className;
    std::string instance;
    if (!ParseObjectPath(Narrow(strObjectPath), &className, &instance)) {
      return WBEM_E_INVALID_OBJECT_PATH;
    }
    std::string method = Narrow(strMethodName);
    const json* cls = FindClass(className);
    bool found = false;
    if (cls != nullptr && cls->is_array()) {
      for (const json& object : *cls) {
        found = found || (object.is_object() && object.contains("InstanceName") &&
                          object["InstanceName"] == instance);
      }
    }
    if (!found || m_viewPath.empty()) return WBEM_E_NOT_FOUND;
    if (pInParams == nullptr) return WBEM_E_INVALID_PARAMETER;
    HRESULT hr =
        ApplyHostViewMethod(m_viewPath, className, instance, method, FromObject(pInParams, 0));
    if (hr == S_OK && ppOutParams != nullptr) {
      auto* out = new (std::nothrow) WbemObject("__PARAMETERS", false);
      if (out != nullptr) {
        out->AddRef();
        VARIANT status;
        VariantInit(&status);
        status.vt = VT_I4;
        status.lVal = 0;
        out->Put(u"Status", 0, &status, CIM_UINT32);
        *ppOutParams = out;
      }
    }
    return hr;
  }

 private:
  ~WbemServices() override = default;

  const json* FindClass(const std::string& name) const {
    for (auto it = m_classes.begin(); it != m_classes.end(); ++it) {
      if (SameName(it.key(), name)) return &it.value();
    }
    return nullptr;
  }

  json m_classes;  // the namespace's classes as of the connection
  std::string m_viewPath;
};

class WbemLocator final : public ComObject<IWbemLocator> {
 public:
  HRESULT ConnectServer(BSTR strNetworkResource, BSTR, BSTR, BSTR, LONG, BSTR, IWbemContext*,
                        IWbemServices** ppNamespace) override {
    if (ppNamespace == nullptr || strNetworkResource == nullptr) return WBEM_E_INVALID_PARAMETER;
    *ppNamespace = nullptr;
    if (!SameName(Narrow(strNetworkResource), kNamespace)) return WBEM_E_INVALID_NAMESPACE;
    json classes = json::object();
    std::string path = HostViewPath();
    if (!path.empty()) {
      json view;
      {
        HostViewLock lock(path);
        if (!ReadHostView(path, &view)) return WBEM_E_FAILED;
      }
      auto wmi = view.find("wmi");
      if (wmi != view.end()) {
        auto ns = wmi->is_object() ? wmi->find(kNamespace) : wmi->end();
        if (!wmi->is_object() || (ns != wmi->end() && !ns->is_object())) {
          SetHostViewProblem("host view " + path + ": \"wmi\" is not an object of namespaces");
          return WBEM_E_FAILED;
        }
        if (ns != wmi->end()) classes = std::move(*ns);
      }
    }
    auto* services = new (std::nothrow) WbemServices(std::move(classes), path);
    if (services == nullptr) return E_OUTOFMEMORY;
    services->AddRef();
    *ppNamespace = services;
    return S_OK;
  }

 private:
  ~WbemLocator() override = default;
};

}  // namespace

HRESULT CreateWbemLocator(REFIID riid, void** ppv) {
  auto* locator = new (std::nothrow) WbemLocator();
  if (locator == nullptr) return E_OUTOFMEMORY;
  locator->AddRef();
  HRESULT hr = locator->QueryInterface(riid, ppv);
  locator->Release();
  return hr;
}

HRESULT CoSetProxyBlanket(IUnknown* pProxy, DWORD, DWORD, WCHAR*, DWORD, DWORD, void*, DWORD) {
  return pProxy == nullptr ? E_INVALIDARG : S_OK;
}
