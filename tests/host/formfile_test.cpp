// Form files: the zero entries each class defines, a round trip of a whole application
// (properties through the table, and pixels), scenes and models loaded from real files,
// and bad input that must name its place and change nothing.
#include "lumox/host/formfile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "lumox/lumox.h"
#include "support/propvalues.h"
#include "support/scenefile.h"

using namespace lumox;

namespace {

// The object at a dotted path of owned objects below Obj ("Transformation.Scale").
TPersistent* ObjectAt(TPersistent* Obj, const std::string& Path) {
  std::istringstream S(Path);
  for (std::string Step; Obj && std::getline(S, Step, '.');)
    Obj = GetClassInfo(Obj)->FindProperty(Step)->GetObject(Obj);
  return Obj;
}

// The object and property of a dotted path ("Transformation.Scale.Z").
std::pair<TPersistent*, const TLumPropInfo*> Locate(TPersistent* Obj, const std::string& Path) {
  const size_t Dot = Path.rfind('.');
  if (Dot != std::string::npos) Obj = ObjectAt(Obj, Path.substr(0, Dot));
  return {Obj, GetClassInfo(Obj)->FindProperty(Path.substr(Dot + 1))};
}

}  // namespace

// One case per class that defines entries: the value set, whether form files hold the
// line, and what loads back.
struct TZeroCase {
  const char* Class;
  const char* Path;
  double Value;
  bool Written;
  double Loaded;
};

class FormZeroEntryTest : public ::testing::TestWithParam<TZeroCase> {};

TEST_P(FormZeroEntryTest, IsWrittenAsItsClassDefinesIt) {
  const TZeroCase& Z = GetParam();
  TComponent Form(nullptr);
  TComponent* C = FindClassInfo(Z.Class)->Create(&Form);
  C->SetName("It");
  if (std::string(Z.Class) == "TLumLight") static_cast<TLumLight*>(C)->SetKind(lkSpot);
  const auto [Obj, Prop] = Locate(C, Z.Path);
  Prop->SetValue(Obj, Z.Value);
  ASSERT_EQ(Prop->GetValue(Obj), Prop->Convert(Z.Value)) << "the setter refused the value";
  const std::string Text = ComponentFormText(&Form);
  const std::string Leaf = std::string(Z.Path).substr(std::string(Z.Path).rfind('.') + 1);
  std::ostringstream Line;
  Line << " " << Leaf << " = ";
  EXPECT_EQ(Text.find(Line.str()) != std::string::npos, Z.Written) << Text;
  TComponent Back(nullptr);
  ReadComponentFormText(&Back, Text, "zero.lumform");
  TComponent* R = Back.FindComponent("It");
  ASSERT_NE(R, nullptr);
  const auto [RObj, RProp] = Locate(R, Z.Path);
  EXPECT_EQ(RProp->GetValue(RObj), RProp->Convert(Z.Loaded));
}

INSTANTIATE_TEST_SUITE_P(
    EachClassThatDefinesEntries, FormZeroEntryTest,
    ::testing::Values(
        TZeroCase{"TLumSphere", "Color.Alpha", 0, true, 0},
        // A scale's constructor sets 1: the vector writes its zero components, which the
        // published property alone would leave out.
        TZeroCase{"TLumSphere", "Transformation.Scale.Z", 0, true, 0},
        TZeroCase{"TLumAttributes", "LineWidth", 0, true, 0},  // its start value, written
        // One of the many plain entries: written when exactly 0.
        TZeroCase{"TLumFog", "Density", 0, true, 0}, TZeroCase{"TLumLight", "CutOff", 45, true, 45},
        // Written only when not 0, as the light defines it: 0 comes back as the spot's 90.
        TZeroCase{"TLumLight", "CutOff", 0, false, 90},
        // Likewise the texture's alpha: 0 comes back as 1.
        TZeroCase{"TLumTexture", "Alpha", 0, false, 1},
        TZeroCase{"TLumTexture", "Alpha", 1, true, 1},
        TZeroCase{"TLumBox", "TextureFlags.ScaleX", 0, true, 0},  // an owned object's entry
        // A value equal to the default is left out, and a non-zero one written.
        TZeroCase{"TLumTorus", "Thickness", 0.2, false, 0.2},
        TZeroCase{"TLumTorus", "Thickness", 0.5, true, 0.5}));

