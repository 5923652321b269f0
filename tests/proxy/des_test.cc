#include "proxy/des.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

namespace {

using Block = std::array<uint8_t, 8>;

uint8_t ReverseBits(uint8_t b) {
  uint8_t r = 0;
  for (int i = 0; i < 8; ++i) r = static_cast<uint8_t>(r | (((b >> i) & 1) << (7 - i)));
  return r;
}

Block Reversed(const Block& in) {
  Block out{};
  for (size_t i = 0; i < in.size(); ++i) out[i] = ReverseBits(in[i]);
  return out;
}

struct KnownAnswer {
  Block key, plain, cipher;
};

// Published DES vectors in the standard bit order; the system's variant must agree once every
// byte of key, input and output is bit-reversed.
const KnownAnswer kVectors[] = {
    {{0x13, 0x34, 0x57, 0x79, 0x9B, 0xBC, 0xDF, 0xF1},
     {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF},
     {0x85, 0xE8, 0x13, 0x54, 0x0F, 0x0A, 0xB4, 0x05}},
    {{0x0E, 0x32, 0x92, 0x32, 0xEA, 0x6D, 0x0D, 0x73},
     {0x87, 0x87, 0x87, 0x87, 0x87, 0x87, 0x87, 0x87},
     {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}},
    {{0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01},
     {0x95, 0xF8, 0xA5, 0xE5, 0xDD, 0x31, 0xD9, 0x00},
     {0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}},
    {{0x80, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01},
     {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
     {0x95, 0xA8, 0xD7, 0x28, 0x13, 0xDA, 0xA9, 0x4D}},
};

TEST(Des, PublishedVectorsWithBitReversedBytes) {
  for (const KnownAnswer& v : kVectors) {
    const Block key = Reversed(v.key);
    const Block plain = Reversed(v.plain);
    Block cipher{};
    DesEncipher(key.data(), plain.data(), cipher.data());
    EXPECT_EQ(cipher, Reversed(v.cipher));
    Block back{};
    DesDecipher(key.data(), cipher.data(), back.data());
    EXPECT_EQ(back, plain);
  }
}

TEST(Des, DiffersFromStandardBitOrder) {
  const KnownAnswer& v = kVectors[0];
  Block cipher{};
  DesEncipher(v.key.data(), v.plain.data(), cipher.data());
  EXPECT_NE(cipher, v.cipher);
}

TEST(Des, InPlaceBlock) {
  const Block key = {'f', 'e', 'r', 'n', 'q', 'u', 'a', 'y'};
  Block block = {'s', 'e', 'c', 'r', 'e', 't', '9', '9'};
  DesEncipher(key.data(), block.data(), block.data());
  EXPECT_EQ(block, (Block{0x5c, 0x51, 0xdb, 0x84, 0xef, 0x0d, 0xc4, 0xec}));
  DesDecipher(key.data(), block.data(), block.data());
  EXPECT_EQ(block, (Block{'s', 'e', 'c', 'r', 'e', 't', '9', '9'}));
}

}  // namespace
