// Planar tessellation through GLU, the flat and extruded meshes built from it, and the
// polygon's contours, setters and exchange-format values.
#include "lumox/geometry/lumpolygon.h"

#include <cmath>
#include <deque>
#include <string>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/formfile.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"

namespace lumox {

const char* const TLumWindingRuleStr[2] = {"wrOdd", "wrNonZero"};

// --- tessellation ------------------------------------------------------------------------

namespace {

struct TTessVertex {
  GLdouble Coords[3];
  uint32_t Index;
};

// What the GLU callbacks collect; they must not throw through GLU, so an error is
// only recorded here.
struct TTessState {
  TLumTessellation* Out = nullptr;
  std::deque<TTessVertex> Vertices;  // stable addresses for GLU
  std::vector<uint32_t> Loop;
  bool BoundaryPass = false;
  GLenum Error = 0;
};

void GLAPIENTRY TessBegin(GLenum, void* Data) { static_cast<TTessState*>(Data)->Loop.clear(); }

void GLAPIENTRY TessVertex(void* Vertex, void* Data) {
  auto* S = static_cast<TTessState*>(Data);
  const uint32_t I = static_cast<TTessVertex*>(Vertex)->Index;
  if (S->BoundaryPass)
    S->Loop.push_back(I);
  else
    S->Out->Triangles.push_back(I);
}

void GLAPIENTRY TessEnd(void* Data) {
  auto* S = static_cast<TTessState*>(Data);
  if (S->BoundaryPass && S->Loop.size() >= 3) S->Out->Boundary.push_back(S->Loop);
}

// Registering an edge-flag callback makes GLU hand out plain triangles only.
void GLAPIENTRY TessEdgeFlag(GLboolean, void*) {}

void GLAPIENTRY TessCombine(GLdouble Coords[3], void* [4], GLfloat[4], void** Result, void* Data) {
  auto* S = static_cast<TTessState*>(Data);
  S->Vertices.push_back(
      {{Coords[0], Coords[1], 0.0}, static_cast<uint32_t>(S->Out->Points.size())});
  S->Out->Points.push_back({Coords[0], Coords[1]});
  *Result = &S->Vertices.back();
}

void GLAPIENTRY TessError(GLenum Error, void* Data) {
  auto* S = static_cast<TTessState*>(Data);
  if (!S->Error) S->Error = Error;
}

// One pass of the tessellator over every contour: triangles, or the boundary loops.
void RunTessellator(const std::vector<TLumContour>& Contours, TLumWindingRule Rule, bool Boundary,
                    TTessState& S) {
  GLUtesselator* Tess = gluNewTess();
  if (!Tess) throw Exception("The GLU tessellator could not be created.");
  S.BoundaryPass = Boundary;
  using F = _GLUfuncptr;
  gluTessCallback(Tess, GLU_TESS_BEGIN_DATA, reinterpret_cast<F>(TessBegin));
  gluTessCallback(Tess, GLU_TESS_VERTEX_DATA, reinterpret_cast<F>(TessVertex));
  gluTessCallback(Tess, GLU_TESS_END_DATA, reinterpret_cast<F>(TessEnd));
  gluTessCallback(Tess, GLU_TESS_COMBINE_DATA, reinterpret_cast<F>(TessCombine));
  gluTessCallback(Tess, GLU_TESS_ERROR_DATA, reinterpret_cast<F>(TessError));
  if (!Boundary) gluTessCallback(Tess, GLU_TESS_EDGE_FLAG_DATA, reinterpret_cast<F>(TessEdgeFlag));
  gluTessProperty(Tess, GLU_TESS_WINDING_RULE,
                  Rule == wrNonZero ? GLU_TESS_WINDING_NONZERO : GLU_TESS_WINDING_ODD);
  gluTessProperty(Tess, GLU_TESS_BOUNDARY_ONLY, Boundary ? GL_TRUE : GL_FALSE);
  gluTessNormal(Tess, 0.0, 0.0, 1.0);
  gluTessBeginPolygon(Tess, &S);
  size_t Next = 0;  // the first TTessVertex of the contour
  for (const TLumContour& C : Contours) {
    if (C.size() < 3) {
      Next += C.size();
      continue;
    }
    gluTessBeginContour(Tess);
    for (size_t i = 0; i < C.size(); ++i) {
      TTessVertex& V = S.Vertices[Next + i];
      gluTessVertex(Tess, V.Coords, &V);
    }
    gluTessEndContour(Tess);
    Next += C.size();
  }
  gluTessEndPolygon(Tess);
  gluDeleteTess(Tess);
}

}  // namespace

void LumTessellate(const std::vector<TLumContour>& Contours, TLumWindingRule Rule,
                   TLumTessellation& Out) {
  Out = TLumTessellation();
  TTessState S;
  S.Out = &Out;
  for (const TLumContour& C : Contours)
    for (const TLumPoint2& P : C) {
      S.Vertices.push_back({{P.X, P.Y, 0.0}, static_cast<uint32_t>(Out.Points.size())});
      Out.Points.push_back(P);
    }
  RunTessellator(Contours, Rule, false, S);
  if (!S.Error) RunTessellator(Contours, Rule, true, S);
  if (S.Error) {
    const GLubyte* Text = gluErrorString(S.Error);
    Out = TLumTessellation();
    throw Exception(std::string("The polygon cannot be tessellated: ") +
                    (Text ? reinterpret_cast<const char*>(Text) : "unknown error"));
  }
  // Keep every triangle counter-clockwise seen from +Z, whatever GLU's own habit.
  for (size_t t = 0; t + 2 < Out.Triangles.size(); t += 3) {
    const TLumPoint2 &A = Out.Points[Out.Triangles[t]], &B = Out.Points[Out.Triangles[t + 1]],
                     &C = Out.Points[Out.Triangles[t + 2]];
    if ((B.X - A.X) * (C.Y - A.Y) - (B.Y - A.Y) * (C.X - A.X) < 0)
      std::swap(Out.Triangles[t + 1], Out.Triangles[t + 2]);
  }
}

// --- meshes --------------------------------------------------------------------------------

void LumBuildPlanarMesh(TLumPrimitiveObj& Obj, const TLumTessellation& T, double Depth,
                        bool Outline) {
  TLumPrimitivePoints* P = Obj.Points();
  const TLumTextureFlags* TF = Obj.TextureFlags();
  double MinX = INFINITY, MinY = INFINITY, MaxX = -INFINITY, MaxY = -INFINITY;
  for (const TLumPoint2& Q : T.Points) {
    MinX = std::min(MinX, Q.X), MaxX = std::max(MaxX, Q.X);
    MinY = std::min(MinY, Q.Y), MaxY = std::max(MaxY, Q.Y);
  }
  const double W = MaxX > MinX ? MaxX - MinX : 1.0, H = MaxY > MinY ? MaxY - MinY : 1.0;
  auto Tex = [&](const TLumPoint2& Q) -> TLumMathVector {
    return {(Q.X - MinX) / W * TF->ScaleX() + TF->ShiftX(),
            (Q.Y - MinY) / H * TF->ScaleY() + TF->ShiftY(), 0.0};
  };
  const bool Solid = Depth > 0;

  // One layer of the points per cap: back (z = 0) first, then the front of a solid.
  auto AddLayer = [&](double Z, double NZ) {
    const uint32_t Base = static_cast<uint32_t>(P->Count());
    for (const TLumPoint2& Q : T.Points) P->Add({Q.X, Q.Y, Z}, {0.0, 0.0, NZ}, Tex(Q));
    return Base;
  };
  if (Outline) {
    const uint32_t Layers[2] = {AddLayer(0.0, 1.0), Solid ? AddLayer(Depth, 1.0) : 0};
    for (int L = 0; L < (Solid ? 2 : 1); ++L)
      for (const auto& Loop : T.Boundary) {
        const int32_t A = Obj.AddPrimitiveArray(GL_LINE_LOOP);
        for (uint32_t i : Loop) Obj.AddIndex(Layers[L] + i, A);
      }
    return;
  }
  if (!Solid) {
    const uint32_t Base = AddLayer(0.0, 1.0);
    const int32_t A = Obj.AddPrimitiveArray(GL_TRIANGLES);
    Obj.GetPrimitive(A)->SetSize(static_cast<int32_t>(T.Triangles.size()));
    for (uint32_t i : T.Triangles) Obj.AddIndex(Base + i, A);
    return;
  }
  const uint32_t Back = AddLayer(0.0, -1.0), Front = AddLayer(Depth, 1.0);
  const int32_t F = Obj.AddPrimitiveArray(GL_TRIANGLES);
  for (uint32_t i : T.Triangles) Obj.AddIndex(Front + i, F);
  const int32_t B = Obj.AddPrimitiveArray(GL_TRIANGLES);
  for (size_t t = 0; t + 2 < T.Triangles.size(); t += 3)
    for (size_t k : {t, t + 2, t + 1}) Obj.AddIndex(Back + T.Triangles[k], B);
  // Walls: four vertices per boundary edge, with that edge's outward normal (the region
  // lies on the left of a boundary loop, so outward is the edge turned clockwise).
  const int32_t Walls = Obj.AddPrimitiveArray(GL_QUADS);
  for (const auto& Loop : T.Boundary) {
    double Length = 0.0;
    for (size_t k = 0; k < Loop.size(); ++k) {
      const TLumPoint2 &A = T.Points[Loop[k]], &Bp = T.Points[Loop[(k + 1) % Loop.size()]];
      Length += std::hypot(Bp.X - A.X, Bp.Y - A.Y);
    }
    if (!(Length > 0)) continue;
    double Run = 0.0;
    for (size_t k = 0; k < Loop.size(); ++k) {
      const TLumPoint2 &A = T.Points[Loop[k]], &Bp = T.Points[Loop[(k + 1) % Loop.size()]];
      const double DX = Bp.X - A.X, DY = Bp.Y - A.Y, L = std::hypot(DX, DY);
      if (!(L > 0)) continue;
      const TLumMathVector Nv{DY / L, -DX / L, 0.0};
      const double S0 = Run / Length * TF->ScaleX() + TF->ShiftX();
      Run += L;
      const double S1 = Run / Length * TF->ScaleX() + TF->ShiftX();
      const double T0 = TF->ShiftY(), T1 = TF->ScaleY() + TF->ShiftY();
      const uint32_t V = static_cast<uint32_t>(P->Count());
      P->Add({A.X, A.Y, 0.0}, Nv, {S0, T0, 0.0});
      P->Add({Bp.X, Bp.Y, 0.0}, Nv, {S1, T0, 0.0});
      P->Add({Bp.X, Bp.Y, Depth}, Nv, {S1, T1, 0.0});
      P->Add({A.X, A.Y, Depth}, Nv, {S0, T1, 0.0});
      for (uint32_t i = 0; i < 4; ++i) Obj.AddIndex(V + i, Walls);
    }
  }
}

// --- TLumPolygon -------------------------------------------------------------------------

TLumPolygon::TLumPolygon(TComponent* AOwner)
    : TLumPrimitiveObj(AOwner), FContourReader([this](TLumExchange* Ex, TXMLTag* Tag) -> TObject* {
        if (!SameText(Tag->Name, "Point") || FContours.empty()) return nullptr;
        double X = 0, Y = 0;
        Ex->getvalue("X", X);
        Ex->getvalue("Y", Y);
        AddPoint(X, Y, ContourCount() - 1);
        return Ex->ElementRead();
      }) {}

TLumPolygon::~TLumPolygon() = default;

void TLumPolygon::Rebuild() {
  SetInitialized(false);
  ClearCache();  // a cached object must not replay its old mesh
  Changed();
}

const TLumContour& TLumPolygon::Contour(int32_t i) const {
  static const TLumContour Empty;
  return i >= 0 && i < ContourCount() ? FContours[static_cast<size_t>(i)] : Empty;
}

int32_t TLumPolygon::AddContour() {
  FContours.emplace_back();
  Rebuild();
  return ContourCount() - 1;
}

namespace {

// GLU's tessellator refuses coordinates beyond 1e150: such points are ignored like
// non-finite ones, so that a polygon never fails to build while it is drawn.
bool Usable(double X, double Y) { return std::fabs(X) <= 1e150 && std::fabs(Y) <= 1e150; }

}  // namespace

void TLumPolygon::AddPoint(double X, double Y, int32_t Contour) {
  if (!Usable(X, Y) || Contour < 0) return;
  if (Contour >= ContourCount()) FContours.resize(static_cast<size_t>(Contour) + 1);
  FContours[static_cast<size_t>(Contour)].push_back({X, Y});
  Rebuild();
}

void TLumPolygon::SetContour(int32_t i, const TLumContour& Points) {
  if (i < 0 || i > ContourCount()) return;
  if (i == ContourCount()) FContours.emplace_back();
  TLumContour& C = FContours[static_cast<size_t>(i)];
  C.clear();
  for (const TLumPoint2& Q : Points)
    if (Usable(Q.X, Q.Y)) C.push_back(Q);
  Rebuild();
}

void TLumPolygon::ClearContours() {
  FContours.clear();
  Rebuild();
}

void TLumPolygon::SetDepth(double Value) {
  if (!(Value >= 0) || !std::isfinite(Value)) return;
  FDepth = Value;
  Rebuild();
}

void TLumPolygon::SetOutline(bool Value) {
  FOutline = Value;
  Rebuild();
}

void TLumPolygon::SetWindingRule(TLumWindingRule Value) {
  if (Value > wrNonZero) return;
  FWindingRule = Value;
  Rebuild();
}

void TLumPolygon::InitPoints() {
  TLumTessellation T;
  LumTessellate(FContours, FWindingRule, T);
  LumBuildPlanarMesh(*this, T, FDepth, FOutline);
}

void TLumPolygon::InitPrimitives() {}  // InitPoints builds the lists with the vertices

void TLumPolygon::Assign(TPersistent* Source) {
  if (auto* S = dynamic_cast<TLumPolygon*>(Source); S && S != this) {
    // The contours are a form entry of their own, not a published property.
    FContours = S->FContours;
    CopyPublished(this, S);
  }
  TLumPrimitiveObj::Assign(Source);
}

// The own values from the table; the contours follow as child elements it does not know.
void TLumPolygon::WriteValues(TLumExchange* Exchange) {
  Exchange->WritePublished(this, ClassInfoOf<TLumPolygon>());
  TLumPrimitiveObj::WriteValues(Exchange);
  for (const TLumContour& C : FContours) {
    Exchange->StartTag("Contour");
    for (const TLumPoint2& Q : C) {
      // Always both coordinates: a point at the origin must not vanish as a default.
      Exchange->StartTag("Point");
      Exchange->addparam("X", Exchange->toStr(Q.X));
      Exchange->addparam("Y", Exchange->toStr(Q.Y));
      Exchange->EndTag();
    }
    // An empty contour still counts: it keeps the numbers of the ones after it.
    Exchange->addparam("Points", std::to_string(C.size()));
    Exchange->EndTag();
  }
}

void TLumPolygon::ReadValues(TLumExchange* Exchange) {
  TLumPrimitiveObj::ReadValues(Exchange);
  Exchange->ReadPublished(this, ClassInfoOf<TLumPolygon>());
}

TObject* TLumPolygon::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  if (Tag && SameText(Tag->Name, "Contour")) {
    AddContour();
    // The count only keeps an empty contour in the file; the points themselves follow.
    std::string Count;
    Exchange->GetParamText("Points", Count);
    return &FContourReader;
  }
  return TLumPrimitiveObj::ReadComp(Exchange, Tag);
}

