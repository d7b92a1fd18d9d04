// Tests of TLumAttributes and TLumFog: blending as each transparency mode means it, the
// values that reach GL, the last-rendered cache, setter rules, Assign selection and
// exchange round trips.
#include "lumox/scene/lumattr.h"

#include <algorithm>

#include "support/glfixture.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

GLint GetInt(GLenum Name, int Index = 0) {
  GLint V[4] = {};
  glGetIntegerv(Name, V);
  return V[Index];
}

std::array<float, 4> GetFloats(GLenum Name) {
  std::array<float, 4> V{};
  glGetFloatv(Name, V.data());
  return V;
}

class AttributesTest : public test::GLTest {
 protected:
  void SetUp() override {
    test::GLTest::SetUp();
    View->RenderState().Reset();
    if (!GetRenderClass("TLumAttributes")) RegisterLumattrClasses();
  }
  // Every published value away from its default.
  static void Distinct(TLumAttributes& A) {
    A.SetAntialiasing(true), A.ColorAmbient()->SetColor(0x0000FF);
    A.ColorAmbient()->SetAlpha(0.5f), A.SetCullFace(cfBack), A.SetDithering(true);
    A.SetLighting(true), A.SetLightTwoSide(true), A.SetLineStipple(lsDash);
    A.SetLineWidth(3.0f), A.SetPerspectiveCorrection(quNicest), A.SetPointSize(4.0f);
    A.SetPolygonMode(pmLine), A.SetShadeModel(smFlat), A.SetTransparency(tmSubColor);
  }
  TComponent Owner{nullptr};
};

// A half-transparent colour drawn over the background under each transparency mode.
TEST_F(AttributesTest, TransparencyModesBlendAsTheirNamesSay) {
  const float Back[3] = {0.2f, 0.4f, 0.6f}, Front[3] = {0.8f, 0.4f, 0.2f}, Alpha = 0.5f;
  auto Expected = [&](int Mode, int K) {
    const float B = Back[K], F = Front[K];
    switch (Mode) {
      case tmAlpha:  // mixed by alpha
        return F * Alpha + B * (1 - Alpha);
      case tmAddAlpha:  // added, weighted by alpha
        return std::min(1.0f, F * Alpha + B);
      case tmAddColor:  // each colour weighted by the other
        return std::min(1.0f, 2 * F * B);
      case tmSubColor:  // each weighted by the other's complement
        return F * (1 - B) + B * (1 - F);
      default:  // tmNone: opaque
        return F;
    }
  };
  for (int Mode = tmNone; Mode <= tmSubColor; ++Mode) {
    TLumAttributes A(nullptr);
    A.SetTransparency(static_cast<TLumTransparencyMode>(Mode));
    A.Render(nullptr);
    glClearColor(Back[0], Back[1], Back[2], 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glColor4f(Front[0], Front[1], Front[2], Alpha);
    glRectf(-1, -1, 1, 1);
    uint8_t P[4];
    glReadPixels(32, 32, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, P);
    for (int K = 0; K < 3; ++K)
      EXPECT_NEAR(P[K], Expected(Mode, K) * 255, 2) << TLumTransparencyModeStr[Mode] << " " << K;
  }
}

TEST_F(AttributesTest, SwitchesColourStippleAndSizesReachGL) {
  TLumAttributes A(nullptr), Fresh(nullptr);
  Distinct(A);
  A.StippleShift = 4;
  A.StippleFactor = 3;
  A.Render(nullptr);
  const GLenum Caps[5] = {GL_POINT_SMOOTH, GL_LINE_SMOOTH, GL_POLYGON_SMOOTH, GL_DITHER,
                          GL_LIGHTING};
  for (GLenum Cap : Caps) EXPECT_TRUE(glIsEnabled(Cap)) << Cap;
  EXPECT_EQ(GetFloats(GL_LIGHT_MODEL_AMBIENT), (std::array<float, 4>{1, 0, 0, 0.5f}));
  EXPECT_EQ((std::array{GetInt(GL_LIGHT_MODEL_TWO_SIDE), GetInt(GL_LINE_STIPPLE_PATTERN),
                        GetInt(GL_LINE_STIPPLE_REPEAT)}),
            (std::array{1, 0x0F0F, 3}));
  EXPECT_EQ((std::array{GetFloats(GL_POINT_SIZE)[0], GetFloats(GL_LINE_WIDTH)[0]}),
            (std::array{4.0f, 3.0f}));
  Fresh.Render(nullptr);
  for (GLenum Cap : Caps) EXPECT_FALSE(glIsEnabled(Cap)) << Cap;
  EXPECT_EQ(GetInt(GL_LIGHT_MODEL_TWO_SIDE), 0);
}

// Kept as they are: the fresh line width of 0, which GL refuses, and the hints that
// name the smoothing capabilities instead of their hint targets.
TEST_F(AttributesTest, SizesMustBePositiveAndGLRefusesTheFreshLineWidth) {
  glLineWidth(2.5f);
  while (glGetError() != GL_NO_ERROR) {
  }
  TLumAttributes A(nullptr);
  for (float Bad : {0.0f, -2.0f}) A.SetPointSize(Bad), A.SetLineWidth(Bad);
  A.Render(nullptr);
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_VALUE));
  EXPECT_EQ((std::array{GetFloats(GL_LINE_WIDTH)[0], GetFloats(GL_POINT_SIZE)[0]}),
            (std::array{2.5f, 1.0f}));
  A.SetLineWidth(1.0f), A.SetAntialiasing(true);
  A.Render(nullptr);
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_ENUM));
  EXPECT_EQ(GetInt(GL_LINE_SMOOTH_HINT), GL_DONT_CARE);
}

