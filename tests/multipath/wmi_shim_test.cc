// The WMI-shaped namespace over a host view: what the inventory sees, and what a DSM method
// does to the view and its journal.
#include <gtest/gtest.h>

#include "platform/host_view.h"
#include "platform/strings.h"
#include "platform/wbem.h"
#include "tests/multipath/host_view_support.h"

using nlohmann::json;

namespace {

ComPtr<IWbemServices> Connect(HRESULT* hr) {
  ComPtr<IWbemLocator> locator;
  ComPtr<IWbemServices> services;
  EXPECT_EQ(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                             reinterpret_cast<void**>(locator.ReleaseAndGetAddressOf())),
            S_OK);
  BSTR ns = SysAllocString(u"root\\wmi");
  *hr = locator->ConnectServer(ns, nullptr, nullptr, nullptr, 0, nullptr, nullptr,
                               services.ReleaseAndGetAddressOf());
  SysFreeString(ns);
  return services;
}

std::vector<ComPtr<IWbemClassObject>> Instances(IWbemServices* services, const char16_t* cls,
                                                HRESULT* hr) {
  std::vector<ComPtr<IWbemClassObject>> result;
  ComPtr<IEnumWbemClassObject> list;
  BSTR name = SysAllocString(cls);
  *hr = services->CreateInstanceEnum(name, 0, nullptr, list.ReleaseAndGetAddressOf());
  SysFreeString(name);
  if (*hr != S_OK) return result;
  for (;;) {
    ComPtr<IWbemClassObject> object;
    ULONG returned = 0;
    list->Next(WBEM_INFINITE, 1, object.ReleaseAndGetAddressOf(), &returned);
    if (returned == 0) break;
    result.push_back(object);
  }
  return result;
}

TestDisk TwoPathDisk() {
  return {"MPIO\\Disk&Ven_Vela&Prod_X\\1&7f6ac24&0&3_0",
          "MPIO Disk3",
          "SER3",
          2,
          {{1001, 3, 0, 0, 1, 1, 0, 1}, {1002, 4, 0, 2, 0, 1, 0, 3}}};
}

}  // namespace

TEST(WmiShim, WithoutViewTheNamespaceHasNoMultipathClasses) {
  ScopedEnv none("VELA_HOST_VIEW", "");
  unsetenv("VELA_HOST_VIEW");
  HRESULT hr = E_FAIL;
  ComPtr<IWbemServices> services = Connect(&hr);
  ASSERT_EQ(hr, S_OK);
  Instances(services.Get(), u"MPIO_GET_DESCRIPTOR", &hr);
  EXPECT_EQ(hr, WBEM_E_INVALID_CLASS);
  ComPtr<IWbemClassObject> cls;
  BSTR name = SysAllocString(u"DSM_Load_Balance_Policy_V2");
  EXPECT_EQ(services->GetObject(name, 0, nullptr, cls.ReleaseAndGetAddressOf(), nullptr),
            WBEM_E_NOT_FOUND);
  SysFreeString(name);
}

TEST(WmiShim, ValuesKeepTheirWmiTypes) {
  HostViewFile view;
  view.Write(MpioView({TwoPathDisk()}));
  HRESULT hr = E_FAIL;
  ComPtr<IWbemServices> services = Connect(&hr);
  ASSERT_EQ(hr, S_OK);
  auto v2 = Instances(services.Get(), u"DSM_QueryLBPolicy_V2", &hr);
  ASSERT_EQ(v2.size(), 1u);
  VARIANT value;
  ASSERT_EQ(v2[0]->Get(u"LoadBalancePolicy", 0, &value, nullptr, nullptr), S_OK);
  ASSERT_EQ(value.vt, VT_UNKNOWN);
  IWbemClassObject* policy = nullptr;
  ASSERT_EQ(value.punkVal->QueryInterface(IID_IWbemClassObject, reinterpret_cast<void**>(&policy)),
            S_OK);
  VariantClear(&value);
  ASSERT_EQ(policy->Get(u"__CLASS", 0, &value, nullptr, nullptr), S_OK);
  EXPECT_EQ(Utf16ToUtf8(value.bstrVal), "DSM_Load_Balance_Policy_V2");
  VariantClear(&value);
  ASSERT_EQ(policy->Get(u"DSM_Paths", 0, &value, nullptr, nullptr), S_OK);
  EXPECT_EQ(value.vt, VT_ARRAY | VT_UNKNOWN);
  LONG upper = -1;
  SafeArrayGetUBound(value.parray, 1, &upper);
  EXPECT_EQ(upper, 1);
  VariantClear(&value);
  ASSERT_EQ(policy->Get(u"LoadBalancePolicy", 0, &value, nullptr, nullptr), S_OK);
  EXPECT_EQ(value.vt, VT_I4);
  EXPECT_EQ(value.lVal, 2);
  EXPECT_EQ(policy->Get(u"NoSuchProperty", 0, &value, nullptr, nullptr), WBEM_E_NOT_FOUND);
  policy->Release();

  auto dsm = Instances(services.Get(), u"Dsm_QueryUniqueId", &hr);
  ASSERT_EQ(dsm.size(), 1u);
  ASSERT_EQ(dsm[0]->Get(u"DsmUniqueId", 0, &value, nullptr, nullptr), S_OK);
  EXPECT_EQ(value.vt, VT_BSTR);  // 64-bit values are decimal text
  VariantClear(&value);
}

