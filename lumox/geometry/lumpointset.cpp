// The point cloud: points and colours in the vertex block, drawing as GL_POINTS through
// client arrays, point-file reading and the exchange-format values.
#include "lumox/geometry/lumpointset.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/formfile.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"

namespace lumox {

TLumPointSet::TLumPointSet(TComponent* AOwner) : TLumPrimitiveObj(AOwner) {
  // Positions only: normals, texture coordinates and flags would triple the memory of a
  // cloud and mean nothing for points.
  Points()->SetDefineArrays(TLumArrays{daVertex});
  Points()->SetUsedArrays(TLumArrays{daVertex});
}

void TLumPointSet::Modified() {
  SetInitialized(false);
  ClearCache();  // a cached object must not replay its old mesh
  Changed();
}

void TLumPointSet::DefineColors() {
  TLumPrimitivePoints* P = Points();
  if (P->IsDefined(daColor)) return;
  P->SetDefineArrays(P->DefineArrays() + TLumArrays{daColor});
  float* C = P->Colors();
  std::fill(C, C + static_cast<size_t>(P->Size()) * 4, 1.0f);
  SetColored(true);
}

int32_t TLumPointSet::AddPoint(double X, double Y, double Z) {
  if (!std::isfinite(X) || !std::isfinite(Y) || !std::isfinite(Z)) return -1;
  const int32_t I = Points()->Add(X, Y, Z);
  if (float* C = Points()->Colors()) std::fill(C + I * 4, C + I * 4 + 4, 1.0f);
  Modified();
  return I;
}

int32_t TLumPointSet::AddPoint(double X, double Y, double Z, float R, float G, float B, float A) {
  if (!std::isfinite(X) || !std::isfinite(Y) || !std::isfinite(Z)) return -1;
  DefineColors();
  const int32_t I = Points()->Add(X, Y, Z);
  float* C = Points()->Colors() + static_cast<size_t>(I) * 4;
  C[0] = R, C[1] = G, C[2] = B, C[3] = A;
  Modified();
  return I;
}

void TLumPointSet::SetPointData(int32_t Count, const double* XYZ, const float* RGBA) {
  if (Count < 0 || (Count > 0 && !XYZ)) return;
  TLumPrimitivePoints* P = Points();
  P->SetSize(0);
  P->SetDefineArrays(RGBA ? TLumArrays{daVertex, daColor} : TLumArrays{daVertex});
  P->SetCount(Count);
  if (Count > 0) {  // an empty set may come with no arrays at all
    std::memcpy(P->Vertices(), XYZ, static_cast<size_t>(Count) * 3 * sizeof(double));
    if (RGBA) std::memcpy(P->Colors(), RGBA, static_cast<size_t>(Count) * 4 * sizeof(float));
  }
  TLumArrays Used = P->UsedArrays();
  if (RGBA)
    Used.Include(daColor);
  else
    Used.Exclude(daColor);
  P->SetUsedArrays(Used);
  Modified();
}

void TLumPointSet::Reserve(int32_t Count) {
  if (Count > Points()->Size()) Points()->SetSize(Count);
}

std::array<float, 4> TLumPointSet::GetPointColor(int32_t Index) const {
  const float* C = Points()->Colors();
  if (!C || Index < 0 || Index >= PointCount()) return {1.0f, 1.0f, 1.0f, 1.0f};
  C += static_cast<size_t>(Index) * 4;
  return {C[0], C[1], C[2], C[3]};
}

void TLumPointSet::Clear() {
  Points()->SetSize(0);
  Points()->SetDefineArrays(TLumArrays{daVertex});
  Modified();
}

namespace {

// Splits a line into numbers separated by blanks, tabs or commas; false on other text.
bool ParseNumbers(const char* P, const char* End, double* Out, int Max, int& N) {
  N = 0;
  while (true) {
    while (P < End && (*P == ' ' || *P == '\t' || *P == ',' || *P == '\r')) ++P;
    if (P == End) return true;
    if (N == Max) return false;
    if (*P == '+') ++P;
    auto [Next, Ec] = std::from_chars(P, End, Out[N]);
    if (Ec != std::errc() || !std::isfinite(Out[N])) return false;
    if (Next < End && *Next != ' ' && *Next != '\t' && *Next != ',' && *Next != '\r') return false;
    P = Next;
    ++N;
  }
}

}  // namespace

void TLumPointSet::LoadFromFile(const std::string& FileName) {
  std::ifstream In(FileName, std::ios::binary);
  if (!In) throw Exception("Cannot open point file \"" + FileName + "\".");
  std::ostringstream Buffer;
  Buffer << In.rdbuf();
  const std::string Text = std::move(Buffer).str();
  std::vector<double> XYZ;
  std::vector<float> RGBA;
  bool AnyColor = false;
  int64_t Line = 0;
  const char* P = Text.data();
  const char* const End = P + Text.size();
  while (P < End) {
    const char* Eol = static_cast<const char*>(std::memchr(P, '\n', static_cast<size_t>(End - P)));
    if (!Eol) Eol = End;
    ++Line;
    const char* S = P;
    while (S < Eol && (*S == ' ' || *S == '\t' || *S == '\r')) ++S;
    if (S < Eol && *S != '#') {
      double V[6];
      int N = 0;
      const bool Ok = ParseNumbers(S, Eol, V, 6, N);
      if (!Ok || (N != 3 && N != 6))
        throw Exception("Point file \"" + FileName + "\", line " + std::to_string(Line) +
                        ": expected \"x y z\" or \"x y z r g b\".");
      if (N == 6) {
        for (int k = 3; k < 6; ++k)
          if (V[k] < 0 || V[k] > 255)
            throw Exception("Point file \"" + FileName + "\", line " + std::to_string(Line) +
                            ": colour components must lie in 0..255.");
        if (!AnyColor) RGBA.assign(XYZ.size() / 3 * 4, 1.0f);
        AnyColor = true;
      }
      XYZ.insert(XYZ.end(), V, V + 3);
      if (AnyColor) {
        if (N == 6)
          RGBA.insert(RGBA.end(), {float(V[3] / 255), float(V[4] / 255), float(V[5] / 255), 1.0f});
        else
          RGBA.insert(RGBA.end(), {1.0f, 1.0f, 1.0f, 1.0f});
      }
      if (XYZ.size() / 3 > static_cast<size_t>(INT32_MAX))
        throw Exception("Point file \"" + FileName + "\" has too many points.");
    }
    P = Eol + 1;
  }
  SetPointData(static_cast<int32_t>(XYZ.size() / 3), XYZ.data(), AnyColor ? RGBA.data() : nullptr);
}

void TLumPointSet::SetPointSize(float Value) {
  if (!(Value > 0) || !std::isfinite(Value)) return;
  FPointSize = Value;
  ClearCache();
  Changed();
}

bool TLumPointSet::Colored() const { return Points()->UsedArrays().Contains(daColor); }

void TLumPointSet::SetColored(bool Value) {
  TLumArrays Used = Points()->UsedArrays();
  if (Value)
    Used.Include(daColor);
  else
    Used.Exclude(daColor);
  if (Used == Points()->UsedArrays()) return;
  Points()->SetUsedArrays(Used);
  ClearCache();
  Changed();
}

void TLumPointSet::Init() {
  ClearPrimitives();
  SetInitialized(true);
  if (OnAfterInit) OnAfterInit(this);
}

void TLumPointSet::DoRender(TLumCustomView* aView) {
  if (!Initialized()) Init();
  TLumObject::DoRender(aView);
  const int32_t N = PointCount();
  if (N == 0) return;
  glPushAttrib(GL_ENABLE_BIT | GL_POINT_BIT);
  glDisable(GL_LIGHTING);
  glPointSize(FPointSize);
  Points()->BeforeRender(aView);
  const bool Naming = aView && Selectable() && IsSelectingMode(aView->DrawMode());
  try {
    if (Naming) glPushName(static_cast<GLuint>(aView->GetNextID(this, 0)));
  } catch (...) {
    // A naming handler that throws must not leave the arrays on or the attributes pushed.
    Points()->AfterRender(aView);
    glPopAttrib();
    throw;
  }
  glDrawArrays(GL_POINTS, 0, N);
  if (Naming) glPopName();
  Points()->AfterRender(aView);
  glPopAttrib();
}

void TLumPointSet::Assign(TPersistent* Source) {
  // Not the table's copy: PointSize and Colored are interleaved with the points.
  if (auto* S = dynamic_cast<TLumPointSet*>(Source); S && S != this) {
    FPointSize = S->FPointSize;
    const TLumPrimitivePoints* SP = S->Points();
    SetPointData(SP->Count(), SP->Vertices(), SP->Colors());
    SetColored(S->Colored());
  }
  // The base class would append the points behind the ones just copied: it is handed
  // only the object's values.
  TLumObject::Assign(Source);
  if (auto* S = dynamic_cast<TLumPrimitiveObj*>(Source)) {
    SetTexture(S->Texture());
    TextureFlags()->Assign(S->TextureFlags());
  }
}

// PointSize and Colored as published, before the inherited values; the points follow as
// child elements.
void TLumPointSet::WriteValues(TLumExchange* Exchange) {
  Exchange->addtag("PointSize", static_cast<double>(FPointSize), 1.0);
  Exchange->addtag("Colored", Colored(), false);
  TLumPrimitiveObj::WriteValues(Exchange);
  const TLumPrimitivePoints* P = Points();
  const float* C = P->Colors();
  for (int32_t i = 0; i < P->Count(); ++i) {
    // Every point writes its position, so none is dropped as a default.
    Exchange->StartTag("Point");
    Exchange->addparam("P", Exchange->toStr(P->GetVector(i, 0)));
    if (C) {
      const float* Q = C + static_cast<size_t>(i) * 4;
      Exchange->addparam("C", Exchange->toStr(Q[0]) + "," + Exchange->toStr(Q[1]) + "," +
                                  Exchange->toStr(Q[2]) + "," + Exchange->toStr(Q[3]));
    }
    Exchange->EndTag();
  }
}

// Colored is read against false, not the current value, and kept for the points after it.
void TLumPointSet::ReadValues(TLumExchange* Exchange) {
  TLumPrimitiveObj::ReadValues(Exchange);
  SetPointSize(Exchange->getvalueor("PointSize", FPointSize));
  FColoredOnLoad = Exchange->getvalueor("Colored", false);
  SetColored(FColoredOnLoad);  // a set without points keeps its switch too
}

TObject* TLumPointSet::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  if (!Tag || !SameText(Tag->Name, "Point")) return TLumPrimitiveObj::ReadComp(Exchange, Tag);
  TLumMathVector V = ZEROVEC;
  Exchange->getvalue("P", V);
  std::string Text;
  if (Exchange->GetParamText("C", Text)) {
    float C[4] = {1.0f, 1.0f, 1.0f, 1.0f};
    std::string_view S(Text);
    for (int k = 0; k < 4 && !S.empty(); ++k) {
      const size_t Comma = S.find(',');
      Exchange->Strto(std::string(S.substr(0, Comma)), C[k]);
      S = Comma == std::string_view::npos ? std::string_view() : S.substr(Comma + 1);
    }
    AddPoint(V.X, V.Y, V.Z, C[0], C[1], C[2], C[3]);
  } else {
    AddPoint(V.X, V.Y, V.Z);
  }
  // The colour switch is read with the element; points read later would set it again.
  SetColored(FColoredOnLoad);
  return Exchange->ElementRead();
}

