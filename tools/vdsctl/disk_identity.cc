#include "tools/vdsctl/disk_identity.h"

#include <algorithm>
#include <cstring>

#include "proxy/byte_order.h"

namespace vdsctl {

namespace {

constexpr uint8_t kOpInquiry = 0x12;
constexpr uint16_t kReadLength = 255;

std::string Field(const uint8_t* data, size_t length, size_t offset, size_t width) {
  std::string text;
  for (size_t i = offset; i < offset + width && i < length; ++i) {
    text += static_cast<char>(data[i]);
  }
  return text;
}

std::string Trim(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return std::string();
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// One INQUIRY; the bytes the device gave, or nothing when the command did not pass.
std::optional<std::vector<uint8_t>> Inquiry(ScsiDeviceNode* node, bool evpd, uint8_t page) {
  std::vector<uint8_t> buffer(kReadLength);
  const uint8_t cdb[6] = {kOpInquiry, static_cast<uint8_t>(evpd ? 1 : 0), page,
                          0,          static_cast<uint8_t>(kReadLength),  0};
  ScsiPassThroughRequest request;
  request.cdb = cdb;
  request.cdbLength = sizeof(cdb);
  request.dataIn = true;
  request.buffer = buffer.data();
  request.bufferLength = static_cast<uint32_t>(buffer.size());
  ScsiPassThroughResult result;
  if (!node->PassThrough(request, &result) || result.scsiStatus != 0) return std::nullopt;
  buffer.resize(std::min<size_t>(result.transferred, buffer.size()));
  return buffer;
}

}  // namespace

std::vector<Designator> ParseDesignators(const uint8_t* page, size_t length) {
  std::vector<Designator> list;
  if (length < 4) return list;
  const size_t end = std::min<size_t>(length, 4 + size_t{get_be16(page + 2)});
  size_t at = 4;
  while (at + 4 <= end) {
    const size_t size = page[at + 3];
    if (at + 4 + size > end) break;
    Designator designator;
    designator.codeSet = page[at] & 0x0f;
    designator.type = page[at + 1] & 0x0f;
    designator.association = (page[at + 1] >> 4) & 0x03;
    designator.data.assign(page + at + 4, page + at + 4 + size);
    list.push_back(std::move(designator));
    at += 4 + size;
  }
  return list;
}

void ParseStandardInquiry(const uint8_t* data, size_t length, DiskIdentity* identity) {
  identity->vendor = Field(data, length, 8, 8);
  identity->product = Field(data, length, 16, 16);
  identity->revision = Field(data, length, 32, 4);
}

std::string ParseUnitSerial(const uint8_t* page, size_t length) {
  if (length < 4) return std::string();
  const size_t size = std::min<size_t>(length - 4, get_be16(page + 2));
  std::string serial = Field(page, 4 + size, 4, size);
  serial = serial.substr(0, serial.find('\0'));
  return Trim(serial);
}

bool ReadDiskIdentity(const std::string& path, DiskIdentity* identity, std::string* problem) {
  identity->path = path;
  std::unique_ptr<ScsiDeviceNode> node = OpenScsiDeviceNode(path);
  if (node == nullptr) {
    *problem = "The device " + path + " can't be opened.";
    return false;
  }
  ScsiAddress address;
  if (node->GetAddress(&address)) identity->address = address;
  DiskLayout layout;
  if (node->GetDiskLayout(&layout)) identity->layout = layout;
  std::optional<std::vector<uint8_t>> standard = Inquiry(node.get(), false, 0);
  if (!standard) {
    *problem = "The device " + path + " does not answer INQUIRY.";
    return false;
  }
  ParseStandardInquiry(standard->data(), standard->size(), identity);
  if (auto page = Inquiry(node.get(), true, 0x80)) {
    identity->serial = ParseUnitSerial(page->data(), page->size());
  }
  if (auto page = Inquiry(node.get(), true, 0x83)) {
    if (page->size() >= 2 && (*page)[1] == 0x83) {
      identity->designators = ParseDesignators(page->data(), page->size());
    }
  }
  return true;
}

LunInformation::LunInformation(const DiskIdentity& identity)
    : m_vendor(identity.vendor),
      m_product(identity.product),
      m_revision(identity.revision),
      m_serial(identity.serial) {
  m_info.m_version = VER_VDS_LUN_INFORMATION;
  m_info.m_bCommandQueueing = TRUE;
  m_info.m_szVendorId = m_vendor.empty() ? nullptr : m_vendor.data();
  m_info.m_szProductId = m_product.empty() ? nullptr : m_product.data();
  m_info.m_szProductRevision = m_revision.empty() ? nullptr : m_revision.data();
  m_info.m_szSerialNumber = m_serial.empty() ? nullptr : m_serial.data();
  if (identity.layout) {
    if (identity.layout->gpt) {
      m_info.m_diskSignature = identity.layout->diskId;
    } else {
      std::memcpy(&m_info.m_diskSignature, &identity.layout->signature, 4);
    }
  }
  // Every designator of page 0x83, in page order, as the storage service passes them on.
  for (const Designator& designator : identity.designators) m_data.push_back(designator.data);
  for (size_t i = 0; i < identity.designators.size(); ++i) {
    VDS_STORAGE_IDENTIFIER id{};
    id.m_CodeSet = static_cast<VDS_STORAGE_IDENTIFIER_CODE_SET>(identity.designators[i].codeSet);
    id.m_Type = static_cast<VDS_STORAGE_IDENTIFIER_TYPE>(identity.designators[i].type);
    id.m_cbIdentifier = static_cast<ULONG>(m_data[i].size());
    id.m_rgbIdentifier = m_data[i].empty() ? nullptr : m_data[i].data();
    m_ids.push_back(id);
  }
  m_info.m_deviceIdDescriptor.m_cIdentifiers = static_cast<ULONG>(m_ids.size());
  m_info.m_deviceIdDescriptor.m_rgIdentifiers = m_ids.empty() ? nullptr : m_ids.data();
}

LunInformation::~LunInformation() = default;

}  // namespace vdsctl
