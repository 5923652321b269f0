// The configuration file, the logon steps, reconnect and the whole session life.
#include "proxy/session.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/clock.h"
#include "platform/eventlog.h"
#include "platform/registry.h"
#include "proxy/byte_order.h"
#include "proxy/frame.h"
#include "proxy/iasocket.h"
#include "proxy/pipe_server.h"
#include "proxy/session_format.h"
#include "tests/platform/temp_dir.h"
#include "tests/support/proxy_fixture.h"

namespace {

ProxyConfig Parse(const std::string& text) {
  ProxyConfig config;
  FILE* file = fmemopen(const_cast<char*>(text.data()), text.size(), "r");
  ReadProxyConfig(file, &config);
  std::fclose(file);
  return config;
}

const char kGoodConfig[] =
    "# proxy settings\n"
    "version  : 3\n"
    "ipaddress: 127.0.0.1\n"
    "username : admin\n"
    "password : secret99\n"
    "port     :4000\n";

TEST(ProxyConfigFile, FixedColumnLabels) {
  const ProxyConfig config = Parse(kGoodConfig);
  EXPECT_EQ(config.version, 3);
  EXPECT_EQ(config.address, inet_addr("127.0.0.1"));
  EXPECT_STREQ(config.userName, "admin");
  EXPECT_STREQ(config.password, "secret99");
  EXPECT_EQ(config.port, 4000);  // no blank after the colon is fine
  EXPECT_TRUE(ProxyConfigComplete(config));
}

TEST(ProxyConfigFile, UnpaddedLabelIsUnknown) {
  const ProxyConfig config =
      Parse("version  : 3\nipaddress: 10.0.0.1\nusername : u\npassword : p\nport: 4000\n");
  EXPECT_EQ(config.port, 0);
  EXPECT_FALSE(ProxyConfigComplete(config));
}

TEST(ProxyConfigFile, CommentsControlCharactersAndLastLine) {
  const ProxyConfig config = Parse(
      "   # port     : 1\r\n"
      "username :  bob  \r\n"
      "version  : 12abc\n"
      "version  : text\x01\x02\n"
      "password : a:b\n"
      "port     : 70000\n"
      "ipaddress: 10.1.2.3");  // no line end: ignored
  EXPECT_STREQ(config.userName, "bob");
  EXPECT_EQ(config.version, 0);        // the later line wins: text converts to 0
  EXPECT_STREQ(config.password, "a");  // anything after a second colon is dropped
  EXPECT_EQ(config.port, static_cast<uint16_t>(70000));
  EXPECT_EQ(config.address, 0u);
}

TEST(ProxyConfigFile, EmptyFileAndLongValuesAreCut) {
  EXPECT_FALSE(ProxyConfigComplete(Parse("")));
  const ProxyConfig config =
      Parse("username : " + std::string(40, 'u') + "\npassword : " + std::string(60, 'p') + "\n");
  EXPECT_EQ(std::strlen(config.userName), 32u);
  EXPECT_EQ(std::strlen(config.password), 48u);
}

Bytes SessionFrame(uint32_t opCode, const Bytes& payload) {
  return MakeFrame(RSSESSION, opCode, payload);
}

Bytes HandshakeReply(uint32_t status, uint32_t word) {
  Bytes payload(kHandshakeReplySize);
  EncodeHandshakeReply({status, word}, payload.data());
  return SessionFrame(SESSION_HANDSHAKE_REPLY, payload);
}

Bytes LoginReply(uint32_t status, uint32_t key) {
  Bytes payload(kLoginReplySize);
  EncodeLoginReply({status, key}, payload.data());
  return SessionFrame(SESSION_LOGIN_REPLY, payload);
}

using SessionStepTest = ProxyClientTest;

TEST_F(SessionStepTest, HandshakeStatusOutcomes) {
  peer.Reply(HandshakeReply(0x0501, 0xAB));
  peer.Reply(HandshakeReply(0x0601, 0));
  peer.Reply(HandshakeReply(0x0505, 0));
  peer.Reply(HandshakeReply(0x0502, 0));
  peer.Reply(HandshakeReply(0x10509, 0));
  peer.Reply(SessionFrame(SESSION_LOGIN_REPLY, Bytes(8, 0)));
  peer.Reply(SessionFrame(SESSION_HANDSHAKE_REPLY, Bytes(12, 0)));
  uint8_t* buffer = g_requestBuffer.get();
  EXPECT_EQ(handshake(buffer), 0);
  EXPECT_EQ(handshake(buffer), 29);
  EXPECT_EQ(handshake(buffer), -1);
  EXPECT_EQ(handshake(buffer), -1);
  EXPECT_EQ(handshake(buffer), -1);  // bits above 15 ignored; low byte 9 is unknown
  EXPECT_EQ(handshake(buffer), -1);  // wrong opcode
  EXPECT_EQ(handshake(buffer), -1);  // wrong length
  const auto requests = peer.Requests();
  ASSERT_EQ(requests.size(), 7u);
  EXPECT_EQ(Bytes(requests[0].begin() + kPacketHeaderSize, requests[0].end()),
            Bytes({'p', 'i', 'x', 'n', 'o', 'd'}));
  EXPECT_EQ(get_be32(requests[0].data() + kHeaderOffDataType), RSSESSION);
}

TEST_F(SessionStepTest, LoginAndNegotiate) {
  peer.Reply(HandshakeReply(0x0501, 0x77));
  peer.Reply(LoginReply(5, 0));
  peer.Reply(LoginReply(1, 0x5EED));
  peer.Reply(SessionFrame(SESSION_NEGOTIATE_REPLY, {}));
  peer.Reply(SessionFrame(SESSION_HANDSHAKE_REPLY, {}));
  uint8_t* buffer = g_requestBuffer.get();
  ASSERT_EQ(handshake(buffer), 0);
  EXPECT_EQ(login(buffer), -1);
  EXPECT_EQ(login(buffer), 0);
  EXPECT_EQ(g_sessionKey, 0x5EEDu);
  EXPECT_EQ(negotiate_listen_port(buffer), 0);
  EXPECT_EQ(negotiate_listen_port(buffer), -1);
  const auto requests = peer.Requests();
  ASSERT_EQ(requests.size(), 5u);
  ASSERT_EQ(requests[1].size(), kPacketHeaderSize + kLoginPayloadSize);
  LoginPayload sent;
  DecodeLoginPayload(requests[1].data() + kPacketHeaderSize, &sent);
  EXPECT_EQ(sent.handshakeWord, 0x77u);
  EXPECT_EQ(DecodeNegotiatePayload(requests[3].data() + kPacketHeaderSize), PipeNumber());
  EXPECT_EQ(requests[3].size(), kPacketHeaderSize + 2);
  g_sessionKey = 0;
}

// A whole session against the scripted peer: configuration from the system directory, logon,
// reconnect, shutdown.
class SessionLifeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetTimeScaleForTesting(0.001);
    setenv("VELA_SYSTEM_DIR", directory_.Path().c_str(), 1);
    setenv("VELA_PIPE_DIR", directory_.Path().c_str(), 1);
    setenv("VELA_ROOT", directory_.Path().c_str(), 1);
    SetRegistryFile(directory_.File("registry.reg"));
  }
  void TearDown() override { RegistryResetForTesting(); }
  void WriteConfig(uint16_t port) {
    std::ofstream(directory_.File("tidegate.conf"))
        << "version  : 1\nipaddress: 127.0.0.1\nusername : admin\npassword : secret99\n"
        << "port     : " << port << "\n";
  }
  void ScriptLogon(uint32_t key) {
    peer_.Reply(HandshakeReply(0x0501, 0x99));
    peer_.Reply(LoginReply(1, key));
    peer_.Reply(SessionFrame(SESSION_NEGOTIATE_REPLY, {}));
  }

  TempDir directory_;
  ScriptedPeer peer_;
};

