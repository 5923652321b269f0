#include "sim/json_fields.h"

#include <arpa/inet.h>

#include <stdexcept>

namespace sim {

using nlohmann::json;

namespace {

template <typename T>
void Get(const json& in, const char* key, T* out) {
  if (in.contains(key)) *out = in.at(key).get<T>();
}

void GetU8(const json& in, const char* key, uint8_t* out) {
  if (!in.contains(key)) return;
  const unsigned value = in.at(key).get<unsigned>();
  if (value > 0xFF) throw std::runtime_error(std::string(key) + " exceeds 255");
  *out = static_cast<uint8_t>(value);
}

template <size_t N>
void GetHex(const json& in, const char* key, std::array<uint8_t, N>* out) {
  if (in.contains(key)) ParseHex(in.at(key).get<std::string>(), out->data(), N);
}

template <size_t N>
std::string Hex(const std::array<uint8_t, N>& bytes) {
  return HexText(bytes.data(), N);
}

bool IsZero(const Serial32& serial) {
  for (uint8_t byte : serial) {
    if (byte) return false;
  }
  return true;
}

uint8_t PortTypeFromJson(const json& value) {
  if (value.is_number()) return value.get<uint8_t>();
  const std::string text = value.get<std::string>();
  if (text == "fc") return kPortTypeFc;
  if (text == "sas") return kPortTypeSas;
  if (text == "iscsi") return kPortTypeIscsi;
  throw std::runtime_error("port type must be fc, sas, iscsi or a number");
}

std::array<uint8_t, 4> ParseIp(const std::string& text) {
  in_addr address{};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
    throw std::runtime_error("bad IPv4 address " + text);
  }
  std::array<uint8_t, 4> out{};
  std::memcpy(out.data(), &address, 4);
  return out;
}

std::string IpText(const std::array<uint8_t, 4>& ip) {
  return std::to_string(ip[0]) + "." + std::to_string(ip[1]) + "." + std::to_string(ip[2]) + "." +
         std::to_string(ip[3]);
}

void EventFromJson(const json& in, Event* event) {
  Get(in, "sequenceNumber", &event->sequenceNumber);
  Get(in, "eventCode", &event->eventCode);
  Get(in, "errorcode", &event->errorcode);
  Get(in, "param", &event->param);
  Get(in, "controllerHandle", &event->controllerHandle);
  Get(in, "driveSerial", &event->driveSerial);
  GetHex(in, "lunSerial", &event->lunSerial);
  GetU8(in, "owner", &event->owner);
  Get(in, "description", &event->description);
}

json EventJson(const Event& event) {
  json out = {{"sequenceNumber", event.sequenceNumber},
              {"eventCode", event.eventCode},
              {"errorcode", event.errorcode},
              {"param", event.param},
              {"controllerHandle", event.controllerHandle},
              {"owner", event.owner},
              {"description", event.description}};
  if (!event.driveSerial.empty()) out["driveSerial"] = event.driveSerial;
  if (!IsZero(event.lunSerial)) out["lunSerial"] = Hex(event.lunSerial);
  return out;
}

void PortFromJson(const json& in, HostPort* port) {
  if (in.contains("type")) port->type = PortTypeFromJson(in.at("type"));
  GetU8(in, "portNumber", &port->portNumber);
  GetHex(in, "wwpn", &port->wwpn);
  GetHex(in, "sasId", &port->wwpn);
  GetHex(in, "mac", &port->mac);
  Get(in, "linkUp", &port->linkUp);
}

json PortJson(const HostPort& port) {
  json out = {{"type", port.type}, {"portNumber", port.portNumber}, {"linkUp", port.linkUp}};
  if (port.type == kPortTypeIscsi) {
    out["mac"] = Hex(port.mac);
  } else {
    out[port.type == kPortTypeSas ? "sasId" : "wwpn"] = Hex(port.wwpn);
  }
  return out;
}

void ControllerFromJson(const json& in, Controller* controller) {
  Get(in, "handle", &controller->handle);
  Get(in, "serialNumber", &controller->serialNumber);
  GetU8(in, "controllerId", &controller->controllerId);
  if (in.contains("ipAddress")) controller->ipAddress = ParseIp(in.at("ipAddress"));
  GetHex(in, "macAddress", &controller->macAddress);
  Get(in, "firmwareRevision", &controller->firmwareRevision);
  Get(in, "hardwareRevision", &controller->hardwareRevision);
  Get(in, "capabilities", &controller->capabilities);
  if (in.value("raid6", false)) controller->capabilities |= 0x200000;
  GetU8(in, "controllerMode", &controller->controllerMode);
  Get(in, "maxLuns", &controller->maxLuns);
  Get(in, "maxArrayPartitions", &controller->maxArrayPartitions);
  Get(in, "driveOverheadPercent", &controller->driveOverheadPercent);
  GetU8(in, "allowedDriveType", &controller->allowedDriveType);
  GetU8(in, "controllerState", &controller->controllerState);
  Get(in, "nextEventNumber", &controller->nextEventNumber);
  Get(in, "dmsTag", &controller->dmsTag);
  for (const json& entry : in.value("ports", json::array())) {
    controller->ports.emplace_back();
    PortFromJson(entry, &controller->ports.back());
  }
  for (const json& entry : in.value("events", json::array())) {
    controller->events.emplace_back();
    EventFromJson(entry, &controller->events.back());
  }
}

json ControllerJson(const Controller& controller) {
  json ports = json::array();
  for (const HostPort& port : controller.ports) ports.push_back(PortJson(port));
  json events = json::array();
  for (const Event& event : controller.events) events.push_back(EventJson(event));
  return {{"handle", controller.handle},
          {"serialNumber", controller.serialNumber},
          {"controllerId", controller.controllerId},
          {"ipAddress", IpText(controller.ipAddress)},
          {"macAddress", Hex(controller.macAddress)},
          {"firmwareRevision", controller.firmwareRevision},
          {"hardwareRevision", controller.hardwareRevision},
          {"capabilities", controller.capabilities},
          {"controllerMode", controller.controllerMode},
          {"maxLuns", controller.maxLuns},
          {"maxArrayPartitions", controller.maxArrayPartitions},
          {"driveOverheadPercent", controller.driveOverheadPercent},
          {"allowedDriveType", controller.allowedDriveType},
          {"controllerState", controller.controllerState},
          {"nextEventNumber", controller.nextEventNumber},
          {"dmsTag", controller.dmsTag},
          {"ports", ports},
          {"events", events}};
}

void MappingFromJson(const json& in, HostMapping* mapping) {
  GetU8(in, "hostType", &mapping->hostType);
  GetHex(in, "wwpn", &mapping->wwpn);
  Get(in, "hostName", &mapping->hostName);
  GetHex(in, "ipAddress", &mapping->ipAddress);
  Get(in, "lun", &mapping->lun);
  mapping->access.fill(0xC0);
  GetHex(in, "access", &mapping->access);
}

json MappingJson(const HostMapping& mapping) {
  json out = {{"hostType", mapping.hostType},
              {"wwpn", Hex(mapping.wwpn)},
              {"lun", mapping.lun},
              {"access", Hex(mapping.access)}};
  if (!mapping.hostName.empty()) out["hostName"] = mapping.hostName;
  if (mapping.hostType == 0x40 || mapping.hostType == 0x80)
    out["ipAddress"] = Hex(mapping.ipAddress);
  return out;
}

json PartitionJson(const Partition& partition) {
  json hosts = json::array();
  for (const HostMapping& mapping : partition.hosts) hosts.push_back(MappingJson(mapping));
  json out = {{"name", partition.name},
              {"serialNumber", Hex(partition.serialNumber)},
              {"offsetBlocks", partition.offsetBlocks},
              {"blocks", partition.blocks},
              {"lun", partition.lun},
              {"type", partition.type},
              {"cacheParams", Hex(partition.cacheParams)},
              {"allHosts", partition.allHosts},
              {"hosts", hosts}};
  if (!IsZero(partition.backingStore)) out["backingStore"] = Hex(partition.backingStore);
  if (!IsZero(partition.master)) out["master"] = Hex(partition.master);
  return out;
}

json VdiskJson(const Vdisk& vdisk) {
  json partitions = json::array();
  for (const Partition& partition : vdisk.partitions)
    partitions.push_back(PartitionJson(partition));
  return {{"name", vdisk.name},
          {"serialNumber", Hex(vdisk.serialNumber)},
          {"raidLevel", vdisk.raidLevel},
          {"stripeSizeKB", vdisk.stripeSizeKB},
          {"numDrivesPerLowLevelArray", vdisk.numDrivesPerLowLevelArray},
          {"members", vdisk.members},
          {"spares", vdisk.spares},
          {"owner", vdisk.ownerIndex == 0 ? "A" : "B"},
          {"health", vdisk.health},
          {"utilityRunning", vdisk.utilityRunning},
          {"jobPercent", vdisk.jobPercent},
          {"jobPendingBlocks", vdisk.jobPendingBlocks},
          {"blockCount", vdisk.blockCount},
          {"expandableBlocks", vdisk.expandableBlocks},
          {"cacheParams", Hex(vdisk.cacheParams)},
          {"driveType", vdisk.driveType},
          {"spinDown", vdisk.spinDown},
          {"partitions", partitions}};
}

json DriveJson(const Drive& drive) {
  return {{"serialNumber", drive.serialNumber},
          {"vendor", drive.vendor},
          {"product", drive.product},
          {"revision", drive.revision},
          {"type", drive.type},
          {"blocks", drive.blocks},
          {"rpmThousands", drive.rpmThousands},
          {"enclosureNumber", drive.enclosureNumber},
          {"slotNumber", drive.slotNumber},
          {"channel", drive.channel},
          {"scsiId", drive.scsiId},
          {"howUsed", drive.howUsed},
          {"downReason", drive.downReason},
          {"useState", drive.useState},
          {"blinking", drive.blinking},
          {"present", drive.present}};
}

}  // namespace

