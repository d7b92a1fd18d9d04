// TLumView: the view a scene is drawn in. It owns a GL context through the context
// layer, runs the frame on every paint (camera, clear, axes cross, OnRender, swap),
// renders off-screen into bitmaps and forwards input to a controller.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "lumox/host/controls.h"
#include "lumox/host/graphics.h"
#include "lumox/scene/lumcomp.h"
#include "lumox/view/lumcanvasview.h"
#include "lumox/view/lumwgl.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLumviewProperties();
}  // namespace detail

class TLumCamera;
class TLumCustomController;
class TLumSelectionList;
class TLumView;

enum TLumBufferType : uint8_t { btColor, btDepth };
enum TLumDrawValues : uint8_t { dvRed, dvBlue, dvGreen, dvAlpha, dvDepth };
using TLumBufferTypes = TLumSet<TLumBufferType>;
using TLumDrawValuesSet = TLumSet<TLumDrawValues>;
extern const char* const TLumBufferTypeStr[2];
// Blue comes before green on purpose; the channel mapping follows the names.
extern const char* const TLumDrawValuesStr[5];

using TLumViewRenderEvent = std::function<void(TLumView* aView)>;
using TLumNotifyNextID = std::function<void(TObject* Obj, int32_t num)>;

// The axes cross drawn before the scene.
class TLumCoordinates : public TLumRenderProperty {
 public:
  const char* ClassName() const override { return "TLumCoordinates"; }
  bool Visible() const { return FVisible; }
  void SetVisible(bool Value);
  float Length() const { return FLength; }
  void SetLength(float Value);
  uint32_t ColorX() const { return FColors[0]; }
  uint32_t ColorY() const { return FColors[1]; }
  uint32_t ColorZ() const { return FColors[2]; }
  // Index 0, 1, 2 for the x, y and z axis; other indices are ignored.
  void SetColor(int Index, uint32_t Value);
  void SetColorX(uint32_t Value) { SetColor(0, Value); }
  void SetColorY(uint32_t Value) { SetColor(1, Value); }
  void SetColorZ(uint32_t Value) { SetColor(2, Value); }
  void Render() override;
  // Copies the change hook, Visible, Length and the colours, then notifies.
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  bool FVisible = false;
  float FLength = 1.0f;
  uint32_t FColors[3] = {0x0000FF, 0x008000, 0xFF0000};
  friend void detail::RegisterLumviewProperties();
};

class TLumView : public TLumCanvasView {
 public:
  explicit TLumView(TComponent* AOwner);
  ~TLumView() override;
  const char* ClassName() const override { return "TLumView"; }

  // --- size (the client area; a new view is 400 x 250) ---------------------------
  int Width() const { return FWidth; }
  int Height() const { return FHeight; }
  int ClientWidth() const { return FWidth; }
  int ClientHeight() const { return FHeight; }
  void SetBounds(int AWidth, int AHeight);
  void SetWidth(int AWidth) { SetBounds(AWidth, FHeight); }
  void SetHeight(int AHeight) { SetBounds(FWidth, AHeight); }
  int CanvasWidth() const override { return FWidth; }
  int CanvasHeight() const override { return FHeight; }

  // --- the context -----------------------------------------------------------------
  // Creates the view's context on first need (a headless EGL context unless a
  // toolkit adapter provides one through OpenGLConnect). Throws Exception when the
  // context cannot be made; after that the view stays inactive and paints do nothing.
  void HandleNeeded();
  bool HandleAllocated() const { return FHandleCreated; }
  // Makes the context (or adopts the given one) and adds the view to the view list;
  // false in design mode.
  bool OpenGLConnect(std::unique_ptr<TLumGLContext> AContext = nullptr);
  void OpenGLDisconnect();
  TLumGLContext* Context() const { return FContext.get(); }
  bool Active() const { return FContext != nullptr; }
  bool GetActive() const { return Active(); }
  // Whether the view's context is current (always while an image renders). A view that
  // has only taken images counts the context GetImage keeps as its own.
  bool GetCurrent() override;
  // Makes the view's context (as GetCurrent counts it) current, deleting the lists freed
  // meanwhile, or releases it. Never throws: callers test GetCurrent afterwards.
  void SetCurrent(bool Value) override;

  // --- the frame -------------------------------------------------------------------
  // Runs one frame when the view is active.
  void Paint();
  virtual void RenderScene();
  virtual void RenderSceneGL();
  void InitCamera(int AWidth, int AHeight);
  void ClearBuffers(TLumBufferTypes Buffers);
  // Asks the toolkit for a repaint (nothing for an off-screen view).
  void InvalidateGL();
  void SubChange(TObject* Sender);
  // Renders one frame into Bitmap at the bitmap's size; false on every failure. Each
  // image starts from the state of a new context, whatever the images before it did.
  bool GetImage(TBitmap* Bitmap);

