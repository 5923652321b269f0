// CreateLun, CreateLun2, the async object and SetMask against tidegate-sim: what reaches the
// proxy (opcodes and request bytes, from the simulator's request journal) and what the tree
// shows afterwards.
#include <gtest/gtest.h>

#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "platform/strings.h"
#include "provider/provider.h"
#include "provisioning/utility.h"
#include "proxy/byte_order.h"
#include "proxy/wire_format.h"
#include "tests/provider/sim_fixture.h"
#include "tests/provider/sim_journal.h"

namespace {

constexpr ULONGLONG kMiB = 1ULL << 20;
constexpr ULONGLONG kGiB = 1ULL << 30;
constexpr char kHostA[] = "20000000AABBCC01";
constexpr char kHostB[] = "20000000AABBCC02";
constexpr char kHostC[] = "20000000AABBCC03";

bool Changing(uint32_t opcode) {
  return opcode == CREATE_ARRAY || opcode == ADD_ARRAY_PART || opcode == CREATE_CUSTOM_VIEW ||
         opcode == OP_CREATE_SNAPSHOT || opcode == DELETE_PART || opcode == DELETE_ARRAY;
}

class CreateLunTest : public SimProviderTest {
 protected:
  void Start(const std::string& inventory = "blank.json") {
    StartOn(inventory);
    for (const auto& drive : Drives(subSystem_.Get())) {
      drives_.push_back(ViewOf(drive.Get()).prop.id);
    }
  }

  std::vector<JournalRequest> ChangesSent() {
    return Filter(ReadJournal(simulator_.get()), Changing);
  }

  // CreateLun on drives by list index (-1: an id no drive has), then Wait.
  HRESULT Create(VDS_LUN_TYPE type, ULONGLONG size, std::vector<int> drives = {},
                 VDS_HINTS hints = {}, const std::u16string& unmask = u"",
                 ComPtr<IVdsLun>* lun = nullptr) {
    std::vector<VDS_OBJECT_ID> ids;
    for (int n : drives) ids.push_back(n >= 0 ? drives_.at(static_cast<size_t>(n)) : GUID{});
    return CreateLunAndWait(type, size, ids, hints, unmask, lun);
  }

  size_t LunCount() { return Luns(subSystem_.Get()).size(); }

  static VDS_HINTS Stripe(ULONG bytes) {
    VDS_HINTS hints{};
    hints.ulStripeSize = bytes;
    return hints;
  }

