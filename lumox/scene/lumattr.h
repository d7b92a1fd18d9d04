// Render attributes (rasterisation, lighting model, blending, line and point style)
// and fog, as render-state components.
#pragma once

#include <cstdint>

#include "lumox/scene/lumcomp.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLumattrProperties();
}  // namespace detail

class TLumAttributes : public TLumRender {
 public:
  explicit TLumAttributes(TComponent* AOwner);
  ~TLumAttributes() override;
  const char* ClassName() const override { return "TLumAttributes"; }

  // Point, line and polygon smoothing.
  bool Antialiasing() const { return FAntialiasing; }
  void SetAntialiasing(bool Value);
  // The light model's ambient colour.
  TLumColor* ColorAmbient() const { return FColorAmbient; }
  void SetAmbient(TLumColor* Value);
  TLumCullFace CullFace() const { return FCullFace; }
  void SetCullFace(TLumCullFace Value);
  bool Dithering() const { return FDithering; }
  void SetDithering(bool Value);
  bool Lighting() const { return FLighting; }
  void SetLighting(bool Value);
  bool LightTwoSide() const { return FLightTwoSide; }
  void SetLightTwoSide(bool Value);
  TLumPolygonMode PolygonMode() const { return FPolygonMode; }
  void SetPolygonMode(TLumPolygonMode Value);
  TLumQuality PerspectiveCorrection() const { return FPerspectiveCorrection; }
  void SetPerspectiveCorrection(TLumQuality Value);
  TLumShadeModel ShadeModel() const { return FShadeModel; }
  void SetShadeModel(TLumShadeModel Value);
  TLumTransparencyMode Transparency() const { return FTransparency; }
  void SetTransparency(TLumTransparencyMode Value);
  TLumLineStipple LineStipple() const { return FLineStipple; }
  void SetLineStipple(TLumLineStipple Value);
  // Accepted only when greater than 0.
  float PointSize() const { return FPointSize; }
  void SetPointSize(float Value);
  // Accepted only when greater than 0; starts at 0.0, which GL refuses, so a fresh
  // component leaves the context's line width in force.
  float LineWidth() const { return FLineWidth; }
  void SetLineWidth(float Value);

  // The stipple pattern is rotated left by StippleShift (mod 16) bits and each bit
  // repeated StippleFactor times; set by the application, not stored in files.
  int32_t StippleShift = 0;
  int32_t StippleFactor = 1;
  // The 16-bit pattern passed to glLineStipple for the current settings.
  uint16_t StipplePattern() const;

  // Notifies, and forgets this component as the last rendered so it emits again.
  void Changed() override;
  // Names these attributes in the "last rendered" test of a render state; renewed by
  // every change.
  TLumStateKey StateKey() const { return FStateKey; }
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;
  void DoRender(TLumCustomView* aView) override;

 private:
  TLumStateKey FStateKey = NewStateKey();
  bool FAntialiasing = false;
  TLumColor* FColorAmbient;
  TLumCullFace FCullFace = cfNone;
  bool FDithering = false;
  bool FLighting = false;
  bool FLightTwoSide = false;
  TLumPolygonMode FPolygonMode = pmFill;
  TLumQuality FPerspectiveCorrection = quDontCare;
  TLumShadeModel FShadeModel = smSmooth;
  TLumTransparencyMode FTransparency = tmNone;
  TLumLineStipple FLineStipple = lsSolid;
  float FPointSize = 1.0f;
  float FLineWidth = 0.0f;
  friend void detail::RegisterLumattrProperties();
};

class TLumFog : public TLumRender {
 public:
  explicit TLumFog(TComponent* AOwner);
  ~TLumFog() override;
  const char* ClassName() const override { return "TLumFog"; }

  TLumFogMode Mode() const { return FMode; }
  void SetMode(TLumFogMode Value);
  // Density, start and end take any value; GL judges them.
  float Density() const { return FDensity; }
  void SetDensity(float Value);
  float StartDepth() const { return FStartDepth; }
  void SetStartDepth(float Value);
  float EndDepth() const { return FEndDepth; }
  void SetEndDepth(float Value);
  TLumColor* Color() const { return FColor; }
  void SetColor(TLumColor* Value);
  TLumQuality Quality() const { return FQuality; }
  void SetQuality(TLumQuality Value);

  // Copies from another fog only, including its change listener; Quality stays.
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;
  void DoRender(TLumCustomView* aView) override;
  void DoDisable(TLumCustomView* aView) override;

 private:
  TLumFogMode FMode = fmExp;
  float FDensity = 0.2f;
  float FStartDepth = 0.0f;
  float FEndDepth = 1.0f;
  TLumColor* FColor;
  TLumQuality FQuality = quDontCare;
  friend void detail::RegisterLumattrProperties();
};

// The blending of a transparency mode (GL_BLEND off for tmNone), shared by the render
// attributes and the canvas.
void LumApplyTransparency(TLumTransparencyMode Mode);
// Point, line and polygon smoothing on or off, with their hints (see the definition).
void LumApplySmoothing(bool On);
// GL's hint value for a quality.
uint32_t QualityToGL(TLumQuality Value);

// Whether a is the attributes component whose state the context aView renders in holds
// now (its render state's). The view forgets it at the start of each frame and image,
// and lists forget it when they open and after they are called. Without a view nothing
// is known: false, and the setter does nothing.
bool IsLastRenderedAttributes(TLumCustomView* aView, const TLumAttributes* a);
void SetLastRenderedAttributes(TLumCustomView* aView, TLumAttributes* a);

void RegisterLumattrClasses();

}  // namespace lumox
