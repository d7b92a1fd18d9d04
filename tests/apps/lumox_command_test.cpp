// The lumox command end to end: exit statuses, messages, PNG output, the report and
// conversion round trips.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "lumox/exchange/lumexchange.h"
#include "lumox/geometry/lumgeom.h"
#include "lumox/geometry/lumshape.h"
#include "lumox/host/graphics.h"
#include "lumox/package/lumversion.h"
#include "lumox/scene/lumattr.h"
#include "lumox/scene/lumlight.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumtex.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

namespace fs = std::filesystem;

class CommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Dir = fs::temp_directory_path() / ("lumox_command_test_" + std::to_string(::getpid()));
    fs::create_directories(Dir);
  }
  void TearDown() override { fs::remove_all(Dir); }

  std::string File(const std::string& Name) const { return (Dir / Name).string(); }
  void Write(const std::string& Name, const std::string& Text) const {
    std::ofstream(File(Name), std::ios::binary) << Text;
  }
  static std::string Read(const std::string& Path) { return test::ReadText(Path); }
  TBitmap Image(const std::string& Name) const {
    TBitmap B;
    B.LoadFromFile(File(Name));
    return B;
  }
  // Runs the command with Args (and Env, NAME=VALUE before it); stdout and stderr land
  // in Out and Err.
  int Run(const std::string& Args, const std::string& Env = "") {
    const std::string Cmd = Env + " '" + LUMOX_COMMAND + "' " + Args + " >'" + File("out.txt") +
                            "' 2>'" + File("err.txt") + "'";
    const int Status = std::system(Cmd.c_str());
    Out = Read(File("out.txt"));
    Err = Read(File("err.txt"));
    return WIFEXITED(Status) ? WEXITSTATUS(Status) : -1;
  }
  // A scene with one unlit sphere of the given colour ($00BBGGRR) at (X, 0, 0).
  std::string SphereScene(const std::string& Color, double X = 0) const {
    const std::string At = std::to_string(X);
    return "<LUMGL version=\"0.1.0\" program=\"Lumox\" description=\"test\">\r\n  <Objects>\r\n"
           "    <TLUMSPHERE name=\"Ball\" Radius=\"0.5\" Slices=\"16\" Stacks=\"12\">\r\n"
           "      <Transformation>\r\n        <Translation P=\"" +
           At +
           ",0,0\"/>\r\n"
           "      </Transformation>\r\n      <Color Color=\"" +
           Color +
           "\" Alpha=\"1\"/>\r\n"
           "    </TLUMSPHERE>\r\n  </Objects>\r\n</LUMGL>\r\n";
  }
  static bool RedDominates(uint32_t P) {
    const int R = P & 0xFF, G = (P >> 8) & 0xFF, B = (P >> 16) & 0xFF;
    return R > 100 && R > 2 * G && R > 2 * B;
  }

  fs::path Dir;
  std::string Out, Err;
};

TEST_F(CommandTest, RendersARedSphereInFrontOfTheDefaultCamera) {
  Write("red.lumgl", SphereScene("000000FF"));
  ASSERT_EQ(Run("render '" + File("red.lumgl") + "' -o '" + File("red.png") + "'"), 0) << Err;
  TBitmap B = Image("red.png");
  ASSERT_EQ(B.Width(), 400);
  ASSERT_EQ(B.Height(), 250);
  EXPECT_TRUE(RedDominates(B.GetPixel(200, 125))) << std::hex << B.GetPixel(200, 125);
  for (auto [X, Y] : {std::pair{0, 0}, {399, 0}, {0, 249}, {399, 249}})
    EXPECT_EQ(B.GetPixel(X, Y), 0u);

  // Size and background; the output is replaced.
  ASSERT_EQ(Run("render '" + File("red.lumgl") + "' -o '" + File("red.png") +
                "' --size 64x48 --background=102030"),
            0)
      << Err;
  B = Image("red.png");
  EXPECT_EQ(B.Width(), 64);
  EXPECT_EQ(B.Height(), 48);
  EXPECT_EQ(B.GetPixel(0, 0), 0x302010u);
  EXPECT_TRUE(RedDominates(B.GetPixel(32, 24)));
}

TEST_F(CommandTest, FitFramesASceneAwayFromTheOrigin) {
  Write("far.lumgl", SphereScene("000000FF", 6));
  ASSERT_EQ(Run("render '" + File("far.lumgl") + "' -o '" + File("a.png") + "' --size 80x60"), 0);
  TBitmap B = Image("a.png");
  EXPECT_EQ(B.GetPixel(40, 30), 0u);  // out of sight of the default camera
  ASSERT_EQ(Run("render '" + File("far.lumgl") + "' -o '" + File("a.png") + "' --size 80x60 --fit"),
            0);
  B = Image("a.png");
  EXPECT_TRUE(RedDominates(B.GetPixel(40, 30)));
  EXPECT_TRUE(RedDominates(B.GetPixel(40, 5)));  // the sphere fills the height...
  EXPECT_EQ(B.GetPixel(40, 0), 0u);              // ...with a margin
  EXPECT_EQ(B.GetPixel(5, 30), 0u);
}

