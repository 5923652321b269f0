// Structures and enumerations of the Virtual Disk Service as its public headers declare them
// (member names, order and values), for the hardware provider side.
//
// Enumerations keep the Windows 32-bit size through a fixed underlying type, so that the
// structures have the layout a client of the service expects.
#ifndef VELA_PLATFORM_VDS_TYPES_H_
#define VELA_PLATFORM_VDS_TYPES_H_

#include <cstddef>

#include "platform/guid.h"
#include "platform/wintypes.h"

struct IUnknown;

using VDS_OBJECT_ID = GUID;

// ---- Object types and provider --------------------------------------------------------------

enum VDS_OBJECT_TYPE : int32_t {
  VDS_OT_UNKNOWN = 0,
  VDS_OT_PROVIDER = 1,
  VDS_OT_PACK = 10,
  VDS_OT_VOLUME = 11,
  VDS_OT_VOLUME_PLEX = 12,
  VDS_OT_DISK = 13,
  VDS_OT_SUB_SYSTEM = 30,
  VDS_OT_CONTROLLER = 31,
  VDS_OT_DRIVE = 32,
  VDS_OT_LUN = 33,
  VDS_OT_LUN_PLEX = 34,
  VDS_OT_PORT = 35,
  VDS_OT_PORTAL = 36,
  VDS_OT_TARGET = 37,
  VDS_OT_PORTAL_GROUP = 38,
  VDS_OT_STORAGE_POOL = 39,
  VDS_OT_HBAPORT = 90,
  VDS_OT_INIT_ADAPTER = 91,
  VDS_OT_INIT_PORTAL = 92,
  VDS_OT_ASYNC = 100,
  VDS_OT_ENUM = 101,
  VDS_OT_VDISK = 200,
  VDS_OT_OPEN_VDISK = 201,
};

enum VDS_PROVIDER_TYPE : int32_t {
  VDS_PT_UNKNOWN = 0,
  VDS_PT_SOFTWARE = 1,
  VDS_PT_HARDWARE = 2,
  VDS_PT_VIRTUALDISK = 3,
  VDS_PT_MAX = 4,
};

enum VDS_PROVIDER_FLAG : uint32_t {
  VDS_PF_DYNAMIC = 0x1,
  VDS_PF_INTERNAL_HARDWARE_PROVIDER = 0x2,
  VDS_PF_ONE_DISK_ONLY_PER_PACK = 0x4,
  VDS_PF_ONE_PACK_ONLINE_ONLY = 0x8,
  VDS_PF_VOLUME_SPACE_MUST_BE_CONTIGUOUS = 0x10,
  VDS_PF_SUPPORT_MIRROR = 0x20,
  VDS_PF_SUPPORT_RAID5 = 0x40,
  VDS_PF_SUPPORT_DYNAMIC_1394 = 0x20000000,
  VDS_PF_SUPPORT_FAULT_TOLERANT = 0x40000000,
  VDS_PF_SUPPORT_DYNAMIC = 0x80000000,
};

struct VDS_PROVIDER_PROP {
  VDS_OBJECT_ID id;
  LPWSTR pwszName;
  GUID guidVersionId;
  LPWSTR pwszVersion;
  VDS_PROVIDER_TYPE type;
  ULONG ulFlags;
  ULONG ulStripeSizeFlags;
  SHORT sRebuildPriority;
};

enum VDS_HWPROVIDER_TYPE : int32_t {
  VDS_HWT_UNKNOWN = 0,
  VDS_HWT_PCI_RAID = 1,
  VDS_HWT_FIBRE_CHANNEL = 2,
  VDS_HWT_ISCSI = 3,
  VDS_HWT_SAS = 4,
  VDS_HWT_HYBRID = 5,
};

// Bits of IVdsProviderSupport::GetVersionSupport.
enum VDS_VERSION_SUPPORT_FLAG : uint32_t {
  VDS_VSF_1_0 = 0x1,
  VDS_VSF_1_1 = 0x2,
  VDS_VSF_2_0 = 0x4,
  VDS_VSF_2_1 = 0x8,
  VDS_VSF_3_0 = 0x10,
};

// ---- Health and statuses --------------------------------------------------------------------

enum VDS_HEALTH : int32_t {
  VDS_H_UNKNOWN = 0,
  VDS_H_HEALTHY = 1,
  VDS_H_REBUILDING = 2,
  VDS_H_STALE = 3,
  VDS_H_FAILING = 4,
  VDS_H_FAILING_REDUNDANCY = 5,
  VDS_H_FAILED_REDUNDANCY = 6,
  VDS_H_FAILED_REDUNDANCY_FAILING = 7,
  VDS_H_FAILED = 8,
  VDS_H_REPLACED = 9,
  VDS_H_PENDING_FAILURE = 10,
  VDS_H_DEGRADED = 11,
};

