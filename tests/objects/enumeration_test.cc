// The simulator's inventories seen through the VDS interfaces, property by property.
#include <gtest/gtest.h>

#include <set>

#include "objects/drive_rules.h"
#include "objects/pool.h"
#include "tests/objects/object_test_support.h"

namespace {

using nlohmann::json;

constexpr ULONGLONG kGiB = 1ULL << 30;

// Six SAS drives (slots 0-5), two SATA (6-7), two SAS SSDs (8-9), a leftover that failed (10).
// VD_R5: RAID 5 of three SAS drives, owned by A, with a LUN for all hosts, a LUN for two hosts
// and a snap pool (which is no LUN); VD_MIR: a mirror of two SAS drives owned by B; VD_EMPTY: a
// SATA vdisk without partitions.
json MixedInventory() {
  json sub = SubsystemJson("OBJSUB0001");
  sub["drives"] = json::array({DrivesJson(6, 0, 4, "SAS{n}"), DrivesJson(2, 6, 3, "SATA{n}"),
                               DrivesJson(2, 8, 8, "SSD{n}"), DrivesJson(1, 10, 4, "LEFT{n}")});
  sub["drives"][3]["howUsed"] = 5;
  sub["drives"][3]["downReason"] = 3;
  const json wide = {{"hostType", 16}, {"wwpn", "10:00:00:00:c9:00:00:01"}, {"lun", 1}};
  const json wide2 = {{"hostType", 16}, {"wwpn", "10:00:00:00:c9:00:00:02"}, {"lun", 1}};
  sub["vdisks"] = json::array(
      {{{"name", "VD_R5"},
        {"raidLevel", 5},
        {"members", {"SAS0000", "SAS0001", "SAS0002"}},
        {"owner", "A"},
        {"partitions",
         json::array({{{"name", "LUN_ALL"}, {"blocks", 2 * 1048576}, {"lun", 0}},
                      {{"name", "LUN_TWO"},
                       {"blocks", 4 * 1048576},
                       {"lun", 1},
                       {"hosts", json::array({wide, wide2})}},
                      {{"name", "SNAPPOOL"}, {"blocks", 1048576}, {"lun", 2}, {"type", 1}}})}},
       {{"name", "VD_MIR"},
        {"raidLevel", 1},
        {"members", {"SAS0003", "SAS0004"}},
        {"owner", "B"},
        {"partitions", json::array({{{"name", "MIRLUN"}, {"blocks", 1048576}, {"lun", 3}}})}},
       {{"name", "VD_EMPTY"}, {"raidLevel", 0}, {"members", {"SATA0006"}}, {"owner", "A"}}});
  return InventoryJson({sub});
}

class Enumeration : public ObjectTest {};

TEST_F(Enumeration, SubsystemPropertiesAndControllers) {
  LoadInventory(MixedInventory());
  ComPtr<IVdsSubSystem> sub = SubSystem();
  ASSERT_TRUE(sub);
  VDS_SUB_SYSTEM_PROP prop{};
  ASSERT_EQ(sub->GetProperties(&prop), S_OK);
  EXPECT_EQ(Take(prop.pwszFriendlyName), "array-OBJSUB0001");
  EXPECT_EQ(Take(prop.pwszIdentification), "VELA TG-2024 SIM-FC-8G rev B");
  EXPECT_EQ(prop.status, VDS_SSS_ONLINE);
  EXPECT_EQ(prop.health, VDS_H_HEALTHY);
  EXPECT_EQ(prop.ulFlags, 0xE68Du);
  EXPECT_EQ(prop.ulStripeSizeFlags, 0x1C000u);
  EXPECT_EQ(prop.sMaxNumberOfControllers, 2);
  EXPECT_EQ(prop.sNumberOfInternalBuses, 1);
  EXPECT_EQ(prop.sMaxNumberOfSlotsEachBus, 24);

  ComPtr<IVdsSubSystem2> sub2;
  ASSERT_EQ(sub->QueryInterface(IID_IVdsSubSystem2,
                                reinterpret_cast<void**>(sub2.ReleaseAndGetAddressOf())),
            S_OK);
  VDS_SUB_SYSTEM_PROP2 prop2{};
  ASSERT_EQ(sub2->GetProperties2(&prop2), S_OK);
  Take(prop2.pwszFriendlyName);
  Take(prop2.pwszIdentification);
  EXPECT_EQ(prop2.ulSupportedRaidTypeFlags, 0x91Au);
  EXPECT_EQ(prop2.ulNumberOfEnclosures, 1u);

  // A before B.
  auto controllers = Controllers(sub.Get());
  ASSERT_EQ(controllers.size(), 2u);
  VDS_CONTROLLER_PROP a{};
  VDS_CONTROLLER_PROP b{};
  ASSERT_EQ(controllers[0]->GetProperties(&a), S_OK);
  ASSERT_EQ(controllers[1]->GetProperties(&b), S_OK);
  EXPECT_EQ(Take(a.pwszFriendlyName), "Controller A;IP=10.11.0.11");
  EXPECT_EQ(Take(a.pwszIdentification), "CTLA0001");
  EXPECT_EQ(Take(b.pwszFriendlyName), "Controller B;IP=10.11.0.12");
  Take(b.pwszIdentification);
  EXPECT_EQ(a.status, VDS_CS_ONLINE);
  EXPECT_EQ(a.health, VDS_H_HEALTHY);
  EXPECT_EQ(a.sNumberOfPorts, 2);

  // Ports: named by WWPN, the second one's link is down.
  ComPtr<IVdsControllerControllerPort> withPorts;
  ASSERT_EQ(
      controllers[0]->QueryInterface(IID_IVdsControllerControllerPort,
                                     reinterpret_cast<void**>(withPorts.ReleaseAndGetAddressOf())),
      S_OK);
  IEnumVdsObject* list = nullptr;
  ASSERT_EQ(withPorts->QueryControllerPorts(&list), S_OK);
  std::set<std::string> names;
  std::set<int> statuses;
  for (const auto& port : ListOf<IVdsControllerPort>(list)) {
    VDS_PORT_PROP portProp{};
    ASSERT_EQ(port->GetProperties(&portProp), S_OK);
    names.insert(Take(portProp.pwszFriendlyName));
    Take(portProp.pwszIdentification);
    statuses.insert(portProp.status);
  }
  EXPECT_EQ(names, (std::set<std::string>{"207002564C1AA101", "217002564C1AA101"}));
  EXPECT_EQ(statuses, (std::set<int>{VDS_PRS_ONLINE, VDS_PRS_OFFLINE}));
  // One past the last port succeeds and fills nothing.
  VDS_PORT_PROP untouched{};
  untouched.status = static_cast<VDS_PORT_STATUS>(77);
  EXPECT_EQ(controllers[0]->GetPortProperties(2, &untouched), S_OK);
  EXPECT_EQ(untouched.status, 77);
  EXPECT_EQ(controllers[0]->GetPortProperties(3, &untouched), E_INVALIDARG);
}

TEST_F(Enumeration, DrivesSeenByBothControllersAreOneObjectEach) {
  LoadInventory(MixedInventory());
  ComPtr<IVdsSubSystem> sub = SubSystem();
  auto drives = Drives(sub.Get());
  ASSERT_EQ(drives.size(), 11u);
  std::set<std::string> ids;
  SHORT lastSlot = -1;
  for (const auto& drive : drives) {
    const DriveView view = ViewOf(drive.Get());
    ids.insert(GuidToString(view.prop.id));
    EXPECT_GT(view.prop.sSlotNumber, lastSlot) << "list order is by enclosure and slot";
    lastSlot = view.prop.sSlotNumber;
  }
  EXPECT_EQ(ids.size(), 11u);

  // A SAS member of the RAID 5 vdisk.
  const DriveView member = ViewOf(drives[0].Get());
  EXPECT_EQ(member.name, "KESTREL KS600SAS s/n SAS0000 rev 0006 id 0.0 (SAS)");
  EXPECT_EQ(member.ident, "SAS0000");
  EXPECT_EQ(member.prop.ullSize, 594109202432ULL);  // 99 % of 1172123568 blocks, trimmed
  EXPECT_EQ(member.prop.status, VDS_DRS_ONLINE);
  EXPECT_EQ(member.prop.health, VDS_H_HEALTHY);
  EXPECT_EQ(member.prop.ulFlags, 0u);
  EXPECT_EQ(member.prop2.ulFlags, ULONG{VDS_DF_ASSIGNED});
  EXPECT_EQ(member.prop2.busType, VDSBusTypeSas);
  EXPECT_EQ(member.prop2.ulSpindleSpeed, 15000u);
  // A free SATA drive and the failed leftover.
  EXPECT_EQ(ViewOf(drives[7].Get()).prop2.ulFlags, ULONG{VDS_DF_UNASSIGNED});
  const DriveView left = ViewOf(drives[10].Get());
  EXPECT_EQ(left.prop.status, VDS_DRS_FAILED);
  EXPECT_EQ(left.prop.health, VDS_H_FAILED);

  // GetDrive by enclosure and slot; an empty slot is no drive.
  ComPtr<IVdsDrive> found;
  ASSERT_EQ(sub->GetDrive(0, 8, found.ReleaseAndGetAddressOf()), S_OK);
  EXPECT_EQ(ViewOf(found.Get()).ident, "SSD0008");
  IVdsDrive* none = reinterpret_cast<IVdsDrive*>(1);
  EXPECT_EQ(sub->GetDrive(0, 23, &none), VDS_E_OBJECT_NOT_FOUND);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(sub->GetDrive(0, 0, nullptr), E_POINTER);
}

TEST_F(Enumeration, LunsVolumesDummiesAndMasks) {
  LoadInventory(MixedInventory());
  ComPtr<IVdsSubSystem> sub = SubSystem();
  auto luns = Luns(sub.Get());
  // The snap pool partition (type 1) is no LUN; the empty vdisk is a dummy one.
  std::vector<std::string> names;
  for (const auto& lun : luns) names.push_back(ViewOf(lun.Get()).name);
  ASSERT_EQ(names.size(), 4u);
  // A's LUNs first, B's last.
  EXPECT_EQ(names.back(), "MIRLUN");
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end() - 1),
            (std::set<std::string>{"LUN_ALL", "LUN_TWO", "VD_EMPTY(DummyVolume)"}));

  const LunView all = ViewOf(LunNamed(sub.Get(), "LUN_ALL").Get());
  EXPECT_EQ(all.prop.ullSize, 1 * kGiB);
  EXPECT_EQ(all.prop.type, VDS_LT_RAID5);
  EXPECT_EQ(all.prop.status, VDS_LS_ONLINE);
  EXPECT_EQ(all.prop.health, VDS_H_HEALTHY);
  EXPECT_EQ(all.ident.size(), 26u);
  EXPECT_EQ(all.unmask, "*");
  const LunView two = ViewOf(LunNamed(sub.Get(), "LUN_TWO").Get());
  EXPECT_EQ(two.prop.ullSize, 2 * kGiB);
  EXPECT_EQ(two.unmask, "10000000C9000001;10000000C9000002");

  const LunView dummy = ViewOf(LunNamed(sub.Get(), "VD_EMPTY(DummyVolume)").Get());
  EXPECT_EQ(dummy.prop.ullSize, 0u);
  EXPECT_EQ(dummy.ident.size(), 32u);
  EXPECT_EQ(dummy.prop.type, VDS_LT_STRIPE);
  EXPECT_EQ(dummy.unmask, "");

  // The mirror has two plexes of simple type (two drives); RAID 5 has one of its own type.
  IEnumVdsObject* list = nullptr;
  ASSERT_EQ(LunNamed(sub.Get(), "MIRLUN")->QueryPlexes(&list), S_OK);
  auto plexes = ListOf<IVdsLunPlex>(list);
  ASSERT_EQ(plexes.size(), 2u);
  for (const auto& plex : plexes) {
    VDS_LUN_PLEX_PROP prop{};
    ASSERT_EQ(plex->GetProperties(&prop), S_OK);
    EXPECT_EQ(prop.type, VDS_LPT_SIMPLE);
    EXPECT_EQ(prop.ullSize, kGiB / 2);
  }
  ASSERT_EQ(LunNamed(sub.Get(), "LUN_ALL")->QueryPlexes(&list), S_OK);
  plexes = ListOf<IVdsLunPlex>(list);
  ASSERT_EQ(plexes.size(), 1u);
  VDS_LUN_PLEX_PROP r5{};
  ASSERT_EQ(plexes[0]->GetProperties(&r5), S_OK);
  EXPECT_EQ(r5.type, VDS_LPT_RAID5);
  EXPECT_EQ(r5.ulStripeSize, 64u * 1024);
  VDS_HINTS hints{};
  ASSERT_EQ(plexes[0]->QueryHints(&hints), S_OK);
  EXPECT_EQ(hints.ullHintMask, 0x800000000000010eULL);
  EXPECT_TRUE(hints.bMostlyReads);
  // The plex's extents: one per member drive, each a share of the LUN.
  VDS_DRIVE_EXTENT* extents = nullptr;
  LONG count = 0;
  ASSERT_EQ(plexes[0]->QueryExtents(&extents, &count), S_OK);
  EXPECT_EQ(count, 3);
  for (LONG i = 0; i < count; ++i) EXPECT_EQ(extents[i].ullSize, kGiB / 2);
  CoTaskMemFree(extents);
}

