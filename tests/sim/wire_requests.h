// Requests of the changing commands, encoded the way the proxy client encodes them.
#ifndef VELA_TESTS_SIM_WIRE_REQUESTS_H_
#define VELA_TESTS_SIM_WIRE_REQUESTS_H_

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "proxy/records.h"
#include "proxy/wire_format.h"
#include "tests/sim/sim_client.h"

namespace simtest {

struct WireDrive {
  std::string serial;
  uint32_t channel;
  uint32_t scsiId;
};

inline std::vector<uint8_t> CreateArrayRequest(uint32_t handle, uint8_t controllerId, uint8_t level,
                                               const std::vector<WireDrive>& drives,
                                               const char* name) {
  auto request = std::make_unique<createArray>();
  request->handle = handle;
  for (size_t i = 0; i < drives.size(); ++i) {
    request->drives[i] = {drives[i].channel, drives[i].scsiId};
    std::memcpy(request->driveSerials[i], drives[i].serial.data(), drives[i].serial.size());
  }
  request->numDrives = static_cast<uint32_t>(drives.size());
  request->raidLevel = level;
  request->stripeSizeKB = 64;
  request->reserved_248 = 0xFFFFFFFF;
  request->controllerId = controllerId;
  request->reserved_250 = 3;
  std::memcpy(request->name, name, std::min(std::strlen(name), sizeof request->name));
  std::vector<uint8_t> payload(kCreateArraySize);
  EncodeCreateArray(*request, payload.data());
  return payload;
}

inline std::vector<uint8_t> AddPartRequest(uint32_t handle, const uint8_t* arraySerial,
                                           uint64_t blocks, const char* name) {
  auto request = std::make_unique<addArrayPart>();
  request->handle = handle;
  request->reserved_c = 0xFFFFFFFF;
  request->blockCount = blocks;
  std::memcpy(request->arraySerial, arraySerial, 32);
  std::memcpy(request->name, name, std::min(std::strlen(name), sizeof request->name));
  std::vector<uint8_t> payload(kAddArrayPartSize);
  EncodeAddArrayPart(*request, payload.data());
  return payload;
}

// A CREATE_CUSTOM_VIEW with one entry; a null wwpn maps every host (or with !grant, none).
inline std::vector<uint8_t> CustomViewRequest(uint32_t handle, const uint8_t* serial, uint16_t lun,
                                              bool grant, const uint8_t* wwpn) {
  auto view = std::make_unique<customView>();
  view->numEntries = 1;
  customViewEntry& entry = view->entries[0];
  entry.handle = handle;
  std::memset(entry.portMask, 1, sizeof entry.portMask);
  entry.deleteAll = wwpn == nullptr && !grant ? 1 : 0;
  std::memcpy(entry.serialNumber, serial, 32);
  entry.address.hostType = 16;
  if (wwpn) std::memcpy(entry.address.wwpn, wwpn, 8);
  entry.address.lun = lun;
  entry.map.lun = lun;
  std::memset(entry.map.access, grant ? 0xC0 : 0, sizeof entry.map.access);
  std::vector<uint8_t> payload(kCustomViewSize);
  EncodeCustomView(*view, payload.data());
  return payload;
}

// A command that names one object by its serial at `offset`.
inline std::vector<uint8_t> SerialRequest(size_t size, uint32_t handle, size_t offset,
                                          const uint8_t* serial) {
  std::vector<uint8_t> payload = Request(size, handle);
  std::memcpy(payload.data() + offset, serial, 32);
  return payload;
}

}  // namespace simtest

#endif  // VELA_TESTS_SIM_WIRE_REQUESTS_H_
