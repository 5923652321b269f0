#include "provider/monitor.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/clock.h"
#include "provider/provider.h"
#include "proxy/iasocket.h"
#include "tests/provider/provider_test_support.h"
#include "tests/support/scripted_peer.h"

namespace {

event MakeEvent(uint32_t sequence, uint32_t code, uint32_t param = 0) {
  event ev{};
  ev.sequenceNumber = sequence;
  ev.eventCode = code;
  ev.param = param;
  return ev;
}

TEST(IsSameEvent, IgnoresSequenceAndDescriptionOnly) {
  event a = MakeEvent(1, 71, 2);
  event b = MakeEvent(2, 71, 2);
  std::strcpy(b.description, "another text");
  EXPECT_TRUE(IsSameEvent(a, b));

  event c = b;
  c.eventCode = 72;
  EXPECT_FALSE(IsSameEvent(a, c));
  c = b;
  c.owner = 1;  // byte 144
  EXPECT_FALSE(IsSameEvent(a, c));
  c = b;
  c.duplicateCount = 3;  // byte 145
  EXPECT_FALSE(IsSameEvent(a, c));
  c = b;
  c.driveSerial[63 - 56 + 0] = 'x';  // inside the 64 bytes at 56
  EXPECT_FALSE(IsSameEvent(a, c));
  c = b;
  c.lunSerial[31] = 'y';  // offset 0x77: still inside the 64 bytes at 56
  EXPECT_FALSE(IsSameEvent(a, c));
  c = b;
  c.reserved_78[5] = 1;  // inside the 20 bytes at 120
  EXPECT_FALSE(IsSameEvent(a, c));
  c = b;
  c.reserved_92[0] = 1;  // offset 146: not compared
  EXPECT_TRUE(IsSameEvent(a, c));
}

TEST(EventNeedsRefresh, FollowsTheCodeTableAndTheParamRules) {
  for (uint32_t code : {1u, 8u, 62u, 106u, 108u, 216u}) {
    EXPECT_TRUE(EventNeedsRefresh(MakeEvent(1, code))) << code;
  }
  for (uint32_t code : {0u, 2u, 71u, 72u, 104u, 217u}) {
    EXPECT_FALSE(EventNeedsRefresh(MakeEvent(1, code))) << code;
  }
  EXPECT_TRUE(EventNeedsRefresh(MakeEvent(1, 71, 2)));
  EXPECT_FALSE(EventNeedsRefresh(MakeEvent(1, 71, 1)));
  EXPECT_TRUE(EventNeedsRefresh(MakeEvent(1, 72, 2)));
  EXPECT_TRUE(EventNeedsRefresh(MakeEvent(1, 19, 24)));
  EXPECT_FALSE(EventNeedsRefresh(MakeEvent(1, 19, 2)));
}

class NotificationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    EnsureModuleAttached();
    provider_ = CProvider::Create();
    sink_ = new RecordingSink();
    sink_->AddRef();
  }
  void TearDown() override {
    static_cast<IVdsProvider*>(provider_)->Release();
    sink_->Release();
  }
  CProvider* provider_ = nullptr;
  RecordingSink* sink_ = nullptr;
};

TEST_F(NotificationTest, WithoutASinkNothingIsSent) {
  NotificationEvent(provider_, MakeEvent(5, 71));
  EXPECT_TRUE(sink_->Received().empty());
}

TEST_F(NotificationTest, MapsCodesToNotificationsWithTheObjectId) {
  // No proxy is configured: OnLoad keeps the sink and stays offline.
  ASSERT_EQ(provider_->OnLoad(nullptr, sink_->GetUnknown()), S_OK);
  EXPECT_FALSE(isProviderOnline.load());
  struct Case {
    uint32_t code;
    VDS_NOTIFICATION_TARGET_TYPE type;
    ULONG ulEvent;
  } cases[] = {
      {71, VDS_NTT_CONTROLLER, VDS_NF_CONTROLLER_DEPART},
      {72, VDS_NTT_CONTROLLER, VDS_NF_CONTROLLER_ARRIVE},
      {106, VDS_NTT_LUN, VDS_NF_LUN_ARRIVE},
      {103, VDS_NTT_LUN, VDS_NF_LUN_MODIFY},
      {105, VDS_NTT_LUN, VDS_NF_LUN_MODIFY},
      {8, VDS_NTT_DRIVE, VDS_NF_DRIVE_DEPART},
      {62, VDS_NTT_DRIVE, VDS_NF_DRIVE_DEPART},
  };
  for (const Case& c : cases) NotificationEvent(provider_, MakeEvent(9, c.code));
  NotificationEvent(provider_, MakeEvent(9, 200));
  std::vector<VDS_NOTIFICATION> received = sink_->Received();
  ASSERT_EQ(received.size(), std::size(cases));
  for (size_t i = 0; i < received.size(); ++i) {
    EXPECT_EQ(received[i].objectType, cases[i].type) << i;
    EXPECT_EQ(received[i].Lun.ulEvent, cases[i].ulEvent) << i;
    // Nothing registered: the notification still goes, with the zero id.
    EXPECT_EQ(received[i].Lun.LunId, GUID_NULL) << i;
  }
}

// A pass that finds the provider unloading stops before it would rebuild a broken session:
// nothing goes out on the connection.
TEST_F(NotificationTest, PassStopsBeforeReconnectingWhileUnloading) {
  ScriptedPeer peer;
  SetTimeScaleForTesting(0.001);
  AllocateRequestBuffer();
  ASSERT_EQ(socket_connect("127.0.0.1", peer.port()), 0);
  g_proxyErrorCell = -1;  // the last exchange failed
  ASSERT_FALSE(isProviderOnline.load());
  const MonitorParam param{};
  EXPECT_EQ(CheckEventsFromRAIDController(provider_, param), kPassStop);
  EXPECT_TRUE(peer.Requests().empty());
  CloseProxySocket();
  FreeRequestBuffer();
  g_proxyErrorCell = 0;
  SetTimeScaleForTesting(0);
}

}  // namespace
