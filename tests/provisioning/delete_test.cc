#include "provisioning/delete.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "platform/vds.h"

namespace {

// A record with one vdisk of `partitions` partitions; serials are made from small numbers.
struct Record {
  std::unique_ptr<controllerData> data = std::make_unique<controllerData>();
  uint8_t vdiskSn[32] = {};

  explicit Record(uint8_t partitions, uint8_t health = 2, uint8_t utility = 0) {
    data->numArrays = 1;
    array& vdisk = data->arrays[0];
    vdiskSn[0] = 0xA1;
    std::memcpy(vdisk.serialNumber, vdiskSn, 32);
    vdisk.numArrayPartitions = partitions;
    vdisk.health = health;
    vdisk.utilityRunning = utility;
    for (uint8_t i = 0; i < partitions; ++i) data->partitions[0][i].serialNumber[0] = 0x10 + i;
  }
  const uint8_t* Partition(int i) const { return data->partitions[0][i].serialNumber; }
  DeleteTarget Target(int partition) const {
    DeleteTarget target;
    target.size = 1 << 30;
    target.partitionSerial = Partition(partition);
    target.arraySerial = vdiskSn;
    target.lunId.Data1 = static_cast<uint32_t>(partition + 1);
    return target;
  }
};

TEST(Delete, PartitionAndVdiskByPartitionCountAndUtility) {
  DeleteMarks marks;
  // The only partition takes its vdisk along.
  DeletePlan plan = PlanDelete(Record(1).Target(0), *Record(1).data, &marks);
  EXPECT_EQ(plan.hr, S_OK);
  EXPECT_TRUE(plan.deletePartition);
  EXPECT_TRUE(plan.deleteVdisk);
  EXPECT_FALSE(plan.wholeVdisk);
  // One of two leaves the vdisk alone.
  Record two(2);
  plan = PlanDelete(two.Target(1), *two.data, &marks);
  EXPECT_TRUE(plan.deletePartition);
  EXPECT_FALSE(plan.deleteVdisk);
  // Under rebuild (3) or expansion (5) the empty shell stays; other utilities don't keep it.
  for (uint8_t utility : {3, 5}) {
    Record busy(1, 2, utility);
    plan = PlanDelete(busy.Target(0), *busy.data, &marks);
    EXPECT_TRUE(plan.deletePartition);
    EXPECT_FALSE(plan.deleteVdisk) << int{utility};
  }
  Record scrubbing(1, 2, 7);
  EXPECT_TRUE(PlanDelete(scrubbing.Target(0), *scrubbing.data, &marks).deleteVdisk);
  EXPECT_EQ(marks.Count(), 0u);
}

TEST(Delete, DummyVolumeIsTheWholeVdisk) {
  DeleteMarks marks;
  Record empty(0);
  DeleteTarget target;
  target.isDummyVolume = true;
  target.arraySerial = empty.vdiskSn;
  DeletePlan plan = PlanDelete(target, *empty.data, &marks);
  EXPECT_EQ(plan.hr, S_OK);
  EXPECT_TRUE(plan.deleteVdisk);
  EXPECT_TRUE(plan.wholeVdisk);
  EXPECT_FALSE(plan.deletePartition);
  // A vdisk that has a partition again is not the empty one the dummy stood for.
  Record filled(1);
  plan = PlanDelete(target, *filled.data, &marks);
  EXPECT_EQ(plan.hr, VDS_E_OBJECT_DELETED);
  EXPECT_FALSE(plan.deleteVdisk);
}

TEST(Delete, GoneVdiskOrPartitionSendsNothing) {
  DeleteMarks marks;
  Record record(2);
  DeleteTarget target = record.Target(0);
  uint8_t otherVdisk[32] = {0xB2};
  target.arraySerial = otherVdisk;
  DeletePlan plan = PlanDelete(target, *record.data, &marks);
  EXPECT_EQ(plan.hr, VDS_E_OBJECT_DELETED);
  EXPECT_FALSE(plan.deletePartition || plan.deleteVdisk);
  uint8_t otherPartition[32] = {0x7F};
  target = record.Target(0);
  target.partitionSerial = otherPartition;
  plan = PlanDelete(target, *record.data, &marks);
  EXPECT_EQ(plan.hr, VDS_E_OBJECT_DELETED);
  EXPECT_FALSE(plan.deletePartition || plan.deleteVdisk);
}

TEST(Delete, OfflineVdiskGoesWhenAllPartitionsAreAsked) {
  DeleteMarks marks;
  Record offline(3, 3);
  DeletePlan plan = PlanDelete(offline.Target(0), *offline.data, &marks);
  EXPECT_EQ(plan.hr, VDS_E_OPERATION_PENDING);
  EXPECT_FALSE(plan.deletePartition || plan.deleteVdisk);
  // Asking twice for the same partition doesn't complete the set.
  EXPECT_EQ(PlanDelete(offline.Target(0), *offline.data, &marks).hr, VDS_E_OPERATION_PENDING);
  EXPECT_EQ(PlanDelete(offline.Target(2), *offline.data, &marks).hr, VDS_E_OPERATION_PENDING);
  EXPECT_EQ(marks.Count(), 2u);
  EXPECT_TRUE(marks.IsMarkDeleted(offline.Partition(2)));
  EXPECT_FALSE(marks.IsMarkDeleted(offline.Partition(1)));
  plan = PlanDelete(offline.Target(1), *offline.data, &marks);
  EXPECT_EQ(plan.hr, S_OK);
  EXPECT_FALSE(plan.deletePartition);
  EXPECT_TRUE(plan.deleteVdisk);
  EXPECT_EQ(marks.Count(), 0u);
}

TEST(Delete, MarksClearByVdisk) {
  DeleteMarks marks;
  const uint8_t vdiskA[32] = {1};
  const uint8_t vdiskB[32] = {2};
  const uint8_t p1[32] = {0x11};
  const uint8_t p2[32] = {0x12};
  marks.MarkDeleted(p1, vdiskA, GUID{});
  marks.MarkDeleted(p2, vdiskB, GUID{});
  marks.ClearMarkDeleted(vdiskA);
  EXPECT_FALSE(marks.IsMarkDeleted(p1));
  EXPECT_TRUE(marks.IsMarkDeleted(p2));
}

}  // namespace
