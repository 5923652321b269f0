// The one-shot command line as an administrator types it: objects by number, name or serial,
// commands in any case, mistakes answered in words.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/tools/cli_runner.h"

namespace vdsctl_test {
namespace {

using nlohmann::json;

constexpr char kTwoSubsystems[] = "--simulate=two-subsystems";

class CliAddressing : public ::testing::Test {
 protected:
  // The one JSON document of a run that must succeed.
  json Document(const std::vector<std::string>& args) {
    std::vector<std::string> all = {kTwoSubsystems, "--json"};
    all.insert(all.end(), args.begin(), args.end());
    const CliResult result = runner_.Run(all);
    EXPECT_EQ(result.exitCode, 0) << Describe(result);
    return json::parse(result.out, nullptr, false);
  }

  CliRunner runner_;
};

TEST_F(CliAddressing, ObjectsByNameAndSerial) {
  const json south = Document({"detail", "lun", "name=south_db", "--subsystem", "sim-array-south"});
  EXPECT_EQ(south["lun"]["pwszFriendlyName"], "south_db");
  EXPECT_EQ(south["lun"]["subsystem"], 1);

  const json drive = Document({"detail", "drive", "serial=S4D0402"});
  EXPECT_EQ(drive["drive"]["pwszIdentification"], "S4D0402");
  EXPECT_EQ(drive["drive"]["index"], 2);

  // Both arrays are of one model: their identification names both.
  const CliResult ambiguous =
      runner_.Run({kTwoSubsystems, "list", "luns", "--subsystem", "VELA TG-2024 SIM-FC-8G rev B"});
  EXPECT_EQ(ambiguous.exitCode, 5) << Describe(ambiguous);
  EXPECT_EQ(ambiguous.err,
            "'VELA TG-2024 SIM-FC-8G rev B' names subsystems 0, 1; give the number.\n");
}

TEST_F(CliAddressing, ASubsystemThatIsNotThereIsABadSelection) {
  const CliResult result = runner_.Run({kTwoSubsystems, "list", "drives", "--subsystem", "2"});
  EXPECT_EQ(result.exitCode, 5) << Describe(result);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "There is no subsystem 2 (subsystems: 0, 1).\n");

  // Pools follow the filter: each lies on the drives of one subsystem.
  const json pools = Document({"list", "pools", "--subsystem", "1"});
  ASSERT_FALSE(pools["pools"].empty());
  for (const json& pool : pools["pools"]) EXPECT_EQ(pool["subsystem"], 1) << pool;
  EXPECT_LT(pools["pools"].size(), Document({"list", "pools"})["pools"].size());
}

TEST_F(CliAddressing, CommandsAsTheShellTakesThem) {
  EXPECT_FALSE(Document({"LIST", "DRIVE"})["drives"].empty());
  EXPECT_EQ(Document({"Detail", "Plex", "0"})["plex"]["index"], 0);
  EXPECT_EQ(Document({"list", "sub"})["subsystems"].size(), 2u);
}

TEST_F(CliAddressing, MistakesAreAnsweredInWords) {
  const CliResult command = runner_.Run({"lst", "drives"});
  EXPECT_EQ(command.exitCode, 2) << Describe(command);
  EXPECT_EQ(command.err.rfind("vdsctl: Unknown command 'lst'. Did you mean 'list'?\nUsage: ", 0),
            0u)
      << Describe(command);

  const CliResult kind = runner_.Run({"list", "drvies"});
  EXPECT_EQ(kind.exitCode, 2) << Describe(kind);
  EXPECT_NE(kind.err.find("Unknown object type 'drvies'. Did you mean 'drives'?"),
            std::string::npos)
      << Describe(kind);

  const CliResult number = runner_.Run({"--simulate", "detail", "drive", "x"});
  EXPECT_EQ(number.exitCode, 5) << Describe(number);
  EXPECT_EQ(number.err,
            "'x' names no drive: drive index must be a number from 0 to 23, or name=TEXT or "
            "serial=TEXT.\n");
}

TEST_F(CliAddressing, RegistryWarningsAppearWithSimulate) {
  const std::string registry = runner_.WriteFile(
      "broken.reg",
      "Windows Registry Editor Version 5.00\n\n"
      "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Parameters]\n"
      "\"Options\"=dword:zz\n");
  const CliResult result =
      runner_.Run({"--registry", registry, "--simulate", "--json", "list", "subsystems"});
  EXPECT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_NE(result.err.find("registry file " + registry + ": line 4: "), std::string::npos)
      << Describe(result);
  EXPECT_FALSE(json::parse(result.out, nullptr, false).is_discarded()) << Describe(result);
}

}  // namespace
}  // namespace vdsctl_test
