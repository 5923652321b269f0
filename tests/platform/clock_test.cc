#include "platform/clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using std::chrono::steady_clock;

class ScaledClock : public ::testing::Test {
 protected:
  void TearDown() override { SetTimeScaleForTesting(0); }
};

TEST_F(ScaledClock, ZeroMakesSleepReturnAtOnceAndAdvancesTheTicks) {
  SetTimeScaleForTesting(0);
  ULONGLONG before = GetTickCount64();
  auto realStart = steady_clock::now();
  Sleep(60000);
  EXPECT_LT(steady_clock::now() - realStart, std::chrono::seconds(1));
  EXPECT_GE(GetTickCount64() - before, 60000u);
  EXPECT_EQ(ScaledWaitMs(10000), 0);
  timeval tv = ScaledTimeval(10, 0);
  EXPECT_EQ(tv.tv_sec, 0);
  EXPECT_EQ(tv.tv_usec, 0);
}

// A wait for a peer's reply keeps a floor of real time, whatever the scale.
TEST_F(ScaledClock, ReplyWaitsNeverDropBelowTheFloor) {
  SetTimeScaleForTesting(0);
  EXPECT_EQ(ScaledReplyWaitMs(600000), kMinReplyWaitMs);
  EXPECT_EQ(ScaledReplyWaitMs(100), 100);  // never longer than the wait asked for
  SetTimeScaleForTesting(0.001);
  EXPECT_EQ(ScaledReplyWaitMs(600000), 600);
  EXPECT_EQ(ScaledReplyWaitMs(10000), kMinReplyWaitMs);
  SetTimeScaleForTesting(1);
  EXPECT_EQ(ScaledReplyWaitMs(600000), 600000);
}

TEST_F(ScaledClock, SmallFactorShrinksWaitsAndStretchesTheTicks) {
  SetTimeScaleForTesting(0.001);
  EXPECT_EQ(ScaledWaitMs(10000), 10);
  EXPECT_EQ(ScaledWaitMs(1), 1);  // rounded up, never a busy poll for a real wait
  timeval tv = ScaledTimeval(10, 500000);
  EXPECT_EQ(tv.tv_sec, 0);
  EXPECT_EQ(tv.tv_usec, 10500);
  EXPECT_EQ(ScaledDuration(2000), std::chrono::milliseconds(2));

  ULONGLONG before = GetTickCount64();
  auto realStart = steady_clock::now();
  Sleep(5000);  // 5 ms real
  auto real = steady_clock::now() - realStart;
  EXPECT_GE(real, std::chrono::milliseconds(5));
  EXPECT_LT(real, std::chrono::seconds(2));
  EXPECT_GE(GetTickCount64() - before, 5000u);
}

TEST_F(ScaledClock, ChangingTheScaleNeverRunsTheClockBackwards) {
  SetTimeScaleForTesting(0.001);
  Sleep(3000);
  ULONGLONG high = GetTickCount64();
  SetTimeScaleForTesting(1);
  EXPECT_GE(GetTickCount64(), high);
  SetTimeScaleForTesting(0);
  EXPECT_GE(GetTickCount64(), high);
  SetTimeScaleForTesting(-3);  // refused: back to 1
  EXPECT_EQ(::TimeScale(), 1.0);
}

TEST_F(ScaledClock, DeadlineLoopsEndAfterTheSameRoundsAtScaleZero) {
  SetTimeScaleForTesting(0);
  DWORD start = GetTickCount();
  int rounds = 0;
  while (GetTickCount() - start < 10000) {
    Sleep(1000);
    ++rounds;
  }
  EXPECT_LE(rounds, 10);
  EXPECT_GE(rounds, 9);
}

}  // namespace
