// Checks of model headers made before the importer reads a file: counts that the file's
// size cannot hold (PLY, OFF) and glTF node hierarchies nested deeper than the importer
// can follow, each refused with the number that gives it away.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "lumox/import/lumimportparts.h"

namespace lumox::importparts {

namespace {

namespace fs = std::filesystem;

// The deepest glTF node nesting accepted: the importer follows the hierarchy by
// recursion, which 10 000 levels pass and 20 000 do not.
constexpr size_t MaxGltfDepth = 4096;

std::string ReadBytes(std::ifstream& In, size_t Max) {
  std::string S(Max, '\0');
  In.read(S.data(), static_cast<std::streamsize>(Max));
  S.resize(static_cast<size_t>(In.gcount()));
  return S;
}

// a * b, saturated: header counts may be anything up to 2^64.
uint64_t Times(uint64_t A, uint64_t B) { return B != 0 && A > UINT64_MAX / B ? UINT64_MAX : A * B; }

uint64_t Plus(uint64_t A, uint64_t B) { return A > UINT64_MAX - B ? UINT64_MAX : A + B; }

// A count in decimal, saturated at 2^64 - 1; false for other text.
bool ParseCount(const std::string& Text, uint64_t& Value) {
  if (Text.empty() || !std::all_of(Text.begin(), Text.end(), ::isdigit)) return false;
  Value = 0;
  for (char C : Text) Value = Plus(Times(Value, 10), static_cast<uint64_t>(C - '0'));
  return true;
}

// What a header may promise beyond what a file holds: real files cut short by a few
// records still load, while a count that needs gigabytes from a small file is a lie.
uint64_t Beyond(uint64_t Bytes) { return Plus(Times(Bytes, 2), 4096); }

[[noreturn]] void Refuse(const std::string& FileName, const std::string& Reason) {
  throw Exception(ModelError(FileName, Reason));
}

// --- PLY -----------------------------------------------------------------------------------

int PlyTypeSize(const std::string& T) {
  if (T == "char" || T == "uchar" || T == "int8" || T == "uint8") return 1;
  if (T == "short" || T == "ushort" || T == "int16" || T == "uint16") return 2;
  if (T == "int" || T == "uint" || T == "int32" || T == "uint32" || T == "float" || T == "float32")
    return 4;
  if (T == "double" || T == "float64") return 8;
  return 0;
}

void CheckPly(const std::string& FileName, uint64_t FileSize) {
  std::ifstream In(FileName, std::ios::binary);
  const std::string Head = ReadBytes(In, 64 * 1024);
  std::istringstream Lines(Head);
  std::string Line;
  bool Binary = false, Ended = false;
  size_t End = 0;  // where the body starts
  struct TElement {
    std::string Name;
    uint64_t Count = 0;
    uint64_t Bytes = 0;  // the least one instance takes
  };
  std::vector<TElement> Elements;
  // Up to the line "end_header": without one the importer searches without end.
  for (int N = 1; !Ended && std::getline(Lines, Line); ++N) {
    End += Line.size() + 1;
    if (!Line.empty() && Line.back() == '\r') Line.pop_back();
    std::istringstream W(Line);
    std::string Word;
    W >> Word;
    if (Word == "end_header") {
      Ended = true;
    } else if (Word == "format") {
      W >> Word;
      Binary = Word.rfind("binary", 0) == 0;
    } else if (Word == "element") {
      TElement E;
      std::string Count;
      W >> E.Name >> Count;
      if (!ParseCount(Count, E.Count))
        Refuse(FileName, "line " + std::to_string(N) + " of its header gives no count");
      Elements.push_back(E);
    } else if (Word == "property" && !Elements.empty()) {
      std::string Type, CountType;
      W >> Type;
      // A list takes at least its count (its items may be none); in text every value
      // takes a character and a separator.
      if (Type == "list") W >> CountType;
      const int Size = PlyTypeSize(Type == "list" ? CountType : Type);
      Elements.back().Bytes += Binary ? std::max(Size, 1) : 2;
    }  // other lines (comments without their keyword, as some writers make) are passed
  }
  if (!Ended) Refuse(FileName, "its header has no end_header line");
  const uint64_t Body = FileSize - std::min<uint64_t>(FileSize, End);
  uint64_t Least = 0;
  for (const TElement& E : Elements) {
    // An element without properties still takes a byte per item as far as this check
    // goes: counted as nothing, any count of it would pass.
    Least = Plus(Least, Times(E.Count, std::max<uint64_t>(E.Bytes, 1)));
    if (Least > Beyond(Body))
      Refuse(FileName, "its header declares " + std::to_string(E.Count) + " " + E.Name +
                           " elements, more than the " + std::to_string(Body) +
                           " bytes after the header can hold");
  }
}

// --- OFF -----------------------------------------------------------------------------------

void CheckOff(const std::string& FileName, uint64_t FileSize) {
  std::ifstream In(FileName, std::ios::binary);
  std::istringstream Text(ReadBytes(In, 4096));
  std::string Line;
  std::vector<std::string> Words;
  // The counts are the first three numbers after the optional OFF keyword and comments.
  while (Words.size() < 3 && std::getline(Text, Line)) {
    Line = Line.substr(0, Line.find('#'));
    std::istringstream W(Line);
    std::string Word;
    while (Words.size() < 3 && W >> Word)
      if (Words.empty() && Word.find("OFF") != std::string::npos && !std::isdigit(Word[0]))
        continue;
      else
        Words.push_back(Word);
  }
  uint64_t Vertices = 0, Faces = 0;
  if (Words.size() < 2 || !ParseCount(Words[0], Vertices) || !ParseCount(Words[1], Faces)) return;
  // A vertex takes at least "0 0 0" and a line end, a face at least its count and one.
  if (Plus(Times(Vertices, 6), Times(Faces, 2)) > Beyond(FileSize))
    Refuse(FileName, "its header declares " + std::to_string(Vertices) + " vertices and " +
                         std::to_string(Faces) + " faces, more than its " +
                         std::to_string(FileSize) + " bytes can hold");
}

// --- glTF ----------------------------------------------------------------------------------

// Collects nodes[i].children of a glTF document without building the document.
class TNodeCollector : public nlohmann::json_sax<nlohmann::json> {
 public:
  std::vector<std::vector<uint64_t>> Children;

