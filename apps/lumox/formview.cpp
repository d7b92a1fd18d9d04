// `lumox view app.lumform`: a form file as an application. Its first view is shown with
// its camera and controller, its timers run, and a click prints what it picks. What the
// window commands share (their options, the application object, screenshots, scripted
// drags) is here too.
#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QTimer>
#include <QWidget>
#include <cmath>
#include <cstdio>
#include <memory>

#include "apps/lumox/formapp.h"
#include "apps/lumox/studio/studiomodels.h"
#include "apps/lumox/studiocmd.h"
#include "lumox/host/formfile.h"
#include "lumox/qt/lumqtview.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumview.h"

using namespace lumox;

namespace lumoxcmd {

namespace {

void SendMouse(QWidget* W, QEvent::Type T, QPoint P, Qt::MouseButton B, Qt::MouseButtons Bs) {
  QMouseEvent E(T, QPointF(P), W->mapToGlobal(QPointF(P)), B, Bs, Qt::NoModifier);
  QApplication::sendEvent(W, &E);
}

bool WholePair(const std::string& Text, char Sep, int& A, int& B) {
  const size_t P = Text.find(Sep);
  if (P == std::string::npos) return false;
  try {
    size_t UA = 0, UB = 0;
    const std::string SA = Text.substr(0, P), SB = Text.substr(P + 1);
    A = std::stoi(SA, &UA);
    B = std::stoi(SB, &UB);
    return UA == SA.size() && UB == SB.size() && std::abs(A) <= MaxImageSide &&
           std::abs(B) <= MaxImageSide;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

std::unique_ptr<QApplication> MakeApplication() {
  LumQtSetDefaultFormat();
  // QApplication keeps the argument count and vector for its whole life.
  static int Argc = 1;
  static char Name[] = "lumox";
  static char* Argv[] = {Name, nullptr};
  return std::make_unique<QApplication>(Argc, Argv);
}

int ParseWindowArgs(const TArgs& Args, TWindowOptions& O) {
  for (size_t I = 0; I < Args.size(); ++I) {
    std::string A = Args[I], V;
    if (A.rfind("--", 0) != 0) {
      if (!O.File.empty()) return BadUsage("more than one file");
      O.File = A;
      continue;
    }
    if (const size_t Eq = A.find('='); Eq != std::string::npos) {
      V = A.substr(Eq + 1);
      A.resize(Eq);
    } else if (I + 1 < Args.size()) {
      V = Args[++I];
    } else {
      return BadUsage(A + " needs a value");
    }
    if (A == "--size") {
      if (!ParseSize(V, O.Width, O.Height))
        return BadUsage("--size needs WIDTHxHEIGHT, e.g. 800x600");
    } else if (A == "--screenshot") {
      O.Screenshot = V;
    } else if (A == "--quit-after") {
      char* End = nullptr;
      const double D = std::strtod(V.c_str(), &End);
      if (V.empty() || *End || !(D > 0) || !std::isfinite(D))
        return BadUsage("bad value '" + V + "' for --quit-after");
      O.QuitAfter = std::min(D, 86400.0);
    } else if (A == "--drag") {
      int X = 0, Y = 0;
      if (!WholePair(V, ',', X, Y)) return BadUsage("--drag needs DX,DY in pixels, e.g. 80,0");
      O.Drag = {X, Y};
    } else {
      return BadUsage("unknown option '" + A + "'");
    }
  }
  if (!O.Screenshot.empty() && !O.QuitAfter)
    return BadUsage("--screenshot needs --quit-after SECONDS");
  return 0;
}

bool SavePng(const QImage& Image, const std::string& File) {
  const std::string Tmp = File + ".part";
  if (!Image.save(QString::fromStdString(Tmp), "PNG") ||
      std::rename(Tmp.c_str(), File.c_str()) != 0) {
    std::remove(Tmp.c_str());
    Fail(File, "the screenshot cannot be written");
    return false;
  }
  std::printf("screenshot %s\n", File.c_str());
  std::fflush(stdout);
  return true;
}

bool GrabScreenshot(QWidget* Widget, const std::string& File) {
  return SavePng(Widget->grab().toImage(), File);
}

void ScriptDrag(QWidget* W, std::pair<int, int> Delta) {
  const QPoint C(W->width() / 2, W->height() / 2), D(Delta.first, Delta.second);
  SendMouse(W, QEvent::MouseButtonPress, C, Qt::LeftButton, Qt::LeftButton);
  for (int I = 1; I <= 8; ++I)
    SendMouse(W, QEvent::MouseMove, C + D * I / 8, Qt::NoButton, Qt::LeftButton);
  SendMouse(W, QEvent::MouseButtonRelease, C + D, Qt::LeftButton, Qt::NoButton);
}

int RunFormView(const TArgs& Args) {
  TWindowOptions O;
  TArgs Rest;
  bool Headlight = true;
  for (const std::string& A : Args)
    if (A == "--no-headlight")
      Headlight = false;
    else
      Rest.push_back(A);
  if (int Status = ParseWindowArgs(Rest, O)) return Status;
  const std::unique_ptr<QApplication> App = MakeApplication();
  TComponent Form(nullptr);
  TLumFormApp Run(&Form);
  TLumView* View = nullptr;
  try {
    LoadComponentForm(&Form, O.File);
    View = ShowForm(Run, Headlight).View;
  } catch (const std::exception& E) {
    return Fail(O.File, E.what());
  }
  auto Widget = std::make_unique<TLumQtView>(View);
  if (O.Width) Widget->resize(O.Width, O.Height);
  Widget->setWindowTitle(QString::fromStdString("lumox view " + O.File));
  // A press and release at (nearly) one place is a click: it picks.
  QPoint Pressed;
  View->OnMouseDown = [&](TObject*, TMouseButton, TShiftState, int X, int Y) { Pressed = {X, Y}; };
  View->OnMouseUp = [&](TObject*, TMouseButton Button, TShiftState, int X, int Y) {
    if (Button != mbLeft || (QPoint(X, Y) - Pressed).manhattanLength() > 3) return;
    TComponent* Hit = LumPickComponent(View, X, Y);
    if (Hit)
      std::printf("picked \"%s\" (%s)\n", Hit->Name().c_str(), Hit->ClassName());
    else
      std::printf("picked nothing\n");
    std::fflush(stdout);
    Widget->update();
  };
  View->OnKeyDown = [&](TObject*, uint16_t& Key, TShiftState) {
    if (Key == VK_ESCAPE || Key == 'Q') Widget->close();
  };
  Widget->show();
  if (O.Drag) QTimer::singleShot(200, Widget.get(), [&] { ScriptDrag(Widget.get(), *O.Drag); });
  int Status = 0;
  if (O.QuitAfter)
    QTimer::singleShot(static_cast<int>(*O.QuitAfter * 1000), Widget.get(), [&] {
      if (!O.Screenshot.empty() && !GrabScreenshot(Widget.get(), O.Screenshot))
        Status = ExitFailure;
      Widget->close();
    });
  App->exec();
  // The scene's display lists go while the widget's context lives; the views last.
  View->OnMouseDown = nullptr;
  View->OnMouseUp = nullptr;
  View->OnRender = nullptr;  // its headlight goes with the scene
  LumFreeScene(&Form);
  Widget.reset();
  return Status;
}

}  // namespace lumoxcmd