void RegisterLumpointsetClasses() { RegisterRenderClass<TLumPointSet>(); }

// --- the published-property table ------------------------------------------------------

namespace detail {
// Called once from the package's registration (package/lumregister.cpp).
void RegisterLumpointsetProperties();
}  // namespace detail

void detail::RegisterLumpointsetProperties() {
  TLumClassTable<TLumPointSet, TLumPrimitiveObj> T("TLumPointSet", "Lumox Obj",
                                                   "A point cloud drawn as GL points");
  T.Creatable();
  T.Single("PointSize", &TLumPointSet::PointSize, &TLumPointSet::SetPointSize, 1.0f,
           "Point diameter in pixels, above 0")
      .Range(TLumRange::Above(0))
      .Exchange();
  T.Boolean("Colored", &TLumPointSet::Colored, &TLumPointSet::SetColored, false,
            "Draws the points' own colours")
      .Exchange();
  T.DefineZero("PointSize", &TLumPointSet::PointSize);
  // A point per line: x, y, z, and r, g, b, a (0..1) when the set has colours.
  T.DefineData(
      "Points", "The points, x, y, z each, and r, g, b, a (0..1) when the set has colours",
      [](const TLumPointSet* S) { return S->PointCount() > 0; },
      [](const TLumPointSet* S, TLumFormWriter& W) {
        const bool Colors = S->Points()->Colors() != nullptr;
        W.WriteListBegin();
        for (int32_t I = 0; I < S->PointCount(); ++I) {
          W.NewLine();
          W.WriteListBegin();
          const TLumMathVector P = S->GetPoint(I);
          for (double V : {P.X, P.Y, P.Z}) W.WriteFloat(V);
          if (Colors)
            for (float C : S->GetPointColor(I)) W.WriteSingle(C);
          W.WriteListEnd();
        }
        W.WriteListEnd();
      },
      [](TLumPointSet* S, TLumFormReader& R) {
        std::vector<double> XYZ;
        std::vector<float> RGBA;
        R.ReadListBegin();
        while (!R.EndOfList()) {
          R.ReadListBegin();
          for (int K = 0; K < 3; ++K) XYZ.push_back(R.ReadFloat());
          if (!R.EndOfList() || !RGBA.empty()) {
            if (RGBA.size() != (XYZ.size() / 3 - 1) * 4)
              R.Error("either every point has a colour or none has");
            for (int K = 0; K < 4; ++K) RGBA.push_back(R.ReadSingle());
          }
          R.ReadListEnd();
        }
        R.ReadListEnd();
        const int64_t N = int64_t(XYZ.size() / 3);
        if (N > INT32_MAX) R.Error("too many points");
        // SetPointData switches the colours on when it is given some; the set keeps
        // the Colored read before.
        const bool Colored = S->Colored();
        if (N > 0) S->SetPointData(int32_t(N), XYZ.data(), RGBA.empty() ? nullptr : RGBA.data());
        S->SetColored(Colored);
      });
}

}  // namespace lumox
