// Plain copies of what the provider reports about each object, taken once per command. Each row
// keeps the object's VDS property structure as the provider filled it, with its string members
// set to null: their text, converted to UTF-8, lies beside the structure, and no row owns
// memory of the provider's task allocator.
#ifndef VELA_TOOLS_VDSCTL_ROWS_H_
#define VELA_TOOLS_VDSCTL_ROWS_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/vds_types.h"

namespace vdsctl {

// A wide string of the provider: null stays null.
using Text = std::optional<std::string>;

struct ProviderRow {
  VDS_PROVIDER_PROP prop{};
  Text pwszName;
  Text pwszVersion;
};

struct SubsystemRow {
  int index = 0;
  VDS_SUB_SYSTEM_PROP2 prop{};
  Text pwszFriendlyName;
  Text pwszIdentification;
};

struct ControllerRow {
  int index = 0;
  int subsystem = 0;
  VDS_CONTROLLER_PROP prop{};
  Text pwszFriendlyName;
  Text pwszIdentification;
};

struct PortRow {
  int index = 0;
  int subsystem = 0;
  int controller = 0;  // index of the controller within the subsystem
  VDS_PORT_PROP prop{};
  Text pwszFriendlyName;
  Text pwszIdentification;
};

struct DriveRow {
  int index = 0;
  int subsystem = 0;
  VDS_DRIVE_PROP2 prop{};
  Text pwszFriendlyName;
  Text pwszIdentification;
  std::vector<VDS_DRIVE_EXTENT> extents;
};

struct LunRow {
  int index = 0;
  int subsystem = 0;
  VDS_LUN_PROP prop{};
  Text pwszFriendlyName;
  Text pwszIdentification;
  Text pwszUnmaskingList;
  std::vector<VDS_OBJECT_ID> plexes;
};

struct PlexRow {
  int index = 0;
  int subsystem = 0;
  int lun = 0;  // index of the LUN within the subsystem
  VDS_LUN_PLEX_PROP prop{};
};

struct PoolRow {
  int index = 0;
  // The subsystem whose drives the pool is made of; nothing for a pool without drives.
  std::optional<int> subsystem;
  VDS_STORAGE_POOL_PROP prop{};
  Text pwszName;
  Text pwszDescription;
  // pwszIntendedUsage and pPoolCustomAttributes are null here, see below.
  VDS_POOL_ATTRIBUTES attributes{};
  Text pwszIntendedUsage;
  std::vector<std::pair<Text, Text>> customAttributes;  // (pwszName, pwszValue)
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_ROWS_H_
