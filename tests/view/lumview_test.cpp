// The view: repaint requests from camera, axes and input, input forwarding to the
// controller, design mode, context recreation, the frame's buffers and images that each
// start as a new context would.
#include "lumox/view/lumview.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "lumox/control/lumcntrl.h"
#include "lumox/geometry/lumshape.h"
#include "lumox/scene/lumobj.h"
#include "support/glfixture.h"

using namespace lumox;
using lumox::test::ViewTest;

namespace {

// An EGL context that counts the repaints a toolkit would be asked for.
class TCountingContext : public TLumGLContext {
 public:
  explicit TCountingContext(int* Count, int* Deaths = nullptr)
      : Inner(CreateEGLContext(40, 30)), Repaints(Count), Deaths(Deaths) {}
  ~TCountingContext() override {
    if (Deaths) ++*Deaths;
  }
  bool MakeCurrent() override { return Inner->MakeCurrent(); }
  void Release() override { Inner->Release(); }
  bool IsCurrent() const override { return Inner->IsCurrent(); }
  void SwapBuffers() override { Inner->SwapBuffers(); }
  int Width() const override { return Inner->Width(); }
  int Height() const override { return Inner->Height(); }
  bool Resize(int W, int H) override { return Inner->Resize(W, H); }
  std::unique_ptr<TLumGLContext> CreateOffscreen(int W, int H) override {
    return Inner->CreateOffscreen(W, H);
  }
  void RequestRepaint() override { ++*Repaints; }
  // The toolkit builds its own context anew.
  std::unique_ptr<TLumGLContext> Recreate(bool) override {
    return std::make_unique<TCountingContext>(Repaints, Deaths);
  }
  TLumPixelFormat PixelFormat() const override { return Inner->PixelFormat(); }
  std::unique_ptr<TLumGLContext> Inner;
  int* Repaints;
  int* Deaths;
};

// Moves something on VK_LEFT and on the left mouse button only.
class TStepController : public TLumCustomController {
 public:
  using TLumCustomController::TLumCustomController;
  bool HandleKey(uint16_t& Key, TShiftState) override { return Key == VK_LEFT; }
  bool HandleMouseDown(TMouseButton B, TShiftState, int, int) override { return B == mbLeft; }
};

}  // namespace

TEST(LumViewTest, ChangesInputAndResizesReachTheirHandlersAndAskForARepaint) {
  TComponent Form(nullptr);
  auto* View = new TLumView(&Form);
  int Repaints = 0;
  ASSERT_TRUE(View->OpenGLConnect(std::make_unique<TCountingContext>(&Repaints)));
  auto* Cam = new TLumPerspectiveCamera(&Form);
  View->SetCamera(Cam);
  View->SetBackgroundColor(0);  // unchanged
  View->Coordinates()->SetVisible(true);
  Cam->Transformation()->Rotation()->SetX(10);
  EXPECT_EQ(Repaints, 3);
  View->SetCamera(nullptr);
  Cam->SetViewAngle(30);  // no longer the view's camera
  EXPECT_EQ(Repaints, 4);

  // The event runs first and may change the key the controller sees.
  uint16_t Key = VK_RIGHT;
  View->KeyDown(Key, {});  // no controller: nothing moves
  auto* C = new TStepController(&Form);
  View->SetController(C);
  std::vector<int> Seen;
  View->KeyDown(Key, {}), Seen.push_back(Repaints);
  View->OnKeyDown = [](TObject*, uint16_t& K, TShiftState) { K = VK_LEFT; };
  View->KeyDown(Key, {}), Seen.push_back(Repaints);
  View->MouseDown(mbRight, {}, 1, 1), Seen.push_back(Repaints);
  View->MouseDown(mbLeft, {}, 1, 1), Seen.push_back(Repaints);
  delete C;
  EXPECT_EQ(View->Controller(), nullptr);
  View->MouseDown(mbLeft, {}, 1, 1), Seen.push_back(Repaints);
  EXPECT_EQ(Seen, (std::vector<int>{4, 5, 5, 6, 6}));

  std::string Log;
  View->OnMouseWheelUp = [&](TObject*, TShiftState, int, int, bool& H) { Log += "u", H = true; };
  View->OnMouseWheelDown = [&](TObject*, TShiftState, int, int, bool&) { Log += "d"; };
  EXPECT_TRUE(View->MouseWheel({}, 120, 1, 1));
  EXPECT_FALSE(View->MouseWheel({}, -120, 1, 1));
  // A wheel handler that takes the turn keeps it from the up/down events.
  View->OnMouseWheel = [&](TObject*, TShiftState, int Delta, int, int, bool& H) {
    Log += "w", H = Delta > 200;
  };
  EXPECT_TRUE(View->MouseWheel({}, 240, 1, 1) && View->MouseWheel({}, 120, 1, 1));
  EXPECT_EQ(Log, "udwwu");

  int Resizes = 0;
  View->OnResize = [&](TObject*) { ++Resizes; };
  View->SetBounds(400, 250);  // the size it has
  View->SetBounds(41, 31);
  View->SetDevicePixelRatio(2);  // the drawable follows, the logical size stays
  EXPECT_EQ(Resizes, 1);
  View->SetDevicePixelRatio(0);
  EXPECT_EQ(View->Context()->Height(), 62);

  Repaints = 0;
  View->SetVisible(false);
  View->SetBackgroundColor(0xFF);  // no repaint is asked for while hidden
  View->SetVisible(true);
  EXPECT_EQ(Repaints, 1);
}

