// `show enclosures`: each enclosure of a subsystem as a grid of slots, each slot marked by what
// its drive is, so that an administrator finds a drive before pulling it. The map is built from
// the drive and LUN rows alone (vdisks are told apart by the LUNs on their drives) and drawn as
// text, with colours on a terminal, or given as JSON.
#ifndef VELA_TOOLS_VDSCTL_ENCLOSURE_MAP_H_
#define VELA_TOOLS_VDSCTL_ENCLOSURE_MAP_H_

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/guid.h"
#include "tools/vdsctl/call_error.h"
#include "tools/vdsctl/json.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/output.h"
#include "tools/vdsctl/rows.h"

namespace vdsctl {

enum class SlotState { kEmpty, kFree, kMember, kSpare, kFailed, kMissing };

struct SlotView {
  int slot = 0;
  SlotState state = SlotState::kEmpty;
  std::optional<int> drive;  // index as `list drives` prints it
  char vdisk = 0;            // kMember: the vdisk's mark, 'A' on
  bool blinking = false;
};

struct EnclosureView {
  int subsystem = 0;
  std::string subsystemName;
  int enclosure = 0;
  std::vector<SlotView> slots;  // every slot, in order
};

// A vdisk as the drives show it: the LUNs that lie on the same drives.
struct VdiskView {
  int subsystem = 0;
  char mark = 'A';
  std::vector<std::pair<int, std::string>> luns;  // index and name
};

struct EnclosureMap {
  std::vector<EnclosureView> enclosures;
  std::vector<VdiskView> vdisks;
};

// The map of the subsystems in `subsystems` from their drives and LUNs. `blinking`: the drives
// known to blink (the provider's interfaces report no light state, so the shell remembers the
// ones it lit).
EnclosureMap BuildEnclosureMap(const std::vector<SubsystemRow>& subsystems,
                               const std::vector<DriveRow>& drives, const std::vector<LunRow>& luns,
                               const std::set<GUID>& blinking);

// The grids, a legend, and the vdisks' LUNs; ANSI colours when `colour`.
std::string EnclosureMapText(const EnclosureMap& map, bool colour);
Json EnclosureMapJson(const EnclosureMap& map);

// Reads the rows (of one subsystem, or all) and prints the map.
ExitCode ShowEnclosures(Model* model, Output* output, std::optional<int> subsystem,
                        const std::set<GUID>& blinking, bool colour);

// Colours go to a terminal only, and never when NO_COLOR is set to something.
bool ColourWanted(int fd);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_ENCLOSURE_MAP_H_
