// controllerData: the whole configuration of one controller, the reply of GET_CONTROLLER, and
// its sub-records.
//
// Each record is a row list F(field, offset, kind) in wire order; records_fields.h turns it into
// a struct with these members, a layout table <record>Layout, compile-time checks that the rows
// tile the record, and DecodeX(p, n, out) (false when n is below the record size) and
// EncodeX(in, p) (p has room for the record size). Rows named reserved_<offset> are carried as
// the wire bytes they came as. Kinds: Be16/Be32/Be64 big-endian (a 64-bit quantity as two words,
// low word first), Le32 the proxy's native little-endian order, U8, Bytes<N>, Text<N>, Rec<R>,
// Table<kind, N>.
//
// The decoders run over every table entry (250 drives, 32 arrays, 32 x 128 partitions) whatever
// the counts say. The counts arrive as they came: bound them with ValidCount() (records.h)
// before indexing a table.
//
// controllerData (kControllerDataSize bytes):
//   OFFSET    SIZE          FIELD
//   0x0       4             requestTag, status (0x4)
//   0x14      22628         controller
//   0x5878    2060          advNetInterface
//   0x6084    4             enclosureCount
//   0x6088    16 x 4072     enclosures
//   0x15f30   4             numDrives
//   0x15f34   250 x 212     drives
//   0x22e3c   4             numArrays
//   0x22e40   32 x 1604     arrays
//   0x2f6c0   4             numPartitions
//   0x2f6c4   32x128 x 568  partitions[array][n]
//   0x2676c4  32            UniqueSn
//   0x2676e4  1             controllerState
#ifndef VELA_PROXY_RECORDS_CONTROLLER_H_
#define VELA_PROXY_RECORDS_CONTROLLER_H_

#include <cstddef>
#include <cstdint>

#include "proxy/records_fields.h"
#include "proxy/records_format.h"

// driveLocation: both words 0xFFFFFFFF for a missing member.
#define VELA_DRIVE_LOCATION_ROWS(F) \
  F(channelIndex, 0x0, wire::Be32)  \
  F(driveIndex, 0x4, wire::Be32)
VELA_DECLARE_RECORD(driveLocation, DriveLocation, 0, kDriveLocationSize, VELA_DRIVE_LOCATION_ROWS)

#define VELA_MEMBER_DRIVE_ROWS(F)                   \
  F(reserved_0, 0x0, wire::Bytes<4>)                \
  F(driveLocation, 0x4, wire::Rec<::driveLocation>) \
  F(reserved_c, 0xc, wire::Bytes<4>)
VELA_DECLARE_RECORD(memberDrive, MemberDrive, 0, kMemberDriveSize, VELA_MEMBER_DRIVE_ROWS)

// cacheParams: writePolicy 0 is write-through; readAhead is the sequential read-ahead setting.
#define VELA_CACHE_PARAMS_ROWS(F) \
  F(word0, 0x0, wire::Be32)       \
  F(word1, 0x4, wire::Be32)       \
  F(reserved_8, 0x8, wire::U8)    \
  F(writePolicy, 0x9, wire::U8)   \
  F(readAhead, 0xa, wire::U8)     \
  F(reserved_b, 0xb, wire::Bytes<21>)
VELA_DECLARE_RECORD(cacheParams, CacheParams, 0, kCacheParamsSize, VELA_CACHE_PARAMS_ROWS)

// addressRecord: a host (in views) or a drive's address (in drive).
#define VELA_ADDRESS_RECORD_ROWS(F)   \
  F(hostType, 0x0, wire::U8)          \
  F(reserved_1, 0x1, wire::Bytes<3>)  \
  F(reserved_4, 0x4, wire::Bytes<4>)  \
  F(reserved_8, 0x8, wire::Bytes<12>) \
  F(wwpn, 0x14, wire::Bytes<8>)       \
  F(lun, 0x1c, wire::Be32)            \
  F(ipAddress, 0x20, wire::Bytes<16>)
VELA_DECLARE_RECORD(addressRecord, AddressRecord, 0, kAddressRecordSize, VELA_ADDRESS_RECORD_ROWS)

// controllerParams, also as controllerParamsActive (where driveOverheadPercent is read).
#define VELA_CONTROLLER_PARAMS_ROWS(F)      \
  F(reserved_0, 0x0, wire::Bytes<0x16>)     \
  F(controllerMode, 0x16, wire::U8)         \
  F(reserved_17, 0x17, wire::U8)            \
  F(driveOverheadPercent, 0x18, wire::Be32) \
  F(reserved_1c, 0x1c, wire::Bytes<0x100>)
