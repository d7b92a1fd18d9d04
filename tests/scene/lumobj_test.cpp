// Scene objects and nodes: rendering, names, membership rules and the class registry.
#include "lumox/scene/lumobj.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "lumox/geometry/lumpointset.h"
#include "lumox/geometry/lumshape.h"
#include "lumox/scene/lumattr.h"
#include "lumox/scene/lummat.h"
#include "lumox/view/lumpick.h"
#include "support/glfixture.h"
#include "support/scenefile.h"

using namespace lumox;
using lumox::test::ViewTest;

namespace {

// A unit square in the X-Y plane, as an application would write one.
class TSquare : public TLumObject {
 public:
  using TLumObject::TLumObject;
  const char* ClassName() const override { return "TSquare"; }
  void DoRender(TLumCustomView* aView) override {
    TLumObject::DoRender(aView);
    ++Draws;
    ColorMaterialOn = glIsEnabled(GL_COLOR_MATERIAL);
    glRectf(-0.5f, -0.5f, 0.5f, 0.5f);
  }
  int Draws = 0;
  GLboolean ColorMaterialOn = GL_FALSE;
};

}  // namespace

class ObjectViewTest : public ViewTest {
 protected:
  void SetUp() override {
    ViewTest::SetUp();
    Root = new TLumNode(&Form);
    View->OnRender = [this](TLumView* V) { Root->Render(V); };
  }
  TSquare* Square(uint32_t Color, float X = 0, float Y = 0) {
    auto* S = new TSquare(&Form);
    S->Color()->SetColor(Color);
    S->Transformation()->Translation()->SetValues(X, Y, 0);
    S->SetNode(Root);
    return S;
  }
  TLumNode* Root = nullptr;
};

TEST_F(ObjectViewTest, ColorAsMaterialIsSwitchedOffAfterTheObject) {
  auto* S = Square(0xFFFFFF);
  S->SetColorAsMaterial(cmDiffuse);
  GLboolean After = GL_TRUE;
  View->OnRender = [&](TLumView* V) {
    Root->Render(V);
    After = glIsEnabled(GL_COLOR_MATERIAL);
  };
  Frame();
  EXPECT_TRUE(S->ColorMaterialOn);
  EXPECT_FALSE(After);
}

namespace {

// Whether any of the client arrays that meshes draw with is switched on.
bool ClientArraysOn() {
  for (GLenum A : {GL_VERTEX_ARRAY, GL_NORMAL_ARRAY, GL_TEXTURE_COORD_ARRAY, GL_COLOR_ARRAY,
                   GL_EDGE_FLAG_ARRAY})
    if (glIsEnabled(A)) return true;
  return false;
}

// An application's own object, which notes the client arrays it finds when it draws.
class TArrayWitness : public TSquare {
 public:
  using TSquare::TSquare;
  void DoRender(TLumCustomView* aView) override {
    Seen.push_back(ClientArraysOn());
    TSquare::DoRender(aView);
  }
  std::vector<bool> Seen;
};

}  // namespace

// Meshes draw with client arrays; no code outside a mesh's own drawing finds them on,
// in a frame, an image or a selection pass: an object of the application's own class
// drawn after two spheres, the events around it and in a node, the name hook and the
// report of branches left out.
TEST_F(ObjectViewTest, CodeOutsideAMeshFindsTheClientArraysOff) {
  for (int I = 0; I < 2; ++I) (new TLumSphere(&Form))->SetNode(Root);
  auto* Witness = new TArrayWitness(&Form);
  Witness->SetNode(Root);
  std::vector<bool> Seen;
  auto Note = [&Seen](TLumCustomView*) { Seen.push_back(ClientArraysOn()); };
  Witness->OnAfterRender = Note;
  // A sphere in a node whose handler draws it, inside a chain deeper than the matrix
  // stack holds.
  auto* Group = new TLumNode(&Form);
  Group->SetNode(Root);
  (new TLumSphere(&Form))->SetNode(Group);
  Group->OnRender = [&](TLumCustomView* V) {
    Group->RenderItems(V);
    Seen.push_back(ClientArraysOn());
  };
  TLumNode* Deep = Group;
  for (int I = 0; I < 40; ++I) {
    auto* N = new TLumNode(&Form);
    Deep->Add(N);
    Deep = N;
  }
  (new TLumSphere(&Form))->SetNode(Deep);
  SetRenderDiagnostics([&Seen](const std::string&) { Seen.push_back(ClientArraysOn()); });
  struct TRestore {
    ~TRestore() { SetRenderDiagnostics(nullptr); }
  } Restore;
  // An object's name is asked for before it draws; a mesh's index lists are named in
  // its own drawing, where its arrays are on.
  std::vector<bool> Named, Listed;
  View->OnNotifyNextID = [&](TObject*, int32_t Num) {
    (Num < 0 ? Named : Listed).push_back(ClientArraysOn());
  };
  Frame();
  Snapshot();
  TLumSelectionList Hits;
  View->GetSelection(40, 30, &Hits);
  EXPECT_EQ(Witness->Seen, std::vector<bool>(3, false));
  // Three passes: the event, the node handler, the report.
  EXPECT_EQ(Seen, std::vector<bool>(9, false));
  EXPECT_GE(Named.size(), 4u);
  EXPECT_EQ(std::count(Named.begin(), Named.end(), true), 0);
  EXPECT_EQ(Listed, std::vector<bool>(Listed.size(), true));
}

