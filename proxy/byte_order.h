// Big-endian access to wire bytes. Every record codec and frame helper goes through these;
// nothing casts a struct over a buffer.
#ifndef VELA_PROXY_BYTE_ORDER_H_
#define VELA_PROXY_BYTE_ORDER_H_

#include <cstdint>
#include <cstring>

inline uint16_t get_be16(const uint8_t* p) { return static_cast<uint16_t>((p[0] << 8) | p[1]); }
inline uint32_t get_be32(const uint8_t* p) {
  return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}
inline void put_be16(uint16_t v, uint8_t* p) {
  p[0] = static_cast<uint8_t>(v >> 8);
  p[1] = static_cast<uint8_t>(v);
}
inline void put_be32(uint32_t v, uint8_t* p) {
  p[0] = static_cast<uint8_t>(v >> 24);
  p[1] = static_cast<uint8_t>(v >> 16);
  p[2] = static_cast<uint8_t>(v >> 8);
  p[3] = static_cast<uint8_t>(v);
}
// A 64-bit quantity travels as two big-endian 32-bit words, the low word first.
inline uint64_t get_be64_lowfirst(const uint8_t* p) {
  return uint64_t{get_be32(p)} | (uint64_t{get_be32(p + 4)} << 32);
}
inline void put_be64_lowfirst(uint64_t v, uint8_t* p) {
  put_be32(static_cast<uint32_t>(v), p);
  put_be32(static_cast<uint32_t>(v >> 32), p + 4);
}
// Fields the proxy sends in its own (little-endian) order.
inline uint16_t get_le16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
inline uint32_t get_le32(const uint8_t* p) {
  return uint32_t{p[0]} | (uint32_t{p[1]} << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}
inline uint64_t get_le64(const uint8_t* p) {
  return uint64_t{get_le32(p)} | (uint64_t{get_le32(p + 4)} << 32);
}
inline void put_le16(uint16_t v, uint8_t* p) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
inline void put_le32(uint32_t v, uint8_t* p) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline void put_le64(uint64_t v, uint8_t* p) {
  put_le32(static_cast<uint32_t>(v), p);
  put_le32(static_cast<uint32_t>(v >> 32), p + 4);
}

#endif  // VELA_PROXY_BYTE_ORDER_H_
