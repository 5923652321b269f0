#include "sim/records_builder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "sim/changes.h"
#include "sim/inventory.h"

namespace sim {
namespace {

// Two controllers; vdisk V0 owned by A, V1 by B with two partitions.
Model TwoVdisks() {
  const char* text = R"({"subsystems": [{"uniqueSn": "SUB1", "systemName": "box",
    "controllers": [{"handle": 11, "controllerId": 1, "raid6": true, "maxArrayPartitions": 64,
                     "ports": [{"type": "fc", "wwpn": "2070000000000001"}]},
                    {"handle": 12, "controllerId": 0,
                     "ports": [{"type": "sas", "sasId": "5000000000000002"}]}],
    "enclosures": [{"number": 0, "slots": 12}],
    "drives": [{"count": 6, "serialNumber": "D{n}", "type": 4, "blocks": 4294967296,
                "channel": 1, "scsiId": 0, "slotNumber": 0}],
    "vdisks": [{"name": "V0", "raidLevel": 1, "members": ["D0001", "D0002"], "owner": "A"},
               {"name": "V1", "raidLevel": 5, "members": ["D0003", "D0004", "D0005"],
                "spares": ["D0006"], "owner": "B",
                "partitions": [{"name": "P0", "blocks": 1000, "lun": 3},
                               {"name": "P1", "blocks": 2000, "lun": 4, "offsetBlocks": 5000}]}]
  }]})";
  Model model;
  std::string error;
  EXPECT_TRUE(ParseInventory(text, &model, &error)) << error;
  return model;
}

std::unique_ptr<controllerData> Record(const Subsystem& subsystem, size_t index) {
  std::vector<uint8_t> bytes(kControllerDataSize);
  BuildControllerData(subsystem, index, bytes.data());
  auto record = std::make_unique<controllerData>();
  EXPECT_TRUE(DecodeControllerData(bytes.data(), bytes.size(), record.get()));
  return record;
}

TEST(RecordsBuilder, BothControllersListEveryDriveAndOnlyTheOwnerItsVdisks) {
  Model model = TwoVdisks();
  const Subsystem& subsystem = model.subsystems[0];
  auto a = Record(subsystem, 0);
  auto b = Record(subsystem, 1);

  for (controllerData* record : {a.get(), b.get()}) {
    EXPECT_EQ(record->status, 0u);
    ASSERT_EQ(record->numDrives, 6u);
    EXPECT_STREQ(record->UniqueSn, "SUB1");
    EXPECT_EQ(record->controllerState, 0);
    // The drive in a vdisk of B carries the short serial of that vdisk in both records.
    const auto shortSerial = VdiskShortSerial(subsystem.vdisks[1].serialNumber);
    EXPECT_EQ(std::memcmp(record->drives[2].vdiskSerial, shortSerial.data(), 7), 0);
    EXPECT_EQ(record->drives[2].howUsed, kHowUsedMember);
    EXPECT_EQ(record->drives[2].memberOrder, 0);
    EXPECT_EQ(record->drives[3].memberOrder, 1);
    EXPECT_EQ(record->drives[5].howUsed, kHowUsedDedicatedSpare);
    EXPECT_EQ(record->drives[5].containerIndex, kNoIndex);
    EXPECT_EQ(DriveBlockCount(record->drives[0]), 4294967296u);
    EXPECT_EQ(record->drives[0].realBlockCountHi, 1u);
  }
  ASSERT_EQ(a->numArrays, 1u);
  ASSERT_EQ(b->numArrays, 1u);
  EXPECT_STREQ(a->arrays[0].name, "V0");
  EXPECT_EQ(a->arrays[0].owner, 1);
  EXPECT_EQ(a->numPartitions, 0u);
  EXPECT_STREQ(b->arrays[0].name, "V1");
  EXPECT_EQ(b->arrays[0].owner, 0);
  EXPECT_EQ(b->arrays[0].numDrives, 3u);
  EXPECT_EQ(b->arrays[0].numSpares, 1u);
  EXPECT_EQ(b->arrays[0].numArrayPartitions, 2);
  EXPECT_EQ(b->numPartitions, 2u);
  EXPECT_STREQ(b->partitions[0][1].name, "P1");
  EXPECT_EQ(b->partitions[0][1].lun, 4u);
  EXPECT_EQ(b->partitions[0][1].blockCount, 2000u);
  // Member locations are (channel, scsiId) as the provider builds them.
  EXPECT_EQ(b->arrays[0].memberDrive[1].driveLocation.channelIndex, 1u);
  EXPECT_EQ(b->arrays[0].memberDrive[1].driveLocation.driveIndex, 3u);
  // Free space: [1000, 5000) and [7000, end): the larger one is the tail.
  const uint64_t size = subsystem.vdisks[1].blockCount;
  EXPECT_EQ(b->arrays[0].numFreeArrayPartitionSegments, 2);
  EXPECT_EQ(b->arrays[0].freeBlocks, size - 7000);
  // Each controller's member drives sit in its own container table.
  EXPECT_EQ(a->drives[0].containerIndex, 0);
  EXPECT_EQ(a->drives[2].containerIndex, 0);
}

