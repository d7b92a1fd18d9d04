// Tests of TLumTexture and the texture cache: the pixel buffer and its alpha, pixels of
// a textured quad under each environment mode, rescaling, eviction, the frame flag and
// scene files with their bitmap side files.
#include "lumox/scene/lumtex.h"

#include <iterator>

#include "support/glfixture.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

constexpr uint32_t Red = 0x0000FF, Green = 0x00FF00, Blue = 0xFF0000, White = 0xFFFFFF;
using Bytes = std::array<int, 4>;

// Red, green / blue, white: a 2 x 2 bitmap, rows top to bottom.
TBitmap FourTexels() {
  TBitmap B(2, 2);
  const uint32_t C[4] = {Red, Green, Blue, White};
  for (int i = 0; i < 4; ++i) B.SetPixel(i % 2, i / 2, C[i]);
  return B;
}

// Draws a quad over the whole 64 x 64 window in a grey of Level, texture coordinates 0..1.
void DrawTexturedQuad(float Level) {
  glClear(GL_COLOR_BUFFER_BIT);
  glColor3f(Level, Level, Level);
  glBegin(GL_QUADS);
  for (const auto& [S, T] : {std::pair{0, 0}, {1, 0}, {1, 1}, {0, 1}}) {
    glTexCoord2f(S, T);
    glVertex2f(S * 2 - 1, T * 2 - 1);
  }
  glEnd();
}

void ExpectPixel(int X, int Y, const Bytes& Want) {
  uint8_t P[4];
  glReadPixels(X, Y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, P);
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(P[i], Want[i], 2) << X << "," << Y << " " << i;
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
    View->RenderState().Reset();
    if (!GetRenderClass("TLumTexture")) RegisterLumtexClasses();
  }
  void TearDown() override {
    Owner.DestroyComponents();  // their texture objects go while the context is current
    test::GLTest::TearDown();
  }
  TLumTexture* NewTexture(TBitmap B, TLumTexMode Mode = tmModulate) {
    auto* T = new TLumTexture(&Owner);
    T->SetBitmap(&B);
    T->SetMode(Mode);
    return T;
  }
  TComponent Owner{nullptr};
};

TEST_F(TextureTest, PixelBufferRunsBottomUpWithAlphaFromTheSetters) {
  TLumTexture* T = NewTexture(FourTexels());
  const auto& P = T->PixelBuffer();
  ASSERT_EQ(P.size(), 16u);
  EXPECT_EQ((Bytes{P[0], P[1], P[2], P[3]}), (Bytes{0, 0, 255, 255}));
  EXPECT_EQ((Bytes{P[8], P[9], P[10], P[11]}), (Bytes{255, 0, 0, 255}));
  T->SetAlpha(1.5f);
  T->SetAlpha(0.5f);
  for (size_t i = 3; i < P.size(); i += 4) EXPECT_EQ(P[i], 128) << i;
  EXPECT_TRUE(T->SetMaskAlpha(Blue, 0.25f, 1.0f));
  EXPECT_EQ((Bytes{P[3], P[7], P[11], P[15]}), (Bytes{64, 255, 255, 255}));
  TBitmap A(1, 2);  // an alpha bitmap of another size: grey 90 above, white below
  A.SetPixel(0, 0, 0x5A5A5A);
  A.SetPixel(0, 1, White);
  T->SetAlphaBitmap(&A);
  EXPECT_EQ((Bytes{P[3], P[7], P[11], P[15]}), (Bytes{255, 255, 90, 90}));

  TLumTexture Empty(nullptr);
  EXPECT_FALSE(Empty.SetMaskAlpha(Blue, 0.0f, 1.0f));
  Empty.Render(nullptr);
  EXPECT_TRUE(!glIsEnabled(GL_TEXTURE_2D) && Empty.TextureName() == 0u);
}

TEST_F(TextureTest, TexelsCombineWithTheFragmentUnderEachMode) {
  struct Case {
    TLumTexMode Mode;
    float Alpha;
    Bytes Pixel;  // the red texel over a mid-grey fragment
  };
  // Blend mixes with the environment colour: the black blend colour's float bits read
  // as integers give (0, 0, 0, about 0.5).
  const Case Cases[] = {{tmModulate, 1.0f, {128, 0, 0}},
                        {tmDecal, 1.0f, {255, 0, 0}},
                        {tmDecal, 0.5f, {191, 64, 64}},
                        {tmBlend, 1.0f, {0, 128, 128}},
                        {tmReplace, 1.0f, {255, 0, 0}}};
  TLumTexture* T = nullptr;
  for (const Case& C : Cases) {
    SCOPED_TRACE(std::string(TLumTexModeStr[C.Mode]) + " " + std::to_string(C.Alpha));
    T = NewTexture(FourTexels(), C.Mode);
    T->SetAlpha(C.Alpha);
    T->Render(nullptr);
    DrawTexturedQuad(0.5f);
    ExpectPixel(16, 48, C.Pixel);
  }
  DrawTexturedQuad(1.0f);  // the image stands upright under the last, replacing mode
  for (auto [X, Y, Want] : {std::tuple{48, 48, Bytes{0, 255, 0}},
                            {16, 16, Bytes{0, 0, 255}},
                            {48, 16, Bytes{255, 255, 255}}})
    ExpectPixel(X, Y, Want);
  T->SetEnabled(false);
  T->Render(nullptr);
  EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));
}

