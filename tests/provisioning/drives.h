// Free healthy drives for the provisioning tests: drive n has id n + 1, serial "SN<n>" and
// SCSI id n on channel 1.
#ifndef VELA_TESTS_PROVISIONING_DRIVES_H_
#define VELA_TESTS_PROVISIONING_DRIVES_H_

#include <cstring>
#include <string>
#include <vector>

#include "provisioning/drive_select.h"

inline constexpr ULONGLONG kGiB = 1ULL << 30;

inline DriveCandidate Drive(int n, uint8_t type, ULONGLONG gib) {
  DriveCandidate drive;
  drive.id.Data1 = static_cast<uint32_t>(n + 1);
  drive.size = gib * kGiB;
  drive.health = VDS_H_HEALTHY;
  drive.isFree = true;
  drive.driveType = type;
  const std::string serial = "SN" + std::to_string(n);
  std::memcpy(drive.serial.data(), serial.data(), serial.size());
  drive.channel = 1;
  drive.scsiId = static_cast<uint8_t>(n);
  return drive;
}

// n drives alike, numbered from `first`.
inline std::vector<DriveCandidate> Same(int n, uint8_t type, ULONGLONG gib, int first = 0) {
  std::vector<DriveCandidate> drives;
  for (int i = 0; i < n; ++i) drives.push_back(Drive(first + i, type, gib));
  return drives;
}

#endif  // VELA_TESTS_PROVISIONING_DRIVES_H_
