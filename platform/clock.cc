#include "platform/clock.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <thread>

namespace {

using SteadyClock = std::chrono::steady_clock;

double ScaleFromEnvironment() {
  const char* text = std::getenv("VELA_TIME_SCALE");
  if (text == nullptr || *text == '\0') return 1.0;
  char* end = nullptr;
  double value = std::strtod(text, &end);
  if (end == text || *end != '\0' || !std::isfinite(value) || value < 0) return 1.0;
  return value;
}

struct ClockState {
  std::mutex lock;
  // All guarded by `lock`.
  double scale = ScaleFromEnvironment();
  SteadyClock::time_point base = SteadyClock::now();  // real time of the last rebase
  double baseTickMs = 0;                              // virtual ms at `base`
  double sleepCreditMs = 0;  // Sleep requests while the scale is 0, since `base`

  double NowLocked() {
    double realMs = std::chrono::duration<double, std::milli>(SteadyClock::now() - base).count();
    if (scale > 0) return baseTickMs + realMs / scale;
    return baseTickMs + realMs + sleepCreditMs;
  }
};

ClockState& State() {
  // Destroyed with the module's statics; no thread of the module outlives its detach.
  static ClockState state;
  return state;
}

}  // namespace

double TimeScale() {
  ClockState& state = State();
  std::lock_guard<std::mutex> guard(state.lock);
  return state.scale;
}

void SetTimeScaleForTesting(double scale) {
  ClockState& state = State();
  std::lock_guard<std::mutex> guard(state.lock);
  state.baseTickMs = state.NowLocked();
  state.base = SteadyClock::now();
  state.sleepCreditMs = 0;
  state.scale = (std::isfinite(scale) && scale >= 0) ? scale : 1.0;
}

std::chrono::nanoseconds ScaledDuration(uint64_t ms) {
  double real_ns = static_cast<double>(ms) * 1e6 * TimeScale();
  constexpr double kMax = static_cast<double>(std::numeric_limits<int64_t>::max() / 2);
  if (real_ns > kMax) real_ns = kMax;
  return std::chrono::nanoseconds(static_cast<int64_t>(real_ns));
}

void Sleep(DWORD ms) {
  ClockState& state = State();
  double scale;
  {
    std::lock_guard<std::mutex> guard(state.lock);
    scale = state.scale;
    if (scale == 0) state.sleepCreditMs += ms;
  }
  if (scale > 0) std::this_thread::sleep_for(ScaledDuration(ms));
}

ULONGLONG GetTickCount64() {
  ClockState& state = State();
  std::lock_guard<std::mutex> guard(state.lock);
  return static_cast<ULONGLONG>(state.NowLocked());
}

DWORD GetTickCount() { return static_cast<DWORD>(GetTickCount64()); }

int ScaledWaitMs(uint64_t ms) {
  double real = std::ceil(static_cast<double>(ms) * TimeScale());
  if (real > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
  return static_cast<int>(real);
}

int ScaledReplyWaitMs(uint64_t ms) {
  const uint64_t floor = std::min<uint64_t>(ms, kMinReplyWaitMs);
  return std::max(ScaledWaitMs(ms), static_cast<int>(floor));
}

timeval ScaledTimeval(long sec, long usec) {
  double realUs = (static_cast<double>(sec) * 1e6 + static_cast<double>(usec)) * TimeScale();
  if (realUs < 0) realUs = 0;
  constexpr double kMaxUs = 1e6 * 86400 * 365;  // a year is "for ever" for a readiness wait
  if (realUs > kMaxUs) realUs = kMaxUs;
  auto whole = static_cast<long long>(realUs);
  timeval tv;
  tv.tv_sec = static_cast<time_t>(whole / 1000000);
  tv.tv_usec = static_cast<decltype(tv.tv_usec)>(whole % 1000000);
  return tv;
}