TEST_F(CommandTest, DemoRendersALitScene) {
  ASSERT_EQ(Run("demo -o '" + File("demo.png") + "'"), 0) << Err;
  TBitmap B = Image("demo.png");
  ASSERT_EQ(B.Width(), 400);
  int Coloured = 0;  // pixels with a clearly dominant channel: materials under lights
  for (int Y = 0; Y < B.Height(); ++Y)
    for (int X = 0; X < B.Width(); ++X) {
      const uint32_t P = B.GetPixel(X, Y);
      const int C[3] = {int(P & 0xFF), int((P >> 8) & 0xFF), int((P >> 16) & 0xFF)};
      const int Max = std::max({C[0], C[1], C[2]}), Min = std::min({C[0], C[1], C[2]});
      Coloured += Max > 90 && Max - Min > 60;
    }
  EXPECT_GT(Coloured, B.Width() * B.Height() / 20);
  EXPECT_EQ(Run("render -o '" + File("demo2.png") + "'"), 0);  // no scene: the demo
  EXPECT_EQ(Read(File("demo.png")), Read(File("demo2.png")));
}

TEST_F(CommandTest, SceneFailuresExitWithOneAndNameTheFile) {
  const std::string Missing = File("missing.lumgl");
  EXPECT_EQ(Run("render '" + Missing + "' -o '" + File("x.png") + "'"), 1);
  EXPECT_NE(Err.find(Missing), std::string::npos) << Err;
  EXPECT_EQ(std::count(Err.begin(), Err.end(), '\n'), 1) << Err;

  std::string Bad = SphereScene("000000FF"), Huge = Bad;
  Bad.replace(Bad.find("Slices=\"16\""), 11, "Slices=\"ten\"");
  Huge.replace(Huge.find("Slices=\"16\" Stacks=\"12\""), 25,
               "Slices=\"2147483647\" Stacks=\"2147483647\"");
  Write("bad.lumgl", Bad), Write("huge.lumgl", Huge), Write("text.lumgl", "just some text\n");
  const std::string To = "' -o '" + File("x.png") + "'";
  // A mesh over the size limit is refused by name, before anything is allocated.
  const std::pair<std::string, std::vector<std::string>> Cases[] = {
      {"render '" + File("bad.lumgl") + To, {File("bad.lumgl"), "Slices"}},
      {"info '" + File("text.lumgl") + "'", {File("text.lumgl")}},
      {"render '" + File("huge.lumgl") + To,
       {"TLumSphere \"Ball\"", "4611686018427387904 vertices"}}};
  for (const auto& [Args, Wanted] : Cases) {
    EXPECT_EQ(Run(Args), 1) << Args;
    for (const std::string& W : Wanted) EXPECT_NE(Err.find(W), std::string::npos) << Err;
  }
  EXPECT_FALSE(fs::exists(File("x.png")));

  Write("red.lumgl", SphereScene("000000FF"));  // an output that cannot be written
  EXPECT_EQ(Run("render '" + File("red.lumgl") + "' -o '" + File("no/dir/x.png") + "'"), 1);
  EXPECT_NE(Err.find("no/dir/x.png"), std::string::npos) << Err;

  // A full disk (a file-size limit, its signal ignored) leaves the old image as it was.
  ASSERT_EQ(Run("render '" + File("red.lumgl") + "' -o '" + File("old.png") + "'"), 0);
  const std::string Old = Read(File("old.png"));
  const std::string Limited = std::string("sh -c \"trap '' XFSZ; ulimit -f 1; exec '") +
                              LUMOX_COMMAND + "' render '" + File("red.lumgl") +
                              "' --size 300x300 -o '" + File("old.png") + "'\"";
  const int Status = std::system((Limited + " 2>/dev/null").c_str());
  EXPECT_EQ(WIFEXITED(Status) ? WEXITSTATUS(Status) : -1, 1);
  EXPECT_EQ(Read(File("old.png")), Old);
  for (const auto& E : fs::directory_iterator(Dir))
    EXPECT_EQ(E.path().filename().string().find(".old.png"), std::string::npos);
}

TEST_F(CommandTest, BadUsageExitsWithTwo) {
  Write("red.lumgl", SphereScene("000000FF"));
  const std::string S = "'" + File("red.lumgl") + "' ";
  for (const std::string& Args :
       std::vector<std::string>{"",
                                "frobnicate",
                                "render " + S,
                                "render " + S + "-o",
                                "render " + S + "-o a.png --size 10",
                                "render " + S + "-o a.png --size 0x10",
                                "render " + S + "-o a.png --background red",
                                "render " + S + "-o a.png --fov 200",
                                "render " + S + "-o a.png --near -1",
                                "render " + S + "-o a.png --bogus",
                                "render " + S + S + "-o a.png",
                                "demo x.lumgl -o a.png",
                                "render " + S + "-o a.gif",
                                "render " + S + "-o a",
                                "render " + S + "-o png",
                                "convert " + S,
                                "convert " + S + "b c",
                                "convert " + S + "b --decimals x",
                                "info --x",
                                "convert " + S + "''"}) {
    EXPECT_EQ(Run(Args), 2) << Args;
    EXPECT_FALSE(Err.empty()) << Args;
  }
  EXPECT_EQ(Run("render " + S + "-o a.png --size 20000x10"), 2);
  EXPECT_NE(Err.find("16384"), std::string::npos) << Err;
  EXPECT_EQ(Run("--help"), 0);
  EXPECT_NE(Out.find("render [SCENE.lumgl] -o OUT.png"), std::string::npos);
  for (const char* Help : {"render --help", "help render"}) {
    EXPECT_EQ(Run(Help), 0) << Help;
    EXPECT_EQ(Out.rfind("usage: lumox render", 0), 0u) << Out;
    EXPECT_NE(Out.find("--size WxH"), std::string::npos) << Out;
  }
  EXPECT_EQ(Run("--version"), 0);
  EXPECT_EQ(Out, std::string(LUMOX_VERSION_STRING) + "\n");
}

