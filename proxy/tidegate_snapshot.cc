// The second-family commands of snapshots, master volumes and subsystem state: no failure
// lines, and a non-zero status word comes back as the result.
#include <cstring>

#include "diag/debug_log.h"
#include "proxy/byte_order.h"
#include "proxy/tidegate.h"
#include "proxy/tidegate_exchange.h"

namespace {

const CommandName kGetDmsTag{"get_dms_tag", "get_dms_tag", OP_GET_DMS_TAG, OP_GET_DMS_TAG};
const CommandName kGetBackingStoreList{"get_backing_store_list", "get_backing_store_list",
                                       OP_GET_BACKING_STORE_LIST, OP_GET_BACKING_STORE_LIST};
const CommandName kGetMasterVolumeList{"get_master_volume_list", "get_master_volume_list",
                                       OP_GET_MASTER_VOLUME_LIST, OP_GET_MASTER_VOLUME_LIST};
const CommandName kGetSnapshotList{"get_snapshot_list", "get_snapshot_list", OP_GET_SNAPSHOT_LIST,
                                   OP_GET_SNAPSHOT_LIST};
const CommandName kConvertMasterVolume{"convert_master_volume", "convert_master_volume",
                                       OP_CONVERT_MASTER_VOLUME, OP_CONVERT_MASTER_VOLUME};
const CommandName kGetNeedRefresh{"get_need_refresh", "get_need_refresh", OP_GET_NEED_REFRESH,
                                  OP_GET_NEED_REFRESH};
const CommandName kGetUnifiedControllerData{
    "get_unified_controller_data", "get_unified_controller_data", OP_GET_UNIFIED_CONTROLLER_DATA,
    OP_GET_UNIFIED_CONTROLLER_DATA};

constexpr size_t kDmsTagOffset = 0x14;
constexpr size_t kVolumeListSerialOffset = 0x10;
constexpr size_t kNeedRefreshSerialOffset = 0x8;
constexpr size_t kNeedRefreshByteOffset = 0x28;
constexpr size_t kUnifiedDataOffset = 0xc;

static_assert(kDmsTagOffset + 8 <= kLenGetDmsTag);
static_assert(kBackingStoreListEntriesOffset + kMaxBackingStoreEntries * kBackingStoreEntrySize ==
              kLenGetBackingStoreList);
static_assert(kMasterVolumeListEntriesOffset + kMaxMasterVolumeEntries * kMasterVolumeEntrySize ==
              kLenGetMasterVolumeList);
static_assert(kSnapshotListEntriesOffset + kMaxSnapshotEntries * kSnapshotEntrySize ==
              kLenGetSnapshotList);
static_assert(kUnifiedDataOffset + kUnifiedControllerDataSize <= kLenGetUnifiedControllerData);

void FillVolumeListRequest(uint8_t* p, uint32_t handle, uint8_t byteD, uint8_t byteC,
                           const void* serial) {
  put_be32(handle, p + kPayloadOffHandle);
  p[0xd] = byteD;
  p[0xc] = byteC;
  PutSerial(serial, p + kVolumeListSerialOffset);
}

}  // namespace

int Tidegate::get_dms_tag(uint32_t handle, uint8_t controllerIndex, uint64_t* tag) {
  LogCommandEntry(kGetDmsTag);
  CommandFrame frame(kGetDmsTag, kLenGetDmsTag);
  if (uint8_t* p = frame.payload(); p != nullptr) {
    put_be32(handle, p + kPayloadOffHandle);
    p[0xc] = controllerIndex;
  }
  if (!frame.Exchange(false)) return -1;
  if (frame.Status() != 0) return static_cast<int>(frame.Status());
  *tag = get_be64_lowfirst(frame.payload() + kDmsTagOffset);
  return 0;
}

