// The Qt widget on a real X server (Xvfb), at whatever device-pixel ratio Qt is given
// (the suite runs at 1 and at 2): painting, keys and drags reaching the controllers,
// the key table, extra mouse buttons, picking, lists shared between widgets and
// off-screen images, the double buffer switch, the idle hook that runs timers without
// burning CPU when idle, and the application's active state that Activeonly timers need.
#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QMouseEvent>
#include <QOpenGLContext>
#include <QTest>
#include <QTimer>
#include <array>
#include <ctime>
#include <utility>
#include <vector>

#include "lumox/control/lumcntrl.h"
#include "lumox/control/lumtimer.h"
#include "lumox/host/forms.h"
#include "lumox/qt/lumqtview.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"

using namespace lumox;

namespace {

// A red unlit square of side 1 in the X-Y plane.
class TRedSquare : public TLumObject {
 public:
  using TLumObject::TLumObject;
  void DoRender(TLumCustomView* aView) override {
    TLumObject::DoRender(aView);
    glDisable(GL_LIGHTING);
    glColor3f(1, 0, 0);
    glRectf(-0.5f, -0.5f, 0.5f, 0.5f);
  }
};

// A shown 160 x 120 widget whose camera looks at the square from 2 units; the background
// is blue. Frames counts the view's frames.
struct TScene {
  TComponent Form{nullptr};
  TLumNode* Root = new TLumNode(&Form);
  TRedSquare* Square = new TRedSquare(&Form);
  TLumPerspectiveCamera* Camera = new TLumPerspectiveCamera(&Form);
  int Frames = 0;
  TScene() {
    Root->Add(Square);
    Camera->Transformation()->Translation()->SetZ(-2);
  }
  std::unique_ptr<TLumQtView> Show() {
    auto W = std::make_unique<TLumQtView>();
    W->resize(160, 120);
    W->View()->SetBackgroundColor(0xFF0000);
    W->View()->SetCamera(Camera);
    W->View()->OnRender = [this](TLumView* V) {
      ++Frames;
      Root->Render(V);
    };
    W->show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(W.get()));
    return W;
  }
};

bool IsRed(QRgb C) { return qRed(C) > 200 && qGreen(C) < 50 && qBlue(C) < 50; }
bool IsBlue(QRgb C) { return qBlue(C) > 200 && qRed(C) < 50 && qGreen(C) < 50; }

// The widget's frame and a pixel of it at a point in logical (widget) pixels: the
// framebuffer has the device-pixel ratio's physical pixels per logical one.
QRgb FramePixel(TLumQtView* W, int X, int Y) {
  const double R = W->devicePixelRatioF();
  return W->grabFramebuffer().pixel(qRound(X * R), qRound(Y * R));
}

void SendMouse(QWidget* W, QEvent::Type T, QPoint P, Qt::MouseButton B, Qt::MouseButtons Bs) {
  QMouseEvent E(T, P, W->mapToGlobal(P), B, Bs, Qt::NoModifier);
  QApplication::sendEvent(W, &E);
}

// Runs the event loop as an application does (waiting for events) for Ms milliseconds.
void RunLoop(int Ms) {
  QEventLoop Loop;
  QTimer::singleShot(Ms, &Loop, &QEventLoop::quit);
  Loop.exec();
}

double CpuSeconds() {
  timespec T;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &T);
  return T.tv_sec + T.tv_nsec / 1e9;
}

}  // namespace

TEST(LumQtViewTest, ShownWidgetPaintsWithItsContextThroughADoubleBufferSwitch) {
  TScene S;
  auto W = S.Show();
  const QImage I = W->grabFramebuffer();
  ASSERT_EQ(I.width(), qRound(160 * W->devicePixelRatioF()));
  EXPECT_TRUE(IsRed(FramePixel(W.get(), 80, 60)));
  EXPECT_TRUE(IsBlue(FramePixel(W.get(), 3, 3)));
  EXPECT_GT(S.Frames, 0);
  // The view paints with the widget's context, in physical pixels.
  EXPECT_EQ(W->View()->Context()->Width(), qRound(160 * W->devicePixelRatioF()));
  const TLumPixelFormat F = W->View()->Context()->PixelFormat();
  EXPECT_TRUE(F.DepthBits >= 16 && F.StencilBits >= 1) << F.DepthBits << " " << F.StencilBits;
  // A switch of the double buffer makes a new context that goes on painting in the widget.
  TLumGLContext* Before = W->View()->Context();
  W->View()->SetDoubleBuffer(false);
  EXPECT_NE(W->View()->Context(), Before);
  const int Frames = S.Frames;
  W->update();
  QTRY_VERIFY(S.Frames > Frames);
  EXPECT_TRUE(IsRed(FramePixel(W.get(), 80, 60)));
  W->View()->SetDoubleBuffer(true);
  EXPECT_TRUE(IsRed(FramePixel(W.get(), 80, 60)));
  EXPECT_EQ(W->View()->Context()->Width(), qRound(160 * W->devicePixelRatioF()));
  // A new size reaches the view.
  W->resize(200, 90);
  QTRY_COMPARE(W->View()->Width(), 200);
  EXPECT_EQ(W->View()->Height(), 90);
}

