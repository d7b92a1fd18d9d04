// Model files in and out: every format's cube, materials and textures, node hierarchies,
// export round trips and the errors of bad files.
#include "lumox/import/lumimport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <set>

#include "lumox/exchange/lumexchange.h"
#include "lumox/geometry/lumshape.h"
#include "lumox/host/graphics.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumtex.h"
#include "support/glfixture.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

namespace fs = std::filesystem;
const std::string Data = std::string(LUMOX_TEST_DATA) + "/models/";

using TPos = std::array<long, 3>;
using TTri = std::array<TPos, 3>;

TPos Key(const double* V) {
  return {std::lround(V[0] * 1000), std::lround(V[1] * 1000), std::lround(V[2] * 1000)};
}

// Every part under a node, depth first.
void Parts(TLumRender* R, std::vector<TLum3dPart*>& Out) {
  if (auto* N = dynamic_cast<TLumNode*>(R))
    for (int i = 0; i < N->GetCount(); ++i) Parts(N->GetItems(i), Out);
  if (auto* O = dynamic_cast<TLum3dObj*>(R))
    for (int32_t i = 0; i < O->PartCount(); ++i) Out.push_back(O->Part(i));
}

// The triangles of an object's parts, each starting at its smallest corner (winding
// kept), sorted.
std::vector<TTri> Triangles(const TLum3dObj& O) {
  std::vector<TTri> T;
  for (int32_t p = 0; p < O.PartCount(); ++p) {
    const TLum3dPart* P = O.Part(p);
    for (int32_t l = 0; l < P->GetPrimitiveCount(); ++l) {
      const TLumPrimitiveArray* A = P->GetPrimitive(l);
      if (A->PrimitiveType() != GL_TRIANGLES) continue;
      for (int32_t i = 0; i + 2 < A->Count(); i += 3) {
        TTri X;
        for (int k = 0; k < 3; ++k) X[k] = Key(P->Points()->Vertices() + A->Indices(i + k) * 3);
        std::rotate(X.begin(), std::min_element(X.begin(), X.end()), X.end());
        T.push_back(X);
      }
    }
  }
  std::sort(T.begin(), T.end());
  return T;
}

std::set<TPos> Positions(const TLum3dObj& O) {
  std::set<TPos> S;
  for (int32_t p = 0; p < O.PartCount(); ++p)
    for (int32_t i = 0; i < O.Part(p)->VertexCount(); ++i)
      S.insert(Key(O.Part(p)->Points()->Vertices() + i * 3));
  return S;
}

class ModelViewTest : public test::ViewTest {};

TEST_F(ModelViewTest, EachFormatsCubeLoadsWithEightCornersAndTwelveTrianglesAndRenders) {
  for (const char* Name : {"cube.obj", "cube_ascii.stl", "cube_binary.stl", "cube.ply", "cube.gltf",
                           "cube.glb", "cube.3ds"}) {
    SCOPED_TRACE(Name);
    TLum3dObj O(nullptr);
    O.LoadFromFile(Data + Name);
    EXPECT_EQ(Positions(O).size(), 8u);
    EXPECT_EQ(Triangles(O).size(), 12u);
    EXPECT_EQ(*Positions(O).begin(), (TPos{-500, -500, -500}));

    TLumNode* Root = LoadModel(Data + Name, &Form);
    View->OnRender = [Root](TLumView* V) { Root->Render(V); };
    TBitmap B = Snapshot();
    EXPECT_NE(RGB(B, 40, 30), 0u);  // the cube covers the middle
    EXPECT_EQ(RGB(B, 2, 2), 0u);    // and not the corner
    View->OnRender = nullptr;
    delete Root;
  }
}

