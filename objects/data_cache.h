// The controller records one query fetches: each controller is read at most once per query, so
// that a question asked of every LUN of a subsystem costs one fetch per controller and not one
// per LUN. A cache lives for one call of an interface method, under hNotificationMutex, and
// never across calls: changes always fetch afresh.
#ifndef VELA_OBJECTS_DATA_CACHE_H_
#define VELA_OBJECTS_DATA_CACHE_H_

#include <map>
#include <memory>

#include "platform/wintypes.h"
#include "proxy/records.h"

class ControllerDataCache {
 public:
  ControllerDataCache() = default;
  ControllerDataCache(const ControllerDataCache&) = delete;
  ControllerDataCache& operator=(const ControllerDataCache&) = delete;

  // The record of the controller `handle`, fetched on first use; null when that fetch failed
  // (a failure is remembered for the rest of the query).
  const controllerData* Fetch(DWORD handle);

 private:
  std::map<DWORD, std::unique_ptr<controllerData>> m_data;
};

#endif  // VELA_OBJECTS_DATA_CACHE_H_
