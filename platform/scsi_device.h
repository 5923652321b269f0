// The host's SCSI device layer: which devices there are, the pass-through that sends one command
// block to one of them, and the disk layout (MBR signature or GPT disk id).
//
// Three sources stand behind the same calls:
//   - a host view with "devices" (VELA_HOST_VIEW; platform/host_view.h): each device answers the
//     command blocks a real disk would from its INQUIRY data;
//   - on Linux without a view, the SCSI devices of sysfs (VELA_SYSFS_ROOT, default /sys), SG_IO
//     on their nodes (through libsgutils2's pass-through layer) and libblkid for the layout;
//   - on Windows, the system's "\\.\PhysicalDriveN" and "\\.\ScsiN:" nodes and their storage
//     control codes (platform/win/scsi_device.cc); there is no host view there.
//
// Names. A device is opened by its node name ("/dev/sdb", or a view's "\\.\PhysicalDrive1"), or
// by an adapter text "\\.\Scsi%d:", whose pass-through then reaches the logical unit at the
// address the request carries.
#ifndef VELA_PLATFORM_SCSI_DEVICE_H_
#define VELA_PLATFORM_SCSI_DEVICE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/guid.h"

struct ScsiAddress {
  uint32_t port = 0;  // adapter (host) number
  uint32_t bus = 0;
  uint32_t target = 0;
  uint32_t lun = 0;
};

// One whole-disk (or other SCSI block) device the namespace lists: its name and the node it
// resolves to.
struct ScsiDeviceName {
  std::string name;  // "sdb"
  std::string node;  // "/dev/sdb"
};

// A logical unit behind an adapter.
struct ScsiUnit {
  ScsiAddress address;
  std::string inquiryName;  // vendor, product and revision as the device reported them
};

constexpr size_t kScsiSenseLength = 24;

struct ScsiPassThroughRequest {
  const uint8_t* cdb = nullptr;
  uint8_t cdbLength = 0;
  bool dataIn = false;
  uint8_t* buffer = nullptr;
  uint32_t bufferLength = 0;
  uint32_t timeoutSeconds = 60;
  ScsiAddress address;  // used by adapter nodes only
};

struct ScsiPassThroughResult {
  uint8_t scsiStatus = 0;
  uint32_t transferred = 0;
  uint8_t sense[kScsiSenseLength] = {};
  uint32_t senseLength = 0;  // bytes of sense that are valid
};

struct DiskLayout {
  bool gpt = false;  // true: diskId, false: MBR signature
  uint32_t signature = 0;
  GUID diskId{};
};

// An open device or adapter node.
class ScsiDeviceNode {
 public:
  virtual ~ScsiDeviceNode() = default;
  // The device's SCSI address; false for an adapter node or when it can't be told.
  virtual bool GetAddress(ScsiAddress* address) = 0;
  // Sends one command block. False when the command could not be sent at all; a command that
  // went out gives true with its status, transferred length and sense.
  virtual bool PassThrough(const ScsiPassThroughRequest& request,
                           ScsiPassThroughResult* result) = 0;
  // The disk label; false when there is none or it can't be read.
  virtual bool GetDiskLayout(DiskLayout* layout) = 0;
};

// Opens a node by name; null when there is no such device or it can't be opened.
std::unique_ptr<ScsiDeviceNode> OpenScsiDeviceNode(const std::string& name);

// The SCSI block devices of the host, in a stable order.
std::vector<ScsiDeviceName> ListScsiDeviceNames();

// The adapters' numbers, ascending, and the logical units behind one of them (false when the
// adapter has gone).
std::vector<uint32_t> ListScsiAdapters();
bool ListScsiAdapterUnits(uint32_t port, std::vector<ScsiUnit>* units);

// ---- Building blocks of the Linux source (scsi_device_linux.cc), for it and its tests ----------

// The sysfs tree: VELA_SYSFS_ROOT or "/sys".
std::string SysfsRoot();

// A SCSI device of the sysfs tree at `root`: address, block node name ("sdb", empty when the
// device has none), generic node name ("sg2", empty when none) and INQUIRY words.
struct SysfsScsiDevice {
  ScsiAddress address;
  std::string block;
  std::string generic;
  std::string inquiryName;
};
// All SCSI devices of the tree, by address. Entries whose files are missing or unreadable keep
// what could be read; entries without a parsable address are left out.
std::vector<SysfsScsiDevice> ReadSysfsScsiDevices(const std::string& root);

// The layout of a disk or disk image through libblkid; false when it has no MBR or GPT label.
bool ReadDiskLayoutFile(const std::string& path, DiskLayout* layout);

// "H:C:T:L"; false on anything else.
bool ParseScsiAddressText(const std::string& text, ScsiAddress* address);

#endif  // VELA_PLATFORM_SCSI_DEVICE_H_
