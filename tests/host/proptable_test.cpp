// The published-property table: every class publishes what its documentation states
// (tests/data/tables/published.txt), get after set returns the value set, and typed
// access refuses what it cannot take.
#include "lumox/host/proptable.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <memory>
#include <sstream>

#include "lumox/lumox.h"
#include "lumox/package/lumpackage.h"
#include "support/propvalues.h"

using namespace lumox;

namespace {

struct TExpected {
  int Line;
  std::string Class, Property, Type, Default;
};

std::vector<std::vector<std::string>> ReadTable(std::vector<int>& Lines) {
  std::ifstream In(std::string(LUMOX_TEST_DATA) + "/tables/published.txt");
  EXPECT_TRUE(In.good());
  std::vector<std::vector<std::string>> Rows;
  std::string Line;
  for (int N = 1; std::getline(In, Line); ++N) {
    if (Line.empty() || Line[0] == '#') continue;
    std::istringstream S(Line);
    std::vector<std::string> Words;
    for (std::string W; S >> W;) Words.push_back(W);
    // The default is the rest of the line (a set has blanks in it).
    if (Words.size() > 4 && Words[0] != "define" && Words[0] != "absent") {
      const size_t Skip = Words[2] == "enum" || Words[2] == "set" || Words[2] == "object" ||
                                  Words[2] == "ref" || Words[2] == "event"
                              ? 4
                              : 3;
      std::string Rest;
      for (size_t I = Skip; I < Words.size(); ++I) Rest += (Rest.empty() ? "" : " ") + Words[I];
      Words.resize(Skip);
      Words.push_back(Rest);
    }
    Rows.push_back(Words);
    Lines.push_back(N);
  }
  return Rows;
}

// The table's type of P in the data file's words.
std::string TypeWords(const TLumPropInfo* P) {
  switch (P->Kind) {
    case pkEnumeration:
      return "enum " + P->TypeName;
    case pkSet:
      return "set " + P->TypeName;
    case pkObject:
      return "object " + P->TypeName;
    case pkComponent:
      return "ref " + P->TypeName;
    case pkEvent:
      return "event " + P->TypeName;
    default:
      return P->TypeName;
  }
}

}  // namespace

TEST(PropTableTest, EveryClassPublishesWhatItsDocumentationStates) {
  std::vector<int> Lines;
  const auto Rows = ReadTable(Lines);
  ASSERT_GT(Rows.size(), 250u);
  // Position of the last checked property per class: the order must follow the file's.
  std::map<std::string, int> LastIndex;
  for (size_t R = 0; R < Rows.size(); ++R) {
    const auto& W = Rows[R];
    SCOPED_TRACE("published.txt line " + std::to_string(Lines[R]));
    if (W[0] == "define" || W[0] == "absent") {
      ASSERT_EQ(W.size(), 3u);
      const TLumClassInfo* C = FindClassInfo(W[1]);
      ASSERT_NE(C, nullptr) << W[1];
      if (W[0] == "absent") {
        EXPECT_EQ(C->FindProperty(W[2]), nullptr) << W[1] << "." << W[2];
        continue;
      }
      const TLumFormEntry* E = C->FindFormEntry(W[2]);
      ASSERT_NE(E, nullptr) << W[1] << " defines no " << W[2];
      EXPECT_TRUE(E->IsZeroEntry());
      const TLumPropInfo* P = C->FindProperty(W[2]);
      ASSERT_NE(P, nullptr);
      EXPECT_TRUE(P->Kind == pkSingle || P->Kind == pkDouble || P->Kind == pkColor) << W[2];
      continue;
    }
    ASSERT_GE(W.size(), 4u);
    const TLumClassInfo* C = FindClassInfo(W[0]);
    ASSERT_NE(C, nullptr) << "no class " << W[0];
    const TLumPropInfo* P = C->FindProperty(W[1]);
    ASSERT_NE(P, nullptr) << W[0] << " publishes no " << W[1];
    EXPECT_EQ(P->Name, W[1]);
    std::string Type;
    for (size_t I = 2; I + 1 < W.size(); ++I) Type += (Type.empty() ? "" : " ") + W[I];
    EXPECT_EQ(TypeWords(P), Type) << W[0] << "." << W[1];
    const std::string& Default = W.back();
    if (Default == "-") {
      EXPECT_FALSE(P->HasDefault) << W[0] << "." << W[1] << " has " << P->DefaultText();
    } else if (Default != "*") {
      EXPECT_EQ(P->DefaultText(), Default) << W[0] << "." << W[1];
    }
    const auto& Props = C->Properties();
    const int Index = int(std::find(Props.begin(), Props.end(), P) - Props.begin());
    auto [It, New] = LastIndex.try_emplace(W[0], -1);
    EXPECT_GT(Index, It->second) << W[0] << "." << W[1] << " is out of the published order";
    It->second = Index;
  }
}

