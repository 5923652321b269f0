#include <gtest/gtest.h>

#include <cstring>

#include "objects/enumerator.h"
#include "provider/provider.h"
#include "tests/provider/provider_test_support.h"

namespace {

GUID MakeGuid(uint8_t last) {
  GUID guid{};
  guid.Data4[7] = last;
  return guid;
}

class RegistryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    EnsureModuleAttached();
    provider_ = CProvider::Create();
    ASSERT_NE(provider_, nullptr);
  }
  void TearDown() override {
    g_isRefreshing = false;
    NumOperation = 0;
    static_cast<IVdsProvider*>(provider_)->Release();
    EXPECT_EQ(FakeObject::s_live, 0);
  }
  // A new object registered by id and by name, with one reference held by the test.
  FakeObject* Register(uint8_t id, const std::u16string& name, VDS_OBJECT_TYPE type = VDS_OT_LUN) {
    auto* object = new FakeObject(type);
    object->AddRef();
    MutexGuard guard(hNotificationMutex, "RegistryTest");
    provider_->AddObject(MakeGuid(id), VDS_OBJECT{type, object});
    provider_->AddName(MakeGuid(id), name, object);
    return object;
  }

  CProvider* provider_ = nullptr;
};

TEST_F(RegistryTest, AddObjectKeepsTheFirstEntryAndRemoveRespectsRefresh) {
  FakeObject* a = Register(1, u"a");
  auto* b = new FakeObject();
  b->AddRef();
  provider_->AddObject(MakeGuid(1), VDS_OBJECT{VDS_OT_LUN, b});
  EXPECT_EQ(provider_->Objects().at(MakeGuid(1)).pObject, a);

  g_isRefreshing = true;
  provider_->RemoveObject(MakeGuid(1));
  EXPECT_EQ(provider_->Objects().count(MakeGuid(1)), 1u);
  g_isRefreshing = false;
  provider_->RemoveObject(MakeGuid(1));
  EXPECT_EQ(provider_->Objects().count(MakeGuid(1)), 0u);
  a->Release();
  b->Release();
}

TEST_F(RegistryTest, GetObjectChecksPointerBeforeTypeAndLeavesTwoReferences) {
  FakeObject* lun = Register(2, u"lun");
  IUnknown* out = nullptr;
  EXPECT_EQ(provider_->GetObject(MakeGuid(2), VDS_OT_LUN, nullptr), E_POINTER);
  EXPECT_EQ(provider_->GetObject(MakeGuid(2), static_cast<VDS_OBJECT_TYPE>(40), nullptr),
            E_POINTER);
  EXPECT_EQ(provider_->GetObject(MakeGuid(2), static_cast<VDS_OBJECT_TYPE>(40), &out),
            E_INVALIDARG);
  EXPECT_EQ(provider_->GetObject(MakeGuid(2), static_cast<VDS_OBJECT_TYPE>(29), &out),
            E_INVALIDARG);
  EXPECT_EQ(provider_->GetObject(MakeGuid(2), VDS_OT_DRIVE, &out), VDS_E_OBJECT_NOT_FOUND);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(provider_->GetObject(MakeGuid(3), VDS_OT_LUN, &out), VDS_E_OBJECT_NOT_FOUND);

  ASSERT_EQ(provider_->GetObject(MakeGuid(2), VDS_OT_LUN, &out), S_OK);
  EXPECT_EQ(out, lun->GetUnknown());
  EXPECT_EQ(lun->RefCount(), 3u);  // the test's, the caller's, and the surplus
  out->Release();
  lun->Release();
  // The surplus keeps the object for the provider's life; the tear-down gives it back.
  EXPECT_EQ(FakeObject::s_live, 1);
}

TEST_F(RegistryTest, AnEntryLeavesWithItsObject) {
  FakeObject* object = Register(7, u"gone");
  object->Release();
  EXPECT_EQ(FakeObject::s_live, 0);
  EXPECT_EQ(provider_->Names().count(MakeGuid(7)), 0u);
  EXPECT_EQ(provider_->Objects().count(MakeGuid(7)), 0u);
  MutexGuard guard(hNotificationMutex, "RegistryTest");
  GUID guid = MakeGuid(100);
  FakeObject* found = nullptr;
  FindObjAndGuid(provider_, &found, &guid, u"gone");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(guid, MakeGuid(100));  // created anew, never the freed one
  found->AddRef();
  found->Release();
}

TEST_F(RegistryTest, ADeadObjectTakesOnlyItsOwnEntriesAlong) {
  FakeObject* first = Register(3, u"first");
  provider_->RemoveObject(MakeGuid(3));  // the id leaves the id map; the name stays
  auto* second = new FakeObject();
  second->AddRef();
  {
    MutexGuard guard(hNotificationMutex, "RegistryTest");
    provider_->AddObject(MakeGuid(3), VDS_OBJECT{VDS_OT_LUN, second});
    provider_->AddObject(MakeGuid(4), VDS_OBJECT{VDS_OT_LUN, first});
    provider_->AddObject(MakeGuid(4), VDS_OBJECT{VDS_OT_LUN, first});  // entered again
  }
  first->Release();
  EXPECT_EQ(provider_->Names().count(MakeGuid(3)), 0u);
  EXPECT_EQ(provider_->Objects().count(MakeGuid(4)), 0u);
  ASSERT_EQ(provider_->Objects().count(MakeGuid(3)), 1u);
  EXPECT_EQ(provider_->Objects().at(MakeGuid(3)).pObject, second);
  second->Release();
  EXPECT_TRUE(provider_->Objects().empty());
}

