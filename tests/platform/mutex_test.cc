#include "platform/mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/winerror.h"

namespace {

class NamedMutex : public ::testing::Test {
 protected:
  void SetUp() override { SetTimeScaleForTesting(0.001); }
  void TearDown() override { SetTimeScaleForTesting(0); }
};

TEST_F(NamedMutex, SameNameIsTheSameMutexAcrossThreads) {
  HANDLE owner = CreateMutexW(nullptr, FALSE, u"vela_test_same_name");
  ASSERT_NE(owner, nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
  ASSERT_EQ(WaitForSingleObject(owner, INFINITE), WAIT_OBJECT_0);
  ASSERT_EQ(WaitForSingleObject(owner, INFINITE), WAIT_OBJECT_0);  // recursive

  DWORD otherResult = 0, createError = 0;
  std::thread other([&] {
    HANDLE second = CreateMutexW(nullptr, FALSE, u"vela_test_same_name");
    createError = GetLastError();
    otherResult = WaitForSingleObject(second, 5000);
    CloseHandle(second);
  });
  other.join();
  EXPECT_EQ(createError, static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  EXPECT_EQ(otherResult, WAIT_TIMEOUT);

  // Released once of two: still owned.
  ASSERT_TRUE(ReleaseMutex(owner));
  std::thread stillOwned([&] {
    HANDLE opened = OpenMutexW(SYNCHRONIZE, FALSE, u"vela_test_same_name");
    otherResult = WaitForSingleObject(opened, 0);
    CloseHandle(opened);
  });
  stillOwned.join();
  EXPECT_EQ(otherResult, WAIT_TIMEOUT);

  ASSERT_TRUE(ReleaseMutex(owner));
  std::thread nowFree([&] {
    HANDLE opened = OpenMutexW(SYNCHRONIZE, FALSE, u"vela_test_same_name");
    otherResult = WaitForSingleObject(opened, 0);
    ReleaseMutex(opened);
    CloseHandle(opened);
  });
  nowFree.join();
  EXPECT_EQ(otherResult, WAIT_OBJECT_0);
  EXPECT_TRUE(CloseHandle(owner));
}

TEST_F(NamedMutex, OnlyTheOwnerMayRelease) {
  HANDLE mutex = CreateMutexW(nullptr, TRUE, u"vela_test_owner");
  ASSERT_NE(mutex, nullptr);
  BOOL released = TRUE;
  DWORD error = 0;
  std::thread intruder([&] {
    released = ReleaseMutex(mutex);
    error = GetLastError();
  });
  intruder.join();
  EXPECT_FALSE(released);
  EXPECT_EQ(error, static_cast<DWORD>(ERROR_NOT_OWNER));
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_FALSE(ReleaseMutex(mutex));
  CloseHandle(mutex);
}

TEST_F(NamedMutex, NameDisappearsWithItsLastHandle) {
  EXPECT_EQ(OpenMutexW(SYNCHRONIZE, FALSE, u"vela_test_gone"), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  HANDLE mutex = CreateMutexW(nullptr, FALSE, u"vela_test_gone");
  HANDLE opened = OpenMutexW(SYNCHRONIZE, FALSE, u"vela_test_gone");
  ASSERT_NE(opened, nullptr);
  CloseHandle(mutex);
  CloseHandle(opened);
  EXPECT_EQ(OpenMutexW(SYNCHRONIZE, FALSE, u"vela_test_gone"), nullptr);
}

TEST_F(NamedMutex, StaleHandlesFailCleanly) {
  HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
  ASSERT_TRUE(CloseHandle(mutex));
  EXPECT_FALSE(CloseHandle(mutex));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_FAILED);
  EXPECT_FALSE(ReleaseMutex(mutex));
  EXPECT_FALSE(ReleaseMutex(INVALID_HANDLE_VALUE));
}

TEST_F(NamedMutex, SerializesManyThreads) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 500;
  long counter = 0;  // guarded by the named mutex only
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&counter] {
      HANDLE mutex = CreateMutexW(nullptr, FALSE, u"vela_test_counter");
      for (int i = 0; i < kRounds; ++i) {
        WaitForSingleObject(mutex, INFINITE);
        WaitForSingleObject(mutex, INFINITE);
        long seen = counter;
        counter = seen + 1;
        ReleaseMutex(mutex);
        ReleaseMutex(mutex);
      }
      CloseHandle(mutex);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, kThreads * kRounds);
}

}  // namespace
