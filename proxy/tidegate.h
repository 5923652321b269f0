// The command set of the proxy: one static method per command, one request and one reply each.
//
// Every method takes tidegate_lock_vds for its one exchange (never across two commands: callers
// order sequences with their own locks), builds the request in the shared request buffer, checks
// the reply (transport, payload length, frame type and opcode, status) and converts and copies
// what it returns. 0 is success; -1 a failure of the exchange or of the reply's form; methods
// marked "status returned" give the proxy's non-zero status word itself. After a failure the
// error cell (iasocket.h) tells whether the transport was the cause.
//
// Serials (`serial`, `arraySerial`, `driveSerial`) point at 32 bytes. Sizes are in bytes unless
// named as blocks. The caller provides the memory of every result.
#ifndef VELA_PROXY_TIDEGATE_H_
#define VELA_PROXY_TIDEGATE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "proxy/records.h"

// A drive's 32-byte serial, as the drive lists of create_array carry it.
using DriveSerial = std::array<uint8_t, 32>;

class Tidegate {
 public:
  Tidegate() = delete;

  // GET_CONTROLLERHANDLEDB: appends the proxy's subsystems to *list.
  static int get_subsystems(std::vector<subsystem>* list);
  // GET_CONTROLLER: the whole record of one controller (heap-allocate it: 2.5 MB).
  static int get_controller_data(uint32_t handle, controllerData* data);
  // GET_EVENT for one event, selected by two flag bytes and a sequence word.
  static int get_event(uint32_t handle, uint8_t flagA, uint8_t flagB, uint32_t sequence,
                       event* out);
  // GET_EVENT for the range [firstEventNum, lastEventNum]; *events gets numEvents entries, at
  // most lastEventNum - firstEventNum + 1.
  static int get_events(uint32_t handle, uint32_t firstEventNum, uint32_t lastEventNum,
                        std::vector<event>* events);
  // GET_VERSION: leaves the reply frame in `buffer`, which has room for `size` bytes.
  static int get_version(uint8_t* buffer, size_t size);
  static int set_part_name(uint32_t handle, const void* serial, const char* name);
  // ADD_ARRAY_PART, status returned. `size` in bytes, sent in blocks. Fills *newPart.
  static int add_array_part(uint32_t handle, const void* arraySerial, uint64_t size,
                            const char* name, uint8_t isSpecial, uint8_t specialKind,
                            const void* backingStoreId, partition* newPart);
  // DELETE_PART; holds the mutex two seconds after a success.
  static int delete_part(uint32_t handle, const void* serial);
  // CREATE_ARRAY from parallel drive lists (at most 68 drives). `stripeSize` in bytes, 0 for
  // 64 KB. Fills *newArray; -1 also when the made array carries another name than `name`.
  static int create_array(uint32_t handle, uint8_t controllerId, array* newArray, uint8_t raidLevel,
                          uint32_t stripeSize, const std::vector<driveLocation>& vLoca,
                          const std::vector<DriveSerial>& vSn, const char* name,
                          uint8_t numDrivesPerLowLevelArray, uint32_t numSpares);
  static int expand_part(uint32_t handle, const expandPart& request);
  // EXPAND_ARRAY with at most 68 drives.
  static int expand_array(uint32_t handle, const void* arraySerial,
                          const std::vector<driveLocation>& vLoca);
  static int assign_spare(uint32_t handle, const void* driveSerial, bool assign);
  // BLINK_DRIVE; holds the mutex five seconds before it sends.
  static int blink_drive(uint32_t handle, const void* driveSerial, uint8_t on);
  static int flush_cache(uint32_t handle, const void* serial);
  static int free_cache(uint32_t handle, const void* serial);
  static int silence_alarm(uint32_t handle);
  static int delete_array(uint32_t handle, const void* serial);
  static int abort_utility(uint32_t handle, const void* serial);
  static int get_percent(uint32_t handle, const void* serial, uint32_t* percent);
  static int set_adv_net(uint32_t handle, const advNetInterface& net);
  static int set_part_lun(uint32_t handle, const void* serial, uint8_t lun);
  static int change_partition_cache_params(uint32_t handle, const void* serial,
                                           const cacheParams& params);
  static int reset_controller(uint32_t handle, uint8_t mode);
  static int set_owner(uint32_t handle, const void* serial);
  static int rescan_bus(uint32_t handle);
  static int get_part_view(uint32_t handle, const void* serial, partitionView* view);
  // CREATE_CUSTOM_VIEW for one host. `wwpn` is 16 hex digits or null (with bCreate false:
  // remove the view for all hosts); anything else fails before sending.
  static int create_custom_view(uint32_t handle, const void* serial, uint16_t lun, bool bCreate,
                                uint8_t addressType, const char* wwpn, bool ulpFlag);

  // Snapshot and master volume commands. create_snapshot: status returned; `arraySerial` is
  // only logged; `masterVolumeId` points at 16 bytes.
  static int create_snapshot(uint32_t handle, const void* arraySerial, const char* name,
                             uint8_t isSpecial, uint8_t specialKind, uint64_t tag,
                             const void* masterVolumeId, RetndSnList* list);
  // The methods below return the status word itself when it is not 0.
  static int get_dms_tag(uint32_t handle, uint8_t controllerIndex, uint64_t* tag);
  static int get_backing_store_list(uint32_t handle, uint8_t controllerIndex,
                                    std::vector<backingStoreEntry>* entries);
  // `serial` may be null (zeros are sent).
  static int get_master_volume_list(uint32_t handle, uint8_t byteD, uint8_t byteC,
                                    const void* serial, std::vector<masterVolumeEntry>* entries);
  // Fills *entries whatever the status.
  static int get_snapshot_list(uint32_t handle, uint8_t byteD, uint8_t byteC, const void* serial,
                               std::vector<snapshotEntry>* entries);
  // `backingStoreId` points at 16 bytes.
  static int convert_master_volume(uint32_t handle, const void* serial, uint8_t mode,
                                   const void* backingStoreId);
  // No handle: asks about the subsystem `uniqueSN` (32 bytes). *needRefresh non-zero when the
  // proxy holds a change that calls for a refresh.
  static int get_need_refresh(const void* uniqueSN, uint8_t* needRefresh);
  static int get_unified_controller_data(uint32_t handle, unifiedControllerData* data);

  // iSCSI target secrets; part of the command set without a user in this system.
  static constexpr size_t kAuthDbRecordSize = 0x3fc;
  static constexpr size_t kFlexKnownHostsSize = 0xf848;
  // Sends the record at `record` and replaces it with the proxy's.
  static int get_authDB_record(uint32_t handle, uint8_t* record);
  static int set_target_secret(uint32_t handle, const char* secret);
  static int clear_all_target_secret(uint32_t handle);
  static int set_target_secret(uint32_t handle, const char* name, const char* secret);
  static int remeber_initiator_secret(uint32_t handle, const char* name, const char* secret,
                                      const char* mutualSecret);
  static int get_flex_known_hosts(uint32_t handle, uint8_t* hosts);
  // The one command not tied to a controller.
  static int get_connect_Hba_info_list(hbaInfoList* list);
};

#endif  // VELA_PROXY_TIDEGATE_H_
