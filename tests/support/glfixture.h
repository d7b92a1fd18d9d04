// Test fixtures that give a test a current headless OpenGL context.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "lumox/math/lumgl.h"
#include "lumox/view/lumwgl.h"

namespace lumox::test {

// A 64 x 64 EGL context, current for the duration of each test.
class GLTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  // The modelview matrix as OpenGL holds it now.
  static void ModelView(double (&M)[16]);
  std::unique_ptr<TLumGLContext> Context;
};

}  // namespace lumox::test
