// Tests of the mesh object: building, normals, texture generation, relief, vertex
// removal, extrusion into closed solids, and drawing with per-list selection names.
#include "lumox/geometry/lumprimitiveobj.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "lumox/geometry/lumgeom.h"
#include "lumox/host/graphics.h"
#include "lumox/scene/lumtex.h"
#include "support/glfixture.h"
#include "support/meshcheck.h"

namespace lumox {
namespace {

// A view that records the selection names it hands out.
class RecordingView : public TLumCustomView {
 public:
  RecordingView() : TLumCustomView(nullptr) {}
  bool GetCurrent() override { return true; }
  void SetCurrent(bool) override {}
  int32_t GetNextID(TObject* Obj, int32_t num) override {
    Issued.push_back({Obj, num});
    return static_cast<int32_t>(Issued.size());
  }
  TLumDrawMode DrawMode() const override { return Mode; }
  TLumMatrix* CameraMatrix() const override { return nullptr; }
  TLumDrawMode Mode = dmWindow;
  std::vector<std::pair<TObject*, int32_t>> Issued;
};

// A hand-built mesh: Init would discard it, so it counts as built.
TLumPrimitiveObj* NewMesh(TComponent* Owner) {
  auto* M = new TLumPrimitiveObj(Owner);
  M->SetInitialized(true);
  return M;
}

TLumMathVector NormalOf(const TLumPrimitiveObj& M, int32_t v) {
  return M.Points()->GetVector(v, 1);
}

// Two triangles meeting at a right angle along x, with the shared edge duplicated.
TLumPrimitiveObj* Hinge(TComponent* Owner, bool Weld) {
  auto* M = NewMesh(Owner);
  auto* P = M->Points();
  P->Add(0, 0, 0), P->Add(1, 0, 0), P->Add(0, 1, 0);  // faces +z
  P->Add(1, 0, 0), P->Add(0, 0, 0), P->Add(0, 0, 1);  // faces +y
  for (int v = 0; v < 6; ++v) P->SetFlag(v, 0, Weld);
  const int32_t T = M->AddPrimitiveArray(GL_TRIANGLES);
  for (uint32_t i = 0; i < 6; ++i) M->AddIndex(i, T);
  M->CalcNormals();
  return M;
}

TEST(PrimitiveObjTest, FaceNormalsWeldOnlyWhereFlagBitZeroIsSet) {
  TComponent Form(nullptr);
  auto* Apart = Hinge(&Form, false);
  EXPECT_NEAR(NormalOf(*Apart, 0).Z, 1.0, 1e-12);
  EXPECT_NEAR(NormalOf(*Apart, 4).Y, 1.0, 1e-12);
  auto* Welded = Hinge(&Form, true);
  const double H = std::sqrt(0.5);
  for (int v : {0, 1, 3, 4}) {
    EXPECT_NEAR(NormalOf(*Welded, v).Y, H, 1e-12) << v;
    EXPECT_NEAR(NormalOf(*Welded, v).Z, H, 1e-12) << v;
  }
  EXPECT_NEAR(NormalOf(*Welded, 2).Z, 1.0, 1e-12);  // not shared: keeps its face normal
}

TEST(PrimitiveObjTest, TextureModesMapPositions) {
  TComponent Form(nullptr);
  auto* M = NewMesh(&Form);
  M->Points()->Add({0.5, 3, 4}, ZEROVEC, {7, 7, 7});
  M->CalcTexture();  // txStandard keeps the shape's own coordinates
  EXPECT_DOUBLE_EQ(M->Points()->GetVector(0, 2).X, 7.0);
  TLumTextureFlags* F = M->TextureFlags();
  F->SetScaleX(2), F->SetShiftX(1), F->SetScaleY(0.5), F->SetShiftY(0.125);
  F->ParamVector()->SetValues(0.5, 0, 0);
  const struct {
    TLumTextureMode Mode;
    double S, T;
  } Cases[] = {{txLinearX, 2, 0},      {txLinearY, 7, 0},      {txLinearZ, 9, 0},
               {txLinearXY, 2, 1.625}, {txLinearYZ, 7, 2.125}, {txLinearZX, 9, 0.375},
               {txSphereZ, 11, 0}};  // distance 5 from the parameter vector
  for (const auto& C : Cases) {
    F->SetMode(C.Mode);
    M->CalcTexture();
    const TLumMathVector T = M->Points()->GetVector(0, 2);
    EXPECT_EQ((std::array{T.X, T.Y, T.Z}), (std::array{C.S, C.T, 0.0}))
        << TLumTextureModeStr[C.Mode];
  }
}

TEST(PrimitiveObjTest, ReliefLiftsAFlatGridByGreyValue) {
  TComponent Form(nullptr);
  auto* R = new TLumRectangle(&Form);
  R->SetDetX(4), R->SetDetY(1);
  R->Init();
  TBitmap B(8, 2);
  B.Fill(0x000000);
  for (int x = 4; x < 8; ++x) B.SetPixel(x, 0, 0xFFFFFF), B.SetPixel(x, 1, 0xFFFFFF);
  const double White = 255.0 / 256.0;
  // Two extra coincident vertices with flag bit 1 share their displacement.
  auto* P = R->Points();
  const int32_t a = P->Add({9, 0, 9}, {0, 1, 0}, {0.75, 0.5, 0});
  const int32_t b = P->Add({9, 0, 9}, {0, 1, 0}, {0.0, 0.5, 0});
  P->SetFlag(a, 1, true), P->SetFlag(b, 1, true);
  R->SetReliefBitmap(&B, 2.0f, 1.0f, 1.0f);
  auto Y = [P](int32_t v) { return P->GetVector(v, 0).Y; };
  // s = 0 is black, s = 0.75 white, s = 1 wraps to column 0; a and b share the mean.
  EXPECT_EQ((std::array{Y(0), Y(3), Y(4), Y(a), Y(b)}),
            (std::array{0.0, 2.0 * White, 0.0, White, White}));
  TBitmap Empty;
  EXPECT_THROW(R->SetReliefBitmap(&Empty, 1, 1, 1), Exception);
}

TEST(PrimitiveObjTest, FreePointsHidesUsersAndFreeUnusedKeepsGeometry) {
  TComponent Form(nullptr);
  auto* M = NewMesh(&Form);
  for (int i = 0; i < 6; ++i) M->Points()->Add(i, 0, 0);
  const int32_t A = M->AddPrimitiveArray(GL_LINES);
  M->AddIndex(1, A), M->AddIndex(4, A);
  const int32_t B = M->AddPrimitiveArray(GL_POINTS);
  M->AddIndex(5, B);
  M->FreePoints(4, 1);
  EXPECT_TRUE(!M->GetPrimitive(A)->Visible() && M->GetPrimitive(B)->Visible());
  EXPECT_TRUE(M->GetPrimitive(B)->Indices(0) == 4u && M->Points()->Count() == 5);

  M->FreeUnusedPoints();  // only vertex 4 (old 5) is used by a visible list
  EXPECT_TRUE(M->Points()->Count() == 1 && M->GetPrimitive(B)->Indices(0) == 0u);
  EXPECT_DOUBLE_EQ(M->Points()->GetVector(0, 0).X, 5.0);
}

TEST(PrimitiveObjTest, NearPointSplitAndMerge) {
  TComponent Form(nullptr);
  auto* T = new TLumTriangle(&Form);
  T->Init();
  EXPECT_EQ((std::array{T->getNearPoint(0, {0.4, 0, 0.9}), T->getNearPoint(1, ZEROVEC)}),
            (std::array{2, -1}));
  T->SplitTriangle(0, 0);
  EXPECT_EQ(T->Points()->Count(), 6);
  EXPECT_EQ(T->GetPrimitive(0)->Count(), 12);
  EXPECT_EQ((std::array{T->GetPrimitive(0)->Indices(1), T->GetPrimitive(0)->Indices(2)}),
            (std::array{3u, 5u}));
  EXPECT_DOUBLE_EQ(T->Points()->GetVector(3, 0).Y, 1.0);  // placed at the mean normal

  auto* M = NewMesh(&Form);
  M->Points()->Add(0, 0, 0);
  auto* L = new TLumLine(&Form);  // not built yet: merging builds it
  M->AddPrimitiveObj(L);
  EXPECT_EQ((std::array{M->Points()->Count(), M->GetPrimitive(0)->PrimitiveType()}),
            (std::array{3, GL_LINES}));
  EXPECT_EQ(M->GetPrimitive(0)->Indices(1), 2u);
}

// --- extrusion --------------------------------------------------------------------------

// Closed, consistently facing and of the given volume, judged from the mesh alone.
void ExpectClosedSolid(const TLumPrimitiveObj& M, double Volume) {
  EXPECT_EQ(test::OpenEdgeCount(M), 0);
  TLumEdgeArray Open;
  EXPECT_EQ(M.GetOpenEdges(Open), 0);
  EXPECT_NEAR(test::SignedVolume(M), Volume, 1e-9);
  EXPECT_EQ(test::NormalsAgainstWinding(M), 0);
}

TEST(PrimitiveObjTest, ExtrudingASheetGivesAClosedOutwardSolidOrTexturedWalls) {
  TComponent Form(nullptr);
  auto* R = new TLumRectangle(&Form);
  R->SetWidth(2), R->SetHeight(3), R->SetDetX(3), R->SetDetY(2);
  R->Init();
  TLumEdgeArray Rim;
  EXPECT_EQ(R->GetOpenEdges(Rim), 10);
  R->Extrude(0.5, 3, true);
  ExpectClosedSolid(*R, 2 * 3 * 0.5);
  // Every vertex is used: 12 per layer on the rim, plus the far cap's inner two.
  EXPECT_EQ(R->Points()->Count(), 12 + 10 * 2 + 12);
  // A corner: the cap's -y once, one wall's normal twice (both of its triangles), the
  // other wall's once.
  EXPECT_NEAR(R->Points()->GetVector(0, 1).Y, -1.0 / std::sqrt(6.0), 1e-9);

  auto* Down = new TLumRectangle(&Form);
  Down->Extrude(-1.0, 1, true);  // builds the rectangle first  // against the face normals
  ExpectClosedSolid(*Down, 1.0);

  auto* Slant = new TLumRectangle(&Form);
  Slant->ExtrudeByVec({1, -2, 0}, 2, true);  // the volume is the sheet times the height
  ExpectClosedSolid(*Slant, 2.0);
  EXPECT_THROW(Slant->Extrude(1.0, 0, true), Exception);

  // Without a far cap, with a texture: the sheet and one textured wall ring.
  auto* Walled = new TLumRectangle(&Form);
  Walled->Extrude(1.0, 1, false, nullptr);
  EXPECT_TRUE(Walled->Textured() && Walled->GetPrimitiveCount() == 2 &&
              Walled->GetPrimitive(1)->Textured());
  EXPECT_EQ(Walled->GetOpenEdges(Rim), 4);
}

// --- drawing ----------------------------------------------------------------------------

class PrimitiveObjGLTest : public test::GLTest {};

TEST_F(PrimitiveObjGLTest, FirstDrawBuildsOnceAndEachListIsPickable) {
  TComponent Form(nullptr);
  auto* R = new TLumRectangle(&Form);
  R->SetWidth(1), R->SetHeight(1), R->SetDetY(2);
  int Builds = 0;
  R->OnAfterInit = [&](TObject* Sender) { Builds += Sender == R; };
  EXPECT_EQ(R->Points()->Count(), 0);
  R->Transformation()->Rotation()->SetX(90);  // the +Y face towards the viewer

  RecordingView V;
  GLuint Buffer[64];
  glSelectBuffer(64, Buffer);
  glRenderMode(GL_SELECT);
  glInitNames();
  V.Mode = dmSelection;
  R->Render(&V);
  R->GetPrimitive(1)->SetVisible(false);
  R->Render(&V);
  const GLint Hits = glRenderMode(GL_RENDER);
  EXPECT_EQ(Builds, 1);
  ASSERT_EQ(Hits, 3);
  // Each hit: name count, depth min, depth max, object name, list name.
  std::vector<std::pair<GLuint, GLuint>> Names;
  for (int h = 0, p = 0; h < Hits; ++h, p += 3 + Buffer[p]) {
    ASSERT_EQ(Buffer[p], 2u);
    Names.push_back({Buffer[p + 3], Buffer[p + 4]});
  }
  ASSERT_EQ(V.Issued.size(), 5u);
  EXPECT_EQ(V.Issued[1], std::make_pair(static_cast<TObject*>(R), 0));
  EXPECT_EQ(V.Issued[2], std::make_pair(static_cast<TObject*>(R), 1));
  EXPECT_EQ(Names, (std::vector<std::pair<GLuint, GLuint>>{{1, 2}, {1, 3}, {4, 5}}));
}

TEST_F(PrimitiveObjGLTest, EachListBindsItsOwnTexture) {
  TComponent Form(nullptr);
  auto MakeTexture = [&](uint32_t Colour) {
    auto* T = new TLumTexture(&Form);
    TBitmap B(2, 2);
    B.Fill(Colour);
    T->SetBitmap(&B);
    return T;
  };
  TLumTexture* Red = MakeTexture(0x0000FF);
  TLumTexture* Blue = MakeTexture(0xFF0000);
  auto* R = new TLumRectangle(&Form);
  R->SetWidth(2), R->SetHeight(2), R->SetDetY(2), R->SetTextured(true), R->SetTexture(Red);
  R->Init();
  R->GetPrimitive(1)->SetTexture(Blue);  // the upper band on screen
  R->Transformation()->Rotation()->SetX(90);
  glTranslated(0, 1, 0);
  RecordingView V;
  glClearColor(0, 0, 0, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  R->Render(&V);
  glFinish();
  uint8_t Low[4], High[4];
  glReadPixels(32, 16, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, Low);
  glReadPixels(32, 48, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, High);
  EXPECT_TRUE(Low[0] > 200 && Low[2] < 50) << int(Low[0]) << " " << int(Low[2]);      // red
  EXPECT_TRUE(High[0] < 50 && High[2] > 200) << int(High[0]) << " " << int(High[2]);  // blue
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
  delete Red;  // the mesh and its lists forget a texture that dies
  EXPECT_TRUE(R->Texture() == nullptr && R->GetPrimitive(0)->Texture() == nullptr);
}

// A quad from x0 to x1 at z = 0, red through a colour array when Red is set.
TLumPrimitiveObj* FlatQuad(TComponent* Owner, double x0, double x1, bool Red) {
  auto* M = NewMesh(Owner);
  const TLumArrays Arrays = Red ? TLumArrays{daVertex, daColor} : TLumArrays{daVertex};
  M->Points()->SetDefineArrays(Arrays);
  M->Points()->SetUsedArrays(Arrays);
  const double Corners[4][2] = {{x0, -0.4}, {x1, -0.4}, {x1, 0.4}, {x0, 0.4}};
  for (const auto& C : Corners) M->Points()->Add(C[0], C[1], 0);
  for (int v = 0; Red && v < 4; ++v)
    for (int c = 0; c < 4; ++c) M->Points()->Colors()[v * 4 + c] = c == 0 || c == 3 ? 1.f : 0.f;
  const int32_t Q = M->AddPrimitiveArray(GL_QUADS);
  for (uint32_t i = 0; i < 4; ++i) M->AddIndex(i, Q);
  return M;
}

class MeshSequenceTest : public test::ViewTest {};

// Meshes in a row: none draws with another's array, and each leaves its arrays off.
TEST_F(MeshSequenceTest, EachMeshDrawsWithItsOwnArraysOnly) {
  for (bool Cached : {false, true}) {
    auto* Root = new TLumNode(&Form);
    auto* Red = FlatQuad(&Form, -0.5, -0.05, true);
    auto* White = FlatQuad(&Form, 0.05, 0.5, false);
    Red->SetNode(Root);
    White->SetNode(Root);
    White->SetCached(Cached);
    bool LeftOn = true;
    View->OnRender = [&](TLumView* V) {
      Root->Render(V);
      LeftOn = glIsEnabled(GL_COLOR_ARRAY) || glIsEnabled(GL_VERTEX_ARRAY);
    };
    for (int Frame = 0; Frame < 2; ++Frame) {  // compiles, then calls the list
      const TBitmap B = Snapshot();
      EXPECT_EQ(RGB(B, 30, 30), 0x0000FFu) << Cached;  // $00BBGGRR
      EXPECT_EQ(RGB(B, 50, 30), 0xFFFFFFu) << Cached;
      EXPECT_FALSE(LeftOn);  // whatever follows the traversal finds the arrays off
    }
  }
}

}  // namespace
}  // namespace lumox
