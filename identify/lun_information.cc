#include "identify/lun_information.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "diag/debug_log.h"
#include "identify/disk_sn.h"
#include "identify/scsi_scan.h"
#include "platform/com.h"
#include "platform/strings.h"

namespace {

constexpr uint8_t kHostPortSas = 8;
constexpr size_t kIdentifierCount = 4;

char* TaskString(const char* text, size_t width) {
  const size_t length = text == nullptr ? 0 : strnlen(text, width);
  auto* copy = static_cast<char*>(CoTaskMemAlloc(length + 1));
  if (copy == nullptr) return nullptr;
  if (length > 0) std::memcpy(copy, text, length);
  copy[length] = 0;
  return copy;
}

void SetIdentifier(VDS_STORAGE_IDENTIFIER* id, VDS_STORAGE_IDENTIFIER_TYPE type,
                   const uint8_t* data, size_t length) {
  id->m_CodeSet = VDSStorageIdCodeSetBinary;
  id->m_Type = type;
  id->m_rgbIdentifier = static_cast<BYTE*>(CoTaskMemAlloc(length));
  id->m_cbIdentifier = id->m_rgbIdentifier == nullptr ? 0 : static_cast<ULONG>(length);
  if (id->m_rgbIdentifier != nullptr) std::memcpy(id->m_rgbIdentifier, data, length);
}

const char* Shown(const char* text) { return text == nullptr ? "(null)" : text; }

}  // namespace

void BuildControllerBlock(const uint8_t serialPrefix[6], const ControllerIdentity& first,
                          const ControllerIdentity& second, uint8_t block[32]) {
  std::memset(block, 0, kControllerBlockLength);
  block[0] = 0x11;
  std::memcpy(block + 1, serialPrefix, 6);
  std::memcpy(block + 9, first.macAddress + 1, 5);
  std::memcpy(block + 16, first.ipAddress, 4);
  std::memcpy(block + 21, second.macAddress + 1, 5);
  std::memcpy(block + 28, second.ipAddress, 4);
}

std::string LunSerialText(const uint8_t partitionSn[32]) {
  char text[33] = {};
  for (int i = 0; i < 16; ++i) std::snprintf(text + i * 2, 3, "%02x", partitionSn[i]);
  return text;
}

VDS_STORAGE_BUS_TYPE BusTypeOfHostPort(uint8_t hostPortType) {
  if (hostPortType == kHostPortSas) return VDSBusTypeSas;
  if (hostPortType >= 4 && hostPortType <= 6) return VDSBusTypeFibre;
  return VDSBusTypeUnknown;
}

void FillLunInformation(const uint8_t partitionSn[32], uint8_t owner, VDS_STORAGE_BUS_TYPE busType,
                        const char* vendor, const char* product, const char* revision,
                        const uint8_t* block, size_t blockLength, VDS_LUN_INFORMATION* info) {
  std::memset(info, 0, sizeof(*info));
  info->m_version = VER_VDS_LUN_INFORMATION;
  info->m_bCommandQueueing = TRUE;
  info->m_BusType = busType;
  info->m_szVendorId = TaskString(vendor, 9);
  info->m_szProductId = TaskString(product, 17);
  info->m_szProductRevision = TaskString(revision, 4);
  info->m_szSerialNumber = TaskString(LunSerialText(partitionSn).c_str(), 32);
  info->m_deviceIdDescriptor.m_version = 0;
  auto* ids = static_cast<VDS_STORAGE_IDENTIFIER*>(
      CoTaskMemAlloc(kIdentifierCount * sizeof(VDS_STORAGE_IDENTIFIER)));
  if (ids == nullptr) return;
  std::memset(ids, 0, kIdentifierCount * sizeof(VDS_STORAGE_IDENTIFIER));
  info->m_deviceIdDescriptor.m_cIdentifiers = kIdentifierCount;
  info->m_deviceIdDescriptor.m_rgIdentifiers = ids;
  uint8_t naa[16];
  NaaFromPartitionSn(partitionSn, naa);
  SetIdentifier(&ids[0], VDSStorageIdTypeFCPHName, naa, sizeof(naa));
  const uint8_t relative[4] = {0, 0, 0, static_cast<uint8_t>(owner == 1 ? 1 : 2)};
  SetIdentifier(&ids[1], VDSStorageIdTypePortRelative, relative, sizeof(relative));
  SetIdentifier(&ids[2], VDSStorageIdTypeVendorSpecific, block, blockLength);
  const uint8_t group[4] = {};
  SetIdentifier(&ids[3], VDSStorageIdTypeTargetPortGroup, group, sizeof(group));
}

void FreeLunInformation(VDS_LUN_INFORMATION* info) {
  CoTaskMemFree(info->m_szVendorId);
  CoTaskMemFree(info->m_szProductId);
  CoTaskMemFree(info->m_szProductRevision);
  CoTaskMemFree(info->m_szSerialNumber);
  VDS_STORAGE_IDENTIFIER* ids = info->m_deviceIdDescriptor.m_rgIdentifiers;
  for (ULONG i = 0; ids != nullptr && i < info->m_deviceIdDescriptor.m_cIdentifiers; ++i) {
    CoTaskMemFree(ids[i].m_rgbIdentifier);
  }
  CoTaskMemFree(ids);
  for (ULONG i = 0; info->m_rgInterconnects != nullptr && i < info->m_cInterconnects; ++i) {
    CoTaskMemFree(info->m_rgInterconnects[i].m_pbPort);
    CoTaskMemFree(info->m_rgInterconnects[i].m_pbAddress);
  }
  CoTaskMemFree(info->m_rgInterconnects);
  std::memset(info, 0, sizeof(*info));
}