TEST(LumViewTest, DesignModeHasNoContextAndDoubleBufferRecreatesIt) {
  TComponent Form(nullptr);
  auto* Design = new TLumView(&Form);
  Design->SetDesigning(true);
  bool Drawn = false;
  Design->OnRender = [&](TLumView*) { Drawn = true; };
  Design->Paint();
  EXPECT_FALSE(Design->Active() || Drawn);

  auto* View = new TLumView(&Form);
  View->SetDoubleBuffer(false);  // before the context exists: only stored
  EXPECT_FALSE(View->DoubleBuffer() || View->Active());
  int Repaints = 0, Deaths = 0;
  ASSERT_TRUE(View->OpenGLConnect(std::make_unique<TCountingContext>(&Repaints, &Deaths)));
  View->SetDoubleBuffer(true);  // the drawable's format is fixed: a new context...
  EXPECT_EQ(Deaths, 1);
  EXPECT_TRUE(View->Active());
  // ...made by whoever supplied the old one, not a headless one in its place.
  EXPECT_NE(dynamic_cast<TCountingContext*>(View->Context()), nullptr);
  EXPECT_FALSE(View->Context()->IsCurrent());

  // Outside a frame no context is current: the depth test waits for the next frame.
  View->SetDepthTestEnabled(false);
  EXPECT_FALSE(View->DepthTestEnabled());
  EXPECT_EQ(Repaints, 1);
}

// A square of the given colour and depth over the middle of the view.
static void Square(uint32_t Color, float Z = 0) {
  glColor3ub(Color & 0xFF, (Color >> 8) & 0xFF, (Color >> 16) & 0xFF);
  glBegin(GL_QUADS);
  glVertex3f(-0.5f, -0.5f, Z);
  glVertex3f(0.5f, -0.5f, Z);
  glVertex3f(0.5f, 0.5f, Z);
  glVertex3f(-0.5f, 0.5f, Z);
  glEnd();
}

TEST_F(ViewTest, ClearColourDepthTestAndChannelMasksAreApplied) {
  View->SetBackgroundColor(0x0000FF);
  View->SetDrawValues({dvRed, dvBlue, dvAlpha, dvDepth});  // no green
  View->OnRender = [](TLumView*) { Square(0x00FFFF); };    // only its red survives the mask
  EXPECT_EQ(RGB(Snapshot(), 40, 30), 0x0000FFu);
  View->SetDrawValues({dvRed, dvBlue, dvGreen, dvAlpha, dvDepth});
  View->SetCurrent(false);

  // A far square drawn after a near one is hidden while the depth test is on.
  View->OnRender = [](TLumView*) {
    Square(0x00FF00);
    Square(0xFF0000, -0.5f);
  };
  EXPECT_EQ(RGB(Snapshot(), 40, 30), 0x00FF00u);
  View->SetDepthTestEnabled(false);
  EXPECT_EQ(RGB(Snapshot(), 40, 30), 0xFF0000u);  // drawn last, always passes
}

TEST_F(ViewTest, AxesCrossUsesFullIntensityColours) {
  View->Coordinates()->SetVisible(true);
  View->Coordinates()->SetColorX(0x000001);  // red byte 1, drawn as 1.0
  View->Coordinates()->SetLength(5);
  const TBitmap B = Snapshot();
  // The x axis runs right from the centre along row 30 (or its neighbour).
  EXPECT_EQ((RGB(B, 70, 30) | RGB(B, 70, 29)) & 0xFF, 0xFFu);
}

