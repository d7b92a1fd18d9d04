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
  std::vector<float> Seen;
  L.SetCutOff(45.0f), Seen.push_back(L.CutOff());  // a point light has no cone
  L.SetKind(lkSpot), Seen.push_back(L.CutOff());
  L.SetCutOff(120.0f), Seen.push_back(L.CutOff());
  L.SetCutOff(-5.0f), Seen.push_back(L.CutOff());
  L.SetKind(lkDirection), Seen.push_back(L.CutOff());
  EXPECT_EQ(Seen, (std::vector<float>{180, 90, 90, 0, 180}));
}

// A point or spot light stands where its transformation puts it.
TEST_F(LightTest, RenderConfiguresTheGLLightPerKindAndDisablingSwitchesOff) {
  // The default direction (0, 0, 1) against GL's default spot direction (0, 0, -1).
  const Vec4 Position[3] = {{1, 2, 3, 1}, {0, 0, 1, 0}, {1, 2, 3, 1}};
  const float CutOff[3] = {180.0f, 180.0f, 45.0f};
  const float SpotZ[3] = {-1.0f, -1.0f, 1.0f};
  for (int K = lkPoint; K <= lkSpot; ++K) {
    SCOPED_TRACE(TLightKindStr[K]);
    glPushAttrib(GL_LIGHTING_BIT);
    TLumLight L(nullptr);
    L.SetID(idLight2), L.SetKind(static_cast<TLightKind>(K)), L.SetCutOff(45.0f);
    L.ColorAmbient()->SetColor(0x0000FF), L.ColorSpecular()->SetColor(0xFF0000);
    L.Transformation()->Translation()->SetValues(1.0f, 2.0f, 3.0f);
    L.Render(nullptr);
    EXPECT_TRUE(glIsEnabled(GL_LIGHT2) && !glIsEnabled(GL_LIGHT0));
    EXPECT_EQ(GetLight(GL_LIGHT2, GL_AMBIENT), (Vec4{1, 0, 0, 1}));
    EXPECT_EQ(GetLight(GL_LIGHT2, GL_DIFFUSE), (Vec4{1, 1, 1, 1}));
    EXPECT_EQ(GetLight(GL_LIGHT2, GL_SPECULAR), (Vec4{0, 0, 1, 1}));
    EXPECT_EQ(GetLight(GL_LIGHT2, GL_POSITION), Position[K]);
    EXPECT_EQ(GetLight(GL_LIGHT2, GL_SPOT_CUTOFF)[0], CutOff[K]);
    EXPECT_EQ(GetLight(GL_LIGHT2, GL_SPOT_DIRECTION)[2], SpotZ[K]);
    L.SetEnabled(false);
    L.Render(nullptr);
    EXPECT_FALSE(glIsEnabled(GL_LIGHT2));
    glPopAttrib();
  }
}

TEST_F(LightTest, AssignAndRoundTripKeepEveryValue) {
  if (!GetRenderClass("TLumLight")) RegisterLumlightClasses();
  test::TempDir Dir;
  const std::string File = Dir.File("light.xml");
  TLumLight S(nullptr), D(nullptr);
  S.SetID(idLight4), S.SetKind(lkSpot), S.SetCutOff(30.0f);
  S.Direction()->SetValues(0.0f, 1.0f, 0.0f), S.ColorAmbient()->SetColor(0x203040);
  S.ColorDiffuse()->SetColor(0x506070), S.ColorSpecular()->SetColor(0x8090A0);
  const std::string Text = test::SavedText(&S, File);
  D.Assign(&S);
  EXPECT_EQ(test::SavedText(&D, File), Text);
  auto* L = test::LoadComponent<TLumLight>(&Owner, File);
  ASSERT_NE(L, nullptr);
  EXPECT_EQ(L->CutOff(), 90.0f) << "the cut-off was read while the light was a point light";
  L->SetCutOff(30.0f);
  EXPECT_EQ(test::SavedText(L, File), Text);
}

}  // namespace
}  // namespace lumox
