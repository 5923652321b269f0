#include "sim/raid.h"

namespace sim {

namespace {
constexpr uint64_t kBlockSize = 512;
constexpr uint64_t kMetadataBytes = 0x1000000;
}  // namespace

uint64_t UsableDriveBlocks(uint64_t rawBlocks, uint32_t driveOverheadPerMille) {
  const uint64_t raw = rawBlocks * kBlockSize;
  const uint64_t keptPerMille =
      driveOverheadPerMille >= 1000 ? 0 : (100 - driveOverheadPerMille / 10) * 10;
  const uint64_t kept = (raw / 1000) * keptPerMille + (raw % 1000) * keptPerMille / 1000;
  const uint64_t aligned = kept & ~uint64_t{0xFFFF};
  if (aligned <= kMetadataBytes) return 0;
  return (aligned - kMetadataBytes) / kBlockSize;
}

bool RaidLevelAccepts(uint8_t level, uint32_t drives, uint32_t perGroup, std::string* why) {
  auto refuse = [why](const char* text) {
    if (why) *why = text;
    return false;
  };
  if (drives == 0) return refuse("no drives");
  if (drives > MaxMembersAtCreation(level)) return refuse("too many drives for the level");
  switch (level) {
    case kRaid0:
      return drives >= 2 ? true : refuse("RAID 0 needs 2 drives");
    case kRaid1:
      return drives == 2 ? true : refuse("RAID 1 needs exactly 2 drives");
    case kRaid10:
      return drives >= 4 && drives % 2 == 0 ? true
                                            : refuse("RAID 10 needs an even count of 4 or more");
    case kRaid3:
    case kRaid5:
      return drives >= 3 ? true : refuse("parity levels need 3 drives");
    case kRaid6:
      return drives >= 4 ? true : refuse("RAID 6 needs 4 drives");
    case kNraid:
      return true;
    case kRaid30:
    case kRaid50:
      if (perGroup < 3) return refuse("nested parity needs groups of 3 or more");
      if (drives < 2 * perGroup || drives % perGroup != 0) {
        return refuse("nested parity needs whole groups, at least two");
      }
      return true;
    default:
      return refuse("unknown RAID level");
  }
}

uint32_t DataDrives(uint8_t level, uint32_t drives, uint32_t perGroup) {
  switch (level) {
    case kRaid1:
      return 1;
    case kRaid10:
      return drives / 2;
    case kRaid3:
    case kRaid5:
      return drives - 1;
    case kRaid6:
      return drives - 2;
    case kRaid30:
    case kRaid50:
      return perGroup ? drives / perGroup * (perGroup - 1) : drives;
    default:
      return drives;
  }
}

uint64_t VdiskCapacityBlocks(uint8_t level, uint32_t drives, uint32_t perGroup,
                             uint64_t smallestUsableBlocks) {
  return smallestUsableBlocks * DataDrives(level, drives, perGroup);
}

uint32_t MaxMembersAtCreation(uint8_t level) {
  return level == kRaid30 || level == kRaid50 ? 32 : 16;
}

}  // namespace sim
