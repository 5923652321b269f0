// End to end over TCP: a scripted client logs in and reads everything the provider reads.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "proxy/byte_order.h"
#include "proxy/records.h"
#include "proxy/wire_format.h"
#include "sim/commands.h"
#include "tests/sim/sim_fixture.h"

namespace simtest {
namespace {

std::vector<::subsystem> ListSubsystems(SimClient& client) {
  Reply reply;
  std::vector<::subsystem> list;
  EXPECT_TRUE(
      client.Command(GET_CONTROLLERHANDLEDB, Request(kLenGetControllerHandleDb, 0), &reply));
  EXPECT_EQ(reply.header.DataType, RSREPLY);
  EXPECT_EQ(get_le32(reply.payload.data()), 0u);
  EXPECT_TRUE(DecodeList(kSubsystemList, reply.payload.data(), reply.payload.size(), &list));
  return list;
}

class Server : public SimFixture {};

TEST_F(Server, ClientReadsEveryRecordOfEverySubsystem) {
  options_.inventory_path = VELA_SIM_INVENTORIES "/two-subsystems.json";
  StartSimulator();
  SimClient client;
  Connect(&client);

  const std::vector<::subsystem> list = ListSubsystems(client);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_STREQ(list[1].UniqueSN, "02564C100000A002");
  size_t partitionsSeen = 0;
  for (const ::subsystem& entry : list) {
    for (uint32_t handle : {entry.controllerA, entry.controllerB}) {
      auto record = FetchController(client, handle);
      EXPECT_EQ(record->status, 0u);
      EXPECT_EQ(record->numDrives, 12u);
      EXPECT_STREQ(record->UniqueSn, entry.UniqueSN);
      for (size_t a = 0; a < record->numArrays; ++a) {
        for (size_t p = 0; p < record->arrays[a].numArrayPartitions; ++p) {
          Reply reply;
          std::vector<uint8_t> request = Request(kLenGetPartView, handle);
          std::memcpy(request.data() + 0x10, record->partitions[a][p].serialNumber, 32);
          ASSERT_TRUE(client.Command(GET_PARTITION_VIEW, request, &reply));
          ASSERT_EQ(reply.status(), 0u);
          partitionView view;
          ASSERT_TRUE(
              DecodePartitionView(reply.payload.data() + 0x30, reply.payload.size() - 0x30, &view));
          const bool mapped = std::strcmp(record->partitions[a][p].name, "north_logs") == 0;
          EXPECT_EQ(view.numElements, mapped ? 1 : 0) << record->partitions[a][p].name;
          ++partitionsSeen;
        }
      }
      Reply reply;
      ASSERT_TRUE(client.Command(OP_GET_UNIFIED_CONTROLLER_DATA,
                                 Request(kLenGetUnifiedControllerData, handle), &reply));
      ASSERT_EQ(reply.status(), 0u);
      unifiedControllerData unified;
      ASSERT_TRUE(DecodeUnifiedControllerData(reply.payload.data() + 0xc,
                                              reply.payload.size() - 0xc, &unified));
      EXPECT_STREQ(unified.vendorName, "VELA");
    }
  }
  EXPECT_EQ(partitionsSeen, 3u);

  Reply reply;
  ASSERT_TRUE(
      client.Command(OP_GET_CONNECT_HBA_INFO_LIST, Request(kLenGetConnectHbaInfoList, 0), &reply));
  hbaInfoList hbas;
  ASSERT_TRUE(DecodeHbaInfoList(reply.payload.data() + 8, reply.payload.size() - 8, &hbas));
  EXPECT_EQ(hbas.count, 1);
  EXPECT_EQ(hbas.entries[0].type, 'F');

  ASSERT_TRUE(client.Command(GET_VERSION, {}, &reply));
  EXPECT_EQ(reply.status(), 0u);
  ASSERT_TRUE(client.Command(OP_GET_BACKING_STORE_LIST,
                             Request(kLenGetBackingStoreList, list[0].controllerA), &reply));
  EXPECT_EQ(reply.status(), 0u);
  EXPECT_EQ(get_be32(reply.payload.data() + kBackingStoreListCountOffset), 0u);
}

// A proxy service with no arrays attached: an empty list, no controller behind any handle, and
// the same emptiness served again from the state file after a restart.
TEST_F(Server, EmptyInventoryListsNoSubsystemAndKeepsItAcrossARestart) {
  options_.inventory_path = VELA_SIM_INVENTORIES "/empty.json";
  for (int run = 0; run < 2; ++run) {
    StartSimulator();
    SimClient client;
    Connect(&client);
    Reply reply;
    ASSERT_TRUE(
        client.Command(GET_CONTROLLERHANDLEDB, Request(kLenGetControllerHandleDb, 0), &reply));
    EXPECT_EQ(get_le32(reply.payload.data() + kSubsystemListOffStatus), 0u);
    EXPECT_EQ(get_le32(reply.payload.data() + kSubsystemListCountOffset), 0u) << "run " << run;
    EXPECT_TRUE(ListSubsystems(client).empty());

    ASSERT_TRUE(client.Command(OP_GET_CONNECT_HBA_INFO_LIST, Request(kLenGetConnectHbaInfoList, 0),
                               &reply));
    hbaInfoList hbas;
    ASSERT_TRUE(DecodeHbaInfoList(reply.payload.data() + 8, reply.payload.size() - 8, &hbas));
    EXPECT_EQ(hbas.count, 2);
    EXPECT_EQ(simulator_->Admin("event 1001 72 2").rfind("error: ", 0), 0u);
    simulator_.reset();
    // The second run reads the state file; an inventory with subsystems must not come back.
    options_.inventory_path = VELA_SIM_INVENTORIES "/default.json";
  }
}

TEST_F(Server, EventsAndRefreshFollowTheChangesOfTheArray) {
  StartSimulator();
  SimClient client;
  Connect(&client);
  auto latest = [&](uint32_t handle) {
    Reply reply;
    std::vector<uint8_t> request = Request(kLenGetEvent, handle);
    request[0xd] = 1;
    EXPECT_TRUE(client.Command(GET_EVENT, request, &reply));
    getEvent decoded;
    EXPECT_TRUE(DecodeGetEvent(reply.payload.data(), reply.payload.size(), &decoded));
    return decoded;
  };
  auto needRefresh = [&] {
    Reply reply;
    std::vector<uint8_t> request(kLenGetNeedRefresh, 0);
    std::memcpy(request.data() + 8, "02564C1A2B3C0000", 16);
    EXPECT_TRUE(client.Command(OP_GET_NEED_REFRESH, request, &reply));
    EXPECT_EQ(reply.status(), 0u);
    return reply.payload.at(0x28);
  };
  EXPECT_EQ(latest(1001).numEvents, 0u);
  EXPECT_EQ(latest(1001).entry.sequenceNumber, 0u);
  EXPECT_EQ(needRefresh(), 0);

  ASSERT_EQ(simulator_->Admin("pull drive KSL00003SAS"), "ok");
  ASSERT_EQ(simulator_->Admin("event 1002 71 2"), "ok");
  EXPECT_EQ(needRefresh(), 1);
  EXPECT_EQ(needRefresh(), 0);

  getEvent a = latest(1001);
  EXPECT_EQ(a.entry.sequenceNumber, 1u);
  EXPECT_EQ(a.entry.eventCode, 8u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(a.entry.driveSerial), 11), "KSL00003SAS");
  getEvent b = latest(1002);
  EXPECT_EQ(b.entry.sequenceNumber, 2u);
  EXPECT_EQ(b.entry.eventCode, 71u);
  EXPECT_EQ(b.entry.param, 2u);
  EXPECT_EQ(b.entry.controllerHandle, 1002u);

