// The exchange primitive and the reply checks, against a scripted peer over loopback.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "platform/clock.h"
#include "proxy/byte_order.h"
#include "proxy/frame.h"
#include "proxy/iasocket.h"
#include "proxy/tidegate.h"
#include "tests/support/proxy_fixture.h"

namespace {

using WireTest = ProxyClientTest;

const uint8_t kSerial[32] = {'V', 'D', 'I', 'S', 'K', '1'};

TEST_F(WireTest, HeaderOnlyReplyReadsStatusFromTheRequest) {
  peer.Reply(MakeFrame(RSREPLY, GET_PERCENT_COMPLETED, {}));
  uint32_t percent = 77;
  EXPECT_EQ(Tidegate::get_percent(5, kSerial, &percent), 0);
  EXPECT_EQ(percent, 0u);  // the request's cleared word at 0x2c
  EXPECT_EQ(g_proxyErrorCell, 0);
  EXPECT_TRUE(CommandMutexFree());
}

TEST_F(WireTest, FramesCarryCounterAndSeqAuth) {
  g_sessionKey = 0x01000000;
  const uint32_t first = g_frameCounter;
  peer.Reply(MakeReply(SILENCE_ALARM, kLenSilenceAlarm));
  peer.Reply(MakeReply(RESCAN_ALL_BUS, kLenRescanAllBus));
  EXPECT_EQ(Tidegate::silence_alarm(3), 0);
  EXPECT_EQ(Tidegate::rescan_bus(3), 0);
  const auto requests = peer.Requests();
  ASSERT_EQ(requests.size(), 2u);
  for (uint32_t i = 0; i < 2; ++i) {
    PacketHeader header{};
    DecodePacketHeader(requests[i].data(), &header);
    EXPECT_EQ(header.SeqNum, first + i);
    EXPECT_EQ(header.SeqAuth, ComputeSeqAuth(first + i, 0x01000000));
    EXPECT_EQ(header.DataLen, 0x10u);
  }
  g_sessionKey = 0;
}

TEST_F(WireTest, PeerClosingWithoutAnswerSetsCellMinusOne) {
  peer.Close();
  EXPECT_EQ(Tidegate::silence_alarm(1), -1);
  EXPECT_EQ(g_proxyErrorCell, -1);
  EXPECT_TRUE(CommandMutexFree());
  // The dead socket fails the next command in its send or its recv.
  EXPECT_EQ(Tidegate::silence_alarm(1), -1);
  EXPECT_NE(g_proxyErrorCell, 0);
}

TEST_F(WireTest, SilentPeerTimesOutWithCellMinusTwo) {
  SetTimeScaleForTesting(0.0001);
  peer.Stall();
  EXPECT_EQ(Tidegate::silence_alarm(1), -1);
  EXPECT_EQ(g_proxyErrorCell, -2);
  EXPECT_TRUE(CommandMutexFree());
}

// Replies that fail the command without touching the error cell; the payload read of the last
// case does not touch it either.
struct BadReply {
  const char* what;
  Bytes bytes;
  bool thenClose;
};

Bytes Truncated(Bytes bytes, size_t size) {
  bytes.resize(size);
  return bytes;
}

class WireBadReplyTest : public ProxyClientTest, public ::testing::WithParamInterface<BadReply> {};

TEST_P(WireBadReplyTest, FailsWithCellZero) {
  const BadReply& bad = GetParam();
  if (bad.thenClose) {
    peer.ReplyAndClose(bad.bytes);
  } else {
    peer.Reply(bad.bytes);
  }
  EXPECT_EQ(Tidegate::silence_alarm(1), -1);
  EXPECT_EQ(g_proxyErrorCell, 0);
  EXPECT_TRUE(CommandMutexFree());
}

INSTANTIATE_TEST_SUITE_P(
    Replies, WireBadReplyTest,
    ::testing::Values(
        // 10 header bytes: no further read; DataType is still the request's, so the type check
        // fails.
        BadReply{"ShortHeader", Truncated(MakeReply(SILENCE_ALARM, kLenSilenceAlarm), 10), false},
        BadReply{"WrongOpcode", MakeReply(RESCAN_ALL_BUS, kLenSilenceAlarm), false},
        BadReply{"SessionFrame", MakeFrame(RSSESSION, SILENCE_ALARM, Bytes(kLenSilenceAlarm, 0)),
                 false},
        BadReply{"NonZeroStatus", MakeReply(SILENCE_ALARM, kLenSilenceAlarm, 0x33), false},
        BadReply{"DataLenBeyondTheBuffer",
                 MakeFrameWithDataLen(RSREPLY, SILENCE_ALARM, {}, 0xFFFFFFF0u), false},
        BadReply{"PeerClosingMidPayload",
                 Truncated(MakeReply(SILENCE_ALARM, kLenSilenceAlarm), kPacketHeaderSize + 4),
                 true}),
    [](const ::testing::TestParamInfo<BadReply>& info) { return std::string(info.param.what); });

TEST_F(WireTest, HeaderMissingItsLastByteRunsOnTheRequestBytes) {
  // 35 bytes: type and opcode are the reply's, DataLen and the payload the request's.
  Bytes reply = MakeReply(SILENCE_ALARM, kLenSilenceAlarm, 0x44);
  reply.resize(kPacketHeaderSize - 1);
  peer.Reply(reply);
  EXPECT_EQ(Tidegate::silence_alarm(1), 0);
  EXPECT_EQ(g_proxyErrorCell, 0);
}

TEST_F(WireTest, SecondFamilyReturnsTheStatusWord) {
  peer.Reply(MakeReply(OP_CONVERT_MASTER_VOLUME, kLenConvertMasterVolume, 0xD7));
  EXPECT_EQ(Tidegate::convert_master_volume(1, kSerial, 2, nullptr), 0xD7);
  EXPECT_TRUE(CommandMutexFree());
}

TEST_F(WireTest, ReplyShorterThanTheRecordIsRefused) {
  peer.Reply(MakeReply(GET_CONTROLLER, 100));
  auto data = std::make_unique<controllerData>();
  EXPECT_EQ(Tidegate::get_controller_data(1, data.get()), -1);
  EXPECT_TRUE(CommandMutexFree());
}

TEST_F(WireTest, FullControllerRecordIsDecoded) {
  Bytes payload(kControllerDataSize, 0);
  put_be32(3, payload.data() + 0x15f30);  // numDrives
  peer.Reply(MakeFrame(RSREPLY, GET_CONTROLLER, payload));
  auto data = std::make_unique<controllerData>();
  ASSERT_EQ(Tidegate::get_controller_data(0x0102, data.get()), 0);
  EXPECT_EQ(data->numDrives, 3u);
  const Bytes request = RequestPayload(0);
  ASSERT_EQ(request.size(), 4u);
  EXPECT_EQ(get_be32(request.data()), 0x0102u);  // this command's handle sits at offset 0
}

// At a time scale of 0 sleeps and polls are instant, but a reply still gets its time to come.
TEST_F(WireTest, ReplyWaitKeepsItsFloorAtScaleZero) {
  SetTimeScaleForTesting(0);
  peer.ReplyAfter(std::chrono::milliseconds(50), MakeReply(SILENCE_ALARM, kLenSilenceAlarm));
  EXPECT_EQ(Tidegate::silence_alarm(1), 0);
  EXPECT_EQ(g_proxyErrorCell, 0);
}

// A signal that interrupts the wait for a reply is not the time-out: the wait goes on for the
// time left, the reply is read and the next command finds the stream in step.
TEST_F(WireTest, SignalDuringTheReplyWaitIsNotATimeOut) {
  struct sigaction interrupting {};
  interrupting.sa_handler = [](int) {};
  sigemptyset(&interrupting.sa_mask);
  interrupting.sa_flags = 0;  // no SA_RESTART: the wait returns EINTR
  struct sigaction previous {};
  ASSERT_EQ(sigaction(SIGUSR1, &interrupting, &previous), 0);

  peer.ReplyAfter(std::chrono::milliseconds(300), MakeReply(SILENCE_ALARM, kLenSilenceAlarm));
  peer.Reply(MakeReply(RESCAN_ALL_BUS, kLenRescanAllBus));
  const pthread_t commandThread = pthread_self();
  std::atomic<bool> done{false};
  std::thread interrupter([&] {
    peer.WaitForRequests(1);
    while (!done) {
      pthread_kill(commandThread, SIGUSR1);
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  });
  const int result = Tidegate::silence_alarm(1);
  done = true;
  interrupter.join();
  sigaction(SIGUSR1, &previous, nullptr);

  EXPECT_EQ(result, 0);
  EXPECT_EQ(g_proxyErrorCell, 0);
  EXPECT_EQ(Tidegate::rescan_bus(1), 0);
}

TEST(WireNoSession, CommandsFailWithoutARequestBuffer) {
  FreeRequestBuffer();
  EXPECT_EQ(Tidegate::silence_alarm(1), -1);
  EXPECT_EQ(Tidegate::get_dms_tag(1, 0, nullptr), -1);
}

}  // namespace
