// IVdsLunMpio: the host's paths of the LUN and their load balance policy, correlated from the
// provider's multipath inventory (multipath/) with the subsystem's controller ports.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "diag/debug_log.h"
#include "identify/disk_sn.h"
#include "multipath/lb_policy.h"
#include "objects/controller.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/port.h"
#include "objects/subsystem.h"
#include "platform/osversion.h"
#include "platform/strings.h"
#include "platform/wbem.h"
#include "provider/host_inventory.h"
#include "provider/provider.h"

// One path while the list is built.
struct LunPathRecord {
  uint32_t PrimaryPath = 0;
  uint32_t OptimizedPath = 0;
  uint32_t PreferredPath = 0;
  uint32_t LoadBalancePolicy = 0;
  uint32_t sortWord = 0;
  VDS_PATH_INFO info{};
  VDS_HBAPORT_PROP hbaPortProp{};
  bool hasHbaPortProp = false;
};

namespace {

constexpr uint64_t kWmiUpdateMark = 0x132b46c;

const char* TypeWord(VDS_HWPROVIDER_TYPE type) {
  switch (type) {
    case VDS_HWT_UNKNOWN:
      return "UNKNOWN";
    case VDS_HWT_PCI_RAID:
      return "PCI_RAID";
    case VDS_HWT_FIBRE_CHANNEL:
      return "FC";
    case VDS_HWT_ISCSI:
      return "iSCSI";
    case VDS_HWT_SAS:
      return "SAS";
    case VDS_HWT_HYBRID:
      return "Hybrid";
    default:
      DebugPrintf("unknown hardware provider type 0x%x\n", type);
      return "<unknown>";
  }
}

const char* StatusWord(VDS_PATH_STATUS status) {
  switch (status) {
    case VDS_MPS_UNKNOWN:
      return "UNKNOWN";
    case VDS_MPS_ONLINE:
      return "ONLINE";
    case VDS_MPS_FAILED:
      return "FAILED";
    case VDS_MPS_STANDBY:
      return "STANDBY";
    default:
      DebugPrintf("unknown path status 0x%x\n", status);
      return "<unknown>";
  }
}

VDS_PATH_STATUS PathStatus(uint32_t failed, uint32_t primary, uint32_t state, uint32_t optimized,
                           bool optimizedPrimaryExists) {
  if (failed != 0) return VDS_MPS_FAILED;
  if (primary == 0) return optimized != 0 ? VDS_MPS_STANDBY : VDS_MPS_UNKNOWN;
  if (state == 0) return optimized != 0 ? VDS_MPS_ONLINE : VDS_MPS_STANDBY;
  return optimizedPrimaryExists ? VDS_MPS_STANDBY : VDS_MPS_ONLINE;
}

std::string WwnText(const uint8_t* wwn) {
  char text[17];
  std::snprintf(text, sizeof(text), "%02X%02X%02X%02X%02X%02X%02X%02X", wwn[0], wwn[1], wwn[2],
                wwn[3], wwn[4], wwn[5], wwn[6], wwn[7]);
  return text;
}

// Each port of each controller of the subsystem, until `match` holds; GUID_NULL when none.
template <class Match>
GUID FindPort(CSubSystem* subSystem, Match match) {
  if (subSystem == nullptr) return GUID_NULL;
  for (const auto& [controllerId, controllerEntry] : subSystem->Controllers()) {
    auto* controller = static_cast<CController*>(controllerEntry.pObject);
    if (controller == nullptr) continue;
    for (const auto& [portId, portEntry] : controller->Ports()) {
      auto* port = static_cast<CControllerPort*>(portEntry.pObject);
      if (port != nullptr && match(*port)) return portId;
    }
  }
  return GUID_NULL;
}

}  // namespace

void CLun::RequestWmiUpdate() {
  DebugPrintf("requesting future wmi update\n");
  m_wmiUpdate = kWmiUpdateMark;
}

void CLun::CheckWmiUpdate() {
  if (m_wmiUpdate == 0 || !m_pProvider) return;
  DebugPrintf("calling initWmi() to refresh path info\n");
  m_pProvider->initWmi();
  m_wmiUpdate = 0;
}

