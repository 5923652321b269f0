#include "provisioning/hints.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/vds.h"

namespace {

TEST(Hints, QueryNamesTheLevelAndTheRole) {
  LunHintFacts facts;
  facts.stripeSize = 64 * 1024;
  facts.raidLevel = VELA_RAID5;
  facts.cache.readAhead = 1;
  facts.cache.writePolicy = 1;
  VDS_HINTS hints = QueryHintsFor(facts);
  EXPECT_EQ(hints.ullHintMask, 0x800000000000010eULL);
  EXPECT_TRUE(hints.bMostlyReads);
  EXPECT_EQ(hints.ulStripeSize, 64u * 1024);
  EXPECT_EQ(hints.ulOptimalWriteAlignment, 64u * 1024);
  EXPECT_EQ(hints.ulMaximumDriveCount, 128u);
  EXPECT_TRUE(hints.bOptimizeForSequentialReads);
  EXPECT_FALSE(hints.bWriteThroughCachingEnabled);
  EXPECT_TRUE(hints.bIsYankable);
  facts.raidLevel = VELA_RAID50;
  EXPECT_EQ(QueryHintsFor(facts).ullHintMask, 0x400000000000010eULL);
  facts.raidLevel = VELA_RAID3;
  EXPECT_EQ(QueryHintsFor(facts).ullHintMask, 0x200000000000010eULL);
  facts.raidLevel = VELA_RAID10;
  facts.cache.writePolicy = 0;
  hints = QueryHintsFor(facts);
  EXPECT_EQ(hints.ullHintMask, 0x10cULL);
  EXPECT_FALSE(hints.bMostlyReads);
  EXPECT_TRUE(hints.bWriteThroughCachingEnabled);
  // The role's bit, and the next one up for dependants.
  const std::pair<uint8_t, bool> roles[] = {
      {1, false}, {1, true}, {2, false}, {2, true}, {3, false}};
  const ULONGLONG masks[] = {1ULL << 56, 3ULL << 56, 1ULL << 57, 3ULL << 57, 1ULL << 58};
  for (size_t i = 0; i < 5; ++i) {
    facts.partType = roles[i].first;
    facts.hasDependants = roles[i].second;
    EXPECT_EQ(QueryHintsFor(facts).ullHintMask & (7ULL << 56), masks[i]) << i;
  }
}

TEST(Hints, Query2AddsCacheAndUtilityBooleans) {
  LunHintFacts facts;
  facts.cache.writePolicy = 1;
  facts.utility = 7;
  VDS_HINTS2 hints = QueryHints2For(facts);
  EXPECT_EQ(hints.ullHintMask & 0xF800, 0x800u | 0x1000 | 0x2000 | 0x4000);
  EXPECT_TRUE(hints.bUseMirroredCache && hints.bWriteCachingEnabled && hints.bReadCachingEnabled &&
              hints.bMediaScanEnabled);
  EXPECT_FALSE(hints.bConsistencyCheckEnabled);
  facts.cache.writePolicy = 0;
  facts.utility = 6;
  hints = QueryHints2For(facts);
  EXPECT_EQ(hints.ullHintMask & 0xF800, 0x1000u | 0x8000);
  EXPECT_FALSE(hints.bWriteCachingEnabled);
  EXPECT_TRUE(hints.bConsistencyCheckEnabled);
}

TEST(Hints, ApplyRefusals) {
  EXPECT_EQ(CheckApplyHints(VDS_HINTS{}), S_OK);
  for (ULONGLONG bit : {0, 5, 7, 8}) {
    VDS_HINTS hints{};
    hints.ullHintMask = 1ULL << bit;
    EXPECT_EQ(CheckApplyHints(hints), VDS_E_NOT_SUPPORTED) << bit;
  }
  VDS_HINTS hints{};
  hints.ullHintMask = 0xC;
  hints.bOptimizeForSequentialReads = TRUE;
  EXPECT_EQ(CheckApplyHints(hints), VDS_E_NOT_SUPPORTED);
  hints.bOptimizeForSequentialWrites = TRUE;
  EXPECT_EQ(CheckApplyHints(hints), S_OK);
  // Sizes a LUN can't change, even without their mask bits.
  hints = VDS_HINTS{};
  hints.ulStripeSize = 65536;
  EXPECT_EQ(CheckApplyHints(hints), VDS_E_NOT_SUPPORTED);
  hints = VDS_HINTS{};
  hints.sRebuildPriority = 1;
  EXPECT_EQ(CheckApplyHints(hints), VDS_E_NOT_SUPPORTED);
}

TEST(Hints, CacheParametersFromTheRequest) {
  cacheParams current{};
  current.word0 = 0x01020304;
  current.writePolicy = 1;
  current.readAhead = 0;
  VDS_HINTS hints{};
  hints.ullHintMask = 1 << 6;
  hints.bWriteThroughCachingEnabled = TRUE;
  cacheParams next = ApplyCacheHints(current, hints);
  EXPECT_EQ(next.writePolicy, 0);
  EXPECT_EQ(next.readAhead, 0);  // bit 6 alone leaves read-ahead
  EXPECT_EQ(next.word0, 0x01020304u);
  hints.ullHintMask = 1 << 2;
  hints.bOptimizeForSequentialReads = TRUE;
  next = ApplyCacheHints(current, hints);
  EXPECT_EQ(next.writePolicy, 1);
  EXPECT_EQ(next.readAhead, 1);
}

TEST(Hints, ConversionChecksAndResults) {
  EXPECT_EQ(CheckConvertToMaster(0), S_OK);
  for (uint8_t type : {1, 2, 3}) EXPECT_EQ(CheckConvertToMaster(type), VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(CheckConvertToStandard(2, false), S_OK);
  EXPECT_EQ(CheckConvertToStandard(2, true), VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(CheckConvertToStandard(3, false), VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(ConvertResult(true, 215), VDS_E_PARTITION_LIMIT_REACHED);
  EXPECT_EQ(ConvertResult(false, 215), VDS_E_INTERNAL_ERROR);
  EXPECT_EQ(ConvertResult(true, 0x29), VDS_E_INTERNAL_ERROR);
}

TEST(Hints, LunNames) {
  EXPECT_EQ(LunNameFromRequest(u"abcdefghijklmnopqrstuvwxy"), u"abcdefghijklmnopqrst");
  EXPECT_TRUE(LunNameTaken(u"db", {u"logs", u"db"}));
  EXPECT_FALSE(LunNameTaken(u"db", {u"DB"}));
  // UTF-8, never cut inside a character.
  EXPECT_EQ(NarrowName(u"ab\u00e9", 31), "ab\xc3\xa9");
  EXPECT_EQ(NarrowName(u"ab\u00e9", 3), "ab");
  EXPECT_EQ(NarrowName(u"\U0001F600x", 4), "\xf0\x9f\x98\x80");
  EXPECT_EQ(NarrowName(std::u16string(20, u'\u20ac'), 31).size(), 30u);
}

}  // namespace
