#include "platform/system.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "platform/eventlog.h"
#include "platform/osversion.h"

namespace {

TEST(HostPaths, DriveLettersMapToTheRootFolder) {
  setenv("VELA_ROOT", "/srv/vela", 1);
  EXPECT_EQ(HostPath("c:\\vds.debug"), "/srv/vela/vds.debug");
  EXPECT_EQ(HostPath("D:\\logs\\a.txt"), "/srv/vela/logs/a.txt");
  EXPECT_EQ(HostPath("c:rel"), "/srv/vela/rel");
  EXPECT_EQ(HostPath("/var/log/x"), "/var/log/x");
  EXPECT_EQ(HostPath(nullptr), "");
  unsetenv("VELA_ROOT");
  EXPECT_EQ(HostPath("c:\\vds.debug"), "/var/lib/velavds/vds.debug");
}

TEST(SystemDirectories, FollowTheEnvironmentAndReportShortBuffers) {
  setenv("VELA_SYSTEM_DIR", "/opt/vela/etc", 1);
  char buffer[64];
  EXPECT_EQ(GetSystemDirectoryA(buffer, sizeof(buffer)), 13u);
  EXPECT_STREQ(buffer, "/opt/vela/etc");
  char small[4];
  EXPECT_EQ(GetSystemDirectoryA(small, sizeof(small)), 14u);
  unsetenv("VELA_SYSTEM_DIR");
  ASSERT_GT(GetWindowsDirectoryA(buffer, sizeof(buffer)), 0u);
  EXPECT_EQ(buffer[0], 'c');
}

TEST(OsVersion, GatesFollowTheVersion) {
  auto gates = [](DWORD major, DWORD minor) {
    OsGates g = GatesFromVersion(major, minor);
    return std::to_string(g.win2008) + std::to_string(g.win7) + std::to_string(g.win8);
  };
  EXPECT_EQ(gates(5, 2), "000");  // Server 2003
  EXPECT_EQ(gates(6, 0), "100");  // Server 2008
  EXPECT_EQ(gates(6, 1), "110");  // Server 2008 R2
  EXPECT_EQ(gates(6, 2), "111");  // Server 2012
  EXPECT_EQ(gates(10, 0), "100");

  SetOsVersionForTesting(6, 1);
  OSVERSIONINFOW info = {};
  EXPECT_FALSE(GetVersionExW(&info));  // size not set
  info.dwOSVersionInfoSize = sizeof(info);
  ASSERT_TRUE(GetVersionExW(&info));
  EXPECT_EQ(info.dwMajorVersion, 6u);
  EXPECT_EQ(info.dwMinorVersion, 1u);
  EXPECT_TRUE(OsVersionGates().win7);
  EXPECT_FALSE(OsVersionGates().win8);
  SetOsVersionForTesting(6, 2);
}

TEST(EventLog, CaptureSeesEachReportedEvent) {
  EventLogCapture capture;
  HANDLE source = RegisterEventSourceW(nullptr, u"VelaVDSProvider");
  ASSERT_NE(source, nullptr);
  LPCSTR strings[] = {"first", "second"};
  ASSERT_TRUE(ReportEventA(source, EVENTLOG_WARNING_TYPE, 0, 1, nullptr, 2, 0, strings, nullptr));
  ASSERT_TRUE(DeregisterEventSource(source));
  EXPECT_FALSE(DeregisterEventSource(source));
  EXPECT_FALSE(ReportEventA(source, EVENTLOG_ERROR_TYPE, 0, 1, nullptr, 1, 0, strings, nullptr));
  EXPECT_EQ(RegisterEventSourceW(u"remote", u"VelaVDSProvider"), nullptr);

  std::vector<EventLogEntry> entries = capture.Entries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].source, "VelaVDSProvider");
  EXPECT_EQ(entries[0].type, EVENTLOG_WARNING_TYPE);
  EXPECT_EQ(entries[0].eventId, 1u);
  EXPECT_EQ(entries[0].strings, (std::vector<std::string>{"first", "second"}));
}

}  // namespace
