// The commands that make vdisks, partitions, snapshots and host views.
#include <cctype>
#include <cstring>
#include <memory>

#include "diag/debug_log.h"
#include "platform/clock.h"
#include "proxy/byte_order.h"
#include "proxy/tidegate.h"
#include "proxy/tidegate_exchange.h"

namespace {

const CommandName kAddArrayPart{"add_array_part", "ADD_ARRAY_PART", ADD_ARRAY_PART, ADD_ARRAY_PART};
const CommandName kCreateArray{"create_array", "CREATE_ARRAY", CREATE_ARRAY, CREATE_ARRAY};
const CommandName kCreateCustomView{"create_custom_view", "CREATE_CUSTOM_VIEW", CREATE_CUSTOM_VIEW,
                                    CREATE_CUSTOM_VIEW};
// Its DataType line names ADD_ARRAY_PART, while the opcode it expects is its own.
const CommandName kCreateSnapshot{"create_snapshot", "ADD_ARRAY_PART", ADD_ARRAY_PART,
                                  OP_CREATE_SNAPSHOT};

constexpr DWORD kCreateArrayPauseMs = 1000;
constexpr uint32_t kDefaultStripeKB = 64;
constexpr size_t kRetndSnListOffset = 0x36c;

static_assert(kAddArrayPartSize == kLenAddArrayPart);
static_assert(kCreateArraySize == kLenCreateArray);
static_assert(kCustomViewSize == kLenCreateCustomView);
static_assert(kCustomViewSize + kPacketHeaderSize <= kRequestBufferSize);
static_assert(kRetndSnListOffset + kRetndSnListSize == kLenCreateSnapshot);

void CopyBytes(uint8_t* to, const void* from, size_t size) {
  if (from != nullptr) std::memcpy(to, from, size);
}

void CopyText(char* to, const char* from, size_t size) {
  if (from != nullptr) std::memcpy(to, from, strnlen(from, size));
}

// 16 hexadecimal digits with at least one non-zero byte.
bool ParseWwpn(const char* text, uint8_t wwpn[8]) {
  if (std::strlen(text) != 16) return false;
  bool anyNonZero = false;
  for (int i = 0; i < 8; ++i) {
    uint8_t byte = 0;
    for (int j = 0; j < 2; ++j) {
      const char c = text[i * 2 + j];
      if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
      const int digit = std::isdigit(static_cast<unsigned char>(c))
                            ? c - '0'
                            : std::tolower(static_cast<unsigned char>(c)) - 'a' + 10;
      byte = static_cast<uint8_t>((byte << 4) | digit);
    }
    wwpn[i] = byte;
    anyNonZero = anyNonZero || byte != 0;
  }
  return anyNonZero;
}

}  // namespace

int Tidegate::add_array_part(uint32_t handle, const void* arraySerial, uint64_t size,
                             const char* name, uint8_t isSpecial, uint8_t specialKind,
                             const void* backingStoreId, partition* newPart) {
  DebugPrintf("Tidegate::add_array_part name = %s, size = 0x%I64x, isSpecial = %d, kind = %d\n",
              name != nullptr ? name : "", size, isSpecial, specialKind);
  auto request = std::make_unique<addArrayPart>();
  request->handle = handle;
  request->reserved_c = 0xFFFFFFFFu;
  request->blockCount = size >> 9;
  request->isSpecial = isSpecial;
  request->specialKind = specialKind;
  CopyBytes(request->arraySerial, arraySerial, sizeof request->arraySerial);
  CopyBytes(request->backingStoreId, backingStoreId, sizeof request->backingStoreId);
  CopyText(request->name, name, sizeof request->name);

  CommandFrame frame(kAddArrayPart, kLenAddArrayPart);
  if (frame.payload() != nullptr) EncodeAddArrayPart(*request, frame.payload());
  if (!frame.Exchange()) return -1;
  if (frame.Status() != 0) {
    frame.LogStatus();
    return static_cast<int>(frame.Status());
  }
  DecodeAddArrayPart(frame.payload(), frame.Available(), request.get());
  *newPart = request->partition;
  LogCommandExit(kAddArrayPart);
  return 0;
}

