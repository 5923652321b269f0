// The LUNs' host paths, load balance policies and path status against the simulator's host view:
// the provider reads the view through its WMI and HBA shims, and its DSM calls land in the
// view's journal.
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "objects/lun.h"
#include "provider/host_inventory.h"
#include "tests/provider/sim_fixture.h"

using nlohmann::json;

namespace {

constexpr uint64_t kSimDsmUniqueId = 0x56454c4100000001ull;
constexpr uint8_t kHostWwn[8] = {0x21, 0x00, 0x02, 0x8c, 0x44, 0x10, 0x00, 0x04};

class MultipathTest : public HostViewTest {
 protected:
  void LoadWithView() {
    StartSimulator("two-subsystems.json");
    ASSERT_EQ(Load(), S_OK);
  }

  std::vector<json> Calls() {
    std::vector<json> calls;
    std::ifstream in(hostViewPath_ + ".calls");
    std::string line;
    while (std::getline(in, line)) calls.push_back(json::parse(line));
    return calls;
  }

  std::vector<VDS_PATH_INFO> Paths(IVdsLunMpio* lun) {
    VDS_PATH_INFO* paths = nullptr;
    LONG count = -1;
    EXPECT_EQ(lun->GetPathInfo(&paths, &count), S_OK);
    std::vector<VDS_PATH_INFO> result(paths, paths + count);
    for (VDS_PATH_INFO& path : result) {
      // Keep a copy of the HBA port in the record's place for the checks; free the original.
      VDS_HBAPORT_PROP* prop = path.pHbaPortProp;
      path.pHbaPortProp = prop != nullptr ? new VDS_HBAPORT_PROP(*prop) : nullptr;
      CoTaskMemFree(prop);
    }
    CoTaskMemFree(paths);
    ownedProps_.insert(ownedProps_.end(), result.begin(), result.end());
    return result;
  }

  ~MultipathTest() override {
    for (VDS_PATH_INFO& path : ownedProps_) delete path.pHbaPortProp;
  }

  std::vector<VDS_PATH_INFO> ownedProps_;
};

}  // namespace

TEST_F(MultipathTest, PathsOfAMappedLunCrossBothControllers) {
  LoadWithView();
  IVdsLunMpio* lun = Lun(u"north_data");
  ASSERT_NE(lun, nullptr);
  auto paths = Paths(lun);
  ASSERT_EQ(paths.size(), 4u);
  std::set<GUID> ports;
  for (size_t i = 0; i < paths.size(); ++i) {
    EXPECT_EQ(paths[i].pathId.ullSourceId, kSimDsmUniqueId);
    EXPECT_EQ(paths[i].type, VDS_HWT_FIBRE_CHANNEL);
    EXPECT_FALSE(IsEqualGUID(paths[i].controllerPortId, GUID_NULL)) << i;
    ports.insert(paths[i].controllerPortId);
    ASSERT_NE(paths[i].pHbaPortProp, nullptr);
    EXPECT_EQ(std::memcmp(paths[i].pHbaPortProp->wwnPort.rguchWwn, kHostWwn, 8), 0);
    EXPECT_EQ(paths[i].pHbaPortProp->status, VDS_HPS_ONLINE);
    if (i > 0) {
      EXPECT_LT(paths[i - 1].pathId.ullPathId, paths[i].pathId.ullPathId);
    }
  }
  EXPECT_EQ(ports.size(), 4u);
  // Controller A owns the vdisk: its ports are active/optimized, B's standby.
  EXPECT_EQ(paths[0].status, VDS_MPS_ONLINE);
  EXPECT_EQ(paths[1].status, VDS_MPS_ONLINE);
  EXPECT_EQ(paths[2].status, VDS_MPS_STANDBY);
  EXPECT_EQ(paths[3].status, VDS_MPS_STANDBY);
}

