// Form files: writing an owner's components through the property table.
#include "lumox/host/formfile.h"

#include <ostream>
#include <unordered_map>

#include "lumox/host/graphics.h"

namespace lumox {

namespace {

// The first line of every form file: the format and its version.
const char* const FormHeader = "LUMFORM 1";
// Lines longer than this continue a list on the next line.
constexpr size_t WrapColumn = 96;

bool IsFloatKind(TLumPropKind K) { return K == pkSingle || K == pkDouble; }

bool IsZero(const TLumValue& V) {
  if (auto* F = std::get_if<float>(&V)) return *F == 0.0f;
  if (auto* D = std::get_if<double>(&V)) return *D == 0.0;
  return false;
}

std::string Join(const std::string& Path, const std::string& Name) {
  return Path.empty() ? Name : Path + "." + Name;
}

}  // namespace

EFormError::EFormError(const std::string& FileName, int Line, const std::string& Property,
                       const std::string& Message)
    : Exception(FileName + (Line > 0 ? std::string(":") + std::to_string(Line) : std::string()) +
                ": " + (Property.empty() ? "" : Property + ": ") + Message),
      FFileName(FileName),
      FLine(Line),
      FProperty(Property),
      FReason(Message) {}

// --- writing --------------------------------------------------------------------------------

class TLumFormWriterImpl {
 public:
  explicit TLumFormWriterImpl(TComponent* Root) : FRoot(Root) {}
  std::string Write();

  // Used through TLumFormWriter.
  void Item(const std::string& Text);
  void ListBegin();
  void ListEnd();
  void NewLine() { FBreak = true; }
  std::string Reference(const TComponent* C);
  [[noreturn]] void Fail(const std::string& Message) const {
    throw EFormError("form", 0, FPlace, Message);
  }

 private:
  void Line(const std::string& Text) {
    FOut += FIndent;
    FOut += Text;
    FOut += '\n';
  }
  void WriteComponentTree(const TComponent* Top);
  void WriteProperties(const TPersistent* Obj, const TLumClassInfo* Class, const std::string& Path);
  // Writes "Name = " and starts the value on the current line.
  void StartValue(const std::string& Name) {
    FOut += FIndent;
    FOut += Name;
    FOut += " = ";
    FLineStart = FOut.size() - FIndent.size() - Name.size() - 3;
    FListItems.clear();
    FBreak = false;
  }
  void EndValue() { FOut += '\n'; }
  void Indent(int Delta) { FIndent.resize(FIndent.size() + size_t(Delta) * 2, ' '); }

