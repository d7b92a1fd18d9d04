// Tests of TLumTexture and the texture cache: the pixel buffer and its alpha, pixels of
// a textured quad under each environment mode, rescaling, eviction, the frame flag and
// scene files with their bitmap side files.
#include "lumox/scene/lumtex.h"

#include <unistd.h>

#include <cmath>

#include "support/glfixture.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

constexpr uint32_t Red = 0x0000FF, Green = 0x00FF00, Blue = 0xFF0000, White = 0xFFFFFF;

// Red, green / blue, white: a 2 x 2 bitmap, rows top to bottom.
void FourTexels(TBitmap& B) {
  B.SetSize(2, 2);
  B.SetPixel(0, 0, Red);
  B.SetPixel(1, 0, Green);
  B.SetPixel(0, 1, Blue);
  B.SetPixel(1, 1, White);
}

// Draws a quad over the whole 64 x 64 window in Color, texture coordinates 0..1.
void DrawTexturedQuad(float R, float G, float B, float A) {
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  glClearColor(0, 0, 0, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  glColor4f(R, G, B, A);
  glBegin(GL_QUADS);
  glTexCoord2f(0, 0);
  glVertex2f(-1, -1);
  glTexCoord2f(1, 0);
  glVertex2f(1, -1);
  glTexCoord2f(1, 1);
  glVertex2f(1, 1);
  glTexCoord2f(0, 1);
  glVertex2f(-1, 1);
  glEnd();
}

std::array<int, 4> PixelAt(int X, int Y) {
  uint8_t P[4];
  glReadPixels(X, Y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, P);
  return {P[0], P[1], P[2], P[3]};
}

void ExpectPixel(const std::array<int, 4>& P, int R, int G, int B) {
  EXPECT_NEAR(P[0], R, 2);
  EXPECT_NEAR(P[1], G, 2);
  EXPECT_NEAR(P[2], B, 2);
}

GLint TexEnvMode() {
  GLint M = 0;
  glGetTexEnviv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, &M);
  return M;
}

class TextureTest : public test::GLTest {
 protected:
  void SetUp() override {
    test::GLTest::SetUp();
    SetMaxTexture(4);
    RunFrameResetHooks(false);
  }
  void TearDown() override {
    Owner.DestroyComponents();
    test::GLTest::TearDown();
  }
  TComponent Owner{nullptr};
};

TEST_F(TextureTest, PixelBufferRunsBottomUpWithAlphaFromAlpha) {
  TLumTexture T(nullptr);
  TBitmap B;
  FourTexels(B);
  T.SetBitmap(&B);
  const auto& P = T.PixelBuffer();
  ASSERT_EQ(P.size(), 16u);
  EXPECT_EQ((std::array<int, 4>{P[0], P[1], P[2], P[3]}), (std::array<int, 4>{0, 0, 255, 255}));
  EXPECT_EQ((std::array<int, 4>{P[8], P[9], P[10], P[11]}), (std::array<int, 4>{255, 0, 0, 255}));

  T.SetAlpha(1.5f);
  EXPECT_EQ(T.Alpha(), 1.0f);
  T.SetAlpha(0.5f);
  for (size_t i = 3; i < P.size(); i += 4) EXPECT_EQ(P[i], 128) << i;
  T.SetAlpha(0.0f);
  EXPECT_EQ(P[3], 0);
}

TEST_F(TextureTest, MaskAndAlphaBitmapSetPerPixelAlpha) {
  TLumTexture T(nullptr);
  EXPECT_FALSE(T.SetMaskAlpha(Blue, 0.0f, 1.0f));
  TBitmap B;
  FourTexels(B);
  T.SetBitmap(&B);
  EXPECT_TRUE(T.SetMaskAlpha(Blue, 0.25f, 1.0f));
  const auto& P = T.PixelBuffer();
  EXPECT_EQ(P[3], 64) << "the blue texel, bottom left, is the mask colour";
  EXPECT_EQ(P[7], 255);
  EXPECT_EQ(P[11], 255);

  // A 1 x 2 alpha bitmap of any size: grey 90 above, white below.
  TBitmap A(1, 2);
  A.SetPixel(0, 0, 0x5A5A5A);
  A.SetPixel(0, 1, 0xFFFFFF);
  T.SetAlphaBitmap(&A);
  EXPECT_EQ(P[3], 255);
  EXPECT_EQ(P[7], 255);
  EXPECT_EQ(P[11], 90);
  EXPECT_EQ(P[15], 90);
}

