// Cameras: setter rules, projections read back from GL, assignment.
#include "lumox/view/lumcam.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "support/glfixture.h"

using namespace lumox;
using lumox::test::GLTest;
using lumox::test::ViewTest;

TEST(CameraTest, SettersRefuseWhatNoCameraCanUse) {
  TComponent Form(nullptr);
  auto* P = new TLumPerspectiveCamera(&Form);
  int Changes = 0;
  P->OnChange = [&](TObject*) { ++Changes; };
  P->SetViewNear(0), P->SetViewNear(-1), P->SetViewFar(0), P->SetViewAngle(180.5f);
  P->SetViewAngle(NAN);
  EXPECT_EQ(Changes, 0);
  P->SetViewAngle(180), P->SetViewAngle(0);
  P->SetViewNear(20);  // near beyond far is the user's affair
  EXPECT_EQ((std::array{P->ViewAngle(), P->ViewNear()}), (std::array{0.0f, 20.0f}));
  EXPECT_EQ(Changes, 3);
  auto* O = new TLumOrthographicCamera(&Form);
  O->SetViewWidth(-1);
  EXPECT_FLOAT_EQ(O->ViewWidth(), 2);
  O->SetViewWidth(0), O->SetViewHeight(-3), O->SetViewHeight(NAN);
  EXPECT_EQ((std::array{O->ViewWidth(), O->ViewHeight()}), (std::array{0.0f, 2.0f}));
}

TEST(CameraTest, AssignCopiesOwnValuesAndTransformation) {
  TComponent Form(nullptr);
  auto* A = new TLumPerspectiveCamera(&Form);
  auto* B = new TLumPerspectiveCamera(&Form);
  B->SetViewAngle(60);
  B->SetViewFar(50);
  B->Transformation()->Rotation()->SetY(30);
  A->Assign(B);
  EXPECT_EQ((std::array{A->ViewAngle(), A->ViewFar(), A->Transformation()->Rotation()->Y()}),
            (std::array{60.0f, 50.0f, 30.0f}));
  auto* O = new TLumOrthographicCamera(&Form);
  O->Assign(B);  // a camera of another kind: only the camera's part
  EXPECT_EQ((std::array{O->ViewFar(), O->ViewWidth()}), (std::array{50.0f, 2.0f}));
}

class CameraGLTest : public GLTest {
 protected:
  static void Projection(double (&M)[16]) { glGetDoublev(GL_PROJECTION_MATRIX, M); }
};

TEST_F(CameraGLTest, PerspectiveProjectionFollowsAngleAspectAndClipping) {
  auto* P = new TLumPerspectiveCamera(&Form);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  P->Adjust(400, 200);
  double M[16];
  Projection(M);
  const double F = 1 / std::tan(22.5 * 3.141592653589793 / 180);  // half of 45 degrees
  EXPECT_NEAR(M[0], F / 2, 1e-6);                                 // aspect 2
  EXPECT_NEAR(M[5], F, 1e-6);
  EXPECT_NEAR(M[10], -10.1 / 9.9, 1e-6);  // near 0.1, far 10
  EXPECT_NEAR(M[14], -2 * 10 * 0.1 / 9.9, 1e-6);
  EXPECT_EQ(M[11], -1);

  auto* O = new TLumOrthographicCamera(&Form);
  glLoadIdentity();
  O->Adjust(400, 0);  // a zero height counts as one pixel: no NaN in the matrix
  Projection(M);
  for (double V : M) EXPECT_FALSE(std::isnan(V));
}

TEST_F(ViewTest, OrthographicCameraShowsTwiceTheWidthInAWideView) {
  View->SetBounds(120, 60);
  View->SetCamera(new TLumOrthographicCamera(&Form));
  // x runs from -2 to 2 (30 pixels a unit) and y from -1 to 1: a square over x 1..2,
  // y -0.5..0.5 covers pixels 90..119 and rows 15..44.
  View->OnRender = [](TLumView*) {
    glColor3f(1, 0, 0);
    glRectf(1, -0.5f, 2, 0.5f);
  };
  const TBitmap B = Snapshot();
  EXPECT_EQ((std::array{B.GetPixel(93, 30), B.GetPixel(117, 30), B.GetPixel(86, 30),
                        B.GetPixel(100, 12), B.GetPixel(100, 18)}),
            (std::array{0x0000FFu, 0x0000FFu, 0u, 0u, 0x0000FFu}));
}

TEST_F(ViewTest, FrameCapturesCameraMatrixAndSetsViewport) {
  View->SetBounds(64, 32);
  TLumPerspectiveCamera* Cam = Camera;
  Cam->Transformation()->Rotation()->SetY(90);
  double ModelView[16] = {}, Proj[16] = {};
  GLint VP[4] = {};
  View->OnRender = [&](TLumView*) {
    glGetDoublev(GL_MODELVIEW_MATRIX, ModelView);
    glGetDoublev(GL_PROJECTION_MATRIX, Proj);
    glGetIntegerv(GL_VIEWPORT, VP);
  };
  View->Paint();
  EXPECT_EQ((std::array{VP[2], VP[3]}), (std::array{64, 32}));
  for (int K = 0; K < 16; ++K) EXPECT_NEAR(Cam->Matrix()->Values()[K], ModelView[K], 1e-12);
  // Rotation first, then translation: toRotTraSca puts the rotation outermost.
  EXPECT_NEAR(ModelView[12], -2, 1e-6);
  EXPECT_NEAR(ModelView[14], 0, 1e-6);
  EXPECT_NEAR(Proj[0], Proj[5] / 2, 1e-9);  // aspect 2

  // Removing the camera from its owner clears the view's reference.
  View->SetCamera(Cam);
  delete Cam;
  EXPECT_EQ(View->Camera(), nullptr);
  View->Paint();
}
