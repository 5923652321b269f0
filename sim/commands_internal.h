// Shared by the command handlers of commands.cc and commands_change.cc.
#ifndef VELA_SIM_COMMANDS_INTERNAL_H_
#define VELA_SIM_COMMANDS_INTERNAL_H_

#include <algorithm>
#include <vector>

#include "proxy/byte_order.h"
#include "proxy/wire_format.h"
#include "sim/state.h"

namespace sim {

// A reply payload of at least `size` bytes that starts as a copy of the request (the proxy
// answers in the same record) with the status word cleared.
class Reply {
 public:
  Reply(const uint8_t* request, size_t length, size_t size, std::vector<uint8_t>* out) : out_(out) {
    // The request first, then zeros for what it lacks: most requests come at full size, and
    // views run to 37 KB.
    const size_t total = std::max(size, size_t{8});
    out_->assign(request, request + std::min(length, total));
    out_->resize(total, 0);
    put_be32(0, at(kPayloadOffStatus));
  }
  uint8_t* at(size_t offset) { return out_->data() + offset; }
  void Fail(uint32_t status) { put_be32(status, at(kPayloadOffStatus)); }

 private:
  std::vector<uint8_t>* out_;
};

// Serves the commands that change the array; false for an opcode that is none of them.
bool HandleChangeCommand(State& state, uint32_t opcode, const uint8_t* payload, size_t length,
                         std::vector<uint8_t>* reply);

}  // namespace sim

#endif  // VELA_SIM_COMMANDS_INTERNAL_H_
