// Tests of TLumAttributes and TLumFog: the GL state they leave for every mapping, the
// last-rendered cache, setter rules, Assign selection and exchange round trips.
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
    RunFrameResetHooks(false);
    if (!GetRenderClass("TLumAttributes")) RegisterLumattrClasses();
  }
  // Every published value away from its default.
  static void Distinct(TLumAttributes& A) {
    A.SetAntialiasing(true);
    A.ColorAmbient()->SetColor(0x0000FF);
    A.ColorAmbient()->SetAlpha(0.5f);
    A.SetCullFace(cfBack);
    A.SetDithering(true);
    A.SetLighting(true);
    A.SetLightTwoSide(true);
    A.SetLineStipple(lsDash);
    A.SetLineWidth(3.0f);
    A.SetPerspectiveCorrection(quNicest);
    A.SetPointSize(4.0f);
    A.SetPolygonMode(pmLine);
    A.SetShadeModel(smFlat);
    A.SetTransparency(tmSubColor);
  }
  TComponent Owner{nullptr};
};

// Each setter call re-arms the cache, so every render below emits the full state.
TEST_F(AttributesTest, EveryEnumerationMapsToItsGLState) {
  TLumAttributes A(nullptr);
  const GLint Blend[5][2] = {{0, 0},
                             {GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA},
                             {GL_SRC_ALPHA, GL_ONE},
                             {GL_DST_COLOR, GL_SRC_COLOR},
                             {GL_ONE_MINUS_DST_COLOR, GL_ONE_MINUS_SRC_COLOR}};
  const GLint Cull[3] = {0, GL_FRONT, GL_BACK};
  const GLint Pattern[6] = {0x0000, 0xF0F0, 0x5555, 0x7272, 0xEAEA, 0xFFFF};
  const GLint Poly[3] = {GL_POINT, GL_LINE, GL_FILL};
  const GLint Quality[3] = {GL_FASTEST, GL_NICEST, GL_DONT_CARE};
  for (int i = 5; i >= 0; --i) {
    SCOPED_TRACE(i);
    A.SetTransparency(static_cast<TLumTransparencyMode>(std::min(i, 4)));
    A.SetLineStipple(static_cast<TLumLineStipple>(i));
    A.SetCullFace(static_cast<TLumCullFace>(i % 3));
    A.SetPolygonMode(static_cast<TLumPolygonMode>(i % 3));
    A.SetPerspectiveCorrection(static_cast<TLumQuality>(i % 3));
    A.SetShadeModel(static_cast<TLumShadeModel>(i % 2));
    A.Render(nullptr);
    EXPECT_EQ(glIsEnabled(GL_BLEND), i != tmNone);
    // tmNone leaves the factors of tmAlpha, rendered just before it.
    EXPECT_EQ(GetInt(GL_BLEND_SRC), Blend[std::clamp(i, 1, 4)][0]);
    EXPECT_EQ(GetInt(GL_BLEND_DST), Blend[std::clamp(i, 1, 4)][1]);
    EXPECT_EQ(glIsEnabled(GL_LINE_STIPPLE), i != lsSolid);
    EXPECT_EQ(GetInt(GL_LINE_STIPPLE_PATTERN), Pattern[i]);  // GL's own 0xFFFF for lsSolid
    EXPECT_EQ(glIsEnabled(GL_CULL_FACE), i % 3 != cfNone);
    if (i % 3 != cfNone) {
      EXPECT_EQ(GetInt(GL_CULL_FACE_MODE), Cull[i % 3]);
    }
    EXPECT_EQ(GetInt(GL_POLYGON_MODE, 0), Poly[i % 3]);
    EXPECT_EQ(GetInt(GL_POLYGON_MODE, 1), Poly[i % 3]);
    EXPECT_EQ(GetInt(GL_PERSPECTIVE_CORRECTION_HINT), Quality[i % 3]);
    EXPECT_EQ(GetInt(GL_SHADE_MODEL), i % 2 ? GL_SMOOTH : GL_FLAT);
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
  EXPECT_EQ(GetInt(GL_LIGHT_MODEL_TWO_SIDE), 1);
  EXPECT_EQ(GetInt(GL_LINE_STIPPLE_PATTERN), 0x0F0F);
  EXPECT_EQ(GetInt(GL_LINE_STIPPLE_REPEAT), 3);
  EXPECT_EQ(GetFloats(GL_POINT_SIZE)[0], 4.0f);
  EXPECT_EQ(GetFloats(GL_LINE_WIDTH)[0], 3.0f);
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
  for (float Bad : {0.0f, -2.0f}) {
    A.SetPointSize(Bad);
    A.SetLineWidth(Bad);
  }
  A.Render(nullptr);
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_VALUE));
  EXPECT_EQ(GetFloats(GL_LINE_WIDTH)[0], 2.5f);
  EXPECT_EQ(GetFloats(GL_POINT_SIZE)[0], 1.0f);
  A.SetLineWidth(1.0f);
  A.SetAntialiasing(true);
  A.Render(nullptr);
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_ENUM));
  EXPECT_EQ(GetInt(GL_LINE_SMOOTH_HINT), GL_DONT_CARE);
}

TEST_F(AttributesTest, RenderTwiceEmitsOnceUntilChangedOrNewFrame) {
  TLumAttributes A(nullptr);
  A.Render(nullptr);
  glEnable(GL_BLEND);
  A.Render(nullptr);
  EXPECT_TRUE(glIsEnabled(GL_BLEND)) << "a second render in a frame emits nothing";
  for (int Step = 0; Step < 4; ++Step) {
    glEnable(GL_BLEND);
    if (Step == 0) A.SetLighting(true);
    if (Step == 1) A.ColorAmbient()->SetColor(0xFFFFFF);
    if (Step >= 2) RunFrameResetHooks(Step == 3);
    A.Render(nullptr);
    EXPECT_FALSE(glIsEnabled(GL_BLEND)) << "emits again after step " << Step;
  }
  auto* Dying = new TLumAttributes(&Owner);
  Dying->Render(nullptr);
  delete Dying;
  EXPECT_TRUE(IsLastRenderedAttributes(nullptr));
}