GUID CLun::GetCtrlPortIdByPortWWN(const uint8_t portWWN[8]) {
  std::u16string wanted = Utf8ToUtf16(WwnText(portWWN));
  GUID id = FindPort(m_pSubSystem, [&](const CControllerPort& port) {
    return port.Prop().pwszIdentification != nullptr && wanted == port.Prop().pwszIdentification;
  });
  if (IsEqualGUID(id, GUID_NULL)) {
    DebugPrintf("CLun::GetCtrlPortIdByPortWWN out, return GUID_NULL.\n");
  } else {
    DebugPrintf("CLun::GetCtrlPortIdByPortWWN out, return %s\n", GuidLogText(id).c_str());
  }
  return id;
}

GUID CLun::GetCtrlPortIdByTargetPortIdentifier(uint32_t identifier, bool isULP) {
  DebugPrintf("CLun::GetCtrlPortIdByTargetPortIdentifier (isULP %d, id %lx)\n", isULP ? 1 : 0,
              static_cast<unsigned long>(identifier));
  const int64_t n = m_pController != nullptr ? m_pController->NumPorts() : 0;
  const int64_t id = identifier;
  GUID found = FindPort(m_pSubSystem, [&](const CControllerPort& port) {
    const int64_t c = port.ControllerId();
    const int64_t p = port.PortNumber();
    if (!isULP) return c == m_Owner && p == id - 1;
    if (id <= n) return c == 1 && p == id - 1;
    return c == 0 && p == id - n - 1;
  });
  if (IsEqualGUID(found, GUID_NULL)) {
    DebugPrintf(
        "CLun::GetCtrlPortIdByTargetPortIdentifier out but return GUID_NULL, it exist a error.\n");
  }
  return found;
}

GUID CLun::GetCtrlPortIdByTargetWWN(const uint8_t targetWWN[8]) {
  return FindPort(m_pSubSystem, [&](const CControllerPort& port) {
    return std::memcmp(port.PortWWN(), targetWWN, 8) == 0;
  });
}

GUID CLun::GetCtrlPortIdByTargetMapping(uint32_t portNumber, uint32_t targetId) {
  const HostInventory& inventory = m_pProvider->Inventory();
  const HbaPortEntry* entry = nullptr;
  for (const HbaPortEntry& candidate : inventory.HBA_vec) {
    if (candidate.scsiPortNumber == portNumber) {
      entry = &candidate;
      break;
    }
  }
  if (entry == nullptr) return GUID_NULL;
  std::vector<HBA_FCPSCSIENTRYV2> rows;
  GetTargetMappings(entry->prop.wwnPort.rguchWwn, rows);
  for (const HBA_FCPSCSIENTRYV2& row : rows) {
    if (row.ScsiId.ScsiTargetNumber != targetId) continue;
    const uint8_t* t = row.FcpId.PortWWN.wwn;
    DebugPrintf(
        "CLun::GetPathInfo portNumber = %d, targetId = %d, targetWWN = "
        "%02X:%02X:%02X:%02X:%02X:%02X:%02X:%02X\n",
        portNumber, targetId, t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7]);
    return GetCtrlPortIdByTargetWWN(t);
  }
  return GUID_NULL;
}

