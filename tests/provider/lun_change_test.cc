// The changing operations beyond creation against tidegate-sim: delete, names, hints and master
// volume conversion, port association, spares, blink, alarm and cache commands. Each test
// asserts on the requests that reached the proxy (the simulator's journal) and on what the tree
// shows afterwards.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "objects/lun.h"
#include "objects/object_util.h"
#include "platform/strings.h"
#include "provider/provider.h"
#include "provisioning/utility.h"
#include "proxy/wire_format.h"
#include "tests/provider/sim_fixture.h"
#include "tests/provider/sim_journal.h"

namespace {

using nlohmann::json;

bool Changing(uint32_t opcode) {
  static const uint32_t kChanging[] = {DELETE_PART,
                                       DELETE_ARRAY,
                                       ABORT_UTILITY,
                                       SET_PART_NAME,
                                       SET_PARTITION_CACHE_PARAM,
                                       SET_PREFERRED_OWNER,
                                       ASSIGN_POOL_SPARE,
                                       BLINK_DRIVE,
                                       SILENCE_ALARM,
                                       FLUSH_CACHE,
                                       FREE_CACHE,
                                       OP_CONVERT_MASTER_VOLUME,
                                       SET_ADV_NET_INTERFACE};
  return std::find(std::begin(kChanging), std::end(kChanging), opcode) != std::end(kChanging);
}

// A vdisk entry of the inventory format.
json Vdisk(const std::string& name, int members, const std::string& owner, json partitions,
           int health = 0) {
  return json{{"name", name},   {"raidLevel", 5},   {"memberCount", members},
              {"owner", owner}, {"health", health}, {"partitions", std::move(partitions)}};
}
json Part(const std::string& name, int lun, int type = 0) {
  return json{{"name", name}, {"blocks", 2097152}, {"lun", lun}, {"type", type}};
}

class LunChangeTest : public SimProviderTest {
 protected:
  // The default inventory with `vdisks`; `ulp` false takes controller mode 0.
  void Start(json vdisks, bool ulp = true) {
    json inventory = ReadInventory("default.json");
    json& subsystem = inventory["subsystems"][0];
    subsystem["vdisks"] = std::move(vdisks);
    if (!ulp) {
      for (json& controller : subsystem["controllers"]) controller["controllerMode"] = 0;
    }
    StartOn(inventory.dump());
  }

  std::vector<JournalRequest> Changes() { return Filter(ReadJournal(simulator_.get()), Changing); }

