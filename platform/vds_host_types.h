// The host-side structures of the Virtual Disk Service (multipath paths, HBA ports, LUN
// identification), as its public headers declare them. Included by vds_types.h.
#ifndef VELA_PLATFORM_VDS_HOST_TYPES_H_
#define VELA_PLATFORM_VDS_HOST_TYPES_H_

#include "platform/guid.h"
#include "platform/wintypes.h"

enum VDS_STORAGE_BUS_TYPE : int32_t;
enum VDS_HWPROVIDER_TYPE : int32_t;
using VDS_OBJECT_ID = GUID;

// ---- Multipath ------------------------------------------------------------------------------

enum VDS_PATH_STATUS : int32_t {
  VDS_MPS_UNKNOWN = 0,
  VDS_MPS_ONLINE = 1,
  VDS_MPS_FAILED = 5,
  VDS_MPS_STANDBY = 7,
};

enum VDS_LOADBALANCE_POLICY_ENUM : int32_t {
  VDS_LBP_UNKNOWN = 0,
  VDS_LBP_FAILOVER = 1,
  VDS_LBP_ROUND_ROBIN = 2,
  VDS_LBP_ROUND_ROBIN_WITH_SUBSET = 3,
  VDS_LBP_DYN_LEAST_QUEUE_DEPTH = 4,
  VDS_LBP_WEIGHTED_PATHS = 5,
  VDS_LBP_LEAST_BLOCKS = 6,
  VDS_LBP_VENDOR_SPECIFIC = 7,
};

enum VDS_HBAPORT_TYPE : int32_t {
  VDS_HPT_UNKNOWN = 1,
  VDS_HPT_OTHER = 2,
  VDS_HPT_NOTPRESENT = 3,
  VDS_HPT_NPORT = 5,
  VDS_HPT_NLPORT = 6,
  VDS_HPT_FLPORT = 7,
  VDS_HPT_FPORT = 8,
  VDS_HPT_EPORT = 9,
  VDS_HPT_GPORT = 10,
  VDS_HPT_LPORT = 20,
  VDS_HPT_PTP = 21,
};

enum VDS_HBAPORT_STATUS : int32_t {
  VDS_HPS_UNKNOWN = 1,
  VDS_HPS_ONLINE = 2,
  VDS_HPS_OFFLINE = 3,
  VDS_HPS_BYPASSED = 4,
  VDS_HPS_DIAGNOSTICS = 5,
  VDS_HPS_LINKDOWN = 6,
  VDS_HPS_ERROR = 7,
  VDS_HPS_LOOPBACK = 8,
};

enum VDS_HBAPORT_SPEED_FLAG : uint32_t {
  VDS_HSF_UNKNOWN = 0,
  VDS_HSF_1GBIT = 0x1,
  VDS_HSF_2GBIT = 0x2,
  VDS_HSF_10GBIT = 0x4,
  VDS_HSF_4GBIT = 0x8,
  VDS_HSF_NOT_NEGOTIATED = 0x8000,
};

struct VDS_WWN {
  UCHAR rguchWwn[8];
};

struct VDS_HBAPORT_PROP {
  VDS_OBJECT_ID id;
  VDS_WWN wwnNode;
  VDS_WWN wwnPort;
  VDS_HBAPORT_TYPE type;
  VDS_HBAPORT_STATUS status;
  ULONG ulPortSpeed;
  ULONG ulSupportedPortSpeed;
};

enum VDS_IPADDRESS_TYPE : int32_t {
  VDS_IPT_TEXT = 0,
  VDS_IPT_IPV4 = 1,
  VDS_IPT_IPV6 = 2,
  VDS_IPT_EMPTY = 3,
};

struct VDS_IPADDRESS {
  VDS_IPADDRESS_TYPE type;
  ULONG ipv4Address;
  UCHAR ipv6Address[16];
  ULONG ulIpv6FlowInfo;
  ULONG ulIpv6ScopeId;
  WCHAR wszTextAddress[256 + 1];
  ULONG ulPort;
};

