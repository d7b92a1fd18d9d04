// The canvas view, its canvas, pen, brush and font: 2D drawing in window pixels over the
// 3D frame, glyph display lists from FreeType bitmaps and polygons through GLU's
// tessellator.
#include "lumox/view/lumcanvasview.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <numbers>

#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumattr.h"
#include "lumox/scene/lumtex.h"

namespace lumox {

namespace {

bool InUnitRange(float Value) { return Value >= 0.0f && Value <= 1.0f; }

// The red, green and blue bytes of a host colour, as floats of 0..255.
void ColorBytes(uint32_t C, float (&RGB)[3]) {
  RGB[0] = static_cast<float>(C & 0xFF);
  RGB[1] = static_cast<float>((C >> 8) & 0xFF);
  RGB[2] = static_cast<float>((C >> 16) & 0xFF);
}

// UTF-8 to the Latin-1 codes of the glyph lists: characters beyond U+00FF and broken
// sequences become '?', one per character or per stray byte.
std::string Utf8ToLatin1(std::string_view Text) {
  std::string Out;
  Out.reserve(Text.size());
  size_t I = 0;
  while (I < Text.size()) {
    const auto Lead = static_cast<uint8_t>(Text[I]);
    if (Lead < 0x80) {
      Out += static_cast<char>(Lead);
      ++I;
      continue;
    }
    size_t Length = Lead >= 0xF0 && Lead <= 0xF4 ? 4 : Lead >= 0xE0 ? 3 : Lead >= 0xC2 ? 2 : 0;
    if (Lead > 0xF4) Length = 0;
    uint32_t Code = Length == 2 ? Lead & 0x1F : Length == 3 ? Lead & 0x0F : Lead & 0x07;
    size_t K = 1;
    for (; Length && K < Length && I + K < Text.size(); ++K) {
      const auto C = static_cast<uint8_t>(Text[I + K]);
      if ((C & 0xC0) != 0x80) break;
      Code = (Code << 6) | (C & 0x3F);
    }
    if (Length == 0 || K < Length) {
      Out += '?';
      I += std::max<size_t>(K, 1);
      continue;
    }
    // Only the two-byte form can name U+0080..U+00FF; longer ones for them are overlong.
    Out += Length == 2 && Code <= 0xFF ? static_cast<char>(Code) : '?';
    I += Length;
  }
  return Out;
}

// Calls between begin and end of GLU's tessellator, and the vertices it adds where
// edges cross; they must stay in place until the polygon ends, hence the deque.
struct TTessState {
  std::deque<std::array<GLdouble, 3>> Added;
};

void GLAPIENTRY TessBegin(GLenum Mode) { glBegin(Mode); }
void GLAPIENTRY TessEnd() { glEnd(); }
void GLAPIENTRY TessVertex(void* Data) { glVertex3dv(static_cast<const GLdouble*>(Data)); }
void GLAPIENTRY TessCombine(GLdouble Coords[3], void* [4], GLfloat[4], void** Out, void* State) {
  auto& Added = static_cast<TTessState*>(State)->Added;
  Added.push_back({Coords[0], Coords[1], Coords[2]});
  *Out = Added.back().data();
}
// A polygon the tessellator rejects draws nothing rather than half of itself.
void GLAPIENTRY TessError(GLenum) {}
void GLAPIENTRY TessEdgeFlag(GLboolean) {}

}  // namespace

// --- TLumPen, TLumBrush -------------------------------------------------------------------

void TLumPen::SetColor(uint32_t Value) { SetField(FColor, Value); }

void TLumPen::SetAlpha(float Value) {
  if (!InUnitRange(Value)) return;
  SetField(FAlpha, Value);
}

void TLumPen::SetStyle(TLumLineStipple Value) {
  if (Value > lsSolid) return;
  SetField(FStyle, Value);
}

void TLumPen::SetWidth(float Value) {
  if (!(Value > 0.0f)) return;
  SetField(FWidth, Value);
}

void TLumPen::SetStipplePhase(int32_t Value) { SetField(FStipplePhase, Value); }

void TLumPen::SetStippleFactor(int32_t Value) { SetField(FStippleFactor, Value); }

uint16_t TLumPen::StipplePattern() const {
  const uint32_t P = Stipples[FStyle];
  const uint32_t N = static_cast<uint32_t>(((FStipplePhase % 16) + 16) % 16);
  return static_cast<uint16_t>((P >> (16 - N)) | ((P << N) & 0xFFFF));
}

void TLumPen::Assign(TPersistent* Source) {
  if (auto* P = dynamic_cast<TLumPen*>(Source)) {
    FColor = P->FColor;
    FAlpha = P->FAlpha;
    FStyle = P->FStyle;
    FWidth = P->FWidth;
    FStipplePhase = P->FStipplePhase;
    FStippleFactor = P->FStippleFactor;
    Changed();
  }
}

void TLumBrush::SetColor(uint32_t Value) { SetField(FColor, Value); }

void TLumBrush::SetAlpha(float Value) {
  if (!InUnitRange(Value)) return;
  SetField(FAlpha, Value);
}

void TLumBrush::Assign(TPersistent* Source) {
  if (auto* B = dynamic_cast<TLumBrush*>(Source)) {
    FColor = B->FColor;
    FAlpha = B->FAlpha;
    Changed();
  }
}

// --- TLumFont -----------------------------------------------------------------------------

TLumFont::TLumFont() { SetColor(0xFFFFFF); }

TLumFont::~TLumFont() { Reset(); }

void TLumFont::SetAlpha(float Value) {
  if (Value == FAlpha || !InUnitRange(Value)) return;
  FAlpha = Value;
  // The glyph lists do not depend on the alpha: tell the listener, keep the lists.
  TFont::Changed();
}

void TLumFont::Changed() {
  Reset();
  TFont::Changed();
}

void TLumFont::Reset() {
  if (FListBase < 0) return;
  const auto Base = static_cast<GLuint>(FListBase);
  FListBase = -1;
  if (!FView || FView->GetCurrent()) {
    glDeleteLists(Base, 256);
  } else if (FView->HasContext()) {
    // Beyond making the view's context current: the view deletes them the next time
    // its context is current, as it does the lists of cached components.
    FView->DeferListDeletion(Base, 256);
  } else {
    FView->SetCurrent(true);
    if (!FView->GetCurrent()) return;
    glDeleteLists(Base, 256);
    FView->SetCurrent(false);
  }
}

int32_t TLumFont::GetListBase() {
  if (FListBase < 0) {
    FListBase = static_cast<int32_t>(glGenLists(256));
    if (FListBase == 0 || !BuildLists()) {
      if (FListBase > 0) glDeleteLists(static_cast<GLuint>(FListBase), 256);
      FListBase = -1;
    }
  }
  return FListBase;
}

bool TLumFont::BuildLists() {
  std::unique_ptr<TFontFace> Face;
  const bool Bold = Style().Contains(fsBold), Italic = Style().Contains(fsItalic);
  try {
    Face = Name().find('/') != std::string::npos ? TFontFace::LoadFile(Name())
                                                 : TFontFace::Load(Name(), Bold, Italic);
  } catch (const Exception&) {
    return false;
  }
  FT_Face F = Face->Face();
  if (FT_Set_Char_Size(F, 0, static_cast<FT_F26Dot6>(Size()) * 64, 96, 96) != 0) return false;
  FT_Select_Charmap(F, FT_ENCODING_UNICODE);
  const FT_Size_Metrics& M = F->size->metrics;
  FAscent = static_cast<int32_t>((M.ascender + 32) >> 6);
  FDescent = static_cast<int32_t>((-M.descender + 32) >> 6);
  FUnderlinePos = std::max<int32_t>(
      1, static_cast<int32_t>((-FT_MulFix(F->underline_position, M.y_scale) + 32) >> 6));
  FUnderlineThickness = std::max<int32_t>(
      1, static_cast<int32_t>((FT_MulFix(F->underline_thickness, M.y_scale) + 32) >> 6));
  FFaceFamily = Face->Match().Family;

  glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
  glPixelStorei(GL_UNPACK_SKIP_ROWS, 0);
  glPixelStorei(GL_UNPACK_SKIP_PIXELS, 0);
  glPixelStorei(GL_UNPACK_LSB_FIRST, GL_FALSE);
  glPixelStorei(GL_UNPACK_SWAP_BYTES, GL_FALSE);
  std::vector<GLubyte> Bits;
  for (uint32_t Code = 0; Code < 256; ++Code) {
    GLsizei W = 0, H = 0;
    GLfloat XOrig = 0, YOrig = 0, Advance = 0;
    Bits.clear();
    const bool Control = Code < 0x20 || (Code >= 0x7F && Code < 0xA0);
    if (!Control && FT_Load_Char(F, Code, FT_LOAD_RENDER | FT_LOAD_TARGET_MONO) == 0) {
      const FT_GlyphSlot G = F->glyph;
      const FT_Bitmap& B = G->bitmap;
      W = static_cast<GLsizei>(B.width);
      H = static_cast<GLsizei>(B.rows);
      const size_t RowBytes = (static_cast<size_t>(W) + 7) / 8;
      Bits.assign(RowBytes * H, 0);
      // FreeType's rows run top to bottom, glBitmap's bottom to top.
      for (GLsizei Y = 0; Y < H; ++Y) {
        const uint8_t* Row = B.buffer + static_cast<ptrdiff_t>(Y) * B.pitch;
        GLubyte* Dest = Bits.data() + static_cast<size_t>(H - 1 - Y) * RowBytes;
        for (GLsizei X = 0; X < W; ++X) {
          const bool On = B.pixel_mode == FT_PIXEL_MODE_MONO   ? (Row[X >> 3] >> (7 - (X & 7))) & 1
                          : B.pixel_mode == FT_PIXEL_MODE_GRAY ? Row[X] >= 128
                                                               : false;
          if (On) Dest[X >> 3] |= static_cast<GLubyte>(0x80 >> (X & 7));
        }
      }
      XOrig = static_cast<GLfloat>(-G->bitmap_left);
      YOrig = static_cast<GLfloat>(H - G->bitmap_top);
      Advance = static_cast<GLfloat>((G->advance.x + 32) >> 6);
    }
    FAdvance[Code] = static_cast<int32_t>(Advance);
    glNewList(static_cast<GLuint>(FListBase) + Code, GL_COMPILE);
    glBitmap(W, H, XOrig, YOrig, Advance, 0, Bits.empty() ? nullptr : Bits.data());
    glEndList();
  }
  glPopClientAttrib();
  return true;
}

// --- TLumCanvasView ---------------------------------------------------------------------

TLumCanvasView::TLumCanvasView(TComponent* AOwner)
    : TLumCustomView(AOwner), FCanvas(std::make_unique<TLumCanvas>(this)) {
  FCanvas->Font()->SetView(this);
}

TLumCanvasView::~TLumCanvasView() {
  // The descendant's context is gone by now (it called ReleaseCanvasGL before).
  FCanvas->Font()->SetView(nullptr);
}

void TLumCanvasView::ReleaseCanvasGL() { FCanvas->Font()->Reset(); }

TLumMathVector TLumCanvasView::GDITo3D(double X, double Y, double Z) const {
  return {X * 2 / CanvasWidth() - 1, 1 - Y * 2 / CanvasHeight(), Z};
}

// --- TLumCanvas -----------------------------------------------------------------------------

TLumCanvas::TLumCanvas(TLumCanvasView* AView)
    : FView(AView),
      FDefaultColor(std::make_unique<TLumColor>()),
      FPen(std::make_unique<TLumPen>()),
      FBrush(std::make_unique<TLumBrush>()),
      FFont(std::make_unique<TLumFont>()),
      FTransformation(std::make_unique<TLumTransformation>()) {
  FDefaultColor->SetColor(0xFFFFFF);
  FDefaultColor->SetAlpha(1.0f);
  FTransformation->SetOrder(toTraRotSca);
}

TLumCanvas::~TLumCanvas() = default;

void TLumCanvas::SetTransparency(TLumTransparencyMode Value) {
  if (Value <= tmSubColor) FTransparency = Value;
}

void TLumCanvas::SetAttribs() {
  glMatrixMode(GL_PROJECTION);
  glPushMatrix();
  glLoadIdentity();
  glMatrixMode(GL_MODELVIEW);
  glPushMatrix();
  glLoadIdentity();
  glPushAttrib(0xFFFFF);
  glDisable(GL_DEPTH_TEST);
  glDisable(GL_TEXTURE_2D);
  for (GLenum Plane = GL_CLIP_PLANE0; Plane <= GL_CLIP_PLANE5; ++Plane) glDisable(Plane);
  glDisable(GL_CULL_FACE);
  glDisable(GL_POLYGON_SMOOTH);
  glDisable(GL_DITHER);
  glDisable(GL_LIGHTING);
  glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
  glHint(GL_PERSPECTIVE_CORRECTION_HINT, GL_FASTEST);
  glShadeModel(GL_FLAT);
}

void TLumCanvas::ResetAttribs() {
  glPopAttrib();
  glEnable(GL_DEPTH_TEST);
  glMatrixMode(GL_PROJECTION);
  glPopMatrix();
  glMatrixMode(GL_MODELVIEW);
  glPopMatrix();
}

void TLumCanvas::DrawNothing() {
  // An operation with nothing to draw still ends as every operation does.
  SetAttribs();
  ResetAttribs();
}

void TLumCanvas::ExecuteTransparency() { LumApplyTransparency(FTransparency); }

void TLumCanvas::ExecuteAntialiasing(bool B) { LumApplySmoothing(FAntialiasing != 0 && B); }

void TLumCanvas::ExecutePenAttribs(bool UseOwn) {
  if (UseOwn) {
    if (FPen->Style() != lsSolid) {
      glEnable(GL_LINE_STIPPLE);
      glLineStipple(FPen->StippleFactor(), FPen->StipplePattern());
    } else {
      glDisable(GL_LINE_STIPPLE);
    }
    float RGB[3];
    ColorBytes(FPen->Color(), RGB);
    // Deliberate: bytes 0..255, not divided (see the header).
    glColor4f(RGB[0], RGB[1], RGB[2], FPen->Alpha());
    glLineWidth(FPen->Width());
  } else {
    glDisable(GL_LINE_STIPPLE);
    glColor4fv(FDefaultColor->GetParams().data());
    glLineWidth(1.0f);
  }
}

void TLumCanvas::ExecuteBrushAttribs(bool UseOwn) {
  if (UseOwn) {
    float RGB[3];
    ColorBytes(FBrush->Color(), RGB);
    glColor4f(RGB[0], RGB[1], RGB[2], FBrush->Alpha());
  } else {
    glColor4fv(FDefaultColor->GetParams().data());
  }
}

void TLumCanvas::ExecuteFontAttribs(bool UseOwn) {
  if (UseOwn) {
    float RGB[3];
    ColorBytes(FFont->Color(), RGB);
    glColor4f(RGB[0], RGB[1], RGB[2], FFont->Alpha());
  } else {
    glColor4fv(FDefaultColor->GetParams().data());
  }
}

void TLumCanvas::LoadPixelMatrix() {
  GLint Viewport[4];
  glGetIntegerv(GL_VIEWPORT, Viewport);
  const double W = std::max(Viewport[2], 1), H = std::max(Viewport[3], 1);
  glTranslated(-1, 1, 0);
  glScaled(2 / W, -2 / H, 1);
  FTransformation->Execute();
}

void TLumCanvas::DrawGLPoly(uint32_t Mode, const std::vector<TPointDouble>& Points, bool Centre) {
  const double O = Centre ? 0.5 : 0.0;
  glBegin(Mode);
  for (const TPointDouble& P : Points) glVertex2d(P.X + O, P.Y + O);
  glEnd();
}

void TLumCanvas::DrawGLPoly4(uint32_t Mode, double X1, double Y1, double X2, double Y2,
                             bool Centre) {
  DrawGLPoly(Mode, {{X1, Y1}, {X2, Y1}, {X2, Y2}, {X1, Y2}}, Centre);
}

void TLumCanvas::MoveTo(int32_t X, int32_t Y) {
  FPenPosX = X;
  FPenPosY = Y;
}

void TLumCanvas::LineTo(int32_t X, int32_t Y) {
  SetAttribs();
  ExecuteTransparency();
  ExecuteAntialiasing(true);
  ExecuteBrushAttribs(false);
  ExecutePenAttribs(true);
  LoadPixelMatrix();
  DrawGLPoly(GL_LINES, {{double(FPenPosX), double(FPenPosY)}, {double(X), double(Y)}}, true);
  FPenPosX = X;
  FPenPosY = Y;
  ResetAttribs();
}

void TLumCanvas::FillRect(const TRect& R) {
  SetAttribs();
  ExecuteTransparency();
  ExecuteAntialiasing(false);
  ExecutePenAttribs(false);
  ExecuteBrushAttribs(true);
  LoadPixelMatrix();
  DrawGLPoly4(GL_QUADS, R.Left, R.Top, R.Right, R.Bottom, false);
  ResetAttribs();
}

void TLumCanvas::FrameRect(const TRect& R) {
  SetAttribs();
  ExecuteTransparency();
  ExecuteAntialiasing(true);
  ExecutePenAttribs(false);
  ExecuteBrushAttribs(true);
  LoadPixelMatrix();
  DrawGLPoly4(GL_LINE_LOOP, R.Left, R.Top, R.Right - 1, R.Bottom - 1, true);
  ResetAttribs();
}

void TLumCanvas::Rectangle(int32_t X1, int32_t Y1, int32_t X2, int32_t Y2) {
  SetAttribs();
  ExecuteTransparency();
  ExecuteAntialiasing(false);
  ExecutePenAttribs(false);
  ExecuteBrushAttribs(true);
  LoadPixelMatrix();
  DrawGLPoly4(GL_QUADS, X1, Y1, X2, Y2, false);
  ExecuteAntialiasing(true);
  ExecuteBrushAttribs(false);
  ExecutePenAttribs(true);
  DrawGLPoly4(GL_LINE_LOOP, X1, Y1, X2 - 1, Y2 - 1, true);
  ResetAttribs();
}

void TLumCanvas::Rectangle(const TRect& R) { Rectangle(R.Left, R.Top, R.Right, R.Bottom); }

void TLumCanvas::DrawFocusRect(const TRect& R) {
  SetAttribs();
  ExecuteAntialiasing(false);
  ExecutePenAttribs(false);
  LoadPixelMatrix();
  glEnable(GL_LINE_STIPPLE);
  glLineStipple(1, Stipples[lsDot]);
  glEnable(GL_COLOR_LOGIC_OP);
  glLogicOp(GL_INVERT);
  DrawGLPoly4(GL_LINE_LOOP, R.Left, R.Top, R.Right - 1, R.Bottom - 1, true);
  ResetAttribs();
}

void TLumCanvas::FillPolygon(const std::vector<TPointDouble>& Points) {
  GLUtesselator* Tess = gluNewTess();
  if (!Tess) return;
  TTessState State;
  std::vector<std::array<GLdouble, 3>> Vertices;
  Vertices.reserve(Points.size());
  for (const TPointDouble& P : Points) Vertices.push_back({P.X, P.Y, 0.0});
  gluTessCallback(Tess, GLU_TESS_BEGIN, reinterpret_cast<_GLUfuncptr>(TessBegin));
  gluTessCallback(Tess, GLU_TESS_END, reinterpret_cast<_GLUfuncptr>(TessEnd));
  gluTessCallback(Tess, GLU_TESS_VERTEX, reinterpret_cast<_GLUfuncptr>(TessVertex));
  gluTessCallback(Tess, GLU_TESS_COMBINE_DATA, reinterpret_cast<_GLUfuncptr>(TessCombine));
  gluTessCallback(Tess, GLU_TESS_ERROR, reinterpret_cast<_GLUfuncptr>(TessError));
  // An edge-flag callback makes the tessellator hand out plain triangles only.
  gluTessCallback(Tess, GLU_TESS_EDGE_FLAG, reinterpret_cast<_GLUfuncptr>(TessEdgeFlag));
  gluTessProperty(Tess, GLU_TESS_WINDING_RULE, GLU_TESS_WINDING_ODD);
  gluTessNormal(Tess, 0, 0, 1);
  gluTessBeginPolygon(Tess, &State);
  gluTessBeginContour(Tess);
  for (auto& V : Vertices) gluTessVertex(Tess, V.data(), V.data());
  gluTessEndContour(Tess);
  gluTessEndPolygon(Tess);
  gluDeleteTess(Tess);
}

void TLumCanvas::Polygon(const std::vector<TPointDouble>& Points) {
  if (Points.empty()) return DrawNothing();
  SetAttribs();
  ExecuteTransparency();
  ExecuteAntialiasing(false);
  ExecutePenAttribs(false);
  ExecuteBrushAttribs(true);
  LoadPixelMatrix();
  if (Points.size() >= 3) FillPolygon(Points);
  ExecuteAntialiasing(true);
  ExecuteBrushAttribs(false);
  ExecutePenAttribs(true);
  DrawGLPoly(GL_LINE_LOOP, Points, true);
  ResetAttribs();
}

std::vector<TPointDouble> TLumCanvas::EllipsePoints(double X1, double Y1, double X2, double Y2,
                                                    double Start, double Span,
                                                    int32_t Segments) const {
  const double CX = (X1 + X2) / 2, CY = (Y1 + Y2) / 2;
  const double RX = std::abs(X2 - X1) / 2, RY = std::abs(Y2 - Y1) / 2;
  if (Segments <= 0) {
    // About one piece per four pixels of curve, at least 8.
    const double Curve = std::numbers::pi * (RX + RY) * std::abs(Span) / 360;
    Segments = static_cast<int32_t>(std::clamp(std::ceil(Curve / 4), 8.0, 1024.0));
  }
  std::vector<TPointDouble> P;
  P.reserve(static_cast<size_t>(Segments) + 1);
  for (int32_t I = 0; I <= Segments; ++I) {
    const double A = (Start + Span * I / Segments) * std::numbers::pi / 180;
    // Y runs down the window, so counter-clockwise on the screen is minus sine.
    P.push_back({CX + RX * std::cos(A), CY - RY * std::sin(A)});
  }
  return P;
}

void TLumCanvas::Ellipse(int32_t X1, int32_t Y1, int32_t X2, int32_t Y2) {
  Ellipse(TRect{X1, Y1, X2, Y2}, 0, 360, 0);
}

void TLumCanvas::Ellipse(const TRect& R) { Ellipse(R, 0, 360, 0); }

void TLumCanvas::Ellipse(const TRect& R, double Start, double Stop, int32_t Segments) {
  if (!std::isfinite(Start) || !std::isfinite(Stop)) return DrawNothing();
  const double Span = std::clamp(Stop - Start, -360.0, 360.0);
  const bool Whole = std::abs(Span) >= 360;
  const bool ArcOnly = Segments < 0;
  // More pieces than a large window has pixels of curve only cost time.
  const int32_t N = std::min(ArcOnly ? -Segments : Segments, 65536);
  SetAttribs();
  ExecuteTransparency();
  LoadPixelMatrix();
  const double L = R.Left, T = R.Top, Rt = R.Right, B = R.Bottom;
  if (!ArcOnly) {
    ExecuteAntialiasing(false);
    ExecutePenAttribs(false);
    ExecuteBrushAttribs(true);
    std::vector<TPointDouble> Fan = EllipsePoints(L, T, Rt, B, Start, Span, N);
    Fan.insert(Fan.begin(), TPointDouble{(L + Rt) / 2, (T + B) / 2});
    DrawGLPoly(GL_TRIANGLE_FAN, Fan, false);
  }
  ExecuteAntialiasing(true);
  ExecuteBrushAttribs(false);
  ExecutePenAttribs(true);
  // The outline runs through the centres of the outermost pixels.
  std::vector<TPointDouble> Edge = EllipsePoints(L, T, Rt - 1, B - 1, Start, Span, N);
  if (ArcOnly) {
    DrawGLPoly(GL_LINE_STRIP, Edge, true);
  } else if (Whole) {
    Edge.pop_back();
    DrawGLPoly(GL_LINE_LOOP, Edge, true);
  } else {
    Edge.insert(Edge.begin(), TPointDouble{(L + Rt - 1) / 2, (T + B - 1) / 2});
    DrawGLPoly(GL_LINE_LOOP, Edge, true);
  }
  ResetAttribs();
}

void TLumCanvas::TextOut(int32_t X, int32_t Y, std::string_view Text) {
  DrawText(X, Y, Utf8ToLatin1(Text));
}

void TLumCanvas::TextOutA(int32_t X, int32_t Y, std::string_view Text) {
  DrawText(X, Y, std::string(Text));
}

int32_t TLumCanvas::TextWidth(std::string_view Text) {
  if (FFont->GetListBase() < 0) return 0;
  int32_t W = 0;
  for (char C : Utf8ToLatin1(Text)) W += FFont->Advance(static_cast<uint8_t>(C));
  return W;
}

void TLumCanvas::DrawText(int32_t X, int32_t Y, const std::string& Bytes) {
  if (Bytes.empty()) return DrawNothing();
  SetAttribs();
  ExecuteTransparency();
  ExecuteAntialiasing(false);
  ExecutePenAttribs(false);
  ExecuteFontAttribs(true);
  const int32_t Base = FFont->GetListBase();
  if (Base >= 0) {
    LoadPixelMatrix();
    const int32_t Baseline = Y + FFont->Ascent();
    // The raster position is set at the viewport's centre, always valid, and moved to
    // the baseline from there, so text that starts outside the window still shows.
    GLdouble M[16];
    GLint Viewport[4];
    glGetDoublev(GL_MODELVIEW_MATRIX, M);
    glGetIntegerv(GL_VIEWPORT, Viewport);
    const double NX = M[0] * X + M[4] * Baseline + M[12];
    const double NY = M[1] * X + M[5] * Baseline + M[13];
    glPushMatrix();
    glLoadIdentity();
    glRasterPos2d(0, 0);
    glPopMatrix();
    glBitmap(0, 0, 0, 0, static_cast<GLfloat>(NX * Viewport[2] / 2),
             static_cast<GLfloat>(NY * Viewport[3] / 2), nullptr);
    glListBase(static_cast<GLuint>(Base));
    glCallLists(static_cast<GLsizei>(Bytes.size()), GL_UNSIGNED_BYTE, Bytes.data());
    int32_t Width = 0;
    for (char C : Bytes) Width += FFont->Advance(static_cast<uint8_t>(C));
    const int32_t Thick = FFont->UnderlineThickness();
    if (FFont->Style().Contains(fsUnderline)) {
      const int32_t Top = Baseline + FFont->UnderlinePosition() - Thick / 2;
      DrawGLPoly4(GL_QUADS, X, Top, X + Width, Top + Thick, false);
    }
    if (FFont->Style().Contains(fsStrikeOut)) {
      const int32_t Top = Baseline - FFont->Ascent() * 3 / 10 - Thick / 2;
      DrawGLPoly4(GL_QUADS, X, Top, X + Width, Top + Thick, false);
    }
  }
  ResetAttribs();
}

void TLumCanvas::DrawTexture(int32_t X, int32_t Y, TLumTexture* Texture) {
  const int32_t W = Texture ? Texture->Bitmap()->Width() : 0;
  const int32_t H = Texture ? Texture->Bitmap()->Height() : 0;
  DrawTexture(TRect{X, Y, X + W, Y + H}, Texture, TRect{0, 0, W, H});
}

void TLumCanvas::DrawTexture(const TRect& Dest, TLumTexture* Texture, const TRect& Source) {
  if (!Texture || Texture->Bitmap()->Empty()) return DrawNothing();
  // Texture coordinates are taken before the texture may rescale its bitmap to powers of
  // two; the same fractions of the image hold afterwards.
  const double W = Texture->Bitmap()->Width(), H = Texture->Bitmap()->Height();
  const double S0 = Source.Left / W, S1 = Source.Right / W;
  // The texture's rows run bottom to top.
  const double T0 = 1 - Source.Top / H, T1 = 1 - Source.Bottom / H;
  SetAttribs();
  ExecuteTransparency();
  ExecuteAntialiasing(false);
  ExecutePenAttribs(false);
  ExecuteBrushAttribs(false);
  glMatrixMode(GL_TEXTURE);
  glPushMatrix();
  glMatrixMode(GL_MODELVIEW);
  try {
    Texture->DoRender(FView);
  } catch (...) {
    glMatrixMode(GL_TEXTURE);
    glPopMatrix();
    ResetAttribs();
    throw;
  }
  // The texture may have skipped its set-up as the last one rendered; bind it here, with
  // no texture transformation, and let the next scene texture set itself up in full.
  const uint32_t Name = Texture->TextureName();
  if (Name != 0) {
    glMatrixMode(GL_TEXTURE);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, Name);
    LoadPixelMatrix();
    glBegin(GL_QUADS);
    glTexCoord2d(S0, T0);
    glVertex2i(Dest.Left, Dest.Top);
    glTexCoord2d(S1, T0);
    glVertex2i(Dest.Right, Dest.Top);
    glTexCoord2d(S1, T1);
    glVertex2i(Dest.Right, Dest.Bottom);
    glTexCoord2d(S0, T1);
    glVertex2i(Dest.Left, Dest.Bottom);
    glEnd();
  }
  RedrawTextures(FView);
  glMatrixMode(GL_TEXTURE);
  glPopMatrix();
  ResetAttribs();
}

// --- the published-property table ------------------------------------------------------

namespace detail {
// Called once from the package's registration (package/lumregister.cpp).
void RegisterLumcanvasviewProperties();
}  // namespace detail

void detail::RegisterLumcanvasviewProperties() {
  TLumClassTable<TLumCanvasView, TLumCustomView>("TLumCanvasView", "",
                                                 "A view with a 2D canvas over the frame");
}

}  // namespace lumox
