// The command records and the list replies: golden bytes, round trips, and the bounds put on
// counts that come from the proxy.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "proxy/byte_order.h"
#include "proxy/records.h"

namespace {

std::vector<uint8_t> RandomBytes(size_t n, uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<uint8_t> v(n);
  for (auto& b : v) b = static_cast<uint8_t>(rng());
  return v;
}

template <class R>
std::vector<uint8_t> EncodeToBytes(const R& rec) {
  std::vector<uint8_t> out(R::kWireSize);
  EncodeRecord(rec, out.data());
  return out;
}

// Every record codec alone: random bytes survive decode and encode, short input is refused.
template <class R>
class CommandRecordTest : public ::testing::Test {};
using CommandRecords =
    ::testing::Types<driveLocation, memberDrive, cacheParams, addressRecord, controllerParams, port,
                     controller, advNetInterface, enclosure, drive, array, partition, subsystem,
                     event, getEvent, mapRecord, partitionView, customViewEntry, customView,
                     createArray, addArrayPart, expandPart, unifiedControllerData,
                     backingStoreEntry, masterVolumeEntry, snapshotEntry, RetndSnList, hbaInfo,
                     hbaInfoList>;
TYPED_TEST_SUITE(CommandRecordTest, CommandRecords);

TYPED_TEST(CommandRecordTest, RoundTripAndShortInput) {
  const auto in = RandomBytes(TypeParam::kWireSize, TypeParam::kWireSize);
  auto rec = std::make_unique<TypeParam>();
  ASSERT_TRUE(DecodeRecord(in.data(), in.size(), rec.get()));
  EXPECT_EQ(EncodeToBytes(*rec), in);
  EXPECT_FALSE(DecodeRecord(in.data(), in.size() - 1, rec.get()));
}

TEST(EventRecord, FieldsAtTheirOffsets) {
  std::vector<uint8_t> w(kEventSize);
  put_be32(901, w.data());
  put_be32(71, w.data() + 0x8);
  put_be32(0x10, w.data() + 0xc);
  put_be32(0x2000, w.data() + 0x14);
  put_be32(2, w.data() + 0x28);
  std::memcpy(w.data() + 0x38, "DRIVE-SERIAL", 12);
  std::memcpy(w.data() + 0x58, "LUN-SERIAL", 10);
  w[0x90] = 1;
  w[0x91] = 4;
  std::memcpy(w.data() + 0x9c, "Vdisk created", 13);

  event e;
  ASSERT_TRUE(DecodeEvent(w.data(), w.size(), &e));
  EXPECT_EQ(e.sequenceNumber, 901u);
  EXPECT_EQ(e.eventCode, 71u);
  EXPECT_EQ(e.errorcode, 0x10u);
  EXPECT_EQ(e.controllerHandle, 0x2000u);
  EXPECT_EQ(e.param, 2u);
  EXPECT_EQ(0, std::memcmp(e.driveSerial, "DRIVE-SERIAL", 12));
  EXPECT_EQ(0, std::memcmp(e.lunSerial, "LUN-SERIAL", 10));
  EXPECT_EQ(e.owner, 1);
  EXPECT_EQ(e.duplicateCount, 4);
  EXPECT_STREQ(e.description, "Vdisk created");
  EXPECT_EQ(EncodeToBytes(e), w);
}

TEST(PartitionViewRecord, FieldsAtTheirOffsets) {
  std::vector<uint8_t> w(kPartitionViewSize);
  put_be16(7, w.data() + 0x10);
  put_be16(2, w.data() + 0x1c);
  w[0x20 + 8 * 127 + 7] = 0x99;                   // hostWwpn[127][7]
  put_be16(0x0102, w.data() + 0x420 + 12 * 1);    // hostMap[1].lun
  w[0x420 + 12 * 1 + 4 + 3] = kAccessReadWrite;   // hostMap[1].access[3]
  w[0xa20 + 48 * 1] = kHostTypeWwpn;              // hostAddress[1].hostType
  put_be32(5, w.data() + 0xa20 + 48 * 1 + 0x1c);  // hostAddress[1].lun
  std::memcpy(w.data() + 0x2220 + 224 * 1, "iqn.2001-04.com.example:host", 28);

  auto v = std::make_unique<partitionView>();
  ASSERT_TRUE(DecodePartitionView(w.data(), w.size(), v.get()));
  EXPECT_EQ(v->lun, 7);
  EXPECT_EQ(v->numElements, 2);
  EXPECT_EQ(v->hostWwpn[127][7], 0x99);
  EXPECT_EQ(v->hostMap[1].lun, 0x0102);
  EXPECT_EQ(v->hostMap[1].access[3], kAccessReadWrite);
  EXPECT_EQ(v->hostAddress[1].hostType, kHostTypeWwpn);
  EXPECT_EQ(v->hostAddress[1].lun, 5u);
  EXPECT_STREQ(v->hostName[1], "iqn.2001-04.com.example:host");
  EXPECT_EQ(EncodeToBytes(*v), w);
}

TEST(CreateArrayRecord, EncodesTheRequestAndDecodesTheReplyArray) {
  auto req = std::make_unique<createArray>();
  *req = {};
  req->handle = 0x11;
  req->drives[0] = {1, 4};
  req->drives[67] = {kNoLocation, kNoLocation};
  std::strcpy(req->name, "VDS_VDISK_1");

  const auto w = EncodeToBytes(*req);
  EXPECT_EQ(get_be32(w.data() + 0x8), 0x11u);
  EXPECT_EQ(get_be32(w.data() + 0x10), 1u);
  EXPECT_EQ(get_be32(w.data() + 0x14), 4u);
  EXPECT_EQ(get_be32(w.data() + 0x10 + 67 * 8), kNoLocation);
  EXPECT_STREQ(reinterpret_cast<const char*>(w.data() + 0x254), "VDS_VDISK_1");

  auto reply = w;
  std::memcpy(reply.data() + 0xb80 + 0x5d8, "VDS_VDISK_1", 12);
  put_be32(3, reply.data() + 0xb80 + 0xc);
  auto got = std::make_unique<createArray>();
  ASSERT_TRUE(DecodeCreateArray(reply.data(), reply.size(), got.get()));
  EXPECT_STREQ(got->array.name, "VDS_VDISK_1");
  EXPECT_EQ(got->array.numDrives, 3u);
}

TEST(AddArrayPartAndExpandPart, FieldsAtTheirOffsets) {
  addArrayPart a{};
  a.handle = 2;
  a.reserved_c = 0xffffffff;
  a.blockCount = 0x0000000300000001ull;
  a.isSpecial = 1;
  a.specialKind = 3;
  std::memcpy(a.arraySerial, "ARRAY-SN", 8);
  std::strcpy(a.name, "VDS_LUN_4");
  a.partition.lun = 9;
  auto w = EncodeToBytes(a);
  EXPECT_EQ(get_be32(w.data() + 0x10), 1u) << "low word first";
  EXPECT_EQ(get_be32(w.data() + 0x14), 3u);
  EXPECT_EQ(w[0x18], 1);
  EXPECT_EQ(w[0x19], 3);
  EXPECT_EQ(0, std::memcmp(w.data() + 0x20, "ARRAY-SN", 8));
  EXPECT_STREQ(reinterpret_cast<const char*>(w.data() + 0x80), "VDS_LUN_4");
  EXPECT_EQ(get_be32(w.data() + 0xa0 + 0x10), 9u);

  expandPart e{};
  e.blockCount = 0x80000;
  std::memcpy(e.vdiskSerial, "V", 1);
  std::memcpy(e.partitionSerial, "P", 1);
  w = EncodeToBytes(e);
  EXPECT_EQ(get_be32(w.data() + 0x8), 0x80000u);
  EXPECT_EQ(w[49], 'V');
  EXPECT_EQ(w[81], 'P');
}

TEST(CustomViewRecord, OneEntryAtItsOffsets) {
  auto v = std::make_unique<customView>();
  *v = {};
  v->numEntries = 1;
  customViewEntry& e = v->entries[0];
  e.handle = 0x44;
  std::memset(e.portMask, 1, sizeof(e.portMask));
  e.address.hostType = kHostTypeWwpn;
  e.map.lun = 3;
  std::memset(e.map.access, kAccessReadWrite, sizeof(e.map.access));
  const auto w = EncodeToBytes(*v);
  EXPECT_EQ(get_be32(w.data() + 0x8), 1u);
  EXPECT_EQ(get_be32(w.data() + 0xc), 0x44u);
  EXPECT_EQ(w[0xc + 0x4], 1);
  EXPECT_EQ(w[0xc + 0x30], kHostTypeWwpn);
  EXPECT_EQ(get_be16(w.data() + 0xc + 0x60), 3);
  EXPECT_EQ(w[0xc + 0x64 + 7], kAccessReadWrite);
}

TEST(UnifiedAndHbaRecords, FieldsAtTheirOffsets) {
  std::vector<uint8_t> w(kUnifiedControllerDataSize);
  std::memcpy(w.data() + 0x50, "MAKER", 5);
  std::memcpy(w.data() + 0x1d10, "Array One", 9);
  auto u = std::make_unique<unifiedControllerData>();
  ASSERT_TRUE(DecodeUnifiedControllerData(w.data(), w.size(), u.get()));
  EXPECT_STREQ(u->vendorName, "MAKER");
  EXPECT_STREQ(u->systemName, "Array One");
  EXPECT_EQ(u->vendorNameOverride[0], 0);

  std::vector<uint8_t> h(kHbaInfoListSize);
  put_be32(0xffffffff, h.data());
  h[4 + kHbaInfoSize + 0] = 'F';
  h[4 + kHbaInfoSize + 4] = 2;
  h[4 + kHbaInfoSize + 8] = 0x21;
  auto l = std::make_unique<hbaInfoList>();
  ASSERT_TRUE(DecodeHbaInfoList(h.data(), h.size(), l.get()));
  EXPECT_EQ(l->count, -1) << "the count is signed";
  EXPECT_EQ(l->entries[1].type, 'F');
  EXPECT_EQ(l->entries[1].portNumber, 2);
  EXPECT_EQ(l->entries[1].wwpn[0], 0x21);
}

TEST(TextFields, StopAtTheZeroOrAtTheFieldEnd) {
  event e{};
  std::strcpy(e.description, "Short");
  EXPECT_EQ(TextOf(e.description), "Short");
  std::memset(e.description, 'x', sizeof(e.description));  // no terminator: the last field
  EXPECT_EQ(TextOf(e.description), std::string(256, 'x'));
}

TEST(SubsystemList, NativeCountAndBigEndianHandles) {
  std::vector<uint8_t> p(0x10 + 2 * kSubsystemSize);
  put_le32(2, p.data() + 8);
  std::memcpy(p.data() + 0x10, "UNIQUE-A", 8);
  put_be32(0x101, p.data() + 0x10 + 0x20);
  put_be32(0x102, p.data() + 0x10 + 0x24);
  put_be32(0x201, p.data() + 0x38 + 0x20);

  std::vector<subsystem> list;
  ASSERT_TRUE(DecodeList(kSubsystemList, p.data(), p.size(), &list));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_STREQ(list[0].UniqueSN, "UNIQUE-A");
  EXPECT_EQ(list[0].controllerA, 0x101u);
  EXPECT_EQ(list[0].controllerB, 0x102u);
  EXPECT_EQ(list[1].controllerA, 0x201u);
  EXPECT_EQ(list[1].controllerB, 0u);

  std::vector<uint8_t> again(ListPayloadSize(kSubsystemList, list.size(), kSubsystemSize));
  EncodeList(kSubsystemList, list, again.data());
  EXPECT_EQ(again, p);
}

TEST(Lists, CountsTheReplyCannotHoldAreRefused) {
  std::vector<uint8_t> p(0x10 + 2 * kSubsystemSize);
  std::vector<subsystem> subs{subsystem{}};
  put_le32(3, p.data() + 8);  // one more than the payload holds
  EXPECT_FALSE(DecodeList(kSubsystemList, p.data(), p.size(), &subs));
  EXPECT_TRUE(subs.empty());
  put_be32(2, p.data() + 8);  // big-endian 2 is a huge native count
  EXPECT_FALSE(DecodeList(kSubsystemList, p.data(), p.size(), &subs));
  EXPECT_FALSE(DecodeList(kSubsystemList, p.data(), 0xb, &subs)) << "no room for the count";
  put_le32(0, p.data() + 8);
  EXPECT_TRUE(DecodeList(kSubsystemList, p.data(), p.size(), &subs));
  EXPECT_TRUE(subs.empty());

  // A count beyond the table is refused even when the reply is long enough.
  std::vector<uint8_t> bs(ListPayloadSize(kBackingStoreList, 20, kBackingStoreEntrySize));
  std::vector<backingStoreEntry> entries;
  put_be32(17, bs.data() + kBackingStoreListCountOffset);
  EXPECT_FALSE(DecodeList(kBackingStoreList, bs.data(), bs.size(), &entries));
  put_be32(16, bs.data() + kBackingStoreListCountOffset);
  bs[kBackingStoreListEntriesOffset + 15 * kBackingStoreEntrySize + 0x10] = 0xab;
  ASSERT_TRUE(DecodeList(kBackingStoreList, bs.data(), bs.size(), &entries));
  ASSERT_EQ(entries.size(), 16u);
  EXPECT_EQ(entries[15].vdiskSerial[0], 0xab);
}

TEST(Lists, EventsFollowTheHeaderAsTheLengthAllows) {
  std::vector<uint8_t> p(kEventListEntriesOffset + 3 * kEventSize);
  put_be32(3, p.data() + kEventListCountOffset);
  put_be32(42, p.data() + kEventListEntriesOffset + 2 * kEventSize);
  std::vector<event> events;
  ASSERT_TRUE(DecodeList(kEventList, p.data(), p.size(), &events));
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[2].sequenceNumber, 42u);
  EXPECT_FALSE(DecodeList(kEventList, p.data(), p.size() - 1, &events));
}

}  // namespace
