// The view subcommand: a scene file or the built-in demo in a Qt window, with the mouse,
// person and presentation controllers on the camera, picking by click, screenshots, and
// options for scripted runs (the controller, keys, a drag, a screenshot, quitting after
// a time).
#include <QApplication>
#include <QImage>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QTimer>
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <exception>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/lumox/lumoxcmd.h"
#include "apps/lumox/studiocmd.h"
#include "apps/lumox/viewcontrols.h"
#include "lumox/control/lumcntrl.h"
#include "lumox/control/lumtimer.h"
#include "lumox/qt/lumqtview.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"

using namespace lumox;

namespace lumoxcmd {

namespace {

struct TViewOptions {
  std::string Scene, Screenshot;
  int Width = 640, Height = 480;
  std::optional<uint32_t> Background;
  std::optional<double> Distance, Fov, Near, Far, QuitAfter;
  bool Axes = false;
  bool Fit = false;
  bool Headlight = true;  // for scenes without lights of their own
  std::optional<std::pair<int, int>> Drag;
  // The controller at start, the button that drags, and keys pressed once shown.
  TViewController Controller = vcMouse;
  Qt::MouseButton DragButton = Qt::LeftButton;
  std::vector<Qt::Key> Keys;
};

bool Number(const std::string& Text, double& Value) {
  size_t Used = 0;
  try {
    Value = std::stod(Text, &Used);
  } catch (const std::exception&) {
    return false;
  }
  return Used == Text.size() && std::isfinite(Value);
}

// Two whole numbers split at Sep ("640x480", "80,0"); false for anything else.
bool Pair(const std::string& Text, char Sep, int& A, int& B) {
  const size_t P = Text.find(Sep);
  double X = 0, Y = 0;
  if (P == std::string::npos || !Number(Text.substr(0, P), X) || !Number(Text.substr(P + 1), Y))
    return false;
  if (X != std::floor(X) || Y != std::floor(Y) || std::fabs(X) > 16384 || std::fabs(Y) > 16384)
    return false;
  A = static_cast<int>(X);
  B = static_cast<int>(Y);
  return true;
}

// The keys --key names, without regard to case: letters, digits, F1 to F12 and these.
Qt::Key KeyNamed(std::string Name) {
  for (char& C : Name) C = static_cast<char>(std::toupper(static_cast<unsigned char>(C)));
  if (Name.size() == 1 && std::isalnum(static_cast<unsigned char>(Name[0])))
    return static_cast<Qt::Key>(Name[0]);  // Qt's codes of letters and digits are ASCII
  if (Name.size() >= 2 && Name.size() <= 3 && Name[0] == 'F' &&
      Name.find_first_not_of("0123456789", 1) == std::string::npos) {
    const int N = std::stoi(Name.substr(1));
    if (N >= 1 && N <= 12) return static_cast<Qt::Key>(Qt::Key_F1 + N - 1);
  }
  static const std::pair<const char*, Qt::Key> Named[] = {
      {"LEFT", Qt::Key_Left},   {"RIGHT", Qt::Key_Right},   {"UP", Qt::Key_Up},
      {"DOWN", Qt::Key_Down},   {"PAGEUP", Qt::Key_PageUp}, {"PAGEDOWN", Qt::Key_PageDown},
      {"HOME", Qt::Key_Home},   {"END", Qt::Key_End},       {"ESCAPE", Qt::Key_Escape},
      {"SPACE", Qt::Key_Space}, {"RETURN", Qt::Key_Return}, {"TAB", Qt::Key_Tab}};
  for (const auto& [N, K] : Named)
    if (Name == N) return K;
  return Qt::Key_unknown;
}

// --controller, --drag-button and --key; true when A is one of them (Status then tells
// whether its value was good).
bool ParseControlOption(const std::string& A, const std::string& V, TViewOptions& O, int& Status) {
  if (A == "--controller") {
    if (!ParseViewController(V, O.Controller))
      Status = BadUsage("--controller needs mouse, person or presentation");
  } else if (A == "--drag-button") {
    static const std::pair<const char*, Qt::MouseButton> Buttons[] = {
        {"left", Qt::LeftButton}, {"right", Qt::RightButton}, {"middle", Qt::MiddleButton}};
    auto It = std::find_if(std::begin(Buttons), std::end(Buttons),
                           [&](const auto& B) { return V == B.first; });
    if (It == std::end(Buttons))
      Status = BadUsage("--drag-button needs left, right or middle");
    else
      O.DragButton = It->second;
  } else if (A == "--key") {
    const Qt::Key K = KeyNamed(V);
    if (K == Qt::Key_unknown)
      Status = BadUsage("unknown key '" + V + "' for --key (e.g. Up, PageDown, Home, T, F12)");
    else
      O.Keys.push_back(K);
  } else {
    return false;
  }
  return true;
}

int ParseViewArgs(const TArgs& Args, TViewOptions& O) {
  bool DragButton = false;
  for (size_t I = 0; I < Args.size(); ++I) {
    std::string A = Args[I], V;
    const size_t Eq = A.rfind("--", 0) == 0 ? A.find('=') : std::string::npos;
    const bool Inline = Eq != std::string::npos;
    if (Inline) {
      V = A.substr(Eq + 1);
      A.resize(Eq);
    }
    static const char* const Flags[] = {"--axes", "--fit", "--no-headlight"};
    static const char* const Valued[] = {
        "--size", "--background", "--camera-distance", "--fov",        "--near", "--far",
        "--drag", "--screenshot", "--quit-after",      "--controller", "--key",  "--drag-button"};
    const bool Flag = std::find(std::begin(Flags), std::end(Flags), A) != std::end(Flags);
    const bool HasValue = std::find(std::begin(Valued), std::end(Valued), A) != std::end(Valued);
    // An unknown option is named as given, before anything after it is taken as its value.
    if (!A.empty() && A[0] == '-' && !Flag && !HasValue)
      return BadUsage("unknown option '" + Args[I] + "'");
    if (Flag && Inline) return BadUsage(A + " takes no value");
    if (HasValue && !Inline) {
      if (I + 1 >= Args.size()) return BadUsage(A + " needs a value");
      V = Args[++I];
    }
    double D = 0;
    auto Num = [&](std::optional<double>& Field) {
      if (!Number(V, D) || !(D > 0)) return BadUsage("bad value '" + V + "' for " + A);
      Field = D;
      return 0;
    };
    int Status = 0;
    if (A == "--size") {
      if (!Pair(V, V.find('X') != std::string::npos ? 'X' : 'x', O.Width, O.Height) ||
          O.Width <= 0 || O.Height <= 0)
        return BadUsage("--size needs WIDTHxHEIGHT, e.g. 800x600");
    } else if (A == "--background") {
      if (!V.empty() && V[0] == '#') V.erase(0, 1);
      if (V.size() != 6 || V.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return BadUsage("--background needs a colour RRGGBB, e.g. 203040");
      const uint32_t RGB = static_cast<uint32_t>(std::stoul(V, nullptr, 16));
      O.Background = ((RGB >> 16) & 0xFF) | (RGB & 0xFF00) | ((RGB & 0xFF) << 16);
    } else if (A == "--camera-distance") {
      Status = Num(O.Distance);
    } else if (A == "--fov") {
      Status = Num(O.Fov);
      if (!Status && !(*O.Fov < 180)) return BadUsage("--fov must lie between 0 and 180");
    } else if (A == "--near") {
      Status = Num(O.Near);
    } else if (A == "--far") {
      Status = Num(O.Far);
    } else if (A == "--axes") {
      O.Axes = true;
    } else if (A == "--fit") {
      O.Fit = true;
    } else if (A == "--no-headlight") {
      O.Headlight = false;
    } else if (A == "--screenshot") {
      O.Screenshot = V;
    } else if (A == "--quit-after") {
      Status = Num(O.QuitAfter);
    } else if (A == "--drag") {
      int X = 0, Y = 0;
      if (!Pair(V, ',', X, Y)) return BadUsage("--drag needs DX,DY in pixels, e.g. 80,0");
      O.Drag = {X, Y};
    } else if (ParseControlOption(A, V, O, Status)) {
      DragButton = DragButton || A == "--drag-button";
    } else if (!O.Scene.empty()) {
      return BadUsage("more than one scene file");
    } else {
      O.Scene = A;
    }
    if (Status) return Status;
  }
  if (!O.Screenshot.empty() && !O.QuitAfter)
    return BadUsage("--screenshot needs --quit-after SECONDS (F12 takes screenshots by hand)");
  if (DragButton && !O.Drag) return BadUsage("--drag-button needs --drag DX,DY");
  return 0;
}

// Writes the widget's current frame (the GL drawing alone) as a PNG.
bool SaveScreenshot(TLumQtView* W, const std::string& File) {
  return SavePng(W->grabFramebuffer(), File);
}

void SendMouse(QWidget* W, QEvent::Type T, QPoint P, Qt::MouseButton B, Qt::MouseButtons Bs) {
  QMouseEvent E(T, QPointF(P), W->mapToGlobal(QPointF(P)), B, Bs, Qt::NoModifier);
  QApplication::sendEvent(W, &E);
}

// The scripted input once the window shows: the keys in order, then the drag from the
// window's centre with the chosen button.
void SendScriptedInput(QWidget* W, const TViewOptions& O) {
  for (Qt::Key K : O.Keys) {
    QKeyEvent Press(QEvent::KeyPress, K, Qt::NoModifier);
    QApplication::sendEvent(W, &Press);
    QKeyEvent Release(QEvent::KeyRelease, K, Qt::NoModifier);
    QApplication::sendEvent(W, &Release);
  }
  if (!O.Drag) return;
  const QPoint C(W->width() / 2, W->height() / 2), D(O.Drag->first, O.Drag->second);
  const Qt::MouseButton B = O.DragButton;
  SendMouse(W, QEvent::MouseButtonPress, C, B, B);
  for (int I = 1; I <= 8; ++I) SendMouse(W, QEvent::MouseMove, C + D * I / 8, Qt::NoButton, B);
  SendMouse(W, QEvent::MouseButtonRelease, C + D, B, Qt::NoButton);
}

// "camera LABEL: translation X Y Z rotation X Y Z", for scripts that check the motion.
void PrintCamera(const char* Label, TLumTransformed* Camera) {
  const TLumTransformation* T = Camera->Transformation();
  std::printf("camera %s: translation %.6g %.6g %.6g rotation %.6g %.6g %.6g\n", Label,
              T->Translation()->X(), T->Translation()->Y(), T->Translation()->Z(),
              T->Rotation()->X(), T->Rotation()->Y(), T->Rotation()->Z());
  std::fflush(stdout);
}

}  // namespace

int ViewUsage() {
  std::printf(
      "usage: lumox view [SCENE.lumgl] [options]\n"
      "       lumox view APP.lumform [--size WxH] [--drag DX,DY] [--quit-after S]\n"
      "                  [--screenshot OUT.png] [--no-headlight]\n"
      "\n"
      "A form file runs as an application: its first view with its camera, controller\n"
      "and timers.\n"
      "\n"
      "Shows a scene file (without SCENE: the built-in demo) in a window. Drag with the\n"
      "left button to turn and raise, with the right to move; M, P and T switch to the\n"
      "mouse, person (arrows, Page Up/Down, Home) and presentation (arrows, End)\n"
      "controllers; a click prints the object under the mouse and the point hit; F12\n"
      "writes lumox-N.png; Esc or Q quits.\n"
      "\n"
      "  --size WxH            window size (default 640x480)\n"
      "  --background RRGGBB   background colour\n"
      "  --camera-distance D, --fov DEG, --near N, --far F, --axes\n"
      "                        the camera and axes, as for render\n"
      "  --fit                 frame the whole scene (the default for a file without a\n"
      "                        camera element of its own)\n"
      "  --no-headlight        leave out the light from the eye that a scene without\n"
      "                        lights of its own gets\n"
      "  --controller NAME     start with the mouse (default), person or presentation\n"
      "                        controller\n"
      "  --key NAME            press a key once shown (repeatable, in order): Up, Down,\n"
      "                        Left, Right, PageUp, PageDown, Home, End, Escape, Space,\n"
      "                        Return, Tab, F1..F12, a letter or a digit\n"
      "  --drag DX,DY          drag from the centre once shown, after the keys\n"
      "  --drag-button BUTTON  the button that drags: left (default), right or middle\n"
      "  --quit-after SECONDS  close the window after this time, printing the camera's\n"
      "                        translation and rotation\n"
      "  --screenshot OUT.png  write the window's image just before quitting\n");
  return 0;
}

int RunView(const TArgs& Args) {
  for (const std::string& A : Args)
    if (A == "--help") return ViewUsage();
  // A form file is an application of its own: its view, camera, controller and timers.
  for (const std::string& A : Args)
    if (IsFormPath(A)) return RunFormView(Args);
  TViewOptions O;
  if (int Status = ParseViewArgs(Args, O)) return Status;
  const bool Demo = O.Scene.empty();
  const std::unique_ptr<QApplication> App = MakeApplication();
  // Made before the scene, so that the scene (and its lists) goes first, while the
  // widget's context lives.
  TLumQtView Widget;
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  TSceneLoad Load;
  try {
    if (Demo)
      LoadDemoScene(&Form, Root);
    else
      LoadScene(O.Scene, &Form, Root, &Load);
    PrintWarnings(Load);
  } catch (const std::exception& E) {
    return Fail(O.Scene, E.what());
  }
  auto* Camera = new TLumPerspectiveCamera(&Form);
  Widget.setWindowTitle(QString::fromStdString("lumox view " + (Demo ? "(demo)" : O.Scene)));
  Widget.resize(O.Width, O.Height);
  TLumView* View = Widget.View();
  if (Demo) {
    // The demo's own camera, as render frames it: a little above the floor, looking down.
    View->SetBackgroundColor(0x281810);
    View->Coordinates()->SetVisible(true);
    View->Coordinates()->SetLength(0.6f);
    Camera->Transformation()->Rotation()->SetX(22);
    // The controllers place the camera rotation first, so the translation render uses
    // after the rotation, (0, -0.15, -6.6), is given here turned by the rotation.
    Camera->Transformation()->Translation()->SetValues(0, -2.611f, -6.063f);
    Camera->SetViewAngle(40);
    Camera->SetViewNear(1);
    Camera->SetViewFar(30);
  }
  if (O.Background) View->SetBackgroundColor(*O.Background);
  if (O.Axes) View->Coordinates()->SetVisible(true);
  if (O.Fov) Camera->SetViewAngle(static_cast<float>(*O.Fov));
  // The file's camera element is the start view unless camera options are given; a file
  // without one is framed whole, as --fit does, unless --camera-distance places the
  // camera: a lens option alone (--fov, --near, --far) keeps the framing.
  const bool CameraOptions = O.Fov || O.Distance || O.Near || O.Far || O.Fit;
  const bool Fitted = (O.Fit || (!Demo && !Load.Camera && !O.Distance)) &&
                      FitCamera(Camera, Root, O.Width, O.Height, O.Distance, true);
  if (O.Distance && !Fitted)
    Camera->Transformation()->Translation()->SetZ(static_cast<float>(-*O.Distance));
  if (O.Near) Camera->SetViewNear(static_cast<float>(*O.Near));
  if (O.Far) Camera->SetViewFar(static_cast<float>(*O.Far));
  TLumCamera* Start = Load.Camera && !CameraOptions ? Load.Camera : Camera;
  View->SetCamera(Start);
  std::unique_ptr<THeadlight> Light;
  if (O.Headlight && !HasLights(Root)) Light = std::make_unique<THeadlight>(&Form, Root);
  View->OnRender = [Root, &Light](TLumView* V) {
    if (Light) Light->Render(V);
    Root->Render(V);
  };

  // The controllers all steer the camera; the presentation controller turns from a
  // timer while it is the one in use.
  TViewControls Controls(&Form, View, Start);
  Controls.Use(O.Controller);
  PrintCamera("start", Start);

  int Shots = 0;
  View->OnKeyDown = [&](TObject*, uint16_t& Key, TShiftState) {
    if (Key == 'M') Controls.Use(vcMouse);
    if (Key == 'P') Controls.Use(vcPerson);
    if (Key == 'T') Controls.Use(vcPresentation);
    if (Key == VK_ESCAPE || Key == 'Q') Widget.close();
    if (Key == 123) SaveScreenshot(&Widget, "lumox-" + std::to_string(++Shots) + ".png");  // F12
  };
  // A press and release at (nearly) one place is a click: it picks.
  QPoint Pressed;
  View->OnMouseDown = [&](TObject*, TMouseButton, TShiftState, int X, int Y) {
    Pressed = QPoint(X, Y);
  };
  View->OnMouseUp = [&](TObject*, TMouseButton Button, TShiftState, int X, int Y) {
    if (Button != mbLeft || (QPoint(X, Y) - Pressed).manhattanLength() > 3) return;
    TObject* Obj = nullptr;
    View->GetObj(X, Y, Obj);
    TLumMathVector P;
    const bool OnSurface = View->GetPoint(X, Y, P);
    if (auto* Hit = dynamic_cast<TLumObject*>(Obj))
      std::printf("picked \"%s\" (%s)", Hit->ObjectName().c_str(), Hit->ClassName());
    else
      std::printf("picked nothing");
    if (OnSurface) std::printf(" at %.4g %.4g %.4g", P.X, P.Y, P.Z);
    std::printf("\n");
    std::fflush(stdout);
    Widget.update();
  };

  Widget.show();
  if (O.Drag || !O.Keys.empty())
    QTimer::singleShot(200, &Widget, [&] { SendScriptedInput(&Widget, O); });
  int Status = 0;
  if (O.QuitAfter) {
    QTimer::singleShot(static_cast<int>(std::min(*O.QuitAfter, 86400.0) * 1000), &Widget, [&] {
      if (!O.Screenshot.empty() && !SaveScreenshot(&Widget, O.Screenshot)) Status = ExitFailure;
      PrintCamera("end", Start);
      Widget.close();
    });
  }
  App->exec();
  return Status;
}

}  // namespace lumoxcmd