TEST_F(ViewTest, GetImageFailsCleanlyAndRestoresTheMode) {
  TBitmap Empty;
  EXPECT_FALSE(View->GetImage(&Empty));
  EXPECT_FALSE(View->GetImage(nullptr));
  TLumDrawMode Seen = dmWindow;
  View->OnRender = [&](TLumView* V) { Seen = V->DrawMode(); };
  TBitmap B(10, 10);
  EXPECT_TRUE(View->GetImage(&B));
  EXPECT_TRUE(Seen == dmBitmap && View->DrawMode() == dmWindow);
}

TEST_F(ViewTest, ImagesFollowTheBitmapSizeAndStartFromTheSameState) {
  // A quad over the lower left quarter of the viewport, drawn without a camera
  // in the matrices it finds, which each image must start from afresh.
  View->SetCamera(nullptr);
  View->OnRender = [](TLumView*) {
    glTranslatef(-0.5f, -0.5f, 0);
    glRectf(-0.5f, -0.5f, 0.5f, 0.5f);
  };
  for (auto [W, H] : {std::pair{40, 30}, {40, 30}, {20, 60}}) {
    TBitmap B(W, H);
    ASSERT_TRUE(View->GetImage(&B));
    EXPECT_EQ(RGB(B, W / 4, H * 3 / 4), 0xFFFFFFu) << W << "x" << H;
    EXPECT_EQ(RGB(B, W * 3 / 4, H / 4), 0u) << W << "x" << H;
    EXPECT_EQ(RGB(B, W - 1, H - 1), 0u) << W << "x" << H;
  }
}

// Objects push selection names only in the selecting draw modes, and the counter starts
// again at every frame.
TEST_F(ViewTest, NamesArePushedOnlyInSelectingModes) {
  auto* S = new TLumObject(&Form);
  auto* T = new TLumObject(&Form);
  View->OnRender = [&](TLumView* V) { S->Render(V), T->Render(V); };
  std::vector<TObject*> Named;
  View->OnNotifyNextID = [&](TObject* Obj, int32_t Num) {
    Named.push_back(Obj);
    EXPECT_EQ(Num, -1);
  };
  Frame();
  EXPECT_TRUE(Named.empty());
  EXPECT_EQ(View->NextIDCounter(), 0);
  View->SetDrawMode(dmNothing);
  Frame();
  Frame();
  View->SetDrawMode(dmWindow);
  EXPECT_EQ(View->NextIDCounter(), 2);
  EXPECT_EQ(Named, (std::vector<TObject*>{S, T, S, T}));
}

// --- images ---------------------------------------------------------------------------

namespace {

using test::LitPixels;
using test::SamePixels;

// Display lists among Lists that exist now, asked in a context of its own (which shares
// the lists of every view without deleting any that a view has put aside).
int LiveLists(const std::vector<uint32_t>& Lists) {
  auto Ctx = CreateEGLContext(8, 8);
  if (!Ctx->MakeCurrent()) return -1;
  int N = 0;
  for (uint32_t L : Lists) N += glIsList(L) ? 1 : 0;
  Ctx->Release();
  return N;
}

}  // namespace

class ImageTest : public ViewTest {
 protected:
  void SetUp() override {
    ViewTest::SetUp();
    Root = new TLumNode(&Form);
    Ball = new TLumSphere(&Form);
    Ball->SetRadius(0.1);
    Ball->SetNode(Root);
    View->OnRender = [this](TLumView* V) { Root->Render(V); };
  }
  TLumNode* Root = nullptr;
  TLumSphere* Ball = nullptr;
};