TEST(WmiShim, BadViewsFailTheConnectionOrTheClass) {
  HostViewFile view;
  HRESULT hr = S_OK;
  view.WriteText("this is { not json");
  Connect(&hr);
  EXPECT_EQ(hr, WBEM_E_FAILED);
  EXPECT_NE(HostViewProblem().find("not a JSON object"), std::string::npos);

  view.Write({{"wmi", "ROOT\\WMI"}});
  Connect(&hr);
  EXPECT_EQ(hr, WBEM_E_FAILED);

  view.Write({{"wmi", {{"ROOT\\WMI", {{"MPIO_GET_DESCRIPTOR", {1, 2}}}}}}});
  ComPtr<IWbemServices> services = Connect(&hr);
  ASSERT_EQ(hr, S_OK);
  Instances(services.Get(), u"MPIO_GET_DESCRIPTOR", &hr);
  EXPECT_EQ(hr, WBEM_E_FAILED);

  // Values no WMI type fits read as VT_NULL: mixed arrays, fractions, nested arrays.
  json odd = {{"Mixed", {1, "a"}}, {"Fraction", 0.5}, {"Nested", {{1}, {2}}}, {"Ok", {1, 2}}};
  view.Write({{"wmi", {{"ROOT\\WMI", {{"Odd", {odd}}}}}}});
  services = Connect(&hr);
  ASSERT_EQ(hr, S_OK);
  auto objects = Instances(services.Get(), u"Odd", &hr);
  ASSERT_EQ(objects.size(), 1u);
  for (const char16_t* name : {u"Mixed", u"Fraction", u"Nested"}) {
    VARIANT value;
    ASSERT_EQ(objects[0]->Get(name, 0, &value, nullptr, nullptr), S_OK);
    EXPECT_EQ(value.vt, VT_NULL) << Utf16ToUtf8(name);
    VariantClear(&value);
  }
  VARIANT value;
  ASSERT_EQ(objects[0]->Get(u"Ok", 0, &value, nullptr, nullptr), S_OK);
  EXPECT_EQ(value.vt, VT_ARRAY | VT_I4);
  VariantClear(&value);
}

