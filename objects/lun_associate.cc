// CLun::AssociateControllerPorts: the ports a client names come down to which controller owns
// the vdisk; set_owner toggles it, and a refresh then rebuilds the LUN under its new owner.
// The decisions are in provisioning/associate.
#include <algorithm>
#include <memory>
#include <vector>

#include "diag/debug_log.h"
#include "objects/controller.h"
#include "objects/lun.h"
#include "objects/port.h"
#include "objects/subsystem.h"
#include "provider/provider.h"
#include "provisioning/associate.h"
#include "provisioning/delete.h"
#include "proxy/tidegate.h"

HRESULT CLun::AssociateControllerPorts(VDS_OBJECT_ID* pActiveControllerPortIdArray,
                                       LONG lNumberOfActiveControllerPorts,
                                       VDS_OBJECT_ID* /*pInactiveControllerPortIdArray*/,
                                       LONG /*lNumberOfInactiveControllerPorts*/) {
  DebugPrintf("CLun::AssociateControllerPorts()\n");
  MutexGuard guard(hNotificationMutex, "CLun::AssociateControllerPorts");
  if (m_isDummyVolume) {
    DebugPrintf(
        "CLun::AssociateControllerPorts(), it is a dummy volume, can't AssociateControllerPorts, "
        "line %d\n",
        __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  if (!m_pProvider || m_pSubSystem == nullptr || m_pController == nullptr) {
    return VDS_E_OBJECT_DELETED;
  }
  // The list is read for its length only: a negative length or a missing list is refused
  // before anything is read.
  if (lNumberOfActiveControllerPorts < 0 ||
      (lNumberOfActiveControllerPorts > 0 && pActiveControllerPortIdArray == nullptr)) {
    return E_INVALIDARG;
  }
  const bool ulp = m_pSubSystem->SupportULP();
  if (m_prop.pwszUnmaskingList != nullptr && m_prop.pwszUnmaskingList[0] != 0 && !ulp) {
    DebugPrintf(
        "OOP!!! CLun::AssociateControllerPorts() m_prop.pwszUnmaskingList != , means it has map "
        "return VDS_E_NOT_SUPPORTED, line %d\n",
        __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  if (!CanOperate()) {
    DebugPrintf(
        "OOP!!! CLun::AssociateControllerPorts() CanOperate == false return "
        "VDS_E_OBJECT_STATUS_FAILED, line %d\n",
        __LINE__);
    return VDS_E_OBJECT_STATUS_FAILED;
  }
  const DWORD handle = m_pController->Handle();
  auto data = std::make_unique<controllerData>();
  if (Tidegate::get_controller_data(handle, data.get()) != 0) {
    DebugPrintf(
        "OOP!!! CLun::AssociateControllerPorts() get_controller_data return "
        "VDS_E_INTERNAL_ERROR, line %d\n",
        __LINE__);
    return VDS_E_INTERNAL_ERROR;
  }
  size_t index = 0;
  const array* vdisk = FindVdiskBySerial(*data, m_ArraySn, &index);
  if (vdisk == nullptr) {
    DebugPrintf("error: could not find specified vdisk, returning VDS_E_OBJECT_NOT_FOUND\n");
    return VDS_E_OBJECT_NOT_FOUND;
  }
  bool anyMapped = false;
  auto view = std::make_unique<partitionView>();
  const size_t partitions = ValidCount(vdisk->numArrayPartitions, kMaxArrayPartitions);
  for (size_t i = 0; i < partitions && !anyMapped; ++i) {
    if (Tidegate::get_part_view(handle, data->partitions[index][i].serialNumber, view.get()) != 0) {
      DebugPrintf(
          "error: CLun::AssociateControllerPorts() get_part_view() returned false--returning %x "
          "(VDS_E_INTERNAL_ERROR)\n",
          VDS_E_INTERNAL_ERROR);
      return VDS_E_INTERNAL_ERROR;
    }
    anyMapped = PartitionViewMapped(*view);
  }
  if (CheckVdiskPartitionsForAssociation(vdisk->numArrayPartitions, anyMapped, ulp) != S_OK) {
    DebugPrintf("error: >1 partitions and a partition is mapped; returning VDS_E_NOT_SUPPORTED\n");
    return VDS_E_NOT_SUPPORTED;
  }
  const VDS_OBJECT_ID* first = pActiveControllerPortIdArray;
  const VDS_OBJECT_ID* last = first == nullptr ? nullptr : first + lNumberOfActiveControllerPorts;
  bool haveA = false;
  bool haveB = false;
  std::vector<RequestedPort> ports;
  for (CController* controller : m_pSubSystem->ControllersInOrder()) {
    (controller->ControllerId() == 1 ? haveA : haveB) = true;
    for (const auto& [id, entry] : controller->Ports()) {
      if (std::find(first, last, id) == last) continue;
      const auto* port = static_cast<CControllerPort*>(entry.pObject);
      ports.push_back(RequestedPort{port->ControllerId(), port->PortNumber()});
    }
  }
  const AssociateDecision decision = DecideAssociation(haveA && haveB, ports, m_Owner);
  if (decision.bothSides) {
    DebugPrintf("error: ports on both controllers specified--can't determine what to do\n");
  }
  if (decision.hr != S_OK) return decision.hr;
  DebugPrintf("current owner=%s, requested controller=%s, specified_ports=%s\n",
              m_Owner == 1 ? "A" : "B", decision.requested.c_str(),
              decision.specifiedPorts.c_str());
  if (decision.toggleOwner) {
    if (Tidegate::set_owner(handle, m_ArraySn) != 0) {
      m_pProvider->SetNeedRefresh(true);
      DebugPrintf(
          "error: CLun::AssociateControllerPorts(): set_owner() return VDS_E_INTERNAL_ERROR, "
          "line %d\n",
          __LINE__);
      return VDS_E_INTERNAL_ERROR;
    }
    // The refresh finds this LUN again by its name and builds it under its new controller.
    std::exchange(m_pController, nullptr)->Release();
    ProviderRef provider;
    provider.Attach(m_pProvider.Get());
    provider->Refresh();
  }
  DebugPrintf("CLun::AssociateControllerPorts() out\n");
  return S_OK;
}
