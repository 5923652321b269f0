// Request layouts and reply handling of the command methods, one of each shape.
#include "proxy/tidegate.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "proxy/byte_order.h"
#include "proxy/frame.h"
#include "proxy/iasocket.h"
#include "tests/support/proxy_fixture.h"

namespace {

using TidegateTest = ProxyClientTest;

Bytes Serial(const char* text) {
  Bytes serial(32, 0);
  std::memcpy(serial.data(), text, std::strlen(text));
  return serial;
}

Bytes Slice(const Bytes& bytes, size_t offset, size_t size) {
  return Bytes(bytes.begin() + offset, bytes.begin() + offset + size);
}

uint32_t RequestOpCode(const Bytes& frame) { return get_be32(frame.data() + kHeaderOffOpCode); }

TEST_F(TidegateTest, SerialCommandsPlaceHandleAndSerial) {
  const Bytes serial = Serial("PART-0001");
  peer.Reply(MakeReply(DELETE_ARRAY, kLenDeleteArray));
  peer.Reply(MakeReply(FLUSH_CACHE, kLenFlushCache));
  peer.Reply(MakeReply(SET_PART_NAME, kLenSetPartName));
  ASSERT_EQ(Tidegate::delete_array(0xA1, serial.data()), 0);
  ASSERT_EQ(Tidegate::flush_cache(0xA1, serial.data()), 0);
  ASSERT_EQ(Tidegate::set_part_name(0xA1, serial.data(), "NEWNAME"), 0);

  Bytes expected(kLenDeleteArray, 0);
  put_be32(0xA1, expected.data() + 8);
  std::memcpy(expected.data() + 0x10, serial.data(), 32);
  EXPECT_EQ(RequestPayload(0), expected);

  const Bytes flush = RequestPayload(1);
  ASSERT_EQ(flush.size(), kLenFlushCache);
  EXPECT_EQ(Slice(flush, 0xc, 32), serial);

  const Bytes name = RequestPayload(2);
  EXPECT_EQ(Slice(name, 0x10, 32), serial);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(name.data() + 0x30)), "NEWNAME");
  EXPECT_EQ(RequestOpCode(peer.Requests()[2]), SET_PART_NAME);
}

// The count is native, the handles big-endian (records_other_test decodes every field); a count
// beyond the reply is refused.
TEST_F(TidegateTest, SubsystemListRequestAndCountBound) {
  Bytes payload(kSubsystemListOffEntries + kSubsystemEntrySize, 0);
  put_le32(1, payload.data() + kSubsystemListOffCount);
  std::memcpy(payload.data() + kSubsystemListOffEntries, "SUBSYS-B", 8);
  put_be32(0x201, payload.data() + kSubsystemListOffEntries + 0x24);
  peer.Reply(MakeFrame(RSREPLY, GET_CONTROLLERHANDLEDB, payload));
  put_le32(1000, payload.data() + kSubsystemListOffCount);
  peer.Reply(MakeFrame(RSREPLY, GET_CONTROLLERHANDLEDB, payload));
  // The request payload is not cleared: a byte of an earlier frame stays.
  g_requestBuffer[kPacketHeaderSize + 0x100] = 0x5A;
  std::vector<subsystem> list;
  ASSERT_EQ(Tidegate::get_subsystems(&list), 0);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(std::string(list[0].UniqueSN, 8), "SUBSYS-B");
  EXPECT_EQ(list[0].controllerB, 0x201u);
  const Bytes request = RequestPayload(0);
  ASSERT_EQ(request.size(), kLenGetControllerHandleDb);
  EXPECT_EQ(request[0xc], 1);
  EXPECT_EQ(request[0x100], 0x5A);

  EXPECT_EQ(Tidegate::get_subsystems(&list), -1);
  EXPECT_EQ(list.size(), 1u);  // nothing added
  EXPECT_TRUE(CommandMutexFree());
}

TEST_F(TidegateTest, EventsAreBoundByTheRangeAskedFor) {
  Bytes payload(kEventListEntriesOffset + 3 * kEventSize, 0);
  put_be32(3, payload.data() + kEventListCountOffset);
  for (uint32_t i = 0; i < 3; ++i) {
    put_be32(10 + i, payload.data() + kEventListEntriesOffset + i * kEventSize);
  }
  peer.Reply(MakeFrame(RSREPLY, GET_EVENT, payload));
  peer.Reply(MakeFrame(RSREPLY, GET_EVENT, payload));
  std::vector<event> events;
  ASSERT_EQ(Tidegate::get_events(7, 10, 12, &events), 0);
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[2].sequenceNumber, 12u);
  const Bytes request = RequestPayload(0);
  EXPECT_EQ(get_be32(request.data() + 8), 7u);
  EXPECT_EQ(get_be32(request.data() + 0x18), 10u);
  EXPECT_EQ(get_be32(request.data() + 0x1c), 12u);
  // Three events for a range of two do not fit the caller's room.
  EXPECT_EQ(Tidegate::get_events(7, 10, 11, &events), -1);
  EXPECT_TRUE(CommandMutexFree());
}