namespace {

TBitmap Render(TComponent* Form) {
  auto* View = dynamic_cast<TLumView*>(Form->FindComponent("View1"));
  auto* Root = dynamic_cast<TLumNode*>(Form->FindComponent("Root"));
  EXPECT_TRUE(View && Root);
  TBitmap Image(View->Width(), View->Height());
  if (!View || !Root) return Image;
  View->OnRender = [Root](TLumView* V) { Root->Render(V); };
  EXPECT_TRUE(View->GetImage(&Image));
  return Image;
}

// Every published value of A's components equals B's, owned components of owned ones too.
void ExpectSameComponents(TComponent* A, TComponent* B) {
  ASSERT_EQ(A->ComponentCount(), B->ComponentCount()) << A->Name();
  for (int I = 0; I < A->ComponentCount(); ++I) {
    lumox::test::ExpectSameValues(A->Components(I), B->Components(I), A->Components(I)->Name());
    ExpectSameComponents(A->Components(I), B->Components(I));
  }
}

}  // namespace

// The sample application (view, camera, controller, timer, render state, a texture,
// meshes, an item drawn a second time from its node) with the demo scene's every shape
// class in a node of its own, and values that a form holds in ways of its own.
TEST(FormFileTest, ApplicationRoundTripKeepsEveryPropertyAndRendersTheSamePixels) {
  const std::string Data = LUMOX_TEST_DATA;
  TComponent Form(nullptr);
  LoadComponentForm(&Form, Data + "/forms/application.lumform");
  auto* Root = dynamic_cast<TLumNode*>(Form.FindComponent("Root"));
  ASSERT_NE(Root, nullptr);
  auto* Shapes = new TLumNode(&Form);
  Shapes->SetName("Shapes"), Shapes->SetNode(Root);
  TLumExchange Demo(nullptr);
  Demo.SetFileName(Data + "/../../apps/lumox/demo.lumgl");
  Demo.LoadfromFile(Shapes);
  dynamic_cast<TLumTimer*>(Form.FindComponent("Timer1"))->setintervall(600);  // Rate 2: 500
  auto* Words = new TLumText(&Form);
  Words->SetName("Words"), Words->SetText("Hi\n\"x\""), Words->SetNode(Root);
  auto* Dot = new TLumPoint(&Form);
  Dot->SetName("Dot"), Dot->SetObjectName(""), Dot->SetNode(Root);  // not the component's name
  dynamic_cast<TLum3dObj*>(Form.FindComponent("Mesh"))->AddPart("hidden")->SetVisible(false);
  lumox::test::TempDir Dir;
  SaveComponentForm(&Form, Dir.File("app.lumform"));
  TComponent Back(nullptr);
  const std::vector<TComponent*> Read = LoadComponentForm(&Back, Dir.File("app.lumform"));
  ASSERT_EQ(int(Read.size()), Form.ComponentCount());
  for (int I = 0; I < Form.ComponentCount(); ++I) EXPECT_EQ(Read[size_t(I)], Back.Components(I));
  ExpectSameComponents(&Form, &Back);
  // What the table reaches besides values: item lists, indirect items, parts, pixels.
  EXPECT_EQ(ComponentFormText(&Back), ComponentFormText(&Form));
  auto* BackRoot = dynamic_cast<TLumNode*>(Back.FindComponent("Root"));
  ASSERT_NE(BackRoot, nullptr);
  EXPECT_EQ(BackRoot->GetItems(4), Back.FindComponent("Ball"));
  EXPECT_TRUE(BackRoot->IsIndirect(4));
  EXPECT_EQ(dynamic_cast<TLumRender*>(Back.FindComponent("Ball"))->Node(), BackRoot);
  EXPECT_EQ(dynamic_cast<TLumTimer*>(Back.FindComponent("Timer1"))->Intervall(), 600);
  auto* Mesh = dynamic_cast<TLum3dObj*>(Back.FindComponent("Mesh"));
  ASSERT_EQ(Mesh->PartCount(), 2);
  EXPECT_EQ(Mesh->Part(0)->VertexCount(), 3);
  EXPECT_FALSE(Mesh->Part(1)->Visible());
  // The same pixels, and a picture with something in it.
  const TBitmap A = Render(&Form), B = Render(&Back);
  ASSERT_EQ(A.Width(), 320);
  int Lit = 0, Different = 0;
  for (int Y = 0; Y < A.Height(); ++Y)
    for (int X = 0; X < A.Width(); ++X) {
      Different += A.GetRGBA(X, Y) != B.GetRGBA(X, Y);
      Lit += A.GetPixel(X, Y) != A.GetPixel(0, 0);
    }
  EXPECT_EQ(Different, 0);
  EXPECT_GT(Lit, 5000);
}