TEST_F(ImageTest, ThrowingHandlersLeaveNothingPushedAndTheNextImageIsRight) {
  Ball->SetRadius(0.4);
  // Before the matrix push, inside it, and around the items: each throws in its turn.
  int Throwing = 0;
  Ball->OnBeforeRender = [&](TLumCustomView*) {
    if (Throwing == 1) throw Exception("before render failed");
  };
  Ball->OnAfterRender = [&](TLumCustomView*) {
    if (Throwing == 2) throw Exception("after render failed");
  };
  auto* Group = new TLumNode(&Form);
  Root->Add(Group);
  Group->OnRender = [&](TLumCustomView*) {
    if (Throwing != 3) return;
    // What it drew before it failed stays out of the next image, even one that does
    // not clear the colour buffer.
    glClearColor(1, 1, 1, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    throw Exception("node handler failed");
  };
  for (bool DepthOnly : {false, true}) {
    if (DepthOnly) View->SetAutoClearBuffers({btDepth});
    const TBitmap Good = Snapshot();
    ASSERT_GT(LitPixels(Good), 500);
    // Forty images whose handler throws before the drawing (more than the matrix stack
    // holds), then a few of each other kind.
    for (int I = 0; I < 46; ++I) {
      Throwing = I < 40 ? 1 : 2 + I % 2;
      TBitmap B(80, 60);
      EXPECT_FALSE(View->GetImage(&B)) << I;
    }
    Throwing = 0;
    EXPECT_TRUE(SamePixels(Snapshot(), Good)) << DepthOnly;
  }
  View->SetAutoClearBuffers({btColor, btDepth});
  // The view's own context too: a frame that throws leaves its matrix stack as it was.
  Throwing = 1;
  EXPECT_THROW(Frame(), Exception);
  Throwing = 0;
  GLint Depth = 0;
  View->OnRender = [&](TLumView* V) {
    glGetIntegerv(GL_MODELVIEW_STACK_DEPTH, &Depth);
    Root->Render(V);
  };
  Frame();
  EXPECT_EQ(Depth, 1);
}

TEST_F(ImageTest, EveryImageStartsFromTheStateOfANewContext) {
  struct TSeen {
    GLint Model = 0, Projection = 0, Texture = 0, Attrib = 0, ClientAttrib = 0;
    GLdouble TextureScale = 0;
    bool Arrays = true;
  };
  std::vector<TSeen> Seen;
  View->OnRender = [&](TLumView* V) {
    TSeen S;
    glGetIntegerv(GL_MODELVIEW_STACK_DEPTH, &S.Model);
    glGetIntegerv(GL_PROJECTION_STACK_DEPTH, &S.Projection);
    glGetIntegerv(GL_TEXTURE_STACK_DEPTH, &S.Texture);
    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &S.Attrib);
    glGetIntegerv(GL_CLIENT_ATTRIB_STACK_DEPTH, &S.ClientAttrib);
    GLdouble M[16];
    glGetDoublev(GL_TEXTURE_MATRIX, M);
    S.TextureScale = M[0];
    S.Arrays = glIsEnabled(GL_VERTEX_ARRAY) || glIsEnabled(GL_COLOR_ARRAY);
    Seen.push_back(S);
    Root->Render(V);
    // What a careless handler leaves behind.
    glPushMatrix();
    glMatrixMode(GL_TEXTURE);
    glPushMatrix();
    glScaled(2, 2, 2);
    glMatrixMode(GL_MODELVIEW);
    glPushAttrib(GL_ENABLE_BIT);
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glEnableClientState(GL_COLOR_ARRAY);
    glEnableClientState(GL_VERTEX_ARRAY);
  };
  for (int I = 0; I < 3; ++I) Snapshot();
  ASSERT_EQ(Seen.size(), 3u);
  for (const TSeen& S : Seen) {
    // One attribute push: the frame's own.
    EXPECT_EQ((std::array{S.Model, S.Projection, S.Texture, S.Attrib, S.ClientAttrib}),
              (std::array{1, 1, 1, 1, 0}));
    EXPECT_TRUE(S.TextureScale == 1.0 && !S.Arrays);
  }
}

TEST_F(ImageTest, ImagesDeleteTheListsFreedBetweenThem) {
  Root->SetCached(true);
  Frame();  // a view that has painted has a context of its own
  std::vector<uint32_t> Old;
  for (int I = 0; I < 50; ++I) {
    Snapshot();
    Old.push_back(Root->ListId());
    Ball->SetRadius(0.1 + 0.001 * (I + 1));  // the node's list is out of date now
  }
  Snapshot();
  // The name of a deleted list may come back as the node's new list.
  Old.erase(std::remove(Old.begin(), Old.end(), Root->ListId()), Old.end());
  EXPECT_EQ(Old.size(), 50u);
  EXPECT_EQ(LiveLists(Old), 0);
}

TEST_F(ImageTest, AViewThatNeverPaintedSeesChangesUnderCachedComponents) {
  Root->SetCached(true);
  const int Small = LitPixels(Snapshot());
  Ball->SetRadius(0.3);
  const int Large = LitPixels(Snapshot());
  EXPECT_GT(Large, Small * 5) << Small << " " << Large;
  // A cached component keeps its list through its own changes until it is uncached.
  Root->SetCached(false);
  Ball->SetCached(true);
  EXPECT_EQ(LitPixels(Snapshot()), Large);
  Ball->SetRadius(0.1);
  EXPECT_EQ(LitPixels(Snapshot()), Large);
  Ball->SetCached(false);
  EXPECT_EQ(LitPixels(Snapshot()), Small);
  EXPECT_EQ(Ball->ListId(), 0u);
  EXPECT_FALSE(View->Active());
}
