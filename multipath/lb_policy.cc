#include "multipath/lb_policy.h"

#include <memory>

#include "diag/debug_log.h"
#include "multipath/vds_wmi.h"
#include "multipath/wmi_values.h"
#include "platform/strings.h"

namespace {

const VDS_PATH_POLICY* InputPath(const VDS_PATH_POLICY* pPaths, LONG count, uint64_t pathId) {
  for (LONG i = 0; i < count; ++i) {
    if (pPaths[i].pathId.ullPathId == pathId) return &pPaths[i];
  }
  return nullptr;
}

// The instance of `className` with this InstanceName; S_OK with a null result when none.
HRESULT FindInstance(IWbemServices* services, const char16_t* className,
                     const std::u16string& instance, ComPtr<IWbemClassObject>* found) {
  ComPtr<IEnumWbemClassObject> list;
  BSTR name = SysAllocString(className);
  HRESULT hr =
      services->CreateInstanceEnum(name, WBEM_FLAG_RETURN_IMMEDIATELY | WBEM_FLAG_FORWARD_ONLY,
                                   nullptr, list.ReleaseAndGetAddressOf());
  SysFreeString(name);
  if (hr < 0) return hr;
  for (;;) {
    ComPtr<IWbemClassObject> object;
    ULONG returned = 0;
    list->Next(WBEM_INFINITE, 1, object.ReleaseAndGetAddressOf(), &returned);
    if (returned == 0) return S_OK;
    std::u16string name16;
    if (GetWmiString(object.Get(), u"InstanceName", &name16) && name16 == instance) {
      *found = object;
      return S_OK;
    }
  }
}

HRESULT Exec(IWbemServices* services, const std::u16string& path, const char16_t* method,
             IWbemClassObject* in, ComPtr<IWbemClassObject>* out) {
  BSTR objectPath = SysAllocStringLen(path.data(), static_cast<UINT>(path.size()));
  BSTR methodName = SysAllocString(method);
  HRESULT hr = services->ExecMethod(objectPath, methodName, 0, nullptr, in,
                                    out->ReleaseAndGetAddressOf(), nullptr);
  SysFreeString(objectPath);
  SysFreeString(methodName);
  return hr;
}

}  // namespace

int FindMpioDisk(const std::vector<MpioDiskInfo>& mpioDiskInfoVec, const std::string& sn) {
  for (size_t i = 0; i < mpioDiskInfoVec.size(); ++i) {
    if (mpioDiskInfoVec[i].serialNumber == sn) return static_cast<int>(i);
  }
  return -1;
}

int findLBPolicy(const std::vector<MpioDiskInfo>& mpioDiskInfoVec, const std::string& sn,
                 const std::vector<DsmLoadPolicy>& DsmLoadPolicyVec, uint64_t firstPathId,
                 bool win2008, DsmLoadPolicy* outPolicy, std::u16string* outInstance) {
  if (!win2008) {
    for (const DsmLoadPolicy& record : DsmLoadPolicyVec) {
      for (uint32_t i = 0; i < record.DSMPathCount && i < kMaxDsmPaths; ++i) {
        if (record.DSM_Paths[i].DsmPathId == firstPathId) {
          *outPolicy = record;
          *outInstance = record.instanceName;
          return 0;
        }
      }
    }
    return 1;
  }
  int verOrder = FindMpioDisk(mpioDiskInfoVec, sn);
  if (verOrder < 0) return 1;
  const std::u16string& instance = mpioDiskInfoVec[verOrder].instanceName;
  for (const DsmLoadPolicy& record : DsmLoadPolicyVec) {
    if (record.instanceName == instance) {
      DebugPrintf("findLBPolicy() found %d paths for instance %S\n", record.DSMPathCount,
                  instance.c_str());
      *outPolicy = record;
      *outInstance = record.instanceName;
      return 0;
    }
  }
  DebugPrintf("findLBPolicy() failed to find paths data for instance %S\n", instance.c_str());
  if (static_cast<size_t>(verOrder) >= DsmLoadPolicyVec.size()) {
    DebugPrintf(
        "findLBPolicy() Out of DsmLoadPolicyVec bound, verOrder=%d, DsmLoadPolicyVec.size()=%d\n",
        verOrder, static_cast<int>(DsmLoadPolicyVec.size()));
    return 1;
  }
  *outPolicy = DsmLoadPolicyVec[verOrder];
  *outInstance = outPolicy->instanceName;
  return 0;
}

