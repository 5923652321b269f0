// CProvider's life (creation, client and internal references, tear-down) and the provider
// interfaces' small methods.
#include "provider/provider.h"

#include <cstring>
#include <optional>
#include <set>

#include "diag/debug_log.h"
#include "multipath/path_status.h"
#include "objects/enumerator.h"
#include "objects/lun.h"
#include "objects/subsystem.h"
#include "platform/osversion.h"
#include "platform/strings.h"
#include "provider/host_inventory.h"

std::atomic<CProvider*> g_pProvider{nullptr};
std::atomic<bool> isProviderOnline{false};
std::atomic<bool> g_isRefreshing{false};

CProvider* CProvider::Create() {
  CProvider* provider = new (std::nothrow) CProvider();
  if (provider == nullptr) return nullptr;
  provider->m_inventory.reset(new (std::nothrow) HostInventory());
  if (!provider->m_inventory) {
    delete provider;
    return nullptr;
  }
  provider->AddRef();
  return provider;
}

CProvider::CProvider() {
  DebugPrintf("CProvider::CProvider()\n");
  g_isRefreshing = false;
  NumOperation = 0;
  DebugPrintf("CProvider::CProvider() out\n");
}

CProvider::~CProvider() {
  CProvider* self = this;
  g_pProvider.compare_exchange_strong(self, nullptr);
}

ULONG CProvider::AddRef() { return m_clientRefs.fetch_add(1) + 1; }

ULONG CProvider::Release() {
  ULONG remaining = m_clientRefs.fetch_sub(1) - 1;
  if (remaining == 0 && !m_tornDown.exchange(true)) {
    TearDown();
    ReleaseInternalRef();
  }
  return remaining;
}

void CProvider::AddInternalRef() { m_internalRefs.fetch_add(1); }

void CProvider::ReleaseInternalRef() {
  if (m_internalRefs.fetch_sub(1) == 1) delete this;
}

// What the destructor of the provider does, run when the last client goes: every object holds
// the provider and parents hold children, so the object graph is a set of cycles that only
// disposing each object breaks. Objects a client still holds survive, disposed, and keep the
// provider's memory (not its tree) alive until they go.
void CProvider::TearDown() {
  DebugPrintf("CProvider::~CProvider\n");
  StopMonitorThreads();
  MutexGuard guard(hNotificationMutex, "CProvider::~CProvider");
  // Every object the registry knows, with a reference of its own for the length of this.
  std::vector<CVdsBase*> objects;
  std::set<CVdsBase*> seen;
  auto keep = [&](CVdsBase* object) {
    if (object == nullptr || !seen.insert(object).second) return;
    object->Unknown()->AddRef();
    objects.push_back(object);
  };
  for (const auto& [id, entry] : m_mapNames) keep(entry.pObject);
  for (const auto& [id, entry] : m_mapObjects) keep(entry.pObject);
  VdsObjectMap pools;
  VdsObjectMap subSystems;
  pools.swap(m_mapPools);
  subSystems.swap(m_mapSubSystems);
  std::map<IUnknown*, ULONG> surplus;
  surplus.swap(m_surplusRefs);
  g_isRefreshing = false;
  for (CVdsBase* object : objects) object->Dispose();
  for (const auto& [id, entry] : pools) {
    if (entry.pObject != nullptr) entry.pObject->Unknown()->Release();
  }
  for (const auto& [id, entry] : subSystems) {
    if (entry.pObject != nullptr) entry.pObject->Unknown()->Release();
  }
  for (const auto& [unknown, count] : surplus) {
    for (ULONG i = 0; i < count; ++i) unknown->Release();
  }
  if (m_pSink != nullptr) {
    m_pSink->Release();
    m_pSink = nullptr;
  }
  for (CVdsBase* object : objects) object->Unknown()->Release();
  DebugPrintf("CProvider::~CProvider out\n");
}

HRESULT CProvider::GetProperties(VDS_PROVIDER_PROP* pProviderProp) {
  DebugPrintf("CProvider::GetProperties()\n");
  MutexGuard guard(hNotificationMutex, "CProvider::GetProperties");
  if (pProviderProp == nullptr) return E_POINTER;
  constexpr size_t kNameBytes = 768;
  constexpr size_t kVersionBytes = 128;
  auto* name = static_cast<WCHAR*>(CoTaskMemAlloc(kNameBytes));
  auto* version = static_cast<WCHAR*>(CoTaskMemAlloc(kVersionBytes));
  if (name == nullptr || version == nullptr) {
    CoTaskMemFree(name);
    CoTaskMemFree(version);
    return E_OUTOFMEMORY;
  }
  std::u16string nameText = ProviderName();
  std::u16string versionText = ProviderVersion();
  WcsCopyBounded(name, 320 + 1, nameText.c_str());
  WcsCopyBounded(version, 32 + 1, versionText.c_str());
  pProviderProp->id = VELA_PROVIDER_ID;
  pProviderProp->pwszName = name;
  pProviderProp->guidVersionId = VELA_PROVIDER_VERSION_ID;
  pProviderProp->pwszVersion = version;
  pProviderProp->type = VDS_PT_HARDWARE;
  pProviderProp->ulFlags = VDS_PF_INTERNAL_HARDWARE_PROVIDER;
  pProviderProp->ulStripeSizeFlags = 0x1C000;
  pProviderProp->sRebuildPriority = 0;
  return S_OK;
}

