#include "sim/host_view.h"

#include <cstdio>

#include "platform/host_view.h"
#include "sim/host_devices.h"

namespace sim {

namespace {

using nlohmann::json;

constexpr uint32_t kFirstScsiPort = 3;  // the host's SCSI port numbers: host3, host4, ...
constexpr uint64_t kDsmUniqueId = 0x5645'4c41'0000'0001ull;
constexpr char kDsmInstance[] = "MORDSM_0";

std::string Hex(const uint8_t* bytes, size_t count, bool upper) {
  std::string text;
  char digits[3];
  for (size_t i = 0; i < count; ++i) {
    std::snprintf(digits, sizeof(digits), upper ? "%02X" : "%02x", bytes[i]);
    text += digits;
  }
  return text;
}

// The page 0x83 NAA identifier the array reports for a partition serial.
std::array<uint8_t, 16> NaaOf(const Serial32& s) {
  std::array<uint8_t, 16> naa{};
  naa[0] = static_cast<uint8_t>((s[0] >> 4) | 0x60);
  naa[1] = static_cast<uint8_t>((s[1] >> 4) ^ (s[0] << 4));
  naa[2] = static_cast<uint8_t>((s[2] >> 4) ^ (s[1] << 4));
  naa[3] = static_cast<uint8_t>(s[2] << 4);
  naa[5] = s[3];
  naa[6] = s[4];
  naa[7] = s[5];
  for (int i = 0; i < 5; ++i) naa[8 + i] = s[8 + i];
  return naa;
}

bool MappedTo(const Partition& partition, const std::vector<Wwn>& hostWwns) {
  if (partition.allHosts) return true;
  for (const HostMapping& mapping : partition.hosts) {
    if (mapping.hostType != 16) continue;
    for (const Wwn& wwn : hostWwns) {
      if (mapping.wwpn == wwn) return true;
    }
  }
  return false;
}

// The previous view's DSM path of that instance and id, or null.
const json* PreviousPath(const json& previous, const char* className, const std::string& instance,
                         const std::string& pathId, const json** policy) {
  const json* records = nullptr;
  if (previous.is_object() && previous.contains("wmi") && previous["wmi"].is_object() &&
      previous["wmi"].contains("ROOT\\WMI") && previous["wmi"]["ROOT\\WMI"].is_object()) {
    const json& ns = previous["wmi"]["ROOT\\WMI"];
    if (ns.contains(className) && ns[className].is_array()) records = &ns[className];
  }
  if (records == nullptr) return nullptr;
  for (const json& record : *records) {
    if (!record.is_object() || record.value("InstanceName", "") != instance) continue;
    auto lbp = record.find("LoadBalancePolicy");
    if (lbp == record.end() || !lbp->is_object()) continue;
    auto paths = lbp->find("DSM_Paths");
    if (paths == lbp->end() || !paths->is_array()) continue;
    for (const json& path : *paths) {
      if (path.is_object() && path.value("DsmPathId", "") == pathId) {
        *policy = &*lbp;
        return &path;
      }
    }
  }
  return nullptr;
}

void Keep(json* path, const json* before, const char* field) {
  if (before != nullptr && before->contains(field) && (*before)[field].is_number()) {
    (*path)[field] = (*before)[field];
  }
}

json HbaPortJson(const Wwn& wwn, size_t index) {
  Wwn node = wwn;
  node[0] = 0x20;
  return {{"NodeWWN", Hex(node.data(), 8, false)},
          {"PortWWN", Hex(wwn.data(), 8, false)},
          {"PortType", 5},
          {"PortState", 2},
          {"PortSpeed", 8},
          {"PortSupportedSpeed", 14},
          {"OSDeviceName", "host" + std::to_string(kFirstScsiPort + index)},
          {"targetMappings", json::array()}};
}

}  // namespace

std::vector<Wwn> HostWwns(const Model& model, const std::vector<Wwn>& wanted) {
  if (!wanted.empty()) return wanted;
  std::vector<Wwn> wwns;
  for (const HbaPort& port : model.hbaPorts) wwns.push_back(port.wwpn);
  return wwns;
}

json BuildHostView(const Model& model, const std::vector<Wwn>& hostWwns, const json& previous) {
  json descriptors = json::array();
  json drives = json::array();
  json v2 = json::array();
  json v1 = json::array();
  json operations = json::array();
  json hbaPorts = json::array();
  json devices = json::array({BootDiskJson()});
  for (size_t i = 0; i < hostWwns.size(); ++i) hbaPorts.push_back(HbaPortJson(hostWwns[i], i));

  uint32_t disk = 0;
  for (const Subsystem& subsystem : model.subsystems) {
    // Target numbers: the controller ports of the subsystem in order.
    for (const Vdisk& vdisk : subsystem.vdisks) {
      for (const Partition& partition : vdisk.partitions) {
        if (hostWwns.empty() || !MappedTo(partition, hostWwns)) continue;
        const std::array<uint8_t, 16> naa = NaaOf(partition.serialNumber);
        const std::string serial = Hex(naa.data(), naa.size(), true);
        const std::string instance =
            "MPIO\\Disk&Ven_VELA&Prod_SIM_LUN&Rev_0001\\1&7f6ac24&0&" + serial + "_0";
        json pdos = json::array();
        json dsmPaths = json::array();
        json v1Paths = json::array();
        json kept = nullptr;
        uint32_t target = 0;
        uint32_t pathIndex = 0;
        DevicePath devicePath;
        bool haveDevicePath = false;
        for (const Controller& controller : subsystem.controllers) {
          const bool owner = vdisk.ownerIndex < subsystem.controllers.size() &&
                             &subsystem.controllers[vdisk.ownerIndex] == &controller;
          const bool ulp = (controller.controllerMode & 0x08) != 0;
          const uint32_t n = static_cast<uint32_t>(controller.ports.size());
          for (const HostPort& port : controller.ports) {
            const size_t hba = port.portNumber % hostWwns.size();
            const uint64_t pathId = 0x77000000ull | (uint64_t{disk} << 8) | pathIndex;
            const std::string id = std::to_string(pathId);
            uint32_t relative = 0;
            if (ulp) {
              relative =
                  controller.controllerId == 1 ? port.portNumber + 1u : n + port.portNumber + 1u;
            } else if (owner) {
              relative = port.portNumber + 1u;
            }
            if (!haveDevicePath && owner) {
              devicePath = {kFirstScsiPort + static_cast<uint32_t>(hba), target, relative, &port};
              haveDevicePath = true;
            }
            pdos.push_back({{"PathIdentifier", id},
                            {"ScsiAddress",
                             {{"__CLASS", "SCSI_ADDR"},
                              {"PortNumber", kFirstScsiPort + hba},
                              {"ScsiPathId", 0},
                              {"TargetId", target},
                              {"Lun", partition.lun}}}});
            json path = {{"__CLASS", "MPIO_DSM_Path_V2"},
                         {"DsmPathId", id},
                         {"Reserved", "0"},
                         {"PathWeight", 0},
                         {"PrimaryPath", 1},
                         {"OptimizedPath", owner ? 1 : 0},
                         {"PreferredPath", 0},
                         {"FailedPath", port.linkUp ? 0 : 1},
                         {"TargetPortGroup_State", owner ? 0 : 1},
                         {"ALUASupport", 3},
                         {"SymmetricLUA", 0},
                         {"TargetPortGroup_Preferred", owner ? 1 : 0},
                         {"TargetPortGroup_Identifier", controller.controllerId},
                         {"TargetPort_Identifier", relative},
                         {"Reserved32", 0},
                         {"Reserved64", "0"}};
            const json* policy = nullptr;
            const json* before =
                PreviousPath(previous, "DSM_QueryLBPolicy_V2", instance, id, &policy);
            for (const char* field :
                 {"PathWeight", "PrimaryPath", "OptimizedPath", "PreferredPath"}) {
              Keep(&path, before, field);
            }
            if (port.linkUp) Keep(&path, before, "FailedPath");
            if (policy != nullptr && kept.is_null())
              kept = (*policy).value("LoadBalancePolicy", json());
            v1Paths.push_back({{"__CLASS", "MPIO_DSM_PATH"},
                               {"DsmPathId", id},
                               {"Reserved", "0"},
                               {"PathWeight", path["PathWeight"]},
                               {"PrimaryPath", path["PrimaryPath"]}});
            dsmPaths.push_back(std::move(path));

            // The HBA port sees the controller port as a target of this LUN.
            json& mappings = hbaPorts[hba]["targetMappings"];
            mappings.push_back({{"ScsiId",
                                 {{"OSDeviceName", "/dev/mpio" + std::to_string(disk)},
                                  {"ScsiBusNumber", 0},
                                  {"ScsiTargetNumber", target},
                                  {"ScsiOSLun", partition.lun}}},
                                {"FcpId",
                                 {{"FcId", 0},
                                  {"NodeWWN", Hex(port.wwpn.data(), 8, false)},
                                  {"PortWWN", Hex(port.wwpn.data(), 8, false)},
                                  {"FcpLun", uint64_t{partition.lun} << 48}}}});
            ++target;
            ++pathIndex;
          }
        }
        const json policyValue = kept.is_number_unsigned() ? kept : json(3);
        const size_t count = dsmPaths.size();
        descriptors.push_back({{"InstanceName", instance},
                               {"DeviceName", "MPIO Disk" + std::to_string(disk)},
                               {"NumberPdos", count},
                               {"PdoInformation", pdos}});
        drives.push_back({{"__CLASS", "MPIO_DRIVE_INFO"},
                          {"Name", "MPIO Disk" + std::to_string(disk)},
                          {"NumberPaths", count},
                          {"SerialNumber", serial},
                          {"DsmName", "Vela DSM"}});
        v2.push_back({{"InstanceName", instance},
                      {"LoadBalancePolicy",
                       {{"__CLASS", "DSM_Load_Balance_Policy_V2"},
                        {"Version", 2},
                        {"LoadBalancePolicy", policyValue},
                        {"DSMPathCount", count},
                        {"Reserved", 0},
                        {"DSM_Paths", dsmPaths}}}});
        v1.push_back({{"InstanceName", instance},
                      {"LoadBalancePolicy",
                       {{"__CLASS", "DSM_Load_Balance_Policy"},
                        {"Version", 1},
                        {"LoadBalancePolicy", policyValue},
                        {"DSMPathCount", count},
                        {"Reserved", 0},
                        {"DSM_Paths", v1Paths}}}});
        operations.push_back({{"InstanceName", instance}});
        devices.push_back(
            LunDeviceJson(subsystem, vdisk, partition, disk + 1, devicePath, previous));
        ++disk;
      }
    }
  }
  json ns = {{"MPIO_GET_DESCRIPTOR", descriptors},
             {"MPIO_DISK_INFO", json::array({{{"InstanceName", "MPIO_DISK_INFO_0"},
                                              {"NumberDrives", drives.size()},
                                              {"DriveInfo", drives}}})},
             {"DSM_QueryLBPolicy_V2", v2},
             {"DSM_QueryLBPolicy", v1},
             {"DSM_LB_Operations", operations},
             {"Dsm_QueryUniqueId", json::array({{{"InstanceName", kDsmInstance},
                                                 {"DsmUniqueId", std::to_string(kDsmUniqueId)}}})},
             {"MORDSM_WMI_METHODS", json::array({{{"InstanceName", kDsmInstance}}})}};
  json adapters = json::array();
  if (!hostWwns.empty()) {
    Wwn node = hostWwns.front();
    node[0] = 0x20;
    adapters.push_back({{"name", "sim-hba-0"},
                        {"attributes",
                         {{"Manufacturer", "Vela"},
                          {"Model", "SIM-HBA"},
                          {"NodeWWN", Hex(node.data(), 8, false)},
                          {"NumberOfPorts", hostWwns.size()}}},
                        {"ports", hbaPorts}});
  }
  return {{"wmi", {{"ROOT\\WMI", ns}}}, {"hba", adapters}, {"devices", devices}};
}

bool WriteHostViewFile(const std::string& path, const Model& model,
                       const std::vector<Wwn>& hostWwns, std::string* error) {
  HostViewLock lock(path);
  json previous;
  if (!ReadHostView(path, &previous)) previous = json::object();
  if (!WriteHostView(path, BuildHostView(model, hostWwns, previous))) {
    *error = HostViewProblem();
    return false;
  }
  return true;
}

bool ParseHostWwn(const std::string& text, Wwn* wwn) {
  std::string digits;
  for (char c : text) {
    if (c != ':') digits += c;
  }
  if (digits.size() != 16) return false;
  for (size_t i = 0; i < 8; ++i) {
    unsigned value = 0;
    if (std::sscanf(digits.c_str() + i * 2, "%2x", &value) != 1) return false;
    (*wwn)[i] = static_cast<uint8_t>(value);
  }
  for (char c : digits) {
    if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
  }
  return true;
}

}  // namespace sim
