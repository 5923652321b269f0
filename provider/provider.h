// CProvider: the one object the disk service creates. It loads and unloads the provider, holds
// the registry of every VDS object by id and by name, runs the lazy refresh and the event
// monitor, and answers the provider interfaces.
//
// Locks, in the only order they may be taken: hNotificationMutex (the object graph; recursive),
// hRefreshMutex (m_bNeedRefresh; recursive), the proxy command mutex. Take the first two only
// through MutexGuard.
#ifndef VELA_PROVIDER_PROVIDER_H_
#define VELA_PROVIDER_PROVIDER_H_

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/com.h"
#include "platform/guid.h"
#include "platform/vds.h"
#include "platform/wintypes.h"
#include "provider/vds_base.h"

class CPool;
struct event;
struct subsystem;
class HostInventory;
struct HbaPortEntry;

// ---- Identity of the module ----------------------------------------------------------------

// {5B7C2A10-6E4D-4F3A-9C21-7D8E10A4B6F3}: class id and AppID.
inline constexpr CLSID CLSID_VelaHwProvider = {
    0x5B7C2A10, 0x6E4D, 0x4F3A, {0x9C, 0x21, 0x7D, 0x8E, 0x10, 0xA4, 0xB6, 0xF3}};
// {6D3E9A41-0C7B-4E52-A1F6-2B9C7E5D4A10}
inline constexpr GUID VELA_PROVIDER_ID = {
    0x6D3E9A41, 0x0C7B, 0x4E52, {0xA1, 0xF6, 0x2B, 0x9C, 0x7E, 0x5D, 0x4A, 0x10}};
// {A94F2C07-3B18-4D6E-8E25-71C0D6F3B982}
inline constexpr GUID VELA_PROVIDER_VERSION_ID = {
    0xA94F2C07, 0x3B18, 0x4D6E, {0x8E, 0x25, 0x71, 0xC0, 0xD6, 0xF3, 0xB9, 0x82}};

// ---- Process-wide state --------------------------------------------------------------------

// The provider; set at the start of every OnLoad, cleared only when that provider is freed.
extern std::atomic<CProvider*> g_pProvider;
// Enumeration has finished; event work is allowed. Set at the end of OnLoad, cleared first in
// OnUnload.
extern std::atomic<bool> isProviderOnline;
// An enumeration runs over existing objects (CProvider::Refresh, CSubSystem::Reenumerate).
extern std::atomic<bool> g_isRefreshing;
// Initialize scopes now open; a refresh is refused while it is not 0. Written under
// hNotificationMutex or inside OnLoad.
extern std::atomic<ULONG> NumOperation;
// Cleared by the path-info routines while they walk controllers, so that
// CSubSystem::QueryControllers does not refresh under them.
extern std::atomic<bool> g_allowControllerRefresh;

// The two provider locks, made at module attach by InitRefreshLock; null means unlocked.
extern HANDLE hNotificationMutex;
extern HANDLE hRefreshMutex;

// Registry parameters (Parameters key), read by ReadProviderParameters.
extern std::atomic<DWORD> StartingLUN;
extern std::atomic<DWORD> Options;
// Above 1 the lock traces and the null-free lines appear.
extern std::atomic<DWORD> DebugLogging;

// Bits of Options.
constexpr DWORD kOptionDebuggerWaitMask = 0xF;
constexpr DWORD kOptionLoadBalanceState = 1u << 12;
constexpr DWORD kOptionPathInfoLastStage = 1u << 13;
constexpr DWORD kOptionRescanOnReenumerate = 1u << 14;
constexpr DWORD kOptionRepairSessionAtRefresh = 1u << 15;
constexpr DWORD kOptionAskProxyForRefresh = 1u << 16;
constexpr DWORD kOptionNoStoragePools = 1u << 18;

// Provider name and version (at most 320 and 32 characters), defaults until
// GetProviderNameAndVersion has read both.
std::u16string ProviderName();
std::u16string ProviderVersion();
// Back to the built-in name and version, as before any registry read (tests).
void ResetProviderNameAndVersionForTesting();

// Creates (or opens) tidegate_lock_refresh and tidegate_lock_notification; FreeRefreshLock
// closes both. Called at module attach and detach.
void InitRefreshLock();
void FreeRefreshLock();

// ---- Scope helpers -------------------------------------------------------------------------

// Holds a provider mutex for one scope. `functionName` is the full method name used in the
// traces ("CProvider::GetObject"). A failed wait goes on unlocked but still releases at the end,
// as does a null handle (no release then).
class MutexGuard {
 public:
  MutexGuard(HANDLE mutex, const char* functionName);
  ~MutexGuard();
  MutexGuard(const MutexGuard&) = delete;
  MutexGuard& operator=(const MutexGuard&) = delete;

 private:
  HANDLE m_mutex;
  const char* m_functionName;
  const char* m_label;
};

// Opened at the top of every Initialize: NumOperation goes up for the scope, so that no refresh
// starts while something is being built.
class InitializeCounter {
 public:
  explicit InitializeCounter(CProvider* provider);
  ~InitializeCounter();
  InitializeCounter(const InitializeCounter&) = delete;
  InitializeCounter& operator=(const InitializeCounter&) = delete;
};

