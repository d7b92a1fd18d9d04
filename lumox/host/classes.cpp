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
  // Everyone that asked to be told, then the owner (which tells its components).
  while (!FFreeNotifies.empty()) {
    TComponent* C = FFreeNotifies.back();
    FFreeNotifies.pop_back();
    auto& Back = C->FFreeNotifies;
    Back.erase(std::remove(Back.begin(), Back.end(), this), Back.end());
    C->Notification(this, opRemove);
  }
  if (FOwner) FOwner->Notification(this, opRemove);
}

TComponent* TComponent::Components(int Index) const {
  if (Index < 0 || Index >= ComponentCount()) return nullptr;
  return FComponents[static_cast<size_t>(Index)];
}

TComponent* TComponent::FindComponent(std::string_view AName) const {
  if (AName.empty()) return nullptr;
  for (TComponent* C : FComponents)
    if (SameText(C->FName, AName)) return C;
  return nullptr;
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
  FName = NewName;
}

void TComponent::InsertComponent(TComponent* AComponent) {
  if (!AComponent || AComponent->FOwner == this) return;
  if (AComponent->FOwner) AComponent->FOwner->RemoveComponent(AComponent);
  if (!AComponent->FName.empty() && FindComponent(AComponent->FName))
    throw Exception("A component named " + AComponent->FName + " already exists.");
  FComponents.push_back(AComponent);
  AComponent->FOwner = this;
  if (FComponentState.Contains(csDesigning)) AComponent->SetDesigning(true);
  Notification(AComponent, opInsert);
}

void TComponent::RemoveComponent(TComponent* AComponent) {
  if (!AComponent || AComponent->FOwner != this) return;
  if (!AComponent->FComponentState.Contains(csDestroying)) Notification(AComponent, opRemove);
  FComponents.erase(std::remove(FComponents.begin(), FComponents.end(), AComponent),
                    FComponents.end());
  AComponent->FOwner = nullptr;
}

void TComponent::DestroyComponents() {
  while (!FComponents.empty()) {
    TComponent* C = FComponents.back();
    delete C;  // its destructor removes it from this list
    if (!FComponents.empty() && FComponents.back() == C) FComponents.pop_back();
  }
}

void TComponent::FreeNotification(TComponent* AComponent) {
  if (!AComponent || AComponent == this) return;
  if (std::find(FFreeNotifies.begin(), FFreeNotifies.end(), AComponent) == FFreeNotifies.end()) {
    FFreeNotifies.push_back(AComponent);
    AComponent->FreeNotification(this);
  }
}

void TComponent::RemoveFreeNotification(TComponent* AComponent) {
  auto It = std::find(FFreeNotifies.begin(), FFreeNotifies.end(), AComponent);
  if (It == FFreeNotifies.end()) return;
  FFreeNotifies.erase(It);
  AComponent->RemoveFreeNotification(this);
}

void TComponent::Notification(TComponent* AComponent, TOperation Operation) {
  if (Operation == opRemove && AComponent) RemoveFreeNotification(AComponent);
  // Copy: a handler may free components of this owner.
  std::vector<TComponent*> Items = FComponents;
  for (auto It = Items.rbegin(); It != Items.rend(); ++It) {
    TComponent* C = *It;
    if (std::find(FComponents.begin(), FComponents.end(), C) != FComponents.end())
      C->Notification(AComponent, Operation);
  }
}

void TComponent::ChangeState(TComponentStateItem Item, bool Value) {
  if (Value)
    FComponentState.Include(Item);
  else
    FComponentState.Exclude(Item);
  for (TComponent* C : FComponents) C->ChangeState(Item, Value);
}

void TComponent::SetDesigning(bool Value) { ChangeState(csDesigning, Value); }
void TComponent::SetLoading(bool Value) { ChangeState(csLoading, Value); }

}  // namespace lumox
