// The registry of objects: by id (m_mapObjects), by name (m_mapNames, indexed by m_nameIndex),
// and the lookups built on them. Every function here expects hNotificationMutex held unless it
// takes it itself.
#include <algorithm>
#include <new>
#include <set>
#include <vector>

#include "diag/debug_log.h"
#include "objects/enumerator.h"
#include "platform/strings.h"
#include "provider/list_order.h"
#include "provider/provider.h"

namespace {

// Text form used by the log lines that print an id.
#define GUID_FORMAT "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X"
#define GUID_ARGS(g)                                                                       \
  (g).Data1, (g).Data2, (g).Data3, (g).Data4[0], (g).Data4[1], (g).Data4[2], (g).Data4[3], \
      (g).Data4[4], (g).Data4[5], (g).Data4[6], (g).Data4[7]

}  // namespace

void CProvider::AddObject(const GUID& id, VDS_OBJECT entry) {
  if (m_mapObjects.try_emplace(id, entry).second) {
    if (entry.pObject != nullptr) {
      if (!entry.pObject->m_registry) entry.pObject->m_registry.Attach(this);
      entry.pObject->RememberRegistryId(id);
    }
  }
  DebugPrintf("CProvider::AddObject VDS_OBJECT_TYPE %d guid " GUID_FORMAT "%s", entry.type,
              GUID_ARGS(id), "\n");
}

void CProvider::RemoveObject(const GUID& id) {
  DebugPrintf("RemoveObject()\n");
  if (g_isRefreshing.load()) return;
  m_mapObjects.erase(id);
  DebugPrintf("RemoveObject() out\n");
}

void CProvider::AddName(const GUID& id, const std::u16string& name, CVdsBase* object) {
  DebugPrintf("Adding VDS object \"%S\" with ", name.c_str());
  DebugPrintf("guid " GUID_FORMAT "\n", GUID_ARGS(id));
  if (object == nullptr) return;
  // An existing key keeps its old name.
  if (!m_mapNames.try_emplace(id, VDS_NAME{name, object}).second) return;
  m_nameIndex.emplace(name, id);
  if (!object->m_registry) object->m_registry.Attach(this);
  object->RememberRegistryId(id);
}

CVdsBase* CProvider::FindByName(const std::u16string& name, GUID* guid,
                                bool (*isWanted)(CVdsBase*)) {
  for (auto it = m_nameIndex.lower_bound({name, GUID_NULL});
       it != m_nameIndex.end() && it->first == name; ++it) {
    CVdsBase* object = m_mapNames.at(it->second).pObject;
    if (isWanted(object)) {
      *guid = it->second;
      return object;
    }
  }
  return nullptr;
}

void LogFindObjAndGuid(bool found, const std::u16string& name, const void* object) {
  if (found) {
    DebugPrintf("FindObjAndGuid found %S @ %p\n", name.c_str(), object);
  } else {
    DebugPrintf("FindObjAndGuid created %S @ %p\n", name.c_str(), object);
  }
}

void CProvider::ForgetObject(CVdsBase* object) {
  MutexGuard guard(hNotificationMutex, "CProvider::ForgetObject");
  for (const GUID& id : object->m_registryIds) {
    if (auto name = m_mapNames.find(id);
        name != m_mapNames.end() && name->second.pObject == object) {
      m_nameIndex.erase({name->second.name, id});
      m_mapNames.erase(name);
    }
    if (auto entry = m_mapObjects.find(id);
        entry != m_mapObjects.end() && entry->second.pObject == object) {
      m_mapObjects.erase(entry);
    }
  }
  object->m_registryIds.clear();
}

void CProvider::HoldSurplus(IUnknown* unknown) { ++m_surplusRefs[unknown]; }

HRESULT CProvider::GetObject(VDS_OBJECT_ID ObjectId, VDS_OBJECT_TYPE type, IUnknown** ppObjectUnk) {
  DebugPrintf("CProvider::GetObject() enter\n");
  MutexGuard guard(hNotificationMutex, "CProvider::GetObject");
  if (ppObjectUnk == nullptr) return E_POINTER;
  if (type < VDS_OT_SUB_SYSTEM || type > VDS_OT_STORAGE_POOL) return E_INVALIDARG;
  *ppObjectUnk = nullptr;
  if (auto found = m_mapObjects.find(ObjectId);
      found != m_mapObjects.end() && found->second.type == type) {
    IUnknown* unknown = nullptr;
    HRESULT hr = found->second.pObject->Unknown()->QueryInterface(
        IID_IUnknown, reinterpret_cast<void**>(&unknown));
    if (FAILED(hr)) return hr;
    *ppObjectUnk = unknown;
    // The second reference: it keeps an object that a client has seen alive for as long as
    // the provider lives.
    unknown->AddRef();
    HoldSurplus(unknown);
    return S_OK;
  }
  DebugPrintf(
      "BUGBUGBUG: CProvider::GetObject() return VDS_E_OBJECT_NOT_FOUND, type=%d, ObjectId:\n",
      type);
  DebugPrintf("guid " GUID_FORMAT "\n", GUID_ARGS(ObjectId));
  return VDS_E_OBJECT_NOT_FOUND;
}

HRESULT CProvider::QueryObjects(const VdsObjectMap& map, IEnumVdsObject** ppEnum) {
  DebugPrintf("CProvider::QueryObjects() map size %d\n", static_cast<int>(map.size()));
  HRESULT hr = S_OK;
  if (ppEnum == nullptr) {
    hr = E_POINTER;
  } else {
    *ppEnum = nullptr;
  }
  CEnumerator* pEnum = new (std::nothrow) CEnumerator();
  if (pEnum == nullptr) return E_OUTOFMEMORY;
  pEnum->AddRef();

  std::vector<std::pair<GUID, VDS_OBJECT>> entries(map.begin(), map.end());
  SortByListOrder(&entries);

  if (SUCCEEDED(hr)) {
    for (const auto& [id, entry] : entries) {
      IUnknown* unknown = nullptr;
      hr = entry.pObject->Unknown()->QueryInterface(IID_IUnknown,
                                                    reinterpret_cast<void**>(&unknown));
      if (FAILED(hr)) break;
      hr = pEnum->Append(unknown);
      // The reference of the query stays with the object while the provider lives, as every
      // listing has always left one; the ledger gives it back at tear-down.
      HoldSurplus(unknown);
      if (FAILED(hr)) break;
    }
  }
  if (SUCCEEDED(hr)) {
    static_cast<IEnumVdsObject*>(pEnum)->Reset();
    *ppEnum = pEnum;
  } else {
    pEnum->Release();
  }
  return hr;
}
