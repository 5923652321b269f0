// `vdsctl shell` with scripts, as an administrator's script would run it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/tools/cli_runner.h"

namespace vdsctl_test {
namespace {

class CliShell : public ::testing::Test {
 protected:
  CliRunner runner_;
};

// A bad selection stops the script with exit code 5: the lines after it do not run.
TEST_F(CliShell, SelectListAndDetailFromStandardInputUntilABadSelection) {
  const CliResult result = runner_.Run({"--simulate=two-subsystems", "shell"},
                                       "select subsystem 0\n"
                                       "select lun 0\n"
                                       "list luns\n"
                                       "detail\n"
                                       "select lun 7\n"
                                       "list luns\n");
  EXPECT_EQ(result.exitCode, 5) << Describe(result);
  const std::string& out = result.out;
  EXPECT_NE(out.find("Subsystem 0 is now the selected subsystem.\n"), std::string::npos);
  EXPECT_NE(out.find("LUN 0 is now the selected LUN.\n"), std::string::npos) << out;
  EXPECT_NE(out.find("* LUN 0 "), std::string::npos) << out;
  EXPECT_NE(out.find("\nLUN 0\n\n"), std::string::npos) << out;
  EXPECT_EQ(out.find("VDSCTL>"), std::string::npos) << "a script shows no prompt";
  EXPECT_EQ(result.err,
            "line 5: There is no LUN 7 in subsystem 0 (LUN index must be a number from 0 to 1).\n");
  const size_t header = out.find("LUN ###");
  ASSERT_NE(header, std::string::npos) << out;
  EXPECT_EQ(out.find("LUN ###", header + 1), std::string::npos) << "listed once: " << out;

  const CliResult syntax = runner_.Run({"--simulate", "shell"}, "list gizmos\n");
  EXPECT_EQ(syntax.exitCode, 5) << Describe(syntax);
}

// Scripts as editors on Windows save them: with a byte order mark, in UTF-8 or UTF-16.
TEST_F(CliShell, ScriptsWithAByteOrderMarkAndInUtf16) {
  std::string utf16le = "\xFF\xFE";
  for (char c : std::string("select subsystem 0\r\nselect drive 99\r\n")) {
    utf16le += std::string{c, '\0'};
  }
  const CliResult result =
      runner_.Run({"--simulate", "shell", "--script", runner_.WriteFile("le.txt", utf16le)});
  EXPECT_EQ(result.exitCode, 5) << Describe(result);
  EXPECT_EQ(result.out, "Subsystem 0 is now the selected subsystem.\n") << Describe(result);
  EXPECT_EQ(result.err.rfind("line 2: There is no drive 99 in subsystem 0", 0), 0u)
      << Describe(result);
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
