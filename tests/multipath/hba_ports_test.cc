// HBA ports through the HBA API: a test library with known adapters, the real library of this
// machine, broken libraries, and the host view's "hba" member.
#include "multipath/hba_ports.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/multipath/host_view_support.h"

using nlohmann::json;

namespace {

// No host view: the HBA API is a library.
class HbaLibraryTest : public ::testing::Test {
 protected:
  HbaLibraryTest() : noView_("VELA_HOST_VIEW", "") { unsetenv("VELA_HOST_VIEW"); }
  ScopedEnv noView_;
};

const uint8_t kPort0[8] = {0x21, 0x00, 0x00, 0x24, 0xff, 0x00, 0x00, 0x20};

}  // namespace

TEST_F(HbaLibraryTest, TestLibraryGivesEveryPortOfEveryAdapter) {
  ScopedEnv library("VELA_HBAAPI_LIBRARY", VELA_TEST_HBAAPI);
  std::vector<HbaPortEntry> ports;
  ASSERT_EQ(GetHbaPortProp(ports), 0u);
  ASSERT_EQ(ports.size(), 3u);
  EXPECT_EQ(std::memcmp(ports[0].prop.wwnPort.rguchWwn, kPort0, 8), 0);
  EXPECT_EQ(ports[0].prop.wwnNode.rguchWwn[7], 0x10);
  EXPECT_EQ(ports[0].prop.type, VDS_HPT_NPORT);
  EXPECT_EQ(ports[0].prop.status, VDS_HPS_ONLINE);
  EXPECT_EQ(ports[0].prop.ulPortSpeed, 2u);
  EXPECT_EQ(ports[0].prop.ulSupportedPortSpeed, 3u);
  EXPECT_EQ(ports[0].scsiPortNumber, 3u);
  EXPECT_EQ(ports[1].scsiPortNumber, 12u);
  EXPECT_EQ(ports[2].scsiPortNumber, 0u);  // an OS name without a number
  EXPECT_EQ(ports[2].prop.wwnNode.rguchWwn[7], 0x11);

  HbaPortEntry found = FindHbaEntry(ports, ports[1].prop.wwnPort.rguchWwn);
  EXPECT_EQ(found.scsiPortNumber, 12u);
  const uint8_t unknown[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(FindHbaEntry(ports, unknown).scsiPortNumber, 0u);
}

TEST_F(HbaLibraryTest, TargetMappingsListEachTargetOnce) {
  ScopedEnv library("VELA_HBAAPI_LIBRARY", VELA_TEST_HBAAPI);
  std::vector<HBA_FCPSCSIENTRYV2> rows;
  GetTargetMappings(kPort0, rows);
  ASSERT_EQ(rows.size(), 2u);  // target 0 has two LUNs
  EXPECT_EQ(rows[0].ScsiId.ScsiTargetNumber, 0u);
  EXPECT_EQ(rows[0].FcpId.PortWWN.wwn[7], 0xa0);
  EXPECT_EQ(rows[1].ScsiId.ScsiTargetNumber, 1u);
  EXPECT_EQ(rows[1].FcpId.PortWWN.wwn[7], 0xa1);
}

TEST_F(HbaLibraryTest, RealLibraryOnAHostWithoutAdaptersGivesAnEmptyList) {
  ScopedEnv library("VELA_HBAAPI_LIBRARY", "libHBAAPI.so.2");
  std::vector<HbaPortEntry> ports;
  EXPECT_EQ(GetHbaPortProp(ports), 0u);
  EXPECT_TRUE(ports.empty());
}

TEST_F(HbaLibraryTest, BrokenLibrariesGiveAnEmptyList) {
  std::vector<HbaPortEntry> ports;
  {
    ScopedEnv library("VELA_HBAAPI_LIBRARY", "/nonexistent/libHBAAPI.so.2");
    EXPECT_NE(GetHbaPortProp(ports), 0u);
    EXPECT_NE(HbaLibraryProblem().find("can't be loaded"), std::string::npos);
  }
  {
    ScopedEnv library("VELA_HBAAPI_LIBRARY", VELA_TEST_HBAAPI_PARTIAL);
    EXPECT_NE(GetHbaPortProp(ports), 0u);
    EXPECT_NE(HbaLibraryProblem().find("lacks HBA_FreeLibrary"), std::string::npos);
  }
  ScopedEnv library("VELA_HBAAPI_LIBRARY", VELA_TEST_HBAAPI);
  {
    // A load that fails with no adapter behind it is a host without adapters.
    ScopedEnv mode("FAKE_HBA_MODE", "fail");
    EXPECT_EQ(GetHbaPortProp(ports), 0u);
    EXPECT_NE(HbaLibraryProblem().find("vendor libraries"), std::string::npos);
  }
  {
    ScopedEnv mode("FAKE_HBA_MODE", "absurd");
    EXPECT_EQ(GetHbaPortProp(ports), 0u);
  }
  EXPECT_TRUE(ports.empty());
}

TEST(HbaView, TheViewsAdaptersServeInsteadOfTheLibrary) {
  HostViewFile view;
  ScopedEnv library("VELA_HBAAPI_LIBRARY", "/nonexistent/libHBAAPI.so.2");
  json port = {{"NodeWWN", "2000001b32a0b0c0"},
               {"PortWWN", "2100001b32a0b0c0"},
               {"PortType", 5},
               {"PortState", 2},
               {"PortSpeed", 8},
               {"PortSupportedSpeed", 14},
               {"OSDeviceName", "host5"},
               {"targetMappings",
                {{{"ScsiId", {{"ScsiBusNumber", 0}, {"ScsiTargetNumber", 2}, {"ScsiOSLun", 0}}},
                  {"FcpId", {{"PortWWN", "5000c50000000001"}}}}}}};
  view.Write(
      {{"hba",
        {{{"name", "view-0"}, {"attributes", {{"Manufacturer", "V"}}}, {"ports", {port}}}}}});
  std::vector<HbaPortEntry> ports;
  ASSERT_EQ(GetHbaPortProp(ports), 0u);
  ASSERT_EQ(ports.size(), 1u);
  EXPECT_EQ(ports[0].scsiPortNumber, 5u);
  EXPECT_EQ(ports[0].prop.ulPortSpeed, 8u);
  EXPECT_EQ(ports[0].prop.wwnPort.rguchWwn[0], 0x21);
  std::vector<HBA_FCPSCSIENTRYV2> rows;
  GetTargetMappings(ports[0].prop.wwnPort.rguchWwn, rows);
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].ScsiId.ScsiTargetNumber, 2u);
  EXPECT_EQ(rows[0].FcpId.PortWWN.wwn[0], 0x50);

  // A WWN that is not 16 hex digits, or a port list that is not an array, fails the load.
  port["PortWWN"] = "21-00";
  view.Write({{"hba", {{{"name", "view-0"}, {"ports", {port}}}}}});
  ports.clear();
  EXPECT_NE(GetHbaPortProp(ports), 0u);
  EXPECT_NE(HbaLibraryProblem().find("PortWWN"), std::string::npos);
  view.Write({{"hba", {{{"name", "view-0"}, {"ports", 3}}}}});
  EXPECT_NE(GetHbaPortProp(ports), 0u);
  EXPECT_TRUE(ports.empty());
}

TEST(ConnectedHba, BestMatchFallsBackToThePortNumber) {
  std::vector<ConnectedHba> list = {{'F', 1, 0, 0, {1}}, {'F', 2, 0, 5, {2}}, {'F', 2, 1, 6, {3}}};
  EXPECT_EQ(FindConnectedWwpn(list, 2, 1, 6)[0], 3);
  EXPECT_EQ(FindConnectedWwpn(list, 2, 1, 9)[0], 3);  // same port and bus
  EXPECT_EQ(FindConnectedWwpn(list, 2, 7, 9)[0], 2);  // same port
  EXPECT_EQ(FindConnectedWwpn(list, 3, 0, 0), nullptr);
}
