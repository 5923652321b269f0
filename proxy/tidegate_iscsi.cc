// The iSCSI target secret commands and the host lists: second family, no user in the object
// tree of this system.
//
// Request fields (payload offsets): initiator or target name 0x10 and 0xf8 (224 bytes each),
// the two zero flag bytes 0xf0 and 0xf1, the target secret 0x1d8, the initiator's secrets 0x1e9
// and 0x2c9 (224 bytes each).
#include <cstring>

#include "proxy/byte_order.h"
#include "proxy/tidegate.h"
#include "proxy/tidegate_exchange.h"

namespace {

const CommandName kGetAuthDbRecord{"get_authDB_record", "get_authDB_record", OP_GET_AUTHDB_RECORD,
                                   OP_GET_AUTHDB_RECORD};
const CommandName kSetTargetSecret{"set_target_secret", "set_target_secret", OP_SET_TARGET_SECRET,
                                   OP_SET_TARGET_SECRET};
const CommandName kClearAllTargetSecret{"clear_all_target_secret", "clear_all_target_secret",
                                        OP_CLEAR_ALL_TARGET_SECRET, OP_CLEAR_ALL_TARGET_SECRET};
const CommandName kSetTargetSecretNamed{"set_target_secret", "set_target_secret",
                                        OP_SET_TARGET_SECRET_NAMED, OP_SET_TARGET_SECRET_NAMED};
const CommandName kRememberInitiatorSecret{"remeber_initiator_secret", "remeber_initiator_secret",
                                           OP_REMEMBER_INITIATOR_SECRET,
                                           OP_REMEMBER_INITIATOR_SECRET};
const CommandName kGetFlexKnownHosts{"get_flex_known_hosts", "get_flex_known_hosts",
                                     OP_GET_FLEX_KNOWN_HOSTS, OP_GET_FLEX_KNOWN_HOSTS};
const CommandName kGetConnectHbaInfoList{"get_connect_Hba_info_list", "get_connect_Hba_info_list",
                                         OP_GET_CONNECT_HBA_INFO_LIST,
                                         OP_GET_CONNECT_HBA_INFO_LIST};

constexpr size_t kAuthDbOffset = 0x10;
constexpr size_t kNameOffset = 0x10;
constexpr size_t kSecondNameOffset = 0xf8;
constexpr size_t kNameSize = 224;
constexpr size_t kTargetSecretOffset = 0x1d8;
constexpr size_t kTargetSecretSize = 0x1e9 - 0x1d8;
constexpr size_t kInitiatorSecretOffset = 0x1e9;
constexpr size_t kMutualSecretOffset = 0x2c9;
constexpr size_t kInitiatorSecretSize = 224;
constexpr size_t kFlexKnownHostsOffset = 0x10;
constexpr size_t kHbaInfoListOffset = 0x8;

static_assert(kAuthDbOffset + Tidegate::kAuthDbRecordSize == kLenAuthDb);
static_assert(kMutualSecretOffset + kInitiatorSecretSize <= kLenAuthDb);
static_assert(kSecondNameOffset + kNameSize == kTargetSecretOffset);
static_assert(kFlexKnownHostsOffset + Tidegate::kFlexKnownHostsSize == kLenGetFlexKnownHosts);
static_assert(kHbaInfoListOffset + kHbaInfoListSize <= kLenGetConnectHbaInfoList);

void FillSecretHeader(uint8_t* p, uint32_t handle) {
  put_be32(handle, p + kPayloadOffHandle);
  p[0xf0] = 0;
  p[0xf1] = 0;
}

}  // namespace

int Tidegate::get_authDB_record(uint32_t handle, uint8_t* record) {
  LogCommandEntry(kGetAuthDbRecord);
  CommandFrame frame(kGetAuthDbRecord, kLenAuthDb);
  if (uint8_t* p = frame.payload(); p != nullptr) {
    put_be32(handle, p + kPayloadOffHandle);
    std::memcpy(p + kAuthDbOffset, record, kAuthDbRecordSize);
  }
  if (!frame.Exchange(false)) return -1;
  if (frame.Status() != 0) return static_cast<int>(frame.Status());
  std::memcpy(record, frame.payload() + kAuthDbOffset, kAuthDbRecordSize);
  return 0;
}

int Tidegate::set_target_secret(uint32_t handle, const char* secret) {
  return RunStatusCommand(kSetTargetSecret, kLenAuthDb, [&](uint8_t* p) {
    FillSecretHeader(p, handle);
    PutText(secret, p + kTargetSecretOffset, kTargetSecretSize);
  });
}

int Tidegate::clear_all_target_secret(uint32_t handle) {
  return RunStatusCommand(kClearAllTargetSecret, kLenAuthDb,
                          [&](uint8_t* p) { FillSecretHeader(p, handle); });
}

int Tidegate::set_target_secret(uint32_t handle, const char* name, const char* secret) {
  return RunStatusCommand(kSetTargetSecretNamed, kLenAuthDb, [&](uint8_t* p) {
    FillSecretHeader(p, handle);
    PutText(name, p + kNameOffset, kNameSize);
    PutText(name, p + kSecondNameOffset, kNameSize);
    PutText(secret, p + kTargetSecretOffset, kTargetSecretSize);
  });
}

int Tidegate::remeber_initiator_secret(uint32_t handle, const char* name, const char* secret,
                                       const char* mutualSecret) {
  return RunStatusCommand(kRememberInitiatorSecret, kLenAuthDb, [&](uint8_t* p) {
    FillSecretHeader(p, handle);
    PutText(name, p + kNameOffset, kNameSize);
    PutText(secret, p + kInitiatorSecretOffset, kInitiatorSecretSize);
    PutText(mutualSecret, p + kMutualSecretOffset, kInitiatorSecretSize);
  });
}

int Tidegate::get_flex_known_hosts(uint32_t handle, uint8_t* hosts) {
  LogCommandEntry(kGetFlexKnownHosts);
  CommandFrame frame(kGetFlexKnownHosts, kLenGetFlexKnownHosts);
  if (uint8_t* p = frame.payload(); p != nullptr) put_be32(handle, p + kPayloadOffHandle);
  if (!frame.Exchange(false)) return -1;
  if (frame.Status() != 0) return static_cast<int>(frame.Status());
  std::memcpy(hosts, frame.payload() + kFlexKnownHostsOffset, kFlexKnownHostsSize);
  return 0;
}

int Tidegate::get_connect_Hba_info_list(hbaInfoList* list) {
  LogCommandEntry(kGetConnectHbaInfoList);
  CommandFrame frame(kGetConnectHbaInfoList, kLenGetConnectHbaInfoList);
  if (!frame.Exchange(false)) return -1;
  if (frame.Status() != 0) return static_cast<int>(frame.Status());
  DecodeHbaInfoList(frame.payload() + kHbaInfoListOffset, kHbaInfoListSize, list);
  // A count beyond the table is refused; its users index the table by it.
  if (list->count < 0 || static_cast<size_t>(list->count) > kMaxHbaInfo) return -1;
  return 0;
}
