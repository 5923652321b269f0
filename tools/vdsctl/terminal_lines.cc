// The terminal line source over BSD libedit (POSIX terminals only; a Windows console edits its
// lines itself).
#include "tools/vdsctl/line_source.h"

#include <editline/readline.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace vdsctl {
namespace {

constexpr int kHistoryLines = 500;

TerminalLines* active = nullptr;  // the readline library keeps one line editor per process
int interruptFd = -1;             // where the Ctrl-C handler writes

void OnInterrupt(int) {
  const int saved = errno;
  const char byte = 'c';
  if (interruptFd >= 0) (void)!write(interruptFd, &byte, 1);
  errno = saved;
}

}  // namespace


std::string TerminalLines::DefaultHistoryFile() {
  const char* home = std::getenv("HOME");
  return home != nullptr && *home != '\0' ? std::string(home) + "/.vdsctl_history" : "";
}

TerminalLines::TerminalLines(int terminal, Output* output, std::string history)
    : terminal_(fdopen(fcntl(terminal, F_DUPFD_CLOEXEC, 0), "w")),
      output_(output),
      history_(std::move(history)) {
  if (pipe2(wake_, O_CLOEXEC | O_NONBLOCK) != 0) wake_[0] = wake_[1] = -1;
  active = this;
  rl_catch_signals = 0;  // Ctrl-C is ours: it abandons the line
  rl_instream = stdin;
  rl_outstream = terminal_ != nullptr ? terminal_ : stdout;
  using_history();
  stifle_history(kHistoryLines);
  if (!history_.empty()) read_history(history_.c_str());
  output_->SetInterjector([this](const std::string& text) { Interject(text); });
}

TerminalLines::~TerminalLines() {
  output_->SetInterjector(nullptr);
  if (!history_.empty() && write_history(history_.c_str()) == 0) {
    history_truncate_file(history_.c_str(), kHistoryLines);
  }
  active = nullptr;
  rl_outstream = stdout;
  if (terminal_ != nullptr) std::fclose(terminal_);
  for (int fd : wake_) {
    if (fd >= 0) close(fd);
  }
}

void TerminalLines::OnLine(char* line) {
  TerminalLines* self = active;
  if (self == nullptr) {
    std::free(line);
    return;
  }
  self->done_ = true;
  if (line == nullptr) {
    self->end_ = true;
    return;
  }
  self->line_ = line;
  if (self->line_.find_first_not_of(" \t") != std::string::npos) add_history(line);
  std::free(line);
}

void TerminalLines::Interject(const std::string& text) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    pending_.push_back(text);
  }
  const char byte = 'n';
  if (wake_[1] >= 0) (void)!write(wake_[1], &byte, 1);
}

void TerminalLines::ShowInterjections() {
  std::vector<std::string> texts;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    texts.swap(pending_);
  }
  if (texts.empty()) return;
  // Off the prompt's line, the texts, then the prompt with what was typed so far.
  std::fputs("\r\033[K", rl_outstream);
  for (const std::string& text : texts) std::fputs(text.c_str(), rl_outstream);
  std::fflush(rl_outstream);
  rl_forced_update_display();
}

bool TerminalLines::Read(const std::string& prompt, std::string* line) {
  done_ = false;
  end_ = false;
  line_.clear();
  // Bytes of an earlier Ctrl-C, typed while a command ran, abandon nothing now.
  char bytes[64];
  while (wake_[0] >= 0 && read(wake_[0], bytes, sizeof(bytes)) > 0) {
  }
  struct sigaction interrupt = {};
  interrupt.sa_handler = OnInterrupt;
  sigemptyset(&interrupt.sa_mask);
  struct sigaction previous = {};
  interruptFd = wake_[1];
  sigaction(SIGINT, &interrupt, &previous);

  output_->Prompt(prompt);
  rl_callback_handler_install(prompt.c_str(), OnLine);
  ShowInterjections();
  while (!done_) {
    pollfd fds[2] = {{STDIN_FILENO, POLLIN, 0}, {wake_[0], POLLIN, 0}};
    const int ready = poll(fds, wake_[0] >= 0 ? 2 : 1, -1);
    if (ready < 0) {
      if (errno == EINTR) continue;
      end_ = true;
      break;
    }
    if (wake_[0] >= 0 && (fds[1].revents & POLLIN) != 0) {
      bool interrupted = false;
      for (ssize_t n; (n = read(wake_[0], bytes, sizeof(bytes))) > 0;) {
        for (ssize_t i = 0; i < n; ++i) interrupted = interrupted || bytes[i] == 'c';
      }
      if (interrupted) {
        // The line is abandoned: a fresh, empty one under a new prompt. Leaving the editor
        // and entering it again starts it on an empty line.
        std::fputs("^C\n", rl_outstream);
        std::fflush(rl_outstream);
        rl_callback_handler_remove();
        rl_callback_handler_install(prompt.c_str(), OnLine);
      }
      ShowInterjections();
    }
    if ((fds[0].revents & (POLLIN | POLLHUP | POLLERR)) != 0) rl_callback_read_char();
  }
  rl_callback_handler_remove();
  output_->PromptAnswered();
  sigaction(SIGINT, &previous, nullptr);
  interruptFd = -1;
  if (end_) return false;
  *line = std::move(line_);
  return true;
}

}  // namespace vdsctl
