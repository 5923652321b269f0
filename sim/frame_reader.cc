#include "sim/frame_reader.h"

#include <algorithm>
#include <cstring>

namespace sim {

size_t FrameReader::Feed(const uint8_t* data, size_t size, Result* result) {
  size_t used = 0;
  *result = Result::kNeedMore;
  if (have_ < kPacketHeaderSize) {
    const size_t take = std::min(size, kPacketHeaderSize - have_);
    std::memcpy(header_ + have_, data, take);
    have_ += take;
    used += take;
    if (have_ < kPacketHeaderSize) return used;
    if (std::memcmp(header_, kPacketMagic, kPacketMagicLen) != 0) {
      *result = Result::kBadMagic;
      return used;
    }
    DecodePacketHeader(header_, &frame_.header);
    if (frame_.header.DataLen > kMaxFramePayload) {
      *result = Result::kTooLarge;
      return used;
    }
    // No reserve for the announced size: a peer that announces much and sends little holds
    // only what it sent.
    frame_.payload.clear();
  }
  const size_t want = frame_.header.DataLen - frame_.payload.size();
  const size_t take = std::min(size - used, want);
  frame_.payload.insert(frame_.payload.end(), data + used, data + used + take);
  used += take;
  if (frame_.payload.size() == frame_.header.DataLen) {
    have_ = 0;
    *result = Result::kFrame;
  }
  return used;
}

}  // namespace sim
