// CController: one controller of a subsystem. Its Initialize is the heart of enumeration: it
// reads the controller's record and turns drives, vdisks, volumes and host ports into objects,
// making one object of a drive that both controllers report.
#ifndef VELA_OBJECTS_CONTROLLER_H_
#define VELA_OBJECTS_CONTROLLER_H_

#include <cstdint>

#include "platform/com.h"
#include "platform/vds.h"
#include "provider/vds_base.h"
#include "proxy/records.h"

class CProvider;
class CSubSystem;

class CController : public ComObject<IVdsController, IVdsControllerControllerPort, IVdsMaintenance>,
                    public CVdsBase {
 public:
  CController();

  // Builds the controller and its drives, LUNs, vdisk pools and ports from `pControllerData`,
  // which the caller owns. The caller holds hNotificationMutex.
  HRESULT Initialize(const VDS_OBJECT_ID* pControllerId, CProvider* pProvider,
                     CSubSystem* pSubSystem, DWORD handle, const controllerData* pControllerData);
  void Dispose() override;

  // IVdsController
  HRESULT GetProperties(VDS_CONTROLLER_PROP* pControllerProp) override;
  HRESULT GetSubSystem(IVdsSubSystem** ppSubSystem) override;
  HRESULT GetPortProperties(SHORT sPortNumber, VDS_PORT_PROP* pPortProp) override;
  HRESULT FlushCache() override;
  HRESULT InvalidateCache() override;
  HRESULT Reset() override;
  HRESULT QueryAssociatedLuns(IEnumVdsObject** ppEnum) override;
  HRESULT SetStatus(VDS_CONTROLLER_STATUS status) override;
  // IVdsControllerControllerPort
  HRESULT QueryControllerPorts(IEnumVdsObject** ppEnum) override;
  // IVdsMaintenance
  HRESULT StartMaintenance(VDS_MAINTENANCE_OPERATION operation) override;
  HRESULT StopMaintenance(VDS_MAINTENANCE_OPERATION operation) override;
  HRESULT PulseMaintenance(VDS_MAINTENANCE_OPERATION operation, ULONG ulCount) override;

  // For the tree, under hNotificationMutex.
  // 1 for controller A, 0 for B, 2 both, 3 unknown (list order puts A first).
  uint8_t ControllerId() const { return m_controllerId; }
  DWORD Handle() const { return m_handle; }
  uint32_t DriveOverheadPercent() const { return m_driveOverheadPercent; }
  uint32_t NumPorts() const { return m_numPorts; }
  const uint8_t* IpAddress() const { return m_ipAddress; }
  const uint8_t* MacAddress() const { return m_macAddress; }
  // Bounded texts: 9, 17, 20 and 32 bytes, not always NUL-terminated.
  const char* VendorName() const { return m_vendorName; }
  const char* ProductId() const { return m_productId; }
  const char* FirmwareRevision() const { return m_firmwareRevision; }
  const char* UniqueSn() const { return m_UniqueSn; }
  const VdsObjectMap& Ports() const { return m_mapPorts; }
  const VDS_CONTROLLER_PROP& Prop() const { return m_prop; }

 protected:
  ~CController() override;

 private:
  void AddDrives(const controllerData& data);
  void AddLuns(const controllerData& data);
  void AddLun(const array& vdisk, const partition* part);
  void AddVdiskPool(const array& vdisk);
  void AddPorts(const controllerData& data);
  HRESULT ForEachArray(const char* method, int (*command)(uint32_t, const void*));
  void DumpMySelf() const;

  // All guarded by hNotificationMutex.
  ProviderRef m_pProvider;
  CSubSystem* m_pSubSystem = nullptr;  // one reference
  VdsObjectMap m_mapPorts;             // one reference per entry
  VDS_CONTROLLER_PROP m_prop{};
  uint8_t m_controllerId = kControllerIdUnknown;
  DWORD m_handle = 0;
  uint8_t m_macAddress[6] = {};
  uint8_t m_ipAddress[4] = {};
  char m_vendorName[9] = {};
  char m_productId[17] = {};
  char m_firmwareRevision[20] = {};
  uint32_t m_driveOverheadPercent = 0;
  char m_UniqueSn[32] = {};
  uint32_t m_numPorts = 0;
  uint32_t initialized = 0;
};

// "A", "B", "BOTH" or "UNKNOWN".
const char* ControllerIdText(uint8_t controllerId);

#endif  // VELA_OBJECTS_CONTROLLER_H_
