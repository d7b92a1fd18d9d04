// Test fixtures that give a test a current headless OpenGL context.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "lumox/host/graphics.h"
#include "lumox/math/lumgl.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"
#include "lumox/view/lumwgl.h"

namespace lumox::test {

// A 64 x 64 EGL context, current for the duration of each test, as the context of a
// view without a camera: components rendered with View keep what they take the
// context's state to be in View->RenderState().
class GLTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  // The modelview matrix as OpenGL holds it now.
  static void ModelView(double (&M)[16]);
  TComponent Form{nullptr};
  TLumView* View = nullptr;
  TLumGLContext* Context = nullptr;  // the view's
};

// A headless 80 x 60 view with a default perspective camera, owned by Form.
class ViewTest : public ::testing::Test {
 protected:
  void SetUp() override;
  // One frame into the view's own pbuffer.
  void Frame() { View->Paint(); }
  // One frame rendered through GetImage at the view's size.
  TBitmap Snapshot();
  // Red, green, blue bytes of a snapshot pixel (x from the left, y from the top).
  static uint32_t RGB(const TBitmap& B, int X, int Y) { return B.GetPixel(X, Y); }
  TComponent Form{nullptr};
  TLumView* View = nullptr;
  TLumPerspectiveCamera* Camera = nullptr;
};

}  // namespace lumox::test
