#include "platform/guid.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
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

TEST(Guid, OrderAgreesWithMemcmpOnEveryByte) {
  // Pairs that differ in one byte only, at each position, both ways, plus random pairs that
  // share a prefix of random length.
  for (size_t at = 0; at < sizeof(GUID); ++at) {
    for (const auto& [low, high] :
         {std::pair{0x00, 0x01}, std::pair{0x7F, 0x80}, std::pair{0x00, 0xFF}}) {
      GUID a = kProvider, b = kProvider;
      reinterpret_cast<uint8_t*>(&a)[at] = static_cast<uint8_t>(low);
      reinterpret_cast<uint8_t*>(&b)[at] = static_cast<uint8_t>(high);
      EXPECT_TRUE(a < b) << at;
      EXPECT_FALSE(b < a) << at;
    }
  }
  std::mt19937 random(7);
  for (int i = 0; i < 20000; ++i) {
    uint8_t bytes[2][sizeof(GUID)];
    for (auto& guid : bytes) {
      for (uint8_t& byte : guid) byte = static_cast<uint8_t>(random());
    }
    std::memcpy(bytes[1], bytes[0], random() % (sizeof(GUID) + 1));
    GUID a, b;
    std::memcpy(&a, bytes[0], sizeof a);
    std::memcpy(&b, bytes[1], sizeof b);
    const int order = std::memcmp(&a, &b, sizeof(GUID));
    ASSERT_EQ(a < b, order < 0) << GuidToString(a) << " " << GuidToString(b);
    ASSERT_EQ(b<a, order> 0) << GuidToString(a) << " " << GuidToString(b);
  }
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
