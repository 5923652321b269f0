#include "tools/vdsctl/names.h"

#include <cctype>
#include <cstdio>
#include <string_view>

#include "platform/hresult.h"

namespace vdsctl {

namespace {

struct Word {
  int64_t value;
  std::string_view text;
};

template <size_t N>
std::string Lookup(const Word (&table)[N], int64_t value) {
  for (const Word& word : table) {
    if (word.value == value) return std::string(word.text);
  }
  return "Unknown (" + std::to_string(value) + ")";
}

constexpr Word kHealth[] = {
    {VDS_H_UNKNOWN, "Unknown"},
    {VDS_H_HEALTHY, "Healthy"},
    {VDS_H_REBUILDING, "Rebuilding"},
    {VDS_H_STALE, "Stale"},
    {VDS_H_FAILING, "Failing"},
    {VDS_H_FAILING_REDUNDANCY, "Failing redundancy"},
    {VDS_H_FAILED_REDUNDANCY, "Failed redundancy"},
    {VDS_H_FAILED_REDUNDANCY_FAILING, "Failed redundancy failing"},
    {VDS_H_FAILED, "Failed"},
    {VDS_H_REPLACED, "Replaced"},
    {VDS_H_PENDING_FAILURE, "Pending failure"},
    {VDS_H_DEGRADED, "Degraded"},
};

constexpr Word kStatus[] = {
    {VDS_SSS_UNKNOWN, "Unknown"},
    {VDS_SSS_ONLINE, "Online"},
    {VDS_SSS_NOT_READY, "Not ready"},
    {VDS_SSS_OFFLINE, "Offline"},
    {VDS_SSS_FAILED, "Failed"},
    {VDS_DRS_REMOVED, "Removed"},
    {VDS_SSS_PARTIALLY_MANAGED, "Partially managed"},
};

constexpr Word kProviderType[] = {
    {VDS_PT_UNKNOWN, "Unknown"},
    {VDS_PT_SOFTWARE, "Software"},
    {VDS_PT_HARDWARE, "Hardware"},
    {VDS_PT_VIRTUALDISK, "Virtual disk"},
};

constexpr Word kTransition[] = {
    {VDS_TS_UNKNOWN, "Unknown"},           {VDS_TS_STABLE, "Stable"},
    {VDS_TS_EXTENDING, "Extending"},       {VDS_TS_SHRINKING, "Shrinking"},
    {VDS_TS_RECONFIGING, "Reconfiguring"}, {VDS_TS_RESTRIPING, "Restriping"},
};

constexpr Word kLunType[] = {
    {VDS_LT_UNKNOWN, "Unknown"},
    {VDS_LT_DEFAULT, "Default"},
    {VDS_LT_FAULT_TOLERANT, "Fault tolerant"},
    {VDS_LT_NON_FAULT_TOLERANT, "Non fault tolerant"},
    {VDS_LT_SIMPLE, "Simple"},
    {VDS_LT_SPAN, "Span"},
    {VDS_LT_STRIPE, "Stripe"},
    {VDS_LT_MIRROR, "Mirror"},
    {VDS_LT_PARITY, "Parity"},
    {VDS_LT_RAID2, "RAID-2"},
    {VDS_LT_RAID3, "RAID-3"},
    {VDS_LT_RAID4, "RAID-4"},
    {VDS_LT_RAID5, "RAID-5"},
    {VDS_LT_RAID6, "RAID-6"},
    {VDS_LT_RAID01, "RAID-01"},
    {VDS_LT_RAID03, "RAID-03"},
    {VDS_LT_RAID05, "RAID-05"},
    {VDS_LT_RAID10, "RAID-10"},
    {VDS_LT_RAID15, "RAID-15"},
    {VDS_LT_RAID30, "RAID-30"},
    {VDS_LT_RAID50, "RAID-50"},
    {VDS_LT_RAID51, "RAID-51"},
    {VDS_LT_RAID53, "RAID-53"},
    {VDS_LT_RAID60, "RAID-60"},
    {VDS_LT_RAID61, "RAID-61"},
};

constexpr Word kPlexType[] = {
    {VDS_LPT_UNKNOWN, "Unknown"}, {VDS_LPT_SIMPLE, "Simple"},  {VDS_LPT_SPAN, "Span"},
    {VDS_LPT_STRIPE, "Stripe"},   {VDS_LPT_PARITY, "Parity"},  {VDS_LPT_RAID2, "RAID-2"},
    {VDS_LPT_RAID3, "RAID-3"},    {VDS_LPT_RAID4, "RAID-4"},   {VDS_LPT_RAID5, "RAID-5"},
    {VDS_LPT_RAID6, "RAID-6"},    {VDS_LPT_RAID03, "RAID-03"}, {VDS_LPT_RAID05, "RAID-05"},
    {VDS_LPT_RAID10, "RAID-10"},  {VDS_LPT_RAID15, "RAID-15"}, {VDS_LPT_RAID30, "RAID-30"},
    {VDS_LPT_RAID50, "RAID-50"},  {VDS_LPT_RAID53, "RAID-53"}, {VDS_LPT_RAID60, "RAID-60"},
};

constexpr Word kPoolType[] = {
    {VDS_SPT_UNKNOWN, "Unknown"},
    {VDS_SPT_PRIMORDIAL, "Primordial"},
    {VDS_SPT_CONCRETE, "Concrete"},
};

constexpr Word kRaidType[] = {
    {VDS_RT_UNKNOWN, "Unknown"}, {VDS_RT_RAID0, "RAID-0"},   {VDS_RT_RAID1, "RAID-1"},
    {VDS_RT_RAID2, "RAID-2"},    {VDS_RT_RAID3, "RAID-3"},   {VDS_RT_RAID4, "RAID-4"},
    {VDS_RT_RAID5, "RAID-5"},    {VDS_RT_RAID6, "RAID-6"},   {VDS_RT_RAID01, "RAID-01"},
    {VDS_RT_RAID03, "RAID-03"},  {VDS_RT_RAID05, "RAID-05"}, {VDS_RT_RAID10, "RAID-10"},
    {VDS_RT_RAID15, "RAID-15"},  {VDS_RT_RAID30, "RAID-30"}, {VDS_RT_RAID50, "RAID-50"},
    {VDS_RT_RAID51, "RAID-51"},  {VDS_RT_RAID53, "RAID-53"}, {VDS_RT_RAID60, "RAID-60"},
    {VDS_RT_RAID61, "RAID-61"},
};

constexpr Word kBusType[] = {
    {VDSBusTypeUnknown, "Unknown"},
    {VDSBusTypeScsi, "SCSI"},
    {VDSBusTypeAtapi, "ATAPI"},
    {VDSBusTypeAta, "ATA"},
    {VDSBusType1394, "1394"},
    {VDSBusTypeSsa, "SSA"},
    {VDSBusTypeFibre, "Fibre Channel"},
    {VDSBusTypeUsb, "USB"},
    {VDSBusTypeRAID, "RAID"},
    {VDSBusTypeiScsi, "iSCSI"},
    {VDSBusTypeSas, "SAS"},
    {VDSBusTypeSata, "SATA"},
    {VDSBusTypeSd, "SD"},
    {VDSBusTypeMmc, "MMC"},
    {VDSBusTypeVirtual, "Virtual"},
    {VDSBusTypeFileBackedVirtual, "File-backed virtual"},
    {VDSBusTypeSpaces, "Spaces"},
    {VDSBusTypeNVMe, "NVMe"},
};

constexpr Word kDriveFlags[] = {
    {VDS_DF_HOTSPARE, "Spare"},           {VDS_DF_ASSIGNED, "Assigned"},
    {VDS_DF_UNASSIGNED, "Unassigned"},    {VDS_DF_HOTSPARE_IN_USE, "Spare in use"},
    {VDS_DF_HOTSPARE_STANDBY, "Standby"},
};

constexpr Word kSubsystemFlags[] = {
    {VDS_SF_LUN_MASKING_CAPABLE, "LUN masking"},
    {VDS_SF_LUN_PLEXING_CAPABLE, "LUN plexing"},
    {VDS_SF_LUN_REMAPPING_CAPABLE, "LUN remapping"},
    {VDS_SF_DRIVE_EXTENT_CAPABLE, "Drive extents"},
    {VDS_SF_HARDWARE_CHECKSUM_CAPABLE, "Hardware checksum"},
    {VDS_SF_RADIUS_CAPABLE, "RADIUS"},
    {VDS_SF_READ_BACK_VERIFY_CAPABLE, "Read-back verify"},
    {VDS_SF_WRITE_THROUGH_CACHING_CAPABLE, "Write-through caching"},
    {VDS_SF_SUPPORTS_FAULT_TOLERANT_LUNS, "Fault-tolerant LUNs"},
    {VDS_SF_SUPPORTS_NON_FAULT_TOLERANT_LUNS, "Non-fault-tolerant LUNs"},
    {VDS_SF_SUPPORTS_SIMPLE_LUNS, "Simple LUNs"},
    {VDS_SF_SUPPORTS_SPAN_LUNS, "Span LUNs"},
    {VDS_SF_SUPPORTS_STRIPE_LUNS, "Stripe LUNs"},
    {VDS_SF_SUPPORTS_MIRROR_LUNS, "Mirror LUNs"},
    {VDS_SF_SUPPORTS_PARITY_LUNS, "Parity LUNs"},
    {VDS_SF_SUPPORTS_AUTH_CHAP, "CHAP"},
    {VDS_SF_SUPPORTS_AUTH_MUTUAL_CHAP, "Mutual CHAP"},
    {VDS_SF_SUPPORTS_SIMPLE_TARGET_CONFIG, "Simple target configuration"},
    {VDS_SF_SUPPORTS_LUN_NUMBER, "LUN numbers"},
    {VDS_SF_SUPPORTS_MIRRORED_CACHE, "Mirrored cache"},
    {VDS_SF_READ_CACHING_CAPABLE, "Read caching"},
    {VDS_SF_WRITE_CACHING_CAPABLE, "Write caching"},
    {VDS_SF_MEDIA_SCAN_CAPABLE, "Media scan"},
    {VDS_SF_CONSISTENCY_CHECK_CAPABLE, "Consistency check"},
};

constexpr Word kRaidFlags[] = {
    {VDS_SF_SUPPORTS_RAID2_LUNS, "RAID-2"},   {VDS_SF_SUPPORTS_RAID3_LUNS, "RAID-3"},
    {VDS_SF_SUPPORTS_RAID4_LUNS, "RAID-4"},   {VDS_SF_SUPPORTS_RAID5_LUNS, "RAID-5"},
    {VDS_SF_SUPPORTS_RAID6_LUNS, "RAID-6"},   {VDS_SF_SUPPORTS_RAID01_LUNS, "RAID-01"},
    {VDS_SF_SUPPORTS_RAID03_LUNS, "RAID-03"}, {VDS_SF_SUPPORTS_RAID05_LUNS, "RAID-05"},
    {VDS_SF_SUPPORTS_RAID10_LUNS, "RAID-10"}, {VDS_SF_SUPPORTS_RAID15_LUNS, "RAID-15"},
    {VDS_SF_SUPPORTS_RAID30_LUNS, "RAID-30"}, {VDS_SF_SUPPORTS_RAID50_LUNS, "RAID-50"},
    {VDS_SF_SUPPORTS_RAID51_LUNS, "RAID-51"}, {VDS_SF_SUPPORTS_RAID53_LUNS, "RAID-53"},
    {VDS_SF_SUPPORTS_RAID60_LUNS, "RAID-60"}, {VDS_SF_SUPPORTS_RAID61_LUNS, "RAID-61"},
};

constexpr Word kLunFlags[] = {
    {VDS_LF_LBN_REMAP_ENABLED, "LBN remap"},
    {VDS_LF_READ_BACK_VERIFY_ENABLED, "Read-back verify"},
    {VDS_LF_WRITE_THROUGH_CACHING_ENABLED, "Write-through caching"},
    {VDS_LF_HARDWARE_CHECKSUM_ENABLED, "Hardware checksum"},
    {VDS_LF_READ_CACHE_ENABLED, "Read cache"},
    {VDS_LF_WRITE_CACHE_ENABLED, "Write cache"},
    {VDS_LF_MEDIA_SCAN_ENABLED, "Media scan"},
    {VDS_LF_CONSISTENCY_CHECK_ENABLED, "Consistency check"},
    {VDS_LF_SNAPSHOT, "Snapshot"},
};

constexpr Word kProviderFlags[] = {
    {VDS_PF_DYNAMIC, "Dynamic"},
    {VDS_PF_INTERNAL_HARDWARE_PROVIDER, "Internal hardware"},
    {VDS_PF_ONE_DISK_ONLY_PER_PACK, "One disk per pack"},
    {VDS_PF_ONE_PACK_ONLINE_ONLY, "One pack online"},
    {VDS_PF_VOLUME_SPACE_MUST_BE_CONTIGUOUS, "Contiguous volume space"},
    {VDS_PF_SUPPORT_MIRROR, "Mirror"},
    {VDS_PF_SUPPORT_RAID5, "RAID-5"},
    {VDS_PF_SUPPORT_DYNAMIC_1394, "Dynamic 1394"},
    {VDS_PF_SUPPORT_FAULT_TOLERANT, "Fault tolerant"},
    {VDS_PF_SUPPORT_DYNAMIC, "Dynamic support"},
};

// The set bits of `flags` in words, in bit order, with `separator` between them; unknown bits
// as "0x..".
template <size_t N>
std::string FlagWords(const Word (&table)[N], ULONG flags, const char* separator) {
  std::string words;
  ULONG known = 0;
  for (const Word& word : table) {
    known |= static_cast<ULONG>(word.value);
    if ((flags & word.value) == 0) continue;
    if (!words.empty()) words += separator;
    words += word.text;
  }
  if ((flags & ~known) != 0) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%X", static_cast<unsigned>(flags & ~known));
    if (!words.empty()) words += separator;
    words += text;
  }
  return words;
}

// "Spare, Standby (0x30)", "None (0x0)": the words and the number they stand for.
template <size_t N>
std::string FlagWordsWithHex(const Word (&table)[N], ULONG flags) {
  char hex[16];
  std::snprintf(hex, sizeof(hex), "0x%X", static_cast<unsigned>(flags));
  const std::string words = FlagWords(table, flags, ", ");
  return (words.empty() ? std::string("None") : words) + " (" + hex + ")";
}

struct NotificationWords {
  ULONG event;
  std::string_view kind;
  std::string_view happened;
};

constexpr NotificationWords kNotifications[] = {
    {VDS_NF_SUB_SYSTEM_ARRIVE, "Subsystem", "arrived"},
    {VDS_NF_SUB_SYSTEM_DEPART, "Subsystem", "departed"},
    {VDS_NF_SUB_SYSTEM_MODIFY, "Subsystem", "changed"},
    {VDS_NF_CONTROLLER_ARRIVE, "Controller", "arrived"},
    {VDS_NF_CONTROLLER_DEPART, "Controller", "departed"},
    {VDS_NF_DRIVE_ARRIVE, "Drive", "arrived"},
    {VDS_NF_DRIVE_DEPART, "Drive", "departed"},
    {VDS_NF_DRIVE_MODIFY, "Drive", "changed"},
    {VDS_NF_LUN_ARRIVE, "LUN", "arrived"},
    {VDS_NF_LUN_DEPART, "LUN", "departed"},
    {VDS_NF_LUN_MODIFY, "LUN", "changed"},
};

}  // namespace