TEST_F(CommandTest, OutputFormatFollowsTheExtension) {
  Write("red.lumgl", SphereScene("000000FF"));
  const std::pair<const char*, std::string> Cases[] = {
      {"a.png", "\x89PNG"}, {"a.BMP", "BM"}, {"a.jpg", "\xFF\xD8\xFF"}, {"a.jpeg", "\xFF\xD8\xFF"}};
  for (const auto& [Name, Magic] : Cases) {
    ASSERT_EQ(Run("render '" + File("red.lumgl") + "' --size 40x30 -o '" + File(Name) + "'"), 0)
        << Err;
    EXPECT_EQ(Read(File(Name)).substr(0, Magic.size()), Magic) << Name;
    TBitmap B = Image(Name);
    EXPECT_TRUE(RedDominates(B.GetPixel(20, 15))) << Name;
  }
}

TEST_F(CommandTest, FailuresSayWhatIsWrong) {
  EXPECT_EQ(Run("render '" + Dir.string() + "' -o '" + File("x.png") + "'"), 1);
  EXPECT_NE(Err.find("is a directory"), std::string::npos) << Err;
  // Without a GL driver the reason, and the packages that bring one, come through.
  EXPECT_EQ(Run("demo -o '" + File("x.png") + "'", "__EGL_VENDOR_LIBRARY_FILENAMES=/nonexistent"),
            1);
  EXPECT_NE(Err.find("No EGL display is available: install"), std::string::npos) << Err;
  EXPECT_FALSE(fs::exists(File("x.png")));
}

TEST_F(CommandTest, InfoReportsContextAndSceneCounts) {
  std::string Two = SphereScene("000000FF");
  const size_t At = Two.find("    <TLUMSPHERE");
  const size_t End = Two.find("  </Objects>");
  std::string Second = Two.substr(At, End - At);
  Second.replace(Second.find("Ball"), 4, "Ball2");
  Two.insert(End, Second);
  Write("two.lumgl", Two);
  ASSERT_EQ(Run("info '" + File("two.lumgl") + "'"), 0) << Err;
  for (const char* Field : {"GL vendor:", "GL renderer:", "GL version:", "GL extensions:",
                            "Colour bits:", "Depth bits:", "Stencil bits:"})
    EXPECT_NE(Out.find(Field), std::string::npos) << Field << "\n" << Out;
  EXPECT_NE(Out.find(LUMOX_VERSION_STRING), std::string::npos);
  EXPECT_NE(Out.find("TLumSphere: 2\n"), std::string::npos) << Out;
  // A 16 x 12 sphere: 17 x 13 vertices; 16 x 2 pole triangles and 16 strips of 10 x 2.
  EXPECT_NE(Out.find("Vertices:     442\n"), std::string::npos) << Out;
  EXPECT_NE(Out.find("Triangles:    704\n"), std::string::npos) << Out;
  EXPECT_NE(Out.find("Bounds:       (-0.5, -0.5, -0.5) .. (0.5, 0.5, 0.5)\n"), std::string::npos)
      << Out;
}

TEST_F(CommandTest, ConvertRoundTripsAndHonoursWriterOptions) {
  Write("red.lumgl", SphereScene("000000FF", 0.25));
  ASSERT_EQ(Run("convert '" + File("red.lumgl") + "' '" + File("a.lumgl") + "'"), 0) << Err;
  ASSERT_EQ(Run("convert '" + File("a.lumgl") + "' '" + File("b.lumgl") + "'"), 0) << Err;
  const std::string A = Read(File("a.lumgl"));
  EXPECT_EQ(A, Read(File("b.lumgl")));
  EXPECT_NE(A.find("description=\"test\""), std::string::npos) << A;
  EXPECT_NE(A.find("Radius=\"0.5\""), std::string::npos) << A;

  ASSERT_EQ(Run("convert '" + File("a.lumgl") + "' '" + File("c.lumgl") +
                "' --no-defaults --param-newline --decimals 3"),
            0);
  const std::string C = Read(File("c.lumgl"));
  EXPECT_LT(C.size(), A.size());
  EXPECT_NE(C.find("\r\n Radius=\"0.5\""), std::string::npos) << C;
  ASSERT_EQ(Run("render '" + File("c.lumgl") + "' -o '" + File("c.png") + "' --size 80x60"), 0);
  TBitmap B = Image("c.png");
  EXPECT_TRUE(RedDominates(B.GetPixel(44, 30)));
}