enum VDS_TRANSITION_STATE : int32_t {
  VDS_TS_UNKNOWN = 0,
  VDS_TS_STABLE = 1,
  VDS_TS_EXTENDING = 2,
  VDS_TS_SHRINKING = 3,
  VDS_TS_RECONFIGING = 4,
  VDS_TS_RESTRIPING = 8,
};

enum VDS_SUB_SYSTEM_STATUS : int32_t {
  VDS_SSS_UNKNOWN = 0,
  VDS_SSS_ONLINE = 1,
  VDS_SSS_NOT_READY = 2,
  VDS_SSS_OFFLINE = 4,
  VDS_SSS_FAILED = 5,
  VDS_SSS_PARTIALLY_MANAGED = 9,
};

enum VDS_CONTROLLER_STATUS : int32_t {
  VDS_CS_UNKNOWN = 0,
  VDS_CS_ONLINE = 1,
  VDS_CS_NOT_READY = 2,
  VDS_CS_OFFLINE = 4,
  VDS_CS_FAILED = 5,
  VDS_CS_REMOVED = 8,
};

enum VDS_PORT_STATUS : int32_t {
  VDS_PRS_UNKNOWN = 0,
  VDS_PRS_ONLINE = 1,
  VDS_PRS_NOT_READY = 2,
  VDS_PRS_OFFLINE = 4,
  VDS_PRS_FAILED = 5,
  VDS_PRS_REMOVED = 8,
};

enum VDS_DRIVE_STATUS : int32_t {
  VDS_DRS_UNKNOWN = 0,
  VDS_DRS_ONLINE = 1,
  VDS_DRS_NOT_READY = 2,
  VDS_DRS_OFFLINE = 4,
  VDS_DRS_FAILED = 5,
  VDS_DRS_REMOVED = 8,
};

enum VDS_LUN_STATUS : int32_t {
  VDS_LS_UNKNOWN = 0,
  VDS_LS_ONLINE = 1,
  VDS_LS_NOT_READY = 2,
  VDS_LS_OFFLINE = 4,
  VDS_LS_FAILED = 5,
};

enum VDS_LUN_PLEX_STATUS : int32_t {
  VDS_LPS_UNKNOWN = 0,
  VDS_LPS_ONLINE = 1,
  VDS_LPS_NOT_READY = 2,
  VDS_LPS_OFFLINE = 4,
  VDS_LPS_FAILED = 5,
};

enum VDS_STORAGE_POOL_STATUS : int32_t {
  VDS_SPS_UNKNOWN = 0,
  VDS_SPS_ONLINE = 1,
  VDS_SPS_NOT_READY = 2,
  VDS_SPS_OFFLINE = 4,
};

enum VDS_STORAGE_POOL_TYPE : int32_t {
  VDS_SPT_UNKNOWN = 0,
  VDS_SPT_PRIMORDIAL = 0x1,
  VDS_SPT_CONCRETE = 0x2,
};

// ---- Bus and RAID types ---------------------------------------------------------------------

enum VDS_STORAGE_BUS_TYPE : int32_t {
  VDSBusTypeUnknown = 0,
  VDSBusTypeScsi = 0x1,
  VDSBusTypeAtapi = 0x2,
  VDSBusTypeAta = 0x3,
  VDSBusType1394 = 0x4,
  VDSBusTypeSsa = 0x5,
  VDSBusTypeFibre = 0x6,
  VDSBusTypeUsb = 0x7,
  VDSBusTypeRAID = 0x8,
  VDSBusTypeiScsi = 0x9,
  VDSBusTypeSas = 0xa,
  VDSBusTypeSata = 0xb,
  VDSBusTypeSd = 0xc,
  VDSBusTypeMmc = 0xd,
  VDSBusTypeMax = 0xe,
  VDSBusTypeVirtual = 0xe,
  VDSBusTypeFileBackedVirtual = 0xf,
  VDSBusTypeSpaces = 0x10,
  VDSBusTypeNVMe = 0x11,
  VDSBusTypeMaxReserved = 0x7f,
};

enum VDS_RAID_TYPE : int32_t {
  VDS_RT_UNKNOWN = 0,
  VDS_RT_RAID0 = 10,
  VDS_RT_RAID1 = 11,
  VDS_RT_RAID2 = 12,
  VDS_RT_RAID3 = 13,
  VDS_RT_RAID4 = 14,
  VDS_RT_RAID5 = 15,
  VDS_RT_RAID6 = 16,
  VDS_RT_RAID01 = 17,
  VDS_RT_RAID03 = 18,
  VDS_RT_RAID05 = 19,
  VDS_RT_RAID10 = 20,
  VDS_RT_RAID15 = 21,
  VDS_RT_RAID30 = 22,
  VDS_RT_RAID50 = 23,
  VDS_RT_RAID51 = 24,
  VDS_RT_RAID53 = 25,
  VDS_RT_RAID60 = 26,
  VDS_RT_RAID61 = 27,
};

