// The bare-GL baseline: a flat scene copied into plain data and drawn with raw GL
// calls, and the interleaved frame loop that measures it against the library.
#include "bench/scenes/baregl.h"

#include <typeinfo>

#include "bench/scenes/benchscenes.h"
#include "lumox/geometry/lumprimitiveobj.h"
#include "lumox/host/classes.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumattr.h"
#include "lumox/scene/lumlight.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumview.h"

using namespace lumox;

namespace lumoxbench {

struct TBareScene::TStep {
  enum TKind : uint8_t { skAttributes, skLight, skMaterial, skMesh } Kind;
  GLenum Name = 0;  // the light, the material's face, or the polygon mode
  float Colors[4][4] = {};
  float Vector[4] = {};
  float Value = 0;  // a light's cut-off
  GLint Shininess = 0;
  GLenum Cull = 0;  // 0 for no culling
  GLenum Shade = GL_SMOOTH;
  bool Lighting = false, Dither = false, TwoSide = false, Spot = false;
  bool Translated = false;
  GLuint List = 0;
};

namespace {

bool HasHandlers(const TLumRender* R) {
  return R->OnTransform || R->OnBeforeRender || R->OnAfterRender || !R->Enabled();
}

bool OnlyTranslated(const TLumRender* R) {
  const TLumTransformation* T = R->Transformation();
  return T->Rotation()->GetEmpty() && T->Scale()->GetEmpty();
}

bool UsesArray(const TLumPrimitivePoints* P, TLumArray Kind) {
  return P->UsedArrays().Contains(Kind) && P->IsDefined(Kind) && P->Size() > 0;
}

// What stands in the way of copying Item, or an empty text.
std::string Unsupported(TLumRender* Item) {
  const std::string Class = Item->ClassName();
  if (HasHandlers(Item)) return Class + " with an event handler or disabled";
  if (auto* A = dynamic_cast<TLumAttributes*>(Item)) {
    if (typeid(*Item) != typeid(TLumAttributes) || A->Antialiasing() ||
        A->Transparency() != tmNone || A->LineStipple() != lsSolid)
      return Class + " with smoothing, blending or stipple";
    return "";
  }
  if (auto* L = dynamic_cast<TLumLight*>(Item)) {
    if (typeid(*Item) != typeid(TLumLight) || !L->Transformation()->GetEmpty())
      return "a light that is moved";
    return "";
  }
  if (typeid(*Item) == typeid(TLumMaterial)) return "";
  if (auto* M = dynamic_cast<TLumPrimitiveObj*>(Item)) {
    if (!OnlyTranslated(M)) return Class + " rotated or scaled";
    if (M->Attributes() || M->Material() || M->ColorAsMaterial() != cmNone)
      return Class + " with attributes or a material of its own";
    if (M->Textured() || M->Texture() || UsesArray(M->Points(), daColor) ||
        UsesArray(M->Points(), daTexture) || UsesArray(M->Points(), daEdgeFlag))
      return Class + " with texture, colour or edge-flag arrays";
    for (int32_t P = 0; P < M->GetPrimitiveCount(); ++P)
      if (M->GetPrimitive(P)->Textured()) return Class + " with a textured list";
    return "";
  }
  if (dynamic_cast<TLumNode*>(Item)) return "nested nodes";
  return "a " + Class;
}

void CopyColor(const TLumColor* C, float (&To)[4]) { C->GetParams(To); }

GLuint CompileMesh(TLumPrimitiveObj* M) {
  if (!M->Initialized()) M->Init();
  const GLuint L = glGenLists(1);
  glNewList(L, GL_COMPILE);
  float Color[4];
  M->Color()->GetParams(Color);
  glColor4fv(Color);
  const TLumPrimitivePoints* P = M->Points();
  if (UsesArray(P, daNormal)) {
    glEnableClientState(GL_NORMAL_ARRAY);
    glNormalPointer(GL_DOUBLE, 0, P->Normals());
  }
  if (UsesArray(P, daVertex)) {
    glEnableClientState(GL_VERTEX_ARRAY);
    glVertexPointer(3, GL_DOUBLE, 0, P->Vertices());
  }
  for (int32_t I = 0; I < M->GetPrimitiveCount(); ++I) {
    const TLumPrimitiveArray* A = M->GetPrimitive(I);
    if (A->Visible() && A->Count() > 0)
      glDrawElements(static_cast<GLenum>(A->PrimitiveType()), A->Count(), GL_UNSIGNED_INT,
                     A->IndexData());
  }
  glDisableClientState(GL_NORMAL_ARRAY);
  glDisableClientState(GL_VERTEX_ARRAY);
  glEndList();
  return L;
}

}  // namespace

bool BareSceneSupports(TLumNode* Root, std::string& Why) {
  Why.clear();
  if (Root->OnRender || HasHandlers(Root) || !Root->Transformation()->GetEmpty())
    Why = "the root node is moved or has an event handler";
  for (int I = 0; Why.empty() && I < Root->GetCount(); ++I)
    if (TLumRender* Item = Root->GetItems(I)) Why = Unsupported(Item);
  return Why.empty();
}

TBareScene::TBareScene(TLumNode* Root) {
  std::string Why;
  if (!BareSceneSupports(Root, Why)) throw Exception("no bare-GL baseline for a scene with " + Why);
  static const GLenum Faces[3] = {GL_FRONT, GL_BACK, GL_FRONT_AND_BACK};
  static const GLenum Modes[3] = {GL_POINT, GL_LINE, GL_FILL};
  for (int I = 0; I < Root->GetCount(); ++I) {
    TLumRender* Item = Root->GetItems(I);
    if (!Item) continue;
    TStep S{};
    if (auto* A = dynamic_cast<TLumAttributes*>(Item)) {
      S.Kind = TStep::skAttributes;
      CopyColor(A->ColorAmbient(), S.Colors[0]);
      S.Cull = A->CullFace() == cfNone ? 0 : A->CullFace() == cfFront ? GL_FRONT : GL_BACK;
      S.Dither = A->Dithering();
      S.Lighting = A->Lighting();
      S.TwoSide = A->LightTwoSide();
      S.Name = Modes[A->PolygonMode()];
      S.Shade = A->ShadeModel() == smFlat ? GL_FLAT : GL_SMOOTH;
    } else if (auto* L = dynamic_cast<TLumLight*>(Item)) {
      S.Kind = TStep::skLight;
      S.Name = L->GetLightID();
      CopyColor(L->ColorAmbient(), S.Colors[0]);
      CopyColor(L->ColorDiffuse(), S.Colors[1]);
      CopyColor(L->ColorSpecular(), S.Colors[2]);
      const bool Direction = L->Kind() == lkDirection;
      S.Spot = L->Kind() == lkSpot;
      const TLumDirection* D = L->Direction();
      S.Vector[0] = Direction ? D->X() : 0.0f;
      S.Vector[1] = Direction ? D->Y() : 0.0f;
      S.Vector[2] = Direction ? D->Z() : 0.0f;
      S.Vector[3] = Direction ? 0.0f : 1.0f;
      S.Colors[3][0] = D->X(), S.Colors[3][1] = D->Y(), S.Colors[3][2] = D->Z();
      S.Value = L->CutOff();
    } else if (auto* M = dynamic_cast<TLumMaterial*>(Item)) {
      S.Kind = TStep::skMaterial;
      S.Name = Faces[M->Face()];
      CopyColor(M->ColorAmbient(), S.Colors[0]);
      CopyColor(M->ColorDiffuse(), S.Colors[1]);
      CopyColor(M->ColorSpecular(), S.Colors[2]);
      CopyColor(M->ColorEmission(), S.Colors[3]);
      S.Shininess = M->Shininess();
    } else if (auto* Mesh = dynamic_cast<TLumPrimitiveObj*>(Item)) {
      S.Kind = TStep::skMesh;
      const TLumTranslation* T = Mesh->Transformation()->Translation();
      S.Translated = !T->GetEmpty();
      S.Vector[0] = T->X(), S.Vector[1] = T->Y(), S.Vector[2] = T->Z();
      S.List = CompileMesh(Mesh);
      FLists.push_back(S.List);
    }
    FSteps.push_back(S);
  }
}

size_t CompileBareLists(TLumNode* Root) {
  std::vector<GLuint> Lists;
  LumWalkItems(Root, [&Lists](TLumNode*, int, TLumRender* Item) {
    if (auto* Mesh = dynamic_cast<TLumPrimitiveObj*>(Item); Mesh && Mesh->Enabled())
      Lists.push_back(CompileMesh(Mesh));
    return true;
  });
  glFinish();
  for (GLuint L : Lists) glDeleteLists(L, 1);
  return Lists.size();
}

TBareScene::~TBareScene() {
  for (GLuint L : FLists) glDeleteLists(L, 1);
}

void TBareScene::Draw() const {
  for (const TStep& S : FSteps) {
    switch (S.Kind) {
      case TStep::skAttributes:
        glLightModelfv(GL_LIGHT_MODEL_AMBIENT, S.Colors[0]);
        if (S.Cull) {
          glEnable(GL_CULL_FACE);
          glCullFace(S.Cull);
        } else {
          glDisable(GL_CULL_FACE);
        }
        S.Dither ? glEnable(GL_DITHER) : glDisable(GL_DITHER);
        S.Lighting ? glEnable(GL_LIGHTING) : glDisable(GL_LIGHTING);
        glLightModeli(GL_LIGHT_MODEL_TWO_SIDE, S.TwoSide ? 1 : 0);
        glPolygonMode(GL_FRONT_AND_BACK, S.Name);
        glShadeModel(S.Shade);
        break;
      case TStep::skLight:
        glEnable(S.Name);
        glLightfv(S.Name, GL_AMBIENT, S.Colors[0]);
        glLightfv(S.Name, GL_DIFFUSE, S.Colors[1]);
        glLightfv(S.Name, GL_SPECULAR, S.Colors[2]);
        glLightfv(S.Name, GL_POSITION, S.Vector);
        glLightf(S.Name, GL_SPOT_CUTOFF, S.Value);
        if (S.Spot) glLightfv(S.Name, GL_SPOT_DIRECTION, S.Colors[3]);
        break;
      case TStep::skMaterial:
        glMaterialfv(S.Name, GL_AMBIENT, S.Colors[0]);
        glMaterialfv(S.Name, GL_DIFFUSE, S.Colors[1]);
        glMaterialfv(S.Name, GL_SPECULAR, S.Colors[2]);
        glMaterialfv(S.Name, GL_EMISSION, S.Colors[3]);
        glMateriali(S.Name, GL_SHININESS, S.Shininess);
        break;
      case TStep::skMesh:
        glPushMatrix();
        if (S.Translated) glTranslatef(S.Vector[0], S.Vector[1], S.Vector[2]);
        glCallList(S.List);
        glPopMatrix();
        break;
    }
  }
}

TInterleavedTimes RunInterleaved(TLumView* View, TLumNode* Root, const TBareScene* Bare, int Warmup,
                                 int Frames) {
  bool UseBare = false;
  View->OnRender = [&UseBare, Root, Bare](TLumView* V) {
    if (UseBare)
      Bare->Draw();
    else
      Root->Render(V);
  };
  TInterleavedTimes Times;
  // The order within a pair alternates, so that neither kind always follows the other.
  for (int F = 0; F < Warmup + Frames; ++F) {
    for (int K = 0; K < (Bare ? 2 : 1); ++K) {
      UseBare = Bare && (K == 1) == (F % 2 == 0);
      const double Ms = TimedPaint(View);
      if (F >= Warmup) (UseBare ? Times.Bare : Times.Scene).push_back(Ms);
    }
  }
  View->OnRender = [Root](TLumView* V) { Root->Render(V); };
  return Times;
}

}  // namespace lumoxbench
