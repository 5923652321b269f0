#include "provider/vds_base.h"

#include <algorithm>

#include "provider/provider.h"

void ProviderRef::Attach(CProvider* provider) {
  if (provider != nullptr) provider->AddInternalRef();
  Reset();
  m_p = provider;
}

void ProviderRef::Reset() {
  if (CProvider* old = m_p) {
    m_p = nullptr;
    old->ReleaseInternalRef();
  }
}

CVdsBase::~CVdsBase() {
  // The registry keeps plain pointers; taking them out here is what keeps a name or id entry
  // from ever pointing at a freed object, whatever dropped the last reference.
  if (m_registry) {
    CProvider* provider = m_registry.Get();
    provider->ForgetObject(this);
  }
}

void CVdsBase::RememberRegistryId(const GUID& id) {
  if (std::find(m_registryIds.begin(), m_registryIds.end(), id) == m_registryIds.end()) {
    m_registryIds.push_back(id);
  }
}
