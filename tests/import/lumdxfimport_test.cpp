// DXF drawings: each entity's geometry and colour, blocks, layers, unknown entities and
// broken files.
#include "lumox/import/lumdxfimport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <sstream>

#include "lumox/geometry/lumprimclasses.h"
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
  // 10 and 11: hue 0, full and pale; 90: hue 120; past 255 white.
  const std::pair<int, uint32_t> Cases[] = {{1, 0x0000FF},   {5, 0xFF0000},  {8, 0x808080},
                                            {10, 0x0000FF},  {11, 0x8080FF}, {90, 0x00FF00},
                                            {255, 0xFFFFFF}, {300, 0xFFFFFF}};
  for (const auto& [Index, Color] : Cases) EXPECT_EQ(DXFColor(Index), Color) << Index;
}

// A drawing of these entities (group-code pairs, one per line) and blocks.
std::string Dxf(const std::string& Entities, const std::string& Blocks = "") {
  return "  0\nSECTION\n  2\nBLOCKS\n" + Blocks + "  0\nENDSEC\n  0\nSECTION\n  2\nENTITIES\n" +
         Entities + "  0\nENDSEC\n  0\nEOF\n";
}

std::string Arc(const std::string& Start, const std::string& End) {
  return "  0\nARC\n  8\n0\n 10\n0\n 20\n0\n 30\n0\n 40\n1\n 50\n" + Start + "\n 51\n" + End + "\n";
}

// What Execute says of the drawing, or "" when it reads; the object's vertices in N.
std::string Read(const test::TempDir& Dir, const std::string& Text, int64_t* N = nullptr) {
  test::WriteText(Dir.File("d.dxf"), Text);
  TLumDXFImport D(nullptr);
  D.SetFileName(Dir.File("d.dxf"));
  std::string M;
  TLum3dObj* O = nullptr;
  M = test::Thrown([&] { O = D.Execute(); });
  if (N && O) *N = O->VertexCount();
  return O ? "" : M;
}

TEST(DXFImportTest, HostileNumbersAreBoundedOrRefusedWithTheLine) {
  const test::TempDir Dir;
  // Angles of any size make at most one turn of 64 pieces.
  for (const auto& [A0, A1] : {std::pair{"1e300", "20"}, {"0", "-1e308"}, {"10", "3.6e9"}}) {
    int64_t N = 0;
    EXPECT_EQ(Read(Dir, Dxf(Arc(A0, A1)), &N), "") << A0 << " " << A1;
    EXPECT_LE(N, 65) << A0 << " " << A1;
  }
  // Negative angles run from the start counter-clockwise to the end, within one turn:
  // -350 to 350 is 10 to 350 degrees, 340 degrees in 61 pieces, not two turns.
  for (const auto& [S, E] : {std::pair{"-350", "350"}, {"10", "-10"}}) {
    test::WriteText(Dir.File("neg.dxf"), Dxf(Arc(S, E)));
    TLumDXFImport D(nullptr);
    D.SetFileName(Dir.File("neg.dxf"));
    TLum3dObj* O = D.Execute();
    ASSERT_NE(O, nullptr);
    const TLum3dPart* P = O->FindPart("0");
    ASSERT_NE(P, nullptr);
    const TLumPrimitiveArray* A = P->GetPrimitive(0);
    EXPECT_EQ(A->Count(), 62) << S << " " << E;
    const auto B = At(P, A->Indices(0)), F = At(P, A->Indices(A->Count() - 1));
    const double Ten = 10 * 3.14159265358979323846 / 180;
    EXPECT_NEAR(B[0], std::cos(Ten), 1e-9);
    EXPECT_NEAR(B[1], std::sin(Ten), 1e-9);
    EXPECT_NEAR(F[0], std::cos(Ten), 1e-9);
    EXPECT_NEAR(F[1], -std::sin(Ten), 1e-9);
  }
  std::string M = Read(Dir, Dxf(Arc("inf", "20")));
  EXPECT_NE(M.find("line 24: 'inf' is not a number"), std::string::npos) << M;
  M = Read(Dir, Dxf(Arc("0", "nan")));
  EXPECT_NE(M.find("'nan' is not a number"), std::string::npos) << M;
  M = Read(Dir, Dxf("  0\nLINE\n 62\n1e300\n 10\n0\n 11\n1\n"));
  EXPECT_NE(M.find("line 14: '1e300' is out of range"), std::string::npos) << M;
}

