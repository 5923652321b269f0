// The provider against tidegate-sim: load, list, refresh in place, monitor, unload.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "platform/clock.h"
#include "provider/host_inventory.h"
#include "proxy/session.h"
#include "tests/provider/sim_fixture.h"

namespace {

using LoadTest = SimProviderTest;

TEST_F(LoadTest, TwoSubsystemsGetOneMonitorEach) {
  StartSimulator("two-subsystems.json");
  ASSERT_EQ(Load(), S_OK);
  EXPECT_TRUE(isProviderOnline.load());
  EXPECT_EQ(SubSystemIds().size(), 2u);
  EXPECT_EQ(provider_->MonitorThreadCount(), 2u);
  EXPECT_EQ(ControllerIds().size(), 4u);
  // Without a callback no monitor starts.
  Unload();
  ASSERT_EQ(Load(/*withSink=*/false), S_OK);
  EXPECT_EQ(SubSystemIds().size(), 2u);
  EXPECT_EQ(provider_->MonitorThreadCount(), 0u);
}

// A proxy service with no arrays attached, or whose only subsystem has iSCSI ports alone: online
// with nothing to show and nothing to watch.
TEST_F(LoadTest, NoFibreChannelSubsystemIsOnlineWithoutMonitorThreads) {
  for (const char* inventory : {"empty.json", "iscsi-only.json"}) {
    StartSimulator(inventory);
    ASSERT_EQ(Load(), S_OK) << inventory;
    EXPECT_TRUE(isProviderOnline.load()) << inventory;
    EXPECT_EQ(provider_->MonitorThreadCount(), 0u) << inventory;
    // The empty map lets every query try a refresh; with nothing to refresh the list stays empty.
    EXPECT_TRUE(SubSystemIds().empty()) << inventory;
    EXPECT_TRUE(SubSystemIds().empty()) << inventory;
    EXPECT_EQ(provider_->MonitorThreadCount(), 0u) << inventory;
    Unload();
    simulator_->Stop();
  }
}

TEST_F(LoadTest, WrongPasswordStaysOfflineWithSuccess) {
  StartSimulator("default.json", "", "wrongpass");
  ASSERT_EQ(Load(), S_OK);
  EXPECT_FALSE(isProviderOnline.load());
  EXPECT_EQ(provider_->MonitorThreadCount(), 0u);
}

TEST_F(LoadTest, RefreshKeepsIdsAndHeldObjectsStillAnswer) {
  StartSimulator("default.json");
  ASSERT_EQ(Load(/*withSink=*/false), S_OK);
  std::vector<GUID> subSystems = SubSystemIds();
  std::vector<GUID> controllers = ControllerIds();
  ASSERT_EQ(subSystems.size(), 1u);
  ASSERT_EQ(controllers.size(), 2u);

  IUnknown* held = nullptr;
  ASSERT_EQ(provider_->GetObject(controllers[0], VDS_OT_CONTROLLER, &held), S_OK);
  ASSERT_EQ(provider_->Reenumerate(), S_OK);
  EXPECT_EQ(SubSystemIds(), subSystems);
  EXPECT_EQ(ControllerIds(), controllers);

  IVdsController* controller = nullptr;
  ASSERT_EQ(held->QueryInterface(IID_IVdsController, reinterpret_cast<void**>(&controller)), S_OK);
  VDS_CONTROLLER_PROP prop{};
  ASSERT_EQ(controller->GetProperties(&prop), S_OK);
  EXPECT_EQ(prop.id, controllers[0]);
  CoTaskMemFree(prop.pwszFriendlyName);
  CoTaskMemFree(prop.pwszIdentification);
  controller->Release();
  held->Release();
}

TEST_F(LoadTest, RefreshTableEventLeadsToARefreshAtTheNextQuery) {
  StartSimulator("default.json");
  ASSERT_EQ(Load(), S_OK);
  std::vector<GUID> controllers = ControllerIds();
  ASSERT_EQ(simulator_->Admin("event 1001 72 2"), "ok");
  ASSERT_TRUE(WaitFor([&] { return provider_->IsNeedRefresh(); }));
  std::vector<VDS_NOTIFICATION> received = sink_->Received();
  ASSERT_FALSE(received.empty());
  EXPECT_EQ(received.back().objectType, VDS_NTT_CONTROLLER);
  EXPECT_EQ(received.back().Controller.ulEvent, VDS_NF_CONTROLLER_ARRIVE);
  EXPECT_NE(
      std::find(controllers.begin(), controllers.end(), received.back().Controller.controllerId),
      controllers.end());
  // The controller list runs the pending refresh; the ids stay.
  EXPECT_EQ(ControllerIds(), controllers);
  EXPECT_FALSE(provider_->IsNeedRefresh());
}

TEST_F(LoadTest, EventWithParamOneOnlyNotifies) {
  StartSimulator("default.json");
  ASSERT_EQ(Load(), S_OK);
  ASSERT_EQ(simulator_->Admin("event 1001 71 1"), "ok");
  ASSERT_TRUE(WaitFor([&] { return !sink_->Received().empty(); }));
  EXPECT_EQ(sink_->Received().back().Controller.ulEvent, VDS_NF_CONTROLLER_DEPART);
  // A later event, seen only in a later pass: by then a refresh request would have been made.
  size_t count = sink_->Received().size();
  ASSERT_EQ(simulator_->Admin("event 1001 72 1"), "ok");
  ASSERT_TRUE(WaitFor([&] { return sink_->Received().size() > count; }));
  EXPECT_FALSE(provider_->IsNeedRefresh());
}

TEST_F(LoadTest, MonitorReconnectsAfterTheSimulatorRestarts) {
  StartSimulator("default.json");
  ASSERT_EQ(Load(), S_OK);
  std::vector<GUID> controllers = ControllerIds();
  std::string listen = simulator_->Address() + ":" + std::to_string(simulator_->Port());
  simulator_->Stop();
  simulator_.reset();
  StartSimulator("default.json", listen);
  ASSERT_TRUE(WaitFor([&] { return provider_->IsNeedRefresh(); }));
  EXPECT_EQ(ControllerIds(), controllers);
}

}  // namespace

