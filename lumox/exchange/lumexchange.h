// Saving scene graphs to, and loading them from, the LUMGL XML dialect: the writer
// and reader services that every component's WriteValues/ReadValues call.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "lumox/exchange/xmlparser.h"
#include "lumox/host/classes.h"
#include "lumox/math/lummath.h"

namespace lumox {

class TLumProperty;
class TLumClassInfo;

enum TLumExchangeState : uint8_t {
  stReady,
  stSaveNode,
  stSaveObj,
  stLUMGLSave,
  stLUMGLLoad,
  stStartLoad,
  stEndSave,
  stOBJLoad
};

// Raised by the writer for a value the format cannot carry; the component writing it
// completes the message with its own name (Named).
class EUnwritableValue : public Exception {
 public:
  using Exception::Exception;
  bool Named = false;
};

// What a load warning is about: a place where the file's text was not taken as written.
enum TLumLoadWarningKind : uint8_t {
  lwUnknownClass,     // an element in a node names no registered render class: skipped
  lwUnknownElement,   // a child element its parent does not read: skipped
  lwUnreadAttribute,  // an attribute that nothing read (a misspelled name)
  lwUnknownName,      // an enumeration or set name not in its table
  lwBadBoolean,       // neither "true" nor "false": the value is kept
  lwBadNumberText,    // a colour or vector text that was not read completely
  lwUnclosedElement,  // the file ends inside the element
  lwDiffuseNotRead,   // a material's "FDiffuse" child, which loading does not read back
  lwSkippedTag,       // a start tag the reader passes over, with its content
  lwOutsideObjects,   // an element before "Objects" that nothing reads, or no "Objects"
  lwMissingFile,      // a file it names (a model's texture) that cannot be read: left out
};
extern const char* const TLumLoadWarningKindStr[11];

struct TLumLoadWarning {
  TLumLoadWarningKind Kind = lwUnknownClass;
  std::string FileName;
  int32_t Line = 0;  // from 1; 0 for the whole file
  std::string Element;
  std::string Text;
  // FILE:LINE: element "NAME": TEXT
  std::string ToString() const;
};
using TLumLoadWarningEvent = std::function<void(const TLumLoadWarning& Warning)>;

class TLumExchange : public TComponent {
 public:
  explicit TLumExchange(TComponent* AOwner);
  ~TLumExchange() override;
  const char* ClassName() const override { return "TLumExchange"; }

  // Put every attribute after the first of an element on a new line.
  bool ParamNewLine() const { return FParamNewLine; }
  void SetParamNewLine(bool Value) { FParamNewLine = Value; }
  // Omit values equal to their defaults, and empty elements.
  bool NoDefaultValues() const { return FNoDefaultValues; }
  void SetNoDefaultValues(bool Value) { FNoDefaultValues = Value; }
  // Significant digits of floating-point values; 0 = enough for exact Single round trips.
  int32_t Decimals() const { return FDecimals; }
  void SetDecimals(int32_t Value) { FDecimals = Value; }
  const std::string& FileDescription() const { return FFileDescription; }
  void SetFileDescription(const std::string& Value) { FFileDescription = Value; }
  const std::string& FileName() const { return FFileName; }
  void SetFileName(const std::string& Value) { FFileName = Value; }
  // Progress of saving (per object) and loading (per character), 0..1.
  TXMLProgressEvent OnSProgress;

  // Asked for an element that its parent's ReadComp did not take, with the parent's
  // object; may return the object that reads it (after reading its attributes from
  // this exchange), or nullptr to skip it with a warning. Lets an application read
  // elements of its own, such as a viewpoint among the file's objects.
  std::function<TObject*(TXMLTag* Tag, TObject* Parent)> OnReadElement;
  // Told of every attribute lookup of the reading services, with the kind of value
  // asked for ("boolean", "integer", "number", "text", "vector x,y,z", "colour
  // 00BBGGRR", "one of (...)", "set of (...)"): the format reference is made from it.
  std::function<void(const std::string& Name, const std::string& Type)> OnAttributeRead;
  // Raised for every load warning as it is found; the load goes on unchanged.
  TLumLoadWarningEvent OnWarning;
  // The warnings of the last LoadfromFile, in the order found.
  const std::vector<TLumLoadWarning>& Warnings() const { return FWarnings; }
  // Whether the last load met an "Objects" element (without one it loaded nothing).
  bool SawObjects() const { return FSawObjects; }
  // What the last LoadfromFile found that is worth knowing but is no fault of the file:
  // in a file Lumox wrote (its root's "program" begins "Lumox"), the materials' diffuse
  // colours written as "FDiffuse", which loading does not read (one note for the file).
  const std::vector<TLumLoadWarning>& Notes() const { return FNotes; }
  // Records a warning about the element being loaded (components may add their own).
  void Warn(TLumLoadWarningKind Kind, const std::string& Text);

  TLumExchangeState State() const { return FState; }
  TXMLParser* Parser() const { return FParser; }

