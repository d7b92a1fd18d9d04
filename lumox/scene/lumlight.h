// TLumLight: switches on and configures one of the eight fixed-function GL lights
// for what is rendered after it, and switches it off when disabled.
#pragma once

#include <cstdint>

#include "lumox/scene/lumcomp.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLumlightProperties();
}  // namespace detail

enum TLightID : uint8_t {
  idLight0,
  idLight1,
  idLight2,
  idLight3,
  idLight4,
  idLight5,
  idLight6,
  idLight7
};
extern const char* const TLightIDStr[8];
enum TLightKind : uint8_t { lkPoint, lkDirection, lkSpot };
extern const char* const TLightKindStr[3];

class TLumLight : public TLumRender {
 public:
  explicit TLumLight(TComponent* AOwner);
  ~TLumLight() override;
  const char* ClassName() const override { return "TLumLight"; }

  // Which GL light this component drives; lights are not allocated, so two components
  // with the same ID share one light. Stored without notification.
  TLightID ID() const { return FID; }
  void SetID(TLightID Value);
  // GL_LIGHT0 + ID.
  uint32_t GetLightID() const;
  TLumColor* ColorAmbient() const { return FColorAmbient; }
  void SetAmbient(TLumColor* Value);
  TLumColor* ColorDiffuse() const { return FColorDiffuse; }
  void SetDiffuse(TLumColor* Value);
  TLumColor* ColorSpecular() const { return FColorSpecular; }
  void SetSpecular(TLumColor* Value);
  // Changing the kind resets CutOff: 180 for point and direction lights, 90 for spots.
  TLightKind Kind() const { return FKind; }
  void SetKind(TLightKind Value);
  // Always 180 for point and direction lights; clamped to 0..90 for spots.
  float CutOff() const { return FCutOff; }
  void SetCutOff(float Value);
  // Direction of a directional light, or of a spot's beam.
  TLumDirection* Direction() const { return FDirection; }
  void SetDirection(TLumDirection* Value);

  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;
  void DoRender(TLumCustomView* aView) override;
  void DoDisable(TLumCustomView* aView) override;

 private:
  TLightID FID = idLight0;
  TLumColor* FColorAmbient;
  TLumColor* FColorDiffuse;
  TLumColor* FColorSpecular;
  TLightKind FKind = lkPoint;
  float FCutOff = 180.0f;
  TLumDirection* FDirection;
  friend void detail::RegisterLumlightProperties();
};

void RegisterLumlightClasses();

}  // namespace lumox