TEST_F(CommandTest, ClassesListsThePalettePagesInOrder) {
  ASSERT_EQ(Run("classes"), 0);
  const size_t Page = Out.find("Lumox:\n  TLumView\n  TLumPerspectiveCamera\n");
  const size_t Obj = Out.find("Lumox Obj:\n  TLumPoint\n  TLumLine\n");
  EXPECT_NE(Page, std::string::npos) << Out;
  EXPECT_NE(Obj, std::string::npos) << Out;
  EXPECT_LT(Page, Obj);
  EXPECT_NE(Out.find("  TLumExchange\n  TLumDXFImport\nLumox Obj:"), std::string::npos) << Out;
  EXPECT_NE(Out.find("  TLumRotObj\n"), std::string::npos) << Out;
}

TEST_F(CommandTest, TitleIsDrawnAtTheTopOfTheImage) {
  Write("away.lumgl", SphereScene("000000FF", 6));  // out of sight: an empty frame
  ASSERT_EQ(Run("render '" + File("away.lumgl") + "' -o '" + File("t.png") +
                "' --size 160x100 --title 'Hello'"),
            0)
      << Err;
  TBitmap B = Image("t.png");
  int Top = 0, Rest = 0;
  for (int Y = 0; Y < B.Height(); ++Y)
    for (int X = 0; X < B.Width(); ++X) (Y < 20 ? Top : Rest) += B.GetPixel(X, Y) != 0;
  EXPECT_GT(Top, 20);
  EXPECT_EQ(Rest, 0);
  EXPECT_EQ(Run("demo -o '" + File("t.png") + "' --title"), 2);
}

TEST_F(CommandTest, WarningsOnStderrStrictAndCheckFailOnThem) {
  std::string Scene = SphereScene("000000FF");
  Scene.replace(Scene.find("Radius="), 7, "Radus=");
  Write("typo.lumgl", Scene);
  const std::string F = "'" + File("typo.lumgl") + "'";
  EXPECT_EQ(Run("render " + F + " -o '" + File("t.png") + "'"), 0) << Err;
  EXPECT_NE(Err.find(File("typo.lumgl") + ":3: element \"TLUMSPHERE\": attribute \"Radus\""),
            std::string::npos)
      << Err;
  EXPECT_EQ(Run("render " + F + " -o '" + File("u.png") + "' --strict"), 1);
  EXPECT_FALSE(fs::exists(File("u.png")));
  EXPECT_EQ(Run("info " + F + " --strict"), 1);
  EXPECT_EQ(Run("check " + F), 1);
  EXPECT_TRUE(Out.empty());
  // Convert says what it loses and keeps the input unless forced.
  EXPECT_EQ(Run("convert " + F + " " + F), 1);
  EXPECT_NE(Err.find("--force"), std::string::npos) << Err;
  EXPECT_EQ(Read(File("typo.lumgl")), Scene);
  EXPECT_EQ(Run("convert " + F + " " + F + " --force"), 0) << Err;
  EXPECT_EQ(Run("check " + F), 0) << Err;  // what is left loads cleanly

  // More than 20 warnings: the first 20 and a count.
  std::string Many = SphereScene("000000FF");
  std::string Attrs;
  for (int I = 0; I < 25; ++I) Attrs += " Bad" + std::to_string(I) + "=\"1\"";
  Many.insert(Many.find(" Radius="), Attrs);
  Write("many.lumgl", Many);
  EXPECT_EQ(Run("check '" + File("many.lumgl") + "'"), 1);
  EXPECT_EQ(std::count(Err.begin(), Err.end(), '\n'), 22) << Err;
  EXPECT_NE(Err.find("and 5 more warnings (25 in all)"), std::string::npos) << Err;
}

