// The system event log of Windows.
#include "platform/eventlog.h"

#include "platform/win/sdk.h"

HANDLE RegisterEventSourceW(LPCWSTR server, LPCWSTR sourceName) {
  return winsdk::RegisterEventSourceW(server, sourceName);
}

BOOL ReportEventA(HANDLE eventLog, WORD type, WORD category, DWORD eventId, void* userSid,
                  WORD numStrings, DWORD dataSize, LPCSTR* strings, void* rawData) {
  return winsdk::ReportEventA(eventLog, type, category, eventId, userSid, numStrings, dataSize,
                              strings, rawData);
}

BOOL DeregisterEventSource(HANDLE eventLog) { return winsdk::DeregisterEventSource(eventLog); }