  TComponent* FRoot;
  std::string FOut;
  std::string FIndent;
  size_t FLineStart = 0;
  std::vector<int> FListItems;
  bool FBreak = false;
  // The position of each component among its owner's, for "#N" steps of references.
  std::unordered_map<const TComponent*, std::unordered_map<const TComponent*, int>> FIndex;
  std::string FPlace;
};

void TLumFormWriterImpl::Item(const std::string& Text) {
  if (!FListItems.empty()) {
    int& N = FListItems.back();
    if (N > 0) FOut += ',';
    const size_t Column = FOut.size() - FLineStart;
    if (FBreak || (N > 0 && Column + Text.size() > WrapColumn)) {
      FOut += '\n';
      FLineStart = FOut.size();
      FOut.append(FIndent.size() + 2 + FListItems.size() * 2 - 2, ' ');
    } else if (N > 0) {
      FOut += ' ';
    }
    ++N;
  }
  FBreak = false;
  FOut += Text;
}

void TLumFormWriterImpl::ListBegin() {
  Item("(");
  FListItems.push_back(0);
}

void TLumFormWriterImpl::ListEnd() {
  if (FListItems.empty()) Fail("a list ends that was not begun");
  FListItems.pop_back();
  FBreak = false;
  FOut += ')';
}

std::string TLumFormWriterImpl::Reference(const TComponent* C) {
  if (!C) return "nil";
  // The path from the form's owner: each step the component's name, or "#N" for the
  // N-th component of its owner when it has none.
  std::vector<std::string> Steps;
  const TComponent* At = C;
  for (; At && At != FRoot; At = At->Owner()) {
    const TComponent* Owner = At->Owner();
    const TLumClassInfo* OwnerClass = Owner && Owner != FRoot ? GetClassInfo(Owner) : nullptr;
    if (!Owner || (Owner != FRoot && !(OwnerClass && OwnerClass->StoresOwnedComponents()))) break;
    if (!At->Name().empty()) {
      Steps.push_back(At->Name());
      continue;
    }
    auto& Index = FIndex[Owner];
    if (Index.empty())
      for (int I = 0; I < Owner->ComponentCount(); ++I) Index[Owner->Components(I)] = I;
    Steps.push_back(std::string("#") + std::to_string(Index[At]));
  }
  if (At != FRoot)
    Fail(std::string("refers to a ") + C->ClassName() + (C->Name().empty() ? "" : " " + C->Name()) +
         ", which is not among the form's components");
  std::string S;
  for (auto It = Steps.rbegin(); It != Steps.rend(); ++It) S = Join(S, *It);
  return S;
}

void TLumFormWriterImpl::WriteProperties(const TPersistent* Obj, const TLumClassInfo* Class,
                                         const std::string& Path) {
  TLumFormWriter Writer(*this);
  for (const TLumPropInfo* P : Class->Properties()) {
    FPlace = Join(Path, P->Name);
    if (P->Kind == pkObject) {
      const TPersistent* Sub = P->IsStored(Obj) ? P->GetObject(Obj) : nullptr;
      if (!Sub) continue;
      // The block only when something in it is written.
      const size_t Mark = FOut.size();
      Line(P->Name);
      const size_t Body = FOut.size();
      Indent(1);
      WriteProperties(Sub, GetClassInfo(Sub), FPlace);
      Indent(-1);
      if (FOut.size() == Body)
        FOut.resize(Mark);
      else
        Line("end");
      continue;
    }
    if (!P->IsStored(Obj)) continue;
    const TLumValue V = P->GetValue(Obj);
    bool Write = P->Kind == pkComponent
                     ? std::get<TComponent*>(V) != nullptr
                     : !P->IsDefault(Obj) && !(IsFloatKind(P->Kind) && IsZero(V));
    // A zero entry of the same name writes what the property's own rule leaves out.
    if (!Write)
      if (const TLumFormEntry* E = Class->FindFormEntry(P->Name))
        Write = E->IsZeroEntry() && E->HasData && E->HasData(Obj);
    if (!Write) continue;
    if (P->Kind == pkComponent)
      Line(P->Name + " = " + Reference(std::get<TComponent*>(V)));
    else
      Line(P->Name + " = " + P->FormatValue(V));
  }
  for (const TLumFormEntry* E : Class->FormEntries()) {
    FPlace = Join(Path, E->Name);
    if (E->IsZeroEntry() || (E->HasData && !E->HasData(Obj))) continue;
    if (E->Write) {
      StartValue(E->Name);
      E->Write(Obj, Writer);
      if (!FListItems.empty()) Fail("a list was not ended");
      EndValue();
      continue;
    }
    E->ForEachObject(Obj, [&](TPersistent* Item) {
      Line(E->Name);
      Indent(1);
      WriteProperties(Item, GetClassInfo(Item), FPlace);
      Indent(-1);
      Line("end");
    });
  }
}

void TLumFormWriterImpl::WriteComponentTree(const TComponent* Top) {
  // Through a list of open entries rather than by recursion: the nodes of a loaded
  // scene nest as deep as the scene.
  struct TOpen {
    const TComponent* C;
    const TLumClassInfo* Class;
    int Next;
  };
  std::vector<TOpen> Open;
  auto Begin = [&](const TComponent* C) {
    const TLumClassInfo* Class = GetClassInfo(C);
    FPlace = C->Name().empty() ? std::string(C->ClassName()) : C->Name();
    if (!Class || !Class->CanCreate() || Class->ClassName() != C->ClassName())
      Fail(std::string("a ") + C->ClassName() + " cannot be held by a form (its class has no " +
           "registered factory)");
    Line("object " + (C->Name().empty() ? std::string() : C->Name() + ": ") + C->ClassName());
    Indent(1);
    WriteProperties(C, Class, C->Name());
    Open.push_back({C, Class, Class->StoresOwnedComponents() ? 0 : C->ComponentCount()});
  };
  Begin(Top);
  while (!Open.empty()) {
    TOpen& O = Open.back();
    if (O.Next < O.C->ComponentCount()) {
      Begin(O.C->Components(O.Next++));
      continue;
    }
    Indent(-1);
    Line("end");
    Open.pop_back();
  }
}

std::string TLumFormWriterImpl::Write() {
  FOut = std::string(FormHeader) + "\n";
  for (int I = 0; I < FRoot->ComponentCount(); ++I) WriteComponentTree(FRoot->Components(I));
  return std::move(FOut);
}

void TLumFormWriter::WriteInteger(int64_t Value) { FImpl.Item(std::to_string(Value)); }
void TLumFormWriter::WriteFloat(double Value) { FImpl.Item(LumDoubleText(Value)); }
void TLumFormWriter::WriteSingle(float Value) { FImpl.Item(LumSingleText(Value)); }
void TLumFormWriter::WriteBoolean(bool Value) { FImpl.Item(Value ? "true" : "false"); }
void TLumFormWriter::WriteString(const std::string& Value) { FImpl.Item(LumQuotedString(Value)); }
void TLumFormWriter::WriteIdent(const std::string& Value) { FImpl.Item(Value); }
void TLumFormWriter::WriteReference(const TComponent* Value, bool Marked) {
  FImpl.Item(std::string(Marked ? "@" : "") + FImpl.Reference(Value));
}
void TLumFormWriter::WriteListBegin() { FImpl.ListBegin(); }
void TLumFormWriter::WriteListEnd() { FImpl.ListEnd(); }
void TLumFormWriter::NewLine() { FImpl.NewLine(); }

std::string ComponentFormText(TComponent* Owner) {
  TLumFormWriterImpl W(Owner);
  return W.Write();
}

void WriteComponentForm(TComponent* Owner, std::ostream& Stream) {
  const std::string Text = ComponentFormText(Owner);
  Stream.write(Text.data(), std::streamsize(Text.size()));
}

void SaveComponentForm(TComponent* Owner, const std::string& FileName) {
  std::string Text;
  try {
    Text = ComponentFormText(Owner);
  } catch (const EFormError& E) {
    throw EFormError(FileName, 0, E.Property(), E.Reason());
  }
  ReplaceWithTemporary(WriteTemporaryBeside(FileName, Text.data(), Text.size()), FileName);
}

}  // namespace lumox
