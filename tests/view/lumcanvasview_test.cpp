// The canvas: GL state around every operation, the pixels of shapes, stippled lines,
// text and textures, blending over the frame, and the glyph lists of the font.
#include "lumox/view/lumcanvasview.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <limits>
#include <tuple>

#include "lumox/scene/lumtex.h"
#include "support/glfixture.h"

using namespace lumox;
using lumox::test::LitPixels;
using lumox::test::SamePixels;

namespace {

constexpr uint32_t Red = 0x0000FF, Green = 0x00FF00, Blue = 0xFF0000, White = 0xFFFFFF;

class CanvasTest : public test::ViewTest {
 protected:
  // One frame with Draw called on the canvas after the (empty) scene.
  TBitmap Draw(const std::function<void(TLumCanvas*)>& Draw) {
    View->OnRender = [Draw](TLumView* V) { Draw(V->Canvas()); };
    return Snapshot();
  }
};

struct TOperation {
  const char* Name;
  std::function<void(TLumCanvas*, TLumTexture*)> Run;
};

class CanvasStateTest : public CanvasTest, public ::testing::WithParamInterface<TOperation> {};

TEST_P(CanvasStateTest, LeavesDepthTestOnAndBothMatricesAsBefore) {
  auto* Tex = new TLumTexture(&Form);
  TBitmap Image(4, 4);
  Image.Fill(Green);
  Tex->SetBitmap(&Image);
  bool Ran = false;
  View->Canvas()->Font()->SetStyle({fsUnderline});
  View->Canvas()->SetAntialiasing(true);
  View->OnRender = [&](TLumView* V) {
    glMatrixMode(GL_MODELVIEW);
    glTranslated(0.25, 0.5, -3);
    glDisable(GL_DEPTH_TEST);
    GLdouble P0[16], M0[16], P1[16], M1[16];
    GLint Stack0 = 0, Stack1 = 0, Mode = 0;
    glGetDoublev(GL_PROJECTION_MATRIX, P0);
    glGetDoublev(GL_MODELVIEW_MATRIX, M0);
    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &Stack0);
    GetParam().Run(V->Canvas(), Tex);
    glGetDoublev(GL_PROJECTION_MATRIX, P1);
    glGetDoublev(GL_MODELVIEW_MATRIX, M1);
    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &Stack1);
    glGetIntegerv(GL_MATRIX_MODE, &Mode);
    EXPECT_TRUE(glIsEnabled(GL_DEPTH_TEST));
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));
    EXPECT_EQ(Mode, GL_MODELVIEW);
    EXPECT_EQ(Stack1, Stack0);
    EXPECT_EQ(std::to_array(P1), std::to_array(P0)) << "projection";
    EXPECT_EQ(std::to_array(M1), std::to_array(M0)) << "modelview";
    Ran = true;
  };
  Snapshot();
  EXPECT_TRUE(Ran);
}

const TRect Box{5, 5, 30, 20};
const TOperation Operations[] = {
    {"LineTo", [](auto* C, auto*) { C->LineTo(30, 20); }},
    {"Rectangle", [](auto* C, auto*) { C->Rectangle(5, 5, 30, 20); }},
    {"FillRect", [](auto* C, auto*) { C->FillRect(Box); }},
    {"FrameRect", [](auto* C, auto*) { C->FrameRect(Box); }},
    {"DrawFocusRect", [](auto* C, auto*) { C->DrawFocusRect(Box); }},
    {"Polygon",
     [](auto* C, auto*) {
       C->Polygon({{1, 1}, {30, 2}, {9, 40}});
     }},
    {"Ellipse", [](auto* C, auto*) { C->Ellipse(5, 5, 30, 20); }},
    {"Sector", [](auto* C, auto*) { C->Ellipse(Box, 10, 80, 8); }},
    {"TextOut", [](auto* C, auto*) { C->TextOut(3, 3, "Ab\xC3\xA9"); }},
    {"DrawTexture", [](auto* C, auto* T) { C->DrawTexture(4, 4, T); }},
    {"DrawTextureRect",
     [](auto* C, auto* T) {
       C->DrawTexture(Box, T, {0, 0, 2, 2});
     }},
    // Operations with nothing to draw end as every other one does.
    {"EmptyText", [](auto* C, auto*) { C->TextOut(3, 3, ""); }},
    {"EmptyPolygon", [](auto* C, auto*) { C->Polygon({}); }},
    {"NoTexture", [](auto* C, auto*) { C->DrawTexture(4, 4, nullptr); }},
    {"EmptyTexture",
     [](auto* C, auto*) {
       TLumTexture Empty(nullptr);
       C->DrawTexture(Box, &Empty, {0, 0, 2, 2});
     }},
    {"NonFiniteSector",
     [](auto* C, auto*) { C->Ellipse(Box, std::numeric_limits<double>::quiet_NaN(), 80, 8); }},
};

