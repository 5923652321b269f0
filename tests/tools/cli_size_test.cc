// `vdsctl maxsize`, `extend lun`, `shrink lun` and `create lun ... pool=N` against the
// in-process simulator: results, the progress display of an extension, usage errors, failed
// calls and exit codes.
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>

#include "tests/tools/cli_runner.h"

namespace vdsctl_test {
namespace {

using nlohmann::json;

class CliSize : public ::testing::Test {
 protected:
  // The blank inventory with background jobs slow enough to watch.
  std::string SlowJobs() {
    std::ifstream in(std::string(VDSCTL_INVENTORY_DIR) + "/blank.json");
    json inventory = json::parse(in);
    inventory["globals"]["jobPercentPerSecond"] = 2;
    return runner_.WriteFile("slow.json", inventory.dump());
  }

  CliRunner runner_;
};

TEST_F(CliSize, MaxSizeInJsonAndInWords) {
  const CliResult json3 =
      runner_.Run({"--simulate", "--json", "maxsize", "create", "raid5", "drives=0,1,2"});
  ASSERT_EQ(json3.exitCode, 0) << Describe(json3);
  const uint64_t three = json::parse(json3.out)["size"];
  EXPECT_GT(three, 1ULL << 40);
  EXPECT_EQ(three % (1 << 20), 0u);
  // Hints: a hot spare asked for leaves the size of a new vdisk as it is counted.
  const CliResult hinted = runner_.Run({"--simulate", "--json", "maxsize", "create", "mirror",
                                        "drives=0,1", "hints=0x200", "maxdrives=2"});
  ASSERT_EQ(hinted.exitCode, 0) << Describe(hinted);
  const uint64_t mirror = json::parse(hinted.out)["size"];
  EXPECT_LE(mirror, three / 2 + (1 << 20));
  EXPECT_GE(mirror + (1 << 20), three / 2);
  const CliResult words = runner_.Run({"--simulate", "maxsize", "create", "raid5"});
  ASSERT_EQ(words.exitCode, 0) << Describe(words);
  EXPECT_TRUE(std::regex_search(words.out, std::regex("^[0-9.]+ TB \\([0-9]+ bytes\\)\n$")))
      << words.out;
  // The pools: primordial ones answer for their free drives.
  const CliResult pool = runner_.Run({"--simulate", "--json", "maxsize", "pool", "0", "raid5"});
  ASSERT_EQ(pool.exitCode, 0) << Describe(pool);
  EXPECT_GT(json::parse(pool.out)["size"].get<uint64_t>(), 0u);
  // An existing LUN.
  const CliResult extend =
      runner_.Run({"--simulate=two-subsystems", "--json", "maxsize", "extend", "lun", "0"});
  ASSERT_EQ(extend.exitCode, 0) << Describe(extend);
  EXPECT_TRUE(json::parse(extend.out).contains("size"));
}

TEST_F(CliSize, UsageErrorsExit2FailedCallsExit1) {
  const std::vector<std::vector<std::string>> usage = {
      {"maxsize"},
      {"maxsize", "create"},
      {"maxsize", "create", "raid7"},
      {"maxsize", "create", "raid5", "size=1GB"},
      {"maxsize", "create", "raid5", "drives=0,0"},
      {"maxsize", "pool", "x", "raid5"},
      {"maxsize", "pool", "0"},
      {"maxsize", "extend", "lun"},
      {"maxsize", "extend", "lun", "0", "size=1GB"},
      {"extend", "lun"},
      {"extend", "lun", "0", "size=1XB"},
      {"extend", "lun", "0", "stripesize=16KB"},
      {"shrink", "lun", "0"},
      {"shrink", "lun", "0", "size=1GB", "drives=1"},
      {"create", "lun", "raid5", "pool=0", "drives=0,1,2"},
      {"create", "lun", "raid5", "pool=x"},
  };
  for (std::vector<std::string> args : usage) {
    args.insert(args.begin(), {"--simulate", "--json"});
    const CliResult result = runner_.Run(args);
    EXPECT_EQ(result.exitCode, 2) << Describe(result);
    EXPECT_TRUE(json::parse(result.out)["error"].contains("message")) << Describe(result);
  }
  // Objects that are not there.
  for (std::vector<std::string> args :
       std::vector<std::vector<std::string>>{{"maxsize", "pool", "9", "raid5"},
                                             {"maxsize", "create", "raid5", "drives=99"},
                                             {"extend", "lun", "5"},
                                             {"create", "lun", "raid5", "pool=9"}}) {
    args.insert(args.begin(), {"--simulate", "--json"});
    const CliResult result = runner_.Run(args);
    EXPECT_EQ(result.exitCode, 2) << Describe(result);
  }
  const CliResult span = runner_.Run({"--simulate", "--json", "maxsize", "create", "span"});
  EXPECT_EQ(span.exitCode, 1) << Describe(span);
  EXPECT_EQ(json::parse(span.out)["error"]["call"], "IVdsSubSystem::QueryMaxLunCreateSize");
  EXPECT_EQ(json::parse(span.out)["error"]["name"], "E_INVALIDARG");
  const CliResult shrink =
      runner_.Run({"--simulate=two-subsystems", "--json", "shrink", "lun", "0", "size=1GB"});
  EXPECT_EQ(shrink.exitCode, 1) << Describe(shrink);
  EXPECT_EQ(json::parse(shrink.out)["error"]["name"], "VDS_E_NOT_SUPPORTED");
}

TEST_F(CliSize, ExtendShowsProgressOnlyInWords) {
  const std::string inventory = SlowJobs();
  const std::string byDrives = runner_.WriteFile("drives.txt",
                                                 "create lun raid5 size=10GB drives=0,1,2\n"
                                                 "extend lun 0 drives=3\n");
  const CliResult words =
      runner_.Run({"--simulate=" + inventory, "shell", "--script", byDrives}, "exit\n");
  ASSERT_EQ(words.exitCode, 0) << Describe(words);
  EXPECT_TRUE(std::regex_search(words.out, std::regex("LUN 0 extended: 10 GB to [0-9.]+ TB\\.")))
      << words.out;
  // Without a terminal: a line for each tenth reached, never the same tenth twice.
  std::set<std::string> tenths;
  std::istringstream lines(words.err);
  const std::regex progress("^Extending \\[[# ]{30}\\] +([0-9]+)%  [0-9]+:[0-9]{2}$");
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    if (!std::regex_match(line, match, progress)) continue;
    const std::string tenth = std::to_string(std::stoi(match[1]) / 10);
    EXPECT_TRUE(tenths.insert(tenth).second) << words.err;
  }
  EXPECT_GE(tenths.size(), 3u) << words.err;
  EXPECT_TRUE(tenths.count("10")) << "ends at 100 %: " << words.err;
  EXPECT_EQ(words.err.find('\r'), std::string::npos);

