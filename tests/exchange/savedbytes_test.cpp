// The exact bytes of saved scenes, against files kept in tests/data/saved: one of every
// render class (defaults, and every scalar property moved off its value through the
// class's table) under the writer's options, the good scene files and the demo loaded
// and saved again, and the reference scenes of the benchmarks (by length and digest).
// LUMOX_UPDATE_SAVED=1 rewrites the kept files from what this build saves.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "bench/scenes/benchscenes.h"
#include "lumox/host/proptable.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"
#include "support/propvalues.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

namespace fs = std::filesystem;

const std::string SavedDir = std::string(LUMOX_TEST_DATA) + "/saved/";

bool Updating() {
  const char* U = std::getenv("LUMOX_UPDATE_SAVED");
  return U && *U == '1';
}

// Compares Bytes with the kept file Name (or rewrites it when updating).
void ExpectKept(const std::string& Name, const std::string& Bytes) {
  const std::string Path = SavedDir + Name;
  if (Updating()) {
    fs::create_directories(SavedDir);
    test::WriteText(Path, Bytes);
    return;
  }
  ASSERT_TRUE(fs::exists(Path)) << Path;
  const std::string Kept = test::ReadText(Path);
  if (Kept == Bytes) return;
  size_t At = 0;
  while (At < Kept.size() && At < Bytes.size() && Kept[At] == Bytes[At]) ++At;
  ADD_FAILURE() << Name << " differs from byte " << At << ": kept \""
                << Kept.substr(At > 40 ? At - 40 : 0, 120) << "\", saved \""
                << Bytes.substr(At > 40 ? At - 40 : 0, 120) << "\"";
}

std::string Save(TLumNode* Root, bool NoDefaults, int Decimals, bool ParamNewLine) {
  test::TempDir Dir;
  TLumExchange X(nullptr);
  X.SetFileName(Dir.File("scene.lumgl"));
  X.SetNoDefaultValues(NoDefaults);
  X.SetDecimals(Decimals);
  X.SetParamNewLine(ParamNewLine);
  X.SavetoFile(Root);
  return test::ReadText(Dir.File("scene.lumgl"));
}

// Moves every writable scalar of Obj, and of the objects it owns, off its value; a
// value a setter refuses is left.
void MoveScalars(TPersistent* Obj, int Depth) {
  const TLumClassInfo* C = GetClassInfo(Obj);
  if (!C || Depth > 3) return;
  for (const TLumPropInfo* P : C->Properties()) {
    if (P->Kind == pkObject) {
      if (TPersistent* Sub = P->GetObject(Obj)) MoveScalars(Sub, Depth + 1);
      continue;
    }
    if (P->ReadOnly || P->Kind == pkEvent || P->Kind == pkString || P->Kind == pkComponent)
      continue;
    try {
      // The steps the kept bytes were made with.
      P->SetValue(Obj, test::OtherValue(P, P->GetValue(Obj), 0.25, 0x2468ACu));
    } catch (const std::exception&) {
    }
  }
}

// Two of every render class in a node: one as created, one with its scalars moved.
void BuildEveryClass(TComponent* Owner, TLumNode* Root) {
  std::vector<TLumRenderClass> Classes;
  GetRenderClassList(Classes);
  ASSERT_GT(Classes.size(), 20u);
  int N = 0;
  for (const auto& R : Classes) {
    const TLumClassInfo* C = FindClassInfo(R.Name);
    ASSERT_NE(C, nullptr) << R.Name;
    for (int Moving = 0; Moving < 2; ++Moving) {
      auto* Obj = dynamic_cast<TLumRender*>(C->Create(Owner));
      ASSERT_NE(Obj, nullptr) << R.Name;
      std::string Name = std::to_string(++N);
      Obj->SetName(Name.insert(0, 1, 'C'));
      if (Moving) MoveScalars(Obj, 0);
      if (Obj != Root) Obj->SetNode(Root);
    }
  }
}

TEST(SavedBytesTest, EveryRenderClassUnderEachWriterOption) {
  TComponent Owner(nullptr);
  auto* Root = new TLumNode(&Owner);
  Root->SetName("Root");
  BuildEveryClass(&Owner, Root);
  ExpectKept("everyclass.lumgl", Save(Root, false, 0, false));
  ExpectKept("everyclass_nodefaults.lumgl", Save(Root, true, 4, false));
  ExpectKept("everyclass_paramnewline.lumgl", Save(Root, false, 0, true));
}

TEST(SavedBytesTest, SceneFilesLoadedAndSavedAgain) {
  std::vector<fs::path> Files = {fs::path(LUMOX_SOURCE_DIR) / "apps/lumox/demo.lumgl"};
  for (const auto& E : fs::directory_iterator(std::string(LUMOX_TEST_DATA) + "/scenes/good"))
    Files.push_back(E.path());
  std::sort(Files.begin(), Files.end());
  for (const fs::path& F : Files) {
    SCOPED_TRACE(F.string());
    TComponent Owner(nullptr);
    auto* Root = new TLumNode(&Owner);
    TLumExchange X(nullptr);
    X.SetFileName(F.string());
    X.LoadfromFile(Root);
    ExpectKept("reloaded_" + F.stem().string() + ".lumgl", Save(Root, false, 0, false));
  }
}

// 64-bit FNV-1a: the reference scenes are too large to keep whole.
uint64_t Digest(const std::string& Bytes) {
  uint64_t H = 14695981039346656037ull;
  for (unsigned char C : Bytes) H = (H ^ C) * 1099511628211ull;
  return H;
}

TEST(SavedBytesTest, ReferenceScenesKeepTheirLengthAndDigest) {
  std::ostringstream Got;
  for (auto S : {lumoxbench::bsS1, lumoxbench::bsS3, lumoxbench::bsS4}) {
    TComponent Owner(nullptr);
    auto* Root = new TLumNode(&Owner);
    auto* Camera = new TLumPerspectiveCamera(&Owner);
    lumoxbench::BuildScene(S, &Owner, Root, Camera);
    // S3 as its benchmark saves it, without default values (a third of the size).
    const std::string Bytes = Save(Root, S == lumoxbench::bsS3, 0, false);
    char Line[96];
    std::snprintf(Line, sizeof Line, "%s %zu %016llx\n", lumoxbench::TBenchSceneStr[S],
                  Bytes.size(), static_cast<unsigned long long>(Digest(Bytes)));
    Got << Line;
  }
  ExpectKept("reference_scenes.txt", Got.str());
}

}  // namespace
}  // namespace lumox
