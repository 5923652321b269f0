// The records of the command set other than controllerData: the subsystem list entry, events,
// the host view of a partition, the create and expand requests, the unified controller data,
// the snapshot lists and the HBA list. Row lists and kinds as in records_controller.h.
//
// Offsets count from the record's start. Records that begin with the payload header
// (requestTag, status, handle) list it; bodies that sit behind it (partitionView at payload
// 0x30, unifiedControllerData at 0xc, expandPart at 0x10, RetndSnList at 0x36c, hbaInfoList at
// 0x8) count from their own start.
#ifndef VELA_PROXY_RECORDS_OTHER_H_
#define VELA_PROXY_RECORDS_OTHER_H_

#include <cstddef>
#include <cstdint>

#include "proxy/records_controller.h"
#include "proxy/records_fields.h"
#include "proxy/records_format.h"

// subsystem: one entry of the GET_CONTROLLERHANDLEDB list; a handle of 0 is an absent controller.
#define VELA_SUBSYSTEM_ROWS(F)     \
  F(UniqueSN, 0x0, wire::Text<32>) \
  F(controllerA, 0x20, wire::Be32) \
  F(controllerB, 0x24, wire::Be32)
VELA_DECLARE_RECORD(subsystem, Subsystem, 0, kSubsystemSize, VELA_SUBSYSTEM_ROWS)

// event: one entry of the controller's event log. param refines three event codes.
//   OFFSET  SIZE  FIELD
//   0x0     4     sequenceNumber     0x38  32   driveSerial
//   0x8     4     eventCode          0x58  32   lunSerial
//   0xc     4     errorcode          0x90  1    owner
//   0x14    4     controllerHandle   0x91  1    duplicateCount
//   0x28    4     param              0x9c  256  description
#define VELA_EVENT_ROWS(F)                \
  F(sequenceNumber, 0x0, wire::Be32)      \
  F(reserved_4, 0x4, wire::Bytes<4>)      \
  F(eventCode, 0x8, wire::Be32)           \
  F(errorcode, 0xc, wire::Be32)           \
  F(reserved_10, 0x10, wire::Bytes<4>)    \
  F(controllerHandle, 0x14, wire::Be32)   \
  F(reserved_18, 0x18, wire::Bytes<0x10>) \
  F(param, 0x28, wire::Be32)              \
  F(reserved_2c, 0x2c, wire::Bytes<0xc>)  \
  F(driveSerial, 0x38, wire::Bytes<32>)   \
  F(lunSerial, 0x58, wire::Bytes<32>)     \
  F(reserved_78, 0x78, wire::Bytes<0x18>) \
  F(owner, 0x90, wire::U8)                \
  F(duplicateCount, 0x91, wire::U8)       \
  F(reserved_92, 0x92, wire::Bytes<10>)   \
  F(description, 0x9c, wire::Text<256>)
VELA_DECLARE_RECORD(event, Event, 0, kEventSize, VELA_EVENT_ROWS)

// getEvent: the GET_EVENT payload with room for one event. A reply may be longer: numEvents
// events follow from kEventListEntriesOffset, as many as its DataLen holds.
#define VELA_GET_EVENT_ROWS(F)       \
  F(requestTag, 0x0, wire::Be32)     \
  F(status, 0x4, wire::Be32)         \
  F(handle, 0x8, wire::Be32)         \
  F(flagA, 0xc, wire::U8)            \
  F(flagB, 0xd, wire::U8)            \
  F(reserved_e, 0xe, wire::Bytes<2>) \
  F(sequence, 0x10, wire::Be32)      \
  F(numEvents, 0x14, wire::Be32)     \
  F(firstEventNum, 0x18, wire::Be32) \
  F(lastEventNum, 0x1c, wire::Be32)  \
  F(entry, 0x20, wire::Rec<event>)