  Reply reply;
  std::vector<uint8_t> range = Request(kLenGetEvent, 1002);
  put_be32(1, range.data() + 0x18);
  put_be32(100, range.data() + 0x1c);
  ASSERT_TRUE(client.Command(GET_EVENT, range, &reply));
  std::vector<::event> events;
  ASSERT_TRUE(DecodeList(kEventList, reply.payload.data(), reply.payload.size(), &events));
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].eventCode, 8u);
  EXPECT_EQ(events[1].eventCode, 71u);
  EXPECT_EQ(FetchController(client, 1001)->numDrives, 23u);
}

TEST_F(Server, LoginChecksUserAndPasswordAndCommandsWaitForIt) {
  StartSimulator();
  SimClient client;
  ASSERT_TRUE(client.Connect(simulator_->Port()));
  Reply reply;
  ASSERT_TRUE(client.Command(GET_VERSION, {}, &reply));
  EXPECT_EQ(reply.status(), sim::kStatusNotLoggedIn);
  EXPECT_EQ(client.Logon("nobody", kPassword), 2u);
  EXPECT_EQ(client.Logon(kUser, "wrong"), 5u);
  // A password longer than the enciphered 40 bytes still has to match whole.
  EXPECT_EQ(client.Logon(kUser, std::string(kPassword) + std::string(40, 'x')), 5u);
  EXPECT_EQ(client.Logon(kUser, kPassword), 1u);
  ASSERT_TRUE(client.Command(GET_VERSION, {}, &reply));
  EXPECT_EQ(reply.status(), 0u);

  // Frames whose SeqAuth doesn't fit the session key are counted and still served.
  client.set_sessionKey(client.sessionKey() + 1);
  ASSERT_TRUE(client.Command(GET_VERSION, {}, &reply));
  EXPECT_EQ(reply.status(), 0u);
  EXPECT_TRUE(Logged("SeqAuth violation 1"));

  // Unknown opcodes and commands the model can't serve get a status, not a hang-up.
  ASSERT_TRUE(client.Command(200, Request(0x30, 1001), &reply));
  EXPECT_EQ(reply.status(), sim::kStatusUnsupported);
  ASSERT_TRUE(client.Command(GET_CONTROLLER, GetControllerRequest(4242), &reply));
  EXPECT_EQ(reply.status(), sim::kStatusNoController);
  ASSERT_TRUE(client.Command(GET_EVENT, Request(8, 1001), &reply));
  EXPECT_EQ(reply.status(), sim::kStatusBadRequest);
  ASSERT_TRUE(client.Send(RSSESSION, SESSION_CLOSE, {}));
  ASSERT_TRUE(client.Receive(&reply));
  EXPECT_TRUE(client.PeerClosed());
}

