#include "tools/vdsctl/table.h"

#include <gtest/gtest.h>

namespace vdsctl {
namespace {

TEST(HumanSize, PicksTheLargestUnitThatKeepsOneOrMore) {
  EXPECT_EQ(HumanSize(0), "0 B");
  EXPECT_EQ(HumanSize(1023), "1023 B");
  EXPECT_EQ(HumanSize(1024), "1 KB");
  EXPECT_EQ(HumanSize(1536), "1.5 KB");
  EXPECT_EQ(HumanSize(1048576), "1 MB");
  EXPECT_EQ(HumanSize(68ull << 30), "68 GB");
  EXPECT_EQ(HumanSize((279ull << 30) + (400ull << 20)), "279 GB");
  EXPECT_EQ(HumanSize(2ull << 40), "2 TB");
  // Terabytes beyond the last unit.
  EXPECT_EQ(HumanSize(4096ull << 40), "4096 TB");
  EXPECT_EQ(HumanSize(UINT64_MAX), "16777216 TB");
}

TEST(Table, AlignsColumnsUnderADashedRuleAndMarksTheSelection) {
  Table table({{"Drive ###"}, {"Status"}, {"Size", Align::kRight}});
  table.AddRow({"Drive 0", "Online", "68 GB"});
  table.AddRow({"Drive 10", "Failed", "1.5 TB"}, true);
  EXPECT_EQ(table.Render(),
            "  Drive ###  Status    Size\n"
            "  ---------  ------  ------\n"
            "  Drive 0    Online   68 GB\n"
            "* Drive 10   Failed  1.5 TB\n");
}

TEST(Table, WidensToTheLongestCellAndPadsMissingCells) {
  Table table({{"Name"}, {"Flags"}});
  table.AddRow({"a rather long name"});
  table.AddRow({"x", "Spare", "dropped"});
  EXPECT_EQ(table.Render(),
            "  Name                Flags\n"
            "  ------------------  -----\n"
            "  a rather long name\n"
            "  x                   Spare\n");
}

TEST(Table, WithoutRowsPrintsTheHeaderOnly) {
  Table table({{"LUN ###"}});
  EXPECT_EQ(table.Render(), "  LUN ###\n  -------\n");
}

}  // namespace
}  // namespace vdsctl