VELA_DECLARE_RECORD(getEvent, GetEvent, 0, kGetEventSize, VELA_GET_EVENT_ROWS)

// mapRecord: the LUN and one access byte per port of the controller.
#define VELA_MAP_RECORD_ROWS(F)      \
  F(lun, 0x0, wire::Be16)            \
  F(reserved_2, 0x2, wire::Bytes<2>) \
  F(access, 0x4, wire::Bytes<8>)
VELA_DECLARE_RECORD(mapRecord, MapRecord, 0, kMapRecordSize, VELA_MAP_RECORD_ROWS)

// partitionView: the hosts a partition is mapped to; numElements entries of each table are used.
#define VELA_PARTITION_VIEW_ROWS(F)                                           \
  F(reserved_0, 0x0, wire::Bytes<0x10>)                                       \
  F(lun, 0x10, wire::Be16)                                                    \
  F(reserved_12, 0x12, wire::Bytes<10>)                                       \
  F(numElements, 0x1c, wire::Be16)                                            \
  F(reserved_1e, 0x1e, wire::Bytes<2>)                                        \
  F(hostWwpn, 0x20, wire::Table<wire::Bytes<8>, kMaxViewHosts>)               \
  F(hostMap, 0x420, wire::Table<wire::Rec<mapRecord>, kMaxViewHosts>)         \
  F(hostAddress, 0xa20, wire::Table<wire::Rec<addressRecord>, kMaxViewHosts>) \
  F(hostName, 0x2220, wire::Table<wire::Text<224>, kMaxViewHosts>)
VELA_DECLARE_RECORD(partitionView, PartitionView, 0, kPartitionViewSize, VELA_PARTITION_VIEW_ROWS)

// customViewEntry: one host mapping of a CREATE_CUSTOM_VIEW request.
#define VELA_CUSTOM_VIEW_ENTRY_ROWS(F)       \
  F(handle, 0x0, wire::Be32)                 \
  F(portMask, 0x4, wire::Bytes<8>)           \
  F(deleteAll, 0xc, wire::Be32)              \
  F(serialNumber, 0x10, wire::Bytes<32>)     \
  F(address, 0x30, wire::Rec<addressRecord>) \
  F(map, 0x60, wire::Rec<mapRecord>)         \
  F(hostName, 0x6c, wire::Text<224>)
VELA_DECLARE_RECORD(customViewEntry, CustomViewEntry, 0, kCustomViewEntrySize,
                    VELA_CUSTOM_VIEW_ENTRY_ROWS)

// customView: the CREATE_CUSTOM_VIEW request, numEntries of its 4096 entries in use. 1.3 MB:
// allocate it on the heap.
#define VELA_CUSTOM_VIEW_ROWS(F) \
  F(requestTag, 0x0, wire::Be32) \
  F(status, 0x4, wire::Be32)     \
  F(numEntries, 0x8, wire::Be32) \
  F(entries, 0xc, wire::Table<wire::Rec<customViewEntry>, kMaxCustomViewEntries>)
VELA_DECLARE_RECORD(customView, CustomView, 0, kCustomViewSize, VELA_CUSTOM_VIEW_ROWS)

