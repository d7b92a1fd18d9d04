// The lumox command end to end: every refusal and usage rule in one table of exit
// statuses and messages, then PNG output, the report and conversion round trips.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "lumox/host/graphics.h"
#include "lumox/package/lumversion.h"
#include "support/command.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

namespace fs = std::filesystem;

const std::string Models = std::string(LUMOX_TEST_DATA) + "/models/";

// A scene with one unlit sphere of the given colour ($00BBGGRR) at (X, 0, 0), on line 3.
std::string SphereScene(const std::string& Color, double X = 0) {
  return "<LUMGL version=\"0.1.0\" program=\"Lumox\" description=\"test\">\n<Objects>\n"
         "<TLUMSPHERE name=\"Ball\" Radius=\"0.5\" Slices=\"16\" Stacks=\"12\">\n"
         "<Transformation><Translation P=\"" +
         std::to_string(X) +
         ",0,0\"/></Transformation>\n"
         "<Color Color=\"" +
         Color + "\" Alpha=\"1\"/></TLUMSPHERE>\n</Objects>\n</LUMGL>\n";
}

bool RedDominates(uint32_t P) {
  const int R = P & 0xFF, G = (P >> 8) & 0xFF, B = (P >> 16) & 0xFF;
  return R > 100 && R > 2 * G && R > 2 * B;
}

// Runs the command in a folder of its own, where file names are relative.
class CommandTest : public ::testing::Test {
 protected:
  // The exit status (-1 for a signal); stdout and stderr land in Out and Err.
  int Run(const std::string& Args, const std::string& Env = "") {
    const test::TCommandRun R = test::RunCommand(Dir, Args, Env);
    Out = R.Out;
    Err = R.Err;
    return R.Status;
  }
  std::string File(const std::string& Name) const { return Dir.File(Name); }
  void Write(const std::string& Name, const std::string& Text) const {
    test::WriteText(File(Name), Text);
  }
  std::string Read(const std::string& Name) const { return test::ReadText(File(Name)); }
  // Each of Texts is somewhere in Where.
  static void ExpectIn(const std::string& Where, std::initializer_list<std::string> Texts) {
    for (const std::string& T : Texts)
      EXPECT_NE(Where.find(T), std::string::npos) << T << "\n" << Where;
  }
  TBitmap Image(const std::string& Name) const { return test::ReadImage(Dir, Name); }

  test::TempDir Dir;
  std::string Out, Err;
};

// One row per refusal or rule of usage: the arguments, the exit status, the texts its
// output must hold (none: any message on stderr for a failure; "^TEXT": stdout begins
// with TEXT), and extra conditions.
struct TCommandCase {
  std::string Args;
  int Status;
  std::vector<std::string> Texts;
  int ErrLines = 0;      // the lines of stderr when not 0
  std::string Env = "";  // NAME=VALUE words before the command
};

