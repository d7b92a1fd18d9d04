// The animation timer through an injected clock: interval grid, lag count, measured
// rate, stopwatch, Activeonly, chaining and the application's idle hook; and the
// counter it reads.
#include "lumox/control/lumtimer.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <vector>

#include "lumox/host/forms.h"

using namespace lumox;

namespace {

class TimerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    TLumTimer::SetClock([this] { return Now; });
    Application()->SetActive(true);
    ASSERT_FALSE(Application()->OnIdle);  // no timer of an earlier test holds the hook
  }
  void TearDown() override {
    Form.DestroyComponents();
    TLumTimer::SetClock(nullptr);
  }
  // Moves the clock to T counts (of 100 ns) and runs one round of idle processing.
  bool IdleAt(int64_t T) {
    Now = T;
    return Application()->ProcessIdle();
  }
  int64_t Now = 0;
  TComponent Form{nullptr};
};

constexpr int64_t Ms = TLumTimer::CounterFrequency / 1000;

}  // namespace

TEST_F(TimerTest, IntervalAndRateConvert) {
  TLumTimer T(nullptr);
  T.setintervall(3);
  EXPECT_EQ(T.Rate(), 333);
  T.setintervall(0), T.setintervall(3600001), T.setrate(10001), T.setrate(0);
  EXPECT_EQ(T.Intervall(), 3);
  T.setrate(3);
  EXPECT_EQ((std::array<int64_t, 2>{T.Intervall(), T.IntervalCounts()}),
            (std::array<int64_t, 2>{333, 3333333}));
  T.setintervall(400);  // 2.5 ticks a second round to the even 2
  EXPECT_EQ(T.Rate(), 2);
}

TEST_F(TimerTest, TicksStayOnTheGridAndReportLag) {
  auto* T = new TLumTimer(&Form);
  T->setintervall(10);
  std::vector<int32_t> Lags;
  T->OnTimer = [&](TObject*, int32_t Lag) { Lags.push_back(Lag); };
  EXPECT_FALSE(IdleAt(5 * Ms));   // enabled: idle processing stays busy
  EXPECT_FALSE(IdleAt(10 * Ms));  // exactly one interval is not yet more than one
  IdleAt(10 * Ms + 1);
  // A stall of 3.5 intervals: lag 3, and the grid keeps its phase, so the next tick
  // comes half an interval later.
  for (int64_t At : {45 * Ms + 1, 50 * Ms, 50 * Ms + 1}) IdleAt(At);
  EXPECT_EQ(Lags, (std::vector<int32_t>{1, 3, 1}));

  T->SetEnabled(false);
  EXPECT_TRUE(IdleAt(200 * Ms));  // disabled: nothing keeps the loop busy
  T->SetEnabled(true), T->SetActiveonly(true), Application()->SetActive(false);
  EXPECT_TRUE(IdleAt(300 * Ms));  // waits for the application to be the active one
  EXPECT_EQ(Lags.size(), 3u);
  Application()->SetActive(true);
  EXPECT_FALSE(IdleAt(300 * Ms));
  EXPECT_EQ(Lags.back(), 25);
}

TEST_F(TimerTest, MeasuredRateCountsTicksPerSecond) {
  auto* T = new TLumTimer(&Form);
  T->setrate(100);
  for (int64_t I = 1; I <= 100; ++I) IdleAt(I * 10 * Ms + 1);
  EXPECT_EQ(T->MeasuredRate(), 100);
  // The next period ticks every other interval only: half the rate.
  for (int64_t I = 51; I <= 100; ++I) IdleAt(I * 20 * Ms + 2);
  EXPECT_EQ(T->MeasuredRate(), 50);
}

