// The simulator's frame reader and command handlers on arbitrary bytes: the input is cut into
// frames as a connection would cut it, in pieces whose sizes the input also chooses, and every
// complete frame goes to a session and to the command handlers directly (a session serves
// commands only after a login, which random bytes rarely achieve).
#include <cstddef>
#include <cstdint>
#include <string>

#include "sim/commands.h"
#include "sim/faults.h"
#include "sim/frame_reader.h"
#include "sim/inventory.h"
#include "sim/log.h"
#include "sim/session.h"
#include "sim/state.h"

namespace {

sim::State& FuzzState() {
  static sim::State* state = [] {
    sim::SetSimLogSink([](const std::string&) {});
    sim::Model model;
    std::string error;
    sim::ParseInventory(sim::DefaultInventoryText(), &model, &error);
    return new sim::State(std::move(model), nullptr);
  }();
  return *state;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  sim::State& state = FuzzState();
  sim::FaultInjector faults;
  sim::Session session(state, faults, {"admin", "password"}, [](uint16_t) {});
  sim::CommandSession commands;
  sim::FrameReader reader;
  size_t at = 0;
  while (at < size) {
    // The first byte of each piece sets the piece's length, as recv() would split the stream.
    const size_t piece = 1 + data[at] % 64;
    ++at;
    const size_t end = at + piece < size ? at + piece : size;
    while (at < end) {
      sim::FrameReader::Result result;
      at += reader.Feed(data + at, end - at, &result);
      if (result == sim::FrameReader::Result::kBadMagic ||
          result == sim::FrameReader::Result::kTooLarge) {
        return 0;
      }
      if (result != sim::FrameReader::Result::kFrame) continue;
      const sim::Frame& frame = reader.frame();
      session.Handle(frame);
      std::vector<uint8_t> reply;
      sim::HandleCommand(state, commands, frame.header.OpCode, frame.payload.data(),
                         frame.payload.size(), &reply);
    }
  }
  return 0;
}
