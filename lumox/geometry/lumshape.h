// The parametric solids: sphere (latitude-longitude or regular subdivision), cylinder
// and cone with optional caps, disc sector, torus and box. Each builds its own vertex
// grid with normals, texture coordinates and seam flags; faces wind outward.
#pragma once

#include <cstdint>

#include "lumox/geometry/lumprimitiveobj.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLumshapeProperties();
}  // namespace detail

enum TSphereMode : uint8_t { smGlobal, smRegular };
extern const char* const TSphereModeStr[2];

enum TBoxFace : uint8_t { bfFront, bfLeft, bfRight, bfBack, bfTop, bfBottom };
extern const char* const TBoxFaceStr[6];
using TBoxFaces = TLumSet<TBoxFace>;

// A sphere around the origin with its poles on the Z axis.
class TLumSphere : public TLumPrimitiveObj {
 public:
  explicit TLumSphere(TComponent* AOwner) : TLumPrimitiveObj(AOwner) {}
  const char* ClassName() const override { return "TLumSphere"; }

  int32_t Slices() const { return FSlices; }
  // At least 1; in smRegular rounded up to a multiple of 4, and Stacks := Slices / 2.
  void SetSlices(int32_t Value);
  int32_t Stacks() const { return FStacks; }
  // At least 2; in smRegular Slices := (Stacks div 2) * 4.
  void SetStacks(int32_t Value);
  double Radius() const { return FRadius; }
  // A negative radius becomes 1.0.
  void SetRadius(double Value);
  TSphereMode Mode() const { return FMode; }
  // Slices and Stacks stay as they are; the regular mesh takes its grid from Stacks
  // (Slices = 4 * (Stacks div 2)) when it is built.
  void SetMode(TSphereMode Value);

  void InitPoints() override;
  void InitPrimitives() override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  void InitGlobalPoints();
  void InitRegularPoints();
  void InitGlobalPrimitives();
  void InitRegularPrimitives();
  void Rebuild();
  int32_t FSlices = 10;
  int32_t FStacks = 10;
  double FRadius = 1.0;
  TSphereMode FMode = smGlobal;
  friend void detail::RegisterLumshapeProperties();
};

// A cone frustum around the Z axis from z = 0 (BaseRadius) to z = Height (TopRadius);
// Closed adds flat caps at the ends whose radius is not 0.
class TLumCylinder : public TLumPrimitiveObj {
 public:
  explicit TLumCylinder(TComponent* AOwner) : TLumPrimitiveObj(AOwner) {}
  const char* ClassName() const override { return "TLumCylinder"; }

  double BaseRadius() const { return FBaseRadius; }
  void SetBaseRadius(double Value);
  double TopRadius() const { return FTopRadius; }
  void SetTopRadius(double Value);
  double Height() const { return FHeight; }
  // A negative height becomes 1.0.
  void SetHeight(double Value);
  bool Closed() const { return FClosed; }
  void SetClosed(bool Value);
  int32_t Slices() const { return FSlices; }
  // At least 1.
  void SetSlices(int32_t Value);
  int32_t Stacks() const { return FStacks; }
  // At least 1.
  void SetStacks(int32_t Value);
  // Caps that Closed produces: one per end whose radius is not 0.
  int32_t CapCount() const;

  void InitPoints() override;
  void InitPrimitives() override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  void AddCapPoints(double Radius, double Z, bool Top);
  void Rebuild();
  double FBaseRadius = 1.0;
  double FTopRadius = 1.0;
  double FHeight = 1.0;
  bool FClosed = false;
  int32_t FSlices = 10;
  int32_t FStacks = 10;
  friend void detail::RegisterLumshapeProperties();
};

// An annulus sector in the X-Y plane facing +Z; angles in degrees run from +Y towards +X.
class TLumDisc : public TLumPrimitiveObj {
 public:
  explicit TLumDisc(TComponent* AOwner) : TLumPrimitiveObj(AOwner) {}
  const char* ClassName() const override { return "TLumDisc"; }

