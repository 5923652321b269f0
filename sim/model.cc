#include "sim/model.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace sim {

namespace {

// Company identifier that opens every serial the simulator makes.
constexpr uint8_t kCompanyId[3] = {0x02, 0x56, 0x4C};

// Byte 6, outside the unique bytes of both kinds, tells a vdisk serial from a partition serial.
Serial32 SerialBase(uint8_t kind) {
  Serial32 serial{};
  serial[6] = kind;
  std::memcpy(serial.data(), kCompanyId, sizeof(kCompanyId));
  for (size_t i = 16; i < serial.size(); ++i) serial[i] = static_cast<uint8_t>(0x40 + i);
  return serial;
}

// Spreads the low 7 (or 8) bytes of `value` over the given serial positions, high byte first.
template <size_t N>
void Scatter(uint64_t value, const size_t (&positions)[N], Serial32* serial) {
  for (size_t i = 0; i < N; ++i) {
    (*serial)[positions[i]] = static_cast<uint8_t>(value >> (8 * (N - 1 - i)));
  }
}

constexpr size_t kVdiskUniquePositions[7] = {3, 4, 5, 8, 9, 10, 11};
constexpr size_t kPartitionUniquePositions[8] = {3, 4, 5, 8, 9, 10, 11, 12};

}  // namespace

Subsystem* FindSubsystemByHandle(Model& model, uint32_t handle, size_t* controllerIndex) {
  if (handle == 0) return nullptr;
  for (Subsystem& subsystem : model.subsystems) {
    for (size_t i = 0; i < subsystem.controllers.size(); ++i) {
      if (subsystem.controllers[i].handle == handle) {
        if (controllerIndex) *controllerIndex = i;
        return &subsystem;
      }
    }
  }
  return nullptr;
}

Subsystem* FindSubsystemBySn(Model& model, const std::string& uniqueSn) {
  for (Subsystem& subsystem : model.subsystems) {
    if (subsystem.uniqueSn == uniqueSn) return &subsystem;
  }
  return nullptr;
}

Drive* FindDrive(Subsystem& subsystem, const std::string& serial) {
  for (Drive& drive : subsystem.drives) {
    if (drive.serialNumber == serial) return &drive;
  }
  return nullptr;
}

Vdisk* FindVdisk(Subsystem& subsystem, const uint8_t* serial, bool prefixOnly) {
  const size_t n = prefixOnly ? 16 : 32;
  for (Vdisk& vdisk : subsystem.vdisks) {
    if (std::memcmp(vdisk.serialNumber.data(), serial, n) == 0) return &vdisk;
  }
  return nullptr;
}

size_t SerialHash::operator()(const Serial32& serial) const {
  uint64_t hash = 0;
  for (size_t i = 0; i < serial.size(); i += sizeof(uint64_t)) {
    uint64_t word;
    std::memcpy(&word, serial.data() + i, sizeof word);
    hash = (hash ^ word) * 0x9E3779B97F4A7C15ull;
    hash ^= hash >> 29;
  }
  return static_cast<size_t>(hash);
}

namespace {

// The first of equal serials keeps the entry, as the scan in FindPartition would find it.
void RebuildPartitionIndex(Subsystem& subsystem) {
  auto& positions = subsystem.partitionIndex.positions;
  positions.clear();
  for (size_t v = 0; v < subsystem.vdisks.size(); ++v) {
    const std::vector<Partition>& partitions = subsystem.vdisks[v].partitions;
    for (size_t p = 0; p < partitions.size(); ++p) {
      positions.try_emplace(partitions[p].serialNumber, static_cast<uint32_t>(v),
                            static_cast<uint32_t>(p));
    }
  }
}

}  // namespace

Partition* FindPartition(Subsystem& subsystem, const uint8_t* serial, Vdisk** owner) {
  Serial32 key;
  std::memcpy(key.data(), serial, key.size());
  const auto& positions = subsystem.partitionIndex.positions;
  if (const auto it = positions.find(key); it != positions.end()) {
    const auto [v, p] = it->second;
    if (v < subsystem.vdisks.size() && p < subsystem.vdisks[v].partitions.size() &&
        subsystem.vdisks[v].partitions[p].serialNumber == key) {
      if (owner) *owner = &subsystem.vdisks[v];
      return &subsystem.vdisks[v].partitions[p];
    }
  }
  // Not where the index says: either a change moved it (the index is stale) or it is absent.
  for (Vdisk& vdisk : subsystem.vdisks) {
    for (Partition& partition : vdisk.partitions) {
      if (partition.serialNumber == key) {
        RebuildPartitionIndex(subsystem);
        if (owner) *owner = &vdisk;
        return &partition;
      }
    }
  }
  return nullptr;
}

void LogEvent(Controller& controller, Event event) {
  event.sequenceNumber = controller.nextEventNumber++;
  event.controllerHandle = event.controllerHandle ? event.controllerHandle : controller.handle;
  event.owner = controller.controllerId;
  controller.events.push_back(std::move(event));
  while (controller.events.size() > kEventLogDepth) controller.events.pop_front();
}

void LogEventAll(Subsystem& subsystem, const Event& event) {
  for (Controller& controller : subsystem.controllers) {
    if (controller.controllerState == 0) LogEvent(controller, event);
  }
}

Serial32 NewVdiskSerial(Model& model) {
  Serial32 serial = SerialBase('V');
  Scatter(model.serialCounter++, kVdiskUniquePositions, &serial);
  return serial;
}

Serial32 NewPartitionSerial(Model& model) {
  Serial32 serial = SerialBase('P');
  Scatter(model.serialCounter++, kPartitionUniquePositions, &serial);
  return serial;
}

std::array<uint8_t, 7> VdiskShortSerial(const Serial32& serial) {
  std::array<uint8_t, 7> shortForm{};
  for (size_t i = 0; i < shortForm.size(); ++i) shortForm[i] = serial[kVdiskUniquePositions[i]];
  return shortForm;
}

FreeSpace ComputeFreeSpace(const Vdisk& vdisk) {
  FreeSpace space;
  const uint64_t end =
      vdisk.blockCount > vdisk.expandableBlocks ? vdisk.blockCount - vdisk.expandableBlocks : 0;
  std::vector<std::pair<uint64_t, uint64_t>> extents;
  extents.reserve(vdisk.partitions.size());
  for (const Partition& partition : vdisk.partitions) {
    if (partition.type == kPartitionTypeSnapshot) continue;  // lives in the snap pool
    extents.emplace_back(partition.offsetBlocks, partition.blocks);
    space.used += partition.blocks;
  }
  std::sort(extents.begin(), extents.end());
  uint64_t cursor = 0;
  auto gap = [&](uint64_t until) {
    if (until > cursor) {
      space.largest = std::max(space.largest, until - cursor);
      ++space.segments;
    }
  };
  for (const auto& [offset, blocks] : extents) {
    gap(std::min(offset, end));
    cursor = std::max(cursor, offset + blocks);
  }
  gap(end);
  return space;
}

}  // namespace sim
