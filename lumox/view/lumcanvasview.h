// The 2D drawing layer of every view: TLumCanvasView owns a TLumCanvas, whose pen,
// brush and font draw lines, rectangles, polygons, ellipses, text and textures in window
// pixels over what the current frame has drawn so far.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "lumox/host/fonts.h"
#include "lumox/math/lumclass.h"
#include "lumox/scene/lumcomp.h"

namespace lumox {

class TLumCanvas;
class TLumTexture;

// The host's rectangle: left, top, right and bottom edges in window pixels. The right
// and bottom edges lie outside, so (10, 10, 20, 20) covers 10 x 10 pixels.
struct TRect {
  int32_t Left = 0, Top = 0, Right = 0, Bottom = 0;
};

struct TPointDouble {
  double X = 0, Y = 0;
};

// The colour channels of pen, brush and font go to OpenGL as the bytes 0..255 without
// division, so every channel that is not 0 shows at full intensity: $0000FF and $000080
// both draw pure red. This is kept on purpose (the view's axes cross does the same);
// Alpha is the only graded value.

class TLumPen : public TLumProperty {
 public:
  const char* ClassName() const override { return "TLumPen"; }
  uint32_t Color() const { return FColor; }
  void SetColor(uint32_t Value);
  // 0..1; other values are ignored.
  float Alpha() const { return FAlpha; }
  void SetAlpha(float Value);
  TLumLineStipple Style() const { return FStyle; }
  void SetStyle(TLumLineStipple Value);
  // Above 0; other values are ignored.
  float Width() const { return FWidth; }
  void SetWidth(float Value);
  // The stipple pattern is rotated left by Phase bits; used modulo 16.
  int32_t StipplePhase() const { return FStipplePhase; }
  void SetStipplePhase(int32_t Value);
  // Each pattern bit covers Factor pixels; OpenGL clamps it to 1..256.
  int32_t StippleFactor() const { return FStippleFactor; }
  void SetStippleFactor(int32_t Value);
  // The pattern the pen draws with: its style's mask rotated left by the phase.
  uint16_t StipplePattern() const;
  void Assign(TPersistent* Source) override;

 private:
  uint32_t FColor = 0xFFFFFF;
  float FAlpha = 1.0f;
  TLumLineStipple FStyle = lsSolid;
  float FWidth = 1.0f;
  int32_t FStipplePhase = 0;
  int32_t FStippleFactor = 1;
};

class TLumBrush : public TLumProperty {
 public:
  const char* ClassName() const override { return "TLumBrush"; }
  uint32_t Color() const { return FColor; }
  void SetColor(uint32_t Value);
  // 0..1; other values are ignored.
  float Alpha() const { return FAlpha; }
  void SetAlpha(float Value);
  void Assign(TPersistent* Source) override;

 private:
  uint32_t FColor = 0xFFFFFF;
  float FAlpha = 1.0f;
};

// A host font with an alpha and 256 glyph display lists (codes 0..255, Latin-1) made
// from FreeType bitmaps of the font's face at its size.
class TLumFont : public TFont {
 public:
  TLumFont();
  ~TLumFont() override;
  const char* ClassName() const override { return "TLumFont"; }

  // 0..1; other values are ignored.
  float Alpha() const { return FAlpha; }
  void SetAlpha(float Value);

  // The first of the 256 glyph lists, built in the current context on first use;
  // -1 when no face can be loaded or its glyphs cannot be made.
  int32_t GetListBase();
  // The list base as it stands, without building (-1 = none).
  int32_t ListBase() const { return FListBase; }
  // Frees the glyph lists: at once while View's context is current (or without a
  // view, in the current context), else the view deletes them the next time it is.
  void Reset();
  // The view whose context frees the lists outside a frame; nullptr: only a context
  // that is already current.
  void SetView(TLumCustomView* Value) { FView = Value; }

