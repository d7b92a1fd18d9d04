// Bounds and counts of scenes on the CPU: the vertices of each geometry class, the walk
// through nodes with the transformations' matrices, boxes, spheres and primitive counts.
#include "lumox/geometry/lumbounds.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "lumox/geometry/lum3dobj.h"
#include "lumox/geometry/lumpointset.h"
#include "lumox/geometry/lumprimitiveobj.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumobj.h"

namespace lumox {

void TLumBounds::Add(const TLumMathVector& P) {
  if (!std::isfinite(P.X) || !std::isfinite(P.Y) || !std::isfinite(P.Z)) return;
  Min = {std::min(Min.X, P.X), std::min(Min.Y, P.Y), std::min(Min.Z, P.Z)};
  Max = {std::max(Max.X, P.X), std::max(Max.Y, P.Y), std::max(Max.Z, P.Z)};
}

void TLumBounds::Add(const TLumBounds& B) {
  if (B.Empty()) return;
  Add(B.Min);
  Add(B.Max);
}

TLumMathVector TLumBounds::Centre() const {
  if (Empty()) return ZEROVEC;
  return {(Min.X + Max.X) / 2, (Min.Y + Max.Y) / 2, (Min.Z + Max.Z) / 2};
}

double TLumBounds::Diagonal() const {
  return Empty() ? 0.0 : std::hypot(Max.X - Min.X, Max.Y - Min.Y, Max.Z - Min.Z);
}

namespace {

// The vertex blocks Item draws: its own, or its visible parts'. Builds a mesh that is
// not built yet, as its first frame would.
template <typename F>
bool ForEachBlock(TLumRender* Item, F&& Visit) {
  if (auto* O = dynamic_cast<TLum3dObj*>(Item)) {
    for (int32_t i = 0; i < O->PartCount(); ++i)
      if (TLum3dPart* P = O->Part(i); P->Visible()) Visit(*P);
    return true;
  }
  if (auto* M = dynamic_cast<TLumPrimitiveObj*>(Item)) {
    if (!M->Initialized()) M->Init();
    Visit(*M);
    return true;
  }
  return false;
}

template <typename F>
void ForEachPoint(const TLumPrimitiveObj& Mesh, F&& Visit) {
  const TLumPrimitivePoints* P = Mesh.Points();
  const double* V = P->Vertices();
  if (!V) return;
  for (int32_t i = 0, N = P->Count(); i < N; ++i, V += 3) Visit(TLumMathVector{V[0], V[1], V[2]});
}

template <typename F>
void Walk(TLumRender* Root, F&& Visit) {
  if (!Root || !Root->Enabled()) return;
  std::vector<std::pair<TLumRender*, TLumMathMatrix>> Stack{
      {Root, Root->Transformation()->GetMatrix()}};
  while (!Stack.empty()) {
    const auto [Item, World] = Stack.back();
    Stack.pop_back();
    Visit(Item, World);
    if (auto* N = dynamic_cast<TLumNode*>(Item))
      for (int i = N->GetCount(); i-- > 0;)  // pushed last to first: visited in order
        if (TLumRender* C = N->GetItems(i); C && C->Enabled())
          Stack.emplace_back(C, LumMathMatrixMultiply(World, C->Transformation()->GetMatrix()));
  }
}

// Triangles, line segments and points of an index list of Count entries.
void CountList(int32_t Mode, int64_t Count, TLumMeshCounts& C) {
  switch (Mode) {
    case GL_TRIANGLES:
      C.Triangles += Count / 3;
      break;
    case GL_TRIANGLE_STRIP:
    case GL_TRIANGLE_FAN:
    case GL_POLYGON:
      C.Triangles += std::max<int64_t>(0, Count - 2);
      break;
    case GL_QUADS:
      C.Triangles += Count / 4 * 2;
      break;
    case GL_QUAD_STRIP:
      C.Triangles += std::max<int64_t>(0, Count / 2 - 1) * 2;
      break;
    case GL_LINES:
      C.Lines += Count / 2;
      break;
    case GL_LINE_STRIP:
      C.Lines += std::max<int64_t>(0, Count - 1);
      break;
    case GL_LINE_LOOP:
      C.Lines += Count >= 2 ? Count : 0;
      break;
    case GL_POINTS:
      C.Points += Count;
      break;
    default:
      break;
  }
}

}  // namespace

bool LumForEachVertex(TLumRender* Item, const std::function<void(const TLumMathVector&)>& Visit) {
  return ForEachBlock(Item, [&](const TLumPrimitiveObj& M) { ForEachPoint(M, Visit); });
}

TLumBounds LumLocalBounds(TLumRender* Item) {
  TLumBounds B;
  ForEachBlock(Item, [&](const TLumPrimitiveObj& M) {
    ForEachPoint(M, [&](const TLumMathVector& P) { B.Add(P); });
  });
  return B;
}

void LumWalkScene(TLumRender* Root,
                  const std::function<void(TLumRender* Item, const TLumMathMatrix& World)>& Visit) {
  Walk(Root, Visit);
}

TLumBounds LumWorldBounds(TLumRender* Root) {
  TLumBounds B;
  Walk(Root, [&](TLumRender* Item, const TLumMathMatrix& World) {
    ForEachBlock(Item, [&](const TLumPrimitiveObj& M) {
      ForEachPoint(M, [&](const TLumMathVector& P) { B.Add(LumMathMatrixTransform(World, P)); });
    });
  });
  return B;
}

bool LumBoundingSphere(TLumRender* Root, TLumMathVector& Centre, double& Radius) {
  const TLumBounds B = LumWorldBounds(Root);
  if (B.Empty()) return false;
  Centre = B.Centre();
  double R2 = 0.0;
  Walk(Root, [&](TLumRender* Item, const TLumMathMatrix& World) {
    ForEachBlock(Item, [&](const TLumPrimitiveObj& M) {
      ForEachPoint(M, [&](const TLumMathVector& P) {
        const TLumMathVector W = LumMathMatrixTransform(World, P);
        const double D = (W.X - Centre.X) * (W.X - Centre.X) + (W.Y - Centre.Y) * (W.Y - Centre.Y) +
                         (W.Z - Centre.Z) * (W.Z - Centre.Z);
        if (std::isfinite(D)) R2 = std::max(R2, D);
      });
    });
  });
  Radius = std::sqrt(R2);
  return true;
}

double LumFitDistance(TLumRender* Root, const TLumMathMatrix& Turn, const TLumMathVector& Centre,
                      double TanHalfX, double TanHalfY) {
  double D = 0.0;
  Walk(Root, [&](TLumRender* Item, const TLumMathMatrix& World) {
    ForEachBlock(Item, [&](const TLumPrimitiveObj& M) {
      ForEachPoint(M, [&](const TLumMathVector& P) {
        const TLumMathVector W = LumMathMatrixTransform(World, P);
        const TLumMathVector C =
            LumMathMatrixTransform(Turn, {W.X - Centre.X, W.Y - Centre.Y, W.Z - Centre.Z});
        const double Need = C.Z + std::max(std::abs(C.X) / TanHalfX, std::abs(C.Y) / TanHalfY);
        if (std::isfinite(Need)) D = std::max(D, Need);
      });
    });
  });
  return D;
}

TLumMeshCounts LumCountMeshes(TLumRender* Root) {
  TLumMeshCounts C;
  Walk(Root, [&](TLumRender* Item, const TLumMathMatrix&) {
    const bool Geometry = ForEachBlock(Item, [&](const TLumPrimitiveObj& M) {
      C.Vertices += M.Points()->Count();
      for (int32_t i = 0; i < M.GetPrimitiveCount(); ++i)
        if (const TLumPrimitiveArray* A = M.GetPrimitive(i); A->Visible())
          CountList(A->PrimitiveType(), A->Count(), C);
    });
    // A point set draws its whole vertex block as points, without index lists.
    if (auto* S = dynamic_cast<TLumPointSet*>(Item)) C.Points += S->PointCount();
    C.Objects += Geometry;
  });
  return C;
}

}  // namespace lumox
