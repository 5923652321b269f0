// CControllerPort: one host port of a controller. Read-only apart from its LUN links.
#ifndef VELA_OBJECTS_PORT_H_
#define VELA_OBJECTS_PORT_H_

#include <cstdint>
#include <string>

#include "platform/com.h"
#include "platform/vds.h"
#include "provider/vds_base.h"
#include "proxy/records.h"

class CProvider;
class CSubSystem;
class CController;

class CControllerPort : public ComObject<IVdsControllerPort>, public CVdsBase {
 public:
  CControllerPort();

  // Builds the port from entry `channel` of the record's ports. Takes hNotificationMutex.
  HRESULT Initialize(const VDS_OBJECT_ID* id, CProvider* pProvider, CSubSystem* pSubSystem,
                     CController* pController, const controllerData* pControllerData,
                     uint32_t channel);
  void Dispose() override;

  // IVdsControllerPort
  HRESULT GetProperties(VDS_PORT_PROP* pPortProp) override;
  HRESULT GetController(IVdsController** ppController) override;
  HRESULT QueryAssociatedLuns(IEnumVdsObject** ppEnum) override;
  HRESULT Reset() override;
  HRESULT SetStatus(VDS_PORT_STATUS status) override;

  uint8_t PortNumber() const { return m_portNumber; }
  uint8_t ControllerId() const { return m_controllerId; }
  const uint8_t* PortWWN() const { return m_portWWN; }
  CController* Controller() const { return m_pController; }
  const VDS_PORT_PROP& Prop() const { return m_prop; }

 protected:
  ~CControllerPort() override;

 private:
  // All guarded by hNotificationMutex.
  ProviderRef m_pProvider;
  CSubSystem* m_pSubSystem = nullptr;    // one reference
  CController* m_pController = nullptr;  // one reference
  VDS_PORT_PROP m_prop{};
  uint8_t m_portNumber = 0;
  uint8_t m_controllerId = 0;
  uint8_t m_portWWN[8] = {};
  uint32_t initialized = 0;
};

// The port's name: its SAS id or WWPN as 16 hex digits by the subsystem's host port type, or
// for an iSCSI port with no such id its MAC as 12; empty otherwise. Also the port's registry
// name.
std::u16string MakePortName(uint8_t subsystemHostPortType, const port& record);

#endif  // VELA_OBJECTS_PORT_H_
