// Sampling of the function surface into a vertex grid, its normals from neighbouring
// samples, and its quad strips.
#include "lumox/geometry/lumcustomfuncobj.h"

#include <cmath>
#include <limits>
#include <string>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"

namespace lumox {

const char* const TConnectModeStr[4] = {"cmConnectNone", "cmConnectX", "cmConnectY",
                                        "cmConnectBoth"};

namespace {

TLumMathVector Sub(const TLumMathVector& A, const TLumMathVector& B) {
  return {A.X - B.X, A.Y - B.Y, A.Z - B.Z};
}

TLumMathVector Cross(const TLumMathVector& A, const TLumMathVector& B) {
  return {A.Y * B.Z - A.Z * B.Y, A.Z * B.X - A.X * B.Z, A.X * B.Y - A.Y * B.X};
}

double Length(const TLumMathVector& V) { return std::sqrt(V.X * V.X + V.Y * V.Y + V.Z * V.Z); }

bool Coincide(const TLumMathVector& A, const TLumMathVector& B) {
  return std::fabs(A.X - B.X) < tolerance && std::fabs(A.Y - B.Y) < tolerance &&
         std::fabs(A.Z - B.Z) < tolerance;
}

// The unit vector of N, or false when N is negligible against the lengths it came from.
bool Unit(TLumMathVector& N, double Scale) {
  const double L = Length(N);
  if (!(L > 1e-12 * Scale) || !std::isfinite(L)) return false;
  N = {N.X / L, N.Y / L, N.Z / L};
  return true;
}

}  // namespace

void TLumCustomFuncObj::SetOnCalc(int32_t Index, Tfunction Value) {
  if (Index == 0)
    OnCalcXY = std::move(Value);
  else if (Index == 1)
    OnCalcZ = std::move(Value);
}

TLumMathVector TLumCustomFuncObj::calcz(const TLumMathVector& oldpoint, double value) {
  return OnCalcZ ? OnCalcZ(oldpoint, value) : oldpoint;
}

TLumMathVector TLumCustomFuncObj::calcxy(const TLumMathVector& oldpoint, double value) {
  return OnCalcXY ? OnCalcXY(oldpoint, value) : oldpoint;
}

TLumMathVector TLumCustomFuncObj::TextureIt(const TLumMathVector&, double a, double b) const {
  const TLumTextureFlags* TF = TextureFlags();
  if (TF->Mode() != txStandard) return ZEROVEC;
  // Deliberately unlike the shapes: the scales divide, the shifts are subtracted and the
  // caller's t starts at 1/Stacks; textured surfaces already made rely on it.
  return {a / TF->ScaleX() - TF->ShiftX(), b / TF->ScaleY() - TF->ShiftY(), 0.0};
}

void TLumCustomFuncObj::InitPoints() {
  const int64_t Rows = MeshMul(FStacks, FOverDraw) + 1;
  const int64_t Columns = int64_t{FSlices} + 1;
  const int64_t Total = MeshCount(this, Rows > 0 && Columns > 0 ? MeshMul(Rows, Columns) : 0);
  FGridRows = Rows > 0 && Columns > 0 ? static_cast<int32_t>(Rows) : 0;
  FGridColumns = FGridRows > 0 ? static_cast<int32_t>(Columns) : 0;
  FGrid.clear();
  FGrid.reserve(static_cast<size_t>(Total));

  // Each curve point is built on the previous one, starting from one call at 0.
  TLumMathVector p = calcz(ZEROVEC, 0.0);
  for (int32_t i = 0; i < FGridRows; ++i) {
    p = calcz(p, double(i) / FStacks);
    for (int32_t j = 0; j < FGridColumns; ++j) FGrid.push_back(calcxy(p, double(j) / FSlices));
  }

  int Connect = cmConnectNone;
  if (FGridRows > 0 && FGridColumns > 1) {
    bool Closed = true;
    for (int32_t i = 0; i < FGridRows && Closed; ++i)
      Closed = Coincide(GridPoint(i, 0), GridPoint(i, FGridColumns - 1));
    if (Closed) Connect |= cmConnectX;
  }
  if (FGridRows > 1) {
    bool Closed = true;
    for (int32_t j = 0; j < FGridColumns && Closed; ++j)
      Closed = Coincide(GridPoint(0, j), GridPoint(FGridRows - 1, j));
    if (Closed) Connect |= cmConnectY;
  }
  FConnectMode = static_cast<TConnectMode>(Connect);

  TLumPrimitivePoints* P = Points();
  if (!P->IsDefined(daFlag)) P->SetDefineArrays(P->DefineArrays() + TLumArrays{daFlag});
  P->SetSize(static_cast<int32_t>(Total));
  for (int32_t i = 0; i < FGridRows; ++i) {
    for (int32_t j = 0; j < FGridColumns; ++j) {
      const TLumMathVector& v = GridPoint(i, j);
      const TLumMathVector Tex =
          TextureIt(v, double(FSlices - j) / FSlices, double(i + 1) / FStacks);
      TLumMathVector Normal;
      CalcNormal(i, FStacks, Normal, FSlices, j);
      const int32_t Idx = P->Add(v, Normal, Tex);
      // Every vertex welds with whatever coincides with it, normals and relief alike.
      P->SetFlag(Idx, 0, true);
      P->SetFlag(Idx, 1, true);
      CalcTexturePoint(Idx);
    }
  }
  FGrid.clear();
  FGrid.shrink_to_fit();
}

void TLumCustomFuncObj::CalcNormal(int32_t i, int32_t, TLumMathVector& Normal, int32_t, int32_t j) {
  Normal = {0.0, 0.0, 1.0};
  const int32_t R = FGridRows, C = FGridColumns;
  if (i < 0 || i >= R || j < 0 || j >= C || R < 2 || C < 2) return;
  const bool WrapI = (FConnectMode & cmConnectY) != 0 && R > 2;
  const bool WrapJ = (FConnectMode & cmConnectX) != 0 && C > 2;
  // Neighbours along a direction of N samples; a closed direction's last sample repeats
  // its first, so the period is N - 1.
  auto Prev = [](int32_t k, int32_t N, bool Wrap) { return k > 0 ? k - 1 : (Wrap ? N - 2 : 0); };
  auto Next = [](int32_t k, int32_t N, bool Wrap) {
    return k < N - 1 ? k + 1 : (Wrap ? 1 : N - 1);
  };
  const TLumMathVector DI = Sub(GridPoint(Next(i, R, WrapI), j), GridPoint(Prev(i, R, WrapI), j));
  const TLumMathVector DJ = Sub(GridPoint(i, Next(j, C, WrapJ)), GridPoint(i, Prev(j, C, WrapJ)));
  // A row whose neighbours coincide (all sweep samples at one point, as at a pole) has
  // no direction across: sum the normals of the faces between it and its neighbour row.
  if (!Coincide(GridPoint(i, Next(j, C, WrapJ)), GridPoint(i, Prev(j, C, WrapJ)))) {
    TLumMathVector N = Cross(DI, DJ);
    if (Unit(N, Length(DI) * Length(DJ))) {
      Normal = N;
      return;
    }
  }
  const bool Forward = i < R - 1;
  const int32_t Other = Forward ? i + 1 : i - 1;
  TLumMathVector Sum = ZEROVEC;
  double Scale = 0.0;
  for (int32_t k = 0; k + 1 < C; ++k) {
    const TLumMathVector Along = Forward ? Sub(GridPoint(Other, k), GridPoint(i, k))
                                         : Sub(GridPoint(i, k), GridPoint(Other, k));
    const TLumMathVector Across = Sub(GridPoint(Other, k + 1), GridPoint(Other, k));
    const TLumMathVector F = Cross(Along, Across);
    Sum = {Sum.X + F.X, Sum.Y + F.Y, Sum.Z + F.Z};
    Scale += Length(Along) * Length(Across);
  }
  if (Unit(Sum, Scale)) Normal = Sum;
}

void TLumCustomFuncObj::InitPrimitives() {
  ClearPrimitives();
  const int64_t Bands = int64_t{FStacks} * FOverDraw;
  if (Bands <= 0 || FSlices < 0) return;
  for (int32_t k = 1; k <= Bands; ++k) {
    const int32_t L = AddPrimitiveArray(GL_QUAD_STRIP);
    TLumPrimitiveArray* A = GetPrimitive(L);
    A->SetSize(MeshCount(this, MeshMul(int64_t{FSlices} + 1, 2), "indices"));
    for (int32_t j = 0; j <= FSlices; ++j) {
      A->AddIndex(static_cast<uint32_t>((k - 1) * (FSlices + 1) + j));
      A->AddIndex(static_cast<uint32_t>(k * (FSlices + 1) + j));
    }
  }
}

void TLumCustomFuncObj::Assign(TPersistent* Source) {
  if (auto* S = dynamic_cast<TLumCustomFuncObj*>(Source)) CopyPublished(this, S);
  TLumPrimitiveObj::Assign(Source);
}

// Only the lowercase "overdraw", hidden at this level; the published Slices and Stacks
// are not in the format.
void TLumCustomFuncObj::WriteValues(TLumExchange* Exchange) {
  TLumPrimitiveObj::WriteValues(Exchange);
  Exchange->addtag("overdraw", FOverDraw, 1);
}

// Reads the hidden "overdraw" only; Slices and Stacks are not in the format.
void TLumCustomFuncObj::ReadValues(TLumExchange* Exchange) {
  TLumPrimitiveObj::ReadValues(Exchange);
  Exchange->getvalue("overdraw", FOverDraw);
}

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumcustomfuncobjProperties() {
  TLumClassTable<TLumCustomFuncObj, TLumPrimitiveObj> T(
      "TLumCustomFuncObj", "", "A surface swept from the program's curve and sweep functions");
  T.Event("OnCalcXY", "Tfunction", &TLumCustomFuncObj::OnCalcXY,
          "Sweeps a curve point into a row of surface points")
      .Hidden()
      .Copied();
  T.Event("OnCalcZ", "Tfunction", &TLumCustomFuncObj::OnCalcZ,
          "The next curve point from the previous one")
      .Hidden()
      .Copied();
  T.Integer("OverDraw", &TLumCustomFuncObj::OverDraw, &TLumCustomFuncObj::SetOverDraw, 1,
            "How many times the curve's parameter range is run through")
      .Exchange("overdraw")
      .Hidden()
      .Field(&TLumCustomFuncObj::FOverDraw);
  // Written to their fields: a change takes effect at the next build (Init).
  T.Integer("Slices", &TLumCustomFuncObj::Slices, &TLumCustomFuncObj::SetSlices, 10,
            "Samples of the sweep over 0..1 (used at the next build)")
      .Field(&TLumCustomFuncObj::FSlices);
  T.Integer("Stacks", &TLumCustomFuncObj::Stacks, &TLumCustomFuncObj::SetStacks, 10,
            "Samples of the curve per unit of its parameter (used at the next build)")
      .Field(&TLumCustomFuncObj::FStacks);
}

}  // namespace lumox