int Tidegate::create_array(uint32_t handle, uint8_t controllerId, array* newArray,
                           uint8_t raidLevel, uint32_t stripeSize,
                           const std::vector<driveLocation>& vLoca,
                           const std::vector<DriveSerial>& vSn, const char* name,
                           uint8_t numDrivesPerLowLevelArray, uint32_t numSpares) {
  LogCommandEntry(kCreateArray);
  if (vLoca.size() > VELA_MAX_DRIVES_PER_ARRAY || vSn.size() > VELA_MAX_DRIVES_PER_ARRAY) {
    DebugPrintf("OOP!! Tidegate::create_array too many drives(Line %d), count = %d\n", __LINE__,
                static_cast<int>(vLoca.size()));
    return -1;
  }
  auto request = std::make_unique<createArray>();
  request->handle = handle;
  for (size_t i = 0; i < vLoca.size(); ++i) {
    request->drives[i] = vLoca[i];
    DebugPrintf("Create Array Uses Drive: %d.%d\n", static_cast<int>(vLoca[i].channelIndex),
                static_cast<int>(vLoca[i].driveIndex));
  }
  for (size_t i = 0; i < vSn.size(); ++i) {
    std::memcpy(request->driveSerials[i], vSn[i].data(), vSn[i].size());
  }
  request->numDrives = static_cast<uint32_t>(vLoca.size());
  request->numSpares = numSpares;
  // Mirroring over more than two drives is the striped mirror.
  request->raidLevel =
      raidLevel == VELA_RAID1 && vLoca.size() > 2 ? uint8_t{VELA_RAID10} : raidLevel;
  request->stripeSizeKB = stripeSize == 0 ? kDefaultStripeKB : stripeSize / 1024;
  request->numDrivesPerLowLevelArray = numDrivesPerLowLevelArray;
  request->reserved_248 = 0xFFFFFFFFu;
  request->controllerId = controllerId;
  request->reserved_250 = 3;
  CopyText(request->name, name, sizeof request->name);

  CommandFrame frame(kCreateArray, kLenCreateArray);
  if (frame.payload() != nullptr) EncodeCreateArray(*request, frame.payload());
  if (!frame.Exchange()) return -1;
  if (frame.Status() != 0) {
    frame.LogStatus();
    return -1;
  }
  Sleep(kCreateArrayPauseMs);
  DecodeCreateArray(frame.payload(), frame.Available(), request.get());
  *newArray = request->array;
  const char* asked = name != nullptr ? name : "";
  if (std::strncmp(newArray->name, asked, sizeof newArray->name) != 0) {
    const std::string made(newArray->name, strnlen(newArray->name, sizeof newArray->name));
    DebugPrintf(
        "OOP!! Tidegate::create_array the arrayName is not expected(Line %d), the expected name "
        "is %s, but now name is %s\n",
        __LINE__, asked, made.c_str());
    return -1;
  }
  LogCommandExit(kCreateArray);
  return 0;
}

int Tidegate::create_custom_view(uint32_t handle, const void* serial, uint16_t lun, bool bCreate,
                                 uint8_t addressType, const char* wwpn, bool ulpFlag) {
  DebugPrintf("Tidegate::create_custom_view lun = %d, bCreate = %d, wwpn = %s\n", lun,
              bCreate ? 1 : 0, wwpn != nullptr ? wwpn : "(null)");
  uint8_t wwpnBytes[8] = {};
  if (wwpn != nullptr && !ParseWwpn(wwpn, wwpnBytes)) {
    DebugPrintf("OOP!! Tidegate::create_custom_view wwpn(Line %d) error, wwpn = %s\n", __LINE__,
                wwpn);
    return -1;
  }
  auto view = std::make_unique<customView>();
  view->numEntries = 1;
  customViewEntry& entry = view->entries[0];
  entry.handle = handle;
  std::memset(entry.portMask, 1, sizeof entry.portMask);
  entry.deleteAll = wwpn == nullptr && !bCreate ? 1 : 0;
  CopyBytes(entry.serialNumber, serial, sizeof entry.serialNumber);
  entry.address.hostType = addressType;
  std::memcpy(entry.address.wwpn, wwpnBytes, sizeof wwpnBytes);
  entry.address.lun = lun;
  entry.map.lun = lun;
  const uint8_t access = !bCreate ? kAccessNone : ulpFlag ? kAccessReadWriteUlp : kAccessReadWrite;
  std::memset(entry.map.access, access, sizeof entry.map.access);

  CommandFrame frame(kCreateCustomView, kLenCreateCustomView);
  if (frame.payload() != nullptr) EncodeCustomView(*view, frame.payload());
  if (!frame.Exchange()) return -1;
  if (frame.Status() != 0) {
    frame.LogStatus();
    return -1;
  }
  LogCommandExit(kCreateCustomView);
  return 0;
}

int Tidegate::create_snapshot(uint32_t handle, const void* arraySerial, const char* name,
                              uint8_t isSpecial, uint8_t specialKind, uint64_t tag,
                              const void* masterVolumeId, RetndSnList* list) {
  const std::string vdisk = arraySerial != nullptr
                                ? std::string(static_cast<const char*>(arraySerial),
                                              strnlen(static_cast<const char*>(arraySerial), 32))
                                : std::string();
  DebugPrintf("Tidegate::create_snapshot vdisk = %s, name = %s, tag = 0x%I64x\n", vdisk.c_str(),
              name != nullptr ? name : "", tag);
  CommandFrame frame(kCreateSnapshot, kLenCreateSnapshot);
  if (uint8_t* p = frame.payload(); p != nullptr) {
    put_be32(handle, p + kPayloadOffHandle);
    p[0xc] = isSpecial;
    p[0xd] = specialKind;
    p[0xe] = 2;
    p[0xf] = 1;
    put_be64_lowfirst(tag, p + 0x14);
    CopyBytes(p + 0x1c, masterVolumeId, 16);
    PutText(name, p + 0x2c, 32);
  }
  if (!frame.Exchange()) return -1;
  if (frame.Status() != 0) {
    frame.LogStatus();
    return static_cast<int>(frame.Status());
  }
  DecodeRetndSnList(frame.payload() + kRetndSnListOffset, kRetndSnListSize, list);
  LogCommandExit(kCreateSnapshot);
  return 0;
}
