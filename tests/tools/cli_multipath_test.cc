// vdsctl's path, policy and path status commands against the simulator's host view.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <string>
#include <nlohmann/json.hpp>

#include "tests/tools/cli_runner.h"

using nlohmann::json;
using vdsctl_test::CliResult;
using vdsctl_test::CliRunner;

namespace {

class CliMultipath : public ::testing::Test {
 protected:
  void SetUp() override {
    // One subsystem (north: two LUNs mapped to this host), so that numbers are stable.
    std::ifstream in(std::string(VDSCTL_INVENTORY_DIR) + "/two-subsystems.json");
    json inventory = json::parse(in);
    inventory["subsystems"].erase(1);
    simulate_ = "--simulate=" + runner_.WriteFile("north.json", inventory.dump());
    view_ = runner_.Dir() + "/view.json";
  }
  CliResult Run(std::vector<std::string> args) {
    args.insert(args.begin(), {simulate_, "--host-view", view_});
    return runner_.Run(args);
  }
  CliRunner runner_;
  std::string simulate_;
  std::string view_;
};

}  // namespace

TEST_F(CliMultipath, PathsInWordsAndJson) {
  CliResult result = Run({"list", "paths", "lun", "0"});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_NE(result.out.find("Path        HBA port WWN      Controller port  Status"),
            std::string::npos)
      << Describe(result);
  EXPECT_NE(result.out.find("2100028c44100004"), std::string::npos) << Describe(result);

  result = Run({"--json", "list", "paths", "lun", "1"});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  json doc = json::parse(result.out);
  ASSERT_EQ(doc["paths"].size(), 4u);
  for (const json& path : doc["paths"]) {
    EXPECT_TRUE(path["pathId"]["ullPathId"].is_number());
    EXPECT_EQ(path["hbaPort"]["wwnPort"], "2100028c44100004");
    EXPECT_TRUE(path["controllerPort"].is_number());
  }

  result = Run({"--json", "list", "paths", "lun", "7"});
  EXPECT_EQ(result.exitCode, 5) << Describe(result);
  EXPECT_TRUE(json::parse(result.out).contains("error")) << Describe(result);
  result = Run({"list", "paths", "drive", "0"});
  EXPECT_EQ(result.exitCode, 2) << Describe(result);
}

TEST_F(CliMultipath, PolicySetAndReadBack) {
  CliResult result = Run({"--json", "lbpolicies", "lun", "0"});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_EQ(json::parse(result.out)["flags"], 63);

  result = Run({"--json", "lbpolicy", "lun", "0"});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  json doc = json::parse(result.out);
  EXPECT_EQ(doc["name"], "roundrobinsubset");
  ASSERT_EQ(doc["paths"].size(), 4u);
  const uint64_t third = doc["paths"][2]["pathId"];

  result = Run({"--json", "lbpolicy", "lun", "0", "set", "failover",
                "primary=" + std::to_string(third), "weight=" + std::to_string(third) + ":5"});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  doc = json::parse(result.out);
  EXPECT_EQ(doc["policy"], 1);
  EXPECT_EQ(doc["paths"][2]["primary"], true);
  EXPECT_EQ(doc["paths"][0]["primary"], false);
  EXPECT_EQ(doc["paths"][2]["weight"], 5);

  // The call went to the DSM through the host view.
  std::ifstream calls(view_ + ".calls");
  std::string line;
  ASSERT_TRUE(std::getline(calls, line));
  EXPECT_EQ(json::parse(line)["method"], "DsmSetLoadBalancePolicyALUA");

  result = Run({"lbpolicy", "lun", "0", "set", "vendor"});
  EXPECT_EQ(result.exitCode, 1) << Describe(result);
  EXPECT_NE(result.err.find("VDS_E_NOT_SUPPORTED"), std::string::npos) << Describe(result);
  result = Run({"lbpolicy", "lun", "0", "set", "sideways"});
  EXPECT_EQ(result.exitCode, 2) << Describe(result);
  result = Run({"lbpolicy", "lun", "0", "set", "failover", "primary=12345"});
  EXPECT_EQ(result.exitCode, 5) << Describe(result);
}

TEST_F(CliMultipath, PathStatusByHbaPort) {
  CliResult result = Run({"setpathstatus", "hbaport", "21:00:02:8c:44:10:00:04", "failed"});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_NE(result.out.find("set to failed"), std::string::npos) << Describe(result);
  std::ifstream calls(view_ + ".calls");
  std::string line;
  ASSERT_TRUE(std::getline(calls, line));
  json call = json::parse(line);
  EXPECT_EQ(call["method"], "MorDsmSetPathStatus");
  EXPECT_EQ(call["in"]["setPathStatus"]["DSMPathStatusCount"], 8);  // two LUNs, four paths

  result = Run({"setpathstatus", "hbaport", "nonsense", "failed"});
  EXPECT_EQ(result.exitCode, 2) << Describe(result);
}

TEST_F(CliMultipath, TheBuiltInArrayShowsItsLunsPathsWithNoSetUp) {
  // No inventory and no host view named: LUN 0 of the built-in array, owned by controller A,
  // reaches the host through both controllers' ports; A's are the active ones.
  const CliResult result = runner_.Run({"--simulate", "--json", "list", "paths", "lun", "0"});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  const json doc = json::parse(result.out);
  ASSERT_EQ(doc["paths"].size(), 4u) << result.out;
  std::multiset<int> states;
  std::set<int> controllerPorts;
  for (const json& path : doc["paths"]) {
    states.insert(path["status"].get<int>());
    controllerPorts.insert(path["controllerPort"].get<int>());
  }
  EXPECT_EQ(states, (std::multiset<int>{1, 1, 7, 7})) << "two online, two standby";
  EXPECT_EQ(controllerPorts, (std::set<int>{0, 1, 2, 3}));
}
