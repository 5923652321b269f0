#include "proxy/session_format.h"

#include <algorithm>
#include <cstring>

#include "proxy/byte_order.h"
#include "proxy/des.h"

static_assert(kLoginOffUserName + kLoginUserNameSize == kLoginOffPassword);
static_assert(kLoginOffPassword + kLoginPasswordFieldSize == kLoginOffPasswordLength);
static_assert(kLoginOffHandshakeWord + 4 <= kLoginPayloadSize);
static_assert(kLoginPayloadSize == 344);
static_assert(kLoginEncipheredMax % kDesBlockSize == 0);
static_assert(sizeof(kHandshakeToken) - 1 == kHandshakePayloadSize);

namespace {

size_t BoundedLength(const uint8_t* p, size_t max) {
  const void* zero = std::memchr(p, 0, max);
  return zero ? static_cast<size_t>(static_cast<const uint8_t*>(zero) - p) : max;
}

}  // namespace

void EncipherPasswordField(uint8_t field[kLoginPasswordFieldSize]) {
  const size_t textLen = BoundedLength(field, kLoginPasswordFieldSize);
  const size_t len = std::min(textLen, kLoginEncipheredMax);
  const size_t blocks = (len + kDesBlockSize - 1) / kDesBlockSize;
  uint8_t work[kLoginEncipheredMax + 9] = {};
  std::memcpy(work, field, len);
  std::memset(work + len, ' ', blocks * kDesBlockSize - len);
  for (size_t b = 0; b < blocks; ++b) {
    DesEncipher(kLoginDesKey, work + b * kDesBlockSize, work + b * kDesBlockSize);
  }
  if (textLen > kLoginEncipheredMax) {
    std::memcpy(field, work, kLoginEncipheredMax);
  } else {
    std::memcpy(field, work, blocks * kDesBlockSize);
    field[blocks * kDesBlockSize] = 0;
  }
}

void EncodeLoginPayload(const std::string& userName, const std::string& password,
                        uint32_t handshakeWord, uint8_t out[kLoginPayloadSize]) {
  std::memset(out, 0, kLoginPayloadSize);
  std::memcpy(out + kLoginOffUserName, userName.data(),
              std::min(userName.size(), kLoginUserNameSize));
  uint8_t* field = out + kLoginOffPassword;
  std::memcpy(field, password.data(), std::min(password.size(), kLoginPasswordFieldSize));
  EncipherPasswordField(field);
  out[kLoginOffPasswordLength] = static_cast<uint8_t>(password.size());
  put_be32(handshakeWord, out + kLoginOffHandshakeWord);
}

void DecodeLoginPayload(const uint8_t in[kLoginPayloadSize], LoginPayload* payload) {
  const uint8_t* user = in + kLoginOffUserName;
  payload->userName.assign(reinterpret_cast<const char*>(user),
                           BoundedLength(user, kLoginUserNameSize));
  payload->passwordLength = in[kLoginOffPasswordLength];
  payload->handshakeWord = get_be32(in + kLoginOffHandshakeWord);

  const uint8_t* field = in + kLoginOffPassword;
  const size_t textLen = std::min<size_t>(payload->passwordLength, kLoginPasswordFieldSize);
  const size_t len = std::min(textLen, kLoginEncipheredMax);
  const size_t blocks = (len + kDesBlockSize - 1) / kDesBlockSize;
  uint8_t plain[kLoginPasswordFieldSize] = {};
  for (size_t b = 0; b < blocks; ++b) {
    DesDecipher(kLoginDesKey, field + b * kDesBlockSize, plain + b * kDesBlockSize);
  }
  if (textLen > kLoginEncipheredMax) {
    std::memcpy(plain + kLoginEncipheredMax, field + kLoginEncipheredMax,
                textLen - kLoginEncipheredMax);
  }
  payload->password.assign(reinterpret_cast<const char*>(plain), textLen);
}

void EncodeHandshakeReply(const SessionReply& reply, uint8_t out[kHandshakeReplySize]) {
  put_be32(reply.status, out);
  put_be32(reply.word, out + 4);
}

void DecodeHandshakeReply(const uint8_t in[kHandshakeReplySize], SessionReply* reply) {
  reply->status = get_be32(in);
  reply->word = get_be32(in + 4);
}

void EncodeLoginReply(const SessionReply& reply, uint8_t out[kLoginReplySize]) {
  put_be32(reply.status, out);
  put_be32(reply.word, out + 4);
  put_be32(0, out + 8);
}

void DecodeLoginReply(const uint8_t in[kLoginReplySize], SessionReply* reply) {
  reply->status = get_be32(in);
  reply->word = get_be32(in + 4);
}

void EncodeNegotiatePayload(uint16_t pipeNumber, uint8_t out[kNegotiatePayloadSize]) {
  put_be16(pipeNumber, out);
}

uint16_t DecodeNegotiatePayload(const uint8_t in[kNegotiatePayloadSize]) { return get_be16(in); }
