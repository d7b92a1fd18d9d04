// Render attributes and fog: setters, the GL state they emit, their exchange attributes
// and the "last rendered" test of the context they render in.
#include "lumox/scene/lumattr.h"

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumobj.h"

namespace lumox {

namespace {

constexpr GLenum PolygonModeGL[3] = {GL_POINT, GL_LINE, GL_FILL};
constexpr GLenum FogModeGL[3] = {GL_LINEAR, GL_EXP, GL_EXP2};
// Source and destination blend factors of tmAlpha .. tmSubColor.
constexpr GLenum BlendGL[4][2] = {{GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA},
                                  {GL_SRC_ALPHA, GL_ONE},
                                  {GL_DST_COLOR, GL_SRC_COLOR},
                                  {GL_ONE_MINUS_DST_COLOR, GL_ONE_MINUS_SRC_COLOR}};

}  // namespace

uint32_t QualityToGL(TLumQuality Value) {
  switch (Value) {
    case quFastest:
      return GL_FASTEST;
    case quNicest:
      return GL_NICEST;
    default:
      return GL_DONT_CARE;
  }
}

bool IsLastRenderedAttributes(TLumCustomView* aView, const TLumAttributes* a) {
  return aView && a && aView->RenderState().Attributes.Is(a->StateKey());
}

void SetLastRenderedAttributes(TLumCustomView* aView, TLumAttributes* a) {
  if (aView) aView->RenderState().Attributes.Set(a ? a->StateKey() : 0);
}

// --- TLumAttributes ---------------------------------------------------------------------

TLumAttributes::TLumAttributes(TComponent* AOwner)
    : TLumRender(AOwner), FColorAmbient(new TLumColor) {
  FColorAmbient->SetColor(0x333333);
  FColorAmbient->OnChange = [this](TObject* Sender) { SubChange(Sender); };
}

TLumAttributes::~TLumAttributes() {
  Destroying();
  delete FColorAmbient;
}

void TLumAttributes::SetAntialiasing(bool Value) { SetField(FAntialiasing, Value); }

void TLumAttributes::SetAmbient(TLumColor* Value) {
  if (!Value) return;
  FColorAmbient->Assign(Value);
  Changed();
}

void TLumAttributes::SetCullFace(TLumCullFace Value) {
  if (Value <= cfBack) SetField(FCullFace, Value);
}
void TLumAttributes::SetDithering(bool Value) { SetField(FDithering, Value); }
void TLumAttributes::SetLighting(bool Value) { SetField(FLighting, Value); }
void TLumAttributes::SetLightTwoSide(bool Value) { SetField(FLightTwoSide, Value); }
void TLumAttributes::SetPolygonMode(TLumPolygonMode Value) {
  if (Value <= pmFill) SetField(FPolygonMode, Value);
}
void TLumAttributes::SetPerspectiveCorrection(TLumQuality Value) {
  if (Value <= quDontCare) SetField(FPerspectiveCorrection, Value);
}
void TLumAttributes::SetShadeModel(TLumShadeModel Value) {
  if (Value <= smSmooth) SetField(FShadeModel, Value);
}
void TLumAttributes::SetTransparency(TLumTransparencyMode Value) {
  if (Value <= tmSubColor) SetField(FTransparency, Value);
}
void TLumAttributes::SetLineStipple(TLumLineStipple Value) {
  if (Value <= lsSolid) SetField(FLineStipple, Value);
}
void TLumAttributes::SetPointSize(float Value) {
  if (Value > 0.0f) SetField(FPointSize, Value);
}
void TLumAttributes::SetLineWidth(float Value) {
  if (Value > 0.0f) SetField(FLineWidth, Value);
}

uint16_t TLumAttributes::StipplePattern() const {
  const unsigned n = static_cast<unsigned>(StippleShift) & 15u;
  const uint32_t p = Stipples[FLineStipple];
  return static_cast<uint16_t>((p >> (16 - n)) | (p << n));
}

void TLumAttributes::Changed() {
  TLumRender::Changed();
  // A new name: no context takes these attributes as the ones it holds any more.
  FStateKey = NewStateKey();
}

void TLumAttributes::Assign(TPersistent* Source) {
  // Dithering, perspective correction, the stipple fields, point size and line width
  // are deliberately not copied (their entries have no field).
  if (auto* A = dynamic_cast<TLumAttributes*>(Source)) CopyPublished(this, A);
  TLumRender::Assign(Source);
}

void LumApplyTransparency(TLumTransparencyMode Mode) {
  if (Mode == tmNone || Mode > tmSubColor) {
    glDisable(GL_BLEND);
  } else {
    glEnable(GL_BLEND);
    glBlendFunc(BlendGL[Mode - 1][0], BlendGL[Mode - 1][1]);
  }
}

void LumApplySmoothing(bool On) {
  if (On) {
    // Deliberate: the hints name the capabilities, not the ..._HINT targets, so GL
    // rejects them and the smoothing runs at the context's own hint.
    glEnable(GL_POINT_SMOOTH);
    glHint(GL_POINT_SMOOTH, GL_NICEST);
    glEnable(GL_LINE_SMOOTH);
    glHint(GL_LINE_SMOOTH, GL_NICEST);
    glEnable(GL_POLYGON_SMOOTH);
    glHint(GL_POLYGON_SMOOTH, GL_NICEST);
  } else {
    glDisable(GL_POINT_SMOOTH);
    glDisable(GL_LINE_SMOOTH);
    glDisable(GL_POLYGON_SMOOTH);
  }
}

void TLumAttributes::DoRender(TLumCustomView* aView) {
  if (IsLastRenderedAttributes(aView, this)) return;
  SetLastRenderedAttributes(aView, this);
  TLumRender::DoRender(aView);

  LumApplySmoothing(FAntialiasing);

  float Rgba[4];
  FColorAmbient->GetParams(Rgba);
  glLightModelfv(GL_LIGHT_MODEL_AMBIENT, Rgba);

  if (FCullFace == cfNone) {
    glDisable(GL_CULL_FACE);
  } else {
    glEnable(GL_CULL_FACE);
    glCullFace(FCullFace == cfFront ? GL_FRONT : GL_BACK);
  }
  if (FDithering)
    glEnable(GL_DITHER);
  else
    glDisable(GL_DITHER);
  if (FLighting)
    glEnable(GL_LIGHTING);
  else
    glDisable(GL_LIGHTING);
  glLightModeli(GL_LIGHT_MODEL_TWO_SIDE, FLightTwoSide ? 1 : 0);
  glPolygonMode(GL_FRONT_AND_BACK, PolygonModeGL[FPolygonMode]);
  glHint(GL_PERSPECTIVE_CORRECTION_HINT, QualityToGL(FPerspectiveCorrection));
  glShadeModel(FShadeModel == smFlat ? GL_FLAT : GL_SMOOTH);

  LumApplyTransparency(FTransparency);

  if (FLineStipple == lsSolid) {
    glDisable(GL_LINE_STIPPLE);
  } else {
    glLineStipple(StippleFactor, StipplePattern());
    glEnable(GL_LINE_STIPPLE);
  }

  glLineWidth(FLineWidth);
  glPointSize(FPointSize);
}

// The format writes the attributes alphabetically, ColorAmbient last, and PointSize against
// 10000.0 instead of its published default 1 (see below).
void TLumAttributes::WriteValues(TLumExchange* Exchange) {
  TLumRender::WriteValues(Exchange);
  Exchange->addtag("Antialiasing", FAntialiasing, false);
  Exchange->addtag("CullFace", static_cast<int>(FCullFace), TLumCullFaceStr, 2);
  Exchange->addtag("Dithering", FDithering, false);
  Exchange->addtag("Lighting", FLighting, false);
  Exchange->addtag("LightTwoSide", FLightTwoSide, false);
  Exchange->addtag("LineStipple", static_cast<int>(FLineStipple), TLumLineStippleStr, 5);
  Exchange->addtag("LineWidth", static_cast<double>(FLineWidth), 0.0);
  Exchange->addtag("PerspectiveCorrection", static_cast<int>(FPerspectiveCorrection),
                   TLumQualityStr, 2);
  // Deliberate: compared with 10000.0, so the point size is in practice always written.
  Exchange->addtag("PointSize", static_cast<double>(FPointSize), 10000.0);
  Exchange->addtag("PolygonMode", static_cast<int>(FPolygonMode), TLumPolygonModeStr, 2);
  Exchange->addtag("ShadeModel", static_cast<int>(FShadeModel), TLumShadeModelStr, 1);
  Exchange->addtag("Transparency", static_cast<int>(FTransparency), TLumTransparencyModeStr, 4);
  FColorAmbient->WriteComp(Exchange, "ColorAmbient");
}

// Reads in the written, alphabetical order, each value set as soon as it is read.
void TLumAttributes::ReadValues(TLumExchange* Exchange) {
  TLumRender::ReadValues(Exchange);
  SetAntialiasing(Exchange->getvalueor("Antialiasing", FAntialiasing));
  SetCullFace(static_cast<TLumCullFace>(Exchange->getenums("CullFace", TLumCullFaceStr, 2)));
  SetDithering(Exchange->getvalueor("Dithering", FDithering));
  SetLighting(Exchange->getvalueor("Lighting", FLighting));
  SetLightTwoSide(Exchange->getvalueor("LightTwoSide", FLightTwoSide));
  SetLineStipple(
      static_cast<TLumLineStipple>(Exchange->getenums("LineStipple", TLumLineStippleStr, 5)));
  SetLineWidth(Exchange->getvalueor("LineWidth", FLineWidth));
  SetPerspectiveCorrection(
      static_cast<TLumQuality>(Exchange->getenums("PerspectiveCorrection", TLumQualityStr, 2)));
  SetPointSize(Exchange->getvalueor("PointSize", FPointSize));
  SetPolygonMode(
      static_cast<TLumPolygonMode>(Exchange->getenums("PolygonMode", TLumPolygonModeStr, 2)));
  SetShadeModel(
      static_cast<TLumShadeModel>(Exchange->getenums("ShadeModel", TLumShadeModelStr, 1)));
  SetTransparency(static_cast<TLumTransparencyMode>(
      Exchange->getenums("Transparency", TLumTransparencyModeStr, 4)));
}

TObject* TLumAttributes::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  if (SameText(Tag->Name, "ColorAmbient")) {
    FColorAmbient->ReadValues(Exchange);
    return FColorAmbient;
  }
  return TLumRender::ReadComp(Exchange, Tag);
}

