// `lumox studio [FILE]`: opens a form, a scene or the demo in the studio's window
// (studio/window.h) and saves it as a form or as a LUMGL scene.
#include <QApplication>
#include <QTimer>
#include <cstdio>
#include <memory>

#include "apps/lumox/formapp.h"
#include "apps/lumox/studio/window.h"
#include "apps/lumox/studiocmd.h"
#include "lumox/exchange/lumexchange.h"
#include "lumox/host/formfile.h"
#include "lumox/qt/lumqtview.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

using namespace lumox;

namespace lumoxcmd {

void SaveStudioFile(TComponent* Form, TLumView* View, const std::string& File, bool AsForm) {
  if (AsForm) return SaveComponentForm(Form, File);
  TLumFormApp Run(Form);
  // Helpers of its own rather than the form's: the tree does not show them.
  TComponent Helpers(nullptr);
  TLumNode* Scene = SceneOfForm(Run, &Helpers);
  CheckSceneFileHoldsEachNameOnce(Scene);
  SaveScene(Scene, View->Camera(), File);
}

int StudioUsage() {
  std::printf(
      "usage: lumox studio [FILE.lumform | FILE.lumgl] [options]\n"
      "\n"
      "Opens a form or a scene (without FILE: the built-in demo) with the component tree\n"
      "and the property editor beside the view. Edits can be undone; Add places components\n"
      "from the palette; a click on the view selects what it hits; File saves the whole as\n"
      "a form or the scene as a LUMGL file.\n"
      "\n"
      "  --size WxH            window size (default 1100x640)\n"
      "  --select NAME         select a component at the start\n"
      "  --save OUT            save as a form (.lumform) or a scene (.lumgl) before quitting\n"
      "  --drag DX,DY          drag with the left button from the view's centre once shown\n"
      "  --quit-after SECONDS  close the window after this time\n"
      "  --screenshot OUT.png  write the window's image just before quitting\n");
  return 0;
}

int RunStudio(const TArgs& Args) {
  TArgs Rest;
  std::string Selected, SaveTo;
  for (size_t I = 0; I < Args.size(); ++I) {
    if (Args[I] == "--help") return StudioUsage();
    if (Args[I] == "--select" && I + 1 < Args.size())
      Selected = Args[++I];
    else if (Args[I] == "--save" && I + 1 < Args.size())
      SaveTo = Args[++I];
    else
      Rest.push_back(Args[I]);
  }
  TWindowOptions O;
  if (int Status = ParseWindowArgs(Rest, O)) return Status;
  if (!SaveTo.empty() && !O.QuitAfter) return BadUsage("--save needs --quit-after SECONDS");
  const std::unique_ptr<QApplication> App = MakeApplication();
  TComponent Form(nullptr);
  TLumView* View = nullptr;
  try {
    if (IsFormPath(O.File)) {
      LoadComponentForm(&Form, O.File);
      View = TLumFormApp(&Form).FirstView();
      if (!View) View = TLumFormApp(&Form).EnsureView(nullptr);
    } else {
      auto* Root = new TLumNode(&Form);
      Root->SetName("Scene");
      TSceneLoad Load;
      if (O.File.empty()) {
        LoadDemoScene(&Form, Root);
        // The demo's camera as lumox view frames it: a little above the floor.
        auto* Camera = new TLumPerspectiveCamera(&Form);
        Camera->SetName("Camera1");
        Camera->Transformation()->Rotation()->SetX(22);
        Camera->Transformation()->Translation()->SetValues(0, -2.611f, -6.063f);
        Camera->SetViewAngle(40);
        Camera->SetViewNear(1);
        Camera->SetViewFar(30);
        Load.Camera = Camera;
      } else {
        LoadScene(O.File, &Form, Root, &Load);
      }
      PrintWarnings(Load);
      View = TLumFormApp(&Form).EnsureView(Load.Camera);
      View->SetBounds(640, 480);
      if (O.File.empty()) View->SetBackgroundColor(0x281810);
    }
  } catch (const std::exception& E) {
    return Fail(O.File, E.what());
  }
  auto Window = std::make_unique<TLumStudioWindow>(
      &Form, View, "lumox studio " + (O.File.empty() ? std::string("(demo)") : O.File));
  Window->OnSave = [&Form, View](const std::string& File, bool AsForm) {
    SaveStudioFile(&Form, View, File, AsForm);
  };
  Window->resize(O.Width ? O.Width : 1100, O.Height ? O.Height : 640);
  Window->show();
  Window->Expand(Selected);
  if (O.Drag) QTimer::singleShot(200, Window.get(), [&] { ScriptDrag(Window->Widget(), *O.Drag); });
  int Status = 0;
  if (O.QuitAfter)
    QTimer::singleShot(static_cast<int>(*O.QuitAfter * 1000), Window.get(), [&] {
      if (!O.Screenshot.empty() && !GrabScreenshot(Window.get(), O.Screenshot))
        Status = ExitFailure;
      if (!SaveTo.empty()) try {
          SaveStudioFile(&Form, View, SaveTo, IsFormPath(SaveTo));
        } catch (const std::exception& E) {
          Status = Fail(SaveTo, E.what());
        }
      Window->close();
    });
  App->exec();
  Window.reset();
  return Status;
}

}  // namespace lumoxcmd
