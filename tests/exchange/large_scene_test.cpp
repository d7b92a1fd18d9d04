// Scenes nested very deep or very wide: loading, saving, changing, rendering and
// freeing them stays linear and within the call stack.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/graphics.h"
#include "lumox/scene/lumobj.h"
#include "lumox/scene/lumtex.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"
#include "support/glfixture.h"
#include "support/scenefile.h"

using namespace lumox;
namespace fs = std::filesystem;

namespace {

constexpr int Many = 100000;

using test::ReadText, test::WriteText;

// The depth of the chain of first items below Node.
int ChainDepth(TLumNode* Node) {
  int Depth = 0;
  while (auto* Sub = dynamic_cast<TLumNode*>(Node->GetItems(0))) {
    Node = Sub;
    ++Depth;
  }
  return Depth;
}

void Load(const fs::path& File, TLumNode* Target) {
  TLumExchange X(nullptr);
  X.SetFileName(File.string());
  X.LoadfromFile(Target);
}

}  // namespace

// Each step used to need a stack frame or more per level (a crash at 40 000 levels)
// and the save inserted every start tag at the head of its buffer (minutes at a
// twentieth of this size, past the test's time limit).
TEST(LargeSceneTest, HundredThousandNestedNodesLoadSaveReloadAndFree) {
  const test::TempDir Tmp;
  const fs::path& Dir = Tmp.Path();
  std::string Text = "<LUMGL>\r\n<Objects>\r\n";
  for (int I = 0; I < Many; ++I) Text += "<TLUMNODE Enabled=\"true\">\r\n";
  for (int I = 0; I < Many; ++I) Text += "</TLUMNODE>\r\n";
  Text += "</Objects>\r\n</LUMGL>\r\n";
  WriteText(Dir / "nested.lumgl", Text);

  {
    TComponent Form(nullptr);
    auto* Root = new TLumNode(&Form);
    int Changes = 0;
    Root->OnChange = [&](TObject*) { ++Changes; };
    Load(Dir / "nested.lumgl", Root);
    ASSERT_EQ(ChainDepth(Root), Many);
    // The values read inside the load reach the target once, at its end.
    EXPECT_EQ(Changes, 1);

    TLumExchange X(nullptr);
    X.SetFileName((Dir / "saved.lumgl").string());
    X.SavetoFile(Root);
    // Indentation stops growing, so the file grows linearly with the nesting.
    EXPECT_LT(fs::file_size(Dir / "saved.lumgl"), static_cast<uintmax_t>(Many) * 2000);

    // A change deep down climbs to the root without a frame per level.
    TLumNode* Deepest = Root;
    while (auto* Sub = dynamic_cast<TLumNode*>(Deepest->GetItems(0))) Deepest = Sub;
    Changes = 0;
    Deepest->Transformation()->Translation()->SetX(1);
    EXPECT_EQ(Changes, 1);
  }
  {
    TComponent Form(nullptr);
    auto* Again = new TLumNode(&Form);
    Load(Dir / "saved.lumgl", Again);
    EXPECT_EQ(ChainDepth(Again), Many);
  }
}

// Each insertion used to be broadcast to every sibling: 20 000 took minutes, past the
// test's time limit (the speed itself is the benchmarks' to measure).
TEST(LargeSceneTest, HundredThousandSiblingNodesLoadAndOnlyAListeningSiblingHears) {
  const test::TempDir Tmp;
  const fs::path& Dir = Tmp.Path();
  std::string Text = "<LUMGL>\r\n<Objects>\r\n";
  for (int I = 0; I < Many; ++I) Text += "<TLUMNODE name=\"N" + std::to_string(I) + "\"/>\r\n";
  Text += "</Objects>\r\n</LUMGL>\r\n";
  WriteText(Dir / "wide.lumgl", Text);
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  Load(Dir / "wide.lumgl", Root);
  EXPECT_EQ(Root->GetCount(), Many);
  EXPECT_EQ(Root->FindComponent("N99999"), Root->GetItems(Many - 1));
  // A sibling with a handler still hears of insertions and removals.
  auto* Listener = dynamic_cast<TLumNode*>(Root->GetItems(0));
  int Heard = 0;
  Listener->OnItemNotify = [&](TComponent*, TOperation) { ++Heard; };
  delete Root->GetItems(Many - 1);
  Listener->OnItemNotify = nullptr;
  delete Root->GetItems(Many - 2);
  EXPECT_EQ(Heard, 1);  // the first removal only
}

TEST(LargeSceneTest, SaveThroughSymbolicLinkKeepsTheLink) {
  const test::TempDir Tmp;
  const fs::path& Dir = Tmp.Path();
  WriteText(Dir / "real.lumgl", "old");
  fs::create_symlink("real.lumgl", Dir / "link.lumgl");
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  Root->Add(new TLumNode(&Form));
  TLumExchange X(nullptr);
  X.SetFileName((Dir / "link.lumgl").string());
  X.SavetoFile(Root);
  EXPECT_TRUE(fs::is_symlink(Dir / "link.lumgl"));
  EXPECT_GT(fs::file_size(Dir / "real.lumgl"), 100u);
  EXPECT_EQ(std::distance(fs::directory_iterator(Dir), fs::directory_iterator()), 2);
}

