// Constants of the proxy wire protocol. They are part of the protocol shared with the proxy
// service and the simulator, and never change. No logic here.
#ifndef VELA_PROXY_WIRE_FORMAT_H_
#define VELA_PROXY_WIRE_FORMAT_H_

#include <cstddef>
#include <cstdint>

// Frame header: Magic[12] SeqNum SeqAuth DataType OpCode Reserved DataLen, all big-endian.
inline constexpr char kPacketMagic[] = "BLUEFJORD";
inline constexpr size_t kPacketMagicLen = 9;
inline constexpr size_t kPacketMagicFieldSize = 12;
inline constexpr size_t kPacketHeaderSize = 36;

inline constexpr size_t kHeaderOffMagic = 0;
inline constexpr size_t kHeaderOffSeqNum = 12;
inline constexpr size_t kHeaderOffSeqAuth = 16;
inline constexpr size_t kHeaderOffDataType = 20;
inline constexpr size_t kHeaderOffOpCode = 24;
inline constexpr size_t kHeaderOffReserved = 28;
inline constexpr size_t kHeaderOffDataLen = 32;

// One buffer holds a whole request frame and, afterwards, its reply.
inline constexpr size_t kRequestBufferSize = 0x300000;

// Frame classes (DataType).
inline constexpr uint32_t RSREQUEST = 1;
inline constexpr uint32_t RSREPLY = 2;
inline constexpr uint32_t RSSESSION = 3;
inline constexpr uint32_t RSHEARTBEAT = 5;

// Common words of every RSREQUEST/RSREPLY payload.
inline constexpr size_t kPayloadOffRequestTag = 0;
inline constexpr size_t kPayloadOffStatus = 4;
inline constexpr size_t kPayloadOffHandle = 8;

// Session opcodes (DataType RSSESSION).
inline constexpr uint32_t SESSION_HANDSHAKE = 1;
inline constexpr uint32_t SESSION_HANDSHAKE_REPLY = 2;
inline constexpr uint32_t SESSION_LOGIN = 3;
inline constexpr uint32_t SESSION_LOGIN_REPLY = 4;
inline constexpr uint32_t SESSION_NEGOTIATE = 7;
inline constexpr uint32_t SESSION_NEGOTIATE_REPLY = 8;
inline constexpr uint32_t SESSION_CLOSE = 14;

// Session payload sizes.
inline constexpr size_t kHandshakePayloadSize = 6;
inline constexpr size_t kHandshakeReplySize = 8;
inline constexpr size_t kLoginPayloadSize = 0x158;
inline constexpr size_t kLoginReplySize = 12;
inline constexpr size_t kNegotiatePayloadSize = 2;
inline constexpr char kHandshakeToken[] = "pixnod";
// The proxy's protocol generation sits in bits 8..15 of the handshake status word.
inline constexpr uint32_t kProtocolGeneration = 5;
inline constexpr uint32_t kProtocolGenerationMask = 0xFF00;
inline constexpr int kVersionMismatch = 29;
// Status low bytes of the handshake and login replies.
inline constexpr uint32_t kSessionStatusOk = 1;
inline constexpr uint32_t kSessionStatusUnknownUser = 2;
inline constexpr uint32_t kSessionStatusBadPassword = 5;

// Command opcodes (DataType RSREQUEST / RSREPLY).
inline constexpr uint32_t GET_CONTROLLERHANDLEDB = 0;
inline constexpr uint32_t GET_CONTROLLER = 1;
inline constexpr uint32_t GET_EVENT = 9;
inline constexpr uint32_t GET_VERSION = 11;
inline constexpr uint32_t SET_PART_NAME = 12;
inline constexpr uint32_t ADD_ARRAY_PART = 14;
inline constexpr uint32_t DELETE_PART = 15;
inline constexpr uint32_t CREATE_ARRAY = 16;
inline constexpr uint32_t EXPAND_PART = 17;
inline constexpr uint32_t EXPAND_ARRAY = 18;
inline constexpr uint32_t ASSIGN_POOL_SPARE = 19;
inline constexpr uint32_t BLINK_DRIVE = 20;
inline constexpr uint32_t FLUSH_CACHE = 21;
inline constexpr uint32_t FREE_CACHE = 22;
inline constexpr uint32_t SILENCE_ALARM = 23;
inline constexpr uint32_t DELETE_ARRAY = 24;
inline constexpr uint32_t ABORT_UTILITY = 27;
inline constexpr uint32_t GET_PERCENT_COMPLETED = 28;
inline constexpr uint32_t SET_ADV_NET_INTERFACE = 29;
inline constexpr uint32_t CHANGE_PART_LUN = 30;
inline constexpr uint32_t GET_PARTITION_VIEW = 70;
inline constexpr uint32_t CREATE_CUSTOM_VIEW = 71;
inline constexpr uint32_t SET_PARTITION_CACHE_PARAM = 80;
inline constexpr uint32_t REBOOT_CONTROLLER = 85;
inline constexpr uint32_t SET_PREFERRED_OWNER = 92;
inline constexpr uint32_t RESCAN_ALL_BUS = 105;
// Opcodes without a symbolic name in the protocol; named here after their method.
inline constexpr uint32_t OP_GET_DMS_TAG = 50;
inline constexpr uint32_t OP_CREATE_SNAPSHOT = 51;
inline constexpr uint32_t OP_GET_BACKING_STORE_LIST = 55;
inline constexpr uint32_t OP_GET_MASTER_VOLUME_LIST = 56;
inline constexpr uint32_t OP_GET_SNAPSHOT_LIST = 57;
inline constexpr uint32_t OP_CONVERT_MASTER_VOLUME = 61;
inline constexpr uint32_t OP_GET_NEED_REFRESH = 108;
inline constexpr uint32_t OP_GET_UNIFIED_CONTROLLER_DATA = 109;
inline constexpr uint32_t OP_GET_AUTHDB_RECORD = 113;
inline constexpr uint32_t OP_SET_TARGET_SECRET = 115;
inline constexpr uint32_t OP_CLEAR_ALL_TARGET_SECRET = 116;
inline constexpr uint32_t OP_SET_TARGET_SECRET_NAMED = 117;
inline constexpr uint32_t OP_REMEMBER_INITIATOR_SECRET = 118;
inline constexpr uint32_t OP_GET_FLEX_KNOWN_HOSTS = 119;
inline constexpr uint32_t OP_GET_CONNECT_HBA_INFO_LIST = 125;

