// CreateLun, CreateLun2, the async object and SetMask against tidegate-sim: what reaches the
// proxy (opcodes and request bytes, from the simulator's request journal) and what the tree
// shows afterwards.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
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

namespace {

constexpr ULONGLONG kMiB = 1ULL << 20;
constexpr ULONGLONG kGiB = 1ULL << 30;
constexpr char kHostA[] = "20000000AABBCC01";
constexpr char kHostB[] = "20000000AABBCC02";
constexpr char kHostC[] = "20000000AABBCC03";

struct Request {
  uint32_t opcode;
  size_t length;
  std::vector<uint8_t> bytes;  // the first 8 KiB

  uint32_t Be32(size_t at) const { return get_be32(bytes.data() + at); }
  uint64_t Be64(size_t at) const { return get_be64_lowfirst(bytes.data() + at); }
  std::string Text(size_t at) const { return reinterpret_cast<const char*>(bytes.data() + at); }
};

bool Changing(uint32_t opcode) {
  return opcode == CREATE_ARRAY || opcode == ADD_ARRAY_PART || opcode == CREATE_CUSTOM_VIEW ||
         opcode == OP_CREATE_SNAPSHOT || opcode == DELETE_PART || opcode == DELETE_ARRAY;
}

class CreateLunTest : public SimProviderTest {
 protected:
  void SetUp() override {
    SimProviderTest::SetUp();
    ResetNewNamesForTesting();
  }
  void TearDown() override {
    subSystem_.Reset();
    SimProviderTest::TearDown();
  }

  void Start(const std::string& inventory = "blank.json") {
    StartSimulator(inventory);
    ASSERT_EQ(Load(), S_OK);
    IVdsSubSystem* subSystem = FirstSubSystem();
    ASSERT_NE(subSystem, nullptr);
    subSystem_.Attach(subSystem);
    drives_ = DriveIds();
    Journal();  // what the load sent is not the test's
  }

  std::vector<GUID> DriveIds() {
    std::vector<GUID> ids;
    IEnumVdsObject* list = nullptr;
    if (subSystem_->QueryDrives(&list) != S_OK) return ids;
    IUnknown* unknown = nullptr;
    ULONG fetched = 0;
    while (list->Next(1, &unknown, &fetched) == S_OK && fetched == 1) {
      IVdsDrive* drive = nullptr;
      unknown->QueryInterface(IID_IVdsDrive, reinterpret_cast<void**>(&drive));
      VDS_DRIVE_PROP prop{};
      drive->GetProperties(&prop);
      ids.push_back(prop.id);
      CoTaskMemFree(prop.pwszFriendlyName);
      CoTaskMemFree(prop.pwszIdentification);
      drive->Release();
      unknown->Release();
    }
    list->Release();
    return ids;
  }

  // Requests since the last call, in order; the journal is emptied.
  std::vector<Request> Journal() {
    const std::string text = simulator_->Admin("journal");
    simulator_->Admin("journal clear");
    std::vector<Request> out;
    for (const auto& entry : nlohmann::json::parse(text)) {
      Request request{entry["opcode"].get<uint32_t>(), entry["length"].get<size_t>(), {}};
      const std::string hex = entry["request"].get<std::string>();
      for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        request.bytes.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
      }
      out.push_back(std::move(request));
    }
    return out;
  }
  std::vector<Request> ChangesSent() {
    std::vector<Request> changes;
    for (Request& request : Journal()) {
      if (Changing(request.opcode)) changes.push_back(std::move(request));
    }
    return changes;
  }
  static std::vector<uint32_t> Opcodes(const std::vector<Request>& requests) {
    std::vector<uint32_t> opcodes;
    for (const Request& request : requests) opcodes.push_back(request.opcode);
    return opcodes;
  }