HRESULT CProvider::GetProviderType(VDS_HWPROVIDER_TYPE* pType) {
  if (pType == nullptr) return E_FAIL;
  // The value of VDS_PT_HARDWARE, as this provider has always answered.
  *pType = static_cast<VDS_HWPROVIDER_TYPE>(VDS_PT_HARDWARE);
  return S_OK;
}

HRESULT CProvider::GetVersionSupport(ULONG* ulVersionSupport) {
  if (ulVersionSupport == nullptr) return E_POINTER;
  ULONG support = VDS_VSF_1_0 | VDS_VSF_1_1;
  if (OsVersionGates().win7) support |= VDS_VSF_2_0 | VDS_VSF_2_1 | VDS_VSF_3_0;
  *ulVersionSupport = support;
  return S_OK;
}

HRESULT CProvider::QuerySubSystems(IEnumVdsObject** ppEnum) {
  MutexGuard guard(hNotificationMutex, "CProvider::QuerySubSystems");
  DebugPrintf("CProvider::QuerySubSystems() enter. m_mapSubSystems.size()=%d\n",
              static_cast<int>(m_mapSubSystems.size()));
  if (ppEnum == nullptr) return E_POINTER;
  std::optional<Refreshable> refresh;
  if (m_mapSubSystems.empty()) refresh.emplace(this);
  HRESULT hr = QueryObjects(m_mapSubSystems, ppEnum);
  DebugPrintf("CProvider::QuerySubSystems() exit. m_mapSubSystems.size()=%d\n",
              static_cast<int>(m_mapSubSystems.size()));
  return hr;
}

HRESULT CProvider::QueryStoragePools(DWORD /*dwFlags*/, ULONGLONG /*ullRemainingFreeSpace*/,
                                     VDS_POOL_ATTRIBUTES* /*pPoolAttributes*/,
                                     IEnumVdsObject** ppEnum) {
  DebugPrintf("CProvider::QueryStoragePools()\n");
  if (!OsVersionGates().win7 || (Options.load() & kOptionNoStoragePools) != 0) {
    return VDS_E_NOT_SUPPORTED;
  }
  MutexGuard guard(hNotificationMutex, "CProvider::QueryStoragePools");
  if (ppEnum == nullptr) return E_POINTER;
  std::optional<Refreshable> refresh;
  if (m_mapSubSystems.empty()) refresh.emplace(this);
  HRESULT hr = QueryObjects(m_mapPools, ppEnum);
  if (SUCCEEDED(hr)) {
    IUnknown* unknown = nullptr;
    ULONG fetched = 0;
    while ((*ppEnum)->Next(1, &unknown, &fetched) == S_OK && fetched == 1) {
      IVdsStoragePool* pool = nullptr;
      if (SUCCEEDED(
              unknown->QueryInterface(IID_IVdsStoragePool, reinterpret_cast<void**>(&pool)))) {
        VDS_STORAGE_POOL_PROP prop{};
        if (SUCCEEDED(pool->GetProperties(&prop))) {
          const GUID& g = prop.id;
          DebugPrintf("  Pool %S (%S) guid %08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X\n",
                      prop.pwszName, prop.pwszDescription, g.Data1, g.Data2, g.Data3, g.Data4[0],
                      g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6],
                      g.Data4[7]);
          CoTaskMemFree(prop.pwszName);
          CoTaskMemFree(prop.pwszDescription);
        }
        pool->Release();
      }
      unknown->Release();
    }
    (*ppEnum)->Reset();
  }
  DebugPrintf("CProvider::QueryStoragePools() hResult=0x%x m_mapPools.size()=%d\n", hr,
              static_cast<int>(m_mapPools.size()));
  return hr;
}

HRESULT CProvider::SetAllPathStatusesFromHbaPort(VDS_HBAPORT_PROP hbaPortProp,
                                                 VDS_PATH_STATUS status) {
  // The graph lock first, as GetPathInfo takes both in that order.
  MutexGuard graph(hNotificationMutex, "CProvider::SetAllPathStatusesFromHbaPort");
  MutexGuard refresh(hRefreshMutex, "CProvider::SetAllPathStatusesFromHbaPort");
  std::vector<uint64_t> pathIds;
  for (const auto& [subsystemId, subsystemEntry] : m_mapSubSystems) {
    auto* subSystem = static_cast<CSubSystem*>(subsystemEntry.pObject);
    if (subSystem == nullptr) continue;
    for (const auto& [lunId, lunEntry] : subSystem->Luns()) {
      auto* lun = static_cast<CLun*>(lunEntry.pObject);
      if (lun == nullptr) continue;
      VDS_PATH_INFO* paths = nullptr;
      LONG count = 0;
      lun->GetPathInfo(&paths, &count);
      for (LONG i = 0; i < count; ++i) {
        // By node WWN: every port of the adapter.
        if (paths[i].pHbaPortProp != nullptr && std::memcmp(paths[i].pHbaPortProp->wwnNode.rguchWwn,
                                                            hbaPortProp.wwnNode.rguchWwn, 8) == 0) {
          pathIds.push_back(paths[i].pathId.ullPathId);
        }
        CoTaskMemFree(paths[i].pHbaPortProp);
      }
      CoTaskMemFree(paths);
    }
  }
  if (pathIds.empty()) return S_OK;
  if (SetPathStatus(pathIds, status) != 0) return E_FAIL;
  initWmi();
  return S_OK;
}