HRESULT CLun::GetPathInfo(VDS_PATH_INFO** ppPaths, LONG* plNumberOfPaths) {
  MutexGuard graph(hNotificationMutex, "CLun::GetPathInfo");
  DebugPrintf("CLun::GetPathInfo (lun %S)\n", m_prop.pwszFriendlyName);
  const bool win2008 = OsVersionGates().win2008;
  if (m_pSubSystem != nullptr && m_pSubSystem->HostPortType() == 8 && !win2008) {
    DebugPrintf("CLun::GetPathInfo out\n");
    return S_OK;
  }
  if (ppPaths == nullptr || plNumberOfPaths == nullptr) {
    DebugPrintf("OOP!! CLun::GetPathInfo error, ppPaths or plNumberOfPaths is NULL\n");
    return E_POINTER;
  }
  MutexGuard refresh(hRefreshMutex, "CLun::GetPathInfo");
  CheckWmiUpdate();
  *plNumberOfPaths = 0;
  *ppPaths = nullptr;
  if (!m_pProvider) return E_UNEXPECTED;
  if (m_prop.pwszUnmaskingList == nullptr || m_prop.pwszUnmaskingList[0] == 0) {
    DebugPrintf("OOP!! CLun::GetPathInfo m_prop.pwszUnmaskingList == 0\n");
    return S_OK;
  }
  const HostInventory& inv = m_pProvider->Inventory();
  if (inv.DsmVec.empty()) {
    DebugPrintf("CLun::GetPathInfo DsmVec is empty\n");
    return S_OK;
  }
  if (win2008 ? inv.mpioVec.empty() || inv.mpioDiskInfoVec.empty() || inv.mpioDsmPathV2Vec.empty()
              : inv.DevPerfVec.empty()) {
    DebugPrintf("CLun::GetPathInfo DevPerfVec is empty\n");
    return S_OK;
  }
  if (inv.HBA_vec.empty()) {
    DebugPrintf("CLun::GetPathInfo HBA_vec is empty\n");
    return S_OK;
  }
  std::vector<LunPathRecord> records;
  HRESULT hr = win2008 ? CollectPaths(&records) : CollectDevPerfPaths(&records);
  if (hr != S_OK || records.empty()) return hr;

  auto* paths = static_cast<VDS_PATH_INFO*>(CoTaskMemAlloc(records.size() * sizeof(VDS_PATH_INFO)));
  if (paths == nullptr) return E_OUTOFMEMORY;
  const uint64_t sourceId = inv.DsmVec.front().DsmUniqueId;
  for (size_t i = 0; i < records.size(); ++i) {
    paths[i] = records[i].info;
    auto* prop = static_cast<VDS_HBAPORT_PROP*>(CoTaskMemAlloc(sizeof(VDS_HBAPORT_PROP)));
    if (prop == nullptr) {
      for (size_t j = 0; j < i; ++j) CoTaskMemFree(paths[j].pHbaPortProp);
      CoTaskMemFree(paths);
      return E_OUTOFMEMORY;
    }
    // A path without an HBA entry gets a zeroed block, not an uninitialised one.
    if (!records[i].hasHbaPortProp) {
      DebugPrintf("CLun::GetPathInfo() no HbaPortProp for path %d\n", static_cast<int>(i));
    }
    *prop = records[i].hbaPortProp;
    paths[i].pHbaPortProp = prop;
    paths[i].pathId.ullSourceId = sourceId;
    DebugPrintf(
        "CLun::GetPathInfo pPath[%d] ullPathId=0x%I64x, ullSourceId=0x%I64x, %s, status=%s\n",
        static_cast<int>(i), paths[i].pathId.ullPathId, sourceId, TypeWord(paths[i].type),
        StatusWord(paths[i].status));
  }
  *ppPaths = paths;
  *plNumberOfPaths = static_cast<LONG>(records.size());
  return S_OK;
}

