// Load balance policies: finding a disk's records in the inventory, the primary flag a tool
// reads back, and setting a policy through the DSM's WMI method. The caller holds the refresh
// lock; the setters open WMI connections of their own.
#ifndef VELA_MULTIPATH_LB_POLICY_H_
#define VELA_MULTIPATH_LB_POLICY_H_

#include <string>
#include <vector>

#include "multipath/mpio_records.h"
#include "platform/vds_types.h"

// The index in mpioDiskInfoVec of the disk with this serial, or -1.
int FindMpioDisk(const std::vector<MpioDiskInfo>& mpioDiskInfoVec, const std::string& sn);

// The DsmLoadPolicyVec record of the disk with serial `sn` (win2008: by the disk's instance
// name, else at its position), or before win2008 the first record holding `firstPathId`.
// 0 on success.
int findLBPolicy(const std::vector<MpioDiskInfo>& mpioDiskInfoVec, const std::string& sn,
                 const std::vector<DsmLoadPolicy>& DsmLoadPolicyVec, uint64_t firstPathId,
                 bool win2008, DsmLoadPolicy* outPolicy, std::u16string* outInstance);

// The same over mpioDiskInfoVec and mpioDsmPathV2Vec. 0 on success.
int EnumDsmQueryLBPolicy_V2(const std::vector<MpioDiskInfo>& mpioDiskInfoVec, const std::string& sn,
                            const std::vector<MpioDsmPathV2List>& mpioDsmPathV2Vec,
                            MpioDsmPathV2List* outRecord, std::u16string* outInstance);

// The primary flag reported for one path: under failover the preferred path the administrator
// set, or (with no preferred path and `loadBalanceStateOption` clear) primary and optimized.
bool CalcPrimaryByPathId(const DsmLoadPolicy& dsmPolicy, uint64_t pathId,
                         const std::vector<MpioDsmPathV2List>& mpioDsmPathV2Vec, bool win2008,
                         bool loadBalanceStateOption);

// Primary and optimized flags of an ALUA target port group state; 0x10 (not used) reads as
// active/optimized, states beyond the table as neither.
void TargetPortGroupFlags(uint32_t state, int* primary, int* optimized);

class WmiSetLoadBalancePolicy_V2 {
 public:
  // Sends DsmSetLoadBalancePolicyALUA for the disk with serial `sn`, each path carrying its whole
  // state with what `policy` and the input paths change. 0 on success (also when the DSM has no
  // such disk); 1 when no connection or record; else the method's HRESULT.
  static int DSM_LB_Operations(const std::vector<MpioDiskInfo>& mpioDiskInfoVec,
                               const std::string& sn,
                               const std::vector<MpioDsmPathV2List>& mpioDsmPathV2Vec,
                               VDS_LOADBALANCE_POLICY_ENUM policy, const VDS_PATH_POLICY* pPaths,
                               LONG lNumberOfPaths, bool isULP, bool loadBalanceStateOption);
};

// The older form: DsmSetLoadBalancePolicy with the weights and primary flags of the input, on
// a fresh read of DSM_QueryLBPolicy. 0 on success, as DSM_LB_Operations.
int WmiSetLoadBalancePolicy(const std::vector<MpioDiskInfo>& mpioDiskInfoVec, const std::string& sn,
                            VDS_LOADBALANCE_POLICY_ENUM policy, const VDS_PATH_POLICY* pPaths,
                            LONG lNumberOfPaths);

// "Class.InstanceName=\"instance\"" with the first and the last backslash of the instance
// doubled, as the DSM's methods are addressed.
std::u16string DsmObjectPath(const char16_t* className, const std::u16string& instance);

#endif  // VELA_MULTIPATH_LB_POLICY_H_
