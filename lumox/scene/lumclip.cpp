// The clip-plane component: its plane coefficients, GL calls and exchange attributes.
#include "lumox/scene/lumclip.h"

#include "lumox/exchange/lumexchange.h"
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
  FID = static_cast<TLumClipIds>(Exchange->getenums("ID", TLumClipIdsStr, 5));
  static const char* const Names[4] = {"x", "y", "z", "w"};
  for (int i = 0; i < 4; ++i) {
    double V = GetPlane(i);
    Exchange->getvalue(Names[i], V);
    SetPlane(i, V);
  }
}

void RegisterLumclipClasses() { RegisterRenderClass<TLumClip>(); }

}  // namespace lumox
