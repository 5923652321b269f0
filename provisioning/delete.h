// The decisions of LUN deletion as functions of the fetched controller record: what goes to the
// controller (the partition, the vdisk, or both), and the marks that let the partitions of an
// offline vdisk, which the controller can't delete one by one, go together once each of them
// has been asked for. CLun::Delete fetches, calls these, and sends what they decide.
#ifndef VELA_PROVISIONING_DELETE_H_
#define VELA_PROVISIONING_DELETE_H_

#include <array>
#include <cstdint>
#include <vector>

#include "platform/guid.h"
#include "platform/hresult.h"
#include "platform/wintypes.h"
#include "proxy/records.h"

// Partitions of offline vdisks whose deletion was asked for. One set per subsystem; the caller
// holds the provider's notification mutex.
class DeleteMarks {
 public:
  void MarkDeleted(const uint8_t* partitionSerial, const uint8_t* arraySerial, const GUID& lunId);
  // By the first 32 bytes of the serial.
  bool IsMarkDeleted(const uint8_t* partitionSerial) const;
  // Drops every mark of the vdisk.
  void ClearMarkDeleted(const uint8_t* arraySerial);
  size_t Count() const { return marks_.size(); }

 private:
  struct Mark {
    std::array<uint8_t, 32> partition;
    std::array<uint8_t, 32> vdisk;
    GUID lunId;
  };
  std::vector<Mark> marks_;
};

// What a LUN is, as far as deletion cares.
struct DeleteTarget {
  bool isDummyVolume = false;
  ULONGLONG size = 0;
  const uint8_t* partitionSerial = nullptr;  // 32 bytes
  const uint8_t* arraySerial = nullptr;      // 32 bytes
  GUID lunId{};
};

// What to send, in this order: delete_part, then abort_utility and delete_array.
struct DeletePlan {
  HRESULT hr = S_OK;  // VDS_E_OBJECT_DELETED or VDS_E_OPERATION_PENDING: send nothing
  bool deletePartition = false;
  bool deleteVdisk = false;
  // The vdisk shell stands for the LUN (a dummy volume): it goes at once and nothing waits for
  // a refresh.
  bool wholeVdisk = false;
};

// The vdisk of `serial` (32 bytes) in the record, or null.
const array* FindVdiskBySerial(const controllerData& data, const uint8_t* serial, size_t* index);

// The plan for `target` against the freshly fetched record. A partition of an offline vdisk is
// marked in *marks; when that completes the vdisk's set, its marks are cleared and the vdisk goes.
DeletePlan PlanDelete(const DeleteTarget& target, const controllerData& data, DeleteMarks* marks);

#endif  // VELA_PROVISIONING_DELETE_H_
