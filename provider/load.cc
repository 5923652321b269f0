// Loading and unloading the provider: parameters, session, subsystem list, enumeration, the
// event monitor; and the parameters' registry reads.
#include <memory>
#include <mutex>
#include <vector>

#include "diag/debug_log.h"
#include "diag/event_log.h"
#include "objects/subsystem.h"
#include "platform/clock.h"
#include "platform/osversion.h"
#include "platform/registry.h"
#include "platform/strings.h"
#include "platform/system.h"
#include "platform/winerror.h"
#include "provider/host_inventory.h"
#include "provider/load_filter.h"
#include "provider/provider.h"
#include "proxy/iasocket.h"
#include "proxy/session.h"
#include "proxy/tidegate.h"

std::atomic<DWORD> StartingLUN{1};
std::atomic<DWORD> Options{0};
std::atomic<DWORD> DebugLogging{0};

namespace {

constexpr char kParametersKey[] =
    "SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Parameters";

constexpr char16_t kDefaultProviderName[] = u"Tessaro VDS Provider";
constexpr char16_t kDefaultProviderVersion[] = u"2.8.5.45";

std::mutex g_nameMutex;
// Guarded by g_nameMutex.
std::u16string g_providerName = kDefaultProviderName;
std::u16string g_providerVersion = kDefaultProviderVersion;

std::atomic<bool> g_debuggerWaitDone{false};

HostInventorySource* g_inventorySource = WmiInventorySource();

void QueryDword(HKEY key, const char* name, std::atomic<DWORD>* value) {
  DWORD data = 0;
  DWORD type = 0;
  DWORD size = sizeof(data);
  if (RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&data), &size) ==
          ERROR_SUCCESS &&
      type == REG_DWORD && size == sizeof(data)) {
    *value = data;
  }
}

bool QueryString(HKEY key, const char16_t* name, std::u16string* value) {
  WCHAR buffer[320] = {};  // 640 bytes
  DWORD type = 0;
  DWORD size = sizeof(buffer);
  if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size) !=
          ERROR_SUCCESS ||
      type != REG_SZ) {
    return false;
  }
  buffer[319] = 0;
  *value = buffer;
  return true;
}

}  // namespace

std::u16string ProviderName() {
  std::lock_guard<std::mutex> lock(g_nameMutex);
  return g_providerName;
}

std::u16string ProviderVersion() {
  std::lock_guard<std::mutex> lock(g_nameMutex);
  return g_providerVersion;
}

void ResetProviderNameAndVersionForTesting() {
  std::lock_guard<std::mutex> lock(g_nameMutex);
  g_providerName = kDefaultProviderName;
  g_providerVersion = kDefaultProviderVersion;
}

void SetHostInventorySource(HostInventorySource* source) { g_inventorySource = source; }
HostInventorySource* GetHostInventorySource() { return g_inventorySource; }

bool CProvider::GetProviderNameAndVersion() {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kParametersKey, 0, KEY_READ, &key) != ERROR_SUCCESS) {
    DebugPrintf("CProvider::GetProviderNameAndVersion RegOpenKeyEx error.\n");
    return false;
  }
  std::u16string name;
  std::u16string version;
  bool bRtn = QueryString(key, u"Name", &name) && QueryString(key, u"Version", &version);
  RegCloseKey(key);
  if (bRtn) {
    std::lock_guard<std::mutex> lock(g_nameMutex);
    g_providerName = name.substr(0, 320);
    g_providerVersion = version.substr(0, 32);
    DebugPrintf("    Name=%ls\n", g_providerName.c_str());
    DebugPrintf("    Version=%ls\n", g_providerVersion.c_str());
  }
  DebugPrintf("GetProviderNameAndVersion bRtn=%d out\n", bRtn ? 1 : 0);
  return bRtn;
}

void CProvider::ReadProviderParameters() {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kParametersKey, 0, KEY_ALL_ACCESS, &key) != ERROR_SUCCESS) {
    return;
  }
  QueryDword(key, "StartingLUN", &StartingLUN);
  QueryDword(key, "DebugLogging", &DebugLogging);
  QueryDword(key, "Options", &Options);
  DWORD seconds = (Options.load() & kOptionDebuggerWaitMask) * 15;
  // Once per process, so that a debugger can attach before the first enumeration.
  if (seconds != 0 && !g_debuggerWaitDone.exchange(true)) {
    DebugPrintf("Sleeping %d seconds; PID=%d\n", seconds, GetCurrentProcessId());
    Sleep(seconds * 1000);
  }
  RegCloseKey(key);
}

