#include "platform/guid.h"

#include <gtest/gtest.h>

#include <set>

namespace {

constexpr GUID kProvider = {
    0x6D3E9A41, 0x0C7B, 0x4E52, {0xA1, 0xF6, 0x2B, 0x9C, 0x7E, 0x5D, 0x4A, 0x10}};

TEST(Guid, TextFormIsBracedUpperCaseAndReadsBack) {
  EXPECT_EQ(GuidToString(kProvider), "{6D3E9A41-0C7B-4E52-A1F6-2B9C7E5D4A10}");
  GUID read = GUID_NULL;
  ASSERT_TRUE(GuidFromString("{6d3e9a41-0c7b-4e52-a1f6-2b9c7e5d4a10}", &read));
  EXPECT_EQ(read, kProvider);
  ASSERT_TRUE(GuidFromString("6D3E9A41-0C7B-4E52-A1F6-2B9C7E5D4A10", &read));
  EXPECT_EQ(read, kProvider);
}

TEST(Guid, MalformedTextIsRefusedAndLeavesTheOutputAlone) {
  for (const char* bad :
       {"", "{", "{6D3E9A41-0C7B-4E52-A1F6-2B9C7E5D4A10", "{6D3E9A41-0C7B-4E52-A1F62B9C7E5D4A10}",
        "6D3E9A41-0C7B-4E52-A1F6-2B9C7E5D4A1G", "{6D3E9A41-0C7B-4E52-A1F6-2B9C7E5D4A10}x",
        "6D3E9A41"}) {
    GUID out = kProvider;
    EXPECT_FALSE(GuidFromString(bad, &out)) << bad;
    EXPECT_EQ(out, kProvider) << bad;
  }
  EXPECT_FALSE(GuidFromString(nullptr, nullptr));
}

TEST(Guid, OrderComparesTheBytesInMemory) {
  // Data1 lies little-endian in memory, so 0x00000100 sorts before 0x00000001.
  GUID a = GUID_NULL, b = GUID_NULL;
  a.Data1 = 0x00000100;
  b.Data1 = 0x00000001;
  EXPECT_TRUE(a < b);
  EXPECT_FALSE(b < a);
  EXPECT_FALSE(a < a);
  GUID c = GUID_NULL;
  c.Data4[7] = 1;
  EXPECT_TRUE(GUID_NULL < c);
}

TEST(Guid, CoCreateGuidGivesDistinctVersion4Guids) {
  std::set<GUID> seen;
  for (int i = 0; i < 1000; ++i) {
    GUID guid;
    ASSERT_EQ(CoCreateGuid(&guid), S_OK);
    EXPECT_EQ(guid.Data3 >> 12, 4);
    EXPECT_EQ(guid.Data4[0] & 0xC0, 0x80);
    seen.insert(guid);
  }
  EXPECT_EQ(seen.size(), 1000u);
  EXPECT_EQ(CoCreateGuid(nullptr), E_POINTER);
}

}  // namespace