TEST(PropTableTest, ZeroFloatsHaveEntriesAndEntriesNameFloats) {
  for (const TLumClassInfo* C : GetClassInfos()) {
    for (const TLumPropInfo* P : C->Properties()) {
      if (P->Kind != pkSingle && P->Kind != pkDouble) continue;
      // A float whose default is not 0 must be written when it is 0.
      if (P->HasDefault && P->Default != P->Convert(0.0) && !P->ReadOnly) {
        EXPECT_NE(C->FindFormEntry(P->Name), nullptr) << C->ClassName() << "." << P->Name;
      }
    }
    for (const TLumFormEntry* E : C->FormEntries()) {
      if (!E->IsZeroEntry()) continue;
      const TLumPropInfo* P = C->FindProperty(E->Name);
      ASSERT_NE(P, nullptr) << C->ClassName() << " defines " << E->Name;
      EXPECT_TRUE(P->Kind == pkSingle || P->Kind == pkDouble || P->Kind == pkColor);
    }
  }
}

TEST(PropTableTest, PaletteClassesHaveTablesOnTheirPageAndFactories) {
  int Placed = 0;
  for (const auto& Page : GetPalettePages())
    for (const std::string& Name : Page.Classes) {
      const TLumClassInfo* C = FindClassInfo(Name);
      ASSERT_NE(C, nullptr) << Name;
      EXPECT_EQ(C->PalettePage(), Page.Name) << Name;
      EXPECT_TRUE(C->CanCreate()) << Name;
      ++Placed;
    }
  int OnPages = 0;
  for (const TLumClassInfo* C : GetClassInfos()) OnPages += !C->PalettePage().empty();
  EXPECT_EQ(OnPages, Placed);
  // Every render class the scene format creates has a table.
  std::vector<TLumRenderClass> Render;
  GetRenderClassList(Render);
  for (const auto& R : Render) EXPECT_NE(FindClassInfo(R.Name), nullptr) << R.Name;
}

namespace {

// What a property needs set first to take any value of its range.
void Prepare(TComponent* Owner, TPersistent* Obj, const TLumPropInfo* P) {
  const std::string Key = GetClassInfo(Obj)->ClassName() + "." + P->Name;
  if (Key == "TLumLight.CutOff") {
    static_cast<TLumLight*>(Obj)->SetKind(lkSpot);
    static_cast<TLumLight*>(Obj)->SetCutOff(45);
  }
  if (P->Name == "EyeHeight" || P->Name == "Distance")
    static_cast<TLumCustomController*>(Obj)->SetControlled(new TLumPerspectiveCamera(Owner));
}

}  // namespace

