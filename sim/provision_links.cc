// The changes that link things to a vdisk's volumes: host mappings, spares, owners, snapshots.
#include <algorithm>
#include <cstring>

#include "sim/changes.h"
#include "sim/provision.h"
#include "sim/provision_internal.h"

namespace sim {

using provision::ControllerUp;
using provision::CountPartitions;
using provision::FindByPrefix;
using provision::FreeLun;
using provision::HasDependants;
using provision::kPartitionMaster;
using provision::kPartitionPlain;
using provision::kPartitionSnapPool;
using provision::kPartitionSnapshot;
using provision::LogOnOwner;
using provision::LunEvent;
using provision::PartitionsOnController;

uint32_t ChangeView(Subsystem& subsystem, const ViewChange& change) {
  Vdisk* vdisk = nullptr;
  Partition* partition = FindPartition(subsystem, change.serial, &vdisk);
  if (!partition) return kStatusNotFound;
  const bool named =
      std::any_of(change.wwpn.begin(), change.wwpn.end(), [](uint8_t b) { return b; }) ||
      !change.hostName.empty();
  const bool grant =
      std::any_of(change.access.begin(), change.access.end(), [](uint8_t b) { return b; });
  auto sameHost = [&](const HostMapping& host) {
    return host.hostType == change.hostType && host.wwpn == change.wwpn &&
           host.hostName == change.hostName;
  };
  if (change.deleteAll || (!named && !grant)) {
    partition->hosts.clear();
    partition->allHosts = false;
  } else if (!named) {
    // Every host at this LUN: refused when another partition shows every host the same LUN.
    for (const Vdisk& other : subsystem.vdisks) {
      for (const Partition& p : other.partitions) {
        if (&p != partition && p.allHosts && p.lun == change.lun) return kStatusLunInUse;
      }
    }
    partition->hosts.clear();
    partition->allHosts = true;
    partition->lun = change.lun;
  } else if (!grant) {
    partition->hosts.erase(
        std::remove_if(partition->hosts.begin(), partition->hosts.end(), sameHost),
        partition->hosts.end());
  } else {
    // A host sees one partition per LUN number.
    for (const Vdisk& other : subsystem.vdisks) {
      for (const Partition& p : other.partitions) {
        if (&p == partition) continue;
        if (p.allHosts && p.lun == change.lun) return kStatusLunInUse;
        for (const HostMapping& host : p.hosts) {
          if (sameHost(host) && host.lun == change.lun) return kStatusLunInUse;
        }
      }
    }
    auto existing = std::find_if(partition->hosts.begin(), partition->hosts.end(), sameHost);
    if (existing == partition->hosts.end()) {
      if (partition->hosts.size() >= kMaxHostsPerView) return kStatusInUse;
      partition->hosts.emplace_back();
      existing = partition->hosts.end() - 1;
    }
    existing->hostType = change.hostType;
    existing->wwpn = change.wwpn;
    existing->hostName = change.hostName;
    existing->lun = change.lun;
    existing->access = change.access;
    partition->allHosts = false;
  }
  LogOnOwner(subsystem, *vdisk, LunEvent(kEventLunMapping, *partition, "Volume mapping changed"));
  return 0;
}

uint32_t AssignPoolSpare(Subsystem& subsystem, const std::string& serial, bool assign) {
  Drive* drive = FindDrive(subsystem, serial);
  if (!drive || !drive->present) return kStatusNotFound;
  if (assign) {
    if (drive->howUsed != kHowUsedAvailable) return kStatusDriveUnavailable;
    size_t spares = 0;
    for (const Drive& other : subsystem.drives) spares += other.howUsed == kHowUsedPoolSpare;
    if (spares >= kMaxPoolSpares) return kStatusSpareLimit;
    drive->howUsed = kHowUsedPoolSpare;
  } else {
    if (drive->howUsed != kHowUsedPoolSpare) return kStatusDriveUnavailable;
    drive->howUsed = kHowUsedAvailable;
  }
  Event event;
  event.eventCode = kEventSpareChanged;
  event.driveSerial = serial;
  event.description = (assign ? "Pool spare assigned (" : "Pool spare released (") + serial + ")";
  LogEventAll(subsystem, event);
  return 0;
}

uint32_t BlinkDrive(Subsystem& subsystem, const std::string& serial, bool on) {
  Drive* drive = FindDrive(subsystem, serial);
  if (!drive || !drive->present) return kStatusNotFound;
  drive->blinking = on;
  return 0;
}

uint32_t ToggleOwner(Subsystem& subsystem, const uint8_t* serial) {
  Vdisk* vdisk = FindVdisk(subsystem, serial, true);
  if (!vdisk) return kStatusNotFound;
  const size_t other = 1 - vdisk->ownerIndex;
  if (subsystem.controllers.size() < 2 || !ControllerUp(subsystem, other)) {
    return kStatusControllerDown;
  }
  if (PartitionsOnController(subsystem, other) + vdisk->partitions.size() >
      subsystem.controllers[other].maxArrayPartitions) {
    return kStatusControllerPartitionLimit;
  }
  for (const Partition& partition : vdisk->partitions) {
    LogOnOwner(subsystem, *vdisk, LunEvent(kEventLunDepart, partition, "Volume moved away"));
  }
  vdisk->ownerIndex = static_cast<uint8_t>(other);
  for (const Partition& partition : vdisk->partitions) {
    LogOnOwner(subsystem, *vdisk, LunEvent(kEventLunArrive, partition, "Volume moved here"));
  }
  return 0;
}

uint32_t RebootController(Subsystem& subsystem, size_t controllerIndex) {
  Event depart;
  depart.eventCode = kEventControllerDepart;
  depart.param = kControllerEventParamRefresh;
  depart.controllerHandle = subsystem.controllers[controllerIndex].handle;
  depart.description = "Controller restarting";
  Event arrive = depart;
  arrive.eventCode = kEventControllerArrive;
  arrive.description = "Controller back online";
  for (size_t i = 0; i < subsystem.controllers.size(); ++i) {
    if (i != controllerIndex && ControllerUp(subsystem, i)) {
      LogEvent(subsystem.controllers[i], depart);
      LogEvent(subsystem.controllers[i], arrive);
    }
  }
  LogEvent(subsystem.controllers[controllerIndex], arrive);
  return 0;
}

uint32_t ConvertMasterVolume(Model& model, Subsystem& subsystem, const uint8_t* serial,
                             bool toMaster, const uint8_t* backingStoreId) {
  Vdisk* vdisk = nullptr;
  Partition* partition = FindPartition(subsystem, serial, &vdisk);
  if (!partition) return kStatusNotFound;
  if (toMaster) {
    if (partition->type != kPartitionPlain) return kStatusInUse;
    if (CountPartitions(subsystem, kPartitionMaster) >= model.limits.maxMasterVolumes) {
      return kStatusPartitionLimit;
    }
    if (!FindByPrefix(subsystem, backingStoreId, kPartitionSnapPool, nullptr)) {
      return kStatusNotFound;
    }
    partition->type = kPartitionMaster;
    partition->backingStore = Serial32{};
    std::memcpy(partition->backingStore.data(), backingStoreId, 16);
  } else {
    if (partition->type != kPartitionMaster) return kStatusInUse;
    if (HasDependants(subsystem, *partition)) return kStatusInUse;
    partition->type = kPartitionPlain;
    partition->backingStore = Serial32{};
  }
  LogOnOwner(subsystem, *vdisk, LunEvent(kEventLunModify, *partition, "Volume converted"));
  return 0;
}

uint32_t CreateSnapshot(Model& model, Subsystem& subsystem, size_t controllerIndex,
                        const uint8_t* masterId, const std::string& name, Serial32* made) {
  Vdisk* vdisk = nullptr;
  const Partition* master = FindByPrefix(subsystem, masterId, kPartitionMaster, &vdisk);
  if (!master) return kStatusNotFound;
  if (CountPartitions(subsystem, kPartitionSnapshot) >= model.limits.maxSnapshots) {
    return kStatusSnapshotLimit;
  }
  const uint32_t perController = subsystem.controllers[vdisk->ownerIndex].maxArrayPartitions;
  if (vdisk->partitions.size() >=
          std::min<size_t>(model.limits.maxPartitionsPerArray, kMaxPartitionsPerArray) ||
      (perController != 0 &&
       PartitionsOnController(subsystem, vdisk->ownerIndex) >= perController)) {
    return kStatusSnapshotLimit + 1;
  }
  Partition snapshot;
  snapshot.name = name.substr(0, 31);
  snapshot.serialNumber = NewPartitionSerial(model);
  snapshot.offsetBlocks = master->offsetBlocks;
  snapshot.blocks = master->blocks;
  snapshot.lun = FreeLun(subsystem);
  snapshot.type = kPartitionSnapshot;
  snapshot.allHosts = false;
  snapshot.cacheParams = master->cacheParams;
  std::memcpy(snapshot.master.data(), master->serialNumber.data(), 16);
  snapshot.backingStore = master->backingStore;
  vdisk->partitions.push_back(snapshot);
  ++subsystem.controllers[controllerIndex].dmsTag;
  LogOnOwner(subsystem, *vdisk, LunEvent(kEventLunArrive, snapshot, "Snapshot created"));
  *made = snapshot.serialNumber;
  return 0;
}

}  // namespace sim