// Request payload sizes (DataLen of the request), by opcode.
inline constexpr size_t kLenGetControllerHandleDb = 0x138;
inline constexpr size_t kLenGetController = 4;
inline constexpr size_t kLenGetEvent = 0x1bc;
inline constexpr size_t kLenGetVersion = 0;
inline constexpr size_t kLenSetPartName = 0x50;
inline constexpr size_t kLenAddArrayPart = 0x2d8;
inline constexpr size_t kLenDeletePart = 0x30;
inline constexpr size_t kLenCreateArray = 0x11c4;
inline constexpr size_t kLenExpandPart = 0x138;
inline constexpr size_t kLenExpandArray = 0x250;
inline constexpr size_t kLenAssignSpare = 0x50;
inline constexpr size_t kLenBlinkDrive = 0x30;
inline constexpr size_t kLenFlushCache = 0x2c;
inline constexpr size_t kLenFreeCache = 0x30;
inline constexpr size_t kLenSilenceAlarm = 0x10;
inline constexpr size_t kLenDeleteArray = 0x30;
inline constexpr size_t kLenAbortUtility = 0x2c;
inline constexpr size_t kLenGetPercent = 0x30;
inline constexpr size_t kLenSetAdvNet = 0x81c;
inline constexpr size_t kLenSetPartLun = 0x30;
inline constexpr size_t kLenGetDmsTag = 0x1c;
inline constexpr size_t kLenCreateSnapshot = 0x474;
inline constexpr size_t kLenGetBackingStoreList = 0x518;
inline constexpr size_t kLenGetMasterVolumeList = 0x16038;
inline constexpr size_t kLenGetSnapshotList = 0xb038;
inline constexpr size_t kLenConvertMasterVolume = 0x138;
inline constexpr size_t kLenGetPartView = 0x9250;
inline constexpr size_t kLenCreateCustomView = 0x14c00c;
inline constexpr size_t kLenSetPartitionCacheParam = 0x50;
inline constexpr size_t kLenRebootController = 0x10;
inline constexpr size_t kLenSetPreferredOwner = 0x30;
inline constexpr size_t kLenRescanAllBus = 0x10;
inline constexpr size_t kLenGetNeedRefresh = 0x38;
inline constexpr size_t kLenGetUnifiedControllerData = 0xd9c4;
inline constexpr size_t kLenAuthDb = 0x40c;
inline constexpr size_t kLenGetFlexKnownHosts = 0xf858;
inline constexpr size_t kLenGetConnectHbaInfoList = 0xe310;

// The subsystem list of GET_CONTROLLERHANDLEDB: status at 0 (native), count at 8 (native),
// 40-byte entries from 0x10.
inline constexpr size_t kSubsystemListOffStatus = 0;
inline constexpr size_t kSubsystemListOffCount = 8;
inline constexpr size_t kSubsystemListOffEntries = 0x10;
inline constexpr size_t kSubsystemEntrySize = 40;

// Initial permutation table of DES in its published order; SeqAuth adds the entry picked by the
// low six bits of the frame counter.
inline constexpr uint8_t kDesInitialPermutation[64] = {
    58, 50, 42, 34, 26, 18, 10, 2,  60, 52, 44, 36, 28, 20, 12, 4,  62, 54, 46, 38, 30, 22,
    14, 6,  64, 56, 48, 40, 32, 24, 16, 8,  57, 49, 41, 33, 25, 17, 9,  1,  59, 51, 43, 35,
    27, 19, 11, 3,  61, 53, 45, 37, 29, 21, 13, 5,  63, 55, 47, 39, 31, 23, 15, 7};

#endif  // VELA_PROXY_WIRE_FORMAT_H_