HRESULT CLun::CollectPaths(std::vector<LunPathRecord>* out) {
  const HostInventory& inv = m_pProvider->Inventory();
  std::string sn = GetDiskSnFromPartitionSn_New(m_PartitionSn);
  DebugPrintf("Searching for MPIO disk with sn %s\n", sn.c_str());
  int verOrder = FindMpioDisk(inv.mpioDiskInfoVec, sn);
  if (verOrder >= 0) {
    DebugPrintf("found; thisMpioInstance = %S\n",
                inv.mpioDiskInfoVec[verOrder].instanceName.c_str());
  } else {
    DebugPrintf("MPIO LUN sn %s not found.  Trying old-style sn...\n", sn.c_str());
    sn = GetDiskSnFromPartitionSn_OLD(m_PartitionSn);
    verOrder = FindMpioDisk(inv.mpioDiskInfoVec, sn);
    if (verOrder < 0) {
      DebugPrintf("CLun::GetPathInfo out (failed to find mpio instance matching s/n %s)\n",
                  sn.c_str());
      return S_OK;
    }
    DebugPrintf("found; thisMpioInstance = %S matches %s.  Please install hotfix kb2990170\n",
                inv.mpioDiskInfoVec[verOrder].instanceName.c_str(), sn.c_str());
  }
  const std::u16string& thisMpioInstance = inv.mpioDiskInfoVec[verOrder].instanceName;
  if (static_cast<size_t>(verOrder) >= inv.mpioVec.size()) {
    DebugPrintf("GetPathInfo Out of mpioVec bound, verOrder=%d, m_pProvider->mpioVec.size()=%d\n",
                verOrder, static_cast<int>(inv.mpioVec.size()));
    return S_OK;
  }
  if (static_cast<size_t>(verOrder) >= inv.mpioDsmPathV2Vec.size()) {
    DebugPrintf(
        "GetPathInfo Out of mpioDsmPathV2Vec bound, verOrder=%d, "
        "m_pProvider->mpioDsmPathV2Vec.size()=%d\n",
        verOrder, static_cast<int>(inv.mpioDsmPathV2Vec.size()));
    return S_OK;
  }
  const MpioDescriptor* mpioVecEntry = nullptr;
  for (const MpioDescriptor& entry : inv.mpioVec) {
    DebugPrintf("Comparing with mpioVecEntry %S\n", entry.instanceName.c_str());
    if (entry.instanceName == thisMpioInstance) {
      DebugPrintf("found match\n");
      mpioVecEntry = &entry;
      break;
    }
  }
  const MpioDsmPathV2List* mpioPathEntry = nullptr;
  for (const MpioDsmPathV2List& entry : inv.mpioDsmPathV2Vec) {
    DebugPrintf("Comparing with DsmPathV2 entry %S\n", entry.instanceName.c_str());
    if (entry.instanceName == thisMpioInstance) {
      DebugPrintf("found match\n");
      mpioPathEntry = &entry;
      break;
    }
  }
  bool byPosition = mpioVecEntry == nullptr || mpioPathEntry == nullptr;
  if (byPosition) {
    mpioVecEntry = &inv.mpioVec[verOrder];
    mpioPathEntry = &inv.mpioDsmPathV2Vec[verOrder];
  }
  const uint32_t ulPathNumber = std::min(mpioVecEntry->numPdoInfo, kMaxPdoInfo);
  DebugPrintf("ulPathNumber %d mpioVecEntry %p mpioPathEntry %p\n", ulPathNumber,
              static_cast<const void*>(mpioVecEntry), static_cast<const void*>(mpioPathEntry));
  const bool isULP = m_pSubSystem != nullptr && m_pSubSystem->SupportULP();
  LunPathRecord current;  // a path without an HBA entry keeps the values of the one before
  uint32_t pathStatus = VDS_MPS_UNKNOWN;
  for (uint32_t i = 0; i < ulPathNumber; ++i) {
    if (byPosition && i == 0)
      DebugPrintf("BUGBUGBUG mpio path correlation bugfix is not working\n");
    const PdoInfo& pdo = mpioVecEntry->pdoInfo[i];
    uint32_t targetPortIdentifier = 0;
    uint32_t failed = 0;
    uint32_t state = 0;
    LunPathRecord record = current;
    record.PrimaryPath = record.OptimizedPath = record.PreferredPath = 0;
    record.LoadBalancePolicy = 0;
    bool optimizedPrimaryExists = false;
    for (uint32_t k = 0; k < std::min(mpioPathEntry->numDsmPathV2, kMaxDsmPathV2); ++k) {
      const MpioDsmPathV2& p = mpioPathEntry->paths[k];
      if (p.TargetPortGroup_State == 0 && p.PrimaryPath == 1 && p.OptimizedPath == 1) {
        optimizedPrimaryExists = true;
      }
      if (p.DsmPathId != pdo.ullPathId) continue;
      targetPortIdentifier = p.TargetPort_Identifier;
      record.PrimaryPath = p.PrimaryPath;
      record.OptimizedPath = p.OptimizedPath;
      record.PreferredPath = p.PreferredPath;
      failed = p.FailedPath;
      state = p.TargetPortGroup_State;
      record.LoadBalancePolicy = mpioPathEntry->LoadBalancePolicy;
      DebugPrintf(
          "CLun::GetPathInfo ullPathId=0x%I64x targetPortIdentifier=%d, PrimaryPath=%d, "
          "FailedPath=%d, OptimizedPath=%d, PreferredPath=%d, LoadBalancePolicy=%d, "
          "TargetPortGroupState=%d\n",
          pdo.ullPathId, targetPortIdentifier, p.PrimaryPath, failed, p.OptimizedPath,
          p.PreferredPath, record.LoadBalancePolicy, state);
    }
    record.info.pathId.ullPathId = pdo.ullPathId;
    record.info.type = VDS_HWT_FIBRE_CHANNEL;
    record.info.controllerPortId =
        targetPortIdentifier == 0
            ? GetCtrlPortIdByTargetMapping(pdo.PortNumber, pdo.TargetId)
            : GetCtrlPortIdByTargetPortIdentifier(targetPortIdentifier, isULP);
    const uint8_t* portWWPN =
        FindConnectedWwpn(inv.ConnectedHbaList, static_cast<uint8_t>(pdo.PortNumber),
                          static_cast<uint8_t>(pdo.ScsiPathId), static_cast<uint8_t>(pdo.TargetId));
    DebugPrintf("c%db%dt%d portWWPN = %p\n", pdo.PortNumber, pdo.ScsiPathId, pdo.TargetId,
                static_cast<const void*>(portWWPN));
    if (portWWPN != nullptr) DebugPrintf("portWWPN = %s\n", WwnText(portWWPN).c_str());
    const HbaPortEntry* hba = nullptr;
    for (const HbaPortEntry& entry : inv.HBA_vec) {
      bool match = portWWPN != nullptr ? std::memcmp(entry.prop.wwnPort.rguchWwn, portWWPN, 8) == 0
                                       : entry.scsiPortNumber == pdo.PortNumber;
      if (match) {
        hba = &entry;
        break;
      }
    }
    if (hba != nullptr) {
      pathStatus = PathStatus(failed, record.PrimaryPath, state, record.OptimizedPath,
                              optimizedPrimaryExists);
      record.info.hbaPortId = hba->prop.id;
      record.hbaPortProp = hba->prop;
      record.hbaPortProp.type = VDS_HPT_NPORT;
      record.hbaPortProp.status = VDS_HPS_ONLINE;
      record.hasHbaPortProp = true;
    }
    record.info.status = static_cast<VDS_PATH_STATUS>(pathStatus);
    current = record;
    out->push_back(record);
  }
  if ((Options.load() & kOptionPathInfoLastStage) != 0) {
    DebugPrintf("not sorting paths\n");
  } else {
    std::stable_sort(out->begin(), out->end(), [](const LunPathRecord& a, const LunPathRecord& b) {
      return a.info.pathId.ullPathId < b.info.pathId.ullPathId;
    });
  }
  return S_OK;
}

