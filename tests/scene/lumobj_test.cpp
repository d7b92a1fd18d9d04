// Scene objects and nodes: rendering, names, membership rules and the class registry.
#include "lumox/scene/lumobj.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

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

TEST_F(ObjectViewTest, CachedNodeRecompilesAfterAnItemChanges) {
  auto* S = Square(0x0000FF);
  Root->SetCached(true);
  Frame();
  Frame();
  EXPECT_EQ(S->Draws, 1);
  EXPECT_EQ(RGB(Snapshot(), 40, 30), 0x0000FFu);
  S->Color()->SetColor(0x00FF00);  // climbs to the node, which drops its list
  EXPECT_EQ(Root->ListId(), 0u);
  Frame();
  EXPECT_EQ(S->Draws, 2);
  EXPECT_EQ(RGB(Snapshot(), 40, 30), 0x00FF00u);
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
  EXPECT_EQ(Seen.size(), 9u);  // three passes: the event, the node handler, the report
  EXPECT_EQ(std::count(Seen.begin(), Seen.end(), true), 0);
  EXPECT_GE(Named.size(), 4u);
  EXPECT_EQ(std::count(Named.begin(), Named.end(), true), 0);
  EXPECT_EQ(Listed, std::vector<bool>(Listed.size(), true));
}

TEST(NodeTest, AddMovesItemFromOldNodeAndRemoveClearsIt) {
  TComponent Form(nullptr);
  auto* A = new TLumNode(&Form);
  auto* B = new TLumNode(&Form);
  auto* S = new TSquare(&Form);
  A->Add(S);
  EXPECT_TRUE(S->Node() == A && S->OnChange);
  B->Add(S);
  EXPECT_TRUE(A->GetCount() == 0 && S->Node() == B);
  EXPECT_EQ(B->Remove(S), 0);
  EXPECT_TRUE(S->Node() == nullptr && !S->OnChange);
  EXPECT_EQ(B->Remove(S), -1);
}

TEST(NodeTest, IndirectItemsStayWhereTheyAre) {
  TComponent Form(nullptr);
  auto* A = new TLumNode(&Form);
  auto* B = new TLumNode(&Form);
  auto* S = new TSquare(&Form);
  A->Add(S);
  int AChanges = 0;
  A->OnChange = [&](TObject*) { ++AChanges; };
  EXPECT_EQ(B->AddIndirect(S), 0);
  EXPECT_TRUE(B->IsIndirect(0));
  EXPECT_EQ(S->Node(), A);
  S->Color()->SetColor(1);
  EXPECT_EQ(AChanges, 1);  // A's hook stays
  B->Remove(S);
  EXPECT_EQ(S->Node(), A);
  EXPECT_EQ(A->IndexOf(S), 0);
  // A dying item leaves no dangling indirect entry.
  B->AddIndirect(S);
  delete S;
  EXPECT_EQ(B->GetCount(), 0);
  EXPECT_EQ(A->GetCount(), 0);
}

TEST(NodeTest, ListOperationsKeepIndirectBitsWithTheirItems) {
  TComponent Form(nullptr);
  auto* N = new TLumNode(&Form);
  auto* Other = new TLumNode(&Form);
  TSquare* S[3];
  for (auto*& P : S) P = new TSquare(&Form);
  N->Add(S[0]);
  Other->Add(S[1]);
  N->AddIndirect(S[1]);
  N->Add(S[2]);
  N->Move(0, 99);  // clamped: the first item goes to the end
  EXPECT_TRUE(N->GetItems(0) == S[1] && N->GetItems(2) == S[0]);
  EXPECT_TRUE(N->IsIndirect(0) && !N->IsIndirect(2));
  N->Exchange(0, 1);
  EXPECT_TRUE(N->GetItems(1) == S[1] && N->IsIndirect(1));
  N->Clear();
  EXPECT_EQ(N->GetCount(), 0);
  EXPECT_TRUE(S[1]->Node() == Other && S[0]->Node() == nullptr);
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
  Root->SetItems(0, nullptr);  // an empty direct entry is cleared without harm
  Root->Clear();
  EXPECT_EQ(Root->GetCount(), 0);
}

TEST(NodeTest, OnRenderReplacesTheItems) {
  TComponent Form(nullptr);
  auto* N = new TLumNode(&Form);
  auto* S = new TSquare(&Form);
  N->Add(S);
  int Calls = 0;
  N->OnRender = [&](TLumCustomView*) { ++Calls; };
  auto Ctx = CreateEGLContext(8, 8);
  ASSERT_TRUE(Ctx->MakeCurrent());
  N->Render(nullptr);
  Ctx->Release();
  EXPECT_TRUE(Calls == 1 && S->Draws == 0);
}

TEST(ObjectTest, NameFollowsComponentNameAndReferencesClear) {
  TComponent Form(nullptr);
  auto* O = new TSquare(&Form);
  EXPECT_TRUE(O->ObjectID() == -1 && O->Color()->Color() == 0xFFFFFFu);
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

  auto* Copy = new TSquare(&Form);
  O->SetObjectID(7);
  Copy->Assign(O);
  EXPECT_TRUE(Copy->ObjectID() == 7 && Copy->ObjectName() == "Custom");
}

TEST(RegistryTest, FindsClassesWithoutRegardToCaseAndRefusesDuplicates) {
  const TLumRenderClass* C = GetRenderClass("tlumnode");
  ASSERT_NE(C, nullptr);
  EXPECT_EQ(C->Name, "TLumNode");
  TComponent Form(nullptr);
  TComponent* N = C->Create(&Form);
  EXPECT_NE(dynamic_cast<TLumNode*>(N), nullptr);
  EXPECT_EQ(GetRenderClass("TNoSuchClass"), nullptr);
  EXPECT_EQ(test::Thrown([] {
              RegisterRenderClass("TLUMNODE", [](TComponent* O) { return new TLumNode(O); });
            }),
            "This class was already registered.");
  std::vector<TLumRenderClass> List;
  GetRenderClassList(List);
  std::vector<std::string> Names;
  for (const auto& C : List) Names.push_back(C.Name);
  // Unit by unit, each unit's classes in their own order.
  EXPECT_EQ(Names,
            (std::vector<std::string>{
                "TLumNode",      "TLumMaterial", "TLumAttributes", "TLumFog",     "TLumLight",
                "TLumTexture",   "TLumClip",     "TLumPoint",      "TLumLine",    "TLumTriangle",
                "TLumRectangle", "TLumSphere",   "TLumCylinder",   "TLumDisc",    "TLumTorus",
                "TLumBox",       "TLumFuncObj",  "TLumRotObj",     "TLumPolygon", "TLumPointSet",
                "TLumTube",      "TLum3dObj",    "TLumText"}));
}
