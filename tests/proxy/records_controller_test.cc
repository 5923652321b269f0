// controllerData and its sub-records: hand-written bytes at the documented offsets, decoded
// field by field and encoded back.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "proxy/byte_order.h"
#include "proxy/records.h"

namespace {

// Absolute offsets inside controllerData of table entries.
constexpr size_t kDrivesAt = 0x15f34;
constexpr size_t kArraysAt = 0x22e40;
constexpr size_t kPartitionsAt = 0x2f6c4;
constexpr size_t kPortsAt = 0x388;
constexpr size_t DriveAt(size_t i) { return kDrivesAt + i * kDriveSize; }
constexpr size_t ArrayAt(size_t i) { return kArraysAt + i * kArraySize; }
constexpr size_t PartitionAt(size_t a, size_t n) {
  return kPartitionsAt + (a * kMaxArrayPartitions + n) * kPartitionSize;
}
constexpr size_t PortAt(size_t i) { return kPortsAt + i * kPortSize; }

class ControllerDataTest : public ::testing::Test {
 protected:
  ControllerDataTest() : wire_(kControllerDataSize), cd_(std::make_unique<controllerData>()) {}

  bool Decode() { return DecodeControllerData(wire_.data(), wire_.size(), cd_.get()); }
  std::vector<uint8_t> Encode() const {
    std::vector<uint8_t> out(kControllerDataSize);
    EncodeControllerData(*cd_, out.data());
    return out;
  }

