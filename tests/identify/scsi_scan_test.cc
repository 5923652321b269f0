// The device scan and the SCSI command class over host-view devices and a sysfs tree.
#include "identify/scsi_scan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "identify/scsi_cmd.h"
#include "platform/scsi_device.h"
#include "tests/multipath/host_view_support.h"

namespace {

using nlohmann::json;

std::string Hex(const std::vector<uint8_t>& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (uint8_t b : bytes) {
    text += kDigits[b >> 4];
    text += kDigits[b & 15];
  }
  return text;
}

std::vector<uint8_t> Page(uint8_t code, const std::vector<uint8_t>& body) {
  std::vector<uint8_t> page(4 + body.size());
  page[1] = code;
  page[2] = static_cast<uint8_t>(body.size() >> 8);
  page[3] = static_cast<uint8_t>(body.size());
  std::copy(body.begin(), body.end(), page.begin() + 4);
  return page;
}

std::vector<uint8_t> Text(const std::string& text) { return {text.begin(), text.end()}; }

std::vector<uint8_t> Standard(const std::string& product) {
  const std::string fields = "VELA    " + (product + std::string(16, ' ')).substr(0, 16) + "TS25";
  std::vector<uint8_t> data(8 + fields.size());
  const uint8_t head[8] = {0, 0, 6, 0x12, 31, 0x10, 0, 2};
  std::copy(head, head + 8, data.begin());
  std::copy(fields.begin(), fields.end(), data.begin() + 8);
  return data;
}

std::vector<uint8_t> Page83(uint8_t fill) {
  std::vector<uint8_t> body{1, 3, 0, 16};
  for (int i = 0; i < 16; ++i) body.push_back(fill);
  return Page(0x83, body);
}

json Device(const std::string& path, std::vector<uint32_t> address, const std::string& serial,
            uint8_t fill, json layout = nullptr) {
  return {{"path", path},
          {"address", address},
          {"layout", layout},
          {"inquiry", Hex(Standard("PRODUCT-" + serial))},
          {"vpd",
           {{"80", Hex(Page(0x80, Text(serial)))},
            {"83", Hex(Page83(fill))},
            {"d0", Hex(Page(0xd0, {1, 2, 3}))}}}};
}

std::string PageText(const uint8_t* bytes, size_t offset, size_t length) {
  return std::string(reinterpret_cast<const char*>(bytes) + offset, length);
}

}  // namespace

TEST(ScsiCmd, CdbLengthFollowsTheOpcodeGroup) {
  EXPECT_EQ(CdbLength(0x12), 6);
  EXPECT_EQ(CdbLength(0x5a), 10);
  EXPECT_EQ(CdbLength(0x28), 10);
  EXPECT_EQ(CdbLength(0x88), 16);
  EXPECT_EQ(CdbLength(0xa5), 12);
  for (uint8_t opcode : {0x60, 0xc0, 0xe0, 0xff}) EXPECT_EQ(CdbLength(opcode), 0) << +opcode;
  EXPECT_STREQ(LookupCode(0x12, ScsiOpcodeNames), "inquiry");
  EXPECT_STREQ(LookupCode(0xa5, ScsiOpcodeNames), "move medium");
  EXPECT_EQ(LookupCode(0x99, ScsiOpcodeNames), nullptr);
}