  // --- writing, called from WriteValues -------------------------------------------
  void StartTag(std::string_view Name);
  void EndTag();
  void addvalue(const std::string& Text);
  // Inserts the attribute into the open start tag.
  void addparam(std::string_view Name, TComponent* Value);
  void addparam(std::string_view Name, const std::string& Text);
  std::string toStr(TComponent* Value) const;
  std::string toStr(const TLumMathVector& V) const;
  std::string toStr(double Value) const;
  std::string toStr(float Value) const;
  // Value attributes; with NoDefaultValues on, a value equal to its default is left out
  // (floating-point values compare by their written text).
  void addtag(std::string_view Name, bool Value, bool Default);
  void addtag(std::string_view Name, int32_t Value, int32_t Default);
  void addtag(std::string_view Name, double Value, double Default);
  void addtag(std::string_view Name, const std::string& Value, const std::string& Default);
  void addtag(std::string_view Name, const char* Value, const char* Default);
  // Enumeration by name; left out at ordinal 0 when NoDefaultValues is on.
  void addtag(std::string_view Name, int Ordinal, const char* const* Names, int High);
  // Component reference by Name, "nil" for none.
  void addtag(std::string_view Name, TComponent* Value, TComponent* Default);
  void addtag(std::string_view Name, const TLumMathVector& V, const TLumMathVector& Default);
  // Set of enumeration values: member names ascending, joined by ",".
  void addsettag(std::string_view Name, uint32_t SetBits, const char* const* Names, int High);
  int GetDepth() const;
  TXMLTag* GetAktTag();
  void ObjStep();
  // <FileName up to its first '.'><counter>.<Extension>; the counter then rises by one.
  std::string GetAFilename(const std::string& Extension);
  // A side file written to the temporary Temp, to be renamed to FileName when the
  // scene file is complete, and removed when the save fails.
  void AddSideFile(const std::string& Temp, const std::string& FileName);
  static std::string int2hex(uint32_t Value);
  static uint32_t hex2int(const std::string& Text);

  // --- reading, called from ReadValues ----------------------------------------------
  // What ReadComp returns for a child element it has read in full that stands for no
  // object of its own (a vertex, a point, an index list): the element counts as read;
  // elements inside it are reported as unknown.
  TObject* ElementRead() const;
  // The element whose attributes are being read.
  TXMLTag* CurrentTag() const { return FCurrentTag; }
  // The attribute's text; false when the element has no such attribute.
  bool GetParamText(std::string_view Name, std::string& Text);
  // A missing attribute or empty text leaves the value as it is.
  void getvalue(std::string_view Name, bool& Value);
  void getvalue(std::string_view Name, int32_t& Value);
  void getvalue(std::string_view Name, uint32_t& Value);
  void getvalue(std::string_view Name, float& Value);
  void getvalue(std::string_view Name, double& Value);
  void getvalue(std::string_view Name, std::string& Value);
  void getvalue(std::string_view Name, TLumMathVector& V);
  // Set of enumeration values from comma-separated names.
  void getsetvalue(std::string_view Name, uint32_t& SetBits, const char* const* Names, int High);
  // The attribute's value, or Current when the element has none: for setters,
  // SetX(Exchange->getvalueor("X", FX)).
  template <typename T>
  T getvalueor(std::string_view Name, T Current) {
    getvalue(Name, Current);
    return Current;
  }
  void Strto(const std::string& Text, bool& Value) const;
  // Strict decimal integer; bad text raises EConvertError.
  void Strto(const std::string& Text, int32_t& Value) const;
  void Strto(const std::string& Text, uint32_t& Value) const;
  void Strto(const std::string& Text, float& Value) const;
  void Strto(const std::string& Text, double& Value) const;
  void Strto(const std::string& Text, std::string& Value) const;
  void Strto(const std::string& Text, TLumMathVector& V) const;
  // Colour text: hexadecimal digits $00BBGGRR; a missing attribute keeps the value.
  void getcolorvalue(std::string_view Name, uint32_t& Value);
  // Ordinal whose name equals the attribute's text; missing or unknown gives 0.
  int getenums(std::string_view Name, const char* const* Names, int High);
  int getenumv(const std::string& Text, const char* const* Names, int High) const;

  // --- a class's published values, driven by its table (lumpersist.cpp) ------------
  // Writes the properties Level itself publishes under exchange names, in published
  // order: values as attributes through the addtag calls above, against the table's
  // defaults; owned objects as child elements.
  void WritePublished(const TPersistent* Obj, const TLumClassInfo* Level);
  // Reads them back: every attribute first, then each value through its setter in order
  // (a missing attribute keeps the value, a missing enumeration reads its first name).
  void ReadPublished(TPersistent* Obj, const TLumClassInfo* Level);
  // The owned object of Level whose exchange name the element has, read; or nullptr.
  TObject* ReadPublishedChild(TPersistent* Obj, const TLumClassInfo* Level, TXMLTag* Tag);