TEST_F(ModelViewTest, MaterialsAndASideTextureArriveAndDraw) {
  TLumNode* Root = LoadModel(Data + "twoparts.obj", &Form);
  std::vector<TLum3dPart*> P;
  Parts(Root, P);
  ASSERT_EQ(P.size(), 2u);
  TLum3dPart* Red = P[0]->PartName() == "red" || P[0]->Texture() == nullptr ? P[0] : P[1];
  TLum3dPart* Tex = Red == P[0] ? P[1] : P[0];
  ASSERT_NE(Red->PartMaterial(), nullptr);
  const TLumMaterial* M = Red->PartMaterial();
  EXPECT_EQ((std::array<uint32_t, 5>{M->ColorDiffuse()->Color(), M->ColorAmbient()->Color(),
                                     M->ColorSpecular()->Color(), M->ColorEmission()->Color(),
                                     static_cast<uint32_t>(M->Shininess())}),
            (std::array<uint32_t, 5>{0x0000FF, 0x000033, 0x808080, 0x400000, 40}));
  EXPECT_EQ(Red->Texture(), nullptr);
  ASSERT_NE(Tex->Texture(), nullptr);
  EXPECT_EQ(Tex->Texture()->Bitmap()->Width(), 4);
  View->OnRender = [Root](TLumView* V) { Root->Render(V); };
  TBitmap B = Snapshot();
  EXPECT_EQ(RGB(B, 54, 30), 0x00FF00u);  // the white square takes the green texture
  EXPECT_NE(RGB(B, 25, 30), 0u);
  EXPECT_EQ(RGB(B, 40, 30), 0u);
}

TEST(ModelImportTest, GltfNodesKeepTheirHierarchyAndTransformations) {
  TComponent Owner(nullptr);
  TLumImportOptions Options;
  Options.UpAxis = uaYUpToZUp;
  Options.Scale = 2.0;
  double Last = -1;
  Options.OnProgress = [&Last](double P) {
    EXPECT_GE(P, Last);
    Last = P;
  };
  TLumNode* Root = LoadModel(Data + "cube_nodes.gltf", &Owner, Options);
  EXPECT_TRUE(Last >= 0.0 && Last <= 1.0) << Last;  // the importer reported its progress
  EXPECT_EQ(Root->Transformation()->Rotation()->X(), 90.0f);
  EXPECT_EQ(Root->Transformation()->Scale()->Y(), 2.0f);
  // Each node holds one item: a node, a node, the object.
  auto Only = [](TLumNode* N) { return N && N->GetCount() == 1 ? N->GetItems(0) : nullptr; };
  auto* Parent = dynamic_cast<TLumNode*>(Only(Root));
  auto* Child = dynamic_cast<TLumNode*>(Only(Parent));
  auto* Obj = dynamic_cast<TLum3dObj*>(Only(Child));
  ASSERT_TRUE(Parent && Child && Obj);
  EXPECT_EQ(Parent->Transformation()->Translation()->X(), 1.0f);
  EXPECT_TRUE(Parent->Transformation()->Rotation()->GetEmpty());
  const TLumTransformation* T = Child->Transformation();
  EXPECT_NEAR(T->Rotation()->Z(), 90.0f, 1e-3);
  EXPECT_NEAR(T->Rotation()->X(), 0.0f, 1e-3);
  EXPECT_NEAR(T->Scale()->X(), 2.0f, 1e-5);
  EXPECT_TRUE(T->Translation()->GetEmpty());
  EXPECT_EQ(Obj->ObjectName(), "child");

  // Flattened, the same transformations land in the vertices: scaled by 2, then moved.
  TLum3dObj Flat(nullptr);
  Flat.LoadFromFile(Data + "cube_nodes.gltf");
  EXPECT_EQ(*Positions(Flat).begin(), (TPos{0, -1000, -1000}));
  EXPECT_EQ(*Positions(Flat).rbegin(), (TPos{2000, 1000, 1000}));
}

