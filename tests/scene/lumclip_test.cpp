// Tests of TLumClip: the plane it hands to GL, its unchecked coefficient accessors,
// clipping visible in pixels and switching off.
#include "lumox/scene/lumclip.h"

#include "support/glfixture.h"

namespace lumox {
namespace {

using Plane = std::array<double, 4>;

Plane GetPlane(GLenum Id) {
  Plane P{};
  glGetClipPlane(Id, P.data());
  return P;
}

// Fills the whole 64 x 64 window white and counts the lit pixels of a row.
int LitPixelsOfRow(int Row) {
  glClear(GL_COLOR_BUFFER_BIT);
  glRectf(-1, -1, 1, 1);
  uint8_t Pixels[64 * 4];
  glReadPixels(0, Row, 64, 1, GL_RGBA, GL_UNSIGNED_BYTE, Pixels);
  int Lit = 0;
  for (int x = 0; x < 64; ++x) Lit += Pixels[x * 4] > 128 ? 1 : 0;
  return Lit;
}

using ClipTest = test::GLTest;

TEST_F(ClipTest, PlaneReachesGLInTheCurrentCoordinates) {
  TLumClip C(nullptr), Moved(nullptr);
  C.Render(nullptr);
  EXPECT_TRUE(glIsEnabled(GL_CLIP_PLANE0));
  EXPECT_EQ(GetPlane(GL_CLIP_PLANE0), (Plane{1, 0, 0, 1}));
  // GL keeps the plane in eye coordinates: moved right by 0.5, it keeps X >= -0.5.
  Moved.SetID(idClipPlane3);
  Moved.Transformation()->Translation()->SetValues(0.5f, 0.0f, 0.0f);
  Moved.Render(nullptr);
  EXPECT_EQ(GetPlane(GL_CLIP_PLANE3), (Plane{1, 0, 0, 0.5}));
}

TEST_F(ClipTest, PlaneAccessorsIgnoreBadIndicesAndNeverNotify) {
  TLumClip C(nullptr);
  int Changes = 0;
  C.OnChange = [&](TObject*) { ++Changes; };
  EXPECT_EQ(C.GetPlane(7), -1.0);
  EXPECT_EQ(C.GetPlane(-1), -1.0);
  C.SetPlane(7, 5.0);
  C.SetPlane(-1, 5.0);
  C.Sety(2.0);
  C.SetPlane(3, -4.0);
  EXPECT_EQ((Plane{C.x(), C.y(), C.z(), C.w()}), (Plane{1, 2, 0, -4}));
  EXPECT_EQ(Changes, 0);
}

TEST_F(ClipTest, TwoPlanesClipTogetherAndDisablingSwitchesOne) {
  TLumClip Right(nullptr), Top(nullptr);
  Right.Setw(0.0);  // keeps X >= 0
  Top.SetID(idClipPlane1);
  Top.SetPlane(0, 0.0);
  Top.SetPlane(1, -1.0);
  Top.SetPlane(3, 0.0);  // keeps Y <= 0
  Right.Render(nullptr);
  Top.Render(nullptr);
  EXPECT_EQ(LitPixelsOfRow(10), 32);
  EXPECT_EQ(LitPixelsOfRow(50), 0);
  Top.SetEnabled(false);
  Top.Render(nullptr);
  EXPECT_FALSE(glIsEnabled(GL_CLIP_PLANE1));
  EXPECT_TRUE(glIsEnabled(GL_CLIP_PLANE0));
  EXPECT_EQ(LitPixelsOfRow(50), 32);
}

}  // namespace
}  // namespace lumox