// createArray: the CREATE_ARRAY request; the reply fills in array. The words reserved_23c
// (zero), reserved_248 (0xFFFFFFFF) and the bytes reserved_24d (zero), reserved_250 (3),
// reserved_251 (zero) carry fixed values.
#define VELA_CREATE_ARRAY_ROWS(F)                                                   \
  F(requestTag, 0x0, wire::Be32)                                                    \
  F(status, 0x4, wire::Be32)                                                        \
  F(handle, 0x8, wire::Be32)                                                        \
  F(reserved_c, 0xc, wire::Be32)                                                    \
  F(drives, 0x10, wire::Table<wire::Rec<driveLocation>, VELA_MAX_DRIVES_PER_ARRAY>) \
  F(numDrives, 0x230, wire::Be32)                                                   \
  F(numSpares, 0x234, wire::Be32)                                                   \
  F(raidLevel, 0x238, wire::U8)                                                     \
  F(reserved_239, 0x239, wire::Bytes<3>)                                            \
  F(reserved_23c, 0x23c, wire::Be32)                                                \
  F(stripeSizeKB, 0x240, wire::Be32)                                                \
  F(numDrivesPerLowLevelArray, 0x244, wire::Be32)                                   \
  F(reserved_248, 0x248, wire::Be32)                                                \
  F(controllerId, 0x24c, wire::U8)                                                  \
  F(reserved_24d, 0x24d, wire::U8)                                                  \
  F(reserved_24e, 0x24e, wire::Bytes<2>)                                            \
  F(reserved_250, 0x250, wire::U8)                                                  \
  F(reserved_251, 0x251, wire::U8)                                                  \
  F(reserved_252, 0x252, wire::Bytes<2>)                                            \
  F(name, 0x254, wire::Text<32>)                                                    \
  F(reserved_274, 0x274, wire::Bytes<0x6c>)                                         \
  F(driveSerials, 0x2e0, wire::Table<wire::Bytes<32>, VELA_MAX_DRIVES_PER_ARRAY>)   \
  F(reserved_b60, 0xb60, wire::Bytes<0x20>)                                         \
  F(array, 0xb80, wire::Rec<::array>)
VELA_DECLARE_RECORD(createArray, CreateArray, 0, kCreateArraySize, VELA_CREATE_ARRAY_ROWS)

// addArrayPart: the ADD_ARRAY_PART request and reply; the reply fills in partition.
// reserved_c carries 0xFFFFFFFF.
#define VELA_ADD_ARRAY_PART_ROWS(F)        \
  F(requestTag, 0x0, wire::Be32)           \
  F(status, 0x4, wire::Be32)               \
  F(handle, 0x8, wire::Be32)               \
  F(reserved_c, 0xc, wire::Be32)           \
  F(blockCount, 0x10, wire::Be64)          \
  F(isSpecial, 0x18, wire::U8)             \
  F(specialKind, 0x19, wire::U8)           \
  F(reserved_1a, 0x1a, wire::Bytes<6>)     \
  F(arraySerial, 0x20, wire::Bytes<32>)    \
  F(reserved_40, 0x40, wire::Bytes<32>)    \
  F(backingStoreId, 0x60, wire::Bytes<32>) \
  F(name, 0x80, wire::Text<32>)            \
  F(partition, 0xa0, wire::Rec<::partition>)
VELA_DECLARE_RECORD(addArrayPart, AddArrayPart, 0, kAddArrayPartSize, VELA_ADD_ARRAY_PART_ROWS)

// expandPart: the body of EXPAND_PART (payload 0x10). blockCount is the new total size.
#define VELA_EXPAND_PART_ROWS(F)            \
  F(reserved_0, 0x0, wire::Bytes<8>)        \
  F(blockCount, 0x8, wire::Be64)            \
  F(reserved_10, 0x10, wire::Bytes<0x21>)   \
  F(vdiskSerial, 0x31, wire::Bytes<32>)     \
  F(partitionSerial, 0x51, wire::Bytes<32>) \
  F(reserved_71, 0x71, wire::Bytes<0xb7>)
VELA_DECLARE_RECORD(expandPart, ExpandPart, 0, kExpandPartSize, VELA_EXPAND_PART_ROWS)

// unifiedControllerData: the body of get_unified_controller_data (payload 0xc); only text read.
#define VELA_UNIFIED_CONTROLLER_DATA_ROWS(F)  \
  F(reserved_0, 0x0, wire::Bytes<0x14>)       \
  F(vendorNameOverride, 0x14, wire::Text<20>) \
  F(productId, 0x28, wire::Text<17>)          \
  F(reserved_39, 0x39, wire::Bytes<3>)        \
  F(vendorNameAlt, 0x3c, wire::Text<20>)      \
  F(vendorName, 0x50, wire::Text<9>)          \
  F(reserved_59, 0x59, wire::Bytes<0x1cb7>)   \
  F(systemName, 0x1d10, wire::Text<80>)       \
  F(reserved_1d60, 0x1d60, wire::Bytes<0xd9b4 - 0x1d60>)
