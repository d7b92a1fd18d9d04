// The LUMGL exchange format: the writer that components' WriteValues call, the
// attribute readers for ReadValues, and saving and loading whole files.
#include "lumox/exchange/lumexchange.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <new>
#include <type_traits>

#include "lumox/host/graphics.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumclass.h"
#include "lumox/package/lumpackage.h"
#include "lumox/scene/lumcomp.h"

namespace lumox {

namespace {

const char* const CRLF = "\r\n";

// Two blanks per level, but no deeper than this: otherwise a scene nested N deep
// would be written as a file of N^2 blanks.
constexpr int MaxIndentLevels = 100;

size_t IndentWidth(int Depth) { return static_cast<size_t>(std::min(Depth, MaxIndentLevels)) * 2; }

// Appends an indentation of Width blanks (at most MaxIndentLevels levels) in one copy.
void AppendIndent(std::string& Out, size_t Width) {
  static const std::string Blanks(static_cast<size_t>(MaxIndentLevels) * 2, ' ');
  Out.append(Blanks.data(), Width);
}

std::string_view Trimmed(std::string_view S) {
  while (!S.empty() && S.front() == ' ') S.remove_prefix(1);
  while (!S.empty() && S.back() == ' ') S.remove_suffix(1);
  return S;
}

// Locale-independent float conversion of the whole text (blanks around it allowed).
template <typename T>
bool ParseFloat(std::string_view Text, T& Value) {
  std::string_view S = Trimmed(Text);
  if (!S.empty() && S.front() == '+') S.remove_prefix(1);
  if (S.empty()) return false;
  T V{};
  auto [End, Ec] = std::from_chars(S.data(), S.data() + S.size(), V);
  if (Ec != std::errc() || End != S.data() + S.size()) return false;
  Value = V;
  return true;
}

template <typename T>
bool ParseInt(std::string_view Text, T& Value) {
  std::string_view S = Trimmed(Text);
  if (!S.empty() && S.front() == '+') S.remove_prefix(1);
  if (S.empty()) return false;
  T V{};
  auto [End, Ec] = std::from_chars(S.data(), S.data() + S.size(), V);
  if (Ec != std::errc() || End != S.data() + S.size()) return false;
  Value = V;
  return true;
}

bool Unwritable(char C) {
  return C == '"' || C == '<' || C == '>' || C == '/' || C == '\r' || C == '\n' || C == '\0';
}

// Unwritable as a table, for scanning every value written.
const struct TUnwritableTable {
  bool Bad[256] = {};
  TUnwritableTable() {
    for (int C = 0; C < 256; ++C) Bad[C] = Unwritable(static_cast<char>(C));
  }
} UnwritableTable;

// Cuts the text at the first and second ','; a part that is missing or bad keeps its
// value. True when all three parts were read.
bool ParseVector(std::string_view S, TLumMathVector& V) {
  const size_t C1 = S.find(',');
  bool Complete = ParseFloat(S.substr(0, C1), V.X);
  if (C1 == std::string_view::npos) return false;
  const size_t C2 = S.find(',', C1 + 1);
  Complete &=
      ParseFloat(S.substr(C1 + 1, C2 == std::string_view::npos ? S.npos : C2 - C1 - 1), V.Y);
  if (C2 == std::string_view::npos) return false;
  return ParseFloat(S.substr(C2 + 1), V.Z) && Complete;
}

// The ordinal whose name equals Text exactly, or 0.
int EnumOrdinal(std::string_view Text, const char* const* Names, int High) {
  if (!Names) return 0;
  for (int I = 0; I <= High; ++I)
    if (Names[I] && Text == Names[I]) return I;
  return 0;
}

// Hexadecimal digits up to the first other character (as hex2int reads them).
uint32_t HexValue(std::string_view Text) {
  uint32_t R = 0;
  for (char C : Text) {
    uint32_t D;
    if (C >= '0' && C <= '9')
      D = static_cast<uint32_t>(C - '0');
    else if (C >= 'A' && C <= 'F')
      D = static_cast<uint32_t>(C - 'A' + 10);
    else if (C >= 'a' && C <= 'f')
      D = static_cast<uint32_t>(C - 'a' + 10);
    else
      break;
    R = (R << 4) | D;
  }
  return R;
}

// "(a, b, c)" of an enumeration's name table.
std::string NameList(const char* const* Names, int High) {
  std::string S = "(";
  for (int I = 0; Names && I <= High; ++I) {
    if (I) S += ", ";
    S += Names[I] ? Names[I] : "";
  }
  return S + ")";
}

// Conversion errors name the attribute they came from.
[[noreturn]] void RethrowForAttribute(std::string_view Name, const EConvertError& E) {
  throw EConvertError("attribute \"" + std::string(Name) + "\": " + E.what());
}

}  // namespace

TLumExchange::TLumExchange(TComponent* AOwner)
    : TComponent(AOwner), FParser(new TXMLParser(this)), FElementRead(new TLumProperty) {
  FBaseTag.Depth = -1;
  FParser->OnTag = [this](TXMLTag*& Tag) { HandleTag(Tag); };
}

TLumExchange::~TLumExchange() { DropSideFiles(); }

TObject* TLumExchange::ElementRead() const { return FElementRead.get(); }

// --- writing --------------------------------------------------------------------------

namespace {

// Room for any number the writer formats (a double with 100 significant digits).
constexpr size_t NumberRoom = 160;

// Whole Singles of up to four digits: their shortest text is the integer's, never the
// exponent form (which needs five characters at least), so no digit search is needed.
inline char* SmallWholeText(char* Out, float Value) {
  // -0 keeps its sign ("-0"): the general path writes it.
  if (!(Value > -10000.0f && Value < 10000.0f) || (Value == 0.0f && std::signbit(Value)))
    return nullptr;
  const auto Whole = static_cast<int32_t>(Value);
  if (static_cast<float>(Whole) != Value) return nullptr;
  return std::to_chars(Out, Out + 8, Whole).ptr;
}

// The shortest text that reads back as Value, or Decimals significant digits when set.
template <typename T>
size_t NumberText(char* Out, T Value, int Decimals) {
  const std::to_chars_result R =
      Decimals <= 0 ? std::to_chars(Out, Out + NumberRoom, Value)
                    : std::to_chars(Out, Out + NumberRoom, Value, std::chars_format::general,
                                    std::min(Decimals, 100));
  return static_cast<size_t>(R.ptr - Out);
}

}  // namespace

size_t TLumExchange::FormatFloat(char* Out, float Value) const {
  if (FDecimals <= 0)
    if (char* End = SmallWholeText(Out, Value)) return static_cast<size_t>(End - Out);
  return NumberText(Out, Value, FDecimals);
}

size_t TLumExchange::FormatFloat(char* Out, double Value) const {
  // Most values are Singles handed over as doubles: those get the shortest text that
  // gives the Single back ("0.3", not "0.30000001192092896").
  const float AsSingle = static_cast<float>(Value);
  if (FDecimals <= 0 && std::isfinite(Value) && static_cast<double>(AsSingle) == Value)
    return FormatFloat(Out, AsSingle);
  return NumberText(Out, Value, FDecimals);
}

size_t TLumExchange::FormatVector(char* Out, const TLumMathVector& V) const {
  size_t N = FormatFloat(Out, V.X);
  Out[N++] = ',';
  N += FormatFloat(Out + N, V.Y);
  Out[N++] = ',';
  return N + FormatFloat(Out + N, V.Z);
}

std::string TLumExchange::FloatText(double Value) const {
  char Buf[NumberRoom];
  return std::string(Buf, FormatFloat(Buf, Value));
}

std::string TLumExchange::FloatText(float Value) const {
  char Buf[NumberRoom];
  return std::string(Buf, FormatFloat(Buf, Value));
}

void TLumExchange::StartTag(std::string_view Name) {
  if (FTags.size() <= static_cast<size_t>(FDepth)) FTags.push_back(std::make_unique<TXMLTag>());
  TXMLTag* Tag = FTags[static_cast<size_t>(FDepth)].get();
  Tag->Name = Name;
  Tag->Params.clear();
  Tag->Value.clear();
  Tag->ChildCount = 0;
  Tag->Depth = FDepth;
  Tag->Parent = FDepth > 0 ? FTags[static_cast<size_t>(FDepth) - 1].get() : &FBaseTag;
  Tag->Obj = nullptr;
  Tag->StartPos = Tag->ParamPos = Tag->ValuePos = Tag->EndPos =
      static_cast<int64_t>(FParser->Stream().size());
  if (FSeqs.size() <= static_cast<size_t>(FDepth)) FSeqs.resize(static_cast<size_t>(FDepth) + 1);
  FSeqs[static_cast<size_t>(FDepth)] = FNextSeq++;
  ++FDepth;
}

void TLumExchange::EndTag() {
  if (FDepth == 0) return;
  TXMLTag* Tag = FTags[static_cast<size_t>(FDepth) - 1].get();
  std::string& Out = FParser->Stream();
  const size_t Indent = IndentWidth(Tag->Depth);
  const bool Written =
      Tag->ChildCount > 0 || !Tag->Value.empty() || !Tag->Params.empty() || !FNoDefaultValues;
  if (!Written) {
    // An element with nothing in it is left out; its start tag was never written.
    Out.resize(static_cast<size_t>(Tag->StartPos));
  } else if (Tag->ChildCount == 0 && Tag->Value.empty()) {
    AppendIndent(Out, Indent);
    Out.push_back('<');
    Out.append(Tag->Name).append(Tag->Params).append("/>\r\n");
  } else {
    // The start tag goes to the heads' text, all heads in one string.
    const size_t Offset = FHeadText.size();
    AppendIndent(FHeadText, Indent);
    FHeadText.push_back('<');
    FHeadText.append(Tag->Name).append(Tag->Params).append(">\r\n").append(Tag->Value);
    FHeads.push_back(
        {Tag->StartPos, Offset, FHeadText.size() - Offset, FSeqs[static_cast<size_t>(FDepth) - 1]});
    AppendIndent(Out, Indent);
    Out.append("</").append(Tag->Name).append(">\r\n");
  }
  --FDepth;
  if (Written && FDepth > 0) ++FTags[static_cast<size_t>(FDepth) - 1]->ChildCount;
  // A file being saved is written in pieces from the heads and the body (WriteBuffer).
  if (FDepth == 0 && !FPiecesAtWrite) MergeHeads();
}

std::vector<uint32_t> TLumExchange::HeadOrder() {
  // By start-tag number, which is by position with the outer element first.
  std::vector<uint32_t> Order(FHeads.empty() ? 0 : FNextSeq, UINT32_MAX);
  for (size_t I = 0; I < FHeads.size(); ++I) Order[FHeads[I].Seq] = static_cast<uint32_t>(I);
  return Order;
}

void TLumExchange::MergeHeads() {
  const std::vector<uint32_t> Order = HeadOrder();
  FNextSeq = 0;
  if (FHeads.empty()) return;
  // In place: the buffer grows once by the heads' size, then the body moves back piece
  // by piece from its end, each piece's head written before it. A second buffer of the
  // whole file would cost as much again in fresh pages.
  std::string& Out = FParser->Stream();
  const size_t BodySize = Out.size();
  Out.resize(BodySize + FHeadText.size());
  char* const D = Out.data();
  size_t End = BodySize, To = Out.size();
  for (auto It = Order.rbegin(); It != Order.rend(); ++It) {
    if (*It == UINT32_MAX) continue;
    const THead& H = FHeads[*It];
    const size_t At = static_cast<size_t>(H.Pos);
    To -= End - At;
    std::memmove(D + To, D + At, End - At);
    To -= H.Size;
    std::memcpy(D + To, FHeadText.data() + H.Offset, H.Size);
    End = At;
  }
  FHeads.clear();
  FHeadText.clear();
}

std::vector<std::string_view> TLumExchange::FilePieces() {
  const std::vector<uint32_t> Order = HeadOrder();
  const std::string& Out = FParser->Stream();
  std::vector<std::string_view> Pieces;
  Pieces.reserve(FHeads.size() * 2 + 1);
  size_t From = 0;
  for (uint32_t I : Order) {
    if (I == UINT32_MAX) continue;
    const THead& H = FHeads[I];
    const size_t At = static_cast<size_t>(H.Pos);
    Pieces.emplace_back(Out.data() + From, At - From);
    Pieces.emplace_back(FHeadText.data() + H.Offset, H.Size);
    From = At;
  }
  Pieces.emplace_back(Out.data() + From, Out.size() - From);
  return Pieces;
}

void TLumExchange::addvalue(const std::string& Text) {
  if (FDepth == 0 || Text.empty()) return;
  TXMLTag* Tag = FTags[static_cast<size_t>(FDepth) - 1].get();
  if (Tag->Value.empty()) AppendIndent(Tag->Value, IndentWidth(Tag->Depth));
  Tag->Value += Text;
}

void TLumExchange::addparam(std::string_view Name, TComponent* Value) {
  addparam(Name, toStr(Value));
}

void TLumExchange::addparam(std::string_view Name, const std::string& Text) {
  AppendParam(Name, Text);
}

void TLumExchange::AppendParam(std::string_view Name, std::string_view Text) {
  if (FDepth == 0) return;
  // The reader ends a tag at '/' and '>' even inside quotes, a value at '"', splits the
  // attributes at line breaks and stops at a zero byte ('<' goes with them, so that a
  // value never reads as markup): such a value would load as something else.
  size_t Bad = 0;
  while (Bad < Text.size() && !UnwritableTable.Bad[static_cast<unsigned char>(Text[Bad])]) ++Bad;
  if (Bad < Text.size()) {
    const char C = Text[Bad];
    const std::string Shown = C == '\r'   ? "CR"
                              : C == '\n' ? "LF"
                              : C == 0    ? "NUL"
                                          : std::string(1, C);
    throw EUnwritableValue("property \"" + std::string(Name) + "\" of element \"" +
                           FTags[static_cast<size_t>(FDepth) - 1]->Name + "\" holds " + Shown +
                           " in \"" + std::string(Text) +
                           "\": a LUMGL value cannot carry '\"', '<', '>', '/' or line breaks");
  }
  std::string& Params = FTags[static_cast<size_t>(FDepth) - 1]->Params;
  const bool NewLine = FParamNewLine && !Params.empty();
  // Put together on the stack and appended in one piece (a value of any size in five).
  char Buf[256];
  const size_t Size = (NewLine ? 2 : 0) + Name.size() + Text.size() + 4;
  if (Size > sizeof Buf) {
    if (NewLine) Params += CRLF;
    Params.push_back(' ');
    Params.append(Name).append("=\"").append(Text).push_back('"');
    return;
  }
  char* P = Buf;
  if (NewLine) *P++ = '\r', *P++ = '\n';
  *P++ = ' ';
  P = std::copy(Name.begin(), Name.end(), P);
  *P++ = '=', *P++ = '"';
  P = std::copy(Text.begin(), Text.end(), P);
  *P++ = '"';
  Params.append(Buf, Size);
}

std::string TLumExchange::toStr(TComponent* Value) const { return Value ? Value->Name() : "nil"; }

std::string TLumExchange::toStr(const TLumMathVector& V) const {
  char Buf[3 * NumberRoom];
  return std::string(Buf, FormatVector(Buf, V));
}

std::string TLumExchange::toStr(double Value) const { return FloatText(Value); }
std::string TLumExchange::toStr(float Value) const { return FloatText(Value); }

void TLumExchange::addtag(std::string_view Name, bool Value, bool Default) {
  if (FNoDefaultValues && Value == Default) return;
  AppendParam(Name, Value ? "true" : "false");
}

void TLumExchange::addtag(std::string_view Name, int32_t Value, int32_t Default) {
  if (FNoDefaultValues && Value == Default) return;
  char Buf[16];
  const char* End = std::to_chars(Buf, Buf + sizeof Buf, Value).ptr;
  AppendParam(Name, std::string_view(Buf, static_cast<size_t>(End - Buf)));
}

void TLumExchange::addtag(std::string_view Name, double Value, double Default) {
  // Compared by the written text, so a value that would be written as its default
  // is left out consistently whatever Decimals says.
  char Buf[NumberRoom], Def[NumberRoom];
  const std::string_view Text(Buf, FormatFloat(Buf, Value));
  if (FNoDefaultValues && Text == std::string_view(Def, FormatFloat(Def, Default))) return;
  AppendParam(Name, Text);
}

void TLumExchange::addtag(std::string_view Name, const std::string& Value,
                          const std::string& Default) {
  if (FNoDefaultValues && Value == Default) return;
  addparam(Name, Value);
}

void TLumExchange::addtag(std::string_view Name, const char* Value, const char* Default) {
  addtag(Name, std::string(Value ? Value : ""), std::string(Default ? Default : ""));
}

void TLumExchange::addtag(std::string_view Name, int Ordinal, const char* const* Names, int High) {
  if (Ordinal == 0 && FNoDefaultValues) return;
  if (Ordinal >= 0 && Ordinal <= High && Names)
    AppendParam(Name, Names[Ordinal]);
  else
    addparam(Name, std::to_string(Ordinal));
}

void TLumExchange::addtag(std::string_view Name, TComponent* Value, TComponent*) {
  if (Value)
    addparam(Name, Value->Name());
  else
    addtag(Name, std::string("nil"), std::string("nil"));
}

void TLumExchange::addtag(std::string_view Name, const TLumMathVector& V,
                          const TLumMathVector& Default) {
  char Buf[3 * NumberRoom], Def[3 * NumberRoom];
  const std::string_view Text(Buf, FormatVector(Buf, V));
  if (FNoDefaultValues && Text == std::string_view(Def, FormatVector(Def, Default))) return;
  AppendParam(Name, Text);
}

void TLumExchange::addsettag(std::string_view Name, uint32_t SetBits, const char* const* Names,
                             int High) {
  std::string Text;
  for (int I = 0; I <= High && I < 32; ++I)
    if (SetBits & (uint32_t{1} << I)) {
      if (!Text.empty()) Text += ',';
      Text += Names[I];
    }
  addtag(Name, Text, std::string());
}

int TLumExchange::GetDepth() const { return FDepth; }

TXMLTag* TLumExchange::GetAktTag() {
  return FDepth > 0 ? FTags[static_cast<size_t>(FDepth) - 1].get() : &FBaseTag;
}

void TLumExchange::ObjStep() {
  ++FProgressCount;
  if (!OnSProgress) return;
  // Nested nodes step once more than the leaves they count, so the fraction is capped.
  double Progress = 1.0;
  if (FProgressTotal > 0)
    Progress =
        std::min(1.0, static_cast<double>(FProgressCount) / static_cast<double>(FProgressTotal));
  OnSProgress(Progress);
}

std::string TLumExchange::GetAFilename(const std::string& Extension) {
  std::string Base = FFileName;
  size_t Slash = Base.find_last_of("/\\");
  if (Slash != std::string::npos) Base.erase(0, Slash + 1);
  // Up to the first '.'; a name without one contributes nothing (deliberately, as
  // files written so far are named that way).
  size_t Dot = Base.find('.');
  Base = Dot == std::string::npos ? std::string() : Base.substr(0, Dot);
  return Base + std::to_string(FFileCounter++) + "." + Extension;
}

std::string TLumExchange::int2hex(uint32_t Value) {
  std::string S(8, '0');
  for (int I = 7; I >= 0; --I, Value >>= 4)
    S[static_cast<size_t>(I)] = "0123456789ABCDEF"[Value & 15];
  return S;
}

uint32_t TLumExchange::hex2int(const std::string& Text) { return HexValue(Text); }

// --- reading --------------------------------------------------------------------------

bool TLumExchange::GetParamText(std::string_view Name, std::string& Text) {
  return Lookup(Name, Text, "text");
}

bool TLumExchange::Lookup(std::string_view Name, std::string& Text, std::string_view Type) {
  std::string_view View;
  if (!Lookup(Name, View, Type)) return false;
  Text.assign(View);
  return true;
}

bool TLumExchange::Lookup(std::string_view Name, std::string_view& Text, std::string_view Type) {
  if (OnAttributeRead) OnAttributeRead(std::string(Name), std::string(Type));
  if (!FCurrentTag) return false;
  if (FLinesOf != FCurrentTag) SplitParams();
  // The first line of that name gives the value.
  for (TParamLine& L : FLines)
    if (L.HasValue && SameText(L.Name, Name)) {
      Text = L.Value;
      L.Read = true;
      return true;
    }
  return false;
}

void TLumExchange::getvalue(std::string_view Name, bool& Value) {
  std::string_view Text;
  if (!Lookup(Name, Text, "boolean")) return;
  if (Text == "true")
    Value = true;
  else if (Text == "false")
    Value = false;
  else if (!Text.empty())
    Warn(lwBadBoolean, std::string(Name) + "=\"" + std::string(Text) +
                           "\" is neither true nor false (case matters): " +
                           (Value ? "true" : "false") + " kept");
}

// Converts a number attribute where it lies in the element's text; a conversion error
// names the attribute too.
template <typename T>
void TLumExchange::GetNumber(std::string_view Name, T& Value) {
  constexpr bool Integral = std::is_integral_v<T>;
  std::string_view Text;
  if (!Lookup(Name, Text, Integral ? "integer" : "number") || Text.empty()) return;
  const bool Read = Integral ? ParseInt(Text, Value) : ParseFloat(Text, Value);
  if (!Read)
    RethrowForAttribute(Name, EConvertError("'" + QuotedPart(std::string(Text)) +
                                            (Integral ? "' is not a valid integer value"
                                                      : "' is not a valid floating point value")));
}

void TLumExchange::getvalue(std::string_view Name, int32_t& Value) { GetNumber(Name, Value); }
void TLumExchange::getvalue(std::string_view Name, uint32_t& Value) { GetNumber(Name, Value); }
void TLumExchange::getvalue(std::string_view Name, float& Value) { GetNumber(Name, Value); }
void TLumExchange::getvalue(std::string_view Name, double& Value) { GetNumber(Name, Value); }

void TLumExchange::getvalue(std::string_view Name, std::string& Value) {
  std::string_view Text;
  if (Lookup(Name, Text, "text") && !Text.empty()) Value.assign(Text);
}

void TLumExchange::getvalue(std::string_view Name, TLumMathVector& V) {
  std::string_view Text;
  if (!Lookup(Name, Text, "vector x,y,z") || Text.empty()) return;
  if (!ParseVector(Text, V))
    Warn(lwBadNumberText, std::string(Name) + "=\"" + std::string(Text) +
                              "\" is not three numbers \"x,y,z\": read as \"" + toStr(V) + "\"");
}

void TLumExchange::getcolorvalue(std::string_view Name, uint32_t& Value) {
  std::string_view Text;
  if (!Lookup(Name, Text, "colour 00BBGGRR") || Text.empty()) return;
  Value = HexValue(Text);
  const bool Hex = std::all_of(Text.begin(), Text.end(), [](char C) {
    return std::isxdigit(static_cast<unsigned char>(C)) != 0;
  });
  if (!Hex || Text.size() > 8)
    Warn(lwBadNumberText, std::string(Name) + "=\"" + std::string(Text) +
                              "\" is not up to 8 hexadecimal digits 00BBGGRR: read as " +
                              int2hex(Value));
}

void TLumExchange::getsetvalue(std::string_view Name, uint32_t& SetBits, const char* const* Names,
                               int High) {
  std::string_view Text;
  if (!Lookup(Name, Text, OnAttributeRead ? "set of " + NameList(Names, High) : std::string()))
    return;
  uint32_t Bits = 0;
  std::string_view Rest(Text);
  while (!Rest.empty()) {
    size_t Comma = Rest.find(',');
    std::string_view Item = Rest.substr(0, Comma);
    int Ordinal = EnumOrdinal(Item, Names, High);
    if (Ordinal < 32 && Names && Item == Names[Ordinal])
      Bits |= uint32_t{1} << Ordinal;
    else
      Warn(lwUnknownName, std::string(Name) + ": \"" + std::string(Item) + "\" is not one of " +
                              NameList(Names, High) + ": left out of the set");
    if (Comma == std::string_view::npos) break;
    Rest.remove_prefix(Comma + 1);
  }
  SetBits = Bits;
}

void TLumExchange::Strto(const std::string& Text, bool& Value) const {
  if (Text == "true")
    Value = true;
  else if (Text == "false")
    Value = false;
}

void TLumExchange::Strto(const std::string& Text, int32_t& Value) const {
  if (Text.empty()) return;
  if (!ParseInt(Text, Value))
    throw EConvertError("'" + QuotedPart(Text) + "' is not a valid integer value");
}

void TLumExchange::Strto(const std::string& Text, uint32_t& Value) const {
  if (Text.empty()) return;
  if (!ParseInt(Text, Value))
    throw EConvertError("'" + QuotedPart(Text) + "' is not a valid integer value");
}

void TLumExchange::Strto(const std::string& Text, float& Value) const {
  if (Text.empty()) return;
  if (!ParseFloat(Text, Value))
    throw EConvertError("'" + QuotedPart(Text) + "' is not a valid floating point value");
}

void TLumExchange::Strto(const std::string& Text, double& Value) const {
  if (Text.empty()) return;
  if (!ParseFloat(Text, Value))
    throw EConvertError("'" + QuotedPart(Text) + "' is not a valid floating point value");
}

void TLumExchange::Strto(const std::string& Text, std::string& Value) const {
  if (!Text.empty()) Value = Text;
}

void TLumExchange::Strto(const std::string& Text, TLumMathVector& V) const {
  if (!Text.empty()) ParseVector(Text, V);
}

int TLumExchange::getenums(std::string_view Name, const char* const* Names, int High) {
  std::string_view Text;
  if (!Lookup(Name, Text, OnAttributeRead ? "one of " + NameList(Names, High) : std::string()))
    return 0;
  const int Ordinal = EnumOrdinal(Text, Names, High);
  if (Names && Names[Ordinal] && Text != Names[Ordinal])
    Warn(lwUnknownName, std::string(Name) + "=\"" + std::string(Text) + "\" is not one of " +
                            NameList(Names, High) + " (names match exactly): " + Names[Ordinal] +
                            " used");
  return Ordinal;
}

int TLumExchange::getenumv(const std::string& Text, const char* const* Names, int High) const {
  return EnumOrdinal(Text, Names, High);
}

// --- files ----------------------------------------------------------------------------

void TLumExchange::clear() {
  FParser->Stream().clear();
  FParser->Stream().shrink_to_fit();  // a large scene's buffer is not kept around
  FDepth = 0;
  FHeads.clear();
  FHeads.shrink_to_fit();
  FHeadText.clear();
  FHeadText.shrink_to_fit();
  FPiecesAtWrite = false;
  FNextSeq = 0;
  DropSideFiles();
  FFileCounter = 0;
  FBaseTag.Name.clear();
  FBaseTag.Params.clear();
  FBaseTag.Value.clear();
  FBaseTag.ChildCount = 0;
  FBaseTag.Obj = nullptr;
}

void TLumExchange::ReserveOutput(int64_t Items) {
  // Room for a generous size per object: growing by doubling would copy the text and
  // touch fresh pages twice over, while pages reserved and never written cost nothing.
  constexpr int64_t BytesPerItem = 1024, MaxReserve = int64_t{1} << 30;
  const int64_t Bytes = std::min(std::max<int64_t>(Items, 0) * BytesPerItem, MaxReserve);
  try {
    FParser->Stream().reserve(static_cast<size_t>(Bytes));
    // The start tags of elements with content (three for a box) are kept apart.
    FHeadText.reserve(static_cast<size_t>(Bytes));
    FHeads.reserve(static_cast<size_t>(std::min<int64_t>(Items, MaxReserve / 128) * 4));
  } catch (const std::bad_alloc&) {
    // Only a hint: the text grows as it goes.
  }
}

void TLumExchange::InitSave() {
  FPiecesAtWrite = true;
  StartTag("LUMGL");
  addtag("version", std::string(LumoxVersion()), std::string());
  addtag("program", std::string(LumoxProductName()), std::string());
  addtag("description", FFileDescription, std::string());
  if (FState == stReady) StartTag("Objects");
  FState = stLUMGLSave;
}

void TLumExchange::EndSave() {
  while (FDepth > 0) EndTag();
  FState = stEndSave;
}

void TLumExchange::AddSideFile(const std::string& Temp, const std::string& FileName) {
  FSideFiles.emplace_back(Temp, FileName);
}

void TLumExchange::DropSideFiles() {
  for (const auto& F : FSideFiles) ::unlink(F.first.c_str());
  FSideFiles.clear();
}

void TLumExchange::WriteBuffer() {
  // The scene is written completely first; then the side files take their places,
  // then the scene file. A failure before that leaves every old file as it was.
  // The start tags go between the pieces of the body as they are written, so the text
  // is never joined in memory.
  const std::string Temp = WriteTemporaryBeside(FFileName, FilePieces());
  // Side files that did not exist go again when the scene file cannot take its place, so
  // that a failed save leaves no file of its own behind; those that did are kept under a
  // second name (a link) until then and put back, so that it loses none either.
  std::vector<std::string> Fresh;
  std::vector<std::pair<std::string, std::string>> Kept;  // the second name, the path
  try {
    for (const auto& F : FSideFiles) {
      struct stat St {};
      if (::lstat(F.second.c_str(), &St) != 0) {
        Fresh.push_back(F.second);
      } else {
        const std::string Path = ResolveWritePath(F.second);
        for (int K = 0; K < 100; ++K) {
          std::string Old = Path + ".old" + std::to_string(K);
          if (::link(Path.c_str(), Old.c_str()) == 0) {
            Kept.emplace_back(std::move(Old), Path);
            break;
          }
          if (errno != EEXIST) break;  // no links here: replaced without a way back
        }
      }
      ReplaceWithTemporary(F.first, F.second);
    }
    FSideFiles.clear();
    ReplaceWithTemporary(Temp, FFileName);
  } catch (...) {
    ::unlink(Temp.c_str());
    for (const std::string& F : Fresh) ::unlink(F.c_str());
    for (const auto& [Old, Path] : Kept) std::rename(Old.c_str(), Path.c_str());
    throw;
  }
  for (const auto& K : Kept) ::unlink(K.first.c_str());
}

void TLumExchange::SavetoFile(TComponent* Obj) {
  if (FFileName.empty()) return;
  try {
    TLumCustomNode* Node = Obj ? Obj->AsNode() : nullptr;
    if (FState == stReady && Node) {
      clear();
      FState = stSaveNode;
      InitSave();
      FProgressTotal = Node->CountAllItems();
      FProgressCount = 0;
      ReserveOutput(FProgressTotal);
      Node->WriteComp(this, "Objects");
      EndSave();
    } else if (FState == stSaveObj) {
      EndSave();
    }
    if (FState == stEndSave) {
      WriteBuffer();
      clear();
      FState = stReady;
    }
  } catch (const std::exception& E) {
    // Nothing half-written reaches the file; the exchange is ready for the next save.
    clear();
    FState = stReady;
    const std::string What = E.what();
    if (What.find(FFileName) != std::string::npos) throw Exception(What);
    throw Exception("Cannot save \"" + FFileName + "\": " + What);
  }
}

void TLumExchange::SaveObj(TComponent* Obj) {
  if (FFileName.empty()) return;
  try {
    if (FState == stReady) {
      clear();
      InitSave();
      FProgressTotal = 0;
      FProgressCount = 0;
    }
    FState = stSaveObj;
    if (TLumStreamable* C = Obj ? Obj->Streamable() : nullptr) C->WriteComp(this, Obj->ClassName());
  } catch (const std::exception& E) {
    clear();
    FState = stReady;
    throw Exception("Cannot save \"" + FFileName + "\": " + E.what());
  }
}

// --- load diagnostics -----------------------------------------------------------------

const char* const TLumLoadWarningKindStr[11] = {
    "lwUnknownClass", "lwUnknownElement", "lwUnreadAttribute", "lwUnknownName",
    "lwBadBoolean",   "lwBadNumberText",  "lwUnclosedElement", "lwDiffuseNotRead",
    "lwSkippedTag",   "lwOutsideObjects", "lwMissingFile"};

std::string TLumLoadWarning::ToString() const {
  std::string S = FileName;
  if (Line > 0) S += ":" + std::to_string(Line);
  if (!Element.empty()) S += ": element \"" + Element + "\"";
  return S + ": " + Text;
}

void TLumExchange::Warn(TLumLoadWarningKind Kind, const TXMLTag* Tag, std::string_view Element,
                        const std::string& Text) {
  TLumLoadWarning& W = FWarnings.emplace_back();
  W.Kind = Kind;
  W.FileName = FFileName;
  W.Line = Tag ? Tag->Line : 0;
  W.Element = Element;
  W.Text = Text;
  if (OnWarning) OnWarning(W);
}

void TLumExchange::Warn(TLumLoadWarningKind Kind, const std::string& Text) {
  Warn(Kind, FCurrentTag, FCurrentTag ? std::string_view(FCurrentTag->Name) : "", Text);
}

void TLumExchange::SplitParams() {
  FLines.clear();
  FLinesOf = FCurrentTag;
  if (!FCurrentTag) return;
  FCurrentTag->ForEachParamLine([this](std::string_view Line) {
    TParamLine& L = FLines.emplace_back();
    const size_t Eq = Line.find('=');
    L.HasValue = Eq != std::string_view::npos;
    L.Name = Line.substr(0, Eq);
    if (L.HasValue) L.Value = Line.substr(Eq + 1);
  });
}

void TLumExchange::CheckUnread() {
  if (FLinesOf != FCurrentTag) SplitParams();
  for (size_t I = 0; I < FLines.size(); ++I) {
    const TParamLine& L = FLines[I];
    if (L.Read) continue;
    // The reader repeats an element's last attribute: a repetition of a line that was
    // read, or warned of, counts as read.
    bool Repeated = false;
    for (size_t J = 0; J < I && !Repeated; ++J)
      Repeated = FLines[J].HasValue == L.HasValue && SameText(FLines[J].Name, L.Name);
    if (Repeated) continue;
    if (!L.HasValue)
      Warn(lwUnreadAttribute, "\"" + std::string(L.Name) +
                                  "\" is no attribute (name=\"value\"): a value holding a line "
                                  "break or a blank after a quote splits it; ignored");
    else if (!L.Name.empty() && (L.Name.front() == ' ' || L.Name.front() == '\t'))
      Warn(lwUnreadAttribute, "attribute \"" + std::string(L.Name) +
                                  "\" has blanks or tabs in its name: indent a continued line "
                                  "by one blank (or an odd number), never by tabs; ignored");
    else
      Warn(lwUnreadAttribute,
           "attribute \"" + std::string(L.Name) + "\" is not read by this element: ignored");
  }
  FLines.clear();
  FLinesOf = nullptr;
}

void TLumExchange::HandleSkippedTag(TXMLTag* Tag, std::string_view Name) {
  // Inside a subtree that is skipped anyway, or outside the file's objects, there is
  // nothing to lose.
  const bool InObjects = FState == stOBJLoad && Tag->Parent && Tag->Parent->Obj;
  if (!InObjects && !SameText(Name, "Objects") && !SameText(Name, "LUMGL")) return;
  if (Tag->Name.empty())
    Warn(lwSkippedTag, Tag, Name,
         "\"<" + std::string(Name) +
             "/>\" without attributes is passed over by the reader: nothing is created; write <" +
             std::string(Name) + "></" + std::string(Name) + "> instead");
  else
    Warn(lwSkippedTag, Tag, Name,
         "the start tag ends with a blank before \">\" or \"/>\", which the reader passes over: "
         "the element and its content are skipped");
}

void TLumExchange::HandleTag(TXMLTag*& Tag) {
  TObject* Parent = Tag->Parent ? Tag->Parent->Obj : nullptr;
  switch (FState) {
    case stStartLoad:
    case stLUMGLLoad:
      if (SameText(Tag->Name, "LUMGL")) {
        std::string Description, Program;
        Tag->GetParam("description", Description);
        FFileDescription = Description;
        Tag->GetParam("program", Program);
        FWrittenByLumox = Program.rfind("Lumox", 0) == 0;
        FState = stLUMGLLoad;
      } else if (SameText(Tag->Name, "Objects")) {
        FState = stOBJLoad;
        FSawObjects = true;
      } else {
        Warn(lwOutsideObjects, Tag, Tag->Name, "elements before \"Objects\" are not read: skipped");
      }
      // The load target passes down to "Objects".
      Tag->Obj = Parent;
      break;
    case stOBJLoad: {
      TObject* Obj = nullptr;
      FCurrentTag = Tag;
      FLoadElement = Tag->Name;
      FLoadLine = Tag->Line;
      if (TLumStreamable* S = Parent ? Parent->Streamable() : nullptr) Obj = S->ReadComp(this, Tag);
      if (!Obj && Parent && OnReadElement) Obj = OnReadElement(Tag, Parent);
      if (Obj)
        CheckUnread();
      else if (Parent)
        WarnUnclaimed(Tag, Parent);
      FLines.clear();
      FLinesOf = nullptr;
      FLoadElement.clear();
      FCurrentTag = nullptr;
      // Without an object the element's whole subtree is skipped.
      Tag->Obj = Obj;
      break;
    }
    default:
      break;
  }
}

void TLumExchange::WarnUnclaimed(const TXMLTag* Tag, TObject* Parent) {
  const std::string& Name = Tag->Name;
  const std::string In =
      Tag->Parent && !Tag->Parent->Name.empty() ? " in \"" + Tag->Parent->Name + "\"" : "";
  if (SameText(Name, "FDiffuse") && FWrittenByLumox) {
    // Lumox's own writer put it there: a known quirk of the format, noted once.
    if (FDiffuseSeen++ == 0) {
      FFirstDiffuse = {lwDiffuseNotRead, FFileName, Tag->Line, Name, ""};
    }
  } else if (SameText(Name, "FDiffuse"))
    Warn(lwDiffuseNotRead, Tag, Name,
         "the diffuse colour is written under \"FDiffuse\" but read only as \"Diffuse\": "
         "it keeps its current value (rename the element to \"Diffuse\" to load it)");
  else if (!Parent->Streamable() || !Parent->Streamable()->AsNode())
    Warn(lwUnknownElement, Tag, Name, "unknown element" + In + ": skipped with its content");
  else
    Warn(lwUnknownClass, Tag, Name,
         "no registered render class of this name" + In + ": skipped with its content");
}

void TLumExchange::LoadfromFile(TObject* Target) {
  // Leftovers of an unfinished save or an unbalanced earlier file must not take part.
  clear();
  FParser->CloseOpenTags();
  FState = stStartLoad;
  FParser->OnProgress = OnSProgress;
  FParser->FileName = FFileName;
  FParser->OnSkippedTag = [this](TXMLTag* Tag, std::string_view Name) {
    HandleSkippedTag(Tag, Name);
  };
  FLoadElement.clear();
  FWarnings.clear();
  FNotes.clear();
  FWrittenByLumox = false;
  FDiffuseSeen = 0;
  FLines.clear();
  FLinesOf = nullptr;
  FSawObjects = false;
  auto Fail = [this](const std::exception& E) {
    std::string Msg = "Cannot load \"" + FFileName + "\"";
    if (!FLoadElement.empty()) Msg += ", element \"" + FLoadElement + "\"";
    // The element's line, so that a reader of the message finds the place.
    if (!FLoadElement.empty() && FLoadLine > 0) Msg += " (line " + std::to_string(FLoadLine) + ")";
    return Msg + ": " + E.what();
  };
  // Nodes created by the load keep their changes to themselves while it runs (a
  // scene nested N deep would otherwise pass every value read up N levels); when it
  // ends, however it ends, they are ordinary again and the target hears of it once.
  struct TEndReading {
    TObject* Target;
    ~TEndReading() {
      if (auto* C = dynamic_cast<TComponent*>(Target)) C->SetReading(false);
    }
  } EndReading{Target};
  try {
    FParser->execute(Target);
  } catch (const EConvertError& E) {
    std::string Msg = Fail(E);
    FParser->CloseOpenTags();
    FCurrentTag = nullptr;
    FState = stReady;
    throw EConvertError(Msg);
  } catch (const std::exception& E) {
    std::string Msg = Fail(E);
    FParser->CloseOpenTags();
    FCurrentTag = nullptr;
    FState = stReady;
    throw Exception(Msg);
  }
  // The elements still open at the end, outermost first.
  std::vector<const TXMLTag*> Open;
  for (const TXMLTag* T = FParser->Current(); T && T != FParser->BaseTag(); T = T->Parent)
    Open.push_back(T);
  for (auto It = Open.rbegin(); It != Open.rend(); ++It)
    Warn(lwUnclosedElement, *It, (*It)->Name, "the file ends before the element is closed");
  if (!FSawObjects)
    Warn(lwOutsideObjects, nullptr, "", "no \"Objects\" element: nothing was loaded");
  if (FDiffuseSeen > 0) {
    FFirstDiffuse.Text = std::to_string(FDiffuseSeen) +
                         (FDiffuseSeen == 1 ? " material" : " materials") +
                         " written by Lumox name their diffuse colour \"FDiffuse\", which loading "
                         "does not read (a quirk of the format kept for existing files): they "
                         "keep the diffuse colour of a new material";
    FNotes.push_back(FFirstDiffuse);
  }
  FParser->CloseOpenTags();
  FState = stReady;
  if (TLumStreamable* S = Target ? Target->Streamable() : nullptr) S->Loaded();
}

// --- the published-property table ------------------------------------------------------

namespace detail {
// Called once from the package's registration (package/lumregister.cpp).
void RegisterLumexchangeProperties();
}  // namespace detail

void detail::RegisterLumexchangeProperties() {
  TLumClassTable<TLumExchange, TComponent> T("TLumExchange", "Lumox",
                                             "Saves and loads LUMGL scene files");
  T.Creatable();
  T.Boolean("ParamNewLine", &TLumExchange::ParamNewLine, &TLumExchange::SetParamNewLine,
            NoStoredDefault, "Every attribute after an element's first on a line of its own");
  T.Boolean("NoDefaultValues", &TLumExchange::NoDefaultValues, &TLumExchange::SetNoDefaultValues,
            NoStoredDefault, "Leaves out values equal to their defaults, and empty elements");
  T.Integer("Decimals", &TLumExchange::Decimals, &TLumExchange::SetDecimals, NoStoredDefault,
            "Significant digits of numbers; 0 = enough to read back exactly");
  T.Event("OnSProgress", "TXMLProgressEvent", &TLumExchange::OnSProgress,
          "Progress of saving and loading, 0..1");
  T.String("FileDescription", &TLumExchange::FileDescription, &TLumExchange::SetFileDescription,
           NoStoredDefault, "The root element's description");
  T.String("FileName", &TLumExchange::FileName, &TLumExchange::SetFileName, NoStoredDefault,
           "The file to save to or load from");
}

}  // namespace lumox