  std::vector<GUID> drives_;  // list order: 12 SAS, 8 SATA, 4 SSD
};

// Offsets in the CREATE_ARRAY and ADD_ARRAY_PART requests.
constexpr size_t kCaHandle = 0x8, kCaNumDrives = 0x230, kCaNumSpares = 0x234, kCaLevel = 0x238,
                 kCaStripe = 0x240, kCaGroup = 0x244, kCaControllerId = 0x24c, kCaName = 0x254,
                 kCaSerials = 0x2e0;
constexpr size_t kApBlocks = 0x10, kApSpecial = 0x18, kApSerial = 0x20, kApName = 0x80;
// First entry of a CREATE_CUSTOM_VIEW request.
constexpr size_t kCvAccess = 0xc + 0x64, kCvDeleteAll = 0xc + 0xc, kCvWwpn = 0xc + 0x30 + 0x14,
                 kCvLun = 0xc + 0x60;

TEST_F(CreateLunTest, NewRaid5FromNamedDrivesThenUnmasked) {
  Start();
  ComPtr<IVdsLun> lun;
  ASSERT_EQ(Create(VDS_LT_RAID5, 10 * kGiB, {0, 1, 2}, Stripe(32768),
                   Utf8ToUtf16(std::string(kHostA) + ";" + kHostB), &lun),
            S_OK);
  const LunView view = ViewOf(lun.Get());
  EXPECT_EQ(view.prop.type, VDS_LT_RAID5);
  EXPECT_EQ(view.prop.ullSize, 10 * kGiB);
  EXPECT_EQ(view.unmask, std::string(kHostA) + ";" + kHostB);

  const std::vector<JournalRequest> changes = ChangesSent();
  ASSERT_EQ(Opcodes(changes), (std::vector<uint32_t>{CREATE_ARRAY, ADD_ARRAY_PART,
                                                     CREATE_CUSTOM_VIEW, CREATE_CUSTOM_VIEW}));
  const JournalRequest& create = changes[0];
  EXPECT_EQ(create.Be32(kCaHandle), 1001u) << "controller A first";
  EXPECT_EQ(create.bytes[kCaControllerId], 1);
  EXPECT_EQ(create.Be32(kCaNumDrives), 3u);
  EXPECT_EQ(create.Be32(kCaNumSpares), 0u);
  EXPECT_EQ(create.bytes[kCaLevel], VELA_RAID5);
  EXPECT_EQ(create.Be32(kCaStripe), 32u);
  EXPECT_EQ(create.Be32(kCaGroup), 0u);
  EXPECT_EQ(create.Text(kCaName), "VDS_VDISK_0");
  EXPECT_EQ(create.Text(kCaSerials), "KSL00001SAS");
  EXPECT_EQ(create.Text(kCaSerials + 64), "KSL00003SAS");
  const JournalRequest& part = changes[1];
  EXPECT_EQ(part.Be64(kApBlocks), (10 * kGiB) >> 9);
  EXPECT_EQ(part.bytes[kApSpecial], 0);
  EXPECT_EQ(part.Text(kApName), "VDS_LUN_0");
  // Both hosts under one unit number, the first free from StartingLUN (1) on both controllers.
  EXPECT_EQ(changes[2].Be32(kCvDeleteAll), 0u);
  EXPECT_EQ(changes[2].bytes[kCvWwpn], 0x20);
  EXPECT_EQ(changes[2].bytes[kCvWwpn + 7], 0x01);
  EXPECT_EQ(changes[3].bytes[kCvWwpn + 7], 0x02);
  EXPECT_EQ(get_be16(changes[2].bytes.data() + kCvLun), 1u);
  EXPECT_EQ(get_be16(changes[3].bytes.data() + kCvLun), 1u);
  EXPECT_EQ(changes[2].bytes[kCvAccess], 204) << "ULP mode";

  // The drives are members now, and the LUN lists.
  EXPECT_EQ(LunCount(), 1u);
  // Named drives that are a vdisk's membership add a partition to it.
  ASSERT_EQ(Create(VDS_LT_RAID5, kGiB, {2, 0, 1}), S_OK);
  const std::vector<JournalRequest> second = ChangesSent();
  ASSERT_EQ(Opcodes(second), std::vector<uint32_t>{ADD_ARRAY_PART});
  EXPECT_EQ(0, std::memcmp(second[0].bytes.data() + kApSerial, part.bytes.data() + kApSerial, 32))
      << "the same vdisk";
  EXPECT_EQ(second[0].Text(kApName), "VDS_LUN_1");
  // Named drives partly in use: no vdisk can take them and none can be made.
  EXPECT_EQ(Create(VDS_LT_RAID5, kGiB, {0, 1, 3}), VDS_E_DEVICE_IN_USE);
  EXPECT_TRUE(ChangesSent().empty());
}

TEST_F(CreateLunTest, AddedPartitionGoesToTheFirstVdiskThatFits) {
  Start();
  // No drives: the largest total group of free drives that holds a RAID 5 (eight SATA).
  ASSERT_EQ(Create(VDS_LT_RAID5, 10 * kGiB), S_OK);
  std::vector<JournalRequest> changes = ChangesSent();
  ASSERT_EQ(Opcodes(changes), (std::vector<uint32_t>{CREATE_ARRAY, ADD_ARRAY_PART}));
  EXPECT_EQ(changes[0].Be32(kCaNumDrives), 3u) << "the smallest legal set";
  EXPECT_EQ(changes[0].Text(kCaSerials).substr(0, 7), "MW-SATA");
  // The next RAID 5 request fits there; a stripe request doesn't and makes its own vdisk.
  ASSERT_EQ(Create(VDS_LT_RAID5, 10 * kGiB), S_OK);
  EXPECT_EQ(Opcodes(ChangesSent()), std::vector<uint32_t>{ADD_ARRAY_PART});
  ComPtr<IVdsLun> lun;
  ASSERT_EQ(Create(VDS_LT_RAID5, 0, {}, Stripe(16384), u"", &lun), S_OK);
  changes = ChangesSent();
  ASSERT_EQ(Opcodes(changes), (std::vector<uint32_t>{CREATE_ARRAY, ADD_ARRAY_PART}))
      << "another stripe size";
  EXPECT_EQ(changes[0].Be32(kCaStripe), 16u);
  // Size 0 takes all the free space of the new vdisk, to a whole MiB.
  const ULONGLONG size = ViewOf(lun.Get()).prop.ullSize;
  EXPECT_EQ(size % kMiB, 0u);
  EXPECT_GT(size, 100 * kGiB);
  EXPECT_EQ(LunCount(), 3u);
}

TEST_F(CreateLunTest, AbstractTypesSizesAndLevelsFromHints) {
  Start();
  struct Case {
    const char* what;
    VDS_LUN_TYPE type;
    std::vector<int> drives;
    VDS_HINTS hints;
    uint8_t level;
    uint32_t numDrives;
  };
  VDS_HINTS raid50{};
  raid50.ullHintMask = kHintMaskMostlyReads | kHintMaskRaid50;
  raid50.bMostlyReads = TRUE;
  VDS_HINTS raid3 = raid50;
  raid3.ullHintMask = kHintMaskMostlyReads | kHintMaskRaid3;
  const Case cases[] = {
      {"fault tolerant of two: mirror", VDS_LT_FAULT_TOLERANT, {0, 1}, {}, VELA_RAID1, 2},
      {"RAID 50 by the private bit",
       VDS_LT_PARITY,
       {12, 13, 14, 15, 16, 17},
       raid50,
       VELA_RAID50,
       6},
      {"RAID 3 by the private bit, drives chosen", VDS_LT_PARITY, {}, raid3, VELA_RAID3, 3},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(Create(c.type, kGiB, c.drives, c.hints), S_OK) << c.what;
    const std::vector<JournalRequest> changes = ChangesSent();
    ASSERT_FALSE(changes.empty()) << c.what;
    ASSERT_EQ(changes[0].opcode, CREATE_ARRAY) << c.what;
    EXPECT_EQ(changes[0].bytes[kCaLevel], c.level) << c.what;
    EXPECT_EQ(changes[0].Be32(kCaNumDrives), c.numDrives) << c.what;
    if (c.level == VELA_RAID50) {
      EXPECT_EQ(changes[0].Be32(kCaGroup), 0u) << c.what;
    }
  }
}

TEST_F(CreateLunTest, RefusalsSendNothing) {
  Start();
  struct Case {
    const char* what;
    VDS_LUN_TYPE type;
    ULONGLONG size;
    std::vector<int> drives;
    VDS_HINTS hints;
    HRESULT hr;
  };
  VDS_HINTS snapshot{};
  snapshot.ullHintMask = kHintMaskSnapshot;
  const Case cases[] = {
      {"stripe of 8 KiB", VDS_LT_PARITY, 0, {}, Stripe(8192), E_INVALIDARG},
      {"duplicate drive", VDS_LT_STRIPE, 0, {0, 0, 1}, {}, VDS_E_OBJECT_NOT_FOUND},
      {"drive of no subsystem", VDS_LT_STRIPE, 0, {0, -1}, {}, VDS_E_OBJECT_NOT_FOUND},
      {"size near 2^64 on named drives", VDS_LT_STRIPE, ~0ULL, {0, 1}, {}, VDS_E_NOT_ENOUGH_SPACE},
      {"size near 2^64, drives chosen", VDS_LT_STRIPE, ~0ULL - 5, {}, {}, VDS_E_NOT_ENOUGH_DRIVE},
      {"snapshot with no vdisk to hold it", VDS_LT_STRIPE, 0, {}, snapshot, VDS_E_NOT_SUPPORTED},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Create(c.type, c.size, c.drives, c.hints), c.hr) << c.what;
    EXPECT_TRUE(ChangesSent().empty()) << c.what;
  }
  IVdsAsync* async = nullptr;
  VDS_HINTS hints{};
  EXPECT_EQ(subSystem_->CreateLun(VDS_LT_STRIPE, 0, nullptr, 0, nullptr, &hints, &async),
            E_POINTER);
  EXPECT_EQ(async, nullptr);
  EXPECT_TRUE(ChangesSent().empty());
  EXPECT_EQ(LunCount(), 0u);
}

