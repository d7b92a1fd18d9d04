// The reference scenes and the bare-GL baseline: the baseline must draw the picture the
// library draws, or its ratio compares different work.
#include "bench/scenes/benchscenes.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>

#include "bench/scenes/baregl.h"
#include "lumox/geometry/lumshape.h"
#include "lumox/host/classes.h"
#include "lumox/scene/lumobj.h"
#include "support/glfixture.h"

namespace lumox {
namespace {

using namespace lumoxbench;

class BenchSceneTest : public test::ViewTest {
 protected:
  // Pixels of the two snapshots whose channels differ by more than a rounding step.
  static int Differing(const TBitmap& A, const TBitmap& B) {
    int N = 0;
    for (int Y = 0; Y < A.Height(); ++Y)
      for (int X = 0; X < A.Width(); ++X) {
        const uint32_t P = A.GetPixel(X, Y), Q = B.GetPixel(X, Y);
        for (int Shift = 0; Shift < 24; Shift += 8)
          if (std::abs(int((P >> Shift) & 0xFF) - int((Q >> Shift) & 0xFF)) > 2) {
            ++N;
            break;
          }
      }
    return N;
  }
};

TEST_F(BenchSceneTest, BareBaselineDrawsTheLibrarysPictureOfS1AndS4) {
  for (TBenchScene Scene : {bsS1, bsS4}) {
    TComponent Owner(nullptr);
    auto* Root = new TLumNode(&Owner);
    BuildScene(Scene, &Owner, Root, Camera);
    View->SetBounds(96, 96);
    View->HandleNeeded();  // the lists are compiled in the view's context
    View->OnRender = [Root](TLumView* V) { Root->Render(V); };
    const TBitmap Library = Snapshot();
    std::string Why;
    ASSERT_TRUE(BareSceneSupports(Root, Why)) << Why;
    View->SetCurrent(true);
    auto Bare = std::make_unique<TBareScene>(Root);
    View->OnRender = [&Bare](TLumView*) { Bare->Draw(); };
    const TBitmap Baseline = Snapshot();
    EXPECT_EQ(Bare->Lists(), Scene == bsS1 ? 1000u : 20000u);
    View->SetCurrent(true);
    Bare.reset();
    View->SetCurrent(false);
    View->OnRender = nullptr;
    // The scene covers a good part of the view, and both pictures agree.
    EXPECT_GT(test::LitPixels(Library), 96 * 96 / 20) << TBenchSceneStr[Scene];
    EXPECT_LT(Differing(Library, Baseline), 96 * 96 / 200) << TBenchSceneStr[Scene];
  }
}

TEST_F(BenchSceneTest, InterleavedFramesAlternateAndCachingFollowsTheMode) {
  TComponent Owner(nullptr);
  auto* Root = new TLumNode(&Owner);
  auto* Box = new TLumBox(&Owner);
  Box->SetNode(Root);
  auto* Sub = new TLumNode(&Owner);
  Sub->SetNode(Root);
  auto* Ball = new TLumSphere(&Owner);
  Ball->SetNode(Sub);
  SetCaching(Root, bcEveryObject);
  EXPECT_TRUE(!Root->Cached() && Box->Cached() && !Sub->Cached() && Ball->Cached());
  SetCaching(Root, bcRootOnly);
  EXPECT_TRUE(Root->Cached() && !Box->Cached() && !Sub->Cached() && !Ball->Cached());
  SetCaching(Root, bcUncached);
  EXPECT_TRUE(!Root->Cached() && !Box->Cached() && !Ball->Cached());

  // A node held twice is drawn twice: its triangles count twice.
  Root->AddIndirect(Sub);
  const TSceneCounts C = CountScene(Root);
  EXPECT_EQ((std::array{C.Objects, C.Nodes}), (std::array<int64_t, 2>{3, 2}));
  Ball->Init();
  EXPECT_EQ(C.Triangles, 12 + 2 * CountScene(Sub).Triangles);
  std::string Why;
  EXPECT_FALSE(BareSceneSupports(Root, Why));
  EXPECT_EQ(Why, "nested nodes");

  const TInterleavedTimes T = RunInterleaved(View, Sub, nullptr, 1, 3);
  EXPECT_EQ(T.Scene.size(), 3u);
  EXPECT_TRUE(T.Bare.empty());
  EXPECT_DOUBLE_EQ(Median({3, 1, 2}), 2);
  EXPECT_DOUBLE_EQ(Median({4, 1, 2, 3}), 2.5);
}

TEST(BenchSceneCounts, ReferenceScenesHoldWhatTheyPromise) {
  struct TCase {
    TBenchScene Scene;
    int64_t Items, Objects, Nodes, Vertices, Triangles;
  };
  // S1: 1000 spheres of 33 x 17 vertices; S2: one 1000 x 1000 grid; S3: 20 x 10 x 10
  // groups of 90 shapes and 10 materials; S4: 20 000 boxes of 12 triangles.
  for (const TCase& C :
       {TCase{bsS1, 2002, 1000, 0, 561000, 960000}, TCase{bsS2, 4, 1, 0, 1000000, 999 * 999 * 2},
        TCase{bsS3, 2 + 2220 + 200000, 180000, 2220, -1, -1},
        TCase{bsS4, 40002, 20000, 0, 480000, 240000}}) {
    TComponent Owner(nullptr);
    auto* Root = new TLumNode(&Owner);
    TLumPerspectiveCamera Camera(nullptr);
    BuildScene(C.Scene, &Owner, Root, &Camera);
    const TSceneCounts N = CountScene(Root);
    const char* Name = TBenchSceneStr[C.Scene];
    EXPECT_EQ((std::array{N.Items, N.Objects, N.Nodes}), (std::array{C.Items, C.Objects, C.Nodes}))
        << Name;
    if (C.Vertices >= 0) {
      EXPECT_EQ((std::array{N.Vertices, N.Triangles}), (std::array{C.Vertices, C.Triangles}))
          << Name;
    }
    std::string Why;
    EXPECT_EQ(BareSceneSupports(Root, Why), C.Scene != bsS3) << Why;
  }
}

TEST(BenchSceneCounts, BareBaselineRefusesWhatItCannotCopy) {
  TComponent Owner(nullptr);
  auto* Root = new TLumNode(&Owner);
  auto* Box = new TLumBox(&Owner);
  Box->SetNode(Root);
  std::string Why;  // a box as it is made is supported, as in S4
  Box->Transformation()->Rotation()->SetY(30);
  EXPECT_FALSE(BareSceneSupports(Root, Why));
  EXPECT_EQ(Why, "TLumBox rotated or scaled");
  Box->Transformation()->Rotation()->SetY(0);
  Box->OnAfterRender = [](TLumCustomView*) {};
  EXPECT_FALSE(BareSceneSupports(Root, Why));
  Box->OnAfterRender = nullptr;
  Box->SetTextured(true);
  EXPECT_FALSE(BareSceneSupports(Root, Why));
  EXPECT_THROW(TBareScene Bare(Root), Exception);
}

}  // namespace
}  // namespace lumox