struct VDS_PATH_ID {
  ULONGLONG ullSourceId;
  ULONGLONG ullPathId;
};

struct VDS_PATH_INFO {
  VDS_PATH_ID pathId;
  VDS_HWPROVIDER_TYPE type;
  VDS_PATH_STATUS status;
  union {
    VDS_OBJECT_ID controllerPortId;
    VDS_OBJECT_ID targetPortalId;
  };
  union {
    VDS_OBJECT_ID hbaPortId;
    VDS_OBJECT_ID initiatorAdapterId;
  };
  union {
    VDS_HBAPORT_PROP* pHbaPortProp;
    VDS_IPADDRESS* pInitiatorPortalIpAddr;
  };
};

struct VDS_PATH_POLICY {
  VDS_PATH_ID pathId;
  BOOL bPrimaryPath;
  ULONG ulWeight;
};

// ---- LUN identification ---------------------------------------------------------------------

enum VDS_STORAGE_IDENTIFIER_CODE_SET : int32_t {
  VDSStorageIdCodeSetReserved = 0,
  VDSStorageIdCodeSetBinary = 1,
  VDSStorageIdCodeSetAscii = 2,
  VDSStorageIdCodeSetUtf8 = 3,
};

enum VDS_STORAGE_IDENTIFIER_TYPE : int32_t {
  VDSStorageIdTypeVendorSpecific = 0,
  VDSStorageIdTypeVendorId = 1,
  VDSStorageIdTypeEUI64 = 2,
  VDSStorageIdTypeFCPHName = 3,
  VDSStorageIdTypePortRelative = 4,
  VDSStorageIdTypeTargetPortGroup = 5,
  VDSStorageIdTypeLogicalUnitGroup = 6,
  VDSStorageIdTypeMD5LogicalUnitIdentifier = 7,
  VDSStorageIdTypeScsiNameString = 8,
};

struct VDS_STORAGE_IDENTIFIER {
  VDS_STORAGE_IDENTIFIER_CODE_SET m_CodeSet;
  VDS_STORAGE_IDENTIFIER_TYPE m_Type;
  ULONG m_cbIdentifier;
  BYTE* m_rgbIdentifier;
};

struct VDS_STORAGE_DEVICE_ID_DESCRIPTOR {
  ULONG m_version;
  ULONG m_cIdentifiers;
  VDS_STORAGE_IDENTIFIER* m_rgIdentifiers;
};

enum VDS_INTERCONNECT_ADDRESS_TYPE : int32_t {
  VDS_IA_UNKNOWN = 0,
  VDS_IA_FCFS = 1,
  VDS_IA_FCPH = 2,
  VDS_IA_FCPH3 = 3,
  VDS_IA_MAC = 4,
  VDS_IA_SCSI = 5,
};

struct VDS_INTERCONNECT {
  VDS_INTERCONNECT_ADDRESS_TYPE m_addressType;
  ULONG m_cbPort;
  BYTE* m_pbPort;
  ULONG m_cbAddress;
  BYTE* m_pbAddress;
};

constexpr ULONG VER_VDS_LUN_INFORMATION = 1;

struct VDS_LUN_INFORMATION {
  ULONG m_version;
  BYTE m_DeviceType;
  BYTE m_DeviceTypeModifier;
  BOOL m_bCommandQueueing;
  VDS_STORAGE_BUS_TYPE m_BusType;
  char* m_szVendorId;
  char* m_szProductId;
  char* m_szProductRevision;
  char* m_szSerialNumber;
  GUID m_diskSignature;
  VDS_STORAGE_DEVICE_ID_DESCRIPTOR m_deviceIdDescriptor;
  ULONG m_cInterconnects;
  VDS_INTERCONNECT* m_rgInterconnects;
};

#endif  // VELA_PLATFORM_VDS_HOST_TYPES_H_
