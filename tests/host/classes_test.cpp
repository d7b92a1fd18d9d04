// Ownership, names and removal notification of components.
#include "lumox/host/classes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <string>
#include <vector>

using namespace lumox;

namespace {

// Counts its deaths.
class TMortal : public TComponent {
 public:
  TMortal(TComponent* AOwner, int* Deaths) : TComponent(AOwner), FDeaths(Deaths) {}
  ~TMortal() override { ++*FDeaths; }

 private:
  int* FDeaths;
};

}  // namespace

TEST(ComponentTest, OwnerFreesItsComponents) {
  int Deaths = 0;
  {
    TComponent Owner(nullptr);
    auto* A = new TMortal(&Owner, &Deaths);
    new TMortal(A, &Deaths);  // owned by A, freed with it
    new TMortal(&Owner, &Deaths);
    EXPECT_EQ((std::array{Owner.ComponentCount(), A->ComponentCount()}), (std::array{2, 1}));
  }
  EXPECT_EQ(Deaths, 3);
}

namespace {

// One notification heard: who heard it, of which component, and what happened.
struct THeard {
  const TComponent* Ear;
  const TComponent* Of;
  TOperation Operation;
  bool operator==(const THeard&) const = default;
};

// Notes every notification it receives, and can stop another listener on a removal.
class TLogger : public TComponent {
 public:
  TLogger(TComponent* AOwner, std::vector<THeard>* Log) : TComponent(AOwner), FLog(Log) {}
  TLogger* Silences = nullptr;

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override {
    TComponent::Notification(AComponent, Operation);
    FLog->push_back({this, AComponent, Operation});
    if (Silences && Operation == opRemove) Silences->SetSiblingNotifications(false);
  }

 private:
  std::vector<THeard>* FLog;
};

// Who heard of a removal, in order.
std::vector<const TComponent*> Removals(const std::vector<THeard>& Log) {
  std::vector<const TComponent*> Ears;
  for (const THeard& H : Log)
    if (H.Operation == opRemove) Ears.push_back(H.Ear);
  return Ears;
}

}  // namespace

// A sibling that stops listening while a removal is being told is not told of it.
TEST(ComponentTest, AListenerStoppedDuringARemovalIsNotToldOfIt) {
  std::vector<THeard> Heard;
  TComponent Form(nullptr);
  auto* Target = new TComponent(&Form);
  auto* L1 = new TLogger(&Form, &Heard);
  auto* L2 = new TLogger(&Form, &Heard);
  auto* L3 = new TLogger(&Form, &Heard);
  for (TLogger* L : {L1, L2, L3}) L->SetSiblingNotifications(true);
  L3->Silences = L2;  // L2 stops listening before its turn comes
  delete Target;
  EXPECT_EQ(Removals(Heard), (std::vector<const TComponent*>{L3, L1}));
}

