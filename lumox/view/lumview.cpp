// The view's context, its frame, off-screen images and input forwarding.
#include "lumox/view/lumview.h"

#include <algorithm>
#include <cstring>

#include "lumox/control/lumcntrl.h"
#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumtex.h"
#include "lumox/view/lumcam.h"

namespace lumox {

const char* const TLumBufferTypeStr[2] = {"btColor", "btDepth"};
const char* const TLumDrawValuesStr[5] = {"dvRed", "dvBlue", "dvGreen", "dvAlpha", "dvDepth"};

static std::vector<TLumView*>& Views() {
  static std::vector<TLumView*> List;
  return List;
}

const std::vector<TLumView*>& TLumView::ViewList() { return Views(); }

static void AddViewtoList(TLumView* View) {
  auto& L = Views();
  if (std::find(L.begin(), L.end(), View) == L.end()) L.push_back(View);
}

static void RemoveViewfromList(TLumView* View) {
  auto& L = Views();
  L.erase(std::remove(L.begin(), L.end(), View), L.end());
}

// --- TLumCoordinates ------------------------------------------------------------------

void TLumCoordinates::SetVisible(bool Value) { SetField(FVisible, Value); }

void TLumCoordinates::SetLength(float Value) { SetField(FLength, Value); }

void TLumCoordinates::SetColor(int Index, uint32_t Value) {
  if (Index < 0 || Index > 2 || FColors[Index] == Value) return;
  FColors[Index] = Value;
  Changed();
}

void TLumCoordinates::Render() {
  if (!FVisible) return;
  // The colour bytes 0..255 go to the float call as they are, so every non-zero
  // component shows at full intensity; kept that way on purpose.
  auto Color = [this](int Axis) {
    const uint32_t C = FColors[Axis];
    glColor3f(static_cast<float>(C & 0xFF), static_cast<float>((C >> 8) & 0xFF),
              static_cast<float>((C >> 16) & 0xFF));
  };
  auto Axes = [&](float L) {
    glBegin(GL_LINES);
    for (int Axis = 0; Axis < 3; ++Axis) {
      Color(Axis);
      glVertex3f(0, 0, 0);
      glVertex3f(Axis == 0 ? L : 0, Axis == 1 ? L : 0, Axis == 2 ? L : 0);
    }
    glEnd();
  };
  glPushAttrib(GL_ALL_ATTRIB_BITS);
  glLineWidth(1.0f);
  glDisable(GL_LINE_STIPPLE);
  Axes(FLength);
  glEnable(GL_LINE_STIPPLE);
  glLineStipple(10, 0x5555);
  Axes(-1.0f * FLength);
  glPopAttrib();
}

void TLumCoordinates::Assign(TPersistent* Source) {
  if (auto* C = dynamic_cast<TLumCoordinates*>(Source)) {
    // The change hook is taken over too, which the table's copy leaves.
    OnChange = C->OnChange;
    CopyPublished(this, C);
    Changed();
  }
}

// The axis colours are hexadecimal text, a form the table's colour entries do not write.
void TLumCoordinates::WriteValues(TLumExchange* Exchange) {
  Exchange->addtag("Visible", FVisible, false);
  Exchange->addtag("Length", static_cast<double>(FLength), 1.0);
  Exchange->addtag("ColorX", TLumExchange::int2hex(FColors[0]), TLumExchange::int2hex(0x0000FF));
  Exchange->addtag("ColorY", TLumExchange::int2hex(FColors[1]), TLumExchange::int2hex(0x008000));
  Exchange->addtag("ColorZ", TLumExchange::int2hex(FColors[2]), TLumExchange::int2hex(0xFF0000));
}

// The colours come back from hexadecimal text through SetColor(I); an empty one is skipped.
void TLumCoordinates::ReadValues(TLumExchange* Exchange) {
  SetVisible(Exchange->getvalueor("Visible", FVisible));
  SetLength(Exchange->getvalueor("Length", FLength));
  static const char* const Names[3] = {"ColorX", "ColorY", "ColorZ"};
  for (int I = 0; I < 3; ++I) {
    std::string Text;
    if (Exchange->GetParamText(Names[I], Text) && !Text.empty())
      SetColor(I, TLumExchange::hex2int(Text));
  }
}

// --- TLumView -------------------------------------------------------------------------

TLumView::TLumView(TComponent* AOwner) : TLumCanvasView(AOwner), FCoordinates(new TLumCoordinates) {
  FCoordinates->OnChange = [this](TObject* Sender) { SubChange(Sender); };
}

TLumView::~TLumView() {
  // Components that cache in this view clear their lists while the context lives.
  Destroying();
  if (FCamera) FCamera->OnChange = nullptr;
  ReleaseCanvasGL();
  OpenGLDisconnect();
  RemoveViewfromList(this);
  delete FCoordinates;
}

void TLumView::SetBounds(int AWidth, int AHeight) {
  AWidth = std::max(AWidth, 0);
  AHeight = std::max(AHeight, 0);
  if (AWidth == FWidth && AHeight == FHeight) return;
  FWidth = AWidth;
  FHeight = AHeight;
  if (FContext) FContext->Resize(DrawableWidth(), DrawableHeight());
  Resize();
  InvalidateGL();
}

void TLumView::HandleNeeded() {
  if (FHandleCreated) return;
  FHandleCreated = true;
  OpenGLConnect();
}

bool TLumView::OpenGLConnect(std::unique_ptr<TLumGLContext> AContext) {
  if (ComponentState().Contains(csDesigning)) return false;
  FHandleCreated = true;
  // Throws "Call to OpenGL function wglCreateContext() failed." when no context
  // can be made; the view then stays inactive.
  std::unique_ptr<TLumGLContext> Ctx =
      AContext ? std::move(AContext) : CreateEGLContext(DrawableWidth(), DrawableHeight());
  FContext = std::move(Ctx);
  FImageContext.reset();  // it shared lists with no context or the old one
  UseRenderState(&FContext->RenderState());
  // Every context shares lists with the process's first one (the context layer's
  // share root), so a cached component renders in every view.
  AddViewtoList(this);
  SetCurrent(true);
  if (GetCurrent()) {
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    ApplyDrawValues();
  }
  SetCurrent(false);
  return true;
}

void TLumView::OpenGLDisconnect() {
  // Lists freed while no context was current go before the last context does.
  TLumGLContext* Own = OwnContext();
  if (HasDeferredLists() && Own && Own->MakeCurrent()) {
    DeleteDeferredLists();
    Own->Release();
  }
  FImageContext.reset();
  UseRenderState(nullptr);
  if (!FContext) return;
  if (FContext->IsCurrent()) FContext->Release();
  FContext.reset();
}

TLumGLContext* TLumView::OwnContext() const {
  // A view that has only taken images has no context of its own but the one GetImage
  // keeps: there its lists are made, and freed.
  return FContext ? FContext.get() : FImageContext.get();
}

bool TLumView::GetCurrent() {
  const TLumGLContext* Own = OwnContext();
  return Own && (FDrawMode == dmBitmap || Own->IsCurrent());
}

void TLumView::SetCurrent(bool Value) {
  // "Call to OpenGL function wglMakeCurrent() failed." is never raised.
  TLumGLContext* Own = OwnContext();
  if (!Own) return;
  if (Value) {
    if (Own->MakeCurrent()) DeleteDeferredLists();
  } else {
    Own->Release();
  }
}

void TLumView::Paint() {
  HandleNeeded();
  if (Active()) RenderScene();
}

void TLumView::RenderScene() {
  if (!Active()) return;
  SetCurrent(true);
  if (GetCurrent()) {
    if (FCamera) InitCamera(DrawableWidth(), DrawableHeight());
    FNextIDCounter = 0;
    // The first material, attributes and texture of the frame emit their state.
    RenderState().Reset();
    try {
      RenderSceneGL();
    } catch (...) {
      SetCurrent(false);
      throw;
    }
    if (FDrawMode != dmSelection) FContext->SwapBuffers();
  }
  SetCurrent(false);
}

void TLumView::InitCamera(int AWidth, int AHeight) {
  if (!FCamera) return;
  glViewport(0, 0, AWidth, AHeight);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  if (FDrawMode == dmSelection || FDrawMode == dmPick) ApplyPickMatrix();
  FCamera->Adjust(AWidth, AHeight);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  FCamera->Transformation()->Execute();
  FCamera->Matrix()->PickGLModelviewMatrix();
}

void TLumView::ApplyDrawValues() {
  glColorMask(FDrawValues.Contains(dvRed), FDrawValues.Contains(dvGreen),
              FDrawValues.Contains(dvBlue), FDrawValues.Contains(dvAlpha));
  glDepthMask(FDrawValues.Contains(dvDepth));
}

static GLbitfield ClearMask(TLumBufferTypes Buffers) {
  return (Buffers.Contains(btColor) ? GL_COLOR_BUFFER_BIT : 0) |
         (Buffers.Contains(btDepth) ? GL_DEPTH_BUFFER_BIT : 0);
}

void TLumView::RenderSceneGL() {
  const uint32_t C = FBackgroundColor;
  glClearColor(static_cast<float>(C & 0xFF) / 255.0f, static_cast<float>((C >> 8) & 0xFF) / 255.0f,
               static_cast<float>((C >> 16) & 0xFF) / 255.0f, 1.0f);
  glDepthFunc(FDepthTestEnabled ? GL_LESS : GL_ALWAYS);
  ApplyDrawValues();
  if (const GLbitfield Mask = ClearMask(FAutoClearBuffers)) glClear(Mask);
  glMatrixMode(GL_MODELVIEW);
  glEnable(GL_DEPTH_TEST);
  glPushAttrib(GL_ALL_ATTRIB_BITS);
  try {
    FCoordinates->Render();
    if (OnRender) OnRender(this);
  } catch (...) {
    glPopAttrib();  // a frame that fails (a mesh over its limit) leaves the stack as it was
    throw;
  }
  glFlush();
  glPopAttrib();
}

void TLumView::ClearBuffers(TLumBufferTypes Buffers) {
  HandleNeeded();
  if (!GetCurrent()) SetCurrent(true);  // and it stays current
  if (!GetCurrent()) return;
  glClear(ClearMask(Buffers));
}

void TLumView::InvalidateGL() {
  if (Active() && FVisible) FContext->RequestRepaint();
}

void TLumView::SubChange(TObject*) { InvalidateGL(); }

namespace {

// Brings a kept off-screen context of W x H back to the state a new one starts in,
// whatever the images before it left (a handler that threw, pushed or switched without
// undoing it): empty attribute stacks, each matrix stack at depth 1 with the identity,
// no client array on, GL's pixel storage, the whole viewport, and the buffers the frame
// does not clear (Cleared) as a new drawable holds them: zeros.
void ResetToNewContext(int W, int H, GLbitfield Cleared) {
  GLint Depth = 0;
  glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &Depth);
  for (; Depth > 0; --Depth) glPopAttrib();
  glGetIntegerv(GL_CLIENT_ATTRIB_STACK_DEPTH, &Depth);
  for (; Depth > 0; --Depth) glPopClientAttrib();
  GLint Mode = GL_RENDER;
  glGetIntegerv(GL_RENDER_MODE, &Mode);
  if (Mode != GL_RENDER) glRenderMode(GL_RENDER);
  constexpr GLenum Stacks[3][2] = {{GL_TEXTURE, GL_TEXTURE_STACK_DEPTH},
                                   {GL_PROJECTION, GL_PROJECTION_STACK_DEPTH},
                                   {GL_MODELVIEW, GL_MODELVIEW_STACK_DEPTH}};
  for (const auto& S : Stacks) {
    glMatrixMode(S[0]);
    glGetIntegerv(S[1], &Depth);
    for (; Depth > 1; --Depth) glPopMatrix();
    glLoadIdentity();
  }
  for (GLenum Array :
       {GL_VERTEX_ARRAY, GL_NORMAL_ARRAY, GL_COLOR_ARRAY, GL_INDEX_ARRAY, GL_TEXTURE_COORD_ARRAY,
        GL_EDGE_FLAG_ARRAY, GL_FOG_COORD_ARRAY, GL_SECONDARY_COLOR_ARRAY})
    glDisableClientState(Array);
  for (GLenum Alignment : {GL_PACK_ALIGNMENT, GL_UNPACK_ALIGNMENT}) glPixelStorei(Alignment, 4);
  for (GLenum Store :
       {GL_PACK_ROW_LENGTH, GL_PACK_SKIP_ROWS, GL_PACK_SKIP_PIXELS, GL_PACK_SWAP_BYTES,
        GL_PACK_LSB_FIRST, GL_UNPACK_ROW_LENGTH, GL_UNPACK_SKIP_ROWS, GL_UNPACK_SKIP_PIXELS,
        GL_UNPACK_SWAP_BYTES, GL_UNPACK_LSB_FIRST})
    glPixelStorei(Store, 0);
  glViewport(0, 0, W, H);
  const GLbitfield Stale =
      (GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT) & ~Cleared;
  glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
  glDepthMask(GL_TRUE);
  glStencilMask(~0u);
  glClearColor(0, 0, 0, 0);
  glClearDepth(0);
  glClearStencil(0);
  glClear(Stale);
  glClearDepth(1);  // GL's own clear depth, which the frame clears with
}

}  // namespace