HRESULT CLun::CollectDevPerfPaths(std::vector<LunPathRecord>* out) {
  const HostInventory& inv = m_pProvider->Inventory();
  const uint8_t* lunKey = m_PartitionSn + 8;
  int ulPathNumber = 0;
  for (const DevPerfEntry& entry : inv.DevPerfVec) {
    if (std::memcmp(entry.lunKey, lunKey, sizeof(entry.lunKey)) == 0) ++ulPathNumber;
  }
  DebugPrintf("CLun::GetPathInfo() ulPathNumber %d\n", ulPathNumber);
  for (const DevPerfEntry& entry : inv.DevPerfVec) {
    if (std::memcmp(entry.lunKey, lunKey, sizeof(entry.lunKey)) != 0) continue;
    LunPathRecord record;
    record.info.controllerPortId = GetCtrlPortIdByPortWWN(entry.ctrlPortWWN);
    record.info.pathId.ullPathId = entry.ullPathId;
    record.info.type = VDS_HWT_FIBRE_CHANNEL;
    const uint8_t state = entry.pathState;
    record.info.status =
        state == VDS_MPS_ONLINE || state == VDS_MPS_FAILED || state == VDS_MPS_STANDBY
            ? static_cast<VDS_PATH_STATUS>(state)
            : VDS_MPS_UNKNOWN;
    // A path whose HBA port the host doesn't list is left out of the result.
    HbaPortEntry hba = FindHbaEntry(inv.HBA_vec, entry.hbaPortWWN);
    if (std::memcmp(hba.prop.wwnPort.rguchWwn, entry.hbaPortWWN, 8) != 0) continue;
    record.info.hbaPortId = hba.prop.id;
    record.hbaPortProp = hba.prop;
    record.hbaPortProp.type = VDS_HPT_NPORT;
    record.hbaPortProp.status = VDS_HPS_ONLINE;
    record.hasHbaPortProp = true;
    out->push_back(record);
  }
  return S_OK;
}

