// The decisions of LUN creation as functions of a request and of records fetched for it: the
// argument checks of CreateLun in their fixed order, the concrete type and level, the LUN limit,
// the drive count and group width of a new vdisk, the choice of a vdisk for an added partition,
// the partition sizes, and the translation of the controllers' result codes. The entry points in
// objects/ fetch, call these, and send what they decide.
#ifndef VELA_PROVISIONING_CREATE_H_
#define VELA_PROVISIONING_CREATE_H_

#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/hresult.h"
#include "platform/vds_types.h"
#include "platform/wintypes.h"
#include "provisioning/drive_select.h"
#include "proxy/records.h"

// A CreateLun request as the client made it.
struct CreateRequest {
  VDS_LUN_TYPE type = VDS_LT_UNKNOWN;
  ULONGLONG size = 0;  // bytes; 0 asks for the largest LUN
  const VDS_OBJECT_ID* drives = nullptr;
  LONG numDrives = 0;  // 0 leaves the choice of drives to the system
  VDS_HINTS hints{};
};

// What the checks leave: the result, and on success the concrete type and the level.
struct CreateDecision {
  HRESULT hr = S_OK;
  VDS_LUN_TYPE type = VDS_LT_UNKNOWN;
  UCHAR level = 0;
};

// The limit on the subsystem's LUN count when no usable controller decides it.
inline constexpr ULONG kDefaultLunLimit = 256;

// The checks of a snapshot or dummy request's size, made before anything is fetched.
HRESULT CheckSpecialSize(const CreateRequest& request);

// One controller's say in the LUN limit: false when the controller is down (state 2 or 3) and
// the next one decides; otherwise *limit takes its maxArrayPartitions unless that is 0.
bool LunLimitFrom(const controllerData& data, ULONG* limit);

// The checks that follow the LUN limit, in their order: limit, drive list, type, size, stripe,
// level, drive count and type, abstract types. `drives` are the subsystem's drives in
// enumerator order (for the mixed-type test).
CreateDecision CheckCreateRequest(const CreateRequest& request, size_t lunCount, ULONG lunLimit,
                                  const std::vector<DriveCandidate>& drives);

// The walk over the named drives once the object is made: VDS_E_OBJECT_NOT_FOUND,
// VDS_E_DISK_NOT_ONLINE or VDS_E_DISK_NOT_EMPTY, in that order, or S_OK.
HRESULT CheckNamedDrives(const std::vector<DriveCandidate>& drives, const VDS_OBJECT_ID* ids,
                         LONG count);

// VDS_HINTS from VDS_HINTS2: the mask with the bits of false booleans cleared, the sizes and
// booleans copied, the bus type and reserved fields dropped.
VDS_HINTS HintsFromHints2(const VDS_HINTS2& hints2);

// Writes every field of the hints to the debug log, one line.
void LogHints(const VDS_HINTS& hints);

// ---- A new vdisk ----

// How many of the chosen drives a new vdisk takes, with the type the request turns into.
struct NewVdiskDrives {
  HRESULT hr = S_OK;
  VDS_LUN_TYPE type = VDS_LT_UNKNOWN;
  ULONG needed = 0;
  uint8_t groupWidth = 0;  // numDrivesPerLowLevelArray for create_array; 0 when none
};

// Drives the system chose (`found` of them, `totalBytes` in all, at `level` from the stored
// hints): how many to use for `type` and `size`.
NewVdiskDrives PlanSelectedDrives(VDS_LUN_TYPE type, UCHAR level, ULONGLONG size, ULONG found,
                                  ULONGLONG totalBytes, bool supportRaid6);

// Whether a controller may own a new vdisk: not down and below its partition limit, which it
// updates in *maxPartitionPerController.
bool ControllerTakesNewVdisk(const controllerData& data, ULONG* maxPartitionPerController);

// The first partition of a new vdisk: the request, or all the free space (to 1 MiB) when the
// request is 0 or larger than that.
ULONGLONG NewVdiskPartitionSize(ULONGLONG size, const array& vdisk);

// add_array_part's result for the first partition of a new vdisk.
HRESULT NewVdiskPartitionResult(int rc);

// ---- A partition in an existing vdisk ----

// The level a parity-family request wants of an existing vdisk; 12 (no level) for the others.
UCHAR WantedVdiskLevel(VDS_LUN_TYPE type, UCHAR specialRaidType);

// Offline or quarantined (health 3, 4 or 5).
bool VdiskOffline(const array& vdisk);

// The tests of a vdisk for a new partition, but the membership test of named drives: true when
// it is skipped. `size` is the request (0 or rounded to 1 MiB).
bool SkipVdiskForPartition(const array& vdisk, VDS_LUN_TYPE type, UCHAR wantLevel, ULONG stripeSize,
                           ULONGLONG size);

// add_array_part's result for a partition in an existing vdisk: S_OK, an error to return, or
// S_FALSE to try the next vdisk.
HRESULT AddedPartitionResult(int rc);

// create_snapshot's result: S_OK, VDS_E_PARTITION_LIMIT_REACHED, or S_FALSE for the next vdisk.
HRESULT SnapshotResult(int rc);

// The id of the entry whose vdisk serial is the vdisk's, else the first entry's. Entries hold a
// 16-byte id and a 16-byte vdisk serial; `entries` is not empty.
// The snapshot partition whose serial starts with `serial16`, the last one when several do.
const partition* FindSnapshotPartition(const controllerData& data, const uint8_t* serial16);

template <class Entry>
const uint8_t* EntryIdForVdisk(const std::vector<Entry>& entries, const uint8_t* arraySerial) {
  for (const Entry& entry : entries) {
    if (std::memcmp(entry.vdiskSerial, arraySerial, sizeof(entry.vdiskSerial)) == 0) {
      return entry.id;
    }
  }
  return entries.front().id;
}

#endif  // VELA_PROVISIONING_CREATE_H_