bool TLumView::GetImage(TBitmap* Bitmap) {
  if (!Bitmap || Bitmap->Width() <= 0 || Bitmap->Height() <= 0) return false;
  const int W = Bitmap->Width(), H = Bitmap->Height();
  // The mode and the render state are the view's own again however the image ends.
  struct TRestore {
    TLumView* View;
    TLumDrawMode Mode;
    ~TRestore() {
      View->FDrawMode = Mode;
      View->UseRenderState(View->FContext ? &View->FContext->RenderState() : nullptr);
    }
  } Restore{this, FDrawMode};
  FDrawMode = dmBitmap;
  InvalidateTextures();
  bool Result = false;
  try {
    // Deliberately beyond a context per image: making one costs more than a small
    // frame, so the off-screen context is kept for the next image of the same size,
    // and brought back to the state a new one has before each image.
    const bool Reused =
        FImageContext && FImageContext->Width() == W && FImageContext->Height() == H;
    if (!Reused) {
      FImageContext.reset();
      FImageContext = FContext ? FContext->CreateOffscreen(W, H) : CreateEGLContext(W, H);
    }
    TLumGLContext* Ctx = FImageContext.get();
    if (Ctx->MakeCurrent()) {
      // Lists freed since the last frame or image go now: the context shares them.
      DeleteDeferredLists();
      if (Reused) ResetToNewContext(W, H, ClearMask(FAutoClearBuffers));
      Ctx->RenderState() = TLumRenderState();
      UseRenderState(&Ctx->RenderState());
      if (FCamera) InitCamera(W, H);
      RenderSceneGL();
      glFinish();
      // GL rows run bottom to top, the bitmap's top to bottom.
      std::vector<uint8_t> Rows(static_cast<size_t>(W) * H * 4);
      glPixelStorei(GL_PACK_ALIGNMENT, 1);
      glReadPixels(0, 0, W, H, GL_RGBA, GL_UNSIGNED_BYTE, Rows.data());
      const size_t Stride = static_cast<size_t>(W) * 4;
      for (int Y = 0; Y < H; ++Y)
        std::memcpy(Bitmap->ScanLine(Y), Rows.data() + static_cast<size_t>(H - 1 - Y) * Stride,
                    Stride);
      Bitmap->Changed();
      Result = true;
      Ctx->Release();
    } else {
      FImageContext.reset();
    }
  } catch (const Exception&) {
    if (FImageContext && FImageContext->IsCurrent()) FImageContext->Release();
    Result = false;
  } catch (...) {
    if (FImageContext && FImageContext->IsCurrent()) FImageContext->Release();
    throw;
  }
  return Result;
}

