// TLumTimer: an animation timer that ticks from the application's idle processing on a
// fixed interval grid, measured with a monotonic counter at 10 MHz; it also offers a
// stopwatch (Start, Stop) and can be chained under another timer (Parent).
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "lumox/host/classes.h"

namespace lumox {

// The tick event; lagcount is the number of whole intervals since the previous tick
// (more than 1 when the loop lagged).
using TonTimer = std::function<void(TObject* sender, int32_t lagcount)>;
// A monotonic counter of TLumTimer::CounterFrequency counts a second.
using TLumTimerClock = std::function<int64_t()>;

// The first timer of the process installs itself as the application's idle handler
// and keeps idle processing busy while it is enabled (a full core: the price of
// frame-rate animation). Further timers tick only when given a Parent: each timer
// runs its children after itself. The property names Intervall and Activeonly are
// spelled so on purpose.
class TLumTimer : public TComponent {
 public:
  explicit TLumTimer(TComponent* AOwner);
  ~TLumTimer() override;
  const char* ClassName() const override { return "TLumTimer"; }

  // Counts a second of the counter: 10 MHz. At that rate the counter's low 32 bits wrap
  // every 429.5 s, so Stop's word-wise subtraction rarely comes out wrong.
  static constexpr int64_t CounterFrequency = 10000000;
  // The counter every timer reads: std::chrono::steady_clock in 100 ns steps unless a
  // clock is set (tests set their own). nullptr restores the steady clock.
  static void SetClock(TLumTimerClock Clock);
  static int64_t ReadCounter();

  bool Enabled() const { return FEnabled; }
  void SetEnabled(bool Value) { FEnabled = Value; }
  // Tick only while the application is the active one.
  bool Activeonly() const { return FActiveonly; }
  void SetActiveonly(bool Value) { FActiveonly = Value; }
  // Interval in milliseconds, accepted from 1 to 3600000; sets Rate to match.
  int32_t Intervall() const { return FIntervall; }
  void setintervall(int32_t Value);
  // Ticks per second, accepted from 1 to 10000; sets Intervall to match. Both
  // conversions round halves to the even neighbour (Intervall 400 gives Rate 2).
  int32_t Rate() const { return FRate; }
  void setrate(int32_t Value);
  // Ticks per second counted over the last measuring period (about a second).
  int32_t MeasuredRate() const { return FMeasuredRate; }
  // Counts per second of the counter (CounterFrequency).
  int64_t Frequency() const { return FFrequency; }
  int64_t IntervalCounts() const { return FIntervalCounts; }
  int64_t LastTick() const { return FLastTick; }
  TonTimer OnTimer;

  // The timer whose idle processing drives this one. nullptr clears the reference but
  // leaves the timer in the old parent's child list (it goes on ticking there).
  TLumTimer* Parent() const { return FParent; }
  void SetParent(TLumTimer* Value);
  int ChildCount() const { return static_cast<int>(FChildren.size()); }
  TLumTimer* Children(int Index) const;
  // Whether this timer is the application's idle handler.
  bool IdleInstalled() const { return FIdleInstalled; }

  // Puts the interval grid's phase at the current counter value.
  void Reset();
  // Pushes the counter (stopwatch starts nest).
  void Start();
  // Seconds since the latest pending Start, which it pops; -1.0 without one. The
  // difference is taken word by word (high words, then low words, no borrow between
  // them), so when the counter's low 32 bits wrapped in between (once in 429.5 s), the
  // result is 2^32 counts (429.5 s) too large. Kept so for compatibility with stored
  // timings.
  double Stop();
  bool getisstarted() const { return !FStartStamps.empty(); }

  // The idle handler: one tick test of this timer, then its children in order.
  // Done becomes false while any of them is enabled.
  void DoIdle(TObject* Sender, bool& Done);
  // One tick test at counter value Now; false while the timer is enabled (and, with
  // Activeonly, the application active).
  bool DoTimer(int64_t Now);

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

 private:
  void setidle();
  void delidle();
  bool FEnabled = true;
  bool FActiveonly = false;
  int32_t FMeasuredRate = 0;
  int64_t FNow = 0;
  int64_t FLastTick = 0;
  int64_t FFrequency = CounterFrequency;
  int64_t FLastMeasure = 0;
  int64_t FMeasurePeriod = 0;
  int64_t FIntervalCounts = 0;
  int32_t FTickCount = 0;
  int32_t FIntervall = 1000;
  int32_t FRate = 1;
  // Two words per pending start: low word, then high word.
  std::vector<uint32_t> FStartStamps;
  TLumTimer* FParent = nullptr;
  bool FIdleInstalled = false;
  std::vector<TLumTimer*> FChildren;
};

}  // namespace lumox
