// The viewpoint a scene file may carry: a camera element among the file's objects,
// read while the scene loads and written back when it is saved; look-at views; and the
// headlight of scenes that bring no lights.
#include <cmath>
#include <memory>
#include <numbers>

#include "apps/lumox/lumoxcmd.h"
#include "lumox/exchange/lumexchange.h"
#include "lumox/geometry/lum3dobj.h"
#include "lumox/geometry/lumbounds.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumattr.h"
#include "lumox/scene/lumlight.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

using namespace lumox;

namespace lumoxcmd {

namespace {

// Stands in the node for the camera while the node is saved, so that the camera's
// element is written among the file's objects.
class TCameraItem : public TLumRender {
 public:
  explicit TCameraItem(TLumCamera* Camera) : TLumRender(nullptr), FCamera(Camera) {}
  const char* ClassName() const override { return "TCameraItem"; }
  void WriteComp(TLumExchange* Exchange, std::string_view) override {
    FCamera->WriteComp(Exchange, UpperCase(FCamera->ClassName()));
  }

 private:
  TLumCamera* FCamera;
};

}  // namespace

void ReadFileCamera(TLumExchange* Exchange, TComponent* Owner, TLumNode* Root,
                    TLumCamera** Camera) {
  Exchange->OnReadElement = [=](TXMLTag* Tag, TObject* Parent) -> TObject* {
    if (Parent != Root) return nullptr;
    const bool Perspective = SameText(Tag->Name, "TLumPerspectiveCamera");
    if (!Perspective && !SameText(Tag->Name, "TLumOrthographicCamera")) return nullptr;
    // A further camera is read, into an owner of its own so that its name cannot
    // clash with the first one's, and left unused.
    TComponent* CameraOwner = *Camera ? new TComponent(Owner) : Owner;
    TLumCamera* C = Perspective ? static_cast<TLumCamera*>(new TLumPerspectiveCamera(CameraOwner))
                                : new TLumOrthographicCamera(CameraOwner);
    if (*Camera)
      Exchange->Warn(lwUnknownElement, "only the file's first camera is used: ignored");
    else
      *Camera = C;
    C->ReadValues(Exchange);
    return C;
  };
}

void SaveWithCamera(TLumExchange* Exchange, TLumNode* Root, TLumCamera* Camera) {
  if (!Camera) {
    Exchange->SavetoFile(Root);
    return;
  }
  TCameraItem Item(Camera);
  Root->Add(&Item);
  try {
    Exchange->SavetoFile(Root);
  } catch (...) {
    Root->Remove(&Item);
    throw;
  }
  Root->Remove(&Item);
}

void LookAt(TLumCamera* Camera, const TLumMathVector& Eye, const TLumMathVector& Target) {
  // The view applies the camera's transformation first: rotate the direction of view
  // onto -Z (turn about Y, then tilt about X) after moving the eye to the origin.
  const double DX = Target.X - Eye.X, DY = Target.Y - Eye.Y, DZ = Target.Z - Eye.Z;
  const double Deg = 180 / std::numbers::pi;
  const double Yaw = std::atan2(DX, -DZ) * Deg;
  const double Pitch = std::atan2(-DY, std::hypot(DX, DZ)) * Deg;
  TLumTransformation* T = Camera->Transformation();
  T->SetOrder(toRotTraSca);
  T->Rotation()->SetOrder(roXYZ);
  T->Rotation()->SetValues(static_cast<float>(Pitch), static_cast<float>(Yaw), 0);
  T->Translation()->SetValues(static_cast<float>(-Eye.X), static_cast<float>(-Eye.Y),
                              static_cast<float>(-Eye.Z));
  T->Scale()->SetValues(1, 1, 1);
}

bool HasLights(TLumNode* Root) {
  bool Found = false;
  LumWalkItems(Root, [&Found](TLumNode* N, int I, TLumRender* Item) {
    Found = Found || dynamic_cast<TLumLight*>(Item);
    return !Found && !N->IsIndirect(I);
  });
  return Found;
}

namespace {

// Whether a material of the object's own gives it its colour.
bool OwnMaterial(TLumObject* O) {
  if (O->Material()) return true;
  if (auto* M = dynamic_cast<TLum3dObj*>(O))
    for (int32_t I = 0; I < M->PartCount(); ++I)
      if (M->Part(I)->PartMaterial()) return true;
  return false;
}

}  // namespace

THeadlight::THeadlight(TComponent* Owner, TLumRender* Root)
    : FLight(new TLumLight(Owner)), FLit(new TLumAttributes(Owner)) {
  FLight->SetKind(lkDirection);  // along +Z of the eye: towards the viewer
  FLit->SetLighting(true);
  FLit->SetLightTwoSide(true);
  FLit->SetLineWidth(1);
  // Lit, an object without a material would take OpenGL's grey one: those that no
  // material reaches keep their colour through the colour-material mode.
  bool MaterialRendered = false;
  LumWalkScene(Root, [&](TLumRender* Item, const TLumMathMatrix&) {
    if (dynamic_cast<TLumMaterial*>(Item)) MaterialRendered = true;
    auto* O = dynamic_cast<TLumObject*>(Item);
    if (O && !MaterialRendered && !OwnMaterial(O) && O->ColorAsMaterial() == cmNone)
      O->SetColorAsMaterial(cmAmbientDiffuse);
  });
}

void THeadlight::Render(TLumView* View) {
  // Placed with the eye's own (identity) matrix, so that it moves with the camera.
  glMatrixMode(GL_MODELVIEW);
  glPushMatrix();
  glLoadIdentity();
  FLight->Render(View);
  glPopMatrix();
  FLit->Render(View);
  // Models are often scaled by their nodes (a unit of centimetres): lit, their normals
  // must be made unit length again.
  glEnable(GL_NORMALIZE);
}

}  // namespace lumoxcmd
