#include "platform/eventlog.h"

#include <syslog.h>

#include <mutex>

#include "platform/strings.h"
#include "platform/winerror.h"

namespace {

class EventSource : public KernelObject {
 public:
  explicit EventSource(std::string name) : m_name(std::move(name)) {}
  const std::string& Name() const { return m_name; }

 private:
  const std::string m_name;
};

struct Sink {
  std::mutex lock;
  // Guarded by `lock`.
  bool capturing = false;
  std::vector<EventLogEntry> captured;
  std::string syslogIdent;  // openlog keeps the pointer, so it lives here
};

Sink& TheSink() {
  static Sink* sink = new Sink();  // never destroyed: events may come at exit
  return *sink;
}

int Priority(WORD type) {
  switch (type) {
    case EVENTLOG_ERROR_TYPE:
      return LOG_ERR;
    case EVENTLOG_WARNING_TYPE:
      return LOG_WARNING;
    default:
      return LOG_INFO;
  }
}

}  // namespace

HANDLE RegisterEventSourceW(LPCWSTR server, LPCWSTR sourceName) {
  if (server != nullptr || sourceName == nullptr || *sourceName == 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  return MakeHandle(std::make_shared<EventSource>(Utf16ToUtf8(sourceName)));
}

BOOL ReportEventA(HANDLE eventLog, WORD type, WORD category, DWORD eventId, void*, WORD numStrings,
                  DWORD, LPCSTR* strings, void*) {
  std::shared_ptr<KernelObject> object = LookupHandle(eventLog);
  auto* source = dynamic_cast<EventSource*>(object.get());
  if (source == nullptr || (numStrings > 0 && strings == nullptr)) {
    SetLastError(source == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  EventLogEntry entry{source->Name(), type, category, eventId, {}};
  std::string message;
  for (WORD i = 0; i < numStrings; ++i) {
    entry.strings.emplace_back(strings[i] ? strings[i] : "");
    if (i > 0) message += ' ';
    message += entry.strings.back();
  }
  Sink& sink = TheSink();
  std::lock_guard<std::mutex> guard(sink.lock);
  if (sink.capturing) {
    sink.captured.push_back(std::move(entry));
    return TRUE;
  }
  if (sink.syslogIdent != source->Name()) {
    closelog();
    sink.syslogIdent = source->Name();
    openlog(sink.syslogIdent.c_str(), LOG_PID, LOG_DAEMON);
  }
  syslog(LOG_DAEMON | Priority(type), "%s", message.c_str());
  return TRUE;
}

BOOL DeregisterEventSource(HANDLE eventLog) {
  std::shared_ptr<KernelObject> object = LookupHandle(eventLog);
  if (dynamic_cast<EventSource*>(object.get()) == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  return CloseHandle(eventLog);
}

EventLogCapture::EventLogCapture() {
  Sink& sink = TheSink();
  std::lock_guard<std::mutex> guard(sink.lock);
  sink.capturing = true;
  sink.captured.clear();
}

EventLogCapture::~EventLogCapture() {
  Sink& sink = TheSink();
  std::lock_guard<std::mutex> guard(sink.lock);
  sink.capturing = false;
  sink.captured.clear();
}

std::vector<EventLogEntry> EventLogCapture::Entries() const {
  Sink& sink = TheSink();
  std::lock_guard<std::mutex> guard(sink.lock);
  return sink.captured;
}
