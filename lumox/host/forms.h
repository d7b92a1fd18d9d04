// The application object: the idle hook that animation timers run from, and whether the
// application is the active one. A toolkit's event loop (or a plain loop) calls
// ProcessIdle whenever it has no events; while ProcessIdle reports false, something
// wants to run again at once and the loop should not wait for the next event.
#pragma once

#include <functional>

#include "lumox/host/classes.h"

namespace lumox {

using TIdleEvent = std::function<void(TObject* Sender, bool& Done)>;

class TApplication : public TComponent {
 public:
  TApplication() : TComponent(nullptr) {}
  const char* ClassName() const override { return "TApplication"; }

  // Runs in ProcessIdle; a handler sets Done to false to be called again at once.
  TIdleEvent OnIdle;
  // Whether the application is the active (focused) one; a toolkit adapter keeps it up
  // to date. True by default, so programs without windows count as active.
  bool Active() const { return FActive; }
  void SetActive(bool Value) { FActive = Value; }
  // One round of idle processing: OnIdle with Done starting true. Returns Done.
  bool ProcessIdle();

 private:
  bool FActive = true;
};

// The process's application object.
TApplication* Application();

}  // namespace lumox
