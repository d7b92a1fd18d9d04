// The container of meshes: parts with their vertex blocks, index lists and materials,
// drawing with a selection name per part, the vertex bound and the exchange format.
#include "lumox/geometry/lum3dobj.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <unordered_set>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/formfile.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumtex.h"

namespace lumox {

const char* const TLumPrimitiveTypeStr[10] = {
    "GL_POINTS",         "GL_LINES",        "GL_LINE_LOOP", "GL_LINE_STRIP", "GL_TRIANGLES",
    "GL_TRIANGLE_STRIP", "GL_TRIANGLE_FAN", "GL_QUADS",     "GL_QUAD_STRIP", "GL_POLYGON"};

namespace {

std::string FloatList(TLumExchange* Ex, const double* V, int N) {
  std::string S;
  for (int k = 0; k < N; ++k) {
    if (k) S += ',';
    S += Ex->toStr(V[k]);
  }
  return S;
}

}  // namespace

// --- TLum3dPart --------------------------------------------------------------------------

TLum3dPart::TLum3dPart(TLum3dObj* Container)
    : TLumPrimitiveObj(nullptr),
      FContainer(Container),
      FMaterialReader([this](TLumExchange* Exchange, TXMLTag* Tag) -> TObject* {
        // The part writes the diffuse colour again as "Diffuse" after the material's
        // "FDiffuse", which is therefore read already.
        if (SameText(Tag->Name, "FDiffuse")) {
          TLumColor Written;
          Written.ReadValues(Exchange);
          return Exchange->ElementRead();
        }
        return FMaterial->ReadComp(Exchange, Tag);
      }) {
  Points()->SetDefineArrays(TLumArrays{daVertex, daNormal, daTexture});
  Points()->SetUsedArrays(TLumArrays{daVertex, daNormal});
  OnChange = [this](TObject*) {
    if (FContainer) FContainer->PartChanged();
  };
  SetInitialized(true);
}

TLum3dPart::~TLum3dPart() { SetMaterial(nullptr); }

void TLum3dPart::SetPartName(const std::string& Value) {
  FPartName = Value;
  Changed();
}

void TLum3dPart::SetVisible(bool Value) {
  FVisible = Value;
  Changed();
}

void TLum3dPart::SetArrays(TLumArrays Value) {
  TLumArrays Keep;
  for (TLumArray A : {daVertex, daNormal, daTexture, daColor})
    if (A == daVertex || Value.Contains(A)) Keep.Include(A);
  Points()->SetDefineArrays(Keep);
  // Texture coordinates are handed to OpenGL when the part is Textured.
  TLumArrays Used = Keep;
  if (!Textured()) Used.Exclude(daTexture);
  Points()->SetUsedArrays(Used);
  Changed();
}

void TLum3dPart::CheckBound(int64_t NewCount) const {
  if (!FContainer) return;
  const int64_t Total = FContainer->VertexCount() - VertexCount() + NewCount;
  if (Total > FContainer->MaxVertices())
    throw Exception("The 3D object \"" + FContainer->ObjectName() + "\" would hold " +
                    std::to_string(Total) + " vertices, more than its bound of " +
                    std::to_string(FContainer->MaxVertices()) + ".");
}

int32_t TLum3dPart::AddVertex(const TLumMathVector& Position, const TLumMathVector& Normal,
                              const TLumMathVector& Texture, const std::array<float, 4>& Color) {
  CheckBound(int64_t{VertexCount()} + 1);
  TLumPrimitivePoints* P = Points();
  const int32_t I = P->Add(Position, Normal, Texture);
  if (float* C = P->Colors()) std::memcpy(C + static_cast<size_t>(I) * 4, Color.data(), 16);
  Changed();
  return I;
}

void TLum3dPart::SetVertexData(int32_t Count, const double* Positions, const double* Normals,
                               const double* TexCoords, int32_t TexComponents,
                               const float* Colors) {
  if (Count < 0 || (Count > 0 && !Positions)) return;
  if (TexComponents != 2 && TexComponents != 3) TexComponents = 2;
  TLumArrays A{daVertex};
  if (Normals) A.Include(daNormal);
  if (TexCoords) A.Include(daTexture);
  if (Colors) A.Include(daColor);
  ResizeVertexData(Count, A);
  TLumPrimitivePoints* P = Points();
  const size_t N = static_cast<size_t>(Count);
  // An empty block has no arrays: memcpy must not see their null pointers.
  if (N > 0) std::memcpy(P->Vertices(), Positions, N * 3 * sizeof(double));
  if (Normals && N > 0) std::memcpy(P->Normals(), Normals, N * 3 * sizeof(double));
  if (TexCoords) {
    double* T = P->TexCoords();
    for (size_t i = 0; i < N; ++i)
      for (int k = 0; k < 3; ++k)
        T[i * 3 + k] = k < TexComponents ? TexCoords[i * TexComponents + k] : 0.0;
  }
  if (Colors && N > 0) std::memcpy(P->Colors(), Colors, N * 4 * sizeof(float));
  Changed();
}

void TLum3dPart::ResizeVertexData(int32_t Count, TLumArrays Arrays) {
  if (Count < 0) return;
  CheckBound(Count);
  TLumArrays A{daVertex};
  for (TLumArray K : {daNormal, daTexture, daColor})
    if (Arrays.Contains(K)) A.Include(K);
  TLumPrimitivePoints* P = Points();
  P->SetSize(0);  // so that the arrays are allocated once, at their size
  P->SetDefineArrays(A);
  P->SetCount(Count);
  SetArrays(A);
}

int32_t TLum3dPart::AddIndices(int32_t PrimitiveType, const uint32_t* Indices, int32_t Count) {
  if (PrimitiveType < GL_POINTS || PrimitiveType > GL_POLYGON)
    throw Exception("Unknown primitive type " + std::to_string(PrimitiveType) + ".");
  if (Count < 0 || (Count > 0 && !Indices)) Count = 0;
  for (int32_t i = 0; i < Count; ++i)
    if (Indices[i] >= static_cast<uint32_t>(VertexCount()))
      throw Exception("Index " + std::to_string(Indices[i]) + " of part \"" + FPartName +
                      "\" names no vertex (the part has " + std::to_string(VertexCount()) + ").");
  const int32_t L = AddPrimitiveArray(PrimitiveType);
  TLumPrimitiveArray* A = GetPrimitive(L);
  A->SetCount(Count);
  if (Count > 0) std::memcpy(A->IndexData(), Indices, static_cast<size_t>(Count) * 4);
  Changed();
  return L;
}

TLumMaterial* TLum3dPart::CreateMaterial() {
  if (!FMaterial) {
    FMaterial = std::make_unique<TLumMaterial>(nullptr);
    FMaterial->OnChange = [this](TObject*) { Changed(); };
    SetMaterial(FMaterial.get());
  }
  return FMaterial.get();
}

void TLum3dPart::RemoveMaterial() {
  SetMaterial(nullptr);
  FMaterial.reset();
  Changed();
}

void TLum3dPart::Init() {
  SetInitialized(true);
  if (OnAfterInit) OnAfterInit(this);
}

void TLum3dPart::DrawMesh(TLumCustomView* aView) {
  TLumPrimitivePoints* P = Points();
  if (P->Count() == 0) return;
  P->BeforeRender(aView);
  TLumArraysOffOnThrow Guard(P, aView);  // a texture's upload can throw mid-mesh
  for (int32_t i = 0; i < GetPrimitiveCount(); ++i) {
    TLumPrimitiveArray* A = GetPrimitive(i);
    if (!A->Visible()) continue;
    if (A->Textured()) {
      if (A->Texture()) A->Texture()->DoRender(aView);  // binds it
      glEnable(GL_TEXTURE_2D);
    } else {
      glDisable(GL_TEXTURE_2D);
    }
    A->ProceedDirectRendering();
  }
  P->AfterRender(aView);
}

void TLum3dPart::Assign(TPersistent* Source) {
  // Not the table's copy: the published values are interleaved with the mesh they shape
  // (the material keeps this part's hook, Arrays follows the vertex data).
  if (auto* S = dynamic_cast<TLum3dPart*>(Source); S && S != this) {
    FPartName = S->FPartName;
    FVisible = S->FVisible;
    if (S->FMaterial) {
      TLumMaterial* M = CreateMaterial();
      // Assign takes over the source material's change hook, which names the source
      // part; this part keeps its own, so that the copy outlives the source safely.
      const TNotifyEvent Hook = M->OnChange;
      M->Assign(S->FMaterial.get());
      M->OnChange = Hook;
    } else
      RemoveMaterial();
    const TLumPrimitivePoints* SP = S->Points();
    const double* Tex = SP->TexCoords();
    SetVertexData(SP->Count(), SP->Vertices(), SP->Normals(), Tex, 3, SP->Colors());
    ClearPrimitives();
    for (int32_t i = 0; i < S->GetPrimitiveCount(); ++i) {
      const TLumPrimitiveArray* A = S->GetPrimitive(i);
      GetPrimitive(AddIndices(A->PrimitiveType(), A->IndexData(), A->Count()))
          ->SetVisible(A->Visible());
    }
    SetArrays(S->Arrays());
    SetTexture(S->Texture());  // referenced, as the source does
    SetTextured(S->Textured());
  }
}

// Name, Visible and Arrays as published; then the texture by its number, the material and
// the mesh as child elements, none of which the table writes.
void TLum3dPart::WriteValues(TLumExchange* Exchange) {
  Exchange->addtag("Name", FPartName, std::string());
  Exchange->addtag("Visible", FVisible, true);
  Exchange->addsettag("Arrays", Arrays().Bits(), TLumArrayStr, 5);
  if (FContainer && Textured() && Texture())
    Exchange->addtag("Texture", FContainer->TextureIndex(Texture()), -1);
  if (FMaterial) {
    // The material's own writer puts its diffuse colour under a name its reader skips
    // (kept for existing files); a part writes it once more where the reader takes it,
    // so imported colours survive the file.
    Exchange->StartTag("Material");
    FMaterial->WriteValues(Exchange);
    FMaterial->ColorDiffuse()->WriteComp(Exchange, "Diffuse");
    Exchange->EndTag();
  }
  const TLumPrimitivePoints* P = Points();
  const double *V = P->Vertices(), *N = P->Normals(), *T = P->TexCoords();
  const float* C = P->Colors();
  for (int32_t i = 0; i < P->Count(); ++i) {
    const size_t k = static_cast<size_t>(i);
    Exchange->StartTag("Vertex");
    Exchange->addparam("P", FloatList(Exchange, V + k * 3, 3));
    if (N) Exchange->addparam("N", FloatList(Exchange, N + k * 3, 3));
    if (T) Exchange->addparam("T", FloatList(Exchange, T + k * 3, 3));
    if (C) {
      const double D[4] = {C[k * 4], C[k * 4 + 1], C[k * 4 + 2], C[k * 4 + 3]};
      Exchange->addparam("C", FloatList(Exchange, D, 4));
    }
    Exchange->EndTag();
  }
  for (int32_t i = 0; i < GetPrimitiveCount(); ++i) {
    const TLumPrimitiveArray* A = GetPrimitive(i);
    Exchange->StartTag("Indices");
    Exchange->addparam("Type", TLumPrimitiveTypeStr[A->PrimitiveType()]);
    if (!A->Visible()) Exchange->addparam("Visible", "false");
    std::string S;
    S.reserve(static_cast<size_t>(A->Count()) * 6);
    for (int32_t j = 0; j < A->Count(); ++j) {
      if (j) S += ' ';
      S += std::to_string(A->Indices(j));
    }
    Exchange->addparam("Values", S);
    Exchange->EndTag();
  }
}

// Name, Visible and Arrays as published, each set as read; Texture is a number into the
// object's textures, not a published value.
void TLum3dPart::ReadValues(TLumExchange* Exchange) {
  SetPartName(Exchange->getvalueor("Name", FPartName));
  SetVisible(Exchange->getvalueor("Visible", FVisible));
  uint32_t Bits = Arrays().Bits();
  Exchange->getsetvalue("Arrays", Bits, TLumArrayStr, 5);
  SetArrays(TLumArrays::FromBits(Bits));
  int32_t Index = -1;
  Exchange->getvalue("Texture", Index);
  if (TLumTexture* T = FContainer ? FContainer->FileTexture(Index) : nullptr) {
    SetTexture(T);
    SetTextured(true);
  }
}

namespace {

// Up to N comma-separated numbers of an attribute into V; missing ones stay.
void ReadList(TLumExchange* Ex, const char* Name, double* V, int N) {
  std::string Text;
  if (!Ex->GetParamText(Name, Text)) return;
  std::string_view S(Text);
  for (int k = 0; k < N && !S.empty(); ++k) {
    const size_t Comma = S.find(',');
    Ex->Strto(std::string(S.substr(0, Comma)), V[k]);
    S = Comma == std::string_view::npos ? std::string_view() : S.substr(Comma + 1);
  }
}

}  // namespace

TObject* TLum3dPart::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  if (!Tag) return nullptr;
  if (SameText(Tag->Name, "Material")) {
    CreateMaterial()->ReadValues(Exchange);
    return &FMaterialReader;
  }
  if (SameText(Tag->Name, "Vertex")) {
    double P[3] = {0, 0, 0}, N[3] = {0, 0, 0}, T[3] = {0, 0, 0}, C[4] = {1, 1, 1, 1};
    ReadList(Exchange, "P", P, 3);
    ReadList(Exchange, "N", N, 3);
    ReadList(Exchange, "T", T, 3);
    ReadList(Exchange, "C", C, 4);
    AddVertex({P[0], P[1], P[2]}, {N[0], N[1], N[2]}, {T[0], T[1], T[2]},
              {float(C[0]), float(C[1]), float(C[2]), float(C[3])});
    return Exchange->ElementRead();
  }
  if (SameText(Tag->Name, "Indices")) {
    std::string Text;
    Exchange->GetParamText("Values", Text);
    std::vector<uint32_t> I;
    const char* P = Text.data();
    const char* const End = P + Text.size();
    while (P < End) {
      while (P < End && *P == ' ') ++P;
      if (P == End) break;
      uint32_t V = 0;
      auto [Next, Ec] = std::from_chars(P, End, V);
      if (Ec != std::errc() || (Next < End && *Next != ' '))
        throw EConvertError("attribute \"Values\": '" + std::string(P, std::min(Next + 1, End)) +
                            "' is not a valid index");
      I.push_back(V);
      P = Next;
    }
    const int Type = Exchange->getenums("Type", TLumPrimitiveTypeStr, 9);
    const int32_t L = AddIndices(Type, I.data(), static_cast<int32_t>(I.size()));
    GetPrimitive(L)->SetVisible(Exchange->getvalueor("Visible", true));
    return Exchange->ElementRead();
  }
  return TLumPrimitiveObj::ReadComp(Exchange, Tag);
}