VELA_DECLARE_RECORD(controllerParams, ControllerParams, 0, kControllerParamsSize,
                    VELA_CONTROLLER_PARAMS_ROWS)

// port: one host port. The bytes 0x88 to 0x2f7 change layout with hostPortType; the fields
// named in that block are bytes and read the same for every type, and the words whose order
// the type decides lie in reserved ranges, carried untouched. So no field depends on the type
// for its conversion; which of linkUp/sasLinkUp/iscsiLinkUp and wwpn/sasPortId/macAddress
// mean something is the reader's choice by hostPortType (4-6 FC, 8 SAS, 9 iSCSI).
// tallyByte (0x4c3) is read in partnerPorts[0] only.
#define VELA_PORT_ROWS(F)                    \
  F(reserved_0, 0x0, wire::Bytes<0x88>)      \
  F(linkUp, 0x88, wire::U8)                  \
  F(iscsiLinkUp, 0x89, wire::U8)             \
  F(reserved_8a, 0x8a, wire::Bytes<6>)       \
  F(sasPortId, 0x90, wire::Bytes<8>)         \
  F(reserved_98, 0x98, wire::Bytes<10>)      \
  F(sasLinkUp, 0xa2, wire::U8)               \
  F(reserved_a3, 0xa3, wire::Bytes<0x1d>)    \
  F(macAddress, 0xc0, wire::Bytes<6>)        \
  F(reserved_c6, 0xc6, wire::Bytes<0x1d6>)   \
  F(wwpn, 0x29c, wire::Bytes<8>)             \
  F(reserved_2a4, 0x2a4, wire::Bytes<0x21c>) \
  F(hostPortType, 0x4c0, wire::U8)           \
  F(reserved_4c1, 0x4c1, wire::Bytes<2>)     \
  F(tallyByte, 0x4c3, wire::U8)              \
  F(reserved_4c4, 0x4c4, wire::U8)           \
  F(portNumber, 0x4c5, wire::U8)             \
  F(reserved_4c6, 0x4c6, wire::Bytes<0x3e>)
VELA_DECLARE_RECORD(port, Port, 0, kPortSize, VELA_PORT_ROWS)

// controller: offsets count from the start of controllerData, as everyone quotes them.
#define VELA_CONTROLLER_ROWS(F)                                        \
  F(reserved_14, 0x14, wire::Bytes<8>)                                 \
  F(numPorts, 0x1c, wire::Be32)                                        \
  F(numPortsExtra, 0x20, wire::Be32)                                   \
  F(reserved_24, 0x24, wire::Bytes<4>)                                 \
  F(capabilities, 0x28, wire::Be32)                                    \
  F(reserved_2c, 0x2c, wire::Bytes<0x14>)                              \
  F(controllerParams, 0x40, wire::Rec<::controllerParams>)             \
  F(controllerParamsActive, 0x15c, wire::Rec<::controllerParams>)      \
  F(reserved_278, 0x278, wire::Bytes<0x48>)                            \
  F(controllerId, 0x2c0, wire::U8)                                     \
  F(reserved_2c1, 0x2c1, wire::Bytes<0xc7>)                            \
  F(ports, 0x388, wire::Table<wire::Rec<port>, kMaxHostPorts>)         \
  F(partnerPorts, 0x2ba8, wire::Table<wire::Rec<port>, kMaxHostPorts>) \
  F(reserved_53c8, 0x53c8, wire::Bytes<0x28>)                          \
  F(firmwareRevision, 0x53f0, wire::Text<20>)                          \
  F(hardwareRevision, 0x5404, wire::Text<80>)                          \
  F(serialNumber, 0x5454, wire::Text<36>)                              \
  F(reserved_5478, 0x5478, wire::Bytes<0x2d0>)                         \
  F(allowedDriveType, 0x5748, wire::U8)                                \
  F(reserved_5749, 0x5749, wire::Bytes<0x10b>)                         \
  F(maxLuns, 0x5854, wire::Le32)                                       \
  F(reserved_5858, 0x5858, wire::Bytes<4>)                             \
  F(maxArrayPartitions, 0x585c, wire::Le32)                            \
  F(reserved_5860, 0x5860, wire::Bytes<0x18>)
VELA_DECLARE_RECORD(controller, Controller, 0x14, kControllerSize, VELA_CONTROLLER_ROWS)

// advNetInterface, also the body of SET_ADV_NET_INTERFACE. ipAddress and macAddress are the
// controller's management address, carried in a range of this block that nothing else uses:
// ipAddress in network order (byte 0 is the first number of the dotted form).
#define VELA_ADV_NET_INTERFACE_ROWS(F)   \
  F(reserved_0, 0x0, wire::Bytes<4>)     \
  F(ipAddress, 0x4, wire::Bytes<4>)      \
  F(macAddress, 0x8, wire::Bytes<6>)     \
  F(reserved_e, 0xe, wire::Bytes<0x156>) \
  F(systemName, 0x164, wire::Text<80>)   \
  F(reserved_1b4, 0x1b4, wire::Bytes<0x658>)
