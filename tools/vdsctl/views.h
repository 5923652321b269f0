// The text form of the rows: one table per list, a block of "label : value" lines per detail.
// `selected` is the id of the object that has the shell's focus (GUID_NULL for none); its row
// carries the "*" mark.
#ifndef VELA_TOOLS_VDSCTL_VIEWS_H_
#define VELA_TOOLS_VDSCTL_VIEWS_H_

#include <string>
#include <vector>

#include "tools/vdsctl/rows.h"

namespace vdsctl {

// The maker and model of a drive: its friendly name up to " s/n ", which the provider puts
// between the model and the serial number; the whole name when it has none.
std::string DriveModel(const Text& name);

// Bytes of a drive that no LUN uses: the sum of its unused extents.
ULONGLONG FreeBytes(const DriveRow& drive);

std::string ListText(const std::vector<SubsystemRow>& rows, const GUID& selected);
std::string ListText(const std::vector<ControllerRow>& rows, const GUID& selected);
std::string ListText(const std::vector<PortRow>& rows, const GUID& selected);
std::string ListText(const std::vector<DriveRow>& rows, const GUID& selected);
std::string ListText(const std::vector<LunRow>& rows, const GUID& selected);
std::string ListText(const std::vector<PlexRow>& rows, const GUID& selected);
std::string ListText(const std::vector<PoolRow>& rows, const GUID& selected);

std::string DetailText(const ProviderRow& row);
std::string DetailText(const SubsystemRow& row);
std::string DetailText(const ControllerRow& row);
std::string DetailText(const PortRow& row);
std::string DetailText(const DriveRow& row);
std::string DetailText(const LunRow& row);
std::string DetailText(const PlexRow& row);
std::string DetailText(const PoolRow& row);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_VIEWS_H_
