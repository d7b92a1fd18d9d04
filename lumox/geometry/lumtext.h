// TLumText: 3D text built from the outlines of a font face: curves flattened to a
// quality setting, filled through GLU's tessellator, flat or extruded to a solid, with
// kerning, line breaks and left, centred or right alignment.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "lumox/geometry/lumpolygon.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLumtextProperties();
}  // namespace detail

class TFontFace;

enum TLumHorzAlign : uint8_t { haLeft, haCenter, haRight };
extern const char* const TLumHorzAlignStr[3];

// The text lies in the X-Y plane facing +Z, the first line's baseline on the X axis and
// further lines below it; x = 0 is where lines start (haLeft), their middles (haCenter)
// or their ends (haRight).
class TLumText : public TLumPrimitiveObj {
 public:
  explicit TLumText(TComponent* AOwner);
  ~TLumText() override;
  const char* ClassName() const override { return "TLumText"; }

  // UTF-8; "\n" breaks a line.
  const std::string& Text() const { return FText; }
  void SetText(const std::string& Value);
  // A font family found through fontconfig; DejaVu Sans stands in for one that is not
  // installed (and for an empty name).
  const std::string& FontName() const { return FFontName; }
  void SetFontName(const std::string& Value);
  // The height of the font's em square in scene units; values not above 0 are ignored.
  double Size() const { return FSize; }
  void SetSize(double Value);
  // 0 = flat; a positive value extrudes the glyphs to solids of that thickness along +Z.
  // Negative and non-finite values are ignored.
  double Depth() const { return FDepth; }
  void SetDepth(double Value);
  TLumHorzAlign Alignment() const { return FAlignment; }
  void SetAlignment(TLumHorzAlign Value);
  // Whether pairs of glyphs are moved by the face's kerning table (where it has one).
  bool Kerning() const { return FKerning; }
  void SetKerning(bool Value);
  // Straight pieces per curve of an outline, 1..64 (values beyond are clamped).
  int32_t Quality() const { return FQuality; }
  void SetQuality(int32_t Value);

  // The outline contours of the text as built (for measuring and tests). Throws
  // Exception, saying why, for a text beyond the bounds below.
  void GetContours(std::vector<TLumContour>& Contours, TLumWindingRule& Rule);
  // The most outline points a text may have (its characters' curves times Quality), and
  // the farthest its points may lie from the origin: building refuses more.
  static constexpr int64_t MaxTextPoints = int64_t{1} << 21;
  static constexpr double MaxTextCoordinate = 1e15;
  // The contours of one glyph and its line.
  struct TGlyphSpan {
    size_t First, End;
    int Line;
  };
  // The family of the face actually used (after fontconfig's choice); loads the face.
  std::string FaceFamily();

  void InitPoints() override;
  void InitPrimitives() override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  void Rebuild();
  // The contours, and which of them each glyph has.
  void Outline(std::vector<TLumContour>& Contours, TLumWindingRule& Rule,
               std::vector<TGlyphSpan>& Glyphs);
  TFontFace* Face();
  std::string FText;
  std::string FFontName = "DejaVu Sans";
  double FSize = 1.0;
  double FDepth = 0.0;
  TLumHorzAlign FAlignment = haLeft;
  int32_t FQuality = 6;
  bool FKerning = true;
  std::unique_ptr<TFontFace> FFace;
  std::string FFaceName;  // the FontName FFace was loaded for
  friend void detail::RegisterLumtextProperties();
};

// Registers TLumText.
void RegisterLumtextClasses();

}  // namespace lumox