enum VDS_LUN_TYPE : int32_t {
  VDS_LT_UNKNOWN = 0,
  VDS_LT_DEFAULT = 1,
  VDS_LT_FAULT_TOLERANT = 2,
  VDS_LT_NON_FAULT_TOLERANT = 3,
  VDS_LT_SIMPLE = 10,
  VDS_LT_SPAN = 11,
  VDS_LT_STRIPE = 12,
  VDS_LT_MIRROR = 13,
  VDS_LT_PARITY = 14,
  VDS_LT_RAID2 = 15,
  VDS_LT_RAID3 = 16,
  VDS_LT_RAID4 = 17,
  VDS_LT_RAID5 = 18,
  VDS_LT_RAID6 = 19,
  VDS_LT_RAID01 = 20,
  VDS_LT_RAID03 = 21,
  VDS_LT_RAID05 = 22,
  VDS_LT_RAID10 = 23,
  VDS_LT_RAID15 = 24,
  VDS_LT_RAID30 = 25,
  VDS_LT_RAID50 = 26,
  VDS_LT_RAID51 = 27,
  VDS_LT_RAID53 = 28,
  VDS_LT_RAID60 = 29,
  VDS_LT_RAID61 = 30,
};

enum VDS_LUN_PLEX_TYPE : int32_t {
  VDS_LPT_UNKNOWN = 0,
  VDS_LPT_SIMPLE = 10,
  VDS_LPT_SPAN = 11,
  VDS_LPT_STRIPE = 12,
  VDS_LPT_PARITY = 14,
  VDS_LPT_RAID2 = 15,
  VDS_LPT_RAID3 = 16,
  VDS_LPT_RAID4 = 17,
  VDS_LPT_RAID5 = 18,
  VDS_LPT_RAID6 = 19,
  VDS_LPT_RAID03 = 21,
  VDS_LPT_RAID05 = 22,
  VDS_LPT_RAID10 = 23,
  VDS_LPT_RAID15 = 24,
  VDS_LPT_RAID30 = 25,
  VDS_LPT_RAID50 = 26,
  VDS_LPT_RAID53 = 28,
  VDS_LPT_RAID60 = 29,
};

// ---- Flags ----------------------------------------------------------------------------------

enum VDS_SUB_SYSTEM_FLAG : uint32_t {
  VDS_SF_LUN_MASKING_CAPABLE = 0x1,
  VDS_SF_LUN_PLEXING_CAPABLE = 0x2,
  VDS_SF_LUN_REMAPPING_CAPABLE = 0x4,
  VDS_SF_DRIVE_EXTENT_CAPABLE = 0x8,
  VDS_SF_HARDWARE_CHECKSUM_CAPABLE = 0x10,
  VDS_SF_RADIUS_CAPABLE = 0x20,
  VDS_SF_READ_BACK_VERIFY_CAPABLE = 0x40,
  VDS_SF_WRITE_THROUGH_CACHING_CAPABLE = 0x80,
  VDS_SF_SUPPORTS_FAULT_TOLERANT_LUNS = 0x200,
  VDS_SF_SUPPORTS_NON_FAULT_TOLERANT_LUNS = 0x400,
  VDS_SF_SUPPORTS_SIMPLE_LUNS = 0x800,
  VDS_SF_SUPPORTS_SPAN_LUNS = 0x1000,
  VDS_SF_SUPPORTS_STRIPE_LUNS = 0x2000,
  VDS_SF_SUPPORTS_MIRROR_LUNS = 0x4000,
  VDS_SF_SUPPORTS_PARITY_LUNS = 0x8000,
  VDS_SF_SUPPORTS_AUTH_CHAP = 0x10000,
  VDS_SF_SUPPORTS_AUTH_MUTUAL_CHAP = 0x20000,
  VDS_SF_SUPPORTS_SIMPLE_TARGET_CONFIG = 0x40000,
  VDS_SF_SUPPORTS_LUN_NUMBER = 0x80000,
  VDS_SF_SUPPORTS_MIRRORED_CACHE = 0x100000,
  VDS_SF_READ_CACHING_CAPABLE = 0x200000,
  VDS_SF_WRITE_CACHING_CAPABLE = 0x400000,
  VDS_SF_MEDIA_SCAN_CAPABLE = 0x800000,
  VDS_SF_CONSISTENCY_CHECK_CAPABLE = 0x1000000,
};

enum VDS_SUB_SYSTEM_SUPPORTED_RAID_TYPE_FLAG : uint32_t {
  VDS_SF_SUPPORTS_RAID2_LUNS = 0x1,
  VDS_SF_SUPPORTS_RAID3_LUNS = 0x2,
  VDS_SF_SUPPORTS_RAID4_LUNS = 0x4,
  VDS_SF_SUPPORTS_RAID5_LUNS = 0x8,
  VDS_SF_SUPPORTS_RAID6_LUNS = 0x10,
  VDS_SF_SUPPORTS_RAID01_LUNS = 0x20,
  VDS_SF_SUPPORTS_RAID03_LUNS = 0x40,
  VDS_SF_SUPPORTS_RAID05_LUNS = 0x80,
  VDS_SF_SUPPORTS_RAID10_LUNS = 0x100,
  VDS_SF_SUPPORTS_RAID15_LUNS = 0x200,
  VDS_SF_SUPPORTS_RAID30_LUNS = 0x400,
  VDS_SF_SUPPORTS_RAID50_LUNS = 0x800,
  VDS_SF_SUPPORTS_RAID51_LUNS = 0x1000,
  VDS_SF_SUPPORTS_RAID53_LUNS = 0x2000,
  VDS_SF_SUPPORTS_RAID60_LUNS = 0x4000,
  VDS_SF_SUPPORTS_RAID61_LUNS = 0x8000,
};

