#include "tests/objects/object_test_support.h"

using nlohmann::json;

json SubsystemJson(const std::string& uniqueSn) {
  auto controller = [](int handle, int id, const char* serial, const char* ip, int wwnByte) {
    char wwn0[32];
    char wwn1[32];
    std::snprintf(wwn0, sizeof(wwn0), "20:70:02:56:4c:1a:%02x:01", wwnByte);
    std::snprintf(wwn1, sizeof(wwn1), "21:70:02:56:4c:1a:%02x:01", wwnByte);
    return json{
        {"handle", handle},
        {"serialNumber", serial},
        {"controllerId", id},
        {"ipAddress", ip},
        {"macAddress", "02:56:4c:1a:00:0" + std::to_string(id)},
        {"firmwareRevision", "TS252R004"},
        {"hardwareRevision", "SIM-FC-8G rev B"},
        {"raid6", true},
        {"maxLuns", 512},
        {"maxArrayPartitions", 512},
        {"driveOverheadPercent", 10},
        {"ports",
         json::array({{{"type", "fc"}, {"portNumber", 0}, {"wwpn", wwn0}},
                      {{"type", "fc"}, {"portNumber", 1}, {"wwpn", wwn1}, {"linkUp", false}}})}};
  };
  return json{{"uniqueSn", uniqueSn},
              {"vendorName", "VELA"},
              {"productId", "TG-2024"},
              {"systemName", "array-" + uniqueSn},
              {"controllers", json::array({controller(2001, 1, "CTLA0001", "10.11.0.11", 0xa1),
                                           controller(2002, 0, "CTLB0001", "10.11.0.12", 0xb1)})},
              {"enclosures", json::array({{{"number", 0}, {"slots", 24}}})},
              {"drives", json::array()},
              {"vdisks", json::array()}};
}

json DrivesJson(int count, int slot, int type, const std::string& serialPattern) {
  return json{{"count", count},       {"serialNumber", serialPattern},
              {"vendor", "KESTREL"},  {"product", "KS600SAS"},
              {"revision", "0006"},   {"type", type},
              {"blocks", 1172123568}, {"rpmThousands", 15},
              {"enclosureNumber", 0}, {"slotNumber", slot},
              {"channel", 0},         {"scsiId", slot},
              {"first", slot}};
}

json InventoryJson(const std::vector<json>& subsystems) { return json{{"subsystems", subsystems}}; }

void ObjectTest::LoadInventory(const json& inventory) {
  StartSimulator(inventory.dump());
  ASSERT_EQ(Load(), S_OK);
}

ComPtr<IVdsSubSystem> ObjectTest::SubSystem(size_t index) {
  IEnumVdsObject* list = nullptr;
  EXPECT_EQ(provider_->QuerySubSystems(&list), S_OK);
  auto all = ListOf<IVdsSubSystem>(list);
  EXPECT_LT(index, all.size());
  return index < all.size() ? all[index] : ComPtr<IVdsSubSystem>();
}

ComPtr<IVdsLun> ObjectTest::LunNamed(IVdsSubSystem* subSystem, const std::string& name) {
  for (const auto& lun : Luns(subSystem)) {
    if (ViewOf(lun.Get()).name == name) return lun;
  }
  ADD_FAILURE() << "no LUN named " << name;
  return ComPtr<IVdsLun>();
}
