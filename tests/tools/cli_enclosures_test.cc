// `vdsctl show enclosures` against the shipped small inventory: the text (golden), the JSON, the
// selection of a subsystem, and the blinking mark the shell keeps.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tests/tools/cli_runner.h"

namespace vdsctl_test {
namespace {

using nlohmann::json;

constexpr char kSmallMap[] =
    "Subsystem 0 (sim-small), enclosure 0, 12 slots\n"
    "  slot   0   1   2   3   4   5   6   7   8   9  10  11\n"
    "     0   A   A   A   o   B   B   o   o   S   .   X   M\n"
    "\n"
    "Legend: o free, A-Z member of a vdisk, S hot spare, X failed, M offline or missing, . empty "
    "slot, * blinking\n"
    "  A  subsystem 0: LUN 0 db, LUN 1 logs\n"
    "  B  subsystem 0: LUN 2 MIRROR(DummyVolume)\n";

class CliEnclosures : public ::testing::Test {
 protected:
  CliRunner runner_;
};

TEST_F(CliEnclosures, SmallInventoryAsTextAndJson) {
  const CliResult text = runner_.Run({"--simulate=small", "show", "enclosures"});
  ASSERT_EQ(text.exitCode, 0) << Describe(text);
  EXPECT_EQ(text.out, kSmallMap) << "piped: no colours";

  const CliResult data = runner_.Run({"--simulate=small", "--json", "show", "enclosures"});
  ASSERT_EQ(data.exitCode, 0) << Describe(data);
  const json map = json::parse(data.out);
  ASSERT_EQ(map["enclosures"].size(), 1u);
  const json& slots = map["enclosures"][0]["slots"];
  ASSERT_EQ(slots.size(), 12u);
  EXPECT_EQ(
      slots[0],
      json({{"slot", 0}, {"state", "member"}, {"drive", 0}, {"vdisk", "A"}, {"blinking", false}}));
  EXPECT_EQ(slots[8]["state"], "spare");
  EXPECT_EQ(slots[9], json({{"slot", 9}, {"state", "empty"}}));
  EXPECT_EQ(slots[10]["state"], "failed");
  EXPECT_EQ(slots[11]["state"], "missing");
  EXPECT_EQ(map["vdisks"][0]["luns"][1], json({{"index", 1}, {"name", "logs"}}));

  // A subsystem that is not there is a bad selection.
  EXPECT_EQ(runner_.Run({"--simulate=small", "show", "enclosures", "--subsystem", "1"}).exitCode,
            5);
  EXPECT_EQ(runner_.Run({"--simulate=small", "show", "drives"}).exitCode, 2);
}

TEST_F(CliEnclosures, ShellMarksTheDrivesItLit) {
  const CliResult result = runner_.Run({"--simulate=small", "shell"},
                                       "maintenance drive 3 blink\n"
                                       "show enclosures\n"
                                       "maintenance drive 3 unblink\n"
                                       "show enc\n");
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_NE(result.out.find("     0   A   A   A  o*   B   B"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("Drive 3 no longer blinks.\n" + std::string(kSmallMap)),
            std::string::npos)
      << result.out;
}

}  // namespace
}  // namespace vdsctl_test
