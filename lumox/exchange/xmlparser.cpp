// The XML reader: one pass of a character state machine over the in-memory input,
// reporting elements, attributes, texts, comments and specials through events.
#include "lumox/exchange/xmlparser.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace lumox {

namespace {

// Progress is reported after every this many characters.
constexpr size_t ProgressStep = 2000;

// Which characters end a run the states collect: a name (a blank, '>', '/', '?', '!'), a
// quoted value ('"', '/', '>') and an unquoted one (the same and a blank). One table
// look-up per character instead of a comparison with each.
enum : uint8_t { EndsName = 1, EndsQuoted = 2, EndsUnquoted = 4 };
constexpr struct TCharClasses {
  uint8_t Of[256] = {};
  constexpr TCharClasses() {
    for (unsigned char C : {' ', '>', '/', '?', '!'}) Of[C] |= EndsName;
    for (unsigned char C : {'"', '/', '>'}) Of[C] |= EndsQuoted | EndsUnquoted;
    Of[static_cast<unsigned char>(' ')] |= EndsUnquoted;
  }
} CharClasses;

// The first character in [P, Limit) of the class, or Limit.
inline const char* SkipTo(const char* P, const char* Limit, uint8_t Class) {
  while (P < Limit && !(CharClasses.Of[static_cast<unsigned char>(*P)] & Class)) ++P;
  return P;
}

// The first character in [P, Limit) that is one of the two, or Limit.
inline const char* FindEither(const char* P, const char* Limit, char A, char B) {
  while (P < Limit && *P != A && *P != B) ++P;
  return P;
}

}  // namespace

// --- TXMLTag --------------------------------------------------------------------------

bool TXMLTag::GetParam(std::string_view AName, std::string& AValue) const {
  bool Found = false;
  ForEachParamLine([&](std::string_view Line) {
    if (Found) return;
    const size_t Eq = Line.find('=');
    if (Eq != std::string_view::npos && SameText(Line.substr(0, Eq), AName)) {
      AValue.assign(Line.substr(Eq + 1));
      Found = true;
    }
  });
  return Found;
}

// --- TXMLParser -----------------------------------------------------------------------

TXMLParser::TXMLParser(TComponent* AOwner) : TComponent(AOwner), FBase(new TXMLTag) {
  FCurrent = FBase;
}

TXMLParser::~TXMLParser() {
  bool BaseFreed = false;
  for (TXMLTag* T = FCurrent; T;) {
    TXMLTag* Parent = T->Parent;
    if (T == FBase) BaseFreed = true;
    delete T;
    T = Parent;
  }
  if (!BaseFreed) delete FBase;
  for (TXMLTag* T : FFreeTags) delete T;
}

TXMLTag* TXMLParser::NewTag() {
  if (FFreeTags.empty()) return new TXMLTag;
  TXMLTag* Tag = FFreeTags.back();
  FFreeTags.pop_back();
  return Tag;
}

void TXMLParser::FreeTag(TXMLTag* Tag) {
  // Cleared but keeping the strings' storage for the next element.
  Tag->Name.clear();
  Tag->Value.clear();
  Tag->Params.clear();
  Tag->StartPos = Tag->ParamPos = Tag->ValuePos = Tag->EndPos = 0;
  Tag->ChildCount = 0;
  Tag->Depth = 0;
  Tag->Line = 0;
  Tag->Kind = 0;
  Tag->Parent = nullptr;
  Tag->Obj = nullptr;
  FFreeTags.push_back(Tag);
}

void TXMLParser::CloseOpenTags() {
  while (FCurrent && FCurrent != FBase && FCurrent->Parent) {
    TXMLTag* Parent = FCurrent->Parent;
    FreeTag(FCurrent);
    FCurrent = Parent;
  }
  FCurrent = FBase;
  FBase->Kind = 0;
}

void TXMLParser::atEndtag() {
  if (OnEndTag) OnEndTag(FCurrent);
}

