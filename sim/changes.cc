#include "sim/changes.h"

#include <algorithm>

#include "sim/raid.h"

namespace sim {

namespace {

Event VdiskEvent(uint32_t code, const Vdisk& vdisk, std::string description) {
  Event event;
  event.eventCode = code;
  event.description = std::move(description) + " (" + vdisk.name + ")";
  return event;
}

// Members still in service: present and not failed.
size_t LiveMembers(const Subsystem& subsystem, const Vdisk& vdisk) {
  size_t live = 0;
  for (const std::string& serial : vdisk.members) {
    for (const Drive& drive : subsystem.drives) {
      if (drive.serialNumber == serial && drive.present && drive.howUsed == kHowUsedMember) ++live;
    }
  }
  return live;
}

// Members a level can lose and keep its data.
size_t Redundancy(const Vdisk& vdisk) {
  switch (vdisk.raidLevel) {
    case kRaid1:
    case kRaid3:
    case kRaid5:
    case kRaid10:
    case kRaid30:
    case kRaid50:
      return 1;
    case kRaid6:
      return 2;
    default:
      return 0;
  }
}

// Re-derives a vdisk's health after it lost a member, and logs the change.
void MemberLost(Subsystem& subsystem, Vdisk& vdisk) {
  const size_t missing = vdisk.members.size() - LiveMembers(subsystem, vdisk);
  const uint8_t health = missing == 0                   ? vdisk.health
                         : missing <= Redundancy(vdisk) ? kVdiskDegraded
                                                        : kVdiskFailed;
  SetVdiskHealth(subsystem, vdisk, health);
}

Vdisk* VdiskOfDrive(Subsystem& subsystem, const std::string& serial) {
  for (Vdisk& vdisk : subsystem.vdisks) {
    if (std::find(vdisk.members.begin(), vdisk.members.end(), serial) != vdisk.members.end()) {
      return &vdisk;
    }
  }
  return nullptr;
}

}  // namespace

void FinishJob(Subsystem& subsystem, Vdisk& vdisk) {
  const uint8_t job = vdisk.utilityRunning;
  vdisk.blockCount += vdisk.jobPendingBlocks;
  vdisk.expandableBlocks += vdisk.jobPendingBlocks;
  vdisk.jobPendingBlocks = 0;
  vdisk.utilityRunning = 0;
  vdisk.jobPercent = 0;
  Event event = VdiskEvent(kEventJobComplete, vdisk, "Utility completed on vdisk");
  event.param = job;
  LogEvent(subsystem.controllers[vdisk.ownerIndex], event);
}

bool FailDrive(Subsystem& subsystem, const std::string& serial, std::string* why) {
  Drive* drive = FindDrive(subsystem, serial);
  if (!drive || !drive->present) {
    *why = "no drive " + serial;
    return false;
  }
  if (drive->howUsed == kHowUsedFailed) {
    *why = "drive " + serial + " has failed already";
    return false;
  }
  const bool wasMember = drive->howUsed == kHowUsedMember;
  drive->howUsed = kHowUsedFailed;
  Event event;
  event.eventCode = kEventDriveFailed;
  event.driveSerial = serial;
  event.description = "Disk drive failed (" + serial + ")";
  LogEventAll(subsystem, event);
  if (wasMember) {
    if (Vdisk* vdisk = VdiskOfDrive(subsystem, serial)) MemberLost(subsystem, *vdisk);
  }
  return true;
}

bool PullDrive(Subsystem& subsystem, const std::string& serial, std::string* why) {
  Drive* drive = FindDrive(subsystem, serial);
  if (!drive || !drive->present) {
    *why = "no drive " + serial;
    return false;
  }
  drive->present = false;
  const bool wasMember = drive->howUsed == kHowUsedMember;
  Event event;
  event.eventCode = kEventDriveDepart;
  event.driveSerial = serial;
  event.description = "Disk drive removed (" + serial + ")";
  LogEventAll(subsystem, event);
  if (wasMember) {
    if (Vdisk* vdisk = VdiskOfDrive(subsystem, serial)) MemberLost(subsystem, *vdisk);
  }
  return true;
}

void SetVdiskHealth(Subsystem& subsystem, Vdisk& vdisk, uint8_t health) {
  if (vdisk.health == health) return;
  vdisk.health = health;
  Event event = VdiskEvent(kEventVdiskHealth, vdisk, "Vdisk health changed");
  event.param = health;
  LogEvent(subsystem.controllers[vdisk.ownerIndex], event);
}

void LogOperatorEvent(Controller& controller, uint32_t code, uint32_t param) {
  Event event;
  event.eventCode = code;
  event.param = param;
  event.description = "Event " + std::to_string(code) + " raised by the operator";
  LogEvent(controller, event);
}

size_t ContainerIndex(const Subsystem& subsystem, size_t v) {
  size_t index = 0;
  for (size_t i = 0; i < v; ++i) {
    if (subsystem.vdisks[i].ownerIndex == subsystem.vdisks[v].ownerIndex) ++index;
  }
  return index;
}

}  // namespace sim
