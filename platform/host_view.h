// The host view: one JSON file that stands for a host's WMI namespace ("wmi"), its HBA adapters
// ("hba") and its SCSI devices ("devices"), for hosts and tests without the real sources. It is
// named by VELA_HOST_VIEW. The WMI shim (wbem.h) and the HBA API shim (hbaapi.h) read it afresh
// at every connection and library load; the DSM methods change it in place and append one line
// per call to FILE.calls:
//   {"class":..., "instance":..., "method":..., "in":{...}, "hr":N}
//
// DSM methods, as the host's DSM applies them:
//   DSM_LB_Operations.DsmSetLoadBalancePolicyALUA  LoadBalancePolicy (DSM_Load_Balance_Policy_V2
//       with DSM_Paths of MPIO_DSM_Path_V2): the policy and each path's PathWeight, PrimaryPath,
//       OptimizedPath and PreferredPath go into the DSM_QueryLBPolicy_V2 instance of that name;
//       the policy, weights and primary flags also into its DSM_QueryLBPolicy instance.
//   DSM_LB_Operations.DsmSetLoadBalancePolicy  the same from a DSM_Load_Balance_Policy with
//       MPIO_DSM_PATH paths (policy, weights, primary flags).
//   MORDSM_WMI_METHODS.MorDsmSetPathStatus  setPathStatus (DSM_Set_Path_Status with
//       DSM_PathStatus of MPIO_DSM_PathStatus): every DSM path with that PathId is marked failed
//       (status 5) or not; online (1) makes it primary, standby (7) not.
// A policy outside 1 to 6, a path count that differs from DSMPathCount or a path the disk does
// not have is WBEM_E_INVALID_PARAMETER and changes nothing.
#ifndef VELA_PLATFORM_HOST_VIEW_H_
#define VELA_PLATFORM_HOST_VIEW_H_

#include <nlohmann/json.hpp>
#include <string>

#include "platform/hresult.h"

// VELA_HOST_VIEW, or empty when no view is given.
std::string HostViewPath();

// Reads and parses the view. False when the file can't be read or is not a JSON object; the
// reason is then kept for HostViewProblem().
bool ReadHostView(const std::string& path, nlohmann::json* view);

// Writes the view by atomic replace. False (with the reason kept) when it can't.
bool WriteHostView(const std::string& path, const nlohmann::json& view);

// The last reason a read or write of the view failed, or a member had the wrong type; for the
// callers' logs. Empty when none.
std::string HostViewProblem();
void SetHostViewProblem(const std::string& problem);

// Applies one DSM method to the view file under its lock (read, change, replace) and journals
// the call. `in` is the method's in-parameter object as JSON.
HRESULT ApplyHostViewMethod(const std::string& path, const std::string& className,
                            const std::string& instance, const std::string& method,
                            const nlohmann::json& in);

// An exclusive lock on the view (FILE.lock) across processes, for every read-change-write.
class HostViewLock {
 public:
  explicit HostViewLock(const std::string& path);
  ~HostViewLock();
  HostViewLock(const HostViewLock&) = delete;
  HostViewLock& operator=(const HostViewLock&) = delete;

 private:
  int m_fd;
};

// A decimal text of a 64-bit number; false on anything else (sign, blank, overflow).
bool ParseDecimalU64(const std::string& text, uint64_t* value);

#endif  // VELA_PLATFORM_HOST_VIEW_H_
