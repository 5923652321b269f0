// Helpers shared by the two halves of the array's change logic (provision.cc: vdisks and
// partitions; provision_links.cc: mappings, spares, owners and snapshots).
#ifndef VELA_SIM_PROVISION_INTERNAL_H_
#define VELA_SIM_PROVISION_INTERNAL_H_

#include <cstdint>
#include <string>

#include "sim/model.h"

namespace sim {
namespace provision {

inline constexpr uint8_t kPartitionPlain = 0;
inline constexpr uint8_t kPartitionSnapPool = 1;
inline constexpr uint8_t kPartitionMaster = 2;
inline constexpr uint8_t kPartitionSnapshot = 3;
inline constexpr uint8_t kUtilityExpansion = 5;
inline constexpr uint8_t kUtilityStoppable = 6;

bool ControllerUp(const Subsystem& subsystem, size_t index);
Event LunEvent(uint32_t code, const Partition& partition, const char* what);
void LogOnOwner(Subsystem& subsystem, const Vdisk& vdisk, const Event& event);
size_t PartitionsOnController(const Subsystem& subsystem, size_t controllerIndex);
size_t CountPartitions(const Subsystem& subsystem, uint8_t type);
// The lowest LUN number no partition of the subsystem uses.
uint32_t FreeLun(const Subsystem& subsystem);
// The partition of this type whose serial starts with the 16-byte id.
Partition* FindByPrefix(Subsystem& subsystem, const uint8_t* id, uint8_t type, Vdisk** owner);
// True when master volumes use this snap pool, or snapshots this master volume.
bool HasDependants(const Subsystem& subsystem, const Partition& partition);

}  // namespace provision
}  // namespace sim

#endif  // VELA_SIM_PROVISION_INTERNAL_H_
