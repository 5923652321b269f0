#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "platform/clock.h"
#include "proxy/frame.h"
#include "tests/sim/sim_fixture.h"

namespace simtest {
namespace {

// The provider's side of the heartbeat channel: a Unix stream socket that answers each
// heartbeat with one of its own.
class PipeEndpoint {
 public:
  explicit PipeEndpoint(const std::string& path) {
    fd_ = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    ok_ = fd_ >= 0 && bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
          listen(fd_, 2) == 0;
  }
  ~PipeEndpoint() { close(fd_); }
  PipeEndpoint(const PipeEndpoint&) = delete;
  PipeEndpoint& operator=(const PipeEndpoint&) = delete;
  bool ok() const { return ok_; }

  // Accepts one connection, reads the frame, answers a heartbeat; returns its header.
  bool ServeOne(PacketHeader* received) {
    pollfd wait{fd_, POLLIN, 0};
    if (poll(&wait, 1, 10000) != 1) return false;
    const int client = accept(fd_, nullptr, nullptr);
    uint8_t frame[kPacketHeaderSize];
    size_t have = 0;
    while (have < sizeof frame) {
      const ssize_t n = recv(client, frame + have, sizeof frame - have, 0);
      if (n <= 0) break;
      have += static_cast<size_t>(n);
    }
    DecodePacketHeader(frame, received);
    uint8_t answer[kPacketHeaderSize];
    EncodePacketHeader(MakePacketHeader(RSHEARTBEAT, 0, 0, 0), answer);
    const bool sent = send(client, answer, sizeof answer, MSG_NOSIGNAL) == sizeof answer;
    close(client);
    return have == sizeof frame && sent;
  }

 private:
  int fd_ = -1;
  bool ok_ = false;
};

class Heartbeat : public SimFixture {};

TEST_F(Heartbeat, NegotiatedSessionGetsHeartbeatsOnItsPipe) {
  SetTimeScaleForTesting(0.001);
  options_.heartbeat_seconds = 5;
  StartSimulator();
  PipeEndpoint endpoint(dir_ + "/VELA_Proxy_4242");
  ASSERT_TRUE(endpoint.ok());

  SimClient client;
  ASSERT_TRUE(client.Connect(simulator_->Port()));
  ASSERT_EQ(client.Logon(kUser, kPassword, 4242), 1u);
  for (int i = 0; i < 3; ++i) {
    PacketHeader header;
    ASSERT_TRUE(endpoint.ServeOne(&header)) << "heartbeat " << i;
    EXPECT_EQ(header.DataType, RSHEARTBEAT);
    EXPECT_EQ(header.OpCode, 0u);
    EXPECT_EQ(header.DataLen, 0u);
  }
  EXPECT_EQ(simulator_->Admin("heartbeat stop"), "ok");
  EXPECT_EQ(simulator_->Admin("heartbeat start"), "ok");
  PacketHeader header;
  EXPECT_TRUE(endpoint.ServeOne(&header));
  EXPECT_EQ(simulator_->Admin("heartbeat pause"), "error: unknown command heartbeat");
  SetTimeScaleForTesting(1);
}

}  // namespace
}  // namespace simtest
