// The first-family commands that change a controller and return nothing but their status.
#include "diag/debug_log.h"
#include "platform/clock.h"
#include "proxy/byte_order.h"
#include "proxy/tidegate.h"
#include "proxy/tidegate_exchange.h"

namespace {

const CommandName kSetPartName{"set_part_name", "SET_PART_NAME", SET_PART_NAME, SET_PART_NAME};
const CommandName kDeletePart{"delete_part", "DELETE_PART", DELETE_PART, DELETE_PART};
const CommandName kExpandPart{"expand_part", "EXPAND_PART", EXPAND_PART, EXPAND_PART};
const CommandName kExpandArray{"expand_array", "EXPAND_ARRAY", EXPAND_ARRAY, EXPAND_ARRAY};
const CommandName kAssignSpare{"assign_spare", "ASSIGN_POOL_SPARE", ASSIGN_POOL_SPARE,
                               ASSIGN_POOL_SPARE};
const CommandName kBlinkDrive{"blink_drive", "BLINK_DRIVE", BLINK_DRIVE, BLINK_DRIVE};
const CommandName kFlushCache{"flush_cache", "FLUSH_CACHE", FLUSH_CACHE, FLUSH_CACHE};
const CommandName kFreeCache{"free_cache", "FREE_CACHE", FREE_CACHE, FREE_CACHE};
const CommandName kSilenceAlarm{"silence_alarm", "SILENCE_ALARM", SILENCE_ALARM, SILENCE_ALARM};
const CommandName kDeleteArray{"delete_array", "DELETE_ARRAY", DELETE_ARRAY, DELETE_ARRAY};
const CommandName kAbortUtility{"abort_utility", "ABORT_UTILITY", ABORT_UTILITY, ABORT_UTILITY};
const CommandName kSetAdvNet{"set_adv_net", "SET_ADV_NET_INTERFACE", SET_ADV_NET_INTERFACE,
                             SET_ADV_NET_INTERFACE};
const CommandName kSetPartLun{"set_part_lun", "CHANGE_PART_LUN", CHANGE_PART_LUN, CHANGE_PART_LUN};
const CommandName kChangeCacheParams{"change_partition_cache_params", "SET_PARTITION_CACHE_PARAM",
                                     SET_PARTITION_CACHE_PARAM, SET_PARTITION_CACHE_PARAM};
const CommandName kResetController{"reset_controller", "REBOOT_CONTROLLER", REBOOT_CONTROLLER,
                                   REBOOT_CONTROLLER};
const CommandName kSetOwner{"set_owner", "SET_PREFERRED_OWNER", SET_PREFERRED_OWNER,
                            SET_PREFERRED_OWNER};
const CommandName kRescanBus{"rescan_bus", "RESCAN_ALL_BUS", RESCAN_ALL_BUS, RESCAN_ALL_BUS};

constexpr DWORD kDeletePartPauseMs = 2000;
constexpr DWORD kBlinkDrivePauseMs = 5000;
constexpr size_t kExpandPartBodyOffset = 0x10;
constexpr size_t kExpandArrayCountOffset = 0xc;
constexpr size_t kExpandArraySerialOffset = 0x10;
constexpr size_t kExpandArrayDrivesOffset = 0x30;
constexpr size_t kAdvNetOffset = 0x10;
constexpr size_t kCacheParamsOffset = 0x30;

static_assert(kExpandPartBodyOffset + kExpandPartSize == kLenExpandPart);
static_assert(kExpandArrayDrivesOffset + VELA_MAX_DRIVES_PER_ARRAY * kDriveLocationSize <=
              kLenExpandArray);
static_assert(kAdvNetOffset + kAdvNetInterfaceSize == kLenSetAdvNet);
static_assert(kCacheParamsOffset + kCacheParamsSize == kLenSetPartitionCacheParam);

// A command that names its object by a serial at `serialOffset` after the handle.
int SerialCommand(const CommandName& name, size_t len, uint32_t handle, const void* serial,
                  size_t serialOffset) {
  return RunPlainCommand(name, len, [&](uint8_t* p) {
    put_be32(handle, p + kPayloadOffHandle);
    PutSerial(serial, p + serialOffset);
  });
}

}  // namespace

int Tidegate::set_part_name(uint32_t handle, const void* serial, const char* name) {
  return RunPlainCommand(kSetPartName, kLenSetPartName, [&](uint8_t* p) {
    put_be32(handle, p + kPayloadOffHandle);
    PutSerial(serial, p + 0x10);
    PutText(name, p + 0x30, 32);
  });
}

int Tidegate::delete_part(uint32_t handle, const void* serial) {
  // The pause after the command keeps the mutex, so it stalls every other command too.
  ProxyCommandLock lock;
  const int result = SerialCommand(kDeletePart, kLenDeletePart, handle, serial, 0x10);
  if (result == 0) Sleep(kDeletePartPauseMs);
  return result;
}

