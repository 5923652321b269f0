// The model seen through the wire records: what each controller reports, encoded with the
// shared record codecs of proxy/.
//
// Both controllers of a subsystem list every present drive; a vdisk and its partitions appear
// only in the record of the controller that owns it, and array.owner says which: 1 the first
// handle, 0 the second.
#ifndef VELA_SIM_RECORDS_BUILDER_H_
#define VELA_SIM_RECORDS_BUILDER_H_

#include <cstddef>
#include <cstdint>

#include "proxy/records.h"
#include "sim/model.h"

namespace sim {

// Writes controller `controllerIndex`'s controllerData (kControllerDataSize bytes, status 0).
void BuildControllerData(const Subsystem& subsystem, size_t controllerIndex, uint8_t* out);

// Writes the unifiedControllerData body (kUnifiedControllerDataSize bytes).
void BuildUnifiedControllerData(const Subsystem& subsystem, uint8_t* out);

// Writes the partitionView body (kPartitionViewSize bytes) of a partition.
void BuildPartitionView(const Partition& partition, uint8_t* out);

// Fills a wire event from a logged one.
void BuildEvent(const Event& in, ::event* out);

// Writes the hbaInfoList body (kHbaInfoListSize bytes).
void BuildHbaInfoList(const Model& model, uint8_t* out);

// The wire form of a vdisk and of a partition, as the create commands return them.
void BuildArray(const Subsystem& subsystem, size_t vdiskIndex, ::array* out);
void BuildPartition(const Partition& partition, size_t order, ::partition* out);

}  // namespace sim

#endif  // VELA_SIM_RECORDS_BUILDER_H_
