// The simulator's request journal as tests read it: each request the proxy served since the last
// read, with the first 8 KiB of its payload.
#ifndef VELA_TESTS_PROVIDER_SIM_JOURNAL_H_
#define VELA_TESTS_PROVIDER_SIM_JOURNAL_H_

#include <algorithm>
#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "proxy/byte_order.h"
#include "sim/simulator.h"

struct JournalRequest {
  uint32_t opcode = 0;
  size_t length = 0;
  std::vector<uint8_t> bytes;

  uint32_t Be32(size_t at) const { return get_be32(bytes.data() + at); }
  uint64_t Be64(size_t at) const { return get_be64_lowfirst(bytes.data() + at); }
  // Whether the n bytes from `at` are all zero.
  bool Zero(size_t at, size_t n) const {
    return std::all_of(bytes.begin() + at, bytes.begin() + at + n,
                       [](uint8_t b) { return b == 0; });
  }
  std::string Text(size_t at) const { return reinterpret_cast<const char*>(bytes.data() + at); }
};

// Requests since the last call, in order; the journal is emptied.
inline std::vector<JournalRequest> ReadJournal(sim::Simulator* simulator) {
  const std::string text = simulator->Admin("journal");
  simulator->Admin("journal clear");
  std::vector<JournalRequest> out;
  for (const auto& entry : nlohmann::json::parse(text)) {
    JournalRequest request{entry["opcode"].get<uint32_t>(), entry["length"].get<size_t>(), {}};
    const std::string hex = entry["request"].get<std::string>();
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
      request.bytes.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    out.push_back(std::move(request));
  }
  return out;
}

inline std::vector<uint32_t> Opcodes(const std::vector<JournalRequest>& requests) {
  std::vector<uint32_t> opcodes;
  for (const JournalRequest& request : requests) opcodes.push_back(request.opcode);
  return opcodes;
}

// The requests `keep` holds for, in order.
inline std::vector<JournalRequest> Filter(const std::vector<JournalRequest>& requests,
                                          const std::function<bool(uint32_t opcode)>& keep) {
  std::vector<JournalRequest> out;
  std::copy_if(requests.begin(), requests.end(), std::back_inserter(out),
               [&](const JournalRequest& request) { return keep(request.opcode); });
  return out;
}

inline std::vector<JournalRequest> Only(const std::vector<JournalRequest>& requests,
                                        uint32_t opcode) {
  return Filter(requests, [opcode](uint32_t code) { return code == opcode; });
}

#endif  // VELA_TESTS_PROVIDER_SIM_JOURNAL_H_