  // CreateLun, then Wait; the LUN's properties in *prop (strings freed) when it worked.
  HRESULT Create(VDS_LUN_TYPE type, ULONGLONG size, std::vector<int> drives = {},
                 VDS_HINTS hints = {}, const std::u16string& unmask = u"",
                 VDS_LUN_PROP* prop = nullptr, std::u16string* unmasked = nullptr,
                 IVdsLun** lunOut = nullptr) {
    std::vector<VDS_OBJECT_ID> ids;
    for (int n : drives) ids.push_back(n >= 0 ? drives_.at(static_cast<size_t>(n)) : GUID{});
    std::u16string list = unmask;
    IVdsAsync* async = nullptr;
    const HRESULT hr =
        subSystem_->CreateLun(type, size, ids.empty() ? nullptr : ids.data(),
                              static_cast<LONG>(ids.size()), list.data(), &hints, &async);
    if (hr != S_OK) {
      EXPECT_EQ(async, nullptr);
      return hr;
    }
    HRESULT result = E_FAIL;
    VDS_ASYNC_OUTPUT out{};
    EXPECT_EQ(async->Wait(&result, &out), S_OK);
    EXPECT_EQ(result, S_OK);
    EXPECT_EQ(out.type, VDS_ASYNCOUT_CREATELUN);
    ULONG percent = 0;
    EXPECT_EQ(async->QueryStatus(&result, &percent), S_OK);
    EXPECT_EQ(async->Cancel(), E_NOTIMPL);
    async->Release();
    EXPECT_NE(out.cl.pLunUnk, nullptr);
    if (out.cl.pLunUnk == nullptr) return E_FAIL;
    IVdsLun* lun = nullptr;
    EXPECT_EQ(out.cl.pLunUnk->QueryInterface(IID_IVdsLun, reinterpret_cast<void**>(&lun)), S_OK);
    out.cl.pLunUnk->Release();
    VDS_LUN_PROP local{};
    EXPECT_EQ(lun->GetProperties(&local), S_OK);
    if (unmasked != nullptr) *unmasked = PropText(local.pwszUnmaskingList);
    CoTaskMemFree(local.pwszFriendlyName);
    CoTaskMemFree(local.pwszIdentification);
    CoTaskMemFree(local.pwszUnmaskingList);
    local.pwszFriendlyName = local.pwszIdentification = local.pwszUnmaskingList = nullptr;
    if (prop != nullptr) *prop = local;
    if (lunOut != nullptr) {
      *lunOut = lun;
    } else {
      lun->Release();
    }
    return S_OK;
  }

  size_t LunCount() {
    IEnumVdsObject* list = nullptr;
    if (subSystem_->QueryLuns(&list) != S_OK) return 0;
    return Ids(list).size();
  }

  static VDS_HINTS Stripe(ULONG bytes) {
    VDS_HINTS hints{};
    hints.ulStripeSize = bytes;
    return hints;
  }

  ComPtr<IVdsSubSystem> subSystem_;
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
  VDS_LUN_PROP prop{};
  std::u16string unmasked;
  ASSERT_EQ(Create(VDS_LT_RAID5, 10 * kGiB, {0, 1, 2}, Stripe(32768),
                   Utf8ToUtf16(std::string(kHostA) + ";" + kHostB), &prop, &unmasked),
            S_OK);
  EXPECT_EQ(prop.type, VDS_LT_RAID5);
  EXPECT_EQ(prop.ullSize, 10 * kGiB);
  EXPECT_EQ(unmasked, Utf8ToUtf16(std::string(kHostA) + ";" + kHostB));

