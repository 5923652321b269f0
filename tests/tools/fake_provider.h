// A small provider made of plain COM objects, for testing vdsctl's walk, views and shell without
// the real module: two subsystems (the first with two controllers of two ports each, three
// drives and two LUNs, the second LUN with two plexes; the second with one controller, one drive
// and no LUN) and two pools. Every string it hands out comes from the task allocator, as the
// real provider's do, so a missing free shows under AddressSanitizer.
#ifndef VELA_TESTS_TOOLS_FAKE_PROVIDER_H_
#define VELA_TESTS_TOOLS_FAKE_PROVIDER_H_

#include <vector>

#include "platform/com.h"
#include "platform/vds.h"

namespace vdsctl_test {

// GUID {0000000N-0000-0000-0000-0000000000KK}: N the object number, KK the kind's tag.
GUID TestId(uint32_t number, uint8_t kindTag);

constexpr uint8_t kSubsystemTag = 0x30, kControllerTag = 0x31, kDriveTag = 0x32, kLunTag = 0x33,
                  kPlexTag = 0x34, kPortTag = 0x35, kPoolTag = 0x39;

struct FakeSettings {
  HRESULT poolsResult = S_OK;     // what QueryStoragePools answers
  HRESULT extentsResult = S_OK;   // what QueryExtents of every drive answers
  HRESULT refreshResult = S_OK;   // what IVdsHwProvider::Refresh answers
  int refreshCalls = 0;           // written by the fake
  int reenumerateDriveCalls = 0;  // written by the fake
};

// The provider's IVdsProvider, with one reference for the caller. `settings` must outlive it.
IVdsProvider* NewFakeProvider(FakeSettings* settings);

}  // namespace vdsctl_test

#endif  // VELA_TESTS_TOOLS_FAKE_PROVIDER_H_
