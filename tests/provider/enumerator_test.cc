#include "objects/enumerator.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/provider/provider_test_support.h"

namespace {

class EnumeratorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    enumerator_ = new CEnumerator();
    enumerator_->AddRef();
    for (int i = 0; i < 3; ++i) {
      objects_.push_back(new FakeObject());
      objects_.back()->AddRef();
    }
  }
  void TearDown() override {
    if (enumerator_ != nullptr) enumerator_->Release();
    for (FakeObject* object : objects_) object->Release();
    EXPECT_EQ(FakeObject::s_live, 0);
  }
  void AppendAll() {
    for (FakeObject* object : objects_) ASSERT_EQ(enumerator_->Append(object->GetUnknown()), S_OK);
    ASSERT_EQ(enumerator_->Reset(), S_OK);
  }
  IEnumVdsObject* Enum() { return enumerator_; }

  CEnumerator* enumerator_ = nullptr;
  std::vector<FakeObject*> objects_;
};

TEST_F(EnumeratorTest, EmptyListGivesFalseAndNothingFetched) {
  IUnknown* out[2] = {};
  ULONG fetched = 7;
  EXPECT_EQ(Enum()->Next(2, out, &fetched), S_FALSE);
  EXPECT_EQ(fetched, 0u);
  fetched = 7;
  EXPECT_EQ(Enum()->Next(0, out, &fetched), S_FALSE);
  EXPECT_EQ(fetched, 0u);
  EXPECT_EQ(Enum()->Next(1, nullptr, &fetched), E_POINTER);
  EXPECT_EQ(Enum()->Next(1, out, nullptr), E_POINTER);
}

TEST_F(EnumeratorTest, NextHandsOutReferencesInOrderAndReportsShortReads) {
  AppendAll();
  EXPECT_EQ(objects_[0]->RefCount(), 2u);  // ours and the list's

  IUnknown* out[3] = {};
  ULONG fetched = 0;
  EXPECT_EQ(Enum()->Next(0, out, &fetched), S_OK);
  EXPECT_EQ(fetched, 0u);
  EXPECT_EQ(Enum()->Next(2, out, &fetched), S_OK);
  ASSERT_EQ(fetched, 2u);
  EXPECT_EQ(out[0], objects_[0]->GetUnknown());
  EXPECT_EQ(out[1], objects_[1]->GetUnknown());
  EXPECT_EQ(objects_[0]->RefCount(), 3u);
  EXPECT_EQ(Enum()->Next(2, out + 2, &fetched), S_FALSE);
  ASSERT_EQ(fetched, 1u);
  EXPECT_EQ(out[2], objects_[2]->GetUnknown());
  for (IUnknown* unknown : out) unknown->Release();
}

TEST_F(EnumeratorTest, SkipStopsAtTheEnd) {
  AppendAll();
  EXPECT_EQ(Enum()->Skip(0), S_OK);
  EXPECT_EQ(Enum()->Skip(3), S_OK);  // lands exactly on the end
  EXPECT_EQ(Enum()->Skip(1), S_FALSE);
  Enum()->Reset();
  EXPECT_EQ(Enum()->Skip(5), S_FALSE);
  IUnknown* out = nullptr;
  ULONG fetched = 0;
  EXPECT_EQ(Enum()->Next(1, &out, &fetched), S_FALSE);
  EXPECT_EQ(fetched, 0u);
}

TEST_F(EnumeratorTest, CloneStandsOnTheSameElementWithNoReference) {
  AppendAll();
  ASSERT_EQ(Enum()->Skip(1), S_OK);
  IEnumVdsObject* clone = nullptr;
  ASSERT_EQ(Enum()->Clone(&clone), S_OK);
  ASSERT_NE(clone, nullptr);
  // The clone goes out with a count of 0: the first AddRef gives 1.
  EXPECT_EQ(clone->AddRef(), 1u);
  IUnknown* out = nullptr;
  ULONG fetched = 0;
  EXPECT_EQ(clone->Next(1, &out, &fetched), S_OK);
  EXPECT_EQ(out, objects_[1]->GetUnknown());
  out->Release();
  EXPECT_EQ(objects_[1]->RefCount(), 3u);  // ours, the list's, the clone's
  clone->Release();
  EXPECT_EQ(objects_[1]->RefCount(), 2u);
  EXPECT_EQ(Enum()->Clone(nullptr), E_POINTER);
}

TEST_F(EnumeratorTest, CloneAtTheEndStaysAtTheEnd) {
  AppendAll();
  ASSERT_EQ(Enum()->Skip(3), S_OK);
  IEnumVdsObject* clone = nullptr;
  ASSERT_EQ(Enum()->Clone(&clone), S_OK);
  clone->AddRef();
  IUnknown* out = nullptr;
  ULONG fetched = 0;
  EXPECT_EQ(clone->Next(1, &out, &fetched), S_FALSE);
  EXPECT_EQ(fetched, 0u);
  clone->Release();
}

TEST_F(EnumeratorTest, AppendOfNullAddsNothingAndReleaseFreesElements) {
  EXPECT_EQ(enumerator_->Append(nullptr), E_POINTER);
  AppendAll();
  enumerator_->Release();
  enumerator_ = nullptr;
  for (FakeObject* object : objects_) EXPECT_EQ(object->RefCount(), 1u);
}

}  // namespace