TEST(ScsiCmd, ReportsStatusResidualAndSenseOfEachCommand) {
  HostViewFile view;
  view.Write({{"devices", {Device("\\\\.\\PhysicalDrive1", {3, 0, 2, 5}, "SERIAL1", 0x11)}}});
  ScsiCmd cmd("\\\\.\\PhysicalDrive1");
  ASSERT_TRUE(cmd.IsOpen());
  EXPECT_EQ(scsiPort, 3u);
  EXPECT_EQ(scsiTarget, 2u);
  EXPECT_EQ(scsiLun, 5u);
  EXPECT_FALSE(openedByAddress);

  uint8_t buffer[48] = {};
  const uint8_t inquiry80[6] = {0x12, 1, 0x80, 0, 48, 0};
  cmd.SetCdb(inquiry80);
  cmd.SetBuffer(buffer, sizeof(buffer));
  ++g_scsiTrace;
  testing::internal::CaptureStderr();
  ASSERT_TRUE(cmd.Execute());
  std::string trace = testing::internal::GetCapturedStderr();
  --g_scsiTrace;
  EXPECT_NE(trace.find("SCSI_PASS_THROUGH(inquiry) status 0x0 xfer'd 11:"), std::string::npos)
      << trace;
  EXPECT_NE(trace.find("CDB :  12 01 80 00 30 00"), std::string::npos) << trace;
  EXPECT_NE(trace.find("Data:  00 80 00 07 53"), std::string::npos) << trace;
  EXPECT_EQ(cmd.Residual(), 48u - 11u);
  EXPECT_EQ(PageText(buffer, 4, 7), "SERIAL1");

  // A page the device lacks: CHECK CONDITION, ILLEGAL REQUEST, one try only.
  const uint8_t inquiry99[6] = {0x12, 1, 0x99, 0, 48, 0};
  cmd.SetCdb(inquiry99);
  cmd.SetRetries(3);
  EXPECT_FALSE(cmd.Execute());
  EXPECT_EQ(cmd.Status(), 2);
  EXPECT_EQ(cmd.Sense()[2] & 0x0f, 5);
  EXPECT_EQ(cmd.Sense()[12], 0x24);
  EXPECT_EQ(cmd.SenseValid(), 18u);

  // The allocation length bounds the transfer, not the buffer.
  const uint8_t shortRead[6] = {0x12, 0, 0, 0, 5, 0};
  cmd.SetCdb(shortRead);
  ASSERT_TRUE(cmd.Execute());
  EXPECT_EQ(cmd.Residual(), 48u - 5u);
  EXPECT_EQ(cmd.SetTimeout(0), ScsiCmd::kDefaultTimeout);

  // The disk refuses MODE SENSE with ILLEGAL REQUEST: it is ready, and the wait ends at once.
  testing::internal::CaptureStderr();
  cmd.WaitUntilReady(true);
  cmd.WaitUntilReady(false);
  trace = testing::internal::GetCapturedStderr();
  EXPECT_EQ(trace.find("waiting"), std::string::npos) << trace;
  EXPECT_EQ(cmd.Status(), 2);
}

TEST(ScsiCmd, AddressNamesOpenTheAdapterAndReachTheUnit) {
  HostViewFile view;
  view.Write({{"devices",
               {Device("\\\\.\\PhysicalDrive1", {3, 0, 0, 0}, "FIRST", 0x11),
                Device("\\\\.\\PhysicalDrive2", {3, 0, 1, 4}, "SECOND", 0x22)}}});
  ScsiCmd cmd("\\\\.\\Scsi3:Bus0:ID1:LUN4");
  ASSERT_TRUE(cmd.IsOpen());
  EXPECT_TRUE(openedByAddress);
  uint8_t buffer[48] = {};
  const uint8_t inquiry80[6] = {0x12, 1, 0x80, 0, 48, 0};
  cmd.SetCdb(inquiry80);
  cmd.SetBuffer(buffer, sizeof(buffer));
  ASSERT_TRUE(cmd.Execute());
  EXPECT_EQ(PageText(buffer, 4, 6), "SECOND");

  ScsiCmd nobody("\\\\.\\Scsi3:Bus0:ID7:LUN0");  // the adapter opens, no unit answers
  ASSERT_TRUE(nobody.IsOpen());
  nobody.SetCdb(inquiry80);
  nobody.SetBuffer(buffer, sizeof(buffer));
  EXPECT_FALSE(nobody.Execute());
  EXPECT_FALSE(ScsiCmd("\\\\.\\Scsi9:Bus0:ID0:LUN0").IsOpen());
  EXPECT_FALSE(ScsiCmd("\\\\.\\Scsi3:Bus0:ID1:LUN99999999999").IsOpen());
}

