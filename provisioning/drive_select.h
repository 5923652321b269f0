// Drive selection: client drive ids to the serial and location lists that create_array takes,
// the refusal of mixed drive types, the automatic choice of drives for a new vdisk, and the two
// membership questions that keep a request inside an existing vdisk.
//
// The drive walks read DriveCandidate rows, which the subsystem fills from its drive objects in
// enumerator order: every result follows that order, never the order of a caller's id array.
// The membership questions read a controller record the caller fetched for them.
#ifndef VELA_PROVISIONING_DRIVE_SELECT_H_
#define VELA_PROVISIONING_DRIVE_SELECT_H_

#include <cstdint>
#include <vector>

#include "platform/vds_types.h"
#include "platform/wintypes.h"
#include "proxy/records.h"
#include "proxy/tidegate.h"

// What drive selection reads of one drive object.
struct DriveCandidate {
  VDS_OBJECT_ID id{};
  ULONGLONG size = 0;  // bytes
  ULONG flags = 0;     // VDS_DF_*
  VDS_HEALTH health = VDS_H_UNKNOWN;
  bool isFree = false;
  uint8_t howUsed = 0;
  uint8_t driveType = 0;
  DriveSerial serial{};
  uint8_t channel = 0;
  uint8_t scsiId = 0;
};

// The two parallel lists that name drives to the controllers, filled together.
struct DriveLists {
  std::vector<DriveSerial> vSn;
  std::vector<driveLocation> vLoca;

  size_t size() const { return vSn.size(); }
  void Append(const DriveCandidate& drive);
  void Truncate(size_t n);
};

// A drive carries seven bytes of its vdisk's serial: its bytes 0-2 are serial bytes 3-5 and its
// bytes 3-6 are serial bytes 8-11.
bool DriveInVdisk(const uint8_t* driveSn7, const uint8_t* vdiskSerial);
// The seven-byte short form of a vdisk serial, as a member drive reports it.
void VdiskShortSerial(const uint8_t* vdiskSerial, uint8_t* driveSn7);

// Free, not a hot spare, healthy.
bool IsCandidate(const DriveCandidate& drive);

// True when all listed drives that exist are of one type (ids no drive has are ignored).
bool HasSameDriveType(const std::vector<DriveCandidate>& drives, const VDS_OBJECT_ID* ids,
                      ULONG count);
// True when all listed drives that exist are of `driveType`.
bool HasSameDriveType(const std::vector<DriveCandidate>& drives, uint8_t driveType,
                      const VDS_OBJECT_ID* ids, ULONG count);

// Appends the listed drives to *lists (drives smaller than a non-zero fixedSize are left out)
// and sums their sizes into *totalBytes by the running minimum. True when all were free.
bool DriveGuids2VelaSn(const std::vector<DriveCandidate>& drives, const VDS_OBJECT_ID* ids,
                       ULONG count, ULONGLONG fixedSize, DriveLists* lists, ULONGLONG* totalBytes);

// Candidates of one drive type, up to the level's limit plus numSpares; each counts as
// requiredSize (drives below it are skipped) or, with requiredSize 0, as the running minimum.
ULONG SeekNewDrives(const std::vector<DriveCandidate>& drives, VDS_LUN_TYPE type, uint8_t driveType,
                    ULONGLONG requiredSize, UCHAR raidLevel, ULONG numSpares, DriveLists* lists,
                    ULONGLONG* totalBytes);

// The drives for a new vdisk when the client names none: the group of one type and size with the
// largest total that holds enough drives for the type. Appends to *lists and returns their
// number; 0 (with *totalBytes untouched) when no group will do.
ULONG SeekNewDrivesForCreate(const std::vector<DriveCandidate>& drives, uint8_t allowedDriveType,
                             UCHAR raidLevel, VDS_LUN_TYPE type, ULONG numSpares, DriveLists* lists,
                             ULONGLONG* totalBytes);

// True when vSn is exactly the membership (spares included) of the vdisk `arraySerial` as the
// freshly fetched `data` reports it.
bool HasSameMemberDrives(const controllerData& data, const uint8_t* arraySerial,
                         const std::vector<DriveSerial>& vSn);
// True when every serial of vSn is a member (spares excluded) of the vdisk.
bool IsVdiskContainDrives(const controllerData& data, const uint8_t* arraySerial,
                          const std::vector<DriveSerial>& vSn);

#endif  // VELA_PROVISIONING_DRIVE_SELECT_H_
