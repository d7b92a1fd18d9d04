// A small event-driven reader for the XML dialect of the scene exchange format: a
// character state machine over an in-memory copy of the file that keeps only the
// chain of open elements and reports what it meets through events.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lumox/host/classes.h"

namespace lumox {

// One open element.
class TXMLTag : public TObject {
 public:
  const char* ClassName() const override { return "TXMLTag"; }
  std::string Name;
  // The last text read before a '<' inside the element.
  std::string Value;
  // All attributes as name=value lines separated by CR LF, quotes removed.
  std::string Params;
  // Stream positions and child count kept by the exchange writer.
  int64_t StartPos = 0;
  int64_t ParamPos = 0;
  int64_t ValuePos = 0;
  int64_t EndPos = 0;
  int32_t ChildCount = 0;
  // 0 for the parser's base element, 1 for a top-level element.
  int32_t Depth = 0;
  // The input line (from 1) of the element's '<', for messages about it.
  int32_t Line = 0;
  // 0 normal; an OnTag handler may set 1 (close at once) or 2 (keep at its end tag).
  uint8_t Kind = 0;
  TXMLTag* Parent = nullptr;
  // The user's object for this element (the exchange keeps the scene object here).
  TObject* Obj = nullptr;

  // Value of the first attribute line whose name matches (case-insensitive). Lines end
  // at CR LF, a lone CR or a lone LF, as the attribute list renders and splits them.
  bool GetParam(std::string_view AName, std::string& AValue) const;
  // Calls F(Line) for every line of Params.
  template <typename F>
  void ForEachParamLine(F&& Fn) const;
};

template <typename F>
void TXMLTag::ForEachParamLine(F&& Fn) const {
  const std::string_view Text(Params);
  size_t Pos = 0;
  while (Pos < Text.size()) {
    // The next LF, or a CR before it (lines mostly end in CR LF: two memchr calls).
    const char* Begin = Text.data() + Pos;
    const size_t Left = Text.size() - Pos;
    const void* Lf = std::memchr(Begin, '\n', Left);
    const size_t ToLf = Lf ? static_cast<size_t>(static_cast<const char*>(Lf) - Begin) : Left;
    const void* Cr = std::memchr(Begin, '\r', ToLf);
    const size_t End =
        Pos + (Cr ? static_cast<size_t>(static_cast<const char*>(Cr) - Begin) : ToLf);
    Fn(Text.substr(Pos, End - Pos));
    Pos = End + (Text.compare(End, 2, "\r\n") == 0 ? 2 : 1);
  }
}

using TTagEvent = std::function<void(TXMLTag*& Tag)>;
using TXMLProgressEvent = std::function<void(double progress)>;

enum TStates : uint8_t { stDefault, stOpenTag, stCloseTag, stValue, stParam, stSpecial, stComment };

class TXMLParser : public TComponent {
 public:
  explicit TXMLParser(TComponent* AOwner);
  ~TXMLParser() override;
  const char* ClassName() const override { return "TXMLParser"; }

  TTagEvent OnEndTag;
  TTagEvent OnTag;
  TTagEvent OnParam;
  TTagEvent OnValue;
  TGetStrProc OnComment;
  TTagEvent OnTagName;
  TXMLProgressEvent OnProgress;
  TGetStrProc OnSpecial;
  // A start tag ended without OnTag (a blank before its '>' or '/>', or "<name/>"
  // without attributes): the element and its content reach no handler. Name is the
  // element's name as written.
  std::function<void(TXMLTag* Tag, std::string_view Name)> OnSkippedTag;
  // Read and parsed by execute when the buffer is empty.
  std::string FileName;
  // A file is read in blocks of this many bytes, one buffer reused (a file whose first
  // block holds no LF is read whole).
  size_t ReadBlockSize = size_t{1} << 20;

  // The in-memory input (and the exchange writer's output buffer).
  std::string& Stream() { return FStream; }
  // Parses the whole buffer; target becomes the base element's object.
  void execute(TObject* target);
  // The element being read.
  TXMLTag* Current() const { return FCurrent; }
  TXMLTag* BaseTag() const { return FBase; }
  TStates State() const { return FState; }
  // Frees the elements left open by an unbalanced input and makes the base element
  // current again (the chain otherwise survives into the next execute).
  void CloseOpenTags();

 private:
  // Handles the input from P on, never past Limit; returns where it stopped, having
  // consumed at least one character.
  const char* Step(const char* P, const char* Limit);
  // A new current element whose '<' is just before At.
  void NewElement(const char* At);
  void CloseTagStep();
  void AddAttribute(const std::string& Line);
  // Element records are reused from a free list: loading a large file then costs no
  // allocation per element once the deepest nesting has been met.
  TXMLTag* NewTag();
  // Parses [Begin, Begin + Length), the input's bytes from Offset on; Size is the whole
  // input's for progress, reported at every multiple of ProgressStep (NextProgress).
  void Run(const char* Begin, size_t Length, size_t Offset, double Size, size_t& NextProgress);
  // Parses the buffer as it is.
  void RunWhole();
  // Reads FileName and parses it, block by block where it can.
  void RunFile();
  void FreeTag(TXMLTag* Tag);
  void atEndtag();
  void atTag();
  void atParam();
  void atValue();
  void atTagName();
  void atComment(const std::string& S);
  void atProgress(double Progress);
  void atSpecial(const std::string& S);
  void atSkippedTag(std::string_view Name);
  // The line of the character at P, counted on from the last position asked for.
  int32_t LineAt(const char* P);

  std::string FStream;
  TStates FState = stDefault;
  // Text collected by the current state, and the count of collected characters (the
  // inside-quotes flag while reading attributes, the run of '-' in comments).
  std::string FBuffer;
  int32_t FCounter = 0;
  // The attribute lines of the current start tag so far, each ended by CR LF; they
  // become the element's Params when the tag ends.
  std::string FParams;
  std::vector<TXMLTag*> FFreeTags;
  TXMLTag* FBase = nullptr;
  TXMLTag* FCurrent = nullptr;
  // Lines are counted lazily, only up to where an element starts: the position counted
  // to, its line, and the character that ends a line in this input.
  const char* FLinePos = nullptr;
  int32_t FLine = 1;
  char FLineEnd = '\n';
};

}  // namespace lumox
