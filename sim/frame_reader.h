// Cuts a byte stream into frames, bounding everything it holds: a header with the wrong magic
// or a DataLen beyond the largest frame the protocol has is refused before any payload is kept.
#ifndef VELA_SIM_FRAME_READER_H_
#define VELA_SIM_FRAME_READER_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "proxy/frame.h"
#include "proxy/wire_format.h"

namespace sim {

// The largest payload a frame may announce: the client's whole request buffer less the header.
inline constexpr size_t kMaxFramePayload = kRequestBufferSize - kPacketHeaderSize;

struct Frame {
  PacketHeader header{};
  std::vector<uint8_t> payload;
};

class FrameReader {
 public:
  enum class Result { kNeedMore, kFrame, kBadMagic, kTooLarge };

  // Consumes bytes of `data` up to the end of the next frame. Returns the bytes consumed and
  // sets *result: kFrame when frame() holds a complete frame (valid until the next Feed), an
  // error when the stream can't be a frame (the reader must not be fed again), or kNeedMore.
  size_t Feed(const uint8_t* data, size_t size, Result* result);

  const Frame& frame() const { return frame_; }
  // True while a frame has begun and is not complete.
  bool MidFrame() const { return have_ > 0; }

 private:
  uint8_t header_[kPacketHeaderSize] = {};
  size_t have_ = 0;  // bytes of the current frame received so far, header included
  Frame frame_;
};

}  // namespace sim

#endif  // VELA_SIM_FRAME_READER_H_
