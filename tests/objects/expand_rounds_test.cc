// The rounds that grow a partition after its vdisk grew, against a scripted proxy: a success ends
// them, the two forms of the request alternate, and the last round reads the other way round.
#include <gtest/gtest.h>

#include <cstring>

#include "objects/async.h"
#include "proxy/records.h"
#include "proxy/wire_format.h"
#include "tests/support/proxy_fixture.h"

namespace {

using ExpandRoundsTest = ProxyClientTest;

constexpr size_t kVdiskSerial = 0x10 + 0x31;
constexpr uint32_t kRefused = 7;

bool HasSerial(const Bytes& payload, const uint8_t* serial) {
  return std::memcmp(payload.data() + kVdiskSerial, serial, 32) == 0;
}

TEST_F(ExpandRoundsTest, ASuccessEndsTheRoundsWhoseFormsAlternate) {
  for (int i = 0; i < 3; ++i) peer.Reply(MakeReply(EXPAND_PART, kLenExpandPart, kRefused));
  peer.Reply(MakeReply(EXPAND_PART, kLenExpandPart));
  uint8_t arraySn[32];
  std::memset(arraySn, 0x5a, sizeof(arraySn));
  const uint8_t zero[32] = {};
  expandPart request{};
  request.blockCount = 4096;
  EXPECT_TRUE(ExpandPartRounds("test ", 8, arraySn, &request));
  ASSERT_EQ(peer.Requests().size(), 4u);
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_TRUE(HasSerial(RequestPayload(i), i % 2 == 0 ? arraySn : zero)) << "round " << i;
  }
}

TEST_F(ExpandRoundsTest, TheLastRoundReadsTheOtherWayRound) {
  uint8_t arraySn[32];
  std::memset(arraySn, 0x5a, sizeof(arraySn));
  expandPart request{};
  // Nineteen refusals and an acceptance in the last round: the expansion failed.
  for (int i = 0; i < 19; ++i) peer.Reply(MakeReply(EXPAND_PART, kLenExpandPart, kRefused));
  peer.Reply(MakeReply(EXPAND_PART, kLenExpandPart));
  EXPECT_FALSE(ExpandPartRounds("test ", 8, arraySn, &request));
  ASSERT_EQ(peer.Requests().size(), 20u);
  // Twenty refusals: the partition is taken to have its size.
  for (int i = 0; i < 20; ++i) peer.Reply(MakeReply(EXPAND_PART, kLenExpandPart, kRefused));
  EXPECT_TRUE(ExpandPartRounds("test ", 8, arraySn, &request));
  EXPECT_EQ(peer.Requests().size(), 40u);
}

}  // namespace