TEST_F(CommandTest, EachRefusalAndUsageRuleExitsWithItsStatusAndSaysWhy) {
  Write("red.lumgl", SphereScene("000000FF"));
  std::string Bad = SphereScene("000000FF"), Typo = Bad;
  Bad.replace(Bad.find("Slices=\"16\""), 11, "Slices=\"ten\"");
  Typo.replace(Typo.find("Radius="), 7, "Radus=");
  Write("bad.lumgl", Bad), Write("typo.lumgl", Typo);
  Write("text.lumgl", "just some text\n");
  Write("cloud.lumgl", R"(<LUMGL><Objects><TLUMPOINTSET name="C"><Point P="0,0,0"/>)"
                       R"(<Point P="1,0,0"/></TLUMPOINTSET></Objects></LUMGL>)");
  // A model whose texture lies beside its folder, and a special file under a model's name.
  fs::create_directories(Dir.Path() / "m");
  fs::create_directories(Dir.Path() / "maps");
  fs::copy_file(Models + "twoparts.obj", Dir.Path() / "m/twoparts.obj");
  fs::copy_file(Models + "green.png", Dir.Path() / "maps/green.png");
  std::string Mtl = test::ReadText(Models + "twoparts.mtl");
  Mtl.replace(Mtl.find("green.png"), 9, "../maps/green.png");
  Write("m/twoparts.mtl", Mtl);
  fs::create_symlink("/dev/zero", Dir.Path() / "zero.obj");
  const std::string Crash =
      std::string(LUMOX_TEST_DATA) + "/fuzz-model/ply_binary_face_past_the_end_crashes.ply";
  const std::string Forms = std::string(LUMOX_TEST_DATA) + "/forms/";

  const TCommandCase Cases[] = {
      // A scene that cannot be loaded, rendered or saved: 1, naming the file.
      {"render missing.lumgl -o x.png", 1, {"missing.lumgl"}, 1},
      {"render bad.lumgl -o x.png", 1, {"bad.lumgl", "Slices"}},
      {"info text.lumgl", 1, {"\"text.lumgl\" is not a LUMGL scene file (no \"Objects\" element"}},
      {"render red.lumgl -o no/dir/x.png", 1, {"no/dir/x.png"}},
      {"render m -o x.png", 1, {"is a directory"}},
      // Without a GL driver the reason, and the packages that bring one, come through.
      {"demo -o x.png",
       1,
       {"No EGL display is available: install"},
       0,
       "__EGL_VENDOR_LIBRARY_FILENAMES=/nonexistent"},
      // Load warnings fail what is strict.
      {"render typo.lumgl -o x.png --strict", 1, {"typo.lumgl:3: element \"TLUMSPHERE\""}},
      {"info typo.lumgl --strict", 1, {"attribute \"Radus\""}},
      {"check typo.lumgl", 1, {"attribute \"Radus\""}},
      {"convert typo.lumgl typo.lumgl", 1, {"--force"}},
      {"convert cloud.lumgl p.glb",
       1,
       {"There are no meshes to write (2 points are left out: the format holds no points)"}},
      {"classes --properties TLumNoSuchClass", 1, {"no class TLumNoSuchClass"}},
      // A form whose node holds and refers to one item: its scene file could not load.
      {"convert '" + Forms + "application.lumform' f.lumgl",
       1,
       {"\"Ball\" would be written twice", "could not be loaded"}},
      // What a scene file cannot hold of a form is said, and the file is written.
      {"convert '" + Forms + "handwritten.lumform' hw.LUMGL",
       0,
       {"hw.LUMGL will not hold everything", "the view's size (320x240)",
        "1 material's diffuse colour (written as \"FDiffuse\""}},
      // Options that do nothing for a form are said.
      {"convert '" + Forms + "handwritten.lumform' hw.lumform --decimals 3 --strict",
       0,
       {"--decimals does not apply to a form file (hw.lumform): ignored",
        "--strict does not apply to reading a form"}},
      {"bench missing.lumgl", 1, {"missing.lumgl"}},
      // Models read only in their folder and its resource roots; a special file is refused
      // for what it is; a reader that crashes is status 1 with a message, not a signal.
      {"check m/twoparts.obj", 1, {"\"../maps/green.png\" lies outside the model's folder"}},
      {"check m/twoparts.obj --resource-root maps", 0, {}},
      {"render zero.obj -o x.png", 1, {"\"zero.obj\": it is a device, pipe or socket, not a file"}},
      {"render '" + Crash + "' -o x.png",
       1,
       {"lumox: Cannot read the model file \"" + Crash +
        "\": the model reader crashed (signal 11, SIGSEGV).\n"}},
      // Bad usage: 2 (the rest in the list below).
      {"render red.lumgl -o a.png --size 20000x10", 2, {"16384"}},
      {"bench s1 --fov 200", 2, {"--fov"}},
      // Help and version: 0.
      {"--help", 0, {"render [SCENE.lumgl] -o OUT.png"}},
      {"render --help", 0, {"^usage: lumox render", "--size WxH", "--no-headlight"}},
      {"help render", 0, {"^usage: lumox render", "--size WxH"}},
  };
  for (const TCommandCase& C : Cases) {
    SCOPED_TRACE(C.Args);
    EXPECT_EQ(Run(C.Args, C.Env), C.Status) << Err;
    for (const std::string& T : C.Texts)
      EXPECT_TRUE(T[0] == '^' ? Out.rfind(T.substr(1), 0) == 0
                              : (Err + Out).find(T) != std::string::npos)
          << T << "\n"
          << Err << Out;
    EXPECT_TRUE(C.Status == 0 || !C.Texts.empty() || !Err.empty());
    EXPECT_TRUE(!C.ErrLines || std::count(Err.begin(), Err.end(), '\n') == C.ErrLines) << Err;
  }
  for (const char* Usage : {"",
                            "frobnicate",
                            "render red.lumgl",
                            "render red.lumgl -o",
                            "info --x",
                            "bench",
                            "demo x.lumgl -o a.png",
                            "demo -o a.png --title",
                            "classes --properties A B",
                            "convert red.lumgl",
                            "convert red.lumgl b c",
                            "convert red.lumgl b --decimals x",
                            "convert red.lumgl ''",
                            "bench s1 --frames 0",
                            "bench s1 --uncached --cache-root",
                            "bench s2 --write s2.lumgl",
                            "render red.lumgl -o a.gif",
                            "render red.lumgl -o a",
                            "render red.lumgl -o png",
                            "render red.lumgl red.lumgl -o a.png"}) {
    EXPECT_EQ(Run(Usage), 2) << Usage;
    EXPECT_FALSE(Err.empty()) << Usage;
  }
  for (const char* Usage :
       {"--size 10", "--size 0x10", "--background red", "--fov 200", "--near -1", "--bogus"})
    EXPECT_EQ(Run(std::string("render red.lumgl -o a.png ") + Usage), 2) << Usage << Err;
  // Nothing written where a command failed, no input lost.
  for (const char* Name : {"x.png", "a.png", "p.glb", "s2.lumgl", "f.lumgl"})
    EXPECT_FALSE(fs::exists(File(Name)));
  EXPECT_EQ(Read("typo.lumgl"), Typo);
  EXPECT_NE(Read("hw.LUMGL").find("<LUMGL"), std::string::npos);
  EXPECT_EQ(Run("--version"), 0);
  EXPECT_EQ(Out, std::string(LUMOX_VERSION_STRING) + "\n");
}