TEST_F(TextureTest, BlendColourBitsAndTransformationReachGL) {
  TLumTexture* T = NewTexture(TBitmap(1, 1));
  T->BlendColor()->SetColor(White);
  T->Transformation()->Scale()->SetValues(2.0f, 3.0f, 1.0f);
  T->Render(nullptr);
  GLfloat Env[4], M[16];
  glGetTexEnvfv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, Env);
  // Deliberately the integer call: 1.0f is 0x3F800000, as a GL integer colour about 0.496.
  for (float V : Env) EXPECT_NEAR(V, 1065353216.0 / 2147483647.0, 1e-3);
  glGetFloatv(GL_TEXTURE_MATRIX, M);
  EXPECT_EQ((std::array{M[0], M[5]}), (std::array{2.0f, 3.0f}));
  GLint Mode = 0;
  glGetIntegerv(GL_MATRIX_MODE, &Mode);
  EXPECT_EQ(Mode, GL_MODELVIEW);
}

TEST_F(TextureTest, OddSizesAreRescaledToTheNearestPowersOfTwo) {
  TBitmap B(100, 30);
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 100; ++x) B.SetPixel(x, y, x < 50 ? Red : Blue);
  TLumTexture* T = NewTexture(B);
  EXPECT_TRUE(T->PixelBuffer().empty());
  T->Render(nullptr);
  GLint W = 0, H = 0;
  glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &W);
  glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &H);
  EXPECT_EQ((Bytes{T->Bitmap()->Width(), T->Bitmap()->Height(), W, H}), (Bytes{128, 32, 128, 32}));
  EXPECT_EQ((std::array{T->Bitmap()->GetPixel(10, 16), T->Bitmap()->GetPixel(120, 16)}),
            (std::array{Red, Blue}));
  TLumTexture* U = NewTexture(TBitmap(48, 40));
  U->Render(nullptr);
  EXPECT_EQ((std::array{U->Bitmap()->Width(), U->Bitmap()->Height()}), (std::array{64, 32}));
}

TEST_F(TextureTest, FifthTextureEvictsTheLeastRecentlyRenderedUntilItReturns) {
  const uint32_t Colors[5] = {Red, Green, Blue, White, 0x00FFFF};
  TLumTexture* T[5];
  for (int i = 0; i < 5; ++i) {
    TBitmap B(1, 1);
    B.Fill(Colors[i]);
    T[i] = NewTexture(B, tmReplace);
  }
  for (int i : {0, 1, 2, 3, 0}) T[i]->Render(nullptr);  // the second is now the oldest
  const uint32_t Second = T[1]->TextureName();
  ASSERT_TRUE(glIsTexture(Second));
  T[4]->Render(nullptr);
  EXPECT_EQ(T[1]->TextureName(), 0u);
  EXPECT_FALSE(glIsTexture(Second));
  EXPECT_EQ(TextureList(), (std::vector<TLumTexture*>{T[2], T[3], T[0], T[4]}));
  T[1]->Render(nullptr);
  EXPECT_EQ(T[2]->TextureName(), 0u);
  DrawTexturedQuad(1.0f);
  ExpectPixel(32, 32, {0, 255, 0});
  SetMaxTexture(0);
  EXPECT_EQ(MaxTexture(), 4);
  SetMaxTexture(2);
  EXPECT_EQ(TextureList(), (std::vector<TLumTexture*>{T[4], T[1]}));
  EXPECT_EQ(T[0]->TextureName(), 0u);
}

TEST_F(TextureTest, TexturesFreedOutsideAFrameLeaveNoTextureObject) {
  TLumTexture* T[3];
  GLuint Name[3];
  for (int i = 0; i < 3; ++i) {
    T[i] = NewTexture(TBitmap(1, 1));
    T[i]->Render(nullptr);
    Name[i] = T[i]->TextureName();
  }
  Context->Release();  // outside a frame no context is current
  delete T[0];
  SetMaxTexture(1);  // evicts T[1]
  ASSERT_TRUE(Context->MakeCurrent());
  EXPECT_EQ((std::array{glIsTexture(Name[0]), glIsTexture(Name[1]), glIsTexture(Name[2])}),
            (std::array<GLboolean, 3>{GL_FALSE, GL_FALSE, GL_TRUE}));
}