  const std::vector<Request> changes = ChangesSent();
  ASSERT_EQ(Opcodes(changes), (std::vector<uint32_t>{CREATE_ARRAY, ADD_ARRAY_PART,
                                                     CREATE_CUSTOM_VIEW, CREATE_CUSTOM_VIEW}));
  const Request& create = changes[0];
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
  const Request& part = changes[1];
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
  ASSERT_EQ(Create(VDS_LT_RAID5, kGiB, {2, 0, 1}, {}, u"", &prop), S_OK);
  const std::vector<Request> second = ChangesSent();
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
  VDS_LUN_PROP prop{};
  // No drives: the largest total group of free drives that holds a RAID 5 (eight SATA).
  ASSERT_EQ(Create(VDS_LT_RAID5, 10 * kGiB, {}, {}, u"", &prop), S_OK);
  std::vector<Request> changes = ChangesSent();
  ASSERT_EQ(Opcodes(changes), (std::vector<uint32_t>{CREATE_ARRAY, ADD_ARRAY_PART}));
  EXPECT_EQ(changes[0].Be32(kCaNumDrives), 3u) << "the smallest legal set";
  EXPECT_EQ(changes[0].Text(kCaSerials).substr(0, 7), "MW-SATA");
  // The next RAID 5 request fits there; a stripe request doesn't and makes its own vdisk.
  ASSERT_EQ(Create(VDS_LT_RAID5, 10 * kGiB), S_OK);
  EXPECT_EQ(Opcodes(ChangesSent()), std::vector<uint32_t>{ADD_ARRAY_PART});
  ASSERT_EQ(Create(VDS_LT_RAID5, 0, {}, Stripe(16384), u"", &prop), S_OK);
  changes = ChangesSent();
  ASSERT_EQ(Opcodes(changes), (std::vector<uint32_t>{CREATE_ARRAY, ADD_ARRAY_PART}))
      << "another stripe size";
  EXPECT_EQ(changes[0].Be32(kCaStripe), 16u);
  // Size 0 takes all the free space of the new vdisk, to a whole MiB.
  EXPECT_EQ(prop.ullSize % kMiB, 0u);
  EXPECT_GT(prop.ullSize, 100 * kGiB);
  EXPECT_EQ(LunCount(), 3u);
}

