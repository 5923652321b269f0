#include "tools/vdsctl/views.h"

#include <gtest/gtest.h>

#include "tools/vdsctl/names.h"

namespace vdsctl {
namespace {

constexpr GUID kFirst = {1, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
constexpr GUID kSecond = {2, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};

DriveRow Drive(int subsystem, int index, const GUID& id) {
  DriveRow row;
  row.subsystem = subsystem;
  row.index = index;
  row.prop.id = id;
  row.prop.ullSize = 68ull << 30;
  row.prop.status = VDS_DRS_ONLINE;
  row.prop.health = VDS_H_HEALTHY;
  row.prop.sSlotNumber = static_cast<SHORT>(index + 1);
  row.extents.push_back({id, kSecond, 8ull << 30, TRUE});
  row.extents.push_back({id, GUID_NULL, 60ull << 30, FALSE});
  return row;
}

TEST(Views, DriveTableHasTheAdministratorsColumnsAndMarksTheSelection) {
  DriveRow spare = Drive(0, 1, kSecond);
  spare.prop.ulFlags = VDS_DF_HOTSPARE | VDS_DF_HOTSPARE_STANDBY;
  spare.prop.health = VDS_H_FAILING;
  spare.pwszIdentification = "KSL00002SAS";
  spare.pwszFriendlyName = "KESTREL KS600SAS s/n KSL00002SAS rev 0006";
  EXPECT_EQ(ListText({Drive(0, 0, kFirst), spare}, kSecond),
            "  Drive ###  Status  Health    Size   Free  Bus  Slot  Flags          Serial       "
            "Model\n"
            "  ---------  ------  -------  -----  -----  ---  ----  -------------  -----------  "
            "----------------\n"
            "  Drive 0    Online  Healthy  68 GB  60 GB    0     1                 -            -\n"
            "* Drive 1    Online  Failing  68 GB  60 GB    0     2  Spare,Standby  KSL00002SAS  "
            "KESTREL KS600SAS\n");
}

TEST(Views, ValuesInWordsWithTheirUnits) {
  DriveRow drive = Drive(0, 0, kFirst);
  drive.prop.ulFlags = VDS_DF_HOTSPARE | 0x1000;
  drive.prop.ulSpindleSpeed = 15000;
  const std::string text = DetailText(drive);
  EXPECT_NE(text.find("  Flags          : Spare, 0x1000 (0x1001)\n"), std::string::npos) << text;
  EXPECT_NE(text.find("  Spindle speed  : 15000 rpm\n"), std::string::npos) << text;
  EXPECT_EQ(LunFlagText(0), "None (0x0)");
  EXPECT_EQ(WwnText("207002564C1A0001"), "20:70:02:56:4c:1a:00:01");
  EXPECT_EQ(WwnText("iqn.2026-11.sim"), "iqn.2026-11.sim");
  // A stripe-size bit n is 2^n bytes: each unit's first and last bit, and the top one.
  EXPECT_EQ(StripeSizeText(0), "None (0x0)");
  EXPECT_EQ(StripeSizeText(0x1C000), "16 KB, 32 KB, 64 KB (0x1C000)");
  EXPECT_EQ(StripeSizeText(0x200 | 0x400 | 0x80000 | 0x100000 | 0x80000000u),
            "512 B, 1 KB, 512 KB, 1 MB, 2 GB (0x80180600)");
}

TEST(Views, RowsOfSeveralSubsystemsGoIntoOneTablePerSubsystem) {
  const std::string text = ListText({Drive(0, 0, kFirst), Drive(1, 0, kSecond)}, GUID_NULL);
  EXPECT_EQ(text.find("Subsystem 0\n\n  Drive ###"), 0u) << text;
  EXPECT_NE(text.find("\nSubsystem 1\n\n  Drive ###"), std::string::npos) << text;
}

TEST(Views, DriveDetailListsItsExtents) {
  const std::string text = DetailText(Drive(0, 4, kFirst));
  EXPECT_EQ(text.find("Drive 4\n"), 0u);
  EXPECT_NE(text.find("  Free           : 60 GB\n"), std::string::npos) << text;
  EXPECT_NE(text.find("Extent 0    {00000002-0000-0000-0000-000000000000}   8 GB  Yes"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("Extent 1    -                                       60 GB  No"),
            std::string::npos)
      << text;
}

TEST(Views, NullStringsShowAsADash) {
  LunRow lun;
  lun.prop.ullSize = 1536;
  lun.prop.type = VDS_LT_MIRROR;
  const std::string text = ListText(std::vector<LunRow>{lun}, GUID_NULL);
  EXPECT_NE(text.find("LUN 0    -     Unknown  Unknown  Mirror  1.5 KB"), std::string::npos)
      << text;
}

TEST(Names, WordsForKnownAndUnknownValues) {
  EXPECT_EQ(StatusWord(3), "Unknown (3)");
  EXPECT_EQ(DriveFlagWords(0), "");
  EXPECT_EQ(DriveFlagWords(0xb), "Spare,Assigned,Spare in use");
  EXPECT_EQ(DriveFlagWords(0x41), "Spare,0x40");
  EXPECT_EQ(HResultText(VDS_E_NOT_SUPPORTED), "VDS_E_NOT_SUPPORTED");
  EXPECT_EQ(HResultHex(E_POINTER), "0x80004003");
}

TEST(Names, NotificationTextNamesObjectAndEvent) {
  VDS_NOTIFICATION notification{};
  notification.objectType = VDS_NTT_LUN;
  notification.Lun.ulEvent = VDS_NF_LUN_ARRIVE;
  notification.Lun.LunId = kFirst;
  EXPECT_EQ(NotificationText(notification, std::nullopt),
            "LUN {00000001-0000-0000-0000-000000000000} arrived.");
  notification.Lun.LunId = GUID_NULL;
  EXPECT_EQ(NotificationText(notification, std::nullopt), "A LUN arrived that is not listed yet.");
  notification.Lun.LunId = kFirst;
  notification.Lun.ulEvent = 999;
  EXPECT_EQ(NotificationText(notification, std::nullopt),
            "Notification 999 for object type 33 {00000001-0000-0000-0000-000000000000}.");
}

}  // namespace
}  // namespace vdsctl
