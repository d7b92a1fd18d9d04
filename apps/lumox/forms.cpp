// Form files on the command line: what `lumox render` and `lumox view` draw of a form,
// and `lumox convert` between scene files and forms.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "apps/lumox/formapp.h"
#include "apps/lumox/lumoxcmd.h"
#include "lumox/host/formfile.h"
#include "lumox/scene/lumlight.h"
#include "lumox/scene/lummat.h"
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
  std::string E = std::filesystem::path(File).extension().string();
  std::transform(E.begin(), E.end(), E.begin(), [](unsigned char C) { return std::tolower(C); });
  return E == ".lumform" && std::filesystem::path(File).stem() != "";
}

namespace {

// The first item of Node's subtree with a name, or nullptr; the nodes looked through are
// added to Clean when none has one, so that no subtree is looked through twice.
const TLumRender* NamedWithin(TLumRender* Item, std::unordered_set<const TLumRender*>& Clean) {
  std::vector<TLumRender*> Pending{Item};
  std::vector<const TLumRender*> Walked;
  while (!Pending.empty()) {
    TLumRender* R = Pending.back();
    Pending.pop_back();
    if (!R || Clean.count(R)) continue;
    if (!R->Name().empty()) return R;
    Walked.push_back(R);
    if (auto* N = dynamic_cast<TLumNode*>(R))
      for (int I = 0; I < N->GetCount(); ++I) Pending.push_back(N->GetItems(I));
  }
  Clean.insert(Walked.begin(), Walked.end());
  return nullptr;
}

}  // namespace

void CheckSceneFileHoldsEachNameOnce(TLumNode* Scene) {
  // A scene file writes the items a node refers to in full, as it writes those it holds:
  // an item reached twice is written twice, and a second copy with its name cannot load.
  std::unordered_set<const TLumRender*> Seen{Scene}, Clean;
  LumWalkItems(Scene, [&](TLumNode*, int, TLumRender* Item) {
    if (Seen.insert(Item).second) return true;
    if (const TLumRender* Named = NamedWithin(Item, Clean))
      throw Exception("\"" + Named->Name() +
                      "\" would be written twice (a node refers to what is written "
                      "elsewhere in full); a scene file holds every item in full, and "
                      "the second \"" +
                      Named->Name() + "\" could not be loaded");
    return false;
  });
}

std::vector<std::string> FormOnlyThings(TLumFormApp& Run, TLumNode* Scene, bool ModelOut) {
  std::vector<std::string> Lost;
  if (TLumView* View = Run.FirstView()) {
    if (View->Width() != FormViewWidth || View->Height() != FormViewHeight)
      Lost.push_back("the view's size (" + std::to_string(View->Width()) + "x" +
                     std::to_string(View->Height()) + ")");
    if (View->BackgroundColor() != 0)  // a scene renders on black
      Lost.push_back("the view's background colour");
    if (View->Coordinates()->Visible()) Lost.push_back("the view's axes");
  }
  if (ModelOut) return Lost;
  // Diffuse colours are written under a name that loading does not read (the format's
  // own rule): they load as the default.
  const TLumMaterial Default(nullptr);
  std::unordered_set<const TLumRender*> Seen;
  int Diffuse = 0;
  LumWalkItems(Scene, [&](TLumNode*, int, TLumRender* R) {
    if (!Seen.insert(R).second) return false;
    if (auto* M = dynamic_cast<TLumMaterial*>(R))
      Diffuse += M->ColorDiffuse()->Color() != Default.ColorDiffuse()->Color() ||
                 M->ColorDiffuse()->Alpha() != Default.ColorDiffuse()->Alpha();
    return true;
  });
  if (Diffuse > 0)
    Lost.push_back(std::to_string(Diffuse) +
                   (Diffuse > 1 ? " materials' diffuse colours" : " material's diffuse colour") +
                   " (written as \"FDiffuse\", which loading does not read)");
  return Lost;
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