VELA_DECLARE_RECORD(advNetInterface, AdvNetInterface, 0, kAdvNetInterfaceSize,
                    VELA_ADV_NET_INTERFACE_ROWS)

#define VELA_ENCLOSURE_ROWS(F)          \
  F(reserved_0, 0x0, wire::Bytes<0xb4>) \
  F(enclosureDrives, 0xb4, wire::U8)    \
  F(reserved_b5, 0xb5, wire::Bytes<0xf33>)
VELA_DECLARE_RECORD(enclosure, Enclosure, 0, kEnclosureSize, VELA_ENCLOSURE_ROWS)

// drive: the 64-bit size is realBlockCountLo + (realBlockCountHi << 32); realBlockCountHi is
// in the proxy's native order. memberInfo is the 12 bytes from vdiskSerial to slotNumber.
#define VELA_DRIVE_ROWS(F)                                        \
  F(realBlockCountLo, 0x0, wire::Be32)                            \
  F(serialNumber, 0x4, wire::Text<33>)                            \
  F(vendor, 0x25, wire::Text<9>)                                  \
  F(product, 0x2e, wire::Text<17>)                                \
  F(revision, 0x3f, wire::Text<5>)                                \
  F(howUsed, 0x44, wire::U8)                                      \
  F(channel, 0x45, wire::U8)                                      \
  F(reserved_46, 0x46, wire::U8)                                  \
  F(containerIndex, 0x47, wire::U8)                               \
  F(memberOrder, 0x48, wire::U8)                                  \
  F(type, 0x49, wire::U8)                                         \
  F(useState, 0x4a, wire::U8)                                     \
  F(blinking, 0x4b, wire::U8)                                     \
  F(reserved_4c, 0x4c, wire::Bytes<2>)                            \
  F(scsiId, 0x4e, wire::U8)                                       \
  F(lun, 0x4f, wire::U8)                                          \
  F(reserved_50, 0x50, wire::Bytes<4>)                            \
  F(driveAddress, 0x54, wire::Table<wire::Rec<addressRecord>, 2>) \
  F(reserved_b4, 0xb4, wire::Bytes<8>)                            \
  F(downReason, 0xbc, wire::U8)                                   \
  F(vdiskSerial, 0xbd, wire::Bytes<7>)                            \
  F(reserved_c4, 0xc4, wire::U8)                                  \
  F(driveIndex, 0xc5, wire::U8)                                   \
  F(rpmThousands, 0xc6, wire::U8)                                 \
  F(enclosureNumber, 0xc7, wire::U8)                              \
  F(slotNumber, 0xc8, wire::U8)                                   \
  F(reserved_c9, 0xc9, wire::Bytes<3>)                            \
  F(realBlockCountHi, 0xcc, wire::Le32)                           \
  F(reserved_d0, 0xd0, wire::Bytes<4>)
VELA_DECLARE_RECORD(drive, Drive, 0, kDriveSize, VELA_DRIVE_ROWS)

// array: one vdisk. serialNumber's first 16 bytes identify it.
#define VELA_ARRAY_ROWS(F)                                                                \
  F(blockCount, 0x0, wire::Be64)                                                          \
  F(reserved_8, 0x8, wire::Bytes<4>)                                                      \
  F(numDrives, 0xc, wire::Be32)                                                           \
  F(numSpares, 0x10, wire::Be32)                                                          \
  F(stripeSizeKB, 0x14, wire::Be32)                                                       \
  F(chunkBlocks, 0x18, wire::Be32)                                                        \
  F(reserved_1c, 0x1c, wire::Bytes<4>)                                                    \
  F(cacheParams, 0x20, wire::Rec<::cacheParams>)                                          \
  F(reserved_40, 0x40, wire::Bytes<0x158>)                                                \
  F(memberDrive, 0x198, wire::Table<wire::Rec<::memberDrive>, VELA_MAX_DRIVES_PER_ARRAY>) \
  F(name, 0x5d8, wire::Text<32>)                                                          \
  F(serialNumber, 0x5f8, wire::Bytes<32>)                                                 \
  F(reserved_618, 0x618, wire::U8)                                                        \
  F(health, 0x619, wire::U8)                                                              \
  F(utilityRunning, 0x61a, wire::U8)                                                      \
  F(raidLevel, 0x61b, wire::U8)                                                           \
  F(reserved_61c, 0x61c, wire::U8)                                                        \
  F(owner, 0x61d, wire::U8)                                                               \
  F(reserved_61e, 0x61e, wire::U8)                                                        \
  F(numArrayPartitions, 0x61f, wire::U8)                                                  \
  F(reserved_620, 0x620, wire::Bytes<4>)                                                  \
  F(expandableBlocks, 0x624, wire::Be64)                                                  \
  F(numDrivesPerLowLevelArray, 0x62c, wire::U8)                                           \
  F(reserved_62d, 0x62d, wire::Bytes<2>)                                                  \
  F(numFreeArrayPartitionSegments, 0x62f, wire::U8)                                       \
  F(freeBlocks, 0x630, wire::Be64)                                                        \
  F(driveType, 0x638, wire::U8)                                                           \
  F(reserved_639, 0x639, wire::Bytes<3>)                                                  \
  F(spinDown, 0x63c, wire::U8)                                                            \
  F(reserved_63d, 0x63d, wire::Bytes<7>)
