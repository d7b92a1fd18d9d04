// Tests of TLumMaterial: the GL material per face, the last-rendered cache, setter rules,
// Assign and the exchange round trip that loses the diffuse colour.
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

void ExpectColor(const Rgba& V, float R, float G, float B, float A) {
  EXPECT_NEAR(V[0], R, 1e-6);
  EXPECT_NEAR(V[1], G, 1e-6);
  EXPECT_NEAR(V[2], B, 1e-6);
  EXPECT_NEAR(V[3], A, 1e-6);
}

class MaterialTest : public test::GLTest {
 protected:
  void SetUp() override {
    test::GLTest::SetUp();
    RunFrameResetHooks(false);
  }
  // A material whose every value differs from GL's default material.
  static void Distinct(TLumMaterial& M) {
    M.ColorAmbient()->SetColor(0x0000FF);
    M.ColorDiffuse()->SetColor(0x00FF00);
    M.ColorSpecular()->SetColor(0xFF0000);
    M.ColorEmission()->SetColor(0xFFFFFF);
    M.ColorEmission()->SetAlpha(0.5f);
    M.SetShininess(64);
  }
  TComponent Owner{nullptr};
};

struct FaceCase {
  TMaterialFace Face;
  bool Front;
  bool Back;
};

class MaterialFaceTest : public MaterialTest, public ::testing::WithParamInterface<FaceCase> {};

TEST_P(MaterialFaceTest, RenderSetsTheChosenFaces) {
  const FaceCase& C = GetParam();
  TLumMaterial M(nullptr);
  Distinct(M);
  M.SetFace(C.Face);
  M.Render(nullptr);
  for (GLenum Face : {GL_FRONT, GL_BACK}) {
    const bool Set = Face == GL_FRONT ? C.Front : C.Back;
    SCOPED_TRACE(Face == GL_FRONT ? "front" : "back");
    if (Set) {
      ExpectColor(GetMaterial(Face, GL_AMBIENT), 1, 0, 0, 1);
      ExpectColor(GetMaterial(Face, GL_DIFFUSE), 0, 1, 0, 1);
      ExpectColor(GetMaterial(Face, GL_SPECULAR), 0, 0, 1, 1);
      ExpectColor(GetMaterial(Face, GL_EMISSION), 1, 1, 1, 0.5f);
      EXPECT_FLOAT_EQ(GetMaterial(Face, GL_SHININESS)[0], 64.0f);
    } else {
      ExpectColor(GetMaterial(Face, GL_AMBIENT), 0.2f, 0.2f, 0.2f, 1.0f);
      EXPECT_FLOAT_EQ(GetMaterial(Face, GL_SHININESS)[0], 0.0f);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Faces, MaterialFaceTest,
                         ::testing::Values(FaceCase{mfFront, true, false},
                                           FaceCase{mfBack, false, true},
                                           FaceCase{mfFrontBack, true, true}));

TEST_F(MaterialTest, ShininessOutsideRangeIsIgnoredSilently) {
  TLumMaterial M(nullptr);
  int Changes = 0;
  M.OnChange = [&](TObject*) { ++Changes; };
  M.SetShininess(128);
  EXPECT_EQ(M.Shininess(), 128);
  EXPECT_EQ(Changes, 1);
  M.SetShininess(129);
  M.SetShininess(-1);
  M.SetShininess(128);
  EXPECT_EQ(M.Shininess(), 128);
  EXPECT_EQ(Changes, 1);
}

TEST_F(MaterialTest, SecondRenderInAFrameEmitsNothing) {
  TLumMaterial M(nullptr);
  Distinct(M);
  M.Render(nullptr);
  const GLfloat Grey[4] = {0.5f, 0.5f, 0.5f, 1.0f};
  glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, Grey);
  M.Render(nullptr);
  ExpectColor(GetMaterial(GL_FRONT, GL_AMBIENT), 0.5f, 0.5f, 0.5f, 1.0f);

  // The cache goes by identity: a colour change waits for the next frame.
  M.ColorAmbient()->SetColor(0x00FFFF);
  M.Render(nullptr);
  ExpectColor(GetMaterial(GL_FRONT, GL_AMBIENT), 0.5f, 0.5f, 0.5f, 1.0f);

  RunFrameResetHooks(false);
  M.Render(nullptr);
  ExpectColor(GetMaterial(GL_FRONT, GL_AMBIENT), 1, 1, 0, 1);

  glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, Grey);
  RunFrameResetHooks(true);
  M.Render(nullptr);
  ExpectColor(GetMaterial(GL_FRONT, GL_AMBIENT), 1, 1, 0, 1);
}