void TXMLParser::atTag() {
  if (OnTag) OnTag(FCurrent);
  // A handler may ask for the element to be closed at once (kind 1); a kind 2 it sets
  // must survive until the element's end tag.
  if (FCurrent->Kind == 1) {
    CloseTagStep();
    FCurrent->Kind = 0;
  }
}

void TXMLParser::atParam() {
  if (OnParam) OnParam(FCurrent);
}

void TXMLParser::atValue() {
  if (OnValue) OnValue(FCurrent);
}

void TXMLParser::atTagName() {
  if (OnTagName) OnTagName(FCurrent);
}

void TXMLParser::atComment(const std::string& S) {
  if (OnComment) OnComment(S);
}

void TXMLParser::atProgress(double Progress) {
  if (OnProgress) OnProgress(Progress);
}

void TXMLParser::atSpecial(const std::string& S) {
  if (OnSpecial) OnSpecial(S);
}

void TXMLParser::atSkippedTag(std::string_view Name) {
  if (OnSkippedTag) OnSkippedTag(FCurrent, Name);
}

int32_t TXMLParser::LineAt(const char* P) {
  // Elements start in file order, so every character is looked at once per run.
  for (const char* Q = FLinePos;
       (Q = static_cast<const char*>(std::memchr(Q, FLineEnd, static_cast<size_t>(P - Q)))); ++Q)
    ++FLine;
  FLinePos = P;
  return FLine;
}

void TXMLParser::NewElement(const char* At) {
  TXMLTag* Tag = NewTag();
  Tag->Parent = FCurrent;
  Tag->Depth = FCurrent->Depth + 1;
  Tag->Line = LineAt(At);
  FCurrent = Tag;
}

// The step of stCloseTag for '>': any end tag closes the current element, whatever
// its name; an element marked 2 by its OnTag handler stays open once.
void TXMLParser::CloseTagStep() {
  atEndtag();
  if (FCurrent->Depth >= 1 && FCurrent->Kind != 2 && FCurrent->Parent) {
    TXMLTag* Parent = FCurrent->Parent;
    FreeTag(FCurrent);
    FCurrent = Parent;
  }
  FBuffer.clear();
  FCounter = 0;
  FCurrent->Kind = 0;
  FState = FCurrent->Depth < 1 ? stDefault : stValue;
}

void TXMLParser::AddAttribute(const std::string& Line) { FParams.append(Line).append("\r\n"); }

