// CLun::SetMask: which hosts see the LUN and under which unit number. The list format and the
// plan of a change are provisioning/mask's; here the views are read and create_custom_view sent.
#include <memory>

#include "diag/debug_log.h"
#include "objects/controller.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "platform/strings.h"
#include "provider/provider.h"
#include "provisioning/mask.h"
#include "proxy/tidegate.h"

namespace {

// Address type of a host named by its port WWN.
constexpr uint8_t kAddressTypeWwn = 16;
constexpr size_t kLongListChars = 256;

void LogList(const std::u16string& list) {
  const bool longList = list.size() > kLongListChars;
  DebugPrintf("CLun::SetMask(\"%S\")\n", longList ? u"" : list.c_str());
  if (!longList) return;
  size_t start = 0;
  while (start <= list.size()) {
    const size_t end = list.find(u';', start);
    const std::u16string entry = list.substr(start, end - start);
    DebugPrintf("  unmask %ls%s\n", entry.c_str(), end == std::u16string::npos ? "" : ";");
    if (end == std::u16string::npos) break;
    start = end + 1;
  }
}

}  // namespace

HRESULT CLun::SetMask(LPWSTR pwszUnmaskingList) {
  LogList(pwszUnmaskingList != nullptr ? PropText(pwszUnmaskingList) : std::u16string());
  if (!CanOperate()) {
    DebugPrintf("OOP!!! CLun::SetMask() CanOperate() return VDS_E_OBJECT_STATUS_FAILED, line %d\n",
                __LINE__);
    return VDS_E_OBJECT_STATUS_FAILED;
  }
  if (pwszUnmaskingList == nullptr) {
    DebugPrintf("OOP!!! CLun::SetMask() pwszUnmaskingList == NULL, line %d\n", __LINE__);
    return E_POINTER;
  }
  if (m_isDummyVolume) {
    DebugPrintf("CLun::SetMask(), it is a dummy volume, cann't setMask, line %d\n", __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  if (m_partType == 1) {
    DebugPrintf("CLun::SetMask(), it is a backing store volume, cann't setMask, line %d\n",
                __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  MutexGuard guard(hNotificationMutex, "CLun::SetMask");
  if (m_pController == nullptr || m_pSubSystem == nullptr) return E_UNEXPECTED;
  const HRESULT hr = SetMaskLocked(Utf16ToUtf8(pwszUnmaskingList));
  if (hr == VDS_E_INTERNAL_ERROR) {
    DebugPrintf("OOP!!! CLun::SetMask() create_custom_view return VDS_E_INTERNAL_ERROR, line %d\n",
                __LINE__);
  }
  if (hr == S_OK) {
    // The host shows a new mapping's paths only later: read its inventory again at the first
    // path question rather than now.
    MutexGuard refresh(hRefreshMutex, "CLun::SetMask");
    RequestWmiUpdate();
  }
  // The views changed on the controllers; the next query reads them again.
  if (m_pProvider) m_pProvider->SetNeedRefresh(true);
  return hr;
}

HRESULT CLun::SetMaskLocked(const std::string& text) {
  UnmaskingList wanted;
  if (!ParseUnmaskingList(text, &wanted)) {
    DebugPrintf("OOP!!! CLun::SetMask() pwszUnmaskingList(%s) is not valid, line %d\n",
                text.c_str(), __LINE__);
    return E_INVALIDARG;
  }
  UnmaskingList stored;
  ParseUnmaskingList(Utf16ToUtf8(PropText(m_prop.pwszUnmaskingList)), &stored);
  const MaskPlan plan = PlanMaskChange(stored, wanted);
  if (plan.unchanged) return S_OK;

  const DWORD handle = m_pController->Handle();
  const bool ulp = m_pSubSystem->SupportULP();
  const auto lun = static_cast<uint16_t>(m_cacheLunWord);
  for (const std::string& host : plan.removeEach) {
    if (Tidegate::create_custom_view(handle, m_PartitionSn, lun, false, kAddressTypeWwn,
                                     host.c_str(), ulp) != 0) {
      return VDS_E_INTERNAL_ERROR;
    }
  }
  if (plan.removeAll) {
    if (Tidegate::create_custom_view(handle, m_PartitionSn, lun, false, kAddressTypeWwn, nullptr,
                                     false) != 0) {
      return VDS_E_INTERNAL_ERROR;
    }
    if (plan.clearedOnly) {
      FreePropString(&m_prop.pwszUnmaskingList);
      m_prop.pwszUnmaskingList = AllocPropString(u"", 512);
      return S_OK;
    }
  }

  int unit = NextUnitNum(nullptr);
  DebugPrintf("CLun::SetMask() Lun will use UnitNum(%d) to setMask\n", unit);
  if (unit == -1 && wanted.form != MaskForm::kHosts) {
    DebugPrintf("OOP!!! CLun::SetMask() : the UnitNum is -1\n");
    return VDS_E_NOT_SUPPORTED;
  }
  std::u16string result;
  if (wanted.form == MaskForm::kAll) {
    if (Tidegate::create_custom_view(handle, m_PartitionSn, static_cast<uint16_t>(unit), true,
                                     kAddressTypeWwn, nullptr, ulp) != 0) {
      return VDS_E_INTERNAL_ERROR;
    }
    result = u"*";
  } else {
    std::unique_ptr<partitionView> view(new partitionView);
    if (Tidegate::get_part_view(handle, m_PartitionSn, view.get()) != 0) {
      return VDS_E_INTERNAL_ERROR;
    }
    // One unit number for all hosts of a LUN.
    if (ValidCount(view->numElements, kMaxViewHosts) > 0) unit = view->hostMap[0].lun;
    std::vector<std::string> added;
    for (const std::string& host : plan.add) {
      if (Tidegate::get_part_view(handle, m_PartitionSn, view.get()) != 0) {
        return VDS_E_INTERNAL_ERROR;
      }
      if (view->numElements >= kMaxViewHosts) return VDS_E_NOT_SUPPORTED;
      if (unit == -1) {
        uint8_t wwn[8] = {};
        WwnBytes(host, wwn);
        unit = NextUnitNum(wwn);
        if (unit == -1) {
          DebugPrintf("OOP!!! CLun::SetMask() : the UnitNum is -1\n");
          return VDS_E_NOT_SUPPORTED;
        }
      }
      if (Tidegate::create_custom_view(handle, m_PartitionSn, static_cast<uint16_t>(unit), true,
                                       kAddressTypeWwn, host.c_str(), ulp) != 0) {
        return VDS_E_INTERNAL_ERROR;
      }
      added.push_back(host);
    }
    result = Utf8ToUtf16(MaskResult(stored, plan.onlyAdding, added));
  }
  FreePropString(&m_prop.pwszUnmaskingList);
  m_prop.pwszUnmaskingList =
      AllocPropString(result, (result.size() + 1) * sizeof(WCHAR), result.size());
  DebugPrintf("CLun::SetMask() out\n");
  return S_OK;
}

bool CLun::GetExistLunList(DWORD handle, std::vector<uint32_t>* used) {
  return GetExistLunList4WWN(handle, used, nullptr);
}

bool CLun::GetExistLunList4WWN(DWORD handle, std::vector<uint32_t>* used, const uint8_t* wwn) {
  auto data = std::make_unique<controllerData>();
  if (Tidegate::get_controller_data(handle, data.get()) != 0) {
    DebugPrintf(wwn == nullptr ? "OOP!!! utility::GetExistLunList() get_controller_data error.\n"
                               : "OOP!!! CLun::GetExistLunList4WWN() get_controller_data error.\n");
    return false;
  }
  std::unique_ptr<partitionView> view(new partitionView);
  const size_t numArrays = ValidCount(data->numArrays, kMaxArrays);
  for (size_t i = 0; i < numArrays; ++i) {
    const size_t numParts = ValidCount(data->arrays[i].numArrayPartitions, kMaxArrayPartitions);
    for (size_t j = 0; j < numParts; ++j) {
      if (Tidegate::get_part_view(handle, data->partitions[i][j].serialNumber, view.get()) != 0) {
        continue;
      }
      if (wwn == nullptr) {
        ViewUnitsInUse(*view, used);
      } else {
        ViewUnitsForWwn(*view, wwn, used);
      }
    }
  }
  return true;
}

int CLun::NextUnitNum(const uint8_t* wwn) {
  const uint32_t limit = m_pSubSystem->CtrlTag();
  const uint32_t start = StartingLUN.load();
  std::vector<uint32_t> used;
  if (!m_pSubSystem->SupportULP()) {
    GetExistLunList4WWN(m_pController->Handle(), &used, wwn);
    return FirstFreeUnit(used, start, limit / 2);
  }
  for (DWORD handle : {m_pSubSystem->ControllerHandleA(), m_pSubSystem->ControllerHandleB()}) {
    if (handle != 0) GetExistLunList4WWN(handle, &used, wwn);
  }
  return FirstFreeUnit(used, start, limit);
}
