#include "provisioning/delete.h"

#include <algorithm>
#include <cstring>

#include "platform/vds.h"

namespace {

// Array health of a vdisk the controller holds offline.
constexpr uint8_t kVdiskOffline = 3;
// A rebuild; with an expansion (kUtilityExpansion), the last partition's vdisk keeps its (then
// empty) shell.
constexpr uint8_t kUtilityRebuild = 3;

}  // namespace

void DeleteMarks::MarkDeleted(const uint8_t* partitionSerial, const uint8_t* arraySerial,
                              const GUID& lunId) {
  if (IsMarkDeleted(partitionSerial)) return;
  Mark mark{};
  std::memcpy(mark.partition.data(), partitionSerial, 32);
  std::memcpy(mark.vdisk.data(), arraySerial, 32);
  mark.lunId = lunId;
  marks_.push_back(mark);
}

bool DeleteMarks::IsMarkDeleted(const uint8_t* partitionSerial) const {
  return std::any_of(marks_.begin(), marks_.end(), [&](const Mark& mark) {
    return std::memcmp(mark.partition.data(), partitionSerial, 32) == 0;
  });
}

void DeleteMarks::ClearMarkDeleted(const uint8_t* arraySerial) {
  marks_.erase(std::remove_if(marks_.begin(), marks_.end(),
                              [&](const Mark& mark) {
                                return std::memcmp(mark.vdisk.data(), arraySerial, 32) == 0;
                              }),
               marks_.end());
}

const array* FindVdiskBySerial(const controllerData& data, const uint8_t* serial, size_t* index) {
  const size_t count = ValidCount(data.numArrays, kMaxArrays);
  for (size_t i = 0; i < count; ++i) {
    if (std::memcmp(data.arrays[i].serialNumber, serial, 32) == 0) {
      if (index != nullptr) *index = i;
      return &data.arrays[i];
    }
  }
  return nullptr;
}

DeletePlan PlanDelete(const DeleteTarget& target, const controllerData& data, DeleteMarks* marks) {
  DeletePlan plan;
  size_t index = 0;
  const array* vdisk = FindVdiskBySerial(data, target.arraySerial, &index);
  if (vdisk == nullptr) {
    plan.hr = VDS_E_OBJECT_DELETED;
    return plan;
  }
  const size_t count = ValidCount(vdisk->numArrayPartitions, kMaxArrayPartitions);
  if (target.isDummyVolume || target.size == 0) {
    // A vdisk that has partitions again is no longer the empty vdisk the dummy volume stood for.
    if (target.isDummyVolume && count != 0) {
      plan.hr = VDS_E_OBJECT_DELETED;
      return plan;
    }
    plan.deleteVdisk = true;
    plan.wholeVdisk = true;
    return plan;
  }
  bool present = false;
  for (size_t i = 0; i < count && !present; ++i) {
    present = std::memcmp(data.partitions[index][i].serialNumber, target.partitionSerial, 32) == 0;
  }
  if (!present) {
    plan.hr = VDS_E_OBJECT_DELETED;
    return plan;
  }
  // A vdisk under expansion or rebuild keeps its empty shell.
  plan.deleteVdisk = vdisk->numArrayPartitions == 1 && vdisk->utilityRunning != kUtilityExpansion &&
                     vdisk->utilityRunning != kUtilityRebuild;
  if (vdisk->health != kVdiskOffline) {
    plan.deletePartition = true;
    return plan;
  }
  marks->MarkDeleted(target.partitionSerial, target.arraySerial, target.lunId);
  for (size_t i = 0; i < count; ++i) {
    if (!marks->IsMarkDeleted(data.partitions[index][i].serialNumber)) {
      plan.hr = VDS_E_OPERATION_PENDING;
      plan.deleteVdisk = false;
      return plan;
    }
  }
  marks->ClearMarkDeleted(target.arraySerial);
  plan.deleteVdisk = true;
  return plan;
}