// A click picks what lies under it; keys and drags move the camera and repaint; buttons
// other than left, right and middle reach the view as the extra buttons and leave a
// mouse controller's drag as it is.
TEST(LumQtViewTest, ClicksPickKeysAndDragsMoveTheCameraExtraButtonsStartNoDrag) {
  TScene S;
  auto W = S.Show();
  TObject* Hit = &S.Form;
  W->View()->OnMouseDown = [&](TObject*, TMouseButton, TShiftState, int X, int Y) {
    W->View()->GetObj(X, Y, Hit);
  };
  SendMouse(W.get(), QEvent::MouseButtonPress, {80, 60}, Qt::LeftButton, Qt::LeftButton);
  EXPECT_EQ(Hit, S.Square);
  SendMouse(W.get(), QEvent::MouseButtonPress, {5, 5}, Qt::LeftButton, Qt::LeftButton);
  EXPECT_EQ(Hit, nullptr);
  SendMouse(W.get(), QEvent::MouseButtonRelease, {5, 5}, Qt::LeftButton, Qt::NoButton);

  TLumPersonController Person(&S.Form);
  Person.SetControlled(S.Camera);
  W->View()->SetController(&Person);
  QTest::qWait(50);
  const int Before = S.Frames;
  // The up arrow reaches the controller: heading 0 looks along +z, a step adds StepLength.
  QTest::keyClick(W.get(), Qt::Key_Up);
  QTRY_VERIFY(S.Frames > Before);
  EXPECT_NEAR(S.Camera->Transformation()->Translation()->Z(), -2 + 0.1, 1e-6);

  TLumMouseController Mouse(&S.Form);
  Mouse.SetControlled(S.Camera);
  W->View()->SetController(&Mouse);
  const float Y0 = S.Camera->Transformation()->Rotation()->Y();
  SendMouse(W.get(), QEvent::MouseButtonPress, {40, 60}, Qt::LeftButton, Qt::LeftButton);
  SendMouse(W.get(), QEvent::MouseMove, {120, 60}, Qt::NoButton, Qt::LeftButton);
  SendMouse(W.get(), QEvent::MouseButtonRelease, {120, 60}, Qt::LeftButton, Qt::NoButton);
  EXPECT_NE(S.Camera->Transformation()->Rotation()->Y(), Y0);
  const int AfterDrag = S.Frames;
  QTRY_VERIFY(S.Frames > AfterDrag);

  std::vector<TMouseButton> Pressed;
  W->View()->OnMouseDown = [&](TObject*, TMouseButton B, TShiftState, int, int) {
    Pressed.push_back(B);
  };
  const float Y1 = S.Camera->Transformation()->Rotation()->Y();
  for (Qt::MouseButton B : {Qt::BackButton, Qt::ForwardButton}) {
    SendMouse(W.get(), QEvent::MouseButtonPress, {40, 60}, B, B);
    SendMouse(W.get(), QEvent::MouseMove, {120, 60}, Qt::NoButton, B);
    EXPECT_EQ(Mouse.DragState(), 0);
    SendMouse(W.get(), QEvent::MouseButtonRelease, {120, 60}, B, Qt::NoButton);
  }
  EXPECT_EQ(S.Camera->Transformation()->Rotation()->Y(), Y1);
  EXPECT_EQ(Pressed, (std::vector<TMouseButton>{mbExtra1, mbExtra2}));
  // During a left drag a back press changes nothing; the drag goes on.
  SendMouse(W.get(), QEvent::MouseButtonPress, {40, 60}, Qt::LeftButton, Qt::LeftButton);
  SendMouse(W.get(), QEvent::MouseButtonPress, {40, 60}, Qt::BackButton,
            Qt::LeftButton | Qt::BackButton);
  EXPECT_EQ(Mouse.DragState(), 1);
  SendMouse(W.get(), QEvent::MouseMove, {60, 60}, Qt::NoButton, Qt::LeftButton | Qt::BackButton);
  EXPECT_NE(S.Camera->Transformation()->Rotation()->Y(), Y1);
}

