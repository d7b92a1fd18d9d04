// The render protocol, display-list caching, projection capture and node membership.
#include "lumox/scene/lumcomp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "lumox/scene/lumattr.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumobj.h"
#include "support/glfixture.h"

using namespace lumox;
using lumox::test::ViewTest;

namespace {

GLint StackDepth() {
  GLint D = 0;
  glGetIntegerv(GL_MODELVIEW_STACK_DEPTH, &D);
  return D;
}

// Records what the protocol calls, with the modelview stack depth at each call.
class TProbe : public TLumRender {
 public:
  using TLumRender::TLumRender;
  const char* ClassName() const override { return "TProbe"; }
  void DoRender(TLumCustomView*) override {
    Log.push_back("draw@" + std::to_string(StackDepth()));
    ++Draws;
    glGetDoublev(GL_MODELVIEW_MATRIX, DrawMatrix);
    glRectf(-5, -5, 5, 5);  // a full-screen quad in the modelview frame
  }
  void DoDisable(TLumCustomView*) override {
    Log.push_back("disable@" + std::to_string(StackDepth()));
  }
  std::vector<std::string> Log;
  int Draws = 0;
  double DrawMatrix[16] = {};
};

}  // namespace

class RenderProtocolTest : public ViewTest {
 protected:
  void SetUp() override {
    ViewTest::SetUp();
    Probe = new TProbe(&Form);
    View->OnRender = [this](TLumView* V) {
      Base = StackDepth();
      Probe->Render(V);
    };
  }
  TProbe* Probe = nullptr;
  GLint Base = 0;
};

TEST_F(RenderProtocolTest, EventsSurroundTheDrawingInsideThePushedMatrixUnlessDisabled) {
  Probe->OnBeforeRender = [&](TLumCustomView* V) {
    EXPECT_EQ(V, View);
    Probe->Log.push_back("before@" + std::to_string(StackDepth()));
  };
  Probe->OnAfterRender = [&](TLumCustomView*) {
    Probe->Log.push_back("after@" + std::to_string(StackDepth()));
  };
  Frame();
  const std::string In = std::to_string(Base + 1);
  EXPECT_EQ(Probe->Log, (std::vector<std::string>{"before@" + In, "draw@" + In, "after@" + In}));
  // Disabled, it only switches its feature off: no push, no events.
  Probe->Log.clear();
  Probe->SetEnabled(false);
  Frame();
  EXPECT_EQ(Probe->Log, std::vector<std::string>{"disable@" + std::to_string(Base)});
}

TEST_F(RenderProtocolTest, TransformationChangedAfterAFrameMovesTheComponentUnlessReplaced) {
  Frame();
  Probe->Transformation()->Translation()->SetX(1.5f);
  Frame();
  EXPECT_NEAR(Probe->DrawMatrix[12], 1.5, 1e-6);
  Probe->Transformation()->Scale()->SetY(2);  // not empty once X is back at 0
  Probe->Transformation()->Translation()->SetX(0);
  Frame();
  EXPECT_NEAR(Probe->DrawMatrix[12], 0, 1e-6);
  EXPECT_NEAR(Probe->DrawMatrix[5], 2, 1e-6);
  // OnTransform replaces it: the camera puts the origin at z = -2, only its move is added.
  Probe->Transformation()->Translation()->SetX(5);
  Probe->OnTransform = [](TObject*) { glTranslatef(0, 3, 0); };
  Frame();
  const double* M = Probe->DrawMatrix;
  EXPECT_EQ((std::array{M[12], M[13], M[14], M[5]}), (std::array{0.0, 3.0, -2.0, 1.0}));
}

TEST_F(RenderProtocolTest, FreedCachedComponentsLeaveNoListsBehind) {
  // Freed outside a frame, last first, first first or with their node: the lists go
  // as soon as the view's context is current.
  auto* Root = new TLumNode(&Form);
  std::vector<TProbe*> Items(5);
  for (TProbe*& P : Items) (P = new TProbe(&Form))->SetCached(true), P->SetNode(Root);
  View->OnRender = [Root](TLumView* V) { Root->Render(V); };
  Frame();
  std::vector<uint32_t> Lists;
  for (TProbe* P : Items) Lists.push_back(P->ListId());
  delete Items[4];
  delete Items[0];
  delete Root;
  EXPECT_EQ(Items[2]->Node(), nullptr);
  for (int I = 1; I < 4; ++I) delete Items[static_cast<size_t>(I)];
  View->SetCurrent(true);
  for (uint32_t L : Lists) EXPECT_FALSE(glIsList(L)) << L;
  View->SetCurrent(false);
}

