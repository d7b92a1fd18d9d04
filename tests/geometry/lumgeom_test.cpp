// Tests of the point, line, triangle and rectangle: vertex and index formulas, texture
// coordinates, setters and exchange round trips.
#include "lumox/geometry/lumgeom.h"

#include <gtest/gtest.h>

#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"
#include "support/meshcheck.h"
#include "support/propvalues.h"
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

// Sets every writable number, flag and choice of Obj through its class's table: moved off
// where it stands, in the objects Obj owns as well, or each floating-point value of Obj's
// own to 0 (which files must keep apart from a default that is not 0; a vector's default
// is 0, 0, 0). A value a setter refuses is left.
void SetScalars(TPersistent* Obj, bool Zero) {
  for (const TLumPropInfo* P : GetClassInfo(Obj)->Properties()) {
    if (P->Kind == pkObject && P->GetObject(Obj) && !Zero) SetScalars(P->GetObject(Obj), Zero);
    if (P->ReadOnly || P->Kind == pkObject || P->Kind == pkEvent || P->Kind == pkComponent ||
        P->Kind == pkString || (Zero && P->Kind != pkSingle && P->Kind != pkDouble))
      continue;
    try {
      P->SetValue(Obj, Zero ? P->Convert(0.0) : test::OtherValue(P, P->GetValue(Obj)));
    } catch (const EConvertError&) {
    }
  }
}

// Every mesh class, its values moved and then zeroed, saved, loaded and saved again says
// the same with and without default values, and a copy made by Assign saves the same.
TEST(MeshClassesTest, EveryClassRoundTripsItsValuesMovedAndZeroed) {
  test::TempDir Dir;
  TComponent Form(nullptr);
  std::vector<TLumRenderClass> Classes;
  GetRenderClassList(Classes);
  int Meshes = 0;
  for (const TLumRenderClass& R : Classes) {
    const TLumClassInfo* C = FindClassInfo(R.Name);
    if (!C->InheritsFrom(FindClassInfo("TLumPrimitiveObj"))) continue;
    ++Meshes;
    for (bool Zero : {false, true}) {
      SCOPED_TRACE(R.Name + (Zero ? " zeroed" : " moved"));
      auto* Obj = static_cast<TLumPrimitiveObj*>(C->Create(&Form));
      SetScalars(Obj, Zero);
      test::ExpectRoundTrip(Obj, &Form, Dir, {});
      auto* Copy = static_cast<TLumPrimitiveObj*>(C->Create(&Form));
      Copy->Assign(Obj);  // which leaves the order of the transformation
      Copy->Transformation()->SetOrder(Obj->Transformation()->Order());
      EXPECT_EQ(test::SavedText(Copy, Dir.File("c.xml")), test::SavedText(Obj, Dir.File("d.xml")));
    }
  }
  EXPECT_GE(Meshes, 14);
}

}  // namespace
}  // namespace lumox
