// The reply path of the proxy client against arbitrary bytes from the peer. The first byte picks
// a sequence of commands; the rest is everything the peer sends, after which it closes. The
// commands read their replies from that stream one after the other, so a reply cut short or
// announced too long leaves the next command out of step, as on the real wire. Properties:
//   - no read or write outside the request buffer or the caller's records;
//   - every result is 0, -1, or (for the status-returning methods) the status word;
//   - the error cell holds 0, -1, -2 or a socket error.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "platform/clock.h"
#include "proxy/iasocket.h"
#include "proxy/session.h"
#include "proxy/tidegate.h"

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

void RunCommand(uint8_t which) {
  static const uint8_t kSerial[32] = {'S'};
  switch (which % 11) {
    case 0: {
      uint32_t percent = 0;
      Check(Tidegate::get_percent(1, kSerial, &percent) <= 0);
      break;
    }
    case 1: {
      std::vector<subsystem> list;
      Check(Tidegate::get_subsystems(&list) <= 0);
      break;
    }
    case 2: {
      std::vector<event> events;
      if (Tidegate::get_events(1, 5, 104, &events) == 0) Check(events.size() <= 100);
      break;
    }
    case 3: {
      event last{};
      Check(Tidegate::get_event(1, 0, 1, 0, &last) <= 0);
      break;
    }
    case 4: {
      std::vector<backingStoreEntry> entries;
      if (Tidegate::get_backing_store_list(1, 0, &entries) == 0) Check(entries.size() <= 16);
      break;
    }
    case 5: {
      std::vector<snapshotEntry> entries;
      Tidegate::get_snapshot_list(1, 0, 0, nullptr, &entries);
      Check(entries.size() <= kMaxSnapshotEntries);
      break;
    }
    case 6: {
      auto list = std::make_unique<hbaInfoList>();
      if (Tidegate::get_connect_Hba_info_list(list.get()) == 0) {
        Check(list->count >= 0 && list->count <= 32);
      }
      break;
    }
    case 7: {
      auto data = std::make_unique<controllerData>();
      Check(Tidegate::get_controller_data(1, data.get()) <= 0);
      break;
    }
    case 8: {
      RetndSnList made{};
      Tidegate::create_snapshot(1, kSerial, "S", 0, 3, 0, kSerial, &made);
      break;
    }
    case 9: {
      const int result = handshake(g_requestBuffer.get());
      Check(result == 0 || result == -1 || result == 29);
      break;
    }
    default: {
      const int result = login(g_requestBuffer.get());
      Check(result == 0 || result == -1);
      break;
    }
  }
  const int cell = g_proxyErrorCell;
  Check(cell == 0 || cell == -1 || cell == -2 || cell > 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool ready = [] {
    SetTimeScaleForTesting(0);  // the reply is written before the command waits for it
    AllocateRequestBuffer();
    return true;
  }();
  Check(ready);
  if (size == 0) return 0;

  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return 0;
  // The socket pair buffers the whole reply stream; a larger input is cut.
  size_t written = 0;
  while (written + 1 < size) {
    const ssize_t n = send(ends[1], data + 1 + written, size - 1 - written, MSG_DONTWAIT);
    if (n <= 0) break;
    written += static_cast<size_t>(n);
  }
  shutdown(ends[1], SHUT_WR);
  g_proxySocket = ends[0];

  // Up to three commands, from the bits of the first byte.
  RunCommand(data[0]);
  RunCommand(static_cast<uint8_t>(data[0] >> 3));
  RunCommand(static_cast<uint8_t>(data[0] >> 5));

  CloseProxySocket();
  close(ends[1]);
  return 0;
}
