// Headless GL fixtures for the test suite.
#include "support/glfixture.h"

namespace lumox::test {

void GLTest::SetUp() {
  View = new TLumView(&Form);
  View->SetBounds(64, 64);
  ASSERT_TRUE(View->OpenGLConnect(CreateEGLContext(64, 64)));
  Context = View->Context();
  ASSERT_TRUE(Context->MakeCurrent());
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
}

void GLTest::TearDown() {
  if (Context) Context->Release();
}

void GLTest::ModelView(double (&M)[16]) { glGetDoublev(GL_MODELVIEW_MATRIX, M); }

}  // namespace lumox::test

namespace lumox::test {

void ViewTest::SetUp() {
  View = new TLumView(&Form);
  View->SetBounds(80, 60);
  Camera = new TLumPerspectiveCamera(&Form);
  View->SetCamera(Camera);
}

TBitmap ViewTest::Snapshot() {
  TBitmap B(View->Width(), View->Height());
  EXPECT_TRUE(View->GetImage(&B));
  return B;
}

}  // namespace lumox::test
