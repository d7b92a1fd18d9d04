// Tests of TLumAttributes and TLumFog: the GL state they leave, their last-rendered
// cache, setter rules, Assign selection and exchange round trips.
#include "lumox/scene/lumattr.h"

#include <functional>
#include <vector>

#include "support/glfixture.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

GLint GetInt(GLenum Name) {
  GLint V[4] = {0, 0, 0, 0};
  glGetIntegerv(Name, V);
  return V[0];
}

float GetFloat(GLenum Name) {
  GLfloat V[4] = {0, 0, 0, 0};
  glGetFloatv(Name, V);
  return V[0];
}

void EnsureRegistered() {
  if (!GetRenderClass("TLumAttributes")) RegisterLumattrClasses();
}

class AttributesTest : public test::GLTest {
 protected:
  void SetUp() override {
    test::GLTest::SetUp();
    RunFrameResetHooks(false);
  }
  TComponent Owner{nullptr};
};

// One row of a mapping table: a property setting and the GL values it must leave.
struct StateCase {
  const char* Name;
  std::function<void(TLumAttributes*)> Apply;
  GLenum Query;
  std::vector<GLint> Expected;
  GLenum Capability;  // 0: none to check
  bool CapabilityOn;
};

class AttributesTableTest : public test::GLTest, public ::testing::WithParamInterface<StateCase> {};

TEST_P(AttributesTableTest, RenderLeavesMappedState) {
  RunFrameResetHooks(false);
  const StateCase& C = GetParam();
  TLumAttributes A(nullptr);
  C.Apply(&A);
  A.Render(nullptr);
  GLint V[4] = {-1, -1, -1, -1};
  glGetIntegerv(C.Query, V);
  for (size_t i = 0; i < C.Expected.size(); ++i) EXPECT_EQ(V[i], C.Expected[i]) << C.Name << i;
  if (C.Capability) {
    EXPECT_EQ(glIsEnabled(C.Capability) == GL_TRUE, C.CapabilityOn) << C.Name;
  }
}