TEST_F(CreateLunTest, RefusedCreateArrayRetriedThenSentToTheOtherController) {
  // Controller A is offline but still reports: it refuses to own a vdisk.
  nlohmann::json inventory = ReadInventory("blank.json");
  inventory["subsystems"][0]["controllers"][0]["controllerState"] = 1;
  Start(inventory.dump());
  ASSERT_EQ(Create(VDS_LT_STRIPE, kGiB, {0, 1}), S_OK);
  const std::vector<JournalRequest> changes = ChangesSent();
  ASSERT_EQ(Opcodes(changes),
            (std::vector<uint32_t>{CREATE_ARRAY, CREATE_ARRAY, CREATE_ARRAY, ADD_ARRAY_PART}));
  EXPECT_EQ(changes[0].Be32(kCaHandle), 1001u);
  EXPECT_EQ(changes[1].Be32(kCaHandle), 1001u);
  EXPECT_NE(changes[0].Text(kCaName), changes[1].Text(kCaName)) << "a fresh name for the retry";
  EXPECT_EQ(changes[2].Be32(kCaHandle), 1002u);
  EXPECT_EQ(changes[2].bytes[kCaControllerId], 0);
  EXPECT_EQ(changes[3].Be32(0x8), 1002u) << "the partition on the owner B";
}