// --- TLum3dObj ---------------------------------------------------------------------------

TLum3dObj::TLum3dObj(TComponent* AOwner) : TLumObject(AOwner) {}

TLum3dObj::~TLum3dObj() = default;

void TLum3dObj::PartChanged() {
  ClearCache();
  Changed();
}

TLum3dPart* TLum3dObj::Part(int32_t i) const {
  return i >= 0 && i < PartCount() ? FParts[static_cast<size_t>(i)].get() : nullptr;
}

TLum3dPart* TLum3dObj::FindPart(const std::string& Name) const {
  for (const auto& P : FParts)
    if (P->PartName() == Name) return P.get();
  return nullptr;
}

TLum3dPart* TLum3dObj::AddPart(const std::string& Name) {
  FParts.push_back(std::unique_ptr<TLum3dPart>(new TLum3dPart(this)));
  TLum3dPart* P = FParts.back().get();
  P->FPartName = Name;
  PartChanged();
  return P;
}

void TLum3dObj::DeletePart(int32_t i) {
  if (i < 0 || i >= PartCount()) return;
  FParts.erase(FParts.begin() + i);
  PartChanged();
}

void TLum3dObj::Clear() {
  FParts.clear();
  PartChanged();
}

int64_t TLum3dObj::VertexCount() const {
  int64_t N = 0;
  for (const auto& P : FParts) N += P->VertexCount();
  return N;
}