  // --- properties ------------------------------------------------------------------
  uint32_t BackgroundColor() const { return FBackgroundColor; }
  void SetBackgroundColor(uint32_t Value);
  TLumCoordinates* Coordinates() const { return FCoordinates; }
  void SetCoordinates(TLumCoordinates* Value);
  TLumCamera* Camera() const { return FCamera; }
  void SetCamera(TLumCamera* Value);
  bool DoubleBuffer() const { return FDoubleBuffer; }
  // Recreates the context of an active view through whoever supplied it.
  void SetDoubleBuffer(bool Value);
  int32_t SelectWidth() const { return FSelectWidth; }
  void SetSelectWidth(int32_t Value) { FSelectWidth = Value; }
  int32_t SelectHeight() const { return FSelectHeight; }
  void SetSelectHeight(int32_t Value) { FSelectHeight = Value; }
  TLumDrawMode DrawMode() const override { return FDrawMode; }
  void SetDrawMode(TLumDrawMode Value) { FDrawMode = Value; }
  TLumCustomController* Controller() const { return FController; }
  void SetController(TLumCustomController* Value);
  TLumBufferTypes AutoClearBuffers() const { return FAutoClearBuffers; }
  void SetAutoClearBuffers(TLumBufferTypes Value) { FAutoClearBuffers = Value; }
  TLumDrawValuesSet DrawValues() const { return FDrawValues; }
  // Makes the context current if it is not (and leaves it so), applies the masks.
  void SetDrawValues(TLumDrawValuesSet Value);
  bool DepthTestEnabled() const { return FDepthTestEnabled; }
  // Sets the depth function at once while the view's context is current; the frame
  // sets it anyway, so a change asks for a repaint.
  void SetDepthTestEnabled(bool Value);

  TLumViewRenderEvent OnRender;
  TLumNotifyNextID OnNotifyNextID;
  TKeyEvent OnKeyDown;
  TMouseEvent OnMouseDown;
  TMouseEvent OnMouseUp;
  TMouseMoveEvent OnMouseMove;

  // --- names and coordinates ---------------------------------------------------------
  int32_t GetNextID(TObject* Obj, int32_t num) override;
  int32_t NextIDCounter() const { return FNextIDCounter; }
  TLumMatrix* CameraMatrix() const override;
  // The view's own context, or the one GetImage keeps when it has no other.
  bool HasContext() const override { return OwnContext() != nullptr; }
  // A point in Render's local frame, as last drawn, expressed in the camera's frame;
  // Result is left as it is without the two matrices.
  void ProjectVector(TLumRender* Render, const TLumMathVector& V, TLumMathVector& Result);

  // --- input, as the toolkit adapter delivers it -------------------------------------
  virtual void KeyDown(uint16_t& Key, TShiftState Shift);
  virtual void MouseDown(TMouseButton Button, TShiftState Shift, int X, int Y);
  virtual void MouseUp(TMouseButton Button, TShiftState Shift, int X, int Y);
  virtual void MouseMove(TShiftState Shift, int X, int Y);

  // The views that have a context, in the order they got it.
  static const std::vector<TLumView*>& ViewList();

  // --- the control's remaining events and properties ----------------------------------
  // Entry points a toolkit adapter calls; each raises its event. KeyDown, MouseDown,
  // MouseUp and MouseMove above also reach the controller; these do not.
  virtual void KeyUp(uint16_t& Key, TShiftState Shift);
  virtual void KeyPress(char32_t& Key);
  virtual void Click();
  virtual void DblClick();
  // OnMouseWheel first; unless it handled the turn, OnMouseWheelDown for a negative
  // delta or OnMouseWheelUp otherwise. Returns whether a handler took it.
  virtual bool MouseWheel(TShiftState Shift, int WheelDelta, int X, int Y);
  // The view gained or lost the keyboard focus.
  virtual void DoEnter();
  virtual void DoExit();
  // Raised by SetBounds when the size really changes; an adapter may call it too.
  virtual void Resize();
  TNotifyEvent OnClick;
  TNotifyEvent OnDblClick;
  TKeyEvent OnKeyUp;
  TKeyPressEvent OnKeyPress;
  TMouseWheelEvent OnMouseWheel;
  TMouseWheelUpDownEvent OnMouseWheelDown;
  TMouseWheelUpDownEvent OnMouseWheelUp;
  TNotifyEvent OnEnter;
  TNotifyEvent OnExit;
  TNotifyEvent OnResize;
  // Layout, visibility and keyboard focus order, which a toolkit adapter applies to its
  // widget (a headless view only stores them). An invisible view asks for no repaints.
  TAlign Align() const { return FAlign; }
  void SetAlign(TAlign Value) { FAlign = Value; }
  bool Visible() const { return FVisible; }
  void SetVisible(bool Value);
  bool TabStop() const { return FTabStop; }
  void SetTabStop(bool Value) { FTabStop = Value; }
  int32_t TabOrder() const { return FTabOrder; }
  void SetTabOrder(int32_t Value) { FTabOrder = Value; }
  // The control colour of the component framework, kept so that settings carry over.
  // It means nothing here: a GL view clears with BackgroundColor.
  uint32_t Color() const { return FColor; }
  void SetColor(uint32_t Value) { FColor = Value; }

