// The counted tree behind owners' and nodes' lists, against a plain vector.
#include "lumox/host/rankedlist.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

using namespace lumox;

namespace {

// The leaf each entry is in, as the list reports it (entries are unique here).
struct TWhere {
  std::map<uintptr_t, TRankedList::TLeaf*> Leaf;
  static void Placed(void* Context, uintptr_t Entry, TRankedList::TLeaf* From,
                     TRankedList::TLeaf* To) {
    auto& W = static_cast<TWhere*>(Context)->Leaf;
    if (From) {
      ASSERT_TRUE(W.count(Entry) && W[Entry] == From) << Entry;
    } else {
      ASSERT_FALSE(W.count(Entry)) << Entry;
    }
    if (To)
      W[Entry] = To;
    else
      W.erase(Entry);
  }
};

void ExpectSame(const TRankedList& L, const std::vector<uintptr_t>& Model, const TWhere& W) {
  ASSERT_EQ(L.Size(), Model.size());
  std::vector<uintptr_t> Walked;
  L.ForEach([&](uintptr_t E) { Walked.push_back(E); });
  ASSERT_EQ(Walked, Model);
  ASSERT_EQ(W.Leaf.size(), Model.size());
  for (size_t I = 0; I < Model.size(); ++I) {
    ASSERT_EQ(L.At(I), Model[I]) << I;
    // The position found from the reported leaf is the entry's own.
    const uintptr_t E = Model[I];
    ASSERT_EQ(L.Find(W.Leaf.at(E), [E](uintptr_t X) { return X == E; }), I);
  }
  for (size_t I = Model.size(); I-- > 0;) ASSERT_EQ(L.At(I), Model[I]) << I;  // backwards
}

}  // namespace

// Random edits in every region of lists that grow to several levels and shrink back to
// nothing, with every position, walk and reported leaf checked along the way.
TEST(RankedListTest, RandomEditsMatchAVectorAndReportEveryLeafChange) {
  for (uint32_t Seed : {1u, 2u, 3u}) {
    std::mt19937 Random(Seed);
    TWhere W;
    TRankedList L(&TWhere::Placed, &W);
    std::vector<uintptr_t> Model;
    uintptr_t Next = 1;
    auto Pick = [&](size_t N) { return static_cast<size_t>(Random() % N); };
    // Growing (more inserts), then shrinking (more erases).
    for (int Phase = 0; Phase < 2; ++Phase) {
      for (int Step = 0; Step < 12000; ++Step) {
        const uint32_t Op = Random() % 10;
        const bool Grow = Phase == 0 ? Op < 6 : Op < 3;
        if (Grow || Model.empty()) {
          // Ends, the middle and anywhere, so that leaves split at both sides.
          const size_t At = Op % 3 == 0 ? Model.size() : Op % 3 == 1 ? 0 : Pick(Model.size() + 1);
          L.Insert(At, Next);
          Model.insert(Model.begin() + static_cast<ptrdiff_t>(At), Next++);
        } else if (Op < 8) {
          const size_t At = Op % 2 ? Model.size() - 1 : Pick(Model.size());
          ASSERT_EQ(L.Erase(At), Model[At]);
          Model.erase(Model.begin() + static_cast<ptrdiff_t>(At));
        } else if (Op == 8) {
          const size_t At = Pick(Model.size());
          const uintptr_t E = Model[At];
          ASSERT_TRUE(L.EraseFrom(W.Leaf.at(E), [E](uintptr_t X) { return X == E; }));
          Model.erase(Model.begin() + static_cast<ptrdiff_t>(At));
        } else if (Random() % 2) {
          const size_t At = Pick(Model.size());
          L.Set(At, Next);
          Model[At] = Next++;
        } else {
          const size_t I = Pick(Model.size()), J = Pick(Model.size());
          L.Swap(I, J);
          std::swap(Model[I], Model[J]);
        }
        if (Step % 1500 == 0) ExpectSame(L, Model, W);
      }
      ExpectSame(L, Model, W);
    }
    while (!Model.empty()) {  // down to nothing, from the front: leaves merge
      ASSERT_EQ(L.Erase(0), Model.front());
      Model.erase(Model.begin());
    }
    ExpectSame(L, Model, W);
    for (uintptr_t E = 1; E <= 500; ++E) L.PushBack(E), Model.push_back(E);
    L.Clear();  // tells of every entry
    Model.clear();
    ExpectSame(L, Model, W);
  }
}
