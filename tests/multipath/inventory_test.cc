// The WMI inventory readers over host views: what each vector gets, and the failure paths of
// bad input (which end a reader, never the process).
#include <gtest/gtest.h>

#include "multipath/vds_wmi.h"
#include "tests/multipath/host_view_support.h"

using nlohmann::json;

namespace {

TestDisk Disk(const std::string& suffix, const std::string& name, const std::string& serial,
              uint64_t firstPath) {
  return {"MPIO\\Disk&Ven_Vela&Prod_X\\1&7f6ac24&0&" + suffix + "_0",
          name,
          serial,
          2,
          {{firstPath, 3, 0, 0, 1, 1, 0, 1}, {firstPath + 1, 4, 1, 2, 0, 1, 0, 3}}};
}

class InventoryTest : public ::testing::Test {
 protected:
  void TearDown() override { VdsWmi::Disconnect(); }
  bool Connect() { return VdsWmi::Connect(); }
  HostViewFile view_;
};

}  // namespace

TEST_F(InventoryTest, NoMultipathSoftwareFailsTheFirstClass) {
  view_.Write(json::object());
  ASSERT_TRUE(Connect());
  std::vector<MpioDescriptor> mpioVec;
  EXPECT_EQ(VdsWmi::WmiGetMpioDescriptor(mpioVec), WBEM_E_INVALID_CLASS);
  EXPECT_TRUE(mpioVec.empty());
  std::vector<DsmLoadPolicy> policies;
  EXPECT_NE(VdsWmi::QueryLBPolicy(policies), 0);
}

TEST_F(InventoryTest, DisksPairWithDescriptorsByTheNumberInTheirNames) {
  // The descriptors list disk 12 first; MPIO_DISK_INFO lists disk 3 first, then one that no
  // descriptor has.
  TestDisk d12 = Disk("12", "MPIO Disk12", "SER12", 2001);
  TestDisk d3 = Disk("3", "MPIO Disk3", "SER3", 1001);
  json ns = MpioNamespace({d12, d3});
  ns["MPIO_DISK_INFO"][0]["DriveInfo"] =
      json::array({{{"Name", "MPIO Disk3"}, {"SerialNumber", "SER3"}},
                   {{"Name", "MPIO Disk12"}, {"SerialNumber", "SER12"}},
                   {{"Name", "MPIO Disk7"}, {"SerialNumber", "SER7"}},
                   {{"Name", "MPIO Disk"}, {"SerialNumber", "NODIGITS"}}});
  view_.Write({{"wmi", {{"ROOT\\WMI", ns}}}});
  ASSERT_TRUE(Connect());

  std::vector<MpioDescriptor> mpioVec;
  ASSERT_EQ(VdsWmi::WmiGetMpioDescriptor(mpioVec), 0);
  ASSERT_EQ(mpioVec.size(), 2u);
  EXPECT_EQ(mpioVec[0].numPdoInfo, 2u);
  EXPECT_EQ(mpioVec[0].pdoInfo[1].ullPathId, 2002u);
  EXPECT_EQ(mpioVec[0].pdoInfo[1].PortNumber, 4u);
  EXPECT_EQ(mpioVec[0].pdoInfo[1].TargetId, 1u);

  std::vector<MpioDiskInfo> disks;
  ASSERT_EQ(VdsWmi::WmiGetMpioDiskInfo(disks), 0);
  ASSERT_EQ(disks.size(), 4u);
  EXPECT_EQ(disks[0].deviceNumber, 3u);
  EXPECT_EQ(disks[0].instanceName, u"MPIO\\Disk&Ven_Vela&Prod_X\\1&7f6ac24&0&3_0");
  EXPECT_EQ(disks[1].deviceNumber, 12u);
  EXPECT_EQ(disks[1].serialNumber, "SER12");
  EXPECT_EQ(disks[1].instanceName, u"MPIO\\Disk&Ven_Vela&Prod_X\\1&7f6ac24&0&12_0");
  EXPECT_TRUE(disks[2].instanceName.empty());  // no descriptor
  EXPECT_EQ(disks[3].deviceNumber, kNoDeviceNumber);
  EXPECT_TRUE(disks[3].instanceName.empty());

  std::vector<MpioDsmPathV2List> v2;
  ASSERT_EQ(VdsWmi::WmiGetMpioDsmPathV2(v2), 0);
  ASSERT_EQ(v2.size(), 2u);
  EXPECT_EQ(v2[1].numDsmPathV2, 2u);
  EXPECT_EQ(v2[1].LoadBalancePolicy, 2u);
  EXPECT_EQ(v2[1].paths[1].DsmPathId, 1002u);
  EXPECT_EQ(v2[1].paths[1].TargetPortGroup_State, 2u);
  EXPECT_EQ(v2[1].paths[1].TargetPort_Identifier, 3u);

  std::vector<DsmInfo> dsms;
  ASSERT_EQ(VdsWmi::WmiGetDSMInfo(dsms), 0);
  ASSERT_EQ(dsms.size(), 1u);
  EXPECT_EQ(dsms[0].DsmUniqueId, UINT64_MAX);

  std::vector<DsmLoadPolicy> policies;
  ASSERT_EQ(VdsWmi::QueryLBPolicy(policies), 0);
  ASSERT_EQ(policies.size(), 2u);
  EXPECT_EQ(policies[0].Version, 1u);
  EXPECT_EQ(policies[0].DSMPathCount, 2u);
  EXPECT_EQ(policies[0].DSM_Paths[0].DsmPathId, 2001u);
  EXPECT_EQ(policies[0].DSM_Paths[0].PrimaryPath, 1u);
}

