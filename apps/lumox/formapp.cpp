// Running a form: drawing its scene in its first view, and its timers.
#include "apps/lumox/formapp.h"

#include <algorithm>

#include "lumox/control/lumcntrl.h"
#include "lumox/control/lumtimer.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

namespace lumox {

TLumView* TLumFormApp::FirstView() const {
  for (int I = 0; I < FOwner->ComponentCount(); ++I)
    if (auto* V = dynamic_cast<TLumView*>(FOwner->Components(I))) return V;
  return nullptr;
}

std::vector<TLumRender*> TLumFormApp::Roots() const {
  std::vector<TLumRender*> R;
  for (int I = 0; I < FOwner->ComponentCount(); ++I) {
    auto* C = dynamic_cast<TLumRender*>(FOwner->Components(I));
    if (C && !C->Node()) R.push_back(C);
  }
  return R;
}

TLumNode* TLumFormApp::RootNode() const {
  for (TLumRender* R : Roots())
    if (auto* N = dynamic_cast<TLumNode*>(R)) return N;
  return nullptr;
}

TLumView* TLumFormApp::EnsureView(TLumCamera* Camera) {
  if (TLumView* V = FirstView()) return V;
  auto* View = new TLumView(FOwner);
  View->SetName(LumNewComponentName(FOwner, "TLumView"));
  if (!Camera) {
    auto* Made = new TLumPerspectiveCamera(FOwner);
    Made->SetName(LumNewComponentName(FOwner, "TLumPerspectiveCamera"));
    Made->Transformation()->Translation()->SetZ(-2);
    Camera = Made;
  }
  View->SetCamera(Camera);
  auto* Mouse = new TLumMouseController(FOwner);
  Mouse->SetName(LumNewComponentName(FOwner, "TLumMouseController"));
  Mouse->SetControlled(Camera);
  View->SetController(Mouse);
  return View;
}

void TLumFormApp::Connect(TLumView* View) {
  TComponent* Owner = FOwner;
  // The roots are looked up per frame: components added or removed since stay right.
  View->OnRender = [this](TLumView* V) {
    for (TLumRender* R : Roots()) R->Render(V);
  };
  for (TLumRender* R : Roots()) R->OnChange = [View](TObject* Sender) { View->SubChange(Sender); };
  for (int I = 0; I < Owner->ComponentCount(); ++I) {
    auto* T = dynamic_cast<TLumTimer*>(Owner->Components(I));
    if (!T || T->OnTimer) continue;
    T->OnTimer = [View](TObject*, int32_t Lag) {
      if (auto* P = dynamic_cast<TLumPresentationController*>(View->Controller()))
        for (int32_t K = 0; K < std::max(Lag, 1); ++K) P->Present();
      View->InvalidateGL();
    };
  }
  View->InvalidateGL();
}

void LumFreeScene(TComponent* Owner) {
  for (int I = Owner->ComponentCount(); I-- > 0;) {
    if (I >= Owner->ComponentCount()) continue;  // a component freed others it held
    TComponent* C = Owner->Components(I);
    if (!dynamic_cast<TLumView*>(C)) delete C;
  }
}

std::string LumNewComponentName(TComponent* Owner, const std::string& ClassName) {
  std::string Base = ClassName;
  if (Base.rfind("T", 0) == 0) Base.erase(0, 1);
  if (Base.rfind("Lum", 0) == 0 && Base.size() > 3) Base.erase(0, 3);
  for (int N = 1;; ++N) {
    const std::string Name = Base + std::to_string(N);
    if (!Owner->FindComponent(Name)) return Name;
  }
}

}  // namespace lumox
