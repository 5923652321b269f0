#include "diag/debug_log.h"

#include <unistd.h>

#include <regex>
#include <thread>

#include "platform/system.h"
#include "tests/diag/debug_log_fixture.h"

namespace {

std::string Prefix() {
  char text[32];
  std::snprintf(text, sizeof(text), "[%04d/%04d] ", static_cast<int>(GetCurrentProcessId()),
                static_cast<int>(GetCurrentThreadId()));
  return text;
}

TEST_F(DebugLogTest, NoDebugKeyMeansNoFileAndNoFailure) {
  SetRegistryFile(m_dir.Write("registry.reg", "Windows Registry Editor Version 5.00\n"));
  Debug();
  DebugPrintf("nobody reads this %d\n", 1);
  DumpBytes("nothing", "abc", 3);
  DebugClose();
  EXPECT_EQ(GetDebugLevel(), 1u);  // ToFile defaults to 1
  EXPECT_FALSE(access(LogPath().c_str(), F_OK) == 0);
}

TEST_F(DebugLogTest, OpenWritesTheBannerAndTheConfiguration) {
  Configure(FileNameValue() + "\"MaxFileLength\"=dword:00100000\n\"DebugLevel\"=dword:00000005");
  Debug();
  EXPECT_EQ(GetDebugLevel(), 5u);
  Debug();  // a second open only says so
  DebugClose();
  DebugPrintf("still open\n");
  DebugClose();
  DebugPrintf("closed now\n");

  std::vector<std::string> lines = LogLines();
  ASSERT_EQ(lines.size(), 12u);
  for (const std::string& line : lines) EXPECT_TRUE(Stamped(line)) << line;
  EXPECT_EQ(Unstamped(lines[0]), std::string(80, '#'));
  EXPECT_TRUE(std::regex_match(Unstamped(lines[1]),
                               std::regex("# Debug file opened on [A-Z][a-z]{2} [0-9]{2}, [0-9]{4} "
                                          "[0-9]{2}:[0-9]{2}:[0-9]{2}\\.")))
      << lines[1];
  EXPECT_EQ(Unstamped(lines[2]), "Current debug configuration:");
  EXPECT_EQ(Unstamped(lines[3]), "    FileName=" + LogPath());
  EXPECT_EQ(Unstamped(lines[4]), "    ToFile=1");
  EXPECT_EQ(Unstamped(lines[5]), "    ToDebugger=0");
  EXPECT_EQ(Unstamped(lines[6]), "    TimeStamp=1");
  EXPECT_EQ(Unstamped(lines[7]), "    ForceFlush=1");
  EXPECT_EQ(Unstamped(lines[8]), "    MaxFileLength=1048576");
  EXPECT_EQ(Unstamped(lines[9]), "    DebugLevel=5");
  EXPECT_EQ(Unstamped(lines[10]), "Debug File already opened.");
  EXPECT_EQ(Unstamped(lines[11]), Prefix() + "still open");
}

TEST_F(DebugLogTest, LongFileIsTruncatedAtOpen) {
  m_dir.Write("vds.debug", std::string(5000, 'x') + "\n");
  Configure(FileNameValue() + "\"MaxFileLength\"=dword:000003e8");
  Debug();
  DebugClose();
  std::vector<std::string> lines = LogLines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(Unstamped(lines[0]), "Truncated debug file, length was 5001");
  EXPECT_EQ(Log().find("xxx"), std::string::npos);
}

TEST_F(DebugLogTest, TruncationWaitsForTheHundredthWrite) {
  Configure(FileNameValue() + "\"MaxFileLength\"=dword:000007d0\n\"TimeStamp\"=dword:0");
  Debug();
  std::string message(40, 'm');
  for (int i = 1; i <= 99; ++i) DebugPrintLine("%s %03d\n", message.c_str(), i);
  EXPECT_EQ(Log().find("Truncated"), std::string::npos);
  EXPECT_GT(Log().size(), 2000u);
  size_t before = Log().size();

  DebugPrintLine("%s %03d\n", message.c_str(), 100);
  DebugClose();
  std::vector<std::string> lines = LogLines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "Truncated debug file, length was " + std::to_string(before));
  EXPECT_EQ(lines[1], message + " 100");
}

// Every line gets a time stamp, only the first line of a call the prefix, and a call that goes on
// a line gets neither the stamp nor the line's start.
TEST_F(DebugLogTest, LinesAreStampedAtTheirStartsWithOnePrefix) {
  Configure(FileNameValue());
  Debug();
  size_t start = LogLines().size();
  DebugPrintf("first\nsecond %I64d %ls\n", LONGLONG{5497558138880}, u"P\u00fcl");
  DebugPrintf("part one, ");
  DebugPrintf("part two\n");
  DebugClose();
  std::vector<std::string> lines = LogLines();
  ASSERT_EQ(lines.size(), start + 3);
  for (size_t i = start; i < lines.size(); ++i) EXPECT_TRUE(Stamped(lines[i])) << lines[i];
  EXPECT_EQ(Unstamped(lines[start]), Prefix() + "first");
  EXPECT_EQ(Unstamped(lines[start + 1]), "second 5497558138880 P\xC3\xBCl");
  EXPECT_EQ(Unstamped(lines[start + 2]), Prefix() + "part one, " + Prefix() + "part two");
  EXPECT_FALSE(Stamped(Unstamped(lines[start + 2])));
}

