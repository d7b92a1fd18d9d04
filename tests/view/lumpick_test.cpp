// Picking on a headless view: hit records, the nearer of two objects, names of nested
// objects, the background, the point under the mouse and window <-> scene conversions,
// for a view of odd height at device pixel ratios 1 and 2.
#include "lumox/view/lumpick.h"

#include <gtest/gtest.h>

#include <cmath>

#include "lumox/geometry/lumshape.h"
#include "lumox/scene/lumobj.h"
#include "support/glfixture.h"

using namespace lumox;

TEST(LumSelectionTest, HitRecordsAreReadWordByWord) {
  // A record without names, one with two names, one with a single name at the same
  // MinZ as the second.
  const uint32_t Half = 0x7FFFFFFF;
  const uint32_t Buf[] = {0, 5, 6, 2, Half, 0xFFFFFFFF, 7, 9, 1, Half, 0, 4};
  TLumSelectionList L;
  L.SetHitRecords(Buf, 3, std::size(Buf));
  ASSERT_EQ(L.GetCount(), 3);
  EXPECT_EQ(L.GetItems(0)->GetCount(), 0);
  EXPECT_EQ(L.GetItems(0)->MinZ(), 1.0f);
  EXPECT_EQ(L.GetItems(0)->MaxZ(), 1.0f);
  EXPECT_EQ(L.GetItems(1)->GetNames(0), 7u);
  EXPECT_EQ(L.GetItems(1)->GetNames(1), 9u);
  EXPECT_NEAR(L.GetItems(1)->MinZ(), 0.5f, 1e-6);
  EXPECT_EQ(L.GetItems(1)->MaxZ(), 1.0f);
  EXPECT_EQ(L.GetItems(2)->GetNames(0), 4u);
  EXPECT_EQ(L.GetTopMost(), L.GetItems(1));  // the first of equal depths
  EXPECT_TRUE(L.IsSelected(9));
  EXPECT_FALSE(L.IsSelected(5));  // a depth word, not a name
  EXPECT_EQ(L.GetItems(3), nullptr);

  L.SetHitRecords(Buf, -1, std::size(Buf));  // an overflowed select buffer
  EXPECT_EQ(L.GetCount(), 0);
  EXPECT_EQ(L.GetTopMost(), nullptr);
  // A record that claims more names than the buffer holds is not read past its end.
  const uint32_t Cut[] = {1000, 1, 2, 3};
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
    const float H = Size / 2;
    glBegin(GL_QUADS);
    glVertex3f(-H, -H, 0);
    glVertex3f(H, -H, 0);
    glVertex3f(H, H, 0);
    glVertex3f(-H, H, 0);
    glEnd();
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
  // Scene units per logical pixel in the plane z = 0.
  static double UnitsPerPixel() { return 2 * 2 * std::tan(22.5 / 180 * M_PI) / 61; }
  TComponent Form{nullptr};
  TLumView* View = nullptr;
  TLumNode* Root = nullptr;
  TSquare* Far = nullptr;
  TSquare* Near = nullptr;
};

}  // namespace

TEST_P(PickTest, TheNearerObjectWinsAndBothAreHit) {
  EXPECT_EQ(View->DrawableHeight(), static_cast<int>(std::lround(61 * GetParam())));
  TLumSelectionList L;
  View->GetSelection(40, 30, &L);
  ASSERT_EQ(L.GetCount(), 2);
  // In render order, names counted from 1 in each pass.
  EXPECT_EQ(L.GetItems(0)->GetNames(0), 1u);
  EXPECT_EQ(L.GetItems(1)->GetNames(0), 2u);
  EXPECT_LT(L.GetItems(1)->MinZ(), L.GetItems(0)->MinZ());
  EXPECT_EQ(L.GetTopMost(), L.GetItems(1));
  EXPECT_EQ(View->DrawMode(), dmWindow);

  bool OwnHook = false;
  View->OnNotifyNextID = [&](TObject*, int32_t) { OwnHook = true; };
  View->SetDrawMode(dmNothing);
  TObject* Obj = nullptr;
  EXPECT_EQ(View->GetObj(40, 30, Obj), -1);
  EXPECT_EQ(Obj, Near);
  EXPECT_EQ(View->PickObj(), Near);
  EXPECT_EQ(View->PickTarget(), 2u);
  EXPECT_EQ(View->DrawMode(), dmWindow);  // not the mode it had before
  EXPECT_FALSE(OwnHook);
  ASSERT_TRUE(View->OnNotifyNextID);  // the application's hook is back

  // Only the far square a few pixels left of the near one.
  EXPECT_EQ(View->GetObj(22, 30, Obj), -1);
  EXPECT_EQ(Obj, Far);
}