const StateCase AttributeCases[] = {
    {"tmNone",
     [](TLumAttributes* A) { A->SetTransparency(tmNone); },
     GL_BLEND_SRC,
     {GL_ONE},
     GL_BLEND,
     false},
    {"tmAlphaSrc",
     [](TLumAttributes* A) { A->SetTransparency(tmAlpha); },
     GL_BLEND_SRC,
     {GL_SRC_ALPHA},
     GL_BLEND,
     true},
    {"tmAlphaDst",
     [](TLumAttributes* A) { A->SetTransparency(tmAlpha); },
     GL_BLEND_DST,
     {GL_ONE_MINUS_SRC_ALPHA},
     GL_BLEND,
     true},
    {"tmAddAlphaSrc",
     [](TLumAttributes* A) { A->SetTransparency(tmAddAlpha); },
     GL_BLEND_SRC,
     {GL_SRC_ALPHA},
     GL_BLEND,
     true},
    {"tmAddAlphaDst",
     [](TLumAttributes* A) { A->SetTransparency(tmAddAlpha); },
     GL_BLEND_DST,
     {GL_ONE},
     GL_BLEND,
     true},
    {"tmAddColorSrc",
     [](TLumAttributes* A) { A->SetTransparency(tmAddColor); },
     GL_BLEND_SRC,
     {GL_DST_COLOR},
     GL_BLEND,
     true},
    {"tmAddColorDst",
     [](TLumAttributes* A) { A->SetTransparency(tmAddColor); },
     GL_BLEND_DST,
     {GL_SRC_COLOR},
     GL_BLEND,
     true},
    {"tmSubColorSrc",
     [](TLumAttributes* A) { A->SetTransparency(tmSubColor); },
     GL_BLEND_SRC,
     {GL_ONE_MINUS_DST_COLOR},
     GL_BLEND,
     true},
    {"tmSubColorDst",
     [](TLumAttributes* A) { A->SetTransparency(tmSubColor); },
     GL_BLEND_DST,
     {GL_ONE_MINUS_SRC_COLOR},
     GL_BLEND,
     true},
    {"cfNone",
     [](TLumAttributes* A) { A->SetCullFace(cfNone); },
     GL_CULL_FACE_MODE,
     {GL_BACK},
     GL_CULL_FACE,
     false},
    {"cfFront",
     [](TLumAttributes* A) { A->SetCullFace(cfFront); },
     GL_CULL_FACE_MODE,
     {GL_FRONT},
     GL_CULL_FACE,
     true},
    {"cfBack",
     [](TLumAttributes* A) { A->SetCullFace(cfBack); },
     GL_CULL_FACE_MODE,
     {GL_BACK},
     GL_CULL_FACE,
     true},
    {"pmPoint",
     [](TLumAttributes* A) { A->SetPolygonMode(pmPoint); },
     GL_POLYGON_MODE,
     {GL_POINT, GL_POINT},
     0,
     false},
    {"pmLine",
     [](TLumAttributes* A) { A->SetPolygonMode(pmLine); },
     GL_POLYGON_MODE,
     {GL_LINE, GL_LINE},
     0,
     false},
    {"pmFill",
     [](TLumAttributes* A) { A->SetPolygonMode(pmFill); },
     GL_POLYGON_MODE,
     {GL_FILL, GL_FILL},
     0,
     false},
    {"quFastest",
     [](TLumAttributes* A) { A->SetPerspectiveCorrection(quFastest); },
     GL_PERSPECTIVE_CORRECTION_HINT,
     {GL_FASTEST},
     0,
     false},
    {"quNicest",
     [](TLumAttributes* A) { A->SetPerspectiveCorrection(quNicest); },
     GL_PERSPECTIVE_CORRECTION_HINT,
     {GL_NICEST},
     0,
     false},
    {"quDontCare",
     [](TLumAttributes* A) { A->SetPerspectiveCorrection(quDontCare); },
     GL_PERSPECTIVE_CORRECTION_HINT,
     {GL_DONT_CARE},
     0,
     false},
    {"smFlat",
     [](TLumAttributes* A) { A->SetShadeModel(smFlat); },
     GL_SHADE_MODEL,
     {GL_FLAT},
     0,
     false},
    {"smSmooth",
     [](TLumAttributes* A) { A->SetShadeModel(smSmooth); },
     GL_SHADE_MODEL,
     {GL_SMOOTH},
     0,
     false},
    {"LightingOn",
     [](TLumAttributes* A) { A->SetLighting(true); },
     GL_LIGHT_MODEL_TWO_SIDE,
     {0},
     GL_LIGHTING,
     true},
    {"TwoSide",
     [](TLumAttributes* A) { A->SetLightTwoSide(true); },
     GL_LIGHT_MODEL_TWO_SIDE,
     {1},
     GL_LIGHTING,
     false},
    {"DitherOff", [](TLumAttributes*) {}, GL_LINE_STIPPLE_REPEAT, {1}, GL_DITHER, false},
    {"DitherOn",
     [](TLumAttributes* A) { A->SetDithering(true); },
     GL_LINE_STIPPLE_REPEAT,
     {1},
     GL_DITHER,
     true},
    {"lsSolid", [](TLumAttributes*) {}, GL_LINE_STIPPLE_PATTERN, {0xFFFF}, GL_LINE_STIPPLE, false},
    {"lsClear",
     [](TLumAttributes* A) { A->SetLineStipple(lsClear); },
     GL_LINE_STIPPLE_PATTERN,
     {0x0000},
     GL_LINE_STIPPLE,
     true},
    {"lsDot",
     [](TLumAttributes* A) { A->SetLineStipple(lsDot); },
     GL_LINE_STIPPLE_PATTERN,
     {0x5555},
     GL_LINE_STIPPLE,
     true},
    {"lsDashDot",
     [](TLumAttributes* A) { A->SetLineStipple(lsDashDot); },
     GL_LINE_STIPPLE_PATTERN,
     {0x7272},
     GL_LINE_STIPPLE,
     true},
    {"lsDashDotDot",
     [](TLumAttributes* A) { A->SetLineStipple(lsDashDotDot); },
     GL_LINE_STIPPLE_PATTERN,
     {0xEAEA},
     GL_LINE_STIPPLE,
     true},
    {"lsDashShifted4",
     [](TLumAttributes* A) {
       A->SetLineStipple(lsDash);
       A->StippleShift = 4;
     },
     GL_LINE_STIPPLE_PATTERN,
     {0x0F0F},
     GL_LINE_STIPPLE,
     true},
    {"lsDotFactor3",
     [](TLumAttributes* A) {
       A->SetLineStipple(lsDot);
       A->StippleFactor = 3;
     },
     GL_LINE_STIPPLE_REPEAT,
     {3},
     GL_LINE_STIPPLE,
     true},
};

