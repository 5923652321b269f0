// The first-family commands that read from a controller.
#include <algorithm>
#include <cstring>

#include "diag/debug_log.h"
#include "proxy/byte_order.h"
#include "proxy/tidegate.h"
#include "proxy/tidegate_exchange.h"

namespace {

const CommandName kGetSubsystems{"get_subsystems", "GET_CONTROLLERHANDLEDB", GET_CONTROLLERHANDLEDB,
                                 GET_CONTROLLERHANDLEDB};
const CommandName kGetControllerData{"get_controller_data", "GET_CONTROLLER", GET_CONTROLLER,
                                     GET_CONTROLLER};
const CommandName kGetEvent{"get_event", "GET_EVENT", GET_EVENT, GET_EVENT};
const CommandName kGetEvents{"get_events", "GET_EVENT", GET_EVENT, GET_EVENT};
const CommandName kGetVersion{"get_version", "GET_VERSION", GET_VERSION, GET_VERSION};
const CommandName kGetPercent{"get_percent", "GET_PERCENT_COMPLETED", GET_PERCENT_COMPLETED,
                              GET_PERCENT_COMPLETED};
const CommandName kGetPartView{"get_part_view", "GET_PARTITION_VIEW", GET_PARTITION_VIEW,
                               GET_PARTITION_VIEW};

constexpr size_t kGetSubsystemsFlagOffset = 0xc;
constexpr size_t kControllerHandleOffset = 0x0;
constexpr size_t kEventFlagAOffset = 0xc;
constexpr size_t kEventFlagBOffset = 0xd;
constexpr size_t kEventSequenceOffset = 0x10;
constexpr size_t kEventFirstOffset = 0x18;
constexpr size_t kEventLastOffset = 0x1c;
constexpr size_t kPercentSerialOffset = 0xc;
constexpr size_t kPercentOffset = 0x2c;
constexpr size_t kPartViewSerialOffset = 0x10;
constexpr size_t kPartViewOffset = 0x30;

static_assert(kEventListEntriesOffset + kEventSize == kLenGetEvent);
static_assert(kPartViewOffset + kPartitionViewSize == kLenGetPartView);
static_assert(kPercentOffset + 4 <= kLenGetPercent);
static_assert(kControllerDataSize + kPacketHeaderSize <= kRequestBufferSize);

}  // namespace

int Tidegate::get_subsystems(std::vector<subsystem>* list) {
  LogCommandEntry(kGetSubsystems);
  // The payload is not cleared: only the flag byte is set over the previous frame's bytes.
  CommandFrame frame(kGetSubsystems, kLenGetControllerHandleDb, false);
  if (uint8_t* p = frame.payload(); p != nullptr) p[kGetSubsystemsFlagOffset] = 1;
  if (!frame.Exchange()) return -1;
  // This reply keeps its status at offset 0, in the proxy's order; only zero matters.
  const uint8_t* p = frame.payload();
  const uint32_t status = get_le32(p + kSubsystemListOffStatus);
  if (status != 0) {
    DebugPrintf("OOP!! Tidegate::%s return error code(Line %d) error, it return len = %d\n",
                kGetSubsystems.method, __LINE__, static_cast<int>(status));
    return -1;
  }
  std::vector<subsystem> entries;
  if (!DecodeList(kSubsystemList, p, frame.Available(), &entries)) {
    DebugPrintf("OOP!! Tidegate::get_subsystems count(Line %d) error, count = %d\n", __LINE__,
                static_cast<int>(get_le32(p + kSubsystemListOffCount)));
    return -1;
  }
  list->insert(list->end(), entries.begin(), entries.end());
  LogCommandExit(kGetSubsystems);
  return 0;
}

int Tidegate::get_controller_data(uint32_t handle, controllerData* data) {
  LogCommandEntry(kGetControllerData);
  CommandFrame frame(kGetControllerData, kLenGetController);
  if (uint8_t* p = frame.payload(); p != nullptr) put_be32(handle, p + kControllerHandleOffset);
  if (!frame.Exchange()) return -1;
  if (frame.Status() != 0) {
    frame.LogStatus();
    return -1;
  }
  if (!frame.Covers(0, kControllerDataSize)) return -1;
  DecodeControllerData(frame.payload(), frame.Available(), data);
  LogCommandExit(kGetControllerData);
  return 0;
}

