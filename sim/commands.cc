#include "sim/commands.h"

#include <algorithm>
#include <cstring>

#include "proxy/byte_order.h"
#include "proxy/records.h"
#include "proxy/wire_format.h"
#include "sim/commands_internal.h"
#include "sim/records_builder.h"

namespace sim {

namespace {

// Version word and text of GET_VERSION's reply.
constexpr uint32_t kSimVersion = 0x0501;
constexpr char kSimVersionText[] = "tidegate-sim 1.0";

// Reads the handle at payload offset 8 and finds its subsystem; false when it names none.
bool Resolve(const Model& model, const uint8_t* payload, size_t length, size_t handleOffset,
             const Subsystem** subsystem, size_t* controllerIndex) {
  if (length < handleOffset + 4) return false;
  const uint32_t handle = get_be32(payload + handleOffset);
  *subsystem = FindSubsystemByHandle(const_cast<Model&>(model), handle, controllerIndex);
  return *subsystem != nullptr;
}

void GetSubsystemList(const Model& model, std::vector<uint8_t>* reply) {
  const size_t count = model.subsystems.size();
  reply->assign(std::max(kLenGetControllerHandleDb,
                         ListPayloadSize(kSubsystemList, count, kSubsystemEntrySize)),
                0);
  std::vector<::subsystem> entries(count);
  for (size_t i = 0; i < count; ++i) {
    const Subsystem& in = model.subsystems[i];
    entries[i] = ::subsystem{};
    std::memcpy(entries[i].UniqueSN, in.uniqueSn.data(), std::min<size_t>(in.uniqueSn.size(), 31));
    entries[i].controllerA = in.controllers[0].handle;
    entries[i].controllerB = in.controllers.size() > 1 ? in.controllers[1].handle : 0;
  }
  put_le32(0, reply->data() + kSubsystemListOffStatus);
  EncodeList(kSubsystemList, entries, reply->data());
}

void GetController(const Model& model, const uint8_t* payload, size_t length,
                   std::vector<uint8_t>* reply) {
  const Subsystem* subsystem = nullptr;
  size_t index = 0;
  if (!Resolve(model, payload, length, 0, &subsystem, &index)) {
    Reply(payload, length, 8, reply).Fail(kStatusNoController);
    return;
  }
  reply->resize(kControllerDataSize);
  BuildControllerData(*subsystem, index, reply->data());
}

void GetEvent(const Model& model, const uint8_t* payload, size_t length,
              std::vector<uint8_t>* reply) {
  const Subsystem* subsystem = nullptr;
  size_t index = 0;
  Reply out(payload, length, kGetEventSize, reply);
  if (length < kGetEventSize) return out.Fail(kStatusBadRequest);
  if (!Resolve(model, payload, length, kPayloadOffHandle, &subsystem, &index)) {
    return out.Fail(kStatusNoController);
  }
  const std::deque<Event>& log = subsystem->controllers[index].events;
  std::vector<const Event*> picked;
  if (payload[0xd] == 1) {
    // The latest event; a controller that logged none answers with an all-zero event.
    if (!log.empty()) picked.push_back(&log.back());
  } else {
    const uint32_t first = get_be32(payload + 0x18);
    const uint32_t last = get_be32(payload + 0x1c);
    for (const Event& event : log) {
      if (event.sequenceNumber >= first && event.sequenceNumber <= last) picked.push_back(&event);
    }
  }
  reply->resize(std::max(kGetEventSize, kEventListEntriesOffset + picked.size() * kEventSize), 0);
  put_be32(static_cast<uint32_t>(picked.size()), out.at(kEventListCountOffset));
  std::memset(out.at(kEventListEntriesOffset), 0, reply->size() - kEventListEntriesOffset);
  for (size_t i = 0; i < picked.size(); ++i) {
    ::event entry;
    BuildEvent(*picked[i], &entry);
    EncodeEvent(entry, out.at(kEventListEntriesOffset + i * kEventSize));
  }
}

void GetPartitionView(const Model& model, const uint8_t* payload, size_t length,
                      std::vector<uint8_t>* reply) {
  Reply out(payload, length, kLenGetPartView, reply);
  const Subsystem* subsystem = nullptr;
  size_t index = 0;
  if (length < 0x30) return out.Fail(kStatusBadRequest);
  if (!Resolve(model, payload, length, kPayloadOffHandle, &subsystem, &index)) {
    return out.Fail(kStatusNoController);
  }
  const Partition* partition =
      FindPartition(const_cast<Subsystem&>(*subsystem), payload + 0x10, nullptr);
  if (!partition) return out.Fail(kStatusNoObject);
  BuildPartitionView(*partition, out.at(0x30));
}

void GetPercent(const Model& model, const uint8_t* payload, size_t length,
                std::vector<uint8_t>* reply) {
  Reply out(payload, length, kLenGetPercent, reply);
  const Subsystem* subsystem = nullptr;
  size_t index = 0;
  if (length < 0x2c) return out.Fail(kStatusBadRequest);
  if (!Resolve(model, payload, length, kPayloadOffHandle, &subsystem, &index)) {
    return out.Fail(kStatusNoController);
  }
  const Vdisk* vdisk = FindVdisk(const_cast<Subsystem&>(*subsystem), payload + 0xc, true);
  if (!vdisk) return out.Fail(kStatusNoObject);
  // A job that reaches 100 has ended; with none running there is nothing left to wait for.
  const uint32_t percent =
      vdisk->utilityRunning ? static_cast<uint32_t>(std::min(vdisk->jobPercent, 99.0)) : 100;
  put_be32(percent, out.at(0x2c));
}

void GetNeedRefresh(State& state, CommandSession& session, const uint8_t* payload, size_t length,
                    std::vector<uint8_t>* reply) {
  Reply out(payload, length, kLenGetNeedRefresh, reply);
  if (length < 0x28) return out.Fail(kStatusBadRequest);
  const std::string uniqueSn(reinterpret_cast<const char*>(payload + 8),
                             strnlen(reinterpret_cast<const char*>(payload + 8), 32));
  const uint64_t generation = state.Generation(uniqueSn);
  if (generation == 0) return out.Fail(kStatusNoObject);
  uint64_t& seen = session.seenGenerations[uniqueSn];
  // A session's first question finds nothing new: it has just read the whole state.
  out.at(0x28)[0] = seen != 0 && seen != generation;
  seen = generation;
}

void GetUnified(const Model& model, const uint8_t* payload, size_t length,
                std::vector<uint8_t>* reply) {
  Reply out(payload, length, kLenGetUnifiedControllerData, reply);
  const Subsystem* subsystem = nullptr;
  size_t index = 0;
  if (!Resolve(model, payload, length, kPayloadOffHandle, &subsystem, &index)) {
    return out.Fail(kStatusNoController);
  }
  BuildUnifiedControllerData(*subsystem, out.at(0xc));
}

void GetVersion(const uint8_t* payload, size_t length, std::vector<uint8_t>* reply) {
  Reply out(payload, length, 0x30, reply);
  put_be32(kSimVersion, out.at(8));
  std::memcpy(out.at(0x10), kSimVersionText, sizeof(kSimVersionText));
}

void GetDmsTag(const Model& model, const uint8_t* payload, size_t length,
               std::vector<uint8_t>* reply) {
  Reply out(payload, length, kLenGetDmsTag, reply);
  const Subsystem* subsystem = nullptr;
  size_t index = 0;
  if (!Resolve(model, payload, length, kPayloadOffHandle, &subsystem, &index)) {
    return out.Fail(kStatusNoController);
  }
  put_be64_lowfirst(subsystem->controllers[index].dmsTag, out.at(0x14));
}

bool IsZero(const uint8_t* bytes, size_t n) {
  return std::all_of(bytes, bytes + n, [](uint8_t b) { return b == 0; });
}

// The snapshot family of lists: backing stores (snap pools), master volumes, snapshots. A
// serial in the request narrows the master volumes to one snap pool and the snapshots to one
// master volume.
void GetSnapList(const Model& model, uint32_t opcode, const uint8_t* payload, size_t length,
                 std::vector<uint8_t>* reply) {
  const size_t size = opcode == OP_GET_BACKING_STORE_LIST   ? kLenGetBackingStoreList
                      : opcode == OP_GET_MASTER_VOLUME_LIST ? kLenGetMasterVolumeList
                                                            : kLenGetSnapshotList;
  Reply out(payload, length, size, reply);
  const Subsystem* subsystem = nullptr;
  size_t index = 0;
  if (length < 0x30) return out.Fail(kStatusBadRequest);
  if (!Resolve(model, payload, length, kPayloadOffHandle, &subsystem, &index)) {
    return out.Fail(kStatusNoController);
  }
  const uint8_t* filter = IsZero(payload + 0x10, 32) ? nullptr : payload + 0x10;
  std::vector<::backingStoreEntry> stores;
  std::vector<::masterVolumeEntry> masters;
  std::vector<::snapshotEntry> snapshots;
  for (const Vdisk& vdisk : subsystem->vdisks) {
    for (const Partition& partition : vdisk.partitions) {
      if (partition.type == 1 && stores.size() < kMaxBackingStoreEntries) {
        ::backingStoreEntry entry{};
        std::memcpy(entry.id, partition.serialNumber.data(), 16);
        std::memcpy(entry.vdiskSerial, vdisk.serialNumber.data(), 16);
        stores.push_back(entry);
      } else if (partition.type == 2 && masters.size() < kMaxMasterVolumeEntries &&
                 (!filter || std::memcmp(partition.backingStore.data(), filter, 16) == 0)) {
        ::masterVolumeEntry entry{};
        std::memcpy(entry.id, partition.serialNumber.data(), 16);
        std::memcpy(entry.vdiskSerial, vdisk.serialNumber.data(), 16);
        masters.push_back(entry);
      } else if (partition.type == 3 && snapshots.size() < kMaxSnapshotEntries &&
                 (!filter || std::memcmp(partition.master.data(), filter, 16) == 0)) {
        ::snapshotEntry entry{};
        std::memcpy(entry.reserved_0, partition.serialNumber.data(), 16);
        snapshots.push_back(entry);
      }
    }
  }
  if (opcode == OP_GET_BACKING_STORE_LIST) {
    EncodeList(kBackingStoreList, stores, reply->data());
  } else if (opcode == OP_GET_MASTER_VOLUME_LIST) {
    EncodeList(kMasterVolumeList, masters, reply->data());
  } else {
    EncodeList(kSnapshotList, snapshots, reply->data());
  }
}

}  // namespace

size_t StatusOffset(uint32_t opcode) {
  return opcode == GET_CONTROLLERHANDLEDB ? kSubsystemListOffStatus : kPayloadOffStatus;
}

void HandleCommand(State& state, CommandSession& session, uint32_t opcode, const uint8_t* payload,
                   size_t length, std::vector<uint8_t>* reply) {
  switch (opcode) {
    case GET_CONTROLLERHANDLEDB:
      state.Read([&](const Model& model) { GetSubsystemList(model, reply); });
      return;
    case GET_CONTROLLER:
      state.Read([&](const Model& model) { GetController(model, payload, length, reply); });
      return;
    case GET_EVENT:
      state.Read([&](const Model& model) { GetEvent(model, payload, length, reply); });
      return;
    case GET_VERSION:
      GetVersion(payload, length, reply);
      return;
    case GET_PARTITION_VIEW:
      state.Read([&](const Model& model) { GetPartitionView(model, payload, length, reply); });
      return;
    case GET_PERCENT_COMPLETED:
      state.Read([&](const Model& model) { GetPercent(model, payload, length, reply); });
      return;
    case OP_GET_NEED_REFRESH:
      GetNeedRefresh(state, session, payload, length, reply);
      return;
    case OP_GET_UNIFIED_CONTROLLER_DATA:
      state.Read([&](const Model& model) { GetUnified(model, payload, length, reply); });
      return;
    case OP_GET_CONNECT_HBA_INFO_LIST: {
      Reply out(payload, length, kLenGetConnectHbaInfoList, reply);
      state.Read([&](const Model& model) { BuildHbaInfoList(model, out.at(0x8)); });
      return;
    }
    case OP_GET_DMS_TAG:
      state.Read([&](const Model& model) { GetDmsTag(model, payload, length, reply); });
      return;
    case OP_GET_BACKING_STORE_LIST:
    case OP_GET_MASTER_VOLUME_LIST:
    case OP_GET_SNAPSHOT_LIST:
      state.Read([&](const Model& model) { GetSnapList(model, opcode, payload, length, reply); });
      return;
    default:
      if (HandleChangeCommand(state, opcode, payload, length, reply)) return;
      Reply(payload, length, 12, reply).Fail(kStatusUnsupported);
      return;
  }
}

}  // namespace sim
