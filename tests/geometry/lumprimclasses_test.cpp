// Tests of vertex blocks and index lists with their conversions.
#include "lumox/geometry/lumprimclasses.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "lumox/math/lumgl.h"
#include "support/meshcheck.h"

namespace lumox {
namespace {

using test::IndicesOf;

void Fill(TLumPrimitiveArray& A, std::initializer_list<uint32_t> I) {
  for (uint32_t i : I) A.AddIndex(i);
}

TEST(PrimitivePointsTest, UndefinedArraysAreInertAndVertexlessAddFails) {
  TLumPrimitivePoints P;
  P.SetDefineArrays({daNormal});
  EXPECT_EQ(P.Add(1, 1, 1), -1);
  EXPECT_TRUE(P.Count() == 0 && P.Vertices() == nullptr && P.GetEdgeFlag(0) == 0xFF);

  TLumPrimitivePoints Q;
  Q.Add({1, 2, 3}, {0, 0, 1}, {0.5, 0.5, 0});
  Q.SetDefineArrays({daVertex});
  EXPECT_DOUBLE_EQ(Q.GetValues(0, 2, 1), 0.0);  // normals dropped from the set
  Q.SetDefineArrays({daVertex, daNormal});
  EXPECT_DOUBLE_EQ(Q.GetValues(0, 2, 1), 1.0);  // ... but their memory was kept
}

TEST(PrimitivePointsTest, AddItemStoresEdgeFlagColourAndFlagByte) {
  TLumPrimitivePoints P;
  P.SetDefineArrays({daVertex, daNormal, daTexture, daColor, daEdgeFlag, daFlag});
  TLumPointItem Item;
  Item.Point()->SetValues(1, 2, 3), Item.Color()->SetColor(0x0000FF);
  Item.Color()->SetAlpha(0.5f), Item.SetFlag(0x103);
  const int32_t i = P.Add(&Item);
  EXPECT_EQ(P.GetEdgeFlag(i), 255);
  EXPECT_EQ((std::array{P.Colors()[0], P.Colors()[3]}), (std::array{1.0f, 0.5f}));
  // Bit 33 is bit 1 (mod 32).
  EXPECT_EQ((std::array{P.GetFlag(i, 0), P.GetFlag(i, 33), P.GetFlag(i, 8)}),
            (std::array{true, true, false}));
  Item.SetEdgeFlag(false);
  EXPECT_EQ(P.GetEdgeFlag(P.Add(&Item)), 0);
}

TEST(PrimitivePointsTest, AddBlockReturnsOffsetAndLeavesFlagsCleared) {
  TLumPrimitivePoints A, B;
  A.Add(0, 0, 0);
  B.Add({5, 6, 7}, {0, 1, 0}, ZEROVEC);
  B.SetFlag(0, 0, true);
  EXPECT_EQ(A.Add(&B), 1);
  EXPECT_EQ(A.Count(), 2);
  EXPECT_EQ((std::array{A.GetVector(1, 0).Z, A.GetVector(1, 1).Y}), (std::array{7.0, 1.0}));
  EXPECT_FALSE(A.GetFlag(1, 0));
  EXPECT_EQ(A.Add(&A), 2);  // appending itself doubles it once
  EXPECT_EQ(A.Count(), 4);
}

TEST(PrimitivePointsTest, DeleteLiftMoveAndAssign) {
  TLumPrimitivePoints P;
  for (int i = 0; i < 5; ++i) P.Add({double(i), 0, 0}, {0, 1, 0}, ZEROVEC);
  P.Delete(1, 10);  // cut to the end
  EXPECT_EQ(P.Count(), 1);
  P.Add({1, 0, 0}, {0, 1, 0}, ZEROVEC);
  P.LiftPoint(1, 2.0);
  EXPECT_DOUBLE_EQ(P.GetVector(1, 0).Y, 2.0);
  P.MovePoints(1, 0, 0), P.ScalePoints(2, 1, 1);
  EXPECT_DOUBLE_EQ(P.GetVector(1, 0).X, 4.0);
  P.SetDefineArrays({daVertex, daNormal});
  P.LiftPoint(1, 5.0);  // lifting needs the texture array as well
  EXPECT_DOUBLE_EQ(P.GetVector(1, 0).Y, 2.0);

  TLumPrimitivePoints Q;
  Q.Add(9, 9, 9);
  Q.Assign(&P);  // what Q holds stays in front of the copy
  EXPECT_EQ(Q.Count(), 3);
  EXPECT_EQ((std::array{Q.GetVector(0, 0).X, Q.GetVector(2, 0).X}), (std::array{9.0, 4.0}));
}

struct Conversion {
  int32_t Type;
  std::vector<uint32_t> Before;
  int32_t NewType, ResultType;
  std::vector<uint32_t> After;
};

TEST(PrimitiveArrayTest, SetTypeConvertsByTheWindingRules) {
  std::vector<uint32_t> Fourteen(14);
  for (uint32_t i = 0; i < 14; ++i) Fourteen[i] = i;
  const Conversion Cases[] = {
      {GL_TRIANGLE_STRIP, {0, 1, 2, 3, 4}, GL_TRIANGLES, GL_TRIANGLES, {0, 1, 2, 2, 1, 3, 2, 3, 4}},
      {GL_QUAD_STRIP, {0, 1, 2, 3, 4, 5}, GL_QUADS, GL_QUADS, {0, 1, 3, 2, 2, 3, 5, 4}},
      {GL_QUADS, {0, 1, 3, 2}, GL_TRIANGLES, GL_TRIANGLES, {0, 1, 2, 1, 3, 2}},
      {GL_TRIANGLE_FAN, {0, 1, 2, 3, 4}, GL_TRIANGLES, GL_TRIANGLES, {0, 1, 2, 2, 3, 0, 3, 4, 0}},
      // An odd quad strip loses its last index; three entries leave no triangle.
      {GL_QUAD_STRIP, {0, 1, 2, 3, 4}, GL_TRIANGLES, GL_TRIANGLES, {0, 1, 2, 2, 1, 3}},
      {GL_QUAD_STRIP, {0, 1, 2}, GL_TRIANGLES, GL_TRIANGLES, {}},
      // Three quads and a half quad, which becomes the degenerate (12, 13, 13).
      {GL_QUADS, Fourteen, GL_TRIANGLES, GL_TRIANGLES, {0, 1, 3, 1,  2, 3,  4,  5,  7,  5, 6,
                                                        7, 8, 9, 11, 9, 10, 11, 12, 13, 13}},
      {GL_TRIANGLE_STRIP, {0, 1, 2, 3}, GL_QUAD_STRIP, GL_QUAD_STRIP, {0, 1, 2, 3}},
      {GL_POLYGON, {0, 1, 2}, GL_LINE_LOOP, GL_LINE_LOOP, {0, 1, 2}},
      {GL_POLYGON, {0, 1, 2}, GL_LINES, GL_POLYGON, {0, 1, 2}},  // no conversion
      {GL_POLYGON, {}, GL_LINES, GL_LINES, {}},                  // empty: simply stored
  };
  for (const Conversion& C : Cases) {
    TLumPrimitiveArray A(C.Type);
    for (uint32_t i : C.Before) A.AddIndex(i);
    A.SetType(C.NewType);
    EXPECT_EQ(A.PrimitiveType(), C.ResultType) << C.Type << " to " << C.NewType;
    EXPECT_EQ(IndicesOf(A), C.After) << C.Type << " to " << C.NewType;
  }
}

TEST(PrimitiveArrayTest, InvertReversesEachPrimitiveType) {
  const Conversion Cases[] = {
      {GL_TRIANGLE_STRIP, {0, 1, 2, 3}, 0, 0, {3, 3, 2, 1, 0}},  // even: last one repeated
      {GL_TRIANGLE_STRIP, {0, 1, 2}, 0, 0, {2, 1, 0}},
      {GL_TRIANGLES, {0, 1, 2, 3, 4, 5}, 0, 0, {1, 0, 2, 4, 3, 5}},
      {GL_TRIANGLE_FAN, {0, 1, 2, 3}, 0, 0, {0, 3, 2, 1}},
      {GL_QUADS, {0, 1, 2, 3}, 0, 0, {0, 3, 2, 1}},
      {GL_QUAD_STRIP, {0, 1, 2, 3}, 0, 0, {1, 0, 3, 2}},
      {GL_POLYGON, {0, 1, 2, 3}, 0, 0, {3, 2, 1, 0}},
      {GL_LINES, {0, 1}, 0, 0, {0, 1}},
  };
  for (const Conversion& C : Cases) {
    TLumPrimitiveArray A(C.Type);
    for (uint32_t i : C.Before) A.AddIndex(i);
    A.Invert();
    EXPECT_EQ(IndicesOf(A), C.After) << C.Type;
  }
}

TEST(PrimitiveArrayTest, InsertOverwritesDeleteAndAddMerge) {
  TLumPrimitiveArray A(GL_TRIANGLES);
  Fill(A, {0, 1, 2});
  A.Insert(1, 9);   // overwrites, does not shift, and gains an undefined last entry
  A.Insert(99, 7);  // clamped to the end: an append
  EXPECT_EQ((std::array{A.Count(), int32_t(A.Indices(0)), int32_t(A.Indices(1)),
                        int32_t(A.Indices(2)), int32_t(A.Indices(4)), int32_t(A.Indices(500))}),
            (std::array{5, 0, 9, 2, 7, 0}));

  TLumPrimitiveArray D(GL_POINTS);
  Fill(D, {0, 1, 2, 3, 4});
  D.Delete(-1, 3);  // starts at 0 and removes two
  EXPECT_EQ(IndicesOf(D), (std::vector<uint32_t>{2, 3, 4}));

  TLumPrimitiveArray B(GL_POINTS);
  Fill(B, {1, 2});
  D.Add(&B, 10);
  EXPECT_EQ(IndicesOf(D), (std::vector<uint32_t>{2, 3, 4, 11, 12}));
  TLumPrimitiveArray L(GL_LINES);
  Fill(L, {1});
  D.Add(&L, 10);  // another type is not merged
  EXPECT_EQ(D.Count(), 5);
}

}  // namespace
}  // namespace lumox