TEST_F(CreateLunTest, AbstractTypesSizesAndLevelsFromHints) {
  Start();
  struct Case {
    const char* what;
    VDS_LUN_TYPE type;
    std::vector<int> drives;
    ULONGLONG size;
    VDS_HINTS hints;
    uint8_t level;
    uint32_t numDrives;
  };
  VDS_HINTS raid50{};
  raid50.ullHintMask = kHintMaskMostlyReads | kHintMaskRaid50;
  raid50.bMostlyReads = TRUE;
  VDS_HINTS raid3 = raid50;
  raid3.ullHintMask = kHintMaskMostlyReads | kHintMaskRaid3;
  const ULONGLONG sataDrive = 3907029168ULL * 512;
  const Case cases[] = {
      {"fault tolerant of two: mirror", VDS_LT_FAULT_TOLERANT, {0, 1}, kGiB, {}, VELA_RAID1, 2},
      {"default of one: simple", VDS_LT_DEFAULT, {2}, kGiB, {}, VELA_NRAID, 1},
      {"fault tolerant of four: parity at RAID 6",
       VDS_LT_FAULT_TOLERANT,
       {3, 4, 5, 6},
       kGiB,
       {},
       VELA_RAID6,
       4},
      {"parity at RAID 50 by the private bit",
       VDS_LT_PARITY,
       {12, 13, 14, 15, 16, 17},
       kGiB,
       raid50,
       VELA_RAID50,
       6},
      {"parity at RAID 3 by the private bit, drives chosen",
       VDS_LT_PARITY,
       {},
       kGiB,
       raid3,
       VELA_RAID3,
       3},
      {"stripe of 1.5 drives, drives chosen",
       VDS_LT_STRIPE,
       {},
       sataDrive + sataDrive / 2,
       {},
       VELA_RAID0,
       2},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(Create(c.type, c.size, c.drives, c.hints), S_OK) << c.what;
    const std::vector<Request> changes = ChangesSent();
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
  VDS_HINTS hot{};
  hot.ulStripeSize = 65536;
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
  VDS_HINTS badStripe{};
  badStripe.ulStripeSize = 8192;
  const Case cases[] = {
      {"span with a bad stripe and a tiny size",
       VDS_LT_SPAN,
       5,
       {0},
       badStripe,
       VDS_E_NOT_SUPPORTED},
      {"snapshot with a size, before everything",
       VDS_LT_SPAN,
       kGiB,
       {0},
       snapshot,
       VDS_E_NOT_SUPPORTED},
      {"size below 1 MiB", VDS_LT_STRIPE, kMiB - 1, {}, {}, VDS_E_NOT_SUPPORTED},
      {"unknown type", static_cast<VDS_LUN_TYPE>(20), 0, {}, {}, E_INVALIDARG},
      {"stripe on simple", VDS_LT_SIMPLE, 0, {}, hot, VDS_E_NOT_SUPPORTED},
      {"stripe of 8 KiB", VDS_LT_PARITY, 0, {}, badStripe, E_INVALIDARG},
      {"mixed SAS and SATA, odd mirror", VDS_LT_MIRROR, 0, {0, 12, 1}, {}, VDS_E_NOT_SUPPORTED},
      {"17 drives",
       VDS_LT_STRIPE,
       0,
       {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16},
       {},
       E_INVALIDARG},
      {"duplicate drive", VDS_LT_STRIPE, 0, {0, 0, 1}, {}, VDS_E_OBJECT_NOT_FOUND},
      {"drive of no subsystem", VDS_LT_STRIPE, 0, {0, -1}, {}, VDS_E_OBJECT_NOT_FOUND},
      {"size near 2^64 on named drives", VDS_LT_STRIPE, ~0ULL, {0, 1}, {}, VDS_E_NOT_ENOUGH_SPACE},
      {"size near 2^64, drives chosen", VDS_LT_STRIPE, ~0ULL - 5, {}, {}, VDS_E_NOT_ENOUGH_DRIVE},
      {"simple larger than a drive", VDS_LT_SIMPLE, 1ULL << 50, {}, {}, E_INVALIDARG},
      {"snapshot with no vdisk to hold it", VDS_LT_STRIPE, 0, {}, snapshot, VDS_E_NOT_SUPPORTED},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Create(c.type, c.size, c.drives, c.hints), c.hr) << c.what;
    EXPECT_TRUE(ChangesSent().empty()) << c.what;
  }
  // Negative counts and a null list with a count.
  IVdsAsync* async = nullptr;
  VDS_HINTS hints{};
  WCHAR empty[1] = {};
  EXPECT_EQ(subSystem_->CreateLun(VDS_LT_STRIPE, 0, drives_.data(), -3, empty, &hints, &async),
            E_INVALIDARG);
  EXPECT_EQ(subSystem_->CreateLun(VDS_LT_STRIPE, 0, nullptr, 2, empty, &hints, &async),
            E_INVALIDARG);
  EXPECT_EQ(subSystem_->CreateLun(VDS_LT_STRIPE, 0, nullptr, 0, nullptr, &hints, &async),
            E_POINTER);
  EXPECT_EQ(async, nullptr);
  EXPECT_TRUE(ChangesSent().empty());
  EXPECT_EQ(LunCount(), 0u);
}

