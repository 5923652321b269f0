// The pieces of a LUN's identification data and the checks a host disk's information passes
// before it is compared with the LUNs.
#include "identify/lun_information.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "identify/disk_sn.h"

namespace {

// Company identifier ff ee dd: every shift carries bits into the next byte.
const uint8_t kCarrySerial[32] = {0xff, 0xee, 0xdd, 0x10, 0x20, 0x30, 0x50, 0x00,
                                  0x0a, 0x0b, 0x0c, 0x0d, 0x0e, 0x00, 0x00, 0x00};

std::vector<uint8_t> Bytes(const VDS_STORAGE_IDENTIFIER& id) {
  return std::vector<uint8_t>(id.m_rgbIdentifier, id.m_rgbIdentifier + id.m_cbIdentifier);
}

ControllerIdentity Identity(uint8_t seed) {
  ControllerIdentity identity;
  for (int i = 0; i < 6; ++i) identity.macAddress[i] = static_cast<uint8_t>(seed + i);
  for (int i = 0; i < 4; ++i) identity.ipAddress[i] = static_cast<uint8_t>(seed + 0x40 + i);
  return identity;
}

// A disk's information as the storage service would pass it, owning its storage.
struct DiskInfo {
  std::string vendor = "VELA    ";
  std::string product = "TG-2024         ";
  std::string revision = "TS25";
  std::string serial = "0123";
  std::vector<uint8_t> naa = std::vector<uint8_t>(16, 0x11);
  std::vector<VDS_STORAGE_IDENTIFIER> ids;
  VDS_LUN_INFORMATION info{};

  VDS_LUN_INFORMATION* Build() {
    info.m_szVendorId = vendor.data();
    info.m_szProductId = product.data();
    info.m_szProductRevision = revision.data();
    info.m_szSerialNumber = serial.data();
    if (ids.empty()) {
      ids.push_back({VDSStorageIdCodeSetBinary, VDSStorageIdTypeFCPHName, 16, naa.data()});
    }
    info.m_deviceIdDescriptor.m_cIdentifiers = static_cast<ULONG>(ids.size());
    info.m_deviceIdDescriptor.m_rgIdentifiers = ids.data();
    return &info;
  }
};

}  // namespace

TEST(LunInformation, SerialFormsCarryTheCompanyIdentifierAcrossBytes) {
  uint8_t naa[16];
  NaaFromPartitionSn(kCarrySerial, naa);
  const uint8_t expected[16] = {0x6f, 0xfe, 0xed, 0xd0, 0x00, 0x10, 0x20, 0x30,
                                0x0a, 0x0b, 0x0c, 0x0d, 0x0e, 0x00, 0x00, 0x00};
  EXPECT_EQ(std::memcmp(naa, expected, 16), 0);
  EXPECT_EQ(GetDiskSnFromPartitionSn_New(kCarrySerial), "6FFEEDD0001020300A0B0C0D0E000000");
  EXPECT_EQ(GetDiskSnFromPartitionSn_OLD(kCarrySerial), "6FFEEDD00102030ABCDE000");
  uint8_t noisy[32];
  std::memcpy(noisy, kCarrySerial, sizeof noisy);
  noisy[6] = noisy[7] = noisy[13] = noisy[14] = noisy[15] = 0x99;  // bytes left out of the NAA
  EXPECT_EQ(GetDiskSnFromPartitionSn_New(noisy), "6FFEEDD0001020300A0B0C0D0E000000");
  // VDS's serial is the partition serial's first 16 bytes in lower case, not the NAA form.
  EXPECT_EQ(LunSerialText(kCarrySerial), "ffeedd10203050000a0b0c0d0e000000");
}

TEST(LunInformation, ControllerBlockPutsTheOwnersSideFirst) {
  const uint8_t prefix[6] = {'0', '2', '5', '6', '4', 'C'};
  const ControllerIdentity a = Identity(0xa0);
  const ControllerIdentity b = Identity(0xb0);
  uint8_t block[32];
  BuildControllerBlock(prefix, a, b, block);
  const uint8_t expected[32] = {0x11, '0',  '2',  '5',  '6', '4',  'C',  0,    0,    0xa1, 0xa2,
                                0xa3, 0xa4, 0xa5, 0,    0,   0xe0, 0xe1, 0xe2, 0xe3, 0,    0xb1,
                                0xb2, 0xb3, 0xb4, 0xb5, 0,   0,    0xf0, 0xf1, 0xf2, 0xf3};
  EXPECT_EQ(std::memcmp(block, expected, 32), 0);
  uint8_t swapped[32];
  BuildControllerBlock(prefix, b, a, swapped);
  EXPECT_EQ(std::memcmp(swapped + 9, expected + 21, 5), 0);
  EXPECT_EQ(std::memcmp(swapped + 28, expected + 16, 4), 0);
}

