// References that a refresh keeps alive while it rebuilds the tree in place.
//
// During a refresh, Dispose does not let a child go: the map's reference moves here, so the
// child (and its entry in the provider's name map) lives on to be found again by name, and keeps
// its id. The creation site that finds it takes a new reference for the new map entry. When the
// refresh is over, ReleaseRefreshHolds drops the held references: an object the controllers no
// longer report then goes, unless a client still holds it.
//
// Both calls expect hNotificationMutex to be held.
#ifndef VELA_OBJECTS_REFRESH_HOLD_H_
#define VELA_OBJECTS_REFRESH_HOLD_H_

#include "platform/com.h"

// Takes over one reference the caller owns.
void HoldForRefresh(IUnknown* object);
// Releases every held reference. Called at the end of CProvider::Refresh and
// CSubSystem::Reenumerate, once g_isRefreshing is clear.
void ReleaseRefreshHolds();

#endif  // VELA_OBJECTS_REFRESH_HOLD_H_