  // --- files ---------------------------------------------------------------------
  // Saves a node (it becomes the "Objects" element) or finishes a SaveObj sequence.
  void SavetoFile(TComponent* Obj);
  // Adds one top-level object to the file being collected.
  void SaveObj(TComponent* Obj);
  // Loads FileName; the file's objects are added to Target.
  void LoadfromFile(TObject* Target);
  void clear();

 private:
  template <typename T>
  void GetNumber(std::string_view Name, T& Value);
  void InitSave();
  // Reserves the output buffer for a scene of that many objects.
  void ReserveOutput(int64_t Items);
  void EndSave();
  // Writes the buffer to FileName through a temporary file beside it.
  void WriteBuffer();
  // The loading dispatch for every start tag the reader reports.
  void HandleTag(TXMLTag*& Tag);
  std::string FloatText(double Value) const;
  std::string FloatText(float Value) const;
  // The text of a number, or of a vector's three, written at Out; returns its length.
  size_t FormatFloat(char* Out, float Value) const;
  size_t FormatFloat(char* Out, double Value) const;
  size_t FormatVector(char* Out, const TLumMathVector& V) const;
  // Inserts the attribute into the open start tag (addparam without a string to hold it).
  void AppendParam(std::string_view Name, std::string_view Text);

  TXMLParser* FParser = nullptr;
  TXMLTag* FCurrentTag = nullptr;
  TLumExchangeState FState = stReady;
  bool FParamNewLine = false;
  bool FNoDefaultValues = false;
  int32_t FDecimals = 0;
  std::string FFileDescription;
  std::string FFileName;
  // Elements open while saving: the first FDepth entries, reused from save to save.
  // An open element's start tag (name, attributes in Params, text in Value) is kept
  // here and spliced in front of its content when it ends, so attributes that arrive
  // after child elements cost no insertion into the buffer.
  std::vector<std::unique_ptr<TXMLTag>> FTags;
  int FDepth = 0;
  // Start tags of ended elements that have content, with the buffer position they
  // belong at (outer elements after inner ones at the same position). They are
  // merged into the buffer in one pass when the outermost element ends, so saving
  // stays linear however deep the elements nest.
  // Each knows its start-tag number, and start tags are numbered in buffer order
  // (outer before inner at one position), so the merge needs no sorting.
  // A head's text is FHeadText's Size bytes from Offset: one string holds them all.
  struct THead {
    int64_t Pos;
    size_t Offset, Size;
    uint32_t Seq;
  };
  std::vector<THead> FHeads;
  std::string FHeadText;
  // While a file is saved the heads stay apart to the end, and the file is written from
  // the pieces of the body with the heads between them (FilePieces).
  bool FPiecesAtWrite = false;
  // Start-tag numbers of the open elements (by depth), and the next number.
  std::vector<uint32_t> FSeqs;
  uint32_t FNextSeq = 0;
  void MergeHeads();
  // The heads' indices by start-tag number (UINT32_MAX for an element without one).
  std::vector<uint32_t> HeadOrder();
  // The saved text in order: body pieces with the heads between them.
  std::vector<std::string_view> FilePieces();
  std::vector<std::pair<std::string, std::string>> FSideFiles;
  void DropSideFiles();
  // Stands below the stack (depth -1) when no element is open.
  TXMLTag FBaseTag;
  int32_t FFileCounter = 0;
  int64_t FProgressCount = 0;
  int64_t FProgressTotal = 0;
  // The element being loaded when a load failed, for the error message.
  std::string FLoadElement;
  int32_t FLoadLine = 0;

  // --- load diagnostics ---
  void Warn(TLumLoadWarningKind Kind, const TXMLTag* Tag, std::string_view Element,
            const std::string& Text);
  void SplitParams();
  // GetParamText, telling OnAttributeRead the kind of value asked for.
  bool Lookup(std::string_view Name, std::string& Text, std::string_view Type);
  // The same, with the text where it lies in the element's attributes.
  bool Lookup(std::string_view Name, std::string_view& Text, std::string_view Type);
  // Warns of the current element's attributes that no lookup asked for.
  void CheckUnread();
  void HandleSkippedTag(TXMLTag* Tag, std::string_view Name);
  // Warns of an element its parent's ReadComp did not take.
  void WarnUnclaimed(const TXMLTag* Tag, TObject* Parent);
  std::vector<TLumLoadWarning> FWarnings;
  std::vector<TLumLoadWarning> FNotes;
  // Whether the file being loaded names Lumox as its writer, and the FDiffuse elements
  // met in it (reported as one note).
  bool FWrittenByLumox = false;
  int FDiffuseSeen = 0;
  TLumLoadWarning FFirstDiffuse;
  std::unique_ptr<TLumProperty> FElementRead;
  // The attribute lines of the element being loaded (views into its Params), split on
  // the first lookup, each marked when a lookup asks for its name.
  struct TParamLine {
    std::string_view Name, Value;
    bool HasValue = false;
    bool Read = false;
  };
  std::vector<TParamLine> FLines;
  const TXMLTag* FLinesOf = nullptr;
  bool FSawObjects = false;
};

}  // namespace lumox
