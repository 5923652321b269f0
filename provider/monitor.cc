#include "provider/monitor.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <vector>

#include "diag/debug_log.h"
#include "objects/controller.h"
#include "objects/drive.h"
#include "objects/lun.h"
#include "objects/subsystem.h"
#include "platform/clock.h"
#include "platform/com.h"
#include "provider/load_filter.h"
#include "provider/provider.h"
#include "proxy/iasocket.h"
#include "proxy/session.h"
#include "proxy/tidegate.h"

namespace {

// How long unload lets the monitor threads end by themselves: the ten rounds of one second that
// the session gives every thread of the provider.
constexpr uint64_t kMonitorStopWaitMs = 10 * 1000;

bool MonitorShouldStop(const std::atomic<bool>& stop) {
  return g_isTerminating.load() != 0 || !isProviderOnline.load() || stop.load();
}

// Offsets of the fields IsSameEvent compares, in the record as the proxy sends it.
constexpr size_t kSameWords[] = {4, 8, 12, 20, 24, 28, 32, 36, 40, 44, 48, 52, 140};
constexpr size_t kSameBytes[] = {16, 17, 144, 145};
constexpr size_t kSameBlockA = 56;   // 64 bytes
constexpr size_t kSameBlockB = 120;  // 20 bytes
static_assert(kSameBlockB + 20 <= kEventSize && 140 + 4 <= kEventSize);

// The codes whose events change what the controllers report.
constexpr uint32_t kRefreshCodes[] = {
    1,   3,   6,   8,   9,   16,  18,  21,  24,  27,  28,  31,  34,  35,  42,  43,  48,
    53,  58,  59,  62,  68,  74,  84,  94,  103, 105, 106, 107, 108, 110, 112, 113, 117,
    118, 119, 120, 121, 122, 123, 124, 125, 126, 136, 154, 205, 210, 212, 214, 216};

// One controller's part of a pass. Returns false when the pass must stop (offline).
bool CheckController(CProvider* provider, const char* label, uint32_t handle,
                     const event& lastEvent, event* latest, bool* read, bool* reason) {
  *read = false;
  *reason = false;
  if (Tidegate::get_event(handle, 0, 1, 0, latest) != 0) {
    if (!isProviderOnline.load()) {
      DebugPrintf("CheckEventsFromRAIDController provider is offline, break. Line %d\n", __LINE__);
      return false;
    }
    if (label[0] == 'A') {
      DebugPrintf("OOP!!! CheckEventsFromRAIDController Ctrl A Get Last Event Failed.\n");
    } else {
      DebugPrintf("OOP!!! CheckEventsFromRAIDController Ctrl B Get Last Event Failed.\n");
    }
    return true;
  }
  *read = true;
  if (label[0] == 'B') {
    DebugPrintf(
        "CProvider::DealEvent() Ctrl B Last Event, sequenceNumber = %d duplicateCount = %d "
        "description = %s\n",
        latest->sequenceNumber, latest->duplicateCount, SerialText(latest->description).c_str());
  }
  if (IsSameEvent(*latest, lastEvent) || latest->sequenceNumber == 0) return true;

  const uint32_t last = latest->sequenceNumber;
  const uint32_t first = last > kMaxEventsPerPass - 1 ? last - (kMaxEventsPerPass - 1) : 1;
  std::vector<event> events;
  if (Tidegate::get_events(handle, first, last, &events) != 0) {
    if (!isProviderOnline.load()) {
      DebugPrintf("CheckEventsFromRAIDController provider is offline, break. Line %d\n", __LINE__);
      return false;
    }
    if (label[0] == 'A') {
      DebugPrintf("OOP!!! CheckEventsFromRAIDController Ctrl A Get Events List Failed.\n");
    } else {
      DebugPrintf("OOP!!! CheckEventsFromRAIDController Ctrl B Get Events List Failed.\n");
    }
    events.clear();
  } else {
    if (events.size() > kMaxEventsPerPass) events.resize(kMaxEventsPerPass);
    DebugPrintf("CheckEventsFromRAIDController Ctrl %s Get Events Num : %d\n", label,
                static_cast<int>(events.size()));
  }
  // Newest first, down to the event already seen.
  for (auto it = events.rbegin(); it != events.rend(); ++it) {
    const event& ev = *it;
    if (IsSameEvent(ev, lastEvent)) break;
    DebugPrintf(
        "CheckEventsFromRAIDController Ctrl %s Event, sequenceNumber = %d errorcode = %d "
        "duplicateCount = %d description = %s\n",
        label, ev.sequenceNumber, ev.errorcode, ev.duplicateCount,
        SerialText(ev.description).c_str());
    if (!*reason && EventNeedsRefresh(ev)) {
      *reason = true;
      if (label[0] == 'A') {
        DebugPrintf("REFRESH REASON (controller A)\n");
      } else {
        DebugPrintf("REFRESH REASON (controller B)\n");
      }
    }
    NotificationEvent(provider, ev);
  }
  return true;
}

}  // namespace

