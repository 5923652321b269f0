// The size arithmetic of the three "how large can it be" queries: a new LUN (by a new vdisk or a
// partition in an existing one) and the growth of a LUN. The entry points in objects/ fetch the
// records, choose the drives with drive_select, and call these for the numbers. Nothing here
// talks to a proxy.
#ifndef VELA_PROVISIONING_SIZES_H_
#define VELA_PROVISIONING_SIZES_H_

#include <cstdint>
#include <vector>

#include "platform/hresult.h"
#include "platform/vds_types.h"
#include "platform/wintypes.h"
#include "provisioning/drive_select.h"
#include "proxy/records.h"

// What the size and extension decisions read of one LUN object.
struct LunFacts {
  VDS_LUN_TYPE type = VDS_LT_UNKNOWN;
  UCHAR raidLevel = 0;
  ULONG numDrives = 0;         // members of its vdisk
  ULONG perGroup = 0;          // numDrivesPerLowLevelArray of the nested levels
  ULONGLONG minDriveSize = 0;  // bytes of the vdisk's smallest member
  uint8_t driveType = 0;
  ULONGLONG size = 0;  // bytes
  bool isDummy = false;
  uint8_t partType = 0;  // 0 ordinary, 1 snap pool, 2 master volume, 3 snapshot
};

// The vdisk of `data` whose 32-byte serial is `arraySerial`; null when none.
const array* FindVdiskBySerial(const controllerData& data, const uint8_t* arraySerial);

// Whether any vdisk of the controller runs an expansion (utility 5).
bool AnyVdiskExpanding(const controllerData& data);

// ---- A new LUN ----

// The types the create-size query accepts (span passes here and is refused later).
bool MaxCreateTypeKnown(VDS_LUN_TYPE type);

// The tests of a client's drive list at `level`: too many drives, a nested level's count, mixed
// types. S_OK or VDS_E_NOT_SUPPORTED, logged. A negative count counts as too many.
HRESULT CheckMaxCreateDrives(UCHAR level, LONG count, const std::vector<DriveCandidate>& drives,
                             const VDS_OBJECT_ID* ids);

// The largest LUN of a new vdisk on `count` drives that total `total` bytes, in *size: the
// usable bytes to 1 MiB. False for the counts that can't make the type: the query answers 0 then,
// without looking at existing vdisks. `count` is not 0.
bool MaxNewVdiskSize(VDS_LUN_TYPE type, UCHAR level, ULONG count, ULONGLONG total,
                     bool supportRaid6, ULONGLONG* size);

// The room for a new partition in the vdisk `arraySerial` of `data`, to 1 MiB; 0 without it.
ULONGLONG MaxPartitionInVdisk(const controllerData& data, const uint8_t* arraySerial);

// ---- The growth of a LUN ----

// How many of `found` free drives one extension of `lun` takes.
ULONG DrivesForOneExtension(const LunFacts& lun, ULONG found);

// Whether the query looks for free drives when the client names none.
bool ExtendSizeSeeksDrives(VDS_LUN_TYPE type);

// The growth to report: the vdisk's free room (`vdisk` may be null) plus what `n` drives of `all`
// bytes add at the LUN's level. `containsDrives` tells whether the vdisk already holds every drive
// of the list, which makes them add nothing.
ULONGLONG MaxExtendBytes(const LunFacts& lun, ULONG n, ULONGLONG all, const array* vdisk,
                         bool containsDrives);

#endif  // VELA_PROVISIONING_SIZES_H_
