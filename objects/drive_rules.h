// What a drive record means to the VDS view: class, bus, size, status, health and flags, and the
// name that finds a drive object again at a refresh. Pure functions of the record; the drive
// object, the pools and drive selection share them.
#ifndef VELA_OBJECTS_DRIVE_RULES_H_
#define VELA_OBJECTS_DRIVE_RULES_H_

#include <cstdint>
#include <string>

#include "platform/vds_types.h"
#include "provisioning/drive_select.h"  // DriveInVdisk, VdiskShortSerial
#include "proxy/records.h"

// Coarse drive classes: a vdisk holds drives of one class, and there is a primordial pool per
// class (FC excepted).
inline constexpr uint8_t kDriveClassUnknown = 0;
inline constexpr uint8_t kDriveClassFc = 2;
inline constexpr uint8_t kDriveClassSata = 3;
inline constexpr uint8_t kDriveClassSas = 4;
inline constexpr uint8_t kDriveClassSsd = 7;

uint8_t DriveClass(uint8_t driveType);
// "FC", "SATA", "SAS", "SSD" or "Unknown".
const WCHAR* DriveClassName(uint8_t driveClass);
// The bus type a class stands for in a pool's attributes (an SSD pool reads SAS).
VDS_STORAGE_BUS_TYPE DriveClassBusType(uint8_t driveClass);

// The bus type of one drive, by its fine type code.
VDS_STORAGE_BUS_TYPE DriveBusType(uint8_t driveType);
// Spindle speed in turns per minute; 1 for solid-state drives.
ULONG DriveSpindleSpeed(const drive& record);

// Bytes a drive offers after the controller's reserve (per mille, in steps of 10), with the low
// 16 bits cleared and 16 MiB kept back. A drive under 16 MiB wraps, as the controllers expect.
ULONGLONG DriveUsableSize(const drive& record, uint32_t driveOverheadPercent);

// Status, health and flags of a drive record.
struct DriveState {
  VDS_DRIVE_STATUS status;
  VDS_HEALTH health;
  ULONG ulFlags;  // VDS_DF_HOTSPARE or 0
  ULONG flags2;   // the full VDS_DF_* word
  bool isFree;    // may be taken for a new vdisk or as a spare
  const char* howUsedWord;
};
DriveState ComputeDriveState(const drive& record);

// "%s %s s/n %s rev %s id %d.%d (%s)": vendor, product, serial, revision, channel, scsiId and
// "FC", "SATA", "SAS" or the type as "0x%x". At most 256 characters.
std::u16string MakeDriveName(const drive& record);

#endif  // VELA_OBJECTS_DRIVE_RULES_H_