void TLumView::SetBackgroundColor(uint32_t Value) {
  if (Value == FBackgroundColor) return;
  FBackgroundColor = Value;
  InvalidateGL();
}

void TLumView::SetCoordinates(TLumCoordinates* Value) {
  if (Value) FCoordinates->Assign(Value);
}

void TLumView::SetCamera(TLumCamera* Value) {
  if (FCamera) {
    FCamera->OnChange = nullptr;
    if (FCamera != Value) RemoveFreeNotification(FCamera);
  }
  FCamera = Value;
  if (FCamera) {
    FCamera->OnChange = [this](TObject* Sender) { SubChange(Sender); };
    FCamera->FreeNotification(this);  // the reference clears whoever owns the camera
  }
  SubChange(this);
}

void TLumView::SetDoubleBuffer(bool Value) {
  if (Value == FDoubleBuffer) return;
  FDoubleBuffer = Value;
  if (!Active()) return;
  // A drawable's format is chosen once: whoever supplied the context builds it anew,
  // so a toolkit's context is never replaced by a headless one.
  if (std::unique_ptr<TLumGLContext> New = FContext->Recreate(Value)) {
    OpenGLDisconnect();
    OpenGLConnect(std::move(New));
  }
}

void TLumView::SetController(TLumCustomController* Value) {
  if (Value == FController) return;
  if (FController) RemoveFreeNotification(FController);
  FController = Value;
  if (Value) Value->FreeNotification(this);
}

