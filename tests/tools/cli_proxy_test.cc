// vdsctl against proxies that are not there, refuse it or stay silent: a failure is never an
// empty list, and nothing but the document reaches standard output.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "tests/tools/cli_runner.h"

namespace vdsctl_test {
namespace {

using nlohmann::json;

// A loopback TCP port that is bound and listening (connections complete in the kernel) but
// never answers, or, once closed, a port where nothing listens.
class SilentPort {
 public:
  SilentPort() {
    fd_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(fd_, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(fd_, 16) != 0 ||
        getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      ADD_FAILURE() << "cannot listen on loopback";
    }
    port_ = ntohs(address.sin_port);
  }
  ~SilentPort() { Close(); }
  void Close() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
  }
  int Port() const { return port_; }

 private:
  int fd_ = -1;
  int port_ = 0;
};

class CliProxy : public ::testing::Test {
 protected:
  CliRunner runner_;
};

TEST_F(CliProxy, AClosedPortIsAServiceFailureNamingTheAddress) {
  SilentPort closed;
  const int port = closed.Port();
  closed.Close();
  const std::string conf = runner_.WriteFile("closed.conf", ConfText(port));
  const std::string where = "127.0.0.1:" + std::to_string(port);

  const CliResult text = runner_.Run({"--conf", conf, "list", "drives"});
  EXPECT_EQ(text.exitCode, 4) << Describe(text);
  EXPECT_EQ(text.out, "");
  EXPECT_EQ(text.err, "The proxy at " + where + " cannot be used: connection refused.\n");

  const CliResult doc = runner_.Run({"--conf", conf, "--json", "list", "subsystems"});
  EXPECT_EQ(doc.exitCode, 4) << Describe(doc);
  const json error = json::parse(doc.out)["error"];
  EXPECT_EQ(error["proxy"], where);
  EXPECT_EQ(error["cause"], "connection refused");

  // The provider's own properties need no proxy.
  EXPECT_EQ(runner_.Run({"--conf", conf, "provider"}).exitCode, 0);
}

TEST_F(CliProxy, ARefusedLogonKeepsTheModulesOutputOffTheDocument) {
  std::string why;
  auto simulator = runner_.StartSimulator(&why);
  ASSERT_TRUE(simulator) << why;
  const int port = simulator->Port();
  struct Case {
    const char* user;
    const char* password;
    const char* text;
  };
  for (const Case& c : {Case{"admin", "wrong", "logon refused (invalid password)"},
                        Case{"nobody", "password", "logon refused"}}) {
    SCOPED_TRACE(c.user);
    const std::string conf = runner_.WriteFile("refused.conf", ConfText(port, c.user, c.password));
    const CliResult doc = runner_.Run({"--conf", conf, "--json", "list", "drives"});
    EXPECT_EQ(doc.exitCode, 4) << Describe(doc);
    // The module prints "unknown user." for an unknown user; it goes to standard error.
    const json parsed = json::parse(doc.out, nullptr, false);
    ASSERT_FALSE(parsed.is_discarded()) << Describe(doc);
    EXPECT_EQ(parsed["error"]["cause"], "logon refused");

    const CliResult text = runner_.Run({"--conf", conf, "list", "drives"});
    EXPECT_EQ(text.exitCode, 4) << Describe(text);
    EXPECT_EQ(text.out, "");
    EXPECT_NE(text.err.find(std::string(c.text) + ".\n"), std::string::npos) << Describe(text);
  }
}

TEST_F(CliProxy, ASilentProxyIsBoundedByTimeout) {
  SilentPort silent;
  const std::string conf = runner_.WriteFile("silent.conf", ConfText(silent.Port()));
  const std::string where = "127.0.0.1:" + std::to_string(silent.Port());

  const CliResult text = runner_.Run({"--conf", conf, "--timeout", "1", "list", "luns"});
  EXPECT_EQ(text.exitCode, 4) << Describe(text);
  EXPECT_EQ(text.out, "");
  EXPECT_EQ(text.err, "the proxy at " + where + " did not answer within 1 s\n");

  const CliResult doc = runner_.Run({"--conf", conf, "--json", "--timeout", "1", "list", "luns"});
  EXPECT_EQ(doc.exitCode, 4) << Describe(doc);
  EXPECT_EQ(json::parse(doc.out)["error"]["cause"], "no answer");
  // Its private folder goes with it.
  for (const auto& entry : std::filesystem::directory_iterator(runner_.Dir())) {
    EXPECT_EQ(entry.path().extension(), ".conf") << "left behind: " << entry.path();
  }
}

TEST_F(CliProxy, OnlyIscsiSubsystemsAreSaidToBeSkipped) {
  const CliResult text = runner_.Run({"--simulate=iscsi-only", "list", "subsystems"});
  EXPECT_EQ(text.exitCode, 0) << Describe(text);
  EXPECT_EQ(text.err,
            "the proxy lists 1 subsystem; none is managed by this provider: iSCSI-only subsystems "
            "are skipped\n");
  const CliResult doc = runner_.Run({"--simulate=iscsi-only", "--json", "list", "subsystems"});
  EXPECT_EQ(doc.exitCode, 0) << Describe(doc);
  EXPECT_EQ(json::parse(doc.out), json::parse(R"({"subsystems":[]})"));
}

// The shell, on a terminal, tells when the provider loses its proxy and when it gets it back,
// and marks what it lists in between.
TEST_F(CliProxy, TheShellSaysWhenTheProxyIsLostAndRestored) {
  std::string why;
  auto simulator = runner_.StartSimulator(&why);
  ASSERT_TRUE(simulator) << why;
  const int port = simulator->Port();
  const std::string where = "127.0.0.1:" + std::to_string(port);
  const std::string conf = runner_.WriteFile("sim.conf", ConfText(port));
  auto session = runner_.StartOnTerminal({"--conf", conf, "shell"});
  ASSERT_TRUE(session);
  ASSERT_TRUE(session->WaitFor("VDSCTL> ", 30)) << session->Finish().err;
  session->Write("list subsystems\r");
  ASSERT_TRUE(session->WaitFor("Subsystem 0 ", 30)) << session->Finish().out;
  ASSERT_TRUE(session->WaitForCount("VDSCTL> ", 2, 30));

  simulator->Stop();
  simulator.reset();
  ASSERT_TRUE(session->WaitFor(
      "Connection to the proxy at " + where + " lost; what is listed may be out of date.", 60))
      << session->Finish().err;
  session->Write("list subsystems\r");
  ASSERT_TRUE(session->WaitFor("(Listed while the connection to the proxy is lost.)", 30));
  ASSERT_TRUE(session->WaitForCount("VDSCTL> ", 4, 30));

  simulator = runner_.StartSimulator(&why, where);
  ASSERT_TRUE(simulator) << why;
  EXPECT_TRUE(session->WaitFor("Connection to the proxy at " + where + " restored.", 60))
      << session->Finish().err;
  session->Write("exit\r");
  const CliResult result = session->Finish();
  EXPECT_EQ(result.exitCode, 0) << Describe(result);
}

}  // namespace
}  // namespace vdsctl_test
