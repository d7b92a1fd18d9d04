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
        TZeroCase{"TLumFog", "Density", 0, true, 0}, TZeroCase{"TLumFog", "EndDepth", 0, true, 0},
        TZeroCase{"TLumFog", "StartDepth", 0, true, 0},
        TZeroCase{"TLumLight", "CutOff", 45, true, 45},
        // Written only when not 0, as the light defines it: 0 comes back as the spot's 90.
        TZeroCase{"TLumLight", "CutOff", 0, false, 90},
        // Likewise the texture's alpha: 0 comes back as 1.
        TZeroCase{"TLumTexture", "Alpha", 0, false, 1},
        TZeroCase{"TLumTexture", "Alpha", 1, true, 1}, TZeroCase{"TLumClip", "x", 0, true, 0},
        TZeroCase{"TLumPerspectiveCamera", "ViewAngle", 0, true, 0},
        TZeroCase{"TLumOrthographicCamera", "ViewWidth", 0, true, 0},
        TZeroCase{"TLumCarController", "MaxSpeed", 0, true, 0},
        TZeroCase{"TLumPresentationController", "DistanceStep", 0, true, 0},
        TZeroCase{"TLumLine", "Length", 0, true, 0},
        TZeroCase{"TLumRectangle", "Width", 0, true, 0},
        TZeroCase{"TLumSphere", "Radius", 0, true, 0},
        TZeroCase{"TLumDisc", "SweepAngle", 0, true, 0},
        TZeroCase{"TLumBox", "TextureFlags.ScaleX", 0, true, 0},
        TZeroCase{"TLumRotObj", "RotSweepAngle", 0, true, 0},
        TZeroCase{"TLumView", "Coordinates.Length", 0, true, 0},
        // A value equal to the default is left out, and a non-zero one written.
        TZeroCase{"TLumTorus", "Thickness", 0.2, false, 0.2},
        TZeroCase{"TLumTorus", "Thickness", 0.5, true, 0.5}));

