// Tests of TLumLight: kind and cut-off rules, the GL light it configures per kind,
// switching off, Assign and the exchange round trip with its reading order.
#include "lumox/scene/lumlight.h"

#include "support/glfixture.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

using Vec4 = std::array<float, 4>;

Vec4 GetLight(GLenum Light, GLenum Name) {
  Vec4 V{};
  glGetLightfv(Light, Name, V.data());
  return V;
}

class LightTest : public test::GLTest {
 protected:
  TComponent Owner{nullptr};
};

TEST_F(LightTest, KindResetsCutOffAndCutOffFollowsKind) {
  TLumLight L(nullptr);
  EXPECT_EQ(L.CutOff(), 180.0f);
  L.SetCutOff(45.0f);
  EXPECT_EQ(L.CutOff(), 180.0f) << "a point light has no cone";
  L.SetKind(lkSpot);
  EXPECT_EQ(L.CutOff(), 90.0f);
  L.SetCutOff(120.0f);
  EXPECT_EQ(L.CutOff(), 90.0f);
  L.SetCutOff(-5.0f);
  EXPECT_EQ(L.CutOff(), 0.0f);
  L.SetCutOff(30.0f);
  EXPECT_EQ(L.CutOff(), 30.0f);
  L.SetKind(lkDirection);
  EXPECT_EQ(L.CutOff(), 180.0f);
}

struct KindCase {
  const char* Name;
  TLightKind Kind;
  Vec4 Position;
  float CutOff;
};

class LightKindTest : public LightTest, public ::testing::WithParamInterface<KindCase> {};

TEST_P(LightKindTest, RenderConfiguresTheGLLight) {
  const KindCase& C = GetParam();
  TLumLight L(nullptr);
  L.SetID(idLight2);
  L.SetKind(C.Kind);
  L.SetCutOff(45.0f);
  L.Direction()->SetValues(0.0f, -1.0f, 0.0f);
  L.ColorAmbient()->SetColor(0x0000FF);
  L.ColorDiffuse()->SetColor(0x00FF00);
  L.ColorSpecular()->SetColor(0xFF0000);
  L.Render(nullptr);
  EXPECT_TRUE(glIsEnabled(GL_LIGHT2));
  EXPECT_FALSE(glIsEnabled(GL_LIGHT0));
  EXPECT_EQ(GetLight(GL_LIGHT2, GL_AMBIENT), (Vec4{1, 0, 0, 1}));
  EXPECT_EQ(GetLight(GL_LIGHT2, GL_DIFFUSE), (Vec4{0, 1, 0, 1}));
  EXPECT_EQ(GetLight(GL_LIGHT2, GL_SPECULAR), (Vec4{0, 0, 1, 1}));
  EXPECT_EQ(GetLight(GL_LIGHT2, GL_POSITION), C.Position);
  EXPECT_EQ(GetLight(GL_LIGHT2, GL_SPOT_CUTOFF)[0], C.CutOff);
  const Vec4 SpotDir = GetLight(GL_LIGHT2, GL_SPOT_DIRECTION);
  if (C.Kind == lkSpot) {
    EXPECT_FLOAT_EQ(SpotDir[1], -1.0f);
  } else {
    EXPECT_FLOAT_EQ(SpotDir[2], -1.0f) << "GL's default spot direction stays";
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, LightKindTest,
                         ::testing::Values(KindCase{"Point", lkPoint, {0, 0, 0, 1}, 180.0f},
                                           KindCase{
                                               "Direction", lkDirection, {0, -1, 0, 0}, 180.0f},
                                           KindCase{"Spot", lkSpot, {0, 0, 0, 1}, 45.0f}),
                         [](const auto& Info) { return std::string(Info.param.Name); });

TEST_F(LightTest, PositionFollowsTheTransformation) {
  TLumLight L(nullptr);
  L.Transformation()->Translation()->SetValues(1.0f, 2.0f, 3.0f);
  L.Render(nullptr);
  EXPECT_EQ(GetLight(GL_LIGHT0, GL_POSITION), (Vec4{1, 2, 3, 1}));
}

TEST_F(LightTest, DefaultDirectionalLightShinesAlongZ) {
  TLumLight L(nullptr);
  L.SetKind(lkDirection);
  L.Render(nullptr);
  EXPECT_EQ(GetLight(GL_LIGHT0, GL_POSITION), (Vec4{0, 0, 1, 0}));
  EXPECT_EQ(GetLight(GL_LIGHT0, GL_DIFFUSE), (Vec4{1, 1, 1, 1}));
}

TEST_F(LightTest, DisabledLightSwitchesItsGLLightOff) {
  TLumLight L(nullptr);
  L.SetID(idLight7);
  L.Render(nullptr);
  EXPECT_TRUE(glIsEnabled(GL_LIGHT7));
  L.SetEnabled(false);
  L.Render(nullptr);
  EXPECT_FALSE(glIsEnabled(GL_LIGHT7));
}

TEST_F(LightTest, AssignCopiesKindAndCutOffWithoutTheirRules) {
  TLumLight S(nullptr), D(nullptr);
  S.SetID(idLight5);
  S.SetKind(lkSpot);
  S.SetCutOff(20.0f);
  S.Direction()->SetValues(1.0f, 0.0f, 0.0f);
  S.ColorDiffuse()->SetColor(0x123456);
  D.Assign(&S);
  EXPECT_EQ(D.ID(), idLight5);
  EXPECT_EQ(D.Kind(), lkSpot);
  EXPECT_EQ(D.CutOff(), 20.0f);
  EXPECT_EQ(D.Direction()->X(), 1.0f);
  EXPECT_EQ(D.ColorDiffuse()->Color(), 0x123456u);
  EXPECT_EQ(D.GetLightID(), static_cast<uint32_t>(GL_LIGHT5));
}

TEST_F(LightTest, RoundTripAppliesCutOffBeforeKind) {
  if (!GetRenderClass("TLumLight")) RegisterLumlightClasses();
  test::TempDir Dir;
  TLumLight S(nullptr);
  S.SetID(idLight4);
  S.SetKind(lkSpot);
  S.SetCutOff(30.0f);
  S.Direction()->SetValues(0.0f, 1.0f, 0.0f);
  S.ColorAmbient()->SetColor(0x203040);
  S.ColorDiffuse()->SetColor(0x506070);
  S.ColorSpecular()->SetColor(0x8090A0);
  const std::string File = Dir.File("light.xml");
  test::SaveComponent(&S, File);
  auto* L = test::LoadComponent<TLumLight>(&Owner, File);
  ASSERT_NE(L, nullptr);
  EXPECT_EQ(L->ID(), idLight4);
  EXPECT_EQ(L->Kind(), lkSpot);
  EXPECT_EQ(L->CutOff(), 90.0f) << "the cut-off was read while the light was a point light";
  EXPECT_EQ(L->Direction()->Y(), 1.0f);
  EXPECT_EQ(L->Direction()->Z(), 0.0f);
  EXPECT_EQ(L->ColorAmbient()->Color(), 0x203040u);
  EXPECT_EQ(L->ColorDiffuse()->Color(), 0x506070u);
  EXPECT_EQ(L->ColorSpecular()->Color(), 0x8090A0u);
}

}  // namespace
}  // namespace lumox
