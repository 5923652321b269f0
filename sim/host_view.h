// The host view the simulator writes for one host: what that host's WMI namespace, HBA adapters
// and SCSI devices show of the simulated arrays (platform/host_view.h has the format).
//
// Each partition mapped to the host is an MPIO disk ("MPIO Disk<n>") listed under the serial the
// host's multipath layer gives it (the NAA form of its serial, as page 0x83 reports it), with one
// path per controller port of its subsystem. The host has one adapter with a port per host WWN;
// the paths through controller port p take HBA port p modulo their number. The owning
// controller's ports are the active/optimized group (state 0, primary and optimized), the other
// controller's the active/unoptimized one (state 1, primary, not optimized); a port whose link is
// down gives failed paths. Relative target port numbers follow the controller mode: on dual-port
// ULP controllers A's ports are 1..n and B's n+1..2n; otherwise only the owner's ports carry
// their number (p + 1) and the others are found by the HBA's target mappings.
//
// Its SCSI devices are the host's boot disk and one disk per mapped partition with the INQUIRY
// data the array gives (sim/host_devices.h).
//
// What the DSM's methods changed (policy, weights, primary, optimized, preferred and failed
// flags) is kept from the previous view of the file when the path still exists.
#ifndef VELA_SIM_HOST_VIEW_H_
#define VELA_SIM_HOST_VIEW_H_

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "sim/model.h"

namespace sim {

// The host's WWNs: `wanted` when not empty, else the inventory's HBA ports.
std::vector<Wwn> HostWwns(const Model& model, const std::vector<Wwn>& wanted);

nlohmann::json BuildHostView(const Model& model, const std::vector<Wwn>& hostWwns,
                             const nlohmann::json& previous);

// Rewrites the view file from the model, keeping the DSM's changes. False with *error when the
// file can't be written.
bool WriteHostViewFile(const std::string& path, const Model& model,
                       const std::vector<Wwn>& hostWwns, std::string* error);

// "21:00:02:8c:44:10:00:01" or "2100028c44100001".
bool ParseHostWwn(const std::string& text, Wwn* wwn);

}  // namespace sim

#endif  // VELA_SIM_HOST_VIEW_H_