TEST_F(ObjectViewTest, AMeshLeftByAThrowingNameHandlerLeavesNothingOn) {
  // A mesh that names its index lists, and a point set that names itself, each asking
  // for its name while its arrays (and the point set's attributes) are on.
  // The application's object is drawn first in the frame after, before any mesh.
  auto* Witness = new TArrayWitness(&Form);
  Witness->SetNode(Root);
  auto* Sphere = new TLumSphere(&Form);
  Sphere->SetNode(Root);
  auto* Points = new TLumPointSet(&Form);
  Points->AddPoint(0, 0, 0);
  Points->SetNode(Root);
  Frame();
  View->SetCurrent(true);
  GLint Attribs = -1, AttribsAfter = -2;
  glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &Attribs);
  for (TObject* Thrower : {static_cast<TObject*>(Sphere), static_cast<TObject*>(Points)}) {
    View->OnNotifyNextID = [Thrower](TObject* Obj, int32_t Num) {
      if (Obj == Thrower && Num >= 0) throw std::runtime_error("no names today");
    };
    TLumSelectionList Hits;
    EXPECT_THROW(View->GetSelection(40, 30, &Hits), std::runtime_error);
    View->SetCurrent(true);
    EXPECT_FALSE(ClientArraysOn());
    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &AttribsAfter);
    EXPECT_EQ(AttribsAfter, Attribs);
  }
  View->OnNotifyNextID = nullptr;
  Witness->Seen.clear();
  Frame();
  EXPECT_EQ(Witness->Seen, std::vector<bool>{false});
}

// What the model test below does not follow: the change hook an item's node sets, which
// a reference elsewhere leaves as it is.
TEST(NodeTest, TheItemsNodeHoldsItsChangeHookAndAReferenceLeavesIt) {
  TComponent Form(nullptr);
  auto* A = new TLumNode(&Form);
  auto* B = new TLumNode(&Form);
  auto* S = new TSquare(&Form);
  B->Add(S);
  A->Add(S);  // moves it
  EXPECT_TRUE(S->Node() == A && S->OnChange && B->GetCount() == 0);
  int AChanges = 0;
  A->OnChange = [&](TObject*) { ++AChanges; };
  EXPECT_EQ(B->AddIndirect(S), 0);
  EXPECT_EQ(S->Node(), A);
  S->Color()->SetColor(1);
  EXPECT_EQ(AChanges, 1);  // A's hook stays
  B->Remove(S);
  EXPECT_TRUE(S->Node() == A && S->OnChange);
  EXPECT_EQ(A->Remove(S), 0);
  EXPECT_TRUE(S->Node() == nullptr && !S->OnChange);
}

