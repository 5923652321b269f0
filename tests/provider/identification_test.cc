// A LUN's identification data and the way back from a host disk's information to the LUN,
// against the simulator and its host view (whose devices carry the array's INQUIRY data).
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "identify/lun_information.h"
#include "objects/lun.h"
#include "tests/provider/sim_fixture.h"

using nlohmann::json;

namespace {

class IdentificationTest : public HostViewTest {
 protected:
  void StartWithPortType(const std::string& type) {
    json inventory = ReadInventory("two-subsystems.json");
    for (json& subsystem : inventory["subsystems"]) {
      for (json& controller : subsystem["controllers"]) {
        for (json& port : controller["ports"]) port["type"] = type;
      }
    }
    StartSimulator(inventory.dump());
    ASSERT_EQ(Load(), S_OK);
  }

  struct Info {
    VDS_LUN_INFORMATION info{};
    ~Info() { FreeLunInformation(&info); }
    std::vector<uint8_t> Id(size_t i) const {
      const VDS_STORAGE_IDENTIFIER& id = info.m_deviceIdDescriptor.m_rgIdentifiers[i];
      return std::vector<uint8_t>(id.m_rgbIdentifier, id.m_rgbIdentifier + id.m_cbIdentifier);
    }
  };
};

std::vector<uint8_t> HexBytes(const std::string& text) {
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i + 1 < text.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

}  // namespace

TEST_F(IdentificationTest, MappedFcLunTakesProductAndSignatureFromItsDisk) {
  StartWithPortType("fc");
  // A label written into the view stays across the simulator's rewrites.
  json view = View();
  view["devices"][1]["layout"] = {{"mbr", "0x00c0ffee"}};
  WriteView(view);
  CLun* lun = Lun(u"north_data");
  ASSERT_NE(lun, nullptr);
  EXPECT_EQ(lun->GetIdentificationData(nullptr), E_INVALIDARG);
  Info got;
  ASSERT_EQ(lun->GetIdentificationData(&got.info), S_OK);
  const json device = View()["devices"][1];
  EXPECT_EQ(got.info.m_version, 1u);
  EXPECT_EQ(got.info.m_BusType, VDSBusTypeFibre);
  EXPECT_STREQ(got.info.m_szVendorId, "VELA");
  EXPECT_STREQ(got.info.m_szProductId, "TG-2024         ");  // the disk's own 16 bytes
  EXPECT_STREQ(got.info.m_szProductRevision, "TS25");
  const std::vector<uint8_t> page80 = HexBytes(device["vpd"]["80"]);
  EXPECT_EQ(std::string(got.info.m_szSerialNumber), std::string(page80.begin() + 4, page80.end()));
  uint32_t signature = 0;
  std::memcpy(&signature, &got.info.m_diskSignature, 4);
  EXPECT_EQ(signature, 0x00c0ffeeu);
  ASSERT_EQ(got.info.m_deviceIdDescriptor.m_cIdentifiers, 4u);
  // Identifier 0 is the designator the disk reports first in page 0x83.
  const std::vector<uint8_t> page83 = HexBytes(device["vpd"]["83"]);
  EXPECT_EQ(got.Id(0), std::vector<uint8_t>(page83.begin() + 8, page83.begin() + 24));
  EXPECT_EQ(got.Id(1), (std::vector<uint8_t>{0, 0, 0, 1}));  // controller A owns it
  EXPECT_EQ(got.Id(2).size(), 32u);                          // FC: 32 bytes, mapped or not
  EXPECT_EQ(got.Id(2)[0], 0x11);
  // Two calls give the same bytes.
  Info again;
  ASSERT_EQ(lun->GetIdentificationData(&again.info), S_OK);
  EXPECT_EQ(again.Id(2), got.Id(2));
}

TEST_F(IdentificationTest, MappedSasLunCarriesTheArraysControllerBlockToo) {
  StartWithPortType("sas");
  CLun* lun = Lun(u"north_data");
  ASSERT_NE(lun, nullptr);
  Info got;
  ASSERT_EQ(lun->GetIdentificationData(&got.info), S_OK);
  EXPECT_EQ(got.info.m_BusType, VDSBusTypeSas);
  const std::vector<uint8_t> block = got.Id(2);
  ASSERT_EQ(block.size(), 64u);
  // The array reports the same block the provider builds from the controller records.
  EXPECT_EQ(std::vector<uint8_t>(block.begin(), block.begin() + 32),
            std::vector<uint8_t>(block.begin() + 32, block.end()));
}

TEST_F(IdentificationTest, ALunTheHostDoesNotSeeStillGetsACompleteRecord) {
  StartWithPortType("sas");
  json view = View();
  view["devices"] = json::array();
  WriteView(view);
  CLun* lun = Lun(u"north_data");
  ASSERT_NE(lun, nullptr);
  Info got;
  ASSERT_EQ(lun->GetIdentificationData(&got.info), S_OK);
  EXPECT_STREQ(got.info.m_szProductId, "TG-2024");  // the controller's
  EXPECT_EQ(got.info.m_diskSignature, GUID_NULL);
  EXPECT_EQ(got.info.m_deviceIdDescriptor.m_cIdentifiers, 4u);
  EXPECT_EQ(got.Id(2).size(), 32u);  // SAS, but not mapped
}

TEST_F(IdentificationTest, QueryIfCreatedLunFindsEachLunFromItsOwnInformation) {
  StartWithPortType("fc");
  for (const char16_t* name : {u"north_data", u"north_logs", u"south_db"}) {
    CLun* lun = Lun(name);
    ASSERT_NE(lun, nullptr);
    Info info;
    ASSERT_EQ(lun->GetIdentificationData(&info.info), S_OK);
    VDS_OBJECT_ID found = GUID_NULL;
    EXPECT_EQ(
        provider_->QueryIfCreatedLun(const_cast<LPWSTR>(u"\\\\?\\scsi#disk"), &info.info, &found),
        S_OK);
    EXPECT_EQ(found, lun->Prop().id);
  }
  CLun* lun = Lun(u"north_data");
  Info info;
  ASSERT_EQ(lun->GetIdentificationData(&info.info), S_OK);
  LPWSTR path = const_cast<LPWSTR>(u"\\\\?\\scsi#disk");
  VDS_OBJECT_ID found = GUID_NULL;
  EXPECT_EQ(provider_->QueryIfCreatedLun(nullptr, &info.info, &found), E_POINTER);
  EXPECT_EQ(provider_->QueryIfCreatedLun(path, nullptr, &found), E_POINTER);
  EXPECT_EQ(provider_->QueryIfCreatedLun(path, &info.info, nullptr), E_POINTER);
  // Another serial in the low half: not ours, and *pLunId untouched.
  info.info.m_deviceIdDescriptor.m_rgIdentifiers[0].m_rgbIdentifier[9] ^= 0xff;
  EXPECT_EQ(provider_->QueryIfCreatedLun(path, &info.info, &found), S_FALSE);
  EXPECT_EQ(found, GUID_NULL);
}