TEST(DXFImportTest, WhatBlockInsertsExpandToIsBoundedBeforeAnythingIsMade) {
  const test::TempDir Dir;
  // Block B0 is a line; B(k) inserts B(k-1) ten times; the drawing inserts B9: 10^9 lines.
  std::string Blocks = "  0\nBLOCK\n  2\nB0\n  0\nLINE\n 10\n0\n 11\n1\n  0\nENDBLK\n";
  for (int K = 1; K < 10; ++K) {
    Blocks += "  0\nBLOCK\n  2\nB" + std::to_string(K) + "\n";
    for (int I = 0; I < 10; ++I)
      Blocks +=
          "  0\nINSERT\n  2\nB" + std::to_string(K - 1) + "\n 10\n" + std::to_string(I) + "\n";
    Blocks += "  0\nENDBLK\n";
  }
  const std::string Bomb = Dxf("  0\nINSERT\n  2\nB9\n", Blocks);
  std::string M = Read(Dir, Bomb);
  EXPECT_NE(M.find("with this block insert the drawing makes more than 67108864 vertices"),
            std::string::npos)
      << M;
  // Within the bound the inserts are drawn; a lower bound refuses a smaller drawing.
  int64_t N = 0;
  EXPECT_EQ(Read(Dir, Dxf("  0\nINSERT\n  2\nB3\n", Blocks), &N), "");
  EXPECT_EQ(N, 2000);
  SetMaxMeshCount(1000);
  M = Read(Dir, Dxf("  0\nINSERT\n  2\nB3\n", Blocks));
  SetMaxMeshCount(DefaultMaxMeshCount);
  EXPECT_NE(M.find("more than 1000 vertices"), std::string::npos) << M;
}

// The drawing in binary DXF: the sentinel, then each pair as a group code (two bytes, or
// one for Release 12's files) and a value of the type its code's range gives.
std::string Binary(const std::string& Ascii, bool ShortCodes) {
  std::string Out("AutoCAD Binary DXF\r\n\x1a", 22);
  std::istringstream In(Ascii);
  std::string Code, Value;
  while (std::getline(In, Code) && std::getline(In, Value)) {
    const int C = std::stoi(Code);
    if (ShortCodes && C < 255) {
      Out += static_cast<char>(C);
    } else {
      if (ShortCodes) Out += '\xff';
      Out += static_cast<char>(C & 0xFF);
      Out += static_cast<char>(C >> 8);
    }
    auto Put = [&Out](const void* P, size_t N) { Out.append(static_cast<const char*>(P), N); };
    if ((C >= 10 && C <= 59) || (C >= 210 && C <= 239)) {
      const double D = std::stod(Value);
      Put(&D, 8);
    } else if ((C >= 60 && C <= 79) || (C >= 270 && C <= 289)) {
      const int16_t I = static_cast<int16_t>(std::stoi(Value));
      Put(&I, 2);
    } else if (C >= 90 && C <= 99) {
      const int32_t I = std::stoi(Value);
      Put(&I, 4);
    } else {
      Out += Value;
      Out += '\0';
    }
  }
  return Out;
}

TEST(DXFImportTest, BinaryDrawingsReadAsTheirTextTwins) {
  const test::TempDir Dir;
  TLumDXFImport Text(nullptr);
  Text.SetFileName(Drawing);
  const std::string Want = test::SavedText(Text.Execute(), Dir.File("t.lumgl"));
  for (bool Short : {false, true}) {
    SCOPED_TRACE(Short ? "release 12" : "later releases");
    // Of the same name: the object is named after the file.
    test::WriteText(Dir.File("drawing.dxf"), Binary(test::ReadText(Drawing), Short));
    TLumDXFImport D(nullptr);
    D.SetFileName(Dir.File("drawing.dxf"));
    EXPECT_EQ(test::SavedText(D.Execute(), Dir.File("t.lumgl")), Want);
    // A cut binary file names the byte where it ends.
    test::WriteText(Dir.File("cut.dxf"), test::ReadText(Dir.File("drawing.dxf")).substr(0, 200));
    D.SetFileName(Dir.File("cut.dxf"));
    const std::string M = test::Thrown([&] { D.Execute(); });
    EXPECT_NE(M.find("byte "), std::string::npos) << M;
  }
}

// Every drawing that ever broke the reader (tests/data/fuzz-dxf) reads or is refused
// with an Exception naming the file.
TEST(DXFImportTest, EveryKeptFuzzFindReadsOrIsRefused) {
  int Files = 0;
  for (const auto& E :
       std::filesystem::directory_iterator(std::string(LUMOX_TEST_DATA) + "/fuzz-dxf")) {
    ++Files;
    SCOPED_TRACE(E.path().string());
    TLumDXFImport D(nullptr);
    D.SetFileName(E.path().string());
    try {
      D.Execute();
    } catch (const Exception& X) {
      EXPECT_NE(std::string(X.what()).find(E.path().filename().string()), std::string::npos)
          << X.what();
    }
  }
  EXPECT_GT(Files, 0);
}

}  // namespace
}  // namespace lumox
