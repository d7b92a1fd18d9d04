// The lumox command on models and scenes of every geometry class: --fit frames them, the
// headlight shades them, and what convert writes keeps them.
#include <gtest/gtest.h>

#include <string>

#include "support/command.h"

namespace lumox {
namespace {

using test::Coverage;
using test::RunCommand;
using test::Shades;

const std::string Models = std::string(LUMOX_TEST_DATA) + "/models/";

// A scene of one object 40 units off the origin, given as its element's inside.
std::string FarScene(const std::string& Class, const std::string& Attributes,
                     const std::string& Children) {
  return "<LUMGL version=\"0.1.0\" program=\"test\" description=\"\">\n<Objects>\n<" + Class +
         " name=\"O\"" + (Attributes.empty() ? "" : " " + Attributes) + ">\n<Transformation><Translation P=\"40,-30,5\"/>" +
         "</Transformation>\n" + Children + "</" + Class + ">\n</Objects>\n</LUMGL>\n";
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
  for (const auto& [Name, Text] : Scenes) test::WriteText(Dir.File(Name), Text);
  for (const std::string& Scene :
       {std::string("obj.lumgl"), std::string("cloud.lumgl"), std::string("poly.lumgl"),
        std::string("text.lumgl"), std::string("tube.lumgl"), Models + "cube_nodes.gltf",
        Models + "drawing.dxf"}) {
    SCOPED_TRACE(Scene);
    const auto R = RunCommand(Dir, "render '" + Scene + "' -o f.png --size 120x90 --fit");
    ASSERT_EQ(R.Status, 0) << R.Err;
    TBitmap B;
    B.LoadFromFile(Dir.File("f.png"));
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
  TBitmap Lit;
  Lit.LoadFromFile(Dir.File("c.png"));
  EXPECT_GE(Shades(Lit), 3);
  ASSERT_EQ(RunCommand(Dir, Cube + " --no-headlight").Status, 0);
  TBitmap Flat;
  Flat.LoadFromFile(Dir.File("c.png"));
  EXPECT_EQ(Shades(Flat), 1);
  EXPECT_NEAR(Coverage(Lit), Coverage(Flat), 0.01);
  // The help says so.
  const auto H = RunCommand(Dir, "render --help");
  EXPECT_NE(H.Out.find("--no-headlight"), std::string::npos) << H.Out;
}

}  // namespace
}  // namespace lumox
