// The parts of the host view's interface that the inventory uses on every host: the reason kept
// for its log lines, and the number form of path ids.
#include <cstdint>
#include <mutex>

#include "platform/host_view.h"

namespace {
std::mutex g_problemMutex;
std::string g_problem;  // guarded by g_problemMutex
}  // namespace

std::string HostViewProblem() {
  std::lock_guard<std::mutex> lock(g_problemMutex);
  return g_problem;
}

void SetHostViewProblem(const std::string& problem) {
  std::lock_guard<std::mutex> lock(g_problemMutex);
  g_problem = problem;
}

bool ParseDecimalU64(const std::string& text, uint64_t* value) {
  if (text.empty() || text.size() > 20) return false;
  uint64_t result = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    uint64_t digit = static_cast<uint64_t>(c - '0');
    if (result > (UINT64_MAX - digit) / 10) return false;
    result = result * 10 + digit;
  }
  *value = result;
  return true;
}
