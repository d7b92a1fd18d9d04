// Debian's assimp-testmodels through the lumox command, as a person would open them: a
// spread of models of every format renders framed and shaded or textured with --fit, and
// every file of the invalid sets is refused with status 1 or drawn, never a signal.
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <string>
#include <vector>

#include "support/command.h"

namespace lumox {
namespace {

namespace fs = std::filesystem;

const fs::path Corpus = "/usr/share/assimp/models";

#define SKIP_WITHOUT_CORPUS()                                                         \
  if (!fs::is_directory(Corpus))                                                      \
  GTEST_SKIP() << "Debian's assimp-testmodels are not installed (" << Corpus.string() \
               << " is missing); tools/bootstrap installs them"

// Appended to: GCC 12 warns falsely of literal + string at -O3.
std::string Quoted(const fs::path& P) { return std::string("'").append(P.string()).append("'"); }

class CorpusModelTest : public ::testing::TestWithParam<const char*> {};

TEST_P(CorpusModelTest, RendersFramedAndShadedOrTextured) {
  SKIP_WITHOUT_CORPUS();
  const test::TempDir Dir;
  const auto R = test::RunCommand(
      Dir, "render " + Quoted(Corpus / GetParam()) + " -o m.png --size 160x120 --fit");
  ASSERT_EQ(R.Status, 0) << R.Err;
  const TBitmap B = test::ReadImage(Dir, "m.png");
  const double C = test::Coverage(B);
  EXPECT_GE(C, 0.03) << "a speck or nothing";
  EXPECT_LE(C, 0.95) << "cut off";
  EXPECT_GE(test::Shades(B), 8) << "a flat silhouette";
}

INSTANTIATE_TEST_SUITE_P(
    Spread, CorpusModelTest,
    ::testing::Values("OBJ/spider.obj", "OBJ/WusonOBJ.obj", "OBJ/regr01.obj",
                      "OBJ/cube_with_vertexcolors.obj", "STL/Spider_binary.stl",
                      "STL/Spider_ascii.stl", "STL/sphereWithHole.stl", "STL/3DSMaxExport.STL",
                      "PLY/Wuson.ply", "PLY/cube_binary.ply",
                      "glTF2/BoxTextured-glTF/BoxTextured.gltf",
                      "glTF2/BoxTextured-glTF-Embedded/BoxTextured.gltf",
                      "glTF2/BoxTextured-glTF-Binary/BoxTextured.glb",
                      "glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb", "3DS/fels.3ds",
                      "3DS/cube_with_diffuse_texture.3DS", "3DS/test1.3ds", "Collada/duck.dae",
                      "Collada/sphere.dae", "Collada/teapots.DAE", "Collada/earthCylindrical.DAE",
                      "DXF/wuson.dxf", "DXF/PinkEggFromLW.dxf", "OFF/Wuson.off"),
    [](const ::testing::TestParamInfo<const char*>& I) {
      std::string N = I.param;
      for (char& Ch : N)
        if (!std::isalnum(static_cast<unsigned char>(Ch))) Ch = '_';
      return N;
    });

TEST(CorpusInvalidTest, EveryInvalidFileIsRefusedWithStatusOneOrDrawnNeverASignal) {
  SKIP_WITHOUT_CORPUS();
  std::vector<fs::path> Files;
  for (const char* Folder :
       {"invalid", "glTF2/IncorrectVertexArrays", "glTF2/IndexOutOfRange", "glTF2/MissingBin",
        "glTF2/RecursiveNodes", "glTF2/SchemaFailures", "glTF2/TestNoRootNode", "glTF2/wrongTypes"})
    for (const auto& E : fs::directory_iterator(Corpus / Folder))
      if (E.path().extension() != ".txt" && E.path().extension() != ".bin" &&
          E.path().extension() != ".png")
        Files.push_back(E.path());
  Files.push_back(Corpus / "OFF/invalid.off");
  ASSERT_GT(Files.size(), 20u);
  const test::TempDir Dir;
  for (const fs::path& F : Files) {
    SCOPED_TRACE(F.string());
    const auto R = test::RunCommand(Dir, "render " + Quoted(F) + " -o x.png --size 64x48 --fit");
    EXPECT_EQ(R.Signal, 0) << R.Err;
    EXPECT_TRUE(R.Status == 0 || R.Status == 1) << R.Status << " " << R.Err;
    if (R.Status == 1) {
      // Named, and said in words: no reader's stray message, no doubled full stop.
      EXPECT_NE(R.Err.find(F.string()), std::string::npos) << R.Err;
      EXPECT_EQ(R.Err.find("No suitable reader"), std::string::npos) << R.Err;
      EXPECT_EQ(R.Err.find("bad_alloc"), std::string::npos) << R.Err;
      EXPECT_EQ(R.Err.find("..\n"), std::string::npos) << R.Err;
    }
  }
}

}  // namespace
}  // namespace lumox
