// Tests of TLumMaterial: the GL material per face, the last-rendered cache, setter rules
// and Assign.
#include "lumox/scene/lummat.h"

#include "support/glfixture.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

using Rgba = std::array<float, 4>;

Rgba GetMaterial(GLenum Face, GLenum Name) {
  Rgba V{};
  glGetMaterialfv(Face, Name, V.data());
  return V;
}

class MaterialTest : public test::GLTest {
 protected:
  void SetUp() override {
    test::GLTest::SetUp();
    View->RenderState().Reset();
  }
  // A material whose every value differs from GL's default material.
  static void Distinct(TLumMaterial& M) {
    M.ColorAmbient()->SetColor(0x0000FF), M.ColorDiffuse()->SetColor(0x00FF00);
    M.ColorSpecular()->SetColor(0xFF0000), M.ColorEmission()->SetColor(0xFFFFFF);
    M.ColorEmission()->SetAlpha(0.5f), M.SetShininess(64);
  }
  TComponent Owner{nullptr};
};

TEST_F(MaterialTest, RenderSetsEveryColourOnTheChosenFacesOnly) {
  const bool Sets[3][2] = {{true, false}, {false, true}, {true, true}};  // front, back
  const GLenum Names[4] = {GL_AMBIENT, GL_DIFFUSE, GL_SPECULAR, GL_EMISSION};
  const Rgba Want[2][4] = {{{.2f, .2f, .2f, 1}, {.8f, .8f, .8f, 1}, {0, 0, 0, 1}, {0, 0, 0, 1}},
                           {{1, 0, 0, 1}, {0, 1, 0, 1}, {0, 0, 1, 1}, {1, 1, 1, .5f}}};
  for (int F = mfFront; F <= mfFrontBack; ++F) {
    SCOPED_TRACE(TMaterialFaceStr[F]);
    glPushAttrib(GL_LIGHTING_BIT);  // GL's default material comes back after each face
    TLumMaterial M(nullptr);
    Distinct(M);
    M.SetFace(static_cast<TMaterialFace>(F));
    M.Render(nullptr);
    for (int Side = 0; Side < 2; ++Side) {
      const GLenum Face = Side == 0 ? GL_FRONT : GL_BACK;
      const bool Set = Sets[F][Side];
      for (int n = 0; n < 4; ++n) EXPECT_EQ(GetMaterial(Face, Names[n]), Want[Set][n]) << n;
      EXPECT_EQ(GetMaterial(Face, GL_SHININESS)[0], Set ? 64.0f : 0.0f);
    }
    glPopAttrib();
  }
}

TEST_F(MaterialTest, ShininessOutsideRangeIsIgnoredSilently) {
  TLumMaterial M(nullptr);
  int Changes = 0;
  M.OnChange = [&](TObject*) { ++Changes; };
  M.SetShininess(128), M.SetShininess(129), M.SetShininess(-1);
  EXPECT_TRUE(M.Shininess() == 128 && Changes == 1) << M.Shininess() << " " << Changes;
}

TEST_F(MaterialTest, StateIsEmittedOncePerFrameAndPerMaterial) {
  const GLfloat Grey[4] = {0.5f, 0.5f, 0.5f, 1.0f};
  TLumMaterial M(nullptr), Other(nullptr);
  Distinct(M);
  M.Render(View);
  glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, Grey);
  M.Render(View);
  EXPECT_EQ(GetMaterial(GL_FRONT, GL_AMBIENT), (Rgba{.5f, .5f, .5f, 1}));
  // Keyed by identity: a colour change waits for the next frame.
  M.ColorAmbient()->SetColor(0x00FFFF);
  M.Render(View);
  EXPECT_EQ(GetMaterial(GL_FRONT, GL_AMBIENT), (Rgba{.5f, .5f, .5f, 1}));
  glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, Grey);
  View->RenderState().Reset();  // as a frame, an image or a display list begins
  M.Render(View);
  EXPECT_EQ(GetMaterial(GL_FRONT, GL_AMBIENT), (Rgba{1, 1, 0, 1}));
  Other.Render(View);
  M.Render(View);
  EXPECT_EQ(GetMaterial(GL_FRONT, GL_AMBIENT), (Rgba{1, 1, 0, 1}));
  // Without a view nothing is known of the context: the state is emitted every time.
  glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, Grey);
  M.Render(nullptr);
  EXPECT_EQ(GetMaterial(GL_FRONT, GL_AMBIENT), (Rgba{1, 1, 0, 1}));
  EXPECT_FALSE(IsLastRenderedMaterial(nullptr, &M));
  // A material made where a freed one lived is not taken for it.
  test::ExpectNewbornNotTakenForTheFreed<TLumMaterial>(&Owner, View, IsLastRenderedMaterial);
}

TEST_F(MaterialTest, PartColorAndAssignCopyEveryColour) {
  test::TempDir Dir;
  const std::string File = Dir.File("mat.xml");
  TLumMaterial S(nullptr), D(nullptr);
  TLumColor C;
  for (int i = 0; i <= 5; ++i) C.SetColor(0x010101u * i), S.SetPartColor(i, &C);
  // Indices 1 to 4; 0 and 5 are ignored.
  EXPECT_EQ((std::array{S.ColorAmbient()->Color(), S.ColorDiffuse()->Color(),
                        S.ColorSpecular()->Color(), S.ColorEmission()->Color()}),
            (std::array{0x010101u, 0x020202u, 0x030303u, 0x040404u}));
  Distinct(S);
  S.SetFace(mfBack);
  const std::string Text = test::SavedText(&S, File);
  D.Assign(&S);
  EXPECT_EQ(test::SavedText(&D, File), Text);
  TLumRender NotMaterial(nullptr);
  NotMaterial.SetEnabled(false);
  D.Assign(&NotMaterial);
  EXPECT_FALSE(D.Enabled()) << "the inherited part is always copied";
  EXPECT_EQ(D.Face(), mfBack);
}

}  // namespace
}  // namespace lumox
