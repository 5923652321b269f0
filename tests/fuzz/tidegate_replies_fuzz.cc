// Every Tidegate:: command and session step, end to end through the socket, against a peer whose
// replies come from the input. Unlike exec_cmnd_fuzz, which hands the client raw bytes, the peer
// here answers each request it reads with a well-formed frame for that request's opcode, so the
// inputs reach the reply checks and the record decoders behind them.
//
// The input is a list of steps, each:
//   byte 0     the command the client runs (any value; taken modulo the command count)
//   byte 1     how the peer frames its answer:
//                bits 0-1  0 DataLen true, 1 DataLen too long (then the peer closes),
//                          2 DataLen too short (the rest stays in the stream), 3 no header
//                bit 2     tile the payload up to a record size, picked by bits 3-7
//   bytes 2-3  payload length, little-endian, cut to what the input still holds
//   payload
// The client runs the commands in order; the peer answers the requests in order, one step each,
// and closes when the steps run out or after a malformed answer (whose leftover bytes the next
// command then reads). A command that sends nothing shifts the pairing. Properties:
//   - no read or write outside the request buffer or the caller's records;
//   - the methods of the first family give 0 or -1 (the status-returning ones may give any
//     status word, which is not checked);
//   - list results stay within their tables; the error cell holds 0, -1, -2 or a socket error.
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "proxy/frame.h"
#include "proxy/iasocket.h"
#include "proxy/records.h"
#include "proxy/session.h"
#include "proxy/tidegate.h"

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

constexpr size_t kMaxSteps = 8;

constexpr size_t kFullBackingStoreList =
    kBackingStoreListEntriesOffset + kMaxBackingStoreEntries * kBackingStoreEntrySize;

// Sizes a reply is tiled up to: the records the commands decode, and their lists.
constexpr size_t kTileSizes[] = {
    kControllerDataSize,
    kSubsystemListEntriesOffset + 4 * kSubsystemSize,
    kEventListEntriesOffset + 3 * kEventSize,
    kGetEventSize,
    kPartitionViewSize,
    kUnifiedControllerDataSize,
    kHbaInfoListSize,
    kRetndSnListSize,
    kArraySize,
    kPartitionSize,
    kFullBackingStoreList,
    kMasterVolumeListEntriesOffset + 8 * kMasterVolumeEntrySize,
    kSnapshotListEntriesOffset + 8 * kSnapshotEntrySize,
    Tidegate::kAuthDbRecordSize,
    Tidegate::kFlexKnownHostsSize,
    64,
};

struct Step {
  uint8_t command = 0;
  uint8_t framing = 0;
  std::vector<uint8_t> payload;
};

std::vector<Step> ParseSteps(const uint8_t* data, size_t size) {
  std::vector<Step> steps;
  size_t at = 0;
  while (at + 4 <= size && steps.size() < kMaxSteps) {
    Step step;
    step.command = data[at];
    step.framing = data[at + 1];
    const size_t length = std::min<size_t>(size - at - 4, data[at + 2] | (data[at + 3] << 8));
    step.payload.assign(data + at + 4, data + at + 4 + length);
    if (step.framing & 4) {
      const size_t target = kTileSizes[(step.framing >> 3) % std::size(kTileSizes)];
      const size_t given = step.payload.size();
      step.payload.resize(std::max(target, given));
      for (size_t i = given; i < step.payload.size(); ++i) {
        step.payload[i] = given ? step.payload[i % given] : 0;
      }
    }
    steps.push_back(std::move(step));
    at += 4 + length;
  }
  return steps;
}

// The peer's end of the connection. Sending also takes in what the client sends meanwhile, so
// that a large reply and a large request never wait on each other.
class PeerStream {
 public:
  explicit PeerStream(int fd) : m_fd(fd) { fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK); }

  bool Read(uint8_t* to, size_t len) {
    while (m_inbox.size() < len) {
      if (!Pump(false)) return false;
    }
    std::copy(m_inbox.begin(), m_inbox.begin() + len, to);
    m_inbox.erase(m_inbox.begin(), m_inbox.begin() + len);
    return true;
  }

  bool Send(const uint8_t* from, size_t len) {
    for (size_t total = 0; total < len;) {
      const ssize_t sent = send(m_fd, from + total, len - total, MSG_NOSIGNAL);
      if (sent > 0) {
        total += static_cast<size_t>(sent);
      } else if (sent < 0 && errno == EAGAIN) {
        if (!Pump(true)) return false;
      } else {
        return false;
      }
    }
    return true;
  }

  // Takes in and drops whatever comes until the client closes.
  void Drain() {
    while (Pump(false)) m_inbox.clear();
  }

 private:
  // Waits until the socket is readable (or, with `writing`, writable) and reads what is there.
  // False when the client has gone.
  bool Pump(bool writing) {
    pollfd p{m_fd, static_cast<short>(POLLIN | (writing ? POLLOUT : 0)), 0};
    if (poll(&p, 1, -1) < 0) return errno == EINTR;
    if (p.revents & POLLIN) {
      uint8_t chunk[65536];
      const ssize_t got = recv(m_fd, chunk, sizeof chunk, 0);
      if (got == 0) return false;
      if (got > 0) m_inbox.insert(m_inbox.end(), chunk, chunk + got);
      if (got < 0 && errno != EAGAIN) return false;
      return true;
    }
    return (p.revents & POLLOUT) != 0;
  }

  int m_fd;
  std::vector<uint8_t> m_inbox;
};

