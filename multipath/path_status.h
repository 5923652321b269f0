// Marking paths through the maker's DSM (MORDSM_WMI_METHODS.MorDsmSetPathStatus).
#ifndef VELA_MULTIPATH_PATH_STATUS_H_
#define VELA_MULTIPATH_PATH_STATUS_H_

#include <cstdint>
#include <vector>

#include "platform/vds_types.h"

// Sends the ids with one status to the first DSM instance that accepts them. 0 on success (and
// when no instance exists, nothing sent); 1 when the connection or the classes fail, or the
// last instance refused.
int SetPathStatus(const std::vector<uint64_t>& pathIds, VDS_PATH_STATUS status);

#endif  // VELA_MULTIPATH_PATH_STATUS_H_
