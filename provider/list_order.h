// The order in which each kind of object reaches a client's list.
#ifndef VELA_PROVIDER_LIST_ORDER_H_
#define VELA_PROVIDER_LIST_ORDER_H_

#include <utility>
#include <vector>

#include "platform/guid.h"
#include "provider/vds_base.h"

// Sorts entries of one map (one type) into list order: controllers A before B; drives by
// enclosure, then slot; LUNs by owning controller (A first), index byte, then name; pools by
// their sort field. Other types keep id order. Caller holds hNotificationMutex.
void SortByListOrder(std::vector<std::pair<GUID, VDS_OBJECT>>* entries);

#endif  // VELA_PROVIDER_LIST_ORDER_H_
