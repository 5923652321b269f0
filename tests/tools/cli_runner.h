// Runs the built vdsctl as a user would, in a child process, with a private scratch folder and
// the clock scaled down, and collects what it writes and how it ends.
#ifndef VELA_TESTS_TOOLS_CLI_RUNNER_H_
#define VELA_TESTS_TOOLS_CLI_RUNNER_H_

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "sim/simulator.h"

namespace vdsctl_test {

struct CliResult {
  int exitCode = -1;  // the exit status, or 128 + the signal that ended it
  std::string out;
  std::string err;
};

// A vdsctl that runs while the test talks to it through its standard input.
class CliSession {
 public:
  CliSession(int pid, int in, int out, int err) : pid_(pid), in_(in), out_(out), err_(err) {}
  ~CliSession();  // closes the input and waits for the end
  CliSession(const CliSession&) = delete;
  CliSession& operator=(const CliSession&) = delete;

  void Write(const std::string& text);
  // Reads standard output until it holds `text` (true) or `seconds` of real time pass (false).
  bool WaitFor(const std::string& text, int seconds);
  // The same until `text` stands there `count` times.
  bool WaitForCount(const std::string& text, size_t count, int seconds);
  // Closes the input and collects the rest and the exit status.
  CliResult Finish();

 private:
  void ReadAvailable(int timeoutMs);

  int pid_;
  int in_, out_, err_;
  CliResult result_;
  bool finished_ = false;
};

// The exit status and both streams of a run, for a failed assertion's message.
std::string Describe(const CliResult& result);

// The documents of a --json run, one a line, without the monitor's notifications (those come
// when they come).
std::vector<nlohmann::json> JsonLines(const std::string& out);

// A conf file's text for the proxy at the loopback `port`.
std::string ConfText(int port, const std::string& user = "admin",
                     const std::string& password = "password");

class CliRunner {
 public:
  CliRunner();   // makes the scratch folder
  ~CliRunner();  // removes it
  CliRunner(const CliRunner&) = delete;
  CliRunner& operator=(const CliRunner&) = delete;

  // vdsctl with `args`, `input` on its standard input.
  CliResult Run(const std::vector<std::string>& args, const std::string& input = "") const;

  // vdsctl with `args`, its standard input kept open for the session.
  std::unique_ptr<CliSession> Start(const std::vector<std::string>& args) const;
  // The same on a pseudo-terminal of 80 columns: standard input and output are the terminal,
  // standard error stays a pipe. Bytes written are typed keys (0x03 is Ctrl-C).
  std::unique_ptr<CliSession> StartOnTerminal(const std::vector<std::string>& args) const;

  // Writes a file into the scratch folder and gives its path.
  std::string WriteFile(const std::string& name, const std::string& text) const;

  // A simulator in this process, its log silenced and its pipe in the scratch folder, that a
  // run reaches with a conf file of ConfText(its port). Null, and `why`, when it cannot start.
  std::unique_ptr<sim::Simulator> StartSimulator(std::string* why,
                                                 const std::string& listen = "127.0.0.1:0") const;

  const std::string& Dir() const { return dir_; }

 private:
  std::string dir_;
};

}  // namespace vdsctl_test

#endif  // VELA_TESTS_TOOLS_CLI_RUNNER_H_
