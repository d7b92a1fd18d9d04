// The process's application object and its idle processing.
#include "lumox/host/forms.h"

namespace lumox {

bool TApplication::ProcessIdle() {
  bool Done = true;
  // A copy runs, so a handler may replace or clear OnIdle while it runs.
  if (OnIdle) {
    const TIdleEvent Handler = OnIdle;
    Handler(this, Done);
  }
  return Done;
}

TApplication* Application() {
  static TApplication App;
  return &App;
}

}  // namespace lumox