TEST_F(CommandTest, RendersARedSphereInEachFormatATitleAndFitFramesOneAway) {
  Write("red.lumgl", SphereScene("000000FF"));
  ASSERT_EQ(Run("render red.lumgl -o red.png"), 0) << Err;
  TBitmap B = Image("red.png");
  ASSERT_EQ((std::array{B.Width(), B.Height()}), (std::array{400, 250}));
  EXPECT_TRUE(RedDominates(B.GetPixel(200, 125))) << std::hex << B.GetPixel(200, 125);
  for (auto [X, Y] : {std::pair{0, 0}, {399, 0}, {0, 249}, {399, 249}})
    EXPECT_EQ(B.GetPixel(X, Y), 0u);
  // The command loads what the library loads: "Objects" without the root element.
  std::string Bare = SphereScene("000000FF");
  Bare = Bare.substr(Bare.find("<Objects>"));
  Write("bare.lumgl", Bare.substr(0, Bare.find("</LUMGL>")));
  ASSERT_EQ(Run("render bare.lumgl -o bare.png"), 0) << Err;
  const TBitmap Same = Image("bare.png");
  EXPECT_TRUE(RedDominates(Same.GetPixel(200, 125)) && Same.GetPixel(0, 0) == 0u);
  // Size and background, in the format the output's extension names; the output is replaced.
  const std::pair<std::string, std::string> Formats[] = {{"red.png", "\x89PNG"},
                                                         {"a.BMP", "BM"},
                                                         {"a.jpg", "\xFF\xD8\xFF"},
                                                         {"a.jpeg", "\xFF\xD8\xFF"}};
  for (const auto& [Name, Magic] : Formats) {
    ASSERT_EQ(Run("render red.lumgl -o " + Name + " --size 64x48 --background=102030"), 0) << Err;
    EXPECT_EQ(Read(Name).substr(0, Magic.size()), Magic) << Name;
    B = Image(Name);
    EXPECT_EQ((std::array{B.Width(), B.Height()}), (std::array{64, 48})) << Name;
    EXPECT_TRUE(RedDominates(B.GetPixel(32, 24))) << Name;
  }
  EXPECT_EQ(Image("red.png").GetPixel(0, 0), 0x302010u);

  // Out of sight of the default camera: an empty frame but for the title at its top.
  Write("far.lumgl", SphereScene("000000FF", 6));
  ASSERT_EQ(Run("render far.lumgl -o t.png --size 160x100 --title 'Hello'"), 0) << Err;
  B = Image("t.png");
  int Top = 0, Rest = 0;
  for (int Y = 0; Y < B.Height(); ++Y)
    for (int X = 0; X < B.Width(); ++X) (Y < 20 ? Top : Rest) += B.GetPixel(X, Y) != 0;
  EXPECT_GT(Top, 20);
  EXPECT_EQ(Rest, 0);
  ASSERT_EQ(Run("render far.lumgl -o a.png --size 80x60 --fit"), 0);
  B = Image("a.png");
  EXPECT_TRUE(RedDominates(B.GetPixel(40, 30)));
  EXPECT_TRUE(RedDominates(B.GetPixel(40, 5)));  // the sphere fills the height...
  EXPECT_EQ(B.GetPixel(40, 0), 0u);              // ...with a margin
  EXPECT_EQ(B.GetPixel(5, 30), 0u);
}

