// Welding of coincident vertices on a grid of cells, and smooth vertex normals.
#include "lumox/geometry/lumweld.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstring>
#include <memory>
#include <numeric>
#include <tuple>
#include <utility>

#include "lumox/math/lumgl.h"

namespace lumox {

namespace {

bool Coincide(const double* A, const double* B, double Tol) {
  return std::fabs(A[0] - B[0]) < Tol && std::fabs(A[1] - B[1]) < Tol &&
         std::fabs(A[2] - B[2]) < Tol;
}

// What welding one vertex found among its candidates (itself included).
struct TWeldFound {
  int32_t Lowest = INT32_MAX, LowestNonZero = INT32_MAX, Found = 0;
};

// A block of scratch memory that grows as needed, its contents not kept (nor zeroed:
// zeroing tens of megabytes would cost as much as the welding).
template <typename T>
class TScratch {
 public:
  T* Get(size_t N) {
    if (N > FSize) {
      FData.reset(new T[N]);
      FSize = N;
    }
    return FData.get();
  }
  T* Data() const { return FData.get(); }

 private:
  std::unique_ptr<T[]> FData;
  size_t FSize = 0;
};

// A run of the sorted vertices in one row of cells.
struct TRowSpan {
  uint64_t Index;
  size_t Begin, End;
};

// Working memory of the welding, kept by each thread between calls: a fresh block of
// tens of megabytes costs a page fault per page on every call. Released after a mesh of
// more than 256 K vertices, so a thread holds at most about 15 MB of it between calls.
struct TWeldScratch {
  TScratch<int32_t> Used;
  TScratch<uint64_t> RunKey, RunKey2, RunSpan, RunSpan2, RunBand;
  TScratch<int32_t> Idx;
  TScratch<double> X;
  TScratch<uint8_t> Edge;
  std::vector<size_t> Count;
  std::vector<TRowSpan> Rows;
  std::vector<std::pair<double, int32_t>> Pairs;
};
thread_local TWeldScratch WeldScratch;
constexpr size_t ScratchKept = size_t{1} << 18;

// floor(X) for |X| < 2^52, without a call to floor.
int64_t Floor(double X) {
  const auto T = static_cast<int64_t>(X);
  return T - (X < static_cast<double>(T) ? 1 : 0);
}

// Cells a little wider than Tol: two coordinates closer than Tol then lie in the same or
// neighbouring cells although V / Edge is rounded, as long as |V| / Edge < 2^40 (the
// rounding errs by at most 2^-13 a coordinate, the difference is under 1 - 2^-12).
constexpr double CellSlack = 1.0 + 1.0 / 2048;
constexpr double CellLimit = 1099511627776.0;  // 2^40
// Along z, cells are grouped in bands of this many: a row of cells (one band, one y cell)
// then holds whole stretches of a surface that climbs through z, so that a vertex's
// candidates come from three rows rather than nine. Wider bands visit the neighbouring
// band less often but hold more vertices of one x and y (a wall's): 16 measured best of
// 8, 16 and 32 on S2 within a few per cent of 32.
constexpr int64_t ZBand = 16;

// The first position in [From, End) whose value is at least Bound (above it when Above),
// for values ascending there: single steps first, then doubling ones, then halving ones.
template <bool Above>
size_t Seek(const double* Values, size_t From, size_t End, double Bound) {
  auto Past = [Bound](double V) { return Above ? V > Bound : V >= Bound; };
  for (int k = 0; k < 4; ++k, ++From)
    if (From == End || Past(Values[From])) return From;
  for (size_t Step = 4;; Step *= 2) {
    const size_t Next = std::min(From + Step, End);
    if (Next == End || Past(Values[Next]))
      return static_cast<size_t>(
          std::partition_point(Values + From, Values + Next, [&](double V) { return !Past(V); }) -
          Values);
    From = Next + 1;
  }
}

// What the first pass over the vertices found for the grid: the usable vertices (Used,
// ascending; nullptr when every vertex is usable) cut into runs of one row (S.RunKey: y cell,
// S.RunBand: z band; S.RunSpan: first position in the high half, length in the low half), the
// ranges of those, and the largest |x|. Vertices that follow one another in the same row (as meshes
// laid out along x do) make one run, and the runs are sorted instead of the vertices.
struct TGridRuns {
  size_t Runs = 0;
  int64_t YMin = INT64_MAX, YMax = INT64_MIN, BMin = INT64_MAX, BMax = INT64_MIN;
  double XMax = 0.0;
  bool Fits = true;  // every position within the grid's keys
};

// The welding of the usable vertices on a grid of cells. Vertices are sorted by row (y
// cell, then z band: meshes laid out along y are read in order), then by x, numbers
// ascending where x is the same.
// A vertex's candidates lie within one cell of its own along y, in its own z band or,
// when its z cell is at the band's edge, the next one, and within the tolerance along
// x: in each of those rows a window moving forward with the vertex keeps them. False
// (nothing done) when the positions are too far out or spread for the grid.
template <bool Full, typename TStore>
bool WeldGrid(const double* Vertices, double Tol, TWeldScratch& S, const int32_t* Used, size_t M,
              const TGridRuns& G, TStore Store) {
  if (!G.Fits) return false;
  // Rows counted from one below the lowest y cell and band, so that the neighbours of
  // every row have a key.
  const auto RY = static_cast<uint64_t>(G.YMax - G.YMin) + 3;
  const auto Bands = static_cast<uint64_t>(G.BMax - G.BMin) + 3;
  if (static_cast<double>(RY) * static_cast<double>(Bands) > 4.0e18) return false;
  // Half the width of a window along x: the tolerance, and room for the rounding of
  // x -/+ Width, so that every x the exact test accepts lies inside (little room: x too
  // is bounded, or a far position would widen every window).
  const double XMax = G.XMax;
  const double Width = Tol * (1.0 + 1.0 / 1048576) + 4 * (std::nextafter(XMax, HUGE_VAL) - XMax);

  const size_t Runs = G.Runs;
  uint64_t *RunKey = S.RunKey.Data(), *RunSpan = S.RunSpan.Data();
  const uint64_t* RunBand = S.RunBand.Data();
  const uint8_t* Edge = S.Edge.Data();
  uint64_t MaxKey = 0;
  for (size_t r = 0; r < Runs; ++r) {
    RunKey[r] = static_cast<uint64_t>(static_cast<int64_t>(RunKey[r]) - G.YMin + 1) * Bands +
                static_cast<uint64_t>(static_cast<int64_t>(RunBand[r]) - G.BMin + 1);
    MaxKey = std::max(MaxKey, RunKey[r]);
  }
  // Stable radix sort of the runs by row, in as few passes of at most 11 bits as the
  // rows need, the counts of every pass taken in one read: vertex numbers stay ascending
  // in a row.
  {
    uint64_t *Key2 = S.RunKey2.Get(Runs), *Span2 = S.RunSpan2.Get(Runs);
    const int Bits = std::max(1, static_cast<int>(std::bit_width(MaxKey)));
    const int Passes = (Bits + 10) / 11, Digit = (Bits + Passes - 1) / Passes;
    const size_t Buckets = size_t{1} << Digit;
    std::vector<size_t>& Count = S.Count;
    Count.assign(Buckets * static_cast<size_t>(Passes), 0);
    for (size_t r = 0; r < Runs; ++r)
      for (int d = 0; d < Passes; ++d)
        ++Count[d * Buckets + ((RunKey[r] >> (d * Digit)) & (Buckets - 1))];
    for (int d = 0; d < Passes; ++d) {
      size_t* C = Count.data() + d * Buckets;
      if (*std::max_element(C, C + Buckets) == Runs) continue;  // one digit for all
      size_t Sum = 0;
      for (size_t b = 0; b < Buckets; ++b) Sum += std::exchange(C[b], Sum);
      for (size_t r = 0; r < Runs; ++r) {
        const size_t q = C[(RunKey[r] >> (d * Digit)) & (Buckets - 1)]++;
        Key2[q] = RunKey[r];
        Span2[q] = RunSpan[r];
      }
      std::swap(RunKey, Key2);
      std::swap(RunSpan, Span2);
    }
  }
  // The vertices in row order: the runs one after another, runs of one row making the
  // row. Each row is then ordered along x (already so for vertices numbered along x, as
  // generated meshes are), numbers ascending where x is the same.
  int32_t* Idx = S.Idx.Get(M);
  std::vector<TRowSpan>& Rows = S.Rows;
  Rows.clear();
  double* X = S.X.Get(M);
  for (size_t r = 0, p = 0; r < Runs;) {
    const size_t Begin = p;
    const uint64_t Row = RunKey[r];
    bool Sorted = true;
    for (; r < Runs && RunKey[r] == Row; ++r) {
      const size_t From = RunSpan[r] >> 32, Len = RunSpan[r] & 0xFFFFFFFFu;
      for (size_t t = 0; t < Len; ++t, ++p) {
        Idx[p] = Used ? Used[From + t] : static_cast<int32_t>(From + t);
        X[p] = Vertices[static_cast<size_t>(Idx[p]) * 3];
        if (p > Begin && X[p] < X[p - 1]) Sorted = false;
      }
    }
    if (!Sorted) {
      std::vector<std::pair<double, int32_t>>& Pairs = S.Pairs;
      Pairs.clear();
      for (size_t q = Begin; q < p; ++q) Pairs.emplace_back(X[q], Idx[q]);
      std::sort(Pairs.begin(), Pairs.end());
      for (size_t q = Begin; q < p; ++q) std::tie(X[q], Idx[q]) = Pairs[q - Begin];
    }
    Rows.push_back({Row, Begin, p});
  }

  const auto DY = static_cast<int64_t>(Bands);
  // Own band (y - 1, y, y + 1), band below, band above.
  const int64_t Deltas[9] = {-DY, 0, DY, -DY - 1, -1, DY - 1, -DY + 1, 1, DY + 1};
  size_t RowCursor[9] = {};
  struct TWindow {
    size_t Lo, Hi, End;
  };
  for (const TRowSpan& R : Rows) {
    TWindow W[9];
    for (int d = 0; d < 9; ++d) {
      const auto Target = static_cast<uint64_t>(static_cast<int64_t>(R.Index) + Deltas[d]);
      size_t& C = RowCursor[d];
      while (C < Rows.size() && Rows[C].Index < Target) ++C;
      W[d] = C < Rows.size() && Rows[C].Index == Target
                 ? TWindow{Rows[C].Begin, Rows[C].Begin, Rows[C].End}
                 : TWindow{0, 0, 0};
    }
    for (size_t p = R.Begin; p < R.End; ++p) {
      const int32_t i = Idx[p];
      const double* P = Vertices + static_cast<size_t>(i) * 3;
      const double XL = X[p] - Width, XH = X[p] + Width;
      TWeldFound F;
      // Without counts, only a lower number than the vertex's own can change anything.
      if constexpr (!Full) F = {i, INT32_MAX, 1};
      auto Scan = [&](size_t From, size_t To) {
        for (size_t q = From; q < To; ++q) {
          const int32_t j = Idx[q];
          if constexpr (!Full) {
            if (j < F.Lowest && Coincide(P, Vertices + static_cast<size_t>(j) * 3, Tol))
              F.Lowest = j;
          } else if (Coincide(P, Vertices + static_cast<size_t>(j) * 3, Tol)) {
            ++F.Found;
            F.Lowest = std::min(F.Lowest, j);
            if (j != 0) F.LowestNonZero = std::min(F.LowestNonZero, j);
          }
        }
      };
      // The rows of its own band move along with it: their windows advance by steps.
      for (int d = 0; d < 3; ++d) {
        TWindow& Win = W[d];
        while (Win.Hi < Win.End && X[Win.Hi] <= XH) ++Win.Hi;
        while (Win.Lo < Win.Hi && X[Win.Lo] < XL) ++Win.Lo;
        Scan(Win.Lo, Win.Hi);
      }
      // The other bands' rows are visited here and there: their windows jump.
      if (const uint8_t E = Edge[i])
        for (int d = E == 1 ? 3 : 6, Last = d + 3; d < Last; ++d) {
          TWindow& Win = W[d];
          if (Win.Lo == Win.End) continue;
          Win.Hi = Seek<true>(X, Win.Hi, Win.End, XH);
          Win.Lo = Seek<false>(X, Win.Lo, Win.Hi, XL);
          Scan(Win.Lo, Win.Hi);
        }
      Store(static_cast<size_t>(i), F);
    }
  }
  return true;
}

// Open-addressing table from a grid cell to the run of vertex numbers in that cell.
class TCellTable {
 public:
  struct Cell {
    int64_t X, Y, Z;
  };

