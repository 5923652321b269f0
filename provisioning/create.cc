#include "provisioning/create.h"

#include "diag/debug_log.h"
#include "provisioning/utility.h"

namespace {

bool AcceptedType(VDS_LUN_TYPE type) {
  switch (type) {
    case VDS_LT_DEFAULT:
    case VDS_LT_FAULT_TOLERANT:
    case VDS_LT_NON_FAULT_TOLERANT:
    case VDS_LT_SIMPLE:
    case VDS_LT_STRIPE:
    case VDS_LT_MIRROR:
    case VDS_LT_PARITY:
    case VDS_LT_RAID3:
    case VDS_LT_RAID5:
    case VDS_LT_RAID6:
    case VDS_LT_RAID10:
    case VDS_LT_RAID30:
    case VDS_LT_RAID50:
    case VDS_LT_RAID60:
      return true;
    default:
      return false;
  }
}

bool NestedLevel(UCHAR level) { return level == VELA_RAID50 || level == VELA_RAID30; }

CreateDecision Refuse(HRESULT hr) {
  CreateDecision decision;
  decision.hr = hr;
  return decision;
}

// Usable bytes of `needed` drives of perDrive bytes each at the type's level; -1 when this count
// is not tested (a nested level with an odd count not divisible by 3, or a level without rule).
// *groupWidth takes the width of a nested level's groups.
__int128 PlannedCapacity(VDS_LUN_TYPE type, UCHAR level, ULONG needed, ULONGLONG perDrive,
                         uint8_t* groupWidth) {
  const __int128 drives = needed;
  if (type == VDS_LT_STRIPE) return drives * perDrive;
  if (type == VDS_LT_MIRROR || type == VDS_LT_RAID10) return (drives * perDrive) >> 1;
  if (!IsParityFamily(type)) return -1;
  if (level == VELA_RAID5 || level == VELA_RAID3) return (drives - 1) * perDrive;
  if (level == VELA_RAID6) return (drives - 2) * perDrive;
  if (!NestedLevel(level)) return -1;
  if (needed % 2 != 0 && needed % 3 != 0) return -1;
  ULONG g = needed % 2 == 0 ? needed / 2 : needed / 3;
  if (needed % 2 != 0 && g < 3) g = 3;
  *groupWidth = static_cast<uint8_t>(g);
  return static_cast<__int128>(needed / g) * (g - 1) * perDrive;
}

}  // namespace

