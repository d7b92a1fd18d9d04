// The animation timer: interval grid, lag count, measured rate, stopwatch and chaining.
#include "lumox/control/lumtimer.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "lumox/host/forms.h"
#include "lumox/host/proptable.h"

namespace lumox {

namespace {

TLumTimerClock& Clock() {
  static TLumTimerClock C;
  return C;
}

// The system's rounding: halves go to the even neighbour (the default rounding mode).
int64_t RoundEven(double Value) { return static_cast<int64_t>(std::nearbyint(Value)); }

}  // namespace

void TLumTimer::SetClock(TLumTimerClock C) { Clock() = std::move(C); }

int64_t TLumTimer::ReadCounter() {
  if (Clock()) return Clock()();
  using TCounts = std::chrono::duration<int64_t, std::ratio<1, CounterFrequency>>;
  return std::chrono::duration_cast<TCounts>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

TLumTimer::TLumTimer(TComponent* AOwner) : TComponent(AOwner) {
  FFrequency = CounterFrequency;
  setintervall(1000);
  FMeasurePeriod = RoundEven(FFrequency * 1000 / 1000.0);
  FEnabled = true;
  FActiveonly = false;
  FLastTick = ReadCounter();
  setidle();
}

TLumTimer::~TLumTimer() {
  delidle();
  // Parent and children hear of this timer's end through the removal notification.
  Destroying();
  if (FParent) {
    auto& L = FParent->FChildren;
    L.erase(std::remove(L.begin(), L.end(), this), L.end());
  }
}

void TLumTimer::setintervall(int32_t Value) {
  if (Value < 1 || Value > 3600000) return;
  FIntervall = Value;
  FRate = static_cast<int32_t>(RoundEven(1000.0 / Value));
  FIntervalCounts = RoundEven(static_cast<double>(Value) * FFrequency / 1000.0);
}

void TLumTimer::setrate(int32_t Value) {
  if (Value < 1 || Value > 10000) return;
  FRate = Value;
  FIntervall = static_cast<int32_t>(RoundEven(1000.0 / Value));
  FIntervalCounts = RoundEven(static_cast<double>(FFrequency) / Value);
}

TLumTimer* TLumTimer::Children(int Index) const {
  if (Index < 0 || Index >= ChildCount()) return nullptr;
  return FChildren[static_cast<size_t>(Index)];
}

void TLumTimer::Reset() { FLastTick = ReadCounter(); }

void TLumTimer::Start() {
  const auto C = static_cast<uint64_t>(ReadCounter());
  FStartStamps.push_back(static_cast<uint32_t>(C));
  FStartStamps.push_back(static_cast<uint32_t>(C >> 32));
}

double TLumTimer::Stop() {
  if (FStartStamps.size() < 2) return -1.0;
  const auto Now = static_cast<uint64_t>(ReadCounter());
  const uint32_t StartHigh = FStartStamps.back();
  FStartStamps.pop_back();
  const uint32_t StartLow = FStartStamps.back();
  FStartStamps.pop_back();
  // Word by word, no borrow from the high word when the low word wrapped (kept so).
  const uint32_t High = static_cast<uint32_t>(Now >> 32) - StartHigh;
  const uint32_t Low = static_cast<uint32_t>(Now) - StartLow;
  const auto Diff = static_cast<int64_t>((static_cast<uint64_t>(High) << 32) | Low);
  return static_cast<double>(Diff) / static_cast<double>(FFrequency);
}

void TLumTimer::SetParent(TLumTimer* Value) {
  if (!Value) {
    FParent = nullptr;
    return;
  }
  if (Value == this) return;
  // Walking up from Value finds this timer when Value already runs under it.
  const TLumTimer* P = Value;
  while (P && P != this) P = P->FParent;
  if (FParent) {
    auto& L = FParent->FChildren;
    L.erase(std::remove(L.begin(), L.end(), this), L.end());
  }
  // The walk refuses indirect descendants too, which as parents would make DoIdle
  // call itself without end.
  if (P == this || std::find(FChildren.begin(), FChildren.end(), Value) != FChildren.end()) return;
  delidle();
  Value->FChildren.push_back(this);
  Value->FreeNotification(this);
  Value->setidle();
  FParent = Value;
}

void TLumTimer::Notification(TComponent* AComponent, TOperation Operation) {
  TComponent::Notification(AComponent, Operation);
  if (Operation != opRemove || !AComponent) return;
  FChildren.erase(std::remove(FChildren.begin(), FChildren.end(), AComponent), FChildren.end());
  if (AComponent == FParent) FParent = nullptr;
}

void TLumTimer::setidle() {
  TApplication* App = Application();
  if (App->OnIdle) return;
  App->OnIdle = [this](TObject* Sender, bool& Done) { DoIdle(Sender, Done); };
  FIdleInstalled = true;
}

void TLumTimer::delidle() {
  if (!FIdleInstalled) return;
  Application()->OnIdle = nullptr;
  FIdleInstalled = false;
}

void TLumTimer::DoIdle(TObject*, bool& Done) {
  FNow = ReadCounter();
  const bool R = DoTimer(FNow);
  Done = Done && R;
  // By index: an OnTimer handler may free a child, which leaves the list.
  for (size_t I = 0; I < FChildren.size(); ++I) FChildren[I]->DoIdle(this, Done);
}

bool TLumTimer::DoTimer(int64_t Now) {
  if (!FEnabled) return true;
  if (FActiveonly && !Application()->Active()) return true;
  const int64_t Elapsed = Now - FLastTick;
  if (Elapsed > FIntervalCounts) {
    ++FTickCount;
    if (OnTimer) OnTimer(this, static_cast<int32_t>(Elapsed / FIntervalCounts));
    // Back onto the interval grid rather than drifting by the time the tick came late.
    FLastTick = Now - Elapsed % FIntervalCounts;
  }
  const int64_t E2 = Now - FLastMeasure;
  if (E2 > FMeasurePeriod) {
    FMeasuredRate =
        static_cast<int32_t>(RoundEven(FTickCount / static_cast<double>(E2) * FFrequency));
    FTickCount = 0;
    FLastMeasure = Now;
  }
  return false;
}

// --- the published-property table ------------------------------------------------------

namespace {

// Whether the timer's interval counts come from Intervall (set last, or agreeing with
// Rate) rather than from Rate: form files keep the one that was set, because each
// setter rounds the other (Intervall 600 gives Rate 2, and Rate 2 Intervall 500).
bool IntervalFromIntervall(const TLumTimer* T) {
  return T->IntervalCounts() == RoundEven(double(T->Intervall()) * T->Frequency() / 1000.0);
}

}  // namespace

namespace detail {
// Called once from the package's registration (package/lumregister.cpp).
void RegisterLumtimerProperties();
}  // namespace detail

void detail::RegisterLumtimerProperties() {
  TLumClassTable<TLumTimer, TComponent> T(
      "TLumTimer", "Lumox", "Fires OnTimer at a fixed rate from the application's idle time");
  T.Creatable();
  T.Boolean("Enabled", &TLumTimer::Enabled, &TLumTimer::SetEnabled, true, "Ticks at all");
  T.Boolean("Activeonly", &TLumTimer::Activeonly, &TLumTimer::SetActiveonly, false,
            "Ticks only while the application is the active one");
  T.Integer("Intervall", &TLumTimer::Intervall, &TLumTimer::setintervall, 1000,
            "Interval in milliseconds, 1..3600000; sets Rate")
      .Range(TLumRange::Between(1, 3600000))
      .StoredWhen([](const TPersistent* P) {
        return IntervalFromIntervall(dynamic_cast<const TLumTimer*>(P));
      });
  T.Integer("Rate", &TLumTimer::Rate, &TLumTimer::setrate, 1,
            "Ticks per second, 1..10000; sets Intervall")
      .Range(TLumRange::Between(1, 10000))
      .StoredWhen([](const TPersistent* P) {
        return !IntervalFromIntervall(dynamic_cast<const TLumTimer*>(P));
      });
  T.Event("OnTimer", "TonTimer", &TLumTimer::OnTimer,
          "The tick, with the number of whole intervals that passed");
  T.Component("Parent", &TLumTimer::Parent, &TLumTimer::SetParent, true,
              "The timer whose idle processing drives this one")
      .Accept([](const TPersistent* Self, const TComponent* C) { return C != Self; });
}

}  // namespace lumox