  explicit TCellTable(size_t Expected) {
    size_t Cap = 16;
    while (Cap < Expected * 2) Cap <<= 1;
    FSlots.assign(Cap, Slot{});
    FMask = Cap - 1;
  }

  // Slot number of a cell, created empty when missing.
  size_t Insert(const Cell& C) {
    size_t S = Hash(C) & FMask;
    while (FSlots[S].Used) {
      if (Same(FSlots[S].Key, C)) return S;
      S = (S + 1) & FMask;
    }
    FSlots[S].Used = true;
    FSlots[S].Key = C;
    return S;
  }

  // Slot number of a cell, or SIZE_MAX.
  size_t Find(const Cell& C) const {
    size_t S = Hash(C) & FMask;
    while (FSlots[S].Used) {
      if (Same(FSlots[S].Key, C)) return S;
      S = (S + 1) & FMask;
    }
    return SIZE_MAX;
  }

  struct Slot {
    Cell Key{};
    bool Used = false;
    uint32_t Begin = 0;  // run in the member array
    uint32_t Count = 0;
  };
  std::vector<Slot> FSlots;

 private:
  static bool Same(const Cell& A, const Cell& B) { return A.X == B.X && A.Y == B.Y && A.Z == B.Z; }
  static size_t Hash(const Cell& C) {
    uint64_t H = static_cast<uint64_t>(C.X) * 0x9E3779B97F4A7C15ull;
    H ^= static_cast<uint64_t>(C.Y) * 0xC2B2AE3D27D4EB4Full + (H << 6) + (H >> 2);
    H ^= static_cast<uint64_t>(C.Z) * 0x165667B19E3779F9ull + (H << 6) + (H >> 2);
    H ^= H >> 29;
    return static_cast<size_t>(H);
  }
  size_t FMask;
};

// The welding of positions too far out or spread for the grid's keys: cells of edge Tol
// in a hash table, the 27 around each vertex probed. Positions too large for the cells
// are clamped into them; they still compare exactly, only crowding their cell.
template <bool Full, typename TStore>
void WeldHashed(const double* Vertices, double Tol, const int32_t* Used, size_t M, TStore Store) {
  static constexpr double Limit = 4.0e18;
  auto CellOf = [Tol](const double* P) {
    auto C = [Tol](double V) {
      const double F = std::floor(V / Tol);
      return static_cast<int64_t>(std::clamp(F, -Limit, Limit));
    };
    return TCellTable::Cell{C(P[0]), C(P[1]), C(P[2])};
  };
  TCellTable Table(M);
  std::vector<uint32_t> SlotOf(M);
  for (size_t u = 0; u < M; ++u) {
    const size_t S = Table.Insert(CellOf(Vertices + static_cast<size_t>(Used[u]) * 3));
    SlotOf[u] = static_cast<uint32_t>(S);
    ++Table.FSlots[S].Count;
  }
  uint32_t Run = 0;
  for (auto& S : Table.FSlots) {
    if (!S.Used) continue;
    S.Begin = Run;
    Run += S.Count;
    S.Count = 0;
  }
  std::vector<int32_t> Members(Run);
  for (size_t u = 0; u < M; ++u) {
    auto& S = Table.FSlots[SlotOf[u]];
    Members[S.Begin + S.Count++] = Used[u];
  }
  for (size_t u = 0; u < M; ++u) {
    const int32_t i = Used[u];
    const double* P = Vertices + static_cast<size_t>(i) * 3;
    const TCellTable::Cell C = CellOf(P);
    TWeldFound F;
    for (int64_t dx = -1; dx <= 1; ++dx)
      for (int64_t dy = -1; dy <= 1; ++dy)
        for (int64_t dz = -1; dz <= 1; ++dz) {
          const size_t S = Table.Find({C.X + dx, C.Y + dy, C.Z + dz});
          if (S == SIZE_MAX) continue;
          const auto& Slot = Table.FSlots[S];
          for (uint32_t m = Slot.Begin; m < Slot.Begin + Slot.Count; ++m) {
            const int32_t j = Members[m];
            if (!Full && j >= F.Lowest) break;  // runs are ascending
            if (!Coincide(P, Vertices + static_cast<size_t>(j) * 3, Tol)) continue;
            ++F.Found;
            F.Lowest = std::min(F.Lowest, j);
            if (j != 0) F.LowestNonZero = std::min(F.LowestNonZero, j);
            if (!Full) break;
          }
        }
    Store(static_cast<size_t>(i), F);
  }
}

}  // namespace

void LumWeldPoints(const double* Vertices, const uint8_t* Flags, int32_t Count, uint8_t Mask,
                   double Tol, std::vector<int32_t>& Rep, std::vector<int32_t>* Counts,
                   std::vector<int32_t>* RepNonZero) {
  const size_t N = Count > 0 ? static_cast<size_t>(Count) : 0;
  Rep.resize(N);
  for (size_t i = 0; i < N; ++i) Rep[i] = static_cast<int32_t>(i);
  if (Counts) Counts->assign(N, 1);
  if (RepNonZero) *RepNonZero = Rep;
  if (!Vertices || !Flags || N == 0 || Mask == 0 || !(Tol > 0.0)) return;

  // The masked vertices (non-finite positions coincide with nothing), and in the same
  // read of the positions their cells and the runs of the grid (TGridRuns), until some
  // position lies beyond the grid's keys.
  TWeldScratch& S = WeldScratch;
  int32_t* Used = S.Used.Get(N);
  uint64_t *RunKey = S.RunKey.Get(N), *RunBand = S.RunBand.Get(N), *RunSpan = S.RunSpan.Get(N);
  uint8_t* Edge = S.Edge.Get(N);
  const double K = 1.0 / (Tol * CellSlack);
  TGridRuns G;
  size_t M = 0;
  // Every vertex usable so far: Used[p] would be p, and is only written once one is not
  // (4 bytes a vertex not written, read nor faulted in for the usual mesh).
  bool Dense = true;
  for (size_t i = 0; i < N; ++i) {
    const double* P = Vertices + i * 3;
    if ((Flags[i] & Mask) == 0 || !std::isfinite(P[0]) || !std::isfinite(P[1]) ||
        !std::isfinite(P[2])) {
      if (Dense) std::iota(Used, Used + M, 0);
      Dense = false;
      continue;
    }
    if (!Dense) Used[M] = static_cast<int32_t>(i);
    const double CX = P[0] * K, CY = P[1] * K, CZ = P[2] * K;
    G.Fits = G.Fits && std::fabs(CX) < CellLimit && std::fabs(CY) < CellLimit &&
             std::fabs(CZ) < CellLimit;
    if (G.Fits) {
      G.XMax = std::max(G.XMax, std::fabs(P[0]));
      const int64_t Y = Floor(CY), Z = Floor(CZ);
      // Bands of ZBand cells from z cell 0, and where in its band the cell lies.
      const int64_t Band = Z >= 0 ? Z / ZBand : -((ZBand - 1 - Z) / ZBand);
      const int64_t InBand = Z - Band * ZBand;
      Edge[i] = InBand == 0 ? 1 : InBand == ZBand - 1 ? 2 : 0;
      const size_t R = G.Runs;
      if (R > 0 && RunKey[R - 1] == static_cast<uint64_t>(Y) &&
          RunBand[R - 1] == static_cast<uint64_t>(Band)) {
        ++RunSpan[R - 1];  // the length, in the low half
      } else {
        RunKey[R] = static_cast<uint64_t>(Y);
        RunBand[R] = static_cast<uint64_t>(Band);
        RunSpan[R] = (uint64_t{M} << 32) | 1;
        G.Runs = R + 1;
        G.YMin = std::min(G.YMin, Y), G.YMax = std::max(G.YMax, Y);
        G.BMin = std::min(G.BMin, Band), G.BMax = std::max(G.BMax, Band);
      }
    }
    ++M;
  }
  auto UsedList = [&] {
    if (Dense) std::iota(Used, Used + M, 0);
    Dense = false;
    return Used;
  };
  if (M > 0) {
    if (Counts || RepNonZero) {
      auto Store = [&](size_t i, const TWeldFound& F) {
        Rep[i] = F.Lowest;
        if (Counts) (*Counts)[i] = F.Found;
        if (RepNonZero) (*RepNonZero)[i] = F.LowestNonZero == INT32_MAX ? 0 : F.LowestNonZero;
      };
      if (!WeldGrid<true>(Vertices, Tol, S, Dense ? nullptr : Used, M, G, Store))
        WeldHashed<true>(Vertices, Tol, UsedList(), M, Store);
    } else {
      auto Store = [&](size_t i, const TWeldFound& F) { Rep[i] = F.Lowest; };
      if (!WeldGrid<false>(Vertices, Tol, S, Dense ? nullptr : Used, M, G, Store))
        WeldHashed<false>(Vertices, Tol, UsedList(), M, Store);
    }
  }
  if (N > ScratchKept) S = TWeldScratch();
}

// --- smooth normals ------------------------------------------------------------------

namespace {

// The arithmetic of LumMathNormalVector(A, B, C, true, R) on plain arrays: the cross
// product of A - B and B - C, divided by its length when that is above zero. Every
// operation is the same, in the same order, so the result is the same to the bit.
inline void FaceNormal(const double* A, const double* B, const double* C, double* R) {
  const double D1[3] = {A[0] - B[0], A[1] - B[1], A[2] - B[2]};
  const double D2[3] = {B[0] - C[0], B[1] - C[1], B[2] - C[2]};
  R[0] = D1[1] * D2[2] - D1[2] * D2[1];
  R[1] = D1[2] * D2[0] - D1[0] * D2[2];
  R[2] = D1[0] * D2[1] - D1[1] * D2[0];
  const double L = std::sqrt(R[0] * R[0] + R[1] * R[1] + R[2] * R[2]);
  if (L > 0.0) {
    R[0] /= L;
    R[1] /= L;
    R[2] /= L;
  }
}

// Two doubles side by side: the processor divides and takes square roots of both at once
// (the slowest steps of smoothing), each rounded exactly as alone.
using TPair = double __attribute__((vector_size(16)));
using TPairMask = int64_t __attribute__((vector_size(16)));

inline TPair Sqrt(TPair V) {
#if defined(__SSE2__)
  return __builtin_ia32_sqrtpd(V);
#else
  return TPair{std::sqrt(V[0]), std::sqrt(V[1])};
#endif
}

// V / L where L is above zero, V elsewhere, as LumMathNormalize does.
inline TPair Unit(TPair V, TPair L) {
  const TPairMask Above = L > 0.0;
  return Above ? V / L : V;
}

// FaceNormal of two faces at once.
inline void FaceNormals(const double* const (&P)[6], double* R0, double* R1) {
  const TPair Ax = {P[0][0], P[3][0]}, Ay = {P[0][1], P[3][1]}, Az = {P[0][2], P[3][2]};
  const TPair Bx = {P[1][0], P[4][0]}, By = {P[1][1], P[4][1]}, Bz = {P[1][2], P[4][2]};
  const TPair Cx = {P[2][0], P[5][0]}, Cy = {P[2][1], P[5][1]}, Cz = {P[2][2], P[5][2]};
  const TPair D1x = Ax - Bx, D1y = Ay - By, D1z = Az - Bz;
  const TPair D2x = Bx - Cx, D2y = By - Cy, D2z = Bz - Cz;
  const TPair Rx = D1y * D2z - D1z * D2y, Ry = D1z * D2x - D1x * D2z, Rz = D1x * D2y - D1y * D2x;
  const TPair L = Sqrt(Rx * Rx + Ry * Ry + Rz * Rz);
  const TPair Nx = Unit(Rx, L), Ny = Unit(Ry, L), Nz = Unit(Rz, L);
  R0[0] = Nx[0], R0[1] = Ny[0], R0[2] = Nz[0];
  R1[0] = Nx[1], R1[1] = Ny[1], R1[2] = Nz[1];
}

// The sum and count of the normals given to each representative, the sums taken in the
// order the faces come. Checked: indices may lie past the vertices or the positions (a
// list's indices are looked over once to tell). Welded: some vertex stands for another.
struct TSmoothing {
  const double* Vertices;
  uint32_t Readable, Count;
  const int32_t* Rep;
  double* Sum;
  int32_t* Hits;