const char* TXMLParser::Step(const char* P, const char* Limit) {
  const char Ch = *P;
  switch (FState) {
    case stDefault: {
      // Text outside any element is dropped.
      auto* Lt = static_cast<const char*>(std::memchr(P, '<', static_cast<size_t>(Limit - P)));
      if (!Lt) return Limit;
      FState = stOpenTag;
      return Lt + 1;
    }

    case stValue: {
      auto* Lt = static_cast<const char*>(std::memchr(P, '<', static_cast<size_t>(Limit - P)));
      const char* End = Lt ? Lt : Limit;
      FBuffer.append(P, End);
      FCounter += static_cast<int32_t>(End - P);
      if (!Lt) return Limit;
      FCurrent->Value = FBuffer;
      atValue();
      FState = stOpenTag;
      FBuffer.clear();
      FCounter = 0;
      return Lt + 1;
    }

    case stOpenTag: {
      if (FCounter == 0 && Ch != '/' && Ch != '!') NewElement(P);
      switch (Ch) {
        case '?':
        case '!':
          if (FCounter == 0) {
            FBuffer.assign(1, '<');
            FBuffer += Ch;
            FState = stSpecial;
          }
          return P + 1;
        case '>':
          FCurrent->Name = FBuffer;
          atTagName();
          atTag();
          FState = stValue;
          FBuffer.clear();
          FCounter = 0;
          return P + 1;
        case ' ':
          FCurrent->Name = FBuffer;
          atTagName();
          FState = stParam;
          FBuffer.clear();
          FCounter = 0;
          return P + 1;
        case '/':
          // "<name/>": the element is closed unnamed and unreported.
          if (FCounter > 0) atSkippedTag(FBuffer);
          FState = stCloseTag;
          return P + 1;
        default: {
          // Only a blank ends a name: tabs and line ends are part of it.
          const char* End = SkipTo(P + 1, Limit, EndsName);
          FBuffer.append(P, End);
          FCounter += static_cast<int32_t>(End - P);
          return End;
        }
      }
    }

    case stParam: {
      // FCounter is the inside-quotes flag here.
      const char* End = SkipTo(P, Limit, FCounter ? EndsQuoted : EndsUnquoted);
      if (End > P) {
        FBuffer.append(P, End);
        return End;
      }
      switch (Ch) {
        case ' ':
          // Outside quotes a blank after a completed attribute drops its text.
          if (FBuffer.empty())
            FBuffer += ' ';
          else
            FBuffer.clear();
          break;
        case '"':
          if (FCounter) {
            FCounter = 0;
            AddAttribute(FBuffer);
            atParam();
          } else {
            FCounter = 1;
          }
          break;
        default:  // '/' or '>', inside quotes too: values can hold neither
          if (!FBuffer.empty()) {
            AddAttribute(FBuffer);
            // The element's (cleared) string takes the place of the collected lines,
            // so both keep their storage.
            FCurrent->Params.swap(FParams);
            atParam();
            atTag();
          } else {
            atSkippedTag(FCurrent->Name);
          }
          FState = Ch == '/' ? stCloseTag : stValue;
          FParams.clear();
          FBuffer.clear();
          FCounter = 0;
          break;
      }
      return P + 1;
    }

    case stCloseTag: {
      // The end tag's name is never compared with the open element, so the
      // characters before '>' need not be kept.
      auto* Gt = static_cast<const char*>(std::memchr(P, '>', static_cast<size_t>(Limit - P)));
      if (!Gt) return Limit;
      CloseTagStep();
      return Gt + 1;
    }

    case stSpecial: {
      if (FBuffer.size() >= 4) {
        // Past the point where it could still become "<!--": collect up to '>'.
        auto* Gt = static_cast<const char*>(std::memchr(P, '>', static_cast<size_t>(Limit - P)));
        const char* End = Gt ? Gt : Limit;
        FBuffer.append(P, End);
        FCounter += static_cast<int32_t>(End - P);
        if (!Gt) return Limit;
        P = Gt;
      }
      FBuffer += *P;
      ++FCounter;
      if (FBuffer.size() == 4 && FBuffer == "<!--") {
        FCounter = 0;
        FState = stComment;
      }
      if (*P == '>') {
        atSpecial(FBuffer);
        CloseTagStep();
        FState = stValue;
        FBuffer.clear();
        FCounter = 0;
      }
      return P + 1;
    }

    case stComment: {
      // FCounter counts the run of '-' just read.
      const char* End = FindEither(P, Limit, '-', '>');
      if (End > P) {
        FBuffer.append(P, End);
        FCounter = 0;
        return End;
      }
      if (Ch == '-') {
        FBuffer += Ch;
        ++FCounter;
      } else if (FCounter >= 2) {
        FBuffer += Ch;
        atComment(FBuffer);
        FState = stValue;
        FBuffer.clear();
        FCounter = 0;
      }
      return P + 1;
    }
  }
  return P + 1;
}

namespace {

// Reads until Room bytes are in or the file ends; returns how many came.
size_t ReadSome(int Fd, char* To, size_t Room) {
  size_t Got = 0;
  while (Got < Room) {
    const ssize_t N = ::read(Fd, To + Got, Room - Got);
    if (N < 0) {
      if (errno == EINTR) continue;
      throw Exception(std::strerror(errno));
    }
    if (N == 0) break;
    Got += static_cast<size_t>(N);
  }
  return Got;
}

}  // namespace

void TXMLParser::Run(const char* Begin, size_t Length, size_t Offset, double Size,
                     size_t& NextProgress) {
  size_t Pos = 0;
  while (Pos < Length) {
    const size_t Limit = std::min(Length, NextProgress - Offset);
    Pos = static_cast<size_t>(Step(Begin + Pos, Begin + Limit) - Begin);
    if (Offset + Pos == NextProgress) {
      atProgress(static_cast<double>(NextProgress) / Size);
      NextProgress += ProgressStep;
    }
  }
}