// --- TLumFog ----------------------------------------------------------------------------

TLumFog::TLumFog(TComponent* AOwner) : TLumRender(AOwner), FColor(new TLumColor) {
  FColor->OnChange = [this](TObject* Sender) { SubChange(Sender); };
}

TLumFog::~TLumFog() {
  Destroying();
  delete FColor;
}

void TLumFog::SetMode(TLumFogMode Value) {
  if (Value <= fmExp2) SetField(FMode, Value);
}
void TLumFog::SetDensity(float Value) { SetField(FDensity, Value); }
void TLumFog::SetStartDepth(float Value) { SetField(FStartDepth, Value); }
void TLumFog::SetEndDepth(float Value) { SetField(FEndDepth, Value); }
void TLumFog::SetQuality(TLumQuality Value) {
  if (Value <= quDontCare) SetField(FQuality, Value);
}

void TLumFog::SetColor(TLumColor* Value) {
  if (!Value) return;
  FColor->Assign(Value);
  Changed();
}

void TLumFog::Assign(TPersistent* Source) {
  auto* F = dynamic_cast<TLumFog*>(Source);
  if (!F) return;
  TLumRender::Assign(Source);
  // Quality is not copied (its entry has no field).
  CopyPublished(this, F);
  // The source's hook once more and a second notification, after the fog's own values:
  // not the table's part, kept as the fog always did it.
  OnChange = F->OnChange;
  Changed();
}

