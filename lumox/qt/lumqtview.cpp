// TLumQtView and the Qt backend of the GL context layer: the widget's own context, and
// off-screen contexts (an off-screen surface with a framebuffer object) that share lists
// with every widget through Qt's global share context.
#include "lumox/qt/lumqtview.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QPointer>
#include <QSurfaceFormat>
#include <QTimer>
#include <QWheelEvent>
#include <memory>

#include "lumox/host/forms.h"

namespace lumox {

void LumQtSetDefaultFormat() {
  QSurfaceFormat F;
  F.setRenderableType(QSurfaceFormat::OpenGL);
  F.setProfile(QSurfaceFormat::CompatibilityProfile);
  F.setDepthBufferSize(24);
  F.setStencilBufferSize(8);
  F.setAlphaBufferSize(8);
  F.setSwapBehavior(QSurfaceFormat::DoubleBuffer);
  QSurfaceFormat::setDefaultFormat(F);
  QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
}

uint16_t LumQtKeyToVirtualKey(int QtKey) {
  switch (QtKey) {
    case Qt::Key_Backspace:
      return VK_BACK;
    case Qt::Key_Tab:
      return VK_TAB;
    case Qt::Key_Return:
    case Qt::Key_Enter:
      return VK_RETURN;
    case Qt::Key_Shift:
      return VK_SHIFT;
    case Qt::Key_Control:
      return VK_CONTROL;
    case Qt::Key_Escape:
      return VK_ESCAPE;
    case Qt::Key_Space:
      return VK_SPACE;
    case Qt::Key_PageUp:
      return VK_PRIOR;
    case Qt::Key_PageDown:
      return VK_NEXT;
    case Qt::Key_End:
      return VK_END;
    case Qt::Key_Home:
      return VK_HOME;
    case Qt::Key_Left:
      return VK_LEFT;
    case Qt::Key_Up:
      return VK_UP;
    case Qt::Key_Right:
      return VK_RIGHT;
    case Qt::Key_Down:
      return VK_DOWN;
    case Qt::Key_Insert:
      return VK_INSERT;
    case Qt::Key_Delete:
      return VK_DELETE;
    default:
      break;
  }
  // Letters and digits have the codes of their upper-case characters; F1..F24 are
  // 112..135.
  if ((QtKey >= Qt::Key_A && QtKey <= Qt::Key_Z) || (QtKey >= Qt::Key_0 && QtKey <= Qt::Key_9))
    return static_cast<uint16_t>(QtKey);
  if (QtKey >= Qt::Key_F1 && QtKey <= Qt::Key_F24)
    return static_cast<uint16_t>(112 + (QtKey - Qt::Key_F1));
  return 0;
}

TShiftState LumQtShiftState(Qt::KeyboardModifiers Modifiers, Qt::MouseButtons Buttons) {
  TShiftState S;
  if (Modifiers & Qt::ShiftModifier) S.Include(ssShift);
  if (Modifiers & Qt::AltModifier) S.Include(ssAlt);
  if (Modifiers & Qt::ControlModifier) S.Include(ssCtrl);
  if (Buttons & Qt::LeftButton) S.Include(ssLeft);
  if (Buttons & Qt::RightButton) S.Include(ssRight);
  if (Buttons & Qt::MiddleButton) S.Include(ssMiddle);
  return S;
}

// --- the idle hook ---------------------------------------------------------------------

namespace {

QPointer<QTimer> IdleTimer;

void RunIdle() {
  const bool Done = Application()->ProcessIdle();
  if (!IdleTimer) return;
  if (Done)
    IdleTimer->stop();
  else if (!IdleTimer->isActive())
    IdleTimer->start();
}

}  // namespace

void LumQtInstallIdleHook() {
  if (IdleTimer || !QCoreApplication::instance()) return;
  // Owned by the application object, so it goes with it.
  IdleTimer = new QTimer(QCoreApplication::instance());
  IdleTimer->setInterval(0);
  QObject::connect(IdleTimer, &QTimer::timeout, RunIdle);
  if (QAbstractEventDispatcher* D = QAbstractEventDispatcher::instance())
    QObject::connect(D, &QAbstractEventDispatcher::aboutToBlock, IdleTimer, [] {
      if (!IdleTimer->isActive()) RunIdle();
    });
  // The application is the active one while one of its windows is: Activeonly timers
  // stop when the user turns to another program.
  if (auto* Gui = qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
    Application()->SetActive(QGuiApplication::applicationState() == Qt::ApplicationActive);
    QObject::connect(Gui, &QGuiApplication::applicationStateChanged, IdleTimer,
                     [](Qt::ApplicationState State) {
                       Application()->SetActive(State == Qt::ApplicationActive);
                     });
  }
}

bool LumQtIdleRunning() { return IdleTimer && IdleTimer->isActive(); }

// --- the context layer -----------------------------------------------------------------

namespace {

const char* const kCreateFailed = "Call to OpenGL function wglCreateContext() failed.";

TLumPixelFormat FormatOf(const QSurfaceFormat& F) {
  TLumPixelFormat P;
  P.ColorBits = F.redBufferSize() + F.greenBufferSize() + F.blueBufferSize();
  P.AlphaBits = std::max(F.alphaBufferSize(), 0);
  P.DepthBits = std::max(F.depthBufferSize(), 0);
  P.StencilBits = std::max(F.stencilBufferSize(), 0);
  P.DoubleBuffer = F.swapBehavior() != QSurfaceFormat::SingleBuffer;
  return P;
}

// An off-screen context sharing lists with every widget: Qt's global share context is
// the share root of a Qt process. It draws into a framebuffer object with depth and
// stencil, bound while the context is current.
class TQtOffscreenContext : public TLumGLContext {
 public:
  TQtOffscreenContext(int W, int H) {
    FContext.setFormat(QSurfaceFormat::defaultFormat());
    FContext.setShareContext(QOpenGLContext::globalShareContext());
    if (!FContext.create()) throw Exception(kCreateFailed);
    FSurface.setFormat(FContext.format());
    FSurface.create();
    if (!FSurface.isValid() || !FContext.makeCurrent(&FSurface)) throw Exception(kCreateFailed);
    MakeFramebuffer(W, H);
    FContext.doneCurrent();
    if (!FFramebuffer->isValid()) throw Exception(kCreateFailed);
  }
  ~TQtOffscreenContext() override {
    if (FContext.makeCurrent(&FSurface)) {
      FFramebuffer.reset();
      FContext.doneCurrent();
    }
  }
  bool MakeCurrent() override {
    if (!FContext.makeCurrent(&FSurface)) return false;
    return FFramebuffer->bind();
  }
  void Release() override {
    if (!IsCurrent()) return;
    FFramebuffer->release();
    FContext.doneCurrent();
  }
  bool IsCurrent() const override { return QOpenGLContext::currentContext() == &FContext; }
  void SwapBuffers() override {}
  int Width() const override { return FFramebuffer->width(); }
  int Height() const override { return FFramebuffer->height(); }
  bool Resize(int W, int H) override {
    const bool WasCurrent = IsCurrent();
    if (!WasCurrent && !FContext.makeCurrent(&FSurface)) return false;
    MakeFramebuffer(W, H);
    if (WasCurrent)
      FFramebuffer->bind();
    else
      FContext.doneCurrent();
    return FFramebuffer->isValid();
  }
  std::unique_ptr<TLumGLContext> CreateOffscreen(int W, int H) override {
    return std::make_unique<TQtOffscreenContext>(W, H);
  }
  TLumPixelFormat PixelFormat() const override {
    TLumPixelFormat P = FormatOf(FContext.format());
    P.DoubleBuffer = false;
    return P;
  }