struct ModeCase {
  const char* Name;
  TLumTexMode Mode;
  float Alpha;
  GLint ModeGL;
  int R, G, B;  // the red texel over a mid-grey fragment
};

class TextureModeTest : public TextureTest, public ::testing::WithParamInterface<ModeCase> {};

TEST_P(TextureModeTest, RedTexelCombinesWithTheFragment) {
  const ModeCase& C = GetParam();
  TLumTexture T(nullptr);
  TBitmap B;
  FourTexels(B);
  T.SetBitmap(&B);
  T.SetMode(C.Mode);
  T.SetAlpha(C.Alpha);
  T.Render(nullptr);
  EXPECT_TRUE(glIsEnabled(GL_TEXTURE_2D));
  EXPECT_EQ(TexEnvMode(), C.ModeGL);
  DrawTexturedQuad(0.5f, 0.5f, 0.5f, 1.0f);
  ExpectPixel(PixelAt(16, 48), C.R, C.G, C.B);
}

// Blend mode mixes with the environment colour, which is black here: the black blend
// colour's float bits read as integers give (0, 0, 0, about 0.5).
INSTANTIATE_TEST_SUITE_P(
    Modes, TextureModeTest,
    ::testing::Values(ModeCase{"Modulate", tmModulate, 1.0f, GL_MODULATE, 128, 0, 0},
                      ModeCase{"Decal", tmDecal, 1.0f, GL_DECAL, 255, 0, 0},
                      ModeCase{"DecalHalfAlpha", tmDecal, 0.5f, GL_DECAL, 191, 64, 64},
                      ModeCase{"Blend", tmBlend, 1.0f, GL_BLEND, 0, 128, 128},
                      ModeCase{"Replace", tmReplace, 1.0f, GL_REPLACE, 255, 0, 0}),
    [](const auto& Info) { return std::string(Info.param.Name); });

TEST_F(TextureTest, ImageIsUprightOnTheQuad) {
  TLumTexture T(nullptr);
  TBitmap B;
  FourTexels(B);
  T.SetBitmap(&B);
  T.SetMode(tmReplace);
  T.Render(nullptr);
  DrawTexturedQuad(1, 1, 1, 1);
  ExpectPixel(PixelAt(16, 48), 255, 0, 0);
  ExpectPixel(PixelAt(48, 48), 0, 255, 0);
  ExpectPixel(PixelAt(16, 16), 0, 0, 255);
  ExpectPixel(PixelAt(48, 16), 255, 255, 255);
}

TEST_F(TextureTest, AlphaShowsThroughBlending) {
  TLumTexture T(nullptr);
  TBitmap B;
  FourTexels(B);
  T.SetBitmap(&B);
  T.SetMode(tmReplace);
  T.SetAlpha(0.5f);
  T.Render(nullptr);
  uint8_t Tex[16];
  glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, Tex);
  EXPECT_EQ(Tex[3], 128);
  glEnable(GL_BLEND);
  glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
  DrawTexturedQuad(1, 1, 1, 1);
  glDisable(GL_BLEND);
  ExpectPixel(PixelAt(48, 16), 128, 128, 128);
}

TEST_F(TextureTest, BlendColourReachesGLAsItsFloatBits) {
  TLumTexture T(nullptr);
  TBitmap B(1, 1);
  T.SetBitmap(&B);
  TLumColor C;
  C.SetColor(White);
  T.SetBlendColor(&C);
  T.Render(nullptr);
  GLfloat Env[4];
  glGetTexEnvfv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, Env);
  // 1.0f is 0x3F800000, which as a GL integer colour is about 0.496.
  const double Expected = 1065353216.0 / 2147483647.0;
  for (float V : Env) EXPECT_NEAR(V, Expected, 1e-3);
}

TEST_F(TextureTest, TransformationDrivesTheTextureMatrix) {
  TLumTexture T(nullptr);
  TBitmap B(1, 1);
  T.SetBitmap(&B);
  T.Transformation()->Scale()->SetValues(2.0f, 3.0f, 1.0f);
  T.Render(nullptr);
  GLfloat M[16];
  glGetFloatv(GL_TEXTURE_MATRIX, M);
  EXPECT_FLOAT_EQ(M[0], 2.0f);
  EXPECT_FLOAT_EQ(M[5], 3.0f);
  GLint Mode = 0;
  glGetIntegerv(GL_MATRIX_MODE, &Mode);
  EXPECT_EQ(Mode, GL_MODELVIEW);
  GLint Wrap = 0, Filter = 0;
  glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, &Wrap);
  glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, &Filter);
  EXPECT_EQ(Wrap, GL_REPEAT);
  EXPECT_EQ(Filter, GL_NEAREST);
}

