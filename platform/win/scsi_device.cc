// The device layer on Windows: disks are the system's "\\.\PhysicalDriveN" nodes, adapters its
// "\\.\ScsiN:" nodes; commands go through IOCTL_SCSI_PASS_THROUGH_DIRECT, addresses, labels and
// an adapter's units through their own control codes (platform/win/sdk.h).
#include "platform/scsi_device.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "platform/strings.h"
#include "platform/win/sdk.h"

namespace {

// Disks and adapters are looked for under these numbers.
constexpr uint32_t kHighestNodeNumber = 63;

const char kAdapterPrefix[] = "\\\\.\\scsi";

bool IsAdapterName(const std::string& name) {
  const size_t prefix = sizeof(kAdapterPrefix) - 1;
  if (name.size() < prefix) return false;
  for (size_t i = 0; i < prefix; ++i) {
    const char c =
        name[i] >= 'A' && name[i] <= 'Z' ? static_cast<char>(name[i] - 'A' + 'a') : name[i];
    if (c != kAdapterPrefix[i]) return false;
  }
  return true;
}

std::string AdapterName(uint32_t port) { return "\\\\.\\Scsi" + std::to_string(port) + ":"; }

std::string DiskName(uint32_t number) { return "PhysicalDrive" + std::to_string(number); }

bool IsOpen(void* handle) {
  return handle != nullptr && handle != reinterpret_cast<void*>(~uintptr_t{0});
}

// Opened for `access`; null when the node is not there or refuses it.
void* OpenNode(const std::string& name, uint32_t access) {
  const std::u16string wide = Utf8ToUtf16(name);
  void* handle =
      winsdk::CreateFileW(wide.c_str(), access, winsdk::kFileShareRead | winsdk::kFileShareWrite,
                          nullptr, winsdk::kOpenExisting, 0, nullptr);
  return IsOpen(handle) ? handle : nullptr;
}

// Whether the node exists: opened without asking for data access, which needs no rights.
bool NodeExists(const std::string& name) {
  void* handle = OpenNode(name, 0);
  if (handle == nullptr) return false;
  winsdk::CloseHandle(handle);
  return true;
}

class WinDeviceNode : public ScsiDeviceNode {
 public:
  WinDeviceNode(void* handle, bool adapter) : m_handle(handle), m_adapter(adapter) {}
  ~WinDeviceNode() override { winsdk::CloseHandle(m_handle); }
  WinDeviceNode(const WinDeviceNode&) = delete;
  WinDeviceNode& operator=(const WinDeviceNode&) = delete;

  bool GetAddress(ScsiAddress* address) override {
    if (m_adapter) return false;
    winsdk::ScsiAddressData data;
    if (!winsdk::ScsiGetAddressIoctl(m_handle, &data)) return false;
    *address = {data.portNumber, data.pathId, data.targetId, data.lun};
    return true;
  }

  bool PassThrough(const ScsiPassThroughRequest& request, ScsiPassThroughResult* result) override {
    *result = ScsiPassThroughResult{};
    if (request.cdb == nullptr || request.cdbLength == 0) return false;
    winsdk::ScsiPassThroughDirect command;
    if (m_adapter) {
      // The adapter's units have byte-wide addresses; any other is not one of them.
      if (request.address.bus > 0xff || request.address.target > 0xff ||
          request.address.lun > 0xff) {
        return false;
      }
      command.pathId = static_cast<uint8_t>(request.address.bus);
      command.targetId = static_cast<uint8_t>(request.address.target);
      command.lun = static_cast<uint8_t>(request.address.lun);
    }
    command.cdb = request.cdb;
    command.cdbLength = request.cdbLength;
    command.dataIn = request.dataIn;
    command.buffer = request.buffer;
    command.bufferLength = request.bufferLength;
    command.timeoutSeconds = request.timeoutSeconds;
    if (!winsdk::ScsiPassThroughDirectIoctl(m_handle, &command)) return false;
    result->scsiStatus = command.scsiStatus;
    result->transferred = std::min(command.transferred, request.dataIn ? request.bufferLength : 0);
    result->senseLength =
        std::min<uint32_t>(command.senseLength, static_cast<uint32_t>(sizeof(result->sense)));
    std::memcpy(result->sense, command.sense, result->senseLength);
    return true;
  }

  bool GetDiskLayout(DiskLayout* layout) override {
    if (m_adapter) return false;
    winsdk::DriveLayoutData data;
    if (!winsdk::DiskGetDriveLayoutExIoctl(m_handle, &data)) return false;
    DiskLayout read;
    if (data.partitionStyle == winsdk::kPartitionStyleMbr) {
      read.signature = data.mbrSignature;
    } else if (data.partitionStyle == winsdk::kPartitionStyleGpt) {
      read.gpt = true;
      static_assert(sizeof(read.diskId) == sizeof(data.gptDiskId));
      std::memcpy(&read.diskId, data.gptDiskId, sizeof(read.diskId));
    } else {
      return false;
    }
    *layout = read;
    return true;
  }

 private:
  void* m_handle;
  bool m_adapter;
};

}  // namespace

std::unique_ptr<ScsiDeviceNode> OpenScsiDeviceNode(const std::string& name) {
  // Read and write where allowed (commands need both); the label also reads on a read-only
  // node.
  void* handle = OpenNode(name, winsdk::kGenericRead | winsdk::kGenericWrite);
  if (handle == nullptr) handle = OpenNode(name, winsdk::kGenericRead);
  if (handle == nullptr) return nullptr;
  return std::make_unique<WinDeviceNode>(handle, IsAdapterName(name));
}

std::vector<ScsiDeviceName> ListScsiDeviceNames() {
  std::vector<ScsiDeviceName> names;
  for (uint32_t number = 0; number <= kHighestNodeNumber; ++number) {
    const std::string name = DiskName(number);
    const std::string node = "\\\\.\\" + name;
    if (NodeExists(node)) names.push_back({name, node});
  }
  return names;
}

std::vector<uint32_t> ListScsiAdapters() {
  std::vector<uint32_t> ports;
  for (uint32_t port = 0; port <= kHighestNodeNumber; ++port) {
    if (NodeExists(AdapterName(port))) ports.push_back(port);
  }
  return ports;
}

bool ListScsiAdapterUnits(uint32_t port, std::vector<ScsiUnit>* units) {
  units->clear();
  const std::string name = AdapterName(port);
  void* handle = OpenNode(name, winsdk::kGenericRead | winsdk::kGenericWrite);
  if (handle == nullptr) handle = OpenNode(name, winsdk::kGenericRead);
  if (handle == nullptr) return false;
  std::vector<winsdk::ScsiInquiryUnitData> found;
  const bool read = winsdk::ScsiGetInquiryDataIoctl(handle, &found) != 0;
  winsdk::CloseHandle(handle);
  if (!read) return false;
  for (const winsdk::ScsiInquiryUnitData& unit : found) {
    std::string inquiryName;
    // Vendor, product and revision: bytes 8 to 35 of the standard data, as far as it goes.
    for (size_t i = 8; i < 36 && i < unit.inquiryData.size(); ++i) {
      const char c = static_cast<char>(unit.inquiryData[i]);
      inquiryName += (c >= 0x20 && c < 0x7f) ? c : ' ';
    }
    units->push_back({{port, unit.pathId, unit.targetId, unit.lun}, inquiryName});
  }
  return true;
}