std::string HexText(const uint8_t* bytes, size_t size) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out;
  out.reserve(size * 2);
  for (size_t i = 0; i < size; ++i) {
    out += kDigits[bytes[i] >> 4];
    out += kDigits[bytes[i] & 0xF];
  }
  return out;
}

void ParseHex(const std::string& text, uint8_t* out, size_t size) {
  size_t count = 0;
  int high = -1;
  for (char c : text) {
    if (c == ':' || c == '-') continue;
    int nibble;
    if (c >= '0' && c <= '9') {
      nibble = c - '0';
    } else if (c >= 'a' && c <= 'f') {
      nibble = c - 'a' + 10;
    } else if (c >= 'A' && c <= 'F') {
      nibble = c - 'A' + 10;
    } else {
      throw std::runtime_error("bad hex text " + text);
    }
    if (high < 0) {
      high = nibble;
      continue;
    }
    if (count == size) throw std::runtime_error("hex text too long: " + text);
    out[count++] = static_cast<uint8_t>((high << 4) | nibble);
    high = -1;
  }
  if (count != size || high >= 0) {
    throw std::runtime_error("hex text must give " + std::to_string(size) + " bytes: " + text);
  }
}

void DriveFromJson(const json& in, Drive* drive) {
  Get(in, "serialNumber", &drive->serialNumber);
  Get(in, "vendor", &drive->vendor);
  Get(in, "product", &drive->product);
  Get(in, "revision", &drive->revision);
  GetU8(in, "type", &drive->type);
  Get(in, "blocks", &drive->blocks);
  GetU8(in, "rpmThousands", &drive->rpmThousands);
  GetU8(in, "enclosureNumber", &drive->enclosureNumber);
  GetU8(in, "slotNumber", &drive->slotNumber);
  GetU8(in, "channel", &drive->channel);
  GetU8(in, "scsiId", &drive->scsiId);
  GetU8(in, "howUsed", &drive->howUsed);
  GetU8(in, "downReason", &drive->downReason);
  GetU8(in, "useState", &drive->useState);
  Get(in, "blinking", &drive->blinking);
  Get(in, "present", &drive->present);
}

