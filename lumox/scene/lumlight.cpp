// The light component: colours, kind, cut-off and direction, the GL light calls and
// the exchange attributes.
#include "lumox/scene/lumlight.h"

#include <algorithm>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumobj.h"

namespace lumox {

const char* const TLightIDStr[8] = {"idLight0", "idLight1", "idLight2", "idLight3",
                                    "idLight4", "idLight5", "idLight6", "idLight7"};
const char* const TLightKindStr[3] = {"lkPoint", "lkDirection", "lkSpot"};

TLumLight::TLumLight(TComponent* AOwner)
    : TLumRender(AOwner),
      FColorAmbient(new TLumColor),
      FColorDiffuse(new TLumColor),
      FColorSpecular(new TLumColor),
      FDirection(new TLumDirection) {
  FColorDiffuse->SetColor(0xFFFFFF);
  FColorSpecular->SetColor(0xFFFFFF);
  auto Hook = [this](TObject* Sender) { SubChange(Sender); };
  FColorAmbient->OnChange = Hook;
  FColorDiffuse->OnChange = Hook;
  FColorSpecular->OnChange = Hook;
  FDirection->OnChange = Hook;
}

TLumLight::~TLumLight() {
  Destroying();
  delete FColorAmbient;
  delete FColorDiffuse;
  delete FColorSpecular;
  delete FDirection;
}

void TLumLight::SetID(TLightID Value) {
  if (Value <= idLight7) FID = Value;
}

uint32_t TLumLight::GetLightID() const { return GL_LIGHT0 + FID; }

void TLumLight::SetAmbient(TLumColor* Value) {
  if (Value) FColorAmbient->Assign(Value);
}
void TLumLight::SetDiffuse(TLumColor* Value) {
  if (Value) FColorDiffuse->Assign(Value);
}
void TLumLight::SetSpecular(TLumColor* Value) {
  if (Value) FColorSpecular->Assign(Value);
}
void TLumLight::SetDirection(TLumDirection* Value) {
  if (Value) FDirection->Assign(Value);
}

void TLumLight::SetKind(TLightKind Value) {
  if (Value == FKind || Value > lkSpot) return;
  FKind = Value;
  FCutOff = Value == lkSpot ? 90.0f : 180.0f;
  Changed();
}

void TLumLight::SetCutOff(float Value) {
  if (Value == FCutOff) return;
  if (FKind == lkSpot)
    FCutOff = std::clamp(Value, 0.0f, 90.0f);
  else
    FCutOff = 180.0f;
  Changed();
}

void TLumLight::Assign(TPersistent* Source) {
  if (auto* L = dynamic_cast<TLumLight*>(Source)) CopyPublished(this, L);
  TLumRender::Assign(Source);
}

void TLumLight::DoRender(TLumCustomView* aView) {
  TLumRender::DoRender(aView);
  const GLenum Light = GetLightID();
  glEnable(Light);
  float Rgba[4];
  FColorAmbient->GetParams(Rgba);
  glLightfv(Light, GL_AMBIENT, Rgba);
  FColorDiffuse->GetParams(Rgba);
  glLightfv(Light, GL_DIFFUSE, Rgba);
  FColorSpecular->GetParams(Rgba);
  glLightfv(Light, GL_SPECULAR, Rgba);
  // Point and spot lights sit at the local origin; a directional light is at infinity.
  const float Position[4] = {
      FKind == lkDirection ? FDirection->X() : 0.0f, FKind == lkDirection ? FDirection->Y() : 0.0f,
      FKind == lkDirection ? FDirection->Z() : 0.0f, FKind == lkDirection ? 0.0f : 1.0f};
  glLightfv(Light, GL_POSITION, Position);
  glLightf(Light, GL_SPOT_CUTOFF, FCutOff);
  if (FKind == lkSpot) {
    const float Dir[3] = {FDirection->X(), FDirection->Y(), FDirection->Z()};
    glLightfv(Light, GL_SPOT_DIRECTION, Dir);
  }
}

void TLumLight::DoDisable(TLumCustomView*) { glDisable(GetLightID()); }

// The colours first, then the rest alphabetically, not in published order; CutOff against
// 1800000.0 instead of its published 180.
void TLumLight::WriteValues(TLumExchange* Exchange) {
  TLumRender::WriteValues(Exchange);
  FColorAmbient->WriteComp(Exchange, "Ambient");
  FColorDiffuse->WriteComp(Exchange, "Diffuse");
  FColorSpecular->WriteComp(Exchange, "Specular");
  // Deliberate: compared with 1800000.0, so the cut-off is in practice always written.
  Exchange->addtag("CutOff", static_cast<double>(FCutOff), 1800000.0);
  FDirection->WriteComp(Exchange, "Direction");
  Exchange->addtag("ID", static_cast<int>(FID), TLightIDStr, 7);
  Exchange->addtag("Kind", static_cast<int>(FKind), TLightKindStr, 2);
}

// CutOff is set before Kind (see below), where the published order puts it after.
void TLumLight::ReadValues(TLumExchange* Exchange) {
  TLumRender::ReadValues(Exchange);
  // Deliberate order: the cut-off is applied under the old kind, so a spot read into a
  // light that is not yet a spot ends with the spot default of 90.
  SetCutOff(Exchange->getvalueor("CutOff", FCutOff));
  FID = static_cast<TLightID>(Exchange->getenums("ID", TLightIDStr, 7));
  SetKind(static_cast<TLightKind>(Exchange->getenums("Kind", TLightKindStr, 2)));
}

TObject* TLumLight::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  TLumProperty* P = nullptr;
  if (SameText(Tag->Name, "Direction"))
    P = FDirection;
  else if (SameText(Tag->Name, "Ambient"))
    P = FColorAmbient;
  else if (SameText(Tag->Name, "Diffuse"))
    P = FColorDiffuse;
  else if (SameText(Tag->Name, "Specular"))
    P = FColorSpecular;
  if (!P) return TLumRender::ReadComp(Exchange, Tag);
  P->ReadValues(Exchange);
  return P;
}

