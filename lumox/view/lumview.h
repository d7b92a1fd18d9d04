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
#include "lumox/view/lumwgl.h"

namespace lumox {

class TLumCamera;
class TLumCustomController;
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
};

class TLumView : public TLumCustomView {
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
  bool GetCurrent() override;
  // Never throws: callers test GetCurrent afterwards.
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
  // Renders one frame into Bitmap at the bitmap's size; false on every failure.
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
  int32_t PickX() const { return FPickX; }
  int32_t PickY() const { return FPickY; }

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

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

 private:
  void ApplyDrawValues();
  std::unique_ptr<TLumGLContext> FContext;
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
};

}  // namespace lumox
