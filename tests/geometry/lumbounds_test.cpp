// Bounds and counts on the CPU: the geometry of every class, world boxes through nested
// transformations, disabled and indirect items, deep trees, and the primitive counts.
#include "lumox/geometry/lumbounds.h"

#include <gtest/gtest.h>

#include <array>

#include "lumox/geometry/lum3dobj.h"
#include "lumox/geometry/lumgeom.h"
#include "lumox/geometry/lumpointset.h"
#include "lumox/geometry/lumshape.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumobj.h"

namespace lumox {
namespace {

void ExpectBox(const TLumBounds& B, TLumMathVector Min, TLumMathVector Max, double Tol = 1e-6) {
  ASSERT_FALSE(B.Empty());
  const double Got[6] = {B.Min.X, B.Min.Y, B.Min.Z, B.Max.X, B.Max.Y, B.Max.Z},
               Want[6] = {Min.X, Min.Y, Min.Z, Max.X, Max.Y, Max.Z};
  for (int K = 0; K < 6; ++K) EXPECT_NEAR(Got[K], Want[K], Tol) << "value " << K;
}

// Every mesh is bounded by its vertices, built first when it is not built yet (the
// sphere); a container by its visible parts'.
TEST(LumBoundsTest, LocalBoundsOfMeshesContainersAndRenderState) {
  TComponent Form(nullptr);
  auto* Sphere = new TLumSphere(&Form);
  Sphere->SetRadius(0.5);
  const TLumBounds SB = LumLocalBounds(Sphere);  // poles on Y, rings in between
  EXPECT_NEAR(SB.Max.Y, 0.5, 1e-9);
  EXPECT_NEAR(SB.Min.Y, -0.5, 1e-9);
  EXPECT_TRUE(SB.Max.X > 0.45 && SB.Max.X <= 0.5 && SB.Min.Z < -0.45) << SB.Max.X;

  auto* Cloud = new TLumPointSet(&Form);
  Cloud->AddPoint(1, 2, 3);
  Cloud->AddPoint(-1, 0, 5);
  ExpectBox(LumLocalBounds(Cloud), {-1, 0, 3}, {1, 2, 5});

  // A container counts its visible parts only.
  auto* Obj = new TLum3dObj(&Form);
  const double A[6] = {0, 0, 0, 1, 1, 1}, B[3] = {50, 50, 50};
  Obj->AddPart("a")->SetVertexData(2, A);
  Obj->AddPart("b")->SetVertexData(1, B);
  ExpectBox(LumLocalBounds(Obj), {0, 0, 0}, {50, 50, 50});
  Obj->Part(1)->SetVisible(false);
  ExpectBox(LumLocalBounds(Obj), {0, 0, 0}, {1, 1, 1});

  // Render state has no geometry; a vertex at infinity is left out.
  auto* Mat = new TLumMaterial(&Form);
  EXPECT_TRUE(LumLocalBounds(Mat).Empty());
  EXPECT_FALSE(LumForEachVertex(Mat, [](const TLumMathVector&) {}));
  Cloud->AddPoint(0, 1e300 * 1e300, 0);
  ExpectBox(LumLocalBounds(Cloud), {-1, 0, 3}, {1, 2, 5});
}

TEST(LumBoundsTest, WorldBoundsFollowNodesAndTransformationsAndSkipDisabledItems) {
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  auto* Inner = new TLumNode(&Form);
  Inner->Transformation()->Translation()->SetValues(10, 0, 0);
  Root->Add(Inner);
  auto* Box = new TLumPointSet(&Form);  // the corners of a cube of side 1 about the origin
  for (int i = 0; i < 8; ++i)
    Box->AddPoint(i & 1 ? 0.5 : -0.5, i & 2 ? 0.5 : -0.5, i & 4 ? 0.5 : -0.5);
  Box->Transformation()->Scale()->SetValues(2, 4, 6);
  Box->Transformation()->Rotation()->SetValues(0, 0, 90);  // scaled first, then turned
  Inner->Add(Box);
  ExpectBox(LumWorldBounds(Root), {8, -1, -3}, {12, 1, 3}, 1e-5);

  // The root's own transformation counts; a disabled item and what is under it do not.
  Root->Transformation()->Translation()->SetValues(0, 0, -100);
  auto* Far = new TLumSphere(&Form);
  Far->Transformation()->Translation()->SetValues(1000, 0, 0);
  auto* Off = new TLumNode(&Form);
  Off->Add(Far);
  Off->SetEnabled(false);
  Root->Add(Off);
  ExpectBox(LumWorldBounds(Root), {8, -1, -103}, {12, 1, -97}, 1e-5);

  // An item held indirectly by a second node is drawn, and bounded, there too.
  auto* Other = new TLumNode(&Form);
  Other->Transformation()->Translation()->SetValues(0, 50, 0);
  Other->AddIndirect(Box);
  Root->Add(Other);
  EXPECT_NEAR(LumWorldBounds(Root).Max.Y, 51, 1e-5);

  TLumMathVector Centre;
  double Radius = 0;
  ASSERT_TRUE(LumBoundingSphere(Box, Centre, Radius));
  EXPECT_NEAR(Radius, std::hypot(1, 2, 3), 1e-5);  // the corners, not the box's diagonal
  EXPECT_FALSE(LumBoundingSphere(new TLumNode(&Form), Centre, Radius));
}

TEST(LumBoundsTest, FitDistanceSeesEveryVertexFromTheGivenSide) {
  TComponent Form(nullptr);
  auto* Cloud = new TLumPointSet(&Form);
  Cloud->AddPoint(-2, 0, 0);
  Cloud->AddPoint(2, 1, 0);
  Cloud->AddPoint(0, -1, 3);
  // From the front: x = 2 needs 2 / 0.5 = 4; the point at z = 3 needs 3 more than its
  // own 1 / 0.5, or 1 / 0.25 with a narrower view.
  EXPECT_DOUBLE_EQ(LumFitDistance(Cloud, IDENTITYMATRIX, {0, 0, 0}, 0.5, 0.5), 3 + 2.0);
  EXPECT_DOUBLE_EQ(LumFitDistance(Cloud, IDENTITYMATRIX, {0, 0, 0}, 0.5, 0.25), 3 + 4.0);
  EXPECT_DOUBLE_EQ(LumFitDistance(Cloud, IDENTITYMATRIX, {0, 0, 0}, 1, 1), 3 + 1.0);
  // From +X (the camera turned by -90 degrees about Y): depth is x, width is z, so the
  // point at z = 3 needs 3 / 0.5.
  TLumRotation Turn;
  Turn.SetY(-90);
  EXPECT_NEAR(LumFitDistance(Cloud, Turn.GetMatrix(), {0, 0, 0}, 0.5, 0.5), 6.0, 1e-6);
  EXPECT_EQ(LumFitDistance(new TLumNode(&Form), IDENTITYMATRIX, {0, 0, 0}, 1, 1), 0.0);
}

TEST(LumBoundsTest, DeepTreesAreWalkedWithoutRecursion) {
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  TLumNode* N = Root;
  for (int i = 0; i < 100000; ++i) {
    auto* C = new TLumNode(&Form);
    C->Transformation()->Translation()->SetValues(0.001f, 0, 0);
    N->Add(C);
    N = C;
  }
  auto* P = new TLumPoint(&Form);
  N->Add(P);
  int Visited = 0;
  LumWalkScene(Root, [&](TLumRender*, const TLumMathMatrix&) { ++Visited; });
  EXPECT_EQ(Visited, 100002);
  EXPECT_NEAR(LumWorldBounds(Root).Max.X, 100.0, 0.01);
}

TEST(LumBoundsTest, CountsTrianglesLinesAndPointsOfEveryKindOfList) {
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  Root->Add(new TLumBox(&Form));  // six faces of one quad each
  auto* Cloud = new TLumPointSet(&Form);
  for (int i = 0; i < 7; ++i) Cloud->AddPoint(i, 0, 0);
  Root->Add(Cloud);
  auto* Obj = new TLum3dObj(&Form);
  TLum3dPart* P = Obj->AddPart("p");
  const double V[18] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 0, 2, 0, 1, 2, 0};
  P->SetVertexData(6, V);
  const uint32_t I[6] = {0, 1, 2, 3, 4, 5};
  P->AddIndices(GL_TRIANGLE_STRIP, I, 6);  // 4 triangles
  P->AddIndices(GL_QUAD_STRIP, I, 6);      // 2 quads
  P->AddIndices(GL_LINE_LOOP, I, 3);       // 3 segments
  P->AddIndices(GL_POINTS, I, 2);
  Obj->AddPart("hidden")->SetVertexData(6, V);
  Obj->Part(1)->AddIndices(GL_TRIANGLES, I, 6);
  Obj->Part(1)->SetVisible(false);
  Root->Add(Obj);
  const TLumMeshCounts C = LumCountMeshes(Root);
  // Objects, triangles, lines, points and vertices.
  EXPECT_EQ((std::array<int64_t, 5>{C.Objects, C.Triangles, C.Lines, C.Points, C.Vertices}),
            (std::array<int64_t, 5>{3, 12 + 4 + 4, 3, 7 + 2, 24 + 7 + 6}));
}

}  // namespace
}  // namespace lumox
