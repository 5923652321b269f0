#include "tests/provider/provider_test_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <mutex>
#include <string>

#include "platform/clock.h"
#include "platform/registry.h"
#include "provider/module.h"

std::atomic<int> FakeObject::s_live{0};

namespace {
std::string g_testDir;
}  // namespace

const std::string& TestDir() { return g_testDir; }

void EnsureModuleAttached() {
  static std::once_flag once;
  std::call_once(once, [] {
    SetTimeScaleForTesting(0);
    // A system directory and registry of the test's own: no proxy configuration unless a test
    // writes one.
    char pattern[] = "/tmp/vela_provider_test.XXXXXX";
    const char* dir = mkdtemp(pattern);
    ASSERT_NE(dir, nullptr);
    g_testDir = dir;
    setenv("VELA_SYSTEM_DIR", dir, 1);
    setenv("VELA_PIPE_DIR", dir, 1);
    SetRegistryFile(g_testDir + "/registry.reg");
    ModuleAttach();
  });
}

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  EnsureModuleAttached();
  int result = RUN_ALL_TESTS();
  ModuleDetach();
  return result;
}
