// Host-view devices answer command blocks as a real disk would, and bad entries stay out.
#include "platform/host_view_devices.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/host_view.h"
#include "platform/scsi_device.h"
#include "tests/multipath/host_view_support.h"
#include "tests/platform/temp_dir.h"

namespace {

using nlohmann::json;

HostViewDevice Disk() {
  HostViewDevice device;
  device.path = "\\\\.\\PhysicalDrive1";
  device.inquiry = std::vector<uint8_t>(36, 0x49);
  device.vpd[0x80] = {0, 0x80, 0, 4, 'S', 'N', '0', '1'};
  device.vpd[0x83] = {0, 0x83, 0, 0};
  return device;
}

struct Answer {
  ScsiPassThroughResult result;
  std::vector<uint8_t> data;
};

Answer Send(const HostViewDevice& device, std::vector<uint8_t> cdb, uint32_t bufferLength = 64) {
  Answer answer;
  answer.data.assign(bufferLength, 0xee);
  ScsiPassThroughRequest request;
  request.cdb = cdb.data();
  request.cdbLength = static_cast<uint8_t>(cdb.size());
  request.dataIn = true;
  request.buffer = answer.data.data();
  request.bufferLength = bufferLength;
  AnswerScsiCommand(device, request, &answer.result);
  answer.data.resize(answer.result.transferred);
  return answer;
}

void ExpectIllegalRequest(const Answer& answer, uint8_t asc) {
  EXPECT_EQ(answer.result.scsiStatus, 2);
  EXPECT_EQ(answer.result.transferred, 0u);
  EXPECT_EQ(answer.result.sense[0], 0x70);
  EXPECT_EQ(answer.result.sense[2], 5);
  EXPECT_EQ(answer.result.sense[12], asc);
  EXPECT_EQ(answer.result.senseLength, 18u);
}

}  // namespace

TEST(HostViewDevices, InquiryHonoursAllocationLengthAndBuffer) {
  const HostViewDevice disk = Disk();
  Answer standard = Send(disk, {0x12, 0, 0, 0, 96, 0});
  EXPECT_EQ(standard.result.scsiStatus, 0);
  EXPECT_EQ(standard.data.size(), 36u);
  EXPECT_EQ(Send(disk, {0x12, 0, 0, 0, 5, 0}).data.size(), 5u);
  EXPECT_EQ(Send(disk, {0x12, 0, 0, 0x01, 0x00, 0}, 300).data.size(), 36u);  // 16-bit length
  EXPECT_EQ(Send(disk, {0x12, 0, 0, 0, 96, 0}, 10).data.size(), 10u);
  Answer serial = Send(disk, {0x12, 1, 0x80, 0, 255, 0});
  EXPECT_EQ(serial.data, disk.vpd.at(0x80));
  EXPECT_EQ(Send(disk, {0x12, 1, 0x80, 0, 0, 0}).data.size(), 0u);
}

TEST(HostViewDevices, SupportedPagesListIncludesPageZeroAndTheDevicesPages) {
  Answer pages = Send(Disk(), {0x12, 1, 0, 0, 255, 0});
  EXPECT_EQ(pages.data, (std::vector<uint8_t>{0, 0, 0, 3, 0x00, 0x80, 0x83}));
}

TEST(HostViewDevices, RefusesWhatARealDiskRefuses) {
  const HostViewDevice disk = Disk();
  ExpectIllegalRequest(Send(disk, {0x12, 1, 0xd0, 0, 48, 0}), 0x24);          // page it lacks
  ExpectIllegalRequest(Send(disk, {0x12, 0, 0x80, 0, 48, 0}), 0x24);          // page without EVPD
  ExpectIllegalRequest(Send(disk, {0x28, 0, 0, 0, 0, 0, 0, 0, 1, 0}), 0x20);  // not served
  ExpectIllegalRequest(Send(disk, {0x12, 1, 0x80}), 0x20);  // a block too short for INQUIRY
  EXPECT_EQ(Send(disk, {0x00, 0, 0, 0, 0, 0}).result.scsiStatus, 0);
  Answer sense = Send(disk, {0x03, 0, 0, 0, 252, 0});
  EXPECT_EQ(sense.result.scsiStatus, 0);
  EXPECT_EQ(sense.data.size(), 18u);
  EXPECT_EQ(sense.data[2], 0);
}