TEST_F(CreateLunTest, RefusedCreateArrayRetriedThenSentToTheOtherController) {
  // Controller A is offline but still reports: it refuses to own a vdisk.
  std::ifstream in(std::string(VELA_SIM_INVENTORIES) + "/blank.json");
  nlohmann::json inventory = nlohmann::json::parse(in);
  inventory["subsystems"][0]["controllers"][0]["controllerState"] = 1;
  Start(inventory.dump());
  VDS_LUN_PROP prop{};
  ASSERT_EQ(Create(VDS_LT_STRIPE, kGiB, {0, 1}, {}, u"", &prop), S_OK);
  const std::vector<Request> changes = ChangesSent();
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
  ASSERT_EQ(simulator_->Admin("fault next 1 status=78 14"), "ok");
  EXPECT_EQ(Create(VDS_LT_STRIPE, kGiB, {4, 5}), VDS_E_VOLUME_TOO_SMALL);
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
  VDS_LUN_PROP prop{};
  IVdsLun* lun = nullptr;
  ASSERT_EQ(Create(VDS_LT_STRIPE, 0, {0, 1}, dummy, u"", &prop, nullptr, &lun), S_OK);
  EXPECT_EQ(Opcodes(ChangesSent()), std::vector<uint32_t>{CREATE_ARRAY});
  EXPECT_EQ(prop.ullSize, 0u);
  WCHAR all[] = u"*";
  EXPECT_EQ(lun->SetMask(all), VDS_E_NOT_SUPPORTED) << "a dummy volume is never mapped";
  lun->Release();
  EXPECT_EQ(LunCount(), 1u);
  ASSERT_EQ(Create(VDS_LT_STRIPE, kGiB, {}, {}, u"", &prop), S_OK);
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
  std::vector<Request> changes = ChangesSent();
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
  VDS_LUN_PROP prop{};
  ASSERT_EQ(Create(VDS_LT_STRIPE, 0, {}, snapshot, u"", &prop), S_OK);
  EXPECT_EQ(Opcodes(ChangesSent()), std::vector<uint32_t>{OP_CREATE_SNAPSHOT});
  EXPECT_NE(prop.ulFlags & VDS_LF_SNAPSHOT, 0u);
}

TEST_F(CreateLunTest, MaskingSequencesAndUnitNumbers) {
  Start();
  StartingLUN = 5;
  IVdsLun* lun = nullptr;
  VDS_LUN_PROP prop{};
  ASSERT_EQ(Create(VDS_LT_STRIPE, kGiB, {0, 1}, {}, u"", &prop, nullptr, &lun), S_OK);
  ChangesSent();
  auto set = [&](const std::string& list) {
    std::u16string wide = Utf8ToUtf16(list);
    return lun->SetMask(wide.data());
  };
  auto stored = [&] {
    VDS_LUN_PROP now{};
    lun->GetProperties(&now);
    const std::string list = Utf16ToUtf8(PropText(now.pwszUnmaskingList));
    CoTaskMemFree(now.pwszFriendlyName);
    CoTaskMemFree(now.pwszIdentification);
    CoTaskMemFree(now.pwszUnmaskingList);
    return list;
  };
  const std::string a = kHostA, b = kHostB, c = kHostC;
  EXPECT_EQ(set("20000000aabbcc0"), E_INVALIDARG);
  EXPECT_EQ(set(a + ";;" + b), E_INVALIDARG);
  EXPECT_EQ(set(std::string(300, 'A')), E_INVALIDARG);
  EXPECT_TRUE(ChangesSent().empty());

  ASSERT_EQ(set(a), S_OK);
  std::vector<Request> changes = ChangesSent();
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
  IVdsLun* other = nullptr;
  ASSERT_EQ(Create(VDS_LT_STRIPE, kGiB, {2, 3}, {}, u"*", &prop, nullptr, &other), S_OK);
  changes = ChangesSent();
  ASSERT_EQ(Opcodes(changes),
            (std::vector<uint32_t>{CREATE_ARRAY, ADD_ARRAY_PART, CREATE_CUSTOM_VIEW}));
  EXPECT_EQ(get_be16(changes[2].bytes.data() + kCvLun), 5u) << "5 is free again";
  ASSERT_EQ(set(a), S_OK);
  changes = ChangesSent();
  EXPECT_EQ(get_be16(changes.back().bytes.data() + kCvLun), 6u);
  other->Release();
  lun->Release();
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
  std::vector<Request> changes = ChangesSent();
  ASSERT_FALSE(changes.empty());
  EXPECT_EQ(changes[0].bytes[kCaLevel], VELA_RAID5);
  EXPECT_EQ(changes[0].Be32(kCaNumSpares), 0u);
  EXPECT_EQ(subSystem2->CreateLun2(VDS_LT_PARITY, kGiB, nullptr, 0, empty, nullptr, &async),
            E_POINTER);
}

}  // namespace