TEST(ScanScsiDevices, RecordsEachDeviceByNameAndByAdapter) {
  HostViewFile view;
  view.Write(
      {{"devices",
        {Device("\\\\.\\PhysicalDrive1", {3, 0, 0, 0}, "FIRST", 0x11, {{"mbr", "0x1234abcd"}}),
         Device("\\\\.\\PhysicalDrive2", {4, 1, 2, 3}, "SECOND", 0x22,
                {{"gpt", "{6D3E9A41-0C7B-4E52-A1F6-2B9C7E5D4A10}"}})}}});
  std::vector<ScsiDeviceInfo> devices;
  ScanScsiDevices(&devices);
  ASSERT_EQ(devices.size(), 4u);
  EXPECT_EQ(DeviceSerial(devices[0]), "FIRST");
  EXPECT_EQ(devices[0].partitionStyle, 1u);
  EXPECT_EQ(devices[0].signature, 0x1234abcdu);
  EXPECT_EQ(devices[0].port, 3u);
  EXPECT_EQ(PageText(devices[0].inquiry, 16, 13), "PRODUCT-FIRST");
  EXPECT_EQ(devices[0].page83[1], 0x83);
  EXPECT_EQ(devices[0].page83[4 + 4], 0x11);
  EXPECT_EQ(DeviceSerial(devices[1]), "SECOND");
  EXPECT_EQ(devices[1].partitionStyle, 0u);
  EXPECT_EQ(devices[1].diskId.Data1, 0x6D3E9A41u);
  EXPECT_EQ(devices[1].lun, 3u);
  // Pass 2 reaches the same devices by address; the address text itself has no layout.
  EXPECT_EQ(DeviceSerial(devices[2]), "FIRST");
  EXPECT_EQ(DeviceSerial(devices[3]), "SECOND");
  EXPECT_EQ(devices[3].partitionStyle, 0u);
}

TEST(ScanScsiDevices, LeavesOutDevicesThatDoNotAnswerPage83AsThemselves) {
  json noPage83 = Device("\\\\.\\PhysicalDrive1", {3, 0, 0, 0}, "NO83", 0x11);
  noPage83["vpd"].erase("83");
  json wrongCode = Device("\\\\.\\PhysicalDrive2", {3, 0, 0, 1}, "WRONG", 0x22);
  std::vector<uint8_t> page = Page83(0x22);
  page[1] = 0x80;
  wrongCode["vpd"]["83"] = Hex(page);
  // No standard data and no page 0x80 (empty answers): still recorded, with zeros.
  json bare = Device("\\\\.\\PhysicalDrive3", {3, 0, 0, 2}, "BARE", 0x33);
  bare["inquiry"] = "";
  bare["vpd"].erase("80");
  HostViewFile view;
  view.Write({{"devices", {noPage83, wrongCode, bare}}});
  std::vector<ScsiDeviceInfo> devices;
  for (const char* name : {"\\\\.\\PhysicalDrive1", "\\\\.\\PhysicalDrive2",
                           "\\\\.\\PhysicalDrive3", "\\\\.\\PhysicalDrive4"}) {
    InquireDevice(name, &devices);
  }
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(devices[0].page83[8], 0x33);
  EXPECT_EQ(devices[0].inquiry[16], 0);
  EXPECT_EQ(DeviceSerial(devices[0]), "");
}

TEST(ScanScsiDevices, PagesThatLieAboutTheirLengthAreReadNoFurtherThanTheirBuffers) {
  // Page 0x80 claims 0xffff bytes and fills all it gives; page 0x83 claims more than it has.
  std::vector<uint8_t> serial(200, 'S');
  std::vector<uint8_t> page80 = Page(0x80, serial);
  page80[2] = page80[3] = 0xff;
  std::vector<uint8_t> page83 = Page83(0x44);
  page83[3] = 0xf0;
  page83.resize(300, 0x55);
  json liar = Device("\\\\.\\PhysicalDrive1", {3, 0, 0, 0}, "X", 0x44);
  liar["vpd"]["80"] = Hex(page80);
  liar["vpd"]["83"] = Hex(page83);
  HostViewFile view;
  view.Write({{"devices", {liar}}});
  std::vector<ScsiDeviceInfo> devices;
  ASSERT_TRUE(InquireDevice("\\\\.\\PhysicalDrive1", &devices));
  EXPECT_EQ(DeviceSerial(devices[0]), std::string(44, 'S'));  // 48 bytes read, from byte 4
  EXPECT_EQ(devices[0].page80[48], 0);
  EXPECT_EQ(devices[0].page83[127], 0x55);
}