TEST(FormFileTest, ReferencesMayPointForwardAndNestedComponentsKeepTheirOwner) {
  const char* Text =
      "LUMFORM 1\n"
      "# a view before its camera\n"
      "object View1: TLumView\n"
      "  Camera = Eye\n"
      "end\n"
      "object Scene: TLumNode\n"
      "  Items = (Scene.#0, Scene.Ball, @Shared)\n"
      "  object TLumMaterial\n"
      "  end\n"
      "  object Ball: TLumSphere\n"
      "  end\n"
      "end\n"
      "object Shared: TLumBox\n"
      "end\n"
      "object Eye: TLumPerspectiveCamera\n"
      "end\n";
  TComponent Form(nullptr);
  const auto Top = ReadComponentFormText(&Form, Text, "forward.lumform");
  ASSERT_EQ(Top.size(), 4u);
  auto* View = dynamic_cast<TLumView*>(Top[0]);
  ASSERT_NE(View, nullptr);
  EXPECT_EQ(View->Camera(), Form.FindComponent("Eye"));
  auto* Scene = dynamic_cast<TLumNode*>(Top[1]);
  ASSERT_EQ(Scene->GetCount(), 3);
  EXPECT_STREQ(Scene->GetItems(0)->ClassName(), "TLumMaterial");
  EXPECT_EQ(Scene->GetItems(0)->Owner(), Scene);
  EXPECT_EQ(Scene->GetItems(1), Scene->FindComponent("Ball"));
  EXPECT_EQ(Scene->GetItems(2), Form.FindComponent("Shared"));
  EXPECT_TRUE(Scene->IsIndirect(2));
  EXPECT_EQ(dynamic_cast<TLumRender*>(Form.FindComponent("Shared"))->Node(), nullptr);
  // Written back, the unnamed item is named by its place in the node.
  EXPECT_NE(
      ComponentFormText(&Form).find("  Items = (\n    Scene.#0,\n    Scene.Ball,\n    @Shared)"),
      std::string::npos)
      << ComponentFormText(&Form);
}

namespace {

// Loads a form, or a scene or model file under one root node, into Form.
void LoadInto(const std::string& File, TComponent* Form) {
  const std::string Ext = std::filesystem::path(File).extension().string();
  if (Ext == ".lumform") {
    LoadComponentForm(Form, File);
  } else if (Ext == ".lumgl" || Ext == ".xml") {
    auto* Root = new TLumNode(Form);
    Root->SetName("Root");
    TLumExchange Exchange(nullptr);
    Exchange.SetFileName(File);
    Exchange.LoadfromFile(Root);
  } else {
    LoadModel(File, Form)->SetName("Root");
  }
}

}  // namespace