INSTANTIATE_TEST_SUITE_P(AllOperations, CanvasStateTest, ::testing::ValuesIn(Operations),
                         [](const auto& Info) { return std::string(Info.param.Name); });

TEST_F(CanvasTest, FilledFramedAndOutlinedRectanglesCoverTheirPixels) {
  const TBitmap B = Draw([](TLumCanvas* C) {
    C->Brush()->SetColor(Red);
    C->FillRect({10, 10, 30, 30});
    C->Brush()->SetColor(Green);
    C->FrameRect({40, 10, 70, 40});
    C->Brush()->SetColor(Blue);
    C->Pen()->SetColor(White);
    C->Rectangle(10, 40, 30, 58);
  });
  const std::tuple<int, int, uint32_t> Probes[] = {
      {10, 10, Red},   {29, 29, Red},   {30, 29, 0},     {29, 30, 0},
      {9, 10, 0},      {40, 10, Green}, {69, 10, Green}, {69, 39, Green},
      {40, 39, Green}, {55, 10, Green}, {40, 25, Green}, {55, 25, 0},
      {70, 25, 0},     {10, 40, White}, {29, 57, White}, {20, 49, Blue}};
  for (auto [X, Y, C] : Probes) EXPECT_EQ(B.GetPixel(X, Y), C) << X << "," << Y;
  // A focus rectangle inverts its dots, so a second one takes the first away.
  auto Focus = [this](int Times) {
    return LitPixels(Draw([Times](TLumCanvas* C) {
      for (int I = 0; I < Times; ++I) C->DrawFocusRect({10, 10, 50, 40});
    }));
  };
  EXPECT_NEAR(Focus(1), (39 + 29) * 2 / 2, 4);
  EXPECT_EQ(Focus(2), 0);
}

TEST_F(CanvasTest, ConcavePolygonLeavesItsNotchEmpty) {
  // A chevron: the notch reaches up from the bottom edge to (40, 25).
  const TBitmap B = Draw([](TLumCanvas* C) {
    C->Brush()->SetColor(Red);
    C->Pen()->SetColor(Red);
    C->Polygon({{10, 10}, {70, 10}, {70, 50}, {40, 25}, {10, 50}});
  });
  for (auto [X, Y] : {std::pair{15, 15}, {40, 15}, {66, 45}, {12, 45}, {40, 22}})
    EXPECT_EQ(B.GetPixel(X, Y), Red) << X << "," << Y;
  for (auto [X, Y] : {std::pair{40, 45}, {40, 32}, {30, 48}, {5, 30}})
    EXPECT_EQ(B.GetPixel(X, Y), 0u) << X << "," << Y;
}

TEST_F(CanvasTest, EllipsesSectorsAndArcs) {
  const TBitmap Whole = Draw([](TLumCanvas* C) {
    C->Brush()->SetColor(Red);
    C->Ellipse(10, 10, 50, 50);
  });
  // The corner (12, 12) lies outside the curve.
  EXPECT_EQ((std::array{Whole.GetPixel(30, 30), Whole.GetPixel(30, 11), Whole.GetPixel(12, 12),
                        Whole.GetPixel(51, 30)}),
            (std::array{Red, Red, 0u, 0u}));
  // 0 to 90 degrees: the upper right quarter on the screen.
  const TBitmap Sector = Draw([](TLumCanvas* C) {
    C->Brush()->SetColor(Red);
    C->Pen()->SetColor(Red);
    C->Ellipse({10, 10, 50, 50}, 0, 90, 16);
  });
  EXPECT_EQ(Sector.GetPixel(40, 20), Red);
  for (auto [X, Y] : {std::pair{20, 20}, {20, 40}, {40, 40}})
    EXPECT_EQ(Sector.GetPixel(X, Y), 0u) << X << "," << Y;
  const TBitmap Arc = Draw([](TLumCanvas* C) { C->Ellipse({10, 10, 50, 50}, 0, 180, -32); });
  EXPECT_EQ(Arc.GetPixel(30, 30), 0u);
  EXPECT_GT(LitPixels(Arc, 25, 9, 35, 12), 0);  // the top of the arc
  EXPECT_EQ(LitPixels(Arc, 0, 32, 80, 60), 0);  // nothing of the lower half
}

