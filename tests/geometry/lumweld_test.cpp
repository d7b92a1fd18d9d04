// Tests of the welding of coincident vertices and of smooth normals.
#include "lumox/geometry/lumweld.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "lumox/math/lumclass.h"
#include "lumox/math/lumgl.h"
#include "lumox/math/lummath.h"

namespace lumox {
namespace {

using TLists = std::vector<std::pair<int32_t, std::vector<uint32_t>>>;

struct Brute {
  std::vector<int32_t> Rep, Counts, RepNonZero;
};

Brute Scan(const std::vector<double>& V, const std::vector<uint8_t>& F, uint8_t Mask) {
  const int32_t N = static_cast<int32_t>(F.size());
  const double Tol = tolerance;
  Brute B{std::vector<int32_t>(N), std::vector<int32_t>(N, 1), std::vector<int32_t>(N)};
  for (int32_t i = 0; i < N; ++i) {
    B.Rep[i] = B.RepNonZero[i] = i;
    if (!(F[i] & Mask)) continue;
    int32_t First = -1, FirstNZ = 0, C = 0;
    for (int32_t j = 0; j < N; ++j) {
      if (!(F[j] & Mask)) continue;
      if (std::fabs(V[3 * i] - V[3 * j]) < Tol && std::fabs(V[3 * i + 1] - V[3 * j + 1]) < Tol &&
          std::fabs(V[3 * i + 2] - V[3 * j + 2]) < Tol) {
        ++C;
        if (First < 0) First = j;
        if (j != 0 && FirstNZ == 0) FirstNZ = j;
      }
    }
    if (C == 0) continue;
    B.Rep[i] = First;
    B.Counts[i] = C;
    B.RepNonZero[i] = FirstNZ;
  }
  return B;
}

// Welds V under Mask with and without the counts (the early-exit path): both as the scan.
void ExpectWeldsAsTheScan(const std::vector<double>& V, const std::vector<uint8_t>& F,
                          uint8_t Mask) {
  const auto N = static_cast<int32_t>(F.size());
  std::vector<int32_t> Rep, Counts, RepNonZero, Fast;
  LumWeldPoints(V.data(), F.data(), N, Mask, tolerance, Rep, &Counts, &RepNonZero);
  LumWeldPoints(V.data(), F.data(), N, Mask, tolerance, Fast);
  const Brute B = Scan(V, F, Mask);
  EXPECT_EQ(Rep, B.Rep);
  EXPECT_EQ(Counts, B.Counts);
  EXPECT_EQ(RepNonZero, B.RepNonZero);
  EXPECT_EQ(Fast, B.Rep);
}

TEST(WeldTest, SpatialHashEqualsLinearScanOnRandomClusters) {
  std::mt19937 Rng(7);
  const double Tol = tolerance;
  for (int Round = 0; Round < 24; ++Round) {
    // Some rounds are large, and some hold one far-away vertex, which spreads the cells
    // too wide for the sorted sweep and takes the table instead.
    const int N = Round % 4 == 3 ? 3000 : 400;
    const bool FarAway = Round % 3 == 1;
    std::vector<double> V;
    std::vector<uint8_t> F;
    std::uniform_int_distribution<int> Pick(0, 9);
    std::uniform_real_distribution<double> Jitter(-1.2 * Tol, 1.2 * Tol);
    for (int i = 0; i < N; ++i) {
      // Cluster centres on cell borders (multiples of the tolerance), jittered by about
      // a tolerance, so that neighbouring cells and non-transitive chains both occur.
      const double Base[3] = {Tol * Pick(Rng), -Tol * Pick(Rng),
                              Round % 2 ? Tol * 3.0 : Tol * (Pick(Rng) % 4)};
      for (double B : Base) V.push_back(B + (Rng() % 3 == 0 ? 0.0 : Jitter(Rng)));
      F.push_back(static_cast<uint8_t>(Rng() % 4));
    }
    if (FarAway) V[3 * (N / 2)] = 1e17;
    // Far from the origin every cell's x / edge is rounded: the clusters moved out there
    // still weld exactly as the scan says.
    if (Round % 8 == 5)
      for (size_t k = 0; k < V.size(); k += 3) V[k] += 123456.789, V[k + 1] -= 9.87e8;
    for (uint8_t Mask : {uint8_t{1}, uint8_t{2}}) {
      SCOPED_TRACE("round " + std::to_string(Round));
      ExpectWeldsAsTheScan(V, F, Mask);
      if (HasFailure()) return;
    }
  }
}

TEST(WeldTest, NonFiniteAndHugePositionsWeldOnlyWhatTheScanWelds) {
  const double Inf = HUGE_VAL;
  std::vector<double> V = {Inf, 0, 0, Inf, 0, 0, 1e300, 0, 0, 1e300, 0, 0, std::nan(""), 0, 0};
  const std::vector<uint8_t> F(5, 1);
  ExpectWeldsAsTheScan(V, F, 1);
  EXPECT_EQ(Scan(V, F, 1).Rep, (std::vector<int32_t>{0, 1, 2, 2, 4}));
}

// Pairs closer than the tolerance by the last bits, and farther by the last bits, on
// cell borders at several distances from the origin: the grid's cells must never part a
// coinciding pair by more than one cell.
TEST(WeldTest, PairsAtTheToleranceOnCellBordersWeldAsTheScanSays) {
  const double Tol = tolerance;
  std::vector<double> V;
  for (double Far : {0.0, 1.0, -37.5, 4096.0, 1.0e6, -2.5e8}) {
    for (int c = -3; c <= 3; ++c) {
      // A multiple of the cell edge (a little over the tolerance) and of the tolerance.
      for (double Border : {Far + c * Tol * (1.0 + 1.0 / 2048), Far + c * Tol}) {
        for (double Gap : {Tol, std::nextafter(Tol, 0.0), std::nextafter(Tol, 1.0), 0.5 * Tol}) {
          const double A = std::nextafter(Border, -HUGE_VAL), B = A + Gap;
          for (double X : {A, B}) V.insert(V.end(), {X, Far, -Far});
        }
      }
    }
  }
  ExpectWeldsAsTheScan(V, std::vector<uint8_t>(V.size() / 3, 1), 1);
}

// --- smooth normals --------------------------------------------------------------------------

// The smoothing as the mesh object states it, written plainly: welding by the scan, one
// vector sum and counter per vertex, the library's vector routines.
std::vector<double> PlainNormals(const std::vector<double>& V, int32_t Readable,
                                 const std::vector<uint8_t>& F, const TLists& Lists,
                                 std::vector<double> Normals) {
  const auto N = static_cast<int32_t>(F.size());
  const std::vector<int32_t> Rep = Scan(V, F, 1).Rep;
  std::vector<double> Sum(static_cast<size_t>(N) * 3, 0.0);
  std::vector<int32_t> Hits(static_cast<size_t>(N), 0);
  auto Pos = [&](uint32_t v) {
    return v < static_cast<uint32_t>(Readable)
               ? TLumMathVector{V[3 * v], V[3 * v + 1], V[3 * v + 2]}
               : ZEROVEC;
  };
  auto Give = [&](const TLumMathVector& Nv, uint32_t v) {
    if (v >= static_cast<uint32_t>(N)) return;
    const int32_t r = Rep[v];
    Sum[3 * r] += Nv.X, Sum[3 * r + 1] += Nv.Y, Sum[3 * r + 2] += Nv.Z;
    ++Hits[r];
  };
  auto Normal = [&](uint32_t a, uint32_t b, uint32_t c) {
    TLumMathVector R;
    LumMathNormalVector(Pos(a), Pos(b), Pos(c), true, R);
    return R;
  };
  const double Tol = tolerance;
  for (const auto& [Type, s] : Lists) {
    const auto C = static_cast<int32_t>(s.size());
    if (Type == GL_TRIANGLES) {
      for (int32_t t = 0; t + 2 < C; t += 3)
        for (int k = 0; k < 3; ++k) Give(Normal(s[t], s[t + 1], s[t + 2]), s[t + k]);
    } else if (Type == GL_TRIANGLE_STRIP) {
      for (int32_t k = 0; k + 2 < C; ++k) {
        const TLumMathVector Nv =
            k % 2 ? Normal(s[k + 1], s[k], s[k + 2]) : Normal(s[k], s[k + 1], s[k + 2]);
        if (std::fabs(Nv.X) < Tol && std::fabs(Nv.Y) < Tol && std::fabs(Nv.Z) < Tol) continue;
        for (int j = 0; j < 3; ++j) Give(Nv, s[k + j]);
      }
    } else if (Type == GL_TRIANGLE_FAN) {
      for (int32_t j = 1; j + 1 < C; ++j) {
        const TLumMathVector Nv = Normal(s[0], s[j], s[j + 1]);
        Give(Nv, s[0]), Give(Nv, s[j]), Give(Nv, s[j + 1]);
      }
    } else if (Type == GL_QUADS) {
      for (int32_t q = 0; q + 3 < C; q += 4) {
        const TLumMathVector N1 = Normal(s[q], s[q + 1], s[q + 2]);
        Give(N1, s[q]), Give(N1, s[q + 1]), Give(N1, s[q + 2]);
        const TLumMathVector N2 = Normal(s[q + 2], s[q + 3], s[q]);
        Give(N2, s[q + 2]), Give(N2, s[q + 3]), Give(N2, s[q]);
      }
    } else if (Type == GL_QUAD_STRIP) {
      for (int32_t k = 0; k <= C / 2 - 2; ++k)
        for (int j = 0; j < 4; ++j)
          Give(Normal(s[2 * k], s[2 * k + 1], s[2 * k + 2]), s[2 * k + j]);
    } else if (Type == GL_POLYGON) {
      for (int32_t i = 0; i < C; ++i) {
        const uint32_t a = s[i], b = s[(i + 1) % C], c = s[(i + 2) % C];
        const TLumMathVector Nv = Normal(a, b, c);
        Give(Nv, a), Give(Nv, b), Give(Nv, c);
      }
    } else {
      for (int32_t i = 0; i < C; ++i) Give({0.0, 0.0, 1.0}, s[i]);
    }
  }
  for (int32_t v = 0; v < N; ++v) {
    const int32_t r = Rep[v];
    if (Hits[r] <= 0) continue;
    const double f = 1.0 / Hits[r];
    TLumMathVector Nv{Sum[3 * r] * f, Sum[3 * r + 1] * f, Sum[3 * r + 2] * f};
    LumMathNormalize(Nv);
    Normals[3 * v] = Nv.X, Normals[3 * v + 1] = Nv.Y, Normals[3 * v + 2] = Nv.Z;
  }
  return Normals;
}

// LumSmoothNormals over Lists, starting from the normals Old.
std::vector<double> Smoothed(const std::vector<double>& V, int32_t Readable,
                             const std::vector<uint8_t>& F, const TLists& Lists,
                             std::vector<double> Old) {
  std::vector<TLumFaceList> Faces;
  for (const auto& [Type, Idx] : Lists)
    Faces.push_back({Type, Idx.data(), static_cast<int32_t>(Idx.size())});
  LumSmoothNormals(V.data(), Readable, F.data(), static_cast<int32_t>(F.size()), Faces.data(),
                   Faces.size(), tolerance, Old.data());
  return Old;
}

// Bit patterns, so that -0 and +0, and NaNs, are told apart.
std::vector<uint64_t> Bits(const std::vector<double>& D) {
  std::vector<uint64_t> B(D.size());
  std::memcpy(B.data(), D.data(), D.size() * sizeof(double));
  return B;
}

// Meshes of every list type over vertices crowded within the tolerance (welding chains
// and seams), with degenerate faces, repeated corners, signed zeros, non-finite
// positions, indices past the vertices and past the readable positions: the normals are
// the plain smoothing's, bit for bit.
TEST(SmoothNormalsTest, EqualThePlainSmoothingBitForBit) {
  std::mt19937 Rng(42);
  const double Tol = tolerance;
  const int32_t Types[] = {GL_POINTS,       GL_LINES, GL_TRIANGLES,  GL_TRIANGLE_STRIP,
                           GL_TRIANGLE_FAN, GL_QUADS, GL_QUAD_STRIP, GL_POLYGON};
  for (int Round = 0; Round < 40; ++Round) {
    const int32_t N = 20 + static_cast<int32_t>(Rng() % 300);
    std::vector<double> V;
    std::uniform_int_distribution<int> Grid(-4, 4);
    for (int32_t i = 0; i < N + 5; ++i)
      for (int a = 0; a < 3; ++a) {
        const int Kind = static_cast<int>(Rng() % 16);
        V.push_back(Kind == 0   ? -0.0
                    : Kind == 1 ? 0.0
                                : Grid(Rng) * Tol * 0.7 + (Rng() % 4) * 0.01);
      }
    if (Round % 5 == 4) V[3 * (Rng() % N)] = std::nan("");
    if (Round % 7 == 6) V[3 * (Rng() % N) + 1] = HUGE_VAL;
    std::vector<uint8_t> F(static_cast<size_t>(N));
    for (auto& f : F) f = static_cast<uint8_t>(Rng() % 4);
    TLists Lists;
    for (int l = 0; l < 5; ++l) {
      std::vector<uint32_t> Idx(Rng() % 40);
      // Mostly vertices in use, some past them, now and then past the positions too.
      for (auto& i : Idx) i = Rng() % 20 ? Rng() % N : N + Rng() % 8;
      Lists.push_back({Types[Rng() % 8], Idx});
    }
    std::vector<double> Old(static_cast<size_t>(N) * 3);
    for (auto& o : Old) o = static_cast<double>(Rng() % 100);  // kept where nothing lands
    const auto Readable = static_cast<int32_t>(N + Rng() % 3);
    ASSERT_EQ(Bits(Smoothed(V, Readable, F, Lists, Old)),
              Bits(PlainNormals(V, Readable, F, Lists, Old)))
        << "round " << Round;
  }
}

// A chain of welds (a ~ b and b ~ c, a and c apart): b stands for c, a for b. The sums
// are then kept apart from the normals; a vertex that no face reaches, here a and b,
// keeps its normal even where it stands for another that a face reaches.
TEST(SmoothNormalsTest, ChainsOfWeldsKeepTheNormalsOfVerticesNoFaceReaches) {
  const double T = tolerance;
  const std::vector<double> V = {0, 0, 0, 0.7 * T, 0, 0, 1.4 * T, 0, 0, 1, 0, 0, 0, 1, 0};
  const std::vector<uint8_t> F = {1, 1, 1, 1, 1};
  const TLists Lists = {{GL_TRIANGLES, {2, 3, 4}}};
  const std::vector<double> Old = {5, 5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9};
  const std::vector<double> Got = Smoothed(V, 5, F, Lists, Old);
  EXPECT_EQ(Bits(Got), Bits(PlainNormals(V, 5, F, Lists, Old)));
  EXPECT_EQ(Got[0], 5.0);  // a: nothing reached it nor b, its representative
  EXPECT_EQ(Got[3], 6.0);  // b: stands for c, but its own representative a got nothing
  EXPECT_EQ(Got[8], 1.0);  // c: the face's normal, through b
}

// A large rippled sheet of quad strips whose vertices all weld, with the grid spacing at
// the tolerance, as the reference scene S2 is built.
TEST(SmoothNormalsTest, RippledSheetOfQuadStripsEqualsThePlainSmoothing) {
  const int32_t Rows = 60, Columns = 90;
  std::vector<double> V;
  for (int32_t i = 0; i < Rows; ++i)
    for (int32_t j = 0; j < Columns; ++j) {
      const double X = j / 999.0, Y = i / 999.0;
      V.insert(V.end(), {X, Y, 0.05 * std::sin(20 * X) * std::cos(20 * Y)});
    }
  const int32_t N = Rows * Columns;
  const std::vector<uint8_t> F(static_cast<size_t>(N), 1);
  TLists Lists;
  for (int32_t k = 1; k < Rows; ++k) {
    std::vector<uint32_t> Idx;
    for (int32_t j = 0; j < Columns; ++j)
      Idx.insert(Idx.end(), {static_cast<uint32_t>((k - 1) * Columns + j),
                             static_cast<uint32_t>(k * Columns + j)});
    Lists.push_back({GL_QUAD_STRIP, Idx});
  }
  // Every tenth column doubled onto its neighbour: those pairs weld.
  for (int32_t i = 0; i < Rows; ++i)
    for (int32_t j = 10; j < Columns; j += 10)
      V[3 * (i * Columns + j) + 0] = V[3 * (i * Columns + j - 1)];
  const std::vector<double> Zero(static_cast<size_t>(N) * 3, 0.0);
  EXPECT_EQ(Bits(Smoothed(V, N, F, Lists, Zero)), Bits(PlainNormals(V, N, F, Lists, Zero)));
}

}  // namespace
}  // namespace lumox
