#include "provisioning/create.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "provisioning/utility.h"
#include "proxy/records_format.h"
#include "tests/provisioning/drives.h"

namespace {

constexpr ULONGLONG kMiB = 1ULL << 20;

VDS_OBJECT_ID DriveId(int n) {
  VDS_OBJECT_ID id{};
  id.Data1 = static_cast<uint32_t>(n + 1);
  return id;
}

// n free healthy drives of one type, then `other` of another type.
std::vector<DriveCandidate> Drives(int n, uint8_t type = kDriveTypeSas, int other = 0) {
  std::vector<DriveCandidate> drives = Same(n, type, 100);
  for (const DriveCandidate& drive : Same(other, kDriveTypeSata, 100, n)) drives.push_back(drive);
  return drives;
}

struct Case {
  const char* what;
  VDS_LUN_TYPE type;
  ULONGLONG size;
  LONG numDrives;  // -100: null list with count 3
  ULONG stripe;
  ULONG maxDrives;
  ULONGLONG mask;
  BOOL mostlyReads;
  HRESULT hr;
  VDS_LUN_TYPE outType;
  UCHAR outLevel;
};

TEST(CreateChecks, OrderTypesAndLevels) {
  constexpr ULONGLONG kMostly = kHintMaskMostlyReads;
  const Case cases[] = {
      {"null list with a count", VDS_LT_SPAN, 1, -100, 8192, 0, 0, 0, E_INVALIDARG, {}, 0},
      {"span before size", VDS_LT_SPAN, 1, 0, 8192, 0, 0, 0, VDS_E_NOT_SUPPORTED, {}, 0},
      {"size below 1 MiB", VDS_LT_STRIPE, kMiB - 1, 0, 0, 0, 0, 0, VDS_E_NOT_SUPPORTED, {}, 0},
      {"size 1 MiB", VDS_LT_STRIPE, kMiB, 0, 0, 0, 0, 0, S_OK, VDS_LT_STRIPE, VELA_RAID0},
      {"size before type",
       static_cast<VDS_LUN_TYPE>(15),
       5,
       0,
       0,
       0,
       0,
       0,
       VDS_E_NOT_SUPPORTED,
       {},
       0},
      {"unknown type", static_cast<VDS_LUN_TYPE>(15), 0, 0, 0, 0, 0, 0, E_INVALIDARG, {}, 0},
      {"stripe on simple", VDS_LT_SIMPLE, 0, 0, 65536, 0, 0, 0, VDS_E_NOT_SUPPORTED, {}, 0},
      {"odd stripe", VDS_LT_PARITY, 0, 0, 8192, 0, 0, 0, E_INVALIDARG, {}, 0},
      {"no drives: non fault tolerant is a stripe", VDS_LT_NON_FAULT_TOLERANT, 0, 0, 0, 0, 0, 0,
       S_OK, VDS_LT_STRIPE, VELA_RAID0},
      {"no drives: parity keeps its type", VDS_LT_PARITY, 0, 0, 0, 0, 0, 0, S_OK, VDS_LT_PARITY,
       VELA_RAID6},
      {"17 drives", VDS_LT_STRIPE, 0, 17, 0, 0, 0, 0, E_INVALIDARG, {}, 0},
      {"negative count reads as many", VDS_LT_STRIPE, 0, -1, 0, 0, 0, 0, E_INVALIDARG, {}, 0},
      {"one-drive stripe", VDS_LT_STRIPE, 0, 1, 0, 0, 0, 0, E_INVALIDARG, {}, 0},
      {"two-drive simple", VDS_LT_SIMPLE, 0, 2, 0, 0, 0, 0, E_INVALIDARG, {}, 0},
      {"two-drive parity", VDS_LT_PARITY, 0, 2, 0, 0, 0, 0, E_INVALIDARG, {}, 0},
      {"odd mirror", VDS_LT_MIRROR, 0, 3, 0, 0, 0, 0, E_INVALIDARG, {}, 0},
      {"odd raid60", VDS_LT_RAID60, 0, 7, 0, 0, 0, 0, E_INVALIDARG, {}, 0},
      {"raid60 at level 0", VDS_LT_RAID60, 0, 8, 0, 0, 0, 0, S_OK, VDS_LT_RAID60, VELA_RAID0},
      {"default of two is a mirror", VDS_LT_DEFAULT, 0, 2, 0, 0, 0, 0, S_OK, VDS_LT_MIRROR,
       VELA_RAID6},
      {"fault tolerant of one is simple", VDS_LT_FAULT_TOLERANT, 0, 1, 0, 0, 0, 0, S_OK,
       VDS_LT_SIMPLE, VELA_RAID6},
      {"fault tolerant of three is parity at RAID 5", VDS_LT_FAULT_TOLERANT, 0, 3, 0, 0, 0, 0, S_OK,
       VDS_LT_PARITY, VELA_RAID5},
      {"non fault tolerant of one", VDS_LT_NON_FAULT_TOLERANT, 0, 1, 0, 0, 0, 0, S_OK,
       VDS_LT_STRIPE, VELA_RAID0},
      {"parity of three at RAID 6 becomes RAID 5", VDS_LT_PARITY, 0, 3, 0, 0, 0, 0, S_OK,
       VDS_LT_PARITY, VELA_RAID5},
      {"parity of five at RAID 6", VDS_LT_PARITY, 0, 5, 0, 0, 0, 0, S_OK, VDS_LT_PARITY,
       VELA_RAID6},
      {"RAID 50 of nine", VDS_LT_PARITY, 0, 9, 0, 0, kMostly | kHintMaskRaid50, TRUE, S_OK,
       VDS_LT_PARITY, VELA_RAID50},
      {"RAID 50 of seven",
       VDS_LT_PARITY,
       0,
       7,
       0,
       0,
       kMostly | kHintMaskRaid50,
       TRUE,
       E_INVALIDARG,
       {},
       0},
      {"RAID 50 of four",
       VDS_LT_PARITY,
       0,
       4,
       0,
       0,
       kMostly | kHintMaskRaid50,
       TRUE,
       E_INVALIDARG,
       {},
       0},
      {"private RAID 5 bit wins over 50", VDS_LT_PARITY, 0, 4, 0, 0,
       kMostly | kHintMaskRaid50 | kHintMaskRaid5, TRUE, S_OK, VDS_LT_PARITY, VELA_RAID5},
      {"max 4 with hot spare is three: RAID 5", VDS_LT_PARITY, 0, 4, 0, 4, kHintMaskHotSpare, 0,
       S_OK, VDS_LT_PARITY, VELA_RAID5},
  };
  const std::vector<DriveCandidate> drives = Drives(20);
  std::vector<VDS_OBJECT_ID> ids;
  for (int i = 0; i < 20; ++i) ids.push_back(DriveId(i));
  for (const Case& c : cases) {
    CreateRequest request;
    request.type = c.type;
    request.size = c.size;
    request.numDrives = c.numDrives == -100 ? 3 : c.numDrives;
    request.drives = c.numDrives == -100 || c.numDrives == 0 ? nullptr : ids.data();
    request.hints.ulStripeSize = c.stripe;
    request.hints.ulMaximumDriveCount = c.maxDrives;
    request.hints.ullHintMask = c.mask;
    request.hints.bMostlyReads = c.mostlyReads;
    const CreateDecision decision = CheckCreateRequest(request, 0, 256, drives);
    EXPECT_EQ(decision.hr, c.hr) << c.what;
    if (c.hr == S_OK) {
      EXPECT_EQ(decision.type, c.outType) << c.what;
      EXPECT_EQ(decision.level, c.outLevel) << c.what;
    }
  }
}

TEST(CreateChecks, LimitFirstMixedTypesBeforeCounts) {
  const std::vector<DriveCandidate> mixed = Drives(2, kDriveTypeSas, 1);
  const VDS_OBJECT_ID ids[] = {DriveId(0), DriveId(1), DriveId(2)};
  CreateRequest request;
  request.type = VDS_LT_STRIPE;
  request.drives = ids;
  request.numDrives = 3;
  // Several faults at once: the LUN limit wins, then the mixed types over the count rules.
  request.type = VDS_LT_SPAN;
  EXPECT_EQ(CheckCreateRequest(request, 256, 256, mixed).hr, VDS_E_PARTITION_LIMIT_REACHED);
  request.type = VDS_LT_MIRROR;  // odd count too
  EXPECT_EQ(CheckCreateRequest(request, 0, 256, mixed).hr, VDS_E_NOT_SUPPORTED);
  // An id no drive has is ignored here (found later as missing).
  const VDS_OBJECT_ID unknown[] = {DriveId(0), DriveId(99)};
  request.drives = unknown;
  request.numDrives = 2;
  EXPECT_EQ(CheckCreateRequest(request, 0, 256, mixed).hr, S_OK);
}

TEST(CreateChecks, NamedDrivesNotFoundThenOfflineThenPoolSpare) {
  std::vector<DriveCandidate> drives = Drives(4);
  const VDS_OBJECT_ID ids[] = {DriveId(0), DriveId(1), DriveId(2)};
  EXPECT_EQ(CheckNamedDrives(drives, ids, 3), S_OK);
  const VDS_OBJECT_ID missing[] = {DriveId(0), DriveId(50)};
  EXPECT_EQ(CheckNamedDrives(drives, missing, 2), VDS_E_OBJECT_NOT_FOUND);
  drives[2].howUsed = 3;
  EXPECT_EQ(CheckNamedDrives(drives, ids, 3), VDS_E_DISK_NOT_EMPTY);
  // An unhealthy drive stops the walk: seen after all others it is offline, else not found.
  drives[2].health = VDS_H_FAILED;
  EXPECT_EQ(CheckNamedDrives(drives, ids, 3), VDS_E_DISK_NOT_ONLINE);
  drives[2].howUsed = 0;
  drives[2].health = VDS_H_HEALTHY;
  drives[0].health = VDS_H_FAILED;
  EXPECT_EQ(CheckNamedDrives(drives, ids, 3), VDS_E_OBJECT_NOT_FOUND);
}

TEST(CreateChecks, SpecialSizesAndLunLimit) {
  CreateRequest request;
  request.size = kMiB;
  request.hints.ullHintMask = kHintMaskSnapshot;
  EXPECT_EQ(CheckSpecialSize(request), VDS_E_NOT_SUPPORTED);
  request.size = 0;
  EXPECT_EQ(CheckSpecialSize(request), S_OK);

  auto data = std::make_unique<controllerData>();
  ULONG limit = kDefaultLunLimit;
  data->controllerState = 2;
  data->controller.maxArrayPartitions = 64;
  EXPECT_FALSE(LunLimitFrom(*data, &limit));
  EXPECT_EQ(limit, 256u);
  data->controllerState = 1;
  EXPECT_TRUE(LunLimitFrom(*data, &limit));
  EXPECT_EQ(limit, 64u);
  data->controller.maxArrayPartitions = 0;
  limit = kDefaultLunLimit;
  EXPECT_TRUE(LunLimitFrom(*data, &limit));
  EXPECT_EQ(limit, 256u);
}

TEST(CreateChecks, Hints2ClearsGatedBitsOnly) {
  VDS_HINTS2 in{};
  in.ullHintMask = 0xFF00000000000000ULL | 0x200 | 0x800 | 0x1000 | 0x2 | 0x400;
  in.bUseMirroredCache = TRUE;
  in.bMostlyReads = TRUE;
  in.ulStripeSize = 65536;
  in.ulMaximumDriveCount = 5;
  in.sRebuildPriority = 7;
  in.BusType = VDSBusTypeSas;
  const VDS_HINTS out = HintsFromHints2(in);
  EXPECT_EQ(out.ullHintMask, 0xFF00000000000000ULL | 0x800 | 0x2 | 0x400);
  EXPECT_TRUE(out.bMostlyReads);
  EXPECT_EQ(out.ulStripeSize, 65536u);
  EXPECT_EQ(out.ulMaximumDriveCount, 5u);
  EXPECT_EQ(out.sRebuildPriority, 7);
}

struct PlanCase {
  const char* what;
  VDS_LUN_TYPE type;
  UCHAR level;
  double sizeInDrives;  // request in units of one drive
  ULONG found;
  HRESULT hr;
  VDS_LUN_TYPE outType;
  ULONG needed;
  uint8_t width;
};

TEST(NewVdisk, DriveCountBySize) {
  const PlanCase cases[] = {
      {"stripe, largest", VDS_LT_STRIPE, VELA_RAID0, 0, 6, S_OK, VDS_LT_STRIPE, 2, 0},
      {"stripe, 2.5 drives", VDS_LT_STRIPE, VELA_RAID0, 2.5, 6, S_OK, VDS_LT_STRIPE, 3, 0},
      {"mirror, 1.5 drives", VDS_LT_MIRROR, VELA_RAID1, 1.5, 6, S_OK, VDS_LT_MIRROR, 4, 0},
      {"RAID 5, 3.5 drives", VDS_LT_RAID5, VELA_RAID5, 3.5, 6, S_OK, VDS_LT_RAID5, 5, 0},
      {"RAID 6, 2 drives", VDS_LT_RAID6, VELA_RAID6, 2, 6, S_OK, VDS_LT_RAID6, 4, 0},
      {"RAID 50, 5.5 drives: 6, 7 untested, 8", VDS_LT_PARITY, VELA_RAID50, 5.5, 12, S_OK,
       VDS_LT_PARITY, 8, 4},
      {"RAID 50, 6.5 drives: 8 and 9 give 6, 10 gives 8", VDS_LT_PARITY, VELA_RAID50, 6.5, 12, S_OK,
       VDS_LT_PARITY, 10, 5},
      {"RAID 50 largest", VDS_LT_PARITY, VELA_RAID50, 0, 12, S_OK, VDS_LT_PARITY, 6, 0},
      {"default: simple on one", VDS_LT_DEFAULT, VELA_RAID6, 0, 6, S_OK, VDS_LT_SIMPLE, 1, 0},
      {"simple larger than a drive", VDS_LT_SIMPLE, VELA_NRAID, 1.5, 6, E_INVALIDARG, {}, 0, 0},
      {"stripe larger than all", VDS_LT_STRIPE, VELA_RAID0, 7, 6, VDS_E_NOT_ENOUGH_DRIVE, {}, 0, 0},
      {"raid60 never fits", VDS_LT_RAID60, VELA_RAID0, 1, 10, VDS_E_NOT_ENOUGH_DRIVE, {}, 0, 0},
      {"raid60 largest has no count",
       VDS_LT_RAID60,
       VELA_RAID0,
       0,
       10,
       VDS_E_NOT_ENOUGH_DRIVE,
       {},
       0,
       0},
      {"no drives", VDS_LT_STRIPE, VELA_RAID0, 0, 0, VDS_E_NOT_ENOUGH_DRIVE, {}, 0, 0},
      {"one drive for a mirror", VDS_LT_MIRROR, VELA_RAID1, 0, 1, VDS_E_NOT_ENOUGH_DRIVE, {}, 0, 0},
      {"three drives at RAID 6", VDS_LT_PARITY, VELA_RAID6, 0, 3, VDS_E_NOT_ENOUGH_DRIVE, {}, 0, 0},
      {"five drives at RAID 50",
       VDS_LT_PARITY,
       VELA_RAID50,
       0,
       5,
       VDS_E_NOT_ENOUGH_DRIVE,
       {},
       0,
       0},
  };
  constexpr ULONGLONG kDrive = 100 * kGiB;
  for (const PlanCase& c : cases) {
    const auto size = static_cast<ULONGLONG>(c.sizeInDrives * static_cast<double>(kDrive));
    const NewVdiskDrives plan =
        PlanSelectedDrives(c.type, c.level, size, c.found, kDrive * c.found, true);
    EXPECT_EQ(plan.hr, c.hr) << c.what;
    if (c.hr != S_OK) continue;
    EXPECT_EQ(plan.type, c.outType) << c.what;
    EXPECT_EQ(plan.needed, c.needed) << c.what;
    EXPECT_EQ(plan.groupWidth, c.width) << c.what;
  }
  // A size near 2^64 ends the search instead of wrapping.
  EXPECT_EQ(PlanSelectedDrives(VDS_LT_STRIPE, VELA_RAID0, ~0ULL, 16, ~0ULL, true).hr,
            VDS_E_NOT_ENOUGH_DRIVE);
}

TEST(NewVdisk, ControllerAndPartitionSize) {
  auto data = std::make_unique<controllerData>();
  ULONG maxPerController = 128;
  data->controller.maxArrayPartitions = 20;
  data->numPartitions = 9;
  EXPECT_TRUE(ControllerTakesNewVdisk(*data, &maxPerController));
  EXPECT_EQ(maxPerController, 10u);
  data->numPartitions = 10;
  EXPECT_FALSE(ControllerTakesNewVdisk(*data, &maxPerController));
  data->numPartitions = 0;
  data->controllerState = 3;
  EXPECT_FALSE(ControllerTakesNewVdisk(*data, &maxPerController));

  array vdisk{};
  vdisk.freeBlocks = (10 * kGiB + 3 * 512) >> 9;
  EXPECT_EQ(NewVdiskPartitionSize(0, vdisk), 10 * kGiB);
  EXPECT_EQ(NewVdiskPartitionSize(11 * kGiB, vdisk), 10 * kGiB);
  EXPECT_EQ(NewVdiskPartitionSize(5 * kGiB, vdisk), 5 * kGiB);

  EXPECT_EQ(NewVdiskPartitionResult(0), S_OK);
  EXPECT_EQ(NewVdiskPartitionResult(78), VDS_E_VOLUME_TOO_SMALL);
  EXPECT_EQ(NewVdiskPartitionResult(215), VDS_E_PARTITION_LIMIT_REACHED);
  EXPECT_EQ(NewVdiskPartitionResult(0x24), VDS_E_INTERNAL_ERROR);
  EXPECT_EQ(AddedPartitionResult(214), VDS_E_PARTITION_LIMIT_REACHED);
  EXPECT_EQ(AddedPartitionResult(-1), S_FALSE);
  EXPECT_EQ(SnapshotResult(187), VDS_E_PARTITION_LIMIT_REACHED);
  EXPECT_EQ(SnapshotResult(5), S_FALSE);
}

array Vdisk(UCHAR level, uint32_t drives, uint32_t stripeKB, ULONGLONG freeBytes) {
  array vdisk{};
  vdisk.raidLevel = level;
  vdisk.numDrives = drives;
  vdisk.stripeSizeKB = stripeKB;
  vdisk.freeBlocks = freeBytes >> 9;
  return vdisk;
}

TEST(AddedPartition, WhatSkipsAVdisk) {
  const array raid5 = Vdisk(VELA_RAID5, 4, 64, 10 * kGiB);
  EXPECT_FALSE(SkipVdiskForPartition(raid5, VDS_LT_RAID5, VELA_RAID5, 0, 0));
  EXPECT_FALSE(SkipVdiskForPartition(raid5, VDS_LT_RAID5, VELA_RAID5, 65536, kGiB));
  EXPECT_TRUE(SkipVdiskForPartition(raid5, VDS_LT_RAID5, VELA_RAID5, 32768, 0)) << "stripe";
  EXPECT_TRUE(SkipVdiskForPartition(raid5, VDS_LT_RAID5, VELA_RAID5, 0, 11 * kGiB)) << "size";
  EXPECT_TRUE(SkipVdiskForPartition(raid5, VDS_LT_RAID6, VELA_RAID6, 0, 0)) << "type";
  EXPECT_TRUE(SkipVdiskForPartition(raid5, VDS_LT_DEFAULT, VELA_RAID5, 0, 0)) << "abstract";
  EXPECT_TRUE(SkipVdiskForPartition(raid5, VDS_LT_PARITY, VELA_RAID6, 0, 0)) << "level";
  array full = raid5;
  full.numArrayPartitions = 128;
  EXPECT_TRUE(SkipVdiskForPartition(full, VDS_LT_RAID5, VELA_RAID5, 0, 0));
  array offline = raid5;
  offline.health = 4;
  EXPECT_TRUE(SkipVdiskForPartition(offline, VDS_LT_RAID5, VELA_RAID5, 0, 0));
  EXPECT_TRUE(
      SkipVdiskForPartition(Vdisk(VELA_RAID5, 4, 64, kMiB - 1024), VDS_LT_RAID5, VELA_RAID5, 0, 0))
      << "under 1 MiB free";
  // Mirrors: a stripe is refused on two members and compared on four.
  EXPECT_TRUE(SkipVdiskForPartition(Vdisk(VELA_RAID1, 2, 64, kGiB), VDS_LT_MIRROR, 12, 65536, 0));
  EXPECT_FALSE(SkipVdiskForPartition(Vdisk(VELA_RAID1, 4, 64, kGiB), VDS_LT_MIRROR, 12, 65536, 0));
  EXPECT_FALSE(SkipVdiskForPartition(Vdisk(VELA_RAID1, 2, 64, kGiB), VDS_LT_MIRROR, 12, 0, 0));
  // Huge free counts compare without wrapping.
  array huge = Vdisk(VELA_RAID0, 2, 64, 0);
  huge.freeBlocks = ~0ULL;
  EXPECT_FALSE(SkipVdiskForPartition(huge, VDS_LT_STRIPE, 12, 0, ~0xFFFFFULL));
  EXPECT_EQ(WantedVdiskLevel(VDS_LT_PARITY, VELA_RAID50), VELA_RAID50);
  EXPECT_EQ(WantedVdiskLevel(VDS_LT_RAID30, 0), VELA_RAID30);
  EXPECT_EQ(WantedVdiskLevel(VDS_LT_MIRROR, VELA_RAID1), 12);
}

TEST(AddedPartition, EntriesAndSnapshotsBySerial) {
  std::vector<backingStoreEntry> stores(2);
  stores[0].id[0] = 1;
  stores[1].id[0] = 2;
  uint8_t serial[32] = {};
  serial[0] = 0xAB;
  stores[1].vdiskSerial[0] = 0xAB;
  EXPECT_EQ(EntryIdForVdisk(stores, serial)[0], 2);
  serial[0] = 0xCD;
  EXPECT_EQ(EntryIdForVdisk(stores, serial)[0], 1);

  auto data = std::make_unique<controllerData>();
  data->numArrays = 2;
  data->arrays[0].numArrayPartitions = 1;
  data->arrays[1].numArrayPartitions = 2;
  uint8_t snap[16] = {7, 7};
  for (auto* part : {&data->partitions[0][0], &data->partitions[1][1]}) {
    part->type = 3;
    std::memcpy(part->serialNumber, snap, sizeof(snap));
  }
  data->partitions[1][0].type = 0;
  std::memcpy(data->partitions[1][0].serialNumber, snap, sizeof(snap));
  EXPECT_EQ(FindSnapshotPartition(*data, snap), &data->partitions[1][1]) << "the last match";
  snap[0] = 8;
  EXPECT_EQ(FindSnapshotPartition(*data, snap), nullptr);
}

}  // namespace
