// Tests of the mesh container: parts filled as an importer fills them, the vertex bound,
// bad index lists, drawing per part and the file round trip with arrays and materials.
#include "lumox/geometry/lum3dobj.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "lumox/scene/lummat.h"
#include "support/glfixture.h"
#include "support/meshcheck.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

// A unit cube of 8 shared corners and 6 outward quads, as a model file would give it.
TLum3dPart* AddCube(TLum3dObj& O, const std::string& Name, double X) {
  TLum3dPart* P = O.AddPart(Name);
  double V[24];
  for (int i = 0; i < 8; ++i)
    V[i * 3] = X + (i & 1), V[i * 3 + 1] = (i >> 1) & 1, V[i * 3 + 2] = i >> 2;
  P->SetVertexData(8, V);
  const uint32_t Q[24] = {0, 2, 3, 1, 4, 5, 7, 6, 0, 1, 5, 4, 2, 6, 7, 3, 0, 4, 6, 2, 1, 3, 7, 5};
  P->AddIndices(GL_QUADS, Q, 24);
  return P;
}

TEST(Mesh3dTest, PartsFilledLikeAnImporterGiveClosedMeshes) {
  TLum3dObj O(nullptr);
  TLum3dPart* Cube = AddCube(O, "cube", 0);
  EXPECT_EQ(Cube->Arrays(), TLumArrays{daVertex});
  EXPECT_EQ(test::OpenEdgeCount(*Cube), 0);
  EXPECT_NEAR(test::SignedVolume(*Cube), 1.0, 1e-12);
  Cube->CalcNormals();  // the mesh operations work on parts
  EXPECT_EQ(test::NormalsAgainstWinding(*Cube), 0);

  TLum3dPart* Tri = O.AddPart("tri");
  const double V[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0}, N[9] = {0, 0, 1, 0, 0, 1, 0, 0, 1};
  const double T[6] = {0, 0, 1, 0, 0, 1};
  const float C[12] = {1, 0, 0, 1, 0, 1, 0, 1, 0, 0, 1, 1};
  Tri->SetVertexData(3, V, N, T, 2, C);
  EXPECT_EQ(Tri->Arrays(), (TLumArrays{daVertex, daNormal, daTexture, daColor}));
  EXPECT_EQ(Tri->Points()->GetVector(2, 2).Y, 1.0);
  EXPECT_EQ(O.VertexCount(), 11);
  EXPECT_TRUE(O.FindPart("tri") == Tri && O.FindPart("none") == nullptr);

  const uint32_t Bad[3] = {0, 1, 3};
  EXPECT_THROW(Tri->AddIndices(GL_TRIANGLES, Bad, 3), Exception);
  EXPECT_THROW(Tri->AddIndices(42, Bad, 2), Exception);
  EXPECT_EQ(Tri->GetPrimitiveCount(), 0);

  O.SetObjectName("model");
  O.SetMaxVertices(12);
  Tri->AddVertex({2, 2, 2});
  const std::string M = test::Thrown([&] { Tri->AddVertex({3, 3, 3}); });
  EXPECT_NE(M.find("\"model\" would hold 13 vertices"), std::string::npos) << M;
  const double Big[27] = {};
  EXPECT_THROW(Cube->SetVertexData(9, Big), Exception);
  EXPECT_EQ((std::array<int64_t, 2>{O.VertexCount(), Cube->VertexCount()}),
            (std::array<int64_t, 2>{12, 8}));
}

TEST(Mesh3dExchangeTest, PartsArraysAndMaterialsRoundTrip) {
  test::TempDir Dir;
  TComponent Form(nullptr);
  auto* O = new TLum3dObj(&Form);
  O->SetMaxVertices(1000);
  TLum3dPart* Cube = AddCube(*O, "cube", 0.5);
  Cube->CreateMaterial()->ColorDiffuse()->SetColor(0x00FF8040);
  Cube->CreateMaterial()->SetShininess(30);
  TLum3dPart* Tri = O->AddPart("tri");
  const double V[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0}, N[9] = {0, 0, 1, 0, 0, 1, 0, 0, 1};
  const float C[12] = {1, 0, 0, 1, 0, 0.5f, 0, 1, 0, 0, 1, 0.25f};
  Tri->SetVertexData(3, V, N, nullptr, 2, C);
  const uint32_t I[3] = {0, 1, 2};
  Tri->GetPrimitive(Tri->AddIndices(GL_TRIANGLE_FAN, I, 3))->SetVisible(false);
  Tri->SetVisible(false);
  test::ExpectRoundTrip(
      O, &Form, Dir,
      {"MaxVertices=\"1000\"", "Name=\"cube\"", "Name=\"tri\" Visible=\"false\"",
       "<Vertex P=\"0.5,0,0\"/>", "Type=\"GL_QUADS\"", "Values=\"0 2 3 1 4", "Shininess=\"30\"",
       "Arrays=\"daVertex,daNormal,daColor\"", "C=\"0,0.5,0,1\"", "C=\"0,0,1,0.25\"",
       "Type=\"GL_TRIANGLE_FAN\" Visible=\"false\""});
  test::ExpectAssignCopies(O, Dir);
}

TEST(Mesh3dTest, ACopiedMaterialReportsToTheCopyAfterTheSourceIsGone) {
  auto* A = new TLum3dObj(nullptr);
  A->AddPart("p")->CreateMaterial();
  TLum3dObj B(nullptr);
  B.Assign(A);
  delete A;
  int Changes = 0;
  B.OnChange = [&Changes](TObject*) { ++Changes; };
  B.Part(0)->PartMaterial()->SetShininess(7);
  EXPECT_GT(Changes, 0);
}

class Mesh3dViewTest : public test::ViewTest {};

TEST_F(Mesh3dViewTest, VisiblePartsDrawInTheirVertexColours) {
  auto* O = new TLum3dObj(&Form);
  for (int k = 0; k < 2; ++k) {
    TLum3dPart* P = O->AddPart(k ? "right" : "left");
    const double X = k ? 0.2 : -0.6;
    const double V[12] = {X, -0.2, 0, X + 0.4, -0.2, 0, X + 0.4, 0.2, 0, X, 0.2, 0};
    float C[16];
    for (int i = 0; i < 4; ++i)
      C[i * 4] = k ? 0.0f : 1.0f, C[i * 4 + 1] = float(k), C[i * 4 + 2] = 0, C[i * 4 + 3] = 1;
    P->SetVertexData(4, V, nullptr, nullptr, 2, C);
    const uint32_t I[4] = {0, 1, 2, 3};
    P->AddIndices(GL_QUADS, I, 4);
  }
  View->OnRender = [O](TLumView* V) { O->Render(V); };
  TBitmap B = Snapshot();
  // The left part red, the right part green, the gap between them empty.
  EXPECT_EQ((std::array{RGB(B, 25, 30), RGB(B, 54, 30), RGB(B, 40, 30)}),
            (std::array{0x0000FFu, 0x00FF00u, 0u}));
  O->Part(1)->SetVisible(false);
  B = Snapshot();
  EXPECT_EQ((std::array{RGB(B, 25, 30), RGB(B, 54, 30)}), (std::array{0x0000FFu, 0u}));
}

}  // namespace
}  // namespace lumox
