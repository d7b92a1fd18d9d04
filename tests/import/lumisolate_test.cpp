// Importing in a child process: the same model comes back as in this process (textures,
// materials, warnings, progress), the child's folder goes, and a child over its time or
// memory is stopped with a message saying so.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "lumox/geometry/lumbounds.h"
#include "lumox/import/lumimport.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumtex.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

namespace fs = std::filesystem;
const std::string Data = std::string(LUMOX_TEST_DATA) + "/models/";

// The parts under a node, depth first.
void Parts(TLumRender* R, std::vector<TLum3dPart*>& Out) {
  LumWalkScene(R, [&Out](TLumRender* Item, const TLumMathMatrix&) {
    if (auto* O = dynamic_cast<TLum3dObj*>(Item))
      for (int32_t i = 0; i < O->PartCount(); ++i) Out.push_back(O->Part(i));
  });
}

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

TEST_F(IsolatedImportTest, TheChildHandsBackWhatThisProcessWouldRead) {
  TComponent Owner(nullptr);
  double Progress = -1;
  Isolated.OnProgress = [&Progress](double P) { Progress = std::max(Progress, P); };
  TLumNode* Here = LoadModel(Data + "twoparts.obj", &Owner);
  TLumNode* There = LoadModel(Data + "twoparts.obj", &Owner, Isolated);
  EXPECT_GE(Progress, 0.0);
  EXPECT_LE(Progress, 1.0);
  std::vector<TLum3dPart*> A, B;
  Parts(Here, A);
  Parts(There, B);
  ASSERT_EQ(A.size(), B.size());
  for (size_t I = 0; I < A.size(); ++I) {
    SCOPED_TRACE(A[I]->PartName());
    EXPECT_EQ(B[I]->PartName(), A[I]->PartName());
    EXPECT_EQ(B[I]->VertexCount(), A[I]->VertexCount());
    // The file's singles exactly: the scene file holds their shortest text.
    for (int32_t V = 0; V < A[I]->VertexCount() * 3; ++V)
      EXPECT_EQ(static_cast<float>(B[I]->Points()->Vertices()[V]),
                static_cast<float>(A[I]->Points()->Vertices()[V]));
    ASSERT_EQ(B[I]->PartMaterial() != nullptr, A[I]->PartMaterial() != nullptr);
    if (A[I]->PartMaterial()) {
      EXPECT_EQ(B[I]->PartMaterial()->ColorDiffuse()->Color(),
                A[I]->PartMaterial()->ColorDiffuse()->Color());
      EXPECT_EQ(B[I]->PartMaterial()->Shininess(), A[I]->PartMaterial()->Shininess());
    }
    ASSERT_EQ(B[I]->Texture() != nullptr, A[I]->Texture() != nullptr);
    if (A[I]->Texture()) {
      EXPECT_EQ(B[I]->Texture()->Bitmap()->GetPixel(1, 1),
                A[I]->Texture()->Bitmap()->GetPixel(1, 1));
    }
  }
  EXPECT_EQ(LumCountMeshes(There).Triangles, LumCountMeshes(Here).Triangles);
}

TEST_F(IsolatedImportTest, WarningsAndRefusalsComeBackInTheReadersWords) {
  fs::create_directories(Tmp.Path() / "m");
  fs::copy_file(Data + "twoparts.obj", Tmp.Path() / "m/twoparts.obj");
  std::string Mtl = test::ReadText(Data + "twoparts.mtl");
  Mtl.replace(Mtl.find("green.png"), 9, "gone.png");
  test::WriteText((Tmp.Path() / "m/twoparts.mtl").string(), Mtl);
  std::vector<std::string> Warnings;
  Isolated.OnWarning = [&Warnings](const TLumLoadWarning& W) { Warnings.push_back(W.Text); };
  TComponent Owner(nullptr);
  LoadModel((Tmp.Path() / "m/twoparts.obj").string(), &Owner, Isolated);
  ASSERT_EQ(Warnings.size(), 1u);
  EXPECT_NE(Warnings[0].find("\"gone.png\" does not exist"), std::string::npos) << Warnings[0];
  test::WriteText((Tmp.Path() / "m/bad.gltf").string(), "{\"asset\":{\"version\":\"2.0\"},");
  const std::string File = (Tmp.Path() / "m/bad.gltf").string();
  const std::string Here = test::Thrown([&] { LoadModel(File, &Owner); });
  EXPECT_EQ(test::Thrown([&] { LoadModel(File, &Owner, Isolated); }), Here);
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
  const std::string Crash = test::Thrown([&] {
    LoadModel((Finds / "ply_binary_face_past_the_end_crashes.ply").string(), &Owner, Isolated);
  });
  EXPECT_NE(Crash.find("the model reader crashed (signal 11, SIGSEGV)."), std::string::npos)
      << Crash;
  const std::string Abort = test::Thrown([&] {
    LoadModel((Finds / "ply_face_without_corners_aborts.ply").string(), &Owner, Isolated);
  });
  EXPECT_NE(Abort.find("the model reader aborted (signal 6, SIGABRT)."), std::string::npos)
      << Abort;
  // A damaged Collada polygon list for which the reader grows without end (past 4 GB
  // unbounded): stopped at the limit.
  const std::string Grows = test::Thrown([&] {
    LoadModel((Finds / "dae_polylist_reader_grows_past_gigabytes.dae").string(), &Owner, Isolated);
  });
  EXPECT_NE(Grows.find("the model reader used more than 512 MB of memory and was stopped."),
            std::string::npos)
      << Grows;
  for (const auto& E : fs::directory_iterator(Finds)) {
    SCOPED_TRACE(E.path().string());
    const std::string M = test::Thrown([&] { LoadModel(E.path().string(), &Owner, Isolated); });
    if (M != "(nothing thrown)") {
      EXPECT_EQ(M.rfind("Cannot read the model file \"" + E.path().string() + "\": ", 0), 0u) << M;
    }
  }
}

}  // namespace
}  // namespace lumox