TEST(NodeTest, LinksThatCloseACycleAreRefused) {
  TComponent Form(nullptr);
  auto* N1 = new TLumNode(&Form);
  auto* N2 = new TLumNode(&Form);
  auto* N3 = new TLumNode(&Form);
  N1->Add(N2);
  N2->Add(N3);
  auto Refused = [](const std::function<void()>& Link) {
    return test::Thrown(Link) == "Can not create a link to myself.";
  };
  EXPECT_TRUE(Refused([&] { N3->Add(N1); }));
  EXPECT_TRUE(Refused([&] { N3->AddIndirect(N1); }));
  EXPECT_TRUE(Refused([&] { N2->Insert(0, N2); }));
  EXPECT_TRUE(Refused([&] { N2->AddIndirect(N2); }));
  EXPECT_TRUE(Refused([&] { N2->SetItems(0, N1); }));
  EXPECT_EQ(N1->Node(), nullptr);  // a refused link changes nothing
  EXPECT_EQ(N3->GetCount(), 0);
  EXPECT_EQ(N2->GetItems(0), N3);
  // A reference closes a cycle as well, and the link is free again once it is gone.
  auto* M = new TLumNode(&Form);
  N3->AddIndirect(M);
  EXPECT_TRUE(Refused([&] { M->Add(N1); }));
  N3->Remove(M);
  M->Add(N1);
  EXPECT_EQ(N1->Node(), M);
  EXPECT_EQ(M->AddIndirect(N3), 1);  // reaching a node along two paths is no cycle
}

TEST(NodeTest, CountAllItemsCountsLeavesAndNotificationsReachTheHook) {
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  auto* Sub = new TLumNode(&Form);
  auto* A = new TSquare(&Form);
  auto* B = new TSquare(&Form);
  for (int I = 0; I < 3; ++I) Sub->Add(new TSquare(&Form));
  int Inserts = 0, Removes = 0;
  Root->OnItemNotify = [&](TComponent*, TOperation Op) { (Op == opInsert ? Inserts : Removes)++; };
  Root->Add(A);
  Root->Add(B);
  Root->Add(Sub);
  EXPECT_TRUE(Root->CountAllItems() == 5 && Inserts == 3) << Inserts;
  // A direct item's removal asks the node twice: the nested SetNode(nullptr) finds
  // nothing more, and both calls reach the hook.
  Root->Delete(0);
  EXPECT_EQ(Removes, 2);
  auto* Other = new TLumNode(&Form);
  Other->Add(B);  // leaves Root on the way
  EXPECT_TRUE(Removes == 4 && Root->GetCount() == 1) << Removes;
  // No item, nothing added, and the last indirect bit stays as it is.
  Root->AddIndirect(A);
  EXPECT_EQ(Root->Add(nullptr), -1);
  EXPECT_TRUE(Root->GetCount() == 2 && Root->IsIndirect(1));
}

TEST_F(ObjectViewTest, ANodesOnRenderReplacesItsItems) {
  auto* S = Square(0xFFFFFF);
  int Calls = 0;
  Root->OnRender = [&](TLumCustomView*) { ++Calls; };
  Frame();
  EXPECT_TRUE(Calls == 1 && S->Draws == 0);
}

namespace {

// An object that notes each time it is drawn.
class TDrawn : public TLumObject {
 public:
  TDrawn(TComponent* AOwner, std::vector<const TLumRender*>* Log) : TLumObject(AOwner), FLog(Log) {}
  void DoRender(TLumCustomView* aView) override {
    TLumObject::DoRender(aView);
    FLog->push_back(this);
  }

 private:
  std::vector<const TLumRender*>* FLog;
};

// The list operations of nodes as plain vectors, step by step as the operations are
// defined (a direct entry's removal clears the item's node, which removes it again from
// that node, and so on).
struct TNodeModel {
  struct TEntry {
    TLumRender* Item;
    bool Indirect;
    bool operator==(const TEntry&) const = default;
  };
  std::map<const TLumNode*, std::vector<TEntry>> Lists;
  std::map<const TLumRender*, TLumNode*> NodeOf;

