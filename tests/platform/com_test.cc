#include "platform/com.h"

#include <gtest/gtest.h>

#include "platform/hresult.h"

namespace {

inline constexpr IID IID_IFirst = {
    0x11111111, 0x1111, 0x1111, {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11}};
inline constexpr IID IID_ISecond = {
    0x22222222, 0x2222, 0x2222, {0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22}};
inline constexpr IID IID_IOther = {
    0x33333333, 0x3333, 0x3333, {0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33}};

struct IFirst : IUnknown {
  virtual int First() = 0;
};
struct ISecond : IUnknown {
  virtual int Second() = 0;
};

}  // namespace

VELA_DECLARE_INTERFACE_ID(IFirst, IID_IFirst)
VELA_DECLARE_INTERFACE_ID(ISecond, IID_ISecond)

namespace {

class CBoth : public ComObject<IFirst, ISecond> {
 public:
  explicit CBoth(bool* destroyed) : m_destroyed(destroyed) {}
  int First() override { return 1; }
  int Second() override { return 2; }

 private:
  ~CBoth() override { *m_destroyed = true; }
  bool* m_destroyed;
};

TEST(ComObject, QueryInterfaceFindsEachInterfaceWithOneIdentity) {
  bool destroyed = false;
  LONG locksBefore = ModuleLockCount();
  auto* object = new CBoth(&destroyed);
  EXPECT_EQ(ModuleLockCount(), locksBefore + 1);
  object->AddRef();

  void* raw = nullptr;
  ASSERT_EQ(object->QueryInterface(IID_ISecond, &raw), S_OK);
  auto* second = static_cast<ISecond*>(raw);
  EXPECT_EQ(second->Second(), 2);

  ASSERT_EQ(second->QueryInterface(IID_IFirst, &raw), S_OK);
  auto* first = static_cast<IFirst*>(raw);
  EXPECT_EQ(first->First(), 1);

  void* unknownA = nullptr;
  void* unknownB = nullptr;
  ASSERT_EQ(first->QueryInterface(IID_IUnknown, &unknownA), S_OK);
  ASSERT_EQ(second->QueryInterface(IID_IUnknown, &unknownB), S_OK);
  EXPECT_EQ(unknownA, unknownB);
  EXPECT_EQ(unknownA, object->GetUnknown());

  raw = &raw;
  EXPECT_EQ(object->QueryInterface(IID_IOther, &raw), E_NOINTERFACE);
  EXPECT_EQ(raw, nullptr);
  EXPECT_EQ(object->QueryInterface(IID_IFirst, nullptr), E_POINTER);

  // One reference from AddRef plus four from the successful queries.
  EXPECT_EQ(static_cast<IUnknown*>(unknownA)->Release(), 4u);
  EXPECT_EQ(static_cast<IUnknown*>(unknownB)->Release(), 3u);
  EXPECT_EQ(first->Release(), 2u);
  EXPECT_EQ(second->Release(), 1u);
  EXPECT_FALSE(destroyed);
  EXPECT_EQ(object->Release(), 0u);
  EXPECT_TRUE(destroyed);
  EXPECT_EQ(ModuleLockCount(), locksBefore);
}

TEST(ComPtr, HoldsExactlyOneReference) {
  bool destroyed = false;
  auto* object = new CBoth(&destroyed);
  {
    ComPtr<CBoth> a(object);
    ComPtr<CBoth> b = a;
    ComPtr<CBoth> c = std::move(b);
    EXPECT_FALSE(b);
    EXPECT_EQ(c->First(), 1);
    EXPECT_EQ(object->AddRef(), 3u);
    object->Release();
    CBoth* detached = c.Detach();
    ComPtr<CBoth> d;
    d.Attach(detached);
  }
  EXPECT_TRUE(destroyed);
}

TEST(ComPtr, ReleaseAndGetAddressOfDropsTheOldObject) {
  bool firstGone = false, secondGone = false;
  ComPtr<CBoth> holder(new CBoth(&firstGone));
  CBoth** slot = holder.ReleaseAndGetAddressOf();
  EXPECT_TRUE(firstGone);
  *slot = new CBoth(&secondGone);
  (*slot)->AddRef();  // as a creating out-parameter function hands over its reference
  holder.Reset();
  EXPECT_TRUE(secondGone);
}

TEST(TaskAllocator, ZeroBytesStillGivesABlock) {
  void* block = CoTaskMemAlloc(0);
  EXPECT_NE(block, nullptr);
  CoTaskMemFree(block);
  CoTaskMemFree(nullptr);
}

TEST(HResult, NamesAndWin32Conversion) {
  EXPECT_STREQ(HResultName(VDS_E_OBJECT_NOT_FOUND), "VDS_E_OBJECT_NOT_FOUND");
  EXPECT_STREQ(HResultName(S_FALSE), "S_FALSE");
  EXPECT_EQ(HResultName(MakeHResult(0x80041234u)), nullptr);
  EXPECT_EQ(HRESULT_FROM_WIN32(2), MakeHResult(0x80070002u));
  EXPECT_EQ(HRESULT_FROM_WIN32(0), S_OK);
  EXPECT_TRUE(SUCCEEDED(VDS_S_NAME_TRUNCATED));
  EXPECT_TRUE(FAILED(E_UNEXPECTED));
}

}  // namespace