TEST(HostViewDevices, BadEntriesAreLeftOutAndTheRestRead) {
  const json good = {{"path", "\\\\.\\PhysicalDrive1"},
                     {"address", {1, 2, 3, 4}},
                     {"layout", {{"mbr", "0x0000beef"}}},
                     {"inquiry", "00"},
                     {"vpd", {{"80", "0080000141"}, {"83", "00830000"}}}};
  std::vector<json> bad(12, good);
  bad[0]["path"] = 7;
  bad[1]["address"] = {1, 2, 3};
  bad[2]["address"] = {1, 2, 3, -4};
  bad[3]["address"] = {1, 2, 3, 4294967296ull};
  bad[4]["inquiry"] = "0";
  bad[5]["inquiry"] = "zz";
  bad[6]["vpd"] = {{"8", "00"}};
  bad[7]["vpd"] = {{"80", 80}};
  bad[8]["layout"] = {{"mbr", "0x1234"}};
  bad[9]["layout"] = {{"gpt", "not a guid"}};
  bad[10]["layout"] = {{"lvm", "x"}};
  bad[11]["vpd"] = {{"83", std::string(2 * 65536, '0')}};
  json view = {{"devices", bad}};
  view["devices"].push_back(good);
  view["devices"].push_back("not an object");
  const std::vector<HostViewDevice> devices = ParseHostViewDevices(view);
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(devices[0].address.lun, 4u);
  EXPECT_TRUE(devices[0].hasLayout);
  EXPECT_EQ(devices[0].layout.signature, 0xbeefu);
  EXPECT_EQ(devices[0].vpd.at(0x80).back(), 0x41);
  EXPECT_FALSE(HostViewProblem().empty());
  EXPECT_TRUE(ParseHostViewDevices(json{{"devices", "none"}}).empty());
  EXPECT_TRUE(ParseHostViewDevices(json::object()).empty());
}

TEST(HostViewDevices, AdapterNamesAreRecognised) {
  uint32_t port = 0;
  EXPECT_TRUE(ParseAdapterNodeName("\\\\.\\Scsi3:", &port));
  EXPECT_EQ(port, 3u);
  EXPECT_TRUE(ParseAdapterNodeName("\\\\.\\SCSI12:", &port));
  EXPECT_EQ(port, 12u);
  for (const char* bad : {"\\\\.\\Scsi:", "\\\\.\\Scsi3", "\\\\.\\Scsi3:Bus0:ID0:LUN0",
                          "\\\\.\\Scsi99999999999:", "/dev/sda", "\\\\.\\Scsi-1:"}) {
    EXPECT_FALSE(ParseAdapterNodeName(bad, &port)) << bad;
  }
}

