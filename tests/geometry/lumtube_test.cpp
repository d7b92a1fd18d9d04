// Tests of the tube: counts of a small tube, closed outward solids around a right angle,
// frames that neither twist nor flip, a closed knot without a seam, facets, colours and
// the file round trip.
#include "lumox/geometry/lumtube.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <string>

#include "support/meshcheck.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

using test::Dot;
using test::Len;
using test::MeshTriangles;
using test::NormalsAgainstWinding;
using test::OpenEdgeCount;
using test::SignedVolume;

constexpr double Pi = std::numbers::pi;

double AngleBetween(const TLumMathVector& A, const TLumMathVector& B) {
  return std::acos(std::clamp(Dot(A, B) / (Len(A) * Len(B)), -1.0, 1.0));
}

// The largest angle between the normals of the same ring vertex on neighbouring rings
// of a smooth tube without caps.
double WorstNormalStep(const TLumTube& T) {
  const int32_t Ring = T.Segments() + 1, Rings = T.Points()->Count() / Ring;
  double Worst = 0;
  for (int32_t r = 0; r + 1 < Rings; ++r)
    for (int32_t j = 0; j < Ring; ++j)
      Worst = std::max(Worst, AngleBetween(T.Points()->GetVector(r * Ring + j, 1),
                                           T.Points()->GetVector((r + 1) * Ring + j, 1)));
  return Worst;
}

TEST(TubeMeshTest, StraightTubeCountsAndVolume) {
  TLumTube T(nullptr);
  T.AddSection({0, 0, 0}, 0.5), T.AddSection({0, 0, 2}, 0.5);
  T.AddSection({0, 0, 2}, 0.7);  // coincident with the one before: left out
  EXPECT_EQ(T.AddSection({0, 0, 3}, -1), -1);
  T.SetSegments(4);
  T.Init();
  EXPECT_EQ(T.Points()->Count(), 2 * 5 + 2 * 6);
  EXPECT_EQ(MeshTriangles(T).size(), 8u + 8u);
  EXPECT_EQ(OpenEdgeCount(T), 0);
  EXPECT_EQ(NormalsAgainstWinding(T), 0);
  EXPECT_NEAR(SignedVolume(T), 2 * 0.25 * 2, 1e-12);  // a square of side r * sqrt 2
  // Texture s runs around, t along.
  const TLumMathVector Tx = T.Points()->GetVector(5 + 2, 2);
  EXPECT_EQ((std::array{Tx.X, Tx.Y}), (std::array{0.5, 1.0}));
  T.SetSegments(2);
  EXPECT_EQ(T.Segments(), 3);

  T.SetCaps(false), T.SetSmooth(false);
  T.AddSection({0, 0, 3}, 0.25);  // a cone piece: its facet normals lean forward
  T.Init();
  EXPECT_EQ(T.Points()->Count(), 2 * 2 * 4);
  EXPECT_EQ(NormalsAgainstWinding(T), 0);
  EXPECT_GT(T.Points()->GetVector(8, 1).Z, 0.1);
  EXPECT_EQ(T.Points()->GetVector(0, 1).Z, 0.0);
}

// Around a right angle, a hairpin and a zigzag the tube stays closed and outward, and
// every frame keeps the component of N along the bend axis: transport turns it only
// about that axis, so nothing twists on the straight runs or flips at the turns.
TEST(TubeMeshTest, SharpTurnsStayClosedAndUntwisted) {
  const std::vector<std::vector<TLumMathVector>> Paths = {
      {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {2, 1, 0}, {2, 2, 0}},
      {{0, 0, 0}, {2, 0, 0}, {0, 0.3, 0}},
      {{0, 0, 0}, {1, 1, 0}, {2, 0, 0}, {3, 1, 0}, {4, 0, 0}}};
  for (const auto& Path : Paths) {
    std::vector<TLumTubeFrame> F;
    LumTubeFrames(Path, false, F);
    for (const auto& Each : F) {
      EXPECT_NEAR(Each.N.Z, F[0].N.Z, 1e-9);
      EXPECT_NEAR(Dot(Each.N, Each.T), 0.0, 1e-12);
      EXPECT_NEAR(Len(Each.B), 1.0, 1e-12);
    }
    TLumTube T(nullptr);
    for (const auto& P : Path) T.AddSection(P, 0.1);
    T.SetSegments(16);
    T.Init();
    EXPECT_EQ(OpenEdgeCount(T), 0);
    EXPECT_EQ(NormalsAgainstWinding(T), 0);
    EXPECT_GT(SignedVolume(T), 0);
  }
  // On the straight run before the right angle the frame does not move: N.Z alone would
  // not show a flip of a frame lying in the plane of the path.
  std::vector<TLumTubeFrame> F;
  LumTubeFrames(Paths[0], false, F);
  EXPECT_NEAR(F[0].N.X, 0.0, 1e-12);
  EXPECT_NEAR(Len(TLumMathVector{F[1].N.X - F[0].N.X, F[1].N.Y - F[0].N.Y, F[1].N.Z - F[0].N.Z}),
              0.0, 1e-12);
}

// A trefoil knot: transport around it does not come back to its start, so the seam
// would twist without the spread correction; here the normals step evenly everywhere,
// across the seam (the last pair of rings) as well.
TEST(TubeMeshTest, ClosedKnotJoinsWithoutASeamTwist) {
  TLumTube T(nullptr);
  const int Samples = 180;
  for (int i = 0; i < Samples; ++i) {
    const double t = 2 * Pi * i / Samples;
    T.AddSection(
        {std::sin(t) + 2 * std::sin(2 * t), std::cos(t) - 2 * std::cos(2 * t), -std::sin(3 * t)},
        0.3);
  }
  T.SetClosed(true), T.SetSegments(12);
  T.Init();
  EXPECT_EQ(OpenEdgeCount(T), 0);
  EXPECT_EQ(NormalsAgainstWinding(T), 0);
  EXPECT_LT(WorstNormalStep(T), 10 * Pi / 180);
}

TEST(TubeExchangeTest, SectionsAndSettingsRoundTrip) {
  test::TempDir Dir;
  TComponent Form(nullptr);
  auto* T = new TLumTube(&Form);
  T->AddSection({0, 0, 0}, 0.25);
  T->AddSection({1, 0.5, 0}, 0.125, 0x0000FF);
  T->SetSegments(7), T->SetClosed(true), T->SetCaps(false), T->SetSmooth(false);
  test::ExpectRoundTrip(T, &Form, Dir,
                        {"<Section P=\"0,0,0\" Radius=\"0.25\"/>", "Color=\"000000FF\""});
  test::ExpectAssignCopies(T, Dir);
  // Section colours reach the colour array, white where a section has none.
  T->SetClosed(false);
  T->Init();
  EXPECT_EQ(T->Points()->GetValues(0, 0, 3), 1.0);
  EXPECT_EQ(T->Points()->GetValues(T->Points()->Count() - 1, 1, 3), 0.0);
}

}  // namespace
}  // namespace lumox