TEST_F(CommandTest, TheFileCameraFramesTheSceneAndConvertKeepsIt) {
  // The sphere at x = 3 is out of the default camera's sight; the file's camera looks at it.
  std::string Scene = SphereScene("000000FF", 3);
  Scene.insert(Scene.find("  </Objects>"),
               "    <TLUMPERSPECTIVECAMERA name=\"Eye\" ViewAngle=\"30\" ViewFar=\"50\">\r\n"
               "      <Transformation><Translation P=\"-3,0,-6\"/></Transformation>\r\n"
               "    </TLUMPERSPECTIVECAMERA>\r\n");
  Write("cam.lumgl", Scene);
  const std::string F = "'" + File("cam.lumgl") + "' ";
  ASSERT_EQ(Run("render " + F + "-o '" + File("c.png") + "' --size 80x60"), 0) << Err;
  EXPECT_TRUE(Err.empty()) << Err;
  TBitmap B = Image("c.png");
  EXPECT_TRUE(RedDominates(B.GetPixel(40, 30)));
  EXPECT_EQ(B.GetPixel(40, 5), 0u);  // the narrower view angle, from farther away
  // A camera option replaces the file's camera; a look-at view finds the sphere again.
  ASSERT_EQ(Run("render " + F + "-o '" + File("d.png") + "' --size 80x60 --fov 45"), 0);
  B = Image("d.png");
  EXPECT_EQ(B.GetPixel(40, 30), 0u);
  ASSERT_EQ(Run("render " + F + "-o '" + File("e.png") +
                "' --size 80x60 --camera-position 3,4,0.01 --look-at 3,0,0"),
            0);
  B = Image("e.png");
  EXPECT_TRUE(RedDominates(B.GetPixel(40, 30)));
  EXPECT_EQ(B.GetPixel(2, 2), 0u);

  ASSERT_EQ(Run("convert " + F + "'" + File("copy.lumgl") + "'"), 0) << Err;
  ASSERT_EQ(Run("render '" + File("copy.lumgl") + "' -o '" + File("f.png") + "' --size 80x60"), 0);
  EXPECT_EQ(Read(File("c.png")), Read(File("f.png")));

  ASSERT_EQ(Run("info " + F + "--list-scene"), 0) << Err;
  EXPECT_NE(Out.find("    TLumSphere \"Ball\": (2.5"), std::string::npos) << Out;
}

// A scene with a camera element, lights, materials, a texture and several shape classes,
// converted to a form and back: the three render the same pixels, the scene comes back
// byte for byte; a model converts too, and bad forms are refused by place.
TEST_F(CommandTest, FormsRenderAndConvertFromAndToScenesWithTheSamePixels) {
  {
    TComponent Form(nullptr);
    auto* Root = new TLumNode(&Form);
    auto* Lit = new TLumAttributes(&Form);
    Lit->SetLighting(true);
    Lit->SetNode(Root);
    auto* Sun = new TLumLight(&Form);
    Sun->SetKind(lkDirection);
    Sun->Direction()->SetValues(-0.4f, 0.6f, 1);
    Sun->SetNode(Root);
    auto* Red = new TLumMaterial(&Form);
    Red->SetName("Red");
    Red->ColorEmission()->SetColor(
        0x0000C0);  // a diffuse colour is lost in LUMGL files, on purpose
    auto* Tex = new TLumTexture(&Form);
    TBitmap Check(8, 8);
    for (int Y = 0; Y < 8; ++Y)
      for (int X = 0; X < 8; ++X) Check.SetPixel(X, Y, (X + Y) % 2 ? 0x00FF00 : 0xFF00FF);
    Tex->SetBitmap(&Check);
    Tex->SetNode(Root);
    auto* Floor = new TLumRectangle(&Form);
    Floor->SetWidth(3);
    Floor->SetHeight(3);
    Floor->Transformation()->Translation()->SetValues(0, -0.6f, 0);
    Floor->SetNode(Root);
    Red->SetNode(Root);
    auto* Ball = new TLumSphere(&Form);
    Ball->SetName("Ball");
    Ball->SetRadius(0.4);
    Ball->SetNode(Root);
    auto* Crate = new TLumBox(&Form);
    Crate->SetMaterial(Red);
    Crate->Transformation()->Translation()->SetX(-0.9f);
    Crate->SetNode(Root);
    auto* Ring = new TLumTorus(&Form);
    Ring->Transformation()->Translation()->SetX(0.9f);
    Ring->SetNode(Root);
    TLumExchange Ex(&Form);
    Ex.SetFileName(File("made.lumgl"));
    Ex.SetFileDescription("");  // a form holds components only, not the file's description
    Ex.SavetoFile(Root);
  }
  std::string Scene = Read(File("made.lumgl"));
  Scene.insert(Scene.find("  </Objects>"),
               "    <TLUMPERSPECTIVECAMERA name=\"Eye\" ViewAngle=\"50\">\r\n"
               "      <Transformation><Translation P=\"0,-0.2,-3\"/></Transformation>\r\n"
               "    </TLUMPERSPECTIVECAMERA>\r\n");
  Write("made.lumgl", Scene);
  const std::string Size = " --size 160x100";
  auto RenderTo = [&](const std::string& In, const std::string& Png) {
    EXPECT_EQ(Run("render '" + File(In) + "' -o '" + File(Png) + "'" + Size), 0) << In << Err;
    return Image(Png);
  };
  auto Convert = [&](const std::string& In, const std::string& Out) {
    EXPECT_EQ(Run("convert '" + File(In) + "' '" + File(Out) + "'"), 0) << In << Err;
  };
  Convert("made.lumgl", "scene.lumgl");  // the camera element moves to the end
  Convert("scene.lumgl", "app.lumform");
  Convert("app.lumform", "back.lumgl");
  const TBitmap A = RenderTo("scene.lumgl", "a.png");
  // Seen by the file's camera: the lit ball in the middle, red from its material.
  const uint32_t Mid = A.GetPixel(80, 50);
  EXPECT_GT(Mid & 0xFF, 0x60u);
  EXPECT_GT(Mid & 0xFF, ((Mid >> 8) & 0xFF) + 40) << std::hex << Mid;
  EXPECT_EQ(A.GetPixel(80, 2), 0u);
  const std::string Form = Read(File("app.lumform"));
  for (const char* Wanted :
       {"object View1: TLumView", "Camera = Eye", "object Eye: TLumPerspectiveCamera",
        "ViewAngle = 50.0", "object Ball: TLumSphere", "Data = ("})
    EXPECT_NE(Form.find(Wanted), std::string::npos) << Wanted << "\n" << Form;
  // The same image files, written from the same pixels.
  for (const auto& [In, Png] : {std::pair{"app.lumform", "b.png"}, {"back.lumgl", "c.png"}}) {
    RenderTo(In, Png);
    EXPECT_TRUE(Read(File("a.png")) == Read(File(Png))) << In;
  }
  // The scene comes back as it was; only its texture's side file is named after the file.
  std::string Back = Read(File("back.lumgl"));
  Back.replace(Back.find("back0.bmp"), 9, "scene0.bmp");
  EXPECT_EQ(Back, Read(File("scene.lumgl")));
  EXPECT_TRUE(Read(File("back0.bmp")) == Read(File("scene0.bmp")));
  // Without --size the form's view gives the size, render's own default for a scene.
  ASSERT_EQ(Run("render '" + File("app.lumform") + "' -o '" + File("d.png") + "'"), 0) << Err;
  EXPECT_EQ(Image("d.png").Width(), 400);

  // A model converts the same way: a form that renders as the model does, headlight and all.
  const std::string Cube = std::string(LUMOX_TEST_DATA) + "/models/cube.obj";
  ASSERT_EQ(Run("convert '" + Cube + "' '" + File("cube.lumform") + "'"), 0) << Err;
  ASSERT_EQ(Run("render '" + Cube + "' -o '" + File("e.png") + "'" + Size + " --fit"), 0) << Err;
  ASSERT_EQ(
      Run("render '" + File("cube.lumform") + "' -o '" + File("f.png") + "'" + Size + " --fit"), 0)
      << Err;
  EXPECT_TRUE(Read(File("e.png")) == Read(File("f.png")));

  // A bad form: the place and reason, exit status 1, no image; a form without a view
  // has nothing to render, but a scene to convert.
  std::string Bad = Form;
  Bad.replace(Bad.find("Radius = 0.4"), 12, "Radius = wide");
  Write("bad.lumform", Bad);
  Write("noview.lumform", "LUMFORM 1\nobject Ball: TLumSphere\nend\n");
  for (const char* Cmd : {"render '$.lumform' -o '$.png'", "convert '$.lumform' '$.lumgl'"}) {
    std::string Args = Cmd;
    for (size_t At; (At = Args.find('$')) != std::string::npos;) Args.replace(At, 1, File("bad"));
    EXPECT_EQ(Run(Args), 1) << Args;
    EXPECT_NE(Err.find("bad.lumform:"), std::string::npos) << Err;
    EXPECT_NE(Err.find(": Ball.Radius: "), std::string::npos) << Err;
  }
  EXPECT_FALSE(fs::exists(File("bad.png")) || fs::exists(File("bad.lumgl")));
  EXPECT_EQ(Run("render '" + File("noview.lumform") + "' -o '" + File("x.png") + "'"), 1);
  EXPECT_NE(Err.find("noview.lumform: the form has no view"), std::string::npos) << Err;
  EXPECT_FALSE(fs::exists(File("x.png")));
  EXPECT_EQ(Run("convert '" + File("noview.lumform") + "' '" + File("x.lumgl") + "'"), 0) << Err;
  EXPECT_NE(Read(File("x.lumgl")).find("name=\"Ball\""), std::string::npos);
}

