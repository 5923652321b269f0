#include "platform/host_view_devices.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <set>

#include "platform/host_view.h"
#include "proxy/byte_order.h"

namespace {

using nlohmann::json;

constexpr size_t kMaxPageBytes = 65535;

// SCSI status and sense words this device layer answers with.
constexpr uint8_t kStatusGood = 0x00;
constexpr uint8_t kStatusCheckCondition = 0x02;
constexpr uint8_t kSenseIllegalRequest = 0x05;
constexpr uint8_t kAscInvalidOpcode = 0x20;
constexpr uint8_t kAscInvalidFieldInCdb = 0x24;
constexpr uint8_t kFixedSenseLength = 18;

constexpr uint8_t kOpTestUnitReady = 0x00;
constexpr uint8_t kOpRequestSense = 0x03;
constexpr uint8_t kOpInquiry = 0x12;

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool ReadAddress(const json& value, ScsiAddress* address) {
  if (!value.is_array() || value.size() != 4) return false;
  uint32_t parts[4];
  for (size_t i = 0; i < 4; ++i) {
    if (!value[i].is_number_integer()) return false;
    if (value[i].is_number_unsigned()
            ? value[i].get<uint64_t>() > UINT32_MAX
            : value[i].get<int64_t>() < 0 || value[i].get<int64_t>() > int64_t{UINT32_MAX}) {
      return false;
    }
    parts[i] = static_cast<uint32_t>(value[i].get<uint64_t>());
  }
  *address = {parts[0], parts[1], parts[2], parts[3]};
  return true;
}

bool ReadLayout(const json& value, HostViewDevice* device) {
  if (value.is_null()) return true;
  if (!value.is_object() || value.size() != 1) return false;
  if (value.contains("mbr") && value["mbr"].is_string()) {
    const std::string text = value["mbr"].get<std::string>();
    std::vector<uint8_t> bytes;
    const std::string digits = text.rfind("0x", 0) == 0 ? text.substr(2) : text;
    if (digits.size() != 8 || !ParseHexBytes(digits, &bytes)) return false;
    device->layout.gpt = false;
    device->layout.signature = get_be32(bytes.data());
    device->hasLayout = true;
    return true;
  }
  if (value.contains("gpt") && value["gpt"].is_string()) {
    if (!GuidFromString(value["gpt"].get<std::string>().c_str(), &device->layout.diskId)) {
      return false;
    }
    device->layout.gpt = true;
    device->hasLayout = true;
    return true;
  }
  return false;
}

bool ReadPage(const json& value, std::vector<uint8_t>* bytes) {
  return value.is_string() && ParseHexBytes(value.get<std::string>(), bytes) &&
         bytes->size() <= kMaxPageBytes;
}

bool ReadDevice(const json& entry, HostViewDevice* device) {
  if (!entry.is_object()) return false;
  auto path = entry.find("path");
  auto address = entry.find("address");
  auto inquiry = entry.find("inquiry");
  if (path == entry.end() || !path->is_string() || path->get<std::string>().empty()) return false;
  device->path = path->get<std::string>();
  if (address == entry.end() || !ReadAddress(*address, &device->address)) return false;
  if (inquiry == entry.end() || !ReadPage(*inquiry, &device->inquiry)) return false;
  auto layout = entry.find("layout");
  if (layout != entry.end() && !ReadLayout(*layout, device)) return false;
  auto vpd = entry.find("vpd");
  if (vpd == entry.end() || vpd->is_null()) return true;
  if (!vpd->is_object()) return false;
  for (const auto& [key, page] : vpd->items()) {
    std::vector<uint8_t> code;
    if (key.size() != 2 || !ParseHexBytes(key, &code)) return false;
    if (!ReadPage(page, &device->vpd[code[0]])) return false;
  }
  return true;
}

bool SameName(const std::string& a, const std::string& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

bool SameAddress(const ScsiAddress& a, const ScsiAddress& b) {
  return a.port == b.port && a.bus == b.bus && a.target == b.target && a.lun == b.lun;
}

void CheckCondition(uint8_t asc, ScsiPassThroughResult* result) {
  result->scsiStatus = kStatusCheckCondition;
  std::memset(result->sense, 0, sizeof(result->sense));
  result->sense[0] = 0x70;  // current error, fixed format
  result->sense[2] = kSenseIllegalRequest;
  result->sense[7] = kFixedSenseLength - 8;
  result->sense[12] = asc;
  result->senseLength = kFixedSenseLength;
}

void Transfer(const std::vector<uint8_t>& data, uint32_t allocation,
              const ScsiPassThroughRequest& request, ScsiPassThroughResult* result) {
  size_t count = std::min<size_t>(data.size(), allocation);
  if (!request.dataIn || request.buffer == nullptr) count = 0;
  count = std::min<size_t>(count, request.bufferLength);
  if (count > 0) std::memcpy(request.buffer, data.data(), count);
  result->transferred = static_cast<uint32_t>(count);
}

// Page 0: the pages the device has, ascending, 0 among them.
std::vector<uint8_t> SupportedPages(const HostViewDevice& device) {
  std::set<uint8_t> codes{0};
  for (const auto& [code, page] : device.vpd) codes.insert(code);
  std::vector<uint8_t> page{0, 0, 0, static_cast<uint8_t>(codes.size())};
  page.insert(page.end(), codes.begin(), codes.end());
  return page;
}

std::vector<HostViewDevice> ReadViewDevices(const std::string& viewPath) {
  json view;
  if (!ReadHostView(viewPath, &view)) return {};
  return ParseHostViewDevices(view);
}

class HostViewDeviceNode : public ScsiDeviceNode {
 public:
  HostViewDeviceNode(std::vector<HostViewDevice> devices, bool adapter, uint32_t port, size_t index)
      : m_devices(std::move(devices)), m_adapter(adapter), m_port(port), m_index(index) {}

  bool GetAddress(ScsiAddress* address) override {
    if (m_adapter) return false;
    *address = m_devices[m_index].address;
    return true;
  }

  bool PassThrough(const ScsiPassThroughRequest& request, ScsiPassThroughResult* result) override {
    if (!m_adapter) {
      AnswerScsiCommand(m_devices[m_index], request, result);
      return true;
    }
    ScsiAddress wanted = request.address;
    wanted.port = m_port;
    for (const HostViewDevice& device : m_devices) {
      if (SameAddress(device.address, wanted)) {
        AnswerScsiCommand(device, request, result);
        return true;
      }
    }
    return false;  // no logical unit at that address
  }

  bool GetDiskLayout(DiskLayout* layout) override {
    if (m_adapter || !m_devices[m_index].hasLayout) return false;
    *layout = m_devices[m_index].layout;
    return true;
  }

 private:
  std::vector<HostViewDevice> m_devices;  // the view as it was at the open
  bool m_adapter;
  uint32_t m_port;
  size_t m_index;
};

}  // namespace

bool ParseHexBytes(const std::string& text, std::vector<uint8_t>* bytes) {
  if (text.size() % 2 != 0) return false;
  bytes->clear();
  bytes->reserve(text.size() / 2);
  for (size_t i = 0; i < text.size(); i += 2) {
    const int high = HexDigit(text[i]);
    const int low = HexDigit(text[i + 1]);
    if (high < 0 || low < 0) return false;
    bytes->push_back(static_cast<uint8_t>(high << 4 | low));
  }
  return true;
}

std::vector<HostViewDevice> ParseHostViewDevices(const json& view) {
  std::vector<HostViewDevice> devices;
  auto list = view.find("devices");
  if (list == view.end()) return devices;
  if (!list->is_array()) {
    SetHostViewProblem("host view \"devices\" is not an array");
    return devices;
  }
  for (size_t i = 0; i < list->size(); ++i) {
    HostViewDevice device;
    if (ReadDevice((*list)[i], &device)) {
      devices.push_back(std::move(device));
    } else {
      SetHostViewProblem("host view device " + std::to_string(i) + " is not a valid device");
    }
  }
  return devices;
}

void AnswerScsiCommand(const HostViewDevice& device, const ScsiPassThroughRequest& request,
                       ScsiPassThroughResult* result) {
  *result = ScsiPassThroughResult{};
  const uint8_t* cdb = request.cdb;
  if (cdb == nullptr || request.cdbLength == 0) {
    CheckCondition(kAscInvalidOpcode, result);
    return;
  }
  switch (cdb[0]) {
    case kOpTestUnitReady:
      result->scsiStatus = kStatusGood;
      return;
    case kOpRequestSense: {
      if (request.cdbLength < 6) break;
      std::vector<uint8_t> none(kFixedSenseLength, 0);
      none[0] = 0x70;
      none[7] = kFixedSenseLength - 8;
      Transfer(none, cdb[4], request, result);
      return;
    }
    case kOpInquiry: {
      if (request.cdbLength < 6) break;
      const bool evpd = (cdb[1] & 0x01) != 0;
      const uint8_t page = cdb[2];
      const uint32_t allocation = get_be16(cdb + 3);
      if (!evpd) {
        if (page != 0) {
          CheckCondition(kAscInvalidFieldInCdb, result);
          return;
        }
        Transfer(device.inquiry, allocation, request, result);
        return;
      }
      auto found = device.vpd.find(page);
      if (found != device.vpd.end()) {
        Transfer(found->second, allocation, request, result);
      } else if (page == 0) {
        Transfer(SupportedPages(device), allocation, request, result);
      } else {
        CheckCondition(kAscInvalidFieldInCdb, result);
      }
      return;
    }
    default:
      break;
  }
  CheckCondition(kAscInvalidOpcode, result);
}

bool ParseAdapterNodeName(const std::string& name, uint32_t* port) {
  static const char kPrefix[] = "\\\\.\\scsi";
  const size_t prefix = sizeof(kPrefix) - 1;
  if (name.size() < prefix + 2 || !SameName(name.substr(0, prefix), kPrefix)) return false;
  if (name.back() != ':') return false;
  uint64_t value = 0;
  for (size_t i = prefix; i + 1 < name.size(); ++i) {
    if (name[i] < '0' || name[i] > '9') return false;
    value = value * 10 + static_cast<uint64_t>(name[i] - '0');
    if (value > UINT32_MAX) return false;
  }
  *port = static_cast<uint32_t>(value);
  return true;
}

std::unique_ptr<ScsiDeviceNode> OpenHostViewDeviceNode(const std::string& viewPath,
                                                       const std::string& name) {
  std::vector<HostViewDevice> devices = ReadViewDevices(viewPath);
  uint32_t port = 0;
  if (ParseAdapterNodeName(name, &port)) {
    for (const HostViewDevice& device : devices) {
      if (device.address.port == port) {
        return std::make_unique<HostViewDeviceNode>(std::move(devices), true, port, 0);
      }
    }
    return nullptr;
  }
  for (size_t i = 0; i < devices.size(); ++i) {
    if (SameName(devices[i].path, name)) {
      return std::make_unique<HostViewDeviceNode>(std::move(devices), false, 0, i);
    }
  }
  return nullptr;
}

std::vector<ScsiDeviceName> ListHostViewDeviceNames(const std::string& viewPath) {
  std::vector<ScsiDeviceName> names;
  for (const HostViewDevice& device : ReadViewDevices(viewPath)) {
    const size_t slash = device.path.find_last_of('\\');
    names.push_back(
        {slash == std::string::npos ? device.path : device.path.substr(slash + 1), device.path});
  }
  return names;
}

std::vector<uint32_t> ListHostViewAdapters(const std::string& viewPath) {
  std::set<uint32_t> ports;
  for (const HostViewDevice& device : ReadViewDevices(viewPath)) ports.insert(device.address.port);
  return {ports.begin(), ports.end()};
}

bool ListHostViewAdapterUnits(const std::string& viewPath, uint32_t port,
                              std::vector<ScsiUnit>* units) {
  units->clear();
  for (const HostViewDevice& device : ReadViewDevices(viewPath)) {
    if (device.address.port != port) continue;
    std::string name;
    // Vendor, product and revision: bytes 8 to 35 of the standard data, as far as it goes.
    for (size_t i = 8; i < 36 && i < device.inquiry.size(); ++i) {
      const char c = static_cast<char>(device.inquiry[i]);
      name += (c >= 0x20 && c < 0x7f) ? c : ' ';
    }
    units->push_back({device.address, name});
  }
  return !units->empty();
}