TEST_F(TidegateTest, SingleEventRequestAndStatus) {
  Bytes payload(kLenGetEvent, 0);
  put_be32(99, payload.data() + kEventListEntriesOffset);
  peer.Reply(MakeFrame(RSREPLY, GET_EVENT, payload));
  peer.Reply(MakeReply(GET_EVENT, kLenGetEvent, 5));
  event last{};
  ASSERT_EQ(Tidegate::get_event(4, 0, 1, 0, &last), 0);
  EXPECT_EQ(last.sequenceNumber, 99u);
  const Bytes request = RequestPayload(0);
  EXPECT_EQ(request[0xc], 0);
  EXPECT_EQ(request[0xd], 1);
  EXPECT_EQ(Tidegate::get_event(4, 0, 1, 0, &last), -1);
}

TEST_F(TidegateTest, AddArrayPartSendsBlocksAndReturnsStatus) {
  const Bytes vdisk = Serial("VDISK-7");
  const Bytes store = Serial("STORE");
  Bytes reply(kLenAddArrayPart, 0);
  std::memcpy(reply.data() + 0xa0 + 0x14, "VDS_LUN_1", 9);  // partition.name
  peer.Reply(MakeFrame(RSREPLY, ADD_ARRAY_PART, reply));
  peer.Reply(MakeReply(ADD_ARRAY_PART, kLenAddArrayPart, 215));
  partition made{};
  ASSERT_EQ(
      Tidegate::add_array_part(9, vdisk.data(), 1ull << 30, "VDS_LUN_1", 1, 2, store.data(), &made),
      0);
  EXPECT_EQ(std::string(made.name), "VDS_LUN_1");
  const Bytes request = RequestPayload(0);
  EXPECT_EQ(get_be32(request.data() + 8), 9u);
  EXPECT_EQ(get_be32(request.data() + 0xc), 0xFFFFFFFFu);
  EXPECT_EQ(get_be64_lowfirst(request.data() + 0x10), (1ull << 30) / 512);
  EXPECT_EQ(request[0x18], 1);
  EXPECT_EQ(request[0x19], 2);
  EXPECT_EQ(Slice(request, 0x20, 32), vdisk);
  EXPECT_EQ(Slice(request, 0x60, 32), store);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(request.data() + 0x80)), "VDS_LUN_1");
  EXPECT_EQ(Tidegate::add_array_part(9, vdisk.data(), 1, "X", 0, 0, nullptr, &made), 215);
  EXPECT_TRUE(CommandMutexFree());
}

TEST_F(TidegateTest, CreateArrayRulesAndNameCheck) {
  std::vector<driveLocation> locations(3);
  std::vector<DriveSerial> serials(3);
  for (uint32_t i = 0; i < 3; ++i) {
    locations[i].channelIndex = 0;
    locations[i].driveIndex = i;
    serials[i].fill(static_cast<uint8_t>('A' + i));
  }
  Bytes reply(kLenCreateArray, 0);
  std::memcpy(reply.data() + 0xb80 + 0x5d8, "VDS_VDISK_1", 11);  // array.name
  peer.Reply(MakeFrame(RSREPLY, CREATE_ARRAY, reply));
  peer.Reply(MakeFrame(RSREPLY, CREATE_ARRAY, reply));
  array made{};
  ASSERT_EQ(
      Tidegate::create_array(5, 1, &made, VELA_RAID1, 0, locations, serials, "VDS_VDISK_1", 2, 1),
      0);
  const Bytes request = RequestPayload(0);
  EXPECT_EQ(request[0x238], VELA_RAID10);
  EXPECT_EQ(get_be32(request.data() + 0x240), 64u);
  EXPECT_EQ(get_be32(request.data() + 0x230), 3u);
  EXPECT_EQ(get_be32(request.data() + 0x234), 1u);
  EXPECT_EQ(get_be32(request.data() + 0x10 + 2 * 8 + 4), 2u);
  EXPECT_EQ(get_be32(request.data() + 0x248), 0xFFFFFFFFu);
  EXPECT_EQ(request[0x24c], 1);
  EXPECT_EQ(request[0x250], 3);
  EXPECT_EQ(request[0x2e0 + 2 * 32], 'C');
  // The proxy made the array under another name: -1, although it exists.
  EXPECT_EQ(Tidegate::create_array(5, 1, &made, VELA_RAID5, 128 * 1024, locations, serials, "OTHER",
                                   2, 0),
            -1);
  EXPECT_EQ(get_be32(RequestPayload(1).data() + 0x240), 128u);
  EXPECT_EQ(RequestPayload(1)[0x238], VELA_RAID5);
  std::vector<driveLocation> tooMany(69);
  EXPECT_EQ(Tidegate::create_array(5, 1, &made, VELA_RAID5, 0, tooMany, {}, "X", 0, 0), -1);
  EXPECT_EQ(peer.Requests().size(), 2u);
}

