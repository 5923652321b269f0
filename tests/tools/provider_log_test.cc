// The provider's debug log read back into the state of its proxy session.
#include "tools/vdsctl/provider_log.h"

#include <gtest/gtest.h>

namespace vdsctl {
namespace {

// Lines as the provider writes them, with its time stamp and process/thread prefix.
std::string Log(std::initializer_list<const char*> lines) {
  std::string text;
  for (const char* line : lines) {
    text += "Nov 25, 2026 04:00:00: [1234/1234] ";
    text += line;
    text += "\n";
  }
  return text;
}

constexpr const char* kStart[] = {"AgentIP = 10.0.0.5", "UserName = admin",
                                  "Proxy Listen Port = 5000", "Connecting to 10.0.0.5 ... "};

TEST(SessionReport, EachWayTheSessionEnds) {
  struct Case {
    std::string log;
    SessionState state;
    std::string text;
  };
  const std::string start = Log({kStart[0], kStart[1], kStart[2], kStart[3]});
  const std::vector<Case> cases = {
      {Log({"Cannot open file: /etc/velavds/tidegate.conf", "Read proxy confige file failed!"}),
       SessionState::kNoConfig,
       "No proxy is configured: the provider found no complete tidegate.conf."},
      {start + Log({"socket connect to port 5000 failed, error 111"}), SessionState::kRefused,
       "The proxy at 10.0.0.5:5000 cannot be used: connection refused."},
      {start + Log({"Success!",
                    "Version incompatibility! The version of the tidegate and the "
                    "vds provider must match."}),
       SessionState::kHandshake,
       "The proxy at 10.0.0.5:5000 cannot be used: handshake refused (its protocol version does "
       "not match the provider's)."},
      {start + Log({"Success!", "invalid password."}), SessionState::kLogon,
       "The proxy at 10.0.0.5:5000 cannot be used: logon refused (invalid password)."},
      // An unknown user is printed, not logged: the logon simply stops.
      {start + Log({"Success!"}), SessionState::kLogon,
       "The proxy at 10.0.0.5:5000 cannot be used: logon refused."},
      {start + Log({"Success!", "OOP!! exec_cmnd FD_ISSET error"}), SessionState::kNoAnswer,
       "The proxy at 10.0.0.5:5000 cannot be used: no answer."},
      {start + Log({"Success!",
                    "OOP!!! CProvider::OnLoad() get_subsystems(VecSub) failed!, line = "
                    "239"}),
       SessionState::kNoList, "The proxy at 10.0.0.5:5000 cannot be used: subsystem list refused."},
      {Log({"CProvider::OnLoad() g_pProvider 0 this 1"}), SessionState::kUnknown, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.log);
    const SessionReport report = ReadSessionReport(c.log);
    EXPECT_EQ(report.state, c.state);
    EXPECT_EQ(SessionFailureText(report), c.text);
  }
}

TEST(SessionReport, CountsListedAndSkippedSubsystems) {
  const SessionReport report = ReadSessionReport(
      Log({kStart[0], kStart[2], kStart[3], "Success!", "nSubSystem = 2",
           "CProvider::OnLoad() subsystem busType will be skip, UniqueSN = X, controllerA = 1, "
           "controllerB = 2",
           "Setting provider online"}));
  EXPECT_EQ(report.state, SessionState::kUp);
  EXPECT_EQ(report.listed, 2);
  EXPECT_EQ(report.skipped, 1);
  EXPECT_EQ(SessionFailureText(report), "");
  EXPECT_EQ(ProxyAddressText(report), "10.0.0.5:5000");
  EXPECT_EQ(ProxyAddressText(SessionReport{}), "the configured address");
}

}  // namespace
}  // namespace vdsctl
