// Tests of the polygon: tessellated counts and areas, closed extruded solids, outlines,
// filled pixels of a concave polygon and of one with a hole, and the file round trip.
#include "lumox/geometry/lumpolygon.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "support/glfixture.h"
#include "support/meshcheck.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

using test::FacingArea;
using test::MeshTriangles;
using test::NormalsAgainstWinding;
using test::OpenEdgeCount;
using test::SignedVolume;

void AddRect(TLumPolygon& P, double X0, double Y0, double X1, double Y1, int32_t C) {
  P.AddPoint(X0, Y0, C), P.AddPoint(X1, Y0, C), P.AddPoint(X1, Y1, C), P.AddPoint(X0, Y1, C);
}

// A U opening upwards, 1.6 wide and 1.2 high, the notch 0.8 wide reaching down to -0.2.
void AddU(TLumPolygon& P) {
  const double U[8][2] = {{-0.8, -0.6}, {0.8, -0.6},  {0.8, 0.6},  {0.4, 0.6},
                          {0.4, -0.2},  {-0.4, -0.2}, {-0.4, 0.6}, {-0.8, 0.6}};
  for (const auto& Q : U) P.AddPoint(Q[0], Q[1]);
}

TEST(PolygonMeshTest, SquareCountsFlatAndExtruded) {
  TLumPolygon P(nullptr);
  AddRect(P, 0, 0, 2, 1, 0);
  P.AddPoint(1e200, 0), P.AddPoint(NAN, 0);  // beyond what GLU takes: ignored
  P.Init();
  EXPECT_EQ(P.Points()->Count(), 4);
  EXPECT_EQ(MeshTriangles(P).size(), 2u);
  EXPECT_NEAR(FacingArea(P), 2.0, 1e-12);
  EXPECT_EQ(NormalsAgainstWinding(P), 0);
  // Texture coordinates span the bounding box.
  const TLumMathVector T2 = P.Points()->GetVector(2, 2);
  EXPECT_EQ((std::array{T2.X, T2.Y}), (std::array{1.0, 1.0}));

  P.SetDepth(0.5);
  P.Init();
  EXPECT_EQ(P.Points()->Count(), 4 + 4 + 4 * 4);
  EXPECT_EQ(MeshTriangles(P).size(), 2u + 2u + 8u);
  EXPECT_EQ(OpenEdgeCount(P), 0);
  EXPECT_EQ(NormalsAgainstWinding(P), 0);
  EXPECT_NEAR(SignedVolume(P), 1.0, 1e-12);

  P.SetOutline(true);
  P.Init();
  ASSERT_EQ(P.GetPrimitiveCount(), 2);  // one loop at each end
  EXPECT_EQ(P.GetPrimitive(0)->PrimitiveType(), GL_LINE_LOOP);
  EXPECT_EQ(P.GetPrimitive(1)->Count(), 4);
  P.SetDepth(-1);  // ignored
  EXPECT_EQ(P.Depth(), 0.5);
}

// Concave, holed and self-touching polygons fill exactly their area and extrude to
// closed solids of area x depth, facing outward with their normals.
TEST(PolygonMeshTest, ConcaveHoledAndSelfTouchingSolids) {
  struct Case {
    const char* Name;
    void (*Make)(TLumPolygon&);
    double Area;
    // Directed edges not run exactly once: the solid of the touching squares pinches
    // along one vertical edge that four walls share.
    int OpenEdges = 0;
  };
  const Case Cases[] = {
      {"U", [](TLumPolygon& P) { AddU(P); }, 1.6 * 1.2 - 0.8 * 0.8},
      {"Hole",
       [](TLumPolygon& P) { AddRect(P, -1, -1, 1, 1, 0), AddRect(P, -0.5, -0.5, 0.5, 0.5, 1); },
       3.0},
      {"HoleReversed",
       [](TLumPolygon& P) {
         AddRect(P, -1, -1, 1, 1, 0);
         for (const TLumPoint2 Q : {TLumPoint2{-0.5, 0.5}, {0.5, 0.5}, {0.5, -0.5}, {-0.5, -0.5}})
           P.AddPoint(Q.X, Q.Y, 1);
       },
       3.0},
      // Two unit squares meeting in one corner, as one contour through that corner twice.
      {"Touching",
       [](TLumPolygon& P) {
         const double Q[8][2] = {{0, 0}, {1, 0}, {1, 1}, {2, 1}, {2, 2}, {1, 2}, {1, 1}, {0, 1}};
         for (const auto& X : Q) P.AddPoint(X[0], X[1]);
       },
       2.0, 2}};
  for (const Case& K : Cases) {
    TLumPolygon P(nullptr);
    K.Make(P);
    P.Init();
    EXPECT_NEAR(FacingArea(P), K.Area, 1e-9) << K.Name;
    for (const auto& T : MeshTriangles(P)) EXPECT_GT(test::FaceNormal(P, T).Z, 0) << K.Name;
    P.SetDepth(0.25);
    P.Init();
    EXPECT_EQ(OpenEdgeCount(P), K.OpenEdges) << K.Name;
    EXPECT_EQ(NormalsAgainstWinding(P), 0) << K.Name;
    EXPECT_NEAR(SignedVolume(P), K.Area * 0.25, 1e-9) << K.Name;
  }
}

TEST(PolygonExchangeTest, EveryPropertyRoundTrips) {
  test::TempDir Dir;
  TComponent Form(nullptr);
  auto* P = new TLumPolygon(&Form);
  AddRect(*P, 0, 0, 1.5, 0.25, 0);
  P->AddContour();  // empty: kept so that the next contour keeps its number
  P->AddPoint(0.125, 0.1, 2), P->AddPoint(0.2, 0.1, 2), P->AddPoint(0.2, 0.2, 2);
  P->SetDepth(0.75), P->SetOutline(true), P->SetWindingRule(wrNonZero);
  // The empty contour is written with its count, so that the last keeps its number.
  test::ExpectRoundTrip(P, &Form, Dir,
                        {"Depth=\"0.75\"", "Outline=\"true\"", "WindingRule=\"wrNonZero\"",
                         "<Point X=\"0\" Y=\"0\"/>", "Points=\"0\"", "X=\"0.125\""});
  test::ExpectAssignCopies(P, Dir);
}

class PolygonViewTest : public test::ViewTest {};

// The view shows 36 pixels per unit around (40, 30); y grows downwards on screen.
TEST_F(PolygonViewTest, ConcaveAndHoledPolygonsFillOnlyTheirArea) {
  auto* P = new TLumPolygon(&Form);
  View->OnRender = [P](TLumView* V) { P->Render(V); };
  AddU(*P);
  TBitmap B = Snapshot();
  auto Red = [&B](int X, int Y) { return RGB(B, X, Y) & 0xFF; };
  // Inside the notch, the right and the left arm, the bottom bar.
  EXPECT_EQ((std::array{Red(40, 19), Red(62, 19), Red(18, 19), Red(40, 44)}),
            (std::array{0u, 0xFFu, 0xFFu, 0xFFu}));

  P->ClearContours();
  AddRect(*P, -0.7, -0.7, 0.7, 0.7, 0), AddRect(*P, -0.3, -0.3, 0.3, 0.3, 1);
  B = Snapshot();
  EXPECT_EQ((std::array{Red(40, 30), Red(58, 30), Red(40, 12)}), (std::array{0u, 0xFFu, 0xFFu}));
}

}  // namespace
}  // namespace lumox
