// Words for the numbers of the VDS structures, as vdsctl prints them in tables and details.
// A value outside the known set prints as "Unknown (N)" so that nothing is hidden.
#ifndef VELA_TOOLS_VDSCTL_NAMES_H_
#define VELA_TOOLS_VDSCTL_NAMES_H_

#include <optional>
#include <string>

#include "platform/vds_types.h"
#include "tools/vdsctl/kinds.h"

namespace vdsctl {

std::string HealthWord(VDS_HEALTH health);

// The status enumerations of subsystems, controllers, ports, drives, LUNs, plexes and pools share
// their values (1 online, 4 offline, ...), so one table serves them all.
std::string StatusWord(int32_t status);

// "Hardware", "Software": the provider's type.
std::string ProviderTypeWord(VDS_PROVIDER_TYPE type);
std::string TransitionWord(VDS_TRANSITION_STATE state);
std::string LunTypeWord(VDS_LUN_TYPE type);
std::string PlexTypeWord(VDS_LUN_PLEX_TYPE type);
std::string PoolTypeWord(VDS_STORAGE_POOL_TYPE type);
std::string RaidTypeWord(VDS_RAID_TYPE type);
std::string BusTypeWord(VDS_STORAGE_BUS_TYPE type);

// "Spare,Assigned": the set VDS_DF_* bits in words, in bit order; unknown bits as "0x..".
std::string DriveFlagWords(ULONG flags);

// Flags in words with the number beside them: "Spare, Standby (0x30)", "None (0x0)".
std::string DriveFlagText(ULONG flags);
std::string SubsystemFlagText(ULONG flags);
std::string RaidFlagText(ULONG flags);  // ulSupportedRaidTypeFlags
std::string LunFlagText(ULONG flags);
std::string ProviderFlagText(ULONG flags);
// ulStripeSizeFlags: bit n stands for a stripe of 2^n bytes. "16 KB, 32 KB, 64 KB (0x1C000)".
std::string StripeSizeText(ULONG flags);

// "20:70:02:56:4c:05:00:01" for a WWN written as 16 hex digits; other text as it is.
std::string WwnText(const std::string& text);

// "VDS_E_OBJECT_NOT_FOUND", or "0x8004FFFF" for a code without a name.
std::string HResultText(HRESULT hr);

// "0x80042405": the code as eight hex digits.
std::string HResultHex(HRESULT hr);

// "LUN 3 \"Data\" of subsystem 0 arrived." for the notifications the provider sends, or
// "LUN {GUID} arrived." for an object without a label.
std::string NotificationText(const VDS_NOTIFICATION& notification,
                             const std::optional<ObjectLabel>& label);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_NAMES_H_