// Opened near the top of the query methods, with hNotificationMutex held: runs a pending
// refresh when no Initialize scope is open.
class Refreshable {
 public:
  explicit Refreshable(CProvider* provider);
  ~Refreshable();
  Refreshable(const Refreshable&) = delete;
  Refreshable& operator=(const Refreshable&) = delete;
};

// ---- The provider --------------------------------------------------------------------------

class CProvider final
    : public ComObject<IVdsProvider, IVdsHwProvider, IVdsProviderPrivate, IVdsHwProviderPrivate,
                       IVdsHwProviderPrivateMpio, IVdsHwProviderType, IVdsProviderSupport,
                       IVdsHwProviderStoragePools> {
 public:
  // A new provider with one client reference, or null when out of memory.
  static CProvider* Create();

  // Reads Name and Version from the provider's key; true when both were read, and only then are
  // they taken. Also called by DllRegisterServer, without a provider.
  static bool GetProviderNameAndVersion();

  // Client references. When the last goes, the provider stops its monitor threads and tears
  // the object tree down (the destructor's release order); its memory goes with the last
  // internal reference (ProviderRef).
  ULONG AddRef() override;
  ULONG Release() override;

  // IVdsProvider
  HRESULT GetProperties(VDS_PROVIDER_PROP* pProviderProp) override;
  // IVdsHwProvider
  HRESULT QuerySubSystems(IEnumVdsObject** ppEnum) override;
  HRESULT Reenumerate() override;
  HRESULT Refresh() override;
  // IVdsProviderPrivate
  HRESULT GetObject(VDS_OBJECT_ID ObjectId, VDS_OBJECT_TYPE type, IUnknown** ppObjectUnk) override;
  HRESULT OnLoad(LPWSTR pwszMachineName, IUnknown* pCallbackObject) override;
  HRESULT OnUnload(BOOL bForceUnload) override;
  // IVdsHwProviderPrivate
  HRESULT QueryIfCreatedLun(LPWSTR pwszDevicePath, VDS_LUN_INFORMATION* pVdsLunInformation,
                            VDS_OBJECT_ID* pLunId) override;
  // IVdsHwProviderPrivateMpio
  HRESULT SetAllPathStatusesFromHbaPort(VDS_HBAPORT_PROP hbaPortProp,
                                        VDS_PATH_STATUS status) override;
  // IVdsHwProviderType
  HRESULT GetProviderType(VDS_HWPROVIDER_TYPE* pType) override;
  // IVdsProviderSupport
  HRESULT GetVersionSupport(ULONG* ulVersionSupport) override;
  // IVdsHwProviderStoragePools
  HRESULT QueryStoragePools(DWORD dwFlags, ULONGLONG ullRemainingFreeSpace,
                            VDS_POOL_ATTRIBUTES* pPoolAttributes, IEnumVdsObject** ppEnum) override;
  HRESULT CreateLunInStoragePool(VDS_LUN_TYPE type, ULONGLONG ullSizeInBytes,
                                 VDS_OBJECT_ID StoragePoolId, LPWSTR pwszUnmaskingList,
                                 VDS_HINTS2* pHints2, IVdsAsync** ppAsync) override;
  HRESULT QueryMaxLunCreateSizeInStoragePool(VDS_LUN_TYPE type, VDS_OBJECT_ID StoragePoolId,
                                             VDS_HINTS2* pHints2,
                                             ULONGLONG* pullMaxLunSize) override;

  // ---- Registry. The caller holds hNotificationMutex. ----

  // Inserts the entry unless the id is there already; takes no reference.
  void AddObject(const GUID& id, VDS_OBJECT entry);
  // Erases the id (not during a refresh); drops no reference.
  void RemoveObject(const GUID& id);
  // Records what the controllers call the object, so a refresh finds it again. An existing key
  // keeps its old name. The entry leaves with the object (see ~CVdsBase).
  void AddName(const GUID& id, const std::u16string& name, CVdsBase* object);
  const VdsObjectMap& Objects() const { return m_mapObjects; }
  const VdsNameMap& Names() const { return m_mapNames; }
  const VdsObjectMap& SubSystems() const { return m_mapSubSystems; }
  // The pools; the pool code inserts with one reference per entry.
  VdsObjectMap& Pools() { return m_mapPools; }

  // Lists the objects of `map` in the order of their type into a new enumerator.
  HRESULT QueryObjects(const VdsObjectMap& map, IEnumVdsObject** ppEnum);
  // The pool of that id with one reference for the caller, or null.
  CPool* GetPoolObject(const GUID& poolId);

  // ---- Refresh ----
  bool IsNeedRefresh();
  void SetNeedRefresh(bool needRefresh);

  // ---- Event monitor ----
  // The id of the object an event names (0 GUID when none); deletes the LUN of a departure.
  GUID GetUID(const event& ev, VDS_OBJECT_TYPE type);
  void Notify(VDS_NOTIFICATION* notification);
  // Monitor threads started and not yet joined; for the tools and tests.
  size_t MonitorThreadCount() const { return m_monitorThreads.size(); }
  // Set while the monitor threads must end (OnUnload, tear-down).
  const std::atomic<bool>& MonitorStopFlag() const { return m_stopMonitors; }

  // ---- Host inventory (multipath), rebuilt by initWmi ----
  HostInventory& Inventory() { return *m_inventory; }
  // Rebuilds the inventory (the host's WMI namespace and HBA ports); never fails, a failed step
  // skips the rest and leaves their vectors as they were. Caller holds hRefreshMutex, except
  // in OnLoad.
  void initWmi();
  // Adds the proxy's connected HBA ports to `HBA_vec` (and keeps the proxy's list in the
  // inventory); a failed exchange leaves both as they are.
  void get_connect_Hba_info_list(std::vector<HbaPortEntry>& HBA_vec);

  // The first object of the name map (id order) with that name for which `isWanted` holds;
  // *guid receives its id. Null when there is none. Used by FindObjAndGuid.
  CVdsBase* FindByName(const std::u16string& name, GUID* guid, bool (*isWanted)(CVdsBase*));

  // Takes over one reference on an object that stays alive for as long as the provider lives,
  // released at tear-down: the references GetObject and the listings leave on the objects
  // clients have seen. Caller holds hNotificationMutex.
  void HoldSurplus(IUnknown* unknown);

  // Internal references (ProviderRef).
  void AddInternalRef();
  void ReleaseInternalRef();

 private:
  friend class CVdsBase;

  CProvider();
  ~CProvider() override;

  void ReadProviderParameters();
  void DealEventProvider();
  void StopMonitorThreads();
  void TearDown();
  void ForgetObject(CVdsBase* object);
  // One subsystem record of OnLoad's loop: filter, find or create, initialize, insert.
  // E_OUTOFMEMORY ends the loop.
  HRESULT LoadSubSystem(const subsystem& record, bool refreshing);

  // Client references; the tree is torn down when this reaches 0.
  std::atomic<ULONG> m_clientRefs{0};
  // Internal references: one for the clients as a whole plus one per ProviderRef.
  std::atomic<ULONG> m_internalRefs{1};
  std::atomic<bool> m_tornDown{false};

  // Host inventory; written by initWmi under the same conditions as OnLoad.
  std::unique_ptr<HostInventory> m_inventory;
  // All guarded by hNotificationMutex.
  VdsObjectMap m_mapObjects;          // every live object; no reference
  VdsObjectMap m_mapSubSystems;       // one reference per entry
  VdsObjectMap m_mapPools;            // one reference per entry
  IVdsAdviseSink* m_pSink = nullptr;  // one reference
  VdsNameMap m_mapNames;              // no reference; an entry leaves with its object
  // The keys of m_mapNames by name, then id: FindByName looks a name up instead of walking.
  std::set<std::pair<std::u16string, GUID>> m_nameIndex;
  // References that GetObject and QueryObjects leave on objects clients have seen, released
  // when the provider is torn down. Guarded by hNotificationMutex.
  std::map<IUnknown*, ULONG> m_surplusRefs;
  // Guarded by hRefreshMutex.
  bool m_bNeedRefresh = false;

  // The monitor threads, one per subsystem; started by OnLoad, joined by OnUnload and by the
  // tear-down, touched only by the thread that loads and unloads.
  // Each holds a module lock until it has been joined.
  std::vector<std::thread> m_monitorThreads;
  std::atomic<bool> m_stopMonitors{false};
  // How many of m_monitorThreads have left their loop; guarded by m_monitorMutex.
  std::mutex m_monitorMutex;
  std::condition_variable m_monitorEnded;
  size_t m_endedMonitors = 0;
};

