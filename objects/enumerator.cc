#include "objects/enumerator.h"

#include <new>

#include "diag/debug_log.h"
#include "provider/provider.h"

CEnumerator::CEnumerator() : m_position(m_list.end()) {}

CEnumerator::~CEnumerator() { Clear(); }

HRESULT CEnumerator::Append(IUnknown* pUnknown) {
  if (pUnknown == nullptr) return E_POINTER;
  pUnknown->AddRef();
  // An iterator at the end stays at the end of std::list after a push_back.
  m_list.push_back(pUnknown);
  return S_OK;
}

void CEnumerator::Clear() {
  for (IUnknown* element : m_list) {
    if (element != nullptr) element->Release();
  }
  m_list.clear();
  m_position = m_list.end();
}

void CEnumerator::SetPositionToLast() {
  m_position = m_list.empty() ? m_list.end() : std::prev(m_list.end());
}

HRESULT CEnumerator::Next(ULONG celt, IUnknown** ppObjectArray, ULONG* pcFetched) {
  MutexGuard guard(hNotificationMutex, "CEnumerator::Next");
  if (ppObjectArray == nullptr || pcFetched == nullptr) return E_POINTER;
  *pcFetched = 0;
  if (m_position == m_list.end()) return S_FALSE;
  ULONG fetched = 0;
  while (fetched < celt && m_position != m_list.end()) {
    IUnknown* element = *m_position;
    element->AddRef();
    ppObjectArray[fetched++] = element;
    ++m_position;
  }
  *pcFetched = fetched;
  return fetched < celt ? S_FALSE : S_OK;
}

HRESULT CEnumerator::Skip(ULONG celt) {
  MutexGuard guard(hNotificationMutex, "CEnumerator::Skip");
  for (ULONG remaining = celt; remaining > 0; --remaining) {
    if (m_position == m_list.end()) return S_FALSE;
    ++m_position;
  }
  return S_OK;
}

HRESULT CEnumerator::Reset() {
  // The position is shared with Next and Skip on other threads, so it moves under the same
  // lock they take.
  MutexGuard guard(hNotificationMutex, "CEnumerator::Reset");
  m_position = m_list.begin();
  return S_OK;
}

HRESULT CEnumerator::Clone(IEnumVdsObject** ppEnum) {
  if (ppEnum == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CEnumerator::Clone");
  *ppEnum = nullptr;
  CEnumerator* clone = new (std::nothrow) CEnumerator();
  if (clone == nullptr) return E_OUTOFMEMORY;
  for (auto it = m_list.begin(); it != m_list.end(); ++it) {
    HRESULT hr = clone->Append(*it);
    if (FAILED(hr)) {
      // The clone has no reference yet; take one so that this Release frees it.
      clone->AddRef();
      clone->Release();
      return hr;
    }
    if (it == m_position) clone->SetPositionToLast();
  }
  *ppEnum = clone;
  return S_OK;
}
