// The real host's device layer on Linux: SCSI devices from sysfs, commands through SG_IO on
// their nodes (libsgutils2's pass-through layer, which picks the sg or bsg form the node takes
// and reports status, residual and sense in one place), disk labels through libblkid.
#include <blkid/blkid.h>
#include <dirent.h>
#include <fcntl.h>
#include <scsi/sg_pt.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <tuple>

#include "platform/host_view.h"
#include "platform/host_view_devices.h"
#include "platform/scsi_device.h"

namespace {

std::vector<std::string> DirectoryEntries(const std::string& path) {
  std::vector<std::string> names;
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr) return names;
  while (dirent* entry = readdir(dir)) {
    if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

std::string FirstEntry(const std::string& path) {
  std::vector<std::string> names = DirectoryEntries(path);
  return names.empty() ? std::string() : names.front();
}

// A one-line attribute with its blanks trimmed; empty when missing.
std::string ReadAttribute(const std::string& path) {
  std::ifstream in(path);
  std::string line;
  if (!in || !std::getline(in, line)) return std::string();
  const size_t first = line.find_first_not_of(" \t");
  const size_t last = line.find_last_not_of(" \t\r\n");
  return first == std::string::npos ? std::string() : line.substr(first, last - first + 1);
}

bool AddressLess(const SysfsScsiDevice& a, const SysfsScsiDevice& b) {
  return std::tie(a.address.port, a.address.bus, a.address.target, a.address.lun) <
         std::tie(b.address.port, b.address.bus, b.address.target, b.address.lun);
}

class SgDeviceNode : public ScsiDeviceNode {
 public:
  SgDeviceNode(std::string name, int fd) : m_name(std::move(name)), m_fd(fd) {}
  ~SgDeviceNode() override { scsi_pt_close_device(m_fd); }
  SgDeviceNode(const SgDeviceNode&) = delete;
  SgDeviceNode& operator=(const SgDeviceNode&) = delete;

  // The address sysfs gives the node's device number.
  bool GetAddress(ScsiAddress* address) override {
    struct stat st {};
    if (fstat(m_fd, &st) != 0 || !(S_ISBLK(st.st_mode) || S_ISCHR(st.st_mode))) return false;
    char link[64];
    std::snprintf(link, sizeof(link), "/dev/%s/%u:%u/device",
                  S_ISBLK(st.st_mode) ? "block" : "char", major(st.st_rdev), minor(st.st_rdev));
    char target[4096];
    const ssize_t length = readlink((SysfsRoot() + link).c_str(), target, sizeof(target) - 1);
    if (length <= 0) return false;
    target[length] = 0;
    const char* base = std::strrchr(target, '/');
    return ParseScsiAddressText(base == nullptr ? target : base + 1, address);
  }

  bool PassThrough(const ScsiPassThroughRequest& request, ScsiPassThroughResult* result) override {
    return SendOnFd(m_fd, request, result);
  }

  bool GetDiskLayout(DiskLayout* layout) override { return ReadDiskLayoutFile(m_name, layout); }

  static bool SendOnFd(int fd, const ScsiPassThroughRequest& request,
                       ScsiPassThroughResult* result) {
    *result = ScsiPassThroughResult{};
    if (request.cdb == nullptr || request.cdbLength == 0) return false;
    sg_pt_base* pt = construct_scsi_pt_obj();
    if (pt == nullptr) return false;
    set_scsi_pt_cdb(pt, request.cdb, request.cdbLength);
    set_scsi_pt_sense(pt, result->sense, sizeof(result->sense));
    if (request.dataIn && request.buffer != nullptr && request.bufferLength > 0) {
      set_scsi_pt_data_in(pt, request.buffer, static_cast<int>(request.bufferLength));
    }
    const int done = do_scsi_pt(pt, fd, static_cast<int>(request.timeoutSeconds), 0);
    const int category = get_scsi_pt_result_category(pt);
    bool sent = done == SCSI_PT_DO_START_OK && category != SCSI_PT_RESULT_TRANSPORT_ERR &&
                category != SCSI_PT_RESULT_OS_ERR;
    if (sent) {
      result->scsiStatus = static_cast<uint8_t>(get_scsi_pt_status_response(pt));
      const int resid = get_scsi_pt_resid(pt);
      const uint32_t asked = request.dataIn ? request.bufferLength : 0;
      result->transferred =
          resid > 0 && static_cast<uint32_t>(resid) <= asked ? asked - resid : asked;
      const int senseLength = get_scsi_pt_sense_len(pt);
      result->senseLength = static_cast<uint32_t>(
          std::clamp(senseLength, 0, static_cast<int>(sizeof(result->sense))));
    }
    destruct_scsi_pt_obj(pt);
    return sent;
  }

 private:
  std::string m_name;
  int m_fd;
};

// An adapter: its pass-through reaches the logical unit at the request's address through that
// unit's own node, opened for the one command.
class SgAdapterNode : public ScsiDeviceNode {
 public:
  explicit SgAdapterNode(uint32_t port) : m_port(port) {}

  bool GetAddress(ScsiAddress*) override { return false; }
  bool GetDiskLayout(DiskLayout*) override { return false; }

  bool PassThrough(const ScsiPassThroughRequest& request, ScsiPassThroughResult* result) override {
    for (const SysfsScsiDevice& device : ReadSysfsScsiDevices(SysfsRoot())) {
      const ScsiAddress& a = device.address;
      if (a.port != m_port || a.bus != request.address.bus || a.target != request.address.target ||
          a.lun != request.address.lun) {
        continue;
      }
      const std::string& node = device.generic.empty() ? device.block : device.generic;
      if (node.empty()) return false;
      int fd = scsi_pt_open_device(("/dev/" + node).c_str(), false, 0);
      if (fd < 0) fd = scsi_pt_open_device(("/dev/" + node).c_str(), true, 0);
      if (fd < 0) return false;
      const bool sent = SgDeviceNode::SendOnFd(fd, request, result);
      scsi_pt_close_device(fd);
      return sent;
    }
    return false;
  }

 private:
  uint32_t m_port;
};

std::unique_ptr<ScsiDeviceNode> OpenLinuxNode(const std::string& name) {
  uint32_t port = 0;
  if (ParseAdapterNodeName(name, &port)) {
    struct stat st {};
    const std::string host = SysfsRoot() + "/class/scsi_host/host" + std::to_string(port);
    if (stat(host.c_str(), &st) != 0) return nullptr;
    return std::make_unique<SgAdapterNode>(port);
  }
  // Read and write where allowed; INQUIRY also passes on a read-only node.
  int fd = scsi_pt_open_device(name.c_str(), false, 0);
  if (fd < 0) fd = scsi_pt_open_device(name.c_str(), true, 0);
  if (fd < 0) return nullptr;
  return std::make_unique<SgDeviceNode>(name, fd);
}

}  // namespace

std::string SysfsRoot() {
  const char* root = std::getenv("VELA_SYSFS_ROOT");
  return root != nullptr && root[0] != 0 ? std::string(root) : std::string("/sys");
}

bool ParseScsiAddressText(const std::string& text, ScsiAddress* address) {
  uint32_t parts[4] = {};
  size_t at = 0;
  for (int i = 0; i < 4; ++i) {
    if (at >= text.size() || text[at] < '0' || text[at] > '9') return false;
    uint64_t value = 0;
    while (at < text.size() && text[at] >= '0' && text[at] <= '9') {
      value = value * 10 + static_cast<uint64_t>(text[at++] - '0');
      if (value > UINT32_MAX) return false;
    }
    parts[i] = static_cast<uint32_t>(value);
    if (i < 3 && (at >= text.size() || text[at++] != ':')) return false;
  }
  if (at != text.size()) return false;
  *address = {parts[0], parts[1], parts[2], parts[3]};
  return true;
}

std::vector<SysfsScsiDevice> ReadSysfsScsiDevices(const std::string& root) {
  std::vector<SysfsScsiDevice> devices;
  const std::string base = root + "/class/scsi_device/";
  for (const std::string& entry : DirectoryEntries(base)) {
    SysfsScsiDevice device;
    if (!ParseScsiAddressText(entry, &device.address)) continue;
    const std::string dir = base + entry + "/device/";
    device.block = FirstEntry(dir + "block");
    device.generic = FirstEntry(dir + "scsi_generic");
    for (const char* attribute : {"vendor", "model", "rev"}) {
      const std::string word = ReadAttribute(dir + attribute);
      if (word.empty()) continue;
      if (!device.inquiryName.empty()) device.inquiryName += ' ';
      device.inquiryName += word;
    }
    devices.push_back(std::move(device));
  }
  std::sort(devices.begin(), devices.end(), AddressLess);
  return devices;
}

bool ReadDiskLayoutFile(const std::string& path, DiskLayout* layout) {
  blkid_probe probe = blkid_new_probe_from_filename(path.c_str());
  if (probe == nullptr) return false;
  blkid_probe_enable_superblocks(probe, 0);
  blkid_probe_enable_partitions(probe, 1);
  bool found = false;
  const char* type = nullptr;
  if (blkid_do_fullprobe(probe) == 0 &&
      blkid_probe_lookup_value(probe, "PTTYPE", &type, nullptr) == 0 && type != nullptr) {
    const char* id = nullptr;
    if (blkid_probe_lookup_value(probe, "PTUUID", &id, nullptr) != 0) id = nullptr;
    if (std::strcmp(type, "dos") == 0) {
      DiskLayout mbr;
      mbr.signature = id == nullptr ? 0 : static_cast<uint32_t>(std::strtoul(id, nullptr, 16));
      *layout = mbr;
      found = true;
    } else if (std::strcmp(type, "gpt") == 0 && id != nullptr) {
      DiskLayout gpt;
      gpt.gpt = true;
      found = GuidFromString(id, &gpt.diskId);
      if (found) *layout = gpt;
    }
  }
  blkid_free_probe(probe);
  return found;
}

std::unique_ptr<ScsiDeviceNode> OpenScsiDeviceNode(const std::string& name) {
  const std::string view = HostViewPath();
  if (!view.empty()) return OpenHostViewDeviceNode(view, name);
  return OpenLinuxNode(name);
}

std::vector<ScsiDeviceName> ListScsiDeviceNames() {
  const std::string view = HostViewPath();
  if (!view.empty()) return ListHostViewDeviceNames(view);
  std::vector<ScsiDeviceName> names;
  for (const SysfsScsiDevice& device : ReadSysfsScsiDevices(SysfsRoot())) {
    if (!device.block.empty()) names.push_back({device.block, "/dev/" + device.block});
  }
  return names;
}

std::vector<uint32_t> ListScsiAdapters() {
  const std::string view = HostViewPath();
  if (!view.empty()) return ListHostViewAdapters(view);
  std::vector<uint32_t> ports;
  for (const std::string& entry : DirectoryEntries(SysfsRoot() + "/class/scsi_host")) {
    if (entry.rfind("host", 0) != 0 || entry.size() == 4) continue;
    char* end = nullptr;
    const unsigned long port = std::strtoul(entry.c_str() + 4, &end, 10);
    if (*end == 0 && port <= UINT32_MAX) ports.push_back(static_cast<uint32_t>(port));
  }
  std::sort(ports.begin(), ports.end());
  return ports;
}

bool ListScsiAdapterUnits(uint32_t port, std::vector<ScsiUnit>* units) {
  const std::string view = HostViewPath();
  if (!view.empty()) return ListHostViewAdapterUnits(view, port, units);
  units->clear();
  struct stat st {};
  const std::string host = SysfsRoot() + "/class/scsi_host/host" + std::to_string(port);
  if (stat(host.c_str(), &st) != 0) return false;
  for (const SysfsScsiDevice& device : ReadSysfsScsiDevices(SysfsRoot())) {
    if (device.address.port == port) units->push_back({device.address, device.inquiryName});
  }
  return true;
}
