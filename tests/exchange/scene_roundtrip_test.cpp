// A lit, fogged, clipped and textured scene built in code renders the same pixels
// after a save and a load into a fresh node.
#include <gtest/gtest.h>

#include "lumox/lumox.h"
#include "support/glfixture.h"
#include "support/scenefile.h"

using namespace lumox;
using lumox::test::ViewTest;

namespace {

// Render state applies to what follows it in the node, so the file's order carries it.
void BuildScene(TComponent* Owner, TLumNode* Root) {
  auto* Attr = new TLumAttributes(Owner);
  Attr->SetLighting(true);
  Attr->SetNode(Root);
  auto* Light = new TLumLight(Owner);
  Light->SetKind(lkDirection);
  Light->Direction()->SetValues(0.3f, 0.5f, 1.0f);
  Light->SetNode(Root);
  auto* Fog = new TLumFog(Owner);
  Fog->SetMode(fmLinear);
  Fog->SetStartDepth(1.5f);
  Fog->SetEndDepth(4.0f);
  Fog->Color()->SetColor(0x404040);
  Fog->SetNode(Root);
  auto* Clip = new TLumClip(Owner);  // keeps x >= -0.2: cuts the sphere's left side
  Clip->SetPlane(3, 0.2);
  Clip->SetNode(Root);
  auto* Mat = new TLumMaterial(Owner);
  Mat->ColorAmbient()->SetColor(0x000080);
  Mat->ColorSpecular()->SetColor(0xFFFFFF);
  Mat->SetShininess(40);
  Mat->SetNode(Root);
  auto* Sphere = new TLumSphere(Owner);
  Sphere->SetSlices(24);
  Sphere->SetStacks(12);
  Sphere->SetRadius(0.6);
  Sphere->Color()->SetColor(0x2020FF);
  Sphere->SetNode(Root);
  auto* Tex = new TLumTexture(Owner);
  TBitmap Check(8, 8);
  for (int Y = 0; Y < 8; ++Y)
    for (int X = 0; X < 8; ++X) Check.SetPixel(X, Y, (X + Y) % 2 ? 0x00FF00 : 0xFF00FF);
  Tex->SetBitmap(&Check);
  Tex->SetMode(tmReplace);
  Tex->SetNode(Root);
  auto* Floor = new TLumRectangle(Owner);
  Floor->SetWidth(3);
  Floor->SetHeight(2);
  Floor->Transformation()->SetOrder(toTraRotSca);
  Floor->Transformation()->Translation()->SetValues(0, -0.7f, -1);
  Floor->SetTextured(true);
  Floor->SetNode(Root);
  auto* Off = new TLumTexture(Owner);  // switches texturing off again
  Off->SetEnabled(false);
  Off->SetNode(Root);
}

}  // namespace

TEST_F(ViewTest, SavedAndLoadedSceneRendersTheSamePixels) {
  View->SetBounds(120, 80);
  View->SetBackgroundColor(0x302010);
  auto* Root = new TLumNode(&Form);
  BuildScene(&Form, Root);
  View->OnRender = [&](TLumView* V) { Root->Render(V); };
  const TBitmap Before = Snapshot();
  // The scene really shows its parts: lit sphere, clipped left side, textured floor.
  EXPECT_GT(Before.GetPixel(70, 35) & 0xFF, 0x60u);          // the sphere's lit red
  EXPECT_EQ(Before.GetPixel(40, 35), 0x302010u);              // clipped away: background
  int Green = 0, Magenta = 0;  // the checkerboard's texels on the floor, fogged
  for (int Y = 70; Y < 80; ++Y)
    for (int X = 0; X < 120; ++X) {
      const uint32_t P = Before.GetPixel(X, Y);
      const int R = P & 0xFF, G = (P >> 8) & 0xFF, B = (P >> 16) & 0xFF;
      if (G > R + 40 && G > B + 40) ++Green;
      if (R > G + 40 && B > G + 40) ++Magenta;
    }
  EXPECT_GT(Green, 20);
  EXPECT_GT(Magenta, 20);

  lumox::test::TempDir Dir;
  TLumExchange Ex(&Form);
  Ex.SetFileName(Dir.File("scene.lumgl"));
  // Every value written: with NoDefaultValues a colour equal to white is left out, and
  // the material's specular colour would come back as its own default, black.
  Ex.SavetoFile(Root);

  auto* Loaded = new TLumNode(&Form);
  Ex.LoadfromFile(Loaded);
  ASSERT_EQ(Loaded->GetCount(), Root->GetCount());
  // Whether a mesh uses texture coordinates is not part of the file; set it again.
  for (int I = 0; I < Loaded->GetCount(); ++I)
    if (auto* R = dynamic_cast<TLumRectangle*>(Loaded->GetItems(I))) R->SetTextured(true);
  View->OnRender = [&](TLumView* V) { Loaded->Render(V); };
  const TBitmap After = Snapshot();
  int Differences = 0;
  for (int Y = 0; Y < After.Height(); ++Y)
    for (int X = 0; X < After.Width(); ++X)
      if (After.GetPixel(X, Y) != Before.GetPixel(X, Y)) ++Differences;
  EXPECT_EQ(Differences, 0);
}
