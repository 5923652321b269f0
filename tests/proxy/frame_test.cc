#include "proxy/frame.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

TEST(Frame, HeaderGoldenBytes) {
  PacketHeader header = MakePacketHeader(RSREQUEST, GET_CONTROLLER, 0x41, 0x10000000);
  header.DataLen = 4;
  uint8_t bytes[kPacketHeaderSize];
  EncodePacketHeader(header, bytes);
  // Counter 0x41: table entry 1 is 50; 50 + 0x10000000 + 0x41 = 0x10000073.
  const std::vector<uint8_t> expected = {'B',  'L',  'U',  'E',  'F', 'J',
                                         'O',  'R',  'D',  0,    0,   0,  // Magic
                                         0x00, 0x00, 0x00, 0x41,          // SeqNum
                                         0x10, 0x00, 0x00, 0x73,          // SeqAuth
                                         0x00, 0x00, 0x00, 0x01,          // DataType
                                         0x00, 0x00, 0x00, 0x01,          // OpCode
                                         0x00, 0x00, 0x00, 0x00,          // Reserved
                                         0x00, 0x00, 0x00, 0x04};         // DataLen
  EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + sizeof bytes), expected);

  PacketHeader decoded{};
  DecodePacketHeader(bytes, &decoded);
  EXPECT_EQ(decoded.SeqNum, 0x41u);
  EXPECT_EQ(decoded.SeqAuth, 0x10000073u);
  EXPECT_EQ(decoded.DataType, RSREQUEST);
  EXPECT_EQ(decoded.OpCode, GET_CONTROLLER);
  EXPECT_EQ(decoded.Reserved, 0u);
  EXPECT_EQ(decoded.DataLen, 4u);
  EXPECT_EQ(GetFrameDataLen(bytes), 4u);
  SetFrameDataLen(bytes, 0x01020304);
  EXPECT_EQ(bytes[32], 0x01);
  EXPECT_EQ(bytes[35], 0x04);
}

TEST(Frame, SeqAuthFollowsLowSixBitsAndWraps) {
  EXPECT_EQ(ComputeSeqAuth(0, 0), 58u);
  EXPECT_EQ(ComputeSeqAuth(63, 0), 7u + 63u);
  EXPECT_EQ(ComputeSeqAuth(64, 0), 58u + 64u);
  EXPECT_EQ(ComputeSeqAuth(0xFFFFFFFFu, 0), 7u - 1u);  // entry 63 is 7, the sum wraps
  EXPECT_EQ(ComputeSeqAuth(5, 0xFFFFFFFFu), 18u + 5u - 1u);
}

}  // namespace
