// The rules between the VDS view of storage (LUN types, hints) and the controllers' view
// (RAID levels, vdisks, partitions): level selection, usable sizes, rounding, the private bits
// of the hint mask, and the maker of automatic names.
//
// Everything except NewName and IsSupportSpecialLun is free of side effects. The callers hold
// the provider's notification mutex; NewName relies on that for its process-wide list.
#ifndef VELA_PROVISIONING_UTILITY_H_
#define VELA_PROVISIONING_UTILITY_H_

#include "platform/vds_types.h"
#include "platform/wintypes.h"
#include "proxy/records.h"

// Limits of vdisk creation and extension.
inline constexpr ULONG kMaxDrivesPerVdiskCreate = 16;
inline constexpr ULONG kMaxDrivesPerNestedVdiskCreate = 32;  // VELA_RAID50, VELA_RAID30
inline constexpr ULONG kMaxDrivesPerExtend = 4;
inline constexpr ULONG kMaxSpareDrives = 8;
inline constexpr ULONGLONG kMinLunSizeBytes = 1048576;
inline constexpr ULONG maxPartitionPerArray = 128;

// Bits of VDS_HINTS::ullHintMask. Bits 56 to 63 are this system's own side channel.
inline constexpr ULONGLONG kHintMaskMostlyReads = 0x2;  // bMostlyReads is filled in
inline constexpr ULONGLONG kHintMaskHotSpare = 0x200;   // allocate a hot spare
inline constexpr ULONGLONG kHintMaskSnapPoolLun = 0x0100000000000000ULL;
inline constexpr ULONGLONG kHintMaskMasterVolume = 0x0200000000000000ULL;
inline constexpr ULONGLONG kHintMaskSnapshot = 0x0400000000000000ULL;
inline constexpr ULONGLONG kHintMaskDummyLun = 0x1000000000000000ULL;
inline constexpr ULONGLONG kHintMaskRaid3 = 0x2000000000000000ULL;
inline constexpr ULONGLONG kHintMaskRaid50 = 0x4000000000000000ULL;
inline constexpr ULONGLONG kHintMaskRaid5 = 0x8000000000000000ULL;

// Sizes are byte counts; the wire carries 512-byte blocks.
constexpr ULONGLONG ROUND_UP_TO_MB_BOUNDARY(ULONGLONG x) { return (x + 0xFFFFF) & ~0xFFFFFULL; }
constexpr ULONGLONG ROUND_DOWN_TO_MB_BOUNDARY(ULONGLONG x) { return x & ~0xFFFFFULL; }

// True for the LUN types whose vdisk carries parity: 14, 16, 18, 19, 25, 26, 29.
bool IsParityFamily(VDS_LUN_TYPE type);

// The RAID level a LUN type asks for; abstract types (1, 2, 14) take defaultLevel. The explicit
// RAID types map to their levels only while the host's win7 gate is open.
UCHAR VdsType2VelaRaidLevel(UCHAR defaultLevel, VDS_LUN_TYPE type);

// The first decision about a create request: the level for a type and its hints.
UCHAR SelectRaidLevel(const VDS_HINTS& hints, VDS_LUN_TYPE type);

// The way back: the VDS_LUN_TYPE that a vdisk's level means (numDrives tells simple from span).
VDS_LUN_TYPE VelaLevel2VdsType(UCHAR raidLevel, ULONG numDrives);
VDS_LUN_TYPE VelaLevel2VdsType(const array& arrayRecord);

// Reads the "DisabeSepcialLun" value of the provider's Debug key on every call (the misspelling
// is the value's name); true when it is 0 or can't be read.
bool IsSupportSpecialLun();

// 1 snap pool, 2 master volume, 3 snapshot, or 0; the lowest of several bits wins. Always 0
// while special LUNs are not supported.
int SpecialLunKind(ULONGLONG hintMask);
bool IsSpecialLun(ULONGLONG hintMask);

// Usable bytes of n drives whose capacities sum to `bytes`, by LUN type or by level (with the
// group width of the nested levels). With rawFlag the parity levels report the whole sum.
ULONGLONG GetRaidSizeUsedDrivesUseLunType(UCHAR level, VDS_LUN_TYPE type, ULONG numDrives,
                                          ULONGLONG bytes, bool rawFlag);
ULONGLONG GetRaidSizeUsedDrivesUseRaidLevel(UCHAR level, ULONG numDrives, ULONGLONG bytes,
                                            ULONG numDrivesPerLowLevelArray, bool rawFlag);

// Kinds of automatic names, as SpecialLunKind numbers them.
inline constexpr int kNameKindLun = 0;
inline constexpr int kNameKindSnapPool = 1;
inline constexpr int kNameKindMasterVolume = 2;
inline constexpr int kNameKindSnapshot = 3;

// Makes a free automatic name ("VDS_LUN_%d", "VDS_VDISK_%d", ...) and marks it taken in the
// process-wide list, which is filled from the subsystem's controllers when it is empty. With
// nameToRelease set, takes that name off the list and returns null. The result points into a
// static buffer that stays valid until the next call; "VDS_LNU_ERROR" when the controllers
// can't be read. The caller holds the provider's notification mutex.
const char* NewName(const subsystem& sub, bool isVdisk, int kind, const char* nameToRelease);
// Forgets every name, as at process start (tests that start new arrays in one process).
void ResetNewNamesForTesting();

#endif  // VELA_PROVISIONING_UTILITY_H_