TEST_F(SessionLifeTest, MissingConfigurationOrPortZeroFails) {
  EXPECT_EQ(ProxyInit(), -1);
  EXPECT_TRUE(peer_.Requests().empty());
  WriteConfig(0);
  EXPECT_EQ(ProxyInit(), -1);
  FreeRequestBuffer();
}

TEST_F(SessionLifeTest, InitReconnectAndUnInit) {
  WriteConfig(peer_.port());
  ScriptLogon(0x4242);
  ASSERT_EQ(ProxyInit(), 0);
  EXPECT_EQ(g_sessionKey, 0x4242u);
  EXPECT_STREQ(ProxyAgentAddress(), "127.0.0.1");
  EXPECT_TRUE(PipeListenerActive());

  EventLogCapture events;
  // A live connection: one handshake, no event, same key.
  peer_.Reply(HandshakeReply(0x0501, 0x98));
  EXPECT_EQ(reconnect(), 0);
  EXPECT_EQ(peer_.Requests().size(), 4u);
  EXPECT_TRUE(events.Entries().empty());

  // The proxy drops the connection twice: "lost" is reported once, "restored" each time.
  for (uint32_t key : {0x5151u, 0x6161u}) {
    peer_.Close();
    ScriptLogon(key);
    g_proxyErrorCell = -1;
    EXPECT_EQ(reconnect(), 0);
    EXPECT_EQ(g_sessionKey, key);
  }
  const auto entries = events.Entries();
  ASSERT_EQ(entries.size(), 3u);
  EXPECT_EQ(entries[0].type, EVENTLOG_WARNING_TYPE);
  EXPECT_EQ(entries[1].type, EVENTLOG_INFORMATION_TYPE);
  EXPECT_EQ(entries[2].type, EVENTLOG_INFORMATION_TYPE);

  peer_.Close();  // the close frame gets no answer
  // Rounds of 50 ms: the pipe thread has up to half a second to see the wake-up.
  SetTimeScaleForTesting(0.05);
  ProxyUnInit();
  EXPECT_EQ(g_isTerminating, 1);
  EXPECT_EQ(g_recvEventsRunning, 0);
  EXPECT_FALSE(PipeListenerActive());
  EXPECT_EQ(g_requestBuffer, nullptr);
  const auto requests = peer_.Requests();
  EXPECT_EQ(get_be32(requests.back().data() + kHeaderOffOpCode), SESSION_CLOSE);
  EXPECT_EQ(reconnect(), -1);  // terminating
  g_sessionKey = 0;
}