TEST_F(CommandTest, DemoRendersALitScene) {
  ASSERT_EQ(Run("demo -o demo.png"), 0) << Err;
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
  EXPECT_EQ(Run("render -o demo2.png"), 0);  // no scene: the demo
  EXPECT_EQ(Read("demo.png"), Read("demo2.png"));
}

// A full disk (a file-size limit, its signal ignored) leaves the old image as it was.
TEST_F(CommandTest, AFailedSaveLeavesTheOldImage) {
  Write("red.lumgl", SphereScene("000000FF"));
  ASSERT_EQ(Run("render red.lumgl -o old.png"), 0);
  const std::string Old = Read("old.png");
  const std::string Limited = "cd '" + Dir.Path().string() +
                              "' && sh -c \"trap '' XFSZ; ulimit -f 1; exec '" + LUMOX_COMMAND +
                              "' render red.lumgl --size 300x300 -o old.png\" 2>/dev/null";
  const int Status = std::system(Limited.c_str());
  EXPECT_EQ(WIFEXITED(Status) ? WEXITSTATUS(Status) : -1, 1);
  EXPECT_EQ(Read("old.png"), Old);
  for (const auto& E : fs::directory_iterator(Dir.Path()))
    EXPECT_EQ(E.path().filename().string().find(".old.png"), std::string::npos);
}

TEST_F(CommandTest, InfoReportsContextAndSceneCounts) {
  std::string Two = SphereScene("000000FF");
  Two.insert(Two.find("</Objects>"),
             "<TLUMSPHERE name=\"Ball2\" Radius=\"0.5\" Slices=\"16\" Stacks=\"12\"/>\r\n");
  Write("two.lumgl", Two);
  ASSERT_EQ(Run("info two.lumgl"), 0) << Err;
  // A 16 x 12 sphere: 17 x 13 vertices; 16 x 2 pole triangles and 16 strips of 10 x 2.
  ExpectIn(Out, {"GL vendor:", "GL renderer:", "GL version:", "GL extensions:", "Colour bits:",
                 "Depth bits:", "Stencil bits:", LUMOX_VERSION_STRING, "TLumSphere: 2\n",
                 "Vertices:     442\n", "Triangles:    704\n",
                 "Bounds:       (-0.5, -0.5, -0.5) .. (0.5, 0.5, 0.5)\n"});
}

TEST_F(CommandTest, ConvertRoundTripsAndHonoursWriterOptions) {
  Write("red.lumgl", SphereScene("000000FF", 0.25));
  ASSERT_EQ(Run("convert red.lumgl a.lumgl"), 0) << Err;
  ASSERT_EQ(Run("convert a.lumgl b.lumgl"), 0) << Err;
  const std::string A = Read("a.lumgl");
  EXPECT_EQ(A, Read("b.lumgl"));
  ExpectIn(A, {"description=\"test\"", "Radius=\"0.5\""});
  ASSERT_EQ(Run("convert a.lumgl c.lumgl --no-defaults --param-newline --decimals 3"), 0);
  const std::string C = Read("c.lumgl");
  EXPECT_LT(C.size(), A.size());
  ExpectIn(C, {"\r\n Radius=\"0.5\""});
}

