// The "devices" of a host view: SCSI disks given by their INQUIRY data, which answer command
// blocks as a real disk with that data would.
//
//   "devices": [{"path": "\\.\PhysicalDrive1", "address": [port, bus, target, lun],
//                "layout": {"mbr": "0x1234abcd"} | {"gpt": "{GUID}"} | null,
//                "inquiry": "<hex>", "vpd": {"80": "<hex>", "83": "<hex>", "d0": "<hex>"}}]
//
// The data is served as it stands, lengths inside it included: a view may describe a device that
// lies, and its readers must cope.
#ifndef VELA_PLATFORM_HOST_VIEW_DEVICES_H_
#define VELA_PLATFORM_HOST_VIEW_DEVICES_H_

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/scsi_device.h"

struct HostViewDevice {
  std::string path;
  ScsiAddress address;
  bool hasLayout = false;
  DiskLayout layout;
  std::vector<uint8_t> inquiry;
  std::map<uint8_t, std::vector<uint8_t>> vpd;  // by page code
};

// The devices of a view. An entry with a wrong type, a bad hex text or a page over 64 KiB is left
// out and the reason kept for HostViewProblem(); the others are still read.
std::vector<HostViewDevice> ParseHostViewDevices(const nlohmann::json& view);

// Answers one command block: TEST UNIT READY, INQUIRY (standard data, the supported page list
// and the pages the device has) and REQUEST SENSE; anything else, a page the device lacks or a
// page code without EVPD is CHECK CONDITION with ILLEGAL REQUEST sense. Transfers no more than
// the allocation length and the buffer allow.
void AnswerScsiCommand(const HostViewDevice& device, const ScsiPassThroughRequest& request,
                       ScsiPassThroughResult* result);

// Nodes over the current view's devices (the host-view source of scsi_device.h).
std::unique_ptr<ScsiDeviceNode> OpenHostViewDeviceNode(const std::string& viewPath,
                                                       const std::string& name);
std::vector<ScsiDeviceName> ListHostViewDeviceNames(const std::string& viewPath);
std::vector<uint32_t> ListHostViewAdapters(const std::string& viewPath);
bool ListHostViewAdapterUnits(const std::string& viewPath, uint32_t port,
                              std::vector<ScsiUnit>* units);

// "\\.\Scsi3:" (any case) gives 3; false for any other name.
bool ParseAdapterNodeName(const std::string& name, uint32_t* port);

// Lower- or upper-case hex digits, an even number of them.
bool ParseHexBytes(const std::string& text, std::vector<uint8_t>* bytes);

#endif  // VELA_PLATFORM_HOST_VIEW_DEVICES_H_
