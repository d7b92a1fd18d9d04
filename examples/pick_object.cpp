// Builds a small scene, picks at a window point and prints the object found there and
// the scene point under it: pick_object [X Y] (logical window pixels from the top left;
// by default a point on the sphere).
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "lumox/lumox.h"

using namespace lumox;

int main(int argc, char** argv) {
  TComponent Form(nullptr);  // owns and frees everything below
  auto* View = new TLumView(&Form);
  View->SetBounds(320, 200);
  auto* Camera = new TLumPerspectiveCamera(&Form);
  Camera->Transformation()->Translation()->SetZ(-4);
  View->SetCamera(Camera);

  auto* Root = new TLumNode(&Form);
  auto* Ball = new TLumSphere(&Form);
  Ball->SetName("Ball");  // the ObjectName follows the component name
  Ball->SetRadius(0.6);
  Ball->Color()->SetColor(0x2020E0);
  Ball->Transformation()->Translation()->SetX(-0.8f);
  Ball->SetNode(Root);
  auto* Crate = new TLumBox(&Form);
  Crate->SetName("Crate");
  Crate->Color()->SetColor(0x20B0E0);
  Crate->Transformation()->Translation()->SetValues(0.9f, 0.0f, -0.5f);
  Crate->SetNode(Root);
  View->OnRender = [Root](TLumView* V) { Root->Render(V); };

  // The sphere's centre, in window coordinates, unless a point is given.
  const TLumMathVector Centre = View->WinFrom3D({-0.8, 0.0, 0.0});
  const int X = argc > 2 ? std::atoi(argv[1]) : static_cast<int>(Centre.X);
  const int Y = argc > 2 ? std::atoi(argv[2]) : static_cast<int>(Centre.Y);
  try {
    TObject* Obj = nullptr;
    const int32_t Part = View->GetObj(X, Y, Obj);
    TLumMathVector P;
    const bool OnSurface = View->GetPoint(X, Y, P);
    if (auto* Hit = dynamic_cast<TLumObject*>(Obj)) {
      std::printf("at (%d, %d): %s, part %d\n", X, Y, Hit->ObjectName().c_str(), Part);
    } else {
      std::printf("at (%d, %d): nothing\n", X, Y);
    }
    if (OnSurface) std::printf("scene point (%.3f, %.3f, %.3f)\n", P.X, P.Y, P.Z);
  } catch (const std::exception& E) {
    std::fprintf(stderr, "pick_object: %s\n", E.what());
    return 1;
  }
  return 0;
}
