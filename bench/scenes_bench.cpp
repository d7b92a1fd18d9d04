// Frames of the reference scenes S1 and S4 in each caching mode against their bare-GL
// baselines (one frame of each in turn), and smoothing S2's normals with welding.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "bench/scenes/baregl.h"
#include "bench/scenes/benchscenes.h"
#include "lumox/geometry/lumfuncobj.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

namespace {

using namespace lumox;
using namespace lumoxbench;

// Arguments: the scene (bsS1 or bsS4) and the caching mode.
void BM_SceneAgainstBare(benchmark::State& State) {
  const auto Scene = static_cast<TBenchScene>(State.range(0));
  const auto Cache = static_cast<TBenchCache>(State.range(1));
  TComponent Form(nullptr);
  auto* View = new TLumView(&Form);
  View->SetBounds(256, 256);
  auto* Camera = new TLumPerspectiveCamera(&Form);
  View->SetCamera(Camera);
  auto* Root = new TLumNode(&Form);
  BuildScene(Scene, &Form, Root, Camera);
  SetCaching(Root, Cache);
  View->OnRender = [Root](TLumView* V) { Root->Render(V); };
  View->Paint();  // builds the meshes and the library's lists
  View->SetCurrent(true);
  auto Bare = std::make_unique<TBareScene>(Root);
  View->SetCurrent(false);
  std::vector<double> Library, Baseline;
  for (auto _ : State) {
    const TInterleavedTimes T = RunInterleaved(View, Root, Bare.get(), 0, 1);
    Library.push_back(T.Scene[0]);
    Baseline.push_back(T.Bare[0]);
  }
  View->SetCurrent(true);
  Bare.reset();
  View->SetCurrent(false);
  State.counters["median_ms"] = Median(Library);
  State.counters["bare_median_ms"] = Median(Baseline);
  State.counters["ratio"] = Median(Library) / Median(Baseline);
}
BENCHMARK(BM_SceneAgainstBare)
    ->ArgsProduct({{bsS1, bsS4}, {bcEveryObject, bcRootOnly, bcUncached}})
    ->Unit(benchmark::kMillisecond)
    ->MinTime(2.0);

void BM_S2CalcNormalsWithWelding(benchmark::State& State) {
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  BuildScene(bsS2, &Form, Root, new TLumPerspectiveCamera(&Form));
  TLumFuncObj* F = nullptr;
  for (int I = 0; I < Root->GetCount() && !F; ++I)
    F = dynamic_cast<TLumFuncObj*>(Root->GetItems(I));
  F->Init();
  for (auto _ : State) {
    F->CalcNormals();
    benchmark::DoNotOptimize(F->Points()->Normals());
  }
  State.counters["vertices/s"] = benchmark::Counter(
      double(F->Points()->Count()) * double(State.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_S2CalcNormalsWithWelding)->Unit(benchmark::kMillisecond);

}  // namespace
