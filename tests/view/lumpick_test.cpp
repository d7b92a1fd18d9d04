// Picking on a headless view: hit records, the nearer of two objects, names of nested
// objects, the background, the point under the mouse and window <-> scene conversions,
// for a view of odd height at device pixel ratios 1 and 2.
#include "lumox/view/lumpick.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "lumox/geometry/lumshape.h"
#include "lumox/scene/lumobj.h"
#include "support/glfixture.h"

using namespace lumox;

// Mesa's llvmpipe (22.3) keeps about 512 KB per context that has drawn in GL_SELECT mode
// and never frees it; the leak checker of the sanitizer build ignores the driver's leaks.
extern "C" const char* __lsan_default_suppressions() { return "leak:swrast_dri.so\n"; }

TEST(LumSelectionTest, HitRecordsAreReadWordByWord) {
  // No names; two names; one name at the second's MinZ.
  const uint32_t Buf[] = {0, 5, 6, 2, 0x7FFFFFFF, 0xFFFFFFFF, 7, 9, 1, 0x7FFFFFFF, 0, 4};
  TLumSelectionList L;
  L.SetHitRecords(Buf, 3, std::size(Buf));
  ASSERT_EQ(L.GetCount(), 3);
  const TLumSelection *A = L.GetItems(0), *B = L.GetItems(1);
  EXPECT_EQ(A->GetCount(), 0);
  EXPECT_EQ(A->MinZ(), 1.0f);
  EXPECT_EQ(B->GetNames(1), 9u);
  EXPECT_NEAR(B->MinZ(), 0.5f, 1e-6);
  EXPECT_EQ(L.GetTopMost(), B);  // the first of equal depths
  EXPECT_TRUE(L.IsSelected(9));
  EXPECT_FALSE(L.IsSelected(5));             // a depth word, not a name
  L.SetHitRecords(Buf, -1, std::size(Buf));  // an overflowed select buffer
  EXPECT_EQ(L.GetTopMost(), nullptr);
  const uint32_t Cut[] = {1000, 1, 2, 3};  // more names than the buffer holds
  L.SetHitRecords(Cut, 2, std::size(Cut));
  EXPECT_EQ(L.GetItems(0)->GetCount(), 0);
}

namespace {

// A square of side Size in the X-Y plane, optionally drawing another object inside its
// own name (so a hit on the inner one carries both names).
class TSquare : public TLumObject {
 public:
  TSquare(TComponent* AOwner, float ASize, float AZ) : TLumObject(AOwner), Size(ASize) {
    Transformation()->Translation()->SetZ(AZ);
  }
  void DoRender(TLumCustomView* aView) override {
    TLumObject::DoRender(aView);
    glRectf(-Size / 2, -Size / 2, Size / 2, Size / 2);
    if (Inner) Inner->Render(aView);
  }
  float Size;
  TLumRender* Inner = nullptr;
};

// An 80 x 61 view (logical pixels) at the parameter's device pixel ratio. The camera
// looks at the origin from 2 units: a far square of side 1 at z = 0 and a near square
// of side 0.4 at z = 0.5, both centred.
class PickTest : public ::testing::TestWithParam<double> {
 protected:
  void SetUp() override {
    View = new TLumView(&Form);
    View->SetBounds(80, 61);
    View->SetDevicePixelRatio(GetParam());
    View->SetCamera(new TLumPerspectiveCamera(&Form));
    Root = new TLumNode(&Form);
    Far = new TSquare(&Form, 1.0f, 0.0f);
    Near = new TSquare(&Form, 0.4f, 0.5f);
    Far->SetNode(Root);
    Near->SetNode(Root);
    View->OnRender = [this](TLumView* V) { Root->Render(V); };
  }
  TComponent Form{nullptr};
  TLumView* View = nullptr;
  TLumNode* Root = nullptr;
  TSquare *Far = nullptr, *Near = nullptr;
};

}  // namespace

TEST_P(PickTest, TheNearerObjectWinsAndBothAreHit) {
  TLumSelectionList L;
  View->GetSelection(40, 30, &L);
  ASSERT_EQ(L.GetCount(), 2);
  // In render order, names counted from 1 in each pass.
  EXPECT_EQ((std::array{L.GetItems(0)->GetNames(0), L.GetItems(1)->GetNames(0)}),
            (std::array{1u, 2u}));
  EXPECT_EQ(L.GetTopMost(), L.GetItems(1));

  bool OwnHook = false;
  View->OnNotifyNextID = [&](TObject*, int32_t) { OwnHook = true; };
  View->SetDrawMode(dmNothing);
  TObject* Obj = nullptr;
  EXPECT_EQ(View->GetObj(40, 30, Obj), -1);
  EXPECT_EQ(Obj, Near);
  EXPECT_EQ(View->PickTarget(), 2u);
  EXPECT_EQ(View->DrawMode(), dmWindow);  // not the mode it had before
  EXPECT_FALSE(OwnHook);
  ASSERT_TRUE(View->OnNotifyNextID);  // the application's hook is back

  // Only the far square a few pixels left of the near one; nothing in the corner.
  EXPECT_EQ(View->GetObj(22, 30, Obj), -1);
  EXPECT_EQ(Obj, Far);
  EXPECT_EQ(View->GetObj(3, 57, Obj), -2);
  View->GetSelection(3, 57, &L);
  TLumMathVector V{1, 1, 1};
  EXPECT_FALSE(View->GetPoint(3, 57, V));
  EXPECT_TRUE(Obj == nullptr && L.GetCount() == 0 && V.Z == 0.0);
}