TEST_F(RenderProtocolTest, CachedComponentCompilesOnceInItsViewAndReplays) {
  Probe->SetCached(true);
  Frame();
  EXPECT_TRUE(Probe->Draws == 1 && Probe->View() == View);
  const uint32_t List = Probe->ListId();
  ASSERT_NE(List, 0u);
  Frame();
  Frame();
  EXPECT_EQ(Probe->Draws, 1);  // replayed from the list
  // Placement stays live outside the list: moving needs no recompilation.
  Probe->Transformation()->Translation()->SetY(0.5f);
  Frame();
  EXPECT_TRUE(Probe->Draws == 1 && Probe->ListId() == List);
  // A second view draws directly and the first keeps its list.
  auto* Other = new TLumView(&Form);
  Other->SetBounds(20, 20);
  Other->SetCamera(Camera);
  Other->OnRender = [this](TLumView* V) { Probe->Render(V); };
  Other->Paint();
  Other->Paint();
  EXPECT_EQ(Probe->Draws, 3);  // twice drawn directly in the other view
  Frame();
  EXPECT_TRUE(Probe->Draws == 3 && Probe->View() == View) << Probe->Draws;
  // When the owning view dies, the next view to render becomes the owner.
  delete View;
  View = nullptr;
  EXPECT_EQ(Probe->View(), nullptr);
  Other->Paint();
  EXPECT_TRUE(Probe->View() == Other && Probe->Draws == 4 && Probe->ListId() != 0u);
}

// A list freed in the middle of another view's frame waits for its own view: that frame
// keeps its context and draws on.
TEST_F(RenderProtocolTest, AListFreedInAnotherViewsFrameLeavesThatFrameItsContext) {
  Probe->SetCached(true);
  Frame();
  const uint32_t List = Probe->ListId();
  ASSERT_NE(List, 0u);
  auto* Other = new TLumView(&Form);
  Other->SetBounds(20, 20);
  auto* Freeing = new TProbe(&Form);
  Freeing->OnBeforeRender = [this](TLumCustomView*) { Probe->SetCached(false); };
  Other->OnRender = [Freeing](TLumView* V) { Freeing->Render(V); };
  TBitmap Image(20, 20);
  ASSERT_TRUE(Other->GetImage(&Image));
  EXPECT_EQ(Image.GetPixel(10, 10), 0xFFFFFFu);  // drawn after the list was freed
  EXPECT_EQ(Probe->ListId(), 0u);
  View->SetCurrent(true);
  EXPECT_FALSE(glIsList(List));
  View->SetCurrent(false);
}

TEST_F(RenderProtocolTest, ProjectionMatrixCapturesWhereTheComponentWasDrawn) {
  EXPECT_EQ(Probe->ProjectionMatrix(), nullptr);
  const TLumMathVector V{1, 2, 3};
  const TLumMathVector Zero = Probe->ProjectVector(View, V);
  EXPECT_TRUE(Zero.X == 0 && Zero.Z == 0);

  Probe->SetProjectionEnabled(true);
  auto* Other = new TProbe(&Form);
  Other->SetProjectionEnabled(true), Other->Transformation()->Translation()->SetX(1);
  Probe->Transformation()->Translation()->SetY(1);
  View->OnRender = [&](TLumView* Vw) { Probe->Render(Vw), Other->Render(Vw); };
  Frame();
  for (int K = 0; K < 16; ++K)
    EXPECT_NEAR(Probe->ProjectionMatrix()->Values()[K], Probe->DrawMatrix[K], 1e-12);
  // Other's origin seen from Probe: (1, -1, 0).
  const TLumMathVector P = Probe->ProjectVector(Other, ZEROVEC);
  EXPECT_LT(std::abs(P.X - 1) + std::abs(P.Y + 1) + std::abs(P.Z), 1e-6) << P.X << " " << P.Y;
  // A point of the frame the camera matrix maps from (the scene's root frame) in
  // Probe's frame: the root origin lies at (0, -1, 0) seen from Probe.
  const TLumMathVector E = Probe->ProjectVector(View, TLumMathVector{0, 0, 1});
  EXPECT_LT(std::abs(E.X) + std::abs(E.Y + 1) + std::abs(E.Z - 1), 1e-6) << E.X << " " << E.Y;
  Probe->SetProjectionEnabled(false);
  EXPECT_EQ(Probe->ProjectionMatrix(), nullptr);
}

