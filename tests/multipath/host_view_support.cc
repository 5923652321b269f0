#include "tests/multipath/host_view_support.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

using nlohmann::json;

ScopedEnv::ScopedEnv(const char* name, const std::string& value) : m_name(name) {
  const char* old = std::getenv(name);
  m_had = old != nullptr;
  if (m_had) m_old = old;
  setenv(name, value.c_str(), 1);
}

ScopedEnv::~ScopedEnv() {
  if (m_had) {
    setenv(m_name.c_str(), m_old.c_str(), 1);
  } else {
    unsetenv(m_name.c_str());
  }
}

HostViewFile::HostViewFile()
    : m_path(m_dir.File("host-view.json")), m_env("VELA_HOST_VIEW", m_path) {}

void HostViewFile::Write(const json& view) { WriteText(view.dump(2)); }

void HostViewFile::WriteText(const std::string& text) { m_dir.Write("host-view.json", text); }

json HostViewFile::Read() const {
  std::ifstream in(m_path);
  return json::parse(in, nullptr, false);
}

std::vector<json> HostViewFile::Calls() const {
  std::vector<json> calls;
  std::ifstream in(m_path + ".calls");
  std::string line;
  while (std::getline(in, line)) calls.push_back(json::parse(line, nullptr, false));
  return calls;
}

json MpioNamespace(const std::vector<TestDisk>& disks) {
  json descriptors = json::array();
  json drives = json::array();
  json v2 = json::array();
  json v1 = json::array();
  json operations = json::array();
  for (const TestDisk& disk : disks) {
    json pdos = json::array();
    json dsmPaths = json::array();
    json v1Paths = json::array();
    for (const TestPath& path : disk.paths) {
      pdos.push_back({{"PathIdentifier", std::to_string(path.id)},
                      {"ScsiAddress",
                       {{"__CLASS", "ScsiAddress"},
                        {"PortNumber", path.port},
                        {"ScsiPathId", 0},
                        {"TargetId", path.target},
                        {"Lun", 0}}}});
      dsmPaths.push_back({{"__CLASS", "MPIO_DSM_Path_V2"},
                          {"DsmPathId", std::to_string(path.id)},
                          {"Reserved", "0"},
                          {"PathWeight", 0},
                          {"PrimaryPath", path.primary},
                          {"OptimizedPath", path.optimized},
                          {"PreferredPath", 0},
                          {"FailedPath", path.failed},
                          {"TargetPortGroup_State", path.state},
                          {"ALUASupport", 1},
                          {"SymmetricLUA", 0},
                          {"TargetPortGroup_Preferred", 0},
                          {"TargetPortGroup_Identifier", 0},
                          {"TargetPort_Identifier", path.targetPortId},
                          {"Reserved32", 0},
                          {"Reserved64", "0"}});
      v1Paths.push_back({{"__CLASS", "MPIO_DSM_PATH"},
                         {"DsmPathId", std::to_string(path.id)},
                         {"Reserved", "0"},
                         {"PathWeight", 0},
                         {"PrimaryPath", path.primary}});
    }
    descriptors.push_back({{"InstanceName", disk.instance},
                           {"DeviceName", disk.name},
                           {"NumberPdos", disk.paths.size()},
                           {"PdoInformation", pdos}});
    drives.push_back({{"Name", disk.name}, {"SerialNumber", disk.serial}});
    json count = disk.paths.size();
    v2.push_back({{"InstanceName", disk.instance},
                  {"LoadBalancePolicy",
                   {{"__CLASS", "DSM_Load_Balance_Policy_V2"},
                    {"Version", 2},
                    {"LoadBalancePolicy", disk.policy},
                    {"DSMPathCount", count},
                    {"Reserved", 0},
                    {"DSM_Paths", dsmPaths}}}});
    v1.push_back({{"InstanceName", disk.instance},
                  {"LoadBalancePolicy",
                   {{"__CLASS", "DSM_Load_Balance_Policy"},
                    {"Version", 1},
                    {"LoadBalancePolicy", disk.policy},
                    {"DSMPathCount", count},
                    {"Reserved", 0},
                    {"DSM_Paths", v1Paths}}}});
    operations.push_back({{"InstanceName", disk.instance}});
  }
  return {{"MPIO_GET_DESCRIPTOR", descriptors},
          {"MPIO_DISK_INFO", json::array({{{"InstanceName", "MPIO_DISK_INFO_0"},
                                           {"NumberDrives", drives.size()},
                                           {"DriveInfo", drives}}})},
          {"DSM_QueryLBPolicy_V2", v2},
          {"DSM_QueryLBPolicy", v1},
          {"DSM_LB_Operations", operations},
          {"Dsm_QueryUniqueId",
           json::array({{{"InstanceName", "MORDSM_0"}, {"DsmUniqueId", "18446744073709551615"}}})},
          {"MORDSM_WMI_METHODS", json::array({{{"InstanceName", "MORDSM_0"}}})}};
}

json MpioView(const std::vector<TestDisk>& disks) {
  return {{"wmi", {{"ROOT\\WMI", MpioNamespace(disks)}}}};
}
