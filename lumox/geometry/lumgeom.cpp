// The vertex and index formulas of the point, line, triangle and rectangle, their
// parameters in the exchange format, and their registration.
#include "lumox/geometry/lumgeom.h"

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"

namespace lumox {

// --- TLumPoint ---------------------------------------------------------------------------

void TLumPoint::InitPoints() { Points()->Add(ZEROVEC, {0.0, 0.0, 1.0}, ZEROVEC); }

void TLumPoint::InitPrimitives() { AddIndex(0, AddPrimitiveArray(GL_POINTS)); }

// --- TLumLine ----------------------------------------------------------------------------

void TLumLine::SetLength(float Value) {
  FLength = Value;
  SetInitialized(false);
  Changed();
}

void TLumLine::InitPoints() {
  Points()->Add(ZEROVEC, {0.0, 0.0, 1.0}, ZEROVEC);
  Points()->Add({0.0, 0.0, FLength}, {0.0, 0.0, 1.0}, {0.0, 1.0, 0.0});
}

void TLumLine::InitPrimitives() {
  const int32_t P = AddPrimitiveArray(GL_LINES);
  AddIndex(0, P);
  AddIndex(1, P);
}

void TLumLine::Assign(TPersistent* Source) {
  if (auto* S = dynamic_cast<TLumLine*>(Source)) CopyPublished(this, S);
  TLumPrimitiveObj::Assign(Source);
}

void TLumLine::WriteValues(TLumExchange* Exchange) {
  Exchange->WritePublished(this, ClassInfoOf<TLumLine>());
  TLumPrimitiveObj::WriteValues(Exchange);
}

void TLumLine::ReadValues(TLumExchange* Exchange) {
  Exchange->ReadPublished(this, ClassInfoOf<TLumLine>());
  TLumPrimitiveObj::ReadValues(Exchange);
}

// --- TLumTriangle ------------------------------------------------------------------------

void TLumTriangle::SetBase(float Value) {
  FBase = Value;
  SetInitialized(false);
  Changed();
}

void TLumTriangle::SetHeight(float Value) {
  FHeight = Value;
  SetInitialized(false);
  Changed();
}

void TLumTriangle::InitPoints() {
  const TLumTextureFlags* F = TextureFlags();
  const double ScX = F->ScaleX(), ShX = F->ShiftX(), ScY = F->ScaleY(), ShY = F->ShiftY();
  const TLumMathVector Up{0.0, 1.0, 0.0};
  Points()->Add(ZEROVEC, Up, {0.5 * ScX + ShX, ScY + ShY, 0.0});
  Points()->Add({-FBase / 2.0, 0.0, FHeight}, Up, {ShX, ShY, 0.0});
  Points()->Add({FBase / 2.0, 0.0, FHeight}, Up, {ShX + ScX, ShY, 0.0});
}

void TLumTriangle::InitPrimitives() {
  const int32_t P = AddPrimitiveArray(GL_TRIANGLES);
  for (uint32_t i : {0u, 1u, 2u}) AddIndex(i, P);
}

void TLumTriangle::Assign(TPersistent* Source) {
  if (auto* S = dynamic_cast<TLumTriangle*>(Source)) CopyPublished(this, S);
  TLumPrimitiveObj::Assign(Source);
}

void TLumTriangle::WriteValues(TLumExchange* Exchange) {
  Exchange->WritePublished(this, ClassInfoOf<TLumTriangle>());
  TLumPrimitiveObj::WriteValues(Exchange);
}

void TLumTriangle::ReadValues(TLumExchange* Exchange) {
  Exchange->ReadPublished(this, ClassInfoOf<TLumTriangle>());
  TLumPrimitiveObj::ReadValues(Exchange);
}

// --- TLumRectangle -----------------------------------------------------------------------

void TLumRectangle::SetWidth(float Value) {
  FWidth = Value;
  SetInitialized(false);
  Changed();
}

void TLumRectangle::SetHeight(float Value) {
  FHeight = Value;
  SetInitialized(false);
  Changed();
}

void TLumRectangle::SetDetX(int32_t Value) {
  if (Value < 1) return;
  FDetailX = Value;
  SetInitialized(false);
  Changed();
}

void TLumRectangle::SetDetY(int32_t Value) {
  if (Value < 1) return;
  FDetailY = Value;
  SetInitialized(false);
  Changed();
}

void TLumRectangle::InitPoints() {
  const TLumTextureFlags* F = TextureFlags();
  const double ScX = F->ScaleX(), ShX = F->ShiftX(), ScY = F->ScaleY(), ShY = F->ShiftY();
  const double W = FWidth, H = FHeight;
  Points()->SetSize(MeshCount(this, MeshMul(int64_t{FDetailX} + 1, int64_t{FDetailY} + 1)));
  for (int32_t j = 0; j <= FDetailY; ++j) {
    const double v = static_cast<double>(j) / FDetailY;
    for (int32_t i = 0; i <= FDetailX; ++i) {
      const double u = static_cast<double>(i) / FDetailX;
      Points()->Add({u * W - W / 2.0, 0.0, H - v * H}, {0.0, 1.0, 0.0},
                    {u * ScX + ShX, v * ScY + ShY, 0.0});
    }
  }
}

void TLumRectangle::InitPrimitives() {
  const uint32_t Row = static_cast<uint32_t>(FDetailX) + 1;
  for (int32_t j = 0; j < FDetailY; ++j) {
    const int32_t P = AddPrimitiveArray(GL_QUAD_STRIP);
    for (uint32_t i = 0; i < Row; ++i) {
      AddIndex((j + 1) * Row + i, P);
      AddIndex(j * Row + i, P);
    }
  }
}

void TLumRectangle::Assign(TPersistent* Source) {
  if (auto* S = dynamic_cast<TLumRectangle*>(Source)) CopyPublished(this, S);
  TLumPrimitiveObj::Assign(Source);
}

void TLumRectangle::WriteValues(TLumExchange* Exchange) {
  Exchange->WritePublished(this, ClassInfoOf<TLumRectangle>());
  TLumPrimitiveObj::WriteValues(Exchange);
}

void TLumRectangle::ReadValues(TLumExchange* Exchange) {
  Exchange->ReadPublished(this, ClassInfoOf<TLumRectangle>());
  TLumPrimitiveObj::ReadValues(Exchange);
}

void RegisterLumgeomClasses() {
  RegisterRenderClass<TLumPoint>();
  RegisterRenderClass<TLumLine>();
  RegisterRenderClass<TLumTriangle>();
  RegisterRenderClass<TLumRectangle>();
}

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumgeomProperties() {
  TLumClassTable<TLumPoint, TLumPrimitiveObj>("TLumPoint", "Lumox Obj", "A point at the origin")
      .Creatable();

  TLumClassTable<TLumLine, TLumPrimitiveObj> Line("TLumLine", "Lumox Obj",
                                                  "A line from the origin along +Z");
  Line.Creatable();
  Line.Single("Length", &TLumLine::Length, &TLumLine::SetLength, 1.0f, "Length along +Z")
      .Exchange()
      .Field(&TLumLine::FLength);
  Line.DefineZero("Length", &TLumLine::Length);

  TLumClassTable<TLumTriangle, TLumPrimitiveObj> Tri(
      "TLumTriangle", "Lumox Obj", "A triangle in the X-Z plane, apex at the origin");
  Tri.Creatable();
  Tri.Single("Base", &TLumTriangle::Base, &TLumTriangle::SetBase, 1.0f, "Base along X")
      .Exchange()
      .Field(&TLumTriangle::FBase);
  Tri.Single("Height", &TLumTriangle::Height, &TLumTriangle::SetHeight, 1.0f, "Height along +Z")
      .Exchange()
      .Field(&TLumTriangle::FHeight);
  Tri.DefineZero("Base", &TLumTriangle::Base);
  Tri.DefineZero("Height", &TLumTriangle::Height);

  TLumClassTable<TLumRectangle, TLumPrimitiveObj> Rect(
      "TLumRectangle", "Lumox Obj", "A grid of cells in the X-Z plane, facing +Y");
  Rect.Creatable();
  Rect.Single("Width", &TLumRectangle::Width, &TLumRectangle::SetWidth, 1.0f,
              "Width along X, centred")
      .Exchange()
      .Field(&TLumRectangle::FWidth);
  Rect.Single("Height", &TLumRectangle::Height, &TLumRectangle::SetHeight, 1.0f,
              "Height along +Z from 0")
      .Exchange()
      .Field(&TLumRectangle::FHeight);
  Rect.Integer("DetailX", &TLumRectangle::DetailX, &TLumRectangle::SetDetX, 1,
               "Cells along X, at least 1")
      .Range(TLumRange::AtLeast(1))
      .Exchange()
      .Field(&TLumRectangle::FDetailX);
  Rect.Integer("DetailY", &TLumRectangle::DetailY, &TLumRectangle::SetDetY, 1,
               "Cells along Z, at least 1")
      .Range(TLumRange::AtLeast(1))
      .Exchange()
      .Field(&TLumRectangle::FDetailY);
  Rect.DefineZero("Width", &TLumRectangle::Width);
  Rect.DefineZero("Height", &TLumRectangle::Height);
}

}  // namespace lumox
