// The lumox command on models and scenes of every geometry class: --fit frames them, the
// headlight shades them, and what convert writes keeps them (its refusals are rows of the
// command test's table).
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "support/command.h"

namespace lumox {
namespace {

using test::Coverage;
using test::RunCommand;
using test::Shades;
namespace fs = std::filesystem;

const std::string Models = std::string(LUMOX_TEST_DATA) + "/models/";

// A scene of one object 40 units off the origin, given as its element's inside.
std::string FarScene(const std::string& Class, const std::string& Attributes,
                     const std::string& Children) {
  return "<LUMGL version=\"0.1.0\" program=\"test\" description=\"\">\n<Objects>\n<" + Class +
         " name=\"O\"" + (Attributes.empty() ? "" : " " + Attributes) +
         ">\n<Transformation><Translation P=\"40,-30,5\"/>" + "</Transformation>\n" + Children +
         "</" + Class + ">\n</Objects>\n</LUMGL>\n";
}

TEST(ModelCommandTest, FitFramesEveryGeometryClassAndModel) {
  const test::TempDir Dir;
  const std::pair<const char*, std::string> Scenes[] = {
      {"obj.lumgl", FarScene("TLUM3DOBJ", "", R"(<Part Name="p" Arrays="daVertex">
<Vertex P="0,0,0"/><Vertex P="1,0,0"/><Vertex P="0,1,0"/>
<Indices Type="GL_TRIANGLES" Values="0 1 2"/></Part>)")},
      {"cloud.lumgl", FarScene("TLUMPOINTSET", "PointSize=\"3\"",
                               R"(<Point P="0,0,0"/><Point P="2,1,0"/><Point P="1,2,1"/>)")},
      {"poly.lumgl", FarScene("TLUMPOLYGON", "Depth=\"0.2\"", R"(<Contour Points="3">
<Point X="0" Y="0"/><Point X="2" Y="0"/><Point X="1" Y="1"/></Contour>)")},
      {"text.lumgl", FarScene("TLUMTEXT", "Text=\"Fit\"", "")},
      {"tube.lumgl", FarScene("TLUMTUBE", "", R"(<Section P="0,0,0" Radius="0.2"/>
<Section P="3,0,0" Radius="0.2"/>)")},
  };
  std::vector<std::string> Files = {Models + "cube_nodes.gltf", Models + "drawing.dxf"};
  for (const auto& [Name, Text] : Scenes)
    test::WriteText(Dir.File(Name), Text), Files.push_back(Name);
  for (const std::string& Scene : Files) {
    SCOPED_TRACE(Scene);
    const auto R = RunCommand(Dir, "render '" + Scene + "' -o f.png --size 120x90 --fit");
    ASSERT_EQ(R.Status, 0) << R.Err;
    const TBitmap B = test::ReadImage(Dir, "f.png");
    const double C = Coverage(B);
    EXPECT_GT(C, 0.002) << "not in sight";  // three points of a cloud are few pixels
    EXPECT_LT(C, 0.95) << "cut off";
  }
}

TEST(ModelCommandTest, ScenesWithoutLightsGetAHeadlight) {
  const test::TempDir Dir;
  // Seen from above a corner, the faces of a white cube turn differently to the eye.
  const std::string Cube = "render '" + Models + "cube.obj' -o c.png --size 80x60 " +
                           "--camera-position 1.2,1.6,2 --look-at 0,0,0";
  ASSERT_EQ(RunCommand(Dir, Cube).Status, 0);
  const TBitmap Lit = test::ReadImage(Dir, "c.png");
  EXPECT_GE(Shades(Lit), 3);
  ASSERT_EQ(RunCommand(Dir, Cube + " --no-headlight").Status, 0);
  const TBitmap Flat = test::ReadImage(Dir, "c.png");
  EXPECT_EQ(Shades(Flat), 1);
  EXPECT_NEAR(Coverage(Lit), Coverage(Flat), 0.01);
}

// A textured model converted to every target keeps its texture: rendered back, the
// textured square is green; the scene file Lumox wrote checks clean.
TEST(ModelCommandTest, ConvertKeepsTexturesAndLumoxFilesCheckClean) {
  const test::TempDir Dir;
  const std::string Model = Models + "twoparts.obj";
  for (const char* Out : {"t.lumgl", "t.obj", "t.gltf", "t.glb"}) {
    SCOPED_TRACE(Out);
    auto R = RunCommand(Dir, "convert '" + Model + "' " + Out);
    ASSERT_EQ(R.Status, 0) << R.Err;
    EXPECT_EQ(R.Err, "");
    R = RunCommand(Dir, std::string("render ") + Out +
                            " -o t.png --size 80x60 --camera-position 0,0,1.2 --look-at 0,0,0 "
                            "--no-headlight --strict");
    ASSERT_EQ(R.Status, 0) << R.Err;
    const TBitmap B = test::ReadImage(Dir, "t.png");
    EXPECT_EQ(B.GetPixel(60, 30), 0x00FF00u);  // the right square, textured green
    // Beside an OBJ or glTF file as a PNG named by the material, inside a GLB file.
    EXPECT_EQ(fs::exists(Dir.File("t_0.png")),
              Out == std::string("t.obj") || Out == std::string("t.gltf"));
    fs::remove(Dir.File("t_0.png"));
  }
  EXPECT_NE(test::ReadText(Dir.File("t.mtl")).find("map_Kd t_0.png"), std::string::npos);
  const auto C = RunCommand(Dir, "check t.lumgl");
  EXPECT_EQ(C.Status, 0) << C.Err;
  EXPECT_NE(C.Out.find("no warnings"), std::string::npos);
  // STL cannot hold the texture, and says so.
  const auto S = RunCommand(Dir, "convert '" + Model + "' t.stl");
  EXPECT_EQ(S.Status, 0) << S.Err;
  EXPECT_NE(S.Err.find("materials and textures are left out"), std::string::npos) << S.Err;
}

// A drawing is read in a child process too: block inserts that expand past the reader's
// memory (--import-memory MB) end the command with status 1 and a message, not with this
// process taking gigabytes.
TEST(ModelCommandTest, ADrawingPastTheImportMemoryIsExitStatusOneWithAMessage) {
  const test::TempDir Dir;
  const std::string File = std::string(LUMOX_TEST_DATA) + "/models/nested_inserts.dxf";
  const auto R = RunCommand(Dir, "render '" + File + "' -o x.png --import-memory 64");
  EXPECT_EQ(R.Status, 1);
  EXPECT_NE(R.Err.find("lumox: Cannot read the DXF file \"" + File +
                       "\": the DXF reader used more than 64 MB of memory and was stopped.\n"),
            std::string::npos)
      << R.Err;
  EXPECT_FALSE(fs::exists(Dir.File("x.png")));
  EXPECT_EQ(RunCommand(Dir, "info x.dxf --import-memory 0").Status, 2);
  // Within the limit a drawing still says what it skipped.
  const auto D = RunCommand(Dir, "info '" + Models + "drawing.dxf' --import-memory=256");
  EXPECT_EQ(D.Status, 0) << D.Err;
  EXPECT_NE(D.Err.find("skipped entities: TEXT (1)"), std::string::npos) << D.Err;
}

// bench on a model counts its triangles and its reader's memory with its own.
TEST(ModelCommandTest, BenchOfAModelCountsItsTrianglesAndItsReadersPeakMemory) {
  const test::TempDir Dir;
  const auto R = RunCommand(Dir, "bench '" + Models + "cube.obj' --frames 1 --size 32x32");
  ASSERT_EQ(R.Status, 0) << R.Err;
  EXPECT_NE(R.Out.find("\ntriangles: 12\n"), std::string::npos) << R.Out;
  const size_t At = R.Out.find("\npeak resident MB: ");
  ASSERT_NE(At, std::string::npos) << R.Out;
  double Sum = 0, Own = 0, Child = 0;
  ASSERT_EQ(std::sscanf(R.Out.c_str() + At,
                        "\npeak resident MB: %lf (this process %lf, a model reader's child %lf)",
                        &Sum, &Own, &Child),
            3)
      << R.Out;
  EXPECT_GT(Own, 1.0);
  EXPECT_GT(Child, 1.0);
  EXPECT_NEAR(Sum, Own + Child, 0.11);
}

}  // namespace
}  // namespace lumox