void TLumView::SetDrawValues(TLumDrawValuesSet Value) {
  HandleNeeded();
  if (!GetCurrent()) SetCurrent(true);  // and it stays current
  FDrawValues = Value;
  if (GetCurrent()) ApplyDrawValues();
}

void TLumView::SetDepthTestEnabled(bool Value) {
  // Beyond setting the function on whatever context is current: outside a frame none
  // is, so the value is stored and the next frame, which sets the function, is asked for.
  if (GetCurrent()) glDepthFunc(Value ? GL_LESS : GL_ALWAYS);
  if (Value == FDepthTestEnabled) return;
  FDepthTestEnabled = Value;
  InvalidateGL();
}

int32_t TLumView::GetNextID(TObject* Obj, int32_t num) {
  ++FNextIDCounter;
  if (OnNotifyNextID) OnNotifyNextID(Obj, num);
  return FNextIDCounter;
}

TLumMatrix* TLumView::CameraMatrix() const { return FCamera ? FCamera->Matrix() : nullptr; }

void TLumView::ProjectVector(TLumRender* Render, const TLumMathVector& V, TLumMathVector& Result) {
  if (!Render || !Render->ProjectionMatrix() || !FCamera || !FCamera->Matrix()) return;
  TLumMatrix Inv;
  Inv.Assign(FCamera->Matrix());
  Inv.Invert();
  TLumMatrix M;
  M.Assign(Render->ProjectionMatrix());
  M.MultMatrix(&Inv);
  const TLumMathVector4d R = M.MultVector({V.X, V.Y, V.Z, 1.0});
  Result = {R.X, R.Y, R.Z};
}

