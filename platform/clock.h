// The one clock of the process. Every wait (Sleep, mutex waits, socket readiness waits) is
// multiplied by the time scale, read once from VELA_TIME_SCALE (a non-negative number, default 1;
// 0 makes every wait return at once). Tests change it with SetTimeScaleForTesting.
//
// GetTickCount runs on virtual time so that loops of the form "Sleep, then compare
// GetTickCount with a deadline" end after the same number of rounds at any scale:
//  - scale > 0: virtual ms = real elapsed ms / scale;
//  - scale 0:   virtual ms = real elapsed ms + the sum of all ms ever requested from Sleep.
// Changing the scale rebases the clock, so it never runs backwards.
#ifndef VELA_PLATFORM_CLOCK_H_
#define VELA_PLATFORM_CLOCK_H_

#include <sys/time.h>

#include <chrono>

#include "platform/wintypes.h"

double TimeScale();
void SetTimeScaleForTesting(double scale);

void Sleep(DWORD ms);
DWORD GetTickCount();
ULONGLONG GetTickCount64();

// A wait of `ms` virtual milliseconds in real time. INFINITE is not special here: callers that
// wait for ever must not go through this.
std::chrono::nanoseconds ScaledDuration(uint64_t ms);

// For poll()/select(): the real milliseconds (rounded up, capped at INT32_MAX) for `ms`.
int ScaledWaitMs(uint64_t ms);

// For a wait for a peer's reply: like ScaledWaitMs, but never below kMinReplyWaitMs real
// milliseconds (nor above `ms` itself), so that a small or zero scale makes sleeps and polls
// instant without turning receives into time-outs.
inline constexpr int kMinReplyWaitMs = 250;
int ScaledReplyWaitMs(uint64_t ms);

// For select(): the real timeval of a virtual timeout of `sec` seconds and `usec` microseconds.
timeval ScaledTimeval(long sec, long usec);

#endif  // VELA_PLATFORM_CLOCK_H_
