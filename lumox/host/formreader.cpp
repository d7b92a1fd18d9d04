// Reading form files: a line-based tokenizer, the blocks of components and owned
// objects, references resolved once everything is read, and everything undone on an
// error.
#include "lumox/host/formreader.h"

#include <cctype>
#include <charconv>
#include <fstream>
#include <istream>
#include <iterator>
#include <unordered_map>
#include <unordered_set>

#include "lumox/host/formfile.h"
#include "lumox/host/graphics.h"

namespace lumox {

namespace {

std::string Join(const std::string& Path, const std::string& Name) {
  return Path.empty() ? Name : Path + "." + Name;
}

enum TTokenKind : uint8_t {
  tkWord,
  tkString,
  tkEquals,
  tkColon,
  tkOpen,
  tkClose,
  tkOpenSet,
  tkCloseSet,
  tkComma,
  tkNewLine,
  tkEnd
};

struct TToken {
  TTokenKind Kind = tkEnd;
  std::string Text;
  int Line = 1;
};

bool IsWordChar(char C) {
  return !(C == ' ' || C == '\t' || C == '\r' || C == '\n' || C == '=' || C == ':' || C == '(' ||
           C == ')' || C == '[' || C == ']' || C == ',' || C == '"');
}

const char* TokenName(TTokenKind K) {
  static const char* const Names[] = {"a word",
                                      "a string",
                                      "\"=\"",
                                      "\":\"",
                                      "\"(\"",
                                      "\")\"",
                                      "\"[\"",
                                      "\"]\"",
                                      "\",\"",
                                      "the end of the line",
                                      "the end of the file"};
  return Names[K];
}

}  // namespace

class TLumFormReaderImpl {
 public:
  TLumFormReaderImpl(TComponent* Owner, std::string_view Text, const std::string& Source)
      : FOwner(Owner), FText(Text), FSource(Source) {}
  std::vector<TComponent*> Read();

  // Used through TLumFormReader.
  [[noreturn]] void Fail(const std::string& Message) const {
    throw EFormError(FSource, FToken.Line, FPlace, Message);
  }
  const TToken& Peek() { return FToken; }
  TToken Take() {
    TToken T;
    T.Kind = FToken.Kind;
    T.Line = FToken.Line;
    T.Text.swap(FToken.Text);
    Advance();
    return T;
  }
  // Inside a list the newlines do not count, and an item may be followed by a comma.
  void SkipNewLines() {
    if (FListDepth > 0)
      while (FToken.Kind == tkNewLine) Advance();
  }
  TToken TakeItem(TTokenKind Kind, const char* What) {
    SkipNewLines();
    if (FToken.Kind != Kind) Fail(std::string("expected ") + What + ", found " + Describe(FToken));
    TToken T = Take();
    SkipNewLines();
    if (FListDepth > 0 && FToken.Kind == tkComma) {
      Advance();
      SkipNewLines();
    }
    return T;
  }
  void ListBegin() {
    TakeItem(tkOpen, "\"(\"");
    ++FListDepth;
    SkipNewLines();
  }
  bool AtListEnd() {
    SkipNewLines();
    return FToken.Kind == tkClose;
  }
  void ListEnd() {
    SkipNewLines();
    if (FToken.Kind != tkClose) Fail("expected \")\", found " + Describe(FToken));
    --FListDepth;
    Advance();
    SkipNewLines();
    if (FListDepth > 0 && FToken.Kind == tkComma) {
      Advance();
      SkipNewLines();
    }
  }
  int64_t Integer(const std::string& Text) const;
  template <typename T>
  T Float(const std::string& Text) const;
  bool Boolean(const std::string& Text) const;
  bool Reference(std::function<void(TComponent*)> Apply);
  int Line() const { return FToken.Line; }
  // Runs F; what the library throws (a setter's refusal, a bad name) becomes an error
  // at the place being read.
  template <typename F>
  void Guard(F&& Fn) {
    try {
      Fn();
    } catch (const EFormError&) {
      throw;
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& E) {
      Fail(E.what());
    }
  }