INSTANTIATE_TEST_SUITE_P(Tables, AttributesTableTest, ::testing::ValuesIn(AttributeCases),
                         [](const auto& Info) { return std::string(Info.param.Name); });

TEST_F(AttributesTest, RendersAmbientAndSizes) {
  TLumAttributes A(nullptr);
  TLumColor C;
  C.SetColor(0x0000FF);
  C.SetAlpha(0.5f);
  A.SetAmbient(&C);
  A.SetPointSize(4.0f);
  A.SetLineWidth(3.0f);
  A.Render(nullptr);
  GLfloat Ambient[4];
  glGetFloatv(GL_LIGHT_MODEL_AMBIENT, Ambient);
  EXPECT_FLOAT_EQ(Ambient[0], 1.0f);
  EXPECT_FLOAT_EQ(Ambient[1], 0.0f);
  EXPECT_FLOAT_EQ(Ambient[3], 0.5f);
  EXPECT_FLOAT_EQ(GetFloat(GL_POINT_SIZE), 4.0f);
  EXPECT_FLOAT_EQ(GetFloat(GL_LINE_WIDTH), 3.0f);
}

TEST_F(AttributesTest, FreshLineWidthOfZeroIsRefusedByGL) {
  glLineWidth(2.5f);
  while (glGetError() != GL_NO_ERROR) {
  }
  TLumAttributes A(nullptr);
  EXPECT_EQ(A.LineWidth(), 0.0f);
  A.Render(nullptr);
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_VALUE));
  EXPECT_FLOAT_EQ(GetFloat(GL_LINE_WIDTH), 2.5f);
}

TEST_F(AttributesTest, AntialiasingEnablesSmoothingAndItsHintsAreRejected) {
  while (glGetError() != GL_NO_ERROR) {
  }
  TLumAttributes A(nullptr);
  A.SetLineWidth(1.0f);
  A.SetAntialiasing(true);
  A.Render(nullptr);
  EXPECT_TRUE(glIsEnabled(GL_POINT_SMOOTH));
  EXPECT_TRUE(glIsEnabled(GL_LINE_SMOOTH));
  EXPECT_TRUE(glIsEnabled(GL_POLYGON_SMOOTH));
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_ENUM));
  EXPECT_EQ(GetInt(GL_LINE_SMOOTH_HINT), GL_DONT_CARE);

  A.SetAntialiasing(false);
  A.Render(nullptr);
  EXPECT_FALSE(glIsEnabled(GL_POINT_SMOOTH));
  EXPECT_FALSE(glIsEnabled(GL_LINE_SMOOTH));
  EXPECT_FALSE(glIsEnabled(GL_POLYGON_SMOOTH));
}

