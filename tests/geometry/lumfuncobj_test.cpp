// Tests of the function surface: sampling rules, callbacks built on the previous point,
// strips, texture coordinates, normals against the winding, and bad sizes.
#include "lumox/geometry/lumfuncobj.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "support/meshcheck.h"

namespace lumox {
namespace {

TEST(FuncObjTest, SamplingCountsWithoutCallbacksAndOutOfRange) {
  TLumFuncObj F(nullptr);
  F.Init();
  F.SetStacks(4), F.SetSlices(3), F.SetOverDraw(2);
  EXPECT_TRUE(F.Initialized());  // the counts do not mark the mesh for rebuilding
  EXPECT_EQ(F.Points()->Count(), 11 * 11);
  F.Init();
  ASSERT_EQ(F.Points()->Count(), 9 * 4);
  EXPECT_EQ(F.GetPrimitiveCount(), 8);
  for (int32_t i = 0; i < F.Points()->Count(); ++i) {
    const TLumMathVector V = test::Vertex(F, i);
    EXPECT_TRUE(V.X == 0 && V.Y == 0 && V.Z == 0);
    EXPECT_TRUE(F.Points()->GetFlag(i, 0) && F.Points()->GetFlag(i, 1));
  }
  F.SetStacks(0);
  F.Init();
  EXPECT_EQ(F.Points()->Count(), 4);
  EXPECT_EQ(F.GetPrimitiveCount(), 0);
  F.SetStacks(-3);
  F.Init();
  EXPECT_EQ(F.Points()->Count(), 0);
  F.SetStacks(100000), F.SetOverDraw(100000);
  EXPECT_THROW(F.Init(), Exception);
}

TEST(FuncObjTest, CurveIsBuiltOnThePreviousPoint) {
  TLumFuncObj F(nullptr);
  std::vector<double> ZValues, XYValues;
  F.OnCalcZ = [&](const TLumMathVector& P, double V) {
    ZValues.push_back(V);
    return TLumMathVector{P.X + 0.1, P.Y, P.Z};
  };
  F.OnCalcXY = [&](const TLumMathVector& P, double V) {
    XYValues.push_back(V);
    return TLumMathVector{P.X, V, 0};
  };
  F.SetOverDraw(2), F.SetStacks(10), F.SetSlices(4);
  F.Init();
  // 21 curve samples of 5 points; the first call at 0 already moved the curve once.
  ASSERT_EQ(F.Points()->Count(), 21 * 5);
  EXPECT_NEAR(test::Vertex(F, 0).X, 0.2, 1e-12);
  EXPECT_NEAR(test::Vertex(F, 20 * 5 + 4).X, 2.2, 1e-12);
  EXPECT_NEAR(test::Vertex(F, 7).Y, 0.5, 1e-12);
  ASSERT_EQ(ZValues.size(), 22u);
  EXPECT_EQ((std::array{ZValues[0], ZValues[1]}), (std::array{0.0, 0.0}));
  EXPECT_NEAR(ZValues[21], 2.0, 1e-12);
  ASSERT_EQ(XYValues.size(), 21u * 5);
  EXPECT_EQ(XYValues[4], 1.0);

  EXPECT_EQ(test::NormalsAgainstWinding(F), 0);
  ASSERT_EQ(F.GetPrimitiveCount(), 20);
  EXPECT_EQ((std::array{F.GetPrimitive(1)->PrimitiveType(), F.GetPrimitive(1)->Count()}),
            (std::array{GL_QUAD_STRIP, 10}));
}

TEST(FuncObjTest, StandardTextureDividesByTheScales) {
  TLumFuncObj F(nullptr);
  F.TextureFlags()->SetScaleX(2), F.TextureFlags()->SetShiftX(0.5), F.TextureFlags()->SetScaleY(4);
  F.TextureFlags()->SetShiftY(0.25), F.SetStacks(5), F.SetSlices(4);
  F.Init();
  // Vertex (i = 1, j = 1): a = 3/4, b = 2/5.
  const TLumMathVector T = F.Points()->GetVector(5 + 1, 2);
  EXPECT_NEAR(T.X, 0.75 / 2 - 0.5, 1e-12);
  EXPECT_NEAR(T.Y, 0.4 / 4 - 0.25, 1e-12);
}

}  // namespace
}  // namespace lumox