void TLumView::KeyDown(uint16_t& Key, TShiftState Shift) {
  if (OnKeyDown) OnKeyDown(this, Key, Shift);
  if (FController && FController->HandleKey(Key, Shift)) InvalidateGL();
}

void TLumView::MouseDown(TMouseButton Button, TShiftState Shift, int X, int Y) {
  if (OnMouseDown) OnMouseDown(this, Button, Shift, X, Y);
  if (FController && FController->HandleMouseDown(Button, Shift, X, Y)) InvalidateGL();
}

void TLumView::MouseUp(TMouseButton Button, TShiftState Shift, int X, int Y) {
  if (OnMouseUp) OnMouseUp(this, Button, Shift, X, Y);
  if (FController && FController->HandleMouseUp(Button, Shift, X, Y)) InvalidateGL();
}

void TLumView::MouseMove(TShiftState Shift, int X, int Y) {
  if (OnMouseMove) OnMouseMove(this, Shift, X, Y);
  if (FController && FController->HandleMouseMove(Shift, X, Y)) InvalidateGL();
}

// --- the control's remaining events ---------------------------------------------------

void TLumView::KeyUp(uint16_t& Key, TShiftState Shift) {
  if (OnKeyUp) OnKeyUp(this, Key, Shift);
}

void TLumView::KeyPress(char32_t& Key) {
  if (OnKeyPress) OnKeyPress(this, Key);
}

