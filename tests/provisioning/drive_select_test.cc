#include "provisioning/drive_select.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "provisioning/utility.h"
#include "proxy/records_format.h"
#include "tests/provisioning/drives.h"

namespace {

TEST(DriveSelect, NamedDrivesRunningMinimumAndFreedom) {
  std::vector<DriveCandidate> drives = {Drive(0, kDriveTypeSas, 100), Drive(1, kDriveTypeSas, 50),
                                        Drive(2, kDriveTypeSas, 200)};
  drives[2].flags = VDS_DF_HOTSPARE;
  // The caller's order doesn't matter: the walk follows the drive list.
  const VDS_OBJECT_ID ids[] = {drives[2].id, drives[0].id, drives[1].id};
  DriveLists lists;
  ULONGLONG total = 0;
  EXPECT_FALSE(DriveGuids2VelaSn(drives, ids, 3, 0, &lists, &total));
  EXPECT_EQ(total, (100 + 50 + 50) * kGiB);
  ASSERT_EQ(lists.size(), 3u);
  EXPECT_EQ(lists.vLoca[1].driveIndex, 1u);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(lists.vSn[2].data())), "SN2");
  // A fixed size above every drive leaves the lists empty and the answer true.
  drives[2].flags = 0;
  DriveLists none;
  EXPECT_TRUE(DriveGuids2VelaSn(drives, ids, 3, 300 * kGiB, &none, &total));
  EXPECT_EQ(none.size(), 0u);
  EXPECT_EQ(total, 0u);
}

TEST(DriveSelect, SameTypeIgnoresUnknownIds) {
  const std::vector<DriveCandidate> drives = {Drive(0, kDriveTypeSas, 1),
                                              Drive(1, kDriveTypeSata, 1)};
  VDS_OBJECT_ID unknown{};
  unknown.Data1 = 99;
  const VDS_OBJECT_ID both[] = {drives[0].id, drives[1].id};
  const VDS_OBJECT_ID one[] = {drives[0].id, unknown};
  EXPECT_FALSE(HasSameDriveType(drives, both, 2));
  EXPECT_TRUE(HasSameDriveType(drives, one, 2));
  EXPECT_TRUE(HasSameDriveType(drives, kDriveTypeSas, one, 2));
  EXPECT_FALSE(HasSameDriveType(drives, kDriveTypeSas, both, 2));
}

struct SeekCase {
  const char* what;
  UCHAR level;
  VDS_LUN_TYPE type;
  ULONG spares;
  ULONG count;
  ULONGLONG totalDrives;  // in drives of 10 GiB
};

TEST(DriveSelect, GroupLimitsBySpareAndLevel) {
  const std::vector<DriveCandidate> drives = Same(20, kDriveTypeSata, 10);
  const SeekCase cases[] = {
      {"parity at RAID 6", VELA_RAID6, VDS_LT_PARITY, 0, 16, 16},
      {"with a spare", VELA_RAID6, VDS_LT_PARITY, 1, 17, 16},
      {"parity at RAID 50", VELA_RAID50, VDS_LT_PARITY, 0, 20, 20},
      {"RAID 30 stops at 16", VELA_RAID30, VDS_LT_RAID30, 0, 16, 16},
      {"simple takes one", VELA_NRAID, VDS_LT_SIMPLE, 0, 1, 1},
  };
  for (const SeekCase& c : cases) {
    DriveLists lists;
    ULONGLONG total = 0;
    EXPECT_EQ(SeekNewDrivesForCreate(drives, 1, c.level, c.type, c.spares, &lists, &total), c.count)
        << c.what;
    EXPECT_EQ(total, c.totalDrives * 10 * kGiB) << c.what;
  }
}

