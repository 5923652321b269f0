#include "diag/event_log.h"

#include <libintl.h>
#include <stdlib.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>

#include "platform/eventlog.h"
#include "tests/diag/debug_log_fixture.h"

namespace {

class EventLogTest : public DebugLogTest {
 protected:
  void SetUp() override {
    DebugLogTest::SetUp();
    Configure(FileNameValue() + "\"TimeStamp\"=dword:0",
              "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\"
              "Parameters]\n\"PATH\"=\"" VELA_CATALOG_ROOT "\"\n");
    Debug();
  }
  void TearDown() override {
    DebugClose();
    std::setlocale(LC_ALL, "C");
    unsetenv("LC_ALL");
    DebugLogTest::TearDown();
  }

  // Makes the German locale available, in a folder of the build when the system lacks it.
  static bool GermanLocale() {
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr) return true;
    std::string folder = VELA_TEST_LOCALES;
    std::filesystem::create_directories(folder);
    if (!std::filesystem::exists(folder + "/de_DE.UTF-8")) {
      std::string command =
          "localedef -i de_DE -f UTF-8 " + folder + "/de_DE.UTF-8 >/dev/null 2>&1";
      if (std::system(command.c_str()) != 0 && !std::filesystem::exists(folder + "/de_DE.UTF-8")) {
        return false;
      }
    }
    setenv("LOCPATH", folder.c_str(), 1);
    return std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
  }
};

TEST_F(EventLogTest, EachSeverityReportsEventOneAndNotesItInTheDebugLog) {
  EventLogCapture capture;
  LogErrorEvent("CreateNamedPipe failed with error 0x%x", 0xE7u);
  LogWarningEvent("%s", "warned");
  LogInfoEvent("info %I64u", ULONGLONG{1} << 33);
  std::vector<EventLogEntry> entries = capture.Entries();
  ASSERT_EQ(entries.size(), 3u);
  const WORD types[] = {EVENTLOG_ERROR_TYPE, EVENTLOG_WARNING_TYPE, EVENTLOG_INFORMATION_TYPE};
  const char* texts[] = {"CreateNamedPipe failed with error 0xe7", "warned", "info 8589934592"};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(entries[i].source, "VelaVDSProvider");
    EXPECT_EQ(entries[i].type, types[i]);
    EXPECT_EQ(entries[i].eventId, 1u);
    EXPECT_EQ(entries[i].category, 0);
    EXPECT_EQ(entries[i].strings, std::vector<std::string>{texts[i]});
  }
  std::string log = Log();
  EXPECT_NE(log.find("Logging Error Event \"CreateNamedPipe failed with error 0xe7\".\n"),
            std::string::npos);
  EXPECT_NE(log.find("Logging Warning Event \"warned\".\n"), std::string::npos);
  EXPECT_NE(log.find("Logging Info Event \"info 8589934592\".\n"), std::string::npos);
}

TEST_F(EventLogTest, LongMessagesAreCutAt255Characters) {
  EventLogCapture capture;
  std::string text(400, 'L');
  LogWarningEvent("%s", text.c_str());
  ASSERT_EQ(capture.Entries().size(), 1u);
  EXPECT_EQ(capture.Entries()[0].strings[0], std::string(255, 'L'));
}

TEST_F(EventLogTest, GermanLocaleTranslatesTheAdministratorTexts) {
  if (!GermanLocale()) GTEST_SKIP() << "the de_DE.UTF-8 locale cannot be made on this machine";
  setenv("LC_ALL", "de_DE.UTF-8", 1);
  LangInit();
  EventLogCapture capture;
  LogWarningEvent(gettext(kTextProxyLost));
  LogInfoEvent(gettext(kTextProxyRestored));
  std::vector<EventLogEntry> entries = capture.Entries();
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].strings[0],
            "Der VDS-Provider hat die Verbindung zum VELA-Proxy-Dienst verloren.");
  EXPECT_EQ(entries[1].strings[0],
            "Der VDS-Provider hat die Verbindung zum VELA-Proxy-Dienst wiederhergestellt.");
  std::string log = Log();
  EXPECT_NE(log.find("LangInit: Current Locale is: "), std::string::npos);
  EXPECT_NE(log.find("LangInit: bindtextdomain is: " VELA_CATALOG_ROOT "/locale\n"),
            std::string::npos);
  EXPECT_NE(log.find("LangInit: textdomain is: vdsprovider\n"), std::string::npos);
}

TEST_F(EventLogTest, CLocaleKeepsTheEnglishTexts) {
  setenv("LC_ALL", "C", 1);
  LangInit();
  EventLogCapture capture;
  LogErrorEvent(gettext(kTextExpansionFailed));
  std::vector<EventLogEntry> entries = capture.Entries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].strings[0], kTextExpansionFailed);
}

}  // namespace