HRESULT CheckSpecialSize(const CreateRequest& request) {
  if (SpecialLunKind(request.hints.ullHintMask) >= kNameKindSnapshot && request.size != 0) {
    DebugPrintf(
        "OOP!!! CSubSystem::CreateLun will create a snapshot, ullSize should be 0, line %d\n",
        __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  if (IsSupportSpecialLun() && (request.hints.ullHintMask & kHintMaskDummyLun) != 0 &&
      request.size != 0) {
    DebugPrintf(
        "OOP!!! CSubSystem::CreateLun will create a dummy Lun, ullSize should be 0, line %d\n",
        __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  return S_OK;
}

bool LunLimitFrom(const controllerData& data, ULONG* limit) {
  if (data.controllerState == 2 || data.controllerState == 3) return false;
  if (data.controller.maxArrayPartitions != 0) *limit = data.controller.maxArrayPartitions;
  return true;
}

CreateDecision CheckCreateRequest(const CreateRequest& request, size_t lunCount, ULONG lunLimit,
                                  const std::vector<DriveCandidate>& drives) {
  if (lunCount >= lunLimit) {
    DebugPrintf("CSubSystem::CreateLun() Line %d: VDS_E_PARTITION_LIMIT_REACHED\n", __LINE__);
    return Refuse(VDS_E_PARTITION_LIMIT_REACHED);
  }
  if (request.drives == nullptr && request.numDrives != 0) {
    DebugPrintf(
        "OOP!!! CSubSystem::CreateLun NULL == pDriveIdArray && 0 != lNumberOfDrives return "
        "E_INVALIDARG, line %d\n",
        __LINE__);
    return Refuse(E_INVALIDARG);
  }
  VDS_LUN_TYPE type = request.type;
  if (type == VDS_LT_SPAN) {
    DebugPrintf(
        "OOP!!! CSubSystem::CreateLun type == VDS_LT_SPAN return VDS_E_NOT_SUPPORTED, line %d\n",
        __LINE__);
    return Refuse(VDS_E_NOT_SUPPORTED);
  }
  if (request.size != 0 && request.size < kMinLunSizeBytes) {
    DebugPrintf(
        "OOP!!! CSubSystem::CreateLun ullSize < 1024*1024 return VDS_E_NOT_SUPPORTED, line %d\n",
        __LINE__);
    return Refuse(VDS_E_NOT_SUPPORTED);
  }
  if (!AcceptedType(type)) {
    DebugPrintf(
        "OOP!!! CSubSystem::CreateLun input type is not correctly return E_INVALIDARG, line %d\n",
        __LINE__);
    return Refuse(E_INVALIDARG);
  }
  const ULONG stripe = request.hints.ulStripeSize;
  if (stripe != 0 && type == VDS_LT_SIMPLE) {
    DebugPrintf(
        "OOP!!! CSubSystem::CreateLun type==VDS_LT_SIMPLE return VDS_E_NOT_SUPPORTED, line %d\n",
        __LINE__);
    return Refuse(VDS_E_NOT_SUPPORTED);
  }
  if (stripe != 0 && stripe != 16384 && stripe != 32768 && stripe != 65536) {
    DebugPrintf("OOP!!! CSubSystem::CreateLun return E_INVALIDARG, line %d\n", __LINE__);
    return Refuse(E_INVALIDARG);
  }
  CreateDecision decision;
  decision.level = SelectRaidLevel(request.hints, type);
  DebugPrintf("CSubSystem::CreateLun  will create the Raid[VELA_RAID_LEVEL] = %d \n",
              decision.level);
  if (request.numDrives == 0) {
    decision.type = type == VDS_LT_NON_FAULT_TOLERANT ? VDS_LT_STRIPE : type;
    return decision;
  }
  // Unsigned on purpose: a negative count reads as too many drives.
  const auto n = static_cast<ULONG>(request.numDrives);
  const ULONG maxDrives = IsParityFamily(type) && NestedLevel(decision.level)
                              ? kMaxDrivesPerNestedVdiskCreate
                              : kMaxDrivesPerVdiskCreate;
  if (n > maxDrives) {
    DebugPrintf(
        "OOP!! CSubSystem::QueryMaxLunCreateSize() line %d : the input drives num to more(%d). "
        "return E_INVALIDARG\n",
        __LINE__, request.numDrives);
    return Refuse(E_INVALIDARG);
  }
  if (!HasSameDriveType(drives, request.drives, n)) {
    DebugPrintf(
        "OOP!! CSubSystem::CreateLun line %d : the input drives has not same type(Mixed drives). "
        "return VDS_E_NOT_SUPPORTED\n",
        __LINE__);
    return Refuse(VDS_E_NOT_SUPPORTED);
  }
  const bool badCount =
      (n == 1 && type == VDS_LT_STRIPE) || (n > 1 && type == VDS_LT_SIMPLE) ||
      (n < 3 && type == VDS_LT_PARITY) ||
      (n % 2 != 0 && (type == VDS_LT_MIRROR || type == VDS_LT_RAID10 || type == VDS_LT_RAID30 ||
                      type == VDS_LT_RAID50 || type == VDS_LT_RAID60));
  if (badCount) {
    DebugPrintf("OOP!!! CSubSystem::CreateLun return E_INVALIDARG, line %d\n", __LINE__);
    return Refuse(E_INVALIDARG);
  }
  if (type == VDS_LT_DEFAULT || type == VDS_LT_FAULT_TOLERANT) {
    type = n >= 3 ? VDS_LT_PARITY : (n == 2 ? VDS_LT_MIRROR : VDS_LT_SIMPLE);
  } else if (type == VDS_LT_NON_FAULT_TOLERANT) {
    type = VDS_LT_STRIPE;
  }
  decision.type = type;
  if (type != VDS_LT_PARITY) return decision;
  if (n == 3 && decision.level == VELA_RAID6) {
    decision.level = VELA_RAID5;
  } else if (NestedLevel(decision.level)) {
    if (n < 6) {
      DebugPrintf(
          "CSubSystem::CreateLun create VELA_RAID50 use lNumberOfDrives < 6, return E_INVALIDARG, "
          "line %d\n",
          __LINE__);
      return Refuse(E_INVALIDARG);
    }
    if (n % 3 != 0 && n % 2 != 0) {
      DebugPrintf(
          "CSubSystem::CreateLun create VELA_RAID50 use lNumberOfDrives lNumberOfDrives%%3 != 0 || "
          "lNumberOfDrives%%2 != 0, return E_INVALIDARG, line %d\n",
          __LINE__);
      return Refuse(E_INVALIDARG);
    }
  }
  return decision;
}

HRESULT CheckNamedDrives(const std::vector<DriveCandidate>& drives, const VDS_OBJECT_ID* ids,
                         LONG count) {
  LONG found = 0;
  LONG used = 0;
  bool allHealthy = true;
  for (const DriveCandidate& drive : drives) {
    bool listed = false;
    for (LONG i = 0; ids != nullptr && i < count && !listed; ++i) {
      listed = std::memcmp(&ids[i], &drive.id, sizeof(drive.id)) == 0;
    }
    if (!listed) continue;
    ++found;
    if (drive.howUsed == 3) ++used;
    if (drive.health != VDS_H_HEALTHY) {
      allHealthy = false;
      break;
    }
  }
  if (found != count) {
    DebugPrintf("OOP!!! CSubSystem::CreateLun return VDS_E_OBJECT_NOT_FOUND, line %d\n", __LINE__);
    return VDS_E_OBJECT_NOT_FOUND;
  }
  if (!allHealthy) {
    DebugPrintf("OOP!!! CSubSystem::CreateLun return VDS_E_DISK_NOT_ONLINE, line %d\n", __LINE__);
    return VDS_E_DISK_NOT_ONLINE;
  }
  if (used > 0) {
    DebugPrintf("OOP!!! CSubSystem::CreateLun return VDS_E_DISK_NOT_EMPTY, line %d\n", __LINE__);
    return VDS_E_DISK_NOT_EMPTY;
  }
  return S_OK;
}

VDS_HINTS HintsFromHints2(const VDS_HINTS2& in) {
  VDS_HINTS out{};
  out.ullHintMask = in.ullHintMask;
  const std::pair<ULONGLONG, BOOL> gated[] = {
      {0x200, in.bAllocateHotSpare},    {0x800, in.bUseMirroredCache},
      {0x1000, in.bReadCachingEnabled}, {0x2000, in.bWriteCachingEnabled},
      {0x4000, in.bMediaScanEnabled},   {0x8000, in.bConsistencyCheckEnabled}};
  for (const auto& [bit, enabled] : gated) {
    if (!enabled) out.ullHintMask &= ~bit;
  }
  out.ullExpectedMaximumSize = in.ullExpectedMaximumSize;
  out.ulOptimalReadSize = in.ulOptimalReadSize;
  out.ulOptimalReadAlignment = in.ulOptimalReadAlignment;
  out.ulOptimalWriteSize = in.ulOptimalWriteSize;
  out.ulOptimalWriteAlignment = in.ulOptimalWriteAlignment;
  out.ulMaximumDriveCount = in.ulMaximumDriveCount;
  out.ulStripeSize = in.ulStripeSize;
  out.bFastCrashRecoveryRequired = in.bFastCrashRecoveryRequired;
  out.bMostlyReads = in.bMostlyReads;
  out.bOptimizeForSequentialReads = in.bOptimizeForSequentialReads;
  out.bOptimizeForSequentialWrites = in.bOptimizeForSequentialWrites;
  out.bRemapEnabled = in.bRemapEnabled;
  out.bReadBackVerifyEnabled = in.bReadBackVerifyEnabled;
  out.bWriteThroughCachingEnabled = in.bWriteThroughCachingEnabled;
  out.bHardwareChecksumEnabled = in.bHardwareChecksumEnabled;
  out.bIsYankable = in.bIsYankable;
  out.sRebuildPriority = in.sRebuildPriority;
  return out;
}

NewVdiskDrives PlanSelectedDrives(VDS_LUN_TYPE type, UCHAR level, ULONGLONG size, ULONG found,
                                  ULONGLONG totalBytes, bool supportRaid6) {
  NewVdiskDrives plan;
  plan.type = type;
  ULONG fewest = 1;
  if (type == VDS_LT_RAID60) {
    fewest = 8;
  } else if (type == VDS_LT_RAID50) {
    fewest = 6;
  } else if (type == VDS_LT_RAID6) {
    fewest = 4;
  } else if (IsParityFamily(type)) {
    fewest = 3;
  } else if (type == VDS_LT_MIRROR || type == VDS_LT_RAID10 || type == VDS_LT_STRIPE) {
    fewest = 2;
  }
  if (found == 0 || found < fewest) {
    plan.hr = VDS_E_NOT_ENOUGH_DRIVE;
    return plan;
  }
  if (type == VDS_LT_DEFAULT || type == VDS_LT_FAULT_TOLERANT || type == VDS_LT_SIMPLE) {
    plan.type = VDS_LT_SIMPLE;
    plan.needed = 1;
  } else {
    if (type == VDS_LT_PARITY &&
        ((found < 4 && level == VELA_RAID6 && supportRaid6) || (found < 6 && NestedLevel(level)))) {
      plan.hr = VDS_E_NOT_ENOUGH_DRIVE;
      return plan;
    }
    if (!IsParityFamily(type)) {
      plan.needed = 2;
    } else if (level == VELA_RAID5 || level == VELA_RAID3) {
      plan.needed = 3;
    } else if (level == VELA_RAID6) {
      plan.needed = 4;
    } else if (NestedLevel(level)) {
      plan.needed = 6;
    }
  }
  const ULONGLONG perDrive = totalBytes / found;
  if (plan.type == VDS_LT_SIMPLE) {
    if (size != 0 && size > perDrive) plan.hr = E_INVALIDARG;
    return plan;
  }
  if (size != 0) {
    const ULONG step = type == VDS_LT_MIRROR || type == VDS_LT_RAID10 ? 2 : 1;
    // The search stops once it needs more drives than were found.
    while (plan.needed <= found) {
      uint8_t width = 0;
      const __int128 capacity = PlannedCapacity(type, level, plan.needed, perDrive, &width);
      if (capacity >= 0) plan.groupWidth = width;
      if (capacity >= static_cast<__int128>(size)) break;
      plan.needed += step;
    }
  }
  if (plan.needed == 0 || plan.needed > found) plan.hr = VDS_E_NOT_ENOUGH_DRIVE;
  return plan;
}

bool ControllerTakesNewVdisk(const controllerData& data, ULONG* maxPartitionPerController) {
  if (data.controllerState == 2 || data.controllerState == 3) return false;
  if (data.controller.maxArrayPartitions != 0) {
    *maxPartitionPerController = data.controller.maxArrayPartitions >> 1;
  }
  DebugPrintf("CLun::CreateLunByCreateArray maxPartitionPerController = %d!\n",
              *maxPartitionPerController);
  return data.numPartitions < *maxPartitionPerController;
}

ULONGLONG NewVdiskPartitionSize(ULONGLONG size, const array& vdisk) {
  const ULONGLONG freeBytes = vdisk.freeBlocks << 9;
  if (size == 0 || size > freeBytes) return ROUND_DOWN_TO_MB_BOUNDARY(freeBytes);
  return size;
}

HRESULT NewVdiskPartitionResult(int rc) {
  switch (rc) {
    case 0:
      DebugPrintf("OOP!! CLun::CreateLunByCreateArray add_array_part OK!\n");
      return S_OK;
    case 78:
      DebugPrintf(
          "OOP!! CLun::CreateLunByCreateArray add_array_part faild, return "
          "VDS_E_VOLUME_TOO_SMALL!\n");
      return VDS_E_VOLUME_TOO_SMALL;
    case 214:
    case 215:
      DebugPrintf(
          "OOP!! CLun::CreateLunByCreateArray add_array_part faild, return "
          "VDS_E_PARTITION_LIMIT_REACHED!\n");
      return VDS_E_PARTITION_LIMIT_REACHED;
    default:
      DebugPrintf("OOP!! CLun::CreateLunByCreateArray add_array_part failed!\n");
      return VDS_E_INTERNAL_ERROR;
  }
}

UCHAR WantedVdiskLevel(VDS_LUN_TYPE type, UCHAR specialRaidType) {
  switch (type) {
    case VDS_LT_PARITY:
      return specialRaidType;
    case VDS_LT_RAID3:
      return VELA_RAID3;
    case VDS_LT_RAID5:
      return VELA_RAID5;
    case VDS_LT_RAID6:
      return VELA_RAID6;
    case VDS_LT_RAID30:
      return VELA_RAID30;
    case VDS_LT_RAID50:
      return VELA_RAID50;
    default:
      return 12;
  }
}

bool VdiskOffline(const array& vdisk) {
  return vdisk.health == 3 || vdisk.health == 4 || vdisk.health == 5;
}

bool SkipVdiskForPartition(const array& vdisk, VDS_LUN_TYPE type, UCHAR wantLevel, ULONG stripeSize,
                           ULONGLONG size) {
  if (VdiskOffline(vdisk) || vdisk.numArrayPartitions >= maxPartitionPerArray) return true;
  if (VelaLevel2VdsType(vdisk) != type) return true;
  if (IsParityFamily(type) && vdisk.raidLevel != wantLevel) return true;
  const int64_t members = int64_t{vdisk.numDrives} - int64_t{vdisk.numSpares};
  const bool stripeMatters = type == VDS_LT_STRIPE || IsParityFamily(type) ||
                             ((type == VDS_LT_MIRROR || type == VDS_LT_RAID10) && members >= 4);
  if (stripeMatters && stripeSize != 0 &&
      static_cast<uint64_t>(stripeSize) != (uint64_t{vdisk.stripeSizeKB} << 10)) {
    return true;
  }
  if (type == VDS_LT_MIRROR && members == 2 && stripeSize != 0) return true;
  const unsigned __int128 freeBytes = static_cast<unsigned __int128>(vdisk.freeBlocks) << 9;
  return freeBytes < kMinLunSizeBytes || freeBytes < size;
}

HRESULT AddedPartitionResult(int rc) {
  switch (rc) {
    case 0:
      return S_OK;
    case 78:
      return VDS_E_VOLUME_TOO_SMALL;
    case 214:
    case 215:
      return VDS_E_PARTITION_LIMIT_REACHED;
    default:
      DebugPrintf("OOP!! CLun::CreateLunByAddPartition add_array_part failed(0x%x)!\n", rc);
      return S_FALSE;
  }
}

HRESULT SnapshotResult(int rc) {
  if (rc == 0) return S_OK;
  if (rc == 186 || rc == 187) {
    DebugPrintf(
        "OOP!! CLun::CreateLunByAddPartition create_snapshot VELA_ERROR_EXCEED_MAX_SNAPSHOT!\n");
    return VDS_E_PARTITION_LIMIT_REACHED;
  }
  DebugPrintf("OOP!! CLun::CreateLunByAddPartition create_snapshot failed!\n");
  return S_FALSE;
}

const partition* FindSnapshotPartition(const controllerData& data, const uint8_t* serial16) {
  const partition* match = nullptr;
  const size_t numArrays = ValidCount(data.numArrays, kMaxArrays);
  for (size_t i = 0; i < numArrays; ++i) {
    DebugPrintf("CLun::CreateLunByAddPartition  numArrayPartitions %d\n",
                data.arrays[i].numArrayPartitions);
    const size_t numParts = ValidCount(data.arrays[i].numArrayPartitions, kMaxArrayPartitions);
    for (size_t j = 0; j < numParts; ++j) {
      const partition& part = data.partitions[i][j];
      if (part.type == 3 && std::memcmp(part.serialNumber, serial16, 16) == 0) match = &part;
    }
  }
  return match;
}

void LogHints(const VDS_HINTS& hints) {
  DebugPrintf(
      "VDS_HINTS: ullHintMask = 0x%I64x, ullExpectedMaximumSize = 0x%I64x, "
      "ulOptimalReadSize = %d, ulOptimalReadAlignment = %d, ulOptimalWriteSize = %d, "
      "ulOptimalWriteAlignment = %d, ulMaximumDriveCount = %d, ulStripeSize = %d, "
      "bFastCrashRecoveryRequired = %d, bMostlyReads = %d, bOptimizeForSequentialReads = %d, "
      "bOptimizeForSequentialWrites = %d, bRemapEnabled = %d, bReadBackVerifyEnabled = %d, "
      "bWriteThroughCachingEnabled = %d, bHardwareChecksumEnabled = %d, bIsYankable = %d, "
      "sRebuildPriority = %d\n",
      hints.ullHintMask, hints.ullExpectedMaximumSize, hints.ulOptimalReadSize,
      hints.ulOptimalReadAlignment, hints.ulOptimalWriteSize, hints.ulOptimalWriteAlignment,
      hints.ulMaximumDriveCount, hints.ulStripeSize, hints.bFastCrashRecoveryRequired,
      hints.bMostlyReads, hints.bOptimizeForSequentialReads, hints.bOptimizeForSequentialWrites,
      hints.bRemapEnabled, hints.bReadBackVerifyEnabled, hints.bWriteThroughCachingEnabled,
      hints.bHardwareChecksumEnabled, hints.bIsYankable, hints.sRebuildPriority);
}