  bool null() override { return Value(); }
  bool boolean(bool) override { return Value(); }
  bool number_integer(number_integer_t) override { return Value(); }
  bool number_unsigned(number_unsigned_t N) override {
    if (InChildren()) Children.back().push_back(N);
    return Value();
  }
  bool number_float(number_float_t, const string_t&) override { return Value(); }
  bool string(string_t&) override { return Value(); }
  bool binary(binary_t&) override { return Value(); }
  bool start_object(std::size_t) override {
    if (FStack.size() == 2 && FStack[1] == "nodes[") Children.emplace_back();
    FStack.push_back("{");
    return true;
  }
  bool key(string_t& Key) override {
    FKey = Key;
    return true;
  }
  bool end_object() override { return Close(); }
  bool start_array(std::size_t) override {
    FStack.push_back(FKey + "[");
    FKey.clear();
    return true;
  }
  bool end_array() override { return Close(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
    return false;
  }

 private:
  // root "{", "nodes[", node "{", "children[".
  bool InChildren() const {
    return FStack.size() == 4 && FStack[1] == "nodes[" && FStack[3] == "children[";
  }
  bool Value() {
    FKey.clear();
    return true;
  }
  bool Close() {
    if (!FStack.empty()) FStack.pop_back();
    FKey.clear();
    return true;
  }
  std::vector<std::string> FStack;
  std::string FKey;
};

// Reads the JSON from the stream as it goes: a .gltf may carry its buffers inline, and
// holding all of it in this process would double what the importer needs. Not strict:
// a binary file's buffer chunk follows its JSON.
void CheckGltf(const std::string& FileName, std::istream& Json) {
  TNodeCollector C;
  if (!nlohmann::json::sax_parse(Json, &C, nlohmann::json::input_format_t::json, false))
    return;  // the importer says what is wrong
  const size_t N = C.Children.size();
  // The longest chain of children from any node, following each node once; a node met
  // again on its own chain is its own ancestor.
  std::vector<uint8_t> State(N, 0);  // 0 new, 1 on the chain, 2 done
  std::vector<size_t> Depth(N, 1);
  for (size_t Start = 0; Start < N; ++Start) {
    if (State[Start]) continue;
    std::vector<std::pair<size_t, size_t>> Chain{{Start, 0}};  // node, next child
    State[Start] = 1;
    while (!Chain.empty()) {
      auto& [Node, Next] = Chain.back();
      if (Next < C.Children[Node].size()) {
        const uint64_t Child = C.Children[Node][Next++];
        if (Child >= N) continue;  // the importer reports a bad index
        if (State[Child] == 1)
          Refuse(FileName, "node " + std::to_string(Child) + " is among its own children");
        if (State[Child] == 0) {
          State[Child] = 1;
          Chain.push_back({Child, 0});
          if (Chain.size() > MaxGltfDepth)
            Refuse(FileName, "its nodes are nested more than " + std::to_string(MaxGltfDepth) +
                                 " levels deep");
        }
      } else {
        size_t D = 1;
        for (uint64_t Child : C.Children[Node])
          if (Child < N) D = std::max(D, Depth[Child] + 1);
        if (D > MaxGltfDepth)
          Refuse(FileName,
                 "its nodes are nested more than " + std::to_string(MaxGltfDepth) + " levels deep");
        Depth[Node] = D;
        State[Node] = 2;
        Chain.pop_back();
      }
    }
  }
}

// Checks the JSON chunk of a binary glTF file, after its length from the header is
// compared with the file's size: an unchecked length would be allocated as it stands.
void CheckGlb(const std::string& FileName, uint64_t FileSize) {
  std::ifstream In(FileName, std::ios::binary);
  const std::string Head = ReadBytes(In, 20);
  if (Head.size() < 20 || Head.compare(16, 4, "JSON") != 0) return;
  uint32_t Length = 0;
  std::memcpy(&Length, Head.data() + 12, 4);  // little-endian, as the machine
  if (Length > FileSize - 20)
    Refuse(FileName, "its GLB header claims " + std::to_string(Length) +
                         " bytes of JSON but the file holds " + std::to_string(FileSize) +
                         " bytes");
  CheckGltf(FileName, In);
}

}  // namespace

void PreCheck(const std::string& FileName) {
  std::error_code Ec;
  const uint64_t Size = fs::file_size(FileName, Ec);
  if (Ec) return;
  std::string Ext = fs::path(FileName).extension().string();
  std::transform(Ext.begin(), Ext.end(), Ext.begin(),
                 [](unsigned char c) { return std::tolower(c); });
  std::ifstream In(FileName, std::ios::binary);
  const std::string Magic = ReadBytes(In, 8);
  // By the extension, or by the first bytes that the importer also goes by.
  auto Starts = [&Magic](const char* Word) { return Magic.rfind(Word, 0) == 0; };
  if (Ext == ".ply" || Starts("ply"))
    CheckPly(FileName, Size);
  else if (Ext == ".off" || Starts("OFF") || Starts("COFF") || Starts("NOFF") || Starts("CNOFF") ||
           Starts("STOFF"))
    CheckOff(FileName, Size);
  else if (Magic.rfind("glTF", 0) == 0)
    CheckGlb(FileName, Size);
  else if (Ext == ".gltf") {
    In.clear();
    In.seekg(0);
    CheckGltf(FileName, In);
  }
}

}  // namespace lumox::importparts