int EnumDsmQueryLBPolicy_V2(const std::vector<MpioDiskInfo>& mpioDiskInfoVec, const std::string& sn,
                            const std::vector<MpioDsmPathV2List>& mpioDsmPathV2Vec,
                            MpioDsmPathV2List* outRecord, std::u16string* outInstance) {
  int verOrder = FindMpioDisk(mpioDiskInfoVec, sn);
  if (verOrder < 0) {
    DebugPrintf(" Can not find a Instance to match\n");
    return 1;
  }
  const std::u16string& instance = mpioDiskInfoVec[verOrder].instanceName;
  for (const MpioDsmPathV2List& record : mpioDsmPathV2Vec) {
    if (record.instanceName == instance) {
      DebugPrintf("EnumDsmQueryLBPolicy_V2 succeeded, return %d paths for %S\n",
                  record.numDsmPathV2, instance.c_str());
      *outRecord = record;
      *outInstance = instance;
      return 0;
    }
  }
  DebugPrintf("EnumDsmQueryLBPolicy_V2 failed to find paths for instance %S\n", instance.c_str());
  if (static_cast<size_t>(verOrder) >= mpioDsmPathV2Vec.size()) {
    DebugPrintf(
        "EnumDsmQueryLBPolicy() Out of mpioDsmPathV2Vec bound, verOrder=%d, "
        "mpioDsmPathV2Vec.size()=%d\n",
        verOrder, static_cast<int>(mpioDsmPathV2Vec.size()));
    return 1;
  }
  *outRecord = mpioDsmPathV2Vec[verOrder];
  *outInstance = outRecord->instanceName;
  return 0;
}

bool CalcPrimaryByPathId(const DsmLoadPolicy& dsmPolicy, uint64_t pathId,
                         const std::vector<MpioDsmPathV2List>& mpioDsmPathV2Vec, bool win2008,
                         bool loadBalanceStateOption) {
  DebugPrintf(
      "CLun::CalcPrimaryByPathId pathId=0x%I64x, DSMPathCount=%d, FailBack=%d, instanceName=%ls, "
      "LoadBalancePolicy=%d, Version=%d\n",
      pathId, dsmPolicy.DSMPathCount, dsmPolicy.Reserved, dsmPolicy.instanceName.c_str(),
      dsmPolicy.LoadBalancePolicy, dsmPolicy.Version);
  const uint32_t count = std::min(dsmPolicy.DSMPathCount, kMaxDsmPaths);
  for (uint32_t i = 0; i < count; ++i) {
    const DsmPath& p = dsmPolicy.DSM_Paths[i];
    DebugPrintf("DSM_Paths.DsmPathId=0x%I64x, DSM_Paths.PathWeight=%d, DSM_Paths.PrimaryPath=%d\n",
                p.DsmPathId, p.PathWeight, p.PrimaryPath);
  }
  if (!win2008) {
    for (uint32_t i = 0; i < count; ++i) {
      if (dsmPolicy.DSM_Paths[i].DsmPathId == pathId)
        return dsmPolicy.DSM_Paths[i].PrimaryPath != 0;
    }
    DebugPrintf("CLun::CalcPrimaryByPathId return false\n");
    return false;
  }
  bool isAllPrefferedPathZero = true;
  for (const MpioDsmPathV2List& record : mpioDsmPathV2Vec) {
    if (record.instanceName != dsmPolicy.instanceName || record.LoadBalancePolicy != 1) continue;
    for (uint32_t i = 0; i < std::min(record.DSMPathCount, record.numDsmPathV2); ++i) {
      if (record.paths[i].PreferredPath != 0) isAllPrefferedPathZero = false;
    }
  }
  DebugPrintf("CLun::CalcPrimaryByPathId isAllPrefferedPathZero=%d\n", isAllPrefferedPathZero);
  for (const MpioDsmPathV2List& record : mpioDsmPathV2Vec) {
    if (record.instanceName != dsmPolicy.instanceName) continue;
    for (uint32_t i = 0; i < record.numDsmPathV2; ++i) {
      const MpioDsmPathV2& p = record.paths[i];
      if (p.DsmPathId != pathId) continue;
      if (record.LoadBalancePolicy == 1 && !isAllPrefferedPathZero) return p.PreferredPath != 0;
      if (record.LoadBalancePolicy == 1 && !loadBalanceStateOption) {
        return p.PrimaryPath != 0 && p.OptimizedPath != 0;
      }
      return p.PrimaryPath != 0;
    }
  }
  DebugPrintf("CLun::CalcPrimaryByPathId return false\n");
  return false;
}

