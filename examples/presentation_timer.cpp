// Turns a camera around a scene with a presentation controller driven by the
// animation timer, and writes every 10th frame to a PNG:
// presentation_timer [TICKS [FOLDER]] (defaults 60 ticks, the current folder).
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "lumox/lumox.h"

using namespace lumox;

int main(int argc, char** argv) {
  const int Ticks = argc > 1 ? std::atoi(argv[1]) : 60;
  const std::string Folder = argc > 2 ? argv[2] : ".";
  if (Ticks < 1) {
    std::fprintf(stderr, "presentation_timer: TICKS must be a positive number\n");
    return 1;
  }
  TComponent Form(nullptr);  // owns and frees everything below
  auto* View = new TLumView(&Form);
  View->SetBounds(240, 160);
  View->SetBackgroundColor(0x302010);
  View->Coordinates()->SetVisible(true);
  auto* Camera = new TLumPerspectiveCamera(&Form);
  View->SetCamera(Camera);

  auto* Root = new TLumNode(&Form);
  auto* Crate = new TLumBox(&Form);
  Crate->SetWidth(0.6f);
  Crate->SetHeight(0.6f);
  Crate->SetDepth(0.6f);
  Crate->Color()->SetColor(0x20B0E0);
  Crate->Transformation()->Translation()->SetX(-0.6f);
  Crate->SetNode(Root);
  auto* Ball = new TLumSphere(&Form);
  Ball->SetRadius(0.3);
  Ball->Color()->SetColor(0x2020E0);
  Ball->Transformation()->Translation()->SetX(0.8f);
  Ball->SetNode(Root);
  View->OnRender = [Root](TLumView* V) { Root->Render(V); };

  // The camera orbits the origin at a distance of 4, one step of 6 degrees per tick.
  auto* Turntable = new TLumPresentationController(&Form);
  Turntable->SetControlled(Camera);
  Turntable->SetDistance(-4);
  Turntable->SetEyeHeight(-0.5f);
  Turntable->SetTurnAngle(6);
  Turntable->SetMode(pmRight);
  View->SetController(Turntable);

  auto* Timer = new TLumTimer(&Form);
  Timer->setrate(100);
  int Count = 0;
  bool Failed = false;
  Timer->OnTimer = [&](TObject*, int32_t) {
    Turntable->Present();
    if (++Count % 10 == 0) {
      TBitmap Image(View->Width(), View->Height());
      char Name[64];
      std::snprintf(Name, sizeof Name, "/presentation_%03d.png", Count);
      try {
        if (!View->GetImage(&Image)) throw Exception("no image could be rendered");
        Image.SaveToFile(Folder + Name);
        std::printf("wrote %s%s\n", Folder.c_str(), Name);
      } catch (const std::exception& E) {
        std::fprintf(stderr, "presentation_timer: %s\n", E.what());
        Failed = true;
      }
    }
    if (Count >= Ticks || Failed) Timer->SetEnabled(false);
  };
  // The application's idle processing, as a toolkit's event loop would run it: busy
  // while the timer is enabled, done once it is switched off.
  while (!Application()->ProcessIdle()) {
  }
  return Failed ? 1 : 0;
}
