// Runs the built vdsctl as a user would, in a child process, with a private scratch folder and
// the clock scaled down, and collects what it writes and how it ends.
#ifndef VELA_TESTS_TOOLS_CLI_RUNNER_H_
#define VELA_TESTS_TOOLS_CLI_RUNNER_H_

#include <string>
#include <vector>

namespace vdsctl_test {

struct CliResult {
  int exitCode = -1;  // the exit status, or 128 + the signal that ended it
  std::string out;
  std::string err;
};

class CliRunner {
 public:
  CliRunner();   // makes the scratch folder
  ~CliRunner();  // removes it
  CliRunner(const CliRunner&) = delete;
  CliRunner& operator=(const CliRunner&) = delete;

  // vdsctl with `args`, `input` on its standard input.
  CliResult Run(const std::vector<std::string>& args, const std::string& input = "") const;

  // Writes a file into the scratch folder and gives its path.
  std::string WriteFile(const std::string& name, const std::string& text) const;

  const std::string& Dir() const { return dir_; }

 private:
  std::string dir_;
};

}  // namespace vdsctl_test

#endif  // VELA_TESTS_TOOLS_CLI_RUNNER_H_