TEST_F(AttributesTest, RenderTwiceEmitsOnceUntilChangedOrNewFrame) {
  TLumAttributes A(nullptr);
  A.Render(View);
  glEnable(GL_BLEND);
  A.Render(View);
  EXPECT_TRUE(glIsEnabled(GL_BLEND)) << "a second render in a frame emits nothing";
  for (int Step = 0; Step < 4; ++Step) {
    glEnable(GL_BLEND);
    if (Step == 0) A.SetLighting(true);
    if (Step == 1) A.ColorAmbient()->SetColor(0xFFFFFF);
    if (Step == 2) View->RenderState().Reset();  // a new frame, image or list
    if (Step == 3) A.Render(nullptr);            // no view, nothing known: emitted
    A.Render(View);
    EXPECT_FALSE(glIsEnabled(GL_BLEND)) << "emits again after step " << Step;
  }
  // Attributes made where freed ones lived are not taken for them.
  test::ExpectNewbornNotTakenForTheFreed<TLumAttributes>(&Owner, View, IsLastRenderedAttributes);
}

// --- fog ------------------------------------------------------------------------------

TEST_F(AttributesTest, FogPassesItsValuesUnchangedAndDisabledFogSwitchesOff) {
  TLumFog F(nullptr);
  F.SetStartDepth(5.0f), F.SetEndDepth(5.0f), F.SetDensity(0.75f);
  F.Color()->SetColor(0x00FF00);
  F.Render(nullptr);
  EXPECT_TRUE(glIsEnabled(GL_FOG));
  EXPECT_EQ((std::array{GetFloats(GL_FOG_START)[0], GetFloats(GL_FOG_END)[0],
                        GetFloats(GL_FOG_DENSITY)[0]}),
            (std::array{5.0f, 5.0f, 0.75f}));
  EXPECT_EQ(GetFloats(GL_FOG_COLOR), (std::array<float, 4>{0, 1, 0, 1}));
  F.SetEnabled(false);
  F.Render(nullptr);
  EXPECT_FALSE(glIsEnabled(GL_FOG));
}

TEST_F(AttributesTest, AttributesAndFogAssignAndRoundTripKeepTheirValues) {
  test::TempDir Dir;
  const std::string File = Dir.File("attr.xml");
  TLumAttributes S(nullptr), D(nullptr);
  Distinct(S);
  S.StippleShift = 3;
  test::ExpectRoundTrip(&S, &Owner, Dir, {});
  const std::string Text = test::SavedText(&S, File);

  // Assign leaves dithering, perspective correction, the stipple fields and the sizes.
  D.Assign(&S);
  EXPECT_EQ(D.StippleShift, 0);
  D.SetDithering(true), D.SetPerspectiveCorrection(quNicest);
  EXPECT_NE(test::SavedText(&D, File), Text);
  D.SetPointSize(4.0f), D.SetLineWidth(3.0f);
  EXPECT_EQ(test::SavedText(&D, File), Text);

  TLumFog F(nullptr), G(nullptr);
  F.SetMode(fmLinear), F.SetDensity(0.25f), F.SetStartDepth(1.5f), F.SetQuality(quFastest);
  F.Color()->SetColor(0xA0B0C0);
  test::ExpectRoundTrip(&F, &Owner, Dir, {});
  const std::string FogText = test::SavedText(&F, File);

  // Assign takes only fogs, not their quality, and takes over the source's listener.
  TLumAttributes NotFog(nullptr);
  NotFog.SetEnabled(false);
  G.Assign(&NotFog);
  EXPECT_TRUE(G.Enabled()) << "not even the inherited part is copied";
  int SourceChanges = 0;
  F.OnChange = [&](TObject*) { ++SourceChanges; };
  G.Assign(&F);
  EXPECT_GT(SourceChanges, 0);
  EXPECT_EQ(G.Quality(), quDontCare);
  G.SetQuality(quFastest);
  EXPECT_EQ(test::SavedText(&G, File), FogText);
}

}  // namespace
}  // namespace lumox
