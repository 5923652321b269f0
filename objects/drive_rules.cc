#include "objects/drive_rules.h"

#include <cstdio>
#include <cstring>

#include "diag/debug_log.h"
#include "platform/strings.h"

uint8_t DriveClass(uint8_t driveType) {
  switch (driveType) {
    case kDriveTypeFc:
      return kDriveClassFc;
    case kDriveTypeSata:
    case kDriveTypeSataAlt:
      return kDriveClassSata;
    case kDriveTypeSas:
    case kDriveTypeSasAlt:
      return kDriveClassSas;
    default:
      if (driveType >= kDriveTypeSsdFirst && driveType <= kDriveTypeSsdLast) return kDriveClassSsd;
      return kDriveClassUnknown;
  }
}

const WCHAR* DriveClassName(uint8_t driveClass) {
  switch (driveClass) {
    case kDriveClassFc:
      return u"FC";
    case kDriveClassSata:
      return u"SATA";
    case kDriveClassSas:
      return u"SAS";
    case kDriveClassSsd:
      return u"SSD";
    default:
      return u"Unknown";
  }
}

VDS_STORAGE_BUS_TYPE DriveClassBusType(uint8_t driveClass) {
  switch (driveClass) {
    case kDriveClassFc:
      return VDSBusTypeFibre;
    case kDriveClassSata:
      return VDSBusTypeSata;
    case kDriveClassSas:
    case kDriveClassSsd:
      return VDSBusTypeSas;
    default:
      return VDSBusTypeUnknown;
  }
}

VDS_STORAGE_BUS_TYPE DriveBusType(uint8_t driveType) {
  switch (driveType) {
    case kDriveTypeFc:
      return VDSBusTypeFibre;
    case kDriveTypeSata:
    case kDriveTypeSataAlt:
    case 7:
    case 9:
      return VDSBusTypeSata;
    case kDriveTypeSas:
    case kDriveTypeSasAlt:
    case 8:
    case 10:
      return VDSBusTypeSas;
    default:
      return VDSBusTypeUnknown;
  }
}

ULONG DriveSpindleSpeed(const drive& record) {
  if (DriveClass(record.type) == kDriveClassSsd) return 1;
  return ULONG{record.rpmThousands} * 1000;
}

ULONGLONG DriveUsableSize(const drive& record, uint32_t driveOverheadPercent) {
  const unsigned __int128 raw = static_cast<unsigned __int128>(DriveBlockCount(record)) * 512;
  // A reserve above 100 % would make the factor wrap; it keeps nothing instead.
  const uint32_t reserveSteps = driveOverheadPercent / 10 > 100 ? 100 : driveOverheadPercent / 10;
  const ULONGLONG kept = static_cast<ULONGLONG>(raw * ((100 - reserveSteps) * 10) / 1000);
  return (kept & ~0xFFFFULL) - 0x1000000ULL;
}

DriveState ComputeDriveState(const drive& record) {
  DriveState s{};
  if (record.driveIndex == kNoIndex && record.containerIndex == kNoIndex) {
    s.status = VDS_DRS_FAILED;
    s.health = VDS_H_FAILED;
  } else {
    s.status = VDS_DRS_ONLINE;
    s.health = VDS_H_HEALTHY;
  }
  if (record.howUsed == kDriveLeftover) {
    s.status = VDS_DRS_OFFLINE;
    switch (record.downReason) {
      case 0:
      case 5:
      case 6:
        s.health = VDS_H_HEALTHY;
        break;
      case 1:
      case 2:
        s.health = VDS_H_FAILING;
        break;
      case 3:
      case 4:
        s.status = VDS_DRS_FAILED;
        s.health = VDS_H_FAILED;
        break;
      default:
        s.health = VDS_H_UNKNOWN;
        break;
    }
  }
  if (record.howUsed == kDriveFailed) {
    s.status = VDS_DRS_FAILED;
    s.health = VDS_H_FAILED;
  }
  s.isFree = true;
  switch (record.howUsed) {
    case kDriveAvailable:
      s.howUsedWord = "AVAILABLE";
      s.flags2 = VDS_DF_UNASSIGNED;
      break;
    case kDriveMember:
      s.howUsedWord = "MEMBER";
      s.isFree = false;
      s.flags2 = VDS_DF_ASSIGNED;
      break;
    case kDriveDedicatedSpare:
      s.howUsedWord = "DEDICATED SPARE";
      s.isFree = false;
      s.ulFlags = VDS_DF_HOTSPARE;
      s.flags2 = VDS_DF_HOTSPARE | VDS_DF_ASSIGNED | VDS_DF_HOTSPARE_STANDBY;
      break;
    case kDrivePoolSpare:
      s.howUsedWord = "POOL SPARE";
      s.isFree = false;
      s.ulFlags = VDS_DF_HOTSPARE;
      s.flags2 = VDS_DF_HOTSPARE | VDS_DF_UNASSIGNED | VDS_DF_HOTSPARE_STANDBY;
      break;
    case kDriveSingle:
      s.howUsedWord = "SINGLE";
      break;
    case kDriveLeftover:
      s.howUsedWord = "LEFTOVER";
      s.flags2 = VDS_DF_UNASSIGNED;
      break;
    default:
      s.howUsedWord = "unknown";
      break;
  }
  if (record.useState == kDriveUseStateSpareInUse) {
    s.isFree = false;
    s.ulFlags = 0;
    if ((s.flags2 & VDS_DF_HOTSPARE) == 0) {
      s.flags2 |= VDS_DF_ASSIGNED;
    } else {
      // A spare that took over: hot spare, assigned, in use.
      s.flags2 = (s.flags2 & ~ULONG{VDS_DF_UNASSIGNED | VDS_DF_HOTSPARE_STANDBY}) |
                 VDS_DF_ASSIGNED | VDS_DF_HOTSPARE_IN_USE;
    }
  }
  return s;
}

namespace {

// A fixed text field without its trailing blanks; `limit` bytes at most.
std::string Trimmed(const char* field, size_t limit) {
  size_t n = strnlen(field, limit);
  while (n > 0 && field[n - 1] == ' ') --n;
  return std::string(field, n);
}

}  // namespace

std::u16string MakeDriveName(const drive& record) {
  // The last byte of vendor, product and revision is a terminator, not text.
  const std::string vendor = Trimmed(record.vendor, sizeof(record.vendor) - 1);
  const std::string product = Trimmed(record.product, sizeof(record.product) - 1);
  const std::string revision = Trimmed(record.revision, sizeof(record.revision) - 1);
  const std::string serial = Trimmed(record.serialNumber, sizeof(record.serialNumber));
  char typeWord[8];
  switch (record.type) {
    case kDriveTypeFc:
      std::snprintf(typeWord, sizeof(typeWord), "FC");
      break;
    case kDriveTypeSata:
      std::snprintf(typeWord, sizeof(typeWord), "SATA");
      break;
    case kDriveTypeSas:
      std::snprintf(typeWord, sizeof(typeWord), "SAS");
      break;
    default: {
      std::snprintf(typeWord, sizeof(typeWord), "0x%x", record.type);
      const std::u16string wide = Utf8ToUtf16(typeWord);
      DebugPrintf("MakeDriveName: unknown drive type %ls\n", wide.c_str());
      break;
    }
  }
  char text[512];
  std::snprintf(text, sizeof(text), "%s %s s/n %s rev %s id %d.%d (%s)", vendor.c_str(),
                product.c_str(), serial.c_str(), revision.c_str(), record.channel, record.scsiId,
                typeWord);
  std::u16string name = Utf8ToUtf16(text);
  if (name.size() > 256) name.resize(256);
  return name;
}