TEST_F(CreateLunTest, ProxyFailuresMidwayReleaseTheLockAndTheArrayShows) {
  Start();
  // The partition command is refused: the vdisk stays and shows as a dummy LUN.
  ASSERT_EQ(simulator_->Admin("fault next 1 status=36 14"), "ok");
  EXPECT_EQ(Create(VDS_LT_STRIPE, kGiB, {0, 1}), VDS_E_INTERNAL_ERROR);
  EXPECT_EQ(Opcodes(ChangesSent()), (std::vector<uint32_t>{CREATE_ARRAY, ADD_ARRAY_PART}));
  EXPECT_EQ(LunCount(), 1u) << "the refresh shows the vdisk";
  // The controller refuses the size outright.
  ASSERT_EQ(simulator_->Admin("fault next 1 status=214 14"), "ok");
  EXPECT_EQ(Create(VDS_LT_STRIPE, kGiB, {6, 7}), VDS_E_PARTITION_LIMIT_REACHED);
  // A fetch that fails before anything is sent.
  ASSERT_EQ(simulator_->Admin("fault next 1 status=255 1"), "ok");
  EXPECT_EQ(Create(VDS_LT_STRIPE, kGiB, {8, 9}), VDS_E_INTERNAL_ERROR);
  ChangesSent();
  EXPECT_EQ(Create(VDS_LT_STRIPE, kGiB, {8, 9}), S_OK);
}