int Tidegate::expand_part(uint32_t handle, const expandPart& request) {
  return RunPlainCommand(kExpandPart, kLenExpandPart, [&](uint8_t* p) {
    put_be32(handle, p + kPayloadOffHandle);
    EncodeExpandPart(request, p + kExpandPartBodyOffset);
  });
}

int Tidegate::expand_array(uint32_t handle, const void* arraySerial,
                           const std::vector<driveLocation>& vLoca) {
  if (vLoca.size() > VELA_MAX_DRIVES_PER_ARRAY) {
    DebugPrintf("OOP!! Tidegate::expand_array too many drives(Line %d), count = %d\n", __LINE__,
                static_cast<int>(vLoca.size()));
    return -1;
  }
  return RunPlainCommand(kExpandArray, kLenExpandArray, [&](uint8_t* p) {
    put_be32(handle, p + kPayloadOffHandle);
    put_be32(static_cast<uint32_t>(vLoca.size()), p + kExpandArrayCountOffset);
    PutSerial(arraySerial, p + kExpandArraySerialOffset);
    for (size_t i = 0; i < vLoca.size(); ++i) {
      EncodeDriveLocation(vLoca[i], p + kExpandArrayDrivesOffset + i * kDriveLocationSize);
    }
  });
}

int Tidegate::assign_spare(uint32_t handle, const void* driveSerial, bool assign) {
  return RunPlainCommand(kAssignSpare, kLenAssignSpare, [&](uint8_t* p) {
    put_be32(handle, p + kPayloadOffHandle);
    p[0xc] = assign ? 1 : 0;
    p[0xd] = 1;
    PutSerial(driveSerial, p + 0x30);
  });
}

int Tidegate::blink_drive(uint32_t handle, const void* driveSerial, uint8_t on) {
  // The pause comes first and holds the mutex.
  ProxyCommandLock lock;
  Sleep(kBlinkDrivePauseMs);
  return RunPlainCommand(kBlinkDrive, kLenBlinkDrive, [&](uint8_t* p) {
    put_be32(handle, p + kPayloadOffHandle);
    p[0xc] = on;
    PutSerial(driveSerial, p + 0x10);
  });
}

int Tidegate::flush_cache(uint32_t handle, const void* serial) {
  return SerialCommand(kFlushCache, kLenFlushCache, handle, serial, 0xc);
}

int Tidegate::free_cache(uint32_t handle, const void* serial) {
  return SerialCommand(kFreeCache, kLenFreeCache, handle, serial, 0x10);
}

int Tidegate::silence_alarm(uint32_t handle) {
  return RunPlainCommand(kSilenceAlarm, kLenSilenceAlarm,
                         [&](uint8_t* p) { put_be32(handle, p + kPayloadOffHandle); });
}

int Tidegate::delete_array(uint32_t handle, const void* serial) {
  return SerialCommand(kDeleteArray, kLenDeleteArray, handle, serial, 0x10);
}

int Tidegate::abort_utility(uint32_t handle, const void* serial) {
  return SerialCommand(kAbortUtility, kLenAbortUtility, handle, serial, 0xc);
}

int Tidegate::set_adv_net(uint32_t handle, const advNetInterface& net) {
  return RunPlainCommand(kSetAdvNet, kLenSetAdvNet, [&](uint8_t* p) {
    put_be32(handle, p + kPayloadOffHandle);
    put_be32(1, p + 0xc);
    EncodeAdvNetInterface(net, p + kAdvNetOffset);
  });
}

int Tidegate::set_part_lun(uint32_t handle, const void* serial, uint8_t lun) {
  return RunPlainCommand(kSetPartLun, kLenSetPartLun, [&](uint8_t* p) {
    put_be32(handle, p + kPayloadOffHandle);
    p[0xc] = lun;
    PutSerial(serial, p + 0x10);
  });
}

int Tidegate::change_partition_cache_params(uint32_t handle, const void* serial,
                                            const cacheParams& params) {
  return RunPlainCommand(kChangeCacheParams, kLenSetPartitionCacheParam, [&](uint8_t* p) {
    put_be32(handle, p + kPayloadOffHandle);
    PutSerial(serial, p + 0x10);
    EncodeCacheParams(params, p + kCacheParamsOffset);
  });
}

int Tidegate::reset_controller(uint32_t handle, uint8_t mode) {
  return RunPlainCommand(kResetController, kLenRebootController, [&](uint8_t* p) {
    put_be32(handle, p + kPayloadOffHandle);
    p[0xc] = mode;
  });
}

int Tidegate::set_owner(uint32_t handle, const void* serial) {
  return SerialCommand(kSetOwner, kLenSetPreferredOwner, handle, serial, 0xc);
}

int Tidegate::rescan_bus(uint32_t handle) {
  return RunPlainCommand(kRescanBus, kLenRescanAllBus,
                         [&](uint8_t* p) { put_be32(handle, p + kPayloadOffHandle); });
}
