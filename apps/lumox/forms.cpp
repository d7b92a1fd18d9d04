// Form files on the command line: what `lumox render` and `lumox view` draw of a form,
// and `lumox convert` between scene files and forms.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "apps/lumox/formapp.h"
#include "apps/lumox/lumoxcmd.h"
#include "lumox/host/formfile.h"
#include "lumox/scene/lumlight.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

using namespace lumox;

namespace lumoxcmd {

namespace {

// The size of the view a scene file gets in a form: render's default image size, so
// that the form renders as the scene does.
constexpr int FormViewWidth = 400;
constexpr int FormViewHeight = 250;

bool FormHasLights(const std::vector<TLumRender*>& Roots) {
  for (TLumRender* R : Roots) {
    if (dynamic_cast<TLumLight*>(R)) return true;
    if (auto* N = dynamic_cast<TLumNode*>(R); N && HasLights(N)) return true;
  }
  return false;
}

}  // namespace

bool IsFormPath(const std::string& File) {
  return File.size() > 8 && File.compare(File.size() - 8, 8, ".lumform") == 0;
}

TLumNode* SceneOfForm(TLumFormApp& Run, TComponent* Helpers) {
  const std::vector<TLumRender*> Roots = Run.Roots();
  if (Roots.size() == 1)
    if (auto* N = dynamic_cast<TLumNode*>(Roots[0])) return N;
  // Referred to, not held: the roots stay where the form put them.
  auto* Scene = new TLumNode(Helpers);
  for (TLumRender* R : Roots) Scene->AddIndirect(R);
  return Scene;
}

TFormShow ShowForm(TLumFormApp& Run, bool Headlight) {
  TFormShow Show;
  Show.View = Run.FirstView();
  if (!Show.View) throw Exception("the form has no view (TLumView) to show");
  // A plain component of the form's own holds what is drawn besides the form: it is no
  // render component, so the form's scene stays as it is, and it goes with the scene.
  Show.Helpers = new TComponent(Run.Owner());
  Show.Scene = SceneOfForm(Run, Show.Helpers);
  Run.Connect(Show.View);
  if (Headlight && !FormHasLights(Run.Roots())) {
    auto Light = std::make_shared<THeadlight>(Show.Helpers, Show.Scene);
    Show.View->OnRender = [Light, Draw = Show.View->OnRender](TLumView* V) {
      Light->Render(V);
      Draw(V);
    };
  }
  return Show;
}

void SceneToForm(TComponent* Form, TLumCamera* Camera, const std::string& File) {
  // What the load made besides the scene and its camera (a further camera's owner, the
  // DXF reader) has done its work and belongs in no form.
  for (int I = Form->ComponentCount(); I-- > 0;) {
    if (I >= Form->ComponentCount()) continue;  // one freed others
    TComponent* C = Form->Components(I);
    if (C != Camera && !dynamic_cast<TLumRender*>(C)) delete C;
  }
  TLumFormApp Run(Form);
  TLumView* View = Run.EnsureView(Camera);
  View->SetBounds(FormViewWidth, FormViewHeight);
  SaveComponentForm(Form, File);
}

}  // namespace lumoxcmd
