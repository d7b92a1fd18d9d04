// The material component: colours, face, shininess, their GL calls and exchange
// attributes, and the "last rendered" test of the context it renders in.
#include "lumox/scene/lummat.h"

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumobj.h"

namespace lumox {

const char* const TMaterialFaceStr[3] = {"mfFront", "mfBack", "mfFrontBack"};

namespace {

constexpr GLenum FaceGL[3] = {GL_FRONT, GL_BACK, GL_FRONT_AND_BACK};

TLumColor* InitColor(TLumColor& C, uint32_t Rgb, TLumMaterial* Owner) {
  C.SetColor(Rgb);
  C.OnChange = [Owner](TObject* Sender) { Owner->SubChange(Sender); };
  return &C;
}

}  // namespace

bool IsLastRenderedMaterial(TLumCustomView* aView, const TLumMaterial* m) {
  return aView && m && aView->RenderState().Material.Is(m->StateKey());
}

void SetLastRenderedMaterial(TLumCustomView* aView, TLumMaterial* m) {
  if (aView) aView->RenderState().Material.Set(m ? m->StateKey() : 0);
}

TLumMaterial::TLumMaterial(TComponent* AOwner)
    : TLumRender(AOwner),
      FColorAmbient(InitColor(FColorStore[0], 0x333333, this)),
      FColorDiffuse(InitColor(FColorStore[1], 0xCCCCCC, this)),
      FColorSpecular(InitColor(FColorStore[2], 0x000000, this)),
      FColorEmission(InitColor(FColorStore[3], 0x000000, this)) {}

TLumMaterial::~TLumMaterial() { Destroying(); }

void TLumMaterial::SetFace(TMaterialFace Value) {
  if (Value > mfFrontBack) return;
  SetField(FFace, Value);
}

void TLumMaterial::SetPartColor(int Index, TLumColor* Color) {
  if (!Color) return;
  switch (Index) {
    case 1:
      FColorAmbient->Assign(Color);
      break;
    case 2:
      FColorDiffuse->Assign(Color);
      break;
    case 3:
      FColorSpecular->Assign(Color);
      break;
    case 4:
      FColorEmission->Assign(Color);
      break;
    default:
      break;
  }
}

void TLumMaterial::SetShininess(int32_t Value) {
  if (Value < 0 || Value >= 129) return;
  SetField(FShininess, Value);
}

void TLumMaterial::Assign(TPersistent* Source) {
  if (auto* M = dynamic_cast<TLumMaterial*>(Source)) CopyPublished(this, M);
  TLumRender::Assign(Source);
}

void TLumMaterial::DoRender(TLumCustomView* aView) {
  // The cache is keyed by identity only: a colour changed since this material last
  // rendered waits for the next frame.
  if (IsLastRenderedMaterial(aView, this)) return;
  TLumRender::DoRender(aView);
  SetLastRenderedMaterial(aView, this);
  const GLenum Face = FaceGL[FFace];
  float Rgba[4];
  FColorAmbient->GetParams(Rgba);
  glMaterialfv(Face, GL_AMBIENT, Rgba);
  FColorDiffuse->GetParams(Rgba);
  glMaterialfv(Face, GL_DIFFUSE, Rgba);
  FColorSpecular->GetParams(Rgba);
  glMaterialfv(Face, GL_SPECULAR, Rgba);
  FColorEmission->GetParams(Rgba);
  glMaterialfv(Face, GL_EMISSION, Rgba);
  glMateriali(Face, GL_SHININESS, FShininess);
}

void TLumMaterial::WriteValues(TLumExchange* Exchange) {
  TLumRender::WriteValues(Exchange);
  // The diffuse colour goes out as "FDiffuse" (its entry's exchange name), which the
  // reader does not take: a saved material loads back with its diffuse colour unchanged.
  Exchange->WritePublished(this, ClassInfoOf<TLumMaterial>());
}

// Reads Face and Shininess before the inherited values; the colours are child elements.
void TLumMaterial::ReadValues(TLumExchange* Exchange) {
  SetFace(static_cast<TMaterialFace>(Exchange->getenums("Face", TMaterialFaceStr, 2)));
  SetShininess(Exchange->getvalueor("Shininess", FShininess));
  TLumRender::ReadValues(Exchange);
}

TObject* TLumMaterial::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  TLumColor* C = nullptr;
  if (SameText(Tag->Name, "Ambient"))
    C = FColorAmbient;
  else if (SameText(Tag->Name, "Diffuse"))
    C = FColorDiffuse;
  else if (SameText(Tag->Name, "Specular"))
    C = FColorSpecular;
  else if (SameText(Tag->Name, "Emission"))
    C = FColorEmission;
  if (!C) return TLumRender::ReadComp(Exchange, Tag);
  C->ReadValues(Exchange);
  return C;
}

void RegisterLummatClasses() { RegisterRenderClass<TLumMaterial>(); }

// --- the published-property table ------------------------------------------------------

void detail::RegisterLummatProperties() {
  TLumClassTable<TLumMaterial, TLumRender> T("TLumMaterial", "Lumox",
                                             "The GL material of the geometry after it");
  T.Creatable();
  T.Enum("Face", "TMaterialFace", &TLumMaterial::Face, &TLumMaterial::SetFace, TMaterialFaceStr,
         mfFrontBack, "The polygon faces that receive the material")
      .Exchange()
      .Field(&TLumMaterial::FFace);
  T.Object("ColorAmbient", &TLumMaterial::ColorAmbient, &TLumMaterial::SetColorAmbient,
           "Ambient reflectance")
      .Exchange("Ambient")
      .Field(&TLumMaterial::FColorAmbient);
  // Written as "FDiffuse", which loading does not read back (kept for existing files).
  T.Object("ColorDiffuse", &TLumMaterial::ColorDiffuse, &TLumMaterial::SetColorDiffuse,
           "Diffuse reflectance")
      .Exchange("FDiffuse")
      .Field(&TLumMaterial::FColorDiffuse);
  T.Object("ColorSpecular", &TLumMaterial::ColorSpecular, &TLumMaterial::SetColorSpecular,
           "Specular reflectance")
      .Exchange("Specular")
      .Field(&TLumMaterial::FColorSpecular);
  T.Object("ColorEmission", &TLumMaterial::ColorEmission, &TLumMaterial::SetColorEmission,
           "Emitted colour")
      .Exchange("Emission")
      .Field(&TLumMaterial::FColorEmission);
  T.Integer("Shininess", &TLumMaterial::Shininess, &TLumMaterial::SetShininess, 0,
            "Specular exponent, 0..128")
      .Range(TLumRange::Between(0, 128))
      .Exchange()
      .Field(&TLumMaterial::FShininess);
  for (const char* Name : {"View", "Cached", "OnBeforeRender", "OnAfterRender"}) T.Publish(Name);
}

}  // namespace lumox
