// Single-block DES as the proxy expects it: the published algorithm and tables, but with its
// own bit order. Bytes are spread into bit arrays least significant bit first, and packed back
// the same way, so an off-the-shelf DES agrees only when every input and output byte has its
// bits reversed.
#ifndef VELA_PROXY_DES_H_
#define VELA_PROXY_DES_H_

#include <cstdint>

inline constexpr int kDesBlockSize = 8;

// Enciphers or deciphers one 8-byte block with an 8-byte key. `in` and `out` may alias.
void DesEncipher(const uint8_t key[kDesBlockSize], const uint8_t in[kDesBlockSize],
                 uint8_t out[kDesBlockSize]);
void DesDecipher(const uint8_t key[kDesBlockSize], const uint8_t in[kDesBlockSize],
                 uint8_t out[kDesBlockSize]);

#endif  // VELA_PROXY_DES_H_