TEST_F(AttributesTest, SizesMustBePositive) {
  TLumAttributes A(nullptr);
  int Changes = 0;
  A.OnChange = [&](TObject*) { ++Changes; };
  A.SetPointSize(0.0f);
  A.SetPointSize(-2.0f);
  A.SetLineWidth(0.0f);
  A.SetLineWidth(-1.0f);
  EXPECT_EQ(A.PointSize(), 1.0f);
  EXPECT_EQ(A.LineWidth(), 0.0f);
  EXPECT_EQ(Changes, 0);
  A.SetLineWidth(0.5f);
  A.SetLineWidth(0.5f);
  EXPECT_EQ(A.LineWidth(), 0.5f);
  EXPECT_EQ(Changes, 1);
}

TEST_F(AttributesTest, RenderTwiceEmitsOnceUntilChangedOrNewFrame) {
  TLumAttributes A(nullptr);
  A.SetLineWidth(1.0f);
  A.Render(nullptr);
  EXPECT_TRUE(IsLastRenderedAttributes(&A));
  glEnable(GL_BLEND);
  A.Render(nullptr);
  EXPECT_TRUE(glIsEnabled(GL_BLEND)) << "second render in a frame must emit nothing";

  A.SetLighting(true);  // any property change re-arms the component
  EXPECT_FALSE(IsLastRenderedAttributes(&A));
  A.Render(nullptr);
  EXPECT_FALSE(glIsEnabled(GL_BLEND));
  EXPECT_TRUE(glIsEnabled(GL_LIGHTING));

  glEnable(GL_BLEND);
  RunFrameResetHooks(false);
  A.Render(nullptr);
  EXPECT_FALSE(glIsEnabled(GL_BLEND));

  glEnable(GL_BLEND);
  RunFrameResetHooks(true);
  A.Render(nullptr);
  EXPECT_FALSE(glIsEnabled(GL_BLEND));

  A.ColorAmbient()->SetColor(0xFFFFFF);  // a change of an owned colour re-arms too
  EXPECT_FALSE(IsLastRenderedAttributes(&A));
}

TEST_F(AttributesTest, DeathForgetsTheLastRendered) {
  auto* A = new TLumAttributes(&Owner);
  A->Render(nullptr);
  delete A;
  EXPECT_TRUE(IsLastRenderedAttributes(nullptr));
}

TEST_F(AttributesTest, AssignCopiesTheChosenFieldsOnly) {
  TLumAttributes S(nullptr), D(nullptr);
  S.SetAntialiasing(true);
  S.ColorAmbient()->SetColor(0x102030);
  S.SetCullFace(cfFront);
  S.SetDithering(true);
  S.SetLighting(true);
  S.SetLightTwoSide(true);
  S.SetPolygonMode(pmLine);
  S.SetPerspectiveCorrection(quNicest);
  S.SetShadeModel(smFlat);
  S.SetTransparency(tmAddColor);
  S.SetLineStipple(lsDot);
  S.StippleShift = 3;
  S.StippleFactor = 5;
  S.SetPointSize(7.0f);
  S.SetLineWidth(6.0f);
  S.SetEnabled(false);
  D.Assign(&S);
  EXPECT_TRUE(D.Antialiasing());
  EXPECT_EQ(D.ColorAmbient()->Color(), 0x102030u);
  EXPECT_EQ(D.CullFace(), cfFront);
  EXPECT_TRUE(D.Lighting());
  EXPECT_TRUE(D.LightTwoSide());
  EXPECT_EQ(D.PolygonMode(), pmLine);
  EXPECT_EQ(D.ShadeModel(), smFlat);
  EXPECT_EQ(D.Transparency(), tmAddColor);
  EXPECT_EQ(D.LineStipple(), lsDot);
  EXPECT_FALSE(D.Enabled());
  EXPECT_FALSE(D.Dithering());
  EXPECT_EQ(D.PerspectiveCorrection(), quDontCare);
  EXPECT_EQ(D.StippleShift, 0);
  EXPECT_EQ(D.StippleFactor, 1);
  EXPECT_EQ(D.PointSize(), 1.0f);
  EXPECT_EQ(D.LineWidth(), 0.0f);
}

