// Maximum sizes, Extend with its async Wait, and creation in storage pools against tidegate-sim:
// the answers, and the requests that reached the proxy (from the simulator's request journal).
#include <gtest/gtest.h>

#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "objects/subsystem.h"
#include "platform/clock.h"
#include "platform/osversion.h"
#include "provider/provider.h"
#include "provisioning/utility.h"
#include "proxy/byte_order.h"
#include "proxy/iasocket.h"
#include "proxy/wire_format.h"
#include "tests/provider/sim_fixture.h"
#include "tests/provider/sim_journal.h"

namespace {

constexpr ULONGLONG kMiB = 1ULL << 20;
constexpr ULONGLONG kGiB = 1ULL << 30;
// Offsets in an EXPAND_PART payload: the body starts at 0x10.
constexpr size_t kEpBlocks = 0x10 + 0x8, kEpVdiskSerial = 0x10 + 0x31, kEpPartSerial = 0x10 + 0x51;

class ExtendTest : public SimProviderTest {
 protected:
  void SetUp() override {
    SimProviderTest::SetUp();
    SetOsVersionForTesting(6, 1);
    Options = 0;
  }

  void Start() {
    StartOn("blank.json");
    for (const auto& drive : Drives(subSystem_.Get())) drives_.push_back(ViewOf(drive.Get()).prop);
  }

  std::vector<JournalRequest> Journal() { return ReadJournal(simulator_.get()); }
  // Lets the event monitor see what changed, runs the refresh, then forgets what it sent.
  void Settle() {
    Sleep(30000);
    Luns(subSystem_.Get());
    Journal();
  }

  std::vector<VDS_OBJECT_ID> Ids(const std::vector<int>& drives) {
    std::vector<VDS_OBJECT_ID> ids;
    for (int n : drives) ids.push_back(drives_.at(static_cast<size_t>(n)).id);
    return ids;
  }

  ComPtr<IVdsLun> Create(VDS_LUN_TYPE type, ULONGLONG size, const std::vector<int>& drives) {
    ComPtr<IVdsLun> lun;
    EXPECT_EQ(CreateLunAndWait(type, size, Ids(drives), {}, u"", &lun), S_OK);
    Settle();
    return lun;
  }

  static ULONGLONG Size(IVdsLun* lun) { return ViewOf(lun).prop.ullSize; }

  HRESULT MaxCreate(VDS_LUN_TYPE type, const std::vector<int>& drives, ULONGLONG* size,
                    VDS_HINTS hints = {}) {
    std::vector<VDS_OBJECT_ID> ids = Ids(drives);
    *size = ~0ULL;
    return subSystem_->QueryMaxLunCreateSize(type, ids.empty() ? nullptr : ids.data(),
                                             static_cast<LONG>(ids.size()), &hints, size);
  }
  static HRESULT MaxExtend(IVdsLun* lun, std::vector<VDS_OBJECT_ID> ids, ULONGLONG* size) {
    return lun->QueryMaxLunExtendSize(ids.empty() ? nullptr : ids.data(),
                                      static_cast<LONG>(ids.size()), size);
  }
  // Extend, then Wait.
  static HRESULT Extend(IVdsLun* lun, ULONGLONG bytes, std::vector<VDS_OBJECT_ID> ids) {
    IVdsAsync* async = nullptr;
    const HRESULT hr = lun->Extend(bytes, ids.empty() ? nullptr : ids.data(),
                                   static_cast<LONG>(ids.size()), &async);
    if (FAILED(hr)) {
      EXPECT_EQ(async, nullptr);
      return hr;
    }
    WaitLun(async, VDS_ASYNCOUT_EXTENDLUN);
    return hr;
  }

