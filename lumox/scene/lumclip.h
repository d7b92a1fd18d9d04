// TLumClip: enables one of the six GL user clip planes for what is rendered after it,
// and disables it when the component is disabled.
#pragma once

#include <cstdint>

#include "lumox/scene/lumcomp.h"

namespace lumox {

enum TLumClipIds : uint8_t {
  idClipPlane0,
  idClipPlane1,
  idClipPlane2,
  idClipPlane3,
  idClipPlane4,
  idClipPlane5
};
extern const char* const TLumClipIdsStr[6];

class TLumClip : public TLumRender {
 public:
  explicit TLumClip(TComponent* AOwner);
  const char* ClassName() const override { return "TLumClip"; }

  // Stored without notification, like the coefficients.
  TLumClipIds ID() const { return FID; }
  void SetID(TLumClipIds Value);
  // The plane keeps the points with x*X + y*Y + z*Z + w >= 0, in the coordinates
  // current when the component renders.
  double x() const { return FPlane[0]; }
  double y() const { return FPlane[1]; }
  double z() const { return FPlane[2]; }
  double w() const { return FPlane[3]; }
  void Setx(double Value) { SetPlane(0, Value); }
  void Sety(double Value) { SetPlane(1, Value); }
  void Setz(double Value) { SetPlane(2, Value); }
  void Setw(double Value) { SetPlane(3, Value); }
  // Coefficient 0..3 (x, y, z, w); -1.0 for any other index.
  double GetPlane(int Index) const;
  // Stores the coefficient without comparing or notifying, so a cached list keeps the
  // old plane until something else changes; other indices are ignored.
  void SetPlane(int Index, double Value);

  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;
  void DoRender(TLumCustomView* aView) override;
  void DoDisable(TLumCustomView* aView) override;

 private:
  TLumClipIds FID = idClipPlane0;
  double FPlane[4] = {1.0, 0.0, 0.0, 1.0};
};

void RegisterLumclipClasses();

}  // namespace lumox
