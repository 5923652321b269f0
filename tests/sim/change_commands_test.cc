// The changing commands over the wire, checked by the records that follow them.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/clock.h"
#include "proxy/byte_order.h"
#include "sim/commands.h"
#include "sim/provision.h"
#include "tests/sim/sim_fixture.h"
#include "tests/sim/wire_requests.h"

namespace simtest {
namespace {

// EXPAND_ARRAY on controller 1002: `vdisk` grows by the drive at channel 0, SCSI id 3.
std::vector<uint8_t> ExpandRequest(const uint8_t* vdisk) {
  std::vector<uint8_t> expand = SerialRequest(kLenExpandArray, 1002, 0x10, vdisk);
  put_be32(1, expand.data() + 0xc);
  put_be32(0, expand.data() + 0x30);
  put_be32(3, expand.data() + 0x34);
  return expand;
}

class ChangeCommands : public SimFixture {
 protected:
  std::unique_ptr<controllerData> Controller(uint32_t handle) {
    return FetchController(client_, handle);
  }
  uint32_t Status(uint32_t opcode, const std::vector<uint8_t>& request, Reply* reply = nullptr) {
    Reply local;
    Reply* out = reply ? reply : &local;
    EXPECT_TRUE(client_.Command(opcode, request, out));
    EXPECT_EQ(out->header.OpCode, opcode);
    return out->status();
  }
  SimClient client_;
};

TEST_F(ChangeCommands, VdiskLifeCycleShowsInTheRecords) {
  SetTimeScaleForTesting(0);
  StartSimulator();
  Connect(&client_);
  ASSERT_EQ(simulator_->Admin("job rate 20"), "ok");

  Reply reply;
  const std::vector<WireDrive> drives{
      {"KSL00001SAS", 0, 0}, {"KSL00002SAS", 0, 1}, {"KSL00003SAS", 0, 2}};
  ASSERT_EQ(Status(CREATE_ARRAY, CreateArrayRequest(1001, 0, 5, drives, "VD_B"), &reply), 0u);
  createArray created;
  ASSERT_TRUE(DecodeCreateArray(reply.payload.data(), reply.payload.size(), &created));
  EXPECT_STREQ(created.array.name, "VD_B");
  EXPECT_EQ(created.array.owner, 0);  // controllerId 0 is the second handle
  EXPECT_EQ(created.array.numDrives, 3u);
  const uint64_t capacity = created.array.blockCount;
  EXPECT_EQ(Controller(1001)->numArrays, 0u);
  auto b = Controller(1002);
  ASSERT_EQ(b->numArrays, 1u);
  EXPECT_EQ(std::memcmp(b->arrays[0].serialNumber, created.array.serialNumber, 32), 0);
  EXPECT_EQ(b->drives[0].howUsed, 1);
  EXPECT_EQ(Controller(1001)->drives[0].howUsed, 1);  // both controllers see the membership

  const uint8_t* vdisk = created.array.serialNumber;
  ASSERT_EQ(Status(ADD_ARRAY_PART, AddPartRequest(1002, vdisk, 1 << 20, "DATA"), &reply), 0u);
  addArrayPart added;
  ASSERT_TRUE(DecodeAddArrayPart(reply.payload.data(), reply.payload.size(), &added));
  EXPECT_STREQ(added.partition.name, "DATA");
  EXPECT_EQ(added.partition.blockCount, 1u << 20);
  EXPECT_EQ(Status(ADD_ARRAY_PART, AddPartRequest(1002, vdisk, 100, "TINY")),
            sim::kStatusVolumeTooSmall);
  b = Controller(1002);
  EXPECT_EQ(b->arrays[0].numArrayPartitions, 1);
  EXPECT_EQ(b->arrays[0].freeBlocks, capacity - (1 << 20));
  // The free space behind the last partition is what that partition can grow into.
  EXPECT_EQ(b->arrays[0].expandableBlocks, capacity - (1 << 20));
  EXPECT_EQ(b->numPartitions, 1u);

  // Mapping round trip.
  const uint8_t host[8] = {0x21, 0, 0, 0x02, 0x8c, 0x44, 0, 1};
  const uint8_t* part = added.partition.serialNumber;
  ASSERT_EQ(Status(CREATE_CUSTOM_VIEW, CustomViewRequest(1002, part, 5, true, host)), 0u);
  ASSERT_EQ(Status(GET_PARTITION_VIEW, SerialRequest(kLenGetPartView, 1002, 0x10, part), &reply),
            0u);
  partitionView view;
  ASSERT_TRUE(DecodePartitionView(reply.payload.data() + 0x30, kPartitionViewSize, &view));
  ASSERT_EQ(view.numElements, 1);
  EXPECT_EQ(view.hostMap[0].lun, 5);
  EXPECT_EQ(view.hostWwpn[0][7], 1);

  // Expansion: a job on the clock, then space for the last partition.
  ASSERT_EQ(Status(EXPAND_ARRAY, ExpandRequest(vdisk)), 0u);
  EXPECT_EQ(Controller(1002)->arrays[0].utilityRunning, 5);
  Sleep(5000);
  b = Controller(1002);
  EXPECT_EQ(b->arrays[0].utilityRunning, 0);
  EXPECT_EQ(b->arrays[0].numDrives, 4u);
  EXPECT_EQ(b->arrays[0].expandableBlocks, b->arrays[0].blockCount - (1 << 20));
  EXPECT_GT(b->arrays[0].blockCount, capacity);

  // Deletes give the drives back.
  ASSERT_EQ(Status(DELETE_PART, SerialRequest(kLenDeletePart, 1002, 0x10, part)), 0u);
  ASSERT_EQ(Status(DELETE_ARRAY, SerialRequest(kLenDeleteArray, 1002, 0x10, vdisk)), 0u);
  EXPECT_EQ(Status(DELETE_ARRAY, SerialRequest(kLenDeleteArray, 1002, 0x10, vdisk)),
            sim::kStatusNotFound);
  b = Controller(1002);
  EXPECT_EQ(b->numArrays, 0u);
  for (size_t i = 0; i < 4; ++i) EXPECT_EQ(b->drives[i].howUsed, 0) << i;

  // The events of it all, on the owner's log.
  std::vector<uint8_t> range = Request(kLenGetEvent, 1002);
  put_be32(1, range.data() + 0x18);
  put_be32(100, range.data() + 0x1c);
  ASSERT_EQ(Status(GET_EVENT, range, &reply), 0u);
  std::vector<::event> events;
  ASSERT_TRUE(DecodeList(kEventList, reply.payload.data(), reply.payload.size(), &events));
  std::vector<uint32_t> codes;
  for (const ::event& e : events) codes.push_back(e.eventCode);
  EXPECT_EQ(codes, (std::vector<uint32_t>{6, 106, 105, 18, 16, 108, 9}));
  SetTimeScaleForTesting(1);
}

TEST_F(ChangeCommands, RefusalsCarryTheirStatus) {
  StartSimulator();
  Connect(&client_);
  const std::vector<WireDrive> two{{"KSL00001SAS", 0, 0}, {"KSL00002SAS", 0, 1}};
  EXPECT_EQ(Status(CREATE_ARRAY, CreateArrayRequest(1001, 1, 5, two, "R5")), sim::kStatusBadLevel);
  Reply reply;
  ASSERT_EQ(Status(CREATE_ARRAY, CreateArrayRequest(1001, 1, 1, two, "M"), &reply), 0u);
  createArray created;
  ASSERT_TRUE(DecodeCreateArray(reply.payload.data(), reply.payload.size(), &created));
  EXPECT_EQ(Status(CREATE_ARRAY, CreateArrayRequest(1001, 1, 1, two, "M2")),
            sim::kStatusDriveUnavailable);
  ASSERT_EQ(simulator_->Admin("limit partitions-per-array 1"), "ok");
  ASSERT_EQ(Status(ADD_ARRAY_PART, AddPartRequest(1001, created.array.serialNumber, 4096, "A")),
            0u);
  EXPECT_EQ(Status(ADD_ARRAY_PART, AddPartRequest(1001, created.array.serialNumber, 4096, "B")),
            sim::kStatusPartitionLimit);
  ASSERT_EQ(simulator_->Admin("limit partitions-per-array 128"), "ok");
  ASSERT_EQ(simulator_->Admin("limit array-partitions 1"), "ok");
  EXPECT_EQ(Status(ADD_ARRAY_PART, AddPartRequest(1001, created.array.serialNumber, 4096, "B")),
            sim::kStatusControllerPartitionLimit);
  EXPECT_EQ(
      Status(ABORT_UTILITY, SerialRequest(kLenAbortUtility, 1001, 0xc, created.array.serialNumber)),
      sim::kStatusNoJob);
  EXPECT_EQ(simulator_->Admin("limit nonsense 3").rfind("error: ", 0), 0u);
  EXPECT_EQ(simulator_->Admin("job rate -1").rfind("error: ", 0), 0u);
  // A custom view that names more entries than it carries is refused whole.
  std::vector<uint8_t> view(0x20, 0);
  put_be32(2, view.data() + 8);
  EXPECT_EQ(Status(CREATE_CUSTOM_VIEW, view), sim::kStatusBadRequest);
}

// The percentage a provider polls until it reads 100: 100 with no job, the job's progress while
// one runs (at the rate in force, also after a change), 100 again once it has ended.
TEST_F(ChangeCommands, PercentCompletedFollowsTheJobAndItsRate) {
  SetTimeScaleForTesting(0);
  StartSimulator();
  Connect(&client_);
  ASSERT_EQ(simulator_->Admin("job rate 10"), "ok");
  const std::vector<WireDrive> drives{
      {"KSL00001SAS", 0, 0}, {"KSL00002SAS", 0, 1}, {"KSL00003SAS", 0, 2}};
  Reply reply;
  ASSERT_EQ(Status(CREATE_ARRAY, CreateArrayRequest(1001, 0, 5, drives, "VD_J"), &reply), 0u);
  createArray created;
  ASSERT_TRUE(DecodeCreateArray(reply.payload.data(), reply.payload.size(), &created));
  const uint8_t* vdisk = created.array.serialNumber;
  auto percent = [&] {
    Reply answer;
    EXPECT_EQ(
        Status(GET_PERCENT_COMPLETED, SerialRequest(kLenGetPercent, 1002, 0xc, vdisk), &answer),
        0u);
    return get_be32(answer.payload.data() + 0x2c);
  };
  EXPECT_EQ(percent(), 100u);  // no job

  ASSERT_EQ(Status(EXPAND_ARRAY, ExpandRequest(vdisk)), 0u);
  Sleep(2000);
  const uint32_t before = percent();
  EXPECT_GE(before, 20u);
  EXPECT_LT(before, 40u);
  ASSERT_EQ(simulator_->Admin("job rate 20"), "ok");
  Sleep(2000);
  const uint32_t after = percent();
  EXPECT_GE(after, before + 40);
  EXPECT_LT(after, 100u);
  Sleep(4000);
  EXPECT_EQ(Controller(1002)->arrays[0].utilityRunning, 0);
  EXPECT_EQ(percent(), 100u);  // ended
  SetTimeScaleForTesting(1);
}

}  // namespace
}  // namespace simtest