// A small quad facing the camera, drawn with the object's colour, attributes and material.
class TQuad : public TLumObject {
 public:
  using TLumObject::TLumObject;
  void DoRender(TLumCustomView* aView) override {
    TLumObject::DoRender(aView);
    glNormal3f(0, 0, 1);
    glRectf(-0.15f, -0.15f, 0.15f, 0.15f);
  }
};

TEST_F(ViewTest, CachedListsHoldTheirStateWhateverIsDrawnBeforeThem) {
  // Lit without lights, a quad shows its material's emission; unlit, its white colour.
  auto* Lit = new TLumAttributes(&Form);
  Lit->SetLighting(true);
  auto* Unlit = new TLumAttributes(&Form);
  auto Emitting = [this](uint32_t Color) {
    auto* M = new TLumMaterial(&Form);
    M->ColorAmbient()->SetColor(0), M->ColorDiffuse()->SetColor(0);
    M->ColorEmission()->SetColor(Color);
    return M;
  };
  TLumMaterial* Red = Emitting(0x0000FF);
  auto Quad = [this](float X, TLumAttributes* A, TLumMaterial* M) {
    auto* Q = new TQuad(&Form);
    Q->Transformation()->Translation()->SetX(X), Q->SetAttributes(A), Q->SetMaterial(M);
    return Q;
  };
  TQuad* Before = Quad(-0.4f, Lit, Red);
  TQuad* Cached = Quad(0.4f, Lit, Red);  // shares both with the quad before it
  TQuad* Between = Quad(0, Unlit, Emitting(0x00FF00));
  std::vector<TQuad*> Order;
  View->OnRender = [&](TLumView* V) {
    for (TQuad* Q : Order) Q->Render(V);
  };
  // Compiled after a quad with the same state; replayed after other state; followed by
  // a quad whose state the list has changed.
  const std::vector<std::vector<TQuad*>> Orders{
      {Before, Cached}, {Before, Between, Cached}, {Between, Cached, Between}};
  std::vector<TBitmap> Direct;
  for (const auto& O : Orders) {
    Order = O;
    Direct.push_back(Snapshot());
  }
  EXPECT_EQ(RGB(Direct[1], 54, 30), 0x0000FFu);
  EXPECT_EQ(RGB(Direct[2], 40, 30), 0xFFFFFFu);
  Cached->SetCached(true);
  for (size_t I = 0; I < Orders.size(); ++I) {
    Order = Orders[I];
    const TBitmap Image = Snapshot();
    EXPECT_TRUE(std::equal(Image.Pixels(), Image.Pixels() + 80 * 60 * 4, Direct[I].Pixels()))
        << "order " << I << ": " << std::hex << RGB(Image, 54, 30) << " " << RGB(Image, 40, 30);
  }
  EXPECT_NE(Cached->ListId(), 0u);
}

// SetNodeDirect leaves the old node without joining the new one's list (node membership
// itself is the node tests' model's).
TEST(RenderNodeTest, SetNodeDirectLeavesTheListsAlone) {
  TComponent Form(nullptr);
  auto* A = new TLumNode(&Form);
  auto* B = new TLumNode(&Form);
  auto* P = new TProbe(&Form);
  P->SetNode(B);
  P->SetNodeDirect(A);
  EXPECT_TRUE(B->GetCount() == 0 && A->GetCount() == 0 && P->Node() == A);
  delete A;  // the dead node is no longer P's node
  EXPECT_EQ(P->Node(), nullptr);
}