std::string HealthWord(VDS_HEALTH health) { return Lookup(kHealth, health); }
std::string StatusWord(int32_t status) { return Lookup(kStatus, status); }
std::string ProviderTypeWord(VDS_PROVIDER_TYPE type) { return Lookup(kProviderType, type); }
std::string TransitionWord(VDS_TRANSITION_STATE state) { return Lookup(kTransition, state); }
std::string LunTypeWord(VDS_LUN_TYPE type) { return Lookup(kLunType, type); }
std::string PlexTypeWord(VDS_LUN_PLEX_TYPE type) { return Lookup(kPlexType, type); }
std::string PoolTypeWord(VDS_STORAGE_POOL_TYPE type) { return Lookup(kPoolType, type); }
std::string RaidTypeWord(VDS_RAID_TYPE type) { return Lookup(kRaidType, type); }
std::string BusTypeWord(VDS_STORAGE_BUS_TYPE type) { return Lookup(kBusType, type); }

std::string DriveFlagWords(ULONG flags) { return FlagWords(kDriveFlags, flags, ","); }
std::string DriveFlagText(ULONG flags) { return FlagWordsWithHex(kDriveFlags, flags); }
std::string SubsystemFlagText(ULONG flags) { return FlagWordsWithHex(kSubsystemFlags, flags); }
std::string RaidFlagText(ULONG flags) { return FlagWordsWithHex(kRaidFlags, flags); }
std::string LunFlagText(ULONG flags) { return FlagWordsWithHex(kLunFlags, flags); }
std::string ProviderFlagText(ULONG flags) { return FlagWordsWithHex(kProviderFlags, flags); }