TEST_P(PickTest, NestedObjectsReportTheInnermost) {
  // Far square in two nodes, the near one drawn inside its name, a mesh with named parts.
  auto* Outer = new TLumNode(&Form);
  auto* Mid = new TLumNode(&Form);
  Mid->SetNode(Outer);
  Near->SetNode(nullptr);
  Far->SetNode(Mid);
  Far->Inner = Near;
  auto* Ball = new TLumSphere(&Form);
  Ball->SetRadius(0.1f);
  Ball->Transformation()->Translation()->SetValues(0.35f, 0.35f, 0.2f);
  Ball->SetNode(Mid);
  View->OnRender = [Outer](TLumView* V) { Outer->Render(V); };

  TObject* Obj = nullptr;
  EXPECT_EQ(View->GetObj(40, 30, Obj), -1);
  EXPECT_EQ(Obj, Near);

  const TLumMathVector W = View->WinFrom3D({0.35, 0.35, 0.2});
  const int32_t Part = View->GetObj(static_cast<int32_t>(W.X), static_cast<int32_t>(W.Y), Obj);
  EXPECT_EQ(Obj, Ball);
  EXPECT_GE(Part, 0);  // the index of the mesh part, not the object's -1
}

TEST_P(PickTest, GetPointFindsTheSurfaceUnderThePoint) {
  const double U = 2 * 2 * std::tan(22.5 / 180 * M_PI) / 61;  // units per pixel at z = 0
  // Far square left of and above the near one, and the near one at the centre.
  for (const auto& [X, Y, Z] : {std::tuple{25, 30, 0.0}, {40, 16, 0.0}, {40, 30, 0.5}}) {
    TLumMathVector V;
    ASSERT_TRUE(View->GetPoint(X, Y, V));
    EXPECT_NEAR(V.Z, Z, 1e-3);
    // Within the pick region (2.5 pixels) of the point, scaled to the plane's depth.
    const double Scale = (2.0 - Z) / 2.0 * U;
    EXPECT_NEAR(V.X, (X - 40.0) * Scale, 3 * Scale);
    EXPECT_NEAR(V.Y, (30.5 - Y) * Scale, 3 * Scale);
  }
  EXPECT_EQ(View->DrawMode(), dmWindow);

  // Inside a frame the buffers are read as drawn so far: the far square is there, the
  // near one not yet.
  bool Found = false;
  TLumMathVector Inside;
  View->OnRender = [&](TLumView* V) {
    Far->Render(V);
    Found = V->GetPoint(40, 30, Inside);
    Near->Render(V);
  };
  View->Paint();
  ASSERT_TRUE(Found);
  EXPECT_NEAR(Inside.Z, 0.0, 1e-3);
}

TEST_P(PickTest, WindowAndSceneCoordinatesInvertEachOther) {
  // The centre of an odd-height view is half a pixel below row 30.
  const TLumMathVector C = View->WinFrom3D({0, 0, 0});
  EXPECT_LT(std::abs(C.X - 40.0) + std::abs(C.Y - 30.5), 1e-6) << C.X << "," << C.Y;
  for (const auto& [X, Y, Z] : {std::tuple{0, 0, 0.2}, {79, 60, 0.9}, {13, 47, 0.5}}) {
    const TLumMathVector W = View->WinFrom3D(View->WinTo3D(X, Y, Z));
    EXPECT_LT(std::abs(W.X - X) + std::abs(W.Y - Y) + std::abs(W.Z - Z), 1e-6) << X << "," << Y;
  }
  // A small square placed at a projected point is picked there: the pick, the pixel
  // rows and WinFrom3D agree on the window's y for any height and pixel ratio.
  auto* Dot = new TSquare(&Form, 0.2f, 0.0f);
  Dot->Transformation()->Translation()->SetValues(0.4f, 0.35f, 0.6f);
  Dot->SetNode(Root);
  const TLumMathVector D = View->WinFrom3D({0.4, 0.35, 0.6});
  TObject* Obj = nullptr;
  View->GetObj(static_cast<int32_t>(D.X), static_cast<int32_t>(D.Y), Obj);
  EXPECT_EQ(Obj, Dot);
  TLumMathVector V;
  ASSERT_TRUE(View->GetPoint(static_cast<int32_t>(D.X), static_cast<int32_t>(D.Y), V));
  EXPECT_NEAR(V.Z, 0.6, 1e-3);
}

INSTANTIATE_TEST_SUITE_P(PixelRatios, PickTest, ::testing::Values(1.0, 2.0));