// --- fog ------------------------------------------------------------------------------

struct FogCase {
  const char* Name;
  TLumFogMode Mode;
  GLint ModeGL;
  TLumQuality Quality;
  GLint HintGL;
};

class FogTableTest : public test::GLTest, public ::testing::WithParamInterface<FogCase> {};

TEST_P(FogTableTest, RenderSetsModeAndHint) {
  const FogCase& C = GetParam();
  TLumFog F(nullptr);
  F.SetMode(C.Mode);
  F.SetQuality(C.Quality);
  F.Render(nullptr);
  EXPECT_EQ(GetInt(GL_FOG_MODE), C.ModeGL);
  EXPECT_EQ(GetInt(GL_FOG_HINT), C.HintGL);
}

INSTANTIATE_TEST_SUITE_P(
    Tables, FogTableTest,
    ::testing::Values(FogCase{"Linear", fmLinear, GL_LINEAR, quFastest, GL_FASTEST},
                      FogCase{"Exp", fmExp, GL_EXP, quNicest, GL_NICEST},
                      FogCase{"Exp2", fmExp2, GL_EXP2, quDontCare, GL_DONT_CARE}),
    [](const auto& Info) { return std::string(Info.param.Name); });

TEST_F(AttributesTest, FogRendersValuesUnchangedAndDisabledFogSwitchesOff) {
  TLumFog F(nullptr);
  EXPECT_EQ(F.Mode(), fmExp);
  EXPECT_FLOAT_EQ(F.Density(), 0.2f);
  F.SetMode(fmLinear);
  F.SetStartDepth(5.0f);
  F.SetEndDepth(5.0f);
  F.SetDensity(-3.0f);
  TLumColor C;
  C.SetColor(0x00FF00);
  F.SetColor(&C);
  F.Render(nullptr);
  EXPECT_TRUE(glIsEnabled(GL_FOG));
  EXPECT_FLOAT_EQ(GetFloat(GL_FOG_START), 5.0f);
  EXPECT_FLOAT_EQ(GetFloat(GL_FOG_END), 5.0f);
  GLfloat Col[4];
  glGetFloatv(GL_FOG_COLOR, Col);
  EXPECT_FLOAT_EQ(Col[1], 1.0f);
  EXPECT_FLOAT_EQ(Col[0], 0.0f);

  // A density GL refuses leaves the context's value; every other value arrived.
  F.SetDensity(0.7f);
  F.Render(nullptr);
  EXPECT_FLOAT_EQ(GetFloat(GL_FOG_DENSITY), 0.7f);

  F.SetEnabled(false);
  F.Render(nullptr);
  EXPECT_FALSE(glIsEnabled(GL_FOG));
}

TEST_F(AttributesTest, FogAssignTakesOnlyFogsAndLeavesQuality) {
  TLumFog S(nullptr), D(nullptr);
  int SourceChanges = 0;
  S.OnChange = [&](TObject*) { ++SourceChanges; };
  S.SetMode(fmExp2);
  S.SetDensity(0.9f);
  S.SetStartDepth(2.0f);
  S.SetEndDepth(8.0f);
  S.Color()->SetColor(0x123456);
  S.SetQuality(quNicest);
  SourceChanges = 0;

  TLumAttributes NotFog(nullptr);
  NotFog.SetEnabled(false);
  D.Assign(&NotFog);
  EXPECT_TRUE(D.Enabled());

  D.Assign(&S);
  EXPECT_EQ(D.Mode(), fmExp2);
  EXPECT_FLOAT_EQ(D.Density(), 0.9f);
  EXPECT_FLOAT_EQ(D.StartDepth(), 2.0f);
  EXPECT_FLOAT_EQ(D.EndDepth(), 8.0f);
  EXPECT_EQ(D.Color()->Color(), 0x123456u);
  EXPECT_EQ(D.Quality(), quDontCare);
  EXPECT_GT(SourceChanges, 0) << "the source's listener is taken over and told";
}