TEST(PropTableTest, GetAfterSetReturnsTheSetValueForEveryWritableProperty) {
  int Checked = 0;
  for (const TLumClassInfo* C : GetClassInfos()) {
    if (!C->CanCreate() && !C->CanCreateObject()) continue;
    for (const TLumPropInfo* P : C->Properties()) {
      if (P->ReadOnly || P->Kind == pkEvent) continue;
      SCOPED_TRACE(C->ClassName() + "." + P->Name);
      TComponent Owner(nullptr);
      std::unique_ptr<TPersistent> Alone;
      TPersistent* Obj = C->CanCreate() ? C->Create(&Owner) : (Alone = C->CreateObject()).get();
      ASSERT_EQ(GetClassInfo(Obj), C);
      Prepare(&Owner, Obj, P);
      if (P->Kind == pkComponent) {
        // A new component of some class the reference accepts.
        TComponent* Target = nullptr;
        for (const TLumClassInfo* T : GetClassInfos()) {
          if (!T->CanCreate() || !T->InheritsFrom(P->ClassInfo)) continue;
          Target = T->Create(&Owner);
          if (P->Accepts(Obj, Target)) break;
        }
        ASSERT_NE(Target, nullptr);
        P->SetValue(Obj, Target);
        EXPECT_EQ(std::get<TComponent*>(P->GetValue(Obj)), Target);
        P->SetValue(Obj, TLumValue());  // none
        EXPECT_EQ(std::get<TComponent*>(P->GetValue(Obj)), nullptr);
      } else if (P->Kind == pkObject) {
        // A copy with one value changed is copied in; the owned object stays.
        TPersistent* Own = P->GetObject(Obj);
        ASSERT_NE(Own, nullptr);
        const TLumClassInfo* OC = GetClassInfo(Own);
        if (!OC->CanCreateObject()) continue;
        auto Source = OC->CreateObject();
        // The first writable value, looking into nested objects first (a
        // transformation's rotation).
        TPersistent *In = Source.get(), *Mine = Own;
        const TLumPropInfo* Q = nullptr;
        while (!Q) {
          const TLumPropInfo* Sub = nullptr;
          for (const TLumPropInfo* Each : GetClassInfo(In)->Properties())
            if (Each->Kind == pkObject && !Sub)
              Sub = Each;
            else if (!Each->ReadOnly && Each->Kind != pkEvent && Each->Kind != pkObject && !Q)
              Q = Each;
          if (Sub && Sub->GetObject(In)) {
            Q = nullptr;
            In = Sub->GetObject(In);
            Mine = Sub->GetObject(Mine);
          } else if (!Q) {
            break;
          }
        }
        if (!Q) continue;  // a bitmap: nothing to change but its pixels
        const TLumValue V = test::OtherValue(Q, Q->GetValue(Mine));
        Q->SetValue(In, V);
        P->SetValue(Obj, Source.get());
        EXPECT_EQ(P->GetObject(Obj), Own);
        EXPECT_EQ(Q->GetValue(Mine), V) << Q->Name;
      } else {
        const TLumValue V = test::OtherValue(P, P->GetValue(Obj));
        ASSERT_NE(V, P->GetValue(Obj));
        P->SetValue(Obj, V);
        EXPECT_EQ(P->GetValue(Obj), V) << P->FormatValue(V);
      }
      ++Checked;
    }
  }
  EXPECT_GT(Checked, 300);
}

TEST(PropTableTest, ClassesAreFoundByNameAnyCaseAndByInstance) {
  EXPECT_EQ(FindClassInfo("tlumsphere"), FindClassInfo("TLumSphere"));
  EXPECT_EQ(FindClassInfo("TLumNoSuchClass"), nullptr);
  const TLumClassInfo* Sphere = FindClassInfo("TLumSphere");
  ASSERT_NE(Sphere, nullptr);
  EXPECT_EQ(Sphere->Parent(), FindClassInfo("TLumPrimitiveObj"));
  EXPECT_EQ(Sphere->PalettePage(), "Lumox Obj");
  EXPECT_TRUE(Sphere->InheritsFrom(FindClassInfo("TLumRender")));
  EXPECT_FALSE(FindClassInfo("TLumRender")->InheritsFrom(Sphere));
  // A program's own class is described by the nearest registered one.
  struct TMySphere : TLumSphere {
    using TLumSphere::TLumSphere;
    const char* ClassName() const override { return "TMySphere"; }
  };
  TComponent Owner(nullptr);
  auto* Mine = new TMySphere(&Owner);
  EXPECT_EQ(GetClassInfo(Mine), Sphere);
  EXPECT_EQ(GetClassInfo(Mine->Color()), FindClassInfo("TLumColor"));
  EXPECT_EQ(GetClassInfo(new TLumLight(&Owner))
                ->FindProperty("direction")
                ->GetObject(FindClassInfo("TLumLight")->Create(&Owner))
                ->ClassName(),
            std::string("TLumDirection"));
}