 private:
  void MakeFramebuffer(int W, int H) {
    FFramebuffer.reset();
    FFramebuffer = std::make_unique<QOpenGLFramebufferObject>(
        std::max(W, 1), std::max(H, 1), QOpenGLFramebufferObject::CombinedDepthStencil);
  }
  QOpenGLContext FContext;
  QOffscreenSurface FSurface;
  std::unique_ptr<QOpenGLFramebufferObject> FFramebuffer;
};

// The widget's own context. Qt swaps (it composes the widget's framebuffer into the
// window after paintGL), and inside paintGL the context stays current for Qt.
class TQtWidgetContext : public TLumGLContext {
 public:
  explicit TQtWidgetContext(TLumQtView* W) : FWidget(W) {}
  bool MakeCurrent() override {
    if (!FWidget->context()) return false;
    if (!IsCurrent()) FWidget->makeCurrent();
    return IsCurrent();
  }
  void Release() override {
    // Qt expects its context to be current when paintGL returns.
    if (FWidget->InGL() || !IsCurrent()) return;
    FWidget->doneCurrent();
  }
  bool IsCurrent() const override {
    return FWidget->context() && QOpenGLContext::currentContext() == FWidget->context();
  }
  void SwapBuffers() override {}
  int Width() const override { return qRound(FWidget->width() * FWidget->devicePixelRatioF()); }
  int Height() const override { return qRound(FWidget->height() * FWidget->devicePixelRatioF()); }
  // The widget's framebuffer follows the widget's size.
  bool Resize(int, int) override { return true; }
  std::unique_ptr<TLumGLContext> CreateOffscreen(int W, int H) override {
    return std::make_unique<TQtOffscreenContext>(W, H);
  }
  void RequestRepaint() override { FWidget->update(); }
  // A QOpenGLWidget keeps its context for its life and always draws into a
  // framebuffer object that Qt composes into the window; the window's buffering is
  // Qt's. The view is connected anew to the widget's own context (lists survive).
  std::unique_ptr<TLumGLContext> Recreate(bool) override {
    return std::make_unique<TQtWidgetContext>(FWidget);
  }
  TLumPixelFormat PixelFormat() const override {
    return FWidget->context() ? FormatOf(FWidget->context()->format()) : TLumPixelFormat{};
  }

