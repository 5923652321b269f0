// RAID arithmetic of the simulated controllers: how many drives a level takes and how much a
// set of members yields.
#ifndef VELA_SIM_RAID_H_
#define VELA_SIM_RAID_H_

#include <cstdint>
#include <string>

namespace sim {

// array.raidLevel values.
inline constexpr uint8_t kRaid0 = 0;
inline constexpr uint8_t kRaid1 = 1;
inline constexpr uint8_t kRaid3 = 3;
inline constexpr uint8_t kRaid5 = 5;
inline constexpr uint8_t kNraid = 6;
inline constexpr uint8_t kRaid30 = 7;
inline constexpr uint8_t kRaid50 = 8;
inline constexpr uint8_t kRaid10 = 10;
inline constexpr uint8_t kRaid6 = 11;

// Blocks of a drive that a vdisk may use: the controller's reserve (per mille, in steps of 10)
// taken off, rounded down to 64 KiB, less 16 MiB of metadata. 0 for a drive too small.
uint64_t UsableDriveBlocks(uint64_t rawBlocks, uint32_t driveOverheadPerMille);

// Whether `level` can be built from `drives` members with sub-arrays of `perGroup` drives
// (nested levels only); *why says what is wrong.
bool RaidLevelAccepts(uint8_t level, uint32_t drives, uint32_t perGroup, std::string* why);

// Number of members whose capacity holds data.
uint32_t DataDrives(uint8_t level, uint32_t drives, uint32_t perGroup);

// Capacity of a vdisk whose smallest member has `smallestUsableBlocks`.
uint64_t VdiskCapacityBlocks(uint8_t level, uint32_t drives, uint32_t perGroup,
                             uint64_t smallestUsableBlocks);

// Most members a vdisk of the level may have at creation.
uint32_t MaxMembersAtCreation(uint8_t level);

}  // namespace sim

#endif  // VELA_SIM_RAID_H_