enum VDS_INTERCONNECT_FLAG : uint32_t {
  VDS_ITF_PCI_RAID = 0x1,
  VDS_ITF_FIBRE_CHANNEL = 0x2,
  VDS_ITF_ISCSI = 0x4,
  VDS_ITF_SAS = 0x8,
};

enum VDS_DRIVE_FLAG : uint32_t {
  VDS_DF_HOTSPARE = 0x1,
  VDS_DF_ASSIGNED = 0x2,
  VDS_DF_UNASSIGNED = 0x4,
  VDS_DF_HOTSPARE_IN_USE = 0x8,
  VDS_DF_HOTSPARE_STANDBY = 0x10,
};

enum VDS_LUN_FLAG : uint32_t {
  VDS_LF_LBN_REMAP_ENABLED = 0x1,
  VDS_LF_READ_BACK_VERIFY_ENABLED = 0x2,
  VDS_LF_WRITE_THROUGH_CACHING_ENABLED = 0x4,
  VDS_LF_HARDWARE_CHECKSUM_ENABLED = 0x8,
  VDS_LF_READ_CACHE_ENABLED = 0x10,
  VDS_LF_WRITE_CACHE_ENABLED = 0x20,
  VDS_LF_MEDIA_SCAN_ENABLED = 0x40,
  VDS_LF_CONSISTENCY_CHECK_ENABLED = 0x80,
  VDS_LF_SNAPSHOT = 0x100,
};

enum VDS_LUN_PLEX_FLAG : uint32_t {
  VDS_LPF_LBN_REMAP_ENABLED = 0x1,
};

enum VDS_HINT_FLAG : uint64_t {
  VDS_HINT_FASTCRASHRECOVERYREQUIRED = 0x1,
  VDS_HINT_MOSTLYREADS = 0x2,
  VDS_HINT_OPTIMIZEFORSEQUENTIALREADS = 0x4,
  VDS_HINT_OPTIMIZEFORSEQUENTIALWRITES = 0x8,
  VDS_HINT_READBACKVERIFYENABLED = 0x10,
  VDS_HINT_REMAPENABLED = 0x20,
  VDS_HINT_WRITETHROUGHCACHINGENABLED = 0x40,
  VDS_HINT_HARDWARECHECKSUMENABLED = 0x80,
  VDS_HINT_ISYANKABLE = 0x100,
  VDS_HINT_ALLOCATEHOTSPARE = 0x200,
  VDS_HINT_BUSTYPE = 0x400,
  VDS_HINT_USEMIRROREDCACHE = 0x800,
  VDS_HINT_READCACHINGENABLED = 0x1000,
  VDS_HINT_WRITECACHINGENABLED = 0x2000,
  VDS_HINT_MEDIASCANENABLED = 0x4000,
  VDS_HINT_CONSISTENCYCHECKENABLED = 0x8000,
};

enum VDS_MAINTENANCE_OPERATION : int32_t {
  BlinkLight = 1,
  BeepAlarm = 2,
  SpinDown = 3,
  SpinUp = 4,
  Ping = 5,
};
// The system's own names for the same operations.
constexpr VDS_MAINTENANCE_OPERATION VDS_MTO_BLINK_LIGHT = BlinkLight;
constexpr VDS_MAINTENANCE_OPERATION VDS_MTO_BEEP_ALARM = BeepAlarm;
constexpr VDS_MAINTENANCE_OPERATION VDS_MTO_SPIN_DOWN = SpinDown;
constexpr VDS_MAINTENANCE_OPERATION VDS_MTO_SPIN_UP = SpinUp;
constexpr VDS_MAINTENANCE_OPERATION VDS_MTO_PING = Ping;

// ---- Property structures --------------------------------------------------------------------

struct VDS_SUB_SYSTEM_PROP {
  VDS_OBJECT_ID id;
  LPWSTR pwszFriendlyName;
  LPWSTR pwszIdentification;
  ULONG ulFlags;
  ULONG ulStripeSizeFlags;
  VDS_SUB_SYSTEM_STATUS status;
  VDS_HEALTH health;
  SHORT sNumberOfInternalBuses;
  SHORT sMaxNumberOfSlotsEachBus;
  SHORT sMaxNumberOfControllers;
  SHORT sRebuildPriority;
};

