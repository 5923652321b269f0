#include "sim/admin.h"

#include <cstring>
#include <sstream>
#include <vector>

#include "sim/changes.h"
#include "sim/inventory.h"
#include "sim/json_fields.h"
#include "sim/log.h"
#include "sim/net.h"

namespace sim {

namespace {

// Longest admin line accepted; a longer one drops the connection.
constexpr size_t kMaxAdminLine = 4096;
// Status that carries an admin refusal through State::Change.
constexpr uint32_t kRefused = 1;

std::vector<std::string> Words(const std::string& line) {
  std::istringstream in(line);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

bool ParseUnsigned(const std::string& text, uint64_t limit, uint64_t* value) {
  if (text.empty() || text.find_first_not_of("0123456789xabcdefABCDEF") != std::string::npos) {
    return false;
  }
  try {
    size_t end = 0;
    const unsigned long long parsed = std::stoull(text, &end, 0);
    if (end != text.size() || parsed > limit) return false;
    *value = parsed;
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

std::string Answer(uint32_t status, const std::string& why) {
  if (status == 0) return "ok";
  if (status == kStatusStoreFailed) return "error: the state could not be saved";
  return "error: " + why;
}

// Runs `change` on the subsystem that holds the drive with this serial.
std::string ChangeDrive(State& state, const std::string& serial,
                        bool (*change)(Subsystem&, const std::string&, std::string*)) {
  std::string why = "no drive " + serial;
  size_t index = SIZE_MAX;
  state.Read([&](const Model& model) {
    for (size_t i = 0; i < model.subsystems.size(); ++i) {
      for (const Drive& drive : model.subsystems[i].drives) {
        if (drive.serialNumber == serial) index = i;
      }
    }
  });
  if (index == SIZE_MAX) return "error: " + why;
  const uint32_t status = state.Change(index, [&](Model& model) {
    return change(model.subsystems[index], serial, &why) ? 0u : kRefused;
  });
  return Answer(status, why);
}

bool VdiskMatches(const Vdisk& vdisk, const std::string& key) {
  if (vdisk.name == key) return true;
  const std::string hex = HexText(vdisk.serialNumber.data(), vdisk.serialNumber.size());
  std::string lower = key;
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower.size() >= 32 && hex.compare(0, lower.size(), lower) == 0;
}

std::string VdiskHealth(State& state, const std::string& key, const std::string& value) {
  uint64_t health = 0;
  if (!ParseUnsigned(value, 255, &health)) return "error: health is a number up to 255";
  std::string why = "no vdisk " + key;
  const uint32_t status = state.Change(SIZE_MAX, [&](Model& model) {
    for (Subsystem& subsystem : model.subsystems) {
      for (Vdisk& vdisk : subsystem.vdisks) {
        if (!VdiskMatches(vdisk, key)) continue;
        SetVdiskHealth(subsystem, vdisk, static_cast<uint8_t>(health));
        return 0u;
      }
    }
    return kRefused;
  });
  return Answer(status, why);
}

std::string RaiseEvent(State& state, const std::vector<std::string>& words) {
  uint64_t handle = 0, code = 0, param = 0;
  if (words.size() < 3 || words.size() > 4 || !ParseUnsigned(words[1], UINT32_MAX, &handle) ||
      !ParseUnsigned(words[2], UINT32_MAX, &code) ||
      (words.size() == 4 && !ParseUnsigned(words[3], UINT32_MAX, &param))) {
    return "error: usage: event <controller handle> <code> [param]";
  }
  const uint32_t status = state.Change(SIZE_MAX, [&](Model& model) {
    size_t index = 0;
    Subsystem* subsystem = FindSubsystemByHandle(model, static_cast<uint32_t>(handle), &index);
    if (!subsystem) return kRefused;
    LogOperatorEvent(subsystem->controllers[index], static_cast<uint32_t>(code),
                     static_cast<uint32_t>(param));
    return 0u;
  });
  return Answer(status, "no controller with handle " + words[1]);
}

std::string SetLimit(State& state, const std::vector<std::string>& words) {
  uint64_t value = 0;
  if (words.size() != 3 || !ParseUnsigned(words[2], UINT32_MAX, &value)) {
    return "error: usage: limit <name> <n>";
  }
  const std::string& name = words[1];
  const uint32_t status = state.Change(SIZE_MAX, [&](Model& model) {
    const auto n = static_cast<uint32_t>(value);
    if (name == "snapshots") {
      model.limits.maxSnapshots = n;
    } else if (name == "master-volumes") {
      model.limits.maxMasterVolumes = n;
    } else if (name == "partitions-per-array") {
      if (n > kMaxPartitionsPerArray) return kRefused;
      model.limits.maxPartitionsPerArray = n;
    } else if (name == "array-partitions") {
      for (Subsystem& subsystem : model.subsystems) {
        for (Controller& controller : subsystem.controllers) controller.maxArrayPartitions = n;
      }
    } else {
      return kRefused;
    }
    return 0u;
  });
  return Answer(status, "unknown limit " + name + " or value out of range");
}

std::string SetJobRate(State& state, const std::vector<std::string>& words) {
  double rate = 0;
  try {
    size_t end = 0;
    rate = words.size() == 3 && words[1] == "rate" ? std::stod(words[2], &end) : -1;
    if (end != words[2].size()) rate = -1;
  } catch (const std::exception&) {
    rate = -1;
  }
  if (rate <= 0) return "error: usage: job rate <percent per second, above 0>";
  return Answer(state.Change(SIZE_MAX,
                             [&](Model& model) {
                               model.limits.jobPercentPerSecond = rate;
                               return 0u;
                             }),
                "");
}

}  // namespace

std::string RunAdminCommand(AdminContext& context, const std::string& line) {
  const std::vector<std::string> words = Words(line);
  if (words.empty()) return "error: empty command";
  const std::string& verb = words[0];
  if (verb == "fault") {
    std::string why;
    return context.faults->Add(line.substr(line.find("fault") + 5), &why) ? "ok" : "error: " + why;
  }
  if ((verb == "fail" || verb == "pull") && words.size() == 3 && words[1] == "drive") {
    return ChangeDrive(*context.state, words[2], verb == "fail" ? FailDrive : PullDrive);
  }
  if (verb == "vdisk" && words.size() == 4 && words[2] == "health") {
    return VdiskHealth(*context.state, words[1], words[3]);
  }
  if (verb == "event") return RaiseEvent(*context.state, words);
  if (verb == "heartbeat" && words.size() == 2 && (words[1] == "stop" || words[1] == "start")) {
    context.heartbeatsEnabled->store(words[1] == "start");
    return "ok";
  }
  if (verb == "dump" && words.size() == 1) {
    std::string dump;
    context.state->Read([&](const Model& model) { dump = ModelToJson(model, -1); });
    return dump;
  }
  if (verb == "journal" && context.journal != nullptr && words.size() <= 2) {
    if (words.size() == 1) return context.journal->Json();
    if (words[1] == "clear") {
      context.journal->Clear();
      return "ok";
    }
  }
  if (verb == "job") return SetJobRate(*context.state, words);
  if (verb == "limit") return SetLimit(*context.state, words);
  return "error: unknown command " + verb;
}

void ServeAdminConnection(AdminContext& context, int fd, int stopFd) {
  std::string pending;
  uint8_t buffer[1024];
  for (;;) {
    const long got = ReadSome(fd, stopFd, buffer, sizeof buffer, -1);
    if (got <= 0) return;
    pending.append(reinterpret_cast<const char*>(buffer), static_cast<size_t>(got));
    for (size_t end; (end = pending.find('\n')) != std::string::npos;) {
      std::string line = pending.substr(0, end);
      pending.erase(0, end + 1);
      if (!line.empty() && line.back() == '\r') line.pop_back();
      const std::string answer = RunAdminCommand(context, line) + "\n";
      if (!SendAll(fd, stopFd, reinterpret_cast<const uint8_t*>(answer.data()), answer.size())) {
        return;
      }
    }
    if (pending.size() > kMaxAdminLine) {
      SimLog("admin connection dropped: line longer than %zu bytes", kMaxAdminLine);
      return;
    }
  }
}

}  // namespace sim