TEST_F(InventoryTest, DescriptorReadStopsAtABadElementKeepingWhatItRead) {
  json ns = MpioNamespace({Disk("3", "MPIO Disk3", "S3", 1001), Disk("4", "MPIO Disk4", "S4", 11)});
  ns["MPIO_GET_DESCRIPTOR"][1]["PdoInformation"][0]["ScsiAddress"] = "not an object";
  view_.Write({{"wmi", {{"ROOT\\WMI", ns}}}});
  ASSERT_TRUE(Connect());
  std::vector<MpioDescriptor> mpioVec;
  EXPECT_EQ(VdsWmi::WmiGetMpioDescriptor(mpioVec), 0);
  EXPECT_EQ(mpioVec.size(), 1u);

  // A path identifier that overflows 64 bits is a bad element too.
  ns = MpioNamespace({Disk("3", "MPIO Disk3", "S3", 1001)});
  ns["MPIO_GET_DESCRIPTOR"][0]["PdoInformation"][1]["PathIdentifier"] = "18446744073709551616";
  view_.Write({{"wmi", {{"ROOT\\WMI", ns}}}});
  VdsWmi::Disconnect();
  ASSERT_TRUE(Connect());
  mpioVec.clear();
  EXPECT_EQ(VdsWmi::WmiGetMpioDescriptor(mpioVec), 0);
  EXPECT_TRUE(mpioVec.empty());
}

TEST_F(InventoryTest, ArraysLongerThanTheRecordsFailTheirReader) {
  TestDisk wide = Disk("3", "MPIO Disk3", "S3", 1);
  for (uint64_t id = 3; id <= 17; ++id) wide.paths.push_back({id, 3, 0, 0, 1, 1, 0, 1});
  ASSERT_EQ(wide.paths.size(), 17u);
  view_.Write(MpioView({wide}));
  ASSERT_TRUE(Connect());
  std::vector<MpioDescriptor> mpioVec;
  EXPECT_EQ(VdsWmi::WmiGetMpioDescriptor(mpioVec), 0);
  EXPECT_TRUE(mpioVec.empty());
  std::vector<MpioDsmPathV2List> v2;
  EXPECT_NE(VdsWmi::WmiGetMpioDsmPathV2(v2), 0);
  EXPECT_TRUE(v2.empty());
  // 17 paths fit the load balance record (128), 129 don't.
  std::vector<DsmLoadPolicy> policies;
  EXPECT_EQ(VdsWmi::QueryLBPolicy(policies), 0);
  for (uint64_t id = 18; id <= 129; ++id) wide.paths.push_back({id, 3, 0, 0, 1, 1, 0, 1});
  view_.Write(MpioView({wide}));
  policies.clear();
  EXPECT_NE(VdsWmi::QueryLBPolicy(policies), 0);
  EXPECT_TRUE(policies.empty());
}