void TargetPortGroupFlags(uint32_t state, int* primary, int* optimized) {
  static const int kTable[16][2] = {{1, 1}, {1, 0}, {0, 1}, {0, 0}};
  if (state == 0x10) {
    DebugPrintf("WmiSetLoadBalancePolicy_V2::TargetPortGroupState == STATE_NOT_USED\n");
    state = 0;
  }
  if (state >= 16) {
    *primary = 0;
    *optimized = 0;
    return;
  }
  *primary = kTable[state][0];
  *optimized = kTable[state][1];
}

std::u16string DsmObjectPath(const char16_t* className, const std::u16string& instance) {
  std::u16string text = instance;
  size_t last = text.rfind(u'\\');
  size_t first = text.find(u'\\');
  if (last != std::u16string::npos) text.insert(last, 1, u'\\');
  if (first != std::u16string::npos && first != last) text.insert(first, 1, u'\\');
  return std::u16string(className) + u".InstanceName=\"" + text + u"\"";
}

int WmiSetLoadBalancePolicy_V2::DSM_LB_Operations(
    const std::vector<MpioDiskInfo>& mpioDiskInfoVec, const std::string& sn,
    const std::vector<MpioDsmPathV2List>& mpioDsmPathV2Vec, VDS_LOADBALANCE_POLICY_ENUM policy,
    const VDS_PATH_POLICY* pPaths, LONG lNumberOfPaths, bool isULP, bool loadBalanceStateOption) {
  ComPtr<IWbemLocator> locator;
  ComPtr<IWbemServices> services;
  if (ConnectWmi(&locator, &services, "Could not set proxy blanket. Error code = 0x%x\n") < 0) {
    return 1;
  }
  auto record = std::make_unique<MpioDsmPathV2List>();
  std::u16string instance;
  if (EnumDsmQueryLBPolicy_V2(mpioDiskInfoVec, sn, mpioDsmPathV2Vec, record.get(), &instance) !=
      0) {
    return 1;
  }
  // The array holds DSMPathCount paths; a count the record can't hold is refused here.
  if (record->DSMPathCount > kMaxDsmPathV2 || record->DSMPathCount != record->numDsmPathV2) {
    DebugPrintf(
        "OOP!! WmiSetLoadBalancePolicy_V2::DSM_LB_Operations DSMPathCount %d, %d paths read\n",
        record->DSMPathCount, record->numDsmPathV2);
    return 1;
  }
  ComPtr<IWbemClassObject> operations;
  if (FindInstance(services.Get(), u"DSM_LB_Operations", instance, &operations) < 0) return 1;
  if (!operations) return 0;  // the DSM has no such disk: nothing is set

  bool allInputPrimaryPathisZero = true;
  for (LONG i = 0; i < lNumberOfPaths; ++i) {
    if (pPaths[i].bPrimaryPath != 0) allInputPrimaryPathisZero = false;
  }
  WmiBuilder build(services.Get());
  ComPtr<IWbemClassObject> in =
      build.MethodInput(u"DSM_LB_Operations", u"DsmSetLoadBalancePolicyALUA", 1);
  ComPtr<IWbemClassObject> policyObject = build.Spawn(u"DSM_Load_Balance_Policy_V2", 2);
  build.PutU32(policyObject.Get(), u"Version", record->Version, 3);
  build.PutU32(policyObject.Get(), u"LoadBalancePolicy", static_cast<uint32_t>(policy), 4);
  build.PutU32(policyObject.Get(), u"DSMPathCount", record->DSMPathCount, 5);
  build.PutU32(policyObject.Get(), u"Reserved", 0, 6);
  SAFEARRAY* array = SafeArrayCreateVector(VT_UNKNOWN, 0, record->DSMPathCount);

  bool preferredMade = false;
  bool firstOptimizedKept = false;
  for (uint32_t i = 0; i < record->numDsmPathV2; ++i) {
    const MpioDsmPathV2& p = record->paths[i];
    const VDS_PATH_POLICY* input = InputPath(pPaths, lNumberOfPaths, p.DsmPathId);
    int iNewWeight = static_cast<int>(p.PathWeight);
    int iNewPreferredPath = static_cast<int>(p.PreferredPath);
    int iNewPrimary = 0;
    int iNewOptimizedPath = 0;
    TargetPortGroupFlags(p.TargetPortGroup_State, &iNewPrimary, &iNewOptimizedPath);
    DebugPrintf(
        "PrimaryPath=%d, PathWeight=%d, OptimizedPath=%d, TargetPortGroupState=%d PreferredPath=%d "
        "allInputPrimaryPathisZero=%d\n",
        p.PrimaryPath, p.PathWeight, p.OptimizedPath, p.TargetPortGroup_State, p.PreferredPath,
        allInputPrimaryPathisZero);
    if (policy == VDS_LBP_FAILOVER && !loadBalanceStateOption) {
      iNewPrimary = static_cast<int>(p.PrimaryPath);
      iNewOptimizedPath = static_cast<int>(p.OptimizedPath);
      if (!allInputPrimaryPathisZero && input != nullptr) iNewPreferredPath = input->bPrimaryPath;
    } else if (policy == VDS_LBP_FAILOVER) {
      if (record->DSMPathCount > 1 && iNewPrimary == 1 && iNewOptimizedPath == 1 &&
          allInputPrimaryPathisZero) {
        if (!firstOptimizedKept) {
          firstOptimizedKept = true;
        } else if (isULP) {
          iNewOptimizedPath = 0;
        } else {
          iNewPrimary = 0;
        }
      }
      if (input != nullptr && !allInputPrimaryPathisZero) {
        iNewPrimary = input->bPrimaryPath;
        if (isULP && iNewPrimary == 0) {
          iNewPrimary = 1;
          iNewOptimizedPath = 0;
        }
      }
      if (!allInputPrimaryPathisZero) iNewPreferredPath = 0;
      if (input != nullptr && input->bPrimaryPath != 0 && !allInputPrimaryPathisZero &&
          iNewPrimary == 1 && !preferredMade) {
        iNewPreferredPath = 1;
        iNewOptimizedPath = 1;
        preferredMade = true;
      }
    }
    if (input != nullptr && input->ulWeight != 0) iNewWeight = static_cast<int>(input->ulWeight);
    DebugPrintf(
        "iNewPrimary=%d, iNewWeight=%d, iNewOptimizedPath=%d, iTargetPortGroupState=%d "
        "iNewPreferredPath=%d allInputPrimaryPathisZero=%d\n",
        iNewPrimary, iNewWeight, iNewOptimizedPath, p.TargetPortGroup_State, iNewPreferredPath,
        allInputPrimaryPathisZero);

    ComPtr<IWbemClassObject> path = build.Spawn(u"MPIO_DSM_Path_V2", 7);
    build.PutU64(path.Get(), u"DsmPathId", p.DsmPathId, 8);
    build.PutU64(path.Get(), u"Reserved", 0, 8);
    build.PutU32(path.Get(), u"PathWeight", static_cast<uint32_t>(iNewWeight), 8);
    build.PutU32(path.Get(), u"PrimaryPath", static_cast<uint32_t>(iNewPrimary), 8);
    build.PutU32(path.Get(), u"OptimizedPath", static_cast<uint32_t>(iNewOptimizedPath), 8);
    build.PutU32(path.Get(), u"PreferredPath", static_cast<uint32_t>(iNewPreferredPath), 8);
    build.PutU32(path.Get(), u"FailedPath", p.FailedPath, 8);
    build.PutU32(path.Get(), u"TargetPortGroup_State", p.TargetPortGroup_State, 8);
    build.PutU32(path.Get(), u"ALUASupport", p.ALUASupport, 8);
    build.PutU32(path.Get(), u"SymmetricLUA", p.SymmetricLUA, 8);
    build.PutU32(path.Get(), u"TargetPortGroup_Preferred", p.TargetPortGroup_Preferred, 8);
    build.PutU32(path.Get(), u"TargetPortGroup_Identifier", p.TargetPortGroup_Identifier, 8);
    build.PutU32(path.Get(), u"TargetPort_Identifier", p.TargetPort_Identifier, 8);
    build.PutU32(path.Get(), u"Reserved32", 0, 8);
    build.PutU64(path.Get(), u"Reserved64", 0, 8);
    LONG index = static_cast<LONG>(i);
    if (array != nullptr && path) {
      SafeArrayPutElement(array, &index, static_cast<IUnknown*>(path.Get()));
    }
  }
  build.PutArray(policyObject.Get(), u"DSM_Paths", array, 9);
  build.PutObject(in.Get(), u"LoadBalancePolicy", policyObject.Get(), 9);

  ComPtr<IWbemClassObject> out;
  HRESULT hr = Exec(services.Get(), DsmObjectPath(u"DSM_LB_Operations", instance),
                    u"DsmSetLoadBalancePolicyALUA", in.Get(), &out);
  DebugPrintf("ExecMethod DsmSetLoadBalancePolicyALUA run to %d hRes=0x%x\n", 11, hr);
  uint32_t status = 0;
  if (out && GetWmiU32(out.Get(), u"Status", &status)) {
    DebugPrintf("Set Load Balance Policy Returned: %d\n", status);
  }
  return hr < 0 ? hr : 0;
}

