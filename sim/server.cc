#include "sim/server.h"

#include <memory>
#include <vector>

#include "sim/frame_reader.h"
#include "sim/heartbeat.h"
#include "sim/log.h"
#include "sim/net.h"

namespace sim {

void ServeConnection(ServerContext& context, int fd, int stopFd) {
  std::unique_ptr<HeartbeatClient> heartbeat;
  Session* sessionPtr = nullptr;
  Session session(
      *context.state, *context.faults, context.credentials,
      [&](uint16_t pipe) {
        // A second negotiate names a new pipe; the old client stops first.
        heartbeat.reset();
        heartbeat = std::make_unique<HeartbeatClient>(
            HeartbeatPipePath(context.pipeDir, pipe), context.heartbeatSeconds,
            sessionPtr->sessionKey(), context.heartbeatsEnabled);
      },
      context.journal);
  sessionPtr = &session;
  FrameReader reader;
  std::vector<uint8_t> buffer(64 * 1024);
  for (;;) {
    const long got = ReadSome(fd, stopFd, buffer.data(), buffer.size(),
                              reader.MidFrame() ? context.frameTimeoutMs : -1);
    if (got == kReadStopped) return;
    if (got == kReadTimeout) {
      SimLog("connection dropped: frame incomplete after %d ms", context.frameTimeoutMs);
      return;
    }
    if (got == kReadError) {
      SimLog("connection dropped: read failed");
      return;
    }
    if (got == kReadEof) {
      if (reader.MidFrame()) SimLog("connection dropped: truncated frame");
      return;
    }
    size_t offset = 0;
    while (offset < static_cast<size_t>(got)) {
      FrameReader::Result result;
      offset += reader.Feed(buffer.data() + offset, static_cast<size_t>(got) - offset, &result);
      if (result == FrameReader::Result::kBadMagic) {
        SimLog("connection dropped: frame without the magic");
        return;
      }
      if (result == FrameReader::Result::kTooLarge) {
        SimLog("connection dropped: frame announces %u payload bytes",
               reader.frame().header.DataLen);
        return;
      }
      if (result != FrameReader::Result::kFrame) continue;
      Session::Outcome outcome = session.Handle(reader.frame());
      if (!outcome.bytes.empty() &&
          !SendAll(fd, stopFd, outcome.bytes.data(), outcome.bytes.size())) {
        SimLog("connection dropped: reply could not be sent");
        return;
      }
      if (outcome.action == Session::Action::kClose ||
          outcome.action == Session::Action::kReplyAndClose) {
        return;
      }
    }
  }
}

}  // namespace sim