TEST_F(TidegateTest, CustomViewEntryAndWwpnRule) {
  const Bytes part = Serial("PART");
  EXPECT_EQ(Tidegate::create_custom_view(2, part.data(), 5, true, 16, "0123456789ABCDE", true), -1);
  EXPECT_EQ(Tidegate::create_custom_view(2, part.data(), 5, true, 16, "0000000000000000", true),
            -1);
  EXPECT_TRUE(peer.Requests().empty());
  peer.Reply(MakeReply(CREATE_CUSTOM_VIEW, 16));
  ASSERT_EQ(Tidegate::create_custom_view(2, part.data(), 5, true, 16, "21000024ff3dcba0", true), 0);
  const Bytes request = RequestPayload(0);
  ASSERT_EQ(request.size(), kLenCreateCustomView);
  EXPECT_EQ(get_be32(request.data() + 8), 1u);
  const uint8_t* entry = request.data() + 0xc;
  EXPECT_EQ(get_be32(entry), 2u);
  EXPECT_EQ(Slice(request, 0xc + 4, 8), Bytes(8, 1));
  EXPECT_EQ(get_be32(entry + 0xc), 0u);
  EXPECT_EQ(entry[0x30], 16);
  EXPECT_EQ(Slice(request, 0xc + 0x30 + 0x14, 8),
            (Bytes{0x21, 0x00, 0x00, 0x24, 0xff, 0x3d, 0xcb, 0xa0}));
  EXPECT_EQ(get_be16(entry + 0x60), 5);
  EXPECT_EQ(Slice(request, 0xc + 0x64, 8), Bytes(8, 0xCC));
}

TEST_F(TidegateTest, SnapshotFamilyLayouts) {
  const Bytes vdisk = Serial("VD");
  const uint8_t master[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  Bytes snapReply(kLenCreateSnapshot, 0);
  snapReply[0x36c] = 1;
  snapReply[0x36c + 8] = 0xEE;
  peer.Reply(MakeFrame(RSREPLY, OP_CREATE_SNAPSHOT, snapReply));
  RetndSnList made{};
  ASSERT_EQ(Tidegate::create_snapshot(3, vdisk.data(), "SNAP", 1, 3, 0x1122334455667788ull, master,
                                      &made),
            0);
  EXPECT_EQ(made.numElements, 1);
  EXPECT_EQ(made.serials[0][0], 0xEE);
  const Bytes snap = RequestPayload(0);
  EXPECT_EQ(RequestOpCode(peer.Requests()[0]), OP_CREATE_SNAPSHOT);
  EXPECT_EQ(Slice(snap, 0xc, 4), (Bytes{1, 3, 2, 1}));
  EXPECT_EQ(get_be64_lowfirst(snap.data() + 0x14), 0x1122334455667788ull);
  EXPECT_EQ(Slice(snap, 0x1c, 16), Bytes(master, master + 16));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(snap.data() + 0x2c)), "SNAP");

  Bytes list(kLenGetMasterVolumeList, 0);
  put_be32(2, list.data() + kMasterVolumeListCountOffset);
  list[kMasterVolumeListEntriesOffset + kMasterVolumeEntrySize] = 0x42;
  peer.Reply(MakeFrame(RSREPLY, OP_GET_MASTER_VOLUME_LIST, list));
  std::vector<masterVolumeEntry> volumes;
  ASSERT_EQ(Tidegate::get_master_volume_list(3, 0, 1, nullptr, &volumes), 0);
  ASSERT_EQ(volumes.size(), 2u);
  EXPECT_EQ(volumes[1].id[0], 0x42);
  EXPECT_EQ(RequestPayload(1)[0xd], 0);
  EXPECT_EQ(RequestPayload(1)[0xc], 1);

  Bytes stores(kLenGetBackingStoreList, 0);
  put_be32(17, stores.data() + kBackingStoreListCountOffset);
  peer.Reply(MakeFrame(RSREPLY, OP_GET_BACKING_STORE_LIST, stores));
  std::vector<backingStoreEntry> backing;
  EXPECT_EQ(Tidegate::get_backing_store_list(3, 1, &backing), -1);  // beyond the 16 of the table

  Bytes snaps(kLenGetSnapshotList, 0);
  put_be32(1, snaps.data() + kSnapshotListCountOffset);
  put_be32(9, snaps.data() + 4);
  peer.Reply(MakeFrame(RSREPLY, OP_GET_SNAPSHOT_LIST, snaps));
  std::vector<snapshotEntry> snapshots;
  EXPECT_EQ(Tidegate::get_snapshot_list(3, 0, 0, nullptr, &snapshots), 9);
  EXPECT_EQ(snapshots.size(), 1u);  // copied whatever the status
}

