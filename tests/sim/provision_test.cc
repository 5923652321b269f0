#include "sim/provision.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <set>

#include "platform/clock.h"
#include "sim/changes.h"
#include "sim/inventory.h"
#include "sim/raid.h"
#include "sim/records_builder.h"
#include "sim/state.h"

namespace sim {
namespace {

Model BlankModel() {
  Model model;
  std::string error;
  EXPECT_TRUE(LoadInventoryFile(VELA_SIM_INVENTORIES "/blank.json", &model, &error)) << error;
  return model;
}

std::vector<DriveRef> Sas(std::initializer_list<int> numbers) {
  std::vector<DriveRef> refs;
  for (int n : numbers) {
    char serial[32];
    std::snprintf(serial, sizeof serial, "KSL0%04dSAS", n);
    refs.push_back({serial, 0, 0});
  }
  return refs;
}

CreateArrayArgs Args(uint8_t level, std::vector<DriveRef> drives, uint8_t perGroup = 0) {
  CreateArrayArgs args;
  args.raidLevel = level;
  args.drives = std::move(drives);
  args.numDrivesPerLowLevelArray = perGroup;
  args.name = "VD";
  return args;
}

// The blank array with a RAID 5 of three drives growing by a fourth, at `rate` percent a second.
Model ExpandingRaid5(double rate, Serial32* serial) {
  Model model = BlankModel();
  model.limits.jobPercentPerSecond = rate;
  size_t index = 0;
  EXPECT_EQ(CreateArray(model, model.subsystems[0], Args(kRaid5, Sas({1, 2, 3})), &index), 0u);
  *serial = model.subsystems[0].vdisks[index].serialNumber;
  EXPECT_EQ(ExpandArray(model.subsystems[0], serial->data(), {{"", 0, 3}}), 0u);
  return model;
}

TEST(Provision, CapacityFollowsTheLevel) {
  struct Case {
    uint8_t level;
    std::vector<DriveRef> drives;
    uint8_t perGroup;
    uint64_t dataDrives;
  };
  const Case cases[] = {
      {kRaid0, Sas({1, 2}), 0, 2},
      {kRaid1, Sas({1, 2}), 0, 1},
      {kRaid5, Sas({1, 2, 3}), 0, 2},
      {kRaid6, Sas({1, 2, 3, 4, 5}), 0, 3},
      {kRaid10, Sas({1, 2, 3, 4}), 0, 2},
      {kNraid, Sas({1}), 0, 1},
      {kRaid50, Sas({1, 2, 3, 4, 5, 6}), 3, 4},
      {kRaid3, Sas({1, 2, 3, 4}), 0, 3},
  };
  for (const Case& c : cases) {
    Model model = BlankModel();
    Subsystem& subsystem = model.subsystems[0];
    size_t index = 0;
    ASSERT_EQ(CreateArray(model, subsystem, Args(c.level, c.drives, c.perGroup), &index), 0u)
        << int(c.level);
    const uint64_t perDrive = UsableDriveBlocks(1172123568, 10);
    EXPECT_EQ(subsystem.vdisks[index].blockCount, perDrive * c.dataDrives) << int(c.level);
    for (const DriveRef& ref : c.drives) {
      EXPECT_EQ(FindDrive(subsystem, ref.serial)->howUsed, kHowUsedMember);
    }
    EXPECT_EQ(subsystem.controllers[0].events.back().eventCode, kEventVdiskCreated);
  }
}

TEST(Provision, CreateRefusesWhatAnArrayRefuses) {
  Model model = BlankModel();
  Subsystem& subsystem = model.subsystems[0];
  size_t index = 0;
  ASSERT_EQ(CreateArray(model, subsystem, Args(kRaid1, Sas({1, 2})), &index), 0u);
  EXPECT_EQ(CreateArray(model, subsystem, Args(kRaid5, Sas({2, 3, 4})), &index),
            kStatusDriveUnavailable);  // drive 2 is a member already
  EXPECT_EQ(CreateArray(model, subsystem, Args(kRaid5, Sas({3, 3, 4})), &index),
            kStatusDriveUnavailable);  // named twice
  EXPECT_EQ(CreateArray(model, subsystem, Args(kRaid5, Sas({3, 4})), &index), kStatusBadLevel);
  EXPECT_EQ(CreateArray(model, subsystem, Args(kRaid6, Sas({3, 4, 5})), &index), kStatusBadLevel);
  std::vector<DriveRef> mixed = Sas({3, 4});
  mixed.push_back({"MW-SATA00001", 0, 0});
  EXPECT_EQ(CreateArray(model, subsystem, Args(kRaid5, mixed), &index), kStatusDriveUnavailable);
  std::vector<DriveRef> seventeen = Sas({3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
  for (int i = 1; i <= 7; ++i) seventeen.push_back({"MW-SATA0000" + std::to_string(i), 0, 0});
  EXPECT_EQ(CreateArray(model, subsystem, Args(kRaid0, seventeen), &index), kStatusTooManyDrives);
  subsystem.controllers[1].controllerState = 1;
  CreateArrayArgs onB = Args(kRaid5, Sas({3, 4, 5}));
  onB.controllerId = 0;
  EXPECT_EQ(CreateArray(model, subsystem, onB, &index), kStatusControllerDown);
  // By location when the serial is left out: (channel 0, scsiId 5) is KSL00006SAS.
  CreateArrayArgs byLocation = Args(kNraid, {{"", 0, 5}});
  ASSERT_EQ(CreateArray(model, subsystem, byLocation, &index), 0u);
  EXPECT_EQ(subsystem.vdisks[index].members[0], "KSL00006SAS");
  std::string why;
  EXPECT_TRUE(CheckInvariants(subsystem, &why)) << why;
}

TEST(Provision, PartitionsFillFreeSpaceFirstFitAndKeepTheCountsTrue) {
  Model model = BlankModel();
  Subsystem& subsystem = model.subsystems[0];
  size_t index = 0;
  ASSERT_EQ(CreateArray(model, subsystem, Args(kRaid5, Sas({1, 2, 3})), &index), 0u);
  const Serial32 vdiskSerial = subsystem.vdisks[index].serialNumber;
  auto add = [&](uint64_t blocks, Partition* made) {
    AddPartitionArgs args;
    args.vdiskSerial = vdiskSerial.data();
    args.blocks = blocks;
    args.name = "P" + std::to_string(blocks);
    return AddPartition(model, subsystem, args, made);
  };
  Partition a, b, c, d;
  ASSERT_EQ(add(4096, &a), 0u);
  ASSERT_EQ(add(8192, &b), 0u);
  ASSERT_EQ(add(2048, &c), 0u);
  EXPECT_EQ(b.offsetBlocks, 4096u);
  EXPECT_EQ(std::set<uint32_t>({a.lun, b.lun, c.lun}).size(), 3u);
  EXPECT_NE(std::memcmp(a.serialNumber.data(), b.serialNumber.data(), 13), 0);
  EXPECT_EQ(add(2047, &d), kStatusVolumeTooSmall);

  ASSERT_EQ(DeletePartition(subsystem, b.serialNumber.data()), 0u);
  const Vdisk& vdisk = subsystem.vdisks[index];
  FreeSpace space = ComputeFreeSpace(vdisk);
  EXPECT_EQ(space.segments, 2u);
  EXPECT_EQ(space.used, 4096u + 2048u);
  ASSERT_EQ(add(6000, &d), 0u);
  EXPECT_EQ(d.offsetBlocks, 4096u);  // the hole left by b
  space = ComputeFreeSpace(vdisk);
  EXPECT_EQ(space.largest, vdisk.blockCount - 14336u);
  ::array record;
  BuildArray(subsystem, index, &record);
  EXPECT_EQ(record.numArrayPartitions, 3);
  EXPECT_EQ(record.numFreeArrayPartitionSegments, 2);
  EXPECT_EQ(record.freeBlocks, vdisk.blockCount - 14336u);
  EXPECT_EQ(add(vdisk.blockCount, &d), kStatusNoSpace);

  // The limits, made small to reach them cheaply.
  model.limits.maxPartitionsPerArray = 3;
  EXPECT_EQ(add(2048, &d), kStatusPartitionLimit);
  model.limits.maxPartitionsPerArray = 128;
  subsystem.controllers[0].maxArrayPartitions = 3;
  EXPECT_EQ(add(2048, &d), kStatusControllerPartitionLimit);
  std::string why;
  EXPECT_TRUE(CheckInvariants(subsystem, &why)) << why;
  // An offline vdisk's volumes go only with the whole vdisk.
  subsystem.vdisks[index].health = kVdiskOffline;
  EXPECT_EQ(DeletePartition(subsystem, a.serialNumber.data()), kStatusVdiskOffline);
  EXPECT_EQ(DeleteArray(subsystem, vdiskSerial.data()), 0u);
  EXPECT_TRUE(CheckInvariants(subsystem, &why)) << why;
}

TEST(Provision, ExpansionRunsAsAJobOnTheScaledClock) {
  // At scale 0 the clock moves by what Sleep asks (plus the few real milliseconds the test
  // takes), so the percentages below don't depend on the machine's load.
  SetTimeScaleForTesting(0);
  Serial32 serial{};
  Model model = ExpandingRaid5(10, &serial);
  Subsystem& subsystem = model.subsystems[0];
  AddPartitionArgs args;
  args.vdiskSerial = serial.data();
  args.blocks = subsystem.vdisks[0].blockCount;
  args.name = "ALL";
  Partition whole;
  ASSERT_EQ(AddPartition(model, subsystem, args, &whole), 0u);
  const uint64_t before = subsystem.vdisks[0].blockCount;
  EXPECT_EQ(subsystem.vdisks[0].utilityRunning, 5);
  EXPECT_EQ(AbortUtility(subsystem, serial.data()), kStatusJobRunning);  // not stoppable
  EXPECT_EQ(ExpandPartition(subsystem, whole.serialNumber.data(), whole.blocks + 2048),
            kStatusJobRunning);

  State state(std::move(model), nullptr);
  Sleep(11000);
  uint64_t expandable = 0, size = 0;
  uint8_t job = 0;
  state.Read([&](const Model& m) {
    expandable = m.subsystems[0].vdisks[0].expandableBlocks;
    size = m.subsystems[0].vdisks[0].blockCount;
    job = m.subsystems[0].vdisks[0].utilityRunning;
  });
  EXPECT_EQ(job, 0);
  EXPECT_EQ(size, before + UsableDriveBlocks(1172123568, 10));
  EXPECT_EQ(expandable, size - before);
  const uint32_t grown = state.Change(0, [&](Model& m) {
    return ExpandPartition(m.subsystems[0], whole.serialNumber.data(), whole.blocks + expandable);
  });
  EXPECT_EQ(grown, 0u);
  state.Read([&](const Model& m) {
    EXPECT_EQ(m.subsystems[0].vdisks[0].expandableBlocks, 0u);
    EXPECT_EQ(m.subsystems[0].vdisks[0].partitions[0].blocks, size);
    EXPECT_EQ(m.subsystems[0].controllers[0].events.back().eventCode, kEventLunModify);
  });
  SetTimeScaleForTesting(1);
}

TEST(Provision, AJobKeepsItsProgressWhenTheRateChanges) {
  SetTimeScaleForTesting(0);
  Serial32 serial{};
  State state(ExpandingRaid5(10, &serial), nullptr);
  auto percent = [&] {
    double value = 0;
    state.Read([&](const Model& m) { value = m.subsystems[0].vdisks[0].jobPercent; });
    return value;
  };
  auto rate = [&](double perSecond) {
    state.Change(SIZE_MAX, [&](Model& m) {
      m.limits.jobPercentPerSecond = perSecond;
      return 0u;
    });
  };
  percent();  // the clock starts here
  Sleep(3000);
  const double atTen = percent();
  EXPECT_GE(atTen, 30);
  EXPECT_LT(atTen, 40);
  // Slower from now on: the job goes on from where it was.
  rate(1);
  Sleep(2000);
  const double atOne = percent();
  EXPECT_GE(atOne, atTen + 2);
  EXPECT_LT(atOne, atTen + 5);
  rate(100);
  Sleep(1000);
  uint8_t job = 1;
  state.Read([&](const Model& m) { job = m.subsystems[0].vdisks[0].utilityRunning; });
  EXPECT_EQ(job, 0) << "ended";
  SetTimeScaleForTesting(1);
}

TEST(Provision, MappingsRoundTripThroughThePartitionView) {
  Model model = BlankModel();
  Subsystem& subsystem = model.subsystems[0];
  size_t index = 0;
  ASSERT_EQ(CreateArray(model, subsystem, Args(kRaid1, Sas({1, 2})), &index), 0u);
  AddPartitionArgs args;
  const Serial32 vdiskSerial = subsystem.vdisks[index].serialNumber;
  args.vdiskSerial = vdiskSerial.data();
  args.blocks = 4096;
  Partition p, q;
  ASSERT_EQ(AddPartition(model, subsystem, args, &p), 0u);
  ASSERT_EQ(AddPartition(model, subsystem, args, &q), 0u);

  ViewChange host;
  host.serial = p.serialNumber.data();
  host.wwpn = {0x21, 0, 0, 0x02, 0x8c, 0x44, 0, 1};
  host.lun = 7;
  host.access.fill(0xC0);
  ASSERT_EQ(ChangeView(subsystem, host), 0u);
  ViewChange clash = host;
  clash.serial = q.serialNumber.data();
  EXPECT_EQ(ChangeView(subsystem, clash), kStatusLunInUse);  // host sees LUN 7 already

  ViewChange removal = host;
  removal.access.fill(0);
  ASSERT_EQ(ChangeView(subsystem, removal), 0u);
  ViewChange everyone;
  everyone.serial = p.serialNumber.data();
  everyone.lun = 3;
  everyone.access.fill(0xC0);
  ASSERT_EQ(ChangeView(subsystem, everyone), 0u);
  std::vector<uint8_t> bytes(kPartitionViewSize);
  partitionView view;
  BuildPartitionView(*FindPartition(subsystem, p.serialNumber.data(), nullptr), bytes.data());
  ASSERT_TRUE(DecodePartitionView(bytes.data(), bytes.size(), &view));
  EXPECT_EQ(view.numElements, 0);
  EXPECT_EQ(view.lun, FindPartition(subsystem, p.serialNumber.data(), nullptr)->lun);
  EXPECT_EQ(view.lun, 3);

  ViewChange hideAll;
  hideAll.serial = p.serialNumber.data();
  hideAll.deleteAll = true;
  ASSERT_EQ(ChangeView(subsystem, hideAll), 0u);
  BuildPartitionView(*FindPartition(subsystem, p.serialNumber.data(), nullptr), bytes.data());
  ASSERT_TRUE(DecodePartitionView(bytes.data(), bytes.size(), &view));
  EXPECT_NE(view.lun, 3);
  EXPECT_EQ(subsystem.controllers[0].events.back().eventCode, kEventLunMapping);
}

TEST(Provision, SparesSnapshotsAndOwners) {
  Model model = BlankModel();
  Subsystem& subsystem = model.subsystems[0];
  for (int i = 1; i <= 8; ++i) {
    ASSERT_EQ(AssignPoolSpare(subsystem, "MW-SATA0000" + std::to_string(i), true), 0u);
  }
  EXPECT_EQ(AssignPoolSpare(subsystem, "KSL00012SAS", true), kStatusSpareLimit);
  ASSERT_EQ(AssignPoolSpare(subsystem, "MW-SATA00008", false), 0u);
  EXPECT_EQ(AssignPoolSpare(subsystem, "MW-SATA00008", false), kStatusDriveUnavailable);

  size_t index = 0;
  ASSERT_EQ(CreateArray(model, subsystem, Args(kRaid5, Sas({1, 2, 3})), &index), 0u);
  const Serial32 vdiskSerial = subsystem.vdisks[index].serialNumber;
  AddPartitionArgs args;
  args.vdiskSerial = vdiskSerial.data();
  args.blocks = 8192;
  args.isSpecial = 1;
  args.specialKind = 1;
  Partition pool, plain;
  ASSERT_EQ(AddPartition(model, subsystem, args, &pool), 0u);
  args.isSpecial = 0;
  ASSERT_EQ(AddPartition(model, subsystem, args, &plain), 0u);
  ASSERT_EQ(ConvertMasterVolume(model, subsystem, plain.serialNumber.data(), true,
                                pool.serialNumber.data()),
            0u);
  EXPECT_EQ(DeletePartition(subsystem, pool.serialNumber.data()), kStatusInUse);
  model.limits.maxSnapshots = 2;
  Serial32 snap;
  ASSERT_EQ(CreateSnapshot(model, subsystem, 0, plain.serialNumber.data(), "S1", &snap), 0u);
  ASSERT_EQ(CreateSnapshot(model, subsystem, 0, plain.serialNumber.data(), "S2", &snap), 0u);
  EXPECT_EQ(CreateSnapshot(model, subsystem, 0, plain.serialNumber.data(), "S3", &snap),
            kStatusSnapshotLimit);
  EXPECT_EQ(subsystem.controllers[0].dmsTag, 3u);
  EXPECT_EQ(ConvertMasterVolume(model, subsystem, plain.serialNumber.data(), false, nullptr),
            kStatusInUse);  // it has snapshots
  model.limits.maxMasterVolumes = 1;
  Partition another;
  ASSERT_EQ(AddPartition(model, subsystem, args, &another), 0u);
  EXPECT_EQ(ConvertMasterVolume(model, subsystem, another.serialNumber.data(), true,
                                pool.serialNumber.data()),
            kStatusPartitionLimit);
  // Snapshots take no space of the vdisk.
  EXPECT_EQ(ComputeFreeSpace(subsystem.vdisks[index]).used, 3u * 8192u);

  ASSERT_EQ(ToggleOwner(subsystem, vdiskSerial.data()), 0u);
  EXPECT_EQ(subsystem.vdisks[index].ownerIndex, 1);
  EXPECT_EQ(subsystem.controllers[1].events.back().eventCode, kEventLunArrive);
  EXPECT_EQ(DeleteArray(subsystem, vdiskSerial.data()), kStatusInUse);  // snapshots depend on it
  std::string why;
  EXPECT_TRUE(CheckInvariants(subsystem, &why)) << why;
}

// Every partition is found by its serial where it lies, and no deleted one is found.
void ExpectLookupsAgree(Subsystem& subsystem, const std::vector<Serial32>& deleted) {
  for (Vdisk& vdisk : subsystem.vdisks) {
    for (Partition& partition : vdisk.partitions) {
      Vdisk* owner = nullptr;
      ASSERT_EQ(FindPartition(subsystem, partition.serialNumber.data(), &owner), &partition);
      ASSERT_EQ(owner, &vdisk);
    }
  }
  for (const Serial32& serial : deleted) {
    ASSERT_EQ(FindPartition(subsystem, serial.data(), nullptr), nullptr);
  }
}

// Random sequences of every change; after each step the records must still make sense.
TEST(Provision, RandomSequencesKeepTheInvariants) {
  std::mt19937 random(12345);
  for (int run = 0; run < 20; ++run) {
    Model model = BlankModel();
    Subsystem& subsystem = model.subsystems[0];
    std::vector<Serial32> deleted;
    for (int step = 0; step < 150; ++step) {
      auto pick = [&](size_t n) { return static_cast<size_t>(random() % n); };
      std::vector<Partition*> partitions;
      for (Vdisk& vdisk : subsystem.vdisks) {
        for (Partition& partition : vdisk.partitions) partitions.push_back(&partition);
      }
      switch (pick(8)) {
        case 0: {
          CreateArrayArgs args;
          args.raidLevel = std::array<uint8_t, 5>{kRaid0, kRaid1, kRaid5, kRaid6, kRaid10}[pick(5)];
          const size_t count = 1 + pick(6);
          for (size_t i = 0; i < count; ++i) {
            args.drives.push_back(
                {subsystem.drives[pick(subsystem.drives.size())].serialNumber, 0, 0});
          }
          args.controllerId = static_cast<uint8_t>(pick(2));
          size_t index = 0;
          CreateArray(model, subsystem, args, &index);
          break;
        }
        case 1:
        case 2:
          if (!subsystem.vdisks.empty()) {
            const Vdisk& vdisk = subsystem.vdisks[pick(subsystem.vdisks.size())];
            AddPartitionArgs args;
            args.vdiskSerial = vdisk.serialNumber.data();
            args.blocks = 1000 + random() % (vdisk.blockCount / 3 + 1);
            Partition made;
            AddPartition(model, subsystem, args, &made);
          }
          break;
        case 3:
          if (!partitions.empty()) {
            const Serial32 serial = partitions[pick(partitions.size())]->serialNumber;
            if (DeletePartition(subsystem, serial.data()) == 0) deleted.push_back(serial);
          }
          break;
        case 4:
          if (!subsystem.vdisks.empty()) {
            const Vdisk& vdisk = subsystem.vdisks[pick(subsystem.vdisks.size())];
            std::vector<Serial32> inside;
            for (const Partition& partition : vdisk.partitions) {
              inside.push_back(partition.serialNumber);
            }
            const Serial32 serial = vdisk.serialNumber;
            if (DeleteArray(subsystem, serial.data()) == 0) {
              deleted.insert(deleted.end(), inside.begin(), inside.end());
            }
          }
          break;
        case 5:
          if (!partitions.empty()) {
            Partition* partition = partitions[pick(partitions.size())];
            ExpandPartition(subsystem, partition->serialNumber.data(),
                            partition->blocks + random() % 100000);
          }
          break;
        case 6:
          if (!subsystem.vdisks.empty()) {
            Vdisk& vdisk = subsystem.vdisks[pick(subsystem.vdisks.size())];
            const Serial32 serial = vdisk.serialNumber;
            ExpandArray(subsystem, serial.data(),
                        {{subsystem.drives[pick(subsystem.drives.size())].serialNumber, 0, 0}});
            if (Vdisk* grown = FindVdisk(subsystem, serial.data(), false);
                grown && grown->utilityRunning) {
              FinishJob(subsystem, *grown);
            }
          }
          break;
        default:
          if (!subsystem.vdisks.empty()) {
            ToggleOwner(subsystem,
                        subsystem.vdisks[pick(subsystem.vdisks.size())].serialNumber.data());
          }
          break;
      }
      std::string why;
      ASSERT_TRUE(CheckInvariants(subsystem, &why))
          << "run " << run << " step " << step << ": " << why;
      ExpectLookupsAgree(subsystem, deleted);
      if (HasFatalFailure()) return;
      ASSERT_TRUE(ValidateModel(model, &why)) << why;
    }
  }
}

}  // namespace
}  // namespace sim