// Frees in every order, changes of owner, renames and listeners that come and go,
// against a plain model: after every step the owned components' positions and count,
// every name found and unique, and every notification heard, by whom and in which
// order (holders registered from either side, until they withdraw, last registered
// first, then the owner's listeners last to ask first; those that did not ask hear
// nothing), in lists of several hundred.
TEST(ComponentTest, OwnedComponentsKeepOrderNamesAndNotificationsThroughAnyEdits) {
  std::mt19937 Random(7);
  std::vector<THeard> Log, Expected;
  TComponent Owner(nullptr), Other(nullptr), Elsewhere(nullptr);
  std::vector<TComponent*> Model;
  // Siblings that may listen (never freed here), in the order they asked.
  std::vector<TLogger*> Ears, Listening;
  for (int I = 0; I < 4; ++I) {
    Ears.push_back(new TLogger(&Owner, &Log));
    Model.push_back(Ears.back());
  }
  // Holders in another owner, registered with some components, in registration order.
  std::vector<TLogger*> Holders;
  for (int I = 0; I < 3; ++I) Holders.push_back(new TLogger(&Elsewhere, &Log));
  std::map<TComponent*, std::vector<TLogger*>> HeldBy;
  auto Tell = [&](TComponent* C, TOperation Op) {
    for (auto It = Listening.rbegin(); It != Listening.rend(); ++It)
      Expected.push_back({*It, C, Op});
  };
  int Named = 0;
  for (int Step = 0; Step < 5000; ++Step) {
    Log.clear();
    Expected.clear();
    const uint32_t Op = Random() % 13;
    const size_t Plain = Model.size() - Ears.size();  // components after the ears
    auto PickPlain = [&] { return Ears.size() + Random() % Plain; };
    if (Op < 4 || Plain == 0) {
      auto* C = new TComponent(nullptr);
      if (Op == 0) C->SetName("N" + std::to_string(Named++));  // never taken
      Owner.InsertComponent(C);
      Model.push_back(C);
      Tell(C, opInsert);
    } else if (Op < 7) {  // oldest, newest, anywhere
      const size_t I = Op == 4 ? Ears.size() : Op == 5 ? Model.size() - 1 : PickPlain();
      TComponent* C = Model[I];
      const auto& H = HeldBy[C];
      for (auto It = H.rbegin(); It != H.rend(); ++It) Expected.push_back({*It, C, opRemove});
      Tell(C, opRemove);
      HeldBy.erase(C);
      delete C;
      Model.erase(Model.begin() + static_cast<ptrdiff_t>(I));
    } else if (Op == 7) {  // to another owner, and back at the end
      const size_t I = PickPlain();
      TComponent* C = Model[I];
      Other.InsertComponent(C);
      Owner.InsertComponent(C);
      Tell(C, opRemove);
      Tell(C, opInsert);
      Model.erase(Model.begin() + static_cast<ptrdiff_t>(I));
      Model.push_back(C);
    } else if (Op == 8) {  // a sibling starts or stops listening
      TLogger* E = Ears[Random() % Ears.size()];
      const bool Was = std::find(Listening.begin(), Listening.end(), E) != Listening.end();
      E->SetSiblingNotifications(!Was);
      if (Was)
        Listening.erase(std::find(Listening.begin(), Listening.end(), E));
      else
        Listening.push_back(E);
    } else if (Op == 9) {  // a holder registers, from either side (once per pair)
      TComponent* C = Model[PickPlain()];
      TLogger* H = Holders[Random() % Holders.size()];
      Random() % 2 ? C->FreeNotification(H) : H->FreeNotification(C);
      auto& L = HeldBy[C];
      if (std::find(L.begin(), L.end(), H) == L.end()) L.push_back(H);
    } else if (Op == 10) {  // a holder withdraws its registration
      TComponent* C = Model[PickPlain()];
      TLogger* H = Holders[Random() % Holders.size()];
      H->RemoveFreeNotification(C);
      auto& L = HeldBy[C];
      L.erase(std::remove(L.begin(), L.end(), H), L.end());
    } else if (Op == 12) {  // moved to another place among its siblings, quietly
      const size_t I = PickPlain(), To = PickPlain();
      TComponent* C = Model[I];
      ASSERT_EQ(C->ComponentIndex(), static_cast<int>(I));
      C->SetComponentIndex(static_cast<int>(To));
      ASSERT_EQ(C->ComponentIndex(), static_cast<int>(To));
      Model.erase(Model.begin() + static_cast<ptrdiff_t>(I));
      Model.insert(Model.begin() + static_cast<ptrdiff_t>(To), C);
    } else {  // a rename, to a free name or to one taken (refused, nothing changes)
      TComponent* C = Model[PickPlain()];
      // A name of the renames' own, or another component's (which may be empty).
      const std::string Name =
          Random() % 2 ? "C" + std::to_string(Random() % 40) : Model[PickPlain()]->Name();
      TComponent* Taken = Owner.FindComponent(Name);
      if (Taken && Taken != C) {
        const std::string Before = C->Name();
        EXPECT_THROW(C->SetName(Name), Exception);
        ASSERT_EQ(C->Name(), Before);
      } else {
        C->SetName(Name);
      }
    }
    ASSERT_EQ(Log, Expected) << "step " << Step << " operation " << Op;
    if (Step % 97 != 0 && Model.size() > 20) continue;
    ASSERT_EQ(Owner.ComponentCount(), static_cast<int>(Model.size()));
    std::map<std::string, int> Names;
    for (int I = 0; I < Owner.ComponentCount(); ++I) {
      TComponent* C = Model[static_cast<size_t>(I)];
      ASSERT_EQ(Owner.Components(I), C) << Step << " " << I;
      if (C->Name().empty()) continue;
      ASSERT_EQ(Owner.FindComponent(C->Name()), C);
      ASSERT_EQ(++Names[C->Name()], 1) << C->Name();
    }
  }
  EXPECT_EQ(Other.ComponentCount(), 0);
  EXPECT_EQ(Owner.Components(-1), nullptr);
  EXPECT_EQ(Other.ComponentIndex(), -1);
  // The holders die first: the components they held no longer tell them anything.
  for (TLogger* H : Holders) delete H;
  Log.clear();
  for (TLogger* E : Ears) E->SetSiblingNotifications(false);
  while (Owner.ComponentCount() > static_cast<int>(Ears.size())) delete Owner.Components(4);
  EXPECT_TRUE(Log.empty());
}

