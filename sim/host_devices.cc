#include "sim/host_devices.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "proxy/byte_order.h"
#include "sim/json_fields.h"

namespace sim {

namespace {

using nlohmann::json;
using Bytes = std::vector<uint8_t>;

constexpr uint8_t kCodeSetBinary = 1;
constexpr uint8_t kCodeSetAscii = 2;
constexpr uint8_t kPiv = 0x80;
constexpr uint8_t kAssocTargetPort = 0x10;
constexpr uint8_t kTypeT10Vendor = 1;
constexpr uint8_t kTypeNaa = 3;
constexpr uint8_t kTypeRelativePort = 4;
constexpr uint8_t kTypeTargetPortGroup = 5;
constexpr uint8_t kTypeVendorSpecific = 0;
// SCSI transport protocol identifiers.
constexpr uint8_t kProtocolFc = 0x0;
constexpr uint8_t kProtocolIscsi = 0x5;
constexpr uint8_t kProtocolSas = 0x6;

// Text in a fixed field, blank padded.
void PutField(const std::string& text, size_t width, Bytes* out) {
  for (size_t i = 0; i < width; ++i) out->push_back(i < text.size() ? text[i] : ' ');
}

void PutDesignator(uint8_t protocolAndCodeSet, uint8_t pivAssocType, const Bytes& data,
                   Bytes* page) {
  page->push_back(protocolAndCodeSet);
  page->push_back(pivAssocType);
  page->push_back(0);
  page->push_back(static_cast<uint8_t>(data.size()));
  page->insert(page->end(), data.begin(), data.end());
}

// A VPD page: code, 16-bit length, body.
Bytes Page(uint8_t code, const Bytes& body) {
  Bytes page{0, code, 0, 0};
  put_be16(static_cast<uint16_t>(body.size()), page.data() + 2);
  page.insert(page.end(), body.begin(), body.end());
  return page;
}

Bytes StandardInquiry(const std::string& vendor, const std::string& product,
                      const std::string& revision, bool alua) {
  // Disk, SPC-4, HiSup with format 2, 31 more bytes, implicit ALUA, command queueing.
  Bytes data{0x00, 0x00, 0x06, 0x12, 31, static_cast<uint8_t>(alua ? 0x10 : 0), 0x00, 0x02};
  PutField(vendor, 8, &data);
  PutField(product, 16, &data);
  PutField(revision, 4, &data);
  return data;
}

std::array<uint8_t, 16> NaaOf(const Serial32& s) {
  std::array<uint8_t, 16> naa{};
  naa[0] = static_cast<uint8_t>((s[0] >> 4) | 0x60);
  naa[1] = static_cast<uint8_t>((s[1] >> 4) ^ (s[0] << 4));
  naa[2] = static_cast<uint8_t>((s[2] >> 4) ^ (s[1] << 4));
  naa[3] = static_cast<uint8_t>(s[2] << 4);
  naa[5] = s[3];
  naa[6] = s[4];
  naa[7] = s[5];
  for (int i = 0; i < 5; ++i) naa[8 + i] = s[8 + i];
  return naa;
}

uint8_t ProtocolOf(const HostPort* port) {
  if (port == nullptr) return kProtocolFc;
  if (port->type == kPortTypeSas) return kProtocolSas;
  if (port->type == kPortTypeIscsi) return kProtocolIscsi;
  return kProtocolFc;
}

// 0x11, six characters of the subsystem serial, then MAC bytes 1 to 5 and IP address of the
// owner and of the other controller.
Bytes ControllerBlock(const Subsystem& subsystem, const Controller* owner,
                      const Controller* other) {
  Bytes block(32, 0);
  block[0] = 0x11;
  for (size_t i = 0; i < 6 && i < subsystem.uniqueSn.size(); ++i) {
    block[1 + i] = static_cast<uint8_t>(subsystem.uniqueSn[i]);
  }
  auto put = [&](const Controller* controller, size_t mac, size_t ip) {
    if (controller == nullptr) return;
    std::memcpy(block.data() + mac, controller->macAddress.data() + 1, 5);
    std::memcpy(block.data() + ip, controller->ipAddress.data(), 4);
  };
  put(owner, 9, 16);
  put(other, 21, 28);
  return block;
}

// The layout the previous view gave the device whose page 0x80 is `page80`; null when none.
json PreviousLayout(const json& previous, const std::string& page80) {
  if (!previous.is_object()) return nullptr;
  auto devices = previous.find("devices");
  if (devices == previous.end() || !devices->is_array()) return nullptr;
  for (const json& device : *devices) {
    if (!device.is_object() || !device.contains("vpd") || !device["vpd"].is_object()) continue;
    const json& vpd = device["vpd"];
    if (vpd.value("80", "") == page80 && device.contains("layout")) return device["layout"];
  }
  return nullptr;
}

}  // namespace

json LunDeviceJson(const Subsystem& subsystem, const Vdisk& vdisk, const Partition& partition,
                   uint32_t number, const DevicePath& path, const json& previous) {
  const Controller* owner = vdisk.ownerIndex < subsystem.controllers.size()
                                ? &subsystem.controllers[vdisk.ownerIndex]
                                : nullptr;
  const Controller* other = nullptr;
  for (const Controller& controller : subsystem.controllers) {
    if (&controller != owner) other = &controller;
  }
  const Serial32& s = partition.serialNumber;
  const std::string revision =
      owner != nullptr ? owner->firmwareRevision.substr(0, 4) : std::string();
  const Bytes inquiry = StandardInquiry(subsystem.vendorName, subsystem.productId, revision, true);

  // Page 0x80: the LUN serial as 32 lower-case hex digits.
  const std::string serial = HexText(s.data(), 16);
  const Bytes page80 = Page(0x80, Bytes(serial.begin(), serial.end()));

  const uint8_t protocol = static_cast<uint8_t>(ProtocolOf(path.controllerPort) << 4);
  Bytes designators;
  const std::array<uint8_t, 16> naa = NaaOf(s);
  PutDesignator(kCodeSetBinary, kTypeNaa, Bytes(naa.begin(), naa.end()), &designators);
  Bytes relative(4, 0);
  put_be16(static_cast<uint16_t>(path.relativePort), relative.data() + 2);
  PutDesignator(protocol | kCodeSetBinary, kPiv | kAssocTargetPort | kTypeRelativePort, relative,
                &designators);
  Bytes group(4, 0);
  group[3] = owner != nullptr ? owner->controllerId : 0;
  PutDesignator(protocol | kCodeSetBinary, kPiv | kAssocTargetPort | kTypeTargetPortGroup, group,
                &designators);
  Bytes vendor;
  PutField(subsystem.vendorName, 8, &vendor);
  PutDesignator(kCodeSetAscii, kTypeT10Vendor, vendor, &designators);
  Bytes portName(8, 0);
  if (path.controllerPort != nullptr) {
    std::memcpy(portName.data(), path.controllerPort->wwpn.data(), 8);
  }
  PutDesignator(protocol | kCodeSetBinary, kPiv | kAssocTargetPort | kTypeNaa, portName,
                &designators);
  PutDesignator(kCodeSetBinary, kTypeVendorSpecific, ControllerBlock(subsystem, owner, other),
                &designators);
  const Bytes page83 = Page(0x83, designators);

  // Page 0xd0: owning controller, LUN number and the whole partition serial.
  Bytes vendorPage{static_cast<uint8_t>(owner != nullptr ? owner->controllerId : 0), 0, 0, 0};
  put_be16(static_cast<uint16_t>(partition.lun), vendorPage.data() + 2);
  vendorPage.insert(vendorPage.end(), s.begin(), s.end());
  const Bytes paged0 = Page(0xd0, vendorPage);

  const std::string page80Hex = HexText(page80.data(), page80.size());
  return {{"path", "\\\\.\\PhysicalDrive" + std::to_string(number)},
          {"address", {path.port, 0, path.target, partition.lun}},
          {"layout", PreviousLayout(previous, page80Hex)},
          {"inquiry", HexText(inquiry.data(), inquiry.size())},
          {"vpd",
           {{"80", page80Hex},
            {"83", HexText(page83.data(), page83.size())},
            {"d0", HexText(paged0.data(), paged0.size())}}}};
}

json BootDiskJson() {
  const Bytes inquiry = StandardInquiry("ATA", "SIM HOST BOOT", "1.00", false);
  const std::string serial = "SIMBOOT000000001";
  const Bytes page80 = Page(0x80, Bytes(serial.begin(), serial.end()));
  Bytes designators;
  PutDesignator(kCodeSetBinary, kTypeNaa, {0x50, 0x00, 0xc5, 0x00, 0x56, 0x4c, 0xb0, 0x01},
                &designators);
  const Bytes page83 = Page(0x83, designators);
  return {{"path", "\\\\.\\PhysicalDrive0"},
          {"address", {0, 0, 0, 0}},
          {"layout", {{"mbr", "0x5645b001"}}},
          {"inquiry", HexText(inquiry.data(), inquiry.size())},
          {"vpd",
           {{"80", HexText(page80.data(), page80.size())},
            {"83", HexText(page83.data(), page83.size())}}}};
}

}  // namespace sim
