#include "tests/tools/cli_runner.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "sim/log.h"

extern char** environ;

namespace vdsctl_test {

namespace {

// A run that takes longer than this has hung; it is killed so that the suite goes on.
constexpr int kHangLimitMs = 120000;

std::vector<std::string> ChildEnvironment(const std::string& dir) {
  std::map<std::string, std::string> env;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const size_t equals = text.find('=');
    if (equals != std::string::npos) env[text.substr(0, equals)] = text.substr(equals + 1);
  }
  // Every wait of the provider and the simulator is scaled down; the registry, the system
  // folder and the host root are private to the test, so nothing of the machine leaks in.
  env["VELA_TIME_SCALE"] = "0.01";
  env["VELA_REGISTRY"] = dir + "/no-registry.reg";
  env["VELA_SYSTEM_DIR"] = dir;
  env["VELA_ROOT"] = dir;
  env["VELA_PIPE_DIR"] = dir;
  env["TMPDIR"] = dir;
  env["HOME"] = dir;
  env.erase("VELA_PROVIDER_LIBRARY");
  std::vector<std::string> out;
  for (const auto& [name, value] : env) out.push_back(name + "=" + value);
  return out;
}

// A program starts with no signal blocked, as a shell starts it, whatever the test's threads
// block.
void UnblockSignals() {
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> out;
  for (std::string& text : texts) out.push_back(text.data());
  out.push_back(nullptr);
  return out;
}

}  // namespace

CliRunner::CliRunner() {
  const char* base = std::getenv("TMPDIR");
  std::string pattern =
      std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/vdsctl-test.XXXXXX";
  if (mkdtemp(pattern.data()) != nullptr) dir_ = pattern;
}

CliRunner::~CliRunner() {
  std::error_code ec;
  if (!dir_.empty()) std::filesystem::remove_all(dir_, ec);
}

std::string CliRunner::WriteFile(const std::string& name, const std::string& text) const {
  const std::string path = dir_ + "/" + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

std::unique_ptr<sim::Simulator> CliRunner::StartSimulator(std::string* why,
                                                          const std::string& listen) const {
  sim::SetSimLogSink([](const std::string&) {});
  sim::SimOptions options;
  options.listen = listen;
  options.pipe_dir = dir_;
  return sim::Simulator::Start(options, why);
}

std::unique_ptr<CliSession> CliRunner::Start(const std::vector<std::string>& args) const {
  int in[2], out[2], err[2];
  if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) {
    return nullptr;
  }
  std::vector<std::string> argv = {VDSCTL_BINARY};
  argv.insert(argv.end(), args.begin(), args.end());
  std::vector<std::string> envp = ChildEnvironment(dir_);
  std::vector<char*> argvPointers = Pointers(argv);
  std::vector<char*> envpPointers = Pointers(envp);
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    dup2(err[1], STDERR_FILENO);
    UnblockSignals();
    execve(argvPointers[0], argvPointers.data(), envpPointers.data());
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  close(err[1]);
  return std::make_unique<CliSession>(pid, in[1], out[0], err[0]);
}

std::unique_ptr<CliSession> CliRunner::StartOnTerminal(const std::vector<std::string>& args) const {
  int err[2];
  if (pipe2(err, O_CLOEXEC) != 0) return nullptr;
  std::vector<std::string> argv = {VDSCTL_BINARY};
  argv.insert(argv.end(), args.begin(), args.end());
  std::vector<std::string> envp = ChildEnvironment(dir_);
  std::erase_if(envp, [](const std::string& entry) { return entry.rfind("TERM=", 0) == 0; });
  envp.push_back("TERM=vt100");
  std::vector<char*> argvPointers = Pointers(argv);
  std::vector<char*> envpPointers = Pointers(envp);
  winsize size{};
  size.ws_row = 24;
  size.ws_col = 80;
  int terminal = -1;
  const pid_t pid = forkpty(&terminal, nullptr, nullptr, &size);
  if (pid < 0) return nullptr;
  if (pid == 0) {
    dup2(err[1], STDERR_FILENO);
    UnblockSignals();
    execve(argvPointers[0], argvPointers.data(), envpPointers.data());
    _exit(127);
  }
  close(err[1]);
  fcntl(terminal, F_SETFD, FD_CLOEXEC);
  // Keys go in and output comes out through the same descriptor; the session closes each of
  // its own.
  const int output = fcntl(terminal, F_DUPFD_CLOEXEC, 0);
  return std::make_unique<CliSession>(pid, terminal, output, err[0]);
}

