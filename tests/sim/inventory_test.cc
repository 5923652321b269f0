#include "sim/inventory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "sim/changes.h"
#include "sim/raid.h"

namespace sim {
namespace {

TEST(Inventory, BuiltInDefaultIsTheShippedFile) {
  Model builtIn, shipped;
  std::string error;
  ASSERT_TRUE(ParseInventory(DefaultInventoryText(), &builtIn, &error)) << error;
  ASSERT_TRUE(LoadInventoryFile(VELA_SIM_INVENTORIES "/default.json", &shipped, &error)) << error;
  EXPECT_EQ(ModelToJson(builtIn, -1), ModelToJson(shipped, -1));

  ASSERT_EQ(builtIn.subsystems.size(), 1u);
  const Subsystem& subsystem = builtIn.subsystems[0];
  // One mirrored SSD vdisk holding LUN 0, so a first run has a LUN with paths to look at.
  ASSERT_EQ(subsystem.vdisks.size(), 1u);
  EXPECT_EQ(subsystem.vdisks[0].partitions.size(), 1u);

  // The blank inventory is the same array before anything was made on it.
  std::ifstream defaultFile(VELA_SIM_INVENTORIES "/default.json");
  std::ifstream blankFile(VELA_SIM_INVENTORIES "/blank.json");
  nlohmann::json withVdisks = nlohmann::json::parse(defaultFile);
  withVdisks["subsystems"][0]["vdisks"] = nlohmann::json::array();
  EXPECT_EQ(nlohmann::json::parse(blankFile), withVdisks);
}

TEST(Inventory, ShippedInventoriesLoadWithinTheRecordLimits) {
  Model large;
  std::string error;
  ASSERT_TRUE(LoadInventoryFile(VELA_SIM_INVENTORIES "/large.json", &large, &error)) << error;
  const Subsystem& subsystem = large.subsystems[0];
  EXPECT_EQ(subsystem.drives.size(), kMaxDrives);
  ASSERT_EQ(subsystem.vdisks.size(), kMaxArrays);
  for (const Vdisk& vdisk : subsystem.vdisks) {
    EXPECT_EQ(vdisk.partitions.size(), kMaxPartitionsPerArray);
    EXPECT_EQ(ComputeFreeSpace(vdisk).used, 128u * 2097152u);
  }
  Model iscsi;
  ASSERT_TRUE(LoadInventoryFile(VELA_SIM_INVENTORIES "/iscsi-only.json", &iscsi, &error)) << error;
  for (const Controller& controller : iscsi.subsystems[0].controllers) {
    for (const HostPort& port : controller.ports) EXPECT_EQ(port.type, kPortTypeIscsi);
  }
  // A proxy service with no arrays attached, on a host that still has its HBAs.
  Model empty;
  ASSERT_TRUE(LoadInventoryFile(VELA_SIM_INVENTORIES "/empty.json", &empty, &error)) << error;
  EXPECT_TRUE(empty.subsystems.empty());
  EXPECT_EQ(empty.hbaPorts.size(), 2u);
  Model again;
  ASSERT_TRUE(ParseInventory(ModelToJson(empty, 1), &again, &error)) << error;
  EXPECT_TRUE(again.subsystems.empty());
}

TEST(Inventory, CountedEntriesExpandAndVdisksTakeTheirMembers) {
  const char* text = R"({"subsystems": [{"uniqueSn": "S1",
    "controllers": [{"handle": 7, "driveOverheadPercent": 0}],
    "drives": [{"count": 3, "first": 8, "serialNumber": "D{n}", "type": 4, "blocks": 2097152,
                "slotNumber": 2, "scsiId": 5}],
    "vdisks": [{"name": "V", "raidLevel": 5, "memberCount": 3,
                "partitions": [{"count": 2, "name": "P{n}", "blocks": 1000, "lun": 4}]}]}]})";
  Model model;
  std::string error;
  ASSERT_TRUE(ParseInventory(text, &model, &error)) << error;
  const Subsystem& subsystem = model.subsystems[0];
  ASSERT_EQ(subsystem.drives.size(), 3u);
  EXPECT_EQ(subsystem.drives[2].serialNumber, "D0010");
  EXPECT_EQ(subsystem.drives[2].slotNumber, 4);
  EXPECT_EQ(subsystem.drives[2].scsiId, 7);
  const Vdisk& vdisk = subsystem.vdisks[0];
  EXPECT_EQ(vdisk.members, (std::vector<std::string>{"D0008", "D0009", "D0010"}));
  for (const Drive& drive : subsystem.drives) EXPECT_EQ(drive.howUsed, kHowUsedMember);
  // RAID 5 of three: two drives of data, each 1 GiB less 16 MiB of metadata.
  EXPECT_EQ(vdisk.blockCount, 2 * UsableDriveBlocks(2097152, 0));
  EXPECT_EQ(UsableDriveBlocks(2097152, 0), 2097152u - 32768u);
  ASSERT_EQ(vdisk.partitions.size(), 2u);
  EXPECT_EQ(vdisk.partitions[1].name, "P0002");
  EXPECT_EQ(vdisk.partitions[1].lun, 5u);
  EXPECT_EQ(vdisk.partitions[1].offsetBlocks, 1000u);
  EXPECT_NE(vdisk.partitions[0].serialNumber, vdisk.partitions[1].serialNumber);
}

