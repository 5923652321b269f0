#include "multipath/path_status.h"

#include "diag/debug_log.h"
#include "multipath/lb_policy.h"
#include "multipath/vds_wmi.h"
#include "multipath/wmi_values.h"

namespace {

HRESULT EnumerateClass(IWbemServices* services, const char16_t* className,
                       ComPtr<IEnumWbemClassObject>* list) {
  BSTR name = SysAllocString(className);
  HRESULT hr =
      services->CreateInstanceEnum(name, WBEM_FLAG_RETURN_IMMEDIATELY | WBEM_FLAG_FORWARD_ONLY,
                                   nullptr, list->ReleaseAndGetAddressOf());
  SysFreeString(name);
  return hr;
}

}  // namespace

int SetPathStatus(const std::vector<uint64_t>& pathIds, VDS_PATH_STATUS status) {
  ComPtr<IWbemLocator> locator;
  ComPtr<IWbemServices> services;
  if (ConnectWmi(&locator, &services, "Could not set proxy blanket. Error code = 0x%d\n") < 0) {
    return 1;
  }
  ComPtr<IEnumWbemClassObject> check;
  ComPtr<IEnumWbemClassObject> list;
  if (EnumerateClass(services.Get(), u"DSM_LB_Operations", &check) < 0 ||
      EnumerateClass(services.Get(), u"MORDSM_WMI_METHODS", &list) < 0) {
    return 1;
  }
  HRESULT hr = S_OK;
  for (;;) {
    ComPtr<IWbemClassObject> instance;
    ULONG returned = 0;
    list->Next(WBEM_INFINITE, 1, instance.ReleaseAndGetAddressOf(), &returned);
    if (returned == 0) break;
    std::u16string name;
    if (!GetWmiString(instance.Get(), u"InstanceName", &name)) {
      DebugPrintf("run to %d hRes=0x%x\n", 1, WBEM_E_NOT_FOUND);
      continue;
    }
    WmiBuilder build(services.Get());
    ComPtr<IWbemClassObject> in =
        build.MethodInput(u"MORDSM_WMI_METHODS", u"MorDsmSetPathStatus", 2);
    ComPtr<IWbemClassObject> set = build.Spawn(u"DSM_Set_Path_Status", 3);
    build.PutU32(set.Get(), u"Version", 1, 3);
    build.PutU32(set.Get(), u"DSMPathStatusCount", static_cast<uint32_t>(pathIds.size()), 3);
    SAFEARRAY* array = SafeArrayCreateVector(VT_UNKNOWN, 0, static_cast<ULONG>(pathIds.size()));
    for (size_t i = 0; i < pathIds.size(); ++i) {
      ComPtr<IWbemClassObject> entry = build.Spawn(u"MPIO_DSM_PathStatus", 4);
      build.PutU64(entry.Get(), u"PathId", pathIds[i], 4);
      build.PutU32(entry.Get(), u"Reserved", 0, 4);
      build.PutU32(entry.Get(), u"PathStatus", static_cast<uint32_t>(status), 4);
      LONG index = static_cast<LONG>(i);
      if (array != nullptr && entry) {
        SafeArrayPutElement(array, &index, static_cast<IUnknown*>(entry.Get()));
      }
    }
    build.PutArray(set.Get(), u"DSM_PathStatus", array, 5);
    build.PutObject(in.Get(), u"setPathStatus", set.Get(), 5);
    std::u16string path = DsmObjectPath(u"MORDSM_WMI_METHODS", name);
    BSTR objectPath = SysAllocStringLen(path.data(), static_cast<UINT>(path.size()));
    BSTR method = SysAllocString(u"MorDsmSetPathStatus");
    ComPtr<IWbemClassObject> out;
    hr = services->ExecMethod(objectPath, method, 0, nullptr, in.Get(),
                              out.ReleaseAndGetAddressOf(), nullptr);
    SysFreeString(objectPath);
    SysFreeString(method);
    uint32_t result = 0;
    if (out && GetWmiU32(out.Get(), u"Status", &result)) {
      DebugPrintf("Set Path Status Returned: %d\n", result);
    }
    if (hr == S_OK) break;
    DebugPrintf("run to %d hRes=0x%x\n", 6, hr);
  }
  return hr < 0 ? 1 : 0;
}