CliSession::~CliSession() { Finish(); }

void CliSession::Write(const std::string& text) {
  for (size_t done = 0; done < text.size();) {
    const ssize_t n = write(in_, text.data() + done, text.size() - done);
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
}

void CliSession::ReadAvailable(int timeoutMs) {
  pollfd fds[2] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}};
  std::string* sinks[2] = {&result_.out, &result_.err};
  if (poll(fds, 2, timeoutMs) <= 0) return;
  for (int i = 0; i < 2; ++i) {
    if (fds[i].fd < 0 || fds[i].revents == 0) continue;
    char buffer[4096];
    const ssize_t n = read(fds[i].fd, buffer, sizeof(buffer));
    if (n > 0) sinks[i]->append(buffer, static_cast<size_t>(n));
  }
}

bool CliSession::WaitFor(const std::string& text, int seconds) {
  return WaitForCount(text, 1, seconds);
}

bool CliSession::WaitForCount(const std::string& text, size_t count, int seconds) {
  auto seen = [&] {
    size_t found = 0;
    for (size_t at = result_.out.find(text); at != std::string::npos && found < count;
         at = result_.out.find(text, at + 1)) {
      ++found;
    }
    return found >= count;
  };
  for (int waited = 0; waited < seconds * 10; ++waited) {
    if (seen()) return true;
    ReadAvailable(100);
  }
  return seen();
}

CliResult CliSession::Finish() {
  if (finished_) return result_;
  finished_ = true;
  close(in_);
  pollfd fds[2] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}};
  std::string* sinks[2] = {&result_.out, &result_.err};
  int open = 2;
  while (open > 0) {
    const int ready = poll(fds, 2, kHangLimitMs);
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) {
      kill(pid_, SIGKILL);
      break;
    }
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buffer[4096];
      const ssize_t n = read(fds[i].fd, buffer, sizeof(buffer));
      if (n > 0) {
        sinks[i]->append(buffer, static_cast<size_t>(n));
      } else {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open;
      }
    }
  }
  for (const pollfd& fd : fds) {
    if (fd.fd >= 0) close(fd.fd);
  }
  int status = 0;
  waitpid(pid_, &status, 0);
  result_.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result_;
}

CliResult CliRunner::Run(const std::vector<std::string>& args, const std::string& input) const {
  std::unique_ptr<CliSession> session = Start(args);
  if (!session) return CliResult{};
  // Inputs are a few lines, well inside the pipe's buffer, so this write does not wait for the
  // child to read.
  session->Write(input);
  return session->Finish();
}

std::string Describe(const CliResult& result) {
  return "exit " + std::to_string(result.exitCode) + "\n--- stdout\n" + result.out +
         "--- stderr\n" + result.err;
}

std::vector<nlohmann::json> JsonLines(const std::string& out) {
  std::istringstream lines(out);
  std::vector<nlohmann::json> documents;
  for (std::string line; std::getline(lines, line);) {
    nlohmann::json document = nlohmann::json::parse(line);
    if (!document.contains("notification")) documents.push_back(std::move(document));
  }
  return documents;
}

std::string ConfText(int port, const std::string& user, const std::string& password) {
  return "version  : 1\nipaddress: 127.0.0.1\nusername : " + user + "\npassword : " + password +
         "\nport     : " + std::to_string(port) + "\n";
}

}  // namespace vdsctl_test
