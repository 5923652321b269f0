#include "tools/vdsctl/views.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "tools/vdsctl/names.h"
#include "tools/vdsctl/table.h"

namespace vdsctl {

namespace {

std::string Show(const Text& text) { return text ? *text : "-"; }

std::string Numbered(std::string_view title, int index) {
  return std::string(title) + " " + std::to_string(index);
}

std::string Hex(uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof(text), "0x%llX", static_cast<unsigned long long>(value));
  return text;
}

// "  Label          : value" lines with the colons in one column.
class Detail {
 public:
  explicit Detail(std::string title) : title_(std::move(title)) {}

  Detail& Add(std::string label, std::string value) {
    lines_.emplace_back(std::move(label), std::move(value));
    return *this;
  }

  std::string Render() const {
    size_t width = 0;
    for (const auto& line : lines_) width = std::max(width, line.first.size());
    std::string out = title_ + "\n\n";
    for (const auto& [label, value] : lines_) {
      out += "  " + label + std::string(width - label.size(), ' ') + " : " + value + "\n";
    }
    return out;
  }

 private:
  std::string title_;
  std::vector<std::pair<std::string, std::string>> lines_;
};

// Objects of a subsystem are numbered within it, so rows of several subsystems go into one
// table per subsystem, each under a "Subsystem N" line.
template <class Row, class AddRow>
std::string GroupedTable(const std::vector<Column>& columns, const std::vector<Row>& rows,
                         AddRow add_row) {
  std::vector<int> order;
  for (const Row& row : rows) {
    if (std::find(order.begin(), order.end(), row.subsystem) == order.end()) {
      order.push_back(row.subsystem);
    }
  }
  if (order.size() <= 1) {
    Table table(columns);
    for (const Row& row : rows) add_row(&table, row);
    return table.Render();
  }
  std::string out;
  for (int subsystem : order) {
    Table table(columns);
    for (const Row& row : rows) {
      if (row.subsystem == subsystem) add_row(&table, row);
    }
    if (!out.empty()) out += "\n";
    out += Numbered("Subsystem", subsystem) + "\n\n" + table.Render();
  }
  return out;
}

}  // namespace

std::string DriveModel(const Text& name) {
  if (!name) return "-";
  const size_t serial = name->find(" s/n ");
  return serial == std::string::npos ? *name : name->substr(0, serial);
}

ULONGLONG FreeBytes(const DriveRow& drive) {
  ULONGLONG free = 0;
  for (const VDS_DRIVE_EXTENT& extent : drive.extents) {
    if (!extent.bUsed) free += extent.ullSize;
  }
  return free;
}

std::string ListText(const std::vector<SubsystemRow>& rows, const GUID& selected) {
  Table table({{"Subsystem ###"}, {"Name"}, {"Status"}, {"Health"}, {"Identification"}});
  for (const SubsystemRow& row : rows) {
    table.AddRow(
        {Numbered("Subsystem", row.index), Show(row.pwszFriendlyName), StatusWord(row.prop.status),
         HealthWord(row.prop.health), Show(row.pwszIdentification)},
        row.prop.id == selected);
  }
  return table.Render();
}

std::string ListText(const std::vector<ControllerRow>& rows, const GUID& selected) {
  return GroupedTable({{"Ctlr ###"},
                       {"Name"},
                       {"Status"},
                       {"Health"},
                       {"Ports", Align::kRight},
                       {"Identification"}},
                      rows, [&](Table* table, const ControllerRow& row) {
                        table->AddRow(
                            {Numbered("Ctlr", row.index), Show(row.pwszFriendlyName),
                             StatusWord(row.prop.status), HealthWord(row.prop.health),
                             std::to_string(row.prop.sNumberOfPorts), Show(row.pwszIdentification)},
                            row.prop.id == selected);
                      });
}

