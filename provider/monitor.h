// The event monitor: one thread per subsystem polls both controllers' event logs every ten
// seconds, notifies the service of the changes it maps, and asks for a refresh when an event
// changes the object tree. It never refreshes itself.
#ifndef VELA_PROVIDER_MONITOR_H_
#define VELA_PROVIDER_MONITOR_H_

#include <cstdint>

#include "proxy/records.h"

class CProvider;

// The monitor parameter of one thread: the subsystem it watches.
struct MonitorParam {
  uint32_t controllerA;
  uint32_t controllerB;
  char UniqueSN[32];
};

// Results of one pass.
constexpr int kPassDone = 0;
constexpr int kPassSkipped = 1;
constexpr int kPassStop = 2;

// At most this many events are read per controller and pass.
constexpr uint32_t kMaxEventsPerPass = 100;

// The thread body: passes until one returns kPassStop.
void DealEventSubSystem(CProvider* provider, MonitorParam param);
// One pass over both controllers of the subsystem the parameter names.
int CheckEventsFromRAIDController(CProvider* provider, const MonitorParam& param);

// Same event: every field but the sequence number and the description.
bool IsSameEvent(const event& a, const event& b);
// Whether the event's code changes the object tree.
bool EventNeedsRefresh(const event& ev);
// Sends the service the notification the event's code maps to, if any.
void NotificationEvent(CProvider* provider, const event& ev);

#endif  // VELA_PROVIDER_MONITOR_H_