TEST(PropTableTest, TypedAccessConvertsNumbersAndRefusesWhatItCannotTake) {
  TComponent Owner(nullptr);
  auto* Box = new TLumBox(&Owner);
  auto* Attr = new TLumAttributes(&Owner);
  const TLumClassInfo* BoxInfo = GetClassInfo(Box);
  // Numbers of other types are taken where they fit; an enumeration by name too.
  BoxInfo->FindProperty("Width")->SetValue(Box, int64_t{3});
  EXPECT_EQ(Box->Width(), 3.0f);
  BoxInfo->FindProperty("DetailX")->SetValue(Box, 4.0);
  EXPECT_EQ(Box->DetailX(), 4);
  const TLumPropInfo* Mode = GetClassInfo(Attr)->FindProperty("PolygonMode");
  Mode->SetValue(Attr, std::string("pmline"));
  EXPECT_EQ(Attr->PolygonMode(), pmLine);
  // The setter stays the judge of its range.
  GetClassInfo(Attr)->FindProperty("PointSize")->SetValue(Attr, -2.0f);
  EXPECT_EQ(Attr->PointSize(), 1.0f);
  // Refused: a string for a number, an ordinal without a name, a fraction for an
  // integer, a component of another class, read-only and event properties.
  EXPECT_THROW(BoxInfo->FindProperty("Width")->SetValue(Box, std::string("3")), EConvertError);
  EXPECT_THROW(Mode->SetValue(Attr, int64_t{3}), EConvertError);
  EXPECT_THROW(Mode->SetValue(Attr, std::string("pmNone")), EConvertError);
  EXPECT_THROW(BoxInfo->FindProperty("DetailX")->SetValue(Box, 1.5), EConvertError);
  EXPECT_THROW(BoxInfo->FindProperty("Faces")->SetValue(Box, uint32_t{1} << 6), EConvertError);
  const TLumPropInfo* Material = BoxInfo->FindProperty("Material");
  EXPECT_FALSE(Material->Accepts(Box, Attr));
  EXPECT_THROW(Material->SetValue(Box, static_cast<TComponent*>(Attr)), EConvertError);
  EXPECT_EQ(Box->Material(), nullptr);
  auto* View = new TLumView(&Owner);
  EXPECT_THROW(GetClassInfo(View)->FindProperty("Active")->SetValue(View, true), EConvertError);
  const TLumPropInfo* OnRender = GetClassInfo(View)->FindProperty("OnRender");
  EXPECT_THROW(OnRender->SetValue(View, TLumValue()), EConvertError);
  // Events are reached through their own type.
  ASSERT_NE(OnRender->Event<TLumViewRenderEvent>(View), nullptr);
  EXPECT_EQ(OnRender->Event<TNotifyEvent>(View), nullptr);
  int Calls = 0;
  *OnRender->Event<TLumViewRenderEvent>(View) = [&](TLumView*) { ++Calls; };
  View->OnRender(View);
  EXPECT_EQ(Calls, 1);
  // A node is no item of itself.
  auto* Node = new TLumNode(&Owner);
  EXPECT_FALSE(GetClassInfo(Node)->FindProperty("Node")->Accepts(Node, Node));
}
