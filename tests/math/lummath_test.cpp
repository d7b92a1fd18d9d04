// Vector routines.
#include "lumox/math/lummath.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

using namespace lumox;

static std::array<double, 3> Xyz(const TLumMathVector& V) { return {V.X, V.Y, V.Z}; }

TEST(LumMathTest, NormalFollowsP1MinusP2CrossP2MinusP3) {
  TLumMathVector N;
  LumMathNormalVector({0, 0, 0}, {2, 0, 0}, {2, 2, 0}, false, N);
  EXPECT_EQ(Xyz(N), (std::array{0.0, 0.0, 4.0}));  // not normalised
  LumMathNormalVector({0, 0, 0}, {2, 0, 0}, {2, 2, 0}, true, N);
  EXPECT_DOUBLE_EQ(N.Z, 1);
}

TEST(LumMathTest, NormalizeLeavesZeroAndScalesOthers) {
  TLumMathVector Z{0, 0, 0};
  LumMathNormalize(Z);
  EXPECT_EQ(Xyz(Z), (std::array{0.0, 0.0, 0.0}));
  TLumMathVector V{3, 0, 4};
  LumMathNormalize(V);
  EXPECT_DOUBLE_EQ(V.X, 0.6);
  EXPECT_DOUBLE_EQ(V.Z, 0.8);
  TLumMathVector N{NAN, 1, 1};
  LumMathNormalize(N);  // not a number: left alone, no trap
  EXPECT_EQ(N.Y, 1);
}

TEST(LumMathTest, PlanesProductsAndDistances) {
  const TLumMathVector4d P = LumMathPlanefromPoints({0, 0, 2}, {1, 0, 2}, {1, 1, 2});
  EXPECT_EQ((std::array{P.X, P.Y, P.Z, P.W}), (std::array{0.0, 0.0, 1.0, 2.0}));
  const TLumMathVector4d Q = LumMathPlanefromPoints({0, 0, 0}, {1, 1, 1}, {2, 2, 2});
  EXPECT_EQ((std::array{Q.X, Q.W}), (std::array{0.0, 0.0}));

  TLumMathVector M;
  LumMathVectorInterpolate({0, 0, 0}, {2, 4, 6}, M);
  EXPECT_EQ(Xyz(M), (std::array{1.0, 2.0, 3.0}));
  TLumMathVector C;
  LumMathCrossProduct({1, 0, 0}, {0, 1, 0}, C);
  EXPECT_DOUBLE_EQ(C.Z, 1);
  LumMathScalarProduct({1, 2, 3}, 2, C);  // a scaling, despite the name
  EXPECT_DOUBLE_EQ(C.Z, 6);
  EXPECT_DOUBLE_EQ(LumMathDotProduct({1, 2, 3}, {4, 5, 6}), 32);
  EXPECT_DOUBLE_EQ(LumMathVectorDist({1, 1, 1}, {4, 5, 1}), 5);
  LumMathVectorAddition({1, 2, 3}, {1, 1, 1}, C);
  EXPECT_DOUBLE_EQ(C.Y, 3);
}