TEST(DriveSelect, LargestTotalWinsAndClassesAreFiltered) {
  // Four SAS of 100 GiB against six SATA of 50: the SATA group holds less (300 < 400).
  std::vector<DriveCandidate> drives = Same(6, kDriveTypeSata, 50);
  for (const DriveCandidate& drive : Same(4, kDriveTypeSas, 100, 6)) drives.push_back(drive);
  DriveLists lists;
  ULONGLONG total = 0;
  EXPECT_EQ(SeekNewDrivesForCreate(drives, 1, VELA_RAID5, VDS_LT_RAID5, 0, &lists, &total), 4u);
  EXPECT_EQ(total, 400 * kGiB);
  EXPECT_EQ(lists.vLoca[0].driveIndex, 6u);
  // Equal totals: SATA was found first.
  std::vector<DriveCandidate> equal = Same(4, kDriveTypeSas, 100, 0);
  for (const DriveCandidate& drive : Same(4, kDriveTypeSata, 100, 4)) equal.push_back(drive);
  DriveLists first;
  EXPECT_EQ(SeekNewDrivesForCreate(equal, 1, VELA_RAID5, VDS_LT_RAID5, 0, &first, &total), 4u);
  EXPECT_EQ(first.vLoca[0].driveIndex, 4u);
  // Only SAS allowed; none allowed at all; SSD codes never chosen.
  DriveLists sas;
  EXPECT_EQ(SeekNewDrivesForCreate(equal, kDriveTypeSas, VELA_RAID5, VDS_LT_RAID5, 0, &sas, &total),
            4u);
  EXPECT_EQ(sas.vLoca[0].driveIndex, 0u);
  DriveLists nothing;
  total = 7;
  EXPECT_EQ(SeekNewDrivesForCreate(equal, 0, VELA_RAID5, VDS_LT_RAID5, 0, &nothing, &total), 0u);
  EXPECT_EQ(total, 7u);
  EXPECT_EQ(
      SeekNewDrivesForCreate(Same(8, 7, 100), 1, VELA_RAID0, VDS_LT_STRIPE, 0, &nothing, &total),
      0u);
  // Larger drives are counted at the group's size; too few for the type gives 0.
  EXPECT_EQ(SeekNewDrivesForCreate(Same(2, kDriveTypeSas, 10), 1, VELA_RAID5, VDS_LT_RAID5, 0,
                                   &nothing, &total),
            0u);
  // Busy, spare and failing drives are no candidates.
  std::vector<DriveCandidate> busy = Same(3, kDriveTypeSas, 10);
  busy[0].isFree = false;
  EXPECT_EQ(SeekNewDrivesForCreate(busy, 1, VELA_RAID5, VDS_LT_RAID5, 0, &nothing, &total), 0u);
}

TEST(DriveSelect, MembershipAgainstTheRecord) {
  auto data = std::make_unique<controllerData>();
  uint8_t vdiskSerial[32] = {};
  for (int i = 0; i < 32; ++i) vdiskSerial[i] = static_cast<uint8_t>(i + 1);
  data->numDrives = 4;
  for (int i = 0; i < 4; ++i) {
    drive& record = data->drives[i];
    std::snprintf(record.serialNumber, sizeof(record.serialNumber), "SN%d", i);
    record.howUsed = i == 2 ? 2 : 1;  // drive 2 is the vdisk's spare
    if (i < 3) VdiskShortSerial(vdiskSerial, record.vdiskSerial);
  }
  auto serials = [](std::vector<int> numbers) {
    std::vector<DriveSerial> out;
    for (int n : numbers) out.push_back(Drive(n, 0, 0).serial);
    return out;
  };
  EXPECT_TRUE(HasSameMemberDrives(*data, vdiskSerial, serials({0, 1, 2})));
  EXPECT_FALSE(HasSameMemberDrives(*data, vdiskSerial, serials({0, 1})));
  EXPECT_FALSE(HasSameMemberDrives(*data, vdiskSerial, serials({0, 1, 2, 3})));
  EXPECT_TRUE(IsVdiskContainDrives(*data, vdiskSerial, serials({1, 0})));
  EXPECT_FALSE(IsVdiskContainDrives(*data, vdiskSerial, serials({2})));
  EXPECT_TRUE(IsVdiskContainDrives(*data, vdiskSerial, {}));
}

}  // namespace