namespace {

void FreePaths(VDS_PATH_INFO* paths, LONG count) {
  for (LONG i = 0; i < count; ++i) CoTaskMemFree(paths[i].pHbaPortProp);
  CoTaskMemFree(paths);
}

}  // namespace

HRESULT CLun::GetLoadBalancePolicy(VDS_LOADBALANCE_POLICY_ENUM* pPolicy, VDS_PATH_POLICY** ppPaths,
                                   LONG* plNumberOfPaths) {
  if (pPolicy == nullptr || ppPaths == nullptr || plNumberOfPaths == nullptr) {
    DebugPrintf("CLun::GetLoadBalancePolicy pPolicy,ppPaths,plNumberOfPaths is null\n");
    DebugPrintf("CLun::GetLoadBalancePolicy return E_INVALIDARG\n");
    return E_INVALIDARG;
  }
  MutexGuard graph(hNotificationMutex, "CLun::GetLoadBalancePolicy");
  MutexGuard refresh(hRefreshMutex, "CLun::GetLoadBalancePolicy");
  CheckWmiUpdate();
  *pPolicy = VDS_LBP_UNKNOWN;
  *ppPaths = nullptr;
  *plNumberOfPaths = 0;
  VDS_PATH_INFO* paths = nullptr;
  LONG count = 0;
  if (GetPathInfo(&paths, &count) != S_OK) {
    DebugPrintf("CLun::GetLoadBalancePolicy GetPathInfo error\n");
    return E_UNEXPECTED;
  }
  if (count == 0) {
    DebugPrintf("CLun::GetLoadBalancePolicy plNumberOfPaths=0 \n");
    return S_OK;
  }
  const HostInventory& inv = m_pProvider->Inventory();
  const bool win2008 = OsVersionGates().win2008;
  auto record = std::make_unique<DsmLoadPolicy>();
  std::u16string instance;
  const uint64_t firstPathId = paths[0].pathId.ullPathId;
  if (findLBPolicy(inv.mpioDiskInfoVec, GetDiskSnFromPartitionSn_New(m_PartitionSn),
                   inv.DsmLoadPolicyVec, firstPathId, win2008, record.get(), &instance) != 0 &&
      findLBPolicy(inv.mpioDiskInfoVec, GetDiskSnFromPartitionSn_OLD(m_PartitionSn),
                   inv.DsmLoadPolicyVec, firstPathId, win2008, record.get(), &instance) != 0) {
    const uint8_t* s = m_PartitionSn;
    DebugPrintf(
        "CLun::GetLoadBalancePolicy findLBPolicy() error--could not find LUN matching sn "
        "%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X\n",
        s[0], s[1], s[2], s[3], s[4], s[5], s[6], s[7], s[8], s[9], s[10], s[11], s[12], s[13],
        s[14], s[15]);
    FreePaths(paths, count);
    return E_UNEXPECTED;
  }
  auto* policies = static_cast<VDS_PATH_POLICY*>(CoTaskMemAlloc(count * sizeof(VDS_PATH_POLICY)));
  if (policies == nullptr) {
    FreePaths(paths, count);
    return E_OUTOFMEMORY;
  }
  const bool stateOption = (Options.load() & kOptionLoadBalanceState) != 0;
  for (LONG i = 0; i < count; ++i) {
    const uint64_t pathId = paths[i].pathId.ullPathId;
    policies[i].pathId = paths[i].pathId;
    policies[i].bPrimaryPath =
        CalcPrimaryByPathId(*record, pathId, inv.mpioDsmPathV2Vec, win2008, stateOption) ? TRUE
                                                                                         : FALSE;
    policies[i].ulWeight = 0;
    for (uint32_t k = 0; k < std::min(record->DSMPathCount, kMaxDsmPaths); ++k) {
      if (record->DSM_Paths[k].DsmPathId == pathId) {
        policies[i].ulWeight = record->DSM_Paths[k].PathWeight;
        break;
      }
    }
  }
  *pPolicy = static_cast<VDS_LOADBALANCE_POLICY_ENUM>(record->LoadBalancePolicy);
  *ppPaths = policies;
  *plNumberOfPaths = count;
  FreePaths(paths, count);
  return S_OK;
}