TEST_F(RegistryTest, FindObjAndGuidPassesOverOtherClassesAndOtherNames) {
  FakeObject* lun = Register(2, u"same");
  FakeObject* longer = Register(3, u"same name", VDS_OT_DRIVE);
  FakeObject* drive = Register(8, u"same", VDS_OT_DRIVE);
  auto* otherDrive = new OtherFakeObject();
  otherDrive->AddRef();
  {
    MutexGuard guard(hNotificationMutex, "RegistryTest");
    provider_->AddName(MakeGuid(9), u"same", otherDrive);
    provider_->AddName(MakeGuid(6), u"same", otherDrive);
  }
  drive->Release();  // its name leaves with it

  MutexGuard guard(hNotificationMutex, "RegistryTest");
  GUID guid = MakeGuid(200);
  OtherFakeObject* found = nullptr;
  FindObjAndGuid(provider_, &found, &guid, u"same");
  EXPECT_EQ(found, otherDrive);
  EXPECT_EQ(guid, MakeGuid(6));
  // A name only an object of another class has: a new object comes, with the new id.
  guid = MakeGuid(201);
  OtherFakeObject* created = nullptr;
  FindObjAndGuid(provider_, &created, &guid, u"same name");
  ASSERT_NE(created, nullptr);
  EXPECT_NE(static_cast<FakeObject*>(created), longer);
  EXPECT_EQ(guid, MakeGuid(201));
  created->AddRef();
  created->Release();
  for (FakeObject* object : {lun, longer, static_cast<FakeObject*>(otherDrive)}) object->Release();
}

TEST_F(RegistryTest, QueryObjectsListsEveryEntryAndNullPointerIsRefused) {
  // Plexes have no list order of their own: they come in id order.
  FakeObject* a = Register(1, u"a", VDS_OT_LUN_PLEX);
  FakeObject* b = Register(2, u"b", VDS_OT_LUN_PLEX);
  VdsObjectMap map;
  map.emplace(MakeGuid(2), VDS_OBJECT{VDS_OT_LUN_PLEX, b});
  map.emplace(MakeGuid(1), VDS_OBJECT{VDS_OT_LUN_PLEX, a});
  {
    MutexGuard guard(hNotificationMutex, "RegistryTest");
    EXPECT_EQ(provider_->QueryObjects(map, nullptr), E_POINTER);
  }
  IEnumVdsObject* list = nullptr;
  ASSERT_EQ(provider_->QueryObjects(map, &list), S_OK);
  IUnknown* out[3] = {};
  ULONG fetched = 0;
  EXPECT_EQ(list->Next(3, out, &fetched), S_FALSE);
  ASSERT_EQ(fetched, 2u);
  EXPECT_EQ(out[0], a->GetUnknown());
  EXPECT_EQ(out[1], b->GetUnknown());
  out[0]->Release();
  out[1]->Release();
  list->Release();
  a->Release();
  b->Release();
}

TEST_F(RegistryTest, InitializeCounterNeverUnderflowsAndBlocksRefreshable) {
  {
    InitializeCounter counter(provider_);
    EXPECT_EQ(NumOperation.load(), 1u);
    NumOperation = 0;
  }
  EXPECT_EQ(NumOperation.load(), 0u);

  provider_->SetNeedRefresh(true);
  {
    MutexGuard guard(hNotificationMutex, "RegistryTest");
    InitializeCounter counter(provider_);
    Refreshable refreshable(provider_);
  }
  EXPECT_TRUE(provider_->IsNeedRefresh());
  provider_->SetNeedRefresh(false);
}

TEST_F(RegistryTest, TearDownDisposesEveryObjectAndFreesWhatNobodyHolds) {
  FakeObject* kept = Register(1, u"kept");
  FakeObject* dropped = Register(2, u"dropped");
  IUnknown* out = nullptr;
  ASSERT_EQ(provider_->GetObject(MakeGuid(2), VDS_OT_LUN, &out), S_OK);
  out->Release();
  dropped->Release();
  EXPECT_EQ(FakeObject::s_live, 2);  // the surplus holds `dropped`

  CProvider* provider = provider_;
  provider_ = CProvider::Create();  // for the fixture's own tear-down
  static_cast<IVdsProvider*>(provider)->Release();
  EXPECT_EQ(FakeObject::s_live, 1);
  EXPECT_EQ(kept->DisposeCount(), 1);
  kept->Release();
}

}  // namespace
