// The changing commands: each request is decoded, applied to the model as one transaction
// (committed before the reply leaves), and answered with the status of the change.
#include <cstring>
#include <memory>

#include "proxy/byte_order.h"
#include "proxy/records.h"
#include "proxy/wire_format.h"
#include "sim/commands.h"
#include "sim/commands_internal.h"
#include "sim/provision.h"
#include "sim/records_builder.h"

namespace sim {

namespace {

constexpr size_t kRetndSnListOffset = 0x36c;
constexpr uint8_t kConvertToStandard = 8;
constexpr uint8_t kConvertToMaster = 9;

std::string TextAt(const uint8_t* p, size_t size) {
  return std::string(reinterpret_cast<const char*>(p),
                     strnlen(reinterpret_cast<const char*>(p), size));
}

// Runs `change` on the subsystem of the request's handle (at `handleOffset`), committing it.
// The controller's index within the subsystem is passed along.
uint32_t OnSubsystem(State& state, const uint8_t* payload, size_t length, size_t handleOffset,
                     const std::function<uint32_t(Model&, Subsystem&, size_t)>& change) {
  if (length < handleOffset + 4) return kStatusBadRequest;
  const uint32_t handle = get_be32(payload + handleOffset);
  size_t subsystemIndex = SIZE_MAX;
  state.Read([&](const Model& model) {
    for (size_t i = 0; i < model.subsystems.size(); ++i) {
      for (const Controller& controller : model.subsystems[i].controllers) {
        if (controller.handle == handle) subsystemIndex = i;
      }
    }
  });
  if (subsystemIndex == SIZE_MAX) return kStatusNoController;
  return state.Change(subsystemIndex, [&](Model& model) {
    size_t controllerIndex = 0;
    Subsystem* subsystem = FindSubsystemByHandle(model, handle, &controllerIndex);
    return subsystem ? change(model, *subsystem, controllerIndex) : kStatusNoController;
  });
}

std::vector<DriveRef> LocationRefs(const uint8_t* p, size_t count) {
  std::vector<DriveRef> refs(count);
  for (size_t i = 0; i < count; ++i) {
    refs[i].channel = get_be32(p + i * kDriveLocationSize);
    refs[i].scsiId = get_be32(p + i * kDriveLocationSize + 4);
  }
  return refs;
}

void CreateArrayCommand(State& state, const uint8_t* payload, size_t length, Reply& out) {
  if (length < kLenCreateArray) return out.Fail(kStatusBadRequest);
  auto request = std::make_unique<createArray>();
  DecodeCreateArray(payload, length, request.get());
  if (request->numDrives == 0 || request->numDrives > VELA_MAX_DRIVES_PER_ARRAY) {
    return out.Fail(kStatusTooManyDrives);
  }
  CreateArrayArgs args;
  args.drives = LocationRefs(payload + 0x10, request->numDrives);
  for (size_t i = 0; i < request->numDrives; ++i) {
    args.drives[i].serial = TextAt(request->driveSerials[i], 32);
  }
  args.numSpares = request->numSpares;
  args.raidLevel = request->raidLevel;
  args.stripeSizeKB = request->stripeSizeKB;
  args.numDrivesPerLowLevelArray = static_cast<uint8_t>(request->numDrivesPerLowLevelArray);
  args.controllerId = request->controllerId;
  args.name = TextAt(reinterpret_cast<const uint8_t*>(request->name), sizeof request->name);
  const uint32_t status = OnSubsystem(state, payload, length, kPayloadOffHandle,
                                      [&](Model& model, Subsystem& s, size_t) {
                                        size_t index = 0;
                                        const uint32_t result = CreateArray(model, s, args, &index);
                                        if (result == 0) BuildArray(s, index, &request->array);
                                        return result;
                                      });
  if (status != 0) return out.Fail(status);
  EncodeArray(request->array, out.at(0xb80));
}

void AddPartitionCommand(State& state, const uint8_t* payload, size_t length, Reply& out) {
  if (length < kLenAddArrayPart) return out.Fail(kStatusBadRequest);
  auto request = std::make_unique<addArrayPart>();
  DecodeAddArrayPart(payload, length, request.get());
  AddPartitionArgs args;
  args.vdiskSerial = request->arraySerial;
  args.blocks = request->blockCount;
  args.name = TextAt(reinterpret_cast<const uint8_t*>(request->name), sizeof request->name);
  args.isSpecial = request->isSpecial;
  args.specialKind = request->specialKind;
  std::memcpy(args.backingStoreId.data(), request->backingStoreId, 16);
  Partition made;
  size_t order = 0;
  const uint32_t status = OnSubsystem(state, payload, length, kPayloadOffHandle,
                                      [&](Model& model, Subsystem& s, size_t) {
                                        const uint32_t result = AddPartition(model, s, args, &made);
                                        if (result == 0) {
                                          Vdisk* vdisk = FindVdisk(s, args.vdiskSerial, true);
                                          order = vdisk->partitions.size() - 1;
                                        }
                                        return result;
                                      });
  if (status != 0) return out.Fail(status);
  BuildPartition(made, order, &request->partition);
  EncodePartition(request->partition, out.at(0xa0));
}

// Commands that name one object by a 32-byte serial and change it.
void SerialCommand(State& state, uint32_t opcode, const uint8_t* payload, size_t length,
                   Reply& out) {
  const size_t serialOffset =
      opcode == ABORT_UTILITY || opcode == SET_PREFERRED_OWNER || opcode == FLUSH_CACHE ? 0xc
                                                                                        : 0x10;
  if (length < serialOffset + 32) return out.Fail(kStatusBadRequest);
  const uint8_t* serial = payload + serialOffset;
  const uint32_t status = OnSubsystem(
      state, payload, length, kPayloadOffHandle, [&](Model&, Subsystem& s, size_t) -> uint32_t {
        switch (opcode) {
          case DELETE_PART:
            return DeletePartition(s, serial);
          case DELETE_ARRAY:
            return DeleteArray(s, serial);
          case ABORT_UTILITY:
            return AbortUtility(s, serial);
          case SET_PREFERRED_OWNER:
            return ToggleOwner(s, serial);
          case SET_PART_NAME:
            if (length < 0x50) return kStatusBadRequest;
            return SetPartitionName(s, serial, TextAt(payload + 0x30, 32));
          case CHANGE_PART_LUN:
            return SetPartitionLun(s, serial, payload[0xc]);
          case SET_PARTITION_CACHE_PARAM: {
            if (length < 0x50) return kStatusBadRequest;
            CacheParams params;
            std::memcpy(params.data(), payload + 0x30, params.size());
            return SetPartitionCache(s, serial, params);
          }
          default:  // FLUSH_CACHE, FREE_CACHE: the cache holds nothing to lose here
            return FindVdisk(s, serial, true) ? 0u : kStatusNoObject;
        }
      });
  if (status != 0) out.Fail(status);
}

void ExpandArrayCommand(State& state, const uint8_t* payload, size_t length, Reply& out) {
  if (length < kLenExpandArray) return out.Fail(kStatusBadRequest);
  const uint32_t count = get_be32(payload + 0xc);
  if (count > VELA_MAX_DRIVES_PER_ARRAY) return out.Fail(kStatusTooManyDrives);
  const std::vector<DriveRef> refs = LocationRefs(payload + 0x30, count);
  const uint32_t status = OnSubsystem(
      state, payload, length, kPayloadOffHandle,
      [&](Model&, Subsystem& s, size_t) { return ExpandArray(s, payload + 0x10, refs); });
  if (status != 0) out.Fail(status);
}

void ExpandPartCommand(State& state, const uint8_t* payload, size_t length, Reply& out) {
  if (length < kLenExpandPart) return out.Fail(kStatusBadRequest);
  expandPart body;
  DecodeExpandPart(payload + 0x10, kExpandPartSize, &body);
  const uint32_t status =
      OnSubsystem(state, payload, length, kPayloadOffHandle, [&](Model&, Subsystem& s, size_t) {
        return ExpandPartition(s, body.partitionSerial, body.blockCount);
      });
  if (status != 0) out.Fail(status);
}

void CustomViewCommand(State& state, const uint8_t* payload, size_t length, Reply& out) {
  if (length < 0xc) return out.Fail(kStatusBadRequest);
  const uint32_t count = get_be32(payload + 8);
  if (count > kMaxCustomViewEntries || 0xc + size_t{count} * kCustomViewEntrySize > length) {
    return out.Fail(kStatusBadRequest);
  }
  const uint32_t status =
      OnSubsystem(state, payload, length, 0xc, [&](Model&, Subsystem& s, size_t) -> uint32_t {
        // All entries or none: the model is copied back when one is refused.
        const Subsystem before = s;
        for (uint32_t i = 0; i < count; ++i) {
          customViewEntry entry;
          DecodeCustomViewEntry(payload + 0xc + i * kCustomViewEntrySize, kCustomViewEntrySize,
                                &entry);
          ViewChange change;
          change.serial = entry.serialNumber;
          change.deleteAll = entry.deleteAll != 0;
          change.hostType = entry.address.hostType;
          std::memcpy(change.wwpn.data(), entry.address.wwpn, 8);
          if (change.hostType == 1) {
            change.hostName = TextAt(reinterpret_cast<const uint8_t*>(entry.hostName), 224);
          }
          change.lun = entry.map.lun;
          std::memcpy(change.access.data(), entry.map.access, 8);
          if (const uint32_t result = ChangeView(s, change)) {
            s = before;
            return result;
          }
        }
        return 0u;
      });
  if (status != 0) out.Fail(status);
}

void DriveCommand(State& state, uint32_t opcode, const uint8_t* payload, size_t length,
                  Reply& out) {
  const size_t serialOffset = opcode == ASSIGN_POOL_SPARE ? 0x30 : 0x10;
  if (length < serialOffset + 32) return out.Fail(kStatusBadRequest);
  const std::string serial = TextAt(payload + serialOffset, 32);
  const bool flag = payload[0xc] != 0;
  const uint32_t status =
      OnSubsystem(state, payload, length, kPayloadOffHandle, [&](Model&, Subsystem& s, size_t) {
        return opcode == ASSIGN_POOL_SPARE ? AssignPoolSpare(s, serial, flag)
                                           : BlinkDrive(s, serial, flag);
      });
  if (status != 0) out.Fail(status);
}

void ControllerCommand(State& state, uint32_t opcode, const uint8_t* payload, size_t length,
                       Reply& out) {
  if (opcode == SET_ADV_NET_INTERFACE && length < kLenSetAdvNet) return out.Fail(kStatusBadRequest);
  const uint32_t status =
      OnSubsystem(state, payload, length, kPayloadOffHandle,
                  [&](Model&, Subsystem& s, size_t index) -> uint32_t {
                    if (opcode == REBOOT_CONTROLLER) return RebootController(s, index);
                    if (opcode == SET_ADV_NET_INTERFACE) {
                      advNetInterface net;
                      DecodeAdvNetInterface(payload + 0x10, kAdvNetInterfaceSize, &net);
                      s.systemName = TextAt(reinterpret_cast<const uint8_t*>(net.systemName), 80);
                      return 0u;
                    }
                    return 0u;  // SILENCE_ALARM, RESCAN_ALL_BUS: nothing in the model changes
                  });
  if (status != 0) out.Fail(status);
}

void ConvertCommand(State& state, const uint8_t* payload, size_t length, Reply& out) {
  if (length < kLenConvertMasterVolume) return out.Fail(kStatusBadRequest);
  const uint8_t mode = payload[0x8f];
  if (mode != kConvertToStandard && mode != kConvertToMaster) return out.Fail(kStatusBadRequest);
  const uint32_t status = OnSubsystem(
      state, payload, length, kPayloadOffHandle, [&](Model& model, Subsystem& s, size_t) {
        return ConvertMasterVolume(model, s, payload + 0x61, mode == kConvertToMaster,
                                   payload + 0x98);
      });
  if (status != 0) out.Fail(status);
}

void SnapshotCommand(State& state, const uint8_t* payload, size_t length, Reply& out) {
  if (length < kLenCreateSnapshot) return out.Fail(kStatusBadRequest);
  Serial32 made{};
  const uint32_t status = OnSubsystem(
      state, payload, length, kPayloadOffHandle, [&](Model& model, Subsystem& s, size_t index) {
        return CreateSnapshot(model, s, index, payload + 0x1c, TextAt(payload + 0x2c, 32), &made);
      });
  if (status != 0) return out.Fail(status);
  RetndSnList list{};
  list.numElements = 1;
  std::memcpy(list.serials[0], made.data(), 16);
  EncodeRetndSnList(list, out.at(kRetndSnListOffset));
}

}  // namespace

bool HandleChangeCommand(State& state, uint32_t opcode, const uint8_t* payload, size_t length,
                         std::vector<uint8_t>* reply) {
  switch (opcode) {
    case CREATE_ARRAY: {
      Reply out(payload, length, kLenCreateArray, reply);
      CreateArrayCommand(state, payload, length, out);
      return true;
    }
    case ADD_ARRAY_PART: {
      Reply out(payload, length, kLenAddArrayPart, reply);
      AddPartitionCommand(state, payload, length, out);
      return true;
    }
    case DELETE_PART:
    case DELETE_ARRAY:
    case ABORT_UTILITY:
    case SET_PREFERRED_OWNER:
    case SET_PART_NAME:
    case CHANGE_PART_LUN:
    case SET_PARTITION_CACHE_PARAM:
    case FLUSH_CACHE:
    case FREE_CACHE: {
      Reply out(payload, length, std::max<size_t>(length, 12), reply);
      SerialCommand(state, opcode, payload, length, out);
      return true;
    }
    case EXPAND_ARRAY: {
      Reply out(payload, length, kLenExpandArray, reply);
      ExpandArrayCommand(state, payload, length, out);
      return true;
    }
    case EXPAND_PART: {
      Reply out(payload, length, kLenExpandPart, reply);
      ExpandPartCommand(state, payload, length, out);
      return true;
    }
    case CREATE_CUSTOM_VIEW: {
      // The reply need not echo the 1.3 MB request: the header words say it all.
      Reply out(payload, length, 0x10, reply);
      CustomViewCommand(state, payload, length, out);
      return true;
    }
    case ASSIGN_POOL_SPARE:
    case BLINK_DRIVE: {
      Reply out(payload, length, std::max<size_t>(length, 12), reply);
      DriveCommand(state, opcode, payload, length, out);
      return true;
    }
    case SILENCE_ALARM:
    case RESCAN_ALL_BUS:
    case REBOOT_CONTROLLER:
    case SET_ADV_NET_INTERFACE: {
      Reply out(payload, length, std::max<size_t>(length, 12), reply);
      ControllerCommand(state, opcode, payload, length, out);
      return true;
    }
    case OP_CONVERT_MASTER_VOLUME: {
      Reply out(payload, length, kLenConvertMasterVolume, reply);
      ConvertCommand(state, payload, length, out);
      return true;
    }
    case OP_CREATE_SNAPSHOT: {
      Reply out(payload, length, kLenCreateSnapshot, reply);
      SnapshotCommand(state, payload, length, out);
      return true;
    }
    default:
      return false;
  }
}

}  // namespace sim
