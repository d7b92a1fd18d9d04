// Cameras: setter rules, projections read back from GL, assignment.
#include "lumox/view/lumcam.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/glfixture.h"

using namespace lumox;
using lumox::test::GLTest;

TEST(CameraTest, DefaultsAndSetterRules) {
  TComponent Form(nullptr);
  auto* P = new TLumPerspectiveCamera(&Form);
  EXPECT_FLOAT_EQ(P->ViewNear(), 0.1f);
  EXPECT_FLOAT_EQ(P->ViewFar(), 10.0f);
  EXPECT_FLOAT_EQ(P->ViewAngle(), 45.0f);
  EXPECT_FLOAT_EQ(P->Transformation()->Translation()->Z(), -2.0f);
  int Changes = 0;
  P->OnChange = [&](TObject*) { ++Changes; };
  P->SetViewNear(0);
  P->SetViewNear(-1);
  P->SetViewFar(0);
  P->SetViewAngle(180.5f);
  P->SetViewAngle(NAN);
  EXPECT_EQ(Changes, 0);
  P->SetViewAngle(180);
  P->SetViewAngle(0);
  EXPECT_FLOAT_EQ(P->ViewAngle(), 0);
  P->SetViewNear(20);  // near beyond far is the user's affair
  EXPECT_FLOAT_EQ(P->ViewNear(), 20);
  EXPECT_EQ(Changes, 3);

  auto* O = new TLumOrthographicCamera(&Form);
  O->SetViewWidth(-1);
  EXPECT_FLOAT_EQ(O->ViewWidth(), 2);
  O->SetViewWidth(0);
  EXPECT_FLOAT_EQ(O->ViewWidth(), 0);
  O->SetViewHeight(-3);
  O->SetViewHeight(NAN);
  EXPECT_FLOAT_EQ(O->ViewHeight(), 2);
}

TEST(CameraTest, AssignCopiesOwnValuesAndTransformation) {
  TComponent Form(nullptr);
  auto* A = new TLumPerspectiveCamera(&Form);
  auto* B = new TLumPerspectiveCamera(&Form);
  B->SetViewAngle(60);
  B->SetViewFar(50);
  B->Transformation()->Rotation()->SetY(30);
  A->Assign(B);
  EXPECT_FLOAT_EQ(A->ViewAngle(), 60);
  EXPECT_FLOAT_EQ(A->ViewFar(), 50);
  EXPECT_FLOAT_EQ(A->Transformation()->Rotation()->Y(), 30);
  auto* O = new TLumOrthographicCamera(&Form);
  O->Assign(B);  // a camera of another kind: only the camera's part
  EXPECT_FLOAT_EQ(O->ViewFar(), 50);
  EXPECT_FLOAT_EQ(O->ViewWidth(), 2);
}

class CameraGLTest : public GLTest {
 protected:
  static void Projection(double (&M)[16]) { glGetDoublev(GL_PROJECTION_MATRIX, M); }
};

TEST_F(CameraGLTest, AdjustMultipliesTheProjection) {
  TComponent Form(nullptr);
  auto* P = new TLumPerspectiveCamera(&Form);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  P->Adjust(400, 200);
  double Got[16], Want[16];
  Projection(Got);
  glLoadIdentity();
  gluPerspective(45, 2.0, 0.1, 10);
  Projection(Want);
  for (int K = 0; K < 16; ++K) EXPECT_NEAR(Got[K], Want[K], 1e-9);

  auto* O = new TLumOrthographicCamera(&Form);
  glLoadIdentity();
  O->Adjust(400, 200);
  Projection(Got);
  glLoadIdentity();
  glOrtho(-2, 2, -1, 1, 0.1, 10);  // the width follows the aspect, the height stays
  Projection(Want);
  for (int K = 0; K < 16; ++K) EXPECT_NEAR(Got[K], Want[K], 1e-9);

  glLoadIdentity();
  O->Adjust(400, 0);  // a zero height counts as one pixel: no NaN in the matrix
  Projection(Got);
  for (double V : Got) EXPECT_FALSE(std::isnan(V));
}

TEST(CameraViewTest, FrameCapturesCameraMatrixAndSetsViewport) {
  TComponent Form(nullptr);
  auto* View = new TLumView(&Form);
  View->SetBounds(64, 32);
  auto* Cam = new TLumPerspectiveCamera(&Form);
  Cam->Transformation()->Rotation()->SetY(90);
  View->SetCamera(Cam);
  double ModelView[16] = {}, Proj[16] = {};
  GLint VP[4] = {};
  View->OnRender = [&](TLumView*) {
    glGetDoublev(GL_MODELVIEW_MATRIX, ModelView);
    glGetDoublev(GL_PROJECTION_MATRIX, Proj);
    glGetIntegerv(GL_VIEWPORT, VP);
  };
  View->Paint();
  EXPECT_EQ(VP[2], 64);
  EXPECT_EQ(VP[3], 32);
  for (int K = 0; K < 16; ++K) EXPECT_NEAR(Cam->Matrix()->Values()[K], ModelView[K], 1e-12);
  // Rotation first, then translation: toRotTraSca puts the rotation outermost.
  EXPECT_NEAR(ModelView[12], -2, 1e-6);
  EXPECT_NEAR(ModelView[14], 0, 1e-6);
  EXPECT_NEAR(Proj[0], Proj[5] / 2, 1e-9);  // aspect 2

  // Without a camera the view still clears and draws, leaving the matrices alone.
  View->SetCamera(nullptr);
  bool Drawn = false;
  View->OnRender = [&](TLumView*) { Drawn = true; };
  View->Paint();
  EXPECT_TRUE(Drawn);

  // Removing the camera from its owner clears the view's reference.
  View->SetCamera(Cam);
  delete Cam;
  EXPECT_EQ(View->Camera(), nullptr);
  View->Paint();
}
