// The simulator's frame reader and command handlers on arbitrary bytes: the input is cut into
// frames as a connection would cut it, in pieces whose sizes the input also chooses, and every
// complete frame goes to a session and to the command handlers directly (a session serves
// commands only after a login, which random bytes rarely achieve).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "proxy/frame.h"
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

// Random bytes seldom open with the magic, so half the inputs are read as a list of frames to
// build: a DataType byte, an opcode byte, a 16-bit payload length, then the payload.
std::vector<uint8_t> Compose(const uint8_t* data, size_t size) {
  std::vector<uint8_t> stream;
  size_t at = 0;
  uint32_t counter = 0;
  while (at + 4 <= size) {
    const size_t length =
        std::min<size_t>(size - at - 4, (size_t{data[at + 2]} << 8) | data[at + 3]);
    PacketHeader header = MakePacketHeader(data[at] % 6, data[at + 1], counter++, 0);
    // Mostly announce the true length; now and then a longer one, so frames end truncated.
    header.DataLen = static_cast<uint32_t>(data[at] & 0x80 ? length + data[at + 1] : length);
    const size_t start = stream.size();
    stream.resize(start + kPacketHeaderSize);
    EncodePacketHeader(header, stream.data() + start);
    stream.insert(stream.end(), data + at + 4, data + at + 4 + length);
    at += 4 + length;
  }
  return stream;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* raw, size_t rawSize) {
  if (rawSize == 0) return 0;
  std::vector<uint8_t> composed;
  const uint8_t* data = raw + 1;
  size_t size = rawSize - 1;
  if (raw[0] & 1) {
    composed = Compose(data, size);
    data = composed.data();
    size = composed.size();
  }
  sim::State& state = FuzzState();
  sim::FaultInjector faults;
  sim::Session session(state, faults, {"admin", "password"}, [](uint16_t) {});
  sim::CommandSession commands;
  sim::FrameReader reader;
  size_t at = 0;
  while (at < size) {
    // Pieces of varying length, as recv() would split the stream.
    const size_t piece = 1 + (at * 7919 + size) % 4096;
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
