#include "tools/vdsctl/shell.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/tools/fake_provider.h"

namespace vdsctl {
namespace {

class ShellTest : public ::testing::Test {
 protected:
  ShellTest() { provider_.Attach(vdsctl_test::NewFakeProvider(&settings_)); }

  ExitCode RunScript(const std::string& script, bool json = false, bool interactive = false) {
    out_.str("");
    err_.str("");
    Output output(json, false, out_, err_);
    Model model(provider_.Get());
    Commands commands(&model, &output);
    // A fresh shell per script, as each vdsctl run starts without a focus.
    Shell shell(&model, &commands, &output);
    std::istringstream in(script);
    return shell.Run(in, interactive);
  }

  vdsctl_test::FakeSettings settings_;
  ComPtr<IVdsProvider> provider_;
  std::ostringstream out_;
  std::ostringstream err_;
};

TEST_F(ShellTest, SelectListAndDetailFollowTheFocus) {
  EXPECT_EQ(RunScript("select subsystem 0\n"
                      "select lun 1\n"
                      "list luns\n"
                      "detail\n"
                      "select lun\n"),
            kExitOk)
      << err_.str();
  const std::string out = out_.str();
  EXPECT_NE(out.find("Subsystem 0 is now the selected subsystem.\n"), std::string::npos);
  EXPECT_NE(out.find("LUN 1 is now the selected LUN.\n"), std::string::npos);
  EXPECT_NE(out.find("  LUN 0    VDS_LUN_0"), std::string::npos) << out;
  EXPECT_NE(out.find("* LUN 1    VDS_LUN_1"), std::string::npos) << out;
  EXPECT_NE(out.find("LUN 1\n\n  Subsystem "), std::string::npos) << out;
  EXPECT_NE(out.find("LUN 1 is the selected LUN.\n"), std::string::npos);
  EXPECT_EQ(err_.str(), "");
}

TEST_F(ShellTest, ListsOnlyTheSelectedSubsystem) {
  EXPECT_EQ(RunScript("list drives\nselect subsystem 1\nlist drives\n"), kExitOk);
  const std::string out = out_.str();
  // All subsystems first, grouped; then the second one alone.
  EXPECT_NE(out.find("Subsystem 0\n\n  Drive ###"), std::string::npos) << out;
  const size_t selected = out.find("Subsystem 1 is now the selected subsystem.\n");
  ASSERT_NE(selected, std::string::npos);
  EXPECT_EQ(out.substr(selected).find("Subsystem 1\n\n"), std::string::npos) << out;
  EXPECT_NE(out.substr(selected).find("  Drive 0    Online"), std::string::npos) << out;
}

TEST_F(ShellTest, ABadSelectionEndsAScriptWithCode5) {
  EXPECT_EQ(RunScript("select subsystem 0\nselect drive 7\nlist drives\n"), kExitSyntax);
  EXPECT_EQ(err_.str(),
            "line 2: There is no drive 7 in subsystem 0 (drive index must be a number from 0 to "
            "2).\n");
  EXPECT_EQ(out_.str().find("Drive ###"), std::string::npos);

  EXPECT_EQ(RunScript("select lun 0\n"), kExitSyntax);
  EXPECT_EQ(err_.str(), "line 1: There is no subsystem selected.\n");

  EXPECT_EQ(RunScript("detail\n"), kExitSyntax);
  EXPECT_EQ(err_.str(), "line 1: There is no object selected.\n");

  EXPECT_EQ(RunScript("select pool 2\n"), kExitSyntax);
  EXPECT_EQ(err_.str(), "line 1: There is no pool 2 (pool index must be a number from 0 to 1).\n");

  EXPECT_EQ(RunScript("selcet lun 0\n"), kExitSyntax);
  EXPECT_EQ(err_.str(), "line 1: Unknown command 'selcet'. Did you mean 'select'?\n");
}

TEST_F(ShellTest, InteractiveSessionsGoOnAfterErrors) {
  EXPECT_EQ(RunScript("select drive 9\nselect pool 1\nexit\nlist pools\n", false, true), kExitOk);
  const std::string out = out_.str();
  EXPECT_EQ(out.find("VDSCTL> "), 0u);
  EXPECT_NE(out.find("Pool 1 is now the selected pool.\n"), std::string::npos);
  // Nothing runs after exit.
  EXPECT_EQ(out.find("Pool ###"), std::string::npos);
}

TEST_F(ShellTest, AFailedCallEndsAScriptWithCode1) {
  settings_.poolsResult = VDS_E_NOT_SUPPORTED;
  EXPECT_EQ(RunScript("list pools\nlist drives\n"), kExitFatal);
  EXPECT_EQ(err_.str(),
            "line 1: IVdsHwProviderStoragePools::QueryStoragePools failed: VDS_E_NOT_SUPPORTED "
            "(0x80042400).\n");

  settings_.refreshResult = VDS_E_INTERNAL_ERROR;
  EXPECT_EQ(RunScript("refresh provider\n", true), kExitFatal);
  EXPECT_EQ(out_.str(), R"({"error":{"hr":"0x80042448","name":"VDS_E_INTERNAL_ERROR",)"
                        R"("call":"IVdsHwProvider::Refresh","line":1}})"
                        "\n");
}

TEST_F(ShellTest, RefreshAndReenumerateReachTheProvider) {
  EXPECT_EQ(RunScript("refresh provider\nselect subsystem 1\nreenumerate drives\n"
                      "reenumerate subsystems\n"),
            kExitOk);
  EXPECT_EQ(settings_.refreshCalls, 1);
  EXPECT_EQ(settings_.reenumerateDriveCalls, 1);
  EXPECT_NE(out_.str().find("The provider has enumerated the drives again.\n"), std::string::npos);
}

TEST_F(ShellTest, JsonModeWritesOneDocumentPerCommand) {
  EXPECT_EQ(RunScript("select subsystem 0\nselect controller 1\nlist controllers\n"
                      "detail controller\nrefresh provider\nhelp\nselect drive 5\n",
                      true),
            kExitSyntax);
  std::istringstream lines(out_.str());
  std::vector<Json> documents;
  for (std::string line; std::getline(lines, line);) documents.push_back(Json::parse(line));
  ASSERT_EQ(documents.size(), 7u) << out_.str();
  EXPECT_EQ(documents[1]["selected"]["kind"], "controller");
  EXPECT_EQ(documents[1]["selected"]["index"], 1);
  EXPECT_EQ(documents[1]["selected"]["subsystem"], 0);
  EXPECT_EQ(documents[2]["controllers"].size(), 2u);
  EXPECT_EQ(documents[3]["controller"]["pwszFriendlyName"], "Controller B");
  EXPECT_EQ(documents[4]["done"], "The provider has been refreshed.");
  EXPECT_TRUE(documents[5]["help"].is_string());
  EXPECT_EQ(documents[6]["error"]["message"],
            "There is no drive 5 in subsystem 0 (drive index must be a number from 0 to 2).");
}

// A line that is not UTF-8 is refused in a document that is itself valid UTF-8 (it used to
// abort the tool from inside the JSON writer).
TEST_F(ShellTest, JsonModeRefusesALineThatIsNotUtf8) {
  EXPECT_EQ(RunScript("s\xffk 0\n", true), kExitSyntax);
  const Json document = Json::parse(out_.str());
  EXPECT_EQ(document["error"]["message"], "Unknown command 's\xEF\xBF\xBDk'.");
}

TEST_F(ShellTest, SelectingAnotherSubsystemDropsTheFocusWithinTheOld) {
  EXPECT_EQ(RunScript("select subsystem 0\nselect drive 2\nselect subsystem 1\ndetail drive\n"),
            kExitSyntax);
  EXPECT_EQ(err_.str(), "line 4: There is no drive selected.\n");
}

TEST(Output, ALineFromAnotherThreadGoesBelowTheWaitingPrompt) {
  std::ostringstream out, err;
  Output output(false, false, out, err);
  output.Prompt("VDSCTL> ");
  output.ConnectionChanged(true, "10.0.0.5:5000");
  EXPECT_EQ(out.str(),
            "VDSCTL> \nConnection to the proxy at 10.0.0.5:5000 lost; what is listed may be out of "
            "date.\nVDSCTL> ");
  output.PromptAnswered();
  output.ConnectionChanged(false, "10.0.0.5:5000");
  EXPECT_EQ(out.str().substr(out.str().rfind("VDSCTL> ") + 8),
            "Connection to the proxy at 10.0.0.5:5000 restored.\n");
  EXPECT_FALSE(output.ConnectionLost());
}

}  // namespace
}  // namespace vdsctl
