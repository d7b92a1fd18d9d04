// Value objects, the matrix and the transformations, checked against real GL.
#include "lumox/math/lumclass.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>
#include <vector>

#include "support/glfixture.h"

using namespace lumox;
using lumox::test::GLTest;

namespace {
struct Counter {
  int N = 0;
  TObject* Last = nullptr;
  TNotifyEvent Hook() {
    return [this](TObject* S) {
      ++N;
      Last = S;
    };
  }
};
}  // namespace

TEST(LumVectorTest, NotifiesOnlyRealChanges) {
  TLumVector V;
  Counter C;
  V.OnChange = C.Hook();
  V.SetX(0);
  EXPECT_EQ(C.N, 0);
  V.SetValues(1, 2, 3);
  EXPECT_EQ(C.N, 3);
  V.incY(0.5f);
  EXPECT_FLOAT_EQ(V.Y(), 2.5f);
  EXPECT_EQ(C.N, 4);
  V.SetAsMathVector({1, 2.5, 3});
  EXPECT_EQ(C.N, 4);
}

TEST(LumVectorTest, DirectionIgnoresValuesOutsideUnitRange) {
  TLumDirection D;
  D.SetZ(1.5f);
  const float Kept = D.Z();
  D.SetZ(-1.0f);
  EXPECT_EQ((std::array{Kept, D.Z()}), (std::array{1.0f, -1.0f}));
}

TEST(LumVectorTest, AssignKeepsHookButColorAssignTakesTheSourcesHook) {
  Counter A, B;
  TLumVector VA, VB;
  VA.OnChange = A.Hook();
  VB.OnChange = B.Hook();
  VB.SetValues(1, 2, 3);
  VA.Assign(&VB);
  EXPECT_EQ(A.N, 1);  // one notification for the whole copy
  EXPECT_EQ(VA.Z(), 3);
  VA.SetX(9);
  EXPECT_EQ(A.N, 2);  // still reports to its own owner

  TLumColor CA, CB;
  CA.OnChange = A.Hook();
  CB.OnChange = B.Hook();
  const int BBefore = B.N;
  CA.Assign(&CB);
  CA.SetColor(0x123456);
  EXPECT_EQ(B.N, BBefore + 1);  // later changes of A go to B's owner
  TLumMatrix MA, MB;
  MB.OnChange = B.Hook();
  MA.Assign(&MB);  // a matrix takes the hook over too
  MA.Changed();
  EXPECT_EQ(B.N, BBefore + 2);
}

TEST(LumColorTest, ParamsAlphaAndRawStore) {
  TLumColor C;
  C.SetColor(0x0000FF);
  auto P = C.GetParams();
  EXPECT_EQ((std::array{P[0], P[1], P[2]}), (std::array{1.0f, 0.0f, 0.0f}));
  C.SetAlpha(1.2f), C.SetAlpha(-0.1f);
  EXPECT_EQ(C.Alpha(), 1.0f);
  Counter N;
  C.OnChange = N.Hook();
  const float Q[4] = {0.0f, 0.5f, 1.0f, 0.25f};
  C.SetParams(Q);
  EXPECT_EQ(N.N, 0);                // stored directly
  EXPECT_EQ(C.Color(), 0xFF8000u);  // 0.5 * 255 = 127.5 rounds to even 128
  EXPECT_EQ(C.Alpha(), 0.25f);
}

TEST(LumMatrixTest, ConstructionAccessAndIdentity) {
  TLumMatrix M;
  EXPECT_FALSE(M.IsIdentityMatrix());  // all zeros
  M.SetIdentityMatrix();
  EXPECT_EQ((std::array{M.GetValue(4, 0), M.GetValue(-1, 2)}), (std::array{0.0, 0.0}));
  M.SetValue(0, 4, 5.0);
  EXPECT_TRUE(M.IsIdentityMatrix());
  M.SetValue(1, 3, 7.0);  // row 1, column 3 is value 13 in GL order
  const double At13 = M.Values()[13];
  M.Transpose();
  EXPECT_EQ((std::array{At13, M.GetValue(3, 1)}), (std::array{7.0, 7.0}));
}

TEST(LumMatrixTest, InvertWithoutPivotSearch) {
  TLumMatrix M;
  M.SetValue(0, 0, 2), M.SetValue(1, 1, 4), M.SetValue(2, 2, 5), M.SetValue(3, 3, 1);
  ASSERT_TRUE(M.Invert());
  EXPECT_EQ((std::array{M.GetValue(0, 0), M.GetValue(1, 1), M.GetValue(2, 2)}),
            (std::array{0.5, 0.25, 0.2}));
  TLumMatrix Swap;  // regular, but its first pivot is zero
  Swap.SetValue(0, 1, 1), Swap.SetValue(1, 0, 1), Swap.SetValue(2, 2, 1), Swap.SetValue(3, 3, 1);
  TLumMatrix Before;
  Before.Assign(&Swap);
  EXPECT_FALSE(Swap.Invert());
  for (int K = 0; K < 16; ++K) EXPECT_EQ(Swap.Values()[K], Before.Values()[K]);
  TLumMatrix Zero;
  EXPECT_FALSE(Zero.Invert());
}

