// The clip-plane component: its plane coefficients, GL calls and exchange attributes.
#include "lumox/scene/lumclip.h"

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumobj.h"

namespace lumox {

const char* const TLumClipIdsStr[6] = {"idClipPlane0", "idClipPlane1", "idClipPlane2",
                                       "idClipPlane3", "idClipPlane4", "idClipPlane5"};

TLumClip::TLumClip(TComponent* AOwner) : TLumRender(AOwner) {}

void TLumClip::SetID(TLumClipIds Value) {
  if (Value <= idClipPlane5) FID = Value;
}

double TLumClip::GetPlane(int Index) const {
  return Index >= 0 && Index <= 3 ? FPlane[Index] : -1.0;
}

void TLumClip::SetPlane(int Index, double Value) {
  if (Index >= 0 && Index <= 3) FPlane[Index] = Value;
}

void TLumClip::DoRender(TLumCustomView*) {
  glClipPlane(GL_CLIP_PLANE0 + FID, FPlane);
  glEnable(GL_CLIP_PLANE0 + FID);
}

void TLumClip::DoDisable(TLumCustomView*) { glDisable(GL_CLIP_PLANE0 + FID); }

// The published order, but x and w compare with 10000.0 instead of their published 1.
void TLumClip::WriteValues(TLumExchange* Exchange) {
  TLumRender::WriteValues(Exchange);
  Exchange->addtag("ID", static_cast<int>(FID), TLumClipIdsStr, 5);
  // Deliberate: x and w compare with 10000.0, so they are in practice always written.
  Exchange->addtag("x", FPlane[0], 10000.0);
  Exchange->addtag("y", FPlane[1], 0.0);
  Exchange->addtag("z", FPlane[2], 0.0);
  Exchange->addtag("w", FPlane[3], 10000.0);
}

void TLumClip::ReadValues(TLumExchange* Exchange) {
  TLumRender::ReadValues(Exchange);
  Exchange->ReadPublished(this, ClassInfoOf<TLumClip>());
}

void RegisterLumclipClasses() { RegisterRenderClass<TLumClip>(); }

// --- the published-property table ------------------------------------------------------

namespace detail {
// Called once from the package's registration (package/lumregister.cpp).
void RegisterLumclipProperties();
}  // namespace detail

void detail::RegisterLumclipProperties() {
  TLumClassTable<TLumClip, TLumRender> T(
      "TLumClip", "Lumox", "A user clip plane: keeps x*X + y*Y + z*Z + w >= 0 after it");
  T.Creatable();
  T.Enum("ID", "TLumClipIds", &TLumClip::ID, &TLumClip::SetID, TLumClipIdsStr, idClipPlane0,
         "Which of the six GL clip planes")
      .Exchange();
  T.Double("x", &TLumClip::x, &TLumClip::Setx, 1.0, "Plane coefficient A").Exchange();
  T.Double("y", &TLumClip::y, &TLumClip::Sety, 0.0, "Plane coefficient B").Exchange();
  T.Double("z", &TLumClip::z, &TLumClip::Setz, 0.0, "Plane coefficient C").Exchange();
  T.Double("w", &TLumClip::w, &TLumClip::Setw, 1.0, "Plane coefficient D").Exchange();
  for (const char* Name : {"Transformation", "View", "Cached", "OnBeforeRender", "OnAfterRender"})
    T.Publish(Name);
  T.DefineZero("x", &TLumClip::x);
  T.DefineZero("w", &TLumClip::w);
}

}  // namespace lumox
