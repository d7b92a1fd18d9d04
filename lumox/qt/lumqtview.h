// TLumQtView: the view hosted in a Qt 6 QOpenGLWidget. The widget owns a TLumView, gives
// it the widget's context, paints it from paintGL, forwards keys and mouse input, and
// pumps the application's idle hook (the animation timers) from the Qt event loop.
#pragma once

#include <QOpenGLWidget>
#include <cstdint>

#include "lumox/host/controls.h"
#include "lumox/view/lumview.h"

namespace lumox {

// Sets the default surface format (OpenGL, compatibility profile, depth and stencil,
// double buffered) and Qt::AA_ShareOpenGLContexts, so that every widget of the process
// shares display lists. Call it before the QApplication is made.
void LumQtSetDefaultFormat();

// The virtual-key code for a Qt key (0 when there is none) and the shift state of
// Qt's modifiers and mouse buttons.
uint16_t LumQtKeyToVirtualKey(int QtKey);
TShiftState LumQtShiftState(Qt::KeyboardModifiers Modifiers, Qt::MouseButtons Buttons = {});

// The application's idle hook on the Qt event loop: whenever the loop is about to wait
// for events it runs Application()->ProcessIdle once, and while that asks to be called
// again (an enabled TLumTimer) a zero-interval timer keeps running it; as soon as it
// reports done the timer stops, so an application without running timers uses no CPU
// while it waits. It also keeps Application()->Active() to Qt's application state
// (active while a window of the program is), which Activeonly timers follow. Installed
// by the first TLumQtView; a program may install it earlier.
void LumQtInstallIdleHook();
// Whether the zero-interval timer is running now.
bool LumQtIdleRunning();

class TLumQtView : public QOpenGLWidget {
 public:
  explicit TLumQtView(QWidget* Parent = nullptr);
  ~TLumQtView() override;

  TLumView* View() const { return FView; }
  // Whether the view's frame is running inside paintGL (or initializeGL) right now.
  bool InGL() const { return FInGL; }

 protected:
  void initializeGL() override;
  void resizeGL(int W, int H) override;
  void paintGL() override;
  void keyPressEvent(QKeyEvent* Event) override;
  void keyReleaseEvent(QKeyEvent* Event) override;
  void mousePressEvent(QMouseEvent* Event) override;
  void mouseReleaseEvent(QMouseEvent* Event) override;
  void mouseMoveEvent(QMouseEvent* Event) override;
  void mouseDoubleClickEvent(QMouseEvent* Event) override;
  void wheelEvent(QWheelEvent* Event) override;
  void focusInEvent(QFocusEvent* Event) override;
  void focusOutEvent(QFocusEvent* Event) override;

 private:
  void SyncSize();
  TLumView* FView;
  bool FInGL = false;
  QOpenGLContext* FWatched = nullptr;  // the context whose end disconnects the view
};

}  // namespace lumox
