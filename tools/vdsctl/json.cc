#include "tools/vdsctl/json.h"

#include <cctype>

#include "tools/vdsctl/names.h"

namespace vdsctl {

namespace {

Json TextJson(const Text& text) { return text ? Json(*text) : Json(nullptr); }

Json IdJson(const GUID& id) { return GuidToString(id); }

// The name of an enumerated value beside its number: the word of the tables in lower case
// ("online", "failed redundancy", "raid-5"); "unknown" for a value without a word.
Json NameJson(const std::string& word) {
  if (word.rfind("Unknown (", 0) == 0) return "unknown";
  std::string name = word;
  for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return name;
}

Json ExtentJson(const VDS_DRIVE_EXTENT& extent) {
  Json json;
  json["id"] = IdJson(extent.id);
  json["LunId"] = IdJson(extent.LunId);
  json["ullSize"] = extent.ullSize;
  json["bUsed"] = extent.bUsed;
  return json;
}

Json AttributesJson(const PoolRow& row) {
  const VDS_POOL_ATTRIBUTES& a = row.attributes;
  Json json;
  json["ullAttributeMask"] = a.ullAttributeMask;
  json["raidType"] = a.raidType;
  json["raidTypeName"] = NameJson(RaidTypeWord(a.raidType));
  json["busType"] = a.busType;
  json["busTypeName"] = NameJson(BusTypeWord(a.busType));
  json["pwszIntendedUsage"] = TextJson(row.pwszIntendedUsage);
  json["bSpinDown"] = a.bSpinDown;
  json["bIsThinProvisioned"] = a.bIsThinProvisioned;
  json["ullProvisionedSpace"] = a.ullProvisionedSpace;
  json["bNoSinglePointOfFailure"] = a.bNoSinglePointOfFailure;
  json["ulDataRedundancyMax"] = a.ulDataRedundancyMax;
  json["ulDataRedundancyMin"] = a.ulDataRedundancyMin;
  json["ulDataRedundancyDefault"] = a.ulDataRedundancyDefault;
  json["ulPackageRedundancyMax"] = a.ulPackageRedundancyMax;
  json["ulPackageRedundancyMin"] = a.ulPackageRedundancyMin;
  json["ulPackageRedundancyDefault"] = a.ulPackageRedundancyDefault;
  json["ulStripeSize"] = a.ulStripeSize;
  json["ulStripeSizeMax"] = a.ulStripeSizeMax;
  json["ulStripeSizeMin"] = a.ulStripeSizeMin;
  json["ulDefaultStripeSize"] = a.ulDefaultStripeSize;
  json["ulNumberOfColumns"] = a.ulNumberOfColumns;
  json["ulNumberOfColumnsMax"] = a.ulNumberOfColumnsMax;
  json["ulNumberOfColumnsMin"] = a.ulNumberOfColumnsMin;
  json["ulDefaultNumberofColumns"] = a.ulDefaultNumberofColumns;
  json["ulDataAvailabilityHint"] = a.ulDataAvailabilityHint;
  json["ulAccessRandomnessHint"] = a.ulAccessRandomnessHint;
  json["ulAccessDirectionHint"] = a.ulAccessDirectionHint;
  json["ulAccessSizeHint"] = a.ulAccessSizeHint;
  json["ulAccessLatencyHint"] = a.ulAccessLatencyHint;
  json["ulAccessBandwidthWeightHint"] = a.ulAccessBandwidthWeightHint;
  json["ulStorageCostHint"] = a.ulStorageCostHint;
  json["ulStorageEfficiencyHint"] = a.ulStorageEfficiencyHint;
  json["ulNumOfCustomAttributes"] = a.ulNumOfCustomAttributes;
  Json custom = Json::array();
  for (const auto& [name, value] : row.customAttributes) {
    custom.push_back(Json{{"pwszName", TextJson(name)}, {"pwszValue", TextJson(value)}});
  }
  json["pPoolCustomAttributes"] = std::move(custom);
  json["bReserved1"] = a.bReserved1;
  json["bReserved2"] = a.bReserved2;
  json["ulReserved1"] = a.ulReserved1;
  json["ulReserved2"] = a.ulReserved2;
  json["ullReserved1"] = a.ullReserved1;
  json["ullReserved2"] = a.ullReserved2;
  return json;
}

}  // namespace

Json ToJson(const ProviderRow& row) {
  const VDS_PROVIDER_PROP& p = row.prop;
  Json json;
  json["id"] = IdJson(p.id);
  json["pwszName"] = TextJson(row.pwszName);
  json["guidVersionId"] = IdJson(p.guidVersionId);
  json["pwszVersion"] = TextJson(row.pwszVersion);
  json["type"] = p.type;
  json["typeName"] = NameJson(ProviderTypeWord(p.type));
  json["ulFlags"] = p.ulFlags;
  json["ulStripeSizeFlags"] = p.ulStripeSizeFlags;
  json["sRebuildPriority"] = p.sRebuildPriority;
  return json;
}

Json ToJson(const SubsystemRow& row) {
  const VDS_SUB_SYSTEM_PROP2& p = row.prop;
  Json json;
  json["index"] = row.index;
  json["id"] = IdJson(p.id);
  json["pwszFriendlyName"] = TextJson(row.pwszFriendlyName);
  json["pwszIdentification"] = TextJson(row.pwszIdentification);
  json["ulFlags"] = p.ulFlags;
  json["ulStripeSizeFlags"] = p.ulStripeSizeFlags;
  json["ulSupportedRaidTypeFlags"] = p.ulSupportedRaidTypeFlags;
  json["status"] = p.status;
  json["statusName"] = NameJson(StatusWord(p.status));
  json["health"] = p.health;
  json["healthName"] = NameJson(HealthWord(p.health));
  json["sNumberOfInternalBuses"] = p.sNumberOfInternalBuses;
  json["sMaxNumberOfSlotsEachBus"] = p.sMaxNumberOfSlotsEachBus;
  json["sMaxNumberOfControllers"] = p.sMaxNumberOfControllers;
  json["sRebuildPriority"] = p.sRebuildPriority;
  json["ulNumberOfEnclosures"] = p.ulNumberOfEnclosures;
  return json;
}

Json ToJson(const ControllerRow& row) {
  const VDS_CONTROLLER_PROP& p = row.prop;
  Json json;
  json["index"] = row.index;
  json["subsystem"] = row.subsystem;
  json["id"] = IdJson(p.id);
  json["pwszFriendlyName"] = TextJson(row.pwszFriendlyName);
  json["pwszIdentification"] = TextJson(row.pwszIdentification);
  json["status"] = p.status;
  json["statusName"] = NameJson(StatusWord(p.status));
  json["health"] = p.health;
  json["healthName"] = NameJson(HealthWord(p.health));
  json["sNumberOfPorts"] = p.sNumberOfPorts;
  return json;
}

Json ToJson(const PortRow& row) {
  const VDS_PORT_PROP& p = row.prop;
  Json json;
  json["index"] = row.index;
  json["subsystem"] = row.subsystem;
  json["controller"] = row.controller;
  json["id"] = IdJson(p.id);
  json["pwszFriendlyName"] = TextJson(row.pwszFriendlyName);
  json["pwszIdentification"] = TextJson(row.pwszIdentification);
  json["status"] = p.status;
  json["statusName"] = NameJson(StatusWord(p.status));
  return json;
}

Json ToJson(const DriveRow& row) {
  const VDS_DRIVE_PROP2& p = row.prop;
  Json json;
  json["index"] = row.index;
  json["subsystem"] = row.subsystem;
  json["id"] = IdJson(p.id);
  json["ullSize"] = p.ullSize;
  json["pwszFriendlyName"] = TextJson(row.pwszFriendlyName);
  json["pwszIdentification"] = TextJson(row.pwszIdentification);
  json["ulFlags"] = p.ulFlags;
  json["status"] = p.status;
  json["statusName"] = NameJson(StatusWord(p.status));
  json["health"] = p.health;
  json["healthName"] = NameJson(HealthWord(p.health));
  json["sInternalBusNumber"] = p.sInternalBusNumber;
  json["sSlotNumber"] = p.sSlotNumber;
  json["ulEnclosureNumber"] = p.ulEnclosureNumber;
  json["busType"] = p.busType;
  json["busTypeName"] = NameJson(BusTypeWord(p.busType));
  json["ulSpindleSpeed"] = p.ulSpindleSpeed;
  Json extents = Json::array();
  for (const VDS_DRIVE_EXTENT& extent : row.extents) extents.push_back(ExtentJson(extent));
  json["extents"] = std::move(extents);
  return json;
}

Json ToJson(const LunRow& row) {
  const VDS_LUN_PROP& p = row.prop;
  Json json;
  json["index"] = row.index;
  json["subsystem"] = row.subsystem;
  json["id"] = IdJson(p.id);
  json["ullSize"] = p.ullSize;
  json["pwszFriendlyName"] = TextJson(row.pwszFriendlyName);
  json["pwszIdentification"] = TextJson(row.pwszIdentification);
  json["pwszUnmaskingList"] = TextJson(row.pwszUnmaskingList);
  json["ulFlags"] = p.ulFlags;
  json["type"] = p.type;
  json["typeName"] = NameJson(LunTypeWord(p.type));
  json["status"] = p.status;
  json["statusName"] = NameJson(StatusWord(p.status));
  json["health"] = p.health;
  json["healthName"] = NameJson(HealthWord(p.health));
  json["TransitionState"] = p.TransitionState;
  json["TransitionStateName"] = NameJson(TransitionWord(p.TransitionState));
  json["sRebuildPriority"] = p.sRebuildPriority;
  Json plexes = Json::array();
  for (const VDS_OBJECT_ID& plex : row.plexes) plexes.push_back(IdJson(plex));
  json["plexes"] = std::move(plexes);
  return json;
}

Json ToJson(const PlexRow& row) {
  const VDS_LUN_PLEX_PROP& p = row.prop;
  Json json;
  json["index"] = row.index;
  json["subsystem"] = row.subsystem;
  json["lun"] = row.lun;
  json["id"] = IdJson(p.id);
  json["ullSize"] = p.ullSize;
  json["type"] = p.type;
  json["typeName"] = NameJson(PlexTypeWord(p.type));
  json["status"] = p.status;
  json["statusName"] = NameJson(StatusWord(p.status));
  json["health"] = p.health;
  json["healthName"] = NameJson(HealthWord(p.health));
  json["TransitionState"] = p.TransitionState;
  json["TransitionStateName"] = NameJson(TransitionWord(p.TransitionState));
  json["ulFlags"] = p.ulFlags;
  json["ulStripeSize"] = p.ulStripeSize;
  json["sRebuildPriority"] = p.sRebuildPriority;
  return json;
}

Json ToJson(const PoolRow& row) {
  const VDS_STORAGE_POOL_PROP& p = row.prop;
  Json json;
  json["index"] = row.index;
  json["subsystem"] = row.subsystem ? Json(*row.subsystem) : Json(nullptr);
  json["id"] = IdJson(p.id);
  json["status"] = p.status;
  json["statusName"] = NameJson(StatusWord(p.status));
  json["health"] = p.health;
  json["healthName"] = NameJson(HealthWord(p.health));
  json["type"] = p.type;
  json["typeName"] = NameJson(PoolTypeWord(p.type));
  json["pwszName"] = TextJson(row.pwszName);
  json["pwszDescription"] = TextJson(row.pwszDescription);
  json["ullTotalConsumedSpace"] = p.ullTotalConsumedSpace;
  json["ullTotalManagedSpace"] = p.ullTotalManagedSpace;
  json["ullRemainingFreeSpace"] = p.ullRemainingFreeSpace;
  json["attributes"] = AttributesJson(row);
  return json;
}

Json ErrorJson(HRESULT hr, const std::string& call) {
  Json error;
  error["hr"] = HResultHex(hr);
  error["name"] = HResultText(hr);
  error["call"] = call;
  return Json{{"error", std::move(error)}};
}

}  // namespace vdsctl
