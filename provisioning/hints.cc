#include "provisioning/hints.h"

#include <algorithm>

#include "platform/strings.h"
#include "platform/vds.h"

namespace {

constexpr ULONGLONG kBit(int n) { return ULONGLONG{1} << n; }

constexpr ULONGLONG kBaseMask = 0x10c;
constexpr ULONGLONG kSnapPoolBit = kBit(56);
constexpr ULONGLONG kMasterBit = kBit(57);
constexpr ULONGLONG kSnapshotBit = kBit(58);
constexpr uint8_t kUtilityMediaScan = 7;
constexpr uint8_t kUtilityConsistencyCheck = 6;

}  // namespace

VDS_HINTS QueryHintsFor(const LunHintFacts& facts) {
  VDS_HINTS hints{};
  hints.ullHintMask = kBaseMask;
  hints.ulOptimalReadSize = facts.stripeSize;
  hints.ulOptimalReadAlignment = facts.stripeSize;
  hints.ulOptimalWriteSize = facts.stripeSize;
  hints.ulOptimalWriteAlignment = facts.stripeSize;
  hints.ulStripeSize = facts.stripeSize;
  hints.ulMaximumDriveCount = 128;
  hints.bOptimizeForSequentialReads = facts.cache.readAhead;
  hints.bOptimizeForSequentialWrites = facts.cache.readAhead;
  hints.bWriteThroughCachingEnabled = facts.cache.writePolicy == 0 ? TRUE : FALSE;
  hints.bIsYankable = TRUE;
  // The level in the words the creation reads back (SelectRaidLevel).
  switch (facts.raidLevel) {
    case VELA_RAID5:
      hints.bMostlyReads = TRUE;
      hints.ullHintMask = 0x800000000000010eULL;
      break;
    case VELA_RAID50:
      hints.bMostlyReads = TRUE;
      hints.ullHintMask = 0x400000000000010eULL;
      break;
    case VELA_RAID3:
      hints.bMostlyReads = TRUE;
      hints.ullHintMask = 0x200000000000010eULL;
      break;
    default:
      break;
  }
  // The role's bit, and the next bit up when the LUN has dependants.
  switch (facts.partType) {
    case 1:
      hints.ullHintMask |= kSnapPoolBit | (facts.hasDependants ? kMasterBit : 0);
      break;
    case 2:
      hints.ullHintMask |= kMasterBit | (facts.hasDependants ? kSnapshotBit : 0);
      break;
    case 3:
      hints.ullHintMask |= kSnapshotBit;
      break;
    default:
      break;
  }
  return hints;
}

VDS_HINTS2 QueryHints2For(const LunHintFacts& facts) {
  const VDS_HINTS hints = QueryHintsFor(facts);
  VDS_HINTS2 out{};
  out.ullHintMask = hints.ullHintMask;
  out.ullExpectedMaximumSize = hints.ullExpectedMaximumSize;
  out.ulOptimalReadSize = hints.ulOptimalReadSize;
  out.ulOptimalReadAlignment = hints.ulOptimalReadAlignment;
  out.ulOptimalWriteSize = hints.ulOptimalWriteSize;
  out.ulOptimalWriteAlignment = hints.ulOptimalWriteAlignment;
  out.ulMaximumDriveCount = hints.ulMaximumDriveCount;
  out.ulStripeSize = hints.ulStripeSize;
  out.bMostlyReads = hints.bMostlyReads;
  out.bOptimizeForSequentialReads = hints.bOptimizeForSequentialReads;
  out.bOptimizeForSequentialWrites = hints.bOptimizeForSequentialWrites;
  out.bWriteThroughCachingEnabled = hints.bWriteThroughCachingEnabled;
  out.bIsYankable = hints.bIsYankable;
  if (facts.cache.writePolicy != 0) {
    out.ullHintMask |= 0x800 | 0x2000;
    out.bUseMirroredCache = TRUE;
    out.bWriteCachingEnabled = TRUE;
  }
  out.ullHintMask |= 0x1000;
  out.bReadCachingEnabled = TRUE;
  if (facts.utility == kUtilityMediaScan) {
    out.ullHintMask |= 0x4000;
    out.bMediaScanEnabled = TRUE;
  } else if (facts.utility == kUtilityConsistencyCheck) {
    out.ullHintMask |= 0x8000;
    out.bConsistencyCheckEnabled = TRUE;
  }
  return out;
}

HRESULT CheckApplyHints(const VDS_HINTS& hints) {
  const ULONGLONG mask = hints.ullHintMask;
  if ((mask & kBit(2)) != 0 && (mask & kBit(3)) != 0 &&
      hints.bOptimizeForSequentialReads != hints.bOptimizeForSequentialWrites) {
    return VDS_E_NOT_SUPPORTED;
  }
  if ((mask & (kBit(0) | kBit(5) | kBit(7) | kBit(8))) != 0) return VDS_E_NOT_SUPPORTED;
  if (hints.sRebuildPriority != 0 || hints.ullExpectedMaximumSize != 0 ||
      hints.ulMaximumDriveCount != 0 || hints.ulOptimalReadAlignment != 0 ||
      hints.ulOptimalReadSize != 0 || hints.ulOptimalWriteAlignment != 0 ||
      hints.ulOptimalWriteSize != 0 || hints.ulStripeSize != 0) {
    return VDS_E_NOT_SUPPORTED;
  }
  return S_OK;
}

cacheParams ApplyCacheHints(const cacheParams& current, const VDS_HINTS& hints) {
  cacheParams params = current;
  if ((hints.ullHintMask & kBit(6)) != 0) {
    params.writePolicy = hints.bWriteThroughCachingEnabled ? 0 : 1;
  }
  if ((hints.ullHintMask & kBit(2)) != 0) {
    params.readAhead = static_cast<uint8_t>(hints.bOptimizeForSequentialReads & 0xFF);
  }
  if ((hints.ullHintMask & kBit(3)) != 0) {
    params.readAhead = static_cast<uint8_t>(hints.bOptimizeForSequentialWrites & 0xFF);
  }
  return params;
}

HRESULT CheckConvertToMaster(uint8_t partType) {
  return partType == 0 ? S_OK : VDS_E_NOT_SUPPORTED;
}

HRESULT CheckConvertToStandard(uint8_t partType, bool hasSnapshots) {
  return partType == 2 && !hasSnapshots ? S_OK : VDS_E_NOT_SUPPORTED;
}

HRESULT ConvertResult(bool toMaster, int rc) {
  if (rc == 0) return S_OK;
  if (toMaster && rc == 215) return VDS_E_PARTITION_LIMIT_REACHED;
  return VDS_E_INTERNAL_ERROR;
}

std::u16string LunNameFromRequest(const std::u16string& requested) {
  return requested.substr(0, kMaxLunNameChars);
}

bool LunNameTaken(const std::u16string& name, const std::vector<std::u16string>& others) {
  return std::find(others.begin(), others.end(), name) != others.end();
}

std::string NarrowName(const std::u16string& name, size_t maxBytes) {
  std::string out;
  for (size_t i = 0; i < name.size(); ++i) {
    // A surrogate pair is one character.
    const bool pair = name[i] >= 0xD800 && name[i] < 0xDC00 && i + 1 < name.size() &&
                      name[i + 1] >= 0xDC00 && name[i + 1] < 0xE000;
    const std::string piece = Utf16ToUtf8(std::u16string_view(name).substr(i, pair ? 2 : 1));
    if (out.size() + piece.size() > maxBytes) break;
    out += piece;
    if (pair) ++i;
  }
  return out;
}