  template <bool Checked>
  const double* Pos(uint32_t v) const {
    static const double Origin[3] = {0.0, 0.0, 0.0};
    if (Checked && v >= Readable) return Origin;
    return Vertices + static_cast<size_t>(v) * 3;
  }

  template <bool Checked, bool Welded>
  void Give(const double* N, uint32_t v) {
    if (Checked && v >= Count) return;
    const size_t r = Welded ? static_cast<size_t>(Rep[v]) : v;
    double* S = Sum + r * 3;
    // The first normal is stored as 0 + n (not n: a -0 becomes +0, as it does when added
    // to a zeroed sum), which spares zeroing the sums first.
    // A select rather than a branch: whether a vertex is reached the first time follows
    // no pattern the processor could predict.
    const bool First = Hits[r]++ == 0;
    S[0] = (First ? 0.0 : S[0]) + N[0];
    S[1] = (First ? 0.0 : S[1]) + N[1];
    S[2] = (First ? 0.0 : S[2]) + N[2];
  }

  template <bool Checked, bool Welded>
  void List(int32_t Type, const uint32_t* s, int32_t C, double Tol) {
    auto P = [this](uint32_t v) { return Pos<Checked>(v); };
    auto Give3 = [this](const double* N, uint32_t a, uint32_t b, uint32_t c) {
      Give<Checked, Welded>(N, a), Give<Checked, Welded>(N, b), Give<Checked, Welded>(N, c);
    };
    double N1[3], N2[3];
    switch (Type) {
      case GL_TRIANGLES: {
        int32_t t = 0;
        for (; t + 5 < C; t += 6) {  // two at a time
          FaceNormals({P(s[t]), P(s[t + 1]), P(s[t + 2]), P(s[t + 3]), P(s[t + 4]), P(s[t + 5])},
                      N1, N2);
          Give3(N1, s[t], s[t + 1], s[t + 2]);
          Give3(N2, s[t + 3], s[t + 4], s[t + 5]);
        }
        if (t + 2 < C) {
          FaceNormal(P(s[t]), P(s[t + 1]), P(s[t + 2]), N1);
          Give3(N1, s[t], s[t + 1], s[t + 2]);
        }
        break;
      }
      case GL_TRIANGLE_STRIP: {
        // Odd faces turn the other way, so that the strip winds one way throughout.
        auto Flat = [Tol](const double* N) {
          return std::fabs(N[0]) < Tol && std::fabs(N[1]) < Tol && std::fabs(N[2]) < Tol;
        };
        int32_t k = 0;
        for (; k + 3 < C; k += 2) {  // two at a time
          FaceNormals({P(s[k]), P(s[k + 1]), P(s[k + 2]), P(s[k + 2]), P(s[k + 1]), P(s[k + 3])},
                      N1, N2);
          if (!Flat(N1)) Give3(N1, s[k], s[k + 1], s[k + 2]);  // else a degenerate joint
          if (!Flat(N2)) Give3(N2, s[k + 1], s[k + 2], s[k + 3]);
        }
        if (k + 2 < C) {
          FaceNormal(P(s[k]), P(s[k + 1]), P(s[k + 2]), N1);
          if (!Flat(N1)) Give3(N1, s[k], s[k + 1], s[k + 2]);
        }
        break;
      }
      case GL_TRIANGLE_FAN:
        for (int32_t j = 1; j + 1 < C; ++j) {
          FaceNormal(P(s[0]), P(s[j]), P(s[j + 1]), N1);
          Give3(N1, s[0], s[j], s[j + 1]);
        }
        break;
      case GL_QUADS:
        for (int32_t q = 0; q + 3 < C; q += 4) {
          FaceNormals({P(s[q]), P(s[q + 1]), P(s[q + 2]), P(s[q + 2]), P(s[q + 3]), P(s[q])}, N1,
                      N2);
          Give3(N1, s[q], s[q + 1], s[q + 2]);
          Give3(N2, s[q + 2], s[q + 3], s[q]);
        }
        break;
      case GL_QUAD_STRIP: {
        auto Give4 = [&](const double* N, const uint32_t* q) {
          Give3(N, q[0], q[1], q[2]);
          Give<Checked, Welded>(N, q[3]);
        };
        const int32_t Faces = C / 2 - 1;
        int32_t k = 0;
        for (; k + 1 < Faces; k += 2) {  // two at a time
          const uint32_t* q = s + 2 * k;
          FaceNormals({P(q[0]), P(q[1]), P(q[2]), P(q[2]), P(q[3]), P(q[4])}, N1, N2);
          Give4(N1, q);
          Give4(N2, q + 2);
        }
        if (k < Faces) {
          FaceNormal(P(s[2 * k]), P(s[2 * k + 1]), P(s[2 * k + 2]), N1);
          Give4(N1, s + 2 * k);
        }
        break;
      }
      case GL_POLYGON:
        for (int32_t i = 0; i < C; ++i) {
          const uint32_t a = s[i], b = s[(i + 1) % C], c = s[(i + 2) % C];
          FaceNormal(P(a), P(b), P(c), N1);
          Give3(N1, a, b, c);
        }
        break;
      default: {
        static const double Up[3] = {0.0, 0.0, 1.0};
        for (int32_t i = 0; i < C; ++i) Give<Checked, Welded>(Up, s[i]);
        break;
      }
    }
  }