TEST_F(DebugLogTest, WrongTypedValuesKeepTheirDefaults) {
  Configure(FileNameValue() +
            "\"ToFile\"=\"0\"\n"               // a string, not a DWORD: ToFile stays 1
            "\"TimeStamp\"=hex(4):00,00\n"     // a DWORD of two bytes: TimeStamp stays 1
            "\"ForceFlush\"=dword:00000007\n"  // any non-zero counts as 1
            "\"DebugLevel\"=\"9\"");           // wrong type: default from ToFile
  Debug();
  EXPECT_EQ(GetDebugLevel(), 1u);
  DebugPrintf("written\n");
  DebugClose();
  std::vector<std::string> lines = LogLines();
  ASSERT_FALSE(lines.empty());
  EXPECT_TRUE(Stamped(lines.back()));
  EXPECT_EQ(Unstamped(lines.back()), Prefix() + "written");
  EXPECT_NE(Log().find("    ForceFlush=1\n"), std::string::npos);
}

TEST_F(DebugLogTest, MessagesAreCutAtTheBufferSize) {
  Configure(FileNameValue() + "\"TimeStamp\"=dword:0");
  Debug();
  std::string huge(3000, 'h');
  DebugPrintf("%s", huge.c_str());
  DebugPrintf("\n");
  DebugClose();
  std::string line = LogLines().back();
  EXPECT_EQ(line.size(), 999u + Prefix().size());  // 999 of the 1000 bytes, then our next prefix
}

TEST_F(DebugLogTest, DumpBytesWritesHexAndText) {
  Configure(FileNameValue() + "\"TimeStamp\"=dword:0");
  Debug();
  const uint8_t bytes[20] = {'V', 'e', 'l', 'a', 0x00, 0x20, 0x21, 0x7E, 0x7F, 0xFF,
                             '0', '1', '2', '3', '4',  '5',  'a',  'b',  'c',  'd'};
  DumpBytes("record", bytes, sizeof(bytes));
  DumpBytes("  >", bytes, 2);
  DebugClose();
  std::vector<std::string> lines = LogLines();
  ASSERT_GE(lines.size(), 4u);
  size_t n = lines.size();
  EXPECT_EQ(lines[n - 4], Prefix() + "====== record ====== 20");
  EXPECT_EQ(lines[n - 3], Prefix() +
                              "56 65 6C 61 00 20 21 7E 7F FF 30 31 32 33 34 35 "
                              "Vela..!~..012345");
  EXPECT_EQ(lines[n - 2], Prefix() + "61 62 63 64 " + std::string(12 * 3, ' ') + "abcd");
  EXPECT_EQ(lines[n - 1], Prefix() + "  >56 65 " + std::string(14 * 3, ' ') + "Ve");
}

// While the log writes nowhere its calls are not formatted, yet each one (and each line of a
// dump) still counts towards the next reading of the configuration.
TEST_F(DebugLogTest, LogTurnedBackOnWritesAgainAtTheNextHundredth) {
  const std::string on = FileNameValue() + "\"TimeStamp\"=dword:0";
  Configure(on);
  Debug();
  Configure(on + "\n\"ToFile\"=dword:0");
  for (int i = 1; i <= 147; ++i) DebugPrintf("quiet %d\n", i);
  EXPECT_EQ(GetDebugLevel(), 0u);                      // read again at the hundredth write
  DumpBytes("dump", std::string(32, 'd').data(), 32);  // writes 148 to 150
  Configure(on);
  for (int i = 151; i <= 250; ++i) DebugPrintf("loud %d\n", i);
  DebugClose();
  std::string log = Log();
  EXPECT_NE(log.find("quiet 99\n"), std::string::npos);
  EXPECT_EQ(log.find("quiet 100\n"), std::string::npos);
  EXPECT_EQ(log.find("dump"), std::string::npos);
  EXPECT_EQ(log.find("loud 199\n"), std::string::npos);
  EXPECT_NE(log.find(Prefix() + "loud 200\n"), std::string::npos);
  EXPECT_NE(log.find(Prefix() + "loud 250\n"), std::string::npos);
}

TEST_F(DebugLogTest, DebuggerTurnedOnWithoutAFile) {
  Configure("\"ToFile\"=dword:0");
  Debug();
  Configure("\"ToFile\"=dword:0\n\"ToDebugger\"=dword:1");
  testing::internal::CaptureStderr();
  for (int i = 1; i <= 101; ++i) DebugPrintf("line %d\n", i);
  DebugClose();
  std::string seen = testing::internal::GetCapturedStderr();
  EXPECT_EQ(seen, Prefix() + "line 100\n" + Prefix() + "line 101\n");
}

TEST_F(DebugLogTest, UnusableFileNameLeavesAProviderWithoutAFile) {
  Configure("\"FileName\"=\"" + m_dir.File("missing-folder/vds.debug") + "\"");
  testing::internal::CaptureStderr();
  Debug();
  DebugPrintf("lost\n");
  DebugClose();
  std::string error = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(std::regex_search(error, std::regex("^Error '.+' \\([0-9]+\\) opening debug output "
                                                  "file\\.")))
      << error;
}

TEST_F(DebugLogTest, LinesOfConcurrentThreadsStayWhole) {
  Configure(FileNameValue());
  Debug();
  size_t start = LogLines().size();
  constexpr int kThreads = 4, kLines = 150;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kLines; ++i) DebugPrintf("thread %d line %d\n", t, i);
    });
  }
  for (std::thread& thread : threads) thread.join();
  DebugClose();
  std::vector<std::string> lines = LogLines();
  ASSERT_EQ(lines.size(), start + kThreads * kLines);
  std::regex whole("^\\[[0-9]{4,}/[0-9]{4,}\\] thread [0-9] line [0-9]+$");
  for (size_t i = start; i < lines.size(); ++i) {
    EXPECT_TRUE(Stamped(lines[i]) && std::regex_match(Unstamped(lines[i]), whole)) << lines[i];
  }
}

}  // namespace