void TLum3dObj::SetMaxVertices(int32_t Value) {
  if (Value < 1) return;
  FMaxVertices = Value;
}

void TLum3dObj::DoRender(TLumCustomView* aView) {
  TLumObject::DoRender(aView);
  const bool Naming = aView && IsSelectingMode(aView->DrawMode());
  for (int32_t i = 0; i < PartCount(); ++i) {
    TLum3dPart* P = FParts[static_cast<size_t>(i)].get();
    if (!P->Visible()) continue;
    if (P->PartMaterial())
      P->PartMaterial()->Render(aView);
    else if (Material())
      Material()->Render(aView);
    if (Naming) glPushName(static_cast<GLuint>(aView->GetNextID(this, i)));
    P->DrawMesh(aView);
    if (Naming) glPopName();
  }
}

void TLum3dObj::Assign(TPersistent* Source) {
  if (auto* S = dynamic_cast<TLum3dObj*>(Source); S && S != this) {
    FParts.clear();
    CopyPublished(this, S);  // MaxVertices, which bounds the parts copied next
    // The parts are a form entry of their own, not a published property.
    for (const auto& P : S->FParts) AddPart(P->PartName())->Assign(P.get());
  }
  TLumObject::Assign(Source);
}

std::vector<TLumTexture*> TLum3dObj::PartTextures() const {
  std::vector<TLumTexture*> List;
  std::unordered_set<TLumTexture*> Seen;
  for (const auto& P : FParts)
    if (TLumTexture* T = P->Textured() ? P->Texture() : nullptr; T && Seen.insert(T).second)
      List.push_back(T);
  return List;
}