TEST_F(CanvasTest, StipplePhaseRotatesThePattern) {
  TLumPen Pen;
  Pen.SetStyle(lsDash);
  for (int Phase : {4, 20, -12}) {
    Pen.SetStipplePhase(Phase);
    EXPECT_EQ(Pen.StipplePattern(), 0x0F0F) << Phase;
  }
  auto Line = [this](int Phase) {
    return Draw([Phase](TLumCanvas* C) {
      C->Pen()->SetStyle(lsDash);
      C->Pen()->SetStipplePhase(Phase);
      C->MoveTo(0, 20);
      C->LineTo(64, 20);
    });
  };
  // The pattern starts at its lowest bit: $F0F0 begins with four pixels off.
  const TBitmap P0 = Line(0), P4 = Line(4);
  EXPECT_EQ((std::array{LitPixels(P0, 0, 20, 4, 21), LitPixels(P0, 4, 20, 8, 21),
                        LitPixels(P4, 0, 20, 4, 21), LitPixels(P4, 4, 20, 8, 21)}),
            (std::array{0, 4, 4, 0}));
  EXPECT_EQ(LitPixels(P4, 0, 0, 80, 20) + LitPixels(P4, 0, 21, 80, 60), 0);
}

TEST_F(CanvasTest, TextLightsOnlyItsBoxAndGrowsWithTheSize) {
  int32_t Width = 0, Height = 0;
  const TBitmap Small = Draw([&](TLumCanvas* C) {
    C->Font()->SetSize(10);
    C->TextOut(12, 8, "Hgl");
    Width = C->TextWidth("Hgl");
    Height = C->Font()->Ascent() + C->Font()->Descent();
  });
  ASSERT_GT(Width, 0);
  EXPECT_GT(LitPixels(Small, 12, 8, 12 + Width, 8 + Height), 20);
  EXPECT_EQ(LitPixels(Small), LitPixels(Small, 12, 8, 12 + Width, 8 + Height));
  const TBitmap Large = Draw([](TLumCanvas* C) {
    C->Font()->SetSize(20);
    C->TextOut(12, 8, "Hgl");
  });
  EXPECT_GT(LitPixels(Large), 2 * LitPixels(Small));
  EXPECT_GT(LitPixels(Large, 0, 8 + Height, 80, 60), 0);
  // Characters beyond the 256 lists and overlong forms show as '?'; Latin-1 ones
  // through either call.
  EXPECT_TRUE(SamePixels(Draw([](TLumCanvas* C) { C->TextOut(5, 5, "a\xE2\x82\xAC\xE0\x83\xA9"); }),
                         Draw([](TLumCanvas* C) { C->TextOut(5, 5, "a??"); })));
  EXPECT_TRUE(SamePixels(Draw([](TLumCanvas* C) { C->TextOut(5, 5, "\xC3\xA9"); }),
                         Draw([](TLumCanvas* C) { C->TextOutA(5, 5, "\xE9"); })));
  const TBitmap Under = Draw([](TLumCanvas* C) {
    C->Font()->SetStyle({fsUnderline});
    C->TextOut(5, 5, "   ");
  });
  EXPECT_GT(LitPixels(Under), 5);  // spaces draw nothing but their underline
}

TEST_F(CanvasTest, HalfTransparentBrushBlendsOverTheFrame) {
  View->SetBackgroundColor(Blue);
  auto Fill = [this](TLumTransparencyMode Mode) {
    return Draw([Mode](TLumCanvas* C) {
      C->SetTransparency(Mode);
      C->Brush()->SetAlpha(0.5f);
      C->FillRect({0, 0, 40, 60});
    });
  };
  const TBitmap Blended = Fill(tmAlpha);
  const uint32_t C = Blended.GetPixel(20, 30);
  EXPECT_NEAR(static_cast<int>(C & 0xFF), 128, 2);
  EXPECT_NEAR(static_cast<int>((C >> 8) & 0xFF), 128, 2);
  EXPECT_EQ((C >> 16) & 0xFF, 255u);
  EXPECT_EQ(Blended.GetPixel(60, 30), Blue);
  EXPECT_EQ(Fill(tmNone).GetPixel(20, 30), White);
}