 private:
  // One open block: a component's entry or an owned object's.
  struct TBlock {
    TPersistent* Obj;
    const TLumClassInfo* Class;
    TComponent* Component;  // the entry's component (the object's for object blocks)
    std::string Path;       // for messages: "Ball.Transformation"
    bool IsComponent;
    std::unordered_set<std::string> Seen;
    std::vector<std::pair<const TLumPropInfo*, TLumValue>> Last;
    std::vector<int> LastLines;
  };
  struct TFixup {
    std::string Name;
    int Line;
    std::string Place;
    std::function<void(TComponent*)> Apply;
  };
  // The components read below one component (nullptr: the form's owner), for resolving
  // the steps of reference paths.
  struct TKids {
    std::vector<TComponent*> List;
    std::unordered_map<std::string, TComponent*> Names;
  };
  void Advance();
  static std::string Describe(const TToken& T) {
    return T.Kind == tkWord || T.Kind == tkString ? "\"" + T.Text + "\"" : TokenName(T.Kind);
  }
  void ExpectLineEnd() {
    if (FToken.Kind != tkNewLine && FToken.Kind != tkEnd)
      Fail("expected the end of the line, found " + Describe(FToken));
  }
  void Header();
  void BeginComponent();
  void BeginObject(const std::string& Name);
  void EndBlock();
  void Property(const std::string& Name);
  TLumValue Value(const TLumPropInfo& P);
  void Resolve();
  // The component a step of a reference path names below Parent (nullptr: the form's
  // owner): its name, or "#N" for the N-th component read there.
  TComponent* Child(const TComponent* Parent, const std::string& Step) const;

