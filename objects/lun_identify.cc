// CLun::GetIdentificationData: the VDS_LUN_INFORMATION by which VDS recognises the disk this
// LUN appears as on the host, with what the host's own device scan adds (the product id the
// disk reports and its signature).
#include <cstring>
#include <vector>

#include "diag/debug_log.h"
#include "identify/lun_information.h"
#include "identify/scsi_scan.h"
#include "objects/controller.h"
#include "objects/lun.h"
#include "objects/subsystem.h"
#include "provider/provider.h"

namespace {

constexpr size_t kPage83SasOffset = 0x44;

// The first device whose page 0x80 serial is this LUN's serial text, or null.
const ScsiDeviceInfo* FindDevice(const std::vector<ScsiDeviceInfo>& devices,
                                 const char* serialText) {
  for (const ScsiDeviceInfo& device : devices) {
    if (serialText != nullptr && DeviceSerial(device) == serialText) return &device;
  }
  return nullptr;
}

}  // namespace

HRESULT CLun::GetIdentificationData(VDS_LUN_INFORMATION* pLunInfo) {
  DebugPrintf("CLun::GetIdentificationData (lun %S)\n", m_prop.pwszFriendlyName);
  if (pLunInfo == nullptr) {
    DebugPrintf("OOP!! CLun::GetIdentificationData pLunInfo == NULL, return E_INVALIDARG\n");
    return E_INVALIDARG;
  }
  // The graph lock first, as the path methods take both in that order.
  MutexGuard graph(hNotificationMutex, "CLun::GetIdentificationData");
  MutexGuard refresh(hRefreshMutex, "CLun::GetIdentificationData");

  const char* vendor = m_pController != nullptr ? m_pController->VendorName() : nullptr;
  const char* product = m_pController != nullptr ? m_pController->ProductId() : nullptr;
  const char* revision = m_pController != nullptr ? m_pController->FirmwareRevision() : nullptr;
  const uint8_t hostPortType = m_pSubSystem != nullptr ? m_pSubSystem->HostPortType() : 0;

  std::vector<ScsiDeviceInfo> devices;
  ScanScsiDevices(&devices);
  const ScsiDeviceInfo* device = FindDevice(devices, LunSerialText(m_PartitionSn).c_str());
  if (device == nullptr) DebugPrintf("lun not mapped, can not get product id from p80\n");

  char deviceProduct[17] = {};
  if (device != nullptr) {
    std::memcpy(deviceProduct, device->inquiry + 16, 16);
    product = deviceProduct;
  }

  // Fields A and B of the controllers by index; others are not used.
  ControllerIdentity byIndex[2];
  if (m_pSubSystem != nullptr) {
    for (const auto& [id, entry] : m_pSubSystem->Controllers()) {
      auto* controller = static_cast<CController*>(entry.pObject);
      if (controller == nullptr || controller->ControllerId() > 1) continue;
      ControllerIdentity& fields = byIndex[controller->ControllerId()];
      std::memcpy(fields.macAddress, controller->MacAddress(), sizeof(fields.macAddress));
      std::memcpy(fields.ipAddress, controller->IpAddress(), sizeof(fields.ipAddress));
    }
  }
  uint8_t serialPrefix[6] = {};
  if (m_pController != nullptr) std::memcpy(serialPrefix, m_pController->UniqueSn(), 6);
  const ControllerIdentity& first = m_Owner == 1 ? byIndex[1] : byIndex[0];
  const ControllerIdentity& second = m_Owner == 1 ? byIndex[0] : byIndex[1];
  uint8_t block[kSasControllerBlockLength] = {};
  BuildControllerBlock(serialPrefix, first, second, block);
  size_t blockLength = kControllerBlockLength;
  if (hostPortType == kHostPortSas && device != nullptr) {
    DebugPrintf("lun is mapped, direct get it's page83.\n");
    std::memcpy(block + kControllerBlockLength, device->page83 + kPage83SasOffset,
                kSasControllerBlockLength - kControllerBlockLength);
    blockLength = kSasControllerBlockLength;
  }

  FillLunInformation(m_PartitionSn, m_Owner, BusTypeOfHostPort(hostPortType), vendor, product,
                     revision, block, blockLength, pLunInfo);
  if (device != nullptr) {
    if (device->partitionStyle == 0) {
      pLunInfo->m_diskSignature = device->diskId;
    } else {
      std::memcpy(&pLunInfo->m_diskSignature, &device->signature, sizeof(device->signature));
    }
  }
  DumpLunInformation(*pLunInfo);
  DebugPrintf("GetIdentificationData out\n");
  return S_OK;
}
