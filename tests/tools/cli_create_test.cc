// `vdsctl create lun` and `unmask lun`, one-shot and in the shell, against the in-process
// simulator: results, usage errors, failed calls and exit codes.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "tests/tools/cli_runner.h"

namespace vdsctl_test {
namespace {

using nlohmann::json;

class CliCreate : public ::testing::Test {
 protected:
  CliRunner runner_;
};

TEST_F(CliCreate, CreatesAndPrintsTheLun) {
  const CliResult created =
      runner_.Run({"--simulate=blank", "--json", "create", "lun", "raid5", "size=10GB",
                   "drives=0,1,2", "stripesize=32KB", "unmask=20000000aabbcc01;20000000aabbcc02"});
  ASSERT_EQ(created.exitCode, 0) << Describe(created);
  const json lun = json::parse(created.out)["lun"];
  EXPECT_EQ(lun["type"], 18);
  EXPECT_EQ(lun["ullSize"], 10ULL << 30);
  EXPECT_EQ(lun["index"], 0);
  EXPECT_EQ(lun["pwszUnmaskingList"], "20000000AABBCC01;20000000AABBCC02");

  const CliResult text = runner_.Run({"--simulate=blank", "create", "lun", "mirror", "size=512"});
  ASSERT_EQ(text.exitCode, 0) << Describe(text);
  EXPECT_TRUE(std::regex_search(text.out, std::regex("^LUN 0 created: Mirror, 512 MB, on "
                                                     "controller [AB]\\.\n")))
      << text.out;
  EXPECT_NE(text.out.find("VDS_LUN_0"), std::string::npos);

  // type=N, hints, maximum drives and the second interface.
  const CliResult hinted =
      runner_.Run({"--simulate=blank", "--json", "--hints2", "create", "lun", "type=14", "size=1GB",
                   "hints=0x8000000000000002", "mostlyreads=true", "maxdrives=5"});
  ASSERT_EQ(hinted.exitCode, 0) << Describe(hinted);
  EXPECT_EQ(json::parse(hinted.out)["lun"]["type"], 18) << "RAID 5 by the private bit";
}

TEST_F(CliCreate, UsageErrorsExit2AndChangeNothing) {
  const std::vector<std::vector<std::string>> cases = {
      {"create", "lun"},
      {"create", "lun", "raid7"},
      {"create", "volume", "raid5"},
      {"create", "lun", "raid5", "raid6"},
      {"create", "lun", "raid5", "size=10XB"},
      {"create", "lun", "raid5", "size=99999999999TB"},
      {"create", "lun", "raid5", "size=-1"},
      {"create", "lun", "raid5", "drives=0,0,1"},
      {"create", "lun", "raid5", "drives=0,-1"},
      {"create", "lun", "raid5", "drives=0,,1"},
      {"create", "lun", "raid5", "drives=0,1,99"},
      {"create", "lun", "raid5", "hotspare=maybe"},
      {"create", "lun", "raid5", "colour=blue"},
      {"unmask", "lun", "x", "all"},
      {"unmask", "lun", "0"},
      {"unmask", "lun", "0", "all"},
  };
  for (std::vector<std::string> args : cases) {
    args.insert(args.begin(), {"--simulate=blank", "--json"});
    const CliResult result = runner_.Run(args);
    EXPECT_EQ(result.exitCode, 2) << Describe(result);
    EXPECT_TRUE(json::parse(result.out)["error"].contains("message")) << Describe(result);
  }
  // A subsystem that is not there is a bad selection, as for every other command.
  const CliResult result =
      runner_.Run({"--simulate=blank", "--json", "create", "lun", "raid5", "--subsystem", "4"});
  EXPECT_EQ(result.exitCode, 5) << Describe(result);
}

TEST_F(CliCreate, FailedCallsNameTheMethodAndExit1) {
  const CliResult span = runner_.Run({"--simulate", "--json", "create", "lun", "span"});
  EXPECT_EQ(span.exitCode, 1) << Describe(span);
  EXPECT_EQ(json::parse(span.out)["error"]["call"], "IVdsSubSystem::CreateLun");
  EXPECT_EQ(json::parse(span.out)["error"]["name"], "VDS_E_NOT_SUPPORTED");
  const CliResult stripe =
      runner_.Run({"--simulate", "--json", "--hints2", "create", "lun", "raid5", "stripesize=8KB"});
  EXPECT_EQ(stripe.exitCode, 1) << Describe(stripe);
  EXPECT_EQ(json::parse(stripe.out)["error"]["call"], "IVdsSubSystem2::CreateLun2");
  EXPECT_EQ(json::parse(stripe.out)["error"]["name"], "E_INVALIDARG");
  const CliResult text = runner_.Run({"--simulate", "create", "lun", "raid5", "size=1023KB"});
  EXPECT_EQ(text.exitCode, 1);
  EXPECT_TRUE(text.out.empty());
  EXPECT_NE(text.err.find("IVdsSubSystem::CreateLun"), std::string::npos) << text.err;
}

TEST_F(CliCreate, UnmaskExistingLun) {
  const CliResult all =
      runner_.Run({"--simulate=two-subsystems", "--json", "unmask", "lun", "0", "all"});
  ASSERT_EQ(all.exitCode, 0) << Describe(all);
  EXPECT_EQ(json::parse(all.out), json({{"ok", true}}));
  const CliResult bad = runner_.Run(
      {"--simulate=two-subsystems", "--json", "unmask", "lun", "0", "20000000AABBCC01;;"});
  EXPECT_EQ(bad.exitCode, 1) << Describe(bad);
  EXPECT_EQ(json::parse(bad.out)["error"]["call"], "IVdsLun::SetMask");
}

TEST_F(CliCreate, ShellCreatesUnmasksAndGoesOnAfterNoerr) {
  const std::string script = runner_.WriteFile("create.txt",
                                               "create lun raid5 size=10GB drives=0,1,2\n"
                                               "create lun span noerr\n"
                                               "select lun 0\n"
                                               "unmask 20000000AABBCC01\n"
                                               "unmask 20000000AABBCC0 noerr\n"
                                               "detail lun\n");
  const CliResult result =
      runner_.Run({"--simulate", "--json", "shell", "--script", script}, "exit\n");
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  const std::vector<json> documents = JsonLines(result.out);
  ASSERT_EQ(documents.size(), 6u) << result.out;
  EXPECT_EQ(documents[0]["lun"]["type"], 18);
  EXPECT_EQ(documents[1]["error"]["call"], "IVdsSubSystem::CreateLun");
  EXPECT_EQ(documents[3], json({{"ok", true}}));
  EXPECT_EQ(documents[4]["error"]["call"], "IVdsLun::SetMask");
  EXPECT_EQ(documents[5]["lun"]["pwszUnmaskingList"], "20000000AABBCC01");

  // Without noerr a script stops at its first failure, with that exit code.
  const std::string stops = runner_.WriteFile("stops.txt", "create lun span\nlist luns\n");
  const CliResult stopped =
      runner_.Run({"--simulate", "--json", "shell", "--script", stops}, "exit\n");
  EXPECT_EQ(stopped.exitCode, 1) << Describe(stopped);
  EXPECT_EQ(stopped.out.find("\"luns\""), std::string::npos);
  const CliResult noSelection = runner_.Run({"--simulate", "shell"}, "unmask all\n");
  EXPECT_NE(noSelection.err.find("There is no LUN selected."), std::string::npos);
}

}  // namespace
}  // namespace vdsctl_test