TEST(LumQtViewTest, WidgetsAndOffscreenImagesShareOneCachedList) {
  TScene S;
  S.Square->SetCached(true);
  auto A = S.Show();
  auto B = S.Show();
  QTest::qWait(50);
  const uint32_t List = S.Square->ListId();
  ASSERT_NE(List, 0u);
  for (TLumQtView* W : {A.get(), B.get()}) {
    W->makeCurrent();
    EXPECT_TRUE(glIsList(List));
    W->doneCurrent();
    EXPECT_TRUE(IsRed(FramePixel(W, 80, 60)));
  }
  // The owning view's image, taken while it is shown, calls the list in an off-screen
  // context.
  TLumView* Owner = S.Square->View() == A->View() ? A->View() : B->View();
  TBitmap Image(64, 48);
  ASSERT_TRUE(Owner->GetImage(&Image));
  EXPECT_EQ(S.Square->ListId(), List);
  EXPECT_EQ((std::array{Image.GetPixel(32, 24), Image.GetPixel(2, 2)}),
            (std::array{0x0000FFu, 0xFF0000u}));
  // The widget is still fine afterwards.
  EXPECT_TRUE(IsRed(FramePixel(A.get(), 80, 60)));
}

TEST(LumQtViewTest, QtKeysMapToVirtualKeys) {
  // The ends of each range, both Return keys, and keys without a virtual key.
  const int Keys[] = {Qt::Key_Left,   Qt::Key_Down,   Qt::Key_PageUp,    Qt::Key_PageDown,
                      Qt::Key_Return, Qt::Key_Enter,  Qt::Key_Space,     Qt::Key_A,
                      Qt::Key_Z,      Qt::Key_0,      Qt::Key_F1,        Qt::Key_F24,
                      Qt::Key_Delete, Qt::Key_Tab,    Qt::Key_Backspace, Qt::Key_Control,
                      Qt::Key_Insert, Qt::Key_Eacute, Qt::Key_VolumeUp,  Qt::Key_unknown};
  const uint16_t Vks[] = {VK_LEFT, VK_DOWN,    VK_PRIOR,  VK_NEXT, VK_RETURN, VK_RETURN, VK_SPACE,
                          'A',     'Z',        '0',       112,     135,       VK_DELETE, VK_TAB,
                          VK_BACK, VK_CONTROL, VK_INSERT, 0,       0,         0};
  for (size_t I = 0; I < std::size(Keys); ++I)
    EXPECT_EQ(LumQtKeyToVirtualKey(Keys[I]), Vks[I]) << Keys[I];
  const TShiftState S =
      LumQtShiftState(Qt::ShiftModifier | Qt::ControlModifier, Qt::LeftButton | Qt::MiddleButton);
  EXPECT_TRUE(S == (TShiftState{ssShift, ssCtrl, ssLeft, ssMiddle}));
}

// An idle window sleeps. The widget library keeps Application()->Active() with Qt's
// application state, so an Activeonly timer stops while no window of the program is active;
// the idle hook runs only while a timer is enabled, and none is left running when idle.
TEST(LumQtViewTest, IdleWindowSleepsAndActiveonlyTimersTickOnlyWhileAWindowIsActive) {
  TScene S;
  auto W = S.Show();
  W->activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(W.get()));
  EXPECT_TRUE(Application()->Active());
  RunLoop(100);
  const double Cpu = CpuSeconds();
  QElapsedTimer Wall;
  Wall.start();
  RunLoop(1500);
  EXPECT_LT(CpuSeconds() - Cpu, 0.1 * Wall.elapsed() / 1000.0);
  EXPECT_FALSE(LumQtIdleRunning());

  TLumTimer Timer(&S.Form);
  Timer.setintervall(10);
  Timer.SetActiveonly(true);
  int Ticks = 0;
  Timer.OnTimer = [&](TObject*, int32_t) { ++Ticks; };
  RunLoop(200);
  EXPECT_GT(Ticks, 3);
  EXPECT_TRUE(LumQtIdleRunning());
  W->hide();
  QTRY_COMPARE(QGuiApplication::applicationState(), Qt::ApplicationInactive);
  EXPECT_FALSE(Application()->Active());
  const int Inactive = Ticks;
  RunLoop(300);
  EXPECT_EQ(Ticks, Inactive);
  EXPECT_FALSE(LumQtIdleRunning());  // and no CPU is spent waiting
  W->show();
  W->activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(W.get()));
  RunLoop(200);
  EXPECT_GT(Ticks, Inactive + 3);
  // Disabled, the timer stops and takes the idle hook with it.
  Timer.SetEnabled(false);
  RunLoop(50);
  EXPECT_FALSE(LumQtIdleRunning());
  const int Stopped = Ticks;
  RunLoop(100);
  EXPECT_EQ(Ticks, Stopped);
}

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  LumQtSetDefaultFormat();
  QApplication App(argc, argv);
  return RUN_ALL_TESTS();
}