TEST_F(TimerTest, StopwatchNestsAndSubtractsWordByWord) {
  TLumTimer T(nullptr);
  EXPECT_EQ(T.Stop(), -1.0);
  for (int64_t At : {1000 * Ms, 3000 * Ms}) Now = At, T.Start();
  EXPECT_TRUE(T.getisstarted());
  Now = 4000 * Ms;
  EXPECT_DOUBLE_EQ(T.Stop(), 1.0);  // the inner start first
  Now = 6000 * Ms;
  EXPECT_DOUBLE_EQ(T.Stop(), 5.0);
  // 32 counts across a carry out of the low word read as 2^32 + 32 counts.
  Now = 0x1FFFFFFF0, T.Start();
  Now = 0x200000010;
  EXPECT_DOUBLE_EQ(T.Stop(), (4294967296.0 + 32) / 1e7);
}

// The counter runs at 10 MHz with the steady clock, so its low word wraps once in
// 429.5 s: a stopwatch of a quarter second comes out 429.5 s too long once in about
// 1700 runs.
TEST(TimerCounterTest, CountsTheSteadyClockInStepsOf100Nanoseconds) {
  using namespace std::chrono;
  const int64_t Before = duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count();
  const int64_t Counter = TLumTimer::ReadCounter();
  const int64_t After = duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count();
  EXPECT_GE(Counter, Before / 100);
  EXPECT_LE(Counter, After / 100);
}

// Reset puts the grid's phase at the counter; a cleared parent keeps driving its child.
TEST_F(TimerTest, ResetMovesTheGridAndAClearedParentStillDrives) {
  auto* T = new TLumTimer(&Form);
  T->setintervall(10);
  std::vector<int32_t> Lags;
  T->OnTimer = [&](TObject*, int32_t Lag) { Lags.push_back(Lag); };
  Now = 1000 * Ms;
  T->Reset();
  EXPECT_EQ(T->LastTick(), 1000 * Ms);
  IdleAt(1005 * Ms);
  EXPECT_TRUE(Lags.empty());
  IdleAt(1010 * Ms + 1);
  EXPECT_EQ(Lags, std::vector<int32_t>{1});  // not the 101 intervals since 0

  auto* Child = new TLumTimer(&Form);
  Child->setintervall(10);
  int Ticks = 0;
  Child->OnTimer = [&](TObject*, int32_t) { ++Ticks; };
  Child->SetParent(T);
  Child->SetParent(nullptr);
  EXPECT_EQ(Child->Parent(), nullptr);
  EXPECT_EQ(T->ChildCount(), 1);  // left in the old parent's list
  IdleAt(2000 * Ms);
  EXPECT_EQ(Ticks, 1);
}

TEST_F(TimerTest, ChildrenTickAfterTheirParent) {
  auto* A = new TLumTimer(&Form);
  auto* B = new TLumTimer(&Form);
  A->setintervall(1), B->setintervall(1);
  std::vector<char> Order;
  A->OnTimer = [&](TObject*, int32_t) { Order.push_back('A'); };
  B->OnTimer = [&](TObject*, int32_t) { Order.push_back('B'); };
  IdleAt(5 * Ms);
  EXPECT_EQ(Order, std::vector<char>{'A'});  // B is driven by nobody yet
  B->SetParent(A);
  A->SetParent(B);  // would make a cycle: refused
  EXPECT_EQ(A->Parent(), nullptr);
  A->SetEnabled(false);
  EXPECT_FALSE(IdleAt(10 * Ms));  // the enabled child keeps the loop busy
  A->SetEnabled(true);
  Order.clear();
  IdleAt(15 * Ms);
  EXPECT_EQ(Order, (std::vector<char>{'A', 'B'}));

  // A child freed leaves its parent's list; a parent freed clears its children's
  // reference and the hook, which the next timer then takes.
  auto* C = new TLumTimer(&Form);
  C->SetParent(A);
  delete B;
  EXPECT_EQ(A->ChildCount(), 1);
  delete A;
  EXPECT_EQ(C->Parent(), nullptr);
  EXPECT_FALSE(Application()->OnIdle);
  auto* D = new TLumTimer(&Form);
  EXPECT_TRUE(D->IdleInstalled());
}
