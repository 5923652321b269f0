// The SCSI devices of the simulator's host view: for each LUN mapped to the host, the INQUIRY
// data the array gives (platform/host_view_devices.h has the format), and the host's own boot
// disk, which is not the array's.
//
// Page 0x83 of a LUN, in this order:
//   OFFSET SIZE DESIGNATOR
//   4      20   NAA 6 identifier of the logical unit (the NAA form of the partition serial)
//   24     8    relative target port of the path the device was found through
//   32     8    target port group (the owning controller's id)
//   40     12   T10 vendor identification (the vendor name)
//   52     12   target port name (the controller port's WWN or SAS address)
//   64     36   vendor specific: the controller block (0x11, the subsystem serial's first six
//               characters, MAC bytes 1 to 5 and IP address of the owner, then of the other)
#ifndef VELA_SIM_HOST_DEVICES_H_
#define VELA_SIM_HOST_DEVICES_H_

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "sim/model.h"

namespace sim {

// Where the host finds the LUN: the first path's SCSI address and controller port.
struct DevicePath {
  uint32_t port = 0;
  uint32_t target = 0;
  uint32_t relativePort = 0;
  const HostPort* controllerPort = nullptr;
};

// The device entry of one mapped partition; `number` names it "\\.\PhysicalDrive<number>".
// Its layout is the one the previous view gave the same device (by its serial), else none: a
// layout written into the view stays.
nlohmann::json LunDeviceJson(const Subsystem& subsystem, const Vdisk& vdisk,
                             const Partition& partition, uint32_t number, const DevicePath& path,
                             const nlohmann::json& previous);

// The host's own disk, "\\.\PhysicalDrive0".
nlohmann::json BootDiskJson();

}  // namespace sim

#endif  // VELA_SIM_HOST_DEVICES_H_
