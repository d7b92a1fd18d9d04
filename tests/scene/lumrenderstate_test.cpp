// The render state: one per GL context, reached through the view being rendered, and
// forgotten wherever a frame or an image begins.
#include "lumox/scene/lumrenderstate.h"

#include <gtest/gtest.h>

#include <array>

#include "lumox/scene/lumattr.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumtex.h"
#include "support/glfixture.h"

using namespace lumox;
using lumox::test::ViewTest;

namespace {

std::array<float, 4> Ambient() {
  std::array<float, 4> V{};
  glGetMaterialfv(GL_FRONT, GL_AMBIENT, V.data());
  return V;
}

}  // namespace

// What one context holds says nothing of another: a material rendered in one view is
// not the last rendered one in another, nor in the context an image is taken in.
TEST_F(ViewTest, EveryContextHasARenderStateOfItsOwn) {
  auto* Second = new TLumView(&Form);
  Second->SetBounds(20, 20);
  auto* M = new TLumMaterial(&Form);
  bool InFrame = false, InSecond = true, InImage = true;
  TLumRenderState* ImageState = nullptr;
  View->OnRender = [&](TLumView* V) {
    M->Render(V);
    if (V->DrawMode() == dmBitmap) {
      InImage = IsLastRenderedMaterial(V, M);
      ImageState = &V->RenderState();
      return;
    }
    InFrame = IsLastRenderedMaterial(V, M);
    InSecond = IsLastRenderedMaterial(Second, M);
  };
  Frame();
  EXPECT_TRUE(InFrame);
  EXPECT_FALSE(InSecond);
  Snapshot();
  EXPECT_TRUE(InImage);
  EXPECT_NE(ImageState, &View->Context()->RenderState());
  // Back to the view's own context, which still holds M from its frame.
  EXPECT_EQ(&View->RenderState(), &View->Context()->RenderState());
  EXPECT_TRUE(IsLastRenderedMaterial(View, M));
  EXPECT_FALSE(IsLastRenderedMaterial(Second, M));
}

// Every frame and every image starts with nothing taken as set: the first material
// emits its state even when the frame before ended with it.
TEST_F(ViewTest, FramesAndImagesStartWithNothingTakenAsSet) {
  auto* M = new TLumMaterial(&Form);
  M->ColorAmbient()->SetColor(0x0000FF);
  auto* A = new TLumAttributes(&Form);
  A->SetLighting(true);
  std::vector<std::array<float, 4>> Seen;
  std::vector<bool> Lit;
  View->OnRender = [&](TLumView* V) {
    const GLfloat Grey[4] = {0.5f, 0.5f, 0.5f, 1.0f};
    glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, Grey);
    glDisable(GL_LIGHTING);
    M->Render(V);
    A->Render(V);
    Seen.push_back(Ambient());
    Lit.push_back(glIsEnabled(GL_LIGHTING));
  };
  for (int I = 0; I < 2; ++I) {
    Frame();
    Snapshot();
  }
  EXPECT_EQ(Seen, (std::vector(4, std::array<float, 4>{1, 0, 0, 1})));
  EXPECT_EQ(Lit, std::vector<bool>(4, true));
}