TEST_F(InventoryTest, WrongTypesFailTheReaderThatMeetsThem) {
  json ns = MpioNamespace({Disk("3", "MPIO Disk3", "S3", 1001)});
  ns["DSM_QueryLBPolicy_V2"][0]["LoadBalancePolicy"]["DSM_Paths"] = "none";
  ns["Dsm_QueryUniqueId"][0]["DsmUniqueId"] = 5;  // a number where WMI gives decimal text
  ns["MPIO_DISK_INFO"][0]["DriveInfo"][0]["SerialNumber"] = json::array({1, 2});
  view_.Write({{"wmi", {{"ROOT\\WMI", ns}}}});
  ASSERT_TRUE(Connect());
  std::vector<MpioDsmPathV2List> v2;
  EXPECT_NE(VdsWmi::WmiGetMpioDsmPathV2(v2), 0);
  std::vector<DsmInfo> dsms;
  EXPECT_NE(VdsWmi::WmiGetDSMInfo(dsms), 0);
  std::vector<MpioDiskInfo> disks;
  EXPECT_NE(VdsWmi::WmiGetMpioDiskInfo(disks), 0);
}

TEST_F(InventoryTest, WithoutAConnectionOnlyTheDescriptorReadSucceeds) {
  view_.WriteText("[not an object]");
  EXPECT_FALSE(Connect());
  VdsWmi::Disconnect();
  std::vector<MpioDescriptor> mpioVec;
  EXPECT_EQ(VdsWmi::WmiGetMpioDescriptor(mpioVec), 0);
  std::vector<MpioDiskInfo> disks;
  EXPECT_NE(VdsWmi::WmiGetMpioDiskInfo(disks), 0);
  std::vector<DsmInfo> dsms;
  EXPECT_NE(VdsWmi::WmiGetDSMInfo(dsms), 0);
}

TEST_F(InventoryTest, DevicePerfCutsTheIdentifierIntoItsFields) {
  json identifier = json::array();
  for (int i = 0; i < 26; ++i) identifier.push_back(i + 1);
  json entry = {{"PathId", "4660"}, {"PortNumber", 0x103},     {"ScsiPathId", 1}, {"TargetId", 2},
                {"Lun", 7},         {"Identifier", identifier}};
  view_.Write({{"wmi",
                {{"ROOT\\WMI",
                  {{"MORDSM_PERFINFO",
                    {{{"InstanceName", "D0"}, {"PerfInfo", json::array({entry})}}}}}}}}});
  ASSERT_TRUE(Connect());
  std::vector<DevPerfEntry> perf;
  ASSERT_EQ(VdsWmi::WmiGetDevicePerf(perf), 0);
  ASSERT_EQ(perf.size(), 1u);
  EXPECT_EQ(perf[0].ullPathId, 4660u);
  EXPECT_EQ(perf[0].PortNumber, 3u);  // the low byte
  EXPECT_EQ(perf[0].hbaPortWWN[0], 5);
  EXPECT_EQ(perf[0].ctrlPortWWN[7], 20);
  EXPECT_EQ(perf[0].lunKey[0], 21);
  EXPECT_EQ(perf[0].pathState, 26);

  // An identifier too short to cut up fails the read.
  identifier.erase(identifier.end() - 1);
  entry["Identifier"] = identifier;
  view_.Write({{"wmi",
                {{"ROOT\\WMI",
                  {{"MORDSM_PERFINFO",
                    {{{"InstanceName", "D0"}, {"PerfInfo", json::array({entry})}}}}}}}}});
  VdsWmi::Disconnect();
  ASSERT_TRUE(Connect());
  perf.clear();
  EXPECT_NE(VdsWmi::WmiGetDevicePerf(perf), 0);
  EXPECT_TRUE(perf.empty());
}
