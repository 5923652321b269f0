#include "sim/faults.h"

#include <sstream>

namespace sim {

namespace {

bool ParseNumber(const std::string& text, uint32_t* value) {
  try {
    size_t end = 0;
    const unsigned long parsed = std::stoul(text, &end, 0);
    if (end != text.size() || parsed > UINT32_MAX) return false;
    *value = static_cast<uint32_t>(parsed);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

bool FaultInjector::Add(const std::string& words, std::string* why) {
  std::istringstream in(words);
  std::string next, count, kind, opcode, extra;
  in >> next >> count >> kind >> opcode >> extra;
  Rule rule;
  if (next != "next" || !ParseNumber(count, &rule.remaining) || rule.remaining == 0 ||
      !extra.empty()) {
    *why = "usage: fault next N close|silent|short|wrong-opcode|status=<n>|refuse=<n> [opcode]";
    return false;
  }
  if (kind == "close") {
    rule.fault.kind = FaultKind::kClose;
  } else if (kind == "silent") {
    rule.fault.kind = FaultKind::kSilent;
  } else if (kind == "short") {
    rule.fault.kind = FaultKind::kShort;
  } else if (kind == "wrong-opcode") {
    rule.fault.kind = FaultKind::kWrongOpcode;
  } else if (kind.rfind("status=", 0) == 0 && ParseNumber(kind.substr(7), &rule.fault.status) &&
             rule.fault.status != 0) {
    rule.fault.kind = FaultKind::kStatus;
  } else if (kind.rfind("refuse=", 0) == 0 && ParseNumber(kind.substr(7), &rule.fault.status) &&
             rule.fault.status != 0) {
    rule.fault.kind = FaultKind::kRefuse;
  } else {
    *why = "unknown fault " + kind;
    return false;
  }
  if (!opcode.empty()) {
    uint32_t value = 0;
    if (!ParseNumber(opcode, &value)) {
      *why = "bad opcode " + opcode;
      return false;
    }
    rule.opcode = value;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  rules_.push_back(rule);
  return true;
}

std::optional<Fault> FaultInjector::Take(uint32_t opcode) {
  std::lock_guard<std::mutex> lock(mutex_);
  for (auto it = rules_.begin(); it != rules_.end(); ++it) {
    if (it->opcode && *it->opcode != opcode) continue;
    const Fault fault = it->fault;
    if (--it->remaining == 0) rules_.erase(it);
    return fault;
  }
  return std::nullopt;
}

}  // namespace sim