void TLumView::Click() {
  if (OnClick) OnClick(this);
}

void TLumView::DblClick() {
  if (OnDblClick) OnDblClick(this);
}

bool TLumView::MouseWheel(TShiftState Shift, int WheelDelta, int X, int Y) {
  bool Handled = false;
  if (OnMouseWheel) OnMouseWheel(this, Shift, WheelDelta, X, Y, Handled);
  if (Handled) return true;
  const TMouseWheelUpDownEvent& Each = WheelDelta < 0 ? OnMouseWheelDown : OnMouseWheelUp;
  if (Each) Each(this, Shift, X, Y, Handled);
  return Handled;
}

void TLumView::DoEnter() {
  if (OnEnter) OnEnter(this);
}

void TLumView::DoExit() {
  if (OnExit) OnExit(this);
}

void TLumView::Resize() {
  if (OnResize) OnResize(this);
}

void TLumView::SetVisible(bool Value) {
  if (Value == FVisible) return;
  FVisible = Value;
  InvalidateGL();
}

void TLumView::Notification(TComponent* AComponent, TOperation Operation) {
  TLumCanvasView::Notification(AComponent, Operation);
  if (Operation != opRemove || !AComponent) return;
  if (AComponent == FCamera) FCamera = nullptr;
  if (AComponent == FController) FController = nullptr;
}

// --- the published-property table ------------------------------------------------------

namespace {
const char* const TAlignStr[6] = {"alNone", "alTop", "alBottom", "alLeft", "alRight", "alClient"};
}  // namespace