TEST(LunInformation, FillGivesFourIdentifiersAndTheFixedMembers) {
  uint8_t block[64];
  for (int i = 0; i < 64; ++i) block[i] = static_cast<uint8_t>(i);
  for (uint8_t owner : {0, 1}) {
    SCOPED_TRACE(owner);
    VDS_LUN_INFORMATION info;
    // A vendor field without a terminator is read no further than its width.
    const char vendor[9] = {'V', 'E', 'L', 'A', 'V', 'E', 'L', 'A', 'X'};
    FillLunInformation(kCarrySerial, owner, VDSBusTypeSas, vendor, "TG-2024", "TS252R004", block,
                       owner == 1 ? 64 : 32, &info);
    EXPECT_EQ(info.m_version, 1u);
    EXPECT_EQ(info.m_bCommandQueueing, 1);
    EXPECT_EQ(info.m_BusType, VDSBusTypeSas);
    EXPECT_STREQ(info.m_szVendorId, "VELAVELAX");
    EXPECT_STREQ(info.m_szProductId, "TG-2024");
    EXPECT_STREQ(info.m_szProductRevision, "TS25");
    EXPECT_STREQ(info.m_szSerialNumber, "ffeedd10203050000a0b0c0d0e000000");
    EXPECT_EQ(info.m_diskSignature, GUID_NULL);
    ASSERT_EQ(info.m_deviceIdDescriptor.m_cIdentifiers, 4u);
    const VDS_STORAGE_IDENTIFIER* ids = info.m_deviceIdDescriptor.m_rgIdentifiers;
    for (int i = 0; i < 4; ++i) EXPECT_EQ(ids[i].m_CodeSet, VDSStorageIdCodeSetBinary);
    EXPECT_EQ(ids[0].m_Type, VDSStorageIdTypeFCPHName);
    EXPECT_EQ(Bytes(ids[0]).size(), 16u);
    EXPECT_EQ(ids[0].m_rgbIdentifier[0], 0x6f);
    EXPECT_EQ(ids[1].m_Type, VDSStorageIdTypePortRelative);
    EXPECT_EQ(Bytes(ids[1]), (std::vector<uint8_t>{0, 0, 0, owner == 1 ? uint8_t{1} : uint8_t{2}}));
    EXPECT_EQ(ids[2].m_Type, VDSStorageIdTypeVendorSpecific);
    EXPECT_EQ(ids[2].m_cbIdentifier, owner == 1 ? 64u : 32u);
    EXPECT_EQ(ids[3].m_Type, VDSStorageIdTypeTargetPortGroup);
    EXPECT_EQ(Bytes(ids[3]), std::vector<uint8_t>(4, 0));
    FreeLunInformation(&info);
    EXPECT_EQ(info.m_szVendorId, nullptr);
  }
}

TEST(LunInformation, BusTypeFollowsTheHostPortKind) {
  EXPECT_EQ(BusTypeOfHostPort(8), VDSBusTypeSas);
  for (uint8_t fc : {4, 5, 6}) EXPECT_EQ(BusTypeOfHostPort(fc), VDSBusTypeFibre);
  for (uint8_t other : {0, 3, 7, 9, 255}) EXPECT_EQ(BusTypeOfHostPort(other), VDSBusTypeUnknown);
}

TEST(QueryIfCreatedLunChecks, AcceptOnlyOurRevisionsWithAllStringsAndABinaryNaa) {
  const BYTE* naa = nullptr;
  for (const char* revision : {"J100", "K", "M2", "N000", "TS25"}) {
    DiskInfo disk;
    disk.revision = revision;
    EXPECT_EQ(FindCreatedLunKey(u"\\\\?\\scsi#disk", *disk.Build(), &naa), S_OK) << revision;
    EXPECT_EQ(naa, disk.naa.data());
  }
  for (const char* revision : {"F100", "t100", "", "1.00"}) {
    DiskInfo disk;
    disk.revision = revision;
    EXPECT_EQ(FindCreatedLunKey(u"\\\\?\\scsi#disk", *disk.Build(), &naa), S_FALSE) << revision;
  }
}

