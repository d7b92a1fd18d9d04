// TLumCustomFuncObj: a mesh sampled from two callbacks, a curve traced point by point
// (OnCalcZ) and a sweep of each curve point into a row of surface points (OnCalcXY).
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "lumox/geometry/lumprimitiveobj.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLumcustomfuncobjProperties();
}  // namespace detail

// Computes a point from the previous one (oldpoint) and a parameter (value).
using Tfunction = std::function<TLumMathVector(const TLumMathVector& oldpoint, double value)>;

// Which directions of a sampled grid close on themselves: cmConnectX when the first and
// last point of every row coincide (a full sweep), cmConnectY when the first and last
// row coincide (a closed curve).
enum TConnectMode : uint8_t { cmConnectNone, cmConnectX, cmConnectY, cmConnectBoth };
extern const char* const TConnectModeStr[4];

class TLumCustomFuncObj : public TLumPrimitiveObj {
 public:
  explicit TLumCustomFuncObj(TComponent* AOwner) : TLumPrimitiveObj(AOwner) {}
  const char* ClassName() const override { return "TLumCustomFuncObj"; }

  // The sweep and the curve callback; unassigned ones return oldpoint unchanged.
  Tfunction OnCalcXY;
  Tfunction OnCalcZ;
  // Index 0 sets OnCalcXY, 1 OnCalcZ.
  void SetOnCalc(int32_t Index, Tfunction Value);

  // How many times the curve parameter runs through 0 .. 1. Like Slices and Stacks it is
  // stored as it stands and does not mark the mesh for rebuilding: call Init after
  // changing them.
  int32_t OverDraw() const { return FOverDraw; }
  void SetOverDraw(int32_t Value) { FOverDraw = Value; }
  // Curve samples per unit of the curve parameter.
  int32_t Stacks() const { return FStacks; }
  void SetStacks(int32_t Value) { FStacks = Value; }
  // Sweep samples over 0 .. 1 (Slices + 1 points per row).
  int32_t Slices() const { return FSlices; }
  void SetSlices(int32_t Value) { FSlices = Value; }
  // The closed directions found in the last build.
  TConnectMode ConnectMode() const { return FConnectMode; }

  // The curve step and the sweep step.
  virtual TLumMathVector calcz(const TLumMathVector& oldpoint, double value);
  virtual TLumMathVector calcxy(const TLumMathVector& oldpoint, double value);

  void InitPoints() override;
  void InitPrimitives() override;
  // The standard texture coordinate (a / ScaleX - ShiftX, b / ScaleY - ShiftY, 0); for
  // the generated modes (0, 0, 0), which CalcTexturePoint then replaces.
  TLumMathVector TextureIt(const TLumMathVector& v, double a, double b) const;
  // The normal of sample (i, j) of the grid being built, from its neighbours: the cross
  // product of the differences along the curve and along the sweep, so that it points
  // to the side from which the strips wind counter-clockwise. Closed directions wrap;
  // at a collapsed row (a pole) the faces around the point are summed instead.
  virtual void CalcNormal(int32_t i, int32_t Stacks, TLumMathVector& Normal, int32_t Slices,
                          int32_t j);

  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  const TLumMathVector& GridPoint(int32_t i, int32_t j) const {
    return FGrid[static_cast<size_t>(i) * static_cast<size_t>(FGridColumns) + j];
  }
  int32_t FOverDraw = 1;
  int32_t FStacks = 10;
  int32_t FSlices = 10;
  TConnectMode FConnectMode = cmConnectNone;
  // The samples of the build in progress, row by row.
  std::vector<TLumMathVector> FGrid;
  int32_t FGridRows = 0;
  int32_t FGridColumns = 0;
  friend void detail::RegisterLumcustomfuncobjProperties();
};

}  // namespace lumox