// Scenes of the scene format (their items owned by their nodes, many without names),
// imported models (meshes, parts, textures) and the forms of tests/data/forms (the
// fuzzer's seeds and finds) write and read back to the same text.
TEST(FormFileTest, RealScenesModelsAndSampleFormsRoundTrip) {
  const std::string Data = LUMOX_TEST_DATA;
  std::vector<std::string> Files = {Data + "/scenes/good/two_objects_and_group.xml",
                                    Data + "/../../apps/lumox/demo.lumgl"};
  for (const char* Dir : {"/models", "/forms"})
    for (const auto& E : std::filesystem::directory_iterator(Data + Dir))
      if (E.path().extension() != ".mtl" && E.path().extension() != ".bmp" &&
          E.path().extension() != ".png")
        Files.push_back(E.path().string());
  int Models = 0, Forms = 0, Items = 0;
  for (const std::string& File : Files) {
    SCOPED_TRACE(File);
    TComponent Form(nullptr);
    const bool IsForm = File.find("/forms/") != std::string::npos;
    try {
      LoadInto(File, &Form);
    } catch (const Exception&) {
      EXPECT_FALSE(IsForm);  // a model the importer refuses
      continue;
    }
    (IsForm ? Forms : Models)++;
    const std::string Text = ComponentFormText(&Form);
    TComponent Back(nullptr);
    ReadComponentFormText(&Back, Text, File);
    EXPECT_EQ(ComponentFormText(&Back), Text);
    if (IsForm) continue;
    auto* A = dynamic_cast<TLumNode*>(Form.FindComponent("Root"));
    auto* B = dynamic_cast<TLumNode*>(Back.FindComponent("Root"));
    ASSERT_TRUE(A && B);
    EXPECT_EQ(B->CountAllItems(), A->CountAllItems());
    Items += A->CountAllItems();
  }
  EXPECT_GT(Items, 40);
  EXPECT_GE(Models, 5);
  EXPECT_GE(Forms, 3);
}

namespace {

struct TBadCase {
  const char* What;
  const char* Text;
  int Line;
  const char* Property;
  const char* Reason;
};

const char* const Good =
    "LUMFORM 1\n"
    "object Ball: TLumSphere\n"
    "  Radius = 2.0\n"
    "end\n";

}  // namespace

class FormBadInputTest : public ::testing::TestWithParam<TBadCase> {};

