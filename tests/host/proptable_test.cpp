// The published-property table: every class publishes what its documentation states
// (tests/data/tables/published.txt), get after set returns the value set, and typed
// access refuses what it cannot take.
#include "lumox/host/proptable.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "lumox/lumox.h"
#include "lumox/package/lumpackage.h"
#include "support/propvalues.h"

using namespace lumox;

namespace {

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

// Each line of the file is the one the class's table gives: class, property, type and
// default ("-" for none, "*" for one not checked); "define" lines name zero entries and
// "absent" lines what a class leaves unpublished.
TEST(PropTableTest, EveryClassPublishesWhatItsDocumentationStates) {
  std::ifstream In(std::string(LUMOX_TEST_DATA) + "/tables/published.txt");
  ASSERT_TRUE(In.good());
  // Position of the last checked property per class: the order must follow the file's.
  std::map<std::string, int> LastIndex;
  int Rows = 0, N = 0;
  for (std::string Line; std::getline(In, Line);) {
    SCOPED_TRACE("published.txt line " + std::to_string(++N));
    if (Line.empty() || Line[0] == '#') continue;
    ++Rows;
    std::istringstream S(Line);
    std::string Class, Name, Word;
    S >> Class >> Name;
    if (Class == "define" || Class == "absent") {
      Word = Class;
      Class = Name;
      S >> Name;
    }
    const TLumClassInfo* C = FindClassInfo(Class);
    ASSERT_NE(C, nullptr) << "no class " << Class;
    const TLumPropInfo* P = C->FindProperty(Name);
    if (Word == "absent") {
      EXPECT_EQ(P, nullptr) << Class << "." << Name;
      continue;
    }
    ASSERT_NE(P, nullptr) << Class << " publishes no " << Name;
    if (Word == "define") {
      const TLumFormEntry* E = C->FindFormEntry(Name);
      ASSERT_NE(E, nullptr) << Class << " defines no " << Name;
      EXPECT_TRUE(E->IsZeroEntry());
      EXPECT_TRUE(P->Kind == pkSingle || P->Kind == pkDouble || P->Kind == pkColor) << Name;
      continue;
    }
    const std::string Head = Class + " " + P->Name + " " + TypeWords(P);
    EXPECT_EQ(Line, Head + " " +
                        (Line.ends_with(" *") ? "*"
                         : P->HasDefault      ? P->DefaultText()
                                              : "-"));
    const auto& Props = C->Properties();
    const int Index = int(std::find(Props.begin(), Props.end(), P) - Props.begin());
    auto [It, New] = LastIndex.try_emplace(Class, -1);
    EXPECT_GT(Index, It->second) << Class << "." << Name << " is out of the published order";
    It->second = Index;
  }
  EXPECT_GT(Rows, 250);
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

// Moves every writable value of Obj, and of the objects it owns, off its current one;
// not a transformation's order, which its Assign deliberately leaves.
void MoveValues(TPersistent* Obj) {
  const TLumClassInfo* C = GetClassInfo(Obj);
  for (const TLumPropInfo* Q : C->Properties())
    if (Q->Kind == pkObject && Q->GetObject(Obj)) MoveValues(Q->GetObject(Obj));
    // A transformation's Order is left: setting an owned transformation keeps it, and
    // Assign leaves it too, so no check here could tell a copied Order from a left one.
    else if (!Q->ReadOnly && Q->Kind != pkEvent && Q->Kind != pkObject &&
             C->ClassName() + "." + Q->Name != "TLumTransformation.Order")
      Q->SetValue(Obj, test::OtherValue(Q, Q->GetValue(Obj)));
}

// Whether a published value of A, or of its owned objects, differs from B's.
bool AnyDiffers(TPersistent* A, TPersistent* B) {
  for (const TLumPropInfo* Q : GetClassInfo(A)->Properties())
    if (Q->Kind == pkObject ? Q->GetObject(A) && AnyDiffers(Q->GetObject(A), Q->GetObject(B))
                            : Q->Kind != pkEvent && Q->GetValue(A) != Q->GetValue(B))
      return true;
  return false;
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
        // A copy with every value moved is copied in; the owned object stays.
        TPersistent* Own = P->GetObject(Obj);
        ASSERT_NE(Own, nullptr);
        if (!GetClassInfo(Own)->CanCreateObject()) continue;
        auto Source = GetClassInfo(Own)->CreateObject();
        MoveValues(Source.get());
        P->SetValue(Obj, Source.get());
        EXPECT_EQ(P->GetObject(Obj), Own);
        test::ExpectSameValues(Own, Source.get(), P->Name);
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

namespace {

// The change hook of a component or a value object, or nullptr.
TNotifyEvent* ChangeHook(TPersistent* Obj) {
  if (auto* C = dynamic_cast<TLumComponent*>(Obj)) return &C->OnChange;
  if (auto* P = dynamic_cast<TLumProperty*>(Obj)) return &P->OnChange;
  return nullptr;
}

// An instance of C made by its table, owned by Owner (components) or by Alone.
TPersistent* MakeInstance(const TLumClassInfo* C, TComponent* Owner,
                          std::unique_ptr<TPersistent>& Alone) {
  return C->CanCreate() ? C->Create(Owner) : (Alone = C->CreateObject()).get();
}

// An instance with every writable value moved off its default; a controller controls a
// camera of its own, so that EyeHeight and Distance have something to read, and a light
// is a spot light.
TPersistent* MovedInstance(const TLumClassInfo* C, TComponent* Owner,
                           std::unique_ptr<TPersistent>& Alone) {
  TPersistent* Obj = MakeInstance(C, Owner, Alone);
  if (auto* K = dynamic_cast<TLumCustomController*>(Obj)) {
    auto* Cam = new TLumPerspectiveCamera(Owner);
    Cam->Transformation()->Translation()->SetY(0.25f);
    Cam->Transformation()->Translation()->SetZ(3.0f);
    K->SetControlled(Cam);
  }
  MoveValues(Obj);
  // A texture's pixels, which no published value moves.
  if (auto* T = dynamic_cast<TLumTexture*>(Obj)) T->Bitmap()->SetSize(2, 1);
  // A spot light's cut-off, which a point light keeps at 180.
  if (auto* L = dynamic_cast<TLumLight*>(Obj)) {
    L->SetKind(lkSpot);
    L->SetCutOff(45);
  }
  return Obj;
}

}  // namespace

// The change notifications an Assign makes, as the hand-written copies made them: calls of
// the copy's own hook and of the source's (which components and colours take over), for a
// copy from an instance with every value moved, then for the same copy again (setters that
// compare stay quiet, stored fields and owned objects notify all the same).
TEST(PropTableTest, AssignNotifiesAsManyTimesAsItAlwaysDid) {
  struct TCalls {
    int Own, Source;
    bool operator==(const TCalls&) const = default;
  };
  struct TCase {
    const char* Class;
    TCalls First, Again;
  };
  const TCase Cases[] = {{"TLumVector", {1, 0}, {1, 0}},
                         {"TLumColor", {1, 0}, {1, 0}},
                         {"TLumRotation", {2, 0}, {1, 0}},
                         {"TLumScale", {1, 0}, {1, 0}},
                         {"TLumTransformation", {4, 0}, {3, 0}},
                         {"TLumTextureFlags", {6, 0}, {1, 0}},
                         {"TLumCoordinates", {0, 1}, {0, 1}},
                         {"TLumNode", {4, 1}, {3, 1}},
                         {"TLumMaterial", {7, 1}, {3, 5}},
                         {"TLumAttributes", {4, 1}, {3, 2}},
                         {"TLumFog", {3, 3}, {3, 3}},
                         {"TLumLight", {8, 1}, {4, 4}},
                         {"TLumTexture", {5, 1}, {4, 1}},
                         {"TLumClip", {4, 1}, {3, 1}},
                         {"TLumPerspectiveCamera", {4, 1}, {3, 1}},
                         {"TLumOrthographicCamera", {4, 1}, {3, 1}},
                         {"TLumCarController", {0, 1}, {0, 1}},
                         {"TLumPersonController", {0, 1}, {0, 1}},
                         {"TLumMouseController", {0, 1}, {0, 1}},
                         {"TLumPresentationController", {0, 1}, {0, 1}},
                         {"TLumLine", {11, 2}, {4, 2}},
                         {"TLumRectangle", {11, 2}, {4, 2}},
                         {"TLumSphere", {11, 2}, {4, 2}},
                         {"TLumBox", {11, 2}, {4, 2}},
                         {"TLumFuncObj", {11, 2}, {4, 2}},
                         {"TLumRotObj", {11, 2}, {4, 2}},
                         {"TLumPolygon", {11, 2}, {4, 2}},
                         {"TLumPointSet", {6, 8}, {5, 3}},
                         {"TLumTube", {11, 2}, {4, 2}},
                         {"TLum3dObj", {4, 2}, {3, 2}},
                         {"TLumText", {11, 2}, {4, 2}}};
  for (const TCase& K : Cases) {
    SCOPED_TRACE(K.Class);
    const TLumClassInfo* C = FindClassInfo(K.Class);
    ASSERT_NE(C, nullptr);
    TCalls Calls{0, 0};  // outlives the instances, whose destruction may still notify
    TComponent Owner(nullptr);
    std::unique_ptr<TPersistent> A1, A2;
    TPersistent* Source = MovedInstance(C, &Owner, A1);
    TPersistent* Dest = MakeInstance(C, &Owner, A2);
    *ChangeHook(Source) = [&Calls](TObject*) { ++Calls.Source; };
    for (const TCalls& Expected : {K.First, K.Again}) {
      Calls = {0, 0};
      *ChangeHook(Dest) = [&Calls](TObject*) { ++Calls.Own; };
      Dest->Assign(Source);
      EXPECT_EQ(Calls, Expected) << Calls.Own << " " << Calls.Source;
    }
  }
}

namespace {

// What Assign leaves, by the class whose table lists it or the class copied: the host's
// name and tag, the render switches of the copy's own, the format's selection (attributes,
// fog, texture, transformation order), a clip's plane (it has no Assign of its own) and a
// point set's Textured (it copies the texture but not the switch).
const std::set<std::string> NotCopied = {"TComponent.Name",
                                         "TComponent.Tag",
                                         "TLumRender.Cached",
                                         "TLumRender.ProjectionEnabled",
                                         "TLumAttributes.Dithering",
                                         "TLumAttributes.PerspectiveCorrection",
                                         "TLumAttributes.PointSize",
                                         "TLumAttributes.LineWidth",
                                         "TLumFog.Quality",
                                         "TLumTexture.Alpha",
                                         "TLumTexture.Mode",
                                         "TLumTexture.BlendColor",
                                         "TLumClip.ID",
                                         "TLumClip.x",
                                         "TLumClip.y",
                                         "TLumClip.z",
                                         "TLumClip.w",
                                         "TLumPointSet.Textured"};

bool IsNotCopied(const TLumClassInfo* Of, const TLumPropInfo* P) {
  return NotCopied.count(P->Declarer->ClassName() + "." + P->Name) ||
         NotCopied.count(Of->ClassName() + "." + P->Name);
}

// Components whose Assign takes no source (the host's conversion error).
const std::set<std::string> NotAssignable = {"TLumTimer", "TLumView", "TLumExchange",
                                             "TLumDXFImport"};

}  // namespace

// A copy made by Assign has every published value of an instance whose values were all
// moved off their defaults, owned objects' values included, except what Assign leaves;
// that keeps the value a new instance has.
TEST(PropTableTest, AssignCopiesEveryPublishedValueItStates) {
  int Checked = 0;
  for (const TLumClassInfo* C : GetClassInfos()) {
    if (!C->CanCreate() && !C->CanCreateObject()) continue;
    SCOPED_TRACE(C->ClassName());
    TComponent Owner(nullptr);
    std::unique_ptr<TPersistent> A1, A2, A3;
    TPersistent* Source = MovedInstance(C, &Owner, A1);
    TPersistent* Dest = MakeInstance(C, &Owner, A2);
    TPersistent* Fresh = MakeInstance(C, &Owner, A3);
    if (NotAssignable.count(C->ClassName())) {
      EXPECT_THROW(Dest->Assign(Source), EConvertError);
      continue;
    }
    Dest->Assign(Source);
    test::ExpectSameValues(Dest, Source, C->ClassName(), IsNotCopied);
    for (const TLumPropInfo* P : C->Properties()) {
      if (!IsNotCopied(C, P)) continue;
      if (P->Kind == pkObject)
        test::ExpectSameValues(P->GetObject(Dest), P->GetObject(Fresh), P->Name);
      else
        EXPECT_EQ(P->GetValue(Dest), P->GetValue(Fresh)) << P->Name;
    }
    ++Checked;
  }
  EXPECT_GT(Checked, 35);
  // A program's own class copies through the table of the class it derives from.
  struct TMySphere : TLumSphere {
    using TLumSphere::TLumSphere;
  };
  TComponent Owner(nullptr);
  auto *A = new TMySphere(&Owner), *B = new TMySphere(&Owner);
  A->SetRadius(2.5);
  A->SetSlices(7);
  B->Assign(A);
  EXPECT_EQ(B->Radius(), 2.5);
  EXPECT_EQ(B->Slices(), 7);
}

// Each entry Assign copies through the table copies its own value and no other: a field
// named for the wrong property (two counts swapped) shows here, where a whole copy hides it.
TEST(PropTableTest, EachCopiedEntryCopiesItsOwnValue) {
  int Checked = 0;
  for (const TLumClassInfo* C : GetClassInfos()) {
    if (!C->CanCreate() && !C->CanCreateObject()) continue;
    for (const TLumPropInfo* P : C->Properties()) {
      if (!P->Copier || P->Kind == pkEvent) continue;
      SCOPED_TRACE(C->ClassName() + "." + P->Name);
      TComponent Owner(nullptr);
      std::unique_ptr<TPersistent> A1, A2;
      TPersistent* Source = MovedInstance(C, &Owner, A1);
      TPersistent* Dest = MakeInstance(C, &Owner, A2);
      // A controller's EyeHeight goes to what it controls: give the copy something too.
      if (auto* K = dynamic_cast<TLumCustomController*>(Dest))
        K->SetControlled(new TLumPerspectiveCamera(&Owner));
      // Before the copy the value differs (an owned object: one of its own values).
      if (P->Kind == pkObject)
        ASSERT_TRUE(AnyDiffers(P->GetObject(Dest), P->GetObject(Source)));
      else
        ASSERT_NE(P->GetValue(Dest), P->GetValue(Source));
      P->Copier(Dest, Source);
      if (P->Kind == pkObject)
        test::ExpectSameValues(P->GetObject(Dest), P->GetObject(Source), P->Name);
      else
        EXPECT_EQ(P->GetValue(Dest), P->GetValue(Source));
      ++Checked;
    }
  }
  EXPECT_GT(Checked, 150);
}