TEST(LumMatrixTest, MultMatrixAppliesTheArgumentAfterSelf) {
  TLumMatrix A, B;
  A.SetIdentityMatrix();
  A.SetValue(0, 3, 1);  // translate by (1, 0, 0)
  B.SetIdentityMatrix();
  B.Mult(2);
  B.SetValue(3, 3, 1);  // scale by 2
  A.MultMatrix(&B);
  const TLumMathVector4d O = A.MultVector({0, 0, 0, 1});
  EXPECT_DOUBLE_EQ(O.X, 2);
  A.MultMatrix(&A);  // the argument may be the matrix itself
  EXPECT_DOUBLE_EQ(A.MultVector({0, 0, 0, 1}).X, 6);
}

TEST(LumRotationTest, AnglesWrapWithTheirOwnRoundingAndSettersCompareRawValues) {
  TLumRotation R;
  const float Cases[][2] = {{370, 10},  {360, 0},    {720, 0}, {359.9f, 359.9f},
                            {-10, 350}, {-370, 350}, {-360, 0}};
  for (const auto& C : Cases) EXPECT_FLOAT_EQ(R.ModAngle(C[0]), C[1]) << C[0];
  // The setter compares the raw value with the stored one and stores it wrapped.
  Counter C;
  R.OnChange = C.Hook();
  R.SetX(450);
  EXPECT_FLOAT_EQ(R.X(), 90);
  std::vector<int> Changes{C.N};
  R.SetX(90), Changes.push_back(C.N);
  R.SetX(450), Changes.push_back(C.N);
  EXPECT_EQ(Changes, (std::vector<int>{1, 1, 2}));
}

TEST(LumTransformationTest, EmptinessAndAssignLeavesOrder) {
  TLumTransformation T;
  EXPECT_TRUE(T.GetEmpty());
  TLumTransformation S;
  S.SetOrder(toScaTraRot);
  S.Scale()->SetZ(2);
  S.Translation()->SetX(1);
  S.Rotation()->SetOrder(roZYX);
  Counter C;
  T.OnChange = C.Hook();
  T.Assign(&S);
  EXPECT_TRUE(T.Order() == toRotTraSca && T.Rotation()->Order() == roZYX);
  EXPECT_EQ((std::array{T.Scale()->Z(), T.Translation()->X()}), (std::array{2.0f, 1.0f}));
  EXPECT_GT(C.N, 0);  // parts report through the transformation
  EXPECT_FALSE(T.GetEmpty());
}

// --- against GL ---------------------------------------------------------------------

class LumTransformGLTest : public GLTest {};

TEST_F(LumTransformGLTest, EmptyPartsEmitNothingAndProductsApplyRightToLeft) {
  TLumTransformation T;
  glTranslatef(5, 0, 0);
  double Before[16], After[16];
  ModelView(Before);
  T.Execute();
  ModelView(After);
  EXPECT_EQ(std::to_array(After), std::to_array(Before));
  EXPECT_EQ(std::to_array(T.GetMatrix().M), std::to_array(IDENTITYMATRIX.M));  // the identity
  // A product is applied right to left: B first, then A.
  TLumTranslation A;
  A.SetValues(1, 0, 0);
  TLumScale B;
  B.SetValues(2, 2, 2);
  const TLumMathVector P =
      LumMathMatrixTransform(LumMathMatrixMultiply(A.GetMatrix(), B.GetMatrix()), {1, 1, 1});
  EXPECT_TRUE(P.X == 3.0 && P.Y == 2.0) << P.X << " " << P.Y;
}

// Where the modelview matrix left by Execute takes the point P.
static TLumMathVector Moved(const TLumMathVector& P) {
  TLumMatrix M;
  M.PickGLModelviewMatrix();
  const TLumMathVector4d R = M.MultVector({P.X, P.Y, P.Z, 1});
  return {R.X, R.Y, R.Z};
}

static void ExpectNear(const TLumMathVector& A, const TLumMathVector& B, const char* Name) {
  EXPECT_LT(std::max({std::abs(A.X - B.X), std::abs(A.Y - B.Y), std::abs(A.Z - B.Z)}), 1e-5)
      << Name;
}

// The first named turn is the outermost: with XYZ the Z turn acts on a point first.
TEST_F(LumTransformGLTest, RotationOrderNamesTheTurnsOutermostFirst) {
  const TLumMathVector Want[6] = {{3, -2, 1}, {-2, 1, 3}, {1, -3, 2},
                                  {2, 1, -3}, {-1, 3, 2}, {3, 2, -1}};  // roXYZ .. roZYX
  for (int O = roXYZ; O <= roZYX; ++O) {
    glLoadIdentity();
    TLumRotation R;
    R.SetValues(90, 90, 90);
    R.SetOrder(static_cast<TLumRotationOrder>(O));
    R.Execute();
    ExpectNear(Moved({1, 2, 3}), Want[O], TLumRotationOrderStr[O]);
  }
}

