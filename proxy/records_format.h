// Sizes, table limits and field values of the proxy's records. They are part of the protocol
// shared with the proxy service and the simulator, and never change. No logic here.
#ifndef VELA_PROXY_RECORDS_FORMAT_H_
#define VELA_PROXY_RECORDS_FORMAT_H_

#include <cstddef>
#include <cstdint>

// Record sizes on the wire.
inline constexpr size_t kControllerDataSize = 0x267734;  // 2,520,884
inline constexpr size_t kControllerSize = 0x5864;        // 22,628, at 0x14 of controllerData
inline constexpr size_t kControllerParamsSize = 284;
inline constexpr size_t kAdvNetInterfaceSize = 0x80c;  // 2,060
inline constexpr size_t kPortSize = 0x504;             // 1,284
inline constexpr size_t kEnclosureSize = 0xfe8;        // 4,072
inline constexpr size_t kDriveSize = 0xd4;             // 212
inline constexpr size_t kAddressRecordSize = 0x30;     // 48
inline constexpr size_t kDriveLocationSize = 8;
inline constexpr size_t kMemberDriveSize = 16;
inline constexpr size_t kCacheParamsSize = 32;
inline constexpr size_t kArraySize = 0x644;      // 1,604
inline constexpr size_t kPartitionSize = 0x238;  // 568

inline constexpr size_t kSubsystemSize = 40;
inline constexpr size_t kEventSize = 0x19c;           // 412
inline constexpr size_t kGetEventSize = 0x1bc;        // 444: the header and one event
inline constexpr size_t kPartitionViewSize = 0x9220;  // 37,408
inline constexpr size_t kMapRecordSize = 12;
inline constexpr size_t kCustomViewSize = 0x14c00c;           // 1,359,884
inline constexpr size_t kCustomViewEntrySize = 0x14c;         // 332
inline constexpr size_t kCreateArraySize = 0x11c4;            // 4,548
inline constexpr size_t kAddArrayPartSize = 0x2d8;            // 728
inline constexpr size_t kExpandPartSize = 0x128;              // 296
inline constexpr size_t kUnifiedControllerDataSize = 0xd9b4;  // 55,732
inline constexpr size_t kBackingStoreEntrySize = 0x50;        // 80
inline constexpr size_t kMasterVolumeEntrySize = 0x58;        // 88
inline constexpr size_t kSnapshotEntrySize = 0x58;            // 88
inline constexpr size_t kRetndSnListSize = 0x108;             // 264
inline constexpr size_t kHbaInfoSize = 0x718;                 // 1,816
inline constexpr size_t kHbaInfoListSize = 0xe304;            // 58,116

// Table sizes fixed by the layouts.
inline constexpr size_t kMaxDrives = 250;
inline constexpr size_t kMaxArrays = 32;
inline constexpr size_t kMaxArrayPartitions = 128;  // per array
inline constexpr size_t kMaxEnclosures = 16;
inline constexpr size_t kMaxHostPorts = 8;  // per controller, in ports and in partnerPorts
inline constexpr size_t VELA_MAX_DRIVES_PER_ARRAY = 68;
inline constexpr size_t kMaxViewHosts = 128;  // host entries of a partitionView
inline constexpr size_t kMaxCustomViewEntries = 4096;
inline constexpr size_t kMaxBackingStoreEntries = 16;
inline constexpr size_t kMaxMasterVolumeEntries = 1024;
inline constexpr size_t kMaxSnapshotEntries = 512;
inline constexpr size_t kMaxRetndSn = 16;
inline constexpr size_t kMaxHbaInfo = 32;

// Lists inside command payloads (payload offsets). The subsystem count is in the proxy's own
// little-endian order; every other count here is big-endian.
inline constexpr size_t kSubsystemListCountOffset = 0x8;
inline constexpr size_t kSubsystemListEntriesOffset = 0x10;
inline constexpr size_t kEventListCountOffset = 0x14;  // numEvents
inline constexpr size_t kEventListEntriesOffset = 0x20;
inline constexpr size_t kBackingStoreListCountOffset = 0x10;
inline constexpr size_t kBackingStoreListEntriesOffset = 0x18;
inline constexpr size_t kMasterVolumeListCountOffset = 0x30;
inline constexpr size_t kMasterVolumeListEntriesOffset = 0x38;
inline constexpr size_t kSnapshotListCountOffset = 0x30;
inline constexpr size_t kSnapshotListEntriesOffset = 0x38;