TEST_F(CanvasTest, TextureFillsTheRectangle) {
  auto* Tex = new TLumTexture(&Form);
  TBitmap Image(2, 2);
  Image.SetPixel(0, 0, Red), Image.SetPixel(1, 0, Green), Image.SetPixel(0, 1, Blue);
  Image.SetPixel(1, 1, White);
  Tex->SetBitmap(&Image);
  const TBitmap B = Draw([Tex](TLumCanvas* C) {
    C->DrawTexture({10, 10, 30, 30}, Tex, {0, 0, 2, 2});
  });
  EXPECT_EQ((std::array{B.GetPixel(12, 12), B.GetPixel(28, 12), B.GetPixel(12, 28),
                        B.GetPixel(28, 28), B.GetPixel(31, 20)}),
            (std::array{Red, Green, Blue, White, 0u}));
  const TBitmap Part = Draw([Tex](TLumCanvas* C) {
    C->DrawTexture({10, 10, 30, 30}, Tex, {1, 0, 2, 1});
  });
  EXPECT_EQ((std::array{Part.GetPixel(12, 12), Part.GetPixel(28, 28)}), (std::array{Green, Green}));
}

TEST_F(CanvasTest, GDITo3DMapsTheCornersOfTheWindow) {
  View->SetBounds(200, 100);
  auto XYZ = [](const TLumMathVector& V) { return std::array{V.X, V.Y, V.Z}; };
  EXPECT_EQ(XYZ(View->GDITo3D(0, 0, 0)), (std::array{-1.0, 1.0, 0.0}));
  EXPECT_EQ(XYZ(View->GDITo3D(200, 100, 0)), (std::array{1.0, -1.0, 0.0}));
  EXPECT_EQ(XYZ(View->GDITo3D(50, 75, 0.5)), (std::array{-0.5, -0.5, 0.5}));
}

TEST_F(CanvasTest, AlphaSettersKeepTheUnitRange) {
  TLumCanvas* C = View->Canvas();
  for (float Bad : {1.2f, -0.1f})
    C->Pen()->SetAlpha(Bad), C->Brush()->SetAlpha(Bad), C->Font()->SetAlpha(Bad);
  C->Font()->SetAlpha(0);
  EXPECT_EQ((std::array{C->Pen()->Alpha(), C->Brush()->Alpha(), C->Font()->Alpha()}),
            (std::array{1.0f, 1.0f, 0.0f}));
}

class FontListTest : public test::GLTest {};

TEST_F(FontListTest, MissingFamilyFallsBackAndUnloadableFaceGivesMinusOne) {
  TLumFont Font;
  Font.SetName("No Such Family Lumox");
  const int32_t Base = Font.GetListBase();
  ASSERT_GE(Base, 0);
  EXPECT_TRUE(glIsList(static_cast<GLuint>(Base + 'A')));
  Font.SetSize(30);  // a change frees the lists
  EXPECT_EQ(Font.ListBase(), -1);
  EXPECT_FALSE(glIsList(static_cast<GLuint>(Base + 'A')));
  Font.SetName("/no/such/dir/font.ttf");
  EXPECT_EQ(Font.GetListBase(), -1);
  Font.SetName(LUMOX_TEST_DATA "/../view/lumcanvasview_test.cpp");  // not a font
  EXPECT_EQ(Font.GetListBase(), -1);
}

// The glyph lists go with the view that painted, and with a font change of a view that
// only took images (with or without an image after the change).
TEST(CanvasViewTest, GlyphListsGoWithTheViewOrAFontChange) {
  for (int Way = 0; Way < 3; ++Way) {
    SCOPED_TRACE(Way);
    int32_t Base = -1;
    {
      TComponent Form(nullptr);
      auto* View = new TLumView(&Form);
      View->SetBounds(40, 30);
      View->OnRender = [&Base](TLumView* V) {
        V->Canvas()->TextOut(1, 1, "x");
        Base = V->Canvas()->Font()->ListBase();
      };
      TBitmap Image(40, 30);
      if (Way == 0) {
        View->Paint();
      } else {
        ASSERT_TRUE(View->GetImage(&Image));
        ASSERT_GE(Base, 0);
        View->Canvas()->Font()->SetSize(20);
        EXPECT_EQ(View->Canvas()->Font()->ListBase(), -1);
        View->OnRender = nullptr;
        if (Way == 2) {
          ASSERT_TRUE(View->GetImage(&Image));
        }
        EXPECT_FALSE(View->Active());
      }
    }
    ASSERT_GE(Base, 0);
    auto Ctx = CreateEGLContext(8, 8);  // shares the lists of every view
    ASSERT_TRUE(Ctx->MakeCurrent());
    EXPECT_FALSE(glIsList(static_cast<GLuint>(Base + 'x')));
    Ctx->Release();
  }
}

}  // namespace
