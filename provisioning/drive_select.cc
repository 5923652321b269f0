#include "provisioning/drive_select.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "diag/debug_log.h"
#include "provisioning/utility.h"

namespace {

bool Listed(const VDS_OBJECT_ID& id, const VDS_OBJECT_ID* ids, ULONG count) {
  if (ids == nullptr) return false;
  for (ULONG i = 0; i < count; ++i) {
    if (std::memcmp(&ids[i], &id, sizeof(id)) == 0) return true;
  }
  return false;
}

void DumpDrive(const DriveCandidate& drive) {
  DebugPrintf("Drive SN : %.32s, m_isFreeDrive = %d, m_driveType = %d, ullSize = %I64u\n",
              reinterpret_cast<const char*>(drive.serial.data()), drive.isFree, drive.driveType,
              drive.size);
}

// One candidate set for a new vdisk.
struct DriveGroup {
  ULONG count = 0;
  uint8_t driveType = 0;
  ULONGLONG driveSize = 0;
  ULONGLONG totalBytes = 0;
  DriveLists lists;
};

// The fewest drives a type (at its level) needs when the system chooses them.
ULONG MinDriveNum(VDS_LUN_TYPE type, UCHAR raidLevel) {
  if (type == VDS_LT_STRIPE || type == VDS_LT_MIRROR) return 2;
  if (type == VDS_LT_RAID10) return 4;
  if (IsParityFamily(type)) {
    if (raidLevel == VELA_RAID5 || raidLevel == VELA_RAID3) return 3;
    if (raidLevel == VELA_RAID50 || raidLevel == VELA_RAID30) return 6;
    return 4;
  }
  return 1;
}

}  // namespace

bool DriveInVdisk(const uint8_t* driveSn7, const uint8_t* vdiskSerial) {
  return std::memcmp(driveSn7, vdiskSerial + 3, 3) == 0 &&
         std::memcmp(driveSn7 + 3, vdiskSerial + 8, 4) == 0;
}

void VdiskShortSerial(const uint8_t* vdiskSerial, uint8_t* driveSn7) {
  std::memcpy(driveSn7, vdiskSerial + 3, 3);
  std::memcpy(driveSn7 + 3, vdiskSerial + 8, 4);
}

void DriveLists::Append(const DriveCandidate& drive) {
  vSn.push_back(drive.serial);
  driveLocation where{};
  where.channelIndex = drive.channel;
  where.driveIndex = drive.scsiId;
  vLoca.push_back(where);
}

void DriveLists::Truncate(size_t n) {
  if (vSn.size() > n) vSn.resize(n);
  if (vLoca.size() > n) vLoca.resize(n);
}

bool IsCandidate(const DriveCandidate& drive) {
  return drive.isFree && (drive.flags & VDS_DF_HOTSPARE) == 0 && drive.health == VDS_H_HEALTHY;
}

bool HasSameDriveType(const std::vector<DriveCandidate>& drives, const VDS_OBJECT_ID* ids,
                      ULONG count) {
  DebugPrintf("CSubSystem::HasSameDriveType()\n");
  uint8_t reference = 0;
  for (const DriveCandidate& drive : drives) {
    if (!Listed(drive.id, ids, count)) continue;
    if (reference == 0) {
      reference = drive.driveType;
    } else if (drive.driveType != reference) {
      return false;
    }
  }
  return true;
}

bool HasSameDriveType(const std::vector<DriveCandidate>& drives, uint8_t driveType,
                      const VDS_OBJECT_ID* ids, ULONG count) {
  DebugPrintf("CSubSystem::HasSameDriveType()\n");
  for (const DriveCandidate& drive : drives) {
    if (!Listed(drive.id, ids, count) || drive.driveType == driveType) continue;
    DebugPrintf("Input drive's driveType(%d) is not equal sepcail driveType(%d)\n", drive.driveType,
                driveType);
    DumpDrive(drive);
    return false;
  }
  return true;
}

bool DriveGuids2VelaSn(const std::vector<DriveCandidate>& drives, const VDS_OBJECT_ID* ids,
                       ULONG count, ULONGLONG fixedSize, DriveLists* lists, ULONGLONG* totalBytes) {
  DebugPrintf("CSubSystem::DriveGuids2VelaSn()\n");
  bool allFree = true;
  *totalBytes = 0;
  ULONGLONG running = fixedSize;
  for (const DriveCandidate& drive : drives) {
    if (!Listed(drive.id, ids, count)) continue;
    if (!drive.isFree || (drive.flags & VDS_DF_HOTSPARE) != 0) {
      DebugPrintf("CSubSystem::DriveGuids2VelaSn Drive is not free, dump it: \n");
      DumpDrive(drive);
      DebugPrintf("CSubSystem::DriveGuids2VelaSn out\n");
      allFree = false;
    }
    if (fixedSize != 0) {
      if (drive.size < fixedSize) continue;
    } else if (running == 0 || drive.size < running) {
      running = drive.size;
    }
    *totalBytes += running;
    lists->Append(drive);
  }
  DebugPrintf(allFree ? "Specified drives are all free\n" : "Specified drives are not all free\n");
  return allFree;
}