TEST_P(FormBadInputTest, NamesFileLineAndPropertyAndLeavesTheOwnerAsItWas) {
  const TBadCase& C = GetParam();
  TComponent Form(nullptr);
  auto* Existing = new TLumNode(&Form);
  Existing->SetName("Existing");
  auto* Kept = new TLumBox(&Form);
  Kept->SetName("Kept");
  Kept->SetNode(Existing);
  const std::string Before = ComponentFormText(&Form);
  try {
    ReadComponentFormText(&Form, C.Text, "bad.lumform");
    ADD_FAILURE() << C.What << ": no error";
  } catch (const EFormError& E) {
    EXPECT_EQ(E.FileName(), "bad.lumform");
    EXPECT_EQ(E.Line(), C.Line) << E.what();
    EXPECT_EQ(E.Property(), C.Property) << E.what();
    EXPECT_NE(E.Reason().find(C.Reason), std::string::npos) << E.what();
    EXPECT_EQ(std::string(E.what()).rfind("bad.lumform:" + std::to_string(C.Line) + ": ", 0), 0u)
        << E.what();
  }
  EXPECT_EQ(Form.ComponentCount(), 2);
  EXPECT_EQ(ComponentFormText(&Form), Before);
  EXPECT_EQ(Existing->GetCount(), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FormBadInputTest,
    ::testing::Values(
        TBadCase{"wrong type", "LUMFORM 1\nobject Ball: TLumSphere\n  Radius = wide\nend\n", 3,
                 "Ball.Radius", "\"wide\" is not a number"},
        TBadCase{"string for a number",
                 "LUMFORM 1\nobject Ball: TLumSphere\n  Slices = \"12\"\nend\n", 3, "Ball.Slices",
                 "expected a value"},
        TBadCase{"enumeration name", "LUMFORM 1\nobject Ball: TLumSphere\n  Mode = smRound\nend\n",
                 3, "Ball.Mode", "smRound is not a value of TSphereMode"},
        TBadCase{"unknown class",
                 "LUMFORM 1\nobject Ball: TLumSphere\nend\nobject X: TLumGlobe\nend\n", 4, "X",
                 "unknown class TLumGlobe"},
        TBadCase{"unknown property",
                 "LUMFORM 1\nobject Ball: TLumSphere\n  Transformation\n    Scale\n      W = 1.0\n"
                 "    end\n  end\nend\n",
                 5, "Ball.Transformation.Scale.W", "has no property W"},
        TBadCase{"missing reference", "LUMFORM 1\nobject Ball: TLumSphere\n  Material = Red\nend\n",
                 3, "Ball.Material", "no component named Red"},
        TBadCase{"reference into the owner",
                 "LUMFORM 1\nobject N: TLumNode\n  Items = (Kept)\nend\n", 3, "N.Items",
                 "no component named Kept"},
        TBadCase{"reference of the wrong class",
                 "LUMFORM 1\nobject Ball: TLumSphere\n  Material = Ball\nend\n", 3, "Ball.Material",
                 "cannot take"},
        TBadCase{"duplicate name",
                 "LUMFORM 1\nobject Ball: TLumSphere\nend\nobject ball: TLumBox\nend\n", 4, "ball",
                 "duplicate name ball"},
        TBadCase{"name of the owner's", "LUMFORM 1\nobject Kept: TLumSphere\nend\n", 2, "Kept",
                 "duplicate name Kept"},
        TBadCase{"truncated", "LUMFORM 1\nobject Ball: TLumSphere\n  Transformation\n    Scale\n",
                 5, "Ball.Transformation.Scale", "\"end\" is missing"},
        TBadCase{"truncated list", "LUMFORM 1\nobject P: TLumPolygon\n  Contours = ((0.0, 0.0, 1.0",
                 3, "P.Contours", "expected a number"},
        TBadCase{"event", "LUMFORM 1\nobject V: TLumView\n  OnRender = Draw\nend\n", 3,
                 "V.OnRender", "is an event"},
        TBadCase{"read-only", "LUMFORM 1\nobject V: TLumView\n  Active = true\nend\n", 3,
                 "V.Active", "read-only"},
        TBadCase{"twice",
                 "LUMFORM 1\nobject Ball: TLumSphere\n  Radius = 1.0\n  radius = 2.0\nend\n", 4,
                 "Ball.radius", "appears twice"},
        TBadCase{"setter refusal", "LUMFORM 1\nobject N: TLumNode\n  Items = (N)\nend\n", 3,
                 "N.Items", "link to myself"},
        TBadCase{"not a form", "<LUMGL>\n", 1, "", "not a Lumox form file"},
        TBadCase{"later version", "LUMFORM 2\n", 1, "", "version 2"}));

TEST(FormFileTest, WritingRefusesWhatAFormCannotHoldAndSavingKeepsTheOldFile) {
  lumox::test::TempDir Dir;
  const std::string File = Dir.File("keep.lumform");
  lumox::test::WriteText(File, Good);
  TComponent Other(nullptr);
  auto* Outside = new TLumMaterial(&Other);
  Outside->SetName("Outside");
  TComponent Form(nullptr);
  auto* Ball = new TLumSphere(&Form);
  Ball->SetName("Ball");
  Ball->SetMaterial(Outside);
  try {
    SaveComponentForm(&Form, File);
    ADD_FAILURE() << "saved";
  } catch (const EFormError& E) {
    EXPECT_EQ(E.FileName(), File);
    EXPECT_EQ(E.Property(), "Ball.Material");
  }
  EXPECT_EQ(lumox::test::ReadText(File), Good);
  // No temporary left beside it.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(Dir.Path()), {}), 1);
  // A class of the program's own has no factory a reader could use.
  struct TMyBox : TLumBox {
    using TLumBox::TLumBox;
    const char* ClassName() const override { return "TMyBox"; }
  };
  TComponent Mine(nullptr);
  new TMyBox(&Mine);
  EXPECT_THROW(ComponentFormText(&Mine), EFormError);
}

// The example of docs/forms.md reads, and writes back as it stands.
TEST(FormFileTest, TheDocumentedExampleReadsAndWritesBackAsItStands) {
  std::ifstream In(std::string(LUMOX_TEST_DATA) + "/../../docs/forms.md");
  const std::string Doc((std::istreambuf_iterator<char>(In)), {});
  const size_t From = Doc.find("```\nLUMFORM 1\n");
  ASSERT_NE(From, std::string::npos);
  const size_t To = Doc.find("```\n", From + 4);
  const std::string Text = Doc.substr(From + 4, To - From - 4);
  TComponent Form(nullptr);
  ReadComponentFormText(&Form, Text, "forms.md");
  // Without the comment line the writer gives the same text: nothing was left unread.
  std::string Expected = Text;
  Expected.erase(Expected.find("# a view"),
                 Expected.find("object View1") - Expected.find("# a view"));
  EXPECT_EQ(ComponentFormText(&Form), Expected);
}