int WmiSetLoadBalancePolicy(const std::vector<MpioDiskInfo>& mpioDiskInfoVec, const std::string& sn,
                            VDS_LOADBALANCE_POLICY_ENUM policy, const VDS_PATH_POLICY* pPaths,
                            LONG lNumberOfPaths) {
  ComPtr<IWbemLocator> locator;
  ComPtr<IWbemServices> services;
  if (ConnectWmi(&locator, &services, "Could not set proxy blanket. Error code = 0x%x\n") < 0) {
    return 1;
  }
  // EnumDsmQueryLBPolicy: a fresh read, matched by the disk's instance or its position.
  std::vector<DsmLoadPolicy> fresh;
  if (VdsWmi::QueryLBPolicy(fresh) != 0) return 1;
  int verOrder = FindMpioDisk(mpioDiskInfoVec, sn);
  if (verOrder < 0) {
    DebugPrintf(" Can not find a Instance to match diskSn %s\n", sn.c_str());
    return 1;
  }
  const std::u16string& instance = mpioDiskInfoVec[verOrder].instanceName;
  const DsmLoadPolicy* record = nullptr;
  for (const DsmLoadPolicy& candidate : fresh) {
    if (candidate.instanceName == instance) record = &candidate;
  }
  if (record != nullptr) {
    DebugPrintf("EnumDsmQueryLBPolicy: found %d paths for instance %S\n", record->DSMPathCount,
                instance.c_str());
  } else {
    DebugPrintf("EnumDsmQueryLBPolicy: failed to find paths for instance %S\n", instance.c_str());
    if (static_cast<size_t>(verOrder) >= fresh.size()) {
      DebugPrintf(
          "EnumDsmQueryLBPolicy Out of DsmLoadPolicyVec bound, verOrder=%d, "
          "DsmLoadPolicyVec.size()=%d\n",
          verOrder, static_cast<int>(fresh.size()));
      return 1;
    }
    record = &fresh[verOrder];
  }
  ComPtr<IWbemClassObject> operations;
  if (FindInstance(services.Get(), u"DSM_LB_Operations", record->instanceName, &operations) < 0) {
    return 1;
  }
  if (!operations) return 0;
  const uint32_t count = std::min(record->DSMPathCount, kMaxDsmPaths);
  WmiBuilder build(services.Get());
  ComPtr<IWbemClassObject> in =
      build.MethodInput(u"DSM_LB_Operations", u"DsmSetLoadBalancePolicy", 1);
  ComPtr<IWbemClassObject> policyObject = build.Spawn(u"DSM_Load_Balance_Policy", 2);
  build.PutU32(policyObject.Get(), u"Version", record->Version, 3);
  build.PutU32(policyObject.Get(), u"LoadBalancePolicy", static_cast<uint32_t>(policy), 4);
  build.PutU32(policyObject.Get(), u"DSMPathCount", count, 5);
  build.PutU32(policyObject.Get(), u"Reserved", 0, 6);
  SAFEARRAY* array = SafeArrayCreateVector(VT_UNKNOWN, 0, count);
  for (uint32_t i = 0; i < count; ++i) {
    const DsmPath& p = record->DSM_Paths[i];
    uint32_t iNewWeight = p.PathWeight;
    uint32_t iNewPrimary = p.PrimaryPath;
    if (const VDS_PATH_POLICY* input = InputPath(pPaths, lNumberOfPaths, p.DsmPathId)) {
      iNewWeight = input->ulWeight;
      iNewPrimary = static_cast<uint32_t>(input->bPrimaryPath);
    }
    DebugPrintf("DsmPathId=0x%I64x, iNewPrimary=%d, iNewWeight=%d\n", p.DsmPathId, iNewPrimary,
                iNewWeight);
    ComPtr<IWbemClassObject> path = build.Spawn(u"MPIO_DSM_PATH", 7);
    build.PutU64(path.Get(), u"DsmPathId", p.DsmPathId, 8);
    build.PutU64(path.Get(), u"Reserved", 0, 8);
    build.PutU32(path.Get(), u"PathWeight", iNewWeight, 8);
    build.PutU32(path.Get(), u"PrimaryPath", iNewPrimary, 8);
    LONG index = static_cast<LONG>(i);
    if (array != nullptr && path) {
      SafeArrayPutElement(array, &index, static_cast<IUnknown*>(path.Get()));
    }
  }
  build.PutArray(policyObject.Get(), u"DSM_Paths", array, 9);
  build.PutObject(in.Get(), u"LoadBalancePolicy", policyObject.Get(), 9);
  ComPtr<IWbemClassObject> out;
  HRESULT hr = Exec(services.Get(), DsmObjectPath(u"DSM_LB_Operations", record->instanceName),
                    u"DsmSetLoadBalancePolicy", in.Get(), &out);
  DebugPrintf("DsmSetLoadBalancePolicy() %d hRes=0x%x\n", 10, hr);
  return hr < 0 ? hr : 0;
}
