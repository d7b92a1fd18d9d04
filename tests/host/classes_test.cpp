// Ownership, names and removal notification of components.
#include "lumox/host/classes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

using namespace lumox;

namespace {

// Holds a reference to another component and clears it when that one dies.
class TRef : public TComponent {
 public:
  explicit TRef(TComponent* AOwner, int* Deaths = nullptr) : TComponent(AOwner), FDeaths(Deaths) {}
  ~TRef() override {
    if (FDeaths) ++*FDeaths;
  }
  void SetTarget(TComponent* T) {
    Target = T;
    if (T) T->FreeNotification(this);
  }
  TComponent* Target = nullptr;
  int Removals = 0;

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override {
    TComponent::Notification(AComponent, Operation);
    if (Operation == opRemove && AComponent == Target) {
      Target = nullptr;
      ++Removals;
    }
  }

 private:
  int* FDeaths;
};

}  // namespace

TEST(ComponentTest, OwnerFreesItsComponents) {
  int Deaths = 0;
  {
    TComponent Owner(nullptr);
    auto* A = new TRef(&Owner, &Deaths);
    new TRef(A, &Deaths);  // owned by A, freed with it
    new TRef(&Owner, &Deaths);
    EXPECT_EQ((std::array{Owner.ComponentCount(), A->ComponentCount()}), (std::array{2, 1}));
  }
  EXPECT_EQ(Deaths, 3);
}

TEST(ComponentTest, ReferencesAreClearedWhenTheTargetDies) {
  TComponent FormA(nullptr), FormB(nullptr);
  auto* Holder = new TRef(&FormA);
  auto* Sibling = new TRef(&FormB);
  auto* Target = new TComponent(&FormB);
  Holder->SetTarget(Target);  // another owner: needs FreeNotification
  Sibling->Target = Target;   // same owner: told through the owner when it asks
  Sibling->SetSiblingNotifications(true);
  auto* Deaf = new TRef(&FormB);  // did not ask: insertions and removals pass it by
  Deaf->Target = Target;
  delete Target;
  EXPECT_TRUE(Holder->Target == nullptr && Sibling->Target == nullptr);
  EXPECT_EQ((std::array{Holder->Removals, Deaf->Removals, FormB.ComponentCount()}),
            (std::array{1, 0, 2}));
  // The dead component is gone from the holder's list: freeing the holder later is safe.
  delete Holder;
  EXPECT_EQ(FormA.ComponentCount(), 0);
}

namespace {

// Notes every removal it hears of, in order, and can stop another listener meanwhile.
class TEar : public TComponent {
 public:
  TEar(TComponent* AOwner, std::vector<TEar*>* Log) : TComponent(AOwner), FLog(Log) {}
  TEar* Silences = nullptr;

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override {
    TComponent::Notification(AComponent, Operation);
    if (Operation != opRemove) return;
    FLog->push_back(this);
    if (Silences) Silences->SetSiblingNotifications(false);
  }

 private:
  std::vector<TEar*>* FLog;
};

}  // namespace

TEST(ComponentTest, RemovalIsToldLastRegisteredFirstThenToTheOwnersListeners) {
  std::vector<TEar*> Heard;
  TComponent Form(nullptr), Elsewhere(nullptr);
  auto* Target = new TComponent(&Form);
  TEar* H[3];
  for (auto*& E : H) {
    E = new TEar(&Elsewhere, &Heard);
    Target->FreeNotification(E);
  }
  Target->FreeNotification(H[0]);  // once is enough: no second registration
  H[1]->FreeNotification(Target);  // either side registers the same pair
  auto* L1 = new TEar(&Form, &Heard);
  auto* L2 = new TEar(&Form, &Heard);
  auto* L3 = new TEar(&Form, &Heard);
  for (TEar* L : {L1, L2, L3}) L->SetSiblingNotifications(true);
  L3->Silences = L2;  // L2 stops listening before its turn comes
  delete Target;
  EXPECT_EQ(Heard, (std::vector<TEar*>{H[2], H[1], H[0], L3, L1}));
  // Registrations go both ways and end with either side: a holder that dies first is
  // not told later.
  Heard.clear();
  auto* T2 = new TComponent(&Form);
  T2->FreeNotification(H[0]);
  T2->FreeNotification(H[1]);
  delete H[0];
  H[1]->RemoveFreeNotification(T2);
  delete T2;
  EXPECT_EQ(Heard, (std::vector<TEar*>{L3, L1}));  // T2's owner passes it on; no holder is left
}

// Frees in every order and changes of owner, against a plain vector of the expected
// components: positions, counts and names stay right in lists of several hundred.
TEST(ComponentTest, OwnedComponentsKeepTheirOrderThroughFreesInAnyOrder) {
  std::mt19937 Random(7);
  TComponent Owner(nullptr), Other(nullptr);
  std::vector<TComponent*> Model;
  int Named = 0;
  for (int Step = 0; Step < 4000; ++Step) {
    const uint32_t Op = Random() % 8;
    if (Op < 4 || Model.empty()) {
      Model.push_back(new TComponent(&Owner));
      if (Op == 0) Model.back()->SetName("C" + std::to_string(Named++));
    } else if (Op < 7) {
      const size_t I = Op == 4 ? 0 : Op == 5 ? Model.size() - 1 : Random() % Model.size();
      delete Model[I];
      Model.erase(Model.begin() + static_cast<ptrdiff_t>(I));
    } else {  // to another owner, and back at the end
      const size_t I = Random() % Model.size();
      TComponent* C = Model[I];
      Other.InsertComponent(C);
      Owner.InsertComponent(C);
      Model.erase(Model.begin() + static_cast<ptrdiff_t>(I));
      Model.push_back(C);
    }
    if (Step % 97 != 0) continue;
    ASSERT_EQ(Owner.ComponentCount(), static_cast<int>(Model.size()));
    for (int I = 0; I < Owner.ComponentCount(); ++I)
      ASSERT_EQ(Owner.Components(I), Model[static_cast<size_t>(I)]) << Step << " " << I;
    for (TComponent* C : Model)
      if (!C->Name().empty()) {
        ASSERT_EQ(Owner.FindComponent(C->Name()), C);
      }
  }
  EXPECT_EQ(Other.ComponentCount(), 0);
  EXPECT_EQ(Owner.Components(-1), nullptr);
}

TEST(ComponentTest, NamesAreIdentifiersUniqueWithinTheOwner) {
  TComponent Owner(nullptr);
  auto* A = new TComponent(&Owner);
  auto* B = new TComponent(&Owner);
  A->SetName("Sphere1");
  EXPECT_EQ(Owner.FindComponent("SPHERE1"), A);
  for (const char* Bad : {"sphere1", "1abc", "a b"})
    EXPECT_THROW(B->SetName(Bad), Exception) << Bad;
  B->SetName("Sphere2");
  EXPECT_EQ(B->Name(), "Sphere2");
  B->SetName("");  // no name at all is fine
  EXPECT_EQ(B->Name(), "");
}

TEST(ComponentTest, StateFlagsReachOwnedComponents) {
  TComponent Owner(nullptr);
  auto* A = new TComponent(&Owner);
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

TEST(SetTest, MembersAndOperators) {
  enum E : uint8_t { a, b, c };
  TLumSet<E> S{a, c};
  EXPECT_TRUE(S.Contains(a));
  EXPECT_FALSE(S.Contains(b));
  S.Include(b);
  S.Exclude(a);
  EXPECT_EQ(S, (TLumSet<E>{b, c}));
  EXPECT_EQ(S - TLumSet<E>{c}, TLumSet<E>{b});
}