int32_t TLum3dObj::TextureIndex(TLumTexture* T) const {
  const auto It = FWrittenTextures.find(T);
  return It == FWrittenTextures.end() ? -1 : It->second;
}

TLumTexture* TLum3dObj::FileTexture(int32_t Index) const {
  return Index >= 0 && Index < static_cast<int32_t>(FFileTextures.size())
             ? FFileTextures[static_cast<size_t>(Index)]
             : nullptr;
}

// MaxVertices and the unpublished ColorAsMaterial come before the inherited values; the
// textures and parts follow as child elements.
void TLum3dObj::WriteValues(TLumExchange* Exchange) {
  Exchange->addtag("MaxVertices", FMaxVertices, 16777216);
  Exchange->addtag("ColorAsMaterial", ColorAsMaterial(), TLumColorAsMaterialStr, 5);
  TLumObject::WriteValues(Exchange);
  // The parts' textures once each, before the parts that name them by number; their
  // images go to the side files of the format.
  FWrittenTextures.clear();
  for (TLumTexture* T : PartTextures()) {
    FWrittenTextures.emplace(T, static_cast<int32_t>(FWrittenTextures.size()));
    T->WriteComp(Exchange, "Texture");
  }
  for (const auto& P : FParts) {
    Exchange->StartTag("Part");
    P->WriteValues(Exchange);
    Exchange->EndTag();
  }
  FWrittenTextures.clear();
}

