// The rotation sweep of the body of rotation and its angle settings.
#include "lumox/geometry/lumcustomrotobj.h"

#include <cmath>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"

namespace lumox {

void TLumCustomRotObj::setangle(int32_t Index, float Value) {
  if (Index < 0 || Index > 3 || !(Value >= 0)) return;
  FAngles[Index] = Value;
}

TLumMathVector TLumCustomRotObj::CalcXY(const TLumMathVector& oldpoint, double value) const {
  constexpr double TwoPi = 6.283185307179586;
  const double Angle = (double(FAngles[1]) / 360.0 * value + double(FAngles[0]) / 360.0) * TwoPi;
  // The profile's x is the radius and its z the height; its y plays no part.
  return {std::sin(Angle) * oldpoint.X, std::cos(Angle) * oldpoint.X, oldpoint.Z};
}

void TLumCustomRotObj::Assign(TPersistent* Source) {
  // Not the table's copy: one array holds the two published angles and two that are not.
  if (auto* S = dynamic_cast<TLumCustomRotObj*>(Source))
    for (int i = 0; i < 4; ++i) FAngles[i] = S->FAngles[i];
  TLumCustomFuncObj::Assign(Source);
}

// The four angles alphabetically: the function's two are unpublished, the rotation's two
// hidden at this level.
void TLumCustomRotObj::WriteValues(TLumExchange* Exchange) {
  TLumCustomFuncObj::WriteValues(Exchange);
  Exchange->addtag("FuncStartAngle", double(FAngles[2]), 0.0);
  Exchange->addtag("FuncSweepAngle", double(FAngles[3]), 360.0);
  Exchange->addtag("RotStartAngle", double(FAngles[0]), 0.0);
  Exchange->addtag("RotSweepAngle", double(FAngles[1]), 360.0);
}

// Reads the angles in the array's order (rotation first), not the written one.
void TLumCustomRotObj::ReadValues(TLumExchange* Exchange) {
  TLumCustomFuncObj::ReadValues(Exchange);
  static const char* const Names[4] = {"RotStartAngle", "RotSweepAngle", "FuncStartAngle",
                                       "FuncSweepAngle"};
  for (int32_t i = 0; i < 4; ++i) {
    float V = FAngles[i];
    Exchange->getvalue(Names[i], V);
    setangle(i, V);
  }
}

// --- the published-property table ------------------------------------------------------

namespace detail {
// Called once from the package's registration (package/lumregister.cpp).
void RegisterLumcustomrotobjProperties();
}  // namespace detail

void detail::RegisterLumcustomrotobjProperties() {
  TLumClassTable<TLumCustomRotObj, TLumCustomFuncObj> T(
      "TLumCustomRotObj", "", "A body of rotation of the program's profile curve");
  const TLumRange NotNegative = TLumRange::AtLeast(0);
  T.Single("RotStartAngle", &TLumCustomRotObj::RotStartAngle, &TLumCustomRotObj::SetRotStartAngle,
           0.0f, "Start of the turn in degrees, from +Y towards +X")
      .Range(NotNegative)
      .Exchange()
      .Hidden();
  T.Single("RotSweepAngle", &TLumCustomRotObj::RotSweepAngle, &TLumCustomRotObj::SetRotSweepAngle,
           360.0f, "Extent of the turn in degrees")
      .Range(NotNegative)
      .Exchange()
      .Hidden();
}

}  // namespace lumox
