// TLumCustomRotObj: a body of rotation, the function surface whose sweep turns each
// profile point (x = radius, z = height) about the Z axis.
#pragma once

#include <cstdint>

#include "lumox/geometry/lumcustomfuncobj.h"

namespace lumox {

class TLumCustomRotObj : public TLumCustomFuncObj {
 public:
  explicit TLumCustomRotObj(TComponent* AOwner) : TLumCustomFuncObj(AOwner) {}
  const char* ClassName() const override { return "TLumCustomRotObj"; }

  // Angles in degrees; 0 lies on +Y and angles grow towards +X.
  float RotStartAngle() const { return FAngles[0]; }
  float RotSweepAngle() const { return FAngles[1]; }
  // Stored and exchanged; the rotation does not use them.
  float FuncStartAngle() const { return FAngles[2]; }
  float FuncSweepAngle() const { return FAngles[3]; }
  // Index 0 RotStartAngle, 1 RotSweepAngle, 2 FuncStartAngle, 3 FuncSweepAngle. A
  // negative value is ignored. Like the sampling counts, it does not mark the mesh for
  // rebuilding.
  void setangle(int32_t Index, float Value);
  void SetRotStartAngle(float Value) { setangle(0, Value); }
  void SetRotSweepAngle(float Value) { setangle(1, Value); }
  void SetFuncStartAngle(float Value) { setangle(2, Value); }
  void SetFuncSweepAngle(float Value) { setangle(3, Value); }

  // Profile point P turned to the sweep parameter w (0 .. 1 over the sweep angle).
  TLumMathVector CalcXY(const TLumMathVector& oldpoint, double value) const;
  TLumMathVector calcxy(const TLumMathVector& oldpoint, double value) override {
    return CalcXY(oldpoint, value);
  }

  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  float FAngles[4] = {0.0f, 360.0f, 0.0f, 360.0f};
};

}  // namespace lumox
