#include "platform/winformat.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/wintypes.h"

namespace {

std::string Format(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = WinVFormat(format, args);
  va_end(args);
  return text;
}

TEST(WinFormat, SixtyFourBitConversions) {
  LONGLONG big = -1234567890123LL;
  ULONGLONG huge = 0xFEDCBA9876543210ULL;
  EXPECT_EQ(Format("%I64d|%I64u|%I64x|%I64X|%016I64x", big, huge, huge, huge, ULONGLONG{255}),
            "-1234567890123|18364758544493064720|fedcba9876543210|FEDCBA9876543210|"
            "00000000000000ff");
  // An argument after a 64-bit one must still be read from its own slot.
  EXPECT_EQ(Format("%I64d %d %s", LONGLONG{1} << 40, 7, "end"), "1099511627776 7 end");
}

TEST(WinFormat, WideStringsAndCharacters) {
  const WCHAR* name = u"VDS_LUN_\u00e9\U0001F600";
  EXPECT_EQ(Format("[%ls] [%S] [%ws]", name, u"two", u"three"),
            "[VDS_LUN_\xC3\xA9\xF0\x9F\x98\x80] [two] [three]");
  EXPECT_EQ(Format("%-6ls|%6S|", u"ab", u"cd"), "ab    |    cd|");
  EXPECT_EQ(Format("%hs %s", "narrow", "plain"), "narrow plain");
  EXPECT_EQ(Format("%lc%C%c", WCHAR{u'x'}, WCHAR{u'\u00fc'}, 'z'), "x\xC3\xBCz");
  EXPECT_EQ(Format("%ls|%s", static_cast<const WCHAR*>(nullptr), static_cast<const char*>(nullptr)),
            "(null)|(null)");
}

TEST(WinFormat, WindowsLongIsThirtyTwoBits) {
  LONG negative = -5;
  ULONG word = 0xFFFFFFFFu;
  EXPECT_EQ(Format("%ld %lu %lx %d", negative, word, word, 9), "-5 4294967295 ffffffff 9");
}

TEST(WinFormat, CConversionsPassThrough) {
  EXPECT_EQ(Format("%04d/%04d %5.2f %-3c| %% %*d %.*s %p", 12, 345, 3.14159, 'q', 4, 7, 2, "abc",
                   nullptr),
            std::string("0012/0345  3.14 q  | %    7 ab ") + "(nil)");
  EXPECT_EQ(Format("%hhu %hd %zu %lld", 300, 70000, size_t{9}, -1LL), "44 4464 9 -1");
  EXPECT_EQ(Format("100%"), "100%");
  EXPECT_EQ(Format("%2$s %1$s", "world", "hello"), "hello world");
}

TEST(WinFormat, BoundedFormattingCutsAndTerminates) {
  char buffer[8];
  EXPECT_EQ(WinSnprintf(buffer, sizeof(buffer), "%s-%I64u", "abcdef", ULONGLONG{123}), 7u);
  EXPECT_STREQ(buffer, "abcdef-");
  EXPECT_EQ(WinSnprintf(buffer, 1, "%s", "x"), 0u);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(WinSnprintf(nullptr, 0, "%s", "x"), 0u);
  std::string large(5000, 'y');
  EXPECT_EQ(Format("%s!", large.c_str()), large + "!");
}

}  // namespace