void detail::RegisterLumviewProperties() {
  TLumClassTable<TLumCoordinates, TLumRenderProperty> C("TLumCoordinates", "",
                                                        "The axes cross drawn before the scene");
  C.Creatable();
  C.Boolean("Visible", &TLumCoordinates::Visible, &TLumCoordinates::SetVisible, false,
            "Draws the axes")
      .Exchange()
      .Field(&TLumCoordinates::FVisible);
  C.Single("Length", &TLumCoordinates::Length, &TLumCoordinates::SetLength, 1.0f,
           "Length of each half-axis")
      .Exchange()
      .Field(&TLumCoordinates::FLength);
  C.Color("ColorX", &TLumCoordinates::ColorX, &TLumCoordinates::SetColorX, 0x0000FFu,
          "Colour of the x axis")
      .Exchange()
      .Field(&TLumCoordinates::FColors, 0);
  C.Color("ColorY", &TLumCoordinates::ColorY, &TLumCoordinates::SetColorY, 0x008000u,
          "Colour of the y axis")
      .Exchange()
      .Field(&TLumCoordinates::FColors, 1);
  C.Color("ColorZ", &TLumCoordinates::ColorZ, &TLumCoordinates::SetColorZ, 0xFF0000u,
          "Colour of the z axis")
      .Exchange()
      .Field(&TLumCoordinates::FColors, 2);
  C.DefineZero("Length", &TLumCoordinates::Length);

  TLumClassTable<TLumView, TLumCanvasView> V(
      "TLumView", "Lumox", "The view a scene is drawn in, in a window or off-screen");
  V.Creatable();
  // The control's own properties, which a toolkit adapter applies to its widget.
  V.Integer("Width", &TLumView::Width, &TLumView::SetWidth, 400, "Width in pixels")
      .Range(TLumRange::AtLeast(0));
  V.Integer("Height", &TLumView::Height, &TLumView::SetHeight, 250, "Height in pixels")
      .Range(TLumRange::AtLeast(0));
  V.Enum("Align", "TAlign", &TLumView::Align, &TLumView::SetAlign, TAlignStr, alNone,
         "How the view is laid out in its parent");
  V.Color("Color", &TLumView::Color, &TLumView::SetColor, 0x80000005u,
          "The control colour (the frame clears with BackgroundColor)");
  V.Boolean("TabStop", &TLumView::TabStop, &TLumView::SetTabStop, false,
            "Takes the keyboard focus with the Tab key");
  V.Integer("TabOrder", &TLumView::TabOrder, &TLumView::SetTabOrder, -1,
            "Position in the Tab order");
  V.Boolean("Visible", &TLumView::Visible, &TLumView::SetVisible, true, "Shown");
  V.Event("OnClick", "TNotifyEvent", &TLumView::OnClick, "A click");
  V.Event("OnDblClick", "TNotifyEvent", &TLumView::OnDblClick, "A double click");
  V.Event("OnEnter", "TNotifyEvent", &TLumView::OnEnter, "The view gained the focus");
  V.Event("OnExit", "TNotifyEvent", &TLumView::OnExit, "The view lost the focus");
  V.Event("OnKeyDown", "TKeyEvent", &TLumView::OnKeyDown, "A key went down");
  V.Event("OnKeyPress", "TKeyPressEvent", &TLumView::OnKeyPress, "A character was typed");
  V.Event("OnKeyUp", "TKeyEvent", &TLumView::OnKeyUp, "A key went up");
  V.Event("OnMouseDown", "TMouseEvent", &TLumView::OnMouseDown, "A mouse button went down");
  V.Event("OnMouseMove", "TMouseMoveEvent", &TLumView::OnMouseMove, "The mouse moved");
  V.Event("OnMouseUp", "TMouseEvent", &TLumView::OnMouseUp, "A mouse button went up");
  V.Event("OnMouseWheel", "TMouseWheelEvent", &TLumView::OnMouseWheel, "The wheel turned");
  V.Event("OnMouseWheelDown", "TMouseWheelUpDownEvent", &TLumView::OnMouseWheelDown,
          "The wheel turned towards the user");
  V.Event("OnMouseWheelUp", "TMouseWheelUpDownEvent", &TLumView::OnMouseWheelUp,
          "The wheel turned away from the user");
  V.Event("OnResize", "TNotifyEvent", &TLumView::OnResize, "The size changed");
  // The view's own.
  V.Boolean("Active", &TLumView::Active, nullptr, NoStoredDefault, "Has a GL context");
  V.Color("BackgroundColor", &TLumView::BackgroundColor, &TLumView::SetBackgroundColor, 0u,
          "The clear colour of every frame");
  V.Object("Coordinates", &TLumView::Coordinates, &TLumView::SetCoordinates, "The axes cross");
  V.Component("Camera", &TLumView::Camera, &TLumView::SetCamera, true,
              "Projection and viewing transformation");
  V.Boolean("DoubleBuffer", &TLumView::DoubleBuffer, &TLumView::SetDoubleBuffer, true,
            "A double-buffered context");
  V.Integer("SelectWidth", &TLumView::SelectWidth, &TLumView::SetSelectWidth, 5,
            "Width in pixels of the picking region");
  V.Integer("SelectHeight", &TLumView::SelectHeight, &TLumView::SetSelectHeight, 5,
            "Height in pixels of the picking region");
  V.Event("OnRender", "TLumViewRenderEvent", &TLumView::OnRender, "Draws the scene");
  V.Component("Controller", &TLumView::Controller, &TLumView::SetController, true,
              "Receives the view's key and mouse input");
}

}  // namespace lumox
