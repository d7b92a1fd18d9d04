// A lit 3D scene with a 2D overlay drawn through the view's canvas: a title, a legend box
// on a half-transparent brush, a concave arrow and a texture, written to canvas.png (or
// the file named on the command line).
#include <cstdio>
#include <exception>
#include <utility>
#include <vector>

#include "lumox/geometry/lumshape.h"
#include "lumox/lumox.h"

using namespace lumox;

namespace {

// A sphere, torus and box on a lit floor; Swatch gets a small checker image.
TLumNode* BuildScene(TComponent* Form, TLumTexture* Swatch) {
  auto* Root = new TLumNode(Form);
  auto* Lit = new TLumAttributes(Form);
  Lit->SetLighting(true);
  Lit->SetNode(Root);
  auto* Sun = new TLumLight(Form);
  Sun->SetKind(lkDirection);
  Sun->Direction()->SetValues(-0.4f, 0.8f, 0.6f);
  Sun->SetNode(Root);
  auto Shape = [&](TLumObject* Obj, uint32_t Color, float X, float Y, float Z) {
    Obj->Color()->SetColor(Color);  // colours are $00BBGGRR
    Obj->SetColorAsMaterial(cmAmbientDiffuse);
    Obj->Transformation()->SetOrder(toTraRotSca);
    Obj->Transformation()->Translation()->SetValues(X, Y, Z);
    Obj->SetNode(Root);
  };
  auto* Floor = new TLumBox(Form);
  Floor->Transformation()->Scale()->SetValues(4.5f, 0.1f, 2.5f);
  Shape(Floor, 0x606060, 0, -0.65f, 0);
  auto* Ball = new TLumSphere(Form);
  Ball->SetRadius(0.5);
  Ball->SetSlices(32);
  Ball->SetStacks(24);
  Shape(Ball, 0x2020E0, -1.2f, 0, 0);
  auto* Ring = new TLumTorus(Form);
  Ring->SetRadius(0.4);
  Ring->SetThickness(0.14);
  Ring->Transformation()->Rotation()->SetX(-60);
  Shape(Ring, 0x20B0E0, 0, -0.05f, 0);
  auto* Cube = new TLumBox(Form);
  Cube->Transformation()->Rotation()->SetY(30);
  Cube->Transformation()->Scale()->SetValues(0.7f, 0.7f, 0.7f);
  Shape(Cube, 0x30C040, 1.2f, -0.15f, 0);

  TBitmap Checker(8, 8);
  for (int Y = 0; Y < 8; ++Y)
    for (int X = 0; X < 8; ++X) Checker.SetPixel(X, Y, ((X ^ Y) & 4) ? 0x20D0FF : 0x802010);
  Swatch->SetBitmap(&Checker);
  return Root;
}

void DrawOverlay(TLumCanvas* C, TLumTexture* Swatch, int Width, int Height) {
  // Title, centred at the top.
  C->Font()->SetSize(20);
  C->Font()->SetStyle({fsBold});
  C->Font()->SetColor(0xFFFFFF);
  const char* Title = "Lumox canvas overlay";
  C->TextOut((Width - C->TextWidth(Title)) / 2, 10, Title);

  // Legend: a dark half-transparent box with an outline and three entries. Canvas
  // colours use each channel as on or off, so the swatches are pure colours.
  C->SetTransparency(tmAlpha);
  C->Brush()->SetColor(0x000000);
  C->Brush()->SetAlpha(0.5f);
  C->Pen()->SetColor(0xFFFFFF);
  C->Rectangle(14, Height - 112, 190, Height - 14);
  C->Brush()->SetAlpha(1.0f);
  C->Font()->SetSize(11);
  C->Font()->SetStyle({});
  const struct {
    uint32_t Color;
    const char* Text;
  } Entries[] = {{0x0000FF, "sphere"}, {0x00FFFF, "torus"}, {0x00FF00, "box"}};
  for (int I = 0; I < 3; ++I) {
    const int Y = Height - 102 + 26 * I;
    C->Brush()->SetColor(Entries[I].Color);
    C->Ellipse(26, Y + 2, 42, Y + 18);
    C->TextOut(52, Y, Entries[I].Text);
  }

  // A concave arrow pointing at the sphere, outlined with a dashed pen.
  C->Brush()->SetColor(0x00FFFF);
  C->Brush()->SetAlpha(0.8f);
  C->Pen()->SetColor(0x0000FF);
  C->Pen()->SetWidth(2);
  C->Pen()->SetStyle(lsDash);
  // Offsets from the tip, which points down and right at the sphere.
  const double TipX = Width * 0.19, TipY = Height * 0.42;
  std::vector<TPointDouble> Arrow;
  for (auto [DX, DY] :
       {std::pair{0, 0}, {-60, -30}, {-40, -30}, {-90, -80}, {-70, -95}, {-25, -45}, {-20, -65}})
    Arrow.push_back({TipX + DX, TipY + DY});
  C->Polygon(Arrow);

  // The scene's texture drawn flat in the top-right corner, and a framed caption.
  C->SetTransparency(tmNone);
  C->DrawTexture({Width - 94, 60, Width - 14, 140}, Swatch, {0, 0, 8, 8});
  C->Brush()->SetColor(0xFFFFFF);
  C->FrameRect({Width - 95, 59, Width - 13, 141});
  C->Font()->SetStyle({fsItalic, fsUnderline});
  C->TextOut(Width - 94, 146, "texture");
}

}  // namespace

int main(int argc, char** argv) {
  const char* Png = argc > 1 ? argv[1] : "canvas.png";
  try {
    TComponent Form(nullptr);  // owns and frees everything below
    auto* Swatch = new TLumTexture(&Form);
    TLumNode* Root = BuildScene(&Form, Swatch);
    auto* View = new TLumView(&Form);
    View->SetBounds(640, 400);
    View->SetBackgroundColor(0x402818);
    auto* Camera = new TLumPerspectiveCamera(&Form);
    Camera->Transformation()->SetOrder(toTraRotSca);
    Camera->Transformation()->Rotation()->SetX(18);
    Camera->Transformation()->Translation()->SetValues(0, -0.2f, -4.2f);
    Camera->SetViewAngle(45);
    View->SetCamera(Camera);
    // The canvas draws over what the scene has drawn so far in the same frame.
    View->OnRender = [Root, Swatch](TLumView* V) {
      Root->Render(V);
      DrawOverlay(V->Canvas(), Swatch, V->Width(), V->Height());
    };
    TBitmap Image(View->Width(), View->Height());
    if (!View->GetImage(&Image)) {
      std::fprintf(stderr, "canvas_overlay: no image could be rendered\n");
      return 1;
    }
    Image.SaveToFile(Png);
  } catch (const std::exception& E) {
    std::fprintf(stderr, "canvas_overlay: %s\n", E.what());
    return 1;
  }
  std::printf("wrote %s\n", Png);
  return 0;
}