TEST_F(TextureTest, LastRenderedTextureSkipsItsStateAfterTheFirstTestOfAFrame) {
  TLumTexture* T = NewTexture(TBitmap(1, 1));
  T->Render(View);  // new parameters: full
  glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_DECAL);
  T->Render(View);  // the frame's first cache test always fails: full
  EXPECT_EQ(TexEnvMode(), GL_MODULATE);
  glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_DECAL);
  T->Render(View);
  EXPECT_EQ(TexEnvMode(), GL_DECAL) << "an unchanged last texture emits nothing";
  // A new frame, an image (every texture uploaded anew), an evicted texture object.
  for (int Step = 0; Step < 3; ++Step) {
    if (Step == 0) RedrawTextures(View);
    if (Step == 1) InvalidateTextures();
    if (Step == 2) DeleteTexture(T);
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_DECAL);
    T->Render(View);
    EXPECT_EQ(TexEnvMode(), GL_MODULATE) << Step;
    EXPECT_NE(T->TextureName(), 0u);
  }
}

// Scene files are written into one folder while the current folder is another.
class TextureFileTest : public TextureTest {
 protected:
  void SetUp() override {
    TextureTest::SetUp();
    FOldDir = std::filesystem::current_path();
    std::filesystem::current_path(Elsewhere.Path());
  }
  void TearDown() override {
    std::filesystem::current_path(FOldDir);
    TextureTest::TearDown();
  }
  std::filesystem::path FOldDir;
  test::TempDir Scene, Elsewhere;
  const std::string File = Scene.File("scene.xml");
};

TEST_F(TextureFileTest, SideFileIsWrittenBesideTheSceneAndReadBack) {
  TLumTexture* S = NewTexture(FourTexels(), tmDecal);
  S->SetAlpha(0.75f);
  S->BlendColor()->SetColor(0x336699);
  const std::string Text = test::SavedText(S, File);
  EXPECT_NE(Text.find(" Alpha=\"0.75\" Mode=\"tmDecal\" Bitmap=\"scene0.bmp\">"), std::string::npos)
      << Text;
  EXPECT_TRUE(std::filesystem::is_regular_file(Scene.Path() / "scene0.bmp"));
  auto* L = test::LoadComponent<TLumTexture>(&Owner, File);
  ASSERT_NE(L, nullptr);
  EXPECT_EQ(L->PixelBuffer(), S->PixelBuffer());
  EXPECT_EQ(test::SavedText(L, File), Text);
  // A side file moved into the current folder is found there.
  std::filesystem::rename(Scene.Path() / "scene0.bmp", Elsewhere.Path() / "scene0.bmp");
  L = test::LoadComponent<TLumTexture>(&Owner, File);
  ASSERT_NE(L, nullptr);
  EXPECT_EQ(L->PixelBuffer(), S->PixelBuffer());
  // A scene file that cannot take its place (a folder of that name) leaves no new side
  // file behind, and an old one as it was.
  std::filesystem::create_directory(Scene.Path() / "dir.xml");
  EXPECT_THROW(test::SavedText(S, Scene.File("dir.xml")), Exception);
  EXPECT_FALSE(std::filesystem::exists(Scene.Path() / "dir0.bmp"));
  test::WriteText(Scene.File("dir0.bmp"), "old");
  EXPECT_THROW(test::SavedText(S, Scene.File("dir.xml")), Exception);
  EXPECT_EQ(test::ReadText(Scene.File("dir0.bmp")), "old");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(Scene.Path()), {}), 3);
}

// A missing or undecodable side file fails naming it. Sizes are read before decoding: a
// 10000 x 10000 header with no pixels behind it names the pixel bound; a side the GL
// cannot take is refused when loaded with a context current, and when rendered otherwise.
TEST_F(TextureFileTest, BadOrOversizedImagesAreRefusedNamingFileAndSize) {
  auto Refused = [](auto&& Load, const std::string& Want) {
    const std::string M = test::Thrown(Load);
    EXPECT_NE(M.find(Want), std::string::npos) << M;
  };
  auto LoadIt = [&] { test::LoadComponent<TLumTexture>(&Owner, File); };
  test::SaveComponent(NewTexture(TBitmap(1, 1)), File);
  for (const char* Content : {static_cast<const char*>(nullptr), "not an image"}) {
    std::filesystem::remove(Scene.Path() / "scene0.bmp");
    if (Content) test::WriteText(Scene.File("scene0.bmp"), Content);
    Refused(LoadIt, "scene0.bmp");
  }
  const char Header[] = "\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR\0\0\x27\x10\0\0\x27\x10\x08\0\0\0\0";
  test::WriteText(Scene.File("big.png"), std::string(Header, sizeof Header - 1) + "CRC!");
  Refused([&] { TBitmap().LoadFromFile(Scene.File("big.png")); }, "big.png\": 10000 x 10000");
  GLint Max = 0;
  glGetIntegerv(GL_MAX_TEXTURE_SIZE, &Max);
  const std::string Size = std::to_string(Max + 1) + " x 1 pixels";
  TLumTexture* Wide = NewTexture(TBitmap(Max + 1, 1));
  test::SaveComponent(Wide, File);
  Refused(LoadIt, "scene0.bmp\": " + Size);
  Refused([&] { Wide->Render(nullptr); }, Size);
}

}  // namespace
}  // namespace lumox