bool IsSameEvent(const event& a, const event& b) {
  uint8_t x[kEventSize];
  uint8_t y[kEventSize];
  EncodeEvent(a, x);
  EncodeEvent(b, y);
  for (size_t offset : kSameWords) {
    if (std::memcmp(x + offset, y + offset, 4) != 0) return false;
  }
  for (size_t offset : kSameBytes) {
    if (x[offset] != y[offset]) return false;
  }
  return std::memcmp(x + kSameBlockA, y + kSameBlockA, 64) == 0 &&
         std::memcmp(x + kSameBlockB, y + kSameBlockB, 20) == 0;
}

bool EventNeedsRefresh(const event& ev) {
  const uint32_t code = ev.eventCode;
  bool hit = std::find(std::begin(kRefreshCodes), std::end(kRefreshCodes), code) !=
                 std::end(kRefreshCodes) ||
             ((code == 71 || code == 72) && ev.param == 2) || (code == 19 && ev.param == 24);
  if (hit) {
    DebugPrintf("This Event need refresh! owner : %d, eventCode : %d, description = %s\n", ev.owner,
                code, SerialText(ev.description).c_str());
  }
  return hit;
}

void NotificationEvent(CProvider* provider, const event& ev) {
  DebugPrintf("NotificationEvent IN\n");
  VDS_NOTIFICATION notification{};
  VDS_OBJECT_TYPE type = VDS_OT_UNKNOWN;
  const char* kind = nullptr;
  switch (ev.eventCode) {
    case 71:
    case 72:
      notification.objectType = VDS_NTT_CONTROLLER;
      notification.Controller.ulEvent =
          ev.eventCode == 71 ? VDS_NF_CONTROLLER_DEPART : VDS_NF_CONTROLLER_ARRIVE;
      type = VDS_OT_CONTROLLER;
      kind = "Controller";
      break;
    case 103:
    case 105:
    case 106:
    case 108:
      notification.objectType = VDS_NTT_LUN;
      notification.Lun.ulEvent = ev.eventCode == 106   ? VDS_NF_LUN_ARRIVE
                                 : ev.eventCode == 108 ? VDS_NF_LUN_DEPART
                                                       : VDS_NF_LUN_MODIFY;
      type = VDS_OT_LUN;
      kind = "Lun";
      break;
    case 8:
    case 62:
      notification.objectType = VDS_NTT_DRIVE;
      notification.Drive.ulEvent = VDS_NF_DRIVE_DEPART;
      type = VDS_OT_DRIVE;
      kind = "Drive";
      break;
    default:
      break;
  }
  if (kind != nullptr) {
    // Every member of the union begins with ulEvent and the id.
    notification.Controller.controllerId = provider->GetUID(ev, type);
    if (type == VDS_OT_CONTROLLER) {
      DebugPrintf("NotificationEvent : Controller objectType = %d, ulEvent = %d\n",
                  notification.objectType, notification.Controller.ulEvent);
    } else if (type == VDS_OT_LUN) {
      DebugPrintf("NotificationEvent : Lun objectType = %d, ulEvent = %d\n",
                  notification.objectType, notification.Lun.ulEvent);
    } else {
      DebugPrintf("NotificationEvent : Drive objectType = %d, ulEvent = %d\n",
                  notification.objectType, notification.Drive.ulEvent);
    }
    DebugPrintf("NotificationEvent: owner : %d, , eventCode : %d, description = %s\n", ev.owner,
                ev.eventCode, SerialText(ev.description).c_str());
    provider->Notify(&notification);
  }
  DebugPrintf("NotificationEvent OUT\n");
}