void CProvider::initWmi() {
  HostInventorySource* source = g_inventorySource;
  bool connected = false;
  for (int attempt = 0; attempt < 3 && !connected; ++attempt) {
    connected = source != nullptr && source->Connect();
    if (!connected) {
      if (source != nullptr) source->Disconnect();
      DebugPrintf("OOP!! Error, pLocG or pSvcG is NULL, will retry\n");
    }
  }
  DebugPrintf("CProvider::initWmi()\n");
  const bool win2008 = OsVersionGates().win2008;
  auto fill = [&](InventoryStep step) {
    return connected && source->Fill(step, m_inventory.get());
  };
  // Each failing step logs its own line and skips the rest.
  [&] {
    if (!win2008) {
      if (!fill(InventoryStep::kDevicePerf)) {
        DebugPrintf("OOP!! CProvider::initWmi WmiGetDevicePerf(DevPerfVec) error\n");
        return;
      }
    } else {
      if (!fill(InventoryStep::kMpioDescriptor)) {
        DebugPrintf("OOP!!! CProvider::initWmi() WmiGetMpioDescriptor return error, line %d\n",
                    __LINE__);
        return;
      }
      if (!fill(InventoryStep::kMpioDiskInfo)) {
        DebugPrintf("OOP!!! CProvider::initWmi() WmiGetMpioDiskInfo return error, line %d\n",
                    __LINE__);
        return;
      }
      if (!fill(InventoryStep::kMpioDsmPathV2)) {
        DebugPrintf("OOP!!! CProvider::initWmi() WmiGetMpioDsmPathV2 return error, line %d\n",
                    __LINE__);
        return;
      }
    }
    if (!fill(InventoryStep::kDsmInfo)) {
      DebugPrintf("OOP!! CProvider::initWmi WmiGetDSMInfo(DsmVec) error\n");
      return;
    }
    if (!fill(InventoryStep::kHbaPortProp)) {
      DebugPrintf("OOP!! CProvider::initWmi GetHbaPortProp(HBA_vec) error\n");
      return;
    }
    // The proxy's ports only add to what the HBA library found; their failure (logged there)
    // leaves the list as it is and stops nothing.
    if (win2008) get_connect_Hba_info_list(m_inventory->HBA_vec);
    if (!fill(InventoryStep::kLBPolicy)) {
      DebugPrintf("OOP!! CProvider::initWmi QueryLBPolicy(DsmLoadPolicyVec) error\n");
      return;
    }
    DebugPrintf("CProvider::initWmi() out\n");
  }();
  if (source != nullptr) source->Disconnect();
}

bool Provider::isFC(const subsystem& record) {
  for (uint32_t handle : {record.controllerA, record.controllerB}) {
    DebugPrintf("CtrlHandle %x\n", handle);
    if (handle == 0) continue;
    auto data = std::make_unique<controllerData>();
    if (Tidegate::get_controller_data(handle, data.get()) != 0) {
      DebugPrintf(
          "OOP!!! Provider::isFC get_controller_data return VDS_E_INTERNAL_ERROR, line %d\n",
          __LINE__);
      return false;
    }
    bool fibre = false;
    bool sas = false;
    bool iscsi = false;
    for (const port& p : data->controller.ports) {
      uint8_t type = p.hostPortType;
      fibre = fibre || (type >= 4 && type <= 6);
      sas = sas || type == 8;
      iscsi = iscsi || type == 9;
    }
    int summary = fibre ? 6 : sas ? 8 : iscsi ? 9 : 0;
    if (summary == 9) return true;
    if (summary != 0) return false;
  }
  return false;
}

