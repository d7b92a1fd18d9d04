// The format reference that `lumox classes --attributes` prints: every render class
// (and the cameras a file may hold) saved with all its values and read back, so the
// element names, attributes, defaults, value kinds and child elements come from the
// code itself, and the ranges of values from the class tables; and the class tables that
// `lumox classes --properties` prints.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "apps/lumox/lumoxcmd.h"
#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"

using namespace lumox;

namespace lumoxcmd {

namespace {

struct TAttribute {
  std::string Name, Default, Type;
  bool Written = true;
};

struct TElement {
  int Depth = 0;
  std::string Name;
  std::vector<TAttribute> Attributes;
  bool Read = false;  // the element reached a reader
};

// A unique temporary file, removed with this object.
struct TTempFile {
  std::string Path;
  TTempFile() {
    char Name[] = "/tmp/lumox-classes-XXXXXX";
    const int Fd = ::mkstemp(Name);
    if (Fd < 0) throw Exception("cannot create a temporary file");
    ::close(Fd);
    Path = Name;
  }
  ~TTempFile() {
    std::error_code Ec;
    std::filesystem::remove(Path, Ec);
  }
};

// The ranges of the values that are published properties too (matched through the
// class tables' exchange names), added to their kinds: what a setter takes.
void AddRanges(std::vector<TElement>& Elements) {
  std::vector<const TLumClassInfo*> Classes;  // the class of each open element, by depth
  for (TElement& E : Elements) {
    Classes.resize(size_t(E.Depth));
    const TLumClassInfo* C = nullptr;
    if (E.Depth == 0)
      C = FindClassInfo(E.Name);
    else if (const TLumClassInfo* Parent = Classes.back())
      for (const TLumPropInfo* P : Parent->Properties())
        if (P->Kind == pkObject && SameText(P->ExchangeName, E.Name)) C = P->ClassInfo;
    Classes.push_back(C);
    if (!C) continue;
    for (TAttribute& A : E.Attributes)
      for (const TLumPropInfo* P : C->Properties())
        if (P->Range && !A.Type.empty() && SameText(P->ExchangeName, A.Name))
          A.Type += ", " + P->Range->ToString();
  }
}

// The elements of Component's saved text in file order, with the kind of value that
// loading asked for of each attribute.
std::vector<TElement> Describe(TLumComponent* Component, bool Camera) {
  TTempFile File;
  TLumExchange Out(nullptr);
  Out.SetFileName(File.Path);
  Out.SaveObj(Component);
  Out.SavetoFile(nullptr);

  std::vector<TElement> Elements;
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  TLumExchange In(nullptr);
  In.SetFileName(File.Path);
  TLumCamera* Read = nullptr;
  if (Camera) ReadFileCamera(&In, &Form, Root, &Read);
  const TTagEvent Dispatch = In.Parser()->OnTag;
  In.Parser()->OnTag = [&](TXMLTag*& Tag) {
    const bool Inside = Tag->Depth > 2;  // below LUMGL and Objects
    if (Inside) {
      TElement& E = Elements.emplace_back();
      E.Depth = Tag->Depth - 3;
      E.Name = E.Depth == 0 ? UpperCase(Tag->Name) : Tag->Name;
      Tag->ForEachParamLine([&](std::string_view Line) {
        const size_t Eq = Line.find('=');
        const std::string Name(Line.substr(0, Eq));
        for (const auto& A : E.Attributes)
          if (A.Name == Name) return;  // the reader's repetition of the last attribute
        E.Attributes.push_back({Name, std::string(Line.substr(Eq + 1)), ""});
      });
    }
    Dispatch(Tag);
    if (Inside) Elements.back().Read = Tag->Obj != nullptr;
  };
  In.OnAttributeRead = [&](const std::string& Name, const std::string& Type) {
    if (Elements.empty()) return;
    auto& Attributes = Elements.back().Attributes;
    for (auto& A : Attributes)
      if (SameText(A.Name, Name)) {
        if (A.Type.empty()) A.Type = Type;
        return;
      }
    Attributes.push_back({Name, "", Type, false});  // read, but not written by default
  };
  In.LoadfromFile(Root);
  AddRanges(Elements);
  return Elements;
}

std::string ElementText(const TElement& E) {
  const std::string Indent(2 * static_cast<size_t>(E.Depth), ' ');
  std::string S = Indent + "<" + E.Name + ">" + (E.Read ? "" : "  written, not read back") + "\n";
  for (const TAttribute& A : E.Attributes) {
    char Line[512];
    const std::string Default = A.Written ? "\"" + A.Default + "\"" : "(not written)";
    std::snprintf(Line, sizeof Line, "%s  %-22s %-16s %s\n", Indent.c_str(), A.Name.c_str(),
                  Default.c_str(), A.Type.empty() ? "not read" : A.Type.c_str());
    S += Line;
  }
  return S;
}

// Prints the elements; a child element whose whole subtree was printed before under
// another class is shown as one line that says where.
void Print(const std::vector<TElement>& Elements, const char* ClassName,
           std::map<std::string, std::string>& Seen) {
  std::printf("<%s>  (class %s)\n", Elements.front().Name.c_str(), ClassName);
  std::string Head = ElementText(Elements.front());
  std::fputs(Head.substr(Head.find('\n') + 1).c_str(), stdout);
  for (size_t I = 1; I < Elements.size();) {
    size_t End = I + 1;
    while (End < Elements.size() && Elements[End].Depth > Elements[I].Depth) ++End;
    std::string Subtree;
    for (size_t J = I; J < End; ++J) Subtree += ElementText(Elements[J]);
    auto [It, New] = Seen.try_emplace(Subtree, Elements.front().Name);
    if (New)
      std::fputs(Subtree.c_str(), stdout);
    else
      std::printf("%s<%s>  as in <%s>\n",
                  std::string(2 * static_cast<size_t>(Elements[I].Depth), ' ').c_str(),
                  Elements[I].Name.c_str(), It->second.c_str());
    I = End;
  }
  std::printf("\n");
}

// One class's table: a line per property, inherited ones first.
void PrintTable(const TLumClassInfo* C) {
  std::printf("%s", C->ClassName().c_str());
  if (C->Parent()) std::printf(" (%s)", C->Parent()->ClassName().c_str());
  if (!C->PalettePage().empty()) std::printf(", palette page \"%s\"", C->PalettePage().c_str());
  std::printf(": %s\n", C->Description().c_str());
  for (const TLumPropInfo* P : C->Properties()) {
    std::string Default = P->Kind == pkEvent ? "event, not stored"
                          : !P->Stored       ? "not stored"
                                             : P->DefaultText();
    if (P->ReadOnly && P->Kind != pkObject) Default += ", read-only";
    if (P->Range) Default += ", range " + P->Range->ToString();
    std::printf("  %-22s %-30s %s\n", P->Name.c_str(), P->TypeText().c_str(), Default.c_str());
  }
}

}  // namespace

int PrintClassProperties(const std::string& ClassName) {
  if (!ClassName.empty()) {
    const TLumClassInfo* C = FindClassInfo(ClassName);
    if (!C) {
      std::fprintf(stderr, "lumox: no class %s (lumox classes lists them)\n", ClassName.c_str());
      return ExitFailure;
    }
    PrintTable(C);
    return 0;
  }
  bool First = true;
  for (const TLumClassInfo* C : GetClassInfos()) {
    if (!First) std::printf("\n");
    First = false;
    PrintTable(C);
  }
  return 0;
}

void PrintClassAttributes() {
  std::printf(
      "Each element: its attributes as NAME, the default text a new object writes, and the\n"
      "kind of value loading reads; then its child elements, indented. In a node the element\n"
      "name is the class name in upper case (any case loads).\n\n");
  std::vector<TLumRenderClass> Classes;
  GetRenderClassList(Classes);
  TComponent Form(nullptr);
  std::map<std::string, std::string> Seen;
  for (const auto& C : Classes) {
    auto* R = dynamic_cast<TLumComponent*>(C.Create(&Form));
    if (R) Print(Describe(R, false), R->ClassName(), Seen);
  }
  std::printf("Cameras (the viewpoint; read among the file's objects by lumox render):\n\n");
  for (TLumCamera* Camera : {static_cast<TLumCamera*>(new TLumPerspectiveCamera(&Form)),
                             static_cast<TLumCamera*>(new TLumOrthographicCamera(&Form))}) {
    Print(Describe(Camera, true), Camera->ClassName(), Seen);
  }
}

}  // namespace lumoxcmd