 private:
  TLumQtView* FWidget;
};

// The library's button for a Qt button; false for buttons beyond the fifth, which the
// library has no name for and which are not passed on.
bool ButtonOf(Qt::MouseButton B, TMouseButton& Button) {
  switch (B) {
    case Qt::LeftButton:
      Button = mbLeft;
      return true;
    case Qt::RightButton:
      Button = mbRight;
      return true;
    case Qt::MiddleButton:
      Button = mbMiddle;
      return true;
    case Qt::BackButton:
      Button = mbExtra1;
      return true;
    case Qt::ForwardButton:
      Button = mbExtra2;
      return true;
    default:
      return false;
  }
}

}  // namespace

// --- TLumQtView --------------------------------------------------------------------------

TLumQtView::TLumQtView(QWidget* Parent) : QOpenGLWidget(Parent), FView(new TLumView(nullptr)) {
  setFocusPolicy(Qt::StrongFocus);
  setMouseTracking(true);
  LumQtInstallIdleHook();
  SyncSize();
}

TLumQtView::~TLumQtView() {
  if (context()) QObject::disconnect(context(), nullptr, this, nullptr);
  // Components that cache in the view delete their lists while the context lives.
  if (context()) makeCurrent();
  delete FView;
  if (context()) doneCurrent();
}

void TLumQtView::SyncSize() {
  FView->SetDevicePixelRatio(devicePixelRatioF());
  FView->SetBounds(width(), height());
}

void TLumQtView::initializeGL() {
  // A widget moved to another window gets a new context: the view follows it.
  if (FWatched != context()) {
    FWatched = context();
    QObject::connect(context(), &QOpenGLContext::aboutToBeDestroyed, this, [this] {
      makeCurrent();
      FView->OpenGLDisconnect();
      doneCurrent();
    });
  }
  FInGL = true;
  FView->OpenGLDisconnect();
  FView->OpenGLConnect(std::make_unique<TQtWidgetContext>(this));
  FInGL = false;
}

void TLumQtView::resizeGL(int, int) { SyncSize(); }

void TLumQtView::paintGL() {
  SyncSize();
  FInGL = true;
  FView->Paint();
  FInGL = false;
}

void TLumQtView::keyPressEvent(QKeyEvent* Event) {
  const TShiftState Shift = LumQtShiftState(Event->modifiers());
  uint16_t Key = LumQtKeyToVirtualKey(Event->key());
  if (Key) FView->KeyDown(Key, Shift);
  const QString Text = Event->text();
  if (!Text.isEmpty() && Text[0].isPrint()) {
    char32_t C = Text.toUcs4().value(0);
    FView->KeyPress(C);
  }
  Event->accept();
}

void TLumQtView::keyReleaseEvent(QKeyEvent* Event) {
  uint16_t Key = LumQtKeyToVirtualKey(Event->key());
  if (Key) FView->KeyUp(Key, LumQtShiftState(Event->modifiers()));
  Event->accept();
}

void TLumQtView::mousePressEvent(QMouseEvent* Event) {
  const QPoint P = Event->position().toPoint();
  TMouseButton B;
  if (!ButtonOf(Event->button(), B)) return;
  FView->MouseDown(B, LumQtShiftState(Event->modifiers(), Event->buttons()), P.x(), P.y());
}

void TLumQtView::mouseReleaseEvent(QMouseEvent* Event) {
  const QPoint P = Event->position().toPoint();
  TMouseButton B;
  if (!ButtonOf(Event->button(), B)) return;
  FView->MouseUp(B, LumQtShiftState(Event->modifiers(), Event->buttons()), P.x(), P.y());
  if (B == mbLeft && rect().contains(P)) FView->Click();
}

void TLumQtView::mouseMoveEvent(QMouseEvent* Event) {
  const QPoint P = Event->position().toPoint();
  FView->MouseMove(LumQtShiftState(Event->modifiers(), Event->buttons()), P.x(), P.y());
}

void TLumQtView::mouseDoubleClickEvent(QMouseEvent* Event) {
  const QPoint P = Event->position().toPoint();
  TShiftState Shift = LumQtShiftState(Event->modifiers(), Event->buttons());
  Shift.Include(ssDouble);
  TMouseButton B;
  if (!ButtonOf(Event->button(), B)) return;
  FView->MouseDown(B, Shift, P.x(), P.y());
  FView->DblClick();
}

void TLumQtView::wheelEvent(QWheelEvent* Event) {
  const QPoint P = Event->position().toPoint();
  if (FView->MouseWheel(LumQtShiftState(Event->modifiers(), Event->buttons()),
                        Event->angleDelta().y(), P.x(), P.y()))
    Event->accept();
  else
    Event->ignore();
}

void TLumQtView::focusInEvent(QFocusEvent* Event) {
  QOpenGLWidget::focusInEvent(Event);
  FView->DoEnter();
}

void TLumQtView::focusOutEvent(QFocusEvent* Event) {
  QOpenGLWidget::focusOutEvent(Event);
  FView->DoExit();
}

}  // namespace lumox