  // With --json: the LUN after the wait, and no progress at all.
  const std::string script = runner_.WriteFile("extend.txt",
                                               "create lun raid5 size=10GB drives=0,1,2\n"
                                               "extend lun 0 size=1GB\n"
                                               "extend lun 0 drives=3\n");
  const CliResult quiet =
      runner_.Run({"--simulate=" + inventory, "--json", "shell", "--script", script}, "exit\n");
  ASSERT_EQ(quiet.exitCode, 0) << Describe(quiet);
  const std::vector<json> documents = JsonLines(quiet.out);
  ASSERT_EQ(documents.size(), 3u) << quiet.out;
  EXPECT_EQ(documents[1]["lun"]["ullSize"], 11ULL << 30);
  EXPECT_GT(documents[2]["lun"]["ullSize"].get<uint64_t>(), 1ULL << 40);
  EXPECT_EQ(quiet.err.find("Extending"), std::string::npos) << quiet.err;
}

TEST_F(CliSize, CreateInPools) {
  // Pool 0 is a primordial pool; its drives make the vdisk. Then the vdisk's pool takes the next.
  const std::string script = runner_.WriteFile("pools.txt",
                                               "create lun raid5 pool=1 size=10GB\n"
                                               "list pools\n"
                                               "create lun default pool=3 size=1GB\n"
                                               "list luns\n");
  const CliResult result =
      runner_.Run({"--simulate=blank", "--json", "shell", "--script", script}, "exit\n");
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  const std::vector<json> documents = JsonLines(result.out);
  ASSERT_EQ(documents.size(), 4u) << result.out;
  EXPECT_EQ(documents[0]["lun"]["type"], 18);
  ASSERT_EQ(documents[1]["pools"].size(), 4u) << documents[1].dump();
  EXPECT_EQ(documents[1]["pools"][3]["type"], 2) << "the new vdisk's pool";
  EXPECT_EQ(documents[2]["lun"]["type"], 18) << "the vdisk's type";
  EXPECT_EQ(documents[3]["luns"].size(), 2u);
}

}  // namespace
}  // namespace vdsctl_test
