// Frames by parallel transport, the tube's rings, walls and caps, and its sections in
// the exchange format.
#include "lumox/geometry/lumtube.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <numbers>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/formfile.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"

namespace lumox {

namespace {

using Vec = TLumMathVector;

Vec Add(const Vec& A, const Vec& B) { return {A.X + B.X, A.Y + B.Y, A.Z + B.Z}; }
Vec Sub(const Vec& A, const Vec& B) { return {A.X - B.X, A.Y - B.Y, A.Z - B.Z}; }
Vec Mul(const Vec& A, double S) { return {A.X * S, A.Y * S, A.Z * S}; }
double Dot(const Vec& A, const Vec& B) { return LumMathDotProduct(A, B); }
Vec Cross(const Vec& A, const Vec& B) {
  Vec R;
  LumMathCrossProduct(A, B, R);
  return R;
}
// A unit vector, or the zero vector for one of no length.
Vec Unit(const Vec& A) {
  const double L = LumMathVectorLength(A);
  return L > 1e-300 ? Mul(A, 1.0 / L) : ZEROVEC;
}
bool IsZero(const Vec& A) { return A.X == 0 && A.Y == 0 && A.Z == 0; }

// N at P1, carried from (P0, T0, N0) by two reflections: one in the plane between the
// points, one that takes the reflected tangent onto T1.
Vec Transport(const Vec& P0, const Vec& P1, const Vec& T0, const Vec& N0, const Vec& T1) {
  const Vec V1 = Sub(P1, P0);
  const double C1 = Dot(V1, V1);
  if (!(C1 > 0)) return N0;
  const Vec RL = Sub(N0, Mul(V1, 2.0 / C1 * Dot(V1, N0)));
  const Vec TL = Sub(T0, Mul(V1, 2.0 / C1 * Dot(V1, T0)));
  const Vec V2 = Sub(T1, TL);
  const double C2 = Dot(V2, V2);
  if (!(C2 > 1e-30)) return RL;
  return Sub(RL, Mul(V2, 2.0 / C2 * Dot(V2, RL)));
}

// Makes sure the user-flag array exists: seam vertices are marked in it.
void DefineFlags(TLumPrimitivePoints* P) {
  if (!P->IsDefined(daFlag)) P->SetDefineArrays(P->DefineArrays() + TLumArrays{daFlag});
}

}  // namespace

void LumTubeFrames(const std::vector<Vec>& Path, bool Closed, std::vector<TLumTubeFrame>& Frames) {
  const size_t n = Path.size();
  Frames.assign(n, {});
  if (n < 2) return;
  const size_t Segs = Closed ? n : n - 1;
  std::vector<Vec> D(Segs);
  for (size_t k = 0; k < Segs; ++k) D[k] = Unit(Sub(Path[(k + 1) % n], Path[k]));
  for (size_t i = 0; i < n; ++i) {
    Vec T;
    if (!Closed && i == 0)
      T = D[0];
    else if (!Closed && i == n - 1)
      T = D[n - 2];
    else {
      const Vec& In = D[(i + Segs - 1) % Segs];
      const Vec& Out = D[i % Segs];
      T = Unit(Add(In, Out));
      if (IsZero(T)) T = Out;  // the path turns straight back
    }
    Frames[i].T = T;
  }
  // A first N across the first tangent, from the axis it is least aligned with.
  const Vec& T0 = Frames[0].T;
  Vec Axis{1, 0, 0};
  if (std::fabs(T0.Y) < std::fabs(T0.X) && std::fabs(T0.Y) <= std::fabs(T0.Z))
    Axis = {0, 1, 0};
  else if (std::fabs(T0.Z) < std::fabs(T0.X) && std::fabs(T0.Z) < std::fabs(T0.Y))
    Axis = {0, 0, 1};
  Frames[0].N = Unit(Sub(Axis, Mul(T0, Dot(Axis, T0))));
  for (size_t i = 1; i < n; ++i)
    Frames[i].N = Transport(Path[i - 1], Path[i], Frames[i - 1].T, Frames[i - 1].N, Frames[i].T);
  if (Closed) {
    const Vec Back = Transport(Path[n - 1], Path[0], Frames[n - 1].T, Frames[n - 1].N, T0);
    const double Theta = std::atan2(Dot(Cross(Frames[0].N, Back), T0), Dot(Frames[0].N, Back));
    std::vector<double> Along(n + 1, 0.0);
    for (size_t i = 1; i <= n; ++i)
      Along[i] = Along[i - 1] + LumMathVectorDist(Path[i - 1], Path[i % n]);
    for (size_t i = 1; i < n; ++i) {
      const double A = -Theta * Along[i] / Along[n];
      TLumTubeFrame& F = Frames[i];
      F.N = Add(Mul(F.N, std::cos(A)), Mul(Cross(F.T, F.N), std::sin(A)));
    }
  }
  for (TLumTubeFrame& F : Frames) {
    F.B = Unit(Cross(F.T, F.N));
    F.N = Unit(Cross(F.B, F.T));
  }
}

// --- TLumTube ----------------------------------------------------------------------------

TLumTube::TLumTube(TComponent* AOwner) : TLumPrimitiveObj(AOwner) {}

void TLumTube::Rebuild() {
  SetInitialized(false);
  ClearCache();  // a cached object must not replay its old mesh
  Changed();
}

bool TLumTube::Valid(const TLumTubeSection& S) {
  return std::isfinite(S.Point.X) && std::isfinite(S.Point.Y) && std::isfinite(S.Point.Z) &&
         std::isfinite(S.Radius) && S.Radius >= 0;
}

TLumTubeSection TLumTube::Section(int32_t i) const {
  return i >= 0 && i < SectionCount() ? FSections[static_cast<size_t>(i)] : TLumTubeSection();
}

int32_t TLumTube::AddSection(const TLumMathVector& Point, double Radius) {
  const TLumTubeSection S{Point, Radius, 0xFFFFFF, false};
  if (!Valid(S)) return -1;
  FSections.push_back(S);
  Rebuild();
  return SectionCount() - 1;
}

int32_t TLumTube::AddSection(const TLumMathVector& Point, double Radius, uint32_t Color) {
  const TLumTubeSection S{Point, Radius, Color & 0xFFFFFF, true};
  if (!Valid(S)) return -1;
  FSections.push_back(S);
  Rebuild();
  return SectionCount() - 1;
}

void TLumTube::SetSection(int32_t i, const TLumTubeSection& Value) {
  if (i < 0 || i >= SectionCount() || !Valid(Value)) return;
  FSections[static_cast<size_t>(i)] = Value;
  FSections[static_cast<size_t>(i)].Color &= 0xFFFFFF;
  Rebuild();
}

void TLumTube::DeleteSection(int32_t i) {
  if (i < 0 || i >= SectionCount()) return;
  FSections.erase(FSections.begin() + i);
  Rebuild();
}

void TLumTube::ClearSections() {
  FSections.clear();
  Rebuild();
}

void TLumTube::SetSegments(int32_t Value) {
  FSegments = std::max(Value, 3);
  Rebuild();
}

void TLumTube::SetClosed(bool Value) {
  FClosed = Value;
  Rebuild();
}

void TLumTube::SetCaps(bool Value) {
  FCaps = Value;
  Rebuild();
}

void TLumTube::SetSmooth(bool Value) {
  FSmooth = Value;
  Rebuild();
}

void TLumTube::InitPoints() {
  // Coincident neighbours (and a last section on top of the first of a ring) add nothing.
  std::vector<TLumTubeSection> S;
  for (const TLumTubeSection& Each : FSections)
    if (S.empty() || LumMathVectorDist(S.back().Point, Each.Point) > 1e-12) S.push_back(Each);
  if (FClosed && S.size() > 2 && LumMathVectorDist(S.back().Point, S.front().Point) <= 1e-12)
    S.pop_back();
  const size_t n = S.size();
  if (n < 2) return;
  const bool Ring = FClosed && n > 2;
  std::vector<Vec> Path(n);
  for (size_t i = 0; i < n; ++i) Path[i] = S[i].Point;
  std::vector<TLumTubeFrame> F;
  LumTubeFrames(Path, Ring, F);

  const size_t Segs = Ring ? n : n - 1;
  std::vector<double> Len(Segs), Along(n + 1, 0.0);
  std::vector<Vec> D(Segs);
  for (size_t k = 0; k < Segs; ++k) {
    const Vec E = Sub(Path[(k + 1) % n], Path[k]);
    Len[k] = LumMathVectorLength(E);
    D[k] = Mul(E, 1.0 / Len[k]);
    Along[k + 1] = Along[k] + Len[k];
  }
  const double Total = Along[Segs];
  auto Slope = [&](size_t i) {  // radius change per unit length at section i
    const size_t Prev = (i + n - 1) % n, Next = (i + 1) % n;
    if (!Ring && i == 0) return (S[1].Radius - S[0].Radius) / Len[0];
    if (!Ring && i == n - 1) return (S[i].Radius - S[i - 1].Radius) / Len[i - 1];
    return (S[Next].Radius - S[Prev].Radius) / (Len[(i + Segs - 1) % Segs] + Len[i % Segs]);
  };

  TLumPrimitivePoints* P = Points();
  const TLumTextureFlags* TF = TextureFlags();
  DefineFlags(P);
  bool Colors = false;
  for (const TLumTubeSection& Each : S) Colors = Colors || Each.HasColor;
  if (Colors) {
    P->SetDefineArrays(P->DefineArrays() + TLumArrays{daColor});
    P->SetUsedArrays(P->UsedArrays() + TLumArrays{daColor});
  } else {
    TLumArrays Used = P->UsedArrays();
    Used.Exclude(daColor);
    P->SetUsedArrays(Used);
  }
  const int32_t Seg = FSegments;
  auto Put = [&](const Vec& Pos, const Vec& Nv, double Sx, double Ty, size_t Sec, bool Seam) {
    const int32_t I =
        P->Add(Pos, Nv, {Sx * TF->ScaleX() + TF->ShiftX(), Ty * TF->ScaleY() + TF->ShiftY(), 0.0});
    P->SetFlag(I, 0, Seam);
    P->SetFlag(I, 1, Seam);
    if (Colors) {
      const uint32_t C = S[Sec].HasColor ? S[Sec].Color : 0xFFFFFF;
      for (int k = 0; k < 3; ++k) P->SetValues(I, k, 3, ((C >> (8 * k)) & 0xFF) / 255.0);
      P->SetValues(I, 3, 3, 1.0);
    }
    return static_cast<uint32_t>(I);
  };
  // Where ring vertex j of section i lies: across the frame, stretched at a joint along
  // the bend so that the pieces on both sides keep their radius.
  auto Across = [&](size_t i, int32_t j) {
    const double Phi = 2 * std::numbers::pi * j / Seg;
    return Add(Mul(F[i].N, std::cos(Phi)), Mul(F[i].B, std::sin(Phi)));
  };
  auto Position = [&](size_t i, const Vec& U) {
    Vec O = Mul(U, S[i].Radius);
    if (Ring || (i > 0 && i < n - 1)) {
      const Vec& In = D[(i + Segs - 1) % Segs];
      const Vec Bend = Unit(Sub(D[i % Segs], In));
      const double Half = std::max(Dot(F[i].T, In), 0.2);  // sharper turns would explode
      if (!IsZero(Bend)) O = Add(O, Mul(Bend, Dot(O, Bend) * (1.0 / Half - 1.0)));
    }
    return Add(S[i].Point, O);
  };

  const int32_t Wall = AddPrimitiveArray(GL_QUADS);
  auto Quads = [&](uint32_t RingA, uint32_t RingB) {
    for (int32_t j = 0; j < Seg; ++j)
      for (uint32_t V : {RingA + j, RingA + j + 1, RingB + j + 1, RingB + j}) AddIndex(V, Wall);
  };
  if (FSmooth) {
    const size_t Rings = Ring ? n + 1 : n;
    std::vector<uint32_t> First(Rings);
    for (size_t r = 0; r < Rings; ++r) {
      const size_t i = r % n;
      const double Sl = Slope(i);
      for (int32_t j = 0; j <= Seg; ++j) {
        const Vec U = Across(i, j);
        const uint32_t V = Put(Position(i, U), Unit(Sub(U, Mul(F[i].T, Sl))), double(j) / Seg,
                               Along[r] / Total, i, j == 0 || j == Seg);
        if (j == 0) First[r] = V;
      }
    }
    for (size_t r = 0; r + 1 < Rings; ++r) Quads(First[r], First[r + 1]);
  } else {
    for (size_t k = 0; k < Segs; ++k) {
      const double Sl = (S[(k + 1) % n].Radius - S[k].Radius) / Len[k];
      uint32_t First[2] = {0, 0};
      for (int End = 0; End < 2; ++End) {
        const size_t i = (k + End) % n;
        for (int32_t j = 0; j <= Seg; ++j) {
          const Vec U = Across(i, j);
          const Vec Flat = Unit(Sub(U, Mul(D[k], Dot(U, D[k]))));
          const uint32_t V = Put(Position(i, U), Unit(Sub(Flat, Mul(D[k], Sl))), double(j) / Seg,
                                 Along[k + End] / Total, i, j == 0 || j == Seg);
          if (j == 0) First[End] = V;
        }
      }
      Quads(First[0], First[1]);
    }
  }
  if (FCaps && !Ring) {
    for (int End = 0; End < 2; ++End) {
      const size_t i = End == 0 ? 0 : n - 1;
      const Vec Nv = End == 0 ? Mul(F[i].T, -1.0) : F[i].T;
      const int32_t Fan = AddPrimitiveArray(GL_TRIANGLE_FAN);
      AddIndex(Put(S[i].Point, Nv, 0.5, 0.5, i, false), Fan);
      std::vector<uint32_t> Rim;
      for (int32_t j = 0; j <= Seg; ++j) {
        const double Phi = 2 * std::numbers::pi * j / Seg;
        Rim.push_back(Put(Position(i, Across(i, j)), Nv, 0.5 + 0.5 * std::cos(Phi),
                          0.5 + 0.5 * std::sin(Phi), i, false));
      }
      // The start cap faces back along the path: its rim runs the other way round.
      if (End == 0) std::reverse(Rim.begin(), Rim.end());
      for (uint32_t V : Rim) AddIndex(V, Fan);
    }
  }
}

void TLumTube::InitPrimitives() {}  // InitPoints builds the lists with the vertices

void TLumTube::Assign(TPersistent* Source) {
  if (auto* S = dynamic_cast<TLumTube*>(Source); S && S != this) {
    // The sections are a form entry of their own, not a published property.
    FSections = S->FSections;
    CopyPublished(this, S);
  }
  TLumPrimitiveObj::Assign(Source);
}

// The own values from the table; the sections follow as child elements it does not know.
void TLumTube::WriteValues(TLumExchange* Exchange) {
  Exchange->WritePublished(this, ClassInfoOf<TLumTube>());
  TLumPrimitiveObj::WriteValues(Exchange);
  for (const TLumTubeSection& S : FSections) {
    // Position and radius always: a section at the origin must not vanish as a default.
    Exchange->StartTag("Section");
    Exchange->addparam("P", Exchange->toStr(S.Point));
    Exchange->addparam("Radius", Exchange->toStr(S.Radius));
    if (S.HasColor) Exchange->addparam("Color", TLumExchange::int2hex(S.Color));
    Exchange->EndTag();
  }
}

void TLumTube::ReadValues(TLumExchange* Exchange) {
  TLumPrimitiveObj::ReadValues(Exchange);
  Exchange->ReadPublished(this, ClassInfoOf<TLumTube>());
}

TObject* TLumTube::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  if (!Tag || !SameText(Tag->Name, "Section")) return TLumPrimitiveObj::ReadComp(Exchange, Tag);
  TLumMathVector Point = ZEROVEC;
  double Radius = 1.0;
  std::string Color;
  Exchange->getvalue("P", Point);
  Exchange->getvalue("Radius", Radius);
  if (Exchange->GetParamText("Color", Color))
    AddSection(Point, Radius, TLumExchange::hex2int(Color));
  else
    AddSection(Point, Radius);
  return Exchange->ElementRead();
}

