#include "multipath/vds_wmi.h"

#include <algorithm>
#include <memory>

#include "diag/debug_log.h"
#include "multipath/wmi_values.h"
#include "platform/clock.h"
#include "platform/host_view.h"
#include "platform/strings.h"

IWbemLocator* pLocG = nullptr;
IWbemServices* pSvcG = nullptr;

namespace {

constexpr LONG kEnumFlags = WBEM_FLAG_RETURN_IMMEDIATELY | WBEM_FLAG_FORWARD_ONLY;

// A BSTR for a class or namespace name, freed at scope end.
class Bstr {
 public:
  explicit Bstr(const char16_t* text) : m_text(SysAllocString(text)) {}
  explicit Bstr(const std::u16string& text)
      : m_text(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
  ~Bstr() { SysFreeString(m_text); }
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  operator BSTR() const { return m_text; }  // NOLINT: in the manner of CComBSTR

 private:
  BSTR m_text;
};

void LogHostViewProblem() {
  std::string problem = HostViewProblem();
  if (!problem.empty()) DebugPrintf("OOP!! host view: %s\n", problem.c_str());
}

// The instances of a class. A failure is logged as `failedLine` (when there is one) together with
// what the host view holds against itself.
HRESULT OpenInstances(IWbemServices* services, const char16_t* className, const char* failedLine,
                      ComPtr<IEnumWbemClassObject>* list) {
  const HRESULT hr = services->CreateInstanceEnum(Bstr(className), kEnumFlags, nullptr,
                                                  list->ReleaseAndGetAddressOf());
  if (hr < 0 && failedLine != nullptr) {
    DebugPrintf("%s", failedLine);
    LogHostViewProblem();
  }
  return hr;
}

// The next instance into *object (which may come back null); false at the end.
bool NextInstance(IEnumWbemClassObject* list, ComPtr<IWbemClassObject>* object) {
  ULONG returned = 0;
  list->Next(WBEM_INFINITE, 1, object->ReleaseAndGetAddressOf(), &returned);
  return returned != 0;
}

}  // namespace

HRESULT ConnectWmi(ComPtr<IWbemLocator>* locator, ComPtr<IWbemServices>* services,
                   const char* blanketFormat) {
  HRESULT hr = CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                                reinterpret_cast<void**>(locator->ReleaseAndGetAddressOf()));
  if (hr < 0) {
    DebugPrintf("Failed to create IWbemLocator object. Err code = 0x%x\n", hr);
    return hr;
  }
  hr = (*locator)->ConnectServer(Bstr(u"ROOT\\WMI"), nullptr, nullptr, nullptr, 0, nullptr, nullptr,
                                 services->ReleaseAndGetAddressOf());
  if (hr < 0) {
    DebugPrintf("Could not connect. Error code = 0x%x\n", hr);
    LogHostViewProblem();
    return hr;
  }
  hr = CoSetProxyBlanket(services->Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                         RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
  if (hr < 0) {
    DebugPrintf(blanketFormat, hr);
    return hr;
  }
  return S_OK;
}

bool VdsWmi::Connect() {
  DebugPrintf("VdsWmiInit\n");
  ComPtr<IWbemLocator> locator;
  ComPtr<IWbemServices> services;
  ConnectWmi(&locator, &services, "Could not set proxy blanket. Error code = 0x%x\n");
  if (pLocG != nullptr) pLocG->Release();
  if (pSvcG != nullptr) pSvcG->Release();
  pLocG = locator.Detach();
  pSvcG = services.Detach();
  return pLocG != nullptr && pSvcG != nullptr;
}

void VdsWmi::Disconnect() {
  DebugPrintf("~VdsWmiInit\n");
  if (pSvcG != nullptr) pSvcG->Release();
  if (pLocG != nullptr) pLocG->Release();
  pSvcG = nullptr;
  pLocG = nullptr;
}

int VdsWmi::WmiGetMpioDescriptor(std::vector<MpioDescriptor>& mpioVec) {
  if (pSvcG == nullptr) {
    DebugPrintf("OOP!! VdsWmi::WmiGetMpioDescriptor pSvcG is null.\n");
    return 0;
  }
  ComPtr<IEnumWbemClassObject> list;
  HRESULT hr =
      OpenInstances(pSvcG, u"MPIO_GET_DESCRIPTOR",
                    "OOP!! VdsWmi::WmiGetMpioDescriptor CreateInstanceEnum return faild.\n", &list);
  if (hr < 0) return hr;
  // A null or mistyped element at any level ends the read with success; what was read stays.
  auto stop = [&](const char* line) {
    DebugPrintf(line);
    DebugPrintf("VdsWmi::WmiGetMpioDescriptor out (%d entries)\n",
                static_cast<int>(mpioVec.size()));
    return 0;
  };
  ComPtr<IWbemClassObject> pclsObj;
  while (NextInstance(list.Get(), &pclsObj)) {
    if (!pclsObj) return stop("OOP!! VdsWmi::WmiGetMpioDescriptor pclsObj is null.\n");
    MpioDescriptor descriptor;
    if (!GetWmiString(pclsObj.Get(), u"InstanceName", &descriptor.instanceName)) {
      return stop("OOP!! VdsWmi::WmiGetMpioDescriptor vtInstanceProp is null.\n");
    }
    WmiObjectArray PdoArr;
    hr = PdoArr.Read(pclsObj.Get(), u"PdoInformation");
    if (hr == WBEM_E_TYPE_MISMATCH) {
      return stop("OOP!! VdsWmi::WmiGetMpioDescriptor PdoArr is null.\n");
    }
    if (hr != S_OK) {
      DebugPrintf("OOP!! VdsWmi::WmiGetMpioDescriptor pclsObj->Get(PdoInformation) returned 0x%x\n",
                  hr);
      return 0;
    }
    if (PdoArr.Count() > static_cast<LONG>(kMaxPdoInfo)) {
      DebugPrintf("OOP!! VdsWmi::WmiGetMpioDescriptor %S has %d paths, more than %d\n",
                  descriptor.instanceName.c_str(), PdoArr.Count(), kMaxPdoInfo);
      return stop("");
    }
    for (LONG i = 0; i < PdoArr.Count(); ++i) {
      ComPtr<IWbemClassObject> pIPath = PdoArr.At(i);
      if (!pIPath) return stop("OOP!! VdsWmi::WmiGetMpioDescriptor pIPath is null.\n");
      PdoInfo& pdo = descriptor.pdoInfo[i];
      if (!GetWmiU64(pIPath.Get(), u"PathIdentifier", &pdo.ullPathId)) {
        return stop("OOP!! VdsWmi::WmiGetMpioDescriptor PathIdentifier is not a decimal number.\n");
      }
      ComPtr<IWbemClassObject> pIWbemScsi = GetWmiObject(pIPath.Get(), u"ScsiAddress");
      if (!pIWbemScsi) return stop("OOP!! VdsWmi::WmiGetMpioDescriptor pIWbemScsi is null.\n");
      uint32_t values[4] = {};
      if (!GetWmiU32(pIWbemScsi.Get(), u"Lun", &values[0]) ||
          !GetWmiU32(pIWbemScsi.Get(), u"PortNumber", &values[1]) ||
          !GetWmiU32(pIWbemScsi.Get(), u"ScsiPathId", &values[2]) ||
          !GetWmiU32(pIWbemScsi.Get(), u"TargetId", &values[3])) {
        return stop("OOP!! VdsWmi::WmiGetMpioDescriptor Lun/PortNumber/ScsiPathId/TargetId\n");
      }
      pdo.Lun = values[0] & 0xFF;
      pdo.PortNumber = values[1] & 0xFF;
      pdo.ScsiPathId = values[2] & 0xFF;
      pdo.TargetId = values[3] & 0xFF;
      descriptor.numPdoInfo = static_cast<uint32_t>(i + 1);
    }
    mpioVec.push_back(std::move(descriptor));
  }
  DebugPrintf("VdsWmi::WmiGetMpioDescriptor out (%d entries)\n", static_cast<int>(mpioVec.size()));
  return 0;
}

int VdsWmi::WmiGetMpioDiskInfo(std::vector<MpioDiskInfo>& mpioDiskInfoVec) {
  if (pSvcG == nullptr) {
    DebugPrintf("OOP!! VdsWmi::WmiGetMpioDiskInfo pSvcG is null.\n");
    return E_FAIL;
  }
  ComPtr<IEnumWbemClassObject> list;
  HRESULT hr = OpenInstances(
      pSvcG, u"MPIO_DISK_INFO",
      "OOP!! VdsWmi::WmiGetInitiatorNodeInfo CreateInstanceEnum return faild.\n", &list);
  if (hr < 0) return hr;
  ComPtr<IWbemClassObject> pclsObj;
  while (NextInstance(list.Get(), &pclsObj)) {
    WmiObjectArray drives;
    if (!pclsObj || drives.Read(pclsObj.Get(), u"DriveInfo") != S_OK) {
      DebugPrintf("OOP!! VdsWmi::WmiGetMpioDiskInfo DriveInfo is not an array of objects.\n");
      return WBEM_E_TYPE_MISMATCH;
    }
    for (LONG i = 0; i < drives.Count(); ++i) {
      ComPtr<IWbemClassObject> drive = drives.At(i);
      std::u16string serial;
      std::u16string name;
      if (!GetWmiString(drive.Get(), u"SerialNumber", &serial) ||
          !GetWmiString(drive.Get(), u"Name", &name)) {
        DebugPrintf("OOP!! VdsWmi::WmiGetMpioDiskInfo drive %d has no SerialNumber or Name.\n",
                    static_cast<int>(i));
        return WBEM_E_TYPE_MISMATCH;
      }
      MpioDiskInfo info;
      info.serialNumber = NarrowWmi(serial);
      std::string narrowName = NarrowWmi(name);
      if (!NumberFromName(narrowName, &info.deviceNumber)) {
        DebugPrintf("OOP!! VdsWmi::WmiGetMpioDiskInfo no device number in name %s\n",
                    narrowName.c_str());
        info.deviceNumber = kNoDeviceNumber;
      }
      mpioDiskInfoVec.push_back(std::move(info));
    }
  }
  hr = WmiAddMpioInstanceNames(mpioDiskInfoVec);
  if (hr != S_OK) DebugPrintf("VdsWmi::WmiAddMpioInstanceNames failed; hRes=0x%x\n", hr);
  DebugPrintf("VdsWmi::WmiGetMpioDiskInfo out (%d entries)\n",
              static_cast<int>(mpioDiskInfoVec.size()));
  return 0;
}

HRESULT VdsWmi::WmiAddMpioInstanceNames(std::vector<MpioDiskInfo>& mpioDiskInfoVec) {
  ComPtr<IEnumWbemClassObject> list;
  HRESULT hr = OpenInstances(pSvcG, u"MPIO_GET_DESCRIPTOR", nullptr, &list);
  if (hr < 0) return hr;
  ComPtr<IWbemClassObject> pclsObj;
  while (NextInstance(list.Get(), &pclsObj)) {
    std::u16string instance;
    std::u16string deviceName;
    if (!GetWmiString(pclsObj.Get(), u"InstanceName", &instance) ||
        !GetWmiString(pclsObj.Get(), u"DeviceName", &deviceName)) {
      return WBEM_E_TYPE_MISMATCH;
    }
    std::string narrowName = NarrowWmi(deviceName);
    uint32_t dev = 0;
    if (!NumberFromName(narrowName, &dev)) {
      DebugPrintf("OOP!! VdsWmi::WmiAddMpioInstanceNames no device number in %s\n",
                  narrowName.c_str());
      continue;
    }
    DebugPrintf("VdsWmi::WmiAddMpioInstanceNames() DevName %s dev %d = %S\n", narrowName.c_str(),
                dev, instance.c_str());
    for (MpioDiskInfo& info : mpioDiskInfoVec) {
      if (info.deviceNumber == dev) {
        info.instanceName = instance;
        break;
      }
    }
  }
  return S_OK;
}

int VdsWmi::WmiGetMpioDsmPathV2(std::vector<MpioDsmPathV2List>& mpioDsmPathV2Vec) {
  if (pSvcG == nullptr) {
    DebugPrintf("OOP!! VdsWmi::WmiGetMpioDsmPathV2 pSvcG is null.\n");
    return E_FAIL;
  }
  ComPtr<IEnumWbemClassObject> list;
  HRESULT hr =
      OpenInstances(pSvcG, u"DSM_QueryLBPolicy_V2",
                    "OOP!! VdsWmi::WmiGetMpioDsmPathV2 CreateInstanceEnum return faild.\n", &list);
  if (hr < 0) return hr;
  ComPtr<IWbemClassObject> pclsObj;
  while (NextInstance(list.Get(), &pclsObj)) {
    DumpWmiObject(pclsObj.Get());
    MpioDsmPathV2List record;
    ComPtr<IWbemClassObject> policy = GetWmiObject(pclsObj.Get(), u"LoadBalancePolicy");
    if (!GetWmiString(pclsObj.Get(), u"InstanceName", &record.instanceName) || !policy ||
        !GetWmiU32(policy.Get(), u"DSMPathCount", &record.DSMPathCount) ||
        !GetWmiU32(policy.Get(), u"Version", &record.Version) ||
        !GetWmiU32(policy.Get(), u"LoadBalancePolicy", &record.LoadBalancePolicy) ||
        !GetWmiU32(policy.Get(), u"Reserved", &record.Reserved)) {
      DebugPrintf("OOP!! VdsWmi::WmiGetMpioDsmPathV2 InstanceName or LoadBalancePolicy missing.\n");
      return WBEM_E_TYPE_MISMATCH;
    }
    DumpWmiObject(policy.Get());
    WmiObjectArray paths;
    hr = paths.Read(policy.Get(), u"DSM_Paths");
    if (hr != S_OK) {
      DebugPrintf("OOP!! VdsWmi::WmiGetMpioDsmPathV2 Get(DSM_Paths) return faild.\n");
      return hr;
    }
    if (paths.Count() > static_cast<LONG>(kMaxDsmPathV2)) {
      DebugPrintf("OOP!! VdsWmi::WmiGetMpioDsmPathV2 %S has %d paths, more than %d\n",
                  record.instanceName.c_str(), paths.Count(), kMaxDsmPathV2);
      return WBEM_E_FAILED;
    }
    for (LONG i = 0; i < paths.Count(); ++i) {
      ComPtr<IWbemClassObject> path = paths.At(i);
      DumpWmiObject(path.Get());
      MpioDsmPathV2& p = record.paths[i];
      uint32_t symmetric = 0;
      uint32_t preferred = 0;
      uint32_t group = 0;
      if (!GetWmiU64(path.Get(), u"DsmPathId", &p.DsmPathId) ||
          !GetWmiU64(path.Get(), u"Reserved", &p.Reserved) ||
          !GetWmiU32(path.Get(), u"PathWeight", &p.PathWeight) ||
          !GetWmiU32(path.Get(), u"PrimaryPath", &p.PrimaryPath) ||
          !GetWmiU32(path.Get(), u"OptimizedPath", &p.OptimizedPath) ||
          !GetWmiU32(path.Get(), u"PreferredPath", &p.PreferredPath) ||
          !GetWmiU32(path.Get(), u"FailedPath", &p.FailedPath) ||
          !GetWmiU32(path.Get(), u"TargetPortGroup_State", &p.TargetPortGroup_State) ||
          !GetWmiU32(path.Get(), u"ALUASupport", &p.ALUASupport) ||
          !GetWmiU32(path.Get(), u"SymmetricLUA", &symmetric) ||
          !GetWmiU32(path.Get(), u"TargetPortGroup_Preferred", &preferred) ||
          !GetWmiU32(path.Get(), u"TargetPortGroup_Identifier", &group) ||
          !GetWmiU32(path.Get(), u"TargetPort_Identifier", &p.TargetPort_Identifier) ||
          !GetWmiU32(path.Get(), u"Reserved32", &p.Reserved32) ||
          !GetWmiU64(path.Get(), u"Reserved64", &p.Reserved64)) {
        DebugPrintf("OOP!! VdsWmi::WmiGetMpioDsmPathV2 path %d of %S is incomplete.\n",
                    static_cast<int>(i), record.instanceName.c_str());
        return WBEM_E_TYPE_MISMATCH;
      }
      p.SymmetricLUA = static_cast<uint8_t>(symmetric);
      p.TargetPortGroup_Preferred = static_cast<uint8_t>(preferred);
      p.TargetPortGroup_Identifier = static_cast<uint16_t>(group);
      record.numDsmPathV2 = static_cast<uint32_t>(i + 1);
    }
    mpioDsmPathV2Vec.push_back(std::move(record));
  }
  return 0;
}

int VdsWmi::WmiGetDSMInfo(std::vector<DsmInfo>& DsmVec) {
  if (pSvcG == nullptr) {
    DebugPrintf("OOP!! VdsWmi::WmiGetDsmInfo pSvcG is null.\n");
    return E_FAIL;
  }
  ComPtr<IEnumWbemClassObject> list;
  HRESULT hr =
      OpenInstances(pSvcG, u"Dsm_QueryUniqueId",
                    "OOP!! VdsWmi::WmiGetDsmInfo CreateInstanceEnum return faild.\n", &list);
  if (hr < 0) return hr;
  ComPtr<IWbemClassObject> pclsObj;
  while (NextInstance(list.Get(), &pclsObj)) {
    DsmInfo info;
    if (!GetWmiString(pclsObj.Get(), u"InstanceName", &info.instanceName) ||
        !GetWmiU64(pclsObj.Get(), u"DsmUniqueId", &info.DsmUniqueId)) {
      DebugPrintf("OOP!! VdsWmi::WmiGetDsmInfo InstanceName or DsmUniqueId missing.\n");
      return WBEM_E_TYPE_MISMATCH;
    }
    DebugPrintf("VdsWmi::WmiGetDsmInfo: dsm uid=%I64x for %S\n", info.DsmUniqueId,
                info.instanceName.c_str());
    DsmVec.push_back(std::move(info));
  }
  return 0;
}

int VdsWmi::WmiGetDevicePerf(std::vector<DevPerfEntry>& DevPerfVec) {
  if (pSvcG == nullptr) {
    DebugPrintf("OOP!! VdsWmi::WmiGetDevicePerf pSvcG is null.\n");
    return 1;
  }
  ComPtr<IEnumWbemClassObject> list;
  HRESULT hr =
      OpenInstances(pSvcG, u"MORDSM_PERFINFO",
                    "OOP!! VdsWmi::WmiGetDevicePerf CreateInstanceEnum return faild.\n", &list);
  if (hr < 0) return hr;
  ComPtr<IWbemClassObject> pclsObj;
  while (NextInstance(list.Get(), &pclsObj)) {
    WmiObjectArray entries;
    for (int attempt = 0; attempt < 3; ++attempt) {
      ScopedVariant varPerfInfo;
      if (pclsObj->Get(u"PerfInfo", 0, &varPerfInfo, nullptr, nullptr) == S_OK &&
          varPerfInfo->vt != VT_NULL && varPerfInfo->vt != VT_EMPTY) {
        break;
      }
      DebugPrintf(
          "OOP!! VdsWmi::WmiGetDevicePerf pclsObj->Get(PerfInfo) varPerfInfo.vt == VT_NULL.\n");
      if (attempt < 2) Sleep(5000);
    }
    if (entries.Read(pclsObj.Get(), u"PerfInfo") != S_OK) return 1;
    for (LONG i = 0; i < entries.Count(); ++i) {
      ComPtr<IWbemClassObject> entry = entries.At(i);
      DevPerfEntry perf{};
      ScopedVariant identifier;
      if (!GetWmiU64(entry.Get(), u"PathId", &perf.ullPathId) ||
          !GetWmiU32(entry.Get(), u"PortNumber", &perf.PortNumber) ||
          !GetWmiU32(entry.Get(), u"ScsiPathId", &perf.ScsiPathId) ||
          !GetWmiU32(entry.Get(), u"TargetId", &perf.TargetId) ||
          !GetWmiU32(entry.Get(), u"Lun", &perf.Lun) ||
          entry->Get(u"Identifier", 0, &identifier, nullptr, nullptr) != S_OK ||
          (identifier->vt != (VT_ARRAY | VT_UI1) && identifier->vt != (VT_ARRAY | VT_I4))) {
        DebugPrintf("OOP!! VdsWmi::WmiGetDevicePerf entry %d is incomplete.\n",
                    static_cast<int>(i));
        return 1;
      }
      LONG lower = 0;
      LONG upper = -1;
      SafeArrayGetLBound(identifier->parray, 1, &lower);
      SafeArrayGetUBound(identifier->parray, 1, &upper);
      uint8_t bytes[26] = {};
      if (upper - lower + 1 < static_cast<LONG>(sizeof(bytes))) {
        DebugPrintf("OOP!! VdsWmi::WmiGetDevicePerf Identifier of entry %d is too short.\n",
                    static_cast<int>(i));
        return 1;
      }
      for (LONG b = 0; b < static_cast<LONG>(sizeof(bytes)); ++b) {
        LONG index = lower + b;
        if (identifier->vt == (VT_ARRAY | VT_UI1)) {
          SafeArrayGetElement(identifier->parray, &index, &bytes[b]);
        } else {
          LONG value = 0;
          SafeArrayGetElement(identifier->parray, &index, &value);
          bytes[b] = static_cast<uint8_t>(value);
        }
      }
      perf.PortNumber &= 0xFF;
      perf.ScsiPathId &= 0xFF;
      perf.TargetId &= 0xFF;
      perf.Lun &= 0xFF;
      std::copy(bytes + 4, bytes + 12, perf.hbaPortWWN);
      std::copy(bytes + 12, bytes + 20, perf.ctrlPortWWN);
      std::copy(bytes + 20, bytes + 25, perf.lunKey);
      perf.pathState = bytes[25];
      DevPerfVec.push_back(perf);
    }
  }
  return 0;
}

int VdsWmi::QueryLBPolicy(std::vector<DsmLoadPolicy>& DsmLoadPolicyVec) {
  ComPtr<IWbemLocator> locator;
  ComPtr<IWbemServices> services;
  HRESULT hr = ConnectWmi(&locator, &services, "Could not set proxy blanket. Error code = 0x%x\n");
  if (hr < 0) return hr;
  ComPtr<IEnumWbemClassObject> list;
  hr = OpenInstances(services.Get(), u"DSM_QueryLBPolicy",
                     "OOP!! VdsWmi::QueryLBPolicy CreateInstanceEnum return faild.\n", &list);
  if (hr < 0) return hr;
  ComPtr<IWbemClassObject> pclsObj;
  while (NextInstance(list.Get(), &pclsObj)) {
    auto record = std::make_unique<DsmLoadPolicy>();
    ComPtr<IWbemClassObject> policy = GetWmiObject(pclsObj.Get(), u"LoadBalancePolicy");
    WmiObjectArray paths;
    if (!GetWmiString(pclsObj.Get(), u"InstanceName", &record->instanceName) || !policy ||
        !GetWmiU32(policy.Get(), u"LoadBalancePolicy", &record->LoadBalancePolicy) ||
        !GetWmiU32(policy.Get(), u"DSMPathCount", &record->DSMPathCount) ||
        paths.Read(policy.Get(), u"DSM_Paths") != S_OK) {
      DebugPrintf("OOP!! VdsWmi::QueryLBPolicy an instance lacks its policy or paths.\n");
      return WBEM_E_TYPE_MISMATCH;
    }
    if (paths.Count() > static_cast<LONG>(kMaxDsmPaths)) {
      DebugPrintf("OOP!! VdsWmi::QueryLBPolicy %S has %d paths, more than %d\n",
                  record->instanceName.c_str(), paths.Count(), kMaxDsmPaths);
      return WBEM_E_FAILED;
    }
    for (LONG i = 0; i < paths.Count(); ++i) {
      ComPtr<IWbemClassObject> path = paths.At(i);
      DsmPath& p = record->DSM_Paths[i];
      if (!GetWmiU64(path.Get(), u"DsmPathId", &p.DsmPathId) ||
          !GetWmiU32(path.Get(), u"PathWeight", &p.PathWeight) ||
          !GetWmiU32(path.Get(), u"PrimaryPath", &p.PrimaryPath)) {
        DebugPrintf("OOP!! VdsWmi::QueryLBPolicy path %d of %S is incomplete.\n",
                    static_cast<int>(i), record->instanceName.c_str());
        return WBEM_E_TYPE_MISMATCH;
      }
    }
    DsmLoadPolicyVec.push_back(std::move(*record));
  }
  return 0;
}
