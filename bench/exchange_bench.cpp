// Throughput of the exchange format: the XML reader on a large scene text, and saving
// and loading a node of 100 000 objects.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "lumox/exchange/lumexchange.h"
#include "lumox/exchange/xmlparser.h"
#include "lumox/scene/lumobj.h"

namespace {

using namespace lumox;
namespace fs = std::filesystem;

constexpr int ObjectCount = 100000;

fs::path ScenePath() { return fs::temp_directory_path() / "lumox_exchange_bench.xml"; }

// A node with ObjectCount plain objects, each moved and coloured so that its
// transformation and colour carry values.
std::unique_ptr<TLumNode> MakeScene() {
  auto Root = std::make_unique<TLumNode>(nullptr);
  for (int I = 0; I < ObjectCount; ++I) {
    auto* O = new TLumObject(Root.get());
    O->SetObjectID(I);
    O->Transformation()->Translation()->SetValues(static_cast<float>(I % 100), 0.5f,
                                                  -static_cast<float>(I) * 0.25f);
    O->Color()->SetColor(static_cast<uint32_t>(I) * 2654435761u & 0xFFFFFF);
    Root->Add(O);
  }
  return Root;
}

void RegisterObjects() {
  if (!GetRenderClass("TLumObject")) RegisterRenderClass<TLumObject>();
}

// The scene saved with every attribute written: the large text the reader is timed on.
const std::string& SceneText() {
  static const std::string Text = [] {
    auto Root = MakeScene();
    TLumExchange X(nullptr);
    X.SetFileName(ScenePath().string());
    X.SavetoFile(Root.get());
    std::ifstream In(ScenePath(), std::ios::binary);
    std::stringstream S;
    S << In.rdbuf();
    return S.str();
  }();
  return Text;
}

void BM_ParseScene(benchmark::State& State) {
  const std::string& Text = SceneText();
  TXMLParser Parser(nullptr);
  int64_t Tags = 0;
  // The exchange's reading looks up attributes on every start tag; do the same.
  Parser.OnTag = [&](TXMLTag*& T) {
    std::string V;
    Tags += T->GetParam("name", V);
  };
  for (auto _ : State) {
    State.PauseTiming();
    Parser.Stream() = Text;
    State.ResumeTiming();
    Parser.execute(nullptr);
  }
  benchmark::DoNotOptimize(Tags);
  State.SetBytesProcessed(State.iterations() * static_cast<int64_t>(Text.size()));
  State.counters["MB"] = static_cast<double>(Text.size()) / 1e6;
}
BENCHMARK(BM_ParseScene)->Unit(benchmark::kMillisecond);

void BM_SaveScene(benchmark::State& State) {
  auto Root = MakeScene();
  TLumExchange X(nullptr);
  X.SetFileName(ScenePath().string());
  X.SetNoDefaultValues(State.range(0) != 0);
  for (auto _ : State) X.SavetoFile(Root.get());
  State.SetBytesProcessed(State.iterations() * static_cast<int64_t>(fs::file_size(ScenePath())));
  State.SetItemsProcessed(State.iterations() * ObjectCount);
}
BENCHMARK(BM_SaveScene)->Arg(0)->Arg(1)->ArgName("NoDefaultValues")->Unit(benchmark::kMillisecond);

void BM_LoadScene(benchmark::State& State) {
  RegisterObjects();
  {
    auto Root = MakeScene();
    TLumExchange X(nullptr);
    X.SetFileName(ScenePath().string());
    X.SetNoDefaultValues(State.range(0) != 0);
    X.SavetoFile(Root.get());
  }
  TLumExchange X(nullptr);
  X.SetFileName(ScenePath().string());
  for (auto _ : State) {
    auto Target = std::make_unique<TLumNode>(nullptr);
    X.LoadfromFile(Target.get());
    State.PauseTiming();
    if (Target->GetCount() != ObjectCount) State.SkipWithError("objects lost while loading");
    Target.reset();
    State.ResumeTiming();
  }
  State.SetBytesProcessed(State.iterations() * static_cast<int64_t>(fs::file_size(ScenePath())));
  State.SetItemsProcessed(State.iterations() * ObjectCount);
}
BENCHMARK(BM_LoadScene)->Arg(0)->Arg(1)->ArgName("NoDefaultValues")->Unit(benchmark::kMillisecond);

}  // namespace
