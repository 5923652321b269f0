// The readers of the KEY=VALUE words: the bounds they hold and the lists they refuse.
#include "tools/vdsctl/words.h"

#include <gtest/gtest.h>

#include <limits>

namespace vdsctl {
namespace {

TEST(Words, NumbersStayWithinTheirLimit) {
  ULONGLONG value = 0;
  EXPECT_TRUE(ParseNumber("0x1F", 31, &value));
  EXPECT_EQ(value, 31u);
  EXPECT_FALSE(ParseNumber("9", 5, &value)) << "a digit above a small limit";
  EXPECT_FALSE(ParseNumber("0x20", 31, &value));
  EXPECT_TRUE(ParseNumber("18446744073709551615", std::numeric_limits<ULONGLONG>::max(), &value));
  EXPECT_FALSE(ParseNumber("18446744073709551616", std::numeric_limits<ULONGLONG>::max(), &value));
  for (const char* bad : {"", "0x", "-1", "+1", "1 ", "0x1g"}) {
    EXPECT_FALSE(ParseNumber(bad, 100, &value)) << bad;
  }
}

TEST(Words, DriveListsAndBooleans) {
  std::vector<int> drives;
  std::string error;
  EXPECT_TRUE(ParseDrives("3,0x4,5", &drives, &error)) << error;
  EXPECT_EQ(drives, (std::vector<int>{3, 4, 5}));
  for (const char* bad : {"", "1,,2", "1,", "2147483648"}) {
    drives.clear();
    EXPECT_FALSE(ParseDrives(bad, &drives, &error)) << bad;
  }
  drives.clear();
  EXPECT_FALSE(ParseDrives("1,2,1", &drives, &error));
  EXPECT_EQ(error, "Drive 1 is named twice in drives=.");
  bool flag = false;
  EXPECT_TRUE(ParseBool("YES", &flag) && flag);
  EXPECT_TRUE(ParseBool("0", &flag) && !flag);
  EXPECT_FALSE(ParseBool("maybe", &flag));
}

}  // namespace
}  // namespace vdsctl
