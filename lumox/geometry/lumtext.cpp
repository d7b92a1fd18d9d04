// Glyph outlines through FreeType, laid out in lines with kerning and alignment, and
// the text's values in the exchange format.
#include "lumox/geometry/lumtext.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

#include <algorithm>
#include <cmath>
#include <cstring>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/fonts.h"
#include "lumox/host/proptable.h"

namespace lumox {

const char* const TLumHorzAlignStr[3] = {"haLeft", "haCenter", "haRight"};

namespace {

// The next code point of UTF-8 text at I (advanced past it); a malformed byte stands
// for itself, so no text is ever refused.
uint32_t NextCodePoint(const std::string& S, size_t& I) {
  const auto B = [&](size_t k) { return static_cast<uint8_t>(S[k]); };
  const uint8_t C = B(I);
  int Extra = C >= 0xF0 && C < 0xF8 ? 3 : C >= 0xE0 ? 2 : C >= 0xC0 ? 1 : 0;
  if (C >= 0xF8) Extra = 0;
  if (I + Extra >= S.size()) Extra = 0;
  uint32_t Cp = Extra == 0 ? C : C & (0x3F >> Extra);
  for (int k = 1; k <= Extra; ++k) {
    if ((B(I + k) & 0xC0) != 0x80) {
      ++I;
      return C;
    }
    Cp = (Cp << 6) | (B(I + k) & 0x3F);
  }
  I += 1 + Extra;
  return Cp;
}

// Collects the contours of one glyph, moved by (OX, OY) and scaled by Scale, with
// curves cut into Steps straight pieces.
struct TOutlineSink {
  std::vector<TLumContour>* Contours;
  double OX, OY, Scale;
  int Steps;
  TLumPoint2 Last;  // in font units
  void Add(double X, double Y) { Contours->back().push_back({OX + X * Scale, OY + Y * Scale}); }
};

int MoveTo(const FT_Vector* To, void* User) {
  auto* S = static_cast<TOutlineSink*>(User);
  S->Contours->emplace_back();
  S->Last = {double(To->x), double(To->y)};
  S->Add(S->Last.X, S->Last.Y);
  return 0;
}

int LineTo(const FT_Vector* To, void* User) {
  auto* S = static_cast<TOutlineSink*>(User);
  S->Last = {double(To->x), double(To->y)};
  S->Add(S->Last.X, S->Last.Y);
  return 0;
}

int ConicTo(const FT_Vector* C, const FT_Vector* To, void* User) {
  auto* S = static_cast<TOutlineSink*>(User);
  const TLumPoint2 P0 = S->Last;
  for (int i = 1; i <= S->Steps; ++i) {
    const double t = double(i) / S->Steps, u = 1 - t;
    S->Add(u * u * P0.X + 2 * u * t * C->x + t * t * To->x,
           u * u * P0.Y + 2 * u * t * C->y + t * t * To->y);
  }
  S->Last = {double(To->x), double(To->y)};
  return 0;
}

int CubicTo(const FT_Vector* C1, const FT_Vector* C2, const FT_Vector* To, void* User) {
  auto* S = static_cast<TOutlineSink*>(User);
  const TLumPoint2 P0 = S->Last;
  for (int i = 1; i <= S->Steps; ++i) {
    const double t = double(i) / S->Steps, u = 1 - t;
    const double a = u * u * u, b = 3 * u * u * t, c = 3 * u * t * t, d = t * t * t;
    S->Add(a * P0.X + b * C1->x + c * C2->x + d * To->x,
           a * P0.Y + b * C1->y + c * C2->y + d * To->y);
  }
  S->Last = {double(To->x), double(To->y)};
  return 0;
}

// The format writes attribute values as they are, and its reader cannot take quotes,
// '<', '>', '/' or line ends inside them: those travel as character references.
std::string Encode(const std::string& S) {
  std::string R;
  for (char C : S) {
    switch (C) {
      case '&':
        R += "&amp;";
        break;
      case '"':
        R += "&quot;";
        break;
      case '<':
        R += "&lt;";
        break;
      case '>':
        R += "&gt;";
        break;
      case '/':
        R += "&#47;";
        break;
      case '\n':
        R += "&#10;";
        break;
      case '\r':
        R += "&#13;";
        break;
      default:
        R += C;
    }
  }
  return R;
}

std::string Decode(const std::string& S) {
  static const std::pair<const char*, char> Names[] = {
      {"&amp;", '&'}, {"&quot;", '"'}, {"&lt;", '<'},  {"&gt;", '>'},
      {"&#47;", '/'}, {"&#10;", '\n'}, {"&#13;", '\r'}};
  std::string R;
  for (size_t I = 0; I < S.size();) {
    bool Done = false;
    if (S[I] == '&')
      for (const auto& [Name, C] : Names)
        if (S.compare(I, std::strlen(Name), Name) == 0) {
          R += C;
          I += std::strlen(Name);
          Done = true;
          break;
        }
    if (!Done) R += S[I++];
  }
  return R;
}

}  // namespace

TLumText::TLumText(TComponent* AOwner) : TLumPrimitiveObj(AOwner) {}

TLumText::~TLumText() = default;

void TLumText::Rebuild() {
  SetInitialized(false);
  ClearCache();  // a cached object must not replay its old mesh
  Changed();
}

void TLumText::SetText(const std::string& Value) {
  FText = Value;
  Rebuild();
}

void TLumText::SetFontName(const std::string& Value) {
  FFontName = Value;
  Rebuild();
}

void TLumText::SetSize(double Value) {
  if (!(Value > 0) || !std::isfinite(Value)) return;
  FSize = Value;
  Rebuild();
}

void TLumText::SetDepth(double Value) {
  if (!(Value >= 0) || !std::isfinite(Value)) return;
  FDepth = Value;
  Rebuild();
}

void TLumText::SetAlignment(TLumHorzAlign Value) {
  if (Value > haRight) return;
  FAlignment = Value;
  Rebuild();
}

void TLumText::SetKerning(bool Value) {
  FKerning = Value;
  Rebuild();
}

void TLumText::SetQuality(int32_t Value) {
  FQuality = std::clamp(Value, 1, 64);
  Rebuild();
}

TFontFace* TLumText::Face() {
  if (!FFace || FFaceName != FFontName) {
    FFace = TFontFace::Load(FFontName, false, false);
    FFaceName = FFontName;
  }
  return FFace.get();
}

std::string TLumText::FaceFamily() { return Face()->Match().Family; }

void TLumText::GetContours(std::vector<TLumContour>& Contours, TLumWindingRule& Rule) {
  std::vector<TGlyphSpan> Glyphs;
  Outline(Contours, Rule, Glyphs);
}

void TLumText::Outline(std::vector<TLumContour>& Contours, TLumWindingRule& Rule,
                       std::vector<TGlyphSpan>& Glyphs) {
  Contours.clear();
  Glyphs.clear();
  Rule = wrNonZero;
  FT_Face F = Face()->Face();
  const double Scale = FSize / (F->units_per_EM > 0 ? F->units_per_EM : 1000);
  const double LineHeight = (F->height > 0 ? F->height : F->units_per_EM) * Scale;
  FT_Outline_Funcs Funcs{};
  Funcs.move_to = MoveTo;
  Funcs.line_to = LineTo;
  Funcs.conic_to = ConicTo;
  Funcs.cubic_to = CubicTo;
  const bool Kerning = FKerning && FT_HAS_KERNING(F);
  // The work is bounded before it is done: every character's outline points count
  // (a glyph's curves times Quality), and the text is refused beyond the bound.
  int64_t Points = 0;
  auto Count = [&](size_t From) {
    for (size_t c = From; c < Contours.size(); ++c)
      Points += static_cast<int64_t>(Contours[c].size());
    if (Points > MaxTextPoints)
      throw Exception("The text \"" + ObjectName() + "\" would need more than " +
                      std::to_string(MaxTextPoints) +
                      " outline points: fewer characters or a lower Quality.");
  };
  size_t I = 0;
  int Line = 0;
  while (I <= FText.size()) {
    // One line: its glyphs placed from x = 0, then moved by the alignment.
    const size_t First = Contours.size();
    double Pen = 0.0;  // font units
    FT_UInt Previous = 0;
    while (I < FText.size() && FText[I] != '\n') {
      const uint32_t Cp = NextCodePoint(FText, I);
      if (Cp == '\r') continue;
      const FT_UInt G = FT_Get_Char_Index(F, Cp);
      if (Kerning && Previous && G) {
        FT_Vector K{};
        if (FT_Get_Kerning(F, Previous, G, FT_KERNING_UNSCALED, &K) == 0) Pen += K.x;
      }
      Previous = G;
      if (FT_Load_Glyph(F, G, FT_LOAD_NO_SCALE | FT_LOAD_NO_BITMAP | FT_LOAD_NO_HINTING) != 0)
        continue;
      FT_GlyphSlot Slot = F->glyph;
      if (Slot->format == FT_GLYPH_FORMAT_OUTLINE) {
        if (Slot->outline.flags & FT_OUTLINE_EVEN_ODD_FILL) Rule = wrOdd;
        const size_t Start = Contours.size();
        TOutlineSink Sink{&Contours, Pen * Scale, -Line * LineHeight, Scale, FQuality, {}};
        FT_Outline_Decompose(&Slot->outline, &Funcs, &Sink);
        Count(Start);
        if (Contours.size() > Start) Glyphs.push_back({Start, Contours.size(), Line});
      }
      Pen += Slot->advance.x;
    }
    const double Width = Pen * Scale;
    const double Shift = FAlignment == haCenter ? -Width / 2 : FAlignment == haRight ? -Width : 0.0;
    for (size_t c = First; c < Contours.size(); ++c) {
      TLumContour& C = Contours[c];
      // A closing point on top of the first adds nothing.
      if (C.size() > 1 && C.front().X == C.back().X && C.front().Y == C.back().Y) C.pop_back();
      for (TLumPoint2& P : C) P.X += Shift;
    }
    ++Line;
    ++I;  // past the line break (or the end)
  }
  // The size bounds the coordinates the tessellator takes.
  for (const TLumContour& C : Contours)
    for (const TLumPoint2& P : C)
      if (!(std::abs(P.X) <= MaxTextCoordinate && std::abs(P.Y) <= MaxTextCoordinate))
        throw Exception("The text \"" + ObjectName() +
                        "\" reaches beyond 1e15 units from its origin: a smaller Size.");
}

namespace {

// Tessellates the glyphs in clusters whose boxes overlap no other cluster's: the same
// filled region as the whole text at once, without the tessellator's cost growing with
// the square of a line's length. Glyphs are grouped by line; lines whose bands overlap
// form one group, in which glyphs whose x ranges overlap stay together.
void TessellateByClusters(const std::vector<TLumContour>& Contours,
                          const std::vector<TLumText::TGlyphSpan>& Glyphs, TLumWindingRule Rule,
                          TLumTessellation& Out) {
  struct TBox {
    double X0, X1, Y0, Y1;
    size_t Glyph;
  };
  std::vector<TBox> Boxes;
  for (size_t g = 0; g < Glyphs.size(); ++g) {
    TBox B{INFINITY, -INFINITY, INFINITY, -INFINITY, g};
    for (size_t c = Glyphs[g].First; c < Glyphs[g].End; ++c)
      for (const TLumPoint2& P : Contours[c]) {
        B.X0 = std::min(B.X0, P.X), B.X1 = std::max(B.X1, P.X);
        B.Y0 = std::min(B.Y0, P.Y), B.Y1 = std::max(B.Y1, P.Y);
      }
    if (B.X0 <= B.X1) Boxes.push_back(B);
  }
  // Groups of lines whose bands overlap. Lines come in order, downwards; a line whose
  // band reaches up into a group before it joins that group and all after it.
  struct TGroup {
    double Bottom;
    std::vector<TBox> Boxes;
  };
  std::vector<TGroup> Groups;
  for (size_t B = 0, E = 0; B < Boxes.size(); B = E) {
    const int Line = Glyphs[Boxes[B].Glyph].Line;
    double Y0 = INFINITY, Y1 = -INFINITY;
    for (E = B; E < Boxes.size() && Glyphs[Boxes[E].Glyph].Line == Line; ++E)
      Y0 = std::min(Y0, Boxes[E].Y0), Y1 = std::max(Y1, Boxes[E].Y1);
    size_t K = Groups.size();
    while (K > 0 && Y1 >= Groups[K - 1].Bottom) --K;
    if (K == Groups.size()) Groups.push_back({Y0, {}});
    for (size_t J = K + 1; J < Groups.size(); ++J) {
      Groups[K].Bottom = std::min(Groups[K].Bottom, Groups[J].Bottom);
      Groups[K].Boxes.insert(Groups[K].Boxes.end(), Groups[J].Boxes.begin(), Groups[J].Boxes.end());
    }
    Groups.resize(K + 1);
    Groups[K].Bottom = std::min(Groups[K].Bottom, Y0);
    Groups[K].Boxes.insert(Groups[K].Boxes.end(), Boxes.begin() + B, Boxes.begin() + E);
  }
  Out = TLumTessellation();
  std::vector<TLumContour> Cluster;
  auto Flush = [&]() {
    if (Cluster.empty()) return;
    TLumTessellation T;
    LumTessellate(Cluster, Rule, T);
    const uint32_t Base = static_cast<uint32_t>(Out.Points.size());
    Out.Points.insert(Out.Points.end(), T.Points.begin(), T.Points.end());
    for (uint32_t I : T.Triangles) Out.Triangles.push_back(Base + I);
    for (auto& Loop : T.Boundary) {
      for (uint32_t& I : Loop) I += Base;
      Out.Boundary.push_back(std::move(Loop));
    }
    Cluster.clear();
  };
  for (TGroup& Group : Groups) {
    std::vector<TBox>& G = Group.Boxes;
    std::sort(G.begin(), G.end(), [](const TBox& A, const TBox& B) { return A.X0 < B.X0; });
    double Reach = -INFINITY;
    for (const TBox& B : G) {
      if (B.X0 > Reach) Flush();  // clear of everything before it
      Reach = std::max(Reach, B.X1);
      for (size_t c = Glyphs[B.Glyph].First; c < Glyphs[B.Glyph].End; ++c)
        Cluster.push_back(Contours[c]);
    }
    Flush();
  }
}

}  // namespace

void TLumText::InitPoints() {
  std::vector<TLumContour> Contours;
  std::vector<TGlyphSpan> Glyphs;
  TLumWindingRule Rule;
  Outline(Contours, Rule, Glyphs);
  TLumTessellation T;
  TessellateByClusters(Contours, Glyphs, Rule, T);
  LumBuildPlanarMesh(*this, T, FDepth, false);
}

void TLumText::InitPrimitives() {}  // InitPoints builds the lists with the vertices

void TLumText::Assign(TPersistent* Source) {
  if (auto* S = dynamic_cast<TLumText*>(Source); S && S != this) CopyPublished(this, S);
  TLumPrimitiveObj::Assign(Source);
}

// Text and FontName travel with character references, and Quality comes before Kerning
// (published the other way round).
void TLumText::WriteValues(TLumExchange* Exchange) {
  Exchange->addtag("Text", Encode(FText), std::string());
  Exchange->addtag("FontName", Encode(FFontName), std::string("DejaVu Sans"));
  Exchange->addtag("Size", FSize, 1.0);
  Exchange->addtag("Depth", FDepth, 0.0);
  Exchange->addtag("Alignment", FAlignment, TLumHorzAlignStr, 2);
  Exchange->addtag("Quality", FQuality, 6);
  Exchange->addtag("Kerning", FKerning, true);
  TLumPrimitiveObj::WriteValues(Exchange);
}

// Text and FontName are decoded from their character references; the rest set as read.
void TLumText::ReadValues(TLumExchange* Exchange) {
  TLumPrimitiveObj::ReadValues(Exchange);
  std::string S;
  if (Exchange->GetParamText("Text", S)) SetText(Decode(S));
  if (Exchange->GetParamText("FontName", S)) SetFontName(Decode(S));
  SetSize(Exchange->getvalueor("Size", FSize));
  SetDepth(Exchange->getvalueor("Depth", FDepth));
  SetAlignment(static_cast<TLumHorzAlign>(Exchange->getenums("Alignment", TLumHorzAlignStr, 2)));
  SetQuality(Exchange->getvalueor("Quality", FQuality));
  SetKerning(Exchange->getvalueor("Kerning", FKerning));
}

void RegisterLumtextClasses() { RegisterRenderClass<TLumText>(); }

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumtextProperties() {
  TLumClassTable<TLumText, TLumPrimitiveObj> T("TLumText", "Lumox Obj",
                                               "3D text from a font's outlines");
  T.Creatable();
  T.String("Text", &TLumText::Text, &TLumText::SetText, std::string(),
           "The text, UTF-8; a line feed breaks a line")
      .Exchange()
      .Field(&TLumText::FText);
  T.String("FontName", &TLumText::FontName, &TLumText::SetFontName, std::string("DejaVu Sans"),
           "A font family (DejaVu Sans stands in for one not installed)")
      .Exchange()
      .Field(&TLumText::FFontName);
  T.Double("Size", &TLumText::Size, &TLumText::SetSize, 1.0,
           "Height of the font's em square, above 0")
      .Range(TLumRange::Above(0))
      .Exchange()
      .Field(&TLumText::FSize);
  T.Double("Depth", &TLumText::Depth, &TLumText::SetDepth, 0.0,
           "0 = flat; glyph solids this thick along +Z")
      .Range(TLumRange::AtLeast(0))
      .Exchange()
      .Field(&TLumText::FDepth);
  T.Enum("Alignment", "TLumHorzAlign", &TLumText::Alignment, &TLumText::SetAlignment,
         TLumHorzAlignStr, haLeft, "Where lines start, centre or end at x = 0")
      .Exchange()
      .Field(&TLumText::FAlignment);
  T.Boolean("Kerning", &TLumText::Kerning, &TLumText::SetKerning, true,
            "Moves pairs of glyphs by the face's kerning")
      .Exchange()
      .Field(&TLumText::FKerning);
  T.Integer("Quality", &TLumText::Quality, &TLumText::SetQuality, 6,
            "Straight pieces per curve of an outline, 1..64")
      .Range(TLumRange::Between(1, 64))
      .Exchange()
      .Field(&TLumText::FQuality);
  T.DefineZero("Size", &TLumText::Size);
}

}  // namespace lumox
