#include "provisioning/sizes.h"

#include <cstring>

#include "diag/debug_log.h"
#include "provisioning/utility.h"

namespace {

bool NestedLevel(UCHAR level) { return level == VELA_RAID50 || level == VELA_RAID30; }

ULONGLONG SaturatingAdd(ULONGLONG a, ULONGLONG b) { return a > ~0ULL - b ? ~0ULL : a + b; }

}  // namespace

const array* FindVdiskBySerial(const controllerData& data, const uint8_t* arraySerial) {
  const size_t numArrays = ValidCount(data.numArrays, kMaxArrays);
  for (size_t i = 0; i < numArrays; ++i) {
    if (std::memcmp(data.arrays[i].serialNumber, arraySerial, 32) == 0) return &data.arrays[i];
  }
  return nullptr;
}

bool AnyVdiskExpanding(const controllerData& data) {
  const size_t numArrays = ValidCount(data.numArrays, kMaxArrays);
  for (size_t i = 0; i < numArrays; ++i) {
    if (data.arrays[i].utilityRunning == 5) return true;
  }
  return false;
}

bool MaxCreateTypeKnown(VDS_LUN_TYPE type) {
  switch (type) {
    case VDS_LT_DEFAULT:
    case VDS_LT_FAULT_TOLERANT:
    case VDS_LT_NON_FAULT_TOLERANT:
    case VDS_LT_SIMPLE:
    case VDS_LT_SPAN:
    case VDS_LT_STRIPE:
    case VDS_LT_MIRROR:
    case VDS_LT_RAID10:
      return true;
    default:
      return IsParityFamily(type);
  }
}

