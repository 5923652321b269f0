#include "proxy/des.h"

#include <array>
#include <cstring>

namespace {

// The published tables, 1-based bit numbers as printed.
constexpr uint8_t kIp[64] = {58, 50, 42, 34, 26, 18, 10, 2, 60, 52, 44, 36, 28, 20, 12, 4,
                             62, 54, 46, 38, 30, 22, 14, 6, 64, 56, 48, 40, 32, 24, 16, 8,
                             57, 49, 41, 33, 25, 17, 9,  1, 59, 51, 43, 35, 27, 19, 11, 3,
                             61, 53, 45, 37, 29, 21, 13, 5, 63, 55, 47, 39, 31, 23, 15, 7};
constexpr uint8_t kFp[64] = {40, 8, 48, 16, 56, 24, 64, 32, 39, 7, 47, 15, 55, 23, 63, 31,
                             38, 6, 46, 14, 54, 22, 62, 30, 37, 5, 45, 13, 53, 21, 61, 29,
                             36, 4, 44, 12, 52, 20, 60, 28, 35, 3, 43, 11, 51, 19, 59, 27,
                             34, 2, 42, 10, 50, 18, 58, 26, 33, 1, 41, 9,  49, 17, 57, 25};
constexpr uint8_t kE[48] = {32, 1,  2,  3,  4,  5,  4,  5,  6,  7,  8,  9,  8,  9,  10, 11,
                            12, 13, 12, 13, 14, 15, 16, 17, 16, 17, 18, 19, 20, 21, 20, 21,
                            22, 23, 24, 25, 24, 25, 26, 27, 28, 29, 28, 29, 30, 31, 32, 1};
constexpr uint8_t kP[32] = {16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23, 26, 5,  18, 31, 10,
                            2,  8, 24, 14, 32, 27, 3,  9,  19, 13, 30, 6,  22, 11, 4,  25};
constexpr uint8_t kPc1[56] = {57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18,
                              10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
                              63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22,
                              14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};
constexpr uint8_t kPc2[48] = {14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,
                              26, 8,  16, 7,  27, 20, 13, 2,  41, 52, 31, 37, 47, 55, 30, 40,
                              51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};
constexpr uint8_t kShifts[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};
constexpr uint8_t kSbox[8][64] = {
    {14, 4,  13, 1, 2,  15, 11, 8, 3, 10, 6, 12, 5,  9,  0,  7,  0,  15, 7,  4,  14, 2,
     13, 1,  10, 6, 12, 11, 9,  5, 3, 8,  4, 1,  14, 8,  13, 6,  2,  11, 15, 12, 9,  7,
     3,  10, 5,  0, 15, 12, 8,  2, 4, 9,  1, 7,  5,  11, 3,  14, 10, 0,  6,  13},
    {15, 1,  8,  14, 6,  11, 3,  4, 9,  7,  2, 13, 12, 0,  5,  10, 3,  13, 4,  7, 15, 2,
     8,  14, 12, 0,  1,  10, 6,  9, 11, 5,  0, 14, 7,  11, 10, 4,  13, 1,  5,  8, 12, 6,
     9,  3,  2,  15, 13, 8,  10, 1, 3,  15, 4, 2,  11, 6,  7,  12, 0,  5,  14, 9},
    {10, 0,  9,  14, 6, 3,  15, 5,  1,  13, 12, 7, 11, 4,  2,  8,  13, 7, 0,  9, 3, 4,
     6,  10, 2,  8,  5, 14, 12, 11, 15, 1,  13, 6, 4,  9,  8,  15, 3,  0, 11, 1, 2, 12,
     5,  10, 14, 7,  1, 10, 13, 0,  6,  9,  8,  7, 4,  15, 14, 3,  11, 5, 2,  12},
    {7, 13, 14, 3, 0, 6,  9, 10, 1,  2, 8,  5, 11, 12, 4,  15, 13, 8,  11, 5, 6, 15,
     0, 3,  4,  7, 2, 12, 1, 10, 14, 9, 10, 6, 9,  0,  12, 11, 7,  13, 15, 1, 3, 14,
     5, 2,  8,  4, 3, 15, 0, 6,  10, 1, 13, 8, 9,  4,  5,  11, 12, 7,  2,  14},
    {2,  12, 4, 1,  7,  10, 11, 6, 8, 5,  3, 15, 13, 0,  14, 9,  14, 11, 2,  12, 4,  7,
     13, 1,  5, 0,  15, 10, 3,  9, 8, 6,  4, 2,  1,  11, 10, 13, 7,  8,  15, 9,  12, 5,
     6,  3,  0, 14, 11, 8,  12, 7, 1, 14, 2, 13, 6,  15, 0,  9,  10, 4,  5,  3},
    {12, 1,  10, 15, 9,  2,  6, 8,  0, 13, 3,  4,  14, 7,  5, 11, 10, 15, 4, 2, 7, 12,
     9,  5,  6,  1,  13, 14, 0, 11, 3, 8,  9,  14, 15, 5,  2, 8,  12, 3,  7, 0, 4, 10,
     1,  13, 11, 6,  4,  3,  2, 12, 9, 5,  15, 10, 11, 14, 1, 7,  6,  0,  8, 13},
    {4, 11, 2,  14, 15, 0,  8,  13, 3, 12, 9,  7, 5,  10, 6,  1,  13, 0,  11, 7,  4, 9,
     1, 10, 14, 3,  5,  12, 2,  15, 8, 6,  1,  4, 11, 13, 12, 3,  7,  14, 10, 15, 6, 8,
     0, 5,  9,  2,  6,  11, 13, 8,  1, 4,  10, 7, 9,  5,  0,  15, 14, 2,  3,  12},
    {13, 2, 8,  4, 6, 15, 11, 1,  10, 9,  3, 14, 5,  0,  12, 7,  1,  15, 13, 8, 10, 3,
     7,  4, 12, 5, 6, 11, 0,  14, 9,  2,  7, 11, 4,  1,  9,  12, 14, 2,  0,  6, 10, 13,
     15, 3, 5,  8, 2, 1,  14, 7,  4,  10, 8, 13, 15, 12, 9,  0,  3,  5,  6,  11}};

using Bits64 = std::array<uint8_t, 64>;
using SubKeys = std::array<std::array<uint8_t, 48>, 16>;

// Least significant bit of each byte first: bit 1 of the published numbering is bit 0 of byte 0.
Bits64 Spread(const uint8_t bytes[kDesBlockSize]) {
  Bits64 bits{};
  for (int i = 0; i < 64; ++i) bits[i] = (bytes[i / 8] >> (i % 8)) & 1;
  return bits;
}

void Pack(const Bits64& bits, uint8_t bytes[kDesBlockSize]) {
  for (int i = 0; i < kDesBlockSize; ++i) {
    uint8_t b = 0;
    for (int j = 0; j < 8; ++j) b = static_cast<uint8_t>(b | (bits[i * 8 + j] << j));
    bytes[i] = b;
  }
}

SubKeys MakeSubKeys(const uint8_t key[kDesBlockSize]) {
  const Bits64 keyBits = Spread(key);
  std::array<uint8_t, 56> cd{};
  for (int i = 0; i < 56; ++i) cd[i] = keyBits[kPc1[i] - 1];
  SubKeys subKeys{};
  for (int round = 0; round < 16; ++round) {
    for (int s = 0; s < kShifts[round]; ++s) {
      const uint8_t c0 = cd[0];
      const uint8_t d0 = cd[28];
      for (int i = 0; i < 27; ++i) {
        cd[i] = cd[i + 1];
        cd[28 + i] = cd[29 + i];
      }
      cd[27] = c0;
      cd[55] = d0;
    }
    for (int i = 0; i < 48; ++i) subKeys[round][i] = cd[kPc2[i] - 1];
  }
  return subKeys;
}

void Feistel(const uint8_t right[32], const uint8_t subKey[48], uint8_t out[32]) {
  uint8_t mixed[48];
  for (int i = 0; i < 48; ++i) mixed[i] = right[kE[i] - 1] ^ subKey[i];
  uint8_t sOut[32];
  for (int box = 0; box < 8; ++box) {
    const uint8_t* in = mixed + box * 6;
    const int row = (in[0] << 1) | in[5];
    const int col = (in[1] << 3) | (in[2] << 2) | (in[3] << 1) | in[4];
    const uint8_t v = kSbox[box][row * 16 + col];
    for (int j = 0; j < 4; ++j) sOut[box * 4 + j] = (v >> (3 - j)) & 1;
  }
  for (int i = 0; i < 32; ++i) out[i] = sOut[kP[i] - 1];
}

void Crypt(const uint8_t key[kDesBlockSize], const uint8_t in[kDesBlockSize],
           uint8_t out[kDesBlockSize], bool decipher) {
  const SubKeys subKeys = MakeSubKeys(key);
  const Bits64 inBits = Spread(in);
  uint8_t lr[64];
  for (int i = 0; i < 64; ++i) lr[i] = inBits[kIp[i] - 1];
  uint8_t* left = lr;
  uint8_t* right = lr + 32;
  for (int round = 0; round < 16; ++round) {
    uint8_t f[32];
    Feistel(right, subKeys[decipher ? 15 - round : round].data(), f);
    for (int i = 0; i < 32; ++i) {
      const uint8_t next = left[i] ^ f[i];
      left[i] = right[i];
      right[i] = next;
    }
  }
  // The last round is not swapped: the output block is R16 L16.
  uint8_t preOutput[64];
  std::memcpy(preOutput, right, 32);
  std::memcpy(preOutput + 32, left, 32);
  Bits64 outBits{};
  for (int i = 0; i < 64; ++i) outBits[i] = preOutput[kFp[i] - 1];
  Pack(outBits, out);
}

}  // namespace

void DesEncipher(const uint8_t key[kDesBlockSize], const uint8_t in[kDesBlockSize],
                 uint8_t out[kDesBlockSize]) {
  Crypt(key, in, out, false);
}

void DesDecipher(const uint8_t key[kDesBlockSize], const uint8_t in[kDesBlockSize],
                 uint8_t out[kDesBlockSize]) {
  Crypt(key, in, out, true);
}
