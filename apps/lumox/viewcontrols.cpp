// The controllers of lumox view and the presentation's timer.
#include "apps/lumox/viewcontrols.h"

#include <algorithm>
#include <cstdio>

using namespace lumox;

namespace lumoxcmd {

const char* const TViewControllerStr[3] = {"mouse", "person", "presentation"};

bool ParseViewController(const std::string& Name, TViewController& Kind) {
  for (int I = 0; I < 3; ++I)
    if (Name == TViewControllerStr[I]) {
      Kind = static_cast<TViewController>(I);
      return true;
    }
  return false;
}

TViewControls::TViewControls(TComponent* Owner, TLumView* View, TLumTransformed* Camera)
    : FView(View),
      FCamera(Camera),
      FMouse(new TLumMouseController(Owner)),
      FPerson(new TLumPersonController(Owner)),
      FPresentation(new TLumPresentationController(Owner)),
      FTimer(new TLumTimer(Owner)) {
  FTimer->setrate(60);
  FTimer->SetEnabled(false);
  // A loop that lagged makes up the intervals it missed, so the turn keeps its speed.
  FTimer->OnTimer = [this](TObject*, int32_t Lag) {
    for (int32_t I = 0; I < std::max(Lag, 1); ++I) FPresentation->Present();
  };
}

void TViewControls::Use(TViewController Kind) {
  TLumCustomController* C = Kind == vcMouse    ? static_cast<TLumCustomController*>(FMouse)
                            : Kind == vcPerson ? static_cast<TLumCustomController*>(FPerson)
                                               : FPresentation;
  FCurrent = Kind;
  FView->SetController(C);
  C->SetControlled(FCamera);
  const bool Turning = Kind == vcPresentation;
  if (Turning && !FTimer->Enabled()) FTimer->Reset();
  FTimer->SetEnabled(Turning);
  std::printf("controller: %s\n", TViewControllerStr[Kind]);
  std::fflush(stdout);
  FView->InvalidateGL();
}

}  // namespace lumoxcmd
