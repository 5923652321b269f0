#include "sim/journal.h"

#include "sim/json_fields.h"

namespace sim {

void RequestJournal::Record(uint32_t opcode, const uint8_t* payload, size_t length) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (entries_.size() == kMaxEntries) entries_.pop_front();
  const size_t kept = length < kMaxKeptBytes ? length : kMaxKeptBytes;
  entries_.push_back({opcode, length, std::vector<uint8_t>(payload, payload + kept)});
}

void RequestJournal::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  entries_.clear();
}

std::string RequestJournal::Json() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::string out = "[";
  for (const Entry& entry : entries_) {
    if (out.size() > 1) out += ",";
    out += "{\"opcode\":" + std::to_string(entry.opcode) +
           ",\"length\":" + std::to_string(entry.length) + ",\"request\":\"" +
           HexText(entry.payload.data(), entry.payload.size()) + "\"}";
  }
  return out + "]";
}

}  // namespace sim