struct VDS_SUB_SYSTEM_PROP2 {
  VDS_OBJECT_ID id;
  LPWSTR pwszFriendlyName;
  LPWSTR pwszIdentification;
  ULONG ulFlags;
  ULONG ulStripeSizeFlags;
  ULONG ulSupportedRaidTypeFlags;
  VDS_SUB_SYSTEM_STATUS status;
  VDS_HEALTH health;
  SHORT sNumberOfInternalBuses;
  SHORT sMaxNumberOfSlotsEachBus;
  SHORT sMaxNumberOfControllers;
  SHORT sRebuildPriority;
  ULONG ulNumberOfEnclosures;
};

struct VDS_CONTROLLER_PROP {
  VDS_OBJECT_ID id;
  LPWSTR pwszFriendlyName;
  LPWSTR pwszIdentification;
  VDS_CONTROLLER_STATUS status;
  VDS_HEALTH health;
  SHORT sNumberOfPorts;
};

struct VDS_PORT_PROP {
  VDS_OBJECT_ID id;
  LPWSTR pwszFriendlyName;
  LPWSTR pwszIdentification;
  VDS_PORT_STATUS status;
};

struct VDS_DRIVE_PROP {
  VDS_OBJECT_ID id;
  ULONGLONG ullSize;
  LPWSTR pwszFriendlyName;
  LPWSTR pwszIdentification;
  ULONG ulFlags;
  VDS_DRIVE_STATUS status;
  VDS_HEALTH health;
  SHORT sInternalBusNumber;
  SHORT sSlotNumber;
};

struct VDS_DRIVE_PROP2 {
  VDS_OBJECT_ID id;
  ULONGLONG ullSize;
  LPWSTR pwszFriendlyName;
  LPWSTR pwszIdentification;
  ULONG ulFlags;
  VDS_DRIVE_STATUS status;
  VDS_HEALTH health;
  SHORT sInternalBusNumber;
  SHORT sSlotNumber;
  ULONG ulEnclosureNumber;
  VDS_STORAGE_BUS_TYPE busType;
  ULONG ulSpindleSpeed;
};

struct VDS_DRIVE_EXTENT {
  VDS_OBJECT_ID id;
  VDS_OBJECT_ID LunId;
  ULONGLONG ullSize;
  BOOL bUsed;
};

struct VDS_LUN_PROP {
  VDS_OBJECT_ID id;
  ULONGLONG ullSize;
  LPWSTR pwszFriendlyName;
  LPWSTR pwszIdentification;
  LPWSTR pwszUnmaskingList;
  ULONG ulFlags;
  VDS_LUN_TYPE type;
  VDS_LUN_STATUS status;
  VDS_HEALTH health;
  VDS_TRANSITION_STATE TransitionState;
  SHORT sRebuildPriority;
};

struct VDS_LUN_PLEX_PROP {
  VDS_OBJECT_ID id;
  ULONGLONG ullSize;
  VDS_LUN_PLEX_TYPE type;
  VDS_LUN_PLEX_STATUS status;
  VDS_HEALTH health;
  VDS_TRANSITION_STATE TransitionState;
  ULONG ulFlags;
  ULONG ulStripeSize;
  SHORT sRebuildPriority;
};

struct VDS_HINTS {
  ULONGLONG ullHintMask;
  ULONGLONG ullExpectedMaximumSize;
  ULONG ulOptimalReadSize;
  ULONG ulOptimalReadAlignment;
  ULONG ulOptimalWriteSize;
  ULONG ulOptimalWriteAlignment;
  ULONG ulMaximumDriveCount;
  ULONG ulStripeSize;
  BOOL bFastCrashRecoveryRequired;
  BOOL bMostlyReads;
  BOOL bOptimizeForSequentialReads;
  BOOL bOptimizeForSequentialWrites;
  BOOL bRemapEnabled;
  BOOL bReadBackVerifyEnabled;
  BOOL bWriteThroughCachingEnabled;
  BOOL bHardwareChecksumEnabled;
  BOOL bIsYankable;
  SHORT sRebuildPriority;
};

struct VDS_HINTS2 {
  ULONGLONG ullHintMask;
  ULONGLONG ullExpectedMaximumSize;
  ULONG ulOptimalReadSize;
  ULONG ulOptimalReadAlignment;
  ULONG ulOptimalWriteSize;
  ULONG ulOptimalWriteAlignment;
  ULONG ulMaximumDriveCount;
  ULONG ulStripeSize;
  ULONG ulReserved1;
  ULONG ulReserved2;
  ULONG ulReserved3;
  BOOL bFastCrashRecoveryRequired;
  BOOL bMostlyReads;
  BOOL bOptimizeForSequentialReads;
  BOOL bOptimizeForSequentialWrites;
  BOOL bRemapEnabled;
  BOOL bReadBackVerifyEnabled;
  BOOL bWriteThroughCachingEnabled;
  BOOL bHardwareChecksumEnabled;
  BOOL bIsYankable;
  BOOL bAllocateHotSpare;
  BOOL bUseMirroredCache;
  BOOL bReadCachingEnabled;
  BOOL bWriteCachingEnabled;
  BOOL bMediaScanEnabled;
  BOOL bConsistencyCheckEnabled;
  VDS_STORAGE_BUS_TYPE BusType;
  BOOL bReserved1;
  BOOL bReserved2;
  BOOL bReserved3;
  SHORT sRebuildPriority;
};

