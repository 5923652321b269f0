#include "tests/support/scripted_peer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>

#include "proxy/byte_order.h"
#include "proxy/frame.h"

namespace {

// The most the peer reads of one request: the client's request buffer.
constexpr size_t kMaxRequestPayload = kRequestBufferSize - kPacketHeaderSize;

bool ReadAll(int fd, uint8_t* to, size_t len) {
  size_t total = 0;
  while (total < len) {
    const ssize_t got = recv(fd, to + total, len - total, 0);
    if (got <= 0) return false;
    total += static_cast<size_t>(got);
  }
  return true;
}

void SendAll(int fd, const Bytes& bytes) {
  size_t total = 0;
  while (total < bytes.size()) {
    const ssize_t sent = send(fd, bytes.data() + total, bytes.size() - total, MSG_NOSIGNAL);
    if (sent <= 0) return;
    total += static_cast<size_t>(sent);
  }
}

}  // namespace

Bytes MakeFrameWithDataLen(uint32_t dataType, uint32_t opCode, const Bytes& payload,
                           uint32_t dataLen) {
  Bytes frame(kPacketHeaderSize + payload.size());
  PacketHeader header = MakePacketHeader(dataType, opCode, 0, 0);
  header.DataLen = dataLen;
  EncodePacketHeader(header, frame.data());
  std::copy(payload.begin(), payload.end(), frame.begin() + kPacketHeaderSize);
  return frame;
}

Bytes MakeFrame(uint32_t dataType, uint32_t opCode, const Bytes& payload) {
  return MakeFrameWithDataLen(dataType, opCode, payload, static_cast<uint32_t>(payload.size()));
}

Bytes MakeReply(uint32_t opCode, size_t size, uint32_t status) {
  Bytes payload(size, 0);
  if (size >= 8) put_be32(status, payload.data() + 4);
  return MakeFrame(RSREPLY, opCode, payload);
}

ScriptedPeer::ScriptedPeer() {
  m_listen = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = 0;
  bind(m_listen, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  listen(m_listen, 4);
  socklen_t len = sizeof address;
  getsockname(m_listen, reinterpret_cast<sockaddr*>(&address), &len);
  m_port = ntohs(address.sin_port);
  m_thread = std::thread(&ScriptedPeer::Run, this);
}

ScriptedPeer::~ScriptedPeer() {
  {
    std::lock_guard<std::mutex> guard(m_lock);
    m_stopping = true;
    if (m_client >= 0) shutdown(m_client, SHUT_RDWR);
  }
  shutdown(m_listen, SHUT_RDWR);
  m_changed.notify_all();
  m_thread.join();
  close(m_listen);
}

void ScriptedPeer::AddStep(Action action, Bytes bytes, std::chrono::milliseconds delay) {
  {
    std::lock_guard<std::mutex> guard(m_lock);
    m_steps.push_back(Step{action, std::move(bytes), delay});
  }
  m_changed.notify_all();
}

void ScriptedPeer::Reply(Bytes bytes) { AddStep(Action::kReply, std::move(bytes)); }
void ScriptedPeer::ReplyAndClose(Bytes bytes) { AddStep(Action::kReplyAndClose, std::move(bytes)); }
void ScriptedPeer::Close() { AddStep(Action::kClose, {}); }
void ScriptedPeer::Stall() { AddStep(Action::kStall, {}); }
void ScriptedPeer::ReplyAfter(std::chrono::milliseconds delay, Bytes bytes) {
  AddStep(Action::kReply, std::move(bytes), delay);
}

std::vector<Bytes> ScriptedPeer::Requests() {
  std::lock_guard<std::mutex> guard(m_lock);
  return m_requests;
}

bool ScriptedPeer::WaitForRequests(size_t count) {
  std::unique_lock<std::mutex> guard(m_lock);
  return m_changed.wait_for(guard, std::chrono::seconds(10),
                            [&] { return m_requests.size() >= count; });
}

bool ScriptedPeer::ReadFrame(int fd, Bytes* frame) {
  frame->assign(kPacketHeaderSize, 0);
  if (!ReadAll(fd, frame->data(), kPacketHeaderSize)) return false;
  const uint32_t dataLen = GetFrameDataLen(frame->data());
  if (dataLen > kMaxRequestPayload) return false;
  frame->resize(kPacketHeaderSize + dataLen);
  return ReadAll(fd, frame->data() + kPacketHeaderSize, dataLen);
}

void ScriptedPeer::Run() {
  for (;;) {
    const int client = accept(m_listen, nullptr, nullptr);
    if (client < 0) return;
    {
      std::lock_guard<std::mutex> guard(m_lock);
      m_client = client;
      if (m_stopping) shutdown(client, SHUT_RDWR);
    }
    Serve(client);
    std::lock_guard<std::mutex> guard(m_lock);
    m_client = -1;
    close(client);
    if (m_stopping) return;
  }
}

void ScriptedPeer::Serve(int client) {
  for (;;) {
    Bytes frame;
    if (!ReadFrame(client, &frame)) return;
    Step step;
    {
      std::unique_lock<std::mutex> guard(m_lock);
      m_requests.push_back(std::move(frame));
      m_changed.notify_all();
      m_changed.wait(guard, [&] { return m_stopping || !m_steps.empty(); });
      if (m_stopping) return;
      step = std::move(m_steps.front());
      m_steps.pop_front();
    }
    if (step.delay.count() > 0) {
      std::unique_lock<std::mutex> guard(m_lock);
      if (m_changed.wait_for(guard, step.delay, [&] { return m_stopping; })) return;
    }
    if (step.action == Action::kStall) {
      std::unique_lock<std::mutex> guard(m_lock);
      m_changed.wait(guard, [&] { return m_stopping; });
      return;
    }
    if (step.action != Action::kClose) SendAll(client, step.bytes);
    if (step.action != Action::kReply) return;
  }
}