// The peer: reads a request frame, answers it with the next step, until the steps run out or
// the client goes away. After a malformed answer it stops answering (the client might wait for
// bytes that never come) and only drains what the client still sends.
void Serve(int fd, const std::vector<Step>& steps) {
  PeerStream stream(fd);
  // One peer runs at a time; its request buffer is kept from one input to the next.
  static std::vector<uint8_t> request(kRequestBufferSize);
  for (const Step& step : steps) {
    if (!stream.Read(request.data(), kPacketHeaderSize)) return;
    const uint32_t dataLen = GetFrameDataLen(request.data());
    if (dataLen > kRequestBufferSize - kPacketHeaderSize ||
        !stream.Read(request.data() + kPacketHeaderSize, dataLen)) {
      return;
    }
    PacketHeader header;
    DecodePacketHeader(request.data(), &header);
    const uint32_t mode = step.framing & 3;
    if (mode != 3) {
      // A session step's answer keeps the frame class and carries the next opcode.
      if (header.DataType == RSSESSION) {
        ++header.OpCode;
      } else {
        header.DataType = RSREPLY;
      }
      header.DataLen = static_cast<uint32_t>(step.payload.size());
      if (mode == 1) header.DataLen += 1 + step.framing;
      if (mode == 2) header.DataLen /= 2;
      uint8_t encoded[kPacketHeaderSize];
      EncodePacketHeader(header, encoded);
      if (!stream.Send(encoded, sizeof encoded)) return;
    }
    if (!stream.Send(step.payload.data(), step.payload.size())) return;
    if (mode != 0) {
      shutdown(fd, SHUT_WR);
      stream.Drain();
      return;
    }
  }
  shutdown(fd, SHUT_WR);
  stream.Drain();
}

