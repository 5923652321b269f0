// The WMI client surface the host inventory is written against: IWbemLocator, IWbemServices,
// IEnumWbemClassObject and IWbemClassObject with the methods the inventory calls, values as
// VARIANTs (platform/oleauto.h), and CoCreateInstance for the locator.
//
// On Linux the namespace is the host view (platform/host_view.h): ROOT\WMI holds the classes
// and instances of the view's "wmi" member, or no multipath classes at all without a view.
// Values map as WMI gives them: strings and 64-bit numbers as VT_BSTR, other numbers as VT_I4,
// booleans as VT_BOOL, embedded objects as VT_UNKNOWN (an IWbemClassObject), arrays as
// VT_ARRAY with the element type of their first element. ExecMethod applies the method the
// way the host's DSM does (see host_view.h), writes the view back and journals the call.
#ifndef VELA_PLATFORM_WBEM_H_
#define VELA_PLATFORM_WBEM_H_

#include "platform/com.h"
#include "platform/oleauto.h"

using CIMTYPE = LONG;
enum CIMTYPE_ENUMERATION : LONG {
  CIM_SINT32 = 3,
  CIM_STRING = 8,
  CIM_BOOLEAN = 11,
  CIM_OBJECT = 13,
  CIM_UINT8 = 17,
  CIM_UINT16 = 18,
  CIM_UINT32 = 19,
  CIM_UINT64 = 21,
  CIM_FLAG_ARRAY = 0x2000,
};

constexpr LONG WBEM_INFINITE = -1;
constexpr LONG WBEM_FLAG_RETURN_IMMEDIATELY = 0x10;
constexpr LONG WBEM_FLAG_FORWARD_ONLY = 0x20;
constexpr LONG WBEM_FLAG_NONSYSTEM_ONLY = 0x40;

constexpr HRESULT WBEM_S_NO_ERROR = 0;
constexpr HRESULT WBEM_S_FALSE = 1;
constexpr HRESULT WBEM_S_NO_MORE_DATA = 0x40005;
constexpr HRESULT WBEM_E_FAILED = MakeHResult(0x80041001u);
constexpr HRESULT WBEM_E_NOT_FOUND = MakeHResult(0x80041002u);
constexpr HRESULT WBEM_E_NOT_SUPPORTED = MakeHResult(0x8004100Cu);
constexpr HRESULT WBEM_E_INVALID_PARAMETER = MakeHResult(0x80041008u);
constexpr HRESULT WBEM_E_INVALID_CLASS = MakeHResult(0x80041010u);
constexpr HRESULT WBEM_E_INVALID_NAMESPACE = MakeHResult(0x8004100Eu);
constexpr HRESULT WBEM_E_TYPE_MISMATCH = MakeHResult(0x80041005u);
constexpr HRESULT WBEM_E_INVALID_OPERATION = MakeHResult(0x80041016u);
constexpr HRESULT WBEM_E_INVALID_METHOD = MakeHResult(0x8004102Eu);
constexpr HRESULT WBEM_E_INVALID_OBJECT_PATH = MakeHResult(0x8004103Au);

struct IWbemContext;
struct IWbemCallResult;
struct IWbemObjectSink;
struct IWbemQualifierSet;

// The interfaces below carry every method of the system's, in its order, so that the objects
// that Windows' WMI hands out are called through the right slots. The inventory calls the pure
// ones; the others are there for their slots, and the POSIX namespace answers them with
// WBEM_E_NOT_SUPPORTED.

inline constexpr IID IID_IWbemClassObject = {
    0xdc12a681, 0x737f, 0x11cf, {0x88, 0x4d, 0x00, 0xaa, 0x00, 0x4b, 0x2e, 0x24}};
inline constexpr IID IID_IEnumWbemClassObject = {
    0x027947e1, 0xd731, 0x11ce, {0xa3, 0x57, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01}};
inline constexpr IID IID_IWbemServices = {
    0x9556dc99, 0x828c, 0x11cf, {0xa3, 0x7e, 0x00, 0xaa, 0x00, 0x32, 0x40, 0xc7}};
inline constexpr IID IID_IWbemLocator = {
    0xdc12a687, 0x737f, 0x11cf, {0x88, 0x4d, 0x00, 0xaa, 0x00, 0x4b, 0x2e, 0x24}};
inline constexpr CLSID CLSID_WbemLocator = {
    0x4590f811, 0x1d3a, 0x11d0, {0x89, 0x1f, 0x00, 0xaa, 0x00, 0x4b, 0x2e, 0x24}};

