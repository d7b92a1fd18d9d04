// The viewpoint a scene file may carry: a camera element among the file's objects,
// read while the scene loads and written back when it is saved; and look-at views.
#include <cmath>
#include <memory>
#include <numbers>

#include "apps/lumox/lumoxcmd.h"
#include "lumox/exchange/lumexchange.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"

using namespace lumox;

namespace lumoxcmd {

namespace {

// Stands in the node for the camera while the node is saved, so that the camera's
// element is written among the file's objects.
class TCameraItem : public TLumRender {
 public:
  explicit TCameraItem(TLumCamera* Camera) : TLumRender(nullptr), FCamera(Camera) {}
  const char* ClassName() const override { return "TCameraItem"; }
  void WriteComp(TLumExchange* Exchange, const std::string&) override {
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

}  // namespace lumoxcmd