GUID CProvider::GetUID(const event& ev, VDS_OBJECT_TYPE type) {
  const VdsObjectMap objects = m_mapObjects;
  for (const auto& [id, entry] : objects) {
    if (entry.type != type || entry.pObject == nullptr) continue;
    if (type == VDS_OT_CONTROLLER) {
      if (static_cast<CController*>(entry.pObject)->Handle() == ev.controllerHandle) return id;
    } else if (type == VDS_OT_DRIVE) {
      if (std::memcmp(static_cast<CDrive*>(entry.pObject)->DriveSn(), ev.driveSerial, 32) == 0) {
        return id;
      }
    } else if (type == VDS_OT_LUN) {
      auto* lun = static_cast<CLun*>(entry.pObject);
      if (std::memcmp(lun->PartitionSn(), ev.lunSerial, 32) != 0) continue;
      if (ev.eventCode == 108) {
        DebugPrintf(
            "CProvider::GetUID delete lun %08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X\n",
            id.Data1, id.Data2, id.Data3, id.Data4[0], id.Data4[1], id.Data4[2], id.Data4[3],
            id.Data4[4], id.Data4[5], id.Data4[6], id.Data4[7]);
        if (CSubSystem* subSystem = lun->SubSystem()) {
          // The subsystem's map reference comes out with the LUN; a client that holds the LUN
          // keeps it, else it goes with the held references of the provider.
          if (SUCCEEDED(subSystem->DeleteLun(id))) HoldSurplus(lun->Unknown());
        }
        RemoveObject(id);
      }
      return id;
    }
  }
  return GUID_NULL;
}

void CProvider::Notify(VDS_NOTIFICATION* notification) {
  if (m_pSink == nullptr) return;
  DebugPrintf("CProvider::Notify, Send notify to VDS. m_pSink = %d\n", m_pSink != nullptr ? 1 : 0);
  m_pSink->OnNotify(1, notification);
}

int CheckEventsFromRAIDController(CProvider* provider, const MonitorParam& param) {
  DebugPrintf("CheckEventsFromRAIDController IN\n");
  MutexGuard guard(hNotificationMutex, "CheckEventsFromRAIDController");
  // A pass that starts while the provider unloads must not rebuild the session it is closing.
  if (MonitorShouldStop(provider->MonitorStopFlag())) {
    DebugPrintf(
        "CheckEventsFromRAIDController provider is terminating or offline, break. Line %d\n",
        __LINE__);
    return kPassStop;
  }
  if (g_proxyErrorCell.load() != 0 && (Options.load() & kOptionRepairSessionAtRefresh) == 0) {
    if (reconnect() == 0) provider->SetNeedRefresh(true);
  }
  DebugPrintf("CheckEventsFromRAIDController handleACtrl = %d, handleBCtrl = %d, UniqueSN = %s \n",
              param.controllerA, param.controllerB, SerialText(param.UniqueSN).c_str());
  if (MonitorShouldStop(provider->MonitorStopFlag())) {
    DebugPrintf(
        "CheckEventsFromRAIDController provider is terminating or offline, break. Line %d\n",
        __LINE__);
    return kPassStop;
  }
  if (g_isRefreshing.load()) {
    DebugPrintf("CheckEventsFromRAIDController provider is refresh, continue. Line %d\n", __LINE__);
    return kPassSkipped;
  }
  if (provider->Objects().empty() || provider->Names().empty()) {
    DebugPrintf("CheckEventsFromRAIDController provider's object Map is null, continue. Line %d\n",
                __LINE__);
    return kPassSkipped;
  }
  ComPtr<IVdsSubSystem> held;
  CSubSystem* subSystem = nullptr;
  for (const auto& [id, entry] : VdsObjectMap(provider->SubSystems())) {
    auto* candidate = static_cast<CSubSystem*>(entry.pObject);
    if (candidate != nullptr && (candidate->ControllerHandleA() == param.controllerA ||
                                 candidate->ControllerHandleB() == param.controllerB)) {
      subSystem = candidate;
      held = ComPtr<IVdsSubSystem>(candidate);
      break;
    }
  }
  if (subSystem == nullptr) {
    DebugPrintf(
        "CheckEventsFromRAIDController can not found special sub(handleACtrl=0x%x, "
        "handleBCtrl=0x%x), continue. Line %d\n",
        param.controllerA, param.controllerB, __LINE__);
    return kPassSkipped;
  }
  uint8_t proxyRefresh = 0;
  if ((Options.load() & kOptionAskProxyForRefresh) != 0) {
    if (Tidegate::get_need_refresh(subSystem->Record().UniqueSN, &proxyRefresh) != 0) {
      proxyRefresh = 0;
    }
    if (proxyRefresh != 0) {
      DebugPrintf("REFRESH REASON: CheckEventsFromRAIDController: isNeedRefresh = %d\n",
                  proxyRefresh);
    }
  }
  event latestA{};
  event latestB{};
  bool readA = false;
  bool readB = false;
  bool reasonA = false;
  bool reasonB = false;
  if (!CheckController(provider, "A", param.controllerA, subSystem->LastEventA(), &latestA, &readA,
                       &reasonA) ||
      !CheckController(provider, "B", param.controllerB, subSystem->LastEventB(), &latestB, &readB,
                       &reasonB)) {
    return kPassStop;
  }
  if (!isProviderOnline.load()) {
    DebugPrintf("CheckEventsFromRAIDController isProviderOnline is false, break. Line %d\n",
                __LINE__);
    return kPassStop;
  }
  if (reasonA || reasonB) {
    DebugPrintf("Need refresh SubSystem. isACtrlNeedRefresh: %d isBCtrlNeedRefresh: %d\n",
                reasonA ? 1 : 0, reasonB ? 1 : 0);
  }
  if (g_isRefreshing.load()) {
    provider->SetNeedRefresh(false);
  } else if (reasonA || reasonB || proxyRefresh == 1) {
    provider->SetNeedRefresh(true);
  }
  if (readA) subSystem->LastEventA() = latestA;
  if (readB) subSystem->LastEventB() = latestB;
  return kPassDone;
}