void TXMLParser::RunWhole() {
  FStream.push_back('\0');
  const char* const Begin = FStream.data();
  // The terminator, or an embedded zero byte before it, ends the run.
  const size_t Length = std::strlen(Begin);
  FLinePos = Begin;
  // A file without LF ends its lines with a lone CR.
  FLineEnd = std::memchr(Begin, '\n', Length) || !std::memchr(Begin, '\r', Length) ? '\n' : '\r';
  const double Size = static_cast<double>(FStream.size());
  size_t NextProgress = ProgressStep;
  Run(Begin, Length, 0, Size, NextProgress);
  atProgress(static_cast<double>(Length) / Size);
}

void TXMLParser::RunFile() {
  const int Fd = ::open(FileName.c_str(), O_RDONLY | O_CLOEXEC);
  auto Fail = [this](const char* Why) {
    return Exception("Cannot open file \"" + FileName + "\". " + Why);
  };
  if (Fd < 0) throw Fail(std::strerror(errno));
  struct TCloseFd {
    int Fd;
    ~TCloseFd() { ::close(Fd); }
  } Close{Fd};
  struct stat St {};
  if (::fstat(Fd, &St) != 0) throw Fail(std::strerror(errno));
  // The size is a hint for progress: a file that grows meanwhile, or a pipe that
  // reports none, is read on to its end.
  const size_t Size = St.st_size > 0 ? static_cast<size_t>(St.st_size) : 0;
  const size_t Block = std::max<size_t>(ReadBlockSize, 1);
  size_t Got;
  bool Whole;
  try {
    FStream.resize(Block);
    Got = ReadSome(Fd, FStream.data(), Block);
    // Read in blocks of one reused buffer, so that a large file costs no buffer of its
    // size: when the first block shows how lines end (a LF), and the size is known.
    Whole = Got < Block || Size == 0 || !std::memchr(FStream.data(), '\n', Got);
    if (Whole) {
      while (Got == FStream.size()) {
        // To the known size at once (a byte more shows the end), doubling past it.
        FStream.resize(Got < Size ? Size + 1 : FStream.size() * 2);
        Got += ReadSome(Fd, FStream.data() + Got, FStream.size() - Got);
      }
      FStream.resize(Got);
    }
  } catch (const Exception& E) {
    FStream.clear();
    throw Fail(E.what());
  }
  // Outside the reads' handler: what the events raise goes on as it is.
  if (Whole) {
    RunWhole();
    return;
  }
  FLineEnd = '\n';
  const double Total = static_cast<double>(Size + 1);
  size_t Offset = 0, NextProgress = ProgressStep;
  for (;;) {
    const char* const Begin = FStream.data();
    const auto* Zero = static_cast<const char*>(std::memchr(Begin, 0, Got));
    const size_t Length = Zero ? static_cast<size_t>(Zero - Begin) : Got;
    FLinePos = Begin;
    Run(Begin, Length, Offset, Total, NextProgress);
    // A zero byte ends the run, as in a file read whole.
    if (!Zero) {
      LineAt(Begin + Length);  // the lines of the block's rest
      Offset += Got;
      try {
        Got = ReadSome(Fd, FStream.data(), Block);
      } catch (const Exception& E) {
        throw Fail(E.what());
      }
      if (Got > 0) continue;
    }
    atProgress(std::min(1.0, static_cast<double>(Offset + (Zero ? Length : 0)) / Total));
    return;
  }
}

void TXMLParser::execute(TObject* target) {
  FBase->Obj = target;
  FCounter = 0;
  FBuffer.clear();
  FParams.clear();
  // The buffer is emptied however the run ends, so the next run reads the file again.
  struct TClearStream {
    std::string& S;
    ~TClearStream() {
      S.clear();
      S.shrink_to_fit();
    }
  } Clear{FStream};
  FState = stDefault;
  FLine = 1;
  if (FStream.empty())
    RunFile();
  else
    RunWhole();
}

}  // namespace lumox