TEST_F(CreateLunTest, DummyLunThenItsFirstPartitionReplacesIt) {
  Start();
  VDS_HINTS dummy{};
  dummy.ullHintMask = kHintMaskDummyLun;
  EXPECT_EQ(Create(VDS_LT_STRIPE, kGiB, {0, 1}, dummy), VDS_E_NOT_SUPPORTED) << "size must be 0";
  ComPtr<IVdsLun> lun;
  ASSERT_EQ(Create(VDS_LT_STRIPE, 0, {0, 1}, dummy, u"", &lun), S_OK);
  EXPECT_EQ(Opcodes(ChangesSent()), std::vector<uint32_t>{CREATE_ARRAY});
  EXPECT_EQ(ViewOf(lun.Get()).prop.ullSize, 0u);
  WCHAR all[] = u"*";
  EXPECT_EQ(lun->SetMask(all), VDS_E_NOT_SUPPORTED) << "a dummy volume is never mapped";
  EXPECT_EQ(LunCount(), 1u);
  ASSERT_EQ(Create(VDS_LT_STRIPE, kGiB), S_OK);
  EXPECT_EQ(Opcodes(ChangesSent()), std::vector<uint32_t>{ADD_ARRAY_PART});
  EXPECT_EQ(LunCount(), 1u) << "the dummy LUN left";
}

TEST_F(CreateLunTest, MasterVolumesAndSnapshotsNeedTheirStores) {
  Start();
  VDS_HINTS master{};
  master.ullHintMask = kHintMaskMasterVolume;
  EXPECT_EQ(Create(VDS_LT_STRIPE, kGiB, {0, 1}, master), VDS_E_NOT_SUPPORTED);
  EXPECT_TRUE(ChangesSent().empty()) << "no vdisk is made";
  // A snap pool, then a master volume tied to it, then a snapshot of that.
  VDS_HINTS pool{};
  pool.ullHintMask = kHintMaskSnapPoolLun;
  ASSERT_EQ(Create(VDS_LT_STRIPE, 4 * kGiB, {0, 1}, pool), S_OK);
  std::vector<JournalRequest> changes = ChangesSent();
  ASSERT_EQ(Opcodes(changes), (std::vector<uint32_t>{CREATE_ARRAY, ADD_ARRAY_PART}));
  EXPECT_EQ(changes[1].bytes[kApSpecial], 1);
  EXPECT_EQ(changes[1].bytes[kApSpecial + 1], 1);
  EXPECT_EQ(changes[1].Text(kApName), "VDS_SP_LUN_0");
  ASSERT_EQ(Create(VDS_LT_STRIPE, kGiB, {}, master), S_OK);
  changes = ChangesSent();
  ASSERT_EQ(Opcodes(changes), std::vector<uint32_t>{ADD_ARRAY_PART});
  EXPECT_EQ(changes[0].bytes[kApSpecial + 1], 2);
  VDS_HINTS snapshot{};
  snapshot.ullHintMask = kHintMaskSnapshot;
  ComPtr<IVdsLun> lun;
  ASSERT_EQ(Create(VDS_LT_STRIPE, 0, {}, snapshot, u"", &lun), S_OK);
  EXPECT_EQ(Opcodes(ChangesSent()), std::vector<uint32_t>{OP_CREATE_SNAPSHOT});
  EXPECT_NE(ViewOf(lun.Get()).prop.ulFlags & VDS_LF_SNAPSHOT, 0u);
}

