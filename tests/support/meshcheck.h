// Mesh checks computed from a built mesh alone: its index lists as triangles, closure,
// signed volume and agreement of vertex normals with the winding of their faces.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <tuple>
#include <vector>

#include "lumox/geometry/lumprimitiveobj.h"
#include "lumox/math/lumgl.h"

namespace lumox::test {

using Triangle = std::array<uint32_t, 3>;

// The triangles that OpenGL draws for every visible index list, in their winding.
inline std::vector<Triangle> MeshTriangles(const TLumPrimitiveObj& Obj) {
  std::vector<Triangle> T;
  for (int32_t p = 0; p < Obj.GetPrimitiveCount(); ++p) {
    const TLumPrimitiveArray* A = Obj.GetPrimitive(p);
    if (!A->Visible()) continue;
    const int32_t N = A->Count();
    auto s = [&](int32_t i) { return A->Indices(i); };
    switch (A->PrimitiveType()) {
      case GL_TRIANGLES:
        for (int32_t i = 0; i + 2 < N; i += 3) T.push_back({s(i), s(i + 1), s(i + 2)});
        break;
      case GL_TRIANGLE_STRIP:
        for (int32_t k = 0; k + 2 < N; ++k)
          T.push_back(k % 2 == 0 ? Triangle{s(k), s(k + 1), s(k + 2)}
                                 : Triangle{s(k + 1), s(k), s(k + 2)});
        break;
      case GL_TRIANGLE_FAN:
        for (int32_t j = 1; j + 1 < N; ++j) T.push_back({s(0), s(j), s(j + 1)});
        break;
      case GL_QUADS:
        for (int32_t i = 0; i + 3 < N; i += 4) {
          T.push_back({s(i), s(i + 1), s(i + 2)});
          T.push_back({s(i), s(i + 2), s(i + 3)});
        }
        break;
      case GL_QUAD_STRIP:
        // Quad k is drawn as the polygon 2k, 2k + 1, 2k + 3, 2k + 2.
        for (int32_t k = 0; 2 * k + 3 < N; ++k) {
          T.push_back({s(2 * k), s(2 * k + 1), s(2 * k + 3)});
          T.push_back({s(2 * k), s(2 * k + 3), s(2 * k + 2)});
        }
        break;
      default:
        break;
    }
  }
  return T;
}

// The index list of A as it stands.
inline std::vector<uint32_t> IndicesOf(const TLumPrimitiveArray& A) {
  return std::vector<uint32_t>(A.IndexData(), A.IndexData() + A.Count());
}

inline TLumMathVector Vertex(const TLumPrimitiveObj& Obj, uint32_t i) {
  return Obj.Points()->GetVector(static_cast<int32_t>(i), 0);
}

inline TLumMathVector FaceNormal(const TLumPrimitiveObj& Obj, const Triangle& t) {
  const TLumMathVector a = Vertex(Obj, t[0]), b = Vertex(Obj, t[1]), c = Vertex(Obj, t[2]);
  const TLumMathVector u{b.X - a.X, b.Y - a.Y, b.Z - a.Z}, v{c.X - a.X, c.Y - a.Y, c.Z - a.Z};
  return {u.Y * v.Z - u.Z * v.Y, u.Z * v.X - u.X * v.Z, u.X * v.Y - u.Y * v.X};
}

inline double Dot(const TLumMathVector& a, const TLumMathVector& b) {
  return a.X * b.X + a.Y * b.Y + a.Z * b.Z;
}

inline void ExpectVec(const TLumMathVector& V, double X, double Y, double Z) {
  EXPECT_NEAR(V.X, X, 1e-9);
  EXPECT_NEAR(V.Y, Y, 1e-9);
  EXPECT_NEAR(V.Z, Z, 1e-9);
}

inline double Len(const TLumMathVector& a) { return std::sqrt(Dot(a, a)); }

// Area of the faces facing +Z minus that of the faces facing -Z.
inline double FacingArea(const TLumPrimitiveObj& Obj) {
  double A = 0;
  for (const Triangle& t : MeshTriangles(Obj)) A += FaceNormal(Obj, t).Z / 2;
  return A;
}

// Sum of the signed volumes of the tetrahedra (origin, a, b, c): the enclosed volume,
// positive when every face winds counter-clockwise seen from outside.
inline double SignedVolume(const TLumPrimitiveObj& Obj) {
  double V = 0;
  for (const Triangle& t : MeshTriangles(Obj)) {
    const TLumMathVector a = Vertex(Obj, t[0]), b = Vertex(Obj, t[1]), c = Vertex(Obj, t[2]);
    V += a.X * (b.Y * c.Z - b.Z * c.Y) - a.Y * (b.X * c.Z - b.Z * c.X) +
         a.Z * (b.X * c.Y - b.Y * c.X);
  }
  return V / 6.0;
}

// Number of directed edges (between vertices welded by position) that are not run exactly
// once, with their reverse run exactly once: 0 for a closed surface in which every edge
// joins two faces that wind the same way. Faces of no area (collapsed at a pole or apex)
// are left out.
inline int OpenEdgeCount(const TLumPrimitiveObj& Obj) {
  std::map<std::tuple<long, long, long>, int> Ids;
  auto Weld = [&](uint32_t i) {
    const TLumMathVector p = Vertex(Obj, i);
    const auto Key =
        std::make_tuple(std::lround(p.X * 1e5), std::lround(p.Y * 1e5), std::lround(p.Z * 1e5));
    return Ids.emplace(Key, static_cast<int>(Ids.size())).first->second;
  };
  std::map<std::pair<int, int>, int> Edges;
  for (const Triangle& t : MeshTriangles(Obj)) {
    const int w[3] = {Weld(t[0]), Weld(t[1]), Weld(t[2])};
    if (w[0] == w[1] || w[1] == w[2] || w[0] == w[2]) continue;
    for (int e = 0; e < 3; ++e) ++Edges[{w[e], w[(e + 1) % 3]}];
  }
  int Open = 0;
  for (const auto& [E, N] : Edges) {
    auto It = Edges.find({E.second, E.first});
    if (N != 1 || It == Edges.end() || It->second != 1) ++Open;
  }
  return Open;
}

// Number of (face, vertex) pairs whose stored vertex normal points away from the side
// the face winds counter-clockwise on (or is not a number). Faces of no area are left
// out; so are zero normals when AllowZero is set (smoothing leaves a vertex that only
// touches collapsed faces, such as a cone's apex, with a zero normal).
inline int NormalsAgainstWinding(const TLumPrimitiveObj& Obj, bool AllowZero = false) {
  int Bad = 0;
  for (const Triangle& t : MeshTriangles(Obj)) {
    const TLumMathVector F = FaceNormal(Obj, t);
    if (Len(F) < 1e-12) continue;
    for (uint32_t i : t) {
      const TLumMathVector N = Obj.Points()->GetVector(static_cast<int32_t>(i), 1);
      if (AllowZero && N.X == 0 && N.Y == 0 && N.Z == 0) continue;
      if (!(Dot(F, N) > 0)) ++Bad;
    }
  }
  return Bad;
}

}  // namespace lumox::test
