#include "objects/refresh_hold.h"

#include <vector>

namespace {

// Guarded by hNotificationMutex.
std::vector<IUnknown*>& Holds() {
  static std::vector<IUnknown*> holds;
  return holds;
}

}  // namespace

void HoldForRefresh(IUnknown* object) {
  if (object != nullptr) Holds().push_back(object);
}

void ReleaseRefreshHolds() {
  // Releasing may destroy objects whose Dispose holds further children; take the list first.
  while (!Holds().empty()) {
    std::vector<IUnknown*> holds;
    holds.swap(Holds());
    for (IUnknown* object : holds) object->Release();
  }
}