std::string ListText(const std::vector<PortRow>& rows, const GUID& selected) {
  return GroupedTable(
      {{"Port ###"}, {"Name"}, {"Status"}, {"Ctlr", Align::kRight}, {"Identification"}}, rows,
      [&](Table* table, const PortRow& row) {
        table->AddRow(
            {Numbered("Port", row.index), Show(row.pwszFriendlyName), StatusWord(row.prop.status),
             std::to_string(row.controller), WwnText(Show(row.pwszIdentification))},
            row.prop.id == selected);
      });
}

std::string ListText(const std::vector<DriveRow>& rows, const GUID& selected) {
  return GroupedTable({{"Drive ###"},
                       {"Status"},
                       {"Health"},
                       {"Size", Align::kRight},
                       {"Free", Align::kRight},
                       {"Bus", Align::kRight},
                       {"Slot", Align::kRight},
                       {"Flags"},
                       {"Serial"},
                       {"Model"}},
                      rows, [&](Table* table, const DriveRow& row) {
                        table->AddRow(
                            {Numbered("Drive", row.index), StatusWord(row.prop.status),
                             HealthWord(row.prop.health), HumanSize(row.prop.ullSize),
                             HumanSize(FreeBytes(row)), std::to_string(row.prop.sInternalBusNumber),
                             std::to_string(row.prop.sSlotNumber), DriveFlagWords(row.prop.ulFlags),
                             Show(row.pwszIdentification), DriveModel(row.pwszFriendlyName)},
                            row.prop.id == selected);
                      });
}

std::string ListText(const std::vector<LunRow>& rows, const GUID& selected) {
  return GroupedTable(
      {{"LUN ###"},
       {"Name"},
       {"Status"},
       {"Health"},
       {"Type"},
       {"Size", Align::kRight},
       {"Unmasked to"}},
      rows, [&](Table* table, const LunRow& row) {
        table->AddRow(
            {Numbered("LUN", row.index), Show(row.pwszFriendlyName), StatusWord(row.prop.status),
             HealthWord(row.prop.health), LunTypeWord(row.prop.type), HumanSize(row.prop.ullSize),
             row.pwszUnmaskingList && !row.pwszUnmaskingList->empty() ? *row.pwszUnmaskingList
                                                                      : "-"},
            row.prop.id == selected);
      });
}

std::string ListText(const std::vector<PlexRow>& rows, const GUID& selected) {
  return GroupedTable({{"Plex ###"},
                       {"LUN", Align::kRight},
                       {"Status"},
                       {"Health"},
                       {"Type"},
                       {"Size", Align::kRight},
                       {"Stripe", Align::kRight}},
                      rows, [&](Table* table, const PlexRow& row) {
                        table->AddRow({Numbered("Plex", row.index), std::to_string(row.lun),
                                       StatusWord(row.prop.status), HealthWord(row.prop.health),
                                       PlexTypeWord(row.prop.type), HumanSize(row.prop.ullSize),
                                       HumanSize(row.prop.ulStripeSize)},
                                      row.prop.id == selected);
                      });
}

std::string ListText(const std::vector<PoolRow>& rows, const GUID& selected) {
  Table table({{"Pool ###"},
               {"Name"},
               {"Type"},
               {"Status"},
               {"Health"},
               {"Total", Align::kRight},
               {"Free", Align::kRight},
               {"Subsystem", Align::kRight}});
  for (const PoolRow& row : rows) {
    table.AddRow(
        {Numbered("Pool", row.index), Show(row.pwszName), PoolTypeWord(row.prop.type),
         StatusWord(row.prop.status), HealthWord(row.prop.health),
         HumanSize(row.prop.ullTotalManagedSpace), HumanSize(row.prop.ullRemainingFreeSpace),
         row.subsystem ? std::to_string(*row.subsystem) : "-"},
        row.prop.id == selected);
  }
  return table.Render();
}