namespace {

// A new T owned by Form, named Name.
template <typename T>
T* Make(TComponent* Form, const char* Name) {
  auto* C = new T(Form);
  C->SetName(Name);
  return C;
}

// An application: view, camera, controller, timer, and a node tree with render state and
// every shape class.
void BuildApplication(TComponent* Form) {
  auto* View = Make<TLumView>(Form, "View1");
  View->SetBounds(96, 72), View->SetBackgroundColor(0x302010);
  View->Coordinates()->SetVisible(true);
  auto* Camera = Make<TLumPerspectiveCamera>(Form, "Camera1");
  Camera->SetViewAngle(50), Camera->Transformation()->Rotation()->SetX(10);
  Camera->Transformation()->Translation()->SetValues(0, -0.3f, -6);
  View->SetCamera(Camera);
  auto* Mouse = Make<TLumMouseController>(Form, "Mouse");
  Mouse->SetTurnSensitivity(200), Mouse->SetCntrlFlags(TLumCntrlFlags{teMoveX, teTurnY});
  Mouse->SetControlled(Camera);
  View->SetController(Mouse);
  auto* Timer = Make<TLumTimer>(Form, "Timer1");
  Timer->setintervall(600);  // Rate 2, which would give 500 back
  Timer->SetEnabled(false);

  auto* Root = Make<TLumNode>(Form, "Root");
  auto* Lit = Make<TLumAttributes>(Form, "Lit");
  Lit->SetLighting(true), Lit->SetCullFace(cfBack), Lit->ColorAmbient()->SetColor(0x202020);
  Lit->SetNode(Root);
  auto* Sun = Make<TLumLight>(Form, "Sun");
  Sun->SetKind(lkDirection), Sun->Direction()->SetValues(-0.3f, 0.5f, 1.0f), Sun->SetNode(Root);
  auto* Spot = Make<TLumLight>(Form, "Spot");
  Spot->SetID(idLight1), Spot->SetKind(lkSpot), Spot->SetCutOff(30);
  Spot->ColorDiffuse()->SetColor(0x00FFFF), Spot->Transformation()->Translation()->SetZ(3);
  Spot->SetNode(Root);
  auto* Red = Make<TLumMaterial>(Form, "Red");
  Red->ColorDiffuse()->SetColor(0x2020E0), Red->ColorSpecular()->SetColor(0xFFFFFF);
  Red->SetShininess(40);
  auto* Fog = Make<TLumFog>(Form, "Mist");
  Fog->SetMode(fmLinear), Fog->SetStartDepth(4), Fog->SetEndDepth(12);
  Fog->Color()->SetColor(0x302010), Fog->SetNode(Root);

  // Shapes on a grid of five columns, with the red material.
  int Next = 0;
  auto Place = [&](auto* O, const char* Name, TLumNode* In) {
    O->SetName(Name);
    O->Transformation()->Translation()->SetValues(float(Next % 5 - 2), float(1 - Next / 5), 0);
    O->Transformation()->Scale()->SetValues(0.4f, 0.4f, 0.4f);
    O->SetMaterial(Red), O->SetNode(In);
    ++Next;
    return O;
  };
  Place(new TLumPoint(Form), "APoint", Root)->SetObjectName("");  // not the component's name
  Place(new TLumLine(Form), "ALine", Root)->SetLength(2);
  Place(new TLumTriangle(Form), "ATriangle", Root)->SetBase(1.5);
  Place(new TLumRectangle(Form), "ARectangle", Root)->SetDetX(3);
  auto* Ball = Place(new TLumSphere(Form), "ABall", Root);
  Ball->SetSlices(24), Ball->SetStacks(12);
  auto* Cyl = Place(new TLumCylinder(Form), "ACone", Root);
  Cyl->SetTopRadius(0), Cyl->SetClosed(true);
  auto* Disc = Place(new TLumDisc(Form), "ADisc", Root);
  Disc->SetInnerRadius(0.3), Disc->SetSweepAngle(270);
  Place(new TLumTorus(Form), "ATorus", Root)->SetThickness(0.35);

  // A child node with a texture and its own transformation.
  auto* Inner = Make<TLumNode>(Form, "Inner");
  Inner->Transformation()->Rotation()->SetY(30), Inner->SetNode(Root);
  auto* Wood = Make<TLumTexture>(Form, "Wood");
  Wood->Bitmap()->SetSize(4, 4);
  for (int Y = 0; Y < 4; ++Y)
    for (int X = 0; X < 4; ++X) Wood->Bitmap()->SetPixel(X, Y, (X + Y) % 2 ? 0x00FF00 : 0xFF00FF);
  Wood->Bitmap()->Changed(), Wood->SetNode(Inner);
  auto* Box = Place(new TLumBox(Form), "ABox", Inner);
  Box->SetFaces(TBoxFaces{bfFront, bfTop, bfLeft}), Box->SetDetail(1, 2);
  Box->SetTextured(true), Box->SetTexture(Wood);
  auto* Off = Make<TLumTexture>(Form, "NoTexture");
  Off->SetEnabled(false), Off->SetNode(Inner);
  Place(new TLumFuncObj(Form), "AFunction", Inner)->SetOverDraw(2);
  Place(new TLumRotObj(Form), "ABody", Inner)->SetRotSweepAngle(180);
  auto* Poly = Place(new TLumPolygon(Form), "APolygon", Inner);
  for (auto [X, Y] : {std::pair{0.0, 0.0}, {1.0, 0.0}, {1.0, 1.0}, {0.5, 0.4}, {0.0, 1.0}})
    Poly->AddPoint(X, Y);
  for (auto [X, Y] : {std::pair{0.2, 0.1}, {0.4, 0.1}, {0.3, 0.3}}) Poly->AddPoint(X, Y, 1);
  Poly->SetDepth(0.5);
  auto* Cloud = Place(new TLumPointSet(Form), "APointSet", Inner);
  Cloud->AddPoint(0, 0, 0, 1, 0, 0), Cloud->AddPoint(0.5, 0.5, 0, 0, 1, 0, 0.5f);
  Cloud->SetPointSize(4);
  auto* Tube = Place(new TLumTube(Form), "ATube", Inner);
  Tube->AddSection({0, 0, 0}, 0.2), Tube->AddSection({0, 1, 0}, 0.3, 0x00FF00);
  Tube->AddSection({1, 1, 0.5}, 0.1);
  auto* Mesh = Place(new TLum3dObj(Form), "AMesh", Inner);
  TLum3dPart* Part = Mesh->AddPart("quad");
  const double Pos[] = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
  const double Nrm[] = {0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1};
  const float Col[] = {1, 0, 0, 1, 0, 1, 0, 1, 0, 0, 1, 1, 1, 1, 1, 1};
  Part->SetVertexData(4, Pos, Nrm, nullptr, 2, Col);
  const uint32_t Quad[] = {0, 1, 2, 0, 2, 3};
  Part->AddIndices(GL_TRIANGLES, Quad, 6);
  Part->CreateMaterial()->ColorDiffuse()->SetColor(0x00C0C0);
  Mesh->AddPart("hidden")->SetVisible(false);
  auto* Words = Place(new TLumText(Form), "AText", Inner);
  Words->SetText("Hi\n\"x\""), Words->SetDepth(0.2);
  // An item drawn a second time from another node.
  Root->AddIndirect(Ball);
}

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

}  // namespace

