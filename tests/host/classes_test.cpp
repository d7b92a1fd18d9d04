// Ownership, names and removal notification of components.
#include "lumox/host/classes.h"

#include <gtest/gtest.h>

#include <array>

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
  Holder->SetTarget(Target);    // another owner: needs FreeNotification
  Sibling->Target = Target;     // same owner: told through the owner when it asks
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