TEST(ComponentTest, NamesAreIdentifiersUniqueWithinTheOwner) {
  TComponent Owner(nullptr);
  auto* A = new TComponent(&Owner);
  auto* B = new TComponent(&Owner);
  A->SetName("Sphere1");
  EXPECT_EQ(Owner.FindComponent("SPHERE1"), A);
  for (const char* Bad : {"sphere1", "1abc", "a b"})
    EXPECT_THROW(B->SetName(Bad), Exception) << Bad;
}

TEST(ComponentTest, InsertingItselfOrAnOwnerRaisesAndChangesNothing) {
  TComponent Owner(nullptr);
  auto* A = new TComponent(&Owner);
  auto* B = new TComponent(A);
  EXPECT_THROW(A->InsertComponent(A), Exception);
  EXPECT_THROW(B->InsertComponent(A), Exception);
  EXPECT_THROW(B->InsertComponent(&Owner), Exception);
  EXPECT_EQ((std::array{A->Owner(), B->Owner()}), (std::array<TComponent*, 2>{&Owner, A}));
  EXPECT_EQ((std::array{Owner.ComponentCount(), A->ComponentCount(), B->ComponentCount()}),
            (std::array{1, 1, 0}));
}

TEST(ComponentTest, NamesCompareWithoutRegardToAsciiCaseOnly) {
  EXPECT_TRUE(SameText("TLumBox_9", "tlumbox_9"));
  // Characters that differ from each other as letters do ('@' and '`', '[' and '{') are
  // still different characters.
  EXPECT_FALSE(SameText("A@", "a`"));
  EXPECT_FALSE(SameText("[", "{"));
  EXPECT_FALSE(SameText("\xC4", "\xE4"));
  EXPECT_EQ(UpperCase("aZ_@`{\xE4"), "AZ_@`{\xE4");
}

TEST(ComponentTest, StateFlagsReachOwnedComponents) {
  TComponent Owner(nullptr);
  auto* A = new TComponent(&Owner);
  auto* Leaf = new TComponent(A);  // owns nothing itself
  Owner.SetReading(true);
  EXPECT_TRUE(Leaf->ComponentState().Contains(csReading));
  Leaf->SetReading(false);
  EXPECT_TRUE(!Leaf->ComponentState().Contains(csReading) &&
              A->ComponentState().Contains(csReading));
  Owner.SetDesigning(true);
  EXPECT_TRUE(A->ComponentState().Contains(csDesigning));
  Owner.SetLoading(true);
  const bool Loading = A->ComponentState().Contains(csLoading);
  Owner.SetLoading(false);
  EXPECT_TRUE(Loading && !A->ComponentState().Contains(csLoading));
}

TEST(PersistentTest, AssignBetweenUnrelatedClassesRaisesConvertError) {
  TPersistent A, B;
  EXPECT_THROW(A.Assign(&B), EConvertError);
  EXPECT_THROW(A.Assign(nullptr), EConvertError);
}
