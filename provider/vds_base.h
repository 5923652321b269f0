// What every VDS object of the provider shares: its object type, its place in the provider's
// id and name registry, and the shape of the id maps that hold objects.
#ifndef VELA_PROVIDER_VDS_BASE_H_
#define VELA_PROVIDER_VDS_BASE_H_

#include <map>
#include <string>
#include <vector>

#include "platform/com.h"
#include "platform/guid.h"
#include "platform/vds_types.h"

class CProvider;

// Holds one internal reference on the provider. Objects keep their provider through this
// (never through IUnknown::AddRef, which counts the clients of the provider only): the provider
// tears its object tree down when the last client reference goes, and its memory goes when the
// last internal reference goes, so an object a client still holds never sees a freed provider.
class ProviderRef {
 public:
  ProviderRef() = default;
  ~ProviderRef() { Reset(); }
  ProviderRef(const ProviderRef&) = delete;
  ProviderRef& operator=(const ProviderRef&) = delete;

  // Takes a new internal reference on `provider` (may be null) and drops the old one.
  void Attach(CProvider* provider);
  void Reset();

  CProvider* Get() const { return m_p; }
  CProvider* operator->() const { return m_p; }
  explicit operator bool() const { return m_p != nullptr; }

 private:
  CProvider* m_p = nullptr;
};

// The base behind the COM interfaces of each object class (CSubSystem, CController, CDrive,
// CLun, CLunPlex, CControllerPort, CPool):
//   class CLun : public ComObject<IVdsLun, ...>, public CVdsBase {
//    public:
//     CLun() : CVdsBase(VDS_OT_LUN, GetUnknown()) {}
//     void Dispose() override;
//   };
// A registry entry points at this base; static_cast (or dynamic_cast) gives the class back.
class CVdsBase {
 public:
  CVdsBase(const CVdsBase&) = delete;
  CVdsBase& operator=(const CVdsBase&) = delete;

  VDS_OBJECT_TYPE ObjectType() const { return m_objectType; }
  // The object's identity; no reference is taken.
  IUnknown* Unknown() const { return m_pUnknown; }

  // Drops everything Initialize made (the pattern of each class). Also called by the provider
  // when its last client goes, to break the parent/child reference cycles.
  virtual void Dispose() = 0;

 protected:
  CVdsBase(VDS_OBJECT_TYPE type, IUnknown* self) : m_objectType(type), m_pUnknown(self) {}
  // Leaves the provider's registry: an entry by id or by name never outlives its object.
  virtual ~CVdsBase();

 private:
  friend class CProvider;

  // Adds `id` to m_registryIds unless there: a refresh enters an object again under its id.
  void RememberRegistryId(const GUID& id);

  const VDS_OBJECT_TYPE m_objectType;
  IUnknown* const m_pUnknown;
  // The provider whose registry holds an entry for this object; set by AddObject/AddName.
  // Guarded by hNotificationMutex.
  ProviderRef m_registry;
  // The ids under which AddObject or AddName entered this object, so that leaving the registry
  // costs a lookup per id rather than a walk of every entry. An id may have left already.
  // Guarded by hNotificationMutex.
  std::vector<GUID> m_registryIds;
};

// Value of every id map: the object's type and a plain pointer.
struct VDS_OBJECT {
  VDS_OBJECT_TYPE type;
  CVdsBase* pObject;
};

// Value of the name map: what the controllers call the object, and the object.
struct VDS_NAME {
  std::u16string name;
  CVdsBase* pObject;
};

using VdsObjectMap = std::map<GUID, VDS_OBJECT>;
using VdsNameMap = std::map<GUID, VDS_NAME>;

#endif  // VELA_PROVIDER_VDS_BASE_H_
