// Vertex grids and index lists of the parametric solids, their setters' corrections and
// their exchange-format values.
#include "lumox/geometry/lumshape.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"

namespace lumox {

const char* const TSphereModeStr[2] = {"smGlobal", "smRegular"};
const char* const TBoxFaceStr[6] = {"bfFront", "bfLeft", "bfRight", "bfBack", "bfTop", "bfBottom"};

namespace {

constexpr double TwoPi = 6.283185307179586;
constexpr double Pi = 3.141592653589793;
constexpr double HalfPi = 1.5707963267948966;

// Makes sure the user-flag array exists: the seam flags are written into it.
void DefineFlags(TLumPrimitivePoints* P) {
  if (!P->IsDefined(daFlag)) P->SetDefineArrays(P->DefineArrays() + TLumArrays{daFlag});
}

// Bit 0 welds the normals of coincident vertices, bit 1 their relief displacement.
void MarkSeam(TLumPrimitivePoints* P, int32_t Index, bool Weld, bool Relief) {
  uint8_t* F = P->Flags();
  if (!F || Index < 0 || Index >= P->Size()) return;
  F[Index] = static_cast<uint8_t>((F[Index] & ~3u) | (Weld ? 1u : 0u) | (Relief ? 2u : 0u));
}

// The pair (i, j), (i + 1, j) for every j of column i of a grid of Stacks + 1 rows; a
// reversed pair order flips the facing of the strip.
void AddColumnStrip(TLumPrimitiveObj* Obj, int32_t Type, int32_t Base, int32_t Column,
                    int32_t Stacks, bool Reversed) {
  const int32_t L = Obj->AddPrimitiveArray(Type);
  TLumPrimitiveArray* A = Obj->GetPrimitive(L);
  A->SetSize(MeshCount(Obj, MeshMul(int64_t{Stacks} + 1, 2), "indices"));
  for (int32_t j = 0; j <= Stacks; ++j) {
    const uint32_t Left = static_cast<uint32_t>(Base + (Stacks + 1) * Column + j);
    const uint32_t Right = static_cast<uint32_t>(Base + (Stacks + 1) * (Column + 1) + j);
    A->AddIndex(Reversed ? Right : Left);
    A->AddIndex(Reversed ? Left : Right);
  }
}

bool IsNumber(double V) { return !std::isnan(V); }

}  // namespace

// --- TLumSphere ---------------------------------------------------------------------

void TLumSphere::Rebuild() {
  SetInitialized(false);
  Changed();
}

void TLumSphere::SetSlices(int32_t Value) {
  if (Value < 1) Value = 1;
  if (FMode == smRegular) {
    // Rounded up to a multiple of 4 in 64 bits, and kept within int32 (no overflow).
    Value =
        static_cast<int32_t>(std::min<int64_t>((int64_t{Value} + 3) / 4 * 4, INT32_MAX / 4 * 4));
    FStacks = Value / 2;
  }
  FSlices = Value;
  Rebuild();
}

void TLumSphere::SetStacks(int32_t Value) {
  if (Value < 2) Value = 2;
  if (FMode == smRegular)
    FSlices = static_cast<int32_t>(std::min<int64_t>(int64_t{Value} / 2 * 4, INT32_MAX / 4 * 4));
  FStacks = Value;
  Rebuild();
}

void TLumSphere::SetRadius(double Value) {
  if (!IsNumber(Value)) return;
  FRadius = Value < 0 ? 1.0 : Value;
  Rebuild();
}

void TLumSphere::SetMode(TSphereMode Value) {
  if (Value > smRegular) return;
  FMode = Value;
  Rebuild();
}

void TLumSphere::InitPoints() {
  DefineFlags(Points());
  if (FMode == smRegular)
    InitRegularPoints();
  else
    InitGlobalPoints();
}

void TLumSphere::InitPrimitives() {
  if (FMode == smRegular)
    InitRegularPrimitives();
  else
    InitGlobalPrimitives();
}

void TLumSphere::InitGlobalPoints() {
  TLumPrimitivePoints* P = Points();
  TLumTextureFlags* TF = TextureFlags();
  const int32_t S = FSlices, T = FStacks;
  const double DTheta = TwoPi / S, DPhi = Pi / T;
  P->SetSize(MeshCount(this, MeshMul(int64_t{S} + 1, int64_t{T} + 1)));
  for (int32_t i = 0; i <= S; ++i) {
    const double SinT = std::sin(i * DTheta), CosT = std::cos(i * DTheta);
    for (int32_t j = 0; j <= T; ++j) {
      const double SinP = std::sin(j * DPhi);
      const TLumMathVector N{SinP * SinT, SinP * CosT, std::cos(j * DPhi)};
      const TLumMathVector V{N.X * FRadius, N.Y * FRadius, N.Z * FRadius};
      const TLumMathVector Tex{(1.0 - double(i) / S) * TF->ScaleX() - TF->ShiftX(),
                               (1.0 - double(j) / T) * TF->ScaleY() - TF->ShiftY(), 0.0};
      const int32_t Idx = P->Add(V, N, Tex);
      const bool Seam = i == 0 || i == S || j == 0 || j == T;
      MarkSeam(P, Idx, Seam, Seam);
    }
  }
}

void TLumSphere::InitGlobalPrimitives() {
  const int32_t S = FSlices, T = FStacks;
  const int32_t Caps = AddPrimitiveArray(GL_TRIANGLES);
  GetPrimitive(Caps)->SetSize(MeshCount(this, MeshMul(S, 6), "indices"));
  for (int32_t i = 1; i <= S; ++i) {
    AddIndex((T + 1) * (i - 1) + 1, Caps);
    AddIndex((T + 1) * (i - 1), Caps);
    AddIndex((T + 1) * i + 1, Caps);
    AddIndex((T + 1) * i + T, Caps);
    AddIndex((T + 1) * (i - 1) + T - 1, Caps);
    AddIndex((T + 1) * i + T - 1, Caps);
  }
  for (int32_t i = 1; i <= S; ++i) {
    const int32_t L = AddPrimitiveArray(GL_QUAD_STRIP);
    TLumPrimitiveArray* A = GetPrimitive(L);
    A->SetSize(MeshCount(this, MeshMul(int64_t{T} - 1, 2), "indices"));
    for (int32_t j = 1; j <= T - 1; ++j) {
      A->AddIndex((T + 1) * (i - 1) + j);
      A->AddIndex((T + 1) * i + j);
    }
  }
}

// The regular sphere: per hemisphere a pole ring of 4 coincident vertices (one per
// quadrant) and rings n = 1 .. Stacks div 2 of 4n + 1 vertices, the first and last on the
// seam at +Y. Longitudes run from +Y towards +X on the first (+Z) hemisphere and the
// other way on the second, so that both are seen turning the same way from their own
// pole and share the index formulas. With an even Stacks the two equator rings coincide.
namespace {

// In 64 bits: for huge Stacks the count is refused, never overflowed.
int64_t RegularRingStart(int64_t n) { return n == 0 ? 0 : 4 + (n - 1) * (2 * n + 1); }
int64_t RegularHemisphereCount(int64_t H) { return RegularRingStart(H + 1); }

}  // namespace

void TLumSphere::InitRegularPoints() {
  TLumPrimitivePoints* P = Points();
  TLumTextureFlags* TF = TextureFlags();
  const int32_t H = FStacks / 2;
  const double DPhi = Pi / FStacks;
  const bool EvenStacks = FStacks % 2 == 0;
  P->SetSize(MeshCount(this, 2 * RegularHemisphereCount(H)));
  for (int Hemi = 0; Hemi < 2; ++Hemi) {
    const double Sign = Hemi == 0 ? 1.0 : -1.0;
    // Texture t of ring n: counted from the +Z pole over the whole sphere.
    auto TexT = [&](int32_t n) {
      const double Row = Hemi == 0 ? n : FStacks - n;
      return (1.0 - Row / FStacks) * TF->ScaleY() - TF->ShiftY();
    };
    // Texture s of the longitude fraction f (0 .. 1 along the ring's own direction).
    auto TexS = [&](double f) { return (Hemi == 0 ? 1.0 - f : f) * TF->ScaleX() - TF->ShiftX(); };
    for (int32_t q = 0; q < 4; ++q) {
      const TLumMathVector N{0.0, 0.0, Sign};
      const TLumMathVector V{0.0, 0.0, Sign * FRadius};
      const int32_t Idx = P->Add(V, N, {TexS((q + 0.5) / 4.0), TexT(0), 0.0});
      MarkSeam(P, Idx, true, true);
    }
    for (int32_t n = 1; n <= H; ++n) {
      const double Phi = HalfPi - n * DPhi;
      const double CosP = std::cos(Phi), SinP = std::sin(Phi) * Sign;
      const int32_t K = 4 * n;
      for (int32_t k = 0; k <= K; ++k) {
        const double f = double(k) / K;
        const double Theta = HalfPi - Sign * f * TwoPi;
        const TLumMathVector N{std::cos(Theta) * CosP, std::sin(Theta) * CosP, SinP};
        const TLumMathVector V{N.X * FRadius, N.Y * FRadius, N.Z * FRadius};
        const int32_t Idx = P->Add(V, N, {TexS(f), TexT(n), 0.0});
        const bool Seam = k == 0 || k == K || (n == H && EvenStacks);
        MarkSeam(P, Idx, Seam, Seam);
      }
    }
  }
}

void TLumSphere::InitRegularPrimitives() {
  const int32_t H = FStacks / 2;
  const int32_t Second = RegularHemisphereCount(H);
  for (int32_t Base : {0, Second}) {
    const int32_t Caps = AddPrimitiveArray(GL_TRIANGLES);
    GetPrimitive(Caps)->SetSize(12);
    for (int32_t k = 0; k < 4; ++k) {
      AddIndex(Base + k + 4, Caps);
      AddIndex(Base + k, Caps);
      AddIndex(Base + k + 5, Caps);
    }
    // Band n joins ring n (inner) to ring n + 1 (outer), quadrant by quadrant.
    for (int32_t n = 1; n < H; ++n) {
      for (int32_t q = 0; q < 4; ++q) {
        const int32_t Outer = Base + RegularRingStart(n + 1) + q * (n + 1);
        const int32_t Inner = Base + RegularRingStart(n) + q * n;
        const int32_t L = AddPrimitiveArray(GL_TRIANGLE_STRIP);
        TLumPrimitiveArray* A = GetPrimitive(L);
        A->SetSize(2 * n + 3);
        for (int32_t m = 0; m <= n; ++m) {
          A->AddIndex(Outer + m);
          A->AddIndex(Inner + m);
        }
        A->AddIndex(Outer + n + 1);
      }
    }
  }
  if (FStacks % 2 == 1) {
    // The equator band between the two last rings; vertex k of the first hemisphere's
    // ring lies at the longitude of vertex 4H - k of the second's.
    const int32_t K = 4 * H;
    const int32_t North = RegularRingStart(H);
    const int32_t South = Second + RegularRingStart(H);
    const int32_t L = AddPrimitiveArray(GL_TRIANGLE_STRIP);
    TLumPrimitiveArray* A = GetPrimitive(L);
    A->SetSize(2 * (K + 1));
    for (int32_t k = 0; k <= K; ++k) {
      A->AddIndex(South + K - k);
      A->AddIndex(North + k);
    }
  }
}

void TLumSphere::Assign(TPersistent* Source) {
  if (auto* S = dynamic_cast<TLumSphere*>(Source)) CopyPublished(this, S);
  TLumPrimitiveObj::Assign(Source);
}

void TLumSphere::WriteValues(TLumExchange* Exchange) {
  Exchange->WritePublished(this, ClassInfoOf<TLumSphere>());
  TLumPrimitiveObj::WriteValues(Exchange);
}

// Not the table's reading: the counts are set under smGlobal and Mode last (see below).
void TLumSphere::ReadValues(TLumExchange* Exchange) {
  TLumPrimitiveObj::ReadValues(Exchange);
  int32_t S = FSlices, T = FStacks;
  double R = FRadius;
  Exchange->getvalue("Slices", S);
  Exchange->getvalue("Stacks", T);
  Exchange->getvalue("Radius", R);
  // The counts as they were written (the smRegular rules of the setters left out), then
  // the mode, which keeps them: a saved sphere loads with the counts it had.
  FMode = smGlobal;
  SetSlices(S);
  SetStacks(T);
  SetRadius(R);
  SetMode(static_cast<TSphereMode>(Exchange->getenums("Mode", TSphereModeStr, 1)));
}

// --- TLumCylinder -------------------------------------------------------------------

void TLumCylinder::Rebuild() {
  SetInitialized(false);
  Changed();
}

void TLumCylinder::SetBaseRadius(double Value) {
  FBaseRadius = Value;
  Rebuild();
}

void TLumCylinder::SetTopRadius(double Value) {
  FTopRadius = Value;
  Rebuild();
}

void TLumCylinder::SetHeight(double Value) {
  if (!IsNumber(Value)) return;
  FHeight = Value < 0 ? 1.0 : Value;
  Rebuild();
}

void TLumCylinder::SetClosed(bool Value) {
  FClosed = Value;
  Rebuild();
}

void TLumCylinder::SetSlices(int32_t Value) {
  FSlices = Value < 1 ? 1 : Value;
  Rebuild();
}

void TLumCylinder::SetStacks(int32_t Value) {
  FStacks = Value < 1 ? 1 : Value;
  Rebuild();
}

int32_t TLumCylinder::CapCount() const {
  return (FTopRadius != 0 ? 2 : 1) - (FBaseRadius == 0 ? 1 : 0);
}

void TLumCylinder::InitPoints() {
  TLumPrimitivePoints* P = Points();
  TLumTextureFlags* TF = TextureFlags();
  DefineFlags(P);
  const int32_t S = FSlices, T = FStacks;
  const int32_t Grid = MeshCount(this, MeshMul(int64_t{S} + 1, int64_t{T} + 1));
  P->SetSize(MeshCount(this, MeshMul(Grid, 1 + (FClosed ? CapCount() : 0))));
  const double Slope = FBaseRadius - FTopRadius;
  const double L = std::sqrt(FHeight * FHeight + Slope * Slope);
  for (int32_t i = 0; i <= S; ++i) {
    const double Theta = i * TwoPi / S;
    const double SinT = std::sin(Theta), CosT = std::cos(Theta);
    // A wall of no slant length (no height, equal radii) gets the radial direction.
    const TLumMathVector N = L > 0
                                 ? TLumMathVector{SinT * FHeight / L, CosT * FHeight / L, Slope / L}
                                 : TLumMathVector{SinT, CosT, 0.0};
    for (int32_t j = 0; j <= T; ++j) {
      const double R = Slope * j / T + FTopRadius;
      const TLumMathVector V{SinT * R, CosT * R, (1.0 - double(j) / T) * FHeight};
      const TLumMathVector Tex{(1.0 - double(i) / S) * TF->ScaleX() - TF->ShiftX(),
                               (1.0 - double(j) / T) * TF->ScaleY() - TF->ShiftY(), 0.0};
      const int32_t Idx = P->Add(V, N, Tex);
      const bool Seam = i == 0 || i == S;
      MarkSeam(P, Idx, Seam, Seam || j == 0 || j == T);
    }
  }
  if (!FClosed) return;
  if (FTopRadius != 0) AddCapPoints(FTopRadius, FHeight, true);
  if (FBaseRadius != 0) AddCapPoints(FBaseRadius, 0.0, false);
}

// A cap is a disc grid: column i at the wall's angle, ring j from the centre (j = 0) to
// the rim (j = Stacks), which meets the wall's end row vertex for vertex. The rim does
// not weld normals with the wall (the edge stays sharp) but moves with it under relief.
void TLumCylinder::AddCapPoints(double Radius, double Z, bool Top) {
  TLumPrimitivePoints* P = Points();
  TLumTextureFlags* TF = TextureFlags();
  const int32_t S = FSlices, T = FStacks;
  const double R = std::fabs(Radius);
  const TLumMathVector N{0.0, 0.0, Top ? 1.0 : -1.0};
  // Seen from below, +X lies to the left: the bottom cap mirrors s to stay upright.
  const double Mirror = Top ? 1.0 : -1.0;
  for (int32_t i = 0; i <= S; ++i) {
    const double Theta = i * TwoPi / S;
    const double SinT = std::sin(Theta), CosT = std::cos(Theta);
    for (int32_t j = 0; j <= T; ++j) {
      const double r = Radius * j / T;
      const TLumMathVector V{SinT * r, CosT * r, Z};
      const TLumMathVector Tex{(Mirror * SinT * r + R) / 2 / R * TF->ScaleX() - TF->ShiftX(),
                               (CosT * r + R) / 2 / R * TF->ScaleY() - TF->ShiftY(), 0.0};
      const int32_t Idx = P->Add(V, N, Tex);
      const bool Edge = j == 0 || i == 0 || i == S;
      MarkSeam(P, Idx, Edge && j < T, Edge || j == T);
    }
  }
}

void TLumCylinder::InitPrimitives() {
  const int32_t S = FSlices, T = FStacks;
  for (int32_t i = 0; i < S; ++i) AddColumnStrip(this, GL_QUAD_STRIP, 0, i, T, false);
  if (!FClosed) return;
  int32_t Base = (S + 1) * (T + 1);
  for (bool Top : {true, false}) {
    if ((Top ? FTopRadius : FBaseRadius) == 0) continue;
    // Angles run clockwise seen from +Z: the top cap keeps the pair order, the bottom
    // one reverses it to face -Z.
    for (int32_t i = 0; i < S; ++i) AddColumnStrip(this, GL_QUAD_STRIP, Base, i, T, !Top);
    Base += (S + 1) * (T + 1);
  }
}

void TLumCylinder::Assign(TPersistent* Source) {
  if (auto* S = dynamic_cast<TLumCylinder*>(Source)) CopyPublished(this, S);
  TLumPrimitiveObj::Assign(Source);
}

void TLumCylinder::WriteValues(TLumExchange* Exchange) {
  Exchange->WritePublished(this, ClassInfoOf<TLumCylinder>());
  TLumPrimitiveObj::WriteValues(Exchange);
}

void TLumCylinder::ReadValues(TLumExchange* Exchange) {
  TLumPrimitiveObj::ReadValues(Exchange);
  Exchange->ReadPublished(this, ClassInfoOf<TLumCylinder>());
}

// --- TLumDisc -----------------------------------------------------------------------

void TLumDisc::Rebuild() {
  SetInitialized(false);
  Changed();
}

void TLumDisc::SetOuterRadius(double Value) {
  if (!(Value > 0)) return;
  FOuterRadius = Value;
  Rebuild();
}

void TLumDisc::SetInnerRadius(double Value) {
  if (!(Value >= 0)) return;
  FInnerRadius = Value;
  Rebuild();
}

void TLumDisc::SetStartAngle(double Value) {
  if (!std::isfinite(Value)) return;
  double A = std::fmod(Value, 360.0);
  if (A < 0) A += 360.0;
  if (A >= 360.0) A = 0.0;  // a tiny negative angle rounds up to 360
  FStartAngle = A;
  Rebuild();
}

void TLumDisc::SetSweepAngle(double Value) {
  if (!IsNumber(Value)) return;
  FSweepAngle = Value > 360.0 ? 360.0 : (Value < 0 ? 0.0 : Value);
  Rebuild();
}

void TLumDisc::SetSlices(int32_t Value) {
  FSlices = Value < 1 ? 1 : Value;
  Rebuild();
}

void TLumDisc::SetStacks(int32_t Value) {
  FStacks = Value < 1 ? 1 : Value;
  Rebuild();
}

void TLumDisc::InitPoints() {
  TLumPrimitivePoints* P = Points();
  TLumTextureFlags* TF = TextureFlags();
  const int32_t S = FSlices, T = FStacks;
  const double Step = FSweepAngle / 180.0 * Pi / S;
  const double Start = FStartAngle / 180.0 * Pi;
  // Only a full turn or a disc without hole has coincident vertices to weld.
  const bool UseFlags = FInnerRadius == 0 || FSweepAngle == 360;
  if (UseFlags) DefineFlags(P);
  P->SetSize(MeshCount(this, MeshMul(int64_t{S} + 1, int64_t{T} + 1)));
  const TLumMathVector N{0.0, 0.0, 1.0};
  for (int32_t i = 0; i <= S; ++i) {
    const double Theta = i * Step + Start;
    const double SinT = std::sin(Theta), CosT = std::cos(Theta);
    for (int32_t j = 0; j <= T; ++j) {
      const double R = (FOuterRadius - FInnerRadius) * j / T + FInnerRadius;
      const TLumMathVector V{SinT * R, CosT * R, 0.0};
      const TLumMathVector Tex{
          (SinT * R + FOuterRadius) / 2 / FOuterRadius * TF->ScaleX() + TF->ShiftX(),
          (CosT * R + FOuterRadius) / 2 / FOuterRadius * TF->ScaleY() + TF->ShiftY(), 0.0};
      const int32_t Idx = P->Add(V, N, Tex);
      if (UseFlags) {
        const bool Seam = i == 0 || i == S || j == 0;
        MarkSeam(P, Idx, Seam, Seam);
      }
    }
  }
}

void TLumDisc::InitPrimitives() {
  for (int32_t i = 0; i < FSlices; ++i) AddColumnStrip(this, GL_QUAD_STRIP, 0, i, FStacks, false);
}

void TLumDisc::Assign(TPersistent* Source) {
  if (auto* S = dynamic_cast<TLumDisc*>(Source)) CopyPublished(this, S);
  TLumPrimitiveObj::Assign(Source);
}

void TLumDisc::WriteValues(TLumExchange* Exchange) {
  Exchange->WritePublished(this, ClassInfoOf<TLumDisc>());
  TLumPrimitiveObj::WriteValues(Exchange);
}

void TLumDisc::ReadValues(TLumExchange* Exchange) {
  TLumPrimitiveObj::ReadValues(Exchange);
  Exchange->ReadPublished(this, ClassInfoOf<TLumDisc>());
}

// --- TLumTorus ----------------------------------------------------------------------

void TLumTorus::Rebuild() {
  SetInitialized(false);
  Changed();
}

void TLumTorus::SetRadius(double Value) {
  if (!IsNumber(Value)) return;
  FRadius = Value < 0 ? 0.0 : Value;
  Rebuild();
}

void TLumTorus::SetThickness(double Value) {
  if (!IsNumber(Value)) return;
  FThickness = Value < 0 ? 0.0 : Value;
  Rebuild();
}

void TLumTorus::SetSlices(int32_t Value) {
  FSlices = Value < 1 ? 1 : Value;
  Rebuild();
}

void TLumTorus::SetStacks(int32_t Value) {
  FStacks = Value < 1 ? 1 : Value;
  Rebuild();
}

void TLumTorus::InitPoints() {
  TLumPrimitivePoints* P = Points();
  TLumTextureFlags* TF = TextureFlags();
  DefineFlags(P);
  const int32_t S = FSlices, T = FStacks;
  const double A = TwoPi / S, B = TwoPi / T;
  P->SetSize(MeshCount(this, MeshMul(int64_t{S} + 1, int64_t{T} + 1)));
  for (int32_t i = 0; i <= S; ++i) {
    const double CosA = std::cos(i * A), SinA = std::sin(i * A);
    for (int32_t j = 0; j <= T; ++j) {
      const double CosB = std::cos(j * B), SinB = std::sin(j * B);
      const double Ring = CosB * FThickness + FRadius;
      const TLumMathVector V{Ring * CosA, Ring * SinA, SinB * FThickness};
      const TLumMathVector N{CosB * CosA, CosB * SinA, SinB};
      const TLumMathVector Tex{double(i) / S * TF->ScaleX() + TF->ShiftX(),
                               double(j) / T * TF->ScaleY() + TF->ShiftY(), 0.0};
      const int32_t Idx = P->Add(V, N, Tex);
      const bool Seam = i == 0 || i == S || j == 0 || j == T;
      MarkSeam(P, Idx, Seam, Seam);
    }
  }
}

void TLumTorus::InitPrimitives() {
  for (int32_t i = 0; i < FSlices; ++i)
    AddColumnStrip(this, GL_TRIANGLE_STRIP, 0, i, FStacks, false);
}

void TLumTorus::Assign(TPersistent* Source) {
  if (auto* S = dynamic_cast<TLumTorus*>(Source)) CopyPublished(this, S);
  TLumPrimitiveObj::Assign(Source);
}

void TLumTorus::WriteValues(TLumExchange* Exchange) {
  Exchange->WritePublished(this, ClassInfoOf<TLumTorus>());
  TLumPrimitiveObj::WriteValues(Exchange);
}

void TLumTorus::ReadValues(TLumExchange* Exchange) {
  TLumPrimitiveObj::ReadValues(Exchange);
  Exchange->ReadPublished(this, ClassInfoOf<TLumTorus>());
}

// --- TLumBox ------------------------------------------------------------------------

namespace {

// How one face's grid is laid out: which box axes its two loop counters run along, the
// fixed coordinate, and whether (a, b), (a + 1, b), ... must be reversed to face out.
struct TBoxFaceGrid {
  TBoxFace Face;
  int OuterAxis;  // 0 = X, 1 = Y, 2 = Z
  int InnerAxis;
  int FixedAxis;
  bool FixedAtMax;
  TLumMathVector Normal;
  bool Reversed;
};

// Generation order: front, left, back, right, top, bottom.
constexpr TBoxFaceGrid BoxFaceGrids[6] = {
    {bfFront, 0, 1, 2, true, {0, 0, 1}, false}, {bfLeft, 2, 1, 0, false, {-1, 0, 0}, false},
    {bfBack, 0, 1, 2, false, {0, 0, -1}, true}, {bfRight, 2, 1, 0, true, {1, 0, 0}, true},
    {bfTop, 0, 2, 1, true, {0, 1, 0}, true},    {bfBottom, 0, 2, 1, false, {0, -1, 0}, false},
};

}  // namespace

void TLumBox::Rebuild() {
  SetInitialized(false);
  Changed();
}

void TLumBox::SetWidth(float Value) {
  FWidth = Value;
  Rebuild();
}

void TLumBox::SetHeight(float Value) {
  FHeight = Value;
  Rebuild();
}

void TLumBox::SetDepth(float Value) {
  FDepth = Value;
  Rebuild();
}

void TLumBox::SetFaces(TBoxFaces Value) {
  FFaces = Value;
  Rebuild();
}

int32_t TLumBox::Detail(int32_t Index) const {
  return Index >= 0 && Index < 3 ? FDetail[Index] : 0;
}

void TLumBox::SetDetail(int32_t Index, int32_t Value) {
  if (Index < 0 || Index > 2 || Value < 1) return;
  FDetail[Index] = Value;
  Rebuild();
}

void TLumBox::InitPoints() {
  TLumPrimitivePoints* P = Points();
  TLumTextureFlags* TF = TextureFlags();
  DefineFlags(P);
  const double Extent[3] = {FWidth, FHeight, FDepth};
  const double Low[3] = {-FWidth / 2.0, 0.0, 0.0};
  int64_t Total = 0;
  for (const TBoxFaceGrid& G : BoxFaceGrids)
    if (FFaces.Contains(G.Face))
      Total += MeshCount(
          this, MeshMul(int64_t{FDetail[G.OuterAxis]} + 1, int64_t{FDetail[G.InnerAxis]} + 1));
  P->SetSize(MeshCount(this, Total));
  for (const TBoxFaceGrid& G : BoxFaceGrids) {
    if (!FFaces.Contains(G.Face)) continue;
    const int32_t NA = FDetail[G.OuterAxis], NB = FDetail[G.InnerAxis];
    for (int32_t a = 0; a <= NA; ++a) {
      for (int32_t b = 0; b <= NB; ++b) {
        double C[3];
        C[G.OuterAxis] = double(a) * Extent[G.OuterAxis] / NA + Low[G.OuterAxis];
        C[G.InnerAxis] = double(b) * Extent[G.InnerAxis] / NB + Low[G.InnerAxis];
        C[G.FixedAxis] = Low[G.FixedAxis] + (G.FixedAtMax ? Extent[G.FixedAxis] : 0.0);
        const TLumMathVector Tex{double(a) / NA * TF->ScaleX() + TF->ShiftX(),
                                 double(b) / NB * TF->ScaleY() + TF->ShiftY(), 0.0};
        const int32_t Idx = P->Add({C[0], C[1], C[2]}, G.Normal, Tex);
        // Hard edges: never weld normals; the border moves with its neighbour face.
        MarkSeam(P, Idx, false, a == 0 || a == NA || b == 0 || b == NB);
      }
    }
  }
}

void TLumBox::InitPrimitives() {
  int32_t Base = 0;
  for (const TBoxFaceGrid& G : BoxFaceGrids) {
    if (!FFaces.Contains(G.Face)) continue;
    const int32_t NA = FDetail[G.OuterAxis], NB = FDetail[G.InnerAxis];
    const int32_t L = AddPrimitiveArray(GL_QUADS);
    TLumPrimitiveArray* A = GetPrimitive(L);
    A->SetSize(MeshCount(this, MeshMul(MeshMul(NA, NB), 4), "indices"));
    auto V = [&](int32_t a, int32_t b) { return static_cast<uint32_t>(Base + a * (NB + 1) + b); };
    for (int32_t a = 0; a < NA; ++a) {
      for (int32_t b = 0; b < NB; ++b) {
        A->AddIndex(V(a, b));
        A->AddIndex(G.Reversed ? V(a, b + 1) : V(a + 1, b));
        A->AddIndex(V(a + 1, b + 1));
        A->AddIndex(G.Reversed ? V(a + 1, b) : V(a, b + 1));
      }
    }
    Base += (NA + 1) * (NB + 1);
  }
}

void TLumBox::Assign(TPersistent* Source) {
  if (auto* S = dynamic_cast<TLumBox*>(Source)) CopyPublished(this, S);
  TLumPrimitiveObj::Assign(Source);
}

void TLumBox::WriteValues(TLumExchange* Exchange) {
  Exchange->WritePublished(this, ClassInfoOf<TLumBox>());
  TLumPrimitiveObj::WriteValues(Exchange);
}

void TLumBox::ReadValues(TLumExchange* Exchange) {
  TLumPrimitiveObj::ReadValues(Exchange);
  Exchange->ReadPublished(this, ClassInfoOf<TLumBox>());
}

// --- registration -------------------------------------------------------------------

void RegisterLumshapeClasses() {
  RegisterRenderClass<TLumSphere>();
  RegisterRenderClass<TLumCylinder>();
  RegisterRenderClass<TLumDisc>();
  RegisterRenderClass<TLumTorus>();
  RegisterRenderClass<TLumBox>();
}

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumshapeProperties() {
  const TLumRange AtLeast1 = TLumRange::AtLeast(1), NotNegative = TLumRange::AtLeast(0);

  TLumClassTable<TLumSphere, TLumPrimitiveObj> S("TLumSphere", "Lumox Obj",
                                                 "A sphere centred on the origin, poles on Z");
  S.Creatable();
  S.Integer("Slices", &TLumSphere::Slices, &TLumSphere::SetSlices, 10,
            "Divisions around Z, at least 1 (smRegular: a multiple of 4, Stacks follows)")
      .Range(AtLeast1)
      .Exchange()
      .Field(&TLumSphere::FSlices);
  S.Integer("Stacks", &TLumSphere::Stacks, &TLumSphere::SetStacks, 10,
            "Divisions from pole to pole, at least 2 (smRegular: Slices follows)")
      .Range(TLumRange::AtLeast(2))
      .Exchange()
      .Field(&TLumSphere::FStacks);
  S.Double("Radius", &TLumSphere::Radius, &TLumSphere::SetRadius, 1.0,
           "Radius (a negative one becomes 1)")
      .Range(NotNegative)
      .Exchange()
      .Field(&TLumSphere::FRadius);
  S.Enum("Mode", "TSphereMode", &TLumSphere::Mode, &TLumSphere::SetMode, TSphereModeStr, smGlobal,
         "Latitude-longitude grid or regular subdivision")
      .Exchange()
      .Field(&TLumSphere::FMode);
  S.DefineZero("Radius", &TLumSphere::Radius);

  TLumClassTable<TLumCylinder, TLumPrimitiveObj> C("TLumCylinder", "Lumox Obj",
                                                   "A cone frustum along Z from 0 to Height");
  C.Creatable();
  C.Double("BaseRadius", &TLumCylinder::BaseRadius, &TLumCylinder::SetBaseRadius, 1.0,
           "Radius at z = 0")
      .Exchange()
      .Field(&TLumCylinder::FBaseRadius);
  C.Double("TopRadius", &TLumCylinder::TopRadius, &TLumCylinder::SetTopRadius, 1.0,
           "Radius at z = Height")
      .Exchange()
      .Field(&TLumCylinder::FTopRadius);
  C.Double("Height", &TLumCylinder::Height, &TLumCylinder::SetHeight, 1.0,
           "Length along +Z (a negative one becomes 1)")
      .Range(NotNegative)
      .Exchange()
      .Field(&TLumCylinder::FHeight);
  C.Boolean("Closed", &TLumCylinder::Closed, &TLumCylinder::SetClosed, false,
            "Caps at the ends whose radius is not 0")
      .Exchange()
      .Field(&TLumCylinder::FClosed);
  C.Integer("Slices", &TLumCylinder::Slices, &TLumCylinder::SetSlices, 10,
            "Divisions around Z, at least 1")
      .Range(AtLeast1)
      .Exchange()
      .Field(&TLumCylinder::FSlices);
  C.Integer("Stacks", &TLumCylinder::Stacks, &TLumCylinder::SetStacks, 10,
            "Divisions along Z, at least 1")
      .Range(AtLeast1)
      .Exchange()
      .Field(&TLumCylinder::FStacks);
  C.DefineZero("BaseRadius", &TLumCylinder::BaseRadius);
  C.DefineZero("TopRadius", &TLumCylinder::TopRadius);
  C.DefineZero("Height", &TLumCylinder::Height);

  TLumClassTable<TLumDisc, TLumPrimitiveObj> D("TLumDisc", "Lumox Obj",
                                               "An annulus sector in the X-Y plane, facing +Z");
  D.Creatable();
  D.Double("OuterRadius", &TLumDisc::OuterRadius, &TLumDisc::SetOuterRadius, 1.0,
           "Outer radius, above 0")
      .Range(TLumRange::Above(0))
      .Exchange()
      .Field(&TLumDisc::FOuterRadius);
  D.Double("InnerRadius", &TLumDisc::InnerRadius, &TLumDisc::SetInnerRadius, 0.0,
           "Inner radius, 0 or more")
      .Range(NotNegative)
      .Exchange()
      .Field(&TLumDisc::FInnerRadius);
  D.Double("StartAngle", &TLumDisc::StartAngle, &TLumDisc::SetStartAngle, 0.0,
           "Start in degrees from +Y towards +X, kept in 0..360")
      .Exchange()
      .Field(&TLumDisc::FStartAngle);
  D.Double("SweepAngle", &TLumDisc::SweepAngle, &TLumDisc::SetSweepAngle, 360.0,
           "Extent in degrees, 0..360")
      .Range(TLumRange::Between(0, 360))
      .Exchange()
      .Field(&TLumDisc::FSweepAngle);
  D.Integer("Slices", &TLumDisc::Slices, &TLumDisc::SetSlices, 10, "Divisions around, at least 1")
      .Range(AtLeast1)
      .Exchange()
      .Field(&TLumDisc::FSlices);
  D.Integer("Stacks", &TLumDisc::Stacks, &TLumDisc::SetStacks, 10,
            "Divisions from inside to outside, at least 1")
      .Range(AtLeast1)
      .Exchange()
      .Field(&TLumDisc::FStacks);
  D.DefineZero("OuterRadius", &TLumDisc::OuterRadius);
  D.DefineZero("InnerRadius", &TLumDisc::InnerRadius);
  D.DefineZero("StartAngle", &TLumDisc::StartAngle);
  D.DefineZero("SweepAngle", &TLumDisc::SweepAngle);

  TLumClassTable<TLumTorus, TLumPrimitiveObj> T("TLumTorus", "Lumox Obj",
                                                "A torus around Z in the X-Y plane");
  T.Creatable();
  T.Double("Radius", &TLumTorus::Radius, &TLumTorus::SetRadius, 1.0,
           "Distance to the tube's centre (a negative one becomes 0)")
      .Range(NotNegative)
      .Exchange()
      .Field(&TLumTorus::FRadius);
  T.Double("Thickness", &TLumTorus::Thickness, &TLumTorus::SetThickness, 0.2,
           "The tube's radius (a negative one becomes 0)")
      .Range(NotNegative)
      .Exchange()
      .Field(&TLumTorus::FThickness);
  T.Integer("Slices", &TLumTorus::Slices, &TLumTorus::SetSlices, 10,
            "Divisions around the ring, at least 1")
      .Range(AtLeast1)
      .Exchange()
      .Field(&TLumTorus::FSlices);
  T.Integer("Stacks", &TLumTorus::Stacks, &TLumTorus::SetStacks, 10,
            "Divisions around the tube, at least 1")
      .Range(AtLeast1)
      .Exchange()
      .Field(&TLumTorus::FStacks);
  T.DefineZero("Radius", &TLumTorus::Radius);
  T.DefineZero("Thickness", &TLumTorus::Thickness);

  TLumClassTable<TLumBox, TLumPrimitiveObj> B(
      "TLumBox", "Lumox Obj", "A box: X centred, Y from 0 to Height, Z from 0 to Depth");
  B.Creatable();
  B.Single("Width", &TLumBox::Width, &TLumBox::SetWidth, 1.0f, "Extent along X")
      .Exchange()
      .Field(&TLumBox::FWidth);
  B.Single("Height", &TLumBox::Height, &TLumBox::SetHeight, 1.0f, "Extent along Y")
      .Exchange()
      .Field(&TLumBox::FHeight);
  B.Single("Depth", &TLumBox::Depth, &TLumBox::SetDepth, 1.0f, "Extent along Z")
      .Exchange()
      .Field(&TLumBox::FDepth);
  B.SetOf("Faces", "TBoxFace", &TLumBox::Faces, &TLumBox::SetFaces, TBoxFaceStr,
          TBoxFaces{bfFront, bfLeft, bfRight, bfBack, bfTop, bfBottom}, "The faces generated")
      .Exchange()
      .Field(&TLumBox::FFaces);
  B.Integer(
       "DetailX", &TLumBox::DetailX, [](TLumBox* X, int32_t V) { X->SetDetail(0, V); }, 1,
       "Cells along X, at least 1")
      .Range(AtLeast1)
      .Exchange()
      .Field(&TLumBox::FDetail, 0);
  B.Integer(
       "DetailY", &TLumBox::DetailY, [](TLumBox* X, int32_t V) { X->SetDetail(1, V); }, 1,
       "Cells along Y, at least 1")
      .Range(AtLeast1)
      .Exchange()
      .Field(&TLumBox::FDetail, 1);
  B.Integer(
       "DetailZ", &TLumBox::DetailZ, [](TLumBox* X, int32_t V) { X->SetDetail(2, V); }, 1,
       "Cells along Z, at least 1")
      .Range(AtLeast1)
      .Exchange()
      .Field(&TLumBox::FDetail, 2);
  B.DefineZero("Width", &TLumBox::Width);
  B.DefineZero("Height", &TLumBox::Height);
  B.DefineZero("Depth", &TLumBox::Depth);
}

}  // namespace lumox