void RegisterLumtubeClasses() { RegisterRenderClass<TLumTube>(); }

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumtubeProperties() {
  TLumClassTable<TLumTube, TLumPrimitiveObj> T("TLumTube", "Lumox Obj",
                                               "A tube along a path of sections");
  T.Creatable();
  T.Integer("Segments", &TLumTube::Segments, &TLumTube::SetSegments, 12,
            "Quads around the circumference, at least 3")
      .Range(TLumRange::AtLeast(3))
      .Exchange()
      .Field(&TLumTube::FSegments);
  T.Boolean("Closed", &TLumTube::Closed, &TLumTube::SetClosed, false,
            "The path returns to its first section")
      .Exchange()
      .Field(&TLumTube::FClosed);
  T.Boolean("Caps", &TLumTube::Caps, &TLumTube::SetCaps, true, "Flat caps at an open tube's ends")
      .Exchange()
      .Field(&TLumTube::FCaps);
  T.Boolean("Smooth", &TLumTube::Smooth, &TLumTube::SetSmooth, true,
            "Normals shared across sections")
      .Exchange()
      .Field(&TLumTube::FSmooth);
  // A section per line: x, y, z, radius, and its colour ($00BBGGRR) when it has one.
  T.DefineData(
      "Sections", "The sections, x, y, z, radius each, and a colour $00BBGGRR where given",
      [](const TLumTube* X) { return X->SectionCount() > 0; },
      [](const TLumTube* X, TLumFormWriter& W) {
        W.WriteListBegin();
        for (int32_t I = 0; I < X->SectionCount(); ++I) {
          const TLumTubeSection S = X->Section(I);
          W.NewLine();
          W.WriteListBegin();
          for (double V : {S.Point.X, S.Point.Y, S.Point.Z, S.Radius}) W.WriteFloat(V);
          if (S.HasColor) {
            char Hex[16];
            std::snprintf(Hex, sizeof Hex, "$%08X", unsigned(S.Color));
            W.WriteIdent(Hex);
          }
          W.WriteListEnd();
        }
        W.WriteListEnd();
      },
      [](TLumTube* X, TLumFormReader& R) {
        std::vector<TLumTubeSection> Sections;
        R.ReadListBegin();
        while (!R.EndOfList()) {
          TLumTubeSection& S = Sections.emplace_back();
          R.ReadListBegin();
          S.Point.X = R.ReadFloat();
          S.Point.Y = R.ReadFloat();
          S.Point.Z = R.ReadFloat();
          S.Radius = R.ReadFloat();
          if (!R.EndOfList()) {
            const std::string Hex = R.ReadIdent();
            auto Res = std::from_chars(Hex.data() + std::min<size_t>(1, Hex.size()),
                                       Hex.data() + Hex.size(), S.Color, 16);
            if (Hex.size() < 2 || Hex[0] != '$' || Res.ptr != Hex.data() + Hex.size())
              R.Error("\"" + Hex + "\" is not a colour ($00BBGGRR)");
            S.HasColor = true;
          }
          R.ReadListEnd();
        }
        R.ReadListEnd();
        X->ClearSections();
        for (const TLumTubeSection& S : Sections)
          if (S.HasColor)
            X->AddSection(S.Point, S.Radius, S.Color);
          else
            X->AddSection(S.Point, S.Radius);
      });
}

}  // namespace lumox