  int IndexOf(const TLumNode* N, const TLumRender* Item) {
    auto& L = Lists[N];
    for (size_t I = 0; I < L.size(); ++I)
      if (L[I].Item == Item) return static_cast<int>(I);
    return -1;
  }
  int Remove(TLumNode* N, TLumRender* Item) {
    const int I = IndexOf(N, Item);
    if (I < 0) return -1;
    const TEntry E = Lists[N][static_cast<size_t>(I)];
    Lists[N].erase(Lists[N].begin() + I);
    if (!E.Indirect && Item) SetNode(Item, nullptr);
    return I;
  }
  void SetNode(TLumRender* Item, TLumNode* New) {
    TLumNode* Cur = NodeOf[Item];
    if (Cur != New && Cur) Remove(Cur, Item);
    NodeOf[Item] = nullptr;
    if (New) Add(New, Item);
  }
  void Insert(TLumNode* N, int Index, TLumRender* Item) {
    if (TLumNode* Cur = NodeOf[Item]) Remove(Cur, Item);
    NodeOf[Item] = N;
    auto& L = Lists[N];
    Index = std::clamp(Index, 0, static_cast<int>(L.size()));
    L.insert(L.begin() + Index, {Item, false});
  }
  int Add(TLumNode* N, TLumRender* Item) {
    const int Old = static_cast<int>(Lists[N].size());
    Insert(N, Old, Item);
    return Old;
  }
  void Move(TLumNode* N, int From, int To) {
    auto& L = Lists[N];
    if (L.empty()) return;
    const int Last = static_cast<int>(L.size()) - 1;
    From = std::clamp(From, 0, Last);
    To = std::clamp(To, 0, Last);
    const TEntry E = L[static_cast<size_t>(From)];
    L.erase(L.begin() + From);
    L.insert(L.begin() + To, E);
  }
  // An item's end: every entry of it goes, from every list.
  void Dies(TLumRender* Item) {
    for (auto& [N, L] : Lists)
      L.erase(
          std::remove_if(L.begin(), L.end(), [Item](const TEntry& E) { return E.Item == Item; }),
          L.end());
    NodeOf.erase(Item);
  }
};

}  // namespace