TEST_F(Enumeration, ExtentsOfAMemberOfAVdiskWithTwoLuns) {
  LoadInventory(MixedInventory());
  ComPtr<IVdsSubSystem> sub = SubSystem();
  auto drives = Drives(sub.Get());
  const DriveView member = ViewOf(drives[0].Get());
  VDS_DRIVE_EXTENT* extents = nullptr;
  LONG count = 0;
  ASSERT_EQ(drives[0]->QueryExtents(&extents, &count), S_OK);
  // Two used extents (a RAID 5 of three drives keeps half of each LUN on each drive) and the
  // free rest.
  ASSERT_EQ(count, 3);
  ULONGLONG used = 0;
  for (LONG i = 0; i < 2; ++i) {
    EXPECT_TRUE(extents[i].bUsed);
    EXPECT_EQ(extents[i].id, member.prop.id);
    used += extents[i].ullSize;
  }
  EXPECT_EQ(used, (1 * kGiB + 2 * kGiB) / 2);
  EXPECT_FALSE(extents[2].bUsed);
  EXPECT_EQ(extents[2].LunId, GUID_NULL);
  EXPECT_EQ(extents[2].ullSize, member.prop.ullSize - used);
  CoTaskMemFree(extents);
  // A free drive is one free extent.
  ASSERT_EQ(drives[9]->QueryExtents(&extents, &count), S_OK);
  ASSERT_EQ(count, 1);
  EXPECT_FALSE(extents[0].bUsed);
  CoTaskMemFree(extents);
}