TEST(FormFileTest, ApplicationRoundTripKeepsEveryPropertyAndRendersTheSamePixels) {
  TComponent Form(nullptr);
  BuildApplication(&Form);
  lumox::test::TempDir Dir;
  SaveComponentForm(&Form, Dir.File("app.lumform"));
  TComponent Back(nullptr);
  const std::vector<TComponent*> Read = LoadComponentForm(&Back, Dir.File("app.lumform"));
  ASSERT_EQ(int(Read.size()), Form.ComponentCount());
  for (int I = 0; I < Form.ComponentCount(); ++I) {
    EXPECT_EQ(Read[size_t(I)], Back.Components(I));
    lumox::test::ExpectSameValues(Form.Components(I), Back.Components(I),
                                  Form.Components(I)->Name());
  }
  // What the table reaches besides values: item lists, indirect items, parts, pixels.
  EXPECT_EQ(ComponentFormText(&Back), ComponentFormText(&Form));
  auto* Root = dynamic_cast<TLumNode*>(Back.FindComponent("Root"));
  ASSERT_NE(Root, nullptr);
  EXPECT_EQ(Root->GetItems(Root->GetCount() - 1), Back.FindComponent("ABall"));
  EXPECT_TRUE(Root->IsIndirect(Root->GetCount() - 1));
  EXPECT_EQ(Back.FindComponent("ABall")->Owner(), &Back);
  EXPECT_EQ(dynamic_cast<TLumRender*>(Back.FindComponent("ABall"))->Node(), Root);
  auto* Timer = dynamic_cast<TLumTimer*>(Back.FindComponent("Timer1"));
  EXPECT_EQ(Timer->Intervall(), 600);
  EXPECT_EQ(Timer->IntervalCounts(),
            dynamic_cast<TLumTimer*>(Form.FindComponent("Timer1"))->IntervalCounts());
  auto* Mesh = dynamic_cast<TLum3dObj*>(Back.FindComponent("AMesh"));
  ASSERT_EQ(Mesh->PartCount(), 2);
  EXPECT_EQ(Mesh->Part(0)->VertexCount(), 4);
  EXPECT_EQ(Mesh->Part(0)->PartMaterial()->ColorDiffuse()->Color(), 0x00C0C0u);
  EXPECT_FALSE(Mesh->Part(1)->Visible());
  // The same pixels, and a picture with something in it.
  const TBitmap A = Render(&Form), B = Render(&Back);
  ASSERT_EQ(A.Width(), 96);
  int Lit = 0, Different = 0;
  for (int Y = 0; Y < A.Height(); ++Y)
    for (int X = 0; X < A.Width(); ++X) {
      Different += A.GetRGBA(X, Y) != B.GetRGBA(X, Y);
      Lit += A.GetPixel(X, Y) != 0x302010;
    }
  EXPECT_EQ(Different, 0);
  EXPECT_GT(Lit, 500);
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
      "    Radius = 2.5\n"
      "  end\n"
      "end\n"
      "object Shared: TLumBox\n"
      "end\n"
      "object Eye: TLumPerspectiveCamera\n"
      "  ViewAngle = 30.0\n"
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
  EXPECT_EQ(dynamic_cast<TLumSphere*>(Scene->GetItems(1))->Radius(), 2.5);
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
  auto* View = dynamic_cast<TLumView*>(Form.FindComponent("View1"));
  ASSERT_NE(View, nullptr);
  EXPECT_EQ(View->Camera(), Form.FindComponent("Eye"));
  EXPECT_EQ(View->Width(), 640);
  // Without the comment line the writer gives the same text.
  std::string Expected = Text;
  Expected.erase(Expected.find("# a view"),
                 Expected.find("object View1") - Expected.find("# a view"));
  EXPECT_EQ(ComponentFormText(&Form), Expected);
}