std::string DetailText(const ProviderRow& row) {
  const VDS_PROVIDER_PROP& p = row.prop;
  return Detail("Provider")
      .Add("Name", Show(row.pwszName))
      .Add("Version", Show(row.pwszVersion))
      .Add("Id", GuidToString(p.id))
      .Add("Version id", GuidToString(p.guidVersionId))
      .Add("Type", ProviderTypeWord(p.type))
      .Add("Flags", ProviderFlagText(p.ulFlags))
      .Add("Stripe sizes", StripeSizeText(p.ulStripeSizeFlags))
      .Add("Rebuild priority", std::to_string(p.sRebuildPriority))
      .Render();
}

std::string DetailText(const SubsystemRow& row) {
  const VDS_SUB_SYSTEM_PROP2& p = row.prop;
  return Detail(Numbered("Subsystem", row.index))
      .Add("Name", Show(row.pwszFriendlyName))
      .Add("Identification", Show(row.pwszIdentification))
      .Add("Id", GuidToString(p.id))
      .Add("Status", StatusWord(p.status))
      .Add("Health", HealthWord(p.health))
      .Add("Flags", SubsystemFlagText(p.ulFlags))
      .Add("Stripe sizes", StripeSizeText(p.ulStripeSizeFlags))
      .Add("RAID type flags", RaidFlagText(p.ulSupportedRaidTypeFlags))
      .Add("Internal buses", std::to_string(p.sNumberOfInternalBuses))
      .Add("Slots per bus", std::to_string(p.sMaxNumberOfSlotsEachBus))
      .Add("Controllers", std::to_string(p.sMaxNumberOfControllers))
      .Add("Enclosures", std::to_string(p.ulNumberOfEnclosures))
      .Add("Rebuild priority", std::to_string(p.sRebuildPriority))
      .Render();
}

std::string DetailText(const ControllerRow& row) {
  const VDS_CONTROLLER_PROP& p = row.prop;
  return Detail(Numbered("Controller", row.index))
      .Add("Subsystem", std::to_string(row.subsystem))
      .Add("Name", Show(row.pwszFriendlyName))
      .Add("Identification", Show(row.pwszIdentification))
      .Add("Id", GuidToString(p.id))
      .Add("Status", StatusWord(p.status))
      .Add("Health", HealthWord(p.health))
      .Add("Ports", std::to_string(p.sNumberOfPorts))
      .Render();
}

std::string DetailText(const PortRow& row) {
  const VDS_PORT_PROP& p = row.prop;
  return Detail(Numbered("Port", row.index))
      .Add("Subsystem", std::to_string(row.subsystem))
      .Add("Controller", std::to_string(row.controller))
      .Add("Name", Show(row.pwszFriendlyName))
      .Add("Identification", WwnText(Show(row.pwszIdentification)))
      .Add("Id", GuidToString(p.id))
      .Add("Status", StatusWord(p.status))
      .Render();
}

std::string DetailText(const DriveRow& row) {
  const VDS_DRIVE_PROP2& p = row.prop;
  std::string out = Detail(Numbered("Drive", row.index))
                        .Add("Subsystem", std::to_string(row.subsystem))
                        .Add("Name", Show(row.pwszFriendlyName))
                        .Add("Identification", Show(row.pwszIdentification))
                        .Add("Id", GuidToString(p.id))
                        .Add("Status", StatusWord(p.status))
                        .Add("Health", HealthWord(p.health))
                        .Add("Size", HumanSize(p.ullSize))
                        .Add("Free", HumanSize(FreeBytes(row)))
                        .Add("Flags", DriveFlagText(p.ulFlags))
                        .Add("Enclosure", std::to_string(p.ulEnclosureNumber))
                        .Add("Bus", std::to_string(p.sInternalBusNumber))
                        .Add("Slot", std::to_string(p.sSlotNumber))
                        .Add("Bus type", BusTypeWord(p.busType))
                        .Add("Spindle speed", std::to_string(p.ulSpindleSpeed) + " rpm")
                        .Render();
  Table extents({{"Extent ###"}, {"LUN"}, {"Size", Align::kRight}, {"Used"}});
  int index = 0;
  for (const VDS_DRIVE_EXTENT& extent : row.extents) {
    extents.AddRow({Numbered("Extent", index++),
                    extent.LunId == GUID_NULL ? "-" : GuidToString(extent.LunId),
                    HumanSize(extent.ullSize), extent.bUsed ? "Yes" : "No"});
  }
  return out + "\n" + extents.Render();
}

