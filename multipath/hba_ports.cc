#include "multipath/hba_ports.h"

#include <cstring>
#include <memory>
#include <string>

#include "diag/debug_log.h"

namespace {

uint32_t NumberAtFirstDigit(const char* text, size_t size) {
  size_t length = strnlen(text, size);
  size_t i = 0;
  while (i < length && (text[i] < '0' || text[i] > '9')) ++i;
  uint64_t number = 0;
  for (; i < length && text[i] >= '0' && text[i] <= '9'; ++i) {
    number = number * 10 + static_cast<uint64_t>(text[i] - '0');
    if (number > UINT32_MAX) return 0;  // no port has such a number
  }
  return static_cast<uint32_t>(number);
}

// The library's adapter count, or 0 when it is beyond reason.
uint32_t AdapterCount() {
  uint32_t count = HBA_GetNumberOfAdapters();
  if (count > kMaxHbaAdapters) {
    DebugPrintf("OOP!! HBA library reports %u adapters, more than %u; none read\n", count,
                kMaxHbaAdapters);
    return 0;
  }
  return count;
}

uint32_t PortCount(const HBA_ADAPTERATTRIBUTES& attributes, const char* name) {
  if (attributes.NumberOfPorts > kMaxHbaPorts) {
    DebugPrintf("OOP!! HBA adapter %s reports %u ports, more than %u; none read\n", name,
                attributes.NumberOfPorts, kMaxHbaPorts);
    return 0;
  }
  return attributes.NumberOfPorts;
}

void LogLoadFailure(HBA_STATUS status) {
  DebugPrintf("Error 0x%08X loading the HBA librarys.\n", status);
  std::string problem = HbaLibraryProblem();
  if (!problem.empty()) DebugPrintf("OOP!! %s\n", problem.c_str());
}

}  // namespace

uint32_t GetHbaPortProp(std::vector<HbaPortEntry>& HBA_vec) {
  HBA_STATUS status = HBA_LoadLibrary();
  if (status != HBA_STATUS_OK) {
    LogLoadFailure(status);
    return status;
  }
  std::string problem = HbaLibraryProblem();
  if (!problem.empty()) DebugPrintf("GetHbaPortProp: %s; no adapters\n", problem.c_str());
  uint32_t adapters = AdapterCount();
  for (uint32_t index = 0; index < adapters; ++index) {
    char name[256] = {};
    if (HBA_GetAdapterName(index, name) != HBA_STATUS_OK) continue;
    name[sizeof(name) - 1] = 0;
    HBA_HANDLE handle = HBA_OpenAdapter(name);
    auto attributes = std::make_unique<HBA_ADAPTERATTRIBUTES>();
    if (HBA_GetAdapterAttributes(handle, attributes.get()) != HBA_STATUS_OK) continue;
    uint32_t ports = PortCount(*attributes, name);
    for (uint32_t p = 0; p < ports; ++p) {
      auto port = std::make_unique<HBA_PORTATTRIBUTES>();
      if (HBA_GetAdapterPortAttributes(handle, p, port.get()) != HBA_STATUS_OK) continue;
      HbaPortEntry entry{};
      std::memcpy(entry.prop.wwnNode.rguchWwn, port->NodeWWN.wwn, 8);
      std::memcpy(entry.prop.wwnPort.rguchWwn, port->PortWWN.wwn, 8);
      entry.prop.type = static_cast<VDS_HBAPORT_TYPE>(port->PortType);
      entry.prop.status = static_cast<VDS_HBAPORT_STATUS>(port->PortState);
      entry.prop.ulPortSpeed = port->PortSpeed;
      entry.prop.ulSupportedPortSpeed = port->PortSupportedSpeed;
      entry.scsiPortNumber = NumberAtFirstDigit(port->OSDeviceName, sizeof(port->OSDeviceName));
      HBA_vec.push_back(entry);
    }
    HBA_CloseAdapter(handle);
  }
  HBA_FreeLibrary();
  return 0;
}

