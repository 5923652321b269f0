// Faults an operator injects into the next replies: the admin command
// "fault next N close|silent|short|wrong-opcode|status=<n>|refuse=<n> [opcode]".
#ifndef VELA_SIM_FAULTS_H_
#define VELA_SIM_FAULTS_H_

#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

namespace sim {

enum class FaultKind {
  kClose,        // close the connection instead of replying
  kSilent,       // read the command and never reply
  kShort,        // send the header and half the payload, then close
  kWrongOpcode,  // reply under another opcode
  kStatus,       // reply with the given status word (the command has run)
  kRefuse,       // refuse the command with the given status word: the model doesn't change
};

struct Fault {
  FaultKind kind = FaultKind::kClose;
  uint32_t status = 0;
};

class FaultInjector {
 public:
  // Parses the words after "fault"; false with *why on bad syntax.
  bool Add(const std::string& words, std::string* why);
  // The fault for the next command with this opcode, consuming one use of the rule.
  std::optional<Fault> Take(uint32_t opcode);

 private:
  struct Rule {
    Fault fault;
    uint32_t remaining = 0;
    std::optional<uint32_t> opcode;  // every opcode when empty
  };
  std::mutex mutex_;
  std::deque<Rule> rules_;  // guarded by mutex_
};

}  // namespace sim

#endif  // VELA_SIM_FAULTS_H_