TEST(ScanScsiDevices, ReadsTheSysfsTreeAndSkipsWhatItCannotOpen) {
  TempDir root;
  namespace fs = std::filesystem;
  auto put = [&](const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(root.Path() + "/" + path).parent_path());
    std::ofstream(root.Path() + "/" + path) << text;
  };
  const std::string disk = "class/scsi_device/2:0:1:3/device/";
  put(disk + "vendor", "VELA    \n");
  put(disk + "model", "TG-2024         \n");
  put(disk + "rev", "TS25\n");
  fs::create_directories(root.Path() + "/" + disk + "block/sdzz");
  fs::create_directories(root.Path() + "/" + disk + "scsi_generic/sg77");
  // A tape without a block node, a device without any files, and entries that are no address.
  fs::create_directories(root.Path() + "/class/scsi_device/2:0:0:0/device/scsi_generic/sg76");
  fs::create_directories(root.Path() + "/class/scsi_device/10:0:0:0");
  fs::create_directories(root.Path() + "/class/scsi_device/junk");
  fs::create_directories(root.Path() + "/class/scsi_device/1:2:3");
  fs::create_directories(root.Path() + "/class/scsi_device/1:2:3:99999999999");
  for (const char* host : {"host2", "host10", "hostx", "host"}) {
    fs::create_directories(root.Path() + "/class/scsi_host/" + host);
  }

  const std::vector<SysfsScsiDevice> devices = ReadSysfsScsiDevices(root.Path());
  ASSERT_EQ(devices.size(), 3u);
  EXPECT_EQ(devices[0].address.target, 0u);
  EXPECT_EQ(devices[0].block, "");
  EXPECT_EQ(devices[0].generic, "sg76");
  EXPECT_EQ(devices[1].block, "sdzz");
  EXPECT_EQ(devices[1].generic, "sg77");
  EXPECT_EQ(devices[1].address.lun, 3u);
  EXPECT_EQ(devices[1].inquiryName, "VELA TG-2024 TS25");
  EXPECT_EQ(devices[2].address.port, 10u);
  EXPECT_EQ(devices[2].inquiryName, "");

  ScopedEnv noView("VELA_HOST_VIEW", "");
  ScopedEnv sysfs("VELA_SYSFS_ROOT", root.Path());
  const std::vector<ScsiDeviceName> names = ListScsiDeviceNames();
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(names[0].node, "/dev/sdzz");
  EXPECT_EQ(ListScsiAdapters(), (std::vector<uint32_t>{2, 10}));
  std::vector<ScsiUnit> units;
  ASSERT_TRUE(ListScsiAdapterUnits(2, &units));
  EXPECT_EQ(units.size(), 2u);
  EXPECT_FALSE(ListScsiAdapterUnits(5, &units));
  // None of the nodes exists on this host: the scan finds nothing and goes through.
  std::vector<ScsiDeviceInfo> found;
  ScanScsiDevices(&found);
  EXPECT_TRUE(found.empty());
}

TEST(ScanScsiDevices, AddressTextsAreStrict) {
  ScsiAddress address;
  EXPECT_TRUE(ParseScsiAddressText("0:0:0:0", &address));
  EXPECT_TRUE(ParseScsiAddressText("4294967295:1:2:3", &address));
  EXPECT_EQ(address.port, 4294967295u);
  for (const char* bad :
       {"", "1:2:3", "1:2:3:4:5", "a:b:c:d", "1:2:3:", "4294967296:0:0:0", "1::3:4", " 1:2:3:4"}) {
    EXPECT_FALSE(ParseScsiAddressText(bad, &address)) << bad;
  }
}
