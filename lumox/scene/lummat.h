// TLumMaterial: the render-state component that sets the GL material of the geometry
// rendered after it, emitting it only when another material is in the context now.
#pragma once

#include <cstdint>

#include "lumox/scene/lumcomp.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLummatProperties();
}  // namespace detail

enum TMaterialFace : uint8_t { mfFront, mfBack, mfFrontBack };
extern const char* const TMaterialFaceStr[3];

class TLumMaterial : public TLumRender {
 public:
  explicit TLumMaterial(TComponent* AOwner);
  ~TLumMaterial() override;
  const char* ClassName() const override { return "TLumMaterial"; }

  // The polygon faces that receive the material.
  TMaterialFace Face() const { return FFace; }
  void SetFace(TMaterialFace Value);
  TLumColor* ColorAmbient() const { return FColorAmbient; }
  void SetColorAmbient(TLumColor* Value) { SetPartColor(1, Value); }
  TLumColor* ColorDiffuse() const { return FColorDiffuse; }
  void SetColorDiffuse(TLumColor* Value) { SetPartColor(2, Value); }
  TLumColor* ColorSpecular() const { return FColorSpecular; }
  void SetColorSpecular(TLumColor* Value) { SetPartColor(3, Value); }
  TLumColor* ColorEmission() const { return FColorEmission; }
  void SetColorEmission(TLumColor* Value) { SetPartColor(4, Value); }
  // Copies Color into ambient (1), diffuse (2), specular (3) or emission (4); other
  // indices and nullptr are ignored.
  void SetPartColor(int Index, TLumColor* Color);
  // Specular exponent; values outside 0..128 are ignored.
  int32_t Shininess() const { return FShininess; }
  void SetShininess(int32_t Value);

  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;
  void DoRender(TLumCustomView* aView) override;
  // Names this material in the "last rendered" test of a render state.
  TLumStateKey StateKey() const { return FStateKey; }

 private:
  TMaterialFace FFace = mfFrontBack;
  // The four colours live in the material itself: every frame reads them all, and
  // four separate blocks per material cost a cache miss each in a large scene.
  TLumColor FColorStore[4];
  TLumColor* FColorAmbient;
  TLumColor* FColorDiffuse;
  TLumColor* FColorSpecular;
  TLumColor* FColorEmission;
  int32_t FShininess = 0;
  TLumStateKey FStateKey = NewStateKey();
  friend void detail::RegisterLummatProperties();
};

// Whether m is the material whose state the context aView renders in holds now: one
// entry of that context's render state, which all materials share. The view forgets it
// at the start of each frame and image, and lists forget it when they open and after
// they are called. Without a view nothing is known: false, and the setter does nothing.
bool IsLastRenderedMaterial(TLumCustomView* aView, const TLumMaterial* m);
void SetLastRenderedMaterial(TLumCustomView* aView, TLumMaterial* m);

void RegisterLummatClasses();

}  // namespace lumox