// The inode of the socket open at `fd`, 0 when there is none.
ino_t SocketInode(int fd) {
  struct stat status {};
  return fstat(fd, &status) == 0 && S_ISSOCK(status.st_mode) ? status.st_ino : 0;
}

bool InodeStillOpen(ino_t inode) {
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    struct stat status {};
    if (stat(entry.path().c_str(), &status) == 0 && status.st_ino == inode) return true;
  }
  return false;
}

// A logon the proxy refuses leaves the pipe and its thread up and the connection open; the load
// after it brings the session up on a new connection and keeps the pipe as it is.
TEST_F(SessionLifeTest, InitAfterARefusedLogonKeepsThePipeAndReplacesTheConnection) {
  WriteConfig(peer_.port());
  peer_.ReplyAndClose(HandshakeReply(0x0505, 0));  // "invalid password."
  EXPECT_EQ(ProxyInit(), -1);
  ASSERT_TRUE(PipeListenerActive());
  EXPECT_EQ(g_recvEventsRunning, 1);
  const ino_t firstConnection = SocketInode(g_proxySocket.load());
  ASSERT_NE(firstConnection, 0u);
  struct stat endpoint {};
  ASSERT_EQ(stat(PipeSocketPath().c_str(), &endpoint), 0);

  ScriptLogon(0x7373);
  ASSERT_EQ(ProxyInit(), 0);
  EXPECT_EQ(g_sessionKey, 0x7373u);
  EXPECT_FALSE(InodeStillOpen(firstConnection));
  struct stat sameEndpoint {};
  ASSERT_EQ(stat(PipeSocketPath().c_str(), &sameEndpoint), 0);
  EXPECT_EQ(sameEndpoint.st_ino, endpoint.st_ino);  // not unlinked and made anew
  EXPECT_EQ(g_recvEventsRunning, 1);

  peer_.Close();
  SetTimeScaleForTesting(0.05);
  ProxyUnInit();
  EXPECT_EQ(g_recvEventsRunning, 0);
  EXPECT_FALSE(PipeListenerActive());
  g_sessionKey = 0;
}

}  // namespace