VELA_DECLARE_RECORD(unifiedControllerData, UnifiedControllerData, 0, kUnifiedControllerDataSize,
                    VELA_UNIFIED_CONTROLLER_DATA_ROWS)

// backingStoreEntry: vdiskSerial is matched against the first 16 bytes of a vdisk's serial.
#define VELA_BACKING_STORE_ENTRY_ROWS(F) \
  F(id, 0x0, wire::Bytes<16>)            \
  F(vdiskSerial, 0x10, wire::Bytes<16>)  \
  F(reserved_20, 0x20, wire::Bytes<0x30>)
VELA_DECLARE_RECORD(backingStoreEntry, BackingStoreEntry, 0, kBackingStoreEntrySize,
                    VELA_BACKING_STORE_ENTRY_ROWS)

#define VELA_MASTER_VOLUME_ENTRY_ROWS(F) \
  F(id, 0x0, wire::Bytes<16>)            \
  F(vdiskSerial, 0x10, wire::Bytes<16>)  \
  F(reserved_20, 0x20, wire::Bytes<0x38>)
VELA_DECLARE_RECORD(masterVolumeEntry, MasterVolumeEntry, 0, kMasterVolumeEntrySize,
                    VELA_MASTER_VOLUME_ENTRY_ROWS)

#define VELA_SNAPSHOT_ENTRY_ROWS(F)     \
  F(reserved_0, 0x0, wire::Bytes<0x10>) \
  F(word10, 0x10, wire::Be32)           \
  F(word14, 0x14, wire::Be32)           \
  F(reserved_18, 0x18, wire::Bytes<0x40>)
VELA_DECLARE_RECORD(snapshotEntry, SnapshotEntry, 0, kSnapshotEntrySize, VELA_SNAPSHOT_ENTRY_ROWS)

// RetndSnList: the serials of the snapshots create_snapshot made (payload 0x36c).
#define VELA_RETND_SN_LIST_ROWS(F)   \
  F(numElements, 0x0, wire::U8)      \
  F(reserved_1, 0x1, wire::Bytes<7>) \
  F(serials, 0x8, wire::Table<wire::Bytes<16>, kMaxRetndSn>)
VELA_DECLARE_RECORD(RetndSnList, RetndSnList, 0, kRetndSnListSize, VELA_RETND_SN_LIST_ROWS)

#define VELA_HBA_INFO_ROWS(F)        \
  F(type, 0x0, wire::U8)             \
  F(reserved_1, 0x1, wire::Bytes<3>) \
  F(portNumber, 0x4, wire::U8)       \
  F(reserved_5, 0x5, wire::Bytes<3>) \
  F(wwpn, 0x8, wire::Bytes<8>)       \
  F(reserved_10, 0x10, wire::Bytes<0x708>)
VELA_DECLARE_RECORD(hbaInfo, HbaInfo, 0, kHbaInfoSize, VELA_HBA_INFO_ROWS)

// hbaInfoList: the body of get_connect_Hba_info_list (payload 0x8); count is signed.
#define VELA_HBA_INFO_LIST_ROWS(F) \
  F(count, 0x0, wire::Be32s)       \
  F(entries, 0x4, wire::Table<wire::Rec<hbaInfo>, kMaxHbaInfo>)
VELA_DECLARE_RECORD(hbaInfoList, HbaInfoList, 0, kHbaInfoListSize, VELA_HBA_INFO_LIST_ROWS)

#endif  // VELA_PROXY_RECORDS_OTHER_H_