ULONG SeekNewDrives(const std::vector<DriveCandidate>& drives, VDS_LUN_TYPE type, uint8_t driveType,
                    ULONGLONG requiredSize, UCHAR raidLevel, ULONG numSpares, DriveLists* lists,
                    ULONGLONG* totalBytes) {
  const size_t limit = (type == VDS_LT_PARITY || type == VDS_LT_RAID50) && raidLevel == VELA_RAID50
                           ? kMaxDrivesPerNestedVdiskCreate
                           : kMaxDrivesPerVdiskCreate;
  ULONGLONG running = requiredSize;
  *totalBytes = 0;
  for (const DriveCandidate& drive : drives) {
    if (!IsCandidate(drive) || drive.driveType != driveType) continue;
    if (lists->size() >= limit + numSpares) break;
    if (requiredSize > 0) {
      if (drive.size < requiredSize) continue;
    } else if (running == 0 || drive.size < running) {
      running = drive.size;
    }
    if (lists->size() < limit) *totalBytes += running;
    lists->Append(drive);
    if (type == VDS_LT_SIMPLE) break;
  }
  return static_cast<ULONG>(lists->size());
}

ULONG SeekNewDrivesForCreate(const std::vector<DriveCandidate>& drives, uint8_t allowedDriveType,
                             UCHAR raidLevel, VDS_LUN_TYPE type, ULONG numSpares, DriveLists* lists,
                             ULONGLONG* totalBytes) {
  std::vector<std::pair<uint8_t, ULONGLONG>> sizes;
  for (uint8_t driveType : {kDriveTypeSata, kDriveTypeSas, kDriveTypeFc}) {
    if (allowedDriveType != driveType && allowedDriveType != 1) continue;
    for (const DriveCandidate& drive : drives) {
      if (!IsCandidate(drive) || drive.driveType != driveType) continue;
      const std::pair<uint8_t, ULONGLONG> key{driveType, drive.size};
      if (std::find(sizes.begin(), sizes.end(), key) == sizes.end()) sizes.push_back(key);
    }
  }
  std::vector<DriveGroup> groups;
  for (const auto& [driveType, size] : sizes) {
    DriveGroup group;
    group.count = SeekNewDrives(drives, type, driveType, size, raidLevel, numSpares, &group.lists,
                                &group.totalBytes);
    if (group.count == 0) continue;
    group.driveType = driveType;
    group.driveSize = size;
    groups.push_back(std::move(group));
  }
  if (groups.empty()) return 0;
  // Largest total first; equal totals keep the order in which they were found.
  std::stable_sort(groups.begin(), groups.end(), [](const DriveGroup& a, const DriveGroup& b) {
    return a.totalBytes > b.totalBytes;
  });
  ULONG minDriveNum = MinDriveNum(type, raidLevel);
  DebugPrintf(
      "CSubSystem::SeekNewDrivesForCreate: SpecialRaidType %d minDriveNum %d numSpares %d\n",
      raidLevel, minDriveNum, numSpares);
  minDriveNum += numSpares;
  for (const DriveGroup& group : groups) {
    if (group.count < minDriveNum) continue;
    lists->vSn.insert(lists->vSn.end(), group.lists.vSn.begin(), group.lists.vSn.end());
    lists->vLoca.insert(lists->vLoca.end(), group.lists.vLoca.begin(), group.lists.vLoca.end());
    *totalBytes = group.totalBytes;
    return static_cast<ULONG>(lists->size());
  }
  return 0;
}

namespace {

bool SerialListed(const char* serial, const std::vector<DriveSerial>& vSn) {
  for (const DriveSerial& sn : vSn) {
    if (std::memcmp(sn.data(), serial, sn.size()) == 0) return true;
  }
  return false;
}

}  // namespace

bool HasSameMemberDrives(const controllerData& data, const uint8_t* arraySerial,
                         const std::vector<DriveSerial>& vSn) {
  size_t matches = 0;
  const size_t numDrives = ValidCount(data.numDrives, kMaxDrives);
  for (size_t i = 0; i < numDrives; ++i) {
    const drive& record = data.drives[i];
    if (record.howUsed != 1 && record.howUsed != 2) continue;
    if (!DriveInVdisk(record.vdiskSerial, arraySerial)) continue;
    if (!SerialListed(record.serialNumber, vSn)) return false;
    ++matches;
  }
  if (matches == vSn.size()) {
    DebugPrintf("HasSameMemberDrives() return true %d\n", static_cast<int>(matches));
    return true;
  }
  DebugPrintf("HasSameMemberDrives: %d drive(s), %d match(es), returning false.\n",
              static_cast<int>(vSn.size()), static_cast<int>(matches));
  return false;
}

bool IsVdiskContainDrives(const controllerData& data, const uint8_t* arraySerial,
                          const std::vector<DriveSerial>& vSn) {
  const size_t numDrives = ValidCount(data.numDrives, kMaxDrives);
  size_t found = 0;
  for (const DriveSerial& sn : vSn) {
    bool hit = false;
    for (size_t i = 0; i < numDrives && !hit; ++i) {
      const drive& record = data.drives[i];
      hit = record.howUsed == 1 && DriveInVdisk(record.vdiskSerial, arraySerial) &&
            std::memcmp(record.serialNumber, sn.data(), sn.size()) == 0;
    }
    if (!hit) {
      DebugPrintf("IsVdiskContainDrives() notFound is %d, so return false \n", 1);
      return false;
    }
    ++found;
  }
  DebugPrintf("IsVdiskContainDrives() return true, nDrive %d\n", static_cast<int>(found));
  return true;
}