// What the table of refusals leaves: warnings on stderr of a render that goes on, check
// printing nothing on stdout, a forced convert, and the count past 20 warnings.
TEST_F(CommandTest, WarningsGoToStderrAndConvertKeepsTheInputUnlessForced) {
  std::string Scene = SphereScene("000000FF");
  Scene.replace(Scene.find("Radius="), 7, "Radus=");
  Write("typo.lumgl", Scene);
  EXPECT_EQ(Run("render typo.lumgl -o t.png"), 0) << Err;
  ExpectIn(Err, {"typo.lumgl:3: element \"TLUMSPHERE\": attribute \"Radus\""});
  EXPECT_EQ(Run("check typo.lumgl"), 1);
  EXPECT_TRUE(Out.empty());
  EXPECT_EQ(Run("convert typo.lumgl typo.lumgl --force"), 0) << Err;
  EXPECT_EQ(Run("check typo.lumgl"), 0) << Err;  // what is left loads cleanly

  std::string Many = SphereScene("000000FF");
  std::string Attrs;
  for (int I = 0; I < 25; ++I) Attrs += " Bad" + std::to_string(I) + "=\"1\"";
  Many.insert(Many.find(" Radius="), Attrs);
  Write("many.lumgl", Many);
  EXPECT_EQ(Run("check many.lumgl"), 1);
  EXPECT_EQ(std::count(Err.begin(), Err.end(), '\n'), 22) << Err;
  ExpectIn(Err, {"and 5 more warnings (25 in all)"});
}

TEST_F(CommandTest, TheFileCameraFramesTheSceneUnlessAnOptionPlacesOne) {
  // The sphere at x = 3 is out of the default camera's sight; the file's camera looks at it.
  std::string Scene = SphereScene("000000FF", 3);
  Scene.insert(Scene.find("</Objects>"),
               "    <TLUMPERSPECTIVECAMERA name=\"Eye\" ViewAngle=\"30\" ViewFar=\"50\">\r\n"
               "      <Transformation><Translation P=\"-3,0,-6\"/></Transformation>\r\n"
               "    </TLUMPERSPECTIVECAMERA>\r\n");
  Write("cam.lumgl", Scene);
  ASSERT_EQ(Run("render cam.lumgl -o c.png --size 80x60"), 0) << Err;
  EXPECT_TRUE(Err.empty()) << Err;
  TBitmap B = Image("c.png");
  EXPECT_TRUE(RedDominates(B.GetPixel(40, 30)));
  EXPECT_EQ(B.GetPixel(40, 5), 0u);  // the narrower view angle, from farther away
  // A camera option replaces the file's camera; a look-at view finds the sphere again.
  ASSERT_EQ(Run("render cam.lumgl -o d.png --size 80x60 --fov 45"), 0);
  EXPECT_EQ(Image("d.png").GetPixel(40, 30), 0u);
  ASSERT_EQ(Run("render cam.lumgl -o e.png --size 80x60 --camera-position 3,4,0.01 "
                "--look-at 3,0,0"),
            0);
  B = Image("e.png");
  EXPECT_TRUE(RedDominates(B.GetPixel(40, 30)));
  EXPECT_EQ(B.GetPixel(2, 2), 0u);

  ASSERT_EQ(Run("info cam.lumgl --list-scene"), 0) << Err;
  ExpectIn(Out, {"    TLumSphere \"Ball\": (2.5"});
}

