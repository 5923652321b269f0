// What the array does when it is told to change: create and delete vdisks and partitions, grow
// them, map them, spares, owners, names, cache settings and snapshots. Each operation checks
// everything first and changes the model only when it succeeds (returning 0), so a refusal
// (a non-zero status) leaves the model as it was. Each change logs the events it implies on the
// owning controller. Callers hold the model lock.
#ifndef VELA_SIM_PROVISION_H_
#define VELA_SIM_PROVISION_H_

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "sim/model.h"

namespace sim {

// Status words of refused changes. 78, 186, 214 and 215 are the ones the provider tells apart.
inline constexpr uint32_t kStatusVolumeTooSmall = 78;
inline constexpr uint32_t kStatusSnapshotLimit = 186;
inline constexpr uint32_t kStatusControllerPartitionLimit = 214;
inline constexpr uint32_t kStatusPartitionLimit = 215;  // also the master volume limit (0xD7)
inline constexpr uint32_t kStatusDriveUnavailable = 0x20;
inline constexpr uint32_t kStatusBadLevel = 0x21;
inline constexpr uint32_t kStatusTooManyDrives = 0x22;
inline constexpr uint32_t kStatusControllerDown = 0x23;
inline constexpr uint32_t kStatusNoSpace = 0x24;
inline constexpr uint32_t kStatusLunInUse = 0x25;
inline constexpr uint32_t kStatusJobRunning = 0x26;
inline constexpr uint32_t kStatusNoJob = 0x27;
inline constexpr uint32_t kStatusSpareLimit = 0x28;
inline constexpr uint32_t kStatusInUse = 0x29;
inline constexpr uint32_t kStatusArrayLimit = 0x2A;
inline constexpr uint32_t kStatusVdiskOffline = 0x2B;
inline constexpr uint32_t kStatusNotFound = 0xFC;

// The smallest partition: 1 MiB.
inline constexpr uint64_t kMinPartitionBlocks = 2048;
// Pool spares a subsystem may hold.
inline constexpr size_t kMaxPoolSpares = 8;

// A drive named by a request: by serial when it has one, else by (channel, scsiId).
struct DriveRef {
  std::string serial;
  uint32_t channel = 0;
  uint32_t scsiId = 0;
};

struct CreateArrayArgs {
  std::vector<DriveRef> drives;  // members, then the spares
  uint32_t numSpares = 0;
  uint8_t raidLevel = 5;
  uint32_t stripeSizeKB = 64;
  uint8_t numDrivesPerLowLevelArray = 0;
  uint8_t controllerId = 1;  // of the controller that is to own the vdisk
  std::string name;
};
uint32_t CreateArray(Model& model, Subsystem& subsystem, const CreateArrayArgs& args,
                     size_t* vdiskIndex);
uint32_t DeleteArray(Subsystem& subsystem, const uint8_t* serial);

struct AddPartitionArgs {
  const uint8_t* vdiskSerial = nullptr;  // 32 bytes
  uint64_t blocks = 0;
  std::string name;
  uint8_t isSpecial = 0;
  uint8_t specialKind = 0;
  std::array<uint8_t, 16> backingStoreId{};
};
uint32_t AddPartition(Model& model, Subsystem& subsystem, const AddPartitionArgs& args,
                      Partition* made);
uint32_t DeletePartition(Subsystem& subsystem, const uint8_t* serial);
uint32_t SetPartitionName(Subsystem& subsystem, const uint8_t* serial, const std::string& name);
uint32_t SetPartitionLun(Subsystem& subsystem, const uint8_t* serial, uint32_t lun);
uint32_t SetPartitionCache(Subsystem& subsystem, const uint8_t* serial, const CacheParams& params);

// Adds drives and starts the expansion job; the capacity arrives when the job ends.
uint32_t ExpandArray(Subsystem& subsystem, const uint8_t* serial,
                     const std::vector<DriveRef>& drives);
// Grows a partition to `newBlocks` into the free space right behind it.
uint32_t ExpandPartition(Subsystem& subsystem, const uint8_t* serial, uint64_t newBlocks);
uint32_t AbortUtility(Subsystem& subsystem, const uint8_t* serial);

// One host mapping change, as a CREATE_CUSTOM_VIEW entry says it.
struct ViewChange {
  const uint8_t* serial = nullptr;  // 32 bytes
  bool deleteAll = false;
  uint8_t hostType = 16;
  Wwn wwpn{};
  std::string hostName;
  uint16_t lun = 0;
  std::array<uint8_t, 8> access{};
};
uint32_t ChangeView(Subsystem& subsystem, const ViewChange& change);

uint32_t AssignPoolSpare(Subsystem& subsystem, const std::string& serial, bool assign);
uint32_t BlinkDrive(Subsystem& subsystem, const std::string& serial, bool on);
uint32_t ToggleOwner(Subsystem& subsystem, const uint8_t* serial);
uint32_t RebootController(Subsystem& subsystem, size_t controllerIndex);

// Snapshots: a master volume names its snap pool by the pool's 16-byte id, a snapshot its
// master volume the same way. Snapshots take no space of their vdisk: their data lives in the
// snap pool.
uint32_t ConvertMasterVolume(Model& model, Subsystem& subsystem, const uint8_t* serial,
                             bool toMaster, const uint8_t* backingStoreId);
uint32_t CreateSnapshot(Model& model, Subsystem& subsystem, size_t controllerIndex,
                        const uint8_t* masterId, const std::string& name, Serial32* made);

// Invariants every sequence of operations keeps; false with the first broken one in *why.
bool CheckInvariants(const Subsystem& subsystem, std::string* why);

}  // namespace sim

#endif  // VELA_SIM_PROVISION_H_