TEST_F(MaterialTest, AnotherMaterialInBetweenMakesTheFirstEmitAgain) {
  TLumMaterial A(nullptr), B(nullptr);
  Distinct(A);
  A.Render(nullptr);
  B.Render(nullptr);
  A.Render(nullptr);
  ExpectColor(GetMaterial(GL_FRONT, GL_AMBIENT), 1, 0, 0, 1);
  auto* C = new TLumMaterial(&Owner);
  C->Render(nullptr);
  delete C;
  EXPECT_TRUE(IsLastRenderedMaterial(nullptr));
}

TEST_F(MaterialTest, PartColorCopiesIntoTheOwnedColours) {
  TLumMaterial M(nullptr);
  TLumColor* Ambient = M.ColorAmbient();
  TLumColor C;
  C.SetColor(0x010203);
  M.SetPartColor(1, &C);
  M.SetPartColor(5, &C);
  M.SetPartColor(2, nullptr);
  EXPECT_EQ(M.ColorAmbient(), Ambient);
  EXPECT_EQ(Ambient->Color(), 0x010203u);
  EXPECT_EQ(M.ColorDiffuse()->Color(), 0xCCCCCCu);
  C.SetColor(0x040506);
  M.SetColorEmission(&C);
  EXPECT_EQ(M.ColorEmission()->Color(), 0x040506u);
}

TEST_F(MaterialTest, AssignCopiesMaterialFieldsAndAlwaysTheInheritedOnes) {
  TLumMaterial S(nullptr), D(nullptr);
  Distinct(S);
  S.SetFace(mfBack);
  D.Assign(&S);
  EXPECT_EQ(D.Face(), mfBack);
  EXPECT_EQ(D.ColorAmbient()->Color(), 0x0000FFu);
  EXPECT_EQ(D.ColorSpecular()->Color(), 0xFF0000u);
  EXPECT_FLOAT_EQ(D.ColorEmission()->Alpha(), 0.5f);
  EXPECT_EQ(D.Shininess(), 64);

  TLumMaterial E(nullptr);
  TLumRender Other(nullptr);
  Other.SetEnabled(false);
  E.Assign(&Other);
  EXPECT_FALSE(E.Enabled());
  EXPECT_EQ(E.ColorAmbient()->Color(), 0x333333u);
}

TEST_F(MaterialTest, RoundTripKeepsAllButTheDiffuseColour) {
  if (!GetRenderClass("TLumMaterial")) RegisterLummatClasses();
  test::TempDir Dir;
  TLumMaterial S(nullptr);
  Distinct(S);
  S.SetFace(mfBack);
  S.ColorDiffuse()->SetColor(0x112233);
  const std::string File = Dir.File("mat.xml");
  test::SaveComponent(&S, File);
  EXPECT_NE(test::ReadText(File).find("<FDiffuse"), std::string::npos);
  auto* L = test::LoadComponent<TLumMaterial>(&Owner, File);
  ASSERT_NE(L, nullptr);
  EXPECT_EQ(L->Face(), mfBack);
  EXPECT_EQ(L->ColorAmbient()->Color(), 0x0000FFu);
  EXPECT_EQ(L->ColorSpecular()->Color(), 0xFF0000u);
  EXPECT_EQ(L->ColorEmission()->Color(), 0xFFFFFFu);
  EXPECT_FLOAT_EQ(L->ColorEmission()->Alpha(), 0.5f);
  EXPECT_EQ(L->Shininess(), 64);
  EXPECT_EQ(L->ColorDiffuse()->Color(), 0xCCCCCCu) << "the writer's name is not the reader's";
}

}  // namespace
}  // namespace lumox