std::string StripeSizeText(ULONG flags) {
  static constexpr const char* kUnits[] = {"B", "KB", "MB", "GB"};
  std::string words;
  for (unsigned bit = 0; bit < 32; ++bit) {
    if ((flags & (1u << bit)) == 0) continue;
    if (!words.empty()) words += ", ";
    words += std::to_string(1u << (bit % 10)) + " " + kUnits[bit / 10];
  }
  char hex[16];
  std::snprintf(hex, sizeof(hex), "0x%X", static_cast<unsigned>(flags));
  return (words.empty() ? std::string("None") : words) + " (" + hex + ")";
}

std::string WwnText(const std::string& text) {
  if (text.size() != 16) return text;
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (!std::isxdigit(static_cast<unsigned char>(text[i]))) return text;
    if (i > 0 && i % 2 == 0) out += ':';
    out += static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
  }
  return out;
}

std::string HResultHex(HRESULT hr) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%08X", static_cast<uint32_t>(hr));
  return text;
}

std::string HResultText(HRESULT hr) {
  const char* name = HResultName(hr);
  return name != nullptr ? name : HResultHex(hr);
}

std::string NotificationText(const VDS_NOTIFICATION& notification,
                             const std::optional<ObjectLabel>& label) {
  // Every notification member starts with ulEvent followed by the object's id, so the
  // subsystem member reads them all alike.
  const ULONG event = notification.SubSystem.ulEvent;
  const std::string id = GuidToString(notification.SubSystem.subSystemId);
  std::string object = id;
  if (label) {
    object = std::to_string(label->index);
    if (label->name && !label->name->empty()) object += " \"" + *label->name + "\"";
    if (label->subsystem) object += " of subsystem " + std::to_string(*label->subsystem);
  }
  for (const NotificationWords& words : kNotifications) {
    if (words.event != event) continue;
    // An object the array has just made is not in the provider's lists yet: its notice has
    // no id.
    if (!label && notification.SubSystem.subSystemId == GUID_NULL && words.happened == "arrived") {
      std::string kind(words.kind);
      if (kind != "LUN") {
        kind[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(kind[0])));
      }
      return "A " + kind + " arrived that is not listed yet.";
    }
    return std::string(words.kind) + " " + object + " " + std::string(words.happened) + ".";
  }
  return "Notification " + std::to_string(event) + " for object type " +
         std::to_string(notification.objectType) + " " + id + ".";
}

}  // namespace vdsctl
