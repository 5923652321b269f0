#include "tools/vdsctl/connection_watch.h"

#include <gtest/gtest.h>

namespace vdsctl {
namespace {

using Change = ConnectionTracker::Change;

TEST(ConnectionTracker, LostOnceRestoredByTheReconnectsEvent) {
  ConnectionTracker tracker;
  EXPECT_EQ(tracker.Line("[1/2] Logging Info Event \"x\"."), Change::kNone);
  EXPECT_EQ(tracker.Line("[1/2] Reconnecting... (handshake returned err -1)"), Change::kLost);
  EXPECT_EQ(tracker.Line("[1/2] reconnect failed (err -1)"), Change::kNone);
  EXPECT_EQ(tracker.Line("[1/2] Reconnecting... (handshake returned err -1)"), Change::kNone);
  EXPECT_TRUE(tracker.Lost());
  EXPECT_EQ(tracker.Line("[1/2] Logging Info Event \"The VDS Provider has restored ...\"."),
            Change::kRestored);
  EXPECT_FALSE(tracker.Lost());
}

}  // namespace
}  // namespace vdsctl
