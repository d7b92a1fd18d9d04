// Test fixtures that give a test a current headless OpenGL context.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
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

// A component made where a freed one lived is not taken for it by the view's record of
// the last rendered one (IsLast): rendered, freed and made again, four times.
template <typename T, typename F>
void ExpectNewbornNotTakenForTheFreed(TComponent* Owner, TLumView* View, F IsLast) {
  for (int I = 0; I < 4; ++I) {
    auto* Dying = new T(Owner);
    Dying->Render(View);
    EXPECT_TRUE(IsLast(View, Dying));
    delete Dying;
    auto* Born = new T(Owner);
    EXPECT_FALSE(IsLast(View, Born));
    delete Born;
  }
}

// Pixels whose red, green or blue byte is above 64 within [X1, X2) x [Y1, Y2); the whole
// image by default.
inline int LitPixels(const TBitmap& B, int X1 = 0, int Y1 = 0, int X2 = -1, int Y2 = -1) {
  if (X2 < 0) X2 = B.Width();
  if (Y2 < 0) Y2 = B.Height();
  int N = 0;
  for (int Y = Y1; Y < Y2; ++Y)
    for (int X = X1; X < X2; ++X) {
      const uint32_t C = B.GetPixel(X, Y);
      N += (C & 0xFF) > 64 || ((C >> 8) & 0xFF) > 64 || ((C >> 16) & 0xFF) > 64;
    }
  return N;
}

// A and B have the same size and the same pixels.
inline bool SamePixels(const TBitmap& A, const TBitmap& B) {
  return A.Width() == B.Width() && A.Height() == B.Height() &&
         std::equal(A.Pixels(), A.Pixels() + size_t(A.Width()) * A.Height() * 4, B.Pixels());
}

}  // namespace lumox::test
