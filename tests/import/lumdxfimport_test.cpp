// DXF drawings: each entity's geometry and colour, blocks, layers, unknown entities and
// broken files.
#include "lumox/import/lumdxfimport.h"

#include <gtest/gtest.h>

#include <cmath>

#include "lumox/math/lumgl.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

const std::string Drawing = std::string(LUMOX_TEST_DATA) + "/models/drawing.dxf";

std::array<double, 3> At(const TLum3dPart* P, uint32_t i) {
  const double* V = P->Points()->Vertices() + i * 3;
  return {V[0], V[1], V[2]};
}

uint32_t ColorAt(const TLum3dPart* P, uint32_t i) {
  const float* C = P->Points()->Colors() + i * 4;
  return std::lround(C[0] * 255) | (std::lround(C[1] * 255) << 8) | (std::lround(C[2] * 255) << 16);
}

TEST(DXFImportTest, EachEntityGivesItsGeometryAndColour) {
  TComponent Owner(nullptr);
  auto* Target = new TLumNode(&Owner);
  TLumDXFImport D(nullptr);
  D.SetFileName(Drawing);
  D.SetTarget(Target);
  TLum3dObj* O = D.Execute();
  ASSERT_EQ(Target->GetCount(), 1);
  EXPECT_EQ(Target->GetItems(0), O);
  EXPECT_EQ(D.UnknownCount(), 1);
  EXPECT_EQ(D.UnknownEntities().at("TEXT"), 1);
  ASSERT_EQ(O->PartCount(), 4);

  // The square face (green by its layer) and the inserted block's triangle: moved,
  // turned, doubled and magenta by the insert.
  const TLum3dPart* F = O->FindPart("faces");
  ASSERT_NE(F, nullptr);
  ASSERT_EQ(F->GetPrimitiveCount(), 1);
  const TLumPrimitiveArray* T = F->GetPrimitive(0);
  ASSERT_EQ(T->Count(), 9);
  EXPECT_EQ(ColorAt(F, T->Indices(0)), 0x00FF00u);
  const std::array<double, 3> Block[3] = {{10, 0, 0}, {10, 2, 0}, {8, 0, 0}};
  for (int k = 0; k < 3; ++k) {
    const auto P = At(F, T->Indices(6 + k));
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(P[c], Block[k][c], 1e-9);
    EXPECT_EQ(ColorAt(F, T->Indices(6 + k)), 0xFF00FFu);
  }

  // Line, arc, circle and closed light polyline.
  const TLum3dPart* L = O->FindPart("lines");
  ASSERT_NE(L, nullptr);
  ASSERT_EQ(L->GetPrimitiveCount(), 4);
  EXPECT_EQ(L->GetPrimitive(0)->PrimitiveType(), GL_LINES);
  EXPECT_EQ(At(L, L->GetPrimitive(0)->Indices(1)), (std::array<double, 3>{3, 2, 0}));
  EXPECT_EQ(ColorAt(L, L->GetPrimitive(0)->Indices(0)), 0x0000FFu);  // its own red
  const TLumPrimitiveArray* Arc = L->GetPrimitive(1);
  EXPECT_EQ(Arc->PrimitiveType(), GL_LINE_STRIP);
  const auto A0 = At(L, Arc->Indices(0)), A1 = At(L, Arc->Indices(Arc->Count() - 1));
  EXPECT_LT(std::abs(A0[0] - 7) + std::abs(A1[0] - 5) + std::abs(A1[1] - 2), 1e-9)
      << A0[0] << " .. " << A1[0] << "," << A1[1];    // the arc's ends
  EXPECT_EQ(ColorAt(L, Arc->Indices(0)), 0xFF0000u);  // blue by its layer
  const TLumPrimitiveArray* Circle = L->GetPrimitive(2);
  EXPECT_GE(Circle->Count(), 32);
  for (int32_t i = 0; i < Circle->Count(); ++i) {
    const auto P = At(L, Circle->Indices(i));
    EXPECT_NEAR(std::hypot(P[0] + 5, P[1]), 1.0, 1e-9);
  }
  EXPECT_EQ(L->GetPrimitive(3)->PrimitiveType(), GL_LINE_LOOP);
  ASSERT_EQ(L->GetPrimitive(3)->Count(), 3);
  EXPECT_EQ(At(L, L->GetPrimitive(3)->Indices(2)), (std::array<double, 3>{1, -2, 0}));

  // The polyface quad (two triangles) and the 2 x 3 polygon mesh (four).
  const TLum3dPart* M = O->FindPart("mesh");
  ASSERT_NE(M, nullptr);
  EXPECT_EQ(M->GetPrimitive(0)->Count(), 6);
  EXPECT_EQ(At(M, M->GetPrimitive(0)->Indices(2)), (std::array<double, 3>{1, 1, 5}));
  const TLum3dPart* G = O->FindPart("grid");
  ASSERT_NE(G, nullptr);
  EXPECT_EQ(G->GetPrimitive(0)->Count(), 12);
}