  std::vector<uint8_t> wire_;
  std::unique_ptr<controllerData> cd_;
};

TEST_F(ControllerDataTest, TopLevelFieldsAtTheirOffsets) {
  put_be32(0, wire_.data() + 0x4);
  put_be32(3, wire_.data() + 0x6084);
  put_be32(2, wire_.data() + 0x15f30);
  put_be32(5, wire_.data() + 0x22e3c);
  put_be32(77, wire_.data() + 0x2f6c0);
  std::memcpy(wire_.data() + 0x2676c4, "SUBSYS-0001", 11);
  wire_[0x2676e4] = 1;

  ASSERT_TRUE(Decode());
  EXPECT_EQ(cd_->status, 0u);
  EXPECT_EQ(cd_->enclosureCount, 3u);
  EXPECT_EQ(cd_->numDrives, 2u);
  EXPECT_EQ(cd_->numArrays, 5u);
  EXPECT_EQ(cd_->numPartitions, 77u);
  EXPECT_STREQ(cd_->UniqueSn, "SUBSYS-0001");
  EXPECT_EQ(cd_->controllerState, kControllerStateOfflineWithInventory);
  EXPECT_EQ(Encode(), wire_);
}

TEST_F(ControllerDataTest, ControllerFieldsAndNativeOrderWords) {
  put_be32(4, wire_.data() + 0x1c);
  put_be32(2, wire_.data() + 0x20);
  put_be32(VELA_CAPABILITY_RAID6 | 1, wire_.data() + 0x28);
  wire_[0x40 + 0x16] = VELA_CONTROLLER_MODE_AA_DUAL_PORT_ULP;
  put_be32(35, wire_.data() + 0x174);
  wire_[0x2c0] = kControllerIdA;
  wire_[0x306b] = 0x5a;
  std::memcpy(wire_.data() + 0x53f0, "FW-4.2", 6);
  std::memcpy(wire_.data() + 0x5454, "CTRL-SERIAL", 11);
  wire_[0x5748] = 1;
  put_le32(1024, wire_.data() + 0x5854);
  put_le32(512, wire_.data() + 0x585c);

  ASSERT_TRUE(Decode());
  const controller& c = cd_->controller;
  EXPECT_EQ(c.numPorts, 4u);
  EXPECT_EQ(c.numPortsExtra, 2u);
  EXPECT_TRUE(c.capabilities & VELA_CAPABILITY_RAID6);
  EXPECT_EQ(c.controllerParams.controllerMode, VELA_CONTROLLER_MODE_AA_DUAL_PORT_ULP);
  EXPECT_EQ(c.controllerParamsActive.driveOverheadPercent, 35u);
  EXPECT_EQ(c.controllerId, kControllerIdA);
  EXPECT_EQ(c.partnerPorts[0].tallyByte, 0x5a);
  EXPECT_STREQ(c.firmwareRevision, "FW-4.2");
  EXPECT_STREQ(c.serialNumber, "CTRL-SERIAL");
  EXPECT_EQ(c.allowedDriveType, 1);
  EXPECT_EQ(c.maxLuns, 1024u);
  EXPECT_EQ(c.maxArrayPartitions, 512u);
  EXPECT_EQ(Encode(), wire_);
}

TEST_F(ControllerDataTest, AddressSitsInAdvNetInterface) {
  const uint8_t ip[4] = {192, 168, 7, 21};
  const uint8_t mac[6] = {0x00, 0x1b, 0x21, 0xaa, 0xbb, 0xcc};
  std::memcpy(wire_.data() + 0x587c, ip, 4);
  std::memcpy(wire_.data() + 0x5880, mac, 6);
  std::memcpy(wire_.data() + 0x5878 + 0x164, "Lab array", 9);

  ASSERT_TRUE(Decode());
  EXPECT_EQ(0, std::memcmp(cd_->advNetInterface.ipAddress, ip, 4));
  EXPECT_EQ(0, std::memcmp(cd_->advNetInterface.macAddress, mac, 6));
  EXPECT_STREQ(cd_->advNetInterface.systemName, "Lab array");

  // The block goes back out on its own: a new name, everything else as received.
  std::strcpy(cd_->advNetInterface.systemName, "Renamed");
  std::vector<uint8_t> sent(kAdvNetInterfaceSize);
  EncodeAdvNetInterface(cd_->advNetInterface, sent.data());
  EXPECT_EQ(0, std::memcmp(sent.data() + 4, ip, 4));
  EXPECT_STREQ(reinterpret_cast<const char*>(sent.data() + 0x164), "Renamed");
}

TEST_F(ControllerDataTest, DriveEntries) {
  const size_t d = DriveAt(249);  // the last entry is converted like the first
  put_be32(0x89abcdef, wire_.data() + d);
  std::memcpy(wire_.data() + d + 0x4, "SN-ABCDEFGHIJKLMNOPQRSTUVWXYZ0123", 33);
  std::memcpy(wire_.data() + d + 0x25, "VENDOR  ", 8);
  wire_[d + 0x44] = kDriveMember;
  wire_[d + 0x45] = 1;
  wire_[d + 0x47] = 3;
  wire_[d + 0x49] = kDriveTypeSas;
  wire_[d + 0x4e] = 9;
  put_be32(0x01020304, wire_.data() + d + 0x54 + 0x4);  // driveAddress[0], a swapped word
  const uint8_t vdisk[7] = {1, 2, 3, 4, 5, 6, 7};
  std::memcpy(wire_.data() + d + 0xbd, vdisk, 7);
  wire_[d + 0xc5] = 0xff;
  wire_[d + 0xc7] = 2;
  wire_[d + 0xc8] = 11;
  put_le32(1, wire_.data() + d + 0xcc);  // realBlockCountHi: native order

  ASSERT_TRUE(Decode());
  const drive& dr = cd_->drives[249];
  EXPECT_EQ(dr.realBlockCountLo, 0x89abcdefu);
  EXPECT_EQ(dr.realBlockCountHi, 1u);
  EXPECT_EQ(DriveBlockCount(dr), 0x189abcdefull);
  EXPECT_EQ(0, std::memcmp(dr.serialNumber, "SN-ABCDEFGHIJKLMNOPQRSTUVWXYZ0123", 33));
  EXPECT_EQ(dr.howUsed, kDriveMember);
  EXPECT_EQ(dr.channel, 1);
  EXPECT_EQ(dr.containerIndex, 3);
  EXPECT_EQ(dr.type, kDriveTypeSas);
  EXPECT_EQ(dr.scsiId, 9);
  EXPECT_EQ(0, std::memcmp(dr.vdiskSerial, vdisk, 7));
  EXPECT_EQ(dr.driveIndex, kNoIndex);
  EXPECT_EQ(dr.enclosureNumber, 2);
  EXPECT_EQ(dr.slotNumber, 11);
  EXPECT_EQ(Encode(), wire_);

  drive other{};
  CopyMemberInfo(dr, &other);
  EXPECT_EQ(0, std::memcmp(other.vdiskSerial, vdisk, 7));
  EXPECT_EQ(other.slotNumber, 11);
  EXPECT_EQ(other.containerIndex, 0) << "memberInfo stops at slotNumber";
}

TEST_F(ControllerDataTest, ArrayAndPartitionEntries) {
  const size_t a = ArrayAt(31);
  put_be32(0x00000010, wire_.data() + a);  // blockCount: low word first
  put_be32(0x00000002, wire_.data() + a + 4);
  put_be32(6, wire_.data() + a + 0xc);
  put_be32(64, wire_.data() + a + 0x14);
  wire_[a + 0x20 + 0x9] = 0;                           // cacheParams.writePolicy
  wire_[a + 0x20 + 0xa] = 1;                           // cacheParams.readAhead
  put_be32(2, wire_.data() + a + 0x198 + 5 * 16 + 4);  // memberDrive[5].driveLocation
  put_be32(17, wire_.data() + a + 0x198 + 5 * 16 + 8);
  std::memcpy(wire_.data() + a + 0x5d8, "VDS_VDISK_3", 11);
  wire_[a + 0x61b] = VELA_RAID50;
  wire_[a + 0x61f] = 128;
  put_be64_lowfirst(0x123456789aull, wire_.data() + a + 0x624);
  put_be64_lowfirst(0x2000, wire_.data() + a + 0x630);
  wire_[a + 0x63c] = 1;

  const size_t p = PartitionAt(31, 127);
  put_be64_lowfirst(0x400000, wire_.data() + p + 0x8);
  put_be32(12, wire_.data() + p + 0x10);
  std::memcpy(wire_.data() + p + 0x14, "VDS_LUN_9", 9);
  put_be32(0xcafe, wire_.data() + p + 0x1cc);  // cacheParams.word0
  wire_[p + 0x1f6] = 4;
  wire_[p + 0x205] = 3;

  ASSERT_TRUE(Decode());
  const array& ar = cd_->arrays[31];
  EXPECT_EQ(ar.blockCount, 0x200000010ull);
  EXPECT_EQ(ar.numDrives, 6u);
  EXPECT_EQ(ar.stripeSizeKB, 64u);
  EXPECT_EQ(ar.cacheParams.readAhead, 1);
  EXPECT_EQ(ar.memberDrive[5].driveLocation.channelIndex, 2u);
  EXPECT_EQ(ar.memberDrive[5].driveLocation.driveIndex, 17u);
  EXPECT_STREQ(ar.name, "VDS_VDISK_3");
  EXPECT_EQ(ar.raidLevel, VELA_RAID50);
  EXPECT_EQ(ar.numArrayPartitions, 128);
  EXPECT_EQ(ar.expandableBlocks, 0x123456789aull);
  EXPECT_EQ(ar.freeBlocks, 0x2000u);
  EXPECT_EQ(ar.spinDown, 1);

  const partition& pa = cd_->partitions[31][127];
  EXPECT_EQ(pa.blockCount, 0x400000u);
  EXPECT_EQ(pa.lun, 12u);
  EXPECT_STREQ(pa.name, "VDS_LUN_9");
  EXPECT_EQ(pa.cacheParams.word0, 0xcafeu);
  EXPECT_EQ(pa.partitionOrder, 4);
  EXPECT_EQ(pa.type, 3);
  EXPECT_EQ(Encode(), wire_);
}

TEST_F(ControllerDataTest, PortVariantsByType) {
  // FC port with a type-6 variant block: its words stay as they came.
  size_t p = PortAt(0);
  wire_[p + 0x4c0] = kHostPortFcLast;
  wire_[p + 0x88] = 1;
  const uint8_t wwpn[8] = {0x20, 0x70, 0x02, 0x56, 0x4c, 0x0a, 0x0b, 0x0c};
  std::memcpy(wire_.data() + p + 0x29c, wwpn, 8);
  put_be16(0x1234, wire_.data() + p + 0x88 + 0x204);
  put_be32(0xdeadbeef, wire_.data() + p + 0x88 + 0x208);
  wire_[p + 0x4c5] = 0;
  // SAS port.
  p = PortAt(1);
  wire_[p + 0x4c0] = kHostPortSas;
  const uint8_t sasId[8] = {0x50, 1, 2, 3, 4, 5, 6, 7};
  std::memcpy(wire_.data() + p + 0x90, sasId, 8);
  wire_[p + 0xa2] = 1;
  wire_[p + 0x4c5] = 1;
  // iSCSI port.
  p = PortAt(2);
  wire_[p + 0x4c0] = kHostPortIscsi;
  wire_[p + 0x89] = 1;
  const uint8_t mac[6] = {0, 0x50, 0x56, 1, 2, 3};
  std::memcpy(wire_.data() + p + 0xc0, mac, 6);
  put_be32(0x0a000001, wire_.data() + p + 0x88 + 0x10);
  wire_[p + 0x4c5] = 2;

  ASSERT_TRUE(Decode());
  const port* ports = cd_->controller.ports;
  EXPECT_EQ(ports[0].hostPortType, kHostPortFcLast);
  EXPECT_EQ(ports[0].linkUp, 1);
  EXPECT_EQ(0, std::memcmp(ports[0].wwpn, wwpn, 8));
  EXPECT_EQ(ports[1].hostPortType, kHostPortSas);
  EXPECT_EQ(0, std::memcmp(ports[1].sasPortId, sasId, 8));
  EXPECT_EQ(ports[1].sasLinkUp, 1);
  EXPECT_EQ(ports[1].portNumber, 1);
  EXPECT_EQ(ports[2].hostPortType, kHostPortIscsi);
  EXPECT_EQ(ports[2].iscsiLinkUp, 1);
  EXPECT_EQ(0, std::memcmp(ports[2].macAddress, mac, 6));
  EXPECT_EQ(Encode(), wire_) << "variant words of every type survive the round trip";
}

TEST_F(ControllerDataTest, CountsBeyondTheTablesAreKeptAndBounded) {
  put_be32(1000, wire_.data() + 0x15f30);
  put_be32(0xffffffff, wire_.data() + 0x22e3c);
  wire_[ArrayAt(0) + 0x61f] = 200;
  ASSERT_TRUE(Decode());
  EXPECT_EQ(cd_->numDrives, 1000u);
  EXPECT_EQ(ValidCount(cd_->numDrives, kMaxDrives), kMaxDrives);
  EXPECT_EQ(ValidCount(cd_->numArrays, kMaxArrays), kMaxArrays);
  EXPECT_EQ(ValidCount(cd_->arrays[0].numArrayPartitions, kMaxArrayPartitions),
            kMaxArrayPartitions);
  EXPECT_EQ(ValidCount(0, kMaxDrives), 0u);
  EXPECT_EQ(ValidCount(17, kMaxDrives), 17u);
}

TEST_F(ControllerDataTest, ShortInputIsRefusedAndLeavesTheRecordAlone) {
  cd_->numDrives = 42;
  EXPECT_FALSE(DecodeControllerData(wire_.data(), kControllerDataSize - 1, cd_.get()));
  EXPECT_EQ(cd_->numDrives, 42u);
}

}  // namespace
