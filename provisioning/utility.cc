#include "provisioning/utility.h"

#include "diag/debug_log.h"
#include "platform/osversion.h"
#include "platform/registry.h"
#include "platform/winerror.h"
#include "proxy/records_format.h"

namespace {

// Products like (n - 1) * bytes can pass 2^64 for large drive sets; they are formed in 128 bits
// so the quotient is the true one. n is never 0 here (checked by the callers below).
ULONGLONG MulDiv(ULONGLONG a, ULONGLONG b, ULONGLONG d) {
  return static_cast<ULONGLONG>(static_cast<unsigned __int128>(a) * b / d);
}

// Mirrors keep half the sum, spread evenly over an even number of drives.
ULONGLONG MirrorSize(ULONG n, ULONGLONG bytes) { return ((bytes >> 1) / n) * (n & ~1UL); }

}  // namespace

bool IsParityFamily(VDS_LUN_TYPE type) {
  switch (type) {
    case VDS_LT_PARITY:
    case VDS_LT_RAID3:
    case VDS_LT_RAID5:
    case VDS_LT_RAID6:
    case VDS_LT_RAID30:
    case VDS_LT_RAID50:
    case VDS_LT_RAID60:
      return true;
    default:
      return false;
  }
}

UCHAR VdsType2VelaRaidLevel(UCHAR defaultLevel, VDS_LUN_TYPE type) {
  switch (type) {
    case VDS_LT_DEFAULT:
    case VDS_LT_FAULT_TOLERANT:
    case VDS_LT_PARITY:
      return defaultLevel;
    case VDS_LT_NON_FAULT_TOLERANT:
    case VDS_LT_STRIPE:
      return VELA_RAID0;
    case VDS_LT_SIMPLE:
    case VDS_LT_SPAN:
      return VELA_NRAID;
    case VDS_LT_MIRROR:
      return VELA_RAID1;
    default:
      break;
  }
  if (OsVersionGates().win7) {
    switch (type) {
      case VDS_LT_RAID3:
        return VELA_RAID3;
      case VDS_LT_RAID5:
        return VELA_RAID5;
      case VDS_LT_RAID6:
        return VELA_RAID6;
      case VDS_LT_RAID10:
        return VELA_RAID10;
      case VDS_LT_RAID30:
        return VELA_RAID30;
      case VDS_LT_RAID50:
        return VELA_RAID50;
      default:
        break;
    }
  }
  // VDS_LT_RAID60 always lands here: no level stands for it, and it is served at level 0.
  DebugPrintf("VdsType2VelaRaidLevel: mapping VDS_LUN_TYPE %d to VELA_RAID0\n", type);
  return VELA_RAID0;
}

UCHAR SelectRaidLevel(const VDS_HINTS& hints, VDS_LUN_TYPE type) {
  switch (type) {
    case VDS_LT_RAID10:
      return VELA_RAID10;
    case VDS_LT_RAID3:
      return VELA_RAID3;
    case VDS_LT_RAID30:
      return VELA_RAID30;
    case VDS_LT_RAID5:
      return VELA_RAID5;
    case VDS_LT_RAID50:
      return VELA_RAID50;
    case VDS_LT_RAID6:
      return VELA_RAID6;
    default:
      break;
  }
  LONG n = static_cast<LONG>(hints.ulMaximumDriveCount);
  // The hot spare is not part of the vdisk.
  if (n > 2 && (hints.ullHintMask & kHintMaskHotSpare) != 0) --n;
  const UCHAR parityDefault = n == 3 ? VELA_RAID5 : VELA_RAID6;

  bool privateChannel = false;
  if (type == VDS_LT_FAULT_TOLERANT && (hints.ullHintMask & kHintMaskMostlyReads) != 0) {
    if (!hints.bMostlyReads) {
      return VdsType2VelaRaidLevel(parityDefault, n == 2 ? VDS_LT_MIRROR : VDS_LT_RAID10);
    }
    privateChannel = true;
  } else if (type == VDS_LT_FAULT_TOLERANT || type == VDS_LT_PARITY) {
    if (!hints.bMostlyReads) return parityDefault;
    privateChannel = true;
  }
  if (!privateChannel) return VdsType2VelaRaidLevel(parityDefault, type);

  if ((hints.ullHintMask & kHintMaskRaid5) != 0) return VELA_RAID5;
  if ((hints.ullHintMask & kHintMaskRaid50) != 0) return VELA_RAID50;
  if ((hints.ullHintMask & kHintMaskRaid3) != 0) return VELA_RAID3;
  return parityDefault;
}