TEST(DXFImportTest, LayerChoiceAndColourByLayer) {
  TLumDXFImport D(nullptr);
  D.SetFileName(Drawing);
  D.SetLayers({"lines"});
  D.SetColorMode(dcByLayer);
  TLum3dObj* O = D.Execute();
  ASSERT_EQ(O->PartCount(), 1);
  const TLum3dPart* L = O->Part(0);
  EXPECT_EQ(L->PartName(), "lines");
  EXPECT_EQ(ColorAt(L, L->GetPrimitive(0)->Indices(0)), 0xFF0000u);  // the layer's blue
}

TEST(DXFImportTest, BrokenFilesNameTheLine) {
  const test::TempDir Dir;
  const std::string Text = test::ReadText(Drawing);
  test::WriteText(Dir.File("cut.dxf"), Text.substr(0, Text.size() / 2));
  test::WriteText(Dir.File("bad.dxf"), "  0\nSECTION\n  2\nENTITIES\nxyz\nLINE\n");
  test::WriteText(Dir.File("num.dxf"),
                  "  0\nSECTION\n  2\nENTITIES\n  0\nLINE\n 10\n1,5\n  0\nENDSEC\n  0\nEOF\n");
  const std::pair<const char*, const char*> Cases[] = {
      {"cut.dxf", "ends before its EOF"}, {"bad.dxf", "line 5:"}, {"num.dxf", "line 8:"}};
  for (const auto& [Name, Text2] : Cases) {
    SCOPED_TRACE(Name);
    TComponent Owner(nullptr);
    auto* Target = new TLumNode(&Owner);
    TLumDXFImport D(nullptr);
    D.SetFileName(Dir.File(Name));
    D.SetTarget(Target);
    const std::string M = test::Thrown([&] { D.Execute(); });
    EXPECT_NE(M.find(Text2), std::string::npos) << M;
    EXPECT_NE(M.find(Name), std::string::npos) << M;
    EXPECT_EQ(Target->GetCount(), 0);
  }
}

TEST(DXFImportTest, ColourIndexTable) {
  EXPECT_EQ(DXFColor(1), 0x0000FFu);
  EXPECT_EQ(DXFColor(5), 0xFF0000u);
  EXPECT_EQ(DXFColor(8), 0x808080u);
  EXPECT_EQ(DXFColor(10), 0x0000FFu);  // hue 0, full
  EXPECT_EQ(DXFColor(11), 0x8080FFu);  // hue 0, pale
  EXPECT_EQ(DXFColor(90), 0x00FF00u);  // hue 120
  EXPECT_EQ(DXFColor(255), 0xFFFFFFu);
  EXPECT_EQ(DXFColor(300), 0xFFFFFFu);
}

}  // namespace
}  // namespace lumox
