// The generic mesh object: building on demand, drawing with client arrays and per-list
// selection names, and the mesh operations.
#include "lumox/geometry/lumprimitiveobj.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "lumox/exchange/lumexchange.h"
#include "lumox/geometry/lumweld.h"
#include "lumox/host/graphics.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumtex.h"

namespace lumox {

TLumPrimitiveObj::TLumPrimitiveObj(TComponent* AOwner)
    : TLumObject(AOwner), FPoints(new TLumPrimitivePoints), FTextureFlags(new TLumTextureFlags) {
  // Generated texture coordinates depend on the flags: a change rebuilds the mesh.
  FTextureFlags->OnChange = [this](TObject*) {
    FInitialized = false;
    Changed();
  };
}

TLumPrimitiveObj::~TLumPrimitiveObj() {
  ClearPrimitives();
  delete FPoints;
  delete FTextureFlags;
}

bool TLumPrimitiveObj::Textured() const { return FPoints->UsedArrays().Contains(daTexture); }

void TLumPrimitiveObj::SetTextured(bool Value) {
  TLumArrays Used = FPoints->UsedArrays();
  if (Value)
    Used.Include(daTexture);
  else
    Used.Exclude(daTexture);
  const bool Change = !(Used == FPoints->UsedArrays());
  FPoints->SetUsedArrays(Used);
  for (auto* P : FPrimitives) P->SetTextured(Value);
  if (Change) Changed();
}

void TLumPrimitiveObj::SetTexture(TLumTexture* Value) {
  if (Value == FTexture) return;
  if (FTexture) FTexture->RemoveFreeNotification(this);
  FTexture = Value;
  if (FTexture) FTexture->FreeNotification(this);
  for (auto* P : FPrimitives) P->SetTexture(Value);
  Changed();
}

void TLumPrimitiveObj::SetTextureFlags(TLumTextureFlags* Value) {
  if (Value) FTextureFlags->Assign(Value);
}

void TLumPrimitiveObj::Notification(TComponent* AComponent, TOperation Operation) {
  TLumObject::Notification(AComponent, Operation);
  if (Operation != opRemove || !AComponent) return;
  if (AComponent == FTexture) FTexture = nullptr;
  // Lists may carry textures of their own (extruded walls, or set directly).
  for (auto* P : FPrimitives)
    if (P->Texture() == AComponent) P->SetTexture(nullptr);
}

// --- building -------------------------------------------------------------------------

void TLumPrimitiveObj::Init() {
  ClearAll();
  InitPoints();
  CalcTexture();
  InitPrimitives();
  FInitialized = true;
  if (OnAfterInit) OnAfterInit(this);
}

void TLumPrimitiveObj::InitPoints() {}
void TLumPrimitiveObj::InitPrimitives() {}

void TLumPrimitiveObj::ClearAll() {
  ClearPoints();
  ClearPrimitives();
}

void TLumPrimitiveObj::ClearPoints() { FPoints->SetSize(0); }

void TLumPrimitiveObj::ClearPrimitives() {
  for (auto* P : FPrimitives) delete P;
  FPrimitives.clear();
}

int32_t TLumPrimitiveObj::AddPrimitiveArray(int32_t PrimitiveType) {
  auto* P = new TLumPrimitiveArray(PrimitiveType);
  P->SetTexture(FTexture);
  P->SetTextured(Textured());
  FPrimitives.push_back(P);
  return GetPrimitiveCount() - 1;
}

void TLumPrimitiveObj::AddIndex(uint32_t Index, int32_t Primitive) {
  if (auto* P = GetPrimitive(Primitive)) P->AddIndex(Index);
}

TLumPrimitiveArray* TLumPrimitiveObj::GetPrimitive(int32_t i) const {
  return i >= 0 && i < GetPrimitiveCount() ? FPrimitives[i] : nullptr;
}

void TLumPrimitiveObj::DeletePrimitiveArray(int32_t Start, int32_t N) {
  for (int32_t i = Start + N - 1; i >= Start; --i) {
    if (i < 0 || i >= GetPrimitiveCount()) continue;
    delete FPrimitives[i];
    FPrimitives.erase(FPrimitives.begin() + i);
  }
}

void TLumPrimitiveObj::Assign(TPersistent* Source) {
  // Not the table's copy: Texture before Textured (both notify; published the other way
  // round), then the mesh, which is not a published property.
  if (auto* S = dynamic_cast<TLumPrimitiveObj*>(Source); S && S != this) {
    SetTexture(S->FTexture);
    SetTextured(S->Textured());
    FTextureFlags->Assign(S->FTextureFlags);
    ClearAll();
    FPoints->Assign(S->FPoints);
    for (auto* P : S->FPrimitives) {
      const int32_t i = AddPrimitiveArray(P->PrimitiveType());
      FPrimitives[i]->Assign(P);
    }
    FInitialized = S->FInitialized;
  }
  TLumObject::Assign(Source);
}

// --- drawing ---------------------------------------------------------------------------

void TLumPrimitiveObj::DoRender(TLumCustomView* aView) {
  if (!FInitialized) Init();
  TLumObject::DoRender(aView);
  FPoints->BeforeRender(aView);
  // A texture's upload or a naming handler can throw mid-mesh: the arrays go off on the
  // way out too, so that no later code of the frame finds them on.
  TLumArraysOffOnThrow Guard(FPoints, aView);
  const bool Naming = aView && FSelectable && IsSelectingMode(aView->DrawMode());
  // Texturing is switched off once for a run of untextured lists rather than before
  // each of them: the redundant calls would stop the driver merging the draws.
  bool TexturingOff = false;
  for (int32_t i = 0; i < GetPrimitiveCount(); ++i) {
    TLumPrimitiveArray* P = FPrimitives[i];
    if (!P->Visible()) continue;
    if (P->Textured()) {
      if (P->Texture()) P->Texture()->DoRender(aView);  // binds it
      glEnable(GL_TEXTURE_2D);
      TexturingOff = false;
    } else if (!TexturingOff) {
      glDisable(GL_TEXTURE_2D);
      TexturingOff = true;
    }
    if (Naming) {
      glPushName(static_cast<GLuint>(aView->GetNextID(this, i)));
      P->ProceedDirectRendering();
      glPopName();
    } else {
      P->ProceedDirectRendering();
    }
  }
  FPoints->AfterRender(aView);
}

// --- faces -------------------------------------------------------------------------------

namespace {

// Calls Face(vertices, n) for each face of a list, in the winding OpenGL draws it
// (strips alternate, quad strips run 0, 1, 3, 2). Lists that are not faces give none.
template <typename F>
void ForEachFace(const TLumPrimitiveArray* P, F&& Face) {
  const uint32_t* s = P->IndexData();
  const int32_t N = P->Count();
  uint32_t V[4];
  switch (P->PrimitiveType()) {
    case GL_TRIANGLES:
      for (int32_t t = 0; t + 2 < N; t += 3) {
        V[0] = s[t], V[1] = s[t + 1], V[2] = s[t + 2];
        Face(V, 3);
      }
      break;
    case GL_TRIANGLE_STRIP:
      for (int32_t k = 0; k + 2 < N; ++k) {
        V[0] = s[k % 2 ? k + 1 : k], V[1] = s[k % 2 ? k : k + 1], V[2] = s[k + 2];
        Face(V, 3);
      }
      break;
    case GL_TRIANGLE_FAN:
      for (int32_t j = 1; j + 1 < N; ++j) {
        V[0] = s[0], V[1] = s[j], V[2] = s[j + 1];
        Face(V, 3);
      }
      break;
    case GL_QUADS:
      for (int32_t q = 0; q + 3 < N; q += 4) {
        V[0] = s[q], V[1] = s[q + 1], V[2] = s[q + 2], V[3] = s[q + 3];
        Face(V, 4);
      }
      break;
    case GL_QUAD_STRIP:
      for (int32_t k = 0; 2 * k + 3 < N; ++k) {
        V[0] = s[2 * k], V[1] = s[2 * k + 1], V[2] = s[2 * k + 3], V[3] = s[2 * k + 2];
        Face(V, 4);
      }
      break;
    case GL_POLYGON:
      if (N >= 3)
        for (int32_t i = 1; i + 1 < N; ++i) {
          V[0] = s[0], V[1] = s[i], V[2] = s[i + 1];
          Face(V, 3);
        }
      break;
    default:
      break;
  }
}

bool IsFaceList(int32_t Type) {
  return Type == GL_TRIANGLES || Type == GL_TRIANGLE_STRIP || Type == GL_TRIANGLE_FAN ||
         Type == GL_QUADS || Type == GL_QUAD_STRIP || Type == GL_POLYGON;
}

TLumMathVector Sub(const TLumMathVector& A, const TLumMathVector& B) {
  return {A.X - B.X, A.Y - B.Y, A.Z - B.Z};
}
TLumMathVector Cross(const TLumMathVector& A, const TLumMathVector& B) {
  return {A.Y * B.Z - A.Z * B.Y, A.Z * B.X - A.X * B.Z, A.X * B.Y - A.Y * B.X};
}
double Dot(const TLumMathVector& A, const TLumMathVector& B) {
  return A.X * B.X + A.Y * B.Y + A.Z * B.Z;
}

}  // namespace

// --- normals and texture coordinates -----------------------------------------------------

void TLumPrimitiveObj::CalcNormals() {
  TLumArrays Defined = FPoints->DefineArrays();
  if (!Defined.Contains(daNormal)) {
    Defined.Include(daNormal);
    FPoints->SetDefineArrays(Defined);
  }
  // Without vertices there are no faces; the weld still runs, and changes nothing.
  std::vector<TLumFaceList> Lists;
  if (FPoints->IsDefined(daVertex))
    for (const auto* P : FPrimitives)
      if (P->Visible()) Lists.push_back({P->PrimitiveType(), P->IndexData(), P->Count()});
  LumSmoothNormals(FPoints->Vertices(), FPoints->Size(), FPoints->Flags(), FPoints->Count(),
                   Lists.data(), Lists.size(), tolerance, FPoints->Normals());
}

void TLumPrimitiveObj::CalcTexture() {
  TLumArrays Defined = FPoints->DefineArrays();
  if (!Defined.Contains(daTexture)) {
    Defined.Include(daTexture);
    FPoints->SetDefineArrays(Defined);
  }
  if (FTextureFlags->Mode() == txStandard) return;  // the shape's own coordinates stay
  for (int32_t i = 0; i < FPoints->Count(); ++i) CalcTexturePoint(i);
}

void TLumPrimitiveObj::CalcTexturePoint(int32_t Index) {
  if (Index < 0 || Index >= FPoints->Count()) return;
  const TLumTextureFlags& F = *FTextureFlags;
  const TLumMathVector P = FPoints->GetVector(Index, 0);
  const double ScX = F.ScaleX(), ShX = F.ShiftX(), ScY = F.ScaleY(), ShY = F.ShiftY();
  TLumMathVector T;
  switch (F.Mode()) {
    case txStandard:
      return;
    case txLinearX:
      T = {P.X * ScX + ShX, 0.0, 0.0};
      break;
    case txLinearY:
      T = {P.Y * ScX + ShX, 0.0, 0.0};
      break;
    case txLinearZ:
      T = {P.Z * ScX + ShX, 0.0, 0.0};
      break;
    case txLinearXY:
      T = {P.X * ScX + ShX, P.Y * ScY + ShY, 0.0};
      break;
    case txLinearYZ:
      T = {P.Y * ScX + ShX, P.Z * ScY + ShY, 0.0};
      break;
    case txLinearZX:
      T = {P.Z * ScX + ShX, P.X * ScY + ShY, 0.0};
      break;
    case txSphereZ:
      T = {LumMathVectorDist(P, F.ParamVector()->GetAsMathVector()) * ScX + ShX, 0.0, 0.0};
      break;
  }
  FPoints->SetVector(Index, 2, T);
}

// --- relief ------------------------------------------------------------------------------

// Wraps a rounded coordinate into 0..Extent-1, as repeated adding or subtracting would.
static int WrapInto(double V, int Extent) {
  if (!std::isfinite(V)) return 0;
  double R = std::fmod(std::nearbyint(V), static_cast<double>(Extent));
  if (R < 0) R += Extent;
  return static_cast<int>(R);
}

void TLumPrimitiveObj::SetReliefBitmap(TBitmap* Bitmap, float Height, float RepeatX,
                                       float RepeatY) {
  if (!FPoints->IsDefined(daTexture) || !FPoints->IsDefined(daVertex)) return;
  if (!Bitmap || Bitmap->Empty()) throw Exception("The relief bitmap is empty.");
  if (!FPoints->IsDefined(daNormal)) CalcNormals();
  const int32_t N = FPoints->Count();
  std::vector<int32_t> Lowest, Counts, Rep;
  LumWeldPoints(FPoints->Vertices(), FPoints->Flags(), N, 0x02, tolerance, Lowest, &Counts, &Rep);
  const int W = Bitmap->Width(), H = Bitmap->Height();
  for (int32_t v = 0; v < N; ++v) {
    const TLumMathVector T = FPoints->GetVector(v, 2);
    const int Col = WrapInto(W * T.X * RepeatX, W);
    const int Row = WrapInto(H * (1.0 - T.Y) * RepeatY, H);
    const uint32_t RGBA = Bitmap->GetRGBA(Col, Row);
    const double Grey =
        ((RGBA & 0xFF) + ((RGBA >> 8) & 0xFF) + ((RGBA >> 16) & 0xFF)) / 3.0 / 256.0;
    const double Displacement = Grey * Height / Counts[v];
    const int32_t r = Rep[v];
    const TLumMathVector Nv = FPoints->GetVector(v, 1);
    const TLumMathVector P = FPoints->GetVector(r, 0);
    FPoints->SetVector(
        r, 0, {P.X + Nv.X * Displacement, P.Y + Nv.Y * Displacement, P.Z + Nv.Z * Displacement});
  }
  for (int32_t v = 0; v < N; ++v)
    if (Counts[v] > 1) FPoints->SetVector(v, 0, FPoints->GetVector(Rep[v], 0));
}

// --- subdivision, merging, removal -------------------------------------------------------

void TLumPrimitiveObj::SplitTriangle(int32_t Primitive, int32_t Triangle) {
  TLumPrimitiveArray* P = GetPrimitive(Primitive);
  if (!P || P->PrimitiveType() != GL_TRIANGLES || Triangle < 0 || 3 * Triangle + 2 >= P->Count())
    return;
  const uint32_t V[3] = {P->Indices(3 * Triangle), P->Indices(3 * Triangle + 1),
                         P->Indices(3 * Triangle + 2)};
  uint32_t M[3];
  for (int e = 0; e < 3; ++e) {
    const int32_t a = static_cast<int32_t>(V[e]), b = static_cast<int32_t>(V[(e + 1) % 3]);
    TLumMathVector Pos, Nv, Tx;
    LumMathVectorInterpolate(FPoints->GetVector(a, 0), FPoints->GetVector(b, 0), Pos);
    LumMathVectorInterpolate(FPoints->GetVector(a, 1), FPoints->GetVector(b, 1), Nv);
    LumMathVectorInterpolate(FPoints->GetVector(a, 2), FPoints->GetVector(b, 2), Tx);
    const int32_t m = FPoints->Add(Pos, Nv, Tx);
    // The new point sits at the mean normal: meant for meshes on the unit sphere.
    FPoints->SetVector(m, 0, Nv);
    M[e] = static_cast<uint32_t>(m);
  }
  P->SetIndices(3 * Triangle + 1, M[0]);
  P->SetIndices(3 * Triangle + 2, M[2]);
  for (uint32_t i : {M[0], V[1], M[1], M[1], V[2], M[2], M[2], M[0], M[1]}) P->AddIndex(i);
}

void TLumPrimitiveObj::AddPrimitiveObj(TLumPrimitiveObj* Other) {
  if (!Other) return;
  if (!Other->FInitialized) Other->Init();
  const int32_t Offset = FPoints->Add(Other->FPoints);
  const int32_t Lists = Other->GetPrimitiveCount();  // Other may be this object
  for (int32_t i = 0; i < Lists; ++i) {
    TLumPrimitiveArray* Src = Other->FPrimitives[i];
    const int32_t j = AddPrimitiveArray(Src->PrimitiveType());
    FPrimitives[j]->Add(Other->FPrimitives[i], Offset);
  }
}

void TLumPrimitiveObj::FreePoints(int32_t Start, int32_t N) {
  if (N < 1 || Start < 0 || Start >= FPoints->Count()) return;
  const uint32_t First = static_cast<uint32_t>(Start), Last = First + static_cast<uint32_t>(N) - 1;
  for (auto* P : FPrimitives) {
    uint32_t* s = P->IndexData();
    for (int32_t i = 0; i < P->Count(); ++i) {
      if (s[i] > Last)
        s[i] -= static_cast<uint32_t>(N);
      else if (s[i] >= First)
        P->SetVisible(false);
    }
  }
  FPoints->Delete(Start, N);
}

void TLumPrimitiveObj::FreeUnusedPoints() {
  // Freeing each unused vertex from the highest down, one at a time, lowers every index
  // by the number of freed vertices below it and hides the lists naming a freed one;
  // that result is reached here in one pass.
  const int32_t N = FPoints->Count();
  std::vector<uint8_t> Used(N, 0);
  for (const auto* P : FPrimitives) {
    if (!P->Visible()) continue;
    const uint32_t* s = P->IndexData();
    for (int32_t i = 0; i < P->Count(); ++i)
      if (s[i] < static_cast<uint32_t>(N)) Used[s[i]] = 1;
  }
  std::vector<uint32_t> FreedBelow(static_cast<size_t>(N) + 1, 0);
  for (int32_t v = 0; v < N; ++v) FreedBelow[v + 1] = FreedBelow[v] + (Used[v] ? 0 : 1);
  const uint32_t Freed = FreedBelow[N];
  if (Freed == 0) return;
  for (auto* P : FPrimitives) {
    uint32_t* s = P->IndexData();
    for (int32_t i = 0; i < P->Count(); ++i) {
      const uint32_t x = s[i];
      const uint32_t Below = x < static_cast<uint32_t>(N) ? FreedBelow[x] : Freed;
      if (x < static_cast<uint32_t>(N) && !Used[x]) P->SetVisible(false);
      s[i] = x - Below;
    }
  }
  // Compact every defined array over the freed vertices, then drop the tail.
  int32_t Kept = 0;
  double* Vx = FPoints->Vertices();
  double* Nm = FPoints->Normals();
  double* Tx = FPoints->TexCoords();
  float* Cl = FPoints->Colors();
  uint8_t* Ef = FPoints->EdgeFlags();
  uint8_t* Fl = FPoints->Flags();
  for (int32_t v = 0; v < N; ++v) {
    if (!Used[v]) continue;
    if (Kept != v) {
      if (Vx) std::copy(Vx + v * 3, Vx + v * 3 + 3, Vx + Kept * 3);
      if (Nm) std::copy(Nm + v * 3, Nm + v * 3 + 3, Nm + Kept * 3);
      if (Tx) std::copy(Tx + v * 3, Tx + v * 3 + 3, Tx + Kept * 3);
      if (Cl) std::copy(Cl + v * 4, Cl + v * 4 + 4, Cl + Kept * 4);
      if (Ef) Ef[Kept] = Ef[v];
      if (Fl) Fl[Kept] = Fl[v];
    }
    ++Kept;
  }
  FPoints->Delete(Kept, N - Kept);
}

void TLumPrimitiveObj::Invert() {
  for (auto* P : FPrimitives) P->Invert();
}

int32_t TLumPrimitiveObj::getNearPoint(int32_t Primitive, const TLumMathVector& Point) const {
  const TLumPrimitiveArray* P = GetPrimitive(Primitive);
  if (!P || P->Count() == 0) return -1;
  double Best = 1.7e308;
  int32_t Result = -1;
  for (int32_t i = 0; i < P->Count(); ++i) {
    const int32_t v = static_cast<int32_t>(P->Indices(i));
    const double D = LumMathVectorDist(FPoints->GetVector(v, 0), Point);
    if (D < Best) {
      Best = D;
      Result = v;
    }
  }
  return Result;
}

int32_t TLumPrimitiveObj::GetOpenEdges(TLumEdgeArray& Edges) const {
  Edges.clear();
  struct Use {
    TLumEdge First;
    int32_t Count;
  };
  std::unordered_map<uint64_t, size_t> Where;
  std::vector<Use> Uses;
  for (const auto* P : FPrimitives) {
    if (!P->Visible() || !IsFaceList(P->PrimitiveType())) continue;
    ForEachFace(P, [&](const uint32_t* V, int n) {
      for (int k = 0; k < n; ++k) {
        const uint32_t a = V[k], b = V[(k + 1) % n];
        if (a == b) continue;
        const uint64_t Key = (static_cast<uint64_t>(std::min(a, b)) << 32) | std::max(a, b);
        auto [It, New] = Where.try_emplace(Key, Uses.size());
        if (New)
          Uses.push_back({{static_cast<int32_t>(a), static_cast<int32_t>(b)}, 1});
        else
          ++Uses[It->second].Count;
      }
    });
  }
  for (const auto& U : Uses)
    if (U.Count == 1) Edges.push_back(U.First);
  return static_cast<int32_t>(Edges.size());
}

// --- extrusion ---------------------------------------------------------------------------

void TLumPrimitiveObj::Extrude(double Depth, int32_t Steps, bool Closed) {
  ExtrudePrimitiveObj(Depth, Steps, Closed, false, false, ZEROVEC, nullptr);
}
void TLumPrimitiveObj::Extrude(double Depth, int32_t Steps, bool Closed, TLumTexture* Texture) {
  ExtrudePrimitiveObj(Depth, Steps, Closed, true, false, ZEROVEC, Texture);
}
void TLumPrimitiveObj::ExtrudeByVec(const TLumMathVector& Vector, int32_t Steps, bool Closed) {
  ExtrudePrimitiveObj(0.0, Steps, Closed, false, true, Vector, nullptr);
}
void TLumPrimitiveObj::ExtrudeByVec(const TLumMathVector& Vector, int32_t Steps, bool Closed,
                                    TLumTexture* Texture) {
  ExtrudePrimitiveObj(0.0, Steps, Closed, true, true, Vector, Texture);
}

// The sheet (the visible face lists) is swept in Steps equal layers. Layer s holds a copy
// of every boundary vertex moved by s/Steps of its offset (normal * Depth, or Vector);
// with Closed, the last layer holds a copy of every vertex of the sheet, and a copy of
// each face list over it forms the far cap. Each open edge a->b, in the direction its
// face runs it, gets one quad per step (a_s-1, b_s-1, b_s, a_s) in that step's GL_QUADS
// list: for a sweep towards the sheet's front this faces outwards, and the sheet itself,
// now the near cap, is inverted to face away from the solid. When the sweep goes towards
// the back (the face-area-weighted offsets point against the face normals) the whole
// result faces inwards and is inverted once more. Vertices no visible list uses are then
// freed and the normals recomputed, so an open sheet becomes a closed, consistently
// facing solid. Wall vertices carry the sheet's (s, t) and the layer fraction as r.
void TLumPrimitiveObj::ExtrudePrimitiveObj(double Depth, int32_t Steps, bool Closed,
                                           bool UseTexture, bool ByVector,
                                           const TLumMathVector& Vector, TLumTexture* Texture) {
  if (Steps < 1) throw Exception("Extrusion needs at least one step.");
  if (!FInitialized) Init();
  if (!FPoints->IsDefined(daVertex)) return;
  if (!ByVector && !FPoints->IsDefined(daNormal)) CalcNormals();

  std::vector<int32_t> Sheet;  // the face lists being swept
  for (int32_t i = 0; i < GetPrimitiveCount(); ++i)
    if (FPrimitives[i]->Visible() && IsFaceList(FPrimitives[i]->PrimitiveType()) &&
        FPrimitives[i]->Count() > 0)
      Sheet.push_back(i);
  if (Sheet.empty()) return;

  const int32_t N = FPoints->Count();
  auto Offset = [&](uint32_t v) -> TLumMathVector {
    if (ByVector) return Vector;
    const TLumMathVector Nv = FPoints->GetVector(static_cast<int32_t>(v), 1);
    return {Nv.X * Depth, Nv.Y * Depth, Nv.Z * Depth};
  };
  for (int32_t i : Sheet) {
    const uint32_t* s = FPrimitives[i]->IndexData();
    for (int32_t k = 0; k < FPrimitives[i]->Count(); ++k)
      if (s[k] >= static_cast<uint32_t>(N))
        throw Exception("An index list names a vertex that does not exist.");
  }

  // Which way the sweep goes relative to the faces.
  double Facing = 0.0;
  for (int32_t i : Sheet)
    ForEachFace(FPrimitives[i], [&](const uint32_t* V, int n) {
      TLumMathVector Area{}, Mean{};
      const TLumMathVector P0 = FPoints->GetVector(V[0], 0);
      for (int k = 1; k + 1 < n; ++k) {
        const TLumMathVector C =
            Cross(Sub(FPoints->GetVector(V[k], 0), P0), Sub(FPoints->GetVector(V[k + 1], 0), P0));
        Area = {Area.X + C.X, Area.Y + C.Y, Area.Z + C.Z};
      }
      for (int k = 0; k < n; ++k) {
        const TLumMathVector O = Offset(V[k]);
        Mean = {Mean.X + O.X, Mean.Y + O.Y, Mean.Z + O.Z};
      }
      Facing += Dot(Area, Mean);
    });

  TLumEdgeArray Edges;
  GetOpenEdges(Edges);
  std::vector<uint8_t> OnBoundary(N, 0);
  for (const auto& E : Edges) OnBoundary[E.A] = OnBoundary[E.B] = 1;

  // Layer[s][v]: the number of vertex v's copy in layer s (layer 0 is the sheet).
  std::vector<std::vector<int32_t>> Layer(Steps + 1, std::vector<int32_t>(N, -1));
  for (int32_t v = 0; v < N; ++v) Layer[0][v] = v;
  std::vector<uint8_t> InSheet(N, 0);
  for (int32_t i : Sheet)
    for (int32_t k = 0; k < FPrimitives[i]->Count(); ++k) InSheet[FPrimitives[i]->Indices(k)] = 1;
  for (int32_t s = 1; s <= Steps; ++s) {
    const double f = static_cast<double>(s) / Steps;
    for (int32_t v = 0; v < N; ++v) {
      if (!OnBoundary[v] && !(Closed && s == Steps && InSheet[v])) continue;
      const TLumMathVector P = FPoints->GetVector(v, 0), O = Offset(static_cast<uint32_t>(v));
      const TLumMathVector T = FPoints->GetVector(v, 2);
      Layer[s][v] = FPoints->Add({P.X + O.X * f, P.Y + O.Y * f, P.Z + O.Z * f},
                                 FPoints->GetVector(v, 1), {T.X, T.Y, f});
    }
  }

  std::vector<int32_t> Added;
  for (int32_t s = 1; s <= Steps; ++s) {
    const int32_t w = AddPrimitiveArray(GL_QUADS);
    Added.push_back(w);
    TLumPrimitiveArray* Wall = FPrimitives[w];
    for (const auto& E : Edges)
      for (int32_t v : {Layer[s - 1][E.A], Layer[s - 1][E.B], Layer[s][E.B], Layer[s][E.A]})
        Wall->AddIndex(static_cast<uint32_t>(v));
    if (UseTexture) {
      if (Texture) Texture->FreeNotification(this);
      Wall->SetTexture(Texture);
      Wall->SetTextured(true);
    }
  }
  if (Closed)
    for (int32_t i : Sheet) {
      const int32_t c = AddPrimitiveArray(FPrimitives[i]->PrimitiveType());
      Added.push_back(c);
      TLumPrimitiveArray* Cap = FPrimitives[c];
      for (int32_t k = 0; k < FPrimitives[i]->Count(); ++k)
        Cap->AddIndex(static_cast<uint32_t>(Layer[Steps][FPrimitives[i]->Indices(k)]));
    }
  for (int32_t i : Sheet) FPrimitives[i]->Invert();
  if (Facing < 0) {
    for (int32_t i : Sheet) FPrimitives[i]->Invert();
    for (int32_t i : Added) FPrimitives[i]->Invert();
  }
  if (UseTexture) {
    TLumArrays Used = FPoints->UsedArrays();
    Used.Include(daTexture);
    FPoints->SetUsedArrays(Used);
  }
  FreeUnusedPoints();
  CalcNormals();
  FInitialized = true;
  Changed();
}

// --- exchange ----------------------------------------------------------------------------

void TLumPrimitiveObj::WriteValues(TLumExchange* Exchange) {
  // Deliberately calls the inherited writer before the texture flags: without it a saved
  // shape would lose its name, colour and transformation on the way through a file.
  TLumObject::WriteValues(Exchange);
  Exchange->WritePublished(this, ClassInfoOf<TLumPrimitiveObj>());  // the texture flags
}

TObject* TLumPrimitiveObj::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  if (TObject* Flags = Exchange->ReadPublishedChild(this, ClassInfoOf<TLumPrimitiveObj>(), Tag))
    return Flags;  // the texture flags
  return TLumObject::ReadComp(Exchange, Tag);
}

// --- the published-property table ------------------------------------------------------

namespace detail {
// Called once from the package's registration (package/lumregister.cpp).
void RegisterLumprimitiveobjProperties();
}  // namespace detail

void detail::RegisterLumprimitiveobjProperties() {
  TLumClassTable<TLumPrimitiveObj, TLumObject> T("TLumPrimitiveObj", "",
                                                 "A mesh of a vertex block and index lists");
  T.Component("View", &TLumRender::View, &TLumRender::SetView, false,
              "The view whose GL context holds the display list");
  T.Boolean("Textured", &TLumPrimitiveObj::Textured, &TLumPrimitiveObj::SetTextured,
            NoStoredDefault, "Hands texture coordinates to GL");
  T.Component("Texture", &TLumPrimitiveObj::Texture, &TLumPrimitiveObj::SetTexture, false,
              "The texture of the index lists (referenced, not owned)");
  T.Object("TextureFlags", &TLumPrimitiveObj::TextureFlags, &TLumPrimitiveObj::SetTextureFlags,
           "How texture coordinates are made")
      .Exchange();
  T.Event("OnAfterInit", "TNotifyEvent", &TLumPrimitiveObj::OnAfterInit,
          "Raised after each build of the mesh");
}

}  // namespace lumox