  std::vector<VDS_DRIVE_PROP> drives_;  // list order: 12 SAS, 8 SATA, 4 SSD
};

TEST_F(ExtendTest, MaxCreateSizeByDrivesTypesAndExistingVdisks) {
  Start();
  const ULONGLONG sas = drives_[0].ullSize;
  const ULONGLONG sata = drives_[12].ullSize;
  ULONGLONG size = 0;
  // Named free drives: a new vdisk of them.
  ASSERT_EQ(MaxCreate(VDS_LT_RAID5, {0, 1, 2}, &size), S_OK);
  EXPECT_EQ(size, ROUND_DOWN_TO_MB_BOUNDARY(2 * sas));
  ASSERT_EQ(MaxCreate(VDS_LT_MIRROR, {0, 1}, &size), S_OK);
  EXPECT_EQ(size, ROUND_DOWN_TO_MB_BOUNDARY(sas));
  // No drives: the group of the largest total, the eight SATA drives.
  ASSERT_EQ(MaxCreate(VDS_LT_RAID5, {}, &size), S_OK);
  EXPECT_EQ(size, ROUND_DOWN_TO_MB_BOUNDARY(7 * sata));
  // Counts that can't make the type answer 0 with success.
  ASSERT_EQ(MaxCreate(VDS_LT_PARITY, {0, 1}, &size), S_OK);
  EXPECT_EQ(size, 0u);
  // Refusals.
  EXPECT_EQ(MaxCreate(VDS_LT_SPAN, {}, &size), E_INVALIDARG);
  VDS_HINTS hints{};
  EXPECT_EQ(subSystem_->QueryMaxLunCreateSize(VDS_LT_RAID5, nullptr, 2, &hints, &size),
            E_INVALIDARG);
  EXPECT_EQ(subSystem_->QueryMaxLunCreateSize(VDS_LT_RAID5, nullptr, 0, nullptr, &size),
            E_INVALIDARG);
  EXPECT_TRUE(Only(Journal(), GET_CONTROLLER).empty()) << "free drives need no fetch";

  // Drives of a vdisk: the room left in it, asked once of the controller.
  ComPtr<IVdsLun> lun = Create(VDS_LT_RAID5, 10 * kGiB, {0, 1, 2});
  ASSERT_TRUE(lun);
  ULONGLONG room = 0;
  ASSERT_EQ(MaxExtend(lun.Get(), Ids({0, 1, 2}), &room), S_OK);
  EXPECT_GT(room, 100 * kGiB);
  EXPECT_EQ(room % kMiB, 0u);
  Journal();
  ASSERT_EQ(MaxCreate(VDS_LT_RAID5, {0, 1, 2}, &size), S_OK);
  EXPECT_EQ(size, room);
  EXPECT_EQ(Only(Journal(), GET_CONTROLLER).size(), 1u);
  // Partly in use: nothing fits them.
  EXPECT_EQ(MaxCreate(VDS_LT_RAID5, {0, 1, 3}, &size), VDS_E_DEVICE_IN_USE);
  // With no drives the larger of a new vdisk and the room in an existing one.
  ASSERT_EQ(MaxCreate(VDS_LT_RAID5, {}, &size), S_OK);
  EXPECT_EQ(size, ROUND_DOWN_TO_MB_BOUNDARY(7 * sata));
  // The second form converts its hints and answers the same.
  VDS_HINTS2 hints2{};
  ULONGLONG size2 = 0;
  IVdsSubSystem2* second = nullptr;
  ASSERT_EQ(subSystem_->QueryInterface(IID_IVdsSubSystem2, reinterpret_cast<void**>(&second)),
            S_OK);
  EXPECT_EQ(second->QueryMaxLunCreateSize2(VDS_LT_RAID5, nullptr, 0, &hints2, &size2), S_OK);
  EXPECT_EQ(size2, size);
  second->Release();
}

TEST_F(ExtendTest, MaxExtendSizeByLevel) {
  Start();
  ComPtr<IVdsLun> raid5 = Create(VDS_LT_RAID5, 10 * kGiB, {0, 1, 2});
  ComPtr<IVdsLun> simple = Create(VDS_LT_SIMPLE, 10 * kGiB, {3});
  ASSERT_TRUE(raid5 && simple);
  ULONGLONG room = 0, withDrives = 0, named = 0;
  ASSERT_EQ(MaxExtend(raid5.Get(), Ids({0, 1, 2}), &room), S_OK);
  ASSERT_GT(room, 0u);
  // No drives named: four of the free SAS drives, each at the vdisk's smallest member.
  ASSERT_EQ(MaxExtend(raid5.Get(), {}, &withDrives), S_OK);
  ASSERT_EQ(MaxExtend(raid5.Get(), Ids({6}), &named), S_OK);
  const ULONGLONG perDrive = named - room;
  EXPECT_GT(perDrive, 100 * kGiB);
  // Each step rounds to whole MiB.
  EXPECT_LE(withDrives, room + 4 * perDrive + 4 * kMiB);
  EXPECT_GE(withDrives + 4 * kMiB, room + 4 * perDrive);
  // A simple LUN grows only within its vdisk.
  ULONGLONG simpleRoom = 0;
  ASSERT_EQ(MaxExtend(simple.Get(), {}, &simpleRoom), S_OK);
  EXPECT_GT(simpleRoom, 0u);
  ASSERT_EQ(MaxExtend(simple.Get(), Ids({6}), &named), S_OK);
  EXPECT_GT(named, simpleRoom) << "the query adds a named drive, though Extend would refuse it";
  // Refusals.
  EXPECT_EQ(MaxExtend(raid5.Get(), Ids({12}), &named), VDS_E_NOT_SUPPORTED) << "another type";
  EXPECT_EQ(raid5->QueryMaxLunExtendSize(nullptr, 1, &named), E_INVALIDARG);
  VDS_OBJECT_ID id = drives_[6].id;
  EXPECT_EQ(raid5->QueryMaxLunExtendSize(&id, -1, &named), E_INVALIDARG);
  EXPECT_EQ(raid5->QueryMaxLunExtendSize(nullptr, 0, nullptr), E_INVALIDARG);
  // Shrink refuses, legal or not.
  IVdsAsync* async = nullptr;
  EXPECT_EQ(raid5->Shrink(kGiB, &async), VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(raid5->Shrink(0, &async), E_INVALIDARG);
  EXPECT_EQ(raid5->Shrink(10 * kGiB, &async), E_INVALIDARG);
  EXPECT_EQ(raid5->Shrink(kGiB, nullptr), E_POINTER);
  EXPECT_EQ(async, nullptr);
  const std::vector<JournalRequest> sent = Journal();
  EXPECT_TRUE(Only(sent, EXPAND_ARRAY).empty() && Only(sent, EXPAND_PART).empty());
}

TEST_F(ExtendTest, ExtendWithinTheVdiskAndTheRetryRounds) {
  Start();
  ComPtr<IVdsLun> lun = Create(VDS_LT_RAID5, 10 * kGiB, {0, 1, 2});
  ASSERT_TRUE(lun);
  // 1 byte is a whole MiB; one expand_part, the vdisk serial filled in its first round.
  ASSERT_EQ(Extend(lun.Get(), 1, {}), S_OK);
  EXPECT_EQ(Size(lun.Get()), 10 * kGiB + kMiB);
  std::vector<JournalRequest> sent = Journal();
  EXPECT_TRUE(Only(sent, EXPAND_ARRAY).empty());
  std::vector<JournalRequest> parts = Only(sent, EXPAND_PART);
  ASSERT_EQ(parts.size(), 1u);
  EXPECT_EQ(parts[0].Be64(kEpBlocks), (10 * kGiB + kMiB) >> 9);
  EXPECT_FALSE(parts[0].Zero(kEpVdiskSerial, 32));
  EXPECT_FALSE(parts[0].Zero(kEpPartSerial, 13));

  // A reply lost after the controller grew the partition: the later rounds are refused (the
  // partition has that size), and the refusal in the last round reads as done.
  simulator_->Admin("fault next 1 status=7 " + std::to_string(EXPAND_PART));
  ASSERT_EQ(Extend(lun.Get(), kGiB, {}), S_OK);
  parts = Only(Journal(), EXPAND_PART);
  ASSERT_EQ(parts.size(), 20u);
  EXPECT_EQ(parts.back().Be64(kEpBlocks), (11 * kGiB + kMiB) >> 9);
  EXPECT_EQ(Size(lun.Get()), 11 * kGiB + kMiB);
  Settle();
  EXPECT_EQ(Size(lun.Get()), 11 * kGiB + kMiB);

  // Nineteen refusals and an acceptance in the last round: the earlier rounds went wrong, so the
  // extension fails, though the array took the last one.
  simulator_->Admin("fault next 19 refuse=7 " + std::to_string(EXPAND_PART));
  EXPECT_EQ(Extend(lun.Get(), kGiB, {}), VDS_E_INTERNAL_ERROR);
  EXPECT_EQ(Only(Journal(), EXPAND_PART).size(), 20u);
  EXPECT_EQ(Size(lun.Get()), 11 * kGiB + kMiB) << "not taken as grown";
  Settle();
  EXPECT_EQ(Size(lun.Get()), 12 * kGiB + kMiB) << "the array's real state";

  // Refusals before anything is sent.
  IVdsAsync* async = nullptr;
  EXPECT_EQ(lun->Extend(kGiB, nullptr, 1, &async), E_POINTER);
  EXPECT_EQ(Extend(lun.Get(), 0, Ids({3, 3})), VDS_E_NOT_ENOUGH_DRIVE) << "one drive named twice";
  EXPECT_EQ(Extend(lun.Get(), ~0ULL, {}), VDS_E_NOT_SUPPORTED) << "near 2^64";
  sent = Journal();
  EXPECT_TRUE(Only(sent, EXPAND_ARRAY).empty() && Only(sent, EXPAND_PART).empty());
}

TEST_F(ExtendTest, ExtendByDrivesWaitsForTheJob) {
  Start();
  ComPtr<IVdsLun> lun = Create(VDS_LT_RAID5, 10 * kGiB, {0, 1, 2});
  ComPtr<IVdsLun> other = Create(VDS_LT_RAID5, 10 * kGiB, {6, 7, 8});
  ASSERT_TRUE(lun && other);
  ULONGLONG room = 0;
  ASSERT_EQ(MaxExtend(lun.Get(), Ids({0, 1, 2}), &room), S_OK);
  // Slow enough that the real time the calls below take (which the scaled clock multiplies) leaves
  // the job running.
  simulator_->Admin("job rate 0.05");

  IVdsAsync* async = nullptr;
  const ULONGLONG grow = room + 50 * kGiB;
  std::vector<VDS_OBJECT_ID> ids = Ids({3});
  ASSERT_EQ(lun->Extend(grow, ids.data(), 1, &async), S_OK);
  std::vector<JournalRequest> sent = Journal();
  ASSERT_EQ(Only(sent, EXPAND_ARRAY).size(), 1u);
  EXPECT_TRUE(Only(sent, EXPAND_PART).empty()) << "the partition grows after the job";
  // The job runs: its percentage rises, below 100.
  HRESULT result = E_FAIL;
  ULONG first = 0, second = 0;
  ASSERT_EQ(async->QueryStatus(&result, &first), S_OK);
  ASSERT_EQ(async->Cancel(), E_NOTIMPL);

  // Meanwhile: another expansion on the same controller, and on the same vdisk, wait their turn.
  EXPECT_EQ(Extend(other.Get(), 0, Ids({9})), VDS_E_ANOTHER_CALL_IN_PROGRESS);
  EXPECT_EQ(Extend(lun.Get(), 0, Ids({4})), VDS_E_ANOTHER_CALL_IN_PROGRESS);
  simulator_->Admin("job rate 2");  // a faster rate applies from now on
  ASSERT_EQ(async->QueryStatus(&result, &second), S_OK);
  EXPECT_LT(first, 100u);
  EXPECT_GE(second, first);
  EXPECT_LT(second, 100u);
  Journal();

  VDS_ASYNC_OUTPUT out{};
  ASSERT_EQ(async->Wait(&result, &out), S_OK);
  EXPECT_EQ(result, S_OK);
  ASSERT_NE(out.cl.pLunUnk, nullptr);
  out.cl.pLunUnk->Release();
  sent = Journal();
  // The poll: a request per 2 s of the job's remaining 50 s or less (the exchanges take time of
  // their own on the scaled clock).
  EXPECT_GE(Only(sent, GET_PERCENT_COMPLETED).size(), 3u) << "the poll";
  std::vector<JournalRequest> parts = Only(sent, EXPAND_PART);
  ASSERT_EQ(parts.size(), 1u);
  EXPECT_EQ(parts[0].Be64(kEpBlocks), (10 * kGiB + grow) >> 9);
  EXPECT_EQ(Size(lun.Get()), 10 * kGiB + grow);
  // Done: the status reads 100 and a second Wait sends nothing.
  ULONG done = 0;
  ASSERT_EQ(async->QueryStatus(&result, &done), S_OK);
  EXPECT_EQ(done, 100u);
  ASSERT_EQ(async->Wait(&result, &out), S_OK);
  if (out.cl.pLunUnk != nullptr) out.cl.pLunUnk->Release();
  EXPECT_TRUE(Only(Journal(), EXPAND_PART).empty());
  async->Release();
  // The tree shows the fourth member after the refresh.
  Settle();
  EXPECT_EQ(Size(lun.Get()), 10 * kGiB + grow);

  // No size and no drives: the smallest number of free drives that covers it is found.
  simulator_->Admin("job rate 50");
  ASSERT_EQ(MaxExtend(lun.Get(), Ids({0, 1, 2, 3}), &room), S_OK);
  ASSERT_EQ(Extend(lun.Get(), room + 1, {}), S_OK);
  sent = Journal();
  ASSERT_EQ(Only(sent, EXPAND_ARRAY).size(), 1u);
  EXPECT_EQ(Only(sent, EXPAND_PART).size(), 1u);
  Settle();

  // A percent query that fails reads as done: the rounds run while the job still runs, each is
  // refused, and the refusal of the last reads as done. The next refresh shows the real size.
  const ULONGLONG before = Size(lun.Get());
  simulator_->Admin("job rate 0.05");
  std::vector<VDS_OBJECT_ID> fifth = Ids({5});
  ASSERT_EQ(lun->Extend(0, fifth.data(), 1, &async), S_OK);
  Journal();
  simulator_->Admin("fault next 1 status=7 " + std::to_string(GET_PERCENT_COMPLETED));
  ASSERT_EQ(async->Wait(&result, &out), S_OK);
  if (out.cl.pLunUnk != nullptr) out.cl.pLunUnk->Release();
  async->Release();
  sent = Journal();
  EXPECT_EQ(Only(sent, GET_PERCENT_COMPLETED).size(), 1u);
  EXPECT_EQ(Only(sent, EXPAND_PART).size(), 20u);
  EXPECT_GT(Size(lun.Get()), before) << "taken as grown";
  Settle();
  EXPECT_EQ(Size(lun.Get()), before) << "the array's real state";
}

// The connection drops under the poll of a Wait: the poll reads it as done, the rounds run on
// while the monitor repairs the session, and Wait returns with the lock free. The array's
// commands work again after it, and a refresh shows the vdisk as the array has it.
TEST_F(ExtendTest, AConnectionLostUnderWaitEndsTheWaitAndTheSessionComesBack) {
  Start();
  ComPtr<IVdsLun> lun = Create(VDS_LT_RAID5, 10 * kGiB, {0, 1, 2});
  ASSERT_TRUE(lun);
  const ULONGLONG before = Size(lun.Get());
  simulator_->Admin("job rate 0.05");
  IVdsAsync* async = nullptr;
  std::vector<VDS_OBJECT_ID> fourth = Ids({3});
  ASSERT_EQ(lun->Extend(0, fourth.data(), 1, &async), S_OK);
  ASSERT_EQ(simulator_->Admin("fault next 1 close " + std::to_string(GET_PERCENT_COMPLETED)), "ok");
  HRESULT result = E_FAIL;
  VDS_ASYNC_OUTPUT out{};
  EXPECT_EQ(async->Wait(&result, &out), S_OK) << "the last round is refused while the job runs";
  if (out.cl.pLunUnk != nullptr) out.cl.pLunUnk->Release();
  async->Release();
  Journal();
  // Another change goes through on the repaired session.
  ASSERT_TRUE(WaitFor([&] { return g_proxyErrorCell.load() == 0; }));
  ComPtr<IVdsLun> other = Create(VDS_LT_RAID5, kGiB, {6, 7, 8});
  EXPECT_TRUE(other);
  EXPECT_EQ(Size(lun.Get()), before) << "the partition never grew";
}

TEST_F(ExtendTest, CreationAndSizesInStoragePools) {
  Start();
  auto prop = [](IVdsStoragePool* pool) { return ViewOf(pool).prop; };
  std::vector<ComPtr<IVdsStoragePool>> list = Pools();
  ASSERT_EQ(list.size(), 3u) << "SATA, SAS and SSD";
  ComPtr<IVdsStoragePool> sas;
  for (const auto& pool : list) {
    VDS_STORAGE_POOL_PROP p = prop(pool.Get());
    if (p.ullTotalManagedSpace == 12 * drives_[0].ullSize) sas = pool;
  }
  ASSERT_TRUE(sas);
  VDS_HINTS2 hints{};
  ULONGLONG size = 0;
  // The primordial pool's size is that of all its free drives.
  ASSERT_EQ(provider_->QueryMaxLunCreateSizeInStoragePool(VDS_LT_RAID5, prop(sas.Get()).id, &hints,
                                                          &size),
            S_OK);
  EXPECT_EQ(size, ROUND_DOWN_TO_MB_BOUNDARY(11 * drives_[0].ullSize));
  // Creation there makes a vdisk of its free drives.
  std::u16string none;
  IVdsAsync* async = nullptr;
  ASSERT_EQ(provider_->CreateLunInStoragePool(VDS_LT_RAID5, 10 * kGiB, prop(sas.Get()).id,
                                              none.data(), &hints, &async),
            S_OK);
  WaitLun(async, VDS_ASYNCOUT_CREATELUN);
  std::vector<JournalRequest> sent = Journal();
  ASSERT_EQ(Only(sent, CREATE_ARRAY).size(), 1u);
  EXPECT_EQ(Only(sent, CREATE_ARRAY)[0].Be32(0x230), 12u) << "all twelve";
  Settle();
  // The new vdisk's pool takes the next LUN as a partition, of its type when none is given.
  ComPtr<IVdsStoragePool> vdiskPool;
  for (const auto& pool : Pools()) {
    if (prop(pool.Get()).type == VDS_SPT_CONCRETE) vdiskPool = pool;
  }
  ASSERT_TRUE(vdiskPool);
  ASSERT_EQ(provider_->QueryMaxLunCreateSizeInStoragePool(VDS_LT_SIMPLE, prop(vdiskPool.Get()).id,
                                                          &hints, &size),
            S_OK);
  EXPECT_EQ(size, prop(vdiskPool.Get()).ullRemainingFreeSpace);
  ASSERT_EQ(provider_->CreateLunInStoragePool(VDS_LT_DEFAULT, kGiB, prop(vdiskPool.Get()).id,
                                              none.data(), &hints, &async),
            S_OK);
  WaitLun(async, VDS_ASYNCOUT_CREATELUN);
  sent = Journal();
  EXPECT_TRUE(Only(sent, CREATE_ARRAY).empty());
  EXPECT_EQ(Only(sent, ADD_ARRAY_PART).size(), 1u);
  Settle();
  // No drive left in the primordial pool: refused, nothing sent.
  EXPECT_EQ(provider_->CreateLunInStoragePool(VDS_LT_RAID5, kGiB, prop(sas.Get()).id, none.data(),
                                              &hints, &async),
            VDS_E_NOT_ENOUGH_DRIVE);
  EXPECT_EQ(provider_->QueryMaxLunCreateSizeInStoragePool(VDS_LT_RAID5, prop(sas.Get()).id, &hints,
                                                          &size),
            VDS_E_NOT_ENOUGH_DRIVE);
  EXPECT_EQ(provider_->QueryMaxLunCreateSizeInStoragePool(VDS_LT_RAID5, GUID{}, &hints, &size),
            VDS_E_OBJECT_NOT_FOUND);
  sent = Journal();
  EXPECT_TRUE(Only(sent, CREATE_ARRAY).empty() && Only(sent, ADD_ARRAY_PART).empty());
  // Without pools both calls refuse.
  Options = kOptionNoStoragePools;
  EXPECT_EQ(provider_->QueryMaxLunCreateSizeInStoragePool(VDS_LT_RAID5, prop(sas.Get()).id, &hints,
                                                          &size),
            VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(provider_->CreateLunInStoragePool(VDS_LT_RAID5, kGiB, prop(sas.Get()).id, none.data(),
                                              &hints, &async),
            VDS_E_NOT_SUPPORTED);
  Options = 0;
}

}  // namespace
