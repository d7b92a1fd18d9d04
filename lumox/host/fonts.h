// Font faces for text drawn by the library: families are found through fontconfig and
// loaded with FreeType, DejaVu Sans standing in for a family that is not installed.
// Users of a face include <ft2build.h> and FT_FREETYPE_H in their source file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "lumox/host/classes.h"

struct FT_FaceRec_;

namespace lumox {

// The family used when none is named or the named one is not installed.
inline constexpr const char* DefaultFontFamily = "DejaVu Sans";

// What fontconfig found for a family and style.
struct TFontMatch {
  std::string FileName;  // empty when no font file was found at all
  int FaceIndex = 0;     // face within a collection file
  std::string Family;    // the family of the file found
  bool Bold = false;     // the file's own weight is bold or heavier
  bool Italic = false;   // the file's own slant is italic or oblique
};

// The installed font file for Family (DejaVu Sans when Family is empty or not installed,
// compared without regard to case) with the closest style to Bold and Italic.
TFontMatch FindFont(const std::string& Family, bool Bold, bool Italic);

// One FreeType face, loaded from a file; freed with the object. Faces keep the
// process's FreeType library alive, so they may outlive any other font object.
class TFontFace {
 public:
  ~TFontFace();
  TFontFace(const TFontFace&) = delete;
  TFontFace& operator=(const TFontFace&) = delete;

  // The face for Family and style as FindFont chooses it. Throws Exception naming the
  // family when no face can be loaded.
  static std::unique_ptr<TFontFace> Load(const std::string& Family, bool Bold, bool Italic);
  // The face in FileName; throws Exception naming the file when it cannot be loaded.
  static std::unique_ptr<TFontFace> LoadFile(const std::string& FileName, int FaceIndex = 0);

  // The FreeType face (FT_Face).
  FT_FaceRec_* Face() const { return FFace; }
  // What was asked for and what was loaded.
  const TFontMatch& Match() const { return FMatch; }

  // The process's FreeType library (opaque).
  struct TLibrary;

 private:
  TFontFace() = default;
  std::shared_ptr<TLibrary> FLibrary;
  FT_FaceRec_* FFace = nullptr;
  TFontMatch FMatch;
};

// The host's font: a family name, a size in points, a colour and a style. Every change
// calls Changed, which tells OnChange.
enum TFontStyle : uint8_t { fsBold, fsItalic, fsUnderline, fsStrikeOut };
using TFontStyles = TLumSet<TFontStyle>;

class TFont : public TPersistent {
 public:
  TFont() = default;
  const char* ClassName() const override { return "TFont"; }

  TNotifyEvent OnChange;

  // The family; empty means DejaVu Sans. A name holding a '/' is the path of a font file.
  const std::string& Name() const { return FName; }
  void SetName(const std::string& Value);
  // Points at 96 dots per inch; values below 1 are ignored.
  int32_t Size() const { return FSize; }
  void SetSize(int32_t Value);
  // The em height in pixels at 96 dots per inch.
  int32_t Height() const { return (FSize * 96 + 36) / 72; }
  uint32_t Color() const { return FColor; }
  void SetColor(uint32_t Value);
  TFontStyles Style() const { return FStyle; }
  void SetStyle(TFontStyles Value);

  // Copies name, size, colour and style from another font, then notifies once.
  void Assign(TPersistent* Source) override;

 protected:
  virtual void Changed();

 private:
  std::string FName;
  int32_t FSize = 10;
  uint32_t FColor = 0;
  TFontStyles FStyle;
};

}  // namespace lumox