  // The mean normal of each vertex's representative, normalised, where there is one.
  // From the last vertex to the first: when the sums lie in Normals themselves, a slot
  // is only read by its own vertex and higher ones (a representative is never above
  // what it stands for), so each slot is overwritten after its last reader.
  template <bool Welded>
  void Finish(double* Normals) const {
    auto Of = [this](uint32_t v) { return Welded ? static_cast<size_t>(Rep[v]) : size_t{v}; };
    uint32_t v = Count;
    if (v % 2 == 1) Finish1(--v, Normals);
    while (v >= 2) {  // two at a time where both received normals
      v -= 2;
      const size_t r0 = Of(v), r1 = Of(v + 1);
      if (Hits[r0] <= 0 || Hits[r1] <= 0) {
        Finish1(v + 1, Normals);
        Finish1(v, Normals);
        continue;
      }
      const TPair f =
          TPair{1.0, 1.0} / TPair{static_cast<double>(Hits[r0]), static_cast<double>(Hits[r1])};
      const double *S0 = Sum + r0 * 3, *S1 = Sum + r1 * 3;
      const TPair X = TPair{S0[0], S1[0]} * f, Y = TPair{S0[1], S1[1]} * f,
                  Z = TPair{S0[2], S1[2]} * f;
      const TPair L = Sqrt(X * X + Y * Y + Z * Z);
      const TPair Nx = Unit(X, L), Ny = Unit(Y, L), Nz = Unit(Z, L);
      double* N = Normals + static_cast<size_t>(v) * 3;
      N[0] = Nx[0], N[1] = Ny[0], N[2] = Nz[0];
      N[3] = Nx[1], N[4] = Ny[1], N[5] = Nz[1];
    }
  }

