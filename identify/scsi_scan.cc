#include "identify/scsi_scan.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "diag/debug_log.h"
#include "identify/scsi_cmd.h"
#include "platform/scsi_device.h"

namespace {

constexpr uint8_t kOpInquiry = 0x12;
constexpr uint32_t kShortRead = 0x30;   // standard data, pages 0x80 and 0xd0
constexpr uint32_t kPage83Read = 0x80;  // page 0x83

// One INQUIRY into `buffer`; true when it passed.
bool Inquiry(ScsiCmd* cmd, bool evpd, uint8_t page, uint8_t* buffer, uint8_t length) {
  const uint8_t cdb[6] = {kOpInquiry, static_cast<uint8_t>(evpd ? 1 : 0), page, 0, length, 0};
  cmd->SetCdb(cdb);
  cmd->SetBuffer(buffer, length);
  return cmd->Execute();
}

}  // namespace

void HexDump(const char* title, const void* data, int length) {
  DebugPrintf("====== %s ====== %03d\n", title, length);
  const auto* bytes = static_cast<const uint8_t*>(data);
  for (int line = 0; line < length; line += 16) {
    char hex[16 * 3 + 1] = {};
    char text[17] = {};
    for (int i = 0; i < 16 && line + i < length; ++i) {
      const uint8_t byte = bytes[line + i];
      std::snprintf(hex + i * 3, 4, "%02X ", byte);
      text[i] = byte >= 0x21 && byte <= 0x7e ? static_cast<char>(byte) : '.';
    }
    DebugPrintf("%-48s %s\n", hex, text);
  }
}

std::string DeviceSerial(const ScsiDeviceInfo& device) {
  const char* begin = reinterpret_cast<const char*>(device.page80) + 4;
  const size_t room = kShortRead - 4;
  return std::string(begin, strnlen(begin, room));
}

bool InquireDevice(const char* deviceName, std::vector<ScsiDeviceInfo>* devices) {
  ScsiCmd cmd(deviceName);
  ScsiDeviceInfo info;
  if (std::unique_ptr<ScsiDeviceNode> node = OpenScsiDeviceNode(deviceName)) {
    ScsiAddress address;
    if (node->GetAddress(&address)) {
      info.port = address.port;
      info.bus = address.bus;
      info.target = address.target;
      info.lun = address.lun;
    }
    DebugPrintf("Inquiry %d.%d.%d.%d\n", info.port, info.bus, info.target, info.lun);
    DiskLayout layout;
    if (node->GetDiskLayout(&layout)) {
      if (layout.gpt) {
        info.diskId = layout.diskId;
        HexDump("Gpt.DiskId", &info.diskId, sizeof(info.diskId));
        info.partitionStyle = 0;
      } else {
        info.signature = layout.signature;
        DebugPrintf("Signature=%08x\n", info.signature);
        info.partitionStyle = 1;
      }
    }
  }
  if (!Inquiry(&cmd, false, 0, info.inquiry, kShortRead)) {
    DebugPrintf("inquiry command failed\n");
    std::memset(info.inquiry, 0, sizeof(info.inquiry));
  }
  uint8_t page80[kShortRead] = {};
  if (!Inquiry(&cmd, true, 0x80, page80, kShortRead)) {
    DebugPrintf("%s inquiry command failed\n", deviceName);
  } else {
    HexDump("inq80", page80, kShortRead);
  }
  uint8_t paged0[kShortRead] = {};
  if (!Inquiry(&cmd, true, 0xd0, paged0, kShortRead)) {
    DebugPrintf("%s inquiry command failed\n", deviceName);
  } else {
    HexDump("inqd0", paged0, kShortRead);
  }
  uint8_t page83[kPage83Read] = {};
  if (!Inquiry(&cmd, true, 0x83, page83, kPage83Read)) {
    DebugPrintf("inquiry command failed\n");
    return false;
  }
  if (page83[1] != 0x83) return false;
  HexDump("inq0x83", page83, kPage83Read);
  std::memcpy(info.page83, page83, kPage83Read);
  std::memcpy(info.page80, page80, kShortRead);
  devices->push_back(info);
  return true;
}

void ScanScsiDevices(std::vector<ScsiDeviceInfo>* devices) {
  for (const ScsiDeviceName& name : ListScsiDeviceNames()) {
    DebugPrintf("%s -> %s \n", name.name.c_str(), name.node.c_str());
    InquireDevice(name.node.c_str(), devices);
  }
  for (uint32_t port : ListScsiAdapters()) {
    std::vector<ScsiUnit> units;
    if (!ListScsiAdapterUnits(port, &units)) continue;
    // Units come by address, so that each bus's units are together.
    size_t first = 0;
    while (first < units.size()) {
      size_t end = first;
      while (end < units.size() && units[end].address.bus == units[first].address.bus) ++end;
      DebugPrintf("Scanning Scsi %d Bus %d Number of Logical Units=%d\n", port,
                  units[first].address.bus, static_cast<int>(end - first));
      for (size_t i = first; i < end; ++i) {
        const ScsiAddress& a = units[i].address;
        DebugPrintf("c%dt%dd%d=%s\n", port, a.target, a.lun, units[i].inquiryName.c_str());
        char name[96];
        std::snprintf(name, sizeof(name), "\\\\.\\Scsi%u:Bus%u:ID%u:LUN%u", port, a.bus, a.target,
                      a.lun);
        InquireDevice(name, devices);
      }
      first = end;
    }
  }
}
