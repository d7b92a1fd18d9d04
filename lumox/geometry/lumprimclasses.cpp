// Vertex blocks, index lists and their conversions, single vertices and texture flags.
#include "lumox/geometry/lumprimclasses.h"

#include <algorithm>
#include <atomic>
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

// A point item has no table: its vectors are the one-letter P, T and N, its flags E and
// F, and its colour's attributes sit in its own element.
void TLumPointItem::WriteValues(TLumExchange* Exchange) {
  Exchange->addtag("P", FPoint->GetAsMathVector(), ZEROVEC);
  Exchange->addtag("T", FTexture->GetAsMathVector(), ZEROVEC);
  Exchange->addtag("N", FNormal->GetAsMathVector(), ZEROVEC);
  Exchange->addtag("E", FEdgeFlag, true);
  Exchange->addtag("F", FFlag, 0);
  FColor->WriteValues(Exchange);
}

// Reads the one-letter attributes WriteValues writes, the flags straight into their fields.
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
  if (Value > txSphereZ) return;
  SetField(FMode, Value);
}

void TLumTextureFlags::SetShiftX(double Value) { SetField(FShiftX, Value); }
void TLumTextureFlags::SetShiftY(double Value) { SetField(FShiftY, Value); }
void TLumTextureFlags::SetScaleX(double Value) { SetField(FScaleX, Value); }
void TLumTextureFlags::SetScaleY(double Value) { SetField(FScaleY, Value); }

void TLumTextureFlags::SetParamVec(TLumVector* Value) {
  if (Value) FParamVector->Assign(Value);
}

void TLumTextureFlags::Assign(TPersistent* Source) {
  if (auto* F = dynamic_cast<TLumTextureFlags*>(Source))
    CopyPublished(this, F);
  else
    TLumProperty::Assign(Source);
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
  // Assign copies all six through their setters, each change notified.
  T.Enum("Mode", "TLumTextureMode", &TLumTextureFlags::Mode, &TLumTextureFlags::SetMode,
         TLumTextureModeStr, txStandard, "The shape's own coordinates, or a projection")
      .Exchange()
      .Copied();
  T.Double("ShiftX", &TLumTextureFlags::ShiftX, &TLumTextureFlags::SetShiftX, 0.0, "Added to s")
      .Exchange()
      .Copied();
  T.Double("ShiftY", &TLumTextureFlags::ShiftY, &TLumTextureFlags::SetShiftY, 0.0, "Added to t")
      .Exchange()
      .Copied();
  T.Double("ScaleX", &TLumTextureFlags::ScaleX, &TLumTextureFlags::SetScaleX, 1.0, "Multiplies s")
      .Exchange()
      .Copied();
  T.Double("ScaleY", &TLumTextureFlags::ScaleY, &TLumTextureFlags::SetScaleY, 1.0, "Multiplies t")
      .Exchange()
      .Copied();
  T.Object("ParamVector", &TLumTextureFlags::ParamVector, &TLumTextureFlags::SetParamVec,
           "The centre of txSphereZ")
      .Exchange()
      .Copied();
  T.DefineZero("ScaleX", &TLumTextureFlags::ScaleX);
  T.DefineZero("ScaleY", &TLumTextureFlags::ScaleY);
}

}  // namespace lumox