TEST_F(TidegateTest, SecondFamilySmallRequests) {
  Bytes tagReply(kLenGetDmsTag, 0);
  put_be64_lowfirst(0xABCDEF0012345678ull, tagReply.data() + 0x14);
  peer.Reply(MakeFrame(RSREPLY, OP_GET_DMS_TAG, tagReply));
  Bytes refresh(kLenGetNeedRefresh, 0);
  refresh[0x28] = 1;
  peer.Reply(MakeFrame(RSREPLY, OP_GET_NEED_REFRESH, refresh));
  peer.Reply(MakeReply(OP_CONVERT_MASTER_VOLUME, kLenConvertMasterVolume));

  uint64_t tag = 0;
  ASSERT_EQ(Tidegate::get_dms_tag(6, 1, &tag), 0);
  EXPECT_EQ(tag, 0xABCDEF0012345678ull);
  uint8_t needRefresh = 0;
  const Bytes unique = Serial("UNIQUE-SN");
  ASSERT_EQ(Tidegate::get_need_refresh(unique.data(), &needRefresh), 0);
  EXPECT_EQ(needRefresh, 1);
  EXPECT_EQ(Slice(RequestPayload(1), 8, 32), unique);
  const uint8_t store[16] = {0xB5};
  const Bytes part = Serial("P");
  ASSERT_EQ(Tidegate::convert_master_volume(6, part.data(), 4, store), 0);
  const Bytes convert = RequestPayload(2);
  EXPECT_EQ(Slice(convert, 0x61, 32), part);
  EXPECT_EQ(convert[0x8f], 4);
  EXPECT_EQ(convert[0x98], 0xB5);
}

TEST_F(TidegateTest, HbaListWithoutHandleAndCountBound) {
  Bytes reply(kLenGetConnectHbaInfoList, 0);
  put_be32(1, reply.data() + 8);
  reply[8 + 4 + 0] = 'F';
  peer.Reply(MakeFrame(RSREPLY, OP_GET_CONNECT_HBA_INFO_LIST, reply));
  put_be32(33, reply.data() + 8);
  peer.Reply(MakeFrame(RSREPLY, OP_GET_CONNECT_HBA_INFO_LIST, reply));
  auto list = std::make_unique<hbaInfoList>();
  ASSERT_EQ(Tidegate::get_connect_Hba_info_list(list.get()), 0);
  EXPECT_EQ(list->count, 1);
  EXPECT_EQ(list->entries[0].type, 'F');
  EXPECT_EQ(RequestPayload(0), Bytes(kLenGetConnectHbaInfoList, 0));
  EXPECT_EQ(Tidegate::get_connect_Hba_info_list(list.get()), -1);
}

TEST_F(TidegateTest, ExpandArrayListsDrives) {
  std::vector<driveLocation> drives(2);
  drives[1].channelIndex = 1;
  drives[1].driveIndex = 7;
  peer.Reply(MakeReply(EXPAND_ARRAY, kLenExpandArray));
  const Bytes vdisk = Serial("VD");
  ASSERT_EQ(Tidegate::expand_array(8, vdisk.data(), drives), 0);
  const Bytes request = RequestPayload(0);
  EXPECT_EQ(get_be32(request.data() + 0xc), 2u);
  EXPECT_EQ(Slice(request, 0x10, 32), vdisk);
  EXPECT_EQ(get_be32(request.data() + 0x30 + 8), 1u);
  EXPECT_EQ(get_be32(request.data() + 0x30 + 12), 7u);
}

}  // namespace