// A scene with a camera element converted to a form and back: the three render the same
// pixels, the scene comes back byte for byte (what each class keeps is the form file's
// own test); a model converts too, and bad forms are refused by place.
TEST_F(CommandTest, FormsRenderAndConvertFromAndToScenesWithTheSamePixels) {
  std::string Scene = SphereScene("000000FF");
  Scene.erase(Scene.find("test"), 4);  // a form holds components, not the file's description
  Scene.insert(Scene.find("</Objects>"),
               "<TLUMPERSPECTIVECAMERA name=\"Eye\" ViewAngle=\"50\">\r\n"
               "<Transformation><Translation P=\"0,0,-3\"/></Transformation>\r\n"
               "</TLUMPERSPECTIVECAMERA>\r\n");
  Write("made.lumgl", Scene);
  const std::string Size = " --size 160x100";
  for (const char* Step :
       {"made.lumgl scene.lumgl", "scene.lumgl app.lumform", "app.lumform back.lumgl"})
    EXPECT_EQ(Run(std::string("convert ") + Step), 0) << Step << Err;
  ASSERT_EQ(Run("render scene.lumgl -o a.png" + Size), 0) << Err;
  const TBitmap A = Image("a.png");
  // Seen by the file's camera: the ball in the middle, with room above it.
  EXPECT_TRUE(RedDominates(A.GetPixel(80, 50))) << std::hex << A.GetPixel(80, 50);
  EXPECT_EQ(A.GetPixel(80, 2), 0u);
  // The same image files, written from the same pixels: the form holds the view, its
  // camera and the scene.
  for (const std::string In : {"app.lumform", "back.lumgl"}) {
    EXPECT_EQ(Run("render " + In + " -o b.png" + Size), 0) << In << Err;
    EXPECT_TRUE(Read("a.png") == Read("b.png")) << In;
  }
  // Camera options place a camera of their own, for a form as for a scene; the form's
  // extension is known in capitals too.
  fs::copy_file(File("app.lumform"), File("APP.LUMFORM"));
  for (const std::string In : {"scene.lumgl", "APP.LUMFORM"})
    EXPECT_EQ(Run("render " + In + " -o " + In + ".png" + Size + " --fov 30"), 0) << Err;
  EXPECT_TRUE(Read("scene.lumgl.png") == Read("APP.LUMFORM.png"));
  EXPECT_FALSE(Read("scene.lumgl.png") == Read("a.png"));
  EXPECT_EQ(Read("back.lumgl"), Read("scene.lumgl"));
  // Without --size the form's view gives the size, render's own default for a scene.
  ASSERT_EQ(Run("render app.lumform -o d.png"), 0) << Err;
  EXPECT_EQ(Image("d.png").Width(), 400);

  // A model converts the same way: a form that renders as the model does, headlight and all.
  const std::string Cube = "'" + Models + "cube.obj'";
  ASSERT_EQ(Run("convert " + Cube + " cube.lumform"), 0) << Err;
  ASSERT_EQ(Run("render " + Cube + " -o e.png" + Size + " --fit"), 0) << Err;
  ASSERT_EQ(Run("render cube.lumform -o f.png" + Size + " --fit"), 0) << Err;
  EXPECT_TRUE(Read("e.png") == Read("f.png"));

  // A bad form: the place and reason, exit status 1, no image; a form without a view
  // has nothing to render, but a scene to convert.
  std::string Bad = Read("app.lumform");
  Bad.replace(Bad.find("Radius = 0.5"), 12, "Radius = wide");
  Write("bad.lumform", Bad);
  Write("noview.lumform", "LUMFORM 1\nobject Ball: TLumSphere\nend\n");
  for (const char* Args : {"render bad.lumform -o bad.png", "convert bad.lumform bad.lumgl"}) {
    EXPECT_EQ(Run(Args), 1) << Args;
    ExpectIn(Err, {"bad.lumform:", ": Ball.Radius: "});
  }
  EXPECT_FALSE(fs::exists(File("bad.png")) || fs::exists(File("bad.lumgl")));
  EXPECT_EQ(Run("render noview.lumform -o x.png"), 1);
  ExpectIn(Err, {"noview.lumform: the form has no view"});
  EXPECT_FALSE(fs::exists(File("x.png")));
  EXPECT_EQ(Run("convert noview.lumform x.lumgl"), 0) << Err;
  ExpectIn(Read("x.lumgl"), {"name=\"Ball\""});
}

