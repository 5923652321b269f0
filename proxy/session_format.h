// Payloads of the session frames (DataType RSSESSION), shared by the client and the simulator.
//
// Login payload, 344 bytes, zero but for:
// OFFSET SIZE FIELD
//      0   32 user name, zero-terminated when shorter than 32
//     32   48 password field, enciphered (EncipherPasswordField)
//     80    1 length of the plain password (low byte)
//     84    4 handshake word, big-endian
//
// Handshake request: the 6 bytes "pixnod". Handshake reply: status, handshake word.
// Login reply: status, session key, unused word. Negotiate: pipe number, 16-bit.
// All words big-endian.
#ifndef VELA_PROXY_SESSION_FORMAT_H_
#define VELA_PROXY_SESSION_FORMAT_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "proxy/wire_format.h"

inline constexpr size_t kLoginOffUserName = 0;
inline constexpr size_t kLoginUserNameSize = 32;
inline constexpr size_t kLoginOffPassword = 32;
inline constexpr size_t kLoginPasswordFieldSize = 48;
inline constexpr size_t kLoginOffPasswordLength = 80;
inline constexpr size_t kLoginOffHandshakeWord = 84;
// Only this much of the password is enciphered; a longer tail travels in plain text.
inline constexpr size_t kLoginEncipheredMax = 40;
// The fixed key of the password encipherment.
inline constexpr uint8_t kLoginDesKey[8] = {'f', 'e', 'r', 'n', 'q', 'u', 'a', 'y'};

// Enciphers the zero-terminated text in the 48-byte password field in place: the first
// min(len, 40) bytes padded with blanks to whole blocks, DES in ECB mode; a text of 40 bytes or
// less gets a zero byte behind its last block, a longer one keeps its tail in plain text.
void EncipherPasswordField(uint8_t field[kLoginPasswordFieldSize]);

// Builds the 344-byte login payload at `out`. `userName` and `password` are cut to their field
// sizes; the length byte is the low byte of the full password length.
void EncodeLoginPayload(const std::string& userName, const std::string& password,
                        uint32_t handshakeWord, uint8_t out[kLoginPayloadSize]);

struct LoginPayload {
  std::string userName;
  std::string password;  // recovered plain text
  uint8_t passwordLength = 0;
  uint32_t handshakeWord = 0;
};
// Reads a 344-byte login payload and deciphers the password. Never reads beyond the payload,
// whatever the length byte says.
void DecodeLoginPayload(const uint8_t in[kLoginPayloadSize], LoginPayload* payload);

struct SessionReply {
  uint32_t status = 0;
  uint32_t word = 0;  // handshake word or session key
};
void EncodeHandshakeReply(const SessionReply& reply, uint8_t out[kHandshakeReplySize]);
void DecodeHandshakeReply(const uint8_t in[kHandshakeReplySize], SessionReply* reply);
void EncodeLoginReply(const SessionReply& reply, uint8_t out[kLoginReplySize]);
void DecodeLoginReply(const uint8_t in[kLoginReplySize], SessionReply* reply);

void EncodeNegotiatePayload(uint16_t pipeNumber, uint8_t out[kNegotiatePayloadSize]);
uint16_t DecodeNegotiatePayload(const uint8_t in[kNegotiatePayloadSize]);

#endif  // VELA_PROXY_SESSION_FORMAT_H_
