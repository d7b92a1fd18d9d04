// Tests of the point, line, triangle and rectangle: vertex and index formulas, texture
// coordinates, setters and exchange round trips.
#include "lumox/geometry/lumgeom.h"

#include <gtest/gtest.h>

#include "lumox/math/lumgl.h"
#include "support/meshcheck.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

using test::ExpectVec;
using test::IndicesOf;

TEST(SimpleGeometryTest, RectangleTwoByOneGridAndTextureCorners) {
  TComponent Form(nullptr);
  auto* R = new TLumRectangle(&Form);
  R->SetWidth(4), R->SetHeight(2), R->SetDetX(2);
  R->SetDetX(0);  // ignored
  R->SetDetX(-3);
  R->Init();
  EXPECT_EQ(R->DetailX(), 2);
  ASSERT_EQ(R->Points()->Count(), 6);
  ASSERT_EQ(R->GetPrimitiveCount(), 1);
  EXPECT_EQ(R->GetPrimitive(0)->PrimitiveType(), GL_QUAD_STRIP);
  EXPECT_EQ(IndicesOf(*R->GetPrimitive(0)), (std::vector<uint32_t>{3, 0, 4, 1, 5, 2}));
  ExpectVec(R->Points()->GetVector(0, 0), -2, 0, 2);  // centred in x, z from Height down
  ExpectVec(R->Points()->GetVector(5, 0), 2, 0, 0);
  ExpectVec(R->Points()->GetVector(4, 1), 0, 1, 0);
  ExpectVec(R->Points()->GetVector(0, 2), 0, 0, 0);
  ExpectVec(R->Points()->GetVector(5, 2), 1, 1, 0);

  R->SetDetY(3);
  EXPECT_FALSE(R->Initialized());
  R->TextureFlags()->SetScaleY(2), R->TextureFlags()->SetShiftX(0.5);
  R->Init();
  EXPECT_EQ(R->Points()->Count(), 12);
  EXPECT_EQ(R->GetPrimitiveCount(), 3);
  EXPECT_EQ(IndicesOf(*R->GetPrimitive(2)), (std::vector<uint32_t>{9, 6, 10, 7, 11, 8}));
  ExpectVec(R->Points()->GetVector(11, 2), 1.5, 2, 0);
}

// The mesh bound is the process's: lowered, a grid over it is refused by name before
// anything is allocated, and the object builds again once the bound is back.
TEST(SimpleGeometryTest, MeshBoundIsSettableAndChecked) {
  TComponent Form(nullptr);
  auto* R = new TLumRectangle(&Form);
  R->SetName("Floor");
  R->SetDetX(99), R->SetDetY(99);  // 100 x 100 vertices
  SetMaxMeshCount(9999);
  EXPECT_EQ(test::Thrown([&] { R->Init(); }),
            "TLumRectangle \"Floor\": a mesh of 10000 vertices is larger than the limit of 9999.");
  SetMaxMeshCount(int64_t{1} << 40);
  EXPECT_EQ(MaxMeshCount(), INT32_MAX);
  SetMaxMeshCount(DefaultMaxMeshCount);
  R->Init();
  EXPECT_EQ(R->Points()->Count(), 10000);
}

TEST(SimpleGeometryTest, PointLineAndTriangleVertices) {
  TComponent Form(nullptr);
  auto* P = new TLumPoint(&Form);
  P->Init();
  EXPECT_EQ(P->Points()->Count(), 1);
  EXPECT_EQ(P->GetPrimitive(0)->PrimitiveType(), GL_POINTS);
  ExpectVec(P->Points()->GetVector(0, 1), 0, 0, 1);

  auto* L = new TLumLine(&Form);
  L->SetLength(0);
  L->Init();
  ASSERT_EQ(L->Points()->Count(), 2);
  ExpectVec(L->Points()->GetVector(1, 0), 0, 0, 0);
  ExpectVec(L->Points()->GetVector(1, 2), 0, 1, 0);
  EXPECT_EQ(IndicesOf(*L->GetPrimitive(0)), (std::vector<uint32_t>{0, 1}));

  auto* T = new TLumTriangle(&Form);
  T->SetBase(2), T->SetHeight(3), T->TextureFlags()->SetScaleX(2), T->TextureFlags()->SetShiftY(1);
  T->Init();
  ExpectVec(T->Points()->GetVector(1, 0), -1, 0, 3);
  ExpectVec(T->Points()->GetVector(2, 0), 1, 0, 3);
  ExpectVec(T->Points()->GetVector(0, 2), 1, 2, 0);
  ExpectVec(T->Points()->GetVector(2, 2), 2, 1, 0);
  // Counter-clockwise seen from +Y: the computed normal agrees with the stored one.
  T->CalcNormals();
  ExpectVec(T->Points()->GetVector(0, 1), 0, 1, 0);
}

// Each shape saved with parameters away from their defaults, loaded and saved again: both
// files must say the same, under the attribute names the files use.
TEST(SimpleGeometryTest, ParametersSurviveSaveAndLoad) {
  if (!GetRenderClass("TLumPoint")) RegisterLumgeomClasses();
  test::TempDir Dir;
  TComponent Form(nullptr);
  auto* L = new TLumLine(&Form);
  L->SetLength(0);
  L->Color()->SetColor(0x00FF00);  // the inherited values travel too
  auto* T = new TLumTriangle(&Form);
  T->SetBase(2.5f), T->SetHeight(0.25f);
  auto* R = new TLumRectangle(&Form);
  R->SetWidth(3), R->SetHeight(0), R->SetDetX(4), R->SetDetY(7);
  R->TextureFlags()->SetMode(txSphereZ), R->TextureFlags()->SetScaleX(0.5);
  R->TextureFlags()->ParamVector()->SetValues(1, 2, 3);
  test::ExpectRoundTrip(L, &Form, Dir, {"Length=\"0\""});
  test::ExpectRoundTrip(T, &Form, Dir, {"Base=\"2.5\"", "Height=\"0.25\""});
  test::ExpectRoundTrip(R, &Form, Dir,
                        {"Width=\"3\"", "Height=\"0\"", "DetailX=\"4\"", "DetailY=\"7\"",
                         "<TextureFlags", "Mode=\"txSphereZ\"", "ScaleX=\"0.5\"", "<ParamVector"});
}

}  // namespace
}  // namespace lumox