TEST_F(MultipathTest, WithoutUlpTheOtherControllersPortsAreFoundByTargetMapping) {
  json inventory = ReadInventory("two-subsystems.json");
  for (json& controller : inventory["subsystems"][0]["controllers"])
    controller["controllerMode"] = 0;
  StartSimulator(inventory.dump());
  ASSERT_EQ(Load(), S_OK);
  // Only the owner's ports carry a relative port number in the DSM's view.
  json paths =
      View()["wmi"]["ROOT\\WMI"]["DSM_QueryLBPolicy_V2"][0]["LoadBalancePolicy"]["DSM_Paths"];
  EXPECT_EQ(paths[3]["TargetPort_Identifier"], 0);
  IVdsLunMpio* lun = Lun(u"north_data");
  ASSERT_NE(lun, nullptr);
  std::set<GUID> ports;
  for (const VDS_PATH_INFO& path : Paths(lun)) {
    EXPECT_FALSE(IsEqualGUID(path.controllerPortId, GUID_NULL));
    ports.insert(path.controllerPortId);
  }
  EXPECT_EQ(ports.size(), 4u);
}

TEST_F(MultipathTest, FailedPathAndHostWithoutHbas) {
  StartSimulator("two-subsystems.json");
  json view = View();
  view["wmi"]["ROOT\\WMI"]["DSM_QueryLBPolicy_V2"][0]["LoadBalancePolicy"]["DSM_Paths"][1]
      ["FailedPath"] = 1;
  WriteView(view);
  ASSERT_EQ(Load(), S_OK);
  IVdsLunMpio* lun = Lun(u"north_data");
  ASSERT_NE(lun, nullptr);
  auto paths = Paths(lun);
  ASSERT_EQ(paths.size(), 4u);
  EXPECT_EQ(paths[1].status, VDS_MPS_FAILED);

  // Without HBA ports of its own the host still has the ones the proxy sees connected.
  view["hba"] = json::array();
  WriteView(view);
  ReadHostInventory();
  EXPECT_EQ(Paths(lun).size(), 4u);

  // Without those too no path can be told.
  ASSERT_EQ(simulator_->Admin("fault next 1 status=1 125"), "ok");
  ReadHostInventory();
  EXPECT_TRUE(Paths(lun).empty());
}

TEST_F(MultipathTest, PolicyIsSetThroughTheDsmAndReadBack) {
  LoadWithView();
  IVdsLunMpio* lun = Lun(u"north_data");
  ASSERT_NE(lun, nullptr);
  ULONG flags = 0;
  EXPECT_EQ(lun->GetSupportedLbPolicies(&flags), S_OK);
  EXPECT_EQ(flags, 0x3fu);

  VDS_LOADBALANCE_POLICY_ENUM policy = VDS_LBP_UNKNOWN;
  VDS_PATH_POLICY* read = nullptr;
  LONG count = 0;
  ASSERT_EQ(lun->GetLoadBalancePolicy(&policy, &read, &count), S_OK);
  EXPECT_EQ(policy, VDS_LBP_ROUND_ROBIN_WITH_SUBSET);
  ASSERT_EQ(count, 4);
  std::vector<VDS_PATH_POLICY> input(read, read + count);
  CoTaskMemFree(read);

  for (VDS_LOADBALANCE_POLICY_ENUM bad :
       {VDS_LBP_UNKNOWN, VDS_LBP_VENDOR_SPECIFIC, static_cast<VDS_LOADBALANCE_POLICY_ENUM>(8)}) {
    EXPECT_EQ(lun->SetLoadBalancePolicy(bad, input.data(), count), VDS_E_NOT_SUPPORTED);
  }
  EXPECT_EQ(lun->SetLoadBalancePolicy(VDS_LBP_FAILOVER, input.data(), count - 1),
            VDS_E_NOT_SUPPORTED);
  EXPECT_TRUE(Calls().empty());

  // Failover with path 2 (on controller B) primary: it becomes the preferred path.
  for (VDS_PATH_POLICY& path : input) path.bPrimaryPath = FALSE;
  input[2].bPrimaryPath = TRUE;
  input[3].ulWeight = 9;
  ASSERT_EQ(lun->SetLoadBalancePolicy(VDS_LBP_FAILOVER, input.data(), count), S_OK);
  auto calls = Calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0]["method"], "DsmSetLoadBalancePolicyALUA");
  json sent = calls[0]["in"]["LoadBalancePolicy"];
  EXPECT_EQ(sent["LoadBalancePolicy"], 1);
  ASSERT_EQ(sent["DSM_Paths"].size(), 4u);
  EXPECT_EQ(sent["DSM_Paths"][0]["PreferredPath"], 0);
  EXPECT_EQ(sent["DSM_Paths"][2]["PreferredPath"], 1);
  EXPECT_EQ(sent["DSM_Paths"][3]["PathWeight"], 9);

  VDS_PATH_POLICY* after = nullptr;
  ASSERT_EQ(lun->GetLoadBalancePolicy(&policy, &after, &count), S_OK);
  EXPECT_EQ(policy, VDS_LBP_FAILOVER);
  ASSERT_EQ(count, 4);
  EXPECT_FALSE(after[0].bPrimaryPath);
  EXPECT_TRUE(after[2].bPrimaryPath);  // failover reads the preferred path as primary
  EXPECT_EQ(after[3].ulWeight, 9u);
  CoTaskMemFree(after);
}

