// The JSON form of each row: the members of the VDS property structure under their own names
// (ids as braced upper-case GUID strings, wide strings as UTF-8 or null, numbers as numbers),
// plus "index" and, for objects of a subsystem, "subsystem".
#ifndef VELA_TOOLS_VDSCTL_JSON_H_
#define VELA_TOOLS_VDSCTL_JSON_H_

#include <nlohmann/json.hpp>
#include <string>

#include "tools/vdsctl/rows.h"

namespace vdsctl {

using Json = nlohmann::ordered_json;

Json ToJson(const ProviderRow& row);
Json ToJson(const SubsystemRow& row);
Json ToJson(const ControllerRow& row);
Json ToJson(const PortRow& row);
Json ToJson(const DriveRow& row);  // adds "extents"
Json ToJson(const LunRow& row);    // adds "plexes", the plex ids
Json ToJson(const PlexRow& row);
Json ToJson(const PoolRow& row);  // adds "attributes"

// {"error":{"hr":"0x80042405","name":"VDS_E_OBJECT_NOT_FOUND","call":"IVdsSubSystem::GetDrive"}}
Json ErrorJson(HRESULT hr, const std::string& call);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_JSON_H_
