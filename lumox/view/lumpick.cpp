// Picking on the view: selection hit records, the selection and object picks, the
// point under the mouse, window <-> scene conversions and the device pixel ratio.
#include "lumox/view/lumpick.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "lumox/math/lumgl.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

namespace lumox {

// --- TLumSelection ----------------------------------------------------------------------

uint32_t TLumSelection::GetNames(int32_t Index) const {
  if (Index < 0 || Index >= GetCount()) return 0;
  return FNames[static_cast<size_t>(Index)]->Name;
}

bool TLumSelection::IsSelected(uint32_t Name) const {
  for (const auto& N : FNames)
    if (N->Name == Name) return true;
  return false;
}

void TLumSelection::Clear() {
  FNames.clear();
  FMinZ = FMaxZ = 0.0f;
}

int32_t TLumSelection::SetHitRecord(const uint32_t* P, size_t Avail) {
  Clear();
  FMinZ = FMaxZ = 1.0f;
  if (Avail < 1) return 0;
  const uint32_t N = P[0];
  if (N < 1) return 3;
  // A record that claims more words than the buffer holds is not read past its end.
  if (N > Avail || Avail - N < 3) return static_cast<int32_t>(std::min<size_t>(Avail, INT32_MAX));
  FMinZ = static_cast<float>(P[1] / 4294967295.0);
  FMaxZ = static_cast<float>(P[2] / 4294967295.0);
  FNames.reserve(N);
  for (uint32_t I = 0; I < N; ++I) FNames.push_back(std::make_unique<TLumName>(P[3 + I]));
  return static_cast<int32_t>(N + 3);
}

// --- TLumSelectionList ------------------------------------------------------------------

TLumSelection* TLumSelectionList::GetItems(int32_t Index) const {
  if (Index < 0 || Index >= GetCount()) return nullptr;
  return FItems[static_cast<size_t>(Index)].get();
}

bool TLumSelectionList::IsSelected(uint32_t Name) const {
  for (const auto& S : FItems)
    if (S->IsSelected(Name)) return true;
  return false;
}

TLumSelection* TLumSelectionList::GetTopMost() const {
  TLumSelection* Top = nullptr;
  for (const auto& S : FItems)
    if (!Top || S->MinZ() < Top->MinZ()) Top = S.get();
  return Top;
}

void TLumSelectionList::Clear() { FItems.clear(); }

void TLumSelectionList::SetHitRecords(const uint32_t* Buffer, int32_t HitCount, size_t Words) {
  Clear();
  size_t Pos = 0;
  for (int32_t I = 0; I < HitCount && Pos < Words; ++I) {
    auto S = std::make_unique<TLumSelection>();
    Pos += static_cast<size_t>(S->SetHitRecord(Buffer + Pos, Words - Pos));
    FItems.push_back(std::move(S));
  }
}

// --- the device pixel ratio ---------------------------------------------------------------

void TLumView::SetDevicePixelRatio(double Value) {
  if (!(Value > 0.0) || !std::isfinite(Value) || Value == FDevicePixelRatio) return;
  FDevicePixelRatio = Value;
  if (FContext) FContext->Resize(DrawableWidth(), DrawableHeight());
  InvalidateGL();
}

int TLumView::DrawableWidth() const {
  return static_cast<int>(std::lround(FWidth * FDevicePixelRatio));
}

int TLumView::DrawableHeight() const {
  return static_cast<int>(std::lround(FHeight * FDevicePixelRatio));
}

// --- picking --------------------------------------------------------------------------------

namespace {
constexpr size_t SelectBufferWords = 4096;
}

void TLumView::ApplyPickMatrix() {
  GLint Viewport[4];
  glGetIntegerv(GL_VIEWPORT, Viewport);
  // The pick point and region are logical pixels; the viewport is physical.
  const double R = FDevicePixelRatio;
  gluPickMatrix(FPickX * R, Viewport[3] - FPickY * R, FSelectWidth * R, FSelectHeight * R,
                Viewport);
}

void TLumView::GetSelection(int32_t X, int32_t Y, TLumSelectionList* List) {
  if (!List) return;
  List->Clear();
  HandleNeeded();
  const TLumDrawMode OldMode = FDrawMode;
  FDrawMode = dmSelection;
  std::vector<GLuint> Buffer(SelectBufferWords, 0);
  FPickX = X;
  FPickY = Y;
  SetCurrent(true);
  if (!GetCurrent()) {
    FDrawMode = OldMode;
    return;
  }
  glSelectBuffer(static_cast<GLsizei>(Buffer.size()), Buffer.data());
  glInitNames();
  glRenderMode(GL_SELECT);
  SetCurrent(false);
  GLint HitCount = 0;
  try {
    RenderScene();
  } catch (...) {
    // GL keeps the buffer's address until render mode ends: end it before it is freed.
    SetCurrent(true);
    glRenderMode(GL_RENDER);
    SetCurrent(false);
    FDrawMode = OldMode;
    throw;
  }
  SetCurrent(true);
  HitCount = glRenderMode(GL_RENDER);
  SetCurrent(false);
  List->SetHitRecords(Buffer.data(), HitCount, Buffer.size());
  FDrawMode = OldMode;
}

void TLumView::GetNextIdObj(TObject* Obj, int32_t num) {
  if (FPickTarget == static_cast<uint32_t>(FNextIDCounter)) {
    FPickObj = Obj;
    FPickNum = num;
  }
}

int32_t TLumView::GetObj(int32_t X, int32_t Y, TObject*& Obj) {
  TLumNotifyNextID Saved = std::move(OnNotifyNextID);
  FPickNum = -2;
  FPickTarget = 0;
  FPickObj = nullptr;
  OnNotifyNextID = [this](TObject* O, int32_t num) { GetNextIdObj(O, num); };
  try {
    TLumSelectionList List;
    GetSelection(X, Y, &List);
    TLumSelection* Top = List.GetTopMost();
    if (Top && Top->GetCount() > 0) {
      FPickTarget = Top->GetNames(Top->GetCount() - 1);
      FDrawMode = dmNothing;
      RenderScene();
      // Deliberately dmWindow rather than the mode saved before the pick.
      FDrawMode = dmWindow;
    }
  } catch (...) {
    OnNotifyNextID = std::move(Saved);
    FDrawMode = dmWindow;
    throw;
  }
  OnNotifyNextID = std::move(Saved);
  Obj = FPickObj;
  return FPickNum;
}

bool TLumView::GetPoint(int32_t X, int32_t Y, TLumMathVector& V) {
  V = ZEROVEC;
  HandleNeeded();
  const TLumDrawMode OldMode = FDrawMode;
  bool MadeCurrent = false;
  if (!GetCurrent()) {
    SetCurrent(true);
    if (!GetCurrent()) return false;
    MadeCurrent = true;
    FPickX = X;
    FPickY = Y;
    FDrawMode = dmPick;
    try {
      if (FCamera) InitCamera(DrawableWidth(), DrawableHeight());
      RenderSceneGL();
    } catch (...) {
      SetCurrent(false);
      FDrawMode = OldMode;
      throw;
    }
  }
  GLdouble Model[16], Proj[16];
  GLint Viewport[4];
  glGetDoublev(GL_MODELVIEW_MATRIX, Model);
  glGetIntegerv(GL_VIEWPORT, Viewport);
  glGetDoublev(GL_PROJECTION_MATRIX, Proj);
  const double R = FDevicePixelRatio;
  const GLint PX = static_cast<GLint>(std::lround(X * R));
  const GLint PY = static_cast<GLint>(std::lround(Y * R));
  GLfloat Depth = 1.0f;
  glReadPixels(PX, DrawableHeight() - PY - 1, 1, 1, GL_DEPTH_COMPONENT, GL_FLOAT, &Depth);
  bool Result = false;
  if (Depth != 1.0f) {
    GLdouble OX, OY, OZ;
    // The window y goes in as given, not flipped: kept, GetPoint's callers rely on it.
    if (gluUnProject(PX, PY, Depth, Model, Proj, Viewport, &OX, &OY, &OZ) == GL_TRUE) {
      V = {OX, OY, OZ};
      Result = true;
    }
  }
  if (MadeCurrent) SetCurrent(false);
  FDrawMode = OldMode;
  return Result;
}

bool TLumView::ReadTransforms(double (&Model)[16], int (&Viewport)[4], double (&Proj)[16]) {
  bool MadeCurrent = false;
  if (!GetCurrent()) {
    HandleNeeded();
    SetCurrent(true);
    if (!GetCurrent()) return false;
    MadeCurrent = true;
    // Outside a frame the context holds whatever the last pass left (a pick matrix,
    // say): set the camera up as the next frame will.
    const TLumDrawMode OldMode = FDrawMode;
    FDrawMode = dmWindow;
    if (FCamera) InitCamera(DrawableWidth(), DrawableHeight());
    FDrawMode = OldMode;
  }
  glGetDoublev(GL_MODELVIEW_MATRIX, Model);
  glGetIntegerv(GL_VIEWPORT, Viewport);
  glGetDoublev(GL_PROJECTION_MATRIX, Proj);
  if (MadeCurrent) SetCurrent(false);
  return true;
}

TLumMathVector TLumView::WinTo3D(int32_t X, int32_t Y, double Z) {
  double Model[16], Proj[16];
  int Viewport[4];
  if (!ReadTransforms(Model, Viewport, Proj)) return ZEROVEC;
  const double R = FDevicePixelRatio;
  GLdouble OX, OY, OZ;
  if (gluUnProject(X * R, DrawableHeight() - Y * R, Z, Model, Proj, Viewport, &OX, &OY, &OZ) !=
      GL_TRUE)
    return ZEROVEC;
  return {OX, OY, OZ};
}

TLumMathVector TLumView::WinFrom3D(const TLumMathVector& V) {
  double Model[16], Proj[16];
  int Viewport[4];
  if (!ReadTransforms(Model, Viewport, Proj)) return ZEROVEC;
  GLdouble WX = 0, WY = 0, WZ = 0;
  gluProject(V.X, V.Y, V.Z, Model, Proj, Viewport, &WX, &WY, &WZ);
  const double R = FDevicePixelRatio;
  return {WX / R, ((Viewport[3] - Viewport[1]) - WY) / R, WZ};
}

}  // namespace lumox
