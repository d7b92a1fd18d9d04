// Font lookup through fontconfig and face loading through FreeType.
#include "lumox/host/fonts.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <mutex>

namespace lumox {

struct TFontFace::TLibrary {
  FT_Library Handle = nullptr;
  TLibrary() {
    if (FT_Init_FreeType(&Handle) != 0) Handle = nullptr;
  }
  ~TLibrary() {
    if (Handle) FT_Done_FreeType(Handle);
  }
};

namespace {

// The process's FreeType library; every face holds a reference, so the library is
// freed after the last face whatever the order of static destruction.
std::shared_ptr<TFontFace::TLibrary>& SharedLibrary() {
  static std::shared_ptr<TFontFace::TLibrary> Library;
  return Library;
}

std::string GetString(FcPattern* P, const char* Object) {
  FcChar8* S = nullptr;
  if (FcPatternGetString(P, Object, 0, &S) != FcResultMatch || !S) return {};
  return reinterpret_cast<const char*>(S);
}

int GetInteger(FcPattern* P, const char* Object, int Default) {
  int V = Default;
  if (FcPatternGetInteger(P, Object, 0, &V) != FcResultMatch) return Default;
  return V;
}

// The best match fontconfig offers for Family, whatever family that turns out to be.
TFontMatch MatchPattern(const std::string& Family, bool Bold, bool Italic) {
  TFontMatch M;
  FcPattern* Pattern = FcPatternCreate();
  if (!Pattern) return M;
  FcPatternAddString(Pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(Family.c_str()));
  FcPatternAddInteger(Pattern, FC_WEIGHT, Bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
  FcPatternAddInteger(Pattern, FC_SLANT, Italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
  FcPatternAddBool(Pattern, FC_SCALABLE, FcTrue);
  FcConfigSubstitute(nullptr, Pattern, FcMatchPattern);
  FcDefaultSubstitute(Pattern);
  FcResult Result = FcResultNoMatch;
  if (FcPattern* Found = FcFontMatch(nullptr, Pattern, &Result)) {
    M.FileName = GetString(Found, FC_FILE);
    M.FaceIndex = GetInteger(Found, FC_INDEX, 0);
    M.Family = GetString(Found, FC_FAMILY);
    M.Bold = GetInteger(Found, FC_WEIGHT, FC_WEIGHT_REGULAR) >= FC_WEIGHT_BOLD;
    M.Italic = GetInteger(Found, FC_SLANT, FC_SLANT_ROMAN) != FC_SLANT_ROMAN;
    FcPatternDestroy(Found);
  }
  FcPatternDestroy(Pattern);
  return M;
}

}  // namespace

TFontMatch FindFont(const std::string& Family, bool Bold, bool Italic) {
  static std::once_flag Once;
  static bool Ready = false;
  std::call_once(Once, [] { Ready = FcInit() == FcTrue; });
  if (!Ready) return {};
  const std::string Wanted = Family.empty() ? std::string(DefaultFontFamily) : Family;
  TFontMatch M = MatchPattern(Wanted, Bold, Italic);
  // fontconfig always answers with some font; a different family means the wanted
  // one is not installed, and the library's default stands in for it.
  if (!M.FileName.empty() && SameText(M.Family, Wanted)) return M;
  if (!SameText(Wanted, DefaultFontFamily)) {
    TFontMatch D = MatchPattern(DefaultFontFamily, Bold, Italic);
    if (!D.FileName.empty() && SameText(D.Family, DefaultFontFamily)) return D;
  }
  return M;
}

TFontFace::~TFontFace() {
  if (FFace) FT_Done_Face(FFace);
}

std::unique_ptr<TFontFace> TFontFace::LoadFile(const std::string& FileName, int FaceIndex) {
  static std::mutex Lock;
  std::shared_ptr<TLibrary> Library;
  {
    std::lock_guard<std::mutex> Guard(Lock);
    if (!SharedLibrary()) SharedLibrary() = std::make_shared<TLibrary>();
    Library = SharedLibrary();
  }
  if (!Library->Handle) throw Exception("The FreeType library could not be initialised.");
  FT_Face Face = nullptr;
  if (FileName.empty() || FT_New_Face(Library->Handle, FileName.c_str(), FaceIndex, &Face) != 0)
    throw Exception("The font file \"" + FileName + "\" could not be loaded.");
  std::unique_ptr<TFontFace> Result(new TFontFace);
  Result->FLibrary = std::move(Library);
  Result->FFace = Face;
  Result->FMatch.FileName = FileName;
  Result->FMatch.FaceIndex = FaceIndex;
  if (Face->family_name) Result->FMatch.Family = Face->family_name;
  Result->FMatch.Bold = (Face->style_flags & FT_STYLE_FLAG_BOLD) != 0;
  Result->FMatch.Italic = (Face->style_flags & FT_STYLE_FLAG_ITALIC) != 0;
  return Result;
}

std::unique_ptr<TFontFace> TFontFace::Load(const std::string& Family, bool Bold, bool Italic) {
  const TFontMatch M = FindFont(Family, Bold, Italic);
  if (M.FileName.empty())
    throw Exception("No font file was found for the family \"" + Family + "\".");
  std::unique_ptr<TFontFace> Face = LoadFile(M.FileName, M.FaceIndex);
  Face->FMatch = M;
  return Face;
}

// --- TFont ------------------------------------------------------------------------------

void TFont::SetName(const std::string& Value) {
  StoreChanged(FName, Value, [this] { Changed(); });
}

void TFont::SetSize(int32_t Value) {
  if (Value < 1) return;
  StoreChanged(FSize, Value, [this] { Changed(); });
}

void TFont::SetColor(uint32_t Value) {
  StoreChanged(FColor, Value, [this] { Changed(); });
}

void TFont::SetStyle(TFontStyles Value) {
  StoreChanged(FStyle, Value, [this] { Changed(); });
}

void TFont::Assign(TPersistent* Source) {
  if (auto* F = dynamic_cast<TFont*>(Source)) {
    FName = F->FName;
    FSize = F->FSize;
    FColor = F->FColor;
    FStyle = F->FStyle;
    Changed();
    return;
  }
  TPersistent::Assign(Source);
}

void TFont::Changed() {
  if (OnChange) OnChange(this);
}

}  // namespace lumox
