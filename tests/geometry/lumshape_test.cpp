// Tests of the parametric solids: setter corrections, counts and indices, closure and
// outward facing from the mesh itself, seam flags, texture coordinates, exchange round
// trips and lit pixels.
#include "lumox/geometry/lumshape.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <memory>
#include <string>

#include "lumox/geometry/lumgeom.h"
#include "lumox/host/graphics.h"
#include "lumox/view/lumview.h"
#include "support/glfixture.h"
#include "support/meshcheck.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

using test::Len;
using test::NormalsAgainstWinding;
using test::OpenEdgeCount;
using test::SignedVolume;

constexpr double Pi = 3.141592653589793;

bool Seam(const TLumPrimitiveObj& O, int32_t i, int Bit) { return O.Points()->GetFlag(i, Bit); }

// Counts far beyond the mesh limit are refused before anything is allocated: the
// message names the object and the count, and nothing overflows on the way.
TEST(ShapeMeshTest, CountsOverTheLimitThrowNamingObjectAndCount) {
  constexpr int32_t Big = INT32_MAX;
  auto Refused = [](TLumPrimitiveObj& O, const std::string& Count) {
    const std::string M = test::Thrown([&] { O.Init(); });
    EXPECT_NE(M.find(O.ClassName()), std::string::npos) << M;
    EXPECT_NE(M.find(Count), std::string::npos) << M;
  };
  TLumSphere Sphere(nullptr);
  Sphere.SetSlices(Big), Sphere.SetStacks(Big);
  Refused(Sphere, "4611686018427387904 vertices");
  Sphere.SetMode(smRegular);  // the rounding to a multiple of 4 stays in range
  Sphere.SetSlices(Big);
  EXPECT_EQ(Sphere.Slices() % 4, 0);
  Sphere.SetStacks(Big);
  Refused(Sphere, "vertices");
  Sphere.SetSlices(10000), Sphere.SetMode(smGlobal), Sphere.SetStacks(10000);  // a short file
  Refused(Sphere, "100020001 vertices");
  TLumCylinder Cylinder(nullptr);
  TLumDisc Disc(nullptr);
  TLumTorus Torus(nullptr);
  TLumBox Box(nullptr);
  TLumRectangle Rect(nullptr);
  Cylinder.SetSlices(Big), Disc.SetStacks(Big), Torus.SetSlices(Big), Torus.SetStacks(Big);
  Box.SetDetail(0, Big), Box.SetDetail(1, Big), Rect.SetDetX(Big), Rect.SetDetY(2);
  Refused(Cylinder, "vertices");
  Refused(Disc, "vertices");
  Refused(Torus, "4611686018427387904 vertices");
  Refused(Box, "vertices");
  Refused(Rect, "6442450944 vertices");
}

TEST(ShapeSetterTest, CorrectionsFollowEachSettersRule) {
  TLumSphere S(nullptr);
  S.SetRadius(-2), S.SetSlices(0), S.SetStacks(1);
  EXPECT_EQ(S.Radius(), 1.0);
  auto Counts = [&S] { return std::array{S.Slices(), S.Stacks()}; };
  EXPECT_EQ(Counts(), (std::array{1, 2}));
  S.SetMode(smRegular);  // the counts stay; the mesh takes its grid from Stacks
  EXPECT_EQ(Counts(), (std::array{1, 2}));
  S.SetSlices(5);  // up to a multiple of 4, Stacks half of it
  EXPECT_EQ(Counts(), (std::array{8, 4}));
  S.SetStacks(7);  // Slices from Stacks div 2; Stacks stays odd
  EXPECT_EQ(Counts(), (std::array{12, 7}));

  TLumDisc D(nullptr);
  const double Start[][2] = {{370, 10}, {-30, 330}, {725.5, 5.5}, {360, 0}};
  for (const auto& A : Start) {
    D.SetStartAngle(A[0]);
    EXPECT_DOUBLE_EQ(D.StartAngle(), A[1]) << A[0];
  }
  D.SetSweepAngle(400);
  EXPECT_EQ(D.SweepAngle(), 360);
  D.SetSweepAngle(-5), D.SetOuterRadius(0), D.SetInnerRadius(-0.5);
  TLumTorus T(nullptr);
  T.SetRadius(-2);  // unlike the sphere's, a torus radius goes to 0
  EXPECT_EQ((std::array{D.SweepAngle(), D.OuterRadius(), D.InnerRadius(), T.Radius()}),
            (std::array{0.0, 1.0, 0.0, 0.0}));
}

