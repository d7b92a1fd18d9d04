// The reference scenes S1 to S4, their caching, counting and the frame clock.
#include "bench/scenes/benchscenes.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <string>

#include "lumox/geometry/lumbounds.h"
#include "lumox/geometry/lumfuncobj.h"
#include "lumox/geometry/lumshape.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumattr.h"
#include "lumox/scene/lumlight.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

using namespace lumox;

namespace lumoxbench {

const char* const TBenchSceneStr[4] = {"s1", "s2", "s3", "s4"};
const char* const TBenchCacheStr[3] = {"every object", "root node only", "none"};

const char* SceneDescription(TBenchScene Scene) {
  switch (Scene) {
    case bsS1:
      return "1000 lit spheres 32x16, each with its own material and translation";
    case bsS2:
      return "one function surface of 1000 x 1000 vertices, every vertex welding";
    case bsS3:
      return "200 000 small objects in nested nodes";
    case bsS4:
      return "20 000 boxes in a 20x20x50 grid, each with its own material and translation";
  }
  return "";
}

namespace {

// A colour $00BBGGRR from three channels in 0..1.
uint32_t Rgb(double R, double G, double B) {
  auto Byte = [](double C) { return static_cast<uint32_t>(std::clamp(C, 0.0, 1.0) * 255 + 0.5); };
  return Byte(R) | (Byte(G) << 8) | (Byte(B) << 16);
}

// The render state every scene starts with: lighting on, smooth shading, filled
// polygons, and one white directional light from the upper left front.
void AddLighting(TComponent* Owner, TLumNode* Root) {
  auto* Lit = new TLumAttributes(Owner);
  Lit->SetLighting(true);
  Lit->SetPolygonMode(pmFill);
  Lit->SetShadeModel(smSmooth);
  Lit->SetLineWidth(1);
  Lit->SetNode(Root);
  auto* Sun = new TLumLight(Owner);
  Sun->SetKind(lkDirection);
  Sun->Direction()->SetValues(-0.5f, 0.7f, 1.0f);
  Sun->ColorDiffuse()->SetColor(0xFFFFFF);
  Sun->ColorAmbient()->SetColor(0x202020);
  Sun->SetNode(Root);
}

// A material of its own for object K of N: the hue runs round the colour circle.
TLumMaterial* AddMaterial(TComponent* Owner, TLumNode* Node, int64_t K, int64_t N) {
  const double H = 6.0 * static_cast<double>(K) / static_cast<double>(std::max<int64_t>(N, 1));
  const double R = std::clamp(std::fabs(H - 3) - 1, 0.0, 1.0);
  const double G = std::clamp(2 - std::fabs(H - 2), 0.0, 1.0);
  const double B = std::clamp(2 - std::fabs(H - 4), 0.0, 1.0);
  auto* M = new TLumMaterial(Owner);
  M->ColorAmbient()->SetColor(Rgb(0.3 * R, 0.3 * G, 0.3 * B));
  M->ColorDiffuse()->SetColor(Rgb(R, G, B));
  M->ColorSpecular()->SetColor(0x808080);
  M->SetShininess(32);
  M->SetNode(Node);
  return M;
}

void Place(TLumRender* R, double X, double Y, double Z) {
  R->Transformation()->Translation()->SetValues(static_cast<float>(X), static_cast<float>(Y),
                                                static_cast<float>(Z));
}

void LookFrom(TLumPerspectiveCamera* Camera, double Z, double Near, double Far) {
  Camera->SetViewAngle(45);
  Camera->Transformation()->Translation()->SetValues(0, 0, static_cast<float>(-Z));
  Camera->SetViewNear(static_cast<float>(Near));
  Camera->SetViewFar(static_cast<float>(Far));
}

void BuildS1(TComponent* Owner, TLumNode* Root) {
  AddLighting(Owner, Root);
  constexpr int N = 10;
  for (int K = 0; K < N * N * N; ++K) {
    AddMaterial(Owner, Root, K, N * N * N);
    auto* S = new TLumSphere(Owner);
    S->SetSlices(32);
    S->SetStacks(16);
    S->SetRadius(0.4);
    Place(S, K % N - 4.5, K / N % N - 4.5, K / (N * N) - 4.5);
    S->SetNode(Root);
  }
}

void BuildS2(TComponent* Owner, TLumNode* Root) {
  AddLighting(Owner, Root);
  AddMaterial(Owner, Root, 1, 6);
  auto* F = new TLumFuncObj(Owner);
  // A rippled unit sheet: the curve runs up Y, each of its points sweeps along X.
  F->OnCalcZ = [](const TLumMathVector&, double V) { return TLumMathVector{0, V, 0}; };
  F->OnCalcXY = [](const TLumMathVector& P, double V) {
    return TLumMathVector{V, P.Y, 0.05 * std::sin(20 * V) * std::cos(20 * P.Y)};
  };
  F->SetStacks(999);
  F->SetSlices(999);
  Place(F, -0.5, -0.5, 0);
  F->SetNode(Root);
}

// 20 groups along X, each of 10 along Y, each of 10 along Z, each of 100 items on a
// 10 x 10 grid: a material before every nine shapes (boxes, spheres and cylinders). The
// groups are named; the shapes keep their default sizes inside a group scaled to a
// tenth, as a model assembled from parts would be.
void BuildS3(TComponent* Owner, TLumNode* Root) {
  AddLighting(Owner, Root);
  int64_t Count = 0;
  auto Node = [&](TLumNode* Parent, const std::string& Name, double X, double Y, double Z) {
    auto* N = new TLumNode(Owner);
    N->SetName(Name);
    Place(N, X, Y, Z);
    N->SetNode(Parent);
    return N;
  };
  for (int A = 0; A < 20; ++A) {
    // Appended rather than "G" + to_string: GCC 12 at -O3 warns of an overlapping copy
    // (a false -Wrestrict) in the literal-plus-string operator.
    std::string NameA = "G";
    NameA += std::to_string(A);
    TLumNode* NA = Node(Root, NameA, 2.5 * A - 23.75, 0, 0);
    for (int B = 0; B < 10; ++B) {
      const std::string NameB = NameA + "_" + std::to_string(B);
      TLumNode* NB = Node(NA, NameB, 0, 2.5 * B - 11.25, 0);
      for (int C = 0; C < 10; ++C) {
        TLumNode* NC = Node(NB, NameB + "_" + std::to_string(C), 0, 0, 2.5 * C - 11.25);
        NC->Transformation()->Scale()->SetValues(0.1f, 0.1f, 0.1f);
        for (int K = 0; K < 100; ++K, ++Count) {
          if (K % 10 == 0) {
            AddMaterial(Owner, NC, Count, 200000);
            continue;
          }
          TLumRender* Item;
          if (K % 10 < 5) {
            Item = new TLumBox(Owner);
          } else if (K % 10 < 8) {
            auto* S = new TLumSphere(Owner);
            S->SetSlices(8);
            S->SetStacks(4);
            Item = S;
          } else {
            auto* Cyl = new TLumCylinder(Owner);
            Cyl->SetSlices(8);
            Cyl->SetStacks(1);
            Item = Cyl;
          }
          Place(Item, 2 * (K % 10) - 9, 2 * (K / 10) - 9, 0);
          Item->SetNode(NC);
        }
      }
    }
  }
}

void BuildS4(TComponent* Owner, TLumNode* Root) {
  AddLighting(Owner, Root);
  constexpr int N = 20 * 20 * 50;
  for (int K = 0; K < N; ++K) {
    AddMaterial(Owner, Root, K, N);
    auto* Box = new TLumBox(Owner);
    Box->SetWidth(0.6f);
    Box->SetHeight(0.6f);
    Box->SetDepth(0.6f);
    // The box spans Y and Z from its origin: the grid's centre is the scene's origin.
    Place(Box, K % 20 - 9.5, K / 20 % 20 - 9.8, K / 400 - 24.8);
    Box->SetNode(Root);
  }
}

}  // namespace

void BuildScene(TBenchScene Scene, TComponent* Owner, TLumNode* Root,
                TLumPerspectiveCamera* Camera) {
  switch (Scene) {
    case bsS1:
      BuildS1(Owner, Root);
      LookFrom(Camera, 18, 5, 40);
      break;
    case bsS2:
      BuildS2(Owner, Root);
      LookFrom(Camera, 1.8, 0.5, 5);
      break;
    case bsS3:
      BuildS3(Owner, Root);
      LookFrom(Camera, 90, 40, 140);
      break;
    case bsS4:
      BuildS4(Owner, Root);
      LookFrom(Camera, 80, 40, 120);
      break;
  }
}

void SetCaching(TLumNode* Root, TBenchCache Mode) {
  Root->SetCached(Mode == bcRootOnly);
  LumWalkItems(Root, [Mode](TLumNode* N, int I, TLumRender* Item) {
    const bool Node = dynamic_cast<TLumNode*>(Item) != nullptr;
    Item->SetCached(Mode == bcEveryObject && !Node && dynamic_cast<TLumObject*>(Item));
    return !N->IsIndirect(I);
  });
}

TSceneCounts CountScene(TLumNode* Root) {
  TSceneCounts C;
  // Nodes met through references are walked again: their items are drawn again.
  LumWalkItems(Root, [&C](TLumNode*, int, TLumRender* Item) {
    ++C.Items;
    C.Nodes += dynamic_cast<TLumNode*>(Item) != nullptr;
    return true;
  });
  // The geometry of every class (imported containers and point sets too), as drawn.
  const TLumMeshCounts M = LumCountMeshes(Root);
  C.Objects = M.Objects;
  C.Vertices = M.Vertices;
  C.Triangles = M.Triangles;
  C.Bounds = LumWorldBounds(Root);
  return C;
}

void BuildMeshes(TLumNode* Root) {
  LumWalkItems(Root, [](TLumNode* N, int I, TLumRender* Item) {
    if (auto* Mesh = dynamic_cast<TLumPrimitiveObj*>(Item); Mesh && !Mesh->Initialized())
      Mesh->Init();
    return !N->IsIndirect(I);
  });
}

long ResidentKB() {
  long Pages = 0, Resident = 0;
  if (FILE* F = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(F, "%ld %ld", &Pages, &Resident) != 2) Resident = 0;
    std::fclose(F);
  }
  return Resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

double TimedPaint(TLumView* View) {
  using Clock = std::chrono::steady_clock;
  View->SetCurrent(true);
  glFinish();
  const auto T0 = Clock::now();
  View->Paint();
  View->SetCurrent(true);
  glFinish();
  const auto T1 = Clock::now();
  View->SetCurrent(false);
  return std::chrono::duration<double, std::milli>(T1 - T0).count();
}

double Median(std::vector<double> Values) {
  if (Values.empty()) return 0;
  const size_t Mid = Values.size() / 2;
  std::nth_element(Values.begin(), Values.begin() + Mid, Values.end());
  if (Values.size() % 2) return Values[Mid];
  const double Upper = Values[Mid];
  return (*std::max_element(Values.begin(), Values.begin() + Mid) + Upper) / 2;
}

double Mean(const std::vector<double>& Values) {
  if (Values.empty()) return 0;
  return std::accumulate(Values.begin(), Values.end(), 0.0) / static_cast<double>(Values.size());
}

}  // namespace lumoxbench