TEST_F(Server, SurvivesEveryInjectedFault) {
  StartSimulator();
  SimClient client;
  Connect(&client);
  Reply reply;

  ASSERT_EQ(simulator_->Admin("fault next 1 status=7 1"), "ok");
  ASSERT_TRUE(client.Command(GET_VERSION, {}, &reply));  // another opcode passes untouched
  EXPECT_EQ(reply.status(), 0u);
  ASSERT_TRUE(client.Command(GET_CONTROLLER, GetControllerRequest(1001), &reply));
  EXPECT_EQ(reply.status(), 7u);

  ASSERT_EQ(simulator_->Admin("fault next 1 wrong-opcode"), "ok");
  ASSERT_TRUE(client.Command(GET_VERSION, {}, &reply));
  EXPECT_NE(reply.header.OpCode, GET_VERSION);

  ASSERT_EQ(simulator_->Admin("fault next 1 silent"), "ok");
  ASSERT_TRUE(
      client.Send(RSREQUEST, GET_CONTROLLERHANDLEDB, Request(kLenGetControllerHandleDb, 0)));
  ASSERT_TRUE(client.Command(GET_VERSION, {}, &reply));
  EXPECT_EQ(reply.header.OpCode, GET_VERSION);  // the silenced command never got its reply

  ASSERT_EQ(simulator_->Admin("fault next 1 short"), "ok");
  ASSERT_TRUE(client.Send(RSREQUEST, GET_CONTROLLER, GetControllerRequest(1001)));
  EXPECT_FALSE(client.Receive(&reply));
  Connect(&client);

  ASSERT_EQ(simulator_->Admin("fault next 2 close"), "ok");
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(client.Send(RSREQUEST, GET_VERSION, {}));
    EXPECT_TRUE(client.PeerClosed());
    Connect(&client);
  }
  EXPECT_EQ(FetchController(client, 1002)->numDrives, 24u);

  for (const char* bad : {"fault", "fault next 0 close", "fault next 1 explode",
                          "fault next 1 status=0", "fault next 1 close x"}) {
    EXPECT_EQ(simulator_->Admin(bad).rfind("error: ", 0), 0u) << bad;
  }
}

