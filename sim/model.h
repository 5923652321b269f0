// The simulated arrays: plain data that the inventory loader fills, the store persists, the
// commands change and the record builder turns into wire records. Nothing here knows the wire.
//
// One Model holds every subsystem the simulator serves. A subsystem has one or two controllers
// (index 0 is reported as controllerA, index 1 as controllerB), its enclosures and drives, and
// its vdisks. A vdisk names its member and spare drives by serial; a drive's howUsed says what it
// is used for. A partition lies inside its vdisk at [offsetBlocks, offsetBlocks + blocks).
#ifndef VELA_SIM_MODEL_H_
#define VELA_SIM_MODEL_H_

#include <array>
#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace sim {

using Serial32 = std::array<uint8_t, 32>;
using Wwn = std::array<uint8_t, 8>;
using Mac = std::array<uint8_t, 6>;
using CacheParams = std::array<uint8_t, 32>;

// Cache parameters as they travel (two big-endian words, then bytes): write-back (byte 9
// non-zero) with read-ahead on (byte 10).
constexpr CacheParams DefaultCacheParams() {
  CacheParams params{};
  params[9] = 1;
  params[10] = 1;
  return params;
}

// drive.howUsed values.
inline constexpr uint8_t kHowUsedAvailable = 0;
inline constexpr uint8_t kHowUsedMember = 1;
inline constexpr uint8_t kHowUsedDedicatedSpare = 2;
inline constexpr uint8_t kHowUsedPoolSpare = 3;
inline constexpr uint8_t kHowUsedLeftover = 5;
inline constexpr uint8_t kHowUsedFailed = 7;

// partition.type of a snapshot, whose data lives in its snap pool: it takes no vdisk space.
inline constexpr uint8_t kPartitionTypeSnapshot = 3;

// hostPortType values.
inline constexpr uint8_t kPortTypeFc = 4;
inline constexpr uint8_t kPortTypeSas = 8;
inline constexpr uint8_t kPortTypeIscsi = 9;

// Record limits of the controller record.
inline constexpr size_t kMaxDrives = 250;
inline constexpr size_t kMaxArrays = 32;
inline constexpr size_t kMaxPartitionsPerArray = 128;
inline constexpr size_t kMaxEnclosures = 16;
inline constexpr size_t kMaxPorts = 8;
inline constexpr size_t kMaxMembers = 68;
inline constexpr size_t kMaxHostsPerView = 128;
inline constexpr size_t kMaxHbaEntries = 32;
// Events a controller keeps; older ones fall off its log.
inline constexpr size_t kEventLogDepth = 1000;

struct HostPort {
  uint8_t type = kPortTypeFc;
  uint8_t portNumber = 0;
  Wwn wwpn{};  // FC port name, or the SAS port id for kPortTypeSas
  Mac mac{};   // iSCSI ports
  bool linkUp = true;
};

struct Event {
  uint32_t sequenceNumber = 0;
  uint32_t eventCode = 0;
  uint32_t errorcode = 0;
  uint32_t param = 0;  // refines controller and some drive events
  uint32_t controllerHandle = 0;
  std::string driveSerial;
  Serial32 lunSerial{};
  uint8_t owner = 0;  // controller that reported it, as its controllerId
  std::string description;
};

struct Controller {
  uint32_t handle = 0;
  std::string serialNumber;
  uint8_t controllerId = 1;  // 1 A, 0 B
  std::array<uint8_t, 4> ipAddress{};
  Mac macAddress{};
  std::string firmwareRevision;
  std::string hardwareRevision;
  uint32_t capabilities = 0;
  uint8_t controllerMode = 0;
  uint32_t maxLuns = 512;
  uint32_t maxArrayPartitions = 512;
  uint32_t driveOverheadPercent = 0;  // per mille, despite the name
  uint8_t allowedDriveType = 1;
  uint8_t controllerState = 0;
  std::vector<HostPort> ports;
  std::deque<Event> events;  // oldest first, at most kEventLogDepth
  uint32_t nextEventNumber = 1;
  uint64_t dmsTag = 1;
};

struct Enclosure {
  uint8_t number = 0;
  uint8_t slots = 24;
};

struct Drive {
  std::string serialNumber;
  std::string vendor;
  std::string product;
  std::string revision;
  uint8_t type = 4;
  uint64_t blocks = 0;
  uint8_t rpmThousands = 10;
  uint8_t enclosureNumber = 0;
  uint8_t slotNumber = 0;
  uint8_t channel = 0;
  uint8_t scsiId = 0;
  uint8_t howUsed = kHowUsedAvailable;
  uint8_t downReason = 0;
  uint8_t useState = 0;
  bool blinking = false;
  bool present = true;  // a pulled drive stays in the model but leaves the records
};

// One host's access to a partition.
struct HostMapping {
  uint8_t hostType = 16;  // 16 by WWPN, 1 by initiator name, 0x40/0x80 by IP address
  Wwn wwpn{};
  std::string hostName;
  std::array<uint8_t, 16> ipAddress{};
  uint16_t lun = 0;
  std::array<uint8_t, 8> access{};
};

