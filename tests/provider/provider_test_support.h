// Test doubles for the provider core: a minimal VDS object that counts its destruction, and a
// notification sink that records what it is told.
#ifndef VELA_TESTS_PROVIDER_PROVIDER_TEST_SUPPORT_H_
#define VELA_TESTS_PROVIDER_PROVIDER_TEST_SUPPORT_H_

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "platform/com.h"
#include "platform/vds.h"
#include "provider/provider.h"
#include "provider/vds_base.h"

// A registry object of any type, with one interface of one operation.
class FakeObject : public ComObject<IVdsLunNaming>, public CVdsBase {
 public:
  explicit FakeObject(VDS_OBJECT_TYPE type = VDS_OT_LUN) : CVdsBase(type, GetUnknown()) {
    ++s_live;
  }
  HRESULT SetFriendlyName(LPWSTR) override { return S_OK; }
  void Dispose() override { ++m_disposeCount; }

  // The reference count, read by taking one and giving it back (never frees a counted object).
  ULONG RefCount() {
    ULONG count = AddRef() - 1;
    Release();
    return count;
  }
  int DisposeCount() const { return m_disposeCount; }

  static std::atomic<int> s_live;

 protected:
  ~FakeObject() override { --s_live; }

 private:
  int m_disposeCount = 0;
};

// A second class, to prove that a name finds only objects of the class asked for.
class OtherFakeObject : public FakeObject {
 public:
  OtherFakeObject() : FakeObject(VDS_OT_DRIVE) {}
};

class RecordingSink : public ComObject<IVdsAdviseSink> {
 public:
  HRESULT OnNotify(LONG count, VDS_NOTIFICATION* notifications) override {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (LONG i = 0; i < count; ++i) m_received.push_back(notifications[i]);
    return S_OK;
  }
  std::vector<VDS_NOTIFICATION> Received() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_received;
  }

 private:
  std::mutex m_mutex;
  std::vector<VDS_NOTIFICATION> m_received;  // guarded by m_mutex
};

// Module attach once for the test process, time scale 0 and a registry with nothing in it.
void EnsureModuleAttached();
// The directory that stands for the system directory and holds the test registry file.
const std::string& TestDir();

#endif  // VELA_TESTS_PROVIDER_PROVIDER_TEST_SUPPORT_H_
