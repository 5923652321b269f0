// A connected proxy client for tests: the request buffer, the command mutex and a socket to a
// ScriptedPeer, with the clock scaled so that the 600-second reply wait lasts 0.6 s.
#ifndef VELA_TESTS_SUPPORT_PROXY_FIXTURE_H_
#define VELA_TESTS_SUPPORT_PROXY_FIXTURE_H_

#include <gtest/gtest.h>

#include "tests/support/scripted_peer.h"

class ProxyClientTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // True when another thread can take tidegate_lock_vds at once.
  static bool CommandMutexFree();
  // The payload of the request frame `index`.
  Bytes RequestPayload(size_t index);

  ScriptedPeer peer;
};

#endif  // VELA_TESTS_SUPPORT_PROXY_FIXTURE_H_
