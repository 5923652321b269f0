// The machinery behind the record headers: field kinds and the layout checks.
//
// A record is described once, as a list of (name, wire offset, kind) rows in offset order. From
// that one list come the C++ struct (named fields in host order, reserved ranges as raw bytes),
// the layout table, the compile-time checks that the rows tile the record without gap or
// overlap, and the decoder and encoder. A row can't disagree with the codec because there is
// nothing else to disagree with.
//
// Reserved ranges are carried as the wire bytes they came as, so a record decoded and encoded
// again is byte-identical; the words the proxy swaps inside them are of no use to this side.
#ifndef VELA_PROXY_RECORDS_FIELDS_H_
#define VELA_PROXY_RECORDS_FIELDS_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "proxy/byte_order.h"

namespace wire {

// Field kinds. `type` is the field's C++ type in a decoded record, `kSize` its size on the wire.
struct U8 {
  using type = uint8_t;
  static constexpr size_t kSize = 1;
  static void Get(const uint8_t* p, type* v) { *v = *p; }
  static void Put(const type& v, uint8_t* p) { *p = v; }
};
struct Be16 {
  using type = uint16_t;
  static constexpr size_t kSize = 2;
  static void Get(const uint8_t* p, type* v) { *v = get_be16(p); }
  static void Put(const type& v, uint8_t* p) { put_be16(v, p); }
};
struct Be32 {
  using type = uint32_t;
  static constexpr size_t kSize = 4;
  static void Get(const uint8_t* p, type* v) { *v = get_be32(p); }
  static void Put(const type& v, uint8_t* p) { put_be32(v, p); }
};
// Signed 32-bit word, big-endian.
struct Be32s {
  using type = int32_t;
  static constexpr size_t kSize = 4;
  static void Get(const uint8_t* p, type* v) { *v = static_cast<int32_t>(get_be32(p)); }
  static void Put(const type& v, uint8_t* p) { put_be32(static_cast<uint32_t>(v), p); }
};
// 64-bit quantity: two big-endian words, the low word first.
struct Be64 {
  using type = uint64_t;
  static constexpr size_t kSize = 8;
  static void Get(const uint8_t* p, type* v) { *v = get_be64_lowfirst(p); }
  static void Put(const type& v, uint8_t* p) { put_be64_lowfirst(v, p); }
};
// A word the proxy leaves in its own little-endian order.
struct Le32 {
  using type = uint32_t;
  static constexpr size_t kSize = 4;
  static void Get(const uint8_t* p, type* v) { *v = get_le32(p); }
  static void Put(const type& v, uint8_t* p) { put_le32(v, p); }
};
template <size_t N>
struct Bytes {
  using type = uint8_t[N];
  static constexpr size_t kSize = N;
  static void Get(const uint8_t* p, type* v) { std::memcpy(*v, p, N); }
  static void Put(const type& v, uint8_t* p) { std::memcpy(p, v, N); }
};
// 8-bit text, zero-terminated or blank-padded; not necessarily terminated within N.
template <size_t N>
struct Text {
  using type = char[N];
  static constexpr size_t kSize = N;
  static void Get(const uint8_t* p, type* v) { std::memcpy(*v, p, N); }
  static void Put(const type& v, uint8_t* p) { std::memcpy(p, v, N); }
};
// A nested record, through its unchecked DecodeFields/EncodeFields.
template <class R>
struct Rec {
  using type = R;
  static constexpr size_t kSize = R::kWireSize;
  static void Get(const uint8_t* p, type* v) { DecodeFields(p, v); }
  static void Put(const type& v, uint8_t* p) { EncodeFields(v, p); }
};
// A fixed table of N entries of kind K, every entry converted whatever the count field says.
template <class K, size_t N>
struct Table {
  using type = typename K::type[N];
  static constexpr size_t kSize = K::kSize * N;
  static void Get(const uint8_t* p, type* v) {
    for (size_t i = 0; i < N; ++i) K::Get(p + i * K::kSize, &(*v)[i]);
  }
  static void Put(const type& v, uint8_t* p) {
    for (size_t i = 0; i < N; ++i) K::Put(v[i], p + i * K::kSize);
  }
};

template <class K>
using FieldType = typename K::type;

// One row of a layout table. `offset` counts from where the record's own table counts
// (kWireBase: the controller sub-record counts from the start of controllerData).
struct Field {
  std::string_view name;
  size_t offset;
  size_t size;
};

// True when the rows follow each other without gap or overlap from `base` to `base + size`.
template <size_t N>
constexpr bool TilesRecord(const Field (&rows)[N], size_t base, size_t size) {
  size_t at = base;
  for (const Field& f : rows) {
    if (f.offset != at || f.size == 0) return false;
    at += f.size;
  }
  return at == base + size;
}

// Offset of the named row relative to the record start, or SIZE_MAX when there is none.
template <size_t N>
constexpr size_t OffsetOf(const Field (&rows)[N], size_t base, std::string_view name) {
  for (const Field& f : rows) {
    if (f.name == name) return f.offset - base;
  }
  return SIZE_MAX;
}

}  // namespace wire