TEST(RecordsBuilder, ControllerFieldsAndPorts) {
  Model model = TwoVdisks();
  auto a = Record(model.subsystems[0], 0);
  EXPECT_EQ(a->controller.controllerId, 1);
  EXPECT_EQ(a->controller.capabilities & 0x200000u, 0x200000u);
  EXPECT_EQ(a->controller.maxArrayPartitions, 64u);
  EXPECT_EQ(a->controller.numPorts, 1u);
  EXPECT_EQ(a->controller.ports[0].hostPortType, kPortTypeFc);
  EXPECT_EQ(a->controller.ports[0].wwpn[7], 1);
  EXPECT_EQ(a->controller.partnerPorts[0].hostPortType, kPortTypeSas);
  EXPECT_EQ(a->controller.partnerPorts[0].sasPortId[0], 0x50);
  EXPECT_STREQ(a->advNetInterface.systemName, "box");
  EXPECT_EQ(a->enclosureCount, 1u);
  EXPECT_EQ(a->enclosures[0].enclosureDrives, 12);
}

TEST(RecordsBuilder, FailedAndPulledDrivesShowAsAnArrayDoes) {
  Model model = TwoVdisks();
  Subsystem& subsystem = model.subsystems[0];
  std::string why;
  ASSERT_TRUE(FailDrive(subsystem, "D0003", &why));
  ASSERT_TRUE(PullDrive(subsystem, "D0004", &why));
  EXPECT_EQ(subsystem.vdisks[1].health, kVdiskFailed);  // RAID 5 lost two members
  auto b = Record(subsystem, 1);
  ASSERT_EQ(b->numDrives, 5u);  // the pulled drive left the list
  EXPECT_EQ(b->drives[2].howUsed, kHowUsedFailed);
  EXPECT_EQ(b->arrays[0].health, kVdiskFailed);
  EXPECT_EQ(b->arrays[0].memberDrive[0].driveLocation.channelIndex, kNoLocation);
  EXPECT_EQ(b->arrays[0].memberDrive[1].driveLocation.driveIndex, kNoLocation);
  EXPECT_EQ(b->arrays[0].memberDrive[2].driveLocation.driveIndex, 4u);
  // Both controllers logged both drive events; the owner also logged the health change.
  const Controller& owner = subsystem.controllers[1];
  ASSERT_EQ(owner.events.size(), 4u);
  EXPECT_EQ(owner.events[0].eventCode, kEventDriveFailed);
  EXPECT_EQ(owner.events[0].driveSerial, "D0003");
  EXPECT_EQ(owner.events[1].eventCode, kEventVdiskHealth);
  EXPECT_EQ(owner.events[2].eventCode, kEventDriveDepart);
  EXPECT_EQ(owner.events[3].sequenceNumber, 4u);
  EXPECT_EQ(subsystem.controllers[0].events.size(), 2u);
}

// The view is written straight into the reply; it must match, byte for byte, what encoding a
// view record gives, whatever the buffer held before.
TEST(RecordsBuilder, PartitionViewBytesMatchTheEncodedRecord) {
  Partition partition;
  partition.lun = 12;
  for (size_t hosts : {size_t{0}, size_t{1}, kMaxHostsPerView, kMaxHostsPerView + 1}) {
    partition.allHosts = hosts == 0;
    partition.hosts.clear();
    for (size_t i = 0; i < hosts; ++i) {
      HostMapping host;
      host.hostType = i % 2 ? 1 : 16;
      host.wwpn = {0x21, 0, 0, 0, 0, 0, static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)};
      host.lun = static_cast<uint16_t>(300 + i);
      host.access.fill(static_cast<uint8_t>(i));
      host.ipAddress.fill(static_cast<uint8_t>(0x80 | i));
      host.hostName = std::string(i % 230, static_cast<char>('a' + i % 26));
      partition.hosts.push_back(host);
    }
    auto expected = std::make_unique<partitionView>();
    expected->lun = static_cast<uint16_t>(partition.allHosts ? partition.lun : 0xFFFF);
    if (partition.allHosts) std::memset(expected->reserved_12 + 2, 0xC0, 8);
    const size_t listed = std::min(hosts, kMaxHostsPerView);
    expected->numElements = static_cast<uint16_t>(listed);
    for (size_t i = 0; i < listed; ++i) {
      const HostMapping& in = partition.hosts[i];
      std::memcpy(expected->hostWwpn[i], in.wwpn.data(), 8);
      expected->hostMap[i].lun = in.lun;
      std::memcpy(expected->hostMap[i].access, in.access.data(), 8);
      expected->hostAddress[i].hostType = in.hostType;
      std::memcpy(expected->hostAddress[i].wwpn, in.wwpn.data(), 8);
      expected->hostAddress[i].lun = in.lun;
      std::memcpy(expected->hostAddress[i].ipAddress, in.ipAddress.data(), 16);
      std::memcpy(expected->hostName[i], in.hostName.data(),
                  std::min(in.hostName.size(), sizeof(expected->hostName[i])));
    }
    std::vector<uint8_t> want(kPartitionViewSize);
    EncodePartitionView(*expected, want.data());
    std::vector<uint8_t> got(kPartitionViewSize, 0xAB);
    BuildPartitionView(partition, got.data());
    EXPECT_EQ(got, want) << hosts << " hosts";
  }
}

TEST(RecordsBuilder, SerialsAreUniqueInTheBytesThatIdentifyThem) {
  Model model;
  const Serial32 a = NewVdiskSerial(model);
  const Serial32 b = NewVdiskSerial(model);
  EXPECT_NE(VdiskShortSerial(a), VdiskShortSerial(b));
  const Serial32 p = NewPartitionSerial(model);
  const Serial32 q = NewPartitionSerial(model);
  EXPECT_NE(std::memcmp(p.data(), q.data(), 13), 0);
  EXPECT_EQ(p[0], 0x02);
  EXPECT_EQ(p[1], 0x56);
  EXPECT_EQ(p[2], 0x4C);
}

}  // namespace
}  // namespace sim