// docs/format.md holds the output of `lumox classes --attributes` between two marker lines.
TEST_F(CommandTest, FormatReferenceInTheDocsIsTheCommandsOutput) {
  ASSERT_EQ(Run("classes --attributes"), 0) << Err;
  const std::string Doc = Read(std::string(LUMOX_TEST_DATA) + "/../../docs/format.md");
  const std::string Begin = "<!-- BEGIN lumox classes --attributes -->\n```\n";
  const size_t From = Doc.find(Begin);
  const size_t To = Doc.find("```\n<!-- END lumox classes --attributes -->");
  ASSERT_NE(From, std::string::npos);
  ASSERT_NE(To, std::string::npos);
  EXPECT_TRUE(Doc.substr(From + Begin.size(), To - From - Begin.size()) == Out)
      << "docs/format.md is out of date: run tools/update-format-doc";
  EXPECT_NE(Out.find("<FDiffuse>  written, not read back"), std::string::npos);
}

// The class tables: a line per property with type and default, inherited ones first.
TEST_F(CommandTest, ClassesPropertiesPrintsTheTables) {
  ASSERT_EQ(Run("classes --properties tlumfog"), 0) << Err;
  const size_t Enabled =
      Out.find("\n  Enabled                Boolean                        true\n");
  const size_t Density =
      Out.find("\n  Density                Single                         0.2\n");
  EXPECT_EQ(Out.rfind("TLumFog (TLumRender), palette page \"Lumox\"", 0), 0u) << Out;
  EXPECT_NE(Enabled, std::string::npos) << Out;
  EXPECT_NE(Density, std::string::npos) << Out;
  EXPECT_LT(Enabled, Density);
  EXPECT_NE(Out.find("  Color                  TLumColor (owned)              no stored default"),
            std::string::npos);
  ASSERT_EQ(Run("classes --properties"), 0) << Err;
  EXPECT_NE(Out.find("\nTLumTimer (TComponent)"), std::string::npos);
  EXPECT_NE(
      Out.find("  Intervall              Integer                        1000, range 1..3600000"),
      std::string::npos);
  EXPECT_EQ(Run("classes --properties TLumNoSuchClass"), 1);
  EXPECT_NE(Err.find("no class TLumNoSuchClass"), std::string::npos) << Err;
  EXPECT_EQ(Run("classes --properties A B"), 2);
}