TEST(WmiShim, PolicyMethodChangesTheViewAndIsJournalled) {
  HostViewFile view;
  TestDisk disk = TwoPathDisk();
  view.Write(MpioView({disk}));
  HRESULT hr = E_FAIL;
  ComPtr<IWbemServices> services = Connect(&hr);
  ASSERT_EQ(hr, S_OK);

  auto classObject = [&](const char16_t* name) {
    ComPtr<IWbemClassObject> cls;
    BSTR text = SysAllocString(name);
    EXPECT_EQ(services->GetObject(text, 0, nullptr, cls.ReleaseAndGetAddressOf(), nullptr), S_OK);
    SysFreeString(text);
    return cls;
  };
  auto put = [](IWbemClassObject* object, const char16_t* name, LONG number) {
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_I4;
    value.lVal = number;
    EXPECT_EQ(object->Put(name, 0, &value, CIM_UINT32), S_OK);
  };
  ComPtr<IWbemClassObject> inClass;
  ASSERT_EQ(
      classObject(u"DSM_LB_Operations")
          ->GetMethod(u"DsmSetLoadBalancePolicyALUA", 0, inClass.ReleaseAndGetAddressOf(), nullptr),
      S_OK);
  ComPtr<IWbemClassObject> in;
  ASSERT_EQ(inClass->SpawnInstance(0, in.ReleaseAndGetAddressOf()), S_OK);
  ComPtr<IWbemClassObject> policy;
  classObject(u"DSM_Load_Balance_Policy_V2")->SpawnInstance(0, policy.ReleaseAndGetAddressOf());
  put(policy.Get(), u"Version", 2);
  put(policy.Get(), u"LoadBalancePolicy", 1);
  put(policy.Get(), u"DSMPathCount", 2);
  SAFEARRAY* paths = SafeArrayCreateVector(VT_UNKNOWN, 0, 2);
  for (LONG i = 0; i < 2; ++i) {
    ComPtr<IWbemClassObject> path;
    classObject(u"MPIO_DSM_Path_V2")->SpawnInstance(0, path.ReleaseAndGetAddressOf());
    VARIANT id;
    VariantInit(&id);
    id.vt = VT_BSTR;
    id.bstrVal = SysAllocString(i == 0 ? u"1001" : u"1002");
    path->Put(u"DsmPathId", 0, &id, CIM_UINT64);
    VariantClear(&id);
    put(path.Get(), u"PathWeight", 7 + i);
    put(path.Get(), u"PrimaryPath", 1 - i);
    put(path.Get(), u"OptimizedPath", 1);
    put(path.Get(), u"PreferredPath", 1 - i);
    SafeArrayPutElement(paths, &i, static_cast<IUnknown*>(path.Get()));
  }
  VARIANT value;
  VariantInit(&value);
  value.vt = VT_ARRAY | VT_UNKNOWN;
  value.parray = paths;
  policy->Put(u"DSM_Paths", 0, &value, CIM_OBJECT | CIM_FLAG_ARRAY);
  VariantClear(&value);
  value.vt = VT_UNKNOWN;
  value.punkVal = policy.Get();
  in->Put(u"LoadBalancePolicy", 0, &value, CIM_OBJECT);

  std::u16string path =
      u"DSM_LB_Operations.InstanceName=\"MPIO\\\\Disk&Ven_Vela&Prod_X\\\\1&7f6ac24&0&3_0\"";
  BSTR objectPath = SysAllocString(path.c_str());
  BSTR method = SysAllocString(u"DsmSetLoadBalancePolicyALUA");
  ComPtr<IWbemClassObject> out;
  EXPECT_EQ(services->ExecMethod(objectPath, method, 0, nullptr, in.Get(),
                                 out.ReleaseAndGetAddressOf(), nullptr),
            S_OK);
  ASSERT_TRUE(out);

  json after = view.Read()["wmi"]["ROOT\\WMI"];
  json lbp = after["DSM_QueryLBPolicy_V2"][0]["LoadBalancePolicy"];
  EXPECT_EQ(lbp["LoadBalancePolicy"], 1);
  EXPECT_EQ(lbp["DSM_Paths"][0]["PathWeight"], 7);
  EXPECT_EQ(lbp["DSM_Paths"][0]["PreferredPath"], 1);
  EXPECT_EQ(lbp["DSM_Paths"][1]["PrimaryPath"], 0);
  EXPECT_EQ(lbp["DSM_Paths"][1]["TargetPortGroup_State"], 2);  // untouched
  EXPECT_EQ(after["DSM_QueryLBPolicy"][0]["LoadBalancePolicy"]["DSM_Paths"][1]["PathWeight"], 8);

  auto calls = view.Calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0]["instance"], disk.instance);
  EXPECT_EQ(calls[0]["hr"], 0);
  EXPECT_EQ(calls[0]["in"]["LoadBalancePolicy"]["DSM_Paths"][1]["DsmPathId"], "1002");

  // An unknown instance is not found; a bad policy is an invalid parameter, journalled too.
  SysFreeString(objectPath);
  objectPath = SysAllocString(u"DSM_LB_Operations.InstanceName=\"nobody\"");
  EXPECT_EQ(services->ExecMethod(objectPath, method, 0, nullptr, in.Get(), nullptr, nullptr),
            WBEM_E_NOT_FOUND);
  SysFreeString(objectPath);
  objectPath = SysAllocString(path.c_str());
  put(policy.Get(), u"LoadBalancePolicy", 9);
  value.vt = VT_UNKNOWN;
  value.punkVal = policy.Get();
  in->Put(u"LoadBalancePolicy", 0, &value, CIM_OBJECT);
  EXPECT_EQ(services->ExecMethod(objectPath, method, 0, nullptr, in.Get(), nullptr, nullptr),
            WBEM_E_INVALID_PARAMETER);
  EXPECT_EQ(view.Read()["wmi"]["ROOT\\WMI"]["DSM_QueryLBPolicy_V2"][0]["LoadBalancePolicy"]
                       ["LoadBalancePolicy"],
            1);
  EXPECT_EQ(view.Calls().size(), 2u);
  SysFreeString(objectPath);
  SysFreeString(method);
}
