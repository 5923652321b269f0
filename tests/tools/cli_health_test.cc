// `vdsctl health` as a monitoring system runs it.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/tools/cli_runner.h"

namespace vdsctl_test {
namespace {

using nlohmann::json;

class CliHealth : public ::testing::Test {
 protected:
  CliRunner runner_;
};

TEST_F(CliHealth, AHealthyArrayExitsZero) {
  const CliResult text = runner_.Run({"--simulate", "health"});
  EXPECT_EQ(text.exitCode, 0) << Describe(text);
  EXPECT_NE(text.out.find("objects are online and healthy.\n"), std::string::npos)
      << Describe(text);
  const CliResult doc = runner_.Run({"--simulate", "--json", "health"});
  EXPECT_EQ(doc.exitCode, 0) << Describe(doc);
  EXPECT_EQ(json::parse(doc.out)["health"]["healthy"], true);
}

// The inventory "ailing" has its controller B offline and one failed drive.
TEST_F(CliHealth, AFailedDriveAndAnOfflineControllerOneLineEach) {
  const CliResult text = runner_.Run({"--simulate=ailing", "health"});
  EXPECT_EQ(text.exitCode, 1) << Describe(text);
  EXPECT_EQ(text.out,
            "Controller 1 in subsystem 0 (Controller B;IP=10.11.0.12): Offline, Failed\n"
            "Drive 11 in subsystem 0 (KESTREL KS600SAS s/n KSL00012SAS rev 0006 id 0.11 (SAS)): "
            "Failed, Failed\n")
      << Describe(text);

  const CliResult doc = runner_.Run({"--simulate=ailing", "--json", "health"});
  EXPECT_EQ(doc.exitCode, 1) << Describe(doc);
  const json health = json::parse(doc.out)["health"];
  EXPECT_EQ(health["healthy"], false);
  ASSERT_EQ(health["problems"].size(), 2u);
  EXPECT_EQ(health["problems"][0]["kind"], "controller");
  EXPECT_EQ(health["problems"][0]["statusName"], "offline");
  EXPECT_EQ(health["problems"][1]["kind"], "drive");
  EXPECT_EQ(health["problems"][1]["index"], 11);
  EXPECT_EQ(health["problems"][1]["healthName"], "failed");
}

}  // namespace
}  // namespace vdsctl_test
