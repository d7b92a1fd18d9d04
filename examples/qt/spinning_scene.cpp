// A scene in a Qt window: a box spun by the animation timer, a ball, the mouse
// controller on the camera (drag to turn and move), and the space bar to pause:
// qt_spinning_scene [SECONDS [OUT.png]] closes after SECONDS, writing the last frame.
#include <QApplication>
#include <QTimer>
#include <cstdio>
#include <cstdlib>

#include "lumox/lumox.h"
#include "lumox/qt/lumqtview.h"

using namespace lumox;

int main(int argc, char** argv) {
  LumQtSetDefaultFormat();  // before the QApplication: OpenGL with depth, shared lists
  QApplication App(argc, argv);
  TLumQtView Window;  // made first, so that the scene below goes while its context lives
  Window.setWindowTitle("Lumox in a Qt window");
  Window.resize(480, 320);
  TLumView* View = Window.View();
  View->SetBackgroundColor(0x302010);
  View->Coordinates()->SetVisible(true);

  TComponent Form(nullptr);  // owns and frees everything below
  auto* Camera = new TLumPerspectiveCamera(&Form);
  Camera->Transformation()->Translation()->SetValues(0, -0.3f, -3.5f);
  View->SetCamera(Camera);
  auto* Root = new TLumNode(&Form);
  auto* Lit = new TLumAttributes(&Form);
  Lit->SetLighting(true);
  Lit->SetNode(Root);
  auto* Sun = new TLumLight(&Form);
  Sun->SetKind(lkDirection);
  Sun->Direction()->SetValues(-0.4f, 0.8f, 0.6f);
  Sun->SetNode(Root);
  auto* Crate = new TLumBox(&Form);
  Crate->SetWidth(0.8f);
  Crate->SetHeight(0.8f);
  Crate->SetDepth(0.8f);
  Crate->Color()->SetColor(0x20B0E0);
  Crate->SetColorAsMaterial(cmAmbientDiffuse);
  Crate->Transformation()->SetOrder(toTraRotSca);  // spins in place
  Crate->Transformation()->Translation()->SetX(-0.6f);
  Crate->SetNode(Root);
  auto* Ball = new TLumSphere(&Form);
  Ball->SetRadius(0.35);
  Ball->SetSlices(32);
  Ball->Color()->SetColor(0x2020E0);
  Ball->SetColorAsMaterial(cmAmbientDiffuse);
  Ball->Transformation()->Translation()->SetX(0.8f);
  Ball->SetNode(Root);
  View->OnRender = [Root](TLumView* V) { Root->Render(V); };

  auto* Mouse = new TLumMouseController(&Form);
  Mouse->SetControlled(Camera);
  View->SetController(Mouse);

  // 60 turns of 2 degrees a second, from the application's idle processing, which the
  // widget runs from Qt's event loop while the timer is enabled.
  auto* Timer = new TLumTimer(&Form);
  Timer->setrate(60);
  Timer->OnTimer = [Crate](TObject*, int32_t Lag) {
    TLumRotation* R = Crate->Transformation()->Rotation();
    R->SetY(R->Y() + 2.0f * Lag);
  };
  View->OnKeyDown = [Timer](TObject*, uint16_t& Key, TShiftState) {
    if (Key == VK_SPACE) Timer->SetEnabled(!Timer->Enabled());
  };

  Window.show();
  if (argc > 1) {
    const int Ms = static_cast<int>(std::atof(argv[1]) * 1000);
    const char* Out = argc > 2 ? argv[2] : nullptr;
    QTimer::singleShot(Ms > 0 ? Ms : 0, &Window, [&Window, Out] {
      if (Out && !Window.grabFramebuffer().save(Out, "PNG"))
        std::fprintf(stderr, "qt_spinning_scene: cannot write %s\n", Out);
      Window.close();
    });
  }
  return App.exec();
}
