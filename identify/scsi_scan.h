// The host's storage devices and their identity: each device that answers INQUIRY page 0x83 is
// one record, with its address, disk layout, standard INQUIRY data and pages 0x80 and 0x83.
// Callers hold the refresh lock (ScsiCmd has process-wide state).
#ifndef VELA_IDENTIFY_SCSI_SCAN_H_
#define VELA_IDENTIFY_SCSI_SCAN_H_

#include <cstdint>
#include <string>
#include <vector>

#include "platform/guid.h"

struct ScsiDeviceInfo {
  uint32_t partitionStyle = 0;  // 1: MBR signature; 0: GPT disk id, or no layout
  uint32_t port = 0;
  uint32_t bus = 0;
  uint32_t target = 0;
  uint32_t lun = 0;
  uint32_t signature = 0;
  GUID diskId{};
  uint8_t inquiry[96] = {};  // 48 bytes read
  uint8_t page83[128] = {};
  uint8_t page80[128] = {};  // 48 bytes read
};

// Every device, pass 1 by the namespace's device names, pass 2 by adapters; a device reachable
// both ways is in the vector twice.
void ScanScsiDevices(std::vector<ScsiDeviceInfo>* devices);

// Adds the device when it answers page 0x83 with that page. False when it was not added.
bool InquireDevice(const char* deviceName, std::vector<ScsiDeviceInfo>* devices);

// The device's serial: page 0x80 from its byte 4, as text, up to the first NUL within the bytes
// read.
std::string DeviceSerial(const ScsiDeviceInfo& device);

// To the debug log: a title line, then 16 bytes to a line with their printable characters.
void HexDump(const char* title, const void* data, int length);

#endif  // VELA_IDENTIFY_SCSI_SCAN_H_