TEST(ShapeMeshTest, TorusThreeByThree) {
  TLumTorus T(nullptr);
  T.SetSlices(3), T.SetStacks(3);
  T.Init();
  EXPECT_EQ(T.Points()->Count(), 16);
  ASSERT_EQ(T.GetPrimitiveCount(), 3);
  for (int32_t p = 0; p < 3; ++p) EXPECT_EQ(T.GetPrimitive(p)->Count(), 8);
  EXPECT_EQ(T.GetPrimitive(1)->PrimitiveType(), GL_TRIANGLE_STRIP);
}

TEST(ShapeMeshTest, SphereGridsAndPoles) {
  TLumSphere S(nullptr);
  S.SetSlices(4), S.SetStacks(3);
  S.Init();
  EXPECT_NEAR(test::Vertex(S, 0).Z, 1.0, 1e-12);
  EXPECT_NEAR(test::Vertex(S, 5).X, std::sin(Pi / 3), 1e-12);  // from +Y towards +X

  S.SetMode(smRegular);
  S.SetSlices(8);  // Stacks 4: per hemisphere 4 pole vertices, then rings of 5 and 9
  S.Init();
  EXPECT_EQ(S.Points()->Count(), 36);
  ASSERT_EQ(S.GetPrimitiveCount(), 10);
  EXPECT_EQ((std::array{S.GetPrimitive(0)->Count(), S.GetPrimitive(1)->PrimitiveType(),
                        S.GetPrimitive(1)->Count()}),
            (std::array{12, GL_TRIANGLE_STRIP, 5}));
  S.SetStacks(5);  // odd: one more strip along the equator
  S.Init();
  ASSERT_EQ(S.GetPrimitiveCount(), 11);
  EXPECT_EQ(S.GetPrimitive(10)->Count(), 18);
}

TEST(ShapeMeshTest, CylinderWallAndCaps) {
  TLumCylinder C(nullptr);
  C.SetSlices(6), C.SetStacks(2), C.SetClosed(true), C.SetBaseRadius(2);
  C.Init();
  EXPECT_EQ(C.Points()->Count(), 3 * 7 * 3);
  EXPECT_EQ(C.GetPrimitiveCount(), 18);
  for (int32_t p = 6; p < 18; ++p) EXPECT_EQ(C.GetPrimitive(p)->Count(), 6);
  const TLumMathVector N = C.Points()->GetVector(0, 1);  // column 0 faces +Y, leaning up
  EXPECT_LT(std::abs(N.X) + std::abs(N.Y - std::sqrt(0.5)) + std::abs(N.Z - std::sqrt(0.5)), 1e-12);

  C.SetTopRadius(0);  // a cone: one cap, at the base, facing down
  C.Init();
  EXPECT_EQ((std::array{C.GetPrimitiveCount(), C.Points()->Count()}), (std::array{12, 2 * 7 * 3}));
  EXPECT_EQ((std::array{test::Vertex(C, 21 + 5).Z, C.Points()->GetVector(21 + 5, 1).Z}),
            (std::array{0.0, -1.0}));
}

TEST(ShapeMeshTest, BoxFacesOrderAndFlags) {
  TLumBox B(nullptr);
  B.SetDetail(0, 2), B.SetDetail(1, 3), B.SetDetail(2, 4), B.SetFaces({bfTop}), B.SetHeight(2);
  B.Init();
  EXPECT_EQ(B.Points()->Count(), 15);
  ASSERT_EQ(B.GetPrimitiveCount(), 1);
  EXPECT_EQ(B.GetPrimitive(0)->Count(), 32);
  for (int32_t i = 0; i < 15; ++i) {
    EXPECT_EQ(test::Vertex(B, i).Y, 2.0);
    EXPECT_FALSE(Seam(B, i, 0));  // hard edges
  }
  EXPECT_TRUE(Seam(B, 0, 1));
  EXPECT_FALSE(Seam(B, 6, 1));    // a = 1, k = 1: interior
  B.SetFaces({bfRight, bfBack});  // the back face comes first
  B.Init();
  EXPECT_EQ(B.Points()->GetVector(0, 1).Z, -1.0);
  EXPECT_EQ(B.Points()->GetVector(3 * 4, 1).X, 1.0);
}

// --- closed and outward -----------------------------------------------------------

enum ClosedKind { kGlobal, kRegular, kCylinder, kTorus, kBox };

struct ClosedCase {
  const char* Name;
  ClosedKind Kind;
  // Sphere: radius; cylinder: base radius, top radius, height; torus: radius, thickness;
  // box: width, height, depth.
  double A, B, C;
  int32_t Slices, Stacks;  // box: DetailX, DetailY, and DetailZ = Stacks + 1
  double Volume;           // of the exact solid
  double Tolerance;        // relative, for the faceted mesh
};