// A save that fails part-way (here: the file-size limit of a full disk) leaves the
// old scene and its side file byte for byte, and no temporary behind.
TEST(LargeSceneTest, FailedSaveLeavesSceneAndSideFilesIntact) {
  const test::TempDir Tmp;
  const fs::path& Dir = Tmp.Path();
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  auto* Texture = new TLumTexture(&Form);
  TBitmap Small(8, 8);
  Small.Fill(0x0000FF);
  Texture->SetBitmap(&Small);
  Texture->SetNode(Root);
  TLumExchange X(nullptr);
  X.SetFileName((Dir / "scene.lumgl").string());
  X.SavetoFile(Root);
  ASSERT_TRUE(fs::exists(Dir / "scene0.bmp"));
  const std::string OldScene = ReadText(Dir / "scene.lumgl");
  const std::string OldSide = ReadText(Dir / "scene0.bmp");

  TBitmap Large(256, 256);
  Large.Fill(0x00FF00);
  Texture->SetBitmap(&Large);
  Texture->Transformation()->Translation()->SetX(2);
  const pid_t Child = ::fork();
  if (Child == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit Limit{4096, 4096};
    ::setrlimit(RLIMIT_FSIZE, &Limit);
    try {
      X.SavetoFile(Root);
    } catch (const Exception&) {
      ::_exit(3);
    }
    ::_exit(0);
  }
  int Status = 0;
  ASSERT_EQ(::waitpid(Child, &Status, 0), Child);
  ASSERT_TRUE(WIFEXITED(Status));
  EXPECT_EQ(WEXITSTATUS(Status), 3);  // the save reported its failure
  EXPECT_EQ(ReadText(Dir / "scene.lumgl"), OldScene);
  EXPECT_EQ(ReadText(Dir / "scene0.bmp"), OldSide);
  EXPECT_EQ(std::distance(fs::directory_iterator(Dir), fs::directory_iterator()), 2);
}

// Every input that ever broke the loader, the writer or a frame (tests/data/fuzz) loads
// and renders, or fails with an Exception; what loads also saves and loads again.
TEST(FuzzRegressionTest, EveryKeptInputLoadsRendersOrFailsCleanly) {
  SetRenderDiagnostics([](const std::string&) {});
  const test::TempDir Tmp;
  const fs::path& Dir = Tmp.Path();
  TComponent Keep(nullptr);
  auto* View = new TLumView(&Keep);
  View->SetBounds(32, 24);
  View->SetCamera(new TLumPerspectiveCamera(&Keep));
  int Files = 0;
  for (const auto& E : fs::directory_iterator(fs::path(LUMOX_TEST_DATA) / "fuzz")) {
    ++Files;
    TComponent Form(nullptr);
    auto* Root = new TLumNode(&Form);
    TLumExchange X(&Form);
    X.SetFileName(E.path().string());
    try {
      X.LoadfromFile(Root);
      X.SetFileName((Dir / "again.lumgl").string());
      X.SavetoFile(Root);
      TLumNode Again(nullptr);
      X.LoadfromFile(&Again);
    } catch (const Exception& Ex) {
      EXPECT_LT(std::string(Ex.what()).size(), 400u) << Ex.what();
    }
    View->OnRender = [Root](TLumView* V) { Root->Render(V); };
    TBitmap Image(32, 24);
    View->GetImage(&Image);  // a mesh over the limit fails the frame, nothing else
    View->OnRender = nullptr;
  }
  EXPECT_GT(Files, 5);
  SetRenderDiagnostics(nullptr);
}

class DeepRenderTest : public lumox::test::GLTest {};

// Deeper than the modelview stack, the branch is left out with one message, and
// the matrices of everything else stay right.
TEST_F(DeepRenderTest, BranchesDeeperThanTheMatrixStackAreLeftOutOnce) {
  std::vector<std::string> Messages;
  SetRenderDiagnostics([&](const std::string& M) { Messages.push_back(M); });
  GLint Max = 0;
  glGetIntegerv(GL_MAX_MODELVIEW_STACK_DEPTH, &Max);
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  TLumNode* Last = Root;
  int Drawn = 0;
  for (int I = 1; I < Max + 10; ++I) {
    auto* Sub = new TLumNode(&Form);
    Sub->Transformation()->Translation()->SetX(1);
    Sub->OnAfterRender = [&](TLumCustomView*) { ++Drawn; };
    Last->Add(Sub);
    Last = Sub;
  }
  double Before[16], After[16];
  ModelView(Before);
  Root->Render(nullptr);
  ModelView(After);
  EXPECT_EQ(Drawn, Max - 2);  // the stack's first entry is in use, the root takes one
  ASSERT_EQ(Messages.size(), 1u);
  EXPECT_NE(Messages[0].find("matrix stack"), std::string::npos);
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
  for (int I = 0; I < 16; ++I) EXPECT_EQ(Before[I], After[I]);
  // A shallow scene says nothing.
  Messages.clear();
  Root->GetItems(0)->SetNode(nullptr);
  Root->Render(nullptr);
  EXPECT_TRUE(Messages.empty());
  SetRenderDiagnostics(nullptr);
}
