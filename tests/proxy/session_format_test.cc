#include "proxy/session_format.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

std::vector<uint8_t> Field(const uint8_t* payload) {
  return {payload + kLoginOffPassword, payload + kLoginOffPassword + kLoginPasswordFieldSize};
}

TEST(LoginPayload, GoldenBytesForEightCharacterPassword) {
  uint8_t out[kLoginPayloadSize];
  std::memset(out, 0xAA, sizeof out);
  EncodeLoginPayload("admin", "secret99", 0x12345678, out);

  std::vector<uint8_t> expected(kLoginPayloadSize, 0);
  std::memcpy(expected.data(), "admin", 5);
  const uint8_t block[8] = {0x5c, 0x51, 0xdb, 0x84, 0xef, 0x0d, 0xc4, 0xec};
  std::memcpy(expected.data() + 32, block, 8);  // zero byte behind it at field offset 8
  expected[80] = 8;
  expected[84] = 0x12;
  expected[85] = 0x34;
  expected[86] = 0x56;
  expected[87] = 0x78;
  EXPECT_EQ(std::vector<uint8_t>(out, out + kLoginPayloadSize), expected);
}

// Blanks pad the password to whole blocks; a zero byte follows the last.
TEST(LoginPayload, ShortPasswordsArePaddedToWholeBlocks) {
  const struct {
    std::string password;
    std::vector<uint8_t> field;
  } kCases[] = {
      {"abc", {0xdf, 0x7c, 0x8f, 0xf7, 0x04, 0x94, 0xa5, 0x8c, 0}},  // "abc     "
      {"abcdefghi",
       {0x45, 0xfb, 0x61, 0x81, 0xfb, 0x9d, 0xd3, 0x94,       // "abcdefgh"
        0x8e, 0xd8, 0xc1, 0xeb, 0x4f, 0x47, 0xf3, 0xe8, 0}},  // "i       "
  };
  for (const auto& c : kCases) {
    uint8_t out[kLoginPayloadSize];
    EncodeLoginPayload("u", c.password, 0, out);
    EXPECT_EQ(0, std::memcmp(out + kLoginOffPassword, c.field.data(), c.field.size()));
    EXPECT_EQ(out[kLoginOffPasswordLength], c.password.size());
  }
}

TEST(LoginPayload, LongPasswordKeepsPlainTail) {
  const std::string password = "0123456789012345678901234567890123456789ABCDEFGHIJ";  // 50
  uint8_t out[kLoginPayloadSize];
  EncodeLoginPayload("u", password, 0, out);
  const std::vector<uint8_t> field = Field(out);
  EXPECT_EQ(std::string(field.begin() + 40, field.end()), "ABCDEFGH");
  EXPECT_NE(0, std::memcmp(field.data(), password.data(), 8));
  EXPECT_EQ(out[kLoginOffPasswordLength], 50);
  EXPECT_EQ(out[kLoginOffPasswordLength + 1], 0);
}

TEST(LoginPayload, DecodeRecoversWhatWasEncoded) {
  for (const std::string& password :
       {std::string(""), std::string("x"), std::string("secret99"), std::string(40, 'p'),
        std::string(41, 'q'), std::string(48, 'r')}) {
    uint8_t out[kLoginPayloadSize];
    EncodeLoginPayload(std::string(32, 'U'), password, 0xCAFEF00D, out);
    LoginPayload decoded;
    DecodeLoginPayload(out, &decoded);
    EXPECT_EQ(decoded.userName, std::string(32, 'U'));
    EXPECT_EQ(decoded.password, password);
    EXPECT_EQ(decoded.passwordLength, password.size());
    EXPECT_EQ(decoded.handshakeWord, 0xCAFEF00Du);
  }
}

TEST(LoginPayload, DecodeBoundsLengthByteToField) {
  uint8_t in[kLoginPayloadSize] = {};
  in[kLoginOffPasswordLength] = 0xFF;
  LoginPayload decoded;
  DecodeLoginPayload(in, &decoded);
  EXPECT_EQ(decoded.password.size(), kLoginPasswordFieldSize);
}

TEST(SessionReplies, RoundTrip) {
  uint8_t hs[kHandshakeReplySize];
  EncodeHandshakeReply({0x0501, 0xDEADBEEF}, hs);
  EXPECT_EQ(hs[2], 0x05);
  EXPECT_EQ(hs[3], 0x01);
  SessionReply r;
  DecodeHandshakeReply(hs, &r);
  EXPECT_EQ(r.status, 0x0501u);
  EXPECT_EQ(r.word, 0xDEADBEEFu);

  uint8_t login[kLoginReplySize];
  EncodeLoginReply({1, 0x01020304}, login);
  DecodeLoginReply(login, &r);
  EXPECT_EQ(r.status, 1u);
  EXPECT_EQ(r.word, 0x01020304u);

  uint8_t neg[kNegotiatePayloadSize];
  EncodeNegotiatePayload(0xBEEF, neg);
  EXPECT_EQ(neg[0], 0xBE);
  EXPECT_EQ(DecodeNegotiatePayload(neg), 0xBEEF);
}

}  // namespace
