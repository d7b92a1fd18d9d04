// The component model: ownership, names, state and removal notification.
#include "lumox/host/classes.h"

#include <algorithm>
#include <cctype>

namespace lumox {

bool SameText(std::string_view A, std::string_view B) {
  if (A.size() != B.size()) return false;
  for (size_t I = 0; I < A.size(); ++I)
    if (std::toupper(static_cast<unsigned char>(A[I])) !=
        std::toupper(static_cast<unsigned char>(B[I])))
      return false;
  return true;
}

std::string UpperCase(std::string_view S) {
  std::string R(S);
  for (char& C : R) C = static_cast<char>(std::toupper(static_cast<unsigned char>(C)));
  return R;
}

void TPersistent::Assign(TPersistent* Source) {
  if (Source) {
    Source->AssignTo(this);
    return;
  }
  throw EConvertError(std::string("Cannot assign a nil to a ") + ClassName() + ".");
}

void TPersistent::AssignTo(TPersistent* Dest) {
  throw EConvertError(std::string("Cannot assign a ") + ClassName() + " to a " +
                      (Dest ? Dest->ClassName() : "nil") + ".");
}

TComponent::TComponent(TComponent* AOwner) {
  if (AOwner) AOwner->InsertComponent(this);
}

TComponent::~TComponent() {
  Destroying();
  DestroyComponents();
  if (FOwner) FOwner->RemoveComponent(this);
}

void TComponent::Destroying() {
  if (FComponentState.Contains(csDestroying)) return;
  FComponentState.Include(csDestroying);
  // Everyone that asked to be told, then the owner (which tells its listeners).
  while (!FFreeNotifies.empty()) {
    TComponent* C = *FFreeNotifies.begin();
    FFreeNotifies.erase(FFreeNotifies.begin());
    C->FFreeNotifies.erase(this);
    // The owner hears of it below, once (it passes it on to its listeners).
    if (C != FOwner) C->Notification(this, opRemove);
  }
  if (FOwner) FOwner->Notification(this, opRemove);
}

TComponent* TComponent::Components(int Index) const {
  if (Index < 0 || Index >= ComponentCount()) return nullptr;
  return FComponents[static_cast<size_t>(Index)];
}

TComponent* TComponent::FindComponent(std::string_view AName) const {
  if (AName.empty()) return nullptr;
  auto It = FNames.find(UpperCase(AName));
  return It == FNames.end() ? nullptr : It->second;
}

static bool IsValidIdent(std::string_view S) {
  if (S.empty()) return false;
  auto Alpha = [](char C) { return std::isalpha(static_cast<unsigned char>(C)) || C == '_'; };
  if (!Alpha(S[0])) return false;
  return std::all_of(S.begin() + 1, S.end(), [&](char C) {
    return Alpha(C) || std::isdigit(static_cast<unsigned char>(C));
  });
}

void TComponent::SetName(const std::string& NewName) {
  if (FName == NewName) return;
  if (!NewName.empty() && !IsValidIdent(NewName))
    throw Exception("\"" + NewName + "\" is not a valid component name.");
  if (FOwner && !NewName.empty()) {
    TComponent* Other = FOwner->FindComponent(NewName);
    if (Other && Other != this)
      throw Exception("A component named " + NewName + " already exists.");
  }
  if (FOwner && !FName.empty()) FOwner->FNames.erase(UpperCase(FName));
  FName = NewName;
  if (FOwner && !FName.empty()) FOwner->FNames[UpperCase(FName)] = this;
}

void TComponent::InsertComponent(TComponent* AComponent) {
  if (!AComponent || AComponent->FOwner == this) return;
  if (!AComponent->FName.empty() && FindComponent(AComponent->FName))
    throw Exception("A component named " + AComponent->FName + " already exists.");
  if (AComponent->FOwner) AComponent->FOwner->RemoveComponent(AComponent);
  FComponents.push_back(AComponent);
  if (!AComponent->FName.empty()) FNames[UpperCase(AComponent->FName)] = AComponent;
  if (AComponent->FSiblingNotifications) {
    FListeners.push_back(AComponent);
    FListenerSet.insert(AComponent);
  }
  AComponent->FOwner = this;
  if (FComponentState.Contains(csDesigning)) AComponent->SetDesigning(true);
  Notification(AComponent, opInsert);
}

// Removes one entry, looking from the end first (components die last-first).
static void EraseFromBack(std::vector<TComponent*>& List, TComponent* C) {
  for (size_t I = List.size(); I-- > 0;)
    if (List[I] == C) {
      List.erase(List.begin() + static_cast<std::ptrdiff_t>(I));
      return;
    }
}

void TComponent::RemoveComponent(TComponent* AComponent) {
  if (!AComponent || AComponent->FOwner != this) return;
  if (!AComponent->FComponentState.Contains(csDestroying)) Notification(AComponent, opRemove);
  EraseFromBack(FComponents, AComponent);
  if (AComponent->FSiblingNotifications) {
    EraseFromBack(FListeners, AComponent);
    FListenerSet.erase(AComponent);
  }
  if (!AComponent->FName.empty()) {
    auto It = FNames.find(UpperCase(AComponent->FName));
    if (It != FNames.end() && It->second == AComponent) FNames.erase(It);
  }
  AComponent->FOwner = nullptr;
}

namespace {
// Owned components are freed by their owner's destructor, so a chain of owners
// nested N deep would need N destructor frames on the call stack. Beyond this many
// nested DestroyComponents calls, owners hand their components to the outermost call
// instead, which frees them one after another.
constexpr int MaxNestedDestroy = 64;
thread_local int DestroyDepth = 0;
thread_local std::vector<TComponent*>* DeferredFrees = nullptr;
}  // namespace

void TComponent::DestroyComponents() {
  if (DestroyDepth >= MaxNestedDestroy && DeferredFrees) {
    // Taken out of this owner (which tells its listeners, as a removal does) and
    // freed by the outermost call, last first as here.
    std::vector<TComponent*> Orphans;
    Orphans.reserve(FComponents.size());
    while (!FComponents.empty()) {
      TComponent* C = FComponents.back();
      RemoveComponent(C);
      if (!FComponents.empty() && FComponents.back() == C) FComponents.pop_back();
      Orphans.push_back(C);
    }
    DeferredFrees->insert(DeferredFrees->end(), Orphans.rbegin(), Orphans.rend());
    return;
  }
  std::vector<TComponent*> Deferred;
  const bool Outermost = DeferredFrees == nullptr;
  if (Outermost) DeferredFrees = &Deferred;
  ++DestroyDepth;
  while (!FComponents.empty()) {
    TComponent* C = FComponents.back();
    delete C;  // its destructor removes it from this list
    if (!FComponents.empty() && FComponents.back() == C) FComponents.pop_back();
  }
  if (Outermost) {
    while (!Deferred.empty()) {
      TComponent* C = Deferred.back();
      Deferred.pop_back();
      delete C;
    }
    DeferredFrees = nullptr;
  }
  --DestroyDepth;
}

void TComponent::FreeNotification(TComponent* AComponent) {
  if (!AComponent || AComponent == this) return;
  FFreeNotifies.insert(AComponent);
  AComponent->FFreeNotifies.insert(this);
}

void TComponent::RemoveFreeNotification(TComponent* AComponent) {
  if (!AComponent || FFreeNotifies.erase(AComponent) == 0) return;
  AComponent->FFreeNotifies.erase(this);
}

void TComponent::SetSiblingNotifications(bool Value) {
  if (Value == FSiblingNotifications) return;
  FSiblingNotifications = Value;
  if (!FOwner) return;
  if (Value) {
    FOwner->FListeners.push_back(this);
    FOwner->FListenerSet.insert(this);
  } else {
    EraseFromBack(FOwner->FListeners, this);
    FOwner->FListenerSet.erase(this);
  }
}

void TComponent::Notification(TComponent* AComponent, TOperation Operation) {
  if (Operation == opRemove && AComponent) RemoveFreeNotification(AComponent);
  if (FListeners.empty()) return;
  // Copy: a handler may free components of this owner. Last listener first.
  const std::vector<TComponent*> Items = FListeners;
  for (auto It = Items.rbegin(); It != Items.rend(); ++It) {
    TComponent* C = *It;
    if (FListenerSet.count(C)) C->Notification(AComponent, Operation);
  }
}

void TComponent::ChangeState(TComponentStateItem Item, bool Value) {
  // Through a list rather than by recursion: owners may be nested very deep.
  std::vector<TComponent*> Pending{this};
  while (!Pending.empty()) {
    TComponent* C = Pending.back();
    Pending.pop_back();
    if (Value)
      C->FComponentState.Include(Item);
    else
      C->FComponentState.Exclude(Item);
    Pending.insert(Pending.end(), C->FComponents.begin(), C->FComponents.end());
  }
}

void TComponent::SetDesigning(bool Value) { ChangeState(csDesigning, Value); }
void TComponent::SetLoading(bool Value) { ChangeState(csLoading, Value); }
void TComponent::SetReading(bool Value) { ChangeState(csReading, Value); }

}  // namespace lumox
