// A host disk's identity read from the disk itself, the way the storage service reads it before
// asking a hardware provider whether the disk is one of its LUNs: standard INQUIRY data, the
// serial of page 0x80 and the designators of page 0x83, made into a VDS_LUN_INFORMATION.
#ifndef VELA_TOOLS_VDSCTL_DISK_IDENTITY_H_
#define VELA_TOOLS_VDSCTL_DISK_IDENTITY_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/scsi_device.h"
#include "platform/vds.h"

namespace vdsctl {

struct Designator {
  uint8_t codeSet = 0;  // low nibble of byte 0
  uint8_t type = 0;     // low nibble of byte 1
  uint8_t association = 0;
  std::vector<uint8_t> data;
};

struct DiskIdentity {
  std::string path;
  std::optional<ScsiAddress> address;
  std::string vendor;    // bytes 8 to 15 of the standard data, trailing blanks kept
  std::string product;   // bytes 16 to 31
  std::string revision;  // bytes 32 to 35
  std::string serial;    // page 0x80, blanks trimmed
  std::vector<Designator> designators;
  std::optional<DiskLayout> layout;
};

// The designators of a page 0x83; a designator that runs past the page's length or the bytes at
// hand ends the walk.
std::vector<Designator> ParseDesignators(const uint8_t* page, size_t length);

// The fields of standard INQUIRY data and page 0x80 as far as `length` goes.
void ParseStandardInquiry(const uint8_t* data, size_t length, DiskIdentity* identity);
std::string ParseUnitSerial(const uint8_t* page, size_t length);

// Opens the device and reads it. False with *problem when it can't be opened or fails the
// standard INQUIRY.
bool ReadDiskIdentity(const std::string& path, DiskIdentity* identity, std::string* problem);

// The information the storage service gives QueryIfCreatedLun. Owns its storage.
class LunInformation {
 public:
  explicit LunInformation(const DiskIdentity& identity);
  ~LunInformation();
  LunInformation(const LunInformation&) = delete;
  LunInformation& operator=(const LunInformation&) = delete;

  VDS_LUN_INFORMATION* Get() { return &m_info; }

 private:
  VDS_LUN_INFORMATION m_info{};
  std::string m_vendor, m_product, m_revision, m_serial;
  std::vector<VDS_STORAGE_IDENTIFIER> m_ids;
  std::vector<std::vector<uint8_t>> m_data;
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_DISK_IDENTITY_H_
