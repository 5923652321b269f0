#include <gtest/gtest.h>

#include <map>
#include <set>

#include "platform/osversion.h"
#include "provisioning/utility.h"
#include "proxy/records_format.h"

namespace {

constexpr ULONGLONG k64PiB = 1ULL << 56;

// Opens (6.1) or closes (6.0) the win7 gate for one scope; the default version comes back after.
class Win7Gate {
 public:
  explicit Win7Gate(bool open) { SetOsVersionForTesting(6, open ? 1 : 0); }
  ~Win7Gate() { SetOsVersionForTesting(6, 2); }
  Win7Gate(const Win7Gate&) = delete;
  Win7Gate& operator=(const Win7Gate&) = delete;
};

TEST(RaidRules, ParityFamilyIsExactlyTheSevenParityTypes) {
  const std::set<int> parity = {14, 16, 18, 19, 25, 26, 29};
  for (int type = -1; type <= 40; ++type) {
    EXPECT_EQ(IsParityFamily(static_cast<VDS_LUN_TYPE>(type)), parity.count(type) == 1) << type;
  }
}

TEST(RaidRules, VdsTypeToLevelWithGateOpenAndClosed) {
  // type -> {gate open, gate closed}; the default level passed is VELA_RAID6.
  const std::map<int, std::pair<int, int>> table = {
      {1, {VELA_RAID6, VELA_RAID6}},   {2, {VELA_RAID6, VELA_RAID6}},
      {3, {VELA_RAID0, VELA_RAID0}},   {10, {VELA_NRAID, VELA_NRAID}},
      {11, {VELA_NRAID, VELA_NRAID}},  {12, {VELA_RAID0, VELA_RAID0}},
      {13, {VELA_RAID1, VELA_RAID1}},  {14, {VELA_RAID6, VELA_RAID6}},
      {16, {VELA_RAID3, VELA_RAID0}},  {18, {VELA_RAID5, VELA_RAID0}},
      {19, {VELA_RAID6, VELA_RAID0}},  {23, {VELA_RAID10, VELA_RAID0}},
      {25, {VELA_RAID30, VELA_RAID0}}, {26, {VELA_RAID50, VELA_RAID0}},
      {29, {VELA_RAID0, VELA_RAID0}},  {0, {VELA_RAID0, VELA_RAID0}},
      {15, {VELA_RAID0, VELA_RAID0}},  {30, {VELA_RAID0, VELA_RAID0}},
  };
  for (const auto& [type, levels] : table) {
    const auto t = static_cast<VDS_LUN_TYPE>(type);
    {
      Win7Gate gate(true);
      EXPECT_EQ(VdsType2VelaRaidLevel(VELA_RAID6, t), levels.first) << type;
    }
    Win7Gate gate(false);
    EXPECT_EQ(VdsType2VelaRaidLevel(VELA_RAID6, t), levels.second) << type;
  }
}

VDS_HINTS Hints(ULONG maxDrives, ULONGLONG mask, bool mostlyReads) {
  VDS_HINTS hints{};
  hints.ulMaximumDriveCount = maxDrives;
  hints.ullHintMask = mask;
  hints.bMostlyReads = mostlyReads ? TRUE : FALSE;
  return hints;
}

struct SelectCase {
  int type;
  ULONG maxDrives;
  ULONGLONG mask;
  bool mostlyReads;
  bool gate;
  int level;
};

TEST(RaidRules, SelectRaidLevel) {
  const SelectCase cases[] = {
      // Explicit RAID types answer at once, whatever the gate.
      {23, 0, 0, false, false, VELA_RAID10},
      {16, 0, 0, false, false, VELA_RAID3},
      {25, 0, 0, false, false, VELA_RAID30},
      {18, 0, 0, false, false, VELA_RAID5},
      {26, 0, 0, false, false, VELA_RAID50},
      {19, 0, 0, false, false, VELA_RAID6},
      // The hot spare doesn't count: 4 drives with bit 9 mean 3, so RAID 5.
      {14, 4, kHintMaskHotSpare, false, true, VELA_RAID5},
      {14, 3, 0, false, true, VELA_RAID5},
      {14, 0, 0, false, true, VELA_RAID6},
      {14, 4, 0, false, true, VELA_RAID6},
      // With 2 drives the spare bit leaves n at 2.
      {14, 2, kHintMaskHotSpare, false, true, VELA_RAID6},
      {2, 2, kHintMaskMostlyReads | kHintMaskHotSpare, false, true, VELA_RAID1},
      // Fault tolerant with the mostly-reads hint filled in but false: mirror or RAID 10.
      {2, 2, kHintMaskMostlyReads, false, true, VELA_RAID1},
      {2, 4, kHintMaskMostlyReads, false, true, VELA_RAID10},
      {2, 0, kHintMaskMostlyReads, false, true, VELA_RAID10},
      {2, 4, kHintMaskMostlyReads, false, false, VELA_RAID0},
      // Fault tolerant without the hint, and parity: the parity default.
      {2, 3, 0, false, true, VELA_RAID5},
      {2, 5, 0, false, true, VELA_RAID6},
      // The private channel, honoured with bMostlyReads; bit 63 beats 62 beats 61.
      {14, 8, kHintMaskRaid50, true, true, VELA_RAID50},
      {14, 3, kHintMaskRaid50, true, true, VELA_RAID50},
      {14, 8, 0, true, true, VELA_RAID6},
      {14, 3, 0, true, true, VELA_RAID5},
      {14, 8, kHintMaskRaid3, true, true, VELA_RAID3},
      {14, 8, kHintMaskRaid3 | kHintMaskRaid50, true, true, VELA_RAID50},
      {14, 8, kHintMaskRaid3 | kHintMaskRaid50 | kHintMaskRaid5, true, true, VELA_RAID5},
      {2, 8, kHintMaskMostlyReads | kHintMaskRaid3, true, true, VELA_RAID3},
      {2, 8, kHintMaskRaid5, true, false, VELA_RAID5},
      // The private bits mean nothing without bMostlyReads, and nothing to other types.
      {14, 8, kHintMaskRaid5, false, true, VELA_RAID6},
      {12, 8, kHintMaskRaid5, true, true, VELA_RAID0},
      // Other types go through the type mapping.
      {1, 3, 0, false, true, VELA_RAID5},
      {1, 6, 0, false, true, VELA_RAID6},
      {3, 4, 0, false, true, VELA_RAID0},
      {10, 1, 0, false, true, VELA_NRAID},
      {13, 2, 0, false, true, VELA_RAID1},
      {29, 8, 0, false, true, VELA_RAID0},
  };
  for (const auto& c : cases) {
    Win7Gate gate(c.gate);
    EXPECT_EQ(SelectRaidLevel(Hints(c.maxDrives, c.mask, c.mostlyReads),
                              static_cast<VDS_LUN_TYPE>(c.type)),
              c.level)
        << "type " << c.type << " n " << c.maxDrives << " mask " << std::hex << c.mask << " reads "
        << c.mostlyReads << " gate " << c.gate;
  }
}

TEST(RaidRules, LevelToVdsTypeEveryByte) {
  const std::map<int, int> open = {{0, 12}, {1, 13}, {3, 16},  {5, 18},
                                   {7, 25}, {8, 26}, {10, 23}, {11, 19}};
  const std::map<int, int> closed = {{0, 12}, {1, 13}, {3, 14},  {5, 14},
                                     {7, 14}, {8, 14}, {10, 13}, {11, 14}};
  for (int level = 0; level < 256; ++level) {
    const auto l = static_cast<UCHAR>(level);
    for (bool gateOpen : {true, false}) {
      Win7Gate gate(gateOpen);
      if (level == VELA_NRAID) {
        EXPECT_EQ(VelaLevel2VdsType(l, 1), VDS_LT_SIMPLE);
        EXPECT_EQ(VelaLevel2VdsType(l, 3), VDS_LT_SPAN);
        EXPECT_EQ(VelaLevel2VdsType(l, 0), VDS_LT_SPAN);
        continue;
      }
      const auto& want = gateOpen ? open : closed;
      EXPECT_EQ(VelaLevel2VdsType(l, 4), want.count(level) ? want.at(level) : 0)
          << level << " gate " << gateOpen;
    }
  }
}

TEST(RaidRules, RoundingToMegabytes) {
  EXPECT_EQ(ROUND_UP_TO_MB_BOUNDARY(0), 0u);
  EXPECT_EQ(ROUND_UP_TO_MB_BOUNDARY(1), 1048576u);
  EXPECT_EQ(ROUND_UP_TO_MB_BOUNDARY(1048576), 1048576u);
  EXPECT_EQ(ROUND_UP_TO_MB_BOUNDARY(1048577), 2097152u);
  EXPECT_EQ(ROUND_DOWN_TO_MB_BOUNDARY(1048575), 0u);
  EXPECT_EQ(ROUND_DOWN_TO_MB_BOUNDARY(3 * 1048576 + 5), 3u * 1048576);
  static_assert(ROUND_UP_TO_MB_BOUNDARY(5) == 1048576);
}

struct SizeCase {
  int level;
  int type;
  ULONG n;
  ULONGLONG bytes;
  bool raw;
  ULONGLONG want;
};

TEST(RaidRules, SizeByLunType) {
  const SizeCase cases[] = {
      // Mirrors: half, spread over an even count; rawFlag changes nothing.
      {VELA_RAID1, 13, 2, 2000, false, 1000},
      {VELA_RAID1, 13, 3, 3000, true, (1500 / 3) * 2},
      {VELA_RAID10, 23, 4, 4000, false, 2000},
      {VELA_RAID10, 23, 5, 5003, false, (2501 / 5) * 4},
      // Parity by level, multiplication first.
      {VELA_RAID5, 18, 3, 3001, false, 2 * 3001 / 3},
      {VELA_RAID3, 14, 4, 4000, false, 3000},
      {VELA_RAID6, 19, 4, 4003, false, 2 * 4003 / 4},
      {VELA_RAID5, 18, 3, 3001, true, 3001},
      {VELA_RAID0, 14, 4, 4000, false, 4000},
      // Nested levels keep their historical figures: 8 -> 4, 9 -> 6, 12 -> 9, 15 -> 12 drives.
      {VELA_RAID50, 26, 8, 8000, false, 4000},
      {VELA_RAID50, 26, 9, 9000, false, 6000},
      {VELA_RAID30, 25, 12, 12000, false, 9000},
      {VELA_RAID50, 14, 15, 15000, false, 12000},
      {VELA_RAID50, 26, 6, 6000, false, 4000},
      {VELA_RAID50, 26, 6, 6000, true, 6000},
      // Large sets don't wrap although 67 times the sum passes 2^64.
      {VELA_RAID5, 18, 68, 68 * k64PiB, false, 67 * k64PiB},
      // Outside the mirror to RAID 50 range, and for the types in it that are none of these, the
      // sum stands, for 0 drives too.
      {VELA_RAID5, 12, 4, 4000, false, 4000},
      {VELA_RAID5, 15, 4, 4000, false, 4000},
      {VELA_RAID5, 17, 4, 4000, false, 4000},
      {VELA_RAID5, 20, 4, 4000, false, 4000},
      {VELA_RAID5, 24, 4, 4000, false, 4000},
      {VELA_RAID5, 27, 4, 4000, false, 4000},
      {VELA_RAID0, 29, 0, 1000, false, 1000},
      // Zero drives never divide.
      {VELA_RAID5, 18, 0, 1000, false, 0},
      {VELA_RAID1, 13, 0, 1000, false, 0},
      {VELA_RAID6, 19, 1, 1000, false, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(
        GetRaidSizeUsedDrivesUseLunType(static_cast<UCHAR>(c.level),
                                        static_cast<VDS_LUN_TYPE>(c.type), c.n, c.bytes, c.raw),
        c.want)
        << "level " << c.level << " type " << c.type << " n " << c.n;
  }
}

TEST(RaidRules, SizeByRaidLevel) {
  struct Case {
    int level;
    ULONG n;
    ULONGLONG bytes;
    ULONG perGroup;
    bool raw;
    ULONGLONG want;
  };
  const Case cases[] = {
      {VELA_RAID0, 4, 4000, 0, false, 4000},
      {VELA_RAID1, 2, 2000, 0, false, 2000},
      {VELA_NRAID, 3, 3000, 0, false, 3000},
      {12, 3, 3000, 0, false, 3000},
      {VELA_RAID3, 4, 4000, 0, false, 3000},
      {VELA_RAID5, 3, 3001, 0, false, 2 * 3001 / 3},
      {VELA_RAID5, 3, 3001, 0, true, 3001},
      {VELA_RAID50, 8, 8000, 4, false, 2 * 1000 * 3},
      {VELA_RAID30, 9, 9000, 3, false, 3 * 1000 * 2},
      {VELA_RAID50, 8, 8000, 4, true, 8000},
      {VELA_RAID10, 4, 4000, 0, false, 2000},
      {VELA_RAID10, 4, 4000, 0, true, 2000},
      {VELA_RAID6, 5, 5000, 0, false, 3000},
      {VELA_RAID6, 5, 5000, 0, true, 5000},
      {9, 5, 5000, 0, false, 5000},
      // Bad input that would divide by zero or wrap gives nothing.
      {VELA_RAID5, 0, 5000, 0, false, 0},
      {VELA_RAID50, 8, 8000, 0, false, 0},
      {VELA_RAID6, 1, 5000, 0, false, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(GetRaidSizeUsedDrivesUseRaidLevel(static_cast<UCHAR>(c.level), c.n, c.bytes,
                                                c.perGroup, c.raw),
              c.want)
        << "level " << c.level << " n " << c.n;
  }
}

}  // namespace