  double OuterRadius() const { return FOuterRadius; }
  // Accepted only above 0.
  void SetOuterRadius(double Value);
  double InnerRadius() const { return FInnerRadius; }
  // Accepted only when not negative.
  void SetInnerRadius(double Value);
  double StartAngle() const { return FStartAngle; }
  // Reduced into 0 <= angle < 360.
  void SetStartAngle(double Value);
  double SweepAngle() const { return FSweepAngle; }
  // Clamped to 0..360.
  void SetSweepAngle(double Value);
  int32_t Slices() const { return FSlices; }
  // At least 1.
  void SetSlices(int32_t Value);
  int32_t Stacks() const { return FStacks; }
  // At least 1.
  void SetStacks(int32_t Value);

  void InitPoints() override;
  void InitPrimitives() override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  void Rebuild();
  double FOuterRadius = 1.0;
  double FInnerRadius = 0.0;
  double FStartAngle = 0.0;
  double FSweepAngle = 360.0;
  int32_t FSlices = 10;
  int32_t FStacks = 10;
  friend void detail::RegisterLumshapeProperties();
};

// A ring of radius Radius around the Z axis, with a tube of radius Thickness.
class TLumTorus : public TLumPrimitiveObj {
 public:
  explicit TLumTorus(TComponent* AOwner) : TLumPrimitiveObj(AOwner) {}
  const char* ClassName() const override { return "TLumTorus"; }

  double Radius() const { return FRadius; }
  // A negative radius becomes 0.
  void SetRadius(double Value);
  double Thickness() const { return FThickness; }
  // A negative thickness becomes 0.
  void SetThickness(double Value);
  int32_t Slices() const { return FSlices; }
  // At least 1.
  void SetSlices(int32_t Value);
  int32_t Stacks() const { return FStacks; }
  // At least 1.
  void SetStacks(int32_t Value);

  void InitPoints() override;
  void InitPrimitives() override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  void Rebuild();
  double FRadius = 1.0;
  double FThickness = 0.2;
  int32_t FSlices = 10;
  int32_t FStacks = 10;
  friend void detail::RegisterLumshapeProperties();
};

// A box spanning X from -Width/2 to Width/2, Y from 0 to Height and Z from 0 to Depth.
// Each face in Faces is its own grid with a constant normal and one GL_QUADS list, so
// that faces keep hard edges and are picked separately.
class TLumBox : public TLumPrimitiveObj {
 public:
  explicit TLumBox(TComponent* AOwner) : TLumPrimitiveObj(AOwner) {}
  const char* ClassName() const override { return "TLumBox"; }

  float Width() const { return FWidth; }
  void SetWidth(float Value);
  float Height() const { return FHeight; }
  void SetHeight(float Value);
  float Depth() const { return FDepth; }
  void SetDepth(float Value);
  TBoxFaces Faces() const { return FFaces; }
  void SetFaces(TBoxFaces Value);
  // Cells along X, Y, Z (Index 0, 1, 2); values below 1 are ignored.
  int32_t Detail(int32_t Index) const;
  void SetDetail(int32_t Index, int32_t Value);
  int32_t DetailX() const { return FDetail[0]; }
  int32_t DetailY() const { return FDetail[1]; }
  int32_t DetailZ() const { return FDetail[2]; }

  void InitPoints() override;
  void InitPrimitives() override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  void Rebuild();
  float FWidth = 1.0f;
  float FHeight = 1.0f;
  float FDepth = 1.0f;
  TBoxFaces FFaces{bfFront, bfLeft, bfRight, bfBack, bfTop, bfBottom};
  int32_t FDetail[3] = {1, 1, 1};
  friend void detail::RegisterLumshapeProperties();
};

// Registers TLumSphere, TLumCylinder, TLumDisc, TLumTorus and TLumBox, in that order.
void RegisterLumshapeClasses();

}  // namespace lumox