void TLumFog::DoRender(TLumCustomView* aView) {
  TLumRender::DoRender(aView);
  glEnable(GL_FOG);
  glFogi(GL_FOG_MODE, static_cast<GLint>(FogModeGL[FMode]));
  glFogf(GL_FOG_DENSITY, FDensity);
  glFogf(GL_FOG_START, FStartDepth);
  glFogf(GL_FOG_END, FEndDepth);
  float Rgba[4];
  FColor->GetParams(Rgba);
  glFogfv(GL_FOG_COLOR, Rgba);
  glHint(GL_FOG_HINT, QualityToGL(FQuality));
}

void TLumFog::DoDisable(TLumCustomView* aView) {
  TLumRender::DoDisable(aView);
  glDisable(GL_FOG);
}

// Alphabetical, Color last, and Density and EndDepth against 2000.0 and 10000.0 instead of
// their published defaults 0.2 and 1.
void TLumFog::WriteValues(TLumExchange* Exchange) {
  TLumRender::WriteValues(Exchange);
  Exchange->addtag("Density", static_cast<double>(FDensity), 2000.0);
  Exchange->addtag("EndDepth", static_cast<double>(FEndDepth), 10000.0);
  Exchange->addtag("Mode", static_cast<int>(FMode), TLumFogModeStr, 2);
  Exchange->addtag("Quality", static_cast<int>(FQuality), TLumQualityStr, 2);
  Exchange->addtag("StartDepth", static_cast<double>(FStartDepth), 0.0);
  FColor->WriteComp(Exchange, "Color");
}