TEST_F(LumTransformGLTest, TransformationOrderNamesThePartsOutermostFirst) {
  // Rotation 90 degrees about Y, translation (1, 2, 3), scale (2, 3, 4) on (1, 1, 1).
  const TLumMathVector Want[6] = {{7, 5, -3}, {16, 9, -4}, {5, 5, 1},
                                  {3, 5, -1}, {8, 9, -8},  {4, 9, 8}};  // toRotTraSca ..
  for (int O = toRotTraSca; O <= toScaTraRot; ++O) {
    glLoadIdentity();
    TLumTransformation T;
    T.SetOrder(static_cast<TLumTransformationOrder>(O));
    T.Rotation()->SetValues(0, 90, 0);
    T.Translation()->SetValues(1, 2, 3);
    T.Scale()->SetValues(2, 3, 4);
    T.Execute();
    ExpectNear(Moved({1, 1, 1}), Want[O], TLumTransformationOrderStr[O]);
  }
}

TEST_F(LumTransformGLTest, ProjectAndUnProjectAgainstGlu) {
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  gluPerspective(45, 1.6, 0.1, 10);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  glTranslatef(0.2f, -0.1f, -3);
  glRotatef(30, 0, 1, 0);
  TLumMatrix MV, PR;
  MV.PickGLModelviewMatrix();
  PR.PickGLProjectionMatrix();
  const GLint VP[4] = {0, 0, 400, 250};
  const TLumMathVector4d Viewport{0, 0, 400, 250};

  double WX, WY, WZ;
  ASSERT_TRUE(gluProject(0.3, 0.4, -0.5, MV.Values(), PR.Values(), VP, &WX, &WY, &WZ));
  const TLumMathVector4d P = MV.Project({0.3, 0.4, -0.5, 1}, Viewport, &PR);
  ExpectNear({P.X, P.Y, P.Z}, {WX, 250 - WY, WZ}, "project");  // origin at the top left

  double OX, OY, OZ;
  ASSERT_TRUE(gluUnProject(120, 80, 0.7, MV.Values(), PR.Values(), VP, &OX, &OY, &OZ));
  // No y flip: the same window y goes in both ways; W = 1 means (w * 2 - 1) = 1.
  const TLumMathVector4d U = MV.UnProject({120, 80, 0.7, 1}, Viewport, &PR);
  ExpectNear({U.X, U.Y, U.Z}, {OX, OY, OZ}, "unproject");
}

TEST_F(LumTransformGLTest, GLMultMatrixAndProjectMatrixBetweenFrames) {
  TLumMatrix A, B;
  glTranslatef(1, 0, 0);
  A.PickGLModelviewMatrix();
  glLoadIdentity();
  glTranslatef(0, 2, 0);
  glRotatef(90, 0, 0, 1);
  B.PickGLModelviewMatrix();
  // The point (1, 0, 0) of B's frame lies at (0, 3, 0) in the world, (-1, 3, 0) in A's.
  const TLumMathVector R = A.ProjectMatrix(&B, TLumMathVector{1, 0, 0});
  ExpectNear(R, {-1, 3, 0}, "A from B");  // GL builds the rotation in single precision
  glLoadIdentity();
  B.GLMultMatrix();
  TLumMatrix C;
  C.PickGLModelviewMatrix();
  for (int K = 0; K < 16; ++K) EXPECT_NEAR(C.Values()[K], B.Values()[K], 1e-12);
}

// The CPU matrix of a transformation is the one Execute builds on the GL stack, for
// every transformation order and every rotation order.
class TransformationMatrixTest : public GLTest,
                                 public ::testing::WithParamInterface<std::tuple<int, int>> {};

TEST_P(TransformationMatrixTest, GetMatrixEqualsTheModelviewMatrixExecuteLeaves) {
  const auto [Order, RotationOrder] = GetParam();
  TLumTransformation T;
  T.SetOrder(static_cast<TLumTransformationOrder>(Order));
  T.Rotation()->SetOrder(static_cast<TLumRotationOrder>(RotationOrder));
  T.Rotation()->SetValues(30, -125, 400);
  T.Translation()->SetValues(1.5f, -2, 3.25f);
  T.Scale()->SetValues(2, 0.5f, -3);
  glLoadIdentity();
  T.Execute();
  double GL[16];
  ModelView(GL);
  const TLumMathMatrix M = T.GetMatrix();
  for (int K = 0; K < 16; ++K) EXPECT_NEAR(M.M[K], GL[K], 1e-5) << "value " << K;
}

INSTANTIATE_TEST_SUITE_P(AllOrders, TransformationMatrixTest,
                         ::testing::Combine(::testing::Range(0, 6), ::testing::Range(0, 6)));
