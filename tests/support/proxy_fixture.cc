#include "tests/support/proxy_fixture.h"

#include <thread>

#include "platform/clock.h"
#include "platform/handle.h"
#include "platform/mutex.h"
#include "proxy/iasocket.h"

void ProxyClientTest::SetUp() {
  SetTimeScaleForTesting(0.001);
  AllocateRequestBuffer();
  InitLock();
  g_proxyErrorCell = 0;
  ASSERT_EQ(socket_connect("127.0.0.1", peer.port()), 0);
}

void ProxyClientTest::TearDown() {
  CloseProxySocket();
  FreeLock();
  FreeRequestBuffer();
}

bool ProxyClientTest::CommandMutexFree() {
  bool free = false;
  std::thread probe([&] {
    free = WaitForSingleObject(tidegate_lock_vds, 0) == WAIT_OBJECT_0;
    if (free) ReleaseMutex(tidegate_lock_vds);
  });
  probe.join();
  return free;
}

Bytes ProxyClientTest::RequestPayload(size_t index) {
  std::vector<Bytes> requests = peer.Requests();
  if (index >= requests.size()) return {};
  return Bytes(requests[index].begin() + kPacketHeaderSize, requests[index].end());
}