TEST_F(TextureTest, OddSizesAreRescaledToTheNearestPowersOfTwo) {
  TLumTexture T(nullptr);
  TBitmap B(100, 30);
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 100; ++x) B.SetPixel(x, y, x < 50 ? Red : Blue);
  T.SetBitmap(&B);
  EXPECT_FALSE(T.GetValid());
  EXPECT_TRUE(T.PixelBuffer().empty());
  T.Render(nullptr);
  EXPECT_EQ(T.Bitmap()->Width(), 128);
  EXPECT_EQ(T.Bitmap()->Height(), 32);
  EXPECT_EQ(T.PixelBuffer().size(), 128u * 32u * 4u);
  GLint W = 0, H = 0;
  glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &W);
  glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &H);
  EXPECT_EQ(W, 128);
  EXPECT_EQ(H, 32);
  EXPECT_EQ(T.Bitmap()->GetPixel(10, 16), Red);
  EXPECT_EQ(T.Bitmap()->GetPixel(120, 16), Blue);

  TLumTexture U(nullptr);
  TBitmap C(48, 40);
  U.SetBitmap(&C);
  U.Render(nullptr);
  EXPECT_EQ(U.Bitmap()->Width(), 64);
  EXPECT_EQ(U.Bitmap()->Height(), 32);
}

TEST_F(TextureTest, EmptyBitmapRendersNothingAndDisabledSwitchesOff) {
  TLumTexture T(nullptr);
  T.Render(nullptr);
  EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));
  EXPECT_EQ(T.TextureName(), 0u);

  TBitmap B(1, 1);
  T.SetBitmap(&B);
  T.Render(nullptr);
  EXPECT_TRUE(glIsEnabled(GL_TEXTURE_2D));
  T.SetEnabled(false);
  T.Render(nullptr);
  EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));
}

TEST_F(TextureTest, FifthTextureEvictsTheLeastRecentlyRendered) {
  const uint32_t Colors[5] = {Red, Green, Blue, White, 0x00FFFF};
  TLumTexture* T[5];
  for (int i = 0; i < 5; ++i) {
    T[i] = new TLumTexture(&Owner);
    TBitmap B(1, 1);
    B.Fill(Colors[i]);
    T[i]->SetBitmap(&B);
    T[i]->SetMode(tmReplace);
  }
  for (int i = 0; i < 4; ++i) T[i]->Render(nullptr);
  T[0]->Render(nullptr);  // now the most recent: the second one is the oldest
  const uint32_t Second = T[1]->TextureName();
  ASSERT_TRUE(glIsTexture(Second));
  T[4]->Render(nullptr);
  EXPECT_EQ(T[1]->TextureName(), 0u);
  EXPECT_FALSE(glIsTexture(Second));
  EXPECT_EQ(TextureList().size(), 4u);
  EXPECT_EQ(TextureList().front(), T[2]);
  EXPECT_EQ(TextureList().back(), T[4]);

  T[1]->Render(nullptr);
  EXPECT_NE(T[1]->TextureName(), 0u);
  EXPECT_EQ(T[2]->TextureName(), 0u);
  DrawTexturedQuad(1, 1, 1, 1);
  ExpectPixel(PixelAt(32, 32), 0, 255, 0);
}

TEST_F(TextureTest, MaxTextureBelowOneIsIgnoredAndLoweringEvicts) {
  TLumTexture A(nullptr), B(nullptr), C(nullptr);
  TBitmap Bmp(1, 1);
  for (TLumTexture* T : {&A, &B, &C}) {
    T->SetBitmap(&Bmp);
    T->Render(nullptr);
  }
  SetMaxTexture(0);
  EXPECT_EQ(MaxTexture(), 4);
  EXPECT_EQ(TextureList().size(), 3u);
  SetMaxTexture(2);
  EXPECT_EQ(MaxTexture(), 2);
  EXPECT_EQ(TextureList().size(), 2u);
  EXPECT_EQ(A.TextureName(), 0u);
  EXPECT_NE(C.TextureName(), 0u);
}

TEST_F(TextureTest, LastRenderedTextureSkipsItsStateAfterTheFirstTestOfAFrame) {
  TLumTexture T(nullptr);
  TBitmap B(1, 1);
  T.SetBitmap(&B);
  T.Render(nullptr);  // new parameters: full
  glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_DECAL);
  T.Render(nullptr);  // the frame's first cache test always fails: full
  EXPECT_EQ(TexEnvMode(), GL_MODULATE);
  glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_DECAL);
  T.Render(nullptr);
  EXPECT_EQ(TexEnvMode(), GL_DECAL) << "an unchanged last texture emits nothing";

  RunFrameResetHooks(false);
  T.Render(nullptr);
  EXPECT_EQ(TexEnvMode(), GL_MODULATE);

  glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_DECAL);
  RunFrameResetHooks(true);  // before an image: everything is uploaded again
  T.Render(nullptr);
  EXPECT_EQ(TexEnvMode(), GL_MODULATE);
}