// ---- Storage pools --------------------------------------------------------------------------

enum VDS_POOL_ATTRIB_FLAG : uint64_t {
  VDS_POOL_ATTRIB_RAIDTYPE = 0x1,
  VDS_POOL_ATTRIB_BUSTYPE = 0x2,
  VDS_POOL_ATTRIB_ALLOW_SPINDOWN = 0x4,
  VDS_POOL_ATTRIB_THIN_PROVISION = 0x8,
  VDS_POOL_ATTRIB_NO_SINGLE_POF = 0x10,
  VDS_POOL_ATTRIB_DATA_RDNCY_MAX = 0x20,
  VDS_POOL_ATTRIB_DATA_RDNCY_MIN = 0x40,
  VDS_POOL_ATTRIB_DATA_RDNCY_DEF = 0x80,
  VDS_POOL_ATTRIB_PKG_RDNCY_MAX = 0x100,
  VDS_POOL_ATTRIB_PKG_RDNCY_MIN = 0x200,
  VDS_POOL_ATTRIB_PKG_RDNCY_DEF = 0x400,
  VDS_POOL_ATTRIB_STRIPE_SIZE = 0x800,
  VDS_POOL_ATTRIB_STRIPE_SIZE_MAX = 0x1000,
  VDS_POOL_ATTRIB_STRIPE_SIZE_MIN = 0x2000,
  VDS_POOL_ATTRIB_STRIPE_SIZE_DEF = 0x4000,
  VDS_POOL_ATTRIB_NUM_CLMNS = 0x8000,
  VDS_POOL_ATTRIB_NUM_CLMNS_MAX = 0x10000,
  VDS_POOL_ATTRIB_NUM_CLMNS_MIN = 0x20000,
  VDS_POOL_ATTRIB_NUM_CLMNS_DEF = 0x40000,
  VDS_POOL_ATTRIB_DATA_AVL_HINT = 0x80000,
  VDS_POOL_ATTRIB_ACCS_RNDM_HINT = 0x100000,
  VDS_POOL_ATTRIB_ACCS_DIR_HINT = 0x200000,
  VDS_POOL_ATTRIB_ACCS_SIZE_HINT = 0x400000,
  VDS_POOL_ATTRIB_ACCS_LTNCY_HINT = 0x800000,
  VDS_POOL_ATTRIB_ACCS_BDW_WT_HINT = 0x1000000,
  VDS_POOL_ATTRIB_STOR_COST_HINT = 0x2000000,
  VDS_POOL_ATTRIB_STOR_EFFCY_HINT = 0x4000000,
  VDS_POOL_ATTRIB_CUSTOM_ATTRIB = 0x8000000,
};

struct VDS_POOL_CUSTOM_ATTRIBUTES {
  LPWSTR pwszName;
  LPWSTR pwszValue;
};

struct VDS_POOL_ATTRIBUTES {
  ULONGLONG ullAttributeMask;
  VDS_RAID_TYPE raidType;
  VDS_STORAGE_BUS_TYPE busType;
  LPWSTR pwszIntendedUsage;
  BOOL bSpinDown;
  BOOL bIsThinProvisioned;
  ULONGLONG ullProvisionedSpace;
  BOOL bNoSinglePointOfFailure;
  ULONG ulDataRedundancyMax;
  ULONG ulDataRedundancyMin;
  ULONG ulDataRedundancyDefault;
  ULONG ulPackageRedundancyMax;
  ULONG ulPackageRedundancyMin;
  ULONG ulPackageRedundancyDefault;
  ULONG ulStripeSize;
  ULONG ulStripeSizeMax;
  ULONG ulStripeSizeMin;
  ULONG ulDefaultStripeSize;
  ULONG ulNumberOfColumns;
  ULONG ulNumberOfColumnsMax;
  ULONG ulNumberOfColumnsMin;
  ULONG ulDefaultNumberofColumns;
  ULONG ulDataAvailabilityHint;
  ULONG ulAccessRandomnessHint;
  ULONG ulAccessDirectionHint;
  ULONG ulAccessSizeHint;
  ULONG ulAccessLatencyHint;
  ULONG ulAccessBandwidthWeightHint;
  ULONG ulStorageCostHint;
  ULONG ulStorageEfficiencyHint;
  ULONG ulNumOfCustomAttributes;
  VDS_POOL_CUSTOM_ATTRIBUTES* pPoolCustomAttributes;
  BOOL bReserved1;
  BOOL bReserved2;
  ULONG ulReserved1;
  ULONG ulReserved2;
  ULONGLONG ullReserved1;
  ULONGLONG ullReserved2;
};