  // The LUN with this friendly name, or null.
  ComPtr<IVdsLun> Lun(const std::string& name) {
    for (const auto& lun : Luns(subSystem_.Get())) {
      if (ViewOf(lun.Get()).name == name) return lun;
    }
    return ComPtr<IVdsLun>();
  }
  std::vector<ComPtr<IVdsDrive>> DriveList() { return Drives(subSystem_.Get()); }
  size_t LunCount() { return Luns(subSystem_.Get()).size(); }
};

// Serial offsets of the requests.
constexpr size_t kSerialAt10 = 0x10, kSerialAt0c = 0xc, kNameAt = 0x30, kCacheAt = 0x30;

TEST_F(LunChangeTest, DeleteSendsThePartitionThenTheVdiskWithItsLast) {
  Start(json::array({Vdisk("R5", 3, "A", json::array({Part("data", 1), Part("logs", 2)}))}));
  ComPtr<IVdsLun> data = Lun("data");
  ASSERT_TRUE(data);
  ComPtr<IVdsLun> logs = Lun("logs");
  ASSERT_TRUE(data && logs);
  const VDS_OBJECT_ID dataId = ViewOf(data.Get()).prop.id;
  ASSERT_EQ(data->Delete(), S_OK);
  std::vector<JournalRequest> changes = Changes();
  ASSERT_EQ(Opcodes(changes), std::vector<uint32_t>{DELETE_PART});
  EXPECT_EQ(LunCount(), 1u) << "the departure reached the tree before Delete returned";
  // The advise sink heard of it, by the LUN's id.
  const std::vector<VDS_NOTIFICATION> heard = sink_->Received();
  EXPECT_TRUE(std::any_of(heard.begin(), heard.end(), [&](const VDS_NOTIFICATION& n) {
    return n.objectType == VDS_NTT_LUN && n.Lun.ulEvent == VDS_NF_LUN_DEPART &&
           n.Lun.LunId == dataId;
  }));

  auto drives = DriveList();
  ASSERT_EQ(ViewOf(drives[0].Get()).prop2.ulFlags & VDS_DF_ASSIGNED, ULONG{VDS_DF_ASSIGNED});
  ASSERT_EQ(logs->Delete(), S_OK);
  changes = Changes();
  ASSERT_EQ(Opcodes(changes), (std::vector<uint32_t>{DELETE_PART, ABORT_UTILITY, DELETE_ARRAY}));
  EXPECT_EQ(0, std::memcmp(changes[1].bytes.data() + kSerialAt0c,
                           changes[2].bytes.data() + kSerialAt10, 32))
      << "the same vdisk serial";
  EXPECT_EQ(LunCount(), 0u);
  // The members read free at once, and after the refresh.
  EXPECT_EQ(ViewOf(drives[0].Get()).prop2.ulFlags, ULONG{VDS_DF_UNASSIGNED});
  drives = DriveList();
  EXPECT_EQ(ViewOf(drives[0].Get()).prop2.ulFlags, ULONG{VDS_DF_UNASSIGNED});
  // A LUN that is gone: nothing is sent.
  EXPECT_EQ(data->Delete(), VDS_E_OBJECT_DELETED);
  EXPECT_TRUE(Changes().empty());
}

TEST_F(LunChangeTest, OfflineVdiskGoesOnlyWhenAllItsPartitionsAreAsked) {
  Start(json::array({Vdisk("DOWN", 3, "A", json::array({Part("a", 1), Part("b", 2)}), 3)}));
  ComPtr<IVdsLun> a = Lun("a");
  ComPtr<IVdsLun> b = Lun("b");
  ASSERT_TRUE(a && b);
  EXPECT_EQ(a->Delete(), VDS_E_OPERATION_PENDING);
  EXPECT_TRUE(Changes().empty());
  EXPECT_EQ(a->Delete(), VDS_E_OPERATION_PENDING) << "asking twice doesn't complete the set";
  EXPECT_EQ(LunCount(), 2u);
  ASSERT_EQ(b->Delete(), S_OK);
  EXPECT_EQ(Opcodes(Changes()), (std::vector<uint32_t>{ABORT_UTILITY, DELETE_ARRAY}));
  EXPECT_EQ(LunCount(), 0u);
}

TEST_F(LunChangeTest, DummyVolumeGoesAtOnceAndRefusalsLeaveTheLockFree) {
  Start(json::array({Vdisk("EMPTY", 3, "B", json::array()),
                     Vdisk("R5", 3, "A", json::array({Part("keep", 1)}))}));
  ComPtr<IVdsLun> dummy = Lun("EMPTY(DummyVolume)");
  ASSERT_TRUE(dummy);
  ASSERT_EQ(dummy->Delete(), S_OK);
  std::vector<JournalRequest> changes = Changes();
  ASSERT_EQ(Opcodes(changes), (std::vector<uint32_t>{ABORT_UTILITY, DELETE_ARRAY}));
  EXPECT_EQ(changes[1].Be32(0x8), 1002u) << "the owner, controller B";
  EXPECT_EQ(LunCount(), 1u);
  // The proxy refuses the partition: nothing else is sent, and the next call works.
  simulator_->Admin("fault next 1 refuse=41 " + std::to_string(DELETE_PART));
  ComPtr<IVdsLun> keep = Lun("keep");
  ASSERT_TRUE(keep);
  EXPECT_EQ(keep->Delete(), VDS_E_INTERNAL_ERROR);
  EXPECT_EQ(Opcodes(Changes()), std::vector<uint32_t>{DELETE_PART});
  EXPECT_EQ(LunCount(), 1u);
  // The array deletes it but the answer is lost: the client hears of a failure, and then the
  // LUN is gone from the tree and from the controller.
  simulator_->Admin("fault next 1 status=41 " + std::to_string(DELETE_PART));
  EXPECT_EQ(keep->Delete(), VDS_E_INTERNAL_ERROR);
  EXPECT_EQ(keep->Delete(), VDS_E_OBJECT_DELETED);
  EXPECT_EQ(Opcodes(Changes()), std::vector<uint32_t>{DELETE_PART});
  EXPECT_TRUE(Lun("R5(DummyVolume)")) << "the vdisk stays, empty";
  EXPECT_FALSE(Lun("keep"));
}

TEST_F(LunChangeTest, NamesAtTheLimits) {
  Start(json::array({Vdisk("R5", 3, "A", json::array({Part("data", 1), Part("logs", 2)}))}));
  ComPtr<IVdsLun> data = Lun("data");
  ASSERT_TRUE(data);
  IVdsLunNaming* naming = nullptr;
  ASSERT_EQ(data->QueryInterface(IID_IVdsLunNaming, reinterpret_cast<void**>(&naming)), S_OK);
  std::u16string name = u"abcdefghijklmnopqrstuvwxy";
  ASSERT_EQ(naming->SetFriendlyName(name.data()), S_OK);
  std::vector<JournalRequest> changes = Changes();
  ASSERT_EQ(Opcodes(changes), std::vector<uint32_t>{SET_PART_NAME});
  EXPECT_EQ(changes[0].Text(kNameAt), "abcdefghijklmnopqrst");
  EXPECT_TRUE(Lun("abcdefghijklmnopqrst")) << "the next query shows it";
  // Another LUN's name, an empty one: refused, nothing sent.
  name = u"logs";
  EXPECT_EQ(naming->SetFriendlyName(name.data()), VDS_E_NAME_NOT_UNIQUE);
  name = u"";
  EXPECT_EQ(naming->SetFriendlyName(name.data()), E_INVALIDARG);
  EXPECT_EQ(naming->SetFriendlyName(nullptr), E_POINTER);
  EXPECT_TRUE(Changes().empty());
  // Beyond ASCII: UTF-8 on the wire, and read back the same.
  name = u"caf\u00e9";
  ASSERT_EQ(naming->SetFriendlyName(name.data()), S_OK);
  EXPECT_EQ(Changes()[0].Text(kNameAt), "caf\xc3\xa9");
  EXPECT_TRUE(Lun("caf\xc3\xa9"));
  naming->Release();
}

TEST_F(LunChangeTest, HintsNameTheLevelAndChangeTheCache) {
  Start(json::array({Vdisk("R5", 3, "A", json::array({Part("data", 1)}))}));
  ComPtr<IVdsLun> data = Lun("data");
  ASSERT_TRUE(data);
  VDS_HINTS hints{};
  ASSERT_EQ(data->QueryHints(&hints), S_OK);
  EXPECT_EQ(hints.ullHintMask, 0x800000000000010eULL);
  EXPECT_TRUE(hints.bMostlyReads);
  EXPECT_EQ(hints.ulStripeSize, 64u * 1024);
  const uint8_t writePolicy = hints.bWriteThroughCachingEnabled ? 0 : 1;

  // Bit 6 only: the write policy flips, read-ahead stays.
  VDS_HINTS apply{};
  apply.ullHintMask = 1 << 6;
  apply.bWriteThroughCachingEnabled = writePolicy == 1 ? TRUE : FALSE;
  ASSERT_EQ(data->ApplyHints(&apply), S_OK);
  std::vector<JournalRequest> changes = Changes();
  ASSERT_EQ(Opcodes(changes), std::vector<uint32_t>{SET_PARTITION_CACHE_PARAM});
  EXPECT_EQ(changes[0].bytes[kCacheAt + 9], writePolicy == 1 ? 0 : 1);
  EXPECT_EQ(changes[0].bytes[kCacheAt + 10], hints.bOptimizeForSequentialReads ? 1 : 0);
  VDS_HINTS after{};
  ASSERT_EQ(Lun("data")->QueryHints(&after), S_OK);
  EXPECT_EQ(after.bWriteThroughCachingEnabled, writePolicy == 1 ? TRUE : FALSE);

  // A stripe size: refused before anything is sent.
  apply = VDS_HINTS{};
  apply.ulStripeSize = 65536;
  EXPECT_EQ(data->ApplyHints(&apply), VDS_E_NOT_SUPPORTED);
  EXPECT_TRUE(Changes().empty());

  // The VDS_HINTS2 forms: the cache booleans come with their bits.
  IVdsLun2* lun2 = nullptr;
  ASSERT_EQ(data->QueryInterface(IID_IVdsLun2, reinterpret_cast<void**>(&lun2)), S_OK);
  VDS_HINTS2 hints2{};
  ASSERT_EQ(lun2->QueryHints2(&hints2), S_OK);
  EXPECT_TRUE(hints2.bReadCachingEnabled);
  EXPECT_NE(hints2.ullHintMask & 0x1000, 0u);
  VDS_HINTS2 apply2{};
  apply2.ullHintMask = 1 << 6;
  apply2.bWriteThroughCachingEnabled = TRUE;
  EXPECT_EQ(lun2->ApplyHints2(&apply2), S_OK);
  changes = Changes();
  ASSERT_EQ(Opcodes(changes), std::vector<uint32_t>{SET_PARTITION_CACHE_PARAM});
  EXPECT_EQ(changes[0].bytes[kCacheAt + 9], 0);
  lun2->Release();
}

TEST_F(LunChangeTest, MasterVolumeConversionBothWays) {
  Start(json::array({Vdisk("R5", 3, "A", json::array({Part("pool", 1, 1), Part("data", 2)}))}));
  ComPtr<IVdsLun> data = Lun("data");
  ASSERT_TRUE(data);
  VDS_HINTS convert{};
  convert.ullHintMask = 0x0800000000000000ULL;
  convert.bReadBackVerifyEnabled = TRUE;
  ASSERT_EQ(data->ApplyHints(&convert), S_OK);
  std::vector<JournalRequest> changes = Changes();
  ASSERT_EQ(Opcodes(changes), std::vector<uint32_t>{OP_CONVERT_MASTER_VOLUME});
  EXPECT_EQ(changes[0].bytes[0x8f], 9);
  VDS_HINTS hints{};
  ASSERT_EQ(Lun("data")->QueryHints(&hints), S_OK);
  EXPECT_EQ(hints.ullHintMask & (7ULL << 56), 1ULL << 57) << "a master volume, no snapshots";
  // Again in the same direction: not an ordinary LUN any more.
  EXPECT_EQ(data->ApplyHints(&convert), VDS_E_NOT_SUPPORTED);
  EXPECT_TRUE(Changes().empty());
  convert.bReadBackVerifyEnabled = FALSE;
  ASSERT_EQ(data->ApplyHints(&convert), S_OK);
  changes = Changes();
  ASSERT_EQ(Opcodes(changes), std::vector<uint32_t>{OP_CONVERT_MASTER_VOLUME});
  EXPECT_EQ(changes[0].bytes[0x8f], 8);
  ASSERT_EQ(Lun("data")->QueryHints(&hints), S_OK);
  EXPECT_EQ(hints.ullHintMask & (7ULL << 56), 0u);
}

json Hidden(json part) {
  part["allHosts"] = false;
  return part;
}

class AssociationTest : public LunChangeTest {
 protected:
  // The ports of controller `index` (0 is A) in their list order.
  std::vector<VDS_OBJECT_ID> PortIds(size_t index) {
    IEnumVdsObject* list = nullptr;
    EXPECT_EQ(subSystem_->QueryControllers(&list), S_OK);
    auto controllers = ListOf<IVdsControllerControllerPort>(list);
    std::vector<VDS_OBJECT_ID> ids;
    if (controllers.size() <= index || controllers[index]->QueryControllerPorts(&list) != S_OK) {
      return ids;
    }
    for (const auto& port : ListOf<IVdsControllerPort>(list)) {
      VDS_PORT_PROP prop{};
      EXPECT_EQ(port->GetProperties(&prop), S_OK);
      ids.push_back(prop.id);
      Take(prop.pwszFriendlyName);
      Take(prop.pwszIdentification);
    }
    return ids;
  }
  // The names of the LUNs controller `index` owns.
  std::vector<std::string> Owned(size_t index) {
    IEnumVdsObject* list = nullptr;
    EXPECT_EQ(Controllers(subSystem_.Get())[index]->QueryAssociatedLuns(&list), S_OK);
    std::vector<std::string> names;
    for (const auto& lun : ListOf<IVdsLun>(list)) names.push_back(ViewOf(lun.Get()).name);
    return names;
  }
  static HRESULT Associate(IVdsLun* lun, std::vector<VDS_OBJECT_ID> ports) {
    IVdsLunControllerPorts* object = nullptr;
    lun->QueryInterface(IID_IVdsLunControllerPorts, reinterpret_cast<void**>(&object));
    const HRESULT hr = object->AssociateControllerPorts(
        ports.empty() ? nullptr : ports.data(), static_cast<LONG>(ports.size()), nullptr, 0);
    object->Release();
    return hr;
  }
};

TEST_F(AssociationTest, OwnerKeptOrToggledByThePortsNamed) {
  Start(json::array({Vdisk("R5", 3, "A", json::array({Hidden(Part("solo", 1))})),
                     Vdisk("EMPTY", 3, "A", json::array())}),
        false);
  const std::vector<VDS_OBJECT_ID> portsA = PortIds(0);
  const std::vector<VDS_OBJECT_ID> portsB = PortIds(1);
  ASSERT_EQ(portsA.size(), 2u);
  ASSERT_EQ(portsB.size(), 2u);
  ComPtr<IVdsLun> solo = Lun("solo");
  ASSERT_TRUE(solo);
  const VDS_OBJECT_ID before = ViewOf(solo.Get()).prop.id;
  // The owner's ports: nothing to do.
  EXPECT_EQ(Associate(solo.Get(), portsA), S_OK);
  EXPECT_TRUE(Changes().empty());
  // One port of the other controller: the owner toggles, and the LUN is rebuilt under B with
  // its id.
  ASSERT_EQ(Associate(solo.Get(), {portsB[1]}), S_OK);
  std::vector<JournalRequest> changes = Changes();
  ASSERT_EQ(Opcodes(changes), std::vector<uint32_t>{SET_PREFERRED_OWNER});
  EXPECT_EQ(changes[0].Be32(0x8), 1001u) << "sent to the owner";
  EXPECT_EQ(Owned(1), std::vector<std::string>{"solo"});
  EXPECT_EQ(ViewOf(Lun("solo").Get()).prop.id, before);
  // No port at all also toggles: back to A, sent to B now.
  ASSERT_EQ(Associate(solo.Get(), {}), S_OK);
  changes = Changes();
  ASSERT_EQ(Opcodes(changes), std::vector<uint32_t>{SET_PREFERRED_OWNER});
  EXPECT_EQ(changes[0].Be32(0x8), 1002u);
  EXPECT_EQ(Owned(0).size(), 2u);
  // Ports of both controllers, or a dummy volume: refused, nothing sent.
  EXPECT_EQ(Associate(solo.Get(), {portsA[0], portsB[0]}), VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(Associate(Lun("EMPTY(DummyVolume)").Get(), portsB), VDS_E_NOT_SUPPORTED);
  EXPECT_TRUE(Changes().empty());
  // A port of no controller of this subsystem counts for neither: "none", so a toggle.
  GUID foreign{};
  foreign.Data1 = 0x1234;
  ASSERT_EQ(Associate(solo.Get(), {foreign}), S_OK);
  EXPECT_EQ(Opcodes(Changes()), std::vector<uint32_t>{SET_PREFERRED_OWNER});
}

TEST_F(AssociationTest, MappedLunsMoveOnlyInUlpMode) {
  const json vdisks = json::array(
      {Vdisk("SHARED", 3, "A", json::array({Hidden(Part("quiet", 1)), Part("seen", 2)}))});
  Start(vdisks, false);
  // Visible to hosts, and a neighbour of a visible one: refused without ULP.
  EXPECT_EQ(Associate(Lun("seen").Get(), PortIds(1)), VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(Associate(Lun("quiet").Get(), PortIds(1)), VDS_E_NOT_SUPPORTED);
  EXPECT_TRUE(Changes().empty());
  Unload();
  subSystem_.Reset();
  simulator_.reset();
  Start(vdisks, true);
  ASSERT_EQ(Associate(Lun("quiet").Get(), PortIds(1)), S_OK);
  EXPECT_EQ(Opcodes(Changes()), std::vector<uint32_t>{SET_PREFERRED_OWNER});
}

TEST_F(LunChangeTest, SparesSetAndClearedWithTheProxyRefusing) {
  Start(json::array());
  auto drives = DriveList();
  ASSERT_GE(drives.size(), 21u);
  ASSERT_EQ(drives[20]->SetFlags(VDS_DF_HOTSPARE), S_OK);
  std::vector<JournalRequest> changes = Changes();
  ASSERT_EQ(Opcodes(changes), std::vector<uint32_t>{ASSIGN_POOL_SPARE});
  EXPECT_EQ(changes[0].Text(0x30), "SSD00001SAS");
  EXPECT_EQ(changes[0].bytes[0xc], 1);
  drives = DriveList();
  EXPECT_EQ(ViewOf(drives[20].Get()).prop2.ulFlags & VDS_DF_HOTSPARE, ULONG{VDS_DF_HOTSPARE});
  // On a pool spare the spare test comes before the flag test; refused before the proxy.
  EXPECT_EQ(drives[20]->SetFlags(2), VDS_E_NOT_SUPPORTED);
  EXPECT_TRUE(Changes().empty());
  // The proxy refuses: SetFlags says E_FAIL, ClearFlags VDS_E_INTERNAL_ERROR.
  simulator_->Admin("fault next 1 refuse=40 " + std::to_string(ASSIGN_POOL_SPARE));
  EXPECT_EQ(drives[21]->SetFlags(VDS_DF_HOTSPARE), E_FAIL);
  simulator_->Admin("fault next 1 refuse=39 " + std::to_string(ASSIGN_POOL_SPARE));
  EXPECT_EQ(drives[20]->ClearFlags(VDS_DF_HOTSPARE), VDS_E_INTERNAL_ERROR);
  EXPECT_EQ(drives[20]->ClearFlags(VDS_DF_HOTSPARE), S_OK);
  changes = Changes();
  ASSERT_EQ(Opcodes(changes),
            (std::vector<uint32_t>{ASSIGN_POOL_SPARE, ASSIGN_POOL_SPARE, ASSIGN_POOL_SPARE}));
  EXPECT_EQ(changes[2].bytes[0xc], 0);
  drives = DriveList();
  EXPECT_EQ(ViewOf(drives[20].Get()).prop2.ulFlags, ULONG{VDS_DF_UNASSIGNED});
  EXPECT_EQ(drives[20]->ClearFlags(VDS_DF_HOTSPARE), VDS_E_NOT_SUPPORTED) << "not a spare";
}

TEST_F(LunChangeTest, BlinkPulseBeepAndCacheCommands) {
  Start(json::array({Vdisk("ONE", 3, "A", json::array({Part("a", 1)})),
                     Vdisk("TWO", 3, "A", json::array({Part("b", 2)})),
                     Vdisk("OTHER", 3, "B", json::array({Part("c", 3)}))}));
  auto drives = DriveList();
  IVdsMaintenance* maintenance = nullptr;
  ASSERT_EQ(drives[23]->QueryInterface(IID_IVdsMaintenance, reinterpret_cast<void**>(&maintenance)),
            S_OK);
  EXPECT_EQ(maintenance->StartMaintenance(VDS_MTO_BLINK_LIGHT), S_OK);
  EXPECT_EQ(maintenance->StopMaintenance(VDS_MTO_BLINK_LIGHT), S_OK);
  EXPECT_EQ(maintenance->PulseMaintenance(VDS_MTO_BLINK_LIGHT, 2), S_OK);
  EXPECT_EQ(maintenance->StartMaintenance(VDS_MTO_BEEP_ALARM), VDS_E_NOT_SUPPORTED);
  maintenance->Release();
  std::vector<JournalRequest> changes = Changes();
  ASSERT_EQ(changes.size(), 6u);
  const uint8_t onOff[] = {1, 0, 1, 0, 1, 0};
  for (size_t i = 0; i < changes.size(); ++i) {
    EXPECT_EQ(changes[i].opcode, BLINK_DRIVE);
    EXPECT_EQ(changes[i].bytes[0xc], onOff[i]) << i;
    EXPECT_EQ(changes[i].Text(0x10), "SSD00004SAS");
  }

  auto controllers = Controllers(subSystem_.Get());
  ASSERT_EQ(controllers.size(), 2u);
  ASSERT_EQ(
      controllers[1]->QueryInterface(IID_IVdsMaintenance, reinterpret_cast<void**>(&maintenance)),
      S_OK);
  EXPECT_EQ(maintenance->StartMaintenance(VDS_MTO_BEEP_ALARM), S_OK);
  EXPECT_EQ(maintenance->StartMaintenance(VDS_MTO_BLINK_LIGHT), VDS_E_NOT_SUPPORTED);
  maintenance->Release();
  changes = Changes();
  ASSERT_EQ(Opcodes(changes), std::vector<uint32_t>{SILENCE_ALARM});
  EXPECT_EQ(changes[0].Be32(0x8), 1002u);

  // One command per vdisk the controller reports, with that vdisk's serial.
  ASSERT_EQ(controllers[0]->FlushCache(), S_OK);
  changes = Changes();
  ASSERT_EQ(Opcodes(changes), (std::vector<uint32_t>{FLUSH_CACHE, FLUSH_CACHE}));
  ASSERT_EQ(controllers[0]->InvalidateCache(), S_OK);
  const std::vector<JournalRequest> frees = Changes();
  ASSERT_EQ(Opcodes(frees), (std::vector<uint32_t>{FREE_CACHE, FREE_CACHE}));
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(changes[i].Be32(0x8), 1001u);
    EXPECT_EQ(0, std::memcmp(changes[i].bytes.data() + kSerialAt0c,
                             frees[i].bytes.data() + kSerialAt10, 32));
  }
  EXPECT_NE(0, std::memcmp(changes[0].bytes.data() + kSerialAt0c,
                           changes[1].bytes.data() + kSerialAt0c, 32));
}

}  // namespace