// --- exchange -------------------------------------------------------------------------

class TextureFileTest : public TextureTest {
 protected:
  void SetUp() override {
    TextureTest::SetUp();
    if (!GetRenderClass("TLumTexture")) RegisterLumtexClasses();
    char Buf[4096];
    ASSERT_NE(getcwd(Buf, sizeof Buf), nullptr);
    FOldDir = Buf;
  }
  void TearDown() override {
    EXPECT_EQ(chdir(FOldDir.c_str()), 0);
    TextureTest::TearDown();
  }
  std::string FOldDir;
  test::TempDir Scene, Elsewhere;
};

TEST_F(TextureFileTest, SideFileIsWrittenBesideTheSceneAndReadBackFromElsewhere) {
  TLumTexture S(nullptr);
  TBitmap B;
  FourTexels(B);
  S.SetBitmap(&B);
  S.SetAlpha(0.75f);
  S.SetMode(tmDecal);
  S.BlendColor()->SetColor(0x336699);
  const std::string File = Scene.File("scene.xml");
  ASSERT_EQ(chdir(Elsewhere.Path().c_str()), 0);
  test::SaveComponent(&S, File);
  EXPECT_TRUE(std::filesystem::is_regular_file(Scene.Path() / "scene0.bmp"));
  EXPECT_NE(test::ReadText(File).find("Bitmap=\"scene0.bmp\""), std::string::npos);

  auto* L = test::LoadComponent<TLumTexture>(&Owner, File);
  ASSERT_NE(L, nullptr);
  EXPECT_FLOAT_EQ(L->Alpha(), 0.75f);
  EXPECT_EQ(L->Mode(), tmDecal);
  EXPECT_EQ(L->BlendColor()->Color(), 0x336699u);
  ASSERT_EQ(L->Bitmap()->Width(), 2);
  ASSERT_EQ(L->Bitmap()->Height(), 2);
  EXPECT_EQ(L->Bitmap()->GetPixel(0, 0), Red);
  EXPECT_EQ(L->Bitmap()->GetPixel(0, 1), Blue);
  EXPECT_EQ(L->PixelBuffer()[3], 191);
}

TEST_F(TextureFileTest, RelativeNameFallsBackToTheCurrentFolder) {
  TLumTexture S(nullptr);
  TBitmap B(2, 1);
  B.Fill(Green);
  S.SetBitmap(&B);
  const std::string File = Scene.File("scene.xml");
  test::SaveComponent(&S, File);
  std::filesystem::rename(Scene.Path() / "scene0.bmp", Elsewhere.Path() / "scene0.bmp");
  ASSERT_EQ(chdir(Elsewhere.Path().c_str()), 0);
  auto* L = test::LoadComponent<TLumTexture>(&Owner, File);
  ASSERT_NE(L, nullptr);
  EXPECT_EQ(L->Bitmap()->Width(), 2);
  EXPECT_EQ(L->Bitmap()->GetPixel(1, 0), Green);
}

TEST_F(TextureFileTest, MissingUnreadableOrNonRegularSideFilesFailNamingTheFile) {
  TLumTexture S(nullptr);
  TBitmap B(1, 1);
  S.SetBitmap(&B);
  const std::string File = Scene.File("scene.xml");
  ASSERT_EQ(chdir(Elsewhere.Path().c_str()), 0);
  test::SaveComponent(&S, File);
  const auto Side = Scene.Path() / "scene0.bmp";

  auto ExpectFailure = [&](const char* What) {
    try {
      test::LoadComponent<TLumTexture>(&Owner, File);
      ADD_FAILURE() << What << ": loaded without an error";
    } catch (const Exception& E) {
      EXPECT_NE(std::string(E.what()).find("scene0.bmp"), std::string::npos) << E.what();
    }
  };
  std::filesystem::remove(Side);
  ExpectFailure("missing");
  std::ofstream(Side, std::ios::binary) << "not an image";
  ExpectFailure("garbage");
  std::filesystem::remove(Side);
  std::filesystem::create_directory(Side);
  ExpectFailure("folder");
}

}  // namespace
}  // namespace lumox