HRESULT CheckMaxCreateDrives(UCHAR level, LONG count, const std::vector<DriveCandidate>& drives,
                             const VDS_OBJECT_ID* ids) {
  const auto n = static_cast<ULONG>(count);
  const ULONG limit =
      NestedLevel(level) ? kMaxDrivesPerNestedVdiskCreate : kMaxDrivesPerVdiskCreate;
  if (n > limit) {
    DebugPrintf(
        "OOP!! CSubSystem::QueryMaxLunCreateSize() line %d : the input drives num to more(%d). "
        "return VDS_E_NOT_SUPPORTED\n",
        __LINE__, count);
    return VDS_E_NOT_SUPPORTED;
  }
  if (NestedLevel(level) && n % 2 != 0 && n % 3 != 0) {
    DebugPrintf(
        "OOP!! CSubSystem::QueryMaxLunCreateSize() line %d : the input drives num (%d) cannot mod "
        "2 or 3. return VDS_E_NOT_SUPPORTED\n",
        __LINE__, count);
    return VDS_E_NOT_SUPPORTED;
  }
  if (!HasSameDriveType(drives, ids, n)) {
    DebugPrintf(
        "OOP!! CSubSystem::QueryMaxLunCreateSize() line %d : the input drives has not same "
        "type(Mixed drives). return VDS_E_NOT_SUPPORTED\n",
        __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  return S_OK;
}

bool MaxNewVdiskSize(VDS_LUN_TYPE type, UCHAR level, ULONG count, ULONGLONG total,
                     bool supportRaid6, ULONGLONG* size) {
  *size = 0;
  if (IsParityFamily(type) && count < 3) {
    DebugPrintf(
        "CSubSystem::QueryMaxLunCreateSize() type is VDS_LT_PARITY but lNumberOfDrives < 3, "
        "reutrn OK, out\n");
    return false;
  }
  if (type == VDS_LT_MIRROR && count == 1) {
    DebugPrintf(
        "CSubSystem::QueryMaxLunCreateSize() type is VDS_LT_MIRROR but lNumberOfDrives == 1, "
        "reutrn OK, out\n");
    return false;
  }
  if (type == VDS_LT_RAID10 && count < 4) {
    DebugPrintf(
        "CSubSystem::QueryMaxLunCreateSize() type is VDS_LT_RAID10 but lNumberOfDrives(%d) < 4, "
        "return OK, out\n",
        count);
    return false;
  }
  if (type == VDS_LT_STRIPE && count == 1) {
    DebugPrintf(
        "CSubSystem::QueryMaxLunCreateSize() type is VDS_LT_STRIPE but lNumberOfDrives == 1, "
        "reutrn OK, out\n");
    return false;
  }
  // Abstract types by count. Unlike creation, a non-fault-tolerant request of three or more
  // drives is sized as parity.
  if (type == VDS_LT_DEFAULT || type == VDS_LT_FAULT_TOLERANT) {
    type = count == 1 ? VDS_LT_SIMPLE : count == 2 ? VDS_LT_MIRROR : VDS_LT_PARITY;
  } else if (type == VDS_LT_NON_FAULT_TOLERANT) {
    type = count == 1 ? VDS_LT_SIMPLE : count == 2 ? VDS_LT_STRIPE : VDS_LT_PARITY;
  }
  if (IsParityFamily(type)) {
    if (level == VELA_RAID6 && count < 4 && supportRaid6) {
      DebugPrintf(
          "CSubSystem::QueryMaxLunCreateSize() create raid 6 need more than 4 drives, return "
          "S_OK, out\n");
      return false;
    }
    if (NestedLevel(level)) {
      if (count < 6) {
        DebugPrintf(
            "CSubSystem::QueryMaxLunCreateSize() create raid 50 need more than 6 drives, return "
            "S_OK, out\n");
        return false;
      }
      // Whole groups only: an odd count not divisible by 3 loses drives until it is.
      const ULONGLONG perDrive = total / count;
      while (count % 2 != 0 && count % 3 != 0) --count;
      total = count * perDrive;
    }
  }
  *size =
      ROUND_DOWN_TO_MB_BOUNDARY(GetRaidSizeUsedDrivesUseLunType(level, type, count, total, false));
  return true;
}

ULONGLONG MaxPartitionInVdisk(const controllerData& data, const uint8_t* arraySerial) {
  const array* vdisk = FindVdiskBySerial(data, arraySerial);
  const ULONGLONG freeBytes = vdisk != nullptr ? vdisk->expandableBlocks << 9 : 0;
  return ROUND_DOWN_TO_MB_BOUNDARY(freeBytes);
}

ULONG DrivesForOneExtension(const LunFacts& lun, ULONG found) {
  if (NestedLevel(lun.raidLevel)) return found >= lun.perGroup ? lun.perGroup : 0;
  if (found < 5) {
    if ((lun.type == VDS_LT_RAID10 || lun.type == VDS_LT_MIRROR) && found % 2 != 0) {
      return found - 1;
    }
    return found;
  }
  return kMaxDrivesPerExtend;
}

bool ExtendSizeSeeksDrives(VDS_LUN_TYPE type) {
  return type == VDS_LT_STRIPE || IsParityFamily(type) || type == VDS_LT_MIRROR ||
         type == VDS_LT_RAID10 || type == VDS_LT_FAULT_TOLERANT;
}

ULONGLONG MaxExtendBytes(const LunFacts& lun, ULONG n, ULONGLONG all, const array* vdisk,
                         bool containsDrives) {
  const ULONGLONG freeBytes = vdisk != nullptr ? vdisk->expandableBlocks << 9 : 0;
  if (n < lun.numDrives && containsDrives) {
    DebugPrintf(
        "CLun::QueryMaxLunExtendSize() IsVdiskContainDrives=true, so set the "
        "ullSizeAllDrives=0\n");
    all = 0;
    n = lun.numDrives;
  }
  if (n != 0) all = GetRaidSizeUsedDrivesUseRaidLevel(lun.raidLevel, n, all, lun.perGroup, true);
  if (lun.raidLevel == VELA_RAID1) {
    DebugPrintf(
        "CLun::QueryMaxLunExtendSize() RAID 1 cann't extend with add drive, set the "
        "ullSizeAllDrives = 0\n");
    all = 0;
  }
  const ULONGLONG sum = SaturatingAdd(freeBytes, all);
  DebugPrintf(
      "CLun::QueryMaxLunExtendSize() : before ROUND_DOWN_TO_MB_BOUNDARY, need %d drives, Max "
      "bytes to be added = 0x%I64x\n",
      n, sum);
  const ULONGLONG result = ROUND_DOWN_TO_MB_BOUNDARY(sum);
  DebugPrintf(
      "CLun::QueryMaxLunExtendSize() : after ROUND_DOWN_TO_MB_BOUNDARY, need %d drives, Max "
      "bytes to be added = 0x%I64x\n",
      n, result);
  return result;
}
