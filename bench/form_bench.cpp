// Form files of growing size: writing and reading a form of N spheres, each a node's
// item with a material reference, so that resolving references by name is timed with
// the rest. The times per component should stay flat from 1 000 to 100 000.
#include <benchmark/benchmark.h>

#include <string>

#include "lumox/geometry/lumshape.h"
#include "lumox/host/formfile.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumobj.h"

namespace {

using namespace lumox;

// A node, a material and N spheres placed apart, all named, all items of the node.
void BuildForm(TComponent* Form, int N) {
  auto* Root = new TLumNode(Form);
  Root->SetName("Root");
  auto* Red = new TLumMaterial(Form);
  Red->SetName("Red");
  Red->SetNode(Root);
  for (int I = 0; I < N; ++I) {
    auto* S = new TLumSphere(Form);
    S->SetName("Ball" + std::to_string(I));
    S->SetRadius(0.1 + I % 7 * 0.05);
    S->Transformation()->Translation()->SetValues(float(I % 100), 0.5f, -float(I) * 0.25f);
    S->SetMaterial(Red);
    S->SetNode(Root);
  }
}

void BM_WriteForm(benchmark::State& State) {
  TComponent Form(nullptr);
  BuildForm(&Form, int(State.range(0)));
  size_t Bytes = 0;
  for (auto _ : State) Bytes = ComponentFormText(&Form).size();
  State.SetComplexityN(State.range(0));
  State.counters["bytes"] = double(Bytes);
  State.counters["per_component"] =
      benchmark::Counter(double(State.range(0)), benchmark::Counter::kIsIterationInvariantRate |
                                                     benchmark::Counter::kInvert);
}
BENCHMARK(BM_WriteForm)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

void BM_ReadForm(benchmark::State& State) {
  std::string Text;
  {
    TComponent Form(nullptr);
    BuildForm(&Form, int(State.range(0)));
    Text = ComponentFormText(&Form);
  }
  for (auto _ : State) {
    TComponent Form(nullptr);
    ReadComponentFormText(&Form, Text, "bench.lumform");
    benchmark::DoNotOptimize(Form.ComponentCount());
  }
  State.SetComplexityN(State.range(0));
  State.counters["per_component"] =
      benchmark::Counter(double(State.range(0)), benchmark::Counter::kIsIterationInvariantRate |
                                                     benchmark::Counter::kInvert);
}
BENCHMARK(BM_ReadForm)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

}  // namespace
