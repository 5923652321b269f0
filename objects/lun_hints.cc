// The LUN's hints and names: QueryHints and ApplyHints in both forms (the cache
// parameters, and the conversion between ordinary LUN and master volume) and SetFriendlyName.
// The decisions are in provisioning/hints.
#include <memory>
#include <string>
#include <vector>

#include "diag/debug_log.h"
#include "objects/controller.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "platform/strings.h"
#include "provider/provider.h"
#include "provisioning/create.h"
#include "provisioning/hints.h"
#include "provisioning/utility.h"
#include "proxy/tidegate.h"

namespace {

// The partition name field of set_part_name holds a terminated text of 32 bytes.
constexpr size_t kPartitionNameBytes = 31;

template <class Hints>
void DumpHintFields(const Hints& hints) {
  DebugPrintf(
      "ullHintMask=0x%I64x, ullExpectedMaximumSize=0x%I64x, ulOptimalReadSize=%u, "
      "ulOptimalReadAlignment=%u\n",
      hints.ullHintMask, hints.ullExpectedMaximumSize, hints.ulOptimalReadSize,
      hints.ulOptimalReadAlignment);
  DebugPrintf(
      "ulOptimalWriteSize=%u, ulOptimalWriteAlignment=%u, ulMaximumDriveCount=%u, "
      "ulStripeSize=%u\n",
      hints.ulOptimalWriteSize, hints.ulOptimalWriteAlignment, hints.ulMaximumDriveCount,
      hints.ulStripeSize);
  DebugPrintf(
      "bFastCrashRecoveryRequired=%d, bMostlyReads=%d, bOptimizeForSequentialReads=%d, "
      "bOptimizeForSequentialWrites=%d\n",
      hints.bFastCrashRecoveryRequired, hints.bMostlyReads, hints.bOptimizeForSequentialReads,
      hints.bOptimizeForSequentialWrites);
  DebugPrintf(
      "bRemapEnabled=%d, bReadBackVerifyEnabled=%d, bWriteThroughCachingEnabled=%d, "
      "bHardwareChecksumEnabled=%d\n",
      hints.bRemapEnabled, hints.bReadBackVerifyEnabled, hints.bWriteThroughCachingEnabled,
      hints.bHardwareChecksumEnabled);
}

void DumpHints(const VDS_HINTS& hints) {
  DebugPrintf("Hints info : \n");
  DumpHintFields(hints);
  DebugPrintf("bIsYankable=%d, sRebuildPriority=%d\n", hints.bIsYankable, hints.sRebuildPriority);
  DebugPrintf("Hints info end\n");
}

void DumpHints2(const VDS_HINTS2& hints) {
  DebugPrintf("Hints2 info : \n");
  DumpHintFields(hints);
  DebugPrintf("bIsYankable=%d, sRebuildPriority=%d\n", hints.bIsYankable, hints.sRebuildPriority);
  DebugPrintf(
      "bAllocateHotSpare=%d bUseMirroredCache=%d bReadCachingEnabled=%d bWriteCachingEnabled=%d\n",
      hints.bAllocateHotSpare, hints.bUseMirroredCache, hints.bReadCachingEnabled,
      hints.bWriteCachingEnabled);
  DebugPrintf("bMediaScanEnabled=%d bConsistencyCheckEnabled=%d BusType=%d\n",
              hints.bMediaScanEnabled, hints.bConsistencyCheckEnabled, hints.BusType);
  DebugPrintf("Hints info end\n");
}

}  // namespace

LunHintFacts CLun::HintFacts() const {
  LunHintFacts facts;
  facts.stripeSize = m_stripeSize;
  facts.raidLevel = m_RaidLevel;
  facts.partType = m_partType;
  facts.utility = m_utility;
  facts.cache = m_cacheParams;
  if (m_partType == 1 || m_partType == 2) facts.hasDependants = HasMasterVolume();
  return facts;
}

HRESULT CLun::QueryHints(VDS_HINTS* pHints) {
  if (pHints == nullptr) return E_INVALIDARG;
  MutexGuard guard(hNotificationMutex, "CLun::QueryHints");
  *pHints = QueryHintsFor(HintFacts());
  DumpHints(*pHints);
  DebugPrintf("CLun::QueryHints() out\n");
  return S_OK;
}

HRESULT CLun::QueryHints2(VDS_HINTS2* pHints2) {
  if (pHints2 == nullptr) return E_INVALIDARG;
  MutexGuard guard(hNotificationMutex, "CLun::QueryHints2");
  *pHints2 = QueryHints2For(HintFacts());
  DumpHints2(*pHints2);
  DebugPrintf("CLun::QueryHints2() out\n");
  return S_OK;
}

