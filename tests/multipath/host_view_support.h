// Host views for the multipath tests: a scratch view file named by VELA_HOST_VIEW for the
// test's length, and builders of the MPIO and DSM instances a multipath host shows.
#ifndef VELA_TESTS_MULTIPATH_HOST_VIEW_SUPPORT_H_
#define VELA_TESTS_MULTIPATH_HOST_VIEW_SUPPORT_H_

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/platform/temp_dir.h"

// Sets an environment variable for its scope and puts the old value back.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const std::string& value);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string m_name;
  bool m_had;
  std::string m_old;
};

// A view file in a scratch folder, named by VELA_HOST_VIEW while this lives.
class HostViewFile {
 public:
  HostViewFile();
  // Writes the view (a JSON value, or raw text for the bad-input cases).
  void Write(const nlohmann::json& view);
  void WriteText(const std::string& text);
  nlohmann::json Read() const;
  // The journal's lines, parsed.
  std::vector<nlohmann::json> Calls() const;
  const std::string& Path() const { return m_path; }

 private:
  TempDir m_dir;
  std::string m_path;
  ScopedEnv m_env;
};

struct TestPath {
  uint64_t id;
  uint32_t port;    // SCSI port number
  uint32_t target;  // SCSI target id
  uint32_t state;   // TargetPortGroup_State
  uint32_t primary;
  uint32_t optimized;
  uint32_t failed;
  uint32_t targetPortId;  // TargetPort_Identifier
};

struct TestDisk {
  std::string instance;  // MPIO instance name
  std::string name;      // "MPIO Disk3"
  std::string serial;
  uint32_t policy;
  std::vector<TestPath> paths;
};

// The ROOT\WMI classes of a multipath host with these disks and one DSM.
nlohmann::json MpioNamespace(const std::vector<TestDisk>& disks);
// A whole view of that namespace (and no HBAs).
nlohmann::json MpioView(const std::vector<TestDisk>& disks);

#endif  // VELA_TESTS_MULTIPATH_HOST_VIEW_SUPPORT_H_