void RegisterLumlightClasses() { RegisterRenderClass<TLumLight>(); }

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumlightProperties() {
  TLumClassTable<TLumLight, TLumRender> T("TLumLight", "Lumox",
                                          "One of the eight GL lights: point, direction or spot");
  T.Creatable();
  T.Enum("ID", "TLightID", &TLumLight::ID, &TLumLight::SetID, TLightIDStr, idLight0,
         "Which GL light it configures")
      .Exchange()
      .Field(&TLumLight::FID);
  T.Object("ColorAmbient", &TLumLight::ColorAmbient, &TLumLight::SetAmbient, "Ambient colour")
      .Exchange("Ambient")
      .Field(&TLumLight::FColorAmbient);
  T.Object("ColorDiffuse", &TLumLight::ColorDiffuse, &TLumLight::SetDiffuse, "Diffuse colour")
      .Exchange("Diffuse")
      .Field(&TLumLight::FColorDiffuse);
  T.Object("ColorSpecular", &TLumLight::ColorSpecular, &TLumLight::SetSpecular, "Specular colour")
      .Exchange("Specular")
      .Field(&TLumLight::FColorSpecular);
  T.Enum("Kind", "TLightKind", &TLumLight::Kind, &TLumLight::SetKind, TLightKindStr, lkPoint,
         "Point, directional or spot light; sets CutOff to 180 or 90")
      .Exchange()
      .Field(&TLumLight::FKind);
  T.Single("CutOff", &TLumLight::CutOff, &TLumLight::SetCutOff, 180.0f,
           "Spot cone half-angle in degrees, 0..90 (180 for point and directional lights)")
      .Range(TLumRange::Between(0, 180))
      .Exchange()
      .Field(&TLumLight::FCutOff);
  T.Object("Direction", &TLumLight::Direction, &TLumLight::SetDirection,
           "Direction of directional and spot lights")
      .Exchange()
      .Field(&TLumLight::FDirection);
  for (const char* Name : {"Transformation", "View", "Cached", "OnBeforeRender", "OnAfterRender"})
    T.Publish(Name);
  // Written when it is not 0, as the light defines it; so a cut-off of 0 is left out of
  // form files and loads as its kind's value (docs/forms.md says so).
  T.DefineZeroWhen("CutOff", [](const TLumLight* L) { return L->CutOff() != 0.0f; });
}

}  // namespace lumox