HRESULT CLun::ApplyHints(VDS_HINTS* pHints) {
  DebugPrintf("CLun::ApplyHints()\n");
  if (pHints == nullptr) return E_INVALIDARG;
  MutexGuard guard(hNotificationMutex, "CLun::ApplyHints");
  if (m_isDummyVolume) {
    DebugPrintf("CLun::ApplyHints(), it is a dummy volume, cann't ApplyHints, line %d\n", __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  DumpHints(*pHints);
  if (CheckApplyHints(*pHints) != S_OK) return VDS_E_NOT_SUPPORTED;
  if (!m_pProvider || m_pController == nullptr) return VDS_E_OBJECT_DELETED;
  const DWORD handle = m_pController->Handle();
  auto data = std::make_unique<controllerData>();
  if (Tidegate::get_controller_data(handle, data.get()) != 0) {
    DebugPrintf(
        "OOP!!! CLun::ApplyHints() get_controller_data return VDS_E_INTERNAL_ERROR, line %d\n",
        __LINE__);
    return VDS_E_INTERNAL_ERROR;
  }
  if ((pHints->ullHintMask & kHintConvertBit) == 0) {
    const cacheParams params = ApplyCacheHints(m_cacheParams, *pHints);
    const int rc = Tidegate::change_partition_cache_params(handle, m_PartitionSn, params);
    // Whatever the answer, the tree is read again: a failed answer may hide a done change.
    m_pProvider->SetNeedRefresh(true);
    if (rc != 0) {
      DebugPrintf(
          "OOP!!! CLun::ApplyHints() change_partition_cache_params return VDS_E_INTERNAL_ERROR, "
          "line %d\n",
          __LINE__);
      return VDS_E_INTERNAL_ERROR;
    }
    m_cacheParams = params;
    if (params.writePolicy == 0) {
      m_prop.ulFlags |= VDS_LF_WRITE_THROUGH_CACHING_ENABLED;
    } else {
      m_prop.ulFlags &= ~ULONG{VDS_LF_WRITE_THROUGH_CACHING_ENABLED};
    }
    DebugPrintf("CLun::ApplyHints() out\n");
    return S_OK;
  }
  if (!IsSupportSpecialLun()) return VDS_E_NOT_SUPPORTED;
  return pHints->bReadBackVerifyEnabled ? ConvertToMaster(handle) : ConvertToStandard(handle);
}

HRESULT CLun::ConvertToStandard(DWORD handle) {
  if (CheckConvertToStandard(m_partType, false) != S_OK) {
    DebugPrintf(
        "OOP!!! CLun::ApplyHints() convert MV to STD Lun, but the input Lun is not MV, it's type "
        "is %d, return VDS_E_NOT_SUPPORTED\n",
        m_partType);
    return VDS_E_NOT_SUPPORTED;
  }
  if (CheckConvertToStandard(m_partType, HasMasterVolume()) != S_OK) {
    DebugPrintf(
        "OOP!!! CLun::ApplyHints() convert MV to STD Lun, but the input MV has snapshots, return "
        "VDS_E_NOT_SUPPORTED\n");
    return VDS_E_NOT_SUPPORTED;
  }
  static const uint8_t kNoStore[16] = {};
  const int rc = Tidegate::convert_master_volume(handle, m_PartitionSn, 8, kNoStore);
  m_pProvider->SetNeedRefresh(true);
  const HRESULT hr = ConvertResult(false, rc);
  if (hr != S_OK) {
    DebugPrintf(
        "OOP!! CLun::ApplyHints() convert_master_volume[VELA_SUBCMD_PTSNAP_CONVERT_TO_STD] return "
        "false, rtn(%d), line(%d)!\n",
        rc, __LINE__);
    return hr;
  }
  m_partType = 0;
  DebugPrintf("CLun::ApplyHints() convert_master_volume[VELA_SUBCMD_PTSNAP_CONVERT_TO_STD] ok\n");
  return S_OK;
}

HRESULT CLun::ConvertToMaster(DWORD handle) {
  if (CheckConvertToMaster(m_partType) != S_OK) {
    DebugPrintf(
        "OOP!!! CLun::ApplyHints() convert STD Lun to MV, but the input Lun is not STD, it's type "
        "is %d, return VDS_E_NOT_SUPPORTED\n",
        m_partType);
    return VDS_E_NOT_SUPPORTED;
  }
  std::vector<backingStoreEntry> stores;
  const int listed =
      Tidegate::get_backing_store_list(handle, m_pController->ControllerId(), &stores);
  if (listed != 0) {
    DebugPrintf(
        "OOP!! CLun::ApplyHints() get_backing_store_list return false, rtn(%d), line(%d)!\n",
        listed, __LINE__);
    return VDS_E_INTERNAL_ERROR;
  }
  DebugPrintf("Lun::ApplyHints get_backing_store_list numEntries=%d\n",
              static_cast<int>(stores.size()));
  if (stores.empty()) {
    DebugPrintf(
        "Lun::ApplyHints get_backing_store_list numEntries=0, cann't create mastervolume, "
        "reuturn VDS_E_NOT_SUPPORTED\n");
    return VDS_E_NOT_SUPPORTED;
  }
  const int rc =
      Tidegate::convert_master_volume(handle, m_PartitionSn, 9, EntryIdForVdisk(stores, m_ArraySn));
  m_pProvider->SetNeedRefresh(true);
  const HRESULT hr = ConvertResult(true, rc);
  if (hr == VDS_E_PARTITION_LIMIT_REACHED) {
    DebugPrintf(
        "OOP!! CLun::ApplyHints convert_master_volumee[VELA_SUBCMD_PTSNAP_CONVERT_TO_MASTER] "
        "faild, return VDS_E_PARTITION_LIMIT_REACHED!\n");
    return hr;
  }
  if (hr != S_OK) {
    DebugPrintf(
        "OOP!! CLun::ApplyHints() convert_master_volume[VELA_SUBCMD_PTSNAP_CONVERT_TO_MASTER] "
        "return false, rtn(%d)!\n",
        rc);
    return hr;
  }
  m_partType = 2;
  DebugPrintf(
      "CLun::ApplyHints() convert_master_volume[VELA_SUBCMD_PTSNAP_CONVERT_TO_MASTER] ok\n");
  return S_OK;
}

HRESULT CLun::ApplyHints2(VDS_HINTS2* pHints2) {
  DebugPrintf("%s()\n", "CLun::ApplyHints2");
  if (pHints2 == nullptr) return E_INVALIDARG;
  MutexGuard guard(hNotificationMutex, "CLun::ApplyHints2");
  DumpHints2(*pHints2);
  VDS_HINTS hints = HintsFromHints2(*pHints2);
  const HRESULT hr = ApplyHints(&hints);
  if (hr != S_OK) DebugPrintf("ApplyHints failed with status 0x%x\n", hr);
  DebugPrintf("%s() out\n", "CLun::ApplyHints2");
  return hr;
}

HRESULT CLun::SetFriendlyName(LPWSTR pwszFriendlyName) {
  DebugPrintf("CLun::SetFriendlyName\n");
  MutexGuard guard(hNotificationMutex, "CLun::SetFriendlyName");
  if (m_isDummyVolume) {
    DebugPrintf("CLun::SetFriendlyName(), it is a dummy volume, cann't SetFriendlyName, line %d\n",
                __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  if (!CanOperate()) return VDS_E_OBJECT_STATUS_FAILED;
  if (pwszFriendlyName == nullptr) {
    DebugPrintf(
        "OOP!!! CLun::SetFriendlyName() pwszFriendlyName == NULL  return E_POINTER, line %d\n",
        __LINE__);
    return E_POINTER;
  }
  if (!m_pProvider || m_pSubSystem == nullptr || m_pController == nullptr) {
    return VDS_E_OBJECT_DELETED;
  }
  const std::u16string name = LunNameFromRequest(PropText(pwszFriendlyName));
  // A volume without a name is not listed by the controllers' inventory: it would vanish.
  if (name.empty()) {
    DebugPrintf("OOP!!! CLun::SetFriendlyName() empty name return E_INVALIDARG, line %d\n",
                __LINE__);
    return E_INVALIDARG;
  }
  std::vector<std::u16string> others;
  for (const auto& [id, entry] : m_pSubSystem->Luns()) {
    auto* other = static_cast<CLun*>(entry.pObject);
    if (other != this) others.push_back(PropText(other->Prop().pwszFriendlyName));
  }
  if (LunNameTaken(name, others)) return VDS_E_NAME_NOT_UNIQUE;
  const std::string narrow = NarrowName(name, kPartitionNameBytes);
  const int rc = Tidegate::set_part_name(m_pController->Handle(), m_PartitionSn, narrow.c_str());
  m_pProvider->SetNeedRefresh(true);
  if (rc != 0) {
    DebugPrintf("OOP!!! CLun::SetFriendlyName() set_part_name  return E_POINTER, line %d\n",
                __LINE__);
    return VDS_E_INTERNAL_ERROR;
  }
  FreePropString(&m_prop.pwszFriendlyName);
  m_prop.pwszFriendlyName = AllocPropString(Utf8ToUtf16(narrow));
  DebugPrintf("CLun::SetFriendlyName\n out\n");
  return S_OK;
}