TLumPrimitiveObj* MakeClosed(const ClosedCase& K, TComponent* Owner) {
  switch (K.Kind) {
    case kGlobal:
    case kRegular: {
      auto* S = new TLumSphere(Owner);
      S->SetMode(K.Kind == kRegular ? smRegular : smGlobal);
      S->SetRadius(K.A), S->SetSlices(K.Slices), S->SetStacks(K.Stacks);
      return S;
    }
    case kCylinder: {
      auto* C = new TLumCylinder(Owner);
      C->SetClosed(true), C->SetBaseRadius(K.A), C->SetTopRadius(K.B), C->SetHeight(K.C);
      C->SetSlices(K.Slices), C->SetStacks(K.Stacks);
      return C;
    }
    case kTorus: {
      auto* T = new TLumTorus(Owner);
      T->SetRadius(K.A), T->SetThickness(K.B), T->SetSlices(K.Slices), T->SetStacks(K.Stacks);
      return T;
    }
    case kBox: {
      auto* B = new TLumBox(Owner);
      B->SetWidth(float(K.A)), B->SetHeight(float(K.B)), B->SetDepth(float(K.C));
      B->SetDetail(0, K.Slices), B->SetDetail(1, K.Stacks), B->SetDetail(2, K.Stacks + 1);
      return B;
    }
  }
  return nullptr;
}

class ClosedShapeTest : public ::testing::TestWithParam<ClosedCase> {};

TEST_P(ClosedShapeTest, IsClosedFacesOutwardAndNormalsAgree) {
  TComponent Owner(nullptr);
  TLumPrimitiveObj* O = MakeClosed(GetParam(), &Owner);
  O->Init();
  EXPECT_EQ(OpenEdgeCount(*O), 0);
  EXPECT_EQ(NormalsAgainstWinding(*O), 0);
  EXPECT_NEAR(SignedVolume(*O), GetParam().Volume, GetParam().Volume * GetParam().Tolerance);
  // Smoothing keeps every normal on the outer side of its faces.
  O->CalcNormals();
  EXPECT_EQ(NormalsAgainstWinding(*O, true), 0);
}

constexpr double Ball = 4.0 / 3 * Pi;

INSTANTIATE_TEST_SUITE_P(
    Shapes, ClosedShapeTest,
    ::testing::Values(ClosedCase{"GlobalSphere", kGlobal, 2, 0, 0, 10, 10, Ball * 8, 0.1},
                      ClosedCase{"GlobalSphereCoarse", kGlobal, 1, 0, 0, 3, 2, Ball, 0.9},
                      ClosedCase{"RegularSphereEven", kRegular, 1, 0, 0, 16, 8, Ball, 0.1},
                      ClosedCase{"RegularSphereOdd", kRegular, 1, 0, 0, 16, 9, Ball, 0.1},
                      ClosedCase{"RegularSphereSmallest", kRegular, 1, 0, 0, 4, 3, Ball, 0.7},
                      ClosedCase{"Cylinder", kCylinder, 1, 1, 2, 10, 3, Pi * 2, 0.1},
                      ClosedCase{"Cone", kCylinder, 1, 0, 1, 24, 10, Pi / 3, 0.05},
                      ClosedCase{"UpsideDownCone", kCylinder, 0, 1, 1, 24, 10, Pi / 3, 0.05},
                      ClosedCase{"Frustum", kCylinder, 2, 1, 1, 32, 10, Pi / 3 * 7, 0.05},
                      ClosedCase{"Torus", kTorus, 1, 0.2, 0, 24, 12, 2 * Pi* Pi * 0.04, 0.1},
                      ClosedCase{"Box", kBox, 2, 1, 3, 1, 1, 6.0, 1e-9},
                      ClosedCase{"DetailedBox", kBox, 1, 1, 1, 2, 3, 1.0, 1e-9}),
    [](const ::testing::TestParamInfo<ClosedCase>& I) { return std::string(I.param.Name); });

TEST(ShapeFacingTest, APartialAnnulusFacesUp) {
  TLumDisc D(nullptr);
  D.SetInnerRadius(0.5), D.SetStartAngle(30), D.SetSweepAngle(200);
  D.Init();
  EXPECT_EQ(NormalsAgainstWinding(D), 0);
  for (const auto& T : test::MeshTriangles(D)) EXPECT_GT(test::FaceNormal(D, T).Z, 0);
}

