// The administrator's changing commands beyond create and unmask (delete, name, hints,
// applyhints, associate, setflag, maintenance, flushcache, invalidatecache, refresh,
// reenumerate), one-shot and in the shell, against the in-process simulator.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/tools/cli_runner.h"

namespace vdsctl_test {
namespace {

using nlohmann::json;

class CliMaintenance : public ::testing::Test {
 protected:
  void SetUp() override {
    // The default arrays with one RAID 5 vdisk of two hidden volumes, owned by controller A.
    std::ifstream in(std::string(VDSCTL_INVENTORY_DIR) + "/default.json");
    json inventory = json::parse(in);
    json volume = {{"blocks", 2097152}, {"allHosts", false}};
    json first = volume;
    first["name"] = "data";
    first["lun"] = 1;
    json second = volume;
    second["name"] = "logs";
    second["lun"] = 2;
    inventory["subsystems"][0]["vdisks"] =
        json::array({{{"name", "R5"},
                      {"raidLevel", 5},
                      {"memberCount", 3},
                      {"owner", "A"},
                      {"partitions", json::array({first, second})}}});
    inventory_ = "--simulate=" + runner_.WriteFile("inventory.json", inventory.dump());
  }

  CliResult Json(std::vector<std::string> args) const {
    args.insert(args.begin(), {inventory_, "--json"});
    return runner_.Run(args);
  }