TEST_P(PickTest, TheBackgroundGivesNothing) {
  TLumSelectionList L;
  View->GetSelection(3, 57, &L);
  EXPECT_EQ(L.GetCount(), 0);
  TObject* Obj = Far;
  EXPECT_EQ(View->GetObj(3, 57, Obj), -2);
  EXPECT_EQ(Obj, nullptr);
  TLumMathVector V{1, 1, 1};
  EXPECT_FALSE(View->GetPoint(3, 57, V));
  EXPECT_EQ(V.X, 0.0);
  EXPECT_EQ(V.Z, 0.0);
}

TEST_P(PickTest, NestedObjectsReportTheInnermost) {
  // Far square inside two nodes, the near one drawn inside the far one's name, and a
  // mesh whose parts carry names of their own.
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

  TLumSelectionList L;
  View->GetSelection(40, 30, &L);
  ASSERT_GE(L.GetCount(), 1);
  const TLumSelection* Top = L.GetTopMost();
  ASSERT_EQ(Top->GetCount(), 2);  // outer name first
  TObject* Obj = nullptr;
  EXPECT_EQ(View->GetObj(40, 30, Obj), -1);
  EXPECT_EQ(Obj, Near);

  const TLumMathVector W = View->WinFrom3D({0.35, 0.35, 0.2});
  const int32_t Part = View->GetObj(static_cast<int32_t>(W.X), static_cast<int32_t>(W.Y), Obj);
  EXPECT_EQ(Obj, Ball);
  EXPECT_GE(Part, 0);  // the index of the mesh part, not the object's -1
}

TEST_P(PickTest, GetPointFindsTheSurfaceUnderThePoint) {
  const double U = UnitsPerPixel();
  struct Case {
    int X, Y;
    double Z;
  };
  // Far square left of and above the near one, and the near one at the centre.
  for (const Case C : {Case{25, 30, 0.0}, Case{40, 16, 0.0}, Case{40, 30, 0.5}}) {
    SCOPED_TRACE(testing::Message() << C.X << "," << C.Y);
    TLumMathVector V;
    ASSERT_TRUE(View->GetPoint(C.X, C.Y, V));
    EXPECT_NEAR(V.Z, C.Z, 1e-3);
    // Within the pick region (2.5 pixels) of the point, scaled to the plane's depth.
    const double Scale = (2.0 - C.Z) / 2.0;
    EXPECT_NEAR(V.X, (C.X - 40.0) * U * Scale, 3 * U * Scale);
    EXPECT_NEAR(V.Y, (30.5 - C.Y) * U * Scale, 3 * U * Scale);
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
  EXPECT_NEAR(C.X, 40.0, 1e-6);
  EXPECT_NEAR(C.Y, 30.5, 1e-6);
  const TLumMathVector Up = View->WinFrom3D({0, 0.2, 0});
  EXPECT_LT(Up.Y, C.Y);  // y counts down from the top
  for (const auto& [X, Y, Z] :
       {std::tuple{0, 0, 0.2}, std::tuple{79, 60, 0.9}, std::tuple{13, 47, 0.5}}) {
    const TLumMathVector P = View->WinTo3D(X, Y, Z);
    const TLumMathVector W = View->WinFrom3D(P);
    EXPECT_NEAR(W.X, X, 1e-6);
    EXPECT_NEAR(W.Y, Y, 1e-6);
    EXPECT_NEAR(W.Z, Z, 1e-6);
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
