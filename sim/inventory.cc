#include "sim/inventory.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "sim/json_fields.h"
#include "sim/raid.h"

namespace sim {

using nlohmann::json;

namespace {

// Replaces "{n}" in a name pattern by a zero-padded counter.
std::string Expand(const std::string& pattern, unsigned n) {
  char digits[16];
  std::snprintf(digits, sizeof(digits), "%04u", n);
  std::string out = pattern;
  const size_t at = out.find("{n}");
  if (at != std::string::npos) out.replace(at, 3, digits);
  return out;
}

void ExpandDrives(const json& list, Subsystem* subsystem) {
  for (const json& entry : list) {
    const unsigned count = entry.value("count", 1u);
    const unsigned first = entry.value("first", 1u);
    if (count > kMaxDrives) throw std::runtime_error("drive count beyond 250");
    Drive base;
    DriveFromJson(entry, &base);
    for (unsigned i = 0; i < count; ++i) {
      Drive drive = base;
      if (entry.contains("count")) {
        drive.serialNumber = Expand(base.serialNumber, first + i);
        drive.slotNumber = static_cast<uint8_t>(base.slotNumber + i);
        drive.scsiId = static_cast<uint8_t>(base.scsiId + i);
      }
      subsystem->drives.push_back(std::move(drive));
      if (subsystem->drives.size() > kMaxDrives) throw std::runtime_error("more than 250 drives");
    }
  }
}

// Members named by count take the next available drives of the vdisk's drive type, by default
// the type of the first available drive.
void TakeMembers(Subsystem* subsystem, unsigned count, bool typeGiven, Vdisk* vdisk) {
  for (Drive& drive : subsystem->drives) {
    if (!typeGiven && drive.howUsed == kHowUsedAvailable) {
      vdisk->driveType = drive.type;
      typeGiven = true;
    }
    if (vdisk->members.size() >= count) break;
    if (drive.howUsed == kHowUsedAvailable && drive.type == vdisk->driveType) {
      vdisk->members.push_back(drive.serialNumber);
      drive.howUsed = kHowUsedMember;
    }
  }
  if (vdisk->members.size() < count) {
    throw std::runtime_error("not enough available drives for vdisk " + vdisk->name);
  }
}

void ExpandPartitions(const json& list, Model* model, Vdisk* vdisk, uint64_t* cursor) {
  for (const json& entry : list) {
    const unsigned count = entry.value("count", 1u);
    const unsigned first = entry.value("first", 1u);
    Partition base;
    PartitionFromJson(entry, &base);
    for (unsigned i = 0; i < count; ++i) {
      Partition partition = base;
      if (entry.contains("count")) {
        partition.name = Expand(base.name, first + i);
        partition.lun = base.lun + i;
      }
      if (!entry.contains("serialNumber") || entry.contains("count")) {
        partition.serialNumber = NewPartitionSerial(*model);
      }
      if (!entry.contains("offsetBlocks") || entry.contains("count")) {
        partition.offsetBlocks = *cursor;
      }
      *cursor = partition.offsetBlocks + partition.blocks;
      vdisk->partitions.push_back(std::move(partition));
    }
  }
}

void BuildVdisks(const json& list, Model* model, Subsystem* subsystem) {
  for (const json& entry : list) {
    Vdisk vdisk;
    VdiskFromJson(entry, &vdisk);
    if (!entry.contains("serialNumber")) vdisk.serialNumber = NewVdiskSerial(*model);
    if (entry.contains("memberCount")) {
      TakeMembers(subsystem, entry.at("memberCount").get<unsigned>(), entry.contains("driveType"),
                  &vdisk);
    }
    for (const std::string& serial : vdisk.members) {
      Drive* drive = FindDrive(*subsystem, serial);
      if (!drive) throw std::runtime_error("vdisk member " + serial + " is no drive");
      if (drive->howUsed == kHowUsedAvailable) drive->howUsed = kHowUsedMember;
      vdisk.driveType = drive->type;
    }
    for (const std::string& serial : vdisk.spares) {
      Drive* drive = FindDrive(*subsystem, serial);
      if (!drive) throw std::runtime_error("vdisk spare " + serial + " is no drive");
      if (drive->howUsed == kHowUsedAvailable) drive->howUsed = kHowUsedDedicatedSpare;
    }
    if (!entry.contains("blockCount")) {
      uint64_t smallest = UINT64_MAX;
      const uint32_t overhead =
          subsystem->controllers.empty() ? 0 : subsystem->controllers[0].driveOverheadPercent;
      for (const std::string& serial : vdisk.members) {
        smallest =
            std::min(smallest, UsableDriveBlocks(FindDrive(*subsystem, serial)->blocks, overhead));
      }
      if (vdisk.members.empty()) smallest = 0;
      vdisk.blockCount =
          VdiskCapacityBlocks(vdisk.raidLevel, static_cast<uint32_t>(vdisk.members.size()),
                              vdisk.numDrivesPerLowLevelArray, smallest);
    }
    uint64_t cursor = 0;
    ExpandPartitions(entry.value("partitions", json::array()), model, &vdisk, &cursor);
    subsystem->vdisks.push_back(std::move(vdisk));
  }
}

void ParseModel(const json& root, Model* model) {
  *model = Model{};
  if (root.contains("globals")) GlobalsFromJson(root.at("globals"), model);
  for (const json& entry : root.value("hbaPorts", json::array())) {
    HbaPort port;
    HbaPortFromJson(entry, &port);
    model->hbaPorts.push_back(port);
  }
  for (const json& entry : root.at("subsystems")) {
    Subsystem subsystem;
    SubsystemHeadFromJson(entry, &subsystem);
    ExpandDrives(entry.value("drives", json::array()), &subsystem);
    BuildVdisks(entry.value("vdisks", json::array()), model, &subsystem);
    model->subsystems.push_back(std::move(subsystem));
  }
  // Events listed in an inventory are numbered as if the controllers had logged them.
  for (Subsystem& subsystem : model->subsystems) {
    for (Controller& controller : subsystem.controllers) {
      std::deque<Event> listed;
      listed.swap(controller.events);
      if (controller.nextEventNumber > 1) {
        controller.events = std::move(listed);
        continue;
      }
      for (Event& event : listed) LogEvent(controller, std::move(event));
    }
  }
}

}  // namespace

bool ParseInventory(const std::string& text, Model* model, std::string* error) {
  try {
    ParseModel(json::parse(text), model);
  } catch (const std::exception& e) {
    *error = e.what();
    return false;
  }
  return ValidateModel(*model, error);
}

bool LoadInventoryFile(const std::string& path, Model* model, std::string* error) {
  std::ifstream in(path);
  if (!in) {
    *error = "cannot open inventory " + path;
    return false;
  }
  std::stringstream text;
  text << in.rdbuf();
  if (!ParseInventory(text.str(), model, error)) {
    *error = path + ": " + *error;
    return false;
  }
  return true;
}

std::string SubsystemToJson(const Subsystem& subsystem) {
  return SubsystemFullJson(subsystem).dump();
}

std::string ModelGlobalsToJson(const Model& model) {
  json out = GlobalsJson(model);
  json ports = json::array();
  for (const HbaPort& port : model.hbaPorts) ports.push_back(HbaPortJson(port));
  out["hbaPorts"] = ports;
  return out.dump();
}

std::string ModelToJson(const Model& model, int indent) {
  json out;
  out["globals"] = GlobalsJson(model);
  json ports = json::array();
  for (const HbaPort& port : model.hbaPorts) ports.push_back(HbaPortJson(port));
  out["hbaPorts"] = ports;
  json subsystems = json::array();
  for (const Subsystem& subsystem : model.subsystems) {
    subsystems.push_back(SubsystemFullJson(subsystem));
  }
  out["subsystems"] = subsystems;
  return out.dump(indent);
}

bool SubsystemFromJson(const std::string& text, Subsystem* subsystem, std::string* error) {
  try {
    const json entry = json::parse(text);
    *subsystem = Subsystem{};
    SubsystemHeadFromJson(entry, subsystem);
    for (const json& drive : entry.value("drives", json::array())) {
      subsystem->drives.emplace_back();
      DriveFromJson(drive, &subsystem->drives.back());
    }
    for (const json& vdisk : entry.value("vdisks", json::array())) {
      subsystem->vdisks.emplace_back();
      VdiskFromJson(vdisk, &subsystem->vdisks.back());
      for (const json& partition : vdisk.value("partitions", json::array())) {
        subsystem->vdisks.back().partitions.emplace_back();
        PartitionFromJson(partition, &subsystem->vdisks.back().partitions.back());
      }
    }
  } catch (const std::exception& e) {
    *error = e.what();
    return false;
  }
  return true;
}

bool ModelGlobalsFromJson(const std::string& text, Model* model, std::string* error) {
  try {
    const json root = json::parse(text);
    GlobalsFromJson(root, model);
    model->hbaPorts.clear();
    for (const json& entry : root.value("hbaPorts", json::array())) {
      HbaPort port;
      HbaPortFromJson(entry, &port);
      model->hbaPorts.push_back(port);
    }
  } catch (const std::exception& e) {
    *error = e.what();
    return false;
  }
  return true;
}

bool ValidateModel(const Model& model, std::string* error) {
  auto fail = [error](const std::string& why) {
    *error = why;
    return false;
  };
  if (model.hbaPorts.size() > kMaxHbaEntries) return fail("more than 32 HBA ports");
  std::set<uint32_t> handles;
  std::set<std::string> subsystemSns;
  for (const Subsystem& subsystem : model.subsystems) {
    const std::string where = "subsystem " + subsystem.uniqueSn + ": ";
    if (subsystem.uniqueSn.empty() || subsystem.uniqueSn.size() > 31) {
      return fail(where + "uniqueSn must have 1 to 31 characters");
    }
    if (!subsystemSns.insert(subsystem.uniqueSn).second) return fail(where + "duplicate uniqueSn");
    if (subsystem.controllers.empty() || subsystem.controllers.size() > 2) {
      return fail(where + "one or two controllers");
    }
    for (const Controller& controller : subsystem.controllers) {
      if (controller.handle == 0 || !handles.insert(controller.handle).second) {
        return fail(where + "controller handles must be unique and not 0");
      }
      if (controller.ports.size() > kMaxPorts) return fail(where + "more than 8 host ports");
    }
    if (subsystem.enclosures.size() > kMaxEnclosures)
      return fail(where + "more than 16 enclosures");
    if (subsystem.drives.size() > kMaxDrives) return fail(where + "more than 250 drives");
    if (subsystem.vdisks.size() > kMaxArrays) return fail(where + "more than 32 vdisks");
    std::set<std::string> driveSns;
    for (const Drive& drive : subsystem.drives) {
      if (drive.serialNumber.empty() || drive.serialNumber.size() > 32) {
        return fail(where + "drive serials need 1 to 32 characters");
      }
      if (!driveSns.insert(drive.serialNumber).second) {
        return fail(where + "duplicate drive serial " + drive.serialNumber);
      }
    }
    std::set<std::string> used;
    std::set<Serial32> serials;
    for (const Vdisk& vdisk : subsystem.vdisks) {
      const std::string at = where + "vdisk " + vdisk.name + ": ";
      if (vdisk.ownerIndex >= subsystem.controllers.size()) return fail(at + "owner out of range");
      if (vdisk.members.empty() || vdisk.members.size() > kMaxMembers) {
        return fail(at + "1 to 68 members");
      }
      if (vdisk.partitions.size() > kMaxPartitionsPerArray)
        return fail(at + "more than 128 partitions");
      if (!serials.insert(vdisk.serialNumber).second) return fail(at + "duplicate serial");
      for (const std::string& serial : vdisk.members) {
        if (!driveSns.count(serial) || !used.insert(serial).second) {
          return fail(at + "member " + serial + " missing or in use twice");
        }
      }
      for (const std::string& serial : vdisk.spares) {
        if (!driveSns.count(serial) || !used.insert(serial).second) {
          return fail(at + "spare " + serial + " missing or in use twice");
        }
      }
      std::vector<std::pair<uint64_t, uint64_t>> extents;
      for (const Partition& partition : vdisk.partitions) {
        if (!serials.insert(partition.serialNumber).second) {
          return fail(at + "duplicate partition serial");
        }
        if (partition.type != kPartitionTypeSnapshot) {
          extents.emplace_back(partition.offsetBlocks, partition.blocks);
        }
      }
      std::sort(extents.begin(), extents.end());
      uint64_t end = 0;
      for (const auto& [offset, blocks] : extents) {
        if (offset < end || blocks > vdisk.blockCount || offset > vdisk.blockCount - blocks) {
          return fail(at + "partitions overlap or lie outside the vdisk");
        }
        end = offset + blocks;
      }
    }
  }
  return true;
}

}  // namespace sim