// --- exchange -------------------------------------------------------------------------

TEST_F(AttributesTest, AttributesRoundTripThroughASceneFile) {
  EnsureRegistered();
  test::TempDir Dir;
  TLumAttributes S(nullptr);
  S.SetAntialiasing(true);
  S.ColorAmbient()->SetColor(0x405060);
  S.ColorAmbient()->SetAlpha(0.25f);
  S.SetCullFace(cfBack);
  S.SetDithering(true);
  S.SetLighting(true);
  S.SetLightTwoSide(true);
  S.SetLineStipple(lsDashDotDot);
  S.SetLineWidth(2.5f);
  S.SetPerspectiveCorrection(quNicest);
  S.SetPointSize(3.0f);
  S.SetPolygonMode(pmLine);
  S.SetShadeModel(smFlat);
  S.SetTransparency(tmSubColor);
  const std::string File = Dir.File("attr.xml");
  test::SaveComponent(&S, File);
  auto* L = test::LoadComponent<TLumAttributes>(&Owner, File);
  ASSERT_NE(L, nullptr);
  EXPECT_TRUE(L->Antialiasing());
  EXPECT_EQ(L->ColorAmbient()->Color(), 0x405060u);
  EXPECT_FLOAT_EQ(L->ColorAmbient()->Alpha(), 0.25f);
  EXPECT_EQ(L->CullFace(), cfBack);
  EXPECT_TRUE(L->Dithering());
  EXPECT_TRUE(L->Lighting());
  EXPECT_TRUE(L->LightTwoSide());
  EXPECT_EQ(L->LineStipple(), lsDashDotDot);
  EXPECT_FLOAT_EQ(L->LineWidth(), 2.5f);
  EXPECT_EQ(L->PerspectiveCorrection(), quNicest);
  EXPECT_FLOAT_EQ(L->PointSize(), 3.0f);
  EXPECT_EQ(L->PolygonMode(), pmLine);
  EXPECT_EQ(L->ShadeModel(), smFlat);
  EXPECT_EQ(L->Transparency(), tmSubColor);
}

TEST_F(AttributesTest, PointSizeIsWrittenEvenWithoutDefaults) {
  test::TempDir Dir;
  TLumAttributes S(nullptr);
  const std::string File = Dir.File("attr.xml");
  test::SaveComponent(&S, File, true);
  const std::string Text = test::ReadText(File);
  EXPECT_NE(Text.find("PointSize=\"1"), std::string::npos) << Text;
  EXPECT_EQ(Text.find("LineWidth="), std::string::npos) << Text;
  EXPECT_EQ(Text.find("Dithering="), std::string::npos) << Text;
}

TEST_F(AttributesTest, FogRoundTripsThroughASceneFile) {
  EnsureRegistered();
  test::TempDir Dir;
  TLumFog S(nullptr);
  S.SetMode(fmLinear);
  S.SetDensity(0.05f);
  S.SetStartDepth(1.5f);
  S.SetEndDepth(40.0f);
  S.SetQuality(quFastest);
  S.Color()->SetColor(0xA0B0C0);
  const std::string File = Dir.File("fog.xml");
  test::SaveComponent(&S, File);
  auto* L = test::LoadComponent<TLumFog>(&Owner, File);
  ASSERT_NE(L, nullptr);
  EXPECT_EQ(L->Mode(), fmLinear);
  EXPECT_FLOAT_EQ(L->Density(), 0.05f);
  EXPECT_FLOAT_EQ(L->StartDepth(), 1.5f);
  EXPECT_FLOAT_EQ(L->EndDepth(), 40.0f);
  EXPECT_EQ(L->Quality(), quFastest);
  EXPECT_EQ(L->Color()->Color(), 0xA0B0C0u);
}

}  // namespace
}  // namespace lumox
