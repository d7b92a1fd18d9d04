// Vector routines.
#include <gtest/gtest.h>

#include <cmath>

#include "lumox/math/lummath.h"

using namespace lumox;

TEST(LumMathTest, NormalFollowsP1MinusP2CrossP2MinusP3) {
  TLumMathVector N;
  LumMathNormalVector({0, 0, 0}, {1, 0, 0}, {1, 1, 0}, false, N);
  EXPECT_DOUBLE_EQ(N.X, 0);
  EXPECT_DOUBLE_EQ(N.Y, 0);
  EXPECT_DOUBLE_EQ(N.Z, 1);
  LumMathNormalVector({0, 0, 0}, {2, 0, 0}, {2, 2, 0}, false, N);
  EXPECT_DOUBLE_EQ(N.Z, 4);  // not normalised
  LumMathNormalVector({0, 0, 0}, {2, 0, 0}, {2, 2, 0}, true, N);
  EXPECT_DOUBLE_EQ(N.Z, 1);
}

TEST(LumMathTest, NormalizeLeavesZeroAndScalesOthers) {
  TLumMathVector Z{0, 0, 0};
  LumMathNormalize(Z);
  EXPECT_EQ(Z.X, 0);
  EXPECT_EQ(Z.Y, 0);
  EXPECT_EQ(Z.Z, 0);
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
  EXPECT_DOUBLE_EQ(P.X, 0);
  EXPECT_DOUBLE_EQ(P.Y, 0);
  EXPECT_DOUBLE_EQ(P.Z, 1);
  EXPECT_DOUBLE_EQ(P.W, 2);
  const TLumMathVector4d Q = LumMathPlanefromPoints({0, 0, 0}, {1, 1, 1}, {2, 2, 2});
  EXPECT_EQ(Q.X, 0);
  EXPECT_EQ(Q.W, 0);

  TLumMathVector M;
  LumMathVectorInterpolate({0, 0, 0}, {2, 4, 6}, M);
  EXPECT_DOUBLE_EQ(M.X, 1);
  EXPECT_DOUBLE_EQ(M.Y, 2);
  EXPECT_DOUBLE_EQ(M.Z, 3);
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
