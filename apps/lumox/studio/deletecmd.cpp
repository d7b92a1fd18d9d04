// The command that deletes a component (a node with what it holds) and puts it back.
#include <algorithm>

#include "apps/lumox/formapp.h"
#include "apps/lumox/studio/studiomodels.h"
#include "lumox/control/lumtimer.h"
#include "lumox/scene/lumobj.h"

namespace lumox {

namespace {

// Owned objects nested deeper than this are not searched for references (no class
// nests nearly as deep).
constexpr size_t MaxDepth = 8;

}  // namespace

TLumDeleteCommand::TLumDeleteCommand(TComponent* Form, TComponent* Target)
    : FForm(Form), FTarget(Target) {
  const std::string Name = Target->Name().empty() ? Target->ClassName() : Target->Name();
  setText(QStringLiteral("delete %1").arg(QString::fromStdString(Name)));
}

TLumDeleteCommand::~TLumDeleteCommand() {
  if (!FTakenOut) return;
  for (auto It = FOwned.rbegin(); It != FOwned.rend(); ++It) delete It->Comp;
}

void TLumDeleteCommand::Collect() {
  FGone.clear();
  FOwned.clear();
  FEntries.clear();
  FReferences.clear();
  // What goes: the target, the items its nodes hold (not those they only refer to), and
  // everything any of them owns.
  std::vector<TComponent*> Pending{FTarget};
  while (!Pending.empty()) {
    TComponent* C = Pending.back();
    Pending.pop_back();
    if (!FGone.insert(C).second) continue;
    for (int I = 0; I < C->ComponentCount(); ++I) Pending.push_back(C->Components(I));
    if (auto* N = dynamic_cast<TLumNode*>(C))
      for (int I = 0; I < N->GetCount(); ++I)
        if (TLumRender* Item = N->GetItems(I); Item && !N->IsIndirect(I)) Pending.push_back(Item);
  }
  for (const TComponent* C : FGone)
    if (C->Owner() && !FGone.count(C->Owner()))
      FOwned.push_back({const_cast<TComponent*>(C), C->Owner(), C->ComponentIndex()});
  // Put back in the order of their places, each place is right when it is taken again.
  std::sort(FOwned.begin(), FOwned.end(),
            [](const TOwned& A, const TOwned& B) { return A.Index < B.Index; });
  // Whatever stays and refers to what goes: every component of the form outside it.
  std::vector<TComponent*> Walk{FForm};
  while (!Walk.empty()) {
    TComponent* C = Walk.back();
    Walk.pop_back();
    for (int I = 0; I < C->ComponentCount(); ++I)
      if (!FGone.count(C->Components(I))) Walk.push_back(C->Components(I));
    if (C == FForm) continue;
    if (auto* N = dynamic_cast<TLumNode*>(C))
      for (int I = 0; I < N->GetCount(); ++I)
        if (TLumRender* Item = N->GetItems(I); Item && FGone.count(Item))
          FEntries.push_back({N, I, Item, N->IsIndirect(I)});
    FindReferences(C);
  }
}

void TLumDeleteCommand::FindReferences(TComponent* Holder) {
  struct TAt {
    TPersistent* Obj;
    std::vector<TStep> Path;
  };
  std::vector<TAt> Todo{{Holder, {}}};
  while (!Todo.empty()) {
    TAt At = std::move(Todo.back());
    Todo.pop_back();
    const TLumClassInfo* Class = GetClassInfo(At.Obj);
    if (!Class) continue;
    const bool Deeper = At.Path.size() < MaxDepth;
    auto Into = [&](TPersistent* Sub, TStep Step) {
      std::vector<TStep> Path = At.Path;
      Path.push_back(Step);
      Todo.push_back({Sub, std::move(Path)});
    };
    for (const TLumPropInfo* P : Class->Properties()) {
      if (P->Kind == pkComponent && !P->ReadOnly) {
        // A timer's Parent stays: clearing it leaves the timer in its parent's list, and
        // setting it back would list it twice; the parent is stopped while it is gone.
        if (P->Name == "Parent" && dynamic_cast<TLumTimer*>(At.Obj)) continue;
        auto* Value = std::get<TComponent*>(P->GetValue(At.Obj));
        if (Value && FGone.count(Value)) FReferences.push_back({Holder, At.Path, P, Value});
      } else if (P->Kind == pkObject && Deeper) {
        if (TPersistent* Sub = P->GetObject(At.Obj)) Into(Sub, {P, nullptr, 0});
      }
    }
    for (const TLumFormEntry* E : Class->FormEntries()) {
      if (!E->ForEachObject || !Deeper) continue;
      int Index = 0;
      E->ForEachObject(At.Obj, [&](TPersistent* Sub) { Into(Sub, {nullptr, E, Index++}); });
    }
  }
}

namespace {

// The object a reference's path leads to from its holder, or nullptr when it is gone.
template <typename TRef>
TPersistent* Resolve(const TRef& R) {
  TPersistent* At = R.Holder;
  for (const auto& Step : R.Path) {
    if (!At) return nullptr;
    if (Step.Object) {
      At = Step.Object->GetObject(At);
      continue;
    }
    TPersistent* Found = nullptr;
    int Index = 0;
    Step.Entry->ForEachObject(At, [&](TPersistent* Sub) {
      if (Index++ == Step.Index) Found = Sub;
    });
    At = Found;
  }
  return At;
}

// Sets a reference through its setter; a setter that refuses leaves it as it was rather
// than stopping the rest of the command halfway.
void SetReference(TPersistent* Instance, const TLumPropInfo* Prop, TComponent* Value) {
  if (!Instance) return;
  try {
    Prop->SetValue(Instance, Value);
  } catch (const std::exception&) {
  }
}

}  // namespace

void TLumDeleteCommand::redo() {
  Collect();
  for (const TReference& R : FReferences) SetReference(Resolve(R), R.Prop, nullptr);
  // An item may stand in a node more than once: Remove takes its first entry each time,
  // and all of them go.
  for (auto It = FEntries.rbegin(); It != FEntries.rend(); ++It) It->Node->Remove(It->Item);
  for (const TOwned& O : FOwned) O.Owner->RemoveComponent(O.Comp);
  // Taken out, a running timer would still tick (the application steps every timer that
  // is enabled) and drive what the view shows.
  FStopped.clear();
  for (const TComponent* C : FGone)
    if (auto* T = dynamic_cast<TLumTimer*>(const_cast<TComponent*>(C)); T && T->Enabled()) {
      T->SetEnabled(false);
      FStopped.push_back(T);
    }
  FTakenOut = true;
  if (OnChanged) OnChanged(FTarget, true);
}

void TLumDeleteCommand::undo() {
  for (const TOwned& O : FOwned) {
    // Beyond putting it back: a name taken meanwhile (only by changes outside the undo
    // history) gives the component a free one rather than losing it.
    if (!O.Comp->Name().empty() && O.Owner->FindComponent(O.Comp->Name()))
      O.Comp->SetName(LumNewComponentName(O.Owner, O.Comp->ClassName()));
    O.Owner->InsertComponent(O.Comp);
    O.Comp->SetComponentIndex(O.Index);
  }
  for (const TEntry& E : FEntries) {
    if (!E.Indirect) {
      E.Node->Insert(E.Index, E.Item);
      continue;
    }
    E.Node->AddIndirect(E.Item);
    E.Node->Move(E.Node->GetCount() - 1, E.Index);
  }
  for (auto It = FReferences.rbegin(); It != FReferences.rend(); ++It)
    SetReference(Resolve(*It), It->Prop, It->Value);
  for (TLumTimer* T : FStopped) T->SetEnabled(true);
  FTakenOut = false;
  if (OnChanged) OnChanged(FTarget, false);
}

}  // namespace lumox