// docs/format.md holds the output of `lumox classes --attributes` between two marker lines.
TEST_F(CommandTest, FormatReferenceInTheDocsIsTheCommandsOutput) {
  ASSERT_EQ(Run("classes --attributes"), 0) << Err;
  const std::string Doc = test::ReadText(std::string(LUMOX_TEST_DATA) + "/../../docs/format.md");
  const std::string Begin = "<!-- BEGIN lumox classes --attributes -->\n```\n";
  const size_t From = Doc.find(Begin);
  const size_t To = Doc.find("```\n<!-- END lumox classes --attributes -->");
  ASSERT_NE(From, std::string::npos);
  ASSERT_NE(To, std::string::npos);
  EXPECT_TRUE(Doc.substr(From + Begin.size(), To - From - Begin.size()) == Out)
      << "docs/format.md is out of date: run tools/update-format-doc";
  ExpectIn(Out, {"<FDiffuse>  written, not read back"});
}

// The palette pages in order, and the class tables: a line per property with type and
// default, inherited ones first.
TEST_F(CommandTest, ClassesListsThePalettePagesAndPrintsTheTables) {
  ASSERT_EQ(Run("classes"), 0);
  ExpectIn(Out, {"  TLumExchange\n  TLumDXFImport\nLumox Obj:\n  TLumPoint\n  TLumLine\n",
                 "  TLumRotObj\n"});
  EXPECT_LT(Out.find("Lumox:\n  TLumView\n  TLumPerspectiveCamera\n"), Out.find("Lumox Obj:"));
  ASSERT_EQ(Run("classes --properties tlumfog"), 0) << Err;
  const size_t Enabled =
      Out.find("\n  Enabled                Boolean                        true\n");
  const size_t Density =
      Out.find("\n  Density                Single                         0.2\n");
  EXPECT_EQ(Out.rfind("TLumFog (TLumRender), palette page \"Lumox\"", 0), 0u) << Out;
  EXPECT_NE(Density, std::string::npos) << Out;
  EXPECT_LT(Enabled, Density);
  ExpectIn(Out, {"  Color                  TLumColor (owned)              no stored default"});
  ASSERT_EQ(Run("classes --properties"), 0) << Err;
  ExpectIn(Out, {"\nTLumTimer (TComponent)",
                 "  Intervall              Integer                        1000, range 1..3600000"});
}

