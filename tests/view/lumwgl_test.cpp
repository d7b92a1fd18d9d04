// The EGL backend: contexts, pbuffers and shared display lists.
#include "lumox/view/lumwgl.h"

#include <gtest/gtest.h>

#include <array>

#include "lumox/math/lumgl.h"

using namespace lumox;

TEST(EGLContextTest, ContextHasRequestedFormatAndSize) {
  auto Ctx = CreateEGLContext(40, 30);
  ASSERT_TRUE(Ctx->MakeCurrent());
  EXPECT_TRUE(Ctx->IsCurrent());
  const TLumPixelFormat F = Ctx->PixelFormat();
  EXPECT_EQ(F.ColorBits, 24);
  EXPECT_TRUE(F.DepthBits >= 24 && F.StencilBits >= 1) << F.DepthBits << " " << F.StencilBits;
  GLint VP[4], Depth = 0;
  glGetIntegerv(GL_VIEWPORT, VP);
  glGetIntegerv(GL_DEPTH_BITS, &Depth);
  EXPECT_EQ((std::array{VP[2], VP[3]}), (std::array{40, 30}));
  EXPECT_GE(Depth, 24);
  Ctx->Release();
  EXPECT_FALSE(Ctx->IsCurrent());
  EXPECT_FALSE(EGLPlatformName().empty());
}

TEST(EGLContextTest, ContextsShareDisplayListsAndAResizeKeepsThem) {
  auto A = CreateEGLContext(8, 8);
  auto B = A->CreateOffscreen(16, 16);
  ASSERT_TRUE(A->MakeCurrent());
  const GLuint List = glGenLists(1);
  glNewList(List, GL_COMPILE);
  glClearColor(1, 0, 0, 1);
  glEndList();
  // A new drawable of the new size, the same context.
  ASSERT_TRUE(A->Resize(50, 20));
  EXPECT_TRUE(A->IsCurrent() && A->Width() == 50 && glIsList(List));
  glClearColor(0, 1, 0, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  GLubyte Px[4] = {};
  glReadPixels(49, 19, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, Px);
  EXPECT_EQ(Px[1], 255);
  ASSERT_TRUE(B->MakeCurrent());
  EXPECT_TRUE(glIsList(List));  // made in A, seen in B
  glCallList(List);
  GLfloat C[4];
  glGetFloatv(GL_COLOR_CLEAR_VALUE, C);
  EXPECT_EQ(C[0], 1.0f);
  glDeleteLists(List, 1);
  B->Release();
  ASSERT_TRUE(A->MakeCurrent());
  EXPECT_FALSE(glIsList(List));
  A->Release();
}
