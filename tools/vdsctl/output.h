// Where vdsctl writes: results on standard output (a table or a JSON document), problems on
// standard error in words, or as a JSON error document on standard output with --json.
// Notifications come from the provider's threads, so every write takes one lock.
#ifndef VELA_TOOLS_VDSCTL_OUTPUT_H_
#define VELA_TOOLS_VDSCTL_OUTPUT_H_

#include <atomic>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>

#include "platform/vds_types.h"
#include "tools/vdsctl/call_error.h"
#include "tools/vdsctl/json.h"
#include "tools/vdsctl/kinds.h"

namespace vdsctl {

class Output {
 public:
  // `pretty`: JSON documents indented over several lines rather than one line each.
  Output(bool json, bool pretty, std::ostream& out, std::ostream& err);
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  bool Json() const { return json_; }

  // Text as it stands (text mode) or one document on one line (JSON mode).
  void Text(const std::string& text);
  void Document(const vdsctl::Json& document);

  // "IVdsSubSystem::GetDrive failed: VDS_E_OBJECT_NOT_FOUND (0x80042405)." or its JSON form.
  void CallFailed(const CallError& error);
  // A problem with what the user asked: words on standard error, or
  // {"error":{"message":...}} with --json.
  void Problem(const std::string& message);
  // The same with more members beside "message" in the JSON form ("proxy", "cause").
  void Problem(const std::string& message, const vdsctl::Json& details);
  // A line on standard error in both modes: it is no result of the command.
  void Warning(const std::string& message);
  // The prompt of the interactive shell, flushed without a line end. Until PromptAnswered, a
  // notification or a connection line goes on a line of its own and the prompt is shown again.
  void Prompt(const std::string& prompt);
  void PromptAnswered();
  // A line editor that draws the prompt itself: Prompt only notes it, and text that arrives
  // while it waits goes to `interject`, called under the output's lock. Null: none.
  void SetInterjector(std::function<void(const std::string&)> interject);

  // `label`: how the listings name the object, when it is known.
  void Notification(const VDS_NOTIFICATION& notification,
                    const std::optional<ObjectLabel>& label = std::nullopt);

  // The shell's view of the provider's proxy session: a lost session is told once, and each
  // list made while it is lost is marked.
  void ConnectionChanged(bool lost, const std::string& proxy);
  bool ConnectionLost() const { return connectionLost_; }

  // While a script runs: the number of its line in progress. Problems and failed calls then
  // begin with "line N: " (in JSON, carry "line": N). Zero: no line.
  void SetScriptLine(int line);

 private:
  // "line N: " or "".
  std::string LinePrefix() const;
  // Text that arrives on another thread: below a waiting prompt, which is shown again.
  void Interjection(const std::string& text);

  const bool json_;
  const bool pretty_;
  std::atomic<int> scriptLine_{0};
  std::atomic<bool> connectionLost_{false};
  std::mutex mutex_;
  std::ostream& out_;   // guarded by mutex_
  std::string prompt_;  // the prompt waiting for its line, or empty; guarded by mutex_
  std::function<void(const std::string&)> interject_;  // guarded by mutex_
  std::ostream& err_;                                  // guarded by mutex_
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_OUTPUT_H_