struct IWbemClassObject : IUnknown {
  virtual HRESULT GetQualifierSet(IWbemQualifierSet**) { return WBEM_E_NOT_SUPPORTED; }
  // A copy of the property's value into *pVal (the caller clears it); WBEM_E_NOT_FOUND when
  // the object has no such property.
  virtual HRESULT Get(LPCWSTR wszName, LONG lFlags, VARIANT* pVal, CIMTYPE* pType,
                      LONG* plFlavor) = 0;
  // Sets (or adds) a property to a copy of *pVal.
  virtual HRESULT Put(LPCWSTR wszName, LONG lFlags, VARIANT* pVal, CIMTYPE Type) = 0;
  virtual HRESULT Delete(LPCWSTR) { return WBEM_E_NOT_SUPPORTED; }
  virtual HRESULT GetNames(LPCWSTR, LONG, VARIANT*, SAFEARRAY**) { return WBEM_E_NOT_SUPPORTED; }
  // Property names one by one: BeginEnumeration, Next until WBEM_S_NO_MORE_DATA.
  virtual HRESULT BeginEnumeration(LONG lEnumFlags) = 0;
  virtual HRESULT Next(LONG lFlags, BSTR* strName, VARIANT* pVal, CIMTYPE* pType,
                       LONG* plFlavor) = 0;
  virtual HRESULT EndEnumeration() = 0;
  virtual HRESULT GetPropertyQualifierSet(LPCWSTR, IWbemQualifierSet**) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT Clone(IWbemClassObject**) { return WBEM_E_NOT_SUPPORTED; }
  virtual HRESULT GetObjectText(LONG, BSTR*) { return WBEM_E_NOT_SUPPORTED; }
  virtual HRESULT SpawnDerivedClass(LONG, IWbemClassObject**) { return WBEM_E_NOT_SUPPORTED; }
  // On a class object: a new empty instance of the class.
  virtual HRESULT SpawnInstance(LONG lFlags, IWbemClassObject** ppNewInstance) = 0;
  virtual HRESULT CompareTo(LONG, IWbemClassObject*) { return WBEM_E_NOT_SUPPORTED; }
  virtual HRESULT GetPropertyOrigin(LPCWSTR, BSTR*) { return WBEM_E_NOT_SUPPORTED; }
  virtual HRESULT InheritsFrom(LPCWSTR) { return WBEM_E_NOT_SUPPORTED; }
  // On a class object: the in-parameter class of one of its methods.
  virtual HRESULT GetMethod(LPCWSTR wszName, LONG lFlags, IWbemClassObject** ppInSignature,
                            IWbemClassObject** ppOutSignature) = 0;
  virtual HRESULT PutMethod(LPCWSTR, LONG, IWbemClassObject*, IWbemClassObject*) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT DeleteMethod(LPCWSTR) { return WBEM_E_NOT_SUPPORTED; }
  virtual HRESULT BeginMethodEnumeration(LONG) { return WBEM_E_NOT_SUPPORTED; }
  virtual HRESULT NextMethod(LONG, BSTR*, IWbemClassObject**, IWbemClassObject**) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT EndMethodEnumeration() { return WBEM_E_NOT_SUPPORTED; }
  virtual HRESULT GetMethodQualifierSet(LPCWSTR, IWbemQualifierSet**) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT GetMethodOrigin(LPCWSTR, BSTR*) { return WBEM_E_NOT_SUPPORTED; }

 protected:
  ~IWbemClassObject() = default;
};
VELA_DECLARE_INTERFACE_ID(IWbemClassObject, IID_IWbemClassObject)

struct IEnumWbemClassObject : IUnknown {
  virtual HRESULT Reset() { return WBEM_E_NOT_SUPPORTED; }
  // Up to uCount objects; WBEM_S_FALSE when fewer than asked for were left.
  virtual HRESULT Next(LONG lTimeout, ULONG uCount, IWbemClassObject** apObjects,
                       ULONG* puReturned) = 0;
  virtual HRESULT NextAsync(ULONG, IWbemObjectSink*) { return WBEM_E_NOT_SUPPORTED; }
  virtual HRESULT Clone(IEnumWbemClassObject**) { return WBEM_E_NOT_SUPPORTED; }
  virtual HRESULT Skip(LONG, ULONG) { return WBEM_E_NOT_SUPPORTED; }