int Tidegate::get_event(uint32_t handle, uint8_t flagA, uint8_t flagB, uint32_t sequence,
                        event* out) {
  LogCommandEntry(kGetEvent);
  CommandFrame frame(kGetEvent, kLenGetEvent);
  if (uint8_t* p = frame.payload(); p != nullptr) {
    put_be32(handle, p + kPayloadOffHandle);
    p[kEventFlagAOffset] = flagA;
    p[kEventFlagBOffset] = flagB;
    put_be32(sequence, p + kEventSequenceOffset);
  }
  if (!frame.Exchange()) return -1;
  if (frame.Status() != 0) {
    const uint32_t raw = get_le32(frame.payload() + kPayloadOffStatus);
    const uint32_t dataLen = get_be32(frame.frame() + kHeaderOffDataLen);
    DebugPrintf(
        "OOP!! Tidegate::get_event return error code 0x%x (byte-swapped 0x%x), len %d "
        "(byteswapped %d) (Line %d)\n",
        raw, frame.Status(), static_cast<int>(get_le32(frame.frame() + kHeaderOffDataLen)),
        static_cast<int>(dataLen), __LINE__);
    return -1;
  }
  DecodeEvent(frame.payload() + kEventListEntriesOffset, kEventSize, out);
  LogCommandExit(kGetEvent);
  return 0;
}

int Tidegate::get_events(uint32_t handle, uint32_t firstEventNum, uint32_t lastEventNum,
                         std::vector<event>* events) {
  DebugPrintf("Tidegate::get_events firstEventNum = %d, lastEventNum = %d\n",
              static_cast<int>(firstEventNum), static_cast<int>(lastEventNum));
  CommandFrame frame(kGetEvents, kLenGetEvent);
  if (uint8_t* p = frame.payload(); p != nullptr) {
    put_be32(handle, p + kPayloadOffHandle);
    put_be32(firstEventNum, p + kEventFirstOffset);
    put_be32(lastEventNum, p + kEventLastOffset);
  }
  if (!frame.Exchange()) return -1;
  if (frame.Status() != 0) {
    frame.LogStatus();
    return -1;
  }
  // The caller has room for the range it asked for; a longer list is refused.
  const uint64_t room =
      lastEventNum >= firstEventNum ? uint64_t{lastEventNum} - firstEventNum + 1 : 0;
  ListFormat format = kEventList;
  format.maxEntries = static_cast<size_t>(room);
  if (!DecodeList(format, frame.payload(), frame.Available(), events)) {
    DebugPrintf("OOP!! Tidegate::get_events numEvents(Line %d) error, numEvents = %d\n", __LINE__,
                static_cast<int>(get_be32(frame.payload() + kEventListCountOffset)));
    return -1;
  }
  LogCommandExit(kGetEvents);
  return 0;
}

int Tidegate::get_version(uint8_t* buffer, size_t size) {
  LogCommandEntry(kGetVersion);
  CommandFrame frame(kGetVersion, kLenGetVersion);
  if (!frame.Exchange()) return -1;
  if (frame.Status() != 0) {
    frame.LogStatus();
    return -1;
  }
  std::memcpy(buffer, frame.frame(), std::min(size, kPacketHeaderSize + frame.Available()));
  LogCommandExit(kGetVersion);
  return 0;
}

int Tidegate::get_percent(uint32_t handle, const void* serial, uint32_t* percent) {
  LogCommandEntry(kGetPercent);
  CommandFrame frame(kGetPercent, kLenGetPercent);
  if (uint8_t* p = frame.payload(); p != nullptr) {
    put_be32(handle, p + kPayloadOffHandle);
    PutSerial(serial, p + kPercentSerialOffset);
  }
  if (!frame.Exchange()) return -1;
  if (frame.Status() != 0) {
    frame.LogStatus();
    return -1;
  }
  *percent = get_be32(frame.payload() + kPercentOffset);
  LogCommandExit(kGetPercent);
  return 0;
}

int Tidegate::get_part_view(uint32_t handle, const void* serial, partitionView* view) {
  LogCommandEntry(kGetPartView);
  CommandFrame frame(kGetPartView, kLenGetPartView);
  if (uint8_t* p = frame.payload(); p != nullptr) {
    put_be32(handle, p + kPayloadOffHandle);
    PutSerial(serial, p + kPartViewSerialOffset);
  }
  if (!frame.Exchange()) return -1;
  if (frame.Status() != 0) {
    frame.LogStatus();
    return -1;
  }
  DecodePartitionView(frame.payload() + kPartViewOffset, kPartitionViewSize, view);
  LogCommandExit(kGetPartView);
  return 0;
}
