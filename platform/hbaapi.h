// The SNIA HBA API as the host inventory calls it: the types of its records and the library's
// functions. On Linux the functions forward to a library loaded at run time (libHBAAPI.so.2, or
// the one VELA_HBAAPI_LIBRARY names, with the same C entry points), or, when a host view is
// given (VELA_HOST_VIEW), serve its "hba" member:
//   [{"name", "attributes": {HBA_ADAPTERATTRIBUTES members},
//     "ports": [{HBA_PORTATTRIBUTES members, "targetMappings": [{"ScsiId": {...},
//                "FcpId": {...}, "LUID": "..."}]}]}]
// with WWNs as 16 hex digits. The records keep the library's layout (checked below), so the
// library fills them directly.
#ifndef VELA_PLATFORM_HBAAPI_H_
#define VELA_PLATFORM_HBAAPI_H_

#include <cstddef>
#include <cstdint>
#include <string>

using HBA_UINT8 = uint8_t;
using HBA_UINT32 = uint32_t;
using HBA_UINT64 = uint64_t;
using HBA_HANDLE = HBA_UINT32;
using HBA_STATUS = HBA_UINT32;
using HBA_PORTTYPE = HBA_UINT32;
using HBA_PORTSTATE = HBA_UINT32;
using HBA_PORTSPEED = HBA_UINT32;
using HBA_COS = HBA_UINT32;

constexpr HBA_STATUS HBA_STATUS_OK = 0;
constexpr HBA_STATUS HBA_STATUS_ERROR = 1;
constexpr HBA_STATUS HBA_STATUS_ERROR_NOT_SUPPORTED = 2;
constexpr HBA_STATUS HBA_STATUS_ERROR_INVALID_HANDLE = 3;
constexpr HBA_STATUS HBA_STATUS_ERROR_ARG = 4;
constexpr HBA_STATUS HBA_STATUS_ERROR_ILLEGAL_WWN = 5;
constexpr HBA_STATUS HBA_STATUS_ERROR_ILLEGAL_INDEX = 6;
constexpr HBA_STATUS HBA_STATUS_ERROR_MORE_DATA = 7;

struct HBA_WWN {
  HBA_UINT8 wwn[8];
};

struct HBA_FC4TYPES {
  HBA_UINT8 bits[32];
};

struct HBA_ADAPTERATTRIBUTES {
  char Manufacturer[64];
  char SerialNumber[64];
  char Model[256];
  char ModelDescription[256];
  HBA_WWN NodeWWN;
  char NodeSymbolicName[256];
  char HardwareVersion[256];
  char DriverVersion[256];
  char OptionROMVersion[256];
  char FirmwareVersion[256];
  HBA_UINT32 VendorSpecificID;
  HBA_UINT32 NumberOfPorts;
  char DriverName[256];
};

struct HBA_PORTATTRIBUTES {
  HBA_WWN NodeWWN;
  HBA_WWN PortWWN;
  HBA_UINT32 PortFcId;
  HBA_PORTTYPE PortType;
  HBA_PORTSTATE PortState;
  HBA_COS PortSupportedClassofService;
  HBA_FC4TYPES PortSupportedFc4Types;
  HBA_FC4TYPES PortActiveFc4Types;
  char PortSymbolicName[256];
  char OSDeviceName[256];
  HBA_PORTSPEED PortSupportedSpeed;
  HBA_PORTSPEED PortSpeed;
  HBA_UINT32 PortMaxFrameSize;
  HBA_WWN FabricName;
  HBA_UINT32 NumberofDiscoveredPorts;
};

struct HBA_SCSIID {
  char OSDeviceName[256];
  HBA_UINT32 ScsiBusNumber;
  HBA_UINT32 ScsiTargetNumber;
  HBA_UINT32 ScsiOSLun;
};

struct HBA_FCPID {
  HBA_UINT32 FcId;
  HBA_WWN NodeWWN;
  HBA_WWN PortWWN;
  HBA_UINT64 FcpLun;
};

struct HBA_LUID {
  char buffer[256];
};

struct HBA_FCPSCSIENTRYV2 {
  HBA_SCSIID ScsiId;
  HBA_FCPID FcpId;
  HBA_LUID LUID;
};

// A header followed by NumberOfEntries rows; the caller sizes the block and says in
// NumberOfEntries how many rows it holds.
struct HBA_FCPTARGETMAPPINGV2 {
  HBA_UINT32 NumberOfEntries;
  HBA_FCPSCSIENTRYV2 entry[1];
};

// The library's layout (SNIA HBA API, 64-bit Linux and Windows alike).
static_assert(sizeof(HBA_ADAPTERATTRIBUTES) == 2192);
static_assert(offsetof(HBA_ADAPTERATTRIBUTES, NumberOfPorts) == 1932);
static_assert(sizeof(HBA_PORTATTRIBUTES) == 632);
static_assert(offsetof(HBA_PORTATTRIBUTES, OSDeviceName) == 352);
static_assert(sizeof(HBA_FCPSCSIENTRYV2) == 0x230);
static_assert(offsetof(HBA_FCPTARGETMAPPINGV2, entry) == 8);

HBA_STATUS HBA_LoadLibrary();
HBA_STATUS HBA_FreeLibrary();
HBA_UINT32 HBA_GetNumberOfAdapters();
HBA_STATUS HBA_GetAdapterName(HBA_UINT32 adapterindex, char* adaptername);
// 0 when the adapter can't be opened.
HBA_HANDLE HBA_OpenAdapter(char* adaptername);
void HBA_CloseAdapter(HBA_HANDLE handle);
HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES* hbaattributes);
HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE handle, HBA_UINT32 portindex,
                                        HBA_PORTATTRIBUTES* portattributes);
HBA_STATUS HBA_GetFcpTargetMappingV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN,
                                     HBA_FCPTARGETMAPPINGV2* pmapping);

// Why the last HBA_LoadLibrary failed (library missing, entry point missing, host view
// unreadable), for the callers' logs; empty after a success.
std::string HbaLibraryProblem();

#endif  // VELA_PLATFORM_HBAAPI_H_