HRESULT CProvider::OnLoad(LPWSTR /*pwszMachineName*/, IUnknown* pCallbackObject) {
  Debug();
  const OsGates& gates = OsVersionGates();
  const char* label = gates.win7 ? "win7" : gates.win2008 ? "win2008" : "win2003";
  DebugPrintf("CProvider::OnLoad() g_pProvider %p this %p pCallbackObject %p online %d %s\n",
              static_cast<void*>(g_pProvider.load()), static_cast<void*>(this),
              static_cast<void*>(pCallbackObject), isProviderOnline.load() ? 1 : 0, label);
  if (pCallbackObject != nullptr) {
    IVdsAdviseSink* sink = nullptr;
    pCallbackObject->QueryInterface(IID_IVdsAdviseSink, reinterpret_cast<void**>(&sink));
    MutexGuard guard(hNotificationMutex, "CProvider::OnLoad");
    if (m_pSink != nullptr) m_pSink->Release();
    m_pSink = sink;
  }
  g_pProvider = this;
  GetProviderNameAndVersion();
  ReadProviderParameters();
  DebugPrintf("OnLoad: StartingLUN %d Options 0x%x\n", StartingLUN.load(), Options.load());

  const bool refreshing = g_isRefreshing.load();
  if (!refreshing) {
    if (ProxyInit() != 0) return S_OK;
  } else if ((Options.load() & kOptionRepairSessionAtRefresh) != 0) {
    reconnect();
  }

  std::vector<subsystem> VecSub;
  if (Tidegate::get_subsystems(&VecSub) != 0) {
    DebugPrintf("OOP!!! CProvider::OnLoad() get_subsystems(VecSub) failed!, line = %d\n", __LINE__);
    return VDS_E_INITIALIZED_FAILED;
  }
  DebugPrintf("nSubSystem = %d\n", static_cast<int>(VecSub.size()));
  initWmi();
  LangInit();
  DebugPrintf("OnLoad: Enumerating subsystems\n");

  for (const subsystem& record : VecSub) {
    HRESULT hr = LoadSubSystem(record, refreshing);
    if (hr == E_OUTOFMEMORY) return hr;
  }

  DebugPrintf("Setting provider online\n");
  isProviderOnline = true;
  if (!refreshing && m_pSink != nullptr) DealEventProvider();
  DebugPrintf("CProvider::OnLoad() out\n");
  return S_OK;
}

HRESULT CProvider::LoadSubSystem(const subsystem& record, bool refreshing) {
  if (Provider::isFC(record)) {
    DebugPrintf(
        "CProvider::OnLoad() subsystem busType will be skip, UniqueSN = %s, controllerA = %d, "
        "controllerB = %d\n",
        SerialText(record.UniqueSN).c_str(), record.controllerA, record.controllerB);
    return S_FALSE;
  }
  GUID guid{};
  CoCreateGuid(&guid);
  CSubSystem* pSubSystem = nullptr;
  {
    MutexGuard guard(hNotificationMutex, "CProvider::OnLoad");
    if (!refreshing) {
      pSubSystem = new (std::nothrow) CSubSystem();
    } else {
      FindObjAndGuid(this, &pSubSystem, &guid, MakeSubsystemName(record));
    }
  }
  if (pSubSystem == nullptr) return E_OUTOFMEMORY;
  DebugPrintf("OnLoad: initializing subsystem\n");
  pSubSystem->AddRef();
  pSubSystem->Initialize(&guid, this, record);
  DebugPrintf("OnLoad: finished initializing subsystem %ls\n", pSubSystem->SysName().c_str());
  MutexGuard guard(hNotificationMutex, "CProvider::OnLoad");
  auto [it, inserted] = m_mapSubSystems.emplace(guid, VDS_OBJECT{VDS_OT_SUB_SYSTEM, pSubSystem});
  if (!inserted) {
    // Two records of the same serial found the same object: one entry holds one reference.
    pSubSystem->Release();
  }
  (void)it;
  return S_OK;
}

HRESULT CProvider::OnUnload(BOOL /*bForceUnload*/) {
  DebugPrintf("CProvider::OnUnload enter\n");
  isProviderOnline = false;
  // The session is about to close: no monitor pass may start to rebuild it (reconnect stops at
  // this flag too).
  g_isTerminating = 1;
  // The monitor threads end first: closing the session uses the request buffer without the
  // command mutex, so no pass may still be in the middle of a command.
  StopMonitorThreads();
  ProxyUnInit();
  DebugPrintf("CProvider::OnUnload exit\n");
  DebugClose();
  return S_OK;
}
