// The command set served from the model: one request payload in, one reply payload out. The
// reply starts as a copy of the request, the way the proxy answers in the same record, with the
// status word set; a command the model can't serve gets a non-zero status, never silence.
#ifndef VELA_SIM_COMMANDS_H_
#define VELA_SIM_COMMANDS_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "sim/state.h"

namespace sim {

// Status words of refused commands.
inline constexpr uint32_t kStatusUnsupported = 0xFF;   // opcode the simulator doesn't serve
inline constexpr uint32_t kStatusBadRequest = 0xFE;    // payload too short for its command
inline constexpr uint32_t kStatusNoController = 0xFD;  // handle names no controller
inline constexpr uint32_t kStatusNoObject = 0xFC;      // serial names no vdisk or partition
inline constexpr uint32_t kStatusNotLoggedIn = 0xFB;   // command before a successful login

// What one connection remembers between commands.
struct CommandSession {
  // Generation of each subsystem (by UniqueSN) when this session last asked get_need_refresh.
  std::map<std::string, uint64_t> seenGenerations;
};

// Serves one RSREQUEST. Fills *reply with the reply payload.
void HandleCommand(State& state, CommandSession& session, uint32_t opcode, const uint8_t* payload,
                   size_t length, std::vector<uint8_t>* reply);

// Where a command keeps its status word in the reply (the subsystem list differs).
size_t StatusOffset(uint32_t opcode);

}  // namespace sim

#endif  // VELA_SIM_COMMANDS_H_
