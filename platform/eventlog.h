// The system event log over syslog (facility daemon, identity = the source name). An event is its
// one string, as the provider's message table (message 1, "%1") makes it.
//
// Tests read events through an EventLogCapture: while one exists, events go to it instead of
// syslog.
#ifndef VELA_PLATFORM_EVENTLOG_H_
#define VELA_PLATFORM_EVENTLOG_H_

#include <string>
#include <vector>

#include "platform/handle.h"
#include "platform/wintypes.h"

constexpr WORD EVENTLOG_ERROR_TYPE = 0x0001;
constexpr WORD EVENTLOG_WARNING_TYPE = 0x0002;
constexpr WORD EVENTLOG_INFORMATION_TYPE = 0x0004;

// `server` must be null (the local machine). Null on failure.
HANDLE RegisterEventSourceW(LPCWSTR server, LPCWSTR sourceName);

// Sends the strings, joined by blanks, as one event. Binary data and the user are not kept.
BOOL ReportEventA(HANDLE eventLog, WORD type, WORD category, DWORD eventId, void* userSid,
                  WORD numStrings, DWORD dataSize, LPCSTR* strings, void* rawData);

BOOL DeregisterEventSource(HANDLE eventLog);

struct EventLogEntry {
  std::string source;
  WORD type;
  WORD category;
  DWORD eventId;
  std::vector<std::string> strings;
};

// Holds the events reported during its life. One at a time.
class EventLogCapture {
 public:
  EventLogCapture();
  ~EventLogCapture();
  EventLogCapture(const EventLogCapture&) = delete;
  EventLogCapture& operator=(const EventLogCapture&) = delete;

  std::vector<EventLogEntry> Entries() const;
};

#endif  // VELA_PLATFORM_EVENTLOG_H_
