#include "platform/winsock.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace {

// A listening TCP socket on a loopback port, and a connection to it through the shim.
class WinsockTest : public ::testing::Test {
 protected:
  void SetUp() override {
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener_, 1), 0);
    socklen_t size = sizeof address;
    ASSERT_EQ(getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size), 0);
    port_ = ntohs(address.sin_port);
    client_ = winsock::TcpSocket();
    ASSERT_NE(client_, winsock::INVALID_SOCKET);
    ASSERT_EQ(winsock::ConnectIPv4(client_, winsock::inet_addr("127.0.0.1"), port_), 0);
    server_ = accept(listener_, nullptr, nullptr);
    ASSERT_GE(server_, 0);
  }
  void TearDown() override {
    if (client_ != winsock::INVALID_SOCKET) winsock::closesocket(client_);
    if (server_ >= 0) close(server_);
    close(listener_);
  }

  int listener_ = -1;
  int server_ = -1;
  uint16_t port_ = 0;
  winsock::SOCKET client_ = winsock::INVALID_SOCKET;
};

TEST_F(WinsockTest, ExchangesBytesAndWaitsForThemWithATimeOut) {
  EXPECT_EQ(winsock::PollReadable(client_, 10), 0);  // nothing yet: the time-out
  ASSERT_EQ(winsock::send(client_, "abc", 3), 3);
  char got[3] = {};
  ASSERT_EQ(read(server_, got, 3), 3);
  ASSERT_EQ(write(server_, "xy", 2), 2);
  EXPECT_EQ(winsock::PollReadable(client_, 1000), 1);
  char reply[8] = {};
  EXPECT_EQ(winsock::recv(client_, reply, sizeof reply), 2);
  // The peer closes: readable, and a receive of nothing.
  close(server_);
  server_ = -1;
  EXPECT_EQ(winsock::PollReadable(client_, 1000), 1);
  EXPECT_EQ(winsock::recv(client_, reply, sizeof reply), 0);
}

TEST_F(WinsockTest, SendingToAPeerThatHasGoneIsAnErrorNotASignal) {
  close(server_);
  server_ = -1;
  char buffer[4096] = {};
  int result = 0;
  // The first sends may still be taken by the stack; one that fails must give the error.
  for (int i = 0; i < 100 && result != winsock::SOCKET_ERROR; ++i) {
    result = winsock::send(client_, buffer, sizeof buffer);
  }
  EXPECT_EQ(result, winsock::SOCKET_ERROR);
  EXPECT_EQ(winsock::WSAGetLastError(), EPIPE);
}

TEST(WinsockText, AddressesReadAndWrittenAsDottedText) {
  EXPECT_EQ(winsock::inet_ntoa(winsock::inet_addr("10.1.2.3")), "10.1.2.3");
  EXPECT_EQ(winsock::inet_addr("not an address"), 0xFFFFFFFFu);
}

TEST(WinsockConnect, ARefusedConnectionKeepsItsError) {
  // A port nobody listens on: bind one, note it, close it.
  const int probe = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  socklen_t size = sizeof address;
  ASSERT_EQ(getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size), 0);
  close(probe);
  const winsock::SOCKET s = winsock::TcpSocket();
  EXPECT_EQ(winsock::ConnectIPv4(s, winsock::inet_addr("127.0.0.1"), ntohs(address.sin_port)),
            winsock::SOCKET_ERROR);
  EXPECT_EQ(winsock::WSAGetLastError(), ECONNREFUSED);
  winsock::closesocket(s);
}

}  // namespace