struct VDS_STORAGE_POOL_PROP {
  VDS_OBJECT_ID id;
  VDS_STORAGE_POOL_STATUS status;
  VDS_HEALTH health;
  VDS_STORAGE_POOL_TYPE type;
  LPWSTR pwszName;
  LPWSTR pwszDescription;
  ULONGLONG ullTotalConsumedSpace;
  ULONGLONG ullTotalManagedSpace;
  ULONGLONG ullRemainingFreeSpace;
};

struct VDS_STORAGE_POOL_DRIVE_EXTENT {
  VDS_OBJECT_ID id;
  ULONGLONG ullSize;
  BOOL bUsed;
};

// ---- Notifications --------------------------------------------------------------------------

enum VDS_NOTIFICATION_TARGET_TYPE : int32_t {
  VDS_NTT_UNKNOWN = 0,
  VDS_NTT_PACK = 10,
  VDS_NTT_VOLUME = 11,
  VDS_NTT_DISK = 13,
  VDS_NTT_SUB_SYSTEM = 30,
  VDS_NTT_CONTROLLER = 31,
  VDS_NTT_DRIVE = 32,
  VDS_NTT_LUN = 33,
  VDS_NTT_PORT = 35,
  VDS_NTT_PORTAL = 36,
  VDS_NTT_TARGET = 37,
  VDS_NTT_PORTAL_GROUP = 38,
  VDS_NTT_PARTITION = 60,
  VDS_NTT_DRIVE_LETTER = 61,
  VDS_NTT_FILE_SYSTEM = 62,
  VDS_NTT_MOUNT_POINT = 63,
  VDS_NTT_SERVICE = 200,
};

// Event codes of the hardware notifications.
constexpr ULONG VDS_NF_SUB_SYSTEM_ARRIVE = 101;
constexpr ULONG VDS_NF_SUB_SYSTEM_DEPART = 102;
constexpr ULONG VDS_NF_CONTROLLER_ARRIVE = 103;
constexpr ULONG VDS_NF_CONTROLLER_DEPART = 104;
constexpr ULONG VDS_NF_DRIVE_ARRIVE = 105;
constexpr ULONG VDS_NF_DRIVE_DEPART = 106;
constexpr ULONG VDS_NF_DRIVE_MODIFY = 107;
constexpr ULONG VDS_NF_LUN_ARRIVE = 108;
constexpr ULONG VDS_NF_LUN_DEPART = 109;
constexpr ULONG VDS_NF_LUN_MODIFY = 110;
constexpr ULONG VDS_NF_SUB_SYSTEM_MODIFY = 151;

// The software provider's members share the union: they fix its size and alignment (the
// partition's 64-bit offset), whatever a hardware provider sends.
struct VDS_PACK_NOTIFICATION {
  ULONG ulEvent;
  VDS_OBJECT_ID packId;
};
struct VDS_DISK_NOTIFICATION {
  ULONG ulEvent;
  VDS_OBJECT_ID diskId;
};
struct VDS_VOLUME_NOTIFICATION {
  ULONG ulEvent;
  VDS_OBJECT_ID volumeId;
  VDS_OBJECT_ID plexId;
  ULONG ulPercentCompleted;
};
struct VDS_PARTITION_NOTIFICATION {
  ULONG ulEvent;
  VDS_OBJECT_ID diskId;
  ULONGLONG ullOffset;
};
struct VDS_DRIVE_LETTER_NOTIFICATION {
  ULONG ulEvent;
  WCHAR wcLetter;
  VDS_OBJECT_ID volumeId;
};
struct VDS_FILE_SYSTEM_NOTIFICATION {
  ULONG ulEvent;
  VDS_OBJECT_ID volumeId;
  DWORD dwPercentCompleted;
};
struct VDS_MOUNT_POINT_NOTIFICATION {
  ULONG ulEvent;
  VDS_OBJECT_ID volumeId;
};

enum VDS_RECOVER_ACTION : int32_t {
  VDS_RA_UNKNOWN = 0,
  VDS_RA_REFRESH = 1,
  VDS_RA_RESTART = 2,
};
struct VDS_SERVICE_NOTIFICATION {
  ULONG ulEvent;
  VDS_RECOVER_ACTION action;
};

struct VDS_SUB_SYSTEM_NOTIFICATION {
  ULONG ulEvent;
  VDS_OBJECT_ID subSystemId;
};
struct VDS_CONTROLLER_NOTIFICATION {
  ULONG ulEvent;
  VDS_OBJECT_ID controllerId;
};
struct VDS_DRIVE_NOTIFICATION {
  ULONG ulEvent;
  VDS_OBJECT_ID driveId;
};
struct VDS_LUN_NOTIFICATION {
  ULONG ulEvent;
  VDS_OBJECT_ID LunId;
};
struct VDS_PORT_NOTIFICATION {
  ULONG ulEvent;
  VDS_OBJECT_ID portId;
};
struct VDS_PORTAL_NOTIFICATION {
  ULONG ulEvent;
  VDS_OBJECT_ID portalId;
};
struct VDS_TARGET_NOTIFICATION {
  ULONG ulEvent;
  VDS_OBJECT_ID targetId;
};
struct VDS_PORTAL_GROUP_NOTIFICATION {
  ULONG ulEvent;
  VDS_OBJECT_ID portalGroupId;
};

