// The decisions of growing a LUN: whether the vdisk's free room suffices, which refusals the
// vdisk's state and level give, how many and which free drives an expansion adds, and the
// expand_part request that grows the partition afterwards. CLun::Extend fetches, sends and waits.
#ifndef VELA_PROVISIONING_EXTEND_H_
#define VELA_PROVISIONING_EXTEND_H_

#include <cstdint>
#include <vector>

#include "platform/hresult.h"
#include "platform/vds_types.h"
#include "platform/wintypes.h"
#include "provisioning/drive_select.h"
#include "provisioning/sizes.h"
#include "proxy/records.h"

// A dummy volume, a snapshot and a master volume never grow: VDS_E_NOT_SUPPORTED, else S_OK.
HRESULT CheckExtendable(const LunFacts& lun);

// The byte count asked for, rounded up to 1 MiB; a count so near 2^64 that the rounding would
// wrap stays at the largest whole MiB, which no vdisk can give.
ULONGLONG ExtendBytesRounded(ULONGLONG bytes);

// The first look at the LUN's vdisk (fetched afresh).
struct ExtendVdiskCheck {
  HRESULT hr = S_OK;
  bool freeRoomSuffices = false;  // no drives named and the vdisk's free room covers the request
  bool abortUtility = false;      // a stoppable utility runs and gives way to the expansion
};

// The free-room test and the refusals by the vdisk's job, the LUN's type and level, and the
// drive counts. `n` is the client's drive count.
ExtendVdiskCheck CheckExtendVdisk(const LunFacts& lun, ULONGLONG bytes, LONG n, const array& vdisk);

// The drives an expansion adds.
struct ExtendDrivePlan {
  HRESULT hr = S_OK;
  ULONGLONG bytes = 0;  // the growth asked for, set when the request left it 0
  ULONG driveCount2Add = 0;
  DriveLists lists;  // cut to driveCount2Add
};

// With drives named (`ids`, `n`): their capacity, more free drives when they don't suffice;
// without: the smallest number of free drives of the LUN's type that covers `bytes`. `freeBytes`
// is the vdisk's free room, `vdiskDrives` its member count.
ExtendDrivePlan PlanExtendDrives(const LunFacts& lun, ULONGLONG bytes, const VDS_OBJECT_ID* ids,
                                 LONG n, ULONGLONG freeBytes, ULONG vdiskDrives,
                                 const std::vector<DriveCandidate>& drives);

// Appends candidates (not yet listed, at least the per-drive size of the list) until the lists
// with `freeBytes` reach `targetBytes`. True when they do.
bool ReCalcDriveList(const std::vector<DriveCandidate>& drives, UCHAR level, ULONGLONG targetBytes,
                     ULONGLONG freeBytes, DriveLists* lists, ULONGLONG* totalBytes, ULONG* count);

// The expand_part request: the partition's new total size (its size plus `bytes`) in blocks.
// The vdisk serial field is left zero; the retry rounds fill it on alternate rounds.
expandPart MakeExpandRequest(ULONGLONG bytes, ULONGLONG currentSize, const uint8_t* partitionSn);

#endif  // VELA_PROVISIONING_EXTEND_H_
