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

}  // namespace simtest