// Random sequences of every list operation, on lists of a few entries (the same items
// held many times, directly and as references) and of thousands (several levels of
// the list's tree), against the model: positions, IndexOf, indirect bits, every item's
// node, the drawing order, and no entry left behind by an item's end (the sanitizer
// build reads freed memory otherwise).
TEST_F(ViewTest, NodeListOperationsKeepEveryPositionAgainstAModel) {
  std::vector<const TLumRender*> Drawn;
  auto* N = new TLumNode(&Form);
  auto* Other = new TLumNode(&Form);
  View->OnRender = [&](TLumView* V) { N->Render(V); };
  TNodeModel M;
  M.Lists[N], M.Lists[Other];
  std::mt19937 Random(26);
  auto Pick = [&](int Count) { return Count > 0 ? static_cast<int>(Random() % Count) : 0; };
  std::vector<TLumRender*> Pool;
  auto NewItem = [&] {
    auto* Item = new TDrawn(&Form, &Drawn);
    M.NodeOf[Item] = nullptr;
    return Item;
  };

  auto Check = [&](bool Draw) {
    for (TLumNode* Node : {N, Other}) {
      const auto& L = M.Lists[Node];
      ASSERT_EQ(Node->GetCount(), static_cast<int>(L.size()));
      for (int I = 0; I < Node->GetCount(); ++I) {
        ASSERT_EQ(Node->GetItems(I), L[static_cast<size_t>(I)].Item) << I;
        ASSERT_EQ(Node->IsIndirect(I), L[static_cast<size_t>(I)].Indirect) << I;
      }
      for (TLumRender* Item : Pool) ASSERT_EQ(Node->IndexOf(Item), M.IndexOf(Node, Item));
      ASSERT_EQ(Node->IndexOf(nullptr), M.IndexOf(Node, nullptr));
    }
    for (TLumRender* Item : Pool) ASSERT_EQ(Item->Node(), M.NodeOf[Item]);
    if (!Draw) return;
    Drawn.clear();
    Frame();
    std::vector<const TLumRender*> Expected;
    for (const auto& E : M.Lists[N])
      if (E.Item) Expected.push_back(E.Item);
    ASSERT_EQ(Drawn, Expected);
  };

  for (auto [PoolSize, Steps, Target] : {std::tuple{8, 6000, 60}, std::tuple{2500, 9000, 2000}}) {
    while (static_cast<int>(Pool.size()) < PoolSize) Pool.push_back(NewItem());
    for (int Step = 0; Step < Steps; ++Step) {
      TLumRender* Item = Pool[static_cast<size_t>(Pick(static_cast<int>(Pool.size())))];
      const int Count = N->GetCount();
      // Below the target size the list mostly grows, above it mostly shrinks.
      const bool Grow = Count < Target ? Random() % 4 != 0 : Random() % 4 == 0;
      const int Op = static_cast<int>(Random() % 6) + (Grow ? 0 : 6);
      const int I = Pick(Count + 4) - 2, J = Pick(Count + 4) - 2;  // now and then out of range
      switch (Op) {
        case 0:
          ASSERT_EQ(N->Add(Item), M.Add(N, Item));
          break;
        case 1:
          ASSERT_EQ(N->AddIndirect(Item), static_cast<int>(M.Lists[N].size()));
          M.Lists[N].push_back({Item, true});
          break;
        case 2:
          N->Insert(I, Item);
          M.Insert(N, I, Item);
          break;
        case 3:
          N->Exchange(I, J);
          if (I >= 0 && J >= 0 && I < Count && J < Count)
            std::swap(M.Lists[N][static_cast<size_t>(I)], M.Lists[N][static_cast<size_t>(J)]);
          break;
        case 4:
          N->Move(I, J);
          M.Move(N, I, J);
          break;
        case 5: {
          TLumNode* To = Random() % 2 ? N : Other;
          Item->SetNode(To);
          M.SetNode(Item, To);
          break;
        }
        case 6:
          ASSERT_EQ(N->Remove(Item), M.Remove(N, Item));
          break;
        case 7:
          N->Delete(I);
          if (I >= 0 && I < Count) M.Remove(N, M.Lists[N][static_cast<size_t>(I)].Item);
          break;
        case 8: {  // SetItems: an empty entry, or an item placed without its node knowing
          TLumRender* New = Random() % 3 ? Item : nullptr;
          N->SetItems(I, New);
          if (I >= 0 && I < Count) M.Lists[N][static_cast<size_t>(I)].Item = New;
          break;
        }
        case 9: {  // an item's end
          auto It = std::find(Pool.begin(), Pool.end(), Item);
          delete Item;
          M.Dies(Item);
          *It = NewItem();
          break;
        }
        case 10:
          Other->AddIndirect(Item);
          M.Lists[Other].push_back({Item, true});
          break;
        default:
          Item->SetNode(nullptr);
          M.SetNode(Item, nullptr);
          break;
      }
      if (PoolSize < 100 || Step % 100 == 0) Check(Step % 500 == 0);
      if (HasFatalFailure()) return;
    }
  }
  Check(true);
  N->Clear();  // Delete from the last entry to the first
  for (int I = static_cast<int>(M.Lists[N].size()) - 1; I >= 0 && !M.Lists[N].empty(); --I)
    M.Remove(N, M.Lists[N][std::min<size_t>(static_cast<size_t>(I), M.Lists[N].size() - 1)].Item);
  Check(true);
}

TEST(ObjectTest, NameFollowsComponentNameAndReferencesClear) {
  TComponent Form(nullptr);
  auto* O = new TSquare(&Form);
  O->SetName("Ball");
  EXPECT_EQ(O->ObjectName(), "Ball");
  O->SetObjectName("Custom");
  O->SetName("Ball2");
  EXPECT_EQ(O->ObjectName(), "Custom");

  TComponent Elsewhere(nullptr);
  auto* M = new TLumMaterial(&Elsewhere);
  auto* At = new TLumAttributes(&Elsewhere);
  O->SetMaterial(M);
  O->SetAttributes(At);
  delete M;
  delete At;
  EXPECT_TRUE(O->Material() == nullptr && O->Attributes() == nullptr);
}

TEST(RegistryTest, FindsClassesWithoutRegardToCaseAndRefusesDuplicates) {
  const TLumRenderClass* C = GetRenderClass("tlumnode");
  ASSERT_NE(C, nullptr);
  EXPECT_EQ(C->Name, "TLumNode");
  for (const char* None : {"TNoSuchClass", "TLumNod", "TLumNode "})
    EXPECT_EQ(GetRenderClass(None), nullptr) << None;
  EXPECT_EQ(GetRenderClass("tLUMnODE"), C);
  EXPECT_EQ(test::Thrown([] {
              RegisterRenderClass("TLUMNODE", [](TComponent* O) { return new TLumNode(O); });
            }),
            "This class was already registered.");
}
