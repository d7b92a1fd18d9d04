// Tests of the body of rotation: the sweep angles, poles, a closed outward body from a
// profile, welded seams.
#include "lumox/geometry/lumrotobj.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "support/meshcheck.h"

namespace lumox {
namespace {

constexpr double Pi = 3.141592653589793;

using test::ExpectVec;

TEST(RotObjTest, SweepStartsOnPlusYAndTurnsTowardsPlusX) {
  TLumRotObj R(nullptr);
  ExpectVec(R.CalcXY({2, 5, 3}, 0), 0, 2, 3);  // the profile's y plays no part
  ExpectVec(R.CalcXY({2, 5, 3}, 0.25), 2, 0, 3);
  R.SetRotSweepAngle(180);  // half a turn from 90 degrees starts on +X
  R.SetRotStartAngle(90);
  R.OnCalcZ = [](const TLumMathVector&, double V) { return TLumMathVector{1, 0, V}; };
  R.SetSlices(4), R.SetStacks(1);
  R.Init();
  ExpectVec(test::Vertex(R, 0), 1, 0, 0);
  ExpectVec(test::Vertex(R, 2), 0, -1, 0);
  ExpectVec(test::Vertex(R, 4), -1, 0, 0);
  EXPECT_EQ(R.ConnectMode(), cmConnectNone);
}

TEST(RotObjTest, NegativeAnglesAreIgnoredAndNothingIsRebuilt) {
  TLumRotObj R(nullptr);
  R.Init();
  R.setangle(1, -10), R.setangle(0, -1);
  EXPECT_EQ((std::array{R.RotSweepAngle(), R.RotStartAngle()}), (std::array{360.0f, 0.0f}));
  R.setangle(2, 45), R.setangle(3, 90), R.setangle(4, 1);
  EXPECT_TRUE(R.Initialized());
}

// A unit sphere: the profile climbs from the -Z pole to the +Z pole.
void SphereProfile(TLumRotObj& R) {
  R.OnCalcZ = [](const TLumMathVector&, double V) {
    return TLumMathVector{std::sin(Pi * V), 0, -std::cos(Pi * V)};
  };
  R.SetStacks(12), R.SetSlices(24);
}

TEST(RotObjTest, FullTurnOfAClimbingProfileIsClosedAndFacesOutward) {
  TLumRotObj R(nullptr);
  SphereProfile(R);
  R.Init();
  for (int32_t j = 0; j <= 24; ++j) {  // a profile point on the axis gives a pole
    ExpectVec(test::Vertex(R, j), 0, 0, -1);
    // The pole's normal comes from the faces around it, not from a collapsed row.
    ExpectVec(R.Points()->GetVector(j, 1), 0, 0, -1);
    ExpectVec(R.Points()->GetVector(12 * 25 + j, 1), 0, 0, 1);
  }
  EXPECT_EQ(R.ConnectMode(), cmConnectX);
  EXPECT_EQ(test::OpenEdgeCount(R), 0);
  EXPECT_EQ(test::NormalsAgainstWinding(R), 0);
  EXPECT_NEAR(test::SignedVolume(R), 4.0 / 3 * Pi, 0.2);
  // The least radial normal from the vertex First on.
  auto Worst = [&R](int32_t First) {
    double W = 1;
    for (int32_t i = First; i < R.Points()->Count(); ++i)
      W = std::min(W, test::Dot(test::Vertex(R, i), R.Points()->GetVector(i, 1)));
    return W;
  };
  EXPECT_GT(Worst(0), 0.999);  // the seam's normals wrap around
  // Smoothing welds the seam and the poles (every vertex carries the flags). The first
  // pole only touches the collapsed first triangle of each quad, so it is left with a
  // zero normal.
  R.CalcNormals();
  EXPECT_GT(Worst(25), 0.99);
}

TEST(RotObjTest, ClosedProfileWrapsAlongTheCurve) {
  TLumRotObj R(nullptr);
  // A torus: a circle of radius 0.25 around x = 1, traced once.
  R.OnCalcZ = [](const TLumMathVector&, double V) {
    return TLumMathVector{1 + 0.25 * std::cos(2 * Pi * V), 0, 0.25 * std::sin(2 * Pi * V)};
  };
  R.SetStacks(16), R.SetSlices(24);
  R.Init();
  EXPECT_EQ(R.ConnectMode(), cmConnectBoth);
  EXPECT_EQ(test::OpenEdgeCount(R), 0);
  EXPECT_GT(test::SignedVolume(R), 0);
  ExpectVec(R.Points()->GetVector(0, 1), 0, 1, 0);  // outer equator at +Y
}

}  // namespace
}  // namespace lumox
