// Every geometric object of the library in one lit scene, rendered off-screen to
// all_shapes.png (or the file named on the command line).
#include <cmath>
#include <cstdio>
#include <exception>

#include "lumox/lumox.h"

using namespace lumox;

namespace {

// Places Obj in cell (Col, Row) of a 5 x 3 grid and gives it a colour and material.
void Place(TLumObject* Obj, TLumNode* Root, int Col, int Row, uint32_t Color) {
  Obj->Transformation()->SetOrder(toTraRotSca);
  Obj->Transformation()->Translation()->SetValues(-2.4f + 1.2f * Col, 1.1f - 1.1f * Row, 0);
  Obj->Transformation()->Rotation()->SetValues(60, 0, 25);
  Obj->Color()->SetColor(Color);
  Obj->SetColorAsMaterial(cmAmbientDiffuse);
  Obj->SetNode(Root);
}

}  // namespace

int main(int argc, char** argv) {
  const char* Out = argc > 1 ? argv[1] : "all_shapes.png";
  TComponent Form(nullptr);
  auto* View = new TLumView(&Form);
  View->SetBounds(800, 500);
  View->SetBackgroundColor(0x302418);
  auto* Camera = new TLumPerspectiveCamera(&Form);
  Camera->Transformation()->Translation()->SetZ(-5.5f);
  View->SetCamera(Camera);

  auto* Root = new TLumNode(&Form);
  auto* Lit = new TLumAttributes(&Form);
  Lit->SetLighting(true);
  Lit->SetLightTwoSide(true);  // flat pieces are seen from either side
  Lit->SetPointSize(6);
  Lit->SetLineWidth(3);
  Lit->SetNode(Root);
  auto* Key = new TLumLight(&Form);  // a directional light from the upper right
  Key->SetKind(lkDirection);
  Key->Direction()->SetValues(0.5f, 0.6f, 0.7f);
  Key->SetNode(Root);
  auto* Fill = new TLumLight(&Form);  // a dimmer point light from the left
  Fill->SetID(idLight1);
  Fill->ColorDiffuse()->SetColor(0x505050);
  Fill->Transformation()->Translation()->SetValues(-4, 0, 3);
  Fill->SetNode(Root);
  auto* Shiny = new TLumMaterial(&Form);
  Shiny->ColorSpecular()->SetColor(0x808080);
  Shiny->SetShininess(40);
  Shiny->SetNode(Root);

  Place(new TLumPoint(&Form), Root, 0, 0, 0xFFFFFF);
  auto* Line = new TLumLine(&Form);
  Line->SetLength(0.9f);
  Place(Line, Root, 1, 0, 0x00FFFF);
  Place(new TLumTriangle(&Form), Root, 2, 0, 0x00A0FF);
  auto* Rect = new TLumRectangle(&Form);
  Rect->SetDetX(4);
  Rect->SetDetY(4);
  Place(Rect, Root, 3, 0, 0x40C040);
  auto* Disc = new TLumDisc(&Form);
  Disc->SetOuterRadius(0.45);
  Disc->SetInnerRadius(0.15);
  Disc->SetSlices(32);
  Place(Disc, Root, 4, 0, 0xC08040);

  auto* Sphere = new TLumSphere(&Form);
  Sphere->SetRadius(0.45);
  Sphere->SetSlices(32);
  Sphere->SetStacks(16);
  Place(Sphere, Root, 0, 1, 0x3030E0);
  auto* Regular = new TLumSphere(&Form);
  Regular->SetMode(smRegular);
  Regular->SetRadius(0.45);
  Regular->SetSlices(24);
  Place(Regular, Root, 1, 1, 0x30A0E0);
  auto* Cyl = new TLumCylinder(&Form);
  Cyl->SetBaseRadius(0.35);
  Cyl->SetTopRadius(0.2);
  Cyl->SetHeight(0.8);
  Cyl->SetClosed(true);
  Cyl->SetSlices(32);
  Place(Cyl, Root, 2, 1, 0x30C0C0);
  auto* Torus = new TLumTorus(&Form);
  Torus->SetRadius(0.35);
  Torus->SetThickness(0.12);
  Torus->SetSlices(32);
  Torus->SetStacks(16);
  Place(Torus, Root, 3, 1, 0x20D0F0);
  auto* Box = new TLumBox(&Form);
  Box->SetWidth(0.7f);
  Box->SetHeight(0.6f);
  Box->SetDepth(0.5f);
  Place(Box, Root, 4, 1, 0xE06030);

  auto* Surface = new TLumFuncObj(&Form);  // a ripple over the unit square
  Surface->SetStacks(24);
  Surface->SetSlices(24);
  Surface->SetOnCalc(1, [](const TLumMathVector&, double V) { return TLumMathVector{0, V, 0}; });
  Surface->SetOnCalc(0, [](const TLumMathVector& P, double U) {
    const double X = U - 0.5, Y = P.Y - 0.5;
    return TLumMathVector{X, Y, 0.08 * std::cos(12 * std::sqrt(X * X + Y * Y))};
  });
  Place(Surface, Root, 1, 2, 0xE0A030);
  auto* Vase = new TLumRotObj(&Form);  // a profile turned about Z
  Vase->SetStacks(24);
  Vase->SetSlices(32);
  Vase->SetOnCalc(1, [](const TLumMathVector&, double T) {
    return TLumMathVector{0.18 + 0.12 * std::sin(T * 5.5), 0, T * 0.8 - 0.4};
  });
  Place(Vase, Root, 3, 2, 0x9040D0);

  View->OnRender = [Root](TLumView* V) { Root->Render(V); };
  TBitmap Image(View->Width(), View->Height());
  try {
    if (!View->GetImage(&Image)) {
      std::fprintf(stderr, "all_shapes: no image could be rendered\n");
      return 1;
    }
    Image.SaveToFile(Out);
  } catch (const std::exception& E) {
    std::fprintf(stderr, "all_shapes: %s\n", E.what());
    return 1;
  }
  std::printf("wrote %s\n", Out);
  return 0;
}