std::string DetailText(const LunRow& row) {
  const VDS_LUN_PROP& p = row.prop;
  Detail detail(Numbered("LUN", row.index));
  detail.Add("Subsystem", std::to_string(row.subsystem))
      .Add("Name", Show(row.pwszFriendlyName))
      .Add("Identification", Show(row.pwszIdentification))
      .Add("Id", GuidToString(p.id))
      .Add("Status", StatusWord(p.status))
      .Add("Health", HealthWord(p.health))
      .Add("Type", LunTypeWord(p.type))
      .Add("Size", HumanSize(p.ullSize))
      .Add("Flags", LunFlagText(p.ulFlags))
      .Add("Transition state", TransitionWord(p.TransitionState))
      .Add("Rebuild priority", std::to_string(p.sRebuildPriority))
      .Add("Unmasking list", Show(row.pwszUnmaskingList));
  for (const VDS_OBJECT_ID& plex : row.plexes) detail.Add("Plex", GuidToString(plex));
  return detail.Render();
}

std::string DetailText(const PlexRow& row) {
  const VDS_LUN_PLEX_PROP& p = row.prop;
  return Detail(Numbered("Plex", row.index))
      .Add("Subsystem", std::to_string(row.subsystem))
      .Add("LUN", std::to_string(row.lun))
      .Add("Id", GuidToString(p.id))
      .Add("Status", StatusWord(p.status))
      .Add("Health", HealthWord(p.health))
      .Add("Type", PlexTypeWord(p.type))
      .Add("Size", HumanSize(p.ullSize))
      .Add("Stripe size", HumanSize(p.ulStripeSize))
      .Add("Flags", Hex(p.ulFlags))
      .Add("Transition state", TransitionWord(p.TransitionState))
      .Add("Rebuild priority", std::to_string(p.sRebuildPriority))
      .Render();
}

std::string DetailText(const PoolRow& row) {
  const VDS_STORAGE_POOL_PROP& p = row.prop;
  const VDS_POOL_ATTRIBUTES& a = row.attributes;
  Detail detail(Numbered("Pool", row.index));
  detail.Add("Subsystem", row.subsystem ? std::to_string(*row.subsystem) : "-")
      .Add("Name", Show(row.pwszName))
      .Add("Description", Show(row.pwszDescription))
      .Add("Id", GuidToString(p.id))
      .Add("Type", PoolTypeWord(p.type))
      .Add("Status", StatusWord(p.status))
      .Add("Health", HealthWord(p.health))
      .Add("Total managed", HumanSize(p.ullTotalManagedSpace))
      .Add("Total consumed", HumanSize(p.ullTotalConsumedSpace))
      .Add("Remaining free", HumanSize(p.ullRemainingFreeSpace))
      .Add("Attribute mask", Hex(a.ullAttributeMask))
      .Add("RAID type", RaidTypeWord(a.raidType))
      .Add("Bus type", BusTypeWord(a.busType))
      .Add("Intended usage", Show(row.pwszIntendedUsage))
      .Add("Spin-down", a.bSpinDown ? "Yes" : "No")
      .Add("Thin provisioned", a.bIsThinProvisioned ? "Yes" : "No")
      .Add("No single point of failure", a.bNoSinglePointOfFailure ? "Yes" : "No")
      .Add("Stripe size", HumanSize(a.ulStripeSize))
      .Add("Stripe size min/max/default", HumanSize(a.ulStripeSizeMin) + " / " +
                                              HumanSize(a.ulStripeSizeMax) + " / " +
                                              HumanSize(a.ulDefaultStripeSize));
  for (const auto& [name, value] : row.customAttributes) detail.Add(Show(name), Show(value));
  return detail.Render();
}

}  // namespace vdsctl
