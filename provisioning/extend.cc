#include "provisioning/extend.h"

#include <algorithm>
#include <cstring>

#include "diag/debug_log.h"
#include "provisioning/utility.h"

namespace {

bool NestedLevel(UCHAR level) { return level == VELA_RAID50 || level == VELA_RAID30; }

// What drives of `total` bytes add to a striped mirror: half, in whole drives, to an even byte.
ULONGLONG MirrorCapacity(ULONGLONG total, ULONG n) {
  return n == 0 ? 0 : (((total >> 1) / n) * n) & ~1ULL;
}

// Whether `cap` more bytes on top of the free room reach the target, without wrapping.
bool Reaches(ULONGLONG cap, ULONGLONG freeBytes, ULONGLONG target) {
  return static_cast<unsigned __int128>(cap) + freeBytes >= target;
}

ULONGLONG SaturatingAdd(ULONGLONG a, ULONGLONG b) { return a > ~0ULL - b ? ~0ULL : a + b; }

ExtendDrivePlan Refuse(HRESULT hr) {
  ExtendDrivePlan plan;
  plan.hr = hr;
  return plan;
}

// The two drive-count refusals of a named list, shared by the recalculation's failure and the
// final test; S_OK when the count is legal for the level.
HRESULT CheckNamedCount(const LunFacts& lun, ULONG n) {
  if (NestedLevel(lun.raidLevel)) {
    if (n != lun.perGroup) {
      DebugPrintf(
          "OOP!!! CLun::Extend() lNumberOfDrives(%d) != m_numDrivesPerLowLevelArray(%d)[RAID50] "
          "return VDS_E_NOT_SUPPORTED, line %d\n",
          n, lun.perGroup, __LINE__);
      return VDS_E_NOT_SUPPORTED;
    }
  } else if (n > kMaxDrivesPerExtend) {
    DebugPrintf("OOP!!! CLun::Extend() lNumberOfDrives > 4 return VDS_E_NOT_SUPPORTED, line %d\n",
                __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  return S_OK;
}

}  // namespace

HRESULT CheckExtendable(const LunFacts& lun) {
  if (lun.isDummy) {
    DebugPrintf("CLun::Extend(), it is a dummy volume, cann't Extend, line %d\n", __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  if (lun.partType == 2 || lun.partType == 3) {
    DebugPrintf("CLun::Extend(), it is a snapshot/master volume, cann't Extend, line %d\n",
                __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  return S_OK;
}

ULONGLONG ExtendBytesRounded(ULONGLONG bytes) {
  if (bytes > ROUND_DOWN_TO_MB_BOUNDARY(~0ULL)) return ROUND_DOWN_TO_MB_BOUNDARY(~0ULL);
  return ROUND_UP_TO_MB_BOUNDARY(bytes);
}

ExtendVdiskCheck CheckExtendVdisk(const LunFacts& lun, ULONGLONG bytes, LONG n,
                                  const array& vdisk) {
  ExtendVdiskCheck check;
  const ULONGLONG freeBytes = vdisk.expandableBlocks << 9;
  if (n == 0 && freeBytes >= bytes) {
    check.freeRoomSuffices = true;
    return check;
  }
  if (vdisk.utilityRunning >= 2 && vdisk.utilityRunning <= 5) {
    DebugPrintf("OOP!!! CLun::Extend() return VDS_E_ANOTHER_CALL_IN_PROGRESS, line %d\n", __LINE__);
    check.hr = VDS_E_ANOTHER_CALL_IN_PROGRESS;
    return check;
  }
  const UCHAR level = vdisk.raidLevel;
  if (lun.type != VDS_LT_STRIPE && !IsParityFamily(lun.type) && level != VELA_RAID10 &&
      level != VELA_RAID30 && level != VELA_RAID6 && level != VELA_RAID50) {
    DebugPrintf(
        "OOP!!! CLun::Extend() Type() != VDS_LT_STRIPE &&\tType() != VDS_LT_PARITY && "
        "\tpArrayData->raidLevel != VELA_RAID10 && \tpArrayData->raidLevel != VELA_RAID6 return "
        "VDS_E_NOT_SUPPORTED, line %d\n",
        __LINE__);
    check.hr = VDS_E_NOT_SUPPORTED;
    return check;
  }
  const auto count = static_cast<ULONG>(n);  // a negative count reads as too many drives
  const ULONGLONG total = static_cast<ULONGLONG>(vdisk.numDrives) + count;
  if (level == VELA_RAID10 && count != 0 && count != 2 && count != 4) {
    DebugPrintf(
        "OOP!!! CLun::Extend() lNumberOfDrives != 0 && lNumberOfDrives != 2 && lNumberOfDrives != "
        "4 return VDS_E_NOT_SUPPORTED, line %d\n",
        __LINE__);
    check.hr = VDS_E_NOT_SUPPORTED;
    return check;
  }
  if (NestedLevel(level)) {
    if (count != 0 && count != lun.perGroup) {
      DebugPrintf(
          "OOP!!! CLun::Extend() lNumberOfDrives != m_numDrivesPerLowLevelArray[RAID50] return "
          "VDS_E_NOT_SUPPORTED, line %d\n",
          __LINE__);
      check.hr = VDS_E_NOT_SUPPORTED;
      return check;
    }
    if (total > kMaxDrivesPerNestedVdiskCreate) {
      DebugPrintf(
          "OOP!!! CLun::Extend() pArrayData->numDrives(%d) + lNumberOfDrives(%d)> 32[RAID50], "
          "cann't expand with add drive return VDS_E_NOT_SUPPORTED, line %d\n",
          vdisk.numDrives, n, __LINE__);
      check.hr = VDS_E_NOT_SUPPORTED;
      return check;
    }
  } else if (level != VELA_RAID10) {
    if (count > kMaxDrivesPerExtend) {
      DebugPrintf("OOP!!! CLun::Extend() lNumberOfDrives > 4 return VDS_E_NOT_SUPPORTED, line %d\n",
                  __LINE__);
      check.hr = VDS_E_NOT_SUPPORTED;
      return check;
    }
    if (total > kMaxDrivesPerVdiskCreate) {
      DebugPrintf(
          "OOP!!! CLun::Extend() pArrayData->numDrives(%d) + lNumberOfDrives(%d) > 16 return "
          "VDS_E_NOT_SUPPORTED, line %d\n",
          vdisk.numDrives, n, __LINE__);
      check.hr = VDS_E_NOT_SUPPORTED;
      return check;
    }
  }
  check.abortUtility = vdisk.utilityRunning == 6;
  return check;
}

bool ReCalcDriveList(const std::vector<DriveCandidate>& drives, UCHAR level, ULONGLONG targetBytes,
                     ULONGLONG freeBytes, DriveLists* lists, ULONGLONG* totalBytes, ULONG* count) {
  DebugPrintf("CLun::ReCalcDriveList\n");
  if (*count == 0) {
    DebugPrintf("CLun::ReCalcDriveList out\n");
    return false;
  }
  const ULONGLONG perDrive = *totalBytes / *count;
  for (const DriveCandidate& drive : drives) {
    if (!IsCandidate(drive) || drive.size < perDrive) continue;
    if (std::find(lists->vSn.begin(), lists->vSn.end(), drive.serial) != lists->vSn.end()) {
      continue;
    }
    *totalBytes = SaturatingAdd(*totalBytes, perDrive);
    ++*count;
    lists->Append(drive);
    // A mirror grows by pairs: an odd count is not tested.
    if ((level == VELA_RAID1 || level == VELA_RAID10) && *count % 2 != 0) continue;
    const ULONGLONG cap = level == VELA_RAID10 ? MirrorCapacity(*totalBytes, *count) : *totalBytes;
    if (Reaches(cap, freeBytes, targetBytes)) {
      DebugPrintf("CLun::ReCalcDriveList out\n");
      return true;
    }
  }
  DebugPrintf("CLun::ReCalcDriveList out\n");
  return false;
}

ExtendDrivePlan PlanExtendDrives(const LunFacts& lun, ULONGLONG bytes, const VDS_OBJECT_ID* ids,
                                 LONG n, ULONGLONG freeBytes, ULONG vdiskDrives,
                                 const std::vector<DriveCandidate>& drives) {
  ExtendDrivePlan plan;
  plan.bytes = bytes;
  const UCHAR level = lun.raidLevel;
  const auto named = static_cast<ULONG>(n);
  ULONG count = named;
  ULONGLONG total = 0;
  if (named != 0) {
    if (!HasSameDriveType(drives, lun.driveType, ids, named)) {
      DebugPrintf(
          "OOP!! CLun::Extend line %d : the input drives has not same type(Mixed drives). return "
          "VDS_E_NOT_SUPPORTED\n",
          __LINE__);
      return Refuse(VDS_E_NOT_SUPPORTED);
    }
    if (!DriveGuids2VelaSn(drives, ids, named, lun.minDriveSize, &plan.lists, &total)) {
      DebugPrintf("OOP!!! CLun::Extend() return VDS_E_DEVICE_IN_USE, line %d\n", __LINE__);
      return Refuse(VDS_E_DEVICE_IN_USE);
    }
    const ULONGLONG cap = level == VELA_RAID10 ? MirrorCapacity(total, named) : total;
    if (plan.bytes == 0) plan.bytes = ROUND_DOWN_TO_MB_BOUNDARY(SaturatingAdd(cap, freeBytes));
    if (!Reaches(cap, freeBytes, plan.bytes)) {
      if (!ReCalcDriveList(drives, level, plan.bytes, freeBytes, &plan.lists, &total, &count)) {
        const HRESULT hr = CheckNamedCount(lun, named);
        if (FAILED(hr)) return Refuse(hr);
        DebugPrintf("OOP!!! CLun::Extend() return VDS_E_NOT_ENOUGH_DRIVE, line %d\n", __LINE__);
        return Refuse(VDS_E_NOT_ENOUGH_DRIVE);
      }
    }
    const HRESULT hr = CheckNamedCount(lun, count);
    if (FAILED(hr)) return Refuse(hr);
  } else {
    SeekNewDrives(drives, lun.type, lun.driveType, lun.minDriveSize, level, 0, &plan.lists, &total);
  }

  const auto found = static_cast<ULONG>(plan.lists.size());
  if (found == 0) {
    if (named == 0) return Refuse(VDS_E_NOT_ENOUGH_DRIVE);
    DebugPrintf("OOP!!! CLun::Extend() lNumberOfDrives != 0 return VDS_E_NOT_SUPPORTED, line %d\n",
                __LINE__);
    return Refuse(VDS_E_NOT_SUPPORTED);
  }
  const ULONGLONG perDrive = total / found;
  ULONG add = count;
  if (named == 0) {
    // The fewest drives whose capacity covers the request. Capacity grows with the count, so a
    // count beyond the largest vdisk ends the search: it is refused below like any count above
    // the extension's limit.
    const ULONG step = level == VELA_RAID10 ? 2 : 1;
    add = level == VELA_RAID10 ? 2 : NestedLevel(level) ? lun.perGroup : 1;
    while (add <= VELA_MAX_DRIVES_PER_ARRAY) {
      const ULONGLONG product = static_cast<ULONGLONG>(
          std::min<unsigned __int128>(static_cast<unsigned __int128>(add) * perDrive, ~0ULL));
      const ULONGLONG cap = level == VELA_RAID10 ? MirrorCapacity(product, add) : product;
      if (Reaches(cap, freeBytes, plan.bytes)) break;
      add += step;
    }
  }
  if ((lun.type == VDS_LT_MIRROR || lun.type == VDS_LT_RAID10) && add % 2 != 0) ++add;
  if (!NestedLevel(level)) {
    if (add > kMaxDrivesPerExtend) {
      DebugPrintf("OOP!!! CLun::Extend() DriveCount2Add > 4 return VDS_E_NOT_SUPPORTED, line %d\n",
                  __LINE__);
      return Refuse(VDS_E_NOT_SUPPORTED);
    }
  } else if (add != lun.perGroup) {
    DebugPrintf(
        "OOP!!! CLun::Extend() for raid50 DriveCount2Add(%d) != m_numDrivesPerLowLevelArray(%d) "
        "return VDS_E_NOT_SUPPORTED, line %d\n",
        add, lun.perGroup, __LINE__);
    return Refuse(VDS_E_NOT_SUPPORTED);
  }
  if (add > found) {
    DebugPrintf(
        "OOP!!! CLun::Extend() DriveCount2Add > vSeriNum.size() return VDS_E_NOT_ENOUGH_DRIVE, "
        "line %d\n",
        __LINE__);
    return Refuse(VDS_E_NOT_ENOUGH_DRIVE);
  }
  DebugPrintf("CLun::Extend() DriveCount2Add = %d, vSeriNum# = %d, vLoca# = %d\n", add,
              static_cast<int>(plan.lists.vSn.size()), static_cast<int>(plan.lists.vLoca.size()));
  if (static_cast<ULONGLONG>(add) + vdiskDrives >= VELA_MAX_DRIVES_PER_ARRAY + 1) {
    DebugPrintf(
        "OOP!! CLun::Extend() the total drive num is large than VELA_MAX_DRIVES_PER_ARRAY!\n");
    return Refuse(VDS_E_NOT_SUPPORTED);
  }
  plan.lists.Truncate(add);
  plan.driveCount2Add = add;
  return plan;
}

expandPart MakeExpandRequest(ULONGLONG bytes, ULONGLONG currentSize, const uint8_t* partitionSn) {
  expandPart request{};
  request.blockCount = SaturatingAdd(bytes, currentSize) >> 9;
  std::memcpy(request.partitionSerial, partitionSn, sizeof(request.partitionSerial));
  return request;
}
