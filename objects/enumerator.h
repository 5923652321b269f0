// CEnumerator: the one list class. Every list the provider hands to a client (subsystems,
// controllers, drives, LUNs, plexes, ports, pools) is a CEnumerator of IUnknown pointers, each
// element holding one reference.
#ifndef VELA_OBJECTS_ENUMERATOR_H_
#define VELA_OBJECTS_ENUMERATOR_H_

#include <list>

#include "platform/com.h"
#include "platform/vds.h"
#include "provider/export.h"

class VELA_EXPORT CEnumerator : public ComObject<IEnumVdsObject> {
 public:
  // Empty list, position at the end, reference count 0.
  CEnumerator();

  // E_POINTER for null; else AddRefs the element and adds it at the end. The position stays
  // where it is (at the end of an unwalked list it stays at the end: Reset before walking).
  HRESULT Append(IUnknown* pUnknown);
  // Releases every element and empties the list; the position goes to the end.
  void Clear();
  // Puts the position on the last element.
  void SetPositionToLast();

  // Hands out up to `celt` elements from the position, each with a reference for the caller.
  // S_FALSE when fewer than celt came (also at the end); E_POINTER for a null argument.
  HRESULT Next(ULONG celt, IUnknown** ppObjectArray, ULONG* pcFetched) override;
  // Moves the position on; S_FALSE when the end came before the count ran out.
  HRESULT Skip(ULONG celt) override;
  // Position on the first element. Takes no lock.
  HRESULT Reset() override;
  // A new list of the same elements standing on the same element. The clone goes out with a
  // reference count of 0: the caller's first AddRef owns it.
  HRESULT Clone(IEnumVdsObject** ppEnum) override;

 protected:
  ~CEnumerator() override;

 private:
  // Both guarded by hNotificationMutex (Reset excepted, as the interface has always done).
  std::list<IUnknown*> m_list;
  std::list<IUnknown*>::iterator m_position;
};

#endif  // VELA_OBJECTS_ENUMERATOR_H_
