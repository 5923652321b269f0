#include "sim/session.h"

#include <random>

#include "proxy/byte_order.h"
#include "proxy/session_format.h"
#include "sim/log.h"

namespace sim {

namespace {

uint32_t RandomWord() {
  static thread_local std::mt19937 generator{std::random_device{}()};
  uint32_t word = 0;
  while (word == 0) word = static_cast<uint32_t>(generator());
  return word;
}

}  // namespace

Session::Session(State& state, FaultInjector& faults, Credentials credentials,
                 std::function<void(uint16_t)> onNegotiate, RequestJournal* journal)
    : state_(state),
      faults_(faults),
      journal_(journal),
      credentials_(std::move(credentials)),
      onNegotiate_(std::move(onNegotiate)) {}

std::vector<uint8_t> Session::MakeFrame(uint32_t dataType, uint32_t opCode,
                                        const std::vector<uint8_t>& payload) {
  std::vector<uint8_t> frame(kPacketHeaderSize + payload.size());
  PacketHeader header = MakePacketHeader(dataType, opCode, counter_++, sessionKey_);
  header.DataLen = static_cast<uint32_t>(payload.size());
  EncodePacketHeader(header, frame.data());
  std::copy(payload.begin(), payload.end(), frame.begin() + kPacketHeaderSize);
  return frame;
}

Session::Outcome Session::Handle(const Frame& frame) {
  // Before a login on this connection the client's key is unknown to us (a reconnecting client
  // keeps its old one), so only frames after it can be checked.
  if (loggedIn_ && frame.header.SeqAuth != ComputeSeqAuth(frame.header.SeqNum, sessionKey_)) {
    ++violations_;
    SimLog("SeqAuth violation %u: frame %u carries 0x%08x", violations_, frame.header.SeqNum,
           frame.header.SeqAuth);
  }
  if (frame.header.DataType == RSSESSION) return HandleSession(frame);
  if (frame.header.DataType == RSREQUEST) return HandleRequest(frame);
  SimLog("frame of DataType %u refused", frame.header.DataType);
  std::vector<uint8_t> payload(12, 0);
  put_be32(kStatusBadRequest, payload.data() + kPayloadOffStatus);
  return {Action::kReply, MakeFrame(RSREPLY, frame.header.OpCode, payload)};
}

Session::Outcome Session::HandleSession(const Frame& frame) {
  const std::vector<uint8_t>& in = frame.payload;
  switch (frame.header.OpCode) {
    case SESSION_HANDSHAKE: {
      handshakeWord_ = RandomWord();
      std::vector<uint8_t> reply(kHandshakeReplySize);
      EncodeHandshakeReply({(kProtocolGeneration << 8) | kSessionStatusOk, handshakeWord_},
                           reply.data());
      return {Action::kReply, MakeFrame(RSSESSION, SESSION_HANDSHAKE_REPLY, reply)};
    }
    case SESSION_LOGIN: {
      SessionReply answer;
      if (in.size() < kLoginPayloadSize) {
        SimLog("login of %zu bytes refused", in.size());
        answer.status = kSessionStatusUnknownUser;
      } else {
        LoginPayload login;
        DecodeLoginPayload(in.data(), &login);
        if (login.userName != credentials_.user) {
          SimLog("login refused: unknown user %s", login.userName.c_str());
          answer.status = kSessionStatusUnknownUser;
        } else if (login.password != credentials_.password ||
                   login.handshakeWord != handshakeWord_) {
          SimLog("login refused: invalid password for %s", login.userName.c_str());
          answer.status = kSessionStatusBadPassword;
        } else {
          answer.status = kSessionStatusOk;
          answer.word = RandomWord();
        }
      }
      std::vector<uint8_t> reply(kLoginReplySize);
      EncodeLoginReply(answer, reply.data());
      Outcome outcome{Action::kReply, MakeFrame(RSSESSION, SESSION_LOGIN_REPLY, reply)};
      if (answer.status == kSessionStatusOk) {
        sessionKey_ = answer.word;
        loggedIn_ = true;
      }
      return outcome;
    }
    case SESSION_NEGOTIATE: {
      if (loggedIn_ && in.size() >= kNegotiatePayloadSize) {
        onNegotiate_(DecodeNegotiatePayload(in.data()));
      } else {
        SimLog("negotiate refused: %s", loggedIn_ ? "short payload" : "not logged in");
      }
      return {Action::kReply, MakeFrame(RSSESSION, SESSION_NEGOTIATE_REPLY, {})};
    }
    case SESSION_CLOSE:
      return {Action::kReplyAndClose, MakeFrame(RSSESSION, SESSION_CLOSE, {})};
    default:
      SimLog("unknown session opcode %u", frame.header.OpCode);
      return {Action::kReply, MakeFrame(RSSESSION, frame.header.OpCode, {})};
  }
}

Session::Outcome Session::HandleRequest(const Frame& frame) {
  const uint32_t opcode = frame.header.OpCode;
  std::vector<uint8_t> reply;
  const std::optional<Fault> fault = faults_.Take(opcode);
  if (!loggedIn_) {
    reply.assign(12, 0);
    put_be32(kStatusNotLoggedIn, reply.data() + StatusOffset(opcode));
  } else {
    if (journal_ != nullptr) journal_->Record(opcode, frame.payload.data(), frame.payload.size());
    if (!fault || fault->kind != FaultKind::kRefuse) {
      HandleCommand(state_, commands_, opcode, frame.payload.data(), frame.payload.size(), &reply);
    }
  }
  if (!fault) return {Action::kReply, MakeFrame(RSREPLY, opcode, reply)};
  switch (fault->kind) {
    case FaultKind::kClose:
      SimLog("fault: closing the connection at opcode %u", opcode);
      return {Action::kClose, {}};
    case FaultKind::kSilent:
      SimLog("fault: no reply to opcode %u", opcode);
      return {Action::kNone, {}};
    case FaultKind::kShort: {
      SimLog("fault: short reply to opcode %u", opcode);
      std::vector<uint8_t> bytes = MakeFrame(RSREPLY, opcode, reply);
      bytes.resize(kPacketHeaderSize + reply.size() / 2);
      return {Action::kReplyAndClose, std::move(bytes)};
    }
    case FaultKind::kWrongOpcode:
      SimLog("fault: reply to opcode %u under opcode %u", opcode, opcode + 1);
      return {Action::kReply, MakeFrame(RSREPLY, opcode + 1, reply)};
    case FaultKind::kRefuse:
      // The request comes back with the status word, as a controller answers a refusal.
      SimLog("fault: refusing opcode %u with status %u", opcode, fault->status);
      reply.assign(frame.payload.begin(), frame.payload.end());
      [[fallthrough]];
    case FaultKind::kStatus: {
      if (fault->kind == FaultKind::kStatus) {
        SimLog("fault: status %u for opcode %u", fault->status, opcode);
      }
      const size_t at = StatusOffset(opcode);
      if (reply.size() < at + 4) reply.resize(at + 4, 0);
      if (opcode == GET_CONTROLLERHANDLEDB) {
        put_le32(fault->status, reply.data() + at);
      } else {
        put_be32(fault->status, reply.data() + at);
      }
      return {Action::kReply, MakeFrame(RSREPLY, opcode, reply)};
    }
  }
  return {Action::kClose, {}};
}

}  // namespace sim
