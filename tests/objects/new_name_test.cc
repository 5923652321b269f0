// The automatic names, filled from the controllers of a simulated subsystem.
#include <gtest/gtest.h>

#include <string>

#include "objects/subsystem.h"
#include "provisioning/utility.h"
#include "tests/objects/object_test_support.h"

namespace {

using nlohmann::json;

class NewNames : public ObjectTest {
 protected:
  // The process-wide list must be empty again for the next test.
  void TearDown() override {
    for (const std::string& name : taken_) NewName(subsystem{}, false, 0, name.c_str());
    ObjectTest::TearDown();
  }
  // Under the provider's lock, as the creation paths call it: the monitor threads must not
  // judge the session by an exchange that is half done.
  std::string Take(const subsystem& record, bool isVdisk, int kind) {
    MutexGuard guard(hNotificationMutex, "NewNames::Take");
    const char* name = NewName(record, isVdisk, kind, nullptr);
    EXPECT_NE(name, nullptr);
    taken_.push_back(name);
    return name;
  }
  std::vector<std::string> taken_;
};

TEST_F(NewNames, FreeNumbersAfterTheControllersNamesAndReuseOfReleasedOnes) {
  json sub = SubsystemJson("NAMES00001");
  sub["drives"] = json::array({DrivesJson(3, 0, 4, "N{n}")});
  sub["vdisks"] = json::array(
      {{{"name", "VDS_VDISK_0"},
        {"raidLevel", 5},
        {"members", {"N0000", "N0001", "N0002"}},
        {"partitions", json::array({{{"name", "VDS_LUN_0"}, {"blocks", 2048}, {"lun", 0}},
                                    {{"name", "VDS_LUN_2"}, {"blocks", 2048}, {"lun", 1}}})}}});
  LoadInventory(InventoryJson({sub}));
  const subsystem& record = static_cast<CSubSystem*>(SubSystem().Get())->Record();
  taken_ = {"VDS_VDISK_0", "VDS_LUN_0", "VDS_LUN_2"};
  EXPECT_EQ(Take(record, false, 0), "VDS_LUN_1");
  EXPECT_EQ(Take(record, false, 0), "VDS_LUN_3");
  EXPECT_EQ(NewName(record, false, 0, "VDS_LUN_1"), nullptr);
  EXPECT_EQ(NewName(record, false, 0, "NO_SUCH_NAME"), nullptr);
  EXPECT_EQ(Take(record, false, 0), "VDS_LUN_1");
  EXPECT_EQ(Take(record, true, 0), "VDS_VDISK_1");
  EXPECT_EQ(Take(record, false, 1), "VDS_SP_LUN_0");
  EXPECT_EQ(Take(record, false, 2), "VDS_MV_LUN_0");
  EXPECT_EQ(Take(record, false, 3), "VDS_SS_LUN_0");
  EXPECT_EQ(Take(record, false, 7), "VDS_LUN_4");
}

TEST_F(NewNames, AControllerThatCantBeReadGivesTheErrorName) {
  LoadInventory(InventoryJson({SubsystemJson("NAMES00002")}));
  subsystem unknown{};
  unknown.controllerA = 9999;
  {
    MutexGuard guard(hNotificationMutex, "NewNames");
    EXPECT_STREQ(NewName(unknown, false, 0, nullptr), "VDS_LNU_ERROR");
  }
  // Without controllers the list starts empty.
  EXPECT_EQ(Take(subsystem{}, false, 0), "VDS_LUN_0");
}

}  // namespace