struct VDS_NOTIFICATION {
  VDS_NOTIFICATION_TARGET_TYPE objectType;
  union {
    VDS_PACK_NOTIFICATION Pack;
    VDS_DISK_NOTIFICATION Disk;
    VDS_VOLUME_NOTIFICATION Volume;
    VDS_PARTITION_NOTIFICATION Partition;
    VDS_DRIVE_LETTER_NOTIFICATION Letter;
    VDS_FILE_SYSTEM_NOTIFICATION FileSystem;
    VDS_MOUNT_POINT_NOTIFICATION MountPoint;
    VDS_SUB_SYSTEM_NOTIFICATION SubSystem;
    VDS_CONTROLLER_NOTIFICATION Controller;
    VDS_DRIVE_NOTIFICATION Drive;
    VDS_LUN_NOTIFICATION Lun;
    VDS_PORT_NOTIFICATION Port;
    VDS_PORTAL_NOTIFICATION Portal;
    VDS_TARGET_NOTIFICATION Target;
    VDS_PORTAL_GROUP_NOTIFICATION PortalGroup;
    VDS_SERVICE_NOTIFICATION Service;
  };
};

// ---- Asynchronous results -------------------------------------------------------------------

enum VDS_ASYNC_OUTPUT_TYPE : int32_t {
  VDS_ASYNCOUT_UNKNOWN = 0,
  VDS_ASYNCOUT_CREATEVOLUME = 1,
  VDS_ASYNCOUT_EXTENDVOLUME = 2,
  VDS_ASYNCOUT_SHRINKVOLUME = 3,
  VDS_ASYNCOUT_ADDVOLUMEMIRROR = 4,
  VDS_ASYNCOUT_BREAKVOLUMEPLEX = 5,
  VDS_ASYNCOUT_REMOVEVOLUMEMIRROR = 6,
  VDS_ASYNCOUT_RECOVERPACK = 7,
  VDS_ASYNCOUT_REPLACEDISK = 8,
  VDS_ASYNCOUT_CREATEPARTITION = 9,
  VDS_ASYNCOUT_CLEAN = 10,
  VDS_ASYNCOUT_CREATELUN = 50,
  VDS_ASYNCOUT_ADDLUNPLEX = 52,
  VDS_ASYNCOUT_REMOVELUNPLEX = 53,
  VDS_ASYNCOUT_EXTENDLUN = 54,
  VDS_ASYNCOUT_SHRINKLUN = 55,
  VDS_ASYNCOUT_RECOVERLUN = 56,
  VDS_ASYNCOUT_LOGINTOTARGET = 60,
  VDS_ASYNCOUT_LOGOUTFROMTARGET = 61,
  VDS_ASYNCOUT_CREATETARGET = 62,
  VDS_ASYNCOUT_CREATEPORTALGROUP = 63,
  VDS_ASYNCOUT_DELETETARGET = 64,
  VDS_ASYNCOUT_ADDPORTAL = 65,
  VDS_ASYNCOUT_REMOVEPORTAL = 66,
  VDS_ASYNCOUT_DELETEPORTALGROUP = 67,
  VDS_ASYNCOUT_FORMAT = 101,
};

struct VDS_ASYNC_OUTPUT {
  VDS_ASYNC_OUTPUT_TYPE type;
  union {
    struct {
      ULONGLONG ullOffset;
      VDS_OBJECT_ID volumeId;
    } cp;
    struct {
      IUnknown* pVolumeUnk;
    } cv;
    struct {
      IUnknown* pVolumeUnk;
    } bvp;
    struct {
      ULONGLONG ullReclaimedBytes;
    } sv;
    struct {
      IUnknown* pLunUnk;
    } cl;
    struct {
      IUnknown* pTargetUnk;
    } ct;
    struct {
      IUnknown* pPortalGroupUnk;
    } cpg;
  };
};

// Layouts a 64-bit client of the service expects.
static_assert(sizeof(VDS_PROVIDER_PROP) == 64);
static_assert(sizeof(VDS_LUN_PROP) == 72);
static_assert(sizeof(VDS_DRIVE_EXTENT) == 48);
static_assert(sizeof(VDS_PARTITION_NOTIFICATION) == 32);
static_assert(offsetof(VDS_PARTITION_NOTIFICATION, ullOffset) == 24);
static_assert(sizeof(VDS_VOLUME_NOTIFICATION) == 40);
static_assert(sizeof(VDS_NOTIFICATION) == 48);
static_assert(offsetof(VDS_NOTIFICATION, Controller) == 8);
static_assert(offsetof(VDS_NOTIFICATION, Controller.controllerId) == 12);
static_assert(sizeof(VDS_HINTS) == 80);

#include "platform/vds_host_types.h"  // IWYU pragma: export

#endif  // VELA_PLATFORM_VDS_TYPES_H_
