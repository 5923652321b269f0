#include "tools/vdsctl/enclosure_map.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

namespace vdsctl {
namespace {

GUID Id(uint32_t n) {
  GUID id{};
  id.Data1 = n;
  return id;
}

DriveRow Drive(int index, int slot, std::vector<GUID> luns = {}) {
  DriveRow row;
  row.index = index;
  row.prop.id = Id(100 + static_cast<uint32_t>(index));
  row.prop.status = VDS_DRS_ONLINE;
  row.prop.health = VDS_H_HEALTHY;
  row.prop.sSlotNumber = static_cast<SHORT>(slot);
  for (const GUID& lun : luns) row.extents.push_back(VDS_DRIVE_EXTENT{row.prop.id, lun, 1, TRUE});
  row.extents.push_back(VDS_DRIVE_EXTENT{row.prop.id, GUID_NULL, 1, FALSE});
  return row;
}

TEST(EnclosureMap, VdisksByTheirLunsAndColours) {
  SubsystemRow subsystem;
  subsystem.prop.sMaxNumberOfSlotsEachBus = 4;
  subsystem.prop.ulNumberOfEnclosures = 1;
  LunRow lun;
  lun.prop.id = Id(1);
  lun.pwszFriendlyName = "db";
  // Two drives with the same LUN are one vdisk; a drive past the reported slots widens the grid.
  const std::vector<DriveRow> drives = {Drive(0, 0, {Id(1)}), Drive(1, 1, {Id(1)}),
                                        Drive(2, 5, {Id(2)})};
  const EnclosureMap map = BuildEnclosureMap({subsystem}, drives, {lun}, {Id(101)});
  ASSERT_EQ(map.enclosures.size(), 1u);
  ASSERT_EQ(map.enclosures[0].slots.size(), 6u);
  EXPECT_EQ(map.enclosures[0].slots[1].vdisk, 'A');
  EXPECT_TRUE(map.enclosures[0].slots[1].blinking);
  EXPECT_EQ(map.enclosures[0].slots[5].vdisk, 'B');
  EXPECT_EQ(map.enclosures[0].slots[3].state, SlotState::kEmpty);
  ASSERT_EQ(map.vdisks.size(), 2u);
  EXPECT_EQ(map.vdisks[0].luns, (std::vector<std::pair<int, std::string>>{{0, "db"}}));
  EXPECT_TRUE(map.vdisks[1].luns.empty());

  const std::string plain = EnclosureMapText(map, false);
  EXPECT_EQ(plain.find('\x1b'), std::string::npos);
  EXPECT_NE(plain.find("     0   A  A*   .   .   .   B\n"), std::string::npos) << plain;
  EXPECT_NE(plain.find("  B  subsystem 0: no LUN\n"), std::string::npos) << plain;
  // Many volumes: the first few and the count.
  EnclosureMap many = map;
  for (int i = 1; i < 6; ++i) many.vdisks[0].luns.emplace_back(i, "v" + std::to_string(i));
  EXPECT_NE(EnclosureMapText(many, false)
                .find("  A  subsystem 0: LUN 0 db, LUN 1 v1, LUN 2 v2, ... (6 LUNs)\n"),
            std::string::npos);
  const std::string coloured = EnclosureMapText(map, true);
  EXPECT_NE(coloured.find("\x1b[36m\x1b[7mA*\x1b[0m"), std::string::npos) << coloured;
}

TEST(EnclosureMap, NoColourWhenPipedOrAsked) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  EXPECT_FALSE(ColourWanted(fds[1]));
  close(fds[0]);
  close(fds[1]);
  setenv("NO_COLOR", "1", 1);
  EXPECT_FALSE(ColourWanted(STDIN_FILENO));
  unsetenv("NO_COLOR");
}

}  // namespace
}  // namespace vdsctl