 protected:
  ~IEnumWbemClassObject() = default;
};
VELA_DECLARE_INTERFACE_ID(IEnumWbemClassObject, IID_IEnumWbemClassObject)

struct IWbemServices : IUnknown {
  virtual HRESULT OpenNamespace(const BSTR, LONG, IWbemContext*, IWbemServices**,
                                IWbemCallResult**) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT CancelAsyncCall(IWbemObjectSink*) { return WBEM_E_NOT_SUPPORTED; }
  virtual HRESULT QueryObjectSink(LONG, IWbemObjectSink**) { return WBEM_E_NOT_SUPPORTED; }
  // A class definition by name.
  virtual HRESULT GetObject(BSTR strObjectPath, LONG lFlags, IWbemContext* pCtx,
                            IWbemClassObject** ppObject, IWbemCallResult** ppCallResult) = 0;
  virtual HRESULT GetObjectAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT PutClass(IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT PutClassAsync(IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT DeleteClass(const BSTR, LONG, IWbemContext*, IWbemCallResult**) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT DeleteClassAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT CreateClassEnum(const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT CreateClassEnumAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT PutInstance(IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT PutInstanceAsync(IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT DeleteInstance(const BSTR, LONG, IWbemContext*, IWbemCallResult**) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT DeleteInstanceAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) {
    return WBEM_E_NOT_SUPPORTED;
  }
  // The instances of a class, as of the connection; WBEM_E_INVALID_CLASS for an unknown class.
  virtual HRESULT CreateInstanceEnum(BSTR strFilter, LONG lFlags, IWbemContext* pCtx,
                                     IEnumWbemClassObject** ppEnum) = 0;
  virtual HRESULT CreateInstanceEnumAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT ExecQuery(const BSTR, const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT ExecQueryAsync(const BSTR, const BSTR, LONG, IWbemContext*, IWbemObjectSink*) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT ExecNotificationQuery(const BSTR, const BSTR, LONG, IWbemContext*,
                                        IEnumWbemClassObject**) {
    return WBEM_E_NOT_SUPPORTED;
  }
  virtual HRESULT ExecNotificationQueryAsync(const BSTR, const BSTR, LONG, IWbemContext*,
                                             IWbemObjectSink*) {
    return WBEM_E_NOT_SUPPORTED;
  }
  // Runs a method on the instance named by "Class.InstanceName=\"...\"".
  virtual HRESULT ExecMethod(BSTR strObjectPath, BSTR strMethodName, LONG lFlags,
                             IWbemContext* pCtx, IWbemClassObject* pInParams,
                             IWbemClassObject** ppOutParams, IWbemCallResult** ppCallResult) = 0;
  virtual HRESULT ExecMethodAsync(const BSTR, const BSTR, LONG, IWbemContext*, IWbemClassObject*,
                                  IWbemObjectSink*) {
    return WBEM_E_NOT_SUPPORTED;
  }

 protected:
  ~IWbemServices() = default;
};
VELA_DECLARE_INTERFACE_ID(IWbemServices, IID_IWbemServices)

struct IWbemLocator : IUnknown {
  virtual HRESULT ConnectServer(BSTR strNetworkResource, BSTR strUser, BSTR strPassword,
                                BSTR strLocale, LONG lSecurityFlags, BSTR strAuthority,
                                IWbemContext* pCtx, IWbemServices** ppNamespace) = 0;

 protected:
  ~IWbemLocator() = default;
};
VELA_DECLARE_INTERFACE_ID(IWbemLocator, IID_IWbemLocator)

constexpr DWORD RPC_C_AUTHN_WINNT = 10;
constexpr DWORD RPC_C_AUTHZ_NONE = 0;
constexpr DWORD RPC_C_AUTHN_LEVEL_CALL = 3;
constexpr DWORD RPC_C_IMP_LEVEL_IMPERSONATE = 3;
constexpr DWORD EOAC_NONE = 0;

// The WMI locator, as CoCreateInstance makes it for CLSID_WbemLocator.
HRESULT CreateWbemLocator(REFIID riid, void** ppv);
// Accepts the inventory's blanket; a connection here needs no security set-up.
HRESULT CoSetProxyBlanket(IUnknown* pProxy, DWORD dwAuthnSvc, DWORD dwAuthzSvc,
                          WCHAR* pServerPrincName, DWORD dwAuthnLevel, DWORD dwImpLevel,
                          void* pAuthInfo, DWORD dwCapabilities);

#endif  // VELA_PLATFORM_WBEM_H_