  // Glyph metrics of the built lists, in pixels: the advance of each code, the ascent
  // above and the descent below the baseline, and the underline's offset below the
  // baseline and its thickness.
  int32_t Advance(uint8_t Code) const { return FAdvance[Code]; }
  int32_t Ascent() const { return FAscent; }
  int32_t Descent() const { return FDescent; }
  int32_t UnderlinePosition() const { return FUnderlinePos; }
  int32_t UnderlineThickness() const { return FUnderlineThickness; }
  // The family of the face the lists were made from (empty before the first build).
  const std::string& FaceFamily() const { return FFaceFamily; }

 protected:
  // Every change frees the lists first, so the next text is drawn with the new face.
  void Changed() override;

 private:
  bool BuildLists();
  float FAlpha = 1.0f;
  int32_t FListBase = -1;
  TLumCustomView* FView = nullptr;
  int32_t FAdvance[256] = {};
  int32_t FAscent = 0, FDescent = 0, FUnderlinePos = 0, FUnderlineThickness = 1;
  std::string FFaceFamily;
};

// The class between the abstract view and TLumView: it owns the canvas and converts
// window pixels to normalised device coordinates.
class TLumCanvasView : public TLumCustomView {
 public:
  explicit TLumCanvasView(TComponent* AOwner);
  ~TLumCanvasView() override;
  const char* ClassName() const override { return "TLumCanvasView"; }

  TLumCanvas* Canvas() const { return FCanvas.get(); }
  // (X * 2 / Width - 1, 1 - Y * 2 / Height, Z): window pixels (origin top left, Y down)
  // to normalised device coordinates.
  TLumMathVector GDITo3D(double X, double Y, double Z) const;

  // The client size the window pixels refer to.
  virtual int CanvasWidth() const = 0;
  virtual int CanvasHeight() const = 0;

 protected:
  // Frees the canvas's GL objects; a descendant calls it while its context lives.
  void ReleaseCanvasGL();

 private:
  std::unique_ptr<TLumCanvas> FCanvas;
};

// Draws in window pixels of the frame being rendered (the current viewport, which is
// the view's client area, or the bitmap of GetImage). Call it from the view's OnRender,
// while the view's context is current. Each operation saves and restores the GL state
// it touches and both matrices, and leaves the depth test on and GL_MODELVIEW current.
//
// The canvas's own Transformation acts in window pixels: after SetAttribs, every
// operation loads the pixel-to-device mapping onto the modelview matrix and then
// executes the transformation, so the empty transformation draws at the given pixels,
// a translation moves by pixels and a Z rotation turns about the window's top-left
// corner. Text and textures follow its translation; glyphs are bitmaps and do not turn.
class TLumCanvas : public TObject {
 public:
  explicit TLumCanvas(TLumCanvasView* AView);
  ~TLumCanvas() override;
  const char* ClassName() const override { return "TLumCanvas"; }

  TLumCanvasView* View() const { return FView; }
  // White, alpha 1: the colour of the attribute steps that do not use their own.
  TLumColor* DefaultColor() const { return FDefaultColor.get(); }
  TLumPen* Pen() const { return FPen.get(); }
  TLumBrush* Brush() const { return FBrush.get(); }
  TLumFont* Font() const { return FFont.get(); }
  // Order toTraRotSca.
  TLumTransformation* Transformation() const { return FTransformation.get(); }
  TLumTransparencyMode Transparency() const { return FTransparency; }
  // tmNone draws opaque; tmAlpha is what Alpha values below 1 need.
  void SetTransparency(TLumTransparencyMode Value);
  bool Antialiasing() const { return FAntialiasing != 0; }
  void SetAntialiasing(bool Value) { FAntialiasing = Value ? 1 : 0; }
  int32_t PenPosX() const { return FPenPosX; }
  int32_t PenPosY() const { return FPenPosY; }