TEST_F(MultipathTest, PathStatusByHbaPortReachesEveryPathOfThePort) {
  LoadWithView();
  VDS_HBAPORT_PROP port{};
  port.wwnNode.rguchWwn[0] = 0x20;  // the simulated adapter's node name
  std::memcpy(port.wwnNode.rguchWwn + 1, kHostWwn + 1, 7);
  EXPECT_EQ(provider_->SetAllPathStatusesFromHbaPort(port, VDS_MPS_FAILED), S_OK);
  auto calls = Calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0]["method"], "MorDsmSetPathStatus");
  json set = calls[0]["in"]["setPathStatus"];
  EXPECT_EQ(set["DSMPathStatusCount"], 12);  // three LUNs, four paths each
  EXPECT_EQ(set["DSM_PathStatus"][0]["PathStatus"], VDS_MPS_FAILED);

  IVdsLunMpio* lun = Lun(u"south_db");
  ASSERT_NE(lun, nullptr);
  for (const VDS_PATH_INFO& path : Paths(lun)) EXPECT_EQ(path.status, VDS_MPS_FAILED);

  // A port with no path sends nothing.
  VDS_HBAPORT_PROP other{};
  other.wwnNode.rguchWwn[0] = 0x55;
  EXPECT_EQ(provider_->SetAllPathStatusesFromHbaPort(other, VDS_MPS_ONLINE), S_OK);
  EXPECT_EQ(Calls().size(), 1u);
}

TEST_F(MultipathTest, AFailedInventoryStepKeepsTheLaterVectorsAsTheyWere) {
  LoadWithView();
  HostInventory& inventory = provider_->Inventory();
  ASSERT_EQ(inventory.mpioVec.size(), 3u);
  ASSERT_EQ(inventory.HBA_vec.size(), 1u);
  ASSERT_EQ(inventory.DsmLoadPolicyVec.size(), 3u);

  json view = View();
  view["wmi"]["ROOT\\WMI"]["DSM_QueryLBPolicy_V2"][1]["LoadBalancePolicy"]["DSM_Paths"] = 5;
  view["wmi"]["ROOT\\WMI"]["MPIO_GET_DESCRIPTOR"].erase(2);
  view["hba"] = json::array();
  WriteView(view);
  ReadHostInventory();
  EXPECT_EQ(inventory.mpioVec.size(), 2u);           // read anew
  EXPECT_EQ(inventory.mpioDsmPathV2Vec.size(), 1u);  // up to the failure
  EXPECT_EQ(inventory.HBA_vec.size(), 1u);           // not read again
  EXPECT_EQ(inventory.DsmLoadPolicyVec.size(), 3u);

  // No multipath software: the first class fails and the rest stays.
  WriteView(json::object());
  ReadHostInventory();
  EXPECT_TRUE(inventory.mpioVec.empty());
  EXPECT_EQ(inventory.mpioDiskInfoVec.size(), 3u);
}

TEST_F(MultipathTest, ANewMappingsPathsShowAtTheNextPathQuestion) {
  // north_logs starts mapped to another host only.
  json inventory = ReadInventory("two-subsystems.json");
  inventory["subsystems"][0]["vdisks"][0]["partitions"][1]["hosts"][0]["wwpn"] =
      "21:00:00:00:00:00:00:99";
  StartSimulator(inventory.dump());
  ASSERT_EQ(Load(), S_OK);
  CLun* lun = Lun(u"north_logs");
  ASSERT_NE(lun, nullptr);
  EXPECT_TRUE(Paths(lun).empty());
  std::u16string host = u"2100028C44100004";
  ASSERT_EQ(lun->SetMask(host.data()), S_OK);
  // The simulator rewrote the view with the new disk; the mark makes the provider read it.
  EXPECT_EQ(Paths(lun).size(), 4u);
}
