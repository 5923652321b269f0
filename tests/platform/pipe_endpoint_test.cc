#include "platform/pipe_endpoint.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/platform/temp_dir.h"

namespace {

class PipeEndpointTest : public ::testing::Test {
 protected:
  void SetUp() override { setenv("VELA_PIPE_DIR", dir_.Path().c_str(), 1); }
  void TearDown() override { unsetenv("VELA_PIPE_DIR"); }

  // A client connection, as the proxy makes one per message.
  static int Dial(const std::string& path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return fd;
  }

  TempDir dir_;
};

TEST_F(PipeEndpointTest, ServesOneClientAfterAnotherAndSeesEachOneGo) {
  std::ofstream(dir_.File("P")) << "stale";  // a file left by an earlier run goes
  uint32_t error = 0;
  std::unique_ptr<PipeEndpoint> pipe = PipeEndpoint::Create("P", 2, &error);
  ASSERT_NE(pipe, nullptr) << error;
  EXPECT_EQ(PipeEndpointPath("P"), dir_.File("P"));

  for (int round = 0; round < 2; ++round) {
    const int client = Dial(dir_.File("P"));
    ASSERT_EQ(pipe->Connect(), 0u);
    ASSERT_EQ(write(client, "ping", 4), 4);
    char buffer[16] = {};
    uint32_t got = 0;
    ASSERT_EQ(pipe->Read(buffer, sizeof buffer, &got), 0u);
    EXPECT_EQ(std::string(buffer, got), "ping");
    uint32_t written = 0;
    ASSERT_EQ(pipe->Write("pong", 4, &written), 0u);
    EXPECT_EQ(written, 4u);
    char answer[4] = {};
    ASSERT_EQ(read(client, answer, sizeof answer), 4);
    EXPECT_EQ(std::string(answer, 4), "pong");
    close(client);
    // The client has gone: a read of nothing, not an error.
    ASSERT_EQ(pipe->Read(buffer, sizeof buffer, &got), 0u);
    EXPECT_EQ(got, 0u);
    EXPECT_EQ(pipe->Disconnect(), 0u);
  }
  EXPECT_EQ(pipe->Close(), 0u);
  EXPECT_FALSE(std::filesystem::exists(dir_.File("P")));
}

TEST_F(PipeEndpointTest, AWakeUpEndsTheWaitInProgressAndEveryLaterOne) {
  uint32_t error = 0;
  std::unique_ptr<PipeEndpoint> pipe = PipeEndpoint::Create("P", 2, &error);
  ASSERT_NE(pipe, nullptr) << error;
  uint32_t waited = 0;
  std::thread server([&] { waited = pipe->Connect(); });
  EXPECT_EQ(pipe->Wake(), 0u);
  server.join();
  EXPECT_EQ(waited, kPipeAborted);
  // A client that comes later is not served: the pipe is on its way out.
  const int client = Dial(dir_.File("P"));
  EXPECT_EQ(pipe->Connect(), kPipeAborted);
  close(client);
}

TEST_F(PipeEndpointTest, ANameTooLongForASocketIsRefused) {
  uint32_t error = 0;
  EXPECT_EQ(PipeEndpoint::Create(std::string(200, 'p'), 2, &error), nullptr);
  EXPECT_EQ(error, static_cast<uint32_t>(ENAMETOOLONG));
}

}  // namespace
