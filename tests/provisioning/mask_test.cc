#include "provisioning/mask.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

constexpr char kA[] = "20000000AABBCC01";
constexpr char kB[] = "20000000AABBCC02";
constexpr char kC[] = "20000000AABBCC03";

UnmaskingList List(const std::string& text) {
  UnmaskingList list;
  EXPECT_TRUE(ParseUnmaskingList(text, &list)) << text;
  return list;
}

TEST(Mask, ListFormat) {
  UnmaskingList list;
  ASSERT_TRUE(ParseUnmaskingList("20000000aabbccdd;20000000AABBCCDD", &list));
  EXPECT_EQ(list.form, MaskForm::kHosts);
  EXPECT_EQ(list.hosts, std::vector<std::string>{"20000000AABBCCDD"});
  EXPECT_TRUE(ParseUnmaskingList("*", &list));
  EXPECT_EQ(list.form, MaskForm::kAll);
  EXPECT_TRUE(ParseUnmaskingList("", &list));
  EXPECT_EQ(list.form, MaskForm::kNone);
  for (const char* bad :
       {"20000000AABBCCD", "20000000AABBCCDG", "20000000AABBCCDD;", ";20000000AABBCCDD",
        "20000000AABBCCDD;;20000000AABBCCDE", "*;*", "20000000AABBCCDDD", " 20000000AABBCCD"}) {
    EXPECT_FALSE(ParseUnmaskingList(bad, &list)) << bad;
  }
}

TEST(Mask, PlansOfChanges) {
  const std::string ab = std::string(kA) + ";" + kB;
  // Same hosts in another order: nothing is sent.
  EXPECT_TRUE(PlanMaskChange(List(ab), List(std::string(kB) + ";" + kA)).unchanged);
  // A pure addition sends only the newcomer and keeps the stored order in front.
  MaskPlan add = PlanMaskChange(List(kA), List(std::string(kB) + ";" + kA));
  EXPECT_TRUE(add.onlyAdding);
  EXPECT_TRUE(add.removeEach.empty());
  EXPECT_FALSE(add.removeAll);
  EXPECT_EQ(add.add, std::vector<std::string>{kB});
  EXPECT_EQ(MaskResult(List(kA), add.onlyAdding, add.add), ab);
  // A;B to A;C: A and B off, then the view for all, then A and C on.
  MaskPlan change = PlanMaskChange(List(ab), List(std::string(kA) + ";" + kC));
  EXPECT_FALSE(change.onlyAdding);
  EXPECT_EQ(change.removeEach, (std::vector<std::string>{kA, kB}));
  EXPECT_TRUE(change.removeAll);
  EXPECT_FALSE(change.clearedOnly);
  EXPECT_EQ(change.add, (std::vector<std::string>{kA, kC}));
  EXPECT_EQ(MaskResult(List(ab), change.onlyAdding, change.add), std::string(kA) + ";" + kC);
  // "*" to a host removes the view for all first.
  MaskPlan fromAll = PlanMaskChange(List("*"), List(kA));
  EXPECT_TRUE(fromAll.removeEach.empty());
  EXPECT_TRUE(fromAll.removeAll);
  EXPECT_EQ(fromAll.add, std::vector<std::string>{kA});
  // Hosts to nobody: removals only.
  MaskPlan clear = PlanMaskChange(List(ab), List(""));
  EXPECT_TRUE(clear.clearedOnly);
  EXPECT_EQ(clear.removeEach.size(), 2u);
  // Nothing to nothing still goes on (the unit number is worked out).
  MaskPlan empty = PlanMaskChange(List(""), List(""));
  EXPECT_FALSE(empty.unchanged);
  EXPECT_FALSE(empty.removeAll);
  EXPECT_TRUE(empty.add.empty());
}

TEST(Mask, UnitNumbers) {
  auto view = std::make_unique<partitionView>();
  std::vector<uint32_t> used;
  ViewUnitsInUse(*view, &used);
  EXPECT_TRUE(used.empty()) << "hidden partition";
  view->reserved_12[2] = 0xC0;  // port field: mapped for all at LUN 0
  ViewUnitsInUse(*view, &used);
  EXPECT_EQ(used, std::vector<uint32_t>{0});
  view->lun = 9;
  ViewUnitsInUse(*view, &used);
  EXPECT_EQ(used, (std::vector<uint32_t>{0, 9}));

  view->numElements = 2;
  uint8_t wwn[8];
  WwnBytes(kB, wwn);
  WwnBytes(kA, view->hostWwpn[0]);
  WwnBytes(kB, view->hostWwpn[1]);
  view->hostMap[1].lun = 4;
  std::vector<uint32_t> forB;
  ViewUnitsForWwn(*view, wwn, &forB);
  EXPECT_EQ(forB, std::vector<uint32_t>{4});

  EXPECT_EQ(FirstFreeUnit({5, 6}, 5, 128), 7);
  EXPECT_EQ(FirstFreeUnit({}, 1, 1), -1);
  EXPECT_EQ(FirstFreeUnit({1, 2, 3}, 1, 4), -1);
}

}  // namespace