TEST_F(CommandTest, OnATerminalRenderWithoutOutputWritesScenePngBesideTheScene) {
  if (std::system("command -v script >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "no script(1) for a terminal";
  Write("ball.lumgl", SphereScene("000000FF"));
  // script(1) gives the command a terminal; what it prints lands in out.txt.
  ASSERT_EQ(Run("--version"), 0);  // Run's files exist
  const std::string Cmd = "script -qec \"'" + std::string(LUMOX_COMMAND) + "' render '" +
                          File("ball.lumgl") + "' --size 40x30\" /dev/null >'" + File("out.txt") +
                          "'";
  const int Status = std::system(Cmd.c_str());
  ASSERT_TRUE(WIFEXITED(Status) && WEXITSTATUS(Status) == 0) << Read(File("out.txt"));
  EXPECT_NE(Read(File("out.txt")).find("wrote " + File("ball.png")), std::string::npos)
      << Read(File("out.txt"));
  TBitmap B = Image("ball.png");
  EXPECT_EQ(B.Width(), 40);
}

TEST_F(CommandTest, ModelFilesRenderConvertAndReport) {
  const std::string Models = std::string(LUMOX_TEST_DATA) + "/models/";
  ASSERT_EQ(Run("info '" + Models + "cube.obj'"), 0) << Err;
  EXPECT_NE(Out.find("Vertices:     8\nTriangles:    12\n"), std::string::npos) << Out;
  EXPECT_NE(Out.find("Bounds:       (-0.5, -0.5, -0.5) .. (0.5, 0.5, 0.5)"), std::string::npos)
      << Out;
  ASSERT_EQ(
      Run("render '" + Models + "cube.glb' -o '" + File("c.png") + "' --size 80x60 --no-headlight"),
      0)
      << Err;
  TBitmap B = Image("c.png");
  EXPECT_EQ(B.GetPixel(40, 30), 0xFFFFFFu);  // unlit: the material's colour does not count
  EXPECT_EQ(B.GetPixel(2, 2), 0u);
  // A model into a scene file and on into glTF keeps its triangles.
  ASSERT_EQ(Run("convert '" + Models + "cube.ply' '" + File("c.lumgl") + "'"), 0) << Err;
  ASSERT_EQ(Run("convert '" + File("c.lumgl") + "' '" + File("c.gltf") + "'"), 0) << Err;
  ASSERT_EQ(Run("info '" + File("c.gltf") + "'"), 0) << Err;
  EXPECT_NE(Out.find("Triangles:    12\n"), std::string::npos) << Out;
  // Points have no place in OBJ or glTF as written: a warning beside triangles, the
  // reason in words when there is nothing else.
  const std::string Cloud = R"(<TLUMPOINTSET name="C"><Point P="0,0,0"/><Point P="1,0,0"/>)"
                            R"(</TLUMPOINTSET>)";
  Write("mixed.lumgl", "<LUMGL><Objects><TLUMSPHERE name=\"B\"/>" + Cloud + "</Objects></LUMGL>");
  Write("cloud.lumgl", "<LUMGL><Objects>" + Cloud + "</Objects></LUMGL>");
  ASSERT_EQ(Run("convert '" + File("mixed.lumgl") + "' '" + File("m.obj") + "'"), 0) << Err;
  EXPECT_NE(Err.find("m.obj: 2 points are left out: the format holds no points"), std::string::npos)
      << Err;
  EXPECT_EQ(Run("convert '" + File("cloud.lumgl") + "' '" + File("p.glb") + "'"), 1) << Err;
  EXPECT_NE(Err.find("There are no meshes to write (2 points are left out: the format holds no "
                     "points)"),
            std::string::npos)
      << Err;
  EXPECT_FALSE(fs::exists(File("p.glb")));
  // A drawing names the entities it skipped.
  ASSERT_EQ(Run("render '" + Models + "drawing.dxf' -o '" + File("d.png") + "' --fit"), 0) << Err;
  EXPECT_NE(Err.find("TEXT (1)"), std::string::npos) << Err;
}

// The number after "Field: " on its own line of Out, or -1 when the line is missing.
double BenchField(const std::string& Out, const std::string& Field) {
  const size_t At = Out.find("\n" + Field + ": ");
  if (At == std::string::npos) return -1;
  return std::atof(Out.c_str() + At + Field.size() + 3);
}

TEST_F(CommandTest, BenchReportsEveryFigureOfAReferenceSceneAndItsBareBaseline) {
  ASSERT_EQ(Run("bench s1 --frames 2"), 0) << Err;
  EXPECT_EQ(Out.rfind("scene: s1 (1000 lit spheres", 0), 0u) << Out;
  EXPECT_NE(Out.find("\nrenderer: "), std::string::npos) << Out;
  EXPECT_NE(Out.find("\nsize: 256x256\n"), std::string::npos) << Out;
  EXPECT_NE(Out.find("\ncaching: every object\n"), std::string::npos) << Out;
  // Attributes, light, and a material before each sphere; 32 x 16 spheres.
  EXPECT_NE(Out.find("\nitems: 2002 (1000 meshes, 0 nodes)\n"), std::string::npos) << Out;
  EXPECT_EQ(BenchField(Out, "triangles"), 1000 * 32 * 16 * 2 - 1000 * 64) << Out;
  EXPECT_EQ(BenchField(Out, "frames"), 2) << Out;
  for (const char* Field :
       {"file MB", "load ms", "first frame ms", "resident KB per item", "median ms", "mean ms",
        "bare median ms", "bare mean ms", "ratio", "save ms", "free ms"})
    EXPECT_GT(BenchField(Out, Field), 0) << Field << "\n" << Out;
  EXPECT_NEAR(BenchField(Out, "ratio"),
              BenchField(Out, "median ms") / BenchField(Out, "bare median ms"), 0.01)
      << Out;
}

TEST_F(CommandTest, BenchTakesSceneFilesAndSaysWhenThereIsNoBareBaseline) {
  const std::string Lit =
      "<LUMGL version=\"0.1.0\"><Objects>"
      "<TLUMATTRIBUTES Lighting=\"true\" PolygonMode=\"pmFill\" ShadeModel=\"smSmooth\" "
      "LineStipple=\"lsSolid\"/>"
      "<TLUMLIGHT Kind=\"lkDirection\"/><TLUMMATERIAL Shininess=\"8\"/>"
      "<TLUMBOX Width=\"1\" Height=\"1\" Depth=\"1\"/>";
  Write("flat.lumgl", Lit + "</Objects></LUMGL>");
  ASSERT_EQ(Run("bench '" + File("flat.lumgl") + "' --frames 3 --size 64x48 --uncached"), 0) << Err;
  EXPECT_NE(Out.find("\nsize: 64x48\n"), std::string::npos) << Out;
  EXPECT_NE(Out.find("\ncaching: none\n"), std::string::npos) << Out;
  EXPECT_NE(Out.find("\nitems: 4 (1 meshes, 0 nodes)\n"), std::string::npos) << Out;
  EXPECT_EQ(BenchField(Out, "triangles"), 12) << Out;
  EXPECT_EQ(BenchField(Out, "frames"), 3) << Out;
  EXPECT_GT(BenchField(Out, "ratio"), 0) << Out;
  // A nested node (or a rotation) is more than the bare program copies.
  Write("nested.lumgl", Lit + "<TLUMNODE><TLUMBOX Width=\"2\"/></TLUMNODE></Objects></LUMGL>");
  ASSERT_EQ(Run("bench '" + File("nested.lumgl") + "' --frames 1 --cache-root --fit"), 0) << Err;
  EXPECT_NE(Out.find("\ncaching: root node only\n"), std::string::npos) << Out;
  EXPECT_NE(Out.find("\nitems: 6 (2 meshes, 1 nodes)\n"), std::string::npos) << Out;
  EXPECT_NE(Out.find("\nbare: none (nested nodes)\n"), std::string::npos) << Out;
  EXPECT_EQ(BenchField(Out, "ratio"), -1) << Out;
  EXPECT_GE(BenchField(Out, "free ms"), 0) << Out;

  // A reference scene written out is a scene file like any other, with its camera.
  ASSERT_EQ(Run("bench s1 --write '" + File("s1.lumgl") + "'"), 0) << Err;
  ASSERT_EQ(Run("info '" + File("s1.lumgl") + "'"), 0) << Err;
  EXPECT_NE(Out.find("TLumSphere: 1000\n"), std::string::npos) << Out;
  EXPECT_NE(Read(File("s1.lumgl")).find("<TLUMPERSPECTIVECAMERA"), std::string::npos);

  EXPECT_EQ(Run("bench '" + File("missing.lumgl") + "'"), 1);
  EXPECT_NE(Err.find("missing.lumgl"), std::string::npos) << Err;
  EXPECT_EQ(Run("bench s1 --frames 0"), 2);
  EXPECT_EQ(Run("bench s1 --uncached --cache-root"), 2);
  EXPECT_EQ(Run("bench s2 --write '" + File("s2.lumgl") + "'"), 2);
  EXPECT_EQ(Run("bench"), 2);
  EXPECT_EQ(Run("bench s1 --fov 200"), 2);
  EXPECT_NE(Err.find("--fov"), std::string::npos) << Err;
}

}  // namespace
}  // namespace lumox