TEST_F(CreateLunTest, MaskingSequencesAndUnitNumbers) {
  Start();
  StartingLUN = 5;
  ComPtr<IVdsLun> lun;
  ASSERT_EQ(Create(VDS_LT_STRIPE, kGiB, {0, 1}, {}, u"", &lun), S_OK);
  ChangesSent();
  auto set = [&](const std::string& list) {
    std::u16string wide = Utf8ToUtf16(list);
    return lun->SetMask(wide.data());
  };
  auto stored = [&] { return ViewOf(lun.Get()).unmask; };
  const std::string a = kHostA, b = kHostB, c = kHostC;
  EXPECT_EQ(set("20000000aabbcc0"), E_INVALIDARG);
  EXPECT_TRUE(ChangesSent().empty());

  ASSERT_EQ(set(a), S_OK);
  std::vector<JournalRequest> changes = ChangesSent();
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(get_be16(changes[0].bytes.data() + kCvLun), 5u) << "StartingLUN";
  // A pure addition: only B, under A's number.
  ASSERT_EQ(set(b + ";" + a), S_OK);
  changes = ChangesSent();
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(changes[0].bytes[kCvWwpn + 7], 0x02);
  EXPECT_EQ(get_be16(changes[0].bytes.data() + kCvLun), 5u);
  EXPECT_EQ(stored(), a + ";" + b);
  // Same set: nothing.
  ASSERT_EQ(set(b + ";" + a), S_OK);
  EXPECT_TRUE(ChangesSent().empty());
  // A;B to A;C: A and B off, the view for all off, A and C on.
  ASSERT_EQ(set(a + ";" + c), S_OK);
  changes = ChangesSent();
  ASSERT_EQ(changes.size(), 5u);
  EXPECT_EQ(changes[0].bytes[kCvAccess], 0) << "removal";
  EXPECT_EQ(changes[2].bytes[kCvWwpn], 0) << "the view for all";
  EXPECT_EQ(changes[4].bytes[kCvWwpn + 7], 0x03);
  EXPECT_EQ(stored(), a + ";" + c);
  // Everyone, then no one.
  ASSERT_EQ(set("*"), S_OK);
  EXPECT_EQ(stored(), "*");
  ChangesSent();
  ASSERT_EQ(set(""), S_OK);
  EXPECT_EQ(ChangesSent().size(), 1u);
  EXPECT_EQ(stored(), "");
  // A second LUN mapped to all takes the next free number.
  ASSERT_EQ(Create(VDS_LT_STRIPE, kGiB, {2, 3}, {}, u"*"), S_OK);
  changes = ChangesSent();
  ASSERT_EQ(Opcodes(changes),
            (std::vector<uint32_t>{CREATE_ARRAY, ADD_ARRAY_PART, CREATE_CUSTOM_VIEW}));
  EXPECT_EQ(get_be16(changes[2].bytes.data() + kCvLun), 5u) << "5 is free again";
  ASSERT_EQ(set(a), S_OK);
  changes = ChangesSent();
  EXPECT_EQ(get_be16(changes.back().bytes.data() + kCvLun), 6u);
  StartingLUN = 1;
}

TEST_F(CreateLunTest, CreateLun2ConvertsTheHints) {
  Start();
  ComPtr<IVdsSubSystem2> subSystem2;
  ASSERT_EQ(subSystem_->QueryInterface(
                IID_IVdsSubSystem2, reinterpret_cast<void**>(subSystem2.ReleaseAndGetAddressOf())),
            S_OK);
  VDS_HINTS2 hints{};
  hints.ullHintMask = kHintMaskHotSpare | kHintMaskMostlyReads | kHintMaskRaid5;
  hints.bMostlyReads = TRUE;
  hints.bAllocateHotSpare = FALSE;  // clears bit 9: no spare
  std::vector<VDS_OBJECT_ID> ids(drives_.begin(), drives_.begin() + 4);
  WCHAR empty[1] = {};
  IVdsAsync* async = nullptr;
  ASSERT_EQ(subSystem2->CreateLun2(VDS_LT_PARITY, kGiB, ids.data(), 4, empty, &hints, &async),
            S_OK);
  async->Release();
  std::vector<JournalRequest> changes = ChangesSent();
  ASSERT_FALSE(changes.empty());
  EXPECT_EQ(changes[0].bytes[kCaLevel], VELA_RAID5);
  EXPECT_EQ(changes[0].Be32(kCaNumSpares), 0u);
  EXPECT_EQ(subSystem2->CreateLun2(VDS_LT_PARITY, kGiB, nullptr, 0, empty, nullptr, &async),
            E_POINTER);
}

}  // namespace