void RunCommand(uint8_t which, const uint8_t* seed) {
  // Serials and names sent by the commands; their content does not matter to the reply path.
  static const uint8_t kSerial[32] = {'S', 'N'};
  static const DriveSerial kDriveSerial = {'D'};
  switch (which % 44) {
    case 0: {
      std::vector<subsystem> list;
      Check(Tidegate::get_subsystems(&list) <= 0);
      break;
    }
    case 1: {
      auto data = std::make_unique<controllerData>();
      Check(Tidegate::get_controller_data(1, data.get()) <= 0);
      break;
    }
    case 2: {
      event one{};
      Check(Tidegate::get_event(1, seed[0], seed[1], seed[2], &one) <= 0);
      break;
    }
    case 3: {
      std::vector<event> events;
      const uint32_t first = seed[0];
      const uint32_t last = first + seed[1] % 8;
      if (Tidegate::get_events(1, first, last, &events) == 0) {
        Check(events.size() <= last - first + 1);
      }
      break;
    }
    case 4: {
      // Room for `size` bytes, never a null pointer (no caller passes one).
      const size_t size = seed[0] * 4u;
      std::vector<uint8_t> buffer(size + 1);
      Check(Tidegate::get_version(buffer.data(), size) <= 0);
      break;
    }
    case 5:
      Check(Tidegate::set_part_name(1, kSerial, "part") <= 0);
      break;
    case 6: {
      partition made{};
      Tidegate::add_array_part(1, kSerial, uint64_t{seed[0]} << 30, "part", seed[1] & 1, seed[2],
                               kSerial, &made);
      break;
    }
    case 7:
      Check(Tidegate::delete_part(1, kSerial) <= 0);
      break;
    case 8: {
      auto made = std::make_unique<array>();
      std::vector<driveLocation> where(1 + seed[0] % 4);
      std::vector<DriveSerial> serials(where.size(), kDriveSerial);
      Check(Tidegate::create_array(1, seed[1] & 1, made.get(), seed[2] % 7, 0, where, serials,
                                   "array", 0, 0) <= 0);
      break;
    }
    case 9: {
      expandPart request{};
      Check(Tidegate::expand_part(1, request) <= 0);
      break;
    }
    case 10: {
      std::vector<driveLocation> where(1 + seed[0] % 4);
      Check(Tidegate::expand_array(1, kSerial, where) <= 0);
      break;
    }
    case 11:
      Check(Tidegate::assign_spare(1, kSerial, seed[0] & 1) <= 0);
      break;
    case 12:
      Check(Tidegate::blink_drive(1, kSerial, seed[0] & 1) <= 0);
      break;
    case 13:
      Check(Tidegate::flush_cache(1, kSerial) <= 0);
      break;
    case 14:
      Check(Tidegate::free_cache(1, kSerial) <= 0);
      break;
    case 15:
      Check(Tidegate::silence_alarm(1) <= 0);
      break;
    case 16:
      Check(Tidegate::delete_array(1, kSerial) <= 0);
      break;
    case 17:
      Check(Tidegate::abort_utility(1, kSerial) <= 0);
      break;
    case 18: {
      uint32_t percent = 0;
      Check(Tidegate::get_percent(1, kSerial, &percent) <= 0);
      break;
    }
    case 19: {
      auto net = std::make_unique<advNetInterface>();
      Check(Tidegate::set_adv_net(1, *net) <= 0);
      break;
    }
    case 20:
      Check(Tidegate::set_part_lun(1, kSerial, seed[0]) <= 0);
      break;
    case 21: {
      cacheParams params{};
      Check(Tidegate::change_partition_cache_params(1, kSerial, params) <= 0);
      break;
    }
    case 22:
      Check(Tidegate::reset_controller(1, seed[0]) <= 0);
      break;
    case 23:
      Check(Tidegate::set_owner(1, kSerial) <= 0);
      break;
    case 24:
      Check(Tidegate::rescan_bus(1) <= 0);
      break;
    case 25: {
      auto view = std::make_unique<partitionView>();
      Check(Tidegate::get_part_view(1, kSerial, view.get()) <= 0);
      break;
    }
    case 26:
      Check(Tidegate::create_custom_view(1, kSerial, seed[0], seed[1] & 1, seed[2],
                                         "2100001b32a1b2c3", seed[1] & 2) <= 0);
      break;
    case 27: {
      RetndSnList made{};
      Tidegate::create_snapshot(1, kSerial, "snap", seed[0] & 1, seed[1], seed[2], kSerial, &made);
      break;
    }
    case 28: {
      uint64_t tag = 0;
      Tidegate::get_dms_tag(1, seed[0] & 1, &tag);
      break;
    }
    case 29: {
      std::vector<backingStoreEntry> entries;
      if (Tidegate::get_backing_store_list(1, seed[0] & 1, &entries) == 0) {
        Check(entries.size() <= kMaxBackingStoreEntries);
      }
      break;
    }
    case 30: {
      std::vector<masterVolumeEntry> entries;
      if (Tidegate::get_master_volume_list(1, seed[0], seed[1], kSerial, &entries) == 0) {
        Check(entries.size() <= kMaxMasterVolumeEntries);
      }
      break;
    }
    case 31: {
      std::vector<snapshotEntry> entries;
      Tidegate::get_snapshot_list(1, seed[0], seed[1], seed[2] & 1 ? kSerial : nullptr, &entries);
      Check(entries.size() <= kMaxSnapshotEntries);
      break;
    }
    case 32:
      Tidegate::convert_master_volume(1, kSerial, seed[0], kSerial);
      break;
    case 33: {
      uint8_t needRefresh = 0;
      Tidegate::get_need_refresh(kSerial, &needRefresh);
      break;
    }
    case 34: {
      auto data = std::make_unique<unifiedControllerData>();
      Tidegate::get_unified_controller_data(1, data.get());
      break;
    }
    case 35: {
      std::vector<uint8_t> record(Tidegate::kAuthDbRecordSize, seed[0]);
      Tidegate::get_authDB_record(1, record.data());
      break;
    }
    case 36:
      Tidegate::set_target_secret(1, "secret");
      break;
    case 37:
      Tidegate::clear_all_target_secret(1);
      break;
    case 38:
      Tidegate::set_target_secret(1, "iqn.2024-01.example:t", "secret");
      break;
    case 39:
      Tidegate::remeber_initiator_secret(1, "iqn.2024-01.example:i", "a", "b");
      break;
    case 40: {
      std::vector<uint8_t> hosts(Tidegate::kFlexKnownHostsSize);
      Tidegate::get_flex_known_hosts(1, hosts.data());
      break;
    }
    case 41: {
      auto list = std::make_unique<hbaInfoList>();
      if (Tidegate::get_connect_Hba_info_list(list.get()) == 0) {
        Check(list->count >= 0 && static_cast<size_t>(list->count) <= kMaxHbaInfo);
      }
      break;
    }
    case 42: {
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
    // The reply wait must outlast the peer thread's turn; the mutex holds of delete_part and
    // blink_drive shrink to milliseconds.
    SetTimeScaleForTesting(0.001);
    AllocateRequestBuffer();
    return true;
  }();
  Check(ready);
  const std::vector<Step> steps = ParseSteps(data, size);
  if (steps.empty()) return 0;

  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return 0;
  std::thread peer([&] { Serve(ends[1], steps); });
  g_proxySocket = ends[0];
  g_proxyErrorCell = 0;
  for (const Step& step : steps) {
    const uint8_t seed[3] = {step.framing, static_cast<uint8_t>(step.payload.size()),
                             step.payload.empty() ? uint8_t{0} : step.payload[0]};
    RunCommand(step.command, seed);
  }
  CloseProxySocket();
  peer.join();
  close(ends[1]);
  return 0;
}
