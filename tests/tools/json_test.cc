#include "tools/vdsctl/json.h"

#include <gtest/gtest.h>

namespace vdsctl {
namespace {

constexpr GUID kDriveId = {
    0x01020304, 0x0506, 0x0708, {0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0xA0}};
constexpr GUID kLunId = {0xDEADBEEF, 0x0001, 0x0002, {0xAB, 0xCD, 0, 0, 0, 0, 0, 0x01}};

std::vector<std::string> Keys(const Json& json) {
  std::vector<std::string> keys;
  for (const auto& item : json.items()) keys.push_back(item.key());
  return keys;
}

TEST(Json, DriveCarriesTheProp2MembersInOrderAndItsExtents) {
  DriveRow row;
  row.prop.id = kDriveId;
  row.prop.ullSize = 0x1234567890ull;
  row.prop.status = VDS_DRS_ONLINE;
  row.prop.health = VDS_H_HEALTHY;
  row.prop.busType = VDSBusTypeSas;
  row.pwszFriendlyName = "Disk \xC3\xA9";
  row.extents.push_back({kDriveId, kLunId, 1 << 20, TRUE});
  row.extents.push_back({kDriveId, GUID_NULL, 2 << 20, FALSE});

  const Json json = ToJson(row);
  EXPECT_EQ(Keys(json), (std::vector<std::string>{
                            "index", "subsystem", "id", "ullSize", "pwszFriendlyName",
                            "pwszIdentification", "ulFlags", "status", "statusName", "health",
                            "healthName", "sInternalBusNumber", "sSlotNumber", "ulEnclosureNumber",
                            "busType", "busTypeName", "ulSpindleSpeed", "extents"}));
  EXPECT_EQ(json["id"], "{01020304-0506-0708-090A-0B0C0D0E0FA0}");
  EXPECT_EQ(json["ullSize"], 0x1234567890ull);
  EXPECT_EQ(json["pwszFriendlyName"], "Disk \xC3\xA9");
  EXPECT_TRUE(json["pwszIdentification"].is_null());
  EXPECT_EQ(json["busTypeName"], "sas");
  EXPECT_EQ(json["statusName"], "online");
  ASSERT_EQ(json["extents"].size(), 2u);
  EXPECT_EQ(Keys(json["extents"][0]),
            (std::vector<std::string>{"id", "LunId", "ullSize", "bUsed"}));
  EXPECT_EQ(json["extents"][0]["LunId"], "{DEADBEEF-0001-0002-ABCD-000000000001}");
  EXPECT_EQ(json["extents"][1]["LunId"], "{00000000-0000-0000-0000-000000000000}");
  EXPECT_EQ(json["extents"][1]["bUsed"], 0);
}

TEST(Json, LunListsItsPlexIds) {
  LunRow row;
  row.prop.id = kLunId;
  row.prop.type = VDS_LT_RAID5;
  row.pwszUnmaskingList = "*";
  row.plexes = {kDriveId};
  const Json json = ToJson(row);
  EXPECT_EQ(
      Keys(json),
      (std::vector<std::string>{
          "index", "subsystem", "id", "ullSize", "pwszFriendlyName", "pwszIdentification",
          "pwszUnmaskingList", "ulFlags", "type", "typeName", "status", "statusName", "health",
          "healthName", "TransitionState", "TransitionStateName", "sRebuildPriority", "plexes"}));
  EXPECT_EQ(json["typeName"], "raid-5");
  // A value without a word.
  EXPECT_EQ(json["statusName"], "unknown");
  EXPECT_EQ(json["pwszUnmaskingList"], "*");
  EXPECT_EQ(json["plexes"], Json::array({"{01020304-0506-0708-090A-0B0C0D0E0FA0}"}));
}

TEST(Json, PoolAddsItsAttributesWithCustomPairs) {
  PoolRow row;
  row.prop.type = VDS_SPT_CONCRETE;
  row.prop.ullTotalManagedSpace = 1ull << 40;
  row.attributes.raidType = VDS_RT_RAID5;
  row.customAttributes.push_back({"Owner", std::nullopt});
  const Json json = ToJson(row);
  // A pool without drives lies on no subsystem.
  EXPECT_TRUE(json["subsystem"].is_null());
  EXPECT_TRUE(json["pwszDescription"].is_null());
  EXPECT_EQ(json["ullTotalManagedSpace"], 1ull << 40);
  const Json& attributes = json["attributes"];
  EXPECT_TRUE(attributes["pwszIntendedUsage"].is_null());
  EXPECT_EQ(attributes["pPoolCustomAttributes"],
            Json::parse(R"([{"pwszName":"Owner","pwszValue":null}])"));
  EXPECT_EQ(attributes["raidTypeName"], "raid-5");
  EXPECT_EQ(attributes.size(), 40u);
}

TEST(Json, EveryOtherKindHasItsMembersInOrder) {
  const struct {
    Json json;
    std::vector<std::string> keys;
  } kinds[] = {
      // A subsystem is on no subsystem; a pool names the one whose drives it is made of.
      {ToJson(SubsystemRow()),
       {"index", "id", "pwszFriendlyName", "pwszIdentification", "ulFlags", "ulStripeSizeFlags",
        "ulSupportedRaidTypeFlags", "status", "statusName", "health", "healthName",
        "sNumberOfInternalBuses", "sMaxNumberOfSlotsEachBus", "sMaxNumberOfControllers",
        "sRebuildPriority", "ulNumberOfEnclosures"}},
      {ToJson(ControllerRow()),
       {"index", "subsystem", "id", "pwszFriendlyName", "pwszIdentification", "status",
        "statusName", "health", "healthName", "sNumberOfPorts"}},
      {ToJson(PortRow()),
       {"index", "subsystem", "controller", "id", "pwszFriendlyName", "pwszIdentification",
        "status", "statusName"}},
      {ToJson(PlexRow()),
       {"index", "subsystem", "lun", "id", "ullSize", "type", "typeName", "status", "statusName",
        "health", "healthName", "TransitionState", "TransitionStateName", "ulFlags", "ulStripeSize",
        "sRebuildPriority"}},
      {ToJson(PoolRow()),
       {"index", "subsystem", "id", "status", "statusName", "health", "healthName", "type",
        "typeName", "pwszName", "pwszDescription", "ullTotalConsumedSpace", "ullTotalManagedSpace",
        "ullRemainingFreeSpace", "attributes"}},
      {ToJson(ProviderRow()),
       {"id", "pwszName", "guidVersionId", "pwszVersion", "type", "typeName", "ulFlags",
        "ulStripeSizeFlags", "sRebuildPriority"}},
  };
  for (const auto& kind : kinds) EXPECT_EQ(Keys(kind.json), kind.keys);
}

TEST(Json, ErrorNamesTheCodeAndTheCall) {
  EXPECT_EQ(ErrorJson(VDS_E_OBJECT_NOT_FOUND, "IVdsSubSystem::GetDrive").dump(),
            R"({"error":{"hr":"0x80042405","name":"VDS_E_OBJECT_NOT_FOUND",)"
            R"("call":"IVdsSubSystem::GetDrive"}})");
  EXPECT_EQ(ErrorJson(MakeHResult(0x8004FFFFu), "x")["error"]["name"], "0x8004FFFF");
}

}  // namespace
}  // namespace vdsctl