namespace {

TEST_F(LoadTest, SubsystemListFailureGivesInitializedFailedAndStaysUnloadable) {
  StartSimulator("default.json");
  ASSERT_EQ(simulator_->Admin("fault next 1 short 0"), "ok");
  EXPECT_EQ(Load(), VDS_E_INITIALIZED_FAILED);
  EXPECT_FALSE(isProviderOnline.load());
  EXPECT_EQ(provider_->MonitorThreadCount(), 0u);
}

TEST_F(LoadTest, UnreadableControllerRecordTakesTheSubsystemOn) {
  StartSimulator("iscsi-only.json");
  // The bus type filter can't read controller A: the iSCSI subsystem is taken on.
  ASSERT_EQ(simulator_->Admin("fault next 1 short 1"), "ok");
  ASSERT_EQ(Load(), S_OK);
  EXPECT_EQ(SubSystemIds().size(), 1u);
}

}  // namespace

namespace {

// A host inventory that records the steps it is asked for; its HBA library knows one port.
// Stands in for the host's source while it lives, and puts the one before it back.
class StepRecorder : public HostInventorySource {
 public:
  StepRecorder() : previous_(GetHostInventorySource()) { SetHostInventorySource(this); }
  ~StepRecorder() override { SetHostInventorySource(previous_); }
  bool Connect() override { return true; }
  void Disconnect() override {}
  bool Fill(InventoryStep step, HostInventory* inventory) override {
    steps.push_back(step);
    if (step == InventoryStep::kHbaPortProp) {
      inventory->HBA_vec.clear();
      HbaPortEntry entry{};
      entry.prop.wwnPort.rguchWwn[0] = 0x99;
      inventory->HBA_vec.push_back(entry);
    }
    return true;
  }
  std::vector<InventoryStep> steps;

 private:
  HostInventorySource* const previous_;
};

// The proxy's HBA list only adds to the ports the HBA library found: its failure skips nothing.
TEST_F(LoadTest, TheProxysHbaPortsAddToTheLibrarysAndTheirFailureStopsNothing) {
  const std::vector<InventoryStep> expected = {
      InventoryStep::kMpioDescriptor, InventoryStep::kMpioDiskInfo, InventoryStep::kMpioDsmPathV2,
      InventoryStep::kDsmInfo,        InventoryStep::kHbaPortProp,  InventoryStep::kLBPolicy};
  StartSimulator("default.json");
  {
    StepRecorder source;
    ASSERT_EQ(Load(/*withSink=*/false), S_OK);
    EXPECT_EQ(source.steps, expected);
    const HostInventory& inventory = provider_->Inventory();
    ASSERT_GT(inventory.HBA_vec.size(), 1u);
    EXPECT_EQ(inventory.HBA_vec[0].prop.wwnPort.rguchWwn[0], 0x99);
    EXPECT_EQ(inventory.ConnectedHbaList.size(), inventory.HBA_vec.size() - 1);
    for (size_t i = 1; i < inventory.HBA_vec.size(); ++i) {
      const HbaPortEntry& added = inventory.HBA_vec[i];
      EXPECT_EQ(added.prop.type, VDS_HPT_NPORT);
      EXPECT_EQ(added.prop.status, VDS_HPS_ONLINE);
      EXPECT_EQ(std::memcmp(added.prop.wwnNode.rguchWwn, added.prop.wwnPort.rguchWwn, 8), 0);
      EXPECT_EQ(std::memcmp(added.prop.wwnPort.rguchWwn, inventory.ConnectedHbaList[i - 1].wwpn, 8),
                0);
    }
    Unload();
  }
  {
    StepRecorder source;
    ASSERT_EQ(simulator_->Admin("fault next 1 status=1 125"), "ok");
    ASSERT_EQ(Load(/*withSink=*/false), S_OK);
    EXPECT_EQ(source.steps, expected);
    EXPECT_EQ(provider_->Inventory().HBA_vec.size(), 1u);
  }
}

}  // namespace

namespace {

// A monitor pass stuck in an exchange with a proxy that has gone silent does not hold unload for
// the length of that exchange's wait: unload gives the threads their ten rounds, then cuts the
// exchange off.
TEST_F(LoadTest, UnloadDoesNotWaitOutAStalledMonitorExchange) {
  StartSimulator("default.json");
  // Passes half a second apart, unload's rounds half a second in all, a reply wait of 30 s.
  SetTimeScaleForTesting(0.05);
  ASSERT_EQ(Load(), S_OK);
  ASSERT_EQ(provider_->MonitorThreadCount(), 1u);
  ASSERT_EQ(simulator_->Admin("fault next 1000 silent"), "ok");
  Sleep(30000);  // three passes' time: one is waiting for a reply that will not come
  const auto start = std::chrono::steady_clock::now();
  Unload();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
}

}  // namespace