TEST(ModelExportTest, ExportThenImportGivesTheSameTriangles) {
  const test::TempDir Tmp;
  const fs::path& Dir = Tmp.Path();
  TLum3dObj Cube(nullptr);
  Cube.LoadFromFile(Data + "cube.obj");
  std::vector<TTri> Expected = Triangles(Cube);
  for (TTri& T : Expected)
    for (TPos& P : T) P[0] += 2000;  // the node's translation
  for (const char* Name : {"out.obj", "out.stl", "out.gltf", "out.glb"})
    for (bool Apply : {true, false}) {
      SCOPED_TRACE(std::string(Name) + (Apply ? " applied" : " kept"));
      TComponent Owner(nullptr);
      auto* Root = new TLumNode(&Owner);
      auto* Moved = new TLumNode(&Owner);
      Moved->Transformation()->Translation()->SetValues(2, 0, 0);
      auto* O = new TLum3dObj(&Owner);
      O->Assign(&Cube);
      Moved->Add(O);
      Root->Add(Moved);
      SaveModel(Root, (Dir / Name).string(), Apply);
      TLum3dObj Back(nullptr);
      Back.LoadFromFile((Dir / Name).string());
      EXPECT_EQ(Triangles(Back), Expected);
    }
  // A built shape goes out with its mesh.
  TComponent Owner(nullptr);
  auto* Root = new TLumNode(&Owner);
  auto* Box = new TLumBox(&Owner);
  Box->SetWidth(2);
  Root->Add(Box);
  SaveModel(Root, (Dir / "box.stl").string());
  TLum3dObj Back(nullptr);
  Back.LoadFromFile((Dir / "box.stl").string());
  EXPECT_EQ(Positions(Back).size(), 8u);
  EXPECT_EQ(Triangles(Back).size(), 12u);
  EXPECT_EQ((*Positions(Back).rbegin())[0], 1000);
  // Nothing but the files themselves stays in the directory.
  for (const auto& E : fs::directory_iterator(Dir))
    EXPECT_NE(E.path().filename().string().rfind(".lumox-export", 0), 0u) << E.path();
}

// The textured square of twoparts.obj in Dir (made), its material library naming the
// texture MapKd; the image, when given, at Image under Dir.
void TexturedModel(const fs::path& Dir, const std::string& MapKd, const std::string& Image) {
  fs::create_directories(Dir);
  fs::copy_file(Data + "twoparts.obj", Dir / "twoparts.obj");
  std::string Mtl = test::ReadText(Data + "twoparts.mtl");
  Mtl.replace(Mtl.find("map_Kd green.png"), 16, "map_Kd " + MapKd);
  test::WriteText((Dir / "twoparts.mtl").string(), Mtl);
  if (!Image.empty()) {
    fs::create_directories((Dir / Image).parent_path());
    fs::copy_file(Data + "green.png", Dir / Image);
  }
}

// LoadModel with O, its warnings collected in W.
TLumNode* LoadWarned(const std::string& File, TComponent* Owner, std::vector<TLumLoadWarning>& W,
                     TLumImportOptions O = {}) {
  O.OnWarning = [&W](const TLumLoadWarning& X) { W.push_back(X); };
  return LoadModel(File, Owner, O);
}

// The texture of the first textured part under Root, or nullptr.
TLumTexture* PartTexture(TLumNode* Root) {
  std::vector<TLum3dPart*> P;
  Parts(Root, P);
  for (TLum3dPart* X : P)
    if (X->Textured() && X->Texture()) return X->Texture();
  return nullptr;
}

TEST(ModelTextureTest, TexturesAreFoundAsTheirAuthorsMeantAndAMissingOneIsAWarning) {
  struct TCase {
    const char* MapKd;
    const char* Image;    // where the image really is
    const char* Warning;  // part of the warning, or "" when the texture is found
  };
  const TCase Cases[] = {
      {"Maps\\GREEN.PNG", "maps/green.png", ""},  // backslash, and a name in other case
      {"C:\\art\\green.png", "green.png", ""},    // a path of the author's machine
      {"missing.png", "", "\"missing.png\" does not exist"},
      {"../green.png", "../green.png", "\"../green.png\" lies outside the model's folder"},
      {"../none.png", "", "\"../none.png\" lies outside the model's folder"},
      {"/dev/zero", "", "\"/dev/zero\" lies outside the model's folder"},
  };
  for (const TCase& C : Cases) {
    SCOPED_TRACE(C.MapKd);
    const test::TempDir Tmp;
    const fs::path Dir = Tmp.Path() / "m";
    TexturedModel(Dir, C.MapKd, C.Image);
    TComponent Owner(nullptr);
    std::vector<TLumLoadWarning> W;
    TLumNode* Root = LoadWarned((Dir / "twoparts.obj").string(), &Owner, W);
    if (*C.Warning) {
      ASSERT_EQ(W.size(), 1u);
      EXPECT_EQ(W[0].Kind, lwMissingFile);
      EXPECT_NE(W[0].Text.find(C.Warning), std::string::npos) << W[0].Text;
      EXPECT_EQ(PartTexture(Root), nullptr);
    } else {
      EXPECT_TRUE(W.empty()) << W[0].ToString();
      ASSERT_NE(PartTexture(Root), nullptr);
      EXPECT_EQ(PartTexture(Root)->Bitmap()->GetPixel(1, 1), 0x00FF00u);
    }
  }
}