// Expanders for a record's row list, F(name, offset, kind...). The kind comes last so that
// template arguments with commas pass through.
#define VELA_RECORD_MEMBER(name, offset, ...) ::wire::FieldType<__VA_ARGS__> name;
#define VELA_RECORD_ROW(name, offset, ...) {#name, offset, __VA_ARGS__::kSize},

// Declares struct R from its row list ROWS, its layout table R##Layout, the checks, and the
// public codec DecodeNAME/EncodeNAME plus the generic DecodeRecord/EncodeRecord overloads.
// DecodeFields/EncodeFields are the unchecked forms: p holds R::kWireSize bytes.
#define VELA_DECLARE_RECORD(R, NAME, BASE, SIZE, ROWS)                                             \
  struct R {                                                                                       \
    static constexpr size_t kWireBase = BASE;                                                      \
    static constexpr size_t kWireSize = SIZE;                                                      \
    ROWS(VELA_RECORD_MEMBER)                                                                       \
  };                                                                                               \
  inline constexpr ::wire::Field R##Layout[] = {ROWS(VELA_RECORD_ROW)};                            \
  static_assert(::wire::TilesRecord(R##Layout, BASE, SIZE), #R " rows must tile the record");      \
  void DecodeFields(const uint8_t* p, R* out);                                                     \
  void EncodeFields(const R& in, uint8_t* p);                                                      \
  bool Decode##NAME(const uint8_t* p, size_t n, R* out);                                           \
  void Encode##NAME(const R& in, uint8_t* p);                                                      \
  inline bool DecodeRecord(const uint8_t* p, size_t n, R* out) { return Decode##NAME(p, n, out); } \
  inline void EncodeRecord(const R& in, uint8_t* p) { Encode##NAME(in, p); }

// Defines, in one .cc file, the field-by-field codec of a record declared above.
#define VELA_RECORD_GET(name, offset, ...) __VA_ARGS__::Get(p + (offset)-kBase, &out->name);
#define VELA_RECORD_PUT(name, offset, ...) __VA_ARGS__::Put(in.name, p + (offset)-kBase);
#define VELA_DEFINE_RECORD_CODEC(R, NAME, ROWS)           \
  void DecodeFields(const uint8_t* p, R* out) {           \
    constexpr size_t kBase = R::kWireBase;                \
    ROWS(VELA_RECORD_GET)                                 \
  }                                                       \
  void EncodeFields(const R& in, uint8_t* p) {            \
    constexpr size_t kBase = R::kWireBase;                \
    ROWS(VELA_RECORD_PUT)                                 \
  }                                                       \
  bool Decode##NAME(const uint8_t* p, size_t n, R* out) { \
    if (n < R::kWireSize) return false;                   \
    DecodeFields(p, out);                                 \
    return true;                                          \
  }                                                       \
  void Encode##NAME(const R& in, uint8_t* p) { EncodeFields(in, p); }

#endif  // VELA_PROXY_RECORDS_FIELDS_H_