TEST_F(Enumeration, PoolsPerDriveClassAndPerVdisk) {
  LoadInventory(MixedInventory());
  auto pools = Pools();
  std::set<std::string> names;
  for (const auto& pool : pools) {
    const PoolView view = ViewOf(pool.Get());
    names.insert(view.name);
    if (view.name == "SAS Primordial Pool") {
      EXPECT_EQ(view.prop.type, VDS_SPT_PRIMORDIAL);
      EXPECT_EQ(view.description, "SAS Drives (OBJSUB0001)");
      EXPECT_EQ(view.attr.busType, VDSBusTypeSas);
      EXPECT_EQ(view.attr.ullAttributeMask, 0x1aULL);
      EXPECT_EQ(view.usage, "SAS storage");
      // All seven SAS drives are consumed space; only the free healthy one is free space.
      EXPECT_EQ(view.prop.ullTotalConsumedSpace, view.prop.ullTotalManagedSpace);
      EXPECT_GT(view.prop.ullTotalManagedSpace, 6 * view.prop.ullRemainingFreeSpace);
      // What creation may take: of seven SAS drives only the free healthy one.
      auto* primordial = static_cast<CPool*>(pool.Get());
      std::vector<GUID> ids;
      primordial->DriveIds(&ids, true, true);
      EXPECT_EQ(ids.size(), 1u);
      primordial->DriveIds(&ids, false, false);
      EXPECT_EQ(ids.size(), 7u);
      EXPECT_EQ(primordial->vdsLunType(), VDS_LT_DEFAULT);
    }
    if (view.name == "Vdisk VD_R5") {
      EXPECT_EQ(view.prop.type, VDS_SPT_CONCRETE);
      EXPECT_EQ(view.description, "Vdisk Pool VD_R5 (OBJSUB0001)");
      EXPECT_EQ(view.attr.raidType, VDS_RT_RAID5);
      EXPECT_TRUE(view.attr.bNoSinglePointOfFailure);
      EXPECT_EQ(view.attr.ulStripeSize, 64u);
      EXPECT_EQ(view.prop.status, VDS_SPS_ONLINE);
      auto* concrete = static_cast<CPool*>(pool.Get());
      std::vector<GUID> ids;
      concrete->DriveIds(&ids, true, true);
      EXPECT_EQ(ids.size(), 3u);
      EXPECT_EQ(concrete->vdsLunType(), VDS_LT_RAID5);
      IEnumVdsObject* list = nullptr;
      ASSERT_EQ(pool->QueryAllocatedLuns(&list), S_OK);
      EXPECT_EQ(ListOf<IVdsLun>(list).size(), 2u);
      VDS_STORAGE_POOL_DRIVE_EXTENT* extents = nullptr;
      LONG count = 0;
      ASSERT_EQ(pool->QueryDriveExtents(&extents, &count), S_OK);
      EXPECT_EQ(count, 3);
      CoTaskMemFree(extents);
    }
    if (view.prop.type == VDS_SPT_PRIMORDIAL) {
      IEnumVdsObject* list = nullptr;
      ASSERT_EQ(pool->QueryAllocatedLuns(&list), S_OK);
      EXPECT_TRUE(ListOf<IVdsLun>(list).empty());
    }
  }
  EXPECT_EQ(names, (std::set<std::string>{"SATA Primordial Pool", "SAS Primordial Pool",
                                          "SSD Primordial Pool", "Vdisk VD_R5", "Vdisk VD_MIR",
                                          "Vdisk VD_EMPTY"}));
}

