// The host view the simulator writes: one MPIO disk per partition mapped to the host, a path per
// controller port, and the DSM's changes kept across rewrites.
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/sim/sim_fixture.h"

using nlohmann::json;

namespace simtest {
namespace {

class HostViewTest : public SimFixture {
 protected:
  void SetUp() override {
    SimFixture::SetUp();
    options_.inventory_path = std::string(VELA_SIM_INVENTORIES) + "/two-subsystems.json";
    options_.host_view_path = dir_ + "/host-view.json";
  }
  json View() {
    std::ifstream in(options_.host_view_path);
    return json::parse(in, nullptr, false);
  }
  json Namespace() { return View()["wmi"]["ROOT\\WMI"]; }
};

}  // namespace

TEST_F(HostViewTest, MappedPartitionsBecomeMpioDisksWithAPathPerControllerPort) {
  StartSimulator();
  json ns = Namespace();
  // north_data and south_db are mapped to every host, north_logs to this host's WWN.
  ASSERT_EQ(ns["MPIO_GET_DESCRIPTOR"].size(), 3u);
  ASSERT_EQ(ns["MPIO_DISK_INFO"][0]["DriveInfo"].size(), 3u);
  json disk = ns["MPIO_GET_DESCRIPTOR"][0];
  EXPECT_EQ(disk["DeviceName"], "MPIO Disk0");
  ASSERT_EQ(disk["PdoInformation"].size(), 4u);  // two controllers, two ports each
  json paths = ns["DSM_QueryLBPolicy_V2"][0]["LoadBalancePolicy"]["DSM_Paths"];
  ASSERT_EQ(paths.size(), 4u);
  // ULP controllers: A's ports are 1 and 2, B's 3 and 4; the owner (A) is active/optimized.
  EXPECT_EQ(paths[0]["TargetPort_Identifier"], 1);
  EXPECT_EQ(paths[0]["TargetPortGroup_State"], 0);
  EXPECT_EQ(paths[3]["TargetPort_Identifier"], 4);
  EXPECT_EQ(paths[3]["TargetPortGroup_State"], 1);
  EXPECT_EQ(paths[3]["OptimizedPath"], 0);
  // The serial is the NAA form of the partition serial, as the host's MPIO lists it.
  std::string serial = ns["MPIO_DISK_INFO"][0]["DriveInfo"][0]["SerialNumber"];
  EXPECT_EQ(serial.size(), 32u);
  EXPECT_EQ(serial[0], '6');

  json hba = View()["hba"];
  ASSERT_EQ(hba.size(), 1u);
  ASSERT_EQ(hba[0]["ports"].size(), 1u);
  EXPECT_EQ(hba[0]["ports"][0]["PortWWN"], "2100028c44100004");
  EXPECT_EQ(hba[0]["ports"][0]["targetMappings"].size(), 12u);  // 3 disks x 4 targets
}

TEST_F(HostViewTest, AnotherHostSeesOnlyWhatIsMappedToAll) {
  options_.host_wwns = {"21:00:00:00:00:00:00:99"};
  StartSimulator();
  EXPECT_EQ(Namespace()["MPIO_GET_DESCRIPTOR"].size(), 2u);
  options_.host_wwns = {"not-a-wwn"};
  std::string error;
  simulator_.reset();
  EXPECT_EQ(sim::Simulator::Start(options_, &error), nullptr);
  EXPECT_NE(error.find("--host-wwn"), std::string::npos);
}

TEST_F(HostViewTest, RewritesAfterAChangeKeepingTheDsmState) {
  StartSimulator();
  json view = View();
  json& lbp = view["wmi"]["ROOT\\WMI"]["DSM_QueryLBPolicy_V2"][0]["LoadBalancePolicy"];
  lbp["LoadBalancePolicy"] = 1;
  lbp["DSM_Paths"][2]["PreferredPath"] = 1;
  lbp["DSM_Paths"][1]["FailedPath"] = 1;
  std::ofstream(options_.host_view_path) << view.dump();
  ASSERT_EQ(simulator_->Admin("vdisk NORTH_R5 health 1"), "ok");
  json after = Namespace()["DSM_QueryLBPolicy_V2"][0]["LoadBalancePolicy"];
  EXPECT_EQ(after["LoadBalancePolicy"], 1);
  EXPECT_EQ(after["DSM_Paths"][2]["PreferredPath"], 1);
  EXPECT_EQ(after["DSM_Paths"][1]["FailedPath"], 1);
  EXPECT_EQ(Namespace()["DSM_QueryLBPolicy"][0]["LoadBalancePolicy"]["LoadBalancePolicy"], 1);
}

TEST_F(HostViewTest, APortWithItsLinkDownGivesFailedPaths) {
  std::ifstream in(options_.inventory_path);
  json inventory = json::parse(in);
  inventory["subsystems"][0]["controllers"][1]["ports"][0]["linkUp"] = false;
  options_.inventory_path = dir_ + "/inventory.json";
  std::ofstream(options_.inventory_path) << inventory.dump();
  StartSimulator();
  json paths = Namespace()["DSM_QueryLBPolicy_V2"][0]["LoadBalancePolicy"]["DSM_Paths"];
  EXPECT_EQ(paths[0]["FailedPath"], 0);
  EXPECT_EQ(paths[2]["FailedPath"], 1);
}

namespace {

std::string Text(const std::string& hex, size_t from, size_t count) {
  std::string text;
  for (size_t i = from; i < from + count && 2 * i + 1 < hex.size(); ++i) {
    text += static_cast<char>(std::stoi(hex.substr(2 * i, 2), nullptr, 16));
  }
  return text;
}

}  // namespace

TEST_F(HostViewTest, EveryMappedLunIsADiskWithTheArraysInquiryData) {
  StartSimulator();
  json view = View();
  json devices = view["devices"];
  // The host's own boot disk, then the three mapped partitions in MPIO disk order.
  ASSERT_EQ(devices.size(), 4u);
  EXPECT_EQ(devices[0]["path"], "\\\\.\\PhysicalDrive0");
  EXPECT_EQ(Text(devices[0]["inquiry"], 8, 3), "ATA");
  json drives = Namespace()["MPIO_DISK_INFO"][0]["DriveInfo"];
  for (size_t i = 1; i < devices.size(); ++i) {
    SCOPED_TRACE(i);
    const json& device = devices[i];
    EXPECT_EQ(device["path"], "\\\\.\\PhysicalDrive" + std::to_string(i));
    EXPECT_EQ(device["address"][0], 3);  // the first HBA port's SCSI port
    EXPECT_TRUE(device["layout"].is_null());
    const std::string inquiry = device["inquiry"];
    EXPECT_EQ(inquiry.size(), 72u);
    EXPECT_EQ(Text(inquiry, 8, 28), "VELA    TG-2024         TS25");
    // Page 0x83 opens with the NAA identifier the multipath layer lists the disk by.
    const std::string page83 = device["vpd"]["83"];
    EXPECT_EQ(page83.substr(8, 8), "01030010");
    std::string naa = page83.substr(16, 32);
    for (char& c : naa) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    EXPECT_EQ(naa, drives[i - 1]["SerialNumber"]);
    // The vendor-specific controller block sits at 0x44, as the SAS identifier takes it.
    EXPECT_EQ(page83.substr(2 * 0x40, 10), "0100002011");
    EXPECT_EQ(Text(page83, 0x45, 6), "02564C");
    // Page 0x80: the serial as 32 lower-case hex digits, the first 16 bytes of the partition
    // serial, whose NAA form begins 6 + the company identifier.
    const std::string serial = Text(device["vpd"]["80"], 4, 32);
    EXPECT_EQ(serial.size(), 32u);
    EXPECT_EQ(serial.substr(0, 6), "02564c");
    EXPECT_EQ(device["vpd"]["d0"].get<std::string>().substr(0, 4), "00d0");
  }
}

TEST_F(HostViewTest, ALayoutWrittenIntoTheViewStaysAcrossRewrites) {
  StartSimulator();
  json view = View();
  view["devices"][2]["layout"] = {{"gpt", "{6D3E9A41-0C7B-4E52-A1F6-2B9C7E5D4A10}"}};
  std::ofstream(options_.host_view_path) << view.dump();
  ASSERT_EQ(simulator_->Admin("vdisk NORTH_R5 health 1"), "ok");
  json after = View()["devices"];
  EXPECT_EQ(after[2]["layout"]["gpt"], "{6D3E9A41-0C7B-4E52-A1F6-2B9C7E5D4A10}");
  EXPECT_TRUE(after[1]["layout"].is_null());
}

}  // namespace simtest