TEST_F(CommandTest, OnATerminalRenderWithoutOutputWritesScenePngBesideTheScene) {
  if (std::system("command -v script >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "no script(1) for a terminal";
  Write("ball.lumgl", SphereScene("000000FF"));
  // script(1) gives the command a terminal; what it prints lands in out.txt.
  const std::string Cmd = "script -qec \"'" + std::string(LUMOX_COMMAND) + "' render '" +
                          File("ball.lumgl") + "' --size 40x30\" /dev/null >'" + File("out.txt") +
                          "'";
  const int Status = std::system(Cmd.c_str());
  ASSERT_TRUE(WIFEXITED(Status) && WEXITSTATUS(Status) == 0) << Read("out.txt");
  ExpectIn(Read("out.txt"), {"wrote " + File("ball.png")});
  EXPECT_EQ(Image("ball.png").Width(), 40);
}

TEST_F(CommandTest, ModelFilesRenderConvertAndReport) {
  ASSERT_EQ(Run("info '" + Models + "cube.obj'"), 0) << Err;
  ExpectIn(Out, {"Vertices:     8\nTriangles:    12\n",
                 "Bounds:       (-0.5, -0.5, -0.5) .. (0.5, 0.5, 0.5)"});
  ASSERT_EQ(Run("render '" + Models + "cube.glb' -o c.png --size 80x60 --no-headlight"), 0) << Err;
  TBitmap B = Image("c.png");
  EXPECT_EQ(B.GetPixel(40, 30), 0xFFFFFFu);  // unlit: the material's colour does not count
  EXPECT_EQ(B.GetPixel(2, 2), 0u);
  // A model into a scene file and on into glTF keeps its triangles.
  ASSERT_EQ(Run("convert '" + Models + "cube.ply' c.lumgl"), 0) << Err;
  ASSERT_EQ(Run("convert c.lumgl c.gltf"), 0) << Err;
  ASSERT_EQ(Run("info c.gltf"), 0) << Err;
  ExpectIn(Out, {"Triangles:    12\n"});
  // Points have no place in OBJ or glTF as written: a warning beside triangles (a cloud
  // alone is refused, in the table above).
  Write("mixed.lumgl", R"(<LUMGL><Objects><TLUMSPHERE name="B"/><TLUMPOINTSET name="C">)"
                       R"(<Point P="0,0,0"/><Point P="1,0,0"/></TLUMPOINTSET></Objects></LUMGL>)");
  ASSERT_EQ(Run("convert mixed.lumgl m.obj"), 0) << Err;
  ExpectIn(Err, {"m.obj: 2 points are left out: the format holds no points"});
}

// The number after "Field: " on its own line of Out, or -1 when the line is missing.
double BenchField(const std::string& Out, const std::string& Field) {
  const size_t At = Out.find("\n" + Field + ": ");
  if (At == std::string::npos) return -1;
  return std::atof(Out.c_str() + At + Field.size() + 3);
}

TEST_F(CommandTest, BenchReportsEveryFigureOfReferenceScenesAndSceneFilesAndTheirBaselines) {
  ASSERT_EQ(Run("bench s1 --frames 2"), 0) << Err;
  EXPECT_EQ(Out.rfind("scene: s1 (1000 lit spheres", 0), 0u) << Out;
  // Attributes, light, and a material before each sphere; 32 x 16 spheres.
  ExpectIn(Out, {"\nrenderer: ", "\nsize: 256x256\n", "\ncaching: every object\n",
                 "\nitems: 2002 (1000 meshes, 0 nodes)\n"});
  EXPECT_EQ(BenchField(Out, "triangles"), 1000 * 32 * 16 * 2 - 1000 * 64) << Out;
  EXPECT_EQ(BenchField(Out, "frames"), 2) << Out;
  for (const char* Field :
       {"file MB", "load ms", "first frame ms", "resident KB per item", "median ms", "mean ms",
        "bare median ms", "bare mean ms", "ratio", "save ms", "free ms"})
    EXPECT_GT(BenchField(Out, Field), 0) << Field << "\n" << Out;
  EXPECT_NEAR(BenchField(Out, "ratio"),
              BenchField(Out, "median ms") / BenchField(Out, "bare median ms"), 0.01)
      << Out;

  // Scene files, and what the bare program cannot copy.
  const std::string Lit =
      "<LUMGL version=\"0.1.0\"><Objects>"
      "<TLUMATTRIBUTES Lighting=\"true\" PolygonMode=\"pmFill\" ShadeModel=\"smSmooth\" "
      "LineStipple=\"lsSolid\"/>"
      "<TLUMLIGHT Kind=\"lkDirection\"/><TLUMMATERIAL Shininess=\"8\"/>"
      "<TLUMBOX Width=\"1\" Height=\"1\" Depth=\"1\"/>";
  Write("flat.lumgl", Lit + "</Objects></LUMGL>");
  ASSERT_EQ(Run("bench flat.lumgl --frames 3 --size 64x48 --uncached"), 0) << Err;
  ExpectIn(Out, {"\nsize: 64x48\n", "\ncaching: none\n", "\nitems: 4 (1 meshes, 0 nodes)\n"});
  EXPECT_EQ(BenchField(Out, "triangles"), 12) << Out;
  EXPECT_GT(BenchField(Out, "ratio"), 0) << Out;
  // A nested node (or a rotation) is more than the bare program copies.
  Write("nested.lumgl", Lit + "<TLUMNODE><TLUMBOX Width=\"2\"/></TLUMNODE></Objects></LUMGL>");
  ASSERT_EQ(Run("bench nested.lumgl --frames 1 --cache-root --fit"), 0) << Err;
  ExpectIn(Out, {"\ncaching: root node only\n", "\nitems: 6 (2 meshes, 1 nodes)\n",
                 "\nbare: none (nested nodes)\n"});
  EXPECT_EQ(BenchField(Out, "ratio"), -1) << Out;
  // A reference scene written out is a scene file like any other, with its camera.
  ASSERT_EQ(Run("bench s1 --write s1.lumgl"), 0) << Err;
  ASSERT_EQ(Run("info s1.lumgl"), 0) << Err;
  ExpectIn(Out, {"TLumSphere: 1000\n"});
  ExpectIn(Read("s1.lumgl"), {"<TLUMPERSPECTIVECAMERA"});
}

}  // namespace
}  // namespace lumox