HRESULT FindCreatedLunKey(LPCWSTR devicePath, const VDS_LUN_INFORMATION& info, const BYTE** naa) {
  const char* revision = info.m_szProductRevision;
  if (revision == nullptr || revision[0] == 0 || std::strchr("JKMNT", revision[0]) == nullptr) {
    DebugPrintf("CProvider::QueryIfCreatedLun() product revision %s is not ours\n",
                Shown(revision));
    return S_FALSE;
  }
  if (info.m_szVendorId == nullptr || info.m_szProductId == nullptr ||
      info.m_szSerialNumber == nullptr) {
    DebugPrintf("CProvider::QueryIfCreatedLun() vendor, product or serial is NULL\n");
    return S_FALSE;
  }
  const std::string path = devicePath == nullptr ? std::string() : Utf16ToUtf8(devicePath);
  static const char kIde[] = "\\\\?\\ide";
  if (path.size() >= 7) {
    bool ide = true;
    for (size_t i = 0; i < 7 && ide; ++i) {
      ide = std::tolower(static_cast<unsigned char>(path[i])) == kIde[i];
    }
    if (ide) {
      DebugPrintf("CProvider::QueryIfCreatedLun() skipping IDE device\n");
      return S_FALSE;
    }
  }
  // Vendor and product as the 24-character identification, for the log only.
  char identification[25];
  std::snprintf(identification, sizeof(identification), "%-8.8s%-16.16s", info.m_szVendorId,
                info.m_szProductId);
  DebugPrintf("CProvider::QueryIfCreatedLun() identification \"%s\"\n", identification);
  const VDS_STORAGE_DEVICE_ID_DESCRIPTOR& descriptor = info.m_deviceIdDescriptor;
  const VDS_STORAGE_IDENTIFIER* found = nullptr;
  for (ULONG i = 0; descriptor.m_rgIdentifiers != nullptr && i < descriptor.m_cIdentifiers; ++i) {
    const VDS_STORAGE_IDENTIFIER& id = descriptor.m_rgIdentifiers[i];
    if (id.m_CodeSet == VDSStorageIdCodeSetBinary && id.m_Type == VDSStorageIdTypeFCPHName &&
        id.m_cbIdentifier == 16) {
      found = &id;
      break;
    }
  }
  if (found != nullptr && found->m_rgbIdentifier != nullptr) {
    HexDump("Lun Sn", found->m_rgbIdentifier, 16);
  }
  if (found == nullptr || found->m_rgbIdentifier == nullptr) {
    DebugPrintf("LunSN is NULL, must exit!\n");
    return S_FALSE;
  }
  *naa = found->m_rgbIdentifier;
  return S_OK;
}

bool NaaMatchesPartitionSn(const BYTE naa[16], const uint8_t partitionSn[32]) {
  return std::memcmp(naa + 8, partitionSn + 8, 8) == 0;
}

void DumpLunInformation(const VDS_LUN_INFORMATION& info) {
  DebugPrintf("m_version %d\n", static_cast<int>(info.m_version));
  DebugPrintf("m_DeviceType %d\n", info.m_DeviceType);
  DebugPrintf("m_DeviceTypeModifier %d\n", info.m_DeviceTypeModifier);
  DebugPrintf("m_bCommandQueueing %d\n", static_cast<int>(info.m_bCommandQueueing));
  DebugPrintf("m_BusType %d\n", static_cast<int>(info.m_BusType));
  DebugPrintf("m_szVendorId \"%s\"\n", Shown(info.m_szVendorId));
  DebugPrintf("m_szProductId \"%s\"\n", Shown(info.m_szProductId));
  DebugPrintf("m_szProductRevision \"%s\"\n", Shown(info.m_szProductRevision));
  DebugPrintf("m_szSerialNumber \"%s\"\n", Shown(info.m_szSerialNumber));
  DebugPrintf("m_diskSignature %s\n", GuidToString(info.m_diskSignature).c_str());
  const VDS_STORAGE_DEVICE_ID_DESCRIPTOR& descriptor = info.m_deviceIdDescriptor;
  DebugPrintf("m_deviceIdDescriptor.m_version %d\n", static_cast<int>(descriptor.m_version));
  DebugPrintf("m_deviceIdDescriptor.m_cIdentifiers %d\n",
              static_cast<int>(descriptor.m_cIdentifiers));
  for (ULONG i = 0; descriptor.m_rgIdentifiers != nullptr && i < descriptor.m_cIdentifiers; ++i) {
    const VDS_STORAGE_IDENTIFIER& id = descriptor.m_rgIdentifiers[i];
    DebugPrintf("m_rgIdentifiers[%d].m_CodeSet %d\n", static_cast<int>(i),
                static_cast<int>(id.m_CodeSet));
    DebugPrintf("m_rgIdentifiers[%d].m_Type %d\n", static_cast<int>(i),
                static_cast<int>(id.m_Type));
    DebugPrintf("m_rgIdentifiers[%d].m_cbIdentifier %d\n", static_cast<int>(i),
                static_cast<int>(id.m_cbIdentifier));
    std::string hex;
    char digits[3];
    for (ULONG b = 0; id.m_rgbIdentifier != nullptr && b < id.m_cbIdentifier && b < 64; ++b) {
      std::snprintf(digits, sizeof(digits), "%02X", id.m_rgbIdentifier[b]);
      hex += digits;
    }
    DebugPrintf("m_rgIdentifiers[%d].m_rgbIdentifier %s\n", static_cast<int>(i), hex.c_str());
  }
}
