// Lines of the debug log that a reader greps for: whole lines, fixed-width fields printed within
// their width, and the values they name.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "diag/debug_log.h"
#include "objects/subsystem.h"
#include "platform/registry.h"
#include "provisioning/utility.h"
#include "tests/objects/object_test_support.h"

namespace {

using nlohmann::json;

class LogLinesTest : public ObjectTest {
 protected:
  void SetUp() override {
    ObjectTest::SetUp();
    logPath_ = TestDir() + "/vds.debug";
    std::remove(logPath_.c_str());
    std::ofstream(TestDir() + "/registry.reg")
        << "Windows Registry Editor Version 5.00\n\n"
           "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Debug]\n"
           "\"FileName\"=\""
        << logPath_
        << "\"\n"
           "\"MaxFileLength\"=dword:04000000\n"
           "\"TimeStamp\"=dword:00000000\n";
    SetRegistryFile(TestDir() + "/registry.reg");
    DebugResetForTesting();
  }
  void TearDown() override {
    ObjectTest::TearDown();
    std::ofstream(TestDir() + "/registry.reg") << "Windows Registry Editor Version 5.00\n\n";
    SetRegistryFile(TestDir() + "/registry.reg");
    DebugResetForTesting();
    std::remove(logPath_.c_str());
  }
  std::string Log() const {
    std::ifstream in(logPath_);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }
  // A whole message: behind the "[pid/tid] " prefix, up to its line end.
  bool HasLine(const std::string& line) const {
    return Log().find("] " + line + "\n") != std::string::npos;
  }
  bool Has(const std::string& text) const { return Log().find(text) != std::string::npos; }

  std::string logPath_;
};

// Both controllers report every drive; the drives are members of a vdisk, so what lies behind
// each 32-byte serial field in memory is not a terminator.
TEST_F(LogLinesTest, ControllerWalkBoundsSerialsCountsEnclosuresAndFindsDrivesAgain) {
  json sub = SubsystemJson("LOGS0001");
  // 28 characters and the 4-digit counter, from 0000: serials of exactly 32 bytes.
  sub["drives"] = json::array({DrivesJson(3, 0, 4, "ABCDEFGHIJKLMNOPQRSTUVWXYZ01{n}")});
  // Its serial's byte 3 (the first of the short form a member drive keeps behind its own
  // serial) is not zero.
  sub["vdisks"] = json::array(
      {{{"name", "LOGVD"},
        {"serialNumber", "00112233445566778899AABBCCDDEEFF00112233445566778899AABBCCDDEEFF"},
        {"raidLevel", 5},
        {"memberCount", 3},
        {"owner", "A"},
        {"partitions", json::array({{{"name", "p0"}, {"blocks", 2048}}})}}});
  LoadInventory(InventoryJson({sub}));
  // The serial is all 32 bytes of its field and nothing behind it.
  EXPECT_TRUE(Has("  Drive ABCDEFGHIJKLMNOPQRSTUVWXYZ010000 encl 0 bus 0 slot  0 guid "));
  // The second controller finds each drive again through GetDrive, with its lines.
  EXPECT_TRUE(Has("GetDrive(encl=0, slot=0 ) returned sn ABCDEFGHIJKLMNOPQRSTUVWXYZ010000 guid "));
  EXPECT_TRUE(HasLine("CSubSystem::GetDrive() out"));
  // "(currently %d)" is the enclosure count the controllers before this one reported.
  EXPECT_TRUE(Has("Controller::Initialize enclosureCount=1 (currently 0)"));
  EXPECT_TRUE(Has("Controller::Initialize enclosureCount=1 (currently 1)"));
}

TEST_F(LogLinesTest, RaidLevelSpecialLunAndNewNameLinesEndTheirLine) {
  StartSimulator("default.json");
  ASSERT_EQ(Load(), S_OK);
  VdsType2VelaRaidLevel(0, static_cast<VDS_LUN_TYPE>(29));
  EXPECT_TRUE(HasLine("VdsType2VelaRaidLevel: mapping VDS_LUN_TYPE 29 to VELA_RAID0"));
  IsSupportSpecialLun();
  EXPECT_TRUE(HasLine("IsSupportSpecialLun(): DisabeSepcialLun = 0"));
  const subsystem& record = static_cast<CSubSystem*>(SubSystem().Get())->Record();
  // Under the provider's lock, as the creation paths call it.
  MutexGuard guard(hNotificationMutex, "LogLinesTest");
  const char* name = NewName(record, false, 0, nullptr);
  ASSERT_NE(name, nullptr);
  EXPECT_TRUE(HasLine(std::string("NewName ") + name));
  NewName(record, false, 0, name);  // given back
}

}  // namespace
