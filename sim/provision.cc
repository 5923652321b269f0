#include "sim/provision.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "sim/changes.h"
#include "sim/provision_internal.h"
#include "sim/raid.h"

namespace sim {

namespace provision {

bool ControllerUp(const Subsystem& subsystem, size_t index) {
  return index < subsystem.controllers.size() && subsystem.controllers[index].controllerState == 0;
}

Event LunEvent(uint32_t code, const Partition& partition, const char* what) {
  Event event;
  event.eventCode = code;
  event.lunSerial = partition.serialNumber;
  event.description = std::string(what) + " (" + partition.name + ")";
  return event;
}

void LogOnOwner(Subsystem& subsystem, const Vdisk& vdisk, const Event& event) {
  LogEvent(subsystem.controllers[vdisk.ownerIndex], event);
}

size_t PartitionsOnController(const Subsystem& subsystem, size_t controllerIndex) {
  size_t count = 0;
  for (const Vdisk& vdisk : subsystem.vdisks) {
    if (vdisk.ownerIndex == controllerIndex) count += vdisk.partitions.size();
  }
  return count;
}

size_t CountPartitions(const Subsystem& subsystem, uint8_t type) {
  size_t count = 0;
  for (const Vdisk& vdisk : subsystem.vdisks) {
    for (const Partition& partition : vdisk.partitions) count += partition.type == type;
  }
  return count;
}

uint32_t FreeLun(const Subsystem& subsystem) {
  std::set<uint32_t> used;
  for (const Vdisk& vdisk : subsystem.vdisks) {
    for (const Partition& partition : vdisk.partitions) used.insert(partition.lun);
  }
  uint32_t lun = 0;
  while (used.count(lun)) ++lun;
  return lun;
}

Partition* FindByPrefix(Subsystem& subsystem, const uint8_t* id, uint8_t type, Vdisk** owner) {
  for (Vdisk& vdisk : subsystem.vdisks) {
    for (Partition& partition : vdisk.partitions) {
      if (partition.type == type && std::memcmp(partition.serialNumber.data(), id, 16) == 0) {
        if (owner) *owner = &vdisk;
        return &partition;
      }
    }
  }
  return nullptr;
}

bool HasDependants(const Subsystem& subsystem, const Partition& partition) {
  const uint8_t dependant = partition.type == kPartitionSnapPool ? kPartitionMaster
                            : partition.type == kPartitionMaster ? kPartitionSnapshot
                                                                 : 0xFF;
  for (const Vdisk& vdisk : subsystem.vdisks) {
    for (const Partition& other : vdisk.partitions) {
      const Serial32& link = dependant == kPartitionMaster ? other.backingStore : other.master;
      if (other.type == dependant &&
          std::memcmp(link.data(), partition.serialNumber.data(), 16) == 0) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace provision

using provision::ControllerUp;
using provision::CountPartitions;
using provision::FindByPrefix;
using provision::FreeLun;
using provision::HasDependants;
using provision::kPartitionMaster;
using provision::kPartitionPlain;
using provision::kPartitionSnapPool;
using provision::kPartitionSnapshot;
using provision::kUtilityExpansion;
using provision::kUtilityStoppable;
using provision::LogOnOwner;
using provision::LunEvent;
using provision::PartitionsOnController;

namespace {

Drive* Resolve(Subsystem& subsystem, const DriveRef& ref) {
  if (!ref.serial.empty()) return FindDrive(subsystem, ref.serial);
  for (Drive& drive : subsystem.drives) {
    if (drive.present && drive.channel == ref.channel && drive.scsiId == ref.scsiId) return &drive;
  }
  return nullptr;
}

// The drives a request names, each present, available, and named once.

uint32_t ResolveFree(Subsystem& subsystem, const std::vector<DriveRef>& refs,
                     std::vector<Drive*>* drives) {
  std::set<const Drive*> seen;
  for (const DriveRef& ref : refs) {
    Drive* drive = Resolve(subsystem, ref);
    if (!drive || !drive->present || drive->howUsed != kHowUsedAvailable ||
        !seen.insert(drive).second) {
      return kStatusDriveUnavailable;
    }
    drives->push_back(drive);
  }
  return 0;
}

size_t VdiskIndex(const Subsystem& subsystem, const Vdisk* vdisk) {
  return static_cast<size_t>(vdisk - subsystem.vdisks.data());
}

Event VdiskEvent(uint32_t code, const Vdisk& vdisk, const char* what) {
  Event event;
  event.eventCode = code;
  event.description = std::string(what) + " (" + vdisk.name + ")";
  return event;
}

// The lowest LUN number no partition of the subsystem uses.

// First free gap of at least `blocks` inside the allocatable part of a vdisk.

bool FirstFit(const Vdisk& vdisk, uint64_t blocks, uint64_t* offset) {
  std::vector<std::pair<uint64_t, uint64_t>> extents;
  for (const Partition& partition : vdisk.partitions) {
    if (partition.type != kPartitionSnapshot) {
      extents.emplace_back(partition.offsetBlocks, partition.blocks);
    }
  }
  std::sort(extents.begin(), extents.end());
  const uint64_t end = vdisk.blockCount - vdisk.expandableBlocks;
  uint64_t cursor = 0;
  for (const auto& [start, length] : extents) {
    if (start >= cursor && start - cursor >= blocks) break;
    cursor = std::max(cursor, start + length);
  }
  if (cursor > end || end - cursor < blocks) return false;
  *offset = cursor;
  return true;
}

uint64_t SmallestUsable(const Subsystem& subsystem, const std::vector<std::string>& serials,
                        uint32_t overhead) {
  uint64_t smallest = UINT64_MAX;
  for (const Drive& drive : subsystem.drives) {
    if (std::find(serials.begin(), serials.end(), drive.serialNumber) != serials.end()) {
      smallest = std::min(smallest, UsableDriveBlocks(drive.blocks, overhead));
    }
  }
  return smallest == UINT64_MAX ? 0 : smallest;
}

}  // namespace

uint32_t CreateArray(Model& model, Subsystem& subsystem, const CreateArrayArgs& args,
                     size_t* vdiskIndex) {
  size_t owner = SIZE_MAX;
  for (size_t i = 0; i < subsystem.controllers.size(); ++i) {
    if (subsystem.controllers[i].controllerId == args.controllerId) owner = i;
  }
  if (owner == SIZE_MAX || !ControllerUp(subsystem, owner)) return kStatusControllerDown;
  if (subsystem.vdisks.size() >= kMaxArrays) return kStatusArrayLimit;
  if (args.numSpares >= args.drives.size()) return kStatusBadLevel;
  const auto members = static_cast<uint32_t>(args.drives.size() - args.numSpares);
  if (members > MaxMembersAtCreation(args.raidLevel)) return kStatusTooManyDrives;
  uint32_t perGroup = args.numDrivesPerLowLevelArray;
  // A nested level without a group width: the controller takes the narrowest whole groups.
  if (perGroup == 0 && (args.raidLevel == kRaid50 || args.raidLevel == kRaid30)) {
    for (uint32_t width = 3; width <= members / 2 && perGroup == 0; ++width) {
      if (members % width == 0) perGroup = width;
    }
  }
  if (!RaidLevelAccepts(args.raidLevel, members, perGroup, nullptr)) return kStatusBadLevel;
  std::vector<Drive*> drives;
  if (const uint32_t status = ResolveFree(subsystem, args.drives, &drives)) return status;
  const Controller& controller = subsystem.controllers[owner];
  for (const Drive* drive : drives) {
    if (drive->type != drives[0]->type ||
        (controller.allowedDriveType != 1 && drive->type != controller.allowedDriveType)) {
      return kStatusDriveUnavailable;
    }
  }

  Vdisk vdisk;
  vdisk.name = args.name.substr(0, 31);
  vdisk.serialNumber = NewVdiskSerial(model);
  vdisk.raidLevel = args.raidLevel;
  vdisk.stripeSizeKB = args.stripeSizeKB;
  vdisk.numDrivesPerLowLevelArray = static_cast<uint8_t>(perGroup);
  vdisk.ownerIndex = static_cast<uint8_t>(owner);
  vdisk.driveType = drives[0]->type;
  for (size_t i = 0; i < drives.size(); ++i) {
    const bool spare = i >= members;
    drives[i]->howUsed = spare ? kHowUsedDedicatedSpare : kHowUsedMember;
    (spare ? vdisk.spares : vdisk.members).push_back(drives[i]->serialNumber);
  }
  vdisk.blockCount = VdiskCapacityBlocks(
      vdisk.raidLevel, members, vdisk.numDrivesPerLowLevelArray,
      SmallestUsable(subsystem, vdisk.members, controller.driveOverheadPercent));
  subsystem.vdisks.push_back(std::move(vdisk));
  *vdiskIndex = subsystem.vdisks.size() - 1;
  LogOnOwner(subsystem, subsystem.vdisks.back(),
             VdiskEvent(kEventVdiskCreated, subsystem.vdisks.back(), "Vdisk created"));
  return 0;
}

uint32_t DeleteArray(Subsystem& subsystem, const uint8_t* serial) {
  Vdisk* vdisk = FindVdisk(subsystem, serial, true);
  if (!vdisk) return kStatusNotFound;
  for (const Partition& partition : vdisk->partitions) {
    if (HasDependants(subsystem, partition)) return kStatusInUse;
  }
  for (const Partition& partition : vdisk->partitions) {
    LogOnOwner(subsystem, *vdisk, LunEvent(kEventLunDepart, partition, "Volume deleted"));
  }
  LogOnOwner(subsystem, *vdisk, VdiskEvent(kEventVdiskDeleted, *vdisk, "Vdisk deleted"));
  for (Drive& drive : subsystem.drives) {
    const bool used = std::find(vdisk->members.begin(), vdisk->members.end(), drive.serialNumber) !=
                          vdisk->members.end() ||
                      std::find(vdisk->spares.begin(), vdisk->spares.end(), drive.serialNumber) !=
                          vdisk->spares.end();
    if (used && drive.howUsed != kHowUsedFailed) {
      drive.howUsed = kHowUsedAvailable;
      drive.useState = 0;
    }
  }
  subsystem.vdisks.erase(subsystem.vdisks.begin() +
                         static_cast<std::ptrdiff_t>(VdiskIndex(subsystem, vdisk)));
  return 0;
}

uint32_t AddPartition(Model& model, Subsystem& subsystem, const AddPartitionArgs& args,
                      Partition* made) {
  Vdisk* vdisk = FindVdisk(subsystem, args.vdiskSerial, true);
  if (!vdisk) return kStatusNotFound;
  if (!ControllerUp(subsystem, vdisk->ownerIndex)) return kStatusControllerDown;
  if (args.blocks < kMinPartitionBlocks) return kStatusVolumeTooSmall;
  const uint32_t perController = subsystem.controllers[vdisk->ownerIndex].maxArrayPartitions;
  if (perController != 0 && PartitionsOnController(subsystem, vdisk->ownerIndex) >= perController) {
    return kStatusControllerPartitionLimit;
  }
  if (vdisk->partitions.size() >=
      std::min<size_t>(model.limits.maxPartitionsPerArray, kMaxPartitionsPerArray)) {
    return kStatusPartitionLimit;
  }
  const uint8_t type = args.isSpecial ? args.specialKind : kPartitionPlain;
  if (type > kPartitionMaster) return kStatusBadLevel;
  Partition partition;
  if (type == kPartitionMaster) {
    if (CountPartitions(subsystem, kPartitionMaster) >= model.limits.maxMasterVolumes) {
      return kStatusPartitionLimit;
    }
    if (!FindByPrefix(subsystem, args.backingStoreId.data(), kPartitionSnapPool, nullptr)) {
      return kStatusNotFound;
    }
    std::memcpy(partition.backingStore.data(), args.backingStoreId.data(), 16);
  }
  uint64_t offset = 0;
  if (!FirstFit(*vdisk, args.blocks, &offset)) return kStatusNoSpace;
  partition.name = args.name.substr(0, 31);
  partition.serialNumber = NewPartitionSerial(model);
  partition.offsetBlocks = offset;
  partition.blocks = args.blocks;
  partition.lun = FreeLun(subsystem);
  // A new volume is hidden until a host is given access to it.
  partition.allHosts = false;
  partition.type = type;
  partition.cacheParams = vdisk->cacheParams;
  vdisk->partitions.push_back(partition);
  LogOnOwner(subsystem, *vdisk, LunEvent(kEventLunArrive, partition, "Volume created"));
  *made = partition;
  return 0;
}

uint32_t DeletePartition(Subsystem& subsystem, const uint8_t* serial) {
  Vdisk* vdisk = nullptr;
  Partition* partition = FindPartition(subsystem, serial, &vdisk);
  if (!partition) return kStatusNotFound;
  // An offline vdisk's volumes go only with the whole vdisk.
  if (vdisk->health == kVdiskOffline) return kStatusVdiskOffline;
  if (HasDependants(subsystem, *partition)) return kStatusInUse;
  LogOnOwner(subsystem, *vdisk, LunEvent(kEventLunDepart, *partition, "Volume deleted"));
  vdisk->partitions.erase(vdisk->partitions.begin() + (partition - vdisk->partitions.data()));
  return 0;
}

uint32_t SetPartitionName(Subsystem& subsystem, const uint8_t* serial, const std::string& name) {
  Vdisk* vdisk = nullptr;
  Partition* partition = FindPartition(subsystem, serial, &vdisk);
  if (!partition) return kStatusNotFound;
  partition->name = name.substr(0, 31);
  LogOnOwner(subsystem, *vdisk, LunEvent(kEventLunModify, *partition, "Volume renamed"));
  return 0;
}

uint32_t SetPartitionLun(Subsystem& subsystem, const uint8_t* serial, uint32_t lun) {
  Vdisk* vdisk = nullptr;
  Partition* partition = FindPartition(subsystem, serial, &vdisk);
  if (!partition) return kStatusNotFound;
  for (const Vdisk& other : subsystem.vdisks) {
    for (const Partition& p : other.partitions) {
      if (&p != partition && p.lun == lun) return kStatusLunInUse;
    }
  }
  partition->lun = lun;
  LogOnOwner(subsystem, *vdisk, LunEvent(kEventLunMapping, *partition, "Volume LUN changed"));
  return 0;
}

uint32_t SetPartitionCache(Subsystem& subsystem, const uint8_t* serial, const CacheParams& params) {
  Vdisk* vdisk = nullptr;
  Partition* partition = FindPartition(subsystem, serial, &vdisk);
  if (!partition) return kStatusNotFound;
  partition->cacheParams = params;
  LogOnOwner(subsystem, *vdisk, LunEvent(kEventLunModify, *partition, "Volume cache changed"));
  return 0;
}

uint32_t ExpandArray(Subsystem& subsystem, const uint8_t* serial,
                     const std::vector<DriveRef>& refs) {
  Vdisk* vdisk = FindVdisk(subsystem, serial, true);
  if (!vdisk) return kStatusNotFound;
  if (!ControllerUp(subsystem, vdisk->ownerIndex)) return kStatusControllerDown;
  for (const Vdisk& other : subsystem.vdisks) {
    if (other.ownerIndex == vdisk->ownerIndex && other.utilityRunning == kUtilityExpansion) {
      return kStatusJobRunning;
    }
  }
  if (vdisk->utilityRunning != 0 && vdisk->utilityRunning != kUtilityStoppable) {
    return kStatusJobRunning;
  }
  if (refs.empty()) return kStatusDriveUnavailable;
  if (vdisk->members.size() + refs.size() > kMaxMembers) return kStatusTooManyDrives;
  const auto total = static_cast<uint32_t>(vdisk->members.size() + refs.size());
  if (vdisk->raidLevel == kRaid1 ||
      !RaidLevelAccepts(vdisk->raidLevel, std::min(total, MaxMembersAtCreation(vdisk->raidLevel)),
                        vdisk->numDrivesPerLowLevelArray, nullptr) ||
      (vdisk->raidLevel == kRaid10 && total % 2 != 0) ||
      ((vdisk->raidLevel == kRaid30 || vdisk->raidLevel == kRaid50) &&
       total % std::max<uint32_t>(vdisk->numDrivesPerLowLevelArray, 1) != 0)) {
    return kStatusBadLevel;
  }
  std::vector<Drive*> drives;
  if (const uint32_t status = ResolveFree(subsystem, refs, &drives)) return status;
  for (const Drive* drive : drives) {
    if (drive->type != vdisk->driveType) return kStatusDriveUnavailable;
  }
  std::vector<std::string> members = vdisk->members;
  for (Drive* drive : drives) members.push_back(drive->serialNumber);
  const uint32_t overhead = subsystem.controllers[vdisk->ownerIndex].driveOverheadPercent;
  const uint64_t grown =
      VdiskCapacityBlocks(vdisk->raidLevel, total, vdisk->numDrivesPerLowLevelArray,
                          SmallestUsable(subsystem, members, overhead));
  for (Drive* drive : drives) drive->howUsed = kHowUsedMember;
  vdisk->members = std::move(members);
  vdisk->utilityRunning = kUtilityExpansion;
  vdisk->jobPercent = 0;
  vdisk->jobPendingBlocks = grown > vdisk->blockCount ? grown - vdisk->blockCount : 0;
  Event event = VdiskEvent(kEventJobStarted, *vdisk, "Vdisk expansion started");
  event.param = kUtilityExpansion;
  LogOnOwner(subsystem, *vdisk, event);
  return 0;
}

uint32_t ExpandPartition(Subsystem& subsystem, const uint8_t* serial, uint64_t newBlocks) {
  Vdisk* vdisk = nullptr;
  Partition* partition = FindPartition(subsystem, serial, &vdisk);
  if (!partition || partition->type == kPartitionSnapshot) return kStatusNotFound;
  if (vdisk->utilityRunning == kUtilityExpansion) return kStatusJobRunning;
  if (newBlocks <= partition->blocks) return kStatusVolumeTooSmall;
  // The partition grows into the space right behind it, up to the next partition or the end,
  // the expandable tail included.
  uint64_t limit = vdisk->blockCount;
  const uint64_t end = partition->offsetBlocks + partition->blocks;
  for (const Partition& other : vdisk->partitions) {
    if (other.type != kPartitionSnapshot && other.offsetBlocks >= end && &other != partition) {
      limit = std::min(limit, other.offsetBlocks);
    }
  }
  if (newBlocks - partition->blocks > limit - end) return kStatusNoSpace;
  partition->blocks = newBlocks;
  const uint64_t newEnd = partition->offsetBlocks + newBlocks;
  vdisk->expandableBlocks = std::min(vdisk->expandableBlocks, vdisk->blockCount - newEnd);
  LogOnOwner(subsystem, *vdisk, LunEvent(kEventLunModify, *partition, "Volume expanded"));
  return 0;
}

uint32_t AbortUtility(Subsystem& subsystem, const uint8_t* serial) {
  Vdisk* vdisk = FindVdisk(subsystem, serial, true);
  if (!vdisk) return kStatusNotFound;
  if (vdisk->utilityRunning == 0) return kStatusNoJob;
  if (vdisk->utilityRunning != kUtilityStoppable) return kStatusJobRunning;
  vdisk->utilityRunning = 0;
  vdisk->jobPercent = 0;
  Event event = VdiskEvent(kEventJobComplete, *vdisk, "Utility aborted on vdisk");
  event.param = kUtilityStoppable;
  LogOnOwner(subsystem, *vdisk, event);
  return 0;
}

bool CheckInvariants(const Subsystem& subsystem, std::string* why) {
  std::set<std::string> used;
  for (const Vdisk& vdisk : subsystem.vdisks) {
    for (const std::vector<std::string>* list : {&vdisk.members, &vdisk.spares}) {
      for (const std::string& serial : *list) {
        if (!used.insert(serial).second) {
          *why = "drive " + serial + " is in two vdisks";
          return false;
        }
      }
    }
    std::vector<std::pair<uint64_t, uint64_t>> extents;
    for (const Partition& partition : vdisk.partitions) {
      if (partition.type == kPartitionSnapshot) continue;
      extents.emplace_back(partition.offsetBlocks, partition.blocks);
      if (partition.offsetBlocks + partition.blocks > vdisk.blockCount) {
        *why = "partition " + partition.name + " lies outside vdisk " + vdisk.name;
        return false;
      }
    }
    std::sort(extents.begin(), extents.end());
    for (size_t i = 1; i < extents.size(); ++i) {
      if (extents[i - 1].first + extents[i - 1].second > extents[i].first) {
        *why = "partitions overlap in vdisk " + vdisk.name;
        return false;
      }
    }
    const FreeSpace space = ComputeFreeSpace(vdisk);
    uint64_t gaps = 0;
    uint64_t cursor = 0;
    for (const auto& [offset, blocks] : extents) {
      gaps += offset > cursor ? offset - cursor : 0;
      cursor = std::max(cursor, offset + blocks);
    }
    gaps += vdisk.blockCount > cursor ? vdisk.blockCount - cursor : 0;
    if (gaps != vdisk.blockCount - space.used) {
      *why = "free space of vdisk " + vdisk.name + " is not its size less its partitions";
      return false;
    }
    if (vdisk.partitions.size() > kMaxPartitionsPerArray) {
      *why = "vdisk " + vdisk.name + " holds more than 128 partitions";
      return false;
    }
  }
  for (const Drive& drive : subsystem.drives) {
    const bool inVdisk = used.count(drive.serialNumber) > 0;
    if ((drive.howUsed == kHowUsedMember || drive.howUsed == kHowUsedDedicatedSpare) != inVdisk &&
        drive.howUsed != kHowUsedFailed) {
      *why = "drive " + drive.serialNumber + " says howUsed " + std::to_string(drive.howUsed) +
             " but is " + (inVdisk ? "" : "not ") + "in a vdisk";
      return false;
    }
  }
  return true;
}

}  // namespace sim
