// The wire records of the proxy protocol, and the helpers that keep their users inside the
// tables: counts from the proxy are untrusted and are bounded here before anything is indexed.
#ifndef VELA_PROXY_RECORDS_H_
#define VELA_PROXY_RECORDS_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "proxy/byte_order.h"
#include "proxy/records_controller.h"
#include "proxy/records_format.h"
#include "proxy/records_other.h"

// A count the proxy sent, bounded by the size of the table it counts. Iterate up to this, never
// up to the raw count.
constexpr size_t ValidCount(uint64_t count, size_t limit) {
  return count < limit ? static_cast<size_t>(count) : limit;
}

// A text field as a string: up to its first zero byte, or its whole width when the proxy
// filled it without one. Text fields are not terminated by contract; never hand one to %s.
template <size_t N>
std::string TextOf(const char (&field)[N]) {
  return std::string(field, strnlen(field, N));
}

// The 64-bit size of a drive in 512-byte blocks.
inline uint64_t DriveBlockCount(const drive& d) {
  return uint64_t{d.realBlockCountLo} | (uint64_t{d.realBlockCountHi} << 32);
}

// memberInfo: the 12 bytes from vdiskSerial to slotNumber, copied as one block when a second
// controller supplies the membership of a drive the first one reported.
inline void CopyMemberInfo(const drive& from, drive* to) {
  std::memcpy(to->vdiskSerial, from.vdiskSerial, sizeof(from.vdiskSerial));
  to->reserved_c4 = from.reserved_c4;
  to->driveIndex = from.driveIndex;
  to->rpmThousands = from.rpmThousands;
  to->enclosureNumber = from.enclosureNumber;
  to->slotNumber = from.slotNumber;
}

// Where a list reply keeps its count and entries (payload offsets), and the most entries its
// table holds (SIZE_MAX when only the reply's length bounds it).
struct ListFormat {
  size_t countOffset;
  size_t entriesOffset;
  size_t maxEntries;
  bool countLittleEndian;  // the subsystem count comes in the proxy's native order
};
inline constexpr ListFormat kSubsystemList{kSubsystemListCountOffset, kSubsystemListEntriesOffset,
                                           SIZE_MAX, true};
inline constexpr ListFormat kEventList{kEventListCountOffset, kEventListEntriesOffset, SIZE_MAX,
                                       false};
inline constexpr ListFormat kBackingStoreList{
    kBackingStoreListCountOffset, kBackingStoreListEntriesOffset, kMaxBackingStoreEntries, false};
inline constexpr ListFormat kMasterVolumeList{
    kMasterVolumeListCountOffset, kMasterVolumeListEntriesOffset, kMaxMasterVolumeEntries, false};
inline constexpr ListFormat kSnapshotList{kSnapshotListCountOffset, kSnapshotListEntriesOffset,
                                          kMaxSnapshotEntries, false};

// Decodes the list of a reply payload of `len` bytes into *out (replacing its contents).
// False, with *out empty, when the payload can't hold the count word, or the count exceeds the
// table or the entries the payload holds: such a reply is refused whole, not cut.
template <class R>
bool DecodeList(const ListFormat& f, const uint8_t* payload, size_t len, std::vector<R>* out) {
  out->clear();
  if (len < f.countOffset + 4 || len < f.entriesOffset) return false;
  const uint32_t count =
      f.countLittleEndian ? get_le32(payload + f.countOffset) : get_be32(payload + f.countOffset);
  const size_t held = (len - f.entriesOffset) / R::kWireSize;
  if (count > f.maxEntries || count > held) return false;
  out->resize(count);
  for (size_t i = 0; i < count; ++i) {
    DecodeRecord(payload + f.entriesOffset + i * R::kWireSize, R::kWireSize, &(*out)[i]);
  }
  return true;
}

// Payload bytes a list of n entries takes, from offset 0 through its last entry.
constexpr size_t ListPayloadSize(const ListFormat& f, size_t n, size_t entrySize) {
  return f.entriesOffset + n * entrySize;
}

// Writes the count and the entries of `in` into a payload with room for
// ListPayloadSize(f, in.size(), R::kWireSize) bytes; the caller keeps in.size() within
// f.maxEntries. Other payload bytes are left as they are.
template <class R>
void EncodeList(const ListFormat& f, const std::vector<R>& in, uint8_t* payload) {
  const auto count = static_cast<uint32_t>(in.size());
  if (f.countLittleEndian) {
    put_le32(count, payload + f.countOffset);
  } else {
    put_be32(count, payload + f.countOffset);
  }
  for (size_t i = 0; i < in.size(); ++i) {
    EncodeRecord(in[i], payload + f.entriesOffset + i * R::kWireSize);
  }
}

#endif  // VELA_PROXY_RECORDS_H_