void DealEventSubSystem(CProvider* provider, MonitorParam param) {
  DebugPrintf("DealEventSubSystem IN\n");
  for (;;) {
    process_event = 1;
    for (int i = 0; i < 10; ++i) {
      Sleep(1000);
      if (MonitorShouldStop(provider->MonitorStopFlag())) {
        DebugPrintf("DealEventSubSystem provider is terminating or offline, break. Line %d\n",
                    __LINE__);
        break;
      }
    }
    if (CheckEventsFromRAIDController(provider, param) == kPassStop) break;
  }
  process_event = 0;
  DebugPrintf("DealEventSubSystem Out\n");
}

void CProvider::DealEventProvider() {
  DebugPrintf("DealEventProvider IN\n");
  std::vector<MonitorParam> params;
  {
    MutexGuard guard(hNotificationMutex, "DealEventProvider");
    for (const auto& [id, entry] : m_mapSubSystems) {
      auto* subSystem = static_cast<CSubSystem*>(entry.pObject);
      if (subSystem == nullptr) continue;
      MonitorParam param{};
      param.controllerA = subSystem->ControllerHandleA();
      param.controllerB = subSystem->ControllerHandleB();
      std::memcpy(param.UniqueSN, subSystem->Record().UniqueSN, sizeof(param.UniqueSN));
      params.push_back(param);
    }
  }
  m_stopMonitors = false;
  for (const MonitorParam& param : params) {
    // Each thread keeps the module mapped until it has been joined.
    ModuleLock();
    m_monitorThreads.emplace_back([this, param] {
      DealEventSubSystem(this, param);
      std::lock_guard<std::mutex> lock(m_monitorMutex);
      ++m_endedMonitors;
      m_monitorEnded.notify_all();
    });
    DebugPrintf("create DealEvent handle = %d\n", static_cast<int>(m_monitorThreads.size()));
  }
  DebugPrintf("DealEventProvider OUT\n");
}

void CProvider::StopMonitorThreads() {
  m_stopMonitors = true;
  if (m_monitorThreads.empty()) return;
  // A pass sees the stop at its next check; one that waits for a reply would wait for as long as
  // the proxy takes. After the time unload gives the threads, that exchange is cut off.
  bool ended = false;
  {
    std::unique_lock<std::mutex> lock(m_monitorMutex);
    ended = m_monitorEnded.wait_for(lock, ScaledDuration(kMonitorStopWaitMs),
                                    [this] { return m_endedMonitors == m_monitorThreads.size(); });
  }
  if (!ended) {
    DebugPrintf("StopMonitorThreads: a monitor pass is still running, closing its exchange\n");
    InterruptProxyExchange();
  }
  for (std::thread& thread : m_monitorThreads) {
    thread.join();
    ModuleUnlock();
  }
  m_monitorThreads.clear();
  m_endedMonitors = 0;
}
