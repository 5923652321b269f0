#include "tests/sim/sim_client.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "proxy/byte_order.h"
#include "proxy/session_format.h"
#include "proxy/wire_format.h"

namespace simtest {

namespace {
constexpr int kGuardMs = 10000;
}

uint32_t Reply::status() const {
  return payload.size() >= 8 ? get_be32(payload.data() + 4) : 0xFFFFFFFF;
}

SimClient::~SimClient() { Close(); }

bool SimClient::Connect(uint16_t port) {
  Close();
  fd_ = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return fd_ >= 0 && connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

void SimClient::Close() {
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
}

bool SimClient::SendRaw(const std::vector<uint8_t>& bytes) {
  size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t n = send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) return false;
    sent += static_cast<size_t>(n);
  }
  return true;
}

bool SimClient::Send(uint32_t dataType, uint32_t opCode, const std::vector<uint8_t>& payload) {
  std::vector<uint8_t> frame(kPacketHeaderSize + payload.size());
  PacketHeader header = MakePacketHeader(dataType, opCode, counter_++, sessionKey_);
  header.DataLen = static_cast<uint32_t>(payload.size());
  EncodePacketHeader(header, frame.data());
  std::copy(payload.begin(), payload.end(), frame.begin() + kPacketHeaderSize);
  return SendRaw(frame);
}

static bool ReadExactly(int fd, uint8_t* out, size_t size) {
  size_t have = 0;
  pollfd wait{fd, POLLIN, 0};
  while (have < size) {
    if (poll(&wait, 1, kGuardMs) <= 0) return false;
    const ssize_t n = recv(fd, out + have, size - have, 0);
    if (n <= 0) return false;
    have += static_cast<size_t>(n);
  }
  return true;
}

bool SimClient::Receive(Reply* reply) {
  uint8_t header[kPacketHeaderSize];
  if (!ReadExactly(fd_, header, sizeof header)) return false;
  DecodePacketHeader(header, &reply->header);
  reply->payload.assign(reply->header.DataLen, 0);
  return ReadExactly(fd_, reply->payload.data(), reply->payload.size());
}

bool SimClient::ReadByte(char* byte) {
  return ReadExactly(fd_, reinterpret_cast<uint8_t*>(byte), 1);
}

bool SimClient::PeerClosed() {
  uint8_t byte;
  pollfd wait{fd_, POLLIN, 0};
  if (poll(&wait, 1, kGuardMs) <= 0) return false;
  return recv(fd_, &byte, 1, 0) == 0;
}

uint32_t SimClient::Logon(const std::string& user, const std::string& password, uint16_t pipe) {
  Reply reply;
  if (!Send(RSSESSION, SESSION_HANDSHAKE, {'p', 'i', 'x', 'n', 'o', 'd'}) || !Receive(&reply) ||
      reply.payload.size() != kHandshakeReplySize) {
    return 0xFFFFFFFF;
  }
  SessionReply handshake;
  DecodeHandshakeReply(reply.payload.data(), &handshake);
  std::vector<uint8_t> login(kLoginPayloadSize);
  EncodeLoginPayload(user, password, handshake.word, login.data());
  if (!Send(RSSESSION, SESSION_LOGIN, login) || !Receive(&reply) ||
      reply.payload.size() != kLoginReplySize) {
    return 0xFFFFFFFF;
  }
  SessionReply answer;
  DecodeLoginReply(reply.payload.data(), &answer);
  if (answer.status != kSessionStatusOk) return answer.status;
  sessionKey_ = answer.word;
  if (pipe != 0) {
    std::vector<uint8_t> negotiate(kNegotiatePayloadSize);
    EncodeNegotiatePayload(pipe, negotiate.data());
    if (!Send(RSSESSION, SESSION_NEGOTIATE, negotiate) || !Receive(&reply)) return 0xFFFFFFFF;
  }
  return answer.status;
}

bool SimClient::Command(uint32_t opCode, const std::vector<uint8_t>& payload, Reply* reply) {
  return Send(RSREQUEST, opCode, payload) && Receive(reply);
}

std::vector<uint8_t> Request(size_t size, uint32_t handle) {
  std::vector<uint8_t> payload(std::max<size_t>(size, 12), 0);
  put_be32(handle, payload.data() + kPayloadOffHandle);
  payload.resize(size);
  return payload;
}

std::vector<uint8_t> GetControllerRequest(uint32_t handle) {
  std::vector<uint8_t> payload(kLenGetController);
  put_be32(handle, payload.data());
  return payload;
}

std::unique_ptr<controllerData> FetchController(SimClient& client, uint32_t handle) {
  Reply reply;
  auto record = std::make_unique<controllerData>();
  EXPECT_TRUE(client.Command(GET_CONTROLLER, GetControllerRequest(handle), &reply));
  EXPECT_EQ(reply.header.OpCode, GET_CONTROLLER);
  EXPECT_TRUE(DecodeControllerData(reply.payload.data(), reply.payload.size(), record.get()));
  return record;
}

}  // namespace simtest