VDS_LUN_TYPE VelaLevel2VdsType(UCHAR raidLevel, ULONG numDrives) {
  if (OsVersionGates().win7) {
    switch (raidLevel) {
      case VELA_RAID3:
        return VDS_LT_RAID3;
      case VELA_RAID5:
        return VDS_LT_RAID5;
      case VELA_RAID30:
        return VDS_LT_RAID30;
      case VELA_RAID50:
        return VDS_LT_RAID50;
      case VELA_RAID10:
        return VDS_LT_RAID10;
      case VELA_RAID6:
        return VDS_LT_RAID6;
      default:
        break;
    }
  }
  switch (raidLevel) {
    case VELA_RAID0:
      return VDS_LT_STRIPE;
    case VELA_RAID1:
    case VELA_RAID10:
      return VDS_LT_MIRROR;
    case VELA_RAID3:
    case VELA_RAID5:
    case VELA_RAID30:
    case VELA_RAID50:
    case VELA_RAID6:
      return VDS_LT_PARITY;
    case VELA_NRAID:
      return numDrives == 1 ? VDS_LT_SIMPLE : VDS_LT_SPAN;
    default:
      return VDS_LT_UNKNOWN;
  }
}

VDS_LUN_TYPE VelaLevel2VdsType(const array& arrayRecord) {
  return VelaLevel2VdsType(arrayRecord.raidLevel, arrayRecord.numDrives);
}

bool IsSupportSpecialLun() {
  HKEY key = nullptr;
  DWORD value = 0;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE,
                    "SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Debug", 0, KEY_READ,
                    &key) == ERROR_SUCCESS) {
    DWORD type = 0;
    DWORD size = sizeof(value);
    if (RegQueryValueExA(key, "DisabeSepcialLun", nullptr, &type, reinterpret_cast<BYTE*>(&value),
                         &size) != ERROR_SUCCESS ||
        type != REG_DWORD) {
      value = 0;
    }
    RegCloseKey(key);
  }
  DebugPrintf("IsSupportSpecialLun(): DisabeSepcialLun = %d\n", value);
  return value == 0;
}

int SpecialLunKind(ULONGLONG hintMask) {
  if (!IsSupportSpecialLun()) return 0;
  if ((hintMask & kHintMaskSnapPoolLun) != 0) return kNameKindSnapPool;
  if ((hintMask & kHintMaskMasterVolume) != 0) return kNameKindMasterVolume;
  if ((hintMask & kHintMaskSnapshot) != 0) return kNameKindSnapshot;
  return 0;
}

bool IsSpecialLun(ULONGLONG hintMask) { return SpecialLunKind(hintMask) != 0; }

ULONGLONG GetRaidSizeUsedDrivesUseLunType(UCHAR level, VDS_LUN_TYPE type, ULONG n, ULONGLONG bytes,
                                          bool rawFlag) {
  if (type < VDS_LT_MIRROR || type > VDS_LT_RAID50) return bytes;
  if (n == 0) return 0;
  switch (type) {
    case VDS_LT_MIRROR:
    case VDS_LT_RAID10:
      return MirrorSize(n, bytes);
    case VDS_LT_PARITY:
    case VDS_LT_RAID3:
    case VDS_LT_RAID5:
    case VDS_LT_RAID6:
    case VDS_LT_RAID30:
    case VDS_LT_RAID50:
      break;
    default:
      return bytes;
  }
  if (rawFlag) return bytes;
  switch (level) {
    case VELA_RAID5:
    case VELA_RAID3:
      return MulDiv(n - 1, bytes, n);
    case VELA_RAID6:
      return n < 2 ? 0 : MulDiv(n - 2, bytes, n);
    case VELA_RAID50:
    case VELA_RAID30: {
      // Kept as the controllers' sizing has always reported it, also where it doesn't match a
      // real layout (8 drives yield 4 drives' worth).
      const ULONGLONG g = bytes / n;
      if (n % 2 == 0) {
        ULONG k = n / 3;
        if (k < 3) k = 3;
        return (n / k) * g * (k - 1);
      }
      return g * ((n >> 1) - 1) * 2;
    }
    default:
      return bytes;
  }
}

ULONGLONG GetRaidSizeUsedDrivesUseRaidLevel(UCHAR level, ULONG n, ULONGLONG bytes, ULONG perGroup,
                                            bool rawFlag) {
  if (level < VELA_RAID3 || level > VELA_RAID6) return bytes;
  if (n == 0) return 0;
  switch (level) {
    case VELA_RAID3:
    case VELA_RAID5:
      return rawFlag ? bytes : MulDiv(n - 1, bytes, n);
    case VELA_RAID30:
    case VELA_RAID50:
      if (rawFlag) return bytes;
      if (perGroup == 0) return 0;
      return (n / perGroup) * (bytes / n) * (perGroup - 1);
    case VELA_RAID10:
      return MirrorSize(n, bytes);
    case VELA_RAID6:
      if (rawFlag) return bytes;
      return n < 2 ? 0 : MulDiv(n - 2, bytes, n);
    default:
      return bytes;
  }
}