TEST(QueryIfCreatedLunChecks, RefuseInTheirOrder) {
  const BYTE* naa = nullptr;
  {
    // The revision is looked at before anything else: null strings and no NAA don't matter.
    DiskInfo disk;
    VDS_LUN_INFORMATION* info = disk.Build();
    info->m_szProductRevision = nullptr;
    info->m_szVendorId = nullptr;
    EXPECT_EQ(FindCreatedLunKey(nullptr, *info, &naa), S_FALSE);
  }
  for (int missing = 0; missing < 3; ++missing) {
    DiskInfo disk;
    VDS_LUN_INFORMATION* info = disk.Build();
    char** fields[] = {&info->m_szVendorId, &info->m_szProductId, &info->m_szSerialNumber};
    *fields[missing] = nullptr;
    EXPECT_EQ(FindCreatedLunKey(u"\\\\?\\scsi#disk", *info, &naa), S_FALSE) << missing;
  }
  for (const char16_t* path : {u"\\\\?\\ide#disk", u"\\\\?\\IDE#Disk", u"\\\\?\\IdE"}) {
    DiskInfo disk;
    EXPECT_EQ(FindCreatedLunKey(path, *disk.Build(), &naa), S_FALSE);
  }
  {
    DiskInfo disk;
    EXPECT_EQ(FindCreatedLunKey(u"\\\\?\\id", *disk.Build(), &naa), S_OK);  // too short for IDE
  }
}

TEST(QueryIfCreatedLunChecks, TakeTheFirstBinaryFcPhNameOfSixteenBytes) {
  const BYTE* naa = nullptr;
  DiskInfo disk;
  std::vector<uint8_t> shortNaa(8, 0x22);
  std::vector<uint8_t> ascii(16, 0x33);
  disk.ids = {{VDSStorageIdCodeSetBinary, VDSStorageIdTypeFCPHName, 8, shortNaa.data()},
              {VDSStorageIdCodeSetAscii, VDSStorageIdTypeFCPHName, 16, ascii.data()},
              {VDSStorageIdCodeSetBinary, VDSStorageIdTypeVendorSpecific, 16, ascii.data()},
              {VDSStorageIdCodeSetBinary, VDSStorageIdTypeFCPHName, 16, disk.naa.data()}};
  EXPECT_EQ(FindCreatedLunKey(u"\\\\?\\scsi", *disk.Build(), &naa), S_OK);
  EXPECT_EQ(naa, disk.naa.data());

  DiskInfo none;
  none.ids = {{VDSStorageIdCodeSetBinary, VDSStorageIdTypeFCPHName, 8, shortNaa.data()}};
  EXPECT_EQ(FindCreatedLunKey(u"\\\\?\\scsi", *none.Build(), &naa), S_FALSE);

  DiskInfo nullData;
  nullData.ids = {{VDSStorageIdCodeSetBinary, VDSStorageIdTypeFCPHName, 16, nullptr}};
  EXPECT_EQ(FindCreatedLunKey(u"\\\\?\\scsi", *nullData.Build(), &naa), S_FALSE);

  DiskInfo noList;
  noList.Build()->m_deviceIdDescriptor.m_rgIdentifiers = nullptr;
  EXPECT_EQ(FindCreatedLunKey(u"\\\\?\\scsi", noList.info, &naa), S_FALSE);
}

TEST(QueryIfCreatedLunChecks, MatchOnTheLowHalfOfTheNaaForm) {
  uint8_t naa[16];
  NaaFromPartitionSn(kCarrySerial, naa);
  EXPECT_TRUE(NaaMatchesPartitionSn(naa, kCarrySerial));
  naa[0] = 0x65;  // another maker's prefix plays no part
  EXPECT_TRUE(NaaMatchesPartitionSn(naa, kCarrySerial));
  naa[12] ^= 1;
  EXPECT_FALSE(NaaMatchesPartitionSn(naa, kCarrySerial));
}
