// Controller states, vdisk health and jobs, naming and spares.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "proxy/wire_format.h"
#include "tests/objects/object_test_support.h"
#include "tests/provider/sim_journal.h"

namespace {

using nlohmann::json;

json OneVdisk(int raidLevel, const std::vector<std::string>& members, int health, int utility) {
  return {{"name", "VD"},
          {"raidLevel", raidLevel},
          {"members", members},
          {"owner", "A"},
          {"health", health},
          {"utilityRunning", utility},
          {"partitions", json::array({{{"name", "LUN"}, {"blocks", 1048576}, {"lun", 0}}})}};
}

class States : public ObjectTest {};

TEST_F(States, ControllerStateOneIsOfflineWithPortsAndPoolsButNoVolumes) {
  json sub = SubsystemJson("STATE00001");
  sub["drives"] = json::array({DrivesJson(4, 0, 4, "SAS{n}")});
  sub["vdisks"] = json::array({OneVdisk(5, {"SAS0000", "SAS0001", "SAS0002"}, 0, 0)});
  sub["controllers"][0]["controllerState"] = 1;
  sub["controllers"][1]["controllerState"] = 2;
  LoadInventory(InventoryJson({sub}));
  ComPtr<IVdsSubSystem> subSystem = SubSystem();
  auto controllers = Controllers(subSystem.Get());
  ASSERT_EQ(controllers.size(), 2u);
  for (const auto& controller : controllers) {
    VDS_CONTROLLER_PROP prop{};
    ASSERT_EQ(controller->GetProperties(&prop), S_OK);
    Take(prop.pwszFriendlyName);
    Take(prop.pwszIdentification);
    EXPECT_EQ(prop.status, VDS_CS_OFFLINE);
    EXPECT_EQ(prop.health, VDS_H_FAILED);
  }
  // No drive and no volume from either; A (state 1) still has its ports, B (state 2) none.
  EXPECT_TRUE(Drives(subSystem.Get()).empty());
  EXPECT_TRUE(Luns(subSystem.Get()).empty());
  auto portsOf = [](IVdsController* controller) {
    ComPtr<IVdsControllerControllerPort> withPorts;
    EXPECT_EQ(
        controller->QueryInterface(IID_IVdsControllerControllerPort,
                                   reinterpret_cast<void**>(withPorts.ReleaseAndGetAddressOf())),
        S_OK);
    IEnumVdsObject* list = nullptr;
    EXPECT_EQ(withPorts->QueryControllerPorts(&list), S_OK);
    return ListOf<IVdsControllerPort>(list).size();
  };
  EXPECT_EQ(portsOf(controllers[0].Get()), 2u);
  EXPECT_EQ(portsOf(controllers[1].Get()), 0u);
  // The vdisk pool is there, the primordial ones are not (no drives).
  auto pools = Pools();
  ASSERT_EQ(pools.size(), 1u);
  EXPECT_EQ(ViewOf(pools[0].Get()).name, "Vdisk VD");
}

struct HealthCase {
  int raidLevel;
  int health;
  int utility;
  VDS_LUN_STATUS status;
  VDS_HEALTH lunHealth;
  VDS_TRANSITION_STATE transition;
  VDS_STORAGE_POOL_STATUS poolStatus;
  VDS_HEALTH poolHealth;
};

TEST_F(States, VdiskHealthAndJobsOnLunsAndPools) {
  const HealthCase cases[] = {
      {5, 0, 0, VDS_LS_ONLINE, VDS_H_HEALTHY, VDS_TS_STABLE, VDS_SPS_ONLINE, VDS_H_HEALTHY},
      {5, 1, 0, VDS_LS_ONLINE, VDS_H_FAILING_REDUNDANCY, VDS_TS_STABLE, VDS_SPS_ONLINE,
       VDS_H_DEGRADED},
      {5, 1, 4, VDS_LS_ONLINE, VDS_H_FAILING_REDUNDANCY, VDS_TS_STABLE, VDS_SPS_ONLINE,
       VDS_H_REBUILDING},
      // A rebuild shows over a degraded health; an expansion only in the transition state.
      {5, 1, 3, VDS_LS_ONLINE, VDS_H_REBUILDING, VDS_TS_STABLE, VDS_SPS_ONLINE, VDS_H_REBUILDING},
      {5, 0, 5, VDS_LS_ONLINE, VDS_H_HEALTHY, VDS_TS_EXTENDING, VDS_SPS_ONLINE, VDS_H_HEALTHY},
      {5, 2, 0, VDS_LS_ONLINE, VDS_H_FAILING_REDUNDANCY, VDS_TS_STABLE, VDS_SPS_ONLINE,
       VDS_H_DEGRADED},
      {0, 2, 2, VDS_LS_ONLINE, VDS_H_HEALTHY, VDS_TS_STABLE, VDS_SPS_ONLINE, VDS_H_DEGRADED},
      {6, 2, 0, VDS_LS_ONLINE, VDS_H_HEALTHY, VDS_TS_STABLE, VDS_SPS_ONLINE, VDS_H_HEALTHY},
      {5, 3, 0, VDS_LS_OFFLINE, VDS_H_FAILED, VDS_TS_STABLE, VDS_SPS_OFFLINE, VDS_H_FAILED},
      {5, 5, 0, VDS_LS_FAILED, VDS_H_FAILED, VDS_TS_STABLE, VDS_SPS_OFFLINE, VDS_H_FAILED},
      {5, 7, 0, VDS_LS_ONLINE, VDS_H_HEALTHY, VDS_TS_STABLE, VDS_SPS_OFFLINE, VDS_H_UNKNOWN},
  };
  std::vector<json> subsystems;
  for (size_t i = 0; i < std::size(cases); ++i) {
    const HealthCase& c = cases[i];
    json sub = SubsystemJson("HEALTH" + std::to_string(1000 + i));
    sub["controllers"][0]["handle"] = 3000 + 2 * i;
    sub["controllers"][1]["handle"] = 3001 + 2 * i;
    sub["drives"] = json::array({DrivesJson(3, 0, 4, "H" + std::to_string(i) + "_{n}")});
    std::vector<std::string> members;
    const std::string prefix = "H" + std::to_string(i) + "_";
    members = c.raidLevel == 6
                  ? std::vector<std::string>{prefix + "0000"}
                  : std::vector<std::string>{prefix + "0000", prefix + "0001", prefix + "0002"};
    sub["vdisks"] = json::array({OneVdisk(c.raidLevel, members, c.health, c.utility)});
    subsystems.push_back(sub);
  }
  json inventory = InventoryJson(subsystems);
  // Jobs stand still, so the states they give stay to be seen.
  inventory["globals"] = {{"jobPercentPerSecond", 0}};
  LoadInventory(inventory);
  for (size_t n = 0; n < std::size(cases); ++n) {
    ComPtr<IVdsSubSystem> sub = SubSystem(n);
    ASSERT_TRUE(sub);
    VDS_SUB_SYSTEM_PROP prop{};
    ASSERT_EQ(sub->GetProperties(&prop), S_OK);
    Take(prop.pwszIdentification);
    const std::string name = Take(prop.pwszFriendlyName);  // array-HEALTH1<i>
    const size_t i = std::stoul(name.substr(name.size() - 4)) - 1000;
    ASSERT_LT(i, std::size(cases));
    const HealthCase& c = cases[i];
    auto luns = Luns(sub.Get());
    ASSERT_EQ(luns.size(), 1u) << i;
    const LunView lun = ViewOf(luns[0].Get());
    EXPECT_EQ(lun.prop.status, c.status) << "case " << i;
    EXPECT_EQ(lun.prop.health, c.lunHealth) << "case " << i;
    EXPECT_EQ(lun.prop.TransitionState, c.transition) << "case " << i;
  }
  int checked = 0;
  for (const auto& pool : Pools()) {
    const PoolView view = ViewOf(pool.Get());
    if (view.prop.type != VDS_SPT_CONCRETE) continue;
    const std::string sn = view.description.substr(view.description.find("HEALTH") + 6, 4);
    const HealthCase& c = cases[std::stoi(sn) - 1000];
    EXPECT_EQ(view.prop.status, c.poolStatus) << view.description;
    EXPECT_EQ(view.prop.health, c.poolHealth) << view.description;
    ++checked;
  }
  EXPECT_EQ(checked, static_cast<int>(std::size(cases)));
}

TEST_F(States, SetFriendlyNameUpToEightyCharacters) {
  json other = SubsystemJson("NAMES00002");
  other["controllers"][0]["handle"] = 4001;
  other["controllers"][1]["handle"] = 4002;
  LoadInventory(InventoryJson({SubsystemJson("NAMES00001"), other}));
  ComPtr<IVdsSubSystem> sub = SubSystem(0);
  std::u16string taken;
  {
    VDS_SUB_SYSTEM_PROP prop{};
    ASSERT_EQ(SubSystem(1)->GetProperties(&prop), S_OK);
    Take(prop.pwszIdentification);
    taken = Utf8ToUtf16(Take(prop.pwszFriendlyName));
  }
  ComPtr<IVdsSubSystemNaming> naming;
  ASSERT_EQ(sub->QueryInterface(IID_IVdsSubSystemNaming,
                                reinterpret_cast<void**>(naming.ReleaseAndGetAddressOf())),
            S_OK);
  auto name = [&] {
    VDS_SUB_SYSTEM_PROP prop{};
    EXPECT_EQ(sub->GetProperties(&prop), S_OK);
    Take(prop.pwszIdentification);
    return Take(prop.pwszFriendlyName);
  };
  ReadJournal(simulator_.get());
  std::u16string eighty(80, u'n');
  EXPECT_EQ(naming->SetFriendlyName(eighty.data()), S_OK);
  EXPECT_EQ(name(), std::string(80, 'n'));
  EXPECT_EQ(Only(ReadJournal(simulator_.get()), SET_ADV_NET_INTERFACE).size(), 1u);
  // 81 characters are cut; the object shows the old name until the next refresh.
  std::u16string longer(81, u'm');
  EXPECT_EQ(naming->SetFriendlyName(longer.data()), VDS_S_NAME_TRUNCATED);
  EXPECT_EQ(name(), std::string(80, 'n'));
  ASSERT_EQ(static_cast<IVdsHwProvider*>(provider_)->Refresh(), S_OK);
  EXPECT_EQ(name(), std::string(80, 'm'));
  // Another subsystem's name is taken.
  EXPECT_EQ(naming->SetFriendlyName(taken.data()), VDS_E_NAME_NOT_UNIQUE);
  EXPECT_EQ(naming->SetFriendlyName(nullptr), E_POINTER);
}

TEST_F(States, AtMostEightPoolSpares) {
  json sub = SubsystemJson("SPARE00001");
  sub["drives"] = json::array({DrivesJson(8, 0, 4, "SP{n}"), DrivesJson(2, 8, 4, "FREE{n}")});
  sub["drives"][0]["howUsed"] = 3;
  LoadInventory(InventoryJson({sub}));
  ComPtr<IVdsSubSystem> subSystem = SubSystem();
  auto drives = Drives(subSystem.Get());
  ASSERT_EQ(drives.size(), 10u);
  // A pool spare can't be made one again; a bit other than the hot-spare bit is refused.
  EXPECT_EQ(drives[0]->SetFlags(VDS_DF_HOTSPARE), VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(drives[8]->SetFlags(0x2), E_INVALIDARG);
  // Eight spares already: the ninth is refused before the proxy is asked.
  EXPECT_EQ(drives[8]->SetFlags(VDS_DF_HOTSPARE), VDS_E_NOT_SUPPORTED);
  // A spare that goes back leaves seven, and the next free drive may become one.
  EXPECT_EQ(drives[0]->ClearFlags(VDS_DF_HOTSPARE), S_OK);
  drives = Drives(subSystem.Get());  // the refresh runs here
  EXPECT_EQ(ViewOf(drives[0].Get()).prop.ulFlags, 0u);
  EXPECT_EQ(drives[8]->SetFlags(0), S_OK);
  drives = Drives(subSystem.Get());
  EXPECT_EQ(ViewOf(drives[8].Get()).prop.ulFlags, ULONG{VDS_DF_HOTSPARE});
  EXPECT_EQ(ViewOf(drives[8].Get()).prop2.ulFlags, 0x15u);
}

TEST_F(States, MirrorOfFourDrivesWithOneGone) {
  json sub = SubsystemJson("MIRROR0001");
  // M0003 (member order 3, so of the second plex) has left the enclosure.
  sub["drives"] = json::array({DrivesJson(3, 0, 4, "M{n}"), DrivesJson(1, 3, 4, "M{n}")});
  sub["drives"][1]["present"] = false;
  sub["vdisks"] = json::array({OneVdisk(1, {"M0000", "M0001", "M0002", "M0003"}, 1, 0)});
  LoadInventory(InventoryJson({sub}));
  ComPtr<IVdsSubSystem> subSystem = SubSystem();
  auto luns = Luns(subSystem.Get());
  ASSERT_EQ(luns.size(), 1u);
  IEnumVdsObject* list = nullptr;
  ASSERT_EQ(luns[0]->QueryPlexes(&list), S_OK);
  auto plexes = ListOf<IVdsLunPlex>(list);
  ASSERT_EQ(plexes.size(), 2u);
  std::set<std::pair<int, int>> states;
  for (const auto& plex : plexes) {
    VDS_LUN_PLEX_PROP prop{};
    ASSERT_EQ(plex->GetProperties(&prop), S_OK);
    EXPECT_EQ(prop.type, VDS_LPT_STRIPE);
    states.insert({prop.status, prop.health});
  }
  // The whole half is online and healthy, the other failed; the LUN has lost its redundancy.
  EXPECT_EQ(states, (std::set<std::pair<int, int>>{{VDS_LPS_ONLINE, VDS_H_HEALTHY},
                                                   {VDS_LPS_FAILED, VDS_H_FAILED}}));
  const LunView lun = ViewOf(luns[0].Get());
  EXPECT_EQ(lun.prop.type, VDS_LT_MIRROR);
  EXPECT_EQ(lun.prop.health, VDS_H_FAILED_REDUNDANCY);
}

}  // namespace