VELA_DECLARE_RECORD(array, Array, 0, kArraySize, VELA_ARRAY_ROWS)

// partition: one volume; an empty name means the slot is unused. serialNumber's first 13
// bytes identify it.
#define VELA_PARTITION_ROWS(F)                    \
  F(reserved_0, 0x0, wire::Bytes<8>)              \
  F(blockCount, 0x8, wire::Be64)                  \
  F(lun, 0x10, wire::Be32)                        \
  F(name, 0x14, wire::Text<32>)                   \
  F(reserved_34, 0x34, wire::Bytes<0x20>)         \
  F(serialNumber, 0x54, wire::Bytes<32>)          \
  F(reserved_74, 0x74, wire::Bytes<0x158>)        \
  F(cacheParams, 0x1cc, wire::Rec<::cacheParams>) \
  F(reserved_1ec, 0x1ec, wire::Bytes<10>)         \
  F(partitionOrder, 0x1f6, wire::U8)              \
  F(reserved_1f7, 0x1f7, wire::Bytes<14>)         \
  F(type, 0x205, wire::U8)                        \
  F(reserved_206, 0x206, wire::Bytes<0x32>)
VELA_DECLARE_RECORD(partition, Partition, 0, kPartitionSize, VELA_PARTITION_ROWS)

// controllerData. About 2.4 MB: allocate it on the heap, never on a thread's stack.
#define VELA_CONTROLLER_DATA_ROWS(F)                                                 \
  F(requestTag, 0x0, wire::Be32)                                                     \
  F(status, 0x4, wire::Be32)                                                         \
  F(reserved_8, 0x8, wire::Bytes<12>)                                                \
  F(controller, 0x14, wire::Rec<::controller>)                                       \
  F(advNetInterface, 0x5878, wire::Rec<::advNetInterface>)                           \
  F(enclosureCount, 0x6084, wire::Be32)                                              \
  F(enclosures, 0x6088, wire::Table<wire::Rec<enclosure>, kMaxEnclosures>)           \
  F(reserved_15f08, 0x15f08, wire::Bytes<0x28>)                                      \
  F(numDrives, 0x15f30, wire::Be32)                                                  \
  F(drives, 0x15f34, wire::Table<wire::Rec<drive>, kMaxDrives>)                      \
  F(numArrays, 0x22e3c, wire::Be32)                                                  \
  F(arrays, 0x22e40, wire::Table<wire::Rec<array>, kMaxArrays>)                      \
  F(numPartitions, 0x2f6c0, wire::Be32)                                              \
  F(partitions, 0x2f6c4,                                                             \
    wire::Table<wire::Table<wire::Rec<partition>, kMaxArrayPartitions>, kMaxArrays>) \
  F(UniqueSn, 0x2676c4, wire::Text<32>)                                              \
  F(controllerState, 0x2676e4, wire::U8)                                             \
  F(reserved_2676e5, 0x2676e5, wire::Bytes<79>)
VELA_DECLARE_RECORD(controllerData, ControllerData, 0, kControllerDataSize,
                    VELA_CONTROLLER_DATA_ROWS)

// Offsets pinned against the values everyone quotes.
static_assert(wire::OffsetOf(controllerDataLayout, 0, "advNetInterface") == 0x5878);
static_assert(wire::OffsetOf(controllerDataLayout, 0, "partitions") == 0x2f6c4);
static_assert(wire::OffsetOf(controllerLayout, 0x14, "partnerPorts") + 0x14 + 0x4c3 == 0x306b);
static_assert(wire::OffsetOf(controllerParamsLayout, 0, "driveOverheadPercent") + 0x15c == 0x174);

#endif  // VELA_PROXY_RECORDS_CONTROLLER_H_
