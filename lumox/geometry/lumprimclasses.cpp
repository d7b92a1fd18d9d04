// Vertex blocks, index lists and their conversions, single vertices, texture flags, and
// the welding of coincident vertices through a spatial hash.
#include "lumox/geometry/lumprimclasses.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumcomp.h"

namespace lumox {

int64_t MeshMul(int64_t A, int64_t B) {
  int64_t R;
  if (__builtin_mul_overflow(A, B, &R)) return INT64_MAX;
  return R;
}

namespace {
std::atomic<int64_t> MeshLimit{DefaultMaxMeshCount};
}

int64_t MaxMeshCount() { return MeshLimit.load(std::memory_order_relaxed); }

void SetMaxMeshCount(int64_t Count) {
  MeshLimit.store(std::clamp<int64_t>(Count, 0, INT32_MAX), std::memory_order_relaxed);
}

int32_t MeshCount(const TObject* Obj, int64_t Count, const char* What) {
  const int64_t Limit = MaxMeshCount();
  if (Count >= 0 && Count <= Limit) return static_cast<int32_t>(Count);
  std::string Who = Obj ? Obj->ClassName() : "mesh";
  if (auto* C = dynamic_cast<const TComponent*>(Obj); C && !C->Name().empty())
    Who += " \"" + C->Name() + "\"";
  throw Exception(Who + ": a mesh of " + std::to_string(Count) + " " + What +
                  " is larger than the limit of " + std::to_string(Limit) + ".");
}

const char* const TLumArrayStr[6] = {"daVertex", "daNormal",   "daTexture",
                                     "daColor",  "daEdgeFlag", "daFlag"};

// --- TLumPointItem ----------------------------------------------------------------------

TLumPointItem::TLumPointItem()
    : FPoint(new TLumVector),
      FNormal(new TLumNormal),
      FTexture(new TLumVector),
      FColor(new TLumColor) {}

TLumPointItem::~TLumPointItem() {
  delete FPoint;
  delete FNormal;
  delete FTexture;
  delete FColor;
}

void TLumPointItem::SetPoint(TLumVector* Value) {
  if (Value) FPoint->Assign(Value);
}
void TLumPointItem::SetNormal(TLumNormal* Value) {
  if (Value) FNormal->Assign(Value);
}
void TLumPointItem::SetTexture(TLumVector* Value) {
  if (Value) FTexture->Assign(Value);
}
void TLumPointItem::SetColor(TLumColor* Value) {
  if (Value) {
    // The colour's Assign takes over the source's hook; keep ours.
    TNotifyEvent Hook = FColor->OnChange;
    FColor->Assign(Value);
    FColor->OnChange = Hook;
  }
}

void TLumPointItem::WriteValues(TLumExchange* Exchange) {
  Exchange->addtag("P", FPoint->GetAsMathVector(), ZEROVEC);
  Exchange->addtag("T", FTexture->GetAsMathVector(), ZEROVEC);
  Exchange->addtag("N", FNormal->GetAsMathVector(), ZEROVEC);
  Exchange->addtag("E", FEdgeFlag, true);
  Exchange->addtag("F", FFlag, 0);
  FColor->WriteValues(Exchange);
  TLumProperty::WriteValues(Exchange);
}

void TLumPointItem::ReadValues(TLumExchange* Exchange) {
  TLumMathVector V = FPoint->GetAsMathVector();
  Exchange->getvalue("P", V);
  FPoint->SetAsMathVector(V);
  V = FTexture->GetAsMathVector();
  Exchange->getvalue("T", V);
  FTexture->SetAsMathVector(V);
  V = FNormal->GetAsMathVector();
  Exchange->getvalue("N", V);
  FNormal->SetAsMathVector(V);
  Exchange->getvalue("E", FEdgeFlag);
  Exchange->getvalue("F", FFlag);
  FColor->ReadValues(Exchange);
  TLumProperty::ReadValues(Exchange);
}

// --- TLumPrimitivePoints ------------------------------------------------------------------

TLumPrimitivePoints::~TLumPrimitivePoints() { SetSize(0); }

void TLumPrimitivePoints::SetSize(int32_t n) {
  if (n < 0) return;
  const size_t N = static_cast<size_t>(n);
  // std::vector::resize grows the capacity geometrically, so the 12-at-a-time rule
  // of Size costs amortized constant time per vertex. New flag bytes are zero.
  auto Fit = [N](auto& V, size_t PerVertex) {
    V.resize(N * PerVertex);
    if (N == 0) V.shrink_to_fit();
  };
  if (IsDefined(daVertex)) Fit(FVertices, 3);
  if (IsDefined(daNormal)) Fit(FNormals, 3);
  if (IsDefined(daTexture)) Fit(FTexCoords, 3);
  if (IsDefined(daColor)) Fit(FColors, 4);
  if (IsDefined(daEdgeFlag)) Fit(FEdgeFlags, 1);
  if (IsDefined(daFlag)) Fit(FFlags, 1);
  if (n == 0) {
    // Releasing everything, arrays no longer defined included.
    for (auto* V : {&FVertices, &FNormals, &FTexCoords}) {
      V->clear();
      V->shrink_to_fit();
    }
    FColors.clear();
    FColors.shrink_to_fit();
    FEdgeFlags.clear();
    FEdgeFlags.shrink_to_fit();
    FFlags.clear();
    FFlags.shrink_to_fit();
  }
  FSize = n;
  FCount = std::min(FCount, n);
}

void TLumPrimitivePoints::SetCount(int32_t n) {
  if (n < 0) return;
  SetSize(n);
  FCount = n;
}

void TLumPrimitivePoints::SetDefineArrays(TLumArrays Value) {
  FDefineArrays = Value;
  SetSize(FSize);
}

void TLumPrimitivePoints::Grow() {
  if (FSize - 1 < FCount) SetSize(FSize + 12);
}

int32_t TLumPrimitivePoints::Add(double x, double y, double z) {
  Grow();
  if (!IsDefined(daVertex)) return -1;
  double* P = &FVertices[static_cast<size_t>(FCount) * 3];
  P[0] = x;
  P[1] = y;
  P[2] = z;
  return FCount++;
}

static void Put3(std::vector<double>& A, int32_t Index, const TLumMathVector& V) {
  double* P = &A[static_cast<size_t>(Index) * 3];
  P[0] = V.X;
  P[1] = V.Y;
  P[2] = V.Z;
}

static TLumMathVector Get3(const std::vector<double>& A, int32_t Index) {
  const double* P = &A[static_cast<size_t>(Index) * 3];
  return {P[0], P[1], P[2]};
}

int32_t TLumPrimitivePoints::Add(const TLumMathVector& Vertex, const TLumMathVector& Normal,
                                 const TLumMathVector& Texture) {
  Grow();
  if (IsDefined(daVertex)) Put3(FVertices, FCount, Vertex);
  if (IsDefined(daNormal)) Put3(FNormals, FCount, Normal);
  if (IsDefined(daTexture)) Put3(FTexCoords, FCount, Texture);
  return FCount++;
}

int32_t TLumPrimitivePoints::Add(TLumPointItem* Item) {
  if (!Item) return -1;
  Grow();
  SetPoint(FCount, Item);
  return FCount++;
}

int32_t TLumPrimitivePoints::Add(TLumPrimitivePoints* Other) {
  const int32_t First = FCount;
  if (!Other) return First;
  const TLumArrays Both = FDefineArrays * Other->FDefineArrays;
  const int32_t N = Other->FCount;  // Other may be this block
  for (int32_t i = 0; i < N; ++i) {
    Grow();
    if (Both.Contains(daVertex)) Put3(FVertices, FCount, Get3(Other->FVertices, i));
    if (Both.Contains(daNormal)) Put3(FNormals, FCount, Get3(Other->FNormals, i));
    if (Both.Contains(daTexture)) Put3(FTexCoords, FCount, Get3(Other->FTexCoords, i));
    if (Both.Contains(daColor))
      std::memcpy(&FColors[static_cast<size_t>(FCount) * 4],
                  &Other->FColors[static_cast<size_t>(i) * 4], 4 * sizeof(float));
    if (Both.Contains(daEdgeFlag)) FEdgeFlags[FCount] = Other->FEdgeFlags[i];
    ++FCount;
  }
  return First;
}

void TLumPrimitivePoints::Delete(int32_t Start, int32_t N) {
  if (Start < 0 || Start >= FCount || N <= 0) return;
  N = std::min(N, FCount - Start);
  auto Shift = [&](auto& V, size_t PerVertex) {
    auto Begin = V.begin() + static_cast<ptrdiff_t>(Start * PerVertex);
    std::copy(Begin + static_cast<ptrdiff_t>(N * PerVertex),
              V.begin() + static_cast<ptrdiff_t>(FCount * PerVertex), Begin);
  };
  if (IsDefined(daVertex)) Shift(FVertices, 3);
  if (IsDefined(daNormal)) Shift(FNormals, 3);
  if (IsDefined(daTexture)) Shift(FTexCoords, 3);
  if (IsDefined(daColor)) Shift(FColors, 4);
  if (IsDefined(daEdgeFlag)) Shift(FEdgeFlags, 1);
  if (IsDefined(daFlag)) Shift(FFlags, 1);
  FCount -= N;
}

double TLumPrimitivePoints::GetValues(int32_t Index, int32_t Component, int32_t Kind) const {
  if (!InSize(Index) || Component < 0) return 0.0;
  const size_t I = static_cast<size_t>(Index);
  switch (Kind) {
    case 0:
      return IsDefined(daVertex) && Component < 3 ? FVertices[I * 3 + Component] : 0.0;
    case 1:
      return IsDefined(daNormal) && Component < 3 ? FNormals[I * 3 + Component] : 0.0;
    case 2:
      return IsDefined(daTexture) && Component < 3 ? FTexCoords[I * 3 + Component] : 0.0;
    case 3:
      return IsDefined(daColor) && Component < 4 ? FColors[I * 4 + Component] : 0.0;
    default:
      return 0.0;
  }
}

void TLumPrimitivePoints::SetValues(int32_t Index, int32_t Component, int32_t Kind, double Value) {
  if (!InSize(Index) || Component < 0) return;
  const size_t I = static_cast<size_t>(Index);
  switch (Kind) {
    case 0:
      if (IsDefined(daVertex) && Component < 3) FVertices[I * 3 + Component] = Value;
      break;
    case 1:
      if (IsDefined(daNormal) && Component < 3) FNormals[I * 3 + Component] = Value;
      break;
    case 2:
      if (IsDefined(daTexture) && Component < 3) FTexCoords[I * 3 + Component] = Value;
      break;
    case 3:
      if (IsDefined(daColor) && Component < 4)
        FColors[I * 4 + Component] = static_cast<float>(Value);
      break;
    default:
      break;
  }
}

TLumMathVector TLumPrimitivePoints::GetVector(int32_t Index, int32_t Kind) const {
  if (!InSize(Index)) return ZEROVEC;
  if (Kind == 0 && IsDefined(daVertex)) return Get3(FVertices, Index);
  if (Kind == 1 && IsDefined(daNormal)) return Get3(FNormals, Index);
  if (Kind == 2 && IsDefined(daTexture)) return Get3(FTexCoords, Index);
  return ZEROVEC;
}

void TLumPrimitivePoints::SetVector(int32_t Index, int32_t Kind, const TLumMathVector& Vector) {
  if (!InSize(Index)) return;
  if (Kind == 0 && IsDefined(daVertex)) Put3(FVertices, Index, Vector);
  if (Kind == 1 && IsDefined(daNormal)) Put3(FNormals, Index, Vector);
  if (Kind == 2 && IsDefined(daTexture)) Put3(FTexCoords, Index, Vector);
}

void TLumPrimitivePoints::GetPoint(int32_t Index, TLumPointItem* Item) const {
  if (!Item || !InSize(Index)) return;
  Item->Point()->SetAsMathVector(GetVector(Index, 0));
  Item->Normal()->SetAsMathVector(GetVector(Index, 1));
  Item->Texture()->SetAsMathVector(GetVector(Index, 2));
  if (IsDefined(daColor)) {
    const float* C = &FColors[static_cast<size_t>(Index) * 4];
    auto Byte = [](float F) {
      return static_cast<uint32_t>(std::lround(std::clamp(F, 0.0f, 1.0f) * 255.0f));
    };
    Item->Color()->SetColor(Byte(C[0]) | Byte(C[1]) << 8 | Byte(C[2]) << 16);
    Item->Color()->SetAlpha(C[3]);
  }
  if (IsDefined(daEdgeFlag)) Item->SetEdgeFlag(FEdgeFlags[Index] != 0);
  if (IsDefined(daFlag)) Item->SetFlag(FFlags[Index]);
}

void TLumPrimitivePoints::SetPoint(int32_t Index, TLumPointItem* Item) {
  if (!Item || !InSize(Index)) return;
  if (IsDefined(daVertex)) Put3(FVertices, Index, Item->Point()->GetAsMathVector());
  if (IsDefined(daNormal)) Put3(FNormals, Index, Item->Normal()->GetAsMathVector());
  if (IsDefined(daTexture)) Put3(FTexCoords, Index, Item->Texture()->GetAsMathVector());
  if (IsDefined(daColor)) {
    float Params[4];
    Item->Color()->GetParams(Params);
    std::memcpy(&FColors[static_cast<size_t>(Index) * 4], Params, sizeof Params);
  }
  if (IsDefined(daEdgeFlag)) FEdgeFlags[Index] = Item->EdgeFlag() ? 255 : 0;
  if (IsDefined(daFlag)) FFlags[Index] = static_cast<uint8_t>(Item->Flag() & 0xFF);
}

uint8_t TLumPrimitivePoints::GetEdgeFlag(int32_t Index) const {
  if (!IsDefined(daEdgeFlag) || Index < 0 || Index >= FCount) return 0xFF;
  return FEdgeFlags[Index];
}

void TLumPrimitivePoints::SetEdgeFlag(int32_t Index, uint8_t Value) {
  if (IsDefined(daEdgeFlag) && InSize(Index)) FEdgeFlags[Index] = Value;
}

bool TLumPrimitivePoints::GetFlag(int32_t Index, int32_t Bit) const {
  if (!IsDefined(daFlag) || !InSize(Index)) return false;
  const int32_t B = ((Bit % 32) + 32) % 32;
  return B < 8 && ((FFlags[Index] >> B) & 1) != 0;
}

void TLumPrimitivePoints::SetFlag(int32_t Index, int32_t Bit, bool Value) {
  if (!IsDefined(daFlag) || !InSize(Index)) return;
  const int32_t B = ((Bit % 32) + 32) % 32;
  if (B >= 8) return;
  if (Value)
    FFlags[Index] |= static_cast<uint8_t>(1u << B);
  else
    FFlags[Index] &= static_cast<uint8_t>(~(1u << B));
}

void TLumPrimitivePoints::LiftPoint(int32_t Index, double Distance) {
  // Deliberately conditioned on the texture array as well as the normals: callers
  // lift only textured (relief) meshes.
  if (!IsDefined(daTexture) || !IsDefined(daNormal) || !IsDefined(daVertex) || !InSize(Index))
    return;
  for (int k = 0; k < 3; ++k) FVertices[Index * 3 + k] += FNormals[Index * 3 + k] * Distance;
}

void TLumPrimitivePoints::MovePoints(double dx, double dy, double dz) {
  if (!IsDefined(daVertex)) return;
  for (int32_t i = 0; i < FCount; ++i) {
    FVertices[i * 3] += dx;
    FVertices[i * 3 + 1] += dy;
    FVertices[i * 3 + 2] += dz;
  }
}

void TLumPrimitivePoints::ScalePoints(double sx, double sy, double sz) {
  if (!IsDefined(daVertex)) return;
  for (int32_t i = 0; i < FCount; ++i) {
    FVertices[i * 3] *= sx;
    FVertices[i * 3 + 1] *= sy;
    FVertices[i * 3 + 2] *= sz;
  }
}

void TLumPrimitivePoints::Assign(TPersistent* Source) {
  auto* S = dynamic_cast<TLumPrimitivePoints*>(Source);
  if (!S) {
    TLumProperty::Assign(Source);
    return;
  }
  if (S == this) return;
  FDefineArrays = S->FDefineArrays;
  FUsedArrays = S->FUsedArrays;
  SetSize(S->FSize);
  // Count is deliberately not reset: vertices kept by the new Size stay in front.
  TLumPointItem Item;
  for (int32_t i = 0; i < S->FCount; ++i) {
    S->GetPoint(i, &Item);
    Add(&Item);
  }
}

void TLumPrimitivePoints::BeforeRender(TLumCustomView*) {
  auto Used = [this](TLumArray Kind) {
    return FUsedArrays.Contains(Kind) && FDefineArrays.Contains(Kind) && FSize > 0;
  };
  if (Used(daNormal)) {
    glEnableClientState(GL_NORMAL_ARRAY);
    glNormalPointer(GL_DOUBLE, 0, FNormals.data());
  }
  if (Used(daTexture)) {
    glEnable(GL_TEXTURE_2D);
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    glTexCoordPointer(3, GL_DOUBLE, 0, FTexCoords.data());
  } else {
    glDisable(GL_TEXTURE_2D);
  }
  if (Used(daColor)) {
    glEnableClientState(GL_COLOR_ARRAY);
    glColorPointer(4, GL_FLOAT, 0, FColors.data());
  }
  if (Used(daEdgeFlag)) {
    glEnableClientState(GL_EDGE_FLAG_ARRAY);
    glEdgeFlagPointer(0, FEdgeFlags.data());
  }
  if (Used(daVertex)) {
    glEnableClientState(GL_VERTEX_ARRAY);
    glVertexPointer(3, GL_DOUBLE, 0, FVertices.data());
  }
}

void TLumPrimitivePoints::AfterRender(TLumCustomView*) {
  // All five, whatever was enabled: nothing after a mesh finds an array of it on.
  glDisableClientState(GL_NORMAL_ARRAY);
  glDisableClientState(GL_TEXTURE_COORD_ARRAY);
  glDisableClientState(GL_COLOR_ARRAY);
  glDisableClientState(GL_EDGE_FLAG_ARRAY);
  glDisableClientState(GL_VERTEX_ARRAY);
  glEdgeFlag(GL_TRUE);
}

// --- TLumPrimitiveArray -------------------------------------------------------------------

TLumPrimitiveArray::TLumPrimitiveArray(int32_t PrimitiveType) : FPrimitiveType(PrimitiveType) {}

TLumPrimitiveArray::~TLumPrimitiveArray() { SetSize(0); }

void TLumPrimitiveArray::SetSize(int32_t n) {
  if (n < 0) return;
  FIndices.resize(static_cast<size_t>(n));
  if (n == 0) FIndices.shrink_to_fit();
  FSize = n;
  FCount = std::min(FCount, n);
}

void TLumPrimitiveArray::SetCount(int32_t n) {
  if (n < 0) return;
  SetSize(n);
  FCount = n;
}

uint32_t TLumPrimitiveArray::Indices(int32_t i) const {
  return i >= 0 && i < FSize ? FIndices[i] : 0;
}

void TLumPrimitiveArray::SetIndices(int32_t i, uint32_t Value) {
  if (i >= 0 && i < FSize) FIndices[i] = Value;
}

void TLumPrimitiveArray::Grow() {
  if (FSize - 1 < FCount) SetSize(FSize + 12);
}

void TLumPrimitiveArray::AddIndex(uint32_t i) {
  Grow();
  FIndices[FCount++] = i;
}

void TLumPrimitiveArray::Insert(int32_t Position, uint32_t i) {
  Position = std::clamp(Position, 0, FCount);
  Grow();
  // Deliberately no shift: inside the list the old entry is overwritten and the list
  // gains an undefined last entry; callers insert at the end only.
  FIndices[Position] = i;
  ++FCount;
}

void TLumPrimitiveArray::Delete(int32_t Start, int32_t N) {
  if (Start < 0) {
    N += Start;
    Start = 0;
  }
  N = std::min(N, FCount - Start);
  if (N <= 0) return;
  std::copy(FIndices.begin() + Start + N, FIndices.begin() + FCount, FIndices.begin() + Start);
  FCount -= N;
}

void TLumPrimitiveArray::Add(TLumPrimitiveArray* Other, int32_t Offset) {
  if (!Other || Other->FPrimitiveType != FPrimitiveType) return;
  const int32_t N = Other->FCount;  // Other may be this list
  for (int32_t i = 0; i < N; ++i) AddIndex(Other->FIndices[i] + static_cast<uint32_t>(Offset));
}

void TLumPrimitiveArray::Assign(TPersistent* Source) {
  auto* S = dynamic_cast<TLumPrimitiveArray*>(Source);
  if (!S) {
    TLumProperty::Assign(Source);
    return;
  }
  if (S == this) return;
  SetSize(S->FSize);
  std::copy(S->FIndices.begin(), S->FIndices.begin() + S->FSize, FIndices.begin());
  FCount = S->FCount;
  FPrimitiveType = S->FPrimitiveType;
  FVisible = S->FVisible;
  FTexture = S->FTexture;
}

void TLumPrimitiveArray::SetType(int32_t NewType) {
  if (NewType == FPrimitiveType || FCount < 1) {
    FPrimitiveType = NewType;
    return;
  }
  auto In = [](int32_t T, std::initializer_list<int32_t> Set) {
    return std::find(Set.begin(), Set.end(), T) != Set.end();
  };
  const int32_t Old = FPrimitiveType;
  if (In(NewType, {GL_LINE_LOOP, GL_LINE_STRIP, GL_POLYGON}) &&
      In(Old, {GL_LINE_LOOP, GL_LINE_STRIP, GL_POLYGON})) {
    FPrimitiveType = NewType;
  } else if (In(NewType, {GL_TRIANGLE_STRIP, GL_QUAD_STRIP}) &&
             In(Old, {GL_TRIANGLE_STRIP, GL_QUAD_STRIP})) {
    FPrimitiveType = NewType;
  } else if (NewType == GL_TRIANGLES &&
             In(Old, {GL_TRIANGLE_STRIP, GL_TRIANGLE_FAN, GL_QUADS, GL_QUAD_STRIP})) {
    SwitchToTriangles();
  } else if (NewType == GL_QUADS && In(Old, {GL_TRIANGLE_STRIP, GL_QUAD_STRIP})) {
    SwitchToQuads();
  }
}

void TLumPrimitiveArray::SwitchToTriangles() {
  if ((FPrimitiveType == GL_TRIANGLE_STRIP || FPrimitiveType == GL_QUAD_STRIP) && FCount >= 3) {
    if (FPrimitiveType == GL_QUAD_STRIP && FCount % 2 == 1) --FCount;
    const int32_t N = FCount;
    // A three-entry quad strip keeps two entries: no triangle, an empty list.
    if (N >= 2) {
      const int32_t NewCount = (N - 2) * 3;
      SetSize(std::max(NewCount, FSize));
      // Rebuilt from the end: triangle k reads entries k..k+2 and writes 3k..3k+2, which
      // never lies below an entry still to be read.
      for (int32_t k = N - 3; k >= 0; --k) {
        const uint32_t a = FIndices[k], b = FIndices[k + 1], c = FIndices[k + 2];
        if (k % 2 == 0) {
          FIndices[3 * k] = a;
          FIndices[3 * k + 1] = b;
        } else {
          FIndices[3 * k] = b;
          FIndices[3 * k + 1] = a;
        }
        FIndices[3 * k + 2] = c;
      }
      SetSize(NewCount);
      FCount = NewCount;
      FPrimitiveType = GL_TRIANGLES;
    }
  }
  if (FPrimitiveType == GL_QUADS && FCount >= 4) {
    // A count that is no multiple of 4 is deliberately brought to an even one only,
    // not to a multiple of 4; the half quad left over is handled below.
    if (FCount % 4 != 0) FCount = FCount / 2 * 2;
    const int32_t N = FCount;
    const int32_t NewCount = N * 3 / 2;
    SetSize(std::max(NewCount, FSize));
    if (N % 4 == 2) {
      // Deliberately not the undefined entries a plain rebuild would read: a trailing
      // half quad (a, b) fills the one triangle its share of the new count leaves, as the
      // degenerate (a, b, b), which draws nothing and names no vertex the list did not
      // name. It goes first, before the whole quads below overwrite its entries.
      const int32_t q = N / 4;
      const uint32_t a = FIndices[4 * q], b = FIndices[4 * q + 1];
      FIndices[6 * q] = a;
      FIndices[6 * q + 1] = b;
      FIndices[6 * q + 2] = b;
    }
    for (int32_t q = N / 4 - 1; q >= 0; --q) {
      const uint32_t a = FIndices[4 * q], b = FIndices[4 * q + 1], c = FIndices[4 * q + 2],
                     d = FIndices[4 * q + 3];
      uint32_t* T = &FIndices[6 * q];
      T[0] = a, T[1] = b, T[2] = d, T[3] = b, T[4] = c, T[5] = d;
    }
    SetSize(NewCount);
    FCount = NewCount;
    FPrimitiveType = GL_TRIANGLES;
  }
  if (FPrimitiveType == GL_TRIANGLE_FAN && FCount >= 3) {
    const int32_t N = FCount;
    const int32_t NewCount = (N - 2) * 3;
    SetSize(std::max(NewCount, FSize));
    const uint32_t s0 = FIndices[0];
    // Triangle t (t >= 1) reads entries t+1, t+2 and writes 3t..3t+2; going down from
    // the last keeps every entry still to be read intact.
    for (int32_t t = N - 3; t >= 1; --t) {
      const uint32_t a = FIndices[t + 1], b = FIndices[t + 2];
      FIndices[3 * t] = a;
      FIndices[3 * t + 1] = b;
      FIndices[3 * t + 2] = s0;
    }
    // Triangle 0 is (s0, s1, s2) and occupies its own entries already.
    SetSize(NewCount);
    FCount = NewCount;
    FPrimitiveType = GL_TRIANGLES;
  }
}

void TLumPrimitiveArray::SwitchToQuads() {
  if (FPrimitiveType != GL_TRIANGLE_STRIP && FPrimitiveType != GL_QUAD_STRIP) return;
  if (FCount < 4) return;
  if (FPrimitiveType == GL_QUAD_STRIP && FCount % 2 == 1) AddIndex(FIndices[FCount - 1]);
  const int32_t N = FCount;
  const int32_t Quads = (N - 2) / 2;
  const int32_t NewCount = (N - 2) * 2;
  SetSize(std::max(NewCount, FSize));
  // Quad k reads 2k..2k+3 and writes 4k..4k+3: from the last quad down nothing is
  // overwritten before it is read.
  for (int32_t k = Quads - 1; k >= 0; --k) {
    const uint32_t a = FIndices[2 * k], b = FIndices[2 * k + 1], c = FIndices[2 * k + 2],
                   d = FIndices[2 * k + 3];
    uint32_t* Q = &FIndices[4 * k];
    Q[0] = a, Q[1] = b, Q[2] = d, Q[3] = c;
  }
  SetSize(NewCount);
  FCount = NewCount;
  FPrimitiveType = GL_QUADS;
}

void TLumPrimitiveArray::Invert() {
  uint32_t* I = FIndices.data();
  switch (FPrimitiveType) {
    case GL_TRIANGLES:
      for (int32_t t = 0; t + 2 < FCount; t += 3) std::swap(I[t], I[t + 1]);
      break;
    case GL_TRIANGLE_STRIP:
      if (FCount > 0 && FCount % 2 == 0) {
        AddIndex(FIndices[FCount - 1]);
        I = FIndices.data();
      }
      std::reverse(I, I + FCount);
      break;
    case GL_TRIANGLE_FAN:
      if (FCount > 1) std::reverse(I + 1, I + FCount);
      break;
    case GL_QUADS:
      for (int32_t q = 0; q + 3 < FCount; q += 4) std::swap(I[q + 1], I[q + 3]);
      break;
    case GL_QUAD_STRIP:
      for (int32_t k = 0; k + 1 < FCount; k += 2) std::swap(I[k], I[k + 1]);
      break;
    case GL_POLYGON:
      std::reverse(I, I + FCount);
      break;
    default:
      break;
  }
}

void TLumPrimitiveArray::ProceedDirectRendering() {
  if (FCount > 0) glDrawElements(FPrimitiveType, FCount, GL_UNSIGNED_INT, FIndices.data());
}

// --- TLumTextureFlags ---------------------------------------------------------------------

TLumTextureFlags::TLumTextureFlags() : FParamVector(new TLumVector) {
  FParamVector->OnChange = [this](TObject*) { Changed(); };
}

TLumTextureFlags::~TLumTextureFlags() { delete FParamVector; }

void TLumTextureFlags::SetMode(TLumTextureMode Value) {
  if (Value == FMode || Value > txSphereZ) return;
  FMode = Value;
  Changed();
}

// Stores and reports a changed value; true when it changed.
static bool Store(double& Field, double Value) {
  if (Value == Field) return false;
  Field = Value;
  return true;
}

void TLumTextureFlags::SetShiftX(double Value) {
  if (Store(FShiftX, Value)) Changed();
}
void TLumTextureFlags::SetShiftY(double Value) {
  if (Store(FShiftY, Value)) Changed();
}
void TLumTextureFlags::SetScaleX(double Value) {
  if (Store(FScaleX, Value)) Changed();
}
void TLumTextureFlags::SetScaleY(double Value) {
  if (Store(FScaleY, Value)) Changed();
}

void TLumTextureFlags::SetParamVec(TLumVector* Value) {
  if (Value) FParamVector->Assign(Value);
}

void TLumTextureFlags::Assign(TPersistent* Source) {
  auto* S = dynamic_cast<TLumTextureFlags*>(Source);
  if (!S) {
    TLumProperty::Assign(Source);
    return;
  }
  SetMode(S->FMode);
  SetShiftX(S->FShiftX);
  SetShiftY(S->FShiftY);
  SetScaleX(S->FScaleX);
  SetScaleY(S->FScaleY);
  SetParamVec(S->FParamVector);
}

void TLumTextureFlags::WriteValues(TLumExchange* Exchange) {
  Exchange->addtag("Mode", FMode, TLumTextureModeStr, 7);
  Exchange->addtag("ShiftX", FShiftX, 0.0);
  Exchange->addtag("ShiftY", FShiftY, 0.0);
  Exchange->addtag("ScaleX", FScaleX, 1.0);
  Exchange->addtag("ScaleY", FScaleY, 1.0);
  FParamVector->WriteComp(Exchange, "ParamVector");
}

void TLumTextureFlags::ReadValues(TLumExchange* Exchange) {
  SetMode(static_cast<TLumTextureMode>(Exchange->getenums("Mode", TLumTextureModeStr, 7)));
  SetShiftX(Exchange->getvalueor("ShiftX", FShiftX));
  SetShiftY(Exchange->getvalueor("ShiftY", FShiftY));
  SetScaleX(Exchange->getvalueor("ScaleX", FScaleX));
  SetScaleY(Exchange->getvalueor("ScaleY", FScaleY));
}

TObject* TLumTextureFlags::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  if (Tag && SameText(Tag->Name, "ParamVector")) {
    FParamVector->ReadValues(Exchange);
    return FParamVector;
  }
  return TLumProperty::ReadComp(Exchange, Tag);
}

