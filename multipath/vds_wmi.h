// The WMI inventory readers. Each fills its vector from one class of ROOT\WMI through the
// module's connection (pLocG, pSvcG), which CProvider::initWmi opens and closes around them;
// QueryLBPolicy and the setters open connections of their own. 0 is success.
//
// The caller holds the refresh lock; it is what guards pLocG and pSvcG.
#ifndef VELA_MULTIPATH_VDS_WMI_H_
#define VELA_MULTIPATH_VDS_WMI_H_

#include <vector>

#include "multipath/mpio_records.h"
#include "platform/com.h"
#include "platform/wbem.h"

extern IWbemLocator* pLocG;
extern IWbemServices* pSvcG;

// A connection of the caller's own to ROOT\WMI: locator, ConnectServer and proxy blanket,
// each failure logged. `blanketFormat` is the line for a failed blanket.
HRESULT ConnectWmi(ComPtr<IWbemLocator>* locator, ComPtr<IWbemServices>* services,
                   const char* blanketFormat);

class VdsWmi {
 public:
  // One attempt at the module's connection; true when both pointers came. A failure leaves
  // them as they are for Disconnect.
  static bool Connect();
  // Releases and clears both pointers.
  static void Disconnect();

  static int WmiGetMpioDescriptor(std::vector<MpioDescriptor>& mpioVec);
  // Fills serials and device numbers, then pairs them with descriptors' instance names.
  static int WmiGetMpioDiskInfo(std::vector<MpioDiskInfo>& mpioDiskInfoVec);
  static int WmiGetMpioDsmPathV2(std::vector<MpioDsmPathV2List>& mpioDsmPathV2Vec);
  static int WmiGetDSMInfo(std::vector<DsmInfo>& DsmVec);
  static int WmiGetDevicePerf(std::vector<DevPerfEntry>& DevPerfVec);
  static int QueryLBPolicy(std::vector<DsmLoadPolicy>& DsmLoadPolicyVec);

  // Sets instanceName of the first record of each device number found among the descriptors.
  static HRESULT WmiAddMpioInstanceNames(std::vector<MpioDiskInfo>& mpioDiskInfoVec);
};

// No device number could be read from the disk's name; such a record pairs with nothing.
inline constexpr uint32_t kNoDeviceNumber = 0xFFFFFFFFu;

#endif  // VELA_MULTIPATH_VDS_WMI_H_
