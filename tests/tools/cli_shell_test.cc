// `vdsctl shell` with scripts, as an administrator's script would run it.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <utility>
#include <vector>

#include "tests/tools/cli_runner.h"

namespace vdsctl_test {
namespace {

class CliShell : public ::testing::Test {
 protected:
  CliRunner runner_;
};

TEST_F(CliShell, SelectListAndDetailFromStandardInput) {
  const CliResult result = runner_.Run({"--simulate=two-subsystems", "shell"},
                                       "select subsystem 0\n"
                                       "select lun 0\n"
                                       "list luns\n"
                                       "detail\n"
                                       "sel drive 1\n"
                                       "list drives\n"
                                       "detail drive\n"
                                       "exit\n");
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  const std::string& out = result.out;
  EXPECT_NE(out.find("Subsystem 0 is now the selected subsystem.\n"), std::string::npos);
  EXPECT_NE(out.find("LUN 0 is now the selected LUN.\n"), std::string::npos) << out;
  EXPECT_NE(out.find("* LUN 0 "), std::string::npos) << out;
  EXPECT_NE(out.find("\nLUN 0\n\n"), std::string::npos) << out;
  EXPECT_NE(out.find("Drive 1 is now the selected drive.\n"), std::string::npos) << out;
  EXPECT_NE(out.find("* Drive 1 "), std::string::npos) << out;
  EXPECT_NE(out.find("\nDrive 1\n\n"), std::string::npos) << out;
  EXPECT_EQ(out.find("VDSCTL>"), std::string::npos) << "a script shows no prompt";
}

TEST_F(CliShell, ABadSelectionStopsTheScriptWithExitCode5) {
  const CliResult result = runner_.Run({"--simulate=blank", "shell"},
                                       "select subsystem 0\n"
                                       "select lun 4096\n"
                                       "list luns\n");
  EXPECT_EQ(result.exitCode, 5) << Describe(result);
  EXPECT_EQ(result.err, "line 2: There is no LUN 4096 in subsystem 0 (subsystem 0 has no LUNs).\n");
  EXPECT_EQ(result.out.find("LUN ###"), std::string::npos) << Describe(result);

  const CliResult syntax = runner_.Run({"--simulate", "shell"}, "list gizmos\n");
  EXPECT_EQ(syntax.exitCode, 5) << Describe(syntax);
}

TEST_F(CliShell, ScriptFileInJsonModeRefreshesAndReenumerates) {
  const std::string script = runner_.WriteFile("session.txt",
                                               "# a comment\n"
                                               "select subsystem 0\n"
                                               "refresh provider\n"
                                               "reenumerate drives\n"
                                               "reenumerate subsystems\n"
                                               "select pool 0\n"
                                               "list pools\n"
                                               "help\n");
  const CliResult result =
      runner_.Run({"--simulate", "--json", "shell", "--script", script}, "exit\n");
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  std::istringstream lines(result.out);
  std::vector<nlohmann::json> documents;
  for (std::string line; std::getline(lines, line);) {
    auto document = nlohmann::json::parse(line);
    // Notifications may come in between when the simulator reports events.
    if (!document.contains("notification")) documents.push_back(std::move(document));
  }
  ASSERT_EQ(documents.size(), 7u) << Describe(result);
  EXPECT_EQ(documents[0]["selected"]["kind"], "subsystem");
  EXPECT_EQ(documents[1]["done"], "The provider has been refreshed.");
  EXPECT_EQ(documents[4]["selected"]["kind"], "pool");
  EXPECT_FALSE(documents[5]["pools"].empty());
  EXPECT_TRUE(documents[6]["help"].is_string());
}

// Scripts as editors on Windows save them: with a byte order mark, in UTF-8 or UTF-16.
TEST_F(CliShell, ScriptsWithAByteOrderMarkAndInUtf16) {
  const std::string commands = "select subsystem 0\r\nselect drive 99\r\n";
  std::string utf16le = "\xFF\xFE";
  std::string utf16be = "\xFE\xFF";
  for (char c : commands) {
    utf16le += std::string{c, '\0'};
    utf16be += std::string{'\0', c};
  }
  for (const auto& [name, bytes] :
       std::vector<std::pair<std::string, std::string>>{{"utf8.txt", "\xEF\xBB\xBF" + commands},
                                                        {"utf16le.txt", utf16le},
                                                        {"utf16be.txt", utf16be}}) {
    SCOPED_TRACE(name);
    const CliResult result =
        runner_.Run({"--simulate", "shell", "--script", runner_.WriteFile(name, bytes)});
    EXPECT_EQ(result.exitCode, 5) << Describe(result);
    EXPECT_EQ(result.out, "Subsystem 0 is now the selected subsystem.\n") << Describe(result);
    EXPECT_EQ(result.err.rfind("line 2: There is no drive 99 in subsystem 0", 0), 0u)
        << Describe(result);
  }
  const CliResult odd =
      runner_.Run({"--simulate", "shell", "--script", runner_.WriteFile("odd.txt", "\xFF\xFEs")});
  EXPECT_EQ(odd.exitCode, 3) << Describe(odd);
}

TEST_F(CliShell, PlexesAreSelectedAndDetailedLikeTheOtherKinds) {
  const CliResult result = runner_.Run({"--simulate=two-subsystems", "shell"},
                                       "select subsystem name=sim-array-south\n"
                                       "select plex 0\n"
                                       "detail\n"
                                       "select lun name=south_db\n");
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_NE(result.out.find("Plex 0 is now the selected plex.\n"), std::string::npos);
  EXPECT_NE(result.out.find("\nPlex 0\n\n  Subsystem "), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("LUN 0 is now the selected LUN.\n"), std::string::npos);
}

}  // namespace
}  // namespace vdsctl_test