HRESULT CLun::SetLoadBalancePolicy(VDS_LOADBALANCE_POLICY_ENUM policy, VDS_PATH_POLICY* pPaths,
                                   LONG lNumberOfPaths) {
  if (pPaths == nullptr || lNumberOfPaths == 0) return E_POINTER;
  MutexGuard graph(hNotificationMutex, "CLun::SetLoadBalancePolicy");
  if (m_isDummyVolume) {
    DebugPrintf(
        "CLun::SetLoadBalancePolicy(), it is a dummy volume, cann't SetLoadBalancePolicy, line "
        "%d\n",
        __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  MutexGuard refresh(hRefreshMutex, "CLun::SetLoadBalancePolicy");
  const bool win2008 = OsVersionGates().win2008;
  if (m_pSubSystem != nullptr && m_pSubSystem->HostPortType() == 8 && !win2008) {
    DebugPrintf("CLun::SetLoadBalancePolicy out, not support SAS HBA\n");
    return VDS_E_NOT_SUPPORTED;
  }
  DebugPrintf("CLun::SetLoadBalancePolicy policy=%d, lNumberOfPaths=%d\n", policy, lNumberOfPaths);
  CheckWmiUpdate();
  if (policy < VDS_LBP_FAILOVER || policy > VDS_LBP_VENDOR_SPECIFIC) {
    DebugPrintf(
        "CLun::SetLoadBalancePolicy out, policy is not right, return VDS_E_NOT_SUPPORTED\n");
    return VDS_E_NOT_SUPPORTED;
  }
  if (policy == VDS_LBP_VENDOR_SPECIFIC) return VDS_E_NOT_SUPPORTED;
  VDS_PATH_INFO* paths = nullptr;
  LONG lNumberOut = 0;
  if (GetPathInfo(&paths, &lNumberOut) != S_OK) {
    DebugPrintf("CLun::SetLoadBalancePolicy GetPathInfo error\n");
    return E_UNEXPECTED;
  }
  FreePaths(paths, lNumberOut);
  if (lNumberOut != lNumberOfPaths) {
    DebugPrintf(
        "CLun::SetLoadBalancePolicy input param lNumberOfPaths not correct, lNumberOfPaths=%d, "
        "lNumberOut=%d\n",
        lNumberOfPaths, lNumberOut);
    return VDS_E_NOT_SUPPORTED;
  }
  const HostInventory& inv = m_pProvider->Inventory();
  std::string sn = GetDiskSnFromPartitionSn_New(m_PartitionSn);
  DebugPrintf("Searching for MPIO disk with sn %s\n", sn.c_str());
  if (FindMpioDisk(inv.mpioDiskInfoVec, sn) < 0) {
    sn = GetDiskSnFromPartitionSn_OLD(m_PartitionSn);
    DebugPrintf("Matching MPIO disk not found; is kb2990170 installed? Trying sn %s\n", sn.c_str());
  }
  if (!win2008) {
    if (WmiSetLoadBalancePolicy(inv.mpioDiskInfoVec, sn, policy, pPaths, lNumberOfPaths) != 0) {
      return E_FAIL;
    }
  } else {
    const bool isULP = m_pSubSystem != nullptr && m_pSubSystem->SupportULP();
    int result = WmiSetLoadBalancePolicy_V2::DSM_LB_Operations(
        inv.mpioDiskInfoVec, sn, inv.mpioDsmPathV2Vec, policy, pPaths, lNumberOfPaths, isULP,
        (Options.load() & kOptionLoadBalanceState) != 0);
    if (result == WBEM_E_INVALID_PARAMETER) {
      DebugPrintf("CLun::SetLoadBalancePolicy WmiSetLoadBalancePolicy_V2 return 0x80041008\n");
      return E_INVALIDARG;
    }
    if (result != 0) {
      DebugPrintf("CLun::SetLoadBalancePolicy WmiSetLoadBalancePolicy_V2 return %08x\n", result);
      return E_FAIL;
    }
  }
  m_pProvider->initWmi();
  return S_OK;
}

HRESULT CLun::GetSupportedLbPolicies(ULONG* pulLbFlags) {
  if (pulLbFlags == nullptr) return E_INVALIDARG;
  *pulLbFlags = 0x3f;  // failover to least blocks
  return S_OK;
}