void PartitionFromJson(const json& in, Partition* partition) {
  Get(in, "name", &partition->name);
  GetHex(in, "serialNumber", &partition->serialNumber);
  Get(in, "offsetBlocks", &partition->offsetBlocks);
  Get(in, "blocks", &partition->blocks);
  Get(in, "lun", &partition->lun);
  GetU8(in, "type", &partition->type);
  GetHex(in, "cacheParams", &partition->cacheParams);
  Get(in, "allHosts", &partition->allHosts);
  for (const json& entry : in.value("hosts", json::array())) {
    partition->hosts.emplace_back();
    MappingFromJson(entry, &partition->hosts.back());
  }
  if (!in.contains("allHosts") && !partition->hosts.empty()) partition->allHosts = false;
  if (partition->hosts.size() > kMaxHostsPerView) throw std::runtime_error("more than 128 hosts");
  GetHex(in, "backingStore", &partition->backingStore);
  GetHex(in, "master", &partition->master);
}

void VdiskFromJson(const json& in, Vdisk* vdisk) {
  Get(in, "name", &vdisk->name);
  GetHex(in, "serialNumber", &vdisk->serialNumber);
  GetU8(in, "raidLevel", &vdisk->raidLevel);
  Get(in, "stripeSizeKB", &vdisk->stripeSizeKB);
  GetU8(in, "numDrivesPerLowLevelArray", &vdisk->numDrivesPerLowLevelArray);
  Get(in, "members", &vdisk->members);
  Get(in, "spares", &vdisk->spares);
  if (in.contains("owner")) {
    const std::string owner = in.at("owner").get<std::string>();
    if (owner != "A" && owner != "B") throw std::runtime_error("vdisk owner must be A or B");
    vdisk->ownerIndex = owner == "A" ? 0 : 1;
  }
  GetU8(in, "health", &vdisk->health);
  GetU8(in, "utilityRunning", &vdisk->utilityRunning);
  Get(in, "jobPercent", &vdisk->jobPercent);
  Get(in, "jobPendingBlocks", &vdisk->jobPendingBlocks);
  Get(in, "blockCount", &vdisk->blockCount);
  Get(in, "expandableBlocks", &vdisk->expandableBlocks);
  GetHex(in, "cacheParams", &vdisk->cacheParams);
  GetU8(in, "driveType", &vdisk->driveType);
  Get(in, "spinDown", &vdisk->spinDown);
}