// Creates or finds again the object of class T named `name`. Outside a refresh it creates a
// new T and leaves *guid (a fresh GUID from the caller) alone. In a refresh it walks the names
// in id order; the first entry of class T with the same name gives the object and overwrites
// *guid with the id the object has had since its creation. *ppObject is null only when out of
// memory. No reference is taken and nothing is inserted: the caller AddRefs for the map that
// will hold the object, and the object's Initialize registers it. Caller holds
// hNotificationMutex.
//
// Every object creation goes through this, so that an object keeps its id across refreshes.
//
// T needs a public default constructor ("new (std::nothrow) T()") and derives from CVdsBase.
void LogFindObjAndGuid(bool found, const std::u16string& name, const void* object);

template <class T>
void FindObjAndGuid(CProvider* provider, T** ppObject, GUID* guid, const std::u16string& name) {
  *ppObject = nullptr;
  CVdsBase* found = provider->FindByName(
      name, guid, [](CVdsBase* object) { return dynamic_cast<T*>(object) != nullptr; });
  if (found != nullptr) {
    *ppObject = dynamic_cast<T*>(found);
  } else {
    *ppObject = new (std::nothrow) T();
  }
  LogFindObjAndGuid(found != nullptr, name, *ppObject);
}

#endif  // VELA_PROVIDER_PROVIDER_H_