TEST(Inventory, FullFormRoundTripsUnchanged) {
  Model model;
  std::string error;
  ASSERT_TRUE(LoadInventoryFile(VELA_SIM_INVENTORIES "/two-subsystems.json", &model, &error));
  std::string why;
  ASSERT_TRUE(FailDrive(model.subsystems[0], model.subsystems[0].vdisks[0].members[0], &why));
  const std::string once = ModelToJson(model, 1);
  Model again;
  ASSERT_TRUE(ParseInventory(once, &again, &error)) << error;
  EXPECT_EQ(ModelToJson(again, 1), once);
}

TEST(Inventory, RefusesBrokenModels) {
  const char* cases[] = {
      R"({"hbaPorts": []})",
      R"({"subsystems": [{"uniqueSn": "S", "controllers": []}]})",
      R"({"subsystems": [{"uniqueSn": "S", "controllers": [{"handle": 1}, {"handle": 1}]}]})",
      R"({"subsystems": [{"uniqueSn": "S", "controllers": [{"handle": 1}],
          "drives": [{"serialNumber": "A"}, {"serialNumber": "A"}]}]})",
      R"({"subsystems": [{"uniqueSn": "S", "controllers": [{"handle": 1}],
          "drives": [{"count": 251, "serialNumber": "D{n}"}]}]})",
      R"({"subsystems": [{"uniqueSn": "S", "controllers": [{"handle": 1}],
          "vdisks": [{"name": "V", "members": ["nope"]}]}]})",
      R"({"subsystems": [{"uniqueSn": "S", "controllers": [{"handle": 1}],
          "drives": [{"serialNumber": "A", "blocks": 4000000}],
          "vdisks": [{"name": "V", "raidLevel": 6, "members": ["A"],
                      "partitions": [{"name": "P", "blocks": 999999999}]}]}]})",
      R"({"subsystems": [{"uniqueSn": "S", "controllers": [{"handle": 1, "ports": [
          {"type": "fc", "wwpn": "0102"}]}]}]})",
      R"({"subsystems": [{"uniqueSn": "S", "controllers": [{"handle": 1, "controllerId": 300}]}]})",
      "not json",
  };
  for (const char* text : cases) {
    Model model;
    std::string error;
    EXPECT_FALSE(ParseInventory(text, &model, &error)) << text;
    EXPECT_FALSE(error.empty()) << text;
  }
}

}  // namespace
}  // namespace sim