// Also reads the unpublished ColorAsMaterial; textures and parts come through ReadComp.
void TLum3dObj::ReadValues(TLumExchange* Exchange) {
  TLumObject::ReadValues(Exchange);
  SetMaxVertices(Exchange->getvalueor("MaxVertices", FMaxVertices));
  SetColorAsMaterial(static_cast<TLumColorAsMaterial>(
      Exchange->getenums("ColorAsMaterial", TLumColorAsMaterialStr, 5)));
  FFileTextures.clear();
}

TObject* TLum3dObj::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  if (Tag && SameText(Tag->Name, "Part")) {
    TLum3dPart* P = AddPart(std::string());
    P->ReadValues(Exchange);
    return P;
  }
  if (Tag && SameText(Tag->Name, "Texture")) {
    auto* T = new TLumTexture(this);  // owned, as the textures of LoadFromFile are
    T->ReadValues(Exchange);
    FFileTextures.push_back(T);
    return T;
  }
  return TLumObject::ReadComp(Exchange, Tag);
}

void RegisterLum3dobjClasses() { RegisterRenderClass<TLum3dObj>(); }

// --- the published-property table ------------------------------------------------------

void detail::RegisterLum3dobjProperties() {
  TLumClassTable<TLum3dPart, TPersistent> P("TLum3dPart", "", "One mesh of a TLum3dObj");
  P.String("PartName", &TLum3dPart::PartName, &TLum3dPart::SetPartName, std::string(),
           "The part's name")
      .Exchange("Name");
  P.Boolean("Visible", &TLum3dPart::Visible, &TLum3dPart::SetVisible, true, "Drawn and picked")
      .Exchange();
  P.SetOf("Arrays", "TLumArray", &TLum3dPart::Arrays, &TLum3dPart::SetArrays, TLumArrayStr,
          TLumArrays{daVertex, daNormal, daTexture},
          "The per-vertex arrays: daVertex and any of daNormal, daTexture, daColor")
      .Exchange();
  P.Boolean("Textured", &TLum3dPart::Textured, &TLum3dPart::SetTextured, false,
            "Hands texture coordinates to GL");
  P.Component("Texture", &TLum3dPart::Texture, &TLum3dPart::SetTexture, true,
              "The texture of the part's index lists");
  auto Material = P.Object("PartMaterial", &TLum3dPart::PartMaterial, nullptr,
                           "The part's own material, or none (the container's then)");
  P.CreatesObject(Material, [](TLum3dPart* X) -> TPersistent* { return X->CreateMaterial(); });
  // A vertex per line: the position, then the normal, texture coordinate (s, t, r) and
  // colour (r, g, b, a) where the part has those arrays.
  P.DefineData(
      "Vertices", "The vertices, a list per vertex of the values of the part's Arrays",
      [](const TLum3dPart* X) { return X->VertexCount() > 0; },
      [](const TLum3dPart* X, TLumFormWriter& W) {
        const TLumPrimitivePoints* Pts = X->Points();
        W.WriteListBegin();
        for (int32_t I = 0; I < Pts->Count(); ++I) {
          const size_t K = size_t(I);
          W.NewLine();
          W.WriteListBegin();
          for (const double* A : {Pts->Vertices(), Pts->Normals(), Pts->TexCoords()})
            if (A)
              for (int C = 0; C < 3; ++C) W.WriteFloat(A[K * 3 + size_t(C)]);
          if (const float* Col = Pts->Colors())
            for (int C = 0; C < 4; ++C) W.WriteSingle(Col[K * 4 + size_t(C)]);
          W.WriteListEnd();
        }
        W.WriteListEnd();
      },
      [](TLum3dPart* X, TLumFormReader& R) {
        const TLumArrays A = X->Arrays();
        std::vector<double> V, N, T;
        std::vector<float> Col;
        R.ReadListBegin();
        while (!R.EndOfList()) {
          R.ReadListBegin();
          for (int C = 0; C < 3; ++C) V.push_back(R.ReadFloat());
          for (int C = 0; C < 3 && A.Contains(daNormal); ++C) N.push_back(R.ReadFloat());
          for (int C = 0; C < 3 && A.Contains(daTexture); ++C) T.push_back(R.ReadFloat());
          for (int C = 0; C < 4 && A.Contains(daColor); ++C) Col.push_back(R.ReadSingle());
          if (!R.EndOfList()) R.Error("a vertex has more values than the part's Arrays");
          R.ReadListEnd();
        }
        R.ReadListEnd();
        if (V.size() / 3 > size_t(INT32_MAX)) R.Error("too many vertices");
        auto Data = [](const auto& Values) { return Values.empty() ? nullptr : Values.data(); };
        // The arrays read are the part's arrays, also when it has no vertices.
        X->SetVertexData(int32_t(V.size() / 3), Data(V), A.Contains(daNormal) ? N.data() : nullptr,
                         A.Contains(daTexture) ? T.data() : nullptr, 3,
                         A.Contains(daColor) ? Col.data() : nullptr);
        X->SetArrays(A);
      });
  // An index list per line: its GL primitive, whether it is drawn, its vertex numbers.
  P.DefineData(
      "Indices", "The index lists: primitive type, visibility and vertex numbers each",
      [](const TLum3dPart* X) { return X->GetPrimitiveCount() > 0; },
      [](const TLum3dPart* X, TLumFormWriter& W) {
        W.WriteListBegin();
        for (int32_t I = 0; I < X->GetPrimitiveCount(); ++I) {
          const TLumPrimitiveArray* L = X->GetPrimitive(I);
          W.NewLine();
          W.WriteListBegin();
          W.WriteIdent(TLumPrimitiveTypeStr[L->PrimitiveType()]);
          W.WriteBoolean(L->Visible());
          W.WriteListBegin();
          for (int32_t K = 0; K < L->Count(); ++K) W.WriteInteger(L->IndexData()[K]);
          W.WriteListEnd();
          W.WriteListEnd();
        }
        W.WriteListEnd();
      },
      [](TLum3dPart* X, TLumFormReader& R) {
        X->ClearPrimitives();
        R.ReadListBegin();
        while (!R.EndOfList()) {
          R.ReadListBegin();
          const std::string Type = R.ReadIdent();
          int32_t Mode = 0;
          while (Mode < 10 && Type != TLumPrimitiveTypeStr[Mode]) ++Mode;
          if (Mode == 10) R.Error(Type + " is not a GL primitive type");
          const bool Visible = R.ReadBoolean();
          std::vector<uint32_t> Indices;
          R.ReadListBegin();
          while (!R.EndOfList()) {
            const int64_t K = R.ReadInteger();
            if (K < 0 || K > int64_t(UINT32_MAX)) R.Error("a vertex number is out of range");
            Indices.push_back(uint32_t(K));
          }
          R.ReadListEnd();
          R.ReadListEnd();
          const int32_t L = X->AddIndices(Mode, Indices.empty() ? nullptr : Indices.data(),
                                          int32_t(Indices.size()));
          X->GetPrimitive(L)->SetVisible(Visible);
        }
        R.ReadListEnd();
      });

  TLumClassTable<TLum3dObj, TLumObject> T("TLum3dObj", "Lumox Obj",
                                          "A container of meshes (parts), as model import fills");
  T.Creatable();
  // The textures a model file brings belong to the object.
  T.StoresOwnedComponents();
  T.Integer("MaxVertices", &TLum3dObj::MaxVertices, &TLum3dObj::SetMaxVertices, 16777216,
            "The most vertices the parts may hold together, at least 1")
      .Range(TLumRange::AtLeast(1))
      .Exchange()
      .Field(&TLum3dObj::FMaxVertices);
  T.DefineObjects<TLum3dPart>(
      "Part", "A mesh of the container, a block per part",
      [](const TLum3dObj* X, const std::function<void(TLum3dPart*)>& Each) {
        for (int32_t I = 0; I < X->PartCount(); ++I) Each(X->Part(I));
      },
      [](TLum3dObj* X) { return X->AddPart(std::string()); });
}

}  // namespace lumox
