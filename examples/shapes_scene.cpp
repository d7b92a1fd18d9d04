// Builds a lit scene of shapes in code, saves it as a LUMGL file and renders it
// off-screen: shapes_scene [OUT.png [OUT.lumgl]] (defaults shapes.png, shapes.lumgl).
#include <cstdio>
#include <exception>

#include "lumox/geometry/lumshape.h"
#include "lumox/lumox.h"
#include "lumox/scene/lumattr.h"
#include "lumox/scene/lumlight.h"
#include "lumox/scene/lummat.h"

using namespace lumox;

int main(int argc, char** argv) {
  const char* Png = argc > 1 ? argv[1] : "shapes.png";
  const char* File = argc > 2 ? argv[2] : "shapes.lumgl";
  TComponent Form(nullptr);  // owns and frees everything below
  auto* Root = new TLumNode(&Form);

  // Render state applies to everything rendered after it in the node.
  auto* Lit = new TLumAttributes(&Form);
  Lit->SetLighting(true);
  Lit->SetNode(Root);
  auto* Sun = new TLumLight(&Form);
  Sun->SetKind(lkDirection);
  Sun->Direction()->SetValues(-0.5f, 0.7f, 1.0f);
  Sun->SetNode(Root);

  auto* Red = new TLumMaterial(&Form);
  Red->ColorAmbient()->SetColor(0x101060);  // colours are $00BBGGRR
  Red->ColorDiffuse()->SetColor(0x2020E0);
  Red->SetNode(Root);
  auto* Ball = new TLumSphere(&Form);
  Ball->SetRadius(0.45);
  Ball->SetSlices(32);
  Ball->SetStacks(24);
  Ball->Transformation()->Translation()->SetX(-0.6f);
  Ball->SetNode(Root);

  auto* Gold = new TLumMaterial(&Form);
  Gold->ColorAmbient()->SetColor(0x104060);
  Gold->ColorDiffuse()->SetColor(0x20B0E0);
  Gold->SetShininess(40);
  Gold->SetNode(Root);
  auto* Ring = new TLumTorus(&Form);
  Ring->SetRadius(0.35);
  Ring->SetThickness(0.12);
  Ring->SetSlices(40);
  Ring->SetStacks(20);
  Ring->Transformation()->SetOrder(toTraRotSca);  // turn in place, then move
  Ring->Transformation()->Rotation()->SetX(-30);
  Ring->Transformation()->Translation()->SetX(0.6f);
  Ring->SetNode(Root);

  try {
    TLumExchange Exchange(&Form);  // save the scene ...
    Exchange.SetFileName(File);
    Exchange.SavetoFile(Root);

    auto* View = new TLumView(&Form);  // ... and render it: a headless view, 400 x 250
    auto* Camera = new TLumPerspectiveCamera(&Form);
    View->SetCamera(Camera);  // looks at the origin from z = 2
    View->OnRender = [Root](TLumView* V) { Root->Render(V); };
    TBitmap Image(View->Width(), View->Height());
    if (!View->GetImage(&Image)) {
      std::fprintf(stderr, "shapes_scene: no image could be rendered\n");
      return 1;
    }
    Image.SaveToFile(Png);
  } catch (const std::exception& E) {
    std::fprintf(stderr, "shapes_scene: %s\n", E.what());
    return 1;
  }
  std::printf("wrote %s and %s\n", File, Png);
  return 0;
}