void GetTargetMappings(const uint8_t portWWN[8], std::vector<HBA_FCPSCSIENTRYV2>& rows) {
  HBA_STATUS status = HBA_LoadLibrary();
  if (status != HBA_STATUS_OK) {
    LogLoadFailure(status);
    return;
  }
  uint32_t adapters = AdapterCount();
  DebugPrintf("The Host has %d Hba Adapters.\n", adapters);
  // Header and 256 rows: 0x23008 bytes.
  constexpr size_t kBufferSize =
      offsetof(HBA_FCPTARGETMAPPINGV2, entry) + kMaxTargetMappings * sizeof(HBA_FCPSCSIENTRYV2);
  static_assert(kBufferSize == 0x23008);
  std::unique_ptr<unsigned char[]> buffer(new (std::nothrow) unsigned char[kBufferSize]);
  if (buffer == nullptr) {
    HBA_FreeLibrary();
    return;
  }
  auto* mapping = reinterpret_cast<HBA_FCPTARGETMAPPINGV2*>(buffer.get());
  for (uint32_t index = 0; index < adapters; ++index) {
    char name[256] = {};
    if (HBA_GetAdapterName(index, name) != HBA_STATUS_OK) {
      DebugPrintf("Error get HBA adapter name\n");
      continue;
    }
    name[sizeof(name) - 1] = 0;
    HBA_HANDLE handle = HBA_OpenAdapter(name);
    auto attributes = std::make_unique<HBA_ADAPTERATTRIBUTES>();
    if (HBA_GetAdapterAttributes(handle, attributes.get()) != HBA_STATUS_OK) continue;
    uint32_t ports = PortCount(*attributes, name);
    for (uint32_t p = 0; p < ports; ++p) {
      auto port = std::make_unique<HBA_PORTATTRIBUTES>();
      if (HBA_GetAdapterPortAttributes(handle, p, port.get()) != HBA_STATUS_OK) {
        DebugPrintf("Error close HBA adapter %s\n", name);
        continue;
      }
      const uint8_t* w = port->PortWWN.wwn;
      port->OSDeviceName[sizeof(port->OSDeviceName) - 1] = 0;
      DebugPrintf(
          "The Adapter[%d][%d] port WWN: %02X:%02X:%02X:%02X:%02X:%02X:%02X:%02X "
          "OSDeviceName=%s\n",
          index, p, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7], port->OSDeviceName);
      if (std::memcmp(w, portWWN, 8) != 0) continue;
      std::memset(buffer.get(), 0, kBufferSize);
      mapping->NumberOfEntries = kMaxTargetMappings;
      status = HBA_GetFcpTargetMappingV2(handle, port->PortWWN, mapping);
      if (status != HBA_STATUS_OK) {
        DebugPrintf("Error HBA_GetFcpTargetMappingV2  0x%08X\n", status);
        continue;
      }
      // A library may report more rows than the buffer holds; only those in it are read.
      uint32_t count = std::min(mapping->NumberOfEntries, kMaxTargetMappings);
      const unsigned char* rowsAt = buffer.get() + offsetof(HBA_FCPTARGETMAPPINGV2, entry);
      for (uint32_t r = 0; r < count; ++r) {
        HBA_FCPSCSIENTRYV2 row;
        std::memcpy(&row, rowsAt + r * sizeof(row), sizeof(row));
        row.ScsiId.OSDeviceName[sizeof(row.ScsiId.OSDeviceName) - 1] = 0;
        const uint8_t* t = row.FcpId.PortWWN.wwn;
        DebugPrintf("Target ScsiId: Port = %s, Bus = %d, Target = %d, Lun=%d\n",
                    row.ScsiId.OSDeviceName, row.ScsiId.ScsiBusNumber, row.ScsiId.ScsiTargetNumber,
                    row.ScsiId.ScsiOSLun);
        DebugPrintf("The target port WWN: %02X:%02X:%02X:%02X:%02X:%02X:%02X:%02X\n", t[0], t[1],
                    t[2], t[3], t[4], t[5], t[6], t[7]);
        bool known = false;
        for (const HBA_FCPSCSIENTRYV2& seen : rows) {
          known = known || (std::memcmp(seen.FcpId.PortWWN.wwn, t, 8) == 0 &&
                            seen.ScsiId.ScsiTargetNumber == row.ScsiId.ScsiTargetNumber);
        }
        if (!known) rows.push_back(row);
      }
    }
    HBA_CloseAdapter(handle);
  }
  if (HBA_FreeLibrary() != HBA_STATUS_OK) DebugPrintf("Error free HBA library\n");
}

HbaPortEntry FindHbaEntry(const std::vector<HbaPortEntry>& HBA_vec, const uint8_t wwnPort[8]) {
  for (const HbaPortEntry& entry : HBA_vec) {
    if (std::memcmp(entry.prop.wwnPort.rguchWwn, wwnPort, 8) == 0) return entry;
  }
  return HbaPortEntry{};
}

const uint8_t* FindConnectedWwpn(const std::vector<ConnectedHba>& list, uint8_t port, uint8_t bus,
                                 uint8_t target) {
  for (const ConnectedHba& hba : list) {
    if (hba.portNumber == port && hba.busNumber == bus && hba.targetNumber == target) {
      return hba.wwpn;
    }
  }
  for (const ConnectedHba& hba : list) {
    if (hba.portNumber == port && hba.busNumber == bus) return hba.wwpn;
  }
  for (const ConnectedHba& hba : list) {
    if (hba.portNumber == port) return hba.wwpn;
  }
  return nullptr;
}
