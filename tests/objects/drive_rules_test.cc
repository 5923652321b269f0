#include "objects/drive_rules.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/strings.h"

namespace {

drive Record(uint8_t howUsed, uint8_t downReason = 0) {
  drive d{};
  d.howUsed = howUsed;
  d.downReason = downReason;
  d.driveIndex = 3;
  d.containerIndex = 0;
  return d;
}

TEST(DriveRules, ClassAndBusByType) {
  struct Case {
    uint8_t type;
    uint8_t driveClass;
    VDS_STORAGE_BUS_TYPE bus;
  };
  const Case cases[] = {
      {2, 2, VDSBusTypeFibre},   {3, 3, VDSBusTypeSata},     {5, 3, VDSBusTypeSata},
      {4, 4, VDSBusTypeSas},     {6, 4, VDSBusTypeSas},      {7, 7, VDSBusTypeSata},
      {9, 7, VDSBusTypeSata},    {8, 7, VDSBusTypeSas},      {10, 7, VDSBusTypeSas},
      {0, 0, VDSBusTypeUnknown}, {11, 0, VDSBusTypeUnknown},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(DriveClass(c.type), c.driveClass) << int{c.type};
    EXPECT_EQ(DriveBusType(c.type), c.bus) << int{c.type};
  }
  // An SSD pool reads SAS whatever its drives are.
  EXPECT_EQ(DriveClassBusType(kDriveClassSsd), VDSBusTypeSas);
  drive ssd{};
  ssd.type = 7;
  ssd.rpmThousands = 15;
  EXPECT_EQ(DriveSpindleSpeed(ssd), 1u);
  ssd.type = 4;
  EXPECT_EQ(DriveSpindleSpeed(ssd), 15000u);
}

TEST(DriveRules, VdiskMatchUsesSevenSerialBytes) {
  uint8_t serial[32];
  for (int i = 0; i < 32; ++i) serial[i] = static_cast<uint8_t>(0x40 + i);
  uint8_t shortForm[7];
  VdiskShortSerial(serial, shortForm);
  const uint8_t want[7] = {0x43, 0x44, 0x45, 0x48, 0x49, 0x4a, 0x4b};
  EXPECT_EQ(std::memcmp(shortForm, want, 7), 0);
  EXPECT_TRUE(DriveInVdisk(shortForm, serial));
  // The bytes outside 3-5 and 8-11 play no part.
  serial[0] = serial[6] = serial[12] = serial[31] = 0;
  EXPECT_TRUE(DriveInVdisk(shortForm, serial));
  serial[9] ^= 1;
  EXPECT_FALSE(DriveInVdisk(shortForm, serial));
}

TEST(DriveRules, UsableSizeKeepsTheReserveInStepsOfTen) {
  drive d{};
  d.realBlockCountLo = 0;
  d.realBlockCountHi = 1;  // 2^32 blocks, 2 TiB
  const ULONGLONG raw = (1ULL << 32) * 512;
  EXPECT_EQ(DriveUsableSize(d, 0), (raw & ~0xFFFFULL) - 0x1000000);
  // 19 per mille counts as 10.
  EXPECT_EQ(DriveUsableSize(d, 19), ((raw * 990 / 1000) & ~0xFFFFULL) - 0x1000000);
  EXPECT_EQ(DriveUsableSize(d, 20), ((raw * 980 / 1000) & ~0xFFFFULL) - 0x1000000);
  // A reserve beyond everything keeps nothing, and the 16 MiB wrap as the controllers expect.
  EXPECT_EQ(DriveUsableSize(d, 5000), 0ULL - 0x1000000);
}

TEST(DriveRules, StatusHealthAndFlags) {
  struct Case {
    drive record;
    VDS_DRIVE_STATUS status;
    VDS_HEALTH health;
    ULONG flags;
    ULONG flags2;
    bool free;
  };
  drive lost = Record(kDriveAvailable);
  lost.driveIndex = lost.containerIndex = kNoIndex;
  drive spareInUse = Record(kDrivePoolSpare);
  spareInUse.useState = kDriveUseStateSpareInUse;
  drive memberInUse = Record(kDriveMember);
  memberInUse.useState = kDriveUseStateSpareInUse;
  const Case cases[] = {
      {Record(0), VDS_DRS_ONLINE, VDS_H_HEALTHY, 0, VDS_DF_UNASSIGNED, true},
      {Record(1), VDS_DRS_ONLINE, VDS_H_HEALTHY, 0, VDS_DF_ASSIGNED, false},
      {Record(2), VDS_DRS_ONLINE, VDS_H_HEALTHY, VDS_DF_HOTSPARE, 0x13, false},
      {Record(3), VDS_DRS_ONLINE, VDS_H_HEALTHY, VDS_DF_HOTSPARE, 0x15, false},
      {Record(4), VDS_DRS_ONLINE, VDS_H_HEALTHY, 0, 0, true},
      {Record(5, 0), VDS_DRS_OFFLINE, VDS_H_HEALTHY, 0, VDS_DF_UNASSIGNED, true},
      {Record(5, 2), VDS_DRS_OFFLINE, VDS_H_FAILING, 0, VDS_DF_UNASSIGNED, true},
      {Record(5, 3), VDS_DRS_FAILED, VDS_H_FAILED, 0, VDS_DF_UNASSIGNED, true},
      {Record(5, 7), VDS_DRS_OFFLINE, VDS_H_UNKNOWN, 0, VDS_DF_UNASSIGNED, true},
      {Record(5, 0xff), VDS_DRS_OFFLINE, VDS_H_UNKNOWN, 0, VDS_DF_UNASSIGNED, true},
      {Record(7), VDS_DRS_FAILED, VDS_H_FAILED, 0, 0, true},
      {lost, VDS_DRS_FAILED, VDS_H_FAILED, 0, VDS_DF_UNASSIGNED, true},
      {spareInUse, VDS_DRS_ONLINE, VDS_H_HEALTHY, 0, 0xb, false},
      {memberInUse, VDS_DRS_ONLINE, VDS_H_HEALTHY, 0, VDS_DF_ASSIGNED, false},
  };
  int row = 0;
  for (const auto& c : cases) {
    const DriveState s = ComputeDriveState(c.record);
    EXPECT_EQ(s.status, c.status) << row;
    EXPECT_EQ(s.health, c.health) << row;
    EXPECT_EQ(s.ulFlags, c.flags) << row;
    EXPECT_EQ(s.flags2, c.flags2) << row;
    EXPECT_EQ(s.isFree, c.free) << row;
    ++row;
  }
}

TEST(DriveRules, DriveNameTrimsFieldsAndNamesTheType) {
  drive d{};
  std::memcpy(d.vendor, "KESTREL  ", 9);
  std::memcpy(d.product, "KS600SAS      ", 14);
  std::memcpy(d.revision, "0006 ", 5);
  std::strcpy(d.serialNumber, "KSL01234   ");
  d.channel = 1;
  d.scsiId = 7;
  d.type = 4;
  EXPECT_EQ(Utf16ToUtf8(MakeDriveName(d)), "KESTREL KS600SAS s/n KSL01234 rev 0006 id 1.7 (SAS)");
  // The type word knows only the classic codes: an SSD shows its number.
  d.type = 7;
  EXPECT_EQ(Utf16ToUtf8(MakeDriveName(d)), "KESTREL KS600SAS s/n KSL01234 rev 0006 id 1.7 (0x7)");
  // The last byte of each fixed field is no text, and a serial of 33 bytes stays bounded.
  std::memset(d.vendor, 'V', sizeof(d.vendor));
  std::memset(d.serialNumber, 'S', sizeof(d.serialNumber));
  d.type = 2;
  const std::string name = Utf16ToUtf8(MakeDriveName(d));
  EXPECT_EQ(name.substr(0, 9), "VVVVVVVV ");
  EXPECT_NE(name.find(std::string(33, 'S') + " rev"), std::string::npos);
  EXPECT_EQ(name.substr(name.size() - 4), "(FC)");
}

}  // namespace
