#include "sim/frame_reader.h"

#include <gtest/gtest.h>

#include <vector>

namespace sim {
namespace {

std::vector<uint8_t> Frame(uint32_t opCode, std::vector<uint8_t> payload) {
  std::vector<uint8_t> bytes(kPacketHeaderSize);
  PacketHeader header = MakePacketHeader(RSREQUEST, opCode, 3, 0);
  header.DataLen = static_cast<uint32_t>(payload.size());
  EncodePacketHeader(header, bytes.data());
  bytes.insert(bytes.end(), payload.begin(), payload.end());
  return bytes;
}

TEST(FrameReader, AssemblesFramesFromAnySplit) {
  std::vector<uint8_t> stream = Frame(1, {1, 2, 3, 4});
  const std::vector<uint8_t> second = Frame(11, {});
  stream.insert(stream.end(), second.begin(), second.end());
  for (size_t chunk : {size_t{1}, size_t{7}, size_t{36}, size_t{40}, stream.size()}) {
    FrameReader reader;
    std::vector<uint32_t> opcodes;
    for (size_t at = 0; at < stream.size();) {
      const size_t end = std::min(stream.size(), at + chunk);
      while (at < end) {
        FrameReader::Result result;
        at += reader.Feed(stream.data() + at, end - at, &result);
        ASSERT_NE(result, FrameReader::Result::kBadMagic);
        if (result == FrameReader::Result::kFrame) {
          opcodes.push_back(reader.frame().header.OpCode);
          if (opcodes.size() == 1) {
            EXPECT_EQ(reader.frame().payload, (std::vector<uint8_t>{1, 2, 3, 4}));
          }
        }
      }
    }
    EXPECT_EQ(opcodes, (std::vector<uint32_t>{1, 11})) << "chunk " << chunk;
    EXPECT_FALSE(reader.MidFrame());
  }
}

TEST(FrameReader, RefusesWrongMagicAndOversizedFrames) {
  std::vector<uint8_t> bad = Frame(1, {});
  bad[0] = 'X';
  FrameReader reader;
  FrameReader::Result result;
  reader.Feed(bad.data(), bad.size(), &result);
  EXPECT_EQ(result, FrameReader::Result::kBadMagic);

  for (uint32_t dataLen : {uint32_t(kMaxFramePayload + 1), 0xFFFFFFFFu}) {
    std::vector<uint8_t> huge = Frame(1, {});
    SetFrameDataLen(huge.data(), dataLen);
    FrameReader fresh;
    const size_t used = fresh.Feed(huge.data(), huge.size(), &result);
    EXPECT_EQ(result, FrameReader::Result::kTooLarge);
    EXPECT_EQ(used, kPacketHeaderSize);
  }
}

TEST(FrameReader, ReportsAFrameInProgress) {
  const std::vector<uint8_t> frame = Frame(1, std::vector<uint8_t>(100, 9));
  FrameReader reader;
  FrameReader::Result result;
  EXPECT_EQ(reader.Feed(frame.data(), 50, &result), 50u);
  EXPECT_EQ(result, FrameReader::Result::kNeedMore);
  EXPECT_TRUE(reader.MidFrame());
}

}  // namespace
}  // namespace sim
