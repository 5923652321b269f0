// The heartbeat channel over its real Unix-domain socket.
#include "proxy/pipe_server.h"

#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "platform/clock.h"
#include "platform/com.h"
#include "proxy/byte_order.h"
#include "proxy/frame.h"
#include "proxy/iasocket.h"
#include "tests/platform/temp_dir.h"
#include "tests/support/scripted_peer.h"

namespace {

class PipeServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetTimeScaleForTesting(0.001);
    setenv("VELA_PIPE_DIR", directory_.Path().c_str(), 1);
    g_isTerminating = 0;
  }
  void TearDown() override {
    if (PipeListenerActive()) {
      g_isTerminating = 1;
      delete_listener();
    }
    for (int i = 0; i < 1000 && g_recvEventsRunning != 0; ++i) Sleep(1000);
    ReleasePipeThread();
    g_isTerminating = 0;
  }

  // A connection to the endpoint, as the proxy makes one per message.
  int Connect() {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = PipeSocketPath();
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return fd;
  }

  // Everything the server sends until it disconnects.
  static Bytes ReadToEnd(int fd) {
    Bytes all;
    uint8_t chunk[256];
    for (;;) {
      const ssize_t got = read(fd, chunk, sizeof chunk);
      if (got <= 0) break;
      all.insert(all.end(), chunk, chunk + got);
    }
    close(fd);
    return all;
  }

  TempDir directory_;
};

TEST_F(PipeServerTest, HeartbeatIsAnsweredFromTheFrameCounter) {
  std::ofstream(PipeSocketPath()) << "stale";  // removed at start
  g_sessionKey = 0x100;
  ASSERT_EQ(create_listen(), 0);
  EXPECT_EQ(PipeSocketPath(), directory_.File("VELA_Proxy_") + std::to_string(getpid() & 0xffff));

  const uint32_t counter = g_frameCounter;
  int fd = Connect();
  const Bytes heartbeat = MakeFrame(RSHEARTBEAT, 0, {});
  ASSERT_EQ(write(fd, heartbeat.data(), heartbeat.size()), 36);
  const Bytes answer = ReadToEnd(fd);
  ASSERT_EQ(answer.size(), kPacketHeaderSize);
  PacketHeader header{};
  DecodePacketHeader(answer.data(), &header);
  EXPECT_EQ(header.DataType, RSHEARTBEAT);
  EXPECT_EQ(header.OpCode, 0u);
  EXPECT_EQ(header.DataLen, 0u);
  EXPECT_EQ(header.SeqNum, counter);
  EXPECT_EQ(header.SeqAuth, ComputeSeqAuth(counter, 0x100));

  // A frame of another kind, with a payload: read, not answered, disconnected.
  fd = Connect();
  const Bytes other = MakeFrame(RSREQUEST, 1, Bytes(8, 0xEE));
  ASSERT_EQ(write(fd, other.data(), other.size()), static_cast<ssize_t>(other.size()));
  EXPECT_TRUE(ReadToEnd(fd).empty());

  // A heartbeat whose DataLen reaches beyond the receive buffer: dropped without a read.
  fd = Connect();
  const Bytes huge = MakeFrameWithDataLen(RSHEARTBEAT, 0, {}, 0xFFFFFFF0u);
  ASSERT_EQ(write(fd, huge.data(), huge.size()), 36);
  EXPECT_TRUE(ReadToEnd(fd).empty());

  // The server still answers afterwards.
  fd = Connect();
  ASSERT_EQ(write(fd, heartbeat.data(), heartbeat.size()), 36);
  EXPECT_EQ(ReadToEnd(fd).size(), kPacketHeaderSize);
  g_sessionKey = 0;
}

TEST_F(PipeServerTest, ShortMessageKeepsTheConnection) {
  ASSERT_EQ(create_listen(), 0);
  const int fd = Connect();
  const Bytes heartbeat = MakeFrame(RSHEARTBEAT, 0, {});
  ASSERT_EQ(write(fd, heartbeat.data(), 10), 10);
  // Once the server has taken the 10 bytes it pauses and reads again on the same connection.
  int unread = 10;
  for (int i = 0; i < 1000000 && unread > 0; ++i) {
    ASSERT_EQ(ioctl(fd, SIOCOUTQ, &unread), 0);
    std::this_thread::yield();
  }
  ASSERT_EQ(unread, 0);
  ASSERT_EQ(write(fd, heartbeat.data(), heartbeat.size()), 36);
  EXPECT_EQ(ReadToEnd(fd).size(), kPacketHeaderSize);
}

// The module must stay mapped while the thread runs any of its code: it holds a module lock
// until it has been joined, not merely until its loop has ended.
TEST_F(PipeServerTest, TheThreadHoldsAModuleLockUntilJoined) {
  const LONG before = ModuleLockCount();
  ASSERT_EQ(create_listen(), 0);
  EXPECT_EQ(ModuleLockCount(), before + 1);
  g_isTerminating = 1;
  delete_listener();
  for (int i = 0; i < 1000 && g_recvEventsRunning != 0; ++i) Sleep(1000);
  ASSERT_EQ(g_recvEventsRunning, 0);  // the shutdown wakes the waiting thread
  EXPECT_FALSE(PipeListenerActive());
  EXPECT_FALSE(std::filesystem::exists(PipeSocketPath()));
  EXPECT_EQ(ModuleLockCount(), before + 1);
  ReleasePipeThread();
  EXPECT_EQ(ModuleLockCount(), before);
}

TEST_F(PipeServerTest, EndpointNameTooLongFails) {
  setenv("VELA_PIPE_DIR", directory_.File(std::string(120, 'd')).c_str(), 1);
  EXPECT_EQ(create_listen(), 1);
  EXPECT_FALSE(PipeListenerActive());
}

}  // namespace
