// The host's HBA ports through the HBA API, and lookups over them. Runs on the caller's thread
// under the refresh lock.
#ifndef VELA_MULTIPATH_HBA_PORTS_H_
#define VELA_MULTIPATH_HBA_PORTS_H_

#include <cstdint>
#include <vector>

#include "platform/hbaapi.h"
#include "platform/vds_types.h"

// A VDS_HBAPORT_PROP followed by the OS port number that an MPIO address names.
struct HbaPortEntry {
  VDS_HBAPORT_PROP prop;
  uint32_t scsiPortNumber;
};

// One port of the proxy's list of connected HBA ports.
struct ConnectedHba {
  char type;
  uint8_t portNumber;
  uint8_t busNumber;
  uint8_t targetNumber;
  uint8_t wwpn[8];
};

// Walks adapters and ports over a library bounded by these counts; more is taken as a broken
// library, and the walk reads no further.
inline constexpr uint32_t kMaxHbaAdapters = 256;
inline constexpr uint32_t kMaxHbaPorts = 256;
// Rows of one target mapping read (the buffer holds this many).
inline constexpr uint32_t kMaxTargetMappings = 256;

// Appends every port of every adapter. 0 when the walk ends; a failed HBA_LoadLibrary returns
// its status, with nothing appended.
uint32_t GetHbaPortProp(std::vector<HbaPortEntry>& HBA_vec);

// Appends the FCP target rows of the port `portWWN`, one per target WWN and target number.
void GetTargetMappings(const uint8_t portWWN[8], std::vector<HBA_FCPSCSIENTRYV2>& rows);

// The first entry with this port WWN, or an all-zero entry.
HbaPortEntry FindHbaEntry(const std::vector<HbaPortEntry>& HBA_vec, const uint8_t wwnPort[8]);

// The WWPN of the proxy's port best matching (port, bus, target): all three, else port and bus,
// else port alone. Null when none matches; points into `list`.
const uint8_t* FindConnectedWwpn(const std::vector<ConnectedHba>& list, uint8_t port, uint8_t bus,
                                 uint8_t target);

#endif  // VELA_MULTIPATH_HBA_PORTS_H_