void RegisterLumpolygonClasses() { RegisterRenderClass<TLumPolygon>(); }

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumpolygonProperties() {
  TLumClassTable<TLumPolygon, TLumPrimitiveObj> T(
      "TLumPolygon", "Lumox Obj", "A polygon with holes in the X-Y plane, flat or extruded");
  T.Creatable();
  T.Double("Depth", &TLumPolygon::Depth, &TLumPolygon::SetDepth, 0.0,
           "0 = flat; a solid this thick along +Z")
      .Range(TLumRange::AtLeast(0))
      .Exchange()
      .Field(&TLumPolygon::FDepth);
  T.Boolean("Outline", &TLumPolygon::Outline, &TLumPolygon::SetOutline, false,
            "Lines along the boundary instead of faces")
      .Exchange()
      .Field(&TLumPolygon::FOutline);
  T.Enum("WindingRule", "TLumWindingRule", &TLumPolygon::WindingRule, &TLumPolygon::SetWindingRule,
         TLumWindingRuleStr, wrOdd, "Which overlapping regions are filled")
      .Exchange()
      .Field(&TLumPolygon::FWindingRule);
  // One contour per line: x, y of each point; the first is the outline.
  T.DefineData(
      "Contours", "The contours, a list of x, y pairs each; the first is the outline",
      [](const TLumPolygon* P) { return P->ContourCount() > 0; },
      [](const TLumPolygon* P, TLumFormWriter& W) {
        W.WriteListBegin();
        for (int32_t C = 0; C < P->ContourCount(); ++C) {
          W.NewLine();
          W.WriteListBegin();
          for (const TLumPoint2& Pt : P->Contour(C)) {
            W.WriteFloat(Pt.X);
            W.WriteFloat(Pt.Y);
          }
          W.WriteListEnd();
        }
        W.WriteListEnd();
      },
      [](TLumPolygon* P, TLumFormReader& R) {
        std::vector<TLumContour> Contours;
        R.ReadListBegin();
        while (!R.EndOfList()) {
          TLumContour& C = Contours.emplace_back();
          R.ReadListBegin();
          while (!R.EndOfList()) {
            const double X = R.ReadFloat();
            if (R.EndOfList()) R.Error("a contour point lacks its y");
            C.push_back({X, R.ReadFloat()});
          }
          R.ReadListEnd();
        }
        R.ReadListEnd();
        P->ClearContours();
        for (size_t I = 0; I < Contours.size(); ++I) P->SetContour(int32_t(I), Contours[I]);
      });
}

}  // namespace lumox
