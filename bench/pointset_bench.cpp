// Point clouds: building a set of 10 million coloured points (point by point, and in
// one go), reading a point file, and the cached frame of a million points against the
// same points in a bare display list.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "lumox/geometry/lumpointset.h"
#include "lumox/math/lumgl.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

namespace {

using namespace lumox;
using Clock = std::chrono::steady_clock;

constexpr int32_t TenMillion = 10000000;

// AddPoint for each of 10 million coloured points (room reserved first), then the build
// before drawing.
void BM_PointSetAddTenMillion(benchmark::State& State) {
  for (auto _ : State) {
    TLumPointSet S(nullptr);
    S.Reserve(TenMillion);
    for (int32_t i = 0; i < TenMillion; ++i)
      S.AddPoint(i % 1000, i / 1000 % 1000, i / 1000000, 1.0f, 0.5f, 0.25f);
    S.Init();
    benchmark::DoNotOptimize(S.Points()->Vertices());
  }
  State.counters["points/s"] = benchmark::Counter(double(TenMillion) * double(State.iterations()),
                                                  benchmark::Counter::kIsRate);
}
BENCHMARK(BM_PointSetAddTenMillion)->Unit(benchmark::kMillisecond)->Iterations(2);

// The same points handed over as arrays (as a reader of a binary format would).
void BM_PointSetDataTenMillion(benchmark::State& State) {
  std::vector<double> XYZ(size_t(TenMillion) * 3);
  std::vector<float> RGBA(size_t(TenMillion) * 4, 0.5f);
  for (size_t i = 0; i < XYZ.size(); ++i) XYZ[i] = double(i % 997);
  for (auto _ : State) {
    TLumPointSet S(nullptr);
    S.SetPointData(TenMillion, XYZ.data(), RGBA.data());
    S.Init();
    benchmark::DoNotOptimize(S.Points()->Vertices());
  }
  State.counters["points/s"] = benchmark::Counter(double(TenMillion) * double(State.iterations()),
                                                  benchmark::Counter::kIsRate);
}
BENCHMARK(BM_PointSetDataTenMillion)->Unit(benchmark::kMillisecond)->Iterations(3);

// Reading a file of one million "x y z r g b" lines.
void BM_PointSetLoadFile(benchmark::State& State) {
  const std::string Name = "/tmp/lumox-bench-points.xyz";
  {
    std::ofstream Out(Name);
    for (int i = 0; i < 1000000; ++i)
      Out << i * 0.001 << ' ' << (i % 977) * 0.01 << ' ' << -i * 0.002 << ' ' << i % 256 << ' '
          << 255 - i % 256 << " 128\n";
  }
  for (auto _ : State) {
    TLumPointSet S(nullptr);
    S.LoadFromFile(Name);
    benchmark::DoNotOptimize(S.PointCount());
  }
  std::remove(Name.c_str());
  State.counters["lines/s"] =
      benchmark::Counter(1e6 * double(State.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_PointSetLoadFile)->Unit(benchmark::kMillisecond);

// A cached set of a million points and the same arrays drawn from a bare display list,
// frames alternating; the ratio is the cost of the library around the GL calls.
void BM_PointSetCachedFrame(benchmark::State& State) {
  TComponent Form(nullptr);
  auto* View = new TLumView(&Form);
  View->SetBounds(256, 256);
  auto* Camera = new TLumPerspectiveCamera(&Form);
  Camera->Transformation()->Translation()->SetZ(-3);
  View->SetCamera(Camera);
  auto* S = new TLumPointSet(&Form);
  for (int i = 0; i < 1000000; ++i)
    S->AddPoint((i % 1000) / 500.0 - 1, (i / 1000) / 500.0 - 1, 0, 1.0f, float(i % 2), 0.0f);
  S->SetCached(true);
  bool Bare = false;
  GLuint List = 0;
  View->OnRender = [&](TLumView* V) {
    if (Bare)
      glCallList(List);
    else
      S->Render(V);
  };
  View->Paint();  // compiles the set's own list
  View->SetCurrent(true);
  List = glGenLists(1);
  glNewList(List, GL_COMPILE);
  glEnableClientState(GL_COLOR_ARRAY);
  glColorPointer(4, GL_FLOAT, 0, S->Points()->Colors());
  glEnableClientState(GL_VERTEX_ARRAY);
  glVertexPointer(3, GL_DOUBLE, 0, S->Points()->Vertices());
  glDrawArrays(GL_POINTS, 0, S->PointCount());
  glDisableClientState(GL_COLOR_ARRAY);
  glDisableClientState(GL_VERTEX_ARRAY);
  glEndList();
  View->SetCurrent(false);
  auto Frame = [&](bool UseBare) {
    Bare = UseBare;
    const auto T0 = Clock::now();
    View->Paint();
    View->SetCurrent(true);
    glFinish();
    View->SetCurrent(false);
    return std::chrono::duration<double>(Clock::now() - T0).count();
  };
  double Cached = 0, BareTime = 0;
  for (auto _ : State) {
    Cached += Frame(false);
    BareTime += Frame(true);
  }
  View->SetCurrent(true);
  glDeleteLists(List, 1);
  View->SetCurrent(false);
  const double N = double(State.iterations());
  State.counters["cached_ms"] = Cached / N * 1e3;
  State.counters["bare_ms"] = BareTime / N * 1e3;
  State.counters["ratio"] = Cached / BareTime;
}
BENCHMARK(BM_PointSetCachedFrame)->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace
