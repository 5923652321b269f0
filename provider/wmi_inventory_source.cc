// The inventory source of a real host (or of its host view): the WMI readers and the HBA API.
#include "multipath/hba_ports.h"
#include "multipath/vds_wmi.h"
#include "provider/host_inventory.h"

namespace {

class WmiSource final : public HostInventorySource {
 public:
  bool Connect() override { return VdsWmi::Connect(); }
  void Disconnect() override { VdsWmi::Disconnect(); }

  bool Fill(InventoryStep step, HostInventory* inventory) override {
    switch (step) {
      case InventoryStep::kDevicePerf:
        inventory->DevPerfVec.clear();
        return VdsWmi::WmiGetDevicePerf(inventory->DevPerfVec) == 0;
      case InventoryStep::kMpioDescriptor:
        inventory->mpioVec.clear();
        return VdsWmi::WmiGetMpioDescriptor(inventory->mpioVec) == 0;
      case InventoryStep::kMpioDiskInfo:
        inventory->mpioDiskInfoVec.clear();
        return VdsWmi::WmiGetMpioDiskInfo(inventory->mpioDiskInfoVec) == 0;
      case InventoryStep::kMpioDsmPathV2:
        inventory->mpioDsmPathV2Vec.clear();
        return VdsWmi::WmiGetMpioDsmPathV2(inventory->mpioDsmPathV2Vec) == 0;
      case InventoryStep::kDsmInfo:
        inventory->DsmVec.clear();
        return VdsWmi::WmiGetDSMInfo(inventory->DsmVec) == 0;
      case InventoryStep::kHbaPortProp:
        inventory->HBA_vec.clear();
        return GetHbaPortProp(inventory->HBA_vec) == 0;
      case InventoryStep::kLBPolicy:
        inventory->DsmLoadPolicyVec.clear();
        return VdsWmi::QueryLBPolicy(inventory->DsmLoadPolicyVec) == 0;
    }
    return false;
  }
};

}  // namespace

HostInventorySource* WmiInventorySource() {
  static WmiSource source;
  return &source;
}
