#include "platform/strings.h"

#include <gtest/gtest.h>

namespace {

TEST(WideStrings, Utf8AndUtf16RoundTrip) {
  std::u16string wide = u"Pool \u00c4\u4e2d\U0001F4BE";
  std::string utf8 = Utf16ToUtf8(wide);
  EXPECT_EQ(utf8, "Pool \xC3\x84\xE4\xB8\xAD\xF0\x9F\x92\xBE");
  EXPECT_EQ(Utf8ToUtf16(utf8), wide);
  EXPECT_EQ(Utf16ToUtf8(static_cast<LPCWSTR>(nullptr)), "");
}

TEST(WideStrings, MalformedInputBecomesReplacementCharacters) {
  EXPECT_EQ(Utf16ToUtf8(std::u16string(u"a") + char16_t(0xD800) + u"b"),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(Utf8ToUtf16("a\xFF"
                        "b"),
            u"a\uFFFDb");
  EXPECT_EQ(Utf8ToUtf16("\xE4\xB8"), u"\uFFFD");      // cut short at the end
  EXPECT_EQ(Utf8ToUtf16("\xC0\xAF"), u"\uFFFD");      // overlong
  EXPECT_EQ(Utf8ToUtf16("\xED\xA0\x80"), u"\uFFFD");  // encoded surrogate
}

TEST(WideStrings, BoundedCopyAlwaysTerminates) {
  WCHAR buffer[4] = {1, 1, 1, 1};
  EXPECT_EQ(WcsCopyBounded(buffer, 4, u"abcdef"), 3u);
  EXPECT_EQ(std::u16string(buffer), u"abc");
  EXPECT_EQ(WcsCopyBounded(buffer, 4, nullptr), 0u);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(WcsCopyBounded(buffer, 0, u"x"), 0u);
  EXPECT_EQ(WcsLen(u"abc"), 3u);
  EXPECT_EQ(WcsLen(nullptr), 0u);
}

TEST(WideStrings, NarrowKeepsTheLowByte) {
  EXPECT_EQ(NarrowLowByte(u"c:\\vds.debug"), "c:\\vds.debug");
  EXPECT_EQ(NarrowLowByte(u"\u0141x"), "\x41x");
}

}  // namespace
