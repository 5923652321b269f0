// The requests the simulator received, for tests and integrators who check what a client sent:
// the admin command "journal" lists them (opcode and payload bytes) and "journal clear" empties
// the list. Only requests after a successful login are kept, the oldest dropped past a bound;
// of each payload the first 8 KiB are kept (the custom view request runs to 1.3 MB).
#ifndef VELA_SIM_JOURNAL_H_
#define VELA_SIM_JOURNAL_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace sim {

class RequestJournal {
 public:
  void Record(uint32_t opcode, const uint8_t* payload, size_t length);
  void Clear();
  // One line of JSON: [{"opcode":N,"length":N,"request":"hex"},...] in arrival order.
  std::string Json();

 private:
  static constexpr size_t kMaxEntries = 4096;
  static constexpr size_t kMaxKeptBytes = 8192;
  struct Entry {
    uint32_t opcode = 0;
    size_t length = 0;
    std::vector<uint8_t> payload;
  };
  std::mutex mutex_;
  std::deque<Entry> entries_;  // guarded by mutex_
};

}  // namespace sim

#endif  // VELA_SIM_JOURNAL_H_
