// TRankedList: the list behind owners' components and nodes' items. A B+-tree whose
// inner nodes count the entries below each child, so that access, insertion and removal
// at any position cost O(log n) and editing a large list in any order stays linear.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lumox {

// A list of pointer-sized entries. Sequential access, forwards or backwards, costs O(1)
// through the leaf last used (which even a read moves: a list is used from one thread at
// a time, as the scene it belongs to). The list tells its user in which leaf each entry lives
// (TPlaced), so that the user can find an entry's position from the entry itself.
class TRankedList {
 public:
  static constexpr size_t npos = SIZE_MAX;
  struct TLeaf;
  // Called when Entry enters a leaf (From null), leaves the list (To null) or moves from
  // one leaf to another. It must not change the list.
  using TPlaced = void (*)(void* Context, uintptr_t Entry, TLeaf* From, TLeaf* To);

  explicit TRankedList(TPlaced Placed = nullptr, void* Context = nullptr)
      : FPlaced(Placed), FContext(Context) {}
  // Frees the tree without telling anyone of the entries.
  ~TRankedList();
  TRankedList(const TRankedList&) = delete;
  TRankedList& operator=(const TRankedList&) = delete;

  size_t Size() const { return FSize; }
  bool Empty() const { return FSize == 0; }
  // Index < Size(). Near the last position used it reads the remembered leaf directly.
  uintptr_t At(size_t Index) const {
    if (FFinger && Index - FFingerStart < FFinger->Count)  // below the start: wraps, fails
      return FFinger->Entries[Index - FFingerStart];
    return Seek(Index)->Entries[Index - FFingerStart];
  }
  uintptr_t Back() const { return At(FSize - 1); }
  void Set(size_t Index, uintptr_t Entry);
  // Exchanges two entries; each is told as moving to the other's leaf (nothing is told
  // when both are in one leaf).
  void Swap(size_t I, size_t J);
  // Index <= Size().
  void Insert(size_t Index, uintptr_t Entry);
  void PushBack(uintptr_t Entry) { Insert(FSize, Entry); }
  // Index < Size(); returns the entry.
  uintptr_t Erase(size_t Index);
  // Removes every entry, last first, telling of each.
  void Clear();

  // Where an entry is: its leaf (as TPlaced reported it) and its offset in the leaf.
  // The offset of the first entry of Leaf that Match accepts, or npos.
  template <typename F>
  static size_t OffsetIn(const TLeaf* Leaf, F&& Match) {
    for (size_t I = 0; I < Leaf->Count; ++I)
      if (Match(Leaf->Entries[I])) return I;
    return npos;
  }
  // The offset of the last entry of Leaf that Match accepts, or npos: for an entry that
  // is there once, found sooner when entries go newest first (as owners free them).
  template <typename F>
  static size_t LastOffsetIn(const TLeaf* Leaf, F&& Match) {
    for (size_t I = Leaf->Count; I-- > 0;)
      if (Match(Leaf->Entries[I])) return I;
    return npos;
  }
  // The position of the entry at Offset in Leaf.
  size_t IndexAt(const TLeaf* Leaf, size_t Offset) const {
    return (Leaf == FFinger ? FFingerStart : LeafStart(Leaf)) + Offset;
  }
  // Removes the entry at Offset in Leaf, without a walk from the root.
  void EraseAt(TLeaf* Leaf, size_t Offset) {
    EraseAt(Leaf, Offset, Leaf == FFinger ? FFingerStart : npos);
  }
  // The position of the first entry of Leaf that Match accepts, or npos.
  template <typename F>
  size_t Find(const TLeaf* Leaf, F&& Match) const {
    const size_t Offset = OffsetIn(Leaf, Match);
    return Offset == npos ? npos : IndexAt(Leaf, Offset);
  }
  // Removes the first entry of Leaf that Match accepts; false when there is none.
  template <typename F>
  bool EraseFrom(TLeaf* Leaf, F&& Match) {
    const size_t Offset = OffsetIn(Leaf, Match);
    if (Offset == npos) return false;
    EraseAt(Leaf, Offset);
    return true;
  }
  // The first leaf, null for an empty list; leaves follow one another through Next.
  TLeaf* FirstLeaf() const { return const_cast<TLeaf*>(First()); }
  // Fn(Entry) for every entry in order; Fn must not change the list.
  template <typename F>
  void ForEach(F&& Fn) const {
    for (const TLeaf* L = First(); L; L = L->Next)
      for (size_t I = 0; I < L->Count; ++I) Fn(L->Entries[I]);
  }

  // Bounds of the nodes; a full node splits in halves, and a node under a quarter full
  // merges with a neighbour when both fit in three quarters of one.
  static constexpr uint16_t LeafMax = 64;
  static constexpr uint16_t InnerMax = 32;

  struct TInner;
  struct TNode {
    TInner* Parent = nullptr;
    uint16_t Slot = 0;   // position among the parent's children
    uint16_t Count = 0;  // entries of a leaf, children of an inner node
    bool IsLeaf = true;
  };
  struct TLeaf : TNode {
    TLeaf* Prev = nullptr;
    TLeaf* Next = nullptr;
    uintptr_t Entries[LeafMax];
  };
  struct TInner : TNode {
    size_t Sizes[InnerMax];  // entries below each child
    TNode* Children[InnerMax];
  };

 private:
  void Tell(uintptr_t Entry, TLeaf* From, TLeaf* To) const {
    if (FPlaced) FPlaced(FContext, Entry, From, To);
  }
  const TLeaf* First() const;
  // The leaf holding position Index and the position inside it. AtEnd picks, for an
  // index at the end of a leaf, that leaf rather than the start of the next one.
  TLeaf* Locate(size_t Index, size_t& Pos, bool AtEnd) const;
  // The leaf holding position Index, through the remembered leaf when it is near; it
  // becomes the remembered one.
  TLeaf* Seek(size_t Index) const;
  size_t LeafStart(const TLeaf* Leaf) const;
  static size_t Total(const TNode* N);
  static void AddUp(TNode* N, ptrdiff_t Delta);
  // Start is the position of the leaf's first entry when known (npos otherwise): the
  // leaf is then remembered for the next access.
  void EraseAt(TLeaf* Leaf, size_t Pos, size_t Start);
  // Puts Right (holding RightSize entries just taken from Left) after Left.
  void InsertAfter(TNode* Left, TNode* Right, size_t RightSize);
  void RemoveChild(TInner* P, uint16_t Slot);
  void Rebalance(TNode* N);
  void MoveEntries(TLeaf* From, size_t Begin, TLeaf* To);
  static void MoveChildren(TInner* From, uint16_t Begin, TInner* To);
  static void FreeTree(TNode* N);

  TPlaced FPlaced;
  void* FContext;
  TNode* FRoot = nullptr;
  size_t FSize = 0;
  // The leaf of the last access and the position of its first entry.
  mutable TLeaf* FFinger = nullptr;
  mutable size_t FFingerStart = 0;
};

}  // namespace lumox