TEST_F(Enumeration, FibreChannelDrivesMakeNoPrimordialPool) {
  json sub = SubsystemJson("OBJSUBFC01");
  sub["drives"] = json::array({DrivesJson(4, 0, 2, "FC{n}")});
  LoadInventory(InventoryJson({sub}));
  EXPECT_TRUE(Pools().empty());
  EXPECT_EQ(Drives(SubSystem().Get()).size(), 4u);
}

TEST_F(Enumeration, IdsStayAcrossARefresh) {
  LoadInventory(MixedInventory());
  auto before = [&] {
    std::vector<std::string> ids;
    ComPtr<IVdsSubSystem> sub = SubSystem();
    for (const auto& d : Drives(sub.Get())) ids.push_back(GuidToString(ViewOf(d.Get()).prop.id));
    for (const auto& l : Luns(sub.Get())) ids.push_back(GuidToString(ViewOf(l.Get()).prop.id));
    for (const auto& p : Pools()) ids.push_back(GuidToString(ViewOf(p.Get()).prop.id));
    return ids;
  };
  const std::vector<std::string> first = before();
  ASSERT_EQ(static_cast<IVdsHwProvider*>(provider_)->Refresh(), S_OK);
  EXPECT_EQ(before(), first);
  ASSERT_EQ(SubSystem()->Reenumerate(), S_OK);
  EXPECT_EQ(before(), first);
}

}  // namespace
