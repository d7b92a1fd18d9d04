// Mesh building and smoothing of the generated shapes (vertices per second), and the
// frame of many cached spheres against the same geometry in bare display lists.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <vector>

#include "lumox/geometry/lumfuncobj.h"
#include "lumox/geometry/lumshape.h"
#include "lumox/math/lumgl.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

namespace {

using namespace lumox;
using Clock = std::chrono::steady_clock;

// Init (vertex grid, texture coordinates, index lists) plus CalcNormals of a 256 x 256
// sphere, whose seam and pole vertices weld.
void BM_SphereBuildAndSmooth(benchmark::State& State) {
  TLumSphere S(nullptr);
  S.SetSlices(256);
  S.SetStacks(256);
  for (auto _ : State) {
    S.Init();
    S.CalcNormals();
    benchmark::DoNotOptimize(S.Points()->Normals());
  }
  State.counters["vertices/s"] = benchmark::Counter(
      double(S.Points()->Count()) * double(State.iterations()), benchmark::Counter::kIsRate);
  State.counters["vertices"] = S.Points()->Count();
}
BENCHMARK(BM_SphereBuildAndSmooth)->Unit(benchmark::kMillisecond);

// The same for a 500 x 500 function surface (a rippled sheet), every vertex flagged for
// welding.
void BM_FuncSurfaceBuildAndSmooth(benchmark::State& State) {
  TLumFuncObj F(nullptr);
  F.OnCalcZ = [](const TLumMathVector&, double V) { return TLumMathVector{0, V, 0}; };
  F.OnCalcXY = [](const TLumMathVector& P, double V) {
    return TLumMathVector{V, P.Y, 0.1 * std::sin(10 * V) * std::cos(10 * P.Y)};
  };
  F.SetStacks(500);
  F.SetSlices(500);
  for (auto _ : State) {
    F.Init();
    F.CalcNormals();
    benchmark::DoNotOptimize(F.Points()->Normals());
  }
  State.counters["vertices/s"] = benchmark::Counter(
      double(F.Points()->Count()) * double(State.iterations()), benchmark::Counter::kIsRate);
  State.counters["vertices"] = F.Points()->Count();
}
BENCHMARK(BM_FuncSurfaceBuildAndSmooth)->Unit(benchmark::kMillisecond);

constexpr int SphereCount = 1000;

// 1000 cached 32 x 16 spheres spread over the view, drawn through one node, and the same
// geometry compiled by hand into one display list per sphere and called with the same
// matrix work around it. Frames of both kinds alternate so that they share the machine's
// state; the ratio of their mean times is the cost of the library around the GL calls.
class SphereScene {
 public:
  SphereScene() {
    View = new TLumView(&Form);
    View->SetBounds(128, 128);
    auto* Camera = new TLumPerspectiveCamera(&Form);
    Camera->SetViewFar(20);
    View->SetCamera(Camera);
    Root = new TLumNode(&Form);
    for (int i = 0; i < SphereCount; ++i) {
      auto* S = new TLumSphere(&Form);
      S->SetSlices(32);
      S->SetStacks(16);
      S->SetRadius(0.04);
      S->Transformation()->Translation()->SetValues(Coord(i % 10), Coord(i / 10 % 10),
                                                    -0.5f * float(i / 100));
      S->SetCached(true);
      S->SetNode(Root);
      Spheres.push_back(S);
    }
    View->OnRender = [this](TLumView* V) {
      if (Bare)
        DrawBare();
      else
        Root->Render(V);
    };
    // The first frame builds the meshes and compiles the spheres' own lists; the bare
    // lists are compiled from the built meshes.
    View->Paint();
    View->SetCurrent(true);
    for (TLumSphere* S : Spheres) BareLists.push_back(CompileBare(S));
    View->SetCurrent(false);
  }
  ~SphereScene() {
    View->SetCurrent(true);
    for (GLuint L : BareLists) glDeleteLists(L, 1);
    View->SetCurrent(false);
  }

  // Seconds of one frame of the chosen kind, finished on the GPU side.
  double Frame(bool UseBare) {
    Bare = UseBare;
    const auto T0 = Clock::now();
    View->Paint();
    View->SetCurrent(true);
    glFinish();
    View->SetCurrent(false);
    return std::chrono::duration<double>(Clock::now() - T0).count();
  }

 private:
  static float Coord(int k) { return -0.9f + 0.2f * float(k); }

  static GLuint CompileBare(TLumSphere* S) {
    const GLuint L = glGenLists(1);
    glNewList(L, GL_COMPILE);
    glColor4f(1, 1, 1, 1);
    glEnableClientState(GL_NORMAL_ARRAY);
    glNormalPointer(GL_DOUBLE, 0, S->Points()->Normals());
    glEnableClientState(GL_VERTEX_ARRAY);
    glVertexPointer(3, GL_DOUBLE, 0, S->Points()->Vertices());
    for (int32_t p = 0; p < S->GetPrimitiveCount(); ++p) {
      TLumPrimitiveArray* A = S->GetPrimitive(p);
      glDrawElements(A->PrimitiveType(), A->Count(), GL_UNSIGNED_INT, A->IndexData());
    }
    glDisableClientState(GL_NORMAL_ARRAY);
    glDisableClientState(GL_VERTEX_ARRAY);
    glEndList();
    return L;
  }

  void DrawBare() {
    for (size_t i = 0; i < BareLists.size(); ++i) {
      TLumTranslation* T = Spheres[i]->Transformation()->Translation();
      glPushMatrix();
      glTranslatef(T->X(), T->Y(), T->Z());
      glCallList(BareLists[i]);
      glPopMatrix();
    }
  }

  TComponent Form{nullptr};
  TLumView* View = nullptr;
  TLumNode* Root = nullptr;
  std::vector<TLumSphere*> Spheres;
  std::vector<GLuint> BareLists;
  bool Bare = false;
};

void BM_CachedSpheresFrame(benchmark::State& State) {
  SphereScene Scene;
  double Cached = 0, Bare = 0;
  for (auto _ : State) {
    Cached += Scene.Frame(false);
    Bare += Scene.Frame(true);
  }
  const double N = double(State.iterations());
  State.counters["cached_ms"] = Cached / N * 1e3;
  State.counters["bare_ms"] = Bare / N * 1e3;
  State.counters["ratio"] = Cached / Bare;
}
BENCHMARK(BM_CachedSpheresFrame)->Unit(benchmark::kMillisecond)->MinTime(3.0);

}  // namespace
