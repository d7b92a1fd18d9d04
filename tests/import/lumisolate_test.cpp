// Importing in a child process: the same model comes back as in this process (textures,
// materials, warnings, progress), the child's folder goes, and a child over its time or
// memory is stopped with a message saying so.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "lumox/geometry/lumbounds.h"
#include "lumox/import/lumdxfimport.h"
#include "lumox/import/lumimport.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumtex.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

namespace fs = std::filesystem;
const std::string Data = std::string(LUMOX_TEST_DATA) + "/models/";

// A grid of N x N squares as an OBJ file.
void WriteGrid(const std::string& File, int N) {
  std::ofstream Out(File);
  for (int J = 0; J <= N; ++J)
    for (int I = 0; I <= N; ++I) Out << "v " << I << ' ' << J << " 0\n";
  for (int J = 0; J < N; ++J)
    for (int I = 0; I < N; ++I) {
      const int A = J * (N + 1) + I + 1;
      Out << "f " << A << ' ' << A + 1 << ' ' << A + N + 2 << ' ' << A + N + 1 << '\n';
    }
}

// The files that saving Root as a scene writes into the new folder Dir, by name.
std::map<std::string, std::string> SavedFiles(TLumComponent* Root, const fs::path& Dir) {
  fs::create_directories(Dir);
  test::SaveComponent(Root, (Dir / "s.lumgl").string());
  std::map<std::string, std::string> Files;
  for (const auto& E : fs::directory_iterator(Dir))
    Files[E.path().filename().string()] = test::ReadText(E.path().string());
  return Files;
}

class IsolatedImportTest : public ::testing::Test {
 protected:
  // Temporary folders of the child go here, so that a left-over one is seen.
  void SetUp() override {
    const char* Old = std::getenv("TMPDIR");
    FOldTmp = Old ? Old : "";
    fs::create_directories(Tmp.Path() / "tmp");
    setenv("TMPDIR", (Tmp.Path() / "tmp").c_str(), 1);
    Isolated.Isolated = true;
    Isolated.TimeLimit = 60;     // whatever goes wrong, a test ends
    Isolated.MaxMemoryMB = 512;  // and takes no more than a test may
  }
  void TearDown() override {
    EXPECT_TRUE(fs::is_empty(Tmp.Path() / "tmp")) << "the child's folder was left behind";
    if (FOldTmp.empty())
      unsetenv("TMPDIR");
    else
      setenv("TMPDIR", FOldTmp.c_str(), 1);
  }
  test::TempDir Tmp;
  TLumImportOptions Isolated;
  std::string FOldTmp;
};

// Parts in nested nodes (glTF), textured and untextured ones side by side (OBJ), a 3DS
// file's: each part gets its own arrays back. Warnings and refusals come back in the
// reader's words.
TEST_F(IsolatedImportTest, TheChildHandsBackWhatThisProcessWouldRead) {
  // Three objects of different sizes, each in a node of its own.
  test::WriteText(Tmp.File("three.obj"),
                  "o a\nv 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n"
                  "o b\nv 2 0 0\nv 3 0 0\nv 3 1 0\nv 2 1 0\nf 4 5 6 7\n"
                  "o c\nv 4 0 0\nv 5 0 0\nv 5 1 0\nv 4.5 2 0\nv 4 1 0\nf 8 9 10 11 12\n");
  // A model whose texture is missing, and a damaged glTF file.
  fs::create_directories(Tmp.Path() / "m");
  fs::copy_file(Data + "twoparts.obj", Tmp.Path() / "m/twoparts.obj");
  std::string Mtl = test::ReadText(Data + "twoparts.mtl");
  Mtl.replace(Mtl.find("green.png"), 9, "gone.png");
  test::WriteText(Tmp.File("m/twoparts.mtl"), Mtl);
  test::WriteText(Tmp.File("bad.gltf"), "{\"asset\":{\"version\":\"2.0\"},");
  for (const std::string& Model :
       {Data + "twoparts.obj", Data + "cube_nodes.gltf", Data + "cube.3ds", Data + "cube.glb",
        Tmp.File("three.obj"), Tmp.File("m/twoparts.obj"), Tmp.File("bad.gltf")}) {
    SCOPED_TRACE(Model);
    TComponent OwnerHere(nullptr), OwnerThere(nullptr);
    std::vector<std::string> WarnedHere, WarnedThere;
    TLumImportOptions InProcess;
    InProcess.OnWarning = [&](const TLumLoadWarning& W) { WarnedHere.push_back(W.Text); };
    Isolated.OnWarning = [&](const TLumLoadWarning& W) { WarnedThere.push_back(W.Text); };
    double Progress = -1;
    Isolated.OnProgress = [&Progress](double P) { Progress = std::max(Progress, P); };
    TLumNode *Here = nullptr, *There = nullptr;
    const std::string Said = test::Thrown([&] { Here = LoadModel(Model, &OwnerHere, InProcess); });
    EXPECT_EQ(test::Thrown([&] { There = LoadModel(Model, &OwnerThere, Isolated); }), Said);
    EXPECT_EQ(WarnedThere, WarnedHere);
    EXPECT_EQ(WarnedHere.size(), Model == Tmp.File("m/twoparts.obj") ? 1u : 0u);
    if (!Here) continue;
    EXPECT_GE(Progress, 0.0);
    EXPECT_LE(Progress, 1.0);
    // Every part's arrays, index lists, material and texture, as a scene file holds them.
    const std::map<std::string, std::string> Saved = SavedFiles(Here, Tmp.Path() / "here");
    EXPECT_TRUE(SavedFiles(There, Tmp.Path() / "there") == Saved);
    EXPECT_GT(Saved.at("s.lumgl").size(), 500u);
    fs::remove_all(Tmp.Path() / "here"), fs::remove_all(Tmp.Path() / "there");
  }
}

TEST_F(IsolatedImportTest, AChildOverItsTimeOrMemoryIsStoppedAndSaysSo) {
  const std::string Grid = (Tmp.Path() / "grid.obj").string();
  WriteGrid(Grid, 300);
  TComponent Owner(nullptr);
  TLumImportOptions Quick = Isolated;
  Quick.TimeLimit = 0.001;
  std::string M = test::Thrown([&] { LoadModel(Grid, &Owner, Quick); });
  EXPECT_NE(M.find("the model reader took longer than 0.001 s and was stopped"), std::string::npos)
      << M;
  TLumImportOptions Small = Isolated;
  Small.MaxMemoryMB = 1;
  M = test::Thrown([&] { LoadModel(Grid, &Owner, Small); });
  EXPECT_NE(M.find("the model reader used more than 1 MB of memory"), std::string::npos) << M;
  EXPECT_EQ(M.rfind("Cannot read the model file \"" + Grid + "\": ", 0), 0u) << M;
  // Limits that bound nothing are refused before a child starts.
  for (double Bad : {std::nan(""), 0.0, HUGE_VAL}) {
    Quick.TimeLimit = Bad;
    M = test::Thrown([&] { LoadModel(Grid, &Owner, Quick); });
    EXPECT_NE(M.find("the time limit must be a number of seconds above 0"), std::string::npos) << M;
  }
  Small.MaxMemoryMB = 0;
  M = test::Thrown([&] { LoadModel(Grid, &Owner, Small); });
  EXPECT_NE(M.find("the memory limit must be at least 1 MB"), std::string::npos) << M;
  // With room to work the same file loads.
  EXPECT_EQ(LumCountMeshes(LoadModel(Grid, &Owner, Isolated)).Triangles, 2 * 300 * 300);
}

// What crashes, aborts or exhausts the importer (Asset Importer 5.2.5: a binary PLY face
// past the end of the file, an ASCII PLY face without corners, a damaged Collada polygon
// list) and every kept fuzz find
// (tests/data/fuzz-model) is refused in words; this process goes on.
TEST_F(IsolatedImportTest, ACrashOrAbortOfTheReaderIsSaidAndEveryFuzzFindRefusedOrRead) {
  const fs::path Finds = fs::path(LUMOX_TEST_DATA) / "fuzz-model";
  TComponent Owner(nullptr);
  // The Collada list grows without end (past 4 GB unbounded): stopped at the limit.
  const std::pair<const char*, const char*> Known[] = {
      {"ply_binary_face_past_the_end_crashes.ply", "crashed (signal 11, SIGSEGV)."},
      {"ply_face_without_corners_aborts.ply", "aborted (signal 6, SIGABRT)."},
      {"dae_polylist_reader_grows_past_gigabytes.dae",
       "used more than 512 MB of memory and was stopped."}};
  for (const auto& [Name, Said] : Known) {
    const std::string M =
        test::Thrown([&] { LoadModel((Finds / Name).string(), &Owner, Isolated); });
    EXPECT_NE(M.find(std::string("the model reader ") + Said), std::string::npos) << M;
  }
  for (const auto& E : fs::directory_iterator(Finds)) {
    SCOPED_TRACE(E.path().string());
    const std::string M = test::Thrown([&] { LoadModel(E.path().string(), &Owner, Isolated); });
    if (M != "(nothing thrown)") {
      EXPECT_EQ(M.rfind("Cannot read the model file \"" + E.path().string() + "\": ", 0), 0u) << M;
    }
  }
}

// A drawing read in the child comes back as it reads here, skipped entities included;
// the reader's refusals come back in its words, and block inserts that expand past the
// memory limit (58 720 256 vertices: within the vertex bound, gigabytes to draw) stop the
// child with a message saying so.
TEST_F(IsolatedImportTest, DrawingsReadInTheChildAsHereAndPastTheirMemoryAreStopped) {
  TComponent Owner(nullptr);
  auto* Target = new TLumNode(&Owner);
  TLumDXFImport Here(nullptr), There(nullptr);
  for (TLumDXFImport* D : {&Here, &There}) {
    D->SetFileName(Data + "drawing.dxf");
    D->SetTarget(Target);
  }
  There.SetIsolated(true);
  There.SetMaxMemoryMB(256);
  There.SetTimeLimit(60);
  TLum3dObj* A = Here.Execute();
  TLum3dObj* B = There.Execute();
  EXPECT_EQ(B->Owner(), &Owner);
  EXPECT_EQ(Target->GetItems(1), B);
  EXPECT_EQ(There.UnknownEntities(), Here.UnknownEntities());
  EXPECT_TRUE(SavedFiles(B, Tmp.Path() / "there") == SavedFiles(A, Tmp.Path() / "here"));

  test::WriteText(Tmp.File("cut.dxf"), "  0\nSECTION\n  2\nENTITIES\n  0\nLINE\n 10\n");
  for (TLumDXFImport* D : {&Here, &There}) D->SetFileName(Tmp.File("cut.dxf"));
  EXPECT_EQ(test::Thrown([&] { There.Execute(); }), test::Thrown([&] { Here.Execute(); }));

  const std::string Bomb = Data + "nested_inserts.dxf";
  There.SetFileName(Bomb);
  There.SetMaxMemoryMB(64);
  EXPECT_EQ(test::Thrown([&] { There.Execute(); }),
            "Cannot read the DXF file \"" + Bomb +
                "\": the DXF reader used more than 64 MB of memory and was stopped.");
  EXPECT_EQ(Target->GetCount(), 2);
}

}  // namespace
}  // namespace lumox
