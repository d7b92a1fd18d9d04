// The counted B+-tree behind TRankedList.
#include "lumox/host/rankedlist.h"

#include <cstring>
#include <utility>

namespace lumox {

namespace {
TRankedList::TInner* AsInner(TRankedList::TNode* N) { return static_cast<TRankedList::TInner*>(N); }
TRankedList::TLeaf* AsLeaf(TRankedList::TNode* N) { return static_cast<TRankedList::TLeaf*>(N); }
}  // namespace

TRankedList::~TRankedList() { FreeTree(FRoot); }

void TRankedList::FreeTree(TNode* N) {
  if (!N) return;
  if (N->IsLeaf) {
    delete AsLeaf(N);
    return;
  }
  TInner* I = AsInner(N);
  for (uint16_t C = 0; C < I->Count; ++C) FreeTree(I->Children[C]);  // depth is O(log n)
  delete I;
}

const TRankedList::TLeaf* TRankedList::First() const {
  const TNode* N = FRoot;
  while (N && !N->IsLeaf) N = static_cast<const TInner*>(N)->Children[0];
  return static_cast<const TLeaf*>(N);
}

size_t TRankedList::Total(const TNode* N) {
  if (N->IsLeaf) return N->Count;
  const auto* I = static_cast<const TInner*>(N);
  size_t S = 0;
  for (uint16_t C = 0; C < I->Count; ++C) S += I->Sizes[C];
  return S;
}

void TRankedList::AddUp(TNode* N, ptrdiff_t Delta) {
  for (TInner* P = N->Parent; P; N = P, P = P->Parent)
    P->Sizes[N->Slot] = static_cast<size_t>(static_cast<ptrdiff_t>(P->Sizes[N->Slot]) + Delta);
}

TRankedList::TLeaf* TRankedList::Locate(size_t Index, size_t& Pos, bool AtEnd) const {
  TNode* N = FRoot;
  while (!N->IsLeaf) {
    TInner* I = AsInner(N);
    uint16_t C = 0;
    if (AtEnd)
      while (C + 1 < I->Count && Index > I->Sizes[C]) Index -= I->Sizes[C++];
    else
      while (C + 1 < I->Count && Index >= I->Sizes[C]) Index -= I->Sizes[C++];
    N = I->Children[C];
  }
  Pos = Index;
  return AsLeaf(N);
}

size_t TRankedList::LeafStart(const TLeaf* Leaf) const {
  size_t Start = 0;
  for (const TNode* N = Leaf; N->Parent; N = N->Parent)
    for (uint16_t C = 0; C < N->Slot; ++C) Start += N->Parent->Sizes[C];
  return Start;
}

TRankedList::TLeaf* TRankedList::Seek(size_t Index) const {
  if (TLeaf* L = FFinger) {
    // Unsigned differences: an index before the leaf wraps to a large number.
    if (Index - FFingerStart < L->Count) return L;
    const size_t End = FFingerStart + L->Count;
    if (L->Next && Index - End < L->Next->Count) {
      FFingerStart = End;
      return FFinger = L->Next;
    }
    if (L->Prev && Index < FFingerStart && FFingerStart - Index <= L->Prev->Count) {
      FFingerStart -= L->Prev->Count;
      return FFinger = L->Prev;
    }
  }
  size_t Pos = 0;
  FFinger = Locate(Index, Pos, false);
  FFingerStart = Index - Pos;
  return FFinger;
}

void TRankedList::Swap(size_t I, size_t J) {
  TLeaf* LI = Seek(I);
  uintptr_t& A = LI->Entries[I - FFingerStart];
  TLeaf* LJ = Seek(J);
  uintptr_t& B = LJ->Entries[J - FFingerStart];
  std::swap(A, B);
  if (LI == LJ) return;
  Tell(B, LI, LJ);  // A's former entry, now at J
  Tell(A, LJ, LI);
}

void TRankedList::Set(size_t Index, uintptr_t Entry) {
  TLeaf* L = Seek(Index);
  uintptr_t& Slot = L->Entries[Index - FFingerStart];
  const uintptr_t Old = Slot;
  Slot = Entry;
  Tell(Old, L, nullptr);
  Tell(Entry, nullptr, L);
}

void TRankedList::MoveEntries(TLeaf* From, size_t Begin, TLeaf* To) {
  const size_t N = From->Count - Begin;
  std::memcpy(To->Entries + To->Count, From->Entries + Begin, N * sizeof(uintptr_t));
  for (size_t I = 0; I < N; ++I) Tell(From->Entries[Begin + I], From, To);
  To->Count = static_cast<uint16_t>(To->Count + N);
  From->Count = static_cast<uint16_t>(Begin);
}

void TRankedList::MoveChildren(TInner* From, uint16_t Begin, TInner* To) {
  for (uint16_t C = Begin; C < From->Count; ++C) {
    TNode* Child = From->Children[C];
    Child->Parent = To;
    Child->Slot = To->Count;
    To->Children[To->Count] = Child;
    To->Sizes[To->Count++] = From->Sizes[C];
  }
  From->Count = Begin;
}

void TRankedList::InsertAfter(TNode* Left, TNode* Right, size_t RightSize) {
  if (!Left->Parent) {  // a new root above the two
    auto* Root = new TInner;
    Root->IsLeaf = false;
    Root->Count = 2;
    Root->Children[0] = Left;
    Root->Children[1] = Right;
    Root->Sizes[0] = Total(Left);
    Root->Sizes[1] = RightSize;
    Left->Parent = Right->Parent = Root;
    Left->Slot = 0;
    Right->Slot = 1;
    FRoot = Root;
    return;
  }
  if (Left->Parent->Count == InnerMax) {
    TInner* P = Left->Parent;
    auto* Half = new TInner;
    Half->IsLeaf = false;
    MoveChildren(P, InnerMax / 2, Half);
    const size_t HalfSize = Total(Half);
    InsertAfter(P, Half, HalfSize);
  }
  TInner* P = Left->Parent;  // P or its new half
  P->Sizes[Left->Slot] -= RightSize;
  for (uint16_t C = P->Count; C > Left->Slot + 1; --C) {
    P->Children[C] = P->Children[C - 1];
    P->Sizes[C] = P->Sizes[C - 1];
    P->Children[C]->Slot = C;
  }
  const auto Slot = static_cast<uint16_t>(Left->Slot + 1);
  P->Children[Slot] = Right;
  P->Sizes[Slot] = RightSize;
  Right->Parent = P;
  Right->Slot = Slot;
  ++P->Count;
}

void TRankedList::Insert(size_t Index, uintptr_t Entry) {
  FFinger = nullptr;
  if (!FRoot) FRoot = new TLeaf;
  size_t Pos = 0;
  TLeaf* L = Locate(Index, Pos, true);
  if (L->Count == LeafMax) {
    auto* R = new TLeaf;
    MoveEntries(L, LeafMax / 2, R);
    R->Prev = L;
    R->Next = L->Next;
    if (L->Next) L->Next->Prev = R;
    L->Next = R;
    InsertAfter(L, R, R->Count);
    if (Pos > L->Count) {
      Pos -= L->Count;
      L = R;
    }
  }
  std::memmove(L->Entries + Pos + 1, L->Entries + Pos, (L->Count - Pos) * sizeof(uintptr_t));
  L->Entries[Pos] = Entry;
  ++L->Count;
  ++FSize;
  AddUp(L, 1);
  FFinger = L;  // the next access near the new entry needs no walk
  FFingerStart = Index - Pos;
  Tell(Entry, nullptr, L);
}

uintptr_t TRankedList::Erase(size_t Index) {
  TLeaf* L = Seek(Index);
  const size_t Start = FFingerStart;
  const uintptr_t Entry = L->Entries[Index - Start];
  EraseAt(L, Index - Start, Start);
  return Entry;
}

void TRankedList::EraseAt(TLeaf* L, size_t Pos, size_t Start) {
  FFinger = nullptr;
  const uintptr_t Entry = L->Entries[Pos];
  std::memmove(L->Entries + Pos, L->Entries + Pos + 1, (L->Count - Pos - 1) * sizeof(uintptr_t));
  --L->Count;
  --FSize;
  AddUp(L, -1);
  Tell(Entry, L, nullptr);
  // A leaf that stays as it is keeps its start: the next access near it needs no walk.
  const bool Stays = L->Count > 0 && (L->Count >= LeafMax / 4 || L == FRoot);
  Rebalance(L);
  if (Stays && Start != npos) {
    FFinger = L;
    FFingerStart = Start;
  }
}

void TRankedList::RemoveChild(TInner* P, uint16_t Slot) {
  for (uint16_t C = Slot; C + 1 < P->Count; ++C) {
    P->Children[C] = P->Children[C + 1];
    P->Sizes[C] = P->Sizes[C + 1];
    P->Children[C]->Slot = C;
  }
  --P->Count;
}

void TRankedList::Rebalance(TNode* N) {
  for (;;) {
    if (N == FRoot) {
      if (N->Count == 0) {
        FreeTree(N);
        FRoot = nullptr;
      } else if (!N->IsLeaf && N->Count == 1) {  // a root of one child steps down
        FRoot = AsInner(N)->Children[0];
        FRoot->Parent = nullptr;
        FRoot->Slot = 0;
        delete AsInner(N);
        N = FRoot;
        continue;
      }
      return;
    }
    const uint16_t Max = N->IsLeaf ? LeafMax : InnerMax;
    if (N->Count >= Max / 4) return;
    TInner* P = N->Parent;
    if (N->Count == 0) {
      const uint16_t Slot = N->Slot;
      if (N->IsLeaf) {
        TLeaf* L = AsLeaf(N);
        if (L->Prev) L->Prev->Next = L->Next;
        if (L->Next) L->Next->Prev = L->Prev;
        delete L;
      } else {
        delete AsInner(N);
      }
      RemoveChild(P, Slot);
      N = P;
      continue;
    }
    if (P->Count < 2) return;  // no neighbour to join
    const uint16_t LeftSlot = N->Slot + 1 < P->Count ? N->Slot : static_cast<uint16_t>(N->Slot - 1);
    TNode* A = P->Children[LeftSlot];
    TNode* B = P->Children[LeftSlot + 1];
    if (A->Count + B->Count > Max * 3 / 4) return;
    if (A->IsLeaf) {
      TLeaf* LA = AsLeaf(A);
      TLeaf* LB = AsLeaf(B);
      MoveEntries(LB, 0, LA);
      LA->Next = LB->Next;
      if (LB->Next) LB->Next->Prev = LA;
      delete LB;
    } else {
      MoveChildren(AsInner(B), 0, AsInner(A));
      delete AsInner(B);
    }
    P->Sizes[LeftSlot] += P->Sizes[LeftSlot + 1];
    RemoveChild(P, static_cast<uint16_t>(LeftSlot + 1));
    N = P;
  }
}

void TRankedList::Clear() {
  FFinger = nullptr;
  if (!FRoot) return;
  TNode* N = FRoot;
  while (!N->IsLeaf) N = AsInner(N)->Children[AsInner(N)->Count - 1];
  for (TLeaf* L = AsLeaf(N); L; L = L->Prev)
    for (size_t I = L->Count; I-- > 0;) Tell(L->Entries[I], L, nullptr);
  FreeTree(FRoot);
  FRoot = nullptr;
  FSize = 0;
}

}  // namespace lumox
