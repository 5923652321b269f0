#include "provisioning/sizes.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "provisioning/extend.h"
#include "provisioning/utility.h"
#include "proxy/records_format.h"
#include "tests/provisioning/drives.h"

namespace {

constexpr ULONGLONG kMiB = 1ULL << 20;

std::vector<VDS_OBJECT_ID> Ids(const std::vector<DriveCandidate>& drives, size_t n) {
  std::vector<VDS_OBJECT_ID> ids;
  for (size_t i = 0; i < n; ++i) ids.push_back(drives[i].id);
  return ids;
}

LunFacts Lun(VDS_LUN_TYPE type, UCHAR level, ULONG numDrives, ULONG perGroup = 0) {
  LunFacts lun;
  lun.type = type;
  lun.raidLevel = level;
  lun.numDrives = numDrives;
  lun.perGroup = perGroup;
  lun.minDriveSize = 100 * kGiB;
  lun.driveType = kDriveTypeSas;
  lun.size = 10 * kGiB;
  return lun;
}

array Vdisk(UCHAR level, ULONG numDrives, ULONGLONG freeBytes) {
  array vdisk{};
  vdisk.raidLevel = level;
  vdisk.numDrives = numDrives;
  vdisk.expandableBlocks = freeBytes >> 9;
  vdisk.numFreeArrayPartitionSegments = 1;
  return vdisk;
}

ULONGLONG NewVdisk(VDS_LUN_TYPE type, UCHAR level, ULONG count, ULONGLONG total,
                   bool raid6 = true) {
  ULONGLONG size = 12345;
  if (!MaxNewVdiskSize(type, level, count, total, raid6, &size)) {
    EXPECT_EQ(size, 0u);
    return ~0ULL;  // the query's early exit: 0 without asking existing vdisks
  }
  return size;
}

TEST(MaxCreateSize, NewVdiskTableByTypeAndCount) {
  const ULONGLONG d = 100 * kGiB;  // each drive
  struct Case {
    const char* what;
    VDS_LUN_TYPE type;
    UCHAR level;
    ULONG count;
    ULONGLONG expected;
  } const cases[] = {
      {"simple", VDS_LT_SIMPLE, VELA_NRAID, 1, d},
      {"stripe of one: none", VDS_LT_STRIPE, VELA_RAID0, 1, ~0ULL},
      {"stripe of three", VDS_LT_STRIPE, VELA_RAID0, 3, 3 * d},
      {"mirror of one: none", VDS_LT_MIRROR, VELA_RAID1, 1, ~0ULL},
      {"mirror of two", VDS_LT_MIRROR, VELA_RAID1, 2, d},
      {"RAID 10 of two: none", VDS_LT_RAID10, VELA_RAID10, 2, ~0ULL},
      {"RAID 10 of four", VDS_LT_RAID10, VELA_RAID10, 4, 2 * d},
      {"parity of two: none", VDS_LT_PARITY, VELA_RAID5, 2, ~0ULL},
      {"RAID 5 of three", VDS_LT_RAID5, VELA_RAID5, 3, 2 * d},
      {"RAID 6 of three: none", VDS_LT_RAID6, VELA_RAID6, 3, ~0ULL},
      {"RAID 6 of sixteen", VDS_LT_RAID6, VELA_RAID6, 16, 14 * d},
      {"RAID 50 of five: none", VDS_LT_RAID50, VELA_RAID50, 5, ~0ULL},
      {"RAID 50 of nine keeps nine", VDS_LT_PARITY, VELA_RAID50, 9, 6 * d},
      {"RAID 50 of eleven counts ten", VDS_LT_PARITY, VELA_RAID50, 11, 6 * d},
      {"RAID 50 of thirty-two", VDS_LT_RAID50, VELA_RAID50, 32, 27 * d},
      {"default of one: simple", VDS_LT_DEFAULT, VELA_RAID6, 1, d},
      {"fault tolerant of two: mirror", VDS_LT_FAULT_TOLERANT, VELA_RAID6, 2, d},
      {"default of three at RAID 6 with RAID 6 support: none", VDS_LT_DEFAULT, VELA_RAID6, 3,
       ~0ULL},
      {"non fault tolerant of two: stripe", VDS_LT_NON_FAULT_TOLERANT, VELA_RAID0, 2, 2 * d},
      {"non fault tolerant of three: parity at level 0", VDS_LT_NON_FAULT_TOLERANT, VELA_RAID0, 3,
       3 * d},
      {"RAID 60 is level 0", VDS_LT_RAID60, VELA_RAID0, 8, 8 * d},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(NewVdisk(c.type, c.level, c.count, c.count * d), c.expected) << c.what;
  }
  // Eleven at RAID 50 is sized as ten drives of the same per-drive share.
  EXPECT_EQ(NewVdisk(VDS_LT_PARITY, VELA_RAID50, 11, 11 * d),
            NewVdisk(VDS_LT_PARITY, VELA_RAID50, 10, 10 * d));
  // Without RAID 6 support three drives are sized at RAID 6 all the same.
  EXPECT_EQ(NewVdisk(VDS_LT_PARITY, VELA_RAID6, 3, 3 * d, false), d);
  // Rounded down to whole MiB.
  EXPECT_EQ(NewVdisk(VDS_LT_SIMPLE, VELA_NRAID, 1, kGiB + kMiB - 1), kGiB);
  EXPECT_EQ(NewVdisk(VDS_LT_SIMPLE, VELA_NRAID, 1, kMiB - 1), 0u);
}

TEST(MaxCreateSize, NamedDriveListRefusals) {
  std::vector<DriveCandidate> drives = Same(34, kDriveTypeSas, 100);
  const std::vector<VDS_OBJECT_ID> ids = Ids(drives, 34);
  EXPECT_EQ(CheckMaxCreateDrives(VELA_RAID5, 16, drives, ids.data()), S_OK);
  EXPECT_EQ(CheckMaxCreateDrives(VELA_RAID5, 17, drives, ids.data()), VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(CheckMaxCreateDrives(VELA_RAID50, 32, drives, ids.data()), S_OK);
  EXPECT_EQ(CheckMaxCreateDrives(VELA_RAID50, 33, drives, ids.data()), VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(CheckMaxCreateDrives(VELA_RAID50, 9, drives, ids.data()), S_OK);
  EXPECT_EQ(CheckMaxCreateDrives(VELA_RAID50, 7, drives, ids.data()), VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(CheckMaxCreateDrives(VELA_RAID30, 11, drives, ids.data()), VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(CheckMaxCreateDrives(VELA_RAID5, -1, drives, ids.data()), VDS_E_NOT_SUPPORTED);
  drives[1].driveType = kDriveTypeSata;
  EXPECT_EQ(CheckMaxCreateDrives(VELA_RAID5, 3, drives, ids.data()), VDS_E_NOT_SUPPORTED);
  // Span passes the type test here and is refused later; a type outside the list does not.
  EXPECT_TRUE(MaxCreateTypeKnown(VDS_LT_SPAN));
  EXPECT_TRUE(MaxCreateTypeKnown(VDS_LT_RAID60));
  EXPECT_FALSE(MaxCreateTypeKnown(static_cast<VDS_LUN_TYPE>(15)));
  EXPECT_FALSE(MaxCreateTypeKnown(VDS_LT_UNKNOWN));
}

TEST(MaxExtendSize, FreeRoomAndDrivesByLevel) {
  const ULONGLONG d = 100 * kGiB;
  const array vdisk = Vdisk(VELA_RAID5, 3, 5 * kGiB + 123);
  // No drives: the vdisk's free room, to a MiB.
  LunFacts raid5 = Lun(VDS_LT_RAID5, VELA_RAID5, 3);
  EXPECT_EQ(MaxExtendBytes(raid5, 0, 0, &vdisk, false), 5 * kGiB);
  // Two added drives give their whole capacity to a parity vdisk.
  EXPECT_EQ(MaxExtendBytes(raid5, 2, 2 * d, &vdisk, false), 5 * kGiB + 2 * d);
  // Drives the vdisk already holds add nothing.
  EXPECT_EQ(MaxExtendBytes(raid5, 2, 2 * d, &vdisk, true), 5 * kGiB);
  // RAID 1 never grows by drives; RAID 10 by half.
  EXPECT_EQ(MaxExtendBytes(Lun(VDS_LT_MIRROR, VELA_RAID1, 2), 2, 2 * d, &vdisk, false), 5 * kGiB);
  EXPECT_EQ(MaxExtendBytes(Lun(VDS_LT_RAID10, VELA_RAID10, 4), 2, 2 * d, &vdisk, false),
            5 * kGiB + d);
  // Without a vdisk record only the drives count.
  EXPECT_EQ(MaxExtendBytes(raid5, 1, d, nullptr, false), d);

  // How many free drives one extension takes.
  EXPECT_EQ(DrivesForOneExtension(Lun(VDS_LT_RAID10, VELA_RAID10, 4), 5), 4u);
  EXPECT_EQ(DrivesForOneExtension(Lun(VDS_LT_RAID10, VELA_RAID10, 4), 3), 2u);
  EXPECT_EQ(DrivesForOneExtension(Lun(VDS_LT_RAID5, VELA_RAID5, 3), 3), 3u);
  EXPECT_EQ(DrivesForOneExtension(Lun(VDS_LT_RAID5, VELA_RAID5, 3), 9), 4u);
  EXPECT_EQ(DrivesForOneExtension(Lun(VDS_LT_RAID50, VELA_RAID50, 6, 3), 5), 3u);
  EXPECT_EQ(DrivesForOneExtension(Lun(VDS_LT_RAID50, VELA_RAID50, 6, 3), 2), 0u);
  EXPECT_TRUE(ExtendSizeSeeksDrives(VDS_LT_STRIPE));
  EXPECT_TRUE(ExtendSizeSeeksDrives(VDS_LT_RAID6));
  EXPECT_FALSE(ExtendSizeSeeksDrives(VDS_LT_SIMPLE));
}

TEST(Extend, RefusalsByVolumeVdiskAndCount) {
  LunFacts lun = Lun(VDS_LT_RAID5, VELA_RAID5, 3);
  EXPECT_EQ(CheckExtendable(lun), S_OK);
  lun.isDummy = true;
  EXPECT_EQ(CheckExtendable(lun), VDS_E_NOT_SUPPORTED);
  lun.isDummy = false;
  lun.partType = 3;
  EXPECT_EQ(CheckExtendable(lun), VDS_E_NOT_SUPPORTED);
  lun.partType = 1;
  EXPECT_EQ(CheckExtendable(lun), S_OK);
  lun.partType = 0;

  EXPECT_EQ(ExtendBytesRounded(1), kMiB);
  EXPECT_EQ(ExtendBytesRounded(~0ULL), ~0ULL & ~(kMiB - 1));

  array vdisk = Vdisk(VELA_RAID5, 3, 2 * kGiB);
  ExtendVdiskCheck check = CheckExtendVdisk(lun, 2 * kGiB, 0, vdisk);
  EXPECT_TRUE(check.freeRoomSuffices);
  check = CheckExtendVdisk(lun, 0, 0, vdisk);
  EXPECT_TRUE(check.freeRoomSuffices);
  // A job in the way; a stoppable one gives way.
  vdisk.utilityRunning = 3;
  EXPECT_EQ(CheckExtendVdisk(lun, 4 * kGiB, 0, vdisk).hr, VDS_E_ANOTHER_CALL_IN_PROGRESS);
  vdisk.utilityRunning = 6;
  check = CheckExtendVdisk(lun, 4 * kGiB, 0, vdisk);
  EXPECT_EQ(check.hr, S_OK);
  EXPECT_TRUE(check.abortUtility);
  vdisk.utilityRunning = 0;
  // Drive counts: at most four, at most sixteen members.
  EXPECT_EQ(CheckExtendVdisk(lun, 0, 5, vdisk).hr, VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(CheckExtendVdisk(lun, 0, -1, vdisk).hr, VDS_E_NOT_SUPPORTED);
  vdisk.numDrives = 16;
  EXPECT_EQ(CheckExtendVdisk(lun, 0, 1, vdisk).hr, VDS_E_NOT_SUPPORTED);
  // RAID 50 of groups of three: a group, up to 32 members.
  const LunFacts raid50 = Lun(VDS_LT_RAID50, VELA_RAID50, 15, 3);
  array nested = Vdisk(VELA_RAID50, 15, 0);
  EXPECT_EQ(CheckExtendVdisk(raid50, 0, 3, nested).hr, S_OK);
  EXPECT_EQ(CheckExtendVdisk(raid50, 0, 2, nested).hr, VDS_E_NOT_SUPPORTED);
  nested.numDrives = 30;
  EXPECT_EQ(CheckExtendVdisk(raid50, 0, 3, nested).hr, VDS_E_NOT_SUPPORTED);
  // A mirror of two grows only in its free room.
  const LunFacts mirror = Lun(VDS_LT_MIRROR, VELA_RAID1, 2);
  EXPECT_EQ(CheckExtendVdisk(mirror, 4 * kGiB, 0, Vdisk(VELA_RAID1, 2, kGiB)).hr,
            VDS_E_NOT_SUPPORTED);
  // RAID 10 by two or four.
  const LunFacts raid10 = Lun(VDS_LT_RAID10, VELA_RAID10, 4);
  EXPECT_EQ(CheckExtendVdisk(raid10, 0, 2, Vdisk(VELA_RAID10, 4, 0)).hr, S_OK);
  EXPECT_EQ(CheckExtendVdisk(raid10, 0, 3, Vdisk(VELA_RAID10, 4, 0)).hr, VDS_E_NOT_SUPPORTED);
}

TEST(Extend, DriveCountSearch) {
  const std::vector<DriveCandidate> drives = Same(8, kDriveTypeSas, 100);
  const ULONGLONG d = 100 * kGiB;
  const LunFacts raid5 = Lun(VDS_LT_RAID5, VELA_RAID5, 3);
  // Three drives' worth beyond the free room: three drives.
  ExtendDrivePlan plan = PlanExtendDrives(raid5, 3 * d, nullptr, 0, kGiB, 3, drives);
  EXPECT_EQ(plan.hr, S_OK);
  EXPECT_EQ(plan.driveCount2Add, 3u);
  EXPECT_EQ(plan.lists.size(), 3u);
  // Five drives' worth: more than one extension adds.
  EXPECT_EQ(PlanExtendDrives(raid5, 5 * d, nullptr, 0, kGiB, 3, drives).hr, VDS_E_NOT_SUPPORTED);
  // A request near 2^64 ends the search and is refused the same way.
  EXPECT_EQ(PlanExtendDrives(raid5, ExtendBytesRounded(~0ULL), nullptr, 0, 0, 3, drives).hr,
            VDS_E_NOT_SUPPORTED);
  // Member limit of the whole vdisk.
  EXPECT_EQ(PlanExtendDrives(raid5, d, nullptr, 0, 0, 68, drives).hr, VDS_E_NOT_SUPPORTED);
  // No free drive of the type.
  EXPECT_EQ(PlanExtendDrives(raid5, d, nullptr, 0, 0, 3, Same(4, kDriveTypeSata, 100)).hr,
            VDS_E_NOT_ENOUGH_DRIVE);
  // RAID 10: pairs, half of each.
  const LunFacts raid10 = Lun(VDS_LT_RAID10, VELA_RAID10, 4);
  plan = PlanExtendDrives(raid10, d + kMiB, nullptr, 0, 0, 4, drives);
  EXPECT_EQ(plan.driveCount2Add, 4u);
  // RAID 50 of groups of three: always one group.
  const LunFacts raid50 = Lun(VDS_LT_RAID50, VELA_RAID50, 6, 3);
  EXPECT_EQ(PlanExtendDrives(raid50, kMiB, nullptr, 0, 0, 6, drives).driveCount2Add, 3u);
  EXPECT_EQ(PlanExtendDrives(raid50, 4 * d, nullptr, 0, 0, 6, drives).hr, VDS_E_NOT_SUPPORTED);
}

TEST(Extend, NamedDrivesAndRecalculation) {
  std::vector<DriveCandidate> drives = Same(8, kDriveTypeSas, 100);
  const ULONGLONG d = 100 * kGiB;
  const LunFacts raid5 = Lun(VDS_LT_RAID5, VELA_RAID5, 3);
  const std::vector<VDS_OBJECT_ID> two = {drives[4].id, drives[5].id};
  // Size 0 takes all the named drives give, with the free room.
  ExtendDrivePlan plan = PlanExtendDrives(raid5, 0, two.data(), 2, kGiB, 3, drives);
  EXPECT_EQ(plan.hr, S_OK);
  EXPECT_EQ(plan.bytes, 2 * d + kGiB);
  EXPECT_EQ(plan.driveCount2Add, 2u);
  // Not enough: free candidates are appended in list order, skipping the named ones.
  plan = PlanExtendDrives(raid5, 3 * d + kGiB, two.data(), 2, kGiB, 3, drives);
  EXPECT_EQ(plan.hr, S_OK);
  ASSERT_EQ(plan.driveCount2Add, 3u);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(plan.lists.vSn[2].data())), "SN0");
  // A named drive in use.
  drives[5].isFree = false;
  EXPECT_EQ(PlanExtendDrives(raid5, 0, two.data(), 2, 0, 3, drives).hr, VDS_E_DEVICE_IN_USE);
  drives[5].isFree = true;
  // Of another type.
  drives[4].driveType = kDriveTypeSata;
  EXPECT_EQ(PlanExtendDrives(raid5, 0, two.data(), 2, 0, 3, drives).hr, VDS_E_NOT_SUPPORTED);
  drives[4].driveType = kDriveTypeSas;
  // More than the free drives can give.
  EXPECT_EQ(PlanExtendDrives(raid5, 20 * d, two.data(), 2, 0, 3, drives).hr,
            VDS_E_NOT_ENOUGH_DRIVE);

  // The recalculation on its own: a mirror tests only even counts.
  DriveLists lists;
  lists.Append(drives[0]);
  ULONGLONG total = d;
  ULONG count = 1;
  EXPECT_TRUE(ReCalcDriveList(drives, VELA_RAID10, d + 1, 0, &lists, &total, &count));
  EXPECT_EQ(count, 4u) << "two drives give one drive's worth; three are not tested";
}

TEST(Extend, ExpandRequestAndVdiskLookups) {
  uint8_t partSn[32] = {};
  partSn[0] = 0xAB;
  partSn[31] = 0xCD;
  const expandPart request = MakeExpandRequest(2 * kGiB, 10 * kGiB, partSn);
  EXPECT_EQ(request.blockCount, (12 * kGiB) >> 9);
  EXPECT_EQ(request.partitionSerial[0], 0xAB);
  EXPECT_EQ(request.partitionSerial[31], 0xCD);
  EXPECT_EQ(request.vdiskSerial[0], 0);

  auto data = std::make_unique<controllerData>();
  data->numArrays = 2;
  data->arrays[1].serialNumber[0] = 7;
  data->arrays[1].expandableBlocks = (3 * kGiB + 5) >> 9;
  uint8_t serial[32] = {7};
  EXPECT_EQ(FindVdiskBySerial(*data, serial), &data->arrays[1]);
  EXPECT_EQ(MaxPartitionInVdisk(*data, serial), 3 * kGiB);
  serial[0] = 8;
  EXPECT_EQ(FindVdiskBySerial(*data, serial), nullptr);
  EXPECT_EQ(MaxPartitionInVdisk(*data, serial), 0u);
  EXPECT_FALSE(AnyVdiskExpanding(*data));
  data->arrays[0].utilityRunning = 5;
  EXPECT_TRUE(AnyVdiskExpanding(*data));
  data->numArrays = 1000;  // a count beyond the table is bounded
  EXPECT_TRUE(AnyVdiskExpanding(*data));
}

}  // namespace