// Reads in the written, alphabetical order, each value set as soon as it is read.
void TLumFog::ReadValues(TLumExchange* Exchange) {
  TLumRender::ReadValues(Exchange);
  SetDensity(Exchange->getvalueor("Density", FDensity));
  SetEndDepth(Exchange->getvalueor("EndDepth", FEndDepth));
  SetMode(static_cast<TLumFogMode>(Exchange->getenums("Mode", TLumFogModeStr, 2)));
  SetQuality(static_cast<TLumQuality>(Exchange->getenums("Quality", TLumQualityStr, 2)));
  SetStartDepth(Exchange->getvalueor("StartDepth", FStartDepth));
}

TObject* TLumFog::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  if (SameText(Tag->Name, "Color")) {
    FColor->ReadValues(Exchange);
    return FColor;
  }
  return TLumRender::ReadComp(Exchange, Tag);
}

void RegisterLumattrClasses() {
  RegisterRenderClass<TLumAttributes>();
  RegisterRenderClass<TLumFog>();
}

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumattrProperties() {
  TLumClassTable<TLumAttributes, TLumRender> A(
      "TLumAttributes", "Lumox", "Rasterisation, lighting model, blending, lines and points");
  A.Creatable();
  A.Boolean("Antialiasing", &TLumAttributes::Antialiasing, &TLumAttributes::SetAntialiasing, false,
            "Smooths points, lines and polygons")
      .Exchange()
      .Field(&TLumAttributes::FAntialiasing);
  A.Object("ColorAmbient", &TLumAttributes::ColorAmbient, &TLumAttributes::SetAmbient,
           "The ambient light of the lighting model")
      .Exchange()
      .Field(&TLumAttributes::FColorAmbient);
  A.Enum("CullFace", "TLumCullFace", &TLumAttributes::CullFace, &TLumAttributes::SetCullFace,
         TLumCullFaceStr, cfNone, "Which polygon faces are not drawn")
      .Exchange()
      .Field(&TLumAttributes::FCullFace);
  A.Boolean("Dithering", &TLumAttributes::Dithering, &TLumAttributes::SetDithering, false,
            "Dithers colours")
      .Exchange();
  A.Boolean("Lighting", &TLumAttributes::Lighting, &TLumAttributes::SetLighting, false,
            "Lights the geometry after it")
      .Exchange()
      .Field(&TLumAttributes::FLighting);
  A.Boolean("LightTwoSide", &TLumAttributes::LightTwoSide, &TLumAttributes::SetLightTwoSide, false,
            "Lights back faces with their own normals")
      .Exchange()
      .Field(&TLumAttributes::FLightTwoSide);
  A.Enum("PolygonMode", "TLumPolygonMode", &TLumAttributes::PolygonMode,
         &TLumAttributes::SetPolygonMode, TLumPolygonModeStr, pmFill,
         "Polygons as points, lines or filled")
      .Exchange()
      .Field(&TLumAttributes::FPolygonMode);
  A.Enum("PerspectiveCorrection", "TLumQuality", &TLumAttributes::PerspectiveCorrection,
         &TLumAttributes::SetPerspectiveCorrection, TLumQualityStr, quDontCare,
         "The quality of perspective-correct interpolation")
      .Exchange();
  A.Enum("ShadeModel", "TLumShadeModel", &TLumAttributes::ShadeModel,
         &TLumAttributes::SetShadeModel, TLumShadeModelStr, smSmooth,
         "Flat or smooth (interpolated) shading")
      .Exchange()
      .Field(&TLumAttributes::FShadeModel);
  A.Enum("Transparency", "TLumTransparencyMode", &TLumAttributes::Transparency,
         &TLumAttributes::SetTransparency, TLumTransparencyModeStr, tmNone,
         "How colours blend with what is drawn")
      .Exchange()
      .Field(&TLumAttributes::FTransparency);
  A.Enum("LineStipple", "TLumLineStipple", &TLumAttributes::LineStipple,
         &TLumAttributes::SetLineStipple, TLumLineStippleStr, lsSolid, "The dash pattern of lines")
      .Exchange()
      .Field(&TLumAttributes::FLineStipple);
  A.Single("PointSize", &TLumAttributes::PointSize, &TLumAttributes::SetPointSize, 1.0f,
           "Point diameter in pixels, above 0")
      .Range(TLumRange::Above(0))
      .Exchange();
  A.Single("LineWidth", &TLumAttributes::LineWidth, &TLumAttributes::SetLineWidth, 0.0f,
           "Line width in pixels, above 0 (0 at first: the context's width stays)")
      .Range(TLumRange::Above(0))
      .Exchange();
  for (const char* Name : {"View", "Cached", "OnBeforeRender", "OnAfterRender"}) A.Publish(Name);
  A.DefineZero("PointSize", &TLumAttributes::PointSize);
  A.DefineZero("LineWidth", &TLumAttributes::LineWidth);

  TLumClassTable<TLumFog, TLumRender> F("TLumFog", "Lumox", "Fog for what is rendered after it");
  F.Creatable();
  F.Enum("Mode", "TLumFogMode", &TLumFog::Mode, &TLumFog::SetMode, TLumFogModeStr, fmExp,
         "How fog grows with distance")
      .Exchange()
      .Field(&TLumFog::FMode);
  F.Single("Density", &TLumFog::Density, &TLumFog::SetDensity, 0.2f,
           "Density of the exponential modes")
      .Exchange()
      .Field(&TLumFog::FDensity);
  F.Single("StartDepth", &TLumFog::StartDepth, &TLumFog::SetStartDepth, 0.0f,
           "Where linear fog starts")
      .Exchange()
      .Field(&TLumFog::FStartDepth);
  F.Single("EndDepth", &TLumFog::EndDepth, &TLumFog::SetEndDepth, 1.0f,
           "Where linear fog is complete")
      .Exchange()
      .Field(&TLumFog::FEndDepth);
  F.Object("Color", &TLumFog::Color, &TLumFog::SetColor, "The fog's colour")
      .Exchange()
      .Field(&TLumFog::FColor);
  F.Enum("Quality", "TLumQuality", &TLumFog::Quality, &TLumFog::SetQuality, TLumQualityStr,
         quDontCare, "The quality of the fog computation")
      .Exchange();
  for (const char* Name : {"View", "Cached", "OnBeforeRender", "OnAfterRender"}) F.Publish(Name);
  F.DefineZero("Density", &TLumFog::Density);
  F.DefineZero("StartDepth", &TLumFog::StartDepth);
  F.DefineZero("EndDepth", &TLumFog::EndDepth);
}

}  // namespace lumox