  // --- device pixel ratio -------------------------------------------------------------
  // Sizes, input and pick coordinates are logical window pixels; the drawable (and so
  // the viewport) has DevicePixelRatio physical pixels per logical one, as a toolkit on
  // a high-density screen reports it. Default 1; values that are not positive and
  // finite are ignored.
  double DevicePixelRatio() const { return FDevicePixelRatio; }
  void SetDevicePixelRatio(double Value);
  int DrawableWidth() const;
  int DrawableHeight() const;

  // --- picking, selection and window coordinates (lumpick.cpp) -------------------------
  // The window point of the current pick, logical pixels from the top left.
  int32_t PickX() const { return FPickX; }
  void SetPickX(int32_t Value) { FPickX = Value; }
  int32_t PickY() const { return FPickY; }
  void SetPickY(int32_t Value) { FPickY = Value; }
  // State of an object pick: the name looked for, and what asked for it.
  uint32_t PickTarget() const { return FPickTarget; }
  int32_t PickNum() const { return FPickNum; }
  TObject* PickObj() const { return FPickObj; }
  // Fills List with the hits in the SelectWidth x SelectHeight region around (X, Y):
  // one frame in GL_SELECT mode through the pick matrix, no swap. A select buffer
  // that overflows (4096 words) gives an empty list.
  void GetSelection(int32_t X, int32_t Y, TLumSelectionList* List);
  // The object under (X, Y) and the num it passed when it asked for its name; -2 and
  // nullptr when nothing is hit. A hit leads to a second, normal frame (swapped) in
  // which the names are handed out again and matched. Note: GetObj always leaves
  // DrawMode at dmWindow, whatever it was before.
  int32_t GetObj(int32_t X, int32_t Y, TObject*& Obj);
  // OnNotifyNextID during GetObj's second frame: records Obj and num when the name
  // just handed out is the one picked.
  void GetNextIdObj(TObject* Obj, int32_t num);
  // The scene point on the nearest surface under (X, Y); false (and a zero vector)
  // over the background. Outside a frame it draws the scene through the pick matrix
  // of a SelectWidth x SelectHeight region, so the point found lies within that region
  // around (X, Y) (not exactly under it), and unprojects with the window y as given,
  // not flipped. Inside OnRender it reads the buffers as drawn so far, without the pick
  // matrix: the depth there is right, but the unflipped y then mirrors the point's y
  // about the middle of the view. Both are kept for code that relies on them.
  bool GetPoint(int32_t X, int32_t Y, TLumMathVector& V);
  // The scene point at window (X, Y) and window depth Z in 0..1, and the other way:
  // window x, y from the top left, and depth. They use the matrices of the current
  // frame when called inside OnRender, else those the camera sets up for a frame.
  TLumMathVector WinTo3D(int32_t X, int32_t Y, double Z);
  TLumMathVector WinFrom3D(const TLumMathVector& V);

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

 private:
  void ApplyDrawValues();
  TLumGLContext* OwnContext() const;
  // Reads modelview, viewport and projection for WinTo3D and WinFrom3D.
  bool ReadTransforms(double (&Model)[16], int (&Viewport)[4], double (&Proj)[16]);
  // The physical pick point (GL window coordinates, y up) and region InitCamera uses.
  void ApplyPickMatrix();
  std::unique_ptr<TLumGLContext> FContext;
  // GetImage's off-screen context, kept while images of one size are taken.
  std::unique_ptr<TLumGLContext> FImageContext;
  bool FHandleCreated = false;
  int FWidth = 400;
  int FHeight = 250;
  uint32_t FBackgroundColor = 0;
  TLumCoordinates* FCoordinates;
  TLumCamera* FCamera = nullptr;
  bool FDoubleBuffer = true;
  int32_t FPickX = 0, FPickY = 0;
  int32_t FSelectWidth = 5, FSelectHeight = 5;
  TLumDrawMode FDrawMode = dmWindow;
  TLumCustomController* FController = nullptr;
  int32_t FNextIDCounter = 0;
  TLumBufferTypes FAutoClearBuffers{btColor, btDepth};
  TLumDrawValuesSet FDrawValues{dvRed, dvBlue, dvGreen, dvAlpha, dvDepth};
  bool FDepthTestEnabled = true;
  uint32_t FPickTarget = 0;
  int32_t FPickNum = -2;
  TObject* FPickObj = nullptr;
  double FDevicePixelRatio = 1.0;
  TAlign FAlign = alNone;
  bool FVisible = true;
  bool FTabStop = false;
  int32_t FTabOrder = -1;
  uint32_t FColor = 0x80000005;  // the framework's clWindow
};

}  // namespace lumox
