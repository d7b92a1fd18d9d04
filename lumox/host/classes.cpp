// The component model: ownership, names, state and removal notification.
#include "lumox/host/classes.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <mutex>
#include <new>

namespace lumox {

namespace {
// ASCII only, without the locale lookup of std::toupper: names are compared for every
// element and attribute a scene file holds.
inline char AsciiUpper(char C) { return C >= 'a' && C <= 'z' ? static_cast<char>(C - 32) : C; }
}  // namespace

bool SameText(std::string_view A, std::string_view B) {
  if (A.size() != B.size()) return false;
  for (size_t I = 0; I < A.size(); ++I)
    if (A[I] != B[I] && AsciiUpper(A[I]) != AsciiUpper(B[I])) return false;
  return true;
}

std::string UpperCase(std::string_view S) {
  std::string R(S);
  for (char& C : R) C = AsciiUpper(C);
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

// One FreeNotification registration: a link in the lists of both components, so that
// either side unlinks it in constant time.
struct TComponent::TLink {
  TComponent* Side[2];
  TLink* Prev[2] = {nullptr, nullptr};
  TLink* Next[2] = {nullptr, nullptr};
  int SideOf(const TComponent* C) const { return Side[0] == C ? 0 : 1; }
};

namespace {

// FreeNotification links come from blocks carved into links: a scene registers a few
// for each component, and taking them from blocks calls no allocator for each and keeps
// the links of one scene close together, so that unlinking them as the scene is freed
// reads memory that is mostly cached. A block goes back when its last link is freed
// (one empty block is kept). Components may live on several threads: one mutex.
class TLinkPool {
 public:
  void* Take(size_t LinkSize) {
    std::lock_guard<std::mutex> Lock(FMutex);
    if (!FPartial) Push(NewBlock(LinkSize));
    TBlock* B = FPartial;
    void* P;
    if (B->Free) {
      P = B->Free;
      B->Free = *static_cast<void**>(P);
    } else {
      P = reinterpret_cast<char*>(B) + HeaderSize + B->Carved++ * B->LinkSize;
    }
    if (++B->Live == B->Capacity) Pop(B);  // full: out of the list of blocks with room
    return P;
  }

  void Give(void* P) {
    std::lock_guard<std::mutex> Lock(FMutex);
    auto* B = reinterpret_cast<TBlock*>(reinterpret_cast<uintptr_t>(P) & ~(BlockSize - 1));
    if (B->Live-- == B->Capacity) Push(B);
    *static_cast<void**>(P) = B->Free;
    B->Free = P;
    if (B->Live == 0 && (B->Prev || B->Next)) {
      Pop(B);
      std::free(B);
    }
  }

 private:
  static constexpr size_t BlockSize = 16384;
  struct TBlock {
    TBlock* Prev;
    TBlock* Next;
    void* Free;
    uint32_t Live, Carved, Capacity, LinkSize;
  };
  static constexpr size_t HeaderSize = (sizeof(TBlock) + 63) / 64 * 64;

  static TBlock* NewBlock(size_t LinkSize) {
    void* Memory = std::aligned_alloc(BlockSize, BlockSize);
    if (!Memory) throw std::bad_alloc();
    auto* B = static_cast<TBlock*>(Memory);
    *B = {nullptr,
          nullptr,
          nullptr,
          0,
          0,
          static_cast<uint32_t>((BlockSize - HeaderSize) / LinkSize),
          static_cast<uint32_t>(LinkSize)};
    return B;
  }
  void Push(TBlock* B) {
    B->Prev = nullptr;
    B->Next = FPartial;
    if (FPartial) FPartial->Prev = B;
    FPartial = B;
  }
  void Pop(TBlock* B) {
    if (B->Prev)
      B->Prev->Next = B->Next;
    else
      FPartial = B->Next;
    if (B->Next) B->Next->Prev = B->Prev;
    B->Prev = B->Next = nullptr;
  }

  std::mutex FMutex;
  TBlock* FPartial = nullptr;  // blocks with room
};

TLinkPool& LinkPool() {
  static TLinkPool* Pool = new TLinkPool;  // never destroyed: links may outlive statics
  return *Pool;
}

}  // namespace

TComponent::TLink* TComponent::NewLink(TComponent* A, TComponent* B) {
  return new (LinkPool().Take(sizeof(TLink))) TLink{{A, B}};
}

void TComponent::FreeLink(TLink* L) { LinkPool().Give(L); }

TComponent::TComponent(TComponent* AOwner) {
  if (AOwner) AOwner->InsertComponent(this);
}

TComponent::~TComponent() {
  Destroying();
  DestroyComponents();
  if (FOwner) FOwner->RemoveComponent(this);
  // Beyond the usual steps: a handler that registered anew with this component while it
  // was dying would otherwise keep a pointer to it.
  while (FLastLink) Unlink(FLastLink);
}

void TComponent::Destroying() {
  if (FComponentState.Contains(csDestroying)) return;
  FComponentState.Include(csDestroying);
  // Everyone that asked to be told, the last to ask first, then the owner (which tells
  // its listeners).
  while (FLastLink) {
    TLink* L = FLastLink;
    TComponent* C = L->Side[1 - L->SideOf(this)];
    Unlink(L);
    // The owner hears of it below, once (it passes it on to its listeners).
    if (C != FOwner) C->Notification(this, opRemove);
  }
  if (FOwner) FOwner->Notification(this, opRemove);
}

TComponent::TOwned& TComponent::Owned() {
  if (!FOwned) FOwned = std::make_unique<TOwned>();
  return *FOwned;
}

void TComponent::Placed(void*, uintptr_t Entry, TRankedList::TLeaf*, TRankedList::TLeaf* To) {
  reinterpret_cast<TComponent*>(Entry)->FOwnerLeaf = To;
}

TComponent* TComponent::Components(int Index) const {
  if (Index < 0 || Index >= ComponentCount()) return nullptr;
  return reinterpret_cast<TComponent*>(FOwned->Components.At(static_cast<size_t>(Index)));
}

TComponent* TComponent::FindComponent(std::string_view AName) const {
  if (AName.empty() || !FOwned) return nullptr;
  auto It = FOwned->Names.find(UpperCase(AName));
  return It == FOwned->Names.end() ? nullptr : It->second;
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
  if (FOwner && !FName.empty()) FOwner->FOwned->Names.erase(UpperCase(FName));
  FName = NewName;
  if (FOwner && !FName.empty()) FOwner->FOwned->Names[UpperCase(FName)] = this;
}

void TComponent::InsertComponent(TComponent* AComponent) {
  if (!AComponent || AComponent->FOwner == this) return;
  // Beyond the usual steps: a cycle of owners would never be freed, and walks up the
  // owner chain would never end. Only a component that owns others can be an owner of
  // this one, so a new component (the usual case) costs no walk up a deep chain.
  bool Cycle = AComponent == this;
  if (AComponent->ComponentCount() > 0)
    for (const TComponent* C = FOwner; C && !Cycle; C = C->FOwner) Cycle = C == AComponent;
  if (Cycle) throw Exception("A component cannot own itself or one of its owners.");
  if (!AComponent->FName.empty() && FindComponent(AComponent->FName))
    throw Exception("A component named " + AComponent->FName + " already exists.");
  if (AComponent->FOwner) AComponent->FOwner->RemoveComponent(AComponent);
  TOwned& O = Owned();
  O.Components.PushBack(reinterpret_cast<uintptr_t>(AComponent));
  if (!AComponent->FName.empty()) O.Names[UpperCase(AComponent->FName)] = AComponent;
  if (AComponent->FSiblingNotifications) {
    AComponent->FListenerIndex = static_cast<int32_t>(O.Listeners.size());
    O.Listeners.push_back(AComponent);
  }
  AComponent->FOwner = this;
  if (FComponentState.Contains(csDesigning)) AComponent->SetDesigning(true);
  Notification(AComponent, opInsert);
}

void TComponent::RemoveComponent(TComponent* AComponent) {
  if (!AComponent || AComponent->FOwner != this) return;
  if (!AComponent->FComponentState.Contains(csDestroying)) Notification(AComponent, opRemove);
  const auto Entry = reinterpret_cast<uintptr_t>(AComponent);
  // A component is in its owner's list once: looked for from the end of its leaf.
  if (TRankedList::TLeaf* Leaf = AComponent->FOwnerLeaf) {
    const size_t Offset =
        TRankedList::LastOffsetIn(Leaf, [Entry](uintptr_t E) { return E == Entry; });
    if (Offset != TRankedList::npos) FOwned->Components.EraseAt(Leaf, Offset);
  }
  if (AComponent->FListenerIndex >= 0) DropListener(AComponent);
  if (!AComponent->FName.empty()) {
    auto It = FOwned->Names.find(UpperCase(AComponent->FName));
    if (It != FOwned->Names.end() && It->second == AComponent) FOwned->Names.erase(It);
  }
  AComponent->FOwner = nullptr;
}

int TComponent::ComponentIndex() const {
  if (!FOwner || !FOwnerLeaf) return -1;
  const auto Entry = reinterpret_cast<uintptr_t>(this);
  const size_t Offset =
      TRankedList::LastOffsetIn(FOwnerLeaf, [Entry](uintptr_t E) { return E == Entry; });
  if (Offset == TRankedList::npos) return -1;
  return static_cast<int>(FOwner->FOwned->Components.IndexAt(FOwnerLeaf, Offset));
}

void TComponent::SetComponentIndex(int Value) {
  const int Index = ComponentIndex();
  if (Index < 0) return;
  Value = std::clamp(Value, 0, FOwner->ComponentCount() - 1);
  if (Value == Index) return;
  TRankedList& List = FOwner->FOwned->Components;
  const uintptr_t Entry = List.Erase(static_cast<size_t>(Index));
  List.Insert(static_cast<size_t>(Value), Entry);
}

// Leaves an empty place, so that a notification going through the list meanwhile skips
// it; the places are compacted once none runs and half the list is empty.
void TComponent::DropListener(TComponent* C) {
  FOwned->Listeners[static_cast<size_t>(C->FListenerIndex)] = nullptr;
  C->FListenerIndex = -1;
  ++FOwned->ListenerHoles;
  CompactListeners();
}

void TComponent::CompactListeners() {
  TOwned& O = *FOwned;
  if (O.Notifying > 0 || O.ListenerHoles == 0 || O.ListenerHoles * 2 < O.Listeners.size()) return;
  size_t Kept = 0;
  for (TComponent* L : O.Listeners)
    if (L) {
      L->FListenerIndex = static_cast<int32_t>(Kept);
      O.Listeners[Kept++] = L;
    }
  O.Listeners.resize(Kept);
  O.ListenerHoles = 0;
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
  if (!FOwned) return;  // never owned any
  TRankedList& List = FOwned->Components;
  if (DestroyDepth >= MaxNestedDestroy && DeferredFrees) {
    // Taken out of this owner (which tells its listeners, as a removal does) and
    // freed by the outermost call, last first as here.
    std::vector<TComponent*> Orphans;
    Orphans.reserve(List.Size());
    while (!List.Empty()) {
      auto* C = reinterpret_cast<TComponent*>(List.Back());
      RemoveComponent(C);
      if (!List.Empty() && List.Back() == reinterpret_cast<uintptr_t>(C))
        List.Erase(List.Size() - 1);
      Orphans.push_back(C);
    }
    DeferredFrees->insert(DeferredFrees->end(), Orphans.rbegin(), Orphans.rend());
    return;
  }
  std::vector<TComponent*> Deferred;
  const bool Outermost = DeferredFrees == nullptr;
  if (Outermost) DeferredFrees = &Deferred;
  ++DestroyDepth;
  while (!List.Empty()) {
    auto* C = reinterpret_cast<TComponent*>(List.Back());
    delete C;  // its destructor removes it from this list
    if (!List.Empty() && List.Back() == reinterpret_cast<uintptr_t>(C)) List.Erase(List.Size() - 1);
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

void TComponent::Attach(TLink* L, int Side) {
  L->Prev[Side] = FLastLink;
  L->Next[Side] = nullptr;
  if (FLastLink)
    FLastLink->Next[FLastLink->SideOf(this)] = L;
  else
    FFirstLink = L;
  FLastLink = L;
  ++FLinkCount;
}

void TComponent::Detach(TLink* L, int Side) {
  TLink* P = L->Prev[Side];
  TLink* N = L->Next[Side];
  if (P)
    P->Next[P->SideOf(this)] = N;
  else
    FFirstLink = N;
  if (N)
    N->Prev[N->SideOf(this)] = P;
  else
    FLastLink = P;
  --FLinkCount;
}

void TComponent::Unlink(TLink* L) {
  L->Side[0]->Detach(L, 0);
  L->Side[1]->Detach(L, 1);
  FreeLink(L);
}

TComponent::TLink* TComponent::FindLink(const TComponent* Other) const {
  // Both lists hold the link: the shorter is walked (a view registered with thousands
  // of cached components finds each through the component's two or three links).
  const TComponent* Walk = FLinkCount <= Other->FLinkCount ? this : Other;
  const TComponent* Peer = Walk == this ? Other : this;
  for (TLink* L = Walk->FFirstLink; L;) {
    const int S = L->SideOf(Walk);
    if (L->Side[1 - S] == Peer) return L;
    L = L->Next[S];
  }
  return nullptr;
}

void TComponent::FreeNotification(TComponent* AComponent) {
  if (!AComponent || AComponent == this || FindLink(AComponent)) return;
  TLink* L = NewLink(this, AComponent);
  Attach(L, 0);
  AComponent->Attach(L, 1);
}

void TComponent::RemoveFreeNotification(TComponent* AComponent) {
  if (!AComponent || FLinkCount == 0) return;
  if (TLink* L = FindLink(AComponent)) Unlink(L);
}

void TComponent::SetSiblingNotifications(bool Value) {
  if (Value == FSiblingNotifications) return;
  FSiblingNotifications = Value;
  if (!FOwner) return;
  if (Value) {
    std::vector<TComponent*>& Listeners = FOwner->FOwned->Listeners;
    FListenerIndex = static_cast<int32_t>(Listeners.size());
    Listeners.push_back(this);
  } else if (FListenerIndex >= 0) {
    FOwner->DropListener(this);
  }
}

void TComponent::Notification(TComponent* AComponent, TOperation Operation) {
  if (Operation == opRemove && AComponent) RemoveFreeNotification(AComponent);
  if (!FOwned || FOwned->Listeners.empty()) return;
  // Last listener first. A handler may free components of this owner or change who
  // listens: those that stop are skipped, those that start hear the next notification.
  struct TRunning {
    TComponent* Owner;
    ~TRunning() {
      --Owner->FOwned->Notifying;
      Owner->CompactListeners();
    }
  } Running{this};
  ++FOwned->Notifying;
  for (size_t I = FOwned->Listeners.size(); I-- > 0;)
    if (TComponent* C = FOwned->Listeners[I]) C->Notification(AComponent, Operation);
}

void TComponent::ChangeState(TComponentStateItem Item, bool Value) {
  // A component that owns none (most of a loaded scene) needs no list.
  if (ComponentCount() == 0) {
    if (Value)
      FComponentState.Include(Item);
    else
      FComponentState.Exclude(Item);
    return;
  }
  // Through a list rather than by recursion: owners may be nested very deep.
  std::vector<TComponent*> Pending{this};
  while (!Pending.empty()) {
    TComponent* C = Pending.back();
    Pending.pop_back();
    if (Value)
      C->FComponentState.Include(Item);
    else
      C->FComponentState.Exclude(Item);
    if (C->FOwned)
      C->FOwned->Components.ForEach(
          [&](uintptr_t E) { Pending.push_back(reinterpret_cast<TComponent*>(E)); });
  }
}

void TComponent::SetDesigning(bool Value) { ChangeState(csDesigning, Value); }
void TComponent::SetLoading(bool Value) { ChangeState(csLoading, Value); }
void TComponent::SetReading(bool Value) { ChangeState(csReading, Value); }

}  // namespace lumox
