// One provider connection seen from the proxy's side: the handshake, the login checked against
// the configured user and password, the pipe negotiation that starts heartbeats, the commands,
// and the close. Socket-free: the server feeds it frames and sends what it returns.
#ifndef VELA_SIM_SESSION_H_
#define VELA_SIM_SESSION_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "sim/commands.h"
#include "sim/faults.h"
#include "sim/frame_reader.h"
#include "sim/journal.h"
#include "sim/state.h"

namespace sim {

struct Credentials {
  std::string user;
  std::string password;
};

class Session {
 public:
  enum class Action {
    kReply,          // send `bytes`
    kReplyAndClose,  // send `bytes`, then close
    kClose,          // close without a reply
    kNone,           // send nothing, keep reading
  };
  struct Outcome {
    Action action = Action::kNone;
    std::vector<uint8_t> bytes;
  };

  // `onNegotiate` is called with the pipe number of each negotiate frame.
  // `journal` (may be null) records every request served after the login.
  Session(State& state, FaultInjector& faults, Credentials credentials,
          std::function<void(uint16_t)> onNegotiate, RequestJournal* journal = nullptr);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  Outcome Handle(const Frame& frame);

  bool loggedIn() const { return loggedIn_; }
  uint32_t sessionKey() const { return sessionKey_; }
  uint32_t seqAuthViolations() const { return violations_; }

 private:
  Outcome HandleSession(const Frame& frame);
  Outcome HandleRequest(const Frame& frame);
  // A whole frame: header built with the proxy's counter, then the payload.
  std::vector<uint8_t> MakeFrame(uint32_t dataType, uint32_t opCode,
                                 const std::vector<uint8_t>& payload);

  State& state_;
  FaultInjector& faults_;
  RequestJournal* const journal_;
  const Credentials credentials_;
  const std::function<void(uint16_t)> onNegotiate_;
  CommandSession commands_;
  uint32_t counter_ = 0;        // the proxy's own frame counter
  uint32_t handshakeWord_ = 0;  // the word the login must send back
  uint32_t sessionKey_ = 0;
  bool loggedIn_ = false;
  uint32_t violations_ = 0;
};

}  // namespace sim

#endif  // VELA_SIM_SESSION_H_
