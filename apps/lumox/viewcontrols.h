// The controllers of lumox view: the mouse, person and presentation controllers on one
// camera, the timer that turns the presentation, and switching between them. Free of
// any toolkit, so it runs headless too.
#pragma once

#include <string>

#include "lumox/control/lumcntrl.h"
#include "lumox/control/lumtimer.h"
#include "lumox/view/lumview.h"

namespace lumoxcmd {

enum TViewController { vcMouse, vcPerson, vcPresentation };
// The names --controller takes, in the order of TViewController.
extern const char* const TViewControllerStr[3];
// The controller a name (of TViewControllerStr) stands for; false for any other name.
bool ParseViewController(const std::string& Name, TViewController& Kind);

class TViewControls {
 public:
  // The three controllers and the timer, owned by Owner, steering Camera in View.
  TViewControls(lumox::TComponent* Owner, lumox::TLumView* View, lumox::TLumTransformed* Camera);

  // Makes Kind the view's controller and prints "controller: NAME". The presentation
  // turns from the timer only while it is the controller, and the timer starts anew on
  // its interval grid each time: the time spent in another controller is no lag to
  // make up.
  void Use(TViewController Kind);
  TViewController Current() const { return FCurrent; }

  lumox::TLumMouseController* Mouse() const { return FMouse; }
  lumox::TLumPersonController* Person() const { return FPerson; }
  lumox::TLumPresentationController* Presentation() const { return FPresentation; }
  lumox::TLumTimer* Timer() const { return FTimer; }

 private:
  lumox::TLumView* FView;
  lumox::TLumTransformed* FCamera;
  lumox::TLumMouseController* FMouse;
  lumox::TLumPersonController* FPerson;
  lumox::TLumPresentationController* FPresentation;
  lumox::TLumTimer* FTimer;
  TViewController FCurrent = vcMouse;
};

}  // namespace lumoxcmd
