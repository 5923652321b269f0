// The pieces of a LUN's VDS_LUN_INFORMATION and the checks that tell whether a disk's
// information names one of this provider's LUNs. Pure functions over bytes; the objects that own
// the serials and controller fields call them.
#ifndef VELA_IDENTIFY_LUN_INFORMATION_H_
#define VELA_IDENTIFY_LUN_INFORMATION_H_

#include <cstdint>
#include <string>

#include "platform/vds.h"

// The two per-controller fields the controller block carries.
struct ControllerIdentity {
  uint8_t macAddress[6] = {};  // field A: bytes 1 to 5 are carried
  uint8_t ipAddress[4] = {};   // field B
};

constexpr size_t kControllerBlockLength = 32;
constexpr size_t kSasControllerBlockLength = 64;

// The 32-byte vendor-specific identifier:
//   OFFSET SIZE FIELD
//   0      1    0x11
//   1      6    serial prefix of the LUN's controller
//   9      5    first controller's field A, bytes 1 to 5
//   16     4    first controller's field B
//   21     5    second controller's field A, bytes 1 to 5
//   28     4    second controller's field B
// (the other bytes are zero). The first controller is the LUN's owner's side: index 1 when the
// owner is 1, else index 0.
void BuildControllerBlock(const uint8_t serialPrefix[6], const ControllerIdentity& first,
                          const ControllerIdentity& second, uint8_t block[32]);

// The LUN serial as VDS reads it: s[0] to s[15] as 32 lower-case hex digits.
std::string LunSerialText(const uint8_t partitionSn[32]);

// The bus type a subsystem's host port kind gives: SAS (8) 10, FC (4, 5, 6) 6, else 0.
VDS_STORAGE_BUS_TYPE BusTypeOfHostPort(uint8_t hostPortType);

// Fills *info with the fixed members and four identifiers:
//   0  FC-PH name (3), 16 bytes: the NAA form of the serial
//   1  port relative (4), 4 bytes: 0 0 0 (owner 1 ? 1 : 2)
//   2  vendor specific (0): `block`, `blockLength` bytes (32, or 64 on a mapped SAS LUN)
//   3  target port group (5), 4 zero bytes
// Strings are copied bounded by their field widths (vendor 9, product 17, revision 4). All
// storage is task-allocated; FreeLunInformation releases it.
void FillLunInformation(const uint8_t partitionSn[32], uint8_t owner, VDS_STORAGE_BUS_TYPE busType,
                        const char* vendor, const char* product, const char* revision,
                        const uint8_t* block, size_t blockLength, VDS_LUN_INFORMATION* info);

// Frees every string and array of *info and zeroes it.
void FreeLunInformation(VDS_LUN_INFORMATION* info);

// The checks a disk's information must pass before LUNs are compared, in their order: revision
// starting with J, K, M, N or T; vendor, product and serial present; not an IDE path; a binary
// FC-PH identifier of 16 bytes with data. S_OK with *naa at that identifier's bytes, else
// S_FALSE. Each refusal logs its line.
HRESULT FindCreatedLunKey(LPCWSTR devicePath, const VDS_LUN_INFORMATION& info, const BYTE** naa);

// Whether the NAA identifier's bytes 8 to 15 equal the partition serial's bytes 8 to 15.
bool NaaMatchesPartitionSn(const BYTE naa[16], const uint8_t partitionSn[32]);

// The whole record to the debug log, as GetIdentificationData writes it.
void DumpLunInformation(const VDS_LUN_INFORMATION& info);

#endif  // VELA_IDENTIFY_LUN_INFORMATION_H_
