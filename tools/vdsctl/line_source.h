// Where the shell's lines come from: a stream (a script, a pipe), or a terminal with line
// editing and history. On a terminal, Ctrl-C abandons the line being typed and Ctrl-D on an
// empty line leaves; notifications that arrive while a line is typed are shown above it and the
// line is drawn again as it was.
#ifndef VELA_TOOLS_VDSCTL_LINE_SOURCE_H_
#define VELA_TOOLS_VDSCTL_LINE_SOURCE_H_

#include <cstdio>
#include <istream>
#include <mutex>
#include <string>
#include <vector>

#include "tools/vdsctl/output.h"

namespace vdsctl {

class LineSource {
 public:
  virtual ~LineSource() = default;
  // One line without its end; false at the end of the input.
  virtual bool Read(const std::string& prompt, std::string* line) = 0;
};

class StreamLines : public LineSource {
 public:
  // `prompt`: show the prompt before each line (an interactive session without a terminal).
  StreamLines(std::istream& in, Output* output, bool prompt)
      : in_(in), output_(output), prompt_(prompt) {}
  bool Read(const std::string& prompt, std::string* line) override;

 private:
  std::istream& in_;
  Output* output_;
  const bool prompt_;
};

#if !defined(_WIN32)
// Standard input must be a terminal. One at a time.
class TerminalLines : public LineSource {
 public:
  // `terminal`: the descriptor of the terminal that the output goes to. `history`: the file that
  // keeps the lines of earlier sessions; empty for none.
  TerminalLines(int terminal, Output* output, std::string history);
  TerminalLines(const TerminalLines&) = delete;
  TerminalLines& operator=(const TerminalLines&) = delete;
  ~TerminalLines() override;

  bool Read(const std::string& prompt, std::string* line) override;

  // The history file of the user running the tool: $HOME/.vdsctl_history, or empty.
  static std::string DefaultHistoryFile();

 private:
  static void OnLine(char* line);
  // Any thread: text to show above the line being typed.
  void Interject(const std::string& text);
  // Shows the queued texts and draws the prompt and the line again.
  void ShowInterjections();

  FILE* terminal_;  // a stream of its own on the terminal's descriptor
  Output* output_;
  const std::string history_;
  int wake_[2] = {-1, -1};  // a byte on wake_[1]: texts queued, or 'c' from Ctrl-C
  std::mutex mutex_;
  std::vector<std::string> pending_;  // guarded by mutex_
  // The line handler's results for the Read in progress.
  bool done_ = false;
  bool end_ = false;
  std::string line_;
};
#endif

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_LINE_SOURCE_H_