struct Partition {
  std::string name;
  Serial32 serialNumber{};
  uint64_t offsetBlocks = 0;
  uint64_t blocks = 0;
  uint32_t lun = 0;
  uint8_t type = 0;  // 0 plain, 1 snap pool, 2 master volume, 3 snapshot
  CacheParams cacheParams = DefaultCacheParams();
  // Default mapping: every host sees the partition at `lun` unless hosts are listed.
  bool allHosts = true;
  std::vector<HostMapping> hosts;
  // Snapshot relations: the snap pool of a master volume, the master of a snapshot.
  Serial32 backingStore{};
  Serial32 master{};
};

struct Vdisk {
  std::string name;
  Serial32 serialNumber{};
  uint8_t raidLevel = 5;
  uint32_t stripeSizeKB = 64;
  uint8_t numDrivesPerLowLevelArray = 0;
  std::vector<std::string> members;  // drive serials, in member order
  std::vector<std::string> spares;   // dedicated spares
  uint8_t ownerIndex = 0;            // index into Subsystem::controllers
  uint8_t health = 0;
  uint8_t utilityRunning = 0;
  double jobPercent = 0;          // progress of the running utility
  uint64_t jobPendingBlocks = 0;  // capacity an expansion adds when it ends
  uint64_t blockCount = 0;        // usable capacity
  uint64_t expandableBlocks = 0;  // capacity only the last partition may grow into
  CacheParams cacheParams = DefaultCacheParams();
  uint8_t driveType = 4;
  bool spinDown = false;
  std::vector<Partition> partitions;  // in the order they were made
};

// An HBA port of a host connected to the array.
struct HbaPort {
  uint8_t type = 'F';
  uint8_t portNumber = 0;
  Wwn wwpn{};
};

struct SerialHash {
  size_t operator()(const Serial32& serial) const;
};

// Where each partition lies, as (vdisk index, partition index) by serial. Positions shift as
// vdisks and partitions come and go; rather than have every change keep it up to date, a lookup
// checks the position it gets, and one that finds the index wrong rebuilds it.
struct PartitionIndex {
  std::unordered_map<Serial32, std::pair<uint32_t, uint32_t>, SerialHash> positions;
};

struct Subsystem {
  std::string uniqueSn;
  std::string vendorName;          // 8 characters
  std::string vendorNameOverride;  // first word of the identification when not empty
  std::string productId;
  std::string systemName;
  std::vector<Controller> controllers;  // 1 or 2
  std::vector<Enclosure> enclosures;
  std::vector<Drive> drives;
  std::vector<Vdisk> vdisks;
  // Derived from vdisks by FindPartition; never stored.
  PartitionIndex partitionIndex;
};

// Knobs that tests turn to reach limits cheaply.
struct Limits {
  uint32_t maxSnapshots = 64;
  uint32_t maxMasterVolumes = 16;
  uint32_t maxPartitionsPerArray = kMaxPartitionsPerArray;
  double jobPercentPerSecond = 10;
};

struct Model {
  std::vector<Subsystem> subsystems;
  std::vector<HbaPort> hbaPorts;
  Limits limits;
  uint64_t serialCounter = 1;  // source of the unique bytes of new serials
};

// Lookups; null when absent.
Subsystem* FindSubsystemByHandle(Model& model, uint32_t handle, size_t* controllerIndex);
Subsystem* FindSubsystemBySn(Model& model, const std::string& uniqueSn);
Drive* FindDrive(Subsystem& subsystem, const std::string& serial);
// A vdisk by its full serial, or by the first 16 bytes when `prefixOnly`.
Vdisk* FindVdisk(Subsystem& subsystem, const uint8_t* serial, bool prefixOnly);
Partition* FindPartition(Subsystem& subsystem, const uint8_t* serial, Vdisk** vdisk);

// Appends an event to a controller's log, numbering it and dropping the oldest beyond the depth.
void LogEvent(Controller& controller, Event event);
// Logs the event on every controller of the subsystem that is not down.
void LogEventAll(Subsystem& subsystem, const Event& event);

// Fresh serials whose distinguishing bytes come from model.serialCounter: a vdisk serial is
// unique in its bytes 3, 4, 5, 8, 9, 10, 11 (the short form drives carry), a partition serial in
// bytes 3 to 5 and 8 to 12, and both start with the company identifier.
Serial32 NewVdiskSerial(Model& model);
Serial32 NewPartitionSerial(Model& model);
// The 7-byte short form of a vdisk serial that member drives carry.
std::array<uint8_t, 7> VdiskShortSerial(const Serial32& serial);

// Largest free gap in a vdisk outside the expandable tail, the number of free gaps, and the
// blocks the partitions use.
struct FreeSpace {
  uint64_t largest = 0;
  uint32_t segments = 0;
  uint64_t used = 0;
};
FreeSpace ComputeFreeSpace(const Vdisk& vdisk);

}  // namespace sim

#endif  // VELA_SIM_MODEL_H_
