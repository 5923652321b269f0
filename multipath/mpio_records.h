// The host's multipath inventory as the provider keeps it: plain records read from the MPIO
// and DSM classes of ROOT\WMI, in enumeration order. Fixed arrays bound what one record holds;
// a reader never writes past them.
#ifndef VELA_MULTIPATH_MPIO_RECORDS_H_
#define VELA_MULTIPATH_MPIO_RECORDS_H_

#include <cstdint>
#include <string>

inline constexpr uint32_t kMaxPdoInfo = 16;
inline constexpr uint32_t kMaxDsmPathV2 = 16;
inline constexpr uint32_t kMaxDsmPaths = 128;

// One path of a multipath disk (MPIO_GET_DESCRIPTOR.PdoInformation).
struct PdoInfo {
  uint32_t PortNumber;  // low bytes of the SCSI address
  uint32_t ScsiPathId;
  uint32_t TargetId;
  uint32_t Lun;
  uint64_t ullPathId;
};

// One multipath disk.
struct MpioDescriptor {
  uint32_t numPdoInfo = 0;
  std::u16string instanceName;
  PdoInfo pdoInfo[kMaxPdoInfo] = {};
};

// The serial number of a multipath disk (MPIO_DISK_INFO.DriveInfo), paired with its descriptor
// by device number.
struct MpioDiskInfo {
  std::string serialNumber;
  std::u16string instanceName;
  uint32_t deviceNumber = 0;
};

// One path as the DSM sees it (MPIO_DSM_Path_V2).
struct MpioDsmPathV2 {
  uint64_t DsmPathId;
  uint64_t Reserved;
  uint32_t PathWeight;
  uint32_t PrimaryPath;
  uint32_t OptimizedPath;
  uint32_t PreferredPath;
  uint32_t FailedPath;
  uint32_t TargetPortGroup_State;
  uint32_t ALUASupport;
  uint8_t SymmetricLUA;
  uint8_t TargetPortGroup_Preferred;
  uint16_t TargetPortGroup_Identifier;
  uint32_t TargetPort_Identifier;
  uint32_t Reserved32;
  uint64_t Reserved64;
};

// The DSM's view of one disk's paths (DSM_QueryLBPolicy_V2).
struct MpioDsmPathV2List {
  uint32_t numDsmPathV2 = 0;  // elements read
  uint32_t Version = 0;
  uint32_t LoadBalancePolicy = 0;
  uint32_t DSMPathCount = 0;
  uint32_t Reserved = 0;
  std::u16string instanceName;
  MpioDsmPathV2 paths[kMaxDsmPathV2] = {};
};

// One path on hosts without the newer classes (MORDSM_PERFINFO).
struct DevPerfEntry {
  uint32_t PortNumber;
  uint32_t ScsiPathId;
  uint32_t TargetId;
  uint32_t Lun;
  uint8_t hbaPortWWN[8];
  uint8_t ctrlPortWWN[8];
  uint8_t lunKey[5];  // bytes 8 to 12 of the LUN's partition serial
  uint8_t pathState;
  uint64_t ullPathId;
};

// One DSM (Dsm_QueryUniqueId).
struct DsmInfo {
  std::u16string instanceName;
  uint64_t DsmUniqueId = 0;
};

struct DsmPath {
  uint64_t DsmPathId;
  uint64_t Reserved;
  uint32_t PathWeight;
  uint32_t PrimaryPath;
};

// Load balance data of one disk (DSM_QueryLBPolicy).
struct DsmLoadPolicy {
  uint32_t Version = 1;
  uint32_t LoadBalancePolicy = 0;
  uint32_t DSMPathCount = 0;
  uint32_t Reserved = 0;
  std::u16string instanceName;
  DsmPath DSM_Paths[kMaxDsmPaths] = {};
};

#endif  // VELA_MULTIPATH_MPIO_RECORDS_H_
