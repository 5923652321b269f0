#include "tools/vdsctl/script_text.h"

#include <gtest/gtest.h>

namespace vdsctl {
namespace {

TEST(ScriptText, EveryEncodingAnEditorSaves) {
  std::string text;
  ASSERT_TRUE(DecodeScriptText("list luns\n", &text));
  EXPECT_EQ(text, "list luns\n");
  ASSERT_TRUE(DecodeScriptText("\xEF\xBB\xBFlist\n", &text));
  EXPECT_EQ(text, "list\n");
  // "é\n" in UTF-16, both byte orders.
  ASSERT_TRUE(DecodeScriptText(std::string("\xFF\xFE\xE9\x00\n\x00", 6), &text));
  EXPECT_EQ(text, "\xC3\xA9\n");
  ASSERT_TRUE(DecodeScriptText(std::string("\xFE\xFF\x00\xE9\x00\n", 6), &text));
  EXPECT_EQ(text, "\xC3\xA9\n");
  EXPECT_FALSE(DecodeScriptText("\xFF\xFEx", &text));
}

}  // namespace
}  // namespace vdsctl