// --- welding ------------------------------------------------------------------------------

namespace {

// Open-addressing table from a grid cell to the run of vertex numbers in that cell.
// Vertices are numbered into the runs in ascending order, so each run is sorted.
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

bool Coincide(const double* A, const double* B, double Tol) {
  return std::fabs(A[0] - B[0]) < Tol && std::fabs(A[1] - B[1]) < Tol &&
         std::fabs(A[2] - B[2]) < Tol;
}

// Working arrays of the sorted welding, kept by each thread between calls: a fresh block
// of tens of megabytes costs a page fault per page on every call, which would take longer
// than the welding itself. Released after a mesh of more than 256 K vertices, so a
// thread holds at most about 20 MB of them between calls.
struct TWeldScratch {
  std::vector<uint64_t> Key, Key2;
  std::vector<int32_t> Used, Idx, Idx2;
  std::vector<uint32_t> CellEnd;
  std::vector<double> Pos;
};
thread_local TWeldScratch WeldScratch;
constexpr size_t WeldScratchKept = size_t{1} << 18;

// What the welding of one vertex found among its candidates.
struct TWeldFound {
  int32_t Lowest = INT32_MAX, LowestNonZero = INT32_MAX, Found = 0;
};

// The usable vertices (ascending) and their cells, when every cell fits one 64-bit key:
// the vertices are sorted by key (z, y, x, then number) and swept in that order. For
// each cell one cursor per neighbouring row of cells (dz, dy) only ever moves forward,
// so the pass reads memory in order and costs no look-up per vertex. False (nothing
// done) when the cells span too wide a range for one key.
template <typename TCellOf, typename TTake>
bool WeldSorted(const double* Vertices, TWeldScratch& S, TCellOf CellOf, TTake Take) {
  const std::vector<int32_t>& Used = S.Used;
  const size_t M = Used.size();
  int64_t Min[3] = {INT64_MAX, INT64_MAX, INT64_MAX}, Max[3] = {INT64_MIN, INT64_MIN, INT64_MIN};
  for (int32_t i : Used) {
    const TCellTable::Cell C = CellOf(i);
    const int64_t V[3] = {C.X, C.Y, C.Z};
    for (int a = 0; a < 3; ++a) Min[a] = std::min(Min[a], V[a]), Max[a] = std::max(Max[a], V[a]);
  }
  // One spare cell on each side, so that neighbouring cells never wrap into another row.
  uint64_t Range[3];
  for (int a = 0; a < 3; ++a) Range[a] = static_cast<uint64_t>(Max[a] - Min[a]) + 3;
  if (static_cast<double>(Range[0]) * static_cast<double>(Range[1]) *
          static_cast<double>(Range[2]) >
      1.0e18)
    return false;
  const uint64_t RX = Range[0], RXY = Range[0] * Range[1];
  std::vector<uint64_t>&Key = S.Key, &Key2 = S.Key2;
  std::vector<int32_t>&Idx = S.Idx, &Idx2 = S.Idx2;
  Key.resize(M);
  Key2.resize(M);
  Idx.assign(Used.begin(), Used.end());
  Idx2.resize(M);
  uint64_t MaxKey = 0;
  for (size_t p = 0; p < M; ++p) {
    const TCellTable::Cell C = CellOf(Idx[p]);
    Key[p] = static_cast<uint64_t>(C.Z - Min[2] + 1) * RXY +
             static_cast<uint64_t>(C.Y - Min[1] + 1) * RX + static_cast<uint64_t>(C.X - Min[0] + 1);
    MaxKey = std::max(MaxKey, Key[p]);
  }
  // Stable radix sort by key, 11 bits a pass: vertex numbers stay ascending in a cell.
  constexpr int Digit = 11;
  constexpr size_t Buckets = size_t{1} << Digit;
  std::vector<size_t> Count(Buckets + 1);
  const int Bits = static_cast<int>(std::bit_width(MaxKey));
  for (int Shift = 0; Shift < Bits; Shift += Digit) {
    std::fill(Count.begin(), Count.end(), 0);
    for (size_t p = 0; p < M; ++p) ++Count[((Key[p] >> Shift) & (Buckets - 1)) + 1];
    if (*std::max_element(Count.begin(), Count.end()) == M) continue;  // one digit for all
    for (size_t b = 1; b <= Buckets; ++b) Count[b] += Count[b - 1];
    for (size_t p = 0; p < M; ++p) {
      const size_t q = Count[(Key[p] >> Shift) & (Buckets - 1)]++;
      Key2[q] = Key[p];
      Idx2[q] = Idx[p];
    }
    Key.swap(Key2);
    Idx.swap(Idx2);
  }
  // The end of the cell run each sorted position lies in.
  std::vector<uint32_t>& CellEnd = S.CellEnd;
  CellEnd.resize(M);
  CellEnd[M - 1] = static_cast<uint32_t>(M);
  for (size_t p = M - 1; p-- > 0;)
    CellEnd[p] = Key[p] == Key[p + 1] ? CellEnd[p + 1] : static_cast<uint32_t>(p + 1);

  // The positions in sorted order, so that candidates are read from neighbouring memory.
  std::vector<double>& Pos = S.Pos;
  Pos.resize(M * 3);
  for (size_t p = 0; p < M; ++p)
    std::copy_n(Vertices + static_cast<size_t>(Idx[p]) * 3, 3, Pos.data() + p * 3);

  size_t Cursor[9] = {};
  size_t Begin[9], End[9];
  for (size_t g = 0; g < M; g = CellEnd[g]) {
    for (int r = 0; r < 9; ++r) {
      // Row (dz, dy) = (r / 3 - 1, r % 3 - 1): the cells x - 1 .. x + 1 in it.
      const uint64_t Mid = Key[g] + static_cast<uint64_t>(r / 3) * RXY +
                           static_cast<uint64_t>(r % 3) * RX - RXY - RX;
      size_t& C = Cursor[r];
      while (C < M && Key[C] < Mid - 1) ++C;
      Begin[r] = C;
      size_t E = C;
      while (E < M && Key[E] <= Mid + 1) E = CellEnd[E];
      End[r] = E;
    }
    for (size_t p = g; p < CellEnd[g]; ++p)
      Take(Idx[p], Pos.data() + p * 3, Idx.data(), Pos.data(), CellEnd.data(), Begin, End);
  }
  return true;
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

  // Cells of edge Tol: two coinciding vertices lie in the same or neighbouring cells on
  // every axis, so the 27 cells around a vertex hold all its candidates. Positions too
  // large for the cell grid are clamped into it; they still compare exactly, only
  // crowding their cell. Non-finite positions coincide with nothing and are skipped.
  static constexpr double Limit = 4.0e18;
  auto CellOf = [Tol](const double* P) {
    auto C = [Tol](double V) {
      const double F = std::floor(V / Tol);
      return static_cast<int64_t>(std::clamp(F, -Limit, Limit));
    };
    return TCellTable::Cell{C(P[0]), C(P[1]), C(P[2])};
  };
  auto Usable = [&](size_t i) {
    const double* P = Vertices + i * 3;
    return (Flags[i] & Mask) != 0 && std::isfinite(P[0]) && std::isfinite(P[1]) &&
           std::isfinite(P[2]);
  };

  size_t Masked = 0;
  for (size_t i = 0; i < N; ++i)
    if (Usable(i)) ++Masked;
  if (Masked == 0) return;

  const bool Full = Counts || RepNonZero;
  auto Store = [&](size_t i, const TWeldFound& F) {
    if (F.Found == 0) return;
    Rep[i] = F.Lowest;
    if (Counts) (*Counts)[i] = F.Found;
    if (RepNonZero) (*RepNonZero)[i] = F.LowestNonZero == INT32_MAX ? 0 : F.LowestNonZero;
  };
  {
    TWeldScratch& S = WeldScratch;
    S.Used.clear();
    for (size_t i = 0; i < N; ++i)
      if (Usable(i)) S.Used.push_back(static_cast<int32_t>(i));
    auto CellOfIndex = [&](int32_t i) { return CellOf(Vertices + static_cast<size_t>(i) * 3); };
    auto Take = [&](int32_t i, const double* P, const int32_t* Idx, const double* Pos,
                    const uint32_t* CellEnd, const size_t* Begin, const size_t* End) {
      TWeldFound F;
      for (int r = 0; r < 9; ++r)
        for (size_t q = Begin[r]; q < End[r];) {
          const int32_t j = Idx[q];
          // Numbers ascend in a cell: past the lowest found, the rest of it cannot win.
          if (!Full && j >= F.Lowest) {
            q = CellEnd[q];
            continue;
          }
          if (Coincide(P, Pos + q * 3, Tol)) {
            ++F.Found;
            F.Lowest = std::min(F.Lowest, j);
            if (j != 0) F.LowestNonZero = std::min(F.LowestNonZero, j);
          }
          ++q;
        }
      Store(static_cast<size_t>(i), F);
    };
    const bool Done = WeldSorted(Vertices, S, CellOfIndex, Take);
    if (Masked > WeldScratchKept) S = TWeldScratch();
    if (Done) return;
  }

  // Cells too far apart for one key: an open-addressing table of the cells instead.
  TCellTable Table(Masked);
  std::vector<uint32_t> SlotOf(N, UINT32_MAX);
  for (size_t i = 0; i < N; ++i) {
    if (!Usable(i)) continue;
    const size_t S = Table.Insert(CellOf(Vertices + i * 3));
    SlotOf[i] = static_cast<uint32_t>(S);
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
  for (size_t i = 0; i < N; ++i) {
    if (SlotOf[i] == UINT32_MAX) continue;
    auto& S = Table.FSlots[SlotOf[i]];
    Members[S.Begin + S.Count++] = static_cast<int32_t>(i);
  }

  for (size_t i = 0; i < N; ++i) {
    if (SlotOf[i] == UINT32_MAX) continue;
    const double* P = Vertices + i * 3;
    const TCellTable::Cell C = CellOf(P);
    int32_t Lowest = INT32_MAX, LowestNonZero = INT32_MAX, Found = 0;
    for (int64_t dx = -1; dx <= 1; ++dx)
      for (int64_t dy = -1; dy <= 1; ++dy)
        for (int64_t dz = -1; dz <= 1; ++dz) {
          const size_t S = Table.Find({C.X + dx, C.Y + dy, C.Z + dz});
          if (S == SIZE_MAX) continue;
          const auto& Slot = Table.FSlots[S];
          for (uint32_t m = Slot.Begin; m < Slot.Begin + Slot.Count; ++m) {
            const int32_t j = Members[m];
            if (!Full && j >= Lowest) break;  // runs are ascending
            if (!Coincide(P, Vertices + static_cast<size_t>(j) * 3, Tol)) continue;
            ++Found;
            Lowest = std::min(Lowest, j);
            if (j != 0) LowestNonZero = std::min(LowestNonZero, j);
            if (!Full) break;
          }
        }
    Store(i, {Lowest, LowestNonZero, Found});
  }
}

// --- the published-property table ------------------------------------------------------

namespace detail {
// Called once from the package's registration (package/lumregister.cpp).
void RegisterLumprimclassesProperties();
}  // namespace detail

void detail::RegisterLumprimclassesProperties() {
  TLumClassTable<TLumTextureFlags, TLumProperty> T("TLumTextureFlags", "",
                                                   "How a mesh's texture coordinates are made");
  T.Creatable();
  T.Enum("Mode", "TLumTextureMode", &TLumTextureFlags::Mode, &TLumTextureFlags::SetMode,
         TLumTextureModeStr, txStandard, "The shape's own coordinates, or a projection")
      .Exchange();
  T.Double("ShiftX", &TLumTextureFlags::ShiftX, &TLumTextureFlags::SetShiftX, 0.0, "Added to s")
      .Exchange();
  T.Double("ShiftY", &TLumTextureFlags::ShiftY, &TLumTextureFlags::SetShiftY, 0.0, "Added to t")
      .Exchange();
  T.Double("ScaleX", &TLumTextureFlags::ScaleX, &TLumTextureFlags::SetScaleX, 1.0, "Multiplies s")
      .Exchange();
  T.Double("ScaleY", &TLumTextureFlags::ScaleY, &TLumTextureFlags::SetScaleY, 1.0, "Multiplies t")
      .Exchange();
  T.Object("ParamVector", &TLumTextureFlags::ParamVector, &TLumTextureFlags::SetParamVec,
           "The centre of txSphereZ")
      .Exchange();
  T.DefineZero("ScaleX", &TLumTextureFlags::ScaleX);
  T.DefineZero("ScaleY", &TLumTextureFlags::ScaleY);
}

}  // namespace lumox
