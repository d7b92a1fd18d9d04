// libFuzzer target: the XML reader on any input, with every event handler attached.
#include <cstddef>
#include <cstdint>
#include <string>

#include "lumox/exchange/xmlparser.h"

using namespace lumox;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  if (Size == 0) return 0;  // an empty buffer means "read FileName"; there is none here
  TXMLParser Parser(nullptr);
  size_t Seen = 0;
  auto Tag = [&](TXMLTag*& T) {
    std::string V;
    T->GetParam("name", V);
    Seen += T->Name.size() + V.size() + static_cast<size_t>(T->Depth);
  };
  Parser.OnTag = Tag;
  Parser.OnEndTag = Tag;
  Parser.OnParam = Tag;
  Parser.OnValue = Tag;
  Parser.OnTagName = Tag;
  Parser.OnComment = [&](const std::string& S) { Seen += S.size(); };
  Parser.OnSpecial = [&](const std::string& S) { Seen += S.size(); };
  Parser.OnProgress = [&](double P) {
    if (P < 0 || P > 1) __builtin_trap();
  };
  Parser.Stream().assign(reinterpret_cast<const char*>(Data), Size);
  Parser.execute(nullptr);
  Parser.CloseOpenTags();
  return 0;
}