// controller.capabilities
inline constexpr uint32_t VELA_CAPABILITY_RAID6 = 1u << 21;
// controllerParams.controllerMode
inline constexpr uint8_t VELA_CONTROLLER_MODE_AA_DUAL_PORT_ULP = 1u << 3;

// controller.controllerId
inline constexpr uint8_t kControllerIdB = 0;
inline constexpr uint8_t kControllerIdA = 1;
inline constexpr uint8_t kControllerIdBoth = 2;
inline constexpr uint8_t kControllerIdUnknown = 3;

// controllerData.controllerState: any value above 1 is offline without inventory.
inline constexpr uint8_t kControllerStateHealthy = 0;
inline constexpr uint8_t kControllerStateOfflineWithInventory = 1;

// controller.maxArrayPartitions of 0 leaves this limit standing.
inline constexpr uint32_t kDefaultMaxArrayPartitions = 256;

// port.hostPortType: it selects the layout of the port's bytes 0x88 to 0x2f7.
inline constexpr uint8_t kHostPortFcFirst = 4;
inline constexpr uint8_t kHostPortFcLast = 6;
inline constexpr uint8_t kHostPortSas = 8;
inline constexpr uint8_t kHostPortIscsi = 9;

// drive.howUsed
inline constexpr uint8_t kDriveAvailable = 0;
inline constexpr uint8_t kDriveMember = 1;
inline constexpr uint8_t kDriveDedicatedSpare = 2;
inline constexpr uint8_t kDrivePoolSpare = 3;
inline constexpr uint8_t kDriveSingle = 4;
inline constexpr uint8_t kDriveLeftover = 5;
inline constexpr uint8_t kDriveFailed = 7;

// drive.type
inline constexpr uint8_t kDriveTypeFc = 2;
inline constexpr uint8_t kDriveTypeSata = 3;
inline constexpr uint8_t kDriveTypeSas = 4;
inline constexpr uint8_t kDriveTypeSataAlt = 5;
inline constexpr uint8_t kDriveTypeSasAlt = 6;
inline constexpr uint8_t kDriveTypeSsdFirst = 7;
inline constexpr uint8_t kDriveTypeSsdLast = 10;

// drive.useState: the drive has been taken into use as a spare.
inline constexpr uint8_t kDriveUseStateSpareInUse = 3;

// drive.containerIndex / drive.driveIndex: none.
inline constexpr uint8_t kNoIndex = 0xff;
// driveLocation words of a missing member.
inline constexpr uint32_t kNoLocation = 0xffffffff;

// array.utilityRunning
inline constexpr uint8_t kUtilityNone = 0;
inline constexpr uint8_t kUtilityExpansion = 5;
inline constexpr uint8_t kUtilityStoppable = 6;

// addressRecord.hostType
inline constexpr uint8_t kHostTypeInitiatorName = 1;
inline constexpr uint8_t kHostTypeWwpn = 16;
inline constexpr uint8_t kHostTypeIp = 0x40;
inline constexpr uint8_t kHostTypeIpAlt = 0x80;

// mapRecord.access bytes.
inline constexpr uint8_t kAccessNone = 0;
inline constexpr uint8_t kAccessReadWrite = 0xc0;
inline constexpr uint8_t kAccessReadWriteUlp = 0xcc;

// RAID levels, the byte array.raidLevel and createArray.raidLevel hold.
enum VELA_RAID_LEVEL : uint8_t {
  VELA_RAID0 = 0,
  VELA_RAID1 = 1,
  VELA_RAID3 = 3,
  VELA_RAID5 = 5,
  VELA_NRAID = 6,
  VELA_RAID30 = 7,
  VELA_RAID50 = 8,
  VELA_RAID10 = 10,
  VELA_RAID6 = 11,
};

#endif  // VELA_PROXY_RECORDS_FORMAT_H_