TEST(DiskLayout, MbrSignatureThroughBlkid) {
  TempDir dir;
  std::vector<char> image(1 << 20, 0);
  image[440] = 0x78;  // signature 0x12345678, little-endian on disk
  image[441] = 0x56;
  image[442] = 0x34;
  image[443] = 0x12;
  // One Linux partition from sector 2048 for 1024 sectors.
  char* entry = image.data() + 446;
  entry[4] = static_cast<char>(0x83);
  entry[8] = 0x00;
  entry[9] = 0x08;
  entry[12] = 0x00;
  entry[13] = 0x04;
  image[510] = 0x55;
  image[511] = static_cast<char>(0xaa);
  const std::string path = dir.Write("mbr.img", std::string(image.begin(), image.end()));
  DiskLayout layout;
  ASSERT_TRUE(ReadDiskLayoutFile(path, &layout));
  EXPECT_FALSE(layout.gpt);
  EXPECT_EQ(layout.signature, 0x12345678u);

  // Without a view the image opens as a Linux node: its label reads, but it is no SCSI device.
  ScopedEnv noView("VELA_HOST_VIEW", "");
  std::unique_ptr<ScsiDeviceNode> node = OpenScsiDeviceNode(path);
  ASSERT_NE(node, nullptr);
  DiskLayout viaNode;
  ASSERT_TRUE(node->GetDiskLayout(&viaNode));
  EXPECT_EQ(viaNode.signature, 0x12345678u);
  ScsiAddress address;
  EXPECT_FALSE(node->GetAddress(&address));
  uint8_t buffer[36];
  const uint8_t cdb[6] = {0x12, 0, 0, 0, sizeof(buffer), 0};
  ScsiPassThroughRequest request;
  request.cdb = cdb;
  request.cdbLength = 6;
  request.dataIn = true;
  request.buffer = buffer;
  request.bufferLength = sizeof(buffer);
  ScsiPassThroughResult result;
  EXPECT_FALSE(node->PassThrough(request, &result));
  EXPECT_EQ(OpenScsiDeviceNode(dir.File("missing.img")), nullptr);

  const std::string blank = dir.Write("blank.img", std::string(65536, '\0'));
  EXPECT_FALSE(ReadDiskLayoutFile(blank, &layout));
  EXPECT_FALSE(ReadDiskLayoutFile(dir.File("missing.img"), &layout));
}

namespace {

uint32_t Crc32(const uint8_t* data, size_t size) {
  uint32_t crc = 0xffffffffu;
  for (size_t i = 0; i < size; ++i) {
    crc ^= data[i];
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1)));
  }
  return ~crc;
}

void PutLe(uint64_t value, int bytes, uint8_t* at) {
  for (int i = 0; i < bytes; ++i) at[i] = static_cast<uint8_t>(value >> (8 * i));
}

}  // namespace

TEST(DiskLayout, GptDiskIdThroughBlkid) {
  constexpr uint64_t kSectors = 2048;
  std::vector<uint8_t> image(kSectors * 512, 0);
  // Protective MBR: one entry of type 0xEE over the disk.
  uint8_t* pmbr = image.data() + 446;
  pmbr[4] = 0xee;
  PutLe(1, 4, pmbr + 8);
  PutLe(kSectors - 1, 4, pmbr + 12);
  image[510] = 0x55;
  image[511] = 0xaa;
  // One partition entry (a Linux data partition) so that the table is not empty.
  uint8_t* entries = image.data() + 2 * 512;
  GUID type{0x0FC63DAF, 0x8483, 0x4772, {0x8E, 0x79, 0x3D, 0x69, 0xD8, 0x47, 0x7D, 0xE4}};
  std::memcpy(entries, &type, 16);
  entries[16] = 1;
  PutLe(40, 8, entries + 32);
  PutLe(100, 8, entries + 40);
  uint8_t* header = image.data() + 512;
  std::memcpy(header, "EFI PART", 8);
  PutLe(0x00010000, 4, header + 8);
  PutLe(92, 4, header + 12);
  PutLe(1, 8, header + 24);
  PutLe(kSectors - 1, 8, header + 32);
  PutLe(34, 8, header + 40);
  PutLe(kSectors - 34, 8, header + 48);
  const GUID diskId{0x6D3E9A41, 0x0C7B, 0x4E52, {0xA1, 0xF6, 0x2B, 0x9C, 0x7E, 0x5D, 0x4A, 0x10}};
  std::memcpy(header + 56, &diskId, 16);
  PutLe(2, 8, header + 72);
  PutLe(128, 4, header + 80);
  PutLe(128, 4, header + 84);
  PutLe(Crc32(entries, 128 * 128), 4, header + 88);
  PutLe(Crc32(header, 92), 4, header + 16);
  TempDir dir;
  const std::string path = dir.Write("gpt.img", std::string(image.begin(), image.end()));
  DiskLayout layout;
  ASSERT_TRUE(ReadDiskLayoutFile(path, &layout));
  EXPECT_TRUE(layout.gpt);
  EXPECT_EQ(layout.diskId, diskId);
}
