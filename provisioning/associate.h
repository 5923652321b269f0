// The decisions of port association. On a dual-controller subsystem the one thing a client can
// change is which controller owns a vdisk, so a port list comes down to keeping the owner or
// toggling it; these functions say which, or why the request is refused. CLun fetches the views
// and the ports and sends set_owner when they say so.
#ifndef VELA_PROVISIONING_ASSOCIATE_H_
#define VELA_PROVISIONING_ASSOCIATE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "platform/hresult.h"
#include "proxy/records.h"

// A partition counts as mapped when its view lists a host, has a LUN number between 1 and
// 65534, or has LUN 0 with a port field that isn't all zero.
bool PartitionViewMapped(const partitionView& view);

// VDS_E_NOT_SUPPORTED when the vdisk has more than one partition, one of them mapped, and the
// subsystem isn't in ULP mode; else S_OK.
HRESULT CheckVdiskPartitionsForAssociation(size_t numArrayPartitions, bool anyMapped, bool ulp);

// One port the request names as active, on the controller of index `controllerId` (1 is A).
struct RequestedPort {
  uint8_t controllerId = 0;
  uint8_t portNumber = 0;
};

struct AssociateDecision {
  HRESULT hr = S_OK;
  bool toggleOwner = false;    // send set_owner
  bool bothSides = false;      // ports on both controllers: refused
  std::string requested;       // "A", "B" or "none"
  std::string specifiedPorts;  // ",A0,B1..." as the log shows them
};

// With both controllers present (`bothControllers`), the ports named and the vdisk's owner
// (1 A, 0 B): refused for ports on both controllers or a missing controller; the owner toggles
// unless the ports point at the owner. No port at all also toggles.
AssociateDecision DecideAssociation(bool bothControllers, const std::vector<RequestedPort>& ports,
                                    uint8_t owner);

#endif  // VELA_PROVISIONING_ASSOCIATE_H_