  CliRunner runner_;
  std::string inventory_;
};

TEST_F(CliMaintenance, EveryCommandRunsOneShot) {
  const std::vector<std::vector<std::string>> commands = {
      {"delete", "lun", "1"},
      {"name", "lun", "0", "renamed"},
      {"name", "subsystem", "0", "array-north"},
      {"applyhints", "lun", "0", "bWriteThroughCachingEnabled=true"},
      {"applyhints", "lun", "0", "hints=0x40", "bWriteThroughCachingEnabled=false"},
      {"associate", "lun", "0", "ports=2"},
      {"associate", "lun", "0", "ports="},
      {"setflag", "drive", "20", "hotspare=true"},
      {"maintenance", "drive", "3", "blink"},
      {"maintenance", "drive", "3", "unblink"},
      {"maintenance", "drive", "3", "blink", "count=2"},
      {"maintenance", "controller", "1", "beep"},
      {"flushcache", "controller", "0"},
      {"invalidatecache", "controller", "name=Controller A;IP=10.11.0.11"},
      {"refresh", "provider"},
      {"reenumerate", "provider"},
      {"reenumerate", "subsystem", "0"},
  };
  for (const std::vector<std::string>& command : commands) {
    const CliResult result = Json(command);
    EXPECT_EQ(result.exitCode, 0) << Describe(result);
    if (result.exitCode == 0) {
      EXPECT_EQ(json::parse(result.out), json({{"ok", true}})) << command[0];
    }
  }
  const CliResult hints = Json({"hints", "lun", "0"});
  ASSERT_EQ(hints.exitCode, 0) << Describe(hints);
  const json members = json::parse(hints.out)["hints"];
  EXPECT_EQ(members["ullHintMask"], 0x800000000000010eULL) << "RAID 5";
  EXPECT_EQ(members["bMostlyReads"], true);
  EXPECT_EQ(members["ulMaximumDriveCount"], 128);
  EXPECT_EQ(members.size(), 18u);
  // Words mode: one sentence, or the members one per line.
  const CliResult text = runner_.Run({inventory_, "hints", "lun", "0"});
  ASSERT_EQ(text.exitCode, 0) << Describe(text);
  EXPECT_NE(text.out.find("ullHintMask                   0x800000000000010e"), std::string::npos)
      << text.out;
  const CliResult deleted = runner_.Run({inventory_, "delete", "lun", "0"});
  EXPECT_EQ(deleted.out, "LUN 0 has been deleted.\n");
}

TEST_F(CliMaintenance, UsageErrorsExit2FailedCallsExit1) {
  const std::vector<std::vector<std::string>> usage = {
      {"delete", "lun"},
      {"delete", "drive", "0"},
      {"delete", "lun", "0", "now"},
      {"name", "lun", "0"},
      {"name", "drive", "0", "x"},
      {"hints", "lun", "0", "all"},
      {"applyhints", "lun", "0", "colour=blue"},
      {"applyhints", "lun", "0", "bMostlyReads=maybe"},
      {"applyhints", "lun", "0", "ulStripeSize=0x1ffffffff"},
      {"associate", "lun", "0"},
      {"associate", "lun", "0", "ports=a"},
      {"setflag", "drive", "0", "hotspare=maybe"},
      {"setflag", "drive", "0"},
      {"maintenance", "drive", "0", "dance"},
      {"maintenance", "controller", "0", "blink"},
      {"maintenance", "drive", "0", "unblink", "count=2"},
      {"maintenance", "lun", "0", "blink"},
      {"flushcache", "drive", "0"},
      {"reenumerate", "subsystem"},
      {"reenumerate", "drives"},
      {"refresh", "lun"},
  };
  for (const std::vector<std::string>& command : usage) {
    const CliResult result = Json(command);
    EXPECT_EQ(result.exitCode, 2) << Describe(result);
    EXPECT_TRUE(json::parse(result.out)["error"].contains("message")) << Describe(result);
  }
  // Refused by the provider: the method and the code, exit 1.
  CliResult result = Json({"applyhints", "lun", "0", "ulStripeSize=65536"});
  EXPECT_EQ(result.exitCode, 1) << Describe(result);
  EXPECT_EQ(json::parse(result.out)["error"]["call"], "IVdsLun::ApplyHints");
  result = Json({"associate", "lun", "0", "ports=0,2"});
  EXPECT_EQ(result.exitCode, 1) << Describe(result);
  result = Json({"setflag", "drive", "0", "hotspare=false"});
  EXPECT_EQ(result.exitCode, 1) << Describe(result);
  EXPECT_EQ(json::parse(result.out)["error"]["call"], "IVdsDrive::ClearFlags");
  // Objects that are not there: a bad selection.
  for (const auto& command : std::vector<std::vector<std::string>>{
           {"delete", "lun", "7"}, {"associate", "lun", "0", "ports=9"}}) {
    result = Json(command);
    EXPECT_EQ(result.exitCode, 5) << Describe(result);
  }
}

TEST_F(CliMaintenance, ShellWorksOnTheSelection) {
  const std::string script = runner_.WriteFile("changes.txt",
                                               "select lun 1\n"
                                               "name lun db\n"
                                               "hints\n"
                                               "delete lun 9 noerr\n"
                                               "applyhints lun 0 ulStripeSize=1 noerr\n"
                                               "setflag drive 20 hotspare=true\n"
                                               "maintenance controller 0 beep\n"
                                               "reenumerate subsystem 0\n"
                                               "reenumerate subsystems\n"
                                               "delete\n"
                                               "list luns\n");
  const CliResult result = runner_.Run({inventory_, "shell", "--script", script});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_NE(result.out.find("LUN 1 is now named \"db\"."), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("Hints of LUN 1:"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("LUN 1 has been deleted."), std::string::npos) << result.out;
  EXPECT_NE(result.err.find("IVdsLun::ApplyHints failed"), std::string::npos) << result.err;
  EXPECT_EQ(result.out.find(" db "), std::string::npos) << "the LUN is gone: " << result.out;
  EXPECT_NE(result.out.find("data"), std::string::npos) << result.out;
  // Without a selection there is nothing to work on.
  const CliResult none = runner_.Run({inventory_, "shell"}, "delete lun\n");
  EXPECT_EQ(none.exitCode, 5) << Describe(none);
}

}  // namespace
}  // namespace vdsctl_test
