// `vdsctl shell` on a terminal, typed at as an administrator types: line editing and history,
// Ctrl-C and Ctrl-D, and notifications that arrive while a line is half typed.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/tools/cli_runner.h"

namespace vdsctl_test {
namespace {

using nlohmann::json;

constexpr char kCtrlC[] = "\x03";
constexpr char kCtrlD[] = "\x04";
constexpr char kUp[] = "\x1b[A";

class CliTerminal : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string why;
    simulator_ = runner_.StartSimulator(&why);
    ASSERT_TRUE(simulator_) << why;
    conf_ = runner_.WriteFile("sim.conf", ConfText(simulator_->Port()));
  }

  CliRunner runner_;
  std::unique_ptr<sim::Simulator> simulator_;
  std::string conf_;
};

TEST_F(CliTerminal, EditingHistoryInterruptAndEndOfInput) {
  auto session = runner_.StartOnTerminal({"--conf", conf_, "shell"});
  ASSERT_TRUE(session);
  ASSERT_TRUE(session->WaitFor("VDSCTL> ", 60)) << session->Finish().err;

  // Ctrl-C abandons a half-typed line: the next line is read alone.
  session->Write(std::string("detail drive 99") + kCtrlC);
  ASSERT_TRUE(session->WaitFor("^C", 30));
  ASSERT_TRUE(session->WaitForCount("VDSCTL> ", 2, 30)) << Describe(session->Finish());
  session->Write("list subsystems\r");
  ASSERT_TRUE(session->WaitForCount("VDSCTL> ", 3, 30)) << session->Finish().err;

  // The arrow key brings the last line back.
  session->Write(std::string(kUp) + "\r");
  EXPECT_TRUE(session->WaitForCount("Subsystem 0 ", 2, 30));
  ASSERT_TRUE(session->WaitForCount("VDSCTL> ", 4, 30));

  // A notification while a line is being typed: on its own line, naming the drive by its index,
  // and the typed text drawn again after it.
  const json dump = json::parse(simulator_->Admin("dump"));
  const std::string serial = dump["subsystems"][0]["drives"][3]["serialNumber"];
  session->Write("list dri");
  EXPECT_EQ(simulator_->Admin("fail drive " + serial), "ok");
  EXPECT_TRUE(session->WaitFor("Notification: Drive 3 ", 60)) << session->Finish().err;
  EXPECT_TRUE(session->WaitFor("VDSCTL> list dri", 30));

  // Ctrl-D on an empty line leaves.
  session->Write(std::string("\x15") + kCtrlD);  // Ctrl-U empties the line first
  const CliResult result = session->Finish();
  EXPECT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_EQ(result.err, "");

  // The next session has the lines of this one, not the abandoned one.
  auto next = runner_.StartOnTerminal({"--conf", conf_, "shell"});
  ASSERT_TRUE(next);
  ASSERT_TRUE(next->WaitFor("VDSCTL> ", 60));
  next->Write(std::string(kUp) + kUp + "\r");
  EXPECT_TRUE(next->WaitFor("Subsystem 0 ", 30));
  ASSERT_TRUE(next->WaitForCount("VDSCTL> ", 2, 30));
  next->Write(std::string(kUp) + kUp + kUp + "\r");
  ASSERT_TRUE(next->WaitForCount("VDSCTL> ", 3, 30));
  next->Write(kCtrlD);
  const CliResult again = next->Finish();
  EXPECT_EQ(again.exitCode, 0) << Describe(again);
  EXPECT_EQ(again.err, "") << "an abandoned line was kept";
}

}  // namespace
}  // namespace vdsctl_test
