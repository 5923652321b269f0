// Host-view devices and the readers of their answers on arbitrary input. The first byte picks:
//   even: the rest is a host view's JSON text; every device it yields answers a set of command
//         blocks;
//   odd:  the rest is one device's data (standard data and pages 0x80 and 0x83 alike) and a
//         command block, answered and read back by vdsctl's page readers.
// Properties:
//   - a device never transfers more than the allocation length, the buffer or its data;
//   - a refused command transfers nothing and carries fixed-format ILLEGAL REQUEST sense;
//   - the designator reader never reaches past the page or its stated length, and the serial
//     reader gives no more than the page's bytes.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/host_view_devices.h"
#include "tools/vdsctl/disk_identity.h"

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

size_t DataSize(const HostViewDevice& device, const uint8_t* cdb) {
  if ((cdb[1] & 1) == 0) return device.inquiry.size();
  auto page = device.vpd.find(cdb[2]);
  if (page != device.vpd.end()) return page->second.size();
  return cdb[2] == 0 ? 4 + device.vpd.size() + (device.vpd.count(0) ? 0 : 1) : 0;
}

void Answer(const HostViewDevice& device, const uint8_t* cdb, uint8_t cdbLength,
            uint32_t bufferLength) {
  std::vector<uint8_t> buffer(bufferLength + 16, 0xa5);
  ScsiPassThroughRequest request;
  request.cdb = cdb;
  request.cdbLength = cdbLength;
  request.dataIn = true;
  request.buffer = buffer.data();
  request.bufferLength = bufferLength;
  ScsiPassThroughResult result;
  AnswerScsiCommand(device, request, &result);
  Check(result.transferred <= bufferLength);
  for (size_t i = bufferLength; i < buffer.size(); ++i) Check(buffer[i] == 0xa5);
  if (result.scsiStatus != 0) {
    Check(result.scsiStatus == 2 && result.transferred == 0);
    Check(result.sense[0] == 0x70 && result.sense[2] == 5 && result.senseLength == 18);
    return;
  }
  if (cdbLength >= 6 && cdb[0] == 0x12) {
    const uint32_t allocation = static_cast<uint32_t>(cdb[3] << 8 | cdb[4]);
    Check(result.transferred <= allocation);
    Check(result.transferred <= DataSize(device, cdb));
  }
}

void AnswerAll(const HostViewDevice& device, uint32_t bufferLength) {
  const uint8_t blocks[][6] = {
      {0x12, 0, 0, 0, 0x30, 0},    {0x12, 1, 0x80, 0, 0x30, 0}, {0x12, 1, 0x83, 0, 0x80, 0},
      {0x12, 1, 0xd0, 0, 0x30, 0}, {0x12, 1, 0, 0, 0xff, 0},    {0x12, 0, 0x83, 0, 0xff, 0},
      {0x00, 0, 0, 0, 0, 0},       {0x03, 0, 0, 0, 0xfc, 0},    {0x1a, 8, 0x3f, 0, 0x80, 0}};
  for (const auto& cdb : blocks) Answer(device, cdb, 6, bufferLength);
}

void ReadBack(const std::vector<uint8_t>& page) {
  for (const vdsctl::Designator& designator : vdsctl::ParseDesignators(page.data(), page.size())) {
    Check(designator.data.size() <= page.size());
  }
  Check(vdsctl::ParseUnitSerial(page.data(), page.size()).size() <= page.size());
  vdsctl::DiskIdentity identity;
  vdsctl::ParseStandardInquiry(page.data(), page.size(), &identity);
  Check(identity.vendor.size() <= 8 && identity.product.size() <= 16);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t* rest = data + 1;
  const size_t length = size - 1;
  if ((data[0] & 1) == 0) {
    const std::string text(reinterpret_cast<const char*>(rest), length);
    const nlohmann::json view = nlohmann::json::parse(text, nullptr, false);
    if (!view.is_object()) return 0;
    for (const HostViewDevice& device : ParseHostViewDevices(view)) {
      AnswerAll(device, 0x80);
      AnswerAll(device, 3);
    }
    return 0;
  }
  HostViewDevice device;
  const size_t split = length < 16 ? length : 16;
  device.inquiry.assign(rest + split, rest + length);
  device.vpd[0x80] = device.inquiry;
  device.vpd[0x83] = device.inquiry;
  uint8_t cdb[16] = {};
  std::memcpy(cdb, rest, split);
  const uint8_t cdbLength = split == 0 ? 0 : static_cast<uint8_t>(split < 6 ? split : 6);
  Answer(device, cdb, cdbLength, data[0]);
  AnswerAll(device, data[0]);
  ReadBack(device.inquiry);
  return 0;
}