// Two materials naming one image: decoded once, one texture for both parts; missing,
// said once.
TEST(ModelTextureTest, MaterialsSharingAnImageShareOneTextureAndOneWarning) {
  for (const bool Found : {true, false}) {
    SCOPED_TRACE(Found);
    const test::TempDir Tmp;
    const fs::path Dir = Tmp.Path() / "m";
    const std::string Name = Found ? "green.png" : "missing.png";
    TexturedModel(Dir, Name, Found ? Name : "");
    std::string Mtl = test::ReadText((Dir / "twoparts.mtl").string());
    Mtl.insert(Mtl.find("Ns 40\n") + 6, "map_Kd " + Name + "\n");
    test::WriteText((Dir / "twoparts.mtl").string(), Mtl);
    TComponent Owner(nullptr);
    std::vector<TLumLoadWarning> W;
    TLumNode* Root = LoadWarned((Dir / "twoparts.obj").string(), &Owner, W);
    std::vector<TLum3dPart*> P;
    Parts(Root, P);
    ASSERT_EQ(P.size(), 2u);
    EXPECT_EQ(P[0]->Texture(), P[1]->Texture());
    EXPECT_EQ(P[0]->Texture() != nullptr, Found);
    EXPECT_EQ(W.size(), Found ? 0u : 1u);
  }
}

// An image within the pixel bound but wider than the driver allows: a warning from an
// isolated reader too, whose scene the calling process reads back with the driver's limit.
class ModelTextureGLTest : public test::GLTest {};

TEST_F(ModelTextureGLTest, ATextureWiderThanTheDriverAllowsIsAWarningInAnIsolatedImport) {
  const int Side = MaxTextureSide();
  if (Side <= 0) GTEST_SKIP() << "no OpenGL context to ask the limit of";
  const test::TempDir Tmp;
  const fs::path Dir = Tmp.Path() / "m";
  TexturedModel(Dir, "wide.png", "");
  TBitmap Wide;
  Wide.SetSize(Side + 1, 1);
  Wide.SaveToFile((Dir / "wide.png").string());
  for (const bool Isolated : {false, true}) {
    SCOPED_TRACE(Isolated);
    TComponent Owner(nullptr);
    TLumImportOptions O;
    O.Isolated = Isolated;
    std::vector<TLumLoadWarning> W;
    TLumNode* Root = nullptr;
    EXPECT_EQ(
        test::Thrown([&] { Root = LoadWarned((Dir / "twoparts.obj").string(), &Owner, W, O); }),
        "(nothing thrown)");
    ASSERT_NE(Root, nullptr);
    ASSERT_EQ(W.size(), 1u);
    EXPECT_NE(W[0].Text.find("the texture \"wide.png\" cannot be read"), std::string::npos)
        << W[0].Text;
    EXPECT_NE(W[0].Text.find("larger than the OpenGL limit of " + std::to_string(Side)),
              std::string::npos)
        << W[0].Text;
    EXPECT_EQ(PartTexture(Root), nullptr);
  }
}

// A GLB whose triangle is textured by the header of a 16000 x 16000 PNG and nothing after
// it: decoded it would take 1 GB.
TEST(ModelTextureTest, AnEmbeddedImageIsBoundedFromItsHeaderBeforeDecoding) {
  TComponent Owner(nullptr);
  std::vector<TLumLoadWarning> W;
  TLumNode* Root = LoadWarned(Data + "png_header_16000.glb", &Owner, W);
  ASSERT_EQ(W.size(), 1u);
  EXPECT_NE(W[0].Text.find("the embedded texture 0 cannot be read"), std::string::npos)
      << W[0].Text;
  EXPECT_NE(W[0].Text.find("16000 x 16000 pixels is larger than the limit"), std::string::npos)
      << W[0].Text;
  EXPECT_EQ(PartTexture(Root), nullptr);
}

