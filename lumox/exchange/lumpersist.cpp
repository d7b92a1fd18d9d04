// The scene-file protocol's shared parts: the element every streamable object writes
// by default, and the elements of the value objects of lumox/math (vectors, colours,
// rotations, transformations). They live with the exchange, which knows the value
// objects; the value objects' own unit knows nothing of the exchange.
#include "lumox/exchange/lumexchange.h"
#include "lumox/math/lumclass.h"

namespace lumox {

// --- TLumStreamable -------------------------------------------------------------------

void TLumStreamable::WriteComp(TLumExchange* Exchange, const std::string& Tag) {
  Exchange->StartTag(Tag);
  WriteValues(Exchange);
  Exchange->EndTag();
}

// --- value objects --------------------------------------------------------------------

// A vector is one attribute "P" holding x,y,z, not its published X, Y and Z.
void TLumVector::WriteValues(TLumExchange* Exchange) {
  Exchange->addtag("P", GetAsMathVector(), ZEROVEC);
}

void TLumVector::ReadValues(TLumExchange* Exchange) {
  TLumMathVector V = GetAsMathVector();
  Exchange->getvalue("P", V);
  SetAsMathVector(V);
}

// The colour is written in hexadecimal and left out, with NoDefaultValues, when it is
// white ($FFFFFF), not at its published default 0.
void TLumColor::WriteValues(TLumExchange* Exchange) {
  Exchange->addtag("Color", TLumExchange::int2hex(Color()), TLumExchange::int2hex(0xFFFFFF));
  Exchange->addtag("Alpha", static_cast<double>(Alpha()), 1.0);
}

void TLumColor::ReadValues(TLumExchange* Exchange) {
  uint32_t Value = Color();
  Exchange->getcolorvalue("Color", Value);
  SetColor(Value);
  SetAlpha(Exchange->getvalueor("Alpha", Alpha()));
}

void TLumRotation::WriteValues(TLumExchange* Exchange) {
  TLumVector::WriteValues(Exchange);
  Exchange->addtag("Order", Order(), TLumRotationOrderStr, 5);
}

void TLumRotation::ReadValues(TLumExchange* Exchange) {
  TLumVector::ReadValues(Exchange);
  SetOrder(static_cast<TLumRotationOrder>(Exchange->getenums("Order", TLumRotationOrderStr, 5)));
}

// Order first, then the parts as child elements in the order translation, rotation,
// scale, which is not their published order.
void TLumTransformation::WriteValues(TLumExchange* Exchange) {
  Exchange->addtag("Order", Order(), TLumTransformationOrderStr, 5);
  Translation()->WriteComp(Exchange, "Translation");
  Rotation()->WriteComp(Exchange, "Rotation");
  Scale()->WriteComp(Exchange, "Scale");
}

TObject* TLumTransformation::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  TLumProperty* Part = nullptr;
  if (SameText(Tag->Name, "Translation"))
    Part = Translation();
  else if (SameText(Tag->Name, "Rotation"))
    Part = Rotation();
  else if (SameText(Tag->Name, "Scale"))
    Part = Scale();
  if (Part) Part->ReadValues(Exchange);
  return Part;
}

void TLumTransformation::ReadValues(TLumExchange* Exchange) {
  SetOrder(static_cast<TLumTransformationOrder>(
      Exchange->getenums("Order", TLumTransformationOrderStr, 5)));
}

}  // namespace lumox