void SubsystemHeadFromJson(const json& in, Subsystem* subsystem) {
  subsystem->uniqueSn = in.at("uniqueSn").get<std::string>();
  Get(in, "vendorName", &subsystem->vendorName);
  Get(in, "vendorNameOverride", &subsystem->vendorNameOverride);
  Get(in, "productId", &subsystem->productId);
  Get(in, "systemName", &subsystem->systemName);
  for (const json& entry : in.at("controllers")) {
    subsystem->controllers.emplace_back();
    ControllerFromJson(entry, &subsystem->controllers.back());
  }
  for (const json& entry : in.value("enclosures", json::array())) {
    Enclosure enclosure;
    GetU8(entry, "number", &enclosure.number);
    GetU8(entry, "slots", &enclosure.slots);
    subsystem->enclosures.push_back(enclosure);
  }
}

void HbaPortFromJson(const json& in, HbaPort* port) {
  if (in.contains("type")) {
    const std::string type = in.at("type").get<std::string>();
    if (type.size() != 1) throw std::runtime_error("HBA port type is one character");
    port->type = static_cast<uint8_t>(type[0]);
  }
  GetU8(in, "portNumber", &port->portNumber);
  GetHex(in, "wwpn", &port->wwpn);
}

void GlobalsFromJson(const json& in, Model* model) {
  Get(in, "serialCounter", &model->serialCounter);
  Get(in, "maxSnapshots", &model->limits.maxSnapshots);
  Get(in, "maxMasterVolumes", &model->limits.maxMasterVolumes);
  Get(in, "maxPartitionsPerArray", &model->limits.maxPartitionsPerArray);
  Get(in, "jobPercentPerSecond", &model->limits.jobPercentPerSecond);
}

json SubsystemFullJson(const Subsystem& subsystem) {
  json controllers = json::array();
  for (const Controller& controller : subsystem.controllers) {
    controllers.push_back(ControllerJson(controller));
  }
  json enclosures = json::array();
  for (const Enclosure& enclosure : subsystem.enclosures) {
    enclosures.push_back({{"number", enclosure.number}, {"slots", enclosure.slots}});
  }
  json drives = json::array();
  for (const Drive& drive : subsystem.drives) drives.push_back(DriveJson(drive));
  json vdisks = json::array();
  for (const Vdisk& vdisk : subsystem.vdisks) vdisks.push_back(VdiskJson(vdisk));
  return {{"uniqueSn", subsystem.uniqueSn},
          {"vendorName", subsystem.vendorName},
          {"vendorNameOverride", subsystem.vendorNameOverride},
          {"productId", subsystem.productId},
          {"systemName", subsystem.systemName},
          {"controllers", controllers},
          {"enclosures", enclosures},
          {"drives", drives},
          {"vdisks", vdisks}};
}

json HbaPortJson(const HbaPort& port) {
  return {{"type", std::string(1, static_cast<char>(port.type))},
          {"portNumber", port.portNumber},
          {"wwpn", Hex(port.wwpn)}};
}

json GlobalsJson(const Model& model) {
  return {{"serialCounter", model.serialCounter},
          {"maxSnapshots", model.limits.maxSnapshots},
          {"maxMasterVolumes", model.limits.maxMasterVolumes},
          {"maxPartitionsPerArray", model.limits.maxPartitionsPerArray},
          {"jobPercentPerSecond", model.limits.jobPercentPerSecond}};
}

}  // namespace sim