int Tidegate::get_backing_store_list(uint32_t handle, uint8_t controllerIndex,
                                     std::vector<backingStoreEntry>* entries) {
  LogCommandEntry(kGetBackingStoreList);
  CommandFrame frame(kGetBackingStoreList, kLenGetBackingStoreList);
  if (uint8_t* p = frame.payload(); p != nullptr) {
    put_be32(handle, p + kPayloadOffHandle);
    p[0xc] = controllerIndex;
  }
  if (!frame.Exchange(false)) return -1;
  if (frame.Status() != 0) return static_cast<int>(frame.Status());
  return DecodeList(kBackingStoreList, frame.payload(), frame.Available(), entries) ? 0 : -1;
}

int Tidegate::get_master_volume_list(uint32_t handle, uint8_t byteD, uint8_t byteC,
                                     const void* serial, std::vector<masterVolumeEntry>* entries) {
  LogCommandEntry(kGetMasterVolumeList);
  CommandFrame frame(kGetMasterVolumeList, kLenGetMasterVolumeList);
  if (uint8_t* p = frame.payload(); p != nullptr) {
    FillVolumeListRequest(p, handle, byteD, byteC, serial);
  }
  if (!frame.Exchange(false)) return -1;
  if (frame.Status() != 0) return static_cast<int>(frame.Status());
  return DecodeList(kMasterVolumeList, frame.payload(), frame.Available(), entries) ? 0 : -1;
}

int Tidegate::get_snapshot_list(uint32_t handle, uint8_t byteD, uint8_t byteC, const void* serial,
                                std::vector<snapshotEntry>* entries) {
  LogCommandEntry(kGetSnapshotList);
  CommandFrame frame(kGetSnapshotList, kLenGetSnapshotList);
  if (uint8_t* p = frame.payload(); p != nullptr) {
    FillVolumeListRequest(p, handle, byteD, byteC, serial);
    put_be32(0, p + kSnapshotListCountOffset);
    put_be16(0, p + 0xe);
  }
  if (!frame.Exchange(false)) return -1;
  // The list is copied whatever the status says.
  if (!DecodeList(kSnapshotList, frame.payload(), frame.Available(), entries)) return -1;
  return static_cast<int>(frame.Status());
}

int Tidegate::convert_master_volume(uint32_t handle, const void* serial, uint8_t mode,
                                    const void* backingStoreId) {
  return RunStatusCommand(kConvertMasterVolume, kLenConvertMasterVolume, [&](uint8_t* p) {
    put_be32(handle, p + kPayloadOffHandle);
    PutSerial(serial, p + 0x61);
    p[0x8f] = mode;
    if (backingStoreId != nullptr) std::memcpy(p + 0x98, backingStoreId, 16);
  });
}

int Tidegate::get_need_refresh(const void* uniqueSN, uint8_t* needRefresh) {
  LogCommandEntry(kGetNeedRefresh);
  CommandFrame frame(kGetNeedRefresh, kLenGetNeedRefresh);
  if (uint8_t* p = frame.payload(); p != nullptr) PutSerial(uniqueSN, p + kNeedRefreshSerialOffset);
  if (!frame.Exchange(false)) return -1;
  if (frame.Status() != 0) return static_cast<int>(frame.Status());
  *needRefresh = frame.payload()[kNeedRefreshByteOffset];
  return 0;
}

int Tidegate::get_unified_controller_data(uint32_t handle, unifiedControllerData* data) {
  LogCommandEntry(kGetUnifiedControllerData);
  CommandFrame frame(kGetUnifiedControllerData, kLenGetUnifiedControllerData);
  if (uint8_t* p = frame.payload(); p != nullptr) put_be32(handle, p + kPayloadOffHandle);
  if (!frame.Exchange(false)) return -1;
  if (frame.Status() != 0) return static_cast<int>(frame.Status());
  DecodeUnifiedControllerData(frame.payload() + kUnifiedDataOffset, kUnifiedControllerDataSize,
                              data);
  return 0;
}