  void Finish1(uint32_t v, double* Normals) const {
    const auto r = static_cast<size_t>(Rep[v]);
    if (Hits[r] <= 0) return;
    const double f = 1.0 / Hits[r];
    const double* S = Sum + r * 3;
    double* N = Normals + static_cast<size_t>(v) * 3;
    const double X = S[0] * f, Y = S[1] * f, Z = S[2] * f;
    const double L = std::sqrt(X * X + Y * Y + Z * Z);
    N[0] = L > 0.0 ? X / L : X;
    N[1] = L > 0.0 ? Y / L : Y;
    N[2] = L > 0.0 ? Z / L : Z;
  }
};

}  // namespace

void LumSmoothNormals(const double* Vertices, int32_t Readable, const uint8_t* Flags, int32_t Count,
                      const TLumFaceList* Lists, size_t ListCount, double Tol, double* Normals) {
  if (Count <= 0 || !Normals) return;
  std::vector<int32_t> Rep;
  LumWeldPoints(Vertices, Flags, Count, 0x01, Tol, Rep);
  bool Welded = false;
  for (int32_t v = 0; v < Count && !Welded; ++v) Welded = Rep[static_cast<size_t>(v)] != v;
  const auto N = static_cast<size_t>(Count);
  // The sums are gathered in Normals itself (a slot is written only once a normal lands
  // in it, and a vertex that receives none keeps its normal), which spares the fresh
  // pages of a second array as large. That needs each representative to stand for
  // itself: a slot holding a sum is then only its own vertex's. A chain of welds that
  // breaks this (a ~ b ~ c, a and c apart) gathers in an array of its own instead.
  std::unique_ptr<double[]> Apart;
  if (Welded)
    for (size_t v = 0; v < N && !Apart; ++v)
      if (Rep[static_cast<size_t>(Rep[v])] != Rep[v]) Apart.reset(new double[N * 3]);
  std::unique_ptr<int32_t[]> Hits(new int32_t[N]());
  const auto Limit = static_cast<uint32_t>(Vertices ? std::max(Readable, 0) : 0);
  TSmoothing Smooth{
      Vertices,  Limit, static_cast<uint32_t>(Count), Rep.data(), Apart ? Apart.get() : Normals,
      Hits.get()};
  for (size_t l = 0; l < ListCount; ++l) {
    const TLumFaceList& L = Lists[l];
    if (L.Count <= 0) continue;
    // Checks for each index only where some index lies past the vertices or positions.
    const uint32_t Max = *std::max_element(L.Indices, L.Indices + L.Count);
    const bool Checked = Max >= std::min(Limit, Smooth.Count);
    if (Checked && Welded) Smooth.List<true, true>(L.PrimitiveType, L.Indices, L.Count, Tol);
    if (Checked && !Welded) Smooth.List<true, false>(L.PrimitiveType, L.Indices, L.Count, Tol);
    if (!Checked && Welded) Smooth.List<false, true>(L.PrimitiveType, L.Indices, L.Count, Tol);
    if (!Checked && !Welded) Smooth.List<false, false>(L.PrimitiveType, L.Indices, L.Count, Tol);
  }
  if (Welded)
    Smooth.Finish<true>(Normals);
  else
    Smooth.Finish<false>(Normals);
}

}  // namespace lumox