  // --- drawing --------------------------------------------------------------------
  void MoveTo(int32_t X, int32_t Y);
  // A line with the pen from the pen position to (X, Y), which becomes the position.
  void LineTo(int32_t X, int32_t Y);
  // Filled with the brush and outlined with the pen.
  void Rectangle(int32_t X1, int32_t Y1, int32_t X2, int32_t Y2);
  void Rectangle(const TRect& R);
  // Filled with the brush.
  void FillRect(const TRect& R);
  // A one-pixel outline in the brush's colour, along the rectangle's inner edge.
  void FrameRect(const TRect& R);
  // A dotted one-pixel outline that inverts the pixels under it, so a second call
  // with the same rectangle takes it away.
  void DrawFocusRect(const TRect& R);
  // Filled with the brush (even-odd rule: concave and self-touching outlines fill
  // correctly) and outlined with the pen.
  void Polygon(const std::vector<TPointDouble>& Points);
  // The ellipse inside the rectangle, filled with the brush and outlined with the pen.
  void Ellipse(int32_t X1, int32_t Y1, int32_t X2, int32_t Y2);
  void Ellipse(const TRect& R);
  // A sector of the ellipse inside R from angle Start to angle Stop, in degrees counted
  // counter-clockwise (as seen on the screen) from the 3 o'clock direction; Stop below
  // Start runs clockwise, and a span of 360 or more is the whole ellipse. Segments is
  // the number of straight pieces of the curve: above 0, the sector is filled with the
  // brush and outlined with the pen along the curve and both radii; below 0, only the
  // arc is drawn with the pen, in -Segments pieces; 0 picks a count from the size.
  void Ellipse(const TRect& R, double Start, double Stop, int32_t Segments);
  // Text with the top-left of its first glyph cell at (X, Y), in the font's colour.
  // TextOut takes UTF-8 and draws characters beyond U+00FF (and broken sequences) as
  // '?'; TextOutA takes each byte as a Latin-1 character.
  void TextOut(int32_t X, int32_t Y, std::string_view Text);
  void TextOutA(int32_t X, int32_t Y, std::string_view Text);
  // The width in pixels TextOut would draw (0 when the font cannot be loaded).
  int32_t TextWidth(std::string_view Text);
  // The texture's image stretched over its own size at (X, Y), or the Source part of it
  // (in the image's pixels, top-left origin) over Dest; drawn with the canvas's
  // transparency, modulated by the default colour (white: the texels as they are).
  void DrawTexture(int32_t X, int32_t Y, TLumTexture* Texture);
  void DrawTexture(const TRect& Dest, TLumTexture* Texture, const TRect& Source);

  // --- the steps every drawing operation is made of -------------------------------
  void SetAttribs();
  void ResetAttribs();
  void ExecuteTransparency();
  void ExecuteAntialiasing(bool B);
  void ExecutePenAttribs(bool UseOwn);
  void ExecuteBrushAttribs(bool UseOwn);
  void ExecuteFontAttribs(bool UseOwn);
  // One primitive of Mode over the points (window pixels). Centre true moves every
  // point by half a pixel to the centre of the pixel it names, which lines and outlines
  // want; false takes the points as pixel corners, which filled areas want.
  void DrawGLPoly(uint32_t Mode, const std::vector<TPointDouble>& Points, bool Centre);
  // The four corners (X1, Y1), (X2, Y1), (X2, Y2), (X1, Y2) as one primitive of Mode.
  void DrawGLPoly4(uint32_t Mode, double X1, double Y1, double X2, double Y2, bool Centre);

 private:
  // SetAttribs then ResetAttribs, for an operation given nothing to draw.
  void DrawNothing();
  // The pixel-to-device mapping and the canvas's transformation on the modelview.
  void LoadPixelMatrix();
  void DrawText(int32_t X, int32_t Y, const std::string& Bytes);
  void FillPolygon(const std::vector<TPointDouble>& Points);
  std::vector<TPointDouble> EllipsePoints(double X1, double Y1, double X2, double Y2, double Start,
                                          double Span, int32_t Segments) const;

  TLumCanvasView* FView;
  std::unique_ptr<TLumColor> FDefaultColor;
  std::unique_ptr<TLumPen> FPen;
  std::unique_ptr<TLumBrush> FBrush;
  std::unique_ptr<TLumFont> FFont;
  std::unique_ptr<TLumTransformation> FTransformation;
  TLumTransparencyMode FTransparency = tmNone;
  uint8_t FAntialiasing = 0;
  int32_t FPenPosX = 0, FPenPosY = 0;
};

}  // namespace lumox