// Seams and poles weld under smoothing: without the flags a seam vertex keeps the normal
// of the faces on one side only.
TEST(ShapeSeamTest, SmoothedNormalsStayRadialAcrossSeams) {
  for (TSphereMode M : {smGlobal, smRegular}) {
    TLumSphere S(nullptr);
    S.SetMode(M), S.SetSlices(16), S.SetStacks(8), S.SetRadius(2);
    S.Init();
    S.CalcNormals();
    double Worst = 1;
    for (int32_t i = 0; i < S.Points()->Count(); ++i) {
      const TLumMathVector P = test::Vertex(S, i), N = S.Points()->GetVector(i, 1);
      Worst = std::min(Worst, test::Dot(P, N) / Len(P));
    }
    EXPECT_GT(Worst, 0.99) << TSphereModeStr[M];
  }
  TLumTorus T(nullptr);
  T.SetSlices(12), T.SetStacks(8);
  T.Init();
  T.CalcNormals();
  EXPECT_NEAR(T.Points()->GetVector(0, 1).X, 1.0, 1e-9);
  EXPECT_NEAR(T.Points()->GetVector(12 * 9 + 8, 1).X, 1.0, 1e-9);
}

// --- texture coordinates ----------------------------------------------------------

void SetFlags(TLumPrimitiveObj& O) {
  O.TextureFlags()->SetScaleX(2), O.TextureFlags()->SetShiftX(0.5), O.TextureFlags()->SetScaleY(3);
  O.TextureFlags()->SetShiftY(0.25);
}

void ExpectTex(const TLumPrimitiveObj& O, int32_t i, double S, double T) {
  const TLumMathVector V = O.Points()->GetVector(i, 2);
  EXPECT_NEAR(V.X, S, 1e-12) << "vertex " << i;
  EXPECT_NEAR(V.Y, T, 1e-12) << "vertex " << i;
}

TEST(ShapeTextureTest, SphereAndCylinderSubtractTheShiftsTheTorusAddsThem) {
  TLumSphere S(nullptr);
  SetFlags(S);
  S.SetSlices(4), S.SetStacks(2);
  S.Init();
  ExpectTex(S, 4, 0.75 * 2 - 0.5, 0.5 * 3 - 0.25);  // i = 1, j = 1: on +X
  EXPECT_NEAR(test::Vertex(S, 4).X, 1.0, 1e-12);
  TLumCylinder C(nullptr);
  SetFlags(C);
  C.Init();
  ExpectTex(C, 0, 2 - 0.5, 3 - 0.25);
  ExpectTex(C, 10, 2 - 0.5, 0 - 0.25);

  TLumTorus T(nullptr);
  SetFlags(T);
  T.SetSlices(4), T.SetStacks(4);
  T.Init();
  ExpectTex(T, 7, 0.25 * 2 + 0.5, 0.5 * 3 + 0.25);  // i = 1, j = 2: inner side on +Y
  EXPECT_NEAR(test::Vertex(T, 7).Y, 0.8, 1e-12);
}

// --- lit pixels -----------------------------------------------------------------------

class ShapeViewTest : public test::ViewTest {
 protected:
  // The red channel at (X, Y) of a frame in which Obj is lit by the default light at the
  // viewer with back faces culled: bright only where the faces turned to the viewer wind
  // counter-clockwise and their normals point at the viewer.
  int Lit(TLumPrimitiveObj* Obj, int X, int Y) {
    View->OnRender = [Obj](TLumView* V) {
      glEnable(GL_LIGHTING);
      glEnable(GL_LIGHT0);
      glEnable(GL_CULL_FACE);
      glCullFace(GL_BACK);
      Obj->Render(V);
    };
    const TBitmap B = Snapshot();
    return static_cast<int>(B.GetPixel(X, Y) & 0xFF);
  }
};

TEST_F(ShapeViewTest, LitShapesFaceTheViewer) {
  // At distance 2 the 80 x 60 view spans about +-1.1 in x and +-0.83 in y: 36 pixels a unit.
  auto* S = new TLumSphere(&Form);
  S->SetRadius(0.5);
  EXPECT_GT(Lit(S, 40, 30), 180);
  EXPECT_LT(Lit(S, 40, 5), 10);  // background above it
  S->SetMode(smRegular);
  EXPECT_GT(Lit(S, 40, 30), 180);

  auto* T = new TLumTorus(&Form);
  T->SetRadius(0.5), T->SetThickness(0.15), T->SetSlices(32), T->SetStacks(16);
  EXPECT_GT(Lit(T, 58, 30), 180);  // the tube's crest at x = 0.5
  EXPECT_LT(Lit(T, 40, 30), 10);   // the hole

  auto* D = new TLumDisc(&Form);
  D->SetOuterRadius(0.5), D->SetInnerRadius(0.2);
  EXPECT_GT(Lit(D, 54, 30), 180);
  EXPECT_LT(Lit(D, 40, 30), 10);
}

}  // namespace
}  // namespace lumox
