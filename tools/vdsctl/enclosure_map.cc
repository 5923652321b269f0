#include "tools/vdsctl/enclosure_map.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>

namespace vdsctl {

namespace {

constexpr int kSlotsPerRow = 12;
constexpr int kCellWidth = 4;
// LUNs named on a vdisk's legend line.
constexpr size_t kLegendLuns = 4;

const char* StateWord(SlotState state) {
  switch (state) {
    case SlotState::kEmpty:
      return "empty";
    case SlotState::kFree:
      return "free";
    case SlotState::kMember:
      return "member";
    case SlotState::kSpare:
      return "spare";
    case SlotState::kFailed:
      return "failed";
    case SlotState::kMissing:
      return "missing";
  }
  return "empty";
}

char StateMark(const SlotView& slot) {
  switch (slot.state) {
    case SlotState::kEmpty:
      return '.';
    case SlotState::kFree:
      return 'o';
    case SlotState::kMember:
      return slot.vdisk;
    case SlotState::kSpare:
      return 'S';
    case SlotState::kFailed:
      return 'X';
    case SlotState::kMissing:
      return 'M';
  }
  return '?';
}

// ANSI colours: green free, cyan members, blue spares, red failed, yellow missing; a blinking
// drive in reverse video.
const char* StateColour(SlotState state) {
  switch (state) {
    case SlotState::kFree:
      return "\x1b[32m";
    case SlotState::kMember:
      return "\x1b[36m";
    case SlotState::kSpare:
      return "\x1b[34m";
    case SlotState::kFailed:
      return "\x1b[31m";
    case SlotState::kMissing:
      return "\x1b[33m";
    case SlotState::kEmpty:
      break;
  }
  return "";
}

SlotState DriveState(const DriveRow& drive) {
  const VDS_DRIVE_PROP2& prop = drive.prop;
  if (prop.status == VDS_DRS_FAILED || prop.health == VDS_H_FAILED) return SlotState::kFailed;
  if (prop.status != VDS_DRS_ONLINE) return SlotState::kMissing;
  // A spare that took over a member's place reads as a member.
  if ((prop.ulFlags & VDS_DF_HOTSPARE) != 0 && (prop.ulFlags & VDS_DF_HOTSPARE_IN_USE) == 0) {
    return SlotState::kSpare;
  }
  for (const VDS_DRIVE_EXTENT& extent : drive.extents) {
    if (extent.LunId != GUID_NULL) return SlotState::kMember;
  }
  return SlotState::kFree;
}

}  // namespace

EnclosureMap BuildEnclosureMap(const std::vector<SubsystemRow>& subsystems,
                               const std::vector<DriveRow>& drives, const std::vector<LunRow>& luns,
                               const std::set<GUID>& blinking) {
  EnclosureMap map;
  for (const SubsystemRow& subsystem : subsystems) {
    std::vector<const DriveRow*> own;
    for (const DriveRow& drive : drives) {
      if (drive.subsystem == subsystem.index) own.push_back(&drive);
    }
    std::sort(own.begin(), own.end(), [](const DriveRow* a, const DriveRow* b) {
      return std::make_pair(a->prop.ulEnclosureNumber, a->prop.sSlotNumber) <
             std::make_pair(b->prop.ulEnclosureNumber, b->prop.sSlotNumber);
    });
    // Enclosures the subsystem reports, and any a drive names beyond them.
    std::map<int, int> slotsOf;  // enclosure -> slot count
    const int reportedSlots = std::max<int>(0, subsystem.prop.sMaxNumberOfSlotsEachBus);
    for (ULONG e = 0; e < std::min<ULONG>(subsystem.prop.ulNumberOfEnclosures, 256); ++e) {
      slotsOf[static_cast<int>(e)] = reportedSlots;
    }
    for (const DriveRow* drive : own) {
      int& slots = slotsOf[static_cast<int>(drive->prop.ulEnclosureNumber)];
      slots = std::max({slots, reportedSlots, drive->prop.sSlotNumber + 1});
    }
    // Vdisks by the LUNs on their drives, marked in the order the enclosures show them.
    std::map<std::vector<GUID>, char> marks;
    for (const auto& [enclosure, count] : slotsOf) {
      EnclosureView view;
      view.subsystem = subsystem.index;
      view.subsystemName = subsystem.pwszFriendlyName.value_or("");
      view.enclosure = enclosure;
      for (int slot = 0; slot < count; ++slot) {
        SlotView empty;
        empty.slot = slot;
        view.slots.push_back(empty);
      }
      for (const DriveRow* drive : own) {
        if (static_cast<int>(drive->prop.ulEnclosureNumber) != enclosure ||
            drive->prop.sSlotNumber < 0) {
          continue;
        }
        SlotView& slot = view.slots[static_cast<size_t>(drive->prop.sSlotNumber)];
        slot.drive = drive->index;
        slot.state = DriveState(*drive);
        slot.blinking = blinking.count(drive->prop.id) != 0;
        if (slot.state != SlotState::kMember) continue;
        std::vector<GUID> key;
        for (const VDS_DRIVE_EXTENT& extent : drive->extents) {
          if (extent.LunId != GUID_NULL) key.push_back(extent.LunId);
        }
        std::sort(key.begin(), key.end());
        auto found = marks.find(key);
        if (found == marks.end()) {
          // Past Z the marks go on in lower case; 52 vdisks are more than a subsystem holds.
          const size_t n = marks.size();
          const char mark = n < 26 ? static_cast<char>('A' + n) : static_cast<char>('a' + n % 26);
          found = marks.emplace(key, mark).first;
          VdiskView vdisk{subsystem.index, mark, {}};
          for (const LunRow& lun : luns) {
            if (lun.subsystem == subsystem.index &&
                std::binary_search(key.begin(), key.end(), lun.prop.id)) {
              vdisk.luns.emplace_back(lun.index, lun.pwszFriendlyName.value_or(""));
            }
          }
          map.vdisks.push_back(std::move(vdisk));
        }
        slot.vdisk = found->second;
      }
      map.enclosures.push_back(std::move(view));
    }
  }
  return map;
}

std::string EnclosureMapText(const EnclosureMap& map, bool colour) {
  std::string text;
  const auto pad = [](const std::string& cell) {
    return std::string(cell.size() < kCellWidth ? kCellWidth - cell.size() : 1, ' ') + cell;
  };
  for (const EnclosureView& enclosure : map.enclosures) {
    text += "Subsystem " + std::to_string(enclosure.subsystem);
    if (!enclosure.subsystemName.empty()) text += " (" + enclosure.subsystemName + ")";
    text += ", enclosure " + std::to_string(enclosure.enclosure) + ", " +
            std::to_string(enclosure.slots.size()) + " slots\n";
    text += "  slot";
    const int columns = std::min<int>(kSlotsPerRow, static_cast<int>(enclosure.slots.size()));
    for (int column = 0; column < columns; ++column) text += pad(std::to_string(column));
    text += "\n";
    for (size_t first = 0; first < enclosure.slots.size(); first += kSlotsPerRow) {
      std::string row = std::to_string(first);
      text += std::string(6 - std::min<size_t>(row.size(), 5), ' ') + row;
      for (size_t i = first; i < std::min(first + kSlotsPerRow, enclosure.slots.size()); ++i) {
        const SlotView& slot = enclosure.slots[i];
        std::string cell(1, StateMark(slot));
        if (slot.blinking) cell += '*';
        const std::string padded = pad(cell);
        if (colour && slot.state != SlotState::kEmpty) {
          const size_t lead = padded.size() - cell.size();
          text += padded.substr(0, lead) + StateColour(slot.state) +
                  (slot.blinking ? "\x1b[7m" : "") + cell + "\x1b[0m";
        } else {
          text += padded;
        }
      }
      text += "\n";
    }
    text += "\n";
  }
  const bool lowerCase = std::any_of(map.vdisks.begin(), map.vdisks.end(),
                                     [](const VdiskView& vdisk) { return vdisk.mark >= 'a'; });
  text += std::string("Legend: o free, A-Z ") + (lowerCase ? "and a-z " : "") +
          "member of a vdisk, S hot spare, X failed, M offline or missing, . empty slot, * "
          "blinking\n";
  for (const VdiskView& vdisk : map.vdisks) {
    std::string line =
        "  " + std::string(1, vdisk.mark) + "  subsystem " + std::to_string(vdisk.subsystem) + ":";
    if (vdisk.luns.empty()) line += " no LUN";
    // A vdisk of many volumes: the first few, and how many there are.
    const size_t shown = vdisk.luns.size() > kLegendLuns ? kLegendLuns - 1 : vdisk.luns.size();
    for (size_t i = 0; i < shown; ++i) {
      line += (i == 0 ? " LUN " : ", LUN ") + std::to_string(vdisk.luns[i].first) + " " +
              vdisk.luns[i].second;
    }
    if (shown < vdisk.luns.size()) {
      line += ", ... (" + std::to_string(vdisk.luns.size()) + " LUNs)";
    }
    text += line + "\n";
  }
  return text;
}

Json EnclosureMapJson(const EnclosureMap& map) {
  Json enclosures = Json::array();
  for (const EnclosureView& enclosure : map.enclosures) {
    Json slots = Json::array();
    for (const SlotView& slot : enclosure.slots) {
      Json entry{{"slot", slot.slot}, {"state", StateWord(slot.state)}};
      if (slot.drive) entry["drive"] = *slot.drive;
      if (slot.state == SlotState::kMember) entry["vdisk"] = std::string(1, slot.vdisk);
      if (slot.drive) entry["blinking"] = slot.blinking;
      slots.push_back(std::move(entry));
    }
    enclosures.push_back(Json{{"subsystem", enclosure.subsystem},
                              {"enclosure", enclosure.enclosure},
                              {"slots", std::move(slots)}});
  }
  Json vdisks = Json::array();
  for (const VdiskView& vdisk : map.vdisks) {
    Json luns = Json::array();
    for (const auto& [index, name] : vdisk.luns) {
      luns.push_back(Json{{"index", index}, {"name", name}});
    }
    vdisks.push_back(Json{{"subsystem", vdisk.subsystem},
                          {"mark", std::string(1, vdisk.mark)},
                          {"luns", std::move(luns)}});
  }
  return Json{{"enclosures", std::move(enclosures)}, {"vdisks", std::move(vdisks)}};
}

ExitCode ShowEnclosures(Model* model, Output* output, std::optional<int> subsystem,
                        const std::set<GUID>& blinking, bool colour) {
  std::vector<SubsystemRow> subsystems;
  std::vector<DriveRow> drives;
  std::vector<LunRow> luns;
  CallResult error = model->Subsystems(&subsystems);
  if (!error) error = model->Drives(subsystem, &drives);
  if (!error) error = model->Luns(subsystem, &luns);
  if (error) {
    output->CallFailed(*error);
    return kExitFatal;
  }
  if (subsystem) {
    subsystems.erase(
        std::remove_if(subsystems.begin(), subsystems.end(),
                       [&](const SubsystemRow& row) { return row.index != *subsystem; }),
        subsystems.end());
  }
  const EnclosureMap map = BuildEnclosureMap(subsystems, drives, luns, blinking);
  if (output->Json()) {
    output->Document(EnclosureMapJson(map));
  } else {
    output->Text(EnclosureMapText(map, colour));
  }
  return kExitOk;
}

bool ColourWanted(int fd) {
  const char* noColour = std::getenv("NO_COLOR");
  if (noColour != nullptr && noColour[0] != '\0') return false;
  return isatty(fd) != 0;
}

}  // namespace vdsctl