TEST_F(Server, DropsOnlyTheConnectionThatSendsGarbage) {
  StartSimulator();
  SimClient good;
  Connect(&good);

  std::vector<uint8_t> header(kPacketHeaderSize);
  EncodePacketHeader(MakePacketHeader(RSREQUEST, GET_VERSION, 0, 0), header.data());

  SimClient magic;
  ASSERT_TRUE(magic.Connect(simulator_->Port()));
  std::vector<uint8_t> wrong = header;
  std::memcpy(wrong.data(), "GREENFJORD", 10);
  ASSERT_TRUE(magic.SendRaw(wrong));
  EXPECT_TRUE(magic.PeerClosed());

  SimClient huge;
  ASSERT_TRUE(huge.Connect(simulator_->Port()));
  std::vector<uint8_t> big = header;
  SetFrameDataLen(big.data(), 0xFFFFFFFF);
  ASSERT_TRUE(huge.SendRaw(big));
  EXPECT_TRUE(huge.PeerClosed());

  {
    SimClient truncated;
    ASSERT_TRUE(truncated.Connect(simulator_->Port()));
    std::vector<uint8_t> part = header;
    SetFrameDataLen(part.data(), 100);
    part.resize(part.size() + 50, 0);
    ASSERT_TRUE(truncated.SendRaw(part));
  }
  SimClient halfHeader;
  ASSERT_TRUE(halfHeader.Connect(simulator_->Port()));
  ASSERT_TRUE(halfHeader.SendRaw(std::vector<uint8_t>(header.begin(), header.begin() + 20)));

  Reply reply;
  ASSERT_TRUE(good.Command(GET_VERSION, {}, &reply));
  EXPECT_EQ(reply.status(), 0u);
  EXPECT_TRUE(Logged("frame without the magic"));
  EXPECT_TRUE(Logged("frame announces 4294967295 payload bytes"));
}

TEST_F(Server, BoundsTheNumberOfConnections) {
  options_.max_sessions = 3;
  StartSimulator();
  std::vector<std::unique_ptr<SimClient>> clients;
  for (int i = 0; i < 3; ++i) {
    clients.push_back(std::make_unique<SimClient>());
    Connect(clients.back().get());
  }
  SimClient extra;
  ASSERT_TRUE(extra.Connect(simulator_->Port()));
  EXPECT_TRUE(extra.PeerClosed());
  EXPECT_TRUE(Logged("connection dropped, 3 connections are open already"));
  for (auto& client : clients) {
    Reply reply;
    ASSERT_TRUE(client->Command(GET_VERSION, {}, &reply));
    EXPECT_EQ(reply.status(), 0u);
  }
}

TEST_F(Server, StateIsTheSameAfterARestart) {
  StartSimulator();
  ASSERT_EQ(simulator_->Admin("fail drive MW-SATA00002"), "ok");
  ASSERT_EQ(simulator_->Admin("event 1001 72 2"), "ok");
  std::vector<uint8_t> before[2];
  {
    SimClient client;
    Connect(&client);
    for (uint32_t i = 0; i < 2; ++i) {
      Reply reply;
      ASSERT_TRUE(client.Command(GET_CONTROLLER, GetControllerRequest(1001 + i), &reply));
      before[i] = reply.payload;
    }
  }
  const std::string dump = simulator_->Admin("dump");
  simulator_.reset();

  // The state file wins over any inventory once it exists.
  options_.inventory_path = VELA_SIM_INVENTORIES "/iscsi-only.json";
  StartSimulator();
  EXPECT_EQ(simulator_->Admin("dump"), dump);
  SimClient client;
  Connect(&client);
  for (uint32_t i = 0; i < 2; ++i) {
    Reply reply;
    ASSERT_TRUE(client.Command(GET_CONTROLLER, GetControllerRequest(1001 + i), &reply));
    EXPECT_EQ(reply.payload, before[i]);
  }
}

}  // namespace
}  // namespace simtest