TEST_F(AttributesTest, AssignAndRoundTripKeepTheirValues) {
  test::TempDir Dir;
  const std::string File = Dir.File("attr.xml");
  TLumAttributes S(nullptr), D(nullptr);
  EXPECT_NE(
      test::SavedText(&S, File, true)
          .find("<TLumAttributes LineStipple=\"lsSolid\" PerspectiveCorrection=\"quDontCare\" "
                "PointSize=\"1\" PolygonMode=\"pmFill\" ShadeModel=\"smSmooth\">"),
      std::string::npos);
  Distinct(S);
  S.StippleShift = 3;
  const std::string Text = test::SavedText(&S, File);
  EXPECT_NE(Text.find(" Antialiasing=\"true\" CullFace=\"cfBack\" Dithering=\"true\" "
                      "Lighting=\"true\" LightTwoSide=\"true\" LineStipple=\"lsDash\" "
                      "LineWidth=\"3\" PerspectiveCorrection=\"quNicest\" PointSize=\"4\" "
                      "PolygonMode=\"pmLine\" ShadeModel=\"smFlat\" Transparency=\"tmSubColor\">"),
            std::string::npos)
      << Text;
  EXPECT_NE(Text.find("<ColorAmbient Color=\"000000FF\" Alpha=\"0.5\"/>"), std::string::npos);
  auto* L = test::LoadComponent<TLumAttributes>(&Owner, File);
  ASSERT_NE(L, nullptr);
  EXPECT_EQ(test::SavedText(L, File), Text);

  // Assign leaves dithering, perspective correction, the stipple fields and the sizes.
  D.Assign(&S);
  EXPECT_EQ(D.StippleShift, 0);
  D.SetDithering(true);
  D.SetPerspectiveCorrection(quNicest);
  EXPECT_NE(test::SavedText(&D, File), Text);
  D.SetPointSize(4.0f);
  D.SetLineWidth(3.0f);
  EXPECT_EQ(test::SavedText(&D, File), Text);
}

// --- fog ------------------------------------------------------------------------------

TEST_F(AttributesTest, FogPassesItsValuesUnchangedAndDisabledFogSwitchesOff) {
  const GLint Mode[3] = {GL_LINEAR, GL_EXP, GL_EXP2};
  const GLint Hint[3] = {GL_FASTEST, GL_NICEST, GL_DONT_CARE};
  TLumFog F(nullptr);
  F.SetStartDepth(5.0f);
  F.SetEndDepth(5.0f);
  F.SetDensity(0.75f);
  F.Color()->SetColor(0x00FF00);
  for (int i = 0; i < 3; ++i) {
    F.SetMode(static_cast<TLumFogMode>(i));
    F.SetQuality(static_cast<TLumQuality>(i));
    F.Render(nullptr);
    EXPECT_EQ(GetInt(GL_FOG_MODE), Mode[i]) << TLumFogModeStr[i];
    EXPECT_EQ(GetInt(GL_FOG_HINT), Hint[i]) << TLumQualityStr[i];
  }
  EXPECT_TRUE(glIsEnabled(GL_FOG));
  EXPECT_EQ(GetFloats(GL_FOG_START)[0], 5.0f);
  EXPECT_EQ(GetFloats(GL_FOG_END)[0], 5.0f);
  EXPECT_EQ(GetFloats(GL_FOG_DENSITY)[0], 0.75f);
  EXPECT_EQ(GetFloats(GL_FOG_COLOR), (std::array<float, 4>{0, 1, 0, 1}));
  F.SetEnabled(false);
  F.Render(nullptr);
  EXPECT_FALSE(glIsEnabled(GL_FOG));
}

TEST_F(AttributesTest, FogAssignAndRoundTripKeepTheirValues) {
  test::TempDir Dir;
  const std::string File = Dir.File("fog.xml");
  TLumFog S(nullptr), D(nullptr);
  S.SetMode(fmLinear);
  S.SetDensity(0.25f);
  S.SetStartDepth(1.5f);
  S.SetQuality(quFastest);
  S.Color()->SetColor(0xA0B0C0);
  const std::string Text = test::SavedText(&S, File);
  EXPECT_NE(Text.find(" Density=\"0.25\" EndDepth=\"1\" Mode=\"fmLinear\" "
                      "Quality=\"quFastest\" StartDepth=\"1.5\">"),
            std::string::npos)
      << Text;
  EXPECT_NE(Text.find("<Color Color=\"00A0B0C0\""), std::string::npos);
  auto* L = test::LoadComponent<TLumFog>(&Owner, File);
  ASSERT_NE(L, nullptr);
  EXPECT_EQ(test::SavedText(L, File), Text);

  // Assign takes only fogs, not their quality, and takes over the source's listener.
  TLumAttributes NotFog(nullptr);
  NotFog.SetEnabled(false);
  D.Assign(&NotFog);
  EXPECT_TRUE(D.Enabled()) << "not even the inherited part is copied";
  int SourceChanges = 0;
  S.OnChange = [&](TObject*) { ++SourceChanges; };
  D.Assign(&S);
  EXPECT_GT(SourceChanges, 0);
  EXPECT_EQ(D.Quality(), quDontCare);
  D.SetQuality(quFastest);
  EXPECT_EQ(test::SavedText(&D, File), Text);
}

}  // namespace
}  // namespace lumox
