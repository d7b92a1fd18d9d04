// Tests of 3D text: glyphs with holes filled and extruded to closed solids, kerning,
// alignment and line breaks, pixels inside the text's box, and the file round trip.
#include "lumox/geometry/lumtext.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/glfixture.h"
#include "support/meshcheck.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

using test::FacingArea;

struct TBox {
  double X0 = INFINITY, Y0 = INFINITY, X1 = -INFINITY, Y1 = -INFINITY;
};

TBox Bounds(TLumText& T) {
  std::vector<TLumContour> C;
  TLumWindingRule Rule;
  T.GetContours(C, Rule);
  TBox B;
  for (const auto& Each : C)
    for (const TLumPoint2& P : Each)
      B.X0 = std::min(B.X0, P.X), B.X1 = std::max(B.X1, P.X), B.Y0 = std::min(B.Y0, P.Y),
      B.Y1 = std::max(B.Y1, P.Y);
  return B;
}

// Glyphs are filled in clusters that overlap no other: the same region as filling the
// whole text at once, overlapping glyphs (a line set over another) and glyphs with one
// and two holes included; every face looks up, and the extruded text is a closed solid.
TEST(TextMeshTest, ClusteredFillingCoversWhatTheWholeTextCoversAndExtrudesClosed) {
  TLumText T(nullptr);
  T.SetText("Lumox VAT ||\n==\nWAVE\n\n8o8");
  T.SetSize(3);
  T.Init();
  std::vector<TLumContour> C;
  TLumWindingRule Rule;
  T.GetContours(C, Rule);
  TLumPolygon Whole(nullptr);
  Whole.SetWindingRule(Rule);
  for (size_t I = 0; I < C.size(); ++I) Whole.SetContour(static_cast<int32_t>(I), C[I]);
  Whole.Init();
  const double Area = FacingArea(Whole);
  EXPECT_NEAR(FacingArea(T), Area, 1e-9 * Area);
  for (const auto& Tri : test::MeshTriangles(T)) EXPECT_GE(test::FaceNormal(T, Tri).Z, 0);
  T.SetDepth(0.5);
  T.Init();
  EXPECT_EQ(test::OpenEdgeCount(T), 0);
  EXPECT_EQ(test::NormalsAgainstWinding(T), 0);
  EXPECT_NEAR(test::SignedVolume(T), Area * 0.5, 1e-9);
  T.SetText("8");  // the outline and its two holes
  T.GetContours(C, Rule);
  EXPECT_EQ(C.size(), 3u);
}

// The work of a text is bounded: too many outline points (characters times Quality),
// or a size that takes it beyond 1e15 units, is refused with the reason.
TEST(TextMeshTest, TextsBeyondTheBoundsAreRefusedWithAReason) {
  TLumText T(nullptr);
  T.SetName("Title");
  T.SetText(std::string(200000, '@'));
  T.SetQuality(2000000000);
  EXPECT_EQ(T.Quality(), 64);
  std::string M = test::Thrown([&] { T.Init(); });
  EXPECT_NE(M.find("The text \"Title\" would need more than 2097152 outline points"),
            std::string::npos)
      << M;
  T.SetText("Lumox");
  T.SetSize(1e30);
  M = test::Thrown([&] { T.Init(); });
  EXPECT_NE(M.find("reaches beyond 1e15 units"), std::string::npos) << M;
  T.SetSize(1);
  T.Init();
  EXPECT_GT(T.Points()->Count(), 0);
}

TEST(TextLayoutTest, KerningAlignmentAndLineBreaks) {
  TLumText T(nullptr);
  T.SetSize(2);
  T.SetText("AV");
  const double Kerned = Bounds(T).X1;
  T.SetKerning(false);
  const double Plain = Bounds(T).X1;
  EXPECT_LT(Kerned, Plain - 0.05);  // DejaVu Sans pulls the pair together
  T.SetKerning(true);

  T.SetText("Hi");
  T.SetAlignment(haCenter);
  const TBox C = Bounds(T);
  EXPECT_NEAR(C.X0 + C.X1, 0.0, 0.3);
  T.SetAlignment(haRight);
  EXPECT_LT(Bounds(T).X1, 0.0);
  EXPECT_GT(Bounds(T).X0, -2.0);

  T.SetAlignment(haLeft);
  T.SetText("H\nH");
  const TBox Two = Bounds(T);
  T.SetText("H");
  const TBox One = Bounds(T);
  EXPECT_EQ(Two.Y1, One.Y1);
  EXPECT_LT(Two.Y0, One.Y0 - 2.0);  // the second line a line height (more than 1 em) lower
  EXPECT_EQ(Two.X0, One.X0);
  T.SetSize(-1);
  EXPECT_EQ(T.Size(), 2.0);
}

// The strings, which the test of every mesh class leaves as they are.
TEST(TextExchangeTest, TextAndFontNameRoundTrip) {
  test::TempDir Dir;
  TComponent Form(nullptr);
  auto* T = new TLumText(&Form);
  T->SetText("a/b <c> & \"d\"\nline 2");
  T->SetFontName("DejaVu Serif");
  auto* L = test::ExpectRoundTrip(T, &Form, Dir, {"FontName=\"DejaVu Serif\""});
  ASSERT_NE(L, nullptr);
  EXPECT_EQ(L->Text(), T->Text());
  test::ExpectAssignCopies(T, Dir);
}

class TextViewTest : public test::ViewTest {};

// Every lit pixel of a drawn "o" lies inside the projected box of its outline, and the
// middle of the letter stays dark.
TEST_F(TextViewTest, PixelsStayInsideTheTextBox) {
  auto* T = new TLumText(&Form);
  T->SetText("o"), T->SetSize(1.5), T->SetAlignment(haCenter);
  T->Transformation()->Translation()->SetValues(0, -0.4f, 0);
  View->OnRender = [T](TLumView* V) { T->Render(V); };
  const TBitmap B = Snapshot();
  TBox Box = Bounds(*T);
  Box.Y0 -= 0.4, Box.Y1 -= 0.4;
  const double Px = 80 / 2.2;  // pixels per unit at the text's distance
  auto X = [&](double x) { return 40 + x * Px; };
  auto Y = [&](double y) { return 30 - y * Px; };
  int Inside = 0, Outside = 0;
  for (int y = 0; y < 60; ++y)
    for (int x = 0; x < 80; ++x) {
      if ((RGB(B, x, y) & 0xFF) < 128) continue;
      const bool In =
          x >= X(Box.X0) - 2 && x <= X(Box.X1) + 2 && y >= Y(Box.Y1) - 2 && y <= Y(Box.Y0) + 2;
      ++(In ? Inside : Outside);
    }
  EXPECT_GT(Inside, 100);
  EXPECT_EQ(Outside, 0);
  const int Cx = static_cast<int>(X((Box.X0 + Box.X1) / 2)),
            Cy = static_cast<int>(Y((Box.Y0 + Box.Y1) / 2));
  EXPECT_EQ(RGB(B, Cx, Cy) & 0xFF, 0u);  // the hole
}

}  // namespace
}  // namespace lumox