TEST(ModelErrorTest, RefusalsNameTheFileSayWhyInWordsAndNeverTellWhatLiesOutside) {
  const test::TempDir Tmp;
  const fs::path Dir = Tmp.Path() / "m";
  fs::create_directories(Dir);
  test::WriteText((Tmp.Path() / "data.bin").string(), std::string(36, '\0'));
  // A triangle whose buffer is named by Uri.
  auto Gltf = [&](const std::string& Name, const std::string& Uri) {
    test::WriteText(
        (Dir / Name).string(),
        R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0]}],)"
        R"("nodes":[{"mesh":0}],"meshes":[{"primitives":[{"attributes":{"POSITION":0}}]}],)"
        R"("buffers":[{"uri":")" +
            Uri +
            R"(","byteLength":36}],)"
            R"("bufferViews":[{"buffer":0,"byteLength":36}],"accessors":[{"bufferView":0,)"
            R"("componentType":5126,"count":3,"type":"VEC3","min":[0,0,0],"max":[0,0,0]}]})");
    return (Dir / Name).string();
  };
  TComponent Owner(nullptr);
  // Whether the file there exists or not, the same words.
  std::vector<std::string> Said;
  for (const std::string Uri : {"../data.bin", "../none.bin", "../../../../../../../etc/passwd"}) {
    Said.push_back(test::Thrown([&] { LoadModel(Gltf("a.gltf", Uri), &Owner); }));
    EXPECT_NE(Said.back().find("\"" + Uri + "\", which lies outside the model's folder"),
              std::string::npos)
        << Said.back();
  }
  // Widened, the same file loads.
  TLumImportOptions Wide;
  Wide.ResourceRoots = {Tmp.Path().string()};
  EXPECT_NE(LoadModel(Gltf("a.gltf", "../data.bin"), &Owner, Wide), nullptr);
  // A file over the size bound, a damaged glTF (the reader's own words), a file that is
  // not a model: each says why, ending in one full stop.
  TLumImportOptions Small;
  Small.MaxFileSize = 100;
  Said.push_back(test::Thrown([&] { LoadModel(Gltf("d.gltf", "x.bin"), &Owner, Small); }));
  EXPECT_NE(Said.back().find("more than the bound of 100 bytes"), std::string::npos) << Said.back();
  test::WriteText((Dir / "cut.gltf").string(), "{\"asset\":{\"version\":\"2.0\"},\"nodes\":[");
  Said.push_back(test::Thrown([&] { LoadModel((Dir / "cut.gltf").string(), &Owner); }));
  EXPECT_EQ(Said.back().find("No suitable reader"), std::string::npos) << Said.back();
  // A word where a number should stand is named with its line, not as a piece of file.
  test::WriteText((Dir / "bad.stl").string(),
                  "solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\n"
                  "vertex abc 1 0\nendloop\nendfacet\nendsolid\n");
  Said.push_back(test::Thrown([&] { LoadModel((Dir / "bad.stl").string(), &Owner); }));
  EXPECT_NE(Said.back().find(": line 6: \"abc\" is where a number should stand."),
            std::string::npos)
      << Said.back();
  // A cut file, a file of no known kind, a missing one: named, and the object they were
  // to load into left as it was.
  const std::string Bytes = test::ReadText(Data + "cube.glb");
  test::WriteText((Dir / "cut.glb").string(), Bytes.substr(0, Bytes.size() / 2));
  test::WriteText((Dir / "notes.xyz8").string(), "hello\n");
  TLum3dObj O(nullptr);
  O.LoadFromFile(Data + "cube.obj");
  for (const fs::path& F : {Dir / "cut.glb", Dir / "notes.xyz8", Dir / "missing.obj"}) {
    Said.push_back(test::Thrown([&] { O.LoadFromFile(F.string()); }));
    EXPECT_NE(Said.back().find(F.string()), std::string::npos) << Said.back();
    EXPECT_EQ(Triangles(O).size(), 12u);
  }
  // Nothing to write, or no writer for the name: nothing written.
  auto* Root = new TLumNode(&Owner);
  EXPECT_THROW(SaveModel(Root, (Dir / "empty.obj").string()), Exception);
  EXPECT_THROW(SaveModel(Root, (Dir / "scene.abc").string()), Exception);
  EXPECT_FALSE(fs::exists(Dir / "empty.obj"));
  for (const std::string& M : Said) {
    EXPECT_EQ(M.rfind("Cannot read the model file \"", 0), 0u) << M;
    ASSERT_GE(M.size(), 2u);
    EXPECT_TRUE(M.back() == '.' && M[M.size() - 2] != '.') << M;
  }
}

}  // namespace
}  // namespace lumox
