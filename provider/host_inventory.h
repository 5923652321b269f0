// The host's multipath inventory, read through a WMI-shaped source: a connection, then one
// fill per inventory step. The multipath layer supplies the source and the records; the
// provider keeps the order of the steps and what a failure skips (CProvider::initWmi).
#ifndef VELA_PROVIDER_HOST_INVENTORY_H_
#define VELA_PROVIDER_HOST_INVENTORY_H_

#include <vector>

#include "multipath/hba_ports.h"
#include "multipath/mpio_records.h"

class HostInventory;

// The inventory steps, in the order initWmi runs them.
enum class InventoryStep {
  kDevicePerf,          // WmiGetDevicePerf, before Windows Server 2008
  kMpioDescriptor,      // WmiGetMpioDescriptor
  kMpioDiskInfo,        // WmiGetMpioDiskInfo
  kMpioDsmPathV2,       // WmiGetMpioDsmPathV2
  kDsmInfo,             // WmiGetDSMInfo
  kHbaPortProp,         // GetHbaPortProp
  kLBPolicy,            // QueryLBPolicy
};

class HostInventorySource {
 public:
  virtual ~HostInventorySource() = default;
  // VdsWmi: true when both WMI pointers came.
  virtual bool Connect() = 0;
  virtual void Disconnect() = 0;
  // Clears the step's vector in `inventory` and fills it; false on failure. (The proxy's HBA
  // ports, which initWmi adds to HBA_vec after kHbaPortProp, come from the proxy, not from here.)
  virtual bool Fill(InventoryStep step, HostInventory* inventory) = 0;
};

// The source initWmi reads; WmiInventorySource() by default. Null is a host without WMI, where
// the connection fails and so does every step. Not owned.
void SetHostInventorySource(HostInventorySource* source);
HostInventorySource* GetHostInventorySource();

// The source over the host's WMI namespace and HBA API (multipath/); initWmi's default.
HostInventorySource* WmiInventorySource();

// The vectors of the inventory, filled by the source. The records are the multipath layer's.
// Guarded by the refresh lock (initWmi and the path operations run under it).
class HostInventory {
 public:
  HostInventory() = default;
  HostInventory(const HostInventory&) = delete;
  HostInventory& operator=(const HostInventory&) = delete;

  std::vector<DsmInfo> DsmVec;
  std::vector<DevPerfEntry> DevPerfVec;
  std::vector<HbaPortEntry> HBA_vec;
  std::vector<DsmLoadPolicy> DsmLoadPolicyVec;
  std::vector<MpioDescriptor> mpioVec;
  std::vector<MpioDiskInfo> mpioDiskInfoVec;
  std::vector<MpioDsmPathV2List> mpioDsmPathV2Vec;
  // The proxy's connected HBA ports as the last get_connect_Hba_info_list brought them.
  std::vector<ConnectedHba> ConnectedHbaList;
};

#endif  // VELA_PROVIDER_HOST_INVENTORY_H_
