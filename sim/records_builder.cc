#include "sim/records_builder.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "sim/changes.h"
#include "sim/raid.h"

namespace sim {

namespace {

constexpr size_t Off(std::string_view name) {
  return wire::OffsetOf(controllerDataLayout, 0, name);
}

// Copies text into a fixed field, cut to the field and zero-filled.
template <size_t N>
void PutText(const std::string& text, char (&field)[N]) {
  std::memset(field, 0, N);
  std::memcpy(field, text.data(), std::min(text.size(), N));
}
// The same, blank-padded, for the drive's identification fields; the last byte stays zero.
template <size_t N>
void PutPadded(const std::string& text, char (&field)[N]) {
  std::memset(field, ' ', N - 1);
  field[N - 1] = 0;
  std::memcpy(field, text.data(), std::min(text.size(), N - 1));
}

void BuildPort(const HostPort& in, ::port* out) {
  out->hostPortType = in.type;
  out->portNumber = in.portNumber;
  if (in.type == kPortTypeIscsi) {
    out->iscsiLinkUp = in.linkUp;
    std::memcpy(out->macAddress, in.mac.data(), in.mac.size());
  } else if (in.type == kPortTypeSas) {
    out->linkUp = in.linkUp;
    out->sasLinkUp = in.linkUp;
    std::memcpy(out->sasPortId, in.wwpn.data(), in.wwpn.size());
  } else {
    out->linkUp = in.linkUp;
    std::memcpy(out->wwpn, in.wwpn.data(), in.wwpn.size());
  }
}

void BuildController(const Subsystem& subsystem, size_t index, ::controller* out) {
  const Controller& in = subsystem.controllers[index];
  const size_t ports = std::min(in.ports.size(), kMaxPorts);
  out->numPorts = static_cast<uint32_t>(ports);
  out->capabilities = in.capabilities;
  for (::controllerParams* params : {&out->controllerParams, &out->controllerParamsActive}) {
    params->controllerMode = in.controllerMode;
    params->driveOverheadPercent = in.driveOverheadPercent;
  }
  out->controllerId = in.controllerId;
  for (size_t i = 0; i < ports; ++i) BuildPort(in.ports[i], &out->ports[i]);
  if (subsystem.controllers.size() > 1) {
    const Controller& partner = subsystem.controllers[1 - index];
    for (size_t i = 0; i < std::min(partner.ports.size(), kMaxPorts); ++i) {
      BuildPort(partner.ports[i], &out->partnerPorts[i]);
    }
  }
  PutText(in.firmwareRevision, out->firmwareRevision);
  PutText(in.hardwareRevision, out->hardwareRevision);
  PutText(in.serialNumber, out->serialNumber);
  out->allowedDriveType = in.allowedDriveType;
  out->maxLuns = in.maxLuns;
  out->maxArrayPartitions = in.maxArrayPartitions;
}

// The vdisk a drive serves as member or dedicated spare, with the drive's member position.
struct Membership {
  size_t vdisk = SIZE_MAX;
  uint8_t memberOrder = 0;
};
Membership FindMembership(const Subsystem& subsystem, const std::string& serial) {
  for (size_t v = 0; v < subsystem.vdisks.size(); ++v) {
    const Vdisk& vdisk = subsystem.vdisks[v];
    for (size_t m = 0; m < vdisk.members.size(); ++m) {
      if (vdisk.members[m] == serial) return {v, static_cast<uint8_t>(m)};
    }
    for (const std::string& spare : vdisk.spares) {
      if (spare == serial) return {v, 0};
    }
  }
  return {};
}

void BuildDrive(const Subsystem& subsystem, size_t index, ::drive* out) {
  const Drive& in = subsystem.drives[index];
  out->realBlockCountLo = static_cast<uint32_t>(in.blocks);
  out->realBlockCountHi = static_cast<uint32_t>(in.blocks >> 32);
  PutText(in.serialNumber, out->serialNumber);
  PutPadded(in.vendor, out->vendor);
  PutPadded(in.product, out->product);
  PutPadded(in.revision, out->revision);
  out->howUsed = in.howUsed;
  out->channel = in.channel;
  out->type = in.type;
  out->useState = in.useState;
  out->blinking = in.blinking;
  out->scsiId = in.scsiId;
  out->downReason = in.downReason;
  out->rpmThousands = in.rpmThousands;
  out->enclosureNumber = in.enclosureNumber;
  out->slotNumber = in.slotNumber;
  out->driveIndex = static_cast<uint8_t>(index);
  out->containerIndex = kNoIndex;
  const Membership membership = FindMembership(subsystem, in.serialNumber);
  if (membership.vdisk != SIZE_MAX && in.howUsed != kHowUsedFailed) {
    const Vdisk& vdisk = subsystem.vdisks[membership.vdisk];
    const auto shortSerial = VdiskShortSerial(vdisk.serialNumber);
    std::memcpy(out->vdiskSerial, shortSerial.data(), shortSerial.size());
    out->memberOrder = membership.memberOrder;
    if (in.howUsed == kHowUsedMember) {
      out->containerIndex = static_cast<uint8_t>(ContainerIndex(subsystem, membership.vdisk));
    }
  }
}

void BuildCacheParams(const CacheParams& in, ::cacheParams* out) {
  DecodeCacheParams(in.data(), in.size(), out);
}

// What the record calls expandable: the blocks behind the vdisk's last partition, which that
// partition can grow into without new drives (the tail an expansion added included).
uint64_t BlocksBehindLastPartition(const Vdisk& vdisk) {
  uint64_t end = 0;
  for (const Partition& partition : vdisk.partitions) {
    if (partition.type == kPartitionTypeSnapshot) continue;  // lives in the snap pool
    end = std::max(end, partition.offsetBlocks + partition.blocks);
  }
  return vdisk.blockCount > end ? vdisk.blockCount - end : 0;
}

uint64_t SmallestMemberBlocks(const Subsystem& subsystem, const Vdisk& vdisk) {
  const uint32_t overhead = subsystem.controllers[vdisk.ownerIndex].driveOverheadPercent;
  uint64_t smallest = 0;
  for (const std::string& serial : vdisk.members) {
    for (const Drive& drive : subsystem.drives) {
      if (drive.serialNumber != serial) continue;
      const uint64_t usable = UsableDriveBlocks(drive.blocks, overhead);
      smallest = smallest == 0 ? usable : std::min(smallest, usable);
    }
  }
  return smallest;
}

}  // namespace

void BuildArray(const Subsystem& subsystem, size_t vdiskIndex, ::array* out) {
  const Vdisk& in = subsystem.vdisks[vdiskIndex];
  *out = ::array{};
  out->blockCount = in.blockCount;
  out->numDrives = static_cast<uint32_t>(in.members.size());
  out->numSpares = static_cast<uint32_t>(in.spares.size());
  out->stripeSizeKB = in.stripeSizeKB;
  out->chunkBlocks =
      static_cast<uint32_t>(std::min<uint64_t>(SmallestMemberBlocks(subsystem, in), UINT32_MAX));
  BuildCacheParams(in.cacheParams, &out->cacheParams);
  for (size_t m = 0; m < std::min(in.members.size(), kMaxMembers); ++m) {
    ::driveLocation& location = out->memberDrive[m].driveLocation;
    location.channelIndex = kNoLocation;
    location.driveIndex = kNoLocation;
    for (const Drive& drive : subsystem.drives) {
      if (drive.serialNumber == in.members[m] && drive.present && drive.howUsed == kHowUsedMember) {
        location.channelIndex = drive.channel;
        location.driveIndex = drive.scsiId;
      }
    }
  }
  PutText(in.name, out->name);
  std::memcpy(out->serialNumber, in.serialNumber.data(), in.serialNumber.size());
  out->health = in.health;
  out->utilityRunning = in.utilityRunning;
  out->raidLevel = in.raidLevel;
  out->owner = in.ownerIndex == 0 ? 1 : 0;
  out->numArrayPartitions = static_cast<uint8_t>(in.partitions.size());
  out->expandableBlocks = BlocksBehindLastPartition(in);
  out->numDrivesPerLowLevelArray = in.numDrivesPerLowLevelArray;
  const FreeSpace space = ComputeFreeSpace(in);
  out->numFreeArrayPartitionSegments =
      static_cast<uint8_t>(std::min<uint32_t>(space.segments, 255));
  out->freeBlocks = space.largest;
  out->driveType = in.driveType;
  out->spinDown = in.spinDown;
}

void BuildPartition(const Partition& in, size_t order, ::partition* out) {
  *out = ::partition{};
  out->blockCount = in.blocks;
  out->lun = in.lun;
  PutText(in.name, out->name);
  std::memcpy(out->serialNumber, in.serialNumber.data(), in.serialNumber.size());
  BuildCacheParams(in.cacheParams, &out->cacheParams);
  out->partitionOrder = static_cast<uint8_t>(order);
  out->type = in.type;
}

void BuildControllerData(const Subsystem& subsystem, size_t controllerIndex, uint8_t* out) {
  std::memset(out, 0, kControllerDataSize);
  const Controller& self = subsystem.controllers[controllerIndex];

  auto controller = std::make_unique<::controller>();
  BuildController(subsystem, controllerIndex, controller.get());
  EncodeController(*controller, out + Off("controller"));

  ::advNetInterface net{};
  std::memcpy(net.ipAddress, self.ipAddress.data(), self.ipAddress.size());
  std::memcpy(net.macAddress, self.macAddress.data(), self.macAddress.size());
  PutText(subsystem.systemName, net.systemName);
  EncodeAdvNetInterface(net, out + Off("advNetInterface"));

  const size_t enclosures = std::min(subsystem.enclosures.size(), kMaxEnclosures);
  put_be32(static_cast<uint32_t>(enclosures), out + Off("enclosureCount"));
  for (size_t i = 0; i < enclosures; ++i) {
    ::enclosure entry{};
    entry.enclosureDrives = subsystem.enclosures[i].slots;
    EncodeEnclosure(entry, out + Off("enclosures") + i * kEnclosureSize);
  }

  uint32_t drives = 0;
  for (size_t i = 0; i < subsystem.drives.size() && drives < kMaxDrives; ++i) {
    if (!subsystem.drives[i].present) continue;
    ::drive entry{};
    BuildDrive(subsystem, i, &entry);
    EncodeDrive(entry, out + Off("drives") + drives * kDriveSize);
    ++drives;
  }
  put_be32(drives, out + Off("numDrives"));

  uint32_t arrays = 0;
  uint32_t partitions = 0;
  for (size_t v = 0; v < subsystem.vdisks.size() && arrays < kMaxArrays; ++v) {
    const Vdisk& vdisk = subsystem.vdisks[v];
    if (vdisk.ownerIndex != controllerIndex) continue;
    ::array entry;
    BuildArray(subsystem, v, &entry);
    EncodeArray(entry, out + Off("arrays") + arrays * kArraySize);
    const size_t count = std::min(vdisk.partitions.size(), kMaxPartitionsPerArray);
    for (size_t p = 0; p < count; ++p) {
      ::partition part;
      BuildPartition(vdisk.partitions[p], p, &part);
      EncodePartition(
          part, out + Off("partitions") + (arrays * kMaxArrayPartitions + p) * kPartitionSize);
    }
    partitions += static_cast<uint32_t>(count);
    ++arrays;
  }
  put_be32(arrays, out + Off("numArrays"));
  put_be32(partitions, out + Off("numPartitions"));

  std::memcpy(out + Off("UniqueSn"), subsystem.uniqueSn.data(),
              std::min<size_t>(subsystem.uniqueSn.size(), 32));
  out[Off("controllerState")] = self.controllerState;
}

void BuildUnifiedControllerData(const Subsystem& subsystem, uint8_t* out) {
  auto data = std::make_unique<::unifiedControllerData>();
  PutText(subsystem.vendorNameOverride, data->vendorNameOverride);
  PutText(subsystem.productId, data->productId);
  PutText(subsystem.vendorName, data->vendorNameAlt);
  PutText(subsystem.vendorName, data->vendorName);
  PutText(subsystem.systemName, data->systemName);
  EncodeUnifiedControllerData(*data, out);
}

namespace {

constexpr size_t ViewOff(std::string_view name) {
  return wire::OffsetOf(partitionViewLayout, 0, name);
}
constexpr size_t kViewLun = ViewOff("lun");
constexpr size_t kViewPortAccess = ViewOff("reserved_12") + 2;
constexpr size_t kViewNumElements = ViewOff("numElements");
constexpr size_t kViewHostWwpn = ViewOff("hostWwpn");
constexpr size_t kViewHostMap = ViewOff("hostMap");
constexpr size_t kViewHostAddress = ViewOff("hostAddress");
constexpr size_t kViewHostName = ViewOff("hostName");
constexpr size_t kViewHostNameSize = sizeof(partitionView::hostName[0]);
static_assert(sizeof(partitionView::hostWwpn[0]) == sizeof(Wwn));
static_assert(kViewPortAccess + 8 == kViewNumElements, "port access fills view bytes 0x14-0x1b");
static_assert(kViewHostName + kMaxViewHosts * kViewHostNameSize == kPartitionViewSize);

}  // namespace

// Views are asked for once per partition on every load and most list no host, so the record is
// cleared and only what is set gets written, instead of building and encoding 37 KB each time.
void BuildPartitionView(const Partition& partition, uint8_t* out) {
  std::memset(out, 0, kPartitionViewSize);
  // With no hosts listed, a view LUN equal to the partition's own says "every host"; any other
  // value hides the partition.
  put_be16(static_cast<uint16_t>(partition.allHosts ? partition.lun : 0xFFFF), out + kViewLun);
  // The port field holds the access of the all-hosts mapping, one byte per controller port;
  // zero when there is none.
  if (partition.allHosts) std::memset(out + kViewPortAccess, 0xC0, 8);
  const size_t hosts = std::min(partition.hosts.size(), kMaxHostsPerView);
  put_be16(static_cast<uint16_t>(hosts), out + kViewNumElements);
  for (size_t i = 0; i < hosts; ++i) {
    const HostMapping& in = partition.hosts[i];
    std::memcpy(out + kViewHostWwpn + i * sizeof(partitionView::hostWwpn[0]), in.wwpn.data(),
                in.wwpn.size());
    ::mapRecord map{};
    map.lun = in.lun;
    std::memcpy(map.access, in.access.data(), in.access.size());
    EncodeMapRecord(map, out + kViewHostMap + i * ::mapRecord::kWireSize);
    ::addressRecord address{};
    address.hostType = in.hostType;
    std::memcpy(address.wwpn, in.wwpn.data(), in.wwpn.size());
    address.lun = in.lun;
    std::memcpy(address.ipAddress, in.ipAddress.data(), in.ipAddress.size());
    EncodeAddressRecord(address, out + kViewHostAddress + i * ::addressRecord::kWireSize);
    std::memcpy(out + kViewHostName + i * kViewHostNameSize, in.hostName.data(),
                std::min(in.hostName.size(), kViewHostNameSize));
  }
}

void BuildEvent(const Event& in, ::event* out) {
  *out = ::event{};
  out->sequenceNumber = in.sequenceNumber;
  out->eventCode = in.eventCode;
  out->errorcode = in.errorcode;
  out->controllerHandle = in.controllerHandle;
  out->param = in.param;
  std::memcpy(out->driveSerial, in.driveSerial.data(), std::min<size_t>(in.driveSerial.size(), 32));
  std::memcpy(out->lunSerial, in.lunSerial.data(), in.lunSerial.size());
  out->owner = in.owner;
  PutText(in.description, out->description);
  out->description[sizeof(out->description) - 1] = 0;
}

void BuildHbaInfoList(const Model& model, uint8_t* out) {
  auto list = std::make_unique<::hbaInfoList>();
  const size_t count = std::min(model.hbaPorts.size(), kMaxHbaEntries);
  list->count = static_cast<int32_t>(count);
  for (size_t i = 0; i < count; ++i) {
    list->entries[i].type = model.hbaPorts[i].type;
    list->entries[i].portNumber = model.hbaPorts[i].portNumber;
    std::memcpy(list->entries[i].wwpn, model.hbaPorts[i].wwpn.data(), 8);
  }
  EncodeHbaInfoList(*list, out);
}

}  // namespace sim
