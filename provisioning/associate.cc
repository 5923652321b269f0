#include "provisioning/associate.h"

#include <cstring>

#include "platform/vds.h"

namespace {

// The view's 8-byte port field, which says whether a LUN 0 mapping is in force.
constexpr size_t kPortFieldStart = 0x14 - 0x12;
constexpr size_t kPortFieldSize = 8;

}  // namespace

bool PartitionViewMapped(const partitionView& view) {
  if (view.numElements != 0) return true;
  if (view.lun >= 1 && view.lun <= 65534) return true;
  static const uint8_t kZero[kPortFieldSize] = {};
  return view.lun == 0 &&
         std::memcmp(view.reserved_12 + kPortFieldStart, kZero, kPortFieldSize) != 0;
}

HRESULT CheckVdiskPartitionsForAssociation(size_t numArrayPartitions, bool anyMapped, bool ulp) {
  return numArrayPartitions > 1 && anyMapped && !ulp ? VDS_E_NOT_SUPPORTED : S_OK;
}

AssociateDecision DecideAssociation(bool bothControllers, const std::vector<RequestedPort>& ports,
                                    uint8_t owner) {
  AssociateDecision decision;
  bool wantA = false;
  bool wantB = false;
  for (const RequestedPort& port : ports) {
    const bool isA = port.controllerId == 1;
    (isA ? wantA : wantB) = true;
    decision.specifiedPorts +=
        "," + std::string(1, isA ? 'A' : 'B') + std::to_string(port.portNumber);
  }
  decision.requested = wantA ? "A" : wantB ? "B" : "none";
  if (!bothControllers) {
    decision.hr = VDS_E_NOT_SUPPORTED;
    return decision;
  }
  if (wantA && wantB) {
    decision.bothSides = true;
    decision.hr = VDS_E_NOT_SUPPORTED;
    return decision;
  }
  const bool keep = (owner == 1 && wantA) || (owner == 0 && wantB);
  decision.toggleOwner = !keep;
  return decision;
}