  TComponent* FOwner;
  std::string_view FText;
  std::string FSource;
  size_t FPos = 0;
  int FLine = 1;
  bool FAtLineStart = true;
  TToken FToken;
  int FListDepth = 0;
  std::string FPlace;
  std::vector<TBlock> FBlocks;
  std::vector<TComponent*> FTop;
  std::unordered_map<const TComponent*, TKids> FKids;
  std::vector<TComponent*> FCreated;
  std::vector<TFixup> FFixups;
};

void TLumFormReaderImpl::Advance() {
  FToken.Text.clear();
  while (FPos < FText.size() && (FText[FPos] == ' ' || FText[FPos] == '\t')) ++FPos;
  // A line whose first character is "#" is a comment ("#2" elsewhere is a reference),
  // except where a list goes on: the writer starts a line with "#0.Ball" there.
  const bool Reference = FListDepth > 0 && FPos + 1 < FText.size() &&
                         std::isdigit(static_cast<unsigned char>(FText[FPos + 1]));
  if (FAtLineStart && FPos < FText.size() && FText[FPos] == '#' && !Reference)
    while (FPos < FText.size() && FText[FPos] != '\n' && FText[FPos] != '\r') ++FPos;
  FAtLineStart = false;
  FToken.Line = FLine;
  if (FPos >= FText.size()) {
    FToken.Kind = tkEnd;
    return;
  }
  const char C = FText[FPos];
  if (C == '\r' || C == '\n') {
    ++FPos;
    if (C == '\r' && FPos < FText.size() && FText[FPos] == '\n') ++FPos;
    ++FLine;
    FAtLineStart = true;
    FToken.Kind = tkNewLine;
    return;
  }
  static const struct {
    char C;
    TTokenKind K;
  } Single[] = {{'=', tkEquals},  {':', tkColon},    {'(', tkOpen}, {')', tkClose},
                {'[', tkOpenSet}, {']', tkCloseSet}, {',', tkComma}};
  for (const auto& S : Single)
    if (C == S.C) {
      ++FPos;
      FToken.Kind = S.K;
      return;
    }
  if (C == '"') {
    ++FPos;
    std::string& S = FToken.Text;
    for (;;) {
      if (FPos >= FText.size() || FText[FPos] == '\n' || FText[FPos] == '\r')
        Fail("a string is not closed on its line");
      const char D = FText[FPos++];
      if (D == '"') break;
      if (D != '\\') {
        S += D;
        continue;
      }
      if (FPos >= FText.size()) Fail("a string is not closed on its line");
      const char E = FText[FPos++];
      switch (E) {
        case 'n':
          S += '\n';
          break;
        case 'r':
          S += '\r';
          break;
        case 't':
          S += '\t';
          break;
        case '"':
          S += '"';
          break;
        case '\\':
          S += '\\';
          break;
        case 'x': {
          unsigned V = 0;
          auto R = std::from_chars(FText.data() + FPos,
                                   FText.data() + std::min(FPos + 2, FText.size()), V, 16);
          if (R.ptr != FText.data() + FPos + 2)
            Fail("\\x in a string needs two hexadecimal digits");
          FPos += 2;
          S += char(V);
          break;
        }
        default:
          Fail(std::string("unknown escape \\") + E + " in a string");
      }
    }
    FToken.Kind = tkString;
    return;
  }
  const size_t Start = FPos;
  while (FPos < FText.size() && IsWordChar(FText[FPos])) ++FPos;
  FToken.Kind = tkWord;
  FToken.Text.assign(FText.substr(Start, FPos - Start));
}

int64_t TLumFormReaderImpl::Integer(const std::string& Text) const {
  int64_t V = 0;
  auto R = std::from_chars(Text.data(), Text.data() + Text.size(), V);
  if (R.ec != std::errc() || R.ptr != Text.data() + Text.size())
    Fail("\"" + QuotedPart(Text) + "\" is not an integer");
  return V;
}

template <typename T>
T TLumFormReaderImpl::Float(const std::string& Text) const {
  T V = 0;
  auto R = std::from_chars(Text.data(), Text.data() + Text.size(), V);
  // Out of range: from_chars leaves the value; the text still names a number.
  if ((R.ec != std::errc() && R.ec != std::errc::result_out_of_range) ||
      R.ptr != Text.data() + Text.size())
    Fail("\"" + QuotedPart(Text) + "\" is not a number");
  if (R.ec == std::errc::result_out_of_range)
    Fail("\"" + QuotedPart(Text) + "\" is out of the number's range");
  return V;
}

bool TLumFormReaderImpl::Boolean(const std::string& Text) const {
  if (SameText(Text, "true")) return true;
  if (SameText(Text, "false")) return false;
  Fail("\"" + QuotedPart(Text) + "\" is neither true nor false");
}

bool TLumFormReaderImpl::Reference(std::function<void(TComponent*)> Apply) {
  const int Line0 = FToken.Line;
  std::string Name = TakeItem(tkWord, "a component's name").Text;
  const bool Marked = Name.size() > 1 && Name.find('@') == 0;
  if (Marked) Name = Name.substr(1);
  FFixups.push_back({Name, Line0, FPlace, std::move(Apply)});
  return Marked;
}

void TLumFormReaderImpl::Header() {
  while (FToken.Kind == tkNewLine) Advance();
  if (FToken.Kind != tkWord || !SameText(FToken.Text, "LUMFORM")) Fail("not a Lumox form file");
  Advance();
  if (FToken.Kind != tkWord || FToken.Text != "1")
    Fail("form file version " + (FToken.Kind == tkWord ? FToken.Text : "(none)") +
         " is not known: this Lumox reads version 1");
  Advance();
  ExpectLineEnd();
}

void TLumFormReaderImpl::BeginComponent() {
  // object [NAME:] CLASS
  TComponent* Parent = FOwner;
  if (!FBlocks.empty()) {
    const TBlock& B = FBlocks.back();
    if (!B.IsComponent) Fail("a component cannot stand inside the object " + B.Path);
    if (!B.Class->StoresOwnedComponents())
      Fail("a " + B.Class->ClassName() + " does not hold components of its own in a form");
    Parent = B.Component;
  }
  if (FToken.Kind != tkWord) Fail("expected a class name after \"object\"");
  std::string Name, ClassName = Take().Text;
  if (FToken.Kind == tkColon) {
    Advance();
    if (FToken.Kind != tkWord) Fail("expected a class name after \"" + ClassName + ":\"");
    Name = std::move(ClassName);
    ClassName = Take().Text;
  }
  ExpectLineEnd();
  FPlace = Name.empty() ? ClassName : Name;
  const TLumClassInfo* Class = FindClassInfo(ClassName);
  if (!Class) Fail("unknown class " + ClassName);
  if (!Class->IsComponent() || !Class->CanCreate())
    Fail("a " + Class->ClassName() + " cannot be placed in a form");
  TComponent* C = Class->Create(Parent);
  C->SetLoading(true);  // for what it owns (cleared with the owner's at the end)
  if (Parent == FOwner) {
    FCreated.push_back(C);  // freed on an error; the nested ones go with it
    FTop.push_back(C);
  }
  if (!Name.empty()) {
    if (Parent->FindComponent(Name)) Fail("duplicate name " + Name);
    Guard([&] { C->SetName(Name); });
  }
  TKids& Kids = FKids[Parent == FOwner ? nullptr : Parent];
  Kids.List.push_back(C);
  if (!Name.empty()) Kids.Names[UpperCase(Name)] = C;
  FBlocks.push_back({C, Class, C, FPlace, true, {}, {}, {}});
}

void TLumFormReaderImpl::BeginObject(const std::string& Name) {
  TBlock& B = FBlocks.back();
  FPlace = Join(B.Path, Name);
  TPersistent* Obj = nullptr;
  if (const TLumPropInfo* P = B.Class->FindProperty(Name); P && P->Kind == pkObject) {
    if (!B.Seen.insert(UpperCase(Name)).second) Fail(Name + " appears twice");
    Obj = P->GetObject(B.Obj);
    if (!Obj) Obj = P->CreateObject(B.Obj);
    if (!Obj) Fail(Name + " has no object to read into");
  } else if (const TLumFormEntry* E = B.Class->FindFormEntry(Name); E && E->CreateObject) {
    Obj = E->CreateObject(B.Obj);
  } else if (P) {
    Fail(Name + " is not an object: write \"" + Name + " = value\"");
  } else {
    Fail("a " + B.Class->ClassName() + " has no property " + Name);
  }
  const TLumClassInfo* Class = GetClassInfo(Obj);
  FBlocks.push_back({Obj, Class, B.Component, FPlace, false, {}, {}, {}});
}

void TLumFormReaderImpl::EndBlock() {
  TBlock& B = FBlocks.back();
  // Values whose setters check against properties read after them.
  for (size_t I = 0; I < B.Last.size(); ++I) {
    FPlace = Join(B.Path, B.Last[I].first->Name);
    FToken.Line = B.LastLines[I];
    Guard([&] { B.Last[I].first->SetValue(B.Obj, B.Last[I].second); });
  }
  FBlocks.pop_back();
}

TLumValue TLumFormReaderImpl::Value(const TLumPropInfo& P) {
  if (P.Kind == pkSet) {
    if (FToken.Kind != tkOpenSet) Fail("expected a set in [ ]");
    Advance();
    uint32_t Bits = 0;
    ++FListDepth;
    SkipNewLines();
    while (FToken.Kind != tkCloseSet) {
      const std::string Name = TakeItem(tkWord, "an element name").Text;
      size_t K = 0;
      while (K < P.Names.size() && !SameText(P.Names[K], Name)) ++K;
      if (K == P.Names.size() || K >= 32) Fail(Name + " is not an element of " + P.TypeName);
      Bits |= uint32_t{1} << K;
      SkipNewLines();
    }
    --FListDepth;
    Advance();
    return Bits;
  }
  if (P.Kind == pkString) {
    if (FToken.Kind != tkString) Fail("expected a string in double quotes");
    return Take().Text;
  }
  if (FToken.Kind != tkWord) Fail("expected a value, found " + Describe(FToken));
  const std::string Text = Take().Text;
  switch (P.Kind) {
    case pkInteger:
      return Integer(Text);
    case pkCardinal:
    case pkColor: {
      uint32_t V = 0;
      const bool Hex = !Text.empty() && Text[0] == '$';
      const char* B = Text.data() + (Hex ? 1 : 0);
      auto R = std::from_chars(B, Text.data() + Text.size(), V, Hex ? 16 : 10);
      if (R.ec != std::errc() || R.ptr != Text.data() + Text.size() || B == R.ptr)
        Fail("\"" + QuotedPart(Text) + "\" is not " +
             (P.Kind == pkColor ? "a colour ($00BBGGRR)" : "a cardinal number"));
      return V;
    }
    case pkSingle:
      return Float<float>(Text);
    case pkDouble:
      return Float<double>(Text);
    case pkBoolean:
      return Boolean(Text);
    case pkEnumeration:
      for (size_t K = 0; K < P.Names.size(); ++K)
        if (SameText(P.Names[K], Text)) return int64_t(K);
      Fail(Text + " is not a value of " + P.TypeName);
    default:
      Fail("cannot be read");
  }
}

void TLumFormReaderImpl::Property(const std::string& Name) {
  TBlock& B = FBlocks.back();
  FPlace = Join(B.Path, Name);
  const int Line0 = FToken.Line;
  const TLumPropInfo* P = B.Class->FindProperty(Name);
  const TLumFormEntry* E = B.Class->FindFormEntry(Name);
  if (!B.Seen.insert(UpperCase(Name)).second) Fail(Name + " appears twice");
  if (P && P->Kind != pkObject) {
    if (P->Kind == pkEvent) Fail(Name + " is an event: form files do not hold events");
    if (P->ReadOnly) Fail(Name + " is read-only");
    if (!P->Stored) Fail(Name + " is not held by form files");
    if (P->Kind == pkComponent) {
      if (FToken.Kind != tkWord) Fail("expected a component's name");
      if (SameText(FToken.Text, "nil")) {
        Advance();
        Guard([&] { P->SetValue(B.Obj, static_cast<TComponent*>(nullptr)); });
      } else {
        TPersistent* Obj = B.Obj;
        Reference([P, Obj](TComponent* C) { P->SetValue(Obj, C); });
      }
    } else {
      TLumValue V = Value(*P);
      if (P->LoadLast) {
        B.Last.emplace_back(P, std::move(V));
        B.LastLines.push_back(Line0);
      } else {
        Guard([&] { P->SetValue(B.Obj, V); });
      }
    }
  } else if (E && E->Read) {
    TLumFormReader Reader(*this);
    Guard([&] { E->Read(B.Obj, Reader); });
    if (FListDepth != 0) Fail("a list was not read to its end");
  } else if (P) {
    Fail(Name + " is an object: its values go in a block (\"" + Name + "\" alone on a line)");
  } else {
    Fail("a " + B.Class->ClassName() + " has no property " + Name);
  }
  ExpectLineEnd();
}

TComponent* TLumFormReaderImpl::Child(const TComponent* Parent, const std::string& Step) const {
  const auto Kids = FKids.find(Parent);
  if (Kids == FKids.end() || Step.empty()) return nullptr;
  if (Step[0] == '#') {
    size_t N = 0;
    auto R = std::from_chars(Step.data() + 1, Step.data() + Step.size(), N);
    const bool Number = R.ec == std::errc() && R.ptr == Step.data() + Step.size();
    return Number && N < Kids->second.List.size() ? Kids->second.List[N] : nullptr;
  }
  const auto It = Kids->second.Names.find(UpperCase(Step));
  return It == Kids->second.Names.end() ? nullptr : It->second;
}

void TLumFormReaderImpl::Resolve() {
  for (TFixup& F : FFixups) {
    FPlace = F.Place;
    FToken.Line = F.Line;
    // Step by step from the form's owner.
    TComponent* C = nullptr;
    std::string_view Rest = F.Name;
    for (;;) {
      const size_t Dot = Rest.find('.');
      C = Child(C, std::string(Rest.substr(0, Dot)));
      if (!C || Dot == std::string_view::npos) break;
      Rest.remove_prefix(Dot + 1);
    }
    if (!C) Fail("no component named " + F.Name + " in the form");
    Guard([&] { F.Apply(C); });
  }
}

std::vector<TComponent*> TLumFormReaderImpl::Read() {
  // The owner counts as loading while the names are given, so that the names do not
  // overwrite what they follow (an object's ObjectName); the file sets those itself.
  const bool WasLoading = FOwner->ComponentState().Contains(csLoading);
  if (!WasLoading) FOwner->SetLoading(true);
  struct TLoaded {
    TComponent* Owner;
    bool Was;
    ~TLoaded() {
      if (!Was) Owner->SetLoading(false);
    }
  } Loaded{FOwner, WasLoading};
  try {
    Advance();
    Header();
    for (;;) {
      while (FToken.Kind == tkNewLine) Advance();
      if (FToken.Kind == tkEnd) break;
      if (FToken.Kind != tkWord)
        Fail("expected a property or \"object\", found " + Describe(FToken));
      const std::string Word = Take().Text;
      if (SameText(Word, "object")) {
        BeginComponent();
      } else if (SameText(Word, "end")) {
        if (FBlocks.empty()) Fail("\"end\" without an open object");
        ExpectLineEnd();
        EndBlock();
      } else if (FBlocks.empty()) {
        FPlace.clear();
        Fail("expected \"object\", found \"" + QuotedPart(Word) + "\"");
      } else if (FToken.Kind == tkEquals) {
        Advance();
        Property(Word);
      } else if (FToken.Kind == tkNewLine || FToken.Kind == tkEnd) {
        BeginObject(Word);
      } else {
        FPlace = Join(FBlocks.back().Path, Word);
        Fail("expected \"=\" or the end of the line after " + Word);
      }
    }
    if (!FBlocks.empty()) {
      FPlace = FBlocks.back().Path;
      Fail("the file ends inside " + FBlocks.back().Path + ": \"end\" is missing");
    }
    Resolve();
    return FTop;
  } catch (...) {
    // Undone last first, so that nothing the read made outlives it.
    for (auto It = FCreated.rbegin(); It != FCreated.rend(); ++It) delete *It;
    throw;
  }
}

int64_t TLumFormReader::ReadInteger() {
  return FImpl.Integer(FImpl.TakeItem(tkWord, "an integer").Text);
}
double TLumFormReader::ReadFloat() {
  return FImpl.Float<double>(FImpl.TakeItem(tkWord, "a number").Text);
}
float TLumFormReader::ReadSingle() {
  return FImpl.Float<float>(FImpl.TakeItem(tkWord, "a number").Text);
}
bool TLumFormReader::ReadBoolean() {
  return FImpl.Boolean(FImpl.TakeItem(tkWord, "true or false").Text);
}
std::string TLumFormReader::ReadString() { return FImpl.TakeItem(tkString, "a string").Text; }
std::string TLumFormReader::ReadIdent() { return FImpl.TakeItem(tkWord, "a name").Text; }
bool TLumFormReader::ReadReference(std::function<void(TComponent*)> Apply) {
  return FImpl.Reference(std::move(Apply));
}
void TLumFormReader::ReadListBegin() { FImpl.ListBegin(); }
bool TLumFormReader::EndOfList() { return FImpl.AtListEnd(); }
void TLumFormReader::ReadListEnd() { FImpl.ListEnd(); }
void TLumFormReader::Error(const std::string& Message) const { FImpl.Fail(Message); }
int TLumFormReader::Line() const { return FImpl.Line(); }

std::vector<TComponent*> ReadComponentFormText(TComponent* Owner, std::string_view Text,
                                               const std::string& SourceName) {
  TLumFormReaderImpl R(Owner, Text, SourceName);
  return R.Read();
}

std::vector<TComponent*> ReadComponentForm(TComponent* Owner, std::istream& Stream,
                                           const std::string& SourceName) {
  std::string Text((std::istreambuf_iterator<char>(Stream)), std::istreambuf_iterator<char>());
  if (Stream.bad()) throw EFormError(SourceName, 0, "", "cannot be read");
  return ReadComponentFormText(Owner, Text, SourceName);
}

std::vector<TComponent*> LoadComponentForm(TComponent* Owner, const std::string& FileName) {
  std::ifstream In(FileName, std::ios::binary);
  if (!In) throw EFormError(FileName, 0, "", "cannot be opened");
  return ReadComponentForm(Owner, In, FileName);
}

}  // namespace lumox
